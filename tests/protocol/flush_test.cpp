// Draining the device: what ends it, what it counts, and that nothing makes it last.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/doubles/test_clock.h"
#include "tests/protocol/engine_fixture.h"
#include "tests/protocol/framing_bytes.h"

namespace scantk::test {
namespace {

// Catches a drain that leaves bytes of the page, takes some that are not, or counts wrongly.
TEST(Flush, EndsWhereItShould) {
  const IoResult dead = kTransportFailure;
  std::string blocks;
  for (int i = 0; i < 513; ++i) blocks += Block("a");
  const struct {
    const char* what;
    std::function<void(Script&)> says;
    int32_t drained;
    const char* left = "";
  } cases[] = {
      {"end of page", [](Script& s) { s.Read(Block("abc") + Block(Pattern(150000), 0x08)); },
       150019},
      {"abort", [](Script& s) { s.Read(Block("abc") + Block("", 0x20)); }, 19},
      {"a length below its own", [](Script& s) { s.Read(Header(3, 8, 0) + Block("", 2)); }, 16},
      {"failed header", [&](Script& s) { s.Read(Block("abc")).EndRead(dead); }, 11},
      {"failed body", [](Script& s) { s.Read(Header(99, 8, 0)).Read("abc").EndRead(10058); }, 8},
      {"failed plain read",
       [&](Script& s) { s.EndRead(kIoTimeout).Read("abcd").EndRead(0).EndRead(dead); }, 4},
      {"header and body in pieces",
       [](Script& s) {
         s.Read("1234567").EndRead(0).Read(Header(20, 8, 2) + "12345").EndRead(0).Read("6789abc");
       },
       20},
      {"three empty reads in a row",
       [](Script& s) {
         for (int i = 0; i < 3; ++i) s.EndRead(kIoTimeout);
         s.Read("abc").EndRead(0).EndRead(0).EndRead(0).EndRead(0);
       },
       3},
      {"plain when a body ends early",
       [](Script& s) { s.Read(Header(20, 8, 2)).EndRead(0).Read("abc").EndRead(0); }, 11},
      {"a plain read of an end block's size",
       [](Script& s) { s.EndRead(0).Read(std::string(20, 'x')).EndRead(0); }, 20},
      {"512 blocks", [&](Script& s) { s.Read(blocks); }, 512 * 9, "never read: \"\\t\\0"},
      {"512 plain reads",
       [](Script& s) {
         s.EndRead(0);
         for (int i = 0; i < 513; ++i) s.Read("a").EndRead(0);
       },
       512, "never read: \"a\"\nno read ended: \"\"\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TestClock clock;
    ScriptedEngine e;
    c.says(e.script);
    EXPECT_EQ(c.drained, e.engine.flush.FlushTheScanner());
    EXPECT_TRUE(e.script.Faults().starts_with(c.left)) << e.script.Faults();
    EXPECT_EQ(*c.left == '\0', e.script.Faults().empty()) << e.script.Faults();
  }
}

// Catches a drain that waits as long as a read, or leaves the connection with its own time-outs.
TEST(Flush, SetsTheFlushTimeoutAndPutsTheOldOneBack) {
  ScriptedEngine e;
  e.script.timeouts = {30000, 20000, 500};
  e.script.Read(Block("", 0x02));
  e.engine.flush.FlushTheScanner();
  e.engine.channel.SetExpectsNothing(true);  // after the last block
  e.engine.flush.FlushTheScanner();
  std::string set;
  for (const IoTimeouts& t : e.script.timeouts_set)
    set += std::to_string(t.read) + " " + std::to_string(t.write) + " " + std::to_string(t.flush) +
           "|";
  EXPECT_EQ("500 20000 500|30000 20000 500|100 20000 500|30000 20000 500|", set);
}

// A silent device costs four time-outs; one that trickles costs about as much, not hundreds.
TEST(Flush, IsBoundedInTime) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {"", "1234567"}, {Header(0xFFFFFFFF, 8, 0), "1"}};  // in headers, in a body
  for (const auto& [head, trickle] : cases) {
    TestClock clock;
    ScriptedEngine e;
    e.script.on_timeout = [&] { clock.ticks += 30000; };
    const uint32_t start = clock.ticks;
    if (!head.empty()) e.script.Read(head);
    for (int i = 0; i < 100 && !trickle.empty(); ++i) e.script.Read(trickle).EndRead(kIoTimeout);
    e.engine.flush.FlushTheScanner();
    EXPECT_LE(clock.ticks - start, 150000u) << trickle;
    EXPECT_GE(clock.ticks - start, 120000u) << trickle;
  }
}

}  // namespace
}  // namespace scantk::test
