#include "host/scan_job.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "host/crc32.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/interruption.h"

namespace scanhost {
namespace {

using Clock = std::chrono::steady_clock;

// The most that one read asks for; all the image memory that a job takes. A slow device is asked
// for less, so that Ctrl-C is noticed within a second.
constexpr uint32_t kReadBytes = 256 * 1024;
constexpr uint32_t kFirstReadBytes = 32 * 1024;
constexpr auto kShortRead = std::chrono::milliseconds(50);
constexpr auto kLongRead = std::chrono::milliseconds(500);
constexpr auto kPoll = std::chrono::milliseconds(500);

// A row of more than this is not believed (65535 pixels at 48 bits take 393210 bytes).
constexpr uint32_t kMaxRowBytes = 8 * 1024 * 1024;

const char* SourceName(Source source) {
  return source == Source::kFeeder         ? "feeder"
         : source == Source::kTransparency ? "transparency adapter"
         : source == Source::kNegative     ? "transparency adapter, negative"
                                           : "glass";
}

// What a hand at the feeder mends.
bool IsPaper(uint32_t code) {
  return code == TERR_ADF_JAMMED || code == TERR_ADF_EMPTY;
}

}  // namespace

ScanJob::ScanJob(const Toolkit& toolkit, Session& session, const ScanRequest& request,
                 const std::string& device, std::function<void(const Receipt&)> tell)
    : toolkit_(toolkit),
      session_(session),
      request_(request),
      device_(device),
      tell_(std::move(tell)) {}

// Whether a page waits in the feeder.
bool ScanJob::FeederIsLoaded() {
  uint8_t ready = 0;
  const Outcome outcome =
      Try("ADFIsReady", feeder_.Get(), &IADF3::ADFIsReady, session_.handle(), &ready);
  if (!outcome.Clean() && outcome.code != TERR_ADF_EMPTY) throw ToolkitFailure(outcome);
  return ready != 0;
}

// After a failure that people mend: whether to try again, after a while. It is said once, and the
// time is counted from the page before.
bool ScanJob::WaitAfter(const ToolkitFailure& failure) {
  const uint32_t code = failure.outcome().code;
  if (!request_.wait_s || !((feeder_job_ && IsPaper(code)) || code == TERR_RESERVE_BUSY))
    return false;
  if (!give_up_) {
    give_up_ = Clock::now() + std::chrono::seconds(*request_.wait_s);
    std::fprintf(stderr, "scanhost: %s\nwaiting up to %u s: %s\n", failure.what(), *request_.wait_s,
                 AdviceFor(failure.outcome()));
  }
  std::this_thread::sleep_for(kPoll);
  return Clock::now() < *give_up_;
}

void ScanJob::Run() {
  const Interruption::Guard guard([this] { output_->Rescue(); });
  try {
    RunPages();
    LeaveFeeder();
  } catch (...) {
    progress_.Close();
    // The pages that came whole are worth keeping, even when this fails as well.
    try {
      if (sheet_in_path_ || Interruption::Status() != 0) LeaveFeeder();
      output_->Finish();
      result_.files = output_->files();
    } catch (const std::runtime_error& failure) {
      std::fprintf(stderr, "scanhost: %s\n", failure.what());
    }
    if (result_.pages > 0)
      std::fprintf(stderr, "%u complete page%s kept\n", result_.pages,
                   result_.pages == 1 ? "" : "s");
    throw;
  }
  output_->Finish();
  result_.files = output_->files();
}

void ScanJob::RunPages() {
  for (;;) {
    Interruption::ThrowIfAsked();
    try {
      if (feeder_job_ && !FeederIsLoaded())
        throw ToolkitFailure({"ADFIsReady", S_OK, TERR_ADF_EMPTY});
      ScanPage();
      give_up_.reset();
      if (!AnotherPage()) return;
    } catch (const ToolkitFailure& failure) {
      if (!WaitAfter(failure)) throw;
    }
  }
}

bool ScanJob::AnotherPage() {
  return feeder_job_ && (request_.pages == 0 || result_.pages < request_.pages) && FeederIsLoaded();
}

// A job that ends while paper is left: the sheet that lies in the path goes out. A started page
// that is stopped before any line is read does that; without a feed request it takes no other sheet
// in.
void ScanJob::LeaveFeeder() {
  if (!feeder_job_) return;
  result_.paper_left = FeederIsLoaded();
  if (!result_.paper_left) return;
  if (sheet_in_path_) {
    sheet_in_path_ = false;
    session_.StartScan();
    const Outcome outcome = session_.StopScan();
    if (!outcome.Clean() && outcome.code != TERR_ADF_EMPTY)
      std::fprintf(stderr, "scanhost: the sheet in the feeder's path: %s\n",
                   Describe(outcome).c_str());
  }
  std::fprintf(stderr, "paper is left in the feeder's tray\n");
}

BUFFER_INFO ScanJob::Announce() {
  BUFFER_INFO announced = {};
  session_.Do("SetScannerParameters", &IScanner::SetScannerParameters, &plan_.parameters);
  session_.Do("GetBufferInfo", &IScanner::GetBufferInfo, &plan_.parameters, &announced);
  const uint32_t depth = request_.kind == PixelKind::kBlackAndWhite ? 1 : request_.depth;
  if (announced.dwBytesPerLine == 0 || announced.dwBytesPerLine > kMaxRowBytes ||
      announced.dwBytesPerLine != BytesPerRow(request_.kind, depth, announced.dwPixelWidth))
    throw HostFailure("the device announced rows of " + std::to_string(announced.dwPixelWidth) +
                      " pixels in " + std::to_string(announced.dwBytesPerLine) +
                      " bytes; check the area and the resolution");
  return announced;
}

void ScanJob::CheckGranted(const BUFFER_INFO& announced, Receipt* receipt) {
  receipt->asked = plan_.asked;
  receipt->granted = ReadGranted(plan_, request_.OwnResolutions(), announced);
  receipt->device_x = plan_.Enlarged() ? plan_.device_x : receipt->granted.x_resolution;
  receipt->device_y = plan_.Enlarged() ? plan_.device_y : receipt->granted.y_resolution;
  receipt->width = announced.dwPixelWidth;
  receipt->bytes_per_row = announced.dwBytesPerLine;
  receipt->rows_announced = announced.dwPixelHeight;
  if (!Differ(receipt->asked, receipt->granted)) return;
  const std::string line = "the device grants " + ResolutionText(receipt->granted) + " and " +
                           SizeInMillimetres(receipt->granted.width_mm / kMillimetre,
                                             receipt->granted.height_mm / kMillimetre) +
                           " instead of " + ResolutionText(receipt->asked) + " and " +
                           SizeInMillimetres(receipt->asked.width_mm / kMillimetre,
                                             receipt->asked.height_mm / kMillimetre);
  if (request_.strict) throw NotAsAsked(line);
  if (!told_difference_) std::fprintf(stderr, "%s\n", line.c_str());
  told_difference_ = true;
}

void ScanJob::ScanPage() {
  Receipt receipt;
  receipt.page = result_.pages + 1;
  receipt.source = SourceName(request_.source);
  receipt.mode = KindName(request_.kind);
  receipt.depth = request_.kind == PixelKind::kBlackAndWhite ? 1 : request_.depth;
  receipt.time = TimeText();
  receipt.device = device_;
  output_->FileOf(receipt.page);  // refused before paper moves
  if (feeder_job_) Call("ADFPaperFeed", feeder_.Get(), &IADF3::ADFPaperFeed, session_.handle());
  CheckGranted(Announce(), &receipt);
  const std::unique_ptr<Spool> spool = output_->NewSpool();
  const auto start = Clock::now();
  try {
    session_.StartScan();
    progress_.Begin("page " + std::to_string(receipt.page), receipt.rows_announced,
                    receipt.bytes_per_row);
    ReadRows(*spool, &receipt);
    receipt.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    Stop(true);
  } catch (const ToolkitFailure& failure) {
    progress_.Close();
    const Outcome stopped = Stop(false);
    // A page that the feeder broke off reads like one that was cancelled; StopScan tells them
    // apart.
    if (failure.outcome().code == TERR_CANCEL_PRESSED && IsPaper(stopped.code))
      throw ToolkitFailure(stopped);
    throw;
  } catch (...) {
    progress_.Close();
    Stop(false);
    throw;
  }
  progress_.Close();
  Judge(&receipt);
  Keep(&receipt, *spool);
}

void ScanJob::ReadRows(Spool& spool, Receipt* receipt) {
  const uint32_t row_bytes = receipt->bytes_per_row;
  const uint32_t most = std::max(kReadBytes / row_bytes, 1u);
  uint32_t wanted = std::max(kFirstReadBytes / row_bytes, 1u);
  buffer_.resize(size_t{row_bytes} * most);
  for (;;) {
    Interruption::ThrowIfAsked();
    uint32_t got = 0;
    const auto start = Clock::now();
    const Outcome outcome = Try("ReadScanEx", session_.scanner(), &IScanner::ReadScanEx,
                                session_.handle(), buffer_.data(), wanted * row_bytes, &got);
    const auto time = Clock::now() - start;
    const bool end = SUCCEEDED(outcome.result) && outcome.code == TERR_SCANNER_END_OF_PAGE;
    if (!outcome.Clean() && !end) throw ToolkitFailure(outcome);
    const uint32_t rows = std::min(got / row_bytes, wanted);
    const size_t bytes = size_t{rows} * row_bytes;
    spool.Write(buffer_.data(), bytes);
    receipt->crc32 = Crc32(receipt->crc32, buffer_.data(), bytes);
    receipt->rows_delivered += rows;
    receipt->bytes += bytes;
    progress_.Update(receipt->rows_delivered);
    const bool ragged = got % row_bytes != 0;
    if (ragged) receipt->reason = "an incomplete last row was dropped";
    if (end && receipt->rows_delivered == 0)
      throw HostFailure("the device delivered a page without rows");
    if (end) return;
    if (time < kShortRead) wanted = std::min(wanted * 2, most);
    if (time > kLongRead) wanted = std::max(wanted / 2, 1u);
    // Part of a row cannot be continued, and reads without rows would go on for ever.
    if (rows == 0 || ragged)
      throw HostFailure("ReadScanEx delivered " + std::to_string(got) +
                        " bytes without an end of the page");
  }
}

// StopScan, after a page (its failure is the page's) or after a failure that is reported already.
Outcome ScanJob::Stop(bool page_ended) {
  sheet_in_path_ = false;
  const Outcome outcome = session_.StopScan();
  sheet_in_path_ = feeder_job_ && page_ended && outcome.Clean();
  // At the last page of a feeder job the code says that the feeder is empty now.
  const bool last_page = feeder_job_ && SUCCEEDED(outcome.result) && outcome.code == TERR_ADF_EMPTY;
  if (outcome.Clean() || last_page) return outcome;
  if (page_ended) throw ToolkitFailure(outcome);
  if (outcome.code != TERR_CANCEL_PRESSED && !IsPaper(outcome.code))
    std::fprintf(stderr, "stopping the device: %s\n", Describe(outcome).c_str());
  return outcome;
}

// Fewer rows are a shorter sheet in the feeder, whose length nobody knows before, and a page that
// was cut short on the glass. A page that differs for another reason than its sheet is told, or
// refused.
void ScanJob::Judge(Receipt* receipt) {
  const bool fewer = receipt->rows_delivered < receipt->rows_announced;
  // Enlarging may make one row more.
  const bool more = receipt->rows_delivered > receipt->rows_announced + plan_.Enlarged();
  receipt->cut_short = !receipt->reason.empty() || (fewer && !feeder_job_);
  if (receipt->reason.empty())
    receipt->reason = more                 ? "the device sent more rows than it announced"
                      : receipt->cut_short ? "cut short: the device ended the page early"
                      : fewer              ? "the sheet is shorter than the area"
                                           : "";
  if (!receipt->cut_short && !more) return;
  const std::string line = "page " + std::to_string(receipt->page) + " has " +
                           std::to_string(receipt->rows_delivered) + " of " +
                           std::to_string(receipt->rows_announced) + " rows: " + receipt->reason;
  if (request_.strict) throw NotAsAsked(line);
  std::fprintf(stderr, "warning: %s\n", line.c_str());
}

void ScanJob::Keep(Receipt* receipt, Spool& spool) {
  PageFormat page;
  page.kind = request_.kind;
  page.depth = receipt->depth;
  page.width = receipt->width;
  page.height = receipt->rows_delivered;
  page.bytes_per_row = receipt->bytes_per_row;
  page.x_resolution = receipt->granted.x_resolution;
  page.y_resolution = receipt->granted.y_resolution;
  receipt->file = output_->FileOf(receipt->page);
  page.description = ReceiptJson(*receipt);
  page.time = receipt->time;
  page.device = device_;
  output_->AddPage(receipt->page, page, spool);
  ++result_.pages;
  if (receipt->cut_short) {
    result_.status = kExitCutShort;
    result_.reason = receipt->reason;
  }
  tell_(*receipt);
}

}  // namespace scanhost
