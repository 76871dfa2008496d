#include "io/network_name.h"

#include <gtest/gtest.h>

#include <string>

#include "contract/component_types.h"

namespace scantk {
namespace {

// Catches a field that is cut, left over from another name or written beyond its end.
TEST(NetworkName, TokensBecomeFields) {
  const std::string longest = "\\name:" + std::string(400, 'h') + "\\guid:" + std::string(400, 'g');
  const struct {
    std::string name, host;
    int port = 0;
    std::string macaddr = {}, guid = {};
  } cases[] = {{longest, std::string(259, 'h'), 0, "", std::string(79, 'g')},
               {longest + "\\name:b\\guid:", "b"},
               {"\\\\NAME:10.0.0.7\\\\PORT:3x\\\\", "10.0.0.7", 3},
               {"name:bare\\guid", "bare"},
               {"\\name:b\\hostName:a", "a"},
               {"\\macaddr:00:11:22\\guid:{a:b}\\ name:x", "", 0, "00:11:22", "{a:b}"},
               {"\\port:65538", "", 2},
               {"\\port:99999999999999999999999999", "", 0xFFFF},
               {"\\port:-1", ""}};
  NetworkDeviceId id = {};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(S_OK, ParseNetworkDeviceName(c.name.c_str(), &id));
    EXPECT_EQ(c.host, id.host);
    EXPECT_EQ(c.port, id.port);
    EXPECT_EQ(c.macaddr, id.macaddr);
    EXPECT_EQ(c.guid, id.guid);
  }
  EXPECT_EQ(E_FAIL, ParseNetworkDeviceName(nullptr, nullptr));
}

}  // namespace
}  // namespace scantk
