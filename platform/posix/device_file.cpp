#include "platform/device_file.h"

#include <poll.h>
#include <sched.h>

#include <cerrno>
#include <chrono>
#include <new>
#include <optional>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/posix/deadline.h"
#include "platform/posix/device_open.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file.h"
#include "platform/stand_ins/request_link.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr uintptr_t kInvalidNumber = ~uintptr_t{0};

// The kernel cuts a device's transfer into pieces (4095 bytes of a terminal, 8192 of a
// printer-class node) and does not tell which one is the last: the transfer is over when nothing
// follows for so long.
constexpr auto kQuiet = std::chrono::milliseconds(2000);

// A stack on this machine answers within microseconds, sooner than a thread falls asleep and wakes
// up again: a thread that waits for it stays awake for so long.
constexpr auto kAwake = std::chrono::microseconds(100);

// What errno means for an open device: it is gone, which is not the same as never found.
uint32_t TransferError(int errno_value) {
  return errno_value == ENODEV ? error::kDeviceNotConnected : FileError(errno_value);
}

bool HungUp(int file) {
  pollfd waiting = {file, 0, 0};
  return poll(&waiting, 1, 0) > 0 && (waiting.revents & (POLLHUP | POLLERR)) != 0;
}

// As poll. The processor is given up at every turn: the stack may need it.
int PollAwake(pollfd* waiting) {
  const TimePoint end = std::chrono::steady_clock::now() + kAwake;
  for (;;) {
    const int count = poll(waiting, 1, 0);
    if (count != 0 || std::chrono::steady_clock::now() >= end) return count;
    sched_yield();
  }
}

}  // namespace

struct Overlapped::State {
  enum class Kind : uint8_t { kNone, kRead, kWrite, kControl };

  Kind under_way = Kind::kNone;
  bool signalled = false;
  char* data = nullptr;
  uint32_t size = 0;
  uint32_t moved = 0;
  uint32_t error = 0;
  TimePoint last_piece;  // of a read that has moved something

  bool HasPieces() const { return under_way == Kind::kRead && moved > 0; }
  void Finish() {
    under_way = Kind::kNone;
    signalled = true;
  }
};

Overlapped::Overlapped() : state(std::make_unique<State>()) {}
Overlapped::~Overlapped() = default;

struct DeviceFile::State {
  using Kind = Overlapped::State::Kind;

  explicit State(File opened) : file(std::move(opened)) {}

  bool Start(Overlapped::State* record, Kind kind, void* data, uint32_t size, uint32_t* count);
  // Moves what can be moved; signals the event when the operation is done.
  void Advance(Overlapped::State* record);
  bool AdvanceTransfer(Overlapped::State* record);
  short WantedEvents(const Overlapped::State& record) const;

  File file;
  std::optional<RequestLink> link;  // when the file is a stack's socket
};

bool DeviceFile::State::Start(Overlapped::State* record, Kind kind, void* data, uint32_t size,
                              uint32_t* count) {
  *record = {};
  record->under_way = kind;
  record->data = static_cast<char*>(data);
  record->size = size;
  Advance(record);
  *count = record->under_way == Kind::kNone ? record->moved : 0;
  if (record->under_way != Kind::kNone) {
    SetLastError(error::kIoPending);
    return false;
  }
  if (record->error != 0) SetLastError(record->error);
  return record->error == 0;
}

void DeviceFile::State::Advance(Overlapped::State* record) {
  bool done = true;
  if (record->under_way == Kind::kControl) {
    done = link->Advance();
    if (done) {
      record->error = link->Error();
      record->moved = link->Returned();
    }
  } else if (record->under_way != Kind::kNone) {
    done = AdvanceTransfer(record);
  }
  if (done) record->Finish();
}

bool DeviceFile::State::AdvanceTransfer(Overlapped::State* record) {
  if (link) {
    record->error = error::kNotSupported;
    return true;
  }
  const bool reading = record->under_way == Kind::kRead;
  do {
    char* next = record->data + record->moved;
    const size_t left = record->size - record->moved;
    const ssize_t moved = Uninterrupted(
        [&] { return reading ? read(file.Get(), next, left) : write(file.Get(), next, left); });
    const bool would_block = moved < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    if (would_block) return false;
    // What came before the device went is still the caller's; the next read says that it went.
    if (moved <= 0 && record->HasPieces()) return true;
    if (moved < 0) {
      record->error = TransferError(errno);
      return true;
    }
    // Nothing to read is a short transfer of the device's, unless nobody is there any more.
    if (moved == 0 && left > 0 && HungUp(file.Get())) {
      record->error = error::kDeviceNotConnected;
      return true;
    }
    if (moved == 0) return reading || left == 0;
    record->moved += static_cast<uint32_t>(moved);
    if (reading) record->last_piece = std::chrono::steady_clock::now();
  } while (record->moved < record->size);
  return true;
}

short DeviceFile::State::WantedEvents(const Overlapped::State& record) const {
  if (record.under_way == Kind::kControl) return link->WantedEvents();
  return record.under_way == Kind::kRead ? POLLIN : POLLOUT;
}

DeviceFile::DeviceFile() = default;
DeviceFile::~DeviceFile() = default;

bool DeviceFile::Open(const char* name) {
  state_.reset();
  bool stack = false;
  File file = OpenDevice(name, &stack);
  if (!file) SetLastError(FileError(errno));
  try {
    state_ = std::make_unique<State>(std::move(file));
  } catch (const std::bad_alloc&) {
    SetLastError(error::kNotEnoughMemory);
    return false;
  }
  if (!state_->file) return false;
  if (stack) state_->link.emplace(state_->file.Get());
  return true;
}

void DeviceFile::Close() {
  state_.reset();
}

bool DeviceFile::IsNull() const {
  return !state_;
}
bool DeviceFile::IsInvalid() const {
  return state_ && !state_->file;
}
bool DeviceFile::IsUsable() const {
  return state_ && state_->file;
}

uintptr_t DeviceFile::Number() const {
  if (IsNull()) return 0;
  return IsInvalid() ? kInvalidNumber : static_cast<uintptr_t>(state_->file.Get());
}

bool DeviceFile::Read(void* data, uint32_t size, uint32_t* count, Overlapped* record) {
  *count = 0;
  if (IsUsable()) return state_->Start(record->state.get(), State::Kind::kRead, data, size, count);
  SetLastError(error::kInvalidHandle);
  return false;
}

bool DeviceFile::Write(const void* data, uint32_t size, uint32_t* count, Overlapped* record) {
  *count = 0;
  if (IsUsable()) {
    return state_->Start(record->state.get(), State::Kind::kWrite, const_cast<void*>(data), size,
                         count);
  }
  SetLastError(error::kInvalidHandle);
  return false;
}

bool DeviceFile::Control(const DeviceRequest& request, uint32_t* returned, Overlapped* record) {
  *returned = 0;
  if (!IsUsable() || !state_->link) {
    SetLastError(IsUsable() ? error::kNotSupported : error::kInvalidHandle);
    return false;
  }
  std::optional<Overlapped> own;
  Overlapped* used = record ? record : &own.emplace();
  state_->link->Begin(request);
  const bool done = state_->Start(used->state.get(), State::Kind::kControl, request.data,
                                  request.data_size, returned);
  if (done || record || LastError() != error::kIoPending) return done;
  return Result(used, returned, true);
}

bool DeviceFile::Flush() {
  if (!IsUsable()) {
    SetLastError(error::kInvalidHandle);
    return false;
  }
  // The kernel's character devices hold nothing back; those that can be asked are.
  if (fsync(state_->file.Get()) == 0) return true;
  SetLastError(FileError(errno));
  return false;
}

WaitResult DeviceFile::Wait(Overlapped* record, uint32_t milliseconds) {
  Overlapped::State* state = record->state.get();
  const Deadline end(milliseconds);
  while (!state->signalled && state->under_way != State::Kind::kNone && IsUsable()) {
    Deadline until = end;
    if (state->HasPieces()) until.NotAfter(state->last_piece + kQuiet);
    pollfd waiting = {state_->file.Get(), state_->WantedEvents(*state), 0};
    int count = state->under_way == State::Kind::kControl ? PollAwake(&waiting) : 0;
    if (count == 0) count = poll(&waiting, 1, until.Left());
    if (count == 0 && !state->HasPieces()) return WaitResult::kTimeout;
    if (count == 0) {
      state->Finish();
    } else if (count > 0) {
      state_->Advance(state);
    } else if (errno != EINTR) {
      SetLastError(FileError(errno));
      return WaitResult::kFailed;
    }
  }
  if (state->signalled) return WaitResult::kSignalled;
  SetLastError(error::kInvalidHandle);
  return WaitResult::kFailed;
}

bool DeviceFile::Result(Overlapped* record, uint32_t* count, bool wait) {
  *count = 0;
  Overlapped::State* state = record->state.get();
  if (state->under_way != State::Kind::kNone && wait &&
      Wait(record, kWaitForever) != WaitResult::kSignalled)
    return false;
  if (state->under_way != State::Kind::kNone) {
    SetLastError(error::kIoIncomplete);
    return false;
  }
  *count = state->moved;
  if (state->error != 0) SetLastError(state->error);
  return state->error == 0;
}

void DeviceFile::Cancel(Overlapped* record) {
  Overlapped::State* state = record->state.get();
  if (state->under_way == State::Kind::kNone) return;
  if (state->under_way == State::Kind::kControl && IsUsable()) state_->link->Cancel();
  state->under_way = State::Kind::kNone;
  state->error = error::kOperationAborted;
}

void DeviceFile::ResetEvent(Overlapped* record) {
  record->state->signalled = false;
}

}  // namespace scantk
