// A log collector that keeps what it is given.
#ifndef SCANTK_TESTS_DIAG_TEST_COLLECTOR_H_
#define SCANTK_TESTS_DIAG_TEST_COLLECTOR_H_

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "diag/log_collector.h"

namespace scantk {

class TestCollector final : public ILogCollector {
 public:
  struct Call {
    uint32_t process;
    std::string text;
    uint32_t length;
  };

  // The factory of its built-in class; there is one object.
  static HRESULT Create(const GUID& iid, void** object) {
    return Instance().QueryInterface(iid, object);
  }
  static TestCollector& Instance() {
    static TestCollector collector;
    return collector;
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_ILogCollector || iid == IID_IUnknown ? this : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  HRESULT STDMETHODCALLTYPE Reserved3() override {
    ADD_FAILURE() << "the first method is not the toolkit's";
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE WriteLine(uint32_t process, const char* text,
                                      uint32_t length) override {
    std::lock_guard lock(mutex_);
    calls_.push_back({process, text, length});
    return S_OK;
  }

  std::vector<Call> TakeCalls() {
    std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
  }

  std::atomic<ULONG> references = 0;

 private:
  std::mutex mutex_;
  std::vector<Call> calls_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_DIAG_TEST_COLLECTOR_H_
