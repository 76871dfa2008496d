// The small commands: what a device's other interfaces give.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "host/commands.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/setup/device_registry.h"

namespace scanhost {
namespace {

using scantk::client::FreeText;
using scantk::client::Narrow;
using scantk::client::Wide;

// "NUMBER=TEXT".
std::pair<uint32_t, std::string> Assignment(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) throw UsageError("\"" + text + "\" is not NUMBER=VALUE");
  return {ParseNumber(text.substr(0, equals), "the number"), text.substr(equals + 1)};
}

void RunPanelRequests(IControlPanel* panel, uint32_t handle, const PanelRequest& request) {
  if (!request.code_page.empty())
    Call("SetCodePage", panel, &IControlPanel::SetCodePage, handle,
         ParseNumber(request.code_page, "the code page"));
  if (!request.set_value.empty()) {
    const auto [number, value] = Assignment(request.set_value);
    Call("SetControlPanelValue", panel, &IControlPanel::SetControlPanelValue, handle, number,
         ParseNumber(value, "the value"));
  }
  if (!request.set_string.empty()) {
    const auto [number, text] = Assignment(request.set_string);
    Call("SetControlPanelString", panel, &IControlPanel::SetControlPanelString, handle, number,
         Wide(text).c_str(), static_cast<uint32_t>(text.size()));
  }
  if (!request.set_destination.empty()) {
    const auto [number, text] = Assignment(request.set_destination);
    Call("SetControlPanelDestinationString", panel,
         &IControlPanel::SetControlPanelDestinationString, handle, number, Wide(text).c_str());
  }
  if (!request.get_value.empty()) {
    uint32_t value = 0;
    Call("GetControlPanelValue", panel, &IControlPanel::GetControlPanelValue, handle,
         ParseNumber(request.get_value, "the variable"), &value);
    std::printf("%u\n", value);
  }
  if (!request.get_string.empty()) {
    WideChar* text = nullptr;
    uint32_t bytes = 0;
    Call("GetControlPanelString", panel, &IControlPanel::GetControlPanelString, handle,
         ParseNumber(request.get_string, "the text"), &text, &bytes);
    std::printf("%s\n", text ? Narrow(text).c_str() : "");
    FreeText(text);
  }
}

void Reserve(IReserve* reserve, uint32_t handle, uint32_t seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    const Outcome outcome = Try("JobReserveHW", reserve, &IReserve::JobReserveHW, handle, 0u);
    if (outcome.Clean()) return;
    if (outcome.code != TERR_RESERVE_BUSY || std::chrono::steady_clock::now() >= end)
      throw ToolkitFailure(outcome);
    Interruption::ThrowIfAsked();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

}  // namespace

int RunProperties(const DeviceOptions& options) {
  DeviceContext context(options);
  const auto properties = context.toolkit().Ask<IHWProperty>(IID_IHWProperty);
  const uint32_t handle = context.session().handle();
  for (const char* tag : {"HardwareProperty", "ADF", "XPA"}) {
    uint32_t value = 0;
    Call("GetHWPropValue", properties.Get(), &IHWProperty::GetHWPropValue, handle,
         Wide(tag).c_str(), &value);
    std::printf("%-16s %u\n", tag, value);
  }
  WideChar* text = nullptr;
  Call("GetHWPropString", properties.Get(), &IHWProperty::GetHWPropString, handle,
       Wide("CCD Type").c_str(), &text);
  std::printf("%-16s %s\n", "CCD Type", Narrow(text).c_str());
  FreeText(text);
  return kExitDone;
}

int RunReset(const DeviceOptions& options) {
  DeviceContext context(options);
  context.session().Do("InitializeScanner", &IScanner::InitializeScanner);
  context.session().Do("ResetScanner", &IScanner::ResetScanner);
  std::printf("reset\n");
  return kExitDone;
}

int RunLamp(const DeviceOptions& options) {
  DeviceContext context(options);
  uint8_t on = 0;
  context.session().Do("GetLampStatus", &IScanner::GetLampStatus, &on);
  std::printf("lamp: %s (the device looks after it by itself)\n", on ? "on" : "off");
  return kExitDone;
}

int RunPanel(const DeviceOptions& options, const PanelRequest& request) {
  DeviceContext context(options);
  const auto panel = context.toolkit().Ask<IControlPanel>(IID_IControlPanel);
  const uint32_t handle = context.session().handle();
  CONTROL_PANEL_CAPABILITIES can = {};
  Call("GetControlPanelCapabilities", panel.Get(), &IControlPanel::GetControlPanelCapabilities,
       handle, &can);
  std::printf("control panel: %s, values 0x%X, texts 0x%X, destinations %u, code page %u\n",
              can.byHasControlPanel ? "yes" : "none", can.dwSupportedValues, can.dwSupportedStrings,
              can.dwDestinationListEntries,
              can.dwCurrentCodePage ? can.dwCurrentCodePage : can.dwSupportedCodePages[0]);
  RunPanelRequests(panel.Get(), handle, request);
  return kExitDone;
}

int RunSpf(const DeviceOptions& options, const std::string& file, bool force) {
  constexpr uint32_t kMostSpf = 64u << 20;
  std::error_code error;
  if (!file.empty() && !force && std::filesystem::exists(file, error))
    throw HostFailure(file + " exists; --force replaces it");
  DeviceContext context(options);
  const auto spf = context.toolkit().Ask<ISPF>(IID_ISPF);
  SPF_CAPABILITIES can = {};
  Call("GetSPFCapabilities", spf.Get(), &ISPF::GetSPFCapabilities, context.session().handle(),
       &can);
  std::printf("SPF data: %u bytes%s\n", can.dwSPFsize, can.byEncrypted ? ", enciphered" : "");
  if (file.empty()) return kExitDone;
  if (can.dwSPFsize > kMostSpf) throw HostFailure("that is more than any device holds");
  std::vector<uint8_t> data(can.dwSPFsize);
  Call("GetSPFData", spf.Get(), &ISPF::GetSPFData, context.session().handle(), can.dwSPFsize,
       data.data());
  Stream out = OpenStream(file, "wb");
  WriteAll(out.get(), data.data(), data.size(), file);
  CloseStream(std::move(out), file);
  std::printf("wrote %s\n", file.c_str());
  return kExitDone;
}

int RunReserve(const DeviceOptions& options, const ReserveRequest& request) {
  DeviceContext context(options);
  const auto reserve = context.toolkit().Ask<IReserve>(IID_IReserve);
  const uint32_t handle = context.session().handle();
  SCANNER_CAPABILITIES learnt = {};  // the handshake's state comes with them
  context.session().Do("GetScannerCapabilities", &IScanner::GetScannerCapabilities, &learnt);
  Reserve(reserve.Get(), handle, options.wait_s.value_or(0));
  if (request.state != URS_STATE{})
    Call("SetUserReadyToScanState", reserve.Get(), &IReserve::SetUserReadyToScanState, handle,
         request.state);
  constexpr const char* kStates[] = {"unknown", "free", "waiting for the user at the device",
                                     "may start"};
  URS_STATE shown{};
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(request.milliseconds);
  do {
    URS_STATE state{};
    Call("GetUserReadyToScanState", reserve.Get(), &IReserve::GetUserReadyToScanState, handle,
         &state);
    if (state != shown)
      std::printf("reserved: %s\n", kStates[state <= T_URS_START ? static_cast<int>(state) : 0]);
    std::fflush(stdout);
    shown = state;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  } while (Interruption::Status() == 0 &&
           (request.milliseconds == 0 || std::chrono::steady_clock::now() < end));
  Call("JobReleaseHW", reserve.Get(), &IReserve::JobReleaseHW, handle);
  std::printf("released\n");
  return Interruption::Status();
}

}  // namespace scanhost
