// The DOT4 transport of systems whose stack moves no data: it opens and closes the device file, and
// every read comes back empty.
#ifndef SCANTK_IO_DOT4_SILENT_TRANSPORT_H_
#define SCANTK_IO_DOT4_SILENT_TRANSPORT_H_

#include <cstdint>

#include "io/dot4_transport.h"

namespace scantk {

class Dot4SilentTransport : public Dot4FileTransport {
 public:
  Dot4SilentTransport() = default;
  ~Dot4SilentTransport() override;

  IoResult OpenIO(const char* name) override;
  IoResult ConnectToIO() override;
  // A time-out as a result code, or 0 for fewer than two bytes; *length 0.
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override;
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                     Overlapped* overlapped) override;
  IoResult DisConnectFromIO() override;
  IoResult CloseIO() override;

 private:
  IoResult RecoverFile();
  void ForgetConnection();
};

}  // namespace scantk

#endif  // SCANTK_IO_DOT4_SILENT_TRANSPORT_H_
