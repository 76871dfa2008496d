// A transport whose device is a piece of memory. Writes vanish; what comes never depends on them.
#ifndef SCANTK_FUZZ_MEMORY_TRANSPORT_H_
#define SCANTK_FUZZ_MEMORY_TRANSPORT_H_

#include <cstring>
#include <utility>

#include "fuzz/fuzz_input.h"
#include "io/mxvio.h"

namespace scantk::fuzz {

class MemoryTransport : public mxvio {
 public:
  // Read number i is cut in half and runs out of time when bit i % 16 of `cut_reads` is set.
  MemoryTransport(std::vector<uint8_t> bytes, uint16_t cut_reads)
      : bytes_(std::move(bytes)), cut_reads_(cut_reads) {}

  IoResult OpenIO(const char*) override { return 0; }
  IoResult ConnectToIO() override { return 0; }
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped*) override {
    const bool cut = cut_reads_ >> (reads_++ % 16) & 1;
    const size_t wanted = *length;
    const size_t count = std::min(cut ? wanted / 2 : wanted, bytes_.size() - taken_);
    if (count > 0) std::memcpy(buffer, bytes_.data() + taken_, count);
    taken_ += count;
    *length = static_cast<uint32_t>(count);
    return count == wanted ? 0 : kIoTimeout;
  }
  IoResult WriteData(const void*, uint32_t length, uint32_t* written, Overlapped*) override {
    *written = length;
    return 0;
  }
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void*, uint32_t,
                  uint32_t*) override {
    return function == GET_TIMEOUTS ? GetTimeouts(buffer, length) : SetTimeouts(buffer, length);
  }
  IoResult DisConnectFromIO() override { return 0; }
  IoResult CloseIO() override { return 0; }

 private:
  std::vector<uint8_t> bytes_;
  uint16_t cut_reads_;
  size_t taken_ = 0;
  unsigned reads_ = 0;
};

}  // namespace scantk::fuzz

#endif  // SCANTK_FUZZ_MEMORY_TRANSPORT_H_
