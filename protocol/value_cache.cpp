#include "protocol/value_cache.h"

namespace scantk {
namespace {

constexpr uint32_t kMinKnown = 1;
constexpr uint32_t kNomKnown = 2;
constexpr uint32_t kMaxKnown = 4;

}  // namespace

ValueCache::ValueCache(TraceLog& trace) : trace_(trace) {
  for (uint32_t id = 0; id < kCommandCount; ++id)
    if (HasTrait(id, kAtOrigin)) entries_[id].flags = kNomKnown;
}

bool ValueCache::Lookup(uint32_t id, char kind, int32_t* value) const {
  if (!enabled_ || id >= kCommandCount) return false;
  if (id == SL_ERROR_COUNT) kind = kCurrent;
  const Entry& entry = entries_[id];
  const auto found = [&](uint32_t flag, int32_t known) {
    if (!(entry.flags & flag)) return false;
    *value = known;
    return true;
  };
  switch (kind) {
    case kMaximum:
      return found(kMaxKnown, entry.maximum);
    case kMinimum:
      return found(kMinKnown, entry.minimum);
    case kCurrent:
      return found(kNomKnown, entry.current);
    default:
      return false;
  }
}

void ValueCache::Update(uint32_t id, char kind, int32_t value) {
  if (!enabled_) return;
  if (id == SL_RESET || id == SL_CLEAR_ERRORS || id == SL_START_SCAN) {
    for (uint32_t changed = 0; changed < kCommandCount; ++changed)
      if (HasTrait(changed, kVolatile)) entries_[changed].flags &= ~kNomKnown;
    return;
  }
  if (id >= kCommandCount || HasTrait(id, kNeverKept)) return;
  Entry& entry = entries_[id];
  trace_.Print(TRACE_CACHE, "Cache_Qrl_Val_Update:Inquire %d Kind %ld cached %d *pValue %d", id,
               kind, entry.current, value);
  switch (kind) {
    case kMaximum:
      entry.maximum = value;
      entry.flags |= kMaxKnown;
      break;
    case kMinimum:
      entry.minimum = value;
      entry.flags |= kMinKnown;
      break;
    case kCurrent:
      entry.current = value;
      entry.flags |= kNomKnown;
      trace_.Print(TRACE_CACHE,
                   "Cache_Qrl_Val_Update SL_NOM:Inquire %d Kind %ld current %d "
                   "QRL_CACHE[Inquire].sl_nom %d",
                   id, kind, value, entry.current);
      break;
    default:
      break;
  }
}

void ValueCache::ForgetErrorCount() {
  entries_[SL_ERROR_COUNT].flags &= ~kNomKnown;
}

}  // namespace scantk
