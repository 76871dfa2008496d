#include "protocol/scan_engine.h"

#include <algorithm>

#include "diag/image_log.h"
#include "platform/clock.h"
#include "protocol/end_page.h"

namespace scantk {
namespace {

// The value of the image-log switch that makes the log grow.
constexpr uint32_t kLogImageData = 1;

}  // namespace

void ScanEngine::SetSwitchValues(uint32_t dwValue1) {
  image_log_switch_ = dwValue1;
  trace_.Print(TRACE_INFO, "MXVWIA_QRL::SetSwitchValues:  dwValue1 %d ", dwValue1);
}

QrlStatus ScanEngine::Scan(uint32_t phase, uint8_t* buffer, uint32_t size, uint32_t* written) {
  *written = 0;
  if (phase == kScanIdle) {
    EndScan();
    return SL_OK;
  }
  if (!buffer && size > 0) return SL_BADPARAM;
  if (phase == kScanStarted) {
    const QrlStatus status = StartPage();
    if (status != SL_OK) return status;
  } else {
    if (!page_started_) return SL_PIPELINE_SETUP;
    if (finished_) return SL_PAGE_FINISHED;
  }
  return Transfer(phase, buffer, size, written);
}

QrlStatus ScanEngine::Transfer(uint32_t phase, uint8_t* buffer, uint32_t size, uint32_t* written) {
  Conversion conversion;
  for (;;) {
    if (iTempBufPos_ == iTempBufValid_) {
      trace_.Print(TRACE_BUFFERS, " Scan: REFILL: iTempBufPos == iTempBufValid hitEOD %d, buf %ld",
                   bHitEOD_, iTempBufValid_);
      if (!bHitEOD_) {
        const QrlStatus status = Refill(&phase);
        if (status != SL_OK) return status;
        // There is nothing to drain from a pipeline that was never fed: the page has no rows.
        if (bHitEOD_ && page_bytes_ == 0) {
          finished_ = true;
          return SL_PAGE_FINISHED;
        }
        // The end of the page alone: round again, for the last rows.
        if (iTempBufValid_ == 0) continue;
      } else {
        trace_.Print(TRACE_FLOW, "Scan: bHitEOD: Phase %d Bytesin input buffer(%ld)", phase,
                     iTempBufValid_);
        FreeInput();
      }
    } else {
      trace_.Print(TRACE_FLOW,
                   " Scan: iTempBufPos != iTempBufValid (eg its not empty) %d  hitEOD %d, buf %ld",
                   iTempBufPos_, bHitEOD_, iTempBufValid_);
    }
    const QrlStatus status = Convert(buffer, size, written, &conversion);
    if (status != SL_OK || finished_ || *written == size) return status;
  }
}

// Gets device bytes into the empty input buffer. 0 without a byte only at the end of the page.
QrlStatus ScanEngine::Refill(uint32_t* phase) {
  const int32_t transfer_type = exchange_.resolution().gTransferType;
  const bool plain = transfer_type == kPlainTransfer;
  auto wanted = static_cast<uint32_t>(ScanInputBuffer_.size());
  if (plain) wanted = std::min(wanted, static_cast<uint32_t>(std::max(bytes_to_come_, 0)));
  const QrlStatus status = reader_.ReadUnpacketizedData(
      transfer_type, *phase, ScanInputBuffer_.data(), wanted, &iTempBufValid_, &bHitEOD_);
  page_bytes_ += iTempBufValid_;
  if (bHitEOD_) end_of_data_time_ = TheClock().SecondsSince1970();
  if (status != SL_OK) {
    trace_.Print(TRACE_INFO,
                 "!    Scan: ReadUnpkd (stat) status: %d  hitEOD %d, buf %ld iTempBufPos %ld",
                 status, bHitEOD_, iTempBufValid_, iTempBufPos_);
    iTempBufPos_ = 0;
    return status;
  }
  if (plain) {
    bytes_to_come_ -= static_cast<int32_t>(iTempBufValid_);
  } else if (bHitEOD_) {
    TakeEndOfPage();
  } else if (iTempBufValid_ == 0) {
    trace_.Print(TRACE_INFO,
                 "!    Scan: ReadUnpkd ReadUnpkd (buf) Failed status: %d  hitEOD %d, buf %ld",
                 status, bHitEOD_, iTempBufValid_);
    iTempBufPos_ = 0;
    return SL_SHORTREAD;
  }
  trace_.Print(TRACE_BUFFERS, " Scan: REFILL: ReadUnpacketizedData hitEOD %d, buf %ld", bHitEOD_,
               iTempBufValid_);
  *phase = kScanTransferring;
  iTempBufPos_ = 0;
  if (plain && bytes_to_come_ <= 0) {
    bHitEOD_ = true;
    end_of_data_time_ = TheClock().SecondsSince1970();
  }
  return SL_OK;
}

// The flip must work on the rows that came, not on those that were announced.
void ScanEngine::TakeEndOfPage() {
  uint32_t abort_state = 0, rows_k = 0, rows_cmy = 0;
  const QrlStatus status =
      GetEndPageInfo(reader_, exchange_, trace_, &abort_state, &rows_k, &rows_cmy);
  trace_.Print(TRACE_FLOW, " Scan: Hit EOD: AbortState %d, NumRowsK %ld, NumRowsCMY %d",
               abort_state, rows_k, rows_cmy);
  const bool flips = flip_mode_ == kFlipVertical || flip_mode_ == kFlipTurn;
  // A model that does not tell its rows leaves those that were announced.
  if (status != SL_OK || !flips || rows_k == 0) return;
  ipSetXformParam(flip_index_, kFlipRowsParameter, rows_k, pipeline_.get());
  ipApplyXformParams(flip_index_, pipeline_.get());
}

QrlStatus ScanEngine::Convert(uint8_t* buffer, uint32_t size, uint32_t* written,
                              Conversion* conversion) {
  const size_t available = iTempBufValid_ - iTempBufPos_;
  trace_.Print(TRACE_BUFFERS,
               " Scan: input buffer(%ld) iTBValid %d ->POS %d  InUsed %d dwJunk %d bHitEOD %d",
               available, iTempBufValid_, iTempBufPos_, conversion->dwInUsed, conversion->dwJunk,
               bHitEOD_);
  if (bHitEOD_) {
    trace_.Print(TRACE_BUFFERS,
                 " Scan: ipConvert Bytes in input (%ld) dwInUsed %d dwJunk %d iTempBufValid %d "
                 "iTempBufPos %d",
                 available, conversion->dwInUsed, conversion->dwJunk, iTempBufValid_, iTempBufPos_);
  }
  uint8_t nowhere = 0;  // a missing buffer would ask the pipeline to throw its output away
  uint64_t output_position = 0;
  const uint8_t* input = ScanInputBuffer_ ? ScanInputBuffer_.data() + iTempBufPos_ : nullptr;
  const IpResult result =
      ipConvert(pipeline_.get(), available, input, &conversion->dwInUsed, &conversion->dwJunk,
                size - *written, buffer ? buffer + *written : &nowhere, &conversion->dwOutUsed,
                &output_position);
  trace_.Print(TRACE_BUFFERS,
               " Scan post ipConvert Bytes in output buffer(%ld), dwInUsed %ld ,dwOutUsed %ld",
               *written, conversion->dwInUsed, conversion->dwOutUsed);
  if (!RowsAsAnnounced()) return SL_MATRIXERROR;
  LogImage(conversion->dwInUsed);
  iTempBufPos_ += static_cast<uint32_t>(conversion->dwInUsed);
  *written += static_cast<uint32_t>(conversion->dwOutUsed);

  // A pipeline that does nothing with room, input or its end before it would do so for ever.
  const bool stuck = (result & IP_FINISHED) == 0 && conversion->dwInUsed == 0 &&
                     conversion->dwOutUsed == 0 && *written < size;
  if ((result & (IP_INPUT_ERROR | IP_FATAL_ERROR)) != 0 || stuck) {
    const bool logging = image_log_switch_ == kLogImageData;
    trace_.Print(TRACE_CLASS_ERROR,
                 "Scan: ipConvert: result %d IP_INPUT_ERROR (%ld) IP_FATAL_ERROR (%ld) , hitEOD "
                 "%d, stat %d ",
                 result, IP_INPUT_ERROR, IP_FATAL_ERROR, bHitEOD_, SL_MATRIXERROR);
    if (!logging) return SL_MATRIXERROR;
    // The error will not go away: the page ends here, with what there is of it.
    finished_ = true;
  }
  if (result & IP_FINISHED) finished_ = true;
  return SL_OK;
}

// Rows of another width than the caller's would lean over and wrap: better no page. A compressed
// page does not tell its width before its header has come.
bool ScanEngine::RowsAsAnnounced() {
  ImageTraits made{};
  if (row_bytes_ == 0 || rows_checked_ || ipGetOutputTraits(pipeline_.get(), &made) != IP_FINISHED)
    return true;
  if (RowBytes(made) == row_bytes_ && made.pixelsPerRow == static_cast<int32_t>(row_pixels_))
    return rows_checked_ = true;
  trace_.Print(TRACE_CLASS_ERROR,
               "Scan: rows of %ld pixels in %ld bytes announced, %ld pixels in %ld bytes made",
               row_pixels_, row_bytes_, made.pixelsPerRow, RowBytes(made));
  return false;
}

void ScanEngine::LogImage(size_t bytes) {
  if (image_log_switch_ != kLogImageData) {
    trace_.Print(TRACE_FLOW, " LogImage:LogImgBuffer: not saved  %d ", image_log_switch_);
    return;
  }
  if (bytes > 0) AppendToImageLog(m_szImageFile_, ScanInputBuffer_.data() + iTempBufPos_, bytes);
  trace_.Print(TRACE_IO_DATA, " LogImage:LogImgBuffer: %ld saved, Using Pipe", bytes);
}

void ScanEngine::FreeInput() {
  ScanInputBuffer_.Free();
  iTempBufValid_ = iTempBufPos_ = 0;
}

void ScanEngine::EndScan() {
  page_started_ = false;
  pipeline_.reset();
  uint32_t got = 0;
  bool hit_end_of_page = false;
  reader_.ReadUnpacketizedData(exchange_.resolution().gTransferType, kScanIdle, nullptr, 0, &got,
                               &hit_end_of_page);
  FreeInput();
  const int64_t now = TheClock().SecondsSince1970();
  trace_.Print(TRACE_CLASS_ERROR,
               "MXVWIA_QRL::Scan: Start time %ld, Stop Time %ld, Scan Elapsed time: %ld",
               end_of_data_time_, now, now - end_of_data_time_);
}

}  // namespace scantk
