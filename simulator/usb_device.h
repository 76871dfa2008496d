// A device at the far end of a USB cable: its file is the near side of a pseudo-terminal, which
// moves bytes as the kernel's node for a printer-class device does.
#ifndef SCANTK_SIMULATOR_USB_DEVICE_H_
#define SCANTK_SIMULATOR_USB_DEVICE_H_

#include <string>

#include "simulator/line.h"
#include "simulator/simulated_device.h"

namespace scantk::sim {

// Its path is a symbolic link to a pseudo-terminal. A host that closes the file and opens it again
// begins a new conversation; a fault that ends a connection unplugs the device and plugs it in
// again. Attach throws also when `path` is something else than a link.
MakeLine UsbLine(const std::string& path);

class UsbDevice : public SimulatedDevice {
 public:
  // Returns once the file can be opened. Throws what SimulatedDevice does.
  UsbDevice(DeviceConfig config, const std::string& path)
      : SimulatedDevice(std::move(config), UsbLine(path), path) {}
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_USB_DEVICE_H_
