#include "platform/stand_ins.h"

namespace scantk {

void RegisterPlatformStandIns() {}

}  // namespace scantk
