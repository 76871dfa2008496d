// Another process for the platform tests: holds a semaphore or writes values until told to end.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/clock.h"
#include "platform/registry.h"
#include "platform/semaphore.h"
#include "platform/system.h"

namespace {

using namespace scantk;

int Say(const char* word) {
  std::printf("%s\n", word);
  std::fflush(stdout);
  return 0;
}

// Takes the semaphore, says "held", and keeps it until the process is ended.
int Hold(const std::string& name) {
  NamedSemaphore semaphore = NamedSemaphore::CreateOrOpen(name, nullptr);
  if (semaphore.Wait(10000) != WaitResult::kSignalled) return Say("not held");
  Say("held");
  for (;;) TheClock().Sleep(1000);
}

// Adds one to the number in a file, `count` times, each time under the semaphore.
int Count(const std::string& name, const char* path, int count) {
  NamedSemaphore semaphore = NamedSemaphore::CreateOrOpen(name, nullptr);
  for (int i = 0; i < count; ++i) {
    if (semaphore.Wait(kWaitForever) != WaitResult::kSignalled) return Say("failed");
    int number = 0;
    if (std::FILE* file = std::fopen(path, "r")) {
      if (std::fscanf(file, "%d", &number) != 1) number = -1000000;
      std::fclose(file);
    }
    if (std::FILE* file = std::fopen(path, "w")) {
      std::fprintf(file, "%d", number + 1);
      std::fclose(file);
    }
    if (!semaphore.Release()) return Say("failed");
  }
  return Say("done");
}

// Writes `count` values with names of their own under one key of the current user.
int Write(const std::string& path, const std::string& prefix, int count) {
  RegistryKey key;
  if (RegistryKey::Create(RegistryRoot::kCurrentUser, path, &key, nullptr)) return Say("failed");
  for (int i = 0; i < count; ++i) {
    if (key.SetDword(prefix + std::to_string(i), static_cast<uint32_t>(i))) return Say("failed");
    if (i == 0) Say("writing");
  }
  return Say("done");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string verb = count > 2 ? arguments[1] : "";
  if (verb == "hold") return Hold(arguments[2]);
  if (verb == "count" && count > 4)
    return Count(arguments[2], arguments[3], std::atoi(arguments[4]));
  if (verb == "write" && count > 4)
    return Write(arguments[2], arguments[3], std::atoi(arguments[4]));
  return 2;
}
