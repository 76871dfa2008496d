// The device-control requests of an IEEE 1284.4 (DOT4) stack as bytes: what a host sends is read
// and checked against the layout, what it gets is put together.
#ifndef SCANTK_SIMULATOR_DOT4_RECORDS_H_
#define SCANTK_SIMULATOR_DOT4_RECORDS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace scantk::sim {

// The requests, with their control codes.
enum class Dot4Code : uint32_t {
  kOpenChannel = 0x3A2006,
  kCloseChannel = 0x3A2008,
  kRead = 0x3A200E,
  kWrite = 0x3A2011,
  kCreateSocket = 0x3A2022,
  kDestroySocket = 0x3A202A,
};

// "create-socket" and so on; "request 0x..." for a code that there is not.
std::string Dot4Name(uint32_t code);

// A request as it came over the local socket.
struct Dot4Request {
  uint32_t code = 0;
  uint32_t reply_limit = 0;    // largest size of the reply
  std::vector<uint8_t> input;  // the header of 16 bytes, then what the request sends

  uint32_t Number(size_t at) const;  // four bytes of the input, which must be there
};

// What is wrong with the request's layout, for people; empty when every byte is as it must be.
// Whether its socket and channel exist is another matter.
std::string Dot4Fault(const Dot4Request& request);

// The request's own channel (to close, read or write).
uint32_t Dot4Channel(const Dot4Request& request);
// The socket of a request that opens a channel or destroys a socket.
uint8_t Dot4Socket(const Dot4Request& request);

// The reply to a request that creates a socket: its record with the socket in its place.
std::vector<uint8_t> Dot4Created(const Dot4Request& request, uint8_t socket);
// The reply to a request that opens a channel.
std::vector<uint8_t> Dot4Opened(const Dot4Request& request, uint32_t channel);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_DOT4_RECORDS_H_
