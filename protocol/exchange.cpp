#include "protocol/exchange.h"

#include <algorithm>

#include "protocol/answer_parser.h"

namespace scantk {
namespace {

// The longest numeric answer that is looked at.
constexpr uint32_t kAnswerBytes = 1199;

// Trace lines show inquiries and answers without their escape byte.
const char* AfterEscape(const char* text) {
  return *text ? text + 1 : text;
}

}  // namespace

QrlStatus Exchange::SendCommand(uint32_t id, int32_t value) {
  value = resolution_.OnCommand(id, value, trace_);
  int32_t cached = 0;
  if (cache_.Lookup(id, kCurrent, &cached) && cached == value) {
    trace_.Print(TRACE_CACHE, "SendCommand: SL_NOM (cached == Value) Command %d cached %d", id,
                 cached);
    return SL_OK;
  }
  const QrlStatus status = Transmit(id, value);
  cache_.ForgetErrorCount();
  return status;
}

QrlStatus Exchange::Transmit(uint32_t id, int32_t value) {
  char command[kCommandBufferSize];
  const size_t length = BuildCommand(id, value, command);
  if (length == 0) return SL_INVALID_REQUEST;
  const int32_t sent = channel_.SendToScanner(command, static_cast<uint32_t>(length));
  if (sent != static_cast<int32_t>(length)) return SL_BADACCESS;
  if (id == SL_RESET) resolution_.Reset();
  NoteSwitch(id, value);
  cache_.Update(id, kCurrent, value);
  return SL_OK;
}

void Exchange::NoteSwitch(uint32_t id, int32_t value) {
  if (id == SL_RESET) switched_on_ = 0;
  switched_on_ = value == 1 ? switched_on_ | SwitchBit(id) : switched_on_ & ~SwitchBit(id);
}

bool Exchange::SendInquiry(const char* inquiry, size_t length) {
  channel_.SetExpectsNothing(false);
  return channel_.SendToScanner(inquiry, static_cast<uint32_t>(length)) ==
         static_cast<int32_t>(length);
}

QrlStatus Exchange::InquireNumber(uint32_t id, char kind, int32_t* value) {
  int32_t answer = 0;
  QrlStatus status = SL_OK;
  if (!cache_.Lookup(id, kind, &answer)) status = AskNumber(id, kind, &answer);
  answer = resolution_.OnAnswer(id, kind, answer, trace_);
  *value = status == SL_OK ? answer : 0;
  return status;
}

QrlStatus Exchange::AskNumber(uint32_t id, char kind, int32_t* value) {
  if (HasTrait(id, kTextAnswer)) return SL_INVALID_REQUEST;
  char inquiry[kInquiryBufferSize];
  const size_t length = BuildInquire(id, kind, inquiry);
  if (length == 0) return SL_INVALID_REQUEST;

  QrlStatus status = SL_BADACCESS;
  if (SendInquiry(inquiry, length)) {
    status = ReceiveResponse(inquiry, value, kNumberEnd);
    if (status != SL_OK) {
      trace_.Print(TRACE_CLASS_ERROR | TRACE_BUFFERS,
                   status == SL_NULLRESPONSE
                       ? " InqNumber ReceiveResponse null but OK: %ld: (5 = null response) "
                       : " InqNumber ReceiveResponse problem: %ld: (2 = bad access) ",
                   status);
    }
  }
  if (status == SL_OK) {
    int32_t model = SL_UNKNOWN;
    if (id == SL_YEXT_PIXEL && InquireModel(&model) == SL_OK && ModelOf(model).vertical_extent != 0)
      *value = ModelOf(model).vertical_extent;
    cache_.Update(id, kind, *value);
  } else if (status != SL_NULLRESPONSE) {
    trace_.Print(TRACE_CLASS_ERROR, "InquireNumber scan problem: status %d Inquire %d Kind %d",
                 status, id, kind);
  }
  return status;
}

QrlStatus Exchange::InquireString(uint32_t id, char* buffer, uint32_t capacity, int32_t* length) {
  uint32_t received = 0;
  const QrlStatus status =
      AskString(id, reinterpret_cast<uint8_t*>(buffer), capacity, length, &received);
  buffer[status == SL_OK ? received : 0] = '\0';
  return status;
}

QrlStatus Exchange::InquireBytes(uint32_t id, uint8_t* buffer, uint32_t capacity, int32_t* length) {
  uint32_t received = 0;
  return AskString(id, buffer, capacity, length, &received);
}

QrlStatus Exchange::AskString(uint32_t id, uint8_t* bytes, uint32_t capacity, int32_t* length,
                              uint32_t* received) {
  trace_.Print(TRACE_FLOW, "InquireString Inquire %d Length %d", id, capacity);
  *length = -1;
  char inquiry[kInquiryBufferSize];
  const size_t count =
      HasTrait(id, kTextAnswer | kTextOrNumberAnswer) ? BuildInquire(id, kCurrent, inquiry) : 0;
  if (count == 0) {
    trace_.Print(TRACE_INFO, "InquireString: BuildInquire not valid string: Inquire %d count %d",
                 id, count);
    return SL_INVALID_REQUEST;
  }
  trace_.Print(TRACE_FLOW, "InquireString: BuildInquireGood Inquire %d count %d String is %s", id,
               count, AfterEscape(inquiry));
  if (!SendInquiry(inquiry, count)) {
    trace_.Print(TRACE_INFO, "InquireString: SendToScanner Failed: Inquire %d count %d", id, count);
    return SL_BADACCESS;
  }
  trace_.Print(TRACE_INFO, "InquireString: SendToScanner Sucess ");

  int32_t announced = 0;
  const QrlStatus status = ReceiveResponse(inquiry, &announced, kStringEnd);
  if (status != SL_OK) return status;
  // No string has a negative length: what it announces can never come.
  if (announced < 0) return SL_BADACCESS;
  *received = std::min(capacity, static_cast<uint32_t>(announced));
  const int32_t got = channel_.RecFromScanner(bytes, *received, kNoTerminator);
  if (got != static_cast<int32_t>(*received)) return SL_BADACCESS;
  // What is left unread would be taken for the next answer.
  const uint32_t rest = static_cast<uint32_t>(announced) - *received;
  if (rest > 0) channel_.DropFromScanner(rest);
  *length = announced;
  return SL_OK;
}

QrlStatus Exchange::ReceiveResponse(const char* inquiry, int32_t* value, char terminator) {
  char text[kAnswerBytes + 1] = {};
  const int32_t count = channel_.RecFromScanner(text, kAnswerBytes, terminator);
  text[std::max(count, 0)] = '\0';
  Answer answer{SL_BADACCESS, 0, Answer::Fault::kNone};
  if (count >= 0) answer = ParseAnswer(inquiry, text, terminator);

  const char* asked = AfterEscape(inquiry);
  const char* answered = AfterEscape(text);
  if (answer.fault == Answer::Fault::kEcho) {
    trace_.Print(TRACE_CLASS_ERROR,
                 count > 0
                     ? "ReceiveResponse() ERROR SL_BADRESPONSE (len >0): IString %s EString %s"
                     : "ReceiveResponse() ERROR SL_BADRESPONSE : IString %s EString %s",
                 asked, answered);
  } else if (answer.fault == Answer::Fault::kEnd) {
    trace_.Print(TRACE_CLASS_ERROR,
                 "ReceiveResponse() ERROR TermChar Problem status %d IString %s EString %s "
                 "*pValue %d",
                 answer.status, asked, answered, answer.value);
  }
  *value = answer.status == SL_OK ? answer.value : 0;
  if (answer.status != SL_OK && count <= 0) {
    trace_.Print(TRACE_CLASS_ERROR, "!ReceiveResponse ERROR: status %d IString %s *pValue %d",
                 answer.status, asked, *value);
  }
  return answer.status;
}

}  // namespace scantk
