// A whole session with a device whose every answer the input may harm, and a second one with the
// device as it should be.
//
// Input: choices of the host (4 bytes), then what hostile_device.h reads.
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>

#include "fuzz/hostile_device.h"
#include "host/console.h"
#include "platform/component.h"
#include "platform/component_support.h"
#include "platform/owner.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "scanner/scanner_object.h"
#include "simulator/paper.h"
#include "tests/contract/page_parameters.h"
#include "tests/sweep/virtual_network.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

constexpr uint32_t kMostRowBytes = 1 << 20;
constexpr size_t kMostPageBytes = 2 << 20;
constexpr int kMostReads = 200;

// The registry, with one device in it.
class Registry {
 public:
  Registry() {
    namespace fs = std::filesystem;
    const fs::path memory = "/dev/shm";
    folder_ = (fs::exists(memory) ? memory : fs::temp_directory_path()) /
              ("fuzz_session_" + std::to_string(ProcessId()));
    fs::create_directories(folder_);
    scanhost::SetEnvironment("SCANTK_REGISTRY", Path());
    name_ = "fuzzed scanner " + std::to_string(ProcessId());
    RegistryKey data;
    Require(RegistryKey::Create(RegistryRoot::kLocalMachine,
                                std::string(kImagingClassPath) + "\\0000\\DeviceData", &data,
                                nullptr) == 0,
            "a registry");
    data.SetDword("VelkanIOType", T_IO_NETWORK);
    SetText(data, "NetworkDeviceID", name_);
    SetText(data, "StaticIP", "127.0.0.1");
    SetText(data, "PortID", "127.0.0.1");
    SetText(data, "PortNumber", "1");
  }
  ~Registry() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  // From now on the file cannot be changed, for nobody can open this to lock it.
  void Freeze() const {
    std::filesystem::remove(Path() + ".lock");
    std::filesystem::create_directory(Path() + ".lock");
  }
  std::u16string DeviceName() const { return Utf16(name_); }

 private:
  static void SetText(RegistryKey& key, const char* name, const std::string& text) {
    key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size()) + 1);
  }
  std::string Path() const { return (folder_ / "registry.reg").string(); }

  std::filesystem::path folder_;
  std::string name_;
};

struct Outcome {
  HRESULT result = E_FAIL;
  uint32_t code = 0;
  bool Good() const { return result == S_OK && code == TERR_NONE; }
  bool PageEnded() const { return result == S_OK && code == TERR_SCANNER_END_OF_PAGE; }
};

void RequireLegal(const Outcome& outcome) {
  constexpr HRESULT kResults[] = {S_OK, E_FAIL, VELKAN_E_BDR_IP, VELKAN_E_SCONF_REJECTED,
                                  VELKAN_E_SCONF_FIREWALL};
  constexpr uint32_t kCodes[] = {TERR_NONE,
                                 TERR_INVALID_PARAMETER,
                                 TERR_SCANNER_NOT_FOUND,
                                 TERR_SCANNER_NOT_LOCKED,
                                 TERR_SCANNER_COMMUNICATION_FAILED,
                                 TERR_OUT_OF_MEMORY,
                                 TERR_INVALID_PROPERTY,
                                 TERR_SCANNER_END_OF_PAGE,
                                 TERR_CANCEL_PRESSED,
                                 TERR_NET_SOCKET_BUSY,
                                 TERR_ADF_JAMMED,
                                 TERR_ADF_EMPTY,
                                 TERR_ADF_HATCH_OPEN,
                                 TERR_RESERVE_BUSY,
                                 TERR_RESERVE_FAILED,
                                 TERR_SPF_NOT_SUPPORTED};
  const bool known =
      std::find(std::begin(kResults), std::end(kResults), outcome.result) != std::end(kResults) &&
      std::find(std::begin(kCodes), std::end(kCodes), outcome.code) != std::end(kCodes);
  if (!known)
    std::fprintf(stderr, "%08x %u\n", static_cast<unsigned>(outcome.result), outcome.code);
  Require(known, "a method answers one of its codes");
}

class Host {
 public:
  Host() {
    void* made = nullptr;
    Require(ScannerObject::Create(nullptr, IID_IScanner, &made) == S_OK, "an object is made");
    *scanner_.Out() = static_cast<IScanner*>(made);
    Ask(IID_IADF3, &feeder_);
    Ask(IID_ICompression, &compression_);
    Ask(IID_IHWProperty, &properties_);
    Ask(IID_IControlPanel, &panel_);
    Ask(IID_IReserve, &reserve_);
    Ask(IID_ISPF, &spf_);
  }

  Outcome Open(const std::u16string& name) {
    return Call(scanner_, &IScanner::OpenScannerSession,
                reinterpret_cast<const WideChar*>(name.c_str()), T_IO_NETWORK, &session_);
  }
  Outcome Lock() { return Do(scanner_, &IScanner::LockScanner, T_LOCK_PROCESS, 0u); }
  void Close() {
    Do(scanner_, &IScanner::UnlockScanner);
    Do(scanner_, &IScanner::CloseScannerSession);
  }

  void LookAround() {
    SCANNER_CAPABILITIES capabilities = {};
    Do(scanner_, &IScanner::GetScannerCapabilities, &capabilities);
    ADF_CAPABILITIES first = {};
    Do(feeder_, &IADF3::GetADFCapabilities, &first);
    ADF3_CAPABILITIES third = {};
    Do(feeder_, &IADF3::GetADF3Capabilities, &third);
    COMPRESSION_CAPABILITIES compression = {};
    Do(compression_, &ICompression::GetCompressionCapabilities, &compression);
  }

  void UseFeatures() {
    CONTROL_PANEL_CAPABILITIES panel = {};
    Do(panel_, &IControlPanel::GetControlPanelCapabilities, &panel);
    uint32_t value = 0;
    for (uint32_t variable = 0; variable < 4; ++variable)
      Do(panel_, &IControlPanel::GetControlPanelValue, variable, &value);
    for (const char16_t* tag : {u"ADF", u"XPA", u"CCD Type", u"nothing"}) {
      WideChar* text = nullptr;
      const auto* name = reinterpret_cast<const WideChar*>(tag);
      Do(properties_, &IHWProperty::GetHWPropString, name, &text);
      TaskFree(text);
      Do(properties_, &IHWProperty::GetHWPropValue, name, &value);
    }
    SPF_CAPABILITIES spf = {};
    Do(spf_, &ISPF::GetSPFCapabilities, &spf);
    std::vector<uint8_t> block(512);
    Do(spf_, &ISPF::GetSPFData, static_cast<uint32_t>(block.size()), block.data());
    uint8_t lamp = 0;
    Do(scanner_, &IScanner::GetLampStatus, &lamp);
    Do(scanner_, &IScanner::ResetScanner);
  }

  void ReserveAndRelease() {
    Do(reserve_, &IReserve::JobReserveHW, 100u);
    URS_STATE state = {};
    Do(reserve_, &IReserve::GetUserReadyToScanState, &state);
    Do(reserve_, &IReserve::SetUserReadyToScanState, T_URS_START);
    Do(reserve_, &IReserve::JobReleaseHW);
  }

  void UseJpeg(bool jpeg) {
    Do(compression_, &ICompression::SetCompressionType,
       jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
  }

  void Feed(bool duplex) {
    Do(feeder_, &IADF3::SetADFOptions, T_ADF_MULTIPAGE_FLOW | (duplex ? T_ADF_DUPLEX : 0u));
    uint8_t ready = 0;
    Do(feeder_, &IADF3::ADFIsReady, &ready);
    Do(feeder_, &IADF3::ADFPaperFeed);
    method_ = T_METHOD_ADF;
  }

  // What came of the page; `ended` when it is whole.
  std::vector<uint8_t> Scan(uint32_t mode, uint16_t dpi, uint32_t lines, int reads, bool* ended) {
    SCANNER_PARAMETERS page = test::PageParameters(mode, dpi, {400, 200, 40, 80});
    page.wScanMethod = method_;
    BUFFER_INFO info = {};
    Do(scanner_, &IScanner::SetScannerParameters, &page);
    const bool known = Do(scanner_, &IScanner::GetBufferInfo, &page, &info).Good();
    std::vector<uint8_t> bytes;
    *ended = false;
    const uint32_t row = info.dwBytesPerLine;
    if (Do(scanner_, &IScanner::StartScan).Good() && known && row > 0 && row <= kMostRowBytes)
      *ended =
          ReadPage(std::vector<uint8_t>(row * std::min(lines, kMostRowBytes / row)), reads, &bytes);
    *ended = Do(scanner_, &IScanner::StopScan).Good() && *ended;
    return bytes;
  }

 private:
  template <class Interface>
  void Ask(REFIID iid, ComPtr<Interface>* asked) {
    Require(scanner_->QueryInterface(iid, asked->OutVoid()) == S_OK, "the object has its parts");
  }

  template <class Pointer, class Interface, class... Parameters, class... Arguments>
  Outcome Call(const Pointer& object, HRESULT (STDMETHODCALLTYPE Interface::*method)(Parameters...),
               Arguments... arguments) {
    Outcome outcome;
    outcome.result = (object.Get()->*method)(arguments..., &outcome.code);
    RequireLegal(outcome);
    return outcome;
  }
  template <class Pointer, class Method, class... Arguments>
  Outcome Do(const Pointer& object, Method method, Arguments... arguments) {
    return Call(object, method, session_, arguments...);
  }

  bool ReadPage(std::vector<uint8_t> buffer, int reads, std::vector<uint8_t>* bytes) {
    Outcome outcome = {S_OK, TERR_NONE};
    while (outcome.Good() && reads-- > 0 && bytes->size() < kMostPageBytes) {
      uint32_t got = 0;
      outcome = Do(scanner_, &IScanner::ReadScanEx, buffer.data(),
                   static_cast<uint32_t>(buffer.size()), &got);
      Require(got <= buffer.size(), "a read gives no more than there is room for");
      bytes->insert(bytes->end(), buffer.begin(), buffer.begin() + got);
    }
    return outcome.PageEnded();
  }

  ComPtr<IScanner> scanner_;
  ComPtr<IADF3> feeder_;
  ComPtr<ICompression> compression_;
  ComPtr<IHWProperty> properties_;
  ComPtr<IControlPanel> panel_;
  ComPtr<IReserve> reserve_;
  ComPtr<ISPF> spf_;
  uint32_t session_ = 0;
  uint16_t method_ = T_METHOD_FLATBED;
};

struct Choices {
  explicit Choices(FuzzInput* input) {
    const uint8_t first = input->Byte(), second = input->Byte();
    looks = !(first & 1);
    features = first & 2;
    reserves = first & 4;
    jpeg = first & 8;
    feeder = first & 16;
    duplex = first & 32;
    pages = first & 64 ? 2 : 1;
    constexpr uint32_t kModes[] = {T_GREYSCALE, T_COLOR, T_BW};
    mode = kModes[second % 3];
    dpi = second & 8 ? 1200 : second & 16 ? 150 : 75;
    model = second / 32;
    lines = input->Byte() % 64 + 1u;
    reads = std::min<int>(input->Byte() + 1, kMostReads);
  }
  bool looks, features, reserves, jpeg, feeder, duplex;
  int pages;
  uint32_t mode;
  uint16_t dpi;
  size_t model;
  uint32_t lines;
  int reads;
};

void RunHarmed(Host& host, const Choices& choices) {
  if (choices.looks) host.LookAround();
  if (choices.features) host.UseFeatures();
  if (choices.reserves) host.ReserveAndRelease();
  host.UseJpeg(choices.jpeg);
  for (int page = 0; page < choices.pages; ++page) {
    if (choices.feeder) host.Feed(choices.duplex);
    bool ended = false;
    host.Scan(choices.mode, choices.dpi, choices.lines, choices.reads, &ended);
  }
}

void RunClean(Host& host, HostileDevice& device) {
  Require(host.Lock().Good(), "a device that has recovered can be locked");
  device.core().TakePaperOut();  // what the harmed job left in the path
  device.core().sheets = 1;
  if (!device.core().variables.has_flatbed()) {
    host.LookAround();
    host.Feed(false);
  }
  host.UseJpeg(false);  // behind the capabilities, which switch it on
  bool ended = false;
  const std::vector<uint8_t> bytes = host.Scan(T_GREYSCALE, 75, 30, kMostReads, &ended);
  Require(ended, "a device that has recovered scans");
  const auto settings = device.core().last_page;
  Require(settings && bytes == sim::RenderPage(device.core().paper, *settings),
          "and the page is right");
  Require(device.core().lock_holder == 0, "and the device is free");
}

// A session; harmed by the input, or by nothing and perfect.
void RunSession(const Registry& registry, HostileDevice& device, const Choices* choices) {
  Host host;
  if (!host.Open(registry.DeviceName()).Good()) return;
  if (!choices) {
    device.Relent();
    RunClean(host, device);
  } else if (host.Lock().Good()) {
    RunHarmed(host, *choices);
  }
  host.Close();
}

// A registry that holds what was learnt of a sound device: every run begins with it.
const Registry& TheRegistry() {
  static const Registry registry;
  static bool learnt = false;
  if (learnt) return registry;
  learnt = true;
  test::VirtualClock clock;
  HostileDevice device({}, FuzzInput(nullptr, 0), [&clock] { return clock.Milliseconds(); });
  test::VirtualNetwork network(&clock);
  network.Begin(&device);
  FuzzInput no_choices(nullptr, 0);
  const Choices choices(&no_choices);
  RunSession(registry, device, &choices);
  registry.Freeze();
  return registry;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Registry& registry = TheRegistry();
  FuzzInput input(data, std::min<size_t>(size, 4096));
  const Choices choices(&input);
  sim::DeviceConfig config;
  const std::vector<std::string> models = sim::ModelNames();
  config.model = models[choices.model % models.size()];
  config.paper = "pattern";
  config.sheets = 3;
  config.delivery.block_bytes = 1000;
  test::VirtualClock clock;
  HostileDevice device(config, input, [&clock] { return clock.Milliseconds(); });
  test::VirtualNetwork network(&clock);
  network.Begin(&device);
  RunSession(registry, device, &choices);
  RunSession(registry, device, nullptr);
  Require(network.OpenSockets() == 0 && network.OpenTransfers() == 0, "everything is closed");
  Require(!network.Hung(), "no wait is without an end");
  return 0;
}
