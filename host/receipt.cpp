#include "host/receipt.h"

#include <cmath>
#include <ctime>
#include <nlohmann/json.hpp>

namespace scanhost {
namespace {

using Json = nlohmann::ordered_json;

double Rounded(double value) {
  return std::round(value * 100) / 100;
}

Json GeometryJson(const Geometry& geometry) {
  return {{"x_dpi", geometry.x_resolution},
          {"y_dpi", geometry.y_resolution},
          {"width_mm", Rounded(geometry.width_mm)},
          {"height_mm", Rounded(geometry.height_mm)}};
}

// Names come from the system and need not be UTF-8.
std::string Line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string Hexadecimal(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "%08x", value);
  return text;
}

}  // namespace

double Receipt::DeliveredMillimetres() const {
  return granted.y_resolution == 0 ? 0 : rows_delivered * 25.4 / granted.y_resolution;
}

std::string ReceiptText(const Receipt& receipt) {
  char text[1024];
  const std::string label = "page " + std::to_string(receipt.page);
  const int blank = static_cast<int>(label.size());
  std::string enlarged;
  if (receipt.Enlarged())
    enlarged = " (the device scans " + ResolutionText({receipt.device_x, receipt.device_y, 0, 0}) +
               ", enlarged)";
  const std::string bits = receipt.depth == 1 ? "" : " " + std::to_string(receipt.depth) + " bit";
  std::snprintf(text, sizeof text,
                "%s: asked     %s %s%s, %.1f x %.1f mm from the %s\n"
                "%*s  granted   %s%s, %.1f x %.1f mm, %u x %u pixels, %u bytes per row\n"
                "%*s  delivered %u of %u rows (%.1f mm), %llu bytes, CRC-32 %08x, in %.2f s%s%s\n",
                label.c_str(), ResolutionText(receipt.asked).c_str(), receipt.mode.c_str(),
                bits.c_str(), receipt.asked.width_mm, receipt.asked.height_mm,
                receipt.source.c_str(), blank, "", ResolutionText(receipt.granted).c_str(),
                enlarged.c_str(), receipt.granted.width_mm, receipt.granted.height_mm,
                receipt.width, receipt.rows_announced, receipt.bytes_per_row, blank, "",
                receipt.rows_delivered, receipt.rows_announced, receipt.DeliveredMillimetres(),
                static_cast<unsigned long long>(receipt.bytes), receipt.crc32, receipt.seconds,
                receipt.reason.empty() ? "" : "; ", receipt.reason.c_str());
  return text;
}

std::string ReceiptJson(const Receipt& receipt) {
  const uint32_t missing = receipt.rows_announced > receipt.rows_delivered
                               ? receipt.rows_announced - receipt.rows_delivered
                               : 0;
  Json asked = GeometryJson(receipt.asked);
  Json granted = GeometryJson(receipt.granted);
  granted["enlarged"] = receipt.Enlarged();
  granted["device_x_dpi"] = receipt.device_x;
  granted["device_y_dpi"] = receipt.device_y;
  granted["width_pixels"] = receipt.width;
  granted["bytes_per_row"] = receipt.bytes_per_row;
  granted["rows"] = receipt.rows_announced;
  Json delivered = {{"rows", receipt.rows_delivered},
                    {"rows_missing", missing},
                    {"height_mm", Rounded(receipt.DeliveredMillimetres())},
                    {"bytes", receipt.bytes},
                    {"crc32", Hexadecimal(receipt.crc32)},
                    {"seconds", Rounded(receipt.seconds)},
                    {"cut_short", receipt.cut_short},
                    {"reason", receipt.reason}};
  Json json = {{"page", receipt.page},     {"time", receipt.time}, {"device", receipt.device},
               {"source", receipt.source}, {"mode", receipt.mode}, {"depth", receipt.depth},
               {"asked", asked},           {"granted", granted},   {"delivered", delivered}};
  if (!receipt.file.empty()) json["file"] = receipt.file;
  return Line(json);
}

std::string JobJson(const JobReceipt& job) {
  return Line({{"job",
                {{"status", job.status},
                 {"reason", job.reason},
                 {"pages", job.pages},
                 {"files", job.files},
                 {"paper_left", job.paper_left}}}});
}

std::string TimeText() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
  return text;
}

}  // namespace scanhost
