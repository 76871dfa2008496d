// PNG: 24-bit colour, 8-bit or 1-bit gray.
#ifndef SCANTK_HOST_IMAGE_WRITERS_PNG_WRITER_H_
#define SCANTK_HOST_IMAGE_WRITERS_PNG_WRITER_H_

#include "host/image_writers/page_writer.h"

namespace scanhost {

std::unique_ptr<PageWriter> MakePngWriter(const std::string& path);

}  // namespace scanhost

#endif  // SCANTK_HOST_IMAGE_WRITERS_PNG_WRITER_H_
