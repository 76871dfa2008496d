// How fast rows go through the transforms that are not the JPEG decoder, each beside a yardstick
// measured in the same run: the machine's memcpy of the same page, and the scalers of libswscale
// and libyuv where they are installed. Pages are A4 and go in pieces of the sizes that a scan uses:
// "as scanned" in the two small buffers that a scan uses over and over, otherwise from one
// page-sized buffer to another. The yardsticks always work on whole pages. Figures are medians.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/table.h"
#include "imaging/cpu.h"
#include "imaging/image_pipeline.h"
#ifdef SCANTK_HAVE_SWSCALE
extern "C" {
#include <libswscale/swscale.h>
}
#endif
#ifdef SCANTK_HAVE_LIBYUV
#include <libyuv/scale_rgb.h>
#endif

namespace scantk {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kInputPiece = 62000;
constexpr size_t kOutputPiece = 64000;
constexpr int kRounds = 15;

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The times of two pieces of work, done in turns so that both see the same machine.
struct Pair {
  std::vector<double> ours;
  std::vector<double> yardstick;
};

Pair Compare(const std::function<void()>& ours, const std::function<void()>& yardstick) {
  Pair times;
  ours();
  yardstick();
  for (int round = 0; round < kRounds; ++round) {
    times.ours.push_back(Seconds(ours));
    times.yardstick.push_back(Seconds(yardstick));
  }
  return times;
}

struct Page {
  int pixels;
  int rows;
  int bits;

  size_t row_bytes() const { return static_cast<size_t>(pixels) * static_cast<size_t>(bits) / 8; }
  size_t bytes() const { return row_bytes() * static_cast<size_t>(rows); }
  Bytes Content() const {
    Bytes bytes(this->bytes());
    uint32_t state = 1;
    for (uint8_t& byte : bytes)
      byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
  }
};

XformDescriptor Xform(uint32_t id, int64_t a, int64_t b = 0, int64_t c = 0) {
  XformDescriptor descriptor{};
  descriptor.builtInId = id;
  descriptor.params[0] = a;
  descriptor.params[1] = b;
  descriptor.params[2] = c;
  return descriptor;
}

// Where the pieces of a page lie: in page-sized buffers, or all in the same place.
enum class Layout { kPages, kAsScanned };

// Sends a page through a pipeline. Any surprise ends the program: its time would mean nothing.
void Convert(const Page& page, const XformDescriptor& xform, const Bytes& input, Bytes& output,
             Layout layout = Layout::kPages) {
  const ImageTraits traits = {page.pixels, page.bits, page.bits / 8, 300, 300, page.rows, -1, -1};
  const size_t stride = layout == Layout::kPages ? 1 : 0;
  IpHandle handle = nullptr;
  IpResult result = ipCreatePipeline(1, &xform, 0, &handle);
  if (result == IP_FINISHED) ipSetInputTraits(handle, &traits);
  size_t in = 0, out = 0;
  for (result = 0; result == 0;) {
    const size_t piece = std::min(kInputPiece, input.size() - in);
    const size_t room = std::min(kOutputPiece, output.size() - out);
    size_t used = 0, produced = 0;
    uint64_t next = 0, position = 0;
    result = ipConvert(handle, piece, piece ? input.data() + in * stride : nullptr, &used, &next,
                       room, output.data() + out * stride, &produced, &position);
    in += used;
    out += produced;
  }
  ipDestroyPipeline(handle);
  if (result != IP_FINISHED || out != output.size()) {
    std::fprintf(stderr, "the page did not come out whole: result %#x, %zu bytes\n", result, out);
    std::exit(1);
  }
}

void Report(const std::string& what, const char* yardstick, size_t bytes, const Pair& times) {
  const double gigabytes = static_cast<double>(bytes) / 1e9;
  std::vector<double> ratios;
  for (size_t i = 0; i < times.ours.size(); ++i)
    ratios.push_back(times.yardstick[i] / times.ours[i]);
  bench::PrintRow(what, gigabytes / bench::Middle(times.ours), yardstick,
                  gigabytes / bench::Middle(times.yardstick), "GB/s", ratios);
}

void CompareWithCopy(const char* what, const Page& page, const XformDescriptor& xform) {
  const Bytes input = page.Content();
  Bytes output(input.size()), copy(input.size());
  for (const Layout layout : {Layout::kPages, Layout::kAsScanned}) {
    const Pair times = Compare([&] { Convert(page, xform, input, output, layout); },
                               [&] { std::memcpy(copy.data(), input.data(), input.size()); });
    const bool pages = layout == Layout::kPages;
    Report(what + std::string(pages ? "" : ", as scanned"), "memcpy", input.size(), times);
  }
}

[[maybe_unused]] void CompareScaler(const char* what, const char* yardstick, const Page& page,
                                    const std::function<void(const Bytes&, Bytes&)>& other) {
  const XformDescriptor scale = Xform(XFORM_SCALE, 2 << 24, 2 << 24, 1);
  const Bytes input = page.Content();
  Bytes output(4 * input.size()), theirs(4 * input.size());
  const Pair times =
      Compare([&] { Convert(page, scale, input, output); }, [&] { other(input, theirs); });
  Report(what, yardstick, output.size(), times);
}

void CompareScalers(const Page& gray, const Page& color) {
  (void)gray;
  (void)color;
#ifdef SCANTK_HAVE_SWSCALE
  SwsContext* context =
      sws_getContext(gray.pixels, gray.rows, AV_PIX_FMT_GRAY8, 2 * gray.pixels, 2 * gray.rows,
                     AV_PIX_FMT_GRAY8, SWS_FAST_BILINEAR, nullptr, nullptr, nullptr);
  CompareScaler("scale 2.0 x 2.0, gray, 300 dpi", "libswscale fast bilinear", gray,
                [&](const Bytes& input, Bytes& output) {
                  const uint8_t* from[] = {input.data(), nullptr, nullptr, nullptr};
                  uint8_t* to[] = {output.data(), nullptr, nullptr, nullptr};
                  const int from_stride[] = {gray.pixels, 0, 0, 0};
                  const int to_stride[] = {2 * gray.pixels, 0, 0, 0};
                  sws_scale(context, from, from_stride, 0, gray.rows, to, to_stride);
                });
  sws_freeContext(context);
#else
  bench::PrintMissing("libswscale");
#endif
#ifdef SCANTK_HAVE_LIBYUV
  CompareScaler("scale 2.0 x 2.0, colour, 300 dpi", "libyuv RGB24 bilinear", color,
                [&](const Bytes& input, Bytes& output) {
                  libyuv::RGBScale(input.data(), 3 * color.pixels, color.pixels, color.rows,
                                   output.data(), 6 * color.pixels, 2 * color.pixels,
                                   2 * color.rows, libyuv::kFilterBilinear);
                });
#else
  bench::PrintMissing("libyuv");
#endif
}

void CompareAll() {
  const Page color300 = {2480, 3508, 24};
  const Page color600 = {4960, 7016, 24};
  const Page gray300 = {2480, 3508, 8};
  const int64_t rows300 = color300.rows;
  const int64_t rows600 = color600.rows;
  CompareWithCopy("pass-through, colour, 300 dpi", color300, Xform(XFORM_TABLE, 1));
  CompareWithCopy("pass-through, colour, 600 dpi", color600, Xform(XFORM_TABLE, 1));
  CompareWithCopy("vertical flip, colour, 300 dpi", color300, Xform(XFORM_FLIP, 0, 1, rows300));
  CompareWithCopy("vertical flip, colour, 600 dpi", color600, Xform(XFORM_FLIP, 0, 1, rows600));
  CompareWithCopy("180 degrees, colour, 300 dpi", color300, Xform(XFORM_FLIP, 1, 1, rows300));
  CompareWithCopy("180 degrees, colour, 600 dpi", color600, Xform(XFORM_FLIP, 1, 1, rows600));
  CompareWithCopy("Y Cb Cr to RGB, 300 dpi", color300, Xform(XFORM_COLOR_SPACE, 2));
  CompareScalers(gray300, color300);
}

}  // namespace
}  // namespace scantk

int main() {
  for (const scantk::CpuPath path : scantk::CpuPaths()) {
    std::printf("Path %s:\n", scantk::PathName(path));
    scantk::ForcePath(path);
    scantk::CompareAll();
  }
}
