// uXoSAX: the XML scanner, the attribute and namespace lists, the reader's
// entry points and locator, and the event dump. The reader's grammar lives in
// uXoSAXReader.cpp.
#include "uXoSAX.h"

#include <cstring>

namespace xo {

// ===========================================================================
// TXoXMLParser

namespace {

// The punctuation of the scanner as one table per width, in field order.
struct TPunct {
  const void* Amp;
  const void* Apos;
  const void* Equal;
  const void* Gt;
  const void* Lt;
  const void* Quest;
  const void* Quote;
  const void* Slash;
  const void* Space;
  const void* Excl;
  const void* Line;
  const void* Colon;
  const void* SemiColon;
  const void* BracketOA;
  const void* BracketCA;
};

const TPunct kPunctA = {&cXoAmpA,   &cXoAposA,  &cXoEqualA, &cXoGtA,   &cXoLtA,
                        &cXoQuestA, &cXoQuoteA, &cXoSlashA, &cXoSpaceA, &cXoExclA,
                        &cXoLineA,  &cXoColonA, &cXoSemiColonA, &cXoBracketOAA, &cXoBracketCAA};
const TPunct kPunctW = {&cXoAmpW,   &cXoAposW,  &cXoEqualW, &cXoGtW,   &cXoLtW,
                        &cXoQuestW, &cXoQuoteW, &cXoSlashW, &cXoSpaceW, &cXoExclW,
                        &cXoLineW,  &cXoColonW, &cXoSemiColonW, &cXoBracketOAW, &cXoBracketCAW};

inline char16_t LoadUnit(const uint8_t* p) {
  char16_t c;
  std::memcpy(&c, p, 2);
  return c;
}

}  // namespace

TXoXMLParser::TXoXMLParser(TStream* AStream, bool AFlag, bool ADetectCodePage, uint16_t ACodePage)
    // With ADetectCodePage a byte-order mark decides before ACodePage does. The
    // scanner looks for it in the bytes it has read, not by probing the
    // stream, so a pipe loses nothing.
    : TXoTextParser(AStream, AFlag, ACodePage, ADetectCodePage) {
  // The base constructor chose the source kind but could not reach this
  // class's override: bind the punctuation and the members now.
  SetCharacterSetType(GetCharacterSetType());
  if (GetContentCodePage() == 0) DecideFromDeclaration();
}

void TXoXMLParser::DecideFromDeclaration() {
  // Look for "<?xml " (case-sensitive, the blank required) at the first '<'.
  SkipWhile(tpsUntilEqual, FLt);
  static constexpr char16_t kDecl[] = u"<?xml ";
  bool isDecl = true;
  for (int i = 0; i < 6; ++i) {
    if (GetEOF() || ReadCharW() != kDecl[i]) {
      isDecl = false;
      break;
    }
  }
  std::u16string name;
  if (isDecl) {
    SetMark(tppMark1);
    SkipWhile(tpsUntilEqual, FGt);
    std::u16string text = Selected(tppMark1, tppCurrent, true);
    std::u16string lower = LowerCase(text);
    size_t at = lower.find(u"encoding");
    if (at != std::u16string::npos) {
      std::u16string rest = text.substr(at);
      size_t eq = rest.find(u'=');
      if (eq != std::u16string::npos) rest.erase(0, eq + 1);
      rest = Trim(rest);
      if (rest.size() > 1) {
        // The first character serves as the quote, whatever it is.
        size_t close = rest.find(rest[0], 1);
        if (close != std::u16string::npos) name = rest.substr(1, close - 1);
      }
    }
  }
  uint16_t cp;
  if (name.empty() || XoSameText(name, u"UTF-8")) {
    if (GetCharacterSetType() == cstSingleByte) SetCharacterSetType(cstUTF8);
    cp = 65001;
  } else {
    cp = XoCodePage(name);
    // Text that showed its declaration in single bytes cannot be UTF-16 or
    // UTF-32, whatever it says: read it as UTF-8.
    if (cp == 1200 || cp == 1201 || cp == 12000 || cp == 12001) {
      if (GetCharacterSetType() == cstSingleByte) SetCharacterSetType(cstUTF8);
      cp = 65001;
    }
  }
  SetContentCodePage(cp);
  First();
}

void TXoXMLParser::SetCharacterSetType(TXoCharacterSetType AType) {
  TXoTextParser::SetCharacterSetType(AType);
  const TPunct& p = GetCharacterSetType() == cstUTF16 ? kPunctW : kPunctA;
  FAmp = p.Amp;
  FApos = p.Apos;
  FEqual = p.Equal;
  FGt = p.Gt;
  FLt = p.Lt;
  FQuest = p.Quest;
  FQuote = p.Quote;
  FSlash = p.Slash;
  FSpace = p.Space;
  FExcl = p.Excl;
  FLine = p.Line;
  FColon = p.Colon;
  FSemiColon = p.SemiColon;
  FBracketOA = p.BracketOA;
  FBracketCA = p.BracketCA;
  SkipWhile.Obj = this;
  CheckCurrChar.Obj = this;
  switch (GetCharacterSetType()) {
    case cstUTF16:
      SkipWhile.Func = &TXoXMLParser::SrcWSkipWhile;
      CheckCurrChar.Func = &TXoXMLParser::SrcWCheckCurrChar;
      break;
    case cstUTF8:
      SkipWhile.Func = &TXoXMLParser::SrcUSkipWhile;
      CheckCurrChar.Func = &TXoXMLParser::SrcUCheckCurrChar;
      break;
    default:
      SkipWhile.Func = &TXoXMLParser::SrcASkipWhile;
      CheckCurrChar.Func = &TXoXMLParser::SrcACheckCurrChar;
      break;
  }
}

void TXoXMLParser::SrcASkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr) {
  SrcASkipWhileA(AOperator, *static_cast<const char*>(ACharPtr));
}

void TXoXMLParser::SrcUSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr) {
  SrcUSkipWhileA(AOperator, *static_cast<const char*>(ACharPtr));
}

void TXoXMLParser::SrcWSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr) {
  SrcWSkipWhileW(AOperator, *static_cast<const char16_t*>(ACharPtr));
}

void TXoXMLParser::RaiseNotWellFormed(const void* AExpected) {
  char16_t expected = GetCharacterSetType() == cstUTF16
                          ? *static_cast<const char16_t*>(AExpected)
                          : static_cast<char16_t>(static_cast<uint8_t>(*static_cast<const char*>(AExpected)));
  throw EXoXMLParseError(_cXoXMLNotWellFormed, {expected, PeekStringW(1)}, cXoXMLErrNotWellFormed);
}

bool TXoXMLParser::SrcACheckCurrChar(const void* ACharPtr, bool ARaise) {
  bool eq = Cursor() < BufferEnd() && *Cursor() == *static_cast<const uint8_t*>(ACharPtr);
  if (!eq && ARaise) RaiseNotWellFormed(ACharPtr);
  return eq;
}

bool TXoXMLParser::SrcUCheckCurrChar(const void* ACharPtr, bool ARaise) {
  return SrcACheckCurrChar(ACharPtr, ARaise);
}

bool TXoXMLParser::SrcWCheckCurrChar(const void* ACharPtr, bool ARaise) {
  bool eq = BufferEnd() - Cursor() >= 2 && LoadUnit(Cursor()) == *static_cast<const char16_t*>(ACharPtr);
  if (!eq && ARaise) RaiseNotWellFormed(ACharPtr);
  return eq;
}

bool TXoXMLParser::IsNameStartChar(char16_t c) {
  if (c < 0x80) return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || c == u'_';
  return (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) ||
         (c >= 0x370 && c <= 0x37D) || (c >= 0x37F && c <= 0x1FFF) || (c >= 0x200C && c <= 0x200D) ||
         (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) || (c >= 0x3001 && c <= 0xD7FF) ||
         (c >= 0xF900 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFFD);
}

void TXoXMLParser::CheckValidNameStartChar() {
  CheckEOF();
  char16_t c = CurrCharW();
  if (IsNameStartChar(c)) return;
  if (c == u':') throw EXoXMLParseError(_cXoXMLInvalidNameStartchar1, {c}, cXoXMLErrInvalidNameStartChar);
  throw EXoXMLParseError(_cXoXMLInvalidNameStartchar2, {PeekStringW(1)}, cXoXMLErrInvalidNameStartChar);
}

// ===========================================================================
// TXoSAXXMAttributes

namespace {
const XoXMLString kEmptyString;
}

TXoSAXXMAttributes::TXoSAXXMAttributes() { SetAutoDestroy(false); }

TXoSAXXMAttributes::~TXoSAXXMAttributes() = default;

PXoSAXXMAttribute TXoSAXXMAttributes::Add(const XoXMLString& ALocalName, const XoXMLString& AQName,
                                          const XoXMLString& AURI, const XoXMLString& AValue,
                                          TXoSAXAttributeType AType) {
  PXoSAXXMAttribute r = AddRecord(AType);
  r->LocalName = ALocalName;
  r->QName = AQName;
  r->URI = AURI;
  r->Value = AValue;
  return r;
}

void TXoSAXXMAttributes::Clear() {
  FFirst = FLast = FCurrent = nullptr;
  FCount = 0;
}

PXoSAXXMAttribute TXoSAXXMAttributes::GetAttribute(int32_t AIndex) {
  if (AIndex < 0 || AIndex >= FCount) return nullptr;
  FCurrent = FRecords[static_cast<size_t>(AIndex)].get();
  return FCurrent;
}

PXoSAXXMAttribute TXoSAXXMAttributes::CheckedIndex(int32_t AIndex) {
  PXoSAXXMAttribute r = GetAttribute(AIndex);
  if (!r) throw EXoXMLParseError(_cXoXMLListIndexOutOfBounds1, {AIndex}, cXoXMLErrListIndexOutOfBounds);
  return r;
}

PXoSAXXMAttribute TXoSAXXMAttributes::FindQName(const XoXMLString& AQName) {
  // Try from the cursor first: handlers often ask for names in list order.
  PXoSAXXMAttribute start = FCurrent ? FCurrent : FFirst;
  for (PXoSAXXMAttribute r = start; r; r = r->Next)
    if (XoSameText(r->QName, AQName)) return FCurrent = r;
  for (PXoSAXXMAttribute r = FFirst; r != start; r = r->Next)
    if (XoSameText(r->QName, AQName)) return FCurrent = r;
  return nullptr;
}

PXoSAXXMAttribute TXoSAXXMAttributes::FindURI(const XoXMLString& AURI, const XoXMLString& ALocalName,
                                              bool AWildcard) {
  bool any = AWildcard && AURI == u"*";
  PXoSAXXMAttribute start = FCurrent ? FCurrent : FFirst;
  auto match = [&](PXoSAXXMAttribute r) {
    return XoSameText(r->LocalName, ALocalName) && (any || XoSameText(r->URI, AURI));
  };
  for (PXoSAXXMAttribute r = start; r; r = r->Next)
    if (match(r)) return FCurrent = r;
  for (PXoSAXXMAttribute r = FFirst; r != start; r = r->Next)
    if (match(r)) return FCurrent = r;
  return nullptr;
}

const XoXMLString& TXoSAXXMAttributes::GetLocalName(int32_t AIndex) { return CheckedIndex(AIndex)->LocalName; }
const XoXMLString& TXoSAXXMAttributes::GetQName(int32_t AIndex) { return CheckedIndex(AIndex)->QName; }
const XoXMLString& TXoSAXXMAttributes::GetURI(int32_t AIndex) { return CheckedIndex(AIndex)->URI; }
TXoSAXAttributeType TXoSAXXMAttributes::GetType(int32_t AIndex) { return CheckedIndex(AIndex)->AttrType; }
const XoXMLString& TXoSAXXMAttributes::GetValue(int32_t AIndex) { return CheckedIndex(AIndex)->Value; }

int32_t TXoSAXXMAttributes::GetIndex(const XoXMLString& AQName) {
  PXoSAXXMAttribute r = FindQName(AQName);
  return r ? r->Idx : -1;
}

int32_t TXoSAXXMAttributes::GetIndex(const XoXMLString& AURI, const XoXMLString& ALocalName) {
  PXoSAXXMAttribute r = FindURI(AURI, ALocalName, false);
  return r ? r->Idx : -1;
}

TXoSAXAttributeType TXoSAXXMAttributes::GetType(const XoXMLString& AQName) {
  PXoSAXXMAttribute r = FindQName(AQName);
  if (!r) throw EXoXMLParseError(_cXoXMLListIndexOutOfBounds2, {AQName}, cXoXMLErrListIndexOutOfBounds);
  return r->AttrType;
}

TXoSAXAttributeType TXoSAXXMAttributes::GetType(const XoXMLString& AURI, const XoXMLString& ALocalName) {
  PXoSAXXMAttribute r = FindURI(AURI, ALocalName, false);
  if (!r)
    throw EXoXMLParseError(_cXoXMLListIndexOutOfBounds3, {AURI, ALocalName}, cXoXMLErrListIndexOutOfBounds);
  return r->AttrType;
}

const XoXMLString& TXoSAXXMAttributes::GetValue(const XoXMLString& AQName) {
  PXoSAXXMAttribute r = FindQName(AQName);
  if (!r) throw EXoXMLParseError(_cXoXMLListIndexOutOfBounds2, {AQName}, cXoXMLErrListIndexOutOfBounds);
  return r->Value;
}

const XoXMLString& TXoSAXXMAttributes::GetValue(const XoXMLString& AURI, const XoXMLString& ALocalName) {
  PXoSAXXMAttribute r = FindURI(AURI, ALocalName, true);
  if (!r)
    throw EXoXMLParseError(_cXoXMLListIndexOutOfBounds3, {AURI, ALocalName}, cXoXMLErrListIndexOutOfBounds);
  return r->Value;
}

// ===========================================================================
// TXoSAXNamespaceList

TXoSAXNamespaceList::TXoSAXNamespaceList(TXoSAXXMLReader* AOwner) : FOwner(AOwner) {}

TXoSAXNamespaceList::~TXoSAXNamespaceList() = default;

void TXoSAXNamespaceList::AddURI(int32_t ALevel, const XoXMLString& APrefix, const XoXMLString& AURI) {
  std::unique_ptr<TXoSAXNamespace> rec;
  if (!FSpare.empty()) {
    rec = std::move(FSpare.back());
    FSpare.pop_back();
  } else {
    rec = std::make_unique<TXoSAXNamespace>();
  }
  rec->Level = ALevel;
  rec->Prefix = APrefix;
  rec->URI = AURI;
  if (!FList.empty() && ALevel < FList.back()->Level) FSorted = false;
  FList.push_back(std::move(rec));
  IndexAppended();
  ++FVersion;
  if (ALevel > FMaxLevel) FMaxLevel = ALevel;
  if (FOwner && FOwner->FContentHandler) {
    const TXoSAXNamespace& r = *FList.back();
    FOwner->FContentHandler->StartPrefixMapping(r.Prefix, r.URI);
  }
}

namespace {
// Prefixes compare ignoring ASCII case, so the hash folds ASCII letters.
uint32_t PrefixHash(std::u16string_view AText) {
  uint32_t h = 2166136261u;
  for (char16_t c : AText) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    h = (h ^ c) * 16777619u;
  }
  return h ^ (h >> 15);
}
}  // namespace

int64_t TXoSAXNamespaceList::FindSlot(std::u16string_view APrefix, uint32_t AHash) const {
  if (FSlots.empty()) return -1;
  const size_t mask = FSlots.size() - 1;
  for (size_t i = AHash & mask;; i = (i + 1) & mask) {
    const TSlot& s = FSlots[i];
    if (s.Index < 0) return -1;
    if (s.Hash == AHash) {
      const XoXMLString& p = FList[static_cast<size_t>(s.Index)]->Prefix;
      if (p.size() == APrefix.size() && XoSameText(p, APrefix)) return static_cast<int64_t>(i);
    }
  }
}

void TXoSAXNamespaceList::InsertSlot(uint32_t AHash, int32_t AIndex) {
  if ((FSlotsUsed + 1) * 2 > FSlots.size()) {
    // Keep the table at most half full; rehash into twice the size.
    std::vector<TSlot> old = std::move(FSlots);
    FSlots.assign(std::max<size_t>(16, old.size() * 2), TSlot{0, -1});
    const size_t mask = FSlots.size() - 1;
    for (const TSlot& s : old) {
      if (s.Index < 0) continue;
      size_t i = s.Hash & mask;
      while (FSlots[i].Index >= 0) i = (i + 1) & mask;
      FSlots[i] = s;
    }
  }
  const size_t mask = FSlots.size() - 1;
  size_t i = AHash & mask;
  while (FSlots[i].Index >= 0) i = (i + 1) & mask;
  FSlots[i] = TSlot{AHash, AIndex};
  ++FSlotsUsed;
}

void TXoSAXNamespaceList::EraseSlot(size_t ASlot) {
  // Backward-shift deletion: later entries of the probe sequence move up so
  // that no lookup stops early at the hole.
  const size_t mask = FSlots.size() - 1;
  size_t hole = ASlot;
  for (size_t j = (hole + 1) & mask; FSlots[j].Index >= 0; j = (j + 1) & mask) {
    const size_t home = FSlots[j].Hash & mask;
    // Entry j may fill the hole if its home does not lie cyclically in (hole, j].
    const bool inRange = hole <= j ? (home > hole && home <= j) : (home > hole || home <= j);
    if (!inRange) {
      FSlots[hole] = FSlots[j];
      hole = j;
    }
  }
  FSlots[hole].Index = -1;
  --FSlotsUsed;
}

void TXoSAXNamespaceList::IndexAppended() {
  const int32_t index = static_cast<int32_t>(FList.size() - 1);
  const std::u16string_view prefix = FList.back()->Prefix;
  const uint32_t hash = PrefixHash(prefix);
  FHashes.push_back(hash);
  const int64_t slot = FindSlot(prefix, hash);
  if (slot < 0) {
    FPrevSame.push_back(-1);
    InsertSlot(hash, index);
  } else {
    FPrevSame.push_back(FSlots[static_cast<size_t>(slot)].Index);
    FSlots[static_cast<size_t>(slot)].Index = index;
  }
}

void TXoSAXNamespaceList::UnindexLast() {
  const int32_t prev = FPrevSame.back();
  const uint32_t hash = FHashes.back();
  FPrevSame.pop_back();
  FHashes.pop_back();
  const int64_t slot = FindSlot(FList.back()->Prefix, hash);
  if (slot < 0) return;
  if (prev >= 0)
    FSlots[static_cast<size_t>(slot)].Index = prev;
  else
    EraseSlot(static_cast<size_t>(slot));
}

void TXoSAXNamespaceList::RebuildIndex() {
  std::fill(FSlots.begin(), FSlots.end(), TSlot{0, -1});
  FSlotsUsed = 0;
  FPrevSame.clear();
  FHashes.clear();
  std::vector<std::unique_ptr<TXoSAXNamespace>> list = std::move(FList);
  FList.clear();
  FSorted = true;
  for (auto& r : list) {
    if (!FList.empty() && r->Level < FList.back()->Level) FSorted = false;
    FList.push_back(std::move(r));
    IndexAppended();
  }
}

PXoSAXNamespace TXoSAXNamespaceList::GetNamespace(std::u16string_view APrefix) const {
  // The newest declaration is the one most often asked for (an element using
  // the prefix it declares itself); it needs no probe.
  if (!FList.empty()) {
    const XoXMLString& p = FList.back()->Prefix;
    if (p.size() == APrefix.size() && XoSameText(p, APrefix)) return FList.back().get();
  }
  const int64_t slot = FindSlot(APrefix, PrefixHash(APrefix));
  return slot < 0 ? nullptr : FList[static_cast<size_t>(FSlots[static_cast<size_t>(slot)].Index)].get();
}

const XoXMLString& TXoSAXNamespaceList::GetURI(std::u16string_view APrefix) const {
  PXoSAXNamespace ns = GetNamespace(APrefix);
  return ns ? ns->URI : kEmptyString;
}

void TXoSAXNamespaceList::RemoveLevelFrom(int32_t ALevel) {
  if (FSorted) {
    // The records to remove are the newest ones: take them off the end.
    while (!FList.empty() && FList.back()->Level >= ALevel) {
      // Take the record out first, so that a handler that raises leaves the
      // list consistent; it goes back to the spare records afterwards.
      UnindexLast();
      std::unique_ptr<TXoSAXNamespace> rec = std::move(FList.back());
      FList.pop_back();
      ++FVersion;
      TXoSAXNamespace* r = rec.get();
      FSpare.push_back(std::move(rec));
      FMaxLevel = FList.empty() ? INT32_MIN : FList.back()->Level;
      if (FOwner && FOwner->FContentHandler) FOwner->FContentHandler->EndPrefixMapping(r->Prefix);
    }
    FMaxLevel = FList.empty() ? INT32_MIN : FList.back()->Level;
    return;
  }
  // Records of an earlier, failed parse are mixed in: scan the whole list,
  // take out every record of ALevel or deeper at once, then report them
  // newest first.
  std::vector<std::unique_ptr<TXoSAXNamespace>> removed, kept;
  for (auto& r : FList) (r->Level >= ALevel ? removed : kept).push_back(std::move(r));
  FList = std::move(kept);
  RebuildIndex();
  ++FVersion;
  int32_t maxLevel = INT32_MIN;
  for (const auto& r : FList)
    if (r->Level > maxLevel) maxLevel = r->Level;
  FMaxLevel = maxLevel;
  std::vector<TXoSAXNamespace*> order;
  for (auto& r : removed) {
    order.push_back(r.get());
    FSpare.push_back(std::move(r));
  }
  for (size_t i = order.size(); i-- > 0;)
    if (FOwner && FOwner->FContentHandler) FOwner->FContentHandler->EndPrefixMapping(order[i]->Prefix);
}

void TXoSAXNamespaceList::Clear() {
  std::fill(FSlots.begin(), FSlots.end(), TSlot{0, -1});
  FSlotsUsed = 0;
  FHashes.clear();
  FPrevSame.clear();
  for (auto& r : FList) FSpare.push_back(std::move(r));
  FList.clear();
  ++FVersion;
  FMaxLevel = INT32_MIN;
  FSorted = true;
}

// ===========================================================================
// TXoSAXReader

TXoSAXReader::TXoSAXReader() {
  SetAutoDestroy(false);
  FEmptyAttributes = new TXoSAXXMAttributes();
}

TXoSAXReader::~TXoSAXReader() {
  FreeAndNil(FParser);
  FreeAndNil(FEmptyAttributes);
}

int64_t TXoSAXReader::GetPosition() { return FParser ? FParser->GetPosition() : -1; }

int64_t TXoSAXReader::GetLineNr() {
  if (FUnexpectedEOF) return FLineNr;
  return FParser ? FParser->GetLineNr() : -1;
}

int64_t TXoSAXReader::GetColNr() {
  if (FUnexpectedEOF) return FColNr;
  return FParser ? FParser->GetColNr() : -1;
}

bool TXoSAXReader::GetFeature(const XoXMLString&) { return false; }
Variant TXoSAXReader::GetProperty(const XoXMLString&) { return Variant::Null(); }
void TXoSAXReader::SetFeature(const XoXMLString&, bool) {}
void TXoSAXReader::SetProperty(const XoXMLString&, const Variant&) {}

void TXoSAXReader::CheckHandlers() const {
  if (!FContentHandler) throw EXoXMLParseError(_cXoXMLNoContentHandler, cXoXMLErrNoContentHandler);
  if (!FErrorHandler) throw EXoXMLParseError(_cXoXMLNoErrorHandler, cXoXMLErrNoErrorHandler);
}

void TXoSAXReader::DoParse(TStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage,
                           const XoXMLString& APublicID) {
  FPublicID = APublicID;
  FUnexpectedEOF = false;
  FLineNr = FColNr = -1;
  FConstructStart = nullptr;
  TXoTextParser* previous = FParser;  // a parse started from a handler of another
  FParser = nullptr;
  auto cleanup = [&]() {
    TXoTextParser* p = FParser;
    FParser = previous;
    if (p) p->Free();
    if (AOwnsStream && AStream) AStream->Free();
  };
  try {
    // The missing-handler errors come before the input is touched and reach
    // no handler; everything after them (reading the input, an unknown
    // encoding, a size limit, memory) is a failure of the parse.
    CheckHandlers();
    try {
      FParser = CreateParser(AStream, false, ADetectCodePage, ACodePage);
    } catch (...) {
      HandleParseFailure(std::current_exception());
    }
    InternalParse();
  } catch (...) {
    cleanup();
    throw;
  }
  cleanup();
}

std::exception_ptr XoLibraryException(const std::exception_ptr& AError) {
  try {
    std::rethrow_exception(AError);
  } catch (const Exception&) {
    return AError;
  } catch (const std::bad_alloc&) {
    return std::make_exception_ptr(EXoException(u"Out of memory"));
  } catch (const std::exception& e) {
    return std::make_exception_ptr(EXoException(XoUTF8ToUTF16(e.what())));
  } catch (...) {
    return std::make_exception_ptr(EXoException(u"Unknown error"));
  }
}

void TXoSAXReader::HandleParseFailure(const std::exception_ptr& AFailure, bool ASavePosition) {
  // What leaves a parse is always one of the library's exceptions: a failure
  // of the standard library (memory, a length) is passed on as EXoException.
  const std::exception_ptr error = XoLibraryException(AFailure);
  bool eof = false;
  try {
    std::rethrow_exception(error);
  } catch (const EXoTextParserEOF&) {
    eof = true;
  } catch (...) {
  }
  FUnexpectedEOF = eof;
  if (eof && FParser && ASavePosition) {
    // Lines and columns of the construct left unfinished.
    const uint8_t* cur = FParser->Cursor();
    const uint8_t* at = FConstructStart;
    if (!at || at < FParser->BufferStart() || at > FParser->BufferEnd()) at = cur;
    FParser->SetCursor(at);
    FLineNr = FParser->GetLineNr();
    FColNr = FParser->GetColNr();
    FParser->SetCursor(cur);
  }
  if (FErrorHandler) {
    XoXMLString msg;
    try {
      std::rethrow_exception(error);
    } catch (const Exception& e) {
      msg = e.Message();
    }
    FErrorHandler->FatalError(TIntfPtr<IXoSAXLocator>(this), msg);
  }
  std::rethrow_exception(error);
}

void TXoSAXReader::ParseStream(TStream* AStream, uint16_t ACodePage, const XoXMLString& APublicID) {
  DoParse(AStream, false, false, ACodePage, APublicID);
}

void TXoSAXReader::ParseFile(const XoXMLString& AFileName, uint16_t AMode, const XoXMLString& APublicID) {
  ParseOpened([&] { return new TFileStream(AFileName, AMode); }, APublicID);
}

void TXoSAXReader::ParseFile(const std::string& AFileName, const XoXMLString& APublicID) {
  ParseOpened([&] { return new TFileStream(AFileName, fmOpenRead | fmShareDenyWrite); }, APublicID);
}

void TXoSAXReader::ParseOpened(const std::function<TStream*()>& AOpen, const XoXMLString& APublicID) {
  CheckHandlers();
  TStream* stream = nullptr;
  try {
    stream = AOpen();
  } catch (...) {
    // A file that cannot be opened ends the parse like any other failure.
    FPublicID = APublicID;
    FUnexpectedEOF = false;
    FLineNr = FColNr = -1;
    TXoTextParser* previous = FParser;
    FParser = nullptr;
    try {
      HandleParseFailure(std::current_exception());
    } catch (...) {
      FParser = previous;
      throw;
    }
  }
  DoParse(stream, true, true, 0, APublicID);
}

void TXoSAXReader::ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage,
                               const XoXMLString& APublicID) {
  TStream* stream = new TXoMemoryStream(ABuffer, ABuffer ? ASize : 0);
  DoParse(stream, true, false, ACodePage, APublicID);
}

void TXoSAXReader::Parse(const XoXMLString& AText, const XoXMLString& APublicID) {
  // The string's own memory is scanned; nothing is copied.
  TStream* stream = new TXoMemoryStream(AText.data(), static_cast<int64_t>(AText.size() * 2));
  DoParse(stream, true, false, 1200, APublicID);
}

void TXoSAXReader::Parse(const RawByteString& AAnsiText, uint16_t ACodePage, const XoXMLString& APublicID) {
  TStream* stream = new TXoMemoryStream(AAnsiText.data(), static_cast<int64_t>(AAnsiText.size()));
  DoParse(stream, true, false, ACodePage, APublicID);
}

// ===========================================================================
// TXoSAXXMLReader (construction; the grammar is in uXoSAXReader.cpp)

TXoSAXXMLReader::TXoSAXXMLReader() {
  FNamespaceList = new TXoSAXNamespaceList(this);
  FAttributes = new TXoSAXXMAttributes();
  FAttributesIntf = FAttributes;
  FEmptyAttributesIntf = FEmptyAttributes;
}

TXoSAXXMLReader::~TXoSAXXMLReader() {
  FAttributesIntf = nullptr;
  FEmptyAttributesIntf = nullptr;
  FreeAndNil(FAttributes);
  FreeAndNil(FNamespaceList);
}

TXoTextParser* TXoSAXXMLReader::CreateParser(TStream* AStream, bool AFlag, bool ADetectCodePage,
                                             uint16_t ACodePage) {
  FXMLParser = new TXoXMLParser(AStream, AFlag, ADetectCodePage, ACodePage);
  return FXMLParser;
}

// ===========================================================================
// TXoSAXEventWriter

TXoSAXEventWriter::TXoSAXEventWriter(TStream* AOut) : FOut(AOut) { FBuf.reserve(1 << 16); }

TXoSAXEventWriter::~TXoSAXEventWriter() {
  try {
    Flush();
  } catch (...) {
  }
}

void TXoSAXEventWriter::Flush() {
  if (!FBuf.empty() && FOut) FOut->WriteBuffer(FBuf.data(), static_cast<int64_t>(FBuf.size()));
  FBuf.clear();
}

void TXoSAXEventWriter::Name(const char* AEvent) { FBuf += AEvent; }

void TXoSAXEventWriter::Arg(std::u16string_view AText) {
  FBuf += '\t';
  ArgText(AText);
}

void TXoSAXEventWriter::ArgText(std::u16string_view AText) {
  size_t from = 0;
  for (size_t i = 0; i < AText.size(); ++i) {
    char16_t c = AText[i];
    const char* esc = c == u'\\' ? "\\\\" : c == u'\t' ? "\\t" : c == u'\r' ? "\\r" : c == u'\n' ? "\\n" : nullptr;
    if (!esc) continue;
    XoAppendUTF16ToUTF8(FBuf, AText.substr(from, i - from));
    FBuf += esc;
    from = i + 1;
  }
  XoAppendUTF16ToUTF8(FBuf, AText.substr(from));
}

void TXoSAXEventWriter::EndLine() {
  FBuf += '\n';
  if (FBuf.size() >= (1 << 16)) Flush();
}

void TXoSAXEventWriter::SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) {}

void TXoSAXEventWriter::Characters(const XoXMLString& AText) {
  Name("Characters");
  Arg(AText);
  EndLine();
}

void TXoSAXEventWriter::EndDocument() {
  Name("EndDocument");
  EndLine();
  Flush();
}

void TXoSAXEventWriter::EndElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                                   const XoXMLString& AQName) {
  Name("EndElement");
  Arg(ANamespaceURI);
  Arg(ALocalName);
  Arg(AQName);
  EndLine();
}

void TXoSAXEventWriter::EndPrefixMapping(const XoXMLString& APrefix) {
  Name("EndPrefixMapping");
  Arg(APrefix);
  EndLine();
}

void TXoSAXEventWriter::IgnorableWhitespace(const XoXMLString& AText) {
  Name("IgnorableWhitespace");
  Arg(AText);
  EndLine();
}

void TXoSAXEventWriter::ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) {
  Name("ProcessingInstruction");
  Arg(ATarget);
  Arg(AData);
  EndLine();
}

void TXoSAXEventWriter::SkippedEntity(const XoXMLString& AName) {
  Name("SkippedEntity");
  Arg(AName);
  EndLine();
}

void TXoSAXEventWriter::StartDocument() {
  Name("StartDocument");
  EndLine();
}

void TXoSAXEventWriter::StartElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                                     const XoXMLString& AQName, const TIntfPtr<IXoSAXAttributes>& Attributes) {
  Name("StartElement");
  Arg(ANamespaceURI);
  Arg(ALocalName);
  Arg(AQName);
  if (Attributes) {
    for (PXoSAXXMAttribute a = Attributes->FirstAttribute(); a; a = a->Next) {
      FBuf += "\t@";
      ArgText(a->QName);
      Arg(a->URI);
      Arg(a->Value);
    }
  }
  EndLine();
}

void TXoSAXEventWriter::StartPrefixMapping(const XoXMLString& APrefix, const XoXMLString& AURI) {
  Name("StartPrefixMapping");
  Arg(APrefix);
  Arg(AURI);
  EndLine();
}

void TXoSAXEventWriter::Comment(const XoXMLString& AText) {
  Name("Comment");
  Arg(AText);
  EndLine();
}

void TXoSAXEventWriter::StartCDATA() {
  Name("StartCDATA");
  EndLine();
}

void TXoSAXEventWriter::StartDTD() {
  Name("StartDTD");
  EndLine();
}

void TXoSAXEventWriter::StartEntity(const XoXMLString& AName) {
  Name("StartEntity");
  Arg(AName);
  EndLine();
}

void TXoSAXEventWriter::EndCDATA() {
  Name("EndCDATA");
  EndLine();
}

void TXoSAXEventWriter::EndDTD() {
  Name("EndDTD");
  EndLine();
}

void TXoSAXEventWriter::EndEntity(const XoXMLString& AName) {
  Name("EndEntity");
  Arg(AName);
  EndLine();
}

void TXoSAXEventWriter::ErrorLine(const char* AEvent, const TIntfPtr<IXoSAXLocator>& ALocator,
                                  const XoXMLString& ErrMsg) {
  Name(AEvent);
  int64_t line = ALocator ? ALocator->GetLineNr() : -1;
  int64_t col = ALocator ? ALocator->GetColNr() : -1;
  FBuf += '\t';
  FBuf += std::to_string(line);
  FBuf += '\t';
  FBuf += std::to_string(col);
  Arg(ErrMsg);
  EndLine();
}

void TXoSAXEventWriter::Warning(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) {
  ErrorLine("Warning", ALocator, ErrMsg);
}

void TXoSAXEventWriter::Error(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) {
  ErrorLine("Error", ALocator, ErrMsg);
}

void TXoSAXEventWriter::FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) {
  FFatalErrorSeen = true;
  ErrorLine("FatalError", ALocator, ErrMsg);
  Flush();
}

void TXoSAXEventWriter::WriteFatalError(int64_t ALine, int64_t ACol, const XoXMLString& AMessage) {
  FFatalErrorSeen = true;
  Name("FatalError");
  FBuf += '\t';
  FBuf += std::to_string(ALine);
  FBuf += '\t';
  FBuf += std::to_string(ACol);
  Arg(AMessage);
  EndLine();
  Flush();
}

}  // namespace xo
