#include "tests/imaging/jpeg_samples.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace scantk::testing {
namespace {

uint8_t SampleOf(Content content, int x, int y, int component, std::mt19937& random) {
  if (content == Content::kNoise) return static_cast<uint8_t>(random());
  if (content == Content::kExtreme) return random() & 1 ? 255 : 0;
  const double wave = std::sin(x * 0.11 + component) + std::cos(y * 0.07 - component);
  const bool ink = (x / 5 + y / 9) % 7 == 0 && component == 0;
  return static_cast<uint8_t>(ink ? 20 : 128 + 60 * wave);
}

// One MCU row of planes, as the library's raw interface wants it.
struct RawRows {
  template <class Info>
  explicit RawRows(const Info& info) : rows(static_cast<size_t>(info.num_components)) {
    for (size_t i = 0; i < rows.size(); ++i) {
      const jpeg_component_info& component = info.comp_info[i];
      const int height = 8 * component.v_samp_factor;
      widths.push_back((static_cast<int>(info.image_width) / 8 + 10) * 8 * component.h_samp_factor);
      planes.emplace_back(static_cast<size_t>(widths[i] * height));
      for (int y = 0; y < height; ++y) rows[i].push_back(planes[i].data() + y * widths[i]);
      image.push_back(rows[i].data());
    }
  }
  std::vector<int> widths;
  std::vector<Bytes> planes;
  std::vector<std::vector<JSAMPROW>> rows;
  std::vector<JSAMPARRAY> image;
};

}  // namespace

Bytes EncodeJpeg(const JpegRecipe& recipe) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &memory, &size);
  info.image_width = static_cast<JDIMENSION>(recipe.width);
  info.image_height = static_cast<JDIMENSION>(recipe.height);
  info.input_components = static_cast<int>(recipe.factors.size() + 1) / 3;
  info.in_color_space = JCS_UNKNOWN;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, recipe.quality, TRUE);
  info.restart_interval = static_cast<unsigned>(recipe.restart);
  info.optimize_coding = recipe.own_tables;
  info.raw_data_in = TRUE;
  for (size_t i = 0; 3 * i < recipe.factors.size(); ++i) {
    jpeg_component_info& component = info.comp_info[i];
    component.h_samp_factor = recipe.factors[3 * i] - '0';
    component.v_samp_factor = recipe.factors[3 * i + 1] - '0';
    component.quant_tbl_no = component.dc_tbl_no = component.ac_tbl_no = i > 0;
  }
  jpeg_start_compress(&info, TRUE);
  RawRows raw(info);
  std::mt19937 random(static_cast<uint32_t>(recipe.width * 31 + recipe.height));
  for (int top = 0; info.next_scanline < info.image_height; top += 8) {
    for (int i = 0; i < info.num_components; ++i) {
      int y = top * info.comp_info[i].v_samp_factor;
      for (const JSAMPROW row : raw.rows[i]) {
        for (int x = 0; x < raw.widths[i]; ++x) row[x] = SampleOf(recipe.content, x, y, i, random);
        ++y;
      }
    }
    jpeg_write_raw_data(&info, raw.image.data(),
                        static_cast<JDIMENSION>(8 * info.max_v_samp_factor));
  }
  jpeg_finish_compress(&info);
  Bytes stream(memory, memory + size);
  jpeg_destroy_compress(&info);
  std::free(memory);
  return stream;
}

Bytes DecodeByLibrary(const Bytes& stream) {
  jpeg_decompress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, stream.data(), stream.size());
  jpeg_read_header(&info, TRUE);
  info.out_color_space = info.jpeg_color_space;
  info.raw_data_out = TRUE;
  jpeg_start_decompress(&info);
  RawRows raw(info);
  // The sample that covers most of a pixel.
  const auto nearest = [](int at, int factor, int max) {
    return ((2 * at + 1) * factor - 1) / (2 * max);
  };
  Bytes pixels;
  const int width = static_cast<int>(info.output_width), rows = 8 * info.max_v_samp_factor;
  for (int left = static_cast<int>(info.output_height); left > 0; left -= rows) {
    jpeg_read_raw_data(&info, raw.image.data(), static_cast<JDIMENSION>(rows));
    for (int y = 0; y < std::min(rows, left); ++y) {
      for (int at = 0; at < width * info.num_components; ++at) {
        const int x = at / info.num_components, i = at % info.num_components;
        const jpeg_component_info& c = info.comp_info[i];
        pixels.push_back(raw.rows[i][nearest(y, c.v_samp_factor, info.max_v_samp_factor)]
                                 [nearest(x, c.h_samp_factor, info.max_h_samp_factor)]);
      }
    }
  }
  jpeg_destroy_decompress(&info);
  return pixels;
}

size_t Find(const Bytes& stream, uint8_t marker) {
  const uint8_t code[] = {0xFF, marker};
  return static_cast<size_t>(
      std::search(stream.begin(), stream.end(), std::begin(code), std::end(code)) - stream.begin());
}

}  // namespace scantk::testing
