#include <png.h>

#include <cstring>
#include <stdexcept>

#include "simulator/picture_file.h"

namespace scantk::sim {

Picture ReadPng(const std::string& path, const std::string& bytes) {
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
    throw std::runtime_error(path + ": " + image.message);
  }
  image.format = PNG_FORMAT_RGB;
  try {
    CheckPictureSize(path, image.width, image.height);
  } catch (...) {
    png_image_free(&image);
    throw;
  }
  Picture picture;
  picture.width = static_cast<int>(image.width);
  picture.height = static_cast<int>(image.height);
  picture.rgb.resize(PNG_IMAGE_SIZE(image));
  const png_color white{255, 255, 255};
  if (png_image_finish_read(&image, &white, picture.rgb.data(), 0, nullptr) == 0) {
    throw std::runtime_error(path + ": " + image.message);
  }
  return picture;
}

}  // namespace scantk::sim
