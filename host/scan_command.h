// scanhost scan.
#ifndef SCANTK_HOST_SCAN_COMMAND_H_
#define SCANTK_HOST_SCAN_COMMAND_H_

#include <span>
#include <string>

namespace scanhost {

int RunScanCommand(std::span<const std::string> words);
std::string ScanHelp();

}  // namespace scanhost

#endif  // SCANTK_HOST_SCAN_COMMAND_H_
