// The feeder's share of the capability fill-in: presence, limits, the three feeder records.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "features/capability_learner.h"
#include "protocol/models.h"
#include "session/outcome.h"

namespace scantk {
namespace {

constexpr const char* kPathNames[] = {"Flatbed", "Scroll"};

const char* PathName(uint16_t path) {
  return kPathNames[path == T_PATH_FLATBED ? 0 : 1];
}

template <class To>
void CopyModelNumber(const SCANNER_CAPABILITIES& from, To* to) {
  std::memcpy(to->byModelNumber, from.byModelNumber, sizeof to->byModelNumber);
}

// Scan modes, grey channels, gamma fields and bit lists, which all feeder records share.
template <class From, class To>
void CopyImageFields(const From& from, To* to) {
  to->dwScanModesSupported = from.dwScanModesSupported;
  to->wGreyChannelsSupported = from.wGreyChannelsSupported;
  std::copy(std::begin(from.byColorBitsPerChannel), std::end(from.byColorBitsPerChannel),
            to->byColorBitsPerChannel);
  std::copy(std::begin(from.byGreyBitsPerChannel), std::end(from.byGreyBitsPerChannel),
            to->byGreyBitsPerChannel);
  to->dwGammaEntriesPerChannel = from.dwGammaEntriesPerChannel;
  to->dwGammaMaxEntryValue = from.dwGammaMaxEntryValue;
  to->dwGammaBytesPerEntry = from.dwGammaBytesPerEntry;
}

template <class From, class To>
void CopyDuplexExtents(const From& from, To* to) {
  to->dwDuplexMaximumWidth = from.dwDuplexMaximumWidth;
  to->dwDuplexMinimumWidth = from.dwDuplexMinimumWidth;
  to->dwDuplexMaximumHeight = from.dwDuplexMaximumHeight;
  to->dwDuplexMinimumHeight = from.dwDuplexMinimumHeight;
}

}  // namespace

HRESULT CapabilityLearner::LearnFeederPresence(uint32_t* error_code) {
  int32_t present = 0;
  const auto set = [this](uint8_t has) {
    state_.adf.byHasADF = state_.adf2.byHasADF = state_.adf3.byHasADF = has;
  };
  if (!Ask(SL_ADF_PRESENT, kCurrent, &present)) {
    set(0);
    return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  set(present != 0);
  if (present == 0) {
    trace_.Print("FillOutCaps: Model %ld: No ADF detected  ", state_.model);
    return S_OK;
  }
  trace_.Print("FillOutCaps: Model %ld: ADF detected  ", state_.model);
  if (switches_.mask_adf != 0) {
    set(0);
    trace_.Print("FillOutCaps: Model %ld: ADF detected but masked ", state_.model);
  }
  return S_OK;
}

void CapabilityLearner::LearnFeeder() {
  LearnFirstRecord();
  FillSecondRecord();
  FillThirdRecord();
}

void CapabilityLearner::LearnFirstRecord() {
  static constexpr LimitIds kFeeder = {SL_X_RESOLUTION_ADF, SL_Y_RESOLUTION_ADF, SL_YEXT_PIXEL_ADF};
  SCANNER_CAPABILITIES& scanner = state_.capabilities;
  ADF_CAPABILITIES& adf = state_.adf;
  CopyModelNumber(scanner, &adf);
  CopyLimits(scanner, &adf);
  const auto ask = [this](uint32_t id, char kind, auto* field) { return AskInto(id, kind, field); };
  if (LearnLimits(ask, kFeeder, &adf)) {
    const char* path = PathName(scanner.wPaperPath);
    if (scanner.wPaperPath != T_PATH_SCROLL) {
      trace_.Print("FillOutCapabilities: ADF but PaperPath %d %s", scanner.wPaperPath, path);
    } else if (switches_.scroll_cap0 != 1) {
      CopyLimits(adf, &scanner);
      trace_.Print("FillOutCaps: PaperPath %d %s Set scancaps to adf caps", scanner.wPaperPath,
                   path);
    } else {
      CopyLimits(SCANNER_CAPABILITIES{}, &scanner);
      trace_.Print("FillOutCaps: PaperPath %d %s Set scancaps to 0", scanner.wPaperPath, path);
    }
  }
  CopyImageFields(scanner, &adf);
  adf.dwScanOptionsSupported = T_PREVIEW | T_PIXEL_COORDINATES;
  adf.wGammaTableSize = 0;
  std::fill(std::begin(adf.byColorBitsPerChannel) + 1, std::end(adf.byColorBitsPerChannel),
            uint8_t{0});  // the feeder has 8 bits per channel alone
  adf.wADFType = ModelOf(state_.model).feeder_type;
}

void CapabilityLearner::FillSecondRecord() {
  const Model& family = ModelOf(state_.model);
  ADF2_CAPABILITIES& adf2 = state_.adf2;
  adf2.byHasADF = 1;
  CopyModelNumber(state_.capabilities, &adf2);
  adf2.byADFFeedCanDetectLengthOfPage = 0;
  CopyLimits(state_.adf, &adf2);
  CopyDuplexExtents(ADF2_CAPABILITIES{}, &adf2);
  state_.duplex = 0;
  adf2.dwADFOptionsSupported = T_ADF_MULTIPAGE_FLOW;
  LearnDuplex();
  CopyImageFields(state_.adf, &adf2);
  adf2.wADFType = family.feeder_type;
  adf2.byADFCanDetectEndOfPage = family.detects_end_of_page;
  adf2.dwScanOptionsSupported = family.feeder_options;
}

void CapabilityLearner::LearnDuplex() {
  ADF2_CAPABILITIES& adf2 = state_.adf2;
  const ADF_CAPABILITIES& adf = state_.adf;
  int32_t duplex = 0;
  const QrlStatus status = engine_.exchange.InquireNumber(SL_DUPLEX_SUPPORTED, kCurrent, &duplex);
  if (status != SL_OK) {
    trace_.Print(TRACE_CLASS_ERROR, "FillOutCaps: Problem Model %ld: SL_DUPLEX_SUPPORTED Hi %d ",
                 state_.model, duplex);
  } else if (duplex != 1) {
    trace_.Print("FillOutCaps: Duplex not support Model %ld: SL_DUPLEX_SUPPORTED Hi %d status %d",
                 state_.model, duplex, status);
  } else {
    adf2.dwDuplexMaximumWidth = adf.dwMaximumWidth;
    adf2.dwDuplexMinimumWidth = adf.dwMinimumWidth;
    adf2.dwDuplexMaximumHeight = adf.dwMaximumHeight;
    adf2.dwDuplexMinimumHeight = adf.dwMinimumHeight;
    adf2.dwADFOptionsSupported = T_ADF_DUPLEX | T_ADF_MULTIPAGE_FLOW | T_ADF_FLIP_DUPLEX_PAGE_DATA;
    if (!AskInto(SL_YEXT_PIXEL_DUPLEX, kMaximum, &adf2.dwDuplexMaximumHeight))
      trace_.Print(TRACE_CLASS_ERROR, "FillOutCaps: Problem Model %ld: SL_YEXT_PIXEL_DUPLEX Hi %d ",
                   state_.model, adf2.dwDuplexMaximumHeight);
  }
  trace_.Print("FillOutCaps: Result: Model %ld: Duplex? %d ADFOptionsSupported %d ", state_.model,
               duplex, adf2.dwADFOptionsSupported);
}

void CapabilityLearner::FillThirdRecord() {
  const ADF2_CAPABILITIES& adf2 = state_.adf2;
  ADF3_CAPABILITIES& adf3 = state_.adf3;
  adf3.byHasADF = 1;
  CopyModelNumber(state_.capabilities, &adf3);
  adf3.wADFType = adf2.wADFType;
  adf3.byADFCanDetectEndOfPage = adf2.byADFCanDetectEndOfPage;
  adf3.byADFFeedCanDetectLengthOfPage = adf2.byADFFeedCanDetectLengthOfPage;
  adf3.dwADFOptionsSupported = adf2.dwADFOptionsSupported;
  CopyLimits(adf2, &adf3);
  CopyDuplexExtents(adf2, &adf3);
  CopyImageFields(adf2, &adf3);
  adf3.dwScanOptionsSupported = adf2.dwScanOptionsSupported;
}

}  // namespace scantk
