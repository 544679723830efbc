// uXoXSTypes: facet checks, text forms, the two binary encodings and the
// registration of the typed simple records.
#include "uXoXSTypes.h"

#include "uXoRegEx.h"
#include "uXoXMLUtils.h"

namespace xo {

namespace detail {

void XsRaiseRange(const char16_t* AMessage) { throw EArgumentOutOfRangeException(std::u16string(AMessage)); }

void XsRaiseNegativeUnsigned() {
  throw ENotSupportedException(std::u16string(u"The negative operation is not allowed on unsigned integer types!"));
}

void XsRaiseDivByZero() { throw EDivByZero(std::u16string(u"Division by zero")); }

void XsCheckPattern(std::u16string_view APattern, std::u16string_view AText) {
  if (!TRegEx::IsMatch(AText, APattern))
    XsRaiseRange(u"The specified value does not match the specified pattern!");
}

namespace {

// A float text ("12.5", "1.5E-7", "1E20", "-3") in fixed notation, without
// its sign: the digits before the point, and those behind it.
void FixedDigits(std::u16string_view AText, std::u16string& AWhole, std::u16string& AFraction) {
  AWhole.clear();
  AFraction.clear();
  if (!AText.empty() && (AText[0] == u'-' || AText[0] == u'+')) AText.remove_prefix(1);
  size_t e = AText.find_first_of(u"eE");
  std::u16string_view mant = AText.substr(0, e);
  int64_t exp = 0;
  if (e != std::u16string_view::npos && !TryStrToInt64(AText.substr(e + 1), exp)) exp = 0;
  size_t dot = mant.find_first_of(u".,");
  std::u16string digits(mant.substr(0, dot));
  int64_t point = static_cast<int64_t>(digits.size());
  if (dot != std::u16string_view::npos) digits.append(mant.substr(dot + 1));
  point += exp;
  if (point <= 0) {
    AWhole = u"0";
    AFraction = std::u16string(static_cast<size_t>(-point), u'0') + digits;
  } else if (point >= static_cast<int64_t>(digits.size())) {
    AWhole = digits + std::u16string(static_cast<size_t>(point) - digits.size(), u'0');
  } else {
    AWhole = digits.substr(0, static_cast<size_t>(point));
    AFraction = digits.substr(static_cast<size_t>(point));
  }
  // Trailing zeros of the fraction are no digits of the value.
  while (!AFraction.empty() && AFraction.back() == u'0') AFraction.pop_back();
}

bool HasExponent(std::u16string_view AText) { return AText.find_first_of(u"eE") != std::u16string_view::npos; }

}  // namespace

void XsCheckDigits(const TXsAnySimpleType<uint8_t>& ATotalDigits, const TXsAnySimpleType<uint8_t>& AFractionDigits,
                   std::u16string_view AText, std::u16string_view AFractionText) {
  if (!ATotalDigits.IsNull()) {
    size_t n = 0;
    if (HasExponent(AText)) {
      std::u16string whole, frac;
      FixedDigits(AText, whole, frac);
      n = whole.size() + frac.size();
    } else {
      for (size_t i = 0; i < AText.size(); ++i) {
        char16_t c = AText[i];
        if (c == u'.' || c == u',' || (i == 0 && c == u'-')) continue;
        ++n;
      }
    }
    if (n > ATotalDigits.FValue)
      XsRaiseRange(u"The value contains more digits than the maximum amount of allowed digits!");
  }
  if (!AFractionDigits.IsNull()) {
    size_t n = 0;
    if (HasExponent(AFractionText)) {
      std::u16string whole, frac;
      FixedDigits(AFractionText, whole, frac);
      n = frac.size();
    } else if (AFractionText.size() > 2 && AFractionText.substr(0, 2) == u"0.") {
      n = AFractionText.size() - 2;
    }
    if (n > AFractionDigits.FValue)
      XsRaiseRange(u"The value contains more digits than the maximum amount of allowed fraction digits!");
  }
}

std::u16string XsValueText(int64_t AValue) { return IntToStr(AValue); }
std::u16string XsValueText(uint64_t AValue) { return UIntToStr(AValue); }
std::u16string XsValueText(float AValue) { return TValue::From(AValue).ToString(); }
std::u16string XsValueText(double AValue) { return FloatToStr(AValue); }
std::u16string XsValueText(long double AValue) { return FloatToStr(AValue); }

int32_t XsStrToInt(std::u16string_view AText) { return StrToInt(AText); }
int64_t XsStrToInt64(std::u16string_view AText) { return StrToInt64(AText); }

long double XsStrToFloat(std::u16string_view AText, TXoTypeKind AKind) {
  if (AKind == xtkSingle) {
    float f;
    if (!TryStrToFloat(AText, f)) throw EConvertError(u"'%s' is not a valid floating point value", {AText});
    return f;
  }
  if (AKind == xtkDouble) return StrToFloat(AText);
  return StrToExtended(AText);
}

const char16_t* XsTypeName(TXoTypeKind AKind) {
  switch (AKind) {
    case xtkByte: return u"uXoXSTypes.TXsUnsignedByte";
    case xtkWord: return u"uXoXSTypes.TXsUnsignedShort";
    case xtkCardinal: return u"uXoXSTypes.TXsUnsignedInt";
    case xtkUInt64: return u"uXoXSTypes.TXsUnsignedLong";
    case xtkShortInt: return u"uXoXSTypes.TXsByte";
    case xtkSmallInt: return u"uXoXSTypes.TXsShort";
    case xtkInteger: return u"uXoXSTypes.TXsInt";
    case xtkInt64: return u"uXoXSTypes.TXsLong";
    case xtkSingle: return u"uXoXSTypes.TXsFloat";
    case xtkDouble: return u"uXoXSTypes.TXsDouble";
    default: return u"uXoXSTypes.TXsDecimal";
  }
}

namespace {
template <class R>
TXoTypeInfo* RegisterNumber(const char16_t* AGeneric) {
  TXoTypeInfo* t = TXoTypes::Of<R>();
  // The generic name finds the record too ("uXoXSTypes.TXsInteger<System.Integer>").
  TXoTypes::RegisterTypeAlias(
      t, std::u16string(u"uXoXSTypes.") + AGeneric + u"<" + t->GetWrappedType()->GetQualifiedName() + u">");
  return t;
}
}  // namespace

void XoRegisterXsTypes() {
  RegisterNumber<TXsUnsignedByte>(u"TXsInteger");
  RegisterNumber<TXsUnsignedShort>(u"TXsInteger");
  RegisterNumber<TXsUnsignedInt>(u"TXsInteger");
  RegisterNumber<TXsUnsignedLong>(u"TXsInteger");
  RegisterNumber<TXsByte>(u"TXsInteger");
  RegisterNumber<TXsShort>(u"TXsInteger");
  RegisterNumber<TXsInt>(u"TXsInteger");
  RegisterNumber<TXsLong>(u"TXsInteger");
  RegisterNumber<TXsFloat>(u"TXsRational");
  RegisterNumber<TXsDouble>(u"TXsRational");
  RegisterNumber<TXsDecimal>(u"TXsRational");
  TXoTypes::Of<TXsBoolean>();
  TXoTypes::Of<TXsString>();
  TXoTypes::Of<TXsDate>();
  TXoTypes::Of<TXsTime>();
  TXoTypes::Of<TXsDateTime>();
  TXoTypes::Of<TXsDuration>();
  TXoTypes::Of<TXsBase64Binary>();
  TXoTypes::Of<TXsHexBinary>();
}

}  // namespace detail

// ===========================================================================
// TXsBoolean

std::u16string TXsBoolean::ToString() const { return IsNull() ? std::u16string() : XoBoolToXML(FValue); }
Variant TXsBoolean::ToVariant() const { return IsNull() ? Variant::Null() : Variant(FValue); }

// ===========================================================================
// Dates, times, durations

template <class Tag>
std::u16string TXsDateTimeBase<Tag>::ToString(bool AWithTimeZone) const {
  if (IsNull()) return std::u16string();
  TXoTimeZoneFormat f = AWithTimeZone ? tzfOffset : tzfNone;
  if constexpr (std::is_same_v<Tag, TDateTag>)
    return XoDateToXML(FValue, f);
  else if constexpr (std::is_same_v<Tag, TTimeTag>)
    return XoTimeToXML(FValue, f);
  else
    return XoDateTimeToXML(FValue, f);
}
template struct TXsDateTimeBase<TDateTag>;
template struct TXsDateTimeBase<TTimeTag>;
template struct TXsDateTimeBase<TDateTimeTag>;

TXsDuration::TXsDuration(const TXoDuration& AValue) { *this = AValue; }

TXsDuration& TXsDuration::operator=(const TXoDuration& AValue) {
  FValue = XoDurationToXML(AValue);
  FHasValue = detail::XsPresent();
  return *this;
}

void TXsDuration::Assign(std::u16string_view AValue) {
  if (AValue.empty()) {
    Clear();
    return;
  }
  XoXMLToDuration(AValue);  // raises for text that is no duration
  FValue = std::u16string(AValue);
  FHasValue = detail::XsPresent();
}

TXoDuration TXsDuration::AsDuration() const { return IsNull() ? TXoDuration() : XoXMLToDuration(FValue); }

// ===========================================================================
// Binary encodings

namespace {

const char cB64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const char cHex[] = "0123456789ABCDEF";

// The rest of the stream, from its position.
std::string ReadRest(TStream* AStream) {
  std::string r;
  char buf[4096];
  for (;;) {
    int64_t n = AStream->Read(buf, sizeof buf);
    if (n <= 0) break;
    r.append(buf, static_cast<size_t>(n));
  }
  return r;
}

int B64Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

int HexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

inline bool IsBlank(unsigned char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

void TXsBinaryStringB64Encoding::Encode(TStream* AStream, const std::string& AValue) {
  std::string out;
  out.reserve((AValue.size() + 2) / 3 * 4);
  size_t i = 0, n = AValue.size();
  for (; i + 3 <= n; i += 3) {
    uint32_t v = (uint8_t(AValue[i]) << 16) | (uint8_t(AValue[i + 1]) << 8) | uint8_t(AValue[i + 2]);
    out += cB64[v >> 18];
    out += cB64[(v >> 12) & 63];
    out += cB64[(v >> 6) & 63];
    out += cB64[v & 63];
  }
  if (n - i == 1) {
    uint32_t v = uint8_t(AValue[i]) << 16;
    out += cB64[v >> 18];
    out += cB64[(v >> 12) & 63];
    out += "==";
  } else if (n - i == 2) {
    uint32_t v = (uint8_t(AValue[i]) << 16) | (uint8_t(AValue[i + 1]) << 8);
    out += cB64[v >> 18];
    out += cB64[(v >> 12) & 63];
    out += cB64[(v >> 6) & 63];
    out += '=';
  }
  if (!out.empty()) AStream->WriteBuffer(out.data(), static_cast<int64_t>(out.size()));
}

std::string TXsBinaryStringB64Encoding::Decode(TStream* AStream) {
  std::string text = ReadRest(AStream);
  std::string out;
  out.reserve(text.size() / 4 * 3);
  uint32_t acc = 0;
  int bits = 0;
  bool padding = false;
  for (unsigned char c : text) {
    if (IsBlank(c)) continue;
    if (c == '=') {
      padding = true;
      continue;
    }
    int v = B64Value(c);
    if (v < 0 || padding) throw EConvertError(std::u16string(u"The text is not valid Base64 data!"));
    acc = (acc << 6) | static_cast<uint32_t>(v);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((acc >> bits) & 0xFF);
    }
  }
  return out;
}

void TXsBinaryStringHexEncoding::Encode(TStream* AStream, const std::string& AValue) {
  std::string out;
  out.reserve(AValue.size() * 2);
  for (unsigned char c : AValue) {
    out += cHex[c >> 4];
    out += cHex[c & 15];
  }
  if (!out.empty()) AStream->WriteBuffer(out.data(), static_cast<int64_t>(out.size()));
}

std::string TXsBinaryStringHexEncoding::Decode(TStream* AStream) {
  std::string text = ReadRest(AStream);
  std::string out;
  out.reserve(text.size() / 2);
  int high = -1;
  for (unsigned char c : text) {
    if (IsBlank(c)) continue;
    int v = HexValue(c);
    if (v < 0) throw EConvertError(std::u16string(u"The text is not valid hexadecimal data!"));
    if (high < 0) {
      high = v;
    } else {
      out += static_cast<char>((high << 4) | v);
      high = -1;
    }
  }
  if (high >= 0) throw EConvertError(std::u16string(u"The text is not valid hexadecimal data!"));
  return out;
}

}  // namespace xo
