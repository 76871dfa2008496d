// The model families: what the toolkit must know of a device because the device does not say it, or
// says it wrong. One row a family; a value that is not named in a row is that of every other
// device.
#ifndef SCANTK_PROTOCOL_MODELS_H_
#define SCANTK_PROTOCOL_MODELS_H_

#include <cstdint>

namespace scantk {

inline constexpr int32_t SL_UNKNOWN = 0;          // the number of a device that nobody has seen
inline constexpr int32_t kModelAlternative = 64;  // the number of the first family, see its row

// Values of wPaperPath and wADFType in the capability records.
inline constexpr uint16_t kPathFlatbed = 0;
inline constexpr uint16_t kPathScroll = 1;
inline constexpr uint16_t kFeederPlaten = 0;
inline constexpr uint16_t kFeederScroll = 1;

// Whether SPF data is offered; the trace tells the two refusals apart.
enum class SpfSupport { kAsked, kNotOnDot4, kNotOnParallelDot4 };

// How a family stores the row counts in its end-of-page record.
enum class RowCounts { kNone, kEitherOrder, kLittleEndian };

enum class PageSize { kTaken, kUnknown };    // SL_SET_ADF_PAGESIZE
enum class ColourMap { kTaken, kOfItsOwn };  // as a binary table

struct Model {
  int32_t number;
  const char* identification;  // its answer to SL_MODEL_ID; null: it does not answer
  const char* modelNumber;     // byModelNumber, when SL_MODEL_RIX is not answered; null: no name
  RowCounts rowCounts;
  uint16_t paperPath;        // wPaperPath
  uint16_t feederType;       // wADFType
  uint8_t detectsEndOfPage;  // second feeder record
  uint32_t feederOptions;    // scan options of the second feeder record
  SpfSupport spf;
  PageSize pageSize;
  ColourMap colourMap;
  int32_t verticalExtent;  // shown in place of SL_YEXT_PIXEL's answer; 0: the answer
};

// 64 to 66 are parallel devices behind a DOT4 stack, which count no rows. 64 answers the
// alternative identification alone, announces more length than it scans, and is the one whose
// values are cached (Exchange::InquireModel). 67 to 69 are DOT4 devices of later kinds. 67 has its
// feeder above the platen, does not see the end of a sheet, and writes its counts in either order
// of bytes. 68 has no glass.
// clang-format off
inline constexpr Model kModels[] = {
    {kModelAlternative,
         nullptr, "KXT",    RowCounts::kNone,         kPathFlatbed, kFeederScroll, 1, 2,
         SpfSupport::kNotOnParallelDot4, PageSize::kTaken,   ColourMap::kTaken,    3508},
    {65, "ZM-11", "KXT",    RowCounts::kNone,         kPathFlatbed, kFeederScroll, 1, 2,
         SpfSupport::kNotOnParallelDot4, PageSize::kTaken,   ColourMap::kTaken,    0},
    {66, "ZM-12", "KXT",    RowCounts::kNone,         kPathFlatbed, kFeederScroll, 1, 2,
         SpfSupport::kNotOnParallelDot4, PageSize::kTaken,   ColourMap::kTaken,    0},
    {67, "ZM-13", "ZR-618", RowCounts::kEitherOrder,  kPathFlatbed, kFeederPlaten, 0, 3,
         SpfSupport::kNotOnDot4,         PageSize::kUnknown, ColourMap::kOfItsOwn, 0},
    {68, "ZM-14", "NPQ-S",  RowCounts::kLittleEndian, kPathScroll,  kFeederScroll, 1, 2,
         SpfSupport::kNotOnDot4,         PageSize::kUnknown, ColourMap::kOfItsOwn, 0},
    {69, "ZM-15", "VX3840", RowCounts::kLittleEndian, kPathFlatbed, kFeederScroll, 1, 2,
         SpfSupport::kNotOnDot4,         PageSize::kUnknown, ColourMap::kOfItsOwn, 0},
    {70, "ZM-16", nullptr,  RowCounts::kLittleEndian, kPathFlatbed, kFeederScroll, 1, 2,
         SpfSupport::kAsked,             PageSize::kTaken,   ColourMap::kOfItsOwn, 0},
};

inline constexpr Model kUnknownModel =
    {SL_UNKNOWN, nullptr, nullptr, RowCounts::kNone,  kPathFlatbed, kFeederScroll, 1, 2,
         SpfSupport::kAsked,             PageSize::kTaken,   ColourMap::kTaken,    0};
// clang-format on

// byModelNumber of devices without a name.
inline constexpr char kPlainModelNumber[] = "ZT-4410";

// The row of a family number as the identification gives it; kUnknownModel for any other.
constexpr const Model& ModelOf(int64_t number) {
  for (const Model& model : kModels)
    if (model.number == number) return model;
  return kUnknownModel;
}

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_MODELS_H_
