// Errors of the toolkit as a user sees them: the method, the code's name and number, and what to do
// about it.
#ifndef SCANTK_HOST_ERROR_ADVICE_H_
#define SCANTK_HOST_ERROR_ADVICE_H_

#include <stdexcept>
#include <string>

#include "contract/codes.h"

namespace scanhost {

// How a method call ended. Some conditions come as S_OK with a code: both count.
struct Outcome {
  const char* method;
  HRESULT result;
  uint32_t code;  // the toolkit error code

  bool Clean() const { return SUCCEEDED(result) && code == TERR_NONE; }
};

// "StartScan: TERR_RESERVE_BUSY (400), result E_FAIL (0x80004005)".
std::string Describe(const Outcome& outcome);

// One or two sentences for the person at the keyboard; never empty.
const char* AdviceFor(const Outcome& outcome);

class ToolkitFailure : public std::runtime_error {
 public:
  explicit ToolkitFailure(const Outcome& outcome);
  const Outcome& outcome() const { return outcome_; }

 private:
  Outcome outcome_;
};

// A failure that is not the toolkit's: a file, the registry, the simulator.
class HostFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A command line, or a value in it, that cannot be meant.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// --strict, and what would come is not what was asked for.
class NotAsAsked : public HostFailure {
 public:
  using HostFailure::HostFailure;
};

// Calls a method of one of the interfaces. Its error code, the last parameter, is supplied here.
template <class Target, class Method, class... Arguments>
Outcome Try(const char* name, Target* target, Method method, Arguments... arguments) {
  uint32_t code = TERR_NONE;
  const HRESULT result = (target->*method)(arguments..., &code);
  return {name, result, code};
}

// The same, and anything but a clean success is thrown as a ToolkitFailure.
template <class Target, class Method, class... Arguments>
void Call(const char* name, Target* target, Method method, Arguments... arguments) {
  const Outcome outcome = Try(name, target, method, arguments...);
  if (!outcome.Clean()) throw ToolkitFailure(outcome);
}

}  // namespace scanhost

#endif  // SCANTK_HOST_ERROR_ADVICE_H_
