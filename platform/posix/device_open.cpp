#include "platform/posix/device_open.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>

#include <cerrno>
#include <cstring>

namespace scantk {
namespace {

// A stack with no room for another connection is in use, not slow: its socket is local.
File ConnectToStack(const char* name) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (std::strlen(name) >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return File();
  }
  std::memcpy(address.sun_path, name, std::strlen(name) + 1);
  File file(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!file) return file;
  if (connect(file.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return file;
  if (errno == EAGAIN) errno = EBUSY;
  return File();
}

// Terminals translate and hold back bytes until they are told not to.
void MakeRaw(int file) {
  termios modes;
  if (tcgetattr(file, &modes) != 0) return;
  cfmakeraw(&modes);
  tcsetattr(file, TCSANOW, &modes);
}

}  // namespace

File OpenDevice(const char* name, bool* stack) {
  struct stat facts;
  if (!name) {
    errno = ENOENT;
    return File();
  }
  if (stat(name, &facts) != 0) return File();
  *stack = S_ISSOCK(facts.st_mode);
  if (*stack) return ConnectToStack(name);
  if (!S_ISCHR(facts.st_mode)) {
    errno = S_ISDIR(facts.st_mode) ? EISDIR : ENODEV;
    return File();
  }
  File file(Uninterrupted([&] { return open(name, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  if (file) MakeRaw(file.Get());
  return file;
}

}  // namespace scantk
