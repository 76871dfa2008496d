#include "tests/reliability/soak_job.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>

#include "platform/clock.h"
#include "platform/component.h"
#include "platform/system.h"
#include "tests/contract/page_parameters.h"
#include "tests/reliability/leak_watch.h"
#include "tests/reliability/legal_outcomes.h"
#include "tests/reliability/soak_device.h"

namespace scantk::test {
namespace {

constexpr uint32_t kMostBytesPerRead = 8 << 20;  // a lying device may announce any geometry
constexpr int kMostReads = 20000;
constexpr int kMostPages = 8;

using SideKey = std::pair<int, bool>;  // sheet, back
using Sides = std::map<SideKey, std::vector<uint8_t>>;

std::string FreshAddress() {
  static int count = 0;
  const uint32_t process = ProcessId();
  return "127." + std::to_string(32 + (process >> 8) % 200) + "." + std::to_string(process & 0xFF) +
         "." + std::to_string(1 + count++ % 250);
}

// What one page gave.
struct Page {
  Outcome start = kOk;
  Outcome last_read = kOk;
  Outcome stop = kOk;
  std::vector<uint8_t> bytes;
  size_t announced = 0;  // bytes that the geometry promises
  bool broken_off = false;

  bool Whole() const { return last_read == kEndOfPage && !broken_off; }
};

// Beyond the resolution that every device has.
bool Scales(const SoakPlan& plan) {
  return plan.parameters.wXResolution > 300 || plan.parameters.wYResolution > 300;
}

// The bytes of a compressed page depend on the coder, those of a scaled one on the scaling.
bool OnlyAScanKnows(const SoakPlan& plan) {
  return plan.jpeg || Scales(plan);
}

// A host, a device and a registry that names it.
class Job {
 public:
  Job(const SoakPlan& plan, const JobOptions& options, JobReport* report)
      : plan_(plan), options_(options), report_(report) {
    if (!options.trace_path.empty()) sandbox_.SwitchTraceOn();
    SoakPlan placed = plan;
    placed.device.log_path = options.device_log;
    const std::string place =
        plan.io_type == T_IO_NETWORK
            ? FreshAddress()
            : sandbox_.Folder() + (plan.io_type == T_IO_USB ? "/usb" : "/dot4");
    device_ = std::make_unique<SoakDevice>(placed, place);
    name_ = plan.io_type == T_IO_NETWORK ? sandbox_.AddNetworkDevice(place)
                                         : sandbox_.AddAttachedDevice(place, plan.io_type);
  }

  ~Job() {
    if (session_) Close();
    toolkit_.reset();
    if (!options_.trace_path.empty()) {
      std::error_code ignored;
      std::filesystem::copy_file(Sandbox::TracePath(), options_.trace_path,
                                 std::filesystem::copy_options::overwrite_existing, ignored);
    }
    RemoveSemaphore(SemaphoreName());
  }

  // The pages of a device without faults, for the pages of which only a scan knows the bytes.
  Sides LearnPages() {
    Sides sides;
    learning_ = true;
    if (!Begin()) Fail("a device without faults could not be scanned from");
    ScanAll([&](const Page& page, const SideKey& side) {
      if (!page.Whole() || !(page.stop == kOk)) Fail("a page of a device without faults broke");
      sides[side] = page.bytes;
    });
    return sides;
  }

  void Run(const Sides* learnt) {
    learnt_ = learnt;
    for (const std::string& fault : plan_.faults) device_->AddFault(fault);
    if (Begin()) ScanAll([&](const Page& page, const SideKey& side) { Judge(page, side); });
    const int strikes = device_->strikes();
    report_->strikes += strikes;
    ExpectNothingHeld();
    device_->Heal(3);
    disturbed_ = true;
    ScanClean();
    const std::string layout = device_->layout_faults();
    if (!layout.empty()) Fail("the stack was asked for nonsense: " + layout);
  }

 private:
  void Fail(const std::string& what) { report_->failures.push_back(what); }
  bool Disturbs() const { return !learning_ && !disturbed_; }

  // Calls a method, with the device disturbed before if its time has come.
  template <class Pointer, class Interface, class... Parameters, class... Arguments>
  Outcome Do(Method method, const Pointer& object,
             HRESULT (STDMETHODCALLTYPE Interface::*function)(Parameters...),
             Arguments... arguments) {
    if (Disturbs() && ++calls_ == plan_.disturbed_call && plan_.disturbance != Disturbance::kNone) {
      disturbed_ = true;
      device_->Disturb(plan_.disturbance, plan_.disturbance_value);
    }
    const Outcome outcome = Call(object, function, arguments...);
    // Reads are of lines of the geometry told before the start; a device may take it back then.
    const bool told_otherwise = method == Method::kRead && outcome == kInvalidParameter &&
                                !clean_ && AnyFault(ChangesAnswers) && AnyFault(ChangesContent);
    if (!IsLegal(method, outcome) && !told_otherwise) {
      std::ostringstream text;
      text << Name(method) << " answered " << outcome;
      Fail(text.str());
    }
    report_->host_noticed |= !(outcome == kOk) && !(outcome == kEndOfPage);
    return outcome;
  }

  bool Open() {
    if (!toolkit_) toolkit_ = std::make_unique<Toolkit>();
    const Outcome opened = Do(Method::kOpen, toolkit_->scanner, &IScanner::OpenScannerSession,
                              Wide(name_).c_str(), plan_.io_type, &session_);
    if (!(opened == kOk)) session_ = 0;
    return opened == kOk;
  }
  void Close() {
    Do(Method::kClose, toolkit_->scanner, &IScanner::CloseScannerSession, session_);
    device_->AwaitHostGone();
    session_ = 0;
    locked_ = false;
  }
  bool Lock() {
    locked_ = Do(Method::kLock, toolkit_->scanner, &IScanner::LockScanner, session_,
                 plan_.lock_type, 1000u) == kOk;
    return locked_;
  }
  void Unlock() {
    Do(Method::kUnlock, toolkit_->scanner, &IScanner::UnlockScanner, session_);
    locked_ = false;
  }

  // Opens, locks, and tells the toolkit what kind of job it is.
  bool Begin() {
    if (!Open() || !Lock()) return false;
    if (plan_.asks_capabilities) {
      SCANNER_CAPABILITIES capabilities;
      const Outcome asked = Do(Method::kCapabilities, toolkit_->scanner,
                               &IScanner::GetScannerCapabilities, session_, &capabilities);
      if (plan_.sets_tone_map && asked == kOk && capabilities.dwGammaEntriesPerChannel == 256)
        SetToneMap();
    }
    if (plan_.Feeder())
      Do(Method::kLocal, toolkit_->feeder, &IADF2::SetADFOptions, session_,
         static_cast<uint32_t>(plan_.duplex ? T_ADF_DUPLEX : T_ADF_MULTIPAGE_FLOW));
    if (plan_.reads_property) ReadProperty();
    Do(Method::kCompression, toolkit_->compression, &ICompression::SetCompressionType, session_,
       plan_.jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
    if (plan_.reserves) {
      Do(Method::kReserve, toolkit_->reserve, &IReserve::JobReserveHW, session_, 0u);
      Do(Method::kRelease, toolkit_->reserve, &IReserve::JobReleaseHW, session_);
    }
    learnt_in_peace_ = device_->strikes() == 0;
    return true;
  }

  void SetToneMap() {
    std::vector<uint8_t> map(256);
    for (size_t i = 0; i < map.size(); ++i) map[i] = static_cast<uint8_t>(255 - i);
    Do(Method::kLocal, toolkit_->scanner, &IScanner::SetGammaTable, session_, 256u, map.data(),
       map.data(), map.data());
  }

  void ReadProperty() {
    WideChar* text = nullptr;
    uint32_t code = 0;
    toolkit_->properties->GetHWPropString(session_, Wide("ModelNumber").c_str(), &text, &code);
    if (text) TaskFree(text);
  }

  // Scans page after page as the plan wants it; each is shown to `look` once it is over. Leaves the
  // device unlocked, or the session closed.
  template <class Look>
  void ScanAll(const Look& look) {
    for (int number = 0; number < kMostPages; ++number) {
      if (plan_.Feeder()) {
        uint8_t ready = 0;
        Do(Method::kFeederReady, toolkit_->feeder, &IADF::ADFIsReady, session_, &ready);
        if (!ready && number > 0) break;
        Do(Method::kLocal, toolkit_->feeder, &IADF::ADFPaperFeed, session_);
      }
      const Page page = Scan(plan_.parameters, plan_.lines_per_read);
      look(page, Side());
      if (!plan_.Feeder() || !page.Whole() || page.broken_off || !session_ || !locked_) break;
    }
    if (session_ && locked_) Unlock();
    report_->host_broke_off |= !learning_ && plan_.end != HostEnd::kPatient;
  }

  Page Scan(SCANNER_PARAMETERS parameters, uint32_t lines_per_read) {
    Page page;
    const auto& scanner = toolkit_->scanner;
    BUFFER_INFO info = {};
    Do(Method::kLocal, scanner, &IScanner::SetScannerParameters, session_, &parameters);
    const Outcome known =
        Do(Method::kBufferInfo, scanner, &IScanner::GetBufferInfo, session_, &parameters, &info);
    page.start = Do(Method::kStart, scanner, &IScanner::StartScan, session_);
    page.announced = size_t{info.dwBytesPerLine} * info.dwPixelHeight;
    const uint64_t piece = uint64_t{info.dwBytesPerLine} * lines_per_read;
    const bool readable = known == kOk && piece > 0 && piece <= kMostBytesPerRead;
    if (page.start == kOk && readable) ReadPage(&page, static_cast<uint32_t>(piece));
    if (page.start == kOk && !readable) page.broken_off = true;
    if (!session_ || !locked_) return page;
    page.stop = Do(Method::kStop, scanner, &IScanner::StopScan, session_);
    return page;
  }

  void ReadPage(Page* page, uint32_t piece) {
    const HostEnd end = learning_ || clean_ ? HostEnd::kPatient : plan_.end;
    std::vector<uint8_t> buffer(piece);
    int reads = 0;
    for (; reads < kMostReads; ++reads) {
      if (end != HostEnd::kPatient && end != HostEnd::kReadsOn && reads == plan_.reads_before_end)
        return BreakOff(page, end);
      uint32_t got = 0;
      page->last_read = Do(Method::kRead, toolkit_->scanner, &IScanner::ReadScanEx, session_,
                           buffer.data(), piece, &got);
      if (got > piece) return Fail("a read gave more than was asked for");
      page->bytes.insert(page->bytes.end(), buffer.begin(), buffer.begin() + got);
      report_->bytes += got;
      if (!(page->last_read == kOk)) break;
    }
    if (reads == kMostReads) Fail("the page has no end");
    report_->pages += page->Whole();
    if (end != HostEnd::kReadsOn) return;
    uint32_t got = 0;
    Do(Method::kRead, toolkit_->scanner, &IScanner::ReadScanEx, session_, buffer.data(), piece,
       &got);
  }

  void BreakOff(Page* page, HostEnd end) {
    page->broken_off = true;
    if (end == HostEnd::kUnlocks) Unlock();
    if (end == HostEnd::kCloses) Close();
  }

  // Which page lay under the sensor last.
  SideKey Side() const {
    const auto seen = device_->last_page();
    return seen ? SideKey(seen->side.sheet, seen->side.back) : SideKey(0, false);
  }

  bool AnyFault(bool (*property)(const std::string&)) const {
    return std::any_of(plan_.faults.begin(), plan_.faults.end(), property);
  }

  std::vector<uint8_t> Truth(const SideKey& side) const {
    if (learnt_) {
      const auto known = learnt_->find(side);
      return known == learnt_->end() ? std::vector<uint8_t>() : known->second;
    }
    auto settings = device_->last_page();
    if (!settings) return {};
    settings->flip = sim::Flip::kNone;  // the host gets back sides the right way up
    return sim::RenderPage(sim::MakePaper(plan_.device.paper), *settings);
  }

  // The bytes are the true page's first ones, and a page that is told to be whole is.
  void Judge(const Page& page, const SideKey& side) {
    if (page.bytes.empty() || AnyFault(ChangesContent)) return;
    // A toolkit that could not learn the device's limits and usual settings scales and compresses
    // otherwise.
    if (learnt_ && !learnt_in_peace_) return;
    const bool reshaped = AnyFault(ChangesLength);
    // Turned over, or scaled, a page of another length begins otherwise.
    if (reshaped && (side.second || learnt_)) return;
    const std::vector<uint8_t> truth = Truth(side);
    const size_t common = std::min(page.bytes.size(), truth.size());
    const auto differs =
        std::mismatch(page.bytes.begin(), page.bytes.begin() + static_cast<std::ptrdiff_t>(common),
                      truth.begin());
    const auto at = static_cast<size_t>(differs.first - page.bytes.begin());
    if (at < common)
      Fail("byte " + std::to_string(at) + " of " + std::to_string(page.bytes.size()) +
           " is not the page's");
    if (page.bytes.size() > truth.size() && !reshaped)
      Fail(std::to_string(page.bytes.size() - truth.size()) + " bytes more than the page has");
    const bool whole = page.Whole() && page.stop == kOk;
    if (whole && !reshaped && page.bytes.size() != truth.size())
      Fail("a page of " + std::to_string(truth.size()) + " bytes was over after " +
           std::to_string(page.bytes.size()));
  }

  std::string SemaphoreName() const { return "Global\\" + name_; }

  // The host has unlocked or closed: nobody holds the device any more.
  void ExpectNothingHeld() {
    if (SemaphoreHeld(SemaphoreName())) Fail("the device's semaphore is still held");
    if (!session_ && SemaphoreOpen(SemaphoreName())) Fail("the device's semaphore is still open");
    // A cable's device learns that its host is gone when the file is closed.
    if (session_ && plan_.io_type == T_IO_USB) return;
    for (int wait = 0; wait < 300 && device_->locked(); ++wait) TheClock().Sleep(10);
    if (device_->locked()) Fail("the device is still locked by this host");
  }

  // A small page, through the session that went through it all or through a new one.
  void ScanClean() {
    // A cable's conversation lasts as long as the session; what a cache holds of a device that went
    // away may be wrong.
    const bool can_keep = plan_.io_type != T_IO_USB && learnt_in_peace_ &&
                          plan_.device.model != std::string("alternative");
    if (session_ && !(plan_.keeps_session && can_keep)) Close();
    clean_ = true;
    if ((!session_ && !Open()) || !Lock()) return Fail("the healed device could not be locked");
    // A host that unlocked in mid-page has still to end its page.
    Do(Method::kStop, toolkit_->scanner, &IScanner::StopScan, session_);
    // A session that scaled a page up goes on scaling until it is reset.
    if (!(Do(Method::kReset, toolkit_->scanner, &IScanner::ResetScanner, session_) == kOk))
      Fail("the healed device could not be reset");
    if (!(Do(Method::kCompression, toolkit_->compression, &ICompression::SetCompressionType,
             session_, T_COMPRESSION_NONE) == kOk))
      Fail("the healed device told nothing of itself");
    if (plan_.Feeder()) {
      Do(Method::kLocal, toolkit_->feeder, &IADF2::SetADFOptions, session_,
         static_cast<uint32_t>(plan_.duplex ? T_ADF_DUPLEX : T_ADF_MULTIPAGE_FLOW));
      Do(Method::kLocal, toolkit_->feeder, &IADF::ADFPaperFeed, session_);
    }
    learnt_ = nullptr;
    const Page page = Scan(CleanParameters(), 64);
    std::ostringstream text;
    text << "start " << page.start << ", last read " << page.last_read << ", stop " << page.stop
         << ", " << page.bytes.size() << " bytes";
    if (!page.Whole() || !(page.start == kOk) || !(page.stop == kOk))
      Fail("the clean scan: " + text.str());
    else if (page.bytes.empty() || page.bytes != Truth(Side()) ||
             page.bytes.size() != page.announced)
      Fail("the clean scan is not exact: " + text.str());
    Unlock();
    ExpectNothingHeld();
    Close();
    ExpectNothingHeld();
  }

  SCANNER_PARAMETERS CleanParameters() const {
    SCANNER_PARAMETERS parameters = PageParameters(T_GREYSCALE, 150, {240, 300, 150, 300});
    parameters.wScanMethod = plan_.parameters.wScanMethod;
    return parameters;
  }

  const SoakPlan plan_;
  const JobOptions options_;
  JobReport* report_;
  Sandbox sandbox_;
  std::unique_ptr<SoakDevice> device_;
  std::unique_ptr<Toolkit> toolkit_;
  std::string name_;
  uint32_t session_ = 0;
  bool locked_ = false;
  bool learning_ = false;
  bool clean_ = false;  // the faults are behind us
  bool disturbed_ = false;
  bool learnt_in_peace_ = false;  // nothing struck while the session learnt what the device is
  int calls_ = 0;
  const Sides* learnt_ = nullptr;
};

}  // namespace

JobReport RunJob(const SoakPlan& plan, const JobOptions& options) {
  JobReport report;
  Sides learnt;
  if (OnlyAScanKnows(plan)) {
    SoakPlan clean = plan;
    clean.faults.clear();
    clean.disturbance = Disturbance::kNone;
    learnt = Job(clean, {}, &report).LearnPages();
  }
  Job(plan, options, &report).Run(OnlyAScanKnows(plan) ? &learnt : nullptr);
  return report;
}

}  // namespace scantk::test
