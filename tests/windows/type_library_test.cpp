// The type library that the component carries, held against the C++ declarations: it is written out
// in the form of the headers, and must be found in them.
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

// A header without comments, without const, with single blanks and none at brackets.
std::string Declarations(const std::string& name) {
  std::ifstream file(SCANTK_CONTRACT_FOLDER "/" + name);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  for (const auto& [mask, with] : {std::pair("//[^\n]*|\\bconst\\b|STDMETHODCALLTYPE", " "),
                                   std::pair("\\s+", " "), std::pair(" ?([(){}*,;:]) ?", "$1")})
    text = std::regex_replace(text, std::regex(mask), with);
  return text;
}

std::string Take(BSTR text) {
  std::string narrow = text ? Narrow(text) : std::string();
  SysFreeString(text);
  return narrow;
}

// "NAME: HELP".
template <class Info>
std::string Title(Info* info, int member) {
  BSTR name = nullptr, help = nullptr;
  EXPECT_EQ(S_OK, info->GetDocumentation(member, &name, &help, nullptr, nullptr));
  return Take(name) + ": " + Take(help);
}
std::string NameOf(ITypeInfo* info) {
  const std::string title = Title(info, MEMBERID_NIL);
  return title.substr(0, title.find(':'));
}

// A type's attributes, given back by the destructor.
struct Attributes {
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

// A variable as the headers declare it.
std::string Declared(ITypeInfo* info, const TYPEDESC& type, const std::string& name) {
  switch (type.vt) {
    case VT_UI1:
      return "uint8_t " + name;
    case VT_UI2:
      return "uint16_t " + name;
    case VT_UI4:
      return "uint32_t " + name;
    case VT_LPWSTR:
      return "WideChar*" + name;
    case VT_PTR: {
      const std::string inner = Declared(info, *type.lptdesc, "");
      return inner.substr(0, inner.find_last_not_of(' ') + 1) + "*" + name;
    }
    case VT_CARRAY:
      return Declared(info, type.lpadesc->tdescElem, name) + "[" +
             std::to_string(type.lpadesc->rgbounds[0].cElements) + "]";
    case VT_USERDEFINED: {
      ComPtr<ITypeInfo> named;
      info->GetRefTypeInfo(type.hreftype, named.Out());
      return NameOf(named.Get()) + " " + name;
    }
    default:
      return "VT " + std::to_string(type.vt);
  }
}

// What the method reads through a pointer, though C++ does not say const.
bool IsInput(const std::string& declared) {
  static const std::regex inputs(
      "[^*]*|WideChar\\*[^*]*|.*[*]pScanParam|uint8_t\\*pby(Red|Green|Blue)");
  return std::regex_match(declared, inputs);
}

// The type that `info` implements or derives from, by number.
ComPtr<ITypeInfo> Implemented(ITypeInfo* info, UINT number) {
  HREFTYPE reference = 0;
  ComPtr<ITypeInfo> result;
  EXPECT_EQ(S_OK, info->GetRefTypeOfImplType(number, &reference));
  EXPECT_EQ(S_OK, info->GetRefTypeInfo(reference, result.Out()));
  return result;
}

std::string MethodText(ITypeInfo* info, UINT index, size_t* slot) {
  FUNCDESC* method = nullptr;
  EXPECT_EQ(S_OK, info->GetFuncDesc(index, &method));
  const std::vector<std::string> names = NamesOf(info, method->memid);
  EXPECT_EQ(VT_HRESULT, method->elemdescFunc.tdesc.vt) << names[0];
  if (*slot) {
    EXPECT_EQ(*slot + sizeof(void*), static_cast<size_t>(method->oVft)) << names[0];
  }
  *slot = static_cast<size_t>(method->oVft);
  std::string text = "virtual HRESULT " + names[0] + "(";
  for (int i = 0; i < method->cParams; ++i) {
    const ELEMDESC& element = method->lprgelemdescParam[i];
    const std::string parameter = Declared(info, element.tdesc, names.at(i + 1));
    EXPECT_EQ(IsInput(parameter) ? PARAMFLAG_FIN : PARAMFLAG_FOUT,
              element.paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT))
        << names[0] << ": " << parameter;
    text += (i ? "," : "") + parameter;
  }
  info->ReleaseFuncDesc(method);
  return text + ")= 0;";
}

std::string FieldText(ITypeInfo* info, UINT index) {
  VARDESC* field = nullptr;
  EXPECT_EQ(S_OK, info->GetVarDesc(index, &field));
  const std::string text =
      Declared(info, field->elemdescVar.tdesc, NamesOf(info, field->memid).at(0));
  info->ReleaseVarDesc(field);
  return text + ";";
}

#define SCANTK_X(code, identifier, ...) {#identifier, static_cast<uint32_t>(code)},
const std::map<std::string, uint32_t> kCodes = {SCANTK_TOOLKIT_ERRORS(SCANTK_X)
                                                    SCANTK_TOOLKIT_RESULTS(SCANTK_X)};
#undef SCANTK_X

uint32_t Value(const std::string& constant) {
  const auto code = kCodes.find(constant);
  return code == kCodes.end() ? Constant(constant) : code->second;
}

void ExpectInterface(ITypeInfo* info, const IID& iid, const std::string& declarations) {
  const Attributes attributes(info);
  const std::string name = NameOf(info);
  EXPECT_EQ(TKIND_INTERFACE, attributes->typekind);
  EXPECT_TRUE(attributes->guid == iid) << GuidText(attributes->guid);
  EXPECT_EQ(name + ": " + name + " Interface", Title(info, MEMBERID_NIL));
  std::string text = "struct " + name + ":" + NameOf(Implemented(info, 0).Get()) + "{";
  size_t slot = 0;
  for (UINT i = 0; i < attributes->cFuncs; ++i) text += MethodText(info, i, &slot);
  EXPECT_NE(std::string::npos, declarations.find(text + "}")) << text << "\nin\n" << declarations;
}

TEST(TypeLibraryTest, SaysWhatTheHeadersSay) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(S_OK, LoadTypeLibEx(reinterpret_cast<const wchar_t*>(Utf16(LibraryPath()).c_str()),
                                REGKIND_NONE, library.Out()));
  TLIBATTR* own = nullptr;
  ASSERT_EQ(S_OK, library->GetLibAttr(&own));
  EXPECT_TRUE(own->guid == LIBID_DRIVERLib && own->wMajorVerNum == 1 && own->wMinorVerNum == 0 &&
              own->syskind == SYS_WIN64);
  library->ReleaseTLibAttr(own);
  EXPECT_EQ("DRIVERLib: scantk1 1.0 Type Library", Title(library.Get(), -1));

  const std::string interfaces = Declarations("interfaces.h"), records = Declarations("records.h");
  size_t classes = 0, found_records = 0, constants = 0;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ComPtr<ITypeInfo> info;
    library->GetTypeInfo(i, info.Out());
    const Attributes attributes(info.Get());
    const std::string name = NameOf(info.Get());
    SCOPED_TRACE(name);
    if (attributes->typekind == TKIND_COCLASS) {
      ++classes;
      EXPECT_TRUE(attributes->guid == CLSID_scanner);
      EXPECT_EQ("scanner: scantk1 scanner Class", Title(info.Get(), MEMBERID_NIL));
      ASSERT_EQ(std::size(kInterfaces), attributes->cImplTypes);
      for (UINT n = 0; n < attributes->cImplTypes; ++n) {
        const ComPtr<ITypeInfo> served = Implemented(info.Get(), n);
        EXPECT_EQ(kInterfaces[n].name, NameOf(served.Get()));
        ExpectInterface(served.Get(), kInterfaces[n].iid, interfaces);
        EXPECT_TRUE(kInterfaces[n].iid == kInterfaces[n].uuid);
        INT flags = 0;
        info->GetImplTypeFlags(n, &flags);
        EXPECT_EQ(n == 0 ? IMPLTYPEFLAG_FDEFAULT : 0, flags);
      }
    } else if (attributes->typekind == TKIND_RECORD) {
      ++found_records;
      EXPECT_EQ(RecordNamed(name).size, attributes->cbSizeInstance);
      std::string text = "struct " + name + "{";
      for (UINT n = 0; n < attributes->cVars; ++n) text += FieldText(info.Get(), n);
      EXPECT_NE(std::string::npos, records.find(text + "}")) << text << "\nin\n" << records;
    } else if (attributes->typekind == TKIND_ENUM) {
      for (UINT n = 0; n < attributes->cVars; ++n) {
        VARDESC* value = nullptr;
        ASSERT_EQ(S_OK, info->GetVarDesc(n, &value));
        const std::string member = NamesOf(info.Get(), value->memid).at(0);
        EXPECT_EQ(Value(member), static_cast<uint32_t>(value->lpvarValue->lVal)) << member;
        ++constants;
        info->ReleaseVarDesc(value);
      }
    }
  }
  EXPECT_EQ(1u, classes);
  EXPECT_EQ(10u, found_records);
  const std::string values = Declarations("values.h");
  const std::regex one("inline constexpr");
  const auto declared = std::distance(std::sregex_iterator(values.begin(), values.end(), one),
                                      std::sregex_iterator());
  EXPECT_EQ(3u + static_cast<size_t>(declared) + kCodes.size(), constants);
}

}  // namespace
}  // namespace scantk::test
