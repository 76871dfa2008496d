// Steps that ask for a page and look at it.
#include <algorithm>
#include <cstring>

#include "tests/jobs/stage.h"

namespace scantk::test {
namespace {

void SetPageField(SCANNER_PARAMETERS* page, const std::string& word) {
  const size_t equals = word.find('=');
  if (equals == std::string::npos) throw std::runtime_error(word + " is no NAME=VALUE");
  const std::string name = word.substr(0, equals);
  std::string value = word.substr(equals + 1);
  if (name != "area")
    return SetField(RecordNamed("SCANNER_PARAMETERS"), page, name, Constant(value));
  for (uint32_t* edge : {&page->dwLeft, &page->dwTop, &page->dwWidth, &page->dwLength}) {
    *edge = static_cast<uint32_t>(Number(value.substr(0, value.find(','))));
    value.erase(0, std::min(value.size(), value.find(',')) + 1);
    if (value.empty()) break;
  }
}

void SetPage(Stage& stage, const Words& words) {
  static const std::map<std::string, const char*> kModes = {
      {"color", "T_COLOR"}, {"gray", "T_GREYSCALE"}, {"bw", "T_BW"}};
  if (words.size() < 2) throw std::runtime_error("page takes a mode and a resolution");
  const auto mode = kModes.find(words[0]);
  const size_t cross = words[1].find('x');
  SCANNER_PARAMETERS& page = stage.page.asked;
  page = PageParameters(Constant(mode == kModes.end() ? words[0] : mode->second),
                        static_cast<uint16_t>(Number(words[1].substr(0, cross))),
                        {1203, 900, 150, 300});
  if (cross != std::string::npos)
    page.wYResolution = static_cast<uint16_t>(Number(words[1].substr(cross + 1)));
  for (size_t i = 2; i < words.size(); ++i) SetPageField(&page, words[i]);
}

void StartPage(Stage& stage, const Words& words) {
  TakeCall(stage, "", "SetScannerParameters", {});
  TakeCall(stage, "", "GetBufferInfo", {});
  std::memcpy(&stage.page.granted, stage.record.data(), sizeof stage.page.granted);
  stage.before = std::move(stage.page.bytes);
  stage.page.bytes.clear();
  TakeCall(stage, "", "StartScan", words);
}

void Read(Stage& stage, const Words& given) {
  Words words = given;
  const Words outcome = Cut(&words, "->");
  const std::string lines = ValueOf(words, "lines"), times = ValueOf(words, "times");
  Host& host = stage.HostNamed("");
  std::swap(host.page, stage.page);
  const Outcome last = host.Read(lines.empty() ? 200 : static_cast<uint32_t>(Number(lines)),
                                 times.empty() ? Host::kPatient : static_cast<int>(Number(times)));
  std::swap(host.page, stage.page);
  if (!host.problems.empty()) throw std::runtime_error(host.problems[0]);
  Expect("ReadScanEx", outcome, times.empty() ? kEndOfPage : kOk, last);
}

// What the words say of the paper, against what came.
std::string PaperDifference(Stage& stage, const Words& words, size_t row) {
  sim::PageSide side;
  const std::string sheet = ValueOf(words, "sheet"), rows = ValueOf(words, "rows");
  const std::string close = ValueOf(words, "close"), white = ValueOf(words, "white");
  if (!sheet.empty()) side.sheet = static_cast<int>(Number(sheet));
  side.back = Has(words, "back");
  std::vector<uint8_t> paper = PaperAsked(stage.page, stage.Device()->config().paper, side);
  if (!rows.empty()) paper.resize(std::min(paper.size(), static_cast<size_t>(Number(rows)) * row));
  if (!white.empty()) paper.resize(paper.size() + static_cast<size_t>(Number(white)) * row, 255);
  std::vector<uint8_t> got = stage.page.bytes;
  if (words[0] == "beginning") {
    if (got.size() >= paper.size()) return "expected a part of the page, got all of it";
    paper.resize(got.size());
  }
  if (words[0] == "enlarged") {
    paper.resize(std::min(paper.size(), got.size()));
    got.resize(paper.size());
  }
  for (std::vector<uint8_t>* rows_of : {&paper, &got}) WhitenPadding(stage.page, rows_of);
  return Difference(paper, got, row, close.empty() ? 0 : std::stod(close));
}

void CheckPicture(Stage& stage, const Words& words) {
  const size_t row = stage.page.granted.dwBytesPerLine;
  const size_t announced = stage.page.granted.dwPixelHeight;
  const std::vector<uint8_t>& got = stage.page.bytes;
  const std::string& what = words.at(0);
  const std::map<std::string, size_t> heights = {
      {"none", 0},
      {"announced", announced},
      {"enlarged", got.size() > row * announced ? announced + 1 : announced},
      {"rows", what == "rows" ? static_cast<size_t>(Number(words.at(1))) : 0}};
  std::string difference;
  if (const auto height = heights.find(what); height != heights.end()) {
    const bool looks = !ValueOf(words, "close").empty();
    if (got.size() == row * height->second && !looks) return;
    if (got.size() == row * height->second)
      difference = PaperDifference(stage, words, row);
    else
      difference = "expected " + std::to_string(height->second) + " rows of " +
                   std::to_string(row) + " bytes, got " + std::to_string(got.size()) + " bytes";
  } else if (what == "same") {
    difference = Difference(stage.before, got, row);
  } else if (what == "paper" || what == "beginning") {
    difference = PaperDifference(stage, words, row);
  } else {
    throw std::runtime_error("no picture is called " + what);
  }
  if (got.empty() && what != "beginning") difference = "expected a picture, got none";
  if (!difference.empty()) throw std::runtime_error(difference);
}

}  // namespace

const Steps& PageSteps() {
  static const Steps steps = {
      {"page", SetPage},
      {"start", StartPage},
      {"read", Read},
      {"picture", CheckPicture},
      {"scan",
       [](Stage& stage, const Words& words) {
         StartPage(stage, {});
         Read(stage, words);
         TakeCall(stage, "", "StopScan", {});
       }},
      // Inverts every sample.
      {"tone-map",
       [](Stage& stage, const Words&) {
         stage.bytes.clear();
         for (int i = 255; i >= 0; --i) stage.bytes.push_back(static_cast<uint8_t>(i));
       }},
  };
  return steps;
}

}  // namespace scantk::test
