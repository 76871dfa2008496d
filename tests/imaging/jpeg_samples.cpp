#include "tests/imaging/jpeg_samples.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>

#include <jpeglib.h>

namespace scantk::testing {
namespace {

void Throw(j_common_ptr info) {
  char text[JMSG_LENGTH_MAX];
  info->err->format_message(info, text);
  throw std::runtime_error(text);
}

jpeg_error_mgr* Errors(jpeg_error_mgr* manager) {
  jpeg_std_error(manager);
  manager->error_exit = Throw;
  manager->emit_message = [](j_common_ptr, int) {};
  return manager;
}

struct Compress : jpeg_compress_struct {
  Compress() {
    err = Errors(&errors);
    jpeg_create_compress(this);
    jpeg_mem_dest(this, &memory, &size);
  }
  ~Compress() {
    jpeg_destroy_compress(this);
    std::free(memory);
  }
  Bytes Finish() {
    jpeg_finish_compress(this);
    return Bytes(memory, memory + size);
  }
  jpeg_error_mgr errors;
  unsigned char* memory = nullptr;
  unsigned long size = 0;
};

struct Decompress : jpeg_decompress_struct {
  explicit Decompress(const Bytes& stream) {
    err = Errors(&errors);
    jpeg_create_decompress(this);
    jpeg_mem_src(this, stream.data(), stream.size());
    jpeg_read_header(this, TRUE);
    out_color_space = jpeg_color_space;
    dct_method = JDCT_ISLOW;
    do_fancy_upsampling = FALSE;
    do_block_smoothing = FALSE;
  }
  ~Decompress() { jpeg_destroy_decompress(this); }
  bool WholeRatios() const {
    for (int i = 0; i < num_components; ++i) {
      if (max_h_samp_factor % comp_info[i].h_samp_factor != 0) return false;
      if (max_v_samp_factor % comp_info[i].v_samp_factor != 0) return false;
    }
    return true;
  }
  jpeg_error_mgr errors;
};

uint8_t SampleOf(Content content, int x, int y, int component, std::mt19937& random) {
  switch (content) {
    case Content::kSmooth: {
      const double wave = std::sin(x * 0.11 + component) + std::cos(y * 0.07 - component);
      const bool ink = (x / 5 + y / 9) % 7 == 0 && component == 0;
      return static_cast<uint8_t>(ink ? 20 : 128 + 60 * wave);
    }
    case Content::kNoise:
      return static_cast<uint8_t>(random());
    case Content::kExtreme:
      return random() & 1 ? 255 : 0;
  }
  return 0;
}

int Reduced(int size, int factor, int max) {
  return (size * factor + max - 1) / max;
}

// One MCU row of planes, as the library's raw interface wants it.
struct RawRows {
  RawRows(const std::vector<int>& widths, const std::vector<int>& heights) {
    for (size_t i = 0; i < widths.size(); ++i) {
      planes.emplace_back(static_cast<size_t>(widths[i] * heights[i]));
      std::vector<JSAMPROW> component;
      for (int y = 0; y < heights[i]; ++y) component.push_back(planes[i].data() + y * widths[i]);
      rows.push_back(std::move(component));
    }
    for (auto& component : rows) image.push_back(component.data());
  }
  std::vector<Bytes> planes;
  std::vector<std::vector<JSAMPROW>> rows;
  std::vector<JSAMPARRAY> image;
};

}  // namespace

int JpegRecipe::h_max() const {
  int max = 1;
  for (const Factors& f : factors) max = std::max(max, f.h);
  return max;
}

int JpegRecipe::v_max() const {
  int max = 1;
  for (const Factors& f : factors) max = std::max(max, f.v);
  return max;
}

std::string JpegRecipe::Name() const {
  std::string name = std::to_string(width) + "x" + std::to_string(height);
  for (const Factors& f : factors) name += " " + std::to_string(f.h) + "," + std::to_string(f.v);
  name += " quality " + std::to_string(quality) + " restart " + std::to_string(restart);
  return name + " content " + std::to_string(static_cast<int>(content));
}

Bytes EncodeJpeg(const JpegRecipe& recipe) {
  Compress info;
  const int count = static_cast<int>(recipe.factors.size());
  info.image_width = static_cast<JDIMENSION>(recipe.width);
  info.image_height = static_cast<JDIMENSION>(recipe.height);
  info.input_components = count;
  info.in_color_space = JCS_UNKNOWN;
  jpeg_set_defaults(&info);
  jpeg_set_colorspace(&info, JCS_UNKNOWN);
  jpeg_set_quality(&info, recipe.quality, recipe.wide_quantisation ? FALSE : TRUE);
  info.restart_interval = static_cast<unsigned>(recipe.restart);
  info.optimize_coding = recipe.own_tables;
  info.raw_data_in = TRUE;
  std::vector<int> widths, heights;
  const int mcus = (recipe.width + 8 * recipe.h_max() - 1) / (8 * recipe.h_max());
  for (int i = 0; i < count; ++i) {
    jpeg_component_info& component = info.comp_info[i];
    component.h_samp_factor = recipe.factors[static_cast<size_t>(i)].h;
    component.v_samp_factor = recipe.factors[static_cast<size_t>(i)].v;
    component.quant_tbl_no = component.dc_tbl_no = component.ac_tbl_no = i > 0;
    widths.push_back(count == 1 ? (recipe.width + 7) / 8 * 8 * 2
                                : mcus * 8 * component.h_samp_factor);
    heights.push_back(8 * component.v_samp_factor);
  }
  jpeg_start_compress(&info, TRUE);
  RawRows rows(widths, heights);
  std::mt19937 random(static_cast<uint32_t>(recipe.width * 31 + recipe.height));
  for (int top = 0; info.next_scanline < info.image_height; top += 8) {
    for (size_t i = 0; i < rows.planes.size(); ++i) {
      const int v = recipe.factors[i].v;
      for (size_t at = 0; at < rows.planes[i].size(); ++at) {
        const int x = static_cast<int>(at) % widths[i];
        const int y = static_cast<int>(at) / widths[i] + top * v;
        rows.planes[i][at] = SampleOf(recipe.content, x, y, static_cast<int>(i), random);
      }
    }
    jpeg_write_raw_data(&info, rows.image.data(), static_cast<JDIMENSION>(8 * recipe.v_max()));
  }
  return info.Finish();
}

Bytes EncodeCoefficients(const std::vector<std::vector<int16_t>>& blocks, int quantisation) {
  Compress info;
  info.image_width = static_cast<JDIMENSION>(8 * blocks.size());
  info.image_height = 8;
  info.input_components = 1;
  info.in_color_space = JCS_GRAYSCALE;
  jpeg_set_defaults(&info);
  const std::vector<unsigned> table(64, static_cast<unsigned>(quantisation));
  jpeg_add_quant_table(&info, 0, table.data(), 100, FALSE);
  info.optimize_coding = TRUE;
  const auto array =
      info.mem->request_virt_barray(reinterpret_cast<j_common_ptr>(&info), JPOOL_IMAGE, TRUE,
                                    static_cast<JDIMENSION>(blocks.size()), 1, 1);
  jvirt_barray_ptr arrays[] = {array};
  info.mem->realize_virt_arrays(reinterpret_cast<j_common_ptr>(&info));
  const JBLOCKARRAY rows =
      info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info), array, 0, 1, TRUE);
  static const int kNatural[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                   12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                   35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                   58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
  for (size_t i = 0; i < blocks.size(); ++i) {
    for (size_t k = 0; k < 64; ++k) rows[0][i][kNatural[k]] = blocks[i][k];
  }
  jpeg_write_coefficients(&info, arrays);
  return info.Finish();
}

std::vector<Bytes> PlanesByLibrary(const Bytes& stream) {
  Decompress info(stream);
  info.raw_data_out = TRUE;
  jpeg_start_decompress(&info);
  std::vector<int> widths, heights;
  for (int i = 0; i < info.num_components; ++i) {
    widths.push_back(static_cast<int>(info.comp_info[i].width_in_blocks + 8) * 8);
    heights.push_back(8 * info.comp_info[i].v_samp_factor);
  }
  RawRows rows(widths, heights);
  std::vector<Bytes> planes(widths.size());
  while (info.output_scanline < info.output_height) {
    jpeg_read_raw_data(&info, rows.image.data(),
                       static_cast<JDIMENSION>(8 * info.max_v_samp_factor));
    for (size_t i = 0; i < planes.size(); ++i) {
      for (const JSAMPROW row : rows.rows[i]) {
        planes[i].insert(planes[i].end(), row, row + info.comp_info[i].downsampled_width);
      }
    }
  }
  for (size_t i = 0; i < planes.size(); ++i) {
    const jpeg_component_info& component = info.comp_info[i];
    planes[i].resize(static_cast<size_t>(component.downsampled_width) *
                     component.downsampled_height);
  }
  jpeg_abort_decompress(&info);
  return planes;
}

Bytes DecodeByLibrary(const Bytes& stream) {
  Decompress info(stream);
  if (info.WholeRatios()) {
    jpeg_start_decompress(&info);
    const size_t row = info.output_width * static_cast<size_t>(info.output_components);
    Bytes pixels(row * info.output_height);
    while (info.output_scanline < info.output_height) {
      JSAMPROW to = pixels.data() + row * info.output_scanline;
      jpeg_read_scanlines(&info, &to, 1);
    }
    return pixels;
  }
  const std::vector<Bytes> planes = PlanesByLibrary(stream);
  const int width = static_cast<int>(info.image_width);
  const int height = static_cast<int>(info.image_height);
  // The sample whose centre is nearest, the first of two.
  const auto nearest = [](int at, int factor, int max) {
    return static_cast<int>(std::ceil((at + 0.5) * factor / max - 1e-9)) - 1;
  };
  Bytes pixels;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (size_t i = 0; i < planes.size(); ++i) {
        const jpeg_component_info& c = info.comp_info[i];
        const int sx = nearest(x, c.h_samp_factor, info.max_h_samp_factor);
        const int sy = nearest(y, c.v_samp_factor, info.max_v_samp_factor);
        const int stride = Reduced(width, c.h_samp_factor, info.max_h_samp_factor);
        pixels.push_back(planes[i][static_cast<size_t>(sy * stride + sx)]);
      }
    }
  }
  return pixels;
}

JpegParts::JpegParts(const Bytes& stream) {
  size_t at = 2;
  for (;;) {
    const uint8_t marker = stream[at + 1];
    const size_t length = static_cast<size_t>(stream[at + 2]) << 8 | stream[at + 3];
    const auto body = stream.begin() + static_cast<ptrdiff_t>(at + 4);
    head.push_back({marker, Bytes(body, body + static_cast<ptrdiff_t>(length - 2))});
    at += 2 + length;
    if (marker == 0xDA) break;
  }
  scan.assign(stream.begin() + static_cast<ptrdiff_t>(at), stream.end() - 2);
}

Bytes JpegParts::Join() const {
  Bytes stream = {0xFF, 0xD8};
  const auto append = [&](const Bytes& more) {
    stream.insert(stream.end(), more.begin(), more.end());
  };
  for (const Segment& segment : head) append(JpegSegmentBytes(segment.marker, segment.body));
  append(scan);
  append(tail);
  return stream;
}

JpegParts::Segment& JpegParts::Find(uint8_t marker) {
  for (Segment& segment : head) {
    if (segment.marker == marker) return segment;
  }
  throw std::runtime_error("no such segment");
}

Bytes JpegSegmentBytes(uint8_t marker, const Bytes& body) {
  const size_t length = body.size() + 2;
  Bytes bytes = {0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  bytes.insert(bytes.end(), body.begin(), body.end());
  return bytes;
}

}  // namespace scantk::testing
