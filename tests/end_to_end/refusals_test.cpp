// What methods answer when the device answers badly: each asks the device something of its own.
#include <functional>

#include "platform/component.h"
#include "tests/end_to_end/attached.h"

namespace scantk::test {
namespace {

constexpr Outcome kNoSpf = {E_FAIL, TERR_SPF_NOT_SUPPORTED};

class RefusalsTest : public ScanTest {
 protected:
  void With(const std::string& fault, const std::string& model = "ZM-16") {
    Close();
    toolkit.reset();
    sim::DeviceConfig config;
    config.model = model;
    config.sheets = 2;
    if (!fault.empty()) config.faults.push_back(sim::ParseFault(fault));
    StartDevice(config);
    OpenAndLock();
  }

  Outcome Capabilities() {
    SCANNER_CAPABILITIES caps;
    return Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps);
  }
  Outcome IsReady() {
    uint8_t ready = 0;
    return Call(toolkit->feeder, &IADF::ADFIsReady, session, &ready);
  }
  Outcome SpfSize() {
    SPF_CAPABILITIES caps;
    return Call(toolkit->spf, &ISPF::GetSPFCapabilities, session, &caps);
  }
  Outcome Reserve() { return Call(toolkit->reserve, &IReserve::JobReserveHW, session, 0u); }
  Outcome UserState(URS_STATE* state) {
    return Call(toolkit->reserve, &IReserve::GetUserReadyToScanState, session, state);
  }
  Outcome FeederProperty() {
    uint32_t value = 0;
    return Call(toolkit->properties, &IHWProperty::GetHWPropValue, session, Wide("ADF").c_str(),
                &value);
  }
  Outcome Start() {
    SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 100);
    BUFFER_INFO info = {};
    EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::SetScannerParameters, session, &parameters));
    EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
    return Call(toolkit->scanner, &IScanner::StartScan, session);
  }
  Outcome FirstRead() { return Scan(Parameters(T_GREYSCALE, 100), 10).last_read; }
};

TEST_F(RefusalsTest, BadAnswersAreCommunicationFailures) {
  const struct {
    const char* fault;
    std::function<Outcome()> method;
    Outcome outcome;
  } cases[] = {
      {"garbage@variable:22", [&] { return Capabilities(); }, kCommunication},
      {"garbage@variable:2101", [&] { return Capabilities(); }, kCommunication},
      {"garbage@variable:24", [&] { return Capabilities(); }, kCommunication},
      {"garbage@variable:24", [&] { return FeederProperty(); }, kCommunication},
      {"garbage@variable:507", [&] { return SpfSize(); }, kCommunication},
      {"garbage@variable:1027", [&] { return IsReady(); }, kCommunication},
      {"wrong-letter@variable:1027*1", [&] { return IsReady(); }, kOk},  // asked twice
      {"garbage@variable:2100", [&] { return Reserve(); }, kCommunication},
      {"garbage@variable:505", [&] { return Reserve(); }, {E_FAIL, TERR_RESERVE_FAILED}},
      {"garbage@variable:2100",
       [&] {
         URS_STATE state;
         return UserState(&state);
       },
       kCommunication},
      {"garbage@variable:10308", [&] { return FirstRead(); }, kCommunication},
      {"garbage@variable:13510", [&] { return FirstRead(); }, kCommunication},
      // An error that comes of the page size alone goes when the download leaves that out.
      {"error@variable:-4=1024", [&] { return Start(); }, kOk},
      {"error@variable:-2=1024", [&] { return Start(); }, {E_FAIL, TERR_ADF_JAMMED}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    With(one.fault);
    EXPECT_EQ(one.outcome, one.method());
    device->ClearFaults();
    Call(toolkit->scanner, &IScanner::StopScan, session);
    Call(toolkit->scanner, &IScanner::UnlockScanner, session);
    EXPECT_EQ(kOk, Lock());
    // Capabilities switch it on.
    Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
    ExpectCleanScan(one.fault);
  }
}

TEST_F(RefusalsTest, DevicesWithoutAHandshakeStartAtOnce) {
  With("null@variable:2100");
  URS_STATE state = T_URS_DEFAULT;
  EXPECT_EQ(kOk, UserState(&state));
  EXPECT_EQ(T_URS_START, state);
  EXPECT_EQ(kOk, Reserve());
  EXPECT_TRUE(device->locked());
  EXPECT_EQ(kOk, Call(toolkit->reserve, &IReserve::JobReleaseHW, session));
  EXPECT_FALSE(device->locked());
}

TEST_F(RefusalsTest, ParallelDevicesAreNotAskedForSpf) {
  With("", "ZM-11");
  EXPECT_EQ(kOk, Capabilities());
  EXPECT_EQ(kNoSpf, SpfSize());
  EXPECT_EQ(0, device->CountInLog("507"));
}

TEST_F(RefusalsTest, FeederMethodsThatAskNothing) {
  With("");
  const auto& feeder = toolkit->feeder;
  uint8_t toggle = 9;
  uint32_t length = 9;
  EXPECT_EQ(kInvalidParameter, Call(feeder, &IADF3::GetHWDuplexToggleState, session, &toggle));
  EXPECT_EQ(kInvalidParameter, Call(feeder, &IADF3::SetHWDuplexToggleState, session, uint8_t{1}));
  EXPECT_EQ(kOk, Call(feeder, &IADF3::ADFStartJob, session));
  EXPECT_EQ(kOk, Call(feeder, &IADF3::ADFEndJob, session));
  EXPECT_EQ(kOk, Call(feeder, &IADF2::ADFEjectMedia, session));
  EXPECT_EQ(kOk, Call(feeder, &IADF2::ADF2PaperFeed, session, &length));
  EXPECT_EQ(0u, length);
  EXPECT_EQ(0, device->CountInLog("SL_ADF_FEED_PAGE") + device->CountInLog("SL_ADF_EJECT_PAGE"));
  // The request is carried out when the scan starts.
  SCANNER_PARAMETERS page = Parameters(T_GREYSCALE, 75);
  page.wScanMethod = T_METHOD_ADF;
  EXPECT_EQ(kEndOfPage, Scan(page).last_read);
  EXPECT_EQ(1, device->CountInLog("SL_ADF_FEED_PAGE"));
  EXPECT_EQ(1, device->sheets());
}

TEST_F(RefusalsTest, ReadScanTellsWhatReadScanExDoes) {
  const struct {
    const char* fault;
    Outcome outcome;
  } cases[] = {{"cancel@block:2*1", {E_FAIL, TERR_CANCEL_PRESSED}},
               {"record-type@block:2*1", kCommunication},
               {"drop@block:2*1", kCommunication}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    With(one.fault);
    Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
    ASSERT_EQ(kOk, Start());
    std::vector<uint8_t> buffer(401 * 300);
    EXPECT_EQ(one.outcome, Call(toolkit->scanner, &IScanner::ReadScan, session, buffer.data(),
                                static_cast<uint32_t>(buffer.size())));
    Call(toolkit->scanner, &IScanner::StopScan, session);
    device->ClearFaults();
    Call(toolkit->scanner, &IScanner::UnlockScanner, session);
    EXPECT_EQ(kOk, Lock());
    ExpectCleanScan(one.fault);
  }
}

TEST_F(RefusalsTest, TheLastReadEndsWithTheDevicesRows) {
  With("row-count@page:1=295");
  const Page page = Scan(Parameters(T_GREYSCALE, 100), 200);
  EXPECT_EQ(kEndOfPage, page.last_read);
  EXPECT_EQ(295u * page.granted.dwBytesPerLine, page.bytes.size());
  EXPECT_EQ(300u, page.granted.dwPixelHeight);
}

TEST_F(RefusalsTest, AResetReachesTheDevice) {
  With("");
  const int before = device->CountInLog("SL_RESET");
  EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::ResetScanner, session));
  EXPECT_EQ(kOk, IsReady());  // answered behind the reset
  EXPECT_EQ(before + 1, device->CountInLog("SL_RESET"));
}

// A device on a cable is its host's alone: nothing to reserve, and the state is the toolkit's.
class DirectReserve : public AttachedTest {};

TEST_P(DirectReserve, IsKeptByTheToolkit) {
  const auto& reserve = toolkit->reserve;
  URS_STATE state = T_URS_DEFAULT;
  const auto get = [&] {
    EXPECT_EQ(kOk, Call(reserve, &IReserve::GetUserReadyToScanState, session, &state));
    return state;
  };
  EXPECT_EQ(kOk, Call(reserve, &IReserve::JobReserveHW, session, 0u));
  EXPECT_EQ(T_URS_START, get());
  EXPECT_EQ(kOk, Call(reserve, &IReserve::SetUserReadyToScanState, session, T_URS_WAIT));
  EXPECT_EQ(T_URS_WAIT, get());
  EXPECT_EQ((Outcome{E_FAIL, TERR_NONE}),
            Call(reserve, &IReserve::SetUserReadyToScanState, session, static_cast<URS_STATE>(0)));
  EXPECT_EQ(kOk, Call(reserve, &IReserve::JobReleaseHW, session));
  EXPECT_EQ(T_URS_DEFAULT, get());
  EXPECT_FALSE(attached->locked());
  ExpectPerfectScan("a reservation");
}

INSTANTIATE_TEST_SUITE_P(Media, DirectReserve, ::testing::Values(T_IO_USB, T_IO_DOT4));

}  // namespace
}  // namespace scantk::test
