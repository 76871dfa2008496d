// The devices that the stand-in for the discovery component knows: the lines of the device-store
// file, and the neighbours that the kernel has lately heard of.
//
// The file is named by SCANTK_DEVICE_STORE; without it, it is devices.txt beside the user's
// registry file, or else beside the system's. One device a line, in any order, with '#' before a
// comment:
//     guid={11223344-5566-7788-99AA-BBCCDDEEFF00} mac=00:11:22:33:44:55 address=10.0.0.9
// A device without an address is looked for among the neighbours by its MAC.
#ifndef SCANTK_PLATFORM_STAND_INS_DISCOVERY_STORE_H_
#define SCANTK_PLATFORM_STAND_INS_DISCOVERY_STORE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace scantk {

// The texts of one line; identities in normal form, what was not stated is empty.
struct StoredDevice {
  std::string guid;
  std::string mac;
  std::string address;
};

// Normal forms, so that spellings compare: a MAC is 12 lower-case hex digits (':', '-' and '.' in
// it do not count; empty when it is none), a GUID is in lower case without braces.
std::string NormalMac(std::string_view text);
std::string NormalGuid(std::string_view text);

// Reads a device-store file. What it does not understand it skips: unknown words, and identities
// and addresses that cannot be any (addresses are at most 79 printable characters without '\').
std::vector<StoredDevice> ParseDeviceStore(std::string_view text);

// The address of a MAC (in normal form) in the text of the kernel's neighbour table, or empty.
std::string NeighbourAddress(std::string_view table, std::string_view mac);

// The text of the kernel's neighbour table; empty when it cannot be read.
std::string ReadNeighbourTable();

// Where the device-store file is looked for.
std::string DeviceStorePath();

// One loading of the store, which may take several tries: while another process holds the file
// locked to write it, it is not ready. One thread.
class DeviceStoreLoader {
 public:
  explicit DeviceStoreLoader(std::string path) : path_(std::move(path)) {}

  // False: not ready, try again later. A missing file is an empty store. A writer that keeps the
  // lock for kMaxTries tries is not waited for any longer.
  bool Load(std::vector<StoredDevice>* devices);

  static constexpr int kMaxTries = 25;  // of 200 ms each

 private:
  std::string path_;
  int tries_ = 0;
};

// A device that matches every criterion given (an empty one is none), or false. An address that is
// not stored comes from `neighbours`, the text of the kernel's table, which also knows devices that
// the store does not; it may stay empty for a device that the store knows.
bool FindStoredDevice(const std::vector<StoredDevice>& devices, std::string_view neighbours,
                      std::string_view guid, std::string_view mac, StoredDevice* found);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_DISCOVERY_STORE_H_
