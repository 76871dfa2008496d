#include "host/device_context.h"

#include <cstdio>

#include "contract/records.h"
#include "host/network_probe.h"

namespace scanhost {

ChosenDevice::ChosenDevice(const DeviceOptions& options) {
  if (options.simulate) {
    if (!options.device.empty())
      throw UsageError("--simulate is the device; \"" + options.device + "\" is another");
    simulation_.emplace(options.simulator_words, options.trace, options.trace_level);
  } else if (!options.trace.empty() || !options.simulator_words.empty()) {
    throw UsageError("--trace and words after -- need --simulate (see `scanhost trace`)");
  }
  device_ = FindDevice(options.device);
}

DeviceContext::DeviceContext(const DeviceOptions& options)
    : chosen_(options),
      toolkit_(options.library),
      session_(toolkit_, chosen_.device()),
      guard_(nullptr) {
  const uint32_t limit = options.wait_s ? *options.wait_s * 1000 : options.timeout_ms;
  bool told = false;
  try {
    session_.Lock(limit, [&](const Outcome& outcome) {
      if (!told)
        std::fprintf(stderr, "waiting up to %u s: %s\n", (limit + 999) / 1000, AdviceFor(outcome));
      told = true;
      return Interruption::Status() == 0;
    });
  } catch (const ToolkitFailure& failure) {
    Interruption::ThrowIfAsked();
    // The toolkit does not tell why there is no connection; a wrong name is found here.
    std::string reason;
    const Device& device = chosen_.device();
    if (failure.outcome().result == VELKAN_E_SCONF_REJECTED && device.io_type == T_IO_NETWORK &&
        ResolveHost(device.address, &reason).empty())
      throw HostFailure("the host name \"" + device.address + "\" cannot be resolved (" + reason +
                        "): " + failure.what());
    throw;
  }
}

}  // namespace scanhost
