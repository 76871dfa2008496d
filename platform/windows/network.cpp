#include "platform/in_use.h"

#include <winsock2.h>

#include "platform/error_codes.h"
#include "platform/owner.h"
#include "platform/system.h"

namespace scantk {
namespace {

static_assert(sizeof(sockaddr_in) == sizeof(SocketAddress));

struct SocketTraits {
  using Value = SOCKET;
  static Value Invalid() { return INVALID_SOCKET; }
  static void Close(Value socket) { closesocket(socket); }
};

struct EventTraits {
  using Value = WSAEVENT;
  static Value Invalid() { return WSA_INVALID_EVENT; }
  static void Close(Value event) { WSACloseEvent(event); }
};

// Why an operation failed: never 0.
uint32_t Failure() {
  return error::OfFailure(static_cast<uint32_t>(WSAGetLastError()));
}

uint32_t SocketResult(int result) {
  return result == 0 ? 0 : Failure();
}

timeval Interval(uint32_t milliseconds) {
  return {static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000};
}

class WindowsSocket final : public StreamSocket {
 public:
  explicit WindowsSocket(Owner<SocketTraits> socket) : socket_(std::move(socket)) {}
  ~WindowsSocket() override { EndTransfer(nullptr); }

  uintptr_t Handle() const override { return socket_.Get(); }

  uint32_t Connect(const SocketAddress& address) override {
    return SocketResult(
        connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }

  int WaitWritable(uint32_t milliseconds) override {
    fd_set set = OnlyThis();
    timeval limit = Interval(milliseconds);
    return select(0, nullptr, &set, nullptr, &limit);
  }

  int WaitException(uint32_t milliseconds) override {
    fd_set set = OnlyThis();
    timeval limit = Interval(milliseconds);
    return select(0, nullptr, nullptr, &set, &limit);
  }

  int PendingError(uint32_t* pending) override {
    int size = sizeof *pending;
    return getsockopt(socket_.Get(), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(pending), &size);
  }

  uint32_t SetLinger(bool on, uint16_t seconds) override {
    const linger value = {static_cast<u_short>(on), seconds};
    return SetOption(SO_LINGER, &value, sizeof value);
  }
  uint32_t SetReceiveTimeout(uint32_t milliseconds) override {
    return SetOption(SO_RCVTIMEO, &milliseconds, sizeof milliseconds);
  }
  uint32_t SetSendTimeout(uint32_t milliseconds) override {
    return SetOption(SO_SNDTIMEO, &milliseconds, sizeof milliseconds);
  }

  bool BeginTransfer() override {
    event_.Reset(WSACreateEvent());
    return static_cast<bool>(event_);
  }

  uint32_t PostReceive(void* data, uint32_t size) override {
    WSABUF buffer = {size, static_cast<char*>(data)};
    DWORD flags = 0;
    Prepare();
    return Posted(WSARecv(socket_.Get(), &buffer, 1, nullptr, &flags, &overlapped_, nullptr));
  }

  uint32_t PostSend(const void* data, uint32_t size) override {
    WSABUF buffer = {size, const_cast<char*>(static_cast<const char*>(data))};
    Prepare();
    return Posted(WSASend(socket_.Get(), &buffer, 1, nullptr, 0, &overlapped_, nullptr));
  }

  WaitResult WaitTransfer(uint32_t milliseconds) override {
    switch (WaitForSingleObject(event_.Get(), milliseconds)) {
      case WAIT_OBJECT_0:
        return WaitResult::kSignalled;
      case WAIT_TIMEOUT:
        return WaitResult::kTimeout;
      default:
        return WaitResult::kFailed;
    }
  }

  uint32_t TransferResult(uint32_t* bytes) override { return Result(false, bytes); }

  void ResetTransfer() override { WSAResetEvent(event_.Get()); }

  // A receive that is still posted would go on to write into its buffer, whatever became of it.
  void EndTransfer(uint32_t* late_bytes) override {
    uint32_t late = 0;
    if (posted_) {
      const LastErrorKeeper keeper;
      CancelIo(reinterpret_cast<HANDLE>(socket_.Get()));
      Result(true, &late);
    }
    event_.Reset();
    if (late_bytes) *late_bytes = late;
  }

  void FinishSending(uint32_t milliseconds) override {
    const LastErrorKeeper keeper;
    const DWORD start = GetTickCount();
    char dropped[16384];
    shutdown(socket_.Get(), SD_SEND);
    for (DWORD passed = 0; passed <= milliseconds; passed = GetTickCount() - start) {
      fd_set set = OnlyThis();
      timeval limit = Interval(milliseconds - passed);
      if (select(0, &set, nullptr, nullptr, &limit) != 1) return;
      if (recv(socket_.Get(), dropped, sizeof dropped, 0) <= 0) return;
    }
  }

  uint32_t Control(uint32_t code, const void* in, uint32_t in_size, void* out, uint32_t out_size,
                   uint32_t* returned) override {
    DWORD count = 0;
    const BOOL done =
        DeviceIoControl(reinterpret_cast<HANDLE>(socket_.Get()), code, const_cast<void*>(in),
                        in_size, out, out_size, &count, nullptr);
    if (returned) *returned = count;
    return done ? 0 : GetLastError();
  }

 private:
  fd_set OnlyThis() const {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket_.Get(), &set);
    return set;
  }

  uint32_t SetOption(int option, const void* value, int size) {
    return SocketResult(
        setsockopt(socket_.Get(), SOL_SOCKET, option, static_cast<const char*>(value), size));
  }

  void Prepare() {
    overlapped_ = {};
    overlapped_.hEvent = event_.Get();
  }

  uint32_t Posted(int result) {
    const uint32_t failure = SocketResult(result);
    posted_ = failure == 0 || failure == error::kIoPending;
    return failure;
  }

  uint32_t Result(bool wait, uint32_t* bytes) {
    DWORD count = 0, flags = 0;
    const BOOL done = WSAGetOverlappedResult(socket_.Get(), &overlapped_, &count, wait, &flags);
    const uint32_t failure = done ? 0 : Failure();
    posted_ = failure == error::kIoIncomplete;
    *bytes = count;
    return failure;
  }

  Owner<SocketTraits> socket_;
  Owner<EventTraits> event_;
  WSAOVERLAPPED overlapped_ = {};
  bool posted_ = false;  // the system may still touch the buffer
};

class WindowsNetwork final : public Network {
 public:
  uint32_t StartUp(SocketLibraryInfo* info) override {
    WSADATA data = {};
    const int failure = WSAStartup(MAKEWORD(2, 2), &data);
    if (failure == 0) {
      *info = {data.wVersion,       data.wHighVersion, data.szDescription,
               data.szSystemStatus, data.iMaxSockets,  data.iMaxUdpDg};
    }
    return static_cast<uint32_t>(failure);
  }

  void CleanUp() override { WSACleanup(); }

  std::unique_ptr<StreamSocket> CreateStreamSocket() override {
    Owner<SocketTraits> made(socket(AF_INET, SOCK_STREAM, 0));
    u_long non_blocking = 1;
    const BOOL no_delay = TRUE;
    // A program that the host starts must not hold the connection open.
    if (!made ||
        !SetHandleInformation(reinterpret_cast<HANDLE>(made.Get()), HANDLE_FLAG_INHERIT, 0) ||
        ioctlsocket(made.Get(), FIONBIO, &non_blocking) != 0 ||
        setsockopt(made.Get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay),
                   sizeof no_delay) != 0) {
      return nullptr;
    }
    return std::make_unique<WindowsSocket>(std::move(made));
  }

  uint32_t LookUpHost(const std::string& name) override {
    const hostent* host = gethostbyname(name.c_str());
    if (!host || !host->h_addr_list[0]) return kNoAddress;
    return reinterpret_cast<const in_addr*>(host->h_addr_list[0])->s_addr;
  }

  uint32_t ParseDotted(const std::string& text) override { return inet_addr(text.c_str()); }

  uint32_t LastSocketError() override { return static_cast<uint32_t>(WSAGetLastError()); }
};

WindowsNetwork g_system_network;

}  // namespace

Network& SystemNetwork() {
  return g_system_network;
}

}  // namespace scantk
