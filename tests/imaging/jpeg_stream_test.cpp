// The decoder's conduct: pieces of every size, what may stand in a stream and what may not, and
// input that lies. Comparisons of samples are next door.
#include <gtest/gtest.h>

#include <functional>

#include "imaging/cpu.h"
#include "imaging/jpeg_decode.h"
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

constexpr IpResult kMalformed = IP_INPUT_ERROR | IP_FATAL_ERROR;

// 4:2:0, restart markers, a picture of 50x41 in 4x3 MCUs.
JpegRecipe Usual() {
  JpegRecipe recipe{50, 41, {{2, 2}, {1, 1}, {1, 1}}};
  recipe.restart = 2;
  return recipe;
}

// Input by pieces of this size.
Chunks By(size_t piece) {
  Chunks chunks;
  chunks.input = [piece] { return piece; };
  chunks.output = [] { return 5000; };
  return chunks;
}

void Append(Bytes& to, const Bytes& more) {
  to.insert(to.end(), more.begin(), more.end());
}

// The operations without a pipeline.
class Ops {
 public:
  explicit Ops(int64_t keep_sampling = 0) {
    EXPECT_EQ(kJpegDecodeOps.open(&instance_), IP_FINISHED);
    const ImageTraits traits = Traits(1, 8);
    const int64_t params[IP_MAX_PARAMS] = {keep_sampling};
    EXPECT_EQ(kJpegDecodeOps.setInputTraits(instance_, &traits), IP_FINISHED);
    EXPECT_EQ(kJpegDecodeOps.setParams(instance_, params), IP_FINISHED);
  }
  ~Ops() { kJpegDecodeOps.close(instance_); }

  IpResult Header(const Bytes& stream) {
    stream_ = stream;
    ImageTraits in{};
    uint64_t next = 0;
    const IpResult result = kJpegDecodeOps.getActualTraits(instance_, stream_.size(),
                                                           stream_.data(), &used, &next, &in, &out);
    at_ += used;
    return result;
  }

  // Hands over `count` bytes, -1: all that are left; 0: says that there are no more.
  IpResult Convert(ptrdiff_t count = -1) {
    const size_t left = stream_.size() - at_;
    const size_t given = count < 0 ? left : std::min(left, static_cast<size_t>(count));
    Bytes row(4096);
    uint64_t next = 0, position = 0;
    const IpResult result =
        kJpegDecodeOps.convert(instance_, given, count == 0 ? nullptr : stream_.data() + at_, &used,
                               &next, row.size(), row.data(), &produced, &position);
    EXPECT_LE(used, given);
    at_ += used;
    output.insert(output.end(), row.begin(), row.begin() + static_cast<ptrdiff_t>(produced));
    return result;
  }

  void* instance() { return instance_; }
  ImageTraits out{};
  size_t used = 0, produced = 0;
  Bytes output;

 private:
  void* instance_ = nullptr;
  Bytes stream_;
  size_t at_ = 0;
};

TEST(JpegStream, EveryChunkSizeGivesTheSame) {
  JpegRecipe large{300, 211, {{2, 1}, {1, 1}, {1, 1}}};
  large.content = Content::kNoise;
  large.restart = 5;
  large.quality = 90;
  JpegRecipe whole = large;
  whole.restart = 0;
  for (const JpegRecipe& recipe : {Usual(), large, whole}) {
    const Bytes stream = EncodeJpeg(recipe);
    const Bytes expected = DecodeByLibrary(stream);
    for (const size_t in : {1, 2, 13, 1823, 3649, 17000, 62000}) {
      for (const size_t out : {1, 149, 900, 64000}) {
        if (in * out < 13 && stream.size() > 5000) continue;
        Chunks chunks;
        chunks.input = [in] { return in; };
        chunks.output = [out] { return out; };
        const Outcome outcome = DecodeJpeg(stream, chunks);
        EXPECT_EQ(outcome.result, IP_FINISHED) << recipe << " " << in << " " << out;
        ASSERT_TRUE(outcome.output == expected) << recipe << " " << in << " " << out;
      }
    }
    const Outcome random = DecodeJpeg(stream, {Chunks::Random(5000, 1), Chunks::Random(99, 2)});
    EXPECT_TRUE(random.output == expected);
  }
}

TEST(JpegStream, TellsWhatItIs) {
  JpegParts parts(EncodeJpeg(Usual()));
  Ops plain;
  EXPECT_EQ(plain.Header(parts.Join()), IP_FINISHED | IP_NEED_INPUT);
  EXPECT_EQ(plain.out.pixelsPerRow, 50);
  EXPECT_EQ(plain.out.componentsPerPixel, 3);
  EXPECT_EQ(plain.out.bitsPerPixel, 24);
  EXPECT_EQ(plain.out.rowCount, 41);
  EXPECT_EQ(plain.out.xDpi, 300);
  size_t bytes = 0, in = 0, out = 0;
  EXPECT_EQ(kJpegDecodeOps.getHeaderSize(plain.instance(), &bytes), IP_FINISHED);
  EXPECT_EQ(kJpegDecodeOps.getBufferSizes(plain.instance(), &in, &out), IP_FINISHED);
  EXPECT_EQ(bytes, 17000u);
  EXPECT_EQ(in, 3648u);
  EXPECT_EQ(out, 150u);
  EXPECT_EQ(kJpegDecodeOps.reserved(plain.instance()), IP_FATAL_ERROR);
  EXPECT_EQ(kJpegDecodeOps.newPage(plain.instance()), IP_FINISHED);
  EXPECT_EQ(kJpegDecodeOps.newPage(nullptr), IP_FATAL_ERROR);

  // Resolutions, in any unit.
  const auto dpi_with = [&](uint8_t marker, const Bytes& body) {
    JpegParts with = parts;
    with.head.insert(with.head.begin(), {marker, body});
    Ops ops;
    EXPECT_EQ(ops.Header(with.Join()), IP_FINISHED | IP_NEED_INPUT);
    return std::pair(ops.out.xDpi, ops.out.yDpi);
  };
  EXPECT_EQ(dpi_with(0xE0, {'j', 'F', 'i', 'F', 0, 1, 2, 1, 0, 200, 1, 44, 0, 0}),
            std::pair(200 << 16, 300 << 16));
  EXPECT_EQ(dpi_with(0xE0, {'J', 'F', 'I', 'F', 0, 1, 2, 2, 0, 100, 0, 100, 0, 0}),
            std::pair(254 << 16, 254 << 16));
  EXPECT_EQ(dpi_with(0xE1, {'G', '3', 'F', 'A', 'X', 0, 7, 0xCA, 0, 200, 0, 0}),
            std::pair(200 << 16, 200 << 16));
  EXPECT_EQ(dpi_with(0xE0, {'J', 'F', 'I'}), std::pair(300, 300));
}

TEST(JpegStream, AnswersCallByCall) {
  const Bytes stream = EncodeJpeg({8, 9, {{1, 1}}});  // an MCU a row: one is decoded a call
  Ops ops;
  ASSERT_EQ(ops.Header(stream), IP_FINISHED | IP_NEED_INPUT);
  for (int row = 0; row < 9; ++row) {
    const IpResult last = row == 7 || row == 8 ? IP_NEED_INPUT : 0;
    EXPECT_EQ(ops.Convert(), IP_ROW_IN | IP_ROW_OUT | last) << row;
    EXPECT_EQ(ops.produced, 8u);
  }
  EXPECT_EQ(ops.Convert(), IP_ROW_IN | IP_NEED_INPUT | IP_PAGE_BREAK);
  EXPECT_EQ(ops.Convert(0), IP_FINISHED);
  EXPECT_EQ(ops.Convert(0), IP_FINISHED);
  EXPECT_EQ(ops.output, DecodeByLibrary(stream));

  Ops behind;  // what follows the image is taken and ignored
  Bytes more = stream;
  Append(more, Bytes(5000, 0xD9));
  ASSERT_EQ(behind.Header(more), IP_FINISHED | IP_NEED_INPUT);
  while (!(behind.Convert() & IP_PAGE_BREAK)) {
  }
  EXPECT_EQ(behind.Convert(), IP_ROW_IN | IP_NEED_INPUT);
  EXPECT_EQ(behind.used, 5000u);
  EXPECT_EQ(behind.Convert(0), IP_FINISHED);

  Ops early;
  size_t none = 0;
  EXPECT_EQ(early.Convert(0), IP_FATAL_ERROR);
  EXPECT_EQ(kJpegDecodeOps.getBufferSizes(early.instance(), &none, &none), IP_FATAL_ERROR);
}

TEST(JpegStream, GivesSamplesAsTheyAreCoded) {
  const Bytes stream = EncodeJpeg({37, 21, {{2, 2}, {1, 1}, {1, 2}}});
  const std::vector<Bytes> planes = PlanesByLibrary(stream);
  Bytes expected;
  for (ptrdiff_t y = 0; y < 21; ++y) {
    const auto row = [&](size_t plane, ptrdiff_t at, ptrdiff_t bytes) {
      expected.insert(expected.end(), planes[plane].begin() + at * bytes,
                      planes[plane].begin() + (at + 1) * bytes);
    };
    row(0, y, 37);
    if (y % 2 == 0) row(1, y / 2, 19);
    row(2, y, 19);
  }
  EXPECT_TRUE(DecodeJpeg(stream, {}, 1).output == expected);
}

TEST(JpegStream, AcceptsEveryFormOfAHeader) {
  const Bytes original = EncodeJpeg(Usual());
  const Bytes expected = DecodeByLibrary(original);
  const std::pair<const char*, std::function<void(JpegParts&)>> forms[] = {
      {"comments and applications with markers inside",
       [](JpegParts& p) {
         p.head.insert(p.head.begin(), {0xFE, {0xFF, 0xDA, 0xFF, 0xD9}});
         p.head.insert(p.head.begin() + 1, {0xEE, Bytes(14000, 0xFF)});
         p.head.insert(p.head.begin() + 2, {0x02, {}});
       }},
      {"fill bytes before every marker",
       [](JpegParts& p) {
         Bytes scan;
         for (size_t i = 0; i < p.scan.size(); ++i) {
           const bool marker = p.scan[i] == 0xFF && p.scan[i + 1] != 0;
           if (marker) Append(scan, Bytes(3, 0xFF));
           scan.push_back(p.scan[i]);
         }
         p.scan = scan;
         p.tail = {0xFF, 0xFF, 0xFF, 0xFF, 0xD9};
       }},
      {"tables in one segment, twice",
       [](JpegParts& p) {
         Bytes all;
         for (const auto& segment : p.head) {
           if (segment.marker == 0xC4) Append(all, segment.body);
         }
         p.head.insert(p.head.begin(), {0xC4, all});
       }},
      {"16-bit quantisation",
       [](JpegParts& p) {
         for (auto& segment : p.head) {
           if (segment.marker != 0xDB) continue;
           Bytes wide;
           for (size_t at = 0; at < segment.body.size(); at += 65) {
             wide.push_back(segment.body[at] | 0x10);
             for (size_t i = 1; i < 65; ++i) Append(wide, {0, segment.body[at + i]});
           }
           segment.body = wide;
         }
       }},
      {"other table numbers",
       [](JpegParts& p) {
         for (auto& segment : p.head) {
           if (segment.marker == 0xC4) segment.body[0] |= 2;
           if (segment.marker == 0xDA) segment.body[2] = 0x22;
           if (segment.marker == 0xDA) segment.body[4] = segment.body[6] = 0x33;
         }
       }},
      {"extended sequential", [](JpegParts& p) { p.Find(0xC0).marker = 0xC1; }},
      {"the number of lines behind the scan as well",
       [](JpegParts& p) { p.tail = {0xFF, 0xDC, 0, 4, 0, 41, 0xFF, 0xD9}; }},
      {"the number of lines behind the scan only",
       [](JpegParts& p) {
         p.Find(0xC0).body[1] = p.Find(0xC0).body[2] = 0;
         p.tail = {0xFF, 0xDC, 0, 4, 0, 41, 0xFF, 0xD9};
       }},
      {"fewer lines than the frame says",
       [](JpegParts& p) {
         p.Find(0xC0).body[1] = 0x70;
         p.tail = {0xFF, 0xFF, 0xDC, 0, 4, 0, 41, 0xFF, 0xD9};
       }},
      {"a comment and superfluous tables behind the scan",
       [](JpegParts& p) {
         p.tail = JpegSegmentBytes(0xFE, Bytes(40000, 0xFF));
         Append(p.tail, JpegSegmentBytes(0xC4, p.Find(0xC4).body));
         Append(p.tail, {0xFF, 0xD9, 0xFF, 0xD8});
       }},
  };
  for (const auto& [name, change] : forms) {
    JpegParts parts(original);
    change(parts);
    const Bytes stream = parts.Join();
    for (const size_t piece : {size_t{1}, size_t{1000}, SIZE_MAX}) {
      const Outcome outcome = DecodeJpeg(stream, By(piece));
      EXPECT_EQ(outcome.result, IP_FINISHED) << name;
      EXPECT_TRUE(outcome.output == expected) << name;
    }
  }
}

TEST(JpegStream, EndsWhereTheNumberOfLinesSays) {
  JpegParts parts(EncodeJpeg(Usual()));
  const Bytes all = DecodeByLibrary(parts.Join());
  const auto decode = [&](int frame, int lines) {
    parts.Find(0xC0).body[2] = static_cast<uint8_t>(frame);
    parts.tail = {0xFF, 0xD9};
    if (lines >= 0) parts.tail = {0xFF, 0xDC, 0, 4, 0, static_cast<uint8_t>(lines), 0xFF, 0xD9};
    return DecodeJpeg(parts.Join());
  };
  for (const int lines : {41, 48, 33}) {
    EXPECT_EQ(decode(0, lines).result, IP_FINISHED) << lines;
    EXPECT_EQ(decode(0, lines).output.size(), 150u * static_cast<size_t>(lines));
  }
  EXPECT_EQ(decode(0, 20).output.size(), 150u * 32);  // 32 were given away before it was known
  EXPECT_EQ(decode(0, 20).result, IP_FINISHED);
  EXPECT_EQ(decode(41, 35).output, Bytes(all.begin(), all.begin() + 150 * 35));
  EXPECT_EQ(decode(0, -1).output.size(), 150u * 48);  // nobody told
  EXPECT_EQ(decode(0, 49).result, kMalformed);
  EXPECT_EQ(decode(41, 42).result, kMalformed);
  EXPECT_EQ(decode(41, 0).result, kMalformed);
  EXPECT_EQ(decode(60, -1).result, kMalformed);  // EOI in place of MCUs

  // The last MCU row in less than a byte: gray blocks of 6 bits, one a row.
  JpegParts tiny(EncodeJpeg({8, 8, {{1, 1}}}));
  tiny.Find(0xC0).body[2] = 0;
  // DC 0 (00) and EOB (1010), five times; then ones.
  tiny.scan = {0x28, 0xA2, 0x8A, 0x2B};
  for (const int lines : {40, 33, 41}) {
    tiny.tail = {0xFF, 0xDC, 0, 4, 0, static_cast<uint8_t>(lines), 0xFF, 0xD9};
    const Outcome outcome = DecodeJpeg(tiny.Join());
    EXPECT_EQ(outcome.result, lines <= 40 ? IP_FINISHED : kMalformed) << lines;
    if (lines > 40) continue;
    EXPECT_EQ(outcome.output, Bytes(static_cast<size_t>(8 * lines), 128));
  }
}

TEST(JpegStream, RefusesWhatIsMalformedAtTheHeader) {
  const Bytes original = EncodeJpeg(Usual());
  const auto frame = [](size_t at, uint8_t value) {
    return [=](JpegParts& p) { p.Find(0xC0).body[at] = value; };
  };
  const auto scan = [](size_t at, uint8_t value) {
    return [=](JpegParts& p) { p.Find(0xDA).body[at] = value; };
  };
  const auto extra = [](uint8_t marker, const Bytes& body) {
    return [=](JpegParts& p) { p.head.insert(p.head.begin(), {marker, body}); };
  };
  const std::pair<const char*, std::function<void(JpegParts&)>> faults[] = {
      {"12 bits", frame(0, 12)},
      {"five components", frame(5, 5)},
      {"no component", frame(5, 0)},
      {"factor 0", frame(7, 0x20)},
      {"factor 5", frame(7, 0x52)},
      {"more than ten blocks", frame(7, 0x44)},
      {"one component number twice", frame(9, 0)},
      {"quantisation table 4", frame(8, 4)},
      {"quantisation table that is not there", frame(8, 3)},
      {"width 0", [](JpegParts& p) { p.Find(0xC0).body[3] = p.Find(0xC0).body[4] = 0; }},
      {"short frame", [](JpegParts& p) { p.Find(0xC0).body.pop_back(); }},
      {"two frames", [](JpegParts& p) { p.head.insert(p.head.begin(), p.Find(0xC0)); }},
      {"no frame", [](JpegParts& p) { p.Find(0xC0).marker = 0xEC; }},
      {"scan of unknown component", scan(1, 9)},
      {"scan of one component twice", scan(3, 0)},
      {"Huffman table that is not there", scan(2, 0x23)},
      {"Huffman table 4", scan(2, 0x40)},
      {"spectrum from 1", scan(7, 1)},
      {"spectrum to 62", scan(8, 62)},
      {"successive approximation", scan(9, 1)},
      {"scan of one component of three",
       [](JpegParts& p) { p.Find(0xDA).body = {1, 0, 0, 0, 63, 0}; }},
      {"empty scan", [](JpegParts& p) { p.Find(0xDA).body.clear(); }},
      {"over-subscribed Huffman table",
       extra(0xC4, Bytes{0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3})},
      {"Huffman table without its symbols",
       extra(0xC4, Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 1})},
      {"257 codes", extra(0xC4,
                          [] {
                            Bytes body(17 + 257);
                            body[15] = 2;
                            body[16] = 255;
                            return body;
                          }())},
      {"half a Huffman table", extra(0xC4, Bytes(10))},
      {"Huffman class 2",
       extra(0xC4, Bytes{0x20, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})},
      {"half a quantisation table", extra(0xDB, Bytes(64))},
      {"quantisation precision 2", extra(0xDB, Bytes(129, 0x20))},
      {"interval of one byte", extra(0xDD, Bytes(1))},
      {"lines before the scan", extra(0xDC, Bytes{0, 41})},
      {"hierarchical", extra(0xDE, Bytes(20))},
      {"expansion", extra(0xDF, Bytes(1))},
      {"arithmetic conditions", extra(0xCC, Bytes(2))},
  };
  for (const auto& [name, change] : faults) {
    JpegParts parts(original);
    change(parts);
    Ops ops;
    EXPECT_EQ(ops.Header(parts.Join()), kMalformed) << name;
    EXPECT_EQ(ops.Convert(), IP_FATAL_ERROR) << name;
    EXPECT_EQ(DecodeJpeg(parts.Join()).result, kMalformed) << name;
  }
  for (const uint8_t marker : {0xC2, 0xC3, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCD, 0xCF}) {
    JpegParts parts(original);
    parts.Find(0xC0).marker = marker;
    EXPECT_EQ(Ops().Header(parts.Join()), kMalformed) << static_cast<int>(marker);
  }
  const std::pair<const char*, Bytes> beginnings[] = {
      {"nothing", {}},
      {"no SOI", {0xFF, 0xD9}},
      {"SOI twice", {0xFF, 0xD8, 0xFF, 0xD8}},
      {"restart marker", {0xFF, 0xD8, 0xFF, 0xD0}},
      {"EOI", {0xFF, 0xD8, 0xFF, 0xD9}},
      {"other bytes", {0xFF, 0xD8, 0x00}},
      {"stuffing", {0xFF, 0xD8, 0xFF, 0x00}},
      {"length 0", {0xFF, 0xD8, 0xFF, 0xFE, 0, 0}},
      {"length 1", {0xFF, 0xD8, 0xFF, 0xFE, 0, 1}},
      {"header beyond what is gathered",
       [] {
         Bytes bytes = {0xFF, 0xD8};
         Append(bytes, JpegSegmentBytes(0xFE, Bytes(17000)));
         return bytes;
       }()},
  };
  for (const auto& [name, bytes] : beginnings) {
    Bytes stream = bytes;
    if (!stream.empty()) stream.insert(stream.end(), original.begin() + 2, original.end());
    EXPECT_EQ(DecodeJpeg(stream).result, kMalformed) << name;
  }
}

TEST(JpegStream, RefusesWhatIsMalformedInTheScan) {
  const Bytes original = EncodeJpeg(Usual());
  const auto marker = [](const JpegParts& p, uint8_t code) {
    size_t at = 0;
    while (p.scan[at] != 0xFF || p.scan[at + 1] != code) ++at;
    return at;
  };
  using Change = std::function<void(JpegParts&)>;
  const auto at_restart = [&](uint8_t code, const Bytes& instead) -> Change {
    return [=](JpegParts& p) {
      const auto at = p.scan.begin() + static_cast<ptrdiff_t>(marker(p, code));
      p.scan.insert(p.scan.erase(at, at + 2), instead.begin(), instead.end());
    };
  };
  const auto tail = [](const Bytes& instead) -> Change {
    return [=](JpegParts& p) { p.tail = instead; };
  };
  const std::pair<const char*, Change> faults[] = {
      {"restart out of order", at_restart(0xD1, {0xFF, 0xD2})},
      {"first restart is not RST0", at_restart(0xD0, {0xFF, 0xD1})},
      {"restart lost", at_restart(0xD1, {})},
      {"restart doubled", at_restart(0xD1, {0xFF, 0xD1, 0xFF, 0xD1})},
      {"bytes before a restart", at_restart(0xD1, {0x12, 0x34, 0xFF, 0xD1})},
      {"EOI for a restart", at_restart(0xD1, {0xFF, 0xD9})},
      {"unexpected restart",
       [](JpegParts& p) {
         p.head.insert(p.head.end() - 1, {0xDD, {0, 3}});
       }},
      {"restarts without an interval",
       [](JpegParts& p) {
         p.head.insert(p.head.end() - 1, {0xDD, {0, 0}});
       }},
      {"restart behind the last MCU", tail({0xFF, 0xD5, 0xFF, 0xD9})},
      {"bytes behind the scan", tail({0x12, 0x34, 0xFF, 0xD9})},
      {"bytes between segments", tail({0xFF, 0xFE, 0, 3, 9, 9, 0xFF, 0xD9})},
      {"another scan", tail({0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0})},
      {"another frame", tail({0xFF, 0xC0, 0, 8, 1, 1, 0, 0, 63, 0})},
      {"long DNL", tail({0xFF, 0xDC, 0, 5, 0, 41, 0, 0xFF, 0xD9})},
      {"length 1 behind the scan", tail({0xFF, 0xFE, 0, 1, 0xFF, 0xD9})},
      {"a code that is none", [](JpegParts& p) { std::fill_n(p.scan.begin() + 4, 40, 0xFE); }},
      {"nothing but zeros: runs beyond the block",
       [](JpegParts& p) {  // every code of one bit is a run of 16 zeros
         for (auto& segment : p.head) {
           if (segment.marker != 0xC4 || segment.body[0] >> 4 == 0) continue;
           Bytes body(18);
           body[0] = segment.body[0];
           body[1] = 1;
           body[17] = 0xF0;
           segment.body = body;
         }
         p.scan.assign(400, 0);
       }},
  };
  for (const auto& [name, change] : faults) {
    JpegParts parts(original);
    change(parts);
    for (const size_t piece : {size_t{1}, SIZE_MAX}) {
      EXPECT_EQ(DecodeJpeg(parts.Join(), By(piece)).result, kMalformed) << name;
    }
  }
}

TEST(JpegStream, TruncatedAnywhereGivesItsRowsAndEnds) {
  JpegRecipe recipe = Usual();
  recipe.content = Content::kNoise;
  const Bytes stream = EncodeJpeg(recipe);
  const Bytes expected = DecodeByLibrary(stream);
  const size_t header = stream.size() - JpegParts(stream).scan.size() - 2;
  size_t rows = 0;
  for (size_t size = 0; size < stream.size(); ++size) {
    const Bytes cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size));
    Harness harness({BuiltIn(XFORM_JPEG_DECODE, {0})}, Traits(1, 8), false);
    harness.Feed(cut, By(SIZE_MAX));
    harness.Drain(By(SIZE_MAX));
    Outcome& outcome = harness.outcome();
    if (size < header) {
      ASSERT_EQ(outcome.result, kMalformed) << size;
      continue;
    }
    ASSERT_TRUE(outcome.result & IP_INPUT_ERROR) << size;
    ASSERT_FALSE(outcome.result & IP_FATAL_ERROR) << size;
    ASSERT_GE(outcome.output.size(), rows) << size;
    rows = outcome.output.size();
    ASSERT_TRUE(std::equal(outcome.output.begin(), outcome.output.end(), expected.begin()));
    if (outcome.result & IP_FINISHED) continue;
    outcome.result = 0;  // a caller who asks on hears that it is over
    harness.Drain(By(SIZE_MAX));
    EXPECT_EQ(outcome.result, IP_FINISHED | IP_INPUT_ERROR) << size;
  }
  EXPECT_EQ(rows, expected.size());
}

TEST(JpegStream, SurvivesEveryChangeOfAByte) {
  JpegRecipe recipe{19, 17, {{2, 1}, {1, 1}, {1, 1}}};
  recipe.restart = 1;
  const Bytes stream = EncodeJpeg(recipe);
  const auto check = [](const Bytes& changed) {
    Bytes outputs[2];
    for (const bool plain : {false, true}) {
      ForcePlainPath(plain);
      const Outcome outcome = DecodeJpeg(changed, By(SIZE_MAX));
      ForcePlainPath(false);
      const IpResult legal[] = {IP_FINISHED, IP_INPUT_ERROR, kMalformed,
                                IP_FINISHED | IP_INPUT_ERROR};
      EXPECT_TRUE(std::count(std::begin(legal), std::end(legal), outcome.result) == 1)
          << outcome.result;
      outputs[plain] = outcome.output;
    }
    return outputs[0] == outputs[1];
  };
  for (size_t at = 0; at < stream.size(); ++at) {
    Bytes changed = stream;
    const bool in_table = at > 150 && at + 150 < stream.size();
    for (int step = 1; step < 256; step += in_table ? 37 : 5) {
      changed[at] = static_cast<uint8_t>(stream[at] + step);
      ASSERT_TRUE(check(changed)) << at << " " << step;
    }
  }
}

TEST(JpegStream, HugeHeaderWithLittleDataEndsAtOnce) {
  for (const auto& factors :
       {std::vector<Factors>{{1, 1}}, {{2, 2}, {1, 1}, {1, 1}}, {{1, 4}, {1, 4}, {1, 1}, {1, 1}}}) {
    JpegParts parts(EncodeJpeg({16, 32, factors}));
    std::fill_n(parts.Find(0xC0).body.begin() + 1, 4, 0xFF);
    parts.scan.resize(200, 0);
    parts.tail.clear();
    const Outcome outcome = DecodeJpeg(parts.Join());
    EXPECT_TRUE(outcome.result & IP_INPUT_ERROR);
    EXPECT_EQ(outcome.output.size(), 0u);
  }
}

TEST(JpegStream, CoefficientsUpToTheLastOne) {
  // A block that ends with its 64th coefficient has no EOB; the bits behind it may look like one.
  std::mt19937 random(5);
  for (int round = 0; round < 40; ++round) {
    std::vector<std::vector<int16_t>> blocks(60, std::vector<int16_t>(64));
    for (auto& block : blocks) {
      block[0] = static_cast<int16_t>(random() % 200 - 100);
      for (uint32_t i = random() % 8; i > 0; --i) {
        block[random() % 64] = static_cast<int16_t>(random() % 7 - 3);
      }
      if (random() % 2) block[63] = random() % 2 ? 1 : -1;
      if (random() % 8 == 0) block[62] = static_cast<int16_t>(random() % 900);
    }
    const Bytes stream = EncodeCoefficients(blocks, 1 + round % 3);
    const Bytes expected = DecodeByLibrary(stream);
    for (const bool plain : {true, false}) {
      ForcePlainPath(plain);
      ASSERT_TRUE(DecodeJpeg(stream).output == expected) << round;
      ForcePlainPath(false);
    }
  }
}

// Writes bits, first to last, with stuffing.
class BitWriter {
 public:
  void Put(uint32_t bits, int count) {
    while (--count >= 0) {
      byte_ = byte_ << 1 | (bits >> count & 1);
      if (++filled_ == 8) Flush();
    }
  }
  Bytes Finish() {
    while (filled_ > 0) Put(1, 1);
    return bytes_;
  }

 private:
  void Flush() {
    bytes_.push_back(static_cast<uint8_t>(byte_));
    if (bytes_.back() == 0xFF) bytes_.push_back(0);
    byte_ = 0;
    filled_ = 0;
  }
  uint32_t byte_ = 0;
  int filled_ = 0;
  Bytes bytes_;
};

TEST(JpegStream, LongestMcuIsLegal) {
  for (const bool all_ones : {false, true}) {
    // Ten blocks an MCU; every code has 16 bits and every value all the bits it may have, nearly
    // all of them ones, so that most bytes are stuffed. With the code of ones alone, which no table
    // should have and some have, an MCU takes more than the decoder asks for at a time.
    JpegParts parts(EncodeJpeg({32, 64, {{2, 4}, {1, 1}, {1, 1}}}));
    const uint32_t code = all_ones ? 0xFFFF : 0xFFFE;
    const auto table = [&](uint8_t id, uint8_t symbol) {
      Bytes body(33, 1);  // a code of every length, and another of 16 bits
      body[0] = id;
      body[16] = all_ones ? 2 : 1;
      if (all_ones) body.push_back(1);
      body.back() = symbol;
      return body;
    };
    std::erase_if(parts.head, [](const auto& segment) { return segment.marker == 0xC4; });
    for (const uint8_t id : {0x00, 0x01}) {
      parts.head.insert(parts.head.begin(), {0xC4, table(id, 11)});
      parts.head.insert(parts.head.begin(), {0xC4, table(id | 0x10, 10)});
    }
    BitWriter writer;
    for (int mcu = 0; mcu < 4; ++mcu) {
      for (int block = 0; block < 10; ++block) {
        writer.Put(code, 16);
        writer.Put(0x7FF, 11);
        for (int k = 1; k < 64; ++k) {
          writer.Put(code, 16);
          writer.Put(0x3FF, 10);
        }
      }
    }
    parts.scan = writer.Finish();
    ASSERT_GT(parts.scan.size(), all_ones ? 4u * 4100 : 4u * 3400);
    Bytes outputs[2];
    for (const bool plain : {true, false}) {
      ForcePlainPath(plain);
      for (const size_t piece : {size_t{1}, size_t{1000}, size_t{62000}}) {
        const Outcome outcome = DecodeJpeg(parts.Join(), By(piece));
        EXPECT_EQ(outcome.result, IP_FINISHED) << piece;
        EXPECT_EQ(outcome.output.size(), 32u * 64 * 3);
        outputs[plain] = outcome.output;
      }
      ForcePlainPath(false);
    }
    EXPECT_TRUE(outputs[0] == outputs[1]);
  }
}

}  // namespace
}  // namespace scantk::testing
