// Which device this is: the identification part of the exchange.
#include <algorithm>
#include <cstring>

#include "protocol/exchange.h"

namespace scantk {
namespace {

// Identifications of a known model that are told in the trace.
constexpr int32_t kTracedIdentifications = 50;

}  // namespace

QrlStatus Exchange::InquireModel(int32_t* model) {
  if (!model) return static_cast<QrlStatus>(-1);
  *model = SL_UNKNOWN;
  if (model_number_ != SL_UNKNOWN && identification_count_ < kTracedIdentifications) {
    if (++identification_count_ < kTracedIdentifications) {
      trace_.Print(TRACE_FLOW, " MXVWIA_QRL::InquireModel continuing pModel %d", model_number_);
    }
  }
  std::memset(model_string_, 0, sizeof(model_string_));
  trace_.Print(TRACE_FLOW, " MXVWIA_QRL::InquireModel prior to inquirestring pModel %d",
               model_number_);

  int32_t length = 0;
  constexpr uint32_t kCapacity = sizeof(model_string_) - 1;
  QrlStatus status = InquireString(SL_MODEL_ID, model_string_, kCapacity, &length);
  if (status == SL_BADACCESS) return status;
  if (status == SL_OK) {
    Recognise(model);
  } else {
    status = InquireString(SL_MODEL_ID_ALT, model_string_, kCapacity, &length);
    if (status == SL_BADACCESS) return status;
    if (status == SL_OK) {
      *model = kModelAlternative;
      identification_count_ = 0;
      cache_.Update(SL_MODEL_ID_ALT, kCurrent, *model);
      cache_.Enable(true);
    }
  }
  model_number_ = *model;
  return status;
}

void Exchange::Recognise(int32_t* model) {
  trace_.Print(TRACE_FLOW, " MXVWIA_QRL::MODEL_21 %d QRL_CACHE_ENABLE %d Model %s", *model,
               cache_.IsEnabled(), model_string_);
  const auto known = std::find_if(std::begin(kModels), std::end(kModels), [&](const Model& row) {
    return row.identification && std::strcmp(row.identification, model_string_) == 0;
  });
  if (known != std::end(kModels)) {
    *model = known->number;
    identification_count_ = 0;
    cache_.Update(SL_MODEL_ID, kCurrent, *model);
    cache_.Enable(false);
  }
  trace_.Print(TRACE_FLOW, " MXVWIA_QRL::pModel != SL_UNKNOWN : QRL_CACHE_ENABLE %d Model %s",
               cache_.IsEnabled(), model_string_);
}

}  // namespace scantk
