// A host at work: one object, one session, one page at a time, every answer looked at.
#ifndef SCANTK_TESTS_JOBS_HOST_H_
#define SCANTK_TESTS_JOBS_HOST_H_

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/contract/toolkit.h"
#include "tests/jobs/picture.h"

namespace scantk::test {

// What may be the reason for answers that are not legal otherwise.
enum class Excuse {
  kNone,
  kDeviceLies,   // it may have granted a page and then made another
  kSystemFails,  // memory or a call: any method may fail
};

class Host {
 public:
  // `device` is the name under which it is installed.
  Host(std::string device, uint32_t io_type, Toolkit object = Toolkit())
      : toolkit(std::move(object)), device_(std::move(device)), io_type_(io_type) {}
  virtual ~Host() = default;

  // Calls a method of this name. What it may not answer is a problem.
  template <class Pointer, class Function, class... Arguments>
  Outcome Do(const char* method, const Pointer& object, Function function, Arguments... arguments) {
    Before(method);
    last = Call(object, function, arguments...);
    After(method, last);
    return last;
  }

  bool Open();
  bool Lock(uint16_t type = T_LOCK_PROCESS, uint32_t limit = 5000);
  bool Learn();
  void Compress(bool jpeg);
  // The page as its `asked` says. False: it cannot be read.
  bool Start();
  // At most so many reads of `lines` rows; their bytes go behind those of the page. kOk: there are
  // more.
  Outcome Read(uint32_t lines, int reads = kPatient);
  Outcome Stop();
  void Unlock();
  void Close();  // a session that is open

  // All of a page, read to its end and stopped.
  bool Scan(uint32_t lines);
  // A small grey page of the paper "pattern" or another, which nothing disturbs.
  void ScanPerfectly(const char* when, const std::string& paper = "pattern");

  void Fail(const std::string& problem) { problems.push_back(problem); }

  static constexpr int kPatient = 20000;
  Toolkit toolkit;
  uint32_t session = 0;
  Outcome last = kOk;  // of the last call
  ScannedPage page;
  std::vector<std::string> problems;
  Excuse excuse = Excuse::kNone;
  std::function<void(const char* method)> before_call;

 protected:
  // Around every call of the toolkit.
  virtual void Before(const char* method) {
    if (before_call) before_call(method);
  }
  virtual void After(const char* method, const Outcome& outcome);
  // Behind every read.
  virtual void Progress() {}

 private:
  const std::string device_;
  const uint32_t io_type_;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_HOST_H_
