// Class and interface identifiers in their registry form, the same on every system.
#include <cstdio>

#include "platform/component.h"

namespace scantk {

std::string GuidText(const GUID& guid) {
  char text[sizeof "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}"];
  const auto& tail = guid.Data4;
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, tail[0], tail[1],
                tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
  return text;
}

}  // namespace scantk
