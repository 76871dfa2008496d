// The lines of devices that are reached through a file, where the system has them.
#ifndef SCANTK_SIMULATOR_ATTACHED_LINES_H_
#define SCANTK_SIMULATOR_ATTACHED_LINES_H_

#include <string>

#include "simulator/line.h"

namespace scantk::sim {

enum class AttachedBy { kUsb, kDot4 };

// Throws std::invalid_argument where there are none.
MakeLine AttachedLine(AttachedBy by, const std::string& path);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_ATTACHED_LINES_H_
