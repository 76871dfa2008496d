// The framing of scan data: whole, in pieces of every size, cut at every length, damaged in every
// byte.
#include "protocol/packet_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "protocol/command_table.h"
#include "protocol/end_page.h"
#include "tests/protocol/framing_bytes.h"
#include "tests/protocol/scripted_transport.h"

namespace scantk::test {
namespace {

// What came out of a page, read until its end or its first failure.
struct Outcome {
  QrlStatus status = SL_OK;
  std::string image;
  bool end = false;
  int calls = 0;
};

struct Reader {
  explicit Reader(std::string bytes = {}) {
    if (!bytes.empty()) script.Read(std::move(bytes));
    channel.Attach(std::make_unique<ScriptedTransport>(script));
  }

  QrlStatus Read(uint32_t phase, uint32_t wanted, std::string* image, bool* end,
                 int32_t transfer_type = SL_PACKETIZED2) {
    // As large as wanted and no larger, for the sanitizer to watch.
    std::vector<uint8_t> buffer(wanted);
    uint32_t got = 99;
    const QrlStatus status =
        reader.ReadUnpacketizedData(transfer_type, phase, buffer.data(), wanted, &got, end);
    EXPECT_LE(got, wanted);
    image->assign(reinterpret_cast<const char*>(buffer.data()), got);
    return status;
  }

  Outcome ReadPage(uint32_t piece) {
    Outcome outcome;
    std::string image;
    do {
      outcome.status = Read(outcome.calls == 0 ? 2 : 3, piece, &image, &outcome.end);
      outcome.image += image;
      ++outcome.calls;
    } while (outcome.status == SL_OK && !outcome.end);
    return outcome;
  }

  Script script;
  TraceLog trace;
  Channel channel{trace};
  Exchange exchange{channel, trace};
  PacketReader reader{channel, trace};
};

// A page of several blocks that has every kind of record, an empty block and a late first record.
std::string BusyPage(std::string* image) {
  *image = Pattern(260);
  return Block(StartRecord() + DataRecord(image->substr(0, 100)) + DataRecord("")) + Block("") +
         Block("??" + DataRecord(image->substr(100, 60)), 0, 10) +
         Block(DataRecord(image->substr(160, 100)) + EndRecord(26, 13), 0x10);
}

TEST(PacketReader, UnpacksInPiecesOfEverySize) {
  std::string image;
  const std::string page = BusyPage(&image);
  for (uint32_t piece = 1; piece <= image.size() + 1; ++piece) {
    Reader r(page);
    const Outcome outcome = r.ReadPage(piece);
    EXPECT_EQ(SL_OK, outcome.status) << piece;
    EXPECT_TRUE(outcome.end);
    EXPECT_EQ(image, outcome.image) << piece;
    EXPECT_TRUE(r.reader.HasEndPage());
    EXPECT_EQ("", r.script.Faults());
    // After the end: nothing more, and no read of the device.
    const int reads = r.script.reads;
    std::string more;
    bool end = false;
    EXPECT_EQ(SL_OK, r.Read(3, piece, &more, &end));
    EXPECT_TRUE(end);
    EXPECT_EQ("", more);
    EXPECT_EQ(reads, r.script.reads);
  }
}

TEST(PacketReader, EndsAsTheBlocksSay) {
  const std::string data = DataRecord("abc");
  const std::string end = EndRecord(1, 1);
  const struct {
    const char* what;
    std::string stream;
    QrlStatus status;
    std::string image;
    bool end;
  } cases[] = {
      {"end record alone", Block(end), SL_OK, "", true},
      {"no end record in the last block", Block(data, 0x08), SL_OK, "abc", true},
      {"every flag of the end", Block(data, 0x02 | 0x08 | 0x10), SL_OK, "abc", true},
      {"flags that say nothing", Block(data, 0x45) + Block(end), SL_OK, "abc", true},
      {"aborted, empty", Block("", 0x20, 0), SL_CANCEL, "", true},
      {"aborted, with data", Block(data, 0x20), SL_CANCEL, "abc", true},
      {"aborted, with end record", Block(data + end, 0x22), SL_CANCEL, "abc", true},
      {"what follows the end record", Block(end + data), SL_OK, "", true},
      {"unknown record", Block(data + "\3"), SL_BADRESPONSE, "abc", false},
      {"record beyond the block", Block(data + std::string("\1\0\4\0abc", 7)), SL_BADRESPONSE,
       "abc", false},
      {"record head cut", Block(std::string("\1\0\0", 3)), SL_BADRESPONSE, "", false},
      {"negative count", Block(std::string("\1\0\xff\xff", 4) + data), SL_BADRESPONSE, "", false},
      {"negative count that would hit a record",
       Block(std::string("\1\0\xfd\xff", 4) + std::string(33, '\0')), SL_BADRESPONSE, "", false},
      {"negative count that would stand still", Block(std::string("\1\0\xfc\xff", 4)),
       SL_BADRESPONSE, "", false},
      {"most negative count", Block(std::string("\1\0\0\x80", 4)), SL_BADRESPONSE, "", false},
      {"start record cut", Block(std::string(35, '\0')), SL_BADRESPONSE, "", false},
      {"end record cut", Block(end.substr(0, 11)), SL_BADRESPONSE, "", true},
      {"first record before the body", Block(data, 0, 7), SL_BADRESPONSE, "", true},
      {"far before", Block(data, 0, -32768), SL_BADRESPONSE, "", true},
      {"at the body's end", Block(data, 0x02, 15), SL_OK, "", true},
      {"behind the body", Block(data, 0x02, 16), SL_BADRESPONSE, "", true},
      {"length of 7", Header(7, 8, 0), SL_BADRESPONSE, "", true},
      {"length of 0", Header(0, 8, 0), SL_BADRESPONSE, "", true},
      {"length beyond measure", Header(0xFFFFFFFF, 8, 0), SL_NOMEMORY, "", true},
      {"length just beyond the limit", Header(kMaxBlockBytes + 9, 8, 0), SL_NOMEMORY, "", true},
  };
  for (const auto& c : cases) {
    Reader r(c.stream);
    const Outcome outcome = r.ReadPage(1000);
    EXPECT_EQ(c.status, outcome.status) << c.what;
    EXPECT_EQ(c.image, outcome.image) << c.what;
    EXPECT_EQ(c.end, outcome.end) << c.what;
    EXPECT_EQ("", r.script.Faults()) << c.what;
    EXPECT_EQ(kScanBufferBytes, r.reader.capacity()) << c.what;
  }
}

TEST(PacketReader, BearsThreeEmptyHeaderReads) {
  for (int empty = 3; empty <= 4; ++empty) {
    Reader r;
    for (int i = 0; i < empty; ++i) r.script.EndRead(i % 2 ? 0 : kIoTimeout);
    if (empty == 3) r.script.Read(Block(DataRecord("abc") + EndRecord(1, 1)));
    const Outcome outcome = r.ReadPage(1000);
    EXPECT_EQ(empty == 3 ? SL_OK : SL_SHORTREAD, outcome.status);
    EXPECT_EQ(empty == 3 ? "abc" : "", outcome.image);
    EXPECT_TRUE(outcome.end);
    EXPECT_EQ("", r.script.Faults());
  }
  // A dead connection is not asked again.
  for (const IoResult dead : {kTransportFailure, IoResult{10058}}) {
    Reader r;
    r.script.EndRead(dead);
    EXPECT_EQ(SL_SHORTREAD, r.ReadPage(1000).status);
    EXPECT_EQ(1, r.script.reads);
  }
}

TEST(PacketReader, CutAtEveryLengthItDeliversWhatCame) {
  std::string image;
  const std::string page = BusyPage(&image);
  for (size_t length = 0; length < page.size(); ++length) {
    Reader r(page.substr(0, length));
    const Outcome outcome = r.ReadPage(37);
    EXPECT_EQ(SL_SHORTREAD, outcome.status) << length;
    EXPECT_TRUE(outcome.end) << length;
    EXPECT_EQ(image.substr(0, outcome.image.size()), outcome.image) << length;
    EXPECT_EQ("", r.script.Faults()) << length;
  }
}

TEST(PacketReader, DamagedInAnyByteItEndsWithAStatusOfItsOwn) {
  std::string image;
  const std::string page = BusyPage(&image);
  const std::set<QrlStatus> possible = {SL_OK, SL_BADRESPONSE, SL_SHORTREAD, SL_NOMEMORY,
                                        SL_CANCEL};
  std::set<QrlStatus> seen;
  for (size_t at = 0; at < page.size(); ++at) {
    for (const int value : {0x00, 0x01, 0x02, 0x07, 0x20, 0x7F, 0x80, 0xFF}) {
      std::string damaged = page;
      damaged[at] = static_cast<char>(value);
      Reader r(damaged);
      const Outcome outcome = r.ReadPage(64);
      EXPECT_EQ(1u, possible.count(outcome.status)) << at << " " << value;
      EXPECT_LE(outcome.image.size(), page.size()) << at << " " << value;
      EXPECT_LE(r.reader.capacity(), kMaxBlockBytes) << at << " " << value;
      EXPECT_LE(outcome.calls, 20) << at << " " << value;
      seen.insert(outcome.status);
    }
  }
  EXPECT_EQ(possible, seen);
}

TEST(PacketReader, BufferGrowsAndIsReused) {
  const std::string big = Pattern(30000);
  std::string body;
  for (int i = 0; i < 3; ++i) body += DataRecord(big);
  body += StartRecord();
  Reader r(Block(body) + Block(DataRecord(big)) + Block(EndRecord(1, 1)));
  const Outcome outcome = r.ReadPage(62000);
  EXPECT_EQ(big + big + big + big, outcome.image);
  EXPECT_EQ(body.size(), r.reader.capacity());
  std::string none;
  bool end = true;
  EXPECT_EQ(SL_OK, r.Read(4, 0, &none, &end));
  EXPECT_EQ(0u, r.reader.capacity());
  EXPECT_TRUE(r.reader.HasEndPage());  // outlives the scan
  EXPECT_EQ("", r.script.Faults());
}

TEST(PacketReader, ASecondPageBeginsAfresh) {
  Reader r(Block(DataRecord("abc"), 0x20) + Block(DataRecord("def") + EndRecord(1, 1)));
  EXPECT_EQ(SL_CANCEL, r.ReadPage(10).status);
  const Outcome outcome = r.ReadPage(10);
  EXPECT_EQ(SL_OK, outcome.status);
  EXPECT_EQ("def", outcome.image);
}

// A device that sends blocks without an end and without an image holds no call for ever.
TEST(PacketReader, GivesUpOnEndlessEmptyBlocks) {
  std::string stream;
  for (int i = 0; i < 70000; ++i) stream += Block("");
  Reader r(stream);
  EXPECT_EQ(SL_BADRESPONSE, r.ReadPage(10).status);
}

TEST(PacketReader, PlainTransferAndUnknownTypes) {
  Reader r("abcdef");
  std::string image;
  bool end = true;
  EXPECT_EQ(SL_OK, r.Read(2, 4, &image, &end, 0));
  EXPECT_EQ("abcd", image);
  EXPECT_FALSE(end);
  EXPECT_EQ(SL_SHORTREAD, r.Read(3, 4, &image, &end, 0));
  EXPECT_EQ("ef", image);
  r.script.EndRead(kTransportFailure);
  EXPECT_EQ(SL_SHORTREAD, r.Read(3, 4, &image, &end, 0));
  EXPECT_EQ("", image);
  EXPECT_EQ(SL_BADPARAM, r.Read(2, 4, &image, &end, 1));
  EXPECT_EQ(SL_BADPARAM, r.Read(2, 4, &image, &end, -2));
}

TEST(EndPage, CountsRowsAsTheModelStoresThem) {
  const struct {
    const char* model;
    uint32_t stored;
    uint32_t rows;
  } cases[] = {{"ZM-14", 4800, 4800},   {"ZM-16", 0xC0120000, 0xC0120000},
               {"ZM-13", 4800, 4800},   {"ZM-13", 0xC0120000, 4800},
               {"ZM-13", 55000, 55000}, {"ZM-13", 55001, 0xD9D60000},
               {"ZM-12", 4800, 0},      {"stranger", 4800, 0}};
  for (const auto& c : cases) {
    Reader r(Block(EndRecord(c.stored, 0), 0x02));
    uint32_t aborted = 9, rows_k = 9, rows_cmy = 9;
    EXPECT_EQ(SL_NULLRESPONSE,
              GetEndPageInfo(r.reader, r.exchange, r.trace, &aborted, &rows_k, &rows_cmy));
    r.ReadPage(10);
    EXPECT_EQ(SL_BADPARAM,
              GetEndPageInfo(r.reader, r.exchange, r.trace, &aborted, &rows_k, nullptr));
    r.script.AskText("19E", c.model);
    EXPECT_EQ(SL_OK, GetEndPageInfo(r.reader, r.exchange, r.trace, &aborted, &rows_k, &rows_cmy));
    EXPECT_EQ(c.rows, rows_k) << c.model << " " << c.stored;
    EXPECT_EQ(0u, rows_cmy);
    EXPECT_EQ(0u, aborted);
    r.script.FailWrite("\x1b*s19E", kTransportFailure);
    EXPECT_EQ(SL_BADACCESS,
              GetEndPageInfo(r.reader, r.exchange, r.trace, &aborted, &rows_k, &rows_cmy));
    r.reader.ForgetEndPage();
    EXPECT_EQ(SL_NULLRESPONSE,
              GetEndPageInfo(r.reader, r.exchange, r.trace, &aborted, &rows_k, &rows_cmy));
  }
}

}  // namespace
}  // namespace scantk::test
