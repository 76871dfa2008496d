// The USB transport on pseudo-terminals.
#include "io/mxvusb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/diag/trace_fixture.h"
#include "tests/io/masked_lines.h"
#include "tests/io/pseudo_terminal.h"

namespace scantk {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AnyOf;
using testing::ElementsAre;

constexpr char kReset[] =
    "\x1b"
    "E12345678901234567";

class UsbTransport : public TraceFixture {
 protected:
  static IoTimeouts Timeouts(mxvio& transport) {
    IoTimeouts timeouts = {};
    EXPECT_EQ(S_OK, transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
    return timeouts;
  }
  static void SetReadTimeout(mxvio& transport, uint32_t read) {
    IoTimeouts timeouts = {read, 1000, 0};
    EXPECT_EQ(S_OK, transport.Escape(SET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
  }
  static std::string Read(mxvio& transport, uint32_t size, IoResult* result) {
    std::string text(size, '\0');
    uint32_t length = size;
    *result = transport.ReadData(text.data(), &length, nullptr);
    text.resize(length);
    return text;
  }

  PseudoTerminal device_;
};

TEST_F(UsbTransport, LifeOfASession) {
  const std::string path = device_.Path();
  IoResult result = E_FAIL;
  uint32_t written = 0;
  {
    mxvusb transport;
    EXPECT_EQ(S_OK, transport.OpenIO(path.c_str()));
    EXPECT_THAT(NewLines(), ElementsAre("OpenIO: DeviceName " + path, "CreateFile suceeded"));
    EXPECT_EQ(S_OK, transport.OpenIO("elsewhere"));
    EXPECT_THAT(NewLines(), ElementsAre("ERROR: OpenUSB IO m_DeviceDefaultDataHandle != NULL"));
    EXPECT_EQ(S_OK, transport.ConnectToIO());
    device_.Send("0123456789");
    EXPECT_EQ("0123456789", Read(transport, 64, &result));
    EXPECT_EQ(S_OK, result);
    EXPECT_THAT(NewLines(), ElementsAre("IOUSB: ReadRawData Wanted 64, Got 10, Buf: 0123456789"));
    EXPECT_EQ(S_OK, transport.WriteData(kReset, 19, &written, nullptr));
    EXPECT_EQ(19u, written);
    EXPECT_EQ(kReset, device_.Receive(19));
    EXPECT_THAT(
        Masked(NewLines()),
        ElementsAre("WriteData m_DeviceDefaultDataHandle H lpBuffer = P, dwNumberOfBytes = 19 Buf: "
                    "E1234567890123",
                    "WriteData Rec : overlapp created: dwNumberOfBytes 19",
                    "STI: USB WriteData Asked 19, Sent 19, Buf: \x1b"
                    "E1234567890123"));
    EXPECT_EQ(S_OK, transport.DisConnectFromIO());
    EXPECT_EQ(S_OK, transport.CloseIO());
    EXPECT_EQ(S_OK, transport.OpenIO(path.c_str()));  // closed, so it can be opened again
    NewLines();
  }
  EXPECT_THAT(NewLines(), ElementsAre("mxvusb::Destructor free m_DeviceDefaultDataHandle",
                                      "mxvusb::Destructor"));
}

TEST_F(UsbTransport, EveryByteValueBothWaysAndLongWrites) {
  std::string all(256 * 400, '\0');
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i * 7 + i / 256);
  mxvusb transport;
  ASSERT_EQ(S_OK, transport.OpenIO(device_.Path().c_str()));
  std::string received;
  std::thread reader([&] { received = device_.Receive(all.size()); });
  uint32_t written = 0;
  Overlapped own;
  EXPECT_EQ(S_OK,
            transport.WriteData(all.data(), static_cast<uint32_t>(all.size()), &written, &own));
  reader.join();
  EXPECT_EQ(all.size(), written);
  EXPECT_EQ(all, received);
  // A long write is announced with the flow too; the caller's record makes none necessary.
  EXPECT_TRUE(NewLines()[2].starts_with("lpBuffer = "));

  std::thread sender([&] { device_.Send(all); });
  std::string back;
  IoResult result = S_OK;
  while (back.size() < all.size() && result == S_OK) back += Read(transport, 62000, &result);
  sender.join();
  EXPECT_EQ(all, back);
}

TEST_F(UsbTransport, ReadsOfASilentDeviceTimeOut) {
  mxvusb transport;
  ASSERT_EQ(S_OK, transport.OpenIO(device_.Path().c_str()));
  SetReadTimeout(transport, 120);
  const IoTimeouts timeouts = Timeouts(transport);
  EXPECT_EQ(120u, timeouts.read);
  EXPECT_EQ(1000u, timeouts.write);
  EXPECT_EQ(500u, timeouts.flush);
  NewLines();
  IoResult result = S_OK;
  const auto start = steady_clock::now();
  EXPECT_EQ("", Read(transport, 64, &result));
  const auto took = steady_clock::now() - start;
  EXPECT_EQ(kIoTimeout, result);
  EXPECT_GE(took, milliseconds(115));
  EXPECT_LT(took, milliseconds(1000));
  EXPECT_THAT(NewLines(),
              ElementsAre("ReadData Rec : err timeout hit  m_ulReadTimeout 120  dwBytesRead 0",
                          "ERROR: STI: WAIT_TIMEOUT: ReadRawData Asked 64, Got 0, Buf:  hr 102"));
  device_.Send("late");
  EXPECT_EQ("late", Read(transport, 64, &result));
}

TEST_F(UsbTransport, ADeviceThatIsUnpluggedEndsTheRead) {
  mxvusb transport;
  ASSERT_EQ(S_OK, transport.OpenIO(device_.Path().c_str()));
  std::thread unplug([&] {
    std::this_thread::sleep_for(milliseconds(50));
    device_.HangUp();
  });
  NewLines();
  IoResult result = S_OK;
  const auto start = steady_clock::now();
  EXPECT_EQ("", Read(transport, 64, &result));
  unplug.join();
  EXPECT_THAT(result, AnyOf(error::ToResult(error::kGenFailure),
                            error::ToResult(error::kDeviceNotConnected)));
  const auto lines = NewLines();
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ("ReadData Rec : error no timeout hit  m_ulReadTimeout 30000  dwBytesRead 0", lines[0]);
  EXPECT_TRUE(lines[1].starts_with("ERROR: STI: Problem: ReadRawData Asked 64, Got 0, Buf:  hr 8"))
      << lines[1];
  uint32_t written = 9;
  EXPECT_GT(0, transport.WriteData("x", 1, &written, nullptr));
  EXPECT_EQ(0u, written);
  EXPECT_TRUE(NewLines().back().starts_with("ERROR: USB WriteData : Problem:  Asked 1, Sent 0"));
  EXPECT_EQ(S_OK, transport.CloseIO());
  EXPECT_LT(steady_clock::now() - start, milliseconds(2000));
}

TEST_F(UsbTransport, FilesThatCannotBeOpened) {
  const std::string missing = place_.File("missing");
  const struct {
    std::string name;
    IoResult result;
  } cases[] = {
      {missing, error::ToResult(error::kFileNotFound)},
      {place_.Folder(), error::ToResult(error::kAccessDenied)},
      {"", error::ToResult(error::kFileNotFound)},
  };
  for (const auto& c : cases) {
    mxvusb transport;
    EXPECT_EQ(c.result, transport.OpenIO(c.name.c_str()));
    char expected[80];
    std::snprintf(expected, sizeof expected, "ERROR: CreateFile failed INVALID_HANDLE_VALUE %d %x",
                  c.result, static_cast<unsigned>(c.result));
    EXPECT_EQ(expected, NewLines().back());
    uint32_t length = 3;
    uint32_t written = 0;
    char buffer[3];
    EXPECT_EQ(E_FAIL, transport.ReadData(buffer, &length, nullptr));
    EXPECT_EQ(3u, length);
    EXPECT_EQ("ERROR: STI: Invalid or null devicedefaultDataHandle", NewLines().back());
    EXPECT_EQ(E_FAIL, transport.WriteData(buffer, 3, &written, nullptr));
    EXPECT_EQ("ERROR: USB WriteData : m_DeviceDefaultDataHandle ", NewLines().back());
    IoTimeouts timeouts;
    EXPECT_EQ(E_FAIL, transport.Escape(GET_TIMEOUTS, &timeouts, 12, nullptr, 0, nullptr));
    EXPECT_EQ(E_FAIL, transport.Escape(77, nullptr, 0, nullptr, 0, nullptr));
  }
  // The name is kept, so the next open tries again, whatever it is given.
  mxvusb transport;
  EXPECT_GT(0, transport.OpenIO(missing.c_str()));
  std::filesystem::create_symlink(device_.Path(), missing);
  EXPECT_EQ(S_OK, transport.OpenIO(nullptr));
}

TEST_F(UsbTransport, WithoutAnOpen) {
  mxvusb transport;
  uint32_t length = 1;
  uint32_t written = 1;
  uint32_t returned = 0;
  char byte = 0;
  EXPECT_EQ(E_INVALIDARG, transport.OpenIO(nullptr));
  EXPECT_EQ(E_FAIL, transport.ReadData(&byte, &length, nullptr));
  EXPECT_EQ(error::ToResult(error::kInvalidHandle),
            transport.WriteData(&byte, 1, &written, nullptr));
  EXPECT_EQ(0u, written);
  EXPECT_EQ(error::ToResult(error::kInvalidHandle),
            transport.Escape(77, nullptr, 0, nullptr, 0, &returned));
  EXPECT_EQ(30000u, Timeouts(transport).read);
  ASSERT_EQ(S_OK, transport.OpenIO(device_.Path().c_str()));
  EXPECT_EQ(error::ToResult(error::kNotSupported),
            transport.Escape(77, nullptr, 0, nullptr, 0, &returned));
}

// What a transport leaves to its base is closed there.
TEST_F(UsbTransport, TheBaseClosesWhatIsLeftOpen) {
  struct Bare : mxvio {
    IoResult OpenIO(const char* name) override {
      return m_DeviceDefaultDataHandle.Open(name) ? S_OK : E_FAIL;
    }
    IoResult ConnectToIO() override { return S_OK; }
    IoResult ReadData(void*, uint32_t*, Overlapped*) override { return S_OK; }
    IoResult WriteData(const void*, uint32_t, uint32_t*, Overlapped*) override { return S_OK; }
    IoResult Escape(uint32_t, void*, uint32_t, void*, uint32_t, uint32_t*) override { return S_OK; }
    IoResult DisConnectFromIO() override { return S_OK; }
    IoResult CloseIO() override { return S_OK; }
  };
  {
    Bare transport;
    ASSERT_EQ(S_OK, transport.OpenIO(device_.Path().c_str()));
  }
  EXPECT_THAT(Masked(NewLines()),
              ElementsAre("MXVWIA_STI::STI: ~CWIAScannerDevice Close m_DeviceDefaultDataHandle H",
                          "mxvio::Destructor"));
}

}  // namespace
}  // namespace scantk
