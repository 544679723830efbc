// Tests of the JSON value conversions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "uXoJSON.h"
#include "uXoXMLUtils.h"
#include "xo_test_support.h"

using namespace xo;

namespace {
enum class TJSONTestColor { Red, Green, Blue };
}
XO_ENUM(TJSONTestColor, u"uTestJSON.TJSONTestColor", u"clRed", u"clGreen", u"clBlue")

TEST(JSONConversions, Escaping) {
  EXPECT_EQ(XoStrToJSON(u""), u"");
  EXPECT_EQ(XoStrToJSON(u"a/b"), u"a\\/b");
  EXPECT_EQ(XoStrToJSON(u"\u00E9"), u"\u00E9");
  EXPECT_EQ(XoStrToJSON(u"\u0100"), u"\\u0100");
  EXPECT_EQ(XoStrToJSON(u"\u20AC"), u"\\u20AC");
  EXPECT_EQ(XoStrToJSON(u"\U0001F600"), u"\\uD83D\\uDE00");
  EXPECT_EQ(XoStrToJSON(u"q\"b\\\b\t\n\f\r"), u"q\\\"b\\\\\\b\\t\\n\\f\\r");
  // Code unit 1 is dropped; 0, 11 and 31 stay raw.
  EXPECT_EQ(XoStrToJSON(std::u16string(u"a\x01" u"b\x0B\x1F", 5)), u"ab\x0B\x1F");
  EXPECT_EQ(XoStrToJSON(std::u16string(u"\0x", 2)), std::u16string(u"\0x", 2));

  EXPECT_EQ(XoJSONtoStr(u"", jdtString), u"");
  EXPECT_EQ(XoJSONtoStr(u"\\q", jdtString), u"q");
  EXPECT_EQ(XoJSONtoStr(u"\\n\\r\\t\\f\\b\\\"\\/\\\\", jdtString), u"\n\r\t\f\b\"/\\");
  EXPECT_EQ(XoJSONtoStr(u"\\u00e9\\u20AC", jdtString), u"\u00E9\u20AC");
  EXPECT_EQ(XoJSONtoStr(u"\\uD83D\\uDE00", jdtString), u"\U0001F600");
  EXPECT_EQ(XoJSONtoStr(u"\\%41", jdtString), u"A");
  EXPECT_EQ(XoJSONtoStr(u"100%25", jdtString), u"100%25");
  EXPECT_EQ(XoJSONtoStr(u"100%25", jdtNumber), u"100%");
  EXPECT_THROW(XoJSONtoStr(u"\\uZZZZ", jdtString), EConvertError);
  EXPECT_THROW(XoJSONtoStr(u"%G0", jdtNumber), EConvertError);

  // Decoding undoes escaping for every text without the code units 1 to 7.
  std::mt19937 rng(7);
  for (int round = 0; round < 2000; ++round) {
    std::u16string s;
    const int n = static_cast<int>(rng() % 20);
    for (int i = 0; i < n; ++i) {
      char16_t c;
      switch (rng() % 4) {
        case 0: c = static_cast<char16_t>(rng() % 0x80); break;
        case 1: c = static_cast<char16_t>(rng() % 0x100); break;
        default: c = static_cast<char16_t>(rng() % 0x10000); break;
      }
      if (c >= 1 && c <= 7) c = u'x';
      s += c;
    }
    ASSERT_EQ(XoJSONtoStr(XoStrToJSON(s), jdtString), s);
  }
}

TEST(JSONConversions, Variants) {
  EXPECT_EQ(XoVarTypeToJSONType(Variant(int32_t(1))), jdtNumber);
  EXPECT_EQ(XoVarTypeToJSONType(Variant(1.5)), jdtNumber);
  EXPECT_EQ(XoVarTypeToJSONType(Variant(u"x")), jdtString);
  EXPECT_EQ(XoVarTypeToJSONType(Variant::FromDate(1)), jdtString);
  EXPECT_EQ(XoVarTypeToJSONType(Variant(true)), jdtBoolean);
  EXPECT_EQ(XoVarTypeToJSONType(VarArrayOf({Variant(1)})), jdtArray);
  EXPECT_EQ(XoVarTypeToJSONType(Variant::Null()), jdtNull);
  EXPECT_EQ(XoVarTypeToJSONType(Variant()), jdtNull);

  EXPECT_EQ(XoVarToJSON(Variant(int64_t(-9007199254740993LL))), u"-9007199254740993");
  EXPECT_EQ(XoVarToJSON(Variant(1.5)), u"1.5");
  EXPECT_EQ(XoVarToJSON(Variant(0.0)), XoDoubleToXML(0.0));
  EXPECT_EQ(XoVarToJSON(Variant(-0.0)), u"-0");
  EXPECT_EQ(XoVarToJSON(Variant(std::numeric_limits<double>::quiet_NaN())), u"null");
  EXPECT_EQ(XoVarToJSON(Variant(-std::numeric_limits<double>::infinity())), u"null");
  EXPECT_EQ(XoVarToJSON(Variant(std::numeric_limits<long double>::infinity())), u"null");
  EXPECT_EQ(XoVarToJSON(Variant(u"a\"/\u20AC")), u"\"a\\\"\\/\\u20AC\"");
  EXPECT_EQ(XoVarToJSON(Variant(true)), u"true");
  EXPECT_EQ(XoVarToJSON(Variant::FromDate(25569.5)), u"\"1970-01-01T12:00:00.000\"");
  EXPECT_EQ(XoVarToJSON(Variant::Null()), u"null");
  EXPECT_EQ(XoVarToJSON(VarArrayOf(std::vector<Variant>{})), u"[]");
  EXPECT_EQ(XoVarToJSON(VarArrayOf({Variant(u"a"), Variant(int32_t(1))})), u"[\"a\",1]");
  EXPECT_EQ(XoVarToJSON(VarArrayOf({VarArrayOf({Variant(false)}), Variant::Null()})), u"[[false],null]");
}

TEST(JSONConversions, Dates) {
  xo_test::ScopedTZ tz("UTC");
  EXPECT_EQ(XoJSONToDateTime(u"/Date(0)/"), 25569.0);
  EXPECT_EQ(XoJSONToDate(u"/Date(86399999)/"), 25569.0);
  EXPECT_EQ(XoJSONToDate(u"/Date(-1)/"), 25568.0);
  EXPECT_DOUBLE_EQ(XoJSONToTime(u"/Date(3600000)/"), 1.0 / 24);
  EXPECT_DOUBLE_EQ(XoJSONToDateTime(u"/Date(1500000000000)/"), 25569.0 + 1500000000000.0 / 86400000.0);
  EXPECT_THROW(XoJSONToDateTime(u"/Date(0+0100)/"), EConvertError);
  EXPECT_THROW(XoJSONToDateTime(u"/Date()/"), EConvertError);
  EXPECT_EQ(XoJSONToDateTimeDef(u"/Date(0+0100)/", 7), 7);
  EXPECT_EQ(XoJSONToDateTime(u""), 0);
  EXPECT_EQ(XoJSONToDateDef(u"", 5), 0);
  // Other texts are XML dates.
  EXPECT_EQ(XoJSONToDate(u"2020-02-29"), XoXMLToDate(u"2020-02-29"));
  EXPECT_EQ(XoJSONToDateTime(u"2020-02-29T10:00:00"), XoXMLToDateTime(u"2020-02-29T10:00:00", tzfNone));
  EXPECT_DOUBLE_EQ(XoJSONToTime(u"06:00:00"), 0.25);
  EXPECT_EQ(XoJSONToTimeDef(u"nonsense", 3), 3);
  // Variant forms.
  EXPECT_EQ(XoJSONToDate(Variant::Null(), 9), 9);
  EXPECT_EQ(XoJSONToDate(Variant(int32_t(12)), 9), 12);
  EXPECT_EQ(XoJSONToDateTime(Variant(12.5), 9), 12.5);
  EXPECT_EQ(XoJSONToDateTime(Variant::FromDate(3.25), 9), 3.25);
  EXPECT_EQ(XoJSONToDateTime(Variant(u"/Date(0)/"), 9), 25569.0);
  EXPECT_EQ(xo_test::MessageOf<EConvertError>([] { XoJSONToDate(Variant(true), 0); }),
            u"The given value is not a valid Date value!");
  EXPECT_EQ(xo_test::MessageOf<EConvertError>([] { XoJSONToTime(Variant(true), 0); }),
            u"The given value is not a valid Time value!");
  EXPECT_EQ(xo_test::MessageOf<EConvertError>([] { XoJSONToDateTime(Variant(true), 0); }),
            u"The given value is not a valid DateTime value!");
}

TEST(JSONConversions, TypeNames) {
  XoJSONString format = u"stale";
  TXoSchemaDataType code = sdtAnyType;
  EXPECT_EQ(XoJSONType(TXoTypes::Of<TDateTimeTag>(), format, &code), u"dateTime");
  EXPECT_EQ(format, u"date-time");
  EXPECT_EQ(code, 20);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<TTimeTag>(), format, &code), u"dateTime");
  EXPECT_EQ(code, 19);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<TDateTag>(), format, &code), u"date");
  EXPECT_EQ(format, u"date");
  EXPECT_EQ(XoJSONType(TXoTypes::Of<int32_t>(), format, &code), u"integer");
  EXPECT_EQ(format, u"int32");
  EXPECT_EQ(code, 5);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<int64_t>(), format, &code), u"integer");
  EXPECT_EQ(format, u"int64");
  EXPECT_EQ(code, 6);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<uint8_t>(), format, nullptr), u"integer");
  EXPECT_EQ(XoJSONType(TXoTypes::Of<std::u16string>(), format, &code), u"string");
  EXPECT_EQ(format, u"");
  EXPECT_EQ(code, 14);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<bool>(), format, &code), u"boolean");
  EXPECT_EQ(code, 17);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<float>(), format, &code), u"float");
  EXPECT_EQ(XoJSONType(TXoTypes::Of<double>(), format, &code), u"double");
  EXPECT_EQ(code, 12);
  EXPECT_EQ(XoJSONType(TXoTypes::Of<TJSONTestColor>(), format, &code), u"TJSONTestColor");
  EXPECT_EQ(code, 0);
}

TEST(JSONConversions, ReflectedValues) {
  EXPECT_EQ(XoJSONToVal(u"42", TXoTypes::Of<int32_t>(), false).AsInteger(), 42);
  EXPECT_EQ(XoJSONToVal(u"1.5", TXoTypes::Of<double>(), false).AsExtended(), 1.5);
  EXPECT_THROW(XoJSONToVal(u"x", TXoTypes::Of<int32_t>(), false), EConvertError);
  EXPECT_EQ(XoJSONToVal(u"a\\nb", TXoTypes::Of<std::u16string>(), true).AsString(), u"a\nb");
  EXPECT_EQ(XoJSONToVal(u"a\\nb", TXoTypes::Of<std::u16string>(), false).AsString(), u"a\\nb");
  EXPECT_EQ(XoJSONToVal(u"true", TXoTypes::Of<bool>(), false).AsBoolean(), true);
  EXPECT_EQ(XoJSONToVal(u"", TXoTypes::Of<char16_t>(), false).AsOrdinal(), 0);
  EXPECT_EQ(XoJSONToVal(u"clBlue", TXoTypes::Of<TJSONTestColor>(), false).AsOrdinal(), 2);
  EXPECT_EQ(XoJSONToVal(u"1", TXoTypes::Of<TJSONTestColor>(), false).AsOrdinal(), 1);
  EXPECT_EQ(xo_test::MessageOf<Exception>([] { XoJSONToVal(u"clPink", TXoTypes::Of<TJSONTestColor>(), false); }),
            u"Failed to convert the value \"clPink\" to a value of type TJSONTestColor!");
  EXPECT_EQ(XoJSONToVal(u"/Date(0)/", TXoTypes::Of<TDateTimeTag>(), false).AsExtended(), 25569.0);
  EXPECT_EQ(XoJSONToVal(u"7", u"System.Integer", false).AsInteger(), 7);
  EXPECT_EQ(XoJSONToVal(u"x", TXoTypes::Of<Variant>(), false).AsVariant().AsString(), u"x");
  // XML text for simple values; booleans read alike in both notations.
  EXPECT_EQ(XoValToJSON(TValue::From(int32_t(5))), u"5");
  EXPECT_EQ(XoValToJSON(TValue::From(true)), u"true");
  EXPECT_EQ(XoValToJSON(TValue::From(std::u16string(u"a<b"))), u"a&lt;b");
  EXPECT_THROW(XoValToJSON(TValue::From(TJSONTestColor::Green)), ENotSupportedException);
}
