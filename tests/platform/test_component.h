// What the test component and its test share.
#ifndef SCANTK_TESTS_PLATFORM_TEST_COMPONENT_H_
#define SCANTK_TESTS_PLATFORM_TEST_COMPONENT_H_

#include "platform/component_types.h"

namespace scantk {

inline constexpr GUID kTestClass = {
    0x51CE3B0A, 0x7D44, 0x4B16, {0x93, 0x0F, 0x21, 0x6A, 0xC8, 0x5D, 0xE7, 0x01}};
inline constexpr GUID kTestInterface = {
    0x51CE3B0A, 0x7D44, 0x4B16, {0x93, 0x0F, 0x21, 0x6A, 0xC8, 0x5D, 0xE7, 0x02}};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct ITestNumber : IUnknown {
  virtual uint32_t STDMETHODCALLTYPE Number() = 0;
};
#pragma GCC diagnostic pop

}  // namespace scantk

#endif  // SCANTK_TESTS_PLATFORM_TEST_COMPONENT_H_
