#include "config/rediscovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error_codes.h"
#include "platform/owner.h"
#include "tests/config/config_fixture.h"
#include "tests/config/fake_discovery.h"
#include "tests/doubles/virtual_clock.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::IsSupersetOf;

constexpr uint32_t kFail = 0x80004005;

class Rediscovery : public ConfigFixture {
 protected:
  Rediscovery() {
    Script() = DiscoveryScript();
    RegisterBuiltInClass(CLSID_DiscoveryBroker, FakeBroker::Create);
    Instance("0000");
    data_ = Data("0000");
    user_ = Make(UserPath(), RegistryRoot::kCurrentUser);
    EXPECT_EQ(0u, RegistryKey::OpenImagingClass(&classes_));
  }
  ~Rediscovery() override { EXPECT_EQ(0, Script().references); }

  uint32_t Settle() {
    TraceLog trace;
    std::memset(address_, '#', sizeof address_);
    return GetNetworkPortID(classes_, "0000\\DeviceData", user_, "0000_M", address_,
                            sizeof address_, trace);
  }
  std::string UserPortId() {
    RegistryKey key;
    const uint32_t error = user_.OpenSubkey("0000_M", RegistryAccess::kRead, &key);
    return error == 0 ? Get(key, "PortID") : "no key";
  }

  RegistryKey classes_, data_, user_;
  char address_[260];
};

TEST_F(Rediscovery, DecidesFromTheStoredIdentity) {
  const std::string too_long(100, 'a');
  const struct {
    const char* title;
    const char *port_id, *static_ip, *guid, *mac;
    uint32_t result;
    std::string address;
    std::vector<std::string> searches;
  } cases[] = {
      {"fixed", "10.0.0.9", "10.0.0.5", "known", "", 259, "10.0.0.5", {}},
      {"host name", "scanner7", "", "", "known", 258, "scanner7", {}},
      {"no identity", "10.0.0.9", "", "", "", 259, "10.0.0.9", {}},
      {"host name, no identity", "scanner7", "", "", "", 259, "scanner7", {}},
      {"nothing", "", "", "", "", 0x8004FFFF, "", {}},
      {"by GUID", "10.0.0.9", "", "known", "m", 0, "10.1.1.1", {"||||known|||"}},
      {"by MAC after the GUID", "", "", "g", "known", 0, "10.1.1.1", {"||||g|||", "|||||known||"}},
      {"unknown both", "10.0.0.9", "", "g", "m", kFail, "10.0.0.9", {"||||g|||", "|||||m||"}},
      {"known without address", "10.0.0.9", "", "silent", "", 0, "10.0.0.9", {"||||silent|||"}},
      {"too long", "10.0.0.9", "", "long", "", 0, too_long.substr(0, 79), {"||||long|||"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.title);
    Script() = DiscoveryScript();
    Script().addresses = {{"known", "10.1.1.1"}, {"silent", ""}, {"long", too_long}};
    Set(data_, "PortID", c.port_id);
    Set(data_, "StaticIP", c.static_ip);
    Set(data_, "GUID", c.guid);
    Set(data_, "MAC", c.mac);
    EXPECT_EQ(c.result, Settle());
    EXPECT_EQ(c.address, address_);
    EXPECT_EQ(c.searches, Script().searches);
    EXPECT_EQ(c.address, Get(data_, "PortID"));
    EXPECT_EQ("no key", UserPortId());
  }
}

TEST_F(Rediscovery, WritesBackWhereThePortIdCameFrom) {
  RegistryKey user = Make(UserPath("\\0000_M"), RegistryRoot::kCurrentUser);
  Set(user, "PortID", "10.0.0.1");
  Set(data_, "PortID", "10.0.0.2");
  Set(data_, "GUID", "G");
  Script().addresses["G"] = "10.0.0.3";
  EXPECT_EQ(0u, Settle());
  EXPECT_EQ("10.0.0.3", UserPortId());
  EXPECT_EQ("10.0.0.2", Get(data_, "PortID"));

  TraceLog trace;
  const RegistryKey closed;
  const auto update = [&](const RegistryKey& device, const RegistryKey& per_user,
                          const char* text) {
    return UpdateParameters(device, "0000\\DeviceData", per_user, "0000_M", text, false, trace);
  };
  EXPECT_EQ(0x80070057u, update(classes_, user_, ""));
  EXPECT_EQ(0u, update(closed, user_, "c"));
  EXPECT_EQ("c", UserPortId());
  EXPECT_EQ(256u, update(closed, closed, "d"));
}

// The texts of the registry are data: none is a format, none has more room than it says.
TEST_F(Rediscovery, RegistryTextsAreTakenAsTheyAre) {
  Set(data_, "PortID", "10.0.0.9");
  Set(data_, "GUID", "%s%n");
  Set(data_, "MAC", std::string(80, 'l'));  // does not fit: none
  data_.SetString("StaticIP", "", 0);
  NewLines();
  EXPECT_EQ(kFail, Settle());
  EXPECT_THAT(NewLines(), IsSupersetOf({"GetRegistryData (PORT_ID):", "10.0.0.9", "%s%n"}));
  EXPECT_EQ(std::vector<std::string>{"||||%s%n|||"}, Script().searches);
  EXPECT_TRUE(IsDottedNumber("") && IsDottedNumber("999..1"));
  EXPECT_FALSE(IsDottedNumber("10.0.0.9 ") || IsDottedNumber("a.0") || IsDottedNumber(nullptr));
}

TEST_F(Rediscovery, AStoreIsNotWaitedForWithoutEnd) {
  TraceLog trace;
  ComPtr<INetDeviceStore> store;
  EXPECT_EQ(0x80004003u, GetDeviceStore(nullptr, 0, trace));
  Script().get_store = E_FAIL;  // tried again at once until the time is over
  EXPECT_EQ(error::kStoreTimeout, GetDeviceStore(store.Out(), 20, trace));
  Script().get_store = S_OK;
  VirtualClock clock;
  Script().pending = 30;
  EXPECT_EQ(0u, GetDeviceStore(store.Out(), 0, trace));
  EXPECT_TRUE(store && clock.sleeps == 30);
  const uint32_t start = clock.now;
  NewLines();
  Script().pending = 10000;
  EXPECT_EQ(error::kStoreTimeout, GetDeviceStore(store.Out(), 0, trace));
  EXPECT_FALSE(store);
  EXPECT_EQ(60000u, clock.now - start);
  EXPECT_THAT(NewLines(), Contains("GetDeviceStore: still pending after 60000 ms"));
}

TEST_F(Rediscovery, ComponentsFailuresPassThrough) {
  Set(data_, "GUID", "G");
  Script().addresses["G"] = "10.1.1.1";
  const auto with = [&](auto DiscoveryScript::*field, auto value) {
    const auto before = std::exchange(Script().*field, value);
    Set(data_, "PortID", "10.0.0.9");
    const uint32_t result = Settle();
    Script().*field = before;
    return result;
  };
  EXPECT_EQ(0x80040154u, with(&DiscoveryScript::create, REGDB_E_CLASSNOTREG));
  EXPECT_EQ(0x80004002u, with(&DiscoveryScript::store_is_store, false));
  EXPECT_EQ(0x80004002u, with(&DiscoveryScript::device_is_device, false));
  EXPECT_EQ(0x8000FFFFu, with(&DiscoveryScript::get_address, E_UNEXPECTED));
  EXPECT_STREQ("10.0.0.9", address_);
  EXPECT_EQ(257u, with(&DiscoveryScript::get_address, static_cast<HRESULT>(257)));
  EXPECT_STREQ("10.1.1.1", address_);
}

}  // namespace
}  // namespace scantk
