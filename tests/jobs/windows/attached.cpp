// A USB cable, a named pipe in the place of the driver's device file, joined to a simulated device
// on the network; and a discovery component that this process serves to itself.
// Before windows.h, which would bring the first version of sockets.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "tests/doubles/fake_discovery.h"
#include "tests/jobs/far_side.h"

namespace scantk::test {
namespace {

constexpr uint16_t kScanPort = 9290;
constexpr DWORD kPipeBytes = 1 << 20;  // more than a block
constexpr size_t kHeaderBytes = 8;
constexpr DWORD kSilenceMs = 200;  // ends a transfer that is neither an answer nor a whole block
constexpr char kEscape = '\x1B';

struct SocketTraits {
  using Value = SOCKET;
  static Value Invalid() { return INVALID_SOCKET; }
  static void Close(Value value) { closesocket(value); }
};
struct HandleTraits {
  using Value = HANDLE;
  static Value Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Value value) { CloseHandle(value); }
};

// One opening of the file after the other, each a connection of its own. As on the real cable, what
// the device sends at once is one transfer: a read is filled from it.
class PipeFarSide : public FarSide {
 public:
  explicit PipeFarSide(const sim::DeviceConfig& config)
      : FarSide(std::make_unique<sim::SimulatedDevice>(config)) {
    static std::atomic<int> count = 0;
    path_ = "\\\\.\\pipe\\scantk-cable-" + std::to_string(GetCurrentProcessId()) + "-" +
            std::to_string(++count);
    PipeFarSide::Plug();
  }
  ~PipeFarSide() override { PipeFarSide::Unplug(); }

  std::string Path() const override { return path_; }
  void Unplug() override {
    if (!thread_.joinable()) return;
    plugged_ = false;
    shutdown(socket_.Get(), SD_BOTH);
    DisconnectNamedPipe(pipe_.Get());
    CancelIoEx(pipe_.Get(), nullptr);
    thread_.join();
    pipe_ = {};
  }
  void Plug() override {
    plugged_ = true;
    pipe_ = Owner<HandleTraits>(
        CreateNamedPipeA(path_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                         PIPE_TYPE_MESSAGE, 1, kPipeBytes, kPipeBytes, 0, nullptr));
    thread_ = std::thread([this] {
      while (plugged_ && AwaitHost()) Serve();
    });
  }

 private:
  // Starts an operation of the pipe and waits for its end: what it moved, -1 when it failed.
  template <class Operation>
  int64_t Finish(Operation operation) {
    OVERLAPPED record = {};
    const Owner<HandleTraits> event(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    record.hEvent = event.Get();
    DWORD moved = 0;
    if (!operation(&record) && GetLastError() == ERROR_PIPE_CONNECTED) return 0;
    return GetOverlappedResult(pipe_.Get(), &record, &moved, TRUE) ? int64_t{moved} : -1;
  }
  bool AwaitHost() {
    return Finish([&](OVERLAPPED* record) { return ConnectNamedPipe(pipe_.Get(), record); }) >= 0;
  }

  void Serve() {
    socket_ = Owner<SocketTraits>(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(kScanPort);
    to.sin_addr.s_addr = inet_addr((*this)->config().address.c_str());
    char greeting[2];
    if (connect(socket_.Get(), reinterpret_cast<sockaddr*>(&to), sizeof to) == 0)
      recv(socket_.Get(), greeting, sizeof greeting, MSG_WAITALL);
    setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&kSilenceMs),
               sizeof kSilenceMs);
    std::thread to_host([this] { ToHost(); });
    char bytes[4096];
    int64_t got = 0;
    while ((got = Finish([&](OVERLAPPED* record) {
              return ReadFile(pipe_.Get(), bytes, sizeof bytes, nullptr, record);
            })) > 0)
      send(socket_.Get(), bytes, static_cast<int>(got), 0);
    shutdown(socket_.Get(), SD_BOTH);  // the host has closed its file
    to_host.join();
  }

  void ToHost() {
    std::vector<char> received;
    char bytes[65536];
    for (int got; (got = recv(socket_.Get(), bytes, sizeof bytes, 0)) > 0 ||
                  (got < 0 && WSAGetLastError() == WSAETIMEDOUT);) {
      received.insert(received.end(), bytes, bytes + std::max(got, 0));
      while (const size_t size = got < 0 ? received.size() : Transfer(received)) {
        Finish([&](OVERLAPPED* record) {
          return WriteFile(pipe_.Get(), received.data(), static_cast<DWORD>(size), nullptr, record);
        });
        received.erase(received.begin(), received.begin() + static_cast<ptrdiff_t>(size));
      }
    }
    DisconnectNamedPipe(pipe_.Get());
  }

  // An answer goes on as it comes, a block of a page whole; 0: it has not come yet.
  static size_t Transfer(const std::vector<char>& received) {
    if (received.empty() || received.front() == kEscape) return received.size();
    uint32_t block = 0;
    if (received.size() < kHeaderBytes) return 0;
    std::memcpy(&block, received.data(), sizeof block);
    return received.size() < block ? 0 : std::max<size_t>(block, 1);
  }

  std::string path_;
  std::atomic<bool> plugged_ = false;
  Owner<HandleTraits> pipe_;
  Owner<SocketTraits> socket_;
  std::thread thread_;
};

// The component runtime finds the tests' discovery component here while this lives.
class DiscoveryClass final : public IClassFactory {
 public:
  DiscoveryClass(const std::string& identity, const std::string& address) {
    discovery.addresses = {{identity, address}};
    CoRegisterClassObject(CLSID_DiscoveryBroker, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &cookie_);
  }
  virtual ~DiscoveryClass() { CoRevokeClassObject(cookie_); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  // It lives as long as its owner says.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override {
    return FakeDiscovery::Create(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  DWORD cookie_ = 0;
};

}  // namespace

std::shared_ptr<void> TellDiscovery(const std::string& identity, const std::string& address,
                                    const std::string&) {
  return std::make_shared<DiscoveryClass>(identity, address);
}

std::vector<Medium> Media() {
  return {Medium::kNetwork, Medium::kUsb};
}

std::unique_ptr<FarSide> StartAttached(Medium medium, const sim::DeviceConfig& config,
                                       const std::string&) {
  if (medium != Medium::kUsb) throw std::runtime_error("no simulated device over dot4");
  return std::make_unique<PipeFarSide>(config);
}

}  // namespace scantk::test
