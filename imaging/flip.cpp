// XFORM_FLIP: mirrors rows, reverses their order, or both (a turn by 180 degrees).
//
// Parameter 0: mirror each row. Parameter 1: reverse the order of the rows. Parameter 2: the number
// of rows to deliver, 0 for as many as come. Reversing needs to know the number; it may be changed
// while rows arrive, since a device often learns a page's length at its end.
#include <algorithm>
#include <cstring>

#include "imaging/built_in_xforms.h"
#include "imaging/kernels.h"
#include "imaging/row_store.h"
#include "imaging/row_xform.h"

namespace scantk {
namespace {

constexpr int64_t kUnlimitedRows = 0x7FFFFFFF;

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
    if (vertical_) store_.Reset(row_bytes_);
    mirror_row_ = ChosenKernels().mirror->Choose(in_traits_.bitsPerPixel);
    padding_ = in_traits_.bitsPerPixel == 1 ? 7 - (in_traits_.pixelsPerRow - 1) % 8 : 0;
    if (!mirrored_.Grow(row_bytes_)) return false;
    out_traits_ = in_traits_;
    if (in_traits_.rowCount >= 0) {
      out_traits_.rowCount = static_cast<int32_t>(std::min<int64_t>(in_traits_.rowCount, rows_));
    }
    return true;
  }

  IpResult Convert(RowCall& call) {
    if (rows_changed_) ChangeRowCount();
    const bool complete = (vertical_ ? Stored() : delivered_) >= rows_;
    if (vertical_ && call.input && !complete) return Collect(call);
    // A row beyond the count goes first: nothing may be given while input lies waiting.
    if (complete && call.input && call.available > 0) return Drop(call);
    if (delivered_ < rows_) return Deliver(call);
    return call.input ? IP_NEED_INPUT : IP_FINISHED;
  }

 private:
  int64_t Stored() const { return static_cast<int64_t>(store_.rows()); }

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
    return Stored() < rows_ ? IP_ROW_IN | IP_NEED_INPUT : IP_ROW_IN;
  }

  IpResult Drop(RowCall& call) const {
    call.used = std::min(call.available, row_bytes_);
    return delivered_ < rows_ ? IP_ROW_IN : IP_ROW_IN | IP_NEED_INPUT;
  }

  IpResult Deliver(RowCall& call) {
    const uint8_t* row = nullptr;  // a row that never came
    const uint8_t* later = nullptr;
    IpResult result = IP_ROW_OUT | IP_NEED_INPUT;
    if (vertical_) {
      row = StoredRow(rows_ - 1 - delivered_);
      later = StoredRow(rows_ - 1 - delivered_ - kRowsAhead);
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
    Write(row, later ? later : row, call.output);
    call.produced = row_bytes_;
    ++delivered_;
    return result;
  }

  // Null for rows that never came.
  const uint8_t* StoredRow(int64_t index) const {
    return index >= 0 && index < Stored() ? store_.Row(static_cast<size_t>(index)) : nullptr;
  }

  // A mirrored row is made in the cache and copied, which is faster than writing it backwards to
  // wherever the caller's memory lies.
  void Write(const uint8_t* row, const uint8_t* later, uint8_t* output) {
    if (!row) {
      std::memset(output, 0xFF, row_bytes_);
    } else if (mirror_) {
      mirror_row_(row, mirrored_.data(), row_bytes_, later);
      if (padding_ > 0) MovePaddingToEnd();
      std::memcpy(output, mirrored_.data(), row_bytes_);
    } else {
      std::memcpy(output, row, row_bytes_);
    }
  }

  // What filled the last byte of a bilevel row now stands before the first pixel.
  void MovePaddingToEnd() {
    uint8_t* const row = mirrored_.data();
    for (size_t i = 0; i < row_bytes_; ++i) {
      const unsigned next = i + 1 < row_bytes_ ? row[i + 1] : 0xFFu;
      row[i] = static_cast<uint8_t>((unsigned{row[i]} << 8 | next) >> (8 - padding_));
    }
  }

  // How far ahead of the row being mirrored memory is asked for.
  static constexpr int64_t kRowsAhead = 2;

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
  int padding_ = 0;  // bits behind the last pixel of a row
  ByteBuffer mirrored_;
};

}  // namespace

const XformOps kFlipOps = RowXformOps<Flip>::kTable;

}  // namespace scantk
