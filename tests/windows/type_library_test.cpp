// The type library that the component carries, held against the C++ declarations.
#include "contract/component_types.h"

#include <gtest/gtest.h>
#include <oleauto.h>

#include <fstream>
#include <map>

#include "contract/interfaces.h"
#include "platform/component.h"
#include "platform/owner.h"
#include "platform/system.h"
#include "tests/contract/installation.h"
#include "tests/windows/contract_headers.h"

namespace scantk::test {
namespace {

const std::string kContract = SCANTK_CONTRACT_FOLDER;

// In the order of the component class.
const struct {
  const char* name;
  const IID& iid;
  const IID& uuid;
} kInterfaces[] = {{"IScanner", IID_IScanner, __uuidof(IScanner)},
                   {"IADF", IID_IADF, __uuidof(IADF)},
                   {"IADF2", IID_IADF2, __uuidof(IADF2)},
                   {"IADF3", IID_IADF3, __uuidof(IADF3)},
                   {"ICompression", IID_ICompression, __uuidof(ICompression)},
                   {"IHWProperty", IID_IHWProperty, __uuidof(IHWProperty)},
                   {"IControlPanel", IID_IControlPanel, __uuidof(IControlPanel)},
                   {"IReserve", IID_IReserve, __uuidof(IReserve)},
                   {"ISPF", IID_ISPF, __uuidof(ISPF)}};

const std::map<std::string, size_t> kRecordSizes = {
    {"SCANNER_CAPABILITIES", sizeof(SCANNER_CAPABILITIES)},
    {"TONEMAP_PARAMETERS", sizeof(TONEMAP_PARAMETERS)},
    {"SCANNER_PARAMETERS", sizeof(SCANNER_PARAMETERS)},
    {"BUFFER_INFO", sizeof(BUFFER_INFO)},
    {"ADF_CAPABILITIES", sizeof(ADF_CAPABILITIES)},
    {"ADF2_CAPABILITIES", sizeof(ADF2_CAPABILITIES)},
    {"ADF3_CAPABILITIES", sizeof(ADF3_CAPABILITIES)},
    {"COMPRESSION_CAPABILITIES", sizeof(COMPRESSION_CAPABILITIES)},
    {"CONTROL_PANEL_CAPABILITIES", sizeof(CONTROL_PANEL_CAPABILITIES)},
    {"SPF_CAPABILITIES", sizeof(SPF_CAPABILITIES)},
};

std::string Take(BSTR text) {
  const std::string narrow = text ? Narrow(text) : std::string();
  SysFreeString(text);
  return narrow;
}

struct Title {
  std::string name, help;
};
Title TitleOf(ITypeLib* library, int index = -1) {
  BSTR name = nullptr, help = nullptr;
  EXPECT_EQ(S_OK, library->GetDocumentation(index, &name, &help, nullptr, nullptr));
  return {Take(name), Take(help)};
}
Title TitleOf(ITypeInfo* info) {
  BSTR name = nullptr, help = nullptr;
  EXPECT_EQ(S_OK, info->GetDocumentation(MEMBERID_NIL, &name, &help, nullptr, nullptr));
  return {Take(name), Take(help)};
}

// A type's attributes, given back by the destructor.
class Attributes {
 public:
  explicit Attributes(ITypeInfo* info) : info_(info) { info->GetTypeAttr(&attributes_); }
  ~Attributes() { info_->ReleaseTypeAttr(attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const TYPEATTR* operator->() const { return attributes_; }

 private:
  ITypeInfo* info_;
  TYPEATTR* attributes_ = nullptr;
};

// The name and the members of a method or a field.
std::vector<std::string> NamesOf(ITypeInfo* info, MEMBERID member) {
  BSTR names[16] = {};
  UINT count = 0;
  info->GetNames(member, names, 16, &count);
  std::vector<std::string> result;
  for (UINT i = 0; i < count; ++i) result.push_back(Take(names[i]));
  return result;
}

// A type as the headers write it.
std::string CppType(ITypeInfo* info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_UI1:
      return "uint8_t";
    case VT_UI2:
      return "uint16_t";
    case VT_UI4:
      return "uint32_t";
    case VT_LPWSTR:
      return "WideChar*";
    case VT_PTR:
      return CppType(info, *type.lptdesc) + "*";
    case VT_CARRAY:
      return CppType(info, type.lpadesc->tdescElem) + "[" +
             std::to_string(type.lpadesc->rgbounds[0].cElements) + "]";
    case VT_USERDEFINED: {
      ComPtr<ITypeInfo> named;
      info->GetRefTypeInfo(type.hreftype, named.Out());
      return TitleOf(named.Get()).name;
    }
    default:
      return "VT " + std::to_string(type.vt);
  }
}

// What the method reads through a pointer, though C++ does not say const.
bool IsInput(const Declared& parameter) {
  return !parameter.type.ends_with('*') || parameter.type == "WideChar*" ||
         parameter.name == "pScanParam" ||
         (parameter.type == "uint8_t*" &&
          (parameter.name == "pbyRed" || parameter.name == "pbyGreen" ||
           parameter.name == "pbyBlue"));
}

class TypeLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(S_OK, LoadTypeLibEx(reinterpret_cast<const wchar_t*>(Utf16(LibraryPath()).c_str()),
                                  REGKIND_NONE, library_.Out()));
  }

  ComPtr<ITypeInfo> Find(const std::string& name) {
    for (UINT i = 0; i < library_->GetTypeInfoCount(); ++i) {
      ComPtr<ITypeInfo> info;
      library_->GetTypeInfo(i, info.Out());
      if (TitleOf(info.Get()).name == name) return info;
    }
    ADD_FAILURE() << "no " << name;
    return {};
  }

  std::map<std::string, LONG> ValuesOf(const std::string& enumeration) {
    std::map<std::string, LONG> values;
    const ComPtr<ITypeInfo> info = Find(enumeration);
    if (!info) return values;
    const Attributes attributes(info.Get());
    EXPECT_EQ(TKIND_ENUM, attributes->typekind);
    for (UINT i = 0; i < attributes->cVars; ++i) {
      VARDESC* value = nullptr;
      EXPECT_EQ(S_OK, info->GetVarDesc(i, &value));
      values[NamesOf(info.Get(), value->memid).at(0)] = value->lpvarValue->lVal;
      info->ReleaseVarDesc(value);
    }
    return values;
  }

  // The type that `info` implements or derives from, by number.
  static ComPtr<ITypeInfo> Implemented(ITypeInfo* info, UINT number) {
    HREFTYPE reference = 0;
    ComPtr<ITypeInfo> result;
    EXPECT_EQ(S_OK, info->GetRefTypeOfImplType(number, &reference));
    EXPECT_EQ(S_OK, info->GetRefTypeInfo(reference, result.Out()));
    return result;
  }

  static void ExpectMethod(ITypeInfo* info, UINT index, size_t slot,
                           const DeclaredMethod& declared) {
    FUNCDESC* method = nullptr;
    ASSERT_EQ(S_OK, info->GetFuncDesc(index, &method));
    const std::vector<std::string> names = NamesOf(info, method->memid);
    ASSERT_EQ(declared.parameters.size() + 1, names.size());
    EXPECT_EQ(declared.name, names[0]);
    EXPECT_EQ(slot * sizeof(void*), static_cast<size_t>(method->oVft));
    EXPECT_EQ(VT_HRESULT, method->elemdescFunc.tdesc.vt);
    ASSERT_EQ(declared.parameters.size(), static_cast<size_t>(method->cParams));
    for (size_t i = 0; i < declared.parameters.size(); ++i) {
      const Declared& parameter = declared.parameters[i];
      const ELEMDESC& element = method->lprgelemdescParam[i];
      SCOPED_TRACE(parameter.name);
      EXPECT_EQ(parameter.name, names[i + 1]);
      EXPECT_EQ(parameter.type, CppType(info, element.tdesc));
      EXPECT_EQ(IsInput(parameter) ? PARAMFLAG_FIN : PARAMFLAG_FOUT,
                element.paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT));
    }
    info->ReleaseFuncDesc(method);
  }

  ComPtr<ITypeLib> library_;
};

TEST_F(TypeLibraryTest, NamesItself) {
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(S_OK, library_->GetLibAttr(&attributes));
  EXPECT_TRUE(attributes->guid == LIBID_DRIVERLib);
  EXPECT_EQ(1, attributes->wMajorVerNum);
  EXPECT_EQ(0, attributes->wMinorVerNum);
  EXPECT_EQ(SYS_WIN64, attributes->syskind);
  library_->ReleaseTLibAttr(attributes);
  EXPECT_EQ("DRIVERLib", TitleOf(library_.Get()).name);
  EXPECT_EQ("scantk1 1.0 Type Library", TitleOf(library_.Get()).help);
}

TEST_F(TypeLibraryTest, ClassListsItsInterfaces) {
  const ComPtr<ITypeInfo> scanner = Find("scanner");
  ASSERT_TRUE(scanner);
  const Attributes attributes(scanner.Get());
  EXPECT_EQ(TKIND_COCLASS, attributes->typekind);
  EXPECT_TRUE(attributes->guid == CLSID_scanner);
  EXPECT_EQ("scantk1 scanner Class", TitleOf(scanner.Get()).help);
  ASSERT_EQ(std::size(kInterfaces), attributes->cImplTypes);
  for (UINT i = 0; i < attributes->cImplTypes; ++i) {
    EXPECT_EQ(kInterfaces[i].name, TitleOf(Implemented(scanner.Get(), i).Get()).name);
    INT flags = 0;
    scanner->GetImplTypeFlags(i, &flags);
    EXPECT_EQ(i == 0 ? IMPLTYPEFLAG_FDEFAULT : 0, flags);
  }
}

TEST_F(TypeLibraryTest, InterfacesAreTheDeclaredOnes) {
  const std::vector<DeclaredStruct> declared = ReadHeader(kContract + "/interfaces.h");
  ASSERT_EQ(std::size(kInterfaces), declared.size());
  std::map<std::string, size_t> slots = {{"IUnknown", 3}};  // the table's length, by interface
  for (size_t i = 0; i < declared.size(); ++i) {
    const DeclaredStruct& expected = declared[i];
    SCOPED_TRACE(expected.name);
    EXPECT_EQ(kInterfaces[i].name, expected.name);
    const ComPtr<ITypeInfo> info = Find(expected.name);
    ASSERT_TRUE(info);
    const Attributes attributes(info.Get());
    EXPECT_EQ(TKIND_INTERFACE, attributes->typekind);
    EXPECT_TRUE(attributes->guid == kInterfaces[i].iid) << GuidText(attributes->guid);
    EXPECT_TRUE(attributes->guid == kInterfaces[i].uuid);
    EXPECT_EQ(expected.name + " Interface", TitleOf(info.Get()).help);
    EXPECT_EQ(expected.base, TitleOf(Implemented(info.Get(), 0).Get()).name);
    ASSERT_EQ(expected.methods.size(), attributes->cFuncs);
    size_t slot = slots.at(expected.base);
    for (UINT m = 0; m < attributes->cFuncs; ++m) {
      SCOPED_TRACE(expected.methods[m].name);
      ExpectMethod(info.Get(), m, slot++, expected.methods[m]);
    }
    slots[expected.name] = slot;
  }
}

TEST_F(TypeLibraryTest, RecordsAreTheDeclaredOnes) {
  const std::vector<DeclaredStruct> declared = ReadHeader(kContract + "/records.h");
  ASSERT_EQ(kRecordSizes.size(), declared.size());
  for (const DeclaredStruct& expected : declared) {
    SCOPED_TRACE(expected.name);
    const ComPtr<ITypeInfo> info = Find(expected.name);
    ASSERT_TRUE(info);
    const Attributes attributes(info.Get());
    EXPECT_EQ(TKIND_RECORD, attributes->typekind);
    EXPECT_EQ(kRecordSizes.at(expected.name), attributes->cbSizeInstance);
    ASSERT_EQ(expected.fields.size(), attributes->cVars);
    for (UINT i = 0; i < attributes->cVars; ++i) {
      VARDESC* field = nullptr;
      ASSERT_EQ(S_OK, info->GetVarDesc(i, &field));
      const std::vector<std::string> names = NamesOf(info.Get(), field->memid);
      EXPECT_EQ(expected.fields[i],
                (Declared{CppType(info.Get(), field->elemdescVar.tdesc), names.at(0)}))
          << expected.fields[i].type << " " << expected.fields[i].name;
      info->ReleaseVarDesc(field);
    }
  }
}

TEST_F(TypeLibraryTest, EnumerationsHaveTheirValues) {
  using Values = std::map<std::string, LONG>;
  EXPECT_EQ((Values{{"T_URS_DEFAULT", T_URS_DEFAULT},
                    {"T_URS_START", T_URS_START},
                    {"T_URS_WAIT", T_URS_WAIT}}),
            ValuesOf("URS_STATE"));
#define SCANTK_X(code, identifier, ...) {#identifier, static_cast<LONG>(code)},
  EXPECT_EQ((Values{SCANTK_TOOLKIT_ERRORS(SCANTK_X)}), ValuesOf("ToolkitError"));
  EXPECT_EQ((Values{SCANTK_TOOLKIT_RESULTS(SCANTK_X)}), ValuesOf("ToolkitResult"));
#undef SCANTK_X
  const Values constants = ValuesOf("ScanConstant");
  std::ifstream header(kContract + "/values.h");
  size_t declared = 0;
  for (std::string line; std::getline(header, line);)
    declared += line.starts_with("inline constexpr");
  EXPECT_EQ(declared, constants.size());
  EXPECT_EQ(LONG{T_ADF_OVERSCAN}, constants.at("T_ADF_OVERSCAN"));
  EXPECT_EQ(LONG{T_LOCK_PROCESS}, constants.at("T_LOCK_PROCESS"));
}

}  // namespace
}  // namespace scantk::test
