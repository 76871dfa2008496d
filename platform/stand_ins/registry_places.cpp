#include "platform/stand_ins/registry_places.h"

#include "platform/posix/environment.h"
#include "platform/stand_ins/registry_file.h"

namespace scantk {
namespace {

constexpr char kCurrentUser[] = "HKEY_CURRENT_USER";
constexpr char kSystemFile[] = "/etc/scantk/registry.reg";

std::string ConfigurationFile() {
  const char* folder = Environment("XDG_CONFIG_HOME");
  if (folder && *folder == '/') return std::string(folder) + "/scantk/registry.reg";
  const char* home = Environment("HOME");
  return home ? std::string(home) + "/.config/scantk/registry.reg" : std::string();
}

std::string PerUserFile() {
  const std::string file = UserRegistryPath();
  return CheckRegistryWritable(file) == 0 ? file : ConfigurationFile();
}

}  // namespace

std::string UserRegistryPath() {
  const char* named = Environment("SCANTK_REGISTRY");
  return named ? named : ConfigurationFile();
}

std::string SystemRegistryPath() {
  const char* named = Environment("SCANTK_SYSTEM_REGISTRY");
  return named ? named : kSystemFile;
}

RegistryPlaces PlacesOf(RegistryRoot root) {
  RegistryPlaces places;
  if (root == RegistryRoot::kCurrentUser) return {{PerUserFile(), kCurrentUser, true}};
  // Whoever names a registry of his own wants no other's keys in it.
  const bool alone = Environment("SCANTK_REGISTRY") && !Environment("SCANTK_SYSTEM_REGISTRY");
  for (const bool ours : {true, false}) {
    if (!ours && alone) break;
    const std::string file = ours ? UserRegistryPath() : SystemRegistryPath();
    if (root == RegistryRoot::kLocalMachine) {
      places.push_back({file, "HKEY_LOCAL_MACHINE", ours});
      continue;
    }
    // The classes are one tree over three.
    places.push_back({file, "HKEY_CLASSES_ROOT", ours});
    places.push_back({file, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes", ours});
    if (ours)
      places.push_back({PerUserFile(), std::string(kCurrentUser) + "\\Software\\Classes", ours});
  }
  return places;
}

}  // namespace scantk
