// uXoXMLDOM, filters of path steps: the compiled form of the text between
// "[" and "]" (a tree of TXoXPathEquation objects, each holding one term) and
// the term classes that deliver the values the tree combines.
//
// Included by uXoXMLDOM.h; part of that module's public API, because
// applications derive their own functions from TXoXPathFunction (uXoXPath.h).
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace xo {

class TXoXPathBaseTerm;
class TXoXPathEquation;

// How an equation joins its sibling.
enum TXoXPathBoolOperator : uint8_t { opNA, opAnd, opOr };

enum TXoXPathValueComparisonOperator : uint8_t {
  opUnequal,
  opEqual,
  opSmaller,
  opSmallerEqual,
  opGreater,
  opGreaterEqual
};

inline constexpr char16_t _cXoXPathInvalidFilter[] = u"\"%s\" is an invalid filter expression!";
inline constexpr char16_t _cXoXPathInvalidCompareOperator[] =
    u"The filter \"%s\" contains an invalid compare operator (%s)!";
inline constexpr char16_t _cXoXPathInvalidStatement[] = u"The specified XPath statement is not valid!";
inline constexpr char16_t _cXoXPathNumberOrString[] = u"Either a number or a string was expected!";
inline constexpr char16_t _cXoXPathInvalidOperation[] = u"An invalid operation has been detected!";
inline constexpr char16_t _cXoXPathCheckParenthesis[] =
    u"An invalid expression was detected!\r\nCheck the parenthesis.";
inline constexpr char16_t _cXoXPathNotWithoutChild[] =
    u"An invalid expression was detected!\r\nA \"not\" operator must have a child value.";

// ---------------------------------------------------------------------------
// One node of the boolean tree of a filter. The root owns the whole tree: its
// term, its children and its sibling chain.
class TXoXPathEquation : public TObject {
public:
  TXoXPathEquation(TXoDOMSelectMatchOption AMatchOption, TXoXPathCollationClass ACollation);
  ~TXoXPathEquation() override;
  TXoXPathEquation(const TXoXPathEquation&) = delete;
  TXoXPathEquation& operator=(const TXoXPathEquation&) = delete;

  // Frees a term already present and stores ATerm (owned from now on).
  void SetValue(TXoXPathBaseTerm* ATerm);
  // A new first child with the same match option and collation.
  TXoXPathEquation* AddFirstChild();
  // A new sibling joined to this equation by AOperation.
  TXoXPathEquation* AddSibling(TXoXPathBoolOperator AOperation);

  // Reads one operand at the parser's position; the caller owns the result.
  TXoXPathBaseTerm* ReadTerm(TXoTextParser* AParser);

  // Whether the candidate AList[AIndex] passes. The three-argument form is
  // the recursive one: AEmpty is set when an operand had no value.
  bool Evaluate(TXoDOMObjectList* AList, int32_t AIndex);
  bool Evaluate(TXoDOMObjectList* AList, int32_t AIndex, bool& AEmpty);

  // The options with which a path inside the filter is selected.
  TXoDOMSelectOptions GetSelectOptions() const;

  TXoDOMSelectMatchOption MatchOption() const { return FMatchOption; }
  TXoXPathCollationClass Collation() const { return FCollation; }
  TXoXPathBoolOperator Operation() const { return FOperation; }
  TXoXPathEquation* Parent() const { return FParent; }
  TXoXPathEquation* Sibling() const { return FSibling; }
  const std::vector<TXoXPathEquation*>& Childs() const { return FChilds; }
  TXoXPathBaseTerm* Term() const { return FTerm; }

protected:
  bool EvaluateChain(TXoDOMObjectList* AList, int32_t AIndex, bool& AEmpty, struct TXoXPathChainMemo* AMemo,
                     int32_t APos);

  TXoDOMSelectMatchOption FMatchOption;
  TXoXPathCollationClass FCollation;
  TXoXPathBoolOperator FOperation = opNA;
  TXoXPathEquation* FParent = nullptr;
  TXoXPathEquation* FSibling = nullptr;
  std::vector<TXoXPathEquation*> FChilds;
  TXoXPathBaseTerm* FTerm = nullptr;
  friend struct TXoXPathCompiler;
};

// ---------------------------------------------------------------------------
// Terms. Value(List, Index) answers the term's value for the candidate
// List[Index]: null (no value), a boolean, an integer, a float, a string, or
// an array of Variant (several node values).

class TXoXPathBaseTerm : public TObject {
public:
  explicit TXoXPathBaseTerm(TXoXPathEquation* AEquation) : FEquation(AEquation) {}
  ~TXoXPathBaseTerm() override = default;
  TXoXPathBaseTerm(const TXoXPathBaseTerm&) = delete;
  TXoXPathBaseTerm& operator=(const TXoXPathBaseTerm&) = delete;
  virtual Variant Value(TXoDOMObjectList* AList, int32_t AIndex) = 0;
  TXoXPathEquation* Equation() const { return FEquation; }
  bool IsBoolean() const { return FIsBoolean; }

protected:
  TXoXPathEquation* FEquation;  // not owned
  bool FIsBoolean = false;
};

class TXoXPathConstantTerm : public TXoXPathBaseTerm {
public:
  // Reads a string ("...") or a number at the parser's position.
  TXoXPathConstantTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser);
  TXoXPathConstantTerm(TXoXPathEquation* AEquation, const Variant& AValue);
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
  const Variant& ConstValue() const { return FValue; }

protected:
  Variant FValue;
};

struct TXoSelectProgram;

// A relative path, run by the path walker from the candidate.
class TXoXPathValueTerm : public TXoXPathBaseTerm {
public:
  TXoXPathValueTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser, const XoXMLString& APath);
  ~TXoXPathValueTerm() override;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
  // The nodes of the path from List[Index]; the caller frees the list.
  TXoDOMNodeList* Nodes(TXoDOMObjectList* AList, int32_t AIndex);
  // The same into a plain vector (no list object).
  void CollectNodes(TXoDOMObjectList* AList, int32_t AIndex, std::vector<TXoDOMNode*>& ANodes);
  const XoXMLString& Path() const { return FPath; }
  // The value of a node set as Value gives it.
  static Variant ValueOf(const std::vector<TXoDOMNode*>& ANodes);

protected:
  void CollectNodesUncached(TXoDOMNode* AContext, std::vector<TXoDOMNode*>& ANodes);
  XoXMLString FPath;
  std::unique_ptr<TXoSelectProgram> FProgram;  // the path, cut into steps once
  // Inside nested selections, the nodes found per context node for the
  // rest of one selection (filters in paths in filters stay polynomial).
  std::unique_ptr<struct TXoXPathNodeMemo> FMemo;
};

// Base of the function terms. ParseParams runs with the parser behind the
// "(" of the call; this form skips to the bracket that closes the call.
class TXoXPathFunctionTerm : public TXoXPathBaseTerm {
public:
  using TXoXPathBaseTerm::TXoXPathBaseTerm;
  virtual void ParseParams(TXoTextParser* AParser);
};

// first(): the candidate is the first.
class TXoXPathFirstNode : public TXoXPathFunctionTerm {
public:
  explicit TXoXPathFirstNode(TXoXPathEquation* AEquation) : TXoXPathFunctionTerm(AEquation) {}
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};
// last(): the candidate is the last.
class TXoXPathLastNode : public TXoXPathFunctionTerm {
public:
  explicit TXoXPathLastNode(TXoXPathEquation* AEquation) : TXoXPathFunctionTerm(AEquation) {}
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};
// position(): the candidate's index + 1.
class TXoXPathFnPositionTerm : public TXoXPathFunctionTerm {
public:
  explicit TXoXPathFnPositionTerm(TXoXPathEquation* AEquation) : TXoXPathFunctionTerm(AEquation) {}
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};
// node(): true.
class TXoXPathFnNodeTerm : public TXoXPathFunctionTerm {
public:
  explicit TXoXPathFnNodeTerm(TXoXPathEquation* AEquation) : TXoXPathFunctionTerm(AEquation) {}
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};

// A bracket: the value of the one child equation.
class TXoXPathChildTerm : public TXoXPathBaseTerm {
public:
  explicit TXoXPathChildTerm(TXoXPathEquation* AEquation) : TXoXPathBaseTerm(AEquation) { FIsBoolean = true; }
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};
// "not": the negated value of the one child equation.
class TXoXPathNot : public TXoXPathChildTerm {
public:
  using TXoXPathChildTerm::TXoXPathChildTerm;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
};

// The index form "[n]": true for the candidate at index n.
class TXoXPathChildNodeX : public TXoXPathBaseTerm {
public:
  TXoXPathChildNodeX(TXoXPathEquation* AEquation, TXoTextParser* AParser, int32_t AIndex)
      : TXoXPathBaseTerm(AEquation), FIndex(AIndex) {
    (void)AParser;
    FIsBoolean = true;
  }
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
  int32_t Index() const { return FIndex; }

protected:
  int32_t FIndex;
};

// A bare operand: a path finds a node, any other term has a value.
class TXoXPathHasNode : public TXoXPathBaseTerm {
public:
  TXoXPathHasNode(TXoXPathEquation* AEquation, TXoXPathBaseTerm* ATerm);
  ~TXoXPathHasNode() override;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
  TXoXPathBaseTerm* PathTerm() const { return FPath; }

protected:
  TXoXPathBaseTerm* FPath;  // owned
};

// term operator term.
class TXoXPathValueComparison : public TXoXPathBaseTerm {
public:
  TXoXPathValueComparison(TXoXPathEquation* AEquation, TXoXPathBaseTerm* AValue1, TXoXPathBaseTerm* AValue2,
                          TXoXPathValueComparisonOperator AOperator);
  ~TXoXPathValueComparison() override;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
  // Two values under the equation's collation: a boolean, or null when
  // either is null.
  Variant CompareValues(const Variant& A, const Variant& B) const;
  TXoXPathBaseTerm* Value1() const { return FValue1; }
  TXoXPathBaseTerm* Value2() const { return FValue2; }
  TXoXPathValueComparisonOperator Operator() const { return FOperator; }

protected:
  TXoXPathBaseTerm* FValue1;
  TXoXPathBaseTerm* FValue2;
  TXoXPathValueComparisonOperator FOperator;
  // A constant side analysed once: its number (kind 0 none, 1 integer,
  // 2 float).
  struct TConstNum {
    uint8_t Kind = 0;
    int64_t I = 0;
    long double F = 0;
  };
  TConstNum FConst1, FConst2;
};

// A list of terms that reads itself ("(" ... ")" or "[" ... "]").
class TXoXPathListTerm : public TXoXPathBaseTerm {
public:
  explicit TXoXPathListTerm(TXoXPathEquation* AEquation) : TXoXPathBaseTerm(AEquation) {}
  ~TXoXPathListTerm() override;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override;
  int32_t Count() const { return static_cast<int32_t>(FList.size()); }
  TXoXPathBaseTerm* GetTerm(int32_t AIndex) const;
  void Add(TXoXPathBaseTerm* ATerm) { FList.push_back(ATerm); }

protected:
  // Reads terms up to ACloser (the parser stands on the opener).
  void ReadList(TXoTextParser* AParser, char16_t ACloser);
  std::vector<TXoXPathBaseTerm*> FList;  // owned
};

class TXoXPathSequenceTerm : public TXoXPathListTerm {
public:
  TXoXPathSequenceTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser);
};
class TXoXPathArrayTerm : public TXoXPathListTerm {
public:
  TXoXPathArrayTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser);
};

}  // namespace xo
