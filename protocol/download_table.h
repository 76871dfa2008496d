// The binary tables that a device takes: tone maps, colour maps and the like.
#ifndef SCANTK_PROTOCOL_DOWNLOAD_TABLE_H_
#define SCANTK_PROTOCOL_DOWNLOAD_TABLE_H_

#include <cstdint>

#include "protocol/exchange.h"

namespace scantk {

// Announces a table and writes it. `data` holds as many bytes as the type has; for the two text
// types a NUL-terminated string. 0; SL_INVALID_REQUEST for a type that there is not; SL_BADPARAM
// without data; SL_BADACCESS for a short write or an unknown model where that matters; or the
// status of a command.
QrlStatus DownloadTable(Channel& channel, Exchange& exchange, TraceLog& trace, uint32_t type,
                        const uint8_t* data);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_DOWNLOAD_TABLE_H_
