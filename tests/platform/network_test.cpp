// Names and addresses. (Connections, sends and receives are tested under the network transport.)
#include "platform/network.h"

#include <gtest/gtest.h>

namespace scantk {
namespace {

TEST(NetworkTest, NamesAndAddresses) {
  Network& network = TheNetwork();
  SocketLibraryInfo info;
  ASSERT_EQ(network.StartUp(&info), 0u);
  EXPECT_EQ(info.systemStatus, "Running");
  const uint32_t loopback = network.ParseDotted("127.0.0.1");
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(&loopback)[0], 127);
  EXPECT_EQ(network.LookUpHost("localhost"), loopback);
  EXPECT_EQ(network.LookUpHost("name.invalid"), kNoAddress);
  EXPECT_NE(network.LastSocketError(), 0u);
  for (const char* wrong : {"300.1.1.1", "", "scanner", "fe80::1"})
    EXPECT_EQ(network.ParseDotted(wrong), kNoAddress) << wrong;
  EXPECT_NE(network.ParseDotted("1.2.3"), kNoAddress);
  network.CleanUp();
}

}  // namespace
}  // namespace scantk
