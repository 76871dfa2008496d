// The transport over an IEEE 1284.4 (DOT4) stack: the device file, a socket that the stack gives
// out, and a channel on it. A lost connection is made again.
#ifndef SCANTK_IO_DOT4_STACK_TRANSPORT_H_
#define SCANTK_IO_DOT4_STACK_TRANSPORT_H_

#include <cstdint>

#include "io/dot4_records.h"
#include "io/dot4_transport.h"

namespace scantk {

//                     OpenDOT4          DOT4CreateSocket         DOT4OpenChannel
//   nothing ------------------> file ------------------> socket ----------------> channel
//      ^                                                                            |
//      +--------------------- CloseDOT4Channel closes what is open -----------------+
//
// CloseDOT4 closes the file alone; a socket that was given out is used again with the next file.
class Dot4StackTransport : public Dot4FileTransport {
 public:
  Dot4StackTransport();
  ~Dot4StackTransport() override;

  // Connects at once, in up to five attempts, each of which may take 50 seconds when the stack
  // refuses a channel. `name` counts when none is kept yet, and may be null otherwise.
  IoResult OpenIO(const char* name) override;
  IoResult ConnectToIO() override;
  // What one request brings; asked again, up to ten times, while it brings nothing. *length tells
  // what came; 0x80070102 when nothing did.
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override;
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                     Overlapped* overlapped) override;
  IoResult DisConnectFromIO() override;
  IoResult CloseIO() override;

 protected:
  // What a request answers, and what follows from it, when the stack was silent for 30 seconds: a
  // stack that hangs is not asked again by the same operation.
  static constexpr IoResult kNoAnswer = error::ToResult(error::kTimeout);

  // --- connecting (dot4_connect.cpp); 0 or a negative result ---
  IoResult OpenDOT4();
  IoResult ConnectToDOT4();
  IoResult CloseDOT4Channel();
  IoResult CloseDOT4();
  IoResult ReConnectToDOT4(int attempts);

  // --- requests (dot4_requests.cpp) ---
  // 0; E_FAIL, or kNoAnswer of what opens something; kNoFile when the file is not open, which is
  // positive, so that who stops at negative results goes on and meets the next request's failure.
  // *socket_id and *channel are as they were unless the result is 0.
  static constexpr IoResult kNoFile = error::kInvalidHandle;
  IoResult DOT4CreateSocket(uint8_t bPsid, const char* service, uint8_t type, uint32_t buffer_size,
                            uint16_t h2p, uint16_t p2h, uint8_t* socket_id);
  IoResult DOT4DestroySocket(uint8_t socket_id);
  IoResult DOT4OpenChannel(uint8_t socket_id, uint32_t* channel);
  IoResult DOT4CloseChannel(uint32_t channel);
  IoResult DOT4Read(uint32_t channel, void* buffer, uint32_t wanted, uint32_t* got,
                    uint32_t timeout);
  IoResult DOT4Write(uint32_t channel, const void* data, uint32_t length, uint32_t* written,
                     uint32_t timeout);

 private:
  IoResult OpenSocketAndChannel();
  IoResult RetryOpenChannel();
  IoResult ReadUntilSomethingComes(void* buffer, uint32_t wanted, uint32_t* got);
  bool Issue(uint32_t code, const dot4::RequestHeader& header, DeviceRequest::Data direction,
             void* data, uint32_t size, uint32_t* moved);
  void TraceCreate(const dot4::CreateRecord& record);
  IoResult OpeningResult(uint32_t code, uint32_t failure);
  void TraceSilence(uint32_t code);
  // Issues a request and waits for it, at most 30 seconds: 0, kIoTimeout or the error.
  IoResult IssueAndWait(uint32_t code, const dot4::RequestHeader& header,
                        DeviceRequest::Data direction, void* data, uint32_t size, uint32_t* moved);
};

}  // namespace scantk

#endif  // SCANTK_IO_DOT4_STACK_TRANSPORT_H_
