// The start of a page: what the device is asked, and the command that sets it going.
#include "diag/image_log.h"
#include "protocol/scan_engine.h"

namespace scantk {

QrlStatus ScanEngine::StartPage() {
  page_started_ = false;
  reader_.ForgetEndPage();
  flip_index_ = -1;
  // Whatever was pending belongs to the past and is cleared by the asking.
  errors_.InquireOldestError();

  PageFormat format;
  QrlStatus status = AskPageFormat(&format);
  if (status != SL_OK) return status;
  XformList list;
  status = BuildXformList(format, exchange_.resolution(), trace_, &list);
  if (status != SL_OK) return status;
  flip_mode_ = format.flip_mode;
  flip_index_ = list.flip_index;
  pipeline_ = MakePipeline(list, format.traits);
  if (!pipeline_) return SL_PIPELINE_SETUP;
  rows_checked_ = false;
  if (!RowsAsAnnounced()) return SL_MATRIXERROR;

  status = errors_.InquireOldestError();
  if (status != SL_OK) return status;
  exchange_.SendCommand(SL_CLEAR_ERRORS, 0);
  status = exchange_.SendCommand(SL_START_SCAN, 0);
  if (status != SL_OK) return status;
  page_started_ = true;
  if (image_log_switch_ != 0) StartImageLog();
  return SL_OK;
}

QrlStatus ScanEngine::AskPageFormat(PageFormat* format) {
  ImageTraits& traits = format->traits;
  QrlStatus status = exchange_.InquireNumber(SL_BITS_PER_PIXEL, kCurrent, &traits.bitsPerPixel);
  if (status != SL_OK) return status;
  int32_t model = SL_UNKNOWN;
  status = exchange_.InquireModel(&model);
  if (status != SL_OK) return status;

  if (!input_ && !input_.Allocate(kScanBufferBytes)) return SL_NOMEMORY;
  input_end_ = input_position_ = 0;
  page_bytes_ = 0;
  data_ended_ = finished_ = false;

  status = AskTraits(&traits);
  if (status != SL_OK) return status;
  if (exchange_.resolution().enlarging) trace_.Print(TRACE_INFO, "Scan: gUpScaling!@!!! ");
  traits = DeviceTraits(traits, exchange_.resolution());
  bytes_to_come_ = PageBytes(traits);
  status = AskCompression(&format->compression);
  return status == SL_OK ? AskFlip(&format->flip_mode) : status;
}

QrlStatus ScanEngine::AskTraits(ImageTraits* traits) {
  traits->componentsPerPixel = traits->bitsPerPixel < 24 ? 1 : 3;
  traits->pageCount = traits->pageIndex = -1;
  int32_t x_resolution = 0, y_resolution = 0;
  const struct {
    uint32_t id;
    int32_t* answer;
  } inquiries[] = {{SL_PIXELS_PER_LINE, &traits->pixelsPerRow},
                   {SL_X_RESOLUTION, &x_resolution},
                   {SL_Y_RESOLUTION, &y_resolution},
                   {SL_LINES_PER_SCAN, &traits->rowCount}};
  for (const auto& inquiry : inquiries) {
    const QrlStatus status = exchange_.InquireNumber(inquiry.id, kCurrent, inquiry.answer);
    if (status != SL_OK) return status;
  }
  traits->xDpi = FixedDpi(x_resolution);
  traits->yDpi = FixedDpi(y_resolution);
  return SL_OK;
}

QrlStatus ScanEngine::AskCompression(int32_t* compression) {
  const QrlStatus status = exchange_.InquireNumber(SL_COMPRESSION, kCurrent, compression);
  if (status == SL_NULLRESPONSE) {
    exchange_.SendCommand(SL_COMPRESSION, kNoCompression);
    return SL_OK;
  }
  if (status != SL_OK) {
    trace_.Print(TRACE_CLASS_ERROR, "Scan: Error - Inquire Compression ! OK (or no response) %d ",
                 status);
  }
  return status;
}

QrlStatus ScanEngine::AskFlip(int32_t* flip_mode) {
  const QrlStatus status = exchange_.InquireNumber(SL_DUPLEX_FLIP, kCurrent, flip_mode);
  if (status == SL_NULLRESPONSE) return SL_OK;
  if (status != SL_OK) {
    trace_.Print(TRACE_CLASS_ERROR, "Scan: Error - Inquire Duplex ! OK (or no response) %d ",
                 status);
  }
  return status;
}

void ScanEngine::StartImageLog() {
  image_log_file_.clear();
  MakeImageLogFileName(&image_log_file_);
  trace_.Print(TRACE_INFO, " MXVWIA_QRL:: GetTempFile ImgLog m_szImageFile %s", image_log_file_);
}

}  // namespace scantk
