// Devices that fail in every way they can: the code of each failure, the bytes before it, and a
// clean scan right after.
#include "platform/clock.h"
#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

class FailureTest : public ScanTest {
 protected:
  void SetUp() override {
    ScanTest::SetUp();
    StartDevice();
    OpenAndLock();
    Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
  }
};

struct BrokenPage {
  const char* fault;
  Outcome read;
};

TEST_F(FailureTest, PagesThatBreakEndInTheirCode) {
  const BrokenPage pages[] = {
      {"cancel@block:3*1", {E_FAIL, TERR_CANCEL_PRESSED}},
      {"cancel@block:1*1", {E_FAIL, TERR_CANCEL_PRESSED}},
      {"drop@block:2*1", kCommunication},
      {"reset@block:2*1", kCommunication},
      {"truncate@block:2*1", kCommunication},
      {"block-length@block:2=0*1", kCommunication},
      {"block-length@block:2=4294967295*1", kCommunication},
      {"record-type@block:2*1", kCommunication},
      {"record-length@block:2*1", kCommunication},
      {"record-offset@block:2*1", kCommunication},
  };
  for (const BrokenPage& broken : pages) {
    SCOPED_TRACE(broken.fault);
    device->ClearFaults();
    device->AddFault(broken.fault);
    const uint32_t before = TheClock().TickCount();
    const Page page = Scan(Parameters(T_COLOR, 150), 10);
    EXPECT_EQ(broken.read, page.last_read);
    EXPECT_LT(TheClock().TickCount() - before, 5000u);
    const std::vector<uint8_t> seen = PaperSeen();
    ASSERT_LE(page.bytes.size(), seen.size());
    EXPECT_TRUE(std::equal(page.bytes.begin(), page.bytes.end(), seen.begin()));
    device->ClearFaults();
    Call(toolkit->scanner, &IScanner::UnlockScanner, session);
    EXPECT_EQ(kOk, Lock());
    ExpectCleanScan(broken.fault);
  }
}

TEST_F(FailureTest, JpegStreamsThatBreakArePipelineErrors) {
  constexpr Outcome kPipeline = {VELKAN_E_BDR_IP, TERR_SCANNER_COMMUNICATION_FAILED};
  // Byte 48 begins the stream: block header, start-of-page record, data header.
  for (const char* fault : {"corrupt@block:1=48*1", "corrupt@block:1=50*1"}) {
    SCOPED_TRACE(fault);
    Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_JPEG);
    device->AddFault(fault);
    const Page page = Scan(Parameters(T_COLOR, 150), 10);
    EXPECT_EQ(kPipeline, page.last_read);
    EXPECT_TRUE(page.bytes.empty());
    device->ClearFaults();
    Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
    ExpectCleanScan(fault);
  }
}

TEST_F(FailureTest, RowCountOfTheDeviceDecides) {
  struct {
    const char* fault;
    int rows_less;  // than the page that was asked for
  } const cases[] = {{"short-page=100*1", -1}, {"row-count=1*1", 0}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    device->AddFault(one.fault);
    const Page page = Scan(Parameters(T_GREYSCALE, 100), 64);
    EXPECT_EQ(kEndOfPage, page.last_read);
    EXPECT_EQ(0u, page.bytes.size() % page.granted.dwBytesPerLine);
    if (one.rows_less < 0) {
      EXPECT_LT(page.bytes.size(), PaperSeen().size());
    }
    device->ClearFaults();
    ExpectCleanScan(one.fault);
  }
}

TEST_F(FailureTest, PendingDeviceErrorsAreTold) {
  const struct {
    int device_code;
    Outcome start;
  } cases[] = {
      {1024, {E_FAIL, TERR_ADF_JAMMED}},
      {1026, {E_FAIL, TERR_ADF_EMPTY}},
      {502, {E_FAIL, TERR_CANCEL_PRESSED}},
      {1025, {E_FAIL, TERR_NONE}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.device_code);
    // Raised once the scan has been started: StartScan itself begins by clearing errors.
    const Page page = Scan(Parameters(T_GREYSCALE, 100), 64, [&](int read) {
      if (read == 0) device->RaiseError(one.device_code);
      return true;
    });
    EXPECT_EQ(one.start, page.last_read);
    EXPECT_TRUE(page.bytes.empty());
    ExpectCleanScan("a pending error");
  }
}

TEST_F(FailureTest, ReservedByAnotherComputer) {
  device->ReserveElsewhere(true);
  const Page page = Scan(Parameters(T_GREYSCALE, 100));
  EXPECT_EQ((Outcome{E_FAIL, TERR_RESERVE_BUSY}), page.start);
  EXPECT_EQ((Outcome{E_FAIL, TERR_RESERVE_BUSY}),
            Call(toolkit->reserve, &IReserve::JobReserveHW, session, 0u));
  device->ReserveElsewhere(false);
  ExpectCleanScan("a reservation elsewhere");
}

TEST_F(FailureTest, ReadsOutsideAScan) {
  std::vector<uint8_t> buffer(100000);
  uint32_t got = 77;
  const auto read = [&](uint32_t bytes) {
    return Call(toolkit->scanner, &IScanner::ReadScanEx, session, buffer.data(), bytes, &got);
  };
  EXPECT_EQ(kInvalidParameter, read(1000));  // no geometry yet
  EXPECT_EQ(77u, got);
  ExpectCleanScan("a read without geometry");
  SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 75);
  BUFFER_INFO info = {};
  ASSERT_EQ(kOk, Call(toolkit->scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
  EXPECT_EQ(kCommunication, read(info.dwBytesPerLine));
  EXPECT_EQ(kInvalidParameter, read(info.dwBytesPerLine + 1));
  ExpectCleanScan("a read outside a scan");
}

TEST_F(FailureTest, CallsOutOfOrder) {
  const auto& scanner = toolkit->scanner;
  EXPECT_EQ(kOk, Call(scanner, &IScanner::StopScan, session));
  SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 75);
  BUFFER_INFO info = {}, untouched;
  ASSERT_EQ(kOk, Call(scanner, &IScanner::SetScannerParameters, session, &parameters));
  ASSERT_EQ(kOk, Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
  ASSERT_EQ(kOk, Call(scanner, &IScanner::StartScan, session));
  std::memset(&untouched, 0x55, sizeof untouched);
  const BUFFER_INFO before = untouched;
  EXPECT_EQ((Outcome{S_OK, TERR_CANCEL_PRESSED}),
            Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &untouched));
  EXPECT_EQ(0, std::memcmp(&before, &untouched, sizeof before));
  uint8_t ready = 9;
  EXPECT_EQ((Outcome{S_OK, TERR_CANCEL_PRESSED}),
            Call(toolkit->feeder, &IADF::ADFIsReady, session, &ready));
  EXPECT_EQ(0, ready);
  EXPECT_EQ(kOk, Call(scanner, &IScanner::StartScan, session));  // warned of in the trace alone
  EXPECT_TRUE(sandbox.Traced("currently already scanning!!!!"));
  EXPECT_EQ(kOk, Call(scanner, &IScanner::StopScan, session));
  ExpectCleanScan("calls out of order");

  parameters.dwScanMode = T_COLOR | T_BW;
  EXPECT_EQ(kInvalidParameter,
            Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
  ExpectCleanScan("an unsupported mode");
}

TEST_F(FailureTest, AnswersThatAreNone) {
  const char* faults[] = {"garbage@variable:1024*1", "wrong-letter@variable:1024*1",
                          "wrong-terminator@variable:1024*1", "wrong-echo@variable:1024*1"};
  for (const char* fault : faults) {
    SCOPED_TRACE(fault);
    device->AddFault(fault);
    SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 75);
    BUFFER_INFO info = {};
    EXPECT_EQ(kCommunication,
              Call(toolkit->scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
    device->ClearFaults();
    Call(toolkit->scanner, &IScanner::UnlockScanner, session);
    EXPECT_EQ(kOk, Lock());
    ExpectCleanScan(fault);
  }
}

}  // namespace
}  // namespace scantk::test
