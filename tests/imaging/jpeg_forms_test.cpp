// What may stand in a stream, in which form, and what may not.
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

using Change = std::function<void(JpegParts&)>;

// A stream that differs from the usual one.
Bytes Changed(const Change& change) {
  static const Bytes original = EncodeJpeg(kUsual);
  JpegParts parts(original);
  change(parts);
  return parts.Join();
}

void Insert(JpegParts& parts, uint8_t marker, const Bytes& body) {
  parts.head.insert(parts.head.begin(), {marker, body});
}
Bytes Hex(const std::string& digits) {
  Bytes bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}
Bytes Lines(int lines) {
  return {0xFF, 0xDC, 0, 4, 0, static_cast<uint8_t>(lines), 0xFF, 0xD9};
}

TEST(JpegForms, TellsWhatItIs) {
  const auto told = [](const Change& change) {
    Harness harness({BuiltIn(XFORM_JPEG_DECODE, {})}, Traits(1, 8));
    ImageTraits traits{};
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_NEED_INPUT);
    harness.Feed(Changed(change));
    harness.Drain();
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_FINISHED);
    return traits;
  };
  const ImageTraits usual = told([](JpegParts&) {});
  EXPECT_EQ(std::tuple(usual.pixelsPerRow, usual.componentsPerPixel, usual.bitsPerPixel,
                       usual.rowCount, usual.xDpi),
            std::tuple(50, 3, 24, 41, 300 << 16));
  const std::tuple<uint8_t, Bytes, int, int> resolutions[] = {
      {0xE0, {'j', 'F', 'i', 'F', 0, 1, 2, 1, 0, 200, 1, 44, 0, 0}, 200, 300},
      {0xE0, {'J', 'F', 'I', 'F', 0, 1, 2, 2, 0, 100, 0, 100, 0, 0}, 254, 254},
      {0xE1, {'G', '3', 'F', 'A', 'X', 0, 7, 0xCA, 0, 200, 0, 0}, 200, 200},
      {0xE0, {'J', 'F', 'I'}, 300, 300}};
  for (const auto& [marker, body, x, y] : resolutions) {
    const ImageTraits traits =
        told([&, marker = marker, &body = body](JpegParts& p) { Insert(p, marker, body); });
    EXPECT_EQ(std::pair(traits.xDpi, traits.yDpi), std::pair(x << 16, y << 16));
  }
}

TEST(JpegForms, AcceptsEveryFormOfAStream) {
  const std::pair<const char*, Change> forms[] = {
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
      {"lines before the scan",
       [](JpegParts& p) {
         Insert(p, 0xDC, {0, 9});
       }},
      {"fewer lines than the frame says",
       [](JpegParts& p) {
         p.Body(0xC0)[1] = 0x70;
         p.tail = Lines(41);
       }},
      {"restart markers, stray bytes and lines never coded behind the scan",
       [](JpegParts& p) {
         p.tail = {0xFF, 0xD1, 0xFF, 0xD1, 0x12, 0xFF, 0, 0xFF, 0xFF, 0};
         Append(p.tail, {0xFF, 0xDC, 0, 4, 0, 99, 0xFF, 0xD7, 7, 0xFF, 0xD9});
       }},
      {"rows coded beyond the height",
       [](JpegParts& p) {
         Append(p.scan, {0xFF, 0xD6});
         Append(p.scan, Bytes(p.scan.begin(), p.scan.begin() + 200));
       }},
      {"a comment, superfluous tables and a second image behind the scan",
       [](JpegParts& p) {
         p.tail = JpegParts::Segment{0xFE, Bytes(40000, 0xFF)}.Whole();
         Append(p.tail, JpegParts::Segment{0xC4, p.Body(0xC4)}.Whole());
         Append(p.tail, {0xFF, 0xD9, 0xFF, 0xD8});
       }},
  };
  const Bytes expected = DecodeByLibrary(EncodeJpeg(kUsual));
  for (const auto& [name, change] : forms) {
    for (const size_t piece : {size_t{1}, size_t{1000}, SIZE_MAX}) {
      const Outcome outcome = DecodeJpeg(Changed(change), By(piece));
      EXPECT_EQ(outcome.result, IP_FINISHED) << name;
      EXPECT_TRUE(outcome.output == expected) << name;
    }
  }
}

TEST(JpegForms, EndsWhereTheNumberOfLinesSays) {
  const Bytes original = EncodeJpeg(kUsual);
  const auto expect = [](const JpegParts& parts, int rows, const std::string& what) {
    const Outcome outcome = DecodeJpeg(parts.Join());
    EXPECT_EQ(outcome.result, rows ? IP_FINISHED : kMalformed) << ::testing::PrintToString(what);
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
  JpegParts tiny(EncodeJpeg({8, 8}));
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
  const auto refuses = [](const auto& what, const Change& change) {
    for (const size_t piece : {size_t{1}, SIZE_MAX}) {
      EXPECT_EQ(DecodeJpeg(Changed(change), By(piece)).result, kMalformed)
          << ::testing::PrintToString(what);
    }
  };
  // Marker of the segment, place in it, value. Frame: 12 bits; five components, none; factors 0 and
  // 5, more than ten blocks; quantisation tables 4 and one that is not there; width 0. Scan: an
  // unknown component, one twice; Huffman tables that are not there, 4; a spectrum from 1, to 62;
  // successive approximation. A restart where none is due, and without an interval.
  for (const char* byte :
       {"C0000C", "C00505", "C00500", "C00720", "C00752", "C00744", "C00804", "C00803", "C00400",
        "DA0109", "DA0300", "DA0223", "DA0240", "DA0701", "DA083E", "DA0901", "DD0103", "DD0100"}) {
    refuses(byte, [in = Hex(byte)](JpegParts& p) { p.Body(in[0])[in[1]] = in[2]; });
  }
  // Huffman tables: over-subscribed by one code, without symbols, of 257 codes, half a one, class
  // 2. Quantisation: half a table, precision 2. An interval of one byte; hierarchical, expansion.
  const std::string zeros(28, '0');
  Bytes many = Hex("00" + zeros + "02FF");
  many.resize(17 + 257);
  const std::pair<uint8_t, std::vector<Bytes>> segments[] = {
      {0xC4, {Hex("0002" + zeros + "01010203"), Hex("00" + zeros + "0009"), many, Bytes(10)}},
      {0xC4, {Hex("2002" + zeros + "000102")}},
      {0xDB, {Bytes(64), Bytes(129, 0x20)}},
      {0xDD, {Bytes(1)}},
      {0xDE, {Bytes(20)}},
      {0xDF, {Bytes(1)}}};
  for (const auto& [marker, bodies] : segments) {
    for (const Bytes& body : bodies)
      refuses(body, [&, m = marker](JpegParts& p) { Insert(p, m, body); });
  }
  // Marker in the scan, what stands there instead: out of order, the first not RST0, lost, doubled,
  // behind stray bytes, EOI inside a row.
  for (const char* words : {"D1FFD2", "D0FFD1", "D1", "D1FFD1FFD1", "D11234FFD1", "D0FFD9"}) {
    refuses(words, [in = Hex(words)](JpegParts& p) {
      const uint8_t code[] = {0xFF, in[0]};
      const auto at = std::search(p.scan.begin(), p.scan.end(), code, code + 2);
      p.scan.insert(p.scan.erase(at, at + 2), in.begin() + 1, in.end());
    });
  }
  // Behind it: another scan, another frame, a long DNL, a length of 1.
  for (const char* tail :
       {"FFDA0008010100003F00", "FFC00008010100003F00", "FFDC0005002900FFD9", "FFFE0001FFD9"}) {
    refuses(tail, [&](JpegParts& p) { p.tail = Hex(tail); });
  }
  refuses("short frame", [](JpegParts& p) { p.Body(0xC0).pop_back(); });
  refuses("two frames", [](JpegParts& p) { Insert(p, 0xC0, Bytes(p.Body(0xC0))); });
  refuses("scan of one component", [](JpegParts& p) { p.Body(0xDA) = {1, 0, 0, 0, 63, 0}; });
  refuses("empty scan", [](JpegParts& p) { p.Body(0xDA).clear(); });
  refuses("more tables than are kept", [](JpegParts& p) {
    for (int i = 0; i < 260; ++i) Insert(p, 0xDB, Bytes(65, 1));
  });
  refuses("no code", [](JpegParts& p) { std::fill_n(p.scan.begin() + 4, 40, 0xFE); });
  refuses("nothing but zeros: every code of one bit is a run of 16", [](JpegParts& p) {
    for (auto& [marker, body] : p.head) {
      if (marker != 0xC4 || body[0] < 16) continue;
      body = {body[0], 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0};
    }
    p.scan.assign(400, 0);
  });
  for (const int frame : {0xC2, 0xC3, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB, 0xCC, 0xCD, 0xCF}) {
    refuses(frame, [&](JpegParts& p) {
      std::ranges::find(p.head, 0xC0, &JpegParts::Segment::marker)->marker =
          static_cast<uint8_t>(frame);
    });
  }
  // Beginnings: nothing, no SOI, SOI twice, restart marker, EOI, other bytes, stuffing, short
  // lengths.
  const Bytes original = EncodeJpeg(kUsual);
  for (const char* words : {"", "FFD9", "FFD8FFD8", "FFD8FFD0", "FFD8FFD9", "FFD800", "FFD8FF00",
                            "FFD8FFFE0000", "FFD8FFFE0001"}) {
    Bytes stream = Hex(words);
    stream.insert(stream.end(), original.begin() + 2, original.end());
    EXPECT_EQ(DecodeJpeg(stream).result, kMalformed) << words;
  }
}

}  // namespace
}  // namespace scantk::testing
