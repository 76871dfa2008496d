// How fast pages are decoded, beside libjpeg-turbo in the same run. A4 pages at 300 dpi; the stream
// goes in by pieces of 62000 bytes, rows come out in pieces of 64000, as in a scan. libjpeg-turbo
// reads the same stream from memory, row group by row group into one small buffer, with the same
// transform and without smoothing. Figures are medians of runs taken in turns, in time of the
// processor, so that other work on the machine disturbs them less.
//
//   scantk-bench-jpeg [NAME [RUNS]]
// NAME is one of our paths, "plain", "vector128" or "avx2", and stands beside libjpeg-turbo without
// vector code, held to SSE2, and free. Without it all of them are measured, one after the other, 9
// runs each.
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "bench/table.h"
#include "imaging/cpu.h"
#include "imaging/image_pipeline.h"

namespace scantk {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kWidth = 2480;
constexpr int kHeight = 3508;
constexpr size_t kInputPiece = 62000;
constexpr size_t kOutputPiece = 64000;
int rounds = 9;

// ---- Pages -----------------------------------------------------------------------------------

struct Page {
  std::string name;
  Bytes rgb;
};

// Smooth random values of about -1 to 1, `cell` pixels from knot to knot.
class Clouds {
 public:
  Clouds(int cell, uint32_t seed) : cell_(cell), columns_(kWidth / cell + 2) {
    std::mt19937 random(seed);
    knots_.resize(static_cast<size_t>(columns_) * (kHeight / static_cast<size_t>(cell) + 2));
    for (float& knot : knots_) knot = static_cast<float>(random() % 2001) / 1000 - 1;
  }
  float At(int x, int y) const {
    const float* knot = knots_.data() + y / cell_ * columns_ + x / cell_;
    const float fx = Eased(x % cell_), fy = Eased(y % cell_);
    const float top = knot[0] + (knot[1] - knot[0]) * fx;
    const float bottom = knot[columns_] + (knot[columns_ + 1] - knot[columns_]) * fx;
    return top + (bottom - top) * fy;
  }

 private:
  float Eased(int at) const {
    const float t = static_cast<float>(at) / static_cast<float>(cell_);
    return t * t * (3 - 2 * t);
  }
  int cell_, columns_;
  std::vector<float> knots_;
};

// Ink on paper, 0 to 1: lines of strokes that look like words to a transform.
std::vector<float> TextInk() {
  std::vector<float> ink(static_cast<size_t>(kWidth) * kHeight);
  std::mt19937 random(7);
  for (int top = 200; top < kHeight - 200; top += 62) {
    for (int left = 220; left < kWidth - 220; left += 22) {
      if (random() % 6 == 0) continue;
      for (int stroke = 0; stroke < 3; ++stroke) {
        const bool upright = random() % 2;
        const int x0 = left + static_cast<int>(random() % 14);
        const int y0 = top + static_cast<int>(random() % 24);
        const int length = 10 + static_cast<int>(random() % 18);
        for (int i = 0; i < length; ++i) {
          for (int t = -1; t <= 4; ++t) {
            const int x = upright ? x0 + t : x0 + i / 2;
            const int y = upright ? y0 + i : y0 + t;
            float& at = ink[static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)];
            at = std::max(at, t == -1 || t == 4 ? 0.45f : 1.0f);
          }
        }
      }
    }
  }
  return ink;
}

Page MakePage(const std::string& name) {
  Page page{name, Bytes(static_cast<size_t>(kWidth) * kHeight * 3)};
  const std::vector<float> ink = TextInk();
  const Clouds coarse(256, 1), middle(48, 2), fine(9, 3), finest(4, 4), tint(160, 5), tone(120, 6);
  std::mt19937 random(11);
  size_t at = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x, at += 3) {
      const bool photo = name == "photo" || (name == "mixed" && (y / 580) % 2 == 1 && x > 300);
      // Grain of the sensor: nearly normal, the same in all colours but for a little.
      float grain = -6;
      for (int i = 0; i < 4; ++i) grain += static_cast<float>(random() % 3001) / 1000;
      float luma, red, blue;
      if (photo) {
        luma = 120 + 70 * coarse.At(x, y) + 30 * middle.At(x, y) + 8 * fine.At(x, y) +
               4 * finest.At(x, y) + 1.0f * grain;
        red = 30 * tint.At(x, y);
        blue = 30 * tone.At(x, y);
      } else {
        luma = 244 - 205 * ink[at / 3] + 0.7f * grain;
        red = 2;
        blue = -4;
      }
      const float values[3] = {luma + red, luma, luma + blue};
      for (int i = 0; i < 3; ++i) {
        page.rgb[at + static_cast<size_t>(i)] =
            static_cast<uint8_t>(std::clamp(values[i] + 0.5f, 0.0f, 255.0f));
      }
    }
  }
  return page;
}

// ---- libjpeg-turbo ---------------------------------------------------------------------------

struct Format {
  const char* name;
  int h, v;  // of luma; 0: gray
};
constexpr Format kFormats[] = {{"4:4:4", 1, 1}, {"4:2:2", 2, 1}, {"4:2:0", 2, 2}, {"gray", 0, 0}};

Bytes Encode(const Page& page, const Format& format, int quality, bool restart) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &memory, &size);
  info.image_width = kWidth;
  info.image_height = kHeight;
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  if (format.h == 0) {
    jpeg_set_colorspace(&info, JCS_GRAYSCALE);
  } else {
    info.comp_info[0].h_samp_factor = format.h;
    info.comp_info[0].v_samp_factor = format.v;
  }
  jpeg_set_quality(&info, quality, TRUE);
  info.restart_in_rows = restart ? 1 : 0;
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(page.rgb.data() + size_t{3} * kWidth * info.next_scanline);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  Bytes stream(memory, memory + size);
  jpeg_destroy_compress(&info);
  free(memory);
  return stream;
}

using Sink = std::function<void(const uint8_t*, size_t)>;

void DecodeByLibrary(const Bytes& stream, bool to_rgb, const Sink& sink) {
  jpeg_decompress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, stream.data(), stream.size());
  jpeg_read_header(&info, TRUE);
  if (!to_rgb) info.out_color_space = info.jpeg_color_space;
  info.dct_method = JDCT_ISLOW;
  info.do_fancy_upsampling = FALSE;
  jpeg_start_decompress(&info);
  const size_t row_bytes = info.output_width * static_cast<size_t>(info.output_components);
  static Bytes buffer(size_t{4} * 3 * kWidth);
  JSAMPROW rows[4];
  for (int i = 0; i < 4; ++i) rows[i] = buffer.data() + static_cast<size_t>(i) * row_bytes;
  while (info.output_scanline < info.output_height) {
    const JDIMENSION count =
        jpeg_read_scanlines(&info, rows, static_cast<JDIMENSION>(info.rec_outbuf_height));
    if (sink) sink(buffer.data(), count * row_bytes);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
}

// ---- Ours ------------------------------------------------------------------------------------

void DecodeByPipeline(const Bytes& stream, bool to_rgb, const Sink& sink) {
  XformDescriptor chain[2] = {};
  chain[0].builtInId = XFORM_JPEG_DECODE;
  chain[1].builtInId = XFORM_COLOR_SPACE;
  chain[1].params[0] = 2;
  IpHandle handle = nullptr;
  if (ipCreatePipeline(to_rgb ? 2 : 1, chain, 0, &handle) != IP_FINISHED) exit(1);
  const ImageTraits traits = {1, 8, 1, 300, 300, -1, -1, -1};
  ipSetInputTraits(handle, &traits);
  static Bytes buffer(kOutputPiece);
  size_t at = 0;
  IpResult result = 0;
  while (!(result & IP_RESULT_MASK)) {
    const size_t piece = std::min(kInputPiece, stream.size() - at);
    size_t used = 0, produced = 0;
    uint64_t next = 0, position = 0;
    result = ipConvert(handle, piece, piece > 0 ? stream.data() + at : nullptr, &used, &next,
                       buffer.size(), buffer.data(), &produced, &position);
    at += used;
    if (sink) sink(buffer.data(), produced);
  }
  if (result != IP_FINISHED) {
    std::fprintf(stderr, "decoding failed: 0x%x\n", result);
    exit(1);
  }
  ipDestroyPipeline(handle);
}

// ---- Measuring -------------------------------------------------------------------------------

double ProcessorMilliseconds() {
  timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

std::vector<double> Medians(const std::vector<std::function<void()>>& works) {
  std::vector<std::vector<double>> times(works.size());
  for (int round = -1; round < rounds; ++round) {
    for (size_t i = 0; i < works.size(); ++i) {
      const double start = ProcessorMilliseconds();
      works[i]();
      if (round >= 0) times[i].push_back(ProcessorMilliseconds() - start);
    }
  }
  std::vector<double> medians;
  medians.reserve(times.size());
  for (auto& list : times) {
    medians.push_back(bench::Middle(list));
  }
  return medians;
}

void RequireSameBytes(const Bytes& stream) {
  Bytes ours, theirs;
  DecodeByPipeline(stream, false,
                   [&](const uint8_t* at, size_t n) { ours.insert(ours.end(), at, at + n); });
  DecodeByLibrary(stream, false,
                  [&](const uint8_t* at, size_t n) { theirs.insert(theirs.end(), at, at + n); });
  if (ours == theirs) return;
  std::fprintf(stderr, "the decoders differ\n");
  exit(1);
}

// Of the pages of one format: milliseconds, and times the yardstick's speed.
struct Figures {
  std::vector<double> ours, turbo, turbo_rgb, ours_rgb;
  std::vector<double> same, rgb, chain;
};

void Report(const std::map<std::string, Figures>& all, const char* how) {
  const auto row = [](const std::string& work, const std::vector<double>& ours, const char* other,
                      const std::vector<double>& theirs, const std::vector<double>& ratios) {
    bench::PrintRow(work, bench::Middle(ours), other, bench::Middle(theirs), "ms", ratios);
  };
  for (const auto& [name, f] : all) {
    const std::string page = "JPEG " + name + how;
    row(page + ", as coded", f.ours, "libjpeg-turbo, as coded", f.turbo, f.same);
    if (f.chain.empty()) continue;
    row(page + ", as coded", f.ours, "libjpeg-turbo, RGB", f.turbo_rgb, f.rgb);
    row(page + ", RGB", f.ours_rgb, "libjpeg-turbo, RGB", f.turbo_rgb, f.chain);
  }
}

// Measures one page in one quality and format, without restarts and with one for each row.
void MeasurePage(const Page& page, int quality, const Format& format, Figures* figures) {
  const bool gray = format.h == 0;
  const Bytes streams[2] = {Encode(page, format, quality, false),
                            Encode(page, format, quality, true)};
  std::vector<std::function<void()>> works;
  works.reserve(8);
  for (const Bytes& stream : streams) {
    RequireSameBytes(stream);
    works.emplace_back([&] { DecodeByPipeline(stream, false, nullptr); });
    works.emplace_back([&] { DecodeByLibrary(stream, false, nullptr); });
    works.emplace_back([&] { DecodeByLibrary(stream, !gray, nullptr); });
    works.emplace_back([&] { DecodeByPipeline(stream, !gray, nullptr); });
  }
  const std::vector<double> ms = Medians(works);
  const double blocks = kWidth / 8.0 * kHeight / 8.0 * (gray ? 1 : 1 + 2.0 / (format.h * format.v));
  for (size_t i = 0; i < 2; ++i) {
    const double* m = ms.data() + 4 * i;
    std::fprintf(stderr,
                 "%-6s %d %-6s %-7s %10.1f | %5.1f  %10.1f  %9.1f  %8.1f      | %10.2f  %9.2f",
                 page.name.c_str(), quality, format.name, i ? "rows" : "none",
                 8.0 * static_cast<double>(streams[i].size()) / blocks, m[0], m[1], m[2], m[3],
                 m[1] / m[0], m[2] / m[0]);
    std::fprintf(stderr, gray ? "\n" : "  %13.2f\n", m[2] / m[3]);
    figures->ours.push_back(m[0]);
    figures->turbo.push_back(m[1]);
    figures->turbo_rgb.push_back(m[2]);
    figures->ours_rgb.push_back(m[3]);
    figures->same.push_back(m[1] / m[0]);
    figures->rgb.push_back(m[2] / m[0]);
    if (!gray) figures->chain.push_back(m[2] / m[3]);
  }
}

// `how` ends the rows' names: what is special.
void RunTable(const char* title, const char* how) {
  std::fprintf(stderr, "%s\n", title);
  std::fprintf(stderr,
               "%-6s q  format restart bits/block |  ours  turbo same  turbo RGB  ours RGB (ms) | "
               "same bytes  : its RGB  RGB : its RGB\n",
               "page");
  std::map<std::string, Figures> all;
  for (const char* name : {"text", "photo", "mixed"}) {
    const Page page = MakePage(name);
    for (const int quality : {60, 75, 90})
      for (const Format& format : kFormats) MeasurePage(page, quality, format, &all[format.name]);
  }
  Report(all, how);
}

// libjpeg-turbo reads what it may use from the environment when it is first used, so each path
// takes a process of its own.
void RunPath(CpuPath path) {
  if (path == CpuPath::kPlain) setenv("JSIMD_FORCENONE", "1", 1);
  if (path == CpuPath::kVector128) setenv("JSIMD_FORCESSE2", "1", 1);
  ForcePath(path);
  RunTable(PathName(path), (std::string(", ") + PathName(path)).c_str());
}

int Main(int count, char** arguments) {
  if (count > 2) rounds = std::max(1, atoi(arguments[2]));
  for (const CpuPath path : CpuPaths()) {
    if (count > 1 && std::string(arguments[1]) != PathName(path)) continue;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      RunPath(path);
      return 0;
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) return 1;
  }
  return 0;
}

}  // namespace
}  // namespace scantk

int main(int count, char** arguments) {
  return scantk::Main(count, arguments);
}
