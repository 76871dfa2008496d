#include "host/session.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "host/program_folder.h"
#include "host/setup/registration.h"

namespace scanhost {
namespace {

// How long one attempt to lock waits: short, so that Ctrl-C is noticed.
constexpr uint32_t kLockSliceMs = 250;

}  // namespace

FoundLibrary FindToolkit(const std::string& library) {
  if (!library.empty()) return {library, "named by --library"};
  if (const std::string registered = RegisteredLibrary(); !registered.empty())
    return {registered, "registered"};
  if (const std::string beside = FindLibrary("scantk1"); !beside.empty())
    return {beside, "beside scanhost"};
  return {"", "the loader's"};
}

Toolkit::Toolkit(const std::string& library) {
  using namespace scantk::client;
  const FoundLibrary found = FindToolkit(library);
  // A registered class is the component runtime's business where there is one.
  HRESULT result = REGDB_E_CLASSNOTREG;
  if (library.empty() && found.how != "beside scanhost")
    result = CreateComponent(CLSID_scanner, IID_IScanner, scanner_.Out());
  if (result == REGDB_E_CLASSNOTREG && !found.path.empty())
    result = CreateComponentFrom(found.path, CLSID_scanner, IID_IScanner, scanner_.Out());
  if (FAILED(result)) throw ToolkitFailure({"creating the scanner object", result, TERR_NONE});
}

void Toolkit::AskFor(const GUID& iid, void** object) const {
  const HRESULT result = scanner_->QueryInterface(iid, object);
  if (FAILED(result)) throw ToolkitFailure({"QueryInterface", result, TERR_NONE});
}

Session::Session(const Toolkit& toolkit, const Device& device) : scanner_(toolkit.scanner()) {
  Call("OpenScannerSession", scanner_, &IScanner::OpenScannerSession,
       scantk::client::Wide(device.name).c_str(), device.io_type, &handle_);
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
