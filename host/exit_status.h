// How scanhost ends. The help lists them; the doctor has one for each of its steps.
#ifndef SCANTK_HOST_EXIT_STATUS_H_
#define SCANTK_HOST_EXIT_STATUS_H_

namespace scanhost {

enum ExitStatus {
  kExitDone = 0,
  kExitFailed = 1,
  kExitUsage = 2,
  kExitCutShort = 3,    // a page was cut short; it is kept
  kExitNotAsAsked = 4,  // --strict, and something differs
  // 128 + the signal's number: 130 after Ctrl-C
};

}  // namespace scanhost

#endif  // SCANTK_HOST_EXIT_STATUS_H_
