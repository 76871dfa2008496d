#include "tests/sweep/sweep_host.h"

#include <algorithm>
#include <functional>
#include <sstream>

#include "platform/component_support.h"
#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"
#include "tests/sweep/failing_memory.h"
#include "tests/sweep/time_bounds.h"

extern "C" HRESULT SCANTK_SUPPORT_CALL DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);

namespace scantk::test {
namespace {

constexpr int kMostReads = 2000;  // of a page; a device that sends for ever is a problem
constexpr uint32_t kRowsPerRead = 2;

class SweepHost {
 public:
  SweepHost(const SweepJob& job, const std::string& device, VirtualClock* clock,
            const VirtualNetwork& network, Excuse excuse)
      : job_(job), name_(Wide(device)), clock_(*clock), network_(network), excuse_(excuse) {}

  JobRecord Run() {
    if (!MakeObject()) return std::move(record_);
    if (Do(Method::kOpen, [&] {
          return Call(scanner_, &IScanner::OpenScannerSession, name_.c_str(), T_IO_NETWORK,
                      &session_);
        })) {
      if (Do(Method::kLock, [&] {
            return Call(scanner_, &IScanner::LockScanner, session_, T_LOCK_PROCESS, 0u);
          })) {
        record_.finished = Scan();
        Do(Method::kUnlock, [&] { return Call(scanner_, &IScanner::UnlockScanner, session_); });
      }
      Do(Method::kClose, [&] { return Call(scanner_, &IScanner::CloseScannerSession, session_); });
    }
    LetGo();
    return std::move(record_);
  }

 private:
  bool MakeObject() {
    const ToolkitAtWork at_work;
    ComPtr<IClassFactory> factory;
    if (DllGetClassObject(CLSID_scanner, IID_IClassFactory, factory.OutVoid()) != S_OK ||
        factory->CreateInstance(nullptr, IID_IScanner, scanner_.OutVoid()) != S_OK ||
        scanner_->QueryInterface(IID_IADF3, feeder_.OutVoid()) != S_OK ||
        scanner_->QueryInterface(IID_ICompression, compression_.OutVoid()) != S_OK ||
        scanner_->QueryInterface(IID_IReserve, reserve_.OutVoid()) != S_OK) {
      Report("no object", excuse_ != Excuse::kSystemFails);
      return false;
    }
    return true;
  }
  void LetGo() {
    const ToolkitAtWork at_work;
    scanner_ = {};
    feeder_ = {};
    compression_ = {};
    reserve_ = {};
  }

  void Report(const std::string& problem, bool is_one) {
    const TestAtWork safe;
    if (is_one) record_.problems.push_back(problem);
  }

  // Calls a method, and looks at how long it took and what it answered. True when all is well.
  bool Do(Method method, const std::function<Outcome()>& call) {
    const int64_t start = clock_.Milliseconds();
    {
      const ToolkitAtWork at_work;
      last_ = call();
    }
    const int64_t took = clock_.Milliseconds() - start;
    int64_t& longest = record_.longest[static_cast<size_t>(method)];
    longest = std::max(longest, took);
    if (took > TimeBound(method)) {
      Report(std::string(Name(method)) + " took " + std::to_string(took) + " ms", true);
    }
    if (!IsLegal(method, last_) && !Excused(method)) {
      std::ostringstream text;
      text << Name(method) << " answered " << last_;
      Report(text.str(), true);
    }
    return last_ == kOk;
  }

  bool Excused(Method method) const {
    if (excuse_ == Excuse::kSystemFails) return FAILED(last_.result);
    return excuse_ == Excuse::kDeviceLies && method == Method::kRead && last_ == kInvalidParameter;
  }

  bool Scan() {
    // Capabilities, once learned, set what is usual: what is chosen before them is lost.
    SCANNER_CAPABILITIES caps;
    ADF2_CAPABILITIES feeder_caps;
    if (!Do(Method::kCapabilities,
            [&] { return Call(scanner_, &IScanner::GetScannerCapabilities, session_, &caps); }))
      return false;
    if (job_.sheets > 0 && !Do(Method::kCapabilities, [&] {
          return Call(feeder_, &IADF2::GetADF2Capabilities, session_, &feeder_caps);
        }))
      return false;
    Do(Method::kCompression, [&] {
      return Call(compression_, &ICompression::SetCompressionType, session_,
                  job_.jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
    });
    if (job_.sheets > 0) return ScanSheets();
    if (job_.reserves &&
        Do(Method::kReserve, [&] { return Call(reserve_, &IReserve::JobReserveHW, session_, 0u); }))
      Do(Method::kRelease, [&] { return Call(reserve_, &IReserve::JobReleaseHW, session_); });
    const bool scanned = ScanPage();
    if (job_.reserves)
      Do(Method::kReset, [&] { return Call(scanner_, &IScanner::ResetScanner, session_); });
    return scanned;
  }

  bool ScanSheets() {
    if (!Do(Method::kCapabilities, [&] {
          return Call(feeder_, &IADF2::SetADFOptions, session_, uint32_t{T_ADF_MULTIPAGE_FLOW});
        }))
      return false;
    for (int sheet = 0; sheet < job_.sheets; ++sheet) {
      uint8_t ready = 0;
      if (!Do(Method::kFeederReady,
              [&] { return Call(feeder_, &IADF::ADFIsReady, session_, &ready); }))
        return false;
      Do(Method::kLocal, [&] { return Call(feeder_, &IADF::ADFPaperFeed, session_); });
      if (!ScanPage()) return false;
    }
    return true;
  }

  bool ScanPage() {
    SCANNER_PARAMETERS parameters = PageParameters(job_.mode, 75, {job_.width, job_.length});
    parameters.wScanMethod = job_.sheets > 0 ? T_METHOD_ADF : T_METHOD_FLATBED;
    BUFFER_INFO info = {};
    if (!Do(Method::kLocal,
            [&] {
              return Call(scanner_, &IScanner::SetScannerParameters, session_, &parameters);
            }) ||
        !Do(Method::kBufferInfo,
            [&] { return Call(scanner_, &IScanner::GetBufferInfo, session_, &parameters, &info); }))
      return false;
    record_.row_bytes = info.dwBytesPerLine;
    const bool started =
        Do(Method::kStart, [&] { return Call(scanner_, &IScanner::StartScan, session_); });
    record_.pages.emplace_back();
    const bool read = started && ReadPage(info);
    const bool stopped =
        Do(Method::kStop, [&] { return Call(scanner_, &IScanner::StopScan, session_); });
    // The last sheet's stop tells that the feeder is empty.
    return read && (stopped || job_.sheets > 0);
  }

  bool ReadPage(const BUFFER_INFO& info) {
    std::vector<uint8_t> rows(size_t{info.dwBytesPerLine} * kRowsPerRead);
    if (rows.empty()) return false;  // the device said so
    for (int reads = 0; reads < kMostReads; ++reads) {
      uint32_t got = 0;
      const bool more = Do(Method::kRead, [&] {
        return Call(scanner_, &IScanner::ReadScanEx, session_, rows.data(),
                    static_cast<uint32_t>(rows.size()), &got);
      });
      if (got > rows.size()) {
        Report("more was read than asked for", true);
        return false;
      }
      record_.pages.back().insert(record_.pages.back().end(), rows.begin(), rows.begin() + got);
      image_ += got;
      record_.progress.push_back({network_.Counts().to_host, image_});
      if (!more) return last_ == kEndOfPage;
    }
    Report("the page has no end", true);
    return false;
  }

  const SweepJob& job_;
  const std::basic_string<WideChar> name_;
  VirtualClock& clock_;
  const VirtualNetwork& network_;
  const Excuse excuse_;
  ComPtr<IScanner> scanner_;
  ComPtr<IADF3> feeder_;
  ComPtr<ICompression> compression_;
  ComPtr<IReserve> reserve_;
  uint32_t session_ = 0;
  size_t image_ = 0;
  Outcome last_ = kOk;
  JobRecord record_;
};

}  // namespace

JobRecord RunJob(const SweepJob& job, const std::string& device, VirtualClock* clock,
                 const VirtualNetwork& network, Excuse excuse) {
  return SweepHost(job, device, clock, network, excuse).Run();
}

}  // namespace scantk::test
