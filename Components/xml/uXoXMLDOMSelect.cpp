// uXoXMLDOM, selection by path: CreateNodeList, SelectSingleNode,
// CreateElementList, SelectSingleElement and the walker behind them.
//
// A path is cut into alternatives and steps once per call (a path inside a
// filter once per term). The walk keeps its own stack instead of recursing
// per step or per level of nesting, so a "//" search over a very deep tree
// needs no more machine stack than over a flat one. Candidate lists are
// reused between steps; names compare without allocating.
#include <algorithm>
#include <cstring>
#include <exception>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMSelect.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

namespace {

inline constexpr char16_t cNoNodesList[] = u"There are no nodes for the given path \"%s!.\"";
inline constexpr char16_t cNoNodesElementList[] = u"There are no nodes for the given path \"%s\"!";
inline constexpr char16_t cNoNodeSingle[] = u"There is no node for the given path \"%s\"!";
inline constexpr char16_t cTooComplex[] = u"The given path \"%s\" was too complex to use the soCreate option!";
inline constexpr char16_t cNoRootRaise[] = u"There is no node for the given path \"%s\".";
inline constexpr char16_t cNoRootCreate[] = u"It is not possible to use XPath statements on documents without rootnode!";
inline constexpr char16_t cEmptyPath[] = u"The specified nodePath is empty!";
inline constexpr char16_t cBothRaiseCreate[] = u"It is not possible to specify both soRaise and soCreate!";
inline constexpr char16_t cStartsWithSlash[] = u"The specified nodePath started with an unexpected token (/)!";
inline constexpr char16_t cNoDOMNode[] = u"The XPath expression does not return a DOM Node!";
inline constexpr char16_t cNotValid[] = u"The XPath expression is not valid!";
inline constexpr char16_t cErrorAt[] = u"The XPath expression contains an error at \"%s\"!";
inline constexpr char16_t cAfterStar[] = u"\r\na \"/\" or \"[\" was expected after the \"*\".";
inline constexpr char16_t cAfterDots[] = u"\r\na \"/\" or \"[\" was expected after the \"..\".";
inline constexpr char16_t cDeepParent[] = u"\r\nThe \"//\" cannot be used in combination with \"..\".";
inline constexpr char16_t cCreateDeep[] =
    u"The soCreate option cannot be used in combination with the \"//\" search option!";
inline constexpr char16_t cInvalidCast[] = u"Invalid class typecast";

// Brackets inside brackets and selections inside filters nest at most this
// deep; beyond it a path is refused as invalid rather than risking the stack.
constexpr int kMaxNesting = 200;
thread_local int GNesting = 0;
thread_local uint64_t GEpochCounter = 0;
thread_local uint64_t GEpoch = 0;

struct TNestingGuard {
  TNestingGuard() {
    if (++GNesting > kMaxNesting) {
      --GNesting;
      throw EXoDomSyntax(std::u16string(cNotValid));
    }
  }
  ~TNestingGuard() { --GNesting; }
};

// A pair set (node, step) for the frames a walk has worked on already.
class TFrameSet {
public:
  bool Insert(TXoDOMNode* ANode, uint32_t AStep) {
    if ((FCount + 1) * 2 > FTable.size()) Grow();
    size_t mask = FTable.size() - 1;
    size_t h = Hash(ANode, AStep) & mask;
    while (FTable[h].Node) {
      if (FTable[h].Node == ANode && FTable[h].Step == AStep) return false;
      h = (h + 1) & mask;
    }
    FTable[h] = {ANode, AStep};
    ++FCount;
    return true;
  }

private:
  struct TEntry {
    TXoDOMNode* Node = nullptr;
    uint32_t Step = 0;
  };
  static size_t Hash(TXoDOMNode* p, uint32_t s) {
    return static_cast<size_t>(((reinterpret_cast<uintptr_t>(p) >> 3) ^ (uint64_t(s) << 40)) *
                                   0x9E3779B97F4A7C15ull >> 17);
  }
  void Grow() {
    std::vector<TEntry> old;
    old.swap(FTable);
    FTable.assign(old.empty() ? 64 : old.size() * 2, TEntry());
    FCount = 0;
    for (const TEntry& e : old)
      if (e.Node) Insert(e.Node, e.Step);
  }
  std::vector<TEntry> FTable;
  size_t FCount = 0;
};

bool IsBlank(char16_t c) { return c <= u' '; }

std::u16string_view TrimView(std::u16string_view s) {
  size_t b = 0, e = s.size();
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  return s.substr(b, e - b);
}

char16_t FoldASCII(char16_t c) { return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c; }

// The two built-in collations, compared inline by name matching.
const TXoXPathCollationClass GCollationCI = TXoXPathCollationASCIICI::ClassRef();
const TXoXPathCollationClass GCollationCodepoint = TXoXPathCollationCodepoint::ClassRef();

// Name comparison under a collation; the two built-in ones inline.
[[gnu::always_inline]] inline bool SameName(TXoXPathCollationClass ACollation, std::u16string_view A,
                                            std::u16string_view B) {
  if (ACollation == GCollationCI) {
    if (A.size() != B.size()) return false;
    for (size_t i = 0; i < A.size(); ++i)
      if (A[i] != B[i] && FoldASCII(A[i]) != FoldASCII(B[i])) return false;
    return true;
  }
  if (ACollation == GCollationCodepoint) return A == B;
  return ACollation->SameText(A, B);
}

// "text()" and "node()": a lower-case first letter, then any case.
bool IsKeyword(std::u16string_view ALocal, std::u16string_view AKeyword) {
  if (ALocal.size() != AKeyword.size() || ALocal.empty() || ALocal[0] != AKeyword[0]) return false;
  for (size_t i = 1; i < ALocal.size(); ++i)
    if (FoldASCII(ALocal[i]) != AKeyword[i]) return false;
  return true;
}

// The bracketed parts of a filter text: each part runs to the "]" that
// closes its "["; text behind the last part is a part of its own.
std::vector<std::u16string> CutFilters(std::u16string_view AText) {
  std::vector<std::u16string> parts;
  size_t start = 0;
  int depth = 0;
  for (size_t i = 0; i < AText.size(); ++i) {
    if (AText[i] == u'[') {
      ++depth;
    } else if (AText[i] == u']') {
      if (--depth <= 0) {
        std::u16string_view p = TrimView(AText.substr(start, i + 1 - start));
        if (!p.empty()) parts.emplace_back(p);
        start = i + 1;
        depth = 0;
      }
    }
  }
  std::u16string_view tail = TrimView(AText.substr(std::min(start, AText.size())));
  if (!tail.empty()) parts.emplace_back(tail);
  return parts;
}

void CompileWalk(std::u16string_view APath, bool ADeep, std::u16string_view APrevStep, bool ALocalNameMatch,
                 TXoSelectAlt& AAlt, int ANesting);

// The number of a filter that is a plain index: "[", blanks, at most nine
// digits, blanks, "]" (it compiles to the index form and keeps the one
// candidate at that position); -1 for any other filter.
int32_t PlainIndex(std::u16string_view AFilter) {
  size_t i = 0, n = AFilter.size();
  if (n < 3 || AFilter[0] != u'[' || AFilter[n - 1] != u']') return -1;
  ++i;
  --n;
  while (i < n && AFilter[i] == u' ') ++i;
  while (n > i && AFilter[n - 1] == u' ') --n;
  if (i == n || n - i > 9) return -1;
  int32_t v = 0;
  for (; i < n; ++i) {
    if (AFilter[i] < u'0' || AFilter[i] > u'9') return -1;
    v = v * 10 + (AFilter[i] - u'0');
  }
  return v;
}

void SetError(TXoSelectStep& AStep, std::u16string AMessage) {
  AStep.Error = 1;
  AStep.ErrorMessage = std::move(AMessage);
  AStep.Kind = TXoSelectStep::skNone;
  AStep.IsLast = true;
}

// Cuts the path into steps as the walker would on reaching each of them.
void CompileWalk(std::u16string_view APath, bool ADeep, std::u16string_view APrevStep, bool ALocalNameMatch,
                 TXoSelectAlt& AAlt, int ANesting) {
  std::u16string prevStep(APrevStep);
  std::u16string_view path = APath;
  bool deep = ADeep;
  for (;;) {
    AAlt.Steps.emplace_back();
    TXoSelectStep& s = AAlt.Steps.back();
    s.Deep = deep;
    s.AfterDot = prevStep == u".";
    if (!path.empty() && path[0] == u'/') return SetError(s, cStartsWithSlash);

    // Cut off the step: over a leading bracketed group, then to the next
    // "/" outside a filter.
    size_t n = path.size(), i = 0, stepStart = 0;
    if (n && path[0] == u'(') {
      int d = 0;
      for (; i < n; ++i) {
        if (path[i] == u'(') ++d;
        if (path[i] == u')' && --d == 0) break;
      }
      if (i < n) stepStart = ++i;
    }
    while (i < n) {
      char16_t c = path[i];
      if (c == u'[') {
        size_t j = path.find(u']', i);
        i = j == std::u16string_view::npos ? n : j + 1;
        continue;
      }
      if (c == u'/') break;
      ++i;
    }
    std::u16string_view stepText, rest;
    if (i >= n) {
      stepText = TrimView(path);
    } else {
      stepText = TrimView(path.substr(stepStart, i - stepStart));
      rest = path.substr(i);
    }
    bool nextDeep = false;
    if (!rest.empty()) {
      if (rest.size() >= 2 && rest[1] == u'/') {
        nextDeep = true;
        rest.remove_prefix(2);
      } else {
        if (rest.size() == 1) return SetError(s, cNoDOMNode);
        rest.remove_prefix(1);
      }
    }
    s.NextDeep = nextDeep;

    // Filters from the first "[" on.
    std::u16string_view name = stepText;
    size_t fb = stepText.find(u'[');
    if (fb != std::u16string_view::npos) {
      s.FilterText = std::u16string(TrimView(stepText.substr(fb)));
      name = TrimView(stepText.substr(0, fb));
      s.Filters = CutFilters(s.FilterText);
      s.LeadIndex = PlainIndex(s.Filters.empty() ? std::u16string_view() : std::u16string_view(s.Filters[0]));
    }
    s.CreateAllowed = s.FilterText.empty() || s.FilterText == u"[0]";
    if (name.empty() && !deep) return SetError(s, cNotValid);

    std::u16string prefix, local;
    size_t colon = name.find(u':');
    if (colon == std::u16string_view::npos) {
      local = name;
    } else {
      prefix = name.substr(0, colon);
      local = name.substr(colon + 1);
    }
    if (prefix.empty() && (ALocalNameMatch || local == u"*" || local == u".")) prefix = u"*";
    if (!prefix.empty() && prefix[0] == u'@') {
      prefix.erase(0, 1);
      local.insert(local.begin(), u'@');
    }

    if (!name.empty() && name[0] == u'(') {
      s.Kind = TXoSelectStep::skGroup;
      size_t d = 0, e = 1;
      for (e = 0; e < name.size(); ++e) {
        if (name[e] == u'(') ++d;
        if (name[e] == u')' && --d == 0) break;
      }
      if (ANesting + 1 > kMaxNesting) return SetError(s, cNotValid);
      s.Group = std::make_unique<TXoSelectAlt>();
      CompileWalk(name.substr(1, e - 1), deep, u"", ALocalNameMatch, *s.Group, ANesting + 1);
    } else if (IsKeyword(local, u"text()")) {
      s.Kind = TXoSelectStep::skText;
    } else if (IsKeyword(local, u"node()")) {
      s.Kind = TXoSelectStep::skNode;
    } else if (!local.empty() && local[0] == u'@') {
      s.Kind = TXoSelectStep::skAttr;
      local.erase(0, 1);
      if (ALocalNameMatch || (prefix.empty() && local == u"*")) prefix = u"*";
    } else if (!local.empty() && local[0] == u'*') {
      if (local != u"*") return SetError(s, XoFormat(cErrorAt, {stepText}) + cAfterStar);
      s.Kind = TXoSelectStep::skStar;
    } else if (!local.empty() && local[0] == u'.') {
      if (local != u"." && local != u"..") return SetError(s, XoFormat(cErrorAt, {stepText}) + cAfterDots);
      if (local == u"..") {
        if (deep) return SetError(s, XoFormat(cErrorAt, {stepText}) + cDeepParent);
        s.Kind = TXoSelectStep::skParent;
      } else {
        s.Kind = TXoSelectStep::skSelf;
      }
    } else if (local.empty() && deep) {
      s.Kind = TXoSelectStep::skAll;
    } else {
      s.Kind = TXoSelectStep::skName;
    }
    s.Prefix = std::move(prefix);
    s.Local = std::move(local);
    s.IsLast = rest.empty() && !nextDeep;
    if (s.IsLast) return;
    prevStep = std::u16string(name);
    path = rest;
    deep = nextDeep;
  }
}

bool WalkIsUnique(const TXoSelectAlt& AAlt) {
  int deep = 0;
  for (const TXoSelectStep& s : AAlt.Steps) {
    if (s.Deep) ++deep;
    switch (s.Kind) {
      case TXoSelectStep::skParent:
      case TXoSelectStep::skGroup:
        return false;
      case TXoSelectStep::skAttr:
      case TXoSelectStep::skSelf:
        // A document context gives its root element's attributes, and "."
        // in a deep search visits the document and its root element both.
        if (s.Deep) return false;
        break;
      default:
        break;
    }
  }
  return deep <= 1;
}

// A set of node pointers (open addressing) for results that grow large.
class TNodeSet {
public:
  bool Insert(TXoDOMNode* ANode) {
    if ((FCount + 1) * 2 > FTable.size()) Grow();
    size_t mask = FTable.size() - 1;
    size_t h = Hash(ANode) & mask;
    while (FTable[h]) {
      if (FTable[h] == ANode) return false;
      h = (h + 1) & mask;
    }
    FTable[h] = ANode;
    ++FCount;
    return true;
  }

  // Room for ACount nodes without growing.
  void Reserve(size_t ACount) {
    size_t n = 64;
    while (n < ACount * 2 + 2) n *= 2;
    if (n > FTable.size()) {
      std::vector<TXoDOMNode*> old;
      old.swap(FTable);
      FTable.assign(n, nullptr);
      FCount = 0;
      for (TXoDOMNode* p : old)
        if (p) Insert(p);
    }
  }

private:
  static size_t Hash(TXoDOMNode* p) {
    return static_cast<size_t>((reinterpret_cast<uintptr_t>(p) >> 3) * 0x9E3779B97F4A7C15ull >> 17);
  }
  void Grow() {
    std::vector<TXoDOMNode*> old;
    old.swap(FTable);
    FTable.assign(old.empty() ? 64 : old.size() * 2, nullptr);
    FCount = 0;
    for (TXoDOMNode* p : old)
      if (p) Insert(p);
  }
  std::vector<TXoDOMNode*> FTable;
  size_t FCount = 0;
};

// The result of a walk: appends a node unless it is there already.
class TResult {
public:
  explicit TResult(std::vector<TXoDOMNode*>& ANodes) : FNodes(ANodes) {
    for (TXoDOMNode* n : ANodes) Add(n, true);
  }
  // While set, nodes are appended unchecked (a walk that cannot repeat a
  // node, into an empty result).
  bool Unchecked = false;
  void Add(TXoDOMNode* ANode, bool AKnown = false) {
    if (Unchecked) {
      FNodes.push_back(ANode);
      return;
    }
    if (!FUseSet) {
      if (FNodes.size() < 16) {
        if (!AKnown && std::find(FNodes.begin(), FNodes.end(), ANode) == FNodes.end()) FNodes.push_back(ANode);
        return;
      }
      FUseSet = true;
      FSet.Reserve(FNodes.size() * 2);
      for (TXoDOMNode* n : FNodes) FSet.Insert(n);
    }
    if (FSet.Insert(ANode) && !AKnown) FNodes.push_back(ANode);
  }

private:
  std::vector<TXoDOMNode*>& FNodes;
  TNodeSet FSet;
  bool FUseSet = false;
};

struct TWalkFrame {
  TXoDOMNode* Node;
  uint32_t Step;
};

// Buffers of one walk, kept per thread for the next walk.
struct TWalkScratch {
  std::vector<TWalkFrame> Stack;
  TXoDOMObjectList Cands;
  TXoDOMObjectList Kept;
  std::vector<TXoDOMNode*> Group;
  std::vector<TXoDOMNode*> Descend;  // children a deep step goes on into
  // A deep scan: the nodes found, each with the number of its parent in
  // document order, and the numbers of the ancestors of the current node.
  enum : uint8_t { kOpen, kPassed, kRaised };  // the filter of a candidate: not yet, passed, raised
  struct TMatch {
    uint32_t Parent;
    TXoDOMNode* Node;
    uint8_t State;
  };
  std::vector<TMatch> Matches, Sorted;
  TXoDOMObjectList One;  // a single candidate
  std::vector<uint32_t> Ancestors, Counts;
};

thread_local std::vector<std::unique_ptr<TWalkScratch>> GScratchPool;

class TScratchLease {
public:
  TScratchLease() {
    if (GScratchPool.empty()) {
      FScratch = new TWalkScratch();
    } else {
      FScratch = GScratchPool.back().release();
      GScratchPool.pop_back();
    }
  }
  ~TScratchLease() {
    FScratch->Stack.clear();
    FScratch->Cands.Clear();
    FScratch->Kept.Clear();
    FScratch->Group.clear();
    FScratch->Descend.clear();
    // Buffers of a large scan are not kept for the next walk.
    if (FScratch->Matches.capacity() > 65536) {
      std::vector<TWalkScratch::TMatch>().swap(FScratch->Matches);
      std::vector<TWalkScratch::TMatch>().swap(FScratch->Sorted);
      std::vector<uint32_t>().swap(FScratch->Counts);
    }
    if (GScratchPool.size() < 64)
      GScratchPool.emplace_back(FScratch);
    else
      delete FScratch;
  }
  TWalkScratch* operator->() const { return FScratch; }

private:
  TWalkScratch* FScratch;
};

inline TXoDOMNode* NodeAt(const TXoDOMObjectList& AList, int32_t AIndex) {
  return static_cast<TXoDOMNode*>(*(AList.begin() + AIndex));
}

// The next node of a chain of children, with the node after it requested
// from memory already: the walk over a large tree waits on memory, and a
// chain can only be followed one node at a time.
inline TXoDOMNode* NextOf(TXoDOMNode* ANode) {
  TXoDOMNode* n = *++TXoDOMNode::TChildIter(ANode);
  if (n) {
    __builtin_prefetch(n);
    __builtin_prefetch(reinterpret_cast<const char*>(n) + 64);
  }
  return n;
}
inline TXoDOMNode* FirstOf(TXoDOMNode* ANode) {
  TXoDOMNode* n = ANode->FirstChild();
  if (n) {
    __builtin_prefetch(n);
    __builtin_prefetch(reinterpret_cast<const char*>(n) + 64);
  }
  return n;
}

// The children a deep search descends into: every child but attributes.
// Where a step can find nothing at a node without children (every kind but
// ".", a group and ".."), such children are passed over: the walk would
// visit them for nothing. A selection that creates visits them all, because
// an element where the step finds nothing refuses to create below "//".
inline bool Visit(TXoDOMNode* ANode, bool ALeaves) {
  if (ANode->GetNodeType() == ntAttribute) return false;
  TXoDOMNode* first = ANode->FirstChild();
  // The node will be a context: its first child is requested now.
  if (first) __builtin_prefetch(first);
  return ALeaves || first;
}
inline bool NeedsLeaves(const TXoSelectStep& AStep, const TXoSelectRun& ARun) {
  return ARun.Create || AStep.Kind == TXoSelectStep::skSelf || AStep.Kind == TXoSelectStep::skGroup ||
         AStep.Kind == TXoSelectStep::skParent || AStep.Kind == TXoSelectStep::skNone;
}

TXoXPathEquation* FilterFor(TXoSelectStep& AStep, size_t AIndex, const TXoSelectRun& ARun,
                            std::unique_ptr<TXoXPathEquation>& ATemp) {
  if (AStep.Compiled.size() > AIndex && AStep.Compiled[AIndex]) {
    TXoXPathEquation* eq = AStep.Compiled[AIndex].get();
    if (eq->Collation() == ARun.Collation) return eq;
  }
  bool shareable = false;
  std::unique_ptr<TXoXPathEquation> eq = XoXPathCompileFilter(
      AStep.Filters[AIndex], ARun.LocalNameMatch ? soLocalName : soQualifiedName, ARun.Collation, &shareable);
  if (!shareable) {
    ATemp = std::move(eq);
    return ATemp.get();
  }
  if (AStep.Compiled.size() <= AIndex) AStep.Compiled.resize(AIndex + 1);
  AStep.Compiled[AIndex] = std::move(eq);
  return AStep.Compiled[AIndex].get();
}

void Walk(TXoDOMNode* AContext, TXoSelectAlt& AAlt, const TXoSelectRun& ARun, TResult& AResult);

// Step 8 of the walker: the candidates of a step at one context node.
// With ADescend, the children a deep search goes on into are gathered on the
// same pass over the children where the kind of step walks them anyway;
// answers whether it did.
bool Collect(TXoDOMNode* ANode, TXoSelectStep& s, const TXoSelectRun& ARun, TWalkScratch& w,
             std::vector<TXoDOMNode*>* ADescend) {
  TXoDOMObjectList& cands = w.Cands;
  bool leaves = NeedsLeaves(s, ARun);
  // With a plain index as first filter, the candidates behind that one are
  // not needed (unless the children are gathered for a deep search).
  int32_t limit = !ADescend && s.LeadIndex >= 0 ? s.LeadIndex + 1 : INT32_MAX;
  TXoXPathCollationClass coll = ARun.Collation;
  bool anyPrefix = s.Prefix == u"*";
  switch (s.Kind) {
    case TXoSelectStep::skGroup: {
      // A group at the same node gives the same nodes for the rest of the
      // selection; kept, nested groups under deep searches stay polynomial.
      uint64_t epoch = GEpoch;
      if (epoch && s.GroupMemoEpoch != epoch) {
        s.GroupMemo.clear();
        s.GroupMemoEpoch = epoch;
      }
      if (epoch) {
        auto it = s.GroupMemo.find(ANode);
        if (it != s.GroupMemo.end()) {
          for (TXoDOMNode* n : it->second) cands.Add(n);
          break;
        }
      }
      std::vector<TXoDOMNode*> tmp;
      TXoSelectRun sub = ARun;
      sub.FirstOnly = false;
      {
        TResult r(tmp);
        TNestingGuard guard;
        Walk(ANode, *s.Group, sub, r);
      }
      for (TXoDOMNode* n : tmp) cands.Add(n);
      if (epoch) s.GroupMemo[ANode] = std::move(tmp);
      break;
    }
    case TXoSelectStep::skText:
      for (TXoDOMNode* c = FirstOf(ANode); c; c = NextOf(c)) {
        if (ADescend && Visit(c, leaves)) ADescend->push_back(c);
        if ((c->GetNodeType() == ntText || c->GetNodeType() == ntCDATA) && cands.Add(c) + 1 >= limit) break;
      }
      return ADescend != nullptr;
    case TXoSelectStep::skNode:
    case TXoSelectStep::skAll:
      for (TXoDOMNode* c = FirstOf(ANode); c; c = NextOf(c)) {
        if (c->GetNodeType() == ntAttribute) continue;
        if (ADescend && Visit(c, leaves)) ADescend->push_back(c);
        if (cands.Add(c) + 1 >= limit) break;
      }
      return ADescend != nullptr;
    case TXoSelectStep::skAttr: {
      TXoDOMElement* e = nullptr;
      if (ANode->GetNodeType() == ntElement)
        e = static_cast<TXoDOMElement*>(ANode);
      else if (ANode->GetNodeType() == ntDocument)
        e = static_cast<TXoDOMDocument*>(ANode)->RootNode();
      if (!e) break;
      bool anyName = s.Local == u"*";
      for (TXoDOMNode* a = e->FirstAttributeNode(); a; a = TXoDOMElement::NextTyped(a)) {
        auto* attr = static_cast<TXoDOMAttribute*>(a);
        if (!ARun.LocalNameMatch && attr->IsNamespace()) continue;
        if (!anyName && !SameName(coll, attr->LocalNameView(), s.Local)) continue;
        if (!anyPrefix && !SameName(coll, attr->PrefixView(), s.Prefix)) continue;
        cands.Add(attr);
      }
      break;
    }
    case TXoSelectStep::skStar:
      if (ANode->GetNodeType() == ntElement) {
        auto* e = static_cast<TXoDOMElement*>(ANode);
        for (TXoDOMNode* c = e->FirstElementNode(); c; c = TXoDOMElement::NextTyped(c))
          if ((anyPrefix || SameName(coll, c->PrefixView(), s.Prefix)) && cands.Add(c) + 1 >= limit) break;
      } else if (ANode->GetNodeType() == ntDocument) {
        if (TXoDOMElement* r = static_cast<TXoDOMDocument*>(ANode)->RootNode())
          if (anyPrefix || SameName(coll, r->PrefixView(), s.Prefix)) cands.Add(r);
      }
      break;
    case TXoSelectStep::skSelf:
      if (!(s.AfterDot && !s.Deep)) cands.Add(ANode);
      break;
    case TXoSelectStep::skParent:
      if (TXoDOMNode* p = ANode->ParentNode()) cands.Add(p);
      break;
    case TXoSelectStep::skName:
      for (TXoDOMNode* c = FirstOf(ANode); c; c = NextOf(c)) {
        if (c->GetNodeType() == ntAttribute) continue;
        if (ADescend && Visit(c, leaves)) ADescend->push_back(c);
        if (!SameName(coll, c->LocalNameView(), s.Local)) continue;
        if (!anyPrefix && !SameName(coll, c->PrefixView(), s.Prefix)) continue;
        if (cands.Add(c) + 1 >= limit) break;
      }
      return ADescend != nullptr;
    case TXoSelectStep::skNone:
      break;
  }
  return false;
}

// Keeps the candidate at AIndex alone (none when there is no such one).
void KeepOnly(TWalkScratch& w, int64_t AIndex) {
  w.Kept.Clear();
  if (AIndex >= 0 && AIndex < w.Cands.Count()) w.Kept.Add(*(w.Cands.begin() + AIndex));
  w.Cands.Assign(&w.Kept);
}

void ApplyFilters(TXoSelectStep& s, const TXoSelectRun& ARun, TWalkScratch& w) {
  for (size_t k = 0; k < s.Filters.size() && w.Cands.Count() > 0; ++k) {
    // A filter that is one index, first() or last() keeps one candidate,
    // as evaluating it for each would.
    if (k == 0 && s.LeadIndex >= 0) {
      KeepOnly(w, s.LeadIndex);
      continue;
    }
    std::unique_ptr<TXoXPathEquation> temp;
    TXoXPathEquation* eq = FilterFor(s, k, ARun, temp);
    if (!eq->Sibling() && eq->Childs().empty() && eq->Term()) {
      TXoXPathBaseTerm* t = eq->Term();
      if (auto* x = dynamic_cast<TXoXPathChildNodeX*>(t)) {
        KeepOnly(w, x->Index());
        continue;
      }
      if (dynamic_cast<TXoXPathFirstNode*>(t)) {
        KeepOnly(w, 0);
        continue;
      }
      if (dynamic_cast<TXoXPathLastNode*>(t)) {
        KeepOnly(w, w.Cands.Count() - 1);
        continue;
      }
    }
    w.Kept.Clear();
    int32_t n = w.Cands.Count();
    for (int32_t i = 0; i < n; ++i)
      if (eq->Evaluate(&w.Cands, i)) w.Kept.Add(*(w.Cands.begin() + i));
    w.Cands.Assign(&w.Kept);
  }
}

void Create(TXoDOMNode* ANode, TXoSelectStep& s, TXoDOMObjectList& ACands, const TXoSelectRun& ARun) {
  auto* e = static_cast<TXoDOMElement*>(ANode);
  std::u16string name = (s.Prefix.empty() || s.Prefix == u"*") ? s.Local : s.Prefix + u":" + s.Local;
  TXoDOMNode* made;
  if (s.Kind == TXoSelectStep::skName)
    made = e->AddElement(name);
  else
    made = e->AddAttribute(name);
  if (ARun.Created) ARun.Created->insert(made);
  ACands.Add(made);
  // The tree has changed: what was learnt about it so far is not kept.
  GEpoch = ++GEpochCounter;
}

// A deep step leaves out the nodes that this selection created.
void DropCreated(const TXoSelectRun& ARun, TWalkScratch& w) {
  w.Kept.Clear();
  for (TXoDOMObject* o : w.Cands)
    if (!ARun.Created->count(static_cast<TXoDOMNode*>(o))) w.Kept.Add(o);
  w.Cands.Assign(&w.Kept);
  std::erase_if(w.Descend, [&](TXoDOMNode* n) { return ARun.Created->count(n) != 0; });
}

// Works off the frames above ABase.
void RunFrames(TWalkScratch& w, TXoSelectAlt& AAlt, const TXoSelectRun& ARun, TResult& AResult, TFrameSet* ASeen,
               size_t ABase);

// The kinds of step that find nothing at a node without children.
inline bool ScansInOrder(const TXoSelectStep& AStep) {
  switch (AStep.Kind) {
    case TXoSelectStep::skName:
    case TXoSelectStep::skStar:
    case TXoSelectStep::skText:
    case TXoSelectStep::skNode:
    case TXoSelectStep::skAll:
      return true;
    default:
      return false;
  }
}

// Whether ANode, a child of AParent that is no attribute, is a candidate of
// the step at AParent: the test that Collect makes for each child.
inline bool IsCandidate(TXoDOMNode* AParent, TXoDOMNode* ANode, const TXoSelectStep& s,
                        TXoXPathCollationClass ACollation, bool AAnyPrefix) {
  switch (s.Kind) {
    case TXoSelectStep::skName:
      return SameName(ACollation, ANode->LocalNameView(), s.Local) &&
             (AAnyPrefix || SameName(ACollation, ANode->PrefixView(), s.Prefix));
    case TXoSelectStep::skStar:
      if (ANode->GetNodeType() != ntElement) return false;
      if (AParent->GetNodeType() == ntDocument) {
        if (static_cast<TXoDOMDocument*>(AParent)->RootNode() != ANode) return false;
      } else if (AParent->GetNodeType() != ntElement) {
        return false;
      }
      return AAnyPrefix || SameName(ACollation, ANode->PrefixView(), s.Prefix);
    case TXoSelectStep::skText:
      return ANode->GetNodeType() == ntText || ANode->GetNodeType() == ntCDATA;
    default:  // skNode, skAll
      return true;
  }
}

// A deep step at ARoot where no node can be reached twice and nothing is
// created. The walk of frames works the step at ARoot, then at each node
// below it in document order, every node with its own candidates before
// the search goes deeper; the steps behind it (downward ones only) run for
// each candidate in turn. Here the subtree is passed once in document order
// (each node read once, which is what a search of a large tree waits for);
// the candidates found are then put in the order of their parents and
// worked as the frames would work them.
// A single filter whose value depends on the candidate alone and whose
// evaluation has no effect but its result may be evaluated in any order: the
// scan evaluates it where it finds a candidate, while its children are still
// in the cache. Compiled here, at the first candidate, as the plain order
// would compile it at the first parent with candidates (the filter text shows
// that compiling makes no function of an application); nil when the step's
// filters are not of that kind.
TXoXPathEquation* PrepareEagerFilter(TXoSelectStep& s, const TXoSelectRun& ARun) {
  if (s.Filters.size() != 1 || s.LeadIndex >= 0 || !XoXPathFilterTextIsPure(s.Filters[0])) return nullptr;
  std::unique_ptr<TXoXPathEquation> temp;
  TXoXPathEquation* eq = FilterFor(s, 0, ARun, temp);
  if (temp || !XoXPathFilterIsPure(eq)) return nullptr;
  return eq;
}

// A deep step at ARoot where no node can be reached twice and nothing is
// created. The walk of frames works the step at ARoot, then at each node
// below it in document order, every node with its own candidates before
// the search goes deeper; the steps behind it (downward ones only) run for
// each candidate in turn. Here the subtree is passed once in document order
// (each node read once, which is what a search of a large tree waits for);
// the candidates found are then put in the order of their parents and
// worked as the frames would work them.
void DeepScan(TXoDOMNode* ARoot, uint32_t AStep, TWalkScratch& w, TXoSelectAlt& AAlt, const TXoSelectRun& ARun,
              TResult& AResult) {
  TXoSelectStep& s = AAlt.Steps[AStep];
  TXoXPathCollationClass coll = ARun.Collation;
  bool anyPrefix = s.Prefix == u"*";
  std::vector<TWalkScratch::TMatch>& found = w.Matches;
  std::vector<uint32_t>& anc = w.Ancestors;
  found.clear();
  anc.clear();
  // The filter evaluated during the scan: -1 not known yet, 0 none, 1 yes.
  // A candidate whose evaluation raised is kept with its error, which comes
  // out when the plain order reaches it (an evaluation without effect would
  // raise the same again); the scan evaluates nothing after it, so that a
  // candidate before it in the plain order may still raise first.
  int eager = s.Filters.empty() ? 0 : -1;
  TXoXPathEquation* eagerFilter = nullptr;
  std::exception_ptr raised;
  uint32_t seq = 0;
  uint32_t curSeq = seq++;
  bool sorted = true;
  TXoDOMNode* cur = ARoot;
  for (;;) {
    TXoDOMNode* next = nullptr;
    for (TXoDOMNode* c = cur->FirstChild(); c; c = *++TXoDOMNode::TChildIter(c))
      if (c->GetNodeType() != ntAttribute) {
        next = c;
        break;
      }
    if (next) {
      anc.push_back(curSeq);
    } else {
      // Up to the first ancestor (or the node itself) with a next sibling.
      for (;;) {
        if (cur == ARoot) break;
        for (TXoDOMNode* n = *++TXoDOMNode::TChildIter(cur); n; n = *++TXoDOMNode::TChildIter(n))
          if (n->GetNodeType() != ntAttribute) {
            next = n;
            break;
          }
        if (next) break;
        cur = cur->ParentNode();
        anc.pop_back();
      }
      if (!next) break;
    }
    cur = next;
    curSeq = seq++;
    if (!IsCandidate(cur->ParentNode(), cur, s, coll, anyPrefix)) continue;
    uint8_t state = TWalkScratch::kOpen;
    if (eager < 0) {
      eagerFilter = PrepareEagerFilter(s, ARun);
      eager = eagerFilter ? 1 : 0;
    }
    if (eager > 0) {
      w.One.Clear();
      w.One.Add(cur);
      try {
        if (!eagerFilter->Evaluate(&w.One, 0)) continue;
        state = TWalkScratch::kPassed;
      } catch (...) {
        raised = std::current_exception();
        state = TWalkScratch::kRaised;
        eager = 0;
      }
    }
    uint32_t parent = anc.back();
    if (!found.empty() && found.back().Parent > parent) sorted = false;
    found.push_back({parent, cur, state});
  }
  if (found.empty()) return;
  if (!sorted) {
    // A stable counting sort by parent number.
    std::vector<uint32_t>& counts = w.Counts;
    counts.assign(seq + 1, 0);
    for (const auto& m : found) ++counts[m.Parent + 1];
    for (uint32_t i = 1; i <= seq; ++i) counts[i] += counts[i - 1];
    w.Sorted.resize(found.size());
    for (const auto& m : found) w.Sorted[counts[m.Parent]++] = m;
    found.swap(w.Sorted);
  }
  bool filter = !s.Filters.empty();
  if (s.IsLast && !filter) {
    for (const auto& m : found) AResult.Add(m.Node);
    return;
  }
  // The candidates of one parent at a time. The found list is moved aside:
  // the steps behind this one use the scratch lists themselves.
  std::vector<TWalkScratch::TMatch> all;
  all.swap(found);
  for (size_t i = 0; i < all.size();) {
    size_t j = i;
    w.Cands.Clear();
    if (eagerFilter) {
      // The filter is done for the candidates before the one that raised;
      // the others get it now, in this order.
      for (; j < all.size() && all[j].Parent == all[i].Parent; ++j) {
        const TWalkScratch::TMatch& m = all[j];
        if (m.State == TWalkScratch::kRaised) std::rethrow_exception(raised);
        if (m.State == TWalkScratch::kOpen) {
          w.One.Clear();
          w.One.Add(m.Node);
          if (!eagerFilter->Evaluate(&w.One, 0)) continue;
        }
        w.Cands.Add(m.Node);
      }
    } else {
      while (j < all.size() && all[j].Parent == all[i].Parent) w.Cands.Add(all[j++].Node);
      if (filter) ApplyFilters(s, ARun, w);
    }
    i = j;
    int32_t n = w.Cands.Count();
    if (s.IsLast) {
      for (int32_t k = 0; k < n; ++k) AResult.Add(NodeAt(w.Cands, k));
    } else if (n > 0) {
      size_t base = w.Stack.size();
      for (int32_t k = n - 1; k >= 0; --k) w.Stack.push_back({NodeAt(w.Cands, k), AStep + 1});
      RunFrames(w, AAlt, ARun, AResult, nullptr, base);
    }
  }
  if (found.capacity() < all.capacity()) found.swap(all);
}

void RunFrames(TWalkScratch& w, TXoSelectAlt& AAlt, const TXoSelectRun& ARun, TResult& AResult, TFrameSet* ASeen,
               size_t ABase) {
  while (w.Stack.size() > ABase) {
    TWalkFrame f = w.Stack.back();
    w.Stack.pop_back();
    if (ASeen && !ASeen->Insert(f.Node, f.Step)) continue;
    // The next frame's children are requested from memory while this one
    // is worked on.
    if (!w.Stack.empty()) FirstOf(w.Stack.back().Node);
    TXoSelectStep& s = AAlt.Steps[f.Step];
    if (s.Error) throw EXoDomSyntax(s.ErrorMessage);
    if (s.Deep && !ASeen && !ARun.Create && ScansInOrder(s)) {
      DeepScan(f.Node, f.Step, w, AAlt, ARun, AResult);
      continue;
    }
    w.Cands.Clear();
    w.Descend.clear();
    bool gathered = Collect(f.Node, s, ARun, w, s.Deep ? &w.Descend : nullptr);
    if (s.Deep && ARun.Created && !ARun.Created->empty()) DropCreated(ARun, w);
    if (w.Cands.Count() > 0 && !s.Filters.empty()) ApplyFilters(s, ARun, w);
    if (w.Cands.Count() == 0 && ARun.Create && s.CreateAllowed && f.Node->GetNodeType() == ntElement) {
      if (s.Deep) throw Exception(std::u16string(cCreateDeep));
      // Only a plain name or a named attribute can be made.
      if (!s.Local.empty() &&
          (s.Kind == TXoSelectStep::skName || (s.Kind == TXoSelectStep::skAttr && s.Local != u"*")))
        Create(f.Node, s, w.Cands, ARun);
    }
    // A deep step goes on into the children after the candidates and all
    // that follows from them: pushed first, they come off the stack last.
    if (s.Deep) {
      if (!gathered) {
        bool leaves = NeedsLeaves(s, ARun);
        for (TXoDOMNode* c = FirstOf(f.Node); c; c = NextOf(c))
          if (Visit(c, leaves) && !(ARun.Created && ARun.Created->count(c))) w.Descend.push_back(c);
      }
      for (size_t i = w.Descend.size(); i-- > 0;) w.Stack.push_back({w.Descend[i], f.Step});
    }
    int32_t n = w.Cands.Count();
    if (!s.IsLast) {
      for (int32_t i = n - 1; i >= 0; --i) w.Stack.push_back({NodeAt(w.Cands, i), f.Step + 1});
    } else {
      for (int32_t i = 0; i < n; ++i) AResult.Add(NodeAt(w.Cands, i));
    }
  }
}

void Walk(TXoDOMNode* AContext, TXoSelectAlt& AAlt, const TXoSelectRun& ARun, TResult& AResult) {
  TScratchLease lease;
  TWalkScratch& w = *lease.operator->();
  w.Stack.push_back({AContext, 0});
  // Where a node can be reached twice, a step is worked at a node once: the
  // second time would find the same nodes (and raise the same errors, which
  // the first time did already).
  std::unique_ptr<TFrameSet> seen;
  if (!AAlt.Unique) seen = std::make_unique<TFrameSet>();
  RunFrames(w, AAlt, ARun, AResult, seen.get(), 0);
}

TXoDOMNode* DocumentOf(TXoDOMNode* ANode) {
  if (ANode->GetNodeType() == ntDocument) return ANode;
  if (TXoDOMDocument* d = ANode->DOMDocument()) return d;
  TXoDOMNode* top = ANode;
  while (top->ParentNode()) top = top->ParentNode();
  return top;
}

TXoSelectRun Resolve(TXoDOMObject* ANode, TXoDOMSelectOptions AOptions, bool AFirstOnly) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(std::u16string(_cXoDOMBothCaseOptions));
  if (AOptions.Contains(soRaise) && AOptions.Contains(soCreate)) throw Exception(std::u16string(cBothRaiseCreate));
  TXoSelectRun run;
  if (AOptions.Contains(soCaseSensitive))
    run.Collation = TXoXPathCollationCodepoint::ClassRef();
  else if (AOptions.Contains(soCaseInsensitive))
    run.Collation = TXoXPathCollationASCIICI::ClassRef();
  else
    run.Collation = ANode->GetCollation();
  if (AOptions.Contains(soLocalName))
    run.LocalNameMatch = true;
  else if (AOptions.Contains(soQualifiedName))
    run.LocalNameMatch = false;
  else
    run.LocalNameMatch = ANode->GetSelectMatchOption() == soLocalName;
  run.FirstOnly = AFirstOnly;
  run.Create = AOptions.Contains(soCreate);
  return run;
}

}  // namespace

// ---------------------------------------------------------------------------

int XoSelectNesting() { return GNesting; }
uint64_t XoSelectEpoch() { return GEpoch; }

std::unique_ptr<TXoSelectProgram> TXoSelectProgram::Compile(std::u16string_view APath, bool ALocalNameMatch) {
  auto p = std::make_unique<TXoSelectProgram>();
  p->LocalNameMatch = ALocalNameMatch;
  size_t start = 0;
  for (;;) {
    size_t bar = APath.find(u'|', start);
    std::u16string_view alt =
        TrimView(APath.substr(start, bar == std::u16string_view::npos ? std::u16string_view::npos : bar - start));
    p->Alts.emplace_back();
    TAlt& a = p->Alts.back();
    if (alt == u"/") {
      a.Start = 3;
    } else if (alt.size() >= 2 && alt[0] == u'/' && alt[1] == u'/') {
      a.Start = 2;
      CompileWalk(alt.substr(2), true, u"", ALocalNameMatch, a.Walk, 0);
    } else if (!alt.empty() && alt[0] == u'/') {
      a.Start = 1;
      CompileWalk(alt.substr(1), false, u"", ALocalNameMatch, a.Walk, 0);
    } else {
      a.Start = 0;
      CompileWalk(alt, false, u"", ALocalNameMatch, a.Walk, 0);
    }
    a.Walk.Unique = WalkIsUnique(a.Walk);
    if (bar == std::u16string_view::npos) break;
    start = bar + 1;
  }
  return p;
}

namespace {
// The common path inside a filter, one plain step ("price", "@id") from one
// node, without the walk's machinery. Answers false for any other path.
bool SelectSimple(TXoDOMNode* AContext, TXoSelectProgram& AProgram, const TXoSelectRun& ARun,
                  std::vector<TXoDOMNode*>& ANodes) {
  if (AProgram.Alts.size() != 1 || ARun.Create || !ANodes.empty()) return false;
  TXoSelectProgram::TAlt& a = AProgram.Alts[0];
  if (a.Start != 0 || a.Walk.Steps.size() != 1) return false;
  const TXoSelectStep& s = a.Walk.Steps[0];
  if (s.Error || s.Deep || !s.Filters.empty()) return false;
  TXoXPathCollationClass coll = ARun.Collation;
  bool anyPrefix = s.Prefix == u"*";
  if (s.Kind == TXoSelectStep::skName) {
    for (TXoDOMNode* c = FirstOf(AContext); c; c = NextOf(c)) {
      if (c->GetNodeType() == ntAttribute) continue;
      if (!SameName(coll, c->LocalNameView(), s.Local)) continue;
      if (!anyPrefix && !SameName(coll, c->PrefixView(), s.Prefix)) continue;
      ANodes.push_back(c);
    }
    return true;
  }
  if (s.Kind == TXoSelectStep::skAttr && AContext->GetNodeType() == ntElement) {
    bool anyName = s.Local == u"*";
    auto* e = static_cast<TXoDOMElement*>(AContext);
    for (TXoDOMNode* a = e->FirstAttributeNode(); a; a = TXoDOMElement::NextTyped(a)) {
      auto* attr = static_cast<TXoDOMAttribute*>(a);
      if (!ARun.LocalNameMatch && attr->IsNamespace()) continue;
      if (!anyName && !SameName(coll, attr->LocalNameView(), s.Local)) continue;
      if (!anyPrefix && !SameName(coll, attr->PrefixView(), s.Prefix)) continue;
      ANodes.push_back(attr);
    }
    return true;
  }
  return false;
}
}  // namespace

void XoSelectRun(TXoDOMNode* AContext, TXoSelectProgram& AProgram, const TXoSelectRun& ARun,
                 std::vector<TXoDOMNode*>& ANodes) {
  if (SelectSimple(AContext, AProgram, ARun, ANodes)) return;
  struct TEpoch {
    bool Top;
    uint64_t Saved;
    explicit TEpoch(bool ACreate) : Top(GNesting == 0), Saved(GEpoch) {
      (void)ACreate;  // a creation starts an epoch of its own (see Create)
      if (Top) GEpoch = ++GEpochCounter;
    }
    ~TEpoch() {
      if (Top) GEpoch = Saved;
    }
  } epoch(ARun.Create);
  TNestingGuard guard;
  std::unordered_set<TXoDOMNode*> created;
  TXoSelectRun runWithSet;
  if (ARun.Create && !ARun.Created) {
    runWithSet = ARun;
    runWithSet.Created = &created;
  }
  const TXoSelectRun& run = runWithSet.Created ? runWithSet : ARun;
  TResult result(ANodes);
  for (TXoSelectProgram::TAlt& a : AProgram.Alts) {
    switch (a.Start) {
      case 3:
        result.Add(AContext);
        break;
      default:
        // A walk that cannot repeat a node needs no check while it fills an
        // empty result; a later alternative checks against all it found.
        result.Unchecked = a.Walk.Unique && ANodes.empty();
        Walk(a.Start == 0 ? AContext : DocumentOf(AContext), a.Walk, run, result);
        result.Unchecked = false;
        break;
    }
    if (ARun.FirstOnly && !ANodes.empty()) break;
  }
}

void XoSelect(TXoDOMNode* AContext, std::u16string_view APath, const TXoSelectRun& ARun,
              std::vector<TXoDOMNode*>& ANodes) {
  std::unique_ptr<TXoSelectProgram> p = TXoSelectProgram::Compile(APath, ARun.LocalNameMatch);
  XoSelectRun(AContext, *p, ARun, ANodes);
}

// ---------------------------------------------------------------------------
// The public operations

TXoDOMNodeList* TXoDOMNode::CreateNodeList(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  TXoSelectRun run = Resolve(this, AOptions, false);
  std::unique_ptr<TXoDOMNodeList> list(new TXoDOMNodeList());
  XoSelect(this, APath, run, list->FList);
  if (list->FList.empty()) {
    if (AOptions.Contains(soRaise)) throw EXoDomNotFound(cNoNodesList, {APath});
    if (AOptions.Contains(soCreate)) throw EXoDomNotFound(cTooComplex, {APath});
  }
  return list.release();
}

TXoDOMNode* TXoDOMNode::SelectSingleNode(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  TXoSelectRun run = Resolve(this, AOptions, true);
  std::vector<TXoDOMNode*> nodes;
  XoSelect(this, APath, run, nodes);
  if (nodes.empty()) {
    if (AOptions.Contains(soRaise)) throw EXoDomNotFound(cNoNodeSingle, {APath});
    if (AOptions.Contains(soCreate)) throw EXoDomNotFound(cTooComplex, {APath});
    return nullptr;
  }
  return nodes.front();
}

TXoDOMElementList* TXoDOMElement::CreateElementList(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  TXoSelectRun run = Resolve(this, AOptions, false);
  std::unique_ptr<TXoDOMElementList> list(new TXoDOMElementList());
  std::vector<TXoDOMNode*> nodes;
  XoSelect(this, APath, run, nodes);
  // An element list holds elements only.
  for (TXoDOMNode* n : nodes)
    if (n->GetNodeType() == ntElement) list->FList.push_back(n);
  if (list->FList.empty()) {
    if (AOptions.Contains(soRaise)) throw EXoDomNotFound(cNoNodesElementList, {APath});
    if (AOptions.Contains(soCreate)) throw EXoDomNotFound(cTooComplex, {APath});
  }
  return list.release();
}

TXoDOMElement* TXoDOMElement::SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  TXoDOMNode* n = SelectSingleNode(APath, AOptions);
  if (n && n->GetNodeType() != ntElement) throw EInvalidCast(std::u16string(cInvalidCast));
  return static_cast<TXoDOMElement*>(n);
}

TXoDOMElementList* TXoDOMDocument::CreateElementList(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  if (!FRootNode) {
    if (AOptions.Contains(soRaise)) throw EXoDomNotFound(cNoRootRaise, {APath});
    if (AOptions.Contains(soCreate)) throw Exception(std::u16string(cNoRootCreate));
    return new TXoDOMElementList();
  }
  return FRootNode->CreateElementList(APath, AOptions);
}

TXoDOMElement* TXoDOMDocument::SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  if (APath.empty()) throw Exception(std::u16string(cEmptyPath));
  if (!FRootNode) {
    if (AOptions.Contains(soRaise)) throw EXoDomNotFound(cNoRootRaise, {APath});
    if (AOptions.Contains(soCreate)) throw Exception(std::u16string(cNoRootCreate));
    return nullptr;
  }
  return FRootNode->SelectSingleElement(APath, AOptions);
}

}  // namespace xo
