#include "host/scan_job.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "platform/console.h"

namespace scanhost {
namespace {

using Clock = std::chrono::steady_clock;

// The most that one read asks for; all the image memory that a job takes. A slow device is asked
// for less, so that Ctrl-C is noticed within a second.
constexpr uint32_t kReadBytes = 256 * 1024;
constexpr uint32_t kFirstReadBytes = 32 * 1024;
constexpr auto kShortRead = std::chrono::milliseconds(50);
constexpr auto kLongRead = std::chrono::milliseconds(500);

// A row of more than this is not believed (65535 pixels at 48 bits take 393210 bytes).
constexpr uint32_t kMaxRowBytes = 1024 * 1024;

void ThrowIfInterrupted() {
  if (const int status = scantk::InterruptWatch::Status()) throw Interrupted{status};
}

const char* KindName(PixelKind kind) {
  return kind == PixelKind::kColor  ? "colour"
         : kind == PixelKind::kGray ? "gray"
                                    : "black and white";
}

}  // namespace

ScanJob::ScanJob(const Toolkit& toolkit, Session& session, const ScanRequest& request)
    : toolkit_(toolkit),
      session_(session),
      request_(request),
      progress_(scantk::IsTerminal(scantk::StandardStream::kError)) {}

void ScanJob::Prepare() {
  SCANNER_CAPABILITIES glass = {};
  session_.Do("GetScannerCapabilities", &IScanner::GetScannerCapabilities, &glass);
  uint32_t width = glass.dwMaximumWidth;
  uint32_t height = glass.dwMaximumHeight;
  uint16_t grey_channels = glass.wGreyChannelsSupported;
  if (request_.feeder) PrepareFeeder(&width, &height, &grey_channels);
  PrepareCompression();
  parameters_ = MakeScanParameters(request_, width, height, grey_channels);
}

void ScanJob::PrepareFeeder(uint32_t* width, uint32_t* height, uint16_t* grey_channels) {
  feeder_ = toolkit_.Ask<IADF3>(IID_IADF3);
  ADF3_CAPABILITIES capabilities = {};
  Call("GetADF3Capabilities", feeder_.Get(), &IADF3::GetADF3Capabilities, session_.handle(),
       &capabilities);
  ADF_CAPABILITIES first = {};
  Call("GetADFCapabilities", feeder_.Get(), &IADF3::GetADFCapabilities, session_.handle(), &first);
  if (!capabilities.byHasADF && !first.byHasADF)
    throw HostFailure("the device has no document feeder; scan from the glass without --feeder");
  if (request_.duplex && !(capabilities.dwADFOptionsSupported & T_ADF_DUPLEX))
    throw HostFailure("the feeder scans one side only; leave --duplex out");
  *width = first.dwMaximumWidth;
  *height = first.dwMaximumHeight;
  *grey_channels = first.wGreyChannelsSupported;
  if (capabilities.byHasADF) {
    *width = request_.duplex ? capabilities.dwDuplexMaximumWidth : capabilities.dwMaximumWidth;
    *height = request_.duplex ? capabilities.dwDuplexMaximumHeight : capabilities.dwMaximumHeight;
    *grey_channels = capabilities.wGreyChannelsSupported;
  }
  // After the capabilities, which take the choice back.
  Call("SetADFOptions", feeder_.Get(), &IADF3::SetADFOptions, session_.handle(),
       T_ADF_MULTIPAGE_FLOW | (request_.duplex ? T_ADF_DUPLEX : 0u));
}

void ScanJob::PrepareCompression() {
  const scantk::ComPtr<ICompression> compression = toolkit_.Ask<ICompression>(IID_ICompression);
  Call("SetCompressionType", compression.Get(), &ICompression::SetCompressionType,
       session_.handle(), request_.jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
  if (request_.jpeg_level)
    Call("SetCompressionOption", compression.Get(), &ICompression::SetCompressionOption,
         session_.handle(), T_COMPRESSION_OPTION_JPEG_LEVEL, *request_.jpeg_level);
}

int ScanJob::Run() {
  try {
    RunPages();
  } catch (...) {
    progress_.Close();
    // The pages that came whole are worth keeping, even when this fails as well.
    try {
      FinishWriter();
    } catch (const HostFailure& failure) {
      std::fprintf(stderr, "scanhost: %s\n", failure.what());
    }
    if (pages_done_ > 0)
      std::fprintf(stderr, "%u complete page%s kept\n", pages_done_, pages_done_ == 1 ? "" : "s");
    throw;
  }
  FinishWriter();
  return truncated_ ? kExitTruncated : 0;
}

void ScanJob::RunPages() {
  do {
    ThrowIfInterrupted();
    WritePage();
  } while (request_.feeder && (request_.pages == 0 || pages_done_ < request_.pages) && MorePages());
}

// Whether a page waits in the feeder.
bool ScanJob::MorePages() {
  uint8_t ready = 0;
  const Outcome outcome =
      Try("ADFIsReady", feeder_.Get(), &IADF3::ADFIsReady, session_.handle(), &ready);
  if (!outcome.Clean() && outcome.code != TERR_ADF_EMPTY) throw ToolkitFailure(outcome);
  return ready != 0;
}

void ScanJob::WritePage() {
  const uint32_t number = pages_done_ + 1;
  const bool one_file = HoldsManyPages(request_.output);
  if (!writer_) {
    writer_path_ = PageFileName(request_.output, number, request_.feeder && !one_file);
    writer_ = MakePageWriter(writer_path_);
  }
  Page page;
  try {
    ScanPage(*writer_, &page);
    Stop(true);
  } catch (...) {
    progress_.Close();
    Stop(false);
    writer_->DropPage();
    throw;
  }
  progress_.Close();
  writer_->EndPage();
  ++pages_done_;
  Report(page, "page " + std::to_string(number));
  if (!one_file) FinishWriter();
}

void ScanJob::FinishWriter() {
  if (!writer_) return;
  const std::unique_ptr<PageWriter> writer = std::move(writer_);
  if (writer->Finish()) std::printf("wrote %s\n", writer_path_.c_str());
}

void ScanJob::ScanPage(PageWriter& writer, Page* page) {
  if (request_.feeder) {
    if (pages_done_ == 0 && !MorePages())
      throw ToolkitFailure({"ADFIsReady", S_OK, TERR_ADF_EMPTY});
    Call("ADFPaperFeed", feeder_.Get(), &IADF3::ADFPaperFeed, session_.handle());
  }
  session_.Do("SetScannerParameters", &IScanner::SetScannerParameters, &parameters_);
  session_.Do("GetBufferInfo", &IScanner::GetBufferInfo, &parameters_, &page->granted);
  const BUFFER_INFO& granted = page->granted;
  if (granted.dwBytesPerLine == 0 || granted.dwBytesPerLine > kMaxRowBytes ||
      granted.dwBytesPerLine != BytesPerRow(request_.kind, granted.dwPixelWidth))
    throw HostFailure("the device announced rows of " + std::to_string(granted.dwPixelWidth) +
                      " pixels in " + std::to_string(granted.dwBytesPerLine) +
                      " bytes; check the area and the resolution");
  const auto start = Clock::now();
  session_.StartScan();
  writer.BeginPage({request_.kind, granted.dwPixelWidth, granted.dwPixelHeight,
                    granted.dwBytesPerLine, request_.x_resolution, request_.y_resolution});
  progress_.Begin("page " + std::to_string(pages_done_ + 1), granted.dwPixelHeight);
  ReadRows(writer, page);
  page->seconds = std::chrono::duration<double>(Clock::now() - start).count();
}

void ScanJob::ReadRows(PageWriter& writer, Page* page) {
  const uint32_t row_bytes = page->granted.dwBytesPerLine;
  const uint32_t most = std::max(kReadBytes / row_bytes, 1u);
  uint32_t wanted = std::max(kFirstReadBytes / row_bytes, 1u);
  buffer_.resize(size_t{row_bytes} * most);
  for (;;) {
    ThrowIfInterrupted();
    uint32_t got = 0;
    const auto start = Clock::now();
    const Outcome outcome = Try("ReadScanEx", session_.scanner(), &IScanner::ReadScanEx,
                                session_.handle(), buffer_.data(), wanted * row_bytes, &got);
    const auto time = Clock::now() - start;
    const bool end = SUCCEEDED(outcome.result) && outcome.code == TERR_SCANNER_END_OF_PAGE;
    if (!outcome.Clean() && !end) throw ToolkitFailure(outcome);
    const uint32_t rows = std::min(got / row_bytes, wanted);
    if (rows > 0) writer.WriteRows(buffer_.data(), rows);
    page->rows += rows;
    page->bytes += uint64_t{rows} * row_bytes;
    progress_.Update(page->rows);
    page->dropped_bytes = got % row_bytes != 0;
    if (end && page->rows == 0) throw HostFailure("the device delivered a page without rows");
    if (end) return;
    if (time < kShortRead) wanted = std::min(wanted * 2, most);
    if (time > kLongRead) wanted = std::max(wanted / 2, 1u);
    // Part of a row cannot be continued, and reads without rows would go on for ever.
    if (rows == 0 || page->dropped_bytes)
      throw HostFailure("ReadScanEx delivered " + std::to_string(got) +
                        " bytes without an end of the page");
  }
}

// StopScan, after a page (its failure is the page's) or after a failure that is reported already.
void ScanJob::Stop(bool page_ended) {
  const Outcome outcome = session_.StopScan();
  // At the last page of a feeder job the code says that the feeder is empty now.
  const bool last_page =
      request_.feeder && SUCCEEDED(outcome.result) && outcome.code == TERR_ADF_EMPTY;
  if (outcome.Clean() || last_page) return;
  if (page_ended) throw ToolkitFailure(outcome);
  if (outcome.code != TERR_CANCEL_PRESSED)
    std::fprintf(stderr, "stopping the device: %s\n", Describe(outcome).c_str());
}

void ScanJob::Report(const Page& page, const std::string& label) {
  const std::string blank(label.size(), ' ');
  std::printf("%s: asked     %u x %u dpi %s, %s%s\n", label.c_str(), request_.x_resolution,
              request_.y_resolution, KindName(request_.kind),
              SizeInMillimetres(parameters_.dwWidth, parameters_.dwLength).c_str(),
              request_.preview ? ", preview" : "");
  std::printf("%s  granted   %u x %u pixels, %u bytes per row\n", blank.c_str(),
              page.granted.dwPixelWidth, page.granted.dwPixelHeight, page.granted.dwBytesPerLine);
  std::printf("%s  delivered %u rows, %llu bytes in %.2f s (%.1f MB/s)\n", blank.c_str(), page.rows,
              static_cast<unsigned long long>(page.bytes), page.seconds,
              page.seconds > 0 ? static_cast<double>(page.bytes) / 1e6 / page.seconds : 0.0);
  const bool short_page = page.rows < page.granted.dwPixelHeight;
  truncated_ = truncated_ || short_page;
  if (page.rows != page.granted.dwPixelHeight || page.dropped_bytes)
    std::fprintf(stderr, "warning: %s has %u rows of the %u granted%s%s\n", label.c_str(),
                 page.rows, page.granted.dwPixelHeight, short_page ? ": the page is cut short" : "",
                 page.dropped_bytes ? "; an incomplete last row was dropped" : "");
  std::fflush(stdout);
}

}  // namespace scanhost
