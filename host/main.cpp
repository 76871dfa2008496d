// scanhost: a host for the scanner toolkit. It configures devices, shows what they can do, scans.
#include <cstdio>
#include <exception>

#include "host/command_line.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/interruption.h"

namespace {

using namespace scanhost;

int Run(int argc, char** argv) {
  try {
    return RunCommandLine({argv + (argc > 0 ? 1 : 0), argv + argc});
  } catch (const UsageError& error) {
    std::fprintf(stderr, "scanhost: %s\n", error.what());
    return kExitUsage;
  } catch (const NotAsAsked& error) {
    std::fprintf(stderr, "scanhost: not as asked: %s\n", error.what());
    return kExitNotAsAsked;
  } catch (const Interrupted& interrupted) {
    Interruption::EndLine();
    std::fprintf(stderr, "scanhost: cancelled\n");
    return interrupted.status;
  } catch (const ToolkitFailure& failure) {
    std::fprintf(stderr, "scanhost: %s\n  %s\n", failure.what(), AdviceFor(failure.outcome()));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "scanhost: %s\n", error.what());
  }
  return kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  Interruption::Watch();
  const int status = Run(argc, argv);
  // What was printed may only now turn out not to have arrived.
  const bool lost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
  if (!lost || status != kExitDone) return status;
  std::fprintf(stderr, "scanhost: cannot write standard output\n");
  return kExitFailed;
}
