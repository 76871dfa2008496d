// A thread that has entered an apartment.
#ifndef SCANTK_TESTS_WINDOWS_COM_THREAD_H_
#define SCANTK_TESTS_WINDOWS_COM_THREAD_H_

#include <objbase.h>

#include <thread>

namespace scantk::test {

// Runs `body` on a thread of its own in an apartment of the kind `apartment`.
template <class Body>
void InApartment(COINIT apartment, const Body& body) {
  std::thread([&] {
    CoInitializeEx(nullptr, apartment);
    body();
    CoUninitialize();
  }).join();
}

}  // namespace scantk::test

#endif  // SCANTK_TESTS_WINDOWS_COM_THREAD_H_
