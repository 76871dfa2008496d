#include "tests/sweep/watched_host.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/component_support.h"
#include "tests/sweep/virtual_line.h"

extern "C" HRESULT SCANTK_SUPPORT_CALL DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);

namespace scantk::test {
namespace {

// The waits of the transports, in milliseconds.
constexpr int64_t kConnectWait = 10000;  // for a connection to be made
constexpr int64_t kReadWait = 30000;     // for the next byte, and for a stack's answer
constexpr int64_t kFlushWait = 500;      // for the next byte, while a device is drained
constexpr int64_t kFinishWait = 200;     // for a device to take what was written last
constexpr int64_t kAnswer = 6 * kReadWait;
constexpr int64_t kDrain = 4 * kFlushWait;  // a header, and three reads without one
// One that is given up, and one that is made, with its greeting.
constexpr int64_t kConnection = kFinishWait + kConnectWait + kReadWait;

// A device that has gone silent costs a method every answer that it asks for before it gives up,
// every drain of what the device might still be sending, and a connection.
struct Waits {
  const char* methods;
  int answers, drains;
};
constexpr Waits kWaits[] = {
    {"LockScanner, UnlockScanner, CloseScannerSession, JobReleaseHW, ResetScanner,", 0, 0},
    {"GetScannerCapabilities, GetADF2Capabilities,", 4, 0},
    {"GetBufferInfo, ADFIsReady,", 2, 0},
    {"StartScan,", 4, 2},
    {"ReadScanEx, JobReserveHW, StopScan,", 2, 1},
};

// How long a method may hold its host when one thing goes wrong at a device on this medium: virtual
// milliseconds, which have no tolerance.
int64_t TimeBound(const std::string& method, uint32_t io_type) {
  if (method == "OpenScannerSession" && io_type == T_IO_DOT4) return kReadWait;
  for (const auto& [methods, answers, drains] : kWaits) {
    if (!std::strstr(methods, (method + ",").c_str())) continue;
    // Of more than one byte a stack is asked ten times.
    const int64_t passes = io_type == T_IO_DOT4 && answers > 0 ? 9 * kReadWait : 0;
    return answers * kAnswer + drains * kDrain + kConnection + passes;
  }
  return 0;
}

// Of the toolkit that is linked to this program.
Toolkit MakeToolkit() {
  const ToolkitAtWork at_work;
  ComPtr<IClassFactory> factory;
  ComPtr<IScanner> scanner;
  if (DllGetClassObject(CLSID_scanner, IID_IClassFactory, factory.OutVoid()) != S_OK ||
      factory->CreateInstance(nullptr, IID_IScanner, scanner.OutVoid()) != S_OK)
    throw std::bad_alloc();
  return Toolkit(scanner);
}

}  // namespace

WatchedHost::WatchedHost(const std::string& device, uint32_t io_type, Excuse why)
    : Host(device, io_type, MakeToolkit()), io_type_(io_type) {
  excuse = why;
}

WatchedHost::~WatchedHost() {
  const ToolkitAtWork at_work;
  toolkit = Toolkit(ComPtr<IScanner>());
}

void WatchedHost::Before(const char*) {
  started_ = VirtualLine::Current().Milliseconds();
  at_work_.emplace();
}

void WatchedHost::After(const char* method, const Outcome& outcome) {
  at_work_.reset();
  Host::After(method, outcome);
  const int64_t took = VirtualLine::Current().Milliseconds() - started_;
  if (took > TimeBound(method, io_type_))
    Fail(std::string(method) + " took " + std::to_string(took) + " ms");
}

void WatchedHost::Progress() {
  progress.emplace_back(VirtualLine::Current().Counts().to_host, image_ + page.bytes.size());
}

void WatchedHost::Run(const SweepJob& job) {
  if (!Open()) return;
  if (Lock(T_LOCK_PROCESS, 0)) {
    finished = Scan(job);
    Unlock();
  }
  Close();
}

bool WatchedHost::Scan(const SweepJob& job) {
  // Capabilities, once learned, set what is usual: what is chosen before them is lost.
  ADF2_CAPABILITIES feeder;
  const bool feeds = job.sheets > 0;
  if (!Learn() || (feeds && Do("GetADF2Capabilities", toolkit.feeder, &IADF2::GetADF2Capabilities,
                               session, &feeder) != kOk))
    return false;
  Compress(job.jpeg);
  if (feeds)
    Do("SetADFOptions", toolkit.feeder, &IADF2::SetADFOptions, session,
       uint32_t{T_ADF_MULTIPAGE_FLOW});
  const auto& reserve = toolkit.reserve;
  if (job.reserves && Do("JobReserveHW", reserve, &IReserve::JobReserveHW, session, 0u) == kOk)
    Do("JobReleaseHW", reserve, &IReserve::JobReleaseHW, session);
  bool scanned = true;
  for (int sheet = 0; scanned && sheet < std::max(1, job.sheets); ++sheet) scanned = ScanPage(job);
  if (job.reserves) Do("ResetScanner", toolkit.scanner, &IScanner::ResetScanner, session);
  return scanned;
}

bool WatchedHost::ScanPage(const SweepJob& job) {
  page.asked = PageParameters(job.mode, 75, {job.width, job.length});
  if (job.sheets > 0) {
    uint8_t ready = 0;
    page.asked.wScanMethod = T_METHOD_ADF;
    if (Do("ADFIsReady", toolkit.feeder, &IADF::ADFIsReady, session, &ready) != kOk) return false;
    Do("ADFPaperFeed", toolkit.feeder, &IADF::ADFPaperFeed, session);
  }
  const bool read = Start() && Read(2) == kEndOfPage;
  pages.push_back(page.bytes);
  image_ += page.bytes.size();
  // The last sheet's stop tells that the feeder is empty.
  return (Stop() == kOk || job.sheets > 0) && read;
}

}  // namespace scantk::test
