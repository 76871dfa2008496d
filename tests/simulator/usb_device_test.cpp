// The near side of the pseudo-terminal, without the toolkit.
#include "simulator/usb_device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace scantk::sim::test {
namespace {

constexpr char kAsksItsModel[] = "\x1B*s19E";

class UsbDeviceTest : public ::testing::Test {
 protected:
  UsbDeviceTest()
      : path_((std::filesystem::temp_directory_path() / ("scantk-usb-" + std::to_string(getpid())))
                  .string()),
        device_(DeviceConfig(), path_) {}

  int Open() const { return open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); }
  static void Ask(int file) {
    EXPECT_EQ(ssize_t{sizeof kAsksItsModel - 1},
              write(file, kAsksItsModel, sizeof kAsksItsModel - 1));
  }
  static std::string Answer(int file, int timeout_ms) {
    std::string answer;
    for (pollfd polled = {file, POLLIN, 0}; poll(&polled, 1, timeout_ms) > 0;) {
      char bytes[256];
      const ssize_t got = read(file, bytes, sizeof bytes);
      if (got <= 0) break;
      answer.append(bytes, static_cast<size_t>(got));
      if (answer.find("ZM-16") != std::string::npos) break;
    }
    return answer;
  }

  const std::string path_;
  UsbDevice device_;
};

// A host that is killed as soon as it has asked comes and goes between two looks of the device.
TEST_F(UsbDeviceTest, WordsOfAHostThatIsGoneAreNotAnsweredToTheNext) {
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(round);
    int file = Open();
    ASSERT_GE(file, 0);
    Ask(file);
    close(file);
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    file = Open();
    ASSERT_GE(file, 0);
    ASSERT_EQ("", Answer(file, 30));
    Ask(file);
    EXPECT_EQ("\x1B*s19d5WZM-16", Answer(file, 4000));
    close(file);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace
}  // namespace scantk::sim::test
