// A thread that waits for files and serves them.
#ifndef SCANTK_SIMULATOR_SERVICE_H_
#define SCANTK_SIMULATOR_SERVICE_H_

#include <atomic>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "simulator/sockets.h"

namespace scantk::sim {

class Service {
 public:
  virtual ~Service() = default;
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

 protected:
  // `mutex` guards what the thread and others touch; it is free while the thread waits.
  explicit Service(std::mutex& mutex) : mutex_(mutex) {}

  // Between the two the thread calls what follows; a derived class is whole all the while.
  void StartThread();
  void StopThread();
  // Makes the thread look again.
  void Wake() { waker_.Wake(); }

  // Puts what is to be waited for into `watched` and returns the longest wait in milliseconds, -1
  // for none. Called with the mutex held.
  virtual int Watch(std::vector<Watched>* watched) = 0;
  // What came of it, in the same order. Called with the mutex held.
  virtual void Serve(std::span<const Watched> watched) = 0;

 private:
  void Run();

  std::mutex& mutex_;
  Waker waker_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_SERVICE_H_
