// Variant: type codes, conversions, arrays, comparison and addition.
#include <gtest/gtest.h>

#include "xo_test_support.h"

#include <cmath>
#include <limits>

#include "uXoDateTimeUtils.h"
#include "uXoVariants.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

// A counted interface for varUnknown tests.
class TCounted : public IInterface {
public:
  int32_t Count = 0;
  int32_t _AddRef() override { return ++Count; }
  int32_t _Release() override { return --Count; }
};

}  // namespace

// ---------------------------------------------------------------------------
TEST(VariantKinds, ConstructorsGiveTheTypeCodes) {
  EXPECT_EQ(Variant().VarType(), varEmpty);
  EXPECT_EQ(Variant::Null().VarType(), varNull);
  EXPECT_EQ(Variant(int8_t(1)).VarType(), varShortInt);
  EXPECT_EQ(Variant(int16_t(1)).VarType(), varSmallint);
  EXPECT_EQ(Variant(int32_t(1)).VarType(), varInteger);
  EXPECT_EQ(Variant(int64_t(1)).VarType(), varInt64);
  EXPECT_EQ(Variant(1L).VarType(), varInt64);
  EXPECT_EQ(Variant(1LL).VarType(), varInt64);
  EXPECT_EQ(Variant(uint8_t(1)).VarType(), varByte);
  EXPECT_EQ(Variant(uint16_t(1)).VarType(), varWord);
  EXPECT_EQ(Variant(uint32_t(1)).VarType(), varLongWord);
  EXPECT_EQ(Variant(uint64_t(1)).VarType(), varUInt64);
  EXPECT_EQ(Variant(1ULL).VarType(), varUInt64);
  EXPECT_EQ(Variant(1.0f).VarType(), varSingle);
  EXPECT_EQ(Variant(1.0).VarType(), varDouble);
  EXPECT_EQ(Variant(1.0L).VarType(), varExtended);
  EXPECT_EQ(Variant(true).VarType(), varBoolean);
  EXPECT_EQ(Variant(u"x").VarType(), varUString);
  EXPECT_EQ(Variant(std::u16string(u"x")).VarType(), varUString);
  EXPECT_EQ(Variant("x").VarType(), varString);
  EXPECT_EQ(Variant(std::string("x")).VarType(), varString);
  EXPECT_EQ(Variant(u'c').StrRef(), u"c");
  EXPECT_EQ(Variant('c').AnsiRef(), "c");
  EXPECT_EQ(Variant::FromDate(1.5).VarType(), varDate);
  EXPECT_EQ(Variant::FromOleStr(u"x").VarType(), varOleStr);
  EXPECT_EQ(Variant::FromDecimal(5).VarType(), varDecimal);
  EXPECT_EQ(Variant(TIntfPtr<IInterface>()).VarType(), varUnknown);
}

TEST(VariantKinds, CopiesAndMovesKeepTheCode) {
  Variant a(uint16_t(7));
  Variant b = a;
  EXPECT_EQ(b.VarType(), varWord);
  Variant c = std::move(b);
  EXPECT_EQ(c.VarType(), varWord);
  EXPECT_EQ(b.VarType(), varEmpty);
  Variant d;
  d = Variant::FromDate(2.0);
  EXPECT_EQ(d.VarType(), varDate);
  d = c;
  EXPECT_EQ(d.VarType(), varWord);
  EXPECT_EQ(d.AsInteger(), 7);
  Variant s(u"text");
  Variant s2 = s;
  EXPECT_EQ(s2.StrRef(), u"text");
}

TEST(VariantKinds, Predicates) {
  EXPECT_TRUE(VarIsEmpty(Variant()));
  EXPECT_TRUE(VarIsNull(Null()));
  EXPECT_TRUE(VarIsClear(Null()));
  EXPECT_TRUE(VarIsClear(Unassigned()));
  EXPECT_FALSE(VarIsClear(Variant(0)));
  EXPECT_TRUE(XoVarIsEmpty(Null()));
  EXPECT_FALSE(XoVarIsEmpty(Variant(u"")));
  EXPECT_TRUE(VarIsStr(Variant("a")));
  EXPECT_TRUE(VarIsOrdinal(Variant::FromDecimal(1)));
  EXPECT_TRUE(VarIsFloat(Variant(1.0L)));
  EXPECT_FALSE(VarIsNumeric(Variant::FromDate(1)));
  Variant v(5);
  v.Clear();
  EXPECT_TRUE(v.IsEmpty());
  v.SetNull();
  EXPECT_TRUE(v.IsNull());
}

TEST(VariantKinds, TypeNames) {
  EXPECT_EQ(VarTypeAsText(varInteger), u"Integer");
  EXPECT_EQ(VarTypeAsText(varUString), u"UnicodeString");
  EXPECT_EQ(VarTypeAsText(varString), u"String");
  EXPECT_EQ(VarTypeAsText(varOleStr), u"OleStr");
  EXPECT_EQ(VarTypeAsText(varNull), u"Null");
  EXPECT_EQ(VarTypeAsText(varInt64), u"Int64");
  EXPECT_EQ(VarTypeAsText(varArray | varByte), u"Array Byte");
}

TEST(VariantKinds, InterfacesAreCounted) {
  TCounted obj;
  {
    Variant v{TIntfPtr<IInterface>(&obj)};
    EXPECT_EQ(obj.Count, 1);
    Variant w = v;
    EXPECT_EQ(obj.Count, 2);
    EXPECT_EQ(w.AsInterface().get(), &obj);
    EXPECT_EQ(VarCompareValue(v, w), vrEqual);
    EXPECT_EQ(MessageOf<EVariantTypeCastError>([&] { (void)v.AsString(); }),
              u"Could not convert variant of type (Unknown) into type (UnicodeString)");
  }
  EXPECT_EQ(obj.Count, 0);
}

// ---------------------------------------------------------------------------
TEST(VariantConvert, ToString) {
  EXPECT_EQ(Variant(42).AsString(), u"42");
  EXPECT_EQ(Variant(int64_t(INT64_MIN)).AsString(), u"-9223372036854775808");
  EXPECT_EQ(Variant(uint64_t(UINT64_MAX)).AsString(), u"18446744073709551615");
  EXPECT_EQ(Variant(0.1).AsString(), u"0.1");
  EXPECT_EQ(Variant(1e20).AsString(), u"1E20");
  EXPECT_EQ(Variant(0.1f).AsString(), u"0.1");  // shortest single text, not 0.100000001490116
  EXPECT_EQ(Variant(2.5L).AsString(), u"2.5");
  EXPECT_EQ(Variant(true).AsString(), u"True");
  EXPECT_EQ(Variant(false).AsString(), u"False");
  EXPECT_EQ(Variant().AsString(), u"");
  EXPECT_EQ(Variant("abc").AsString(), u"abc");
  EXPECT_EQ(Variant("\xC3\xA9").AsString(), u"\u00E9");  // 8-bit text in the UTF-8 system code page
  EXPECT_EQ(Variant(u"\u00E9").AsAnsiString(), "\xC3\xA9");
  EXPECT_EQ(Variant::FromDate(EncodeDate(2024, 3, 5)).AsString(), u"2024-03-05");
  EXPECT_EQ(Variant::FromDate(EncodeDateTime(2024, 3, 5, 7, 8, 9, 0)).AsString(), u"2024-03-05 07:08:09");
  EXPECT_EQ(Variant::FromDate(EncodeDateTime(2024, 3, 5, 7, 8, 9, 45)).AsString(), u"2024-03-05 07:08:09.045");
  EXPECT_EQ(Variant::FromDate(0.75).AsString(), u"18:00:00");
  EXPECT_EQ(Variant::FromDate(0).AsString(), u"1899-12-30");
  EXPECT_EQ(Variant::FromDate(-1.25).AsString(), u"1899-12-29 06:00:00");
  EXPECT_EQ(VarToStr(Null()), u"");
  EXPECT_EQ(VarToStrDef(Null(), u"n/a"), u"n/a");
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Null().AsString(); }),
            u"Could not convert variant of type (Null) into type (UnicodeString)");
}

TEST(VariantConvert, ToIntegers) {
  EXPECT_EQ(Variant(u"123").AsInteger(), 123);
  EXPECT_EQ(Variant(u" -7").AsInt64(), -7);
  EXPECT_EQ(Variant(u"$10").AsInteger(), 16);
  EXPECT_EQ(Variant(u"2.5").AsInteger(), 2);  // a float text rounds half to even
  EXPECT_EQ(Variant(u"3.5").AsInteger(), 4);
  EXPECT_EQ(Variant(2.5).AsInteger(), 2);
  EXPECT_EQ(Variant(-2.5).AsInteger(), -2);
  EXPECT_EQ(Variant(2.6).AsInt64(), 3);
  EXPECT_EQ(Variant(true).AsInteger(), 1);
  EXPECT_EQ(Variant(u"TRUE").AsInteger(), 1);
  EXPECT_EQ(Variant().AsInteger(), 0);
  EXPECT_EQ(Variant(u"18446744073709551615").AsUInt64(), UINT64_MAX);
  EXPECT_EQ(Variant(uint32_t(4000000000u)).AsInt64(), 4000000000);
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Variant(u"abc").AsInteger(); }),
            u"Could not convert variant of type (UnicodeString) into type (Integer)");
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Variant("abc").AsInt64(); }),
            u"Could not convert variant of type (String) into type (Int64)");
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Null().AsInteger(); }),
            u"Could not convert variant of type (Null) into type (Integer)");
  EXPECT_EQ(MessageOf<EVariantOverflowError>([] { (void)Variant(int64_t(1) << 40).AsInteger(); }),
            u"Overflow while converting variant of type (Int64) into type (Integer)");
  EXPECT_EQ(MessageOf<EVariantOverflowError>([] { (void)Variant(uint64_t(UINT64_MAX)).AsInt64(); }),
            u"Overflow while converting variant of type (UInt64) into type (Int64)");
  EXPECT_EQ(MessageOf<EVariantOverflowError>([] { (void)Variant(1e300).AsInt64(); }),
            u"Overflow while converting variant of type (Double) into type (Int64)");
  EXPECT_EQ(MessageOf<EVariantOverflowError>([] { (void)Variant(-1).AsUInt64(); }),
            u"Overflow while converting variant of type (Integer) into type (UInt64)");
  // Both failures are variant errors.
  EXPECT_THROW((void)Variant(u"x").AsInteger(), EVariantError);
}

TEST(VariantConvert, IntegerBoundariesThroughText) {
  const int64_t values[] = {INT8_MIN, INT8_MAX, INT16_MIN, INT16_MAX, INT32_MIN, INT32_MAX, INT64_MIN, INT64_MAX};
  for (int64_t x : values) {
    Variant t(Variant(x).AsString());
    EXPECT_EQ(t.AsInt64(), x);
    EXPECT_EQ(t.AsType(varInt64).AsInt64(), x);
  }
  EXPECT_EQ(Variant(u"127").AsType(varShortInt).VarType(), varShortInt);
  EXPECT_THROW(Variant(u"128").AsType(varShortInt), EVariantOverflowError);
  EXPECT_THROW(Variant(u"-129").AsType(varShortInt), EVariantOverflowError);
  EXPECT_EQ(Variant(u"32767").AsType(varSmallint).AsInteger(), 32767);
  EXPECT_THROW(Variant(u"32768").AsType(varSmallint), EVariantOverflowError);
  EXPECT_EQ(Variant(u"255").AsType(varByte).AsInteger(), 255);
  EXPECT_THROW(Variant(u"256").AsType(varByte), EVariantOverflowError);
  EXPECT_THROW(Variant(u"-1").AsType(varByte), EVariantOverflowError);
  EXPECT_EQ(Variant(u"65535").AsType(varWord).AsInteger(), 65535);
  EXPECT_THROW(Variant(u"65536").AsType(varWord), EVariantOverflowError);
  EXPECT_EQ(Variant(u"4294967295").AsType(varLongWord).AsInt64(), 4294967295);
  EXPECT_THROW(Variant(u"4294967296").AsType(varLongWord), EVariantOverflowError);
  EXPECT_EQ(Variant(u"18446744073709551615").AsType(varUInt64).AsUInt64(), UINT64_MAX);
  EXPECT_THROW(Variant(u"18446744073709551616").AsType(varUInt64), EVariantOverflowError);
  EXPECT_THROW(Variant(u"2147483648").AsType(varInteger), EVariantOverflowError);
  EXPECT_THROW(Variant(u"9223372036854775808").AsType(varInt64), EVariantOverflowError);
}

TEST(VariantConvert, ToFloatsBooleansDates) {
  EXPECT_EQ(Variant(u"1.5").AsDouble(), 1.5);
  EXPECT_EQ(Variant(u"1e3").AsExtended(), 1000.0L);
  EXPECT_EQ(Variant(7).AsDouble(), 7.0);
  EXPECT_EQ(Variant(false).AsDouble(), 0.0);
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Variant(u"1,5").AsDouble(); }),
            u"Could not convert variant of type (UnicodeString) into type (Double)");
  EXPECT_EQ(MessageOf<EVariantOverflowError>([] { (void)Variant(u"1e39").AsType(varSingle); }),
            u"Overflow while converting variant of type (UnicodeString) into type (Single)");
  EXPECT_TRUE(Variant(u"true").AsBoolean());
  EXPECT_TRUE(Variant(u"True").AsBoolean());
  EXPECT_FALSE(Variant(u"FALSE").AsBoolean());
  EXPECT_TRUE(Variant(u"-1").AsBoolean());
  EXPECT_FALSE(Variant(u"0").AsBoolean());
  EXPECT_TRUE(Variant(0.5).AsBoolean());
  EXPECT_FALSE(Variant(0).AsBoolean());
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Variant(u"yes").AsBoolean(); }),
            u"Could not convert variant of type (UnicodeString) into type (Boolean)");
  EXPECT_EQ(Variant(u"2024-03-05").AsDate(), EncodeDate(2024, 3, 5));
  EXPECT_EQ(Variant(u"2024-03-05 07:08:09.045").AsDate(), EncodeDateTime(2024, 3, 5, 7, 8, 9, 45));
  EXPECT_EQ(Variant(u"2024-03-05T07:08").AsDate(), EncodeDateTime(2024, 3, 5, 7, 8, 0, 0));
  EXPECT_EQ(Variant(u"18:00:00").AsDate(), 0.75);
  EXPECT_EQ(Variant(u"1.5").AsDate(), 1.5);
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { (void)Variant(u"2024-02-30").AsDate(); }),
            u"Could not convert variant of type (UnicodeString) into type (Date)");
  // Date text round trip.
  for (TDateTime d : {EncodeDateTime(1, 1, 1, 0, 0, 0, 1), EncodeDateTime(9999, 12, 31, 23, 59, 59, 999), -1.25,
                      0.5, 45000.0}) {
    Variant v = Variant::FromDate(d);
    EXPECT_EQ(Variant(v.AsString()).AsDate(), d) << XoUTF16ToUTF8(v.AsString());
  }
  EXPECT_EQ(Variant(u"abc").AsType(varOleStr).VarType(), varOleStr);
  EXPECT_EQ(Variant(12).AsType(varUString).StrRef(), u"12");
  EXPECT_EQ(Variant(12).AsType(varString).AnsiRef(), "12");
  EXPECT_EQ(Variant(u"1").AsType(varBoolean).VarType(), varBoolean);
}

TEST(VariantConvert, XoVarToWithDefaultAndRaise) {
  // Defaults when not raising.
  EXPECT_EQ(XoVarToInt(Variant(u"x"), 7), 7);
  EXPECT_EQ(XoVarToInt(Null(), 7), 7);
  EXPECT_EQ(XoVarToInt(Variant(), 7), 7);
  EXPECT_EQ(XoVarToInt(Variant(int64_t(1) << 40), 7), 7);
  EXPECT_EQ(XoVarToInt(Variant(u"12"), 7), 12);
  EXPECT_EQ(XoVarToInt64(Variant(u"-9223372036854775808"), 1), INT64_MIN);
  EXPECT_EQ(XoVarToInt64(Variant(uint64_t(UINT64_MAX)), 1), 1);
  EXPECT_EQ(XoVarToInt64(VarArrayOf({1, 2}), 3), 3);
  EXPECT_EQ(XoVarToDouble(Variant(u"nope"), 2.5), 2.5);
  EXPECT_EQ(XoVarToDouble(Variant(u"0.25"), 2.5), 0.25);
  EXPECT_EQ(XoVarToExtended(Variant(u"1e4000"), 1.0L), 1e4000L);
  EXPECT_EQ(XoVarToExtended(Null(), 1.0L), 1.0L);
  EXPECT_EQ(XoVarToBool(Variant(u"maybe"), true), true);
  EXPECT_EQ(XoVarToBool(Variant(u"false"), true), false);
  EXPECT_EQ(XoVarToBool(Variant(2), false), true);
  EXPECT_EQ(XoVarToBool(Null(), true), true);
  EXPECT_EQ(XoVarToStr(Null(), u"d"), u"d");
  EXPECT_EQ(XoVarToStr(Variant(), u"d"), u"d");
  EXPECT_EQ(XoVarToStr(Variant(1.5)), u"1.5");
  EXPECT_EQ(XoVarToStr(VarArrayOf({1}), u"d"), u"d");
  // Raising.
  EXPECT_THROW(XoVarToInt(Variant(u"x"), 7, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToInt(Null(), 7, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToInt(Variant(int64_t(1) << 40), 7, true), EVariantOverflowError);
  EXPECT_THROW(XoVarToInt64(Variant(u"1x"), 0, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToDouble(Variant(u"1x"), 0, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToExtended(Variant(u"abc"), 0, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToBool(Variant(u"maybe"), false, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToBool(Null(), false, true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToStr(Null(), u"", true), EVariantTypeCastError);
  EXPECT_THROW(XoVarToStr(VarArrayOf({1}), u"", true), EVariantTypeCastError);
  EXPECT_EQ(XoVarToInt(Variant(), 7, true), 7);  // unassigned gives the default in both modes
  EXPECT_EQ(XoVarToExtended(Variant(u" 3.5 "), 0, true), 3.5L);
}

// ---------------------------------------------------------------------------
TEST(VariantArrays, CreateBoundsAndElementTypes) {
  Variant a = VarArrayCreate({{1, 3}}, varInteger);
  EXPECT_EQ(a.VarType(), varArray | varInteger);
  EXPECT_TRUE(VarIsArray(a));
  EXPECT_EQ(VarArrayDimCount(a), 1);
  EXPECT_EQ(VarArrayLowBound(a, 1), 1);
  EXPECT_EQ(VarArrayHighBound(a, 1), 3);
  EXPECT_EQ(XoVarArrayCount(a), 3u);
  EXPECT_EQ(a.GetElement({2}).VarType(), varInteger);  // fresh elements are 0 of the type
  EXPECT_EQ(a.GetElement({2}).AsInteger(), 0);
  // Writes are converted to the element type.
  VarArrayPut(a, Variant(u"42"), {2});
  EXPECT_EQ(VarArrayGet(a, {2}).VarType(), varInteger);
  EXPECT_EQ(VarArrayGet(a, {2}).AsInteger(), 42);
  a.PutElement({3}, Variant(2.5));
  EXPECT_EQ(a.GetElement({3}).AsInteger(), 2);
  EXPECT_THROW(a.PutElement({1}, Variant(u"x")), EVariantTypeCastError);
  EXPECT_THROW(a.PutElement({1}, Variant(int64_t(1) << 40)), EVariantOverflowError);
  EXPECT_EQ(a.GetElement({1}).AsInteger(), 0);  // a failed write leaves the element
  Variant s = VarArrayCreate({{0, 1}}, varUString);
  EXPECT_EQ(s.GetElement({0}).AsString(), u"");
  s.PutElement({0}, Variant(5));
  EXPECT_EQ(s.GetElement({0}).VarType(), varUString);
  EXPECT_EQ(s.GetElement({0}).StrRef(), u"5");
  // Arrays of varVariant keep whatever they are given.
  Variant v = VarArrayCreate({{0, 2}}, varVariant);
  EXPECT_TRUE(v.GetElement({0}).IsEmpty());
  v.PutElement({0}, Variant(uint16_t(3)));
  v.PutElement({1}, Variant(u"a"));
  v.PutElement({2}, Null());
  EXPECT_EQ(v.GetElement({0}).VarType(), varWord);
  EXPECT_EQ(v.GetElement({1}).VarType(), varUString);
  EXPECT_TRUE(v.GetElement({2}).IsNull());
  EXPECT_THROW(VarArrayCreate({{0, 1}}, varArray), EVariantArrayCreateError);
  EXPECT_THROW(VarArrayCreate({}, varInteger), EVariantArrayCreateError);
  Variant empty = VarArrayCreate({{0, -1}}, varVariant);
  EXPECT_EQ(XoVarArrayCount(empty), 0u);
  EXPECT_EQ(VarArrayHighBound(empty, 1), -1);
}

TEST(VariantArrays, IndexErrors) {
  Variant a = VarArrayCreate({{0, 1}}, varVariant);
  EXPECT_THROW(a.GetElement({2}), EVariantBadIndexError);
  EXPECT_THROW(a.GetElement({-1}), EVariantBadIndexError);
  EXPECT_THROW(a.GetElement({0, 0}), EVariantBadIndexError);
  EXPECT_THROW(a.PutElement({5}, Variant(1)), EVariantBadIndexError);
  EXPECT_THROW(VarArrayHighBound(a, 2), EVariantBadIndexError);
  EXPECT_THROW(Variant(1).GetElement({0}), EVariantError);
  EXPECT_EQ(VarArrayDimCount(Variant(1)), 0);
}

TEST(VariantArrays, ValueSemantics) {
  Variant a = VarArrayOf({1, 2, 3});
  Variant b = a;
  b.PutElement({0}, Variant(99));
  EXPECT_EQ(a.GetElement({0}).AsInteger(), 1);
  EXPECT_EQ(b.GetElement({0}).AsInteger(), 99);
  Variant bytes = VarArrayFromBytes(std::string("\x01\x02", 2));
  Variant copy = bytes;
  copy.ByteData()[0] = 0xFF;
  EXPECT_EQ(bytes.ByteData()[0], 1);
  EXPECT_EQ(copy.GetElement({0}).AsInteger(), 255);
  // An array inside an array element is copied with it.
  Variant outer = VarArrayOf({a});
  a.PutElement({1}, Variant(-5));
  EXPECT_EQ(outer.GetElement({0}).GetElement({1}).AsInteger(), 2);
}

TEST(VariantArrays, MultipleDimensions) {
  Variant m = VarArrayCreate({{1, 2}, {0, 2}}, varDouble);
  EXPECT_EQ(VarArrayDimCount(m), 2);
  EXPECT_EQ(XoVarArrayCount(m), 6u);
  for (int32_t i = 1; i <= 2; ++i)
    for (int32_t j = 0; j <= 2; ++j) m.PutElement({i, j}, Variant(i * 10 + j));
  for (int32_t i = 1; i <= 2; ++i)
    for (int32_t j = 0; j <= 2; ++j) {
      Variant e = m.GetElement({i, j});
      EXPECT_EQ(e.VarType(), varDouble);
      EXPECT_EQ(e.AsInteger(), i * 10 + j);
    }
  m.VarArrayRedim(3);
  EXPECT_EQ(VarArrayHighBound(m, 2), 3);
  EXPECT_EQ(m.GetElement({2, 2}).AsInteger(), 22);
  EXPECT_EQ(m.GetElement({2, 3}).AsInteger(), 0);
}

TEST(VariantArrays, ByteArrays) {
  Variant b = VarArrayFromBytes(std::vector<uint8_t>{0, 255, 16});
  EXPECT_EQ(b.VarType(), 8209);
  EXPECT_EQ(VarArrayHighBound(b, 1), 2);
  EXPECT_EQ(b.GetElement({1}).VarType(), varByte);
  EXPECT_EQ(b.GetElement({1}).AsInteger(), 255);
  b.PutElement({2}, Variant(u"7"));
  EXPECT_EQ(VarArrayToBytes(b), (std::vector<uint8_t>{0, 255, 7}));
  EXPECT_THROW(b.PutElement({0}, Variant(256)), EVariantOverflowError);
  EXPECT_EQ(VarArrayToByteString(VarArrayOf({65, 66})), "AB");
  b.VarArrayRedim(4);
  EXPECT_EQ(VarArrayToByteString(b), std::string("\x00\xFF\x07\x00\x00", 5));
  Variant e = VarArrayFromBytes(std::string());
  EXPECT_EQ(XoVarArrayCount(e), 0u);
  EXPECT_EQ(VarArrayToByteString(e), "");
}

// ---------------------------------------------------------------------------
TEST(VariantCompare, Numbers) {
  EXPECT_EQ(VarCompareValue(Variant(1), Variant(2)), vrLessThan);
  EXPECT_EQ(VarCompareValue(Variant(uint8_t(2)), Variant(int64_t(2))), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(uint64_t(UINT64_MAX)), Variant(int64_t(-1))), vrGreaterThan);
  EXPECT_EQ(VarCompareValue(Variant(int64_t(INT64_MAX)), Variant(uint64_t(uint64_t(INT64_MAX) + 1))), vrLessThan);
  EXPECT_EQ(VarCompareValue(Variant(1), Variant(1.0)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(1.5), Variant(1)), vrGreaterThan);
  EXPECT_EQ(VarCompareValue(Variant(0.5f), Variant(0.5L)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(std::nan("")), Variant(1.0)), vrNotEqual);
  EXPECT_EQ(VarCompareValue(Variant(true), Variant(1)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(false), Variant(true)), vrLessThan);
  EXPECT_EQ(VarCompareValue(Variant::FromDate(2.0), Variant(2)), vrEqual);
  EXPECT_TRUE(Variant(3) == Variant(3.0));
  EXPECT_TRUE(Variant(3) < Variant(4));
  EXPECT_TRUE(Variant(4) >= Variant(4));
  EXPECT_TRUE(Variant(4) != Variant(5));
}

TEST(VariantCompare, Strings) {
  EXPECT_EQ(VarCompareValue(Variant(u"a"), Variant(u"b")), vrLessThan);
  EXPECT_EQ(VarCompareValue(Variant(u"a"), Variant(u"A")), vrGreaterThan);  // by code unit, case matters
  EXPECT_EQ(VarCompareValue(Variant(u"abc"), Variant("abc")), vrEqual);     // 8-bit and UTF-16 alike
  EXPECT_EQ(VarCompareValue(Variant::FromOleStr(u"x"), Variant(u"x")), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(u"1.0"), Variant(u"1")), vrGreaterThan);  // two texts compare as text
  // Text against a number: the text read as a number when it is one.
  EXPECT_EQ(VarCompareValue(Variant(u"1.0"), Variant(1)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(10), Variant(u"9")), vrGreaterThan);
  EXPECT_EQ(VarCompareValue(Variant(u" 10"), Variant(9.5)), vrGreaterThan);
  // ... otherwise the number's text against the text.
  EXPECT_EQ(VarCompareValue(Variant(u"abc"), Variant(1)), vrGreaterThan);
  EXPECT_EQ(VarCompareValue(Variant(5), Variant(u"abc")), vrLessThan);
  // Text against a boolean.
  EXPECT_EQ(VarCompareValue(Variant(u"TRUE"), Variant(true)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(u"0"), Variant(false)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(u"True"), Variant(false)), vrGreaterThan);
  // Text against a date.
  EXPECT_EQ(VarCompareValue(Variant(u"2024-03-05"), Variant::FromDate(EncodeDate(2024, 3, 5))), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant::FromDate(EncodeDate(2024, 3, 6)), Variant(u"2024-03-05")), vrGreaterThan);
}

TEST(VariantCompare, NullEmptyArraysNeverRaise) {
  EXPECT_EQ(VarCompareValue(Null(), Null()), vrEqual);
  EXPECT_EQ(VarCompareValue(Null(), Variant(1)), vrNotEqual);
  EXPECT_EQ(VarCompareValue(Variant(u""), Null()), vrNotEqual);
  EXPECT_EQ(VarCompareValue(Null(), Variant()), vrNotEqual);
  EXPECT_FALSE(Null() < Variant(1));
  EXPECT_FALSE(Null() > Variant(1));
  EXPECT_FALSE(Null() == Variant(1));
  // Unassigned stands for the zero of the other side.
  EXPECT_EQ(VarCompareValue(Variant(), Variant()), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(), Variant(0)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(), Variant(u"")), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(), Variant(false)), vrEqual);
  EXPECT_EQ(VarCompareValue(Variant(), Variant(1)), vrLessThan);
  EXPECT_EQ(VarCompareValue(Variant(u"a"), Variant()), vrGreaterThan);
  // Arrays: equal with equal bounds and elements, else unordered.
  EXPECT_EQ(VarCompareValue(VarArrayOf({1, u"a"}), VarArrayOf({1.0, u"a"})), vrEqual);
  EXPECT_EQ(VarCompareValue(VarArrayOf({1, 2}), VarArrayOf({1, 3})), vrNotEqual);
  EXPECT_EQ(VarCompareValue(VarArrayOf({1}), VarArrayOf({1, 2})), vrNotEqual);
  EXPECT_EQ(VarCompareValue(VarArrayOf({1}), Variant(1)), vrNotEqual);
  Variant m1 = VarArrayCreate({{0, 1}, {0, 1}}, varInteger), m2 = m1;
  EXPECT_EQ(VarCompareValue(m1, m2), vrEqual);
  m2.PutElement({1, 1}, Variant(1));
  EXPECT_EQ(VarCompareValue(m1, m2), vrNotEqual);
  // Interfaces against other kinds.
  TCounted obj;
  EXPECT_EQ(VarCompareValue(Variant(TIntfPtr<IInterface>(&obj)), Variant(1)), vrNotEqual);
  EXPECT_EQ(VarCompareValue(Variant(TIntfPtr<IInterface>()), Variant()), vrEqual);
}

// ---------------------------------------------------------------------------
TEST(VariantAdd, Strings) {
  EXPECT_EQ((Variant(u"a") + Variant(u"b")).AsString(), u"ab");
  EXPECT_EQ((Variant(u"a") + Variant(u"b")).VarType(), varUString);
  EXPECT_EQ((Variant("a") + Variant("b")).VarType(), varString);
  EXPECT_EQ((Variant("a") + Variant(u"b")).VarType(), varUString);
  EXPECT_EQ((Variant::FromOleStr(u"a") + Variant::FromOleStr(u"b")).VarType(), varOleStr);
  // A string on either side concatenates, even when the text looks numeric.
  EXPECT_EQ((Variant(u"1") + Variant(2)).AsString(), u"12");
  EXPECT_EQ((Variant(2.5) + Variant(u"x")).AsString(), u"2.5x");
  EXPECT_EQ((Variant(u", ") + Variant(true)).AsString(), u", True");
  EXPECT_EQ((Variant(u"d=") + Variant::FromDate(EncodeDate(2020, 1, 2))).AsString(), u"d=2020-01-02");
  Variant acc(u"");
  for (int i = 0; i < 3; ++i) acc += Variant(i);
  EXPECT_EQ(acc.AsString(), u"012");
  EXPECT_EQ(acc.VarType(), varUString);
}

TEST(VariantAdd, NullAndEmpty) {
  EXPECT_TRUE((Null() + Variant(1)).IsNull());
  EXPECT_TRUE((Variant(u"a") + Null()).IsNull());
  EXPECT_TRUE((Variant() + Null()).IsNull());
  Variant acc(u"x");
  acc += Null();
  EXPECT_TRUE(acc.IsNull());
  EXPECT_EQ((Variant() + Variant(u"a")).AsString(), u"a");
  EXPECT_EQ((Variant(uint8_t(4)) + Variant()).VarType(), varByte);
  EXPECT_TRUE((Variant() + Variant()).IsEmpty());
}

TEST(VariantAdd, NumericPromotion) {
  Variant r = Variant(1) + Variant(2);
  EXPECT_EQ(r.VarType(), varInteger);
  EXPECT_EQ(r.AsInteger(), 3);
  EXPECT_EQ((Variant(uint8_t(200)) + Variant(uint8_t(100))).AsInteger(), 300);
  r = Variant(INT32_MAX) + Variant(1);  // leaves 32 bits: 64-bit result
  EXPECT_EQ(r.VarType(), varInt64);
  EXPECT_EQ(r.AsInt64(), int64_t(INT32_MAX) + 1);
  EXPECT_EQ((Variant(int64_t(1)) + Variant(1)).VarType(), varInt64);
  r = Variant(int64_t(INT64_MAX)) + Variant(1);
  EXPECT_EQ(r.VarType(), varUInt64);
  EXPECT_EQ(r.AsUInt64(), uint64_t(INT64_MAX) + 1);
  r = Variant(uint64_t(UINT64_MAX)) + Variant(uint64_t(UINT64_MAX));
  EXPECT_EQ(r.VarType(), varDouble);
  EXPECT_EQ(r.AsDouble(), 2.0 * 18446744073709551615.0);
  r = Variant(int64_t(INT64_MIN)) + Variant(-1);
  EXPECT_EQ(r.VarType(), varDouble);
  EXPECT_EQ((Variant(true) + Variant(true)).AsInteger(), 2);
  EXPECT_EQ((Variant(1) + Variant(0.5)).VarType(), varDouble);
  EXPECT_EQ((Variant(1) + Variant(0.5)).AsDouble(), 1.5);
  EXPECT_EQ((Variant(0.5f) + Variant(0.25f)).VarType(), varSingle);
  EXPECT_EQ((Variant(0.5f) + Variant(1)).VarType(), varDouble);
  EXPECT_EQ((Variant(0.5) + Variant(1.0L)).VarType(), varExtended);
  EXPECT_EQ((Variant::FromDate(1.0) + Variant(0.5)).VarType(), varDate);
  EXPECT_EQ((Variant::FromDate(1.0) + Variant(0.5)).AsDate(), 1.5);
  EXPECT_EQ((Variant::FromDate(1.0) + Variant::FromDate(2.0)).VarType(), varDouble);
  EXPECT_EQ((Variant::FromDecimal(5) + Variant(1)).VarType(), varDecimal);
}

TEST(VariantAdd, ArraysRaise) {
  EXPECT_THROW(VarArrayOf({1}) + Variant(1), EVariantTypeCastError);
  EXPECT_THROW(Variant(u"a") + VarArrayOf({1}), EVariantTypeCastError);
}
