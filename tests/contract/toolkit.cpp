#include "tests/contract/toolkit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/component.h"
#include "platform/system.h"

namespace scantk::test {
namespace {

constexpr char kClassKey[] =
    "HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Class\\"
    "{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";
constexpr char kTraceKey[] =
    "HKEY_LOCAL_MACHINE\\Software\\Orvane\\Lumora\\Velkan\\"
    "{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37}";

std::string Number(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "dword:%08x", value);
  return text;
}

// One file for the process: the toolkit's own trace log keeps the path that it began with.
std::string TracePath() {
  return (std::filesystem::temp_directory_path() /
          ("scantk-test-" + std::to_string(ProcessId()) + ".log"))
      .string();
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

Sandbox::Sandbox() {
  static int count = 0;
  folder_ = (std::filesystem::temp_directory_path() /
             ("scantk-test-" + std::to_string(ProcessId()) + "-" + std::to_string(count++)))
                .string();
  std::filesystem::create_directories(folder_);
  setenv("SCANTK_REGISTRY", (folder_ + "/registry.reg").c_str(), 1);
  WriteRegistry();
}

Sandbox::~Sandbox() {
  unsetenv("SCANTK_REGISTRY");
  ClearTrace();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void Sandbox::WriteRegistry() {
  std::ofstream file(folder_ + "/registry.reg", std::ios::binary);
  file << "Windows Registry Editor Version 5.00\n";
  for (const std::string& section : sections_) file << "\n" << section;
}

std::string Sandbox::AddNetworkDevice(const std::string& address, int port_number) {
  char key[8];
  std::snprintf(key, sizeof key, "%04d", devices_++);
  const std::string name = "test scanner " + std::string(key) + " " + std::to_string(ProcessId());
  std::ostringstream section;
  section << "[" << kClassKey << "\\" << key << "]\n"
          << "\"DriverDesc\"=\"A scanner of the tests\"\n\n"
          << "[" << kClassKey << "\\" << key << "\\DeviceData]\n"
          << "\"VelkanIOType\"=" << Number(T_IO_NETWORK) << "\n"
          << "\"NetworkDeviceID\"=\"" << name << "\"\n"
          << "\"StaticIP\"=\"" << address << "\"\n"
          << "\"PortNumber\"=\"" << port_number << "\"\n";
  sections_.push_back(section.str());
  WriteRegistry();
  return name;
}

void Sandbox::SetDeviceValue(const std::string& device, const std::string& name, uint32_t value) {
  for (std::string& section : sections_)
    if (section.find("\"" + device + "\"") != std::string::npos)
      section += "\"" + name + "\"=" + Number(value) + "\n";
  WriteRegistry();
}

void Sandbox::SwitchTraceOn(uint32_t level) {
  std::ostringstream section;
  section << "[" << kTraceKey << "]\n"
          << "\"LogEnabled\"=" << Number(1) << "\n\"LogLevel\"=" << Number(level)
          << "\n\"LogDestination\"=" << Number(1) << "\n\"LogFile\"=\"" << TracePath()
          << "\"\n";
  sections_.push_back(section.str());
  WriteRegistry();
}

std::string Sandbox::Trace() const {
  return ReadFile(TracePath());
}

std::vector<std::string> Sandbox::TraceLines() const {
  std::istringstream text(Trace());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t start = line.find_first_not_of(' ');
    if (start != std::string::npos) lines.push_back(line.substr(start));
  }
  return lines;
}

void Sandbox::ClearTrace() {
  std::filesystem::remove(TracePath());
}

std::string LibraryPath() {
  return SCANTK_LIBRARY_PATH;
}

std::basic_string<WideChar> Wide(const std::string& text) {
  const std::u16string wide = Utf16(text);
  return {wide.begin(), wide.end()};
}

Toolkit::Toolkit(const std::string& library) {
  EXPECT_EQ(S_OK, CreateComponentFrom(library, CLSID_scanner, IID_IScanner, scanner.OutVoid()));
  if (!scanner) throw std::runtime_error("the library makes no scanner object");
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IADF3, feeder.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_ICompression, compression.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IHWProperty, properties.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IControlPanel, panel.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_IReserve, reserve.OutVoid()));
  EXPECT_EQ(S_OK, scanner->QueryInterface(IID_ISPF, spf.OutVoid()));
}

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << "0x" << std::hex << static_cast<uint32_t>(outcome.result) << std::dec << " "
             << ToolkitErrorText(outcome.code) << " (" << outcome.code << ")";
}

}  // namespace scantk::test
