#include "host/program_folder.h"

#include <filesystem>
#include <initializer_list>

#include "host/console.h"

namespace scanhost {
namespace {

std::string Find(const std::string& file, std::initializer_list<const char*> folders) {
  const std::filesystem::path here = std::filesystem::path(ExecutablePath()).parent_path();
  for (const char* folder : folders) {
    const std::filesystem::path candidate = here / folder / file;
    std::error_code ignored;
    if (std::filesystem::exists(candidate, ignored)) return candidate.lexically_normal().string();
  }
  return "";
}

}  // namespace

std::string FindLibrary(const std::string& stem) {
  return Find(LibraryFileName(stem), {".", "../lib", "../server"});
}

std::string FindProgram(const std::string& stem) {
  return Find(ProgramFileName(stem), {".", "../simulator"});
}

}  // namespace scanhost
