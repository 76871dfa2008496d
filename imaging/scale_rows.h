// The vertical half of the scaler: when rows are made, and from which.
#ifndef SCANTK_IMAGING_SCALE_ROWS_H_
#define SCANTK_IMAGING_SCALE_ROWS_H_

#include <cstddef>
#include <cstdint>
#include <memory>

namespace scantk {

// What a scaler is asked to do, checked and with the output's size worked out. Factors are 16.16.
struct ScalePlan {
  size_t pixels;
  size_t out_pixels;
  size_t components;  // bytes per pixel; 0: bilevel
  int64_t x_factor;
  int64_t y_factor;
  bool fast;  // as it applies to this kind of row

  size_t out_bytes() const { return components ? out_pixels * components : (out_pixels + 7) / 8; }
};

// Turns input rows into output rows.
class RowMaker {
 public:
  virtual ~RowMaker() = default;

  // Takes the next input row. Returns how many output rows can now be written, 0 to 7; all of them
  // are, before the next row is taken, the first one while `row` is still valid.
  virtual int Take(const uint8_t* row) = 0;

  // The input has ended. Returns the number of rows that were held back.
  virtual int Finish() { return 0; }

  // Writes the next output row, ScalePlan::out_bytes() bytes.
  virtual void Write(uint8_t* output) = 0;
};

// Throws std::bad_alloc.
std::unique_ptr<RowMaker> MakeRowMaker(const ScalePlan& plan);

}  // namespace scantk

#endif  // SCANTK_IMAGING_SCALE_ROWS_H_
