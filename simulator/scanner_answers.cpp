#include <algorithm>

#include "simulator/scanner_core.h"

namespace scantk::sim {
namespace {

using namespace number;

constexpr int64_t kLongestAnswer = 64 << 20;
constexpr size_t kShown = 40;  // of a text, in the log

size_t Length(int64_t asked) {
  return static_cast<size_t>(std::clamp<int64_t>(asked, 0, kLongestAnswer));
}

}  // namespace

void ScannerCore::OnInquiry(Conversation& host, const Command& command) {
  ++stats.inquiries;
  ++host.now.answer;
  const int number = static_cast<int>(command.value);
  host.now.variable = number;
  StrikeLine(host, FaultStage::kAnswer);
  Answer answer = AnswerTo(host, number, command.letter);
  DisturbAnswer(host, &answer);
  const std::string words = Worded(host, command, answer);
  const std::string shown = words.empty()  ? "(silence)"
                            : answer.text  ? "\"" + answer.text->substr(0, kShown) + "\""
                            : answer.known ? std::to_string(answer.value)
                                           : "null";
  Log(host, "? " + std::string(VariableName(number)) + " " + std::to_string(number) +
                command.letter + " = " + shown);
  host.SendText(words);
}

ScannerCore::Answer ScannerCore::AnswerTo(const Conversation& host, int number, char kind) const {
  Answer answer;
  if (variables.Denied(number)) return answer;
  if (const Variable* variable = variables.Find(number)) {
    answer.known = true;
    answer.value = kind == 'L'   ? variable->minimum
                   : kind == 'H' ? variable->maximum
                                 : variable->value;
    if (variable->is_text) answer.text = variable->text;
    // Whether a side wants turning is asked while it lies under the sensor; fronts do not.
    if (number == kDuplexFlip && !side_.back) answer.value = 0;
  } else if (number == kLockId) {
    answer.text = lock_holder == host.id ? std::to_string(host.id) : "0";
  } else {
    answer.known = Computed(number, &answer.value);
  }
  return answer;
}

// The values that follow from the device's state.
bool ScannerCore::Computed(int number, int64_t* answer) const {
  switch (number) {
    case kErrorCount:
      *answer = static_cast<int64_t>(errors.size());
      return true;
    case kOldestError:
      *answer = errors.empty() ? 0 : errors.front();
      return true;
    case kFeederStatus:
      *answer = Rests(AtRest::State::kJam) ? error::kJam : feeder_status_;
      return true;
    case kFeederReady:
      *answer = HasMoreSides() || Rests(AtRest::State::kJam);  // the sheet that sticks
      return true;
    case kPixelsPerLine:
      *answer = PixelsPerRow(Settings());
      return true;
    case kBytesPerLine:
      *answer = static_cast<int64_t>(BytesPerRow(Settings()));
      return true;
    case kLinesPerScan:
      *answer = RowsPerPage(Settings());
      return true;
    default:
      return false;
  }
}

// The faults that make it another answer.
void ScannerCore::DisturbAnswer(Conversation& host, Answer* answer) {
  const auto strike = [&](FaultKind fault) { return Strike(fault, FaultStage::kAnswer, host); };
  if (auto forced = strike(FaultKind::kAnswer)) *answer = {true, *forced, {}};
  if (strike(FaultKind::kNull)) *answer = {};
  if (auto bytes = strike(FaultKind::kEndlessString))
    answer->text = std::string(Length(*bytes), 'a');
}

std::string ScannerCore::Worded(Conversation& host, const Command& command, const Answer& answer) {
  const auto strike = [&](FaultKind fault) { return Strike(fault, FaultStage::kAnswer, host); };
  Command echoed = command;
  if (strike(FaultKind::kWrongEcho)) ++echoed.value;
  const std::string echo = AnswerStart(echoed);
  std::string words = echo;
  if (answer.text) {
    const auto length = strike(FaultKind::kStringLength);
    words += std::to_string(length.value_or(static_cast<int64_t>(answer.text->size()))) + "W" +
             *answer.text;
  } else {
    words += answer.known ? std::to_string(answer.value) + "V" : "0N";
  }
  DisturbWords(host, echo.size(), answer.text.has_value(), &words);
  return words;
}

// The faults of how it is said.
void ScannerCore::DisturbWords(Conversation& host, size_t echo, bool text, std::string* words) {
  const auto strike = [&](FaultKind fault) { return Strike(fault, FaultStage::kAnswer, host); };
  if (strike(FaultKind::kWrongLetter)) (*words)[echo - 1] = 'q';
  if (strike(FaultKind::kWrongTerminator) && !text) words->back() = 'X';
  if (auto digits = strike(FaultKind::kEndlessNumber))
    *words = words->substr(0, echo) + std::string(Length(*digits), '7') + "V";
  if (strike(FaultKind::kGarbage)) *words = "\x03\xFF\x80 no answer \x07Z";
  if (auto bytes = strike(FaultKind::kCutAnswer)) {
    words->resize(std::min(words->size(), Length(*bytes)));
    host.drop_when_sent = true;
  }
  if (strike(FaultKind::kSilent)) words->clear();
}

}  // namespace scantk::sim
