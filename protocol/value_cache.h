// What the device is known to hold, so that unchanged settings are not sent again. Off until a
// device is identified that needs it.
#ifndef SCANTK_PROTOCOL_VALUE_CACHE_H_
#define SCANTK_PROTOCOL_VALUE_CACHE_H_

#include <array>
#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/command_table.h"

namespace scantk {

class QrlCache {
 public:
  explicit QrlCache(TraceLog& trace);

  void SetCacheEnable(bool enable) { QRL_CACHE_ENABLE_ = enable; }
  bool IsEnabled() const { return QRL_CACHE_ENABLE_; }

  // True and *value: the value of that kind of `id` is known.
  bool Cache_Qrl_Val_Lookup(uint32_t id, char kind, int32_t* value) const;
  // Learns a value. A reset, an error clearing and a scan start make it forget the settings that
  // the device may have changed.
  void Cache_Qrl_Val_Update(uint32_t id, char kind, int32_t value);
  // Any command may have raised a device error.
  void ForgetErrorCount();

 private:
  struct Entry {
    uint32_t flags;
    int32_t sl_min;
    int32_t sl_nom;
    int32_t sl_max;
  };

  TraceLog& trace_;
  bool QRL_CACHE_ENABLE_ = false;
  std::array<Entry, kCommandCount> QRL_CACHE_{};
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_VALUE_CACHE_H_
