// What the two transports over an IEEE 1284.4 (DOT4) stack share: the fields, and Escape.
#ifndef SCANTK_IO_DOT4_TRANSPORT_H_
#define SCANTK_IO_DOT4_TRANSPORT_H_

#include <cstdint>

#include "io/file_transport.h"

namespace scantk {

class Dot4FileTransport : public FileTransport {
 public:
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                  uint32_t output_length, uint32_t* returned) override;

 protected:
  Dot4FileTransport() = default;

  // Opens the device file by the name that is kept. 0, or the system's error number.
  uint32_t OpenFile();

  uint32_t channel_ = 0;   // m_hChannel in the trace; 0: none
  uint8_t socket_id_ = 0;  // m_bSocketId in the trace, that the stack gave out; 0: none
  uint8_t socket_type_ = 1;
  uint32_t buffer_size_ = 128000;
};

}  // namespace scantk

#endif  // SCANTK_IO_DOT4_TRANSPORT_H_
