// The DOT4 transports against a small stack that keeps every byte it is sent.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <numeric>

#include "io/mxvio_dot4ms.h"
#include "io/mxvio_dot4ov.h"
#include "tests/diag/trace_fixture.h"
#include "tests/doubles/dot4_stack.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

using namespace stack_code;

// Waits of half a minute are cut short, those of this thread counted: poll is this file's own.
constexpr int kLong = 20000, kCut = 50;  // ms
std::atomic<bool> cutting{false};
thread_local int half_minutes = 0;

class Dot4Transport : public TraceFixture {
 protected:
  static constexpr uint32_t kSilence = 0xFFFFFFFF, kHangUp = 0xFFFFFFFE;  // in place of errors

  std::string Path() const { return place_.File("dot4"); }
  static std::string Read(mxvio& transport, uint32_t size, IoResult* result) {
    std::string text(size, '\0');
    *result = transport.ReadData(text.data(), &size, nullptr);
    text.resize(size);
    return text;
  }
  static IoResult Write(mxvio& transport, const std::string& text) {
    uint32_t written = 99;
    const auto size = static_cast<uint32_t>(text.size());
    const IoResult result = transport.WriteData(text.data(), size, &written, nullptr);
    EXPECT_EQ(result == S_OK ? size : 0, written);
    return result;
  }
  void Open(mxvio& transport) {
    ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
    TakeCodes();
  }
  // The next requests of `code` end with these errors.
  void Fail(uint32_t code, std::deque<uint32_t> errors) {
    const std::lock_guard lock(mutex_);
    failures_[code] = std::move(errors);
  }
  std::vector<StackRequest> TakeRequests() {
    const std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
  }
  // One letter a request: Create, Destroy, Open, cLose, Read, Write.
  std::string TakeCodes() {
    static const std::map<uint32_t, char> letters = {
        {kCreate, 'C'}, {kDestroy, 'D'}, {kOpen, 'O'}, {kClose, 'L'}, {kRead, 'R'}, {kWrite, 'W'}};
    std::string codes;
    for (const StackRequest& request : TakeRequests()) codes += letters.at(request.code);
    return codes;
  }

  TestClock clock_;
  std::mutex mutex_;
  std::map<uint32_t, std::deque<uint32_t>> failures_;
  std::deque<std::string> reads_;  // what the next reads bring; then nothing
  std::vector<StackRequest> requests_;
  std::string written_;

 private:
  StackReply Answer(const StackRequest& request) {
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    if (auto& planned = failures_[request.code]; !planned.empty()) {
      const uint32_t failure = planned.front();
      planned.pop_front();
      if (failure == kHangUp) return {"", false};
      if (failure == kSilence) return {""};
      if (failure != 0) return StackAnswer(failure, 0);
    }
    const std::string data = request.Data();
    if (request.code == kWrite) {
      written_ += data;
      return StackAnswer(0, static_cast<uint32_t>(data.size()));
    }
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

  uint8_t next_ = 9;
  StackServer stack_{Path(), [this](const StackRequest& request) { return Answer(request); }};
};

// Bytes given in hex.
std::string Bytes(const std::string& hex) {
  std::string bytes;
  for (size_t at = 0; at < hex.size(); at += 2)
    bytes.push_back(static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16)));
  return bytes;
}

// Catches any byte of any request that is wrong, and any request out of order.
TEST_F(Dot4Transport, RequestsOnTheWire) {
  MXVIO_DOT4MS transport;
  IoTimeouts timeouts = {0x01020304, 0x11121314, 0};
  IoResult result = S_OK;
  transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr);
  reads_ = {"answer"};
  ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
  EXPECT_EQ(S_OK, transport.ConnectToIO());  // is connected already
  EXPECT_EQ(S_OK, Write(transport, "*E"));
  EXPECT_EQ("answer", Read(transport, 0x0203, &result));
  EXPECT_EQ(S_OK, transport.DisConnectFromIO());
  EXPECT_EQ(S_OK, transport.CloseIO());
  const std::string none(41, '\0'), expected[] = {Bytes("0000000038000000"
                                                        "00000000ffffffff04") +
                                                      none + Bytes("010000f40100fa00007d00000000"),
                                                  Bytes("0000000010000000"
                                                        "00000000ffffffff0900000000000000"),
                                                  Bytes("0a50000002000000"
                                                        "00000000141312112a45"),
                                                  Bytes("0a50000003020000"
                                                        "0000000004030201"),
                                                  Bytes("0a50000000000000"
                                                        "00000000ffffffff"),
                                                  Bytes("0000000001000000"
                                                        "00000000ffffffff09")};
  std::string inputs, limits;
  for (const StackRequest& request : requests_) {
    inputs += request.input;
    limits += std::to_string(request.reply_limit) + " ";
  }
  EXPECT_EQ("COWRLD", TakeCodes());
  EXPECT_EQ("56 8 0 515 0 0 ", limits);
  EXPECT_EQ(std::accumulate(std::begin(expected), std::end(expected), std::string()), inputs);
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
               {kOpen, 2, S_OK, S_OK, 1, "COOO"},
               {kOpen, 6, S_OK, S_OK, 5, "COOOOOOO"},
               {kOpen, 30, E_FAIL, S_OK, 25, "COOOOOOOOOOOOOOOOOOOOOOOOOOOOOOO"},
               {kCreate, 5, E_FAIL, S_OK, 0, "CCCCCCO"},
               {kCreate, 8, E_FAIL, E_FAIL, 0, "CCCCCCCC"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.requests);
    clock_.sleeps.clear();
    Fail(c.code, std::deque<uint32_t>(c.failures, 31));
    {
      MXVIO_DOT4MS transport;
      EXPECT_EQ(c.opened, transport.OpenIO(Path().c_str()));
      const IoResult connected = c.opened == S_OK ? S_OK : transport.ConnectToIO();
      EXPECT_EQ(c.connected, connected);
      EXPECT_EQ(std::vector<uint32_t>(c.sleeps, 10000), clock_.sleeps);
      EXPECT_EQ(c.requests, TakeCodes());
    }
    EXPECT_EQ(c.connected == S_OK ? "LD" : "", TakeCodes());
  }
}

TEST_F(Dot4Transport, EmptyReads) {
  MXVIO_DOT4MS transport;
  Open(transport);
  IoResult result = E_FAIL;
  EXPECT_EQ("", Read(transport, 1, &result));
  EXPECT_EQ(S_OK, result);
  EXPECT_EQ("R", TakeCodes());
  EXPECT_EQ("", Read(transport, 2, &result));
  EXPECT_EQ(error::ToResult(258), result);
  EXPECT_EQ("RRRRRRRRRR", TakeCodes());
  reads_ = {"", "some"};
  EXPECT_EQ("some", Read(transport, 512, &result));
  EXPECT_EQ("RR", TakeCodes());
  Fail(kRead, {31});
  EXPECT_EQ("", Read(transport, 10, &result));
  EXPECT_EQ(E_FAIL, result);
  EXPECT_EQ("R", TakeCodes());
}

// Catches a write that is lost with its connection, repeated on the old channel, or for ever.
TEST_F(Dot4Transport, WritesOverALostConnection) {
  for (const uint32_t lost : {6u, 31u, 1609u, kHangUp}) {
    SCOPED_TRACE(lost);
    MXVIO_DOT4MS transport;
    Open(transport);
    Fail(kWrite, {lost});
    written_.clear();
    EXPECT_EQ(S_OK, Write(transport, "hello"));
    EXPECT_EQ("hello", written_);
    const std::vector<StackRequest> requests = TakeRequests();
    EXPECT_EQ(lost == kHangUp ? 4u : 6u, requests.size())
        << "one that is gone is not asked to close";
    EXPECT_NE(requests.front().input.substr(0, 4), requests.back().input.substr(0, 4));
  }
  MXVIO_DOT4MS transport;
  Open(transport);
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
    half_minutes = 0;
    Fail(code, std::deque<uint32_t>(100, kSilence));
    MXVIO_DOT4MS transport;
    EXPECT_GT(0, transport.OpenIO(Path().c_str()));
    EXPECT_GT(0, transport.ConnectToIO());
    EXPECT_EQ(2, half_minutes) << "not asked again by the same operation";
    EXPECT_THAT(NewLines(), testing::Contains(testing::HasSubstr("no answer to request 3a20")));
    Fail(code, {});
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    for (const uint32_t later : {kRead, kWrite, kClose, kDestroy}) Fail(later, {kSilence});
    half_minutes = 0;
    IoResult result = S_OK;
    EXPECT_EQ("", Read(transport, 2, &result));
    EXPECT_EQ(E_FAIL, result);
    EXPECT_EQ(E_FAIL, Write(transport, "x"));
    EXPECT_EQ(kIoTimeout, transport.DisConnectFromIO());
    EXPECT_EQ(4, half_minutes);
  }
  cutting = false;
}

// Catches a transport that stays broken although its file is there again.
TEST_F(Dot4Transport, AFileThatComesLater) {
  const std::string missing = place_.File("missing");
  IoTimeouts timeouts = {};
  IoResult result = E_FAIL;
  MXVIO_DOT4MS moves;
  MXVIO_DOT4OV moves_nothing;
  for (MXVIO_DOT4* transport :
       {static_cast<MXVIO_DOT4*>(&moves), static_cast<MXVIO_DOT4*>(&moves_nothing)}) {
    std::filesystem::remove(missing);
    EXPECT_EQ(E_INVALIDARG, transport->OpenIO(nullptr));
    EXPECT_EQ(transport == &moves ? E_FAIL : error::ToResult(2),
              transport->OpenIO(missing.c_str()));
    EXPECT_EQ(E_FAIL, transport->ConnectToIO());
    EXPECT_EQ("", Read(*transport, 5, &result));
    EXPECT_EQ(E_FAIL, result);
    EXPECT_EQ(E_FAIL, Write(*transport, "hello"));
    EXPECT_EQ(E_FAIL, transport->Escape(7, nullptr, 0, nullptr, 0, nullptr));
    std::filesystem::create_symlink(Path(), missing);
    reads_ = {"there"};
    EXPECT_EQ(transport == &moves ? "there" : "", Read(*transport, 5, &result));
    EXPECT_EQ(transport == &moves ? S_OK : error::ToResult(258), result);
    EXPECT_EQ(S_OK, transport->Escape(7, nullptr, 0, nullptr, 0, nullptr));
    EXPECT_EQ(S_OK, transport->Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
    EXPECT_EQ(30000u, timeouts.read);
    EXPECT_EQ(500u, timeouts.flush);
    EXPECT_EQ(S_OK, transport->DisConnectFromIO());
    EXPECT_EQ(S_OK, transport->ConnectToIO());
  }
  uint32_t moved = 9;
  EXPECT_EQ(S_OK, moves_nothing.WriteData("hello", 5, &moved, nullptr));
  EXPECT_EQ(0u, moved);
}

}  // namespace
}  // namespace scantk

extern "C" int poll(pollfd* files, nfds_t count, int timeout) {
  static const auto next = reinterpret_cast<decltype(&poll)>(dlsym(RTLD_NEXT, "poll"));
  if (!scantk::cutting || timeout < scantk::kLong) return next(files, count, timeout);
  EXPECT_TRUE(timeout > 29000 && timeout <= 30000) << timeout;
  ++scantk::half_minutes;
  return next(files, count, scantk::kCut);
}
