// The registry file of this user on disk: found, read, and rewritten so that several processes can
// change it at once and a crash leaves the old file.
#ifndef SCANTK_PLATFORM_POSIX_REGISTRY_FILE_H_
#define SCANTK_PLATFORM_POSIX_REGISTRY_FILE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/posix/registry_text.h"

namespace scantk {

// SCANTK_REGISTRY, or scantk/registry.reg in the user's configuration folder. Empty: no such folder
// is known.
std::string RegistryFilePath();

// The registry as it is now; a file that does not exist is an empty one. kBadFormat: the file is no
// registry. What cannot be read in it goes to standard error, once for each state of the file.
// Any thread.
uint32_t ReadRegistryFile(std::shared_ptr<const RegistryText>* text);

// Reads the file under its lock, lets `change` work on it and, when that answers 0, writes it back
// whole. Any thread, any number of processes.
uint32_t ChangeRegistryFile(const std::function<uint32_t(RegistryText*)>& change);

// 0 when the file could be written now.
uint32_t CheckRegistryWritable();

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_REGISTRY_FILE_H_
