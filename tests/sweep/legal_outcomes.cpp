#include "tests/sweep/legal_outcomes.h"

#include <algorithm>
#include <vector>

namespace scantk::test {
namespace {

const std::vector<Outcome>& Legal(Method method) {
  constexpr Outcome kRejected = {VELKAN_E_SCONF_REJECTED, TERR_SCANNER_COMMUNICATION_FAILED};
  constexpr Outcome kCancelled = {E_FAIL, TERR_CANCEL_PRESSED};
  constexpr Outcome kStoppedPage = {S_OK, TERR_CANCEL_PRESSED};
  constexpr Outcome kJammed = {E_FAIL, TERR_ADF_JAMMED};
  constexpr Outcome kNoPaper = {E_FAIL, TERR_ADF_EMPTY};
  constexpr Outcome kDeviceError = {E_FAIL, TERR_NONE};
  constexpr Outcome kReserved = {E_FAIL, TERR_RESERVE_BUSY};
  static const std::vector<Outcome> kLocalOnes = {kOk};
  static const std::vector<Outcome> kOpenOnes = {kOk, {E_FAIL, TERR_SCANNER_NOT_FOUND}};
  static const std::vector<Outcome> kLockOnes = {
      kOk,
      kRejected,
      {E_FAIL, TERR_NET_SOCKET_BUSY},
      {VELKAN_E_SCONF_FIREWALL, TERR_SCANNER_COMMUNICATION_FAILED}};
  static const std::vector<Outcome> kExchangeOnes = {kOk, kCommunication};
  static const std::vector<Outcome> kReserveOnes = {
      kOk, kCommunication, kReserved, {E_FAIL, TERR_RESERVE_FAILED}};
  static const std::vector<Outcome> kReadyOnes = {kOk, kCommunication, {S_OK, TERR_ADF_EMPTY}};
  static const std::vector<Outcome> kStartOnes = {
      kOk, kCommunication, kReserved, kRejected, kNoPaper, kJammed, kCancelled, kDeviceError};
  static const std::vector<Outcome> kReadOnes = {
      kOk,      kEndOfPage,   kCancelled,     kJammed,
      kNoPaper, kDeviceError, kCommunication, {VELKAN_E_BDR_IP, TERR_SCANNER_COMMUNICATION_FAILED}};
  static const std::vector<Outcome> kStopOnes = {
      kOk,      kCommunication,          kStoppedPage,          kJammed,
      kNoPaper, {S_OK, TERR_ADF_JAMMED}, {S_OK, TERR_ADF_EMPTY}};
  switch (method) {
    case Method::kOpen:
      return kOpenOnes;
    case Method::kLock:
      return kLockOnes;
    case Method::kCapabilities:
    case Method::kCompression:
    case Method::kReset:
    case Method::kBufferInfo:
      return kExchangeOnes;
    case Method::kReserve:
      return kReserveOnes;
    case Method::kFeederReady:
      return kReadyOnes;
    case Method::kStart:
      return kStartOnes;
    case Method::kRead:
      return kReadOnes;
    case Method::kStop:
      return kStopOnes;
    case Method::kClose:
    case Method::kUnlock:
    case Method::kLocal:
    case Method::kRelease:
      break;
  }
  return kLocalOnes;
}

}  // namespace

const char* Name(Method method) {
  constexpr const char* kNames[] = {"open",      "close",       "lock",  "unlock",  "capabilities",
                                    "a setting", "compression", "reset", "reserve", "release",
                                    "ready",     "buffer info", "start", "read",    "stop"};
  return kNames[static_cast<size_t>(method)];
}

bool IsLegal(Method method, const Outcome& outcome) {
  const std::vector<Outcome>& legal = Legal(method);
  return std::find(legal.begin(), legal.end(), outcome) != legal.end();
}

}  // namespace scantk::test
