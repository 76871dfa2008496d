#include "simulator/variables.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>

namespace scantk::sim {

// A row for each kind of device. Extents are in 1/300 inch.
struct Profile {
  const char* name;
  const char* model = nullptr;     // answered for its model; null: only the alternative inquiry
  const char* marketed = nullptr;  // its marketing name; null when it has none
  bool flatbed = true;
  bool feeder = false;
  bool duplex = false;
  int back_flip = 0;  // what of turning a back side the device leaves to the host, as it answers
  int max_x_dpi = 600, max_y_dpi = 600;
  int max_bits = 24;
  int flat_length = 3508, feeder_length = 0;
  bool own_limits = false;  // has the flatbed's and the feeder's limits apart from the general ones
  bool handshake = false;
  bool spf = false;
  bool big_endian_rows = false;

  int longest() const { return std::max(flat_length, feeder_length); }
  int window() const { return flatbed ? flat_length : feeder_length; }
};

namespace {

using namespace number;

// clang-format off
constexpr Profile kProfiles[] = {
    {.name = "ZM-11", .model = "ZM-11", .marketed = "ZM-11"},
    {.name = "ZM-12", .model = "ZM-12", .marketed = "ZM-12", .feeder = true, .max_y_dpi = 1200,
     .feeder_length = 4200},
    {.name = "ZM-13", .model = "ZM-13", .marketed = "ZR-618", .feeder = true,
     .feeder_length = 4200, .own_limits = true, .big_endian_rows = true},
    {.name = "ZM-14", .model = "ZM-14", .marketed = "NPQ-S", .flatbed = false, .feeder = true,
     .flat_length = 0, .feeder_length = 4200, .own_limits = true},
    {.name = "ZM-15", .model = "ZM-15", .marketed = "VX3840", .feeder = true, .duplex = true,
     .back_flip = 1, .max_x_dpi = 1200, .max_y_dpi = 1200, .max_bits = 30, .flat_length = 4200,
     .feeder_length = 4200, .own_limits = true},
    {.name = "ZM-16", .model = "ZM-16", .marketed = "ZT-4410", .feeder = true, .duplex = true,
     .back_flip = 2, .max_y_dpi = 1200, .max_bits = 48, .feeder_length = 4200, .own_limits = true,
     .handshake = true, .spf = true},
    {.name = "alternative", .feeder = true, .max_x_dpi = 300, .flat_length = 3600,
     .feeder_length = 4200},
    {.name = "unknown", .model = "QX-99", .marketed = "QX-99", .own_limits = true},
};
// clang-format on

constexpr int kWidest = 2550;
constexpr int kFeederDpi = 600;
constexpr std::string_view kSpf = "<settings owner=\"simulated device\"/>";

const Profile& FindProfile(const std::string& name) {
  for (const Profile& profile : kProfiles)
    if (name == profile.name) return profile;
  throw std::invalid_argument("no model is called \"" + name + "\"");
}

using Made = std::optional<Variable>;
using P = const Profile&;

Made Number(int64_t value, int64_t minimum, int64_t maximum) {
  return Variable{value, minimum, maximum, value, false, ""};
}
Made Text(std::string_view text) {
  return Variable{0, 0, 0, 0, true, std::string(text)};
}
Made If(bool has, Made made) {
  return has ? std::move(made) : std::nullopt;
}
Made Switch(P) {
  return Number(0, 0, 1);
}
Made DuplexSwitch(P p) {
  return If(p.duplex, Switch(p));
}

// All that a host can ask for or command.
struct Row {
  int number;          // 0: a command that sets no variable
  char group, letter;  // of the command; no letter: there is none
  const char* name;
  Made (*make)(P);  // null: there is no variable, or the device works its value out
};
constexpr Row kRows[] = {
    {0, 0, 'E', "SL_RESET", nullptr},
    {0, 'o', 'E', "SL_CLEAR_ERRORS", nullptr},
    {0, 'f', 'S', "SL_START_SCAN", nullptr},
    {0, 'f', 'H', "SL_DEVLOCK", nullptr},
    {0, 'u', 'U', "SL_ADF_EJECT_PAGE", nullptr},
    {0, 'u', 'X', "SL_ADF_FEED_PAGE", nullptr},
    {kModelAlternative, 0, 0, "SL_MODEL_ID_ALT",
     [](P p) { return If(!p.model, Text("a device of the first kind")); }},
    {kModel, 0, 0, "SL_MODEL_ID", [](P p) { return If(p.model, Text(p.model ? p.model : "")); }},
    {kModelRix, 0, 0, "SL_MODEL_RIX",
     [](P p) { return If(p.marketed, Text(p.marketed ? p.marketed : "")); }},
    {kScanTo, 0, 0, "SL_SCANTO_SETTINGS", [](P p) { return If(p.handshake, Number(2, 0, 10)); }},
    {kFeederStatus, 0, 0, "SL_ADF_STATUS", nullptr},
    {kFeederPresent, 0, 0, "SL_ADF_PRESENT", [](P p) { return Number(p.feeder, 0, 1); }},
    {kErrorCount, 0, 0, "SL_ERROR_COUNT", nullptr},
    {kOldestError, 0, 0, "SL_OLDEST_ERROR", nullptr},
    {kVendor, 0, 0, "SL_SCANNER_VENDOR", [](P) { return Number(1, 0, 5); }},
    {kLockId, 0, 0, "SL_DEVLOCK_ID", nullptr},
    {kSpfSize, 0, 0, "SL_SPF_SIZE",
     [](P p) { return If(p.spf, Number(static_cast<int64_t>(kSpf.size()), 0, 1 << 20)); }},
    {kSpfData, 0, 0, "SL_SPF_DATA", [](P p) { return If(p.spf, Text(kSpf)); }},
    {kPixelsPerLine, 0, 0, "SL_PIXELS_PER_LINE", nullptr},
    {kBytesPerLine, 0, 0, "SL_BYTES_PER_LINE", nullptr},
    {kLinesPerScan, 0, 0, "SL_LINES_PER_SCAN", nullptr},
    {kFeederReady, 0, 0, "SL_ADF_READY", nullptr},
    {kUrsState, 'm', 'U', "SL_URS_STATE", [](P p) { return If(p.handshake, Number(1, 1, 3)); }},
    {kUrsVariable, 0, 0, "SL_URS_VARIABLE", [](P p) { return If(p.handshake, Switch(p)); }},
    {kXResolution, 'a', 'R', "SL_X_RESOLUTION", [](P p) { return Number(300, 75, p.max_x_dpi); }},
    {kYResolution, 'a', 'S', "SL_Y_RESOLUTION", [](P p) { return Number(300, 75, p.max_y_dpi); }},
    {kXPosition, 'f', 'X', "SL_XPOS_PIXEL", [](P) { return Number(0, 0, kWidest); }},
    {kYPosition, 'f', 'Y', "SL_YPOS_PIXEL", [](P p) { return Number(0, 0, p.longest()); }},
    {kXExtent, 'f', 'P', "SL_XEXT_PIXEL", [](P) { return Number(kWidest, 8, kWidest); }},
    {kYExtent, 'f', 'Q', "SL_YEXT_PIXEL",
     [](P p) { return Number(p.window(), 8, p.own_limits ? p.longest() : p.window()); }},
    {kDataType, 'a', 'T', "SL_DATA_TYPE", [](P) { return Number(5, 0, 5); }},
    {kBitsPerPixel, 'a', 'G', "SL_BITS_PER_PIXEL", [](P p) { return Number(24, 1, p.max_bits); }},
    {kToneMap, 'u', 'K', "SL_TONEMAP", [](P) { return Number(0, -1, 10); }},
    {kDownloadType, 'a', 'D', "SL_DOWNLOAD_TYPE", [](P) { return Number(0, 0, 100); }},
    {kDownloadLength, 'a', 'W', "SL_DOWNLOAD_LENGTH", [](P) { return Number(0, 0, 1 << 20); }},
    {kCompression, 'a', 'C', "SL_COMPRESSION", [](P) { return Number(0, 0, 2); }},
    {kLockTimeout, 'f', 'I', "SL_DEVLOCK_TIMEOUT", [](P) { return Number(0, 0, 3600); }},
    {kPageSize, 'm', 'O', "SL_SET_ADF_PAGESIZE", [](P) { return Number(0, 0, 10); }},
    {kTransferType, 'm', 'S', "SL_SCAN_TRANSFER_TYPE", [](P) { return Number(0, 0, 2); }},
    {kJpegFactor, 'm', 'Q', "SL_JPEG_COMPRESSION", [](P) { return Number(2, 0, 5); }},
    {kScanType, 'm', 'B', "SL_SCANTYPE", Switch},
    {kXResolutionFlat, 0, 0, "SL_X_RESOLUTION_FLAT",
     [](P p) { return If(p.own_limits && p.flatbed, Number(300, 75, p.max_x_dpi)); }},
    {kYResolutionFlat, 0, 0, "SL_Y_RESOLUTION_FLAT",
     [](P p) { return If(p.own_limits && p.flatbed, Number(300, 75, p.max_y_dpi)); }},
    {kYExtentFlat, 0, 0, "SL_YEXT_PIXEL_FLAT",
     [](P p) { return If(p.own_limits && p.flatbed, Number(p.flat_length, 8, p.flat_length)); }},
    {kXResolutionFeeder, 0, 0, "SL_X_RESOLUTION_ADF",
     [](P p) {
       return If(p.own_limits && p.feeder, Number(300, 75, std::min(p.max_x_dpi, kFeederDpi)));
     }},
    {kYResolutionFeeder, 0, 0, "SL_Y_RESOLUTION_ADF",
     [](P p) {
       return If(p.own_limits && p.feeder, Number(300, 75, std::min(p.max_y_dpi, kFeederDpi)));
     }},
    {kYExtentFeeder, 0, 0, "SL_YEXT_PIXEL_ADF",
     [](P p) { return If(p.own_limits && p.feeder, Number(p.feeder_length, 8, p.feeder_length)); }},
    {kYExtentDuplex, 0, 0, "SL_YEXT_PIXEL_DUPLEX",
     [](P p) { return If(p.duplex, Number(p.feeder_length, 8, p.feeder_length)); }},
    {kDuplexSupported, 0, 0, "SL_DUPLEX_SUPPORTED",
     [](P p) { return If(p.feeder, Number(p.duplex, 0, 1)); }},
    {kDuplex, 'd', 'D', "SL_DUPLEX", DuplexSwitch},
    {kDuplexVFlip, 'd', 'V', "SL_DUPLEX_VFLIP", DuplexSwitch},
    {kDuplexHFlip, 'd', 'H', "SL_DUPLEX_HFLIP", DuplexSwitch},
    {kDuplexFlip, 0, 0, "SL_DUPLEX_FLIP",
     [](P p) { return If(p.duplex, Number(p.back_flip, 0, 2)); }},
};

// The depth of a page when `asked` is set.
int Depth(DataType type, int64_t asked) {
  if (type == DataType::kThreshold || type == DataType::kDither) return 1;
  const int components = type == DataType::kColor ? 3 : 1;
  for (int bits : {10, 12, 16})
    if (asked == bits * components) return bits * components;
  return 8 * components;
}

}  // namespace

Variables::Variables(const std::string& model) : profile_(FindProfile(model)) {
  for (const Row& row : kRows)
    if (Made made = row.make ? row.make(profile_) : std::nullopt) variables_[row.number] = *made;
}

const Variable* Variables::Find(int number) const {
  auto found = variables_.find(number);
  return found == variables_.end() ? nullptr : &found->second;
}

int64_t Variables::Get(int number, int64_t otherwise) const {
  const Variable* variable = Find(number);
  return variable ? variable->value : otherwise;
}

bool Variables::Set(int number, int64_t value) {
  auto found = variables_.find(number);
  if (found == variables_.end()) return false;
  found->second.value = std::clamp(value, found->second.minimum, found->second.maximum);
  return true;
}

void Variables::Change(const VariableOverride& change) {
  if (change.null) {
    variables_.erase(change.number);
    denied_.insert(change.number);
    return;
  }
  denied_.erase(change.number);
  Variable& variable = variables_[change.number];
  if (change.text) {
    variable.is_text = true;
    variable.text = *change.text;
  }
  if (change.minimum) variable.minimum = *change.minimum;
  if (change.maximum) variable.maximum = *change.maximum;
  if (change.value) {
    variable.value = variable.at_reset = *change.value;
    variable.minimum = std::min(variable.minimum, variable.value);
    variable.maximum = std::max(variable.maximum, variable.value);
  }
}

// What a job set is forgotten; what the person at the device chose is not.
void Variables::Reset() {
  for (auto& [number, variable] : variables_)
    if (number != kUrsState && number != kLockTimeout) variable.value = variable.at_reset;
}

bool Variables::big_endian_rows() const {
  return profile_.big_endian_rows;
}

bool Variables::has_flatbed() const {
  return profile_.flatbed;
}

PageSettings PageOf(const Variables& variables) {
  const auto get = [&](int number) { return static_cast<int>(variables.Get(number)); };
  PageSettings page;
  page.x_dpi = get(kXResolution);
  page.y_dpi = get(kYResolution);
  page.left = get(kXPosition);
  page.top = get(kYPosition);
  page.width = get(kXExtent);
  page.height = get(kYExtent);
  page.data_type = static_cast<DataType>(get(kDataType));
  page.bits_per_pixel = Depth(page.data_type, get(kBitsPerPixel));
  return page;
}

std::optional<CommandName> FindCommand(char group, char letter) {
  for (const Row& row : kRows)
    if (row.letter != 0 && row.group == group && row.letter == letter)
      return CommandName{group, letter, row.number, row.name};
  return {};
}

const char* VariableName(int number) {
  for (const Row& row : kRows)
    if (number != 0 && row.number == number) return row.name;
  return "";
}

int FindVariable(const std::string& name) {
  for (const Row& row : kRows)
    if (row.number != 0 && name == row.name) return row.number;
  int value = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), value);
  return error == std::errc() && end == name.data() + name.size() && value > 0 ? value : 0;
}

std::vector<std::string> ModelNames() {
  std::vector<std::string> names;
  for (const Profile& profile : kProfiles) names.push_back(profile.name);
  return names;
}

}  // namespace scantk::sim
