// The capability fill-in: asks the device once per session what it can do, applies the rules of its
// model family, and leaves the records in the session state.
#ifndef SCANTK_FEATURES_CAPABILITY_LEARNER_H_
#define SCANTK_FEATURES_CAPABILITY_LEARNER_H_

#include <cstdint>

#include "config/device_settings.h"
#include "diag/trace_log.h"
#include "session/session_registry.h"

namespace scantk {

// The scan-to destinations of a device that does not tell them.
inline constexpr uint32_t kDefaultDestinations = 2;

// One fill-in. The caller holds the device.
class CapabilityLearner {
 public:
  CapabilityLearner(SessionState& state, const DeviceSwitches& switches, TraceLog& trace);

  // Fills every record. A failure that ends the fill-in leaves what was learnt before it; the error
  // code is written on failure.
  HRESULT Learn(uint32_t* error_code);

  // Whether the fill-in came to its end, so that what it learnt is worth storing.
  bool Complete() const { return complete_; }

 private:
  // capability_learner.cpp
  void LearnModelAndExtents();
  void LearnModelNumber();
  bool LearnFlatbedLimits();
  bool LearnWidths();
  void SetFixedValues();
  HRESULT LearnColourDepth(bool* null_response, uint32_t* error_code);
  void SetPaperPath();
  void SetCompression();
  HRESULT LearnPanelAndHandshake(uint32_t* error_code);

  // feeder_learner.cpp
  HRESULT LearnFeederPresence(uint32_t* error_code);
  void LearnFeeder();
  void LearnFirstRecord();
  void FillSecondRecord();
  void LearnDuplex();
  void FillThirdRecord();

  bool Ask(uint32_t id, char kind, int32_t* value);
  template <class Field>
  bool AskInto(uint32_t id, char kind, Field* field);

  SessionState& state_;
  const DeviceSwitches& switches_;
  TraceLog& trace_;
  ProtocolEngine& engine_;
  bool complete_ = false;
};

// The ids of one path's limits: the flatbed's, the general ones, the feeder's.
struct LimitIds {
  uint32_t x_resolution;
  uint32_t y_resolution;
  uint32_t y_extent;
};

// Runs a fill-in unless the session has had one, and stores what is worth it for the host's own
// components. In the trace a method of its own. The caller holds the device.
HRESULT FillOutCapabilities(SessionEntry& entry, const DeviceSwitches& switches, TraceLog& trace,
                            uint32_t* error_code);

// Asks the five limits of a path into a record, stopping at the first failure. Shared by the
// flatbed and the feeder, whose records have the same field names.
template <class Asker, class Record>
bool LearnLimits(Asker ask, const LimitIds& ids, Record* record) {
  if (!ask(ids.x_resolution, kMaximum, &record->wMaximumXResolution)) return false;
  if (!ask(ids.y_resolution, kMaximum, &record->wMaximumYResolution)) return false;
  record->wOpticalResolution = record->wMaximumXResolution > record->wMaximumYResolution
                                   ? record->wMaximumXResolution
                                   : record->wMaximumYResolution;
  return ask(ids.x_resolution, kMinimum, &record->wMinimumResolution) &&
         ask(ids.y_extent, kMaximum, &record->dwMaximumHeight) &&
         ask(ids.y_extent, kMinimum, &record->dwMinimumHeight);
}

// Copies the four resolutions and the four extents between records that name them alike.
template <class From, class To>
void CopyLimits(const From& from, To* to) {
  to->wOpticalResolution = from.wOpticalResolution;
  to->wMaximumXResolution = from.wMaximumXResolution;
  to->wMaximumYResolution = from.wMaximumYResolution;
  to->wMinimumResolution = from.wMinimumResolution;
  to->dwMaximumWidth = from.dwMaximumWidth;
  to->dwMinimumWidth = from.dwMinimumWidth;
  to->dwMaximumHeight = from.dwMaximumHeight;
  to->dwMinimumHeight = from.dwMinimumHeight;
}

template <class Field>
bool CapabilityLearner::AskInto(uint32_t id, char kind, Field* field) {
  int32_t value = 0;
  if (!Ask(id, kind, &value)) return false;
  *field = static_cast<Field>(value);
  return true;
}

}  // namespace scantk

#endif  // SCANTK_FEATURES_CAPABILITY_LEARNER_H_
