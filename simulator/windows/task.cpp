#include "simulator/task.h"

#include <process.h>
#include <windows.h>

#include <stdexcept>

namespace scantk::sim {
namespace {

HANDLE ended = nullptr;  // set by Ctrl-C and its like, and never closed

BOOL WINAPI OnEnd(DWORD) {
  SetEvent(ended);
  return TRUE;
}

}  // namespace

struct Task::Ends {};

Task::Task(const std::vector<std::string>& command) : command_(command) {
  ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(OnEnd, TRUE);
}

Task::~Task() = default;

int Task::Run() {
  if (command_.empty()) {
    WaitForSingleObject(ended, INFINITE);
    return 0;
  }
  std::vector<const char*> words;
  for (const std::string& word : command_) words.push_back(word.c_str());
  words.push_back(nullptr);
  const intptr_t status = _spawnvp(_P_WAIT, words[0], words.data());
  if (status == -1) throw std::runtime_error("cannot start " + command_[0]);
  return static_cast<int>(status);
}

}  // namespace scantk::sim
