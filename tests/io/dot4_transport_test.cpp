// The DOT4 transports against the simulator's stack, which checks every byte of a request.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>

#include "io/dot4_silent_transport.h"
#include "io/dot4_stack_transport.h"
#include "simulator/dot4_device.h"
#include "tests/diag/trace_fixture.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

using sim::Dot4Code;
using testing::IsEmpty;

// Waits of half a minute are cut short, so many of them: poll is this file's own.
constexpr int kLong = 20000, kCut = 50;  // ms
std::atomic<int> cuts{0};

class Dot4Transport : public TraceFixture {
 protected:
  static constexpr uint32_t kSilence = sim::Dot4Device::kSilence;

  // What a read brings, with the result where that is not 0.
  static std::string Read(Transport& transport, uint32_t size) {
    std::string text(size, '\0');
    const IoResult result = transport.ReadData(text.data(), &size, nullptr);
    text.resize(size);
    return result == S_OK ? text : text + "!" + std::to_string(result & 0xFFFF);
  }
  static IoResult Write(Transport& transport, const std::string& text) {
    uint32_t written = 99;
    const auto size = static_cast<uint32_t>(text.size());
    const IoResult result = transport.WriteData(text.data(), size, &written, nullptr);
    EXPECT_EQ(result == S_OK ? size : 0, written);
    return result;
  }
  static void SetTimeouts(Transport& transport, IoTimeouts timeouts) {
    transport.Escape(SET_TIMEOUTS, &timeouts, sizeof timeouts, nullptr, 0, nullptr);
  }
  // So many of the next requests of this kind end with this error.
  void Fail(Dot4Code code, size_t count, uint32_t error) {
    stack_.FailRequests(code, std::deque<uint32_t>(count, error));
    stack_.ClearLog();
  }
  // That have ended with it.
  int Failed() const { return stack_.CountInLog("fails"); }
  ptrdiff_t NewLinesWith(const std::string& text) {
    const std::vector<std::string> lines = NewLines();
    return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }

  TestClock clock_;
  const std::string path_ = place_.File("dot4");
  sim::Dot4Device stack_{sim::DeviceConfig(), path_};
};

// Catches one limit sent in the place of the other, and what is not given back.
TEST_F(Dot4Transport, ReadsAndWritesHaveLimitsOfTheirOwn) {
  Dot4StackTransport transport;
  SetTimeouts(transport, {20, 3600001, 0});  // more than the stack lets pass
  ASSERT_EQ(S_OK, transport.OpenIO(path_.c_str()));
  EXPECT_EQ(S_OK, transport.ConnectToIO());  // is connected already
  EXPECT_EQ("!258", Read(transport, 8));
  EXPECT_THAT(stack_.layout_faults(), IsEmpty());
  EXPECT_EQ(E_FAIL, Write(transport, "*E"));
  EXPECT_THAT(stack_.layout_faults(),
              testing::ElementsAre("write: the time-out is 3600001, not 3600000"));
  EXPECT_EQ(1, stack_.open_sockets());
  EXPECT_EQ(S_OK, transport.DisConnectFromIO());
  EXPECT_EQ(0, stack_.open_sockets());
}

// Catches steps that are repeated too often, too rarely or without their pause, and a socket that
// is asked for twice or left behind.
TEST_F(Dot4Transport, StepsThatFail) {
  const struct {
    Dot4Code code;
    int failures;
    IoResult opened, connected;
    size_t sleeps;
  } cases[] = {{Dot4Code::kOpenChannel, 1, S_OK, S_OK, 0},
               {Dot4Code::kOpenChannel, 6, S_OK, S_OK, 5},
               {Dot4Code::kOpenChannel, 30, E_FAIL, S_OK, 25},
               {Dot4Code::kCreateSocket, 5, E_FAIL, S_OK, 0},
               {Dot4Code::kCreateSocket, 8, E_FAIL, E_FAIL, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    clock_.sleeps.clear();
    Fail(c.code, static_cast<size_t>(c.failures), 31);
    {
      Dot4StackTransport transport;
      EXPECT_EQ(c.opened, transport.OpenIO(path_.c_str()));
      EXPECT_EQ(c.connected, c.opened == S_OK ? S_OK : transport.ConnectToIO());
      EXPECT_EQ(std::vector<uint32_t>(c.sleeps, 10000), clock_.sleeps);
      EXPECT_EQ(c.failures, Failed());
      EXPECT_EQ(c.connected == S_OK, stack_.open_sockets());
    }
    EXPECT_EQ(0, stack_.open_sockets());
  }
}

// Catches a read that is repeated too often or too rarely, and a write that is repeated for ever.
TEST_F(Dot4Transport, EmptyReadsAndFailedWrites) {
  Dot4StackTransport transport;
  SetTimeouts(transport, {20, 0, 0});
  ASSERT_EQ(S_OK, transport.OpenIO(path_.c_str()));
  EXPECT_EQ("", Read(transport, 1));
  EXPECT_EQ(0, NewLinesWith("Retrying a read"));
  EXPECT_EQ("!258", Read(transport, 2));
  EXPECT_EQ(9, NewLinesWith("Retrying a read"));
  stack_.AddFault("stall@answer:1=60");
  EXPECT_EQ(S_OK, Write(transport, "\x1b*s19E"));
  EXPECT_EQ("\x1b*s19d5WZM-16", Read(transport, 512));
  Fail(Dot4Code::kRead, 1, 31);
  EXPECT_EQ("!16389", Read(transport, 10));
  Fail(Dot4Code::kWrite, 2, 5);  // no sign of a lost connection
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_EQ(1, Failed());
  Fail(Dot4Code::kWrite, 1000, 31);
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_LT(Failed(), 100);
  Fail(Dot4Code::kWrite, 1, 31);
  Fail(Dot4Code::kCreateSocket, 2, 8);
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_EQ(S_OK, Write(transport, "again")) << "finds nothing open and connects";
}

// Catches a wait without an end, and one that the trace does not tell.
TEST_F(Dot4Transport, AStackThatDoesNotAnswer) {
  for (const Dot4Code code : {Dot4Code::kCreateSocket, Dot4Code::kOpenChannel}) {
    cuts = 100;
    Fail(code, 100, kSilence);
    Dot4StackTransport transport;
    SetTimeouts(transport, {200, 0, 0});
    EXPECT_GT(0, transport.OpenIO(path_.c_str()));
    EXPECT_GT(0, transport.ConnectToIO());
    EXPECT_EQ(2, Failed()) << "not asked again by one operation";
    Fail(code, 0, 0);
    cuts = 0;
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    cuts = 1;
    EXPECT_EQ("!16389", Read(transport, 4));
    EXPECT_EQ(S_OK, Write(transport, "x")) << "the late answer is not the write's";
    cuts = 100;
    for (const Dot4Code later :
         {Dot4Code::kRead, Dot4Code::kWrite, Dot4Code::kCloseChannel, Dot4Code::kDestroySocket})
      Fail(later, 1, kSilence);
    EXPECT_EQ("!16389", Read(transport, 2));
    EXPECT_EQ(E_FAIL, Write(transport, "x"));
    EXPECT_EQ(kIoTimeout, transport.DisConnectFromIO());
    EXPECT_EQ(4, Failed());
    EXPECT_EQ(2 + 1 + 4, NewLinesWith("no answer to request 3a20"));
  }
  cuts = 0;
}

// Catches one that stays broken although its file is there again, or tells of bytes that moved.
TEST_F(Dot4Transport, TheOneThatMovesNothing) {
  const std::string missing = place_.File("missing");
  Dot4SilentTransport transport;
  const auto escape = [&] { return transport.Escape(7, nullptr, 0, nullptr, 0, nullptr); };
  EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
  EXPECT_EQ(error::ToResult(2), transport.OpenIO(missing.c_str()));
  EXPECT_EQ(E_FAIL, transport.ConnectToIO());
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_EQ("!16389", Read(transport, 5));
  EXPECT_EQ(E_FAIL, escape());
  std::filesystem::create_symlink(path_, missing);
  EXPECT_EQ("!258", Read(transport, 5));
  EXPECT_EQ(S_OK, escape());
  uint32_t moved = 9;
  EXPECT_EQ(S_OK, transport.WriteData("hello", 5, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  EXPECT_EQ(0, stack_.open_sockets());
}

}  // namespace
}  // namespace scantk

extern "C" int poll(pollfd* files, nfds_t count, int timeout) {
  static const auto next = reinterpret_cast<decltype(&poll)>(dlsym(RTLD_NEXT, "poll"));
  if (timeout < scantk::kLong || scantk::cuts == 0) return next(files, count, timeout);
  EXPECT_TRUE(timeout > 29000 && timeout <= 30000) << timeout;
  --scantk::cuts;
  return next(files, count, scantk::kCut);
}
