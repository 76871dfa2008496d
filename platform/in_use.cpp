#include "platform/in_use.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace scantk {
namespace {

// Null: the system's.
constinit std::atomic<Clock*> g_clock = nullptr;
constinit std::atomic<Network*> g_network = nullptr;

std::mutex g_version_mutex;
std::optional<OsVersion> g_version;

}  // namespace

Clock& TheClock() {
  Clock* const clock = g_clock.load(std::memory_order_acquire);
  return clock ? *clock : SystemClock();
}

void SetClock(Clock* clock) {
  g_clock.store(clock, std::memory_order_release);
}

Network& TheNetwork() {
  Network* const network = g_network.load(std::memory_order_acquire);
  return network ? *network : SystemNetwork();
}

void SetNetwork(Network* network) {
  g_network.store(network, std::memory_order_release);
}

OsVersion SystemVersion() {
  std::lock_guard<std::mutex> lock(g_version_mutex);
  return g_version ? *g_version : TrueSystemVersion();
}

void OverrideSystemVersion(const OsVersion* version) {
  std::lock_guard<std::mutex> lock(g_version_mutex);
  g_version = version ? std::optional<OsVersion>(*version) : std::nullopt;
}

}  // namespace scantk
