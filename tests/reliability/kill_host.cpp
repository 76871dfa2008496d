#include "tests/reliability/kill_host.h"

#include <unistd.h>

#include <memory>
#include <vector>

#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

class Host {
 public:
  Host(const std::string& device, uint32_t io_type, int progress)
      : device_(device), io_type_(io_type), progress_(progress) {}

  bool RunJob() {
    Say(Step::kLoad);
    Toolkit toolkit;
    const auto& scanner = toolkit.scanner;
    uint32_t session = 0;
    Say(Step::kOpen);
    Expect(Call(scanner, &IScanner::OpenScannerSession, Wide(device_).c_str(), io_type_, &session));
    Say(Step::kLock);
    Expect(Call(scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, 5000u));
    Say(Step::kCapabilities);
    SCANNER_CAPABILITIES capabilities;
    Expect(Call(scanner, &IScanner::GetScannerCapabilities, session, &capabilities));
    ScanPage(toolkit, session);
    Say(Step::kUnlock);
    Expect(Call(scanner, &IScanner::UnlockScanner, session));
    Say(Step::kClose);
    Expect(Call(scanner, &IScanner::CloseScannerSession, session));
    Say(Step::kDone);
    return well_;
  }

 private:
  void Say(Step step) {
    const char word = static_cast<char>(step);
    well_ &= write(progress_, &word, 1) == 1;
  }
  void Expect(const Outcome& outcome) { well_ &= outcome == kOk; }

  void ScanPage(const Toolkit& toolkit, uint32_t session) {
    const auto& scanner = toolkit.scanner;
    SCANNER_PARAMETERS parameters = PageParameters(T_COLOR, 150, {600, 600});
    BUFFER_INFO info = {};
    Expect(Call(scanner, &IScanner::SetScannerParameters, session, &parameters));
    Say(Step::kBufferInfo);
    Expect(Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
    Say(Step::kStart);
    Expect(Call(scanner, &IScanner::StartScan, session));
    std::vector<uint8_t> lines(size_t{info.dwBytesPerLine} * 16 + 1);
    Outcome read = kOk;
    while (read == kOk) {
      Say(Step::kRead);
      uint32_t got = 0;
      read = Call(scanner, &IScanner::ReadScanEx, session, lines.data(), info.dwBytesPerLine * 16,
                  &got);
    }
    well_ &= read == kEndOfPage;
    Say(Step::kStop);
    Expect(Call(scanner, &IScanner::StopScan, session));
  }

  const std::string device_;
  const uint32_t io_type_;
  const int progress_;
  bool well_ = true;
};

}  // namespace

const char* Name(Step step) {
  constexpr const char* kNames[kSteps] = {"load",        "open",  "lock",        "capabilities",
                                          "buffer info", "start", "read",        "stop",
                                          "unlock",      "close", "between jobs"};
  return kNames[static_cast<size_t>(step)];
}

int RunKilledHost(const std::string& device, uint32_t io_type, int progress, int jobs) {
  Host host(device, io_type, progress);
  for (int job = 0; job != jobs; ++job)
    if (!host.RunJob()) return 3;
  return 0;
}

}  // namespace scantk::test
