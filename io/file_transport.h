// What the transports over a device file share: the file, the record of its requests, and how long
// one is waited for.
#ifndef SCANTK_IO_FILE_TRANSPORT_H_
#define SCANTK_IO_FILE_TRANSPORT_H_

#include <cstdint>

#include "io/transport.h"
#include "platform/device_file.h"

namespace scantk {

class FileTransport : public Transport {
 public:
  ~FileTransport() override;

 protected:
  FileTransport();

  // Keeps `name` when none is kept. E_INVALIDARG when both are missing.
  IoResult TakeName(const char* name);

  // Ends a file operation that answered false: waits for one that is under way at most `timeout`
  // milliseconds. 0 with *count what it moved; kIoTimeout with *count 0, the operation cancelled;
  // the error as a result code.
  IoResult WaitForIO(Overlapped* record, uint32_t timeout, uint32_t* count);

  DeviceFile file_;        // m_DeviceDefaultDataHandle in the trace
  Overlapped overlapped_;  // for requests
};

}  // namespace scantk

#endif  // SCANTK_IO_FILE_TRANSPORT_H_
