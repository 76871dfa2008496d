#include "platform/semaphore.h"

#include "platform/error_codes.h"
#include "platform/windows/handle.h"

namespace scantk {
namespace {

constexpr DWORD kDescriptorRevision = 1;

// The security descriptor of its text; none when the system cannot convert it. Looked up at run
// time: the oldest systems lack the function.
LocalMemory Descriptor(const char* text) {
  using Convert = BOOL(WINAPI*)(LPCSTR, DWORD, PSECURITY_DESCRIPTOR*, PULONG);
  HMODULE library = LoadLibraryA("advapi32.dll");
  if (!text || !library) return LocalMemory();
  const auto convert = reinterpret_cast<Convert>(reinterpret_cast<void*>(
      GetProcAddress(library, "ConvertStringSecurityDescriptorToSecurityDescriptorA")));
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const bool converted = convert && convert(text, kDescriptorRevision, &descriptor, nullptr);
  FreeLibrary(library);
  return LocalMemory(converted ? descriptor : nullptr);
}

}  // namespace

struct NamedSemaphore::State {
  Handle handle;
};

NamedSemaphore::NamedSemaphore() = default;
NamedSemaphore::NamedSemaphore(NamedSemaphore&& other) noexcept = default;
NamedSemaphore& NamedSemaphore::operator=(NamedSemaphore&& other) noexcept = default;
NamedSemaphore::~NamedSemaphore() = default;

NamedSemaphore NamedSemaphore::CreateOrOpen(const std::string& name, const char* security) {
  NamedSemaphore semaphore;
  const LocalMemory descriptor = Descriptor(security);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.Get(), TRUE};
  Handle handle(CreateSemaphoreA(&attributes, 1, 1, name.c_str()));
  const DWORD reason = GetLastError();
  if (handle) semaphore.state_ = std::make_unique<State>(State{std::move(handle)});
  SetLastError(reason);
  return semaphore;
}

NamedSemaphore::operator bool() const {
  return state_ != nullptr;
}

WaitResult NamedSemaphore::Wait(uint32_t milliseconds) {
  switch (WaitForSingleObject(state_ ? state_->handle.Get() : nullptr, milliseconds)) {
    case WAIT_OBJECT_0:
      return WaitResult::kSignalled;
    case WAIT_TIMEOUT:
      return WaitResult::kTimeout;
    default:
      return WaitResult::kFailed;
  }
}

bool NamedSemaphore::Release() {
  return ReleaseSemaphore(state_ ? state_->handle.Get() : nullptr, 1, nullptr) != FALSE;
}

}  // namespace scantk
