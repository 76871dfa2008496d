// The system's imaging component, for the time of one call.
#ifndef SCANTK_SIMULATOR_WINDOWS_IMAGING_COMPONENT_H_
#define SCANTK_SIMULATOR_WINDOWS_IMAGING_COMPONENT_H_

#include <windows.h>
// The component's header wants the system's first.
#include <wincodec.h>

#include <stdexcept>

#include "platform/owner.h"

namespace scantk::sim {

inline void Require(HRESULT result, const char* what) {
  if (FAILED(result))
    throw std::runtime_error(std::string(what) + ": the imaging component refuses");
}

class ImagingComponent {
 public:
  ImagingComponent() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Require(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                             IID_IWICImagingFactory, factory_.OutVoid()),
            "pictures");
  }
  ~ImagingComponent() {
    factory_.Reset();
    CoUninitialize();
  }
  ImagingComponent(const ImagingComponent&) = delete;
  ImagingComponent& operator=(const ImagingComponent&) = delete;

  IWICImagingFactory* operator->() const { return factory_.Get(); }

 private:
  ComPtr<IWICImagingFactory> factory_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_WINDOWS_IMAGING_COMPONENT_H_
