#include "simulator/line.h"

#include <algorithm>

namespace scantk::sim {

void Line::Start() {
  {
    std::lock_guard guard(ends_.mutex);
    Attach();
  }
  StartThread();
}

void Line::Stop() {
  StopThread();
  std::lock_guard guard(ends_.mutex);
  Detach();
}

std::unique_ptr<Conversation> Line::Open() {
  auto host = std::make_unique<Conversation>();
  host->id = host->now.connection = ++next_id_;
  if (ends_.recorder) ends_.recorder->Write(host->id, RecordedKind::kOpen);
  return host;
}

void Line::End(Conversation& host, RecordedKind how) {
  if (ends_.recorder) ends_.recorder->Write(host.id, how);
  ends_.device.Leave(host);
}

void Line::Hear(Conversation& host, std::span<const uint8_t> bytes) {
  if (ends_.recorder && !bytes.empty()) ends_.recorder->Write(host.id, RecordedKind::kHost, bytes);
  std::vector<uint8_t>& unheard = host.unheard;
  unheard.insert(unheard.end(), bytes.begin(), bytes.end());
  const size_t taken = ends_.device.Receive(host, unheard.data(), unheard.size());
  unheard.erase(unheard.begin(), unheard.begin() + static_cast<std::ptrdiff_t>(taken));
}

std::span<const uint8_t> Line::Due(Conversation& host) {
  ends_.device.Produce(host);
  const int64_t now = SteadyMilliseconds();
  if (host.out.empty() || now < host.stalled_until) return {};
  const auto due = std::span<const uint8_t>(host.out.front()).subspan(host.sent_of_first);
  if (host.bytes_per_ms == 0) return due;
  const int64_t elapsed = host.paced_at ? now - host.paced_at : 1;
  const int64_t room = std::max<int64_t>(elapsed, 0) * host.bytes_per_ms;
  return due.first(static_cast<size_t>(std::min(room, static_cast<int64_t>(due.size()))));
}

void Line::Sent(Conversation& host, size_t bytes) {
  std::vector<uint8_t>& first = host.out.front();
  if (ends_.recorder)
    ends_.recorder->Write(host.id, RecordedKind::kDevice,
                          std::span<const uint8_t>(first).subspan(host.sent_of_first, bytes));
  ends_.device.stats.bytes_sent += static_cast<int64_t>(bytes);
  if (host.bytes_per_ms > 0) host.paced_at = SteadyMilliseconds();
  host.out_bytes -= bytes;
  host.sent_of_first += bytes;
  if (host.sent_of_first < first.size()) return;
  host.out.pop_front();
  host.sent_of_first = 0;
}

int Line::Delay(Conversation& host) {
  ends_.device.Produce(host);
  if (host.out.empty() && !host.drop_when_sent && !host.reset_when_sent) return -1;
  const int64_t stall = host.stalled_until - SteadyMilliseconds();
  if (stall > 0) return static_cast<int>(std::min<int64_t>(stall, 1 << 30));
  return host.bytes_per_ms > 0 && !host.out.empty() ? 1 : 0;
}

bool Line::Breaks(const Conversation& host) {
  return host.out.empty() && (host.drop_when_sent || host.reset_when_sent) &&
         host.stalled_until <= SteadyMilliseconds();
}

}  // namespace scantk::sim
