// The registry: a tree of keys with typed values. Errors are system error numbers (error_codes.h),
// 0 for success. On Linux the tree is two text files, the user's above the system's, read when a
// key is opened; the user's is rewritten whole, under a lock, when a value is written (kTimeout:
// another process kept the lock). A file that cannot be read as a registry is reported and never
// written over.
#ifndef SCANTK_PLATFORM_REGISTRY_H_
#define SCANTK_PLATFORM_REGISTRY_H_

#include <cstdint>
#include <memory>
#include <string>

namespace scantk {

enum class RegistryRoot : uint32_t {
  kClassesRoot = 0x80000000,
  kCurrentUser = 0x80000001,
  kLocalMachine = 0x80000002,
};

enum class RegistryType : uint32_t { kString = 1, kBinary = 3, kDword = 4 };

enum class RegistryAccess { kRead, kWrite, kReadWrite };

// The imaging device class: the path of its key below the machine's root, which ends in the class's
// identifier.
inline constexpr char kImagingClassPath[] =
    "SYSTEM\\CurrentControlSet\\Control\\Class\\{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";

// The file of the registry that lies below every user's, for installers: whoever names it as
// SCANTK_REGISTRY writes it. Empty where the registry is no file.
std::string SystemRegistryPath();

// An open key, closed by its destructor. A default-constructed one is not open: its operations
// answer kInvalidHandle. One thread at a time.
class RegistryKey {
 public:
  RegistryKey();
  RegistryKey(RegistryKey&& other) noexcept;
  RegistryKey& operator=(RegistryKey&& other) noexcept;
  ~RegistryKey();

  void Close();
  // A number that tells this key from others in the trace; 0 when it is not open.
  uintptr_t Handle() const;

  // Opens a key of the tree, `path` being relative to a root or to this key, folders separated by
  // '\'. Missing: kFileNotFound.
  static uint32_t Open(RegistryRoot root, const std::string& path, RegistryAccess access,
                       RegistryKey* key);
  uint32_t OpenSubkey(const std::string& path, RegistryAccess access, RegistryKey* key) const;

  // Opens the key, with all rights to it, or creates it with all keys above it. `created` (may be
  // null) tells which. On Linux the current user's keys can always be had; where they cannot be
  // written they are empty, and setting a value fails.
  static uint32_t Create(RegistryRoot root, const std::string& path, RegistryKey* key,
                         bool* created);
  // The same below this key, with no more rights than `access` names.
  uint32_t CreateSubkey(const std::string& path, RegistryAccess access, RegistryKey* key,
                        bool* created) const;

  // The key of the imaging device class, for reading; its instance keys are subkeys.
  static uint32_t OpenImagingClass(RegistryKey* key);

  // The name of subkey number `index`; kNoMoreItems past the last one.
  uint32_t EnumerateSubkey(uint32_t index, std::string* name) const;

  // Reads the value `name` (empty: the default value), whatever its type. *size is the buffer's
  // size in bytes and becomes the value's. Too small a buffer: kMoreData, *size is what is needed.
  // A null `data` asks for the size alone. Strings come as narrow text with their terminating NUL
  // when one is stored.
  uint32_t QueryValue(const std::string& name, RegistryType* type, void* data,
                      uint32_t* size) const;

  uint32_t SetDword(const std::string& name, uint32_t value);
  // Stores `length` bytes of narrow text as a string value; count the NUL or leave it out.
  uint32_t SetString(const std::string& name, const char* text, uint32_t length);

  // Removes the subkey `path` with everything below it; a missing one is kFileNotFound.
  uint32_t DeleteSubtree(const std::string& path);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_REGISTRY_H_
