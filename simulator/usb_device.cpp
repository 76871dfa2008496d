#include "simulator/usb_device.h"

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

namespace scantk::sim {
namespace {

constexpr size_t kPiece = 16384;
constexpr int kPiecesPerTurn = 32;  // then the device's owner gets its turn
constexpr int kLookForHostMs = 5;   // nothing tells that a terminal was opened

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

// Raw, and with nothing left in it for the next host.
bool Prepare(const std::string& terminal) {
  const int file = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return false;
  termios modes;
  const bool made = tcgetattr(file, &modes) == 0;
  if (made) {
    cfmakeraw(&modes);
    tcsetattr(file, TCSANOW, &modes);
    tcflush(file, TCIFLUSH);
  }
  close(file);
  return made;
}

bool IsLink(const std::string& path) {
  struct stat facts;
  return lstat(path.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode);
}

}  // namespace

UsbDevice::UsbDevice(DeviceConfig config, std::string path)
    : AttachedDevice(std::move(config), std::move(path)) {
  Start();
}

UsbDevice::~UsbDevice() {
  Stop();
}

void UsbDevice::Attach() {
  master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  char name[128];
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0 ||
      ptsname_r(master_, name, sizeof name) != 0)
    Fail("pseudo-terminal");
  terminal_ = name;
  if (IsLink(path_)) unlink(path_.c_str());  // of a device that did not clear up
  if (!Prepare(terminal_) || symlink(name, path_.c_str()) != 0) {
    const int error = errno;
    close(master_);
    master_ = -1;
    errno = error;
    Fail(path_);
  }
}

void UsbDevice::Detach() {
  if (master_ < 0) return;
  HostIsGone();
  if (IsLink(path_)) unlink(path_.c_str());
  close(master_);
  master_ = -1;
}

void UsbDevice::HostIsGone() {
  if (line_) core_.Leave(line_->host);
  line_.reset();
  unheard_.clear();
  unsent_.clear();
}

void UsbDevice::Turn() {
  int timeout = -1;
  pollfd polled[] = {{wake_file(), POLLIN, 0}, {-1, 0, 0}};
  {
    std::lock_guard guard(mutex_);
    if (master_ >= 0) {
      pollfd terminal = {master_, POLLIN, 0};
      const bool host = poll(&terminal, 1, 0) <= 0 || (terminal.revents & POLLHUP) == 0;
      if (host && !line_) line_ = NewLine();
      if (!host && !line_) {
        timeout = kLookForHostMs;  // its hang-up would end every wait at once
        if (terminal.revents & POLLIN) ForgetHost();
      }
      if (line_) polled[1] = {master_, Wanted(&timeout), 0};
    }
  }
  poll(polled, 2, timeout);
  std::lock_guard guard(mutex_);
  TakeWakeWords();
  if (line_) Serve();
}

// Drops the words of a host that came and went between two looks: the next one has not said them.
void UsbDevice::ForgetHost() {
  uint8_t words[kPiece];
  [[maybe_unused]] const ssize_t dropped = read(master_, words, sizeof words);
}

// What to wait for; shortens *timeout when the clock matters.
short UsbDevice::Wanted(int* timeout) {
  short wanted = unheard_.empty() && !line_->host.deaf ? POLLIN : 0;
  const int delay = unsent_.empty() ? Delay(*line_) : 0;
  if (delay == 0) wanted |= POLLOUT;
  if (delay > 0) *timeout = delay;
  return wanted;
}

void UsbDevice::Serve() {
  Receive();
  if (line_) Send();
  if (line_ && unsent_.empty() && Breaks(*line_)) {
    Log("the line breaks");
    Detach();
    try {
      Attach();
    } catch (const std::exception& problem) {
      Log(std::string("stays unplugged: ") + problem.what());
    }
  }
}

void UsbDevice::Receive() {
  for (int turn = 0; turn < kPiecesPerTurn; ++turn) {
    if (unheard_.empty()) {
      unheard_.resize(kPiece);
      const ssize_t got = read(master_, unheard_.data(), unheard_.size());
      const int error = errno;
      unheard_.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
      if (got == 0 || (got < 0 && error == EIO)) {  // the last one closed the file
        HostIsGone();
        Prepare(terminal_);
      }
      if (got <= 0) return;
    }
    const size_t taken = core_.Receive(line_->host, unheard_.data(), unheard_.size());
    unheard_.erase(unheard_.begin(), unheard_.begin() + static_cast<std::ptrdiff_t>(taken));
    if (!unheard_.empty()) return;
  }
}

void UsbDevice::Send() {
  for (int turn = 0; turn < kPiecesPerTurn; ++turn) {
    if (unsent_.empty() && Take(*line_, kPiece, &unsent_) == 0) return;
    const ssize_t sent = write(master_, unsent_.data(), unsent_.size());
    if (sent <= 0) return;  // no room now; a hang-up shows when reading
    unsent_.erase(unsent_.begin(), unsent_.begin() + sent);
  }
}

}  // namespace scantk::sim
