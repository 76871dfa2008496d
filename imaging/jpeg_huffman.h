// Huffman tables made for speed: one look-up gives a coefficient's code and value together.
#ifndef SCANTK_IMAGING_JPEG_HUFFMAN_H_
#define SCANTK_IMAGING_JPEG_HUFFMAN_H_

#include "imaging/jpeg_header.h"

namespace scantk {

// Looked up with the next kJpegLookUpBits bits. An entry is, from its low bits up:
//   6 bits   bits to skip, at most kJpegLookUpBits: the code, its value and perhaps an EOB behind
//   10 bits  how far the coefficient's index moves, with one of the marks below
//   16 bits  the value, signed
// so that the loop over the coefficients needs no case but "the index has left the block".
inline constexpr int kJpegLookUpBits = 11;

// Marks in the index. The low seven bits of a marked index lie behind the block or, with
// kJpegThenEnd, where the coefficient belongs.
inline constexpr uint32_t kJpegBehind = 64;    // added, so that nothing is stored in the block
inline constexpr uint32_t kJpegEnd = 128;      // EOB
inline constexpr uint32_t kJpegThenEnd = 256;  // a coefficient, and the EOB behind it
inline constexpr uint32_t kJpegLong = 512;     // too long for the table: nothing is skipped
inline constexpr uint32_t kJpegIndexMask = 127;

struct JpegHuffmanTable {
  uint32_t entries[1 << kJpegLookUpBits];
  uint32_t end_bits;  // length of the EOB code that entries may hold, 0: there is none
  // For codes that do not fit. `limits[n]`: the first 16 bits of every code of n bits are below it.
  uint32_t limits[17];
  int32_t offsets[17];  // from a code of n bits to the index of its symbol
  uint8_t symbols[256];
};

inline constexpr uint32_t kJpegMaxDcSize = 11;  // bits of a value, for samples of 8 bits
inline constexpr uint32_t kJpegMaxAcSize = 10;

// The values of a DC table are differences, and its entries move the index by 0, with kJpegThenEnd
// when the EOB of an otherwise empty block comes along: hence the AC codes of its component.
void BuildJpegDcTable(const JpegHuffmanCodes& dc, const JpegHuffmanCodes& ac,
                      JpegHuffmanTable* table);
void BuildJpegAcTable(const JpegHuffmanCodes& ac, JpegHuffmanTable* table);

// One symbol with its value, decoded from at least 32 bits, the next of them the highest.
struct JpegSymbol {
  uint32_t bits;     // to skip; 0: there is no such code, or it means nothing in this kind of table
  uint32_t advance;  // as in an entry
  int32_t value;
};

// `kIsDc`: what the table is. Without a branch on the length of the code, which nobody can predict.
template <bool kIsDc>
__attribute__((always_inline)) inline JpegSymbol DecodeLongJpegSymbol(const JpegHuffmanTable& table,
                                                                      uint32_t entry,
                                                                      uint64_t bits) {
  uint32_t length = entry >> 24;
  uint32_t symbol = entry >> 16 & 255;
  if (length == 0) {
    const uint32_t next = static_cast<uint32_t>(bits >> 48);
    length = kJpegLookUpBits + 1;
    for (int i = kJpegLookUpBits + 1; i <= 16; ++i) length += next >= table.limits[i];
    if (length > 16) return {};
    const int32_t code = static_cast<int32_t>(next >> (16 - length));
    symbol = table.symbols[(code + table.offsets[length]) & 255];
  }
  const uint32_t size = kIsDc ? symbol : symbol & 15;
  const uint32_t run = symbol >> 4;
  if (size > (kIsDc ? kJpegMaxDcSize : kJpegMaxAcSize)) return {};
  if (size == 0) {
    if (kIsDc) return {length, 0, 0};
    if (run == 0) return {length, kJpegBehind + kJpegEnd, 0};
    return run == 15 ? JpegSymbol{length, 16, 0} : JpegSymbol{};
  }
  const uint32_t raw = static_cast<uint32_t>(bits << length >> (64 - size));
  const uint32_t half = 1u << (size - 1);
  const int32_t value =
      static_cast<int32_t>(raw) - (raw < half ? static_cast<int32_t>(2 * half - 1) : 0);
  return {length + size, kIsDc ? 0 : run + 1, value};
}

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_HUFFMAN_H_
