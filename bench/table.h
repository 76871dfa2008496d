// The one table of all benchmark programs, on standard output; what else they tell goes to standard
// error.
#ifndef SCANTK_BENCH_TABLE_H_
#define SCANTK_BENCH_TABLE_H_

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace scantk::bench {

// `list` is not empty.
inline double Middle(std::vector<double> list) {
  std::nth_element(list.begin(), list.begin() + list.size() / 2, list.end());
  return list[list.size() / 2];
}

// `ours` and `theirs` in `unit`; `ratios` says how many times the yardstick's speed ours was, once
// for each round.
inline void PrintRow(const std::string& work, double ours, const std::string& yardstick,
                     double theirs, const char* unit, const std::vector<double>& ratios) {
  const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
  std::printf("%-44s %9.2f %-5s %-26s %9.2f %-5s %6.2f  %.2f to %.2f\n", work.c_str(), ours, unit,
              yardstick.c_str(), theirs, unit, Middle(ratios), *least, *most);
  std::fflush(stdout);
}

inline void PrintMissing(const char* yardstick) {
  std::printf("(missing: the rows beside %s, which was not there when this was built)\n",
              yardstick);
}

}  // namespace scantk::bench

#endif  // SCANTK_BENCH_TABLE_H_
