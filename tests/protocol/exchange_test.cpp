// Commands, inquiries, the value cache and device errors, in conversations played word for word.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "protocol/device_errors.h"
#include "protocol/download_table.h"
#include "tests/protocol/engine_fixture.h"
#include "tests/protocol/framing_bytes.h"

namespace scantk::test {
namespace {

TEST(Exchange, AsksNumbers) {
  const struct {
    const char* what;
    std::string answer;
    Answered result;
  } cases[] = {
      {"a value", "p300V", {SL_OK, 300}},
      {"none", "pN", {SL_NULLRESPONSE, 0}},
      {"none, with digits", "p300N", {SL_NULLRESPONSE, 0}},
      {"another letter", "q300V", {SL_BADRESPONSE, 0}},
      {"a string's end", "p300W", {SL_BADRESPONSE, 0}},
      {"an end that no answer has", "p300X", {SL_BADRESPONSE, 0}},
      {"as long as looked at, and no end", std::string(1191, '1'), {SL_BADRESPONSE, 0}},
      {"a NUL inside",
       std::string("p3\0"
                   "00V",
                   6),
       {SL_BADRESPONSE, 0}},
  };
  for (const auto& c : cases) {
    ScriptedEngine e;
    e.script.Ask("10323R", c.answer);
    EXPECT_EQ(c.result, e.Number(SL_X_RESOLUTION, 'R')) << c.what;
    EXPECT_EQ("", e.script.Faults()) << c.what;
  }
}

TEST(Exchange, RefusesWhatCannotBeAsked) {
  ScriptedEngine e;
  EXPECT_EQ(Answered(SL_INVALID_REQUEST, 0), e.Number(80, 'R'));  // a string
  EXPECT_EQ(Answered(SL_INVALID_REQUEST, 0), e.Number(SL_DEVLOCK, 'R'));
  EXPECT_EQ(Answered(SL_INVALID_REQUEST, 0), e.Number(169, 'R'));
  EXPECT_EQ(SL_INVALID_REQUEST, e.engine.SendCommand(SL_PIXELS_PER_LINE, 1));
  char text[4] = "xyz";
  int32_t length = 7;
  EXPECT_EQ(SL_INVALID_REQUEST, e.engine.InquireString(SL_X_RESOLUTION, text, 3, &length));
  EXPECT_EQ(-1, length);
  EXPECT_STREQ("", text);
  EXPECT_EQ("", e.script.Faults());
}

// The answer of a device that stops in the middle, five pauses being tolerated.
TEST(Exchange, BearsFiveTimeoutsAndNotSix) {
  for (int timeouts = 5; timeouts <= 6; ++timeouts) {
    ScriptedEngine e;
    e.script.Write("\x1b*s1024E").Read("\x1b*s10");
    for (int i = 0; i < timeouts; ++i) e.script.EndRead(kIoTimeout);
    if (timeouts == 5) e.script.Read("24d9V");
    const Answered expected = timeouts == 5 ? Answered(SL_OK, 9) : Answered(SL_BADACCESS, 0);
    EXPECT_EQ(expected, e.Number(SL_PIXELS_PER_LINE, 'R'));
    EXPECT_EQ("", e.script.Faults());
  }
}

TEST(Exchange, EndsOnTransportFailures) {
  const struct {
    const char* what;
    IoResult write, read;
    uint32_t written;
    Answered result;
    int reads;
  } cases[] = {
      {"write failed", kTransportFailure, 0, 0, {SL_BADACCESS, 0}, 0},
      {"write fell short", 0, 0, 7, {SL_BADACCESS, 0}, 0},
      {"read failed", 0, kTransportFailure, 8, {SL_BADACCESS, 0}, 3},
      {"connection closed", 0, 10058, 8, {SL_BADRESPONSE, 0}, 3},
  };
  for (const auto& c : cases) {
    ScriptedEngine e;
    e.script.FailWrite("\x1b*s1024E", c.write, c.written);
    if (c.reads > 0) e.script.Read("\x1b*").EndRead(c.read);
    EXPECT_EQ(c.result, e.Number(SL_PIXELS_PER_LINE, 'R')) << c.what;
    EXPECT_EQ(c.reads, e.script.reads) << c.what;
    EXPECT_EQ("", e.script.Faults()) << c.what;
  }
  // A transport that says it has read nothing, and says so quickly, is no reason to ask for ever.
  ScriptedEngine e;
  e.script.Write("\x1b*s1024E");
  for (int i = 0; i < 6; ++i) e.script.EndRead(0);
  EXPECT_EQ(Answered(SL_BADACCESS, 0), e.Number(SL_PIXELS_PER_LINE, 'R'));
  EXPECT_EQ("", e.script.Faults());
}

TEST(Exchange, WithoutTransportEverythingFails) {
  ProtocolEngine engine;
  int32_t value = 1;
  uint32_t a, b, c;
  EXPECT_EQ(SL_BADACCESS, engine.SendCommand(SL_RESET, 0));
  EXPECT_EQ(SL_BADACCESS, engine.InquireNumber(SL_PIXELS_PER_LINE, 'R', &value));
  EXPECT_EQ(0, value);
  EXPECT_EQ(-1, engine.SetScannerTimeouts(1, 2, 3));
  EXPECT_EQ(-1, engine.GetScannerTimeouts(&a, &b, &c));
  EXPECT_EQ(SL_NOACCESS, engine.ConnectToIO());
  EXPECT_EQ(1u, engine.DisConnectFromIO());
  EXPECT_EQ(0, engine.FlushTheScanner());
  EXPECT_EQ(SL_BADPARAM, engine.InitIO(nullptr, 5));
  EXPECT_EQ(SL_BADPARAM, engine.InitIO("device", 0));
  EXPECT_EQ(SL_BADPARAM, engine.InitIO("device", 3));
}

TEST(Exchange, ReadsStrings) {
  const struct {
    const char* what;
    std::string announced, sent;
    uint32_t capacity;
    QrlStatus status;
    int32_t length;
    std::string text;
  } cases[] = {
      {"whole", "5W", "ZM-13", 255, SL_OK, 5, "ZM-13"},
      {"empty", "0W", "", 255, SL_OK, 0, ""},
      {"longer than there is room", "300W", std::string(255, 'x'), 255, SL_OK, 300,
       std::string(255, 'x')},
      {"announced without measure", "99999999999W", "1234", 4, SL_OK, 2147483647, "1234"},
      {"a negative length", "-5W", "", 255, SL_BADACCESS, -1, ""},
      {"cut short", "5W", "ZM-1", 255, SL_BADACCESS, -1, ""},
      {"a number's end", "5V", "", 255, SL_BADRESPONSE, -1, ""},
      {"none", "N", "", 255, SL_NULLRESPONSE, -1, ""},
  };
  for (const auto& c : cases) {
    ScriptedEngine e;
    e.script.Ask("19E", "d" + c.announced);
    if (!c.sent.empty()) e.script.Read(c.sent);
    // Exactly as large as needed, for the sanitizer to watch.
    std::vector<char> buffer(c.capacity + 1, '~');
    int32_t length = 99;
    EXPECT_EQ(c.status, e.engine.InquireString(SL_MODEL_ID, buffer.data(), c.capacity, &length))
        << c.what;
    EXPECT_EQ(c.length, length) << c.what;
    EXPECT_EQ(c.text, buffer.data()) << c.what;
    if (c.sent.empty()) {
      EXPECT_EQ(static_cast<int>(6 + c.announced.size()), e.script.reads) << c.what;
    }
    EXPECT_EQ("", e.script.Faults()) << c.what;
  }
}

TEST(Exchange, ReadsBytesIntoExactlyTheRoomThereIs) {
  ScriptedEngine e;
  e.script.Ask("508E", "d6W").Read(std::string("a\0bc", 4));
  std::vector<uint8_t> bytes(4);
  int32_t length = 0;
  EXPECT_EQ(SL_OK, e.engine.InquireBytes(SL_SPF_DATA, bytes.data(), 4, &length));
  EXPECT_EQ(6, length);
  EXPECT_EQ((std::vector<uint8_t>{'a', 0, 'b', 'c'}), bytes);
  EXPECT_EQ("", e.script.Faults());
}

TEST(Exchange, IdentifiesModels) {
  const struct {
    const char* string;
    int32_t model;
  } models[] = {{"ZM-16", 70}, {"ZM-15", 69}, {"ZM-14", 68}, {"ZM-13", 67},
                {"ZM-12", 66}, {"ZM-11", 65}, {"ZM-1", 0},   {"ZM-133", 0}};
  int32_t model = 0;
  for (const auto& m : models) {
    ScriptedEngine e;
    e.script.AskText("19E", m.string);
    EXPECT_EQ(SL_OK, e.engine.InquireModel(&model));
    EXPECT_EQ(m.model, model) << m.string;
    EXPECT_EQ("", e.script.Faults());
  }
  EXPECT_EQ(static_cast<QrlStatus>(-1), ScriptedEngine().engine.InquireModel(nullptr));

  ScriptedEngine dead;  // a transport failure ends it before the alternative is tried
  dead.script.FailWrite("\x1b*s19E", kTransportFailure);
  EXPECT_EQ(SL_BADACCESS, dead.engine.InquireModel(&model));
  EXPECT_EQ(0, model);
  ScriptedEngine mute;
  mute.script.Ask("19E", "dN").Ask("18E", "dN");
  EXPECT_EQ(SL_NULLRESPONSE, mute.engine.InquireModel(&model));
  EXPECT_EQ("", dead.script.Faults() + mute.script.Faults());
}

TEST(Cache, SkipsWhatTheDeviceHolds) {
  ScriptedEngine e;
  const auto send = [&](uint32_t id, int32_t value) {
    EXPECT_EQ(SL_OK, e.engine.SendCommand(id, value)) << id;
  };
  // Off: everything is sent.
  e.script.Command("*d1D").Command("*d1D");
  send(SL_DUPLEX, 1);
  send(SL_DUPLEX, 1);
  EXPECT_EQ("", e.script.Faults());

  e.TurnCacheOn();
  e.script.Command("*d1D");
  send(SL_DUPLEX, 1);
  send(SL_DUPLEX, 1);
  // A short write is not remembered.
  e.script.FailWrite("\x1b*d0D", 0, 3).Command("*d0D");
  EXPECT_EQ(SL_BADACCESS, e.engine.SendCommand(SL_DUPLEX, 0));
  send(SL_DUPLEX, 0);
  // A reset makes it forget compression but not duplex.
  e.script.Command("*a2C").Command("E").Command("*a2C");
  send(SL_COMPRESSION, 2);
  send(SL_COMPRESSION, 2);
  send(SL_RESET, 0);
  send(SL_COMPRESSION, 2);
  send(SL_DUPLEX, 0);
  // Never kept: a resolution, the lock, the transfer type.
  e.script.Command("*a300R")
      .Command("*a300R")
      .Command("*f1H")
      .Command("*f1H")
      .Command("*m2S")
      .Command("*m2S");
  for (const int32_t id : {9, 108, 130}) {
    const int32_t value = id == 9 ? 300 : id == 108 ? 1 : 2;
    send(static_cast<uint32_t>(id), value);
    send(static_cast<uint32_t>(id), value);
  }
  EXPECT_EQ("", e.script.Faults());
}

TEST(Cache, AnswersKnownValuesByKind) {
  ScriptedEngine e;
  e.TurnCacheOn();
  e.script.Ask("10956R", "p1V").Ask("10956L", "k0V").Ask("10956H", "g9V");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Answered(SL_OK, 1), e.Number(SL_TONEMAP, 'R'));
    EXPECT_EQ(Answered(SL_OK, 0), e.Number(SL_TONEMAP, 'L'));
    EXPECT_EQ(Answered(SL_OK, 9), e.Number(SL_TONEMAP, 'H'));
  }
  // The window is taken to be at the origin until a reset.
  EXPECT_EQ(Answered(SL_OK, 0), e.Number(SL_XPOS_PIXEL, 'R'));
  EXPECT_EQ(SL_OK, e.engine.SendCommand(SL_YPOS_PIXEL, 0));
  e.script.Command("*oE").Command("*f0Y").Command("*f0Y");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(SL_OK, e.engine.SendCommand(i ? SL_YPOS_PIXEL : SL_CLEAR_ERRORS, 0));
  }
  EXPECT_EQ("", e.script.Faults());
}

TEST(Cache, AnyCommandForgetsTheErrorCount) {
  ScriptedEngine e;
  e.TurnCacheOn();
  e.script.Ask("257E", "d0V");
  EXPECT_EQ(SL_OK, e.engine.InquireOldestError());
  EXPECT_EQ(SL_OK, e.engine.InquireOldestError());               // known to be none
  EXPECT_EQ(Answered(SL_OK, 0), e.Number(SL_ERROR_COUNT, 'H'));  // of whatever kind
  e.script.Command("*d1D").Ask("257E", "d0V");
  EXPECT_EQ(SL_OK, e.engine.SendCommand(SL_DUPLEX, 1));
  EXPECT_EQ(SL_OK, e.engine.InquireOldestError());
  // One that is not sent leaves it alone; one that cannot be built does not.
  EXPECT_EQ(SL_OK, e.engine.SendCommand(SL_DUPLEX, 1));
  EXPECT_EQ(SL_OK, e.engine.InquireOldestError());
  EXPECT_EQ(SL_INVALID_REQUEST, e.engine.SendCommand(SL_ADF_PRESENT, 1));
  e.script.Ask("257E", "d0V");
  EXPECT_EQ(SL_OK, e.engine.InquireOldestError());
  EXPECT_EQ("", e.script.Faults());
}

TEST(Cache, KnownModelsTurnItOff) {
  ScriptedEngine e;
  e.TurnCacheOn();
  e.script.AskText("19E", "ZM-13").Command("*d1D").Command("*d1D");
  int32_t model = 0;
  EXPECT_EQ(SL_OK, e.engine.InquireModel(&model));
  e.engine.SendCommand(SL_DUPLEX, 1);
  e.engine.SendCommand(SL_DUPLEX, 1);
  EXPECT_EQ("", e.script.Faults());
}

TEST(DeviceErrors, AreMapped) {
  const std::vector<std::pair<int32_t, QrlStatus>> table = {
      {0, 7},     {1, 8},     {2, 10},      {3, 9},     {4, 11},   {5, 12},    {6, 13},
      {7, 14},    {8, 18},    {9, 17},      {10, 20},   {11, 17},  {1023, 17}, {1024, 15},
      {1025, 16}, {1026, 19}, {1027, 1027}, {1028, 17}, {499, 17}, {500, 500}, {501, 501},
      {502, 502}, {503, 503}, {504, 504},   {505, 505}, {506, 17}, {-1, 17}};
  for (const auto& [device, status] : table) EXPECT_EQ(status, MapDeviceError(device)) << device;
}

TEST(DeviceErrors, AreReadAndCleared) {
  ScriptedEngine e;
  e.script.Ask("257E", "d2V").Ask("261E", "d1024V").Command("*oE");
  EXPECT_EQ(SL_ERR_MAPPED_JAM, e.engine.InquireOldestError());
  EXPECT_EQ("", e.script.Faults());

  // An inquiry that fails is taken for one behind scan data: the device is drained.
  e.script.Ask("257E", "q0V").Read(Block("rest of a page", 0x02)).Command("*oE");
  EXPECT_EQ(SL_ERROR_INQUIRY_FAILED, e.engine.InquireOldestError());
  e.script.Ask("257E", "d1V").Ask("261E", "dN").EndRead(kTransportFailure).Command("*oE");
  EXPECT_EQ(SL_ERROR_INQUIRY_FAILED, e.engine.InquireOldestError());
  EXPECT_EQ("", e.script.Faults());
}

TEST(DownloadTable, AnnouncesAndWrites) {
  const std::string map = Pattern(18411);
  const auto* data = reinterpret_cast<const uint8_t*>(map.data());
  const std::vector<std::pair<uint32_t, uint32_t>> sizes = {
      {0, 64},  {1, 256}, {3, 192}, {4, 3},    {5, 256},  {6, 1024},
      {7, 192}, {8, 6},   {9, 18},  {10, 774}, {11, 258}, {12, 6}};
  ScriptedEngine e;
  for (const auto& [type, bytes] : sizes) {
    e.script.Command("*a" + std::to_string(type) + "D")
        .Command("*a" + std::to_string(bytes) + "W")
        .Write(map.substr(0, bytes));
    EXPECT_EQ(SL_OK, e.engine.DownloadTable(type, data)) << type;
  }
  e.script.AskText("19E", "ZM-11").Command("*a2D").Command("*a18W").Write(map.substr(0, 18));
  EXPECT_EQ(SL_OK, e.engine.DownloadTable(2, data));
  e.script.AskText("19E", "ZM-12").Command("*a15D").Command("*a18411W").Write(map);
  EXPECT_EQ(SL_OK, e.engine.DownloadTable(15, data));
  e.script.Command("*a31D").Command("*a5W").Write("hello");
  EXPECT_EQ(SL_OK, e.engine.DownloadTable(31, reinterpret_cast<const uint8_t*>("hello")));
  EXPECT_EQ("", e.script.Faults());
}

TEST(DownloadTable, RefusesAndFails) {
  const uint8_t data[256] = {};
  ScriptedEngine e;
  for (const uint32_t type : {13u, 14u, 16u, 30u, 33u, 0xFFFFFFFFu}) {
    EXPECT_EQ(SL_INVALID_REQUEST, e.engine.DownloadTable(type, data)) << type;
  }
  EXPECT_EQ(SL_BADPARAM, e.engine.DownloadTable(1, nullptr));
  e.script.AskText("19E", "ZM-14");
  EXPECT_EQ(SL_OK, e.engine.DownloadTable(15, data));  // that model needs none
  e.script.Ask("19E", "dN").Ask("18E", "dN");
  EXPECT_EQ(SL_BADACCESS, e.engine.DownloadTable(15, data));
  e.script.Command("*a1D").Command("*a256W").FailWrite(std::string(256, '\0'), 0, 255);
  EXPECT_EQ(SL_BADACCESS, e.engine.DownloadTable(1, data));
  e.script.FailWrite("\x1b*a1D", kTransportFailure);
  EXPECT_EQ(SL_BADACCESS, e.engine.DownloadTable(1, data));
  EXPECT_EQ("", e.script.Faults());
}

TEST(Transport, IsOpenedConnectedAndClosed) {
  Script script;
  {
    ProtocolEngine engine;
    engine.AttachTransport(std::make_unique<ScriptedTransport>(script));
    EXPECT_EQ(SL_ALREADYOPEN, engine.InitIO("device", 5));
    const std::pair<IoResult, uint32_t> connects[] = {{0, 0},
                                                      {static_cast<IoResult>(0x80070005), SL_BUSY},
                                                      {10061, SL_FIREWALL},
                                                      {kTransportFailure, SL_NOACCESS}};
    for (const auto& [result, status] : connects) {
      script.connect_result = result;
      EXPECT_EQ(status, engine.ConnectToIO()) << result;
    }
    EXPECT_EQ(0u, engine.DisConnectFromIO());
    script.disconnect_result = kTransportFailure;
    EXPECT_EQ(1u, engine.DisConnectFromIO());
    uint32_t read = 0, write = 0, flush = 0;
    EXPECT_EQ(0, engine.SetScannerTimeouts(1, 2, 3));
    EXPECT_EQ(0, engine.GetScannerTimeouts(&read, &write, &flush));
    EXPECT_EQ("1 2 3",
              std::to_string(read) + " " + std::to_string(write) + " " + std::to_string(flush));
    EXPECT_EQ(0, script.closes);
  }
  EXPECT_EQ(1, script.closes);
}

}  // namespace
}  // namespace scantk::test
