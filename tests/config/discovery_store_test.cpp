// The stand-in for the discovery component, by itself and behind rediscovery.
#include "platform/stand_ins/discovery_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>

#include "config/device_store.h"
#include "platform/stand_ins.h"
#include "tests/config/config_fixture.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

constexpr char kNeighbours[] =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "10.0.0.7         0x1         0x0         00:11:22:33:44:77     *        eth0\n"
    "10.0.0.8         0x1         0x2         00:11:22:33:44:77     *        eth0\n"
    "short line\n"
    "10.0.0.9         0x1         0x6         00:11:22:33:44:99     *        eth0\n";

// Catches a line that is misread, and a device that is found by half of what was asked.
TEST(DiscoveryStore, FindsByEveryCriterionGiven) {
  const auto devices = ParseDeviceStore(
      "# a comment\n\n"
      "guid={ONE} mac=00:11:22:33:44:55 address=10.0.0.1\r\n"
      "  colour=red \t mac=0011.2233.4477 guid=two # trailing guid=x\n"
      "address=10.0.0.3\nmac=00:11:22:33:44 guid= address=10.0.0.4\n"
      "mac=00:11:22:33:44:55:66\nguid=sly address=1\\port:2\n"
      "guid=long address=" +
      std::string(80, 'a') + "\n==== guid mac= guid=last address=9");
  EXPECT_EQ(5u, devices.size());
  const struct {
    const char *guid, *mac, *address;  // no address: not found
  } cases[] = {
      {"one", "", "10.0.0.1"},
      {"", "00:11:22:33:44:55", "10.0.0.1"},
      {"{One}", "00:11:22:33:44:55", "10.0.0.1"},
      {"two", "00:11:22:33:44:55", nullptr},
      {"two", "", "10.0.0.8"},  // the neighbour that has answered
      {"last", "", "9"},
      {"long", "", ""},  // known, but not where
      {"sly", "", ""},
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
  std::string many;
  for (int i = 0; i < 20000; ++i) many += "guid=g\n";
  EXPECT_EQ(10000u, ParseDeviceStore(many).size());
}

class DiscoveryStandIn : public ConfigFixture {
 protected:
  DiscoveryStandIn() { RegisterPlatformStandIns(); }
  ~DiscoveryStandIn() override {
    for (const char* name : {"SCANTK_DEVICE_STORE", "SCANTK_SYSTEM_REGISTRY"}) unsetenv(name);
  }
  static std::string Ask(const char* guid) {
    TraceLog trace;
    std::string address = "before";
    return AskDeviceStore(guid, "", &address, trace) == 0 ? address : "unknown";
  }
  const std::string store_ = place_.File("devices.txt");  // beside the registry file
};

TEST_F(DiscoveryStandIn, KnowsTheFilesOfTheUserAndTheSystem) {
  EXPECT_EQ("unknown", Ask("{12}"));
  std::filesystem::create_directory(place_.File("etc"));
  setenv("SCANTK_SYSTEM_REGISTRY", place_.File("etc/registry.reg").c_str(), 1);
  std::ofstream(place_.File("etc/devices.txt")) << "guid=12 address=10.0.0.1\n";
  EXPECT_EQ("10.0.0.1", Ask("{12}"));
  std::ofstream(store_) << "guid=12 address=10.0.0.2\n";
  EXPECT_EQ("10.0.0.2", Ask("{12}"));
  std::ofstream(place_.File("other.txt")) << "guid=13 address=10.0.0.4\n";
  setenv("SCANTK_DEVICE_STORE", place_.File("other.txt").c_str(), 1);
  EXPECT_EQ("10.0.0.4", Ask("{13}"));
}

TEST_F(DiscoveryStandIn, IsPendingWhileTheFileIsWritten) {
  std::ofstream(store_) << "guid=12 address=10.0.0.2\n";
  const int writer = open(store_.c_str(), O_RDWR);
  ASSERT_EQ(0, flock(writer, LOCK_EX));
  TestClock clock;
  EXPECT_EQ("10.0.0.2", Ask("12"));
  const size_t tries = clock.sleeps.size();
  EXPECT_EQ(DeviceStoreLoader::kMaxTries, static_cast<int>(tries));
  close(writer);
  EXPECT_EQ("10.0.0.2", Ask("12"));
  EXPECT_EQ(tries, clock.sleeps.size()) << "no wait";
}

}  // namespace
}  // namespace scantk
