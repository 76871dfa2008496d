#include "simulator/picture_file.h"
#include "simulator/windows/imaging_component.h"

namespace scantk::sim {

Picture ReadPng(const std::string& path, const std::string& bytes) {
  const char* name = path.c_str();
  ImagingComponent component;
  ComPtr<IWICStream> stream;
  ComPtr<IWICBitmapDecoder> decoder;
  ComPtr<IWICBitmapFrameDecode> frame;
  ComPtr<IWICFormatConverter> converter;
  Require(component->CreateStream(stream.Out()), name);
  auto* data = reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()));
  Require(stream->InitializeFromMemory(data, static_cast<DWORD>(bytes.size())), name);
  Require(component->CreateDecoderFromStream(stream.Get(), nullptr, WICDecodeMetadataCacheOnDemand,
                                             decoder.Out()),
          name);
  Require(decoder->GetFrame(0, frame.Out()), name);
  UINT width = 0;
  UINT height = 0;
  Require(frame->GetSize(&width, &height), name);
  CheckPictureSize(path, width, height);
  Require(component->CreateFormatConverter(converter.Out()), name);
  Require(converter->Initialize(frame.Get(), GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone,
                                nullptr, 0, WICBitmapPaletteTypeCustom),
          name);
  Picture picture{static_cast<int>(width), static_cast<int>(height), {}};
  std::vector<BYTE> pixels(size_t{width} * height * 4);
  Require(
      converter->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size()), pixels.data()),
      name);
  picture.rgb.reserve(size_t{width} * height * 3);
  for (size_t i = 0; i < pixels.size(); i += 4)  // over white
    for (size_t channel : {2, 1, 0})
      picture.rgb.push_back(
          static_cast<uint8_t>(255 - (255 - pixels[i + channel]) * pixels[i + 3] / 255));
  return picture;
}

}  // namespace scantk::sim
