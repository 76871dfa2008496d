// The network transport on a scripted network: every branch of connecting and of the transfers,
// with the lines that it traces.
#include "io/mxvio_net.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/diag/trace_fixture.h"
#include "tests/io/scripted_network.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

using Lines = std::vector<std::string>;

class OpenedTransport : public MXVIO_NET {
 public:
  using MXVIO_NET::Connection;
  using MXVIO_NET::connection_;
  using MXVIO_NET::ConnectPortaviaSocket;
  using MXVIO_NET::CreatePortaviaSocket;
  using MXVIO_NET::MakeSocketConnection;
};

class NetTransport : public TraceFixture {
 protected:
  // A socket that connects and is greeted with `greeting`, and then receives what is added.
  SocketScript Greeted(const char* greeting) {
    SocketScript script;
    script.connect = error::kSocketWouldBlock;
    script.receives.push_back({greeting});
    return script;
  }
  // Lines that begin with `head`, in their order.
  Lines LinesOf(const std::string& head) {
    Lines chosen;
    for (const std::string& line : NewLines())
      if (line.starts_with(head)) chosen.push_back(line);
    return chosen;
  }
  // Connects with the script and forgets what was traced so far.
  void Connect(OpenedTransport& transport, const SocketScript& script) {
    network_.scripts.push_back(script);
    ASSERT_EQ(S_OK, transport.OpenIO("\\name:10.1.2.3"));
    ASSERT_EQ(S_OK, transport.ConnectToIO());
    NewLines();
    network_.log.Forget();
  }

  ScriptedNetwork network_;
};

TEST_F(NetTransport, LifeOfASession) {
  network_.scripts.push_back(Greeted("00"));
  {
    MXVIO_NET transport;
    EXPECT_THAT(NewLines(), ElementsAre("MXVIO_NET Constructor entry",
                                        "WinSock Startup WSAData - Version 514, HighVersion 514",
                                        "WinSock Startup WSAData - Description A library",
                                        "WinSock Startup WSAData - SystemStatus Running",
                                        "WinSock Startup WSAData - MaxSockets 7, MaxUdpDg 8",
                                        "MXVIO_NET Constructor exit"));
    EXPECT_EQ(S_OK, transport.OpenIO("\\name:10.1.2.3\\port:2"));
    EXPECT_THAT(NewLines(), ElementsAre("OpenIO entry: DeviceName \\name:10.1.2.3\\port:2",
                                        "OpenIO: DeviceName 10.1.2.3", "OpenIO exit: hr 0"));
    EXPECT_EQ(S_OK, transport.OpenIO("\\name:other"));
    EXPECT_THAT(NewLines(),
                ElementsAre("OpenIO entry: DeviceName \\name:other", "OpenIO exit: hr 0"));
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    EXPECT_THAT(
        NewLines(),
        ElementsAre(
            "ConnectToIO entry", "MakeSocketConnection entry",
            "CreatePortaviaSocket entry: lAddressFamily 2",
            "CreatePortaviaSocket: Opening socket af 2, type 1, protocol 0",
            "CreatePortaviaSocket: Created socket 101", "CreatePortaviaSocket exit: skt 101",
            "ConnectPortaviaSocket entry: lAddressFamily 2, port 2",
            "MakeSocketAddress entry: Host Addr 10.1.2.3, AddrFamily 2, Port 9291",
            "MakeSocketAddress exit: result 0", "ConnectPortaviaSocket: Connecting to socket 101",
            "ConnectPortaviaSocket: WSAEWOULDBLOCK Select :socket handles = 1  (0 = time limit "
            "expired, -1 = SocketError)",
            "ConnectPortaviaSocket: Connected socket after select (WSAWOULDBLOCK): 101",
            "ConnectPortaviaSocket: Connected socket: 101",
            "ConnectPortaviaSocket: Disabling SO_LINGER",
            "ConnectPortaviaSocket: Setting RecvTimeout 30000",
            "ConnectPortaviaSocket: Setting SendTimeout 30000", "ConnectPortaviaSocket exit: hr 0",
            "ReadData entry", "ReadData exit: hr 0",
            "MakeSocketConnection: Connected - read 2 bytes, Status 00",
            "MakeSocketConnection exit: hr 0", "ConnectToIO exit: hr 0"));
    EXPECT_THAT(network_.log.writable_waits, ElementsAre(10000u));
    EXPECT_THAT(network_.log.options,
                ElementsAre(std::pair("linger", 0u), std::pair("receive", 30000u),
                            std::pair("send", 30000u)));
    ASSERT_EQ(1u, network_.log.connects.size());
    const uint8_t sent_address[] = {2, 0, 0x24, 0x4B, 10, 1, 2, 3};
    EXPECT_EQ(0, std::memcmp(&network_.log.connects[0], sent_address, sizeof sent_address));
    EXPECT_EQ(S_OK, transport.DisConnectFromIO());
    EXPECT_THAT(NewLines(),
                ElementsAre("DisConnectFromIO entry", "ClosePortaviaSocket entry: skt 101",
                            "ClosePortaviaSocket: Closed Socket 101", "ClosePortaviaSocket exit",
                            "DisConnectFromIO", "DisConnectFromIO exit: hr 0"));
    EXPECT_EQ(0, network_.log.open_sockets);
    EXPECT_EQ(S_OK, transport.CloseIO());
    EXPECT_THAT(NewLines(), ElementsAre("CloseIO entry", "CloseIO", "CloseIO exit: hr 0"));
  }
  EXPECT_THAT(NewLines(), ElementsAre("MXVIO_NET Destructor entry", "MXVIO_NET Destructor exit"));
  EXPECT_EQ(0, network_.log.started);
}

TEST_F(NetTransport, NamesThatCannotBeOpened) {
  MXVIO_NET transport;
  NewLines();
  EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
  EXPECT_EQ(E_FAIL, transport.OpenIO(""));
  EXPECT_THAT(NewLines(),
              ElementsAre("OpenIO entry: DeviceName (null)", "OpenIO: Invalid DeviceName",
                          "OpenIO exit: hr -2147024809", "OpenIO entry: DeviceName ",
                          "OpenIO: Invalid Network ID", "OpenIO exit: hr -2147467259"));
  EXPECT_EQ(S_OK, transport.OpenIO("\\port:1"));  // no host
  EXPECT_EQ(E_FAIL, transport.ConnectToIO());
  EXPECT_THAT(NewLines(), Contains("MakeSocketConnection: Invalid Device ID"));
}

TEST_F(NetTransport, WithoutASocketLibraryConnectsFail) {
  const struct {
    uint32_t start_up;
    uint16_t version;
    const char* line;
  } cases[] = {
      {10091, 0x0202, "WinSock Startup failed - err 10091"},
      {0, 0x0101, "WinSock Startup failed - Incorrect WinSock version"},
  };
  for (const auto& c : cases) {
    network_.start_up = c.start_up;
    network_.version = c.version;
    network_.scripts = {Greeted("00")};
    {
      MXVIO_NET transport;
      EXPECT_EQ(c.line, NewLines().back());
      transport.OpenIO("\\name:10.1.2.3");
      EXPECT_EQ(10093, transport.ConnectToIO());
      EXPECT_THAT(NewLines(),
                  IsSupersetOf({"CreatePortaviaSocket: Unable to create socket: 10093",
                                "CreatePortaviaSocket exit: skt 0",
                                "MakeSocketConnection: CreatePortaviaSocket failed hr 10093"}));
    }
    EXPECT_EQ(0, network_.log.started);
  }
}

TEST_F(NetTransport, TheHostBecomesAnAddress) {
  network_.hosts["printer1"] = 0x0201000A;
  const struct {
    const char* name;
    IoResult result;
    uint32_t address;
    uint16_t port;
    const char* line;  // of an address that cannot be made
  } cases[] = {
      {"\\name:printer1\\port:3", S_OK, 0x0201000A, 9292, nullptr},
      {"\\name:127.0.0.1", S_OK, 0x0100007F, 9290, nullptr},
      {"\\name:0.0.0.0\\port:1", S_OK, 0, 9290, nullptr},
      {"\\name:10.0.0.7\\port:4", E_INVALIDARG, 0, 0, nullptr},
      {"\\name:fe80::1", E_INVALIDARG, 0, 0, "MakeSocketAddress: unsupported address type"},
      {"\\name:nobody", E_INVALIDARG, 0, 0,
       "MakeSocketAddress: Unable to resolve host name nobody: 11001"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    network_.scripts = {Greeted("00")};
    network_.log.connects.clear();
    MXVIO_NET transport;
    transport.OpenIO(c.name);
    EXPECT_EQ(c.result, transport.ConnectToIO());
    const Lines lines = NewLines();
    if (c.line) {
      EXPECT_THAT(lines, Contains(c.line));
    }
    if (c.result != S_OK) {
      EXPECT_THAT(lines, Contains("MakeSocketConnection: Connect failed - hr -2147024809"));
      EXPECT_TRUE(network_.log.connects.empty());
      EXPECT_EQ(0, network_.log.open_sockets);
      continue;
    }
    ASSERT_EQ(1u, network_.log.connects.size());
    EXPECT_EQ(c.address, network_.log.connects[0].address);
    const uint8_t port[] = {static_cast<uint8_t>(c.port >> 8), static_cast<uint8_t>(c.port)};
    EXPECT_EQ(0, std::memcmp(&network_.log.connects[0].port, port, 2));
  }
}

// How connects end, and what the trace says after the line that the connect was started.
TEST_F(NetTransport, ConnectsThatDoNotSucceedAtOnce) {
  const std::string head = "ConnectPortaviaSocket: ";
  const std::string select = head + "WSAEWOULDBLOCK Select :socket handles = ";
  const std::string legend = "  (0 = time limit expired, -1 = SocketError)";
  const std::string expired = head + "WSAEWOULDBLOCK Select time limit expired call getsockopt";
  const auto asked = [&](const char* text) { return head + "WSAEWOULDBLOCK  getsockopt " + text; };
  struct Case {
    const char* name;
    SocketScript script;
    IoResult result;
    Lines lines;
  };
  std::vector<Case> cases;
  const auto add = [&](const char* name, IoResult result, Lines lines, auto set_up) {
    SocketScript script;
    script.connect = error::kSocketWouldBlock;
    script.last_error = error::kSocketWouldBlock;
    set_up(script);
    cases.push_back({name, script, result, std::move(lines)});
  };
  add("expired", 10035,
      {select + "0" + legend, expired, asked("iSockoptResult 0 SO_ERROR 0 "),
       asked("WSAGetLastError 10035  SO_ERROR 0 ")},
      [](SocketScript& s) { s.writable = {0}; });
  add("expired, and nobody remembers why", 10035,
      {select + "0" + legend, expired, asked("iSockoptResult -1 SO_ERROR 0 "),
       asked("WSAGetLastError 10035  SO_ERROR 0 ")},
      [](SocketScript& s) {
        s.writable = {0};
        s.last_error = 0;
        s.pending_asked = -1;
      });
  for (const uint32_t refusal : {5u, 65u, 31u, 1314u, 1236u, 10061u}) {
    const std::string number = std::to_string(refusal);
    add("expired and refused", static_cast<IoResult>(refusal),
        {select + "0" + legend, expired, asked("iSockoptResult 0 SO_ERROR ") + number + " ",
         asked("WSAGetLastError 10035  SO_ERROR ") + number + " ",
         head + "WSAEWOULDBLOCK Unable to connect socket: set hr = error (likely firewall) " +
             number},
        [&](SocketScript& s) {
          s.writable = {0};
          s.pending = refusal;
        });
    add("refused at once", static_cast<IoResult>(refusal),
        {head + "Unable to connect socket: probably firewall" + number},
        [&](SocketScript& s) { s.connect = refusal; });
  }
  add("expired for another reason", 10035,
      {select + "0" + legend, expired, asked("iSockoptResult 0 SO_ERROR 10065 "),
       asked("WSAGetLastError 10035  SO_ERROR 10065 ")},
      [](SocketScript& s) {
        s.writable = {0};
        s.pending = 10065;
      });
  add("wait failed", 10038,
      {select + "-1" + legend, head + "Unable to connect socket (WSAWOULDBLOCK): 10038",
       head + "Unable to connect socket after getsockopt (WSAWOULDBLOCK): 10038"},
      [](SocketScript& s) {
        s.writable = {-1};
        s.last_error = 10038;
        s.pending = 10065;
      });
  add("no error number", 59,
      {head + "connect failed; but WSAGetLastError was 0; setting error to ERROR_UNEXP_NET_ERR 59"},
      [](SocketScript& s) { s.connect = 59; });
  add("another error", 10051, {head + "Unable to connect socket: 10051"},
      [](SocketScript& s) { s.connect = 10051; });

  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    network_.scripts = {c.script};
    network_.last_error = 0;
    OpenedTransport transport;
    transport.OpenIO("\\name:10.1.2.3");
    NewLines();
    EXPECT_EQ(c.result, transport.ConnectToIO());
    Lines lines = LinesOf(head);
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(lines.front().starts_with(head + "Connecting to socket "));
    lines.erase(lines.begin());
    EXPECT_EQ(c.lines, lines);
    EXPECT_EQ(0, network_.log.open_sockets);
    EXPECT_EQ(OpenedTransport::Connection::kNoSocket, transport.connection_);
  }
}

TEST_F(NetTransport, AFailedWaitOnAConnectedSocketIsAConnection) {
  SocketScript script = Greeted("00");
  script.writable = {-1, 1};
  network_.scripts = {script};
  MXVIO_NET transport;
  transport.OpenIO("\\name:10.1.2.3");
  EXPECT_EQ(S_OK, transport.ConnectToIO());
  EXPECT_THAT(NewLines(),
              Contains("ConnectPortaviaSocket: Connected socket after getsockopt (WSAWOULDBLOCK): "
                       "101"));
}

TEST_F(NetTransport, AConnectThatWasStartedIsWaitedFor) {
  const std::string head = "ConnectPortaviaSocket: ";
  const struct {
    int exception;
    int writable;
    uint32_t last_error;
    IoResult result;
    Lines lines;
  } cases[] = {
      {0,
       1,
       0,
       S_OK,
       {head + "SOCKET_PENDING - Select  returns 0",
        head + "Select not Socket Error - write returns 0",
        head + "Select (2nd time) write returns 1",
        head + "SOCKET_PENDING Select (2nd time) returns (0 may be a timeout) 1 0",
        head + "Connected socket: 101", head + "Disabling SO_LINGER",
        head + "Setting RecvTimeout 30000", head + "Setting SendTimeout 30000"}},
      {1,
       0,
       10061,
       10061,
       {head + "SOCKET_PENDING - Select  returns 1",
        head + "Select not Socket Error - write returns 1",
        head + "Select (2nd time) write returns 0",
        head + "SOCKET_PENDING Select (2nd time) returns (0 may be a timeout) 0 10061"}},
      {-1,
       1,
       10038,
       10038,
       {head + "SOCKET_PENDING - Select  returns -1",
        head + "SOCKET_PENDING Select returns SOCKET_ERROR 10038"}},
  };
  for (const auto& c : cases) {
    ScriptedNetwork network;
    SocketScript script = Greeted("00");
    script.writable = {1, c.writable};
    script.exception = c.exception;
    script.last_error = c.last_error;
    network.scripts = {script};
    OpenedTransport transport;
    transport.OpenIO("\\name:10.1.2.3");
    ASSERT_EQ(S_OK, transport.ConnectToIO());
    transport.connection_ = OpenedTransport::Connection::kConnecting;
    NewLines();
    EXPECT_EQ(c.result, transport.ConnectPortaviaSocket(2, 1));
    EXPECT_EQ(c.lines, LinesOf(head));
    EXPECT_EQ(c.result == S_OK ? OpenedTransport::Connection::kConnected
                               : OpenedTransport::Connection::kConnecting,
              transport.connection_);
  }
}

TEST_F(NetTransport, OnlyOneAddressFamily) {
  OpenedTransport transport;
  NewLines();
  std::unique_ptr<StreamSocket> socket;
  EXPECT_EQ(E_INVALIDARG, transport.CreatePortaviaSocket(23, &socket));
  EXPECT_EQ(E_INVALIDARG, transport.ConnectPortaviaSocket(23, 1));
  EXPECT_THAT(NewLines(), ElementsAre("CreatePortaviaSocket entry: lAddressFamily 23",
                                      "CreatePortaviaSocket: Unknown address family 23",
                                      "CreatePortaviaSocket exit: skt 0",
                                      "ConnectPortaviaSocket entry: lAddressFamily 23, port 1",
                                      "ConnectPortaviaSocket: Unknown address family 23",
                                      "ConnectPortaviaSocket exit: hr -2147024809"));
}

TEST_F(NetTransport, OptionsThatCannotBeSetFailTheConnect) {
  const struct {
    uint32_t SocketScript::*option;
    const char* name;
    size_t asked;  // later options are not tried
  } cases[] = {
      {&SocketScript::linger, "linger", 1},
      {&SocketScript::receive_timeout, "RecvTimeout", 2},
      {&SocketScript::send_timeout, "SendTimeout", 3},
  };
  for (const auto& c : cases) {
    SocketScript script = Greeted("00");
    script.*c.option = 10042;
    network_.scripts = {script};
    network_.log.options.clear();
    MXVIO_NET transport;
    transport.OpenIO("\\name:10.1.2.3");
    EXPECT_EQ(10042, transport.ConnectToIO());
    EXPECT_THAT(NewLines(), Contains(std::string("ConnectPortaviaSocket: Unable to setsockopt() "
                                                 "for ") +
                                     c.name + ": 10042"));
    EXPECT_EQ(c.asked, network_.log.options.size());
    EXPECT_EQ(0, network_.log.open_sockets);
  }
}

TEST_F(NetTransport, GreetingsDecide) {
  const struct {
    std::vector<const char*> greetings;
    IoResult result;
    Lines lines;
  } cases[] = {
      {{"01", "01", "01", "00"},
       S_OK,
       {"MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 1",
        "MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 2",
        "MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 3",
        "MakeSocketConnection: Connected - read 2 bytes, Status 00"}},
      {{"01", "01", "01", "01", "01", "00"},
       E_ACCESSDENIED,
       {"MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 1",
        "MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 2",
        "MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 3",
        "MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 4",
        "MakeSocketConnection: Connect failed - Status 01", "ConnectToIO: Retrying 5"}},
      {{"02", "00"}, E_FAIL, {"MakeSocketConnection: Connect failed - Status 02"}},
      {{"HT", "00"}, E_UNEXPECTED, {"MakeSocketConnection: Connect failed - Status HT"}},
      {{"0", "00"}, E_UNEXPECTED, {"MakeSocketConnection: Connect failed - Status 0"}},
  };
  for (const auto& c : cases) {
    network_.scripts.clear();
    for (const char* greeting : c.greetings) network_.scripts.push_back(Greeted(greeting));
    network_.log.finish_waits.clear();
    MXVIO_NET transport;
    transport.OpenIO("\\name:10.1.2.3");
    NewLines();
    EXPECT_EQ(c.result, transport.ConnectToIO());
    Lines lines;
    for (const std::string& line : NewLines()) {
      if (line.starts_with("MakeSocketConnection: ") || line.starts_with("ConnectToIO: "))
        lines.push_back(line);
    }
    EXPECT_EQ(c.lines, lines);
    EXPECT_EQ(c.result == S_OK ? 1 : 0, network_.log.open_sockets);
    // Nothing was written, so no close waits for it to arrive.
    EXPECT_TRUE(network_.log.finish_waits.empty());
  }
}

// --- transfers ---

TEST_F(NetTransport, ReadsGoOnUntilAllHasCome) {
  SocketScript script = Greeted("00");
  script.receives.push_back({std::string(40, 'a')});
  script.receives.push_back({std::string(60, 'b'), error::kIoPending});
  OpenedTransport transport;
  Connect(transport, script);
  char buffer[100];
  uint32_t length = sizeof buffer;
  EXPECT_EQ(S_OK, transport.ReadData(buffer, &length, nullptr));
  EXPECT_EQ(100u, length);
  EXPECT_EQ(std::string(40, 'a') + std::string(60, 'b'), std::string(buffer, 100));
  EXPECT_THAT(NewLines(), ElementsAre("ReadData entry", "ReadData: Asked 100, Read 100, looped 1",
                                      "ReadData exit: hr 0"));
  EXPECT_THAT(network_.log.transfer_waits, ElementsAre(30000u, 30000u));
  length = 0;
  EXPECT_EQ(S_OK, transport.ReadData(buffer, &length, nullptr));
  EXPECT_EQ(0u, length);
}

TEST_F(NetTransport, ReadsThatEndEarly) {
  const ScriptedTransfer some = {"abcd"};
  struct Case {
    const char* name;
    ScriptedTransfer second;
    IoResult result;
    uint32_t length;
    std::string line;
    bool connected;
  };
  const Case cases[] = {
      {"silence",
       {"", error::kIoPending, WaitResult::kTimeout},
       258,
       4,
       "ReadData: Timed Out - Asked 10, Read 4, Timedout 30000",
       true},
      {"late bytes count",
       {"", error::kIoPending, WaitResult::kTimeout, 0, "ef"},
       258,
       6,
       "ReadData: Timed Out - Asked 10, Read 6, Timedout 30000",
       true},
      {"late bytes complete the read",
       {"", error::kIoPending, WaitResult::kTimeout, 0, "efghij"},
       S_OK,
       10,
       "",
       true},
      {"closed by the device",
       {""},
       10058,
       4,
       "ReadData: Socket closed by device - Asked 10, Read 4 Call DisConnectFromIO",
       false},
      {"reset by the device",
       {"", error::kIoPending, WaitResult::kSignalled, 10054},
       10058,
       4,
       "ReadData: Socket closed by device - Asked 10, Read 4 Call DisConnectFromIO",
       false},
      {"cannot be posted",
       {"", 10054},
       10054,
       4,
       "ReadData: WSARecv error: 10054  Call DisConnectFromIO",
       false},
      {"wait failed",
       {"", error::kIoPending, WaitResult::kFailed},
       10038,
       4,
       "ReadData: Error - Asked 10, Read 4, hr 10038",
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SocketScript script = Greeted("00");
    script.last_error = 10038;
    script.receives.push_back(some);
    script.receives.push_back(c.second);
    OpenedTransport transport;
    Connect(transport, script);
    char buffer[11] = {};
    uint32_t length = 10;
    EXPECT_EQ(c.result, transport.ReadData(buffer, &length, nullptr));
    EXPECT_EQ(c.length, length);
    EXPECT_EQ(std::string("abcdefghij", c.length), buffer);
    Lines lines = LinesOf("ReadData: ");
    const std::string looped =
        "ReadData: Asked 10, Read " + std::to_string(c.length) + ", looped 1";
    if (c.line.empty()) {
      EXPECT_THAT(lines, ElementsAre(looped));
    } else {
      EXPECT_THAT(lines, ElementsAre(c.line, looped));
    }
    EXPECT_EQ(c.connected ? 1 : 0, network_.log.open_sockets);
    // No receive is left posted into a buffer that is gone.
    EXPECT_EQ(0, network_.log.unfinished);
  }
}

TEST_F(NetTransport, TransfersConnectWhenTheyMust) {
  OpenedTransport transport;
  transport.OpenIO("\\name:10.1.2.3");
  NewLines();
  uint32_t length = 7;
  uint32_t written = 7;
  uint32_t returned = 0;
  char buffer[8] = {};
  EXPECT_EQ(E_FAIL, transport.ReadData(buffer, &length, nullptr));
  EXPECT_EQ(7u, length);
  EXPECT_EQ(E_FAIL, transport.WriteData("x", 1, &written, nullptr));
  EXPECT_EQ(0u, written);
  EXPECT_EQ(E_FAIL, transport.Escape(7, nullptr, 0, nullptr, 0, &returned));
  EXPECT_THAT(NewLines(),
              IsSupersetOf({"ReadData: Socket not connected", "WriteData: Socket not connected",
                            "Escape: Socket not connected"}));
  SocketScript script = Greeted("00");
  script.receives.push_back({"answer"});
  network_.scripts = {script};
  length = 6;
  EXPECT_EQ(S_OK, transport.ReadData(buffer, &length, nullptr));
  EXPECT_STREQ("answer", buffer);
}

TEST_F(NetTransport, WithoutAnEventNothingIsMoved) {
  SocketScript script = Greeted("00");
  script.begin_transfer = false;
  script.last_error = 8;
  network_.scripts = {script};
  OpenedTransport transport;
  transport.OpenIO("\\name:10.1.2.3");
  EXPECT_EQ(E_UNEXPECTED, transport.ConnectToIO());  // no greeting could be read
  EXPECT_THAT(NewLines(), Contains("ReadData: Unable to create event: 8"));
}

TEST_F(NetTransport, Writes) {
  struct Case {
    const char* name;
    ScriptedTransfer transfer;
    IoResult result;
    uint32_t written;
    const char* line;
    bool connected;
  };
  const Case cases[] = {
      {"all", {"12345"}, S_OK, 5, "WriteData: Asked 5, Sent 5", true},
      {"all, later", {"12345", 997}, S_OK, 5, "WriteData: Asked 5, Sent 5", true},
      {"less", {"123"}, S_OK, 3, "WriteData: error - Asked 5, Sent 3", true},
      {"failed late",
       {"", 997, WaitResult::kSignalled, 10054},
       10054,
       0,
       "WriteData: error 10054:  Asked 5, Sent 0",
       true},
      {"cannot be posted",
       {"", 10054},
       10054,
       0,
       "WriteData: WSASend error: 10054  Call DisconnectFromIO",
       false},
      {"incomplete",
       {"", 996},
       996,
       0,
       "WriteData: WSASend error: 996  Call DisconnectFromIO",
       true},
      {"wait failed",
       {"", 997, WaitResult::kFailed},
       10038,
       0,
       "WriteData: error 10038:  Asked 5, Sent 0",
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SocketScript script = Greeted("00");
    script.last_error = 10038;
    script.sends.push_back(c.transfer);
    OpenedTransport transport;
    Connect(transport, script);
    uint32_t written = 99;
    EXPECT_EQ(c.result, transport.WriteData("hello", 5, &written, nullptr));
    EXPECT_EQ(c.written, written);
    EXPECT_THAT(LinesOf("WriteData: "), ElementsAre(c.line));
    EXPECT_THAT(network_.log.sent, ElementsAre("hello"));
    EXPECT_EQ(c.connected ? 1 : 0, network_.log.open_sockets);
    EXPECT_EQ(0, network_.log.unfinished);
    if (!c.connected) continue;
    // What was written may still be on its way: the close gives it a moment, and no more.
    transport.DisConnectFromIO();
    ASSERT_EQ(1u, network_.log.finish_waits.size());
    EXPECT_LE(network_.log.finish_waits[0], 500u);
  }
}

TEST_F(NetTransport, TimeoutsAndRequests) {
  SocketScript script = Greeted("00");
  script.control = 50;
  OpenedTransport transport;
  Connect(transport, script);
  IoTimeouts timeouts = {1, 2, 3};
  uint32_t returned = 0;
  EXPECT_EQ(S_OK, transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, &returned));
  EXPECT_EQ(30000u, timeouts.read);
  EXPECT_EQ(30000u, timeouts.write);
  EXPECT_EQ(30000u, timeouts.flush);
  timeouts = {0, 5000, 0};
  EXPECT_EQ(E_INVALIDARG, transport.Escape(SET_TIMEOUTS, &timeouts, 8, nullptr, 0, &returned));
  EXPECT_EQ(E_INVALIDARG, transport.Escape(GET_TIMEOUTS, nullptr, 12, nullptr, 0, &returned));
  EXPECT_EQ(S_OK, transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, &returned));
  EXPECT_EQ(S_OK, transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, &returned));
  EXPECT_EQ(5000u, timeouts.write);
  EXPECT_EQ(error::ToResult(50), transport.Escape(0x40, nullptr, 0, nullptr, 0, &returned));
  EXPECT_THAT(network_.log.controls, ElementsAre(0x40u));
  EXPECT_THAT(
      LinesOf("Escape: "),
      ElementsAre("Escape: GET_TIMEOUTS - Read 30000, Write 30000, Flush 30000",
                  "Escape: SET_TIMEOUTS - Invalid Args", "Escape: GET_TIMEOUTS - Invalid Args",
                  "Escape: SET_TIMEOUTS - Read 0, Write 5000, Flush 0",
                  "Escape: GET_TIMEOUTS - Read 30000, Write 5000, Flush 30000",
                  "Escape: Function Code 0x40",
                  "Escape: : Function Code 0x40, result -2147024846"));
}

// The default level shows what went wrong, and none of the flow.
TEST_F(NetTransport, ErrorsPassTheErrorLevel) {
  Configure(1, 0x80000040, 1);
  GlobalTrace().ReloadSettings();
  network_.scripts = {Greeted("01"), Greeted("02")};
  MXVIO_NET transport;
  transport.OpenIO("\\name:10.1.2.3");
  EXPECT_EQ(E_FAIL, transport.ConnectToIO());
  EXPECT_THAT(NewLines(), ElementsAre("MakeSocketConnection: Connect failed - Status 01",
                                      "ConnectToIO: Retrying 1",
                                      "MakeSocketConnection: Connect failed - Status 02"));
}

}  // namespace
}  // namespace scantk
