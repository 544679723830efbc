// uXoJSON: selection of nodes by JSON path, and the filter expressions of
// path steps. Paths are read from their text at each node; a filter is
// parsed anew at every node it is applied to, then evaluated for each
// candidate. The walk over a tree keeps its own stack of pending steps, so
// a recursive step (`..`) over a deep tree uses no machine stack.
#include <algorithm>
#include <unordered_set>

#include "uXoJSON.h"

namespace xo {

using enum TXoBoolExpressionOperator;
using enum TXoExpValueHasNodeWithValueOp;

namespace {

[[noreturn]] void RaiseInvalidPath() {
  throw EXoJSONException(std::u16string(_cXoJSONInvalidPath), cXoJSONErrInvalidPath);
}

[[noreturn]] void RaiseExpected(std::u16string_view AExpected, std::u16string_view AFound) {
  throw EXoJSONException(_cXoJSONPathCharExpected, {AExpected, AFound}, cXoJSONErrPathCharExpected);
}

[[noreturn]] void RaiseScript() {
  throw EXoJSONException(std::u16string(_cXoJSONScriptExpression), cXoJSONErrScriptExpression);
}

inline bool IsBlank(char16_t c) { return c <= u' '; }

// The first step of APath from AFrom: its text, where the rest begins, and
// whether it was written with two dots.
struct TStep {
  XoJSONString Text;
  size_t Rest = 0;
  bool Deep = false;
};

TStep SplitStep(const XoJSONString& APath, size_t AFrom) {
  const size_t n = APath.size();
  TStep step;
  const char16_t c = APath[AFrom];
  if (c == u'.') {
    size_t i = AFrom + 1;
    if (i < n && APath[i] == u'.') {
      step.Deep = true;
      ++i;
    }
    const size_t start = i;
    if (i < n) ++i;  // the first character is taken unseen
    while (i < n && APath[i] != u'.' && APath[i] != u'[') ++i;
    step.Text = APath.substr(start, i - start);
    step.Rest = i;
    return step;
  }
  if (c == u'[') {
    size_t i = AFrom + 1;
    for (;;) {
      while (i < n && APath[i] != u'[' && APath[i] != u']') ++i;
      if (i >= n) break;
      if (APath[i] == u'[') {
        // One level of nested brackets passes whole.
        const size_t close = APath.find(u']', i + 1);
        i = close == XoJSONString::npos ? n : close + 1;
        continue;
      }
      ++i;  // the closing bracket belongs to the step
      break;
    }
    step.Text = APath.substr(AFrom, i - AFrom);
    step.Rest = i;
    return step;
  }
  RaiseExpected(u". or [", std::u16string(1, c));
}

// The entries of a step text: a bracketed text cut at commas outside quotes.
std::vector<XoJSONString> Entries(const XoJSONString& AStep) {
  std::vector<XoJSONString> entries;
  if (AStep.empty() || AStep[0] != u'[') {
    entries.push_back(AStep);
    return entries;
  }
  const std::u16string_view inner =
      AStep.size() >= 2 ? std::u16string_view(AStep).substr(1, AStep.size() - 2) : std::u16string_view();
  bool quoted = false;
  size_t from = 0;
  for (size_t i = 0; i <= inner.size(); ++i) {
    if (i < inner.size()) {
      if (inner[i] == u'\'') quoted = !quoted;
      if (inner[i] != u',' || quoted) continue;
    }
    entries.push_back(Trim(inner.substr(from, i - from)));
    from = i + 1;
  }
  if (!entries.empty() && entries.back().empty()) entries.pop_back();
  return entries;
}

bool IsIndexText(std::u16string_view AText) {
  if (AText.empty()) return false;
  for (char16_t c : AText)
    if (!((c >= u'0' && c <= u'9') || c == u'-')) return false;
  return true;
}

// The value nodes a filter runs over: member values or elements.
TXoJSONNodeList Candidates(TXoJSONBase* ANode) {
  TXoJSONNodeList list;
  for (TXoJSONBase* c : ANode->Objects()) {
    if (c->GetNodeKind() == TXoJSONNodeKind::Member) {
      if (TXoJSONBase* v = c->GetValueObj()) list.Add(v);
    } else {
      list.Add(c);
    }
  }
  return list;
}

// ---------------------------------------------------------------------------
// Filter text

// Reads one term from AText at AIndex: the first character unseen, then up
// to the next operator character; bracketed and parenthesised parts pass.
XoJSONString ReadTerm(const XoJSONString& AText, size_t& AIndex) {
  const size_t n = AText.size();
  const size_t start = AIndex;
  size_t i = AIndex;
  if (i < n) ++i;
  while (i < n) {
    const char16_t c = AText[i];
    if (c == u'[') {
      const size_t close = AText.find(u']', i + 1);
      i = close == XoJSONString::npos ? n : close;
      continue;
    }
    if (c == u'(') {
      const size_t close = AText.find(u')', i + 1);
      i = close == XoJSONString::npos ? n : close + 1;
      continue;
    }
    if (c == u'!' || c == u'&' || c == u')' || c == u'<' || c == u'=' || c == u'>' || c == u'|') break;
    ++i;
  }
  AIndex = i;
  return Trim(std::u16string_view(AText).substr(start, i - start));
}

std::u16string CharAt(const XoJSONString& AText, size_t AIndex) {
  return AIndex < AText.size() ? std::u16string(1, AText[AIndex]) : std::u16string();
}

// Parses the filter entry "?(...)" into a tree owned by the caller.
std::unique_ptr<TXoBoolExpression> ParseFilter(const XoJSONString& AEntry, bool ACaseInsensitive) {
  if (AEntry.size() < 2 || AEntry[0] != u'?' || AEntry[1] != u'(') RaiseExpected(u"?(", AEntry.substr(0, 2));
  const XoJSONString text = AEntry.size() > 3 ? AEntry.substr(2, AEntry.size() - 3) : XoJSONString();
  auto root = std::make_unique<TXoBoolExpression>();
  TXoBoolExpression* cur = root.get();
  const size_t n = text.size();
  size_t i = 0;
  auto leaveOperands = [&] {
    while (cur->FNotOperand) cur = cur->FParent;
  };
  while (i < n && IsBlank(text[i])) ++i;
  while (i < n) {
    const char16_t c = text[i];
    switch (c) {
      case u'(':
        cur->SetValue(new TXoExpressionValueChild());
        cur = cur->AddFirstChild();
        ++i;
        break;
      case u'!':
        cur->SetValue(new TXoExpressionValueNot());
        cur = cur->AddFirstChild();
        cur->FNotOperand = true;
        ++i;
        break;
      case u'&':
      case u'|':
        if (i + 1 >= n || text[i + 1] != c) RaiseExpected(std::u16string(1, c), CharAt(text, i + 1));
        cur = cur->AddSibling(c == u'&' ? opAnd : opOr);
        i += 2;
        break;
      case u')':
        cur = cur->FParent;
        if (!cur) RaiseScript();
        ++i;
        leaveOperands();
        break;
      default: {
        XoJSONString term1 = ReadTerm(text, i);
        bool compare = true;
        TXoExpValueHasNodeWithValueOp op = opEqual;
        if (i >= n) {
          compare = false;
        } else {
          const char16_t o = text[i];
          const char16_t next = i + 1 < n ? text[i + 1] : u'\0';
          if (o == u'=') {
            if (next != u'=') RaiseExpected(u"=", CharAt(text, i + 1));
            op = opEqual;
            i += 2;
          } else if (o == u'!') {
            if (next != u'=') RaiseExpected(u"=", CharAt(text, i + 1));
            op = opUnequal;
            i += 2;
          } else if (o == u'<') {
            if (next == u'>') {
              op = opUnequal;
              i += 2;
            } else if (next == u'=') {
              op = opSmallerEqual;
              i += 2;
            } else {
              op = opSmaller;
              ++i;
            }
          } else if (o == u'>') {
            if (next == u'=') {
              op = opGreaterEqual;
              i += 2;
            } else {
              op = opGreater;
              ++i;
            }
          } else {
            compare = false;
          }
        }
        if (compare) {
          XoJSONString term2 = ReadTerm(text, i);
          cur->SetValue(new TXoExpValueHasNodeWithValue(std::move(term1), std::move(term2), op, ACaseInsensitive));
        } else {
          cur->SetValue(new TXoExpressionValueExists(std::move(term1), ACaseInsensitive));
        }
        leaveOperands();
        break;
      }
    }
    while (i < n && IsBlank(text[i])) ++i;
  }
  return root;
}

}  // namespace

// ===========================================================================
// TXoJSONNodeList and the filter classes

int32_t TXoJSONNodeList::IndexOf(const TXoJSONBase* ANode) const {
  auto it = std::find(FItems.begin(), FItems.end(), ANode);
  return it == FItems.end() ? -1 : static_cast<int32_t>(it - FItems.begin());
}

TXoBoolExpression::~TXoBoolExpression() {
  delete FValue;
  // Chains and groups are freed from a work list, not by recursion.
  std::vector<TXoBoolExpression*> work;
  if (FChild) work.push_back(FChild);
  if (FSibling) work.push_back(FSibling);
  FChild = FSibling = nullptr;
  while (!work.empty()) {
    TXoBoolExpression* e = work.back();
    work.pop_back();
    if (e->FChild) work.push_back(e->FChild);
    if (e->FSibling) work.push_back(e->FSibling);
    e->FChild = e->FSibling = nullptr;
    delete e;
  }
}

TXoBoolExpression* TXoBoolExpression::AddChild(TXoBoolExpressionOperator AOperator) {
  delete FChild;
  FChild = new TXoBoolExpression();
  FOperation = AOperator;
  FChild->FParent = this;
  return FChild;
}

TXoBoolExpression* TXoBoolExpression::AddSibling(TXoBoolExpressionOperator AOperator) {
  delete FSibling;
  FSibling = new TXoBoolExpression();
  FOperation = AOperator;
  FSibling->FParent = FParent;
  return FSibling;
}

void TXoBoolExpression::SetValue(TXoExpressionValue* AValue) {
  delete FValue;
  FValue = AValue;
  if (AValue) AValue->FExpression = this;
}

bool TXoBoolExpression::Evaluate(TXoJSONNodeList& ANodeList, int32_t AIndex) {
  bool isNull = false;
  const bool r = Test(ANodeList, AIndex, isNull);
  return isNull ? false : r;
}

bool TXoBoolExpression::Test(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) {
  // A strict reading from left to right: where the outcome so far does not
  // decide a step, the rest of the chain from the next term gives the
  // outcome (a tail call, written as a loop); otherwise that term is passed
  // over unseen and the chain goes on behind it.
  TXoBoolExpression* node = this;
  for (;;) {
    if (!node->FValue) throw Exception(std::u16string(_cXoJSONInvalidExpressionParenthesis));
    bool r = node->FValue->Value(ANodeList, AIndex, IsNull);
    TXoBoolExpression* n = node;
    bool restart = false;
    while (n->FSibling) {
      if (n->FOperation == opNA) throw Exception(std::u16string(_cXoJSONInvalidOperation));
      if ((n->FOperation == opAnd && r) || (n->FOperation == opOr && !r)) {
        node = n->FSibling;
        restart = true;
        break;
      }
      n = n->FSibling;
    }
    if (!restart) return r;
  }
}

bool TXoExpressionValueChild::Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) {
  if (!FExpression || !FExpression->FChild) throw Exception(std::u16string(_cXoJSONInvalidExpressionParenthesis));
  return FExpression->FChild->Test(ANodeList, AIndex, IsNull);
}

bool TXoExpressionValueNot::Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) {
  if (!FExpression || !FExpression->FChild) throw Exception(std::u16string(_cXoJSONInvalidExpressionNot));
  return !FExpression->FChild->Test(ANodeList, AIndex, IsNull);
}

bool TXoExpressionValueExists::Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool&) {
  TXoJDOCSelectOptions options;
  if (FCaseInsensitive) options.Include(jsoCaseInsensitive);
  return ANodeList[AIndex]->SelectSingleNode(FPath, options) != nullptr;
}

namespace {

// A side of a comparison: a path from the candidate, or the text itself.
bool Resolve(TXoJSONBase* ACandidate, const XoJSONString& AText, XoJSONString& AValue) {
  if (AText.empty()) return false;
  if (AText[0] != u'$' && AText[0] != u'@') {
    AValue = AText;
    return true;
  }
  TXoJSONBase* n = ACandidate->SelectSingleNode(AText, TXoJDOCSelectOptions());
  if (!n) return false;
  if (n->GetNodeKind() == TXoJSONNodeKind::Simple)
    AValue = XoVarToStr(static_cast<TXoJSONSimpleType*>(n)->Value(), u"", false);
  else
    AValue = n->GetValueObj()->GetAsString();
  return true;
}

enum class TTextKind { Integer, Number, Boolean, Text };

TTextKind Classify(const XoJSONString& AText, int32_t& AInt, double& ANumber, bool& ABool) {
  if (AText.empty()) return TTextKind::Text;
  if (TryStrToInt(AText, AInt)) {
    ANumber = AInt;
    return TTextKind::Integer;
  }
  if (TryStrToFloat(AText, ANumber)) return TTextKind::Number;
  if (TryStrToBool(AText, ABool)) return TTextKind::Boolean;
  return TTextKind::Text;
}

template <class T>
int Compare3(const T& A, const T& B) {
  return A < B ? -1 : (B < A ? 1 : 0);
}

bool Apply(TXoExpValueHasNodeWithValueOp AOperator, int ACompare) {
  switch (AOperator) {
    case opUnequal: return ACompare != 0;
    case opEqual: return ACompare == 0;
    case opSmaller: return ACompare < 0;
    case opSmallerEqual: return ACompare <= 0;
    case opGreater: return ACompare > 0;
    case opGreaterEqual: return ACompare >= 0;
  }
  return false;
}

bool CompareTexts(const XoJSONString& A, const XoJSONString& B, TXoExpValueHasNodeWithValueOp AOperator,
                  bool ACaseInsensitive) {
  if (!ACaseInsensitive) return Apply(AOperator, XoCompareStr(A, B));
  if (AOperator == opEqual) return XoSameText(A, B);
  if (AOperator == opUnequal) return !XoSameText(A, B);
  return Apply(AOperator, XoCompareStr(LowerCase(A), LowerCase(B)));
}

}  // namespace

bool TXoExpValueHasNodeWithValue::Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) {
  IsNull = false;
  TXoJSONBase* candidate = ANodeList[AIndex];
  XoJSONString a, b;
  if (!Resolve(candidate, FValue1, a) || !Resolve(candidate, FValue2, b)) {
    IsNull = true;
    return false;
  }
  auto quoted = [](const XoJSONString& s) { return !s.empty() && (s[0] == u'\'' || s[0] == u'"'); };
  if (quoted(a) || quoted(b)) return CompareTexts(XoStripLiterals(a), XoStripLiterals(b), FOperator, FCaseInsensitive);
  int32_t ia = 0, ib = 0;
  double na = 0, nb = 0;
  bool ba = false, bb = false;
  const TTextKind ka = Classify(a, ia, na, ba);
  const TTextKind kb = Classify(b, ib, nb, bb);
  const bool numA = ka == TTextKind::Integer || ka == TTextKind::Number;
  const bool numB = kb == TTextKind::Integer || kb == TTextKind::Number;
  if (ka == TTextKind::Integer && kb == TTextKind::Integer) return Apply(FOperator, Compare3(ia, ib));
  if (numA && numB) return Apply(FOperator, Compare3(na, nb));
  if (numA != numB) {
    IsNull = true;
    return false;
  }
  if (ka == TTextKind::Boolean && kb == TTextKind::Boolean) return Apply(FOperator, Compare3(ba, bb));
  return CompareTexts(a, b, FOperator, FCaseInsensitive);
}

// ===========================================================================
// Selection

TXoJSONArray* TXoJSONBase::CreateNodeList(const XoJSONString& APath, TXoJDOCSelectOptions AOptions) {
  TXoJSONArray* list = _CreateNodeList(APath, AOptions);
  if (list->Count() == 0 && AOptions.Contains(jsoRaise)) {
    list->Free();
    throw EXoJSONException(std::u16string(_cXoJSONNoNodes), cXoJSONErrNoNodes);
  }
  return list;
}

TXoJSONArray* TXoJSONBase::CreateNodeList(const XoJSONString& APath, bool ARaiseErrorIfNothingReturned) {
  return CreateNodeList(APath, ARaiseErrorIfNothingReturned ? TXoJDOCSelectOptions(jsoRaise) : TXoJDOCSelectOptions());
}

TXoJSONBase* TXoJSONBase::SelectSingleNode(const XoJSONString& APath, TXoJDOCSelectOptions AOptions) {
  TXoJSONArray* list = CreateNodeList(APath, AOptions);
  TXoJSONBase* first = list->Count() > 0 ? list->Objects()[0] : nullptr;
  list->Free();
  return first;
}

TXoJSONBase* TXoJSONBase::SelectSingleNode(const XoJSONString& APath, bool ARaiseErrorIfNothingReturned) {
  return SelectSingleNode(APath,
                          ARaiseErrorIfNothingReturned ? TXoJDOCSelectOptions(jsoRaise) : TXoJDOCSelectOptions());
}

TIntfPtr<IXoJSONArray> TXoJSONBase::SelectIntf(const XoJSONString& APath, TXoJDOCSelectOptions AOptions) {
  return TIntfPtr<IXoJSONArray>(CreateNodeList(APath, AOptions));
}

TXoJSONArray* TXoJSONBase::_CreateNodeList(const XoJSONString& APath, TXoJDOCSelectOptions AOptions) {
  auto* result = new TXoJSONArray(nullptr);
  try {
    std::vector<XoJSONString> alternatives;
    static constexpr std::u16string_view kUnion = u" | ";
    size_t from = 0;
    for (size_t at; (at = APath.find(kUnion, from)) != XoJSONString::npos; from = at + kUnion.size())
      alternatives.push_back(APath.substr(from, at - from));
    alternatives.push_back(APath.substr(from));
    for (const XoJSONString& alternative : alternatives) {
      const XoJSONString path = Trim(alternative);
      if (path.empty()) RaiseInvalidPath();
      TXoJSONBase* start;
      if (path[0] == u'$') {
        start = FOwner && FOwner->FKind == TXoJSONNodeKind::Document ? this : GetDocument()->GetRootValue();
      } else if (path[0] == u'@') {
        start = FKind == TXoJSONNodeKind::Document ? static_cast<TXoJSONDocument*>(this)->GetRootValue() : this;
      } else {
        RaiseInvalidPath();
      }
      if (start) start->_SelectNodes(result, path, 1, false, AOptions);
    }
  } catch (...) {
    result->Free();
    throw;
  }
  return result;
}

void TXoJSONBase::_SelectNodes(TXoJSONArray* ANodes, const XoJSONString& APath, size_t AFrom, bool ADeep,
                               TXoJDOCSelectOptions AOptions) {
  // Pending work, last first: a selection from a node, or the adding of a
  // node found earlier (a member after its value).
  struct TTask {
    TXoJSONBase* Node;
    size_t From;
    bool Deep;
    bool AddOnly;
  };
  std::vector<TTask> stack{{this, AFrom, ADeep, false}};
  const size_t n = APath.size();
  const bool ci = AOptions.Contains(jsoCaseInsensitive);
  while (!stack.empty()) {
    const TTask task = stack.back();
    stack.pop_back();
    TXoJSONBase* node = task.Node;
    if (task.AddOnly) {
      ANodes->FObjects.push_back(node);
      continue;
    }
    if (node->FKind == TXoJSONNodeKind::Member) {
      // The value first; with nothing left of the path the member follows.
      if (task.From >= n) stack.push_back({node, task.From, task.Deep, true});
      if (TXoJSONBase* v = static_cast<TXoJSONMember*>(node)->GetValueObj())
        stack.push_back({v, task.From, task.Deep, false});
      continue;
    }
    if (task.From >= n) {
      ANodes->FObjects.push_back(node);
      continue;
    }
    if (node->FKind != TXoJSONNodeKind::Object && node->FKind != TXoJSONNodeKind::Array) continue;
    const char16_t first = APath[task.From];
    if (first == u'$' || first == u'@')
      throw EXoJSONException(_cXoJSONPathCharPosition, {first}, cXoJSONErrPathCharPosition);
    const TStep step = SplitStep(APath, task.From);
    const bool deep = task.Deep || step.Deep;
    const bool isArray = node->FKind == TXoJSONNodeKind::Array;
    TXoJSONNodeList gathered;
    for (const XoJSONString& rawEntry : Entries(step.Text)) {
      XoJSONString entry = Trim(rawEntry);
      if (!entry.empty() && entry[0] == u'?') {
        std::unique_ptr<TXoBoolExpression> filter = ParseFilter(entry, ci);
        TXoJSONNodeList candidates = Candidates(node);
        // The candidates are distinct: a passing one is checked only against
        // what earlier entries of this step gathered, so that a filter that
        // passes many nodes stays linear.
        std::unordered_set<const TXoJSONBase*> earlier(gathered.List().begin(), gathered.List().end());
        for (int32_t i = 0; i < candidates.Count(); ++i)
          if (filter->Evaluate(candidates, i) && (earlier.empty() || !earlier.count(candidates[i])))
            gathered.Add(candidates[i]);
        continue;
      }
      bool haveIndex = false;
      int64_t index = 0;
      if (!entry.empty() && entry[0] == u'(') {
        XoJSONString expr = entry.size() >= 2 ? entry.substr(1, entry.size() - 2) : XoJSONString();
        int64_t base = 0;
        if (expr.find(u"@.length") != XoJSONString::npos) {
          base = isArray ? node->Count() : 0;
          const size_t at = LowerCase(expr).find(u"@.length");
          expr.erase(at, 8);
        }
        int32_t value;
        if (!TryStrToInt(expr, value)) RaiseScript();
        index = base + value;
        haveIndex = true;
      } else if (entry.find(u':') != XoJSONString::npos) {
        if (!isArray) continue;
        XoJSONString slice = entry[0] == u':' ? u"0" + entry : entry;
        std::vector<XoJSONString> parts = XoTokenize(slice, u":");
        int32_t v[3] = {0, 0, 0};
        for (size_t k = 0; k < 3 && k < parts.size(); ++k)
          if (!TryStrToInt(parts[k], v[k])) v[k] = 0;
        const int64_t count = node->Count();
        int64_t s = v[0], e = v[1], t = v[2];
        if (s < 0) s += count;
        if (t == 0) t = 1;
        if (e == 0) e = count;
        if (s < 0 || s >= count) continue;
        gathered.Add(node->Item(static_cast<int32_t>(s)));
        for (;;) {
          s += t;
          if (s < 0 || s >= count || s >= e) break;
          gathered.Add(node->Item(static_cast<int32_t>(s)));
        }
        continue;
      } else if (IsIndexText(entry)) {
        index = StrToInt(entry);
        haveIndex = true;
      }
      if (haveIndex) {
        if (!isArray) continue;
        const int64_t count = node->Count();
        if (index < 0) index += count;
        if (index >= 0 && index < count) gathered.Add(node->Item(static_cast<int32_t>(index)));
        continue;
      }
      // A name.
      XoJSONString name = entry;
      if (!name.empty() && name[0] == u'\'') name = name.size() >= 2 ? name.substr(1, name.size() - 2) : XoJSONString();
      if (name.empty()) name = u"*";
      const bool all = name == u"*";
      if (!isArray) {
        for (TXoJSONBase* c : node->FObjects) {
          auto* m = static_cast<TXoJSONMember*>(c);
          if (!all && !(ci ? XoSameText(m->Name(), name) : m->Name() == name)) continue;
          if (TXoJSONBase* v = m->GetValueObj()) gathered.Add(v);
        }
      } else if (all) {
        for (TXoJSONBase* c : node->FObjects) gathered.Add(c);
      }
      if (gathered.Count() == 0 && AOptions.Contains(jsoCreate) && !all) {
        TXoJSONMember* created = node->AddMember(name);  // refused on an array
        gathered.Add(created->CreateValue(jdtNull));
      }
    }
    // The work that follows, pushed last first: the rest of the path from
    // each gathered node, then (for ..) the whole path from each child.
    if (deep) {
      for (size_t k = node->FObjects.size(); k-- > 0;) stack.push_back({node->FObjects[k], task.From, true, false});
    }
    if (step.Rest >= n) {
      for (TXoJSONBase* g : gathered.List()) ANodes->FObjects.push_back(g);
    } else {
      const auto& list = gathered.List();
      for (size_t k = list.size(); k-- > 0;) stack.push_back({list[k], step.Rest, false, false});
    }
  }
}

// ===========================================================================
// TXoJSONObject.GetPath

XoJSONString TXoJSONObject::GetPath() {
  XoJSONString path;
  for (TXoJSONBase* n = FOwner; n; n = n->GetOwner())
    if (n->GetNodeKind() == TXoJSONNodeKind::Member) path = static_cast<TXoJSONMember*>(n)->Name() + u"/" + path;
  if (!path.empty()) path.pop_back();
  return u"#/" + path;
}

// ===========================================================================
// Start-up: JSON documents for code below this module

namespace {

TIntfPtr<IInterface> CreateJSONDoc(const std::u16string& AJSON) {
  return TIntfPtr<IInterface>(static_cast<IXoJSONDocument*>(TXoJSONDocument::CreateFromJSON(AJSON)));
}

Variant GetJSONDocValue(const TIntfPtr<IInterface>& ADocument, const std::u16string& APath) {
  TIntfPtr<IXoJSONDocument> doc = ADocument.As<IXoJSONDocument>();
  if (!doc) return Variant();
  TIntfPtr<IXoJSONArray> nodes = doc->SelectIntf(APath, TXoJDOCSelectOptions());
  if (nodes->Count() == 0) return Variant();
  return nodes->GetItem(0)->GetAsVariant();
}

[[maybe_unused]] const bool kJSONDocumentsHandedOver = [] {
  SetCreateJSONDoc(&CreateJSONDoc);
  SetGetJSONDocValue(&GetJSONDocValue);
  return true;
}();

}  // namespace

}  // namespace xo
