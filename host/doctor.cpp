// scanhost doctor.
#include "host/doctor.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/exit_status.h"
#include "host/setup/device_registry.h"
#include "host/version.h"
#include "host/zip_file.h"

namespace scanhost {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

}  // namespace

std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Doctor::Result Doctor::Take(const Step& step) {
  Result result;
  result.name = step.name;
  const auto start = Clock::now();
  try {
    result.text = (this->*step.run)();
  } catch (const ToolkitFailure& failure) {
    result = {step.name, failure.what(), AdviceFor(failure.outcome()), false, 0};
  } catch (const Finding& finding) {
    result = {step.name, finding.what(), finding.remedy(), false, 0};
  } catch (const std::exception& failure) {
    result = {step.name, failure.what(), "", false, 0};
  }
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return result;
}

std::string Doctor::Line(const Result& result) const {
  char head[64];
  std::snprintf(head, sizeof head, "%-20s %s %6.2f s  ", result.name.c_str(),
                result.good ? "ok    " : "FAILED", result.seconds);
  std::string text = head + result.text + "\n";
  if (!result.remedy.empty()) text += "  " + result.remedy + "\n";
  return text;
}

std::string Doctor::Json(int status) const {
  nlohmann::ordered_json steps = nlohmann::ordered_json::array();
  for (const Result& result : results_)
    steps.push_back({{"step", result.name},
                     {"good", result.good},
                     {"text", result.text},
                     {"remedy", result.remedy},
                     {"seconds", result.seconds}});
  const nlohmann::ordered_json all = {{"status", status}, {"steps", steps}};
  return all.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

// The report wants the conversation, whatever the trace was set to.
void Doctor::BeginTrace() {
  if (request_.report.empty()) return;
  old_trace_ = ReadTraceSettings();
  trace_file_ = request_.report + ".trace";
  std::error_code ignored;
  fs::remove(trace_file_, ignored);
  SwitchTraceOn("data", trace_file_);
}

void Doctor::WriteReport(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> parts = {
      {"doctor.txt", VersionText() + "\n\n" + text}};
  if (chosen_) parts.emplace_back("registry.txt", DeviceEntryText(chosen_->device()));
  if (old_trace_) {
    WriteTraceSettings(*old_trace_);
    parts.emplace_back("trace.log", FileText(trace_file_));
    std::error_code ignored;
    fs::remove(trace_file_, ignored);
  }
  WriteZip(request_.report, parts);
  std::fprintf(
      stderr,
      "%s holds doctor.txt (this text), registry.txt (the device's entry, with its address) "
      "and trace.log (what was said to the device, which can hold page content)\n",
      request_.report.c_str());
}

int Doctor::Visit() {
  int status = kExitDone;
  std::string text;
  if (!options_.simulate) BeginTrace();
  for (size_t i = 0; i < kStepCount; ++i) {
    const Step& step = kSteps[i];
    results_.push_back(Take(step));
    const std::string line = Line(results_.back());
    if (!request_.json) std::fputs(line.c_str(), stdout);
    std::fflush(stdout);
    text += line;
    if (!results_.back().good) {
      status = step.status;
      break;
    }
    Interruption::ThrowIfAsked();
  }
  session_.reset();  // the trace ends with the session
  if (request_.json) std::printf("%s\n", Json(status).c_str());
  if (!request_.report.empty()) WriteReport(text);
  return status;
}

int RunDoctor(const DeviceOptions& device, const DoctorRequest& request) {
  return Doctor(device, request).Visit();
}

std::string DoctorExitHelp() {
  std::string text = "exit status: 0 all is well, or that of the step that failed:";
  for (size_t i = 0; i < Doctor::kStepCount; ++i)
    text += std::string(i == 0 ? " " : ", ") + std::to_string(Doctor::kSteps[i].status) + " " +
            Doctor::kSteps[i].name;
  return text;
}

}  // namespace scanhost
