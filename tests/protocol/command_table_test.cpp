// Catches a command or an inquiry of which a byte is wrong, and one that is made where there is
// none.
#include "protocol/command_table.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <set>
#include <string>

namespace scantk {
namespace {

// What a builder wrote; "-" when it refused. The buffers are as small as allowed: the sanitizer
// sees a byte too many.
std::string Command(uint32_t id, int32_t value) {
  const auto buffer = std::make_unique<char[]>(kCommandBufferSize);
  return BuildCommand(id, value, buffer.get()) == 0 ? "-" : buffer.get();
}
std::string Inquiry(uint32_t id, char kind) {
  const auto buffer = std::make_unique<char[]>(kInquiryBufferSize);
  return BuildInquire(id, kind, buffer.get()) == 0 ? "-" : buffer.get();
}

TEST(CommandTable, BuildsCommandsAndInquiries) {
  constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
  EXPECT_EQ("\x1b\x45", Command(SL_RESET, 0));
  EXPECT_EQ("\x1b*oE", Command(SL_CLEAR_ERRORS, 77));
  EXPECT_EQ("\x1b*u-1K", Command(SL_TONEMAP, -1));
  EXPECT_EQ("\x1b*d-2147483648H", Command(SL_DUPLEX_HFLIP, kLeast));
  EXPECT_EQ("\x1bM2M", Command(129, 2));
  EXPECT_EQ("\x1b*f5C", Command(118, 5));
  EXPECT_EQ("\x1b*s10323H", Inquiry(SL_X_RESOLUTION, 'H'));
  EXPECT_EQ("\x1b*s1024E", Inquiry(SL_PIXELS_PER_LINE, 'H'));
  EXPECT_EQ("\x1b*s1045E", Inquiry(118, 'R'));
  for (const uint32_t id : {169u, 0xFFFFFFFFu}) EXPECT_EQ("--", Command(id, 1) + Inquiry(id, 'R'));
}

// One slip of a row would shift every number below it.
TEST(CommandTable, IsWholeAndInOrder) {
  std::set<uint32_t> silent;
  std::set<std::string> commands;
  int inquiries = 0;
  for (uint32_t id = 0; id < kCommandCount; ++id) {
    const std::string command = Command(id, 1), inquiry = Inquiry(id, 'R');
    if (command + inquiry == "--") silent.insert(id);
    EXPECT_TRUE(command == "-" || commands.insert(command).second) << id;
    if (inquiry != "-") ++inquiries;
  }
  EXPECT_EQ((std::set<uint32_t>{83,  85,  88,  89,  90,  95,  96,  97,  98,  112, 136,
                                137, 138, 141, 143, 147, 149, 151, 152, 153, 154, 156}),
            silent);
  EXPECT_EQ(71u, commands.size());
  EXPECT_EQ(131, inquiries);
}

}  // namespace
}  // namespace scantk
