// uXoXMLUtils: the lexical forms of values in XML, and XML escaping.
//
// Every typed value of xo becomes text and comes back from text here: the DOM,
// the serializers, XPath and the JSON conversions all call these functions, so
// the forms below are the forms of the whole library. The functions keep no
// state and never read the process locale.
//
// Text readers come in three forms per type:
//   XoXMLToInt(text)              raising: an empty text yields 0, bad text
//                                 raises the parser's EConvertError;
//   XoXMLToIntDef(text, Default)  an empty text yields 0, bad text Default;
//   XoXMLToInt(variant, Default)  null yields Default; see below.
// The variant form takes a Variant only: XoXMLToInt(u"abc", 7) does not
// compile (the default belongs to XoXMLToIntDef). Text is UTF-16
// (std::u16string_view, so literals and strings alike); each reader also has
// a UTF-8 form taking std::string_view, converted at the call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "uXoClasses.h"
#include "uXoDateTimeUtils.h"
#include "uXoSysUtils.h"
#include "uXoTypes.h"
#include "uXoVariants.h"

namespace xo {

class TValue;

// How a date-time value is written or read; each function taking it maps it
// to TXoTimeZoneFormat (xdtfLocal: tzfNone, xdtfUTC: tzfUTC, xdtfTimezone:
// tzfOffset).
enum TXoXMLDateTimeFormat : uint8_t { xdtfLocal = 0, xdtfUTC = 1, xdtfTimezone = 2 };

TXoTimeZoneFormat XoTimeZoneFormat(TXoXMLDateTimeFormat AFormat);

// Exceptions for SAX applications. The readers of xo raise their own classes.
class EXoSAXException : public EXoException {
public:
  using EXoException::EXoException;
  const char16_t* ClassName() const override { return u"EXoSAXException"; }
};
class EXoSAXNotRecognizedException : public EXoSAXException {
public:
  using EXoSAXException::EXoSAXException;
  const char16_t* ClassName() const override { return u"EXoSAXNotRecognizedException"; }
};
class EXoSAXNotSupportedException : public EXoSAXException {
public:
  using EXoSAXException::EXoSAXException;
  const char16_t* ClassName() const override { return u"EXoSAXNotSupportedException"; }
};

inline constexpr std::string_view cXoCDATAEndA = "]>";
inline constexpr std::u16string_view cXoCDATAEndW = u"]>";

// ===========================================================================
// Values to text

XoXMLString XoShortIntToXML(int8_t AValue);
XoXMLString XoSmallIntToXML(int16_t AValue);
XoXMLString XoLongIntToXML(int32_t AValue);
XoXMLString XoIntToXML(int32_t AValue);
XoXMLString XoInt64ToXML(int64_t AValue);
XoXMLString XoByteToXML(uint8_t AValue);
XoXMLString XoWordToXML(uint16_t AValue);
XoXMLString XoLongWordToXML(uint32_t AValue);
XoXMLString XoCardinalToXML(uint32_t AValue);
// The 64 bits written as a signed number: values from 2^63 on come out
// negative, and XoXMLToUInt64 reads them back to the same bits.
XoXMLString XoUInt64ToXML(uint64_t AValue);
// Shortest general form with up to 15 significant digits, "." as decimal
// separator ("0.1", "1E20", "1.5E-7"); NaN is "NAN", the infinities "INF" and
// "-INF".
XoXMLString XoDoubleToXML(double AValue);
XoXMLString XoExtToXML(long double AValue);
// "true" or "false".
XoXMLString XoBoolToXML(bool AValue);

// YYYY-MM-DD, hh:mm:ss.fff and YYYY-MM-DDThh:mm:ss.fff; with tzfOffset the
// local offset ("+01:00") follows, with tzfUTC the value is converted to UTC
// and "Z" follows (the date-time then has no fraction).
XoXMLString XoDateToXML(TDateTime AValue, TXoTimeZoneFormat AFormat = tzfNone);
XoXMLString XoDateToXML(TDateTime AValue, TXoXMLDateTimeFormat AFormat);
XoXMLString XoTimeToXML(TDateTime AValue, TXoTimeZoneFormat AFormat = tzfNone);
XoXMLString XoTimeToXML(TDateTime AValue, TXoXMLDateTimeFormat AFormat);
XoXMLString XoDateTimeToXML(TDateTime AValue, TXoTimeZoneFormat AFormat = tzfNone);
XoXMLString XoDateTimeToXML(TDateTime AValue, TXoXMLDateTimeFormat AFormat);

// xs:duration text: "P1Y2M3DT4H5M6.5S", "-PT0.05S", "P0Y" for zero.
XoXMLString XoDurationToXML(const TXoDuration& AValue);

// The XML text of a variant. Strings are escaped; arrays become one escaped
// "<array length=..."><element nr=...>...</element></array>" text; byte
// arrays two hexadecimal digits per byte. Raises Exception for a type code
// without a text form.
XoXMLString XoVariantToXML(const Variant& AValue);

// The XML text of a reflected value: characters and strings escaped; an
// enumeration's name (the name of its lowest value when the ordinal lies
// outside the type); a variant by XoVariantToXML; objects, records and arrays
// through the XML serializer; anything else as TValue::ToString gives it.
XoXMLString XoValToXML(const TValue& AValue);

// The XML serializer registers itself here at start-up so that XoValToXML can
// write objects, records and arrays; without it those raise
// ENotSupportedException.
using TXoValueSerializeFunc = TXoSerializedData (*)(const TValue& AValue);
void XoSetValueSerializer(TXoValueSerializeFunc AFunc);

// ===========================================================================
// Escaping and entity decoding

// Replaces "<", ">", "&" and the codes 1 to 31 by references ("&lt;", "&#9;"),
// the apostrophe and the double quote when asked. Other characters, also those
// above 126, are copied.
//
// Stream form: appends to AStream (which the caller owns); code 0 is copied.
void XoStrToXML(const char16_t* AText, int64_t ACount, TXoStringStream* AStream, bool EscapeApos,
                bool EscapeQuote);
void XoStrToXML(std::u16string_view AText, TXoStringStream* AStream, bool EscapeApos, bool EscapeQuote);
// 8-bit form: bytes from 128 on and code 0 are copied.
std::string XoStrToXML(std::string_view AText, bool EscapeApos, bool EscapeQuote);
// 16-bit form: code 0 is dropped.
XoXMLString XoStrToXML(std::u16string_view AText, bool EscapeApos, bool EscapeQuote);

// Decodes character references ("&#233;", "&#xE9;") and entity references of
// the HTML 4 names and "apos". A reference without its semicolon (the scan for
// it stops at a blank) and a name without an entry stay as written. Numeric
// references give one 16-bit code unit (the low 16 bits of the number); digits
// that do not parse raise EConvertError.
XoXMLString XoXMLToStr(std::u16string_view AText);
// 8-bit form: only the first letter of a name is looked at (a/A followed by m
// is "&", otherwise "'"; g ">", l "<", q "\""), and numeric references are
// written in the system code page.
std::string XoXMLToStr(std::string_view AText);
// Null yields ADefault ("" when not given); numbers, booleans and dates give
// their XML text, strings are decoded, a one-dimensional array gives each
// element's decoded text followed by CR LF. Other values raise EConvertError.
// Text never reaches this form (see TXoVariantArg): XoXMLToStr(text) decodes.
XoXMLString XoXMLToStr(TXoVariantArg AValue, std::u16string_view ADefault = u"");

// The 32-bit key of an entity name of up to eight characters, and the code of
// the entity with that key (-1 when there is none). Any name with the key of
// an entity decodes as that entity.
int32_t XoEntityKey(std::u16string_view AName);
int32_t XoEntityCode(std::u16string_view AName);

// ===========================================================================
// Text to values

int8_t XoXMLToShortint(std::u16string_view AText);
int8_t XoXMLToShortintDef(std::u16string_view AText, int8_t ADefault);
int8_t XoXMLToShortint(TXoVariantArg AValue, int8_t ADefault);
int16_t XoXMLToSmallint(std::u16string_view AText);
int16_t XoXMLToSmallintDef(std::u16string_view AText, int16_t ADefault);
int16_t XoXMLToSmallint(TXoVariantArg AValue, int16_t ADefault);
int32_t XoXMLToInt(std::u16string_view AText);
int32_t XoXMLToIntDef(std::u16string_view AText, int32_t ADefault);
int32_t XoXMLToInt(TXoVariantArg AValue, int32_t ADefault);
int64_t XoXMLToInt64(std::u16string_view AText);
int64_t XoXMLToInt64Def(std::u16string_view AText, int64_t ADefault);
int64_t XoXMLToInt64(TXoVariantArg AValue, int64_t ADefault);
uint8_t XoXMLToByte(std::u16string_view AText);
uint8_t XoXMLToByteDef(std::u16string_view AText, uint8_t ADefault);
uint8_t XoXMLToByte(TXoVariantArg AValue, uint8_t ADefault);
uint16_t XoXMLToWord(std::u16string_view AText);
uint16_t XoXMLToWordDef(std::u16string_view AText, uint16_t ADefault);
uint16_t XoXMLToWord(TXoVariantArg AValue, uint16_t ADefault);
// Read by the signed 32-bit parser: decimal text must fit a signed 32-bit
// value ("$FFFFFFFF" gives 4294967295).
uint32_t XoXMLToLongword(std::u16string_view AText);
uint32_t XoXMLToLongwordDef(std::u16string_view AText, uint32_t ADefault);
uint32_t XoXMLToLongword(TXoVariantArg AValue, uint32_t ADefault);
// Read by the signed 64-bit parser, so the negative text of XoUInt64ToXML
// comes back to the same bits.
uint64_t XoXMLToUInt64(std::u16string_view AText);
uint64_t XoXMLToUInt64Def(std::u16string_view AText, uint64_t ADefault);
uint64_t XoXMLToUInt64(TXoVariantArg AValue, uint64_t ADefault);
float XoXMLToSingle(std::u16string_view AText);
float XoXMLToSingleDef(std::u16string_view AText, float ADefault);
float XoXMLToSingle(TXoVariantArg AValue, float ADefault);
double XoXMLToDouble(std::u16string_view AText);
double XoXMLToDoubleDef(std::u16string_view AText, double ADefault);
double XoXMLToDouble(TXoVariantArg AValue, double ADefault);
long double XoXMLToExtended(std::u16string_view AText);
long double XoXMLToExtendedDef(std::u16string_view AText, long double ADefault);
long double XoXMLToExtended(TXoVariantArg AValue, long double ADefault);

// True for "1" and for "true" in any case; everything else is false. Never
// raises.
bool XoXMLToBool(std::u16string_view AText);
bool XoXMLToBool(TXoVariantArg AValue, bool ADefault);

// Dates and times. An empty text and the text "0" yield 0. A zone in the text
// is honoured: the result is local time for tzfNone and tzfOffset and UTC for
// tzfUTC; tzfOffset and tzfUTC require a zone in the text.
TDateTime XoXMLToDate(std::u16string_view AText);
TDateTime XoXMLToDate(TXoVariantArg AValue, TDateTime ADefault);
TDateTime XoXMLToDateDef(std::u16string_view AText, TDateTime ADefault);
TDateTime XoXMLToTime(std::u16string_view AText, TXoTimeZoneFormat AFormat = tzfNone);
TDateTime XoXMLToTime(std::u16string_view AText, TXoXMLDateTimeFormat AFormat);
TDateTime XoXMLToTime(TXoVariantArg AValue, TDateTime ADefault, TXoTimeZoneFormat AFormat);
TDateTime XoXMLToTime(TXoVariantArg AValue, TDateTime ADefault, TXoXMLDateTimeFormat AFormat);
TDateTime XoXMLToTimeDef(std::u16string_view AText, TDateTime ADefault, TXoTimeZoneFormat AFormat = tzfNone);
TDateTime XoXMLToTimeDef(std::u16string_view AText, TDateTime ADefault, TXoXMLDateTimeFormat AFormat);
TDateTime XoXMLToDateTime(std::u16string_view AText, TXoTimeZoneFormat AFormat = tzfNone);
TDateTime XoXMLToDateTime(std::u16string_view AText, TXoXMLDateTimeFormat AFormat);
TDateTime XoXMLToDateTime(TXoVariantArg AValue, TDateTime ADefault, TXoTimeZoneFormat AFormat);
TDateTime XoXMLToDateTime(TXoVariantArg AValue, TDateTime ADefault, TXoXMLDateTimeFormat AFormat);
TDateTime XoXMLToDateTimeDef(std::u16string_view AText, TDateTime ADefault,
                             TXoTimeZoneFormat AFormat = tzfNone);
TDateTime XoXMLToDateTimeDef(std::u16string_view AText, TDateTime ADefault, TXoXMLDateTimeFormat AFormat);

// xs:duration text to a duration. Raises Exception for an empty text, a text
// not starting with "P" (or "-P") and a bad designator.
TXoDuration XoXMLToDuration(std::u16string_view AText);

// The ISO decoder under its XML name, and the format class of decoded parts:
// a numeric offset is xdtfTimezone, "Z" xdtfUTC, no zone xdtfLocal.
TXoDateTimeParts XoDecodeXMLDateTime(std::u16string_view AText);
TXoXMLDateTimeFormat XoXMLDateTimeFormat(const TXoDateTimeParts& AParts);

// Text to a variant of a type code, of a type kind, or of a registered type
// name.
Variant XoXMLToVariant(std::u16string_view AText, uint16_t AVarType);
Variant XoXMLToVariant(std::u16string_view AText, TXoTypeKind AKind);
// The type code of the name comes from TXoTypes::GetVarType (qualified name,
// unknown names read as varUnknown, that is the text unchanged).
Variant XoXMLToVariant(std::u16string_view AText, std::u16string_view ATypeName);

// Text to a reflected value of a type (found by qualified name, or given as
// descriptor), read by the text reader of its kind; a typed simple record
// (TXsInt, ...) receives the value through its conversion. Raises Exception
// for kinds without a text form.
TValue XoXMLToValue(std::u16string_view AText, std::u16string_view ATypeName);
TValue XoXMLToValue(std::u16string_view AText, const TXoTypeInfo* ATypeInfo);

// ===========================================================================
// UTF-8 forms of the text readers: the text is converted to UTF-16 at the
// call and read as above. (XoXMLToStr and XoStrToXML keep their 8-bit forms,
// which read the system code page.)

#define XO_XML_UTF8_READER(RESULT, NAME)                                                  \
  inline RESULT NAME(std::string_view AText) { return NAME(XoUTF8ToUTF16(AText)); }       \
  inline RESULT NAME##Def(std::string_view AText, RESULT ADefault) {                      \
    return NAME##Def(XoUTF8ToUTF16(AText), ADefault);                                   \
  }
XO_XML_UTF8_READER(int8_t, XoXMLToShortint)
XO_XML_UTF8_READER(int16_t, XoXMLToSmallint)
XO_XML_UTF8_READER(int32_t, XoXMLToInt)
XO_XML_UTF8_READER(int64_t, XoXMLToInt64)
XO_XML_UTF8_READER(uint8_t, XoXMLToByte)
XO_XML_UTF8_READER(uint16_t, XoXMLToWord)
XO_XML_UTF8_READER(uint32_t, XoXMLToLongword)
XO_XML_UTF8_READER(uint64_t, XoXMLToUInt64)
XO_XML_UTF8_READER(float, XoXMLToSingle)
XO_XML_UTF8_READER(double, XoXMLToDouble)
XO_XML_UTF8_READER(long double, XoXMLToExtended)
#undef XO_XML_UTF8_READER

inline bool XoXMLToBool(std::string_view AText) { return XoXMLToBool(XoUTF8ToUTF16(AText)); }
inline TDateTime XoXMLToDate(std::string_view AText) { return XoXMLToDate(XoUTF8ToUTF16(AText)); }
inline TDateTime XoXMLToDateDef(std::string_view AText, TDateTime ADefault) {
  return XoXMLToDateDef(XoUTF8ToUTF16(AText), ADefault);
}
inline TDateTime XoXMLToTime(std::string_view AText, TXoTimeZoneFormat AFormat = tzfNone) {
  return XoXMLToTime(XoUTF8ToUTF16(AText), AFormat);
}
inline TDateTime XoXMLToTime(std::string_view AText, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToTime(XoUTF8ToUTF16(AText), AFormat);
}
inline TDateTime XoXMLToTimeDef(std::string_view AText, TDateTime ADefault, TXoTimeZoneFormat AFormat = tzfNone) {
  return XoXMLToTimeDef(XoUTF8ToUTF16(AText), ADefault, AFormat);
}
inline TDateTime XoXMLToTimeDef(std::string_view AText, TDateTime ADefault, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToTimeDef(XoUTF8ToUTF16(AText), ADefault, AFormat);
}
inline TDateTime XoXMLToDateTime(std::string_view AText, TXoTimeZoneFormat AFormat = tzfNone) {
  return XoXMLToDateTime(XoUTF8ToUTF16(AText), AFormat);
}
inline TDateTime XoXMLToDateTime(std::string_view AText, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToDateTime(XoUTF8ToUTF16(AText), AFormat);
}
inline TDateTime XoXMLToDateTimeDef(std::string_view AText, TDateTime ADefault,
                                    TXoTimeZoneFormat AFormat = tzfNone) {
  return XoXMLToDateTimeDef(XoUTF8ToUTF16(AText), ADefault, AFormat);
}
inline TDateTime XoXMLToDateTimeDef(std::string_view AText, TDateTime ADefault, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToDateTimeDef(XoUTF8ToUTF16(AText), ADefault, AFormat);
}
inline TXoDuration XoXMLToDuration(std::string_view AText) { return XoXMLToDuration(XoUTF8ToUTF16(AText)); }
inline TValue XoXMLToValue(std::string_view AText, std::string_view ATypeName) {
  return XoXMLToValue(XoUTF8ToUTF16(AText), XoUTF8ToUTF16(ATypeName));
}
inline TValue XoXMLToValue(std::string_view AText, const TXoTypeInfo* ATypeInfo) {
  return XoXMLToValue(XoUTF8ToUTF16(AText), ATypeInfo);
}

}  // namespace xo
