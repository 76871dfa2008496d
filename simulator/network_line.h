// The network side of a device: a thread that listens, and carries bytes between hosts and what
// answers them.
#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/recording.h"
#include "simulator/responder.h"

namespace scantk::sim {

/// A socket that listens on a local IPv4 address; it does not block. Throws
/// std::invalid_argument (no address) or std::runtime_error (in use).
int ListenOn(const std::string& address, uint16_t port);
/// Closes a socket so that its far end finds the connection reset.
void ResetAndClose(int socket);

class NetworkLine {
 public:
  /// Listens at once, as ListenOn does, and serves from Start to the destructor. `device` and
  /// `recorder`, which may be null, are used with `mutex` held.
  NetworkLine(const std::string& address, uint16_t port, int most_hosts, Responder& device,
              Recorder* recorder, std::mutex& mutex);
  /// Drops every connection.
  ~NetworkLine();
  NetworkLine(const NetworkLine&) = delete;
  NetworkLine& operator=(const NetworkLine&) = delete;

  void Start();
  /// Connections that keep others out. Called with the mutex held.
  int OpenConnections() const;

 private:
  struct Connection;

  void Run();
  static short Wanted(const Connection& connection, int* timeout);
  void Accept();
  void Serve(Connection& connection, short events);
  void Receive(Connection& connection);
  void Hear(Connection& connection);
  void Send(Connection& connection);
  void CloseNow(Connection& connection, RecordedKind how);
  void Sweep();
  void Record(const Connection& connection, RecordedKind kind, std::span<const uint8_t> bytes = {});

  const int most_hosts_;
  Responder& device_;
  Recorder* const recorder_;
  std::mutex& mutex_;
  int listener_ = -1;
  int wake_[2] = {-1, -1};
  std::atomic<bool> stop_{false};
  int64_t next_id_ = 0;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::thread thread_;
};

}  // namespace scantk::sim
