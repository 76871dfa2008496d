#include "host/setup/registration.h"

#include "contract/interfaces.h"
#include "host/setup/device_registry.h"
#include "platform/component.h"

namespace scanhost {

std::string RegisteredLibrary() {
  scantk::RegistryKey key;
  const std::string path = "CLSID\\" + scantk::GuidText(CLSID_scanner) + "\\InprocServer32";
  if (scantk::RegistryKey::Open(scantk::RegistryRoot::kClassesRoot, path,
                                scantk::RegistryAccess::kRead, &key) != 0)
    return "";
  return ReadText(key, "").value_or("");
}

}  // namespace scanhost
