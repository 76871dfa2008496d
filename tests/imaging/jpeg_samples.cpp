#include "tests/imaging/jpeg_samples.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <jpeglib.h>

namespace scantk::testing {
namespace {

jpeg_error_mgr* Errors(jpeg_error_mgr* manager) {
  jpeg_std_error(manager);
  manager->error_exit = [](j_common_ptr) { throw std::runtime_error("the library refuses it"); };
  manager->emit_message = [](j_common_ptr, int) {};
  return manager;
}

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
      const int mcus = static_cast<int>(info.image_width + 7) / 8 + 1;
      widths.push_back(8 * (mcus + 8) * component.h_samp_factor);
      planes.emplace_back(static_cast<size_t>(widths[i] * 8 * component.v_samp_factor));
      for (int y = 0; y < 8 * component.v_samp_factor; ++y) {
        rows[i].push_back(planes[i].data() + y * widths[i]);
      }
      image.push_back(rows[i].data());
    }
  }
  std::vector<int> widths;
  std::vector<Bytes> planes;
  std::vector<std::vector<JSAMPROW>> rows;
  std::vector<JSAMPARRAY> image;
};

struct Decompress : jpeg_decompress_struct {
  explicit Decompress(const Bytes& stream) {
    err = Errors(&errors);
    jpeg_create_decompress(this);
    jpeg_mem_src(this, stream.data(), stream.size());
    jpeg_read_header(this, TRUE);
    out_color_space = jpeg_color_space;
    dct_method = JDCT_ISLOW;
    do_block_smoothing = FALSE;
    raw_data_out = TRUE;
    jpeg_start_decompress(this);
  }
  ~Decompress() { jpeg_destroy_decompress(this); }

  std::vector<Bytes> Planes() {
    RawRows rows(*this);
    std::vector<Bytes> planes(rows.planes.size());
    while (output_scanline < output_height) {
      jpeg_read_raw_data(this, rows.image.data(), static_cast<JDIMENSION>(8 * max_v_samp_factor));
      for (size_t i = 0; i < planes.size(); ++i) {
        for (const JSAMPROW row : rows.rows[i]) {
          planes[i].insert(planes[i].end(), row, row + comp_info[i].downsampled_width);
        }
      }
    }
    for (size_t i = 0; i < planes.size(); ++i) {
      planes[i].resize(size_t{comp_info[i].downsampled_width} * comp_info[i].downsampled_height);
    }
    return planes;
  }

  jpeg_error_mgr errors;
};

}  // namespace

std::string JpegRecipe::Name() const {
  std::string name = std::to_string(width) + "x" + std::to_string(height);
  for (const Factors& f : factors) name += " " + std::to_string(f.h) + "," + std::to_string(f.v);
  return name + " quality " + std::to_string(quality) + " restart " + std::to_string(restart) +
         " content " + std::to_string(static_cast<int>(content));
}

Bytes EncodeJpeg(const JpegRecipe& recipe) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = Errors(&errors);
  jpeg_create_compress(&info);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &memory, &size);
  info.image_width = static_cast<JDIMENSION>(recipe.width);
  info.image_height = static_cast<JDIMENSION>(recipe.height);
  info.input_components = static_cast<int>(recipe.factors.size());
  info.in_color_space = JCS_UNKNOWN;
  jpeg_set_defaults(&info);
  jpeg_set_colorspace(&info, JCS_UNKNOWN);
  jpeg_set_quality(&info, recipe.quality, TRUE);
  info.restart_interval = static_cast<unsigned>(recipe.restart);
  info.optimize_coding = recipe.own_tables;
  info.raw_data_in = TRUE;
  int v_max = 1;
  for (size_t i = 0; i < recipe.factors.size(); ++i) {
    jpeg_component_info& component = info.comp_info[i];
    component.h_samp_factor = recipe.factors[i].h;
    component.v_samp_factor = recipe.factors[i].v;
    component.quant_tbl_no = component.dc_tbl_no = component.ac_tbl_no = i > 0;
    v_max = std::max(v_max, recipe.factors[i].v);
  }
  jpeg_start_compress(&info, TRUE);
  RawRows rows(info);
  std::mt19937 random(static_cast<uint32_t>(recipe.width * 31 + recipe.height));
  for (int top = 0; info.next_scanline < info.image_height; top += 8) {
    for (size_t i = 0; i < rows.planes.size(); ++i) {
      for (size_t at = 0; at < rows.planes[i].size(); ++at) {
        const int x = static_cast<int>(at) % rows.widths[i];
        const int y = static_cast<int>(at) / rows.widths[i] + top * recipe.factors[i].v;
        rows.planes[i][at] = SampleOf(recipe.content, x, y, static_cast<int>(i), random);
      }
    }
    jpeg_write_raw_data(&info, rows.image.data(), static_cast<JDIMENSION>(8 * v_max));
  }
  jpeg_finish_compress(&info);
  const Bytes stream(memory, memory + size);
  jpeg_destroy_compress(&info);
  std::free(memory);
  return stream;
}

std::vector<Bytes> PlanesByLibrary(const Bytes& stream) {
  return Decompress(stream).Planes();
}

Bytes DecodeByLibrary(const Bytes& stream) {
  Decompress info(stream);
  const std::vector<Bytes> planes = info.Planes();
  // The sample that covers most of a pixel.
  const auto nearest = [](JDIMENSION at, int factor, int max) {
    return static_cast<size_t>(std::ceil((at + 0.5) * factor / max - 1e-9)) - 1;
  };
  std::vector<std::vector<size_t>> columns(planes.size());
  for (size_t i = 0; i < planes.size(); ++i) {
    for (JDIMENSION x = 0; x < info.image_width; ++x) {
      columns[i].push_back(nearest(x, info.comp_info[i].h_samp_factor, info.max_h_samp_factor));
    }
  }
  Bytes pixels;
  for (JDIMENSION y = 0; y < info.image_height; ++y) {
    std::vector<const uint8_t*> rows;
    for (size_t i = 0; i < planes.size(); ++i) {
      const jpeg_component_info& c = info.comp_info[i];
      rows.push_back(planes[i].data() +
                     nearest(y, c.v_samp_factor, info.max_v_samp_factor) * c.downsampled_width);
    }
    for (JDIMENSION x = 0; x < info.image_width; ++x) {
      for (size_t i = 0; i < rows.size(); ++i) pixels.push_back(rows[i][columns[i][x]]);
    }
  }
  return pixels;
}

JpegParts::JpegParts(const Bytes& stream) {
  size_t at = 2;
  do {
    const size_t length = static_cast<size_t>(stream[at + 2]) << 8 | stream[at + 3];
    const auto body = stream.begin() + static_cast<ptrdiff_t>(at + 4);
    head.push_back({stream[at + 1], Bytes(body, body + static_cast<ptrdiff_t>(length - 2))});
    at += 2 + length;
  } while (head.back().marker != 0xDA);
  scan.assign(stream.begin() + static_cast<ptrdiff_t>(at), stream.end() - 2);
}

Bytes JpegParts::Join() const {
  Bytes stream = {0xFF, 0xD8};
  for (const Segment& segment : head) {
    Append(stream, JpegSegmentBytes(segment.marker, segment.body));
  }
  Append(stream, scan);
  Append(stream, tail);
  return stream;
}

Bytes& JpegParts::Body(uint8_t marker) {
  for (Segment& segment : head) {
    if (segment.marker == marker) return segment.body;
  }
  throw std::runtime_error("no such segment");
}

Bytes JpegSegmentBytes(uint8_t marker, const Bytes& body) {
  const size_t length = body.size() + 2;
  Bytes bytes = {0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  Append(bytes, body);
  return bytes;
}

}  // namespace scantk::testing
