#include "platform/component.h"

#include <objbase.h>
#include <objidl.h>
#include <oleauto.h>

#include <cguid.h>

#include "platform/built_in_classes.h"
#include "platform/error_codes.h"
#include "platform/owner.h"
#include "platform/system.h"

namespace scantk {
namespace {

HRESULT LastResult() {
  return HRESULT_FROM_WIN32(GetLastError());
}

HRESULT OpenInterfaceTable(ComPtr<IGlobalInterfaceTable>* table) {
  return CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                          IID_IGlobalInterfaceTable, table->OutVoid());
}

}  // namespace

HRESULT CreateComponent(const GUID& clsid, const GUID& iid, void** object) {
  const HRESULT result = CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, object);
  return result == REGDB_E_CLASSNOTREG ? CreateBuiltIn(clsid, iid, object) : result;
}

HRESULT GetClassObjectFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                           void** object) {
  HMODULE library = LoadLibraryA(path.c_str());
  if (!library) return LastResult();
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  const FARPROC entry = GetProcAddress(library, "DllGetClassObject");
  if (!entry) return LastResult();
  return reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(entry))(clsid, iid, object);
}

HRESULT CreateComponentFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                            void** object) {
  ComPtr<IClassFactory> factory;
  const HRESULT result = GetClassObjectFrom(path, clsid, IID_IClassFactory, factory.OutVoid());
  return FAILED(result) ? result : factory->CreateInstance(nullptr, iid, object);
}

HRESULT InitializeComponents() {
  return CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

void UninitializeComponents() {
  CoUninitialize();
}

void* TaskAlloc(size_t bytes) {
  return CoTaskMemAlloc(bytes);
}

void TaskFree(void* memory) {
  CoTaskMemFree(memory);
}

bool GlobalInterfaceTable::Available() {
  ComPtr<IGlobalInterfaceTable> table;
  return SUCCEEDED(OpenInterfaceTable(&table));
}

HRESULT GlobalInterfaceTable::Register(IUnknown* object, const GUID& iid, uint32_t* cookie) {
  ComPtr<IGlobalInterfaceTable> table;
  HRESULT result = OpenInterfaceTable(&table);
  DWORD number = 0;
  if (SUCCEEDED(result)) result = table->RegisterInterfaceInGlobal(object, iid, &number);
  *cookie = number;
  return result;
}

HRESULT GlobalInterfaceTable::Revoke(uint32_t cookie) {
  ComPtr<IGlobalInterfaceTable> table;
  const HRESULT result = OpenInterfaceTable(&table);
  return FAILED(result) ? result : table->RevokeInterfaceFromGlobal(cookie);
}

HRESULT GlobalInterfaceTable::Get(uint32_t cookie, const GUID& iid, void** object) {
  ComPtr<IGlobalInterfaceTable> table;
  const HRESULT result = OpenInterfaceTable(&table);
  return FAILED(result) ? result : table->GetInterfaceFromGlobal(cookie, iid, object);
}

WideChar* AllocSystemString(const char* narrow) {
  if (!narrow) return nullptr;
  return SysAllocString(reinterpret_cast<const wchar_t*>(Utf16(narrow).c_str()));
}

void FreeSystemString(WideChar* text) {
  SysFreeString(text);
}

}  // namespace scantk
