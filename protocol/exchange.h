// Commands and inquiries: one at a time, each inquiry with its answer, what is learnt kept in the
// value cache and the resolution state.
#ifndef SCANTK_PROTOCOL_EXCHANGE_H_
#define SCANTK_PROTOCOL_EXCHANGE_H_

#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/channel.h"
#include "protocol/command_table.h"
#include "protocol/qrl_status.h"
#include "protocol/resolution_state.h"
#include "protocol/value_cache.h"

namespace scantk {

// Model family numbers; the other known families count up from kModelAlternative to the last.
inline constexpr int32_t SL_UNKNOWN = 0;
inline constexpr int32_t kModelAlternative = 64;  // answers the alternative identification alone

class Exchange {
 public:
  Exchange(Channel& channel, TraceLog& trace) : channel_(channel), trace_(trace), cache_(trace) {}
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  // As the protocol engine declares them.
  QrlStatus SendCommand(uint32_t id, int32_t value);
  QrlStatus InquireNumber(uint32_t id, char kind, int32_t* value);
  QrlStatus InquireString(uint32_t id, char* buffer, uint32_t capacity, int32_t* length);
  QrlStatus InquireBytes(uint32_t id, uint8_t* buffer, uint32_t capacity, int32_t* length);

  // Asks the device what it is, every time. -1 as a status: `model` is null.
  QrlStatus InquireModel(int32_t* model);

  // Reads and parses one answer to the inquiry just sent. *value is 0 unless the status is 0.
  QrlStatus ReceiveResponse(const char* inquiry, int32_t* value, char terminator);

  const ResolutionState& resolution() const { return resolution_; }
  const QrlCache& cache() const { return cache_; }

 private:
  QrlStatus Transmit(uint32_t id, int32_t value);
  QrlStatus AskNumber(uint32_t id, char kind, int32_t* value);
  QrlStatus AskString(uint32_t id, uint8_t* bytes, uint32_t capacity, int32_t* length,
                      uint32_t* received);
  bool SendInquiry(const char* inquiry, size_t length);
  void Recognise(int32_t* model);

  Channel& channel_;
  TraceLog& trace_;
  QrlCache cache_;
  ResolutionState resolution_;
  int32_t model_number_ = SL_UNKNOWN;
  int32_t identification_count_ = 0;  // since the model number was last set
  char model_string_[256] = {};
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_EXCHANGE_H_
