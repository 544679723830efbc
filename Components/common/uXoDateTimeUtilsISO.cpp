// uXoDateTimeUtils, ISO 8601 decoding, time-zone conversions and durations.
//
// Zone conversions go through the C library (mktime, localtime_r, timegm), so
// they follow the TZ environment variable and the zone database of the
// machine. tzset() is called on every conversion so that a program that
// changes TZ is seen at once.

#include "uXoDateTimeUtils.h"

#include <ctime>

namespace xo {

namespace {

// The millisecond count (XoDateTimeToMSecs) of 1970-01-01 00:00, the epoch of
// the C library's time_t.
inline int64_t UnixEpochMSecs() {
  static const int64_t v = XoDateTimeToMSecs(UnixDateDelta);
  return v;
}

inline int64_t FloorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// Broken-down fields of a count of seconds since 1970-01-01, proleptic
// Gregorian, without any zone.
void FieldsOfSeconds(int64_t ASecs, struct tm& ATm) {
  int64_t days = FloorDiv(ASecs, 86400);
  int64_t rest = ASecs - days * 86400;
  int64_t y;
  uint32_t m, d;
  XoCivilFromDays(days, y, m, d);
  ATm = {};
  ATm.tm_year = static_cast<int>(y - 1900);
  ATm.tm_mon = static_cast<int>(m) - 1;
  ATm.tm_mday = static_cast<int>(d);
  ATm.tm_hour = static_cast<int>(rest / 3600);
  ATm.tm_min = static_cast<int>(rest % 3600 / 60);
  ATm.tm_sec = static_cast<int>(rest % 60);
}

// Seconds of a broken-down time read as UTC.
int64_t SecondsOfFields(const struct tm& ATm) {
  int64_t days = XoDaysFromCivil(int64_t(ATm.tm_year) + 1900, static_cast<uint32_t>(ATm.tm_mon + 1),
                                 static_cast<uint32_t>(ATm.tm_mday));
  return days * 86400 + ATm.tm_hour * 3600 + ATm.tm_min * 60 + ATm.tm_sec;
}

// Offset of the local zone in seconds east of UTC at the local wall-clock
// time ALocalSecs (seconds since 1970-01-01 on the local clock).
int64_t OffsetAtLocal(int64_t ALocalSecs) {
  struct tm tm;
  FieldsOfSeconds(ALocalSecs, tm);
  tm.tm_isdst = -1;
  tzset();
  time_t utc = mktime(&tm);
  // mktime normalises a wall-clock time that does not exist (a gap of a
  // daylight saving change); the offset is that of the moment it chose.
  return SecondsOfFields(tm) - static_cast<int64_t>(utc);
}

// Offset of the local zone in seconds east of UTC at the moment AUTCSecs.
int64_t OffsetAtUTC(int64_t AUTCSecs) {
  time_t t = static_cast<time_t>(AUTCSecs);
  struct tm tm;
  tzset();
  if (!localtime_r(&t, &tm)) return 0;
  return SecondsOfFields(tm) - AUTCSecs;
}

[[noreturn]] void RaiseISO(std::u16string_view AText) {
  throw EConvertError(u"\"%s\" is not a valid ISO 8601 date, time or date-time value!", {AText});
}

// A small cursor over the text being decoded.
struct TISOScanner {
  std::u16string_view S;
  size_t P = 0;
  std::u16string_view Whole;

  bool AtEnd() const { return P >= S.size(); }
  char16_t Cur() const { return P < S.size() ? S[P] : 0; }
  static bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
  bool DigitAt(size_t i) const { return i < S.size() && IsDigit(S[i]); }
  bool Accept(char16_t c) {
    if (Cur() == c) {
      ++P;
      return true;
    }
    return false;
  }
  void Expect(char16_t c) {
    if (!Accept(c)) RaiseISO(Whole);
  }
  // Exactly ACount digits.
  uint32_t Fixed(int ACount) {
    uint32_t v = 0;
    for (int i = 0; i < ACount; ++i) {
      if (!DigitAt(P)) RaiseISO(Whole);
      v = v * 10 + (S[P++] - u'0');
    }
    return v;
  }
  // At least AMin digits, at most a value that fits 16 bits.
  uint32_t AtLeast(int AMin) {
    size_t start = P;
    uint32_t v = 0;
    while (DigitAt(P)) {
      v = v * 10 + (S[P++] - u'0');
      if (v > 0xFFFF) RaiseISO(Whole);
    }
    if (P - start < static_cast<size_t>(AMin)) RaiseISO(Whole);
    return v;
  }
};

void ScanTime(TISOScanner& AScan, TXoDateTimeParts& AParts) {
  uint32_t h = AScan.Fixed(2);
  AScan.Expect(u':');
  uint32_t mi = AScan.Fixed(2);
  uint32_t s = 0, ms = 0;
  if (AScan.Accept(u':')) {
    s = AScan.Fixed(2);
    if (AScan.Cur() == u'.' || AScan.Cur() == u',') {
      ++AScan.P;
      if (!AScan.DigitAt(AScan.P)) RaiseISO(AScan.Whole);
      int n = 0;
      while (AScan.DigitAt(AScan.P)) {
        if (n < 3) ms = ms * 10 + (AScan.S[AScan.P] - u'0');
        ++n;
        ++AScan.P;
      }
      for (; n < 3; ++n) ms *= 10;
    }
  }
  // 24:00:00 is the end of a day; any other hour from 24 on is not a time.
  if (mi > 59 || s > 59 || h > 24 || (h == 24 && (mi || s || ms))) RaiseISO(AScan.Whole);
  AParts.HasTime = true;
  AParts.Hour = static_cast<uint16_t>(h);
  AParts.Minute = static_cast<uint16_t>(mi);
  AParts.Second = static_cast<uint16_t>(s);
  AParts.MilliSecond = static_cast<uint16_t>(ms);
}

void ScanZone(TISOScanner& AScan, TXoDateTimeParts& AParts) {
  char16_t c = AScan.Cur();
  if (c == u'Z' || c == u'z') {
    ++AScan.P;
    AParts.TimeZoneKind = 2;
    return;
  }
  if (c != u'+' && c != u'-') return;
  ++AScan.P;
  uint32_t h = AScan.Fixed(2), m = 0;
  if (AScan.Accept(u':'))
    m = AScan.Fixed(2);
  else if (AScan.DigitAt(AScan.P))
    m = AScan.Fixed(2);
  if (h > 23 || m > 59) RaiseISO(AScan.Whole);
  int32_t total = static_cast<int32_t>(h * 60 + m);
  AParts.TimeZoneKind = 1;
  AParts.TimeZoneOffset = static_cast<int16_t>(c == u'-' ? -total : total);
}

}  // namespace

TXoDateTimeParts XoDecodeISODateTime(std::u16string_view AText) {
  TISOScanner scan;
  scan.Whole = AText;
  size_t b = 0, e = AText.size();
  while (b < e && AText[b] <= u' ') ++b;
  while (e > b && AText[e - 1] <= u' ') --e;
  scan.S = AText.substr(b, e - b);
  if (scan.S.empty()) RaiseISO(AText);

  TXoDateTimeParts parts;
  // A time alone starts with two digits and a colon.
  if (scan.DigitAt(0) && scan.DigitAt(1) && scan.S.size() > 2 && scan.S[2] == u':') {
    ScanTime(scan, parts);
  } else {
    parts.Negative = scan.Accept(u'-');
    uint32_t y = scan.AtLeast(4);
    scan.Expect(u'-');
    uint32_t m = scan.Fixed(2);
    scan.Expect(u'-');
    uint32_t d = scan.Fixed(2);
    if (m < 1 || m > 12 || d < 1 || d > 31) RaiseISO(AText);
    parts.HasDate = true;
    parts.Year = static_cast<uint16_t>(y);
    parts.Month = static_cast<uint16_t>(m);
    parts.Day = static_cast<uint16_t>(d);
    char16_t c = scan.Cur();
    if (c == u'T' || c == u't' || (c == u' ' && scan.DigitAt(scan.P + 1))) {
      ++scan.P;
      ScanTime(scan, parts);
    }
  }
  ScanZone(scan, parts);
  if (!scan.AtEnd()) RaiseISO(AText);
  return parts;
}

TDateTime XoLocalToUTC(TDateTime ADateTime) {
  int64_t ms = XoDateTimeToMSecs(ADateTime) - UnixEpochMSecs();
  int64_t off = OffsetAtLocal(FloorDiv(ms, 1000));
  return XoMSecsToDateTime(ms - off * 1000 + UnixEpochMSecs());
}

TDateTime XoUTCToLocal(TDateTime ADateTime) {
  int64_t ms = XoDateTimeToMSecs(ADateTime) - UnixEpochMSecs();
  int64_t off = OffsetAtUTC(FloorDiv(ms, 1000));
  return XoMSecsToDateTime(ms + off * 1000 + UnixEpochMSecs());
}

void XoCalcTimeZoneOffset(TDateTime ADateTime, int32_t& ATotalMinutes, uint16_t& AHours,
                          uint16_t& AMinutes) {
  int64_t ms = XoDateTimeToMSecs(ADateTime) - UnixEpochMSecs();
  int64_t off = OffsetAtLocal(FloorDiv(ms, 1000));
  ATotalMinutes = static_cast<int32_t>(off / 60);
  int32_t mag = ATotalMinutes < 0 ? -ATotalMinutes : ATotalMinutes;
  AHours = static_cast<uint16_t>(mag / 60);
  AMinutes = static_cast<uint16_t>(mag % 60);
}

TXoDuration XoEncodeDuration(uint16_t AYears, uint16_t AMonths, uint16_t ADays, uint16_t AHours,
                             uint16_t AMinutes, uint16_t ASeconds, uint16_t AMilliSeconds,
                             bool ANegative) {
  TXoDuration d;
  d.Negative = ANegative;
  d.Months = int32_t(AYears) * 12 + AMonths;
  int64_t whole = int64_t(ADays) * 86400 + int64_t(AHours) * 3600 + int64_t(AMinutes) * 60 + ASeconds;
  d.Seconds = static_cast<double>(whole) + AMilliSeconds / 1000.0;
  return d;
}

}  // namespace xo
