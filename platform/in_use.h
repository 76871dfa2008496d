// The system's own clock and network: those that TheClock and TheNetwork answer until a test puts
// others in their places (in_use.cpp).
#ifndef SCANTK_PLATFORM_IN_USE_H_
#define SCANTK_PLATFORM_IN_USE_H_

#include "platform/clock.h"
#include "platform/network.h"
#include "platform/system.h"

namespace scantk {

Clock& SystemClock();
Network& SystemNetwork();
OsVersion TrueSystemVersion();

}  // namespace scantk

#endif  // SCANTK_PLATFORM_IN_USE_H_
