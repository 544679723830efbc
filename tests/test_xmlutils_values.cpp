// Tests of uXoXMLUtils over the type registry: variants by type kind and type
// name, and reflected values (TValue) to and from XML text.

#include <gtest/gtest.h>

#include "xo_test_support.h"

#include <limits>

#include "uXoRtti.h"
#include "uXoXMLUtils.h"

using namespace xo;
using xo_test::MessageOf;

namespace xmlutils_test {

enum TColor { clRed, clGreen, clBlue };
XO_ENUM(TColor, u"XmlUtilsTest.TColor", u"clRed", u"clGreen", u"clBlue")

using TColors = TSet<TColor>;
XO_REGISTER(TColors, u"XmlUtilsTest.TColors")

struct TPoint {
  int32_t X = 0;
  int32_t Y = 0;
};
XO_DESCRIBE(TPoint, u"XmlUtilsTest.TPoint", c) {
  c.field(u"X", &TPoint::X);
  c.field(u"Y", &TPoint::Y);
}

}  // namespace xmlutils_test

using namespace xmlutils_test;

namespace {

}  // namespace

// ---------------------------------------------------------------------------
// Variants by type kind

TEST(XoXMLToVariantKind, IntegerKindsKeepTheirWidth) {
  struct {
    TXoTypeKind Kind;
    const char16_t* Text;
    TVarType Type;
    int64_t Value;
  } cases[] = {{xtkByte, u"300", varByte, 44},         {xtkWord, u"65535", varWord, 65535},
               {xtkCardinal, u"$FFFFFFFF", varLongWord, 4294967295},
               {xtkShortInt, u"-128", varShortInt, -128}, {xtkSmallInt, u"40000", varSmallint, -25536},
               {xtkInteger, u"-7", varInteger, -7},       {xtkInt64, u"-9223372036854775808", varInt64,
                                                           std::numeric_limits<int64_t>::min()},
               {xtkEnumeration, u"2", varInteger, 2},     {xtkSet, u"5", varInteger, 5}};
  for (auto& c : cases) {
    Variant v = XoXMLToVariant(c.Text, c.Kind);
    EXPECT_EQ(v.VarType(), c.Type) << int(c.Kind);
    EXPECT_EQ(v.AsInt64(), c.Value) << int(c.Kind);
  }
  Variant u = XoXMLToVariant(u"-1", xtkUInt64);
  EXPECT_EQ(u.VarType(), varUInt64);
  EXPECT_EQ(u.AsUInt64(), ~uint64_t(0));
}

TEST(XoXMLToVariantKind, OtherSimpleKinds) {
  EXPECT_EQ(XoXMLToVariant(u"0.5", xtkSingle).VarType(), varSingle);
  EXPECT_EQ(XoXMLToVariant(u"0.5", xtkDouble).AsDouble(), 0.5);
  EXPECT_EQ(XoXMLToVariant(u"0.5", xtkExtended).VarType(), varExtended);
  for (TXoTypeKind k : {xtkChar, xtkAnsiChar, xtkWideChar, xtkString, xtkAnsiString, xtkWideString})
    EXPECT_EQ(XoXMLToVariant(u"a&lt;b", k).AsString(), u"a<b") << int(k);
  EXPECT_EQ(XoXMLToVariant(u"true", xtkBoolean).AsBoolean(), true);
  EXPECT_EQ(XoXMLToVariant(u"2024-03-04", xtkDate).AsDate(), EncodeDate(2024, 3, 4));
  EXPECT_NEAR(XoXMLToVariant(u"06:00:00", xtkTime).AsDate(), 0.25, 1e-9);
  EXPECT_EQ(XoXMLToVariant(u"2024-03-04T00:00:00", xtkDateTime).VarType(), varDate);
  EXPECT_EQ(XoXMLToVariant(u"a&lt;b", xtkVariant).AsString(), u"a&lt;b");  // not decoded
}

TEST(XoXMLToVariantKind, KindsWithoutAVariantForm) {
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToVariant(u"x", xtkClass); }),
            u"Failed to convert the value \"x\" to a variant value of type " + XoTypeKindName(xtkClass) + u"!");
  EXPECT_THROW(XoXMLToVariant(u"x", xtkUnknown), Exception);
  EXPECT_THROW(XoXMLToVariant(u"x", xtkRecord), Exception);
}

TEST(XoXMLToVariantName, ByRegisteredTypeName) {
  Variant v = XoXMLToVariant(u"42", TXoTypes::Of<int32_t>()->GetQualifiedName());
  EXPECT_EQ(v.VarType(), TXoTypes::GetVarType(TXoTypes::Of<int32_t>(), varUnknown));
  EXPECT_EQ(v.AsInteger(), 42);
  Variant b = XoXMLToVariant(u"true", TXoTypes::Of<bool>()->GetQualifiedName());
  EXPECT_TRUE(b.AsBoolean());
  // An unknown name keeps the text as it is.
  Variant u = XoXMLToVariant(u"a&amp;b", u"No.Such.Type");
  EXPECT_EQ(u.AsString(), u"a&amp;b");
}

// ---------------------------------------------------------------------------
// TValue to text

TEST(XoValToXML, ByKind) {
  EXPECT_EQ(XoValToXML(TValue::From(std::u16string(u"a<'b'>"))), u"a&lt;&apos;b&apos;&gt;");
  EXPECT_EQ(XoValToXML(TValue::From(char16_t(u'&'))), u"&amp;");
  EXPECT_EQ(XoValToXML(TValue::From(int32_t(-5))), u"-5");
  EXPECT_EQ(XoValToXML(TValue::From(Variant(u"x&y"))), u"x&amp;y");
  EXPECT_EQ(XoValToXML(TValue::From(clGreen)), u"clGreen");
  EXPECT_EQ(XoValToXML(TValue::From(static_cast<TColor>(7))), u"clRed");  // out of range
  EXPECT_EQ(XoValToXML(TValue::From(TColors{clRed, clBlue})), TValue::From(TColors{clRed, clBlue}).ToString());
}

TEST(XoValToXML, StructuredKindsNeedTheSerializer) {
  EXPECT_THROW(XoValToXML(TValue::From(TPoint{})), ENotSupportedException);
  XoSetValueSerializer([](const TValue& V) { return TXoSerializedData("<r t=\"") + XoUTF16ToUTF8(V.TypeInfo()->GetName()) + "\"/>"; });
  EXPECT_EQ(XoValToXML(TValue::From(TPoint{})), u"<r t=\"TPoint\"/>");
  XoSetValueSerializer(nullptr);
}

// ---------------------------------------------------------------------------
// Text to TValue

TEST(XoXMLToValue, SimpleKindsByDescriptor) {
  EXPECT_EQ(XoXMLToValue(u"300", TXoTypes::Of<uint8_t>()).AsInteger(), 44);
  EXPECT_EQ(XoXMLToValue(u"-1", TXoTypes::Of<uint64_t>()).AsUInt64(), ~uint64_t(0));
  EXPECT_EQ(XoXMLToValue(u"123456789012", TXoTypes::Of<int64_t>()).AsInt64(), 123456789012);
  EXPECT_EQ(XoXMLToValue(u"0.25", TXoTypes::Of<double>()).AsExtended(), 0.25L);
  EXPECT_EQ(XoXMLToValue(u"0.25", TXoTypes::Of<float>()).AsExtended(), 0.25L);
  EXPECT_TRUE(XoXMLToValue(u"TRUE", TXoTypes::Of<bool>()).AsBoolean());
  TValue d = XoXMLToValue(u"2024-03-04", TXoTypes::Of<TDateTag>());
  EXPECT_EQ(d.TypeInfo(), TXoTypes::Of<TDateTag>());
  EXPECT_EQ(d.AsExtended(), EncodeDate(2024, 3, 4));
  TValue dt = XoXMLToValue(u"2024-03-04T06:00:00", TXoTypes::Of<TDateTimeTag>());
  EXPECT_NEAR(double(dt.AsExtended()), EncodeDate(2024, 3, 4) + 0.25, 1e-9);
  EXPECT_THROW(XoXMLToValue(u"x", TXoTypes::Of<int32_t>()), EConvertError);
}

TEST(XoXMLToValue, StringsAndCharacters) {
  EXPECT_EQ(XoXMLToValue(u"a&amp;b", TXoTypes::Of<std::u16string>()).AsString(), u"a&b");
  EXPECT_EQ(XoXMLToValue(u"&amp;x", TXoTypes::Of<char16_t>()).AsString(), u"&");  // raw first unit
  EXPECT_EQ(XoXMLToValue(u"", TXoTypes::Of<char16_t>()).AsOrdinal(), 0);
  TValue a = XoXMLToValue(u"caf&eacute;", TXoTypes::Of<std::string>());
  EXPECT_EQ(a.AsString(), u"caf\u00e9");
  TValue c = XoXMLToValue(u"", TXoTypes::Of<char>());
  EXPECT_EQ(c.AsOrdinal(), 3);  // end of text
  EXPECT_EQ(XoXMLToValue(u"Q", TXoTypes::Of<char>()).AsOrdinal(), 'Q');
}

TEST(XoXMLToValue, EnumerationsAndSets) {
  TXoTypeInfo* color = TXoTypes::Of<TColor>();
  EXPECT_EQ(XoXMLToValue(u"clBlue", color).AsOrdinal(), clBlue);
  EXPECT_EQ(XoXMLToValue(u"CLGREEN", color).AsOrdinal(), clGreen);
  EXPECT_EQ(XoXMLToValue(u"1", color).AsOrdinal(), clGreen);
  EXPECT_EQ(XoXMLToValue(u"clBlue", u"XmlUtilsTest.TColor").AsOrdinal(), clBlue);
  EXPECT_EQ(MessageOf<Exception>([&] { XoXMLToValue(u"clPink", color); }),
            u"Failed to convert the value \"clPink\" to a value of type TColor!");
  TXoTypeInfo* colors = TXoTypes::Of<TColors>();
  EXPECT_EQ(XoXMLToValue(u"[clRed,clBlue]", colors).AsType<TColors>(), (TColors{clRed, clBlue}));
  EXPECT_EQ(XoXMLToValue(u"2", colors).AsType<TColors>(), (TColors{clGreen}));
}

TEST(XoXMLToValue, VariantsAndUnsupportedKinds) {
  TValue v = XoXMLToValue(u"a&amp;b", TXoTypes::Of<Variant>());
  EXPECT_EQ(v.AsVariant().VarType(), varString);
  EXPECT_EQ(v.AsVariant().AsString(), u"a&b");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToValue(u"1", TXoTypes::Of<TPoint>()); }),
            u"Failed to convert \"1\" into a TValue!\nThe type TPoint is not supported.");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToValue(u"1", u"No.Such.Type"); }),
            u"Failed to convert \"1\" into a TValue!\nThe type No.Such.Type is not supported.");
}
