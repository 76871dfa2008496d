#include "simulator/service.h"

namespace scantk::sim {

void Service::StartThread() {
  thread_ = std::thread([this] { Run(); });
}

void Service::StopThread() {
  stop_ = true;
  Wake();
  if (thread_.joinable()) thread_.join();
}

void Service::Run() {
  std::vector<Watched> watched;
  while (!stop_) {
    int wait = -1;
    watched.assign({{.file = waker_.file(), .reads = true}});
    {
      std::lock_guard guard(mutex_);
      wait = Watch(&watched);
    }
    WaitFor(watched, wait);
    std::lock_guard guard(mutex_);
    waker_.Clear();
    Serve(std::span(watched).subspan(1));
  }
}

}  // namespace scantk::sim
