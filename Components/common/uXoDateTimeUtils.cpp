// uXoDateTimeUtils: calendar arithmetic on TDateTime (encode, decode, parts,
// the current moment).
#include "uXoDateTimeUtils.h"

#include <cmath>
#include <ctime>

namespace xo {

namespace {

const char16_t* const cDateEncodeError = u"Invalid argument to date encode";
const char16_t* const cTimeEncodeError = u"Invalid argument to time encode";

// Day number of TDateTime 0 (1899-12-30) counted from 1970-01-01.
constexpr int64_t cDelphiEpochFromUnix = -25569;

// A TDateTime split the platform's way: whole days (1899-12-30 = 0, may be
// negative) and milliseconds into that day. Rounds to the millisecond first.
inline void SplitMSecs(TDateTime AValue, int64_t& ADays, int64_t& AMSecOfDay) {
  double scaled = AValue * static_cast<double>(MSecsPerDay);
  int64_t ms = static_cast<int64_t>(std::llround(scaled));
  ADays = ms / MSecsPerDay;  // truncates towards zero
  AMSecOfDay = ms % MSecsPerDay;
  if (AMSecOfDay < 0) AMSecOfDay = -AMSecOfDay;
}

}  // namespace

// ---------------------------------------------------------------------------
// Any-year calendar (days since 1970-01-01, proleptic Gregorian).

int64_t XoDaysFromCivil(int64_t AYear, uint32_t AMonth, uint32_t ADay) {
  int64_t y = AYear - (AMonth <= 2 ? 1 : 0);
  int64_t era = (y >= 0 ? y : y - 399) / 400;
  int64_t yoe = y - era * 400;                                       // [0, 399]
  int64_t mp = (static_cast<int64_t>(AMonth) + 9) % 12;              // March = 0
  int64_t doy = (153 * mp + 2) / 5 + static_cast<int64_t>(ADay) - 1;  // [0, 365]
  int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;                // [0, 146096]
  return era * 146097 + doe - 719468;
}

void XoCivilFromDays(int64_t ADays, int64_t& AYear, uint32_t& AMonth, uint32_t& ADay) {
  int64_t z = ADays + 719468;
  int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  int64_t doe = z - era * 146097;                                    // [0, 146096]
  int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;  // [0, 399]
  int64_t y = yoe + era * 400;
  int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);  // [0, 365]
  int64_t mp = (5 * doy + 2) / 153;                        // [0, 11]
  ADay = static_cast<uint32_t>(doy - (153 * mp + 2) / 5 + 1);
  AMonth = static_cast<uint32_t>(mp < 10 ? mp + 3 : mp - 9);
  AYear = y + (AMonth <= 2 ? 1 : 0);
}

static bool IsLeap64(int64_t AYear) { return AYear % 4 == 0 && (AYear % 100 != 0 || AYear % 400 == 0); }

static uint32_t DaysInMonth64(int64_t AYear, uint32_t AMonth) {
  static const uint8_t cDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (AMonth < 1 || AMonth > 12) return 0;
  return cDays[AMonth - 1] + (AMonth == 2 && IsLeap64(AYear) ? 1 : 0);
}

bool XoTryEncodeDateCivil(int64_t AYear, uint32_t AMonth, uint32_t ADay, TDateTime& ADate) {
  if (ADay < 1 || ADay > DaysInMonth64(AYear, AMonth)) return false;
  ADate = static_cast<double>(XoDaysFromCivil(AYear, AMonth, ADay) - cDelphiEpochFromUnix);
  return true;
}

void XoDecodeDateCivil(TDateTime AValue, int64_t& AYear, uint32_t& AMonth, uint32_t& ADay) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  XoCivilFromDays(days + cDelphiEpochFromUnix, AYear, AMonth, ADay);
}

TDateTime XoComposeDateTime(double ADate, double ATime) { return ADate < 0 ? ADate - ATime : ADate + ATime; }

int64_t XoDateTimeToMSecs(TDateTime AValue) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  return (days + DateDelta - 1) * MSecsPerDay + ms;
}

TDateTime XoMSecsToDateTime(int64_t AMSecs) {
  int64_t days = AMSecs / MSecsPerDay;
  int64_t ms = AMSecs % MSecsPerDay;
  if (ms < 0) {
    ms += MSecsPerDay;
    --days;
  }
  return XoComposeDateTime(static_cast<double>(days - DateDelta + 1),
                           static_cast<double>(ms) / static_cast<double>(MSecsPerDay));
}

// ---------------------------------------------------------------------------
// Calendar facts

bool IsLeapYear(int32_t AYear) { return IsLeap64(AYear); }

uint16_t DaysInAMonth(int32_t AYear, uint16_t AMonth) {
  return static_cast<uint16_t>(DaysInMonth64(AYear, AMonth));
}

uint16_t DayOfWeek(TDateTime AValue) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  int64_t d = (days + DateDelta) % 7;
  if (d < 0) d += 7;
  return static_cast<uint16_t>(d + 1);
}

// ---------------------------------------------------------------------------
// Encoding

bool TryEncodeDate(uint16_t AYear, uint16_t AMonth, uint16_t ADay, TDateTime& ADate) {
  if (AYear < 1 || AYear > 9999) return false;
  return XoTryEncodeDateCivil(AYear, AMonth, ADay, ADate);
}

bool TryEncodeTime(uint16_t AHour, uint16_t AMin, uint16_t ASec, uint16_t AMSec, TDateTime& ATime) {
  if (AHour >= HoursPerDay || AMin >= MinsPerHour || ASec >= SecsPerMin || AMSec >= MSecsPerSec) return false;
  int64_t ms = ((static_cast<int64_t>(AHour) * MinsPerHour + AMin) * SecsPerMin + ASec) * MSecsPerSec + AMSec;
  ATime = static_cast<double>(ms) / static_cast<double>(MSecsPerDay);
  return true;
}

bool TryEncodeDateTime(uint16_t AYear, uint16_t AMonth, uint16_t ADay, uint16_t AHour, uint16_t AMin,
                       uint16_t ASec, uint16_t AMSec, TDateTime& AValue) {
  TDateTime d, t;
  if (!TryEncodeDate(AYear, AMonth, ADay, d) || !TryEncodeTime(AHour, AMin, ASec, AMSec, t)) return false;
  AValue = XoComposeDateTime(d, t);
  return true;
}

TDateTime EncodeDate(uint16_t AYear, uint16_t AMonth, uint16_t ADay) {
  TDateTime d;
  if (!TryEncodeDate(AYear, AMonth, ADay, d)) throw EConvertError(std::u16string(cDateEncodeError));
  return d;
}

TDateTime EncodeTime(uint16_t AHour, uint16_t AMin, uint16_t ASec, uint16_t AMSec) {
  TDateTime t;
  if (!TryEncodeTime(AHour, AMin, ASec, AMSec, t)) throw EConvertError(std::u16string(cTimeEncodeError));
  return t;
}

TDateTime EncodeDateTime(uint16_t AYear, uint16_t AMonth, uint16_t ADay, uint16_t AHour, uint16_t AMin,
                         uint16_t ASec, uint16_t AMSec) {
  return XoComposeDateTime(EncodeDate(AYear, AMonth, ADay), EncodeTime(AHour, AMin, ASec, AMSec));
}

// ---------------------------------------------------------------------------
// Decoding

bool DecodeDateFully(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay, uint16_t& ADOW) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  int64_t y;
  uint32_t m, d;
  XoCivilFromDays(days + cDelphiEpochFromUnix, y, m, d);
  if (y < 1 || y > 9999) {
    AYear = AMonth = ADay = ADOW = 0;
    return false;
  }
  AYear = static_cast<uint16_t>(y);
  AMonth = static_cast<uint16_t>(m);
  ADay = static_cast<uint16_t>(d);
  int64_t w = (days + DateDelta) % 7;
  if (w < 0) w += 7;
  ADOW = static_cast<uint16_t>(w + 1);
  return IsLeap64(y);
}

void DecodeDate(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay) {
  uint16_t dow;
  DecodeDateFully(AValue, AYear, AMonth, ADay, dow);
}

void DecodeTime(TDateTime AValue, uint16_t& AHour, uint16_t& AMin, uint16_t& ASec, uint16_t& AMSec) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  AMSec = static_cast<uint16_t>(ms % MSecsPerSec);
  ms /= MSecsPerSec;
  ASec = static_cast<uint16_t>(ms % SecsPerMin);
  ms /= SecsPerMin;
  AMin = static_cast<uint16_t>(ms % MinsPerHour);
  AHour = static_cast<uint16_t>(ms / MinsPerHour);
}

void DecodeDateTime(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay, uint16_t& AHour,
                    uint16_t& AMin, uint16_t& ASec, uint16_t& AMSec) {
  DecodeDate(AValue, AYear, AMonth, ADay);
  DecodeTime(AValue, AHour, AMin, ASec, AMSec);
}

// ---------------------------------------------------------------------------
// Current moment

TDateTime Now() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  time_t secs = ts.tv_sec;
  tm local{};
  localtime_r(&secs, &local);
  TDateTime d;
  TDateTime t;
  XoTryEncodeDateCivil(static_cast<int64_t>(local.tm_year) + 1900, static_cast<uint32_t>(local.tm_mon + 1),
                       static_cast<uint32_t>(local.tm_mday), d);
  int sec = local.tm_sec > 59 ? 59 : local.tm_sec;  // leap second
  TryEncodeTime(static_cast<uint16_t>(local.tm_hour), static_cast<uint16_t>(local.tm_min),
                static_cast<uint16_t>(sec), static_cast<uint16_t>(ts.tv_nsec / 1000000), t);
  return XoComposeDateTime(d, t);
}

TDateTime Date() { return DateOf(Now()); }

TDateTime Time() { return TimeOf(Now()); }

TDateTime DateOf(TDateTime AValue) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  return static_cast<double>(days);
}

TDateTime TimeOf(TDateTime AValue) {
  int64_t days, ms;
  SplitMSecs(AValue, days, ms);
  return static_cast<double>(ms) / static_cast<double>(MSecsPerDay);
}

}  // namespace xo
