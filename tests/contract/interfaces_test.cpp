// The object and its interfaces, without a device: identities, null pointers, stale handles.
#include <gtest/gtest.h>

#include <functional>

#include "platform/component.h"
#include "tests/contract/toolkit.h"

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

// Every method with its required pointers null one after the other, and with handles that name
// nothing. `Check` is told how to call a method: with the error code or without, with the other
// pointers or without.
struct Probe {
  const char* name;
  // (handle, pointers given?, error code pointer) -> result
  std::function<HRESULT(Toolkit&, uint32_t, bool, uint32_t*)> call;
  bool has_other_pointers;
  bool needs_lock = true;
};

SCANNER_PARAMETERS g_parameters;
BUFFER_INFO g_info;
uint8_t g_bytes[512];
uint32_t g_number;
WideChar* g_text;
const WideChar kTag[] = {'A', 'D', 'F', 0};
SCANNER_CAPABILITIES g_caps;
ADF_CAPABILITIES g_adf;
ADF2_CAPABILITIES g_adf2;
ADF3_CAPABILITIES g_adf3;
COMPRESSION_CAPABILITIES g_compression;
CONTROL_PANEL_CAPABILITIES g_panel;
SPF_CAPABILITIES g_spf;
URS_STATE g_urs;

#define PROBE(object, method, has_pointers, ...)                                                   \
  {                                                                                                \
#method,                                                                                       \
        [](Toolkit & t, [[maybe_unused]] uint32_t h, [[maybe_unused]] bool given,                  \
           uint32_t* code) -> HRESULT { return t.object->method(__VA_ARGS__ code); }, has_pointers \
  }
#define P(pointer) (given ? pointer : nullptr)

const Probe kProbes[] = {
    PROBE(scanner, GetLampStatus, true, h, P(g_bytes), ),
    PROBE(scanner, LampOn, false, h, ),
    PROBE(scanner, LampOff, false, h, ),
    PROBE(scanner, InitializeScanner, false, h, ),
    PROBE(scanner, ResetScanner, false, h, ),
    PROBE(scanner, GetScannerCapabilities, true, h, P(&g_caps), ),
    PROBE(scanner, GetBufferInfo, true, h, P(&g_parameters), P(&g_info), ),
    PROBE(scanner, SetScannerParameters, true, h, P(&g_parameters), ),
    PROBE(scanner, SetGammaTable, true, h, 256, P(g_bytes), P(g_bytes), P(g_bytes), ),
    PROBE(scanner, StartScan, false, h, ),
    PROBE(scanner, StopScan, false, h, ),
    PROBE(scanner, ReadScan, true, h, P(g_bytes), 100, ),
    PROBE(scanner, ReadScanEx, true, h, P(g_bytes), 100, P(&g_number), ),
    PROBE(feeder, GetADFCapabilities, true, h, P(&g_adf), ),
    PROBE(feeder, ADFPaperFeed, false, h, ),
    PROBE(feeder, ADFIsReady, true, h, P(g_bytes), ),
    PROBE(feeder, GetADF2Capabilities, true, h, P(&g_adf2), ),
    PROBE(feeder, SetADFOptions, false, h, 1, ),
    PROBE(feeder, ADFEjectMedia, false, h, ),
    PROBE(feeder, ADF2PaperFeed, true, h, P(&g_number), ),
    PROBE(feeder, GetADF3Capabilities, true, h, P(&g_adf3), ),
    PROBE(feeder, GetHWDuplexToggleState, true, h, P(g_bytes), ),
    PROBE(feeder, SetHWDuplexToggleState, false, h, 1, ),
    PROBE(feeder, ADFStartJob, false, h, ),
    PROBE(feeder, ADFEndJob, false, h, ),
    PROBE(compression, GetCompressionCapabilities, true, h, P(&g_compression), ),
    PROBE(compression, SetCompressionType, false, h, 1, ),
    PROBE(compression, SetCompressionLongevity, false, h, 1, ),
    PROBE(compression, SetCompressionOption, false, h, 1, 1, ),
    PROBE(properties, GetHWPropString, true, h, P(kTag), P(&g_text), ),
    PROBE(properties, GetHWPropValue, true, h, P(kTag), P(&g_number), ),
    PROBE(panel, GetControlPanelCapabilities, true, h, P(&g_panel), ),
    PROBE(panel, GetControlPanelValue, true, h, 8, P(&g_number), ),
    PROBE(panel, SetControlPanelValue, false, h, 8, 1, ),
    PROBE(panel, SetCodePage, false, h, 437, ),
    PROBE(panel, GetControlPanelString, true, h, 1, P(&g_text), P(&g_number), ),
    PROBE(panel, SetControlPanelString, true, h, 1, P(kTag), 6, ),
    PROBE(panel, SetControlPanelDestinationString, true, h, 0, P(kTag), ),
    PROBE(reserve, JobReserveHW, false, h, 0, ),
    PROBE(reserve, JobReleaseHW, false, h, ),
    PROBE(reserve, GetUserReadyToScanState, true, h, P(&g_urs), ),
    PROBE(reserve, SetUserReadyToScanState, false, h, T_URS_WAIT, ),
    PROBE(spf, GetSPFCapabilities, true, h, P(&g_spf), ),
    PROBE(spf, GetSPFData, true, h, 16, P(g_bytes), ),
};

TEST_F(InterfacesTest, EveryMethodChecksPointersHandleAndLock) {
  Toolkit toolkit;
  uint32_t session = 0;
  const std::string device = sandbox.AddNetworkDevice("127.0.0.1");
  ASSERT_EQ(kOk, Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(device).c_str(),
                      T_IO_NETWORK, &session));
  for (const Probe& probe : kProbes) {
    SCOPED_TRACE(probe.name);
    EXPECT_EQ(E_POINTER, probe.call(toolkit, session, true, nullptr));
    uint32_t code = 4711;
    if (probe.has_other_pointers) {
      EXPECT_EQ(E_POINTER, probe.call(toolkit, session, false, &code));
      EXPECT_EQ(4711u, code);
    }
    for (uint32_t stale : {0u, session + 1, 0xFFFFFFFFu}) {
      EXPECT_EQ(E_FAIL, probe.call(toolkit, stale, true, &code));
      EXPECT_EQ(TERR_INVALID_SESSION, code);
    }
    EXPECT_EQ(E_FAIL, probe.call(toolkit, session, true, &code));
    EXPECT_EQ(TERR_SCANNER_NOT_LOCKED, code);
  }
  EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::CloseScannerSession, session));
  EXPECT_EQ(kInvalidSession, Call(toolkit.scanner, &IScanner::CloseScannerSession, session));
  EXPECT_EQ(kInvalidSession,
            Call(toolkit.scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, 0u));
  EXPECT_EQ(kInvalidSession, Call(toolkit.scanner, &IScanner::UnlockScanner, session));
}

}  // namespace
}  // namespace scantk::test
