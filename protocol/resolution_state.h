// What the engine knows of resolutions. A host may ask for more than the device has: the device is
// then sent its maximum, the host enlarges, and the answers that the caller sees are those of the
// page that it asked for.
#ifndef SCANTK_PROTOCOL_RESOLUTION_STATE_H_
#define SCANTK_PROTOCOL_RESOLUTION_STATE_H_

#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/command_table.h"

namespace scantk {

// Resolutions in dots per inch. The trace names them with a leading g: gUpScaling, gDevMaxXRes.
struct ResolutionState {
  static constexpr int32_t kUnknownMaxY = 2400;  // of a device that does not tell its own

  int32_t enlarging = 0;  // 1: the host must enlarge; stays set until a reset
  int32_t max_x = 600;    // of the device; 0 or less: could not be learnt
  int32_t max_y = kUnknownMaxY;
  int32_t device_y = 300;  // what the device scans at
  int32_t asked_x = 300;   // what the host asked for
  int32_t asked_y = 300;
  int32_t device_pixels = 0;  // a line as the device sends it; known while enlarging, as the next
  int32_t device_lines = 0;   // of the scan
  int32_t out_pixels = 0;     // a line after enlarging
  int32_t bits_per_pixel = 24;
  int32_t transfer_type = kPlainTransfer;

  // The rows that `device_rows` rows of the device become.
  uint32_t OutRows(uint32_t device_rows) const;

  // After a successful device reset.
  void Reset();

  // Takes note of a command about to be sent; returns the value to send in place of `value`.
  int32_t OnCommand(uint32_t id, int32_t value, TraceLog& trace);

  // Takes note of an answer (0 after a failed inquiry); returns the value to show in its place.
  int32_t OnAnswer(uint32_t id, char kind, int32_t value, TraceLog& trace);

 private:
  void LearnMaximum(uint32_t id, int32_t value, TraceLog& trace);
  int32_t Enlarged(uint32_t id, char kind, int32_t value, TraceLog& trace);
  int32_t EnlargedWidth(int32_t pixels) const;

  bool max_y_from_flatbed_ = false;
};

// The whole part of a number plus one half, within the 32-bit range.
int32_t RoundedToInt32(double number);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_RESOLUTION_STATE_H_
