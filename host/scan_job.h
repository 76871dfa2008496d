// One scan job on an open, locked session: a page from the glass, or the pages of the feeder.
#ifndef SCANTK_HOST_SCAN_JOB_H_
#define SCANTK_HOST_SCAN_JOB_H_

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/output.h"
#include "host/progress.h"
#include "host/receipt.h"
#include "host/session.h"

namespace scanhost {

class ScanJob {
 public:
  // All stay the caller's and outlive the job. `device`: its name for receipts. `tell`: takes each
  // page's receipt.
  ScanJob(const Toolkit& toolkit, Session& session, const ScanRequest& request,
          const std::string& device, std::function<void(const Receipt&)> tell);

  // Asks the device what it can do and settles the parameters. Throws HostFailure when the request
  // does not fit.
  void Prepare();

  // Scans and writes every page. Throws ToolkitFailure, HostFailure or Interrupted; pages that were
  // complete before are kept. A page that was cut short is kept and told in result().
  void Run();

  // How far it came, also after a failure.
  const JobReceipt& result() const { return result_; }

 private:
  Source ChooseSource(const SCANNER_CAPABILITIES& glass);
  Abilities FeederAbilities();
  void PrepareFeeder();
  void PrepareCompression();
  void PrepareTone(uint32_t entries);
  bool FeederIsLoaded();
  bool WaitAfter(const ToolkitFailure& failure);
  void RunPages();
  bool AnotherPage();
  void ScanPage();
  BUFFER_INFO Announce();
  void CheckGranted(const BUFFER_INFO& announced, Receipt* receipt);
  void ReadRows(Spool& spool, Receipt* receipt);
  Outcome Stop(bool page_ended);
  void Judge(Receipt* receipt);
  void Keep(Receipt* receipt, Spool& spool);
  void LeaveFeeder();

  const Toolkit& toolkit_;
  Session& session_;
  ScanRequest request_;
  std::string device_;
  std::function<void(const Receipt&)> tell_;
  ScanPlan plan_;
  bool feeder_job_ = false;
  scantk::client::Ref<IADF3> feeder_;  // null: the device has none
  Progress progress_;
  std::unique_ptr<Output> output_;
  JobReceipt result_;
  bool told_difference_ = false;
  bool sheet_in_path_ = false;  // of a page that ended while paper waits behind it
  std::optional<std::chrono::steady_clock::time_point> give_up_;  // while it waits for people
  std::vector<uint8_t> buffer_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_SCAN_JOB_H_
