// How the class is registered: the script with its keys, and the categories it implements.
#ifndef SCANTK_SERVER_REGISTRATION_H_
#define SCANTK_SERVER_REGISTRATION_H_

#include "platform/component_support.h"

namespace scantk {

// The registration script's resource number, and its text where it is not a resource of the
// library.
inline constexpr int kScriptResource = 101;
extern const char kRegistrationScript[];

// Writes the keys of the registration script, or takes them out.
HRESULT SCANTK_SUPPORT_CALL UpdateClassRegistration(BOOL do_register);

// The three categories that the class implements.
const CategoryMapEntry* SCANTK_SUPPORT_CALL ClassCategories();

}  // namespace scantk

#endif  // SCANTK_SERVER_REGISTRATION_H_
