// The component server's module: its one class, made known when the library is loaded.
#include "contract/interfaces.h"
#include "diag/trace_log.h"
#include "platform/component_support.h"
#include "platform/stand_ins.h"
#include "scanner/scanner_object.h"
#include "server/class_factory.h"
#include "server/registration.h"

namespace scantk {
namespace {

const char* SCANTK_SUPPORT_CALL NoDescription() {
  return nullptr;
}
void SCANTK_SUPPORT_CALL NoClassMain(BOOL) {}

ObjectMapEntry g_object_map[] = {
    {&CLSID_scanner, UpdateClassRegistration, CreateClassFactory, ScannerObject::Create, nullptr, 0,
     NoDescription, ClassCategories, NoClassMain},
    {},
};

// Made when the library is loaded, taken down when it is unloaded.
class Module {
 public:
  Module() {
    SetTextResource(kScriptResource, kRegistrationScript);
    TheModule().size = sizeof(ModuleRecord);
    void* instance = ModuleInstance(g_object_map);
    AtlModuleInit(&TheModule(), g_object_map, instance);
    IgnoreThreads(instance);
    RegisterPlatformStandIns();
    GlobalTrace();  // its start is the zero of every tick in the trace
  }
  ~Module() { AtlModuleTerm(&TheModule()); }
};

const Module g_module;

}  // namespace
}  // namespace scantk
