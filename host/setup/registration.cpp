#include "host/setup/registration.h"

#include <cstdio>

#include "contract/client.h"
#include "host/console.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/program_folder.h"
#include "host/setup/device_registry.h"
#include "platform/component.h"

namespace scanhost {
namespace {

int CallEntryPoint(const RegistrationRequest& request, const char* name) {
  using namespace scantk::client;
  const ComponentUse use;
  const std::string system = scantk::SystemRegistryPath();
  if (request.system && !system.empty()) SetEnvironment("SCANTK_REGISTRY", system);
  std::string library = request.library.empty() ? FindLibrary("scantk1") : request.library;
  if (library.empty()) library = LibraryFileName("scantk1");
  void* loaded = detail::Load(library.c_str());
  using EntryPoint = HRESULT(STDMETHODCALLTYPE*)();
  const auto entry =
      loaded ? reinterpret_cast<EntryPoint>(detail::Entry(loaded, name)) : EntryPoint();
  if (!entry) throw HostFailure(library + " is no library of the toolkit's");
  const HRESULT result = entry();
  if (FAILED(result)) throw ToolkitFailure({name, result, TERR_NONE});
  return kExitDone;
}

}  // namespace

std::string RegisteredLibrary() {
  scantk::RegistryKey key;
  const std::string path = "CLSID\\" + scantk::GuidText(CLSID_scanner) + "\\InprocServer32";
  if (scantk::RegistryKey::Open(scantk::RegistryRoot::kClassesRoot, path,
                                scantk::RegistryAccess::kRead, &key) != 0)
    return "";
  return ReadText(key, "").value_or("");
}

int RunRegister(const RegistrationRequest& request) {
  const int status = CallEntryPoint(request, "DllRegisterServer");
  std::printf("registered: %s\n", RegisteredLibrary().c_str());
  return status;
}

int RunUnregister(const RegistrationRequest& request) {
  return CallEntryPoint(request, "DllUnregisterServer");
}

}  // namespace scanhost
