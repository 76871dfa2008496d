#include "tests/jobs/far_side_of.h"

namespace scantk::test {

// The simulator's devices behind files are of the other system.
std::vector<Medium> Media() {
  return {Medium::kNetwork};
}

std::unique_ptr<FarSide> StartAttached(Medium medium, const sim::DeviceConfig&,
                                       const std::string&) {
  throw std::runtime_error(std::string("no simulated device over ") + Name(medium));
}

}  // namespace scantk::test
