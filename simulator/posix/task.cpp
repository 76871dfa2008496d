#include "simulator/task.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace scantk::sim {

// The signals that end the task, all blocked, so that a wait is what gets them.
struct Task::Ends {
  sigset_t signals;
};

Task::Task(const std::vector<std::string>& command)
    : command_(command), ends_(std::make_unique<Ends>()) {
  sigemptyset(&ends_->signals);
  for (int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&ends_->signals, signal);
  if (!command.empty()) sigaddset(&ends_->signals, SIGCHLD);
  sigprocmask(SIG_BLOCK, &ends_->signals, nullptr);
}

Task::~Task() = default;

int Task::Run() {
  int signal = 0;
  if (command_.empty()) {
    sigwait(&ends_->signals, &signal);
    return 0;
  }
  std::vector<char*> words;
  for (std::string& word : command_) words.push_back(word.data());
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot start a process");
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvp(words[0], words.data());
    std::perror(words[0]);
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    sigwait(&ends_->signals, &signal);
    if (signal != SIGCHLD) kill(child, signal);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace scantk::sim
