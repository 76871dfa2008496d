// DownLoadScannerParameters: the one place that turns a parameter record into device commands.
#include <cstdint>

#include "diag/function_trace.h"
#include "diag/record_dumps.h"
#include "protocol/models.h"
#include "scanner/parameter_rules.h"
#include "scanner/scan_job.h"
#include "session/outcome.h"

namespace scantk {
namespace {

constexpr uint32_t kToneMapTable = 1;
constexpr int32_t kDownloadedToneMap = -1;

// One run of the download: sends and asks, and stops at the first failure. Every step answers
// whether the next one is to be made.
class Download {
 public:
  Download(ProtocolEngine& engine, TraceLog& trace, uint32_t* error_code)
      : engine_(engine), trace_(trace), error_code_(error_code) {}

  // `format` shows `shown` and the status when the command fails.
  bool Send(uint32_t id, int32_t value, const char* format, int64_t shown) {
    return Check(engine_.exchange.SendCommand(id, value), format, shown);
  }
  // The same where the device may lack the command.
  bool SendIfKnown(uint32_t id, int32_t value, const char* format) {
    const QrlStatus status = engine_.exchange.SendCommand(id, value);
    return status == SL_NULLRESPONSE || CheckPlain(status, format);
  }
  bool SendPlain(uint32_t id, int32_t value, const char* format) {
    return CheckPlain(engine_.exchange.SendCommand(id, value), format);
  }
  bool Ask(uint32_t id, int32_t* value, const char* format) {
    const QrlStatus status = engine_.exchange.InquireNumber(id, kCurrent, value);
    return Check(status, format, *value);
  }
  bool Check(QrlStatus status, const char* format, int64_t shown) {
    if (status == SL_OK) return true;
    trace_.Print(TRACE_CLASS_ERROR, format, shown, status);
    return Failed();
  }
  bool CheckPlain(QrlStatus status, const char* format) {
    if (status == SL_OK) return true;
    trace_.Print(TRACE_CLASS_ERROR, format, status);
    return Failed();
  }

 private:
  bool Failed() {
    *error_code_ = TERR_SCANNER_COMMUNICATION_FAILED;
    return false;
  }

  ProtocolEngine& engine_;
  TraceLog& trace_;
  uint32_t* error_code_;
};

bool SendFormat(Download& to, const SCANNER_PARAMETERS& wanted, const DataType& type,
                TraceLog& trace) {
  if (!to.Send(SL_DATA_TYPE, type.code, "ERROR: Setting Data Type (%d) Failed, QRL Error Code = %d",
               type.code) ||
      !to.Send(SL_BITS_PER_PIXEL, type.bits_per_pixel,
               "ERROR: Setting Data Type bpp %d Failed, QRL Error Code = %d", type.bits_per_pixel))
    return false;
  trace.Print("DownLoadScannerParameters :SetX Res %d  SetY Res %d ", wanted.wXResolution,
              wanted.wYResolution);
  return to.Send(SL_X_RESOLUTION, wanted.wXResolution,
                 "ERROR: Setting X Resolution to %d Failed, QRL Error Code = %d",
                 wanted.wXResolution) &&
         to.Send(SL_Y_RESOLUTION, wanted.wYResolution,
                 "ERROR:Setting Y Resolution to %d Failed, QRL Error Code = %d",
                 wanted.wYResolution);
}

bool SendWindow(Download& to, const SCANNER_PARAMETERS& wanted) {
  const bool pixels = (wanted.dwScanOptions & T_PIXEL_COORDINATES) != 0;
  const uint32_t x = pixels ? wanted.wXResolution : T_UNITS_PER_INCH;
  const uint32_t y = pixels ? wanted.wYResolution : T_UNITS_PER_INCH;
  const auto send = [&to](uint32_t id, uint32_t value, uint32_t resolution, const char* format) {
    return to.Send(id, static_cast<uint16_t>(ToDeviceUnits(value, resolution)), format, value);
  };
  return send(SL_XPOS_PIXEL, wanted.dwLeft, x,
              "ERROR: SL_XPOS_PIXEL %d Failed, QRL Error Code = %d") &&
         send(SL_YPOS_PIXEL, wanted.dwTop, y,
              "ERROR: SL_YPOS_PIXEL %d Failed, QRL Error Code = %d") &&
         send(SL_XEXT_PIXEL, wanted.dwWidth, x,
              "ERROR: SL_XEXT_PIXEL %d Failed, QRL Error Code = %d") &&
         send(SL_YEXT_PIXEL, wanted.dwLength, y,
              "ERROR: SL_YEXT_PIXEL %d Failed, QRL Error Code = %d");
}

bool ReadGeometry(Download& from, const DataType& type, TraceLog& trace, BUFFER_INFO* info) {
  int32_t pixels = 0, lines = 0, device_bytes = 0;
  if (!from.Ask(SL_PIXELS_PER_LINE, &pixels,
                "ERROR: SL_PIXELS_PER_LINE %d Failed, QRL Error Code = %d"))
    return false;
  info->dwPixelWidth = static_cast<uint32_t>(pixels);
  if (!from.Ask(SL_LINES_PER_SCAN, &lines,
                "ERROR: SL_LINES_PER_SCAN %d Failed, QRL Error Code = %d"))
    return false;
  info->dwPixelHeight = static_cast<uint32_t>(lines);
  info->dwBytesPerLine = BytesPerLine(pixels, type.bits_per_pixel);
  if (!from.Ask(SL_BYTES_PER_LINE, &device_bytes,
                "ERROR: SL_BYTES_PER_LINE %d Failed, QRL Error Code = %d"))
    return false;
  trace.Print(TRACE_FLOW, "Calculated bytes/line = %ld, Device bytes/line = %ld",
              info->dwBytesPerLine, device_bytes);
  return true;
}

bool SendTransfer(Download& to, const SCANNER_PARAMETERS& wanted) {
  const bool preview = (wanted.dwScanOptions & T_PREVIEW) != 0;
  return to.SendPlain(SL_SCANTYPE, preview ? 1 : 0,
                      preview ? "ERROR: SL_SCANTYPE PREVIEW Failed, QRL Error Code = %d"
                              : "ERROR: SL_SCANTYPE FINAL Failed, QRL Error Code = %d") &&
         to.SendPlain(SL_SCAN_TRANSFER_TYPE, SL_PACKETIZED2,
                      "SL_SCAN_TRANSFER_TYPE SL_PACKETIZED2 Failed, QRL Error Code = %d");
}

bool SendCompression(Download& to, const SCANNER_PARAMETERS& wanted, const SessionState& state,
                     TraceLog& trace) {
  constexpr char kFailed[] = "ERROR:SL_COMPRESSION SL_JPEG Failed, QRL Error Code = %d";
  const uint32_t mode = wanted.dwScanMode;
  if (state.jpeg_enabled != 1) {
    const bool sent = to.SendPlain(SL_COMPRESSION, kNoCompression, kFailed);
    trace.Print(
        " DownLoadScannerParameters: JPEG NOT enabled, ScanMode: %d (color 1,gray 2, bw 3 "
        "ModelNumber %s Model ID %d",
        mode, state.ModelNumber(), state.model);
    return sent;
  }
  trace.Print(
      "DownLoadScannerParameters: JPEG enabled, compress color/gray, ScanMode= %d ModelNumber %s "
      "Model ID %d",
      mode, state.ModelNumber(), state.model);
  // The streams carry 8 bits a channel, and colours or grey.
  if ((mode != T_COLOR && mode != T_GREYSCALE) || wanted.byBitsPerChannel > 8)
    return to.SendPlain(SL_COMPRESSION, kNoCompression, kFailed);
  if (!to.SendPlain(SL_COMPRESSION, SL_JPEG, kFailed)) return false;
  uint32_t factor = state.jpeg_level;
  if (factor == 0) {
    trace.Print("0 == pSessionState->m_JPEGCompressionLevel");
    const bool preview = (wanted.dwScanOptions & T_PREVIEW) != 0;
    factor = AutomaticJpegFactor(wanted.wXResolution, preview);
    if (preview && wanted.wXResolution < kLowestPlainResolution)
      trace.Print("0 == m_JPEGCompLevel, preview so set to %d", factor);
  }
  trace.Print(" JPEG enabled, iJpegQFactor = %d", factor);
  return to.SendPlain(SL_JPEG_COMPRESSION, static_cast<int32_t>(factor),
                      "SL_JPEG_COMPRESSION iJpegQFactor Failed, QRL Error Code = %d");
}

bool SendToneMap(Download& to, ProtocolEngine& engine, const SessionState& state, uint32_t mode,
                 const DataType& type, TraceLog& trace) {
  if (state.tone_map_pending == 0) return true;
  trace.Print("SL_TONEMAP_LOAD, Scanmode = %d (BW=4), wColorMode %d ", mode, type.code);
  return to.CheckPlain(engine.DownloadTable(kToneMapTable, state.tone_map),
                       "ERROR:SL_TONEMAP_LOAD Failed, QRL Error Code = %d") &&
         to.SendPlain(SL_TONEMAP, kDownloadedToneMap,
                      "ERROR:SL_TONEMAP Failed, QRL Error Code = %d");
}

bool SendDuplexFlips(Download& to, ProtocolEngine& engine, const SCANNER_PARAMETERS& wanted,
                     const SessionState& state, TraceLog& trace) {
  if (wanted.wScanMethod != T_METHOD_ADF) return true;
  if (state.duplex != 1) {
    trace.Print("DownloadScanParam, Don't Want duplex = %d", state.duplex);
  }
  const int32_t wanted_flip = state.duplex == 1 ? 1 : 0;
  const auto send = [&](uint32_t id, const char* format) {
    const bool needed = wanted_flip == 1 || engine.exchange.IsSwitchedOn(id);
    return !needed || to.SendIfKnown(id, wanted_flip, format);
  };
  return send(SL_DUPLEX_HFLIP,
              "ERROR:DownloadScanParam SL_DUPLEX_HFLIP Failed, QRL Error Code = %d") &&
         send(SL_DUPLEX_VFLIP,
              "ERROR:DownloadScanParam SL_DUPLEX_VFLIP Failed, QRL Error Code = %d");
}

bool SendPageSize(Download& to, ProtocolEngine& engine, const SessionState& state, bool page_size,
                  TraceLog& trace) {
  if (ModelOf(state.model).page_size == PageSize::kUnknown) {
    trace.Print("DownloadScanParam: Dot4 device ModelID %d: ALL Parameters sent ", state.model);
    return true;
  }
  trace.Print("DownloadScanParam: usb device ModelID %d: ", state.model);
  if (!page_size) return true;
  const QrlStatus status = engine.exchange.SendCommand(SL_SET_ADF_PAGESIZE, 0);
  if (status == SL_OK) {
    trace.Print("DownloadScanParam: ALL Parameters sent ");
    return true;
  }
  if (status == SL_NULLRESPONSE) {
    trace.Print(TRACE_CLASS_ERROR,
                "ERROR:DownloadScanParam SL_SET_ADF_PAGESIZE not recognized; this is OK. = %d",
                status);
    return true;
  }
  return to.CheckPlain(status,
                       "ERROR:DownloadScanParam SL_SET_ADF_PAGESIZE Failed, QRL Error Code = %d");
}

}  // namespace

HRESULT DownLoadScannerParameters(SessionState& state, const SCANNER_PARAMETERS* record,
                                  Parameters which, TraceLog& trace, uint32_t* error_code) {
  FunctionTrace function("scantk::DownLoadScannerParameters", 0, error_code, TRACE_API);
  const auto done = [&function](HRESULT result) {
    function.SetResult(result);
    return result;
  };
  DumpScannerParameters(trace, record, TRACE_DUMP);

  // A copy: the host's record is read once, so that a host that changes it meanwhile cannot make
  // the commands disagree.
  const SCANNER_PARAMETERS wanted = *record;
  DataType type;
  if (!DataTypeOf(wanted, &type)) return done(Fail(error_code, TERR_INVALID_PARAMETER));
  if (wanted.dwScanMode == T_BW)
    trace.Print("BW scan: Data Type wColorMode(%d) BitPerPixel= %d", type.code,
                type.bits_per_pixel);

  ProtocolEngine& engine = *state.engine;
  Download download(engine, trace, error_code);
  if (!SendFormat(download, wanted, type, trace) || !SendWindow(download, wanted) ||
      !ReadGeometry(download, type, trace, &state.buffer_info))
    return done(E_FAIL);
  if (which == Parameters::kGeometry) return done(S_OK);

  if (!SendTransfer(download, wanted) || !SendCompression(download, wanted, state, trace))
    return done(E_FAIL);
  if (wanted.dwScanMode != T_COLOR) trace.Print(" dwScanMode is gray or BW%d", wanted.dwScanMode);
  trace.Print("pScanParam->dwScanMode %d: Data Type wColorMode(%d) ", wanted.dwScanMode, type.code);
  if (!SendToneMap(download, engine, state, wanted.dwScanMode, type, trace) ||
      !SendDuplexFlips(download, engine, wanted, state, trace) ||
      !SendPageSize(download, engine, state, which == Parameters::kAll, trace))
    return done(E_FAIL);
  return done(S_OK);
}

}  // namespace scantk
