#include "io/mxvio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/mxvio_dot4ms.h"
#include "io/mxvio_dot4ov.h"
#include "io/mxvio_net.h"
#include "io/mxvusb.h"
#include "platform/system.h"
#include "tests/diag/trace_fixture.h"
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

class TransportChoice : public TraceFixture {};

TEST_F(TransportChoice, ByTypeAndSystemVersion) {
  ScriptedNetwork network;
  TraceLog trace;
  uint32_t status = 99;
  EXPECT_TRUE(dynamic_cast<mxvusb*>(MakeTransport(1, trace, &status).get()));
  EXPECT_TRUE(dynamic_cast<MXVIO_NET*>(MakeTransport(5, trace, &status).get()));
  EXPECT_EQ(0u, status);
  for (const uint32_t unknown : {0u, 2u, 3u, 6u, 0xFFFFFFFFu}) {
    EXPECT_EQ(nullptr, MakeTransport(unknown, trace, &status));
    EXPECT_EQ(SL_BADPARAM, status);
  }
  const struct {
    uint32_t major, minor;
    bool moves_data;
  } versions[] = {{4, 0, false}, {4, 9, false}, {5, 0, false}, {5, 1, true},
                  {5, 2, true},  {6, 0, true},  {6, 1, true},  {10, 0, true}};
  for (const auto& v : versions) {
    const OsVersion version = {2, v.major, v.minor};
    OverrideSystemVersion(&version);
    NewLines();
    const auto transport = MakeTransport(4, trace, &status);
    OverrideSystemVersion(nullptr);
    EXPECT_EQ(0u, status);
    EXPECT_EQ(v.moves_data, dynamic_cast<MXVIO_DOT4MS*>(transport.get()) != nullptr);
    EXPECT_EQ(!v.moves_data, dynamic_cast<MXVIO_DOT4OV*>(transport.get()) != nullptr);
    const auto lines = NewLines();
    EXPECT_EQ("InitIO: DOT4 device: osVer.dwMajorVersion " + std::to_string(v.major) +
                  " osVer.dwMinorVersion " + std::to_string(v.minor),
              lines.front());
    EXPECT_EQ(
        v.moves_data ? "InitIO: DOT4 device: MXVIO_DOT4MS" : "InitIO: DOT4 device: MXVIO_DOT4OV",
        lines.back());
  }
}

}  // namespace
}  // namespace scantk
