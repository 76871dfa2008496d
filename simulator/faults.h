// What can go wrong with a device, by name, and the moment at which it does.
#ifndef SCANTK_SIMULATOR_FAULTS_H_
#define SCANTK_SIMULATOR_FAULTS_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace scantk::sim {

enum class FaultKind {
  // While a connection is made.
  kBusy,
  kRefuse,
  kNoGreeting,
  kShortGreeting,
  kOddGreeting,
  // While an inquiry is answered.
  kSilent,
  kNull,
  kAnswer,
  kWrongEcho,
  kWrongLetter,
  kWrongTerminator,
  kGarbage,
  kCutAnswer,
  kEndlessNumber,
  kEndlessString,
  kStringLength,
  // At any moment.
  kDrop,
  kReset,
  kStall,
  kSlow,
  kDeaf,
  kError,
  kReserved,
  // The feeder and the page.
  kEmpty,
  kJam,
  kCancel,
  kShortPage,
  kLongPage,
  kRaggedPage,
  kRowCount,
  kNoEnd,
  // One block of a page.
  kTruncate,
  kBlockLength,
  kRecordOffset,
  kRecordType,
  kRecordLength,
  kCorrupt,
};

// What a device is doing when a fault may strike.
enum class FaultStage { kConnect, kCommand, kAnswer, kFeed, kPage, kBlock };

// Where a conversation stands, and where a fault waits for it. All numbers count from 1; 0 stands
// for "any" in a fault and for "not there" in a conversation.
struct FaultMoment {
  int64_t connection = 0;  // accepted connections of the device
  int64_t command = 0;     // commands of the connection
  int64_t answer = 0;      // inquiries of the connection
  int64_t variable = 0;    // number of the variable that is set or asked
  int64_t page = 0;        // pages started by the device
  int64_t block = 0;       // blocks of the page

  // Whether a fault that waits for this moment strikes at `now`.
  bool Covers(const FaultMoment& now) const;
};

struct Fault {
  FaultKind kind = FaultKind::kBusy;
  FaultMoment moment;
  std::optional<int64_t> value;  // its meaning is the kind's (see FaultHelp); default the kind's
  int64_t times = -1;            // strikes this many times, -1 for ever
};

// Reads `name[@moment][=value][*times]`, moment being `what:number` pairs with commas between
// them: "drop@page:2,block:3=100*1". Throws std::invalid_argument with a text for people.
Fault ParseFault(std::string_view text);

// The fault in the form that ParseFault reads.
std::string FaultText(const Fault& fault);

// One line per kind of fault: its name, its moment, the meaning of its value.
std::string FaultHelp();

// The faults that still wait for their moment. One thread at a time.
class FaultList {
 public:
  void Add(const Fault& fault);
  void Clear() { faults_.clear(); }
  // Its value if a fault of this kind strikes at this stage of this moment; counts the strike.
  std::optional<int64_t> Strike(FaultKind kind, FaultStage stage, const FaultMoment& now);

 private:
  std::vector<Fault> faults_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_FAULTS_H_
