// Tests of uXoXMLUtils: escaping, entity decoding, numbers, booleans and
// variants in their XML text forms.

#include <gtest/gtest.h>

#include "xo_test_support.h"

#include <clocale>
#include <cmath>
#include <limits>
#include <locale>
#include <random>

#include "uXoXMLUtils.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

std::string U8(std::u16string_view s) { return XoUTF16ToUTF8(s); }

}  // namespace

// ---------------------------------------------------------------------------
// Escaping

TEST(XoStrToXML, ReplacesMarkupAndHonoursTheQuoteFlags) {
  EXPECT_EQ(XoStrToXML(u"a<b>c&d", false, false), u"a&lt;b&gt;c&amp;d");
  EXPECT_EQ(XoStrToXML(u"it's \"x\"", false, false), u"it's \"x\"");
  EXPECT_EQ(XoStrToXML(u"it's \"x\"", true, false), u"it&apos;s \"x\"");
  EXPECT_EQ(XoStrToXML(u"it's \"x\"", false, true), u"it's &quot;x&quot;");
  EXPECT_EQ(XoStrToXML(u"it's \"x\"", true, true), u"it&apos;s &quot;x&quot;");
}

TEST(XoStrToXML, ControlCharactersBecomeNumericReferencesUnderAllFlags) {
  for (bool apos : {false, true})
    for (bool quote : {false, true}) {
      EXPECT_EQ(XoStrToXML(u"a\tb", apos, quote), u"a&#9;b");
      EXPECT_EQ(XoStrToXML(u"\r\n", apos, quote), u"&#13;&#10;");
      EXPECT_EQ(XoStrToXML(std::u16string(1, char16_t(1)) + char16_t(31), apos, quote), u"&#1;&#31;");
    }
}

TEST(XoStrToXML, OtherCharactersPassThrough) {
  std::u16string s = u"plain text ~ \u00e9\u20ac\U0001F600 ]]> =?";
  s.erase(s.find(u'>'), 1);
  EXPECT_EQ(XoStrToXML(s, true, true), s);
  EXPECT_EQ(XoStrToXML(u"", true, true), u"");
}

TEST(XoStrToXML, CodeZeroIsDroppedOnlyByThe16BitForm) {
  std::u16string w(u"a\0b<", 4);
  EXPECT_EQ(XoStrToXML(w, true, true), u"ab&lt;");
  std::string a("a\0b<", 4);
  EXPECT_EQ(XoStrToXML(a, true, true), std::string("a\0b&lt;", 7));
  TXoStringStream st(1200, 16);
  XoStrToXML(w.data(), int64_t(w.size()), &st, true, true);
  EXPECT_EQ(st.GetWString(), std::u16string(u"a\0b&lt;", 7));
}

TEST(XoStrToXML, EightBitFormKeepsHighBytes) {
  EXPECT_EQ(XoStrToXML(std::string("caf\xc3\xa9 & 'x'\t"), true, false), "caf\xc3\xa9 &amp; &apos;x&apos;&#9;");
}

TEST(XoStrToXML, StreamFormAppendsAndWritesNothingForEmptyText) {
  TXoStringStream st(1200, 16);
  XoStrToXML(u"", 0, &st, true, true);
  EXPECT_EQ(st.GetSize(), 0);
  std::u16string a = u"x<y", b = u" 'q'";
  XoStrToXML(a.data(), int64_t(a.size()), &st, true, true);
  XoStrToXML(b.data(), int64_t(b.size()), &st, false, true);
  EXPECT_EQ(st.GetWString(), u"x&lt;y 'q'");
}

// ---------------------------------------------------------------------------
// Entity decoding, 16-bit

TEST(XoXMLToStr, NameDecimalAndHexadecimalReferencesAgree) {
  EXPECT_EQ(XoXMLToStr(u"&eacute;"), u"\u00e9");
  EXPECT_EQ(XoXMLToStr(u"&#233;"), u"\u00e9");
  EXPECT_EQ(XoXMLToStr(u"&#xE9;"), u"\u00e9");
  EXPECT_EQ(XoXMLToStr(u"&#XE9;"), u"\u00e9");
  EXPECT_EQ(XoXMLToStr(u"caf&eacute; &amp; cr&egrave;me"), u"caf\u00e9 & cr\u00e8me");
}

TEST(XoXMLToStr, MarkupEntitiesAndApos) {
  EXPECT_EQ(XoXMLToStr(u"&lt;a href=&quot;x&quot;&gt;&apos;&amp;"), u"<a href=\"x\">'&");
  // One pass only: a decoded ampersand does not start a new reference.
  EXPECT_EQ(XoXMLToStr(u"&amp;lt;"), u"&lt;");
}

TEST(XoXMLToStr, KnownCodePointsOfTheTable) {
  struct {
    const char16_t* Name;
    char16_t Code;
  } cases[] = {{u"nbsp", 160},    {u"yuml", 255},   {u"Alpha", 913},   {u"omega", 969},
               {u"sigmaf", 962},  {u"fnof", 402},   {u"euro", 8364},   {u"hearts", 9829},
               {u"OElig", 338},   {u"lang", 9001},  {u"rang", 9002},   {u"alefsym", 8501},
               {u"zwj", 8205},    {u"thetasym", 977}, {u"copy", 169}, {u"trade", 8482},
               {u"infin", 8734},  {u"loz", 9674},   {u"Dagger", 8225}, {u"permil", 8240}};
  for (auto& c : cases) {
    std::u16string text = u"&" + std::u16string(c.Name) + u";";
    EXPECT_EQ(XoXMLToStr(text), std::u16string(1, c.Code)) << U8(c.Name);
    EXPECT_EQ(XoEntityCode(c.Name), c.Code) << U8(c.Name);
  }
}

TEST(XoXMLToStr, UnknownAndLongNamesStayLiteral) {
  EXPECT_EQ(XoXMLToStr(u"&nosuchthing;"), u"&nosuchthing;");
  EXPECT_EQ(XoXMLToStr(u"&foo; x"), u"&foo; x");
  EXPECT_EQ(XoXMLToStr(u"&thetasym;"), u"\u03d1");   // eight letters decode
  EXPECT_EQ(XoXMLToStr(u"&thetasyms;"), u"&thetasyms;");  // nine never do
  EXPECT_EQ(XoXMLToStr(u"&;"), u"&;");
}

TEST(XoXMLToStr, AnyNameOfTheSameKeyDecodes) {
  // The key pairs characters 0/7, 1/6, 2/5, 3/4 and keeps only their low
  // bytes, so these names share the keys of lt, thetasym and apos.
  EXPECT_EQ(XoEntityKey(u"\u016ct"), XoEntityKey(u"lt"));
  EXPECT_EQ(XoXMLToStr(u"&\u016ct;"), u"<");
  EXPECT_EQ(XoXMLToStr(u"&mhetasyt;"), u"\u03d1");
  EXPECT_EQ(XoXMLToStr(u"&a\u0170os;"), u"'");
  // The key is a plain function of the padded name.
  EXPECT_EQ(XoEntityKey(u"abcdefgh"),
            int32_t((uint32_t((('a' + 'h') & 255)) << 24) | (uint32_t(('b' + 'g') & 255) << 16) |
                    (uint32_t(('c' + 'f') & 255) << 8) | uint32_t(('d' + 'e') & 255)));
  EXPECT_EQ(XoEntityKey(u""), 0);
}

TEST(XoXMLToStr, LoneAndUnterminatedAmpersandsStay) {
  EXPECT_EQ(XoXMLToStr(u"a & b"), u"a & b");
  EXPECT_EQ(XoXMLToStr(u"fish &chips"), u"fish &chips");
  EXPECT_EQ(XoXMLToStr(u"&lt"), u"&lt");
  EXPECT_EQ(XoXMLToStr(u"&lt &gt;"), u"&lt >");
  EXPECT_EQ(XoXMLToStr(u"&"), u"&");
  EXPECT_EQ(XoXMLToStr(u"x&&gt;"), u"x&&gt;");  // the name "&gt" has no entry
}

TEST(XoXMLToStr, NumericReferencesKeepTheLow16Bits) {
  EXPECT_EQ(XoXMLToStr(u"&#x1F600;"), std::u16string(1, char16_t(0xF600)));
  EXPECT_EQ(XoXMLToStr(u"&#65;&#x42;&#0067;"), u"ABC");
  EXPECT_THROW(XoXMLToStr(u"&#xZZ;"), EConvertError);
  EXPECT_THROW(XoXMLToStr(u"&#;"), EConvertError);
  EXPECT_THROW(XoXMLToStr(u"&#12a;"), EConvertError);
}

TEST(XoXMLToStr, TextWithoutAmpersandIsReturnedAsIs) {
  std::u16string s(1000, u'x');
  s += u"<>\"'";
  EXPECT_EQ(XoXMLToStr(s), s);
  EXPECT_EQ(XoXMLToStr(u""), u"");
}

TEST(XoXMLToStr, EscapingThenDecodingGivesTheTextBack) {
  std::mt19937 rng(42);
  std::uniform_int_distribution<int> pick(1, 0x2FFF);
  for (int round = 0; round < 200; ++round) {
    std::u16string s;
    for (int i = 0; i < 40; ++i) {
      int c = pick(rng);
      if (c % 7 == 0) c = u"<>&'\"\t;#"[c % 8];
      s += char16_t(c);
    }
    EXPECT_EQ(XoXMLToStr(XoStrToXML(s, true, true)), s);
    EXPECT_EQ(XoXMLToStr(XoStrToXML(s, false, false)), s);
  }
}

// ---------------------------------------------------------------------------
// Entity decoding, 8-bit

TEST(XoXMLToStr8, FirstLetterDecides) {
  EXPECT_EQ(XoXMLToStr(std::string_view("&amp;&apos;&gt;&lt;&quot;")), "&'><\"");
  EXPECT_EQ(XoXMLToStr(std::string_view("&AMP;&Apos;&GT;&Lt;&QUOT;")), "&'><\"");
  // Only the first letter (and for "a" the second) is looked at.
  EXPECT_EQ(XoXMLToStr(std::string_view("&amused;&axe;&gravel;&lots;&quiet;")), "&'><\"");
  EXPECT_EQ(XoXMLToStr(std::string_view("&eacute; &zz; &;")), "&eacute; &zz; &;");
  EXPECT_EQ(XoXMLToStr(std::string_view("a & b &lt")), "a & b &lt");
}

TEST(XoXMLToStr8, NumericReferencesGoToTheSystemCodePage) {
  EXPECT_EQ(XoXMLToStr(std::string_view("&#65;&#233;&#x20AC;")), "A\xc3\xa9\xe2\x82\xac");
  EXPECT_THROW(XoXMLToStr(std::string_view("&#xq;")), EConvertError);
}

// ---------------------------------------------------------------------------
// Integers

TEST(XoXMLToInt, EmptyTextAndDefaults) {
  EXPECT_EQ(XoXMLToIntDef(u"", 7), 0);
  EXPECT_EQ(XoXMLToIntDef(u"x", 7), 7);
  EXPECT_EQ(XoXMLToInt(Variant::Null(), 7), 7);
  EXPECT_EQ(XoXMLToInt(u""), 0);
  EXPECT_EQ(XoXMLToInt64Def(u"", 7), 0);
  EXPECT_EQ(XoXMLToByteDef(u"zz", 9), 9);
  EXPECT_EQ(XoXMLToUInt64Def(u"1.5", 3), 3u);
  EXPECT_THROW(XoXMLToInt(u"x"), EConvertError);
  EXPECT_THROW(XoXMLToInt64(u"12a"), EConvertError);
  EXPECT_THROW(XoXMLToShortint(u"1.0"), EConvertError);
}

TEST(XoXMLToInt, NarrowTargetsKeepTheLowBits) {
  EXPECT_EQ(XoXMLToShortint(u"300"), 44);
  EXPECT_EQ(XoXMLToByte(u"300"), 44);
  EXPECT_EQ(XoXMLToSmallint(u"40000"), -25536);
  EXPECT_EQ(XoXMLToWord(u"70000"), 4464);
  EXPECT_EQ(XoXMLToWord(u"-1"), 65535);
  EXPECT_EQ(XoXMLToShortintDef(u"300", 1), 44);
}

TEST(XoXMLToInt, HexadecimalWithDollar) {
  EXPECT_EQ(XoXMLToInt(u"$1F"), 31);
  EXPECT_EQ(XoXMLToLongword(u"$FFFFFFFF"), 4294967295u);
  EXPECT_EQ(XoXMLToInt64(u"$7FFFFFFFFFFFFFFF"), std::numeric_limits<int64_t>::max());
}

template <class T, class W, class R>
void RoundTrip(W AWrite, R ARead) {
  for (T v : {std::numeric_limits<T>::min(), T(std::numeric_limits<T>::min() + 1), T(0), T(1), T(-1),
              T(std::numeric_limits<T>::max() - 1), std::numeric_limits<T>::max()}) {
    XoXMLString s = AWrite(v);
    EXPECT_EQ(ARead(s), v) << U8(s);
  }
}

TEST(XoXMLToInt, BoundaryValuesOfEachWidthRoundTrip) {
  RoundTrip<int8_t>(XoShortIntToXML, [](const XoXMLString& s) { return XoXMLToShortint(s); });
  RoundTrip<int16_t>(XoSmallIntToXML, [](const XoXMLString& s) { return XoXMLToSmallint(s); });
  RoundTrip<int32_t>(XoIntToXML, [](const XoXMLString& s) { return XoXMLToInt(s); });
  RoundTrip<int32_t>(XoLongIntToXML, [](const XoXMLString& s) { return XoXMLToIntDef(s, 99); });
  RoundTrip<int64_t>(XoInt64ToXML, [](const XoXMLString& s) { return XoXMLToInt64(s); });
  RoundTrip<uint8_t>(XoByteToXML, [](const XoXMLString& s) { return XoXMLToByte(s); });
  RoundTrip<uint16_t>(XoWordToXML, [](const XoXMLString& s) { return XoXMLToWord(s); });
  RoundTrip<uint64_t>(XoUInt64ToXML, [](const XoXMLString& s) { return XoXMLToUInt64(s); });
  RoundTrip<uint64_t>(XoUInt64ToXML, [](const XoXMLString& s) { return XoXMLToUInt64Def(s, 5); });
  // Unsigned 32-bit values are read by the signed 32-bit parser: the decimal
  // text round-trips up to 2^31 - 1.
  for (uint32_t v : {0u, 1u, 2147483646u, 2147483647u}) {
    EXPECT_EQ(XoXMLToLongword(XoLongWordToXML(v)), v);
    EXPECT_EQ(XoXMLToLongword(XoCardinalToXML(v)), v);
  }
}

TEST(XoXMLToInt, UnsignedTextForms) {
  EXPECT_EQ(XoLongWordToXML(4294967295u), u"4294967295");
  EXPECT_EQ(XoCardinalToXML(2147483648u), u"2147483648");
  EXPECT_THROW(XoXMLToLongword(u"4294967295"), EConvertError);
  EXPECT_EQ(XoXMLToLongwordDef(u"4294967295", 5), 5u);
  EXPECT_EQ(XoUInt64ToXML(uint64_t(1) << 63), u"-9223372036854775808");
  EXPECT_EQ(XoUInt64ToXML(~uint64_t(0)), u"-1");
  EXPECT_EQ(XoXMLToUInt64(u"-1"), ~uint64_t(0));
  EXPECT_EQ(XoByteToXML(255), u"255");
  EXPECT_EQ(XoShortIntToXML(-128), u"-128");
}

TEST(XoXMLToInt, VariantSources) {
  EXPECT_EQ(XoXMLToInt(Variant(int32_t(42)), 0), 42);
  EXPECT_EQ(XoXMLToInt(Variant(u"17"), 0), 17);
  EXPECT_EQ(XoXMLToInt(Variant(true), 0), 1);
  EXPECT_EQ(XoXMLToShortint(Variant(int32_t(300)), 0), 44);
  EXPECT_EQ(XoXMLToInt64(Variant(u"9223372036854775807"), 0), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(XoXMLToUInt64(Variant(~uint64_t(0)), 0), ~uint64_t(0));
  EXPECT_EQ(XoXMLToWord(Variant::Null(), 12), 12);
  // Text of a variant is parsed: bad text raises the parser's error.
  EXPECT_THROW(XoXMLToInt(Variant(u"abc"), 0), EConvertError);
}

TEST(XoXMLToInt, VariantMessagesWordForWord) {
  Variant f(1.5);
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToShortint(f, 0); }),
            u"The given value is not a valid shortint value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToSmallint(f, 0); }),
            u"The given value is not a valid smallint value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToInt(f, 0); }), u"The given value is not a valid integer value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToInt64(f, 0); }),
            u"The given value is not a valid integer value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToUInt64(f, 0); }),
            u"The given value is not a valid integer value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToByte(f, 0); }), u"The given value is not a valid Byte value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToWord(f, 0); }), u"The given value is not a valid Word value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToLongword(f, 0); }),
            u"The given value is not a valid LongWord value!");
  Variant b(true);
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToSingle(b, 0); }), u"The given value is not a valid Single value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToDouble(b, 0); }), u"The given value is not a valid Double value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToExtended(b, 0); }),
            u"The given value is not a valid Extended value!");
  Variant e;  // unassigned has no main kind
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToBool(e, false); }),
            u"The given value is not a valid Boolean value!");
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToStr(e, u"d"); }), u"The given value is not a valid String value!");
  Variant arr = VarArrayOf({Variant(int32_t(1))});
  EXPECT_EQ(MessageOf<EConvertError>([&] { XoXMLToInt(arr, 0); }), u"The given value is not a valid integer value!");
}

// ---------------------------------------------------------------------------
// Floats

TEST(XoDoubleToXML, ShortestGeneralForm) {
  EXPECT_EQ(XoDoubleToXML(0.1), u"0.1");
  EXPECT_EQ(XoDoubleToXML(1.5), u"1.5");
  EXPECT_EQ(XoDoubleToXML(-2), u"-2");
  EXPECT_EQ(XoDoubleToXML(0), u"0");
  EXPECT_EQ(XoDoubleToXML(1e20), u"1E20");
  EXPECT_EQ(XoDoubleToXML(1.0 / 3), u"0.333333333333333");
  EXPECT_EQ(XoExtToXML(2.5L), u"2.5");
}

TEST(XoXMLToDouble, FixedSettingsAndDefaults) {
  EXPECT_EQ(XoXMLToDouble(u"1.5"), 1.5);
  EXPECT_EQ(XoXMLToDouble(u"-2.5E3"), -2500);
  EXPECT_EQ(XoXMLToDouble(u""), 0);
  EXPECT_EQ(XoXMLToDoubleDef(u"", 7), 0);
  EXPECT_EQ(XoXMLToDoubleDef(u"1,5", 7), 7);
  EXPECT_EQ(XoXMLToDoubleDef(u"abc", 7), 7);
  EXPECT_THROW(XoXMLToDouble(u"abc"), EConvertError);
  EXPECT_EQ(XoXMLToSingle(u"0.25"), 0.25f);
  EXPECT_THROW(XoXMLToSingle(u"1e300"), EConvertError);
  EXPECT_EQ(XoXMLToSingleDef(u"1e300", 2.0f), 2.0f);
  EXPECT_EQ(XoXMLToExtended(u"0.5"), 0.5L);
  EXPECT_EQ(XoXMLToExtendedDef(u"x", 3.0L), 3.0L);
  EXPECT_EQ(XoXMLToDouble(Variant(int32_t(3)), 0), 3);
  EXPECT_EQ(XoXMLToDouble(Variant(u"0.125"), 0), 0.125);
  EXPECT_EQ(XoXMLToDouble(Variant::FromDate(45000.5), 0), 45000.5);
  EXPECT_EQ(XoXMLToSingle(Variant(2.5), 0), 2.5f);
  EXPECT_THROW(XoXMLToSingle(Variant::FromDate(1.0), 0), EConvertError);
}

TEST(XoXMLToDouble, RandomDoublesAgreeTo15SignificantDigits) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> mant(1.0, 10.0);
  std::uniform_int_distribution<int> ex(-300, 300);
  for (int i = 0; i < 20000; ++i) {
    double v = mant(rng) * std::pow(10.0, ex(rng));
    if (i % 2) v = -v;
    XoXMLString s = XoDoubleToXML(v);
    double back = XoXMLToDouble(s);
    EXPECT_LE(std::fabs(back - v), std::fabs(v) * 5.1e-15) << U8(s);
    // The text is already the shortest: writing the value read gives it again.
    EXPECT_EQ(XoDoubleToXML(back), s);
  }
}

namespace {

// A numpunct that writes a decimal comma, for the C++ global locale.
struct CommaPunct : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

void CheckFloatText() {
  EXPECT_EQ(XoDoubleToXML(1.5), u"1.5");
  EXPECT_EQ(XoExtToXML(1234567.25L), u"1234567.25");
  EXPECT_EQ(XoXMLToDouble(u"1.5"), 1.5);
  EXPECT_EQ(XoXMLToDoubleDef(u"1,5", -1), -1);
  EXPECT_EQ(XoXMLToSingle(u"0.5"), 0.5f);
  EXPECT_EQ(XoVariantToXML(Variant(0.75)), u"0.75");
}

}  // namespace

TEST(XoDoubleToXML, IndependentOfTheCxxGlobalLocale) {
  std::locale old = std::locale::global(std::locale(std::locale::classic(), new CommaPunct));
  CheckFloatText();
  std::locale::global(old);
}

TEST(XoDoubleToXML, IndependentOfLCNumeric) {
  const char* candidates[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "nl_NL.UTF-8",
                              "ru_RU.UTF-8", "de_DE", "fr_FR"};
  std::string old = setlocale(LC_NUMERIC, nullptr);
  const char* found = nullptr;
  for (const char* c : candidates)
    if (setlocale(LC_NUMERIC, c)) {
      found = c;
      break;
    }
  if (!found) GTEST_SKIP() << "no locale with a decimal comma is installed (set LOCPATH to one)";
  ASSERT_EQ(std::string(localeconv()->decimal_point), ",");
  CheckFloatText();
  setlocale(LC_NUMERIC, old.c_str());
}

// ---------------------------------------------------------------------------
// Booleans

TEST(XoXMLToBool, TextForms) {
  EXPECT_TRUE(XoXMLToBool(u"TRUE"));
  EXPECT_TRUE(XoXMLToBool(u"true"));
  EXPECT_TRUE(XoXMLToBool(u"tRuE"));
  EXPECT_TRUE(XoXMLToBool(u"1"));
  EXPECT_FALSE(XoXMLToBool(u"True "));
  EXPECT_FALSE(XoXMLToBool(u" 1"));
  EXPECT_FALSE(XoXMLToBool(u"0"));
  EXPECT_FALSE(XoXMLToBool(u""));
  EXPECT_FALSE(XoXMLToBool(u"yes"));
  EXPECT_FALSE(XoXMLToBool(u"01"));
  EXPECT_EQ(XoBoolToXML(true), u"true");
  EXPECT_EQ(XoBoolToXML(false), u"false");
}

TEST(XoXMLToBool, VariantSources) {
  EXPECT_TRUE(XoXMLToBool(Variant::Null(), true));
  EXPECT_FALSE(XoXMLToBool(Variant::Null(), false));
  EXPECT_TRUE(XoXMLToBool(Variant(int32_t(1)), false));
  EXPECT_FALSE(XoXMLToBool(Variant(int32_t(256)), true));  // low 8 bits are 0
  EXPECT_TRUE(XoXMLToBool(Variant(int32_t(257)), false));
  EXPECT_TRUE(XoXMLToBool(Variant(u"True"), false));
  EXPECT_TRUE(XoXMLToBool(Variant(u"1"), false));
  EXPECT_FALSE(XoXMLToBool(Variant(u"yes"), true));
  EXPECT_TRUE(XoXMLToBool(Variant(true), false));
  EXPECT_THROW(XoXMLToBool(Variant(1.0), false), EConvertError);
}

// ---------------------------------------------------------------------------
// Strings from variants

TEST(XoXMLToStrVariant, ByKind) {
  EXPECT_EQ(XoXMLToStr(Variant::Null(), u"dflt"), u"dflt");
  EXPECT_EQ(XoXMLToStr(Variant(int32_t(-42)), u""), u"-42");
  EXPECT_EQ(XoXMLToStr(Variant(uint8_t(200)), u""), u"200");
  EXPECT_EQ(XoXMLToStr(Variant(1.5), u""), u"1.5");
  EXPECT_EQ(XoXMLToStr(Variant(u"a&amp;b"), u""), u"a&b");
  EXPECT_EQ(XoXMLToStr(Variant(std::string("x&lt;")), u""), u"x<");
  EXPECT_EQ(XoXMLToStr(Variant(true), u""), u"true");
  EXPECT_EQ(XoXMLToStr(Variant::FromDate(EncodeDateTime(2024, 2, 29, 13, 14, 15, 16)), u""),
            u"2024-02-29T13:14:15.016");
  EXPECT_EQ(XoXMLToStr(VarArrayOf({Variant(u"a&lt;"), Variant(int32_t(2))}), u""), u"a<\r\n2\r\n");
  Variant two = VarArrayCreate({TVarArrayBound{0, 1}, TVarArrayBound{0, 1}}, varInteger);
  EXPECT_THROW(XoXMLToStr(two, u""), EConvertError);
}

// ---------------------------------------------------------------------------
// Variants to text and back

TEST(XoVariantToXML, SimpleKinds) {
  EXPECT_EQ(XoVariantToXML(Variant()), u"");
  EXPECT_EQ(XoVariantToXML(Variant::Null()), u"");
  EXPECT_EQ(XoVariantToXML(Variant(int32_t(-5))), u"-5");
  EXPECT_EQ(XoVariantToXML(Variant(int16_t(-300))), u"-300");
  EXPECT_EQ(XoVariantToXML(Variant(uint8_t(255))), u"255");
  EXPECT_EQ(XoVariantToXML(Variant(uint32_t(4294967295u))), u"-1");  // the 32 bits, signed
  EXPECT_EQ(XoVariantToXML(Variant(int64_t(1) << 40)), u"1099511627776");
  EXPECT_EQ(XoVariantToXML(Variant::FromDecimal(123456789012)), u"123456789012");
  EXPECT_EQ(XoVariantToXML(Variant(2.25)), u"2.25");
  EXPECT_EQ(XoVariantToXML(Variant(0.5f)), u"0.5");
  EXPECT_EQ(XoVariantToXML(Variant(false)), u"false");
  EXPECT_EQ(XoVariantToXML(Variant(u"a<'\"")), u"a&lt;&apos;&quot;");
  EXPECT_EQ(XoVariantToXML(Variant::FromOleStr(u"&")), u"&amp;");
  EXPECT_EQ(XoVariantToXML(Variant::FromDate(EncodeDate(2000, 1, 2))), u"2000-01-02T00:00:00.000");
}

TEST(XoVariantToXML, InvalidTypeMessage) {
  Variant intf{TIntfPtr<IInterface>()};
  EXPECT_EQ(MessageOf<Exception>([&] { XoVariantToXML(intf); }), u"XoVariantToXml; invalid variant type 13!");
  EXPECT_EQ(MessageOf<Exception>([&] { XoVariantToXML(Variant(~uint64_t(0))); }),
            u"XoVariantToXml; invalid variant type 21!");
}

TEST(XoVariantToXML, StringArrayIsOneEscapedTextAndComesBack) {
  Variant arr = VarArrayCreate({TVarArrayBound{0, 1}}, varUString);
  arr.PutElement({0}, Variant(u"a<b"));
  arr.PutElement({1}, Variant(u"c&d"));
  XoXMLString text = XoVariantToXML(arr);
  EXPECT_EQ(text,
            u"&lt;array length=&quot;2&quot;&gt;"
            u"&lt;element nr=&quot;0&quot;&gt;a&amp;lt;b&lt;/element&gt;"
            u"&lt;element nr=&quot;1&quot;&gt;c&amp;amp;d&lt;/element&gt;"
            u"&lt;/array&gt;");
  EXPECT_EQ(text.find(u'<'), XoXMLString::npos);
  for (uint16_t code : {uint16_t(varArray | varUString), uint16_t(varArray | varOleStr)}) {
    Variant back = XoXMLToVariant(text, code);
    ASSERT_TRUE(back.IsArray());
    EXPECT_EQ(back.VarArrayElementType(), varOleStr);
    EXPECT_EQ(back.VarArrayLowBound(1), 0);
    EXPECT_EQ(back.VarArrayHighBound(1), 1);
    EXPECT_EQ(back.GetElement({0}).AsString(), u"a<b");
    EXPECT_EQ(back.GetElement({1}).AsString(), u"c&d");
  }
}

TEST(XoVariantToXML, IntegerArrayRoundTrip) {
  Variant arr = VarArrayCreate({TVarArrayBound{0, 2}}, varInteger);
  for (int32_t i = 0; i < 3; ++i) arr.PutElement({i}, Variant(int32_t(i * 100 - 7)));
  Variant back = XoXMLToVariant(XoVariantToXML(arr), varArray | varInteger);
  ASSERT_EQ(back.VarArrayHighBound(1), 2);
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(back.GetElement({i}).AsInteger(), i * 100 - 7);
}

TEST(XoVariantToXML, ByteArraysAsHex) {
  Variant bytes = VarArrayFromBytes(std::string("\x00\xff", 2));
  EXPECT_EQ(XoVariantToXML(bytes), u"00FF");
  EXPECT_EQ(XoVariantToXML(VarArrayFromBytes(std::string("\x1a\xb2\x07", 3))), u"1AB207");
  Variant back = XoXMLToVariant(u"00FF", 8209);
  EXPECT_EQ(back.VarType(), varArray | varByte);
  EXPECT_EQ(VarArrayToByteString(back), std::string("\x00\xff", 2));
  Variant odd = XoXMLToVariant(u"00F", 8209);
  EXPECT_EQ(VarArrayToByteString(odd), std::string("\x00", 1));
  EXPECT_EQ(VarArrayToByteString(XoXMLToVariant(u"  1ab2 ", 8209)), "\x1a\xb2");
  EXPECT_TRUE(XoXMLToVariant(u"   ", 8209).IsNull());
  EXPECT_THROW(XoXMLToVariant(u"0G", 8209), EConvertError);
}

TEST(XoXMLToVariant, ByTypeCode) {
  EXPECT_TRUE(XoXMLToVariant(u"x", varEmpty).IsEmpty());
  EXPECT_TRUE(XoXMLToVariant(u"x", varNull).IsNull());
  Variant v = XoXMLToVariant(u"40000", varSmallint);
  EXPECT_EQ(v.VarType(), varSmallint);
  EXPECT_EQ(v.AsInteger(), -25536);
  EXPECT_EQ(XoXMLToVariant(u"12", varInteger).VarType(), varInteger);
  EXPECT_EQ(XoXMLToVariant(u"12", varDecimal).VarType(), varInteger);
  EXPECT_EQ(XoXMLToVariant(u"0.5", varSingle).VarType(), varSingle);
  EXPECT_EQ(XoXMLToVariant(u"0.5", varDouble).AsDouble(), 0.5);
  EXPECT_EQ(XoXMLToVariant(u"0.5", varExtended).VarType(), varExtended);
  Variant d = XoXMLToVariant(u"2024-01-02T03:04:05.006", varDate);
  EXPECT_EQ(d.VarType(), varDate);
  EXPECT_DOUBLE_EQ(d.AsDate(), EncodeDateTime(2024, 1, 2, 3, 4, 5, 6));
  EXPECT_EQ(XoXMLToVariant(u"a&amp;b", varOleStr).AsString(), u"a&b");
  EXPECT_EQ(XoXMLToVariant(u"a&amp;b", varUString).AsString(), u"a&b");
  EXPECT_EQ(XoXMLToVariant(u"a&amp;b", varString).AsString(), u"a&b");
  EXPECT_EQ(XoXMLToVariant(u"a&amp;b", varVariant).AsString(), u"a&amp;b");
  EXPECT_EQ(XoXMLToVariant(u"a&amp;b", varUnknown).AsString(), u"a&amp;b");
  EXPECT_EQ(XoXMLToVariant(u"TRUE", varBoolean).AsBoolean(), true);
  Variant s8 = XoXMLToVariant(u"300", varShortInt);
  EXPECT_EQ(s8.VarType(), varShortInt);
  EXPECT_EQ(s8.AsInteger(), 44);
  EXPECT_EQ(XoXMLToVariant(u"255", varByte).VarType(), varByte);
  EXPECT_EQ(XoXMLToVariant(u"65535", varWord).AsInteger(), 65535);
  EXPECT_EQ(XoXMLToVariant(u"$FFFFFFFF", varLongWord).AsInt64(), 4294967295);
  EXPECT_EQ(XoXMLToVariant(u"-9223372036854775808", varInt64).AsInt64(), std::numeric_limits<int64_t>::min());
}

TEST(XoXMLToVariant, UnsupportedTypeCodes) {
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToVariant(u"abc", uint16_t(99)); }),
            u"XoXMLToVariant(abc); Unsupported VarType");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToVariant(u"", uint16_t(varArray | varInteger)); }),
            u"XoXMLToVariant(); Unsupported VarType");
  EXPECT_THROW(XoXMLToVariant(u"x", varUInt64), Exception);
}

// The forms a C++ caller reaches with views, literals, strings, UTF-8 text
// and variants, each landing on the form it means.
TEST(XoXMLUtilsOverloads, EachCallReachesTheFormItMeans) {
  std::u16string s = u"42";
  std::u16string_view v = s;
  EXPECT_EQ(XoXMLToInt(u"42"), 42);
  EXPECT_EQ(XoXMLToInt(s), 42);
  EXPECT_EQ(XoXMLToInt(v.substr(0, 1)), 4);
  EXPECT_EQ(XoXMLToIntDef(u"abc", 7), 7);
  EXPECT_EQ(XoXMLToInt(Variant(u"42"), 7), 42);
  EXPECT_EQ(XoXMLToInt(Null(), 7), 7);
  // UTF-8 text converts at the call.
  EXPECT_EQ(XoXMLToInt("42"), 42);
  EXPECT_EQ(XoXMLToIntDef(std::string("x"), 7), 7);
  EXPECT_EQ(XoXMLToUInt64("-1"), UINT64_MAX);
  EXPECT_EQ(XoXMLToDouble("2.5"), 2.5);
  EXPECT_TRUE(XoXMLToBool("TRUE"));
  EXPECT_THROW(XoXMLToShortint("x"), EConvertError);
  {
    xo_test::ScopedTZ tz("UTC");
    EXPECT_EQ(XoXMLToDateTime("2024-01-01T12:00:00Z", tzfUTC), XoXMLToDateTime(u"2024-01-01T12:00:00Z", tzfUTC));
    EXPECT_EQ(XoXMLToTimeDef("bad", 0.25, xdtfLocal), 0.25);
    EXPECT_EQ(XoXMLToDate("2024-01-01"), XoXMLToDate(u"2024-01-01"));
    EXPECT_EQ(XoXMLToTime(Variant(u"12:00:00"), 0.0, tzfNone), 0.5);
  }
  EXPECT_EQ(XoXMLToDuration("P1M").Months, 1);
  EXPECT_EQ(XoXMLToValue("7", "System.Integer").AsInteger(), 7);
  // XoXMLToStr: text decodes, a variant alone gives "" for null.
  EXPECT_EQ(XoXMLToStr(u"a&amp;b"), u"a&b");
  EXPECT_EQ(XoXMLToStr(std::u16string(u"&lt;")), u"<");
  EXPECT_EQ(XoXMLToStr(Null()), u"");
  EXPECT_EQ(XoXMLToStr(Null(), u"none"), u"none");
  EXPECT_EQ(XoXMLToStr(Variant(u"x&gt;")), u"x>");
  EXPECT_EQ(XoXMLToStr(std::string_view("&lt;")), "<");  // the 8-bit form
  // The stream form of the escaping takes a view too.
  TXoStringStream out(1200);
  XoStrToXML(std::u16string_view(u"<a'>"), &out, true, false);
  XoStrToXML(u"&", &out, false, false);
  EXPECT_EQ(out.GetWString(), u"&lt;a&apos;&gt;&amp;");
}
