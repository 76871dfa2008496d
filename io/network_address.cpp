// The address that the network transport connects to.
#include <cstring>

#include "io/network_transport.h"

namespace scantk {
namespace {

constexpr uint32_t kNetworkLoopback = 0x0100007F;  // 127.0.0.1 in network byte order

uint16_t NetworkOrder(uint16_t value) {
  uint8_t bytes[2] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  uint16_t out;
  std::memcpy(&out, bytes, sizeof out);
  return out;
}

}  // namespace

IoResult NetworkTransport::MakeSocketAddress(int family, uint16_t port, SocketAddress* address) {
  trace_->Print(TRACE_API, "MakeSocketAddress entry: Host Addr %s, AddrFamily %d, Port %d",
                DevName(), family, port);
  *address = {};
  address->family = static_cast<uint16_t>(family);
  const HostAddressKind kind =
      name_ ? ClassifyHostAddress(DevName()) : HostAddressKind::kUnsupported;
  IoResult result = E_INVALIDARG;
  if (kind == HostAddressKind::kUnsupported) {
    trace_->Print(TRACE_CLASS_ERROR, "MakeSocketAddress: unsupported address type");
  } else {
    result = ResolveAddress(kind, address);
    address->port = NetworkOrder(port);
  }
  trace_->Print(TRACE_API, "MakeSocketAddress exit: result %d", result);
  return result;
}

IoResult NetworkTransport::ResolveAddress(HostAddressKind kind, SocketAddress* address) {
  uint32_t found = kNoAddress;
  if (kind == HostAddressKind::kHostName) {
    found = TheNetwork().LookUpHost(*name_);
    if (found == kNoAddress) {
      trace_->Print(TRACE_CLASS_ERROR, "MakeSocketAddress: Unable to resolve host name %s: %d",
                    DevName(), TheNetwork().LastSocketError());
    }
  } else if (*name_ == "0.0.0.0") {
    found = 0;
  } else if (*name_ == "127.0.0.1") {
    found = kNetworkLoopback;
  } else {
    found = TheNetwork().ParseDotted(*name_);
  }
  if (found == kNoAddress) return E_INVALIDARG;
  address->address = found;
  return S_OK;
}

}  // namespace scantk
