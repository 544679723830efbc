// uXoXPath: the table of the library's functions, in registration order.
#include "uXoXPath/uXoXPathFunctions.h"

namespace xo {

void XoXPathRegisterLibraryFunctions() {
  struct TEntry {
    const char16_t* Name;
    TXoXPathFunctionClass Class;
  };
  static const TEntry cTable[] = {
    {u"text", XoXPathFunctionClass<TXoXPathFnText>()},
    {u"node-name", XoXPathFunctionClass<TXoXPathFnNodeName>()},
    {u"nilled", XoXPathFunctionClass<TXoXPathFnNilled>()},
    {u"string", XoXPathFunctionClass<TXoXPathFnString>()},
    {u"data", XoXPathFunctionClass<TXoXPathFnData>()},
    {u"base-uri", XoXPathFunctionClass<TXoXPathFnBaseUri>()},
    {u"document-uri", XoXPathFunctionClass<TXoXPathFnDocumentUri>()},
    {u"error", XoXPathFunctionClass<TXoXPathFnError>()},
    {u"trace", XoXPathFunctionClass<TXoXPathFnTrace>()},
    {u"abs", XoXPathFunctionClass<TXoXPathFnAbs>()},
    {u"ceiling", XoXPathFunctionClass<TXoXPathFnCeiling>()},
    {u"floor", XoXPathFunctionClass<TXoXPathFnFloor>()},
    {u"round", XoXPathFunctionClass<TXoXPathFnRound>()},
    {u"half-to-even", XoXPathFunctionClass<TXoXPathFnRoundHalfToEven>()},
    {u"number", XoXPathFunctionClass<TXoXPathFnNumber>()},
    {u"codepoints-to-string", XoXPathFunctionClass<TXoXPathFnCodepointsToString>()},
    {u"string-to-codepoints", XoXPathFunctionClass<TXoXPathFnStringToCodepoints>()},
    {u"compare", XoXPathFunctionClass<TXoXPathFnCompare>()},
    {u"codepoint-equal", XoXPathFunctionClass<TXoXPathFnCodepointEqual>()},
    {u"concat", XoXPathFunctionClass<TXoXPathFnConcat>()},
    {u"string-join", XoXPathFunctionClass<TXoXPathFnStringJoin>()},
    {u"substring", XoXPathFunctionClass<TXoXPathFnSubstring>()},
    {u"string-length", XoXPathFunctionClass<TXoXPathFnStringLength>()},
    {u"normalize-space", XoXPathFunctionClass<TXoXPathFnNormalizeSpace>()},
    {u"normalize-unicode", XoXPathFunctionClass<TXoXPathFnNormalizeUnicode>()},
    {u"simplify", XoXPathFunctionClass<TXoXPathFnSimplify>()},
    {u"upper-case", XoXPathFunctionClass<TXoXPathFnUpperCase>()},
    {u"lower-case", XoXPathFunctionClass<TXoXPathFnLowerCase>()},
    {u"translate", XoXPathFunctionClass<TXoXPathFnTranslate>()},
    {u"contains", XoXPathFunctionClass<TXoXPathFnContains>()},
    {u"starts-with", XoXPathFunctionClass<TXoXPathFnStartsWith>()},
    {u"ends-with", XoXPathFunctionClass<TXoXPathFnEndsWith>()},
    {u"substring-before", XoXPathFunctionClass<TXoXPathFnSubstringBefore>()},
    {u"substring-after", XoXPathFunctionClass<TXoXPathFnSubstringAfter>()},
    {u"matches", XoXPathFunctionClass<TXoXPathFnMatches>()},
    {u"replace", XoXPathFunctionClass<TXoXPathFnReplace>()},
    {u"tokenize", XoXPathFunctionClass<TXoXPathFnTokenize>()},
    {u"true", XoXPathFunctionClass<TXoXPathFnTrue>()},
    {u"false", XoXPathFunctionClass<TXoXPathFnFalse>()},
    {u"boolean", XoXPathFunctionClass<TXoXPathFnBoolean>()},
    {u"not", XoXPathFunctionClass<TXoXPathFnNot>()},
    {u"years-from-duration", XoXPathFunctionClass<TXoXPathFnYearsFromDuration>()},
    {u"months-from-duration", XoXPathFunctionClass<TXoXPathFnMonthsFromDuration>()},
    {u"days-from-duration", XoXPathFunctionClass<TXoXPathFnDaysFromDuration>()},
    {u"hours-from-duration", XoXPathFunctionClass<TXoXPathFnHoursFromDuration>()},
    {u"minutes-from-duration", XoXPathFunctionClass<TXoXPathFnMinutesFromDuration>()},
    {u"seconds-from-duration", XoXPathFunctionClass<TXoXPathFnSecondsFromDuration>()},
    {u"dateTime", XoXPathFunctionClass<TXoXPathFnDateTime>()},
    {u"year-from-dateTime", XoXPathFunctionClass<TXoXPathFnYearFromDateTime>()},
    {u"month-from-dateTime", XoXPathFunctionClass<TXoXPathFnMonthFromDateTime>()},
    {u"day-from-dateTime", XoXPathFunctionClass<TXoXPathFnDayFromDateTime>()},
    {u"hours-from-dateTime", XoXPathFunctionClass<TXoXPathFnHoursFromDateTime>()},
    {u"minutes-from-dateTime", XoXPathFunctionClass<TXoXPathFnMinutesFromDateTime>()},
    {u"seconds-from-dateTime", XoXPathFunctionClass<TXoXPathFnSecondsFromDateTime>()},
    {u"timezone-from-dateTime", XoXPathFunctionClass<TXoXPathFnTimeZoneFromDateTime>()},
    {u"year-from-date", XoXPathFunctionClass<TXoXPathFnYearFromDate>()},
    {u"month-from-date", XoXPathFunctionClass<TXoXPathFnMonthFromDate>()},
    {u"day-from-date", XoXPathFunctionClass<TXoXPathFnDayFromDate>()},
    {u"timezone-from-date", XoXPathFunctionClass<TXoXPathFnTimeZoneFromDate>()},
    {u"hours-from-time", XoXPathFunctionClass<TXoXPathFnHoursFromTime>()},
    {u"minutes-from-time", XoXPathFunctionClass<TXoXPathFnMinutesFromTime>()},
    {u"seconds-from-time", XoXPathFunctionClass<TXoXPathFnSecondsFromTime>()},
    {u"timezone-from-time", XoXPathFunctionClass<TXoXPathFnTimeZoneFromTime>()},
    {u"adjust-dateTime-to-timezone", XoXPathFunctionClass<TXoXPathFnAdjustDateTimeToTimeZone>()},
    {u"adjust-date-to-timezone", XoXPathFunctionClass<TXoXPathFnAdjustDateToTimeZone>()},
    {u"adjust-time-to-timezone", XoXPathFunctionClass<TXoXPathFnAdjustTimeToTimeZone>()},
  };
  for (const TEntry& e : cTable) XoXPathRegisterLibraryFunction(e.Name, e.Class);
}

}  // namespace xo
