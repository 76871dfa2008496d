#include "tests/sweep/virtual_line.h"

#include <algorithm>

#include "platform/semaphore.h"
#include "tests/sweep/failing_system.h"

namespace scantk::test {
namespace {

constexpr int64_t kStallMs = 10000;
constexpr int64_t kNever = -1;

VirtualLine* current = nullptr;

}  // namespace

VirtualLine::VirtualLine() {
  current = this;
  SetClock(this);
}

VirtualLine::~VirtualLine() {
  current = nullptr;
  SetClock(nullptr);
}

VirtualLine& VirtualLine::Current() {
  return *current;
}

void VirtualLine::Begin(sim::Responder* device, std::string_view fault, int64_t at) {
  device_ = device;
  fault_ = fault;
  at_ = at;
  counts_ = {};
  hung_ = struck_ = false;
}

bool VirtualLine::CallFails() {
  const int64_t number = counts_.calls++;
  return Strikes("call", number, number + 1).has_value();
}

std::optional<int64_t> VirtualLine::Strikes(std::string_view kind, int64_t begin,
                                            int64_t end) const {
  if (kind != fault_ || at_ < begin || at_ >= end) return std::nullopt;
  return at_;
}

VirtualConnection::~VirtualConnection() {
  const TestAtWork safe;
  if (state_ == State::kConnected) line_.device_->Leave(host_);
  --line_.open_ends;
}

void VirtualConnection::Ask() {
  const int64_t number = line_.counts_.connections++;
  if (line_.Strikes("refuse", number, number + 1)) state_ = State::kRefused;
  if (line_.Strikes("unreachable", number, number + 1)) state_ = State::kUnreachable;
}

void VirtualConnection::Meet(bool greeted) {
  const TestAtWork safe;
  state_ = State::kConnected;
  host_.id = ++line_.next_id_;
  if (greeted)
    line_.device_->Greet(host_, false);
  else
    line_.device_->Meet(host_);
}

void VirtualConnection::Lose(State how) {
  if (state_ == State::kConnected) line_.device_->Leave(host_);
  state_ = how;
}

bool VirtualConnection::Send(const uint8_t* data, uint32_t size, uint32_t* sent) {
  const TestAtWork safe;
  *sent = 0;
  if (state_ != State::kConnected) return false;
  const int64_t begin = line_.counts_.to_device;
  std::vector<uint8_t> bytes(data, data + size);
  const auto place = [&](std::string_view kind) {
    const auto at = line_.Strikes(kind, begin, begin + size);
    return at ? std::optional<size_t>(*at - begin) : std::nullopt;
  };
  line_.counts_.to_device += size;
  const auto reset = place("sent-reset"), cut = place("sent-short");
  if (const auto at = place("sent-corrupt")) bytes[*at] ^= 0xFF;
  if (cut || reset) bytes.resize(cut ? *cut : *reset);
  *sent = static_cast<uint32_t>(bytes.size());
  if (const auto at = place("sent-drop"))
    bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(*at));
  line_.device_->Receive(host_, bytes.data(), bytes.size());
  if (reset) Lose(State::kReset);
  return !reset;
}

VirtualConnection::Received VirtualConnection::Receive(uint8_t* data, uint32_t size,
                                                       uint32_t milliseconds, uint32_t* moved) {
  const TestAtWork safe;
  int64_t left = milliseconds;
  *moved = 0;
  for (;;) {
    if (TryReceive(data, size, moved)) return *moved > 0 ? Received::kBytes : Received::kEnd;
    const int64_t delay = Delay();
    if (delay == kNever && milliseconds == kWaitForever) {
      line_.hung_ = true;
      return Received::kEnd;
    }
    const int64_t wait = delay == kNever ? left : std::min(delay, left);
    line_.now_ += wait;
    left -= wait;
    if (left == 0 && wait != delay) return Received::kTimeout;
  }
}

void VirtualConnection::Finish(uint32_t milliseconds) {
  const TestAtWork safe;
  if (state_ != State::kConnected) return;
  if (mute_) line_.now_ += milliseconds;
  Lose(State::kClosed);  // the device closes its side at once
}

// Milliseconds until something may come.
int64_t VirtualConnection::Delay() {
  if (state_ != State::kConnected) return 0;
  if (mute_) return kNever;
  const int64_t now = line_.now_;
  if (silent_until_ > now) return silent_until_ - now;
  line_.device_->Produce(host_);
  if (host_.out.empty() && !host_.drop_when_sent && !host_.reset_when_sent) return kNever;
  return std::max<int64_t>(host_.stalled_until - now, 0);
}

// True: bytes came, or none will any more.
bool VirtualConnection::TryReceive(uint8_t* data, uint32_t size, uint32_t* moved) {
  while (*moved == 0) {
    if (state_ == State::kConnected && Delay() != 0) return false;
    if (state_ == State::kConnected && host_.out.empty())
      Lose(host_.reset_when_sent ? State::kReset : State::kClosed);
    if (state_ != State::kConnected) return true;
    const int64_t begin = line_.counts_.to_host;
    CopyOut(begin, Interrupt(begin, begin + std::min<int64_t>(size, Available())), data, moved);
  }
  return true;
}

int64_t VirtualConnection::Available() const {
  int64_t available = -static_cast<int64_t>(host_.sent_of_first);
  for (const auto& piece : host_.out) available += static_cast<int64_t>(piece.size());
  return available;
}

// Where a receive of the bytes [begin, end) ends; what interrupts it happens when it is due.
int64_t VirtualConnection::Interrupt(int64_t begin, int64_t end) {
  for (const std::string_view kind : {"stall", "silence", "close", "reset", "split"}) {
    const auto place = line_.Strikes(kind, begin, end);
    if (!place || line_.struck_) continue;
    if (*place > begin) return *place;
    line_.struck_ = true;
    if (kind == "stall") silent_until_ = line_.now_ + kStallMs;
    if (kind == "silence") mute_ = true;
    if (kind == "close") Lose(State::kClosed);
    if (kind == "reset") Lose(State::kReset);
    if (kind != "split") return begin;
  }
  return end;
}

void VirtualConnection::CopyOut(int64_t begin, int64_t end, uint8_t* data, uint32_t* moved) {
  const auto drop = line_.Strikes("drop", begin, end);
  const auto corrupt = line_.Strikes("corrupt", begin, end);
  for (int64_t at = begin; at < end; ++at) {
    const uint8_t byte = host_.out.front()[host_.sent_of_first++];
    --host_.out_bytes;
    if (host_.sent_of_first == host_.out.front().size()) {
      host_.out.pop_front();
      host_.sent_of_first = 0;
    }
    if (drop != at) data[(*moved)++] = corrupt == at ? static_cast<uint8_t>(~byte) : byte;
  }
  line_.counts_.to_host = end;
}

}  // namespace scantk::test
