// What carries a page's bytes, used by hand: the yardstick for the toolkit's reads on each medium.
#ifndef SCANTK_BENCH_BARE_LINE_H_
#define SCANTK_BENCH_BARE_LINE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace scantk::bench {

// Everything that fails throws std::runtime_error. Closed by its destructor.
class BareLine {
 public:
  virtual ~BareLine() = default;
  virtual void Send(const std::string& bytes) = 0;
  // What one receive, read or read request brings; at least one byte.
  virtual size_t Receive(uint8_t* bytes, size_t size) = 0;
};

// The line to the device at `place`: an address for the network, the device's file for USB and DOT4
// (T_IO_NETWORK, T_IO_USB, T_IO_DOT4).
std::unique_ptr<BareLine> OpenBareLine(uint32_t io_type, const std::string& place);

}  // namespace scantk::bench

#endif  // SCANTK_BENCH_BARE_LINE_H_
