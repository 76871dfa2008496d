// What the operations of the protocol engine answer. Some numbers mean different things from
// different operations (a mapped device error may equal a status); callers know which they called.
#ifndef SCANTK_PROTOCOL_QRL_STATUS_H_
#define SCANTK_PROTOCOL_QRL_STATUS_H_

#include <cstdint>

#include "io/transport.h"

namespace scantk {

using QrlStatus = uint32_t;

inline constexpr QrlStatus SL_OK = 0;
inline constexpr QrlStatus SL_BADACCESS = 2;        // short write, failed read
inline constexpr QrlStatus SL_INVALID_REQUEST = 3;  // builds no command or inquiry of that kind
inline constexpr QrlStatus SL_BADRESPONSE = 4;      // the answer does not fit the inquiry
inline constexpr QrlStatus SL_NULLRESPONSE = 5;     // the device has no such value: not supported
inline constexpr QrlStatus SL_PIPELINE_SETUP = 11;  // the image pipeline could not be set up
inline constexpr QrlStatus SL_SHORTREAD = 17;       // scan data ended early
inline constexpr QrlStatus SL_MATRIXERROR = 18;     // the image pipeline reported an error
inline constexpr QrlStatus SL_PAGE_FINISHED = 24;   // nothing more of this page
inline constexpr QrlStatus SL_ERROR_INQUIRY_FAILED = 61;

// Mapped device errors, from InquireOldestError.
inline constexpr QrlStatus SL_ERR_MAPPED_JAM = 15;
inline constexpr QrlStatus SL_ERR_MAPPED_FEEDER_EMPTY = 19;
inline constexpr QrlStatus SL_ERR_MAPPED_OTHER = 17;
inline constexpr QrlStatus SL_CANCEL = 502;  // the device cancelled the page
inline constexpr QrlStatus SL_CANCEL_504 = 504;
inline constexpr QrlStatus SL_CANCEL_505 = 505;

// Numbers of the device itself: its errors, and the states of its feeder (SL_ADF_STATUS).
inline constexpr int32_t kDeviceJam = 1024;
inline constexpr int32_t kDeviceFeederEmpty = 1026;
inline constexpr QrlStatus SL_ERR_ADF_JAM = kDeviceJam;  // the jam as it is

// The phases of a scan.
inline constexpr uint32_t kScanStarted = 2;
inline constexpr uint32_t kScanTransferring = 3;
inline constexpr uint32_t kScanIdle = 4;

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_QRL_STATUS_H_
