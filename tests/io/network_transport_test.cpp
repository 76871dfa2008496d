// The network transport: on real connections, and on a scripted network where no peer can be
// brought to do what a test needs.
#include "io/network_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <future>
#include <string>
#include <thread>

#ifndef _WIN32
#include <fcntl.h>
#endif

#include "simulator/sockets.h"
#include "tests/diag/trace_fixture.h"
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

// Devices of the test's own on real connections, at an address of this process's own.
class NetLoopback : public TraceFixture {
 protected:
  // What waits for ten seconds at most.
  static void Await(const sim::Socket& socket) {
    std::vector<sim::Watched> watched = {{.file = socket.Get(), .reads = true}};
    sim::WaitFor(watched, 10000);
  }
  sim::Socket Accept() const {
    Await(listener_);
    return sim::Accept(listener_);
  }
  static void Greet(const sim::Socket& peer) {
    EXPECT_EQ(2, sim::Send(peer, std::array<uint8_t, 2>{'0', '0'}));
  }
  // Tells how much came; less than `size` when the connection ended before.
  static size_t Receive(const sim::Socket& peer, size_t size) {
    std::vector<uint8_t> bytes(size);
    size_t got = 0;
    for (int moved = 1; moved > 0 && got < size; got += static_cast<size_t>(std::max(moved, 0))) {
      Await(peer);
      moved = sim::Receive(peer, bytes.data() + got, size - got);
    }
    return got;
  }
  // Whether a program that this one starts would hold the socket open, too.
  static bool IsInherited(uintptr_t socket) {
#ifdef _WIN32
    DWORD flags = HANDLE_FLAG_INHERIT;
    GetHandleInformation(reinterpret_cast<HANDLE>(socket), &flags);
    return (flags & HANDLE_FLAG_INHERIT) != 0;
#else
    return (fcntl(static_cast<int>(socket), F_GETFD) & FD_CLOEXEC) == 0;
#endif
  }

  const std::string address_ = "127." + std::to_string(32 + (ProcessId() >> 8) % 200) + "." +
                               std::to_string(ProcessId() & 0xFF) + ".251";
  const std::string name_ = "\\name:" + address_;
  const sim::Socket listener_ = sim::ListenOn(address_, 9290);
};

// Catches a write that waits for ever, one that is cut although bytes still move, and a close that
// waits for a device that keeps its side open.
TEST_F(NetLoopback, WritesToADeviceThatIsSlowOrTakesNothing) {
  const std::string much(32 << 20, 'c');
  // The target's system moves a send as a whole: there, all of it has to be taken in time.
  const uint32_t limit = kPathSeparator == '/' ? 700 : 5000;
  std::promise<void> given_up;
  size_t received = 0;
  std::thread device([&] {
    const sim::Socket slow = Accept();
    Greet(slow);
    for (size_t last = 1; received < much.size() && last > 0; received += last) {
      const bool late = limit < 5000 && received < much.size() / 4 * 3;
      std::this_thread::sleep_for(milliseconds(late ? 80 : 0));  // a device's own pace
      last = Receive(slow, 2 << 20);
    }
    const sim::Socket deaf = Accept();
    Greet(deaf);
    given_up.get_future().wait_for(std::chrono::seconds(60));
  });
  uint32_t written = 0;
  QuickTransport patient(name_.c_str(), limit), transport(name_.c_str());
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
  auto socket = TheNetwork().CreateStreamSocket();
  EXPECT_FALSE(IsInherited(socket->Handle()));
  socket->Connect({2, 0x4A24, TheNetwork().ParseDotted(address_), {}});
  ASSERT_GT(socket->WaitWritable(5000), 0);
  std::string buffer(8, '.');
  size_t received = 0;
  uint32_t moved = 99;
  sim::Socket peer = Accept();
  ASSERT_TRUE(socket->BeginTransfer());
  ASSERT_EQ(error::kIoPending, socket->PostReceive(buffer.data(), 8));
  EXPECT_EQ(WaitResult::kTimeout, socket->WaitTransfer(20));
  socket->EndTransfer(&moved);
  EXPECT_EQ(0u, moved);
  Greet(peer);  // which is never read
  const std::string last(300000, 'x');
  std::thread reader([&] {
    received = Receive(peer, last.size() + 1);
    peer.Reset();
  });
  ASSERT_TRUE(socket->BeginTransfer());
  socket->PostSend(last.data(), static_cast<uint32_t>(last.size()));
  EXPECT_EQ(WaitResult::kSignalled, socket->WaitTransfer(5000));
  socket->SetLinger(true, 0);
  socket->FinishSending(10000);
  socket.reset();
  reader.join();
  EXPECT_EQ("........", buffer);
  EXPECT_EQ(last.size(), received);
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
               {"\\name:abc", S_OK, "connect 36 74 10 0 1 2|"},
               {"\\name:a.b.c.d", S_OK, "connect 36 74 10 0 1 2|"},
               {"\\name:1.2.3.4.5", S_OK, "connect 36 74 10 0 1 2|"},
               {"\\name:300.1.1.1", E_INVALIDARG, ""},
               {"\\name:10.0.0.1:80", E_INVALIDARG, ""},
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
