// uXoXMLUtils, part 2: numbers, booleans, strings from variants, and the XML
// form of variants.

#include "uXoXMLUtils.h"

#include <cmath>

namespace xo {

namespace {

// Main kind of a variant, as the registry answers it: 1 integer, 2 float,
// 3 string, 4 boolean, 5 date-time, 6 array, 0 anything else.
inline int VarMainKind(const Variant& V) { return TXoTypes::VarMainTypeKind(V); }

[[noreturn]] void RaiseInvalid(const char16_t* ATypeName) {
  throw EConvertError(XoFormat(u"The given value is not a valid %s value!", {ATypeName}));
}

// The integer value of a variant of main kind 1, as 64 bits.
int64_t VarInt64Bits(const Variant& V) {
  if (V.VarType() == varUInt64) return static_cast<int64_t>(V.AsUInt64());
  return V.AsInt64();
}

// Integer target from a variant: null gives the default, integers their value,
// text goes through the integer parser of the target's family (32 or 64 bits),
// booleans are 0 or 1. The result is cut to the target's width by the caller.
template <bool A64>
int64_t VarToIntegerBits(const Variant& V, int64_t ADefault, const char16_t* ATypeName) {
  if (V.IsNull()) return ADefault;
  switch (VarMainKind(V)) {
    case 1: return VarInt64Bits(V);
    case 3: {
      std::u16string s = V.AsString();
      if constexpr (A64)
        return StrToInt64(s);
      else
        return StrToInt(s);
    }
    case 4: return V.AsBoolean() ? 1 : 0;
    default: RaiseInvalid(ATypeName);
  }
}

// Real targets: null gives the default; integers, floats and (when
// AWithDate) dates their value; text goes to AFromText.
template <class T, class F>
T VarToReal(const Variant& V, T ADefault, bool AWithDate, const char16_t* ATypeName, F AFromText) {
  if (V.IsNull()) return ADefault;
  switch (VarMainKind(V)) {
    case 1:
      if (V.VarType() == varUInt64) return static_cast<T>(V.AsUInt64());
      return static_cast<T>(V.AsInt64());
    case 2:
      if constexpr (sizeof(T) > sizeof(double))
        return static_cast<T>(V.AsExtended());
      else
        return static_cast<T>(V.AsDouble());
    case 3: return AFromText(V.AsString());
    case 5:
      if (AWithDate) return static_cast<T>(V.AsDate());
      break;
    default: break;
  }
  RaiseInvalid(ATypeName);
}

inline bool IsEmptyText(std::u16string_view AText) { return AText.empty(); }

}  // namespace

// ===========================================================================
// Numbers and booleans to text

XoXMLString XoShortIntToXML(int8_t AValue) { return IntToStr(AValue); }
XoXMLString XoSmallIntToXML(int16_t AValue) { return IntToStr(AValue); }
XoXMLString XoLongIntToXML(int32_t AValue) { return IntToStr(AValue); }
XoXMLString XoIntToXML(int32_t AValue) { return IntToStr(AValue); }
XoXMLString XoInt64ToXML(int64_t AValue) { return IntToStr(AValue); }
XoXMLString XoByteToXML(uint8_t AValue) { return IntToStr(AValue); }
XoXMLString XoWordToXML(uint16_t AValue) { return IntToStr(AValue); }
XoXMLString XoLongWordToXML(uint32_t AValue) { return IntToStr(static_cast<int64_t>(AValue)); }
XoXMLString XoCardinalToXML(uint32_t AValue) { return IntToStr(static_cast<int64_t>(AValue)); }
XoXMLString XoUInt64ToXML(uint64_t AValue) { return IntToStr(static_cast<int64_t>(AValue)); }

// FloatToStr writes "." whatever the locale says, so there is no separator to
// replace afterwards.
XoXMLString XoDoubleToXML(double AValue) { return FloatToStr(AValue); }
XoXMLString XoExtToXML(long double AValue) { return FloatToStr(AValue); }

XoXMLString XoBoolToXML(bool AValue) { return AValue ? u"true" : u"false"; }

// ===========================================================================
// Text to numbers

int8_t XoXMLToShortint(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : static_cast<int8_t>(StrToInt(AText));
}
int8_t XoXMLToShortintDef(std::u16string_view AText, int8_t ADefault) {
  return IsEmptyText(AText) ? 0 : static_cast<int8_t>(StrToIntDef(AText, ADefault));
}
int8_t XoXMLToShortint(TXoVariantArg AArg, int8_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<int8_t>(VarToIntegerBits<false>(AValue, ADefault, u"shortint"));
}

int16_t XoXMLToSmallint(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : static_cast<int16_t>(StrToInt(AText));
}
int16_t XoXMLToSmallintDef(std::u16string_view AText, int16_t ADefault) {
  return IsEmptyText(AText) ? 0 : static_cast<int16_t>(StrToIntDef(AText, ADefault));
}
int16_t XoXMLToSmallint(TXoVariantArg AArg, int16_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<int16_t>(VarToIntegerBits<false>(AValue, ADefault, u"smallint"));
}

int32_t XoXMLToInt(std::u16string_view AText) { return IsEmptyText(AText) ? 0 : StrToInt(AText); }
int32_t XoXMLToIntDef(std::u16string_view AText, int32_t ADefault) {
  return IsEmptyText(AText) ? 0 : StrToIntDef(AText, ADefault);
}
int32_t XoXMLToInt(TXoVariantArg AArg, int32_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<int32_t>(VarToIntegerBits<false>(AValue, ADefault, u"integer"));
}

int64_t XoXMLToInt64(std::u16string_view AText) { return IsEmptyText(AText) ? 0 : StrToInt64(AText); }
int64_t XoXMLToInt64Def(std::u16string_view AText, int64_t ADefault) {
  return IsEmptyText(AText) ? 0 : StrToInt64Def(AText, ADefault);
}
int64_t XoXMLToInt64(TXoVariantArg AArg, int64_t ADefault) {
  const Variant& AValue = AArg;
  return VarToIntegerBits<true>(AValue, ADefault, u"integer");
}

uint8_t XoXMLToByte(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : static_cast<uint8_t>(StrToInt(AText));
}
uint8_t XoXMLToByteDef(std::u16string_view AText, uint8_t ADefault) {
  return IsEmptyText(AText) ? 0 : static_cast<uint8_t>(StrToIntDef(AText, ADefault));
}
uint8_t XoXMLToByte(TXoVariantArg AArg, uint8_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<uint8_t>(VarToIntegerBits<false>(AValue, ADefault, u"Byte"));
}

uint16_t XoXMLToWord(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : static_cast<uint16_t>(StrToInt(AText));
}
uint16_t XoXMLToWordDef(std::u16string_view AText, uint16_t ADefault) {
  return IsEmptyText(AText) ? 0 : static_cast<uint16_t>(StrToIntDef(AText, ADefault));
}
uint16_t XoXMLToWord(TXoVariantArg AArg, uint16_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<uint16_t>(VarToIntegerBits<false>(AValue, ADefault, u"Word"));
}

uint32_t XoXMLToLongword(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : static_cast<uint32_t>(StrToInt(AText));
}
uint32_t XoXMLToLongwordDef(std::u16string_view AText, uint32_t ADefault) {
  return IsEmptyText(AText) ? 0
                            : static_cast<uint32_t>(StrToIntDef(AText, static_cast<int32_t>(ADefault)));
}
uint32_t XoXMLToLongword(TXoVariantArg AArg, uint32_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<uint32_t>(VarToIntegerBits<false>(AValue, ADefault, u"LongWord"));
}

uint64_t XoXMLToUInt64(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : static_cast<uint64_t>(StrToInt64(AText));
}
uint64_t XoXMLToUInt64Def(std::u16string_view AText, uint64_t ADefault) {
  return IsEmptyText(AText) ? 0
                            : static_cast<uint64_t>(StrToInt64Def(AText, static_cast<int64_t>(ADefault)));
}
uint64_t XoXMLToUInt64(TXoVariantArg AArg, uint64_t ADefault) {
  const Variant& AValue = AArg;
  return static_cast<uint64_t>(VarToIntegerBits<true>(AValue, static_cast<int64_t>(ADefault), u"integer"));
}

// Floats: "." is the decimal separator whatever the locale; the value is read
// at the width of the target, so a text beyond its range is an error rather
// than an infinity.
float XoXMLToSingle(std::u16string_view AText) {
  if (IsEmptyText(AText)) return 0;
  float f;
  if (!TryStrToFloat(AText, f))
    throw EConvertError(XoFormat(u"'%s' is not a valid floating point value", {AText}));
  return f;
}
float XoXMLToSingleDef(std::u16string_view AText, float ADefault) {
  if (IsEmptyText(AText)) return 0;
  float f;
  return TryStrToFloat(AText, f) ? f : ADefault;
}
float XoXMLToSingle(TXoVariantArg AArg, float ADefault) {
  const Variant& AValue = AArg;
  // Dates are not real values for this target.
  return VarToReal<float>(AValue, ADefault, false, u"Single",
                          [](const std::u16string& s) { return XoXMLToSingle(s); });
}

double XoXMLToDouble(std::u16string_view AText) { return IsEmptyText(AText) ? 0 : StrToFloat(AText); }
double XoXMLToDoubleDef(std::u16string_view AText, double ADefault) {
  return IsEmptyText(AText) ? 0 : StrToFloatDef(AText, ADefault);
}
double XoXMLToDouble(TXoVariantArg AArg, double ADefault) {
  const Variant& AValue = AArg;
  return VarToReal<double>(AValue, ADefault, true, u"Double",
                           [](const std::u16string& s) { return XoXMLToDouble(s); });
}

long double XoXMLToExtended(std::u16string_view AText) {
  return IsEmptyText(AText) ? 0 : StrToExtended(AText);
}
long double XoXMLToExtendedDef(std::u16string_view AText, long double ADefault) {
  return IsEmptyText(AText) ? 0 : StrToExtendedDef(AText, ADefault);
}
long double XoXMLToExtended(TXoVariantArg AArg, long double ADefault) {
  const Variant& AValue = AArg;
  return VarToReal<long double>(AValue, ADefault, true, u"Extended",
                                [](const std::u16string& s) { return XoXMLToExtended(s); });
}

// ===========================================================================
// Booleans

bool XoXMLToBool(std::u16string_view AText) {
  return AText == u"1" || XoSameText(AText, u"true");
}

bool XoXMLToBool(TXoVariantArg AArg, bool ADefault) {
  const Variant& AValue = AArg;
  if (AValue.IsNull()) return ADefault;
  switch (VarMainKind(AValue)) {
    case 1: return (VarInt64Bits(AValue) & 0xFF) != 0;
    case 3: {
      std::u16string s = AValue.AsString();
      return s == u"1" || XoSameText(s, u"true");
    }
    case 4: return AValue.AsBoolean();
    default: RaiseInvalid(u"Boolean");
  }
}

// ===========================================================================
// Strings from variants

XoXMLString XoXMLToStr(TXoVariantArg AArg, std::u16string_view ADefault) {
  const Variant& AValue = AArg;
  if (AValue.IsNull()) return XoXMLString(ADefault);
  switch (VarMainKind(AValue)) {
    case 1:
      if (AValue.VarType() == varUInt64) return UIntToStr(AValue.AsUInt64());
      return IntToStr(AValue.AsInt64());
    case 2:
      if (AValue.VarType() == varExtended) return XoExtToXML(AValue.AsExtended());
      return XoDoubleToXML(AValue.AsDouble());
    case 3:
      if (AValue.VarType() == varString) return XoXMLToStr(std::u16string_view(AValue.AsString()));
      return XoXMLToStr(std::u16string_view(AValue.StrRef()));
    case 4: return XoBoolToXML(AValue.AsBoolean());
    case 5: return XoDateTimeToXML(AValue.AsDate(), tzfNone);
    case 6: {
      if (AValue.VarArrayDimCount() != 1) break;
      XoXMLString r;
      int32_t lo = AValue.VarArrayLowBound(1), hi = AValue.VarArrayHighBound(1);
      for (int32_t i = lo; i <= hi; ++i) {
        r += XoXMLToStr(std::u16string_view(VarToStr(AValue.GetElement({i}))));
        r += u"\r\n";
      }
      return r;
    }
    default: break;
  }
  RaiseInvalid(u"String");
}

// ===========================================================================
// Variants to text

namespace {

const char16_t cHexDigits[] = u"0123456789ABCDEF";

}  // namespace

XoXMLString XoVariantToXML(const Variant& AValue) {
  TVarType t = AValue.VarType();
  switch (t) {
    case varEmpty:
    case varNull:
      return XoXMLString();
    case varSmallint: case varInteger: case varShortInt: case varByte: case varWord: case varLongWord:
      // The 32 bits of the value, read as signed.
      return XoIntToXML(static_cast<int32_t>(static_cast<uint32_t>(VarInt64Bits(AValue))));
    case varSingle: case varDouble: case varExtended:
      return XoDoubleToXML(AValue.AsDouble());
    case varDate:
      return XoDateTimeToXML(AValue.AsDate(), tzfNone);
    case varOleStr: case varString: case varUString:
      return XoStrToXML(std::u16string_view(AValue.AsString()), true, true);
    case varBoolean:
      return XoBoolToXML(AValue.AsBoolean());
    case varDecimal:
    case varInt64:
      return XoInt64ToXML(AValue.AsInt64());
    default:
      break;
  }
  if (t == (varArray | varByte)) {
    // Two upper-case hexadecimal digits per byte, no separator.
    size_t n = AValue.VarArrayElementCount();
    const uint8_t* p = AValue.ByteData();
    XoXMLString r(n * 2, u'0');
    for (size_t i = 0; i < n; ++i) {
      r[2 * i] = cHexDigits[p[i] >> 4];
      r[2 * i + 1] = cHexDigits[p[i] & 15];
    }
    return r;
  }
  if (t & varArray) {
    int32_t lo = AValue.VarArrayLowBound(1), hi = AValue.VarArrayHighBound(1);
    XoXMLString s = XoFormat(u"<array length=\"%d\">", {int64_t(hi) + 1});
    for (int32_t i = lo; i <= hi; ++i) {
      s += u"<element nr=\"";
      s += IntToStr(i);
      s += u"\">";
      s += XoVariantToXML(AValue.GetElement({i}));
      s += u"</element>";
    }
    s += u"</array>";
    return XoStrToXML(std::u16string_view(s), true, true);
  }
  throw Exception(XoFormat(u"XoVariantToXml; invalid variant type %d!", {int(t)}));
}

// ===========================================================================
// Text to variants

namespace {

Variant ByteArrayFromHex(std::u16string_view AText) {
  std::u16string s = Trim(AText);
  if (s.empty()) return Variant::Null();
  size_t n = s.size() / 2;
  std::string bytes(n, '\0');
  std::u16string digits(u"$00");
  for (size_t i = 0; i < n; ++i) {
    digits[1] = s[2 * i];
    digits[2] = s[2 * i + 1];
    bytes[i] = static_cast<char>(StrToInt(digits));
  }
  return VarArrayFromBytes(std::string_view(bytes));
}

Variant ArrayFromText(std::u16string_view AText, uint16_t AVarType) {
  XoXMLString s = XoXMLToStr(AText);
  std::u16string_view v(s);
  size_t q1 = v.find(u'"');
  size_t q2 = q1 == v.npos ? v.npos : v.find(u'"', q1 + 1);
  if (q2 == v.npos) throw EConvertError(XoFormat(u"XoXMLToVariant(%s); Unsupported VarType", {AText}));
  int32_t len = StrToInt(v.substr(q1 + 1, q2 - q1 - 1));
  TVarType elType = AVarType & ~varArray;
  if (elType == varString || elType == varUString) elType = varOleStr;
  Variant arr = VarArrayCreate({TVarArrayBound{0, len - 1}}, elType);
  size_t gt = v.find(u'>');
  if (gt == v.npos) return arr;
  size_t pos = gt + 1;
  int32_t index = 0;
  static constexpr std::u16string_view cElement = u"<element";
  while (v.substr(pos, cElement.size()) == cElement) {
    size_t open = v.find(u'>', pos);
    if (open == v.npos) break;
    size_t close = v.find(u'<', open + 1);
    if (close == v.npos) close = v.size();
    arr.PutElement({index++}, XoXMLToVariant(v.substr(open + 1, close - open - 1), elType));
    pos = v.find(cElement, close);
    if (pos == v.npos) break;
  }
  return arr;
}

}  // namespace

Variant XoXMLToVariant(std::u16string_view AText, uint16_t AVarType) {
  switch (AVarType) {
    case varEmpty: return Variant();
    case varNull: return Variant::Null();
    case varSmallint: return Variant(XoXMLToSmallint(AText));
    case varInteger:
    case varDecimal: return Variant(XoXMLToInt(AText));
    case varSingle: return Variant(XoXMLToSingle(AText));
    case varDouble: return Variant(XoXMLToDouble(AText));
    case varExtended: return Variant(XoXMLToExtended(AText));
    case varDate: return Variant::FromDate(XoXMLToDateTime(AText, tzfNone));
    case varOleStr: return Variant::FromOleStr(XoXMLToStr(AText));
    case varUString: return Variant(XoXMLToStr(AText));
    case varString: return Variant(XoUTF16ToUTF8(XoXMLToStr(AText)));
    case varBoolean: return Variant(XoXMLToBool(AText));
    case varVariant:
    case varUnknown: return Variant(AText);
    case varShortInt: return Variant(XoXMLToShortint(Variant(AText), 0));
    case varByte: return Variant(XoXMLToByte(Variant(AText), 0));
    case varWord: return Variant(XoXMLToWord(Variant(AText), 0));
    case varLongWord: return Variant(XoXMLToLongword(Variant(AText), 0));
    case varInt64: return Variant(XoXMLToInt64(Variant(AText), 0));
    default: break;
  }
  if (AVarType == (varArray | varByte)) return ByteArrayFromHex(AText);
  if ((AVarType & varArray) && !AText.empty()) return ArrayFromText(AText, AVarType);
  throw Exception(XoFormat(u"XoXMLToVariant(%s); Unsupported VarType", {AText}));
}

}  // namespace xo
