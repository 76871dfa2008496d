#include "host/tone.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "host/error_advice.h"

namespace scanhost {
namespace {

constexpr size_t kEntries = 256;

std::vector<uint8_t> ReadTone(const std::string& name) {
  std::ifstream file(name);
  if (!file) throw HostFailure("cannot open " + name);
  std::vector<uint8_t> table;
  int number = 0;
  while (file >> number && number >= 0 && number <= 255 && table.size() <= kEntries)
    table.push_back(static_cast<uint8_t>(number));
  if (!file.eof() || table.size() != kEntries)
    throw UsageError(name + " is no tone table: 256 numbers from 0 to 255, one a line (number " +
                     std::to_string(table.size() + 1) + " is not)");
  return table;
}

}  // namespace

std::vector<uint8_t> MakeToneTable(const ScanRequest& request) {
  if (!request.tone_file.empty()) return ReadTone(request.tone_file);
  if (request.brightness == 0 && request.contrast == 0 && request.gamma == 1) return {};
  std::vector<uint8_t> table(kEntries);
  // Contrast turns the line about middle gray: 0 at -100, upright at 100.
  const double slope = std::tan((request.contrast + 100) / 200.0 * 1.5707);
  for (size_t i = 0; i < kEntries; ++i) {
    double value = std::pow(static_cast<double>(i) / 255, 1 / request.gamma);
    value = (value - 0.5) * slope + 0.5 + request.brightness / 200.0;
    table[i] = static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
  }
  return table;
}

}  // namespace scanhost
