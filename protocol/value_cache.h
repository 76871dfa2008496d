// What the device is known to hold, so that unchanged settings are not sent again. Off until a
// device is identified that needs it.
#ifndef SCANTK_PROTOCOL_VALUE_CACHE_H_
#define SCANTK_PROTOCOL_VALUE_CACHE_H_

#include <array>
#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/command_table.h"

namespace scantk {

class ValueCache {
 public:
  explicit ValueCache(TraceLog& trace);

  void Enable(bool enable) { enabled_ = enable; }
  bool IsEnabled() const { return enabled_; }

  // True and *value: the value of that kind of `id` is known.
  bool Lookup(uint32_t id, char kind, int32_t* value) const;
  // Learns a value. A reset, an error clearing and a scan start make it forget the settings that
  // the device may have changed.
  void Update(uint32_t id, char kind, int32_t value);
  // Any command may have raised a device error.
  void ForgetErrorCount();

 private:
  struct Entry {
    uint32_t flags;
    int32_t minimum;
    int32_t current;
    int32_t maximum;
  };

  TraceLog& trace_;
  bool enabled_ = false;
  std::array<Entry, kCommandCount> entries_{};
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_VALUE_CACHE_H_
