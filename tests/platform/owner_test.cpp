#include "platform/owner.h"

#include <gtest/gtest.h>

#include <vector>

namespace scantk {
namespace {

std::vector<int> g_closed;

struct NumberTraits {
  using Value = int;
  static Value Invalid() { return -1; }
  static void Close(Value value) { g_closed.push_back(value); }
};
using Number = Owner<NumberTraits>;

TEST(OwnerTest, ClosesEachValueOnce) {
  {
    Number first(1), second(2);
    second = std::move(first);  // onto a full one
    EXPECT_EQ(g_closed, std::vector<int>{2});
    EXPECT_FALSE(first);
    EXPECT_EQ(second.Get(), 1);

    Number& self = second;
    second = std::move(self);
    EXPECT_EQ(second.Get(), 1);
    second.Reset(1);  // what it holds already
    EXPECT_EQ(g_closed, std::vector<int>{2});

    Number third(std::move(second));
    EXPECT_EQ(third.Release(), 1);
    EXPECT_EQ(third.Release(), -1);
  }
  EXPECT_EQ(g_closed, std::vector<int>{2});
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
    ComPtr<Counted> second(first);
    EXPECT_EQ(a.references, 2);
    ComPtr<Counted>& self = second;
    second = self;
    second = std::move(self);
    EXPECT_EQ(second.Get(), &a);
    EXPECT_EQ(a.references, 2);
    *first.Out() = &b;
    EXPECT_EQ(a.references, 1);
    second = std::move(first);
    EXPECT_EQ(a.references, 0);
    EXPECT_FALSE(first);
    EXPECT_EQ(second.Get(), &b);
  }
  EXPECT_EQ(b.references, 0);
}

}  // namespace
}  // namespace scantk
