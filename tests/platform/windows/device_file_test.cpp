// A device file, with a named pipe in the place of the driver: opened, read and written as a driver
// is, at the speed of a device that this test plays.
#include "platform/device_file.h"

#include <gtest/gtest.h>

#include <string>

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
  ~PipeDevice() { CloseHandle(pipe_); }
  const char* Name() const { return name_.c_str(); }
  std::string Receive(DWORD size) {
    std::string bytes(size, '\0');
    DWORD moved = 0;
    EXPECT_TRUE(ReadFile(pipe_, bytes.data(), size, &moved, nullptr));
    bytes.resize(moved);
    return bytes;
  }

 private:
  std::string name_;
  HANDLE pipe_;
};

// Catches a request whose answer never comes and that is waited for without end, and a file that is
// none and is used. (Transfers and an unplugged device are tested through the interfaces.)
TEST(DeviceFileTest, RequestsThatFail) {
  PipeDevice device;
  DeviceFile file;
  Overlapped record, other;
  uint32_t count = 7;
  EXPECT_FALSE(file.Open("\\\\.\\scantk no such device"));
  EXPECT_EQ(error::kFileNotFound, LastError());
  EXPECT_TRUE(file.IsInvalid());
  EXPECT_FALSE(file.Write("x", 1, &count, &record));
  EXPECT_EQ(error::kInvalidHandle, LastError());
  ASSERT_TRUE(file.Open(device.Name()));
  EXPECT_EQ(WaitResult::kTimeout, file.Wait(&record, 20));
  const DeviceRequest unknown = {0x222400, nullptr, 0, DeviceRequest::Data::kNone, nullptr, 0};
  EXPECT_FALSE(file.Control(unknown, &count, &other)) << "a pipe knows no such request";
  EXPECT_NE(0u, LastError());
  DWORD messages = PIPE_READMODE_MESSAGE;
  ASSERT_TRUE(SetNamedPipeHandleState(reinterpret_cast<HANDLE>(file.Number()), &messages, nullptr,
                                      nullptr));
  constexpr uint32_t kTransceive = 0x11C017;
  char answer[8];
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
