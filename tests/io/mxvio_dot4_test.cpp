// The DOT4 transports against a small stack that keeps every byte it is sent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io/mxvio_dot4ms.h"
#include "io/mxvio_dot4ov.h"
#include "platform/clock.h"
#include "tests/diag/trace_fixture.h"
#include "tests/io/dot4_stack.h"
#include "tests/io/masked_lines.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

using Lines = std::vector<std::string>;

using namespace stack_code;

// Sleeps take no time and are remembered.
class SleeplessClock : public Clock {
 public:
  SleeplessClock() : real_(TheClock()) { SetClock(this); }
  ~SleeplessClock() override { SetClock(nullptr); }
  uint32_t TickCount() override { return real_.TickCount(); }
  int64_t SecondsSince1970() override { return real_.SecondsSince1970(); }
  LocalTime Now() override { return real_.Now(); }
  void Sleep(uint32_t milliseconds) override { sleeps.push_back(milliseconds); }

  std::vector<uint32_t> sleeps;

 private:
  Clock& real_;
};

// "0 1f" and the like as bytes, in hex.
std::string Bytes(const std::string& hex) {
  std::string bytes;
  for (size_t at = 0; at < hex.size(); at += 3)
    bytes.push_back(static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16)));
  return bytes;
}

std::string Codes(const std::vector<StackRequest>& requests) {
  static const std::map<uint32_t, const char*> names = {
      {kCreate, "create "}, {kDestroy, "destroy "}, {kOpen, "open "},
      {kClose, "close "},   {kRead, "read "},       {kWrite, "write "}};
  std::string codes;
  for (const StackRequest& request : requests) codes += names.at(request.code);
  return codes;
}

class Dot4Transport : public TraceFixture {
 protected:
  std::string Path() const { return place_.File("dot4"); }
  static std::string Read(mxvio& transport, uint32_t size, IoResult* result) {
    std::string text(size, '\0');
    uint32_t length = size;
    *result = transport.ReadData(text.data(), &length, nullptr);
    text.resize(length);
    return text;
  }
  void Open(mxvio& transport) {
    ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
    stack_.TakeRequests();
    NewLines();
  }

  SleeplessClock clock_;
  Dot4Stack stack_{Path()};
};

// Every byte of every request.
TEST_F(Dot4Transport, RequestsOnTheWire) {
  MXVIO_DOT4MS transport;
  IoTimeouts timeouts = {0x01020304, 0x11121314, 0};
  uint32_t written = 0;
  IoResult result = S_OK;
  transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr);
  stack_.Provide({"answer"});
  ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
  EXPECT_EQ(S_OK, transport.WriteData("\x1b"
                                      "E",
                                      2, &written, nullptr));
  EXPECT_EQ(2u, written);
  EXPECT_EQ("answer", Read(transport, 0x0203, &result));
  EXPECT_EQ(S_OK, transport.DisConnectFromIO());

  const std::vector<StackRequest> requests = stack_.TakeRequests();
  ASSERT_EQ("create open write read close destroy ", Codes(requests));
  const std::string no_name(41, '\0');
  EXPECT_EQ(Bytes("00 00 00 00 38 00 00 00 00 00 00 00 ff ff ff ff") + "\x04" + no_name +
                Bytes("01 00 00 f4 01 00 fa 00 00 7d 00 00 00 00"),
            requests[0].input);
  EXPECT_EQ(56u, requests[0].reply_limit);
  EXPECT_EQ(Bytes("00 00 00 00 10 00 00 00 00 00 00 00 ff ff ff ff 09 00 00 00 00 00 00 00"),
            requests[1].input);
  EXPECT_EQ(8u, requests[1].reply_limit);
  EXPECT_EQ(Bytes("01 50 00 00 02 00 00 00 00 00 00 00 14 13 12 11 1b 45"), requests[2].input);
  EXPECT_EQ(0u, requests[2].reply_limit);
  EXPECT_EQ(Bytes("01 50 00 00 03 02 00 00 00 00 00 00 04 03 02 01"), requests[3].input);
  EXPECT_EQ(0x0203u, requests[3].reply_limit);
  EXPECT_EQ(Bytes("01 50 00 00 00 00 00 00 00 00 00 00 ff ff ff ff"), requests[4].input);
  EXPECT_EQ(0u, requests[4].reply_limit);
  EXPECT_EQ(Bytes("00 00 00 00 01 00 00 00 00 00 00 00 ff ff ff ff 09"), requests[5].input);
  EXPECT_EQ(0u, requests[5].reply_limit);
}

TEST_F(Dot4Transport, ServiceNamesAreCut) {
  struct Exposed : MXVIO_DOT4MS {
    using MXVIO_DOT4MS::DOT4CreateSocket;
  } transport;
  uint8_t socket = 77;
  EXPECT_EQ(6, transport.DOT4CreateSocket(4, "x", 2, 3, 4, 5, &socket));
  EXPECT_EQ("DOT4CreateSocket: Invalid Default Device Data handle", NewLines().back());
  EXPECT_EQ(77, socket);
  Open(transport);
  EXPECT_EQ(S_OK, transport.DOT4CreateSocket(7, std::string(60, 'n').c_str(), 2, 3, 4, 5, &socket));
  EXPECT_EQ(10, socket);
  EXPECT_EQ("\x07" + std::string(40, 'n') + Bytes("00 02 00 03 00 00 00 04 00 05 00 00 00 00 00"),
            stack_.TakeRequests()[0].input.substr(16));
}

TEST_F(Dot4Transport, LinesOfASession) {
  uint32_t written = 0;
  IoResult result = S_OK;
  const std::string name = Path();
  {
    MXVIO_DOT4MS transport;
    EXPECT_THAT(NewLines(), ElementsAre("mxvdot4: MXVIO_DOT4MS constructor",
                                        "mxvdot4: sizeof(DOT4_SERVICE_NAME) / sizeof(TCHAR) 9, "
                                        "sizeof(DOT4_SERVICE_NAME) 9"));
    EXPECT_EQ(S_OK, transport.OpenIO(name.c_str()));
    Lines lines = Masked(NewLines());
    // Whether a request is pending depends on how quick the stack is.
    std::erase_if(lines, [](const std::string& line) {
      return line.find("PENDING") != std::string::npos ||
             line.find("GetOverlappedResult") != std::string::npos ||
             line.find(" DeviceIoControl Results") != std::string::npos;
    });
    EXPECT_THAT(
        lines,
        ElementsAre(
            "mxvdot4: OpenIO ", "mxvdot4: OpenIO: DeviceName " + name,
            "Dot4::ConnectToDOT4 m_bSocketId 0", "Dot4: OpenDOT4 : m_DeviceDefaultDataHandle 0",
            "Dot4 :OpenDOT4 : NULL == m_DeviceDefaultDataHandle m_DeviceDefaultDataHandle 0",
            "Dot4: OpenDOT4 : CreateFile m_DeviceDefaultDataHandle H", "mxvdot4: DOT4CreateSocket ",
            "DOT4CreateSocket: Service Name NULL",
            "DOT4CreateSocket DevIoControl  bPsid 4 type 1 BuffSz=128000 H2P=250  P2H=32000 Hsid 0",
            "DOT4CreateSocket: DevIoControl  bPsid 1 type 1 BuffSz=4 H2P=2  P2H=2 name 41 Hsid 1",
            "DOT4CreateSocket: Return fResult 1 ",
            "Dot4: ConnectToDOT4 DOT4CreateSocket: m_pszDevName: " + name + " m_bSocketId 9",
            "mxvdot4::DOT4OpenChannel",
            "Dot4: ConnectToDOT4 :DOT4OpenChannel opened : SocketId 9 hChannel 5001",
            "Dot4: ConnectToIO :ConnectToDOT4 OK 0 m_hChannel 5001",
            "mxvdot4: OpenIO ConnectToDOT4 sucessful attempt 1: DeviceName " + name));
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    EXPECT_THAT(NewLines(),
                ElementsAre("mxvdot4: ConnectToIO ", "Dot4::ConnectToDOT4 m_bSocketId 9",
                            "Dot4: ConnectToDOT4 DOT4CreateSocket:  socket already exists "
                            "m_pszDevName: " +
                                name + " m_bSocketId 9",
                            "Dot4: ConnectToDOT4 :ConnectToDOT4 : DOT4 channel is already open.",
                            "Dot4: ConnectToIO :ConnectToDOT4 OK 0 m_hChannel 5001"));
    transport.WriteData("\x1b*s0123456789abcdef", 19, &written, nullptr);
    EXPECT_THAT(
        Masked(NewLines()),
        ElementsAre("mxvdot4: WriteData: lpBuffer = P, dwNumberOfBytes = 19 Buf: *s0123456789ab  "
                    "m_DeviceDefaultDataHandle H",
                    "mxvdot4::DOT4Write BytesToWrite 19",
                    "DOT4Write : DefaultDeviceData Handle = H",
                    "mxvdot4::DOT4Write BytesToWrite 19 bytes written 19"));
    EXPECT_EQ("\x1b*s0123456789abcdef", stack_.TakeWritten());
    stack_.Provide({"", std::string(200, 'r')});
    EXPECT_EQ(200u, Read(transport, 512, &result).size());
    EXPECT_THAT(NewLines(),
                ElementsAre("mxvdot4::DOT4Read ulBytesToRead 512 ",
                            "mxvdot4::DOT4Read BytesToRead 512 Read 0",
                            "DOT4: ReadData Retrying a read...we asked for 512 bytes, and recieved "
                            "0 bytes uiRetry 9",
                            "mxvdot4::DOT4Read ulBytesToRead 512 ",
                            "mxvdot4::DOT4Read BytesToRead 512 Read 200",
                            "DOT4: ReadData: Asked 512, Got 200, Buf: rrrrrrrrrrrrrrr"));
    EXPECT_EQ(S_OK, transport.DisConnectFromIO());
    EXPECT_THAT(
        NewLines(),
        ElementsAre("mxvdot4: DisConnectFromIO ", "CloseDOT4Channel : SocketId 9 hChannel 5001",
                    "mxvdot4::DOT4CloseChannel", "Dot4: CloseDOT4Channel: Channeled closed",
                    "mxvdot4::DOT4DestroySocket", "Dot4: CloseDOT4Channel: Socket closed",
                    "Dot4: CloseDOT4Channel: m_DeviceDefaultDataHandle closed"));
    EXPECT_EQ(S_OK, transport.DisConnectFromIO());
    EXPECT_THAT(
        NewLines(),
        ElementsAre("mxvdot4: DisConnectFromIO ", "CloseDOT4Channel : SocketId 0 hChannel 0",
                    "Dot4: CloseDOT4Channel: DO NOTHING : dot4 chanel not open",
                    "Dot4: CloseDOT4Channel: DO NOTHING : dot4 socket doesn't exist",
                    "Dot4: CloseDOT4Channel: DO NOTHING : Device handle doesn't exist"));
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    stack_.TakeRequests();
    NewLines();
    EXPECT_EQ(S_OK, transport.CloseIO());
    EXPECT_THAT(Masked(NewLines()),
                ElementsAre("mxvdot4: CloseIO ", "Dot4 CWIAScannerDevice::EnterCloseDOT4",
                            "Dot4: CloseDOT4: We have a m_DeviceDefaultDataHandle H",
                            "Dot4:CloseDOT4: FlushBuf(m_DeviceDefaultDataHandle",
                            "Dot4:CloseDOT4: CloseHandle(m_DeviceDefaultDataHandle H"));
    EXPECT_EQ("", Codes(stack_.TakeRequests()));
    transport.CloseIO();
    EXPECT_EQ("Dot4:CloseDOT4: DO NOTHING : no DeviceHandle (ret val from CreatFIleexists",
              NewLines().back());
  }
  EXPECT_THAT(NewLines(), ElementsAre("mxvdot4::DOT4CloseChannel", "mxvdot4::DOT4DestroySocket",
                                      "DOT4DestroySocket Invalid Default Device Data handle",
                                      "mxvdot4::Destructor"));
}

TEST_F(Dot4Transport, TheDestructorClosesWhatIsOpen) {
  {
    MXVIO_DOT4MS transport;
    Open(transport);
  }
  EXPECT_EQ("close destroy ", Codes(stack_.TakeRequests()));
  EXPECT_THAT(
      Masked(NewLines()),
      ElementsAre("mxvdot4::DOT4CloseChannel", "mxvdot4::DOT4DestroySocket",
                  "~CWIAScannerDevice : Close m_DeviceDefaultDataHandle H", "mxvdot4::Destructor"));
}

TEST_F(Dot4Transport, ChannelsThatOpenLate) {
  const struct {
    std::deque<uint32_t> failures;
    IoResult result;
    size_t sleeps;
    const char* requests;
    const char* line;
  } cases[] = {
      {{31},
       S_OK,
       0,
       "create open open ",
       "Dot4: ConnectToDOT4 :ConnectToDOT4 : DOT4 channel opened (with 1 retry)"},
      {{31, 31},
       S_OK,
       1,
       "create open open open ",
       "Dot4: ConnectToDOT4 :ConnectToDOT4 : DOT4 channel opened (with 2 retry)"},
      // The socket of the first attempt is used again by the second.
      {{31, 31, 31, 31, 31, 31},
       S_OK,
       5,
       "create open open open open open open open ",
       "Dot4: ConnectToDOT4 :DOT4OpenChannel() failed 5 retry, could not open DOT4 channel"},
      {std::deque<uint32_t>(30, 31), E_FAIL, 25, nullptr,
       "Dot4: ConnectToIO :ConnectToDOT4 Disconnecting from DOT4"},
  };
  for (const auto& c : cases) {
    clock_.sleeps.clear();
    stack_.TakeRequests();
    stack_.Fail(kOpen, c.failures);
    {
      MXVIO_DOT4MS transport;
      EXPECT_EQ(c.result, transport.OpenIO(Path().c_str()));
      EXPECT_EQ(std::vector<uint32_t>(c.sleeps, 10000), clock_.sleeps);
      if (c.requests) {
        EXPECT_EQ(c.requests, Codes(stack_.TakeRequests()));
      }
      EXPECT_THAT(NewLines(), Contains(c.line));
    }
  }
}

TEST_F(Dot4Transport, SocketsThatAreNotGiven) {
  stack_.Fail(kCreate, {8, 8, 8, 8, 8});
  MXVIO_DOT4MS transport;
  EXPECT_EQ(E_FAIL, transport.OpenIO(Path().c_str()));
  EXPECT_EQ("create create create create create ", Codes(stack_.TakeRequests()));
  EXPECT_THAT(NewLines(),
              IsSupersetOf({"DOT4CreateSocket Failed to create DOT4 socket, GetLastError() = 8",
                            "DOT4CreateSocket: Return fResult 0 ",
                            "Dot4: ConnectToIO :DOT4CreateSocket() failed, Could not create a DOT4 "
                            "socket",
                            "Dot4: ConnectToIO :ConnectToDOT4 Disconnecting from DOT4"}));
  EXPECT_TRUE(clock_.sleeps.empty());
  // The next connect makes everything anew.
  EXPECT_EQ(S_OK, transport.ConnectToIO());
}

TEST_F(Dot4Transport, EmptyReads) {
  MXVIO_DOT4MS transport;
  Open(transport);
  IoResult result = E_FAIL;
  EXPECT_EQ("", Read(transport, 1, &result));
  EXPECT_EQ(S_OK, result);
  EXPECT_EQ("read ", Codes(stack_.TakeRequests()));
  NewLines();
  EXPECT_EQ("", Read(transport, 2, &result));
  EXPECT_EQ(error::ToResult(258), result);
  EXPECT_EQ(10u, stack_.TakeRequests().size());
  Lines retries = NewLines();
  std::erase_if(retries, [](const std::string& line) { return !line.ends_with("uiRetry 1"); });
  EXPECT_EQ(1u, retries.size());
  stack_.Fail(kRead, {31});
  EXPECT_EQ("", Read(transport, 10, &result));
  EXPECT_EQ(E_FAIL, result);
  EXPECT_EQ("read ", Codes(stack_.TakeRequests()));
  EXPECT_THAT(NewLines(), Contains("DOT4Read  Abnormal error code returned from "
                                   "GetOverlappedResult(), hr = -2147024865"));
}

// A write that loses the connection makes it again and is repeated on the new channel.
TEST_F(Dot4Transport, WritesOverALostConnection) {
  for (const uint32_t lost : {6u, 31u, 1609u, Dot4Stack::kHangUp}) {
    SCOPED_TRACE(lost);
    MXVIO_DOT4MS transport;
    Open(transport);
    stack_.Fail(kWrite, {lost});
    uint32_t written = 0;
    EXPECT_EQ(S_OK, transport.WriteData("hello", 5, &written, nullptr));
    EXPECT_EQ(5u, written);
    EXPECT_EQ("hello", stack_.TakeWritten());
    const std::vector<StackRequest> requests = stack_.TakeRequests();
    // A stack that is gone cannot be asked to close; the second attempt starts from nothing.
    EXPECT_EQ(lost == Dot4Stack::kHangUp ? "write create open write "
                                         : "write close destroy create open write ",
              Codes(requests));
    EXPECT_NE(requests.front().input.substr(0, 4), requests.back().input.substr(0, 4));
    EXPECT_THAT(
        NewLines(),
        IsSupersetOf({"DOT4Write  Connection lost...Retrying DOT4 Connection",
                      "dot4::ReConnectToDOT4", "Dot4 :ReConnectToDOT4: Total Retrys left = 2",
                      "Dot4: ReConnectToDOT4: Connection established to DOT4"}));
  }
}

TEST_F(Dot4Transport, WritesThatStayLost) {
  MXVIO_DOT4MS transport;
  Open(transport);
  uint32_t written = 9;
  stack_.Fail(kWrite, {5});  // no sign of a lost connection
  EXPECT_EQ(E_FAIL, transport.WriteData("hello", 5, &written, nullptr));
  EXPECT_EQ(0u, written);
  EXPECT_EQ("write ", Codes(stack_.TakeRequests()));
  stack_.Fail(kWrite, std::deque<uint32_t>(1000, 31));
  EXPECT_EQ(E_FAIL, transport.WriteData("hello", 5, &written, nullptr));
  EXPECT_LT(stack_.TakeRequests().size(), 100u);
  stack_.Fail(kWrite, {31});
  stack_.Fail(kCreate, {8, 8});
  NewLines();
  EXPECT_EQ(E_FAIL, transport.WriteData("hello", 5, &written, nullptr));
  const Lines lines = NewLines();
  EXPECT_THAT(lines, IsSupersetOf({"Dot4 :ReConnectToDOT4: Total Retrys left = 2",
                                   "Dot4 :ReConnectToDOT4: Total Retrys left = 1",
                                   "Dot4: ReConnectToDOT4:Failed to connect to DOT4...may attempt "
                                   "a retry.."}));
  // The next write finds nothing open and connects.
  stack_.Fail(kWrite, {});
  EXPECT_EQ(S_OK, transport.WriteData("again", 5, &written, nullptr));
  EXPECT_THAT(Masked(NewLines()),
              IsSupersetOf({"mxvdot4:  WriteData: lpBuffer = P, dwNumberOfBytes = 5 Buf: gain  "
                            "m_DeviceDefaultDataHandle 0",
                            "DOT4: WriteData: Need to open IO lpBuffer = P, dwNumberOfBytes = 5"}));
}

// What the trace of a field case is read for: which step of the connection failed, and with what.
TEST_F(Dot4Transport, LinesOfFailedSteps) {
  MXVIO_DOT4MS transport;
  uint32_t written = 0;
  IoResult result = S_OK;
  ASSERT_EQ(S_OK, transport.OpenIO(Path().c_str()));
  EXPECT_THAT(NewLines(),
              IsSupersetOf(Lines{"DOT4CreateSocket fResult  ERROR_IO_PENDING",
                                 "DOT4CreateSocket: GetOverlappedResult fResult 1dwErr 0 "}));
  transport.DisConnectFromIO();

  stack_.Fail(kCreate, std::deque<uint32_t>(3, 8));
  EXPECT_EQ(E_FAIL, transport.ConnectToIO());
  EXPECT_THAT(NewLines(), IsSupersetOf(Lines{" ConnectToIO: failed - try to reconnect",
                                             " DOT4: ConnectToIO: Reconnection to DOT4 failed,"}));
  stack_.Fail(kCreate, std::deque<uint32_t>(10, 8));
  EXPECT_EQ("", Read(transport, 5, &result));
  EXPECT_EQ(E_FAIL, result);
  EXPECT_EQ(E_FAIL, transport.WriteData("hello", 5, &written, nullptr));
  EXPECT_THAT(
      Masked(NewLines()),
      IsSupersetOf(Lines{"DOT4: ReadData: Need to open IO lpBuffer = P, dwNumberOfBytes = 5",
                         "DOT4: ReadData: ReadData, OpenUpIO() Failed",
                         "mxvdot4: OpenIO not null: DeviceName " + Path(),
                         "mxvdot4: WriteData OpenIO: Failed DeviceName " + Path()}));

  stack_.Fail(kOpen, {21});
  EXPECT_EQ(S_OK, transport.ConnectToIO());
  EXPECT_THAT(
      NewLines(),
      IsSupersetOf(Lines{"DOT4OpenChannel  ailed to open DOT4 Channel, Last Error = 21",
                         "Dot4: ConnectToDOT4 :DOT4OpenChannel failed...attempting retries.."}));
  stack_.Fail(kWrite, {31});
  stack_.Fail(kDestroy, {5});
  EXPECT_EQ(S_OK, transport.WriteData("hello", 5, &written, nullptr));
  EXPECT_THAT(
      NewLines(),
      IsSupersetOf(Lines{"DOT4Write Abnormal error code, hr -2147024865",
                         "DOT4DestroySocket Failed to destroy DOT4 socket, hr -2147024891 bHsid 10",
                         "DisConnectFromDOT4() failed...this may be ok.."}));
}

TEST_F(Dot4Transport, RequestsWithoutAFile) {
  struct Exposed : MXVIO_DOT4MS {
    using MXVIO_DOT4MS::DOT4Read;
    using MXVIO_DOT4MS::DOT4Write;
    using MXVIO_DOT4MS::OpenDOT4;
  } transport;
  char buffer[5] = {};
  uint32_t moved = 0;
  EXPECT_EQ(6, transport.DOT4Read(1, buffer, 5, &moved, 0));
  EXPECT_EQ("DOT4Read : Invalid Default Device Data handle", NewLines().back());
  EXPECT_EQ(6, transport.DOT4Write(1, buffer, 5, &moved, 0));
  EXPECT_EQ("DOT4Write : Invalid Default Device Data handle", NewLines().back());
  Open(transport);
  EXPECT_EQ(S_OK, transport.OpenDOT4());
  EXPECT_THAT(NewLines().back(), testing::StartsWith("Dot4:OpenDot4 has a m_DeviceDefaultData"));
}

TEST_F(Dot4Transport, AMissingDeviceFile) {
  const std::string missing = place_.File("missing");
  MXVIO_DOT4MS transport;
  EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
  EXPECT_EQ(E_FAIL, transport.OpenIO(missing.c_str()));
  Lines lines = NewLines();
  EXPECT_THAT(lines, IsSupersetOf({"Dot4:OpenDot4 CreateFileA returned a bad HANDLE, "
                                   "CreateFileName = " +
                                       missing + ", GetLastError() = 2",
                                   std::string("Dot4::OpenDOT4 failed 80070002"),
                                   "mxvdot4: OpenIO ConnectToDOT4 failure attempt 5: DeviceName " +
                                       missing}));
  IoTimeouts timeouts;
  EXPECT_EQ(E_FAIL, transport.Escape(7, nullptr, 0, nullptr, 0, nullptr));
  EXPECT_EQ(E_FAIL, transport.ConnectToIO());
  uint32_t moved = 5;
  char buffer[5];
  EXPECT_EQ(E_FAIL, transport.ReadData(buffer, &moved, nullptr));
  EXPECT_EQ(E_FAIL, transport.WriteData(buffer, 5, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  EXPECT_THAT(NewLines(),
              IsSupersetOf({" DOT4: ReadData: Reconnection to DOT4 failed, STIERR_NOT_INITIALIZED "
                            "will be returned",
                            "mxvdot4: WriteData Retry connection failed"}));
  // The file appears, and the next read repairs the connection.
  std::filesystem::create_symlink(Path(), missing);
  stack_.Provide({"there"});
  IoResult result = E_FAIL;
  EXPECT_EQ("there", Read(transport, 5, &result));
  EXPECT_EQ(S_OK, result);
  EXPECT_THAT(NewLines(),
              Contains("DOT4: ReadData Reconnection to DOT4 was successful...retrying full "
                       "ReadData operation"));
  EXPECT_EQ(S_OK, transport.Escape(7, nullptr, 0, nullptr, 0, nullptr));
  EXPECT_EQ(S_OK, transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
  EXPECT_EQ(30000u, timeouts.read);
  EXPECT_EQ(500u, timeouts.flush);
}

TEST_F(Dot4Transport, TheVariantThatMovesNoData) {
  uint32_t moved = 5;
  char buffer[5];
  IoTimeouts timeouts = {};
  {
    MXVIO_DOT4OV transport;
    EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
    EXPECT_EQ(E_FAIL, transport.ConnectToIO());
    EXPECT_EQ(error::ToResult(2), transport.OpenIO(place_.File("missing").c_str()));
    EXPECT_EQ(E_FAIL, transport.ConnectToIO());
    EXPECT_EQ(E_FAIL, transport.ReadData(buffer, &moved, nullptr));
    EXPECT_EQ(E_FAIL, transport.WriteData(buffer, 5, &moved, nullptr));
    EXPECT_EQ(E_FAIL, transport.Escape(7, nullptr, 0, nullptr, 0, nullptr));
    std::filesystem::create_symlink(Path(), place_.File("missing"));
    moved = 2;
    EXPECT_EQ(error::ToResult(258), transport.ReadData(buffer, &moved, nullptr));
    EXPECT_EQ(0u, moved);
    EXPECT_EQ(S_OK, transport.DisConnectFromIO());
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    moved = 1;
    EXPECT_EQ(S_OK, transport.ReadData(buffer, &moved, nullptr));
    EXPECT_EQ(0u, moved);
    moved = 5;
    EXPECT_EQ(S_OK, transport.WriteData(buffer, 5, &moved, nullptr));
    EXPECT_EQ(0u, moved);
    EXPECT_EQ(S_OK, transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
    EXPECT_EQ(500u, timeouts.flush);
    EXPECT_EQ(S_OK, transport.CloseIO());
  }
  EXPECT_EQ("", Codes(stack_.TakeRequests()));
  EXPECT_THAT(NewLines(), ElementsAre("mxvio::Destructor"));
}

}  // namespace
}  // namespace scantk
