#include "platform/stand_ins/request_link.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/error_codes.h"
#include "platform/posix/file.h"

namespace scantk {
namespace {

void PutNumber(std::string* bytes, uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) bytes->push_back(static_cast<char>(number >> shift));
}

uint32_t TakeNumber(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
         static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

bool WouldBlock(ssize_t moved) {
  return moved < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

}  // namespace

void RequestLink::Begin(const DeviceRequest& request) {
  const bool sends = request.direction == DeviceRequest::Data::kSent ||
                     request.direction == DeviceRequest::Data::kSentAndFilled;
  const bool fills = request.direction == DeviceRequest::Data::kFilled ||
                     request.direction == DeviceRequest::Data::kSentAndFilled;
  data_out_ = static_cast<const char*>(request.data);
  data_out_size_ = sends ? request.data_size : 0;
  data_in_ = static_cast<char*>(request.data);
  data_in_size_ = fills ? request.data_size : 0;
  head_.clear();
  PutNumber(&head_, request.code);
  PutNumber(&head_, request.in_size + static_cast<uint32_t>(data_out_size_));
  PutNumber(&head_, data_in_size_);
  if (request.in_size > 0) head_.append(static_cast<const char*>(request.in), request.in_size);
  sent_ = 0;
  under_way_ = true;
}

bool RequestLink::Advance() {
  if (!under_way_) return true;
  Step step = Step::kMoved;
  while (under_way_ && step == Step::kMoved && !broken_) {
    const bool sends = Unsent();
    step = sends ? Send() : Step::kWait;
    // The answer to what has just been sent is not there yet: asking for it would cost a call.
    if (sends && step == Step::kMoved && !Unsent() && stale_ == 0) break;
    // Answers that are not ours are taken while we send, so that the stack can go on reading.
    if (step == Step::kWait && (stale_ > 0 || !Unsent())) step = Receive();
    if (step == Step::kBroken) broken_ = true;
  }
  if (broken_) {
    error_ = error::kGenFailure;
    returned_ = 0;
    under_way_ = false;
  }
  return !under_way_;
}

short RequestLink::WantedEvents() const {
  return Unsent() ? POLLIN | POLLOUT : POLLIN;
}

void RequestLink::Cancel() {
  if (!under_way_) return;
  under_way_ = false;
  if (sent_ == 0) return;
  // With half a request sent, the stack would take the next one for its other half.
  if (Unsent()) broken_ = true;
  ++stale_;
}

RequestLink::Step RequestLink::Send() {
  const size_t of_head = std::min(sent_, head_.size());
  const size_t of_data = sent_ - of_head;
  iovec pieces[] = {
      {head_.data() + of_head, head_.size() - of_head},
      {const_cast<char*>(data_out_) + (data_out_size_ ? of_data : 0), data_out_size_ - of_data},
  };
  msghdr message = {};
  message.msg_iov = pieces;
  message.msg_iovlen = data_out_size_ ? 2 : 1;
  const ssize_t moved =
      Uninterrupted([&] { return sendmsg(socket_, &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  if (WouldBlock(moved)) return Step::kWait;
  if (moved < 0) return Step::kBroken;
  sent_ += static_cast<size_t>(moved);
  return Step::kMoved;
}

RequestLink::Step RequestLink::Receive() {
  const Step step = answer_head_size_ < sizeof answer_head_ ? ReceiveAnswerHead() : ReceiveReply();
  const bool whole = answer_head_size_ == sizeof answer_head_ && reply_received_ == reply_size_;
  if (step == Step::kMoved && whole) FinishAnswer();
  return step;
}

// With an answer of ours the reply comes along in the same call, into its place.
RequestLink::Step RequestLink::ReceiveAnswerHead() {
  const size_t left = sizeof answer_head_ - answer_head_size_;
  iovec pieces[] = {{answer_head_ + answer_head_size_, left}, {data_in_, data_in_size_}};
  msghdr message = {};
  message.msg_iov = pieces;
  message.msg_iovlen = stale_ == 0 && data_in_size_ > 0 ? 2 : 1;
  const ssize_t moved = Uninterrupted([&] { return recvmsg(socket_, &message, MSG_DONTWAIT); });
  if (WouldBlock(moved)) return Step::kWait;
  if (moved <= 0) return Step::kBroken;
  const size_t of_head = std::min(static_cast<size_t>(moved), left);
  answer_head_size_ += of_head;
  if (answer_head_size_ < sizeof answer_head_) return Step::kMoved;
  reply_size_ = TakeNumber(answer_head_ + 8);
  reply_received_ = static_cast<uint32_t>(static_cast<size_t>(moved) - of_head);
  const bool fits = stale_ > 0 || (AnswerFits() && reply_received_ <= reply_size_);
  return fits ? Step::kMoved : Step::kBroken;
}

// No more than the caller's buffer holds, and nothing moved into it that did not come.
bool RequestLink::AnswerFits() const {
  const uint32_t moved = TakeNumber(answer_head_ + 4);
  if (reply_size_ > data_in_size_) return false;
  return data_in_size_ > 0 ? moved == reply_size_ : moved <= data_out_size_;
}

RequestLink::Step RequestLink::ReceiveReply() {
  char dropped[4096];
  const size_t left = reply_size_ - reply_received_;
  const bool ours = stale_ == 0;
  char* target = ours ? data_in_ + reply_received_ : dropped;
  const size_t size = ours ? left : std::min(left, sizeof dropped);
  const ssize_t moved = Uninterrupted([&] { return recv(socket_, target, size, MSG_DONTWAIT); });
  if (WouldBlock(moved)) return Step::kWait;
  if (moved <= 0) return Step::kBroken;
  reply_received_ += static_cast<uint32_t>(moved);
  return Step::kMoved;
}

void RequestLink::FinishAnswer() {
  answer_head_size_ = 0;
  if (stale_ > 0) {
    --stale_;
    return;
  }
  error_ = TakeNumber(answer_head_);
  returned_ = TakeNumber(answer_head_ + 4);
  under_way_ = false;
}

}  // namespace scantk
