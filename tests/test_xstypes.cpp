// Tests of uXoXSTypes: nullable simple values with facets, their operators,
// text forms and binary encodings, and their place in the type registry and
// the value text conversions.

#include <gtest/gtest.h>

#include "xo_test_support.h"

#include <clocale>
#include <cmath>

#include "uXoRtti.h"
#include "uXoXMLUtils.h"
#include "uXoXSTypes.h"

using namespace xo;
using xo_test::MessageOf;

namespace xstypes_test {

struct TOrder {
  TXsInt Quantity;
  TXsUnsignedLong Serial;
  TXsDouble Price;
  TXsFloat Weight;
  TXsBoolean Paid;
  TXsString Note;
  TXsDate Due;
  TXsDateTime Stamp;
  TXsDuration Term;
  TXsBase64Binary Blob;
};
XO_DESCRIBE(TOrder, u"XsTypesTest.TOrder", r) {
  r.field(u"Quantity", &TOrder::Quantity);
  r.field(u"Serial", &TOrder::Serial);
  r.field(u"Price", &TOrder::Price);
  r.field(u"Weight", &TOrder::Weight);
  r.field(u"Paid", &TOrder::Paid);
  r.field(u"Note", &TOrder::Note);
  r.field(u"Due", &TOrder::Due);
  r.field(u"Stamp", &TOrder::Stamp);
  r.field(u"Term", &TOrder::Term);
  r.field(u"Blob", &TOrder::Blob);
}

}  // namespace xstypes_test

using namespace xstypes_test;

namespace {

const char16_t* const cMinExcl = u"The specified value is smaller than, or equal to, the minimal value!";
const char16_t* const cMaxExcl = u"The specified value is greater than, or equal to, the maximal value!";
const char16_t* const cMinIncl = u"The specified value is smaller than the minimal value!";
const char16_t* const cPattern = u"The specified value does not match the specified pattern!";
const char16_t* const cTotal = u"The value contains more digits than the maximum amount of allowed digits!";
const char16_t* const cFraction =
    u"The value contains more digits than the maximum amount of allowed fraction digits!";

template <class F>
std::u16string RangeMessage(F&& AFunc) {
  return MessageOf<EArgumentOutOfRangeException>(std::forward<F>(AFunc));
}

}  // namespace

TEST(XsTypes, DefaultRecordIsNull) {
  TXsInt i;
  EXPECT_TRUE(i.IsNull());
  EXPECT_EQ(i.ToString(), u"NaN");
  EXPECT_TRUE(i.ToVariant().IsNull());
  EXPECT_EQ(static_cast<int32_t>(i), 0);
  TXsDouble d;
  EXPECT_TRUE(d.IsNull());
  EXPECT_EQ(d.ToString(), u"NaN");
  EXPECT_EQ(static_cast<double>(d), 0.0);
  EXPECT_TRUE(TXsAnySimpleType<int32_t>().IsNull());
  EXPECT_TRUE(TXsBase64Binary().IsNull());
  EXPECT_TRUE(TXsBoolean().IsNull());
  EXPECT_TRUE(TXsString().IsNull());
  EXPECT_TRUE(TXsDate().IsNull());
  EXPECT_TRUE(TXsDuration().IsNull());
  // A marker other than "1" is null for the number records only.
  TXsInt odd;
  odd.FHasValue = u"yes";
  odd.FValue = 5;
  EXPECT_TRUE(odd.IsNull());
  EXPECT_EQ(static_cast<int32_t>(odd), 0);
  TXsAnySimpleType<int32_t> any;
  any.FHasValue = u"yes";
  EXPECT_FALSE(any.IsNull());
}

TEST(XsTypes, PresenceAndClear) {
  TXsInt i = 42;
  EXPECT_FALSE(i.IsNull());
  EXPECT_EQ(i.FHasValue, u"1");
  EXPECT_EQ(static_cast<int32_t>(i), 42);
  EXPECT_EQ(i.ToString(), u"42");
  EXPECT_EQ(i.ToVariant().VarType(), varUString);
  EXPECT_EQ(VarToStr(i.ToVariant()), u"42");
  i.Restrictions.MaxInclusive = 100;
  i.Clear();
  EXPECT_TRUE(i.IsNull());
  EXPECT_EQ(i.FValue, 0);
  EXPECT_FALSE(i.Restrictions.MaxInclusive.IsNull());  // facets stay
  i.Restrictions.Clear();
  EXPECT_TRUE(i.Restrictions.MaxInclusive.IsNull());
  TXsAnySimpleType<int16_t> a = TXsAnySimpleType<int16_t>::Create(-3);
  EXPECT_EQ(static_cast<int16_t>(a), -3);
  a.Clear();
  EXPECT_EQ(static_cast<int16_t>(a), 0);
  // Copies carry value, marker and facets.
  TXsInt src = 5;
  src.Restrictions.MinInclusive = 1;
  TXsInt copy = src;
  EXPECT_EQ(static_cast<int32_t>(copy), 5);
  EXPECT_EQ(static_cast<int32_t>(copy.Restrictions.MinInclusive), 1);
}

TEST(XsTypes, IntegerFacets) {
  TXsInt i;
  i.Restrictions.MinExclusive = 0;
  EXPECT_EQ(RangeMessage([&] { i = 0; }), cMinExcl);
  i = 1;
  EXPECT_EQ(static_cast<int32_t>(i), 1);

  TXsInt j;
  j.Restrictions.MinInclusive = 0;
  j = 0;
  EXPECT_EQ(RangeMessage([&] { j = -1; }), cMinIncl);
  EXPECT_EQ(static_cast<int32_t>(j), 0);

  TXsInt k;
  k.Restrictions.MaxExclusive = 10;
  EXPECT_EQ(RangeMessage([&] { k = 10; }), cMaxExcl);

  TXsInt m;
  m.Restrictions.MaxInclusive = 10;
  m = 10;
  EXPECT_EQ(RangeMessage([&] { m = 11; }), cMaxExcl);  // the inclusive maximum uses the same words
  // A failed assignment leaves the marker "1" and the old value.
  TXsInt n;
  n.Restrictions.MaxInclusive = 10;
  EXPECT_THROW(n = 11, EArgumentOutOfRangeException);
  EXPECT_FALSE(n.IsNull());
  EXPECT_EQ(n.FValue, 0);

  // The first broken facet wins.
  TXsInt both;
  both.Restrictions.MinExclusive = 5;
  both.Restrictions.MinInclusive = 5;
  EXPECT_EQ(RangeMessage([&] { both = 4; }), cMinExcl);

  // Unsigned kinds compare as unsigned 64-bit numbers.
  TXsUnsignedLong u;
  u.Restrictions.MinInclusive = 1;
  u = UINT64_MAX;
  EXPECT_EQ(static_cast<uint64_t>(u), UINT64_MAX);
  TXsLong l;
  l.Restrictions.MaxInclusive = 0;
  l = INT64_MIN;

  // Creating a record does not check; the constructor has no facets anyway.
  TXsInt c = TXsInt::Create(-5);
  c.Restrictions.MinInclusive = 0;
  EXPECT_EQ(static_cast<int32_t>(c), -5);
}

TEST(XsTypes, PatternFacetMatchesAnywhere) {
  TXsInt i;
  i.Restrictions.Pattern = u"3";
  i = 1234;
  EXPECT_EQ(RangeMessage([&] { i = 12; }), cPattern);
  i.Restrictions.Pattern = u"^-?\\d{1,3}$";
  i = -999;
  EXPECT_EQ(RangeMessage([&] { i = 1000; }), cPattern);
  TXsUnsignedLong u;
  u.Restrictions.Pattern = u"^18446744073709551615$";
  u = UINT64_MAX;  // the pattern sees the unsigned text
  TXsDouble d;
  d.Restrictions.Pattern = u"^\\d+\\.5$";
  d = 2.5;
  EXPECT_EQ(RangeMessage([&] { d = 2.25; }), cPattern);
  // A pattern the engine refuses is reported as such.
  TXsInt bad;
  bad.Restrictions.Pattern = u"(";
  EXPECT_THROW(bad = 1, ERegularExpressionError);
}

TEST(XsTypes, FromStringIgnoresFacets) {
  TXsInt i;
  i.Restrictions.MaxInclusive = 10;
  i.FromString(u"11");
  EXPECT_EQ(static_cast<int32_t>(i), 11);
  i.FromString(u"");
  EXPECT_TRUE(i.IsNull());
  TXsUnsignedByte b;
  b.FromString(u"300");
  EXPECT_EQ(static_cast<uint8_t>(b), 44);
  TXsShort s;
  s.FromString(u"$FFFF");
  EXPECT_EQ(static_cast<int16_t>(s), -1);
  // Bad text: the marker is "1" and the old value stays.
  TXsInt bad;
  bad.FromString(u"7");
  bad.Clear();
  EXPECT_THROW(bad.FromString(u"x"), EConvertError);
  EXPECT_FALSE(bad.IsNull());
  EXPECT_EQ(bad.FValue, 0);
  // 32-bit parser for the 32-bit kinds, 64-bit for the 64-bit ones.
  TXsUnsignedInt ui;
  EXPECT_THROW(ui.FromString(u"4294967295"), EConvertError);
  TXsLong lg;
  lg.FromString(u"-9223372036854775808");
  EXPECT_EQ(static_cast<int64_t>(lg), INT64_MIN);
  // The unsigned 64-bit kind writes its bits as a signed number and reads
  // them back.
  TXsUnsignedLong ul = UINT64_MAX;
  EXPECT_EQ(ul.ToString(), u"-1");
  TXsUnsignedLong back;
  back.FromString(ul.ToString());
  EXPECT_EQ(static_cast<uint64_t>(back), UINT64_MAX);
  TXsUnsignedInt big = 4294967295u;
  EXPECT_EQ(big.ToString(), u"4294967295");

  TXsDouble d;
  d.Restrictions.MaxInclusive = 1.0;
  d.FromString(u"2.5");
  EXPECT_EQ(static_cast<double>(d), 2.5);
  EXPECT_THROW(d.FromString(u"2,5"), EConvertError);
  EXPECT_THROW(TXsFloat().FromString(u"1e60"), EConvertError);
  d.FromString(u"");
  EXPECT_TRUE(d.IsNull());
}

TEST(XsTypes, IntegerOperators) {
  TXsInt null;
  TXsInt sum = null + 5;
  EXPECT_TRUE(sum.IsNull());  // no check, no exception
  null.Restrictions.MaxInclusive = 0;
  EXPECT_TRUE((null + 5).IsNull());

  TXsInt a;
  a.Restrictions.MaxInclusive = 10;
  a = 8;
  EXPECT_EQ(static_cast<int32_t>(a + 2), 10);
  EXPECT_EQ(RangeMessage([&] { (void)(a + 3); }), cMaxExcl);
  EXPECT_EQ(static_cast<int32_t>(a), 8);  // the operand is untouched
  // The result carries the left operand's facets.
  TXsInt r = a - 3;
  EXPECT_EQ(static_cast<int32_t>(r.Restrictions.MaxInclusive), 10);
  // A record on the right counts through its value, a null one as 0.
  TXsInt two = 2;
  EXPECT_EQ(static_cast<int32_t>(TXsInt(4) * two), 8);
  EXPECT_THROW((void)(a * two), EArgumentOutOfRangeException);
  EXPECT_EQ(static_cast<int32_t>(a - TXsInt()), 8);

  // Wrapping arithmetic in the width of T.
  TXsUnsignedByte b = 255;
  ++b;
  EXPECT_EQ(static_cast<uint8_t>(b), 0);
  --b;
  EXPECT_EQ(static_cast<uint8_t>(b), 255);
  TXsInt maxi = INT32_MAX;
  EXPECT_EQ(static_cast<int32_t>(maxi + 1), INT32_MIN);
  TXsUnsignedShort w = 65535;
  EXPECT_EQ(static_cast<uint16_t>(w * w), 1);
  // A failed increment leaves the record as it was.
  TXsByte lim;
  lim.Restrictions.MaxInclusive = 3;
  lim = 3;
  EXPECT_THROW(lim++, EArgumentOutOfRangeException);
  EXPECT_EQ(static_cast<int8_t>(lim), 3);
  TXsByte post = 3;
  TXsByte old = post++;
  EXPECT_EQ(static_cast<int8_t>(old), 3);
  EXPECT_EQ(static_cast<int8_t>(post), 4);

  // Negation: signed kinds negate, unsigned ones refuse unless null.
  TXsInt p = 5;
  EXPECT_EQ(static_cast<int32_t>(-p), -5);
  EXPECT_EQ(static_cast<int32_t>(+p), 5);
  TXsUnsignedInt un;
  EXPECT_TRUE((-un).IsNull());
  un = 1;
  EXPECT_EQ(MessageOf<ENotSupportedException>([&] { (void)(-un); }),
            u"The negative operation is not allowed on unsigned integer types!");

  // Division and remainder as integers, signed or unsigned by the kind.
  TXsInt q = -7;
  EXPECT_EQ(static_cast<int32_t>(q / 2), -3);
  EXPECT_EQ(static_cast<int32_t>(q % 2), -1);
  TXsUnsignedByte ub = 200;
  EXPECT_EQ(static_cast<uint8_t>(ub / 3), 66);
  EXPECT_THROW((void)(q / 0), EDivByZero);
  EXPECT_THROW((void)(q % 0), EDivByZero);
  TXsInt lowest = INT32_MIN;
  EXPECT_EQ(static_cast<int32_t>(lowest / -1), INT32_MIN);
  EXPECT_EQ(static_cast<int32_t>(lowest % -1), 0);
  // The float division gives a TValue, without a check.
  TXsInt seven = 7;
  seven.Restrictions.MaxInclusive = 1;
  TValue v = TXsInt::op_Division(seven, 2);
  EXPECT_EQ(v.TypeKind(), xtkExtended);
  EXPECT_EQ(v.AsExtended(), 3.5L);
  EXPECT_TRUE(TXsInt::op_Division(TXsInt(), 2).IsEmpty());
  EXPECT_TRUE(std::isinf(static_cast<double>(TXsInt::op_Division(TXsInt(1), 0).AsExtended())));
  TXsUnsignedLong huge = UINT64_MAX;
  EXPECT_GT(TXsUnsignedLong::op_Division(huge, 1).AsExtended(), 1e19L);

  // Shifts: left cut to T; right logical, the narrow kinds widened with
  // their sign first.
  TXsByte sb = 1;
  EXPECT_EQ(static_cast<int8_t>(sb << 7), -128);
  EXPECT_EQ(static_cast<int8_t>(sb << 8), 0);
  TXsByte neg = -128;
  EXPECT_EQ(static_cast<int8_t>(neg >> 1), -64);  // 0xFFFFFF80 >> 1, cut to 8 bits
  EXPECT_EQ(static_cast<int8_t>(neg >> 24), -1);
  EXPECT_EQ(static_cast<int8_t>(neg >> 25), 127);
  TXsInt ni = -2;
  EXPECT_EQ(static_cast<int32_t>(ni >> 1), INT32_MAX);  // the 32-bit kind loses its sign
  TXsLong nl = -2;
  EXPECT_EQ(static_cast<int64_t>(nl >> 1), INT64_MAX);
  // Bitwise operators.
  TXsUnsignedByte bits = 0xF0;
  EXPECT_EQ(static_cast<uint8_t>(bits & 0x3C), 0x30);
  EXPECT_EQ(static_cast<uint8_t>(bits | 0x0F), 0xFF);
  EXPECT_EQ(static_cast<uint8_t>(bits ^ 0xFF), 0x0F);
  // Compound assignments keep the facets.
  TXsInt acc;
  acc.Restrictions.MaxInclusive = 5;
  acc = 1;
  acc += 3;
  EXPECT_EQ(static_cast<int32_t>(acc), 4);
  EXPECT_THROW(acc += 3, EArgumentOutOfRangeException);
  EXPECT_EQ(static_cast<int32_t>(acc), 4);
  // A plain number on the left is plain arithmetic on the value.
  int32_t plain = 10 - acc;
  EXPECT_EQ(plain, 6);
}

TEST(XsTypes, Comparisons) {
  TXsInt n;
  EXPECT_TRUE((n == 0).IsNull());
  EXPECT_FALSE(static_cast<bool>(n == 0));
  TXsInt a = 5;
  EXPECT_TRUE(a == 5);
  EXPECT_TRUE(a != 4);
  EXPECT_TRUE(a > 4);
  EXPECT_TRUE(a >= 5);
  EXPECT_TRUE(a < 6);
  EXPECT_TRUE(a <= 5);
  EXPECT_FALSE((a < 5).IsNull());
  EXPECT_FALSE(a < 5);
  EXPECT_TRUE(6 > a);
  EXPECT_TRUE(a == TXsInt(5));
  // Unsigned kinds compare unsigned.
  TXsUnsignedInt u = 4000000000u;
  EXPECT_TRUE(u > 1);
  TXsDouble d = 1.5;
  EXPECT_TRUE(d == 1.5);
  EXPECT_TRUE((TXsDouble() < 1.0).IsNull());
}

TEST(XsTypes, RationalOperators) {
  TXsDouble d = 1.5;
  EXPECT_EQ(static_cast<double>(d + 0.5), 2.0);
  EXPECT_TRUE((TXsDouble() + 0.5).IsNull());
  EXPECT_EQ(static_cast<double>(d - 2), -0.5);
  EXPECT_EQ(static_cast<double>(d * 2), 3.0);
  EXPECT_EQ(static_cast<double>(d / 2), 0.75);
  EXPECT_EQ(static_cast<double>(-d), -1.5);
  EXPECT_EQ(static_cast<double>(+d), 1.5);
  // Division gives a checked record.
  TXsDouble lim;
  lim.Restrictions.MinInclusive = 1.0;
  lim = 3.0;
  EXPECT_EQ(RangeMessage([&] { (void)(lim / 4); }), cMinIncl);
  // Rounding half to even, truncation toward zero.
  EXPECT_EQ(static_cast<double>(Round(TXsDouble(2.5))), 2.0);
  EXPECT_EQ(static_cast<double>(Round(TXsDouble(3.5))), 4.0);
  EXPECT_EQ(static_cast<double>(Round(TXsDouble(-2.5))), -2.0);
  EXPECT_EQ(static_cast<double>(Round(TXsDouble(2.6))), 3.0);
  TXsDouble neg = -2.7;
  TXsLong t = Trunc(neg);
  EXPECT_EQ(static_cast<int64_t>(t), -2);
  EXPECT_TRUE(Trunc(TXsDouble()).IsNull());
  EXPECT_TRUE(Round(TXsDouble()).IsNull());
}

TEST(XsTypes, DigitFacets) {
  TXsDouble d;
  d.Restrictions.TotalDigits = 3;
  d = 12.3;
  d = -12.3;
  EXPECT_EQ(RangeMessage([&] { d = 123.4; }), cTotal);
  TXsDouble f;
  f.Restrictions.FractionDigits = 2;
  f = 1.25;
  f = -1.25;
  f = 7;
  EXPECT_EQ(RangeMessage([&] { f = 1.125; }), cFraction);
  // Values written with an exponent count their digits in fixed notation.
  TXsDouble tiny;
  tiny.Restrictions.FractionDigits = 6;
  EXPECT_EQ(RangeMessage([&] { tiny = 1.5e-7; }), cFraction);
  tiny.Restrictions.FractionDigits = 8;
  tiny = 1.5e-7;
  TXsDouble large;
  large.Restrictions.TotalDigits = 20;
  EXPECT_EQ(RangeMessage([&] { large = 1e20; }), cTotal);
  large.Restrictions.TotalDigits = 21;
  large = 1e20;
  // Single values count the digits of their own shortest text.
  TXsFloat s;
  s.Restrictions.FractionDigits = 1;
  s.Restrictions.TotalDigits = 2;
  s = 1.5f;
  EXPECT_EQ(RangeMessage([&] { s = 11.5f; }), cTotal);
  // Ranges compare as extended floats.
  TXsDecimal e;
  e.Restrictions.MaxExclusive = 1.0L;
  EXPECT_EQ(RangeMessage([&] { e = 1.0L; }), cMaxExcl);
}

TEST(XsTypes, RationalTextUsesPointEverywhere) {
  const char* old = std::setlocale(LC_NUMERIC, nullptr);
  std::string saved = old ? old : "C";
  std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // may be missing; the text must not care either way
  TXsDouble d = 1.5;
  EXPECT_EQ(d.ToString(), u"1.5");
  EXPECT_EQ(VarToStr(d.ToVariant()), u"1.5");
  TXsFloat f = 0.1f;
  EXPECT_EQ(f.ToString(), u"0.1");
  TXsDecimal e = 2.25L;
  EXPECT_EQ(e.ToString(), u"2.25");
  std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(XsTypes, IntegerToRationalConversion) {
  TXsDouble d;
  d.Restrictions.MaxInclusive = 10.0;
  TXsInt i = 7;
  d = i;
  EXPECT_EQ(static_cast<double>(d), 7.0);
  // A null source copies its marker and leaves the value.
  d = TXsInt();
  EXPECT_TRUE(d.IsNull());
  EXPECT_EQ(d.FValue, 7.0);
  // A failure stores the new value with the source's marker.
  TXsInt big = 11;
  EXPECT_EQ(RangeMessage([&] { d = big; }), cMaxExcl);
  EXPECT_EQ(d.FValue, 11.0);
  EXPECT_FALSE(d.IsNull());
  // Unsigned sources convert as unsigned.
  TXsDecimal e = TXsUnsignedLong(UINT64_MAX);
  EXPECT_EQ(static_cast<long double>(e), 18446744073709551615.0L);
}

TEST(XsTypes, BinaryStrings) {
  TXsBase64Binary n;
  EXPECT_TRUE((n + std::string("ab")).IsNull());
  EXPECT_TRUE(n.ToVariant().IsNull());
  TXsBase64Binary b = std::string("Ma");
  b = b + std::string("n\xFF");
  EXPECT_EQ(static_cast<std::string>(b), std::string("Man\xFF"));
  EXPECT_EQ(b.ToVariant().VarType(), varString);
  TXoStringStream out(65001);
  b.SaveBinaryData(&out);
  EXPECT_EQ(out.GetDataString(), "TWFu/w==");
  out.SetPosition(0);
  TXsBase64Binary back;
  back.LoadBinaryData(&out);
  EXPECT_FALSE(back.IsNull());
  EXPECT_EQ(static_cast<std::string>(back), std::string("Man\xFF"));
  TXoStringStream wrapped(std::string_view("TW\r\nE="), 65001);
  back.LoadBinaryData(&wrapped);
  EXPECT_EQ(static_cast<std::string>(back), "Ma");
  TXoStringStream bad(std::string_view("TW*="), 65001);
  EXPECT_THROW(back.LoadBinaryData(&bad), EConvertError);

  TXsHexBinary h = std::string("\x01\xAB", 2);
  TXoStringStream hex(65001);
  h.SaveBinaryData(&hex);
  EXPECT_EQ(hex.GetDataString(), "01AB");
  TXoStringStream lower(std::string_view("0aff"), 65001);
  h.LoadBinaryData(&lower);
  EXPECT_EQ(static_cast<std::string>(h), std::string("\x0A\xFF", 2));
  TXoStringStream odd(std::string_view("0af"), 65001);
  EXPECT_THROW(h.LoadBinaryData(&odd), EConvertError);
  // An empty value writes nothing and reads back present and empty.
  TXsHexBinary empty = std::string();
  TXoStringStream none(65001);
  empty.SaveBinaryData(&none);
  EXPECT_EQ(none.GetSize(), 0);
  none.SetPosition(0);
  TXsHexBinary e2;
  e2.LoadBinaryData(&none);
  EXPECT_FALSE(e2.IsNull());
}

TEST(XsTypes, OtherRecords) {
  TXsBoolean b = true;
  EXPECT_TRUE(b);
  EXPECT_EQ(b.ToString(), u"true");
  b.Clear();
  EXPECT_FALSE(b);
  EXPECT_TRUE(b.IsNull());
  TXsString s = u"text";
  EXPECT_EQ(static_cast<std::u16string>(s), u"text");
  s.Clear();
  EXPECT_EQ(static_cast<std::u16string>(s), u"");
  TXsDateTime dt = 45000.5;
  EXPECT_EQ(dt.ToString(false), u"2023-03-15T12:00:00.000");
  {
    xo_test::ScopedTZ tz("UTC");
    EXPECT_EQ(dt.ToString(true), u"2023-03-15T12:00:00.000+00:00");
    TXsDate d = 45000.0;
    EXPECT_EQ(d.ToString(true), u"2023-03-15+00:00");
  }
  TXsTime t = 0.75;
  EXPECT_EQ(t.ToString(false), u"18:00:00.000");
  EXPECT_EQ(TXsTime().ToString(), u"");
  TXsDuration du = u"P1DT1H";
  TXoDuration x = du;
  EXPECT_EQ(x.Seconds, 90000.0);
  EXPECT_EQ(static_cast<std::u16string>(du), u"P1DT1H");
  EXPECT_THROW(du = u"1D", Exception);
  EXPECT_EQ(du.ToString(), u"P1DT1H");
  du = TXoDuration{true, 14, 1.5};
  EXPECT_EQ(du.ToString(), u"-P1Y2MT1.5S");
  du = u"";
  EXPECT_TRUE(du.IsNull());
  EXPECT_EQ(du.AsDuration().Months, 0);
}

TEST(XsTypes, RegistryAnswersForTheRecords) {
  struct TRow {
    TXoTypeInfo* Type;
    const char16_t* Name;
    TXoTypeKind Kind;
  };
  const TRow rows[] = {
      {TypeInfo<TXsByte>(), u"TXsByte", xtkShortInt},
      {TypeInfo<TXsShort>(), u"TXsShort", xtkSmallInt},
      {TypeInfo<TXsInt>(), u"TXsInt", xtkInteger},
      {TypeInfo<TXsLong>(), u"TXsLong", xtkInt64},
      {TypeInfo<TXsUnsignedByte>(), u"TXsUnsignedByte", xtkByte},
      {TypeInfo<TXsUnsignedShort>(), u"TXsUnsignedShort", xtkWord},
      {TypeInfo<TXsUnsignedInt>(), u"TXsUnsignedInt", xtkCardinal},
      {TypeInfo<TXsUnsignedLong>(), u"TXsUnsignedLong", xtkUInt64},
      {TypeInfo<TXsFloat>(), u"TXsFloat", xtkSingle},
      {TypeInfo<TXsDouble>(), u"TXsDouble", xtkDouble},
      {TypeInfo<TXsDecimal>(), u"TXsDecimal", xtkExtended},
      {TypeInfo<TXsBoolean>(), u"TXsBoolean", xtkBoolean},
      {TypeInfo<TXsString>(), u"TXsString", xtkString},
      {TypeInfo<TXsDate>(), u"TXsDate", xtkDate},
      {TypeInfo<TXsTime>(), u"TXsTime", xtkTime},
      {TypeInfo<TXsDateTime>(), u"TXsDateTime", xtkDateTime},
  };
  for (const TRow& r : rows) {
    SCOPED_TRACE(XoUTF16ToUTF8(r.Name));
    EXPECT_EQ(r.Type->GetName(), r.Name);
    EXPECT_EQ(r.Type->GetTypeKind(), r.Kind);
    EXPECT_EQ(r.Type->GetKind(), tkRecord);
    EXPECT_TRUE(r.Type->GetIsSimpleType());
    EXPECT_FALSE(r.Type->IsOrdinal());
    EXPECT_EQ(r.Type->GetQualifiedName(), u"uXoXSTypes." + std::u16string(r.Name));
    EXPECT_EQ(TXoTypes::GetTypeInfo(r.Type->GetQualifiedName(), tntQualified), r.Type);
    EXPECT_EQ(TXoTypes::GetTypeInfo(r.Name, tntShort), r.Type);
    EXPECT_EQ(TXoTypes::GetTypeInfo(r.Type->SchemaName(), tntSchema), r.Type);
    EXPECT_EQ(r.Type->GetSchemaDataType(), r.Type->GetWrappedType()->GetSchemaDataType());
    EXPECT_EQ(r.Type->GetMainTypeKind(), TXoTypes::ToMainTypeKind(r.Kind));
  }
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"uXoXSTypes.TXsInteger<System.Integer>"), TypeInfo<TXsInt>());
  EXPECT_EQ(TXoTypes::GetTypeInfo(u"uXoXSTypes.TXsRational<System.Double>"), TypeInfo<TXsDouble>());
  EXPECT_EQ(TypeInfo<TXsBase64Binary>()->GetName(), u"TXsBinaryString<TXsBinaryStringB64Encoding>");
  EXPECT_EQ(TypeInfo<TXsBase64Binary>()->SchemaName(u"xsd"), u"xsd:base64Binary");
  EXPECT_EQ(TypeInfo<TXsHexBinary>()->GetTypeKind(), xtkAnsiString);
  EXPECT_EQ(TypeInfo<TXsDuration>()->GetName(), u"TXsDuration");
  // Registered before any application touches them: a name finds them.
  EXPECT_NE(TXoTypes::GetTypeInfo(u"uXoXSTypes.TXsDuration"), nullptr);
}

TEST(XsTypes, ReflectedValues) {
  TXsInt i = 5;
  TValue v = TValue::From(i);
  EXPECT_FALSE(v.IsNull());
  EXPECT_EQ(v.AsInteger(), 5);
  EXPECT_EQ(v.AsInt64(), 5);
  EXPECT_EQ(v.AsOrdinal(), 5);
  EXPECT_EQ(v.ToString(), u"5");
  EXPECT_EQ(v.AsString(), u"5");
  EXPECT_EQ(v.AsVariant().VarType(), varInteger);
  EXPECT_EQ(v.MainTypeKind(), mtkInteger);
  TValue n = TValue::From(TXsInt());
  EXPECT_TRUE(n.IsNull());
  EXPECT_TRUE(n.AsVariant().IsNull());
  EXPECT_EQ(n.ToInt(7), 0);
  // Conversions into a record go through its conversion.
  TXsDouble d = TValue::From(int32_t(3)).AsType<TXsDouble>();
  EXPECT_EQ(static_cast<double>(d), 3.0);
  TXsInt fromText = TValue::From(u"12").AsType<TXsInt>();
  EXPECT_EQ(static_cast<int32_t>(fromText), 12);
  EXPECT_TRUE(TValue().AsType<TXsInt>().IsNull());
  EXPECT_EQ(static_cast<int32_t>(TValue::Make(9, TypeInfo<TXsInt>()).AsType<TXsInt>()), 9);
  TValue toLong = v.ToType(TypeInfo<TXsLong>());
  EXPECT_EQ(static_cast<int64_t>(toLong.AsType<TXsLong>()), 5);
  EXPECT_THROW(TValue::From(u"x").ToType(TypeInfo<TXsInt>()), EInvalidCast);

  // Setting a field goes through the field's own facets.
  TOrder o;
  o.Quantity.Restrictions.MaxInclusive = 10;
  TXoTypeInfo* t = TypeInfo<TOrder>();
  t->GetField(u"Quantity")->SetValue(&o, TValue::From(int32_t(4)));
  EXPECT_EQ(static_cast<int32_t>(o.Quantity), 4);
  EXPECT_EQ(RangeMessage([&] { t->GetField(u"Quantity")->SetValue(&o, TValue::From(int32_t(11))); }), cMaxExcl);
  EXPECT_EQ(static_cast<int32_t>(o.Quantity.Restrictions.MaxInclusive), 10);
  t->GetField(u"Quantity")->SetValue(&o, TValue());
  EXPECT_TRUE(o.Quantity.IsNull());
  EXPECT_FALSE(o.Quantity.Restrictions.MaxInclusive.IsNull());
}

TEST(XsTypes, TextConversionsRoundTrip) {
  xo_test::ScopedTZ tz("Europe/Berlin");
  TOrder o;
  o.Quantity = 12;
  o.Serial = UINT64_MAX;
  o.Price = 19.99;
  o.Weight = 0.1f;
  o.Paid = true;
  o.Note = u"a < b & \"c\"";
  o.Due = 45000.0;
  o.Stamp = 45000.25;
  o.Term = u"P1Y2MT3S";
  o.Blob = std::string("bytes");
  TXoTypeInfo* t = TypeInfo<TOrder>();
  TOrder copy;
  for (TRttiField* f : t->GetFields()) {
    SCOPED_TRACE(XoUTF16ToUTF8(f->GetName()));
    std::u16string text = XoValToXML(f->GetValue(&o));
    TValue back = XoXMLToValue(text, f->GetFieldType());
    EXPECT_EQ(back.TypeInfo(), f->GetFieldType());
    f->SetValue(&copy, back);
    EXPECT_EQ(XoValToXML(f->GetValue(&copy)), text);
  }
  EXPECT_EQ(static_cast<int32_t>(copy.Quantity), 12);
  EXPECT_EQ(static_cast<uint64_t>(copy.Serial), UINT64_MAX);
  EXPECT_EQ(static_cast<double>(copy.Price), 19.99);
  EXPECT_EQ(static_cast<float>(copy.Weight), 0.1f);
  EXPECT_TRUE(copy.Paid);
  EXPECT_EQ(static_cast<std::u16string>(copy.Note), u"a < b & \"c\"");
  EXPECT_EQ(copy.Due.AsDateTime(), 45000.0);
  EXPECT_EQ(copy.Stamp.AsDateTime(), 45000.25);
  EXPECT_EQ(static_cast<std::u16string>(copy.Term), u"P1Y2MT3S");
  EXPECT_EQ(static_cast<std::string>(copy.Blob), "bytes");

  // The texts themselves.
  EXPECT_EQ(XoValToXML(TValue::From(o.Serial)), u"-1");
  EXPECT_EQ(XoValToXML(TValue::From(o.Note)), u"a &lt; b &amp; &quot;c&quot;");
  EXPECT_EQ(XoValToXML(TValue::From(o.Paid)), u"true");
  EXPECT_EQ(XoValToXML(TValue::From(o.Due)), u"2023-03-15+01:00");
  EXPECT_EQ(XoValToXML(TValue::From(o.Stamp)), u"2023-03-15T06:00:00.000+01:00");
  EXPECT_EQ(XoValToXML(TValue::From(TXsInt())), u"");
  // By name: the record receives the value through its conversion.
  TValue byName = XoXMLToValue(u"42", u"uXoXSTypes.TXsShort");
  EXPECT_EQ(byName.TypeInfo(), TypeInfo<TXsShort>());
  EXPECT_EQ(static_cast<int16_t>(byName.AsType<TXsShort>()), 42);
  EXPECT_EQ(static_cast<double>(XoXMLToValue(u"2.5", u"uXoXSTypes.TXsDecimal").AsType<TXsDecimal>()), 2.5);
  EXPECT_TRUE(XoXMLToValue(u"TRUE", u"uXoXSTypes.TXsBoolean").AsType<TXsBoolean>());
  EXPECT_EQ(static_cast<std::u16string>(XoXMLToValue(u"&lt;x&gt;", u"uXoXSTypes.TXsString").AsType<TXsString>()),
            u"<x>");
  EXPECT_THROW(XoXMLToValue(u"abc", u"uXoXSTypes.TXsInt"), EConvertError);
  EXPECT_THROW(XoXMLToValue(u"1D", TypeInfo<TXsDuration>()), Exception);
  EXPECT_TRUE(XoXMLToValue(u"P", TypeInfo<TXsDuration>()).AsType<TXsDuration>().AsDuration().Seconds == 0);
}
