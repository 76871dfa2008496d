#include "protocol/end_page.h"

#include "protocol/little_endian.h"

namespace scantk {
namespace {

// No page has this many rows: such a count is in the other byte order.
constexpr uint32_t kTooManyRows = 55001;

}  // namespace

uint32_t RowCount(const uint8_t* bytes, int32_t model) {
  const uint32_t count = LittleEndian32(bytes);
  switch (ModelOf(model).row_counts) {
    case RowCounts::kLittleEndian:
      return count;
    case RowCounts::kEitherOrder:
      return count < kTooManyRows ? count : ByteSwapped(count);
    default:
      return 0;
  }
}

QrlStatus GetEndPageInfo(const PacketReader& reader, Exchange& exchange, TraceLog& trace,
                         uint32_t* abort_state, uint32_t* rows_k, uint32_t* rows_cmy) {
  if (!abort_state || !rows_k || !rows_cmy) return SL_BADPARAM;
  if (!reader.HasEndPage()) return SL_NULLRESPONSE;
  *abort_state = reader.header().flags & DTF_ABORT_STREAM ? 1 : 0;
  int32_t model = SL_UNKNOWN;
  if (const QrlStatus status = exchange.InquireModel(&model); status != SL_OK) return status;
  *rows_k = RowCount(reader.EndPage() + 4, model);
  *rows_cmy = RowCount(reader.EndPage() + 8, model);
  trace.Print(TRACE_FLOW, "MXVWIA_QRL::GetEndPageInfo: Model %d NumRowsK (%ld) NumRowsCMY (%ld)",
              model, *rows_k, *rows_cmy);
  return SL_OK;
}

}  // namespace scantk
