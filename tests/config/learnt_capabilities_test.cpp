#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "config/device_settings.h"
#include "tests/config/config_fixture.h"

namespace scantk {
namespace {

using testing::ElementsAre;

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

TEST_F(StoreVelkanCapsTest, WritesEverythingWhenTheModelChanged) {
  compression_.dwTypesOfCompression = 5;
  compression_.dwDefaultCompressionType = 4;
  const uint8_t depths[] = {8, 16, 12, 0, 32};  // the last is behind the list's end
  std::memcpy(scanner_.byColorBitsPerChannel, depths, sizeof depths);
  scanner_.dwMaximumHeight = 4199;
  adf_.dwMaximumHeight = 4200;
  adf3_.byHasADF = adf3_.byHasHWDuplexToggle = 1;
  adf3_.dwADFOptionsSupported = T_ADF_DUPLEX;
  panel_.byHasControlPanel = 1;
  panel_.dwDestinationListEntries = 7;
  Set(data_, "ModelString", "old");
  data_.SetDword("LoadSettingsOnce", 1);
  EXPECT_EQ(1u, Store());
  const char* const expected[][2] = {{"HWCompressionTypesSupported", "5"},
                                     {"HWCompressionTypeDefault", "4"},
                                     {"HWMaxPixelDepth", "16"},
                                     {"HWLegalConfigSupported", "1"},
                                     {"ADFSupported", "1"},
                                     {"ADFDuplexSupported", "1"},
                                     {"HasADFDuplexSwitch", "1"},
                                     {"HWExtendedLampSupported", "0"},
                                     {"TMASupported", "0"},
                                     {"HasScanButton", "2"},
                                     {"ModelString", "MODEL A"},
                                     {"LoadSettingsOnce", "2"}};
  const std::vector<std::string> lines = NewLines();
  ASSERT_EQ(std::size(expected) + 2, lines.size());
  size_t line = 1;
  for (const auto& [name, value] : expected) {
    EXPECT_EQ(value, Get(data_, name)) << name;
    if (line == 12) ++line;  // what LoadSettingsOnce was before
    EXPECT_EQ(std::string("StoreVelkanCaps: Set ") + name + " = " + value, lines[line++]);
  }
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
  EXPECT_EQ("0", Get(data_, "ADFSupported"));
  EXPECT_EQ(0u, Store("7009"));
  Model("");
  EXPECT_EQ(0u, Store());
}

TEST_F(StoreVelkanCapsTest, ValuesFollowTheRecords) {
  EXPECT_EQ("0", Stored("HWLegalConfigSupported"));
  EXPECT_EQ("0", Get(data_, "HasScanButton"));
  scanner_.dwMaximumHeight = 4200;
  EXPECT_EQ("1", Stored("HWLegalConfigSupported"));
  adf2_.byHasADF = 1;
  EXPECT_EQ("0", Stored("ADFSupported"));
  EXPECT_EQ("0", Get(data_, "ADFDuplexSupported"));
  adf3_.dwADFOptionsSupported = 0xFFF;
  EXPECT_EQ("1", Stored("ADFDuplexSupported"));
  adf2_.byHasADF = 0;
  adf_.byHasADF = 1;
  adf3_.byHasHWDuplexToggle = 1;
  EXPECT_EQ("1", Stored("ADFSupported"));
  EXPECT_EQ("0", Get(data_, "ADFDuplexSupported"));
  EXPECT_EQ("0", Get(data_, "HasADFDuplexSwitch"));
  panel_.byHasControlPanel = 1;
  panel_.dwDestinationListEntries = 1;
  EXPECT_EQ("1", Stored("HasScanButton"));
  panel_.byHasControlPanel = 0;  // what another knew stays
  EXPECT_EQ("1", Stored("HasScanButton"));
}

}  // namespace
}  // namespace scantk
