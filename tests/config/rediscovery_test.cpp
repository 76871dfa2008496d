#include "config/rediscovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error_codes.h"
#include "platform/owner.h"
#include "tests/config/config_fixture.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

constexpr uint32_t kFail = 0x80004005;

class Rediscovery : public ConfigFixture {
 protected:
  Rediscovery() {
    Instance("0000");
    data_ = Data("0000");
    user_ = User();
    EXPECT_EQ(0u, RegistryKey::OpenImagingClass(&classes_));
  }

  uint32_t Settle() {
    std::memset(address_, '#', sizeof address_);
    return GetNetworkPortID(classes_, "0000\\DeviceData", user_, "0000_M", address_,
                            sizeof address_, trace_);
  }
  std::string UserPortId() {
    RegistryKey key;
    const uint32_t error = user_.OpenSubkey("0000_M", RegistryAccess::kRead, &key);
    return error == 0 ? Get(key, "PortID") : "no key";
  }

  RegistryKey classes_, data_, user_;
  TraceLog trace_;
  char address_[260];
};

// Catches an identity that is looked for in vain, in the wrong order or with the wrong criterion,
// and an address that is forgotten or kept in the wrong place.
TEST_F(Rediscovery, DecidesFromTheStoredIdentity) {
  const std::string too_long(100, 'a'), unfit(80, 'l');
  const struct {
    std::string port_id, static_ip, guid, mac;
    uint32_t result;
    std::string address, searches = {};
  } cases[] = {
      {"10.0.0.9", "10.0.0.5", "known", "", 259, "10.0.0.5"},  // fixed
      {"scanner7", "", "", "known", 258, "scanner7"},          // a host's name
      {"scanner7", "", "", "", 259, "scanner7"},
      {"10.0.0.9", "", "", "", 259, "10.0.0.9"},
      {"", "", "", "", 0x8004FFFF, ""},
      {"10.0.0.9", "", "known", "m", 0, "10.1.1.1", "||||known|||"},
      {"", "", "g", "known", 0, "10.1.1.1", "||||g||||||||known||"},
      {"10.0.0.9", "", "g", "m", kFail, "10.0.0.9", "||||g||||||||m||"},
      {"10.0.0.9", "", "silent", "", 0, "10.0.0.9", "||||silent|||"},  // known without address
      {"10.0.0.9", "", "long", "", 0, too_long.substr(0, 79), "||||long|||"},
      // Texts are data: none is a format, and one that does not fit is none.
      {"10.0.0.9", "", "%s%n", unfit, kFail, "10.0.0.9", "||||%s%n|||"},
  };
  discovery.addresses = {{"known", "10.1.1.1"}, {"silent", ""}, {"long", too_long}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    discovery.searches.clear();
    Set(data_, "PortID", c.port_id);
    Set(data_, "StaticIP", c.static_ip);
    Set(data_, "GUID", c.guid);
    Set(data_, "MAC", c.mac);
    EXPECT_EQ(c.result, Settle());
    EXPECT_EQ(c.address, address_);
    EXPECT_EQ(c.searches, discovery.searches);
    EXPECT_EQ(c.address, Get(data_, "PortID"));
    EXPECT_EQ("no key", UserPortId());
  }
  EXPECT_FALSE(IsDottedNumber("10.0.0.9 "));
  RegistryKey user = User("\\0000_M");  // goes before the device's own
  Set(user, "PortID", "10.0.0.1");
  Set(data_, "GUID", "known");
  EXPECT_EQ(0u, Settle());
  EXPECT_EQ("10.1.1.1", UserPortId());
  EXPECT_EQ("10.0.0.9", Get(data_, "PortID"));
  const RegistryKey closed;
  const auto update = [&](const RegistryKey& device, const RegistryKey& per_user,
                          const char* text) {
    return UpdateParameters(device, "0000\\DeviceData", per_user, "0000_M", text, false, trace_);
  };
  EXPECT_EQ(0x80070057u, update(classes_, user_, ""));
  EXPECT_EQ(0u, update(closed, user_, "c"));
  EXPECT_EQ("c", UserPortId());
  EXPECT_EQ(256u, update(closed, closed, "d"));
}

TEST_F(Rediscovery, AStoreIsNotWaitedForWithoutEnd) {
  ComPtr<INetDeviceStore> store;
  EXPECT_EQ(0x80004003u, GetDeviceStore(nullptr, 0, trace_));
  discovery.get_store = E_FAIL;  // tried again at once until the time is over
  EXPECT_EQ(error::kStoreTimeout, GetDeviceStore(store.Out(), 20, trace_));
  discovery.get_store = S_OK;
  TestClock clock;
  discovery.pending = 30;
  EXPECT_EQ(0u, GetDeviceStore(store.Out(), 0, trace_));
  EXPECT_TRUE(store && clock.sleeps == std::vector<uint32_t>(30, 200));
  const uint32_t start = clock.ticks;
  discovery.pending = 10000;
  EXPECT_EQ(error::kStoreTimeout, GetDeviceStore(store.Out(), 0, trace_));
  EXPECT_FALSE(store);
  EXPECT_EQ(60000u, clock.ticks - start);
}

TEST_F(Rediscovery, ComponentsFailuresPassThrough) {
  Set(data_, "GUID", "G");
  discovery.addresses["G"] = "10.1.1.1";
  const auto with = [&](auto FakeDiscovery::*field, auto value) {
    const auto before = std::exchange(discovery.*field, value);
    Set(data_, "PortID", "10.0.0.9");
    const uint32_t result = Settle();
    discovery.*field = before;
    return result;
  };
  EXPECT_EQ(0x80040154u, with(&FakeDiscovery::create, REGDB_E_CLASSNOTREG));
  EXPECT_EQ(0x80004002u, with(&FakeDiscovery::hidden, IID_INetDeviceStore));
  EXPECT_EQ(0x80004002u, with(&FakeDiscovery::hidden, IID_INetDevice));
  EXPECT_EQ(0x8000FFFFu, with(&FakeDiscovery::get_address, E_UNEXPECTED));
  EXPECT_STREQ("10.0.0.9", address_);
}

}  // namespace
}  // namespace scantk
