// Another process for the tests: locks the device NAME at ADDRESS without waiting, says "locked" or
// the error, holds it for MILLISECONDS, lets go and says "released".
#include <cstdio>
#include <cstdlib>

#include "platform/clock.h"
#include "tests/contract/toolkit.h"

namespace {

void Say(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace scantk::test;
  if (argc != 4) return 2;
  Sandbox sandbox;
  const std::string device = sandbox.AddNetworkDevice(argv[2]);
  sandbox.SetDeviceText(device, "NetworkDeviceID", argv[1]);
  Toolkit toolkit;
  uint32_t session = 0;
  const auto& scanner = toolkit.scanner;
  Outcome outcome =
      Call(scanner, &IScanner::OpenScannerSession, Wide(argv[1]).c_str(), T_IO_NETWORK, &session);
  if (outcome == kOk) outcome = Call(scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, 0u);
  Say(outcome == kOk ? "locked" : ToolkitErrorText(outcome.code));
  if (!(outcome == kOk)) return 1;
  scantk::TheClock().Sleep(static_cast<uint32_t>(std::atoi(argv[3])));
  Call(scanner, &IScanner::UnlockScanner, session);
  Call(scanner, &IScanner::CloseScannerSession, session);
  Say("released");
  return 0;
}
