// Tests of the filter functions of dates, times and durations, run inside
// real filters with an explicit TZ; and a walk over every library function
// name, each called once inside a filter.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "uXoXMLDOM.h"
#include "uXoXPath.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;
using xo_test::ScopedTZ;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

using TDocPtr = std::unique_ptr<TXoDOMDocument, void (*)(TXoDOMDocument*)>;
TDocPtr Load(const char16_t* AXML) {
  return TDocPtr(new TXoDOMDocument(XoXMLString(AXML)), [](TXoDOMDocument* d) { d->Free(); });
}

// keep(x): records the value of x and is true.
Variant GKept;
class TKeep : public TXoXPathFunction {
public:
  using TXoXPathFunction::TXoXPathFunction;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override {
    GKept = ParamValue(0, AList, AIndex);
    return Variant(true);
  }
};
const bool GRegistered = (RegisterXPathFunction<TKeep>(u"keep"), true);

const char16_t* kDoc =
    u"<r><e><d>-0044-03-15</d><dt>2024-03-01T10:11:12.5-05:00</dt><z>2024-07-01T12:00:00Z</z>"
    u"<dur>P1Y2M3DT4H5M6.5S</dur><neg>-PT2H</neg><old>0099-01-02T03:04:05</old></e></r>";

Variant Eval(const std::u16string& AExpr) {
  auto doc = Load(kDoc);
  GKept = Variant(u"<not called>");
  std::u16string path = u"r/e[keep(" + AExpr + u")]";
  EXPECT_NE(doc->SelectSingleNode(path), nullptr) << U8(path);
  return GKept;
}
std::string Str(const std::u16string& AExpr) {
  Variant v = Eval(AExpr);
  if (v.IsNull()) return "<null>";
  if (v.IsEmpty()) return "<unassigned>";
  return U8(XoVarToStr(v));
}
std::string Code(const std::u16string& AExpr) {
  auto doc = Load(kDoc);
  try {
    doc->SelectSingleNode(u"r/e[keep(" + AExpr + u")]");
  } catch (const EXoXPathException& e) {
    return U8(e.ErrorCode()) + ": " + U8(e.Message());
  } catch (const std::exception& e) {
    return std::string("other: ") + e.what();
  }
  return "<no exception>";
}
template <class E>
std::string Raises(const std::u16string& AExpr) {
  auto doc = Load(kDoc);
  return U8(MessageOf<E>([&] { doc->SelectSingleNode(u"r/e[keep(" + AExpr + u")]"); }));
}

}  // namespace

TEST(XPathDates, DurationComponents) {
  EXPECT_EQ(XoVarToInt(Eval(u"months-from-duration(\"P1Y2M\")")), 2);
  EXPECT_EQ(XoVarToInt(Eval(u"years-from-duration(\"P1Y2M\")")), 1);
  EXPECT_EQ(Eval(u"years-from-duration(\"P1Y2M\")").VarType(), varInteger);
  EXPECT_EQ(XoVarToInt64(Eval(u"days-from-duration(\"P1DT25H\")")), 2);
  EXPECT_EQ(Eval(u"days-from-duration(\"P1DT25H\")").VarType(), varInt64);
  EXPECT_EQ(XoVarToInt64(Eval(u"hours-from-duration(\"P1DT25H\")")), 1);
  EXPECT_DOUBLE_EQ(XoVarToDouble(Eval(u"seconds-from-duration(\"PT1M2.5S\")")), 2.5);
  EXPECT_EQ(XoVarToInt64(Eval(u"hours-from-duration(neg)")), -2);
  // Every designator of P1Y2M3DT4H5M6.5S.
  EXPECT_EQ(XoVarToInt(Eval(u"years-from-duration(dur)")), 1);
  EXPECT_EQ(XoVarToInt(Eval(u"months-from-duration(dur)")), 2);
  EXPECT_EQ(XoVarToInt64(Eval(u"hours-from-duration(dur)")), 4);
  EXPECT_EQ(XoVarToInt64(Eval(u"minutes-from-duration(dur)")), 5);
  EXPECT_EQ(XoVarToInt64(Eval(u"days-from-duration(dur)")), 3);
  EXPECT_DOUBLE_EQ(XoVarToDouble(Eval(u"seconds-from-duration(dur)")), 6.5);
  // Every component of a negative duration is negative or zero.
  EXPECT_EQ(XoVarToInt(Eval(u"years-from-duration(\"-P1Y2M\")")), -1);
  EXPECT_EQ(XoVarToInt(Eval(u"months-from-duration(\"-P1Y2M\")")), -2);
  EXPECT_EQ(XoVarToInt64(Eval(u"minutes-from-duration(\"-PT2H\")")), 0);

  EXPECT_TRUE(Eval(u"years-from-duration(())").IsNull());
  EXPECT_EQ(Code(u"years-from-duration(\"x\")"),
            "FORG0006: An invalid parameter was passed to fn:years-from-duration(arg)");
  EXPECT_EQ(Code(u"seconds-from-duration(none)"),
            "FORG0006: An invalid parameter was passed to fn:seconds-from-duration(arg)");
  EXPECT_EQ(Raises<EXoDomSyntax>(u"days-from-duration()"),
            "The \"fn:days-from-duration(arg)\" function must have 1 parameter!");
  EXPECT_EQ(Raises<EXoDomSyntax>(u"minutes-from-duration(1, 2)"),
            "The \"fn:minutes-from-duration(arg)\" function must have 1 parameter!");
}

TEST(XPathDates, DateAndTimeComponents) {
  EXPECT_EQ(XoVarToInt(Eval(u"year-from-date(d)")), -44);
  EXPECT_EQ(XoVarToInt(Eval(u"year-from-dateTime(\"-0044-03-15T00:00:00\")")), -44);
  Variant y = Eval(u"year-from-dateTime(dt)");
  EXPECT_EQ(y.VarType(), varWord);
  EXPECT_EQ(XoVarToInt(y), 2024);
  EXPECT_EQ(XoVarToInt(Eval(u"year-from-dateTime(old)")), 99);  // before year 1000
  EXPECT_EQ(XoVarToInt(Eval(u"month-from-date(d)")), 3);
  EXPECT_EQ(XoVarToInt(Eval(u"day-from-date(d)")), 15);
  EXPECT_EQ(XoVarToInt(Eval(u"month-from-dateTime(dt)")), 3);
  EXPECT_EQ(XoVarToInt(Eval(u"day-from-dateTime(old)")), 2);
  // The clock as written, not moved by the zone.
  EXPECT_EQ(XoVarToInt(Eval(u"hours-from-dateTime(dt)")), 10);
  EXPECT_EQ(XoVarToInt(Eval(u"minutes-from-dateTime(dt)")), 11);
  EXPECT_DOUBLE_EQ(XoVarToDouble(Eval(u"seconds-from-dateTime(dt)")), 12.5);
  EXPECT_EQ(Eval(u"seconds-from-dateTime(dt)").VarType(), varExtended);
  EXPECT_DOUBLE_EQ(XoVarToDouble(Eval(u"seconds-from-time(\"10:11:12.5\")")), 12.5);
  EXPECT_EQ(XoVarToInt(Eval(u"hours-from-time(\"23:59:00Z\")")), 23);
  EXPECT_EQ(XoVarToInt(Eval(u"minutes-from-time(\"23:59:00+01:00\")")), 59);
  // Text that the reader refuses passes its error on; null is read as "".
  EXPECT_NE(Code(u"year-from-date(\"2024-13-01\")").find("other: "), std::string::npos);
  EXPECT_NE(Code(u"year-from-date(none)").find("other: "), std::string::npos);
  EXPECT_EQ(Raises<EXoDomSyntax>(u"year-from-date()"), "The \"fn:year-from-date(date)\" function must have 1 parameter!");
  EXPECT_EQ(Raises<EXoDomSyntax>(u"hours-from-time(1, 2)"),
            "The \"fn:hours-from-time(time)\" function must have 1 parameter!");
  EXPECT_EQ(Raises<EXoDomSyntax>(u"seconds-from-dateTime()"),
            "The \"fn:seconds-from-dateTime(dateTime)\" function must have 1 parameter!");
}

TEST(XPathDates, TimeZones) {
  {
    ScopedTZ tz("UTC");
    EXPECT_EQ(Str(u"timezone-from-dateTime(dt)"), "-PT5H");
    EXPECT_EQ(Str(u"timezone-from-time(\"10:00:00+05:30\")"), "PT5H30M");
    EXPECT_EQ(Str(u"timezone-from-date(\"2024-03-01\")"), "<null>");
    // The UTC marker answers with the local offset, not with zero.
    EXPECT_EQ(Str(u"timezone-from-dateTime(z)"), "P0Y");
    EXPECT_EQ(Str(u"adjust-dateTime-to-timezone(dt)"), "2024-03-01T10:11:12.500+00:00");
  }
  {
    ScopedTZ tz("America/New_York");  // with daylight saving
    EXPECT_EQ(Str(u"timezone-from-dateTime(z)"), "-PT4H");
    EXPECT_EQ(Str(u"timezone-from-date(\"2024-01-15Z\")"), "-PT5H");
    EXPECT_EQ(Str(u"timezone-from-time(\"12:00:00Z\")"), "-PT5H");  // day 0 is in December
  }
  {
    ScopedTZ tz("Asia/Kolkata");  // without daylight saving
    EXPECT_EQ(Str(u"timezone-from-dateTime(z)"), "PT5H30M");
    EXPECT_EQ(Str(u"timezone-from-date(\"2024-01-15Z\")"), "PT5H30M");
    std::string adj = Str(u"adjust-dateTime-to-timezone(\"2024-01-01T00:00:00\")");
    EXPECT_EQ(adj, "2024-01-01T00:00:00+05:30");
  }
  EXPECT_EQ(Raises<EXoDomSyntax>(u"timezone-from-time()"),
            "The \"fn:timezone-from-time(time)\" function must have 1 parameter!");
}

TEST(XPathDates, JoiningDateAndTime) {
  EXPECT_EQ(Str(u"dateTime(\"2024-03-01\", \"10:11:12.5\")"), "2024-03-01T10:11:12.500");
  EXPECT_EQ(Str(u"dateTime(\"2024-03-01Z\", \"10:00:00\")"), "2024-03-01T10:00:00.000Z");
  EXPECT_EQ(Str(u"dateTime(\"2024-03-01\", \"10:00:00-03:30\")"), "2024-03-01T10:00:00.000-03:30");
  EXPECT_EQ(Str(u"dateTime(\"2024-03-01+01:00\", \"10:00:00+02:00\")"), "2024-03-01T10:00:00.000+02:00");
  EXPECT_EQ(Code(u"dateTime(\"2024-03-01Z\", \"10:00:00+02:00\")"),
            "FORG0008: An invalid parameter was passed to fn:dateTime(arg)");
  EXPECT_EQ(Raises<EXoDomSyntax>(u"dateTime(\"2024-03-01\")"),
            "The \"fn:dateTime(date, time)\" function must have 2 parameters!");
}

TEST(XPathDates, AdjustingToAZone) {
  ScopedTZ tz("UTC");
  // A null zone strips the zone of a zoned value and leaves an unzoned one.
  EXPECT_EQ(Str(u"adjust-dateTime-to-timezone(dt, none)"), "2024-03-01T10:11:12.500");
  EXPECT_EQ(Str(u"adjust-dateTime-to-timezone(old, none)"), "0099-01-02T03:04:05");
  EXPECT_EQ(Str(u"adjust-dateTime-to-timezone(\"2024-03-01T10:00:00Z\", \"PT3H\")"), "2024-03-01T10:00:00.000+03:00");
  EXPECT_EQ(Str(u"adjust-dateTime-to-timezone(old, \"-PT9H30M\")"), "0099-01-02T03:04:05-09:30");
  EXPECT_EQ(Str(u"adjust-dateTime-to-timezone(none)"), "<null>");
  EXPECT_EQ(Raises<EXoDomSyntax>(u"adjust-dateTime-to-timezone(1, 2, 3)"),
            "The \"fn:adjust-dateTime-to-timezone(dt,timezone)\" function may not have more than 2 parameters!");
  // The date and time forms exist and answer nothing.
  EXPECT_EQ(Str(u"adjust-date-to-timezone(d, \"PT1H\")"), "<unassigned>");
  EXPECT_EQ(Str(u"adjust-time-to-timezone()"), "<unassigned>");
}

TEST(XPathDates, EveryLibraryNameAnswersInAFilter) {
  // Each of the 66 names, in registration order, with arguments it accepts.
  const char16_t* calls[] = {
      u"text()", u"node-name()", u"nilled()", u"string()", u"data()", u"base-uri()", u"document-uri()",
      u"error()", u"trace(1, \"t\")", u"abs(1)", u"ceiling(1.5)", u"floor(1.5)", u"round(1.5)",
      u"half-to-even(1.5)", u"number(\"1\")", u"codepoints-to-string((65))", u"string-to-codepoints(\"A\")",
      u"compare(\"a\", \"b\")", u"codepoint-equal(\"a\", \"a\")", u"concat(\"a\", \"b\")",
      u"string-join((\"a\", \"b\"))", u"substring(\"ab\", 2)", u"string-length(\"ab\")",
      u"normalize-space(\" a \")", u"normalize-unicode(\"a\")", u"simplify(\"a\")", u"upper-case(\"a\")",
      u"lower-case(\"A\")", u"translate(\"a\", \"a\", \"b\")", u"contains(\"ab\", \"b\")",
      u"starts-with(\"ab\", \"a\")", u"ends-with(\"ab\", \"b\")", u"substring-before(\"ab\", \"b\")",
      u"substring-after(\"ab\", \"a\")", u"matches(\"ab\", \"b\")", u"replace(\"ab\", \"b\", \"c\")",
      u"tokenize(\"a b\")", u"true()", u"false()", u"boolean(1)", u"not(1)", u"years-from-duration(dur)",
      u"months-from-duration(dur)", u"days-from-duration(dur)", u"hours-from-duration(dur)",
      u"minutes-from-duration(dur)", u"seconds-from-duration(dur)", u"dateTime(\"2024-01-01\", \"10:00:00\")",
      u"year-from-dateTime(dt)", u"month-from-dateTime(dt)", u"day-from-dateTime(dt)", u"hours-from-dateTime(dt)",
      u"minutes-from-dateTime(dt)", u"seconds-from-dateTime(dt)", u"timezone-from-dateTime(dt)",
      u"year-from-date(d)", u"month-from-date(d)", u"day-from-date(d)", u"timezone-from-date(d)",
      u"hours-from-time(\"10:00:00\")", u"minutes-from-time(\"10:00:00\")", u"seconds-from-time(\"10:00:00\")",
      u"timezone-from-time(\"10:00:00Z\")", u"adjust-dateTime-to-timezone(dt, \"PT1H\")",
      u"adjust-date-to-timezone(d)", u"adjust-time-to-timezone(\"10:00:00\")"};
  ASSERT_EQ(sizeof calls / sizeof calls[0], 66u);
  int answered = 0;
  for (const char16_t* c : calls) {
    auto doc = Load(kDoc);
    std::u16string call(c);
    GKept = Variant(u"<not called>");
    try {
      doc->SelectSingleNode(u"r/e[keep(" + call + u")]");
      EXPECT_TRUE(GKept.IsEmpty() || GKept.IsNull() || XoVarToStr(GKept) != u"<not called>") << U8(call);
      ++answered;
    } catch (const EXoXPathException& e) {
      // Only error() raises, with its default code.
      EXPECT_EQ(call, u"error()");
      EXPECT_EQ(U8(e.ErrorCode()), "FOER0000");
      ++answered;
    }
    // The function stands as a filter of its own too.
    if (call != u"error()") {
      EXPECT_NO_THROW(doc->SelectSingleNode(u"r/e[" + call + u" or true()]")) << U8(call);
    }
  }
  EXPECT_EQ(answered, 66);
}
