#include "simulator/network_line.h"

#include <algorithm>

namespace scantk::sim {
namespace {

constexpr size_t kReadBytes = 65536;
constexpr int kBuffersPerTurn = 32;  // then the other connections and the device's owner get theirs

}  // namespace

NetworkLine::NetworkLine(const LineEnds& ends, std::string address, uint16_t port, int most_hosts)
    : Line(ends), address_(std::move(address)), port_(port), most_hosts_(most_hosts) {}

void NetworkLine::Attach() {
  Detach();
  listener_ = ListenOn(address_, port_);
}

void NetworkLine::Detach() {
  for (Connection& connection : connections_) Close(connection, RecordedKind::kDrop);
  listener_.Reset();
}

int NetworkLine::OpenConnections() const {
  return static_cast<int>(std::count_if(
      connections_.begin(), connections_.end(),
      [](const Connection& connection) { return connection.socket && connection.counted; }));
}

int NetworkLine::Watch(std::vector<Watched>* watched) {
  int wait = -1;
  std::erase_if(connections_, [](const Connection& connection) { return !connection.socket; });
  watched->push_back({.file = listener_.Get(), .reads = true});
  for (Connection& connection : connections_) {
    const int delay = Delay(*connection.host);
    if (delay > 0) wait = wait < 0 ? delay : std::min(wait, delay);
    watched->push_back({.file = connection.socket.Get(),
                        .reads = Listens(*connection.host),
                        .writes = delay == 0});
  }
  return wait;
}

void NetworkLine::Serve(std::span<const Watched> watched) {
  // The old connections first: one that has gone makes room for the next.
  for (size_t i = 1; i < watched.size(); ++i)
    if (connections_[i - 1].socket) Serve(connections_[i - 1], watched[i]);
  if (!watched[0].readable || !listener_) return;
  if (Socket socket = Accept(listener_)) Greet(std::move(socket));
}

void NetworkLine::Greet(Socket socket) {
  Connection connection{std::move(socket), Open()};
  connection.counted = ends_.device.Greet(*connection.host, OpenConnections() >= most_hosts_);
  connections_.push_back(std::move(connection));
}

void NetworkLine::Serve(Connection& connection, const Watched& found) {
  Conversation& host = *connection.host;
  if (!Listens(host) && found.ended)
    Close(connection, RecordedKind::kGone);  // without reading, its end would never be seen
  else if (found.readable || found.ended)
    Receive(connection);
  if (connection.socket) Send(connection);
  if (connection.socket && !host.unheard.empty()) Hear(host, {});
}

void NetworkLine::Receive(Connection& connection) {
  uint8_t bytes[kReadBytes];
  for (int turn = 0; turn < kBuffersPerTurn && connection.host->unheard.empty(); ++turn) {
    const int got = sim::Receive(connection.socket, bytes, sizeof bytes);
    if (got == kNothingNow) return;
    if (got <= 0) return Close(connection, RecordedKind::kGone);
    Hear(*connection.host, {bytes, static_cast<size_t>(got)});
  }
}

void NetworkLine::Send(Connection& connection) {
  Conversation& host = *connection.host;
  for (int turn = 0; turn < kBuffersPerTurn; ++turn) {
    const auto due = Due(host);
    if (due.empty()) break;
    const int sent = sim::Send(connection.socket, due);
    if (sent == kNothingNow) return;
    if (sent == kBroken) return Close(connection, RecordedKind::kGone);
    Sent(host, static_cast<size_t>(sent));
  }
  if (Breaks(host))
    Close(connection, host.reset_when_sent ? RecordedKind::kReset : RecordedKind::kDrop);
}

void NetworkLine::Close(Connection& connection, RecordedKind how) {
  if (!connection.socket) return;
  End(*connection.host, how);
  if (how == RecordedKind::kReset)
    ResetAndClose(std::move(connection.socket));
  else if (how == RecordedKind::kDrop)
    EndAndClose(std::move(connection.socket));
  else
    connection.socket.Reset();
}

}  // namespace scantk::sim
