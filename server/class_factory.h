// The class object of `scanner`: makes ScannerObjects.
#ifndef SCANTK_SERVER_CLASS_FACTORY_H_
#define SCANTK_SERVER_CLASS_FACTORY_H_

#include "platform/component_support.h"

namespace scantk {

// Makes the class factory and asks it for `iid`; `creator` (an ObjectCreator) is what it calls for
// each object. The module keeps it, so it does not count as a live object.
HRESULT SCANTK_SUPPORT_CALL CreateClassFactory(void* creator, REFIID iid, void** object);

}  // namespace scantk

#endif  // SCANTK_SERVER_CLASS_FACTORY_H_
