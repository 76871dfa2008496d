// The network side of a device: it listens, and greets those that connect.
#ifndef SCANTK_SIMULATOR_NETWORK_LINE_H_
#define SCANTK_SIMULATOR_NETWORK_LINE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulator/line.h"

namespace scantk::sim {

class NetworkLine : public Line {
 public:
  // `most_hosts`: one more is greeted as busy.
  NetworkLine(const LineEnds& ends, std::string address, uint16_t port, int most_hosts);

  void Attach() override;
  void Detach() override;
  int OpenConnections() const override;

 private:
  struct Connection {
    Socket socket;
    std::unique_ptr<Conversation> host;
    bool counted = true;  // keeps others out
  };

  int Watch(std::vector<Watched>* watched) override;
  void Serve(std::span<const Watched> watched) override;
  void Greet(Socket socket);
  void Serve(Connection& connection, const Watched& found);
  void Receive(Connection& connection);
  void Send(Connection& connection);
  void Close(Connection& connection, RecordedKind how);

  const std::string address_;
  const uint16_t port_;
  const int most_hosts_;
  Socket listener_;
  std::vector<Connection> connections_;
};

inline MakeLine NetworkLineAt(const std::string& address, uint16_t port, int most_hosts) {
  return [=](const LineEnds& ends) {
    return std::make_unique<NetworkLine>(ends, address, port, most_hosts);
  };
}

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_NETWORK_LINE_H_
