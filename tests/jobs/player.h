// Plays a conversation: a text file that says what a host calls, what device is at the far end, and
// what must come of it. It goes through the public interfaces of the library that is opened by its
// path, on every medium that this system has. A step that fails ends the run.
//
//     # Catches a last read that is not trimmed to the rows that the device counts.
//     media network usb dot4             default: all
//     cases MODE ROWS                    a table: the file is played once for each row, with its
//       T_GREYSCALE 295                  values in the places of $MODE and $ROWS; of several
//       T_BW 290                         tables, once for each combination
//     end
//     device ZM-16 sheets=3              a model; sheets=, paper=, block= and raster= as scantk-sim
//                                        has them
//     fault row-count@page:1=$ROWS       scantk-sim --help lists the faults
//     include open                       conversations/common/open.txt
//     page $MODE 100 area=0,0,1200,900   the scan parameters from here on: mode, resolution (or
//                                        100x200), fields of SCANNER_PARAMETERS as NAME=VALUE
//     scan                               SetScannerParameters, GetBufferInfo, StartScan, reads to
//                                        the end of the page, StopScan
//     picture paper rows=$ROWS
//     GetADFCapabilities -> ok           any method, with its arguments but for the handle, what it
//       byHasADF = 1                     writes to, and the code; fields of the record that came
//
// Methods.  NAME ARGUMENTS... -> OUTCOME = VALUE. OUTCOME is ok (nothing said: ok), a result and a
//   code by name (S_OK TERR_ADF_EMPTY), or a code alone, which goes with E_FAIL. VALUE is the
//   number or text that the method writes. other.NAME calls on an object and session of its own
//   called "other". OpenScannerSession without arguments opens the device of the file.
// Pages.  start: the first three calls of a scan, start -> OUTCOME being StartScan's.
//   read lines=20 times=3 -> OUTCOME: reads of so many lines; without times until one does not
//   answer ok, which must then be the end of the page. picture WHAT looks at the bytes since start:
//     paper      those of the paper as the host asked for it, upright; sheet=N and back say which
//                side, rows=N how many of its rows, close=N that a sample may differ by N on
//                average
//     beginning  fewer, but the first ones of the paper; also none
//     announced  as many as GetBufferInfo announced; enlarged: or one row more, and with close=N
//                like those of the paper as far as both go
//     same       those of the page before it;  rows N;  none
// The device.  fault F, clear-faults, sheets N, set N=VALUE, raise CODE, reserved-elsewhere,
//   released-elsewhere, unplug, plug, lose-handles, fail-requests KIND NUMBERS... do something;
//   free, held, sheets-left N, connections N, variable N VALUE expect something, and wait for it.
// What was written.  wire TEXT: behind the line found last there is a line of the device's log with
//   TEXT; wires N TEXT: N lines since the last "forget" have it. trace and traces look at the trace
//   log in the same way. registry NAME VALUE sets a value of the device's key, stored NAME VALUE
//   expects it (its-address: where the device listens), discovery IDENTITY tells the discovery
//   store of it. clock and within MS: so many milliseconds at most have passed since clock.
#ifndef SCANTK_TESTS_JOBS_PLAYER_H_
#define SCANTK_TESTS_JOBS_PLAYER_H_

#include "tests/jobs/conversation.h"

namespace scantk::test {

// Plays one run; what does not come as expected fails the test, at the file's line.
void Play(const Scene& scene, Medium medium);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_PLAYER_H_
