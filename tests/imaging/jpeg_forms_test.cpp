// What may stand in a stream, in which form, and what may not.
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

// A stream that differs from the usual one.
struct Variant {
  const char* name;
  std::function<void(JpegParts&)> change;

  Bytes Stream() const {
    static const Bytes original = EncodeJpeg(kUsual);
    JpegParts parts(original);
    change(parts);
    return parts.Join();
  }
};

void Insert(JpegParts& parts, uint8_t marker, const Bytes& body) {
  parts.head.insert(parts.head.begin(), {marker, body});
}
Variant Extra(const char* name, uint8_t marker, const Bytes& body) {
  return {name, [=](JpegParts& p) { Insert(p, marker, body); }};
}
Variant Byte(const char* name, uint8_t marker, size_t at, uint8_t value) {
  return {name, [=](JpegParts& p) { p.Body(marker)[at] = value; }};
}
Variant Tail(const char* name, const Bytes& tail) {
  return {name, [=](JpegParts& p) { p.tail = tail; }};
}
// The marker in the scan replaced.
Variant Restart(const char* name, uint8_t marker, const Bytes& instead) {
  return {name, [=](JpegParts& p) {
            const uint8_t code[] = {0xFF, marker};
            const auto at = std::search(p.scan.begin(), p.scan.end(), code, code + 2);
            p.scan.insert(p.scan.erase(at, at + 2), instead.begin(), instead.end());
          }};
}
Bytes Lines(int lines) {
  return {0xFF, 0xDC, 0, 4, 0, static_cast<uint8_t>(lines), 0xFF, 0xD9};
}

TEST(JpegForms, TellsWhatItIs) {
  const auto told = [](const Variant& variant) {
    Harness harness({BuiltIn(XFORM_JPEG_DECODE, {})}, Traits(1, 8));
    ImageTraits traits{};
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_NEED_INPUT);
    harness.Feed(variant.Stream());
    harness.Drain();
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_FINISHED);
    return traits;
  };
  const ImageTraits usual = told({"", [](JpegParts&) {}});
  EXPECT_EQ(usual.pixelsPerRow, 50);
  EXPECT_EQ(usual.componentsPerPixel, 3);
  EXPECT_EQ(usual.bitsPerPixel, 24);
  EXPECT_EQ(usual.rowCount, 41);
  EXPECT_EQ(usual.xDpi, 300 << 16);
  const std::tuple<uint8_t, Bytes, int, int> resolutions[] = {
      {0xE0, {'j', 'F', 'i', 'F', 0, 1, 2, 1, 0, 200, 1, 44, 0, 0}, 200, 300},
      {0xE0, {'J', 'F', 'I', 'F', 0, 1, 2, 2, 0, 100, 0, 100, 0, 0}, 254, 254},
      {0xE1, {'G', '3', 'F', 'A', 'X', 0, 7, 0xCA, 0, 200, 0, 0}, 200, 200},
      {0xE0, {'J', 'F', 'I'}, 300, 300}};
  for (const auto& [marker, body, x, y] : resolutions) {
    const ImageTraits traits = told(Extra("", marker, body));
    EXPECT_EQ(std::pair(traits.xDpi, traits.yDpi), std::pair(x << 16, y << 16));
  }
}

TEST(JpegForms, AcceptsEveryFormOfAStream) {
  const Variant variants[] = {
      {"comments and applications with markers inside, longer than what is gathered",
       [](JpegParts& p) {
         Insert(p, 0x02, {});
         Insert(p, 0xEE, Bytes(65000, 0xFF));
         Insert(p, 0xFE, {0xFF, 0xDA, 0xFF, 0xD9});
         p.head.insert(p.head.end() - 1, {0xE2, Bytes(17001, 0xFF)});
       }},
      {"fill bytes before every marker",
       [](JpegParts& p) {
         Bytes scan;
         for (size_t i = 0; i < p.scan.size(); ++i) {
           if (p.scan[i] == 0xFF && p.scan[i + 1] != 0) Append(scan, Bytes(3, 0xFF));
           scan.push_back(p.scan[i]);
         }
         p.scan = scan;
         p.tail = {0xFF, 0xFF, 0xFF, 0xFF, 0xD9};
       }},
      {"tables in one segment, twice, 16-bit quantisation",
       [](JpegParts& p) {
         Bytes all, wide;
         for (auto& segment : p.head) {
           if (segment.marker == 0xC4) Append(all, segment.body);
           if (segment.marker != 0xDB) continue;
           wide.clear();
           for (size_t i = 0; i < segment.body.size(); ++i) {
             Append(wide,
                    i % 65 ? Bytes{0, segment.body[i]} : Bytes{uint8_t(segment.body[i] | 16)});
           }
           segment.body = wide;
         }
         Insert(p, 0xC4, all);
       }},
      {"other table numbers, extended sequential",
       [](JpegParts& p) {
         for (auto& segment : p.head) {
           if (segment.marker == 0xC4) segment.body[0] |= 2;
           if (segment.marker == 0xC0) segment.marker = 0xC1;
         }
         Bytes& scan = p.Body(0xDA);
         scan[2] = 0x22;
         scan[4] = scan[6] = 0x33;
       }},
      {"component numbers that repeat",
       [](JpegParts& p) {
         p.Body(0xC0)[9] = p.Body(0xC0)[12] = p.Body(0xC0)[6];
         p.Body(0xDA)[3] = p.Body(0xDA)[5] = p.Body(0xC0)[6];
       }},
      Extra("lines before the scan", 0xDC, {0, 9}),
      {"fewer lines than the frame says",
       [](JpegParts& p) {
         p.Body(0xC0)[1] = 0x70;
         p.tail = Lines(41);
       }},
      Tail("restart markers, stray bytes and lines never coded behind the scan",
           {0xFF, 0xD1, 0xFF, 0xD1, 0x12, 0xFF, 0x00, 0xFF, 0xFF, 0x00, 0xFF,
            0xDC, 0,    4,    0,    99,   0xFF, 0xD7, 7,    0xFF, 0xD9}),
      {"rows coded beyond the height",
       [](JpegParts& p) {
         Append(p.scan, {0xFF, 0xD6});
         Append(p.scan, Bytes(p.scan.begin(), p.scan.begin() + 200));
       }},
      {"a comment, superfluous tables and a second image behind the scan",
       [](JpegParts& p) {
         p.tail = JpegSegmentBytes(0xFE, Bytes(40000, 0xFF));
         Append(p.tail, JpegSegmentBytes(0xC4, p.Body(0xC4)));
         Append(p.tail, {0xFF, 0xD9, 0xFF, 0xD8});
       }},
  };
  const Bytes expected = DecodeByLibrary(EncodeJpeg(kUsual));
  for (const Variant& variant : variants) {
    for (const size_t piece : {size_t{1}, size_t{1000}, SIZE_MAX}) {
      const Outcome outcome = DecodeJpeg(variant.Stream(), By(piece));
      EXPECT_EQ(outcome.result, IP_FINISHED) << variant.name;
      EXPECT_TRUE(outcome.output == expected) << variant.name;
    }
  }
}

TEST(JpegForms, EndsWhereTheNumberOfLinesSays) {
  const Bytes original = EncodeJpeg(kUsual);
  const auto expect = [](const JpegParts& parts, int rows, const std::string& what) {
    const Outcome outcome = DecodeJpeg(parts.Join());
    EXPECT_EQ(outcome.result, rows ? IP_FINISHED : kMalformed) << what;
    if (rows == 0) return;
    EXPECT_EQ(outcome.output.size(), 150u * static_cast<size_t>(rows)) << what;
  };
  const std::tuple<int, int, int> cases[] = {
      // lines in the frame and behind the scan, -1: none; rows. 48 are coded.
      {0, 41, 41}, {0, 48, 48}, {0, 33, 33},  {41, 35, 35}, {41, 41, 41}, {41, 0, 0},
      {0, -1, 48}, {0, 49, 48}, {41, 42, 41}, {60, -1, 48}, {0, 20, 32}};  // 32 were given away
  for (const auto& [frame, lines, rows] : cases) {
    JpegParts parts(original);
    parts.Body(0xC0)[2] = static_cast<uint8_t>(frame);
    if (lines >= 0) parts.tail = Lines(lines);
    expect(parts, rows, std::to_string(frame) + " " + std::to_string(lines));
  }
  JpegParts early(original);  // EOI where a restart is due, between MCU rows
  const uint8_t second[] = {0xFF, 0xD1};
  early.scan.erase(std::search(early.scan.begin(), early.scan.end(), second, second + 2),
                   early.scan.end());
  expect(early, 16, "restart");

  // The last MCU row in less than a byte: gray blocks of 6 bits, one a row. DC 0 (00) and EOB
  // (1010), five times; then ones.
  JpegParts tiny(EncodeJpeg({8, 8, {{1, 1}}}));
  tiny.Body(0xC0)[2] = 0;
  tiny.scan = {0x28, 0xA2, 0x8A, 0x2B};
  for (const int lines : {40, 33, 41, 0}) {
    tiny.tail = lines ? Lines(lines) : Bytes{0xFF, 0xD9};
    const Outcome outcome = DecodeJpeg(tiny.Join());
    EXPECT_EQ(outcome.result, IP_FINISHED) << lines;
    EXPECT_EQ(outcome.output, Bytes(lines == 33 ? 264u : 320u, 128)) << lines;
  }
  tiny.scan.clear();  // more rows than any picture has, of a height that nobody told
  for (int i = 0; i < 2200; ++i) Append(tiny.scan, {0x28, 0xA2, 0x8A});
  EXPECT_EQ(DecodeJpeg(tiny.Join()).result, kMalformed);
}

TEST(JpegForms, RefusesWhatIsMalformed) {
  const Bytes table = {0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 2, 3};  // by one code
  Bytes many(17 + 257), none(17), class2 = table;
  many[15] = 2;
  many[16] = 255;
  none[16] = 9;
  class2[0] = 0x20;
  class2[16] = 0;
  class2.pop_back();
  Bytes tables;
  for (int i = 0; i < 260; ++i) Append(tables, JpegSegmentBytes(0xDB, Bytes(65, 1)));
  const Variant variants[] = {
      Byte("12 bits", 0xC0, 0, 12),
      Byte("five components", 0xC0, 5, 5),
      Byte("no component", 0xC0, 5, 0),
      Byte("factor 0", 0xC0, 7, 0x20),
      Byte("factor 5", 0xC0, 7, 0x52),
      Byte("more than ten blocks", 0xC0, 7, 0x44),
      Byte("quantisation table 4", 0xC0, 8, 4),
      Byte("quantisation table that is not there", 0xC0, 8, 3),
      Byte("width 0", 0xC0, 4, 0),
      {"short frame", [](JpegParts& p) { p.Body(0xC0).pop_back(); }},
      {"two frames", [](JpegParts& p) { Insert(p, 0xC0, Bytes(p.Body(0xC0))); }},
      Byte("scan of unknown component", 0xDA, 1, 9),
      Byte("scan of one component twice", 0xDA, 3, 0),
      Byte("Huffman table that is not there", 0xDA, 2, 0x23),
      Byte("Huffman table 4", 0xDA, 2, 0x40),
      Byte("spectrum from 1", 0xDA, 7, 1),
      Byte("spectrum to 62", 0xDA, 8, 62),
      Byte("successive approximation", 0xDA, 9, 1),
      {"scan of one component", [](JpegParts& p) { p.Body(0xDA) = {1, 0, 0, 0, 63, 0}; }},
      {"empty scan", [](JpegParts& p) { p.Body(0xDA).clear(); }},
      Extra("over-subscribed Huffman table", 0xC4, table),
      Extra("Huffman table without its symbols", 0xC4, none),
      Extra("257 codes", 0xC4, many),
      Extra("half a Huffman table", 0xC4, Bytes(10)),
      Extra("Huffman class 2", 0xC4, class2),
      Extra("half a quantisation table", 0xDB, Bytes(64)),
      Extra("quantisation precision 2", 0xDB, Bytes(129, 0x20)),
      Extra("interval of one byte", 0xDD, Bytes(1)),
      Extra("hierarchical", 0xDE, Bytes(20)),
      Extra("expansion", 0xDF, Bytes(1)),
      {"more tables than are kept", [](JpegParts&) {}},
      Restart("restart out of order", 0xD1, {0xFF, 0xD2}),
      Restart("first restart is not RST0", 0xD0, {0xFF, 0xD1}),
      Restart("restart lost", 0xD1, {}),
      Restart("restart doubled", 0xD1, {0xFF, 0xD1, 0xFF, 0xD1}),
      Restart("bytes before a restart", 0xD1, {0x12, 0x34, 0xFF, 0xD1}),
      Restart("EOI for a restart inside a row", 0xD0, {0xFF, 0xD9}),
      Byte("unexpected restart", 0xDD, 1, 3),
      Byte("restarts without an interval", 0xDD, 1, 0),
      Tail("another scan", {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0}),
      Tail("another frame", {0xFF, 0xC0, 0, 8, 1, 1, 0, 0, 63, 0}),
      Tail("long DNL", {0xFF, 0xDC, 0, 5, 0, 41, 0, 0xFF, 0xD9}),
      Tail("length 1 behind the scan", {0xFF, 0xFE, 0, 1, 0xFF, 0xD9}),
      {"a code that is none", [](JpegParts& p) { std::fill_n(p.scan.begin() + 4, 40, 0xFE); }},
      {"nothing but zeros: runs beyond the block",
       [](JpegParts& p) {  // every code of one bit is a run of 16 zeros
         for (auto& segment : p.head) {
           if (segment.marker != 0xC4 || segment.body[0] < 16) continue;
           segment.body.resize(1);
           Append(segment.body, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0});
         }
         p.scan.assign(400, 0);
       }},
  };
  for (const Variant& variant : variants) {
    Bytes stream = variant.Stream();
    if (std::string(variant.name) == "more tables than are kept") {
      stream.insert(stream.begin() + 2, tables.begin(), tables.end());
    }
    for (const size_t piece : {size_t{1}, SIZE_MAX}) {
      EXPECT_EQ(DecodeJpeg(stream, By(piece)).result, kMalformed) << variant.name;
    }
  }
  const Bytes original = EncodeJpeg(kUsual);
  for (const int marker :
       {0xC2, 0xC3, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xCF}) {
    JpegParts parts(original);
    for (auto& segment : parts.head) {
      if (segment.marker == 0xC0) segment.marker = static_cast<uint8_t>(marker);
    }
    EXPECT_EQ(DecodeJpeg(parts.Join()).result, kMalformed) << marker;
  }
  // Beginnings: nothing, no SOI, SOI twice, restart marker, EOI, other bytes, stuffing, short
  // lengths.
  for (const Bytes& beginning : std::vector<Bytes>{{},
                                                   {0xFF, 0xD9},
                                                   {0xFF, 0xD8, 0xFF, 0xD8},
                                                   {0xFF, 0xD8, 0xFF, 0xD0},
                                                   {0xFF, 0xD8, 0xFF, 0xD9},
                                                   {0xFF, 0xD8, 0x00},
                                                   {0xFF, 0xD8, 0xFF, 0x00},
                                                   {0xFF, 0xD8, 0xFF, 0xFE, 0, 0},
                                                   {0xFF, 0xD8, 0xFF, 0xFE, 0, 1}}) {
    Bytes stream = beginning;
    stream.insert(stream.end(), original.begin() + 2, original.end());
    EXPECT_EQ(DecodeJpeg(stream).result, kMalformed) << beginning.size();
  }
}

}  // namespace
}  // namespace scantk::testing
