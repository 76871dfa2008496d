// What a device can do, and the small interfaces: capabilities of every family, feeder requests,
// compression, properties, panel, SPF data, reservation and the handshake.
#include <cstring>

#include "platform/component.h"
#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

sim::VariableOverride Null(int number) {
  sim::VariableOverride change;
  change.number = number;
  change.null = true;
  return change;
}
sim::VariableOverride Value(int number, int64_t value) {
  sim::VariableOverride change;
  change.number = number;
  change.value = value;
  return change;
}
sim::VariableOverride Maximum(int number, int64_t maximum) {
  sim::VariableOverride change;
  change.number = number;
  change.maximum = maximum;
  return change;
}

class FeaturesTest : public ScanTest {
 protected:
  // A device with these variables changed, opened and locked anew.
  void With(std::vector<sim::VariableOverride> overrides, const std::string& model = "ZM-16") {
    Close();
    toolkit.reset();
    sim::DeviceConfig config;
    config.model = model;
    config.overrides = std::move(overrides);
    StartDevice(config);
    OpenAndLock();
  }
  SCANNER_CAPABILITIES Capabilities(const Outcome& expected = kOk) {
    SCANNER_CAPABILITIES caps;
    std::memset(&caps, 0x5A, sizeof caps);
    EXPECT_EQ(expected, Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps));
    return caps;
  }
  ADF3_CAPABILITIES Feeder() {
    ADF3_CAPABILITIES caps;
    EXPECT_EQ(kOk, Call(toolkit->feeder, &IADF3::GetADF3Capabilities, session, &caps));
    return caps;
  }
};

TEST_F(FeaturesTest, EveryFamilyIsKnown) {
  struct {
    const char* model;
    uint16_t path;
    uint16_t feeder_type;
    const char* number;  // when the device does not tell its own
  } const families[] = {
      {"ZM-11", 0, 1, "KXT"},       {"ZM-12", 0, 1, "KXT"},       {"ZM-13", 0, 0, "ZR-618"},
      {"ZM-14", 1, 1, "NPQ-S"},     {"ZM-15", 0, 1, "VX3840"},    {"ZM-16", 0, 1, "ZT-4410"},
      {"alternative", 0, 1, "KXT"}, {"unknown", 0, 1, "ZT-4410"},
  };
  for (const auto& family : families) {
    SCOPED_TRACE(family.model);
    With({Null(20), Value(24, 1)}, family.model);
    const SCANNER_CAPABILITIES caps = Capabilities();
    EXPECT_STREQ(family.number, reinterpret_cast<const char*>(caps.byModelNumber));
    EXPECT_EQ(family.path, caps.wPaperPath);
    EXPECT_EQ(family.feeder_type, Feeder().wADFType);
    EXPECT_GT(caps.dwMaximumWidth, 0u);
    EXPECT_EQ(256u, caps.dwGammaEntriesPerChannel);
  }
}

TEST_F(FeaturesTest, CapabilitiesAreLearntOnce) {
  With({});
  Capabilities();
  const sim::Stats before = device->stats();
  Capabilities();
  EXPECT_EQ(before.inquiries, device->stats().inquiries);
  EXPECT_EQ(before.commands, device->stats().commands);
  EXPECT_TRUE(sandbox.Traced("Already filled out caps : ModelId 70"));
}

TEST_F(FeaturesTest, LimitsAndDepths) {
  With({Maximum(11323, 1200), Maximum(11324, 2400), Maximum(10312, 36)});
  SCANNER_CAPABILITIES caps = Capabilities();
  EXPECT_EQ(1200, caps.wMaximumXResolution);
  EXPECT_EQ(2400, caps.wOpticalResolution);
  EXPECT_EQ(8, caps.byColorBitsPerChannel[0]);
  EXPECT_EQ(12, caps.byColorBitsPerChannel[1]);
  EXPECT_EQ(0, caps.byColorBitsPerChannel[2]);
  EXPECT_EQ(3u, caps.dwScanModesSupported);
  // Without the flatbed's own variables the general ones serve.
  With({Null(11323), Maximum(10323, 450), Maximum(10324, 300)});
  caps = Capabilities();
  EXPECT_EQ(450, caps.wMaximumXResolution);
  EXPECT_EQ(450, caps.wOpticalResolution);
  EXPECT_TRUE(Capabilities(kOk).dwMaximumHeight > 0);
}

TEST_F(FeaturesTest, WhatTheFillInCannotDoWithout) {
  With({Null(10312)});
  EXPECT_EQ(0, Capabilities(kCommunication).byColorBitsPerChannel[0]);
  With({Null(22), Null(2101)});
  Capabilities();
  CONTROL_PANEL_CAPABILITIES panel;
  EXPECT_EQ(kOk,
            Call(toolkit->panel, &IControlPanel::GetControlPanelCapabilities, session, &panel));
  EXPECT_EQ(2u, panel.dwDestinationListEntries);
  EXPECT_EQ(1252u, panel.dwSupportedCodePages[0]);
}

TEST_F(FeaturesTest, FeederRecordsFollowTheDeviceAndTheSwitches) {
  With({Value(24, 1), Value(13500, 1)});
  ADF3_CAPABILITIES feeder = Feeder();
  EXPECT_EQ(1, feeder.byHasADF);
  EXPECT_EQ(21u, feeder.dwADFOptionsSupported);
  EXPECT_EQ(feeder.dwMaximumWidth, feeder.dwDuplexMaximumWidth);
  With({Value(24, 1), Value(13500, 0)});
  feeder = Feeder();
  EXPECT_EQ(4u, feeder.dwADFOptionsSupported);
  EXPECT_EQ(0u, feeder.dwDuplexMaximumWidth);
  With({Value(24, 0)});
  EXPECT_EQ(0, Feeder().byHasADF);
  With({Value(24, 1)});
  Close();
  sandbox.SetDeviceValue(device_name, "MaskADF", 1);
  sandbox.SetDeviceValue(device_name, "DeviceBW", 1);
  OpenAndLock();
  EXPECT_EQ(0, Feeder().byHasADF);
  EXPECT_EQ(7u, Capabilities().dwScanModesSupported);
}

TEST_F(FeaturesTest, CompressionChoices) {
  With({});
  Capabilities();
  const auto option = [&](uint32_t number, uint32_t value) {
    return Call(toolkit->compression, &ICompression::SetCompressionOption, session, number, value);
  };
  EXPECT_EQ(kOk, option(1, 5));
  EXPECT_EQ(kInvalidParameter, option(1, 0));
  EXPECT_EQ(kInvalidParameter, option(1, 6));
  EXPECT_EQ(kInvalidParameter, option(4, 1));
  EXPECT_EQ(kInvalidParameter, option(3, 1));
  EXPECT_TRUE(sandbox.Traced("m_JPEGCompressionLevel 5"));
  for (uint32_t type : {1u, 7u, 4u})
    EXPECT_EQ(kOk, Call(toolkit->compression, &ICompression::SetCompressionType, session, type));
  COMPRESSION_CAPABILITIES caps;
  EXPECT_EQ(kOk,
            Call(toolkit->compression, &ICompression::GetCompressionCapabilities, session, &caps));
  EXPECT_EQ(5u, caps.dwTypesOfCompression);
  EXPECT_EQ(4u, caps.dwDefaultCompressionType);
}

TEST_F(FeaturesTest, JpegFactorGoesToTheDevice) {
  With({});
  Capabilities();
  SCANNER_PARAMETERS parameters = Parameters(T_COLOR, 300);
  Scan(parameters, 200, [](int) { return false; });
  EXPECT_EQ(1, device->CountInLog("SL_JPEG_COMPRESSION") ? 1 : 0);
  EXPECT_TRUE(sandbox.Traced(" JPEG enabled, iJpegQFactor = 2"));
  parameters = Parameters(T_GREYSCALE, 75);
  parameters.dwScanOptions = T_PREVIEW;
  Scan(parameters, 200, [](int) { return false; });
  EXPECT_TRUE(sandbox.Traced(" JPEG enabled, iJpegQFactor = 1"));
}

TEST_F(FeaturesTest, Properties) {
  With({Value(503, 3), Value(24, 1)});
  const auto value = [&](const char* tag, uint32_t* out) {
    return Call(toolkit->properties, &IHWProperty::GetHWPropValue, session, Wide(tag).c_str(), out);
  };
  constexpr Outcome kUnknown = {E_FAIL, TERR_INVALID_PROPERTY};
  uint32_t number = 9;
  EXPECT_EQ(kOk, value("ADF", &number));
  EXPECT_EQ(1u, number);
  for (const char* tag : {"HardwareProperty", "XPA", "CCD Type"}) {
    number = 9;
    EXPECT_EQ(kOk, value(tag, &number)) << tag;
    EXPECT_EQ(0u, number) << tag;
  }
  for (const char* tag : {"adf", "ADF ", "", "AD"}) EXPECT_EQ(kUnknown, value(tag, &number)) << tag;
  WideChar* text = nullptr;
  EXPECT_EQ(kOk, Call(toolkit->properties, &IHWProperty::GetHWPropString, session,
                      Wide("CCD Type").c_str(), &text));
  ASSERT_TRUE(text);
  EXPECT_EQ(static_cast<WideChar>('s'), text[0]);
  EXPECT_EQ(0, text[1]);
  TaskFree(text);
  // A device that does not tell its vendor has the usual sensor.
  device->AddFault("garbage@variable:503*1");
  EXPECT_EQ(kOk, Call(toolkit->properties, &IHWProperty::GetHWPropString, session,
                      Wide("CCD Type").c_str(), &text));
  ASSERT_TRUE(text);
  EXPECT_EQ(static_cast<WideChar>('t'), text[0]);
  TaskFree(text);
  EXPECT_EQ(kUnknown, Call(toolkit->properties, &IHWProperty::GetHWPropString, session,
                           Wide("ADF").c_str(), &text));
  EXPECT_EQ(nullptr, text);
}

TEST_F(FeaturesTest, PanelGates) {
  With({});
  Capabilities();
  uint32_t number = 0;
  EXPECT_EQ(kInvalidParameter,
            Call(toolkit->panel, &IControlPanel::GetControlPanelValue, session, 8u, &number));
  uint32_t code = 77;
  EXPECT_EQ(S_OK, toolkit->panel->SetCodePage(session, 1252, &code));
  EXPECT_EQ(77u, code);
  EXPECT_EQ(kInvalidParameter, Call(toolkit->panel, &IControlPanel::SetCodePage, session, 437u));
  EXPECT_EQ(kInvalidParameter,
            Call(toolkit->panel, &IControlPanel::SetControlPanelValue, session, 8u, 1u));
  WideChar* text = nullptr;
  uint32_t bytes = 0;
  EXPECT_EQ(kInvalidParameter, Call(toolkit->panel, &IControlPanel::GetControlPanelString, session,
                                    1u, &text, &bytes));
  EXPECT_EQ(nullptr, text);
  EXPECT_EQ(kInvalidParameter, Call(toolkit->panel, &IControlPanel::SetControlPanelString, session,
                                    1u, Wide("Ready").c_str(), 10u));
  EXPECT_EQ(kInvalidParameter,
            Call(toolkit->panel, &IControlPanel::SetControlPanelDestinationString, session, 0u,
                 Wide("Desk").c_str()));
}

TEST_F(FeaturesTest, SpfDataFillsTheBufferToItsLastByte) {
  sim::VariableOverride data;
  data.number = 508;
  data.text = "<settings>0123456789</settings>";
  const auto size = static_cast<uint32_t>(data.text->size());
  With({Value(507, size), data});
  SPF_CAPABILITIES caps;
  EXPECT_EQ(kOk, Call(toolkit->spf, &ISPF::GetSPFCapabilities, session, &caps));
  EXPECT_EQ(size, caps.dwSPFsize);
  for (uint32_t room : {size, size - 5, 1u}) {
    std::vector<uint8_t> buffer(room + 8, 0xA5);
    EXPECT_EQ(kOk, Call(toolkit->spf, &ISPF::GetSPFData, session, room, buffer.data()));
    EXPECT_EQ(0, std::memcmp(buffer.data(), data.text->data(), room));
    for (size_t i = room; i < buffer.size(); ++i) EXPECT_EQ(0xA5, buffer[i]) << room;
    // What did not fit is still on its way; a fresh connection starts clean.
    Call(toolkit->scanner, &IScanner::UnlockScanner, session);
    EXPECT_EQ(kOk, Lock());
  }
  constexpr Outcome kNone = {E_FAIL, TERR_SPF_NOT_SUPPORTED};
  uint8_t byte = 0;
  EXPECT_EQ(kNone, Call(toolkit->spf, &ISPF::GetSPFData, session, 0u, &byte));
  With({}, "ZM-14");
  Capabilities();
  EXPECT_EQ(kNone, Call(toolkit->spf, &ISPF::GetSPFCapabilities, session, &caps));
  With({Null(507)});
  EXPECT_EQ(kNone, Call(toolkit->spf, &ISPF::GetSPFCapabilities, session, &caps));
}

TEST_F(FeaturesTest, ReservationAndHandshake) {
  URS_STATE state = T_URS_DEFAULT;
  const auto get = [&] {
    return Call(toolkit->reserve, &IReserve::GetUserReadyToScanState, session, &state);
  };
  // A device that shows that it waits, and one that does not.
  With({Value(2100, T_URS_DEFAULT), Value(2101, 1)});
  Capabilities();
  EXPECT_EQ(kOk, Call(toolkit->reserve, &IReserve::JobReserveHW, session, 0u));
  EXPECT_EQ(kOk, get());
  EXPECT_EQ(T_URS_WAIT, state);
  EXPECT_EQ(600, device->Variable(10474).value_or(-1));
  device->SetVariable(Value(2100, T_URS_START));  // the person at the device
  EXPECT_EQ(kOk, get());
  EXPECT_EQ(T_URS_START, state);
  EXPECT_EQ((Outcome{E_FAIL, TERR_NONE}), Call(toolkit->reserve, &IReserve::SetUserReadyToScanState,
                                               session, static_cast<URS_STATE>(4)));
  EXPECT_EQ(kOk, Call(toolkit->reserve, &IReserve::JobReleaseHW, session));
  EXPECT_FALSE(device->locked());

  With({Value(2100, T_URS_DEFAULT), Null(2101)});
  Capabilities();
  EXPECT_EQ(kOk, Call(toolkit->reserve, &IReserve::JobReserveHW, session, 0u));
  EXPECT_EQ(kOk, get());
  EXPECT_EQ(T_URS_START, state);
  EXPECT_EQ(kOk, Call(toolkit->reserve, &IReserve::JobReleaseHW, session));

  With({Null(2100)});
  EXPECT_EQ(kOk, get());
  EXPECT_EQ(T_URS_START, state);
}

TEST_F(FeaturesTest, LearntValuesAreStored) {
  With({});
  Capabilities();
  EXPECT_TRUE(sandbox.Traced("StoreVelkanCaps: Set HWCompressionTypesSupported = 5"));
  EXPECT_TRUE(sandbox.Traced("StoreVelkanCaps: Set ModelString = "));
  Close();
  sandbox.ClearTrace();
  OpenAndLock();
  Capabilities();
  EXPECT_TRUE(sandbox.Traced("StoreVelkanCaps: No change in ModelString - skipping update"));
}

}  // namespace
}  // namespace scantk::test
