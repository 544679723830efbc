// uXoXMLUtils, part 3: dates, times, date-times and durations.

#include "uXoXMLUtils.h"

#include <cmath>

namespace xo {

TXoTimeZoneFormat XoTimeZoneFormat(TXoXMLDateTimeFormat AFormat) {
  switch (AFormat) {
    case xdtfUTC: return tzfUTC;
    case xdtfTimezone: return tzfOffset;
    default: return tzfNone;
  }
}

namespace {

// Appends AValue in decimal, padded on the left with "0" to ADigits.
void AppendPadded(XoXMLString& ADest, uint32_t AValue, int ADigits) {
  char16_t buf[12];
  int n = 0;
  do {
    buf[n++] = static_cast<char16_t>(u'0' + AValue % 10);
    AValue /= 10;
  } while (AValue);
  for (int i = n; i < ADigits; ++i) ADest += u'0';
  while (n) ADest += buf[--n];
}

void AppendDate(XoXMLString& ADest, TDateTime AValue) {
  uint16_t y, m, d;
  DecodeDate(AValue, y, m, d);
  AppendPadded(ADest, y, 4);
  ADest += u'-';
  AppendPadded(ADest, m, 2);
  ADest += u'-';
  AppendPadded(ADest, d, 2);
}

void AppendTime(XoXMLString& ADest, TDateTime AValue, bool AFraction) {
  uint16_t h, mi, s, ms;
  DecodeTime(AValue, h, mi, s, ms);
  AppendPadded(ADest, h, 2);
  ADest += u':';
  AppendPadded(ADest, mi, 2);
  ADest += u':';
  AppendPadded(ADest, s, 2);
  if (AFraction) {
    ADest += u'.';
    AppendPadded(ADest, ms, 3);
  }
}

// The local offset at the local time AValue: sign, hh, ":", mm.
void AppendOffset(XoXMLString& ADest, TDateTime AValue) {
  int32_t total;
  uint16_t h, m;
  XoCalcTimeZoneOffset(AValue, total, h, m);
  ADest += total < 0 ? u'-' : u'+';
  AppendPadded(ADest, h, 2);
  ADest += u':';
  AppendPadded(ADest, m, 2);
}

enum TPart { ptDate, ptTime, ptDateTime };

XoXMLString ValueToXML(TDateTime AValue, TXoTimeZoneFormat AFormat, TPart APart) {
  XoXMLString r;
  r.reserve(30);
  if (AFormat == tzfUTC) AValue = XoLocalToUTC(AValue);
  if (APart != ptTime) AppendDate(r, AValue);
  if (APart == ptDateTime) r += u'T';
  // The UTC date-time is written without a fraction; every other time with one.
  if (APart != ptDate) AppendTime(r, AValue, !(APart == ptDateTime && AFormat == tzfUTC));
  if (AFormat == tzfOffset)
    AppendOffset(r, AValue);
  else if (AFormat == tzfUTC)
    r += u'Z';
  return r;
}

inline bool IsZeroText(std::u16string_view AText) { return AText.empty() || AText == u"0"; }

// Moves a TDateTime by a number of minutes on the time line (values before
// 1899-12-30 count their fraction forward, so plain subtraction would not do).
TDateTime AddMinutes(TDateTime AValue, int32_t AMinutes) {
  return XoMSecsToDateTime(XoDateTimeToMSecs(AValue) + int64_t(AMinutes) * 60000);
}

TDateTime EncodeParts(const TXoDateTimeParts& P, bool ADate, bool ATime) {
  TDateTime d = 0, t = 0;
  bool nextDay = false;
  if (ATime) {
    // 24:00:00 is the first moment of the next day.
    if (P.Hour == 24) {
      nextDay = true;
    } else {
      t = EncodeTime(P.Hour, P.Minute, P.Second, P.MilliSecond);
    }
  }
  if (ADate) {
    d = EncodeDate(P.Year, P.Month, P.Day);
    if (nextDay) d = XoMSecsToDateTime(XoDateTimeToMSecs(d) + int64_t(86400000));
    return ATime ? XoComposeDateTime(d, t) : d;
  }
  return nextDay ? 1.0 : t;
}

[[noreturn]] void RaiseNoZone() {
  throw Exception(u"The XMLDateTime value did not contain timezone information!");
}

// The zone step of the readers: the value as the caller wants it back.
TDateTime ApplyZone(TDateTime AValue, const TXoDateTimeParts& P, TXoTimeZoneFormat AFormat) {
  switch (P.TimeZoneKind) {
    case 1:
      AValue = AddMinutes(AValue, -P.TimeZoneOffset);
      return AFormat == tzfUTC ? AValue : XoUTCToLocal(AValue);
    case 2:
      return AFormat == tzfUTC ? AValue : XoUTCToLocal(AValue);
    default:
      if (AFormat != tzfNone) RaiseNoZone();
      return AValue;
  }
}

}  // namespace

// ===========================================================================
// Output

XoXMLString XoDateToXML(TDateTime AValue, TXoTimeZoneFormat AFormat) {
  return ValueToXML(AValue, AFormat, ptDate);
}
XoXMLString XoDateToXML(TDateTime AValue, TXoXMLDateTimeFormat AFormat) {
  return ValueToXML(AValue, XoTimeZoneFormat(AFormat), ptDate);
}
XoXMLString XoTimeToXML(TDateTime AValue, TXoTimeZoneFormat AFormat) {
  return ValueToXML(AValue, AFormat, ptTime);
}
XoXMLString XoTimeToXML(TDateTime AValue, TXoXMLDateTimeFormat AFormat) {
  return ValueToXML(AValue, XoTimeZoneFormat(AFormat), ptTime);
}
XoXMLString XoDateTimeToXML(TDateTime AValue, TXoTimeZoneFormat AFormat) {
  return ValueToXML(AValue, AFormat, ptDateTime);
}
XoXMLString XoDateTimeToXML(TDateTime AValue, TXoXMLDateTimeFormat AFormat) {
  return ValueToXML(AValue, XoTimeZoneFormat(AFormat), ptDateTime);
}

// ===========================================================================
// Input

TXoDateTimeParts XoDecodeXMLDateTime(std::u16string_view AText) { return XoDecodeISODateTime(AText); }

TXoXMLDateTimeFormat XoXMLDateTimeFormat(const TXoDateTimeParts& AParts) {
  switch (AParts.TimeZoneKind) {
    case 1: return xdtfTimezone;
    case 2: return xdtfUTC;
    default: return xdtfLocal;
  }
}

TDateTime XoXMLToDate(std::u16string_view AText) {
  if (IsZeroText(AText)) return 0;
  TXoDateTimeParts p = XoDecodeISODateTime(AText);
  TDateTime r = EncodeDate(p.Year, p.Month, p.Day);
  return p.Negative ? -r : r;
}

TDateTime XoXMLToDateDef(std::u16string_view AText, TDateTime ADefault) {
  try {
    return XoXMLToDate(AText);
  } catch (...) {
    return ADefault;
  }
}

TDateTime XoXMLToDateTime(std::u16string_view AText, TXoTimeZoneFormat AFormat) {
  if (IsZeroText(AText)) return 0;
  TXoDateTimeParts p = XoDecodeISODateTime(AText);
  TDateTime r = 0;
  if (p.HasDate || p.HasTime) r = EncodeParts(p, p.HasDate, p.HasTime);
  if (p.Negative) r = -r;
  return ApplyZone(r, p, AFormat);
}

TDateTime XoXMLToDateTime(std::u16string_view AText, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToDateTime(AText, XoTimeZoneFormat(AFormat));
}

TDateTime XoXMLToDateTimeDef(std::u16string_view AText, TDateTime ADefault, TXoTimeZoneFormat AFormat) {
  try {
    return XoXMLToDateTime(AText, AFormat);
  } catch (...) {
    return ADefault;
  }
}

TDateTime XoXMLToDateTimeDef(std::u16string_view AText, TDateTime ADefault, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToDateTimeDef(AText, ADefault, XoTimeZoneFormat(AFormat));
}

TDateTime XoXMLToTime(std::u16string_view AText, TXoTimeZoneFormat AFormat) {
  if (IsZeroText(AText)) return 0;
  TXoDateTimeParts p = XoDecodeISODateTime(AText);
  TDateTime r = ApplyZone(EncodeParts(p, false, true), p, AFormat);
  // The time of day alone. A zone step can carry the value across midnight,
  // also to the day before 1899-12-30, whose fraction still reads forward.
  return std::fabs(r - std::trunc(r));
}

TDateTime XoXMLToTime(std::u16string_view AText, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToTime(AText, XoTimeZoneFormat(AFormat));
}

TDateTime XoXMLToTimeDef(std::u16string_view AText, TDateTime ADefault, TXoTimeZoneFormat AFormat) {
  try {
    return XoXMLToTime(AText, AFormat);
  } catch (...) {
    return ADefault;
  }
}

TDateTime XoXMLToTimeDef(std::u16string_view AText, TDateTime ADefault, TXoXMLDateTimeFormat AFormat) {
  return XoXMLToTimeDef(AText, ADefault, XoTimeZoneFormat(AFormat));
}

// Variant sources: null gives the default; numbers and dates are the value
// itself; text goes through the text reader.
namespace {

template <class F>
TDateTime VarToDateTime(const Variant& V, TDateTime ADefault, const char16_t* ATypeName, F AFromText) {
  if (V.IsNull()) return ADefault;
  TVarType t = V.VarType();
  if (!(t & varArray)) {
    if (t == varDate) return V.AsDate();
    if (V.IsNumeric()) return V.AsDouble();
    if (V.IsString()) return AFromText(V.AsString());
  }
  throw EConvertError(XoFormat(u"The given value is not a valid %s value!", {ATypeName}));
}

}  // namespace

TDateTime XoXMLToDate(TXoVariantArg AArg, TDateTime ADefault) {
  const Variant& AValue = AArg;
  return VarToDateTime(AValue, ADefault, u"Date", [](const std::u16string& s) { return XoXMLToDate(s); });
}

TDateTime XoXMLToTime(TXoVariantArg AArg, TDateTime ADefault, TXoTimeZoneFormat AFormat) {
  const Variant& AValue = AArg;
  return VarToDateTime(AValue, ADefault, u"Time",
                       [AFormat](const std::u16string& s) { return XoXMLToTime(s, AFormat); });
}

TDateTime XoXMLToTime(TXoVariantArg AArg, TDateTime ADefault, TXoXMLDateTimeFormat AFormat) {
  const Variant& AValue = AArg;
  return XoXMLToTime(AValue, ADefault, XoTimeZoneFormat(AFormat));
}

TDateTime XoXMLToDateTime(TXoVariantArg AArg, TDateTime ADefault, TXoTimeZoneFormat AFormat) {
  const Variant& AValue = AArg;
  return VarToDateTime(AValue, ADefault, u"DateTime",
                       [AFormat](const std::u16string& s) { return XoXMLToDateTime(s, AFormat); });
}

TDateTime XoXMLToDateTime(TXoVariantArg AArg, TDateTime ADefault, TXoXMLDateTimeFormat AFormat) {
  const Variant& AValue = AArg;
  return XoXMLToDateTime(AValue, ADefault, XoTimeZoneFormat(AFormat));
}

// ===========================================================================
// Durations

XoXMLString XoDurationToXML(const TXoDuration& AValue) {
  XoXMLString r = AValue.Negative ? u"-P" : u"P";
  int32_t years = AValue.Months / 12, months = AValue.Months % 12;
  // Seconds and milliseconds are truncated, not rounded (1.9999 s writes
  // "PT1.999S"). A slack of a few units in the last place keeps values that
  // binary floating point holds just below a millisecond, like 6.001 held as
  // 6.000999..., from losing it.
  const double exactMs = std::fabs(AValue.Seconds) * 1000.0;
  int64_t totalMs = static_cast<int64_t>(std::floor(exactMs + 1e-6 + exactMs * 1e-14));
  int64_t whole = totalMs / 1000;
  auto y = static_cast<uint16_t>(years), mo = static_cast<uint16_t>(months);
  auto d = static_cast<uint16_t>(whole / 86400), h = static_cast<uint16_t>(whole % 86400 / 3600);
  auto mi = static_cast<uint16_t>(whole % 3600 / 60), s = static_cast<uint16_t>(whole % 60);
  auto ms = static_cast<uint16_t>(totalMs % 1000);
  if (!y && !mo && !d && !h && !mi && !s && !ms) return r + u"0Y";
  if (y) r += IntToStr(y) + u'Y';
  if (mo) r += IntToStr(mo) + u'M';
  if (d) r += IntToStr(d) + u'D';
  if (h || mi || s || ms) {
    r += u'T';
    if (h) r += IntToStr(h) + u'H';
    if (mi) r += IntToStr(mi) + u'M';
    if (ms) {
      r += IntToStr(s);
      r += u'.';
      XoXMLString frac;
      AppendPadded(frac, ms, 3);
      while (frac.back() == u'0') frac.pop_back();
      r += frac;
      r += u'S';
    } else if (s) {
      r += IntToStr(s) + u'S';
    }
  }
  return r;
}

namespace {

[[noreturn]] void RaiseBadDuration(std::u16string_view AText) {
  throw Exception(XoFormat(u"XoXMLToDuration; The provided argument (%s) is not a valid duration!", {AText}));
}

// Milliseconds of the digits after the decimal point of a seconds field:
// "5" is 500, "05" 50; digits beyond the third are cut off. Anything but
// digits is refused by the integer parser.
uint16_t FractionToMSecs(std::u16string_view ADigits) {
  if (ADigits.empty()) return 0;
  std::u16string first(ADigits.substr(0, 3));
  while (first.size() < 3) first += u'0';
  int32_t v = StrToInt(first);
  for (size_t i = 3; i < ADigits.size(); ++i)
    if (ADigits[i] < u'0' || ADigits[i] > u'9') StrToInt(ADigits.substr(i));
  return static_cast<uint16_t>(v);
}

}  // namespace

TXoDuration XoXMLToDuration(std::u16string_view AText) {
  if (AText.empty()) throw Exception(u"XoXMLToDuration; An empty string cannot be converted to a xs:duration!");
  size_t p = 0;
  const size_t n = AText.size();
  bool negative = false;
  if (AText[0] == u'-') {
    negative = true;
    ++p;
  }
  if (p >= n || AText[p] != u'P') throw Exception(u"XoXMLToDuration; A duration must start with a \"P\"!");
  ++p;
  uint16_t y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, ms = 0;
  bool time = false;
  while (p < n) {
    // A "T" starts the time section; a number and its designator must follow.
    if (AText[p] == u'T') {
      time = true;
      ++p;
    }
    size_t mark = p;
    while (p < n && ((AText[p] >= u'0' && AText[p] <= u'9') || AText[p] == u'.')) ++p;
    if (p >= n) RaiseBadDuration(AText);
    std::u16string_view num = AText.substr(mark, p - mark);
    char16_t designator = AText[p];
    if (designator == u'S') {
      size_t dot = num.find(u'.');
      if (dot == num.npos) {
        s = static_cast<uint16_t>(StrToInt(num));
        ms = 0;
      } else {
        s = static_cast<uint16_t>(StrToInt(num.substr(0, dot)));
        ms = FractionToMSecs(num.substr(dot + 1));
      }
    } else {
      uint16_t v = 0;
      switch (designator) {
        case u'Y': case u'D': case u'H': case u'M':
          v = static_cast<uint16_t>(StrToInt(num));
          break;
        default:
          RaiseBadDuration(AText);
      }
      switch (designator) {
        case u'Y': y = v; break;
        case u'D': d = v; break;
        case u'H': h = v; break;
        default: (time ? mi : mo) = v; break;
      }
    }
    ++p;
  }
  TXoDuration r = XoEncodeDuration(y, mo, d, h, mi, s, ms, false);
  r.Negative = negative;
  return r;
}

}  // namespace xo
