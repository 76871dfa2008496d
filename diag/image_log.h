// The image log: the raw scan data, appended to a file of its own for each page.
#ifndef SCANTK_DIAG_IMAGE_LOG_H_
#define SCANTK_DIAG_IMAGE_LOG_H_

#include <cstddef>
#include <string>

namespace scantk {

// Makes an empty file of a new name in the common data folder's OV folder. False without that
// folder, which the toolkit does not create.
bool MakeImageLogFileName(std::string* path);

// Appends to the file, creating it when missing. False when it could not be opened.
bool AppendToImageLog(const std::string& path, const void* data, size_t byte_count);

}  // namespace scantk

#endif  // SCANTK_DIAG_IMAGE_LOG_H_
