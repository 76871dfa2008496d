// What the two transports over an IEEE 1284.4 (DOT4) stack share: the fields, and Escape.
#ifndef SCANTK_IO_MXVIO_DOT4_H_
#define SCANTK_IO_MXVIO_DOT4_H_

#include <cstdint>

#include "io/mxvio.h"

namespace scantk {

class MXVIO_DOT4 : public mxvio {
 public:
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                  uint32_t output_length, uint32_t* returned) override;

 protected:
  MXVIO_DOT4();

  // Keeps `name` when none is kept. E_INVALIDARG when both are missing.
  IoResult TakeName(const char* name);
  // Opens the device file by the name that is kept. 0, or the system's error number.
  uint32_t OpenFile();

  uint32_t m_hChannel = 0;  // 0: none
  uint8_t m_bSocketId = 0;  // that the stack gave out; 0: none
  uint8_t socket_type_ = 1;
  uint32_t buffer_size_ = 128000;
};

}  // namespace scantk

#endif  // SCANTK_IO_MXVIO_DOT4_H_
