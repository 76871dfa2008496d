// The network transport: on real connections, and on a scripted network where no peer can be
// brought to do what a test needs.
#include "io/network_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "tests/diag/trace_fixture.h"
#include "tests/doubles/far_end.h"
#include "tests/io/scripted_network.h"

namespace scantk {
namespace {

using std::chrono::milliseconds;
using testing::Contains;

// With time-outs that a test can wait for.
class QuickTransport : public NetworkTransport {
 public:
  explicit QuickTransport(const char* name, uint32_t limit = 250) {
    IoTimeouts timeouts = {limit, limit, limit};
    Escape(SET_TIMEOUTS, &timeouts, sizeof timeouts, nullptr, 0, nullptr);
    OpenIO(name);
  }
  IoResult Write(const std::string& text, uint32_t* written) {
    return WriteData(text.data(), static_cast<uint32_t>(text.size()), written, nullptr);
  }
};

class NetLoopback : public TraceFixture {};

// Catches a write that waits for ever, one that is cut although bytes still move, and a close that
// waits for a device that keeps its side open.
TEST_F(NetLoopback, WritesToADeviceThatIsSlowOrTakesNothing) {
  FarEnd far_end("127.0.61.5", 9290);
  const std::string much(32 << 20, 'c');
  // The target's system moves a send as a whole: there, all of it has to be taken in time.
  const uint32_t limit = kPathSeparator == '/' ? 700 : 5000;
  std::promise<void> given_up;
  size_t received = 0;
  std::thread device([&] {
    Peer slow = far_end.Accept();
    slow.Send("00");
    for (size_t last = 1; received < much.size() && last > 0; received += last) {
      const bool late = limit < 5000 && received < much.size() / 4 * 3;
      std::this_thread::sleep_for(milliseconds(late ? 80 : 0));  // a device's own pace
      last = slow.Receive(2 << 20).size();
    }
    Peer deaf = far_end.Accept();
    deaf.Send("00");
    given_up.get_future().wait_for(std::chrono::seconds(60));
  });
  uint32_t written = 0;
  QuickTransport patient("\\name:127.0.61.5", limit), transport("\\name:127.0.61.5");
  EXPECT_EQ(S_OK, patient.Write(much, &written));
  EXPECT_EQ(much.size(), written);
  patient.DisConnectFromIO();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(kIoTimeout, transport.Write(much, &written));
  EXPECT_LT(written, much.size());
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(5000));
  EXPECT_THAT(NewLines(), Contains(testing::StartsWith("WriteData: Timed Out - Asked 33554432")));
  EXPECT_EQ(much.size(), received);
  given_up.set_value();
  device.join();
}

// Catches a connection that a program of the host's holds open, a cancelled receive that takes
// bytes, and an end that throws away the last command.
TEST_F(NetLoopback, SocketsOfTheSystem) {
  SocketLibraryInfo info;
  ASSERT_EQ(0u, TheNetwork().StartUp(&info));
  FarEnd far_end("127.0.61.6", 9290);
  auto socket = TheNetwork().CreateStreamSocket();
  EXPECT_FALSE(IsInherited(socket->Handle()));
  socket->Connect({2, 0x4A24, TheNetwork().ParseDotted("127.0.61.6"), {}});
  ASSERT_GT(socket->WaitWritable(5000), 0);
  Peer peer = far_end.Accept();
  std::string buffer(8, '.'), received;
  uint32_t moved = 99;
  ASSERT_TRUE(socket->BeginTransfer());
  ASSERT_EQ(error::kIoPending, socket->PostReceive(buffer.data(), 8));
  EXPECT_EQ(WaitResult::kTimeout, socket->WaitTransfer(20));
  socket->EndTransfer(&moved);
  EXPECT_EQ(0u, moved);
  peer.Send("unread");
  const std::string last(300000, 'x');
  std::thread reader([&] {
    received = peer.Receive(last.size() + 1);
    peer.Close();
  });
  ASSERT_TRUE(socket->BeginTransfer());
  socket->PostSend(last.data(), static_cast<uint32_t>(last.size()));
  EXPECT_EQ(WaitResult::kSignalled, socket->WaitTransfer(5000));
  socket->SetLinger(true, 0);
  socket->FinishSending(10000);
  socket.reset();
  reader.join();
  EXPECT_EQ("........", buffer);
  EXPECT_EQ(last.size(), received.size());
  TheNetwork().CleanUp();
}

class NetScripted : public TraceFixture {
 protected:
  // Connects with these scripts and one more; tells how many were not used.
  size_t Connect(std::deque<SocketScript> scripts, IoResult result,
                 const char* name = "\\name:10.1.2.3") {
    network_.scripts = std::move(scripts);
    network_.scripts.push_back({});
    QuickTransport transport(name);
    EXPECT_EQ(result, transport.ConnectToIO());
    EXPECT_EQ(result == S_OK ? 1 : 0, network_.open_sockets);
    return network_.scripts.size();
  }

  ScriptedNetwork network_;
};

// Catches a greeting told as another one, and a busy device asked too often or too rarely.
TEST_F(NetScripted, Greetings) {
  const std::pair<std::vector<const char*>, IoResult> cases[] = {
      {{"01", "01", "01", "01", "00"}, S_OK},
      {{"01", "01", "01", "01", "01"}, E_ACCESSDENIED},
      {{"02"}, E_FAIL},
      {{"0"}, E_UNEXPECTED},
      {{""}, E_UNEXPECTED}};
  for (const auto& [greetings, result] : cases) {
    std::deque<SocketScript> scripts(greetings.size());
    for (size_t i = 0; i < greetings.size(); ++i) scripts[i].receives = {{greetings[i]}};
    EXPECT_EQ(1u, Connect(scripts, result)) << greetings.back();
  }
}

// Catches steps of a session that are left out or out of order: options before they are needed,
// what was written given time to arrive, the library released.
TEST_F(NetScripted, AskedOfTheSystemInASession) {
  SocketScript script;
  script.last_error = error::kSocketWouldBlock;
  network_.scripts = {script, {}, {}};
  {
    QuickTransport transport("\\name:10.1.2.3\\port:2", 7000);
    EXPECT_EQ(S_OK, transport.OpenIO("\\name:other"));  // the first name stays
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    transport.DisConnectFromIO();
    EXPECT_EQ("connect 36 75 10 1 2 3|writable 10000|linger 0|receive 7000|send 7000|",
              network_.TakeCalls());
    uint32_t written = 0;
    EXPECT_EQ(S_OK, transport.Write("hello", &written));  // connects by itself
    EXPECT_EQ(1, network_.open_sockets);
    network_.TakeCalls();
    transport.CloseIO();
    EXPECT_EQ("finish 200|", network_.TakeCalls());
    transport.OpenIO("\\name:10.1.2.3");
    transport.ConnectToIO();
    network_.TakeCalls();
    transport.DisConnectFromIO();
    EXPECT_EQ("", network_.TakeCalls()) << "nothing was written";
    EXPECT_EQ(0, network_.open_sockets);
    EXPECT_EQ(1, network_.started);
  }
  EXPECT_EQ(0, network_.started);
}

TEST_F(NetScripted, NamesBecomeAddresses) {
  const struct {
    const char* name;
    IoResult connected;
    const char* address;
  } cases[] = {{"\\name:printer1\\port:3", S_OK, "connect 36 76 10 0 1 2|"},
               {"\\name:127.0.0.1", S_OK, "connect 36 74 127 0 0 1|"},
               {"\\name:0.0.0.0\\port:1", S_OK, "connect 36 74 0 0 0 0|"},
               {"\\name:10.0.0.7\\port:4", E_INVALIDARG, ""},
               {"\\name:fe80::1", E_INVALIDARG, ""},
               {"\\name:nobody", E_INVALIDARG, ""},
               {"\\port:1", E_FAIL, ""},
               {"", E_FAIL, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Connect({}, c.connected, c.name);
    EXPECT_TRUE(network_.TakeCalls().starts_with(c.address));
    NetworkTransport transport;
    EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
    EXPECT_EQ(*c.name ? S_OK : E_FAIL, transport.OpenIO(c.name));
  }
  network_.version = 0x0101;  // a socket library that is too old is none
  Connect({}, 10093);
  EXPECT_EQ(0, network_.started);
}

TEST_F(NetScripted, ConnectsThatDoNotSucceedAtOnce) {
  struct Case {
    IoResult result;
    uint32_t connect, last_error, pending;
    std::deque<int> writable = {};
    int pending_asked = 0;
  };
  std::vector<Case> cases = {{10035, 10035, 10035, 0, {0}},  // expired
                             {10035, 10035, 0, 0, {0}, -1},  // and nobody remembers why
                             {10035, 10035, 10035, 10065, {0}},
                             {10038, 10035, 10038, 10065, {-1}},  // the wait failed
                             {59, 10035, 0, 10065, {-1}},
                             {S_OK, 10035, 10038, 0, {-1, 1}},  // on a connected socket
                             {59, 59, 0, 0},                    // at once
                             {10051, 10051, 0, 0}};
  for (const uint32_t refusal : {5u, 65u, 31u, 1314u, 1236u, 10061u}) {
    const auto result = static_cast<IoResult>(refusal);
    cases.push_back({result, refusal, 0, 0});
    cases.push_back({result, 10035, 10035, refusal, {0}});
    EXPECT_EQ(SL_FIREWALL, ConnectStatus(result));
  }
  network_.unknown_error = 11111;  // a number of the system's own
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases.data());
    Connect({{c.connect, c.writable, c.last_error, c.pending_asked, c.pending}}, c.result);
  }
  EXPECT_THAT(NewLines(), Contains(testing::HasSubstr("11111")));
}

// Catches bytes that are lost or counted twice where a transfer does not come or go whole, a
// connection that is kept when it is gone or dropped when it is not, and a buffer left posted.
TEST_F(NetScripted, TransfersThatAreNotWhole) {
  constexpr uint32_t kPending = error::kIoPending;
  constexpr auto kExpired = WaitResult::kTimeout;
  const struct {
    ScriptedTransfer transfer;
    IoResult result;
    const char* text;  // of ten bytes wanted, four of which have come; null: of five written
    bool connected;
    uint32_t written = 0;
  } cases[] = {
      {{"efghij"}, S_OK, "abcdefghij", true},
      {{"", kPending, kExpired}, 258, "abcd", true},
      {{"", kPending, kExpired, 0, "ef"}, 258, "abcdef", true},
      {{"", kPending, kExpired, 0, "efghij"}, S_OK, "abcdefghij", true},
      {{""}, 10058, "abcd", false},  // closed by the device
      {{"", kPending, WaitResult::kSignalled, 10054}, 10058, "abcd", false},
      {{"", 10054}, 10054, "abcd", false},
      {{"", kPending, WaitResult::kFailed}, 10038, "abcd", true},
      {{"123", kPending}, S_OK, nullptr, true, 3},
      {{"", kPending, WaitResult::kSignalled, 10054}, 10054, nullptr, true},
      {{"", 10054}, 10054, nullptr, false},
      {{"", 996}, 996, nullptr, true},
      {{"", kPending, WaitResult::kFailed}, 10038, nullptr, true},
      {{"", kPending, kExpired, 0, "12"}, 258, nullptr, false, 2},  // nothing moves
      {{"", kPending, kExpired, 0, "12345"}, S_OK, nullptr, true, 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SocketScript script;
    script.last_error = 10038;
    script.receives = {{"00"}, {"abcd", kPending}, c.transfer};
    script.sends = {c.transfer};
    network_.scripts = {script};
    QuickTransport transport("\\name:10.1.2.3");
    char buffer[10];
    uint32_t length = 10, written = 99;
    if (c.text) {
      EXPECT_EQ(c.result, transport.ReadData(buffer, &length, nullptr));
      EXPECT_EQ(c.text, std::string(buffer, length));
    } else {
      EXPECT_EQ(c.result, transport.Write("hello", &written));
      EXPECT_EQ(c.written, written);
    }
    EXPECT_EQ(c.connected ? 1 : 0, network_.open_sockets);
    EXPECT_EQ(0, network_.unfinished);
  }
  SocketScript no_event;
  no_event.begin_transfer = false;
  Connect({no_event}, E_UNEXPECTED);
}

}  // namespace
}  // namespace scantk
