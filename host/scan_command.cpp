#include "host/scan_command.h"

#include "host/device_context.h"
#include "host/help.h"
#include "host/scan_job.h"
#include "host/scan_request.h"

namespace scanhost {

int RunScanCommand(std::span<const std::string> words) {
  const Arguments arguments = Arguments::Parse(words, ScanOptions());
  const ScanRequest request = ParseScanRequest(arguments);
  DeviceContext context(arguments, request.timeout_ms);
  ScanJob job(context.toolkit(), context.session(), request);
  job.Prepare();
  return job.Run();
}

std::string ScanHelp() {
  return "scanhost scan [DEVICE] [options] [-- words for scantk-sim]\n" +
         OptionsHelp(ScanOptions()) +
         "  exit status: 0 done, 1 failed, 2 not understood, 3 a page was cut short, 130 Ctrl-C\n";
}

}  // namespace scanhost
