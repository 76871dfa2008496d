// What a scan leaves for the engineer: dumps, image log, a rediscovered address; and nothing at all
// when nothing was asked for.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

namespace fs = std::filesystem;

class DiagnosticsTest : public ScanTest {};

TEST_F(DiagnosticsTest, RecordsAreDumpedByName) {
  StartDevice();
  OpenAndLock();
  SCANNER_CAPABILITIES caps;
  ASSERT_EQ(kOk, Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps));
  Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
  sandbox.ClearTrace();
  Scan(Parameters(T_GREYSCALE, 75));
  ADF3_CAPABILITIES feeder;
  Call(toolkit->feeder, &IADF3::GetADF3Capabilities, session, &feeder);
  Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps);
  for (const char* line :
       {" << SCANNER PARAMETERS >>> ", "X Resolution = 75", "Scan Mode = GREYSCALE",
        "Scan Method = Flatbed", " << BUFFER_INFO >>> ", " <<< SCANNER CAPABILITIES >>> ",
        "Pixel Order = RGB", " << ADF3_CAPABILITIES >>> "})
    EXPECT_TRUE(sandbox.Traced(line)) << line;
}

TEST_F(DiagnosticsTest, TheImageLogKeepsWhatTheDeviceSent) {
  const std::string folder = sandbox.Folder() + "/OV";
  fs::create_directories(folder);
  setenv("SCANTK_COMMON_DATA", sandbox.Folder().c_str(), 1);
  StartDevice();
  sandbox.SetDeviceValue(device_name, "ImgLog", 1);
  OpenAndLock();
  Call(toolkit->compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
  const Page pages[] = {Scan(Parameters(T_GREYSCALE, 75)), Scan(Parameters(T_COLOR, 75))};
  unsetenv("SCANTK_COMMON_DATA");
  int found = 0;
  for (const auto& entry : fs::directory_iterator(folder)) {
    EXPECT_EQ("Img", entry.path().filename().string().substr(0, 3));
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    found += bytes == pages[0].bytes || bytes == pages[1].bytes;
  }
  EXPECT_EQ(2, found);
}

TEST_F(DiagnosticsTest, ADeviceThatMovedIsFound) {
  StartDevice();
  sandbox.SetDeviceText(device_name, "StaticIP", "");
  sandbox.SetDeviceText(device_name, "PortID", "127.255.255.1");  // where it was
  sandbox.SetDeviceText(device_name, "GUID", "the-device-of-the-tests");
  const std::string store = sandbox.Folder() + "/devices.txt";
  std::ofstream(store) << "guid=the-device-of-the-tests address=" << device->config().address
                       << "\n";
  setenv("SCANTK_DEVICE_STORE", store.c_str(), 1);
  OpenAndLock();
  unsetenv("SCANTK_DEVICE_STORE");
  ExpectCleanScan("a move");
  EXPECT_TRUE(sandbox.Traced("Find by GUID SUCCEEDED"));
  EXPECT_EQ(device->config().address, sandbox.DeviceText(device_name, "PortID"));
}

TEST_F(DiagnosticsTest, ReplaysOfTheSamePageAreTheSame) {
  // The value cache, the buffers and the pipeline are used again and again in one session.
  StartDevice();
  OpenAndLock();
  Page first = Scan(Parameters(T_COLOR, 100));
  for (int round = 0; round < 5; ++round)
    EXPECT_TRUE(Scan(Parameters(T_COLOR, 100)).bytes == first.bytes);
}

}  // namespace
}  // namespace scantk::test
