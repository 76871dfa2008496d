#include "tests/host/scanhost_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <sstream>

namespace scanhost {
namespace {

std::string Slurp(const std::string& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

std::atomic<int> g_started{0};

}  // namespace

ScanhostProcess::ScanhostProcess(const std::string& folder, const std::vector<std::string>& words,
                                 const std::string& program) {
  const std::string base = folder + "/stream" + std::to_string(++g_started);
  output_file_ = base + ".out";
  error_file_ = base + ".err";
  std::vector<std::string> copies = words;
  copies.insert(copies.begin(), program);
  std::vector<char*> argv;
  for (std::string& word : copies) argv.push_back(word.data());
  argv.push_back(nullptr);
  id_ = fork();
  if (id_ != 0) return;
  const int output = open(output_file_.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  const int errors = open(error_file_.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  if (chdir(folder.c_str()) != 0) _exit(126);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  execv(program.c_str(), argv.data());
  _exit(127);
}

ScanhostProcess::~ScanhostProcess() {
  if (id_ <= 0) return;
  kill(id_, SIGKILL);
  waitpid(id_, nullptr, 0);
}

void ScanhostProcess::Signal(int number) const {
  if (id_ > 0) kill(id_, number);
}

Ended ScanhostProcess::Wait() {
  int status = 0;
  rusage usage = {};
  wait4(id_, &status, 0, &usage);
  id_ = -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), Slurp(output_file_),
          Slurp(error_file_), usage.ru_maxrss};
}

std::string ScanhostProcess::ErrorsSoFar() const {
  return Slurp(error_file_);
}

Ended RunScanhost(const std::string& folder, const std::vector<std::string>& words) {
  return ScanhostProcess(folder, words).Wait();
}

}  // namespace scanhost
