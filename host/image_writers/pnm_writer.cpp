#include "host/image_writers/pnm_writer.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include "host/error_advice.h"
#include "host/image_writers/part_file.h"

namespace scanhost {
namespace {

class PnmWriter : public PageWriter {
 public:
  explicit PnmWriter(const std::string& path) : part_(path) {}

  bool ManyPages() const override { return false; }

  void BeginPage(const PageFormat& format) override {
    format_ = format;
    rows_ = 0;
    file_ = OpenStream(part_.path(), "wb");
    WriteHeader(format.height);
  }

  void WriteRows(const uint8_t* rows, uint32_t count) override {
    const size_t size = size_t{format_.bytes_per_row} * count;
    if (format_.kind == PixelKind::kBlackAndWhite) {
      // A set bit is black here.
      flipped_.resize(size);
      for (size_t i = 0; i < size; ++i) flipped_[i] = static_cast<uint8_t>(~rows[i]);
      rows = flipped_.data();
    }
    WriteAll(file_.Get(), rows, size, part_.path());
    rows_ += count;
  }

  void EndPage() override {
    if (rows_ != format_.height) {
      if (std::fseek(file_.Get(), 0, SEEK_SET) != 0)
        throw HostFailure("cannot write " + part_.path() + ": " + std::strerror(errno));
      WriteHeader(rows_);
    }
    if (std::fclose(file_.Release()) != 0)
      throw HostFailure("cannot write " + part_.path() + ": " + std::strerror(errno));
    complete_ = true;
  }

  void DropPage() override {
    file_.Reset();
    complete_ = false;
  }

  bool Finish() override {
    if (complete_) part_.Commit();
    return complete_;
  }

 private:
  // The height stands in a field of fixed width, so that it can be written over.
  void WriteHeader(uint32_t height) {
    char text[64];
    const int magic = format_.kind == PixelKind::kColor  ? 6
                      : format_.kind == PixelKind::kGray ? 5
                                                         : 4;
    const int length = std::snprintf(text, sizeof text, "P%d\n%u %10u\n%s", magic, format_.width,
                                     height, magic == 4 ? "" : "255\n");
    WriteAll(file_.Get(), text, static_cast<size_t>(length), part_.path());
  }

  PartFile part_;
  Stream file_;
  PageFormat format_;
  uint32_t rows_ = 0;
  bool complete_ = false;
  std::vector<uint8_t> flipped_;
};

}  // namespace

std::unique_ptr<PageWriter> MakePnmWriter(const std::string& path) {
  return std::make_unique<PnmWriter>(path);
}

}  // namespace scanhost
