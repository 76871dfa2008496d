#include "server/registration.h"

namespace scantk {
namespace {

// clang-format off
constexpr GUID kFirstCategory = {0x5B8E2C47, 0x0D91, 0x4F3A, {0xA6, 0xE2, 0x7C, 0x19, 0xB4, 0xD0, 0x5F, 0x38}};
constexpr GUID kSecondCategory = {0xC2094E7A, 0x6B3F, 0x4D15, {0x8E, 0x71, 0xA0, 0xF3, 0xD5, 0xC2, 0x8B, 0x64}};
constexpr GUID kThirdCategory = {0x7E31A9D5, 0x2C68, 0x4B07, {0x9F, 0x4E, 0x36, 0xD8, 0xB1, 0xA7, 0xC5, 0x20}};
// clang-format on

constexpr CategoryMapEntry kCategories[] = {
    {kImplementedCategory, &kFirstCategory},
    {kImplementedCategory, &kSecondCategory},
    {kImplementedCategory, &kThirdCategory},
    {0, nullptr},
};

}  // namespace

HRESULT SCANTK_SUPPORT_CALL UpdateClassRegistration(BOOL do_register) {
  return AtlModuleUpdateRegistryFromResourceD(&TheModule(), ResourceName(kScriptResource),
                                              do_register, nullptr, nullptr);
}

const CategoryMapEntry* SCANTK_SUPPORT_CALL ClassCategories() {
  return kCategories;
}

}  // namespace scantk
