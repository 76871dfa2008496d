// What one job of the soak does: drawn from the seed and the job's own number, so that any job can
// be run again alone.
#ifndef SCANTK_TESTS_RELIABILITY_SOAK_PLAN_H_
#define SCANTK_TESTS_RELIABILITY_SOAK_PLAN_H_

#include <cstdint>
#include <string>
#include <vector>

#include "server/contract/records.h"
#include "simulator/simulated_device.h"

namespace scantk::test {

// How the host leaves the page that it reads.
enum class HostEnd {
  kPatient,  // reads to the end
  kStops,    // StopScan after some reads
  kUnlocks,  // UnlockScanner after some reads, without StopScan
  kCloses,   // CloseScannerSession after some reads, without either
  kReadsOn,  // once more after the end or the failure
};

// What happens to the device, or to the way to it, when the host is about to make a certain call.
enum class Disturbance {
  kNone,
  kPowerOff,    // gone until the job is over
  kPowerCycle,  // gone and back
  kError,       // it has an error pending; the value is its code
  kReserved,    // another computer locks it
  // Of the DOT4 stack; the value is the system error with which the next requests fail.
  kLostHandles,
  kFailingReads,
  kFailingWrites,
  kFailingSockets,
  kFailingChannels,
  kFailingCloses,
};

struct SoakPlan {
  uint64_t seed = 0;
  int64_t number = 0;
  uint32_t io_type = 0;
  bool quick = false;  // without faults that last longer than a second
  bool slow = false;   // one of its faults outlasts a time-out

  sim::DeviceConfig device;         // without faults
  std::vector<std::string> faults;  // see sim::ParseFault
  Disturbance disturbance = Disturbance::kNone;
  int disturbed_call = 0;  // counts from 1
  int64_t disturbance_value = 0;

  uint16_t lock_type = 0;
  bool asks_capabilities = false;
  bool sets_tone_map = false;
  bool reads_property = false;
  bool reserves = false;
  bool jpeg = false;
  bool duplex = false;
  SCANNER_PARAMETERS parameters = {};
  uint32_t lines_per_read = 1;
  HostEnd end = HostEnd::kPatient;
  int reads_before_end = 0;
  bool keeps_session = false;  // for the clean job, where the medium allows it

  bool Feeder() const { return parameters.wScanMethod == 1; }
};

// `io_type` 0 draws one. The same arguments give the same plan.
SoakPlan MakePlan(uint64_t seed, int64_t number, uint32_t io_type, bool quick);

// One line for people.
std::string Text(const SoakPlan& plan);

// Names of the faults and disturbances, for the counts. Whether the delivered bytes may differ from
// the paper's, or be fewer without the toolkit noticing, is a property of the fault.
std::string FaultName(const std::string& fault);
const char* Name(Disturbance disturbance);
// A device that lies about what it is or about its geometry, or changes bytes that no check sum
// guards: nobody can tell.
bool ChangesContent(const std::string& fault);
// The device itself says that the page is over early, or has another length.
bool ChangesLength(const std::string& fault);
// What the host learns of the device may be wrong from then on.
bool ChangesAnswers(const std::string& fault);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_RELIABILITY_SOAK_PLAN_H_
