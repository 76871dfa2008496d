#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "config/device_settings.h"
#include "tests/config/config_fixture.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class StoreVelkanCapsTest : public ConfigFixture {
 protected:
  StoreVelkanCapsTest() {
    Instance("7001");
    data_ = Data("7001");
    Model("MODEL A");
  }

  void Model(const char* text) {
    std::memset(scanner_.byModelNumber, 0, sizeof scanner_.byModelNumber);
    std::memcpy(scanner_.byModelNumber, text, std::strlen(text));
  }
  uint32_t Store(const char* key = "7001") {
    TraceLog trace;
    NewLines();
    return StoreVelkanCaps(trace, key, {scanner_, adf_, adf2_, adf3_, compression_, panel_});
  }
  // Stores whatever the model was before, and gives a value back.
  std::string Stored(const char* name) {
    Set(data_, "ModelString", "before");
    EXPECT_EQ(1u, Store());
    return Get(data_, name);
  }

  RegistryKey data_;
  SCANNER_CAPABILITIES scanner_ = {};
  ADF_CAPABILITIES adf_ = {};
  ADF2_CAPABILITIES adf2_ = {};
  ADF3_CAPABILITIES adf3_ = {};
  COMPRESSION_CAPABILITIES compression_ = {};
  CONTROL_PANEL_CAPABILITIES panel_ = {};
};

TEST_F(StoreVelkanCapsTest, WritesEverythingInOrderWhenTheModelChanged) {
  compression_.dwTypesOfCompression = 5;
  compression_.dwDefaultCompressionType = 4;
  scanner_.byColorBitsPerChannel[0] = 8;
  scanner_.byColorBitsPerChannel[1] = 16;
  scanner_.byColorBitsPerChannel[2] = 12;
  scanner_.byColorBitsPerChannel[4] = 32;  // behind the list's end
  scanner_.dwMaximumHeight = 4199;
  adf_.dwMaximumHeight = 4200;
  adf3_.byHasADF = 1;
  adf3_.byHasHWDuplexToggle = 1;
  adf3_.dwADFOptionsSupported = T_ADF_DUPLEX;
  panel_.byHasControlPanel = 1;
  panel_.dwDestinationListEntries = 7;
  Set(data_, "ModelString", "old");
  data_.SetDword("LoadSettingsOnce", 1);
  EXPECT_EQ(1u, Store());
  EXPECT_THAT(NewLines(), ElementsAre("StoreVelkanCaps: ModelString changed - old:old, new:MODEL A",
                                      "StoreVelkanCaps: Set HWCompressionTypesSupported = 5",
                                      "StoreVelkanCaps: Set HWCompressionTypeDefault = 4",
                                      "StoreVelkanCaps: Set HWMaxPixelDepth = 16",
                                      "StoreVelkanCaps: Set HWLegalConfigSupported = 1",
                                      "StoreVelkanCaps: Set ADFSupported = 1",
                                      "StoreVelkanCaps: Set ADFDuplexSupported = 1",
                                      "StoreVelkanCaps: Set HasADFDuplexSwitch = 1",
                                      "StoreVelkanCaps: Set HWExtendedLampSupported = 0",
                                      "StoreVelkanCaps: Set TMASupported = 0",
                                      "StoreVelkanCaps: Set HasScanButton = 2",
                                      "StoreVelkanCaps: Set ModelString = MODEL A",
                                      "StoreVelkanCaps: LoadSettingsOnce in registry 1",
                                      "StoreVelkanCaps: Set LoadSettingsOnce = 2"));
  EXPECT_EQ("2", Get(data_, "LoadSettingsOnce"));
  EXPECT_EQ("16", Get(data_, "HWMaxPixelDepth"));
  uint32_t size = 0;
  EXPECT_EQ(0u, data_.QueryValue("ModelString", nullptr, nullptr, &size));
  EXPECT_EQ(8u, size);
}

TEST_F(StoreVelkanCapsTest, WritesNothingForTheSameModel) {
  Set(data_, "ModelString", "model a");
  EXPECT_EQ(1u, Store());
  EXPECT_THAT(NewLines(),
              ElementsAre("StoreVelkanCaps: No change in ModelString - skipping update"));
  EXPECT_EQ("none", Get(data_, "ADFSupported"));

  // A model that fills its field does not fit the comparison and is written every time.
  Model("0123456789ABCDEF");
  Set(data_, "ModelString", "0123456789ABCDEF");
  EXPECT_EQ(1u, Store());
  EXPECT_EQ("StoreVelkanCaps: Couldn't read ModelString", NewLines().front());
  EXPECT_EQ("0123456789ABCDEF", Get(data_, "ModelString"));
}

TEST_F(StoreVelkanCapsTest, ValuesFollowTheRecords) {
  const auto reset = [&] {
    adf_ = {};
    adf2_ = {};
    adf3_ = {};
  };
  EXPECT_EQ("0", Stored("HWLegalConfigSupported"));
  EXPECT_EQ("0", Get(data_, "ADFSupported"));
  EXPECT_EQ("0", Get(data_, "HWMaxPixelDepth"));
  scanner_.dwMaximumHeight = 4200;
  EXPECT_EQ("1", Stored("HWLegalConfigSupported"));
  adf2_.byHasADF = 1;
  EXPECT_EQ("0", Stored("ADFSupported"));
  EXPECT_EQ("0", Get(data_, "ADFDuplexSupported"));
  adf3_.dwADFOptionsSupported = 0xFFF;
  EXPECT_EQ("1", Stored("ADFDuplexSupported"));
  reset();
  adf_.byHasADF = 1;
  adf3_.dwADFOptionsSupported = T_ADF_DUPLEX;
  adf3_.byHasHWDuplexToggle = 1;
  EXPECT_EQ("1", Stored("ADFSupported"));
  EXPECT_EQ("0", Get(data_, "ADFDuplexSupported"));
  EXPECT_EQ("0", Get(data_, "HasADFDuplexSwitch"));
}

TEST_F(StoreVelkanCapsTest, ScanButtonComesFromThePanel) {
  EXPECT_EQ("0", Stored("HasScanButton"));
  panel_.byHasControlPanel = 1;
  panel_.dwDestinationListEntries = 1;
  EXPECT_EQ("1", Stored("HasScanButton"));
  panel_.byHasControlPanel = 0;
  EXPECT_EQ("1", Stored("HasScanButton"));
  EXPECT_THAT(NewLines(), Not(Contains("StoreVelkanCaps: Set HasScanButton = 0")));
  panel_.byHasControlPanel = 1;
  panel_.dwDestinationListEntries = 0;
  EXPECT_EQ("0", Stored("HasScanButton"));
  EXPECT_THAT(NewLines(), Contains("StoreVelkanCaps: LoadSettingsOnce not registry (OK, do it "
                                   "every time)"));
}

TEST_F(StoreVelkanCapsTest, FailsWithoutModelOrKey) {
  EXPECT_EQ(0u, Store("7009"));
  EXPECT_THAT(NewLines(),
              ElementsAre("StoreVelkanCaps: Couln't open DeviceData Key with Read|Write"));
  EXPECT_EQ(0u, Store(""));
  Model("");
  EXPECT_EQ(0u, Store());
  EXPECT_EQ("StoreVelkanCaps: Empty Model String ... returning", NewLines().back());
}

}  // namespace
}  // namespace scantk
