#include "host/device_context.h"

#include <cstdio>

#include "host/scan_job.h"
#include "platform/console.h"

namespace scanhost {

DeviceContext::DeviceContext(const Arguments& arguments, uint32_t timeout_ms) {
  if (arguments.Positional().size() > 1)
    throw UsageError("one device at a time, not also \"" + arguments.Positional()[1] + "\"");
  const std::string wanted = arguments.Positional().empty() ? "" : arguments.Positional()[0];
  if (arguments.Has("--simulate")) {
    if (!wanted.empty())
      throw UsageError("--simulate is the device; \"" + wanted + "\" is another");
    simulation_.emplace(arguments.Rest(), arguments.Value("--trace"));
  } else if (arguments.Has("--trace") || !arguments.Rest().empty()) {
    throw UsageError("--trace and words after -- need --simulate (see `scanhost trace`)");
  }
  device_ = FindDevice(wanted);
  toolkit_.emplace(arguments.Value("--library"));
  session_.emplace(*toolkit_, device_);
  bool told = false;
  try {
    session_->Lock(timeout_ms, [&](const Outcome& outcome) {
      if (!told) std::fprintf(stderr, "waiting: %s\n", AdviceFor(outcome.result, outcome.code));
      told = true;
      return scantk::InterruptWatch::Status() == 0;
    });
  } catch (const ToolkitFailure&) {
    if (const int status = scantk::InterruptWatch::Status()) throw Interrupted{status};
    throw;
  }
}

}  // namespace scanhost
