#include "simulator/variables.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "simulator/simulated_device.h"

namespace scantk::sim {
namespace {

using namespace number;

// A row for each kind of device. Extents are in 1/300 inch.
struct Profile {
  const char* name;
  const char* model;     // answered for its model; null: only the alternative inquiry
  const char* marketed;  // its marketing name; null when it has none
  bool flatbed;
  bool feeder;
  bool duplex;
  int max_x_dpi, max_y_dpi;
  int max_bits;
  int flat_length, feeder_length;
  bool own_flatbed_limits;  // has the flatbed's and the feeder's limits apart from the general ones
  bool handshake;
  bool spf;
  bool big_endian_rows;
};

constexpr Profile kProfiles[] = {
    {"ZM-11", "ZM-11", "ZM-11", true, false, false, 600, 600, 24, 3508, 0, false, false, false,
     false},
    {"ZM-12", "ZM-12", "ZM-12", true, true, false, 600, 1200, 24, 3508, 4200, false, false, false,
     false},
    {"ZM-13", "ZM-13", "ZR-618", true, true, false, 600, 600, 24, 3508, 4200, true, false, false,
     true},
    {"ZM-14", "ZM-14", "NPQ-S", false, true, false, 600, 600, 24, 0, 4200, true, false, false,
     false},
    {"ZM-15", "ZM-15", "VX3840", true, true, true, 1200, 1200, 30, 4200, 4200, true, false, false,
     false},
    {"ZM-16", "ZM-16", "ZT-4410", true, true, true, 600, 1200, 48, 3508, 4200, true, true, true,
     false},
    {"alternative", nullptr, nullptr, true, true, false, 300, 600, 24, 3600, 4200, false, false,
     false, false},
    {"unknown", "QX-99", "QX-99", true, false, false, 600, 600, 24, 3508, 0, true, false, false,
     false},
};

constexpr int kWidest = 2550;

const Profile& FindProfile(const std::string& name) {
  for (const Profile& profile : kProfiles)
    if (name == profile.name) return profile;
  throw std::invalid_argument("no model is called \"" + name + "\"");
}

constexpr CommandName kCommands[] = {
    {0, 'E', 0, "SL_RESET"},
    {'o', 'E', 0, "SL_CLEAR_ERRORS"},
    {'f', 'S', 0, "SL_START_SCAN"},
    {'f', 'H', 0, "SL_DEVLOCK"},
    {'u', 'U', 0, "SL_ADF_EJECT_PAGE"},
    {'u', 'X', 0, "SL_ADF_FEED_PAGE"},
    {'a', 'R', kXResolution, "SL_X_RESOLUTION"},
    {'a', 'S', kYResolution, "SL_Y_RESOLUTION"},
    {'f', 'X', kXPosition, "SL_XPOS_PIXEL"},
    {'f', 'Y', kYPosition, "SL_YPOS_PIXEL"},
    {'f', 'P', kXExtent, "SL_XEXT_PIXEL"},
    {'f', 'Q', kYExtent, "SL_YEXT_PIXEL"},
    {'a', 'T', kDataType, "SL_DATA_TYPE"},
    {'a', 'G', kBitsPerPixel, "SL_BITS_PER_PIXEL"},
    {'u', 'K', kToneMap, "SL_TONEMAP"},
    {'a', 'D', kDownloadType, "SL_DOWNLOAD_TYPE"},
    {'a', 'W', kDownloadLength, "SL_DOWNLOAD_LENGTH"},
    {'a', 'C', kCompression, "SL_COMPRESSION"},
    {'f', 'I', kLockTimeout, "SL_DEVLOCK_TIMEOUT"},
    {'m', 'O', kPageSize, "SL_SET_ADF_PAGESIZE"},
    {'m', 'S', kTransferType, "SL_SCAN_TRANSFER_TYPE"},
    {'m', 'Q', kJpegFactor, "SL_JPEG_COMPRESSION"},
    {'m', 'U', kUrsState, "SL_URS_STATE"},
    {'m', 'B', kScanType, "SL_SCANTYPE"},
    {'d', 'D', kDuplex, "SL_DUPLEX"},
    {'d', 'V', kDuplexVFlip, "SL_DUPLEX_VFLIP"},
    {'d', 'H', kDuplexHFlip, "SL_DUPLEX_HFLIP"},
};

struct NumberName {
  int number;
  const char* name;
};
constexpr NumberName kNames[] = {
    {kModelAlternative, "SL_MODEL_ID_ALT"},
    {kModel, "SL_MODEL_ID"},
    {kModelRix, "SL_MODEL_RIX"},
    {kScanTo, "SL_SCANTO_SETTINGS"},
    {kFeederStatus, "SL_ADF_STATUS"},
    {kFeederPresent, "SL_ADF_PRESENT"},
    {kErrorCount, "SL_ERROR_COUNT"},
    {kOldestError, "SL_OLDEST_ERROR"},
    {kVendor, "SL_SCANNER_VENDOR"},
    {kLockId, "SL_DEVLOCK_ID"},
    {kSpfSize, "SL_SPF_SIZE"},
    {kSpfData, "SL_SPF_DATA"},
    {kPixelsPerLine, "SL_PIXELS_PER_LINE"},
    {kBytesPerLine, "SL_BYTES_PER_LINE"},
    {kLinesPerScan, "SL_LINES_PER_SCAN"},
    {kFeederReady, "SL_ADF_READY"},
    {kUrsVariable, "SL_URS_VARIABLE"},
    {kXResolutionFlat, "SL_X_RESOLUTION_FLAT"},
    {kYResolutionFlat, "SL_Y_RESOLUTION_FLAT"},
    {kYExtentFlat, "SL_YEXT_PIXEL_FLAT"},
    {kXResolutionFeeder, "SL_X_RESOLUTION_ADF"},
    {kYResolutionFeeder, "SL_Y_RESOLUTION_ADF"},
    {kYExtentFeeder, "SL_YEXT_PIXEL_ADF"},
    {kYExtentDuplex, "SL_YEXT_PIXEL_DUPLEX"},
    {kDuplexSupported, "SL_DUPLEX_SUPPORTED"},
    {kDuplexFlip, "SL_DUPLEX_FLIP"},
};

}  // namespace

Variables::Variables(const std::string& model) {
  const Profile& profile = FindProfile(model);
  big_endian_rows_ = profile.big_endian_rows;
  has_flatbed_ = profile.flatbed;
  if (profile.model)
    AddText(kModel, profile.model);
  else
    AddText(kModelAlternative, "a device of the first kind");
  if (profile.marketed) AddText(kModelRix, profile.marketed);

  Add(kXResolution, 300, 75, profile.max_x_dpi);
  Add(kYResolution, 300, 75, profile.max_y_dpi);
  const int longest = std::max(profile.flat_length, profile.feeder_length);
  const int window = profile.flatbed ? profile.flat_length : profile.feeder_length;
  Add(kXPosition, 0, 0, kWidest);
  Add(kYPosition, 0, 0, longest);
  Add(kXExtent, kWidest, 8, kWidest);
  Add(kYExtent, window, 8, window);
  variables_[kYExtent].maximum = profile.own_flatbed_limits ? longest : window;
  Add(kDataType, 5, 0, 5);
  Add(kBitsPerPixel, 24, 1, profile.max_bits);
  Add(kToneMap, 0, -1, 10);
  Add(kDownloadType, 0, 0, 100);
  Add(kDownloadLength, 0, 0, 1 << 20);
  Add(kCompression, 0, 0, 2);
  Add(kLockTimeout, 0, 0, 3600);
  Add(kScanType, 0, 0, 1);
  Add(kTransferType, 0, 0, 2);
  Add(kJpegFactor, 2, 0, 5);
  Add(kPageSize, 0, 0, 10);
  Add(kFeederPresent, profile.feeder, 0, 1);
  Add(kVendor, 1, 0, 5);
  if (profile.own_flatbed_limits && profile.flatbed) {
    Add(kXResolutionFlat, 300, 75, profile.max_x_dpi);
    Add(kYResolutionFlat, 300, 75, profile.max_y_dpi);
    Add(kYExtentFlat, profile.flat_length, 8, profile.flat_length);
  }
  if (profile.own_flatbed_limits && profile.feeder) {
    Add(kXResolutionFeeder, 300, 75, std::min(profile.max_x_dpi, 600));
    Add(kYResolutionFeeder, 300, 75, std::min(profile.max_y_dpi, 600));
    Add(kYExtentFeeder, profile.feeder_length, 8, profile.feeder_length);
  }
  if (profile.feeder) {
    Add(kDuplexSupported, profile.duplex, 0, 1);
    Add(kDuplex, 0, 0, 1);
    Add(kDuplexVFlip, 0, 0, 1);
    Add(kDuplexHFlip, 0, 0, 1);
  }
  if (profile.duplex) {
    Add(kYExtentDuplex, profile.feeder_length, 8, profile.feeder_length);
    Add(kDuplexFlip, 0, 0, 2);
  }
  if (profile.handshake) {
    Add(kScanTo, 2, 0, 10);
    Add(kUrsState, 1, 1, 3);
    Add(kUrsVariable, 0, 0, 1);
  }
  if (profile.spf) {
    AddText(kSpfData, "<settings owner=\"simulated device\"/>");
    Add(kSpfSize, static_cast<int64_t>(variables_[kSpfData].text.size()), 0, 1 << 20);
  }
}

void Variables::Add(int number, int64_t value, int64_t minimum, int64_t maximum) {
  variables_[number] = {value, minimum, maximum, value, false, ""};
}

void Variables::AddText(int number, const std::string& text) {
  Variable& variable = variables_[number];
  variable.is_text = true;
  variable.text = text;
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

const CommandName* FindCommand(char group, char letter) {
  for (const CommandName& command : kCommands)
    if (command.group == group && command.letter == letter) return &command;
  return nullptr;
}

const char* VariableName(int number) {
  for (const NumberName& entry : kNames)
    if (entry.number == number) return entry.name;
  for (const CommandName& command : kCommands)
    if (command.number == number && number != 0) return command.name;
  return "";
}

int FindVariable(const std::string& name) {
  for (const NumberName& entry : kNames)
    if (name == entry.name) return entry.number;
  for (const CommandName& command : kCommands)
    if (command.number != 0 && name == command.name) return command.number;
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
