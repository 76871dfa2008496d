// The program scantk-sim: its words, its codes, the command that it runs.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "simulator/simulated_device.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

struct Ended {
  int code = -1;
  std::string said;
};

Ended Simulate(const std::string& words) {
  Ended ended;
  FILE* pipe = popen((std::string(SCANTK_SIM_PATH) + " " + words + " 2>&1").c_str(), "r");
  std::array<char, 4096> part;
  while (fgets(part.data(), part.size(), pipe)) ended.said += part.data();
  const int status = pclose(pipe);
  ended.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return ended;
}

TEST(ProgramTest, RefusesWhatItDoesNotUnderstand) {
  for (const char* words : {"--bang 1",           "--port",
                            "--port 99999",       "--port x",
                            "--model ZM-99",      "--fault bang",
                            "--set 10323",        "--set nothing=1",
                            "--set 10323=max:",   "--jpeg 4x4",
                            "--jpeg 22",          "--raster 40000",
                            "--block 10",         "--sheets -1",
                            "--address nowhere",  "--pauses -1",
                            "--tap 127.0.0.1",    "--tap 127.0.0.1:x --record /dev/null",
                            "--usb a --replay b", "--usb a --record b",
                            "--replay /dev/null", "run"}) {
    const Ended ended = Simulate(words);
    EXPECT_EQ(2, ended.code) << words << ": " << ended.said;
    EXPECT_EQ(0u, ended.said.find("scantk-sim: ")) << words << ": " << ended.said;
  }
  EXPECT_EQ(1, Simulate("--paper /nowhere/at/all.png").code);
  EXPECT_EQ(1, Simulate("--replay /nowhere/at/all").code);
}

TEST(ProgramTest, HelpNamesEveryFaultAndModel) {
  const Ended ended = Simulate("--help");
  EXPECT_EQ(0, ended.code);
  for (const std::string& model : ModelNames())
    EXPECT_NE(std::string::npos, ended.said.find(model));
  for (const char* word : {"short-greeting", "corrupt", "--set", "--device"})
    EXPECT_NE(std::string::npos, ended.said.find(word));
}

TEST(ProgramTest, MakesTheFilesOfAttachedDevicesAndTakesThemAway) {
  const std::string path =
      (std::filesystem::temp_directory_path() / ("scantk-sim-" + std::to_string(getpid())))
          .string();
  const struct {
    const char* option;
    const char* test;
  } cases[] = {{"--usb ", "test -c "}, {"--dot4 ", "test -S "}};
  for (const auto& one : cases) {
    EXPECT_EQ(0, Simulate(one.option + path + " run -- " + one.test + path).code) << one.option;
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(path))) << one.option;
    std::ofstream(path) << "somebody's file";
    EXPECT_EQ(1, Simulate(one.option + path + " run -- true").code) << one.option;
    EXPECT_TRUE(std::filesystem::is_regular_file(path)) << one.option;
    std::filesystem::remove(path);
  }
}

TEST(ProgramTest, RunsACommandUnderItsDevices) {
  const std::string devices = "--device --address 127.0.67.4 --device --address 127.0.67.5 ";
  EXPECT_EQ(7, Simulate(devices + "run -- sh -c 'exit 7'").code);
  EXPECT_EQ(127, Simulate(devices + "run -- /nowhere/at/all").code);
  EXPECT_EQ(128 + SIGTERM, Simulate(devices + "run -- sh -c 'kill -TERM $$'").code);
  // A signal to the program is the command's.
  const Ended passed =
      Simulate(devices +
               "run -- sh -c 'trap \"echo caught; exit 3\" TERM; kill -TERM $PPID; "
               "sleep 5 > /dev/null 2>&1 & wait'");
  EXPECT_EQ(3, passed.code);
  EXPECT_EQ("caught\n", passed.said);
}

TEST(ProgramTest, ServesUntilItIsEnded) {
  int out[2];
  ASSERT_EQ(0, pipe(out));
  const pid_t child = fork();
  if (child == 0) {
    dup2(out[1], STDOUT_FILENO);
    execl(SCANTK_SIM_PATH, "scantk-sim", "--address", "127.0.67.4", "--set",
          "SL_MODEL_ID=text:ZM-12", "--device", "--address", "127.0.67.4", "--port", "9292",
          "--model", "ZM-11", nullptr);
    _exit(127);
  }
  close(out[1]);
  FILE* lines = fdopen(out[0], "r");
  std::array<char, 256> line;
  ASSERT_NE(nullptr, fgets(line.data(), line.size(), lines));
  EXPECT_STREQ("listening on 127.0.67.4:9290 as ZM-16\n", line.data());
  ASSERT_NE(nullptr, fgets(line.data(), line.size(), lines));
  EXPECT_STREQ("listening on 127.0.67.4:9292 as ZM-11\n", line.data());
  EXPECT_EQ("*s19d5WZM-12", RawHost("127.0.67.4").Ask("19E"));
  EXPECT_EQ("*s19d5WZM-11", RawHost("127.0.67.4", 9292).Ask("19E"));
  kill(child, SIGTERM);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
  fclose(lines);
}

TEST(ProgramTest, RendersThePageThatAHostWouldGet) {
  char name[] = "/tmp/scantk-page-XXXXXX";
  close(mkstemp(name));
  EXPECT_EQ(0, Simulate(std::string("--set 10323=75 --set 10324=75 --render ") + name).code);
  PageSettings settings = DefaultPage("ZM-16");
  settings.x_dpi = settings.y_dpi = 75;
  std::ifstream file(name, std::ios::binary);
  const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
  EXPECT_TRUE(RenderPage(MakePaper("chart"), settings) == bytes);
  std::filesystem::remove(name);
}

}  // namespace
}  // namespace scantk::sim::test
