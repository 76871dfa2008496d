// The tone table that the device is given: a file's, or made of brightness, contrast and gamma.
#ifndef SCANTK_HOST_TONE_H_
#define SCANTK_HOST_TONE_H_

#include <cstdint>
#include <vector>

#include "host/scan_request.h"

namespace scanhost {

// 256 bytes, or none where the request leaves the tone alone. Throws UsageError for a file that is
// not 256 numbers from 0 to 255, one a line.
std::vector<uint8_t> MakeToneTable(const ScanRequest& request);

}  // namespace scanhost

#endif  // SCANTK_HOST_TONE_H_
