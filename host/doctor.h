// The doctor's visit: the steps from the library to a scanned piece of paper, in the order in which
// one rests on the other. The first one that fails ends it and gives the exit status.
#ifndef SCANTK_HOST_DOCTOR_H_
#define SCANTK_HOST_DOCTOR_H_

#include <optional>
#include <string>
#include <vector>

#include "contract/records.h"
#include "host/commands.h"
#include "host/error_advice.h"
#include "host/network_probe.h"
#include "host/setup/trace_command.h"

namespace scanhost {

// A failure whose remedy is known here.
class Finding : public HostFailure {
 public:
  Finding(const std::string& cause, std::string remedy)
      : HostFailure(cause), remedy_(std::move(remedy)) {}
  const std::string& remedy() const { return remedy_; }

 private:
  std::string remedy_;
};

// The whole file; empty when it cannot be read.
std::string FileText(const std::string& path);

class Doctor {
 public:
  Doctor(const DeviceOptions& options, const DoctorRequest& request)
      : options_(options), request_(request) {}

  int Visit();

  struct Step {
    const char* name;
    int status;  // the exit status when it fails
    std::string (Doctor::*run)();
  };
  static const Step kSteps[];
  static const size_t kStepCount;

 private:
  struct Result {
    std::string name, text, remedy;
    bool good = true;
    double seconds = 0;
  };

  std::string Library();
  std::string Entry();
  std::string Name();
  std::string Port();
  std::string Greeting();
  std::string Lock();
  std::string Capabilities();
  std::string Feeder();
  std::string Scan();

  bool IsNetwork() const { return chosen_->device().io_type == T_IO_NETWORK; }
  Result Take(const Step& step);
  std::string Line(const Result& result) const;
  std::string Json(int status) const;
  void BeginTrace();
  void WriteReport(const std::string& text);

  DeviceOptions options_;
  DoctorRequest request_;
  std::optional<Toolkit> toolkit_;
  std::optional<ChosenDevice> chosen_;
  std::string address_;
  bool paper_ = false;  // lies in the feeder
  Probe probe_;
  std::optional<Session> session_;
  std::optional<Interruption::Guard> guard_;
  std::vector<Result> results_;
  std::optional<TraceSettings> old_trace_;
  std::string trace_file_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_DOCTOR_H_
