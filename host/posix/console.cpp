#include "host/console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace scanhost {
namespace {

// The handler writes into it, the watching thread reads.
int g_signals[2] = {-1, -1};

void NoteSignal(int number) {
  const int saved = errno;
  const auto byte = static_cast<unsigned char>(number);
  if (write(g_signals[1], &byte, 1) < 0) {
  }
  errno = saved;
}

}  // namespace

void WatchSignals(void (*reaction)(int status)) {
  signal(SIGPIPE, SIG_IGN);
  if (pipe2(g_signals, O_CLOEXEC) != 0) return;
  std::thread([reaction] {
    for (unsigned char number = 0;;)
      if (read(g_signals[0], &number, 1) == 1) reaction(128 + number);
  }).detach();
  struct sigaction action = {};
  action.sa_handler = NoteSignal;
  action.sa_flags = SA_RESTART;
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(number, &action, nullptr);
}

bool IsTerminal(StandardStream stream) {
  return isatty(static_cast<int>(stream)) == 1;
}

void BinaryOutput() {}

void SetEnvironment(const char* name, const std::string& value) {
  setenv(name, value.c_str(), 1);
}

std::string ExecutablePath() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string();
}

uint32_t ProcessId() {
  return static_cast<uint32_t>(getpid());
}

std::string ProgramFileName(const std::string& stem) {
  return stem;
}

std::string LibraryFileName(const std::string& stem) {
  return "lib" + stem + ".so";
}

struct ChildProcess::State {
  pid_t id = -1;
  int output = -1;
  std::string pending;  // read but not yet handed out
  ~State() {
    if (output >= 0) close(output);
  }
};

std::unique_ptr<ChildProcess> ChildProcess::Start(const std::string& program,
                                                  const std::vector<std::string>& arguments,
                                                  std::string* error) {
  // Everything that allocates is done before the fork.
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  int ends[2];
  auto state = std::make_unique<State>();
  if (pipe2(ends, O_CLOEXEC) != 0) {
    *error = std::strerror(errno);
    return nullptr;
  }
  state->output = ends[0];
  const pid_t parent = getpid();
  state->id = fork();
  if (state->id == 0) {
    // A process group of its own keeps the terminal's Ctrl-C away.
    setpgid(0, 0);
    signal(SIGPIPE, SIG_DFL);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(126);
    dup2(ends[1], STDOUT_FILENO);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(ends[1]);
  if (state->id < 0) {
    *error = std::strerror(errno);
    return nullptr;
  }
  return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(state)));
}

ChildProcess::ChildProcess(std::unique_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
  using std::chrono::milliseconds;
  kill(state_->id, SIGTERM);
  for (int waited = 0; waited < 200; ++waited) {
    if (waitpid(state_->id, nullptr, WNOHANG) != 0) return;
    std::this_thread::sleep_for(milliseconds(10));
  }
  kill(state_->id, SIGKILL);
  waitpid(state_->id, nullptr, 0);
}

bool ChildProcess::ReadLine(uint32_t milliseconds, std::string* line) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    const size_t newline = state_->pending.find('\n');
    if (newline != std::string::npos) {
      *line = state_->pending.substr(0, newline);
      state_->pending.erase(0, newline + 1);
      return true;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting = {state_->output, POLLIN, 0};
    const int ready = poll(&waiting, 1, left > 0 ? static_cast<int>(left) : 0);
    if (ready < 0 && errno == EINTR) continue;
    char piece[512];
    const ssize_t got = ready > 0 ? read(state_->output, piece, sizeof piece) : 0;
    if (got <= 0) return false;
    state_->pending.append(piece, static_cast<size_t>(got));
  }
}

}  // namespace scanhost
