// Runs scanhost as a user does: a process with words, an exit status, and two streams of text.
#ifndef SCANTK_TESTS_HOST_SCANHOST_PROCESS_H_
#define SCANTK_TESTS_HOST_SCANHOST_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace scanhost {

struct Ended {
  int status = 0;  // the exit status; minus the signal's number when one ended it
  std::string output;
  std::string errors;
  long peak_kilobytes = 0;  // the most memory that it held at a time
};

class ScanhostProcess {
 public:
  // Starts scanhost, or another program, in `folder`, where its two streams are also kept.
  ScanhostProcess(const std::string& folder, const std::vector<std::string>& words,
                  const std::string& program = SCANHOST_PATH);
  // Kills it when it still runs.
  ~ScanhostProcess();
  ScanhostProcess(const ScanhostProcess&) = delete;
  ScanhostProcess& operator=(const ScanhostProcess&) = delete;

  void Signal(int number) const;
  // Waits for its end.
  Ended Wait();
  // What it has written to standard error by now.
  std::string ErrorsSoFar() const;

 private:
  std::string output_file_;
  std::string error_file_;
  pid_t id_ = -1;
};

// Starts it and waits.
Ended RunScanhost(const std::string& folder, const std::vector<std::string>& words);

}  // namespace scanhost

#endif  // SCANTK_TESTS_HOST_SCANHOST_PROCESS_H_
