// Scans a page of a network device into a picture: page DEVICE-IDENTITY FILE.ppm
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "contract/client.h"

using namespace scantk::client;

int main(int argc, char** argv) {
  ComponentUse use;
  Ref<IScanner> scanner;
  HRESULT result = CreateComponent(CLSID_scanner, IID_IScanner, scanner.Out());
  if (argc < 3 || FAILED(result)) return 2;
  uint32_t session = 0;
  uint32_t error = 0;
  result = scanner->OpenScannerSession(Wide(argv[1]).c_str(), T_IO_NETWORK, &session, &error);
  // Some conditions come as success with an error code.
  auto good = [&] { return SUCCEEDED(result) && error == TERR_NONE; };

  SCANNER_PARAMETERS page = {};
  page.dwWidth = 1200;  // 4 x 6 inches, in 1/300 inch
  page.dwLength = 1800;
  page.dwScanMode = T_COLOR;
  page.byBitsPerChannel = 8;
  page.wXResolution = 300;
  page.wYResolution = 300;
  BUFFER_INFO info = {};
  if (good()) result = scanner->LockScanner(session, T_LOCK_PROCESS, 10000, &error);
  if (good()) result = scanner->SetScannerParameters(session, &page, &error);
  if (good()) result = scanner->GetBufferInfo(session, &page, &info, &error);
  if (good()) result = scanner->StartScan(session, &error);
  std::vector<uint8_t> rows(64ull * info.dwBytesPerLine);
  std::vector<uint8_t> picture;
  while (good()) {
    uint32_t bytes = 0;
    result = scanner->ReadScanEx(session, rows.data(), 64 * info.dwBytesPerLine, &bytes, &error);
    picture.insert(picture.end(), rows.begin(), rows.begin() + bytes);
  }
  const bool done = SUCCEEDED(result) && error == TERR_SCANNER_END_OF_PAGE;
  if (!done) std::cerr << ToolkitErrorText(error) << '\n';
  scanner->StopScan(session, &error);
  scanner->UnlockScanner(session, &error);
  scanner->CloseScannerSession(session, &error);
  if (!done) return 1;

  std::ofstream file(argv[2], std::ios::binary);
  file << "P6 " << info.dwPixelWidth << ' ' << picture.size() / info.dwBytesPerLine << " 255\n";
  std::copy(picture.begin(), picture.end(), std::ostreambuf_iterator<char>(file));
  return file.flush() ? 0 : 1;
}
