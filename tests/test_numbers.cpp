// Number services: integer and float text parsing, the general float format.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#include "uXoSysUtils.h"

using namespace xo;

namespace {

template <class F>
std::u16string MessageOf(F&& f) {
  try {
    f();
  } catch (const EConvertError& e) {
    return e.Message();
  }
  return u"<no exception>";
}

}  // namespace

TEST(Integers, DecimalSignsAndBlanks) {
  EXPECT_EQ(StrToInt(u"0"), 0);
  EXPECT_EQ(StrToInt(u"123"), 123);
  EXPECT_EQ(StrToInt(u"+123"), 123);
  EXPECT_EQ(StrToInt(u"-123"), -123);
  EXPECT_EQ(StrToInt(u"  42"), 42);
  EXPECT_EQ(StrToInt(u"\t\n 7"), 7);
  EXPECT_EQ(StrToInt(u"007"), 7);
  int32_t v = 99;
  EXPECT_FALSE(TryStrToInt(u"42 ", v));  // trailing blanks are refused
  EXPECT_FALSE(TryStrToInt(u"", v));
  EXPECT_FALSE(TryStrToInt(u"-", v));
  EXPECT_FALSE(TryStrToInt(u"+", v));
  EXPECT_FALSE(TryStrToInt(u"1x", v));
  EXPECT_FALSE(TryStrToInt(u"1.0", v));
  EXPECT_FALSE(TryStrToInt(u"- 1", v));
  EXPECT_FALSE(TryStrToInt(u"++1", v));
  EXPECT_FALSE(TryStrToInt(u"\u0661", v));  // Arabic-Indic digit one is no ASCII digit
}

TEST(Integers, Hexadecimal) {
  EXPECT_EQ(StrToInt(u"$FF"), 255);
  EXPECT_EQ(StrToInt(u"$ff"), 255);
  EXPECT_EQ(StrToInt(u"0x1A"), 26);
  EXPECT_EQ(StrToInt(u"0X1a"), 26);
  EXPECT_EQ(StrToInt(u"-$10"), -16);
  // Hex digits may fill the whole width: two's complement.
  EXPECT_EQ(StrToInt(u"$FFFFFFFF"), -1);
  EXPECT_EQ(StrToInt(u"$80000000"), INT32_MIN);
  EXPECT_EQ(StrToInt64(u"$FFFFFFFFFFFFFFFF"), -1);
  EXPECT_EQ(StrToInt64(u"$7FFFFFFFFFFFFFFF"), INT64_MAX);
  int32_t v;
  EXPECT_FALSE(TryStrToInt(u"$100000000", v));
  EXPECT_FALSE(TryStrToInt(u"$", v));
  EXPECT_FALSE(TryStrToInt(u"0x", v));
  EXPECT_FALSE(TryStrToInt(u"$G", v));
  int64_t w;
  EXPECT_FALSE(TryStrToInt64(u"$10000000000000000", w));
}

TEST(Integers, BoundariesOfEveryWidthRoundTrip) {
  const int64_t signedValues[] = {INT8_MIN,  INT8_MAX,  INT16_MIN, INT16_MAX, INT32_MIN, INT32_MAX,
                                  INT64_MIN, INT64_MAX, 0,         -1,        1};
  for (int64_t x : signedValues) {
    EXPECT_EQ(StrToInt64(IntToStr(x)), x) << x;
    if (x >= INT32_MIN && x <= INT32_MAX) {
      EXPECT_EQ(StrToInt(IntToStr(x)), x) << x;
    }
  }
  const uint64_t unsignedValues[] = {UINT8_MAX, UINT16_MAX, UINT32_MAX, UINT64_MAX, 0};
  for (uint64_t x : unsignedValues) EXPECT_EQ(StrToUInt64(UIntToStr(x)), x) << x;

  int32_t i;
  EXPECT_FALSE(TryStrToInt(u"2147483648", i));
  EXPECT_FALSE(TryStrToInt(u"-2147483649", i));
  int64_t l;
  EXPECT_FALSE(TryStrToInt64(u"9223372036854775808", l));
  EXPECT_FALSE(TryStrToInt64(u"-9223372036854775809", l));
  EXPECT_FALSE(TryStrToInt64(u"99999999999999999999999", l));
  uint64_t u;
  EXPECT_FALSE(TryStrToUInt64(u"18446744073709551616", u));
  EXPECT_FALSE(TryStrToUInt64(u"-1", u));
  // Unsigned 32-bit values above INT32_MAX do not fit the 32-bit parser.
  EXPECT_FALSE(TryStrToInt(UIntToStr(UINT32_MAX), i));
}

TEST(Integers, EightBitForms) {
  int32_t i;
  ASSERT_TRUE(TryStrToInt(std::string_view("-2147483648"), i));
  EXPECT_EQ(i, INT32_MIN);
  int64_t l;
  ASSERT_TRUE(TryStrToInt64(std::string_view(" $ff"), l));
  EXPECT_EQ(l, 255);
  uint64_t u;
  EXPECT_FALSE(TryStrToUInt64(std::string_view("1 "), u));
}

TEST(Integers, ErrorsAndDefaults) {
  EXPECT_EQ(MessageOf([] { StrToInt(u"abc"); }), u"'abc' is not a valid integer value");
  EXPECT_EQ(MessageOf([] { StrToInt64(u""); }), u"'' is not a valid integer value");
  EXPECT_EQ(MessageOf([] { StrToUInt64(u"-5"); }), u"'-5' is not a valid integer value");
  EXPECT_EQ(StrToIntDef(u"x", 7), 7);
  EXPECT_EQ(StrToIntDef(u"8", 7), 8);
  EXPECT_EQ(StrToInt64Def(u"9223372036854775808", -3), -3);
  EXPECT_EQ(StrToUInt64Def(u"", 4u), 4u);
}

TEST(Integers, Val) {
  int64_t v;
  int code;
  Val(u"123", v, code);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(v, 123);
  Val(u"12a", v, code);
  EXPECT_EQ(code, 3);
  EXPECT_EQ(v, 0);
  Val(u"", v, code);
  EXPECT_EQ(code, 1);
  Val(u"-", v, code);
  EXPECT_EQ(code, 2);
  int32_t w;
  Val(u"99999999999", w, code);
  EXPECT_NE(code, 0);
  double d;
  Val(u"1.5", d, code);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(d, 1.5);
  Val(u"1.5x", d, code);
  EXPECT_EQ(code, 4);
}

TEST(Floats, Parsing) {
  EXPECT_EQ(StrToFloat(u"1.5"), 1.5);
  EXPECT_EQ(StrToFloat(u"-0.25"), -0.25);
  EXPECT_EQ(StrToFloat(u"+2"), 2.0);
  EXPECT_EQ(StrToFloat(u".5"), 0.5);
  EXPECT_EQ(StrToFloat(u"5."), 5.0);
  EXPECT_EQ(StrToFloat(u"1e3"), 1000.0);
  EXPECT_EQ(StrToFloat(u"1E+3"), 1000.0);
  EXPECT_EQ(StrToFloat(u"2.5e-3"), 0.0025);
  EXPECT_EQ(StrToFloat(u"  3.25  "), 3.25);
  EXPECT_EQ(StrToFloat(u"0.1"), 0.1);
  EXPECT_EQ(StrToFloat(u"1e-400"), 0.0);  // below the range: zero
  EXPECT_TRUE(std::signbit(StrToFloat(u"-1e-400")));
  double d;
  EXPECT_FALSE(TryStrToFloat(u"1e400", d));
  EXPECT_FALSE(TryStrToFloat(u"", d));
  EXPECT_FALSE(TryStrToFloat(u".", d));
  EXPECT_FALSE(TryStrToFloat(u"1e", d));
  EXPECT_FALSE(TryStrToFloat(u"1,5", d));  // the decimal separator is always "."
  EXPECT_FALSE(TryStrToFloat(u"1,000.5", d));
  EXPECT_FALSE(TryStrToFloat(u"0x10", d));
  EXPECT_FALSE(TryStrToFloat(u"1.5.2", d));
  EXPECT_FALSE(TryStrToFloat(u"- 1", d));
  EXPECT_FALSE(TryStrToFloat(u"infinite", d));
}

TEST(Floats, InfinityAndNaN) {
  EXPECT_EQ(StrToFloat(u"INF"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(StrToFloat(u"-INF"), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(StrToFloat(u"+Infinity"), std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(StrToFloat(u"NaN")));
  EXPECT_TRUE(std::isnan(StrToFloat(u"nan")));
  EXPECT_EQ(FloatToStr(std::numeric_limits<double>::infinity()), u"INF");
  EXPECT_EQ(FloatToStr(-std::numeric_limits<double>::infinity()), u"-INF");
  EXPECT_EQ(FloatToStr(std::numeric_limits<double>::quiet_NaN()), u"NAN");
  EXPECT_TRUE(std::isnan(StrToFloat(FloatToStr(std::nan("")))));
}

TEST(Floats, ErrorsAndDefaults) {
  EXPECT_EQ(MessageOf([] { StrToFloat(u"1,5"); }), u"'1,5' is not a valid floating point value");
  EXPECT_EQ(MessageOf([] { StrToExtended(u"x"); }), u"'x' is not a valid floating point value");
  EXPECT_EQ(StrToFloatDef(u"abc", 2.5), 2.5);
  EXPECT_EQ(StrToFloatDef(u"4", 2.5), 4.0);
  EXPECT_EQ(StrToExtendedDef(u"", 1.0L), 1.0L);
  float f;
  EXPECT_FALSE(TryStrToFloat(u"1e39", f));  // beyond single
  ASSERT_TRUE(TryStrToFloat(u"0.5", f));
  EXPECT_EQ(f, 0.5f);
}

TEST(Floats, TextToFloatWithOtherSeparator) {
  double d;
  ASSERT_TRUE(TextToFloat(u"1,25", d, u','));
  EXPECT_EQ(d, 1.25);
  EXPECT_FALSE(TextToFloat(u"1.25", d, u','));
  long double e;
  ASSERT_TRUE(TextToFloat(u"-2.5E2", e));
  EXPECT_EQ(e, -250.0L);
}

TEST(FloatToStr, GeneralFormat) {
  EXPECT_EQ(FloatToStr(0.1), u"0.1");
  EXPECT_EQ(FloatToStr(100.0), u"100");
  EXPECT_EQ(FloatToStr(1e20), u"1E20");
  EXPECT_EQ(FloatToStr(1.5e-7), u"1.5E-7");
  EXPECT_EQ(FloatToStr(123456789012345680000.0), u"1.23456789012346E20");
  EXPECT_EQ(FloatToStr(-2.5), u"-2.5");
  EXPECT_EQ(FloatToStr(0.0), u"0");
  EXPECT_EQ(FloatToStr(-0.0), u"0");
  EXPECT_EQ(FloatToStr(1.0 / 3.0), u"0.333333333333333");
  EXPECT_EQ(FloatToStr(2.0 / 3.0), u"0.666666666666667");
  EXPECT_EQ(FloatToStr(0.1 + 0.2), u"0.3");
  // Exponent thresholds: fixed notation for -5 < e < 15.
  EXPECT_EQ(FloatToStr(1e14), u"100000000000000");
  EXPECT_EQ(FloatToStr(123456789012345.0), u"123456789012345");
  EXPECT_EQ(FloatToStr(1e15), u"1E15");
  EXPECT_EQ(FloatToStr(999999999999999.9), u"1E15");  // rounds up into the next decade
  EXPECT_EQ(FloatToStr(0.0001), u"0.0001");
  EXPECT_EQ(FloatToStr(0.00012345), u"0.00012345");
  EXPECT_EQ(FloatToStr(0.00001), u"1E-5");
  EXPECT_EQ(FloatToStr(-1.25e-10), u"-1.25E-10");
  EXPECT_EQ(FloatToStr(1.7976931348623157e308), u"1.79769313486232E308");
  EXPECT_EQ(FloatToStr(5e-324), u"4.94065645841247E-324");
  EXPECT_EQ(FloatToStr(1.5L), u"1.5");
  EXPECT_EQ(FloatToStr(1e20L), u"1E20");
  EXPECT_EQ(FloatToStr(0.1L), u"0.1");
  std::u16string buf = u"x=";
  XoAppendFloatToStr(buf, 0.5);
  EXPECT_EQ(buf, u"x=0.5");
}

TEST(FloatToStr, RandomDoublesAgreeTo15Digits) {
  std::mt19937_64 rng(12345);
  std::uniform_real_distribution<double> mant(1.0, 10.0);
  std::uniform_int_distribution<int> ex(-300, 300);
  for (int k = 0; k < 20000; ++k) {
    double x = mant(rng) * std::pow(10.0, ex(rng));
    if (k & 1) x = -x;
    std::u16string s = FloatToStr(x);
    double y = StrToFloat(s);
    // Both must print identically at 15 significant digits.
    char a[40], b[40];
    std::snprintf(a, sizeof a, "%.14e", x);
    std::snprintf(b, sizeof b, "%.14e", y);
    ASSERT_STREQ(a, b) << XoUTF16ToUTF8(s);
    // And the text is the shortest such form: printing y again gives s.
    ASSERT_EQ(FloatToStr(y), s);
  }
}

TEST(Booleans, TextForms) {
  EXPECT_EQ(BoolToStr(true), u"True");
  EXPECT_EQ(BoolToStr(false), u"False");
  bool b = false;
  ASSERT_TRUE(TryStrToBool(u"TRUE", b));
  EXPECT_TRUE(b);
  ASSERT_TRUE(TryStrToBool(u"false", b));
  EXPECT_FALSE(b);
  ASSERT_TRUE(TryStrToBool(u"-1", b));
  EXPECT_TRUE(b);
  ASSERT_TRUE(TryStrToBool(u"0", b));
  EXPECT_FALSE(b);
  EXPECT_FALSE(TryStrToBool(u"yes", b));
  EXPECT_FALSE(TryStrToBool(u"", b));
}

TEST(FloatToStr, ShortDecimalsComeBackExactly) {
  // A value written with at most 15 significant digits prints with those
  // digits (no more) and reads back to the same double.
  std::mt19937_64 rng(777);
  for (int k = 0; k < 20000; ++k) {
    int digits = 1 + static_cast<int>(rng() % 15);
    uint64_t m = rng() % 1000000000000000ULL;
    uint64_t limit = 1;
    for (int i = 0; i < digits; ++i) limit *= 10;
    m %= limit;
    if (m == 0) m = 1;
    int e = static_cast<int>(rng() % 570) - 290;
    std::u16string text = UIntToStr(m) + u"E" + IntToStr(e);
    double x = StrToFloat(text);
    std::u16string s = FloatToStr(x);
    ASSERT_EQ(StrToFloat(s), x) << XoUTF16ToUTF8(text) << " -> " << XoUTF16ToUTF8(s);
    while (m % 10 == 0) m /= 10;
    size_t sig = 0;
    bool lead = true;
    for (char16_t c : s) {
      if (c == u'E') break;
      if (c >= u'1' && c <= u'9') lead = false;
      if (!lead && c >= u'0' && c <= u'9') ++sig;
    }
    size_t mdigits = UIntToStr(m).size();
    // Fixed notation may carry zeros before the point ("100"); never more
    // significant digits than the text had.
    if (s.find(u'E') != std::u16string::npos || s.find(u'.') != std::u16string::npos) {
      ASSERT_LE(sig, mdigits) << XoUTF16ToUTF8(text) << " -> " << XoUTF16ToUTF8(s);
    }
  }
}
