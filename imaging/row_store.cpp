#include "imaging/row_store.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

namespace scantk {

// The slabs that no store uses. They change hands all at once, so that one exchange is enough for
// stores that begin and end on different threads at the same time.
struct RowStore::Spare {
  ~Spare() { delete slabs.exchange(nullptr); }

  Slabs Take() {
    const std::unique_ptr<Slabs> taken(slabs.exchange(nullptr));
    return taken ? std::move(*taken) : Slabs();
  }

  void Give(Slabs idle) {
    Slabs* given = new (std::nothrow) Slabs(std::move(idle));
    if (given) delete slabs.exchange(given);
  }

  static Spare& Instance() {
    static Spare spare;
    return spare;
  }

  std::atomic<Slabs*> slabs{nullptr};
};

RowStore::RowStore(size_t most_bytes) : most_bytes_(most_bytes) {
  Spare::Instance();  // so that the spare ones outlive every store
}

RowStore::~RowStore() {
  if (row_bytes_ > kSlabBytes || slabs_.empty()) return;
  slabs_.resize(std::min(slabs_.size(), kSpareBytes / kSlabBytes));
  Spare::Instance().Give(std::move(slabs_));
}

void RowStore::Reset(size_t row_bytes) {
  if (row_bytes_ > kSlabBytes) slabs_.clear();
  if (row_bytes > kSlabBytes) {
    slabs_.clear();
  } else if (slabs_.empty()) {
    slabs_ = Spare::Instance().Take();
  }
  rows_ = 0;
  row_bytes_ = row_bytes;
  rows_per_slab_ = std::max<size_t>(kSlabBytes / row_bytes, 1);
}

bool RowStore::Append(const uint8_t* row) {
  if (rows_ / rows_per_slab_ == slabs_.size() && !AddSlab()) return false;
  uint8_t* to = slabs_[rows_ / rows_per_slab_].get() + rows_ % rows_per_slab_ * row_bytes_;
  std::memcpy(to, row, row_bytes_);
  ++rows_;
  return true;
}

const uint8_t* RowStore::Row(size_t index) const {
  return slabs_[index / rows_per_slab_].get() + index % rows_per_slab_ * row_bytes_;
}

bool RowStore::AddSlab() {
  const size_t size = std::max(kSlabBytes, row_bytes_);
  if (slabs_.size() >= most_bytes_ / size) return false;
  try {
    slabs_.emplace_back(new uint8_t[size]);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace scantk
