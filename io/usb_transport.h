// The transport for devices on USB: a device file, open from OpenIO to CloseIO; each read and write
// is one transfer.
#ifndef SCANTK_IO_USB_TRANSPORT_H_
#define SCANTK_IO_USB_TRANSPORT_H_

#include <cstdint>

#include "io/file_transport.h"

namespace scantk {

class UsbTransport : public FileTransport {
 public:
  ~UsbTransport() override;

  // Opens the device file `name`; once a name is kept, that one, and null will do. A file that is
  // open stays as it is. E_INVALIDARG without any name, or the system's error as a result code.
  IoResult OpenIO(const char* name) override;
  IoResult ConnectToIO() override;
  // What the device sent in one transfer; kIoTimeout when nothing came for a read time-out.
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override;
  // The whole buffer, within 30 seconds.
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                     Overlapped* overlapped) override;
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                  uint32_t output_length, uint32_t* returned) override;
  IoResult DisConnectFromIO() override;
  IoResult CloseIO() override;

 private:
  IoResult OpenUSB();
  void TraceRead(IoResult hr, const void* buffer, uint32_t wanted, uint32_t got);
  void TraceWrite(IoResult hr, const char* text, uint32_t length, uint32_t written);
};

}  // namespace scantk

#endif  // SCANTK_IO_USB_TRANSPORT_H_
