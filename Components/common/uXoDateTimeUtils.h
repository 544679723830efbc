// uXoDateTimeUtils: calendar arithmetic on TDateTime.
//
// A TDateTime is a double: whole days since 1899-12-30 plus the fraction of
// the day. For values before 1899-12-30 the whole part counts days backwards
// and the fraction, whatever the sign, is the time of day: -1.25 is
// 1899-12-29 06:00 (not 1899-12-28 18:00). The proleptic Gregorian calendar
// is used for every date.
//
// The platform forms (EncodeDate, DecodeDate, ...) handle the years 1..9999
// and raise EConvertError outside them. The Xo...Civil functions below accept
// any year (0 is 1 BC, -1 is 2 BC, ...) for readers of XML dates that allow
// such years.
#pragma once

#include <cstdint>
#include <string_view>

#include "uXoSysUtils.h"

namespace xo {

constexpr int32_t HoursPerDay = 24;
constexpr int32_t MinsPerHour = 60;
constexpr int32_t SecsPerMin = 60;
constexpr int32_t MSecsPerSec = 1000;
constexpr int32_t MinsPerDay = HoursPerDay * MinsPerHour;
constexpr int32_t SecsPerDay = MinsPerDay * SecsPerMin;
constexpr int32_t MSecsPerDay = SecsPerDay * MSecsPerSec;
// The platform's DateDelta: 1899-12-30 is day 693594 when 0001-01-01 is day 1.
constexpr int32_t DateDelta = 693594;
// TDateTime of 1970-01-01 00:00 (the Unix epoch).
constexpr double UnixDateDelta = 25569.0;
constexpr double MinDateTime = -693593.0;       // 0001-01-01 00:00:00.000
constexpr double MaxDateTime = 2958465.99999;   // 9999-12-31 23:59:59.999 (rounded)

// ---------------------------------------------------------------------------
// Calendar facts.
bool IsLeapYear(int32_t AYear);
// Days of the month (1..12) in the year; 0 for a month out of range.
uint16_t DaysInAMonth(int32_t AYear, uint16_t AMonth);
// 1 = Sunday .. 7 = Saturday.
uint16_t DayOfWeek(TDateTime AValue);

// ---------------------------------------------------------------------------
// Encoding: years 1..9999, months 1..12, days of the month, hours 0..23,
// minutes and seconds 0..59, milliseconds 0..999. The Try forms answer false
// on an invalid part; the others raise EConvertError "Invalid argument to date
// encode" / "Invalid argument to time encode".
bool TryEncodeDate(uint16_t AYear, uint16_t AMonth, uint16_t ADay, TDateTime& ADate);
bool TryEncodeTime(uint16_t AHour, uint16_t AMin, uint16_t ASec, uint16_t AMSec, TDateTime& ATime);
bool TryEncodeDateTime(uint16_t AYear, uint16_t AMonth, uint16_t ADay, uint16_t AHour, uint16_t AMin,
                       uint16_t ASec, uint16_t AMSec, TDateTime& AValue);
TDateTime EncodeDate(uint16_t AYear, uint16_t AMonth, uint16_t ADay);
TDateTime EncodeTime(uint16_t AHour, uint16_t AMin, uint16_t ASec, uint16_t AMSec);
// The date plus the time; before 1899-12-30 the time is subtracted, so the
// fraction still reads as the time of day.
TDateTime EncodeDateTime(uint16_t AYear, uint16_t AMonth, uint16_t ADay, uint16_t AHour, uint16_t AMin,
                         uint16_t ASec, uint16_t AMSec);

// Decoding rounds to the nearest millisecond first (23:59:59.9996 becomes the
// next day's 00:00:00.000). Dates outside 1..9999 decode to zeros.
void DecodeDate(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay);
// Also answers whether the year is a leap year.
bool DecodeDateFully(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay, uint16_t& ADOW);
void DecodeTime(TDateTime AValue, uint16_t& AHour, uint16_t& AMin, uint16_t& ASec, uint16_t& AMSec);
void DecodeDateTime(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay, uint16_t& AHour,
                    uint16_t& AMin, uint16_t& ASec, uint16_t& AMSec);

// ---------------------------------------------------------------------------
// Current moment (local time of the machine) and parts of a value.
TDateTime Now();
TDateTime Date();
TDateTime Time();
// The date alone (time of day 00:00), the time alone (fraction, 0 <= t < 1).
TDateTime DateOf(TDateTime AValue);
TDateTime TimeOf(TDateTime AValue);

// ---------------------------------------------------------------------------
// Any-year helpers (proleptic Gregorian, astronomical year numbering).
// Days from 1970-01-01 to the given civil date; month 1..12, day 1..31 are
// not checked against the month (day 31 of April is May 1).
int64_t XoDaysFromCivil(int64_t AYear, uint32_t AMonth, uint32_t ADay);
// The civil date of a day number counted from 1970-01-01.
void XoCivilFromDays(int64_t ADays, int64_t& AYear, uint32_t& AMonth, uint32_t& ADay);
// The TDateTime of a date of any year (no range check beyond the day being
// valid for the month): false when the month or day is invalid.
bool XoTryEncodeDateCivil(int64_t AYear, uint32_t AMonth, uint32_t ADay, TDateTime& ADate);
// The date of a TDateTime with any year; the time is ignored.
void XoDecodeDateCivil(TDateTime AValue, int64_t& AYear, uint32_t& AMonth, uint32_t& ADay);
// Combines a day number of TDateTime (whole days since 1899-12-30, may be
// negative) and a time of day (0 <= t < 1) the platform's way.
TDateTime XoComposeDateTime(double ADate, double ATime);
// Milliseconds since 0001-01-01 00:00 (may be negative for earlier values)
// of a TDateTime, rounded to the millisecond, and back.
int64_t XoDateTimeToMSecs(TDateTime AValue);
TDateTime XoMSecsToDateTime(int64_t AMSecs);

// --- ISO and zone services follow ---

// How a date-time value relates to a time zone, on output and on input:
//   tzfNone   - local time without a zone designator; on input a zone in the
//               text is honoured and none is accepted;
//   tzfOffset - local time followed by the local numeric offset; on input the
//               text must carry a zone and the result is local time;
//   tzfUTC    - converted to UTC and followed by "Z"; on input the text must
//               carry a zone and the result is UTC.
enum TXoTimeZoneFormat : uint8_t { tzfNone = 0, tzfOffset = 1, tzfUTC = 2 };

// The fields of an ISO 8601 date, time or date-time as written.
struct TXoDateTimeParts {
  bool HasDate = false;  // the text had a date part
  uint16_t Year = 0;
  uint16_t Month = 0;
  uint16_t Day = 0;
  bool HasTime = false;  // the text had a time part
  uint16_t Hour = 0;
  uint16_t Minute = 0;
  uint16_t Second = 0;
  uint16_t MilliSecond = 0;
  bool Negative = false;      // the year was written with a leading minus
  uint8_t TimeZoneKind = 0;   // 0 no zone, 1 numeric offset, 2 "Z"
  int16_t TimeZoneOffset = 0; // minutes east of UTC when TimeZoneKind is 1
};

// A duration: a sign and two magnitudes, all years and months as months, and
// everything from days down as seconds with their fraction.
struct TXoDuration {
  bool Negative = false;
  int32_t Months = 0;
  double Seconds = 0;
};

// Decodes an ISO 8601 date ("2024-03-01", "-0044-03-15"), time
// ("10:30:00.250", seconds and fraction optional) or date and time joined by
// "T" (or a blank), each optionally followed by "Z" or a numeric offset
// ("+02:00", "-0530", "+02"). Blanks around the text are ignored. Digits of a
// fraction beyond the milliseconds are cut off. Raises EConvertError for any
// other text and for fields out of range.
TXoDateTimeParts XoDecodeISODateTime(std::u16string_view AText);

// Local time to UTC and back, with the zone rules of the machine (the TZ
// environment variable, read again on each call). A local time that falls into
// a gap of a daylight saving change is taken as the C library's mktime takes
// it; an ambiguous one is resolved the same way.
TDateTime XoLocalToUTC(TDateTime ADateTime);
TDateTime XoUTCToLocal(TDateTime ADateTime);

// The offset of the local zone from UTC at the local time ADateTime, in
// minutes east of UTC (negative west of it), and the hours and minutes of its
// magnitude.
void XoCalcTimeZoneOffset(TDateTime ADateTime, int32_t& ATotalMinutes, uint16_t& AHours,
                          uint16_t& AMinutes);

// A duration from its fields: Months = AYears * 12 + AMonths, Seconds = the
// rest in seconds.
TXoDuration XoEncodeDuration(uint16_t AYears, uint16_t AMonths, uint16_t ADays, uint16_t AHours,
                             uint16_t AMinutes, uint16_t ASeconds, uint16_t AMilliSeconds,
                             bool ANegative);

}  // namespace xo
