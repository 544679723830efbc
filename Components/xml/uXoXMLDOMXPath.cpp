// uXoXMLDOM, filters: the compiler of the text between "[" and "]", the term
// classes and the evaluation of the compiled tree.
#include <cstring>
#include <typeinfo>
#include <unordered_map>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMSelect.h"
#include "uXoXPath.h"

namespace xo {

namespace {

// Nesting of brackets, sequences and calls inside one filter, and the
// number of equations in it, are bounded so that compiling, evaluating and
// freeing never run deep on the machine stack.
constexpr int kMaxFilterNesting = 200;
constexpr int kMaxEquations = 10000;
// Chains longer than this are evaluated with each link's result kept, so
// that the repeated walks of a chain stay linear.
constexpr size_t kMemoChain = 12;

thread_local bool GAppFunctionSeen = false;
thread_local int GTermNesting = 0;

inline bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

void SkipBlanks(TXoTextParser* P) {
  while (!P->GetEOF() && P->CurrCharW() == u' ') P->NextChar();
}

// The three letters of a keyword ("not", "and") or two ("or") at the
// parser's position: the first in lower case, the others in any case.
bool AtWord(TXoTextParser* P, std::u16string_view AWord) {
  std::u16string s = P->PeekStringW(static_cast<int64_t>(AWord.size()));
  if (s.size() != AWord.size() || s[0] != AWord[0]) return false;
  for (size_t i = 1; i < s.size(); ++i) {
    char16_t c = s[i];
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    if (c != AWord[i]) return false;
  }
  return true;
}

struct TTermNesting {
  TTermNesting() {
    if (++GTermNesting > kMaxFilterNesting) {
      --GTermNesting;
      throw EXoDomSyntax(std::u16string(_cXoXPathInvalidStatement));
    }
  }
  ~TTermNesting() { --GTermNesting; }
};

// A text as a number, the way comparisons read node texts: a text that
// starts with a digit or "." as a 64-bit integer, else as a float.
// 0 no number, 1 integer, 2 float.
uint8_t TextNumber(std::u16string_view AText, int64_t& AInt, long double& AFloat) {
  if (AText.empty() || !(IsDigit(AText[0]) || AText[0] == u'.')) return 0;
  int code = 0;
  Val(AText, AInt, code);
  if (code == 0) return 1;
  if (TextToFloat(AText, AFloat, u'.')) return 2;
  return 0;
}

uint8_t AnalyseNumber(const Variant& V, int64_t& AInt, long double& AFloat) {
  switch (TXoTypes::VarMainTypeKind(V)) {
    case mtkInteger:
      AInt = XoVarToInt64(V, 0, false);
      return 1;
    case mtkFloat:
      AFloat = XoVarToExtended(V, 0, false);
      return 2;
    default:
      if (V.VarType() == varUString || V.VarType() == varOleStr) return TextNumber(V.StrRef(), AInt, AFloat);
      return TextNumber(XoVarToStr(V, u"", false), AInt, AFloat);
  }
}

template <class T>
bool CompareBy(TXoXPathValueComparisonOperator AOp, const T& A, const T& B) {
  switch (AOp) {
    case opUnequal:
      return A != B;
    case opEqual:
      return A == B;
    case opSmaller:
      return A < B;
    case opSmallerEqual:
      return A <= B;
    case opGreater:
      return A > B;
    case opGreaterEqual:
      return A >= B;
  }
  return false;
}

bool VariantCompare(TXoXPathValueComparisonOperator AOp, const Variant& A, const Variant& B) {
  switch (AOp) {
    case opUnequal:
      return A != B;
    case opEqual:
      return A == B;
    case opSmaller:
      return A < B;
    case opSmallerEqual:
      return A <= B;
    case opGreater:
      return A > B;
    case opGreaterEqual:
      return A >= B;
  }
  return false;
}

// The text of a string value without a copy where possible.
struct TTextOf {
  explicit TTextOf(const Variant& V) {
    if (V.VarType() == varUString || V.VarType() == varOleStr)
      FView = V.StrRef();
    else {
      FOwn = XoVarToStr(V, u"", false);
      FView = FOwn;
    }
  }
  std::u16string_view FView;
  std::u16string FOwn;
};

}  // namespace

void XoXPathNoteApplicationFunction() { GAppFunctionSeen = true; }

// ===========================================================================
// Equation

TXoXPathEquation::TXoXPathEquation(TXoDOMSelectMatchOption AMatchOption, TXoXPathCollationClass ACollation)
    : FMatchOption(AMatchOption), FCollation(ACollation) {}

TXoXPathEquation::~TXoXPathEquation() {
  delete FTerm;
  for (TXoXPathEquation* c : FChilds) delete c;
  // The sibling chain is freed as a loop.
  TXoXPathEquation* s = FSibling;
  while (s) {
    TXoXPathEquation* next = s->FSibling;
    s->FSibling = nullptr;
    delete s;
    s = next;
  }
}

void TXoXPathEquation::SetValue(TXoXPathBaseTerm* ATerm) {
  if (FTerm && FTerm != ATerm) delete FTerm;
  FTerm = ATerm;
}

TXoXPathEquation* TXoXPathEquation::AddFirstChild() {
  auto* e = new TXoXPathEquation(FMatchOption, FCollation);
  e->FParent = this;
  FChilds.insert(FChilds.begin(), e);
  return e;
}

TXoXPathEquation* TXoXPathEquation::AddSibling(TXoXPathBoolOperator AOperation) {
  auto* e = new TXoXPathEquation(FMatchOption, FCollation);
  e->FParent = FParent;
  delete FSibling;
  FSibling = e;
  FOperation = AOperation;
  return e;
}

TXoDOMSelectOptions TXoXPathEquation::GetSelectOptions() const {
  TXoDOMSelectOptions o;
  o.Include(FCollation == TXoXPathCollationASCIICI::ClassRef() ? soCaseInsensitive : soCaseSensitive);
  if (FMatchOption == soQualifiedName)
    o.Include(soQualifiedName);
  else if (FMatchOption == soLocalName || DefaultSelectMatchOption == soLocalName)
    o.Include(soLocalName);
  else
    o.Include(soQualifiedName);
  return o;
}

bool TXoXPathEquation::Evaluate(TXoDOMObjectList* AList, int32_t AIndex) {
  bool empty = false;
  bool r = Evaluate(AList, AIndex, empty);
  return empty ? false : r;
}

struct TXoXPathChainMemo {
  struct TItem {
    bool Done = false;
    bool Result = false;
    bool Empty = false;
  };
  std::vector<TItem> Items;
};

bool TXoXPathEquation::Evaluate(TXoDOMObjectList* AList, int32_t AIndex, bool& AEmpty) {
  size_t n = 1;
  for (TXoXPathEquation* e = FSibling; e && n <= kMemoChain; e = e->FSibling) ++n;
  if (n <= kMemoChain) return EvaluateChain(AList, AIndex, AEmpty, nullptr, 0);
  TXoXPathChainMemo memo;
  for (TXoXPathEquation* e = FSibling; e; e = e->FSibling) ++n;
  memo.Items.resize(n + 1);
  return EvaluateChain(AList, AIndex, AEmpty, &memo, 0);
}

// One equation of a chain and the links behind it. Each sibling is walked
// by the same operation, which goes on through the rest of the chain, and
// the loop here goes on as well. With a memo (long chains) the result of a
// link is computed once; a link whose operand was empty marks the run empty
// whenever it is reached, as the repeated walk would.
bool TXoXPathEquation::EvaluateChain(TXoDOMObjectList* AList, int32_t AIndex, bool& AEmpty,
                                     TXoXPathChainMemo* AMemo, int32_t APos) {
  if (AMemo) {
    TXoXPathChainMemo::TItem& m = AMemo->Items[static_cast<size_t>(APos)];
    if (m.Done) {
      if (m.Empty) AEmpty = true;
      return m.Result;
    }
  }
  bool empty = false;
  bool r = false;
  if (!FTerm) throw Exception(std::u16string(_cXoXPathCheckParenthesis));
  Variant v = FTerm->Value(AList, AIndex);
  if (XoVarIsEmpty(v)) {
    empty = true;
  } else {
    r = XoVarToBool(v, false, false);
    int32_t pos = APos;
    for (TXoXPathEquation* e = this; e->FSibling; e = e->FSibling, ++pos) {
      switch (e->FOperation) {
        case opNA:
          throw Exception(std::u16string(_cXoXPathInvalidOperation));
        case opAnd:
          if (r) r = e->FSibling->EvaluateChain(AList, AIndex, empty, AMemo, pos + 1);
          break;
        case opOr:
          if (!r) r = e->FSibling->EvaluateChain(AList, AIndex, empty, AMemo, pos + 1);
          break;
      }
    }
  }
  if (empty) AEmpty = true;
  if (AMemo) {
    TXoXPathChainMemo::TItem& m = AMemo->Items[static_cast<size_t>(APos)];
    m.Done = true;
    m.Result = r;
    m.Empty = empty;
  }
  return r;
}

// ---------------------------------------------------------------------------
// Reading a term

TXoXPathBaseTerm* TXoXPathEquation::ReadTerm(TXoTextParser* AParser) {
  TTermNesting nesting;
  TXoTextParser* p = AParser;
  SkipBlanks(p);
  char16_t c = p->CurrCharW();
  if (!p->GetEOF()) {
    if (IsDigit(c) || c == u'"') return new TXoXPathConstantTerm(this, p);
    if (c == u'.') {
      std::u16string two = p->PeekStringW(2);
      if (two.size() == 2 && IsDigit(two[1])) return new TXoXPathConstantTerm(this, p);
    }
    if (c == u'(') return new TXoXPathSequenceTerm(this, p);
    if (c == u'[') return new TXoXPathArrayTerm(this, p);
  }
  // A name: everything up to a delimiter, so a relative path is one name.
  p->SetMark(tppMark1);
  while (!p->GetEOF()) {
    c = p->CurrCharW();
    if (c == u'=' || c == u'<' || c == u'>' || c == u'!' || c == u'(' || c == u')' || c == u'[' || c == u']' ||
        c == u'"' || c == u' ' || c == u',')
      break;
    p->NextChar();
  }
  std::u16string name = p->Selected(tppMark1, tppCurrent, true);
  SkipBlanks(p);
  if (!p->GetEOF()) {
    c = p->CurrCharW();
    if (c == u'(') {
      if (name.size() >= 3 && name.compare(0, 3, u"fn:") == 0) name.erase(0, 3);
      p->NextChar();
      std::unique_ptr<TXoXPathFunctionTerm> t;
      if (name == u"first")
        t = std::make_unique<TXoXPathFirstNode>(this);
      else if (name == u"last")
        t = std::make_unique<TXoXPathLastNode>(this);
      else if (name == u"position")
        t = std::make_unique<TXoXPathFnPositionTerm>(this);
      else if (name == u"node")
        t = std::make_unique<TXoXPathFnNodeTerm>(this);
      if (t) {
        t->ParseParams(p);
        return t.release();
      }
      return CreateFunctionTerm(name, this, p);
    }
    if (IsDigit(c) || c == u'"' || c == u'.') return new TXoXPathConstantTerm(this, p);
    if (c == u'[') {
      // The filter travels with the path.
      p->SetMark(tppMark1);
      int depth = 0;
      while (!p->GetEOF()) {
        char16_t d = p->CurrCharW();
        p->NextChar();
        if (d == u'[') ++depth;
        if (d == u']' && --depth == 0) break;
      }
      name += p->Selected(tppMark1, tppCurrent, true);
    }
  }
  if (name.empty()) throw EXoDomSyntax(std::u16string(_cXoXPathInvalidStatement));
  return new TXoXPathValueTerm(this, p, name);
}

// ---------------------------------------------------------------------------
// Compiling a filter

struct TXoXPathCompiler {
  static std::unique_ptr<TXoXPathEquation> Compile(std::u16string_view AFilter, TXoDOMSelectMatchOption AMatch,
                                                   TXoXPathCollationClass ACollation);
};

std::unique_ptr<TXoXPathEquation> TXoXPathCompiler::Compile(std::u16string_view AFilter,
                                                            TXoDOMSelectMatchOption AMatch,
                                                            TXoXPathCollationClass ACollation) {
  auto root = std::make_unique<TXoXPathEquation>(AMatch, ACollation);
  std::u16string filter(AFilter);
  auto invalid = [&]() { return Exception(_cXoXPathInvalidFilter, {filter}); };
  TXoTextParser parser(filter.data(), static_cast<int64_t>(filter.size() * 2), 1200);
  TXoTextParser* p = &parser;
  if (p->GetEOF() || p->CurrCharW() != u'[') throw invalid();
  p->NextChar();
  TXoXPathEquation* cur = root.get();
  int depth = 0;
  int count = 1;
  for (;;) {
    SkipBlanks(p);
    p->SetMark(tppMark1);
    bool done = false;
    bool operand = false;
    char16_t c = p->GetEOF() ? u'\0' : p->CurrCharW();
    if (!cur->FTerm && c == u'(') {
      if (++depth > kMaxFilterNesting || ++count > kMaxEquations) throw invalid();
      cur->SetValue(new TXoXPathChildTerm(cur));
      cur = cur->AddFirstChild();
      p->NextChar();
      done = true;
    } else if (!cur->FTerm && c == u'n' && AtWord(p, u"not")) {
      // "not" is the operator when a blank, "(", a digit or "@" follows;
      // directly followed by other characters the letters begin a name.
      const uint8_t* at = p->GetCurPos();
      p->SkipChars(3);
      bool blank = !p->GetEOF() && p->CurrCharW() == u' ';
      SkipBlanks(p);
      char16_t d = p->GetEOF() ? u'\0' : p->CurrCharW();
      if (d == u'(' || IsDigit(d) || d == u'@' || blank) {
        if (++depth > kMaxFilterNesting || ++count > kMaxEquations) throw invalid();
        cur->SetValue(new TXoXPathNot(cur));
        cur = cur->AddFirstChild();
        if (d == u'(') {
          // "not (": the not's own level is the bracket.
          p->NextChar();
          done = true;
        } else {
          SkipBlanks(p);
          p->SetMark(tppMark1);
          operand = true;
        }
      } else {
        p->SetCursor(at);
        operand = true;
      }
    } else if (cur->FTerm && c == u'a' && AtWord(p, u"and")) {
      p->SkipChars(3);
      bool blank = !p->GetEOF() && p->CurrCharW() == u' ';
      SkipBlanks(p);
      char16_t d = p->GetEOF() ? u'\0' : p->CurrCharW();
      if (d == u'(' || IsDigit(d) || d == u'@' || blank) {
        if (++count > kMaxEquations) throw invalid();
        cur = cur->AddSibling(opAnd);
        done = true;
      }
    } else if (cur->FTerm && c == u'o' && AtWord(p, u"or")) {
      p->SkipChars(2);
      bool blank = !p->GetEOF() && p->CurrCharW() == u' ';
      SkipBlanks(p);
      char16_t d = p->GetEOF() ? u'\0' : p->CurrCharW();
      if (d == u'(' || IsDigit(d) || d == u'@' || blank) {
        if (++count > kMaxEquations) throw invalid();
        cur = cur->AddSibling(opOr);
        done = true;
      }
    } else if (c == u')') {
      // A ")" without an open bracket has no level to climb to.
      if (!cur->FParent) throw invalid();
      cur = cur->FParent;
      --depth;
      p->NextChar();
      done = true;
    } else {
      operand = true;
    }
    (void)operand;
    if (!done && !cur->FTerm) {
      c = p->GetEOF() ? u'\0' : p->CurrCharW();
      if (IsDigit(c)) {
        p->SetMark(tppMark1);
        while (!p->GetEOF() && IsDigit(p->CurrCharW())) p->NextChar();
        int32_t index = StrToInt(p->Selected(tppMark1, tppCurrent, true));
        cur->SetValue(new TXoXPathChildNodeX(cur, p, index));
      } else {
        std::unique_ptr<TXoXPathBaseTerm> first(cur->ReadTerm(p));
        SkipBlanks(p);
        c = p->GetEOF() ? u'\0' : p->CurrCharW();
        if (c == u'!' || c == u'<' || c == u'=' || c == u'>') {
          p->SetMark(tppMark1);
          while (!p->GetEOF()) {
            char16_t d = p->CurrCharW();
            if (d != u'!' && d != u'<' && d != u'=' && d != u'>') break;
            p->NextChar();
          }
          std::u16string op = p->Selected(tppMark1, tppCurrent, true);
          TXoXPathValueComparisonOperator o;
          if (op == u"=")
            o = opEqual;
          else if (op == u"!=" || op == u"<>")
            o = opUnequal;
          else if (op == u"<")
            o = opSmaller;
          else if (op == u">")
            o = opGreater;
          else if (op == u"<=")
            o = opSmallerEqual;
          else if (op == u">=")
            o = opGreaterEqual;
          else
            throw EXoDomSyntax(_cXoXPathInvalidCompareOperator, {filter, op});
          SkipBlanks(p);
          std::unique_ptr<TXoXPathBaseTerm> second(cur->ReadTerm(p));
          SkipBlanks(p);
          auto* cmp = new TXoXPathValueComparison(cur, first.get(), second.get(), o);
          first.release();
          second.release();
          cur->SetValue(cmp);
        } else if (dynamic_cast<TXoXPathValueTerm*>(first.get())) {
          auto* has = new TXoXPathHasNode(cur, first.get());
          first.release();
          cur->SetValue(has);
        } else {
          cur->SetValue(first.release());
        }
      }
      done = true;
    }
    if (!done) throw invalid();
    p->ClearMark(tppMark1);
    SkipBlanks(p);
    if (p->GetEOF() || p->CurrCharW() == u']') break;
  }
  // Every equation must have ended up with an operand ("[a and ]", "[()]"
  // leave one without).
  std::vector<TXoXPathEquation*> todo{root.get()};
  while (!todo.empty()) {
    TXoXPathEquation* e = todo.back();
    todo.pop_back();
    for (; e; e = e->FSibling) {
      if (!e->FTerm) throw invalid();
      for (TXoXPathEquation* ch : e->FChilds) todo.push_back(ch);
    }
  }
  return root;
}

bool XoXPathFilterTextIsPure(std::u16string_view AFilter) {
  auto delimiter = [](char16_t c) {
    return c == u'=' || c == u'<' || c == u'>' || c == u'!' || c == u'(' || c == u')' || c == u'[' || c == u']' ||
           c == u'"' || c == u' ' || c == u',';
  };
  for (size_t i = 0; i < AFilter.size(); ++i) {
    if (AFilter[i] != u'(') continue;
    // The name a call would have: the run before the blanks in front of "(".
    size_t e = i;
    while (e > 0 && AFilter[e - 1] == u' ') --e;
    size_t b = e;
    while (b > 0 && !delimiter(AFilter[b - 1])) --b;
    std::u16string_view name = AFilter.substr(b, e - b);
    if (name.empty()) continue;  // a bracket or a sequence
    if (name.size() >= 3 && name.substr(0, 3) == u"fn:") name.remove_prefix(3);
    std::u16string lower(name);
    for (char16_t& c : lower)
      if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    if (name == u"node") continue;  // the built-in term, never the registry's
    int kind = XoXPathFunctionKind(name);
    // "not", "and", "or" before a bracket are mostly the keywords; where
    // they are read as calls, they must not reach an application's function.
    bool keyword = name[0] >= u'a' && name[0] <= u'z' && (lower == u"not" || lower == u"and" || lower == u"or");
    if (keyword ? kind == 3 : kind != 1) return false;
  }
  return true;
}

namespace {
bool TermIsPure(TXoXPathBaseTerm* ATerm, int ADepth) {
  if (!ATerm || ADepth > kMaxFilterNesting + 2) return false;
  if (dynamic_cast<TXoXPathConstantTerm*>(ATerm) || dynamic_cast<TXoXPathFnNodeTerm*>(ATerm) ||
      dynamic_cast<TXoXPathChildTerm*>(ATerm))
    return true;  // a bracket's and a not's equations are checked as part of the tree
  if (auto* v = dynamic_cast<TXoXPathValueTerm*>(ATerm)) return v->Path().find(u'[') == XoXMLString::npos;
  if (auto* h = dynamic_cast<TXoXPathHasNode*>(ATerm)) return TermIsPure(h->PathTerm(), ADepth + 1);
  if (auto* c = dynamic_cast<TXoXPathValueComparison*>(ATerm))
    return TermIsPure(c->Value1(), ADepth + 1) && TermIsPure(c->Value2(), ADepth + 1);
  if (auto* l = dynamic_cast<TXoXPathListTerm*>(ATerm)) {
    for (int32_t i = 0; i < l->Count(); ++i)
      if (!TermIsPure(l->GetTerm(i), ADepth + 1)) return false;
    return true;
  }
  if (dynamic_cast<TXoXPathFnTrace*>(ATerm) || dynamic_cast<TXoXPathFnError*>(ATerm)) return false;
  if (auto* f = dynamic_cast<TXoXPathFunction*>(ATerm)) {
    for (int32_t i = 0; i < f->ParamCount(); ++i)
      if (!TermIsPure(f->Param(i), ADepth + 1)) return false;
    return true;
  }
  // The index form, first(), last(), position(), and anything unknown.
  return false;
}
}  // namespace

bool XoXPathFilterIsPure(TXoXPathEquation* AEquation) {
  std::vector<TXoXPathEquation*> todo{AEquation};
  while (!todo.empty()) {
    TXoXPathEquation* e = todo.back();
    todo.pop_back();
    for (; e; e = e->Sibling()) {
      if (!TermIsPure(e->Term(), 0)) return false;
      for (TXoXPathEquation* c : e->Childs()) todo.push_back(c);
    }
  }
  return true;
}

std::unique_ptr<TXoXPathEquation> XoXPathCompileFilter(std::u16string_view AFilter,
                                                       TXoDOMSelectMatchOption AMatchOption,
                                                       TXoXPathCollationClass ACollation, bool* AShareable) {
  bool saved = GAppFunctionSeen;
  GAppFunctionSeen = false;
  std::unique_ptr<TXoXPathEquation> r;
  try {
    r = TXoXPathCompiler::Compile(AFilter, AMatchOption, ACollation);
  } catch (...) {
    GAppFunctionSeen = saved;
    throw;
  }
  if (AShareable) *AShareable = !GAppFunctionSeen;
  GAppFunctionSeen = saved;
  return r;
}

// ===========================================================================
// Terms

TXoXPathConstantTerm::TXoXPathConstantTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser)
    : TXoXPathBaseTerm(AEquation) {
  TXoTextParser* p = AParser;
  if (!p->GetEOF() && p->CurrCharW() == u'"') {
    p->NextChar();
    p->SetMark(tppMark1);
    while (!p->GetEOF() && p->CurrCharW() != u'"') p->NextChar();
    FValue = Variant(p->Selected(tppMark1, tppCurrent, true));
    if (!p->GetEOF()) p->NextChar();
    return;
  }
  p->SetMark(tppMark1);
  while (!p->GetEOF() && (IsDigit(p->CurrCharW()) || p->CurrCharW() == u'.')) p->NextChar();
  std::u16string run = p->Selected(tppMark1, tppCurrent, true);
  int64_t i = 0;
  int code = 0;
  Val(run, i, code);
  if (!run.empty() && code == 0) {
    FValue = Variant(i);
    return;
  }
  long double f = 0;
  if (!run.empty() && TextToFloat(run, f, u'.')) {
    FValue = Variant(f);
    return;
  }
  throw EXoDomSyntax(std::u16string(_cXoXPathNumberOrString));
}

TXoXPathConstantTerm::TXoXPathConstantTerm(TXoXPathEquation* AEquation, const Variant& AValue)
    : TXoXPathBaseTerm(AEquation), FValue(AValue) {}

Variant TXoXPathConstantTerm::Value(TXoDOMObjectList*, int32_t) { return FValue; }

// ---------------------------------------------------------------------------

TXoXPathValueTerm::TXoXPathValueTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser, const XoXMLString& APath)
    : TXoXPathBaseTerm(AEquation), FPath(APath) {
  (void)AParser;
}

struct TXoXPathNodeMemo {
  uint64_t Epoch = 0;
  std::unordered_map<TXoDOMNode*, std::vector<TXoDOMNode*>> Nodes;
};

TXoXPathValueTerm::~TXoXPathValueTerm() = default;

void TXoXPathValueTerm::CollectNodes(TXoDOMObjectList* AList, int32_t AIndex, std::vector<TXoDOMNode*>& ANodes) {
  auto* ctx = static_cast<TXoDOMNode*>(AList->GetItem(AIndex));
  if (!ctx) return;
  // A path in a filter of a selection that a filter started is asked again
  // for the same nodes as often as the outer filters run; within one
  // selection the tree stays as it is, so the answer is kept.
  uint64_t epoch = XoSelectEpoch();
  if (epoch && XoSelectNesting() >= 2 && ANodes.empty()) {
    if (!FMemo) FMemo = std::make_unique<TXoXPathNodeMemo>();
    if (FMemo->Epoch != epoch) {
      FMemo->Nodes.clear();
      FMemo->Epoch = epoch;
    }
    auto it = FMemo->Nodes.find(ctx);
    if (it != FMemo->Nodes.end()) {
      ANodes = it->second;
      return;
    }
    std::vector<TXoDOMNode*> found;
    CollectNodesUncached(ctx, found);
    ANodes = found;
    FMemo->Nodes.emplace(ctx, std::move(found));
    return;
  }
  CollectNodesUncached(ctx, ANodes);
}

void TXoXPathValueTerm::CollectNodesUncached(TXoDOMNode* ctx, std::vector<TXoDOMNode*>& ANodes) {
  // The options of GetSelectOptions, resolved: a collation and a name
  // matching; neither raising nor creating.
  TXoDOMSelectOptions o = FEquation->GetSelectOptions();
  TXoSelectRun run;
  run.Collation = o.Contains(soCaseInsensitive) ? TXoXPathCollationASCIICI::ClassRef()
                                                : TXoXPathCollationCodepoint::ClassRef();
  run.LocalNameMatch = o.Contains(soLocalName);
  if (!FProgram || FProgram->LocalNameMatch != run.LocalNameMatch)
    FProgram = TXoSelectProgram::Compile(FPath, run.LocalNameMatch);
  XoSelectRun(ctx, *FProgram, run, ANodes);
}

TXoDOMNodeList* TXoXPathValueTerm::Nodes(TXoDOMObjectList* AList, int32_t AIndex) {
  std::vector<TXoDOMNode*> nodes;
  CollectNodes(AList, AIndex, nodes);
  std::unique_ptr<TXoDOMNodeList> list(new TXoDOMNodeList());
  for (TXoDOMNode* n : nodes) list->Add(n, rdpLast);
  return list.release();
}

namespace {
Variant NodeValue(TXoDOMNode* ANode) {
  if (ANode->GetNodeType() == ntAttribute && static_cast<TXoDOMAttribute*>(ANode)->IsNamespace())
    return Variant::Null();
  return Variant(ANode->GetNodeValue());
}
}  // namespace

Variant TXoXPathValueTerm::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  std::vector<TXoDOMNode*> nodes;
  CollectNodes(AList, AIndex, nodes);
  return ValueOf(nodes);
}

Variant TXoXPathValueTerm::ValueOf(const std::vector<TXoDOMNode*>& nodes) {
  if (nodes.empty()) return Variant::Null();
  if (nodes.size() == 1) return NodeValue(nodes[0]);
  std::vector<Variant> values;
  values.reserve(nodes.size());
  for (TXoDOMNode* n : nodes) values.push_back(NodeValue(n));
  return VarArrayOf(values);
}

// ---------------------------------------------------------------------------

void TXoXPathFunctionTerm::ParseParams(TXoTextParser* AParser) {
  // No arguments are kept: skip to the ")" that closes the call.
  int depth = 1;
  while (!AParser->GetEOF()) {
    char16_t c = AParser->CurrCharW();
    AParser->NextChar();
    if (c == u'(') ++depth;
    if (c == u')' && --depth == 0) break;
  }
}

Variant TXoXPathFirstNode::Value(TXoDOMObjectList*, int32_t AIndex) { return Variant(AIndex == 0); }
Variant TXoXPathLastNode::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  return Variant(AIndex == AList->Count() - 1);
}
Variant TXoXPathFnPositionTerm::Value(TXoDOMObjectList*, int32_t AIndex) { return Variant(int32_t(AIndex + 1)); }
Variant TXoXPathFnNodeTerm::Value(TXoDOMObjectList*, int32_t) { return Variant(true); }
Variant TXoXPathChildNodeX::Value(TXoDOMObjectList*, int32_t AIndex) { return Variant(FIndex == AIndex); }

Variant TXoXPathChildTerm::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (FEquation->Childs().size() != 1) throw Exception(std::u16string(_cXoXPathCheckParenthesis));
  bool empty = false;
  bool r = FEquation->Childs()[0]->Evaluate(AList, AIndex, empty);
  return Variant(empty ? false : r);
}

Variant TXoXPathNot::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (FEquation->Childs().size() != 1) throw Exception(std::u16string(_cXoXPathNotWithoutChild));
  bool empty = false;
  bool r = FEquation->Childs()[0]->Evaluate(AList, AIndex, empty);
  return Variant(empty ? false : !r);
}

// ---------------------------------------------------------------------------

TXoXPathHasNode::TXoXPathHasNode(TXoXPathEquation* AEquation, TXoXPathBaseTerm* ATerm)
    : TXoXPathBaseTerm(AEquation), FPath(ATerm) {
  FIsBoolean = true;
}
TXoXPathHasNode::~TXoXPathHasNode() { delete FPath; }

Variant TXoXPathHasNode::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (auto* v = dynamic_cast<TXoXPathValueTerm*>(FPath)) {
    std::vector<TXoDOMNode*> nodes;
    v->CollectNodes(AList, AIndex, nodes);
    return Variant(!nodes.empty());
  }
  return Variant(!XoVarIsEmpty(FPath->Value(AList, AIndex)));
}

// ---------------------------------------------------------------------------

TXoXPathValueComparison::TXoXPathValueComparison(TXoXPathEquation* AEquation, TXoXPathBaseTerm* AValue1,
                                                 TXoXPathBaseTerm* AValue2, TXoXPathValueComparisonOperator AOperator)
    : TXoXPathBaseTerm(AEquation), FValue1(AValue1), FValue2(AValue2), FOperator(AOperator) {
  // A constant is read as a number once, not per candidate.
  if (auto* c = dynamic_cast<TXoXPathConstantTerm*>(FValue1)) FConst1.Kind = AnalyseNumber(c->ConstValue(), FConst1.I, FConst1.F);
  if (auto* c = dynamic_cast<TXoXPathConstantTerm*>(FValue2)) FConst2.Kind = AnalyseNumber(c->ConstValue(), FConst2.I, FConst2.F);
}

TXoXPathValueComparison::~TXoXPathValueComparison() {
  delete FValue1;
  delete FValue2;
}

namespace {
struct TSide {
  const Variant* V;
  bool Analysed;
  uint8_t Kind;
  int64_t I;
  long double F;
};

Variant CompareSides(const TXoXPathEquation* AEquation, TXoXPathValueComparisonOperator AOp, TSide A, TSide B) {
  if (A.V->IsClear() || B.V->IsClear()) return Variant::Null();
  if (TXoTypes::VarMainTypeKind(*A.V) == mtkString && TXoTypes::VarMainTypeKind(*B.V) == mtkString) {
    TTextOf ta(*A.V), tb(*B.V);
    TXoXPathCollationClass coll = AEquation->Collation();
    switch (AOp) {
      case opUnequal:
        return Variant(!coll->SameText(ta.FView, tb.FView));
      case opEqual:
        return Variant(coll->SameText(ta.FView, tb.FView));
      default:
        return Variant(CompareBy<int32_t>(AOp, coll->Compare(ta.FView, tb.FView), 0));
    }
  }
  if (!A.Analysed) A.Kind = AnalyseNumber(*A.V, A.I, A.F);
  if (!B.Analysed) B.Kind = AnalyseNumber(*B.V, B.I, B.F);
  if (A.Kind == 0 || B.Kind == 0) return Variant(VariantCompare(AOp, *A.V, *B.V));
  if (A.Kind == 1 && B.Kind == 1) return Variant(CompareBy<int64_t>(AOp, A.I, B.I));
  long double fa = A.Kind == 1 ? static_cast<long double>(A.I) : A.F;
  long double fb = B.Kind == 1 ? static_cast<long double>(B.I) : B.F;
  return Variant(CompareBy<long double>(AOp, fa, fb));
}

TSide PlainSide(const Variant& V) { return TSide{&V, false, 0, 0, 0}; }
}  // namespace

Variant TXoXPathValueComparison::CompareValues(const Variant& A, const Variant& B) const {
  return CompareSides(FEquation, FOperator, PlainSide(A), PlainSide(B));
}

namespace {
// The value of one node as a view of its stored text, where reading it
// would neither decode nor join anything: an attribute, a text node, or an
// element with at most one text child, of the library's own classes, whose
// stored text holds no "&".
bool NodeValueView(TXoDOMNode* ANode, std::u16string_view& AView) {
  std::u16string_view v;
  switch (ANode->GetNodeType()) {
    case ntAttribute: {
      if (typeid(*ANode) != typeid(TXoDOMAttribute)) return false;
      auto* a = static_cast<TXoDOMAttribute*>(ANode);
      if (a->IsNamespace()) return false;
      v = a->StoredValue();
      break;
    }
    case ntText:
      if (typeid(*ANode) != typeid(TXoDOMText)) return false;
      v = static_cast<TXoDOMText*>(ANode)->StoredValue();
      break;
    case ntElement: {
      if (typeid(*ANode) != typeid(TXoDOMElement)) return false;
      TXoDOMNode* t = static_cast<TXoDOMElement*>(ANode)->FirstCharNode();
      if (t) {
        if (TXoDOMElement::NextTyped(t) || typeid(*t) != typeid(TXoDOMText)) return false;
        v = static_cast<TXoDOMText*>(t)->StoredValue();
      }
      break;
    }
    default:
      return false;
  }
  if (v.find(u'&') != std::u16string_view::npos) return false;
  AView = v;
  return true;
}
}  // namespace

Variant TXoXPathValueComparison::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  Variant own1, own2;
  auto* c1 = dynamic_cast<TXoXPathConstantTerm*>(FValue1);
  auto* c2 = dynamic_cast<TXoXPathConstantTerm*>(FValue2);
  // A path against a constant, the usual filter: a single node's text is
  // compared where it is stored, without a copy.
  auto* p1 = c1 ? nullptr : dynamic_cast<TXoXPathValueTerm*>(FValue1);
  auto* p2 = c2 ? nullptr : dynamic_cast<TXoXPathValueTerm*>(FValue2);
  if ((p1 && c2) || (c1 && p2)) {
    TXoXPathValueTerm* path = p1 ? p1 : p2;
    const TXoXPathConstantTerm* cst = c1 ? c1 : c2;
    const TConstNum& cn = c1 ? FConst1 : FConst2;
    std::vector<TXoDOMNode*> nodes;
    path->CollectNodes(AList, AIndex, nodes);
    std::u16string_view view;
    const Variant& k = cst->ConstValue();
    if (nodes.size() == 1 && !k.IsClear() && NodeValueView(nodes[0], view)) {
      if (TXoTypes::VarMainTypeKind(k) == mtkString) {
        TTextOf tk(k);
        std::u16string_view a = p1 ? view : tk.FView, b = p1 ? tk.FView : view;
        TXoXPathCollationClass coll = FEquation->Collation();
        switch (FOperator) {
          case opUnequal:
            return Variant(!coll->SameText(a, b));
          case opEqual:
            return Variant(coll->SameText(a, b));
          default:
            return Variant(CompareBy<int32_t>(FOperator, coll->Compare(a, b), 0));
        }
      }
      int64_t i = 0;
      long double f = 0;
      uint8_t kind = TextNumber(view, i, f);
      if (kind != 0 && cn.Kind != 0) {
        TSide sv{nullptr, true, kind, i, f};
        TSide sc{&k, true, cn.Kind, cn.I, cn.F};
        TSide a = p1 ? sv : sc, b = p1 ? sc : sv;
        if (a.Kind == 1 && b.Kind == 1) return Variant(CompareBy<int64_t>(FOperator, a.I, b.I));
        long double fa = a.Kind == 1 ? static_cast<long double>(a.I) : a.F;
        long double fb = b.Kind == 1 ? static_cast<long double>(b.I) : b.F;
        return Variant(CompareBy<long double>(FOperator, fa, fb));
      }
    }
    (p1 ? own1 : own2) = TXoXPathValueTerm::ValueOf(nodes);
  } else {
    if (!c1) own1 = FValue1->Value(AList, AIndex);
    if (!c2) own2 = FValue2->Value(AList, AIndex);
  }
  const Variant& v1 = c1 ? c1->ConstValue() : own1;
  const Variant& v2 = c2 ? c2->ConstValue() : own2;
  TSide s1 = c1 ? TSide{&v1, true, FConst1.Kind, FConst1.I, FConst1.F} : PlainSide(v1);
  TSide s2 = c2 ? TSide{&v2, true, FConst2.Kind, FConst2.I, FConst2.F} : PlainSide(v2);
  bool a1 = v1.IsArray(), a2 = v2.IsArray();
  if (!a1 && !a2) return CompareSides(FEquation, FOperator, s1, s2);
  Variant r(false);
  auto isTrue = [](const Variant& v) { return v.VarType() == varBoolean && v.AsBoolean(); };
  if (a1 && a2) {
    size_t n1 = XoVarArrayCount(v1), n2 = XoVarArrayCount(v2);
    for (size_t i = 0; i < n1; ++i) {
      Variant e1 = v1.GetElement({static_cast<int32_t>(i)});
      for (size_t j = 0; j < n2; ++j) {
        Variant e2 = v2.GetElement({static_cast<int32_t>(j)});
        r = CompareSides(FEquation, FOperator, PlainSide(e1), PlainSide(e2));
        if (isTrue(r)) return r;
      }
    }
    return r;
  }
  const Variant& arr = a1 ? v1 : v2;
  size_t n = XoVarArrayCount(arr);
  for (size_t i = 0; i < n; ++i) {
    Variant e = arr.GetElement({static_cast<int32_t>(i)});
    r = a1 ? CompareSides(FEquation, FOperator, PlainSide(e), s2) : CompareSides(FEquation, FOperator, s1, PlainSide(e));
    if (isTrue(r)) return r;
  }
  return r;
}

// ---------------------------------------------------------------------------

TXoXPathListTerm::~TXoXPathListTerm() {
  for (TXoXPathBaseTerm* t : FList) delete t;
}

TXoXPathBaseTerm* TXoXPathListTerm::GetTerm(int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(_cXoDOMListIndex, {AIndex});
  return FList[static_cast<size_t>(AIndex)];
}

Variant TXoXPathListTerm::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  Variant r(u"");
  const Variant sep(u", ");
  for (TXoXPathBaseTerm* t : FList) r = (r + sep) + t->Value(AList, AIndex);
  if (r.IsString()) {
    std::u16string t = XoVarToStr(r);
    return Variant(t.size() > 2 ? t.substr(2) : std::u16string());
  }
  return r;
}

void TXoXPathListTerm::ReadList(TXoTextParser* AParser, char16_t ACloser) {
  TXoTextParser* p = AParser;
  SkipBlanks(p);
  if (!p->GetEOF() && p->CurrCharW() == ACloser) {
    p->NextChar();
    return;
  }
  while (!p->GetEOF()) {
    FList.push_back(FEquation->ReadTerm(p));
    SkipBlanks(p);
    if (p->GetEOF()) break;
    if (p->CurrCharW() == u',') {
      p->NextChar();
      continue;
    }
    if (p->CurrCharW() == ACloser) {
      p->NextChar();
      break;
    }
  }
}

TXoXPathSequenceTerm::TXoXPathSequenceTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser)
    : TXoXPathListTerm(AEquation) {
  AParser->NextChar();
  ReadList(AParser, u')');
}

TXoXPathArrayTerm::TXoXPathArrayTerm(TXoXPathEquation* AEquation, TXoTextParser* AParser)
    : TXoXPathListTerm(AEquation) {
  AParser->NextChar();
  ReadList(AParser, u']');
}

}  // namespace xo
