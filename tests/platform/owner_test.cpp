#include "platform/owner.h"

#include <gtest/gtest.h>

namespace scantk {
namespace {

int g_closed;  // the last digit is what was closed last

struct NumberTraits {
  using Value = int;
  static Value Invalid() { return -1; }
  static void Close(Value value) { g_closed = g_closed * 10 + value; }
};
using Number = Owner<NumberTraits>;

TEST(OwnerTest, ClosesEachValueOnce) {
  {
    Number first(1), second(2), &self = second;
    second = std::move(first);  // onto a full one
    EXPECT_EQ(g_closed, 2);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what moving leaves behind
    second = std::move(self);
    second.Reset(1);  // what it holds already
    EXPECT_EQ(g_closed, 2);
    Number third(std::move(second)), fourth(4);
    EXPECT_EQ(third.Release(), 1);
    EXPECT_EQ(third.Release(), -1);
  }
  EXPECT_EQ(g_closed, 24);
}

struct Counted {
  int references = 1;
  void AddRef() { ++references; }
  void Release() { --references; }
};

TEST(OwnerTest, ComPtrCountsReferences) {
  Counted a, b;
  {
    ComPtr<Counted> first;
    *first.Out() = &a;
    ComPtr<Counted> second(first), &self = second;
    second = self;
    second = std::move(self);
    EXPECT_EQ(a.references, 2);
    *first.Out() = &b;
    EXPECT_EQ(a.references, 1);
    second = std::move(first);
    EXPECT_EQ(a.references, 0);
    EXPECT_EQ(second.Get(), &b);
  }
  EXPECT_EQ(b.references, 0);
}

}  // namespace
}  // namespace scantk
