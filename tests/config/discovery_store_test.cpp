// The stand-in for the discovery component, by itself and behind rediscovery.
#include "platform/stand_ins/discovery_store.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fcntl.h>

#include <fstream>

#include "config/device_store.h"
#include "platform/discovery_interfaces.h"
#include "platform/stand_ins.h"
#include "tests/config/config_fixture.h"
#include "tests/doubles/virtual_clock.h"

namespace scantk {
namespace {

TEST(DiscoveryStore, ParsesWhatItUnderstands) {
  const auto devices = ParseDeviceStore(
      "# a comment\n\n"
      "guid={AB-1} mac=00:11:22:AA:bb:55 address=10.0.0.1\r\n"
      "  address=scanner.example \t mac=0011.2233.4466 colour=red # trailing guid=x\n"
      "address=10.0.0.3\n"
      "mac=00:11:22:33:44 guid= address=10.0.0.4\nmac=00:11:22:33:44:55:66\n"
      "guid=long address=" +
      std::string(80, 'a') + "\nguid=sly address=1\\port:2\n==== guid mac= guid=last address=9");
  const char* const expected[][3] = {{"ab-1", "001122aabb55", "10.0.0.1"},
                                     {"", "001122334466", "scanner.example"},
                                     {"long", "", ""},
                                     {"sly", "", ""},
                                     {"last", "", "9"}};
  ASSERT_EQ(std::size(expected), devices.size());
  for (size_t i = 0; i < devices.size(); ++i) {
    EXPECT_EQ(expected[i][0], devices[i].guid);
    EXPECT_EQ(expected[i][1], devices[i].mac);
    EXPECT_EQ(expected[i][2], devices[i].address);
  }
  std::string many;
  for (int i = 0; i < 20000; ++i) many += "guid=g\n";
  EXPECT_EQ(10000u, ParseDeviceStore(many).size());
}

constexpr char kNeighbours[] =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "10.0.0.7         0x1         0x0         00:11:22:33:44:77     *        eth0\n"
    "10.0.0.8         0x1         0x2         00:11:22:33:44:77     *        eth0\n"
    "short line\n"
    "10.0.0.9         0x1         0x6         00:11:22:33:44:99     *        eth0\n";

TEST(DiscoveryStore, FindsByEveryCriterionGiven) {
  const auto devices = ParseDeviceStore(
      "guid=one mac=001122334455 address=10.0.0.1\nguid=two mac=001122334477\nguid=three\n");
  const struct {
    const char *guid, *mac, *address;  // no address: not found
  } cases[] = {
      {"{ONE}", "", "10.0.0.1"},
      {"", "00:11:22:33:44:55", "10.0.0.1"},
      {"one", "00:11:22:33:44:55", "10.0.0.1"},
      {"two", "00:11:22:33:44:55", nullptr},
      {"two", "", "10.0.0.8"},  // the neighbour that has answered
      {"three", "", ""},        // known, but not where
      {"four", "", nullptr},
      {"", "00:11:22:33:44:99", "10.0.0.9"},  // only the kernel knows it
      {"one", "nonsense", nullptr},
      {"", "", nullptr},
  };
  for (const auto& c : cases) {
    StoredDevice found;
    EXPECT_EQ(c.address != nullptr, FindStoredDevice(devices, kNeighbours, c.guid, c.mac, &found));
    EXPECT_EQ(c.address ? c.address : "", found.address) << c.guid << " " << c.mac;
  }
}

class DiscoveryStandIn : public ConfigFixture {
 protected:
  DiscoveryStandIn() { RegisterPlatformStandIns(); }
  ~DiscoveryStandIn() override {
    for (const char* name : {"SCANTK_DEVICE_STORE", "SCANTK_SYSTEM_REGISTRY"}) unsetenv(name);
  }
  // The address of a device, or the failure in hex.
  static std::string Ask(const char* guid, const char* mac = "") {
    TraceLog trace;
    std::string address = "before";
    const uint32_t failure = AskDeviceStore(guid, mac, &address, trace);
    return failure == 0 ? address : failure == 0x80004005 ? "unknown" : "failed";
  }
  const std::string store_ = place_.File("devices.txt");  // beside the registry file
};

TEST_F(DiscoveryStandIn, KnowsTheFilesOfTheUserAndTheSystem) {
  EXPECT_EQ("unknown", Ask("{12}"));
  std::filesystem::create_directory(place_.File("etc"));
  setenv("SCANTK_SYSTEM_REGISTRY", place_.File("etc/registry.reg").c_str(), 1);
  std::ofstream(place_.File("etc/devices.txt")) << "guid=12 address=10.0.0.1\n";
  EXPECT_EQ("10.0.0.1", Ask("{12}"));
  std::ofstream(store_) << "guid=12 address=10.0.0.2\nmac=001122334455 address=10.0.0.3\n";
  EXPECT_EQ("10.0.0.2", Ask("{12}"));
  EXPECT_EQ("10.0.0.3", Ask("{13}", "00:11:22:33:44:55"));
  std::ofstream(place_.File("other.txt")) << "guid=13 address=10.0.0.4\n";
  setenv("SCANTK_DEVICE_STORE", place_.File("other.txt").c_str(), 1);
  EXPECT_EQ("10.0.0.4", Ask("{13}"));
  // A registered component takes the stand-in's place, though it cannot be loaded.
  const std::string server = "CLSID\\" + GuidText(CLSID_DiscoveryBroker) + "\\InprocServer32";
  RegistryKey key = Make(server, RegistryRoot::kClassesRoot);
  Set(key, "", place_.File("missing.so"));
  EXPECT_EQ("failed", Ask("{13}"));
}

TEST_F(DiscoveryStandIn, IsPendingWhileTheFileIsWritten) {
  std::ofstream(store_) << "guid=12 address=10.0.0.2\n";
  const int writer = open(store_.c_str(), O_RDWR);
  ASSERT_EQ(0, flock(writer, LOCK_EX));
  VirtualClock clock;
  EXPECT_EQ("10.0.0.2", Ask("12"));
  EXPECT_EQ(static_cast<uint32_t>(DeviceStoreLoader::kMaxTries), clock.sleeps);
  flock(writer, LOCK_UN);
  EXPECT_EQ("10.0.0.2", Ask("12"));
  EXPECT_EQ(static_cast<uint32_t>(DeviceStoreLoader::kMaxTries), clock.sleeps) << "no wait";
  close(writer);
}

}  // namespace
}  // namespace scantk
