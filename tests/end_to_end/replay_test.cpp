// A fault that was recorded happens again: the same codes, the same bytes, from the file alone.
#include "simulator/replay_device.h"
#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

struct Job {
  std::vector<Outcome> outcomes;
  std::vector<uint8_t> bytes;
};

class ReplayTest : public ScanTest {
 protected:
  std::string RecordingPath() const { return sandbox.Folder() + "/recording.txt"; }

  void Note(Job* job, const Outcome& outcome) { job->outcomes.push_back(outcome); }

  // A page whose every step may fail.
  void ScanPage(uint32_t lines, Job* job) {
    const auto& scanner = toolkit->scanner;
    SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 100);
    BUFFER_INFO granted = {};
    Note(job, Call(scanner, &IScanner::SetScannerParameters, session, &parameters));
    Note(job, Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &granted));
    Outcome last = Call(scanner, &IScanner::StartScan, session);
    std::vector<uint8_t> buffer(granted.dwBytesPerLine * lines);
    while (last == kOk) {
      uint32_t got = 0;
      last = Call(scanner, &IScanner::ReadScanEx, session, buffer.data(),
                  static_cast<uint32_t>(buffer.size()), &got);
      ASSERT_LE(got, buffer.size());
      job->bytes.insert(job->bytes.end(), buffer.begin(), buffer.begin() + got);
      if (got == 0) break;
    }
    Note(job, last);
    Note(job, Call(scanner, &IScanner::StopScan, session));
  }

  // A whole session with two pages; the second begins anew whatever became of the first.
  Job Run(bool jpeg) {
    Job job;
    toolkit = std::make_unique<Toolkit>();
    const auto& scanner = toolkit->scanner;
    Note(&job, Call(scanner, &IScanner::OpenScannerSession, Wide(device_name).c_str(), T_IO_NETWORK,
                    &session));
    Note(&job, Lock());
    SCANNER_CAPABILITIES capabilities = {};
    Note(&job, Call(scanner, &IScanner::GetScannerCapabilities, session, &capabilities));
    Call(toolkit->compression, &ICompression::SetCompressionType, session,
         jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
    ScanPage(20, &job);
    ScanPage(200, &job);
    Note(&job, Call(scanner, &IScanner::UnlockScanner, session));
    Close();
    toolkit.reset();
    return job;
  }

  Job RunRecorded(const std::string& fault, bool jpeg) {
    sim::DeviceConfig config;
    config.delivery.block_bytes = 8192;
    config.record_path = RecordingPath();
    if (!fault.empty()) config.faults.push_back(sim::ParseFault(fault));
    StartDevice(config);
    Job job = Run(jpeg);
    device.reset();
    return job;
  }

  Job RunReplayed(bool jpeg) {
    sim::ReplayConfig config;
    config.address = FreshAddress();
    sim::ReplayDevice replay(sim::ReadRecording(RecordingPath()), config);
    device_name = sandbox.AddNetworkDevice(config.address);
    Job job = Run(jpeg);
    EXPECT_EQ(0, replay.departures());
    return job;
  }
};

TEST_F(ReplayTest, FaultsHappenAgain) {
  const struct {
    const char* fault;
    bool jpeg;
  } cases[] = {
      {"", false},
      {"", true},
      {"cancel@page:1,block:3", false},
      {"drop@page:1,block:2", false},
      {"reset@page:1,block:2=77", true},
      {"corrupt@block:1=50*1", true},
      {"truncate@block:2*1", false},
      {"record-type@block:2*1", false},
      {"short-page@page:1=30", false},
      {"stall@page:1,block:2=120*1", false},
      {"busy*2", false},
      {"busy*5", false},
      {"wrong-terminator@variable:1024*1", false},
      {"cut-answer@variable:1026*1", false},
      {"null@variable:10323", false},
      {"error@command:40=1024*1", false},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault + std::string(one.jpeg ? ", JPEG" : ""));
    const Job recorded = RunRecorded(one.fault, one.jpeg);
    const Job replayed = RunReplayed(one.jpeg);
    EXPECT_EQ(recorded.outcomes, replayed.outcomes);
    EXPECT_TRUE(recorded.bytes == replayed.bytes);
    const bool clean = !*one.fault;
    const auto faulted = [](const Outcome& outcome) {
      return !(outcome == kOk) && !(outcome == kEndOfPage);
    };
    if (clean) {
      EXPECT_TRUE(std::none_of(recorded.outcomes.begin(), recorded.outcomes.end(), faulted));
      EXPECT_FALSE(recorded.bytes.empty());
    }
  }
}

}  // namespace
}  // namespace scantk::test
