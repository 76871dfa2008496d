// What lies on the glass or in the feeder, and how a scanner's sensor sees it: a pure function from
// a paper and scan settings to rows of bytes. Tests call it to learn what a scan must deliver.
#ifndef SCANTK_SIMULATOR_PAPER_H_
#define SCANTK_SIMULATOR_PAPER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace scantk::sim {

// How the sensor's samples become bytes; the numbers are the wire's.
enum class DataType { kThreshold = 0, kDither = 3, kGray = 4, kColor = 5 };

// How a page is delivered relative to how a person reads it: its rows in reverse order, each row
// mirrored, or both.
enum class Flip { kNone = 0, kVertical = 1, kMirror = 2, kTurn180 = 3 };

// Which page of a job is under the sensor.
struct PageSide {
  int sheet = 0;  // 0 on the glass, 1.. in the feeder
  bool back = false;
};

// Lengths and places on paper are in 1/300 inch.
inline constexpr int kUnitsPerInch = 300;

// Everything that decides a page's bytes.
struct PageSettings {
  int x_dpi = 300;
  int y_dpi = 300;
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  DataType data_type = DataType::kColor;
  // Colour: 24, 30, 36 or 48; gray: 8, 10, 12 or 16; others: 1. Samples of 10 and 12 bits are
  // packed most significant bit first, samples of 16 bits are little-endian.
  int bits_per_pixel = 24;
  // Replaces every 8-bit sample before it is widened, thresholded or dithered.
  std::optional<std::array<uint8_t, 256>> tone_map;
  PageSide side;
  Flip flip = Flip::kNone;
};

// Pixels per row, rows, and bytes per row (rounded up to whole bytes) of a scan with `settings`;
// 0 when the settings describe no page.
int PixelsPerRow(const PageSettings& settings);
int RowsPerPage(const PageSettings& settings);
size_t BytesPerRow(const PageSettings& settings);

// A stretch of one sensor row: `count` pixels from absolute pixel column `x`, in row `y` counted
// from the top of the sheet, at the given resolutions.
struct Stretch {
  int64_t x = 0;
  int64_t y = 0;
  int count = 0;
  int x_dpi = 300;
  int y_dpi = 300;
};

// A sheet that can be looked at with any resolution. Immutable, so that threads may share it.
class Paper {
 public:
  virtual ~Paper() = default;
  // Writes `stretch.count` pixels as 8-bit R, G, B to `rgb`.
  virtual void Paint(const Stretch& stretch, const PageSide& side, uint8_t* rgb) const = 0;
  // Rows after which the picture repeats whatever the resolution, 0 when it does not. A renderer
  // keeps that many rows, which makes a page cost no more than copying it.
  virtual int RepeatRows() const { return 0; }
};

// "chart" (the test chart), "pattern" (fast repeating rows), "white", or the path of a PNG or PNM
// file. Throws std::runtime_error with a text for people when the file cannot be used.
std::shared_ptr<const Paper> MakePaper(const std::string& name);

// The rows of one page, in the order in which the device delivers them. One thread at a time.
class PageRenderer {
 public:
  PageRenderer(std::shared_ptr<const Paper> paper, const PageSettings& settings);

  // Row `row` (any number from 0; rows past the page's height show what lies below it), exactly
  // bytes_per_row() bytes, valid until the next call.
  const uint8_t* Row(int row);
  size_t bytes_per_row() const { return bytes_per_row_; }
  int rows() const { return rows_; }

 private:
  void Render(int row, uint8_t* out);

  std::shared_ptr<const Paper> paper_;
  PageSettings settings_;
  size_t bytes_per_row_;
  int rows_;
  int cached_rows_;             // rows in cache_; 1 when the paper does not repeat
  std::vector<uint8_t> cache_;  // cached_rows_ x bytes_per_row_
  std::vector<int> held_;       // the row that each row of cache_ holds, -1 for none
  std::vector<uint8_t> rgb_;    // one row, 3 bytes per pixel
};

// The whole page: RowsPerPage x BytesPerRow bytes.
std::vector<uint8_t> RenderPage(const std::shared_ptr<const Paper>& paper,
                                const PageSettings& settings);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_PAPER_H_
