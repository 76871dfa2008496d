// The DOT4 transports against a small stack that keeps every byte it is sent.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <deque>
#include <filesystem>
#include <map>
#include <mutex>

#include "io/dot4_silent_transport.h"
#include "io/dot4_stack_transport.h"
#include "tests/diag/trace_fixture.h"
#include "tests/doubles/dot4_stack.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

using namespace stack_code;

// Waits of half a minute are cut short: poll is this file's own.
constexpr int kLong = 20000, kCut = 50;  // ms
std::atomic<bool> cutting{false};

class Dot4Transport : public TraceFixture {
 protected:
  static constexpr uint32_t kSilence = 0xFFFFFFFF, kLate = 0xFFFFFFFE;  // in place of errors

  std::string Path() const { return place_.File("dot4"); }
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
  // The next requests of `code` end with these errors.
  void Fail(uint32_t code, std::deque<uint32_t> errors) {
    const std::lock_guard lock(mutex_);
    failures_[code] = std::move(errors);
  }
  // One letter a request: Create, Destroy, Open, cLose, Read, Write.
  std::string TakeCodes() {
    const std::lock_guard lock(mutex_);
    return std::exchange(codes_, {});
  }

  TestClock clock_;
  std::mutex mutex_;
  std::map<uint32_t, std::deque<uint32_t>> failures_;
  std::deque<std::string> reads_;  // what the next reads bring; then nothing
  std::string codes_, inputs_, limits_;

 private:
  // An answer that came too late lies before the next one.
  StackReply Answer(const StackRequest& request) {
    const std::string late = std::exchange(late_, {});
    return {late + AnswerInTime(request).bytes};
  }
  StackReply AnswerInTime(const StackRequest& request) {
    static const std::map<uint32_t, char> letters = {
        {kCreate, 'C'}, {kDestroy, 'D'}, {kOpen, 'O'}, {kClose, 'L'}, {kRead, 'R'}, {kWrite, 'W'}};
    const std::lock_guard lock(mutex_);
    codes_ += letters.at(request.code);
    inputs_ += request.input;
    limits_ += std::to_string(request.reply_limit) + " ";
    if (auto& planned = failures_[request.code]; !planned.empty()) {
      const uint32_t failure = planned.front();
      planned.pop_front();
      if (failure == kSilence) return {""};
      if (failure == kLate) return late_ = StackAnswer(0, 4, "late").bytes, StackReply{""};
      if (failure != 0) return StackAnswer(failure, 0);
    }
    const std::string data = request.Data();
    if (request.code == kWrite) return StackAnswer(0, static_cast<uint32_t>(data.size()));
    std::string reply;
    if (request.code == kCreate)
      reply = data.substr(0, 52) + static_cast<char>(next_++) + data.substr(53);
    if (request.code == kOpen) reply = data.substr(0, 4) + StackNumber(0x5000 + next_++);
    if (request.code == kRead && !reads_.empty()) {
      reply = reads_.front();
      reads_.pop_front();
    }
    return StackAnswer(0, static_cast<uint32_t>(reply.size()), reply);
  }

  std::string late_;
  uint8_t next_ = 9;
  StackServer stack_{Path(), [this](const StackRequest& request) { return Answer(request); }};
};

// Catches any byte of any request that is wrong, and any request out of order.
TEST_F(Dot4Transport, RequestsOnTheWire) {
  Dot4StackTransport transport;
  IoTimeouts timeouts = {0x01020304, 0x11121314, 0};
  transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr);
  reads_ = {"answer"};
  ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
  EXPECT_EQ(S_OK, transport.ConnectToIO());  // is connected already
  EXPECT_EQ(S_OK, Write(transport, "*E"));
  EXPECT_EQ("answer", Read(transport, 0x0203));
  EXPECT_EQ(S_OK, transport.DisConnectFromIO());
  EXPECT_EQ("COWRLD", TakeCodes());
  EXPECT_EQ("56 8 0 515 0 0 ", limits_);
  std::string inputs;
  for (const char byte : inputs_) {
    char hex[3];
    std::snprintf(hex, sizeof hex, "%02x", static_cast<uint8_t>(byte));
    inputs += hex;
  }
  EXPECT_EQ("000000003800000000000000ffffffff04" + std::string(82, '0') +
                "010000f40100fa00007d00000000"
                "000000001000000000000000ffffffff0900000000000000"
                "0a5000000200000000000000141312112a45"
                "0a500000030200000000000004030201"
                "0a5000000000000000000000ffffffff"
                "000000000100000000000000ffffffff09",
            inputs);
}

// Catches steps that are repeated too often, too rarely or without their pause, and a socket that
// is asked for twice or left behind.
TEST_F(Dot4Transport, StepsThatFail) {
  const struct {
    uint32_t code;
    int failures;
    IoResult opened, connected;
    size_t sleeps;
    const char* requests;  // of opening and, when that failed, connecting
  } cases[] = {{kOpen, 1, S_OK, S_OK, 0, "COO"},
               {kOpen, 6, S_OK, S_OK, 5, "COOOOOOO"},
               {kOpen, 30, E_FAIL, S_OK, 25, "COOOOOOOOOOOOOOOOOOOOOOOOOOOOOOO"},
               {kCreate, 5, E_FAIL, S_OK, 0, "CCCCCCO"},
               {kCreate, 8, E_FAIL, E_FAIL, 0, "CCCCCCCC"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.requests);
    clock_.sleeps.clear();
    Fail(c.code, std::deque<uint32_t>(c.failures, 31));
    {
      Dot4StackTransport transport;
      EXPECT_EQ(c.opened, transport.OpenIO(Path().c_str()));
      const IoResult connected = c.opened == S_OK ? S_OK : transport.ConnectToIO();
      EXPECT_EQ(c.connected, connected);
      EXPECT_EQ(std::vector<uint32_t>(c.sleeps, 10000), clock_.sleeps);
      EXPECT_EQ(c.requests, TakeCodes());
    }
    EXPECT_EQ(c.connected == S_OK ? "LD" : "", TakeCodes());
  }
}

// Catches a read that is repeated too often or too rarely, and a write that is repeated for ever.
TEST_F(Dot4Transport, EmptyReadsAndFailedWrites) {
  Dot4StackTransport transport;
  ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
  TakeCodes();
  EXPECT_EQ("", Read(transport, 1));
  EXPECT_EQ("R", TakeCodes());
  EXPECT_EQ("!258", Read(transport, 2));
  EXPECT_EQ("RRRRRRRRRR", TakeCodes());
  reads_ = {"", "some"};
  EXPECT_EQ("some", Read(transport, 512));
  Fail(kRead, {31});
  EXPECT_EQ("!16389", Read(transport, 10));
  EXPECT_EQ("RRR", TakeCodes());
  Fail(kWrite, {5});  // no sign of a lost connection
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_EQ("W", TakeCodes());
  Fail(kWrite, std::deque<uint32_t>(1000, 31));
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_LT(TakeCodes().size(), 100u);
  Fail(kWrite, {31});
  Fail(kCreate, {8, 8});
  EXPECT_EQ(E_FAIL, Write(transport, "hello"));
  EXPECT_EQ(S_OK, Write(transport, "again")) << "finds nothing open and connects";
}

// Catches a wait without an end, and one that the trace does not tell.
TEST_F(Dot4Transport, AStackThatDoesNotAnswer) {
  cutting = true;
  for (const uint32_t code : {kCreate, kOpen}) {
    Fail(code, std::deque<uint32_t>(100, kSilence));
    Dot4StackTransport transport;
    EXPECT_GT(0, transport.OpenIO(Path().c_str()));
    EXPECT_GT(0, transport.ConnectToIO());
    EXPECT_EQ(code == kCreate ? "CC" : "COO", TakeCodes()) << "not asked again by one operation";
    EXPECT_THAT(NewLines(), testing::Contains(testing::HasSubstr("no answer to request 3a20")));
    Fail(code, {});
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    TakeCodes();
    Fail(kRead, {kLate});
    EXPECT_EQ("!16389", Read(transport, 4));
    EXPECT_EQ(S_OK, Write(transport, "x")) << "the late answer is not the write's";
    EXPECT_EQ("RW", TakeCodes());
    for (const uint32_t later : {kRead, kWrite, kClose, kDestroy}) Fail(later, {kSilence});
    EXPECT_EQ("!16389", Read(transport, 2));
    EXPECT_EQ(E_FAIL, Write(transport, "x"));
    EXPECT_EQ(kIoTimeout, transport.DisConnectFromIO());
    EXPECT_EQ("RWLD", TakeCodes());
  }
  cutting = false;
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
  std::filesystem::create_symlink(Path(), missing);
  EXPECT_EQ("!258", Read(transport, 5));
  EXPECT_EQ(S_OK, escape());
  uint32_t moved = 9;
  EXPECT_EQ(S_OK, transport.WriteData("hello", 5, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  EXPECT_EQ("", TakeCodes());
}

}  // namespace
}  // namespace scantk

extern "C" int poll(pollfd* files, nfds_t count, int timeout) {
  static const auto next = reinterpret_cast<decltype(&poll)>(dlsym(RTLD_NEXT, "poll"));
  if (!scantk::cutting || timeout < scantk::kLong) return next(files, count, timeout);
  EXPECT_TRUE(timeout > 29000 && timeout <= 30000) << timeout;
  return next(files, count, scantk::kCut);
}
