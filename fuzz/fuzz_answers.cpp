// Answers to inquiries: the grammar alone, and exchanges with a device that answers as it likes.
//
// Input: a line with an inquiry, a line with its answer (its first byte the terminator), then what
// the device says to a number inquiry, a text inquiry and a block inquiry.
#include "fuzz/memory_transport.h"
#include "protocol/answer_parser.h"
#include "protocol/exchange.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

void ParseOne(const std::string& inquiry, const std::string& answer, char terminator) {
  const std::vector<char> asked = Terminated(inquiry), answered = Terminated(answer);
  const Answer parsed = ParseAnswer(asked.data(), answered.data(), terminator);
  Require(
      parsed.status == SL_OK || parsed.status == SL_NULLRESPONSE || parsed.status == SL_BADRESPONSE,
      "an answer has one of three statuses");
  Require((parsed.fault != Answer::Fault::kNone) == (parsed.status == SL_BADRESPONSE),
          "a bad response says why");

  const char* end = nullptr;
  const int32_t value = ParseDecimal(answered.data(), &end);
  Require(end >= answered.data() && end < answered.data() + answered.size(),
          "a number ends within its text");
  // strtoll takes blanks and a plus sign, too, and no lone minus sign.
  const char first = answered[answered[0] == '-' ? 1 : 0];
  if (first < '0' || first > '9') {
    Require(value == 0, "no digits, no value");
    return;
  }
  char* reference_end = nullptr;
  const long long reference = std::strtoll(answered.data(), &reference_end, 10);
  Require(reference_end == end, "a number ends behind its last digit");
  Require(value == std::clamp<long long>(reference, INT32_MIN, INT32_MAX),
          "a number is right, or the end of the range");
}

void Converse(std::vector<uint8_t> device) {
  TraceLog trace;
  Channel channel(trace);
  channel.Attach(std::make_unique<MemoryTransport>(std::move(device), 0));
  Exchange exchange(channel, trace);
  int32_t value = -2;
  if (exchange.InquireNumber(SL_X_RESOLUTION, 'R', &value) != SL_OK) {
    Require(value == 0, "a failed inquiry has no value");
  }
  constexpr uint32_t kCapacity = 40;
  int32_t length = -2;
  std::vector<char> text(kCapacity + 1, 'x');
  exchange.InquireString(SL_MODEL_ID, text.data(), kCapacity, &length);
  Require(std::find(text.begin(), text.end(), '\0') != text.end(), "a text is terminated");
  Require(length >= -1, "a text's length is its own or -1");
  std::vector<uint8_t> block(kCapacity);
  exchange.InquireBytes(SL_SPF_DATA, block.data(), kCapacity, &length);
  Require(length >= -1, "a block's length is its own or -1");
  int32_t model = -2;
  exchange.InquireModel(&model);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const std::string inquiry = input.Line();
  const char terminator = static_cast<char>(input.Byte());
  ParseOne(inquiry, input.Line(), terminator);
  Converse(input.Rest());
  return 0;
}
