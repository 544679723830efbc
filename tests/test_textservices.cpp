// Tests of the text services of the common layer: Unicode normalization,
// the simplified form of a text, and splitting at regular expression matches.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "uXoRegEx.h"
#include "uXoTypes.h"

using namespace xo;

namespace {
std::string Join(const std::vector<std::u16string>& AParts) {
  std::string r;
  for (const auto& p : AParts) r += "[" + XoUTF16ToUTF8(p) + "]";
  return r;
}
}  // namespace

TEST(TextServices, NormalizationForms) {
  const std::u16string composed = u"\u00e9", decomposed = u"e\u0301";
  EXPECT_EQ(XoNormalizeString(decomposed), composed);
  EXPECT_EQ(XoNormalizeString(composed, nfNFD), decomposed);
  EXPECT_EQ(XoNormalizeString(u"\ufb01", nfNFKC), u"fi");
  EXPECT_EQ(XoNormalizeString(u"\ufb01", nfNFC), u"\ufb01");  // canonical forms keep the ligature
  EXPECT_EQ(XoNormalizeString(u"\u1e9b\u0323", nfNFKD), u"s\u0323\u0307");
  EXPECT_EQ(XoNormalizeString(u""), u"");
  // An unpaired surrogate passes through and nothing is lost around it.
  std::u16string lone = u"a";
  lone.push_back(char16_t(0xD800));
  lone += u"e\u0301";
  std::u16string n = XoNormalizeString(lone);
  EXPECT_EQ(n.size(), 3u);
  EXPECT_EQ(n[0], u'a');
  EXPECT_EQ(n[2], u'\u00e9');

  TXoNormalizationForm f;
  EXPECT_TRUE(XoNormalizationForm(u"NFKD", f));
  EXPECT_EQ(f, nfNFKD);
  EXPECT_FALSE(XoNormalizationForm(u"nfc", f));
  EXPECT_FALSE(XoNormalizationForm(u"", f));
}

TEST(TextServices, SimplifiedText) {
  EXPECT_EQ(XoSimplifyString(u"  Cr\u00e8me\t\tbr\u00fbl\u00e9e\r\n"), u"Creme brulee");
  EXPECT_EQ(XoSimplifyString(u"\ufb01ne\u00a0print"), u"fine print");
  EXPECT_EQ(XoSimplifyString(u" \t "), u"");
  EXPECT_EQ(XoSimplifyString(u"\u00c5ngstr\u00f6m"), u"Angstrom");
  EXPECT_EQ(XoSimplifyString(u"\U0001F600 x"), u"\U0001F600 x");  // beyond the BMP: kept whole
}

TEST(TextServices, SplitAtMatches) {
  EXPECT_EQ(Join(TRegEx::Split(u"1, 2,3", u",\\s*")), "[1][2][3]");
  EXPECT_EQ(Join(TRegEx::Split(u",a,,b,", u",")), "[][a][][b][]");
  EXPECT_EQ(Join(TRegEx::Split(u"", u",")), "");
  EXPECT_EQ(Join(TRegEx::Split(u"abc", u"x*")), "[abc]");  // empty matches separate nothing
  EXPECT_EQ(Join(TRegEx::Split(u"aXbxc", u"x", roIgnoreCase)), "[a][b][c]");
  EXPECT_THROW(TRegEx::Split(u"a", u"("), ERegularExpressionError);
  // Unpaired surrogates in the text: matched around, never part of a match.
  std::u16string odd = u"x,";
  odd.push_back(char16_t(0xDC00));
  odd += u",y";
  EXPECT_EQ(TRegEx::Split(odd, u",").size(), 3u);
  EXPECT_EQ(TRegEx::Replace(odd, u"[xy]", u"-").front(), u'-');
  EXPECT_TRUE(TRegEx::IsMatch(odd, u"y$"));
  // A long input with many pieces is split in one pass.
  std::u16string big;
  for (int i = 0; i < 100000; ++i) big += u"ab ";
  EXPECT_EQ(TRegEx::Split(big, u" ").size(), 100001u);
}
