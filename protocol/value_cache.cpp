#include "protocol/value_cache.h"

namespace scantk {
namespace {

constexpr uint32_t kMinKnown = 1;
constexpr uint32_t kNomKnown = 2;
constexpr uint32_t kMaxKnown = 4;

}  // namespace

QrlCache::QrlCache(TraceLog& trace) : trace_(trace) {
  for (uint32_t id = 0; id < kCommandCount; ++id)
    if (HasTrait(id, kAtOrigin)) QRL_CACHE_[id].flags = kNomKnown;
}

bool QrlCache::Cache_Qrl_Val_Lookup(uint32_t id, char kind, int32_t* value) const {
  if (!QRL_CACHE_ENABLE_ || id >= kCommandCount) return false;
  if (id == SL_ERROR_COUNT) kind = kCurrent;
  const Entry& entry = QRL_CACHE_[id];
  const auto found = [&](uint32_t flag, int32_t known) {
    if (!(entry.flags & flag)) return false;
    *value = known;
    return true;
  };
  switch (kind) {
    case kMaximum:
      return found(kMaxKnown, entry.sl_max);
    case kMinimum:
      return found(kMinKnown, entry.sl_min);
    case kCurrent:
      return found(kNomKnown, entry.sl_nom);
    default:
      return false;
  }
}

void QrlCache::Cache_Qrl_Val_Update(uint32_t id, char kind, int32_t value) {
  if (!QRL_CACHE_ENABLE_) return;
  if (id == SL_RESET || id == SL_CLEAR_ERRORS || id == SL_START_SCAN) {
    for (uint32_t changed = 0; changed < kCommandCount; ++changed)
      if (HasTrait(changed, kVolatile)) QRL_CACHE_[changed].flags &= ~kNomKnown;
    return;
  }
  if (id >= kCommandCount || HasTrait(id, kNeverKept)) return;
  Entry& entry = QRL_CACHE_[id];
  trace_.Print(TRACE_CACHE, "Cache_Qrl_Val_Update:Inquire %d Kind %ld cached %d *pValue %d", id,
               kind, entry.sl_nom, value);
  switch (kind) {
    case kMaximum:
      entry.sl_max = value;
      entry.flags |= kMaxKnown;
      break;
    case kMinimum:
      entry.sl_min = value;
      entry.flags |= kMinKnown;
      break;
    case kCurrent:
      entry.sl_nom = value;
      entry.flags |= kNomKnown;
      trace_.Print(TRACE_CACHE,
                   "Cache_Qrl_Val_Update SL_NOM:Inquire %d Kind %ld current %d "
                   "QRL_CACHE[Inquire].sl_nom %d",
                   id, kind, value, entry.sl_nom);
      break;
    default:
      break;
  }
}

void QrlCache::ForgetErrorCount() {
  QRL_CACHE_[SL_ERROR_COUNT].flags &= ~kNomKnown;
}

}  // namespace scantk
