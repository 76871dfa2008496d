// Device files whose far side is a virtual line, in the place of the system's: one called "usb..."
// moves data, any other is a DOT4 stack.
#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "platform/device_file.h"
#include "platform/error_codes.h"
#include "platform/system.h"
#include "simulator/dot4_records.h"
#include "tests/sweep/failing_system.h"
#include "tests/sweep/virtual_line.h"

namespace scantk {
namespace {

using test::TestAtWork;
using test::VirtualConnection;
using test::VirtualLine;

constexpr uint8_t kSocket = 5;
constexpr uint32_t kChannel = 0x5001;
constexpr size_t kHeader = 16, kTimeoutAt = 12;
constexpr uint32_t kPacket = 32000;

bool Fail(uint32_t error) {
  SetLastError(error);
  return false;
}

}  // namespace

struct Overlapped::State {
  bool pending = false;
  uint8_t* data = nullptr;
  uint32_t size = 0, moved = 0, error = 0;
};

Overlapped::Overlapped() : state(std::make_unique<State>()) {}
Overlapped::~Overlapped() = default;

struct DeviceFile::State {
  // Fills `record` from the line; false: not yet.
  bool Receive(Overlapped::State* record, uint32_t milliseconds) {
    const auto received =
        connection->Receive(record->data, record->size, milliseconds, &record->moved);
    if (received == VirtualConnection::Received::kTimeout) return false;
    if (received == VirtualConnection::Received::kEnd) record->error = error::kDeviceNotConnected;
    return true;
  }
  uint32_t Answer(const sim::Dot4Request& request, std::vector<uint8_t>* reply, uint32_t* moved);

  bool usable = false, stack = false;
  std::optional<VirtualConnection> connection;  // of a stack: its channel
};

// How a stack answers a request: the system's error number, or 0 with its reply.
uint32_t DeviceFile::State::Answer(const sim::Dot4Request& request, std::vector<uint8_t>* reply,
                                   uint32_t* moved) {
  if (!sim::Dot4Fault(request).empty()) return error::kInvalidParameter;
  const auto code = static_cast<sim::Dot4Code>(request.code);
  if (code == sim::Dot4Code::kCreateSocket) {
    *reply = sim::Dot4Created(request, kSocket);
  } else if (code == sim::Dot4Code::kOpenChannel) {
    if (connection->state() == VirtualConnection::State::kNew) connection->Meet();
    *reply = sim::Dot4Opened(request, kChannel);
  } else if (connection->state() == VirtualConnection::State::kReset) {
    return error::kGenFailure;
  } else if (code == sim::Dot4Code::kCloseChannel) {
    connection->Finish(0);
  } else if (code == sim::Dot4Code::kWrite) {
    if (!connection->Send(request.input.data() + kHeader,
                          static_cast<uint32_t>(request.input.size() - kHeader), moved))
      return error::kGenFailure;
  } else if (code == sim::Dot4Code::kRead) {
    reply->resize(std::min(request.reply_limit, kPacket));
    uint32_t wait = request.Number(kTimeoutAt), more = 0;
    do {
      const auto received = connection->Receive(
          reply->data() + *moved, static_cast<uint32_t>(reply->size()) - *moved, wait, &more);
      if (received == VirtualConnection::Received::kEnd && *moved == 0) return error::kGenFailure;
      *moved += more;
      wait = 0;
    } while (more > 0 && *moved < reply->size());
    reply->resize(*moved);
  }
  if (!reply->empty()) *moved = static_cast<uint32_t>(reply->size());
  return 0;
}

DeviceFile::DeviceFile() = default;
DeviceFile::~DeviceFile() {
  Close();
}

bool DeviceFile::Open(const char* name) {
  const TestAtWork safe;
  state_ = std::make_unique<State>();
  if (VirtualLine::Current().CallFails()) return Fail(error::kFileNotFound);
  state_->stack = std::strncmp(name, "usb", 3) != 0;
  state_->connection.emplace().Ask();
  if (state_->connection->state() == VirtualConnection::State::kRefused) {
    state_->connection.reset();
    return Fail(error::kFileNotFound);
  }
  if (!state_->stack) state_->connection->Meet();
  return state_->usable = true;
}

void DeviceFile::Close() {
  state_.reset();
}

bool DeviceFile::IsNull() const {
  return !state_;
}
bool DeviceFile::IsInvalid() const {
  return state_ && !state_->usable;
}
bool DeviceFile::IsUsable() const {
  return state_ && state_->usable;
}
uintptr_t DeviceFile::Number() const {
  return IsNull() ? 0 : IsUsable() ? 7 : ~uintptr_t{0};
}

bool DeviceFile::Read(void* data, uint32_t size, uint32_t* count, Overlapped* record) {
  *count = 0;
  if (VirtualLine::Current().CallFails()) return Fail(error::kGenFailure);
  Overlapped::State& read = *record->state = {false, static_cast<uint8_t*>(data), size, 0, 0};
  read.pending = !state_->Receive(&read, 0);
  VirtualLine::Current().open_transfers += read.pending;
  *count = read.moved;
  return read.pending ? Fail(error::kIoPending) : read.error == 0 || Fail(read.error);
}

bool DeviceFile::Write(const void* data, uint32_t size, uint32_t* count, Overlapped* record) {
  *count = 0;
  *record->state = {};
  if (VirtualLine::Current().CallFails()) return Fail(error::kGenFailure);
  return state_->connection->Send(static_cast<const uint8_t*>(data), size, count) ||
         Fail(error::kDeviceNotConnected);
}

bool DeviceFile::Control(const DeviceRequest& request, uint32_t* returned, Overlapped*) {
  const TestAtWork safe;
  *returned = 0;
  if (!state_->stack) return Fail(error::kNotSupported);
  if (VirtualLine::Current().CallFails()) return Fail(error::kGenFailure);
  if (state_->connection->state() == VirtualConnection::State::kUnreachable) {
    TheClock().Sleep(request.limit);
    return Fail(error::kTimeout);
  }
  using Data = DeviceRequest::Data;
  auto* const data = static_cast<uint8_t*>(request.data);
  const auto* const in = static_cast<const uint8_t*>(request.in);
  sim::Dot4Request sent = {request.code, 0, {in, in + request.in_size}};
  if (request.direction == Data::kSent || request.direction == Data::kSentAndFilled)
    sent.input.insert(sent.input.end(), data, data + request.data_size);
  if (request.direction == Data::kFilled || request.direction == Data::kSentAndFilled)
    sent.reply_limit = request.data_size;
  std::vector<uint8_t> reply;
  if (const uint32_t failure = state_->Answer(sent, &reply, returned)) {
    *returned = 0;
    return Fail(failure);
  }
  std::copy(reply.begin(), reply.end(), data);
  return true;
}

bool DeviceFile::Flush() {
  return !VirtualLine::Current().CallFails() || Fail(error::kGenFailure);
}

WaitResult DeviceFile::Wait(Overlapped* record, uint32_t milliseconds) {
  if (VirtualLine::Current().CallFails()) {
    Fail(error::kGenFailure);
    return WaitResult::kFailed;
  }
  Overlapped::State& read = *record->state;
  if (read.pending && !state_->Receive(&read, milliseconds)) return WaitResult::kTimeout;
  Cancel(record);
  return WaitResult::kSignalled;
}

bool DeviceFile::Result(Overlapped* record, uint32_t* count, bool) {
  *count = 0;
  if (VirtualLine::Current().CallFails()) return Fail(error::kGenFailure);
  if (record->state->pending) return Fail(error::kIoIncomplete);
  *count = record->state->moved;
  return record->state->error == 0 || Fail(record->state->error);
}

void DeviceFile::Cancel(Overlapped* record) {
  VirtualLine::Current().open_transfers -= record->state->pending;
  record->state->pending = false;
}

void DeviceFile::ResetEvent(Overlapped*) {}

}  // namespace scantk
