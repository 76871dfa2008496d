// Blocks and records of a page and the drain after it, and answers to inquiries, from a device that
// sends what it likes.
//
// Input: size of the host's reads, which reads of the device are cut (2 bytes), when the host stops
// (in reads), stream; the stream is taken for a page, and for answers.
#include "fuzz/fuzz_input.h"
#include "protocol/command_table.h"
#include "protocol/flush.h"
#include "protocol/packet_reader.h"
#include "tests/doubles/scripted_transport.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

// Read number i is cut in half and runs out of time when bit i % 16 of `cut_reads` is set. What is
// written changes nothing.
class CutTransport : public test::ScriptedTransport {
 public:
  CutTransport(test::Script& script, uint16_t cut_reads)
      : ScriptedTransport(script), script_(script), cut_reads_(cut_reads) {}
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override {
    const bool cut = cut_reads_ >> script_.reads % 16 & 1;
    *length >>= cut;
    const IoResult result = ScriptedTransport::ReadData(buffer, length, overlapped);
    return cut ? kIoTimeout : result;
  }

 private:
  const test::Script& script_;
  const uint16_t cut_reads_;
};

// An engine's parts, and what they talk to.
struct Parts {
  Parts(const std::vector<uint8_t>& stream, uint16_t cut_reads) {
    script.Read({stream.begin(), stream.end()});
    channel.Attach(std::make_unique<CutTransport>(script, cut_reads));
  }
  test::Script script;
  TraceLog trace;
  Channel channel{trace};
  Exchange exchange{channel, trace};
  PacketReader reader{channel, trace};
  Flush flush{channel, exchange, reader, trace};
};

struct Page {
  std::vector<uint8_t> image;
  QrlStatus status = SL_OK;
  int32_t flushed = 0;
};

Page ReadPage(const std::vector<uint8_t>& stream, uint16_t cut_reads, uint32_t wanted, int reads) {
  constexpr QrlStatus kLegal[] = {SL_OK,        SL_BADRESPONSE, SL_BADPARAM,
                                  SL_SHORTREAD, SL_NOMEMORY,    SL_CANCEL};
  Parts parts(stream, cut_reads);
  PacketReader& reader = parts.reader;
  Page page;
  uint32_t phase = kScanStarted;
  reader.ForgetEndPage();
  std::vector<uint8_t> buffer(wanted);
  for (bool ended = false; !ended && page.status == SL_OK && reads > 0; --reads) {
    uint32_t got = 0;
    page.status =
        reader.ReadUnpacketizedData(SL_PACKETIZED2, phase, buffer.data(), wanted, &got, &ended);
    phase = kScanTransferring;
    Require(got <= wanted, "no more than wanted");
    Require(std::count(std::begin(kLegal), std::end(kLegal), page.status) == 1,
            "a read answers a legal status");
    Require(got == wanted || ended || page.status != SL_OK, "a read is whole or the last one");
    Require(reader.capacity() <= std::max(kMaxBlockBytes, kScanBufferBytes), "memory is bounded");
    page.image.insert(page.image.end(), buffer.begin(), buffer.begin() + got);
  }
  page.flushed = parts.flush.FlushTheScanner();
  uint32_t got = 0;
  bool ended = false;
  Require(reader.ReadUnpacketizedData(SL_PACKETIZED2, kScanIdle, nullptr, 0, &got, &ended) == SL_OK,
          "a page can always be left");
  return page;
}

void Converse(const std::vector<uint8_t>& stream, uint16_t cut_reads) {
  Parts parts(stream, cut_reads);
  Exchange& exchange = parts.exchange;
  int32_t value = -2, length = -2;
  Require(exchange.InquireNumber(SL_X_RESOLUTION, 'R', &value) == SL_OK || value == 0,
          "a failed inquiry has no value");
  std::vector<char> text(41, 'x');
  exchange.InquireString(SL_MODEL_ID, text.data(), 40, &length);
  Require(length >= -1 && std::find(text.begin(), text.end(), '\0') != text.end(),
          "a text is terminated");
  std::vector<uint8_t> block(40);
  exchange.InquireBytes(SL_SPF_DATA, block.data(), 40, &length);
  exchange.InquireModel(&value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const auto wanted = static_cast<uint32_t>(input.PieceSize());
  const auto cut_reads = static_cast<uint16_t>(input.Number(2));
  const int reads = input.Byte();
  const std::vector<uint8_t> stream = input.Rest(size_t{1} << 16);

  Converse(stream, cut_reads);
  const Page page = ReadPage(stream, cut_reads, wanted, reads);
  Require(
      page.flushed >= 0 && page.image.size() + static_cast<size_t>(page.flushed) <= stream.size(),
      "nothing comes that was not sent");
  // How much a host wants at a time changes nothing in what it gets.
  constexpr int kAllReads = 1 << 17;
  const Page small = ReadPage(stream, cut_reads, wanted, kAllReads);
  const Page large = ReadPage(stream, cut_reads, 1 << 16, kAllReads);
  Require(small.image == large.image, "the size of reads does not change the image");
  Require(small.status == large.status, "the size of reads does not change the status");
  return 0;
}
