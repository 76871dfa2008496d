// A USB cable for tests under Windows: a named pipe in the place of the driver's device file,
// joined to a simulated device on the network.
#ifndef SCANTK_TESTS_WINDOWS_CABLE_H_
#define SCANTK_TESTS_WINDOWS_CABLE_H_

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace scantk::test {

// One session long: when the host closes the file, or the far end the connection, both are gone.
// As on the real cable, what the device sends at once is one transfer: a read is filled from it.
class Cable {
 public:
  // Throws std::runtime_error when there is no device at `address`.
  explicit Cable(const std::string& address);
  ~Cable();
  Cable(const Cable&) = delete;
  Cable& operator=(const Cable&) = delete;

  // What a host opens.
  const std::string& Path() const { return path_; }
  // From now on the device is gone.
  void Unplug();

 private:
  void ToDevice();
  void ToHost();
  // Moves bytes through the pipe and waits until they have moved; 0 when it is closed.
  unsigned Transfer(bool write, void* bytes, unsigned size);
  bool ForwardTransfers(std::vector<char>* received);

  std::string path_;
  void* pipe_;
  uintptr_t socket_;
  std::thread to_device_, to_host_;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_WINDOWS_CABLE_H_
