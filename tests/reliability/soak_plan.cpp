#include "tests/reliability/soak_plan.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

namespace scantk::test {
namespace {

// The numbers of one job.
class Dice {
 public:
  Dice(uint64_t seed, int64_t number)
      : state_(seed * 0x9E3779B97F4A7C15u + static_cast<uint64_t>(number) * 0xD1B54A32D192ED03u) {}

  uint64_t Next() {  // splitmix64
    uint64_t z = state_ += 0x9E3779B97F4A7C15u;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  int64_t Between(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(Next() % static_cast<uint64_t>(high - low + 1));
  }
  bool Percent(int share) { return Between(0, 99) < share; }
  template <class Rows>
  const auto& OneOf(const Rows& rows) {
    return rows[static_cast<size_t>(Between(0, static_cast<int64_t>(std::size(rows)) - 1))];
  }

 private:
  uint64_t state_;
};

// kOnceKnown: after the device told what it is. A toolkit that learns it asks on although it hears
// nothing, minutes each time.
enum Moment { kConnection, kCommand, kOnceKnown, kAnswer, kPage, kBlock, kAnywhere };

// Whether the toolkit waits for bytes that do not come.
enum Wait { kNever, kPerhaps, kSurely };

// What is known of a fault; a row is drawn with its weight.
struct FaultRow {
  const char* name;
  int weight;
  Moment moment;
  int64_t low, high;  // its value is drawn from here; none when both are 0
  bool content, length, answers;
  bool feeder;   // strikes feeder jobs alone
  bool network;  // strikes the network alone
  Wait wait;
};

constexpr FaultRow kFaults[] = {
    {"busy", 10, kConnection, 0, 0, false, false, false, false, true, kNever},
    {"refuse", 5, kConnection, 0, 0, false, false, false, false, true, kNever},
    {"odd-greeting", 5, kConnection, 0, 0, false, false, false, false, true, kNever},
    {"no-greeting", 1, kConnection, 0, 0, false, false, false, false, true, kSurely},
    {"short-greeting", 1, kConnection, 0, 0, false, false, false, false, true, kSurely},
    {"silent", 1, kAnswer, 0, 0, false, false, true, false, false, kSurely},
    {"null", 20, kAnswer, 0, 0, true, true, true, false, false, kNever},
    {"answer", 20, kAnswer, -70000, 70000, true, true, true, false, false, kNever},
    {"wrong-echo", 10, kAnswer, 0, 0, false, false, true, false, false, kNever},
    {"wrong-letter", 10, kAnswer, 0, 0, false, false, true, false, false, kNever},
    {"wrong-terminator", 10, kAnswer, 0, 0, false, false, true, false, false, kNever},
    {"garbage", 10, kAnswer, 0, 0, false, false, true, false, false, kNever},
    {"cut-answer", 20, kAnswer, 0, 12, false, false, true, false, false, kNever},
    {"endless-number", 5, kAnswer, 20, 9000, true, true, true, false, false, kNever},
    {"endless-string", 5, kAnswer, 100, 200000, false, false, true, false, false, kNever},
    {"string-length", 2, kAnswer, -2, 3, false, false, true, false, false, kPerhaps},
    {"drop", 40, kAnywhere, 0, 0, false, false, true, false, false, kNever},
    {"drop", 40, kBlock, 1, 70000, false, false, false, false, false, kNever},
    {"reset", 40, kAnywhere, 0, 0, false, false, true, false, false, kNever},
    {"reset", 40, kBlock, 1, 70000, false, false, false, false, false, kNever},
    {"stall", 30, kAnywhere, 1, 900, false, false, false, false, false, kNever},
    {"stall", 3, kAnywhere, 29000, 32000, false, false, true, false, false, kSurely},
    {"slow", 20, kAnywhere, 10, 400, false, false, false, false, false, kNever},
    {"deaf", 1, kOnceKnown, 0, 0, false, false, true, false, false, kSurely},
    {"error", 30, kCommand, 0, 0, false, false, false, false, false, kNever},
    {"reserved", 10, kCommand, 0, 0, false, false, false, false, true, kNever},
    {"empty", 60, kPage, 0, 0, false, false, false, true, false, kNever},
    {"jam", 60, kPage, 0, 0, false, false, false, true, false, kNever},
    {"jam", 60, kBlock, 0, 0, false, true, false, true, false, kNever},
    {"cancel", 30, kBlock, 0, 0, false, true, false, false, false, kNever},
    {"short-page", 10, kPage, 1, 400, false, true, false, false, false, kNever},
    {"long-page", 10, kPage, 1, 60, false, true, false, false, false, kNever},
    {"ragged-page", 10, kPage, 1, 900, false, true, false, false, false, kPerhaps},
    {"row-count", 10, kPage, 0, 400, false, true, false, false, false, kNever},
    {"no-end", 10, kPage, 0, 0, false, true, false, false, false, kPerhaps},
    {"truncate", 20, kBlock, 0, 3000, false, false, false, false, false, kNever},
    {"block-length", 15, kBlock, 0, 0, true, true, false, false, false, kPerhaps},
    {"record-offset", 10, kBlock, -40, 70000, true, true, false, false, false, kPerhaps},
    {"record-type", 10, kBlock, 0, 12, true, true, false, false, false, kPerhaps},
    {"record-length", 10, kBlock, 0, 65535, true, true, false, false, false, kPerhaps},
    {"corrupt", 30, kBlock, 0, 3000, true, true, false, false, false, kPerhaps},
};

constexpr int64_t kBlockLengths[] = {0, 1, 7, 8, 9, 12, 100, 61440, 61441, 0x7FFFFFFF, 0xFFFFFFFF};
constexpr int64_t kDeviceErrors[] = {5, 77, 500, 502, 504, 505, 1024, 1025, 1026, 1027};

const FaultRow& DrawFault(Dice& dice, const SoakPlan& plan) {
  for (;;) {
    int sum = 0;
    for (const FaultRow& row : kFaults) sum += row.weight;
    int64_t at = dice.Between(0, sum - 1);
    for (const FaultRow& row : kFaults) {
      if ((at -= row.weight) >= 0) continue;
      const bool fits = (!row.feeder || plan.Feeder()) &&
                        (!row.network || plan.io_type == T_IO_NETWORK) &&
                        (!plan.quick || row.wait == kNever);
      if (fits) return row;
      break;
    }
  }
}

std::string MomentText(Dice& dice, const SoakPlan& plan, Moment moment) {
  const auto count = [&](int64_t most) { return std::to_string(dice.Between(1, most)); };
  const bool long_talk = plan.asks_capabilities || dice.Percent(50);
  switch (moment) {
    case kConnection:
      return "@connection:" + count(2);
    case kCommand:
      return "@command:" + count(long_talk ? 30 : 12);
    case kOnceKnown:
      return "@command:" + std::to_string(dice.Between(12, 30));
    case kAnswer:
      return "@answer:" + count(long_talk ? 60 : 20);
    case kPage:
      return "@page:" + count(plan.Feeder() ? 3 : 1);
    case kBlock:
      return "@block:" + count(dice.Percent(60) ? 2 : 9);
    case kAnywhere:
      break;
  }
  const Moment narrower[] = {kCommand, kAnswer, kBlock};
  return MomentText(dice, plan, dice.OneOf(narrower));
}

void AddFault(Dice& dice, SoakPlan* plan) {
  const FaultRow& row = DrawFault(dice, *plan);
  std::string text = row.name + MomentText(dice, *plan, row.moment);
  const std::string name = row.name;
  if (name == "block-length") text += "=" + std::to_string(dice.OneOf(kBlockLengths));
  if (name == "error") text += "=" + std::to_string(dice.OneOf(kDeviceErrors));
  if (row.low != 0 || row.high != 0) text += "=" + std::to_string(dice.Between(row.low, row.high));
  // A few stay; those would wait for every time-out if they were slow ones.
  const bool stays = row.wait == kNever && row.moment != kPage && dice.Percent(10);
  if (name == "busy")
    text += "*" + std::to_string(dice.Between(1, 7));
  else if (!stays)
    text += "*1";
  plan->slow |= row.wait == kSurely;
  plan->faults.push_back(text);
}

void DrawDisturbance(Dice& dice, SoakPlan* plan) {
  constexpr Disturbance kAny[] = {Disturbance::kPowerOff, Disturbance::kPowerCycle,
                                  Disturbance::kError};
  constexpr Disturbance kStack[] = {
      Disturbance::kLostHandles,    Disturbance::kLostHandles,   Disturbance::kFailingReads,
      Disturbance::kFailingWrites,  Disturbance::kFailingWrites, Disturbance::kFailingSockets,
      Disturbance::kFailingSockets, Disturbance::kFailingCloses, Disturbance::kFailingChannels};
  constexpr int64_t kSystemErrors[] = {5, 6, 31, 87, 121, 1609, 0xFFFFFFFE};
  plan->disturbance =
      plan->io_type == T_IO_DOT4 && dice.Percent(70) ? dice.OneOf(kStack) : dice.OneOf(kAny);
  if (plan->io_type == T_IO_NETWORK && dice.Percent(20)) plan->disturbance = Disturbance::kReserved;
  // A channel that does not open is tried again ten seconds later.
  if (plan->disturbance == Disturbance::kFailingChannels) {
    if (plan->quick) plan->disturbance = Disturbance::kLostHandles;
    plan->slow |= !plan->quick;
  }
  plan->disturbed_call = static_cast<int>(dice.Between(1, 14));
  plan->disturbance_value = plan->disturbance == Disturbance::kError ? dice.OneOf(kDeviceErrors)
                                                                     : dice.OneOf(kSystemErrors);
}

// A small page: the cost of ten thousand jobs is the cost of their pages.
void DrawPage(Dice& dice, SoakPlan* plan) {
  constexpr uint32_t kModes[] = {T_COLOR, T_GREYSCALE, T_BW};
  constexpr uint16_t kResolutions[] = {75, 100, 150, 150, 200, 300, 300, 600, 1200, 2400};
  SCANNER_PARAMETERS& page = plan->parameters;
  page.dwScanMode = dice.OneOf(kModes);
  page.byBitsPerChannel = page.dwScanMode == T_BW ? 1 : 8;
  page.wXResolution = page.wYResolution = dice.OneOf(kResolutions);
  if (dice.Percent(5)) page.wYResolution = dice.OneOf(kResolutions);
  page.wGreyChannel = T_GREY_NTSC;
  page.dwLeft = static_cast<uint32_t>(dice.Between(0, 300));
  page.dwTop = static_cast<uint32_t>(dice.Between(0, 600));
  // Whole bytes of bilevel pixels: mirrored rows begin with their padding.
  const auto pixels = static_cast<uint32_t>(8 * dice.Between(2, 40));
  const auto rows = static_cast<uint32_t>(dice.Between(4, 300));
  page.dwWidth = std::max(8u, pixels * 300 / page.wXResolution);
  page.dwLength = std::max(1u, rows * 300 / page.wYResolution);
  plan->lines_per_read = static_cast<uint32_t>(dice.Percent(30)   ? dice.Between(1, 8)
                                               : dice.Percent(50) ? dice.Between(9, 80)
                                                                  : dice.Between(81, 700));
}

}  // namespace

SoakPlan MakePlan(uint64_t seed, int64_t number, uint32_t io_type, bool quick) {
  constexpr uint32_t kTypes[] = {T_IO_NETWORK, T_IO_NETWORK, T_IO_USB, T_IO_DOT4};
  constexpr const char* kModels[] = {"ZM-11", "ZM-12",       "ZM-13", "ZM-15",  "ZM-16",
                                     "ZM-16", "alternative", "ZM-14", "unknown"};
  constexpr size_t kBlockSizes[] = {200, 512, 2000, 5000, 20000, 61440};
  constexpr HostEnd kEnds[] = {HostEnd::kStops, HostEnd::kStops, HostEnd::kUnlocks,
                               HostEnd::kCloses, HostEnd::kReadsOn};
  Dice dice(seed, number);
  SoakPlan plan;
  plan.seed = seed;
  plan.number = number;
  plan.io_type = dice.OneOf(kTypes);
  if (io_type) plan.io_type = io_type;
  plan.quick = quick;
  plan.device.model = dice.OneOf(kModels);
  plan.device.paper = "pattern";
  plan.device.delivery.block_bytes = dice.OneOf(kBlockSizes);
  plan.device.delivery.record_bytes = static_cast<size_t>(dice.Between(40, 30000));
  plan.device.delivery.end_in_own_block = dice.Percent(30);
  plan.device.delivery.jpeg_horizontal = dice.Percent(50) ? 1 : 2;
  plan.device.delivery.jpeg_vertical = dice.Percent(50) ? 1 : 2;
  plan.device.delivery.jpeg_restart = dice.Percent(20) ? static_cast<int>(dice.Between(1, 9)) : 0;
  DrawPage(dice, &plan);
  const bool can_feed = plan.device.model != "ZM-11" && plan.device.model != "unknown";
  const bool must_feed = plan.device.model == "ZM-14";
  if (must_feed || (can_feed && dice.Percent(40))) {
    plan.parameters.wScanMethod = T_METHOD_ADF;
    plan.device.sheets = static_cast<int>(dice.Between(1, 3));
    plan.duplex = dice.Percent(40);
  }
  plan.lock_type = dice.Percent(30) ? T_LOCK_THREAD : T_LOCK_PROCESS;
  plan.asks_capabilities = plan.Feeder() || dice.Percent(30);
  plan.sets_tone_map = plan.asks_capabilities && dice.Percent(15);
  plan.reads_property = dice.Percent(10);
  plan.reserves = dice.Percent(10);
  plan.jpeg = plan.parameters.dwScanMode != T_BW && dice.Percent(35);
  if (dice.Percent(30)) {
    plan.end = dice.OneOf(kEnds);
    plan.reads_before_end = static_cast<int>(dice.Between(0, 6));
  }
  plan.keeps_session = dice.Percent(60);
  if (dice.Percent(25)) DrawDisturbance(dice, &plan);
  const bool quiet = plan.disturbance != Disturbance::kNone && dice.Percent(60);
  if (!quiet) AddFault(dice, &plan);
  if (!quiet && dice.Percent(40)) AddFault(dice, &plan);
  return plan;
}

const char* Name(Disturbance disturbance) {
  constexpr const char* kNames[] = {
      "none",          "power-off",     "power-cycle",    "pending-error",   "reserved-away",
      "lost-handles",  "failing-reads", "failing-writes", "failing-sockets", "failing-channels",
      "failing-closes"};
  return kNames[static_cast<size_t>(disturbance)];
}

std::string Text(const SoakPlan& plan) {
  constexpr const char* kEnds[] = {"reads to the end", "stops", "unlocks", "closes", "reads on"};
  const SCANNER_PARAMETERS& page = plan.parameters;
  std::ostringstream text;
  text << (plan.io_type == T_IO_NETWORK ? "net"
           : plan.io_type == T_IO_USB   ? "usb"
                                        : "dot4")
       << " " << plan.device.model << (plan.Feeder() ? " feeder" : " flatbed");
  if (plan.Feeder()) text << " " << plan.device.sheets << (plan.duplex ? " duplex" : "");
  text << (plan.jpeg ? " jpeg" : " raw") << " mode " << page.dwScanMode << " " << page.wXResolution
       << "x" << page.wYResolution << " dpi " << page.dwWidth << "x" << page.dwLength
       << " reads of " << plan.lines_per_read << "; host " << kEnds[static_cast<size_t>(plan.end)];
  if (plan.end != HostEnd::kPatient) text << " (" << plan.reads_before_end << ")";
  for (const std::string& fault : plan.faults) text << "; " << fault;
  if (plan.disturbance != Disturbance::kNone)
    text << "; " << Name(plan.disturbance) << " " << plan.disturbance_value << " at call "
         << plan.disturbed_call;
  return text.str();
}

std::string FaultName(const std::string& fault) {
  return fault.substr(0, fault.find('@'));
}

namespace {

bool AnyRow(const std::string& fault, bool FaultRow::*property) {
  const std::string name = FaultName(fault);
  return std::any_of(std::begin(kFaults), std::end(kFaults),
                     [&](const FaultRow& row) { return name == row.name && row.*property; });
}

}  // namespace

bool ChangesContent(const std::string& fault) {
  return AnyRow(fault, &FaultRow::content);
}
bool ChangesLength(const std::string& fault) {
  return AnyRow(fault, &FaultRow::length);
}
bool ChangesAnswers(const std::string& fault) {
  return AnyRow(fault, &FaultRow::answers);
}

}  // namespace scantk::test
