#include "platform/stand_ins/discovery_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>

#include "platform/posix/environment.h"
#include "platform/posix/file.h"
#include "platform/stand_ins/registry_places.h"

namespace scantk {
namespace {

constexpr size_t kMaxDevices = 10000;
constexpr size_t kMaxIdentity = 79;  // characters of a GUID or an address
constexpr std::string_view kBlanks = " \t\r";
constexpr size_t kMaxFile = 1 << 20;  // bytes of the device-store file that are read

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Takes the text up to the next of `ends` off the front of `text`, and that character with it.
std::string_view TakeUntil(std::string_view* text, std::string_view ends) {
  const size_t length = std::min(text->find_first_of(ends), text->size());
  const std::string_view taken = text->substr(0, length);
  text->remove_prefix(std::min(length + 1, text->size()));
  return taken;
}

// The next word of a line, or empty at its end.
std::string_view TakeWord(std::string_view* line) {
  line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
  return TakeUntil(line, kBlanks);
}

bool IsPlainText(std::string_view text) {
  return text.size() <= kMaxIdentity && std::all_of(text.begin(), text.end(), [](char c) {
           return c > ' ' && c < '\x7f' && c != '\\';
         });
}

StoredDevice ParseLine(std::string_view line) {
  StoredDevice device;
  line = line.substr(0, line.find('#'));
  for (std::string_view word = TakeWord(&line); !word.empty(); word = TakeWord(&line)) {
    const std::string_view name = TakeUntil(&word, "=");
    if (!IsPlainText(word)) continue;
    if (name == "guid")
      device.guid = NormalGuid(word);
    else if (name == "mac")
      device.mac = NormalMac(word);
    else if (name == "address")
      device.address = word;
  }
  return device;
}

std::string ReadAll(int file) {
  std::string text;
  char piece[4096];
  while (text.size() < kMaxFile) {
    const ssize_t got = Uninterrupted([&] { return read(file, piece, sizeof piece); });
    if (got <= 0) break;
    text.append(piece, static_cast<size_t>(got));
  }
  return text;
}

}  // namespace

std::string NormalMac(std::string_view text) {
  std::string mac;
  for (char c : text) {
    c = Lower(c);
    if (c == ':' || c == '-' || c == '.') continue;
    const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
    if (!hex || mac.size() == 12) return {};
    mac += c;
  }
  return mac.size() == 12 ? mac : std::string();
}

std::string NormalGuid(std::string_view text) {
  if (text.size() >= 2 && text.front() == '{' && text.back() == '}')
    text = text.substr(1, text.size() - 2);
  std::string guid(text);
  std::transform(guid.begin(), guid.end(), guid.begin(), Lower);
  return guid;
}

std::vector<StoredDevice> ParseDeviceStore(std::string_view text) {
  std::vector<StoredDevice> devices;
  while (!text.empty() && devices.size() < kMaxDevices) {
    StoredDevice device = ParseLine(TakeUntil(&text, "\n"));
    if (!device.guid.empty() || !device.mac.empty()) devices.push_back(std::move(device));
  }
  return devices;
}

std::string ReadNeighbourTable() {
  const File file(open("/proc/net/arp", O_RDONLY | O_CLOEXEC));
  return file ? ReadAll(file.Get()) : std::string();
}

std::string NeighbourAddress(std::string_view table, std::string_view mac) {
  if (mac.empty()) return {};
  TakeUntil(&table, "\n");  // the headings
  while (!table.empty()) {
    std::string_view line = TakeUntil(&table, "\n");
    const std::string_view address = TakeWord(&line);
    TakeWord(&line);  // the kind of hardware
    std::string_view flags = TakeWord(&line);
    if (NormalMac(TakeWord(&line)) != mac || !IsPlainText(address)) continue;
    unsigned bits = 0;
    if (flags.substr(0, 2) == "0x") flags.remove_prefix(2);
    std::from_chars(flags.data(), flags.data() + flags.size(), bits, 16);
    constexpr unsigned kComplete = 2;  // the neighbour has answered
    if (bits & kComplete) return std::string(address);
  }
  return {};
}

std::string DeviceStorePath() {
  if (const char* named = Environment("SCANTK_DEVICE_STORE")) return named;
  std::string path;
  for (const std::string& registry : {UserRegistryPath(), SystemRegistryPath()}) {
    path = registry.substr(0, registry.rfind('/') + 1) + "devices.txt";
    if (access(path.c_str(), F_OK) == 0) break;
  }
  return path;
}

bool DeviceStoreLoader::Load(std::vector<StoredDevice>* devices) {
  devices->clear();
  const File file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return true;
  const bool being_written = flock(file.Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (being_written && ++tries_ <= kMaxTries) return false;
  *devices = ParseDeviceStore(ReadAll(file.Get()));
  return true;
}

bool FindStoredDevice(const std::vector<StoredDevice>& devices, std::string_view neighbours,
                      std::string_view guid, std::string_view mac, StoredDevice* found) {
  const std::string wanted_guid = NormalGuid(guid);
  const std::string wanted_mac = NormalMac(mac);
  if (wanted_guid.empty() && wanted_mac.empty()) return false;
  if (!mac.empty() && wanted_mac.empty()) return false;
  const auto matches = [&](const StoredDevice& d) {
    return (wanted_guid.empty() || d.guid == wanted_guid) &&
           (wanted_mac.empty() || d.mac == wanted_mac);
  };
  const auto it = std::find_if(devices.begin(), devices.end(), matches);
  if (it != devices.end()) {
    *found = *it;
    if (found->address.empty()) found->address = NeighbourAddress(neighbours, found->mac);
    return true;
  }
  if (!wanted_guid.empty()) return false;
  *found = {"", wanted_mac, NeighbourAddress(neighbours, wanted_mac)};
  return !found->address.empty();
}

}  // namespace scantk
