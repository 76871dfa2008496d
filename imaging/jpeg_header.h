// What stands before the entropy-coded data of a sequential JPEG stream: a pure parse of bytes.
#ifndef SCANTK_IMAGING_JPEG_HEADER_H_
#define SCANTK_IMAGING_JPEG_HEADER_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

inline constexpr int kJpegMaxComponents = 4;
inline constexpr int kJpegMaxBlocksPerMcu = 10;
inline constexpr int kJpegTables = 4;  // of each kind

enum JpegMarker : uint8_t {
  kJpegTem = 0x01,
  kJpegSof0 = 0xC0,
  kJpegSof1 = 0xC1,
  kJpegSof15 = 0xCF,
  kJpegDht = 0xC4,
  kJpegRst0 = 0xD0,
  kJpegRst7 = 0xD7,
  kJpegSoi = 0xD8,
  kJpegEoi = 0xD9,
  kJpegSos = 0xDA,
  kJpegDqt = 0xDB,
  kJpegDnl = 0xDC,
  kJpegDri = 0xDD,
  kJpegDhp = 0xDE,
  kJpegExp = 0xDF,
  kJpegApp0 = 0xE0,
  kJpegApp1 = 0xE1,
};

enum class JpegParse { kDone, kIncomplete, kMalformed };

// A marker, and the segment behind it if it has one.
struct JpegSegment {
  uint8_t marker;
  const uint8_t* body;  // behind the two length bytes
  size_t body_size;     // bytes, as announced: they need not all be there
  size_t head;          // bytes from the first fill byte to the body
};

// Reads the marker at `bytes`, which may stand behind any number of fill bytes, and the length of
// its segment. kIncomplete: it goes on behind `size`. Markers without a segment have body_size 0.
JpegParse ReadJpegSegment(const uint8_t* bytes, size_t size, JpegSegment* segment);

// The number of lines that a DNL segment gives; 0 when it is malformed. The body is there.
int JpegLinesOf(const JpegSegment& dnl);

// A quantisation table in zigzag order.
struct JpegQuantisation {
  bool defined = false;
  uint16_t values[64] = {};
};

// A Huffman table as it was sent: counts[n] codes of n bits, and their symbols in order of code.
// The codes never over-subscribe a length.
struct JpegHuffmanCodes {
  bool defined = false;
  uint8_t counts[17] = {};
  uint8_t symbols[256] = {};
};

struct JpegComponent {
  uint8_t id;  // may repeat: the scan takes components of one number in order
  int h;  // sampling factors, 1 to 4; of a lone component both are 1, as it is never interleaved
  int v;
  int quantisation;  // table numbers, 0 to 3, all of them defined
  int dc_table;
  int ac_table;
};

struct JpegHeader {
  int width = 0;   // pixels, 1 to 65535
  int height = 0;  // rows; 0: a DNL segment behind the scan tells
  int components = 0;
  JpegComponent component[kJpegMaxComponents] = {};
  int scan_order[kJpegMaxComponents] = {};  // component indices in the order of the scan
  int h_max = 1;
  int v_max = 1;
  int restart_interval = 0;  // MCUs; 0: none
  int32_t x_dpi = 0;         // 16.16 fixed point; 0: the stream does not say
  int32_t y_dpi = 0;
  JpegQuantisation quantisation[kJpegTables];
  JpegHuffmanCodes dc[kJpegTables];
  JpegHuffmanCodes ac[kJpegTables];
};

// Reads a header that may come in pieces. Supported is one scan that holds all components,
// sequential, Huffman coded, of 8 bits.
class JpegHeaderReader {
 public:
  // Of the segments that are kept, all together may take so many bytes; what applications and
  // people wrote is skipped and may take any number.
  static constexpr size_t kMostBytes = 17000;

  // Reads on in `bytes`, from SOI to the end of SOS. `used`: the bytes that it is done with; what
  // was not must come again, with more behind it. kIncomplete: the header does not end there.
  // kMalformed: what stands there is, or is not supported.
  JpegParse Read(const uint8_t* bytes, size_t size, size_t* used);

  const JpegHeader& header() const { return header_; }

 private:
  JpegParse ReadNext(const uint8_t* bytes, size_t size, size_t* used);

  JpegHeader header_;
  bool begun_ = false;  // SOI was there
  size_t skip_ = 0;     // bytes of a segment that has been seen
  size_t kept_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_HEADER_H_
