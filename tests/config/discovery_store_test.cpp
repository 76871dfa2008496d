// The stand-in for the discovery component, by itself and behind rediscovery.
#include "platform/posix/discovery_store.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fcntl.h>

#include <fstream>

#include "config/rediscovery.h"
#include "platform/stand_ins.h"
#include "tests/config/config_fixture.h"
#include "tests/config/fake_discovery.h"

namespace scantk {
namespace {

TEST(DiscoveryStore, NormalForms) {
  EXPECT_EQ("001122aabbcc", NormalMac("00:11:22:AA:bb:CC"));
  EXPECT_EQ("001122aabbcc", NormalMac("0011.22aa.bbcc"));
  EXPECT_EQ("001122aabbcc", NormalMac("00-11-22-aa-bb-cc"));
  for (const char* bad : {"", "00:11:22:aa:bb", "00:11:22:aa:bb:cc:dd", "0g1122aabbcc", "*"})
    EXPECT_EQ("", NormalMac(bad)) << bad;
  EXPECT_EQ("aa-bb", NormalGuid("{AA-bb}"));
  EXPECT_EQ("aa-bb", NormalGuid("aa-BB"));
  EXPECT_EQ("{", NormalGuid("{"));
}

TEST(DiscoveryStore, ParsesWhatItUnderstands) {
  const auto devices = ParseDeviceStore(
      "# a comment\n"
      "\n"
      "guid={AB-1} mac=00:11:22:33:44:55 address=10.0.0.1\r\n"
      "  address=scanner.example \t mac=00-11-22-33-44-66 colour=red # trailing guid=x\n"
      "address=10.0.0.3\n"
      "mac=nonsense guid= address=10.0.0.4\n"
      "guid=long address=" +
      std::string(80, 'a') +
      "\n"
      "guid=sly address=1\\port:2\n"
      "==== guid mac= guid=last address=10.0.0.9");
  ASSERT_EQ(5u, devices.size());
  EXPECT_EQ("ab-1", devices[0].guid);
  EXPECT_EQ("001122334455", devices[0].mac);
  EXPECT_EQ("10.0.0.1", devices[0].address);
  EXPECT_EQ("", devices[1].guid);
  EXPECT_EQ("scanner.example", devices[1].address);
  EXPECT_EQ("", devices[2].address);
  EXPECT_EQ("", devices[3].address);
  EXPECT_EQ("last", devices[4].guid);
  EXPECT_EQ("10.0.0.9", devices[4].address);
  // Any bytes at all, cut anywhere.
  std::string noise = "guid={AB} mac=00:11:22:33:44:55 address=1.2.3.4\n\0\xFF=\xFE # \r\n==";
  for (size_t length = 0; length <= noise.size(); ++length)
    EXPECT_LE(ParseDeviceStore(std::string_view(noise).substr(0, length)).size(), 1u);
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
      "guid=one mac=001122334455 address=10.0.0.1\n"
      "guid=two mac=001122334477\n"
      "guid=three\n");
  const struct {
    const char *guid, *mac;
    bool found;
    const char* address;
  } cases[] = {
      {"{ONE}", "", true, "10.0.0.1"},
      {"", "00:11:22:33:44:55", true, "10.0.0.1"},
      {"one", "00:11:22:33:44:55", true, "10.0.0.1"},
      {"two", "00:11:22:33:44:55", false, ""},
      {"two", "", true, "10.0.0.8"},  // the neighbour that has answered
      {"three", "", true, ""},        // known, but not where
      {"four", "", false, ""},
      {"", "00:11:22:33:44:99", true, "10.0.0.9"},  // only the kernel knows it
      {"", "00:11:22:33:44:00", false, ""},
      {"", "nonsense", false, ""},
      {"one", "nonsense", false, ""},
      {"", "", false, ""},
  };
  for (const auto& c : cases) {
    StoredDevice found;
    EXPECT_EQ(c.found, FindStoredDevice(devices, kNeighbours, c.guid, c.mac, &found))
        << c.guid << " " << c.mac;
    if (c.found) {
      EXPECT_EQ(c.address, found.address) << c.guid << " " << c.mac;
    }
  }
}

class DiscoveryStandIn : public ConfigFixture {
 protected:
  DiscoveryStandIn() {
    RegisterPlatformStandIns();
    Instance("0000");
    data_ = Data("0000");
    user_ = Make(UserPath(), RegistryRoot::kCurrentUser);
    EXPECT_EQ(0u, RegistryKey::OpenImagingClass(&classes_));
    store_ = place_.File("devices.txt");  // beside the registry file
  }
  uint32_t Settle() {
    TraceLog trace;
    return GetNetworkPortID(classes_, "0000\\DeviceData", user_, "0000_M", address_,
                            sizeof address_, trace);
  }
  RegistryKey classes_, data_, user_;
  std::string store_;
  char address_[80];
};

TEST_F(DiscoveryStandIn, AnswersRediscovery) {
  Set(data_, "PortID", "10.0.0.1");
  Set(data_, "GUID", "{12}");
  EXPECT_EQ(0x80004005u, Settle());  // no file: nobody is known
  EXPECT_STREQ("10.0.0.1", address_);
  std::ofstream(store_) << "guid=12 address=10.0.0.2\nmac=001122334455 address=10.0.0.3\n";
  EXPECT_EQ(0u, Settle());
  EXPECT_STREQ("10.0.0.2", address_);
  Set(data_, "GUID", "{13}");
  Set(data_, "MAC", "00:11:22:33:44:55");
  EXPECT_EQ(0u, Settle());
  EXPECT_STREQ("10.0.0.3", address_);

  const std::string other = place_.File("other.txt");
  std::ofstream(other) << "guid=13 address=10.0.0.4\n";
  SetEnvironment("SCANTK_DEVICE_STORE", other);
  EXPECT_EQ(0u, Settle());
  EXPECT_STREQ("10.0.0.4", address_);
  SetEnvironment("SCANTK_DEVICE_STORE", "");
}

TEST_F(DiscoveryStandIn, IsPendingWhileTheFileIsWritten) {
  std::ofstream(store_) << "guid=12 address=10.0.0.2\n";
  Set(data_, "GUID", "12");
  const int writer = open(store_.c_str(), O_RDWR);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(0, flock(writer, LOCK_EX));

  // The writer ends during the third sleep.
  class WritersClock final : public Clock {
   public:
    explicit WritersClock(int file) : file_(file) { SetClock(this); }
    ~WritersClock() override { SetClock(nullptr); }
    uint32_t TickCount() override { return 0; }
    int64_t SecondsSince1970() override { return 0; }
    LocalTime Now() override { return {}; }
    void Sleep(uint32_t) override {
      if (++sleeps == 3) flock(file_, LOCK_UN);
    }
    int sleeps = 0;

   private:
    int file_;
  };
  {
    WritersClock clock(writer);
    EXPECT_EQ(0u, Settle());
    EXPECT_STREQ("10.0.0.2", address_);
    EXPECT_EQ(3, clock.sleeps);
  }
  // One that never ends is waited for five seconds.
  ASSERT_EQ(0, flock(writer, LOCK_EX));
  {
    VirtualClock clock;
    EXPECT_EQ(0u, Settle());
    EXPECT_EQ(static_cast<size_t>(DeviceStoreLoader::kMaxTries), clock.sleeps.size());
  }
  close(writer);
}

TEST_F(DiscoveryStandIn, MakesWayForARegisteredComponent) {
  std::ofstream(store_) << "guid=12 address=10.0.0.2\n";
  Set(data_, "GUID", "12");
  const std::string key_name = "CLSID\\" + GuidText(CLSID_DiscoveryBroker) + "\\InprocServer32";
  RegistryKey server = Make(key_name, RegistryRoot::kClassesRoot);
  Set(server, "", place_.File("missing.so"));
  EXPECT_EQ(0x8007007Eu, Settle());  // the registered one is asked for, though it cannot be loaded
}

}  // namespace
}  // namespace scantk
