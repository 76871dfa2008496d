// What scantk-sim does while its devices serve: run a command, or wait until it is ended.
#ifndef SCANTK_SIMULATOR_TASK_H_
#define SCANTK_SIMULATOR_TASK_H_

#include <memory>
#include <string>
#include <vector>

namespace scantk::sim {

class Task {
 public:
  // `command` may be empty. Before the first thread starts.
  explicit Task(const std::vector<std::string>& command);
  ~Task();
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  // Runs the command and returns its exit status, signals that would end this process being passed
  // on to it; or waits for such a signal and returns 0. Throws std::runtime_error.
  int Run();

 private:
  struct Ends;
  std::vector<std::string> command_;
  std::unique_ptr<Ends> ends_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_TASK_H_
