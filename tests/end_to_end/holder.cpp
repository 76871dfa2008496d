// A host of the tests: locks a device (and begins a scan), says so on one descriptor and lets go
// when the other is closed. Arguments: device, "hold" or "scan", ready descriptor, go descriptor.
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"

int main(int argc, char** argv) {
  using namespace scantk::test;
  if (argc != 5) return 2;
  Toolkit toolkit;
  uint32_t session = 0;
  const auto& scanner = toolkit.scanner;
  if (!(Call(scanner, &IScanner::OpenScannerSession, Wide(argv[1]).c_str(), T_IO_NETWORK,
             &session) == kOk) ||
      !(Call(scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, 5000u) == kOk))
    return 3;
  if (std::string(argv[2]) == "scan") {
    SCANNER_PARAMETERS parameters = PageParameters(T_COLOR, 300, {2400, 3000});
    BUFFER_INFO info = {};
    uint32_t got = 0;
    Call(scanner, &IScanner::SetScannerParameters, session, &parameters);
    Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info);
    Call(scanner, &IScanner::StartScan, session);
    std::vector<uint8_t> line(info.dwBytesPerLine);
    if (!(Call(scanner, &IScanner::ReadScanEx, session, line.data(), info.dwBytesPerLine, &got) ==
          kOk))
      return 4;
  }
  char word = 1;
  if (write(std::atoi(argv[3]), &word, 1) != 1) return 5;
  [[maybe_unused]] ssize_t ended = read(std::atoi(argv[4]), &word, 1);
  const bool unlocked = Call(scanner, &IScanner::UnlockScanner, session) == kOk;
  const bool closed = Call(scanner, &IScanner::CloseScannerSession, session) == kOk;
  return unlocked && closed ? 0 : 6;
}
