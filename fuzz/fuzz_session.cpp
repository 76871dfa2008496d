// A whole session with a device whose every answer the input may harm, and a second one with the
// device as it should be.
//
// Input: choices of the host (4 bytes), then what becomes of the device's messages (greetings,
// answers, blocks): how many pass unharmed, what happens to the next one with bytes for its
// details, and so on. Behind its end all pass.
#include <array>
#include <cstring>
#include <filesystem>
#include <set>
#include <sstream>

#include "fuzz/fuzz_input.h"
#include "scanner/scanner_object.h"
#include "simulator/paper.h"
#include "simulator/scanner_core.h"
#include "tests/contract/toolkit.h"
#include "tests/jobs/methods.h"
#include "tests/sweep/virtual_network.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

constexpr uint32_t kMostRowBytes = 1 << 20;
constexpr size_t kMostPageBytes = 2 << 20;
constexpr char kNoJpeg[] = "SetCompressionType T_COMPRESSION_NONE";

class HostileDevice : public sim::Responder {
 public:
  HostileDevice(const sim::DeviceConfig& config, const FuzzInput& harm,
                const test::VirtualLine& clock)
      : core(config, nullptr, [&clock] { return clock.Milliseconds(); }),
        clock_(clock),
        harm_(harm),
        unharmed_(harm_.Byte()) {}

  bool Greet(sim::Conversation& host, bool busy) override {
    const bool stays = core.Greet(host, busy);
    HarmNew(host, 0);
    return stays;
  }
  size_t Receive(sim::Conversation& host, const uint8_t* bytes, size_t size) override {
    const size_t known = host.out.size(), taken = core.Receive(host, bytes, size);
    HarmNew(host, known);
    return taken;
  }
  void Produce(sim::Conversation& host) override {
    const size_t known = host.out.size();
    core.Produce(host);
    HarmNew(host, known);
  }
  void Leave(sim::Conversation& host) override { core.Leave(host); }

  sim::ScannerCore core;
  bool relented = false;  // nothing is harmed

 private:
  using Message = std::vector<uint8_t>;

  // Of the messages for the host, those behind the first `known` ones have not been looked at.
  void HarmNew(sim::Conversation& host, size_t known) {
    while (known < host.out.size() && !relented && !harm_.Empty()) {
      Message& message = host.out[known++];
      if (unharmed_-- > 0) continue;
      host.out_bytes -= message.size();
      Harm(host, message);
      host.out_bytes += message.size();
      if (message.empty()) host.out.erase(host.out.begin() + static_cast<ptrdiff_t>(--known));
    }
  }

  void Harm(sim::Conversation& host, Message& message) {
    constexpr size_t kPlaces[] = {0, 4, 7, 8};  // length, first record, flags, records
    constexpr size_t kSizes[] = {4, 2, 1, 4};
    const uint8_t kind = harm_.Byte();
    const bool is_answer =
        message.size() > 5 && message[0] == 0x1B && message[1] == '*' && message[2] == 's';
    if (kind < 0x80 && is_answer)
      HarmAnswer(kind % 5, message);
    else if (kind < 0x80 && message.size() >= 8)
      Overwrite(message, kPlaces[kind % 4] + (kind % 4 == 3 ? harm_.Byte() : 0), kSizes[kind % 4]);
    else
      HarmBytes(kind % 8, host, message);
    unharmed_ = harm_.Byte();
  }

  // The number, behind the letter that follows the echo, or what stands behind it.
  void HarmAnswer(uint8_t kind, Message& message) {
    const auto is_digit = [](uint8_t byte) { return (byte >= '0' && byte <= '9') || byte == '-'; };
    auto start = std::find_if_not(message.begin() + 3, message.end(), is_digit);
    if (start != message.end()) ++start;
    const auto end = std::find_if_not(start, message.end(), is_digit);
    if (kind < 3) {
      const auto number = static_cast<int32_t>(harm_.Number(std::array{4, 1, 2}[kind]));
      const std::string text = std::to_string(number);
      message.insert(message.erase(start, end), text.begin(), text.end());
    } else if (kind == 3) {  // it has no such variable
      message.erase(end, message.end());
      message.push_back('N');
    } else if (end != message.end()) {
      *end = static_cast<uint8_t>('A' + harm_.Byte() % 26);
    }
  }

  void HarmBytes(uint8_t kind, sim::Conversation& host, Message& message) {
    const size_t size = message.size();
    if (kind == 0) message.clear();
    if (kind == 1 || kind == 2) message.resize(std::min<size_t>(size, harm_.Number(2)));
    if (kind == 2) host.drop_when_sent = true;
    if (kind == 3 || kind == 7) {
      const size_t at = size == 0 ? 0 : harm_.Number(2) % size;
      Overwrite(message, at, kind == 3 ? 1 : harm_.Byte() % 16);
    }
    if (kind == 4) Overwrite(message = Message(harm_.Byte() % 48), 0, 48);
    for (size_t i = 0; kind == 5 && i < size; ++i) message.push_back(message[i]);  // twice
    const auto late = static_cast<int64_t>(kind == 6 ? harm_.Number(2) : 0);
    if (late > 0) host.stalled_until = clock_.Milliseconds() + late;
  }

  void Overwrite(Message& message, size_t at, size_t count) {
    for (; count > 0 && at < message.size(); --count, ++at) message[at] = harm_.Byte();
  }

  const test::VirtualLine& clock_;
  FuzzInput harm_;
  int unharmed_;
};

class Host {
 public:
  explicit Host(const std::string& device) {
    Require(Do("OpenScannerSession " + device + ",T_IO_NETWORK"), "a session is open");
    call_.session = static_cast<uint32_t>(std::stoul(call_.value));
  }

  // Calls "METHOD ARGUMENT,ARGUMENT"; true when all is well.
  bool Do(const std::string& text) {
    static const std::set<HRESULT> results = {S_OK, E_FAIL, VELKAN_E_BDR_IP,
                                              VELKAN_E_SCONF_REJECTED, VELKAN_E_SCONF_FIREWALL};
    static const std::set<uint32_t> codes = {
        TERR_NONE,           TERR_INVALID_PARAMETER,   TERR_SCANNER_NOT_FOUND,
        TERR_OUT_OF_MEMORY,  TERR_SCANNER_NOT_LOCKED,  TERR_SCANNER_COMMUNICATION_FAILED,
        TERR_CANCEL_PRESSED, TERR_SCANNER_END_OF_PAGE, TERR_INVALID_PROPERTY,
        TERR_ADF_JAMMED,     TERR_NET_SOCKET_BUSY,     TERR_SPF_NOT_SUPPORTED,
        TERR_ADF_EMPTY,      TERR_ADF_HATCH_OPEN,      TERR_RESERVE_BUSY,
        TERR_RESERVE_FAILED};
    const size_t blank = std::min(text.find(' '), text.size() - 1);
    std::istringstream words(text.substr(blank + 1));
    call_.words.clear();
    for (std::string word; std::getline(words, word, ',');) call_.words.push_back(word);
    call_.page = &page_;
    call_.bytes = bytes_.data();
    call_.outcome = {S_OK, 0xDEADBEEF};
    test::CallMethod(toolkit_, text.substr(0, text.find(' ')), &call_);
    Require(results.contains(call_.outcome.result) && codes.contains(call_.outcome.code),
            (text + " answers one of its codes").c_str());
    return call_.outcome == test::kOk;
  }
  void DoAll(std::initializer_list<const char*> calls) {
    for (const char* call : calls) Do(call);
  }

  // What came of the page; `ended` when it is whole.
  std::vector<uint8_t> Scan(uint32_t mode, uint16_t dpi, uint32_t lines, int reads, bool* ended) {
    page_ = test::PageParameters(mode, dpi, {400, 200, 40, 80});
    page_.wScanMethod = method_;
    Do("SetScannerParameters");
    BUFFER_INFO info = {};
    if (Do("GetBufferInfo")) std::memcpy(&info, call_.record.data(), sizeof info);
    const uint32_t row = info.dwBytesPerLine;
    const size_t room = row * std::min(lines, kMostRowBytes / std::max(row, 1u));
    *ended = Do("StartScan") && room > 0;
    std::vector<uint8_t> image;
    if (*ended) bytes_ = std::vector<uint8_t>(room);
    for (bool more = *ended; more && reads-- > 0 && image.size() < kMostPageBytes;) {
      more = Do("ReadScanEx " + std::to_string(room));
      const size_t got = call_.outcome.result == S_OK ? std::stoul(call_.value) : 0;
      Require(got <= room, "a read gives no more than there is room for");
      image.insert(image.end(), bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(got));
    }
    *ended = *ended && call_.outcome == test::kEndOfPage;
    *ended = Do("StopScan") && *ended;
    return image;
  }

  void Feed(bool duplex) {
    Do(duplex ? "SetADFOptions T_ADF_MULTIPAGE_FLOW|T_ADF_DUPLEX"
              : "SetADFOptions T_ADF_MULTIPAGE_FLOW");
    DoAll({"ADFIsReady", "ADFPaperFeed"});
    method_ = T_METHOD_ADF;
  }
  void LookAround() {
    DoAll({"GetScannerCapabilities", "GetADFCapabilities", "GetADF3Capabilities",
           "GetCompressionCapabilities"});
  }

 private:
  static ComPtr<IScanner> NewScanner() {
    ComPtr<IScanner> made;
    Require(ScannerObject::Create(nullptr, IID_IScanner, made.OutVoid()) == S_OK, "an object");
    return made;
  }

  const test::Toolkit toolkit_{NewScanner()};
  test::MethodCall call_;
  SCANNER_PARAMETERS page_ = {};
  std::vector<uint8_t> bytes_ = std::vector<uint8_t>(512);  // as many as the method may write
  uint16_t method_ = T_METHOD_FLATBED;
};

void RunHarmed(Host& host, FuzzInput choices) {
  const uint8_t flags = choices.Byte(), page = choices.Byte();
  const uint32_t lines = choices.Byte() % 64 + 1u;
  const int reads = std::min(choices.Byte() + 1, 200);
  if (!(flags & 1)) host.LookAround();
  if (flags & 2)
    host.DoAll({"GetControlPanelCapabilities", "GetControlPanelValue 0", "GetControlPanelValue 1",
                "GetControlPanelValue 2", "GetControlPanelValue 3", "GetHWPropString ADF",
                "GetHWPropString XPA", "GetHWPropValue ADF", "GetHWPropValue CCD Type",
                "GetHWPropValue XPA", "GetHWPropString CCD Type", "GetHWPropValue nothing",
                "GetSPFCapabilities", "GetSPFData 512", "GetLampStatus", "ResetScanner"});
  if (flags & 4)
    host.DoAll({"JobReserveHW 100", "GetUserReadyToScanState",
                "SetUserReadyToScanState T_URS_START", "JobReleaseHW"});
  host.Do(flags & 8 ? "SetCompressionType T_COMPRESSION_JPEG" : kNoJpeg);
  for (int pages = flags & 64 ? 2 : 1; pages > 0; --pages) {
    if (flags & 16) host.Feed(flags & 32);
    bool ended = false;
    host.Scan(std::array{T_GREYSCALE, T_COLOR, T_BW}[page % 3],
              page & 8    ? 1200
              : page & 16 ? 150
                          : 75,
              lines, reads, &ended);
  }
}

void RunClean(Host& host, sim::ScannerCore& device) {
  device.TakePaperOut();  // what the harmed job left in the path
  device.sheets = 1;
  if (!device.variables.has_flatbed()) {
    host.LookAround();
    host.Feed(false);
  }
  host.Do(kNoJpeg);  // behind the capabilities, which switch it on
  bool ended = false;
  const std::vector<uint8_t> image = host.Scan(T_GREYSCALE, 75, 30, 200, &ended);
  Require(ended, "a device that has recovered scans");
  const auto settings = device.last_page;
  Require(settings && image == sim::RenderPage(device.paper, *settings), "and the page is right");
}

void RunSessions(const std::string& name, const sim::DeviceConfig& config, FuzzInput input) {
  const FuzzInput choices = input;
  input.Number(4);
  test::VirtualNetwork network;
  HostileDevice device(config, input, network);
  network.Begin(&device);
  for (const bool clean : {false, true}) {
    device.relented = clean;
    Host host(name);
    const bool locked = host.Do("LockScanner T_LOCK_PROCESS,0");
    Require(locked || !clean, "a device that has recovered can be locked");
    if (locked) clean ? RunClean(host, device.core) : RunHarmed(host, choices);
    host.DoAll({"UnlockScanner", "CloseScannerSession"});
  }
  Require(device.core.lock_holder == 0, "the device is free");
  Require(network.open_ends == 0 && network.open_transfers == 0, "everything is closed");
  Require(!network.Hung(), "no wait is without an end");
}

// The name of the device. The registry holds what a sound one is like, and every run begins with
// that: from then on nobody can open the file that locks it.
const std::string& DeviceName() {
  static test::Sandbox sandbox;
  static const std::string name = [] {
    std::string added = sandbox.AddNetworkDevice("127.0.0.1");
    RunSessions(added, {}, FuzzInput(nullptr, 0));
    const std::string lock = sandbox.Folder() + "/registry.reg.lock";
    std::filesystem::remove(lock);
    std::filesystem::create_directory(lock);
    return added;
  }();
  return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<std::string> models = sim::ModelNames();
  sim::DeviceConfig config;
  config.model = models[(size > 1 ? data[1] / 32u : 0u) % models.size()];
  config.paper = "pattern";
  config.sheets = 3;
  config.delivery.block_bytes = 1000;
  RunSessions(DeviceName(), config, FuzzInput(data, std::min<size_t>(size, 4096)));
  return 0;
}
