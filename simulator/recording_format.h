// The words of a recording, for its reader and its writer.
#ifndef SCANTK_SIMULATOR_RECORDING_FORMAT_H_
#define SCANTK_SIMULATOR_RECORDING_FORMAT_H_

#include <cstdint>
#include <string_view>

#include "simulator/recording.h"

namespace scantk::sim {

inline constexpr std::string_view kRecordingStart = "scantk conversation 1";
inline constexpr uint8_t kEscapeByte = 0x1B;

inline constexpr struct {
  RecordedKind kind;
  const char* name;
} kRecordedKinds[] = {
    {RecordedKind::kOpen, "open"},     {RecordedKind::kHost, "host"},
    {RecordedKind::kDevice, "device"}, {RecordedKind::kDrop, "drop"},
    {RecordedKind::kReset, "reset"},   {RecordedKind::kGone, "gone"},
};

// Whether bytes belong to it.
inline bool Sends(RecordedKind kind) {
  return kind == RecordedKind::kHost || kind == RecordedKind::kDevice;
}

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_RECORDING_FORMAT_H_
