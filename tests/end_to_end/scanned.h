// A simulated device at the far end of a TCP connection, and a host that scans from it.
#ifndef SCANTK_TESTS_END_TO_END_SCANNED_H_
#define SCANTK_TESTS_END_TO_END_SCANNED_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "simulator/simulated_device.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {

// An address of 127.0.0.0/8 that no other test of this run uses.
std::string FreshAddress();

// What one page gave.
struct Page {
  Outcome start = kOk;
  BUFFER_INFO granted = {};
  std::vector<uint8_t> bytes;
  Outcome last_read = kOk;
  Outcome stop = kOk;
};

// A device, a registry that names it, a toolkit, an open and locked session.
class ScanTest : public ::testing::Test {
 protected:
  void SetUp() override { sandbox.SwitchTraceOn(); }
  void TearDown() override;

  // Starts the device and installs it.
  void StartDevice(sim::DeviceConfig config = {});
  void Open();                            // opens a session
  Outcome Lock(uint32_t timeout_ms = 0);  // takes the process lock
  void OpenAndLock();                     // both, expected to succeed
  void Close();

  // A flatbed page of the whole window; `change` adjusts it.
  SCANNER_PARAMETERS Parameters(uint32_t mode, uint16_t dpi) const;
  // Scans one page with reads of `lines_per_read` lines. `between_reads` is told the number of the
  // read to come (0 is the first) and answers whether to go on.
  Page Scan(const SCANNER_PARAMETERS& parameters, uint32_t lines_per_read = 200,
            const std::function<bool(int)>& between_reads = {});
  // What the device's sensor saw of the page that was scanned last.
  std::vector<uint8_t> PaperSeen() const;
  // Scans a small page and expects it perfect: the device is usable.
  void ExpectCleanScan(const std::string& after);

  Sandbox sandbox;
  std::unique_ptr<sim::SimulatedDevice> device;
  std::string device_name;
  std::unique_ptr<Toolkit> toolkit;
  uint32_t session = 0;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_END_TO_END_SCANNED_H_
