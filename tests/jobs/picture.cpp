#include "tests/jobs/picture.h"

#include <algorithm>
#include <cstdlib>

namespace scantk::test {
namespace {

// Positions and extents are in 1/300 inch, or pixels of the scan.
int InInches(uint32_t value, const SCANNER_PARAMETERS& asked, uint16_t dpi) {
  const bool pixels = asked.dwScanOptions & T_PIXEL_COORDINATES;
  return static_cast<int>(pixels ? uint64_t{value} * 300 / dpi : value);
}

sim::DataType DataType(const SCANNER_PARAMETERS& asked) {
  if (asked.dwScanMode == T_COLOR) return sim::DataType::kColor;
  if (asked.dwScanMode == T_GREYSCALE) return sim::DataType::kGray;
  const bool dither = asked.dwScanOptions & T_BW_DITHER;
  return dither ? sim::DataType::kDither : sim::DataType::kThreshold;
}

}  // namespace

std::vector<uint8_t> PaperAsked(const ScannedPage& page, const std::string& paper,
                                const sim::PageSide& side) {
  const SCANNER_PARAMETERS& asked = page.asked;
  sim::PageSettings settings;
  settings.x_dpi = asked.wXResolution;
  settings.y_dpi = asked.wYResolution;
  settings.left = InInches(asked.dwLeft, asked, asked.wXResolution);
  settings.top = InInches(asked.dwTop, asked, asked.wYResolution);
  settings.width = InInches(asked.dwWidth, asked, asked.wXResolution);
  settings.height = InInches(asked.dwLength, asked, asked.wYResolution);
  settings.data_type = DataType(asked);
  settings.bits_per_pixel = asked.byBitsPerChannel * (asked.dwScanMode == T_COLOR ? 3 : 1);
  settings.tone_map = page.tone_map;
  settings.side = side;
  return sim::RenderPage(sim::MakePaper(paper), settings);
}

void WhitenPadding(const ScannedPage& page, std::vector<uint8_t>* bytes) {
  const size_t row = page.granted.dwBytesPerLine;
  const uint32_t used = page.granted.dwPixelWidth % 8;
  if (page.asked.dwScanMode != T_BW || used == 0) return;
  for (size_t end = row; end <= bytes->size(); end += row) (*bytes)[end - 1] |= 0xFF >> used;
}

std::string Difference(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& got,
                       size_t row_bytes, double close) {
  const auto rows = [&](size_t bytes) {
    return std::to_string(bytes) + " bytes (" +
           (row_bytes ? std::to_string(static_cast<double>(bytes) / static_cast<double>(row_bytes))
                      : "?") +
           " rows)";
  };
  if (expected.size() != got.size())
    return "expected " + rows(expected.size()) + ", got " + rows(got.size());
  if (close > 0) {
    double sum = 0;
    for (size_t i = 0; i < got.size(); ++i) sum += std::abs(expected[i] - got[i]);
    const double average = got.empty() ? 0 : sum / static_cast<double>(got.size());
    return average < close ? "" : "expected close samples, got " + std::to_string(average) + " off";
  }
  const auto [left, right] = std::mismatch(expected.begin(), expected.end(), got.begin());
  if (left == expected.end()) return "";
  const auto at = static_cast<size_t>(left - expected.begin());
  return "expected " + std::to_string(*left) + ", got " + std::to_string(*right) + " in row " +
         std::to_string(row_bytes ? at / row_bytes : 0) + ", byte " +
         std::to_string(row_bytes ? at % row_bytes : at);
}

}  // namespace scantk::test
