// Conformance tests of uXoXMLUtils: the exact lexical forms and messages of
// every value conversion, checked rule by rule with values worked out by hand.
// The other xmlutils tests cover the common paths and round trips; these pin
// the corners of each rule.

#include <gtest/gtest.h>

#include "xo_test_support.h"

#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "uXoRtti.h"
#include "uXoXMLUtils.h"

using namespace xo;
using xo_test::MessageOf;
using xo_test::ScopedTZ;

namespace xmlutils_conformance {

enum TShade { shLight, shMedium, shDark };
XO_ENUM(TShade, u"XmlUtilsConformance.TShade", u"shLight", u"shMedium", u"shDark")

using TShades = TSet<TShade>;
XO_REGISTER(TShades, u"XmlUtilsConformance.TShades")

}  // namespace xmlutils_conformance

using namespace xmlutils_conformance;

namespace {

std::string U8(std::u16string_view s) { return XoUTF16ToUTF8(s); }

constexpr const char* cCET = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr double cOneMs = 1.0 / 86400000.0;

std::u16string BadDuration(std::u16string_view AText) {
  return u"XoXMLToDuration; The provided argument (" + std::u16string(AText) + u") is not a valid duration!";
}

}  // namespace

// ---------------------------------------------------------------------------
// Escaping

TEST(ConformanceEscaping, FlagsInEveryFormAndTheBoundaryCharacters) {
  // 8-bit form: the apostrophe flag comes first, then the quote flag.
  EXPECT_EQ(XoStrToXML(std::string_view("'\"<>&"), false, true), "'&quot;&lt;&gt;&amp;");
  EXPECT_EQ(XoStrToXML(std::string_view("'\"<>&"), true, false), "&apos;\"&lt;&gt;&amp;");
  EXPECT_EQ(XoStrToXML(std::string_view(""), true, true), "");
  // 16-bit form: 126, 127 and everything above pass; 31 is the last code
  // written as a reference, 32 (blank) passes.
  std::u16string high = u"~\u007f\u0080\u00ff\uffff ";
  EXPECT_EQ(XoStrToXML(high, true, true), high);
  EXPECT_EQ(XoStrToXML(std::u16string(1, char16_t(31)) + u" ", false, false), u"&#31; ");
  EXPECT_EQ(XoStrToXML(u"\x0b\x0c", false, false), u"&#11;&#12;");
  // Stream form: the same flags in the same order; it appends.
  TXoStringStream st(1200, 16);
  std::u16string t = u"'\"\t";
  XoStrToXML(t.data(), int64_t(t.size()), &st, true, false);
  XoStrToXML(t.data(), int64_t(t.size()), &st, false, true);
  EXPECT_EQ(st.GetWString(), u"&apos;\"&#9;'&quot;&#9;");
  // A stream of code page 0 receives the same text.
  TXoStringStream st0(0, 16);
  std::u16string u = u"a<\u00e9>";
  XoStrToXML(u.data(), int64_t(u.size()), &st0, false, false);
  EXPECT_EQ(st0.GetWString(), u"a&lt;\u00e9&gt;");
}

// ---------------------------------------------------------------------------
// Entity decoding, 16-bit

TEST(ConformanceXMLToStr, ScanStopsAtBlankSemicolonOrEnd) {
  // Only the blank stops the scan for the semicolon; a tab does not, so the
  // name takes it in and has no entry.
  EXPECT_EQ(XoXMLToStr(u"&l t;"), u"&l t;");
  EXPECT_EQ(XoXMLToStr(u"&lt\tx;"), u"&lt\tx;");
  // After an unterminated reference the scan goes on from the blank.
  EXPECT_EQ(XoXMLToStr(u"&amp &amp;"), u"&amp &");
  // After a miss the scan goes on behind the semicolon.
  EXPECT_EQ(XoXMLToStr(u"&zz;&lt;"), u"&zz;<");
  // A reference at the very end and one at the very start.
  EXPECT_EQ(XoXMLToStr(u"&gt;x&lt;"), u">x<");
  EXPECT_EQ(XoXMLToStr(u"x&amp"), u"x&amp");
}

TEST(ConformanceXMLToStr, NumericReferencesThroughTheIntegerParser) {
  // Decimal digits as they stand, x or X behind "#" as hexadecimal.
  EXPECT_EQ(XoXMLToStr(u"&#x41;&#X61;&#0;"), std::u16string(u"Aa\0", 3));
  // The low 16 bits: 65536 is the code unit 0, 65601 is "A".
  EXPECT_EQ(XoXMLToStr(u"&#65536;"), std::u16string(1, char16_t(0)));
  EXPECT_EQ(XoXMLToStr(u"&#65601;"), u"A");
  EXPECT_EQ(XoXMLToStr(u"&#x10041;"), u"A");
  // A numeric reference is decoded whatever its length.
  EXPECT_EQ(XoXMLToStr(u"&#0000000065;"), u"A");
  // Digits that do not parse raise the parser's error.
  EXPECT_THROW(XoXMLToStr(u"&#x;"), EConvertError);
  EXPECT_THROW(XoXMLToStr(u"&#6a;"), EConvertError);
  // A blank ends the scan before the semicolon: nothing is parsed.
  EXPECT_EQ(XoXMLToStr(u"&#6 5;x;"), u"&#6 5;x;");
}

TEST(ConformanceXMLToStr, TableOfNamesAndCodePoints) {
  struct {
    const char16_t* Name;
    char16_t Code;
  } cases[] = {
      {u"iexcl", 161}, {u"shy", 173},   {u"macr", 175},    {u"frac34", 190}, {u"iquest", 191}, {u"Agrave", 192},
      {u"ETH", 208},   {u"times", 215}, {u"THORN", 222},   {u"szlig", 223},  {u"eth", 240},    {u"divide", 247},
      {u"thorn", 254}, {u"Sigma", 931}, {u"sigma", 963},   {u"upsih", 978},  {u"piv", 982},    {u"bull", 8226},
      {u"weierp", 8472}, {u"image", 8465}, {u"real", 8476}, {u"crarr", 8629}, {u"lArr", 8656}, {u"empty", 8709},
      {u"lowast", 8727}, {u"there4", 8756}, {u"sup", 8835}, {u"nsub", 8836}, {u"sdot", 8901}, {u"lceil", 8968},
      {u"rfloor", 8971}, {u"spades", 9824}, {u"diams", 9830}, {u"quot", 34}, {u"amp", 38}, {u"circ", 710},
      {u"tilde", 732}, {u"ensp", 8194}, {u"thinsp", 8201}, {u"lrm", 8206}, {u"rlm", 8207}, {u"ndash", 8211},
      {u"sbquo", 8218}, {u"bdquo", 8222}, {u"lsaquo", 8249}, {u"rsaquo", 8250}, {u"Yuml", 376},
      {u"scaron", 353}, {u"apos", 39},
  };
  for (auto& c : cases) {
    std::u16string text = u"<&" + std::u16string(c.Name) + u";>";
    EXPECT_EQ(XoXMLToStr(text), u"<" + std::u16string(1, c.Code) + u">") << U8(c.Name);
  }
  // Names are told apart by case only through their key.
  EXPECT_EQ(XoXMLToStr(u"&Eacute;&eacute;"), u"\u00c9\u00e9");
  // XML's own names other than these and HTML names of later standards have
  // no entry.
  EXPECT_EQ(XoEntityCode(u"hellip"), 8230);
  EXPECT_EQ(XoEntityCode(u"nosuch"), -1);
  EXPECT_EQ(XoEntityCode(u"thetasyms"), -1);
}

// ---------------------------------------------------------------------------
// Entity decoding, 8-bit

TEST(ConformanceXMLToStr8, FirstLetterAndNumericReferences) {
  // "a" followed by anything but m/M is the apostrophe, also "a" alone.
  EXPECT_EQ(XoXMLToStr(std::string_view("&a;&aM;&Ax;")), "'&'");
  // The rest of the name is not looked at, however long it is.
  EXPECT_EQ(XoXMLToStr(std::string_view("&ampersandish;&greaterthanall;")), "&>");
  EXPECT_EQ(XoXMLToStr(std::string_view("&G;&L;&Q;")), "><\"");
  // Other letters and unterminated references stay.
  EXPECT_EQ(XoXMLToStr(std::string_view("&b; &amp &nbsp;")), "&b; &amp &nbsp;");
  EXPECT_EQ(XoXMLToStr(std::string_view("&amp &amp;")), "&amp &");
  // Hexadecimal references, and text without any reference.
  EXPECT_EQ(XoXMLToStr(std::string_view("&#x41;&#X62;")), "Ab");
  EXPECT_EQ(XoXMLToStr(std::string_view("plain")), "plain");
  EXPECT_THROW(XoXMLToStr(std::string_view("&#;")), EConvertError);
}

// ---------------------------------------------------------------------------
// Integers

TEST(ConformanceIntegers, RaisingDefAndWidths) {
  // Def forms: empty text is 0, text that does not parse is the default.
  EXPECT_EQ(XoXMLToShortintDef(u"", 5), 0);
  EXPECT_EQ(XoXMLToShortintDef(u"zz", -3), -3);
  EXPECT_EQ(XoXMLToSmallintDef(u"", 5), 0);
  EXPECT_EQ(XoXMLToSmallintDef(u"1e3", 5), 5);
  EXPECT_EQ(XoXMLToWordDef(u"", 5), 0);
  EXPECT_EQ(XoXMLToWordDef(u"q", 5), 5);
  EXPECT_EQ(XoXMLToLongwordDef(u"", 5), 0u);
  EXPECT_EQ(XoXMLToLongwordDef(u"-", 5), 5u);
  EXPECT_EQ(XoXMLToInt64Def(u"x", -5), -5);
  EXPECT_EQ(XoXMLToUInt64Def(u"", 9), 0u);
  // Raising forms: empty text is 0.
  EXPECT_EQ(XoXMLToShortint(u""), 0);
  EXPECT_EQ(XoXMLToSmallint(u""), 0);
  EXPECT_EQ(XoXMLToByte(u""), 0);
  EXPECT_EQ(XoXMLToWord(u""), 0);
  EXPECT_EQ(XoXMLToLongword(u""), 0u);
  EXPECT_EQ(XoXMLToInt64(u""), 0);
  EXPECT_EQ(XoXMLToUInt64(u""), 0u);
  // Low bits without range check.
  EXPECT_EQ(XoXMLToByte(u"-1"), 255);
  EXPECT_EQ(XoXMLToShortint(u"255"), -1);
  EXPECT_EQ(XoXMLToSmallint(u"65535"), -1);
  EXPECT_EQ(XoXMLToLongword(u"-1"), 4294967295u);
  // The 32-bit parser refuses what does not fit 32 bits even for narrow
  // targets; the 64-bit parser refuses what does not fit a signed 64-bit.
  EXPECT_THROW(XoXMLToByte(u"4294967296"), EConvertError);
  EXPECT_THROW(XoXMLToInt(u"2147483648"), EConvertError);
  EXPECT_EQ(XoXMLToInt(u"-2147483648"), std::numeric_limits<int32_t>::min());
  EXPECT_THROW(XoXMLToUInt64(u"18446744073709551615"), EConvertError);
  EXPECT_EQ(XoXMLToUInt64Def(u"18446744073709551615", 4), 4u);
  // Hexadecimal with "$" through every reader.
  EXPECT_EQ(XoXMLToWord(u"$FFFF"), 65535);
  EXPECT_EQ(XoXMLToByte(u"$1FF"), 255);
  EXPECT_EQ(XoXMLToUInt64(u"$FFFFFFFFFFFFFFFF"), ~uint64_t(0));
  // Writers: decimal, unsigned 32-bit never negative, unsigned 64-bit as the
  // signed value of its bits.
  EXPECT_EQ(XoCardinalToXML(4294967295u), u"4294967295");
  EXPECT_EQ(XoLongWordToXML(2147483648u), u"2147483648");
  EXPECT_EQ(XoWordToXML(65535), u"65535");
  EXPECT_EQ(XoSmallIntToXML(-32768), u"-32768");
  EXPECT_EQ(XoLongIntToXML(std::numeric_limits<int32_t>::min()), u"-2147483648");
  EXPECT_EQ(XoInt64ToXML(std::numeric_limits<int64_t>::min()), u"-9223372036854775808");
  EXPECT_EQ(XoUInt64ToXML(9223372036854775807u), u"9223372036854775807");
  EXPECT_EQ(XoUInt64ToXML(9223372036854775809u), u"-9223372036854775807");
}

TEST(ConformanceIntegers, VariantSources) {
  // Strings go through the parser of the target's family.
  EXPECT_EQ(XoXMLToInt(Variant(u"$10"), 0), 16);
  EXPECT_THROW(XoXMLToInt(Variant(u"9999999999"), 0), EConvertError);
  EXPECT_THROW(XoXMLToByte(Variant(u"4294967296"), 0), EConvertError);
  EXPECT_EQ(XoXMLToInt64(Variant(u"9999999999"), 0), 9999999999);
  EXPECT_EQ(XoXMLToUInt64(Variant(u"-1"), 0), ~uint64_t(0));
  EXPECT_THROW(XoXMLToInt(Variant(u""), 7), EConvertError);  // no empty-text rule here
  // Integers keep their low bits, booleans are 0 or 1.
  EXPECT_EQ(XoXMLToByte(Variant(int32_t(511)), 0), 255);
  EXPECT_EQ(XoXMLToWord(Variant(int32_t(-1)), 0), 65535);
  EXPECT_EQ(XoXMLToSmallint(Variant(false), 9), 0);
  EXPECT_EQ(XoXMLToLongword(Variant(true), 9), 1u);
  EXPECT_EQ(XoXMLToInt64(Variant(int64_t(1) << 40), 0), int64_t(1) << 40);
  // Null is the default for every target.
  EXPECT_EQ(XoXMLToShortint(Variant::Null(), -2), -2);
  EXPECT_EQ(XoXMLToLongword(Variant::Null(), 77), 77u);
  EXPECT_EQ(XoXMLToUInt64(Variant::Null(), 78), 78u);
  // Dates and floats are not integer sources.
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToLongword(Variant::FromDate(1.0), 0); }),
            u"The given value is not a valid LongWord value!");
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToByte(Variant::FromDate(1.0), 0); }),
            u"The given value is not a valid Byte value!");
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToInt(Variant(), 0); }),
            u"The given value is not a valid integer value!");
}

// ---------------------------------------------------------------------------
// Floats and booleans

TEST(ConformanceFloats, DefFormsAndVariantSources) {
  EXPECT_EQ(XoXMLToSingleDef(u"", 5), 0);
  EXPECT_EQ(XoXMLToSingleDef(u"x", 5), 5);
  EXPECT_EQ(XoXMLToExtendedDef(u"", 5), 0);
  EXPECT_EQ(XoXMLToSingle(u""), 0);
  EXPECT_EQ(XoXMLToExtended(u""), 0);
  EXPECT_THROW(XoXMLToSingle(u"1,5"), EConvertError);
  EXPECT_THROW(XoXMLToExtended(u"1,5"), EConvertError);
  EXPECT_EQ(XoXMLToDouble(u"-0.125"), -0.125);
  EXPECT_EQ(XoXMLToExtended(u"1E3"), 1000.0L);
  // Variant sources.
  EXPECT_EQ(XoXMLToSingle(Variant(int32_t(3)), 0), 3.0f);
  EXPECT_EQ(XoXMLToSingle(Variant(u"0.5"), 0), 0.5f);
  EXPECT_EQ(XoXMLToSingle(Variant::Null(), 4), 4.0f);
  EXPECT_EQ(XoXMLToExtended(Variant::FromDate(2.5), 0), 2.5L);
  EXPECT_EQ(XoXMLToExtended(Variant(int64_t(-7)), 0), -7.0L);
  EXPECT_EQ(XoXMLToDouble(Variant::Null(), 6), 6.0);
  EXPECT_EQ(XoXMLToDouble(Variant(0.25f), 0), 0.25);
  EXPECT_THROW(XoXMLToDouble(Variant(u"x"), 0), EConvertError);
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToDouble(Variant(), 0); }),
            u"The given value is not a valid Double value!");
  // Writers.
  EXPECT_EQ(XoDoubleToXML(-0.5), u"-0.5");
  EXPECT_EQ(XoDoubleToXML(100), u"100");
  EXPECT_EQ(XoExtToXML(0.1L), u"0.1");
}

TEST(ConformanceBooleans, TextAndVariantSources) {
  EXPECT_TRUE(XoXMLToBool(u"TrUe"));
  EXPECT_FALSE(XoXMLToBool(u"1.0"));
  EXPECT_FALSE(XoXMLToBool(u"true "));
  EXPECT_FALSE(XoXMLToBool(u"t"));
  EXPECT_FALSE(XoXMLToBool(u"-1"));
  EXPECT_FALSE(XoXMLToBool(u"false"));
  // Integer variants: only the low 8 bits count.
  EXPECT_FALSE(XoXMLToBool(Variant(int64_t(0x1000)), true));
  EXPECT_TRUE(XoXMLToBool(Variant(int64_t(0x1080)), false));
  EXPECT_TRUE(XoXMLToBool(Variant(uint8_t(2)), false));
  EXPECT_FALSE(XoXMLToBool(Variant(int32_t(0)), true));
  // String variants.
  EXPECT_TRUE(XoXMLToBool(Variant(u"TRUE"), false));
  EXPECT_FALSE(XoXMLToBool(Variant(u"0"), true));
  EXPECT_FALSE(XoXMLToBool(Variant(u""), true));
  EXPECT_FALSE(XoXMLToBool(Variant(false), true));
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToBool(Variant::FromDate(1.0), false); }),
            u"The given value is not a valid Boolean value!");
}

// ---------------------------------------------------------------------------
// Strings from variants

TEST(ConformanceXMLToStrVariant, EachKind) {
  EXPECT_EQ(XoXMLToStr(Variant(int64_t(-9000000000)), u"d"), u"-9000000000");
  EXPECT_EQ(XoXMLToStr(Variant(int16_t(-7)), u"d"), u"-7");
  EXPECT_EQ(XoXMLToStr(Variant(0.25), u"d"), u"0.25");
  EXPECT_EQ(XoXMLToStr(Variant(false), u"d"), u"false");
  EXPECT_EQ(XoXMLToStr(Variant(u"&#65;&lt;"), u"d"), u"A<");
  EXPECT_EQ(XoXMLToStr(Variant(u""), u"d"), u"");  // not the default
  EXPECT_EQ(XoXMLToStr(Variant::FromDate(0.5), u"d"), u"1899-12-30T12:00:00.000");
  // Each element of a one-dimensional array followed by CR LF.
  EXPECT_EQ(XoXMLToStr(VarArrayOf({Variant(u"x&amp;y")}), u"d"), u"x&y\r\n");
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToStr(Variant(), u"d"); }),
            u"The given value is not a valid String value!");
}

// ---------------------------------------------------------------------------
// Dates and times on output

TEST(ConformanceDateOutput, OffsetsAndUTCByTheValuesOwnDate) {
  {
    ScopedTZ tz(cCET);
    TDateTime winter = EncodeDateTime(2024, 1, 15, 12, 0, 0, 250);
    TDateTime summer = EncodeDateTime(2024, 7, 15, 12, 0, 0, 250);
    // The time alone goes through the zone rules of the whole value.
    EXPECT_EQ(XoTimeToXML(winter, tzfUTC), u"11:00:00.250Z");
    EXPECT_EQ(XoTimeToXML(summer, tzfUTC), u"10:00:00.250Z");
    EXPECT_EQ(XoTimeToXML(winter, tzfOffset), u"12:00:00.250+01:00");
    EXPECT_EQ(XoDateToXML(winter, tzfOffset), u"2024-01-15+01:00");
    EXPECT_EQ(XoDateToXML(summer, tzfUTC), u"2024-07-15Z");
    // Local midnight is 22:00 of the day before in UTC.
    EXPECT_EQ(XoDateToXML(EncodeDate(2024, 7, 15), tzfUTC), u"2024-07-14Z");
    EXPECT_EQ(XoDateTimeToXML(winter, tzfUTC), u"2024-01-15T11:00:00Z");
    EXPECT_EQ(XoDateTimeToXML(winter, tzfNone), u"2024-01-15T12:00:00.250");
    // The XML format names.
    EXPECT_EQ(XoTimeToXML(winter, xdtfUTC), u"11:00:00.250Z");
    EXPECT_EQ(XoTimeToXML(winter, xdtfLocal), u"12:00:00.250");
    EXPECT_EQ(XoDateToXML(winter, xdtfTimezone), u"2024-01-15+01:00");
    EXPECT_EQ(XoDateToXML(winter, xdtfLocal), u"2024-01-15");
  }
  {
    // Offsets with minutes, east and west.
    ScopedTZ tz("IST-5:30");
    TDateTime v = EncodeDateTime(2024, 3, 1, 8, 9, 10, 11);
    EXPECT_EQ(XoDateTimeToXML(v, tzfOffset), u"2024-03-01T08:09:10.011+05:30");
    EXPECT_EQ(XoDateTimeToXML(v, tzfUTC), u"2024-03-01T02:39:10Z");
  }
  {
    ScopedTZ tz("NST3:30");
    TDateTime v = EncodeDateTime(2024, 3, 1, 23, 59, 59, 999);
    EXPECT_EQ(XoTimeToXML(v, tzfOffset), u"23:59:59.999-03:30");
    EXPECT_EQ(XoDateTimeToXML(v, tzfUTC), u"2024-03-02T03:29:59Z");
  }
  {
    // A zero offset carries the plus sign.
    ScopedTZ tz("UTC");
    EXPECT_EQ(XoDateToXML(EncodeDate(987, 6, 5), tzfOffset), u"0987-06-05+00:00");
  }
}

// ---------------------------------------------------------------------------
// Dates and times on input

TEST(ConformanceDateInput, ZeroTextAndTheDateReader) {
  ScopedTZ tz(cCET);
  EXPECT_EQ(XoXMLToTime(u"0", tzfOffset), 0);
  EXPECT_EQ(XoXMLToTime(u"", tzfUTC), 0);
  EXPECT_EQ(XoXMLToTime(u"0", xdtfTimezone), 0);
  EXPECT_EQ(XoXMLToDateTime(u"0", xdtfUTC), 0);
  EXPECT_EQ(XoXMLToDateDef(u"0", 5), 0);
  EXPECT_EQ(XoXMLToTimeDef(u"", 5, tzfUTC), 0);
  EXPECT_EQ(XoXMLToDateTimeDef(u"0", 5, xdtfTimezone), 0);
  // The date reader ignores time and zone, and a text without date fields
  // has nothing the date encoder accepts.
  EXPECT_DOUBLE_EQ(XoXMLToDate(u"2024-07-01T23:30:00-11:00"), EncodeDate(2024, 7, 1));
  EXPECT_DOUBLE_EQ(XoXMLToDate(u"2024-07-01Z"), EncodeDate(2024, 7, 1));
  EXPECT_THROW(XoXMLToDate(u"12:00:00"), EConvertError);
  EXPECT_EQ(XoXMLToDateDef(u"12:00:00", 4), 4);
  EXPECT_DOUBLE_EQ(XoXMLToDate(u"-0001-01-01"), -EncodeDate(1, 1, 1));
}

TEST(ConformanceDateInput, ZoneStepOfEachCell) {
  ScopedTZ tz(cCET);
  const std::u16string noZone = u"The XMLDateTime value did not contain timezone information!";
  // Format tzfNone: no zone unchanged; an offset is subtracted and the UTC
  // value made local; "Z" made local.
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-01-10T08:00:00", tzfNone), EncodeDateTime(2024, 1, 10, 8, 0, 0, 0));
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10T08:00:00-05:30", tzfNone), EncodeDateTime(2024, 1, 10, 14, 30, 0, 0),
              cOneMs / 2);
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10T23:30:00Z", tzfNone), EncodeDateTime(2024, 1, 11, 0, 30, 0, 0),
              cOneMs / 2);
  // Format tzfOffset: the same, and a zone is required.
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10T08:00:00-05:30", tzfOffset), EncodeDateTime(2024, 1, 10, 14, 30, 0, 0),
              cOneMs / 2);
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10T08:00:00Z", xdtfTimezone), EncodeDateTime(2024, 1, 10, 9, 0, 0, 0),
              cOneMs / 2);
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDateTime(u"2024-01-10", tzfOffset); }), noZone);
  // Format tzfUTC: an offset is subtracted only; "Z" unchanged; a zone is
  // required.
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10T08:00:00+09:00", tzfUTC), EncodeDateTime(2024, 1, 9, 23, 0, 0, 0),
              cOneMs / 2);
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10T08:00:00+00:00", xdtfUTC), EncodeDateTime(2024, 1, 10, 8, 0, 0, 0),
              cOneMs / 2);
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-01-10T08:00:00Z", tzfUTC), EncodeDateTime(2024, 1, 10, 8, 0, 0, 0));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDateTime(u"2024-01-10T08:00:00", xdtfUTC); }), noZone);
  // A date alone with a zone goes through the zone step too.
  EXPECT_NEAR(XoXMLToDateTime(u"2024-01-10Z", tzfNone), EncodeDateTime(2024, 1, 10, 1, 0, 0, 0), cOneMs / 2);
  // The Def forms give the default for the missing zone.
  EXPECT_EQ(XoXMLToTimeDef(u"08:00:00", 3, xdtfTimezone), 3);
  EXPECT_EQ(XoXMLToDateTimeDef(u"2024-01-10T08:00:00", 3, tzfOffset), 3);
}

TEST(ConformanceDateInput, TimeReaderKeepsTheFractionOfTheDay) {
  ScopedTZ tz("UTC");
  EXPECT_NEAR(XoXMLToTime(u"10:00:00-01:30", tzfUTC), EncodeTime(11, 30, 0, 0), cOneMs / 2);
  EXPECT_NEAR(XoXMLToTime(u"22:00:00-03:00", tzfNone), EncodeTime(1, 0, 0, 0), cOneMs / 2);
  EXPECT_NEAR(XoXMLToTime(u"2024-05-06T07:08:09.010"), EncodeTime(7, 8, 9, 10), cOneMs / 2);
  EXPECT_NEAR(XoXMLToTime(u"07:08:09.010", xdtfLocal), EncodeTime(7, 8, 9, 10), cOneMs / 2);
  // A date alone has the time fields 0.
  EXPECT_EQ(XoXMLToTime(u"2024-05-06"), 0);
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToTime(u"07:08:09", tzfUTC); }),
            u"The XMLDateTime value did not contain timezone information!");
}

TEST(ConformanceDateInput, VariantSources) {
  ScopedTZ tz("UTC");
  // Integers, floats and dates are the value itself, also for the time reader.
  EXPECT_EQ(XoXMLToTime(Variant(2.75), 0, tzfNone), 2.75);
  EXPECT_EQ(XoXMLToDateTime(Variant(int64_t(40000)), 0, tzfUTC), 40000);
  EXPECT_EQ(XoXMLToDateTime(Variant::FromDate(-1.5), 0, xdtfLocal), -1.5);
  EXPECT_EQ(XoXMLToDate(Variant(0.5f), 0), 0.5);
  // Strings go through the raising text reader: empty text is 0, a missing
  // zone raises.
  EXPECT_EQ(XoXMLToDate(Variant(u""), 9), 0);
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDateTime(Variant(u"2024-01-01T00:00:00"), 0, tzfUTC); }),
            u"The XMLDateTime value did not contain timezone information!");
  EXPECT_THROW(XoXMLToTime(Variant(u"nonsense"), 0, xdtfLocal), EConvertError);
  EXPECT_EQ(XoXMLToDateTime(Variant::Null(), 8, xdtfUTC), 8);
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToDateTime(Variant(false), 0, tzfNone); }),
            u"The given value is not a valid DateTime value!");
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToTime(Variant(), 0, xdtfUTC); }),
            u"The given value is not a valid Time value!");
}

TEST(ConformanceDateInput, DecodeAndFormatClass) {
  TXoDateTimeParts p = XoDecodeXMLDateTime(u"2024-01-02T03:04:05.678+05:30");
  EXPECT_TRUE(p.HasDate);
  EXPECT_TRUE(p.HasTime);
  EXPECT_EQ(p.Year, 2024);
  EXPECT_EQ(p.Month, 1);
  EXPECT_EQ(p.Day, 2);
  EXPECT_EQ(p.Hour, 3);
  EXPECT_EQ(p.Minute, 4);
  EXPECT_EQ(p.Second, 5);
  EXPECT_EQ(p.MilliSecond, 678);
  EXPECT_FALSE(p.Negative);
  EXPECT_EQ(p.TimeZoneKind, 1);
  EXPECT_EQ(p.TimeZoneOffset, 330);
  EXPECT_EQ(XoXMLDateTimeFormat(p), xdtfTimezone);
  p = XoDecodeXMLDateTime(u"10:00:00-01:00");
  EXPECT_FALSE(p.HasDate);
  EXPECT_TRUE(p.HasTime);
  EXPECT_EQ(p.TimeZoneOffset, -60);
  p = XoDecodeXMLDateTime(u"2024-01-02Z");
  EXPECT_TRUE(p.HasDate);
  EXPECT_FALSE(p.HasTime);
  EXPECT_EQ(XoXMLDateTimeFormat(p), xdtfUTC);
  TXoDateTimeParts none;
  EXPECT_EQ(XoXMLDateTimeFormat(none), xdtfLocal);
  none.TimeZoneKind = 3;  // anything but 1 and 2
  EXPECT_EQ(XoXMLDateTimeFormat(none), xdtfLocal);
}

// ---------------------------------------------------------------------------
// Durations

TEST(ConformanceDurationOutput, PartsAndLetters) {
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 25, 0}), u"P2Y1M");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 12, 0}), u"P1Y");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 5, 0}), u"P5M");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 59}), u"PT59S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 3661}), u"PT1H1M1S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 2 * 86400 + 1}), u"P2DT1S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 3 * 86400}), u"P3D");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 0.5}), u"PT0.5S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 0.125}), u"PT0.125S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 10.25}), u"PT10.25S");
  // Whole seconds appear with a fraction even when they are 0.
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 60.25}), u"PT1M0.25S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{true, 13, 86400.5}), u"-P1Y1M1DT0.5S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{true, 0, 3600}), u"-PT1H");
}

TEST(ConformanceDurationInput, Designators) {
  TXoDuration d = XoXMLToDuration(u"-P");
  EXPECT_TRUE(d.Negative);
  EXPECT_EQ(d.Months, 0);
  EXPECT_EQ(d.Seconds, 0);
  d = XoXMLToDuration(u"P1MT1M");  // months before T, minutes after it
  EXPECT_EQ(d.Months, 1);
  EXPECT_DOUBLE_EQ(d.Seconds, 60);
  d = XoXMLToDuration(u"P2H3S");  // H and S need no T
  EXPECT_DOUBLE_EQ(d.Seconds, 7203);
  d = XoXMLToDuration(u"PT1.05S");
  EXPECT_DOUBLE_EQ(d.Seconds, 1.05);
  d = XoXMLToDuration(u"P2Y3Y");  // the last value wins
  EXPECT_EQ(d.Months, 36);
  d = XoXMLToDuration(u"P70000D");  // into a 16-bit field
  EXPECT_DOUBLE_EQ(d.Seconds, 4464.0 * 86400);
  d = XoXMLToDuration(u"-P1Y2M3DT4H5M6.007S");
  EXPECT_TRUE(d.Negative);
  EXPECT_EQ(d.Months, 14);
  EXPECT_DOUBLE_EQ(d.Seconds, 3 * 86400 + 4 * 3600 + 5 * 60 + 6.007);
}

TEST(ConformanceDurationInput, FailuresAndMessages) {
  // A "T" must be followed by a number and its designator.
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"PT"); }), BadDuration(u"PT"));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P1DT"); }), BadDuration(u"P1DT"));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"-PT"); }), BadDuration(u"-PT"));
  // Digits without a designator, lower-case designators, blanks and signs.
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P5"); }), BadDuration(u"P5"));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P1d"); }), BadDuration(u"P1d"));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P 1D"); }), BadDuration(u"P 1D"));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P-1D"); }), BadDuration(u"P-1D"));
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"PTT1H"); }), BadDuration(u"PTT1H"));
  // The first character.
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"+P1D"); }),
            u"XoXMLToDuration; A duration must start with a \"P\"!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"-X"); }),
            u"XoXMLToDuration; A duration must start with a \"P\"!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u" P1D"); }),
            u"XoXMLToDuration; A duration must start with a \"P\"!");
  // Numbers the integer parser refuses.
  EXPECT_THROW(XoXMLToDuration(u"PT1.5M"), EConvertError);
  EXPECT_THROW(XoXMLToDuration(u"PTH"), EConvertError);
}

// ---------------------------------------------------------------------------
// Variants to text

TEST(ConformanceVariantToXML, CodesAndArrays) {
  EXPECT_EQ(XoVariantToXML(Variant(int8_t(-5))), u"-5");
  EXPECT_EQ(XoVariantToXML(Variant(uint16_t(65535))), u"65535");
  EXPECT_EQ(XoVariantToXML(Variant(uint32_t(2147483648u))), u"-2147483648");
  EXPECT_EQ(XoVariantToXML(Variant(int64_t(-1) << 40)), u"-1099511627776");
  EXPECT_EQ(XoVariantToXML(Variant(0.25L)), u"0.25");
  EXPECT_EQ(XoVariantToXML(Variant(true)), u"true");
  EXPECT_EQ(XoVariantToXML(Variant(std::string("a\tb&"))), u"a&#9;b&amp;");
  EXPECT_EQ(XoVariantToXML(Variant::FromDate(EncodeDateTime(1999, 12, 31, 23, 59, 59, 999))),
            u"1999-12-31T23:59:59.999");
  // Single-precision values are written as the double they widen to.
  EXPECT_EQ(XoVariantToXML(Variant(0.1f)), u"0.100000001490116");
  EXPECT_EQ(XoXMLToStr(Variant(0.1f), u""), u"0.100000001490116");
  // An empty byte array has no digits.
  EXPECT_EQ(XoVariantToXML(VarArrayFromBytes(std::string_view())), u"");
  // Array text: one escaped text, each element's own text inside.
  Variant arr = VarArrayCreate({TVarArrayBound{0, 1}}, varInteger);
  arr.PutElement({0}, Variant(int32_t(1)));
  arr.PutElement({1}, Variant(int32_t(-2)));
  EXPECT_EQ(XoVariantToXML(arr),
            u"&lt;array length=&quot;2&quot;&gt;"
            u"&lt;element nr=&quot;0&quot;&gt;1&lt;/element&gt;"
            u"&lt;element nr=&quot;1&quot;&gt;-2&lt;/element&gt;"
            u"&lt;/array&gt;");
  Variant bools = VarArrayCreate({TVarArrayBound{0, 0}}, varBoolean);
  bools.PutElement({0}, Variant(true));
  EXPECT_EQ(XoVariantToXML(bools),
            u"&lt;array length=&quot;1&quot;&gt;&lt;element nr=&quot;0&quot;&gt;true&lt;/element&gt;&lt;/array&gt;");
}

// ---------------------------------------------------------------------------
// Text to variants

TEST(ConformanceXMLToVariant, CodesSixteenToTwentyGoThroughTheVariantForm) {
  Variant b = XoXMLToVariant(u"-1", varByte);
  EXPECT_EQ(b.VarType(), varByte);
  EXPECT_EQ(b.AsInteger(), 255);
  Variant w = XoXMLToVariant(u"-1", varWord);
  EXPECT_EQ(w.VarType(), varWord);
  EXPECT_EQ(w.AsInteger(), 65535);
  Variant l = XoXMLToVariant(u"-1", varLongWord);
  EXPECT_EQ(l.VarType(), varLongWord);
  EXPECT_EQ(l.AsInt64(), 4294967295);
  Variant i64 = XoXMLToVariant(u"$10", varInt64);
  EXPECT_EQ(i64.VarType(), varInt64);
  EXPECT_EQ(i64.AsInt64(), 16);
  // The text is a string variant there, so empty text is refused by the
  // parser, unlike the text readers of codes 2 and 3.
  EXPECT_THROW(XoXMLToVariant(u"", varByte), EConvertError);
  EXPECT_THROW(XoXMLToVariant(u"", varInt64), EConvertError);
  EXPECT_EQ(XoXMLToVariant(u"", varSmallint).AsInteger(), 0);
  EXPECT_EQ(XoXMLToVariant(u"", varInteger).AsInteger(), 0);
  EXPECT_THROW(XoXMLToVariant(u"x", varShortInt), EConvertError);
}

TEST(ConformanceXMLToVariant, OtherCodes) {
  Variant v = XoXMLToVariant(u"7", varDecimal);
  EXPECT_EQ(v.VarType(), varInteger);
  EXPECT_EQ(v.AsInteger(), 7);
  EXPECT_EQ(XoXMLToVariant(u"", varDate).AsDate(), 0);
  EXPECT_EQ(XoXMLToVariant(u"0", varDate).VarType(), varDate);
  {
    // Code 7 reads with tzfNone: a zone in the text gives local time.
    ScopedTZ tz(cCET);
    Variant d = XoXMLToVariant(u"2024-01-01T00:00:00Z", varDate);
    EXPECT_EQ(d.VarType(), varDate);
    EXPECT_NEAR(d.AsDate(), EncodeDateTime(2024, 1, 1, 1, 0, 0, 0), cOneMs / 2);
  }
  EXPECT_FALSE(XoXMLToVariant(u"yes", varBoolean).AsBoolean());
  EXPECT_TRUE(XoXMLToVariant(u"1", varBoolean).AsBoolean());
  EXPECT_EQ(XoXMLToVariant(u"&lt;", varVariant).AsString(), u"&lt;");
  // Byte arrays: two hexadecimal digits per byte, either case.
  Variant bytes = XoXMLToVariant(u"0a0B", varArray | varByte);
  EXPECT_EQ(VarArrayToByteString(bytes), "\x0a\x0b");
  EXPECT_EQ(bytes.VarArrayLowBound(1), 0);
  EXPECT_EQ(bytes.VarArrayHighBound(1), 1);
  EXPECT_TRUE(XoXMLToVariant(u"", varArray | varByte).IsNull());
  // Array text that was never escaped reads the same; the length comes from
  // the quotes, missing elements stay as the new array has them.
  Variant arr = XoXMLToVariant(u"<array length=\"3\"><element nr=\"0\">5</element></array>", varArray | varInteger);
  ASSERT_TRUE(arr.IsArray());
  EXPECT_EQ(arr.VarArrayElementType(), varInteger);
  EXPECT_EQ(arr.VarArrayLowBound(1), 0);
  EXPECT_EQ(arr.VarArrayHighBound(1), 2);
  EXPECT_EQ(arr.GetElement({0}).AsInteger(), 5);
  // Elements are taken in order, whatever their "nr" says.
  Variant arr2 = XoXMLToVariant(
      u"&lt;array length=&quot;2&quot;&gt;&lt;element nr=&quot;1&quot;&gt;true&lt;/element&gt;"
      u"&lt;element nr=&quot;0&quot;&gt;0&lt;/element&gt;&lt;/array&gt;",
      varArray | varBoolean);
  EXPECT_TRUE(arr2.GetElement({0}).AsBoolean());
  EXPECT_FALSE(arr2.GetElement({1}).AsBoolean());
  // Code 21 and other codes without a case.
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToVariant(u"1", varUInt64); }), u"XoXMLToVariant(1); Unsupported VarType");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToVariant(u"", uint16_t(9)); }), u"XoXMLToVariant(); Unsupported VarType");
}

TEST(ConformanceXMLToVariant, ByTypeKind) {
  EXPECT_EQ(XoXMLToVariant(u"", xtkInteger).AsInteger(), 0);
  EXPECT_EQ(XoXMLToVariant(u"-1", xtkWord).AsInteger(), 65535);
  EXPECT_EQ(XoXMLToVariant(u"&#65;", xtkChar).AsString(), u"A");
  EXPECT_EQ(XoXMLToVariant(u"0", xtkDate).AsDate(), 0);
  EXPECT_EQ(XoXMLToVariant(u"TRUE", xtkBoolean).VarType(), varBoolean);
  {
    ScopedTZ tz("UTC");
    EXPECT_NEAR(XoXMLToVariant(u"2024-01-01T00:00:00+01:00", xtkDateTime).AsDate(),
                EncodeDateTime(2023, 12, 31, 23, 0, 0, 0), cOneMs / 2);
  }
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToVariant(u"a\"b", xtkUnknown); }),
            u"Failed to convert the value \"a\"b\" to a variant value of type " + XoTypeKindName(xtkUnknown) + u"!");
}

// ---------------------------------------------------------------------------
// Reflected values

TEST(ConformanceValToXML, ByKind) {
  EXPECT_EQ(XoValToXML(TValue::From(std::string("a<\"b\"&"))), u"a&lt;&quot;b&quot;&amp;");
  EXPECT_EQ(XoValToXML(TValue::From(char16_t(u'\''))), u"&apos;");
  EXPECT_EQ(XoValToXML(TValue::From(std::u16string(u"\t"))), u"&#9;");
  EXPECT_EQ(XoValToXML(TValue::From(shDark)), u"shDark");
  EXPECT_EQ(XoValToXML(TValue::From(static_cast<TShade>(-1))), u"shLight");
  EXPECT_EQ(XoValToXML(TValue::From(Variant(int32_t(5)))), u"5");
  EXPECT_EQ(XoValToXML(TValue::From(VarArrayFromBytes(std::string("\x01\xab", 2)))), u"01AB");
}

TEST(ConformanceXMLToValue, SimpleKindsEnumerationsAndSets) {
  ScopedTZ tz("UTC");
  EXPECT_EQ(XoXMLToValue(u"", TXoTypes::Of<int32_t>()).AsInteger(), 0);
  EXPECT_EQ(XoXMLToValue(u"$FF", TXoTypes::Of<uint8_t>()).AsInteger(), 255);
  EXPECT_EQ(XoXMLToValue(u"-1", TXoTypes::Of<uint16_t>()).AsInteger(), 65535);
  EXPECT_EQ(XoXMLToValue(u"300", TXoTypes::Of<int8_t>()).AsInteger(), 44);
  EXPECT_FALSE(XoXMLToValue(u"yes", TXoTypes::Of<bool>()).AsBoolean());
  EXPECT_EQ(XoXMLToValue(u"0", TXoTypes::Of<TDateTag>()).AsExtended(), 0);
  EXPECT_NEAR(double(XoXMLToValue(u"06:00:00Z", TXoTypes::Of<TTimeTag>()).AsExtended()), 0.25, cOneMs / 2);
  EXPECT_THROW(XoXMLToValue(u"1,5", TXoTypes::Of<double>()), EConvertError);
  // Enumerations: digits go to the conversion as text, names by lookup.
  TXoTypeInfo* shade = TXoTypes::Of<TShade>();
  EXPECT_EQ(XoXMLToValue(u"2", shade).AsOrdinal(), shDark);
  EXPECT_EQ(XoXMLToValue(u"shMedium", u"XmlUtilsConformance.TShade").AsOrdinal(), shMedium);
  EXPECT_EQ(MessageOf<Exception>([&] { XoXMLToValue(u" 1", shade); }),
            u"Failed to convert the value \" 1\" to a value of type TShade!");
  // Sets: digits are the set's integer value, other text names the members.
  TXoTypeInfo* shades = TXoTypes::Of<TShades>();
  EXPECT_EQ(XoXMLToValue(u"6", shades).AsType<TShades>(), (TShades{shMedium, shDark}));
  EXPECT_EQ(XoXMLToValue(u"0", shades).AsType<TShades>(), TShades{});
  EXPECT_EQ(XoXMLToValue(u"[shLight]", shades).AsType<TShades>(), (TShades{shLight}));
}
