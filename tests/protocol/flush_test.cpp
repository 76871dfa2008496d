// Draining the device: what ends it, what it counts, and that nothing makes it last.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/doubles/test_clock.h"
#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

// Catches a drain that leaves bytes of the page, takes some that are not, or counts wrongly.
TEST(Flush, EndsWhereItShould) {
  const IoResult dead = kTransportFailure;
  std::string blocks;
  for (int i = 0; i < 513; ++i) blocks += Block("a");
  using Piece = std::pair<std::string, IoResult>;  // what comes, and how the read behind it ends
  constexpr IoResult kOn = -1;                     // it does not end there
  const std::vector<Piece> silence(3, {"", kIoTimeout}), trickle(513, {"a", 0});
  const auto join = [](std::vector<Piece> first, const std::vector<Piece>& then) {
    first.insert(first.end(), then.begin(), then.end());
    return first;
  };
  const struct {
    const char* what;
    std::vector<Piece> pieces;
    int32_t drained;
    const char* left = "";
  } cases[] = {
      {"end of page", {{Block("abc") + Block(Pattern(150000), 0x08), kOn}}, 150019},
      {"abort", {{Block("abc") + Block("", 0x20), kOn}}, 19},
      {"a length below its own", {{Header(3, 8, 0) + Block("", 2), kOn}}, 16},
      {"failed header", {{Block("abc"), dead}}, 11},
      {"failed body", {{Header(99, 8, 0) + "abc", 10058}}, 8},
      {"failed plain read", {{"", kIoTimeout}, {"abcd", 0}, {"", dead}}, 4},
      {"in pieces", {{"1234567", 0}, {Header(20, 8, 2) + "12345", 0}, {"6789abc", kOn}}, 20},
      {"three empty reads", join(silence, {{"abc", 0}, {"", 0}, {"", 0}, {"", 0}}), 3},
      {"plain when a body ends early", {{Header(20, 8, 2), 0}, {"abc", 0}}, 11},
      {"a plain read of an end block's size", {{"", 0}, {std::string(20, 'x'), 0}}, 20},
      {"512 blocks", {{blocks, kOn}}, 512 * 9, "never read: \"\\t\\0"},
      {"512 plain", join({{"", 0}}, trickle), 512, "never read: \"a\"\nno read ended: \"\"\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TestClock clock;
    ScriptedEngine e;
    for (const auto& [bytes, end] : c.pieces) {
      if (!bytes.empty()) e.script.Read(bytes);
      if (end != kOn) e.script.EndRead(end);
    }
    EXPECT_EQ(c.drained, e.engine.flush.FlushTheScanner());
    const std::string left = e.script.TakeFaults();
    EXPECT_TRUE(*c.left ? left.starts_with(c.left) : left.empty()) << left;
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
  e.script.Ask("1024E", "d9V");
  e.Number(SL_PIXELS_PER_LINE, 'R');
  EXPECT_FALSE(e.engine.channel.ExpectsNothing()) << "an answer is on its way";
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
    EXPECT_EQ(trickle.empty(), e.script.TakeFaults().empty());
  }
}

}  // namespace
}  // namespace scantk::test
