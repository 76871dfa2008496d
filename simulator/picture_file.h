// PNG and PNM files as 8-bit RGB.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace scantk::sim {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;  ///< height x width x 3 bytes
};

/// Reads a PNG (any kind; transparency over white) or a binary PNM (P4, P5 and P6 with a maximum of
/// 255). Throws std::runtime_error that names the file and says what is wrong with it.
Picture ReadPicture(const std::string& path);

}  // namespace scantk::sim
