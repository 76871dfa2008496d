// Scans one page: example DEVICE-IDENTITY [LIBRARY] > page.ppm
#include <cstdio>
#include <string>
#include <vector>

#include "contract/client.h"

using namespace scantk::client;

int main(int argc, char** argv) {
  ComponentUse use;
  Ref<IScanner> scanner;
  HRESULT made = argc > 2 ? CreateComponentFrom(argv[2], CLSID_scanner, IID_IScanner, scanner.Out())
                          : CreateComponent(CLSID_scanner, IID_IScanner, scanner.Out());
  if (FAILED(made) || argc < 2) return 2;
  uint32_t session = 0, error = 0, bytes = 0;
  auto good = [&](HRESULT result) {  // some conditions come as success with an error code
    if (SUCCEEDED(result) && error == TERR_NONE) return true;
    std::fprintf(stderr, "0x%08x %s\n", static_cast<unsigned>(result), ToolkitErrorText(error));
    return false;
  };
  if (!good(scanner->OpenScannerSession(Wide(argv[1]).c_str(), T_IO_NETWORK, &session, &error)))
    return 1;
  SCANNER_PARAMETERS page = {};  // 4 x 6 inches, in 1/300 inch
  page.dwWidth = 1200, page.dwLength = 1800;
  page.dwScanMode = T_COLOR, page.byBitsPerChannel = 8;
  page.wXResolution = page.wYResolution = 300;
  BUFFER_INFO info = {};
  bool done = good(scanner->LockScanner(session, T_LOCK_PROCESS, 10000, &error)) &&
              good(scanner->SetScannerParameters(session, &page, &error)) &&
              good(scanner->GetBufferInfo(session, &page, &info, &error)) &&
              good(scanner->StartScan(session, &error));
  std::vector<uint8_t> rows(size_t{info.dwBytesPerLine} * 64);
  if (done) std::printf("P6 %u %u 255\n", info.dwPixelWidth, info.dwPixelHeight);
  while (done && error != TERR_SCANNER_END_OF_PAGE) {
    HRESULT read = scanner->ReadScanEx(session, rows.data(), static_cast<uint32_t>(rows.size()),
                                       &bytes, &error);
    done = (SUCCEEDED(read) && error == TERR_SCANNER_END_OF_PAGE) || good(read);
    if (done) std::fwrite(rows.data(), 1, bytes, stdout);
  }
  done = good(scanner->StopScan(session, &error)) && done;
  scanner->UnlockScanner(session, &error);
  scanner->CloseScannerSession(session, &error);
  return done ? 0 : 1;
}
