#include "tests/jobs/player.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>

#include "platform/clock.h"
#include "platform/system.h"
#include "simulator/variables.h"
#include "tests/jobs/golden.h"
#include "tests/jobs/methods.h"
#include "tests/jobs/picture.h"

namespace scantk::test {
namespace {

using Words = std::vector<std::string>;

constexpr uint32_t kUntouched = 0xDEADBEEF;  // a code that was not written
constexpr Outcome kAny = {S_FALSE, kUntouched};
constexpr uint8_t kFill = 0xA5;  // of buffers, before a call

// Thrown by a step that does not come as expected.
struct Mismatch : std::runtime_error {
  Mismatch(const std::string& expected, const std::string& got)
      : std::runtime_error("expected " + expected + ", got " + got) {}
};

std::string Text(const Outcome& outcome) {
  if (outcome == kOk) return "ok";
  const char* own = ToolkitResultText(outcome.result);
  char number[16];
  std::snprintf(number, sizeof number, "0x%08X", static_cast<uint32_t>(outcome.result));
  std::string result = own ? own : number;
  if (outcome.result == S_OK) result = "S_OK";
  if (outcome.result == E_FAIL) result = "E_FAIL";
  if (outcome.result == E_POINTER) result = "E_POINTER";
  const std::string code = ToolkitErrorText(outcome.code);
  if (outcome.code == TERR_NONE) return result;
  return outcome.result == E_FAIL ? code : result + " " + code;
}

int64_t Number(const std::string& word) {
  size_t used = 0;
  const int64_t value = std::stoll(word, &used, 0);
  if (used != word.size()) throw std::runtime_error(word + " is no number");
  return value;
}

// "NAME=VALUE", or "" when the word is not of this name.
std::string ValueOf(const Words& words, const std::string& name) {
  for (const std::string& word : words)
    if (word.starts_with(name + "=")) return word.substr(name.size() + 1);
  return "";
}

bool Has(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// NUMBER=VALUE, null, min:V, max:V or text:T, as scantk-sim takes it.
sim::VariableOverride Override(const std::string& word) {
  const size_t equals = word.find('=');
  sim::VariableOverride change;
  change.number = sim::FindVariable(word.substr(0, equals));
  const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
  if (change.number == 0 || value.empty()) throw std::runtime_error("set takes NUMBER=VALUE");
  if (value == "null")
    change.null = true;
  else if (value.starts_with("min:"))
    change.minimum = Number(value.substr(4));
  else if (value.starts_with("max:"))
    change.maximum = Number(value.substr(4));
  else if (value.starts_with("text:"))
    change.text = value.substr(5);
  else
    change.value = Number(value);
  return change;
}

class Player {
 public:
  explicit Player(Medium medium) : medium_(medium) { sandbox_.SwitchTraceOn(); }
  ~Player() {
    for (auto& [name, host] : hosts_)
      if (host.session) Call(host.toolkit.scanner, &IScanner::CloseScannerSession, host.session);
  }

  void Take(const Step& step) {
    const Words& words = step.words;
    const size_t dot = words[0].find('.');
    const bool other = dot != std::string::npos && IsMethod(words[0].substr(dot + 1));
    if (other || IsMethod(words[0])) {
      TakeCall(other ? words[0].substr(0, dot) : "", other ? words[0].substr(dot + 1) : words[0],
               {words.begin() + 1, words.end()});
    } else if (words.size() > 2 && words[1] == "=") {
      CheckField(words[0], words[2]);
    } else {
      const auto found = Steps().find(words[0]);
      if (found == Steps().end()) throw std::runtime_error("nothing is called " + words[0]);
      (this->*found->second)({words.begin() + 1, words.end()});
    }
  }

  // What must hold behind every run.
  void Finish() {
    if (!device_) return;
    for (const std::string& fault : device_->LayoutFaults())
      throw Mismatch("requests that the stack understands", fault);
  }

 private:
  struct Host {
    Toolkit toolkit;
    uint32_t session = 0;
  };
  using Taker = void (Player::*)(const Words&);

  static const std::map<std::string, Taker>& Steps() {
    static const std::map<std::string, Taker> steps = {
        {"device", &Player::StartDevice},
        {"page", &Player::SetPage},
        {"start", &Player::StartPage},
        {"read", &Player::Read},
        {"scan", &Player::Scan},
        {"picture", &Player::CheckPicture},
        {"fault", &Player::AddFaults},
        {"clear-faults", &Player::ClearFaults},
        {"sheets", &Player::SetSheets},
        {"set", &Player::SetVariable},
        {"raise", &Player::Raise},
        {"reserved-elsewhere", &Player::Reserve},
        {"released-elsewhere", &Player::Release},
        {"unplug", &Player::Unplug},
        {"plug", &Player::Plug},
        {"lose-handles", &Player::LoseHandles},
        {"fail-requests", &Player::FailRequests},
        {"free", &Player::ExpectFree},
        {"held", &Player::ExpectHeld},
        {"sheets-left", &Player::ExpectSheets},
        {"connections", &Player::ExpectConnections},
        {"variable", &Player::ExpectVariable},
        {"wire", &Player::ExpectWire},
        {"wires", &Player::CountWire},
        {"trace", &Player::ExpectTrace},
        {"traces", &Player::CountTrace},
        {"forget", &Player::Forget},
        {"registry", &Player::SetRegistry},
        {"stored", &Player::ExpectStored},
        {"clock", &Player::StartClock},
        {"within", &Player::ExpectWithin},
        {"bytes", &Player::ExpectBytes},
        {"discovery", &Player::FillDiscovery},
        {"golden", &Player::CompareTrace},
        {"tone-map", &Player::FillToneMap},
    };
    return steps;
  }

  // --- calls ---

  Host& HostNamed(const std::string& name) { return hosts_[name]; }

  static uint32_t IoType(Medium medium) {
    return medium == Medium::kNetwork ? T_IO_NETWORK
           : medium == Medium::kUsb   ? T_IO_USB
                                      : T_IO_DOT4;
  }

  // The words behind the first that is `mark`, up to the next mark; they are taken out.
  static Words Cut(Words* words, const std::string& mark) {
    const auto begin = std::find(words->begin(), words->end(), mark);
    if (begin == words->end()) return {};
    const auto end = std::find(begin + 1, words->end(), "=");
    const Words cut(begin + 1, end);
    words->erase(begin, end);
    return cut;
  }

  static Outcome Expected(const Words& words, const Outcome& otherwise) {
    if (words.empty()) return otherwise;
    if (words[0] == "any") return kAny;
    Outcome expected = {E_FAIL, TERR_NONE};
    for (const std::string& word : words) {
      bool known = word == "ok" || word == "S_OK" || word == "E_FAIL" || word == "E_POINTER";
      if (word == "ok" || word == "S_OK") expected.result = S_OK;
      if (word == "E_POINTER") expected.result = E_POINTER;
      if (word == "untouched") known = true, expected.code = kUntouched;
#define SCANTK_X(code, name) \
  if (word == #name) expected.result = name, known = true;
      SCANTK_TOOLKIT_RESULTS(SCANTK_X)
#undef SCANTK_X
      for (const ToolkitErrorName& row : kToolkitErrorNames)
        if (row.code != TERR_END_OF_TABLE && word == row.name)
          expected.code = row.code, known = true;
      if (!known) throw std::runtime_error("no outcome is called " + word);
    }
    return expected;
  }

  static void Expect(const std::string& what, const Outcome& expected, const Outcome& got) {
    if (!(expected == got) && !(expected == kAny))
      throw Mismatch(what + " -> " + Text(expected), Text(got));
  }

  void TakeCall(const std::string& host_name, const std::string& name, Words words) {
    if (!device_) StartDevice({});
    const Words outcome = Cut(&words, "->");
    const Words value = Cut(&words, "=");
    Host& host = HostNamed(host_name);
    MethodCall call;
    call.session = host.session;
    call.words = words;
    call.page = &page_.asked;
    if (name != "SetGammaTable") bytes_.assign(1 << 20, kFill);
    call.bytes = bytes_.data();
    if (name == "OpenScannerSession" && words.empty())
      call.words = {device_name_, std::to_string(IoType(medium_))};
    CallMethod(host.toolkit, name, &call);
    // Also that of a refused open, which must be nobody's.
    if (name == "OpenScannerSession") host.session = static_cast<uint32_t>(Number(call.value));
    if (name == "SetGammaTable" && call.outcome == kOk) {
      page_.tone_map.emplace();
      std::copy_n(bytes_.begin(), 256, page_.tone_map->begin());
    }
    Expect(name, Expected(outcome, kOk), call.outcome);
    if (!value.empty() && value[0] != call.value)
      throw Mismatch(name + " = " + value[0], call.value);
    if (name == "ReadScan")
      page_.bytes.assign(bytes_.begin(), bytes_.begin() + Number(words.at(0)));
    record_ = call.record;
    record_type_ = call.record_type;
    if (name == "CloseScannerSession" && call.outcome == kOk) host.session = 0;
  }

  void CheckField(const std::string& field, const std::string& expected) {
    if (!record_type_) throw std::runtime_error("no record came before");
    const std::string got = FieldText(*record_type_, record_.data(), field);
    if (got != expected) throw Mismatch(field + " = " + expected, got);
  }

  // --- pages ---

  void SetPage(const Words& words) {
    static const std::map<std::string, const char*> kModes = {
        {"color", "T_COLOR"}, {"gray", "T_GREYSCALE"}, {"bw", "T_BW"}};
    if (words.size() < 2) throw std::runtime_error("page takes a mode and a resolution");
    SCANNER_PARAMETERS& page = page_.asked = {};
    const auto mode = kModes.find(words[0]);
    page.dwScanMode = Constant(mode == kModes.end() ? words[0] : mode->second);
    page.byBitsPerChannel = page.dwScanMode == T_BW ? 1 : 8;
    page.wGreyChannel = T_GREY_NTSC;
    const size_t cross = words[1].find('x');
    page.wXResolution = static_cast<uint16_t>(Number(words[1].substr(0, cross)));
    page.wYResolution = cross == std::string::npos
                            ? page.wXResolution
                            : static_cast<uint16_t>(Number(words[1].substr(cross + 1)));
    page.dwLeft = 150, page.dwTop = 300, page.dwWidth = 1203, page.dwLength = 900;
    for (size_t i = 2; i < words.size(); ++i) SetPageField(words[i]);
  }

  void SetPageField(const std::string& word) {
    const size_t equals = word.find('=');
    if (equals == std::string::npos) throw std::runtime_error(word + " is no NAME=VALUE");
    const std::string name = word.substr(0, equals);
    std::string value = word.substr(equals + 1);
    if (name != "area")
      return SetField(RecordNamed("SCANNER_PARAMETERS"), &page_.asked, name, Constant(value));
    for (uint32_t* edge :
         {&page_.asked.dwLeft, &page_.asked.dwTop, &page_.asked.dwWidth, &page_.asked.dwLength}) {
      *edge = static_cast<uint32_t>(Number(value.substr(0, value.find(','))));
      value.erase(0, std::min(value.size(), value.find(',')) + 1);
      if (value.empty()) break;
    }
  }

  void StartPage(const Words& given) {
    Words words = given;
    TakeCall("", "SetScannerParameters", {});
    TakeCall("", "GetBufferInfo", {});
    std::memcpy(&page_.granted, record_.data(), sizeof page_.granted);
    before_ = std::move(page_.bytes);
    page_.bytes.clear();
    TakeCall("", "StartScan", words);
  }

  void Read(const Words& given) {
    Words words = given;
    const Words outcome = Cut(&words, "->");
    const std::string lines = ValueOf(words, "lines"), times = ValueOf(words, "times");
    const size_t piece = page_.granted.dwBytesPerLine * (lines.empty() ? 200 : Number(lines));
    const int64_t most = times.empty() ? 1000000 : Number(times);
    Host& host = HostNamed("");
    std::vector<uint8_t> buffer(piece);
    Outcome last = kOk;
    for (int64_t read = 0; read < most && last == kOk; ++read) {
      uint32_t got = 0;
      last = Call(host.toolkit.scanner, &IScanner::ReadScanEx, host.session, buffer.data(),
                  static_cast<uint32_t>(piece), &got);
      if (got > piece) throw Mismatch("at most " + std::to_string(piece), std::to_string(got));
      if (got == 0 && last == kOk) throw Mismatch("bytes or an end", "neither");
      page_.bytes.insert(page_.bytes.end(), buffer.begin(), buffer.begin() + got);
    }
    Expect("ReadScanEx", Expected(outcome, times.empty() ? kEndOfPage : kOk), last);
  }

  void Scan(const Words& words) {
    StartPage({});
    Read(words);
    TakeCall("", "StopScan", {});
  }

  void CheckPicture(const Words& words) {
    const size_t row = page_.granted.dwBytesPerLine;
    const std::vector<uint8_t>& got = page_.bytes;
    const std::string& what = words.at(0);
    const auto expect_size = [&](size_t size) {
      if (got.size() != size)
        throw Mismatch(std::to_string(size) + " bytes", std::to_string(got.size()));
    };
    if (what == "none") return expect_size(0);
    if (what == "announced") return expect_size(row * page_.granted.dwPixelHeight);
    if (what == "rows") return expect_size(row * Number(words.at(1)));
    if (what == "enlarged" && got.size() != row * (page_.granted.dwPixelHeight + 1))
      return expect_size(row * page_.granted.dwPixelHeight);
    if (what == "enlarged") return;
    std::string difference;
    if (what == "same") {
      difference = Difference(before_, got, row);
    } else if (what == "equal-rows") {
      std::vector<uint8_t> equal;
      while (row && equal.size() < got.size())
        equal.insert(equal.end(), got.begin(), got.begin() + std::min(row, got.size()));
      difference = Difference(equal, got, row);
    } else if (what == "paper" || what == "beginning") {
      difference = PaperDifference(words, row);
    } else {
      throw std::runtime_error("no picture is called " + what);
    }
    if (got.empty() && what != "beginning") difference = "expected a picture, got none";
    if (!difference.empty()) throw std::runtime_error(difference);
  }

  std::string PaperDifference(const Words& words, size_t row) const {
    sim::PageSide side;
    const std::string sheet = ValueOf(words, "sheet"), rows = ValueOf(words, "rows");
    const std::string close = ValueOf(words, "close");
    if (!sheet.empty()) side.sheet = static_cast<int>(Number(sheet));
    side.back = Has(words, "back");
    std::vector<uint8_t> paper = PaperAsked(page_, device_->Config().paper, side);
    if (!rows.empty())
      paper.resize(std::min(paper.size(), static_cast<size_t>(Number(rows)) * row));
    const std::string white = ValueOf(words, "white");
    if (!white.empty()) paper.resize(paper.size() + static_cast<size_t>(Number(white)) * row, 255);
    if (words[0] == "beginning") {
      if (page_.bytes.size() >= paper.size()) return "expected a part of the page, got all of it";
      paper.resize(page_.bytes.size());
    }
    std::vector<uint8_t> got = page_.bytes;
    for (std::vector<uint8_t>* rows_of : {&paper, &got}) WhitenPadding(page_, rows_of);
    return Difference(paper, got, row, close.empty() ? 0 : std::stod(close));
  }

  // --- the device ---

  void StartDevice(const Words& words) {
    sim::DeviceConfig config;
    config.address = FreshAddress();
    for (const std::string& word : words) {
      const size_t equals = word.find('=');
      if (equals == std::string::npos)
        config.model = word;
      else
        Configure(word.substr(0, equals), word.substr(equals + 1), &config);
    }
    device_ = FarSide::Start(medium_, config, sandbox_.Folder());
    device_name_ = medium_ == Medium::kNetwork
                       ? sandbox_.AddNetworkDevice(config.address)
                       : sandbox_.AddAttachedDevice(device_->Path(), IoType(medium_));
    Forget({});
  }

  void Configure(const std::string& name, const std::string& value, sim::DeviceConfig* config) {
    const std::map<std::string, int*> numbers = {
        {"sheets", &config->sheets},
        {"sheet-height", &config->sheet_height},
        {"hosts", &config->max_connections},
        {"quality", &config->delivery.jpeg_quality},
        {"restart", &config->delivery.jpeg_restart},
    };
    if (const auto found = numbers.find(name); found != numbers.end())
      *found->second = static_cast<int>(Number(value));
    else if (name == "paper")
      config->paper = value;
    else if (name == "block")
      config->delivery.block_bytes = static_cast<size_t>(Number(value));
    else if (name == "raster")
      config->delivery.record_bytes = static_cast<size_t>(Number(value));
    else if (name == "jpeg" && value.size() == 3)
      config->delivery.jpeg_horizontal = value[0] - '0',
      config->delivery.jpeg_vertical = value[2] - '0';
    else
      throw std::runtime_error("a device has no " + name);
  }

  FarSide& Device() {
    if (!device_) StartDevice({});
    return *device_;
  }

  void AddFaults(const Words& words) {
    for (const std::string& fault : words) Device().AddFault(fault);
  }
  void ClearFaults(const Words&) {
    Device().ClearFaults();
  }
  void SetSheets(const Words& words) {
    Device().SetSheets(static_cast<int>(Number(words.at(0))));
  }
  void SetVariable(const Words& words) {
    for (const std::string& word : words) Device().SetVariable(Override(word));
  }
  void Raise(const Words& words) {
    Device().RaiseError(static_cast<int>(Number(words.at(0))));
  }
  void Reserve(const Words&) {
    Device().ReserveElsewhere(true);
  }
  void Release(const Words&) {
    Device().ReserveElsewhere(false);
  }
  void Unplug(const Words&) {
    Device().Unplug();
  }
  void Plug(const Words&) {
    Device().Plug();
  }
  void LoseHandles(const Words&) {
    Device().LoseHandles();
  }
  void FailRequests(const Words& words) {
    std::vector<uint32_t> errors;
    for (size_t i = 1; i < words.size(); ++i)
      errors.push_back(static_cast<uint32_t>(Number(words[i])));
    Device().FailRequests(words.at(0), errors);
  }

  // Looks until it is as expected, and no longer than a while.
  static void Soon(const std::function<void()>& look) {
    constexpr uint32_t kSoonMs = 10000;
    const uint32_t start = TheClock().TickCount();
    for (;;) {
      try {
        return look();
      } catch (const Mismatch&) {
        if (TheClock().TickCount() - start > kSoonMs) throw;
      }
      TheClock().Sleep(2);
    }
  }
  static void ExpectSoon(const std::string& expected, const std::function<std::string()>& look) {
    Soon([&] {
      if (const std::string got = look(); got != expected) throw Mismatch(expected, got);
    });
  }
  void ExpectFree(const Words&) {
    ExpectSoon("a device that nobody holds", [this] {
      return Device().Locked() ? "a host holds it" : "a device that nobody holds";
    });
  }
  void ExpectHeld(const Words&) {
    if (!Device().Locked()) throw Mismatch("a device that its host holds", "nobody holds it");
  }
  void ExpectSheets(const Words& words) {
    ExpectSoon(words.at(0), [this] { return std::to_string(Device().Sheets()); });
  }
  void ExpectConnections(const Words& words) {
    ExpectSoon(words.at(0), [this] { return std::to_string(Device().Connections()); });
  }
  void ExpectVariable(const Words& words) {
    ExpectSoon(words.at(1), [&] {
      const auto value = Device().Variable(sim::FindVariable(words[0]));
      return value ? std::to_string(*value) : "none";
    });
  }

  // --- what was written ---

  static void ExpectLine(const Words& lines, const std::string& text, size_t* from) {
    for (size_t i = *from; i < lines.size(); ++i) {
      if (lines[i].find(text) == std::string::npos) continue;
      *from = i + 1;
      return;
    }
    throw Mismatch("a line \"" + text + "\"", "none behind line " + std::to_string(*from));
  }
  static void ExpectCount(const Words& lines, const Words& words, size_t from) {
    std::string found;
    int64_t count = 0;
    for (size_t i = from; i < lines.size(); ++i) {
      if (lines[i].find(words.at(1)) == std::string::npos) continue;
      ++count;
      found += "\n    " + lines[i];
    }
    if (count != Number(words[0]))
      throw Mismatch(words[0] + " lines", std::to_string(count) + found);
  }

  // The host's last bytes may be on their way yet.
  void ExpectWire(const Words& words) {
    Soon([&] { ExpectLine(Device().Log(), words.at(0), &wire_at_); });
  }
  void CountWire(const Words& words) {
    Soon([&] { ExpectCount(Device().Log(), words, wire_from_); });
  }
  void ExpectTrace(const Words& words) {
    ExpectLine(sandbox_.TraceLines(), words.at(0), &trace_at_);
  }
  void CountTrace(const Words& words) {
    ExpectCount(sandbox_.TraceLines(), words, trace_from_);
  }
  void Forget(const Words&) {
    wire_at_ = wire_from_ = Device().Log().size();
    trace_at_ = trace_from_ = sandbox_.TraceLines().size();
  }

  // The whole trace since the last "forget".
  void CompareTrace(const Words& words) {
    std::vector<std::string> lines = sandbox_.TraceLines();
    lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(trace_from_));
    const std::string path =
        SCANTK_CONVERSATIONS "/golden/" + words.at(0) + "_" + Name(medium_) + ".txt";
    const std::string difference = GoldenDifference(
        path,
        MaskedTrace(lines, {device_name_, sandbox_.Folder(), Device().Config().address,
                            LibraryPath(), ExecutablePath()}),
        std::filesystem::temp_directory_path().string());
    if (!difference.empty()) throw std::runtime_error(difference);
  }

  void SetRegistry(const Words& words) {
    Device();
    const std::string& value = words.at(1);
    if (!value.empty() && value.find_first_not_of("0123456789") == std::string::npos)
      sandbox_.SetDeviceValue(device_name_, words[0], static_cast<uint32_t>(Number(value)));
    else
      sandbox_.SetDeviceText(device_name_, words[0], value);
  }
  void ExpectStored(const Words& words) {
    const std::string got = sandbox_.DeviceText(device_name_, words.at(0));
    const std::string& expected =
        words.at(1) == "its-address" ? Device().Config().address : words[1];
    if (got != expected) throw Mismatch(words[0] + " " + expected, got);
  }

  // The discovery store knows the device by this identity, at its address.
  void FillDiscovery(const Words& words) {
    std::ofstream(sandbox_.Folder() + "/devices.txt")
        << "guid=" << words.at(0) << " address=" << Device().Config().address << "\n";
  }

  void StartClock(const Words&) {
    clock_ = TheClock().TickCount();
  }
  void ExpectWithin(const Words& words) {
    const uint32_t passed = TheClock().TickCount() - clock_;
    if (passed > Number(words.at(0)))
      throw Mismatch("at most " + words[0] + " ms", std::to_string(passed));
  }
  void ExpectBytes(const Words& words) {
    const size_t size = words.at(0).size();
    const std::string got(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(size));
    if (got != words[0]) throw Mismatch(words[0], got);
    if (bytes_[size] != kFill) throw Mismatch("nothing behind it", std::to_string(bytes_[size]));
  }
  // Inverts every sample.
  void FillToneMap(const Words&) {
    bytes_.resize(256);
    for (int i = 0; i < 256; ++i) bytes_[i] = static_cast<uint8_t>(255 - i);
  }

  const Medium medium_;
  Sandbox sandbox_;
  std::unique_ptr<FarSide> device_;
  std::string device_name_;
  std::map<std::string, Host> hosts_;
  ScannedPage page_;
  std::vector<uint8_t> before_;  // the page before it
  std::vector<uint8_t> bytes_;   // for methods that take or fill bytes
  std::vector<uint8_t> record_;
  const RecordType* record_type_ = nullptr;
  size_t wire_at_ = 0, wire_from_ = 0, trace_at_ = 0, trace_from_ = 0;
  uint32_t clock_ = 0;
};

}  // namespace

void Play(const Scene& scene, Medium medium) {
  SCOPED_TRACE(std::string("over ") + Name(medium) +
               (scene.cases.empty() ? "" : ": " + scene.cases));
  const Step* now = nullptr;
  try {
    Player player(medium);
    for (const Step& step : scene.steps) {
      now = &step;
      player.Take(step);
    }
    player.Finish();
  } catch (const std::exception& problem) {
    GTEST_MESSAGE_AT_(now ? now->file.c_str() : "", now ? now->line : 0,
                      (now ? now->text + ": " + problem.what() : problem.what()).c_str(),
                      ::testing::TestPartResult::kNonFatalFailure);
  }
}

}  // namespace scantk::test
