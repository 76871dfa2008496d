// A named semaphore of the machine with a count of one: exclusion between processes. On Linux a
// holder that dies gives it back at once.
#ifndef SCANTK_PLATFORM_SEMAPHORE_H_
#define SCANTK_PLATFORM_SEMAPHORE_H_

#include <cstdint>
#include <memory>
#include <string>

namespace scantk {

enum class WaitResult : uint32_t { kSignalled = 0, kTimeout = 258, kFailed = 0xFFFFFFFF };

// Any thread may wait, any thread may release. Closed by the destructor.
class NamedSemaphore {
 public:
  NamedSemaphore();
  NamedSemaphore(NamedSemaphore&& other) noexcept;
  NamedSemaphore& operator=(NamedSemaphore&& other) noexcept;
  ~NamedSemaphore();

  // Creates the semaphore `name` (initial and maximum count 1), or opens it when it exists; the
  // name may begin with "Global\". `security` is a security-descriptor string (SDDL); where it
  // cannot be used, default security. The last error is kAlreadyExists when it existed, 0 when it
  // was made, the reason when there is none.
  static NamedSemaphore CreateOrOpen(const std::string& name, const char* security);

  explicit operator bool() const;
  // Waits at most `milliseconds` (kWaitForever: without limit) and takes the count. 0 asks once.
  WaitResult Wait(uint32_t milliseconds);
  // Gives the count back. False when that failed (LastError).
  bool Release();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_SEMAPHORE_H_
