// A whole trace, compared with one that was reviewed.
#ifndef SCANTK_TESTS_JOBS_GOLDEN_H_
#define SCANTK_TESTS_JOBS_GOLDEN_H_

#include <string>
#include <vector>

namespace scantk::test {

// The lines with what differs from run to run as <...>: numbers of processes and threads, handles,
// addresses, times, the test's own names; bytes that are no text as \xHH. A pair of lines that
// comes again and again, one read of a byte after the other, stands once.
std::vector<std::string> MaskedTrace(const std::vector<std::string>& lines,
                                     const std::vector<std::string>& own_names);

// "" when `got` is what the file holds; otherwise the first difference, and where `got` was
// written.
std::string GoldenDifference(const std::string& path, const std::vector<std::string>& got,
                             const std::string& folder);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_GOLDEN_H_
