// Waits of half a minute on device files, cut short: poll is this file's own.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <string>
#include <vector>

#include "io/mxvio_dot4ms.h"
#include "io/mxvusb.h"
#include "tests/diag/trace_fixture.h"
#include "tests/io/dot4_stack.h"
#include "tests/io/pseudo_terminal.h"

namespace scantk {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::Not;
using testing::SizeIs;

constexpr int kLong = 20000, kCut = 50;  // ms

std::atomic<bool> cutting{false};
std::vector<int> asked;  // the long waits, in ms; of the thread under test alone

class LongWaits : public TraceFixture {
 protected:
  LongWaits() {
    asked.clear();
    cutting = true;
  }
  ~LongWaits() override { cutting = false; }
  static void ExpectHalfMinutes() {
    EXPECT_THAT(asked, AllOf(Not(IsEmpty()), Each(AllOf(Ge(29000), Le(30000)))));
    asked.clear();
  }
};

TEST_F(LongWaits, UsbDeviceThatTakesAndGivesNothing) {
  PseudoTerminal device;
  mxvusb transport;
  ASSERT_EQ(S_OK, transport.OpenIO(device.Path().c_str()));
  const std::string much(1'000'000, 'x');
  uint32_t moved = 1;
  EXPECT_EQ(kIoTimeout, transport.WriteData(much.data(), 1'000'000, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  ExpectHalfMinutes();
  EXPECT_EQ(
      "ERROR: USB: WriteData : WAIT_TIMEOUT:  Asked 1000000, Sent 0, Buf: xxxxxxxxxxxxxxx hr 102",
      NewLines().back());
  char byte = 0;
  moved = 1;
  EXPECT_EQ(kIoTimeout, transport.ReadData(&byte, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  ExpectHalfMinutes();
}

TEST_F(LongWaits, Dot4StackThatDoesNotAnswer) {
  using namespace stack_code;
  Dot4Stack stack(place_.File("dot4"));
  MXVIO_DOT4MS transport;
  ASSERT_EQ(S_OK, transport.OpenIO(place_.File("dot4").c_str()));
  for (const uint32_t code : {kDestroy, kClose, kRead, kWrite})
    stack.Fail(code, {Dot4Stack::kSilence});
  uint32_t moved = 1;
  EXPECT_EQ(E_FAIL, transport.WriteData("x", 1, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  ExpectHalfMinutes();
  char bytes[2];
  moved = sizeof bytes;
  EXPECT_EQ(E_FAIL, transport.ReadData(bytes, &moved, nullptr));
  EXPECT_EQ(0u, moved);
  ExpectHalfMinutes();
  EXPECT_EQ(kIoTimeout, transport.DisConnectFromIO());
  EXPECT_THAT(asked, SizeIs(2));
  ExpectHalfMinutes();
  EXPECT_THAT(NewLines(), Contains("Dot4: CloseDOT4Channel: m_DeviceDefaultDataHandle closed"));
}

}  // namespace
}  // namespace scantk

extern "C" int poll(pollfd* files, nfds_t count, int timeout) {
  using Function = int(pollfd*, nfds_t, int);
  static const auto next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "poll"));
  if (!scantk::cutting || timeout < scantk::kLong) return next(files, count, timeout);
  scantk::asked.push_back(timeout);
  return next(files, count, scantk::kCut);
}
