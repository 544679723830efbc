// Tests of the date, time and duration forms of uXoXMLUtils and of the ISO
// decoder and zone services of uXoDateTimeUtils. Each test sets TZ itself.

#include <gtest/gtest.h>

#include "xo_test_support.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <sys/stat.h>

#include "uXoXMLUtils.h"

using namespace xo;
using xo_test::MessageOf;
using xo_test::ScopedTZ;

namespace {

bool HaveZone(const char* AName) {
  struct stat st;
  return stat((std::string("/usr/share/zoneinfo/") + AName).c_str(), &st) == 0;
}

#define REQUIRE_ZONE(name) \
  if (!HaveZone(name)) GTEST_SKIP() << "zone " name " is not installed"

// Europe/Berlin's rules as a POSIX string: valid for every year, and present
// without the zone database.
constexpr const char* cCET = "CET-1CEST,M3.5.0,M10.5.0/3";

std::string U8(std::u16string_view s) { return XoUTF16ToUTF8(s); }

constexpr double cOneMs = 1.0 / 86400000.0;

}  // namespace

// ---------------------------------------------------------------------------
// ISO decoding

TEST(XoDecodeISODateTime, DateAloneTimeAloneAndBoth) {
  TXoDateTimeParts p = XoDecodeISODateTime(u"2024-02-29");
  EXPECT_TRUE(p.HasDate);
  EXPECT_FALSE(p.HasTime);
  EXPECT_EQ(p.Year, 2024);
  EXPECT_EQ(p.Month, 2);
  EXPECT_EQ(p.Day, 29);
  EXPECT_EQ(p.TimeZoneKind, 0);
  EXPECT_FALSE(p.Negative);

  p = XoDecodeISODateTime(u"10:11:12.5");
  EXPECT_FALSE(p.HasDate);
  EXPECT_TRUE(p.HasTime);
  EXPECT_EQ(p.Hour, 10);
  EXPECT_EQ(p.Minute, 11);
  EXPECT_EQ(p.Second, 12);
  EXPECT_EQ(p.MilliSecond, 500);

  p = XoDecodeISODateTime(u"1999-12-31T23:59:58.123456");
  EXPECT_TRUE(p.HasDate && p.HasTime);
  EXPECT_EQ(p.Hour, 23);
  EXPECT_EQ(p.Second, 58);
  EXPECT_EQ(p.MilliSecond, 123);  // digits beyond the third are cut off

  p = XoDecodeISODateTime(u"  2001-01-01 08:30  ");
  EXPECT_TRUE(p.HasDate && p.HasTime);
  EXPECT_EQ(p.Hour, 8);
  EXPECT_EQ(p.Minute, 30);
  EXPECT_EQ(p.Second, 0);
}

TEST(XoDecodeISODateTime, Zones) {
  TXoDateTimeParts p = XoDecodeISODateTime(u"2024-01-01T00:00:00Z");
  EXPECT_EQ(p.TimeZoneKind, 2);
  p = XoDecodeISODateTime(u"2024-01-01T00:00:00+05:30");
  EXPECT_EQ(p.TimeZoneKind, 1);
  EXPECT_EQ(p.TimeZoneOffset, 330);
  p = XoDecodeISODateTime(u"12:00:00-08:00");
  EXPECT_EQ(p.TimeZoneKind, 1);
  EXPECT_EQ(p.TimeZoneOffset, -480);
  p = XoDecodeISODateTime(u"2024-01-01-03:00");
  EXPECT_TRUE(p.HasDate);
  EXPECT_FALSE(p.HasTime);
  EXPECT_EQ(p.TimeZoneOffset, -180);
  p = XoDecodeISODateTime(u"2024-01-01Z");
  EXPECT_EQ(p.TimeZoneKind, 2);
  p = XoDecodeISODateTime(u"12:00:00+0100");
  EXPECT_EQ(p.TimeZoneOffset, 60);
}

TEST(XoDecodeISODateTime, NegativeAndLongYears) {
  TXoDateTimeParts p = XoDecodeISODateTime(u"-0044-03-15");
  EXPECT_TRUE(p.Negative);
  EXPECT_EQ(p.Year, 44);
  p = XoDecodeISODateTime(u"-0001-01-01T12:00:00Z");
  EXPECT_TRUE(p.Negative);
  EXPECT_EQ(p.Year, 1);
  EXPECT_EQ(p.TimeZoneKind, 2);
  p = XoDecodeISODateTime(u"12345-06-07");
  EXPECT_EQ(p.Year, 12345);
}

TEST(XoDecodeISODateTime, RejectsOtherText) {
  for (const char16_t* bad : {u"", u"   ", u"abc", u"2024", u"2024-1-01", u"24-01-01", u"2024-13-01",
                              u"2024-00-10", u"2024-01-32", u"2024-01-01T", u"2024-01-01X", u"10:61:00",
                              u"25:00:00", u"10:00:00.", u"10:00:00+25:00", u"2024-01-01T10:00Zx",
                              u"99999-01-01", u"--2024-01-01"}) {
    EXPECT_THROW(XoDecodeISODateTime(bad), EConvertError) << U8(bad);
  }
  EXPECT_EQ(XoDecodeXMLDateTime(u"24:00:00").Hour, 24);
}

TEST(XoXMLDateTimeFormat, ClassifiesTheZone) {
  EXPECT_EQ(XoXMLDateTimeFormat(XoDecodeXMLDateTime(u"2024-01-01")), xdtfLocal);
  EXPECT_EQ(XoXMLDateTimeFormat(XoDecodeXMLDateTime(u"2024-01-01Z")), xdtfUTC);
  EXPECT_EQ(XoXMLDateTimeFormat(XoDecodeXMLDateTime(u"2024-01-01+01:00")), xdtfTimezone);
  EXPECT_EQ(XoTimeZoneFormat(xdtfLocal), tzfNone);
  EXPECT_EQ(XoTimeZoneFormat(xdtfUTC), tzfUTC);
  EXPECT_EQ(XoTimeZoneFormat(xdtfTimezone), tzfOffset);
}

// ---------------------------------------------------------------------------
// Zone services

TEST(XoZoneServices, OffsetsFollowTheZoneRules) {
  REQUIRE_ZONE("Europe/Berlin");
  ScopedTZ tz("Europe/Berlin");
  int32_t total;
  uint16_t h, m;
  XoCalcTimeZoneOffset(EncodeDateTime(2024, 7, 1, 12, 0, 0, 0), total, h, m);
  EXPECT_EQ(total, 120);
  EXPECT_EQ(h, 2);
  EXPECT_EQ(m, 0);
  XoCalcTimeZoneOffset(EncodeDateTime(2024, 1, 15, 12, 0, 0, 0), total, h, m);
  EXPECT_EQ(total, 60);
  // The switch to summer time on 2024-03-31 at 02:00 local.
  XoCalcTimeZoneOffset(EncodeDateTime(2024, 3, 31, 1, 59, 0, 0), total, h, m);
  EXPECT_EQ(total, 60);
  XoCalcTimeZoneOffset(EncodeDateTime(2024, 3, 31, 3, 0, 0, 0), total, h, m);
  EXPECT_EQ(total, 120);
}

TEST(XoZoneServices, WestAndHalfHourZones) {
  REQUIRE_ZONE("America/New_York");
  REQUIRE_ZONE("Asia/Kolkata");
  int32_t total;
  uint16_t h, m;
  {
    ScopedTZ tz("America/New_York");
    XoCalcTimeZoneOffset(EncodeDate(2024, 1, 10), total, h, m);
    EXPECT_EQ(total, -300);
    EXPECT_EQ(h, 5);
    EXPECT_EQ(m, 0);
    EXPECT_DOUBLE_EQ(XoLocalToUTC(EncodeDateTime(2024, 1, 10, 7, 0, 0, 0)), EncodeDateTime(2024, 1, 10, 12, 0, 0, 0));
  }
  {
    ScopedTZ tz("Asia/Kolkata");
    XoCalcTimeZoneOffset(EncodeDate(2024, 1, 10), total, h, m);
    EXPECT_EQ(total, 330);
    EXPECT_EQ(h, 5);
    EXPECT_EQ(m, 30);
  }
}

TEST(XoZoneServices, LocalAndUTCConvertBothWays) {
  ScopedTZ tz(cCET);
  TDateTime summerLocal = EncodeDateTime(2024, 7, 1, 12, 30, 0, 250);
  TDateTime summerUTC = EncodeDateTime(2024, 7, 1, 10, 30, 0, 250);
  EXPECT_NEAR(XoLocalToUTC(summerLocal), summerUTC, cOneMs / 2);
  EXPECT_NEAR(XoUTCToLocal(summerUTC), summerLocal, cOneMs / 2);
  TDateTime winterLocal = EncodeDateTime(2024, 12, 31, 0, 30, 0, 0);
  EXPECT_NEAR(XoLocalToUTC(winterLocal), EncodeDateTime(2024, 12, 30, 23, 30, 0, 0), cOneMs / 2);
  // The day of the switch back: 01:30 UTC is 02:30 standard time.
  EXPECT_NEAR(XoUTCToLocal(EncodeDateTime(2024, 10, 27, 1, 30, 0, 0)), EncodeDateTime(2024, 10, 27, 2, 30, 0, 0),
              cOneMs / 2);
  // Dates before 1899-12-30 (negative values) move the right way.
  TDateTime old = EncodeDateTime(1800, 1, 1, 0, 30, 0, 0);
  EXPECT_NEAR(XoLocalToUTC(old), EncodeDateTime(1799, 12, 31, 23, 30, 0, 0), cOneMs / 2);
  EXPECT_NEAR(XoUTCToLocal(XoLocalToUTC(old)), old, cOneMs / 2);
}

TEST(XoZoneServices, UTCZoneIsIdentity) {
  ScopedTZ tz("UTC");
  TDateTime v = EncodeDateTime(2010, 5, 6, 7, 8, 9, 10);
  EXPECT_DOUBLE_EQ(XoLocalToUTC(v), v);
  EXPECT_DOUBLE_EQ(XoUTCToLocal(v), v);
  int32_t total;
  uint16_t h, m;
  XoCalcTimeZoneOffset(v, total, h, m);
  EXPECT_EQ(total, 0);
}

// ---------------------------------------------------------------------------
// Output

TEST(XoDateTimeToXML, ThreeZoneFormats) {
  ScopedTZ tz(cCET);
  TDateTime v = EncodeDateTime(2024, 7, 1, 12, 5, 6, 7);
  EXPECT_EQ(XoDateTimeToXML(v, tzfNone), u"2024-07-01T12:05:06.007");
  EXPECT_EQ(XoDateTimeToXML(v, tzfOffset), u"2024-07-01T12:05:06.007+02:00");
  EXPECT_EQ(XoDateTimeToXML(v, tzfUTC), u"2024-07-01T10:05:06Z");  // no fraction
  EXPECT_EQ(XoTimeToXML(v, tzfNone), u"12:05:06.007");
  EXPECT_EQ(XoTimeToXML(v, tzfOffset), u"12:05:06.007+02:00");
  EXPECT_EQ(XoTimeToXML(v, tzfUTC), u"10:05:06.007Z");  // with fraction
  EXPECT_EQ(XoDateToXML(v, tzfNone), u"2024-07-01");
  EXPECT_EQ(XoDateToXML(v, tzfOffset), u"2024-07-01+02:00");
  EXPECT_EQ(XoDateToXML(EncodeDate(2024, 1, 1), tzfUTC), u"2023-12-31Z");
  // The XML format names map to the zone formats.
  EXPECT_EQ(XoDateTimeToXML(v, xdtfLocal), XoDateTimeToXML(v, tzfNone));
  EXPECT_EQ(XoDateTimeToXML(v, xdtfUTC), XoDateTimeToXML(v, tzfUTC));
  EXPECT_EQ(XoDateTimeToXML(v, xdtfTimezone), XoDateTimeToXML(v, tzfOffset));
  EXPECT_EQ(XoTimeToXML(v, xdtfTimezone), XoTimeToXML(v, tzfOffset));
  EXPECT_EQ(XoDateToXML(v, xdtfUTC), XoDateToXML(v, tzfUTC));
}

TEST(XoDateTimeToXML, NegativeOffsetAndPadding) {
  ScopedTZ tz("EST5EDT,M3.2.0,M11.1.0");
  TDateTime v = EncodeDateTime(5, 1, 2, 3, 4, 5, 60);
  EXPECT_EQ(XoDateTimeToXML(v, tzfOffset), u"0005-01-02T03:04:05.060-05:00");
  EXPECT_EQ(XoDateTimeToXML(EncodeDate(2024, 7, 4), tzfOffset), u"2024-07-04T00:00:00.000-04:00");
}

// ---------------------------------------------------------------------------
// Input

TEST(XoXMLToDateTime, ZeroTextIsNotDecoded) {
  ScopedTZ tz(cCET);
  EXPECT_EQ(XoXMLToDate(u"0"), 0);
  EXPECT_EQ(XoXMLToDate(u""), 0);
  EXPECT_EQ(XoXMLToTime(u"0", tzfUTC), 0);  // would need a zone if decoded
  EXPECT_EQ(XoXMLToDateTime(u"0", tzfOffset), 0);
  EXPECT_EQ(XoXMLToDateTime(u"", tzfUTC), 0);
}

TEST(XoXMLToDateTime, ZoneStepByFormat) {
  ScopedTZ tz(cCET);
  TDateTime local = EncodeDateTime(2024, 7, 1, 12, 0, 0, 0);
  TDateTime utc = EncodeDateTime(2024, 7, 1, 10, 0, 0, 0);
  // No zone in the text.
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-07-01T12:00:00", tzfNone), local);
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDateTime(u"2024-07-01T12:00:00", tzfOffset); }),
            u"The XMLDateTime value did not contain timezone information!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDateTime(u"2024-07-01T12:00:00", tzfUTC); }),
            u"The XMLDateTime value did not contain timezone information!");
  // A numeric offset.
  for (TXoTimeZoneFormat f : {tzfNone, tzfOffset})
    EXPECT_NEAR(XoXMLToDateTime(u"2024-07-01T13:00:00+03:00", f), local, cOneMs / 2);
  EXPECT_NEAR(XoXMLToDateTime(u"2024-07-01T13:00:00+03:00", tzfUTC), utc, cOneMs / 2);
  EXPECT_NEAR(XoXMLToDateTime(u"2024-07-01T05:30:00-04:30", tzfUTC), utc, cOneMs / 2);
  // The UTC marker.
  for (TXoTimeZoneFormat f : {tzfNone, tzfOffset})
    EXPECT_NEAR(XoXMLToDateTime(u"2024-07-01T10:00:00Z", f), local, cOneMs / 2);
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-07-01T10:00:00Z", tzfUTC), utc);
  EXPECT_NEAR(XoXMLToDateTime(u"2024-07-01T10:00:00Z", xdtfLocal), local, cOneMs / 2);
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-07-01T10:00:00Z", xdtfUTC), utc);
}

TEST(XoXMLToDateTime, DateAloneTimeAloneAndSign) {
  ScopedTZ tz("UTC");
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-07-01"), EncodeDate(2024, 7, 1));
  EXPECT_NEAR(XoXMLToDateTime(u"06:00:00"), 0.25, cOneMs / 2);
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"-0044-03-15T00:00:00"), -EncodeDate(44, 3, 15));
  EXPECT_DOUBLE_EQ(XoXMLToDate(u"-0044-03-15"), -EncodeDate(44, 3, 15));
  EXPECT_DOUBLE_EQ(XoXMLToDate(u"2024-07-01T23:00:00+05:00"), EncodeDate(2024, 7, 1));  // date only
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(u"2024-07-01T24:00:00"), EncodeDate(2024, 7, 2));
  EXPECT_THROW(XoXMLToDate(u"2023-02-29"), EConvertError);  // the encoder refuses it
  EXPECT_THROW(XoXMLToDate(u"0000-01-01"), EConvertError);
  EXPECT_THROW(XoXMLToDateTime(u"not a date"), EConvertError);
}

TEST(XoXMLToTime, FractionOfTheDayAfterTheZoneStep) {
  ScopedTZ tz(cCET);
  EXPECT_NEAR(XoXMLToTime(u"10:11:12.5"), EncodeTime(10, 11, 12, 500), cOneMs / 2);
  EXPECT_NEAR(XoXMLToTime(u"10:00:00+02:00", tzfUTC), EncodeTime(8, 0, 0, 0), cOneMs / 2);
  // Across midnight backwards and forwards.
  EXPECT_NEAR(XoXMLToTime(u"01:00:00+02:00", tzfUTC), EncodeTime(23, 0, 0, 0), cOneMs / 2);
  EXPECT_NEAR(XoXMLToTime(u"23:30:00Z", tzfNone), EncodeTime(0, 30, 0, 0), cOneMs / 2);
  // A date in the text does not matter; the sign step is left out.
  EXPECT_NEAR(XoXMLToTime(u"-2024-01-01T06:00:00"), 0.25, cOneMs / 2);
  EXPECT_THROW(XoXMLToTime(u"06:00:00", tzfOffset), Exception);
  EXPECT_NEAR(XoXMLToTime(u"06:00:00Z", xdtfUTC), 0.25, cOneMs / 2);
}

TEST(XoXMLToDateTime, DefFormsCatchEverything) {
  ScopedTZ tz("UTC");
  EXPECT_EQ(XoXMLToDateDef(u"garbage", 5), 5);
  EXPECT_EQ(XoXMLToDateDef(u"2023-02-30", 5), 5);
  EXPECT_EQ(XoXMLToDateTimeDef(u"2024-01-01T00:00:00", 5, tzfUTC), 5);  // no zone
  EXPECT_EQ(XoXMLToDateTimeDef(u"2024-01-01T00:00:00", 5, xdtfTimezone), 5);
  EXPECT_DOUBLE_EQ(XoXMLToDateTimeDef(u"2024-01-01T00:00:00Z", 5, tzfUTC), EncodeDate(2024, 1, 1));
  EXPECT_EQ(XoXMLToTimeDef(u"25:00", 5, tzfNone), 5);
  EXPECT_EQ(XoXMLToTimeDef(u"12:00", 5, xdtfUTC), 5);
  EXPECT_EQ(XoXMLToDateDef(u"", 5), 0);
}

TEST(XoXMLToDateTime, VariantSources) {
  ScopedTZ tz("UTC");
  TDateTime d = EncodeDate(2020, 2, 2);
  EXPECT_EQ(XoXMLToDate(Variant::Null(), 3), 3);
  EXPECT_EQ(XoXMLToDate(Variant::FromDate(d), 0), d);
  EXPECT_EQ(XoXMLToDate(Variant(int32_t(5)), 0), 5);
  EXPECT_EQ(XoXMLToDate(Variant(2.5), 0), 2.5);
  EXPECT_DOUBLE_EQ(XoXMLToDate(Variant(u"2020-02-02"), 0), d);
  EXPECT_DOUBLE_EQ(XoXMLToDateTime(Variant(u"2020-02-02T00:00:00Z"), 0, tzfUTC), d);
  EXPECT_NEAR(XoXMLToTime(Variant(u"06:00:00"), 0, xdtfLocal), 0.25, cOneMs / 2);
  EXPECT_EQ(XoXMLToTime(Variant::Null(), 7, tzfUTC), 7);
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToDate(Variant(true), 0); }),
            u"The given value is not a valid Date value!");
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToTime(Variant(true), 0, tzfNone); }),
            u"The given value is not a valid Time value!");
  EXPECT_EQ(MessageOf<EConvertError>([] { XoXMLToDateTime(Variant(), 0, tzfNone); }),
            u"The given value is not a valid DateTime value!");
}

// ---------------------------------------------------------------------------
// Round trips

namespace {

// Dates from year 1 to 9999 with a spread of months, days and clock times.
std::vector<TDateTime> SampleDateTimes(bool AWithMs) {
  std::vector<TDateTime> r;
  std::mt19937 rng(11);
  for (int y = 1; y <= 9999; y += 7) {
    uint16_t m = uint16_t(1 + rng() % 12), d = uint16_t(1 + rng() % DaysInAMonth(y, m));
    r.push_back(EncodeDateTime(uint16_t(y), m, d, uint16_t(rng() % 24), uint16_t(rng() % 60), uint16_t(rng() % 60),
                               AWithMs ? uint16_t(rng() % 1000) : 0));
  }
  r.push_back(EncodeDateTime(9999, 12, 31, 12, 0, 0, 0));  // UTC+1 must not leave the year 9999
  r.push_back(EncodeDateTime(1, 1, 1, 12, 0, 0, 0));
  return r;
}

}  // namespace

TEST(XoDateTimeRoundTrip, Years1To9999ThroughEachZoneFormat) {
  for (const char* zone : {"UTC", cCET, "EST5EDT,M3.2.0,M11.1.0"}) {
    ScopedTZ tz(zone);
    for (TDateTime v : SampleDateTimes(true)) {
      for (TXoTimeZoneFormat f : {tzfNone, tzfOffset}) {
        XoXMLString s = XoDateTimeToXML(v, f);
        EXPECT_NEAR(XoXMLToDateTime(s, tzfNone), v, cOneMs / 2) << zone << " " << U8(s);
        if (f == tzfOffset) {
          EXPECT_NEAR(XoXMLToDateTime(s, tzfOffset), v, cOneMs / 2) << zone << " " << U8(s);
        }
      }
      // UTC text has whole seconds.
      TDateTime whole = XoMSecsToDateTime(XoDateTimeToMSecs(v) / 1000 * 1000);
      XoXMLString s = XoDateTimeToXML(whole, tzfUTC);
      EXPECT_NEAR(XoXMLToDateTime(s, tzfNone), whole, cOneMs / 2) << zone << " " << U8(s);
      EXPECT_NEAR(XoXMLToDateTime(s, tzfUTC), XoLocalToUTC(whole), cOneMs / 2) << zone << " " << U8(s);
      // Dates and times alone.
      EXPECT_EQ(XoXMLToDate(XoDateToXML(v)), DateOf(v)) << U8(XoDateToXML(v));
      EXPECT_NEAR(XoXMLToTime(XoTimeToXML(v)), TimeOf(v), cOneMs / 2);
      // A time alone is read on 1899-12-30, so its offset text comes back
      // exactly when the zone had the same offset on that day.
      int32_t offV, offDay0;
      uint16_t h, m;
      XoCalcTimeZoneOffset(v, offV, h, m);
      XoCalcTimeZoneOffset(TimeOf(v), offDay0, h, m);
      if (offV == offDay0) {
        EXPECT_NEAR(XoXMLToTime(XoTimeToXML(v, tzfOffset), tzfOffset), TimeOf(v), cOneMs / 2);
      }
    }
  }
}

TEST(XoDateTimeRoundTrip, NegativeYears) {
  ScopedTZ tz(cCET);
  for (int y : {1, 44, 753, 9999}) {
    std::u16string text = u"-" + XoPadLeft(IntToStr(y), 4, u'0') + u"-06-15";
    TXoDateTimeParts p = XoDecodeISODateTime(text);
    EXPECT_TRUE(p.Negative);
    EXPECT_EQ(p.Year, y);
    EXPECT_DOUBLE_EQ(XoXMLToDate(text), -EncodeDate(uint16_t(y), 6, 15));
    EXPECT_DOUBLE_EQ(XoXMLToDateTime(text + u"T00:00:00"), -EncodeDate(uint16_t(y), 6, 15));
  }
}

// ---------------------------------------------------------------------------
// Durations

TEST(XoDurationToXML, Forms) {
  EXPECT_EQ(XoDurationToXML(TXoDuration{}), u"P0Y");
  EXPECT_EQ(XoDurationToXML(TXoDuration{true, 0, 0}), u"-P0Y");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 90061.5}), u"P1DT1H1M1.5S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 0.05}), u"PT0.05S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 14, 0}), u"P1Y2M");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 12, 86400}), u"P1Y1D");
  EXPECT_EQ(XoDurationToXML(TXoDuration{true, 0, 7200}), u"-PT2H");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 60}), u"PT1M");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 3600.123}), u"PT1H0.123S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 6.001}), u"PT6.001S");
  // Milliseconds are truncated, never rounded up into the next second.
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 1.9999}), u"PT1.999S");
  EXPECT_EQ(XoDurationToXML(TXoDuration{false, 0, 59.9996}), u"PT59.999S");
}

TEST(XoXMLToDuration, Reads) {
  TXoDuration d = XoXMLToDuration(u"P1Y2M3DT4H5M6.5S");
  EXPECT_FALSE(d.Negative);
  EXPECT_EQ(d.Months, 14);
  EXPECT_DOUBLE_EQ(d.Seconds, 273906.5);
  d = XoXMLToDuration(u"-PT2H");
  EXPECT_TRUE(d.Negative);
  EXPECT_DOUBLE_EQ(d.Seconds, 7200);
  d = XoXMLToDuration(u"P1D1Y");  // order is not checked
  EXPECT_EQ(d.Months, 12);
  EXPECT_DOUBLE_EQ(d.Seconds, 86400);
  d = XoXMLToDuration(u"P1D2D");  // the last value wins
  EXPECT_DOUBLE_EQ(d.Seconds, 2 * 86400);
  d = XoXMLToDuration(u"P");
  EXPECT_EQ(d.Months, 0);
  EXPECT_EQ(d.Seconds, 0);
  d = XoXMLToDuration(u"PT1M");
  EXPECT_EQ(d.Months, 0);
  EXPECT_DOUBLE_EQ(d.Seconds, 60);
  d = XoXMLToDuration(u"P1M");
  EXPECT_EQ(d.Months, 1);
  d = XoXMLToDuration(u"PT0.05S");
  EXPECT_DOUBLE_EQ(d.Seconds, 0.05);
  d = XoXMLToDuration(u"PT1.23456S");
  EXPECT_DOUBLE_EQ(d.Seconds, 1.234);
}

TEST(XoXMLToDuration, Failures) {
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u""); }),
            u"XoXMLToDuration; An empty string cannot be converted to a xs:duration!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"1D"); }),
            u"XoXMLToDuration; A duration must start with a \"P\"!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"-"); }),
            u"XoXMLToDuration; A duration must start with a \"P\"!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"p1D"); }),
            u"XoXMLToDuration; A duration must start with a \"P\"!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P1X"); }),
            u"XoXMLToDuration; The provided argument (P1X) is not a valid duration!");
  EXPECT_EQ(MessageOf<Exception>([] { XoXMLToDuration(u"P1D2"); }),
            u"XoXMLToDuration; The provided argument (P1D2) is not a valid duration!");
  EXPECT_THROW(XoXMLToDuration(u"P1.5Y"), EConvertError);
  EXPECT_THROW(XoXMLToDuration(u"PY"), EConvertError);
}

TEST(XoDurationRoundTrip, ThroughTextAndBack) {
  std::mt19937 rng(3);
  for (int i = 0; i < 5000; ++i) {
    uint16_t f[7];
    for (int k = 0; k < 7; ++k) f[k] = uint16_t(rng() % (k == 6 ? 1000 : 60));
    if (i % 3 == 0) f[2] = uint16_t(rng() % 30000);  // many days
    bool neg = rng() % 2;
    TXoDuration d = XoEncodeDuration(f[0], f[1] % 12, f[2], f[3] % 24, f[4], f[5], f[6], neg);
    XoXMLString s = XoDurationToXML(d);
    TXoDuration back = XoXMLToDuration(s);
    EXPECT_EQ(back.Negative, neg) << U8(s);
    EXPECT_EQ(back.Months, d.Months) << U8(s);
    EXPECT_NEAR(back.Seconds, d.Seconds, 1e-7) << U8(s);
    EXPECT_EQ(XoDurationToXML(back), s);
  }
}

TEST(XoEncodeDuration, Fields) {
  TXoDuration d = XoEncodeDuration(2, 3, 4, 5, 6, 7, 800, true);
  EXPECT_TRUE(d.Negative);
  EXPECT_EQ(d.Months, 27);
  EXPECT_DOUBLE_EQ(d.Seconds, 4 * 86400 + 5 * 3600 + 6 * 60 + 7.8);
  d = XoEncodeDuration(65535, 65535, 65535, 65535, 65535, 65535, 999, false);
  EXPECT_EQ(d.Months, 65535 * 12 + 65535);
  EXPECT_DOUBLE_EQ(d.Seconds, 65535.0 * (86400 + 3600 + 60 + 1) + 0.999);
}
