// The program scantk-sim, and the devices behind files that it makes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "simulator/dot4_records.h"
#include "simulator/usb_device.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

const std::string kPath = TemporaryPath("scantk-sim-file");

int Simulate(const std::string& words) {
  const int status = std::system((SCANTK_SIM_PATH " " + words + " 2>/dev/null").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Catches: words taken for others, an exit code or a signal lost, somebody's file replaced.
TEST(ProgramTest, RefusesRunsAndClearsUp) {
  for (const char* words :
       {"--bang 1", "--port", "--port 99999", "--model ZM-99", "--fault bang", "--set 10323",
        "--jpeg 4x4", "--raster 40000", "--at-rest full", "--tap h", "--usb a --dot4 b", "run"})
    EXPECT_EQ(2, Simulate(words)) << words;
  const std::string devices =
      "--device --address " + Address(4) + " --device --address " + Address(5) + " ";
  EXPECT_EQ(7, Simulate(devices + "run -- sh -c 'exit 7'"));
  EXPECT_EQ(3, Simulate(devices + "run -- sh -c 'trap \"exit 3\" TERM; kill -TERM $PPID; while [ "
                                  "$((i+=1)) -lt 30000000 ]; do :; done'"));
  for (const std::string option : {"--usb ", "--dot4 "}) {
    EXPECT_EQ(
        0, Simulate(option + kPath + " run -- test -" + (option[2] == 'u' ? "c " : "S ") + kPath));
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(kPath))) << option;
    std::ofstream(kPath) << "somebody's file";
    EXPECT_EQ(1, Simulate(option + kPath + " run -- true")) << option;
    EXPECT_TRUE(std::filesystem::remove(kPath)) << option;
  }
  EXPECT_EQ(0, Simulate("--set 10323=75 --set 10324=150 --set 10325=4 --render " + kPath));
  EXPECT_EQ(637u * 1754u, std::filesystem::file_size(kPath));
  std::filesystem::remove(kPath);
}

// Catches: half a command of a host that went away, completed by the next.
TEST(UsbDeviceTest, EveryOpenBeginsAConversation) {
  UsbDevice device(DeviceConfig(), kPath);
  const auto say = [&](const std::string& words, size_t answer) {
    const Socket file(open(kPath.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    const int number = static_cast<int>(file.Get());
    EXPECT_EQ(static_cast<ssize_t>(words.size()), write(number, words.data(), words.size()));
    std::string said;
    Await([&] {
      char bytes[64];
      const ssize_t got = read(number, bytes, answer - said.size());
      if (got > 0) said.append(bytes, static_cast<size_t>(got));
      return said.size() == answer;
    });
    return said;
  };
  say("\x1b*s19E\x1b*a1", 12);
  Await([&] { return device.open_connections() == 0; });
  EXPECT_EQ("\x1b*s10323p300V", say("50R\x1b*s10323R", 13));
}

// Catches: a stack that lets a wrong byte, size or room of a request pass.
TEST(Dot4RecordsTest, EveryByteOfARequestCounts) {
  const auto check = [](uint32_t code, uint32_t room, const std::string& digits) {  // ?: any byte
    Dot4Request good{code, room, {}};
    for (size_t i = 0; i < digits.size(); i += 2)
      good.input.push_back(digits[i] == '?'
                               ? 0x50
                               : static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    EXPECT_EQ("", Dot4Fault(good)) << code;
    for (size_t at = 0; at < good.input.size(); ++at) {
      Dot4Request changed = good;
      changed.input[at] ^= 0x80;
      EXPECT_EQ(digits[2 * at] == '?', Dot4Fault(changed).empty()) << code << " byte " << at;
      changed.input.resize(at);
      EXPECT_NE("", Dot4Fault(changed)) << code << " cut to " << at;
    }
    ++good.reply_limit;
    EXPECT_NE("", Dot4Fault(good)) << code;
  };
  const std::string zeros(8, '0'), channel = "????????", for_ever = "FFFFFFFF";
  check(0x3A2022, 56,
        zeros + "38000000" + zeros + for_ever + "04" + std::string(82, '0') +
            "010000F40100FA00007D" + zeros);
  check(0x3A202A, 0, zeros + "01000000" + zeros + for_ever + "??");
  check(0x3A2006, 8, zeros + "10000000" + zeros + for_ever + "??000000" + zeros);
  check(0x3A2008, 0, channel + zeros + zeros + for_ever);
  check(0x3A200E, 512, channel + "00020000" + zeros + "????0000");
  check(0x3A2011, 0, channel + "03000000" + zeros + "????0000" + "??????");
}

}  // namespace
}  // namespace scantk::sim::test
