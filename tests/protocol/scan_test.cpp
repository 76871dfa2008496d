// Pages, from the start command to the last row, against a device that follows a script.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

struct Scanned {
  QrlStatus status = SL_OK;  // of the call that ended it
  std::string image;
  int empty_calls = 0;  // that answered 0 and delivered nothing
};

class ScanTest : public testing::Test {
 protected:
  // A colour page of this many pixels and rows, and what the engine asks on its way to it.
  void Begin(int pixels, int rows, const std::string& page, bool packets = true) {
    e_ = std::make_unique<ScriptedEngine>();
    if (packets) {
      e_->script.Command("*m2S");
      e_->engine.exchange.SendCommand(SL_SCAN_TRANSFER_TYPE, SL_PACKETIZED2);
    }
    e_->script.Ask("257E", "d0V").Ask("10312R", "p24V").AskText("19E", model_);
    e_->script.Ask("1024E", "d" + std::to_string(pixels) + "V").Ask("10323R", "p300V");
    e_->script.Ask("10324R", "p300V").Ask("1026E", "d" + std::to_string(rows) + "V");
    e_->script.Ask("10308R", knows_ ? "p0V" : "pN");
    if (!knows_) e_->script.Command("*a0C");
    e_->script.Ask("13510R", knows_ ? flip_ : "pN").Ask("257E", failed_ ? "d1V" : "d0V");
    if (failed_) e_->script.Ask("261E", "d1025V").Command("*oE");
    if (failed_) return;
    e_->script.Command("*oE").Command("*f0S").Read(page);
    if (packets) e_->script.AskText("19E", model_);
  }
  Scanned ReadPage(uint32_t piece = 64000) {
    Scanned scanned;
    std::vector<uint8_t> buffer(piece);
    for (uint32_t calls = 0; calls < 2000 && scanned.status == SL_OK; ++calls) {
      uint32_t written = 99;
      scanned.status = e_->engine.scan.Scan(calls == 0 ? 2 : 3, buffer.data(), piece, &written);
      scanned.image.append(reinterpret_cast<const char*>(buffer.data()), written);
      if (scanned.status == SL_OK && written == 0) ++scanned.empty_calls;
    }
    return scanned;
  }

  bool knows_ = true, failed_ = false;  // the device: its compression and flip; has an error
  const char *model_ = "ZM-14", *flip_ = "p0V";
  std::unique_ptr<ScriptedEngine> e_;
};

// Catches rows lost, doubled or out of order at the boundaries of the engine's own buffers and of
// the caller's, and any question or command out of its turn.
TEST_F(ScanTest, DeliversPagesOfAllSizes) {
  for (const int rows : {1, 2, 620, 621, 1240, 1241}) {
    for (const uint32_t piece : {1u << 20, 64000u, 62000u, 300u, 7u}) {
      if (rows > 2 && piece < 100) continue;
      for (const size_t record : {20000u, 31000u}) {
        SCOPED_TRACE(std::to_string(rows) + " rows in " + std::to_string(piece));
        const std::string image = Pattern(static_cast<size_t>(rows) * 102);
        Begin(34, rows, Page(image, static_cast<uint32_t>(rows), 62000, record));
        const Scanned scanned = ReadPage(piece);
        EXPECT_EQ(SL_PAGE_FINISHED, scanned.status);
        EXPECT_TRUE(image == scanned.image);
        EXPECT_LE(scanned.empty_calls, 1);
      }
    }
  }
}

// Catches a start that fails for what a device need not know, or goes on over an error.
TEST_F(ScanTest, StartsWithoutCompressionAndFlip) {
  knows_ = false;
  for (const bool failed : {false, true}) {
    failed_ = failed;
    Begin(10, 10, Page(Pattern(300), 10));
    EXPECT_EQ(failed ? 16 : SL_PAGE_FINISHED, ReadPage().status);
  }
}

// Catches a back side that loses its rows where the device does not tell how many came.
TEST_F(ScanTest, FlipsWithoutACountOfRows) {
  model_ = "stranger";
  flip_ = "p1V";
  const std::string image = Pattern(60);
  Begin(10, 2, Page(image, 2));
  EXPECT_EQ(image.substr(30) + image.substr(0, 30), ReadPage().image);
}

TEST_F(ScanTest, PlainTransferCountsItsBytes) {
  const std::string image = Pattern(2000 * 60);
  Begin(20, 2000, image + "behind the page", false);
  EXPECT_TRUE(image == ReadPage().image);
  EXPECT_EQ("never read: \"behind the page\"\n", e_->script.TakeFaults());
  Begin(20, 10, Pattern(599), false);
  EXPECT_EQ(SL_SHORTREAD, ReadPage().status);
}

// Catches a read before, between or behind the pages that reaches a device or a pipeline.
TEST_F(ScanTest, WithoutAStartedPageItFailsAtOnce) {
  Begin(10, 10, Page(Pattern(300), 10));
  uint8_t buffer[100];
  uint32_t written = 9;
  const auto read = [&] { return e_->engine.scan.Scan(3, buffer, sizeof buffer, &written); };
  EXPECT_EQ(SL_PIPELINE_SETUP, read());
  EXPECT_EQ(SL_BADPARAM, e_->engine.scan.Scan(2, nullptr, 10, &written));
  EXPECT_EQ(SL_PAGE_FINISHED, ReadPage().status);
  EXPECT_EQ(SL_PAGE_FINISHED, read());
  e_->script.Ask("257E", "d0V").Ask("10312R", "pN");
  EXPECT_EQ(SL_NULLRESPONSE, e_->engine.scan.Scan(2, buffer, sizeof buffer, &written));
  EXPECT_EQ(SL_PIPELINE_SETUP, read());
  EXPECT_EQ(SL_OK, e_->engine.scan.Scan(4, nullptr, 0, &written));
  EXPECT_EQ(SL_PIPELINE_SETUP, read());
}

// Catches a row that ends too early and passes for whole, or that keeps a logged page from its end.
TEST_F(ScanTest, AnEndWithinARow) {
  for (const uint32_t log : {0u, 1u}) {
    Begin(10, 40, Page(Pattern(30 * 7 + 11), 40));
    e_->engine.scan.SetSwitchValues(log);
    const Scanned scanned = ReadPage();
    EXPECT_EQ(log ? SL_PAGE_FINISHED : SL_MATRIXERROR, scanned.status);
    EXPECT_EQ(30u * 7, scanned.image.size());
  }
}

}  // namespace
}  // namespace scantk::test
