// What the device reported at the end of a page.
#ifndef SCANTK_PROTOCOL_END_PAGE_H_
#define SCANTK_PROTOCOL_END_PAGE_H_

#include <cstdint>

#include "protocol/exchange.h"
#include "protocol/packet_reader.h"

namespace scantk {

// A row count as the model stores it in 4 bytes: little-endian, either order (told by its size), or
// not at all (0).
uint32_t RowCount(const uint8_t* bytes, int32_t model);

// The page's end as the reader last saw it: whether the device aborted it, and its row counts. 0;
// SL_BADPARAM for a null pointer; SL_NULLRESPONSE without an end-of-page record; or the status of
// the model inquiry that the byte order takes.
QrlStatus GetEndPageInfo(const PacketReader& reader, Exchange& exchange, TraceLog& trace,
                         uint32_t* abort_state, uint32_t* rows_k, uint32_t* rows_cmy);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_END_PAGE_H_
