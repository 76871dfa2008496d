// PNG, TIFF and JPEG by the system's imaging component.
#include "contract/client.h"
#include "host/error_advice.h"
#include "host/pictures/picture_file.h"

#include <initguid.h>
#include <wincodec.h>

#include <vector>

namespace scanhost {
namespace {

using scantk::client::Ref;

// The system's own call is named, and its result.
void Check(HRESULT result, const char* what) {
  if (FAILED(result)) throw HostFailure(Describe({what, result, TERR_NONE}));
}

const GUID& PixelFormat(const PageFormat& page) {
  const bool color = page.Samples() == 3;
  if (page.depth == 1) return GUID_WICPixelFormatBlackWhite;
  if (page.depth == 16) return color ? GUID_WICPixelFormat48bppRGB : GUID_WICPixelFormat16bppGray;
  return color ? GUID_WICPixelFormat24bppBGR : GUID_WICPixelFormat8bppGray;
}

class SystemPicture : public PictureFile {
 public:
  SystemPicture(const std::string& path, const GUID& container, int quality)
      : container_(container), quality_(quality) {
    Check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                           IID_IWICImagingFactory, factory_.Out()),
          "the system's imaging component");
    Check(factory_->CreateStream(reinterpret_cast<IWICStream**>(stream_.Out())), "CreateStream");
    Check(stream_->InitializeFromFilename(scantk::client::Wide(path).c_str(), GENERIC_WRITE),
          "opening the picture's file");
    Check(factory_->CreateEncoder(container, nullptr,
                                  reinterpret_cast<IWICBitmapEncoder**>(encoder_.Out())),
          "CreateEncoder");
    Check(encoder_->Initialize(stream_.Get(), WICBitmapEncoderNoCache), "encoder Initialize");
  }

  void AddPage(const PageFormat& page, Spool& rows) override {
    Ref<IWICBitmapFrameEncode> frame;
    Ref<IPropertyBag2> options;
    Check(encoder_->CreateNewFrame(reinterpret_cast<IWICBitmapFrameEncode**>(frame.Out()),
                                   reinterpret_cast<IPropertyBag2**>(options.Out())),
          "CreateNewFrame");
    SetOptions(options, page);
    Check(frame->Initialize(options.Get()), "frame Initialize");
    Check(frame->SetSize(page.width, page.height), "SetSize");
    Check(frame->SetResolution(page.x_resolution, page.y_resolution), "SetResolution");
    WICPixelFormatGUID format = PixelFormat(page);
    Check(frame->SetPixelFormat(&format), "SetPixelFormat");
    const bool swap = IsEqualGUID(format, GUID_WICPixelFormat24bppBGR);
    if (!IsEqualGUID(format, PixelFormat(page)))
      throw HostFailure("the system's imaging component does not take these pixels");
    WriteMetadata(frame, page);
    std::vector<uint8_t> row(page.bytes_per_row);
    for (uint32_t y = 0; y < page.height; ++y) {
      rows.Read(row.data(), row.size());
      if (swap)
        for (size_t i = 0; i + 2 < row.size(); i += 3) std::swap(row[i], row[i + 2]);
      Check(frame->WritePixels(1, page.bytes_per_row, page.bytes_per_row, row.data()),
            "WritePixels");
    }
    Check(frame->Commit(), "frame Commit");
  }

  void Finish() override {
    Check(encoder_->Commit(), "encoder Commit");
    encoder_.Reset();
    stream_.Reset();
  }

 private:
  void SetOptions(const Ref<IPropertyBag2>& bag, const PageFormat& page) {
    if (!bag) return;
    const auto write = [&](const wchar_t* name, VARTYPE type, auto fill) {
      PROPBAG2 option = {};
      option.pstrName = const_cast<wchar_t*>(name);
      VARIANT value;
      VariantInit(&value);
      value.vt = type;
      fill(&value);
      bag->Write(1, &option, &value);  // an encoder without the option keeps its own choice
    };
    if (IsEqualGUID(container_, GUID_ContainerFormatJpeg))
      write(L"ImageQuality", VT_R4, [&](VARIANT* v) { v->fltVal = quality_ / 100.0f; });
    if (IsEqualGUID(container_, GUID_ContainerFormatTiff))
      write(L"TiffCompressionMethod", VT_UI1, [&](VARIANT* v) {
        v->bVal = page.depth == 1 ? WICTiffCompressionCCITT4 : WICTiffCompressionZIP;
      });
  }

  // What the component's metadata writers can take is written; a file without is a good picture.
  void WriteMetadata(const Ref<IWICBitmapFrameEncode>& frame, const PageFormat& page) {
    Ref<IWICMetadataQueryWriter> writer;
    if (FAILED(frame->GetMetadataQueryWriter(
            reinterpret_cast<IWICMetadataQueryWriter**>(writer.Out()))))
      return;
    const bool tiff = IsEqualGUID(container_, GUID_ContainerFormatTiff);
    const auto write = [&](const wchar_t* place, const std::string& text) {
      std::string copy = text;
      PROPVARIANT value = {};
      value.vt = VT_LPSTR;
      value.pszVal = copy.data();
      writer->SetMetadataByName(place, &value);
    };
    write(tiff ? L"/ifd/{ushort=270}" : L"/tEXt/{str=Description}", page.description);
    write(tiff ? L"/ifd/{ushort=305}" : L"/tEXt/{str=Software}", "scanhost");
    write(tiff ? L"/ifd/{ushort=272}" : L"/tEXt/{str=Source}", page.device);
    write(tiff ? L"/ifd/{ushort=306}" : L"/tEXt/{str=Creation Time}", page.time);
  }

  scantk::client::ComponentUse use_;
  GUID container_;
  int quality_;
  Ref<IWICImagingFactory> factory_;
  Ref<IWICStream> stream_;
  Ref<IWICBitmapEncoder> encoder_;
};

}  // namespace

Stream OpenShortLived(const std::string& path) {
  return OpenStream(path, "w+bD");
}

std::unique_ptr<PictureFile> MakePngFile(const std::string& path, const PictureOptions&) {
  return std::make_unique<SystemPicture>(path, GUID_ContainerFormatPng, 0);
}

std::unique_ptr<PictureFile> MakeTiffFile(const std::string& path, const PictureOptions&) {
  return std::make_unique<SystemPicture>(path, GUID_ContainerFormatTiff, 0);
}

std::unique_ptr<PictureFile> MakeJpegFile(const std::string& path, const PictureOptions& options) {
  return std::make_unique<SystemPicture>(path, GUID_ContainerFormatJpeg, options.jpeg_quality);
}

}  // namespace scanhost
