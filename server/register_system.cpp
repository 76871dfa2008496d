// For the packages' maintainer scripts, where no scanhost may be: writes the toolkit's class into
// the system's registry file; with an argument, takes it out.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

int main(int argc, char**) {
  setenv("SCANTK_REGISTRY", "/etc/scantk/registry.reg", 1);
  void* library = dlopen("libscantk1.so", RTLD_NOW);
  void* entry =
      library ? dlsym(library, argc > 1 ? "DllUnregisterServer" : "DllRegisterServer") : nullptr;
  const int32_t result = entry ? reinterpret_cast<int32_t (*)()>(entry)() : -1;
  if (result < 0) std::fprintf(stderr, "libscantk1.so: 0x%08x\n", static_cast<unsigned>(result));
  return result < 0 ? 1 : 0;
}
