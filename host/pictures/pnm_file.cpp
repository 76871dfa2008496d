// PNM: P6, P5 or P4.
#include <algorithm>
#include <vector>

#include "host/error_advice.h"
#include "host/pictures/picture_file.h"

namespace scanhost {
namespace {

class PnmFile : public PictureFile {
 public:
  explicit PnmFile(const std::string& path) : path_(path), file_(OpenStream(path, "wb")) {}

  void AddPage(const PageFormat& page, Spool& rows) override {
    const bool bits = page.kind == PixelKind::kBlackAndWhite;
    const int magic = bits ? 4 : page.kind == PixelKind::kGray ? 5 : 6;
    std::string head = "P" + std::to_string(magic) + "\n" + std::to_string(page.width) + " " +
                       std::to_string(page.height) + "\n";
    if (!bits) head += page.depth == 16 ? "65535\n" : "255\n";
    WriteAll(file_.get(), head.data(), head.size(), path_);
    std::vector<uint8_t> row(page.bytes_per_row);
    for (uint32_t y = 0; y < page.height; ++y) {
      rows.Read(row.data(), row.size());
      if (bits)  // a set bit is black here
        for (uint8_t& byte : row) byte = static_cast<uint8_t>(~byte);
      if (page.depth == 16)  // the high byte comes first here
        for (size_t i = 0; i + 1 < row.size(); i += 2) std::swap(row[i], row[i + 1]);
      WriteAll(file_.get(), row.data(), row.size(), path_);
    }
  }

  void Finish() override { CloseStream(std::move(file_), path_); }

 private:
  std::string path_;
  Stream file_;
};

}  // namespace

std::unique_ptr<PictureFile> MakePnmFile(const std::string& path, const PictureOptions&) {
  return std::make_unique<PnmFile>(path);
}

}  // namespace scanhost
