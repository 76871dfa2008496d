// The network transport over real connections to listeners of this machine.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "io/mxvio_net.h"
#include "tests/io/loopback_device.h"

namespace scantk {
namespace {

using std::chrono::milliseconds;

// A transport with time-outs that a test can wait for.
class QuickTransport : public MXVIO_NET {
 public:
  explicit QuickTransport(const char* name) {
    IoTimeouts timeouts = {200, 200, 200};
    uint32_t returned = 0;
    Escape(SET_TIMEOUTS, &timeouts, sizeof timeouts, nullptr, 0, &returned);
    OpenIO(name);
  }
  std::string ReadText(uint32_t size, IoResult* result) {
    std::string text(size, '\0');
    uint32_t length = size;
    *result = ReadData(text.data(), &length, nullptr);
    text.resize(length);
    return text;
  }
  IoResult WriteText(const std::string& text) {
    uint32_t written = 0;
    const IoResult result =
        WriteData(text.data(), static_cast<uint32_t>(text.size()), &written, nullptr);
    EXPECT_EQ(text.size(), written);
    return result;
  }
};

template <class Call>
milliseconds TimeOf(const Call& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

TEST(NetLoopback, GreetingsOverTheWire) {
  const struct {
    const char* name;
    int busy;  // connections answered as busy before the greeting
    const char* greeting;
    IoResult result;
    int connections;
  } cases[] = {
      {"accepted", 0, "00", S_OK, 1},
      {"busy three times", 3, "00", S_OK, 4},
      {"busy", 9, "00", E_ACCESSDENIED, 5},
      {"refused", 0, "02", E_FAIL, 1},
      {"cut off", 0, "0", E_UNEXPECTED, 1},
      {"silent", 0, "", E_UNEXPECTED, 1},
      {"not a device", 0, "SSH-", E_UNEXPECTED, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LoopbackDevice device("127.0.61.1", 9291, [&](int number, DeviceConnection& connection) {
      connection.Send(number <= c.busy ? "01" : c.greeting);
      connection.Receive(1);
    });
    QuickTransport transport("\\name:127.0.61.1\\port:2");
    IoResult result = S_OK;
    const milliseconds took = TimeOf([&] { result = transport.ConnectToIO(); });
    EXPECT_EQ(c.result, result);
    EXPECT_LT(took, milliseconds(1500));
    transport.DisConnectFromIO();
    device.Stop();
    EXPECT_EQ(c.connections, device.Connections());
  }
}

TEST(NetLoopback, RefusedConnectsEndAtOnce) {
  QuickTransport transport("\\name:127.0.61.2");  // nobody listens
  IoResult result = S_OK;
  const milliseconds took = TimeOf([&] { result = transport.ConnectToIO(); });
  EXPECT_EQ(10061, result);
  EXPECT_EQ(SL_FIREWALL, ConnectStatus(result));
  EXPECT_LT(took, milliseconds(2000));
}

TEST(NetLoopback, ReadsInPiecesTimeoutsAndCloses) {
  std::promise<void> go_on;
  auto next = go_on.get_future();
  LoopbackDevice device("127.0.61.3", 9290, [&](int, DeviceConnection& connection) {
    connection.Send("00");
    connection.Send(std::string(40, 'a'));
    std::this_thread::sleep_for(milliseconds(50));
    connection.Send(std::string(60, 'b'));
    connection.Receive(1);
    connection.Send("part");
    next.wait();
    connection.Send("rest");
  });
  QuickTransport transport("\\name:127.0.61.3");
  IoResult result = S_OK;
  EXPECT_EQ(std::string(40, 'a') + std::string(60, 'b'), transport.ReadText(100, &result));
  EXPECT_EQ(S_OK, result);
  EXPECT_EQ(S_OK, transport.WriteText("?"));
  EXPECT_EQ("part", transport.ReadText(10, &result));
  EXPECT_EQ(kIoTimeout, result);
  // The read that timed out has taken nothing that came afterwards.
  go_on.set_value();
  EXPECT_EQ("rest", transport.ReadText(10, &result));
  EXPECT_EQ(10058, result);
}

// A device that reads slowly gets what was written last, although the connection is reset with
// data of its own unread.
TEST(NetLoopback, TheLastCommandsArriveBeforeTheClose) {
  const std::string commands(300000, 'c');
  std::string received;
  LoopbackDevice device("127.0.61.4", 9292, [&](int, DeviceConnection& connection) {
    connection.Send("00");
    connection.Send(std::string(50000, 'd'));
    std::this_thread::sleep_for(milliseconds(30));
    received = connection.Receive(commands.size() + 1);
  });
  {
    QuickTransport transport("\\name:127.0.61.4\\port:3");
    ASSERT_EQ(S_OK, transport.ConnectToIO());
    EXPECT_EQ(S_OK, transport.WriteText(commands));
    EXPECT_LT(TimeOf([&] { transport.DisConnectFromIO(); }), milliseconds(1000));
  }
  device.Stop();
  EXPECT_EQ(commands.size(), received.size());
}

TEST(NetLoopback, ADeviceThatKeepsItsSideOpenDoesNotHoldTheClose) {
  std::promise<void> closed;
  LoopbackDevice device("127.0.61.5", 9290, [&](int, DeviceConnection& connection) {
    connection.Send("00");
    closed.get_future().wait();
  });
  QuickTransport transport("\\name:127.0.61.5");
  IoTimeouts timeouts = {30000, 30000, 30000};
  uint32_t returned = 0;
  transport.Escape(SET_TIMEOUTS, &timeouts, sizeof timeouts, nullptr, 0, &returned);
  ASSERT_EQ(S_OK, transport.WriteText("release"));
  EXPECT_LT(TimeOf([&] { transport.DisConnectFromIO(); }), milliseconds(1000));
  EXPECT_LT(TimeOf([&] { transport.CloseIO(); }), milliseconds(100));
  closed.set_value();
}

}  // namespace
}  // namespace scantk
