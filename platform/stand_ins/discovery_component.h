// The stand-in for the network discovery component: the same tables, served from the device store.
#ifndef SCANTK_PLATFORM_STAND_INS_DISCOVERY_COMPONENT_H_
#define SCANTK_PLATFORM_STAND_INS_DISCOVERY_COMPONENT_H_

#include "contract/component_types.h"

namespace scantk {

// Makes a broker; the factory of its built-in class.
HRESULT CreateDiscoveryBroker(const GUID& iid, void** object);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_DISCOVERY_COMPONENT_H_
