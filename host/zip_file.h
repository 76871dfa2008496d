// A ZIP file of stored (not compressed) texts.
#ifndef SCANTK_HOST_ZIP_FILE_H_
#define SCANTK_HOST_ZIP_FILE_H_

#include <string>
#include <utility>
#include <vector>

namespace scanhost {

// `parts`: names and contents, together less than 4 GB. Throws HostFailure.
void WriteZip(const std::string& path,
              const std::vector<std::pair<std::string, std::string>>& parts);

}  // namespace scanhost

#endif  // SCANTK_HOST_ZIP_FILE_H_
