// What the user reads when something fails.
#include "host/error_advice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace scanhost {
namespace {

TEST(ErrorAdvice, NamesMethodCodeAndResult) {
  EXPECT_EQ(Describe({"StartScan", E_FAIL, TERR_RESERVE_BUSY}),
            "StartScan: TERR_RESERVE_BUSY (400), result E_FAIL (0x80004005)");
  EXPECT_EQ(Describe({"LockScanner", VELKAN_E_SCONF_FIREWALL, TERR_SCANNER_COMMUNICATION_FAILED}),
            "LockScanner: TERR_SCANNER_COMMUNICATION_FAILED (12), result VELKAN_E_SCONF_FIREWALL "
            "(0x80040222)");
  EXPECT_EQ(Describe({"X", S_OK, 9999}),
            "X: error string not defined (9999), result S_OK (0x00000000)");
}

TEST(ErrorAdvice, DiffersWhereTheRemedyDiffers) {
  const char* general = AdviceFor(E_FAIL, 9999);
  std::set<std::string> seen = {general};
  for (uint32_t code :
       {TERR_SCANNER_LOCK_FAILED, TERR_NET_SOCKET_BUSY, TERR_RESERVE_BUSY, TERR_ADF_EMPTY,
        TERR_ADF_JAMMED, TERR_CANCEL_PRESSED, TERR_INVALID_PARAMETER,
        TERR_SCANNER_COMMUNICATION_FAILED, TERR_JAM_DOOR2, TERR_OPEN_DOOR1, TERR_SCANNER_NOT_FOUND})
    EXPECT_TRUE(seen.insert(AdviceFor(E_FAIL, code)).second) << ToolkitErrorText(code);
  // The same code with a result that says more.
  EXPECT_TRUE(
      seen.insert(AdviceFor(VELKAN_E_SCONF_FIREWALL, TERR_SCANNER_COMMUNICATION_FAILED)).second);
  EXPECT_TRUE(
      seen.insert(AdviceFor(VELKAN_E_SCONF_REJECTED, TERR_SCANNER_COMMUNICATION_FAILED)).second);
}

struct Object {
  HRESULT Method(int a, uint32_t* code) {
    *code = static_cast<uint32_t>(a);
    return a > 100 ? E_FAIL : S_OK;
  }
};

TEST(Call, ThrowsForAResultOrACode) {
  Object object;
  EXPECT_NO_THROW(Call("Method", &object, &Object::Method, 0));
  for (int code : {int{TERR_CANCEL_PRESSED}, int{TERR_ADF_EMPTY}}) {
    try {
      Call("Method", &object, &Object::Method, code);
      ADD_FAILURE() << code;
    } catch (const ToolkitFailure& failure) {
      EXPECT_EQ(failure.outcome().code, static_cast<uint32_t>(code));
      EXPECT_THAT(failure.what(), testing::StartsWith("Method: TERR_"));
    }
  }
}

}  // namespace
}  // namespace scanhost
