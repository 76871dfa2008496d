// The classes that this process serves itself (RegisterBuiltInClass), for CreateComponent.
#ifndef SCANTK_PLATFORM_BUILT_IN_CLASSES_H_
#define SCANTK_PLATFORM_BUILT_IN_CLASSES_H_

#include "platform/component.h"

namespace scantk {

// Creates an object of a built-in class; REGDB_E_CLASSNOTREG when there is no such one. Any thread.
HRESULT CreateBuiltIn(const GUID& clsid, const GUID& iid, void** object);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_BUILT_IN_CLASSES_H_
