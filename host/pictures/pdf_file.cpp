// PDF 1.4, one picture to a page: the smallest file that says so. A lossless page is the compressed
// part of a PNG picture, which PDF takes as it stands; with --quality it is a JPEG picture.
// The table at the end is written after every page, so that the file holds what came so far.
#include <array>
#include <cstring>
#include <filesystem>
#include <vector>

#include "host/error_advice.h"
#include "host/pictures/picture_file.h"

namespace scanhost {
namespace {

// Text between parentheses.
std::string PdfText(const std::string& text) {
  std::string quoted = "(";
  for (char c : text) {
    if (c == '(' || c == ')' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + ")";
}

// The picture's file, removed when it has been taken over.
struct TakenFile {
  std::string path;
  ~TakenFile() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }
};

class PdfFile : public PictureFile {
 public:
  PdfFile(const std::string& path, const PictureOptions& options)
      : path_(path), options_(options), file_(OpenStream(path, "w+b")) {
    Put("%PDF-1.4\n%\xE2\xE3\xCF\xD3\n");
  }

  void AddPage(const PageFormat& page, Spool& rows) override {
    const bool jpeg = options_.jpeg_quality > 0 && page.depth == 8;
    const TakenFile picture{path_ + ".page"};
    const auto encoder = (jpeg ? MakeJpegFile : MakePngFile)(picture.path, options_);
    encoder->AddPage(page, rows);
    encoder->Finish();

    const int image = Begin();
    const std::string colors = std::to_string(page.Samples());
    const std::string depth = std::to_string(page.depth);
    const std::string width = std::to_string(page.width);
    const std::string length = std::to_string(image + 1) + " 0 R";
    Put("<</Type/XObject/Subtype/Image/Width " + width + "/Height " + std::to_string(page.height) +
        "/ColorSpace/Device" + (page.kind == PixelKind::kColor ? "RGB" : "Gray") +
        "/BitsPerComponent " + depth + "/Length " + length +
        (jpeg ? "/Filter/DCTDecode"
              : "/Filter/FlateDecode/DecodeParms<</Predictor 15/Colors " + colors +
                    "/BitsPerComponent " + depth + "/Columns " + width + ">>") +
        ">>stream\n");
    const size_t bytes = jpeg ? TakeJpeg(picture.path) : TakePng(picture.path);
    Put("\nendstream\nendobj\n");
    Object(std::to_string(bytes));

    char size[64];
    std::snprintf(size, sizeof size, "%.2f %.2f", page.width * 72.0 / page.x_resolution,
                  page.height * 72.0 / page.y_resolution);
    const std::string box = size;
    std::string draw = box.substr(0, box.find(' ')) + " 0 0 " + box.substr(box.find(' ') + 1);
    draw = "q " + draw + " 0 0 cm /P Do Q";
    const int content =
        Object("<</Length " + std::to_string(draw.size()) + ">>stream\n" + draw + "\nendstream");
    kids_ += std::to_string(Object("<</Type/Page/Parent 1 0 R/MediaBox[0 0 " + box +
                                   "]/Resources<</XObject<</P " + std::to_string(image) +
                                   " 0 R>>>>/Contents " + std::to_string(content) + " 0 R>>")) +
             " 0 R ";
    ++pages_;
    std::string when = page.time;
    std::erase_if(when, [](char c) { return c < '0' || c > '9'; });
    receipts_ += page.description + "\n";
    info_ = "<</Producer(scanhost)/Creator" + PdfText(page.device) + "/CreationDate" +
            PdfText("D:" + when) + "/Subject" + PdfText(receipts_) + ">>";
    WriteTable();
  }

  void Finish() override { CloseStream(std::move(file_), path_); }

 private:
  static constexpr size_t kTree = 1, kCatalog = 2, kFirstFree = 3;

  void Put(const std::string& text) { WriteAll(file_.get(), text.data(), text.size(), path_); }
  long Place() { return std::ftell(file_.get()); }

  int Begin() {
    offsets_.push_back(Place());
    const int number = static_cast<int>(kFirstFree + offsets_.size() - 1);
    Put(std::to_string(number) + " 0 obj\n");
    return number;
  }
  int Object(const std::string& body) {
    const int number = Begin();
    Put(body + "\nendobj\n");
    return number;
  }

  // The objects that change with every page, and the table of all of them.
  void WriteTable() {
    const int info = Object(info_);
    const long tree = Place();
    Put("1 0 obj\n<</Type/Pages/Count " + std::to_string(pages_) + "/Kids[" + kids_ +
        "]>>\nendobj\n");
    const long catalog = Place();
    Put("2 0 obj\n<</Type/Catalog/Pages 1 0 R>>\nendobj\n");
    const long table = Place();
    Put("xref\n0 " + std::to_string(kFirstFree + offsets_.size()) + "\n0000000000 65535 f \n");
    const auto entry = [this](long offset) {
      char text[32];
      std::snprintf(text, sizeof text, "%010ld 00000 n \n", offset);
      Put(text);
    };
    entry(tree);
    entry(catalog);
    for (long offset : offsets_) entry(offset);
    Put("trailer\n<</Size " + std::to_string(kFirstFree + offsets_.size()) + "/Root 2 0 R/Info " +
        std::to_string(info) + " 0 R>>\nstartxref\n" + std::to_string(table) + "\n%%EOF\n");
    if (std::fflush(file_.get()) != 0) throw HostFailure("cannot write " + path_);
  }

  size_t TakeJpeg(const std::string& path) {
    const Stream picture = OpenStream(path, "rb");
    std::vector<uint8_t> piece(1 << 16);
    size_t total = 0;
    while (const size_t got = std::fread(piece.data(), 1, piece.size(), picture.get())) {
      WriteAll(file_.get(), piece.data(), got, path_);
      total += got;
    }
    return total;
  }

  // The contents of the IDAT chunks.
  size_t TakePng(const std::string& path) {
    const Stream picture = OpenStream(path, "rb");
    std::fseek(picture.get(), 8, SEEK_SET);
    std::vector<uint8_t> piece;
    size_t total = 0;
    std::array<uint8_t, 8> head;
    while (std::fread(head.data(), 1, head.size(), picture.get()) == head.size()) {
      piece.resize(static_cast<size_t>(head[0]) << 24 | head[1] << 16 | head[2] << 8 | head[3]);
      if (std::fread(piece.data(), 1, piece.size(), picture.get()) != piece.size()) break;
      std::fseek(picture.get(), 4, SEEK_CUR);
      if (std::memcmp(&head[4], "IDAT", 4) != 0) continue;
      WriteAll(file_.get(), piece.data(), piece.size(), path_);
      total += piece.size();
    }
    if (total == 0) throw HostFailure("the page of " + path_ + " could not be compressed");
    return total;
  }

  std::string path_;
  PictureOptions options_;
  Stream file_;
  std::vector<long> offsets_;  // of the objects from kFirstFree on
  std::string kids_;
  std::string receipts_, info_;
  int pages_ = 0;
};

}  // namespace

std::unique_ptr<PictureFile> MakePdfFile(const std::string& path, const PictureOptions& options) {
  return std::make_unique<PdfFile>(path, options);
}

}  // namespace scanhost
