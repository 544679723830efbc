// uXoXMLUtils, part 4: variants by type kind or type name, and reflected
// values (TValue) to and from XML text.

#include "uXoXMLUtils.h"

#include <atomic>
#include <typeinfo>

#include "uXoRtti.h"

namespace xo {

namespace {

std::atomic<TXoValueSerializeFunc> GValueSerializer{nullptr};

}  // namespace

void XoSetValueSerializer(TXoValueSerializeFunc AFunc) { GValueSerializer.store(AFunc); }

// ===========================================================================
// Variants by type kind and by type name

Variant XoXMLToVariant(std::u16string_view AText, TXoTypeKind AKind) {
  switch (AKind) {
    case xtkByte: return Variant(XoXMLToByte(AText));
    case xtkWord: return Variant(XoXMLToWord(AText));
    case xtkCardinal: return Variant(XoXMLToLongword(AText));
    case xtkUInt64: return Variant(XoXMLToUInt64(AText));
    case xtkShortInt: return Variant(XoXMLToShortint(AText));
    case xtkSmallInt: return Variant(XoXMLToSmallint(AText));
    case xtkInteger:
    case xtkEnumeration:
    case xtkSet: return Variant(XoXMLToInt(AText));
    case xtkInt64: return Variant(XoXMLToInt64(AText));
    case xtkSingle: return Variant(XoXMLToSingle(AText));
    case xtkDouble: return Variant(XoXMLToDouble(AText));
    case xtkExtended: return Variant(XoXMLToExtended(AText));
    case xtkChar: case xtkAnsiChar: case xtkWideChar: case xtkString: case xtkAnsiString: case xtkWideString:
      return Variant(XoXMLToStr(AText));
    case xtkBoolean: return Variant(XoXMLToBool(AText));
    case xtkDate: return Variant::FromDate(XoXMLToDate(AText));
    case xtkTime: return Variant::FromDate(XoXMLToTime(AText, tzfNone));
    case xtkDateTime: return Variant::FromDate(XoXMLToDateTime(AText, tzfNone));
    case xtkVariant: return Variant(AText);
    default: break;
  }
  throw Exception(XoFormat(u"Failed to convert the value \"%s\" to a variant value of type %s!",
                           {AText, XoTypeKindName(AKind)}));
}

Variant XoXMLToVariant(std::u16string_view AText, std::u16string_view ATypeName) {
  return XoXMLToVariant(AText, TXoTypes::GetVarType(ATypeName, tntQualified, varUnknown));
}

// ===========================================================================
// Reflected values to text

namespace {

// A typed simple record is a simple value: its text is that of the value it
// holds, as the XML serializer writes a simple value; a null record writes
// nothing. Dates carry the local zone offset, as their ToString(true) does.
XoXMLString XsRecordToXML(const TValue& AValue) {
  const TXoTypeInfo* t = AValue.TypeInfo();
  TValue v;
  t->Ops().XsGet(AValue.GetReferenceToRawData(), v);
  if (v.IsEmpty()) return XoXMLString();
  switch (t->GetTypeKind()) {
    case xtkByte: return XoByteToXML(v.AsType<uint8_t>());
    case xtkWord: return XoWordToXML(v.AsType<uint16_t>());
    case xtkCardinal: return XoLongWordToXML(v.AsType<uint32_t>());
    case xtkUInt64: return XoUInt64ToXML(v.AsType<uint64_t>());
    case xtkShortInt: return XoShortIntToXML(v.AsType<int8_t>());
    case xtkSmallInt: return XoSmallIntToXML(v.AsType<int16_t>());
    case xtkInteger: return XoLongIntToXML(v.AsType<int32_t>());
    case xtkInt64: return XoInt64ToXML(v.AsType<int64_t>());
    case xtkSingle:
    case xtkDouble: return XoDoubleToXML(v.AsType<double>());
    case xtkExtended: return XoExtToXML(v.AsType<long double>());
    case xtkBoolean: return XoBoolToXML(v.AsType<bool>());
    case xtkDate: return XoDateToXML(v.AsType<double>(), tzfOffset);
    case xtkTime: return XoTimeToXML(v.AsType<double>(), tzfOffset);
    case xtkDateTime: return XoDateTimeToXML(v.AsType<double>(), tzfOffset);
    default: return XoStrToXML(std::u16string_view(v.AsString()), true, true);
  }
}

}  // namespace

XoXMLString XoValToXML(const TValue& AValue) {
  if (AValue.TypeInfo() && AValue.TypeInfo()->Ops().XsGet) return XsRecordToXML(AValue);
  switch (AValue.Kind()) {
    case tkChar: case tkString: case tkWChar: case tkLString: case tkWString: case tkUString:
      return XoStrToXML(std::u16string_view(AValue.AsString()), true, true);
    case tkEnumeration: {
      // An ordinal outside the type's range writes the name of its lowest value.
      const TXoTypeInfo* t = AValue.TypeInfo();
      int64_t ord = AValue.AsOrdinal();
      if (ord >= t->GetMinValue() && ord <= t->GetMaxValue()) return AValue.ToString();
      return t->GetEnumName(t->GetMinValue());
    }
    case tkClass: case tkArray: case tkRecord: case tkDynArray: {
      TXoValueSerializeFunc f = GValueSerializer.load();
      if (!f)
        throw ENotSupportedException(XoFormat(
            u"XoValToXML; the type %s is written by the XML serializer, which is not linked into this program!",
            {AValue.TypeInfo()->GetQualifiedName()}));
      return XoUTF8ToUTF16(f(AValue));
    }
    case tkVariant:
      return XoVariantToXML(AValue.AsVariant());
    default:
      return AValue.ToString();
  }
}

// ===========================================================================
// Text to reflected values

namespace {

// The typed simple record that a record type of that name receives instead of
// a plain value of the kind; nullptr for kinds without one.
const char16_t* XsRecordName(TXoTypeKind AKind) {
  switch (AKind) {
    case xtkByte: return u"TXsUnsignedByte";
    case xtkWord: return u"TXsUnsignedShort";
    case xtkCardinal: return u"TXsUnsignedInt";
    case xtkUInt64: return u"TXsUnsignedLong";
    case xtkShortInt: return u"TXsByte";
    case xtkSmallInt: return u"TXsShort";
    case xtkInteger: return u"TXsInt";
    case xtkInt64: return u"TXsLong";
    case xtkSingle: return u"TXsFloat";
    case xtkDouble: return u"TXsDouble";
    case xtkExtended: return u"TXsDecimal";
    case xtkString: case xtkWideString: return u"TXsString";
    case xtkBoolean: return u"TXsBoolean";
    case xtkDate: return u"TXsDate";
    case xtkTime: return u"TXsTime";
    case xtkDateTime: return u"TXsDateTime";
    default: return nullptr;
  }
}

// The value AValue (held as S) as a TValue of AType. A typed simple record
// takes it through its conversion from the plain value; a type with the same
// storage takes a copy; any other converts through the registry.
template <class S>
TValue ValueOf(const S& AValue, TXoTypeInfo* AType, TXoTypeKind AKind, TValue APlain = TValue()) {
  const char16_t* xs = XsRecordName(AKind);
  bool xsRecord = AType->GetKind() == tkRecord && xs && AType->GetName() == xs;
  if (!xsRecord && AType->GetCppType() && *AType->GetCppType() == typeid(S)) return TValue::Make(&AValue, AType);
  if (APlain.IsEmpty()) APlain = TValue::From(AValue);
  return APlain.ToType(AType);
}

[[noreturn]] void RaiseUnsupported(std::u16string_view AText, std::u16string_view ATypeName) {
  throw Exception(
      XoFormat(u"Failed to convert \"%s\" into a TValue!\nThe type %s is not supported.", {AText, ATypeName}));
}

[[noreturn]] void RaiseRefused(std::u16string_view AText, const TXoTypeInfo* AType) {
  throw Exception(XoFormat(u"Failed to convert the value \"%s\" to a value of type %s!", {AText, AType->GetName()}));
}

inline bool StartsWithDigit(std::u16string_view AText) {
  return !AText.empty() && AText[0] >= u'0' && AText[0] <= u'9';
}

// End of text, the character an empty text gives for an 8-bit character.
constexpr char cEndOfText = '\x03';

}  // namespace

TValue XoXMLToValue(std::u16string_view AText, std::u16string_view ATypeName) {
  TXoTypeInfo* t = TXoTypes::GetTypeInfo(ATypeName, tntQualified, true, mtkOther);
  if (!t) RaiseUnsupported(AText, ATypeName);
  return XoXMLToValue(AText, t);
}

TValue XoXMLToValue(std::u16string_view AText, const TXoTypeInfo* ATypeInfo) {
  if (!ATypeInfo) RaiseUnsupported(AText, u"nil");
  auto* t = const_cast<TXoTypeInfo*>(ATypeInfo);
  TXoTypeKind kind = t->GetTypeKind();
  switch (kind) {
    case xtkByte: return ValueOf(XoXMLToByte(AText), t, kind);
    case xtkWord: return ValueOf(XoXMLToWord(AText), t, kind);
    case xtkCardinal: return ValueOf(XoXMLToLongword(AText), t, kind);
    case xtkUInt64: return ValueOf(XoXMLToUInt64(AText), t, kind);
    case xtkShortInt: return ValueOf(XoXMLToShortint(AText), t, kind);
    case xtkSmallInt: return ValueOf(XoXMLToSmallint(AText), t, kind);
    case xtkInteger: return ValueOf(XoXMLToInt(AText), t, kind);
    case xtkInt64: return ValueOf(XoXMLToInt64(AText), t, kind);
    case xtkSingle: return ValueOf(XoXMLToSingle(AText), t, kind);
    case xtkDouble: return ValueOf(XoXMLToDouble(AText), t, kind);
    case xtkExtended: return ValueOf(XoXMLToExtended(AText), t, kind);
    case xtkBoolean: return ValueOf(XoXMLToBool(AText), t, kind);
    case xtkDate: {
      TDateTime v = XoXMLToDate(AText);
      return ValueOf(v, t, kind, TValue::FromAs<TDateTag>(v));
    }
    case xtkTime: {
      TDateTime v = XoXMLToTime(AText, tzfNone);
      return ValueOf(v, t, kind, TValue::FromAs<TTimeTag>(v));
    }
    case xtkDateTime: {
      TDateTime v = XoXMLToDateTime(AText, tzfNone);
      return ValueOf(v, t, kind, TValue::FromAs<TDateTimeTag>(v));
    }
    case xtkChar:
    case xtkWideChar: {
      // The first code unit as written; no decoding.
      char16_t c = AText.empty() ? u'\0' : AText[0];
      return ValueOf(c, t, kind);
    }
    case xtkAnsiChar: {
      std::string a = TXoEncoding::ConvertW(AText.substr(0, AText.empty() ? 0 : 1), 0);
      char c = a.empty() ? cEndOfText : a[0];
      return ValueOf(c, t, kind);
    }
    case xtkString:
    case xtkWideString:
      return ValueOf(XoXMLToStr(AText), t, kind);
    case xtkAnsiString:
      return ValueOf(TXoEncoding::ConvertW(XoXMLToStr(AText), 0), t, kind);
    case xtkEnumeration: {
      TValue src;
      if (StartsWithDigit(AText)) {
        src = TValue::From(std::u16string(AText));
      } else {
        int64_t ord = GetEnumValue(t, AText);
        if (ord < 0) RaiseRefused(AText, t);
        src = TValue::From(static_cast<int32_t>(ord));
      }
      TValue r;
      if (!src.TryToType(t, r)) RaiseRefused(AText, t);
      return r;
    }
    case xtkSet: {
      uint64_t bits = StartsWithDigit(AText) ? static_cast<uint64_t>(StrToInt64(AText)) : StringToSet(t, AText);
      return TValue::Make(static_cast<int64_t>(bits), t);
    }
    case xtkVariant: {
      Variant v = XoXMLToVariant(AText, varString);
      return ValueOf(v, t, kind);
    }
    default:
      RaiseUnsupported(AText, t->GetName());
  }
}

}  // namespace xo
