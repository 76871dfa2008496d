#include "imaging/jpeg_huffman.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace scantk {
namespace {

uint32_t Entry(int bits, uint32_t advance, int value) {
  return static_cast<uint32_t>(bits) | advance << 6 | static_cast<uint32_t>(value) << 16;
}

// The value that `size` bits stand for.
int Extend(int bits, int size) {
  return size > 0 && bits < 1 << (size - 1) ? bits - (1 << size) + 1 : bits;
}

struct Code {
  int bits;
  int length;
  uint8_t symbol;
};

class Builder {
 public:
  Builder(bool is_dc, const Code& end, JpegHuffmanTable& table)
      : is_dc_(is_dc), end_(end), table_(table) {
    // Whatever no code claims below is too long for the table, or impossible.
    std::fill(std::begin(table.entries), std::end(table.entries), LongEntry(0, 0));
  }

  void Add(const Code& code) {
    const int run = code.symbol >> 4;
    const int size = code.symbol & 15;
    if (code.length > kJpegLookUpBits) return;
    if (is_dc_ ? code.symbol > static_cast<int>(kJpegMaxDcSize)
               : size > static_cast<int>(kJpegMaxAcSize) || (size == 0 && IsNoRun(run))) {
      Fill(code.bits, code.length, LongEntry(code.length, code.symbol));
    } else if (!is_dc_ && code.symbol == 0) {
      Fill(code.bits, code.length, Entry(code.length, kJpegBehind + kJpegEnd, 0));
    } else if (code.length + size > kJpegLookUpBits) {
      Fill(code.bits, code.length, LongEntry(code.length, code.symbol));
    } else {
      AddValues(code, is_dc_ ? 0 : run + 1, size);
    }
  }

 private:
  static bool IsNoRun(int run) { return run != 0 && run != 15; }

  // The value's place holds the code's length and symbol.
  static uint32_t LongEntry(int length, int symbol) {
    return Entry(0, kJpegBehind + kJpegLong, length << 8 | symbol);
  }

  // To every index that begins with the `length` bits `bits`.
  void Fill(int bits, int length, uint32_t entry) {
    const int rest = kJpegLookUpBits - length;
    std::fill_n(table_.entries + (static_cast<size_t>(bits) << rest), size_t{1} << rest, entry);
  }

  void AddValues(const Code& code, int advance, int size) {
    const int length = code.length + size;
    const uint32_t step = static_cast<uint32_t>(advance);
    for (int i = 0; i < 1 << size; ++i) {
      const int bits = code.bits << size | i;
      const int value = Extend(i, size);
      Fill(bits, length, Entry(length, step, value));
      if (!is_dc_ && size == 0) continue;  // zeros do not come before an end
      if (end_.length == 0 || length + end_.length > kJpegLookUpBits) continue;
      Fill(bits << end_.length | end_.bits, length + end_.length,
           Entry(length + end_.length, step + kJpegThenEnd, value));
    }
  }

  const bool is_dc_;
  const Code end_;
  JpegHuffmanTable& table_;
};

// Calls `use` with every code, in order.
template <class Use>
void ForEachCode(const JpegHuffmanCodes& codes, Use use) {
  int bits = 0;
  int index = 0;
  for (int length = 1; length <= 16; ++length, bits *= 2) {
    for (int i = 0; i < codes.counts[length]; ++i) {
      use(Code{bits++, length, codes.symbols[index++]});
    }
  }
}

// EOB; of length 0 when there is none.
Code FindEnd(const JpegHuffmanCodes& ac) {
  Code end{};
  ForEachCode(ac, [&](const Code& code) {
    if (code.symbol == 0 && end.length == 0) end = code;
  });
  return end;
}

void Build(const JpegHuffmanCodes& codes, bool is_dc, const Code& end, JpegHuffmanTable* table) {
  table->end_bits = static_cast<uint32_t>(end.length);
  std::memcpy(table->symbols, codes.symbols, sizeof(table->symbols));
  int bits = 0;
  int index = 0;
  for (int length = 1; length <= 16; ++length, bits *= 2) {
    table->offsets[length] = index - bits;
    bits += codes.counts[length];
    index += codes.counts[length];
    table->limits[length] = static_cast<uint32_t>(bits) << (16 - length);
  }

  Builder builder(is_dc, end, *table);
  ForEachCode(codes, [&](const Code& code) { builder.Add(code); });
}

}  // namespace

void BuildJpegDcTable(const JpegHuffmanCodes& dc, const JpegHuffmanCodes& ac,
                      JpegHuffmanTable* table) {
  Build(dc, true, FindEnd(ac), table);
}

void BuildJpegAcTable(const JpegHuffmanCodes& ac, JpegHuffmanTable* table) {
  Build(ac, false, FindEnd(ac), table);
}

}  // namespace scantk
