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

#include "uXoSysUtils.h"

namespace xo {

constexpr int32_t HoursPerDay = 24;
constexpr int32_t MinsPerHour = 60;
constexpr int32_t SecsPerMin = 60;
constexpr int32_t MSecsPerSec = 1000;
constexpr int32_t MinsPerDay = HoursPerDay * MinsPerHour;
constexpr int32_t SecsPerDay = MinsPerDay * SecsPerMin;
constexpr int32_t MSecsPerDay = SecsPerDay * MSecsPerSec;
// Days from 0001-01-01 to 1899-12-30 (the platform's DateDelta).
constexpr int32_t DateDelta = 693594;
// TDateTime of 1970-01-01 00:00 (the Unix epoch).
constexpr double UnixDateDelta = 25569.0;
constexpr double MinDateTime = -657434.0;       // 0001-01-01 00:00:00.000
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

}  // namespace xo
