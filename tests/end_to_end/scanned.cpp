#include "tests/end_to_end/scanned.h"

#include "platform/system.h"
#include "tests/contract/page_parameters.h"

namespace scantk::test {

std::string FreshAddress() {
  static int count = 0;
  const uint32_t process = ProcessId();
  return "127." + std::to_string(32 + (process >> 8) % 200) + "." + std::to_string(process & 0xFF) +
         "." + std::to_string(1 + count++ % 250);
}

void ScanTest::TearDown() {
  Close();
  toolkit.reset();
}

void ScanTest::StartDevice(sim::DeviceConfig config) {
  config.address = FreshAddress();
  device = std::make_unique<sim::SimulatedDevice>(config);
  device_name = sandbox.AddNetworkDevice(config.address);
}

void ScanTest::Open() {
  if (!toolkit) toolkit = std::make_unique<Toolkit>();
  ASSERT_EQ(kOk, Call(toolkit->scanner, &IScanner::OpenScannerSession, Wide(device_name).c_str(),
                      T_IO_NETWORK, &session));
}

Outcome ScanTest::Lock(uint32_t timeout_ms) {
  return Call(toolkit->scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, timeout_ms);
}

void ScanTest::OpenAndLock() {
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_EQ(kOk, Lock());
}

void ScanTest::Close() {
  if (session) Call(toolkit->scanner, &IScanner::CloseScannerSession, session);
  session = 0;
}

SCANNER_PARAMETERS ScanTest::Parameters(uint32_t mode, uint16_t dpi) const {
  return PageParameters(mode, dpi, {1203, 900, 150, 300});
}

Page ScanTest::Scan(const SCANNER_PARAMETERS& wanted, uint32_t lines_per_read,
                    const std::function<bool(int)>& between_reads) {
  Page page;
  SCANNER_PARAMETERS parameters = wanted;
  const auto& scanner = toolkit->scanner;
  EXPECT_EQ(kOk, Call(scanner, &IScanner::SetScannerParameters, session, &parameters));
  EXPECT_EQ(kOk, Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &page.granted));
  page.start = Call(scanner, &IScanner::StartScan, session);
  const uint32_t piece = page.granted.dwBytesPerLine * lines_per_read;
  std::vector<uint8_t> buffer(piece);
  for (int read = 0; page.start == kOk; ++read) {
    if (between_reads && !between_reads(read)) break;
    uint32_t got = 0;
    page.last_read = Call(scanner, &IScanner::ReadScanEx, session, buffer.data(), piece, &got);
    EXPECT_LE(got, piece);
    page.bytes.insert(page.bytes.end(), buffer.begin(), buffer.begin() + got);
    if (!(page.last_read == kOk)) break;
  }
  page.stop = Call(scanner, &IScanner::StopScan, session);
  return page;
}

std::vector<uint8_t> ScanTest::PaperSeen() const {
  const auto settings = device->last_page();
  if (!settings) return {};
  return sim::RenderPage(sim::MakePaper(device->config().paper), *settings);
}

void ScanTest::ExpectCleanScan(const std::string& after) {
  SCOPED_TRACE("the scan after " + after);
  Page page = Scan(Parameters(T_GREYSCALE, 100));
  EXPECT_EQ(kOk, page.start);
  EXPECT_EQ(kEndOfPage, page.last_read);
  EXPECT_EQ(kOk, page.stop);
  EXPECT_FALSE(page.bytes.empty());
  EXPECT_TRUE(page.bytes == PaperSeen());
  EXPECT_FALSE(device->locked());
}

}  // namespace scantk::test
