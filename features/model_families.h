// The model families: what the toolkit knows of a device that does not say it itself. A row for
// each family that differs; every other device is plain.
#ifndef SCANTK_FEATURES_MODEL_FAMILIES_H_
#define SCANTK_FEATURES_MODEL_FAMILIES_H_

#include <cstdint>

namespace scantk {

inline constexpr uint16_t kPathFlatbed = 0;
inline constexpr uint16_t kPathScroll = 1;
inline constexpr uint16_t kFeederPlaten = 0;
inline constexpr uint16_t kFeederScroll = 1;

enum class SpfSupport { kAsked, kNotOnDot4, kNotOnParallelDot4 };

struct ModelFamily {
  uint32_t number;           // as the model inquiry tells it
  const char* modelNumber;   // when the device does not tell its own
  uint16_t paperPath;        // wPaperPath
  uint16_t feederType;       // wADFType
  uint8_t detectsEndOfPage;  // second feeder record
  uint32_t feederOptions;    // scan options of the second feeder record
  SpfSupport spf;
  bool named;  // false: the number stands for devices that nobody has seen
};

inline constexpr ModelFamily kModelFamilies[] = {
    {64, "KXT", kPathFlatbed, kFeederScroll, 1, 2, SpfSupport::kNotOnParallelDot4, true},
    {65, "KXT", kPathFlatbed, kFeederScroll, 1, 2, SpfSupport::kNotOnParallelDot4, true},
    {66, "KXT", kPathFlatbed, kFeederScroll, 1, 2, SpfSupport::kNotOnParallelDot4, true},
    {67, "ZR-618", kPathFlatbed, kFeederPlaten, 0, 3, SpfSupport::kNotOnDot4, true},
    {68, "NPQ-S", kPathScroll, kFeederScroll, 1, 2, SpfSupport::kNotOnDot4, true},
    {69, "VX3840", kPathFlatbed, kFeederScroll, 1, 2, SpfSupport::kNotOnDot4, true},
};

inline constexpr ModelFamily kOtherModels = {0, "ZT-4410", kPathFlatbed,       kFeederScroll,
                                             1, 2,         SpfSupport::kAsked, false};

constexpr const ModelFamily& FamilyOf(uint32_t number) {
  for (const ModelFamily& family : kModelFamilies)
    if (family.number == number) return family;
  return kOtherModels;
}

}  // namespace scantk

#endif  // SCANTK_FEATURES_MODEL_FAMILIES_H_
