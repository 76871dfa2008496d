#include "io/network_name.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "contract/component_types.h"
#include "tests/io/scripted_network.h"

namespace scantk {
namespace {

TEST(NetworkName, TokensBecomeFields) {
  const std::string longest = "\\name:" + std::string(400, 'h') + "\\guid:" + std::string(400, 'g');
  const struct {
    std::string name;
    std::string host;
    int port;
    std::string macaddr, guid;
  } cases[] = {{"\\name:printer1\\port:2", "printer1", 2, "", ""},
               {"\\\\NAME:10.0.0.7\\\\PORT:3x\\\\", "10.0.0.7", 3, "", ""},
               {"name:bare\\guid", "bare", 0, "", ""},
               {"\\hostname:a\\name:b", "b", 0, "", ""},
               {"\\name:b\\hostName:a", "a", 0, "", ""},
               {"\\macaddr:00:11:22\\guid:{a:b}\\ name:x", "", 0, "00:11:22", "{a:b}"},
               {"\\port:65538", "", 2, "", ""},
               {"\\port:99999999999999999999999999", "", 0xFFFF, "", ""},
               {"\\port:-1", "", 0, "", ""},
               {longest, std::string(259, 'h'), 0, "", std::string(79, 'g')},
               {longest + "\\name:b\\guid:", "b", 0, "", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    NetworkDeviceId id;
    std::memset(&id, 0xCC, sizeof id);
    EXPECT_EQ(S_OK, ParseNetworkDeviceName(c.name.c_str(), &id));
    EXPECT_EQ(c.host, id.host);
    EXPECT_EQ(c.port, id.port);
    EXPECT_EQ(c.macaddr, id.macaddr);
    EXPECT_EQ(c.guid, id.guid);
    EXPECT_EQ('\0', id.host[258] == 'h' ? '\0' : id.host[258]) << "something is left behind a text";
  }
  EXPECT_EQ(E_FAIL, ParseNetworkDeviceName(nullptr, nullptr));
}

TEST(NetworkName, AddressesAreClassified) {
  ScriptedNetwork network;
  const std::pair<HostAddressKind, std::vector<const char*>> kinds[] = {
      {HostAddressKind::kDotted, {"10.0.0.1", "0.0.0.0"}},
      {HostAddressKind::kUnsupported, {"300.1.1.1", "fe80::1", "10.0.0.1:80", "1:2"}},
      {HostAddressKind::kHostName,
       {"scanner-3", "scanner:3", "abc", "a.b.c.d", "1.2.3", "1.2.3.4.5", "1234", ""}}};
  for (const auto& [kind, texts] : kinds)
    for (const char* text : texts) EXPECT_EQ(kind, ClassifyHostAddress(text)) << text;
}

}  // namespace
}  // namespace scantk
