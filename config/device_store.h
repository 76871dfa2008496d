// The dialogue with the discovery component's store of devices.
#ifndef SCANTK_CONFIG_DEVICE_STORE_H_
#define SCANTK_CONFIG_DEVICE_STORE_H_

#include <cstdint>
#include <string>

#include "diag/trace_log.h"

namespace scantk {

// Asks the store for the device with that GUID, then for the one with that MAC address (an empty
// text is not asked for). 0 when the store answered; *address is then its address, or as it was
// when the answer was empty. E_FAIL: not found; otherwise the component's result.
uint32_t AskDeviceStore(const std::string& guid, const std::string& mac, std::string* address,
                        TraceLog& trace);

}  // namespace scantk

#endif  // SCANTK_CONFIG_DEVICE_STORE_H_
