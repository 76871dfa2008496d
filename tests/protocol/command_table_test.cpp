#include "protocol/command_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <string>

#include "protocol/answer_parser.h"

namespace scantk {
namespace {

// What a builder wrote; "-" when it refused. Its buffer is as small as allowed, so that the
// sanitizer sees a byte too many.
std::string Command(uint32_t id, int32_t value) {
  auto buffer = std::make_unique<char[]>(kCommandBufferSize);
  std::memset(buffer.get(), '~', kCommandBufferSize);
  const size_t length = BuildCommand(id, value, buffer.get());
  if (length == 0) return buffer[0] == '~' ? "-" : "wrote";
  EXPECT_EQ('\0', buffer[length]);
  return std::string(buffer.get(), length);
}
std::string Inquiry(uint32_t id, char kind) {
  auto buffer = std::make_unique<char[]>(kInquiryBufferSize);
  std::memset(buffer.get(), '~', kInquiryBufferSize);
  const size_t length = BuildInquire(id, kind, buffer.get());
  if (length == 0) return buffer[0] == '~' ? "-" : "wrote";
  EXPECT_EQ('\0', buffer[length]);
  return std::string(buffer.get(), length);
}

TEST(CommandTable, BuildsCommands) {
  constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
  const struct {
    uint32_t id;
    int32_t value;
    std::string bytes;
  } cases[] = {
      {SL_RESET, 0, "\x1b\x45"},
      {SL_CLEAR_ERRORS, 77, "\x1b*oE"},
      {SL_START_SCAN, 0, "\x1b*f0S"},
      {SL_X_RESOLUTION, 300, "\x1b*a300R"},
      {SL_TONEMAP, -1, "\x1b*u-1K"},
      {SL_LAMP, 0, "\x1b*f0L"},
      {SL_SPF_SIZE, 1, "-"},
      {SL_PIXELS_PER_LINE, 1, "-"},
      {118, 5, "\x1b*f5C"},
      {129, 2, "\x1bM2M"},
      {SL_URS_STATE, 3, "\x1b*m3U"},
      {SL_DUPLEX_HFLIP, kLeast, "\x1b*d-2147483648H"},
      {169, 1, "-"},
      {0xFFFFFFFF, 1, "-"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.bytes, Command(c.id, c.value)) << c.id;
}

TEST(CommandTable, BuildsInquiries) {
  const struct {
    uint32_t id;
    char kind;
    std::string bytes;
  } cases[] = {
      {SL_X_RESOLUTION, 'H', "\x1b*s10323H"},
      {SL_X_RESOLUTION, 'L', "\x1b*s10323L"},
      {SL_X_RESOLUTION, 'R', "\x1b*s10323R"},
      {SL_PIXELS_PER_LINE, 'H', "\x1b*s1024E"},
      {118, 'R', "\x1b*s1045E"},
      {SL_URS_STATE, 'L', "\x1b*s2100E"},
      {SL_DUPLEX_FLIP, 'R', "\x1b*s13510R"},
      {SL_START_SCAN, 'R', "-"},
      {SL_DEVLOCK, 'R', "-"},
      {SL_SCANTYPE, 'R', "-"},
      {169, 'R', "-"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.bytes, Inquiry(c.id, c.kind)) << c.id;
}

// One slip of a row would shift every number below it; these hold for the table as a whole.
TEST(CommandTable, IsWholeAndInOrder) {
  std::set<uint32_t> silent;
  std::set<std::string> commands;
  int inquiries = 0;
  uint64_t hash =
      0xcbf29ce484222325;  // of every row, as it was compared with the device's own list
  for (uint32_t id = 0; id < kCommandCount; ++id) {
    const std::string command = Command(id, 1), inquiry = Inquiry(id, 'R');
    for (const char c : command + "|" + inquiry + "\n") {
      hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001b3;
    }
    if (command == "-" && inquiry == "-") silent.insert(id);
    if (command != "-") {
      EXPECT_TRUE(commands.insert(command).second) << id;
    }
    if (inquiry != "-") ++inquiries;
  }
  EXPECT_EQ((std::set<uint32_t>{83,  85,  88,  89,  90,  95,  96,  97,  98,  112, 136,
                                137, 138, 141, 143, 147, 149, 151, 152, 153, 154, 156}),
            silent);
  EXPECT_EQ(71u, commands.size());
  EXPECT_EQ(131, inquiries);
  EXPECT_EQ(0x3ea4080dfc3e796cu, hash);
}

TEST(AnswerParser, JudgesAnswers) {
  using Fault = Answer::Fault;
  const struct {
    const char* inquiry;
    const char* answer;
    char terminator;
    QrlStatus status;
    int32_t value;
    Fault fault;
  } cases[] = {
      {"\x1b*s10323H", "\x1b*s10323g600V", 'V', SL_OK, 600, Fault::kNone},
      {"\x1b*s10323R", "\x1b*s10323p-1V", 'V', SL_OK, -1, Fault::kNone},
      {"\x1b*s10323L", "\x1b*s10323k0V", 'V', SL_OK, 0, Fault::kNone},
      {"\x1b*s19E", "\x1b*s19d5W", 'W', SL_OK, 5, Fault::kNone},
      {"\x1b*s19U", "\x1b*s19t7V", 'V', SL_OK, 7, Fault::kNone},
      {"\x1b*s1024E", "\x1b*s1024dV", 'V', SL_OK, 0, Fault::kNone},
      {"\x1b*s1024E", "\x1b*s1024dN", 'V', SL_NULLRESPONSE, 0, Fault::kNone},
      // The wrong letter, none at all, another variable, an echo, nothing, a stray byte in front.
      {"\x1b*s10323R", "\x1b*s10323q600V", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      {"\x1b*s10323R", "\x1b*s10323g600V", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      {"\x1b*s10323R", "\x1b*s10323", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      {"\x1b*s10323R", "\x1b*s10324p600V", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      {"\x1b*s10323R", "\x1b*s10323R", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      {"\x1b*s10323R", "", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      {"\x1b*s10323R", " \x1b*s10323p600V", 'V', SL_BADRESPONSE, 0, Fault::kEcho},
      // The wrong end, or none.
      {"\x1b*s10323R", "\x1b*s10323p600W", 'V', SL_BADRESPONSE, 600, Fault::kEnd},
      {"\x1b*s10323R", "\x1b*s10323p600", 'V', SL_BADRESPONSE, 600, Fault::kEnd},
      {"\x1b*s10323R", "\x1b*s10323p+6V", 'V', SL_BADRESPONSE, 0, Fault::kEnd},
      {"\x1b*s10323R", "\x1b*s10323p6-V", 'V', SL_BADRESPONSE, 6, Fault::kEnd},
      // Beyond 32 bits a number stops at the end of the range.
      {"\x1b*s10323R", "\x1b*s10323p2147483647V", 'V', SL_OK, 2147483647, Fault::kNone},
      {"\x1b*s10323R", "\x1b*s10323p4294967297V", 'V', SL_OK, 2147483647, Fault::kNone},
      {"\x1b*s10323R", "\x1b*s10323p-99999999999999999999999V", 'V', SL_OK,
       std::numeric_limits<int32_t>::min(), Fault::kNone},
  };
  for (const auto& c : cases) {
    const Answer answer = ParseAnswer(c.inquiry, c.answer, c.terminator);
    EXPECT_EQ(c.status, answer.status) << c.answer;
    EXPECT_EQ(c.value, answer.value) << c.answer;
    EXPECT_EQ(c.fault, answer.fault) << c.answer;
  }
}

}  // namespace
}  // namespace scantk
