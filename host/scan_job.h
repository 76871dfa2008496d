// One scan job on an open, locked session: a page from the glass, or the pages of the feeder.
#ifndef SCANTK_HOST_SCAN_JOB_H_
#define SCANTK_HOST_SCAN_JOB_H_

#include <memory>
#include <string>
#include <vector>

#include "host/image_writers/page_writer.h"
#include "host/progress.h"
#include "host/scan_request.h"
#include "host/session.h"

namespace scanhost {

// The user ended the program (Ctrl-C). Thrown after the device was stopped.
struct Interrupted {
  int status;  // the exit status that says so
};

class ScanJob {
 public:
  // All three stay the caller's and outlive the job.
  ScanJob(const Toolkit& toolkit, Session& session, const ScanRequest& request);

  // Asks the device what it can do and settles the parameters. Throws when the request does not
  // fit.
  void Prepare();

  // Scans and writes every page. Throws ToolkitFailure, HostFailure or Interrupted; pages that were
  // complete before are kept. Returns the exit status: 0, or kExitTruncated.
  int Run();

  static constexpr int kExitTruncated = 3;

 private:
  struct Page {
    BUFFER_INFO granted;
    uint32_t rows = 0;
    uint64_t bytes = 0;
    double seconds = 0;
    bool dropped_bytes = false;  // the page ended inside a row
  };

  void PrepareCompression();
  void PrepareFeeder(uint32_t* width, uint32_t* height, uint16_t* grey_channels);
  bool MorePages();
  void RunPages();
  void WritePage();
  void ScanPage(PageWriter& writer, Page* page);
  void ReadRows(PageWriter& writer, Page* page);
  void Stop(bool page_ended);
  void Report(const Page& page, const std::string& label);
  void FinishWriter();

  const Toolkit& toolkit_;
  Session& session_;
  const ScanRequest& request_;
  SCANNER_PARAMETERS parameters_ = {};
  scantk::ComPtr<IADF3> feeder_;
  Progress progress_;
  std::unique_ptr<PageWriter> writer_;
  std::string writer_path_;
  uint32_t pages_done_ = 0;
  bool truncated_ = false;
  std::vector<uint8_t> buffer_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_SCAN_JOB_H_
