#include "platform/device_file.h"

#include <new>

#include "contract/component_types.h"
#include "platform/error_codes.h"
#include "platform/system.h"

namespace scantk {

struct Overlapped::State {
  OVERLAPPED record = {};
};

Overlapped::Overlapped() : state(std::make_unique<State>()) {
  state->record.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

Overlapped::~Overlapped() {
  if (state->record.hEvent) CloseHandle(state->record.hEvent);
}

struct DeviceFile::State {
  explicit State(HANDLE opened) : file(opened) {}
  ~State() {
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  }

  HANDLE file;
};

namespace {

OVERLAPPED* Record(Overlapped* record) {
  return record ? &record->state->record : nullptr;
}

// Ends what the calling thread waits for in the system, when that takes longer than it may. The
// file is opened for calls that return when all is done, so that nothing else can.
class Watch {
 public:
  explicit Watch(uint32_t milliseconds) {
    const HANDLE process = GetCurrentProcess();
    if (milliseconds == 0 || !DuplicateHandle(process, GetCurrentThread(), process, &thread_, 0,
                                              FALSE, DUPLICATE_SAME_ACCESS))
      return;
    timer_ = CreateThreadpoolTimer(&Expire, this, nullptr);
    ULARGE_INTEGER due;
    due.QuadPart = 0 - ULONGLONG{milliseconds} * 10000;
    FILETIME from_now = {due.LowPart, due.HighPart};
    if (timer_) SetThreadpoolTimer(timer_, &from_now, 0, 0);
  }
  ~Watch() {
    Stop();
    if (thread_) CloseHandle(thread_);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // No call is ended any more. Whether one was.
  bool Stop() {
    if (timer_) {
      SetThreadpoolTimer(timer_, nullptr, 0, 0);
      WaitForThreadpoolTimerCallbacks(timer_, TRUE);
      CloseThreadpoolTimer(timer_);
      timer_ = nullptr;
    }
    return expired_;
  }

 private:
  static void CALLBACK Expire(PTP_CALLBACK_INSTANCE, void* watch, PTP_TIMER) {
    auto* self = static_cast<Watch*>(watch);
    self->expired_ = CancelSynchronousIo(self->thread_) != FALSE;
  }

  HANDLE thread_ = nullptr;
  PTP_TIMER timer_ = nullptr;
  bool expired_ = false;
};

// A call of the system that fails with kTimeout when it takes longer than `limit`.
template <class Call>
bool Within(uint32_t limit, uint32_t* count, Call call) {
  DWORD moved = 0;
  Watch watch(limit);
  const bool done = call(&moved) != FALSE;
  uint32_t failure = GetLastError();
  if (watch.Stop() && !done && failure == error::kOperationAborted) failure = error::kTimeout;
  *count = moved;
  if (!done) ::SetLastError(failure);
  return done;
}

}  // namespace

DeviceFile::DeviceFile() = default;
DeviceFile::~DeviceFile() = default;

bool DeviceFile::Open(const char* name) {
  state_.reset();
  try {
    state_ = std::make_unique<State>(INVALID_HANDLE_VALUE);
  } catch (const std::bad_alloc&) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
  }
  state_->file = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                             nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_SYSTEM, nullptr);
  return IsUsable();
}

void DeviceFile::Close() {
  state_.reset();
}

bool DeviceFile::IsNull() const {
  return !state_;
}
bool DeviceFile::IsInvalid() const {
  return state_ && state_->file == INVALID_HANDLE_VALUE;
}
bool DeviceFile::IsUsable() const {
  return state_ && state_->file != INVALID_HANDLE_VALUE;
}

uintptr_t DeviceFile::Number() const {
  return state_ ? reinterpret_cast<uintptr_t>(state_->file) : 0;
}

bool DeviceFile::Read(void* data, uint32_t size, uint32_t* count, Overlapped* record) {
  return Within(record->limit, count, [&](DWORD* moved) {
    return ReadFile(state_ ? state_->file : nullptr, data, size, moved, Record(record));
  });
}

bool DeviceFile::Write(const void* data, uint32_t size, uint32_t* count, Overlapped* record) {
  return Within(record->limit, count, [&](DWORD* moved) {
    return WriteFile(state_ ? state_->file : nullptr, data, size, moved, Record(record));
  });
}

bool DeviceFile::Control(const DeviceRequest& request, uint32_t* returned, Overlapped* record) {
  return Within(request.limit, returned, [&](DWORD* moved) {
    return DeviceIoControl(state_ ? state_->file : nullptr, request.code,
                           const_cast<void*>(request.in), request.in_size, request.data,
                           request.data_size, moved, Record(record));
  });
}

bool DeviceFile::Flush() {
  return FlushFileBuffers(state_ ? state_->file : nullptr) != FALSE;
}

WaitResult DeviceFile::Wait(Overlapped* record, uint32_t milliseconds) {
  return static_cast<WaitResult>(WaitForSingleObject(record->state->record.hEvent, milliseconds));
}

bool DeviceFile::Result(Overlapped* record, uint32_t* count, bool wait) {
  DWORD moved = 0;
  const bool done = GetOverlappedResult(state_ ? state_->file : nullptr, &record->state->record,
                                        &moved, wait) != FALSE;
  *count = moved;
  return done;
}

void DeviceFile::Cancel(Overlapped* record) {
  const LastErrorKeeper keep;
  DWORD moved = 0;
  HANDLE file = state_ ? state_->file : nullptr;
  if (CancelIo(file)) GetOverlappedResult(file, &record->state->record, &moved, TRUE);
}

void DeviceFile::ResetEvent(Overlapped* record) {
  ::ResetEvent(record->state->record.hEvent);
}

}  // namespace scantk
