// Tracing switched on into a file of the test's own.
#ifndef SCANTK_TESTS_DIAG_TRACE_FIXTURE_H_
#define SCANTK_TESTS_DIAG_TRACE_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diag/trace_log.h"
#include "platform/component.h"
#include "tests/diag/test_place.h"

namespace scantk {

// Once the module's own trace object has the settings, they live as long as the process; so every
// test of a process shares this identifier and reads its values anew.
inline constexpr GUID kTestTraceId = {
    0x5CA17E57, 0x0001, 0x4D1A, {0x90, 0x01, 0x5C, 0xA1, 0x7E, 0x57, 0xD1, 0xA6}};
inline constexpr char kTestTraceKey[] =
    "Software\\Orvane\\Lumora\\Velkan\\{5CA17E57-0001-4D1A-9001-5CA17E57D1A6}";

class TraceFixture : public testing::Test {
 protected:
  TraceFixture() {
    InitializeComponents();
    Configure(1, 0xFFFFFFFF, 1);
    AcquireTraceSettings(kTestTraceId);
    GlobalTrace().Passes(0);
    GlobalTrace().ReloadSettings();
  }
  ~TraceFixture() override {
    Configure(0, 0, 0);
    GlobalTrace().ReloadSettings();
    ReleaseTraceSettings();
    RegistryKey machine;
    if (RegistryKey::Open(RegistryRoot::kLocalMachine, "Software\\Orvane\\Lumora\\Velkan",
                          RegistryAccess::kReadWrite, &machine) == 0)
      machine.DeleteSubtree("{5CA17E57-0001-4D1A-9001-5CA17E57D1A6}");
    UninitializeComponents();
  }

  // Writes the registry; it takes effect when a trace object reloads.
  void Configure(uint32_t enabled, uint32_t level, uint32_t destination) {
    Configure(enabled, level, destination, TracePath());
  }
  void Configure(uint32_t enabled, uint32_t level, uint32_t destination, const std::string& path) {
    RegistryKey key;
    ASSERT_EQ(0u, RegistryKey::Create(RegistryRoot::kLocalMachine, kTestTraceKey, &key, nullptr));
    key.SetDword("LogEnabled", enabled);
    key.SetDword("LogLevel", level);
    key.SetDword("LogDestination", destination);
    key.SetString("LogFile", path.c_str(), static_cast<uint32_t>(path.size()) + 1);
  }

  std::string TracePath() const { return place_.File("trace.log"); }

  // What was written since the last call, without banners.
  std::vector<std::string> NewLines() {
    std::vector<std::string> fresh;
    const std::vector<std::string> all = TraceLines(TracePath());
    for (size_t i = seen_; i < all.size(); ++i) {
      const bool banner = i + 4 < all.size() && all[i].empty() && all[i + 1].starts_with("****") &&
                          all[i + 2].starts_with("**** PID=");
      if (banner)
        i += 4;
      else
        fresh.push_back(all[i]);
    }
    seen_ = all.size();
    return fresh;
  }

  TestPlace place_;

 private:
  size_t seen_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_DIAG_TRACE_FIXTURE_H_
