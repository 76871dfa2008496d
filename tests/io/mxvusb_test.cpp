// The USB transport and the device files below it, on pseudo-terminals; and the requests to a stack
// on a pair of sockets.
#include "io/mxvusb.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <thread>

#include "platform/stand_ins/request_link.h"
#include "platform/system.h"
#include "tests/diag/test_place.h"
#include "tests/doubles/dot4_stack.h"

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
    for (size_t sent = 0; sent < text.size();) {
      const ssize_t moved = write(master_.Get(), text.data() + sent, text.size() - sent);
      if (moved <= 0) return;
      sent += static_cast<size_t>(moved);
    }
  }
  std::string Receive(size_t size) {
    std::string text(size, '\0');
    size_t got = 0;
    pollfd waiting = {master_.Get(), POLLIN, 0};
    while (got < size && poll(&waiting, 1, 10000) > 0) {
      const ssize_t moved = read(master_.Get(), text.data() + got, size - got);
      if (moved <= 0) break;
      got += static_cast<size_t>(moved);
    }
    return text.substr(0, got);
  }
  void HangUp() { master_.Reset(); }

  std::string path;

 private:
  OwnedFile master_;
};

std::string Read(mxvio& transport, uint32_t size, IoResult* result) {
  std::string text(size, '\0');
  *result = transport.ReadData(text.data(), &size, nullptr);
  text.resize(size);
  return text;
}

IoResult Write(mxvio& transport, const std::string& text, uint32_t* written) {
  return transport.WriteData(text.data(), static_cast<uint32_t>(text.size()), written, nullptr);
}

void SetReadTimeout(mxvio& transport, uint32_t milliseconds) {
  IoTimeouts timeouts = {milliseconds, 0, 0};
  EXPECT_EQ(S_OK, transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
}

// Catches a byte value that a terminal would translate, and a transfer that is cut where the kernel
// cuts it.
TEST(UsbTransport, EveryByteValueBothWays) {
  std::string all(256 * 400, '\0');
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i * 7 + i / 256);
  PseudoTerminal device;
  mxvusb transport;
  IoResult result = S_OK;
  uint32_t written = 0;
  ASSERT_EQ(S_OK, transport.OpenIO(device.path.c_str()));
  EXPECT_EQ(S_OK, transport.OpenIO("elsewhere")) << "is open already";
  std::string received;
  std::thread reader([&] { received = device.Receive(all.size()); });
  EXPECT_EQ(S_OK, Write(transport, all, &written));
  reader.join();
  EXPECT_EQ(all.size(), written);
  EXPECT_TRUE(all == received);
  std::thread sender([&] { device.Send(all + "tail"); });
  EXPECT_TRUE(all == Read(transport, static_cast<uint32_t>(all.size()), &result));
  sender.join();
  EXPECT_EQ("tail", Read(transport, 64, &result)) << "a short transfer";
  EXPECT_EQ(S_OK, result);
  EXPECT_EQ(S_OK, transport.CloseIO());
  EXPECT_EQ(S_OK, transport.OpenIO(device.path.c_str()));
}

// Catches waits that end too late or never, and bytes that a time-out or an unplugged device takes
// along.
TEST(UsbTransport, SilentAndUnpluggedDevices) {
  PseudoTerminal device;
  mxvusb transport;
  IoResult result = S_OK;
  uint32_t written = 9;
  ASSERT_EQ(S_OK, transport.OpenIO(device.path.c_str()));
  SetReadTimeout(transport, 120);
  IoTimeouts timeouts = {};
  transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr);
  EXPECT_EQ("120 30000 500", std::to_string(timeouts.read) + " " + std::to_string(timeouts.write) +
                                 " " + std::to_string(timeouts.flush));
  EXPECT_EQ("", Read(transport, 64, &result));
  EXPECT_EQ(kIoTimeout, result);
  device.Send("part");
  EXPECT_EQ("part", Read(transport, 64, &result));
  EXPECT_EQ(S_OK, result);
  // What came before the device went is still the host's.
  DeviceFile file;
  Overlapped record;
  uint32_t count = 0;
  char text[64];
  device.Send("last words");
  const OwnedFile there(open(device.path.c_str(), O_RDONLY | O_NOCTTY));
  pollfd readable = {there.Get(), POLLIN, 0};
  ASSERT_TRUE(file.Open(device.path.c_str()));
  ASSERT_EQ(1, poll(&readable, 1, 10000));
  EXPECT_FALSE(file.Read(text, sizeof text, &count, &record));
  device.HangUp();
  EXPECT_TRUE(file.Result(&record, &count, true));
  EXPECT_EQ("last words", std::string(text, count));
  EXPECT_EQ("", Read(transport, 64, &result));
  EXPECT_THAT(result, testing::AnyOf(error::ToResult(31), error::ToResult(1167)));
  EXPECT_GT(0, Write(transport, "x", &written));
  EXPECT_EQ(0u, written);
}

TEST(UsbTransport, FilesThatCannotBeOpened) {
  const TestPlace place;
  PseudoTerminal device;
  const std::string missing = place.File("missing");
  const std::pair<std::string, uint32_t> names[] = {{missing, 2}, {place.Folder(), 5}, {"", 2}};
  IoResult result = S_OK;
  uint32_t written = 9;
  char byte;
  for (const auto& [name, number] : names) {
    mxvusb transport;
    EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
    EXPECT_EQ(error::ToResult(error::kInvalidHandle), Write(transport, "x", &written));
    EXPECT_EQ(error::ToResult(number), transport.OpenIO(name.c_str())) << name;
    uint32_t length = 1;
    EXPECT_EQ(E_FAIL, transport.ReadData(&byte, &length, nullptr));
    EXPECT_EQ(1u, length);
    EXPECT_EQ(E_FAIL, Write(transport, "x", &written));
    EXPECT_EQ(0u, written);
    EXPECT_EQ(E_FAIL, transport.Escape(GET_TIMEOUTS, &length, 12, nullptr, 0, nullptr));
    if (name != missing) continue;
    std::filesystem::create_symlink(device.path, missing);
    EXPECT_EQ(S_OK, transport.OpenIO(nullptr)) << "the name is kept";
    device.Send("x");
    EXPECT_EQ("x", Read(transport, 1, &result));
    EXPECT_EQ(error::ToResult(50), transport.Escape(77, nullptr, 0, nullptr, 0, &length));
  }
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
  OwnedFile near, far;
  std::optional<RequestLink> link;
};

std::string Numbers(std::initializer_list<uint32_t> numbers) {
  std::string bytes;
  for (const uint32_t number : numbers) bytes += StackNumber(number);
  return bytes;
}

// Catches a reply that reaches behind its buffer, an answer that breaks the form and is believed,
// and one that came in pieces and is not.
TEST(RequestLink, AnswersOfAStack) {
  using Data = DeviceRequest::Data;
  const struct {
    std::string answer;
    Data direction;
    uint32_t error, count;
  } cases[] = {{Numbers({0, 3, 3}) + "abc", Data::kFilled, 0, 3},
               {Numbers({0, 8, 8}) + "abcdefgh", Data::kSentAndFilled, 0, 8},
               {Numbers({0, 0, 0}), Data::kFilled, 0, 0},
               {Numbers({0, 8, 0}), Data::kSent, 0, 8},
               {Numbers({1609, 0, 0}), Data::kFilled, 1609, 0},
               {Numbers({0, 9, 9}) + "abcdefghi", Data::kFilled, 31, 0},
               {Numbers({0, 0xFFFFFFFF, 0xFFFFFFFF}), Data::kFilled, 31, 0},
               {Numbers({0, 8, 3}) + "abc", Data::kFilled, 31, 0},
               {Numbers({0, 9, 0}), Data::kSent, 31, 0},
               {Numbers({0, 1, 1}) + "a", Data::kSent, 31, 0},
               {Numbers({0, 3}), Data::kFilled, 31, 0},
               {Numbers({0, 3, 3}) + "ab", Data::kFilled, 31, 0}};
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
      if (c.error == 0) {
        EXPECT_EQ(c.count, test.link->Returned());
      }
      EXPECT_EQ('|', data[8]);
      if (c.error != 0 || c.answer.size() <= 12) continue;
      EXPECT_EQ(c.answer.substr(12) + std::string(8 - c.count, '.'), std::string(data, 8));
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
  EXPECT_FALSE(test.Answer(Numbers({0, 3, 3}) + "old" + Numbers({5, 0, 0})));
  EXPECT_TRUE(test.Answer(Numbers({0, 3, 3}) + "new"));
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
