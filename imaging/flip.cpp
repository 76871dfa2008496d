// XFORM_FLIP: mirrors rows, reverses their order, or both (a turn by 180 degrees).
//
// Parameter 0: mirror each row. Parameter 1: reverse the order of the rows. Parameter 2: the number
// of rows to deliver, 0 for as many as come. Reversing needs to know the number; it may be changed
// while rows arrive, since a device often learns a page's length at its end.
#include <algorithm>
#include <vector>

#include "imaging/built_in_xforms.h"
#include "imaging/mirror.h"
#include "imaging/row_xform.h"

namespace scantk {
namespace {

constexpr int64_t kUnlimitedRows = 0x7FFFFFFF;

// The rows that wait to be given in reverse. Memory grows with the rows that arrive, whatever
// number was announced.
class RowStore {
 public:
  void Reset(size_t row_bytes) {
    slabs_.clear();
    rows_ = 0;
    row_bytes_ = row_bytes;
    rows_per_slab_ = std::max<size_t>(kSlabBytes / row_bytes, 1);
  }

  int64_t rows() const { return rows_; }
  const uint8_t* Row(int64_t index) { return At(static_cast<size_t>(index)); }

  bool Append(const uint8_t* row) {
    const size_t index = static_cast<size_t>(rows_);
    if (index / rows_per_slab_ == slabs_.size() && !AddSlab()) return false;
    std::memcpy(At(index), row, row_bytes_);
    ++rows_;
    return true;
  }

 private:
  static constexpr size_t kSlabBytes = size_t{4} << 20;

  uint8_t* At(size_t index) {
    return slabs_[index / rows_per_slab_].get() + index % rows_per_slab_ * row_bytes_;
  }

  bool AddSlab() {
    try {
      slabs_.emplace_back(new uint8_t[rows_per_slab_ * row_bytes_]);
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  std::vector<std::unique_ptr<uint8_t[]>> slabs_;
  int64_t rows_ = 0;
  size_t row_bytes_ = 0;
  size_t rows_per_slab_ = 1;
};

class Flip : public RowXform {
 public:
  static constexpr uint32_t kCheckValue = 0x4BA1DACE;

  bool AcceptParams(const int64_t* params) {
    if (params[2] < 0 || (params[1] != 0 && params[2] == 0)) return false;
    mirror_ = params[0] != 0;
    asked_vertical_ = params[1] != 0;
    asked_rows_ = params[2] == 0 ? kUnlimitedRows : std::min(params[2], kUnlimitedRows);
    rows_changed_ = true;
    return true;
  }

  bool Prepare() {
    vertical_ = asked_vertical_;
    row_bytes_ = RowBytes(in_traits_);
    places_ = rows_ = asked_rows_;
    rows_changed_ = false;
    delivered_ = 0;
    store_.Reset(row_bytes_);
    mirror_row_ = ChooseMirror(in_traits_.bitsPerPixel);
    out_traits_ = in_traits_;
    if (in_traits_.rowCount >= 0) {
      out_traits_.rowCount = static_cast<int32_t>(std::min<int64_t>(in_traits_.rowCount, rows_));
    }
    return true;
  }

  IpResult Convert(RowCall& call) {
    if (rows_changed_) ChangeRowCount();
    if (vertical_ && call.input && store_.rows() < rows_) return Collect(call);
    if (delivered_ < rows_) return Deliver(call);
    if (!call.input) return IP_FINISHED;
    call.used = std::min(call.available, row_bytes_);  // beyond the row count
    return call.used > 0 ? IP_ROW_IN | IP_NEED_INPUT : IP_NEED_INPUT;
  }

 private:
  // The places for rows were counted at the start of the page: there are never more. The same
  // number again changes nothing, so that rows already given do not come twice.
  void ChangeRowCount() {
    rows_changed_ = false;
    const int64_t rows = vertical_ ? std::min(asked_rows_, places_) : asked_rows_;
    if (vertical_ && rows != rows_) delivered_ = 0;
    rows_ = rows;
  }

  IpResult Collect(RowCall& call) {
    if (call.available == 0) return IP_NEED_INPUT;
    if (!HasInputRow(call, row_bytes_) || !store_.Append(call.input)) return IP_FATAL_ERROR;
    call.used = row_bytes_;
    return store_.rows() < rows_ ? IP_ROW_IN | IP_NEED_INPUT : IP_ROW_IN;
  }

  IpResult Deliver(RowCall& call) {
    const uint8_t* row = nullptr;  // a row that never came
    IpResult result = IP_ROW_OUT | IP_NEED_INPUT;
    if (vertical_) {
      const int64_t index = rows_ - 1 - delivered_;
      if (index < store_.rows()) row = store_.Row(index);
    } else if (call.input) {
      if (call.available == 0) return IP_NEED_INPUT;
      if (!HasInputRow(call, row_bytes_)) return IP_FATAL_ERROR;
      row = call.input;
      call.used = row_bytes_;
      result |= IP_ROW_IN;
    } else if (rows_ == kUnlimitedRows) {
      return IP_FINISHED;
    }
    if (!HasOutputRow(call, row_bytes_) || (mirror_ && !mirror_row_)) return IP_FATAL_ERROR;
    Write(row, call.output);
    call.produced = row_bytes_;
    ++delivered_;
    return result;
  }

  void Write(const uint8_t* row, uint8_t* output) const {
    if (!row) {
      std::memset(output, 0xFF, row_bytes_);
    } else if (mirror_) {
      mirror_row_(row, output, row_bytes_);
    } else {
      std::memcpy(output, row, row_bytes_);
    }
  }

  bool mirror_ = false;
  bool asked_vertical_ = false;
  int64_t asked_rows_ = kUnlimitedRows;
  bool rows_changed_ = false;  // asked_rows_ is not yet in force

  bool vertical_ = false;
  size_t row_bytes_ = 0;
  int64_t rows_ = kUnlimitedRows;  // to deliver
  int64_t places_ = kUnlimitedRows;
  int64_t delivered_ = 0;
  RowStore store_;
  MirrorFunction mirror_row_ = nullptr;
};

}  // namespace

const XformOps kFlipOps = RowXformOps<Flip>::kTable;

}  // namespace scantk
