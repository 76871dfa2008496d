#include <gtest/gtest.h>

#include "platform/posix/unicode.h"
#include "platform/system.h"

namespace scantk {
namespace {

// What is no character becomes a question mark, and takes no character with it.
TEST(TextTest, Utf8AndUtf16BothWays) {
  const struct {
    const char* narrow;
    std::u16string wide;
    bool same = false;
  } cases[] = {{"", u"", true},
               {"\xC3\xA4\xE2\x82\xAC", u"\u00E4\u20AC", true},
               {"\xF0\x9F\x98\x80", u"\xD83D\xDE00", true},
               {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", u"\uD7FF\uE000\xDBFF\xDFFF", true},
               {"a\x80z", u"a?z"},
               {"\xC3", u"?"},
               {"\xC3(", u"?("},
               {"\xC0\xAF", u"??"},            // over-long
               {"\xED\xA0\x80", u"???"},       // a surrogate
               {"\xF4\x90\x80\x80", u"????"},  // beyond the last character
               {"\xF0\x9F\x98", u"???"}};
  for (const auto& c : cases) {
    EXPECT_EQ(Utf16(c.narrow), c.wide) << c.narrow;
    EXPECT_TRUE(!c.same || Narrow(c.wide.c_str()) == c.narrow) << c.narrow;
  }
  EXPECT_EQ(Narrow(u"a\xD83Dz"), "a?z");
  EXPECT_EQ(Narrow(u"\xDE00"), "?");
  EXPECT_EQ(Narrow(u"\xD83D"), "?");
  EXPECT_EQ(Narrow(nullptr), "");
}

}  // namespace
}  // namespace scantk
