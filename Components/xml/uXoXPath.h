// uXoXPath: the functions that filters can call. A registry maps each
// function name to a class derived from TXoXPathFunction; the filter compiler
// asks it for every call it does not resolve itself. Applications add their
// own functions with RegisterXPathFunction:
//
//   class TMyTwice : public xo::TXoXPathFunction {
//   public:
//     using TXoXPathFunction::TXoXPathFunction;
//     xo::Variant Value(xo::TXoDOMObjectList* AList, int32_t AIndex) override {
//       return xo::Variant(2 * xo::XoVarToInt64(ParamValue(0, AList, AIndex)));
//     }
//   };
//   xo::RegisterXPathFunction<TMyTwice>(u"twice");   // then: item[twice(1)=2]
//
// The module also keeps the collations by their URI and defines
// EXoXPathException, the error of a function with an XPath error code.
#pragma once

#include <string>
#include <string_view>

#include "uXoXMLDOM.h"

namespace xo {

// An error of a filter function: an XPath error code ("XPTY0004"), the
// message and an error object (a text, often empty).
class EXoXPathException : public EXoDomException {
public:
  EXoXPathException(std::u16string AErrorCode, std::u16string AMessage, std::u16string AErrorObject = {})
      : EXoDomException(std::move(AMessage)), FErrorCode(std::move(AErrorCode)), FErrorObject(std::move(AErrorObject)) {}
  const char16_t* ClassName() const override { return u"EXoXPathException"; }
  const std::u16string& ErrorCode() const { return FErrorCode; }
  const std::u16string& ErrorObject() const { return FErrorObject; }

private:
  std::u16string FErrorCode;
  std::u16string FErrorObject;
};

inline constexpr char16_t _cXoXPathUnsupportedFunction[] = u"The filter contains an unsupported function (%s)!";
inline constexpr char16_t _cXoXPathUnsupportedCollation[] = u"The collation \"%s\" is not supported!";
inline constexpr char16_t _cXoXPathNodeParamNil[] = u"The %s parameter of function \"%s\" may not be nil!";
inline constexpr char16_t _cXoXPathNodeParamSingle[] = u"The %s parameter of function \"%s\" must be a single node!";
inline constexpr char16_t _cXoXPathNodeParamNoNode[] = u"The %s parameter of function \"%s\" must be a node!";

// The namespace below which the collation URIs stand.
inline constexpr char16_t cXoXPathFunctionsNamespaceURI[] = u"http://www.w3.org/2005/xpath-functions";

// ---------------------------------------------------------------------------
// Base of every registered function. The arguments are terms, read by
// ParseParams into FParams; a function decides per argument whether it
// evaluates the term or looks at its class. Counts are checked by Value, at
// evaluation.
class TXoXPathFunction : public TXoXPathFunctionTerm {
public:
  explicit TXoXPathFunction(TXoXPathEquation* AEquation) : TXoXPathFunctionTerm(AEquation) {}
  ~TXoXPathFunction() override;
  // Reads the arguments up to the closing ")" into FParams.
  void ParseParams(TXoTextParser* AParser) override;

  // --- argument helpers
  // Number of arguments (0 when none were read).
  int32_t ParamCount() const { return FParams ? FParams->Count() : 0; }
  // The term of argument AParam (0-based); nil outside the list.
  TXoXPathBaseTerm* Param(int32_t AParam) const;
  // The value of argument AParam for the candidate (null outside the list).
  Variant ParamValue(int32_t AParam, TXoDOMObjectList* AList, int32_t AIndex) const;
  // The value as text: null gives "".
  std::u16string ParamText(int32_t AParam, TXoDOMObjectList* AList, int32_t AIndex) const;
  // The context node, AList[AIndex].
  static TXoDOMNode* ContextNode(TXoDOMObjectList* AList, int32_t AIndex);
  // A node parameter: the term of AParam must be a path that finds exactly
  // one node. No path raises "XPTY0004" (must be a node), no node
  // "XPDY0002" (may not be nil), several nodes "XPTY0004" (must be a single
  // node). ASignature is the form the messages show ("fn:node-name(node)"),
  // AParamName the parameter's name in them ("node", "arg").
  TXoDOMNode* NodeParam(int32_t AParam, TXoDOMObjectList* AList, int32_t AIndex, std::u16string_view ASignature,
                        std::u16string_view AParamName = u"node") const;

  // The collation in force for the filter.
  TXoXPathCollationClass Collation() const { return FEquation->Collation(); }

protected:
  std::unique_ptr<TXoXPathListTerm> FParams;  // nil when no parser was given
};

// The class reference of a function: creates an instance for the equation
// and, with a parser, reads its arguments.
using TXoXPathFunctionClass = TXoXPathFunction* (*)(TXoXPathEquation* AEquation, TXoTextParser* AParser);

template <class T>
TXoXPathFunction* XoCreateXPathFunction(TXoXPathEquation* AEquation, TXoTextParser* AParser) {
  static_assert(std::is_base_of_v<TXoXPathFunction, T>, "a function class derives from TXoXPathFunction");
  std::unique_ptr<T> f(new T(AEquation));
  if (AParser) f->ParseParams(AParser);
  return f.release();
}
template <class T>
constexpr TXoXPathFunctionClass XoXPathFunctionClass() {
  return &XoCreateXPathFunction<T>;
}

// Appends a function under its name (without "fn:"). Nothing checks for
// doubles: the first entry of a name is the one found.
void RegisterXPathFunction(std::u16string_view AName, TXoXPathFunctionClass AClass);
template <class T>
void RegisterXPathFunction(std::u16string_view AName) {
  RegisterXPathFunction(AName, XoXPathFunctionClass<T>());
}

// A new term of the function registered under AName (exact comparison),
// reading its arguments from the parser, which stands behind the "(" of the
// call. An unknown name raises EXoDomSyntax.
TXoXPathFunctionTerm* CreateFunctionTerm(std::u16string_view AName, TXoXPathEquation* AEquation,
                                         TXoTextParser* AParser);

// The collation registered under AURI (exact comparison, first match);
// raises EXoDomSyntax "The collation "%s" is not supported!" when none is.
TXoXPathCollationClass XoXPathCollationByURI(std::u16string_view AURI);

// Runs the module's start step if it has not run yet (the public entry
// points call it themselves).
void XoXPathInitialize();

// ---------------------------------------------------------------------------
// The library's functions, one class per name. Each is registered at start
// under the name in the comment; its Value checks the argument count and
// answers the function's result for the candidate.
#define XO_XPATH_FUNCTION_CLASS(Name)                                      \
  class Name : public TXoXPathFunction {                                   \
  public:                                                                  \
    using TXoXPathFunction::TXoXPathFunction;                              \
    Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;       \
  };

// Nodes: the context node or one node parameter.
XO_XPATH_FUNCTION_CLASS(TXoXPathFnText)  // "text"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnNodeName)  // "node-name"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnNilled)  // "nilled"
// "string": refuses a sequence or an array argument while the filter compiles.
class TXoXPathFnString : public TXoXPathFunction {
public:
  using TXoXPathFunction::TXoXPathFunction;
  void ParseParams(TXoTextParser* AParser) override;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};
XO_XPATH_FUNCTION_CLASS(TXoXPathFnData)  // "data"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnBaseUri)  // "base-uri"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnDocumentUri)  // "document-uri"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnNumber)  // "number"

// Control: errors, the log, booleans.
XO_XPATH_FUNCTION_CLASS(TXoXPathFnError)  // "error"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTrace)  // "trace"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTrue)  // "true"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnFalse)  // "false"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnBoolean)  // "boolean"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnNot)  // "not"

// Numbers.
XO_XPATH_FUNCTION_CLASS(TXoXPathFnAbs)  // "abs"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnCeiling)  // "ceiling"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnFloor)  // "floor"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnRound)  // "round"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnRoundHalfToEven)  // "half-to-even"

// Code points, comparison and text.
XO_XPATH_FUNCTION_CLASS(TXoXPathFnCodepointsToString)  // "codepoints-to-string"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnStringToCodepoints)  // "string-to-codepoints"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnCompare)  // "compare"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnCodepointEqual)  // "codepoint-equal"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnConcat)  // "concat"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnStringJoin)  // "string-join"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSubstring)  // "substring"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnStringLength)  // "string-length"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnNormalizeSpace)  // "normalize-space"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnNormalizeUnicode)  // "normalize-unicode"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSimplify)  // "simplify"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnUpperCase)  // "upper-case"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnLowerCase)  // "lower-case"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTranslate)  // "translate"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnContains)  // "contains"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnStartsWith)  // "starts-with"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnEndsWith)  // "ends-with"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSubstringBefore)  // "substring-before"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSubstringAfter)  // "substring-after"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMatches)  // "matches"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnReplace)  // "replace"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTokenize)  // "tokenize"

// Durations: the components of a duration text.
XO_XPATH_FUNCTION_CLASS(TXoXPathFnYearsFromDuration)  // "years-from-duration"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMonthsFromDuration)  // "months-from-duration"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnDaysFromDuration)  // "days-from-duration"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnHoursFromDuration)  // "hours-from-duration"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMinutesFromDuration)  // "minutes-from-duration"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSecondsFromDuration)  // "seconds-from-duration"

// Dates and times: joining, the components, the zone.
XO_XPATH_FUNCTION_CLASS(TXoXPathFnDateTime)  // "dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnYearFromDateTime)  // "year-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMonthFromDateTime)  // "month-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnDayFromDateTime)  // "day-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnHoursFromDateTime)  // "hours-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMinutesFromDateTime)  // "minutes-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSecondsFromDateTime)  // "seconds-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTimeZoneFromDateTime)  // "timezone-from-dateTime"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnYearFromDate)  // "year-from-date"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMonthFromDate)  // "month-from-date"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnDayFromDate)  // "day-from-date"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTimeZoneFromDate)  // "timezone-from-date"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnHoursFromTime)  // "hours-from-time"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnMinutesFromTime)  // "minutes-from-time"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnSecondsFromTime)  // "seconds-from-time"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnTimeZoneFromTime)  // "timezone-from-time"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnAdjustDateTimeToTimeZone)  // "adjust-dateTime-to-timezone"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnAdjustDateToTimeZone)  // "adjust-date-to-timezone"
XO_XPATH_FUNCTION_CLASS(TXoXPathFnAdjustTimeToTimeZone)  // "adjust-time-to-timezone"

#undef XO_XPATH_FUNCTION_CLASS

}  // namespace xo
