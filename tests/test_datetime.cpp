// TDateTime helpers: encode, decode, negative values, calendar facts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>

#include "uXoDateTimeUtils.h"

using namespace xo;

namespace {

template <class F>
std::u16string ConvertMessage(F&& f) {
  try {
    f();
  } catch (const EConvertError& e) {
    return e.Message();
  }
  return u"<no exception>";
}

struct TParts {
  uint16_t Y, M, D, h, n, s, ms;
};

TParts Decode(TDateTime v) {
  TParts p{};
  DecodeDateTime(v, p.Y, p.M, p.D, p.h, p.n, p.s, p.ms);
  return p;
}

}  // namespace

TEST(DateTime, KnownDates) {
  EXPECT_EQ(EncodeDate(1899, 12, 30), 0.0);
  EXPECT_EQ(EncodeDate(1900, 1, 1), 2.0);
  EXPECT_EQ(EncodeDate(1970, 1, 1), UnixDateDelta);
  EXPECT_EQ(EncodeDate(2000, 1, 1), 36526.0);
  EXPECT_EQ(EncodeDate(1899, 12, 29), -1.0);
  EXPECT_EQ(EncodeDate(1, 1, 1), MinDateTime);
  EXPECT_EQ(EncodeDate(9999, 12, 31), 2958465.0);
  EXPECT_EQ(EncodeTime(12, 0, 0, 0), 0.5);
  EXPECT_EQ(EncodeTime(6, 0, 0, 0), 0.25);
  EXPECT_DOUBLE_EQ(EncodeDateTime(2000, 1, 1, 18, 0, 0, 0), 36526.75);
}

TEST(DateTime, NegativeValuesKeepTimeOfDayAsFraction) {
  // -1.25 is 1899-12-29 06:00, not 1899-12-28 18:00.
  TParts p = Decode(-1.25);
  EXPECT_EQ(p.Y, 1899);
  EXPECT_EQ(p.M, 12);
  EXPECT_EQ(p.D, 29);
  EXPECT_EQ(p.h, 6);
  EXPECT_EQ(p.n, 0);
  EXPECT_EQ(EncodeDateTime(1899, 12, 29, 6, 0, 0, 0), -1.25);
  EXPECT_EQ(EncodeDateTime(1800, 1, 1, 0, 0, 0, 0), EncodeDate(1800, 1, 1));
  EXPECT_LT(EncodeDateTime(1800, 1, 1, 12, 0, 0, 0), EncodeDate(1800, 1, 1));
  EXPECT_EQ(DateOf(-1.25), -1.0);
  EXPECT_EQ(TimeOf(-1.25), 0.25);
  EXPECT_EQ(DateOf(36526.75), 36526.0);
  EXPECT_EQ(TimeOf(36526.75), 0.75);
}

TEST(DateTime, RoundTripEveryYear) {
  const uint16_t days[] = {1, 15, 28};
  for (uint16_t y = 1; y <= 9999; ++y) {
    for (uint16_t m = 1; m <= 12; m += 1) {
      uint16_t d = days[(y + m) % 3];
      if (m == 2 && y % 7 == 0) d = DaysInAMonth(y, 2);
      uint16_t h = static_cast<uint16_t>((y * 7 + m) % 24), n = static_cast<uint16_t>((y + m * 11) % 60),
               s = static_cast<uint16_t>((y * 3) % 60), ms = static_cast<uint16_t>((y * 13 + m) % 1000);
      TDateTime v = EncodeDateTime(y, m, d, h, n, s, ms);
      TParts p = Decode(v);
      ASSERT_EQ(p.Y, y);
      ASSERT_EQ(p.M, m);
      ASSERT_EQ(p.D, d) << y << "-" << m;
      ASSERT_EQ(p.h, h) << y << "-" << m << "-" << d;
      ASSERT_EQ(p.n, n);
      ASSERT_EQ(p.s, s);
      ASSERT_EQ(p.ms, ms) << y << "-" << m << "-" << d;
    }
  }
}

TEST(DateTime, ConsecutiveDaysAreConsecutiveNumbers) {
  TDateTime prev = EncodeDate(1, 1, 1) - 1;
  for (uint16_t y = 1; y <= 9999; y += 37) {
    for (uint16_t m = 1; m <= 12; ++m) {
      TDateTime first = EncodeDate(y, m, 1);
      TDateTime last = EncodeDate(y, m, DaysInAMonth(y, m));
      EXPECT_EQ(last - first + 1, DaysInAMonth(y, m));
      EXPECT_GT(first, prev);
      prev = last;
    }
  }
}

TEST(DateTime, MillisecondRounding) {
  // A hair below the next millisecond decodes to it.
  TDateTime v = EncodeTime(10, 20, 30, 499) + 0.9 / MSecsPerDay;
  TParts p = Decode(v);
  EXPECT_EQ(p.ms, 500);
  // 23:59:59.9996 rounds into the next day.
  TDateTime w = EncodeDate(2020, 2, 28) + (MSecsPerDay - 0.4) / MSecsPerDay;
  p = Decode(w);
  EXPECT_EQ(p.D, 29);
  EXPECT_EQ(p.h, 0);
  EXPECT_EQ(p.ms, 0);
  // Every millisecond of a day survives the trip through a double.
  for (int32_t ms = 0; ms < MSecsPerDay; ms += 997) {
    TDateTime t = EncodeDate(2024, 6, 1) + static_cast<double>(ms) / MSecsPerDay;
    uint16_t h, n, s, z;
    DecodeTime(t, h, n, s, z);
    ASSERT_EQ(((h * 60 + n) * 60 + s) * 1000 + z, ms);
  }
}

TEST(DateTime, InvalidParts) {
  TDateTime v;
  EXPECT_FALSE(TryEncodeDate(0, 1, 1, v));
  EXPECT_FALSE(TryEncodeDate(10000, 1, 1, v));
  EXPECT_FALSE(TryEncodeDate(2023, 2, 29, v));
  EXPECT_TRUE(TryEncodeDate(2024, 2, 29, v));
  EXPECT_FALSE(TryEncodeDate(2024, 13, 1, v));
  EXPECT_FALSE(TryEncodeDate(2024, 0, 1, v));
  EXPECT_FALSE(TryEncodeDate(2024, 4, 31, v));
  EXPECT_FALSE(TryEncodeDate(2024, 4, 0, v));
  EXPECT_FALSE(TryEncodeTime(24, 0, 0, 0, v));
  EXPECT_FALSE(TryEncodeTime(0, 60, 0, 0, v));
  EXPECT_FALSE(TryEncodeTime(0, 0, 60, 0, v));
  EXPECT_FALSE(TryEncodeTime(0, 0, 0, 1000, v));
  EXPECT_EQ(ConvertMessage([] { EncodeDate(2023, 2, 29); }), u"Invalid argument to date encode");
  EXPECT_EQ(ConvertMessage([] { EncodeTime(25, 0, 0, 0); }), u"Invalid argument to time encode");
  EXPECT_EQ(ConvertMessage([] { EncodeDateTime(2023, 1, 1, 0, 61, 0, 0); }), u"Invalid argument to time encode");
}

TEST(DateTime, CalendarFacts) {
  EXPECT_TRUE(IsLeapYear(2000));
  EXPECT_FALSE(IsLeapYear(1900));
  EXPECT_TRUE(IsLeapYear(2024));
  EXPECT_FALSE(IsLeapYear(2023));
  EXPECT_TRUE(IsLeapYear(0));
  EXPECT_TRUE(IsLeapYear(-4));
  EXPECT_EQ(DaysInAMonth(2024, 2), 29);
  EXPECT_EQ(DaysInAMonth(2023, 2), 28);
  EXPECT_EQ(DaysInAMonth(2023, 12), 31);
  EXPECT_EQ(DaysInAMonth(2023, 13), 0);
  // 2024-06-01 was a Saturday (7), 1899-12-30 a Saturday, 0001-01-01 a Monday.
  EXPECT_EQ(DayOfWeek(EncodeDate(2024, 6, 1)), 7);
  EXPECT_EQ(DayOfWeek(0), 7);
  EXPECT_EQ(DayOfWeek(-1.25), 6);
  EXPECT_EQ(DayOfWeek(EncodeDate(1, 1, 1)), 2);
  uint16_t y, m, d, dow;
  EXPECT_TRUE(DecodeDateFully(EncodeDate(2024, 3, 5), y, m, d, dow));
  EXPECT_EQ(dow, 3);  // Tuesday
  // Outside the years 1..9999 the platform forms give zeros.
  DecodeDate(MinDateTime - 1, y, m, d);
  EXPECT_EQ(y, 0);
  EXPECT_EQ(m, 0);
  EXPECT_EQ(d, 0);
}

TEST(DateTime, AnyYearHelpers) {
  EXPECT_EQ(XoDaysFromCivil(1970, 1, 1), 0);
  EXPECT_EQ(XoDaysFromCivil(2000, 3, 1), 11017);
  EXPECT_EQ(XoDaysFromCivil(1969, 12, 31), -1);
  TDateTime v;
  ASSERT_TRUE(XoTryEncodeDateCivil(0, 2, 29, v));  // year 0 (1 BC) is a leap year
  EXPECT_EQ(v, EncodeDate(1, 1, 1) - 366 + 31 + 28);
  EXPECT_FALSE(XoTryEncodeDateCivil(-1, 2, 29, v));
  EXPECT_FALSE(XoTryEncodeDateCivil(2021, 4, 31, v));
  for (int64_t y = -20000; y <= 20000; y += 7) {
    for (uint32_t m = 1; m <= 12; m += 5) {
      ASSERT_TRUE(XoTryEncodeDateCivil(y, m, 28, v));
      int64_t yy;
      uint32_t mm, dd;
      XoDecodeDateCivil(v, yy, mm, dd);
      ASSERT_EQ(yy, y);
      ASSERT_EQ(mm, m);
      ASSERT_EQ(dd, 28u);
      XoDecodeDateCivil(XoComposeDateTime(v, 0.75), yy, mm, dd);
      ASSERT_EQ(dd, 28u) << y;
    }
  }
  // Milliseconds counted from 0001-01-01 and back, also before it.
  for (TDateTime t : {0.0, 1.5, -1.25, -700000.5, 36526.123, MinDateTime}) {
    EXPECT_EQ(XoMSecsToDateTime(XoDateTimeToMSecs(t)), t) << t;
  }
  EXPECT_EQ(XoDateTimeToMSecs(MinDateTime), 0);
  // Negative values: the fraction is the time of day, so 0001-01-01 12:00 is
  // MinDateTime - 0.5 and MinDateTime + 0.5 is noon of the next day.
  EXPECT_EQ(XoDateTimeToMSecs(MinDateTime - 0.5), MSecsPerDay / 2);
  EXPECT_EQ(XoDateTimeToMSecs(MinDateTime + 0.5), MSecsPerDay + MSecsPerDay / 2);
}

TEST(DateTime, NowFollowsTheClock) {
  // In UTC, Now() equals the Unix clock.
  setenv("TZ", "UTC", 1);
  tzset();
  time_t before = time(nullptr);
  TDateTime now = Now();
  time_t after = time(nullptr);
  double lo = UnixDateDelta + static_cast<double>(before) / SecsPerDay - 1.0 / SecsPerDay;
  double hi = UnixDateDelta + static_cast<double>(after) / SecsPerDay + 2.0 / SecsPerDay;
  EXPECT_GE(now, lo);
  EXPECT_LE(now, hi);
  EXPECT_EQ(Date(), std::floor(Date()));
  EXPECT_GE(Time(), 0.0);
  EXPECT_LT(Time(), 1.0);
}
