#include "tests/jobs/host.h"

#include "tests/jobs/outcome_text.h"

namespace scantk::test {

bool Host::Open() {
  const std::basic_string<WideChar> name = Wide(device_);
  if (Do("OpenScannerSession", toolkit.scanner, &IScanner::OpenScannerSession, name.c_str(),
         io_type_, &session) == kOk)
    return true;
  session = 0;
  return false;
}

bool Host::Lock(uint16_t type, uint32_t limit) {
  return Do("LockScanner", toolkit.scanner, &IScanner::LockScanner, session, type, limit) == kOk;
}

bool Host::Learn() {
  SCANNER_CAPABILITIES capabilities;
  return Do("GetScannerCapabilities", toolkit.scanner, &IScanner::GetScannerCapabilities, session,
            &capabilities) == kOk;
}

void Host::Compress(bool jpeg) {
  Do("SetCompressionType", toolkit.compression, &ICompression::SetCompressionType, session,
     jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
}

bool Host::Start() {
  const auto& scanner = toolkit.scanner;
  page.bytes.clear();
  page.granted = {};
  Do("SetScannerParameters", scanner, &IScanner::SetScannerParameters, session, &page.asked);
  const Outcome known =
      Do("GetBufferInfo", scanner, &IScanner::GetBufferInfo, session, &page.asked, &page.granted);
  const Outcome started = Do("StartScan", scanner, &IScanner::StartScan, session);
  return known == kOk && started == kOk && page.granted.dwBytesPerLine > 0;
}

Outcome Host::Read(uint32_t lines, int reads) {
  std::vector<uint8_t> piece(size_t{page.granted.dwBytesPerLine} * lines);
  last = kOk;
  for (int read = 0; last == kOk && read < reads; ++read) {
    uint32_t got = 0;
    Do("ReadScanEx", toolkit.scanner, &IScanner::ReadScanEx, session, piece.data(),
       static_cast<uint32_t>(piece.size()), &got);
    if (got > piece.size()) Fail("a read gave more than was asked for");
    if (got == 0 && last == kOk) Fail("a read gave neither bytes nor an end");
    page.bytes.insert(page.bytes.end(), piece.begin(),
                      piece.begin() + std::min<size_t>(got, piece.size()));
    Progress();
  }
  if (last == kOk && reads == kPatient) Fail("the page has no end");
  return last;
}

Outcome Host::Stop() {
  return Do("StopScan", toolkit.scanner, &IScanner::StopScan, session);
}

void Host::Unlock() {
  Do("UnlockScanner", toolkit.scanner, &IScanner::UnlockScanner, session);
}

void Host::Close() {
  if (session) Do("CloseScannerSession", toolkit.scanner, &IScanner::CloseScannerSession, session);
  session = 0;
}

bool Host::Scan(uint32_t lines) {
  const bool whole = Start() && Read(lines) == kEndOfPage;
  return Stop() == kOk && whole;
}

void Host::ScanPerfectly(const char* when, const std::string& paper) {
  page.asked = PageParameters(T_GREYSCALE, 150, {200, 200});
  Compress(false);
  const bool whole = Scan(64);
  const std::string difference =
      Difference(PaperAsked(page, paper, {}), page.bytes, page.granted.dwBytesPerLine);
  if (!whole || !difference.empty()) Fail(std::string(when) + ": no perfect page " + difference);
}

void Host::After(const char* method, const Outcome& outcome) {
  const bool excused = excuse == Excuse::kSystemFails ? FAILED(outcome.result)
                       : excuse == Excuse::kDeviceLies
                           ? outcome == kInvalidParameter && method == std::string("ReadScanEx")
                           : false;
  if (!IsLegal(method, outcome) && !excused)
    Fail(std::string(method) + " answered " + Text(outcome));
}

}  // namespace scantk::test
