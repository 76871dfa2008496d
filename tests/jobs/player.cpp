#include "tests/jobs/player.h"

#include <gtest/gtest.h>

#include "tests/jobs/methods.h"
#include "tests/jobs/stage.h"

namespace scantk::test {
namespace {

void CheckField(const Stage& stage, const std::string& field, const std::string& expected) {
  if (!stage.record_type) throw std::runtime_error("no record came before");
  const std::string got = FieldText(*stage.record_type, stage.record.data(), field);
  if (got != expected) throw Mismatch(field + " = " + expected, got);
}

void Take(Stage& stage, const Words& words) {
  const Words rest(words.begin() + 1, words.end());
  const size_t dot = words[0].find('.');
  const std::string method = dot == std::string::npos ? words[0] : words[0].substr(dot + 1);
  if (IsMethod(method))
    return TakeCall(stage, dot == std::string::npos ? "" : words[0].substr(0, dot), method, rest);
  if (words.size() > 2 && words[1] == "=") return CheckField(stage, words[0], words[2]);
  for (const Steps* steps : {&PageSteps(), &DeviceSteps(), &WrittenSteps()})
    if (const auto step = steps->find(words[0]); step != steps->end())
      return step->second(stage, rest);
  throw std::runtime_error("nothing is called " + words[0]);
}

}  // namespace

void Play(const Scene& scene, Medium medium) {
  SCOPED_TRACE(std::string("over ") + Name(medium) +
               (scene.cases.empty() ? "" : ": " + scene.cases));
  const Step* now = nullptr;
  Stage stage(medium);
  try {
    for (const Step& step : scene.steps) {
      now = &step;
      Take(stage, step.words);
    }
    if (stage.device)
      for (const std::string& fault : stage.device->LayoutFaults())
        throw Mismatch("requests that the stack understands", fault);
  } catch (const std::exception& problem) {
    GTEST_MESSAGE_AT_(now ? now->file.c_str() : "", now ? now->line : 0,
                      (now ? now->text + ": " + problem.what() : problem.what()).c_str(),
                      ::testing::TestPartResult::kNonFatalFailure);
  }
  for (auto& [name, host] : stage.hosts)
    if (host.session) Call(host.toolkit.scanner, &IScanner::CloseScannerSession, host.session);
}

}  // namespace scantk::test
