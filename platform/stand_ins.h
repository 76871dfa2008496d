// Stand-ins for other people's components on systems that do not have them.
#ifndef SCANTK_PLATFORM_STAND_INS_H_
#define SCANTK_PLATFORM_STAND_INS_H_

namespace scantk {

// Registers the stand-ins as built-in classes of this process, so that a component registered under
// the same class identifier takes their place. Once is enough, more does no harm. Does nothing on
// Windows.
void RegisterPlatformStandIns();

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_H_
