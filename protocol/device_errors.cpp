#include "protocol/device_errors.h"

#include <algorithm>
#include <iterator>

namespace scantk {
namespace {

constexpr struct {
  int32_t device;
  QrlStatus status;
} kErrors[] = {{0, 7},
               {1, 8},
               {2, 10},
               {3, 9},
               {4, 11},
               {5, 12},
               {6, 13},
               {7, 14},
               {8, 18},
               {10, 20},
               {kDeviceJam, SL_ERR_MAPPED_JAM},
               {1025, 16},
               {kDeviceFeederEmpty, SL_ERR_MAPPED_FEEDER_EMPTY},
               {1027, 1027},
               {500, 500},
               {501, 501},
               {SL_CANCEL, SL_CANCEL},
               {503, 503},
               {504, 504},
               {505, 505}};
}  // namespace

QrlStatus MapDeviceError(int32_t device_error) {
  const auto found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                  [&](const auto& entry) { return entry.device == device_error; });
  return found == std::end(kErrors) ? SL_ERR_MAPPED_OTHER : found->status;
}

QrlStatus DeviceErrors::InquireOldestError() {
  QrlStatus result = SL_ERROR_INQUIRY_FAILED;
  int32_t number = 0;
  if (exchange_.InquireNumber(SL_ERROR_COUNT, kCurrent, &number) != SL_OK) {
    flush_.FlushTheScanner();
  } else if (number == 0) {
    return SL_OK;
  } else if (exchange_.InquireNumber(SL_OLDEST_ERROR, kCurrent, &number) != SL_OK) {
    flush_.FlushTheScanner();
  } else {
    result = MapDeviceError(number);
  }
  exchange_.SendCommand(SL_CLEAR_ERRORS, 0);
  return result;
}

}  // namespace scantk
