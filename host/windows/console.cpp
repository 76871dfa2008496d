#include "host/console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>

namespace scanhost {
namespace {

void (*g_reaction)(int status) = nullptr;

// Called on a thread of its own. After a request other than Ctrl-C the system waits for the answer,
// and ends the process.
BOOL WINAPI NoteInterrupt(DWORD kind) {
  g_reaction(kind == CTRL_C_EVENT || kind == CTRL_BREAK_EVENT ? 130 : 143);
  if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// One argument as the C runtime of the child takes it apart again.
std::string Quoted(const std::string& argument) {
  std::string text = "\"";
  size_t backslashes = 0;
  for (char c : argument) {
    if (c == '"') text.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  text.append(backslashes, '\\');
  return text + '"';
}

}  // namespace

void WatchSignals(void (*reaction)(int status)) {
  g_reaction = reaction;
  SetConsoleCtrlHandler(NoteInterrupt, TRUE);
}

bool IsTerminal(StandardStream stream) {
  return _isatty(_fileno(stream == StandardStream::kOutput ? stdout : stderr)) != 0;
}

void BinaryOutput() {
  std::fflush(stdout);
  _setmode(_fileno(stdout), _O_BINARY);
}

void SetEnvironment(const char* name, const std::string& value) {
  SetEnvironmentVariableA(name, value.c_str());
}

std::string ExecutablePath() {
  char path[MAX_PATH];
  const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
  return length < sizeof path ? std::string(path, length) : std::string();
}

uint32_t ProcessId() {
  return GetCurrentProcessId();
}

std::string ProgramFileName(const std::string& stem) {
  return stem + ".exe";
}

std::string LibraryFileName(const std::string& stem) {
  return stem + ".dll";
}

struct ChildProcess::State {
  Handle process;
  Handle output;
  std::string pending;  // read but not yet handed out
};

std::unique_ptr<ChildProcess> ChildProcess::Start(const std::string& program,
                                                  const std::vector<std::string>& arguments,
                                                  std::string* error) {
  std::string line = Quoted(program);
  for (const std::string& argument : arguments) line += " " + Quoted(argument);
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  auto state = std::make_unique<State>();
  STARTUPINFOA start = {};
  PROCESS_INFORMATION made = {};
  BOOL done = CreatePipe(&read_end, &write_end, &inherit, 0);
  if (done) {
    state->output.reset(read_end);
    Handle child_end(write_end);
    SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = write_end;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    done = CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                          CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &start, &made);
  }
  if (!done) {
    *error = "error " + std::to_string(GetLastError());
    return nullptr;
  }
  CloseHandle(made.hThread);
  state->process.reset(made.hProcess);
  return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(state)));
}

ChildProcess::ChildProcess(std::unique_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
  TerminateProcess(state_->process.get(), 1);
  WaitForSingleObject(state_->process.get(), 2000);
}

bool ChildProcess::ReadLine(uint32_t milliseconds, std::string* line) {
  const ULONGLONG end = GetTickCount64() + milliseconds;
  for (;;) {
    const size_t newline = state_->pending.find('\n');
    if (newline != std::string::npos) {
      *line = state_->pending.substr(0, newline);
      if (!line->empty() && line->back() == '\r') line->pop_back();
      state_->pending.erase(0, newline + 1);
      return true;
    }
    DWORD waiting = 0;
    if (!PeekNamedPipe(state_->output.get(), nullptr, 0, nullptr, &waiting, nullptr)) return false;
    if (waiting == 0) {
      if (GetTickCount64() >= end) return false;
      Sleep(10);
      continue;
    }
    char piece[512];
    DWORD got = 0;
    if (!ReadFile(state_->output.get(), piece, sizeof piece, &got, nullptr) || got == 0)
      return false;
    state_->pending.append(piece, got);
  }
}

}  // namespace scanhost
