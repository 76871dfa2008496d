#include "tests/contract/toolkit.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "platform/component.h"
#include "platform/system.h"
#include "tests/diag/test_place.h"

namespace scantk::test {
namespace {

constexpr char kTraceKey[] =
    "Software\\Orvane\\Lumora\\Velkan\\{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37}";

RegistryKey MachineKey(const std::string& path) {
  RegistryKey key;
  EXPECT_EQ(0u, RegistryKey::Create(RegistryRoot::kLocalMachine, path, &key, nullptr)) << path;
  return key;
}

void SetText(RegistryKey& key, const char* name, const std::string& text) {
  EXPECT_EQ(0u, key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size()) + 1));
}

}  // namespace

// One file for the process: the toolkit's own trace log keeps the path that it began with.
std::string Sandbox::TracePath() {
  return (std::filesystem::temp_directory_path() /
          ("scantk-test-" + std::to_string(ProcessId()) + ".log"))
      .string();
}

Sandbox::Sandbox() {
  static int count = 0;
  InitializeComponents();
  folder_ = (std::filesystem::temp_directory_path() /
             ("scantk-test-" + std::to_string(ProcessId()) + "-" + std::to_string(count++)))
                .string();
  std::filesystem::create_directories(folder_);
  registry_ = std::make_unique<OwnRegistry>(folder_);
  MachineKey(kImagingClassPath);
}

Sandbox::~Sandbox() {
  registry_.reset();
  ClearTrace();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
  UninitializeComponents();
}

RegistryKey Sandbox::AddDevice(const std::string& name, const std::string& path, uint32_t io_type) {
  char key[8];
  std::snprintf(key, sizeof key, "\\%04d", static_cast<int>(devices_.size()));
  const std::string instance = kImagingClassPath + std::string(key);
  RegistryKey description = MachineKey(instance);
  SetText(description, "DriverDesc", "A scanner of the tests");
  if (!path.empty()) SetText(description, "CreateFileName", path);
  devices_[name] = instance + "\\DeviceData";
  RegistryKey data = MachineKey(devices_[name]);
  data.SetDword("VelkanIOType", io_type);
  return data;
}

std::string Sandbox::AddNetworkDevice(const std::string& address) {
  std::string name =
      "test scanner " + std::to_string(devices_.size()) + " " + std::to_string(ProcessId());
  RegistryKey data = AddDevice(name, "", T_IO_NETWORK);
  SetText(data, "NetworkDeviceID", name);
  SetText(data, "StaticIP", address);
  SetText(data, "PortNumber", "1");
  return name;
}

std::string Sandbox::AddAttachedDevice(const std::string& path, uint32_t io_type) {
  AddDevice(path, path, io_type);
  return path;
}

void Sandbox::SetDeviceValue(const std::string& device, const std::string& name, uint32_t value) {
  MachineKey(devices_.at(device)).SetDword(name, value);
}

void Sandbox::SetDeviceText(const std::string& device, const std::string& name,
                            const std::string& text) {
  RegistryKey key = MachineKey(devices_.at(device));
  SetText(key, name.c_str(), text);
}

std::string Sandbox::DeviceText(const std::string& device, const std::string& name) const {
  char text[512] = {};
  uint32_t size = sizeof text - 1;
  RegistryType type;
  MachineKey(devices_.at(device)).QueryValue(name, &type, text, &size);
  return text;
}

void Sandbox::SwitchTraceOn(uint32_t level, uint32_t destination) {
  RegistryKey key = MachineKey(kTraceKey);
  key.SetDword("LogEnabled", 1);
  key.SetDword("LogLevel", level);
  key.SetDword("LogDestination", destination);
  SetText(key, "LogFile", TracePath());
}

std::vector<std::string> Sandbox::TraceLines() const {
  std::vector<std::string> lines;
  for (const std::string& line : scantk::TraceLines(TracePath())) {
    const size_t start = line.find_first_not_of(' ');
    if (start != std::string::npos) lines.push_back(line.substr(start));
  }
  return lines;
}

void Sandbox::ClearTrace() {
  std::filesystem::remove(TracePath());
}

std::basic_string<WideChar> Wide(const std::string& text) {
  const std::u16string wide = Utf16(text);
  return {wide.begin(), wide.end()};
}

namespace {

ComPtr<IScanner> MakeScanner(const std::string& library) {
  ComPtr<IScanner> scanner;
  EXPECT_EQ(S_OK, CreateComponentFrom(library, CLSID_scanner, IID_IScanner, scanner.OutVoid()));
  if (!scanner) throw std::runtime_error("the library makes no scanner object");
  return scanner;
}

}  // namespace

Toolkit::Toolkit(const std::string& library) : Toolkit(MakeScanner(library)) {}

Toolkit::Toolkit(const ComPtr<IScanner>& object) : scanner(object) {
  if (!scanner) return;
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IADF3, feeder.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_ICompression, compression.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IHWProperty, properties.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IControlPanel, panel.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IReserve, reserve.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_ISPF, spf.OutVoid()));
}

SCANNER_PARAMETERS PageParameters(uint32_t mode, uint16_t dpi, const PageArea& area) {
  SCANNER_PARAMETERS page = {};
  page.dwLeft = area.left;
  page.dwTop = area.top;
  page.dwWidth = area.width;
  page.dwLength = area.length;
  page.dwScanMode = mode;
  page.byBitsPerChannel = mode == T_BW ? 1 : 8;
  page.wXResolution = page.wYResolution = dpi;
  page.wGreyChannel = T_GREY_NTSC;
  return page;
}

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << "0x" << std::hex << static_cast<uint32_t>(outcome.result) << std::dec << " "
             << ToolkitErrorText(outcome.code) << " (" << outcome.code << ")";
}

}  // namespace scantk::test
