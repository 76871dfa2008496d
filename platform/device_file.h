// Files behind which a device answers: transfers and device-control requests that may finish later,
// each with a record and its event. Operations answer true, or false with the reason in LastError;
// kIoPending there means that the operation is under way and its record tells the rest.
//
// On Linux a device file is one of two things, told apart by what the name leads to:
//  - a character device (the kernel's node for a USB printer-class device, a pseudo-terminal),
//    which moves data and knows no device-control requests;
//  - a local stream socket, on which a small stack of the user's own answers device-control
//    requests and which moves no data otherwise. Numbers are little-endian. A request:
//        u32 control code, u32 size of the input, u32 largest size of the reply, the input
//    where the input is the request's input buffer and behind it, when the request sends its data
//    buffer, that one. Each request is answered, in the order of the requests:
//        u32 error number (0: success), u32 bytes moved, u32 size of the reply, the reply
//    and the reply, no larger than was allowed, goes into the data buffer. Of a write, the bytes
//    moved are those that the stack took; of all else, the reply's size. A stack that breaks this
//    form or closes the socket makes every later request fail with kGenFailure.
#ifndef SCANTK_PLATFORM_DEVICE_FILE_H_
#define SCANTK_PLATFORM_DEVICE_FILE_H_

#include <cstdint>
#include <memory>

#include "platform/semaphore.h"

namespace scantk {

// The record of an operation, with an event of its own: unnamed, reset by hand, initially not
// signalled. It and the operation's buffers stay valid until the operation has finished or was
// cancelled. One operation at a time.
struct Overlapped {
  Overlapped();
  ~Overlapped();
  Overlapped(const Overlapped&) = delete;
  Overlapped& operator=(const Overlapped&) = delete;

  struct State;
  std::unique_ptr<State> state;
  // As that of a request, for a read or a write.
  uint32_t limit = 0;
};

// A device-control request. The data buffer is sent, filled, or both. Of a request that failed the
// filled buffer's content means nothing.
struct DeviceRequest {
  enum class Data : uint8_t { kNone, kSent, kFilled, kSentAndFilled };

  uint32_t code;
  const void* in;
  uint32_t in_size;
  Data direction;
  void* data;
  uint32_t data_size;
  // Milliseconds that the call itself may take, where the system does not leave a request under
  // way; it fails with kTimeout then. 0: as long as the device likes.
  uint32_t limit = 0;
};

// One device file. It is closed (the null handle), open (usable), or an open was tried and failed
// (the invalid handle). Closed by its destructor. One thread at a time, one operation at a time.
class DeviceFile {
 public:
  DeviceFile();
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;
  ~DeviceFile();

  // Opens the existing file `name` for reading and writing, shared with others, closing what was
  // open before. False: the handle is the invalid one, or, without memory for it, the null one.
  bool Open(const char* name);
  // The handle is the null one afterwards. Does not wait for the device.
  void Close();

  bool IsNull() const;
  bool IsInvalid() const;
  bool IsUsable() const;
  // The handle as the trace shows it.
  uintptr_t Number() const;

  // Without a usable handle these fail with kInvalidHandle. A read delivers what the device sent in
  // one transfer, at most `size` bytes; where the system does not tell the end of a transfer, it is
  // over when nothing has followed for two seconds. A wait for a read that times out when a part of
  // the transfer is there delivers that part. A write moves all of `data`.
  bool Read(void* data, uint32_t size, uint32_t* count, Overlapped* record);
  bool Write(const void* data, uint32_t size, uint32_t* count, Overlapped* record);
  // Without a record the call returns when the request has finished.
  bool Control(const DeviceRequest& request, uint32_t* returned, Overlapped* record);
  // Hands over what the system still holds back of what was written.
  bool Flush();

  // Waits for the record's event.
  WaitResult Wait(Overlapped* record, uint32_t milliseconds);
  // What the operation has moved and how it ended. While it is under way: waits for its end, or
  // answers false with kIoIncomplete.
  bool Result(Overlapped* record, uint32_t* count, bool wait);
  // Ends an operation that is under way; its buffers are not touched any more afterwards.
  void Cancel(Overlapped* record);
  static void ResetEvent(Overlapped* record);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_DEVICE_FILE_H_
