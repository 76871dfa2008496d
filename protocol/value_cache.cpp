#include "protocol/value_cache.h"

#include <algorithm>

namespace scantk {
namespace {

constexpr uint32_t kMinKnown = 1;
constexpr uint32_t kNomKnown = 2;
constexpr uint32_t kMaxKnown = 4;

constexpr uint32_t kWindow[] = {SL_XPOS_PIXEL, SL_YPOS_PIXEL, SL_XEXT_PIXEL, SL_YEXT_PIXEL};

// Settings that a reset, an error clearing or a scan start may change behind our back.
constexpr uint32_t kVolatile[] = {9,  10, 11, 12, 17, 18,  19,  20,  23,  26,
                                  27, 29, 30, 31, 37, 103, 130, 131, 132, 133};

// Values that are never kept: they change by themselves, or must be sent every time.
constexpr struct {
  uint32_t first, last;
} kNeverCached[] = {{3, 10},  {17, 20}, {26, 27}, {30, 31},   {38, 39},  {44, 48},
                    {51, 56}, {59, 63}, {69, 69}, {107, 114}, {128, 133}};

bool NeverCached(uint32_t id) {
  return std::any_of(std::begin(kNeverCached), std::end(kNeverCached),
                     [&](const auto& range) { return range.first <= id && id <= range.last; });
}

}  // namespace

QrlCache::QrlCache(TraceLog& trace) : trace_(trace) {
  for (const uint32_t id : kWindow) QRL_CACHE_[id].flags = kNomKnown;
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
    for (const uint32_t changed : kVolatile) QRL_CACHE_[changed].flags &= ~kNomKnown;
    return;
  }
  if (id >= kCommandCount || NeverCached(id)) return;
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
