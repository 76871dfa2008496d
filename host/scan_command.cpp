// scanhost scan.
#include <cstdio>

#include "host/commands.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/scan_job.h"

namespace scanhost {
namespace {

// Runs the job and says how it ended; the reason goes on its way.
class JobTeller {
 public:
  JobTeller(const ScanRequest& request, const ScanJob& job) : request_(request), job_(job) {}

  void Tell(int status, const std::string& reason) const {
    JobReceipt receipt = job_.result();
    if (status != kExitDone) {
      receipt.status = status;
      receipt.reason = reason;
    }
    std::FILE* out = request_.output == "-" ? stderr : stdout;
    if (request_.json)
      std::fprintf(out, "%s\n", JobJson(receipt).c_str());
    else
      for (const std::string& file : receipt.files)
        if (file != "-") std::fprintf(out, "wrote %s\n", file.c_str());
  }

 private:
  const ScanRequest& request_;
  const ScanJob& job_;
};

}  // namespace

int RunScan(const DeviceOptions& device, const ScanRequest& request) {
  if (request.source != Source::kFeeder && request.source != Source::kAuto &&
      (request.duplex || request.pages != 0))
    throw UsageError("--duplex and --pages are for the feeder");
  if (request.depth != 8 && request.jpeg_level)
    throw UsageError("--jpeg is for 8 bits a channel; deeper pages come as they are");
  FindFormat(request.output == "-" && request.format.empty() ? "pnm" : request.format,
             request.output);
  DeviceContext context(device);
  const auto tell = [&](const Receipt& receipt) {
    std::FILE* out = request.output == "-" ? stderr : stdout;
    std::fputs((request.json ? ReceiptJson(receipt) + "\n" : ReceiptText(receipt)).c_str(), out);
    std::fflush(out);
  };
  ScanJob job(context.toolkit(), context.session(), request, context.device().description, tell);
  const JobTeller teller(request, job);
  try {
    job.Prepare();
    job.Run();
  } catch (const NotAsAsked& failure) {
    teller.Tell(kExitNotAsAsked, failure.what());
    throw;
  } catch (const Interrupted& interrupted) {
    teller.Tell(interrupted.status, "cancelled");
    throw;
  } catch (const std::exception& failure) {
    teller.Tell(kExitFailed, failure.what());
    throw;
  }
  teller.Tell(kExitDone, "");
  return job.result().status;
}

}  // namespace scanhost
