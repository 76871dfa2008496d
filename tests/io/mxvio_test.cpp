#include "io/mxvio.h"

#include <gtest/gtest.h>

#include "tests/io/scripted_network.h"

namespace scantk {
namespace {

TEST(Transport, ConnectResultsAsTheHostLearnsThem) {
  const struct {
    IoResult result;
    uint32_t status;
  } cases[] = {
      {S_OK, 0},
      {E_ACCESSDENIED, SL_BUSY},
      {5, SL_FIREWALL},
      {31, SL_FIREWALL},
      {65, SL_FIREWALL},
      {1236, SL_FIREWALL},
      {1314, SL_FIREWALL},
      {10061, SL_FIREWALL},
      {10060, SL_NOACCESS},
      {6, SL_NOACCESS},
      {kIoTimeout, SL_NOACCESS},
      {E_FAIL, SL_NOACCESS},
      {error::ToResult(10061), SL_NOACCESS},
  };
  for (const auto& c : cases) EXPECT_EQ(c.status, ConnectStatus(c.result)) << c.result;
}

}  // namespace
}  // namespace scantk
