// One page after another: starts the page on the device, sets up the image pipeline for what will
// come, and turns the device's bytes into the caller's raster bytes call by call.
//
//   no page --phase 2--> page started --phase 3...--> finished
//      ^  a failed start stays here       any --phase 4--> no page
#ifndef SCANTK_PROTOCOL_SCAN_ENGINE_H_
#define SCANTK_PROTOCOL_SCAN_ENGINE_H_

#include <cstdint>
#include <string>

#include "protocol/device_errors.h"
#include "protocol/exchange.h"
#include "protocol/packet_reader.h"
#include "protocol/scan_pipeline.h"

namespace scantk {

class ScanEngine {
 public:
  ScanEngine(Exchange& exchange, DeviceErrors& errors, PacketReader& reader, TraceLog& trace)
      : exchange_(exchange), errors_(errors), reader_(reader), trace_(trace) {}
  ScanEngine(const ScanEngine&) = delete;
  ScanEngine& operator=(const ScanEngine&) = delete;

  // Phase 2 starts a page, 3 continues it, 4 ends the scan. Up to `size` raster bytes are written
  // to `buffer`. 0: delivered, more may follow; SL_PAGE_FINISHED: nothing more; others: failed.
  // *written counts what is in `buffer` even on a failure; status 0 without a byte is answered once
  // at most, when the page has just finished.
  QrlStatus Scan(uint32_t phase, uint8_t* buffer, uint32_t size, uint32_t* written);
  // The rows that the caller cuts the page into. A page whose pipeline makes others fails with
  // SL_MATRIXERROR before a byte of it is delivered. 0 bytes: any rows will do.
  void ExpectRows(uint32_t pixels, uint32_t bytes) { row_pixels_ = pixels, row_bytes_ = bytes; }
  // 1: log the raw scan data, and make pipeline errors end the page instead of failing it.
  void SetSwitchValues(uint32_t image_log);

 private:
  // What the last conversion did.
  struct Conversion {
    size_t in_used = 0;
    size_t out_used = 0;
    uint64_t next_input =
        0;  // where the pipeline would have its next input, which is of no use here
  };

  QrlStatus StartPage();
  QrlStatus AskPageFormat(PageFormat* format);
  QrlStatus AskTraits(ImageTraits* traits);
  QrlStatus AskCompression(int32_t* compression);
  QrlStatus AskFlip(int32_t* flip_mode);
  void StartImageLog();
  bool RowsAsAnnounced();

  QrlStatus Transfer(uint32_t phase, uint8_t* buffer, uint32_t size, uint32_t* written);
  QrlStatus Refill(uint32_t* phase);
  void TakeEndOfPage();
  QrlStatus Convert(uint8_t* buffer, uint32_t size, uint32_t* written, Conversion* conversion);
  void LogImage(size_t bytes);
  void FreeInput();
  void EndScan();

  Exchange& exchange_;
  DeviceErrors& errors_;
  PacketReader& reader_;
  TraceLog& trace_;

  PipelineOwner pipeline_;
  bool page_started_ = false;
  RawBuffer input_;  // device bytes on their way to the pipeline
  uint32_t input_end_ = 0;
  uint32_t input_position_ = 0;
  uint64_t page_bytes_ = 0;    // image bytes that the device has delivered
  int32_t bytes_to_come_ = 0;  // counted for plain transfers only
  bool data_ended_ = false;    // the device has delivered its last byte of the page
  bool finished_ = false;      // the pipeline has produced its last byte of the page
  int32_t flip_mode_ = 0;
  int flip_index_ = -1;
  uint32_t row_pixels_ = 0;  // as announced to the caller
  uint32_t row_bytes_ = 0;
  bool rows_checked_ = false;     // the pipeline's rows are known to be such rows
  int64_t end_of_data_time_ = 0;  // seconds
  uint32_t image_log_switch_ = 0;
  std::string image_log_file_;  // m_szImageFile in the trace
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_SCAN_ENGINE_H_
