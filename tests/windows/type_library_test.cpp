// The description that the type library is made from, held against the C++ declarations: written in
// the form of the headers, it must be found in them.
#include "contract/component_types.h"

#include <gtest/gtest.h>
#include <oleauto.h>

#include <fstream>
#include <map>
#include <regex>

#include "contract/interfaces.h"
#include "platform/component.h"
#include "platform/owner.h"
#include "platform/system.h"
#include "tests/contract/toolkit.h"
#include "tests/jobs/records.h"

namespace scantk::test {
namespace {

// In the order of the component class.
const struct {
  const char* name;
  const IID &iid, &uuid;
} kInterfaces[] = {
#define ROW(name) \
  { #name, IID_##name, __uuidof(name) }
    ROW(IScanner),    ROW(IADF),          ROW(IADF2),    ROW(IADF3), ROW(ICompression),
    ROW(IHWProperty), ROW(IControlPanel), ROW(IReserve), ROW(ISPF)
#undef ROW
};

#define SCANTK_X(code, identifier, ...) {#identifier, static_cast<uint32_t>(code)},
const std::map<std::string, uint32_t> kCodes = {SCANTK_TOOLKIT_ERRORS(SCANTK_X)
                                                    SCANTK_TOOLKIT_RESULTS(SCANTK_X)};
#undef SCANTK_X

using Rules = std::vector<std::pair<const char*, const char*>>;

// A file without comments, without const, with single blanks and none at brackets.
std::string Declarations(const std::string& path, const Rules& more = {}) {
  std::ifstream file(path);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  Rules rules = {{"//[^\n]*|\\bconst\\b|STDMETHODCALLTYPE", " "},
                 {"\\s+", " "},
                 {" ?([(){}*,;:\\]]) ?", "$1"}};
  rules.insert(rules.end(), more.begin(), more.end());
  for (const auto& [mask, with] : rules) text = std::regex_replace(text, std::regex(mask), with);
  return text;
}

// What a method reads through a pointer, though C++ does not say const.
bool IsInput(const std::string& declared) {
  static const std::regex inputs(
      "[^*]*|WideChar\\*[^*]*|.*[*]pScanParam|uint8_t\\*pby(Red|Green|Blue)");
  return std::regex_match(declared, inputs);
}

std::string Uuid(const GUID& guid) {
  return "uuid(" + GuidText(guid).substr(1, 36) + "),";
}

// Catches a method, parameter, field or constant that hosts in other languages see otherwise, and
// an identifier of another interface.
TEST(TypeLibraryTest, SaysWhatTheHeadersSay) {
  std::string text =
      Declarations(SCANTK_INTERFACE_DESCRIPTION, {{"typedef (struct|enum)", "$1"},
                                                  {"interface (\\w+:)", "struct $1"},
                                                  {"unsigned long", "uint32_t"},
                                                  {"unsigned short", "uint16_t"},
                                                  {"\\bbyte\\b", "uint8_t"},
                                                  {"LPWSTR ?", "WideChar*"},
                                                  {"HRESULT (\\w+\\()", "virtual HRESULT $1"},
                                                  {"\\);", ")= 0;"}});
  const auto each = [&text](const char* mask, const auto& look) {
    const std::regex regex(mask);
    for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at) look(*at);
  };
  each("\\[(in|out)\\]([^,)]*)", [](const std::smatch& parameter) {
    EXPECT_EQ(IsInput(parameter[2]) ? "in" : "out", parameter[1]) << parameter[2];
  });
  text = std::regex_replace(text, std::regex("\\[(in|out)\\]"), "");

  const std::string headers = Declarations(SCANTK_CONTRACT_FOLDER "/interfaces.h") +
                              Declarations(SCANTK_CONTRACT_FOLDER "/records.h");
  size_t declared = 0;
  for (size_t at = 0; (at = text.find("struct ", at)) != std::string::npos; ++at, ++declared)
    EXPECT_NE(std::string::npos, headers.find(text.substr(at, text.find('}', at) + 1 - at)))
        << text.substr(at, 60);
  EXPECT_EQ(9u + 10u, declared);

  std::vector<std::string> parts = {
      "[" + Uuid(LIBID_DRIVERLib) +
          "version(1.0),helpstring(\"scantk1 1.0 Type Library\")]library DRIVERLib{",
      "[" + Uuid(CLSID_scanner) +
          "helpstring(\"scantk1 scanner Class\")]coclass scanner{[default]"};
  for (const auto& [name, iid, uuid] : kInterfaces) {
    EXPECT_TRUE(iid == uuid) << name;
    parts.push_back("[object,local," + Uuid(iid) + "helpstring(\"" + name +
                    " Interface\"),pointer_default(unique)]struct " + name + ":");
    parts[1] += std::string("interface ") + name + ";";
  }
  for (const std::string& part : parts) EXPECT_NE(std::string::npos, text.find(part)) << part;

  size_t constants = 0;
  each("(\\w+) = (\\w+)[,} ]", [&](const std::smatch& constant) {
    const auto code = kCodes.find(constant[1]);
    const uint32_t value = code == kCodes.end() ? Constant(constant[1]) : code->second;
    EXPECT_EQ(value, std::stoul(constant[2], nullptr, 0)) << constant[1];
    ++constants;
  });
  text = Declarations(SCANTK_CONTRACT_FOLDER "/values.h");
  size_t values = 3;  // of URS_STATE
  each("inline constexpr", [&](const std::smatch&) { ++values; });
  EXPECT_EQ(values + kCodes.size(), constants);

  ComPtr<ITypeLib> library;
  TLIBATTR* own = nullptr;
  ASSERT_EQ(S_OK, LoadTypeLibEx(reinterpret_cast<const wchar_t*>(Utf16(LibraryPath()).c_str()),
                                REGKIND_NONE, library.Out()));
  ASSERT_EQ(S_OK, library->GetLibAttr(&own));
  EXPECT_EQ(SYS_WIN64, own->syskind);
  library->ReleaseTLibAttr(own);
  EXPECT_EQ(declared + 5, library->GetTypeInfoCount());  // and the class, and four enumerations
}

}  // namespace
}  // namespace scantk::test
