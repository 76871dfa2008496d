#include "diag/image_log.h"

#include "platform/system.h"

namespace scantk {
namespace {

constexpr size_t kMaxImageLogPath = 259;  // characters that the file name may have

}  // namespace

bool MakeImageLogFileName(std::string* path) {
  path->clear();
  std::string folder = CommonDataFolder();
  if (folder.empty()) return false;
  folder.append(1, kPathSeparator).append("OV");
  std::string made = CreateTemporaryFile(folder, "Img");
  if (made.empty() || made.size() > kMaxImageLogPath) return false;
  *path = std::move(made);
  return true;
}

bool AppendToImageLog(const std::string& path, const void* data, size_t byte_count) {
  return AppendToFile(path, data, byte_count, false);
}

}  // namespace scantk
