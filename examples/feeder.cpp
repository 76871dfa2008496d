// Scans the sheets in a network device's feeder, both sides: feeder DEVICE-IDENTITY
// Writes page-1.pgm, page-2.pgm, ... into the current folder.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "contract/client.h"

using namespace scantk::client;

namespace {

// A device that was opened and locked; what was taken is given back whatever happens.
class Feeder {
 public:
  explicit Feeder(const std::string& identity) {
    Check(CreateComponent(CLSID_scanner, IID_IScanner, scanner_.Out()));
    Check(scanner_->QueryInterface(IID_IADF3, feeder_.Out()));
    Check(scanner_->OpenScannerSession(Wide(identity).c_str(), T_IO_NETWORK, &session_, &error_));
    try {
      Check(scanner_->LockScanner(session_, T_LOCK_PROCESS, 10000, &error_));
      ADF3_CAPABILITIES can = {};  // asking resets the device: first of all, and once
      Check(feeder_->GetADF3Capabilities(session_, &can, &error_));
      uint32_t options = T_ADF_MULTIPAGE_FLOW;
      if (can.dwADFOptionsSupported & T_ADF_DUPLEX) options |= T_ADF_DUPLEX;
      Check(feeder_->SetADFOptions(session_, options, &error_));
    } catch (...) {
      Leave();
      throw;
    }
  }
  ~Feeder() { Leave(); }
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;

  // Whether a page waits: a sheet, or the back of the one in the path.
  bool Ready() {
    uint8_t ready = 0;
    const HRESULT result = feeder_->ADFIsReady(session_, &ready, &error_);
    if (error_ != TERR_ADF_EMPTY) Check(result);
    return ready != 0;
  }

  void ScanPage(const std::string& path) {
    SCANNER_PARAMETERS page = {};
    page.dwWidth = 2550;  // letter, in 1/300 inch
    page.dwLength = 3300;
    page.dwScanMode = T_GREYSCALE;
    page.wGreyChannel = T_GREY_NTSC;
    page.byBitsPerChannel = 8;
    page.wXResolution = 100;
    page.wYResolution = 100;
    page.wScanMethod = T_METHOD_ADF;
    BUFFER_INFO info = {};
    Check(feeder_->ADFPaperFeed(session_, &error_));
    Check(scanner_->SetScannerParameters(session_, &page, &error_));
    Check(scanner_->GetBufferInfo(session_, &page, &info, &error_));
    std::vector<uint8_t> picture;
    try {
      Check(scanner_->StartScan(session_, &error_));
      picture = ReadPage(info.dwBytesPerLine);
    } catch (...) {
      scanner_->StopScan(session_, &error_);
      throw;
    }
    const HRESULT stopped = scanner_->StopScan(session_, &error_);
    if (error_ != TERR_ADF_EMPTY) Check(stopped);  // with the last page the feeder is empty

    std::ofstream file(path, std::ios::binary);
    file << "P5 " << info.dwPixelWidth << ' ' << picture.size() / info.dwBytesPerLine << " 255\n";
    std::copy(picture.begin(), picture.end(), std::ostreambuf_iterator<char>(file));
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
  }

 private:
  // A sheet may be shorter or longer than its window: only the end of the page tells.
  std::vector<uint8_t> ReadPage(uint32_t row_bytes) {
    std::vector<uint8_t> picture;
    std::vector<uint8_t> rows(64ull * row_bytes);
    while (error_ != TERR_SCANNER_END_OF_PAGE) {
      uint32_t bytes = 0;
      const HRESULT result =
          scanner_->ReadScanEx(session_, rows.data(), 64 * row_bytes, &bytes, &error_);
      if (FAILED(result) || error_ != TERR_SCANNER_END_OF_PAGE) Check(result);
      picture.insert(picture.end(), rows.begin(), rows.begin() + bytes);
    }
    return picture;
  }

  void Leave() {
    scanner_->UnlockScanner(session_, &error_);
    scanner_->CloseScannerSession(session_, &error_);
  }

  // Some conditions come as success with an error code.
  void Check(HRESULT result) const {
    if (FAILED(result) || error_ != TERR_NONE) throw std::runtime_error(ToolkitErrorText(error_));
  }

  Ref<IScanner> scanner_;
  Ref<IADF3> feeder_;
  uint32_t session_ = 0;
  uint32_t error_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  ComponentUse use;
  try {
    Feeder feeder(argv[1]);
    int pages = 0;
    while (feeder.Ready()) feeder.ScanPage("page-" + std::to_string(++pages) + ".pgm");
    std::cout << pages << " pages\n";
    return pages > 0 ? 0 : 1;
  } catch (const std::runtime_error& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
