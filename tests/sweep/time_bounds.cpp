#include "tests/sweep/time_bounds.h"

namespace scantk::test {
namespace {

// The waits of the network transport, in milliseconds.
constexpr int64_t kConnectWait = 10000;  // for a connection to be made
constexpr int64_t kReadWait = 30000;     // for the next byte
constexpr int64_t kFlushWait = 500;      // for the next byte, while a device is drained
constexpr int64_t kFinishWait = 200;     // for a device to take what was written last

// An answer is waited for six times.
constexpr int64_t kAnswer = 6 * kReadWait;
// A header, and three reads without one.
constexpr int64_t kDrain = 4 * kFlushWait;
// One that is given up, and one that is made, with its greeting.
constexpr int64_t kConnection = kFinishWait + kConnectWait + kReadWait;

// A device that has gone silent costs a method every answer that it asks for before it gives up,
// and every drain of what the device might still be sending.
struct Waits {
  int answers;
  int drains;
  int connections;
};

Waits WaitsOf(Method method) {
  switch (method) {
    case Method::kLock:
    case Method::kUnlock:
    case Method::kClose:
    case Method::kRelease:
    case Method::kReset:
      return {0, 0, 1};
    case Method::kCapabilities:
      return {4, 0, 1};
    case Method::kBufferInfo:
    case Method::kFeederReady:
      return {2, 0, 1};
    case Method::kStart:
      return {4, 2, 1};
    case Method::kRead:
    case Method::kReserve:
    case Method::kStop:
      return {2, 1, 1};
    case Method::kOpen:
    case Method::kLocal:
    case Method::kCompression:
      break;
  }
  return {};
}

}  // namespace

int64_t TimeBound(Method method) {
  const Waits waits = WaitsOf(method);
  return waits.answers * kAnswer + waits.drains * kDrain + waits.connections * kConnection;
}

}  // namespace scantk::test
