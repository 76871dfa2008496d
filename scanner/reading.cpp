// ReadScan, ReadScanEx, CheckErrors: the raster lines of a started scan.
#include <algorithm>
#include <cstring>

#include "scanner/method.h"
#include "scanner/scan_job.h"
#include "scanner/scanner_object.h"
#include "session/traced_step.h"

namespace scantk {
namespace {

// At most this many bytes are asked of the engine in one call.
constexpr uint32_t kPiece = 64000;

// A device may deliver up to this many lines more than it reports; they are left out of the count.
constexpr uint32_t kTrimMargin = 16;

constexpr uint8_t kWhite = 255;

void AddWhiteSpace(TraceLog& trace, uint8_t* buffer, uint32_t bytes_read, uint32_t count) {
  const void* source = buffer;
  uint8_t* destination = buffer + bytes_read;
  trace.Print(TRACE_API,
              "AddWhiteSpace: pBuffer (%p)  dwBytesRead (%ld)  cbRemaining %ld pSrc %p pDst %p",
              source, bytes_read, count, source, static_cast<const void*>(destination));
  std::memset(destination, kWhite, count);
  trace.Print(
      TRACE_FLOW,
      "AddWhiteSpace: pBuffer (%p)  dwBytesRead (%ld)  cbRemaining %ld tSize %ld pSrc %p pDst %p",
      source, bytes_read, count, count, source, static_cast<const void*>(destination));
}

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::ReadScanEx(uint32_t hSession, uint8_t* pbyBuffer,
                                                    uint32_t dwBytes, uint32_t* pdwBytesRead,
                                                    uint32_t* pdwErrorCode) {
  return Method("scantk::ReadScanEx", TRACE_API, hSession, pdwErrorCode)
      .Requires({pbyBuffer, pdwBytesRead})
      .Run([&](SessionEntry& entry) {
        return ScanJob(entry, trace_, scan_lines_, pdwErrorCode)
            .Read(pbyBuffer, dwBytes, pdwBytesRead);
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ReadScan(uint32_t hSession, uint8_t* pbyBuffer,
                                                  uint32_t dwBytes, uint32_t* pdwErrorCode) {
  return Method("scantk::ReadScan", TRACE_API, hSession, pdwErrorCode)
      .Requires({pbyBuffer})
      .Run([&](SessionEntry&) -> HRESULT {
        uint32_t got = 0;
        const HRESULT result = ReadScanEx(hSession, pbyBuffer, dwBytes, &got, pdwErrorCode);
        trace_.Print(TRACE_API,
                     "ReadScan : pBuf (%p)  pbyBuffer (%p)  dwBytesRead %ld pBuf + dwBytesRead %p",
                     static_cast<const void*>(pbyBuffer), static_cast<const void*>(pbyBuffer), got,
                     static_cast<const void*>(pbyBuffer + got));
        if (got == dwBytes) return result;
        const uint32_t missing = dwBytes - got;
        switch (*pdwErrorCode) {
          case TERR_SCANNER_END_OF_PAGE:
            AddWhiteSpace(trace_, pbyBuffer, got, missing);
            return S_OK;
          case TERR_CANCEL_PRESSED:
            trace_.Print(
                "ReadScan : SCANNER_CANCEL_EVENT  bytes wanted %ld cbRemaining %ld  dwBytesRead "
                "%ld, ",
                dwBytes, missing, got);
            return E_FAIL;
          case TERR_ADF_JAMMED:
            trace_.Print(
                "ReadScan : TERR_ADF_JAMMED bytes wanted %ld cbRemaining %ld  dwBytesRead %ld, ",
                dwBytes, missing, got);
            return E_FAIL;
          default:
            trace_.Print(TRACE_CLASS_ERROR, "ReadScan() Failed");
            return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
        }
      });
}

HRESULT ScanJob::Read(uint8_t* buffer, uint32_t bytes, uint32_t* bytes_read) {
  const uint32_t bytes_per_line = state_.buffer_info.dwBytesPerLine;
  if (bytes_per_line == 0) return Fail(error_code_, TERR_INVALID_PARAMETER);
  const uint32_t wanted_lines = bytes / bytes_per_line;
  if (state_.scan_phase == kScanStarted) {
    trace_.Print(" dwScanLines (%ld)= dwBytes (%ld)/ dwBytesPerLine  (%ld)", wanted_lines, bytes,
                 bytes_per_line);
    HRESULT checked = CheckErrors();
    if (FAILED(checked)) {
      trace_.Print("ReadScanEx: CheckErrors: %d %d", checked, *error_code_);
      return checked;
    }
    engine_.scan.ExpectRows(state_.buffer_info.dwPixelWidth, bytes_per_line);
  }
  if (wanted_lines * bytes_per_line != bytes) {
    trace_.Print(TRACE_CLASS_ERROR,
                 "ERROR: dwScanLines (%ld) * dwBytesPerLine  (%ld)!= dwBytes (%ld)", wanted_lines,
                 bytes_per_line, bytes);
    return Fail(error_code_, TERR_INVALID_PARAMETER);
  }
  if (state_.scan_phase == kScanIdle) return CommunicationFailed();

  trace_.Print("ReadScanEx Want: dwScanLines (%ld) eg( dwBytes (%ld) / BytesPerLine(%ld)) ",
               wanted_lines, bytes, bytes_per_line);
  uint32_t total = 0, end_rows = 0;
  HRESULT result = ReadPieces(buffer, bytes, &total, &end_rows);

  const uint32_t lines = total / bytes_per_line;
  lines_ += lines;
  trace_.Print("ReadScanEx Got: ScanLines %ld eg( lItemSz %ld / BPL %ld  totLine %ld ", lines,
               total, bytes_per_line, lines_.load());
  if (end_rows != 0) total = TrimToPage(lines, total, bytes_per_line, end_rows);
  *bytes_read = total;
  return result;
}

HRESULT ScanJob::ReadPieces(uint8_t* destination, uint32_t wanted, uint32_t* total,
                            uint32_t* end_rows) {
  HRESULT result = S_OK;
  QrlStatus status = SL_OK;
  while (*total < wanted && status == SL_OK) {
    const uint32_t remaining = wanted - *total;
    uint32_t got = 0;
    status = engine_.scan.Scan(state_.scan_phase, destination + *total, std::min(remaining, kPiece),
                               &got);
    result = TraceScanStatus(status, remaining, got, end_rows);
    state_.scan_phase = kScanTransferring;
    *total += got;
  }
  return result;
}

// One engine status as the host sees it.
HRESULT ScanJob::TraceScanStatus(QrlStatus status, uint32_t remaining, uint32_t got,
                                 uint32_t* end_rows) {
  switch (status) {
    case SL_OK:
      return S_OK;
    case SL_PAGE_FINISHED: {
      trace_.Print("SCANNER_END_OF_PAGE  cbRemaining %ld  cbWritten %ld, ", remaining, got);
      uint32_t aborted = 0, rows_k = 0, rows_cmy = 0;
      engine_.GetEndPageInfo(&aborted, &rows_k, &rows_cmy);
      trace_.Print("ReadScanEx: TERR_SCANNER_END_OF_PAGE : GetEndPageInfo: uiNumRowsK %d", rows_k);
      *end_rows = engine_.exchange.resolution().OutRows(rows_k);
      *error_code_ = TERR_SCANNER_END_OF_PAGE;
      return S_OK;
    }
    case SL_CANCEL:
    case SL_CANCEL_505:
      trace_.Print("SCANNER_CANCEL_EVENT  cbRemaining %ld  cbWritten %ld, ", remaining, got);
      return Fail(error_code_, TERR_CANCEL_PRESSED);
    case SL_ERR_ADF_JAM:
      trace_.Print("ReadScanEx: SL_ERR_ADF_JAM  cbRemaining %ld  cbWritten %ld, ", remaining, got);
      return Fail(error_code_, TERR_ADF_JAMMED);
    case SL_MATRIXERROR:
      trace_.Print("ReadScanEx: SL_MATRIXERROR (IP error)  cbRemaining %ld  cbWritten %ld, ",
                   remaining, got);
      return Fail(error_code_, TERR_SCANNER_COMMUNICATION_FAILED, VELKAN_E_BDR_IP);
    default:
      trace_.Print(TRACE_CLASS_ERROR, "ReadScanEx: ERROR:Scan() Failed");
      return CommunicationFailed();
  }
}

// The last read of a page ends where the device says that the page ends, `rows` being its count as
// the host gets them, enlarged where it is; the bytes to report. The
// lines beyond stay in the buffer.
uint32_t ScanJob::TrimToPage(uint32_t lines, uint32_t total, uint32_t bytes_per_line,
                             uint32_t rows) {
  const uint32_t delivered = lines_;
  trace_.Print(
      "ReadScanEx Got: ScanLines %ld eg( lItemSz %ld / BPL %ld  totLine %ld uiNumRowsK %ld", lines,
      total, bytes_per_line, delivered, rows);
  if (delivered <= rows || delivered - rows > kTrimMargin) {
    trace_.Print(
        "ReadScanEx: TERR_SCANNER_END_OF_PAGE uiNumRowsK %d >= m_dwScanLines %d (no adjust needed)",
        rows, delivered);
    return total;
  }
  const uint32_t excess = delivered - rows;
  const int32_t actual = static_cast<int32_t>(lines) - static_cast<int32_t>(excess);
  trace_.Print(
      "ReadScanEx Got: dwScanLines %ld m_dwScanLines %ld uiNumRowsK %ld m_dwScanLines-uiNumRowsK "
      "(excess) %ld iActual %ld",
      lines, delivered, rows, excess, actual);
  trace_.Print(actual <= 0 ? "ReadScanEx Got: iActual %d <= 0" : "ReadScanEx Got: iActual %d > 0",
               actual);
  if (actual < 0) {
    trace_.Print(
        "ReadScanEx: TERR_SCANNER_END_OF_PAGE (no adjust needed): ((dwScanLines - (m_dwScanLines - "
        "uiNumRowsK)) !>= 0) %ld",
        actual);
    return total;
  }
  lines_ = rows;
  total = static_cast<uint32_t>(actual) * bytes_per_line;
  trace_.Print(
      "ReadScanEx: TERR_SCANNER_END_OF_PAGE uiNumRowsK %d adjusted: dwScanLines %d lItemSize %d ",
      rows, actual, total);
  return total;
}

HRESULT ScanJob::CheckErrors() {
  return TracedStep("scantk::CheckErrors", TRACE_API, entry_, error_code_, [&]() -> HRESULT {
    const QrlStatus code = engine_.errors.InquireOldestError();
    trace_.Print("CheckErrors: InquireOldestError: %d", code);
    switch (code) {
      case SL_OK:
        return S_OK;
      case SL_ERR_MAPPED_JAM:
        trace_.Print("CheckErrors: ADF problem %ld", code);
        return Fail(error_code_, TERR_ADF_JAMMED);
      case SL_ERR_MAPPED_FEEDER_EMPTY:
        trace_.Print("CheckErrors: ADF empty %ld", code);
        return Fail(error_code_, TERR_ADF_EMPTY);
      case SL_CANCEL:
      case SL_CANCEL_504:
      case SL_CANCEL_505:
        trace_.Print("CheckErrors: Cancel from device %ld", code);
        return Fail(error_code_, TERR_CANCEL_PRESSED);
      default:
        trace_.Print("CheckErrors: Error from device %ld", code);
        return E_FAIL;
    }
  });
}

HRESULT ScanJob::CommunicationFailed() const {
  return Fail(error_code_, TERR_SCANNER_COMMUNICATION_FAILED);
}

}  // namespace scantk
