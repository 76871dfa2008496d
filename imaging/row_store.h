// Keeps rows until they are wanted in another order.
#ifndef SCANTK_IMAGING_ROW_STORE_H_
#define SCANTK_IMAGING_ROW_STORE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace scantk {

// Rows of one size, by number. Memory grows with the rows that arrive, whatever number of them was
// announced. A store that goes away leaves up to kSpareBytes behind for the next one in the
// process: the pages of a two-sided job follow one another, and fresh memory costs more than the
// copying.
class RowStore {
 public:
  static constexpr size_t kSpareBytes = size_t{32} << 20;  // an A4 page, 300 dpi, 24 bits
  static constexpr size_t kMostBytes = size_t{1} << 30;    // two Legal pages, 1200 dpi, 24 bits

  // Never keeps more than `most_bytes`: a device may send rows for ever.
  explicit RowStore(size_t most_bytes = kMostBytes);
  RowStore(const RowStore&) = delete;
  RowStore& operator=(const RowStore&) = delete;
  ~RowStore();

  // Empties the store, for rows of `row_bytes` (at least 1) bytes.
  void Reset(size_t row_bytes);

  // Copies a row behind the others. False when there is no room for it.
  bool Append(const uint8_t* row);

  size_t rows() const { return rows_; }
  const uint8_t* Row(size_t index) const;

 private:
  static constexpr size_t kSlabBytes = size_t{1} << 20;
  using Slabs = std::vector<std::unique_ptr<uint8_t[]>>;
  struct Spare;

  bool AddSlab();

  // Slabs in use and, behind them, idle ones. All of kSlabBytes, but for rows longer than that.
  Slabs slabs_;
  size_t most_bytes_;
  size_t rows_ = 0;
  size_t row_bytes_ = 1;
  size_t rows_per_slab_ = 1;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_ROW_STORE_H_
