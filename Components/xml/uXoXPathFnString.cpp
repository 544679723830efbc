// uXoXPath, functions of text: code points, comparison, the string functions
// and the regular expression functions.
#include "uXoTypes.h"
#include "uXoXPath/uXoXPathFnUtils.h"

namespace xo {

// ---------------------------------------------------------------------------
// Shared helpers

std::u16string_view XoXPathTextView(const Variant& AValue, std::u16string& ABuffer) {
  if (AValue.VarType() == varUString || AValue.VarType() == varOleStr) return AValue.StrRef();
  ABuffer = XoVarToStr(AValue, u"", false);
  return ABuffer;
}

namespace {
inline char16_t FoldASCII(char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; }
}  // namespace

int64_t XoXPathPos(TXoXPathCollationClass ACollation, std::u16string_view ASub, std::u16string_view AText) {
  if (ACollation != TXoXPathCollationASCIICI::ClassRef()) return ACollation->Pos(ASub, AText);
  // The same answer as Pos on both texts in lower case, without making them.
  if (ASub.empty() || ASub.size() > AText.size()) return 0;
  const char16_t first = FoldASCII(ASub[0]);
  const size_t last = AText.size() - ASub.size();
  for (size_t i = 0; i <= last; ++i) {
    if (FoldASCII(AText[i]) != first) continue;
    size_t k = 1;
    while (k < ASub.size() && FoldASCII(AText[i + k]) == FoldASCII(ASub[k])) ++k;
    if (k == ASub.size()) return static_cast<int64_t>(i) + 1;
  }
  return 0;
}

std::u16string XoXPathNormalizeSpace(std::u16string_view AText) {
  std::u16string r;
  r.reserve(AText.size());
  size_t i = 0, n = AText.size();
  while (i < n) {
    while (i < n && AText[i] == u' ') ++i;
    size_t s = i;
    while (i < n && AText[i] != u' ') ++i;
    if (i > s) {
      if (!r.empty()) r.push_back(u' ');
      r.append(AText.substr(s, i - s));
    }
  }
  return r;
}

std::u16string XoXPathReplaceAll(std::u16string_view AText, std::u16string_view AFrom, std::u16string_view ATo) {
  if (AFrom.empty()) return std::u16string(AText);
  std::u16string r;
  r.reserve(AText.size());
  size_t from = 0;
  for (size_t p; (p = AText.find(AFrom, from)) != std::u16string_view::npos; from = p + AFrom.size()) {
    r.append(AText.substr(from, p - from));
    r.append(ATo);
  }
  r.append(AText.substr(from));
  return r;
}

std::u16string_view XoXPathCopy(std::u16string_view AText, int64_t AStart, int64_t ACount) {
  if (AStart < 1) AStart = 1;
  const int64_t len = static_cast<int64_t>(AText.size());
  if (ACount <= 0 || AStart > len) return {};
  int64_t avail = len - AStart + 1;
  return AText.substr(static_cast<size_t>(AStart - 1), static_cast<size_t>(ACount < avail ? ACount : avail));
}

TRegExOptions XoXPathRegExOptions(TXoXPathCollationClass ACollation, std::u16string_view AFlags) {
  TRegExOptions o = roNone;
  if (AFlags.empty()) return o;
  if (XoXPathPos(ACollation, u"s", AFlags) > 0) o |= roSingleLine;
  if (XoXPathPos(ACollation, u"m", AFlags) > 0) o |= roMultiLine;
  if (XoXPathPos(ACollation, u"i", AFlags) > 0) o |= roIgnoreCase;
  if (XoXPathPos(ACollation, u"x", AFlags) > 0) o |= roIgnorePatternSpace;
  if (XoXPathPos(ACollation, u"q", AFlags) > 0) o |= roExplicitCapture;
  return o;
}

std::u16string XoXPathTokenText(const std::vector<std::u16string>& ATokens) {
  std::u16string r = u"(";
  for (size_t i = 0; i < ATokens.size(); ++i) {
    if (i) r += u", ";
    r += u'"';
    r += ATokens[i];
    r += u'"';
  }
  r += u')';
  return r;
}

namespace {

// The text that normalize-space, normalize-unicode and string-length work
// on: the context node's value without an argument, else the text of
// argument 0.
std::u16string_view OwnText(const TXoXPathFunction& AFn, TXoDOMObjectList* AList, int32_t AIndex, Variant& AHold,
                            std::u16string& ABuffer) {
  if (AFn.ParamCount() == 0) {
    TXoDOMNode* n = TXoXPathFunction::ContextNode(AList, AIndex);
    AHold = n ? Variant(n->GetNodeValue()) : Variant::Null();
  } else {
    AHold = AFn.ParamValue(0, AList, AIndex);
  }
  return XoXPathTextView(AHold, ABuffer);
}

// The texts of arguments 0 and 1, for the two-string functions.
struct TTwoTexts {
  Variant V0, V1;
  std::u16string B0, B1;
  std::u16string_view T0, T1;
  TTwoTexts(const TXoXPathFunction& AFn, TXoDOMObjectList* AList, int32_t AIndex)
      : V0(AFn.ParamValue(0, AList, AIndex)), V1(AFn.ParamValue(1, AList, AIndex)) {
    T0 = XoXPathTextView(V0, B0);
    T1 = XoXPathTextView(V1, B1);
  }
};

}  // namespace

// ---------------------------------------------------------------------------
// Code points and comparison

Variant TXoXPathFnCodepointsToString::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1)
    XoXPathCountError(
        u"The \"fn:codepoints-to-string((int,int,...))\" function may contain 0 or 1 parameter, but not more!");
  if (ParamCount() == 0) return Variant::Null();
  auto* seq = dynamic_cast<TXoXPathSequenceTerm*>(Param(0));
  if (!seq) XoXPathCountError(u"The \"fn:codepoints-to-string((int,int,...))\" requires a list of integers!");
  std::u16string r;
  r.reserve(static_cast<size_t>(seq->Count()));
  for (int32_t i = 0; i < seq->Count(); ++i) {
    Variant v = seq->GetTerm(i)->Value(AList, AIndex);
    if (XoXPathKind(v) != 1) return Variant::Null();
    r.push_back(static_cast<char16_t>(static_cast<uint64_t>(XoVarToInt64(v)) & 0xFFFF));
  }
  return Variant(std::move(r));
}

Variant TXoXPathFnStringToCodepoints::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1)
    XoXPathCountError(u"The \"fn:string-to-codepoints(string)\" function must contain 1 parameter!");
  Variant v = ParamValue(0, AList, AIndex);
  if (XoXPathKind(v) != 3) return Variant::Null();
  std::u16string buf;
  std::u16string_view t = XoXPathTextView(v, buf);
  std::u16string r = u"(";
  for (size_t i = 0; i < t.size(); ++i) {
    if (i) r += u", ";
    r += IntToStr(static_cast<uint16_t>(t[i]));
  }
  r += u')';
  return Variant(std::move(r));
}

Variant TXoXPathFnCompare::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n < 2)
    XoXPathCountError(u"The \"fn:compare(comp1, comp2, collation*)\" function must contain at least parameters!");
  if (n > 3)
    XoXPathCountError(u"The \"fn:compare(comp1, comp2, collation*)\" function has a maximum of 3 paramaters!");
  TXoXPathCollationClass coll = n == 3 ? XoXPathCollationByURI(ParamText(2, AList, AIndex)) : Collation();
  TTwoTexts t(*this, AList, AIndex);
  if (XoVarIsEmpty(t.V0) || XoVarIsEmpty(t.V1)) return Variant::Null();
  return Variant(static_cast<int32_t>(coll->Compare(t.T0, t.T1)));
}

Variant TXoXPathFnCodepointEqual::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2)
    XoXPathCountError(u"The \"fn:codepoint-equal(comp1, comp2)\" function must contain 2 parameters!");
  Variant a = ParamValue(0, AList, AIndex), b = ParamValue(1, AList, AIndex);
  if (XoXPathKind(a) != 3 || XoXPathKind(b) != 3) return Variant::Null();
  return Variant(a == b);
}

// ---------------------------------------------------------------------------
// Joining and cutting

Variant TXoXPathFnConcat::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  Variant r(u"");
  for (int32_t i = 0; i < ParamCount(); ++i) r += ParamValue(i, AList, AIndex);
  return r;
}

Variant TXoXPathFnStringJoin::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n < 1)
    XoXPathCountError(u"The \"fn:string-join((string,string,...),sep*)\" function must contain at least 1 parameter!");
  if (n > 2)
    XoXPathCountError(
        u"The \"fn:string-join((string,string,...),sep*)\" function may not contain more than 2 parameters!");
  const std::u16string sep = n == 2 ? ParamText(1, AList, AIndex) : std::u16string();
  if (auto* seq = dynamic_cast<TXoXPathSequenceTerm*>(Param(0))) {
    Variant r(u"");
    const Variant vsep(sep);
    for (int32_t i = 0; i < seq->Count(); ++i) {
      r += vsep;
      r += seq->GetTerm(i)->Value(AList, AIndex);
    }
    if (!r.IsString() || sep.empty()) return r;
    return Variant(r.StrRef().substr(r.StrRef().size() < sep.size() ? r.StrRef().size() : sep.size()));
  }
  std::u16string buf;
  Variant v = ParamValue(0, AList, AIndex);
  std::u16string_view t = XoXPathTextView(v, buf);
  std::u16string r;
  r.reserve(t.size() * (1 + sep.size()));
  for (size_t i = 0; i < t.size(); ++i) {
    if (i) r += sep;
    r += t[i];
  }
  return Variant(std::move(r));
}

Variant TXoXPathFnSubstring::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n > 3) XoXPathCountError(u"The \"fn:substring(string,start,len)\" function must contain 3 or less parameters!");
  if (n == 0) return Variant(u"");
  Variant s = ParamValue(0, AList, AIndex);
  if (XoXPathKind(s) != 3) return Variant::Null();
  if (n == 1) return Variant(u"");
  Variant start = ParamValue(1, AList, AIndex);
  if (XoXPathKind(start) != 1) return Variant::Null();
  int64_t len = INT64_MAX;
  if (n == 3) {
    Variant l = ParamValue(2, AList, AIndex);
    if (XoXPathKind(l) != 1) return Variant::Null();
    len = XoVarToInt64(l);
  }
  std::u16string buf;
  return Variant(XoXPathCopy(XoXPathTextView(s, buf), XoVarToInt64(start), len));
}

Variant TXoXPathFnStringLength::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1) XoXPathCountError(u"Too many parameters specified for \"fn:string-length(string)\"!");
  Variant hold;
  std::u16string buf;
  return Variant(static_cast<int32_t>(OwnText(*this, AList, AIndex, hold, buf).size()));
}

Variant TXoXPathFnNormalizeSpace::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1) XoXPathCountError(u"Too many parameters specified for \"fn:normalize-space(string)\"!");
  Variant hold;
  std::u16string buf;
  return Variant(XoXPathNormalizeSpace(OwnText(*this, AList, AIndex, hold, buf)));
}

Variant TXoXPathFnNormalizeUnicode::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 2)
    XoXPathCountError(u"Too many parameters specified for \"fn:normalize-unicode(string, normalizationForm)\"!");
  Variant hold;
  std::u16string buf;
  std::u16string_view t = OwnText(*this, AList, AIndex, hold, buf);
  TXoNormalizationForm form = nfNFC;
  if (ParamCount() == 2) {
    std::u16string name = ParamText(1, AList, AIndex);
    if (name.empty()) return Variant(t);
    if (!XoNormalizationForm(name, form))
      XoXPathCountError(
          u"An unsupported normalizationForm was specified for \"fn:normalize-unicode(string, normalizationForm)\"!");
  }
  return Variant(XoNormalizeString(t, form));
}

Variant TXoXPathFnSimplify::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:simplify(string)\" function must have a single parameter!");
  Variant v = ParamValue(0, AList, AIndex);
  if (XoXPathKind(v) != 3) return Variant::Null();
  std::u16string buf;
  return Variant(XoSimplifyString(XoXPathTextView(v, buf)));
}

Variant TXoXPathFnUpperCase::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:upper-case(string)\" function must have a single parameter!");
  Variant v = ParamValue(0, AList, AIndex);
  if (XoXPathKind(v) != 3) return Variant::Null();
  std::u16string buf;
  return Variant(UpperCase(XoXPathTextView(v, buf)));
}

Variant TXoXPathFnLowerCase::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:lower-case(string)\" function must have a single parameter!");
  Variant v = ParamValue(0, AList, AIndex);
  if (XoXPathKind(v) != 3) return Variant::Null();
  std::u16string buf;
  return Variant(LowerCase(XoXPathTextView(v, buf)));
}

Variant TXoXPathFnTranslate::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 3)
    XoXPathCountError(u"The \"fn:translate(string1,string2,string3)\" function must have 3 parameters!");
  TTwoTexts t(*this, AList, AIndex);
  return Variant(XoXPathReplaceAll(t.T0, t.T1, ParamText(2, AList, AIndex)));
}

// ---------------------------------------------------------------------------
// Searching

Variant TXoXPathFnContains::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2) XoXPathCountError(u"The \"fn:contains(string1,string2)\" function must have 2 parameters!");
  TTwoTexts t(*this, AList, AIndex);
  return Variant(XoXPathPos(Collation(), t.T1, t.T0) > 0);
}

Variant TXoXPathFnStartsWith::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2)
    XoXPathCountError(u"The \"fn:starts-with(string1,string2)\" function must have 2 parameters!");
  TTwoTexts t(*this, AList, AIndex);
  // Only a match at the start counts: the rest of the text need not be searched.
  std::u16string_view head = t.T0.substr(0, t.T1.size());
  return Variant(XoXPathPos(Collation(), t.T1, head) == 1);
}

Variant TXoXPathFnEndsWith::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2) XoXPathCountError(u"The \"fn:ends-with(string1,string2)\" function must have 2 parameters!");
  TTwoTexts t(*this, AList, AIndex);
  // Exact, whatever the collation: the last characters of text 0, as many as
  // text 1 has (all of text 0 when it is shorter).
  std::u16string_view tail = t.T1.size() >= t.T0.size() ? t.T0 : t.T0.substr(t.T0.size() - t.T1.size());
  return Variant(tail == t.T1);
}

Variant TXoXPathFnSubstringBefore::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2)
    XoXPathCountError(u"The \"fn:substring-before(string1,string2)\" function must have 2 parameters!");
  TTwoTexts t(*this, AList, AIndex);
  int64_t p = XoXPathPos(Collation(), t.T1, t.T0);
  return Variant(p > 0 ? t.T0.substr(0, static_cast<size_t>(p - 1)) : std::u16string_view());
}

Variant TXoXPathFnSubstringAfter::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2)
    XoXPathCountError(u"The \"fn:substring-before(string1,string2)\" function must have 2 parameters!");
  TTwoTexts t(*this, AList, AIndex);
  int64_t p = XoXPathPos(Collation(), t.T1, t.T0);
  return Variant(p > 0 ? t.T0.substr(static_cast<size_t>(p - 1) + t.T1.size()) : std::u16string_view());
}

// ---------------------------------------------------------------------------
// Regular expressions (compiled once per pattern and options by TRegEx)

Variant TXoXPathFnMatches::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n != 2 && n != 3) XoXPathCountError(u"Invalid parameter for \"fn:matches(string,pattern,flags*)\"!");
  TTwoTexts t(*this, AList, AIndex);
  TRegExOptions o = n == 3 ? XoXPathRegExOptions(Collation(), ParamText(2, AList, AIndex)) : roNone;
  return Variant(TRegEx::IsMatch(t.T0, t.T1, o));
}

Variant TXoXPathFnReplace::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n != 3 && n != 4) XoXPathCountError(u"Invalid parameter for \"fn:replace(input,pattern,replacement,flags*)\"!");
  TTwoTexts t(*this, AList, AIndex);
  std::u16string repl = ParamText(2, AList, AIndex);
  TRegExOptions o = n == 4 ? XoXPathRegExOptions(Collation(), ParamText(3, AList, AIndex)) : roNone;
  return Variant(TRegEx::Replace(t.T0, t.T1, repl, o));
}

Variant TXoXPathFnTokenize::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n > 3) XoXPathCountError(u"Invalid parameter for \"fn:tokenize()\"!");
  std::vector<std::u16string> tokens;
  if (n == 1) {
    std::u16string buf;
    Variant v = ParamValue(0, AList, AIndex);
    tokens = XoTokenize(XoXPathNormalizeSpace(XoXPathTextView(v, buf)), u" ", true);
  } else if (n >= 2) {
    TTwoTexts t(*this, AList, AIndex);
    TRegExOptions o = n == 3 ? XoXPathRegExOptions(Collation(), ParamText(2, AList, AIndex)) : roNone;
    tokens = TRegEx::Split(t.T0, t.T1, o);
  }
  return Variant(XoXPathTokenText(tokens));
}

}  // namespace xo
