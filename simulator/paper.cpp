#include "simulator/paper.h"

#include <algorithm>
#include <cstring>

#include "simulator/picture_file.h"
#include "simulator/test_chart.h"

namespace scantk::sim {
namespace {

// Longest row and most rows that anyone may ask for, whatever is set in the variables.
constexpr int64_t kMaxPixels = 200'000;
constexpr int64_t kMaxRows = 10'000'000;

int ScaledLength(int64_t length, int64_t dpi, int64_t cap) {
  return static_cast<int>(std::clamp<int64_t>(length * dpi / kUnitsPerInch, 0, cap));
}

class PatternPaper : public Paper {
 public:
  void Paint(const Stretch& stretch, const PageSide& side, uint8_t* rgb) const override {
    const int64_t y = stretch.y % kRows;
    for (int64_t x = stretch.x; x < stretch.x + stretch.count; ++x, rgb += 3) {
      rgb[0] = static_cast<uint8_t>(x + 4 * y);
      rgb[1] = static_cast<uint8_t>((x >> 3) + (side.back ? 128 : 0));
      rgb[2] = static_cast<uint8_t>(4 * y + 16 * side.sheet);
    }
  }
  int RepeatRows() const override { return kRows; }

 private:
  static constexpr int kRows = 64;
};

class WhitePaper : public Paper {
 public:
  void Paint(const Stretch& stretch, const PageSide&, uint8_t* rgb) const override {
    std::memset(rgb, 255, static_cast<size_t>(stretch.count) * 3);
  }
  int RepeatRows() const override { return 1; }
};

// A picture at 300 dpi in the corner of a white sheet.
class PicturePaper : public Paper {
 public:
  explicit PicturePaper(Picture picture) : picture_(std::move(picture)) {}

  void Paint(const Stretch& stretch, const PageSide&, uint8_t* rgb) const override {
    std::memset(rgb, 255, static_cast<size_t>(stretch.count) * 3);
    const int64_t y = stretch.y * kUnitsPerInch / stretch.y_dpi;
    if (y >= picture_.height) return;
    const uint8_t* row = picture_.rgb.data() + static_cast<size_t>(y * picture_.width) * 3;
    for (int i = 0; i < stretch.count; ++i) {
      const int64_t x = (stretch.x + i) * kUnitsPerInch / stretch.x_dpi;
      if (x >= picture_.width) return;
      std::memcpy(rgb + 3 * i, row + 3 * x, 3);
    }
  }

 private:
  Picture picture_;
};

// Luminance, with weights that add up to 256.
uint8_t Gray(const uint8_t* rgb) {
  return static_cast<uint8_t>((77 * rgb[0] + 150 * rgb[1] + 29 * rgb[2] + 128) >> 8);
}

constexpr uint8_t kBayer[8][8] = {{0, 32, 8, 40, 2, 34, 10, 42},  {48, 16, 56, 24, 50, 18, 58, 26},
                                  {12, 44, 4, 36, 14, 46, 6, 38}, {60, 28, 52, 20, 62, 30, 54, 22},
                                  {3, 35, 11, 43, 1, 33, 9, 41},  {51, 19, 59, 27, 49, 17, 57, 25},
                                  {15, 47, 7, 39, 13, 45, 5, 37}, {63, 31, 55, 23, 61, 29, 53, 21}};

// One bit per pixel, the first in the highest bit; white is 1, as white is the highest value of
// every other mode.
void PackBilevel(const uint8_t* gray, int count, int row, bool dither, uint8_t* out) {
  std::memset(out, 0, (static_cast<size_t>(count) + 7) / 8);
  for (int i = 0; i < count; ++i) {
    const int threshold = dither ? kBayer[row & 7][i & 7] * 4 + 2 : 128;
    if (gray[i] >= threshold) out[i / 8] |= static_cast<uint8_t>(0x80 >> (i % 8));
  }
}

// Samples of 10, 12 or 16 bits; each 8-bit sample's bits are repeated below it, so that black and
// white stay the ends of the range.
void PackDeep(const uint8_t* samples, size_t count, int bits, uint8_t* out) {
  uint32_t pending = 0;
  int held = 0;
  for (size_t i = 0; i < count; ++i) {
    const uint32_t wide = samples[i] * 257u;
    if (bits == 16) {
      *out++ = static_cast<uint8_t>(wide);
      *out++ = static_cast<uint8_t>(wide >> 8);
      continue;
    }
    pending = pending << bits | wide >> (16 - bits);
    for (held += bits; held >= 8; held -= 8) {
      *out++ = static_cast<uint8_t>(pending >> (held - 8));
    }
  }
  if (held > 0) *out = static_cast<uint8_t>(pending << (8 - held));
}

void ReverseRow(uint8_t* rgb, int count) {
  for (int i = 0, j = count - 1; i < j; ++i, --j) {
    std::swap_ranges(rgb + 3 * i, rgb + 3 * i + 3, rgb + 3 * j);
  }
}

}  // namespace

int PixelsPerRow(const PageSettings& settings) {
  return ScaledLength(settings.width, settings.x_dpi, kMaxPixels);
}

int RowsPerPage(const PageSettings& settings) {
  return ScaledLength(settings.height, settings.y_dpi, kMaxRows);
}

size_t BytesPerRow(const PageSettings& settings) {
  return (static_cast<size_t>(PixelsPerRow(settings)) *
              static_cast<size_t>(std::clamp(settings.bits_per_pixel, 1, 48)) +
          7) /
         8;
}

std::shared_ptr<const Paper> MakePaper(const std::string& name) {
  if (name == "chart") return MakeTestChart();
  if (name == "pattern") return std::make_shared<PatternPaper>();
  if (name == "white") return std::make_shared<WhitePaper>();
  return std::make_shared<PicturePaper>(ReadPicture(name));
}

PageRenderer::PageRenderer(std::shared_ptr<const Paper> paper, const PageSettings& settings)
    : paper_(std::move(paper)),
      settings_(settings),
      bytes_per_row_(BytesPerRow(settings)),
      rows_(RowsPerPage(settings)),
      cached_rows_(std::max(1, paper_->RepeatRows())) {
  // A dithered row also depends on its place in the 8-row dither matrix.
  if (settings_.data_type == DataType::kDither && paper_->RepeatRows() % 8 != 0) cached_rows_ *= 8;
  cache_.resize(bytes_per_row_ * static_cast<size_t>(cached_rows_));
  held_.assign(static_cast<size_t>(cached_rows_), -1);
  rgb_.resize(static_cast<size_t>(PixelsPerRow(settings)) * 3);
}

const uint8_t* PageRenderer::Row(int row) {
  const bool reversed = settings_.flip == Flip::kVertical || settings_.flip == Flip::kTurn180;
  const int source = reversed && row < rows_ ? rows_ - 1 - row : row;
  const size_t slot = static_cast<size_t>(source % cached_rows_);
  uint8_t* out = cache_.data() + slot * bytes_per_row_;
  const bool repeats = paper_->RepeatRows() > 0;
  if (repeats ? held_[slot] < 0 : held_[slot] != source) {
    Render(source, out);
    held_[slot] = source;
  }
  return out;
}

void PageRenderer::Render(int row, uint8_t* out) {
  Stretch stretch;
  stretch.x_dpi = std::max(1, settings_.x_dpi);
  stretch.y_dpi = std::max(1, settings_.y_dpi);
  stretch.x = static_cast<int64_t>(settings_.left) * stretch.x_dpi / kUnitsPerInch;
  stretch.y = static_cast<int64_t>(settings_.top) * stretch.y_dpi / kUnitsPerInch + row;
  stretch.count = PixelsPerRow(settings_);
  paper_->Paint(stretch, settings_.side, rgb_.data());
  if (settings_.flip == Flip::kMirror || settings_.flip == Flip::kTurn180)
    ReverseRow(rgb_.data(), stretch.count);

  const bool color = settings_.data_type == DataType::kColor;
  const size_t pixels = static_cast<size_t>(stretch.count);
  const size_t samples = color ? pixels * 3 : pixels;
  if (!color) {
    for (size_t i = 0; i < pixels; ++i) rgb_[i] = Gray(&rgb_[3 * i]);
  }
  if (settings_.tone_map) {
    for (size_t i = 0; i < samples; ++i) rgb_[i] = (*settings_.tone_map)[rgb_[i]];
  }
  const int sample_bits = settings_.bits_per_pixel / (color ? 3 : 1);
  if (sample_bits == 1) {
    PackBilevel(rgb_.data(), stretch.count, row, settings_.data_type == DataType::kDither, out);
  } else if (sample_bits == 8) {
    std::memcpy(out, rgb_.data(), samples);
  } else {
    PackDeep(rgb_.data(), samples, sample_bits, out);
  }
}

std::vector<uint8_t> RenderPage(const std::shared_ptr<const Paper>& paper,
                                const PageSettings& settings) {
  PageRenderer renderer(paper, settings);
  std::vector<uint8_t> page;
  page.reserve(renderer.bytes_per_row() * static_cast<size_t>(renderer.rows()));
  for (int row = 0; row < renderer.rows(); ++row) {
    const uint8_t* bytes = renderer.Row(row);
    page.insert(page.end(), bytes, bytes + renderer.bytes_per_row());
  }
  return page;
}

}  // namespace scantk::sim
