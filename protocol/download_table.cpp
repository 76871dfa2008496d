#include "protocol/download_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace scantk {
namespace {

constexpr uint32_t kMatrix = 2;      // of a size that depends on the model
constexpr uint32_t kColourMap = 15;  // not for the newest models
constexpr uint32_t kText = 31;
constexpr uint32_t kOtherText = 32;

constexpr uint32_t kMatrixBytesOldModels = 9;

constexpr struct {
  uint32_t type;
  uint32_t bytes;
} kTables[] = {{0, 64},   {1, 256},           {kMatrix, 18}, {3, 192}, {4, 3},    {5, 256},
               {6, 1024}, {7, 192},           {8, 6},        {9, 18},  {10, 774}, {11, 258},
               {12, 6},   {kColourMap, 18411}};

// Numbers that were given before there were families; none of them is identified any more.
bool IsOldModel(int32_t model) {
  return (model >= 1 && model <= 11) || model == 13;
}

}  // namespace

QrlStatus DownloadTable(Channel& channel, Exchange& exchange, TraceLog& trace, uint32_t type,
                        const uint8_t* data) {
  const auto table = std::find_if(std::begin(kTables), std::end(kTables),
                                  [&](const auto& entry) { return entry.type == type; });
  const bool is_text = type == kText || type == kOtherText;
  if (table == std::end(kTables) && !is_text) return SL_INVALID_REQUEST;

  uint32_t count = is_text ? 0 : table->bytes;
  if (type == kMatrix || type == kColourMap) {
    int32_t model = SL_UNKNOWN;
    if (exchange.InquireModel(&model) != SL_OK) return SL_BADACCESS;
    if (type == kMatrix && IsOldModel(model)) count = kMatrixBytesOldModels;
    if (type == kColourMap && ModelOf(model).colour_map == ColourMap::kOfItsOwn) {
      trace.Print(TRACE_FLOW, "MXVWIA_QRL::Scan Download CLRMAP: Model %d skip", model);
      return SL_OK;
    }
    if (type == kColourMap) {
      trace.Print(TRACE_FLOW, "MXVWIA_QRL::Scan Download CLRMAP (Type: %d, count %d:) Model %d",
                  type, count, model);
    }
  }
  if (!data) return SL_BADPARAM;
  if (is_text) count = static_cast<uint32_t>(std::strlen(reinterpret_cast<const char*>(data)));

  QrlStatus status = exchange.SendCommand(SL_DOWNLOAD_TYPE, static_cast<int32_t>(type));
  if (status != SL_OK) return status;
  status = exchange.SendCommand(SL_DOWNLOAD_LENGTH, static_cast<int32_t>(count));
  if (status != SL_OK) return status;
  return channel.SendToScanner(data, count) == static_cast<int32_t>(count) ? SL_OK : SL_BADACCESS;
}

}  // namespace scantk
