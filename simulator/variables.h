// The numbered variables of a device, with the profiles of the models that are known and the
// commands that set them.
#ifndef SCANTK_SIMULATOR_VARIABLES_H_
#define SCANTK_SIMULATOR_VARIABLES_H_

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulator/device_config.h"

namespace scantk::sim {

struct Variable {
  int64_t value = 0;
  int64_t minimum = 0;
  int64_t maximum = 0;
  int64_t at_reset = 0;
  bool is_text = false;
  std::string text;
};

// The numbers that the device itself works with.
namespace number {
inline constexpr int kModelAlternative = 18, kModel = 19, kModelRix = 20, kScanTo = 22;
inline constexpr int kFeederStatus = 23, kFeederPresent = 24;
inline constexpr int kErrorCount = 257, kOldestError = 261;
inline constexpr int kVendor = 503, kLockId = 505, kSpfSize = 507, kSpfData = 508;
inline constexpr int kPixelsPerLine = 1024, kBytesPerLine = 1025, kLinesPerScan = 1026;
inline constexpr int kFeederReady = 1027, kUrsState = 2100, kUrsVariable = 2101;
inline constexpr int kCompression = 10308, kDownloadType = 10309, kBitsPerPixel = 10312;
inline constexpr int kXResolution = 10323, kYResolution = 10324, kDataType = 10325;
inline constexpr int kDownloadLength = 10328, kLockTimeout = 10474, kXExtent = 10481;
inline constexpr int kYExtent = 10482, kXPosition = 10489, kYPosition = 10490;
inline constexpr int kToneMap = 10956;
inline constexpr int kXResolutionFlat = 11323, kYResolutionFlat = 11324, kYExtentFlat = 11482;
inline constexpr int kXResolutionFeeder = 12323, kYResolutionFeeder = 12324;
inline constexpr int kYExtentFeeder = 12482, kYExtentDuplex = 13482, kDuplexSupported = 13500;
inline constexpr int kDuplex = 13505, kDuplexVFlip = 13506, kDuplexHFlip = 13507;
inline constexpr int kDuplexFlip = 13510;
// Set only; no host asks for them.
inline constexpr int kScanType = -1, kTransferType = -2, kJpegFactor = -3, kPageSize = -4;
}  // namespace number

struct Profile;

class Variables {
 public:
  // Throws std::invalid_argument when no model is called so.
  explicit Variables(const std::string& model);

  const Variable* Find(int number) const;
  // Whether the device was told to deny having it, also where it would work the value out.
  bool Denied(int number) const { return denied_.count(number) != 0; }
  int64_t Get(int number, int64_t otherwise = 0) const;
  // Keeps the value within the variable's limits; false when the device has no such variable.
  bool Set(int number, int64_t value);
  void Change(const VariableOverride& change);
  void Reset();

  // The end-of-page record's counts come with their bytes reversed from this model.
  bool big_endian_rows() const;
  bool has_flatbed() const;

 private:
  const Profile& profile_;
  std::map<int, Variable> variables_;
  std::set<int> denied_;
};

// The page that the variables describe, on the glass and without a tone map. A depth that the data
// type does not have gives way to the nearest that it has.
PageSettings PageOf(const Variables& variables);

// A command (its group and letter), its name for the log, and the variable that it sets.
struct CommandName {
  char group;
  char letter;
  int number;  // 0: the command sets no variable
  const char* name;
};
std::optional<CommandName> FindCommand(char group, char letter);
// The name of a variable for the log, or "".
const char* VariableName(int number);
// The variable of this name or decimal number; 0 when there is none.
int FindVariable(const std::string& name);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_VARIABLES_H_
