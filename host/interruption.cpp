#include "host/interruption.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "host/console.h"

namespace scanhost {
namespace {

std::atomic<int> g_status{0};

struct Rescues {
  std::mutex mutex;
  bool counting = false;  // the line on the terminal is open
  std::vector<std::pair<const void*, std::function<void()>>> actions;
};
// Never destroyed: the other threads may outlive main.
Rescues& TheRescues() {
  static auto* rescues = new Rescues;
  return *rescues;
}

bool InUse() {
  const std::lock_guard lock(TheRescues().mutex);
  return !TheRescues().actions.empty();
}

// On a terminal the line counts the seconds for as long as the device takes.
void TellSeconds() {
  for (int seconds = 1; InUse(); ++seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const std::lock_guard lock(TheRescues().mutex);
    if (TheRescues().actions.empty()) return;
    std::fprintf(stderr, "\rcancelling at the device (%d s); press again to end at once ", seconds);
    TheRescues().counting = true;
  }
}

void React(int status) {
  int none = 0;
  if (g_status.compare_exchange_strong(none, status)) {
    if (!InUse()) return;
    std::fprintf(stderr, "\ncancelling at the device; press again to end at once\n");
    if (IsTerminal(StandardStream::kError)) std::thread(TellSeconds).detach();
    return;
  }
  const std::lock_guard lock(TheRescues().mutex);
  auto& actions = TheRescues().actions;
  for (auto action = actions.rbegin(); action != actions.rend(); ++action)
    if (action->second) action->second();
  if (!actions.empty())
    std::fprintf(
        stderr,
        "\nscanhost: ended at once; the device is left to free itself, which its lock does "
        "after a while\n");
  std::_Exit(g_status);
}

}  // namespace

void Interruption::Watch() {
  WatchSignals(React);
}

int Interruption::Status() {
  return g_status;
}

void Interruption::ThrowIfAsked() {
  if (const int status = Status()) throw Interrupted{status};
}

void Interruption::EndLine() {
  const std::lock_guard lock(TheRescues().mutex);
  if (TheRescues().counting) std::fputc('\n', stderr);
  TheRescues().counting = false;
}

Interruption::Guard::Guard(std::function<void()> rescue) {
  const std::lock_guard lock(TheRescues().mutex);
  TheRescues().actions.emplace_back(this, std::move(rescue));
}

Interruption::Guard::~Guard() {
  const std::lock_guard lock(TheRescues().mutex);
  std::erase_if(TheRescues().actions, [this](const auto& entry) { return entry.first == this; });
}

}  // namespace scanhost
