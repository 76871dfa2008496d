// What a method of the toolkit may answer a host that uses it rightly, whatever the device does.
#ifndef SCANTK_TESTS_SWEEP_LEGAL_OUTCOMES_H_
#define SCANTK_TESTS_SWEEP_LEGAL_OUTCOMES_H_

#include "tests/contract/toolkit.h"

namespace scantk::test {

enum class Method {
  kOpen,
  kClose,
  kLock,    // while nobody else holds the device
  kUnlock,  // of a hold
  kCapabilities,
  kLocal,  // what needs no device
  kCompression,
  kReset,
  kReserve,
  kRelease,
  kFeederReady,
  kBufferInfo,
  kStart,
  kRead,
  kStop,
};

// For messages.
const char* Name(Method method);

bool IsLegal(Method method, const Outcome& outcome);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_LEGAL_OUTCOMES_H_
