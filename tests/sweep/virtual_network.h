// A network whose sockets are ends of a virtual line.
#ifndef SCANTK_TESTS_SWEEP_VIRTUAL_NETWORK_H_
#define SCANTK_TESTS_SWEEP_VIRTUAL_NETWORK_H_

#include <memory>
#include <string>

#include "platform/network.h"
#include "tests/sweep/virtual_line.h"

namespace scantk::test {

// The process's network and clock while it lives. One thread.
class VirtualNetwork : public Network, public VirtualLine {
 public:
  VirtualNetwork() { SetNetwork(this); }
  ~VirtualNetwork() override { SetNetwork(nullptr); }

  uint32_t StartUp(SocketLibraryInfo* info) override;
  void CleanUp() override {}
  std::unique_ptr<StreamSocket> CreateStreamSocket() override;
  uint32_t LookUpHost(const std::string& name) override;
  uint32_t ParseDotted(const std::string& text) override;
  uint32_t LastSocketError() override { return last_error_; }

 private:
  friend class VirtualSocket;

  // 0, or, when this is the call that fails, the error.
  uint32_t Call(uint32_t failure) { return CallFails() ? last_error_ = failure : 0; }

  uint32_t last_error_ = 0;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_VIRTUAL_NETWORK_H_
