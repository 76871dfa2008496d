// PNM: P6, P5 or P4.
#ifndef SCANTK_HOST_IMAGE_WRITERS_PNM_WRITER_H_
#define SCANTK_HOST_IMAGE_WRITERS_PNM_WRITER_H_

#include "host/image_writers/page_writer.h"

namespace scanhost {

std::unique_ptr<PageWriter> MakePnmWriter(const std::string& path);

}  // namespace scanhost

#endif  // SCANTK_HOST_IMAGE_WRITERS_PNM_WRITER_H_
