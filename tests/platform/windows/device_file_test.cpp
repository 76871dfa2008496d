// A device file, with a named pipe in the place of the driver: opened, read and written as a driver
// is, at the speed of a device that this test plays.
#include "platform/device_file.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "contract/component_types.h"
#include "platform/error_codes.h"
#include "platform/system.h"

namespace scantk {
namespace {

// The device's end of the pipe.
class PipeDevice {
 public:
  PipeDevice()
      : name_("\\\\.\\pipe\\scantk-test-" + std::to_string(ProcessId())),
        pipe_(CreateNamedPipeA(name_.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE, 1, 65536,
                               65536, 0, nullptr)) {}
  ~PipeDevice() { Close(); }
  const char* Name() const { return name_.c_str(); }
  void Send(const std::string& bytes) {
    DWORD moved = 0;
    EXPECT_TRUE(WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), &moved, nullptr));
  }
  std::string Receive(DWORD size) {
    std::string bytes(size, '\0');
    DWORD moved = 0;
    EXPECT_TRUE(ReadFile(pipe_, bytes.data(), size, &moved, nullptr));
    bytes.resize(moved);
    return bytes;
  }
  void Close() {
    if (pipe_ != INVALID_HANDLE_VALUE) CloseHandle(pipe_);
    pipe_ = INVALID_HANDLE_VALUE;
  }

 private:
  std::string name_;
  HANDLE pipe_;
};

TEST(DeviceFileTest, MovesWhatTheDeviceSendsAndTakes) {
  PipeDevice device;
  DeviceFile file;
  ASSERT_TRUE(file.Open(device.Name()));
  EXPECT_TRUE(file.IsUsable());
  Overlapped record;
  uint32_t count = 0;
  ASSERT_TRUE(file.Write("command", 7, &count, &record));
  EXPECT_EQ(7u, count);
  EXPECT_EQ("command", device.Receive(64));
  EXPECT_TRUE(file.Flush());

  char buffer[64] = {};
  device.Send("an answer");
  ASSERT_TRUE(file.Read(buffer, sizeof buffer, &count, &record));
  EXPECT_EQ("an answer", std::string(buffer, count));
  EXPECT_EQ(WaitResult::kSignalled, file.Wait(&record, 0));
  EXPECT_TRUE(file.Result(&record, &count, false));
  EXPECT_EQ(9u, count);
  DeviceFile::ResetEvent(&record);
  EXPECT_EQ(WaitResult::kTimeout, file.Wait(&record, 20));
}

TEST(DeviceFileTest, TellsWhyTheDeviceAnswersNoMore) {
  PipeDevice device;
  DeviceFile file;
  EXPECT_FALSE(file.Open("\\\\.\\scantk no such device"));
  EXPECT_EQ(error::kFileNotFound, LastError());
  EXPECT_TRUE(file.IsInvalid());
  Overlapped record;
  uint32_t count = 7;
  EXPECT_FALSE(file.Write("x", 1, &count, &record));
  EXPECT_EQ(error::kInvalidHandle, LastError());
  ASSERT_TRUE(file.Open(device.Name()));
  const DeviceRequest request = {0x222400, nullptr, 0, DeviceRequest::Data::kNone, nullptr, 0};
  EXPECT_FALSE(file.Control(request, &count, &record)) << "a pipe knows no such request";
  EXPECT_NE(0u, LastError());
  std::thread unplugged([&] {
    Sleep(60);
    device.Close();
  });
  char buffer[64];
  EXPECT_FALSE(file.Read(buffer, sizeof buffer, &count, &record));
  EXPECT_EQ(static_cast<uint32_t>(ERROR_BROKEN_PIPE), LastError());
  EXPECT_EQ(0u, count);
  unplugged.join();
  file.Cancel(&record);  // nothing is under way
}

// A request whose answer never comes.
TEST(DeviceFileTest, ARequestEndsAtItsLimit) {
  PipeDevice device;
  DeviceFile file;
  ASSERT_TRUE(file.Open(device.Name()));
  DWORD messages = PIPE_READMODE_MESSAGE;
  ASSERT_TRUE(SetNamedPipeHandleState(reinterpret_cast<HANDLE>(file.Number()), &messages, nullptr,
                                      nullptr));
  constexpr uint32_t kTransceive = 0x11C017;
  char answer[8];
  Overlapped record;
  uint32_t count = 7;
  const DeviceRequest request = {kTransceive, "?",           1,  DeviceRequest::Data::kFilled,
                                 answer,      sizeof answer, 200};
  const DWORD start = GetTickCount();
  EXPECT_FALSE(file.Control(request, &count, &record));
  EXPECT_EQ(error::kTimeout, LastError());
  EXPECT_GE(GetTickCount() - start, 150u);
  EXPECT_EQ("?", device.Receive(8));
}

}  // namespace
}  // namespace scantk
