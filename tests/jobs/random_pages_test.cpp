// Pages of any geometry, several in one session, from devices of any resolution: what is delivered
// has the announced width, the announced number of rows (one more while the session enlarges), and
// equal rows stay equal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>

#include "tests/jobs/far_side.h"
#include "tests/jobs/host.h"

namespace scantk::test {
namespace {

// Columns of every darkness, the same in every row, so that a row that leans over or is squashed
// shows.
std::string Stripes(const std::string& folder) {
  std::string path = folder + "/stripes.pgm";
  std::ofstream file(path, std::ios::binary);
  file << "P5 2550 1200 255\n";
  for (int i = 0; i < 2550 * 1200; ++i)
    file.put(static_cast<char>(i % 2550 / 64 % 2 ? 255 : i % 2550 / 10));
  return path;
}

class RandomPages : public ::testing::TestWithParam<const char*> {
 protected:
  int Roll(int least, int most) { return std::uniform_int_distribution<int>(least, most)(random_); }
  template <class T, size_t N>
  T Pick(const T (&choices)[N]) {
    return choices[Roll(0, N - 1)];
  }

  void RollPage() {
    static constexpr uint16_t kResolutions[] = {75, 100, 150, 300, 400, 500, 600, 700, 1000};
    const auto roll = [this](int least, int most) {
      return static_cast<uint32_t>(Roll(least, most));
    };
    const uint32_t mode = Pick({uint32_t{T_COLOR}, uint32_t{T_GREYSCALE}, uint32_t{T_BW}});
    host_->page.asked = PageParameters(mode, Pick(kResolutions),
                                       {roll(20, 1400), roll(10, 200), roll(0, 500), roll(0, 500)});
    if (Roll(0, 1)) host_->page.asked.wYResolution = Pick(kResolutions);
  }

  // `most` is the device's resolution, `turned` that the page was.
  void Check(int most_x, bool enlarged, bool turned, const std::string& paper) {
    ScannedPage& page = host_->page;
    const SCANNER_PARAMETERS& asked = page.asked;
    const size_t row = page.granted.dwBytesPerLine;
    const int scanned = std::min<int>(asked.wXResolution, most_x);
    const int pixels = static_cast<int>(asked.dwWidth) * scanned / 300;
    EXPECT_EQ(static_cast<uint32_t>(std::lround(pixels * double{1} * asked.wXResolution / scanned)),
              page.granted.dwPixelWidth);
    ASSERT_EQ(0u, page.bytes.size() % row);
    const size_t rows = page.bytes.size() / row, announced = page.granted.dwPixelHeight;
    EXPECT_TRUE(rows == announced || (enlarged && rows == announced + 1))
        << rows << " of " << announced;
    // Blending two equal rows loses up to 3.
    for (size_t i = row; i < page.bytes.size(); ++i)
      ASSERT_LE(std::abs(page.bytes[i] - page.bytes[i % row]), 3) << "row " << i / row;
    std::vector<uint8_t> wanted = PaperAsked(page, paper, {});
    if (turned || std::abs(static_cast<int>(wanted.size() / row) - static_cast<int>(rows)) > 2)
      return;
    wanted.resize(row);
    page.bytes.resize(row);
    EXPECT_EQ("", Difference(wanted, page.bytes, row, 16));
  }

  std::mt19937 random_{static_cast<unsigned>(std::string(GetParam()).back())};
  Sandbox sandbox_;
  std::optional<Host> host_;
};

TEST_P(RandomPages, AreWhatWasAnnounced) {
  sim::DeviceConfig config;
  config.model = GetParam();
  config.paper = Stripes(sandbox_.Folder());
  const Place place(sandbox_, Medium::kNetwork, config);
  FarSide& device = *place.device;
  for (int job = 0; job < 4; ++job) {
    const int most_x = Pick({300, 600}), most_y = Pick({200, 300, 600});
    for (const int number : {10323, 11323})
      device->SetVariable({.number = number, .maximum = most_x});
    for (const int number : {10324, 11324})
      device->SetVariable({.number = number, .maximum = most_y});
    const int flip = Roll(0, 2);
    device->ClearFaults();
    device->AddFault("answer@variable:13510=" + std::to_string(flip));
    host_.emplace(place.name, T_IO_NETWORK);
    ASSERT_TRUE(host_->Open() && host_->Lock() && host_->Learn());
    bool enlarged = false;
    for (int i = 0; i < 6 && !HasFailure(); ++i) {
      RollPage();
      const SCANNER_PARAMETERS& asked = host_->page.asked;
      const bool jpeg = Roll(0, 1);
      host_->Compress(jpeg);
      enlarged = enlarged || asked.wXResolution > most_x || asked.wYResolution > most_y;
      std::ostringstream what;
      what << asked.wXResolution << " x " << asked.wYResolution << " dpi of " << most_x << " x "
           << most_y << ", mode " << asked.dwScanMode << ", width " << asked.dwWidth << ", length "
           << asked.dwLength << ", flip " << flip << (jpeg ? ", JPEG" : "");
      SCOPED_TRACE(what.str());
      EXPECT_TRUE(host_->Scan(static_cast<uint32_t>(Roll(20, 300))));
      if (!HasFailure()) Check(most_x, enlarged, flip == 2, config.paper);
    }
    host_->Close();
    EXPECT_THAT(host_->problems, ::testing::IsEmpty());
  }
}

INSTANTIATE_TEST_SUITE_P(Models, RandomPages, ::testing::Values("ZM-16", "ZM-11", "alternative"));

}  // namespace
}  // namespace scantk::test
