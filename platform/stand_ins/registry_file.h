// One registry file on disk: read, and rewritten so that several processes can change it at once
// and a crash leaves the old file.
#ifndef SCANTK_PLATFORM_STAND_INS_REGISTRY_FILE_H_
#define SCANTK_PLATFORM_STAND_INS_REGISTRY_FILE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/stand_ins/registry_text.h"

namespace scantk {

// The file as it is now; one that does not exist, or has no name, is empty. kBadFormat: it is no
// registry. What cannot be read in it goes to standard error, once for each state of the file.
// Any thread.
uint32_t ReadRegistryFile(const std::string& path, std::shared_ptr<const RegistryText>* text);

// Reads the file under its lock, lets `change` work on it and, when that answers 0, writes it back
// whole; owner, group, mode and links of the file stay. The lock is waited for for five seconds:
// kTimeout then. Any thread, any number of processes.
uint32_t ChangeRegistryFile(const std::string& path,
                            const std::function<uint32_t(RegistryText*)>& change);

// 0 when the file could be written now, or made where there is none.
uint32_t CheckRegistryWritable(const std::string& path);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_REGISTRY_FILE_H_
