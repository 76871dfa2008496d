#include "host/session.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "host/program_folder.h"
#include "platform/component.h"
#include "platform/system.h"

namespace scanhost {
namespace {

// How long one attempt to lock waits: short, so that Ctrl-C is noticed.
constexpr uint32_t kLockSliceMs = 250;

HRESULT CreateScanner(const std::string& library, IScanner** scanner) {
  void** object = reinterpret_cast<void**>(scanner);
  if (!library.empty())
    return scantk::CreateComponentFrom(library, CLSID_scanner, IID_IScanner, object);
  const HRESULT result = scantk::CreateComponent(CLSID_scanner, IID_IScanner, object);
  if (result != REGDB_E_CLASSNOTREG) return result;
  const std::string beside = FindLibrary("scantk1");
  return beside.empty() ? result
                        : scantk::CreateComponentFrom(beside, CLSID_scanner, IID_IScanner, object);
}

}  // namespace

Toolkit::Toolkit(const std::string& library) {
  scantk::InitializeComponents();
  const HRESULT result = CreateScanner(library, scanner_.Out());
  if (FAILED(result)) {
    scantk::UninitializeComponents();
    throw ToolkitFailure({"creating the scanner object", result, TERR_NONE});
  }
}

Toolkit::~Toolkit() {
  scanner_.Reset();
  scantk::UninitializeComponents();
}

void Toolkit::AskFor(const GUID& iid, void** object) const {
  const HRESULT result = scanner_->QueryInterface(iid, object);
  if (FAILED(result)) throw ToolkitFailure({"QueryInterface", result, TERR_NONE});
}

Session::Session(const Toolkit& toolkit, const Device& device) : scanner_(toolkit.scanner()) {
  const std::u16string name = scantk::Utf16(device.name);
  Call("OpenScannerSession", scanner_, &IScanner::OpenScannerSession,
       reinterpret_cast<const WideChar*>(name.c_str()), device.io_type, &handle_);
}

Session::~Session() {
  StopScan();
  if (locked_) Try("UnlockScanner", scanner_, &IScanner::UnlockScanner, handle_);
  Try("CloseScannerSession", scanner_, &IScanner::CloseScannerSession, handle_);
}

void Session::Lock(uint32_t milliseconds, const std::function<bool(const Outcome&)>& waiting) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    const Outcome outcome = Try("LockScanner", scanner_, &IScanner::LockScanner, handle_,
                                T_LOCK_PROCESS, std::min(milliseconds, kLockSliceMs));
    if (outcome.Clean()) break;
    const bool busy =
        outcome.code == TERR_SCANNER_LOCK_FAILED || outcome.code == TERR_NET_SOCKET_BUSY;
    if (!busy || Clock::now() >= end || !waiting(outcome)) throw ToolkitFailure(outcome);
    // A busy device answers at once; asking it all the time would keep it busy.
    if (outcome.code == TERR_NET_SOCKET_BUSY)
      std::this_thread::sleep_for(std::chrono::milliseconds(kLockSliceMs));
  }
  locked_ = true;
}

void Session::StartScan() {
  // A start that failed half way may hold the device: it is stopped as well.
  started_ = true;
  Do("StartScan", &IScanner::StartScan);
}

Outcome Session::StopScan() {
  if (!started_) return {"StopScan", S_OK, TERR_NONE};
  started_ = false;
  return Try("StopScan", scanner_, &IScanner::StopScan, handle_);
}

}  // namespace scanhost
