// Names of network devices and the addresses in them.
//
// Input: the name.
#include <cctype>
#include <cstring>

#include "fuzz/fuzz_input.h"
#include "io/network_name.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

template <size_t kSize>
void RequireText(const char (&text)[kSize]) {
  const char* end = std::find(std::begin(text), std::end(text), '\0');
  Require(end != std::end(text), "a text is terminated");
  Require(std::all_of(end, std::end(text), [](char c) { return c == '\0'; }),
          "there is nothing behind a text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name(data, data + size);
  const std::vector<char> text = Terminated(name);
  NetworkDeviceId id;
  std::memset(&id, 0x5A, sizeof id);
  const int32_t result = ParseNetworkDeviceName(text.data(), &id);
  Require((result != 0) == (text[0] == '\0'), "every name but the empty one is taken apart");
  if (result != 0) return 0;
  RequireText(id.host);
  RequireText(id.macaddr);
  RequireText(id.guid);
  ScanPort(id.port);

  const std::vector<char> host = Terminated(id.host);
  const HostAddressKind kind = ClassifyHostAddress(host.data());
  if (kind == HostAddressKind::kDotted) {
    Require(std::count(host.begin(), host.end(), '.') == 3, "four numbers have three dots");
  }
  // A port in a name of our own making comes back, whatever the rest is.
  std::vector<char> with_port = Terminated("\\guid:x\\port:" + std::to_string(id.port));
  NetworkDeviceId again;
  Require(ParseNetworkDeviceName(with_port.data(), &again) == 0 && again.port == id.port,
          "a port is read back");
  return 0;
}
