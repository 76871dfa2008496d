// A host in the same process as the toolkit: it runs one job and watches every method.
#ifndef SCANTK_TESTS_SWEEP_WATCHED_HOST_H_
#define SCANTK_TESTS_SWEEP_WATCHED_HOST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/jobs/host.h"
#include "tests/sweep/failing_system.h"

namespace scantk::test {

struct SweepJob {
  const char* name;
  uint32_t mode;  // T_COLOR and so on
  bool jpeg;
  int sheets;              // 0: from the glass
  uint32_t width, length;  // 1/300 inch
  bool reserves = false;   // the device before, and resets it behind
};

class WatchedHost : public Host {
 public:
  // Throws std::bad_alloc when no object is made.
  WatchedHost(const std::string& device, uint32_t io_type, Excuse excuse);
  ~WatchedHost() override;

  // The whole job; `finished` tells whether all pages came to their end.
  void Run(const SweepJob& job);

  bool finished = false;
  std::vector<std::vector<uint8_t>> pages;
  // After each read: the bytes that the device had sent by then, and the image bytes delivered.
  std::vector<std::pair<int64_t, size_t>> progress;

 protected:
  void Before(const char* method) override;
  void After(const char* method, const Outcome& outcome) override;
  void Progress() override;

 private:
  bool Scan(const SweepJob& job);
  bool ScanPage(const SweepJob& job);

  const uint32_t io_type_;
  int64_t started_ = 0;
  size_t image_ = 0;
  std::optional<ToolkitAtWork> at_work_;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_WATCHED_HOST_H_
