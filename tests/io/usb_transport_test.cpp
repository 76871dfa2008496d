// The USB transport and the device files below it, on pseudo-terminals; and the requests to a stack
// on a pair of sockets.
#include "io/usb_transport.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <string>

#include "platform/posix/file.h"
#include "platform/stand_ins/request_link.h"
#include "platform/system.h"

namespace scantk {
namespace {

// A device file whose far side the test holds.
class PseudoTerminal {
 public:
  PseudoTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(master_.Get());
    unlockpt(master_.Get());
    char name[128];
    if (ptsname_r(master_.Get(), name, sizeof name) == 0) path = name;
  }
  void Send(const std::string& text) {
    EXPECT_EQ(std::ssize(text), write(master_.Get(), text.data(), text.size()));
  }
  void HangUp() { master_.Reset(); }

  std::string path;

 private:
  File master_;
};

// What a read brings, with the result where that is not 0.
std::string Read(Transport& transport, uint32_t size) {
  std::string text(size, '\0');
  const IoResult result = transport.ReadData(text.data(), &size, nullptr);
  text.resize(size);
  return result == S_OK ? text : text + "!" + std::to_string(result & 0xFFFF);
}

// Catches waits that end too late or never, and bytes that a time-out or an unplugged device takes
// along.
TEST(UsbTransport, SilentAndUnpluggedDevices) {
  PseudoTerminal device;
  UsbTransport transport;
  uint32_t written = 9;
  ASSERT_EQ(S_OK, transport.OpenIO(device.path.c_str()));
  EXPECT_EQ(S_OK, transport.OpenIO("elsewhere")) << "is open already";
  IoTimeouts timeouts = {120, 0, 0};
  EXPECT_EQ(E_INVALIDARG, transport.Escape(GET_TIMEOUTS, &timeouts, 8, nullptr, 0, nullptr));
  EXPECT_EQ(E_INVALIDARG, transport.Escape(SET_TIMEOUTS, &timeouts, 8, nullptr, 0, nullptr));
  transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr);
  transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr);
  EXPECT_TRUE(timeouts.read == 120 && timeouts.write == 30000 && timeouts.flush == 500);
  EXPECT_EQ("!258", Read(transport, 64));
  device.Send("part");
  EXPECT_EQ("part", Read(transport, 64));
  // What came before the device went is still the host's.
  DeviceFile file;
  Overlapped record;
  uint32_t count = 0;
  char text[64];
  device.Send("last words");
  const File there(open(device.path.c_str(), O_RDONLY | O_NOCTTY));
  pollfd readable = {there.Get(), POLLIN, 0};
  ASSERT_TRUE(file.Open(device.path.c_str()));
  ASSERT_EQ(1, poll(&readable, 1, 10000));
  EXPECT_FALSE(file.Read(text, sizeof text, &count, &record));
  device.HangUp();
  EXPECT_TRUE(file.Result(&record, &count, true));
  EXPECT_EQ("last words", std::string(text, count));
  EXPECT_THAT(Read(transport, 64), testing::AnyOf("!31", "!1167"));
  EXPECT_GT(0, transport.WriteData("x", 1, &written, nullptr));
  EXPECT_EQ(0u, written);
}

// A request on one end of a socket pair; the test holds the other.
struct LinkTest {
  LinkTest() {
    int pair[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair));
    near.Reset(pair[0]);
    far.Reset(pair[1]);
    link.emplace(near.Get());
  }
  bool Answer(const std::string& bytes) {
    send(far.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return link->Advance();
  }
  File near, far;
  std::optional<RequestLink> link;
};

std::string Answer(uint32_t error, uint32_t moved, uint32_t size, const char* reply = "") {
  std::string text;
  for (const uint32_t number : {error, moved, size})
    for (int shift = 0; shift < 32; shift += 8) text.push_back(static_cast<char>(number >> shift));
  return text + reply;
}

// Catches a reply that reaches behind its buffer, an answer that breaks the form and is believed,
// and one that came in pieces and is not.
TEST(RequestLink, AnswersOfAStack) {
  using Data = DeviceRequest::Data;
  const struct {
    std::string answer;
    Data direction;
    uint32_t error, count;
  } cases[] = {{Answer(0, 3, 3, "abc"), Data::kFilled, 0, 3},
               {Answer(0, 8, 8, "abcdefgh"), Data::kSentAndFilled, 0, 8},
               {Answer(0, 0, 0), Data::kFilled, 0, 0},
               {Answer(0, 8, 0), Data::kSent, 0, 8},
               {Answer(1609, 0, 0), Data::kFilled, 1609, 0},
               {Answer(0, 9, 9, "abcdefghi"), Data::kFilled, 31, 0},
               {Answer(0, 0xFFFFFFFF, 0xFFFFFFFF), Data::kFilled, 31, 0},
               {Answer(0, 8, 3, "abc"), Data::kFilled, 31, 0},
               {Answer(0, 9, 0), Data::kSent, 31, 0},
               {Answer(0, 1, 1, "a"), Data::kSent, 31, 0},
               {Answer(0, 3, 3, "ab"), Data::kFilled, 31, 0}};
  for (const auto& c : cases) {
    for (const size_t piece : {size_t{1}, size_t{64}}) {
      LinkTest test;
      char data[] = "........|";  // with a fence behind its eight bytes
      test.link->Begin({0x3A200E, "head", 4, c.direction, data, 8});
      EXPECT_FALSE(test.link->Advance());
      bool done = false;
      for (size_t at = 0; at < c.answer.size() && !done; at += piece)
        done = test.Answer(c.answer.substr(at, piece));
      test.far.Reset();
      EXPECT_TRUE(test.link->Advance());
      EXPECT_EQ(c.error, test.link->Error()) << c.answer.size();
      EXPECT_EQ('|', data[8]);
      if (c.error != 0) continue;
      EXPECT_EQ(c.count, test.link->Returned());
      EXPECT_EQ(c.answer.substr(12), std::string(data, c.answer.size() - 12));
    }
  }
}

// Catches the answer to a request that was given up taken for that of the next one.
TEST(RequestLink, WhatWasGivenUpIsOver) {
  using Data = DeviceRequest::Data;
  LinkTest test;
  char data[3];
  for (int i = 0; i < 3; ++i) {
    test.link->Begin({1, nullptr, 0, Data::kFilled, data, 3});
    EXPECT_FALSE(test.link->Advance());
    if (i < 2) test.link->Cancel();
  }
  EXPECT_FALSE(test.Answer(Answer(0, 3, 3, "old") + Answer(5, 0, 0)));
  EXPECT_TRUE(test.Answer(Answer(0, 3, 3, "new")));
  EXPECT_EQ("new", std::string(data, 3));
  // Half a request leaves nothing that a stack could make sense of.
  std::string much(8 << 20, 'm');
  test.link->Begin({1, nullptr, 0, Data::kSent, much.data(), static_cast<uint32_t>(much.size())});
  EXPECT_FALSE(test.link->Advance());
  test.link->Cancel();
  test.link->Begin({2, nullptr, 0, Data::kNone, nullptr, 0});
  EXPECT_TRUE(test.link->Advance());
  EXPECT_EQ(31u, test.link->Error());
}

}  // namespace
}  // namespace scantk
