// What stands below every page and every job: asked, granted, delivered. People read three lines,
// programs one JSON object.
#ifndef SCANTK_HOST_RECEIPT_H_
#define SCANTK_HOST_RECEIPT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/scan_plan.h"

namespace scanhost {

struct Receipt {
  uint32_t page = 0;  // from 1
  std::string source;
  std::string mode;
  uint32_t depth = 0;
  std::string time;  // local, when the page began
  std::string device;
  Geometry asked;
  Geometry granted;
  uint32_t device_x = 0, device_y = 0;  // less than granted: enlarged by the toolkit
  uint32_t width = 0;                   // pixels
  uint32_t bytes_per_row = 0;
  uint32_t rows_announced = 0;
  uint32_t rows_delivered = 0;
  uint64_t bytes = 0;
  uint32_t crc32 = 0;
  double seconds = 0;
  bool cut_short = false;
  std::string reason;  // why it was cut short, or is shorter or longer
  std::string file;    // empty: not known yet

  bool Enlarged() const {
    return device_x != granted.x_resolution || device_y != granted.y_resolution;
  }
  double DeliveredMillimetres() const;
};

// Three lines, each with its end.
std::string ReceiptText(const Receipt& receipt);
// One line without its end.
std::string ReceiptJson(const Receipt& receipt);

struct JobReceipt {
  int status = 0;
  std::string reason;
  uint32_t pages = 0;
  std::vector<std::string> files;
  bool paper_left = false;  // in the feeder's tray
};
std::string JobJson(const JobReceipt& job);

// "2026-01-31 23:59:58", now.
std::string TimeText();

}  // namespace scanhost

#endif  // SCANTK_HOST_RECEIPT_H_
