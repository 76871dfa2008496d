#include "host/error_advice.h"

#include <cstdio>
#include <string_view>

namespace scanhost {
namespace {

struct ResultAdvice {
  HRESULT result;
  const char* advice;
};

// Asked first: these results say more than the code that comes with them.
constexpr ResultAdvice kResultAdvice[] = {
    {VELKAN_E_SCONF_FIREWALL,
     "The connection was refused: no scanner at that address and port, scanning switched off at "
     "the "
     "device, or a firewall between here and its TCP ports 9290 to 9292; `scanhost doctor` tells."},
    {VELKAN_E_SCONF_REJECTED,
     "No connection to the device. Check that it is switched on and that its address and port are "
     "right (`scanhost devices`); `scanhost doctor` finds where the way to it ends."},
    {VELKAN_E_BDR_IP,
     "The device sent image data that could not be decoded. Try once more; if it comes again, scan "
     "with --no-jpeg and send the trace (scanhost trace on) to the driver's makers."},
    {REGDB_E_CLASSNOTREG,
     "The toolkit is not registered. Register the library, put it beside scanhost, or name it with "
     "--library."},
    {E_NOINTERFACE, "This version of the toolkit does not offer that. Update it."},
    {E_POINTER, "The host passed a null pointer: a fault of this program. Please report it."},
};

struct CodeAdvice {
  uint32_t code;
  const char* advice;
};

constexpr CodeAdvice kCodeAdvice[] = {
    {TERR_INVALID_SESSION, "The session was closed. Start the command again."},
    {TERR_INVALID_PARAMETER,
     "The device cannot scan with these settings. Look at `scanhost info` for what it offers."},
    {TERR_SCANNER_NOT_FOUND,
     "The device could not be set up. Check its entry with `scanhost devices`, and on USB and DOT4 "
     "that its device file is there and may be opened; `scanhost doctor` tells."},
    {TERR_SCANNER_NOT_LOCKED, "The device is not locked by this program. Please report it."},
    {TERR_SCANNER_LOCK_FAILED,
     "Another program on this computer is using the device (`scanhost doctor` names it). Wait "
     "until "
     "it has finished, or give more time with --wait."},
    {TERR_SCANNER_LAMP_OFF, "The lamp is off. Switch the device off and on."},
    {TERR_CALIBRATION_FAILED,
     "The device could not calibrate. Clean the glass, then switch it off and on."},
    {TERR_OUT_OF_MEMORY, "Not enough memory. Close other programs."},
    {TERR_SCANNER_HOME_FAILED,
     "The carriage does not move. Check the transport lock, then switch the device off and on."},
    {TERR_SCANNER_COMMUNICATION_FAILED,
     "The device did not answer as it should. Check the cable or the network and try again; "
     "`scanhost doctor --report FILE.zip` packs what the driver's makers need."},
    {TERR_INVALID_TOOLKIT, "The toolkit could not start its protocol engine. Reinstall it."},
    {TERR_INVALID_PROPERTY, "The device has no such property."},
    {TERR_CANCEL_PRESSED, "The scan was cancelled at the device, or one is under way already."},
    {TERR_SCANNER_LAMP_FAILED, "The lamp is broken. The device needs service."},
    {TERR_NET_SOCKET_BUSY,
     "The device is serving another computer. Try again when it has finished, or give more time "
     "with --wait."},
    {TERR_THERMAL_FAN_FAILED, "The fan is broken. The device needs service."},
    {TERR_ADF_JAMMED,
     "Paper is jammed in the feeder. Open it, take the paper out, close it and scan the remaining "
     "pages again; with --wait the job goes on by itself."},
    {TERR_ADF_EMPTY,
     "The feeder is empty. Put paper in, or scan from the glass with --source glass."},
    {TERR_ADF_HATCH_OPEN, "The feeder's hatch is open. Close it."},
    {TERR_APF_JAMMED, "A photo is jammed in the feeder. Take it out."},
    {TERR_ADF_DUPLEX_PAGE_TOO_SHORT, "The page is too short for two-sided scanning."},
    {TERR_ADF_DUPLEX_PAGE_TOO_LONG, "The page is too long for two-sided scanning."},
    {TERR_ADF_PICK_FAILED, "The feeder could not take the page. Straighten the stack."},
    {TERR_ADF_MPD, "Two pages were taken at once. Fan the stack and scan again."},
    {TERR_RESERVE_BUSY,
     "Another computer has reserved the device. Wait until its job has ended, or give --wait."},
    {TERR_RESERVE_FAILED, "The device did not take the reservation. Try again."},
    {TERR_SPF_NOT_SUPPORTED, "The device holds no SPF data."},
};

std::string ResultName(HRESULT result) {
  if (const char* name = ToolkitResultText(result)) return name;
  switch (result) {
    case S_OK:
      return "S_OK";
    case E_FAIL:
      return "E_FAIL";
    case E_POINTER:
      return "E_POINTER";
    case E_NOINTERFACE:
      return "E_NOINTERFACE";
    case REGDB_E_CLASSNOTREG:
      return "REGDB_E_CLASSNOTREG";
    default:
      return "of the system";
  }
}

}  // namespace

std::string Describe(const Outcome& outcome) {
  char number[32];
  std::snprintf(number, sizeof number, " (0x%08X)", static_cast<unsigned>(outcome.result));
  std::string text = std::string(outcome.method) + ": ";
  // What the component runtime answers comes without a code.
  if (outcome.code != TERR_NONE || SUCCEEDED(outcome.result))
    text +=
        std::string(ToolkitErrorText(outcome.code)) + " (" + std::to_string(outcome.code) + "), ";
  return text + "result " + ResultName(outcome.result) + number;
}

const char* AdviceFor(const Outcome& outcome) {
  // There is a connection by then: what the device keeps is an error.
  if (outcome.result == VELKAN_E_SCONF_REJECTED && outcome.method == std::string_view("StartScan"))
    return "The device reports an error and does not let go of it: look at its display, mend what "
           "it "
           "shows, or try `scanhost reset`.";
  if (outcome.code == TERR_INVALID_PARAMETER &&
      std::string_view(outcome.method).find("ControlPanel") != std::string_view::npos)
    return "The panel has no such value, text or destination; `scanhost panel` shows which it has.";
  // The system's own failures are those of loading the library.
  if ((static_cast<uint32_t>(outcome.result) & 0xFFFF0000) == 0x80070000)
    return "The toolkit's library cannot be loaded: see that it is there and complete, or name "
           "another "
           "with --library; `scanhost --version` tells which is taken.";
  for (const ResultAdvice& entry : kResultAdvice)
    if (entry.result == outcome.result) return entry.advice;
  for (const CodeAdvice& entry : kCodeAdvice)
    if (entry.code == outcome.code) return entry.advice;
  if (outcome.code >= TERR_JAM_INPUT_TRAY && outcome.code <= TERR_JAM_DOOR3)
    return "Paper is jammed. Follow the device's display, then try again.";
  if (outcome.code >= TERR_OPEN_DOOR1 && outcome.code <= TERR_OPEN_ADF_PLATEN)
    return "A door, tray or lid is open. Close it and try again.";
  return "Look at the device's display; `scanhost doctor --report FILE.zip` packs what the "
         "driver's "
         "makers need.";
}

ToolkitFailure::ToolkitFailure(const Outcome& outcome)
    : std::runtime_error(Describe(outcome)), outcome_(outcome) {}

}  // namespace scanhost
