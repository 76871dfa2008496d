// The stack's look at requests: the right ones pass, and every byte of them counts.
#include "simulator/dot4_records.h"

#include <gtest/gtest.h>

#include <set>

namespace scantk::sim::test {
namespace {

struct Case {
  const char* name;
  uint32_t code;
  uint32_t reply_limit;
  std::vector<uint8_t> header;
  std::vector<uint8_t> sent;
  std::set<size_t> free;  // bytes of header and record that a host may choose
};

std::vector<uint8_t> CreateRecord() {
  std::vector<uint8_t> record(56);
  record[0] = 4;
  record[42] = 1;
  record[45] = 0xF4;  // 128000
  record[46] = 0x01;
  record[48] = 250;
  record[51] = 0x7D;  // 32000
  return record;
}

const std::vector<Case>& Cases() {
  static const std::vector<Case> cases = {
      {"create-socket",
       0x3A2022,
       56,
       {0, 0, 0, 0, 56, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255},
       CreateRecord(),
       {}},
      {"destroy-socket",
       0x3A202A,
       0,
       {0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255},
       {7},
       {16}},
      {"open-channel",
       0x3A2006,
       8,
       {0, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255},
       {7, 0, 0, 0, 0, 0, 0, 0},
       {16}},
      {"close-channel",
       0x3A2008,
       0,
       {1, 80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 255},
       {},
       {0, 1, 2, 3}},
      {"read",
       0x3A200E,
       512,
       {1, 80, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0x30, 0x75, 0, 0},
       {},
       {0, 1, 2, 3, 12, 13, 14}},
      {"write",
       0x3A2011,
       0,
       {1, 80, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0x30, 0x75, 0, 0},
       {'a', 'b', 'c'},
       {0, 1, 2, 3, 12, 13, 14, 16, 17, 18}},
  };
  return cases;
}

Dot4Request Request(const Case& one) {
  Dot4Request request;
  request.code = one.code;
  request.reply_limit = one.reply_limit;
  request.input = one.header;
  request.input.insert(request.input.end(), one.sent.begin(), one.sent.end());
  return request;
}

TEST(Dot4RecordsTest, EveryByteOfARequestCounts) {
  for (const Case& one : Cases()) {
    SCOPED_TRACE(one.name);
    EXPECT_EQ(one.name, Dot4Name(one.code));
    EXPECT_EQ("", Dot4Fault(Request(one)));
    for (size_t at = 0; at < Request(one).input.size(); ++at) {
      if (one.free.contains(at)) continue;
      Dot4Request changed = Request(one);
      changed.input[at] ^= 0x80;
      EXPECT_NE("", Dot4Fault(changed)) << "byte " << at;
    }
  }
}

TEST(Dot4RecordsTest, SizesAndRoomCount) {
  for (const Case& one : Cases()) {
    SCOPED_TRACE(one.name);
    Dot4Request longer = Request(one);
    longer.input.push_back(0);
    EXPECT_NE("", Dot4Fault(longer));
    for (size_t size = 0; size < Request(one).input.size(); ++size) {
      Dot4Request cut = Request(one);
      cut.input.resize(size);
      EXPECT_NE("", Dot4Fault(cut)) << size;
    }
    Dot4Request roomier = Request(one);
    ++roomier.reply_limit;
    EXPECT_NE("", Dot4Fault(roomier));
  }
  Dot4Request unknown = Request(Cases()[0]);
  unknown.code = 0x3A2023;
  EXPECT_NE("", Dot4Fault(unknown));
}

TEST(Dot4RecordsTest, RepliesHaveTheirNumbersInPlace) {
  const std::vector<uint8_t> created = Dot4Created(Request(Cases()[0]), 9);
  ASSERT_EQ(56u, created.size());
  std::vector<uint8_t> expected = CreateRecord();
  expected[52] = 9;
  EXPECT_EQ(expected, created);
  EXPECT_EQ((std::vector<uint8_t>{7, 0, 0, 0, 0x04, 0x03, 0x02, 0x01}),
            Dot4Opened(Request(Cases()[2]), 0x01020304));
}

}  // namespace
}  // namespace scantk::sim::test
