// The network discovery component: another component, installed on its own, that knows where the
// network devices are now. Only the operations used here are named; the others keep the places in
// the tables (Reserved3 is the fourth). A stand-in serves the same tables where that component does
// not exist (stand_ins.h).
#ifndef SCANTK_PLATFORM_DISCOVERY_INTERFACES_H_
#define SCANTK_PLATFORM_DISCOVERY_INTERFACES_H_

#include "contract/component_types.h"

namespace scantk {

// clang-format off
inline constexpr GUID CLSID_DiscoveryBroker = {0x6E1B27D4, 0x3F90, 0x4A6C, {0x8D, 0x15, 0xB2, 0xC4, 0x7E, 0x09, 0xA3, 0x51}};
inline constexpr GUID IID_IDiscoveryBroker = {0xA58C03E7, 0x52D1, 0x4B8E, {0x9F, 0x26, 0x7D, 0x4E, 0x1B, 0x0C, 0x6F, 0x92}};
inline constexpr GUID IID_INetDeviceStore = {0x3D7F5A21, 0xC6E8, 0x4F04, {0xB1, 0x9A, 0x5E, 0x2D, 0x8C, 0x7B, 0x4A, 0x60}};
inline constexpr GUID IID_INetDevice = {0xF2904C6B, 0x1AD7, 0x4E53, {0x8C, 0x3E, 0x96, 0xB0, 0xD5, 0xA7, 0xE1, 0x84}};
// clang-format on

struct IDiscoveryBroker : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Reserved3() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved4() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved5() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved6() { return E_NOTIMPL; }
  // The eighth of the table: an object that can be asked for INetDeviceStore. E_PENDING while the
  // store is not ready.
  virtual HRESULT STDMETHODCALLTYPE GetStore(IUnknown** store) = 0;
};

struct INetDeviceStore : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Reserved3() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved4() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved5() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved6() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved7() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved8() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved9() { return E_NOTIMPL; }
  // The eleventh of the table. The seven texts are system strings; empty ones are no criterion. The
  // object found can be asked for INetDevice; a failure when there is none.
  virtual HRESULT STDMETHODCALLTYPE FindDevice(WideChar* text1, WideChar* text2, WideChar* text3,
                                               WideChar* text4, WideChar* guid, WideChar* mac,
                                               WideChar* text7, IUnknown** device) = 0;
};

struct INetDevice : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Reserved3() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved4() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved5() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved6() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved7() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved8() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved9() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved10() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved11() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved12() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved13() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved14() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved15() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved16() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved17() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Reserved18() { return E_NOTIMPL; }
  // The twentieth of the table: the device's current address as a system string, the caller's to
  // free.
  virtual HRESULT STDMETHODCALLTYPE get_Address(WideChar** address) = 0;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_DISCOVERY_INTERFACES_H_
