// uXoJSON: conversions between JSON tokens and values. Numbers, booleans
// and dates have the lexical forms of uXoXMLUtils, so that a value reads and
// writes alike in both notations.
#include <atomic>
#include <cmath>

#include "uXoJSON.h"
#include "uXoXMLUtils.h"

namespace xo {

// ===========================================================================
// Escaping

XoJSONString XoStrToJSON(std::u16string_view AText) {
  XoJSONString r;
  XoAppendStrToJSON(r, AText);
  return r;
}

void XoAppendStrToJSON(XoJSONString& r, std::u16string_view AText) {
  if (AText.empty()) return;
  r.reserve(r.size() + AText.size() + AText.size() / 8 + 8);
  static constexpr char16_t kHex[] = u"0123456789ABCDEF";
  const char16_t* p = AText.data();
  const char16_t* const e = p + AText.size();
  const char16_t* run = p;
  for (; p < e; ++p) {
    const char16_t c = *p;
    if (c >= 0x20 && c < 0x100 && c != u'"' && c != u'/' && c != u'\\') continue;
    const char16_t* esc = nullptr;
    switch (c) {
      case 8: esc = u"\\b"; break;
      case 9: esc = u"\\t"; break;
      case 10: esc = u"\\n"; break;
      case 12: esc = u"\\f"; break;
      case 13: esc = u"\\r"; break;
      case u'"': esc = u"\\\""; break;
      case u'/': esc = u"\\/"; break;
      case u'\\': esc = u"\\\\"; break;
      default: break;
    }
    if (esc) {
      r.append(run, p);
      r += esc;
      run = p + 1;
    } else if (c >= 1 && c <= 7) {
      r.append(run, p);  // dropped
      run = p + 1;
    } else if (c >= 0x100) {
      r.append(run, p);
      const char16_t u[6] = {u'\\', u'u', kHex[c >> 12], kHex[(c >> 8) & 15], kHex[(c >> 4) & 15], kHex[c & 15]};
      r.append(u, 6);
      run = p + 1;
    }
    // 0, 11 and 14..31 stay as they are.
  }
  r.append(run, e);
}

namespace {

int HexValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

// The hexadecimal number of up to ACount characters at AText[i]; the
// platform's integer reader (with a "$" in front) decides anything that is
// not plain digits, raising its conversion failure.
int64_t ReadHex(std::u16string_view AText, size_t i, size_t ACount) {
  std::u16string_view digits = AText.substr(std::min(i, AText.size()), ACount);
  if (digits.size() == ACount) {
    int64_t v = 0;
    bool ok = true;
    for (char16_t c : digits) {
      int h = HexValue(c);
      if (h < 0) {
        ok = false;
        break;
      }
      v = v * 16 + h;
    }
    if (ok) return v;
  }
  return StrToInt64(u"$" + std::u16string(digits));
}

}  // namespace

XoJSONString XoJSONtoStr(std::u16string_view AText, TXoJSONDataType ADataType) {
  XoJSONString r;
  if (AText.empty()) return r;
  const bool percent = ADataType == jdtNumber;
  // Nothing to decode is the common case: one scan, one copy.
  size_t i = 0;
  const size_t n = AText.size();
  while (i < n && AText[i] != u'\\' && !(percent && AText[i] == u'%')) ++i;
  r.reserve(n);
  r.append(AText.data(), i);
  while (i < n) {
    const char16_t c = AText[i];
    if (c == u'%' && percent) {
      r += static_cast<char16_t>(ReadHex(AText, i + 1, 2) & 0xFF);
      i += 3;
      continue;
    }
    if (c != u'\\') {
      r += c;
      ++i;
      continue;
    }
    if (i + 1 >= n) break;  // a backslash at the very end stands for nothing
    const char16_t d = AText[i + 1];
    i += 2;
    switch (d) {
      case u'n': r += u'\n'; break;
      case u'r': r += u'\r'; break;
      case u't': r += u'\t'; break;
      case u'f': r += u'\f'; break;
      case u'b': r += u'\b'; break;
      case u'u':
        r += static_cast<char16_t>(ReadHex(AText, i, 4) & 0xFFFF);
        i += 4;
        break;
      case u'%':
        r += static_cast<char16_t>(ReadHex(AText, i, 2) & 0xFF);
        i += 2;
        break;
      default: r += d; break;  // '"', '/', the backslash and anything else
    }
  }
  return r;
}

// ===========================================================================
// Variants

TXoJSONDataType XoVarTypeToJSONType(const Variant& AValue) {
  switch (TXoTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat: return jdtNumber;
    case mtkString:
    case mtkDateTime: return jdtString;
    case mtkBoolean: return jdtBoolean;
    case mtkArray: return jdtArray;
    default: return jdtNull;
  }
}

XoJSONString XoVarToJSON(const Variant& AValue) {
  switch (TXoTypes::VarMainTypeKind(AValue)) {
    case mtkInteger: return XoInt64ToXML(AValue.AsInt64());
    case mtkFloat: {
      const long double x = AValue.AsExtended();
      if (std::isnan(x) || std::isinf(x)) return u"null";
      if (x == 0 && std::signbit(x)) return u"-0";
      return XoDoubleToXML(static_cast<double>(x));
    }
    case mtkString: return u"\"" + XoStrToJSON(AValue.AsString()) + u"\"";
    case mtkBoolean: return XoBoolToXML(AValue.AsBoolean());
    case mtkDateTime: return u"\"" + XoDateTimeToXML(AValue.AsDate(), tzfNone) + u"\"";
    case mtkArray: {
      XoJSONString r = u"[";
      const size_t count = XoVarArrayCount(AValue);
      for (size_t i = 0; i < count; ++i) {
        if (i) r += u',';
        r += XoVarToJSON(AValue.GetElement({static_cast<int32_t>(i)}));
      }
      r += u']';
      return r;
    }
    default: return u"null";
  }
}

// ===========================================================================
// Dates

namespace {

constexpr TDateTime kUnixEpoch = 25569.0;  // 1970-01-01
constexpr double kMSecsPerDay = 86400000.0;

// The milliseconds of "/Date(n)/": the characters from the seventh, all but
// the last two.
int64_t MSecsOf(std::u16string_view AText) {
  std::u16string_view body;
  if (AText.size() > 8) body = AText.substr(6, AText.size() - 8);
  return StrToInt64(body);
}

enum class TDateKind { Date, Time, DateTime };

TDateTime JSONToDate(std::u16string_view AText, TDateKind AKind) {
  if (AText.empty()) return 0;
  if (AText[0] == u'/') {
    const double days = static_cast<double>(MSecsOf(AText)) / kMSecsPerDay;
    switch (AKind) {
      case TDateKind::Date: return std::trunc(kUnixEpoch + days);
      case TDateKind::Time: return days;
      case TDateKind::DateTime: return kUnixEpoch + days;
    }
  }
  switch (AKind) {
    case TDateKind::Date: return XoXMLToDate(AText);
    case TDateKind::Time: return XoXMLToTime(AText, tzfNone);
    default: return XoXMLToDateTime(AText, tzfNone);
  }
}

TDateTime JSONToDate(const Variant& AValue, TDateTime ADefault, TDateKind AKind) {
  if (AValue.IsNull()) return ADefault;
  switch (TXoTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat:
    case mtkDateTime: return static_cast<double>(AValue.AsExtended());
    case mtkString: return JSONToDate(AValue.AsString(), AKind);
    default: break;
  }
  switch (AKind) {
    case TDateKind::Date: throw EConvertError(u"The given value is not a valid Date value!");
    case TDateKind::Time: throw EConvertError(u"The given value is not a valid Time value!");
    default: throw EConvertError(u"The given value is not a valid DateTime value!");
  }
}

TDateTime JSONToDateDef(std::u16string_view AText, TDateTime ADefault, TDateKind AKind) {
  try {
    return JSONToDate(AText, AKind);
  } catch (...) {
    return ADefault;
  }
}

}  // namespace

TDateTime XoJSONToDate(std::u16string_view AText) { return JSONToDate(AText, TDateKind::Date); }
TDateTime XoJSONToTime(std::u16string_view AText) { return JSONToDate(AText, TDateKind::Time); }
TDateTime XoJSONToDateTime(std::u16string_view AText) { return JSONToDate(AText, TDateKind::DateTime); }
TDateTime XoJSONToDate(const Variant& AValue, TDateTime ADefault) {
  return JSONToDate(AValue, ADefault, TDateKind::Date);
}
TDateTime XoJSONToTime(const Variant& AValue, TDateTime ADefault) {
  return JSONToDate(AValue, ADefault, TDateKind::Time);
}
TDateTime XoJSONToDateTime(const Variant& AValue, TDateTime ADefault) {
  return JSONToDate(AValue, ADefault, TDateKind::DateTime);
}
TDateTime XoJSONToDateDef(std::u16string_view AText, TDateTime ADefault) {
  return JSONToDateDef(AText, ADefault, TDateKind::Date);
}
TDateTime XoJSONToTimeDef(std::u16string_view AText, TDateTime ADefault) {
  return JSONToDateDef(AText, ADefault, TDateKind::Time);
}
TDateTime XoJSONToDateTimeDef(std::u16string_view AText, TDateTime ADefault) {
  return JSONToDateDef(AText, ADefault, TDateKind::DateTime);
}

// ===========================================================================
// Type names

namespace {

bool NameIs(const std::u16string& AName, std::initializer_list<const char16_t*> ANames) {
  for (const char16_t* n : ANames)
    if (XoSameText(AName, n)) return true;
  return false;
}

}  // namespace

XoJSONString XoJSONType(const TXoTypeInfo* ATypeInfo, XoJSONString& AFormat, TXoSchemaDataType* ASchemaType) {
  AFormat.clear();
  TXoSchemaDataType code = sdtNone;
  XoJSONString result;
  if (!ATypeInfo) {
    if (ASchemaType) *ASchemaType = sdtNone;
    return result;
  }
  const std::u16string& name = ATypeInfo->GetName();
  switch (ATypeInfo->GetKind()) {
    case tkInteger:
      result = u"integer";
      AFormat = name.find(u"64") != std::u16string::npos ? u"int64" : u"int32";
      if (NameIs(name, {u"ShortInt", u"Int8"})) code = sdtByte;
      else if (NameIs(name, {u"SmallInt", u"Int16"})) code = sdtShort;
      else if (NameIs(name, {u"LongInt", u"Integer", u"Int32"})) code = sdtInt;
      else if (NameIs(name, {u"Int64", u"NativeInt"})) code = sdtLong;
      else if (NameIs(name, {u"Byte", u"UInt8"})) code = sdtUnsignedByte;
      else if (NameIs(name, {u"Word", u"UInt16"})) code = sdtUnsignedShort;
      else if (NameIs(name, {u"LongWord", u"Cardinal", u"UInt32"})) code = sdtUnsignedInt;
      else if (NameIs(name, {u"UInt64", u"NativeUInt"})) code = sdtUnsignedLong;
      else code = sdtInt;
      break;
    case tkInt64:
      result = u"integer";
      AFormat = u"int64";
      code = XoSameText(name, u"UInt64") ? sdtUnsignedLong : sdtLong;
      break;
    case tkChar: case tkString: case tkWChar: case tkLString: case tkWString: case tkUString:
      if (XoSameText(name, u"XoXMLString")) {
        result = u"xml";
      } else if (XoSameText(name, u"XoJSONString")) {
        result = u"json";
      } else {
        result = u"string";
        code = sdtString;
      }
      break;
    case tkEnumeration: case tkSet:
      if (NameIs(name, {u"Boolean", u"WordBool"})) {
        result = u"boolean";
        code = sdtBoolean;
      } else {
        result = ATypeInfo->SchemaName(u"");
      }
      break;
    case tkFloat:
      if (XoSameText(name, u"TDate")) {
        result = u"date";
        AFormat = u"date";
        code = sdtDate;
      } else if (XoSameText(name, u"TTime")) {
        result = u"dateTime";
        AFormat = u"date-time";
        code = sdtTime;
      } else if (XoSameText(name, u"TDateTime")) {
        result = u"dateTime";
        AFormat = u"date-time";
        code = sdtDateTime;
      } else if (XoSameText(name, u"Single")) {
        result = u"float";
        AFormat = u"float";
        code = sdtFloat;
      } else {
        result = u"double";
        AFormat = u"double";
        code = sdtDouble;
      }
      break;
    case tkInterface:
      result = u"any";
      break;
    default:
      result = ATypeInfo->SchemaName(u"");
      code = ATypeInfo->GetSchemaDataType();
      break;
  }
  if (ASchemaType) *ASchemaType = code;
  return result;
}

// ===========================================================================
// Reflected values

namespace {

template <class T>
TValue ValueOf(const T& AValue, TXoTypeInfo* AType) {
  TValue r;
  TValue::Make(&AValue, AType, r);
  return r;
}

[[noreturn]] void RaiseNoValue(std::u16string_view AText, std::u16string_view ATypeName) {
  throw Exception(XoFormat(u"Failed to convert \"%s\" into a TValue!\r\nThe type %s is not supported.",
                           {AText, ATypeName}));
}

std::atomic<TXoJSONValueSerializeFunc> GJSONValueSerializer{nullptr};

}  // namespace

void XoSetJSONValueSerializer(TXoJSONValueSerializeFunc AFunc) { GJSONValueSerializer.store(AFunc); }

TValue XoJSONToVal(std::u16string_view AText, std::u16string_view ATypeName, bool AEscaped) {
  TXoTypeInfo* t = TXoTypes::GetTypeInfo(ATypeName, tntQualified, true, mtkOther);
  if (!t) RaiseNoValue(AText, ATypeName);
  return XoJSONToVal(AText, t, AEscaped);
}

TValue XoJSONToVal(std::u16string_view AText, const TXoTypeInfo* ATypeInfo, bool AEscaped) {
  if (!ATypeInfo) RaiseNoValue(AText, u"nil");
  auto* t = const_cast<TXoTypeInfo*>(ATypeInfo);
  auto text = [&]() { return AEscaped ? XoJSONtoStr(AText, jdtNull) : XoJSONString(AText); };
  switch (t->GetTypeKind()) {
    case xtkByte: return ValueOf(XoXMLToByte(AText), t);
    case xtkWord: return ValueOf(XoXMLToWord(AText), t);
    case xtkCardinal: return ValueOf(XoXMLToLongword(AText), t);
    case xtkUInt64: return ValueOf(XoXMLToUInt64(AText), t);
    case xtkShortInt: return ValueOf(XoXMLToShortint(AText), t);
    case xtkSmallInt: return ValueOf(XoXMLToSmallint(AText), t);
    case xtkInteger: return ValueOf(XoXMLToInt(AText), t);
    case xtkInt64: return ValueOf(XoXMLToInt64(AText), t);
    case xtkSingle: return ValueOf(XoXMLToSingle(AText), t);
    case xtkDouble: return ValueOf(XoXMLToDouble(AText), t);
    case xtkExtended: return ValueOf(XoXMLToExtended(AText), t);
    case xtkChar:
    case xtkWideChar: {
      const char16_t c = AText.empty() ? u'\0' : AText[0];
      return ValueOf(c, t);
    }
    case xtkAnsiChar: {
      std::string a = TXoEncoding::ConvertW(AText.substr(0, AText.empty() ? 0 : 1), 0);
      const char c = a.empty() ? '\x03' : a[0];
      return ValueOf(c, t);
    }
    case xtkString:
    case xtkWideString: return ValueOf(text(), t);
    case xtkAnsiString: {
      const bool utf8 = LowerCase(t->GetName()).find(u"utf8") != std::u16string::npos;
      return ValueOf(TXoEncoding::ConvertW(text(), utf8 ? 65001 : 0), t);
    }
    case xtkBoolean: return ValueOf(XoXMLToBool(AText), t);
    case xtkEnumeration: {
      TValue source;
      if (!AText.empty() && AText[0] >= u'0' && AText[0] <= u'9')
        source = TValue::From(std::u16string(AText));
      else
        source = TValue::From(static_cast<int32_t>(GetEnumValue(t, AText)));
      TValue r;
      if (!source.TryToType(t, r) || r.AsOrdinal() < t->GetMinValue() || r.AsOrdinal() > t->GetMaxValue())
        throw Exception(XoFormat(u"Failed to convert the value \"%s\" to a value of type %s!", {AText, t->GetName()}));
      return r;
    }
    case xtkSet: {
      const uint64_t bits = !AText.empty() && AText[0] >= u'0' && AText[0] <= u'9'
                                ? static_cast<uint64_t>(StrToInt64(AText))
                                : StringToSet(t, AText);
      return TValue::Make(static_cast<int64_t>(bits), t);
    }
    case xtkDate: return ValueOf(XoJSONToDate(AText), t);
    case xtkTime: return ValueOf(XoJSONToTime(AText), t);
    case xtkDateTime: return ValueOf(XoJSONToDateTime(AText), t);
    case xtkVariant: return ValueOf(XoXMLToVariant(AText, static_cast<uint16_t>(256)), t);
    default: RaiseNoValue(AText, t->GetName());
  }
}

XoJSONString XoValToJSON(const TValue& AValue) {
  switch (AValue.Kind()) {
    case tkEnumeration:
      // A Boolean is an enumeration of the platform; its text is the same
      // in both notations.
      if (AValue.TypeKind() == xtkBoolean) return XoBoolToXML(AValue.AsBoolean());
      [[fallthrough]];
    case tkSet: case tkClass: case tkArray: case tkRecord: case tkDynArray: {
      TXoJSONValueSerializeFunc f = GJSONValueSerializer.load();
      if (!f)
        throw ENotSupportedException(XoFormat(
            u"XoValToJSON; the type %s is written by the JSON serializer, which is not linked into this program!",
            {AValue.TypeInfo()->GetQualifiedName()}));
      return XoUTF8ToUTF16(f(AValue));
    }
    default:
      return XoValToXML(AValue);
  }
}

}  // namespace xo
