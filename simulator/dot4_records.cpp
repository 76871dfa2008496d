#include "simulator/dot4_records.h"

#include <cstdio>

namespace scantk::sim {
namespace {

constexpr size_t kHeaderBytes = 16;
constexpr uint32_t kForEver = 0xFFFFFFFF;
constexpr uint32_t kLongestTimeout = 3600000;  // ms; a host that waits longer has mislaid a byte

struct Form {
  const char* name;
  Dot4Code code;
  uint32_t size;         // in the header; 0 where the transfer's size stands
  uint32_t sent;         // bytes behind the header, when the request is not a transfer
  uint32_t reply_limit;  // the same
};

constexpr Form kForms[] = {
    {"open-channel", Dot4Code::kOpenChannel, 16, 8, 8},
    {"close-channel", Dot4Code::kCloseChannel, 0, 0, 0},
    {"read", Dot4Code::kRead, 0, 0, 0},
    {"write", Dot4Code::kWrite, 0, 0, 0},
    {"create-socket", Dot4Code::kCreateSocket, 56, 56, 56},
    {"destroy-socket", Dot4Code::kDestroySocket, 1, 1, 0},
};

const Form* FindForm(uint32_t code) {
  for (const Form& form : kForms)
    if (static_cast<uint32_t>(form.code) == code) return &form;
  return nullptr;
}

// What a host sends to create the scan socket: socket 4 of the peripheral, no service name, type 1,
// a buffer of 128000 bytes, packets of 250 bytes to the peripheral and of 32000 bytes from it. The
// zero at 52 is where the reply has the socket.
std::vector<uint8_t> ScanSocketRecord() {
  std::vector<uint8_t> record(56);
  record[0] = 4;
  record[42] = 1;
  const uint8_t sizes[] = {0x00, 0xF4, 0x01, 0x00, 0xFA, 0x00, 0x00, 0x7D};
  for (size_t i = 0; i < sizeof sizes; ++i) record[44 + i] = sizes[i];
  return record;
}

std::string Mismatch(const char* what, uint32_t is, uint32_t expected) {
  return std::string(what) + " is " + std::to_string(is) + ", not " + std::to_string(expected);
}

std::string RecordFault(const Dot4Request& request, const std::vector<uint8_t>& expected) {
  for (size_t i = 0; i < expected.size(); ++i)
    if (request.input[kHeaderBytes + i] != expected[i])
      return Mismatch(("byte " + std::to_string(i) + " of the record").c_str(),
                      request.input[kHeaderBytes + i], expected[i]);
  return "";
}

std::string HeaderFault(const Dot4Request& request, const Form& form, bool transfer) {
  const uint32_t channel = request.Number(0);
  const bool of_channel = transfer || form.code == Dot4Code::kCloseChannel;
  if (of_channel == (channel == 0)) return Mismatch("the channel", channel, of_channel);
  if (!transfer && request.Number(4) != form.size)
    return Mismatch("the size", request.Number(4), form.size);
  if (request.Number(8) != 0) return Mismatch("the offset", request.Number(8), 0);
  const uint32_t timeout = request.Number(12);
  if (transfer ? timeout > kLongestTimeout : timeout != kForEver)
    return Mismatch("the time-out", timeout, transfer ? kLongestTimeout : kForEver);
  return "";
}

}  // namespace

std::string Dot4Name(uint32_t code) {
  if (const Form* form = FindForm(code)) return form->name;
  char text[32];
  std::snprintf(text, sizeof text, "request 0x%X", code);
  return text;
}

uint32_t Dot4Request::Number(size_t at) const {
  uint32_t number = 0;
  for (size_t i = 4; i-- > 0;) number = number << 8 | input[at + i];
  return number;
}

std::string Dot4Fault(const Dot4Request& request) {
  const Form* form = FindForm(request.code);
  if (!form) return "there is no such request";
  if (request.input.size() < kHeaderBytes) return "its header is cut short";
  const bool reads = form->code == Dot4Code::kRead;
  const bool writes = form->code == Dot4Code::kWrite;
  std::string fault = HeaderFault(request, *form, reads || writes);
  if (!fault.empty()) return fault;
  const uint32_t size = request.Number(4);
  const size_t sent = writes ? size : form->sent;
  if (request.input.size() - kHeaderBytes != sent)
    return Mismatch("the size of what is sent",
                    static_cast<uint32_t>(request.input.size() - kHeaderBytes),
                    static_cast<uint32_t>(sent));
  const uint32_t limit = reads ? size : form->reply_limit;
  if (request.reply_limit != limit)
    return Mismatch("the room for the reply", request.reply_limit, limit);
  if (form->code == Dot4Code::kCreateSocket) return RecordFault(request, ScanSocketRecord());
  if (form->code == Dot4Code::kOpenChannel)
    return RecordFault(request, {Dot4Socket(request), 0, 0, 0, 0, 0, 0, 0});
  return "";
}

uint32_t Dot4Channel(const Dot4Request& request) {
  return request.Number(0);
}

uint8_t Dot4Socket(const Dot4Request& request) {
  return request.input[kHeaderBytes];
}

std::vector<uint8_t> Dot4Created(const Dot4Request& request, uint8_t socket) {
  std::vector<uint8_t> record(request.input.begin() + kHeaderBytes, request.input.end());
  record[52] = socket;
  return record;
}

std::vector<uint8_t> Dot4Opened(const Dot4Request& request, uint32_t channel) {
  std::vector<uint8_t> record(request.input.begin() + kHeaderBytes, request.input.end());
  for (size_t i = 0; i < 4; ++i) record[4 + i] = static_cast<uint8_t>(channel >> (8 * i));
  return record;
}

}  // namespace scantk::sim
