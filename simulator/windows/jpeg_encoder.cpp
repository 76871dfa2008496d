#include <algorithm>
#include <cstring>

#include "simulator/page_job.h"
#include "simulator/windows/imaging_component.h"

namespace scantk::sim {
namespace {

constexpr int kMostSide = 65535;

// A page that was encoded whole.
class JpegBytes : public ImageBytes {
 public:
  JpegBytes(std::vector<uint8_t> coded, int rows) : coded_(std::move(coded)), rows_(rows) {}

  size_t Read(uint8_t* out, size_t size) override {
    const size_t count = std::min(size, coded_.size() - taken_);
    std::memcpy(out, coded_.data() + taken_, count);
    taken_ += count;
    return count;
  }
  int rows() const override {
    return static_cast<int>(static_cast<uint64_t>(rows_) * taken_ /
                            std::max<size_t>(coded_.size(), 1));
  }

 private:
  const std::vector<uint8_t> coded_;
  const int rows_;
  size_t taken_ = 0;
};

// A wish that an encoder may not know.
template <class Set>
void Wish(IPropertyBag2* options, const wchar_t* name, const Set& set) {
  PROPBAG2 option = {};
  option.pstrName = const_cast<wchar_t*>(name);
  VARIANT value;
  VariantInit(&value);
  set(&value);
  options->Write(1, &option, &value);
}

void SetOptions(IPropertyBag2* options, const PageOrder& order, const DeliveryOptions& delivery) {
  const auto sampling = delivery.jpeg_horizontal == 1 ? WICJpegYCrCbSubsampling444
                        : delivery.jpeg_vertical == 1 ? WICJpegYCrCbSubsampling422
                                                      : WICJpegYCrCbSubsampling420;
  Wish(options, L"ImageQuality", [&](VARIANT* value) {
    value->vt = VT_R4;
    value->fltVal = static_cast<float>(JpegQuality(order, delivery)) / 100.0F;
  });
  Wish(options, L"JpegYCrCbSubsampling", [&](VARIANT* value) {
    value->vt = VT_UI1;
    value->bVal = static_cast<BYTE>(sampling);
  });
}

void WriteRows(IWICBitmapFrameEncode* frame, ImageBytes& raw, size_t bytes, int rows, bool colour) {
  std::vector<uint8_t> row(bytes);
  for (int i = 0; i < rows; ++i) {
    raw.Read(row.data(), row.size());
    for (size_t at = 0; colour && at + 2 < row.size(); at += 3) std::swap(row[at], row[at + 2]);
    Require(frame->WritePixels(1, static_cast<UINT>(bytes), static_cast<UINT>(bytes), row.data()),
            "JPEG");
  }
}

std::vector<uint8_t> Contents(IStream* stream) {
  STATSTG facts = {};
  Require(stream->Stat(&facts, STATFLAG_NONAME), "JPEG");
  std::vector<uint8_t> bytes(static_cast<size_t>(facts.cbSize.QuadPart));
  LARGE_INTEGER start = {};
  ULONG got = 0;
  Require(stream->Seek(start, STREAM_SEEK_SET, nullptr), "JPEG");
  Require(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &got), "JPEG");
  bytes.resize(got);
  return bytes;
}

}  // namespace

std::unique_ptr<ImageBytes> EncodeJpeg(std::unique_ptr<ImageBytes> raw, const PageOrder& order,
                                       const DeliveryOptions& delivery) {
  const int width = PixelsPerRow(order.settings);
  if (width < 1 || order.rows < 1 || width > kMostSide || order.rows > kMostSide)
    throw std::runtime_error("a JPEG picture has 1 to 65535 pixels a side");
  const bool colour = order.settings.data_type == DataType::kColor;
  ImagingComponent component;
  ComPtr<IStream> stream;
  ComPtr<IWICBitmapEncoder> encoder;
  ComPtr<IWICBitmapFrameEncode> frame;
  ComPtr<IPropertyBag2> options;
  Require(CreateStreamOnHGlobal(nullptr, TRUE, stream.Out()), "JPEG");
  Require(component->CreateEncoder(GUID_ContainerFormatJpeg, nullptr, encoder.Out()), "JPEG");
  Require(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), "JPEG");
  Require(encoder->CreateNewFrame(frame.Out(), options.Out()), "JPEG");
  SetOptions(options.Get(), order, delivery);
  Require(frame->Initialize(options.Get()), "JPEG");
  Require(frame->SetSize(static_cast<UINT>(width), static_cast<UINT>(order.rows)), "JPEG");
  WICPixelFormatGUID format = colour ? GUID_WICPixelFormat24bppBGR : GUID_WICPixelFormat8bppGray;
  Require(frame->SetPixelFormat(&format), "JPEG");
  WriteRows(frame.Get(), *raw, BytesPerRow(order.settings), order.rows, colour);
  Require(frame->Commit(), "JPEG");
  Require(encoder->Commit(), "JPEG");
  return std::make_unique<JpegBytes>(Contents(stream.Get()), order.rows);
}

}  // namespace scantk::sim
