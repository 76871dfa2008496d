// Draining the device: what ends it, what it counts, and that nothing makes it last.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "tests/protocol/engine_fixture.h"
#include "tests/protocol/framing_bytes.h"

namespace scantk::test {
namespace {

// A clock that only moves when a read runs out of time.
class StillClock : public Clock {
 public:
  StillClock() { SetClock(this); }
  ~StillClock() override { SetClock(nullptr); }
  uint32_t TickCount() override { return ticks; }
  int64_t SecondsSince1970() override { return ticks / 1000; }
  LocalTime Now() override { return {}; }
  void Sleep(uint32_t milliseconds) override { ticks += milliseconds; }
  uint32_t ticks = 0xFFFFFF00;  // about to wrap
};

TEST(Flush, EndsWithTheLastBlock) {
  const std::string long_block = Block(Pattern(150000));
  const struct {
    const char* what;
    std::string stream;
    std::string left;  // what the drain must not touch
  } cases[] = {
      {"end of page", Block("abc") + long_block + Block("def", 0x08), "next"},
      {"abort", Block("abc") + Block("", 0x20), "next"},
      {"a header that is shorter than itself", Header(3, 8, 0) + Block("", 0x02), "next"},
  };
  for (const auto& c : cases) {
    ScriptedEngine e;
    e.script.Read(c.stream);
    EXPECT_EQ(static_cast<int32_t>(c.stream.size()), e.engine.FlushTheScanner()) << c.what;
    EXPECT_EQ("", e.script.Faults()) << c.what;
  }
}

TEST(Flush, SetsTheFlushTimeoutAndPutsTheOldOneBack) {
  ScriptedEngine e;
  e.script.timeouts = {30000, 20000, 500};
  e.script.Read(Block("", 0x02));
  e.engine.FlushTheScanner();
  ASSERT_EQ(2u, e.script.timeouts_set.size());
  const auto text = [](const IoTimeouts& t) {
    return std::to_string(t.read) + " " + std::to_string(t.write) + " " + std::to_string(t.flush);
  };
  EXPECT_EQ("500 20000 500", text(e.script.timeouts_set[0]));
  EXPECT_EQ("30000 20000 500", text(e.script.timeouts_set[1]));
}

TEST(Flush, EndsWithTheFirstFailure) {
  ScriptedEngine header, body, plain;
  header.script.Read(Block("abc")).EndRead(kTransportFailure);
  EXPECT_EQ(11, header.engine.FlushTheScanner());
  body.script.Read(Header(1000, 8, 0)).Read("abc").EndRead(10058);
  EXPECT_EQ(8, body.engine.FlushTheScanner());
  plain.script.EndRead(kIoTimeout).Read("abcd").EndRead(0).EndRead(kTransportFailure);
  EXPECT_EQ(4, plain.engine.FlushTheScanner());
  EXPECT_EQ("", header.script.Faults() + body.script.Faults() + plain.script.Faults());
}

TEST(Flush, BearsShortReads) {
  ScriptedEngine e;
  // A header that comes in pieces is asked for again; the rest of a body is waited for.
  e.script.Read("1234567")
      .EndRead(0)
      .Read(Header(20, 8, 0x02))
      .Read("12345")
      .EndRead(0)
      .Read("6789abc");
  EXPECT_EQ(20, e.engine.FlushTheScanner());
  EXPECT_EQ("", e.script.Faults());
}

TEST(Flush, ThreeEmptyReadsInARowEndThePlainDrain) {
  ScriptedEngine e;
  e.script.EndRead(kIoTimeout);  // no header: plain from here on
  e.script.EndRead(kIoTimeout).EndRead(kIoTimeout).Read("abc").EndRead(0);
  for (int i = 0; i < 3; ++i) e.script.EndRead(kIoTimeout);
  EXPECT_EQ(3, e.engine.FlushTheScanner());
  EXPECT_EQ("", e.script.Faults());
  EXPECT_EQ(7, e.script.reads);

  ScriptedEngine in_body;
  in_body.script.Read(Header(20, 8, 0x02)).EndRead(0).Read("abc").EndRead(0);
  EXPECT_EQ(11, in_body.engine.FlushTheScanner());
  EXPECT_EQ("", in_body.script.Faults());
}

TEST(Flush, ReadOfAnEndBlocksSizeEndsThePlainDrain) {
  ScriptedEngine e;
  e.script.EndRead(0).Read(std::string(20, 'x')).EndRead(0);
  EXPECT_EQ(20, e.engine.FlushTheScanner());  // no end-of-page record is known: no model inquiry
  EXPECT_EQ("", e.script.Faults());
}

TEST(Flush, IsBoundedInBlocksAndReads) {
  std::string blocks;
  for (int i = 0; i < 513; ++i) blocks += Block("a");
  ScriptedEngine e;
  e.script.Read(blocks);
  EXPECT_EQ(512 * 9, e.engine.FlushTheScanner());
  ScriptedEngine plain;
  plain.script.EndRead(0);
  for (int i = 0; i < 513; ++i) plain.script.Read("ab").EndRead(0);
  EXPECT_EQ(512 * 2, plain.engine.FlushTheScanner());
}

// A silent device costs four time-outs; one that trickles costs about as much, not hundreds.
TEST(Flush, IsBoundedInTime) {
  const struct {
    const char* what;
    std::string head, trickle;
  } cases[] = {{"silent", "", ""},
               {"headers that never end", "", "1234567"},
               {"a body that never ends", Header(0xFFFFFFFF, 8, 0), "1"}};
  for (const auto& c : cases) {
    StillClock clock;
    ScriptedEngine e;
    e.script.on_timeout = [&] { clock.ticks += 30000; };
    const uint32_t start = clock.ticks;
    if (!c.head.empty()) e.script.Read(c.head);
    for (int i = 0; i < 100 && !c.trickle.empty(); ++i) {
      e.script.Read(c.trickle).EndRead(kIoTimeout);
    }
    e.engine.FlushTheScanner();
    EXPECT_LE(clock.ticks - start, 150000u) << c.what;
    EXPECT_GE(clock.ticks - start, 120000u) << c.what;
  }
}

}  // namespace
}  // namespace scantk::test
