// Writes what the toolkit learnt about a device where the host's own components read it.
#include <algorithm>
#include <cstring>

#include "config/device_settings.h"
#include "config/registry_wait.h"
#include "platform/registry_values.h"

namespace scantk {
namespace {

constexpr uint32_t kModelSize = sizeof(SCANNER_CAPABILITIES::byModelNumber);
constexpr uint32_t kLegalHeight = 14 * T_UNITS_PER_INCH;

std::string ModelOf(const SCANNER_CAPABILITIES& record) {
  const uint8_t* begin = record.byModelNumber;
  return std::string(begin, std::find(begin, begin + kModelSize, 0));
}

bool EqualsNoCase(const std::string& a, const char* b) {
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  return a.size() == std::strlen(b) &&
         std::equal(a.begin(), a.end(), b, [&](char x, char y) { return lower(x) == lower(y); });
}

uint32_t MaxPixelDepth(const SCANNER_CAPABILITIES& record) {
  uint32_t depth = 0;
  for (uint8_t bits : record.byColorBitsPerChannel) {
    if (bits == 0) break;
    depth = std::max<uint32_t>(depth, bits);
  }
  return depth;
}

// Whether the values must be written: not when the stored model is that of the device.
bool ModelChanged(TraceLog& trace, const RegistryKey& data, const std::string& model) {
  char stored[kModelSize] = {};
  if (!QueryText(data, "ModelString", stored, sizeof stored)) {
    trace.PrintText(TRACE_DEFAULT, "StoreVelkanCaps: Couldn't read ModelString");
    return true;
  }
  if (EqualsNoCase(model, stored)) {
    trace.PrintText(TRACE_INFO, "StoreVelkanCaps: No change in ModelString - skipping update");
    return false;
  }
  trace.Print("StoreVelkanCaps: ModelString changed - old:%s, new:%s", stored, model);
  return true;
}

// Writes the values in the order in which the host's components expect them to appear.
class Writer {
 public:
  Writer(TraceLog& trace, RegistryKey& data) : trace_(trace), data_(data) {}

  void Number(const char* name, uint32_t value) {
    TraceRegistryWait(trace_, data_.SetDword(name, value), name);
    trace_.Print(TRACE_INFO, "StoreVelkanCaps: Set %s = %d", name, value);
  }

  void Capabilities(const LearntCapabilities& l) {
    const bool duplex_feeder = l.adf3.byHasADF != 0 || l.adf2.byHasADF != 0;
    Number("HWCompressionTypesSupported", l.compression.dwTypesOfCompression);
    Number("HWCompressionTypeDefault", l.compression.dwDefaultCompressionType);
    Number("HWMaxPixelDepth", MaxPixelDepth(l.scanner));
    Number("HWLegalConfigSupported",
           l.scanner.dwMaximumHeight >= kLegalHeight || l.adf.dwMaximumHeight >= kLegalHeight);
    Number("ADFSupported", l.adf.byHasADF != 0 || l.adf3.byHasADF != 0);
    Number("ADFDuplexSupported",
           duplex_feeder && (l.adf3.dwADFOptionsSupported & T_ADF_DUPLEX) != 0);
    Number("HasADFDuplexSwitch", l.adf3.byHasADF != 0 && l.adf3.byHasHWDuplexToggle != 0);
    Number("HWExtendedLampSupported", 0);
    Number("TMASupported", 0);
    ScanButton(l.panel);
  }

  void Model(const std::string& model) {
    const auto size = static_cast<uint32_t>(model.size()) + 1;
    TraceRegistryWait(trace_, data_.SetString("ModelString", model.c_str(), size), "ModelString");
    trace_.Print(TRACE_INFO, "StoreVelkanCaps: Set ModelString = %s", model);
  }

  // 1 asks to be told, once, that the values are there: it becomes 2.
  void LoadSettingsOnce() {
    uint32_t once = 0;
    if (!QueryDword(data_, "LoadSettingsOnce", &once)) {
      trace_.PrintText(TRACE_INFO,
                       "StoreVelkanCaps: LoadSettingsOnce not registry (OK, do it every time)");
      return;
    }
    trace_.Print(TRACE_INFO, "StoreVelkanCaps: LoadSettingsOnce in registry %d", once);
    if (once == 1) Number("LoadSettingsOnce", 2);
  }

 private:
  // Without a panel an existing value is somebody else's knowledge and stays.
  void ScanButton(const CONTROL_PANEL_CAPABILITIES& panel) {
    uint32_t size = 0;
    if (panel.byHasControlPanel)
      Number("HasScanButton", std::min<uint32_t>(panel.dwDestinationListEntries, 2));
    else if (data_.QueryValue("HasScanButton", nullptr, nullptr, &size) != 0)
      Number("HasScanButton", 0);
  }

  TraceLog& trace_;
  RegistryKey& data_;
};

}  // namespace

uint32_t StoreVelkanCaps(TraceLog& trace, const char* device_key_name,
                         const LearntCapabilities& learnt) {
  const std::string model = ModelOf(learnt.scanner);
  if (model.empty()) {
    trace.PrintText(TRACE_CLASS_ERROR, "StoreVelkanCaps: Empty Model String ... returning");
    return 0;
  }
  RegistryKey classes;
  if (RegistryKey::OpenImagingClass(&classes) != 0) {
    trace.PrintText(TRACE_DEFAULT, "StoreVelkanCaps: Couldn't open Imaging Class Key");
    return 0;
  }
  RegistryKey data;
  const std::string path = std::string(device_key_name) + "\\DeviceData";
  if (classes.OpenSubkey(path, RegistryAccess::kReadWrite, &data) != 0) {
    trace.PrintText(TRACE_CLASS_ERROR,
                    "StoreVelkanCaps: Couln't open DeviceData Key with Read|Write");
    return 0;
  }
  if (ModelChanged(trace, data, model)) {
    Writer writer(trace, data);
    writer.Capabilities(learnt);
    writer.Model(model);
    writer.LoadSettingsOnce();
  }
  return 1;
}

}  // namespace scantk
