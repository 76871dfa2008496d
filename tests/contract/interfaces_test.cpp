// The object and its interfaces, without a device: identities, null pointers, stale handles.
#include <gtest/gtest.h>

#include <vector>

#include "platform/component.h"
#include "tests/contract/toolkit.h"
#include "tests/jobs/methods.h"

namespace scantk::test {
namespace {

class InterfacesTest : public ::testing::Test {
 protected:
  Sandbox sandbox;
};

TEST_F(InterfacesTest, OneObjectServesAllInterfaces) {
  Toolkit toolkit;
  IUnknown* const any[] = {toolkit.scanner.Get(),     toolkit.feeder.Get(),
                           toolkit.compression.Get(), toolkit.properties.Get(),
                           toolkit.panel.Get(),       toolkit.reserve.Get(),
                           toolkit.spf.Get()};
  for (IUnknown* from : any) {
    ComPtr<IUnknown> unknown, adf, adf2, adf3;
    ASSERT_EQ(S_OK, from->QueryInterface(IID_IUnknown, unknown.OutVoid()));
    EXPECT_EQ(static_cast<void*>(toolkit.scanner.Get()), static_cast<void*>(unknown.Get()));
    ASSERT_EQ(S_OK, from->QueryInterface(IID_IADF, adf.OutVoid()));
    ASSERT_EQ(S_OK, from->QueryInterface(IID_IADF2, adf2.OutVoid()));
    ASSERT_EQ(S_OK, from->QueryInterface(IID_IADF3, adf3.OutVoid()));
    EXPECT_EQ(adf.Get(), adf2.Get());
    EXPECT_EQ(adf.Get(), adf3.Get());
    void* none = &sandbox;
    EXPECT_EQ(E_NOINTERFACE, from->QueryInterface(IID_IClassFactory, &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(E_POINTER, from->QueryInterface(IID_IUnknown, nullptr));
  }
}

// An object that has a scanner object inside.
struct Outer final : IUnknown {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (iid == IID_IUnknown) {
      AddRef();
      *object = this;
      return S_OK;
    }
    return inner->QueryInterface(iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  ULONG references = 1;
  ComPtr<IUnknown> inner;
};

TEST_F(InterfacesTest, AggregatesIntoAnOuterObject) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(S_OK,
            GetClassObjectFrom(LibraryPath(), CLSID_scanner, IID_IClassFactory, factory.OutVoid()));
  Outer outer;
  void* refused = nullptr;
  EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(&outer, IID_IScanner, &refused));
  ASSERT_EQ(S_OK, factory->CreateInstance(&outer, IID_IUnknown, outer.inner.OutVoid()));
  {
    ComPtr<IScanner> scanner;
    ComPtr<IUnknown> unknown;
    ASSERT_EQ(S_OK, outer.QueryInterface(IID_IScanner, scanner.OutVoid()));
    EXPECT_EQ(2u, outer.references);
    ASSERT_EQ(S_OK, scanner->QueryInterface(IID_IUnknown, unknown.OutVoid()));
    EXPECT_EQ(&outer, unknown.Get());
  }
  EXPECT_EQ(1u, outer.references);
  outer.inner.Reset();
}

TEST_F(InterfacesTest, UnknownClassesAreRefused) {
  void* object = &sandbox;
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
            GetClassObjectFrom(LibraryPath(), IID_IScanner, IID_IClassFactory, &object));
  EXPECT_EQ(nullptr, object);
}

// Catches a method that works without a pointer it needs, writes a code where it must not, or does
// not look at its handle or the lock.
TEST_F(InterfacesTest, EveryMethodChecksPointersHandleAndLock) {
  Toolkit toolkit;
  uint32_t session = 0;
  const std::string device = sandbox.AddNetworkDevice("127.0.0.1");
  ASSERT_EQ(kOk, Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(device).c_str(),
                      T_IO_NETWORK, &session));
  SCANNER_PARAMETERS page = {};
  std::vector<uint8_t> bytes(512);
  constexpr Outcome kPointer = {E_POINTER, 0xDEADBEEF};  // the code is not written
  const struct {
    uint32_t handle;
    bool null_code, null_pointers;
    Outcome outcome;
  } cases[] = {{session, true, false, kPointer},
               {session, false, true, kPointer},
               {0, false, false, kInvalidSession},
               {session + 1, false, false, kInvalidSession},
               {0xFFFFFFFF, false, false, kInvalidSession},
               {session, false, false, kNotLocked}};
  for (const std::string& name : MethodNames()) {
    if (name == "OpenScannerSession" || name == "CloseScannerSession") continue;
    const bool locks = name == "LockScanner" || name == "UnlockScanner";
    for (const auto& c : cases) {
      if (locks && c.outcome == kNotLocked) continue;
      MethodCall call;
      call.session = c.handle;
      call.any_words = true;
      call.page = &page;
      call.bytes = bytes.data();
      call.null_code = c.null_code;
      call.null_pointers = c.null_pointers;
      CallMethod(toolkit, name, &call);
      if (c.null_pointers && !call.has_pointers) continue;
      EXPECT_EQ(c.outcome, call.outcome) << name;
    }
  }
  EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::CloseScannerSession, session));
  EXPECT_EQ(kInvalidSession, Call(toolkit.scanner, &IScanner::CloseScannerSession, session));
}

}  // namespace
}  // namespace scantk::test
