// Registry files: reading, and changes that must be there when the file is read again.
//
// Input: a line with a key, a line with a value's name, type, a line with its data, then the file.
#include "fuzz/fuzz_input.h"
#include "platform/posix/registry_text.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

constexpr const char* kRoots[] = {"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_CLASSES_ROOT"};

// Looks at every key, as long as `budget` lasts.
void Walk(const RegistryText& text, const std::string& path, int* budget) {
  for (const std::string& name : text.Subkeys(path)) {
    if (--*budget < 0) return;
    const std::string below = path + "\\" + name;
    Require(text.HasKey(below), "a key that is listed exists");
    text.FindValue(below, "");
    Walk(text, below, budget);
  }
}

void RequireValue(const RegistryText& text, const std::string& path, const std::string& name,
                  const RegistryValue& value) {
  const RegistryValue* found = text.FindValue(path, name);
  Require(found && found->type == value.type && found->data == value.data,
          "a value that was set is found");
}

void Change(RegistryText& text, const std::string& path, const std::string& name,
            const RegistryValue& value) {
  text.SetValue(path, name, value);
  const RegistryValue* set = text.FindValue(path, name);
  Require(set != nullptr, "a value that was set exists");
  const RegistryValue as_set = *set;
  const RegistryText again(text.Bytes());
  Require(again.IsRegistry(), "a changed registry is one");
  Require(again.Bytes() == text.Bytes(), "reading changes nothing");
  RequireValue(again, path, name, as_set);

  RegistryText without(again);
  Require(without.DeleteKey(path), "a key that exists can be deleted");
  Require(!without.HasKey(path), "a deleted key is gone");
  Require(!RegistryText(without.Bytes()).HasKey(path), "and gone from the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (size_t{1} << 16)) return 0;
  FuzzInput input(data, size);
  const std::string path = input.Line(), name = input.Line();
  RegistryValue value;
  value.type = input.Byte() % 8;
  value.data = input.Line();
  const std::string bytes = input.RestText();

  RegistryText text(bytes);
  if (!text.IsRegistry()) {
    for (const char* root : kRoots)
      Require(text.Subkeys(root).empty(), "what is no registry is empty");
    return 0;
  }
  Require(bytes.empty() || text.Bytes() == bytes, "a file survives byte for byte");
  int budget = 500;
  for (const char* root : kRoots) Walk(text, root, &budget);
  if (RegistryText::IsValidPath(path) && RegistryText::IsValidName(name)) {
    Change(text, path, name, value);
  }
  return 0;
}
