// The device at the far end of a USB cable: its file is the near side of a pseudo-terminal, which
// moves bytes as the kernel's node for a printer-class device does.
#pragma once

#include <string>
#include <vector>

#include "simulator/attached_device.h"

namespace scantk::sim {

/// Its path is a symbolic link to a pseudo-terminal. A host that closes the file and opens it again
/// begins a new conversation; a fault that ends a connection unplugs the device and plugs it in
/// again.
class UsbDevice : public AttachedDevice {
 public:
  /// Returns once the file can be opened. Throws what SimulatedDevice does, also when `path` is
  /// something else than a link.
  UsbDevice(DeviceConfig config, std::string path);
  ~UsbDevice() override;

 private:
  void Attach() override;
  void Detach() override;
  void Turn() override;
  short Wanted(int* timeout);
  void Serve();
  void Receive();
  void Send();
  void HostIsGone();
  void ForgetHost();

  int master_ = -1;
  std::string terminal_;
  std::unique_ptr<Line> line_;  // nothing while no host has the file open
  std::vector<uint8_t> unheard_;
  std::vector<uint8_t> unsent_;
};

}  // namespace scantk::sim
