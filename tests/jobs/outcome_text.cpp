#include "tests/jobs/outcome_text.h"

#include <cstdio>
#include <map>
#include <stdexcept>

namespace scantk::test {
namespace {

constexpr std::pair<const char*, HRESULT> kPlainResults[] = {
    {"ok", S_OK}, {"S_OK", S_OK}, {"E_FAIL", E_FAIL}, {"E_POINTER", E_POINTER}};

bool TakeResult(const std::string& word, HRESULT* result) {
  for (const auto& [name, value] : kPlainResults)
    if (word == name) return *result = value, true;
#define SCANTK_X(code, name) \
  if (word == #name) return *result = name, true;
  SCANTK_TOOLKIT_RESULTS(SCANTK_X)
#undef SCANTK_X
  return false;
}

bool TakeCode(const std::string& word, uint32_t* code) {
  if (word == "untouched") return *code = kUntouched, true;
  for (const ToolkitErrorName& row : kToolkitErrorNames)
    if (row.code != TERR_END_OF_TABLE && word == row.name) return *code = row.code, true;
  return false;
}

// By method, with commas between them; of a method that is not here: ok.
const std::map<std::string, std::string>& LegalOutcomes() {
  static const std::string kRefused = "VELKAN_E_SCONF_REJECTED TERR_SCANNER_COMMUNICATION_FAILED";
  static const std::string kBroken = "ok, TERR_SCANNER_COMMUNICATION_FAILED";
  static const std::string kDevice = ", TERR_ADF_EMPTY, TERR_ADF_JAMMED";
  static const std::map<std::string, std::string> legal = {
      {"OpenScannerSession", "ok, TERR_SCANNER_NOT_FOUND"},
      {"LockScanner",
       "ok, TERR_NET_SOCKET_BUSY, VELKAN_E_SCONF_FIREWALL "
       "TERR_SCANNER_COMMUNICATION_FAILED, " +
           kRefused},
      {"GetScannerCapabilities", kBroken},
      {"GetADF2Capabilities", kBroken},
      {"SetCompressionType", kBroken},
      {"ResetScanner", kBroken},
      {"GetBufferInfo", kBroken},
      {"JobReserveHW", kBroken + ", TERR_RESERVE_BUSY, TERR_RESERVE_FAILED"},
      {"ADFIsReady", kBroken + ", S_OK TERR_ADF_EMPTY"},
      {"StartScan",
       kBroken + kDevice + ", E_FAIL, TERR_CANCEL_PRESSED, TERR_RESERVE_BUSY, " + kRefused},
      {"ReadScanEx", kBroken + kDevice +
                         ", E_FAIL, TERR_CANCEL_PRESSED, S_OK TERR_SCANNER_END_OF_PAGE, "
                         "VELKAN_E_BDR_IP TERR_SCANNER_COMMUNICATION_FAILED"},
      {"StopScan",
       kBroken + kDevice + ", S_OK TERR_ADF_EMPTY, S_OK TERR_ADF_JAMMED, S_OK TERR_CANCEL_PRESSED"},
  };
  return legal;
}

}  // namespace

std::string Text(const Outcome& outcome) {
  if (outcome == kOk) return "ok";
  const char* own = ToolkitResultText(outcome.result);
  char number[16];
  std::snprintf(number, sizeof number, "0x%08X", static_cast<uint32_t>(outcome.result));
  std::string result = own ? own : number;
  for (const auto& [name, value] : kPlainResults)
    if (value == outcome.result) result = name;
  if (outcome.result == S_OK) result = "S_OK";
  const std::string code =
      outcome.code == kUntouched ? "untouched" : ToolkitErrorText(outcome.code);
  if (outcome.code == TERR_NONE) return result;
  return outcome.result == E_FAIL ? code : result + " " + code;
}

Outcome OutcomeNamed(const std::vector<std::string>& words) {
  Outcome outcome = {E_FAIL, TERR_NONE};
  for (const std::string& word : words)
    if (!TakeResult(word, &outcome.result) && !TakeCode(word, &outcome.code))
      throw std::runtime_error("no outcome is called " + word);
  return outcome;
}

bool IsLegal(const std::string& method, const Outcome& outcome) {
  const auto found = LegalOutcomes().find(method);
  const std::string legal = found == LegalOutcomes().end() ? "ok" : found->second;
  return (", " + legal + ",").find(", " + Text(outcome) + ",") != std::string::npos;
}

}  // namespace scantk::test
