#include "features/capability_learner.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "diag/record_dumps.h"
#include "protocol/models.h"
#include "session/traced_step.h"

namespace scantk {
namespace {

constexpr int32_t kExtentResolution = T_UNITS_PER_INCH;  // makes pixels of the extents' unit

void SetBits(uint8_t (&list)[8], std::initializer_list<uint8_t> bits) {
  std::fill(std::begin(list), std::end(list), uint8_t{0});
  std::copy(bits.begin(), bits.end(), list);
}

// The second colour depth beside 8 bits per channel, by the device's most bits per pixel; 0: none.
uint8_t SecondColourDepth(int32_t bits_per_pixel) {
  switch (bits_per_pixel) {
    case 30:
      return 10;
    case 36:
      return 12;
    case 48:
      return 16;
    default:
      return 0;
  }
}

}  // namespace

CapabilityLearner::CapabilityLearner(SessionState& state, const DeviceSwitches& switches,
                                     TraceLog& trace)
    : state_(state), switches_(switches), trace_(trace), engine_(*state.engine) {}

bool CapabilityLearner::Ask(uint32_t id, char kind, int32_t* value) {
  return engine_.exchange.InquireNumber(id, kind, value) == SL_OK;
}

HRESULT CapabilityLearner::Learn(uint32_t* error_code) {
  state_.capabilities = {};
  state_.adf2 = {};
  state_.adf3 = {};
  state_.compression = {};

  LearnModelAndExtents();
  SetFixedValues();
  bool null_depth = false;
  if (HRESULT depth = LearnColourDepth(&null_depth, error_code); FAILED(depth)) return depth;
  SetPaperPath();
  if (null_depth) {
    trace_.Print("FillOutCapabilities: Failed - scan communication problem");
    return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  const HRESULT presence = LearnFeederPresence(error_code);
  if (state_.adf.byHasADF) LearnFeeder();
  SetCompression();
  if (HRESULT rest = LearnPanelAndHandshake(error_code); FAILED(rest)) return rest;
  complete_ = true;
  return presence;
}

// Whatever fails here leaves its fields as they are; the rest of the fill-in decides the result.
void CapabilityLearner::LearnModelAndExtents() {
  int32_t model = 0;
  if (engine_.Reset() != SL_OK || engine_.exchange.InquireModel(&model) != SL_OK) return;
  state_.model = static_cast<uint32_t>(model);
  LearnModelNumber();
  state_.capabilities.wLampWarmupTime = 0;
  if (engine_.exchange.SendCommand(SL_X_RESOLUTION, kExtentResolution) != SL_OK ||
      engine_.exchange.SendCommand(SL_Y_RESOLUTION, kExtentResolution) != SL_OK)
    return;
  if (LearnFlatbedLimits()) LearnWidths();
}

void CapabilityLearner::LearnModelNumber() {
  uint8_t(&number)[16] = state_.capabilities.byModelNumber;
  const char* name = ModelOf(state_.model).model_string;
  char answer[sizeof number] = {};
  int32_t length = 0;
  if (engine_.exchange.InquireString(SL_MODEL_RIX, answer, sizeof answer - 1, &length) == SL_OK) {
    std::memcpy(number, answer, sizeof answer);
    number[sizeof number - 1] = 0;
    trace_.Print("Filling device caps for ModelNumber: %s ", state_.ModelNumber());
    return;
  }
  std::strncpy(reinterpret_cast<char*>(number), name ? name : kPlainModelNumber, sizeof number - 1);
  if (!name) trace_.Print("Error SL_MODEL_RIX use default : %s:  ", state_.ModelNumber());
}

bool CapabilityLearner::LearnFlatbedLimits() {
  static constexpr LimitIds kFlatbed = {SL_X_RESOLUTION_FLAT, SL_Y_RESOLUTION_FLAT,
                                        SL_YEXT_PIXEL_FLAT};
  static constexpr LimitIds kGeneral = {SL_X_RESOLUTION, SL_Y_RESOLUTION, SL_YEXT_PIXEL};
  const auto ask = [this](uint32_t id, char kind, auto* field) {
    if (!AskInto(id, kind, field)) return false;
    const bool height = id == SL_YEXT_PIXEL_FLAT || id == SL_YEXT_PIXEL;
    if (height)
      trace_.Print(id == SL_YEXT_PIXEL_FLAT
                       ? (kind == kMaximum ? "FillOutCaps: Model %ld: SL_YEXT_PIXEL_FLAT Hi %d "
                                           : "FillOutCaps: Model %ld: SL_YEXT_PIXEL_FLAT Lo %d ")
                       : (kind == kMaximum ? "FillOutCaps: Model %ld: SL_YEXT_PIXEL Hi %d "
                                           : "FillOutCaps: Model %ld: SL_YEXT_PIXEL Lo %d "),
                   state_.model, *field);
    return true;
  };
  return LearnLimits(ask, kFlatbed, &state_.capabilities) ||
         LearnLimits(ask, kGeneral, &state_.capabilities);
}

bool CapabilityLearner::LearnWidths() {
  SCANNER_CAPABILITIES& caps = state_.capabilities;
  if (!AskInto(SL_XEXT_PIXEL, kMaximum, &caps.dwMaximumWidth)) return false;
  trace_.Print("FillOutCaps: Model %ld: SL_XEXT_PIXEL Hi %d ", state_.model, caps.dwMaximumWidth);
  if (!AskInto(SL_XEXT_PIXEL, kMinimum, &caps.dwMinimumWidth)) return false;
  trace_.Print("FillOutCaps: Model %ld: SL_XEXT_PIXEL Lo %d ", state_.model, caps.dwMinimumWidth);
  return true;
}

void CapabilityLearner::SetFixedValues() {
  SCANNER_CAPABILITIES& caps = state_.capabilities;
  caps.wRawPixelOrder = T_ORDER_RGB;
  caps.wPixelPacking = T_PACKED;
  caps.dwScanModesSupported = T_COLOR | T_GREYSCALE;
  if (switches_.device_bw != 0) {
    caps.dwScanModesSupported |= T_BW;
    trace_.Print("FillOutCaps: ScanModesSupported %ld (Color, Grayscale, BW) ",
                 caps.dwScanModesSupported);
  } else {
    trace_.Print("FillOutCaps: ScanModesSupported %ld (Color, Grayscale) ",
                 caps.dwScanModesSupported);
  }
  caps.wGreyChannelsSupported = T_GREY_NTSC;
  caps.wGammaTableSize = 0;
  caps.dwGammaEntriesPerChannel = 256;
  caps.dwGammaMaxEntryValue = 255;
  caps.dwGammaBytesPerEntry = 1;
}

HRESULT CapabilityLearner::LearnColourDepth(bool* null_response, uint32_t* error_code) {
  QrlStatus status = engine_.exchange.SendCommand(SL_DATA_TYPE, kColour);
  if (status != SL_OK) {
    trace_.Print(TRACE_CLASS_ERROR, "ERROR: Setting Data Type (%d) Failed, QRL Error Code = %d",
                 kColour, status);
    return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  int32_t bits = 0;
  status = engine_.exchange.InquireNumber(SL_BITS_PER_PIXEL, kMaximum, &bits);
  *null_response = status == SL_NULLRESPONSE;
  if (*null_response) return S_OK;
  if (status != SL_OK) return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  SCANNER_CAPABILITIES& caps = state_.capabilities;
  SetBits(caps.byColorBitsPerChannel, {8, SecondColourDepth(bits)});
  SetBits(caps.byGreyBitsPerChannel, {8});
  caps.dwScanOptionsSupported = T_PREVIEW | T_PIXEL_COORDINATES;
  return S_OK;
}

void CapabilityLearner::SetPaperPath() {
  SCANNER_CAPABILITIES& caps = state_.capabilities;
  caps.wPaperPath = ModelOf(state_.model).paper_path;
  if (caps.dwMaximumHeight == 0) {
    caps.wPaperPath = T_PATH_SCROLL;
    trace_.Print("FillOutCaps: dwMaximumHeight %d, set paper path to %d", caps.dwMaximumHeight,
                 caps.wPaperPath);
  }
  trace_.Print("FillOutCaps: PaperPath %d  (Flat 0, Scroll 1)", caps.wPaperPath);
}

void CapabilityLearner::SetCompression() {
  COMPRESSION_CAPABILITIES& compression = state_.compression;
  compression.dwTypesOfCompression = T_COMPRESSION_NONE | T_COMPRESSION_JPEG;
  compression.dwDefaultCompressionType = T_COMPRESSION_JPEG;
  compression.dwCompressionLongevity = 1;
  compression.dwJPEGLevelMinimum = 1;
  compression.dwJPEGLevelMaximum = 5;
  compression.dwCompressionOptions = T_COMPRESSION_OPTION_JPEG_LEVEL;
  state_.jpeg_enabled = compression.dwDefaultCompressionType == T_COMPRESSION_NONE ? 0 : 1;
  state_.jpeg_level = 0;
  trace_.Print("FillOutCaps : Model %ld:  m_bEnableJPEG %ld  m_JPEGCompressionLevel = %d",
               state_.model, state_.jpeg_enabled, state_.jpeg_level);
}

HRESULT CapabilityLearner::LearnPanelAndHandshake(uint32_t* error_code) {
  CONTROL_PANEL_CAPABILITIES& panel = state_.panel;
  panel = {};
  panel.byHasControlPanel = 1;
  panel.dwSupportedCodePages[0] = T_CODE_PAGE;
  panel.dwDestinationListEntries = kDefaultDestinations;

  int32_t destinations = 0;
  QrlStatus status = engine_.exchange.InquireNumber(SL_SCANTO_SETTINGS, kCurrent, &destinations);
  if (status == SL_OK) {
    panel.dwDestinationListEntries = static_cast<uint32_t>(destinations);
    trace_.Print(" SL_SCANTO_SETTINGS  = %d", destinations);
  } else if (status == SL_NULLRESPONSE) {
    trace_.Print("FillOutCaps: SL_SCANTO_SETTINGS NullResponse (%d) so default to %d ", status,
                 kDefaultDestinations);
  } else {
    trace_.Print("FillOutCaps: ERROR: InquireNumber SL_SCANTO_SETTINGS Failed, QRL Error Code = %d",
                 status);
    return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  }

  int32_t variable = 0;
  status = engine_.exchange.InquireNumber(SL_URS_VARIABLE, kCurrent, &variable);
  if (status == SL_NULLRESPONSE) {
    trace_.Print("FillOutCaps: SL_URS_VARIABLE NullResponse (%d) so default %d", status, variable);
  } else if (status != SL_OK) {
    trace_.Print("FillOutCaps: ERROR: InquireNumber SL_URS_VARIABLE Failed, QRL Error Code = %d",
                 status);
    return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  state_.urs_variable = static_cast<uint32_t>(variable);
  state_.urs_state = T_URS_DEFAULT;
  return S_OK;
}

HRESULT FillOutCapabilities(SessionEntry& entry, const DeviceSwitches& switches, TraceLog& trace,
                            uint32_t* error_code) {
  return TracedStep("scantk::FillOutCapabilities", TRACE_API, entry, error_code, [&]() -> HRESULT {
    SessionState& state = entry.state;
    if (state.model != 0) {
      trace.Print("Already filled out caps : ModelId %ld", state.model);
      DumpScannerCapabilities(trace, &state.capabilities, TRACE_DUMP);
      return S_OK;
    }
    CapabilityLearner learner(state, switches, trace);
    const HRESULT result = learner.Learn(error_code);
    if (!learner.Complete()) return result;
    StoreVelkanCaps(
        trace, switches.device_key_name,
        {state.capabilities, state.adf, state.adf2, state.adf3, state.compression, state.panel});
    return result;
  });
}

}  // namespace scantk
