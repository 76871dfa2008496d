// What every test of the toolkit as a whole needs: the library opened by path, a registry of its
// own, and the trace that was written.
#ifndef SCANTK_TESTS_CONTRACT_TOOLKIT_H_
#define SCANTK_TESTS_CONTRACT_TOOLKIT_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "contract/component_types.h"
#include "contract/interfaces.h"
#include "contract/records.h"
#include "platform/owner.h"
#include "platform/registry.h"

namespace scantk::test {

// What the system is told of the toolkit has one implementation for each system: this class and the
// two functions below it.
//
// While one lives, the machine's part of the registry is a new one that nobody else sees; on Linux
// it is a file in `folder`, and the class registrations are in it too. One at a time.
class OwnRegistry {
 public:
  explicit OwnRegistry(const std::string& folder);
  ~OwnRegistry();
  OwnRegistry(const OwnRegistry&) = delete;
  OwnRegistry& operator=(const OwnRegistry&) = delete;
};

// The library's full path, as the system writes it.
std::string LibraryPath();

// Calls an entry point without arguments of the library, by its name.
HRESULT CallEntryPoint(const char* name);

// A folder that goes when its owner goes, and the registry that the toolkit of this process reads
// from now on. The thread that makes one can use components while it lives.
class Sandbox {
 public:
  Sandbox();
  ~Sandbox();

  // An installed network device, found under the name that is returned.
  std::string AddNetworkDevice(const std::string& address);
  // An installed device behind the file `path`, T_IO_USB or T_IO_DOT4, found under its path.
  std::string AddAttachedDevice(const std::string& path, uint32_t io_type);
  // Values of its "DeviceData" key; `device` is the name that it was added under.
  void SetDeviceValue(const std::string& device, const std::string& name, uint32_t value);
  void SetDeviceText(const std::string& device, const std::string& name, const std::string& text);
  std::string DeviceText(const std::string& device, const std::string& name) const;
  // Lines of this level (trace masks) go to a file from the next object on.
  // Destination bits: 1 a file, 2 the debugger.
  void SwitchTraceOn(uint32_t level = 0xFFFFFFFF, uint32_t destination = 1);

  std::string Folder() const { return folder_; }
  static std::string TracePath();
  std::vector<std::string> TraceLines() const;  // without line ends and indentation
  void ClearTrace();

 private:
  // Gives its "DeviceData" key.
  RegistryKey AddDevice(const std::string& name, const std::string& path, uint32_t io_type);

  std::string folder_;
  std::unique_ptr<OwnRegistry> registry_;
  std::map<std::string, std::string> devices_;  // their DeviceData keys
};

// UTF-16 for the interfaces.
std::basic_string<WideChar> Wide(const std::string& text);

// A `scanner` object with all its interfaces.
struct Toolkit {
  explicit Toolkit(const std::string& library = LibraryPath());
  // Of an object that this program made; null: all are.
  explicit Toolkit(const ComPtr<IScanner>& object);

  ComPtr<IScanner> scanner;
  ComPtr<IADF3> feeder;
  ComPtr<ICompression> compression;
  ComPtr<IHWProperty> properties;
  ComPtr<IControlPanel> panel;
  ComPtr<IReserve> reserve;
  ComPtr<ISPF> spf;
};

// In 1/300 inch.
struct PageArea {
  uint32_t width, length;
  uint32_t left = 0, top = 0;
};

// As most hosts ask for a page: `dpi` in both directions, from the glass; a `mode` with levels has
// eight bits of them.
SCANNER_PARAMETERS PageParameters(uint32_t mode, uint16_t dpi, const PageArea& area);

// A method's result and toolkit error code, compared and printed together.
struct Outcome {
  HRESULT result;
  uint32_t code;
  bool operator==(const Outcome& other) const = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

inline constexpr Outcome kOk = {S_OK, TERR_NONE};
inline constexpr Outcome kNotLocked = {E_FAIL, TERR_SCANNER_NOT_LOCKED};
inline constexpr Outcome kInvalidSession = {E_FAIL, TERR_INVALID_SESSION};
inline constexpr Outcome kInvalidParameter = {E_FAIL, TERR_INVALID_PARAMETER};
inline constexpr Outcome kEndOfPage = {S_OK, TERR_SCANNER_END_OF_PAGE};

// Calls a method whose last parameter is the error code: Call(object, &IScanner::LampOn, handle).
template <class Pointer, class Interface, class... Parameters, class... Arguments>
Outcome Call(const Pointer& object, HRESULT (STDMETHODCALLTYPE Interface::*method)(Parameters...),
             Arguments... arguments) {
  uint32_t code = 0xDEADBEEF;
  HRESULT result = (object.Get()->*method)(arguments..., &code);
  return {result, code};
}

}  // namespace scantk::test

#endif  // SCANTK_TESTS_CONTRACT_TOOLKIT_H_
