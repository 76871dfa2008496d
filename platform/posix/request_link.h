// Device-control requests over a local socket: the form that platform/device_file.h describes, sent
// and received as far as it goes without waiting.
#ifndef SCANTK_PLATFORM_POSIX_REQUEST_LINK_H_
#define SCANTK_PLATFORM_POSIX_REQUEST_LINK_H_

#include <cstdint>
#include <string>

#include "platform/device_file.h"
#include "platform/error_codes.h"

namespace scantk {

// One thread at a time, one request at a time. Does not own the socket.
class RequestLink {
 public:
  // Begins a request, whose buffers stay valid until it is done or cancelled.
  void Begin(int socket, const DeviceRequest& request);
  // Moves what can be moved. True when the request is done: Error and Returned tell how.
  bool Advance(int socket);
  // What to poll for until then.
  short WantedEvents() const;
  // Forgets the request under way. Its answer, when it comes, is dropped.
  void Cancel();

  uint32_t Error() const { return error_; }
  uint32_t Returned() const { return returned_; }

 private:
  bool Send(int socket);
  bool Receive(int socket);
  bool TakeAnswerHead();
  bool Break();
  bool FinishAnswer();

  std::string outgoing_;  // what is left to send before the data buffer
  size_t sent_ = 0;       // of outgoing_ and the data buffer behind it
  const uint8_t* data_out_ = nullptr;
  size_t data_out_size_ = 0;

  uint8_t head_[8] = {};  // of the answer
  size_t head_size_ = 0;  // received of it
  uint8_t* data_in_ = nullptr;
  uint32_t data_in_size_ = 0;
  uint32_t reply_size_ = 0;
  uint32_t reply_received_ = 0;

  // Answers of cancelled requests that come before ours, with the largest reply each may have.
  std::string stale_limits_;
  bool under_way_ = false;
  bool broken_ = false;
  uint32_t error_ = error::kGenFailure;
  uint32_t returned_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_REQUEST_LINK_H_
