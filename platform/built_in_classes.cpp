#include "platform/built_in_classes.h"

#include <mutex>
#include <vector>

namespace scantk {
namespace {

struct BuiltInClass {
  GUID clsid;
  BuiltInFactory factory;
};

// Never destroyed: components may be asked for while the process ends.
struct BuiltInClasses {
  std::mutex mutex;
  std::vector<BuiltInClass> classes;
};
BuiltInClasses& TheBuiltInClasses() {
  static auto* classes = new BuiltInClasses;
  return *classes;
}

BuiltInFactory Find(const GUID& clsid) {
  BuiltInClasses& all = TheBuiltInClasses();
  std::lock_guard<std::mutex> lock(all.mutex);
  for (const BuiltInClass& built_in : all.classes) {
    if (built_in.clsid == clsid) return built_in.factory;
  }
  return nullptr;
}

}  // namespace

HRESULT CreateBuiltIn(const GUID& clsid, const GUID& iid, void** object) {
  BuiltInFactory factory = Find(clsid);
  return factory ? factory(iid, object) : REGDB_E_CLASSNOTREG;
}

void RegisterBuiltInClass(const GUID& clsid, BuiltInFactory factory) {
  BuiltInClasses& all = TheBuiltInClasses();
  std::lock_guard<std::mutex> lock(all.mutex);
  for (BuiltInClass& built_in : all.classes) {
    if (built_in.clsid == clsid) {
      built_in.factory = factory;
      return;
    }
  }
  all.classes.push_back({clsid, factory});
}

}  // namespace scantk
