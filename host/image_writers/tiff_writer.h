// TIFF, any number of pages: Deflate, for black and white CCITT Group 4.
#ifndef SCANTK_HOST_IMAGE_WRITERS_TIFF_WRITER_H_
#define SCANTK_HOST_IMAGE_WRITERS_TIFF_WRITER_H_

#include "host/image_writers/page_writer.h"

namespace scanhost {

std::unique_ptr<PageWriter> MakeTiffWriter(const std::string& path);

}  // namespace scanhost

#endif  // SCANTK_HOST_IMAGE_WRITERS_TIFF_WRITER_H_
