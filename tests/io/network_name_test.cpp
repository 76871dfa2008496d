#include "io/network_name.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/component_types.h"
#include "tests/io/scripted_network.h"

namespace scantk {
namespace {

TEST(NetworkName, TokensBecomeFields) {
  struct Case {
    const char* name;
    const char* host;
    uint16_t port;
    const char* macaddr;
    const char* guid;
  };
  const Case cases[] = {
      {"\\name:printer1\\port:2", "printer1", 2, "", ""},
      {"\\NAME:10.0.0.7\\PORT:3", "10.0.0.7", 3, "", ""},
      {"name:bare", "bare", 0, "", ""},
      {"\\\\name:a\\\\\\port:1\\\\", "a", 1, "", ""},
      {"\\hostname:a\\name:b", "b", 0, "", ""},
      {"\\name:b\\hostName:a", "a", 0, "", ""},
      {"\\guid\\name:x\\colour:red", "x", 0, "", ""},
      {"\\macaddr:00:11:22\\guid:{a:b}", "", 0, "00:11:22", "{a:b}"},
      {"\\port:x", "", 0, "", ""},
      {"\\port:1x2", "", 1, "", ""},
      {"\\port:65538", "", 2, "", ""},
      {"\\port:99999999999999999999999999", "", 0xFFFF, "", ""},
      {"\\port:-1", "", 0, "", ""},
      {"\\ name:x\\:y\\name :z", "", 0, "", ""},
      {"\\", "", 0, "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    NetworkDeviceId id;
    std::memset(&id, 0xCC, sizeof id);
    EXPECT_EQ(S_OK, ParseNetworkDeviceName(c.name, &id));
    EXPECT_STREQ(c.host, id.host);
    EXPECT_EQ(c.port, id.port);
    EXPECT_STREQ(c.macaddr, id.macaddr);
    EXPECT_STREQ(c.guid, id.guid);
  }
}

TEST(NetworkName, LongTextsAreCutAndNothingStaysBehindThem) {
  NetworkDeviceId id;
  const std::string longest = std::string("\\name:") + std::string(400, 'h') +
                              "\\macaddr:" + std::string(400, 'm') +
                              "\\guid:" + std::string(400, 'g');
  ASSERT_EQ(S_OK, ParseNetworkDeviceName(longest.c_str(), &id));
  EXPECT_EQ(std::string(259, 'h'), id.host);
  EXPECT_EQ(std::string(23, 'm'), id.macaddr);
  EXPECT_EQ(std::string(79, 'g'), id.guid);

  ASSERT_EQ(S_OK, ParseNetworkDeviceName((longest + "\\name:b").c_str(), &id));
  const NetworkDeviceId zero = {};
  EXPECT_STREQ("b", id.host);
  EXPECT_EQ(0, std::memcmp(id.host + 1, zero.host, sizeof id.host - 1));
}

TEST(NetworkName, NothingToParse) {
  NetworkDeviceId id;
  EXPECT_EQ(E_FAIL, ParseNetworkDeviceName(nullptr, &id));
  EXPECT_EQ(E_FAIL, ParseNetworkDeviceName("", &id));
  EXPECT_EQ(E_FAIL, ParseNetworkDeviceName("\\name:a", nullptr));
}

TEST(NetworkName, AddressesAreClassified) {
  ScriptedNetwork network;
  const struct {
    const char* text;
    HostAddressKind kind;
  } cases[] = {
      {"10.0.0.1", HostAddressKind::kDotted},
      {"0.0.0.0", HostAddressKind::kDotted},
      {"300.1.1.1", HostAddressKind::kUnsupported},
      {"255.255.255.255", HostAddressKind::kUnsupported},
      {"fe80::1", HostAddressKind::kUnsupported},
      {"10.0.0.1:80", HostAddressKind::kUnsupported},
      {"1:2", HostAddressKind::kUnsupported},
      {"scanner-3", HostAddressKind::kHostName},
      {"scanner:3", HostAddressKind::kHostName},
      {"abc", HostAddressKind::kHostName},
      {"a.b.c.d", HostAddressKind::kHostName},
      {"1.2.3", HostAddressKind::kHostName},
      {"1.2.3.4.5", HostAddressKind::kHostName},
      {"1234", HostAddressKind::kHostName},
      {"", HostAddressKind::kHostName},
  };
  for (const auto& c : cases) EXPECT_EQ(c.kind, ClassifyHostAddress(c.text)) << c.text;
}

}  // namespace
}  // namespace scantk
