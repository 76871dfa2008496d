// The device-store file, and the kernel's neighbour table in which devices are looked for.
//
// Input: the store, a line with a plus sign alone, the table.
#include "fuzz/fuzz_input.h"
#include "platform/posix/discovery_store.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

constexpr size_t kMostCharacters = 79;

void RequireDevice(const StoredDevice& device) {
  Require(device.mac.empty() || device.mac == NormalMac(device.mac), "a MAC is in normal form");
  Require(device.guid.size() <= kMostCharacters, "a GUID is bounded");
  Require(device.address.size() <= kMostCharacters &&
              device.address.find_first_of("\\ \n") == std::string::npos,
          "an address can stand in a device name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string both(data, data + std::min<size_t>(size, 8192));
  const size_t cut = std::min(both.find("\n+\n"), both.size());
  const std::string store = both.substr(0, cut);
  const std::string table = both.substr(std::min(cut + 3, both.size()));

  const std::vector<StoredDevice> devices = ParseDeviceStore(store);
  for (const StoredDevice& device : devices) {
    RequireDevice(device);
    StoredDevice found;
    Require(FindStoredDevice(devices, table, device.guid, device.mac, &found),
            "a device that is stored is found");
    RequireDevice(found);
    NeighbourAddress(table, device.mac);
  }
  StoredDevice stranger;
  if (FindStoredDevice(devices, table, "", "00:11:22:33:44:55", &stranger)) RequireDevice(stranger);
  return 0;
}
