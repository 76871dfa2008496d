#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "simulator/usb_device.h"

namespace scantk::sim {
namespace {

constexpr size_t kPiece = 16384;
constexpr int kPiecesPerTurn = 32;  // then the device's owner gets its turn
constexpr int kLookForHostMs = 5;   // nothing tells that a terminal was opened

int Number(const Socket& file) {
  return static_cast<int>(file.Get());
}

// Raw, and with nothing left in it for the next host.
bool Prepare(const std::string& terminal) {
  const Socket file(open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
  termios modes;
  if (!file || tcgetattr(Number(file), &modes) != 0) return false;
  cfmakeraw(&modes);
  tcsetattr(Number(file), TCSANOW, &modes);
  tcflush(Number(file), TCIFLUSH);
  return true;
}

void RemoveLink(const std::string& path) {
  struct stat facts;
  if (lstat(path.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode)) unlink(path.c_str());
}

class PseudoTerminal : public Line {
 public:
  PseudoTerminal(const LineEnds& ends, std::string path) : Line(ends), path_(std::move(path)) {}

  void Attach() override {
    Detach();
    Socket master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    char name[128];
    if (!master || grantpt(Number(master)) != 0 || unlockpt(Number(master)) != 0 ||
        ptsname_r(Number(master), name, sizeof name) != 0)
      Fail("pseudo-terminal");
    terminal_ = name;
    RemoveLink(path_);  // of a device that did not clear up
    if (!Prepare(terminal_) || symlink(name, path_.c_str()) != 0) Fail(path_);
    master_ = std::move(master);
  }

  void Detach() override {
    if (!master_) return;
    HostIsGone(RecordedKind::kDrop);
    RemoveLink(path_);
    master_.Reset();
  }

  int OpenConnections() const override { return host_ != nullptr; }

 private:
  [[noreturn]] static void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
  }

  int Watch(std::vector<Watched>* watched) override {
    watched->push_back({});
    if (!master_) return -1;
    pollfd terminal = {Number(master_), POLLIN, 0};
    const bool opened = poll(&terminal, 1, 0) <= 0 || (terminal.revents & POLLHUP) == 0;
    if (opened && !host_) ends_.device.Meet(*(host_ = Open()));
    if (!host_) {  // its hang-up would end every wait at once
      if (terminal.revents & POLLIN) ForgetHost();
      return kLookForHostMs;
    }
    const int delay = Delay(*host_);
    watched->back() = {.file = master_.Get(), .reads = Listens(*host_), .writes = delay == 0};
    return delay > 0 ? delay : -1;
  }

  void Serve(std::span<const Watched>) override {
    if (host_) Receive();
    if (host_) Send();
    if (host_ && Breaks(*host_)) PlugInAgain();
  }

  void PlugInAgain() {
    ends_.log.Write("the line breaks");
    try {
      Attach();
    } catch (const std::exception& problem) {
      ends_.log.Write(std::string("stays unplugged: ") + problem.what());
    }
  }

  // Drops the words of a host that came and went between two looks: the next one has not said them.
  void ForgetHost() {
    uint8_t words[kPiece];
    [[maybe_unused]] const ssize_t dropped = read(Number(master_), words, sizeof words);
  }

  void HostIsGone(RecordedKind how) {
    if (host_) End(*host_, how);
    host_.reset();
  }

  void Receive() {
    uint8_t bytes[kPiece];
    for (int turn = 0; turn < kPiecesPerTurn; ++turn) {
      if (!host_->unheard.empty()) {
        Hear(*host_, {});
        if (!host_->unheard.empty()) return;
      }
      const ssize_t got = read(Number(master_), bytes, sizeof bytes);
      if (got == 0 || (got < 0 && errno == EIO)) {  // the last one closed the file
        HostIsGone(RecordedKind::kGone);
        Prepare(terminal_);
      }
      if (got <= 0) return;
      Hear(*host_, {bytes, static_cast<size_t>(got)});
    }
  }

  void Send() {
    for (int turn = 0; turn < kPiecesPerTurn; ++turn) {
      const auto due = Due(*host_);
      if (due.empty()) return;
      const ssize_t sent = write(Number(master_), due.data(), std::min(due.size(), kPiece));
      if (sent <= 0) return;  // no room now; a hang-up shows when reading
      Sent(*host_, static_cast<size_t>(sent));
    }
  }

  const std::string path_;
  Socket master_;
  std::string terminal_;
  std::unique_ptr<Conversation> host_;  // nothing while no host has the file open
};

}  // namespace

MakeLine UsbLine(const std::string& path) {
  return [path](const LineEnds& ends) { return std::make_unique<PseudoTerminal>(ends, path); };
}

}  // namespace scantk::sim
