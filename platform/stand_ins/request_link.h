// Device-control requests over a local socket: the form that platform/device_file.h describes, sent
// and received as far as that goes without waiting.
#ifndef SCANTK_PLATFORM_STAND_INS_REQUEST_LINK_H_
#define SCANTK_PLATFORM_STAND_INS_REQUEST_LINK_H_

#include <cstdint>
#include <string>

#include "platform/device_file.h"

namespace scantk {

// One thread at a time, one request at a time.
class RequestLink {
 public:
  // `socket` stays the caller's and open as long as the link is used.
  explicit RequestLink(int socket) : socket_(socket) {}

  // Begins a request, whose buffers stay valid until it is done or cancelled.
  void Begin(const DeviceRequest& request);
  // Moves what can be moved. True when the request is done: Error and Returned tell how.
  bool Advance();
  // What to poll for until then.
  short WantedEvents() const;
  // Forgets the request under way. Its answer is dropped when it comes.
  void Cancel();

  uint32_t Error() const { return error_; }
  uint32_t Returned() const { return returned_; }

 private:
  enum class Step { kMoved, kWait, kBroken };

  bool AnswerFits() const;
  bool Unsent() const { return sent_ < head_.size() + data_out_size_; }
  Step Send();
  Step Receive();
  Step ReceiveAnswerHead();
  Step ReceiveReply();
  void FinishAnswer();

  const int socket_;
  bool broken_ = false;     // nothing can be told from the bytes on the socket any more
  bool under_way_ = false;  // a request is
  uint32_t stale_ = 0;      // answers of cancelled requests that come before its own

  std::string head_;  // of the request: all but the data buffer that is sent behind it
  const char* data_out_ = nullptr;
  size_t data_out_size_ = 0;
  size_t sent_ = 0;

  uint8_t answer_head_[12] = {};
  size_t answer_head_size_ = 0;  // what has come of it
  uint32_t reply_size_ = 0;      // valid with a whole answer head
  uint32_t reply_received_ = 0;
  char* data_in_ = nullptr;
  uint32_t data_in_size_ = 0;

  uint32_t error_ = 0;
  uint32_t returned_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_REQUEST_LINK_H_
