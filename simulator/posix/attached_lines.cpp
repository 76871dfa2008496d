#include "simulator/attached_lines.h"

#include "simulator/dot4_device.h"
#include "simulator/usb_device.h"

namespace scantk::sim {

MakeLine AttachedLine(AttachedBy by, const std::string& path) {
  return by == AttachedBy::kUsb ? UsbLine(path) : Dot4Line(path);
}

}  // namespace scantk::sim
