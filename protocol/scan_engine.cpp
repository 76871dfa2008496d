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

void ScanEngine::SetSwitchValues(uint32_t image_log) {
  image_log_switch_ = image_log;
  trace_.Print(TRACE_INFO, "MXVWIA_QRL::SetSwitchValues:  dwValue1 %d ", image_log);
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
    if (input_position_ == input_end_) {
      trace_.Print(TRACE_BUFFERS, " Scan: REFILL: iTempBufPos == iTempBufValid hitEOD %d, buf %ld",
                   data_ended_, input_end_);
      if (!data_ended_) {
        const QrlStatus status = Refill(&phase);
        if (status != SL_OK) return status;
        // There is nothing to drain from a pipeline that was never fed: the page has no rows.
        if (data_ended_ && page_bytes_ == 0) {
          finished_ = true;
          return SL_PAGE_FINISHED;
        }
        // The end of the page alone: round again, for the last rows.
        if (input_end_ == 0) continue;
      } else {
        trace_.Print(TRACE_FLOW, "Scan: bHitEOD: Phase %d Bytesin input buffer(%ld)", phase,
                     input_end_);
        FreeInput();
      }
    } else {
      trace_.Print(TRACE_FLOW,
                   " Scan: iTempBufPos != iTempBufValid (eg its not empty) %d  hitEOD %d, buf %ld",
                   input_position_, data_ended_, input_end_);
    }
    const QrlStatus status = Convert(buffer, size, written, &conversion);
    if (status != SL_OK || finished_ || *written == size) return status;
  }
}

// Gets device bytes into the empty input buffer. 0 without a byte only at the end of the page.
QrlStatus ScanEngine::Refill(uint32_t* phase) {
  const int32_t transfer_type = exchange_.resolution().transfer_type;
  const bool plain = transfer_type == kPlainTransfer;
  auto wanted = static_cast<uint32_t>(input_.size());
  if (plain) wanted = std::min(wanted, static_cast<uint32_t>(std::max(bytes_to_come_, 0)));
  const QrlStatus status = reader_.ReadUnpacketizedData(transfer_type, *phase, input_.data(),
                                                        wanted, &input_end_, &data_ended_);
  page_bytes_ += input_end_;
  if (data_ended_) end_of_data_time_ = TheClock().SecondsSince1970();
  if (status != SL_OK) {
    trace_.Print(TRACE_INFO,
                 "!    Scan: ReadUnpkd (stat) status: %d  hitEOD %d, buf %ld iTempBufPos %ld",
                 status, data_ended_, input_end_, input_position_);
    input_position_ = 0;
    return status;
  }
  if (plain) {
    bytes_to_come_ -= static_cast<int32_t>(input_end_);
  } else if (data_ended_) {
    TakeEndOfPage();
  } else if (input_end_ == 0) {
    trace_.Print(TRACE_INFO,
                 "!    Scan: ReadUnpkd ReadUnpkd (buf) Failed status: %d  hitEOD %d, buf %ld",
                 status, data_ended_, input_end_);
    input_position_ = 0;
    return SL_SHORTREAD;
  }
  trace_.Print(TRACE_BUFFERS, " Scan: REFILL: ReadUnpacketizedData hitEOD %d, buf %ld", data_ended_,
               input_end_);
  *phase = kScanTransferring;
  input_position_ = 0;
  if (plain && bytes_to_come_ <= 0) {
    data_ended_ = true;
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
  const size_t available = input_end_ - input_position_;
  trace_.Print(TRACE_BUFFERS,
               " Scan: input buffer(%ld) iTBValid %d ->POS %d  InUsed %d dwJunk %d bHitEOD %d",
               available, input_end_, input_position_, conversion->in_used, conversion->next_input,
               data_ended_);
  if (data_ended_) {
    trace_.Print(TRACE_BUFFERS,
                 " Scan: ipConvert Bytes in input (%ld) dwInUsed %d dwJunk %d iTempBufValid %d "
                 "iTempBufPos %d",
                 available, conversion->in_used, conversion->next_input, input_end_,
                 input_position_);
  }
  uint8_t nowhere = 0;  // a missing buffer would ask the pipeline to throw its output away
  uint64_t output_position = 0;
  const uint8_t* input = input_ ? input_.data() + input_position_ : nullptr;
  const IpResult result =
      ipConvert(pipeline_.get(), available, input, &conversion->in_used, &conversion->next_input,
                size - *written, buffer ? buffer + *written : &nowhere, &conversion->out_used,
                &output_position);
  trace_.Print(TRACE_BUFFERS,
               " Scan post ipConvert Bytes in output buffer(%ld), dwInUsed %ld ,dwOutUsed %ld",
               *written, conversion->in_used, conversion->out_used);
  if (!RowsAsAnnounced()) return SL_MATRIXERROR;
  LogImage(conversion->in_used);
  input_position_ += static_cast<uint32_t>(conversion->in_used);
  *written += static_cast<uint32_t>(conversion->out_used);

  // A pipeline that does nothing with room, input or its end before it would do so for ever.
  const bool stuck = (result & IP_FINISHED) == 0 && conversion->in_used == 0 &&
                     conversion->out_used == 0 && *written < size;
  if ((result & (IP_INPUT_ERROR | IP_FATAL_ERROR)) != 0 || stuck) {
    const bool logging = image_log_switch_ == kLogImageData;
    trace_.Print(TRACE_CLASS_ERROR,
                 "Scan: ipConvert: result %d IP_INPUT_ERROR (%ld) IP_FATAL_ERROR (%ld) , hitEOD "
                 "%d, stat %d ",
                 result, IP_INPUT_ERROR, IP_FATAL_ERROR, data_ended_, SL_MATRIXERROR);
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
  if (bytes > 0) AppendToImageLog(image_log_file_, input_.data() + input_position_, bytes);
  trace_.Print(TRACE_IO_DATA, " LogImage:LogImgBuffer: %ld saved, Using Pipe", bytes);
}

void ScanEngine::FreeInput() {
  input_.Free();
  input_end_ = input_position_ = 0;
}

void ScanEngine::EndScan() {
  page_started_ = false;
  pipeline_.reset();
  uint32_t got = 0;
  bool hit_end_of_page = false;
  reader_.ReadUnpacketizedData(exchange_.resolution().transfer_type, kScanIdle, nullptr, 0, &got,
                               &hit_end_of_page);
  FreeInput();
  const int64_t now = TheClock().SecondsSince1970();
  trace_.Print(TRACE_CLASS_ERROR,
               "MXVWIA_QRL::Scan: Start time %ld, Stop Time %ld, Scan Elapsed time: %ld",
               end_of_data_time_, now, now - end_of_data_time_);
}

}  // namespace scantk
