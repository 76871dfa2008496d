// What a scan brought, against the paper as the host asked for it.
#ifndef SCANTK_TESTS_JOBS_PICTURE_H_
#define SCANTK_TESTS_JOBS_PICTURE_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contract/records.h"
#include "simulator/paper.h"

namespace scantk::test {

// A page as a host knows it.
struct ScannedPage {
  SCANNER_PARAMETERS asked = {};
  BUFFER_INFO granted = {};
  std::optional<std::array<uint8_t, 256>> tone_map;
  std::vector<uint8_t> bytes;
};

// Every row of the paper within the asked area, at the asked resolutions, upright.
std::vector<uint8_t> PaperAsked(const ScannedPage& page, const std::string& paper,
                                const sim::PageSide& side);

// Makes the bits behind the last pixel of black and white rows white: they are nobody's.
void WhitenPadding(const ScannedPage& page, std::vector<uint8_t>* bytes);

// "" when `got` is `expected`, or is close to it: its samples differ by less than `close` on
// average. Otherwise the difference as a person would put it.
std::string Difference(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& got,
                       size_t row_bytes, double close = 0);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_PICTURE_H_
