// The model families: what the toolkit must know of a device because the device does not say it, or
// says it wrong. One row a family; a value that is not named in a row is that of every other
// device, as the structure has it.
#ifndef SCANTK_PROTOCOL_MODELS_H_
#define SCANTK_PROTOCOL_MODELS_H_

#include <cstdint>

#include "contract/values.h"

namespace scantk {

inline constexpr int32_t SL_UNKNOWN = 0;          // the number of a device that nobody has seen
inline constexpr int32_t kModelAlternative = 64;  // the number of the first family, see its row

// Whether SPF data is offered; the trace tells the two refusals apart.
enum class SpfSupport { kAsked, kNotOnDot4, kNotOnParallelDot4 };

// How a family stores the row counts in its end-of-page record.
enum class RowCounts { kNone, kEitherOrder, kLittleEndian };

enum class PageSize { kTaken, kUnknown };    // SL_SET_ADF_PAGESIZE
enum class ColourMap { kTaken, kOfItsOwn };  // as a binary table

struct Model {
  int32_t number = SL_UNKNOWN;
  const char* identification = nullptr;  // its answer to SL_MODEL_ID; null: it does not answer
  const char* model_string = nullptr;    // byModelNumber, when SL_MODEL_RIX is not answered
  RowCounts row_counts = RowCounts::kNone;
  uint16_t paper_path = T_PATH_FLATBED;           // wPaperPath
  uint16_t feeder_type = T_FEEDER_SCROLL;         // wADFType
  uint8_t detects_end_of_page = 1;                // second feeder record
  uint32_t feeder_options = T_PIXEL_COORDINATES;  // scan options of the second feeder record
  SpfSupport spf = SpfSupport::kAsked;
  PageSize page_size = PageSize::kTaken;
  ColourMap colour_map = ColourMap::kTaken;
  int32_t vertical_extent = 0;  // shown in place of SL_YEXT_PIXEL's answer; 0: the answer
};

// 64 to 66 are parallel devices behind a DOT4 stack, which count no rows. 64 answers the
// alternative identification alone, announces more length than it scans, and is the one whose
// values are cached (Exchange::InquireModel). 67 to 69 are DOT4 devices of later kinds. 67 has its
// feeder above the platen, does not see the end of a sheet, and writes its counts in either order
// of bytes. 68 has no glass.
inline constexpr Model kModels[] = {
    {.number = kModelAlternative,
     .model_string = "KXT",
     .spf = SpfSupport::kNotOnParallelDot4,
     .vertical_extent = 3508},
    {.number = 65,
     .identification = "ZM-11",
     .model_string = "KXT",
     .spf = SpfSupport::kNotOnParallelDot4},
    {.number = 66,
     .identification = "ZM-12",
     .model_string = "KXT",
     .spf = SpfSupport::kNotOnParallelDot4},
    {.number = 67,
     .identification = "ZM-13",
     .model_string = "ZR-618",
     .row_counts = RowCounts::kEitherOrder,
     .feeder_type = T_FEEDER_PLATEN,
     .detects_end_of_page = 0,
     .feeder_options = T_PREVIEW | T_PIXEL_COORDINATES,
     .spf = SpfSupport::kNotOnDot4,
     .page_size = PageSize::kUnknown,
     .colour_map = ColourMap::kOfItsOwn},
    {.number = 68,
     .identification = "ZM-14",
     .model_string = "NPQ-S",
     .row_counts = RowCounts::kLittleEndian,
     .paper_path = T_PATH_SCROLL,
     .spf = SpfSupport::kNotOnDot4,
     .page_size = PageSize::kUnknown,
     .colour_map = ColourMap::kOfItsOwn},
    {.number = 69,
     .identification = "ZM-15",
     .model_string = "VX3840",
     .row_counts = RowCounts::kLittleEndian,
     .spf = SpfSupport::kNotOnDot4,
     .page_size = PageSize::kUnknown,
     .colour_map = ColourMap::kOfItsOwn},
    {.number = 70,
     .identification = "ZM-16",
     .row_counts = RowCounts::kLittleEndian,
     .colour_map = ColourMap::kOfItsOwn},
};

inline constexpr Model kUnknownModel = {};

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
