// PNG and PNM files as 8-bit RGB.
#ifndef SCANTK_SIMULATOR_PICTURE_FILE_H_
#define SCANTK_SIMULATOR_PICTURE_FILE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace scantk::sim {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;  // height x width x 3 bytes
};

// Reads a PNG (any kind; transparency over white) or a binary PNM (P4, P5 and P6 with a maximum of
// 255). Throws std::runtime_error that names the file and says what is wrong with it.
Picture ReadPicture(const std::string& path);

// The PNG part of it, for the system's or a kept library.
Picture ReadPng(const std::string& path, const std::string& bytes);
// Throws std::runtime_error when no picture of this size is taken.
void CheckPictureSize(const std::string& path, int64_t width, int64_t height);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_PICTURE_FILE_H_
