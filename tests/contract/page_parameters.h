// The parameters of a page as most hosts ask for it.
#ifndef SCANTK_TESTS_CONTRACT_PAGE_PARAMETERS_H_
#define SCANTK_TESTS_CONTRACT_PAGE_PARAMETERS_H_

#include "contract/records.h"

namespace scantk::test {

// In 1/300 inch.
struct PageArea {
  uint32_t width, length;
  uint32_t left = 0, top = 0;
};

// `dpi` in both directions, from the glass; a `mode` with levels has eight bits of them.
inline SCANNER_PARAMETERS PageParameters(uint32_t mode, uint16_t dpi, const PageArea& area) {
  SCANNER_PARAMETERS page = {};
  page.dwLeft = area.left;
  page.dwTop = area.top;
  page.dwWidth = area.width;
  page.dwLength = area.length;
  page.dwScanMode = mode;
  page.byBitsPerChannel = mode == T_BW ? 1 : 8;
  page.wXResolution = page.wYResolution = dpi;
  page.wGreyChannel = T_GREY_NTSC;
  return page;
}

}  // namespace scantk::test

#endif  // SCANTK_TESTS_CONTRACT_PAGE_PARAMETERS_H_
