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

}  // namespace xo
