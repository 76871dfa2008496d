// Pages, from the start command to the last row, against a device that answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "protocol/protocol_engine.h"
#include "tests/diag/test_place.h"
#include "tests/doubles/scripted_transport.h"
#include "tests/protocol/framing_bytes.h"

namespace scantk::test {
namespace {

struct Scanned {
  QrlStatus status = SL_OK;  // of the call that ended it
  std::string image;
  int calls = 0;
  int empty_calls = 0;  // that answered 0 and delivered nothing
};

struct ScanTest : testing::Test {
  void AttachPacketized(Device new_device, const std::string& page) {
    device = std::move(new_device);
    device.page = page;
    engine = std::make_unique<ProtocolEngine>();
    engine->channel.Attach(std::make_unique<DeviceDouble>(device));
    engine->exchange.SendCommand(SL_SCAN_TRANSFER_TYPE, SL_PACKETIZED2);
    device.log.clear();
  }
  Scanned ReadPage(uint32_t piece = 64000) {
    Scanned scanned;
    std::vector<uint8_t> buffer(piece);
    for (; scanned.calls < 2000; ++scanned.calls) {
      uint32_t written = 99;
      scanned.status =
          engine->scan.Scan(scanned.calls == 0 ? 2 : 3, buffer.data(), piece, &written);
      scanned.image.append(reinterpret_cast<const char*>(buffer.data()), written);
      if (scanned.status != SL_OK) break;
      if (written == 0) ++scanned.empty_calls;
    }
    return scanned;
  }

  Device device;
  std::unique_ptr<ProtocolEngine> engine;
};

TEST_F(ScanTest, AsksInOrderAndDeliversThePage) {
  const std::string image = Pattern(30 * 40);
  AttachPacketized(ColourDevice(10, 40), Page(image, 40));
  const Scanned scanned = ReadPage();
  EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
  EXPECT_EQ(image, scanned.image);
  EXPECT_EQ(
      (std::vector<std::string>{"?257E", "?10312R", "?19E", "?1024E", "?10323R", "?10324R",
                                "?1026E", "?10308R", "?13510R", "?257E", "*oE", "*f0S", "?19E"}),
      device.log);
  uint32_t aborted = 9, rows_k = 9, rows_cmy = 9;
  EXPECT_EQ(SL_OK, engine->GetEndPageInfo(&aborted, &rows_k, &rows_cmy));
  EXPECT_EQ(0u, aborted);
  EXPECT_EQ(40u, rows_k);
}

// Pages whose bytes end before, at and behind the boundaries of the engine's own buffers, into
// buffers of all kinds of sizes.
TEST_F(ScanTest, DeliversPagesOfAllSizes) {
  for (const uint32_t rows : {1u, 2u, 620u, 621u, 1240u, 1241u}) {
    for (const uint32_t piece : {1u << 20, 64000u, 62000u, 300u, 7u}) {
      if (rows > 2 && piece < 100) continue;
      for (const size_t record : {20000u, 31000u}) {
        const std::string image = Pattern(rows * 100);
        AttachPacketized(ColourDevice(100, static_cast<int32_t>(rows)),
                         Page(image, rows, 62000, record));
        device.numbers["10312R"] = 8;
        const Scanned scanned = ReadPage(piece);
        EXPECT_EQ(SL_PAGE_FINISHED, scanned.status) << rows << " " << piece << " " << record;
        EXPECT_TRUE(image == scanned.image) << rows << " " << piece << " " << record;
        EXPECT_LE(scanned.empty_calls, 1);
      }
    }
  }
}

TEST_F(ScanTest, PlainTransferCountsItsBytes) {
  const std::string image = Pattern(2000 * 60);
  AttachPacketized(ColourDevice(20, 2000), image + "behind the page");
  engine->Reset();
  EXPECT_TRUE(image == ReadPage().image);
  EXPECT_EQ("behind the page", device.Pending());
  AttachPacketized(ColourDevice(20, 10), Pattern(599));
  engine->Reset();
  EXPECT_EQ(SL_SHORTREAD, ReadPage().status);
}

TEST_F(ScanTest, EndsOnWhatTheDeviceDoes) {
  const std::string image = Pattern(300);
  const struct {
    const char* what;
    std::string page;
    QrlStatus status;
    size_t delivered;
  } cases[] = {
      {"abort after some data", Block(DataRecord(image)) + Block("", 0x20), SL_CANCEL, 0},
      {"silence", "", SL_SHORTREAD, 0},
      {"a block cut short", Block(DataRecord(image)).substr(0, 100), SL_SHORTREAD, 0},
      {"an unknown record", Block("\7"), SL_BADRESPONSE, 0},
      {"a block without measure", Header(0x80000000, 8, 0), SL_NOMEMORY, 0},
      {"no rows", Page("", 0), SL_PAGE_FINISHED, 0},
      {"an end within a row", Page(image + "half a row", 11), SL_MATRIXERROR, 300},
  };
  for (const auto& c : cases) {
    AttachPacketized(ColourDevice(10, 40), c.page);
    const Scanned scanned = ReadPage();
    EXPECT_EQ(c.status, scanned.status) << c.what;
    EXPECT_EQ(c.delivered, scanned.image.size()) << c.what;
    EXPECT_LE(device.waited_ms, 4 * 30000u) << c.what;
    // The next page is as good as the first.
    uint32_t written = 0;
    EXPECT_EQ(SL_OK, engine->scan.Scan(4, nullptr, 0, &written));
    device.taken = device.pending.size();
    device.page = Page(image, 10);
    EXPECT_EQ(image, ReadPage().image) << c.what;
  }
}

TEST_F(ScanTest, WithoutAStartedPageItFailsAtOnce) {
  AttachPacketized(ColourDevice(10, 40), Page(Pattern(300), 10));
  uint8_t buffer[100];
  uint32_t written = 9;
  const auto fails = [&](const char* when) {
    device.log.clear();
    EXPECT_EQ(SL_PIPELINE_SETUP, engine->scan.Scan(3, buffer, sizeof buffer, &written)) << when;
    EXPECT_EQ(0u, written + device.log.size()) << when;
  };
  fails("before any page");
  EXPECT_EQ(SL_BADPARAM, engine->scan.Scan(2, nullptr, 10, &written));
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ(SL_PAGE_FINISHED, engine->scan.Scan(3, buffer, sizeof buffer, &written));
  device.numbers["10308R"] = 1;
  EXPECT_EQ(SL_INVALID_REQUEST, engine->scan.Scan(2, buffer, sizeof buffer, &written));
  fails("after a failed start");
  EXPECT_EQ(SL_OK, engine->scan.Scan(4, nullptr, 0, &written));
  fails("after the end");
}

TEST_F(ScanTest, StartAsksWhatItMustKnow) {
  for (const char* inquiry : {"10312R", "1024E", "10323R", "10324R", "1026E"}) {
    AttachPacketized(ColourDevice(10, 40), "");
    device.numbers.erase(inquiry);
    EXPECT_EQ(SL_NULLRESPONSE, ReadPage().status) << inquiry;
    EXPECT_EQ(0u, device.Commands().size()) << inquiry;
  }
  // Compression and flip may be unknown to it; an old error is cleared, and a new one ends the
  // start.
  AttachPacketized(ColourDevice(10, 10), Page(Pattern(300), 10));
  device.numbers.erase("10308R");
  device.numbers.erase("13510R");
  device.numbers["257E"] = 1;
  device.numbers["261E"] = 1025;
  device.on_command = [&](const std::string& command) {
    if (command == "*oE") device.numbers["257E"] = 0;
  };
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ((std::vector<std::string>{"*oE", "*a0C", "*oE", "*f0S"}), device.Commands());
  device.on_command = nullptr;
  device.numbers["257E"] = 1;
  device.log.clear();
  EXPECT_EQ(16u, ReadPage().status);
  EXPECT_EQ((std::vector<std::string>{"*oE", "*a0C", "*oE"}), device.Commands());
}

// Numbers of a device that is out of its mind end the page; nothing is allocated by their measure
// and nothing is divided by them.
TEST_F(ScanTest, BearsAbsurdGeometry) {
  for (const char* inquiry : {"10312R", "1024E", "10323R", "10324R", "1026E"}) {
    for (const int32_t value : {0, -1, 2147483647, -2147483647 - 1}) {
      for (const int how : {0, 1, 2}) {  // plain, in packets, to be enlarged
        AttachPacketized(ColourDevice(10, 40), how ? Page(Pattern(1200), 40) : Pattern(1200));
        device.numbers[inquiry] = value;
        if (how == 0) engine->Reset();
        if (how == 2) engine->exchange.SendCommand(SL_X_RESOLUTION, 1200);
        EXPECT_NE(SL_OK, ReadPage().status) << inquiry << " " << value;
      }
    }
  }
}

TEST_F(ScanTest, ACancelNearTheEndOfThePageNeedNotWait) {
  // A page of more bytes than the engine takes at once: its end has come, and is not yet seen.
  AttachPacketized(ColourDevice(100, 700), Page(Pattern(70000), 700, 80000, 32000));
  device.numbers["10312R"] = 8;
  uint8_t buffer[300];
  uint32_t written = 0, a, b, c;
  ASSERT_EQ(SL_OK, engine->scan.Scan(2, buffer, sizeof buffer, &written));
  const uint64_t reads = device.reads;  // rows that are here already do not read the device again
  ASSERT_EQ(SL_OK, engine->scan.Scan(3, buffer, sizeof buffer, &written));
  EXPECT_EQ(reads, device.reads);
  ASSERT_EQ(SL_OK, engine->scan.Scan(4, nullptr, 0, &written));
  EXPECT_EQ(SL_NULLRESPONSE, engine->GetEndPageInfo(&a, &b, &c));
  EXPECT_EQ(0, engine->flush.FlushTheScanner());
  EXPECT_LE(device.waited_ms, 500u);
  EXPECT_EQ(30000u, device.timeouts.read);
  device.silent = true;  // anything else to be drained gets its whole time
  engine->errors.InquireOldestError();
  EXPECT_GE(device.waited_ms, 10 * 30000u);
}

// A back side is delivered from its last row, which is known when the page has ended.
TEST_F(ScanTest, FlipsTheRowsThatCame) {
  for (const size_t rows : {size_t{8}, size_t{3000}}) {
    for (const bool tells_rows : {true, false}) {
      const std::string image = Pattern(rows * 30);
      AttachPacketized(ColourDevice(10, static_cast<int32_t>(tells_rows ? rows + 5 : rows)),
                       Page(image, static_cast<uint32_t>(rows)));
      device.numbers["13510R"] = 1;
      if (!tells_rows) device.strings["19E"] = "stranger";
      std::string flipped;
      for (size_t row = rows; row-- > 0;) flipped += image.substr(row * 30, 30);
      EXPECT_TRUE(flipped == ReadPage().image) << rows << " " << tells_rows;
    }
  }
}

TEST_F(ScanTest, ImageLogKeepsWhatThePipelineTook) {
  TestPlace place;
  SetEnvironment("SCANTK_COMMON_DATA", place.Folder());
  const std::string folder = place.File("OV");
  const bool has_folder = CommonDataFolder() == place.Folder();  // or it is the system's to choose
  if (has_folder) std::filesystem::create_directory(folder);
  const std::string image = Pattern(70000 * 3);
  const std::string broken = Pattern(30 * 7 + 11);
  for (const std::string& sent : {image, broken}) {
    AttachPacketized(ColourDevice(10, 40), Page(sent, 40));
    engine->scan.SetSwitchValues(1);
    // The error of a row that ends too early ends the page, and does not go round for ever.
    const Scanned scanned = ReadPage();
    EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
    EXPECT_EQ(sent.size() / 30 * 30, scanned.image.size());
    if (!has_folder) continue;
    std::string logged;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      logged += ReadWholeFile(entry.path().string());
      std::filesystem::remove(entry.path());
    }
    EXPECT_TRUE(sent == logged) << sent.size() << " " << logged.size();
  }
}

}  // namespace
}  // namespace scantk::test
