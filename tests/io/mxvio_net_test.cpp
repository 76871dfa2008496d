// The network transport: on real connections, and on a scripted network where no peer can be
// brought to do what a test needs.
#include "io/mxvio_net.h"

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
class QuickTransport : public MXVIO_NET {
 public:
  using MXVIO_NET::Connection;
  using MXVIO_NET::connection_;

  explicit QuickTransport(const char* name, uint32_t limit = 250) {
    IoTimeouts timeouts = {limit, limit, limit};
    Escape(SET_TIMEOUTS, &timeouts, sizeof timeouts, nullptr, 0, nullptr);
    OpenIO(name);
  }
  std::string Read(uint32_t size, IoResult* result) {
    std::string text(size, '\0');
    *result = ReadData(text.data(), &size, nullptr);
    text.resize(size);
    return text;
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
  std::promise<void> given_up;
  size_t received = 0;
  std::thread device([&] {
    const auto slow = far_end.Accept();
    slow->Send("00");
    while (received < much.size() && slow->Receive(1 << 20).size() == 1 << 20) received += 1 << 20;
    const auto deaf = far_end.Accept();
    deaf->Send("00");
    given_up.get_future().wait();
  });
  uint32_t written = 0;
  QuickTransport patient("\\name:127.0.61.5", 5000), transport("\\name:127.0.61.5");
  EXPECT_EQ(S_OK, patient.Write(much, &written));
  EXPECT_EQ(much.size(), written);
  patient.DisConnectFromIO();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(kIoTimeout, transport.Write(much, &written));
  EXPECT_LT(written, much.size());
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(5000));
  EXPECT_EQ(QuickTransport::Connection::kNoSocket, transport.connection_);
  EXPECT_THAT(NewLines(), Contains(testing::StartsWith("WriteData: Timed Out - Asked 33554432")));
  EXPECT_EQ(much.size(), received);
  given_up.set_value();
  device.join();
}

// Catches a failed connect that counts as one, and a number that nobody can look up.
TEST_F(NetLoopback, ConnectsThatFail) {
  FarEnd gone("127.0.61.6", 9290);
  gone.Close();
  QuickTransport transport("\\name:127.0.61.6");
  FailNextConnect(0);
  EXPECT_EQ(59, transport.ConnectToIO());
  FailNextConnect(11111);  // of the system's own that the toolkit does not know
  transport.ConnectToIO();
  EXPECT_THAT(NewLines(), Contains(testing::HasSubstr("11111")));
  EXPECT_EQ(10061, transport.ConnectToIO());
  EXPECT_EQ(SL_FIREWALL, ConnectStatus(10061));
}

// Catches a connection that a program of the host's holds open, and an end that throws away the
// last command.
TEST_F(NetLoopback, SocketsOfTheSystem) {
  SocketLibraryInfo info;
  ASSERT_EQ(0u, TheNetwork().StartUp(&info));
  FarEnd far_end;
  auto socket = TheNetwork().CreateStreamSocket();
  EXPECT_FALSE(IsInherited(socket->Handle()));
  const SocketAddress address = {2, far_end.Port(), TheNetwork().ParseDotted("127.0.0.1"), {}};
  socket->Connect(address);
  ASSERT_GT(socket->WaitWritable(5000), 0);
  const auto peer = far_end.Accept();
  // Data after a cancelled receive leaves its buffer alone.
  std::string buffer(8, '.');
  uint32_t moved = 99;
  ASSERT_TRUE(socket->BeginTransfer());
  ASSERT_EQ(error::kIoPending, socket->PostReceive(buffer.data(), 8));
  EXPECT_EQ(WaitResult::kTimeout, socket->WaitTransfer(20));
  socket->EndTransfer(&moved);
  EXPECT_EQ(0u, moved);
  peer->Send("unread");
  const std::string last(300000, 'x');
  std::string received;
  std::thread reader([&] {
    received = peer->Receive(last.size() + 1);
    peer->Close();
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

class NetScripted : public testing::Test {
 protected:
  static std::string Text(const IoTimeouts& t) {
    return std::to_string(t.read) + " " + std::to_string(t.write) + " " + std::to_string(t.flush);
  }
  // Connects with the script and forgets what was asked so far.
  void Connect(QuickTransport& transport, const SocketScript& script) {
    network_.scripts = {script};
    ASSERT_EQ(S_OK, transport.ConnectToIO());
    network_.TakeCalls();
  }

  ScriptedNetwork network_;
};

// Catches a greeting told as another one, and a busy device asked too often or too rarely.
TEST_F(NetScripted, Greetings) {
  const std::pair<std::vector<const char*>, IoResult> cases[] = {
      {{"00"}, S_OK},
      {{"01", "01", "01", "00"}, S_OK},
      {{"01", "01", "01", "01", "01"}, E_ACCESSDENIED},
      {{"02"}, E_FAIL},
      {{"0"}, E_UNEXPECTED},
      {{""}, E_UNEXPECTED},
      {{"SSH-"}, E_UNEXPECTED}};
  for (const auto& [greetings, result] : cases) {
    network_.scripts = {{}};  // one more would be accepted
    for (const char* greeting : greetings) {
      SocketScript script;
      script.receives = {{greeting}};
      network_.scripts.insert(network_.scripts.end() - 1, script);
    }
    QuickTransport transport("\\name:10.1.2.3");
    EXPECT_EQ(result, transport.ConnectToIO()) << greetings.back();
    EXPECT_EQ(1u, network_.scripts.size()) << greetings.back();
    EXPECT_EQ(result == S_OK ? 1 : 0, network_.open_sockets) << greetings.back();
  }
}

// Catches steps of a session that are left out or out of order: options before they are needed,
// what was written given time to arrive, the library released.
TEST_F(NetScripted, AskedOfTheSystemInASession) {
  SocketScript script;
  script.last_error = error::kSocketWouldBlock;
  network_.scripts = {script, {}};
  {
    QuickTransport transport("\\name:10.1.2.3\\port:2", 7000);
    EXPECT_EQ("", network_.TakeCalls());
    EXPECT_EQ(S_OK, transport.OpenIO("\\name:other"));  // the first name stays
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    EXPECT_EQ("connect 36 75 10 1 2 3|writable 10000|linger 0|receive 7000|send 7000|",
              network_.TakeCalls());
    transport.DisConnectFromIO();
    EXPECT_EQ("", network_.TakeCalls());
    uint32_t written = 0;
    EXPECT_EQ(S_OK, transport.Write("hello", &written));  // connects by itself
    EXPECT_EQ(5u, written);
    EXPECT_EQ(1, network_.open_sockets);
    network_.TakeCalls();
    transport.CloseIO();
    EXPECT_EQ("finish 200|", network_.TakeCalls());
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
    network_.scripts = {{}};
    MXVIO_NET transport;
    EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
    EXPECT_EQ(*c.name ? S_OK : E_FAIL, transport.OpenIO(c.name));
    EXPECT_EQ(c.connected, transport.ConnectToIO());
    EXPECT_TRUE(network_.TakeCalls().starts_with(c.address));
    EXPECT_EQ(c.connected == S_OK ? 1 : 0, network_.open_sockets);
  }
  network_.version = 0x0101;  // a socket library that is too old is none
  EXPECT_EQ(10093, QuickTransport("\\name:10.1.2.3").ConnectToIO());
  EXPECT_EQ(0, network_.started);
}

TEST_F(NetScripted, ConnectsThatDoNotSucceedAtOnce) {
  struct Case {
    IoResult result;
    uint32_t connect, last_error, pending;
    std::deque<int> writable;
    int pending_asked = 0;
  };
  std::vector<Case> cases = {{10035, 10035, 10035, 0, {0}},  // expired
                             {10035, 10035, 0, 0, {0}, -1},  // and nobody remembers why
                             {10035, 10035, 10035, 10065, {0}},
                             {10038, 10035, 10038, 10065, {-1}},  // the wait failed
                             {59, 10035, 0, 10065, {-1}},
                             {S_OK, 10035, 10038, 0, {-1, 1}},  // on a connected socket
                             {59, 59, 0, 0, {}},                // at once
                             {10051, 10051, 0, 0, {}}};
  for (const uint32_t refusal : {5u, 65u, 31u, 1314u, 1236u, 10061u}) {
    const auto result = static_cast<IoResult>(refusal);
    cases.push_back({result, refusal, 0, 0, {}});
    cases.push_back({result, 10035, 10035, refusal, {0}});
    EXPECT_EQ(SL_FIREWALL, ConnectStatus(result));
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases.data());
    network_.scripts = {{c.connect, c.writable, 0, c.last_error, c.pending_asked, c.pending}};
    QuickTransport transport("\\name:10.1.2.3");
    EXPECT_EQ(c.result, transport.ConnectToIO());
    EXPECT_EQ(c.result == S_OK ? 1 : 0, network_.open_sockets);
  }
}

// What becomes of ten bytes wanted of which four have come.
TEST_F(NetScripted, ReadsThatDoNotComeWhole) {
  constexpr uint32_t kPending = error::kIoPending;
  const struct {
    ScriptedTransfer second;
    IoResult result;
    const char* text;
    bool connected;
  } cases[] = {
      {{"efghij"}, S_OK, "abcdefghij", true},
      {{"", kPending, WaitResult::kTimeout}, 258, "abcd", true},
      {{"", kPending, WaitResult::kTimeout, 0, "ef"}, 258, "abcdef", true},
      {{"", kPending, WaitResult::kTimeout, 0, "efghij"}, S_OK, "abcdefghij", true},
      {{""}, 10058, "abcd", false},  // closed by the device
      {{"", kPending, WaitResult::kSignalled, 10054}, 10058, "abcd", false},
      {{"", 10054}, 10054, "abcd", false},
      {{"", kPending, WaitResult::kFailed}, 10038, "abcd", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SocketScript script;
    script.last_error = 10038;
    script.receives = {{"00"}, {"abcd", kPending}, c.second};
    QuickTransport transport("\\name:10.1.2.3");
    Connect(transport, script);
    IoResult result = S_OK;
    EXPECT_EQ(c.text, transport.Read(10, &result));
    EXPECT_EQ(c.result, result);
    EXPECT_EQ(c.connected ? 1 : 0, network_.open_sockets);
    EXPECT_EQ(0, network_.unfinished) << "none is left posted into a buffer that is gone";
  }
  // Without an event, and without a connection.
  network_.scripts = {{10035, {}, 0, 8, 0, 0, false}};
  QuickTransport transport("\\name:10.1.2.3");
  EXPECT_EQ(E_UNEXPECTED, transport.ConnectToIO());
  uint32_t length = 7;
  char buffer[7];
  EXPECT_EQ(E_FAIL, transport.ReadData(buffer, &length, nullptr));
  EXPECT_EQ(7u, length);
}

TEST_F(NetScripted, WritesThatDoNotGoWhole) {
  constexpr uint32_t kPending = error::kIoPending;
  const struct {
    ScriptedTransfer transfer;
    IoResult result;
    uint32_t written;
    bool connected;
  } cases[] = {
      {{"123", kPending}, S_OK, 3, true},
      {{"", kPending, WaitResult::kSignalled, 10054}, 10054, 0, true},
      {{"", 10054}, 10054, 0, false},
      {{"", 996}, 996, 0, true},
      {{"", kPending, WaitResult::kFailed}, 10038, 0, true},
      {{"", kPending, WaitResult::kTimeout, 0, "12"}, 258, 2, false},  // nothing moves
      {{"", kPending, WaitResult::kTimeout, 0, "12345"}, S_OK, 5, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SocketScript script;
    script.last_error = 10038;
    script.sends = {c.transfer};
    QuickTransport transport("\\name:10.1.2.3");
    Connect(transport, script);
    uint32_t written = 99;
    EXPECT_EQ(c.result, transport.Write("hello", &written));
    EXPECT_EQ(c.written, written);
    EXPECT_EQ(c.connected ? 1 : 0, network_.open_sockets);
    EXPECT_EQ(0, network_.unfinished);
  }
}

TEST_F(NetScripted, Timeouts) {
  MXVIO_NET transport;
  IoTimeouts timeouts = {0, 5000, 0}, old = {};
  const auto escape = [&](uint32_t function, IoTimeouts* buffer, uint32_t length) {
    return transport.Escape(function, buffer, length, nullptr, 0, nullptr);
  };
  EXPECT_EQ(S_OK, escape(GET_TIMEOUTS, &old, 12));
  EXPECT_EQ(E_INVALIDARG, escape(SET_TIMEOUTS, &timeouts, 8));
  EXPECT_EQ(E_INVALIDARG, escape(GET_TIMEOUTS, nullptr, 12));
  EXPECT_EQ(S_OK, escape(SET_TIMEOUTS, &timeouts, 12));
  EXPECT_EQ(S_OK, escape(GET_TIMEOUTS, &timeouts, 12));
  EXPECT_EQ("30000 30000 30000", Text(old));
  EXPECT_EQ("30000 5000 30000", Text(timeouts));
}

}  // namespace
}  // namespace scantk
