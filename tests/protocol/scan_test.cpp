// Pages, from the start command to the last row, against a device that answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "imaging/image_pipeline.h"
#include "protocol/protocol_engine.h"
#include "protocol/scan_pipeline.h"
#include "tests/diag/test_place.h"
#include "tests/protocol/framing_bytes.h"
#include "tests/protocol/scripted_transport.h"

namespace scantk::test {
namespace {

struct Scanned {
  QrlStatus status = SL_OK;  // of the call that ended it
  std::string image;
  int calls = 0;
  int empty_calls = 0;  // that answered 0 and delivered nothing
};

struct ScanTest : testing::Test {
  void Attach(Device new_device) {
    device = std::move(new_device);
    engine = std::make_unique<ProtocolEngine>();
    engine->AttachTransport(std::make_unique<DeviceDouble>(device));
  }
  void AttachPacketized(Device new_device) {
    Attach(std::move(new_device));
    engine->SendCommand(SL_SCAN_TRANSFER_TYPE, SL_PACKETIZED2);
    device.log.clear();
  }
  // Reads until something other than 0 comes.
  Scanned ReadPage(uint32_t piece = 64000) {
    Scanned scanned;
    std::vector<uint8_t> buffer(piece);
    for (; scanned.calls < 2000; ++scanned.calls) {
      uint32_t written = 99;
      scanned.status = engine->Scan(scanned.calls == 0 ? 2 : 3, buffer.data(), piece, &written);
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
  Device d = ColourDevice(10, 40);
  d.page = Page(image, 40);
  AttachPacketized(std::move(d));
  const Scanned scanned = ReadPage();
  EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
  EXPECT_EQ(image, scanned.image);
  EXPECT_EQ(
      (std::vector<std::string>{"?257E", "?10312R", "?19E", "?1024E", "?10323R", "?10324R",
                                "?1026E", "?10308R", "?13510R", "?257E", "*oE", "*f0S", "?19E"}),
      device.log);
  uint32_t aborted = 9, rows_k = 9, rows_cmy = 9, written = 9;
  EXPECT_EQ(SL_OK, engine->Scan(4, nullptr, 0, &written));
  EXPECT_EQ(0u, written);
  EXPECT_EQ(SL_OK, engine->GetEndPageInfo(&aborted, &rows_k, &rows_cmy));
  EXPECT_EQ(0u, aborted);
  EXPECT_EQ(40u, rows_k);
}

// Pages whose bytes end before, at and behind the boundaries of the engine's own buffers, into
// buffers of all kinds of sizes.
TEST_F(ScanTest, DeliversPagesOfAllSizes) {
  for (const int32_t rows : {1, 2, 620, 621, 1240, 1241}) {
    for (const uint32_t piece : {1u << 20, 64000u, 62000u, 300u, 100u, 7u}) {
      if (rows > 2 && piece < 100) continue;
      for (const size_t record : {20000u, 32767u, 31000u}) {
        const std::string image = Pattern(static_cast<size_t>(rows) * 100);
        Device d = ColourDevice(0, rows);
        d.numbers["1024E"] = 100;
        d.numbers["10312R"] = 8;
        d.page = Page(image, static_cast<uint32_t>(rows), 62000, record);
        AttachPacketized(std::move(d));
        const Scanned scanned = ReadPage(piece);
        EXPECT_EQ(SL_PAGE_FINISHED, scanned.status) << rows << " " << piece << " " << record;
        EXPECT_TRUE(image == scanned.image) << rows << " " << piece << " " << record;
        EXPECT_LE(scanned.empty_calls, 1);
      }
    }
  }
}

TEST_F(ScanTest, SmallBuffersDoNotReadTheDeviceAgain) {
  const std::string image = Pattern(3000);
  Device d = ColourDevice(10, 100);
  d.page = Page(image, 100, 5000, 3000);
  AttachPacketized(std::move(d));
  std::vector<uint8_t> buffer(300);
  uint32_t written = 0;
  ASSERT_EQ(SL_OK, engine->Scan(2, buffer.data(), 300, &written));
  const uint64_t reads = device.reads;
  for (int i = 1; i < 9; ++i) ASSERT_EQ(SL_OK, engine->Scan(3, buffer.data(), 300, &written));
  EXPECT_EQ(reads, device.reads);
}

TEST_F(ScanTest, PlainTransferCountsItsBytes) {
  for (const int32_t rows : {3, 2000}) {
    const std::string image = Pattern(static_cast<size_t>(rows) * 60);
    Device d = ColourDevice(20, rows);
    d.page = image + "behind the page";
    AttachPacketized(std::move(d));
    engine->Reset();
    const Scanned scanned = ReadPage();
    EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
    EXPECT_TRUE(image == scanned.image);
    EXPECT_EQ("behind the page", device.Pending());
  }
  Device d = ColourDevice(20, 10);
  d.page = Pattern(599);
  Attach(std::move(d));
  EXPECT_EQ(SL_SHORTREAD, ReadPage().status);
}

TEST_F(ScanTest, PagesWithoutRowsEndAtOnce) {
  for (const bool packets : {true, false}) {
    Device d = ColourDevice(20, packets ? 10 : 0);
    if (packets) d.page = Page("", 0);
    packets ? AttachPacketized(std::move(d)) : Attach(std::move(d));
    const Scanned scanned = ReadPage();
    EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
    EXPECT_EQ("", scanned.image);
    EXPECT_EQ(0, scanned.calls);
  }
}

TEST_F(ScanTest, APageThatEndsWithinARowDeliversTheRowsBeforeIt) {
  const std::string image = Pattern(30 * 7 + 11);
  Device d = ColourDevice(10, 40);
  d.page = Page(image, 8);
  AttachPacketized(std::move(d));
  const Scanned scanned = ReadPage();
  EXPECT_EQ(SL_MATRIXERROR, scanned.status);
  EXPECT_EQ(image.substr(0, 210), scanned.image);
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
  };
  for (const auto& c : cases) {
    Device d = ColourDevice(10, 40);
    d.page = c.page;
    AttachPacketized(std::move(d));
    const Scanned scanned = ReadPage();
    EXPECT_EQ(c.status, scanned.status) << c.what;
    EXPECT_EQ(c.delivered, scanned.image.size()) << c.what;
    EXPECT_LE(device.waited_ms, 4 * 30000u) << c.what;
    // The next page is as good as the first.
    uint32_t written = 0;
    EXPECT_EQ(SL_OK, engine->Scan(4, nullptr, 0, &written));
    device.taken = device.pending.size();
    device.page = Page(image, 10);
    EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status) << c.what;
  }
}

TEST_F(ScanTest, WithoutAStartedPageItFailsAtOnce) {
  AttachPacketized(ColourDevice(10, 40));
  uint8_t buffer[100];
  uint32_t written = 9;
  const auto fails = [&](const char* when) {
    device.log.clear();
    EXPECT_EQ(SL_PIPELINE_SETUP, engine->Scan(3, buffer, sizeof buffer, &written)) << when;
    EXPECT_EQ(0u, written) << when;
    EXPECT_EQ(0u, device.log.size()) << when;
  };
  fails("before any page");
  EXPECT_EQ(SL_OK, engine->Scan(4, nullptr, 0, &written));
  fails("after an end without a page");
  EXPECT_EQ(SL_BADPARAM, engine->Scan(2, nullptr, 10, &written));

  // A page that finished is followed by one that cannot start.
  device.page = Page(Pattern(300), 10);
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ(SL_PAGE_FINISHED, engine->Scan(3, buffer, sizeof buffer, &written));
  device.numbers["10308R"] = 1;
  EXPECT_EQ(SL_INVALID_REQUEST, engine->Scan(2, buffer, sizeof buffer, &written));
  fails("after a failed start");
  device.numbers["10308R"] = 0;
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ(SL_OK, engine->Scan(4, nullptr, 0, &written));
  fails("after the end");
}

TEST_F(ScanTest, StartFailsWhereTheDeviceDoesNotAnswer) {
  for (const char* inquiry : {"10312R", "1024E", "10323R", "10324R", "1026E"}) {
    Device d = ColourDevice(10, 40);
    d.numbers.erase(inquiry);
    AttachPacketized(std::move(d));
    EXPECT_EQ(SL_NULLRESPONSE, ReadPage().status) << inquiry;
    EXPECT_EQ(0u, device.Commands().size()) << inquiry;
  }
  // Compression and flip may be unknown to it.
  Device d = ColourDevice(10, 10);
  d.numbers.erase("10308R");
  d.numbers.erase("13510R");
  d.page = Page(Pattern(300), 10);
  AttachPacketized(std::move(d));
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ((std::vector<std::string>{"*a0C", "*oE", "*f0S"}), device.Commands());
}

TEST_F(ScanTest, APendingErrorIsReadAndANewOneEndsTheStart) {
  Device d = ColourDevice(10, 10);
  d.numbers["257E"] = 1;
  d.numbers["261E"] = 1025;
  d.page = Page(Pattern(300), 10);
  int clears = 0;
  d.on_command = [&](const std::string& command) {
    if (command == "*oE") ++clears;
    if (clears == 1) device.numbers["257E"] = 0;
  };
  AttachPacketized(std::move(d));
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ((std::vector<std::string>{"*oE", "*oE", "*f0S"}), device.Commands());

  Device broken = ColourDevice(10, 10);
  broken.numbers["257E"] = 1;
  broken.numbers["261E"] = 1025;
  AttachPacketized(std::move(broken));
  EXPECT_EQ(16u, ReadPage().status);
  EXPECT_EQ((std::vector<std::string>{"*oE", "*oE"}), device.Commands());
}

// Numbers of a device that is out of its mind end the page; nothing is allocated by their measure
// and nothing is divided by them.
TEST_F(ScanTest, BearsAbsurdGeometry) {
  for (const char* inquiry : {"10312R", "1024E", "10323R", "10324R", "1026E"}) {
    for (const int32_t value : {0, -1, 2147483647, -2147483647 - 1}) {
      for (const bool packets : {true, false}) {
        Device d = ColourDevice(10, 40);
        d.numbers[inquiry] = value;
        d.page = packets ? Page(Pattern(1200), 40) : Pattern(1200);
        packets ? AttachPacketized(std::move(d)) : Attach(std::move(d));
        EXPECT_NE(SL_OK, ReadPage().status) << inquiry << " " << value;
      }
    }
  }
  for (const int32_t width : {0, -5, 2147483647}) {
    Device d = ColourDevice(width, 40);
    d.page = Page(Pattern(1200), 40);
    AttachPacketized(std::move(d));
    engine->SendCommand(SL_X_RESOLUTION, 1200);  // to be enlarged
    const QrlStatus status = ReadPage().status;
    EXPECT_NE(SL_OK, status) << width;
    if (width <= 0) {
      EXPECT_EQ(SL_PIPELINE_SETUP, status) << width;
    }
  }
}

TEST_F(ScanTest, ACancelNearTheEndOfThePageNeedNotWait) {
  Device d = ColourDevice(10, 40);
  d.page = Page(Pattern(1200), 40);
  AttachPacketized(std::move(d));
  uint8_t buffer[30];
  uint32_t written = 0, a, b, c;
  ASSERT_EQ(SL_OK, engine->Scan(2, buffer, sizeof buffer, &written));
  ASSERT_EQ(SL_OK, engine->Scan(4, nullptr, 0, &written));
  // The whole page was one block; reading it reached its end-of-page record.
  EXPECT_EQ(SL_OK, engine->GetEndPageInfo(&a, &b, &c));

  // A page of more bytes than the engine takes at once: the record has come, and is not yet seen.
  const std::string image = Pattern(70000);
  device.numbers["1024E"] = 100;
  device.numbers["10312R"] = 8;
  device.page = Page(image, 700, 80000, 32000);
  ASSERT_EQ(SL_OK, engine->Scan(2, buffer, sizeof buffer, &written));
  ASSERT_EQ(SL_OK, engine->Scan(4, nullptr, 0, &written));
  EXPECT_EQ(SL_NULLRESPONSE, engine->GetEndPageInfo(&a, &b, &c));
  engine->SendCommand(SL_CLEAR_ERRORS, 0);
  EXPECT_EQ(0, engine->FlushTheScanner());
  EXPECT_LE(device.waited_ms, 500u);
  EXPECT_EQ(30000u, device.timeouts.read);
  // Anything else to be drained gets its whole time.
  device.silent = true;
  engine->InquireOldestError();
  EXPECT_GE(device.waited_ms, 10 * 30000u);
}

// A back side is delivered from its last row, which is known when the page has ended.
TEST_F(ScanTest, FlipsTheRowsThatCame) {
  for (const int32_t rows : {8, 3000}) {
    for (const bool model_tells_rows : {true, false}) {
      const std::string image = Pattern(static_cast<size_t>(rows) * 30);
      Device d = ColourDevice(10, model_tells_rows ? rows + 5 : rows);
      d.numbers["13510R"] = 1;
      if (!model_tells_rows) d.strings["19E"] = "stranger";
      d.page = Page(image, static_cast<uint32_t>(rows));
      AttachPacketized(std::move(d));
      const Scanned scanned = ReadPage();
      EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
      std::string flipped;
      for (size_t row = static_cast<size_t>(rows); row-- > 0;)
        flipped += image.substr(row * 30, 30);
      EXPECT_TRUE(flipped == scanned.image) << rows << " " << model_tells_rows;
    }
  }
}

// A page asked for at twice the device's resolution comes as large as the caller was told.
TEST_F(ScanTest, EnlargesWhatTheDeviceCannotDo) {
  Device d = ColourDevice(50, 40);
  d.numbers["10323R"] = d.numbers["10324R"] = 600;
  d.numbers["11324H"] = 600;
  d.page = Page(Pattern(50 * 40 * 3), 40);
  AttachPacketized(std::move(d));
  int32_t most = 0;
  engine->InquireNumber(SL_Y_RESOLUTION_FLAT, 'H', &most);
  engine->SendCommand(SL_X_RESOLUTION, 1200);
  engine->SendCommand(SL_Y_RESOLUTION, 1200);
  const Scanned scanned = ReadPage();
  EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
  EXPECT_EQ(0u, scanned.image.size() % 300);
  EXPECT_NEAR(80, static_cast<double>(scanned.image.size()) / 300, 1);
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
    Device d = ColourDevice(10, 40);
    d.page = Page(sent, 40);
    AttachPacketized(std::move(d));
    engine->SetSwitchValues(1);
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

// What the pipeline is made of, without a device.
TEST(ScanPipeline, ListsItsTransforms) {
  TraceLog trace;
  const struct {
    int32_t compression, flip, upscaling;
    QrlStatus status;
    std::vector<uint32_t> ids;
    int flip_index;
  } cases[] = {
      {0, 0, 0, SL_OK, {XFORM_TABLE}, -1},
      {0, 3, 0, SL_OK, {XFORM_TABLE}, -1},
      {0, 1, 0, SL_OK, {XFORM_FLIP}, 0},
      {2, 2, 0, SL_OK, {XFORM_JPEG_DECODE, XFORM_COLOR_SPACE, XFORM_FLIP}, 2},
      {2, 1, 1, SL_OK, {XFORM_JPEG_DECODE, XFORM_COLOR_SPACE, XFORM_FLIP, XFORM_SCALE}, 2},
      {0, 0, 1, SL_OK, {XFORM_SCALE}, -1},
      {1, 0, 0, SL_INVALID_REQUEST, {}, -1},
      {-2, 0, 0, SL_INVALID_REQUEST, {}, -1},
  };
  for (const auto& c : cases) {
    PageFormat format;
    format.traits = {5100, 24, 3, FixedDpi(1200), FixedDpi(1200), 6599, -1, -1};
    format.compression = c.compression;
    format.flip_mode = c.flip;
    ResolutionState resolution;
    resolution.gUpScaling = c.upscaling;
    resolution.gReqXRes = resolution.gReqYRes = 1200;
    resolution.gDevYRes = 600;
    resolution.gDevPixelsPerLine = 2550;
    resolution.gOutPixelsPerLine = 5100;
    XformList list;
    EXPECT_EQ(c.status, BuildXformList(format, resolution, trace, &list));
    if (c.status != SL_OK) continue;
    std::vector<uint32_t> ids;
    for (int i = 0; i < list.count; ++i) {
      const XformDescriptor& item = list.items[static_cast<size_t>(i)];
      EXPECT_EQ(nullptr, item.ops);
      ids.push_back(item.builtInId);
      if (item.builtInId == XFORM_SCALE) {
        EXPECT_EQ(1 << 25, item.params[0]);
        EXPECT_EQ(1 << 25, item.params[1]);
        EXPECT_EQ(1, item.params[2]);
      } else if (item.builtInId == XFORM_FLIP) {
        EXPECT_EQ(c.flip == 2 ? 1 : 0, item.params[0]);
        EXPECT_EQ(1, item.params[1]);
        EXPECT_EQ(6599, item.params[2]);
      } else if (item.builtInId == XFORM_COLOR_SPACE) {
        EXPECT_EQ(2, item.params[0]);
      } else if (item.builtInId == XFORM_TABLE) {
        EXPECT_EQ(1, item.params[0]);
      }
    }
    EXPECT_EQ(c.ids, ids);
    EXPECT_EQ(c.flip_index, list.flip_index);
    const ImageTraits sent = DeviceTraits(format.traits, resolution);
    EXPECT_EQ(c.upscaling ? 2550 : 5100, sent.pixelsPerRow);
    EXPECT_EQ(c.upscaling ? 600 << 16 : 1200 << 16, sent.xDpi);
    EXPECT_EQ(c.upscaling ? 600 << 16 : 1200 << 16, sent.yDpi);
    EXPECT_EQ(6599, sent.rowCount);
  }
}

TEST(ScanPipeline, CountsPageBytesWithinBounds) {
  constexpr int32_t kMost = 2147483647;
  const struct {
    int32_t pixels, bits, rows, bytes;
  } cases[] = {{10, 24, 40, 1200},   {9, 1, 3, 6},         {0, 24, 40, 0},
               {10, 24, -1, 0},      {-10, 24, 40, 0},     {kMost, kMost, kMost, kMost},
               {kMost, 8, 1, kMost}, {kMost, 8, 2, kMost}, {-kMost, -kMost, kMost, kMost}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.bytes, PageBytes({c.pixels, c.bits, 1, 0, 0, c.rows, -1, -1})) << c.pixels;
  }
}

}  // namespace
}  // namespace scantk::test
