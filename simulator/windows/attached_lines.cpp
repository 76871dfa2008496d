#include "simulator/attached_lines.h"

#include <stdexcept>

namespace scantk::sim {

MakeLine AttachedLine(AttachedBy, const std::string&) {
  throw std::invalid_argument("this system has simulated devices on the network alone");
}

}  // namespace scantk::sim
