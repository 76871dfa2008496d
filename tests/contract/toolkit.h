// What every test of the toolkit as a whole needs: the library opened by path, a registry file of
// its own, and the trace that was written.
#ifndef SCANTK_TESTS_CONTRACT_TOOLKIT_H_
#define SCANTK_TESTS_CONTRACT_TOOLKIT_H_

#include <string>
#include <vector>

#include "platform/owner.h"
#include "server/contract/interfaces.h"

namespace scantk::test {

// A folder that goes when its owner goes, and in it the registry file that the toolkit of this
// process reads from now on.
class Sandbox {
 public:
  Sandbox();
  ~Sandbox();

  // An installed network device, found under the name that is returned.
  std::string AddNetworkDevice(const std::string& address, int port_number = 1);
  void SetDeviceValue(const std::string& device, const std::string& name, uint32_t value);
  // Lines of this level (trace masks) go to a file from the next object on.
  void SwitchTraceOn(uint32_t level = 0xFFFFFFFF);

  std::string Folder() const { return folder_; }
  std::string Trace() const;
  std::vector<std::string> TraceLines() const;  // without line ends and indentation
  void ClearTrace();
  bool Traced(const std::string& text) const { return Trace().find(text) != std::string::npos; }

 private:
  void WriteRegistry();

  std::string folder_;
  std::vector<std::string> sections_;
  int devices_ = 0;
};

// The library's path, given by the build.
std::string LibraryPath();

// UTF-16 for the interfaces.
std::basic_string<WideChar> Wide(const std::string& text);

// A `scanner` object with all its interfaces.
struct Toolkit {
  explicit Toolkit(const std::string& library = LibraryPath());

  ComPtr<IScanner> scanner;
  ComPtr<IADF3> feeder;
  ComPtr<ICompression> compression;
  ComPtr<IHWProperty> properties;
  ComPtr<IControlPanel> panel;
  ComPtr<IReserve> reserve;
  ComPtr<ISPF> spf;
};

// A method's result and toolkit error code, compared and printed together.
struct Outcome {
  HRESULT result;
  uint32_t code;
  bool operator==(const Outcome& other) const {
    return result == other.result && code == other.code;
  }
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

inline constexpr Outcome kOk = {S_OK, TERR_NONE};
inline constexpr Outcome kNotLocked = {E_FAIL, TERR_SCANNER_NOT_LOCKED};
inline constexpr Outcome kInvalidSession = {E_FAIL, TERR_INVALID_SESSION};
inline constexpr Outcome kInvalidParameter = {E_FAIL, TERR_INVALID_PARAMETER};
inline constexpr Outcome kCommunication = {E_FAIL, TERR_SCANNER_COMMUNICATION_FAILED};
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
