// Tests of uXoRegEx: matching, replacing, options and refused patterns.

#include <gtest/gtest.h>

#include "xo_test_support.h"

#include "uXoRegEx.h"

using namespace xo;
using xo_test::MessageOf;

TEST(RegEx, MatchesAnywhereUnlessAnchored) {
  EXPECT_TRUE(TRegEx::IsMatch(u"abc123def", u"\\d+"));
  EXPECT_FALSE(TRegEx::IsMatch(u"abcdef", u"\\d"));
  EXPECT_FALSE(TRegEx::IsMatch(u"abc123", u"^\\d+$"));
  EXPECT_TRUE(TRegEx::IsMatch(u"123", u"^\\d+$"));
  EXPECT_TRUE(TRegEx::IsMatch(u"", u"^$"));
  EXPECT_TRUE(TRegEx::IsMatch(u"", u""));
  // Text beyond ASCII and beyond the Basic Multilingual Plane is one
  // character per code point.
  EXPECT_TRUE(TRegEx::IsMatch(u"caf\u00E9", u"^caf.$"));
  EXPECT_TRUE(TRegEx::IsMatch(u"a\U0001F600b", u"^a.b$"));
  // A lone surrogate in the text is no reason to fail.
  std::u16string broken = u"x";
  broken.push_back(char16_t(0xD800));
  EXPECT_TRUE(TRegEx::IsMatch(broken, u"x"));
  EXPECT_FALSE(TRegEx::IsMatch(broken, u"y"));
}

TEST(RegEx, Options) {
  EXPECT_FALSE(TRegEx::IsMatch(u"ABC", u"abc"));
  EXPECT_TRUE(TRegEx::IsMatch(u"ABC", u"abc", roIgnoreCase));
  EXPECT_TRUE(TRegEx::IsMatch(u"\u00C9T\u00C9", u"\u00E9t\u00E9", roIgnoreCase));
  EXPECT_FALSE(TRegEx::IsMatch(u"a\nb", u"a.b"));
  EXPECT_TRUE(TRegEx::IsMatch(u"a\nb", u"a.b", roSingleLine));
  EXPECT_FALSE(TRegEx::IsMatch(u"x\nabc", u"^abc$"));
  EXPECT_TRUE(TRegEx::IsMatch(u"x\nabc", u"^abc$", roMultiLine));
  EXPECT_FALSE(TRegEx::IsMatch(u"abc", u"a b c"));
  EXPECT_TRUE(TRegEx::IsMatch(u"abc", u"a b c  # letters", roIgnorePatternSpace));
  // Explicit capture: plain parentheses do not count as groups.
  EXPECT_EQ(TRegEx::Replace(u"ab", u"(a)(b)", u"[$1]", roExplicitCapture), u"[]");
  EXPECT_EQ(TRegEx::Replace(u"ab", u"(a)(?<n>b)", u"[$1]", roExplicitCapture), u"[b]");
  // After an empty match the same place is tried for a non-empty one first,
  // as Perl does.
  EXPECT_EQ(TRegEx::Replace(u"aaa", u"a*?", u"-"), u"-------");
  EXPECT_EQ(TRegEx::Replace(u"aaa", u"a*?", u"-", roNotEmpty), u"---");
}

TEST(RegEx, ReplaceAllWithGroups) {
  EXPECT_EQ(TRegEx::Replace(u"a-b-c", u"-", u"+"), u"a+b+c");
  EXPECT_EQ(TRegEx::Replace(u"John Smith", u"(\\w+) (\\w+)", u"$2, $1"), u"Smith, John");
  EXPECT_EQ(TRegEx::Replace(u"John Smith", u"(\\w+) (\\w+)", u"\\2 \\1"), u"Smith John");
  EXPECT_EQ(TRegEx::Replace(u"ab", u"(?<x>a)", u"${x}${x}\\g<x>"), u"aaab");
  EXPECT_EQ(TRegEx::Replace(u"ab", u"a", u"[$&|$0|\\0]"), u"[a|a|a]b");
  EXPECT_EQ(TRegEx::Replace(u"ab", u"a", u"$$\\\\"), u"$\\b");
  // An unset group is empty; unknown references stay as written.
  EXPECT_EQ(TRegEx::Replace(u"b", u"(a)?b", u"<$1>"), u"<>");
  EXPECT_EQ(TRegEx::Replace(u"b", u"b", u"$x ${nope} \\q $"), u"$x ${nope} \\q $");
  // Two digits name group 12 when it exists, else group 1 and a digit.
  EXPECT_EQ(TRegEx::Replace(u"abcdefghijkl", u"(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)(l)", u"$12"), u"l");
  EXPECT_EQ(TRegEx::Replace(u"ab", u"(a)(b)", u"$12"), u"a2");
  // Empty matches are replaced too, and never twice at one place.
  EXPECT_EQ(TRegEx::Replace(u"abc", u"x*", u"-"), u"-a-b-c-");
  EXPECT_EQ(TRegEx::Replace(u"a\U0001F600", u"", u"|"), u"|a|\U0001F600|");
  EXPECT_EQ(TRegEx::Replace(u"", u"^", u"x"), u"x");
  EXPECT_EQ(TRegEx::Replace(u"nothing", u"\\d", u"x"), u"nothing");
  // An object may be used again.
  TRegEx re(u"o+");
  EXPECT_EQ(re.Replace(u"foo boo", u"0"), u"f0 b0");
  EXPECT_TRUE(re.IsMatch(u"yo"));
  EXPECT_FALSE(re.IsMatch(u"ya"));
}

TEST(RegEx, RefusedPatternCarriesTheEngineMessage) {
  std::u16string m = MessageOf<ERegularExpressionError>([] { TRegEx::IsMatch(u"x", u"(ab"); });
  EXPECT_NE(m.find(u"missing closing parenthesis"), std::u16string::npos) << XoUTF16ToUTF8(m);
  EXPECT_NE(m.find(u"offset 3"), std::u16string::npos) << XoUTF16ToUTF8(m);
  EXPECT_NE(MessageOf<ERegularExpressionError>([] { TRegEx re(u"a{2,1}"); }).find(u"offset"), std::u16string::npos);
  EXPECT_THROW(TRegEx::Replace(u"x", u"[", u""), ERegularExpressionError);
  // A refused pattern is not cached as if it were fine.
  EXPECT_THROW(TRegEx::IsMatch(u"x", u"(ab"), ERegularExpressionError);
}

TEST(RegEx, CatastrophicPatternEndsWithAnError) {
  // Nested quantifiers on a text that almost matches: the engine's limit
  // stops the search and the caller gets an exception, not a hang.
  std::u16string text(40, u'a');
  text += u"!";
  EXPECT_THROW(TRegEx::IsMatch(text, u"^(a+)+$"), ERegularExpressionError);
}
