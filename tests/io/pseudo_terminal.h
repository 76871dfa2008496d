// A device file whose far side a test holds: a pseudo-terminal.
#ifndef SCANTK_TESTS_IO_PSEUDO_TERMINAL_H_
#define SCANTK_TESTS_IO_PSEUDO_TERMINAL_H_

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "tests/io/loopback_device.h"

namespace scantk {

class PseudoTerminal {
 public:
  PseudoTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(master_.Get());
    unlockpt(master_.Get());
    char name[128];
    if (ptsname_r(master_.Get(), name, sizeof name) == 0) path_ = name;
  }
  const std::string& Path() const { return path_; }
  void Send(const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t moved = write(master_.Get(), text.data() + sent, text.size() - sent);
      if (moved <= 0) return;
      sent += static_cast<size_t>(moved);
    }
  }
  // Up to `size` bytes, fewer after two silent seconds.
  std::string Receive(size_t size) {
    std::string text;
    char buffer[4096];
    while (text.size() < size) {
      pollfd waiting = {master_.Get(), POLLIN, 0};
      if (poll(&waiting, 1, 2000) <= 0) break;
      const ssize_t got = read(master_.Get(), buffer, std::min(sizeof buffer, size - text.size()));
      if (got <= 0) break;
      text.append(buffer, static_cast<size_t>(got));
    }
    return text;
  }
  void HangUp() { master_.Reset(); }

 private:
  OwnedSocket master_;
  std::string path_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_IO_PSEUDO_TERMINAL_H_
