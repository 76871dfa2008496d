// Opening what a device's name may stand for.
#ifndef SCANTK_PLATFORM_POSIX_DEVICE_OPEN_H_
#define SCANTK_PLATFORM_POSIX_DEVICE_OPEN_H_

#include "platform/posix/file.h"

namespace scantk {

// A character device, made to pass bytes as they are, or (*stack) a socket of a DOT4 stack; neither
// ever blocks. Without a file errno tells why. A document that was named by mistake is none:
// commands written into it would spoil it.
File OpenDevice(const char* name, bool* stack);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_DEVICE_OPEN_H_
