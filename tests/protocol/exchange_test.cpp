// The table of commands; inquiries, device errors and downloads in conversations played word for
// word.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "protocol/device_errors.h"
#include "protocol/download_table.h"
#include "tests/doubles/test_clock.h"
#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

// What a builder wrote; "-" when it refused. The buffers are as small as allowed: the sanitizer
// sees a byte too many.
std::string Command(uint32_t id, int32_t value) {
  const auto buffer = std::make_unique<char[]>(kCommandBufferSize);
  return BuildCommand(id, value, buffer.get()) == 0 ? "-" : buffer.get();
}
std::string Inquiry(uint32_t id, char kind) {
  const auto buffer = std::make_unique<char[]>(kInquiryBufferSize);
  return BuildInquire(id, kind, buffer.get()) == 0 ? "-" : buffer.get();
}

TEST(CommandTable, BuildsCommandsAndInquiries) {
  constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
  EXPECT_EQ("\x1b\x45", Command(SL_RESET, 0));
  EXPECT_EQ("\x1b*oE", Command(SL_CLEAR_ERRORS, 77));
  EXPECT_EQ("\x1b*u-1K", Command(SL_TONEMAP, -1));
  EXPECT_EQ("\x1b*d-2147483648H", Command(SL_DUPLEX_HFLIP, kLeast));
  EXPECT_EQ("\x1bM2M", Command(129, 2));
  EXPECT_EQ("\x1b*f5C", Command(118, 5));
  EXPECT_EQ("\x1b*s10323H", Inquiry(SL_X_RESOLUTION, 'H'));
  EXPECT_EQ("\x1b*s1024E", Inquiry(SL_PIXELS_PER_LINE, 'H'));
  EXPECT_EQ("\x1b*s1045E", Inquiry(118, 'R'));
  for (const uint32_t id : {169u, 0xFFFFFFFFu}) EXPECT_EQ("--", Command(id, 1) + Inquiry(id, 'R'));
}

// Catches an answer that is believed although it is another one's, and one that is not.
TEST(Exchange, AsksNumbers) {
  const struct {
    const char *asked, *answer;  // behind "10323", the variable
    QrlStatus status;
    int32_t value = 0;
    IoResult end = 0;  // of the read behind the answer, `ends` times, before the rest
    int ends = 0;
    const char* rest = "";
  } cases[] = {{"R", "p-300V", SL_OK, -300},
               {"H", "g600V", SL_OK, 600},
               {"L", "k0V", SL_OK, 0},
               {"R", "pV", SL_OK, 0},
               {"R", "p4294967297V", SL_OK, 2147483647},  // stops at the end of the range
               {"R", "p-99999999999999999999V", SL_OK, -2147483647 - 1},
               {"R", "p300N", SL_NULLRESPONSE},
               {"R", "q300V", SL_BADRESPONSE},
               {"R", "g300V", SL_BADRESPONSE},
               {"R", "4p300V", SL_BADRESPONSE},  // another variable
               {"R", "R", SL_BADRESPONSE},       // an echo
               {"R", "p6-V", SL_BADRESPONSE},
               {"R", "p300W", SL_BADRESPONSE},
               {"R", "p300X", SL_BADRESPONSE},
               {"R", "p", SL_BADACCESS, 0, kTransportFailure, 1},
               {"R", "p", SL_BADRESPONSE, 0, 10058, 1},
               {"R", "p", SL_OK, 9, kIoTimeout, 5, "9V"},
               {"R", "p", SL_OK, 9, 0, 5, "9V"},
               {"R", "p", SL_BADACCESS, 0, kIoTimeout, 6},
               {"R", "p", SL_BADACCESS, 0, 0, 6}};
  for (const auto& c : cases) {
    ScriptedEngine e;
    const std::string head = "\x1b*s10323", answer = head + c.answer;
    e.script.Write(head + c.asked).Read(answer);
    for (int i = 0; i < c.ends; ++i) e.script.EndRead(c.end);
    if (*c.rest) e.script.Read(c.rest);
    EXPECT_EQ(Answered(c.status, c.value), e.Number(SL_X_RESOLUTION, *c.asked)) << c.answer;
    EXPECT_EQ(answer.size() + static_cast<size_t>(c.ends) + std::strlen(c.rest),
              static_cast<size_t>(e.script.reads));
  }
  ScriptedEngine endless;
  endless.script.Write("\x1b*s10323R").Read("\x1b*s10323" + std::string(1191, '1'));
  EXPECT_EQ(Answered(SL_BADRESPONSE, 0), endless.Number(SL_X_RESOLUTION, 'R'));
  for (const IoResult result : {kTransportFailure, 0}) {  // writes that fail or fall short
    ScriptedEngine e;
    e.script.FailWrite("\x1b*s10323R", result, 7);
    EXPECT_EQ(Answered(SL_BADACCESS, 0), e.Number(SL_X_RESOLUTION, 'R'));
    EXPECT_EQ(0, e.script.reads);
  }
}

TEST(Exchange, RefusesWhatCannotBeAsked) {
  ScriptedEngine e;
  for (const uint32_t id : {80u, uint32_t{SL_DEVLOCK}, 169u})
    EXPECT_EQ(Answered(SL_INVALID_REQUEST, 0), e.Number(id, 'R')) << id;
  EXPECT_EQ(SL_INVALID_REQUEST, e.engine.exchange.SendCommand(SL_PIXELS_PER_LINE, 1));
  char text[4] = "xyz";
  int32_t length = 7;
  EXPECT_EQ(SL_INVALID_REQUEST, e.engine.exchange.InquireString(SL_X_RESOLUTION, text, 3, &length));
  EXPECT_EQ(-1, length);
  EXPECT_STREQ("", text);
  ProtocolEngine without_transport;
  EXPECT_EQ(SL_BADACCESS, without_transport.exchange.SendCommand(SL_RESET, 0));
  EXPECT_EQ(-1, without_transport.channel.SetScannerTimeouts(1, 2, 3));
  EXPECT_EQ(SL_NOACCESS, without_transport.channel.ConnectToIO());
  EXPECT_EQ(0, without_transport.flush.FlushTheScanner());
  for (const uint32_t type : {0u, 2u, 3u, 6u})
    EXPECT_EQ(SL_BADPARAM, without_transport.channel.InitIO("device", type));
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
      {"longer than there is room", "5000W", std::string(5000, 'x'), 255, SL_OK, 5000,
       std::string(255, 'x')},
      {"announced without measure", "99999999999W", "1234", 4, SL_OK, 2147483647, "1234"},
      {"nothing of it sent", "2000000000W", "", 4, SL_BADACCESS, -1, ""},
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
    int32_t length = 99, timeouts = 0;
    e.script.on_timeout = [&] { ++timeouts; };
    EXPECT_EQ(c.status,
              e.engine.exchange.InquireString(SL_MODEL_ID, buffer.data(), c.capacity, &length))
        << c.what;
    EXPECT_EQ(c.length, length) << c.what;
    EXPECT_EQ(c.text, buffer.data()) << c.what;
    EXPECT_LE(timeouts, c.announced[0] == '-' ? 0 : 1) << c.what;
    // The next answer is read from its start.
    e.script.Ask("1024E", "d9V");
    EXPECT_EQ(Answered(SL_OK, 9), e.Number(SL_PIXELS_PER_LINE, 'R')) << c.what;
  }
}

// A device that never stops sending a text is heard out for as long as a read may take.
TEST(Exchange, DropsATextWithoutEndForOneTimeoutOnly) {
  TestClock clock;
  clock.step = 1000;
  ScriptedEngine e;
  e.script.Ask("19E", "d2000000000W").Read(std::string(1 << 20, 'x'));
  char text[256];
  int32_t length = 0;
  EXPECT_EQ(SL_OK, e.engine.exchange.InquireString(SL_MODEL_ID, text, 255, &length));
  EXPECT_NE("", e.script.TakeFaults()) << "all of it was read";
}

// Catches a model that is asked for again after the connection has gone, or is made up.
TEST(Exchange, IdentifiesNoModelWithoutAnAnswer) {
  int32_t model = 9;
  ScriptedEngine e;
  EXPECT_EQ(static_cast<QrlStatus>(-1), e.engine.exchange.InquireModel(nullptr));
  e.script.FailWrite("\x1b*s19E", kTransportFailure);
  EXPECT_EQ(SL_BADACCESS, e.engine.exchange.InquireModel(&model));
  EXPECT_EQ(0, model);
  e.script.AskText("19E", "ZM-133").Ask("19E", "dN").Ask("18E", "dN");
  EXPECT_EQ(SL_OK, e.engine.exchange.InquireModel(&model));
  EXPECT_EQ(0, model);
  EXPECT_EQ(SL_NULLRESPONSE, e.engine.exchange.InquireModel(&model));
}

// Catches a jam, an empty feeder or any other trouble of the device told as another one.
TEST(DeviceErrors, EachHasItsStatus) {
  std::map<int32_t, QrlStatus> known = {{0, 7},     {1, 8},     {2, 10},    {3, 9},      {4, 11},
                                        {5, 12},    {6, 13},    {7, 14},    {8, 18},     {10, 20},
                                        {1024, 15}, {1025, 16}, {1026, 19}, {1027, 1027}};
  for (int32_t same = 500; same <= 505; ++same) known[same] = same;
  for (int32_t number = -2; number < 1100; ++number)
    EXPECT_EQ(known.contains(number) ? known[number] : 17, MapDeviceError(number)) << number;
}

TEST(DeviceErrors, AreReadAndCleared) {
  ScriptedEngine e;
  e.script.Ask("257E", "d2V").Ask("261E", "d1024V").Command("*oE");
  EXPECT_EQ(SL_ERR_MAPPED_JAM, e.engine.errors.InquireOldestError());

  // An inquiry that fails is taken for one behind scan data: the device is drained.
  e.script.Ask("257E", "q0V").Read(Block("rest of a page", 0x02)).Command("*oE");
  EXPECT_EQ(SL_ERROR_INQUIRY_FAILED, e.engine.errors.InquireOldestError());
  e.script.Ask("257E", "d1V").Ask("261E", "dN").EndRead(kTransportFailure).Command("*oE");
  EXPECT_EQ(SL_ERROR_INQUIRY_FAILED, e.engine.errors.InquireOldestError());
}

// Catches a table of the wrong size, or one that a model must not get.
TEST(DownloadTable, AnnouncesAndWrites) {
  const std::string map = Pattern(18411);
  const auto* data = reinterpret_cast<const uint8_t*>(map.data());
  ScriptedEngine e;
  const auto downloads = [&](uint32_t type, size_t bytes) {
    e.script.Command("*a" + std::to_string(type) + "D");
    e.script.Command("*a" + std::to_string(bytes) + "W").Write(map.substr(0, bytes));
    EXPECT_EQ(SL_OK, e.engine.DownloadTable(type, data)) << type;
  };
  for (const auto& [type, bytes] : {std::pair{0, 64}, {1, 256}, {6, 1024}, {11, 258}, {12, 6}})
    downloads(static_cast<uint32_t>(type), static_cast<size_t>(bytes));
  e.script.AskText("19E", "ZM-11");
  downloads(2, 18);
  e.script.AskText("19E", "ZM-12");
  downloads(15, 18411);
  e.script.Command("*a31D").Command("*a5W").Write("hello");
  EXPECT_EQ(SL_OK, e.engine.DownloadTable(31, reinterpret_cast<const uint8_t*>("hello")));
  for (const uint32_t type : {13u, 14u, 16u, 30u, 33u, 0xFFFFFFFFu})
    EXPECT_EQ(SL_INVALID_REQUEST, e.engine.DownloadTable(type, data)) << type;
  EXPECT_EQ(SL_BADPARAM, e.engine.DownloadTable(1, nullptr));
  e.script.AskText("19E", "ZM-14");
  EXPECT_EQ(SL_OK, e.engine.DownloadTable(15, data));  // that model needs none
  e.script.Ask("19E", "dN").Ask("18E", "dN");
  EXPECT_EQ(SL_BADACCESS, e.engine.DownloadTable(15, data));
  e.script.Command("*a4D").Command("*a3W").FailWrite(map.substr(0, 3), 0, 2);
  EXPECT_EQ(SL_BADACCESS, e.engine.DownloadTable(4, data));
}

}  // namespace
}  // namespace scantk::test
