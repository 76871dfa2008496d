#include "bench/bare_line.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "contract/interfaces.h"
#include "io/dot4_records.h"

namespace scantk::bench {
namespace {

constexpr uint16_t kScanPort = 9290;

class OpenFile {
 public:
  OpenFile(int fd, const char* what) : fd_(fd), what_(what) {
    if (fd < 0) Fail();
  }
  ~OpenFile() { close(fd_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  [[noreturn]] void Fail() const {
    throw std::runtime_error(std::string(what_) + ": " + std::strerror(errno));
  }
  void WriteAll(const void* bytes, size_t size) const {
    const auto* next = static_cast<const char*>(bytes);
    for (ssize_t moved; size > 0; next += moved, size -= static_cast<size_t>(moved))
      if ((moved = write(fd_, next, size)) <= 0) Fail();
  }
  size_t ReadSome(void* bytes, size_t size) const {
    const ssize_t moved = read(fd_, bytes, size);
    if (moved <= 0) Fail();
    return static_cast<size_t>(moved);
  }
  void ReadAll(void* bytes, size_t size) const {
    auto* next = static_cast<char*>(bytes);
    for (size_t moved; size > 0; next += moved, size -= moved) moved = ReadSome(next, size);
  }
  int Get() const { return fd_; }

 private:
  const int fd_;
  const char* const what_;
};

class NetworkLine : public BareLine {
 public:
  explicit NetworkLine(const std::string& address)
      : file_(socket(AF_INET, SOCK_STREAM, 0), "network line") {
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(kScanPort);
    inet_pton(AF_INET, address.c_str(), &to.sin_addr);
    if (connect(file_.Get(), reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) file_.Fail();
    char greeting[2];
    file_.ReadAll(greeting, sizeof greeting);
  }
  void Send(const std::string& bytes) override { file_.WriteAll(bytes.data(), bytes.size()); }
  size_t Receive(uint8_t* bytes, size_t size) override { return file_.ReadSome(bytes, size); }

 private:
  OpenFile file_;
};

class UsbLine : public BareLine {
 public:
  explicit UsbLine(const std::string& path)
      : file_(open(path.c_str(), O_RDWR | O_NOCTTY), "USB line") {
    termios modes;
    if (tcgetattr(file_.Get(), &modes) != 0) file_.Fail();
    cfmakeraw(&modes);
    if (tcsetattr(file_.Get(), TCSANOW, &modes) != 0) file_.Fail();
  }
  void Send(const std::string& bytes) override { file_.WriteAll(bytes.data(), bytes.size()); }
  size_t Receive(uint8_t* bytes, size_t size) override { return file_.ReadSome(bytes, size); }

 private:
  OpenFile file_;
};

class Dot4Line : public BareLine {
 public:
  explicit Dot4Line(const std::string& path) : file_(socket(AF_UNIX, SOCK_STREAM, 0), "DOT4 line") {
    sockaddr_un to = {};
    to.sun_family = AF_UNIX;
    std::strncpy(to.sun_path, path.c_str(), sizeof to.sun_path - 1);
    if (connect(file_.Get(), reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) file_.Fail();
    dot4::CreateRecord created = {};
    created.bPsid = 4;
    created.type = 1;
    created.BuffSz = 128000;
    created.H2P = 250;
    created.P2H = 32000;
    Request(dot4::kCreateSocket, sizeof created, dot4::kNoTimeLimit, &created, sizeof created,
            sizeof created);
    Reply(&created, sizeof created);
    dot4::OpenRecord opened = {};
    opened.bHsid = created.bHsid;
    Request(dot4::kOpenChannel, dot4::kOpenReplySize, dot4::kNoTimeLimit, &opened, sizeof opened,
            sizeof opened);
    Reply(&opened, sizeof opened);
    channel_ = opened.channel;
    socket_ = created.bHsid;
  }
  // The stack keeps sockets beyond the file.
  ~Dot4Line() override {
    try {
      Request(dot4::kCloseChannel, 0, dot4::kNoTimeLimit, nullptr, 0, 0);
      Reply(nullptr, 0);
      channel_ = 0;
      Request(dot4::kDestroySocket, 1, dot4::kNoTimeLimit, &socket_, 1, 0);
      Reply(nullptr, 0);
    } catch (const std::exception&) {  // it is gone then
    }
  }
  void Send(const std::string& bytes) override {
    const auto size = static_cast<uint32_t>(bytes.size());
    Request(dot4::kWrite, size, kTransferMs, bytes.data(), size, 0);
    Reply(nullptr, 0);
  }
  size_t Receive(uint8_t* bytes, size_t size) override {
    const auto wanted = static_cast<uint32_t>(size);
    Request(dot4::kRead, wanted, kTransferMs, nullptr, 0, wanted);
    return Reply(bytes, wanted);
  }

 private:
  static constexpr uint32_t kTransferMs = 30000;

  void Request(uint32_t code, uint32_t size, uint32_t timeout, const void* data, uint32_t data_size,
               uint32_t reply_limit) {
    const dot4::RequestHeader header = {channel_, size, 0, timeout};
    const uint32_t head[] = {code, static_cast<uint32_t>(sizeof header) + data_size, reply_limit};
    std::string bytes(reinterpret_cast<const char*>(head), sizeof head);
    bytes.append(reinterpret_cast<const char*>(&header), sizeof header);
    if (data_size > 0) bytes.append(static_cast<const char*>(data), data_size);
    file_.WriteAll(bytes.data(), bytes.size());
  }
  size_t Reply(void* bytes, uint32_t room) {
    uint32_t head[3];
    file_.ReadAll(head, sizeof head);
    if (head[0] != 0 || head[2] > room) throw std::runtime_error("DOT4 line: a request failed");
    file_.ReadAll(bytes, head[2]);
    return head[2];
  }

  OpenFile file_;
  uint32_t channel_ = 0;
  uint8_t socket_ = 0;
};

}  // namespace

std::unique_ptr<BareLine> OpenBareLine(uint32_t io_type, const std::string& place) {
  switch (io_type) {
    case T_IO_USB:
      return std::make_unique<UsbLine>(place);
    case T_IO_DOT4:
      return std::make_unique<Dot4Line>(place);
    default:
      return std::make_unique<NetworkLine>(place);
  }
}

}  // namespace scantk::bench
