// Commands and inquiries: one at a time, each inquiry with its answer.
//
// What they tell is kept: the values that the device holds, so that it is neither told nor asked
// twice (ValueCache), and the resolutions asked for and granted, in whose light later answers are
// read (ResolutionState): a host that asked for more than the device can do is told what it asked.
#ifndef SCANTK_PROTOCOL_EXCHANGE_H_
#define SCANTK_PROTOCOL_EXCHANGE_H_

#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/channel.h"
#include "protocol/command_table.h"
#include "protocol/models.h"
#include "protocol/qrl_status.h"
#include "protocol/resolution_state.h"
#include "protocol/value_cache.h"

namespace scantk {

class Exchange {
 public:
  Exchange(Channel& channel, TraceLog& trace) : channel_(channel), trace_(trace), cache_(trace) {}
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // Sends a command, a resolution beyond the device's limit as that limit. 0, without sending
  // anything where the device is known to hold the value; SL_INVALID_REQUEST when `id` is no
  // command; SL_BADACCESS.
  QrlStatus SendCommand(uint32_t id, int32_t value);
  // `kind`: kCurrent, kMinimum or kMaximum. 0; SL_NULLRESPONSE when the device has none;
  // SL_INVALID_REQUEST, SL_BADACCESS or SL_BADRESPONSE. *value is 0 on any failure.
  QrlStatus InquireNumber(uint32_t id, char kind, int32_t* value);
  // `buffer` holds `capacity` + 1 bytes and ends with a NUL. *length is the length that the device
  // announced, or -1 on any failure; what there is no room for is read away.
  QrlStatus InquireString(uint32_t id, char* buffer, uint32_t capacity, int32_t* length);
  // The same into exactly `capacity` bytes, without a NUL.
  QrlStatus InquireBytes(uint32_t id, uint8_t* buffer, uint32_t capacity, int32_t* length);

  // Asks the device what it is, every time. -1 as a status: `model` is null.
  QrlStatus InquireModel(int32_t* model);

  // Reads and parses one answer to the inquiry just sent. *value is 0 unless the status is 0.
  QrlStatus ReceiveResponse(const char* inquiry, int32_t* value, char terminator);

  // Whether `id`, one of the duplex switches, was sent as 1 since the last reset and not as 0 after
  // it. Nothing else switches them off: the device keeps them from job to job.
  bool IsSwitchedOn(uint32_t id) const { return (switched_on_ & SwitchBit(id)) != 0; }

  const ResolutionState& resolution() const { return resolution_; }
  const ValueCache& cache() const { return cache_; }

 private:
  QrlStatus Transmit(uint32_t id, int32_t value);
  QrlStatus AskNumber(uint32_t id, char kind, int32_t* value);
  QrlStatus AskString(uint32_t id, uint8_t* bytes, uint32_t capacity, int32_t* length,
                      uint32_t* received);
  bool SendInquiry(const char* inquiry, size_t length);
  void Recognise(int32_t* model);
  void NoteSwitch(uint32_t id, int32_t value);
  static constexpr uint32_t SwitchBit(uint32_t id) {
    return id >= SL_DUPLEX && id <= SL_DUPLEX_HFLIP ? 1u << (id - SL_DUPLEX) : 0;
  }

  Channel& channel_;
  TraceLog& trace_;
  ValueCache cache_;
  ResolutionState resolution_;
  uint32_t switched_on_ = 0;  // a bit for each duplex switch
  int32_t model_number_ = SL_UNKNOWN;
  int32_t identification_count_ = 0;  // since the model number was last set
  char model_string_[256] = {};
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_EXCHANGE_H_
