// Pages of any geometry, several in one session, from devices of any resolution: what is delivered
// has the announced width, the announced number of rows (one more while the session enlarges), and
// equal rows stay equal.
#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "simulator/simulated_device.h"
#include "tests/contract/toolkit.h"
#include "tests/jobs/far_side.h"
#include "tests/jobs/picture.h"

namespace scantk::test {
namespace {

// Columns of every darkness, the same in every row, so that a row that leans over or is squashed
// shows.
std::string Stripes(const std::string& folder) {
  const std::string path = folder + "/stripes.pgm";
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
    SCANNER_PARAMETERS& asked = page_.asked = {};
    asked.dwScanMode = Pick({uint32_t{T_COLOR}, uint32_t{T_GREYSCALE}, uint32_t{T_BW}});
    asked.byBitsPerChannel = asked.dwScanMode == T_BW ? 1 : 8;
    asked.wGreyChannel = T_GREY_NTSC;
    asked.wXResolution = Pick(kResolutions);
    asked.wYResolution = Roll(0, 1) ? asked.wXResolution : Pick(kResolutions);
    asked.dwLeft = static_cast<uint32_t>(Roll(0, 500));
    asked.dwWidth = static_cast<uint32_t>(Roll(20, 1400));
    asked.dwTop = static_cast<uint32_t>(Roll(0, 500));
    asked.dwLength = static_cast<uint32_t>(Roll(10, 200));
  }

  void Scan(uint32_t session) {
    SCANNER_PARAMETERS& asked = page_.asked;
    BUFFER_INFO& granted = page_.granted;
    ASSERT_EQ(kOk, Call(toolkit_.scanner, &IScanner::SetScannerParameters, session, &asked));
    ASSERT_EQ(kOk, Call(toolkit_.scanner, &IScanner::GetBufferInfo, session, &asked, &granted));
    ASSERT_EQ(kOk, Call(toolkit_.scanner, &IScanner::StartScan, session));
    page_.bytes.clear();
    Outcome outcome = kOk;
    while (outcome == kOk) {
      std::vector<uint8_t> piece(size_t{granted.dwBytesPerLine} *
                                 static_cast<size_t>(Roll(20, 300)));
      uint32_t got = 0;
      outcome = Call(toolkit_.scanner, &IScanner::ReadScanEx, session, piece.data(),
                     static_cast<uint32_t>(piece.size()), &got);
      page_.bytes.insert(page_.bytes.end(), piece.begin(), piece.begin() + got);
    }
    ASSERT_EQ(kEndOfPage, outcome);
    ASSERT_EQ(kOk, Call(toolkit_.scanner, &IScanner::StopScan, session));
  }

  // `most` is the device's resolution, `turned` that the page was.
  void Check(int most_x, bool enlarged, bool turned, const std::string& paper) {
    const SCANNER_PARAMETERS& asked = page_.asked;
    const size_t row = page_.granted.dwBytesPerLine;
    const int scanned = std::min<int>(asked.wXResolution, most_x);
    const int pixels = static_cast<int>(asked.dwWidth) * scanned / 300;
    EXPECT_EQ(static_cast<uint32_t>(pixels * double{1} * asked.wXResolution / scanned + 0.5),
              page_.granted.dwPixelWidth);
    ASSERT_EQ(0u, page_.bytes.size() % row);
    const size_t rows = page_.bytes.size() / row, announced = page_.granted.dwPixelHeight;
    EXPECT_TRUE(rows == announced || (enlarged && rows == announced + 1))
        << rows << " of " << announced;
    // Blending two equal rows loses up to 3.
    for (size_t i = row; i < page_.bytes.size(); ++i)
      ASSERT_LE(std::abs(page_.bytes[i] - page_.bytes[i % row]), 3) << "row " << i / row;
    std::vector<uint8_t> wanted = PaperAsked(page_, paper, {});
    if (turned || std::abs(static_cast<int>(wanted.size() / row) - static_cast<int>(rows)) > 2)
      return;
    wanted.resize(row);
    page_.bytes.resize(row);
    EXPECT_EQ("", Difference(wanted, page_.bytes, row, 16));
  }

  std::mt19937 random_{static_cast<unsigned>(std::string(GetParam()).back())};
  Sandbox sandbox_;
  Toolkit toolkit_;
  ScannedPage page_;
};

TEST_P(RandomPages, AreWhatWasAnnounced) {
  sim::DeviceConfig config;
  config.model = GetParam();
  config.address = FreshAddress();
  config.paper = Stripes(sandbox_.Folder());
  sim::SimulatedDevice device(config);
  const auto name = Wide(sandbox_.AddNetworkDevice(config.address));
  for (int job = 0; job < 4; ++job) {
    const int most_x = Pick({300, 600}), most_y = Pick({200, 300, 600});
    for (const int number : {10323, 11323})
      device.SetVariable({.number = number, .maximum = most_x});
    for (const int number : {10324, 11324})
      device.SetVariable({.number = number, .maximum = most_y});
    const int flip = Roll(0, 2);
    device.ClearFaults();
    device.AddFault("answer@variable:13510=" + std::to_string(flip));
    uint32_t session = 0;
    ASSERT_EQ(kOk, Call(toolkit_.scanner, &IScanner::OpenScannerSession, name.c_str(), T_IO_NETWORK,
                        &session));
    ASSERT_EQ(kOk, Call(toolkit_.scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, 5000u));
    SCANNER_CAPABILITIES capabilities;
    ASSERT_EQ(kOk,
              Call(toolkit_.scanner, &IScanner::GetScannerCapabilities, session, &capabilities));
    bool enlarged = false;
    for (int i = 0; i < 6 && !HasFailure(); ++i) {
      RollPage();
      const bool jpeg = Roll(0, 1);
      Call(toolkit_.compression, &ICompression::SetCompressionType, session,
           jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
      enlarged = enlarged || page_.asked.wXResolution > most_x || page_.asked.wYResolution > most_y;
      SCOPED_TRACE(
          std::to_string(page_.asked.wXResolution) + " x " +
          std::to_string(page_.asked.wYResolution) + " dpi of " + std::to_string(most_x) + " x " +
          std::to_string(most_y) + ", mode " + std::to_string(page_.asked.dwScanMode) + ", width " +
          std::to_string(page_.asked.dwWidth) + ", length " + std::to_string(page_.asked.dwLength) +
          ", flip " + std::to_string(flip) + (jpeg ? ", JPEG" : ""));
      Scan(session);
      if (!HasFailure()) Check(most_x, enlarged, flip == 2, config.paper);
    }
    Call(toolkit_.scanner, &IScanner::UnlockScanner, session);
    Call(toolkit_.scanner, &IScanner::CloseScannerSession, session);
  }
}

INSTANTIATE_TEST_SUITE_P(Models, RandomPages, ::testing::Values("ZM-16", "ZM-11", "alternative"));

}  // namespace
}  // namespace scantk::test
