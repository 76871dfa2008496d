#include "simulator/faults.h"

#include <array>
#include <charconv>
#include <stdexcept>

namespace scantk::sim {
namespace {

struct KindRow {
  const char* name;
  FaultKind kind;
  FaultStage stage;
  int64_t value;  // when none is given
  const char* help;
};

// `reset`, `drop`, `stall` and `slow` strike wherever their moment says, so their stage is that of
// the narrowest moment: a block, an answer, or a command.
constexpr KindRow kKinds[] = {
    {"busy", FaultKind::kBusy, FaultStage::kConnect, 0, "greets with 01"},
    {"refuse", FaultKind::kRefuse, FaultStage::kConnect, 0, "greets with 02"},
    {"no-greeting", FaultKind::kNoGreeting, FaultStage::kConnect, 0, "greets with nothing"},
    {"short-greeting", FaultKind::kShortGreeting, FaultStage::kConnect, 0, "greets with 0"},
    {"odd-greeting", FaultKind::kOddGreeting, FaultStage::kConnect, 0, "greets with XY"},
    {"silent", FaultKind::kSilent, FaultStage::kAnswer, 0, "does not answer"},
    {"null", FaultKind::kNull, FaultStage::kAnswer, 0, "answers that it has no such variable"},
    {"answer", FaultKind::kAnswer, FaultStage::kAnswer, 0, "answers this value"},
    {"wrong-echo", FaultKind::kWrongEcho, FaultStage::kAnswer, 0, "echoes another variable"},
    {"wrong-letter", FaultKind::kWrongLetter, FaultStage::kAnswer, 0, "answers with the letter q"},
    {"wrong-terminator", FaultKind::kWrongTerminator, FaultStage::kAnswer, 0, "ends with X"},
    {"garbage", FaultKind::kGarbage, FaultStage::kAnswer, 0, "answers bytes without sense"},
    {"cut-answer", FaultKind::kCutAnswer, FaultStage::kAnswer, 3,
     "answers so many bytes and drops"},
    {"endless-number", FaultKind::kEndlessNumber, FaultStage::kAnswer, 5000, "so many digits"},
    {"endless-string", FaultKind::kEndlessString, FaultStage::kAnswer, 100000,
     "a string of so many bytes"},
    {"string-length", FaultKind::kStringLength, FaultStage::kAnswer, -1, "announces this length"},
    {"drop", FaultKind::kDrop, FaultStage::kBlock, 0,
     "closes the connection, so many bytes into the block"},
    {"reset", FaultKind::kReset, FaultStage::kBlock, 0,
     "resets the connection, so many bytes into the block"},
    {"stall", FaultKind::kStall, FaultStage::kBlock, 1000, "sends nothing for so many ms"},
    {"slow", FaultKind::kSlow, FaultStage::kBlock, 10, "sends so many bytes a ms from then on"},
    {"deaf", FaultKind::kDeaf, FaultStage::kCommand, 0, "takes nothing from then on"},
    {"error", FaultKind::kError, FaultStage::kCommand, 1025, "has this error pending"},
    {"reserved", FaultKind::kReserved, FaultStage::kCommand, 0, "is locked by another computer"},
    {"empty", FaultKind::kEmpty, FaultStage::kFeed, 0, "finds no paper"},
    {"jam", FaultKind::kJam, FaultStage::kFeed, 0, "jams"},
    {"cancel", FaultKind::kCancel, FaultStage::kBlock, 0, "is cancelled at its panel"},
    {"short-page", FaultKind::kShortPage, FaultStage::kPage, 10, "delivers so many rows fewer"},
    {"long-page", FaultKind::kLongPage, FaultStage::kPage, 10, "delivers so many rows more"},
    {"ragged-page", FaultKind::kRaggedPage, FaultStage::kPage, 1, "delivers so many bytes fewer"},
    {"row-count", FaultKind::kRowCount, FaultStage::kPage, 0, "reports this number of rows"},
    {"no-end", FaultKind::kNoEnd, FaultStage::kPage, 0, "sends no end-of-page record"},
    {"truncate", FaultKind::kTruncate, FaultStage::kBlock, 100,
     "drops after so many bytes of the block"},
    {"block-length", FaultKind::kBlockLength, FaultStage::kBlock, 0, "announces this length"},
    {"record-offset", FaultKind::kRecordOffset, FaultStage::kBlock, -5, "this record offset"},
    {"record-type", FaultKind::kRecordType, FaultStage::kBlock, 9, "a record of this type"},
    {"record-length", FaultKind::kRecordLength, FaultStage::kBlock, 32767, "a record this long"},
    {"corrupt", FaultKind::kCorrupt, FaultStage::kBlock, 100, "inverts the byte at this place"},
};

const KindRow& Row(FaultKind kind) {
  for (const KindRow& row : kKinds)
    if (row.kind == kind) return row;
  throw std::logic_error("a kind of fault without a row");
}

const KindRow& Row(std::string_view name) {
  for (const KindRow& row : kKinds)
    if (name == row.name) return row;
  throw std::invalid_argument("no fault is called \"" + std::string(name) + "\"");
}

struct MomentField {
  const char* name;
  int64_t FaultMoment::*field;
};
constexpr MomentField kMoments[] = {
    {"connection", &FaultMoment::connection},
    {"command", &FaultMoment::command},
    {"answer", &FaultMoment::answer},
    {"variable", &FaultMoment::variable},
    {"page", &FaultMoment::page},
    {"block", &FaultMoment::block},
};

int64_t ParseNumber(std::string_view text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    throw std::invalid_argument("\"" + std::string(text) + "\" is no number");
  return value;
}

void ParseMoment(std::string_view text, FaultMoment* moment) {
  for (bool more = true; more;) {
    const size_t comma = text.find(',');
    const std::string_view pair = text.substr(0, comma);
    const size_t colon = pair.find(':');
    const std::string_view name = pair.substr(0, colon);
    bool known = false;
    for (const MomentField& field : kMoments)
      if (name == field.name && colon != std::string_view::npos) {
        moment->*field.field = ParseNumber(pair.substr(colon + 1));
        known = true;
      }
    if (!known) throw std::invalid_argument("\"" + std::string(pair) + "\" is no moment");
    more = comma != std::string_view::npos;
    if (more) text.remove_prefix(comma + 1);
  }
}

// Cuts what follows the last `mark` off `text`; nothing when there is no mark.
std::optional<std::string_view> CutAfter(std::string_view* text, char mark) {
  const size_t at = text->rfind(mark);
  if (at == std::string_view::npos) return {};
  const std::string_view rest = text->substr(at + 1);
  *text = text->substr(0, at);
  return rest;
}

// A fault that may strike in several stages strikes in the narrowest that its moment names; a
// variable is named by the command that sets it and by the inquiry that asks for it.
bool StrikesAt(const Fault& fault, FaultStage stage) {
  switch (fault.kind) {
    case FaultKind::kDrop:
    case FaultKind::kReset:
    case FaultKind::kStall:
    case FaultKind::kSlow:
      if (fault.moment.block || fault.moment.page) return stage == FaultStage::kBlock;
      if (fault.moment.answer) return stage == FaultStage::kAnswer;
      if (fault.moment.variable && stage == FaultStage::kAnswer) return true;
      return stage == FaultStage::kCommand;
    case FaultKind::kJam:
      return stage == (fault.moment.block ? FaultStage::kBlock : FaultStage::kFeed);
    default:
      return stage == Row(fault.kind).stage;
  }
}

}  // namespace

bool FaultMoment::Covers(const FaultMoment& now) const {
  for (const MomentField& field : kMoments)
    if (this->*field.field != 0 && this->*field.field != now.*field.field) return false;
  return true;
}

Fault ParseFault(std::string_view text) {
  Fault fault;
  if (auto times = CutAfter(&text, '*')) fault.times = ParseNumber(*times);
  if (auto value = CutAfter(&text, '=')) fault.value = ParseNumber(*value);
  if (auto moment = CutAfter(&text, '@')) ParseMoment(*moment, &fault.moment);
  fault.kind = Row(text).kind;
  return fault;
}

std::string FaultText(const Fault& fault) {
  std::string text = Row(fault.kind).name;
  char mark = '@';
  for (const MomentField& field : kMoments) {
    if (fault.moment.*field.field == 0) continue;
    text += mark + std::string(field.name) + ":" + std::to_string(fault.moment.*field.field);
    mark = ',';
  }
  if (fault.value) text += "=" + std::to_string(*fault.value);
  if (fault.times >= 0) text += "*" + std::to_string(fault.times);
  return text;
}

std::string FaultHelp() {
  std::string help;
  for (const KindRow& row : kKinds) {
    std::string name = row.name;
    name.resize(18, ' ');
    help += "  " + name + row.help + "\n";
  }
  return help;
}

void FaultList::Add(const Fault& fault) {
  faults_.push_back(fault);
}

std::optional<int64_t> FaultList::Strike(FaultKind kind, FaultStage stage, const FaultMoment& now) {
  for (Fault& fault : faults_) {
    if (fault.kind != kind || fault.times == 0 || !StrikesAt(fault, stage) ||
        !fault.moment.Covers(now))
      continue;
    if (fault.times > 0) --fault.times;
    return fault.value.value_or(Row(kind).value);
  }
  return {};
}

}  // namespace scantk::sim
