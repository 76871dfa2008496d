#include "simulator/dot4_device.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace scantk::sim {
namespace {

constexpr size_t kReadBytes = 65536;
constexpr size_t kLargestInput = 1 << 20;
constexpr size_t kUnsent = 1 << 20;  // answers that may wait; more requests are not read meanwhile
constexpr size_t kPacketToHost = 32000;
constexpr size_t kLargestRead = 64 << 20;
constexpr size_t kPacketToDevice = 250;
constexpr size_t kSockets = 32;
constexpr size_t kLayoutFaults = 100;

// The system's error numbers.
constexpr uint32_t kInvalidHandle = 6;
constexpr uint32_t kInvalidParameter = 87;
constexpr uint32_t kBusy = 170;

void PutNumber(std::vector<uint8_t>* bytes, uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8)
    bytes->push_back(static_cast<uint8_t>(number >> shift));
}

uint32_t NumberAt(const std::vector<uint8_t>& bytes, size_t at) {
  uint32_t number = 0;
  for (size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
  return number;
}

bool IsSocket(const std::string& path) {
  struct stat facts;
  return lstat(path.c_str(), &facts) == 0 && S_ISSOCK(facts.st_mode);
}

}  // namespace

// A host's open file: requests in, answers out, in order.
struct Dot4Device::File {
  int fd = -1;
  std::vector<uint8_t> received;
  std::vector<uint8_t> unsent;
  std::optional<int64_t> read_ends;  // when the read that is first in line gives up
  std::vector<uint8_t> read_so_far;  // of it

  void AddAnswer(uint32_t error, uint32_t moved, const std::vector<uint8_t>& reply) {
    PutNumber(&unsent, error);
    PutNumber(&unsent, moved);
    PutNumber(&unsent, static_cast<uint32_t>(reply.size()));
    unsent.insert(unsent.end(), reply.begin(), reply.end());
  }
};

Dot4Device::Dot4Device(DeviceConfig config, std::string path)
    : AttachedDevice(std::move(config), std::move(path)) {
  Start();
}

Dot4Device::~Dot4Device() {
  Stop();
}

void Dot4Device::FailRequests(Dot4Code code, std::deque<uint32_t> errors) {
  std::lock_guard guard(mutex_);
  failures_[static_cast<uint32_t>(code)] = std::move(errors);
}

void Dot4Device::LoseHandles() {
  std::lock_guard guard(mutex_);
  for (auto& file : files_)
    if (file->fd >= 0) shutdown(file->fd, SHUT_RDWR);  // the thread sees it and cleans up
}

std::vector<std::string> Dot4Device::layout_faults() const {
  std::lock_guard guard(mutex_);
  return layout_faults_;
}

int Dot4Device::open_channels() const {
  std::lock_guard guard(mutex_);
  return channel_.has_value();
}

int Dot4Device::open_sockets() const {
  std::lock_guard guard(mutex_);
  return static_cast<int>(sockets_.size());
}

// --- files ---

void Dot4Device::Attach() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) throw std::invalid_argument(path_ + " is too long");
  std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
  if (IsSocket(path_)) unlink(path_.c_str());  // of a stack that did not clear up
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (listener_ >= 0 &&
      bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      listen(listener_, 16) == 0)
    return;
  const std::string why = std::strerror(errno);
  if (listener_ >= 0) close(listener_);
  listener_ = -1;
  throw std::runtime_error(path_ + ": " + why);
}

void Dot4Device::Detach() {
  if (listener_ < 0) return;
  for (auto& file : files_) CloseFile(*file);
  sockets_.clear();
  unlink(path_.c_str());
  close(listener_);
  listener_ = -1;
}

void Dot4Device::CloseFile(File& file) {
  if (file.fd < 0) return;
  if (channel_ && channel_->file == &file) CloseChannel();
  close(file.fd);
  file.fd = -1;
}

void Dot4Device::CloseChannel() {
  core_.Leave(channel_->line->host);
  channel_.reset();
}

void Dot4Device::Sweep() {
  std::erase_if(files_, [](const auto& file) { return file->fd < 0; });
}

void Dot4Device::Turn() {
  std::vector<pollfd> polled = {{wake_file(), POLLIN, 0}};
  int timeout = -1;
  const auto within = [&timeout](int64_t ms) {
    const int wait = static_cast<int>(std::clamp<int64_t>(ms, 0, 1 << 30));
    timeout = timeout < 0 ? wait : std::min(timeout, wait);
  };
  {
    std::lock_guard guard(mutex_);
    Sweep();
    polled.push_back({listener_, POLLIN, 0});
    for (const auto& file : files_) {
      short wanted = file->unsent.empty() ? 0 : POLLOUT;
      if (file->unsent.size() < kUnsent && file->received.size() < kLargestInput + kReadBytes)
        wanted |= POLLIN;
      polled.push_back({file->fd, wanted, 0});
      if (file->read_ends) within(*file->read_ends - Milliseconds());
      if (file->read_ends && channel_ && channel_->file == file.get()) {
        const int delay = Delay(*channel_->line);
        if (delay >= 0) within(delay);
      }
    }
  }
  poll(polled.data(), polled.size(), timeout);
  std::lock_guard guard(mutex_);
  TakeWakeWords();
  // An owner who unplugged the device meanwhile has closed the files, which are still listed.
  for (size_t i = 0; i + 2 < polled.size(); ++i) Serve(*files_[i], polled[i + 2].revents);
  if (polled[1].revents && listener_ == polled[1].fd) Accept();
}

void Dot4Device::Accept() {
  const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd < 0) return;
  files_.push_back(std::make_unique<File>());
  files_.back()->fd = fd;
}

void Dot4Device::Serve(File& file, short events) {
  if (file.fd >= 0 && (events & (POLLIN | POLLHUP | POLLERR))) Receive(file);
  if (file.fd >= 0) AnswerAll(file);
  if (file.fd >= 0 && !file.unsent.empty()) Send(file);
}

void Dot4Device::Receive(File& file) {
  const size_t before = file.received.size();
  file.received.resize(before + kReadBytes);
  const ssize_t got = recv(file.fd, file.received.data() + before, kReadBytes, MSG_DONTWAIT);
  const bool gone = got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
  file.received.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
  if (gone) CloseFile(file);
}

void Dot4Device::Send(File& file) {
  const ssize_t sent =
      send(file.fd, file.unsent.data(), file.unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent > 0) file.unsent.erase(file.unsent.begin(), file.unsent.begin() + sent);
  if (sent < 0 && errno != EAGAIN && errno != EINTR) CloseFile(file);
}

// --- requests ---

void Dot4Device::AnswerAll(File& file) {
  constexpr size_t kHead = 12;
  while (file.fd >= 0 && file.received.size() >= kHead && file.unsent.size() < kUnsent) {
    Dot4Request request;
    request.code = NumberAt(file.received, 0);
    const size_t size = NumberAt(file.received, 4);
    request.reply_limit = NumberAt(file.received, 8);
    if (size > kLargestInput) return CloseFile(file);
    if (file.received.size() - kHead < size) return;
    const auto input = file.received.begin() + kHead;
    request.input.assign(input, input + static_cast<std::ptrdiff_t>(size));
    if (!Answer(file, request)) return;
    file.received.erase(file.received.begin(), input + static_cast<std::ptrdiff_t>(size));
  }
}

// False: it is to be looked at again later, or the file is closed.
bool Dot4Device::Answer(File& file, const Dot4Request& request) {
  const std::string fault = Dot4Fault(request);
  if (!fault.empty()) {
    Log("! " + Dot4Name(request.code) + ": " + fault);
    if (layout_faults_.size() < kLayoutFaults)
      layout_faults_.push_back(Dot4Name(request.code) + ": " + fault);
    file.AddAnswer(kInvalidParameter, 0, {});
    return true;
  }
  auto& failures = failures_[request.code];
  uint32_t error = 0;
  if (!failures.empty() && !file.read_ends) {
    error = failures.front();
    failures.pop_front();
    if (error != 0) Log("! " + Dot4Name(request.code) + " fails");
  }
  if (error == kSilence) return true;
  if (error == kHangUp) {
    CloseFile(file);
    return false;
  }
  if (error == 0 && request.code == static_cast<uint32_t>(Dot4Code::kRead))
    return AnswerRead(file, request);
  if (error == 0) error = Perform(file, request);
  if (error != 0) file.AddAnswer(error, 0, {});
  return true;
}

// Answers all but reads, or returns why not.
uint32_t Dot4Device::Perform(File& file, const Dot4Request& request) {
  const auto code = static_cast<Dot4Code>(request.code);
  if (code == Dot4Code::kCreateSocket) {
    if (sockets_.size() == kSockets) sockets_.pop_front();  // of a host that went without a word
    do {
      ++last_socket_;
    } while (last_socket_ == 0 || std::count(sockets_.begin(), sockets_.end(), last_socket_) > 0);
    sockets_.push_back(last_socket_);
    file.AddAnswer(0, 56, Dot4Created(request, last_socket_));
    return 0;
  }
  if (code == Dot4Code::kOpenChannel || code == Dot4Code::kDestroySocket) {
    const uint8_t socket = Dot4Socket(request);
    const auto known = std::find(sockets_.begin(), sockets_.end(), socket);
    if (known == sockets_.end()) return kInvalidParameter;
    if (code == Dot4Code::kDestroySocket) {
      if (channel_ && channel_->socket == socket) return kBusy;
      sockets_.erase(known);
      file.AddAnswer(0, 0, {});
      return 0;
    }
    if (channel_) return kBusy;
    channel_ = Channel{++last_channel_, socket, &file, NewLine()};
    file.AddAnswer(0, 8, Dot4Opened(request, last_channel_));
    return 0;
  }
  if (!channel_ || channel_->handle != Dot4Channel(request) || channel_->file != &file)
    return kInvalidHandle;
  uint32_t taken = 0;
  if (code == Dot4Code::kCloseChannel) {
    CloseChannel();
  } else {
    const size_t size = request.input.size() - 16;
    while (taken < size) {  // in packets, until the device gives no more credit
      const size_t packet = std::min(kPacketToDevice, size - taken);
      const size_t heard =
          core_.Receive(channel_->line->host, request.input.data() + 16 + taken, packet);
      taken += static_cast<uint32_t>(heard);
      if (heard < packet) break;
    }
  }
  file.AddAnswer(0, taken, {});
  return 0;
}

// A read is filled from as many packets as it takes. It ends early when the device has no more to
// say, and when its host's time is up.
bool Dot4Device::AnswerRead(File& file, const Dot4Request& request) {
  if (!channel_ || channel_->handle != Dot4Channel(request) || channel_->file != &file) {
    file.AddAnswer(kInvalidHandle, 0, {});
    return true;
  }
  Line& line = *channel_->line;
  const size_t wanted = std::min<size_t>(request.reply_limit, kLargestRead);
  std::vector<uint8_t>& bytes = file.read_so_far;
  if (!file.read_ends) file.read_ends = Milliseconds() + request.Number(12);
  while (bytes.size() < wanted &&
         Take(line, std::min(wanted - bytes.size(), kPacketToHost), &bytes) > 0) {
  }
  if (bytes.empty() && Breaks(line)) {
    Log("the line breaks");
    CloseFile(file);
    return false;
  }
  const bool more = bytes.empty() || (Delay(line) >= 0 && !Breaks(line));
  if (bytes.size() < wanted && more && Milliseconds() < *file.read_ends) return false;
  file.AddAnswer(0, static_cast<uint32_t>(bytes.size()), bytes);
  file.read_ends.reset();
  bytes.clear();
  return true;
}

}  // namespace scantk::sim
