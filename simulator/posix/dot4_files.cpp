#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "simulator/dot4_stack.h"

namespace scantk::sim {
namespace {

constexpr size_t kReadBytes = 65536;
constexpr size_t kReceived = 1 << 20;  // requests that may wait to be looked at
constexpr size_t kUnsent = 1 << 20;    // answers that may wait; no more is read meanwhile

void RemoveSocket(const std::string& path) {
  struct stat facts;
  if (lstat(path.c_str(), &facts) == 0 && S_ISSOCK(facts.st_mode)) unlink(path.c_str());
}

}  // namespace

void Dot4Stack::Attach() {
  Detach();
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) throw std::invalid_argument(path_ + " is too long");
  std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
  RemoveSocket(path_);  // of a stack that did not clear up
  Socket listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int number = static_cast<int>(listener.Get());
  if (bind(number, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(number, 16) != 0)
    throw std::runtime_error(path_ + ": " + std::strerror(errno));
  listener_ = std::move(listener);
}

void Dot4Stack::Detach() {
  if (!listener_) return;
  for (auto& file : files_) Close(*file);
  sockets.clear();
  RemoveSocket(path_);
  listener_.Reset();
}

void Dot4Stack::LoseHandles() {
  for (auto& file : files_)  // the thread sees it and cleans up
    if (file->socket) shutdown(static_cast<int>(file->socket.Get()), SHUT_RDWR);
}

int Dot4Stack::Watch(std::vector<Watched>* watched) {
  int wait = -1;
  const auto within = [&wait](int64_t milliseconds) {
    const int most = static_cast<int>(std::clamp<int64_t>(milliseconds, 0, 1 << 30));
    wait = wait < 0 ? most : std::min(wait, most);
  };
  std::erase_if(files_, [](const auto& file) { return !file->socket; });
  watched->push_back({.file = listener_.Get(), .reads = true});
  for (const auto& file : files_) {
    const bool reads = file->unsent.size() < kUnsent && file->received.size() < kReceived;
    watched->push_back(
        {.file = file->socket.Get(), .reads = reads, .writes = !file->unsent.empty()});
    if (!file->read_ends) continue;
    within(*file->read_ends - SteadyMilliseconds());
    const int delay = channel_ && channel_->file == file.get() ? Delay(*channel_->host) : -1;
    if (delay >= 0) within(delay);
  }
  return wait;
}

void Dot4Stack::Serve(std::span<const Watched> watched) {
  // An owner who unplugged the device meanwhile has closed the files, which are still listed.
  for (size_t i = 1; i < watched.size(); ++i) {
    File& file = *files_[i - 1];
    if (file.socket && (watched[i].readable || watched[i].ended)) Receive(file);
    if (file.socket) AnswerAll(file);
    if (file.socket && !file.unsent.empty()) Send(file);
  }
  if (!watched[0].readable || !listener_) return;
  if (Socket socket = Accept(listener_)) {
    files_.push_back(std::make_unique<File>());
    files_.back()->socket = std::move(socket);
  }
}

void Dot4Stack::Receive(File& file) {
  uint8_t bytes[kReadBytes];
  const int got = sim::Receive(file.socket, bytes, sizeof bytes);
  if (got > 0) file.received.insert(file.received.end(), bytes, bytes + got);
  if (got == 0 || got == kBroken) Close(file);
}

void Dot4Stack::Send(File& file) {
  const int sent = sim::Send(file.socket, file.unsent);
  if (sent > 0) file.unsent.erase(file.unsent.begin(), file.unsent.begin() + sent);
  if (sent == kBroken) Close(file);
}

void Dot4Stack::Close(File& file) {
  if (!file.socket) return;
  if (channel_ && channel_->file == &file) CloseChannel(RecordedKind::kGone);
  file.socket.Reset();
}

void Dot4Stack::CloseChannel(RecordedKind how) {
  End(*channel_->host, how);
  channel_.reset();
}

}  // namespace scantk::sim
