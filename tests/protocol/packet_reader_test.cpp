// The framing of scan data: whole, in pieces of every size, cut at every length, damaged.
#include "protocol/packet_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "protocol/command_table.h"
#include "protocol/end_page.h"
#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

struct Reader {
  explicit Reader(std::string bytes = {}) {
    if (!bytes.empty()) script.Read(std::move(bytes));
    channel.Attach(std::make_unique<ScriptedTransport>(script));
  }
  ~Reader() { EXPECT_EQ("", script.TakeFaults()); }

  QrlStatus Read(uint32_t phase, uint32_t wanted, int32_t transfer_type = SL_PACKETIZED2) {
    // As large as wanted and no larger, for the sanitizer to watch.
    std::vector<uint8_t> buffer(wanted);
    uint32_t got = 99;
    const QrlStatus status =
        reader.ReadUnpacketizedData(transfer_type, phase, buffer.data(), wanted, &got, &end);
    EXPECT_LE(got, wanted);
    image.append(reinterpret_cast<const char*>(buffer.data()), got);
    return status;
  }
  // To its end or its first failure.
  QrlStatus ReadPage(uint32_t piece) {
    image.clear();
    QrlStatus status = Read(2, piece);
    while (status == SL_OK && !end) status = Read(3, piece);
    return status;
  }
  QrlStatus EndPageInfo() {
    return GetEndPageInfo(reader, exchange, trace, &aborted, &rows_k, &rows_cmy);
  }

  std::string image;  // what came out
  bool end = false;
  uint32_t aborted = 9, rows_k = 9, rows_cmy = 9;
  Script script;
  TraceLog trace;
  Channel channel{trace};
  Exchange exchange{channel, trace};
  PacketReader reader{channel, trace};
};

// A page of several blocks that has every kind of record, an empty block and a late first record.
std::string BusyPage(const std::string& image) {
  return Block(StartRecord() + DataRecord(image.substr(0, 100)) + DataRecord("")) + Block("") +
         Block("??" + DataRecord(image.substr(100, 60)), 0, 10) +
         Block(DataRecord(image.substr(160)) + EndRecord(26, 13), 0x10);
}

// Catches image bytes lost, doubled or out of order at the border of a read, record or block, and a
// device that is asked for more than the page.
TEST(PacketReader, UnpacksInPiecesOfEverySize) {
  const std::string image = Pattern(260), page = BusyPage(image);
  for (uint32_t piece = 1; piece <= image.size() + 1; ++piece) {
    Reader r(page);
    EXPECT_EQ(SL_OK, r.ReadPage(piece)) << piece;
    EXPECT_EQ(image, r.image) << piece;
    const int reads = r.script.reads;
    EXPECT_EQ(SL_OK, r.Read(3, piece));
    EXPECT_TRUE(r.end);
    EXPECT_EQ(image, r.image);
    EXPECT_EQ(reads, r.script.reads);
    EXPECT_TRUE(r.channel.ExpectsNothing()) << "a drain need not wait";
  }
}

// Catches a broken page that passes for a whole one, a cancel that is told as something else, and
// any record or block read beyond its end.
TEST(PacketReader, EndsAsTheBlocksSay) {
  const std::string data = DataRecord("abc"), end = EndRecord(1, 1);
  const struct {
    const char* what;
    std::string stream;
    QrlStatus status;
    std::string image;
  } cases[] = {
      {"end record alone", Block(end), SL_OK, ""},
      {"no end record in the last block", Block(data, 0x08), SL_OK, "abc"},
      {"flags that say nothing", Block(data, 0x45) + Block(end), SL_OK, "abc"},
      {"what follows the end record", Block(end + data), SL_OK, ""},
      {"aborted, empty", Block("", 0x20, 0), SL_CANCEL, ""},
      {"aborted, with data", Block(data, 0x20), SL_CANCEL, "abc"},
      {"aborted, with end record", Block(data + end, 0x22), SL_CANCEL, "abc"},
      {"first record at the body's end", Block(data, 0x02, 15), SL_OK, ""},
      {"behind the last body", Block(data, 0x10, 16), SL_OK, ""},
      {"behind an aborted body", Block(data, 0x20, 32767), SL_CANCEL, ""},
      {"behind a body in mid-page", Block(data, 0, 99) + Block(data + end), SL_OK, "abc"},
      {"before the body", Block(data, 0, 7), SL_BADRESPONSE, ""},
      {"far before the last body", Block(data, 0x02, -32768), SL_BADRESPONSE, ""},
      {"length of 7, as a last block", Header(7, 8, 0x02), SL_BADRESPONSE, ""},
      {"length of 0", Header(0, 8, 0), SL_BADRESPONSE, ""},
      {"length beyond measure", Header(0xFFFFFFFF, 8, 0), SL_NOMEMORY, ""},
      {"length just beyond the limit", Header(kMaxBlockBytes + 9, 8, 0), SL_NOMEMORY, ""},
      {"unknown record", Block(data + "\3"), SL_BADRESPONSE, "abc"},
      {"record beyond the block", Block(data + DataRecord("ab").substr(0, 5)), SL_BADRESPONSE,
       "abc"},
      {"record head cut", Block(std::string("\1\0\0", 3)), SL_BADRESPONSE, ""},
      {"negative count", Block(std::string("\1\0\xff\xff", 4) + data), SL_BADRESPONSE, ""},
      {"that would stand still", Block(std::string("\1\0\xfc\xff", 4)), SL_BADRESPONSE, ""},
      {"most negative count", Block(std::string("\1\0\0\x80", 4)), SL_BADRESPONSE, ""},
      {"start record cut", Block(std::string(35, '\0')), SL_BADRESPONSE, ""},
      {"end record cut", Block(end.substr(0, 11)), SL_BADRESPONSE, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Reader r(c.stream);
    EXPECT_EQ(c.status, r.ReadPage(1000));
    EXPECT_EQ(c.image, r.image);
    EXPECT_EQ(c.status != SL_BADRESPONSE, r.end);
    EXPECT_EQ(kScanBufferBytes, r.reader.capacity());
    if (c.status != SL_BADRESPONSE) continue;
    EXPECT_EQ(SL_BADRESPONSE, r.Read(3, 1000));  // who reads on meets it again
    EXPECT_FALSE(r.end);
  }
}

TEST(PacketReader, BearsThreeEmptyHeaderReads) {
  for (int empty = 3; empty <= 4; ++empty) {
    Reader r;
    for (int i = 0; i < empty; ++i) r.script.EndRead(i % 2 ? 0 : kIoTimeout);
    if (empty == 3) r.script.Read(Block(DataRecord("abc") + EndRecord(1, 1)));
    EXPECT_EQ(empty == 3 ? SL_OK : SL_SHORTREAD, r.ReadPage(1000));
    EXPECT_TRUE(r.end);
  }
  for (const IoResult dead : {kTransportFailure, IoResult{10058}}) {
    Reader r;
    r.script.EndRead(dead);
    EXPECT_EQ(SL_SHORTREAD, r.ReadPage(1000));
    EXPECT_EQ(1, r.script.reads) << "a dead connection is not asked again";
  }
}

TEST(PacketReader, CutAtEveryLengthItDeliversWhatCame) {
  const std::string image = Pattern(260), page = BusyPage(image);
  for (size_t length = 0; length < page.size(); ++length) {
    Reader r(page.substr(0, length));
    EXPECT_EQ(SL_SHORTREAD, r.ReadPage(37)) << length;
    EXPECT_TRUE(r.end) << length;
    EXPECT_EQ(image.substr(0, r.image.size()), r.image) << length;
  }
}

// Catches a page that begins with what the last one left, and a buffer that is not the block's.
TEST(PacketReader, PagesOneAfterAnother) {
  const std::string big = Pattern(30000),
                    body = DataRecord(big) + DataRecord(big) + DataRecord(big);
  Reader r(Block(body) + Block(DataRecord("abc"), 0x20) +
           Block(DataRecord("def") + EndRecord(1, 1)));
  EXPECT_EQ(SL_CANCEL, r.ReadPage(62000));
  EXPECT_EQ(big + big + big + "abc", r.image);
  EXPECT_EQ(body.size(), r.reader.capacity());
  EXPECT_EQ(SL_OK, r.ReadPage(10));
  EXPECT_EQ("def", r.image);
  EXPECT_EQ(SL_OK, r.Read(4, 0));
  EXPECT_EQ(0u, r.reader.capacity());
  EXPECT_TRUE(r.reader.HasEndPage()) << "outlives the scan";
  // A device that sends blocks without an end and without an image holds no call for ever.
  std::string stream;
  for (int i = 0; i < 70000; ++i) stream += Block("");
  r.script.Read(stream);
  EXPECT_EQ(SL_BADRESPONSE, r.ReadPage(10));
  EXPECT_NE("", r.script.TakeFaults());
}

TEST(PacketReader, PlainTransferAndUnknownTypes) {
  Reader r("abcdef");
  EXPECT_EQ(SL_OK, r.Read(2, 4, 0));
  EXPECT_FALSE(r.end);
  EXPECT_EQ(SL_SHORTREAD, r.Read(3, 4, 0));
  EXPECT_EQ("abcdef", r.image);
  EXPECT_EQ(SL_BADPARAM, r.Read(2, 4, 1));
}

TEST(EndPage, CountsRowsAsTheModelStoresThem) {
  const struct {
    const char* model;
    uint32_t stored, rows;
  } cases[] = {{"ZM-14", 4800, 4800},   {"ZM-16", 0xC0120000, 0xC0120000},
               {"ZM-13", 4800, 4800},   {"ZM-13", 0xC0120000, 4800},
               {"ZM-13", 55000, 55000}, {"ZM-13", 55001, 0xD9D60000},
               {"ZM-12", 4800, 0},      {"stranger", 4800, 0}};
  for (const auto& c : cases) {
    Reader r;
    EXPECT_EQ(SL_NULLRESPONSE, r.EndPageInfo());
    for (const bool aborted : {false, true}) {
      r.script.Read(aborted ? Block(EndRecord(0, c.stored), 0x20) : Block(EndRecord(c.stored, 0)));
      r.ReadPage(10);
      r.script.AskText("19E", c.model);
      EXPECT_EQ(SL_OK, r.EndPageInfo());
      EXPECT_EQ(c.rows, aborted ? r.rows_cmy : r.rows_k) << c.model << " " << c.stored;
      EXPECT_EQ(0u, aborted ? r.rows_k : r.rows_cmy);
      EXPECT_EQ(aborted ? 1u : 0u, r.aborted);
    }
    r.script.FailWrite("\x1b*s19E", kTransportFailure);
    EXPECT_EQ(SL_BADACCESS, r.EndPageInfo());
    r.reader.ForgetEndPage();
    EXPECT_EQ(SL_NULLRESPONSE, r.EndPageInfo());
  }
}

}  // namespace
}  // namespace scantk::test
