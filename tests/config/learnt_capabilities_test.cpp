#include <gtest/gtest.h>

#include <cstring>

#include "config/device_settings.h"
#include "tests/config/config_fixture.h"

namespace scantk {
namespace {

struct Records {
  SCANNER_CAPABILITIES scanner = {};
  ADF_CAPABILITIES adf = {};
  ADF2_CAPABILITIES adf2 = {};
  ADF3_CAPABILITIES adf3 = {};
  COMPRESSION_CAPABILITIES compression = {};
  CONTROL_PANEL_CAPABILITIES panel = {};
};

class LearntCapabilities : public ConfigFixture {
 protected:
  static uint32_t Store(Records& r, const char* model = "MODEL A", const char* key = "7001") {
    TraceLog trace;
    std::memcpy(r.scanner.byModelNumber, model, std::strlen(model));
    return StoreVelkanCaps(trace, key, {r.scanner, r.adf, r.adf2, r.adf3, r.compression, r.panel});
  }
};

// Catches a value that does not follow from the records, or overwrites what another one knew.
TEST_F(LearntCapabilities, ValuesFollowTheRecords) {
  using R = Records;
  const struct {
    void (*learn)(R&);
    const char *name, *value;
  } cases[] = {
      {[](R& r) { r.scanner.dwMaximumHeight = 4199; }, "HWLegalConfigSupported", "0"},
      {[](R& r) { r.scanner.dwMaximumHeight = 4200; }, "HWLegalConfigSupported", "1"},
      {[](R& r) { r.adf.dwMaximumHeight = 4200; }, "HWLegalConfigSupported", "1"},
      {[](R& r) { r.compression.dwTypesOfCompression = 5; }, "HWCompressionTypesSupported", "5"},
      {[](R& r) { r.compression.dwDefaultCompressionType = 4; }, "HWCompressionTypeDefault", "4"},
      // The last depth is behind the list's end.
      {[](R& r) { std::memcpy(r.scanner.byColorBitsPerChannel, "\10\20\14\0\40", 5); },
       "HWMaxPixelDepth", "16"},
      {[](R& r) { r.adf.byHasADF = 1; }, "ADFSupported", "1"},
      {[](R& r) { r.adf2.byHasADF = 1; }, "ADFSupported", "0"},
      {[](R& r) { r.adf3.byHasADF = 1; }, "ADFSupported", "1"},
      {[](R& r) { r.adf2.byHasADF = 1, r.adf3.dwADFOptionsSupported = T_ADF_DUPLEX; },
       "ADFDuplexSupported", "1"},
      {[](R& r) { r.adf.byHasADF = 1, r.adf3.dwADFOptionsSupported = T_ADF_DUPLEX; },
       "ADFDuplexSupported", "0"},
      {[](R& r) { r.adf3.byHasADF = r.adf3.byHasHWDuplexToggle = 1; }, "HasADFDuplexSwitch", "1"},
      {[](R& r) { r.adf3.byHasHWDuplexToggle = 1; }, "HasADFDuplexSwitch", "0"},
      {[](R&) {}, "HasScanButton", "0"},
      {[](R& r) { r.panel.byHasControlPanel = 1, r.panel.dwDestinationListEntries = 1; },
       "HasScanButton", "1"},
      {[](R&) {}, "HasScanButton", "1"},  // what another knew stays
      {[](R& r) { r.panel.byHasControlPanel = 1, r.panel.dwDestinationListEntries = 7; },
       "HasScanButton", "2"},
      {[](R&) {}, "LoadSettingsOnce", "2"},
      {[](R&) {}, "ModelString", "MODEL A"}};
  Instance("7001");
  RegistryKey data = Data("7001");
  data.SetDword("LoadSettingsOnce", 1);
  for (const auto& c : cases) {
    Records records;
    c.learn(records);
    Set(data, "ModelString", "before");
    EXPECT_EQ(1u, Store(records));
    EXPECT_EQ(c.value, Get(data, c.name)) << c.name << " " << &c - cases;
  }
  Records records;
  data.SetDword("LoadSettingsOnce", 3);
  Set(data, "ModelString", "before");
  EXPECT_EQ(1u, Store(records));
  EXPECT_EQ("3", Get(data, "LoadSettingsOnce")) << "only 1 becomes 2";
}

TEST_F(LearntCapabilities, WritesNothingForTheSameModel) {
  Instance("7001");
  RegistryKey data = Data("7001");
  Records records;
  EXPECT_EQ(0u, Store(records, ""));
  Set(data, "ModelString", "model a");
  EXPECT_EQ(1u, Store(records));
  EXPECT_EQ("none", Get(data, "ADFSupported"));
  // A model that fills its field does not fit the comparison and is written every time.
  Set(data, "ModelString", "0123456789ABCDEF");
  EXPECT_EQ(1u, Store(records, "0123456789ABCDEF"));
  EXPECT_EQ("0", Get(data, "ADFSupported"));
  EXPECT_EQ(0u, Store(records, "MODEL A", "7009"));
}

}  // namespace
}  // namespace scantk
