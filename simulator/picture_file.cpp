#include "simulator/picture_file.h"

#include <cctype>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace scantk::sim {
namespace {

constexpr int kMaxSide = 100'000;
constexpr int64_t kMaxPixels = 400'000'000;

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw std::runtime_error(path + ": " + why);
}

// The next number of a PNM header, comments skipped; -1 when there is none.
int64_t HeaderNumber(const std::string& bytes, size_t& at) {
  while (at < bytes.size() &&
         (std::isspace(static_cast<unsigned char>(bytes[at])) || bytes[at] == '#')) {
    if (bytes[at] == '#') at = std::min(bytes.find('\n', at), bytes.size() - 1);
    ++at;
  }
  int64_t number = -1;
  while (at < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes[at])) &&
         number < kMaxSide * 10) {
    number = (number < 0 ? 0 : number * 10) + (bytes[at++] - '0');
  }
  return number;
}

Picture ReadPnm(const std::string& path, const std::string& bytes) {
  const char kind = bytes[1];
  size_t at = 2;
  const int64_t width = HeaderNumber(bytes, at);
  const int64_t height = HeaderNumber(bytes, at);
  CheckPictureSize(path, width, height);
  if (kind != '4' && HeaderNumber(bytes, at) != 255) Refuse(path, "the maximum value is not 255");
  ++at;  // the one white space before the pixels
  const int64_t row = kind == '4' ? (width + 7) / 8 : kind == '5' ? width : width * 3;
  if (at > bytes.size() || static_cast<int64_t>(bytes.size() - at) < row * height) {
    Refuse(path, "the file ends before its pixels do");
  }
  Picture picture;
  picture.width = static_cast<int>(width);
  picture.height = static_cast<int>(height);
  picture.rgb.reserve(static_cast<size_t>(width * height) * 3);
  for (int64_t y = 0; y < height; ++y) {
    const char* line = bytes.data() + at + static_cast<size_t>(y * row);
    for (int64_t x = 0; x < width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        char value = kind == '6' ? line[3 * x + channel] : kind == '5' ? line[x] : '\0';
        if (kind == '4') value = (line[x / 8] << (x % 8) & 0x80) != 0 ? '\0' : '\xff';
        picture.rgb.push_back(static_cast<uint8_t>(value));
      }
    }
  }
  return picture;
}

}  // namespace

void CheckPictureSize(const std::string& path, int64_t width, int64_t height) {
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide ||
      width * height > kMaxPixels) {
    Refuse(path, "the picture is empty or too large");
  }
}

Picture ReadPicture(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) Refuse(path, "cannot be read (papers: chart, pattern, white, or a PNG or PNM file)");
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (bytes.size() > 2 && bytes[0] == 'P' && bytes[1] >= '4' && bytes[1] <= '6') {
    return ReadPnm(path, bytes);
  }
  return ReadPng(path, bytes);
}

}  // namespace scantk::sim
