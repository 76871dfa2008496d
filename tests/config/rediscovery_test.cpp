#include "config/rediscovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error_codes.h"
#include "platform/owner.h"
#include "tests/config/config_fixture.h"
#include "tests/config/fake_discovery.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

constexpr uint32_t kFail = 0x80004005;

TEST(IsDottedNumber, OnlyDigitsAndDots) {
  EXPECT_TRUE(IsDottedNumber("10.0.0.9"));
  EXPECT_TRUE(IsDottedNumber(""));
  EXPECT_TRUE(IsDottedNumber("999..1"));
  EXPECT_FALSE(IsDottedNumber("scanner7"));
  EXPECT_FALSE(IsDottedNumber("10.0.0.9 "));
  EXPECT_FALSE(IsDottedNumber("fe80::1"));
  EXPECT_FALSE(IsDottedNumber(nullptr));
}

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
    return user_.OpenSubkey("0000_M", RegistryAccess::kRead, &key) == 0 ? Get(key, "PortID")
                                                                        : "no key";
  }

  RegistryKey classes_, data_, user_;
  char address_[260];
};

struct Case {
  const char* title;
  const char *port_id, *static_ip, *guid, *mac;
  uint32_t result;
  const char* address;
  std::vector<std::string> searches;
};

TEST_F(Rediscovery, DecidesFromTheStoredIdentity) {
  const Case cases[] = {
      {"fixed", "10.0.0.9", "10.0.0.5", "known", "", 259, "10.0.0.5", {}},
      {"fixed alone", "", "10.0.0.5", "", "", 259, "10.0.0.5", {}},
      {"host name", "scanner7", "", "known", "", 258, "scanner7", {}},
      {"host name with a MAC", "scanner7", "", "", "known", 258, "scanner7", {}},
      {"no identity", "10.0.0.9", "", "", "", 259, "10.0.0.9", {}},
      {"host name, no identity", "scanner7", "", "", "", 259, "scanner7", {}},
      {"nothing", "", "", "", "", 0x8004FFFF, "", {}},
      {"by GUID", "10.0.0.9", "", "known", "m", 0, "10.1.1.1", {"||||known|||"}},
      {"by MAC", "10.0.0.9", "", "", "known", 0, "10.1.1.1", {"|||||known||"}},
      {"by MAC after the GUID", "", "", "g", "known", 0, "10.1.1.1", {"||||g|||", "|||||known||"}},
      {"unknown GUID", "10.0.0.9", "", "g", "", kFail, "10.0.0.9", {"||||g|||"}},
      {"unknown both", "10.0.0.9", "", "g", "m", kFail, "10.0.0.9", {"||||g|||", "|||||m||"}},
      {"unknown without address", "", "", "g", "", kFail, "", {"||||g|||"}},
      {"known without address", "10.0.0.9", "", "silent", "", 0, "10.0.0.9", {"||||silent|||"}},
      {"address too long",
       "10.0.0.9",
       "",
       "long",
       "",
       0,
       "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
       {"||||long|||"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    Script() = DiscoveryScript();
    Script().addresses = {{"known", "10.1.1.1"}, {"silent", ""}, {"long", std::string(100, 'a')}};
    Set(data_, "PortID", c.port_id);
    Set(data_, "StaticIP", c.static_ip);
    Set(data_, "GUID", c.guid);
    Set(data_, "MAC", c.mac);
    EXPECT_EQ(c.result, Settle());
    EXPECT_STREQ(c.address, address_);
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
  EXPECT_STREQ("10.0.0.3", address_);
  EXPECT_EQ("10.0.0.3", UserPortId());
  EXPECT_EQ("10.0.0.2", Get(data_, "PortID"));
}

TEST_F(Rediscovery, UpdateParametersFallsBackToThePerUserKey) {
  TraceLog trace;
  const RegistryKey closed;
  const auto update = [&](const RegistryKey& device, const RegistryKey& user, const char* text,
                          bool skip) {
    return UpdateParameters(device, "0000\\DeviceData", user, "0000_M", text, skip, trace);
  };
  EXPECT_EQ(0x80070057u, update(classes_, user_, "", false));
  EXPECT_EQ("none", Get(data_, "PortID"));
  EXPECT_EQ(0u, update(classes_, user_, "a", false));
  EXPECT_EQ("a", Get(data_, "PortID"));
  EXPECT_EQ("no key", UserPortId());
  EXPECT_EQ(0u, update(classes_, user_, "b", true));
  EXPECT_EQ("a", Get(data_, "PortID"));
  EXPECT_EQ("b", UserPortId());
  EXPECT_EQ(0u, update(closed, user_, "c", false));
  EXPECT_EQ("c", UserPortId());
  EXPECT_EQ(256u, update(closed, closed, "d", false));
}

TEST_F(Rediscovery, TracesItsSteps) {
  Set(data_, "PortID", "10.0.0.9");
  Set(data_, "GUID", "%s%n");
  Set(data_, "MAC", "M");
  Script().addresses["M"] = "10.1.1.1";
  NewLines();
  EXPECT_EQ(0u, Settle());
  std::vector<std::string> lines = NewLines();
  std::erase_if(lines, [](const std::string& line) {
    return line == "Entry:   GetRegistryData" || line == "Exit:    GetRegistryData" ||
           line == "Keyword:   " || line.starts_with("hKeyRoot: 0x");
  });
  EXPECT_THAT(lines,
              ElementsAre("Entry:   GetNetworkPortID", "GetRegistryData (PORT_ID):", "10.0.0.9",
                          "GetRegistryData (GUID):", "%s%n", "GetRegistryData (MAC):", "M",
                          "Able to access pINetDeviceStore", "Find by GUID FAILED",
                          "Find by GUID FAILED, trying MAC", "Find by MAC SUCCEEDED",
                          "get_Address returned:", "10.1.1.1", "Entry:   UpdateParameters",
                          "Exit:    UpdateParameters", "Exit:    GetNetworkPortID"));
  Script().get_address = E_UNEXPECTED;
  Set(data_, "GUID", "M");
  EXPECT_EQ(0x8000FFFF, Settle());
  EXPECT_STREQ("10.1.1.1", address_);  // what was written back before
  EXPECT_THAT(NewLines(),
              IsSupersetOf({"Find by GUID SUCCEEDED", "get_Address FAILED", "0x8000FFFF"}));
}

TEST_F(Rediscovery, ReadsARegistryValue) {
  TraceLog trace;
  char text[80];
  data_.SetString("Unterminated", "abc", 3);
  Set(data_, "Long", std::string(80, 'l'));
  Set(data_, "Fits", std::string(79, 'f'));
  const auto read = [&](const char* path, const char* name) {
    std::memset(text, '#', sizeof text);
    return GetRegistryData(classes_, path, name, text, sizeof text, trace);
  };
  EXPECT_EQ(0u, read("0000\\DeviceData", "Unterminated"));
  EXPECT_STREQ("abc", text);
  EXPECT_EQ(0u, read("0000\\DeviceData", "Fits"));
  EXPECT_EQ(79u, std::strlen(text));
  EXPECT_EQ(kFail, read("0000\\DeviceData", "Long"));
  EXPECT_STREQ("", text);
  EXPECT_EQ(kFail, read("0000\\DeviceData", "Missing"));
  EXPECT_EQ(kFail, read("0009\\DeviceData", "Fits"));
}

TEST_F(Rediscovery, StoreIsWaitedForWhileItIsPending) {
  VirtualClock clock;
  ComPtr<INetDeviceStore> store;
  const auto get = [&](uint32_t limit) { return GetDeviceStore(store.Out(), limit); };
  Script().pending = 30;
  EXPECT_EQ(0u, get(0));
  EXPECT_TRUE(store);
  EXPECT_EQ(std::vector<uint32_t>(30, 200), clock.sleeps);
  store.Reset();

  Script().get_store = E_FAIL;  // tried again until the time is over, without sleeping
  Script().pending = 1;
  EXPECT_EQ(error::kStoreTimeout, get(50));
  EXPECT_FALSE(store);
  EXPECT_EQ(31u, clock.sleeps.size());

  Script().get_store = S_OK;
  Script().store_is_store = false;
  EXPECT_EQ(0x80004002u, get(0));
  EXPECT_FALSE(store);
  Script().create = REGDB_E_CLASSNOTREG;
  EXPECT_EQ(0x80040154u, get(0));
  EXPECT_EQ(0x80004003u, GetDeviceStore(nullptr, 0));
}

TEST_F(Rediscovery, ComponentsFailuresPassThrough) {
  Set(data_, "PortID", "10.0.0.9");
  Set(data_, "GUID", "G");
  Script().addresses["G"] = "10.1.1.1";
  Script().create = REGDB_E_CLASSNOTREG;
  EXPECT_EQ(0x80040154u, Settle());
  Script().create = S_OK;
  Script().device_is_device = false;
  EXPECT_EQ(0x80004002u, Settle());
  Script().device_is_device = true;
  Script().get_address = 257;
  EXPECT_EQ(257u, Settle());
  EXPECT_STREQ("10.1.1.1", address_);
}

}  // namespace
}  // namespace scantk
