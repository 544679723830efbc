// TXoTextParser: the character scanner under xo's readers.
#include <atomic>
#include <cstring>
#include <vector>

#include "uXoClasses.h"

namespace xo {

namespace {

// Length of the UTF-8 sequence at p (1 to 4), or 1 for an invalid one, never
// reaching past AEnd. AChar receives the character (high surrogate for a
// character beyond the Basic Multilingual Plane, U+FFFD when invalid).
inline size_t DecodeUTF8(const uint8_t* p, const uint8_t* AEnd, char16_t& AChar) {
  unsigned c = p[0];
  if (c < 0x80) {
    AChar = static_cast<char16_t>(c);
    return 1;
  }
  size_t avail = static_cast<size_t>(AEnd - p);
  if (c >= 0xC2 && c <= 0xDF) {
    if (avail >= 2 && (p[1] & 0xC0) == 0x80) {
      AChar = static_cast<char16_t>(((c & 0x1F) << 6) | (p[1] & 0x3F));
      return 2;
    }
  } else if (c >= 0xE0 && c <= 0xEF) {
    unsigned lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
    if (avail >= 3 && p[1] >= lo && p[1] <= hi && (p[2] & 0xC0) == 0x80) {
      AChar = static_cast<char16_t>(((c & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
      return 3;
    }
  } else if (c >= 0xF0 && c <= 0xF4) {
    unsigned lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
    if (avail >= 4 && p[1] >= lo && p[1] <= hi && (p[2] & 0xC0) == 0x80 && (p[3] & 0xC0) == 0x80) {
      uint32_t cp = ((c & 0x07) << 18) | ((p[1] & 0x3F) << 12) | ((p[2] & 0x3F) << 6) | (p[3] & 0x3F);
      AChar = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      return 4;
    }
  }
  AChar = 0xFFFD;
  return 1;
}

inline char16_t LoadUnit(const uint8_t* p) {
  char16_t c;
  std::memcpy(&c, p, 2);
  return c;
}

}  // namespace

namespace {
std::atomic<int64_t> gMaxInputSize{int64_t(1) << 30};
}  // namespace

int64_t XoGetMaxInputSize() { return gMaxInputSize.load(std::memory_order_relaxed); }

void XoSetMaxInputSize(int64_t ASize) {
  if (ASize < 0) throw EArgumentOutOfRangeException(u"The maximum input size must not be negative");
  gMaxInputSize.store(ASize, std::memory_order_relaxed);
}

TXoTextParser::TXoTextParser(TStream* AStream, bool AFlag, uint16_t ACodePage)
    : TXoTextParser(AStream, AFlag, ACodePage, false) {}

TXoTextParser::TXoTextParser(TStream* AStream, bool AFlag, uint16_t ACodePage, bool ADetectMark)
    : FStream(AStream), FOwnsStream(AFlag) {
  if (!AStream) throw EArgumentNilException(u"Stream must not be nil");
  if (const uint8_t* mem = AStream->DirectMemory()) {
    int64_t pos = AStream->GetPosition();
    int64_t size = AStream->GetSize();
    // A memory stream is scanned where it lies.
    InitBuffer(mem + std::min(pos, size), std::max<int64_t>(size - pos, 0), false);
  } else {
    ReadStream(AStream);
  }
  ChooseKind(ADetectMark ? SkipMark(ACodePage) : ACodePage);
}

void TXoTextParser::ReadStream(TStream* AStream) {
  const int64_t limit = XoGetMaxInputSize();
  // A stream that knows its size (a regular file) is read in one piece into a
  // block of that size; others (pipes, sockets) grow a block as bytes come.
  int64_t known = -1;
  try {
    int64_t pos = AStream->GetPosition();
    int64_t size = AStream->GetSize();
    if (pos >= 0 && size >= pos) known = size - pos;
  } catch (const Exception&) {
    known = -1;
  }
  if (known > limit) throw EXoInputTooLarge(limit);
  size_t cap = static_cast<size_t>(std::min<int64_t>(known > 0 ? known : 64 * 1024, limit));
  std::unique_ptr<uint8_t[]> block(new uint8_t[cap + 2]);
  size_t len = 0;
  for (;;) {
    if (len < cap) {
      int64_t n = AStream->Read(block.get() + len, static_cast<int64_t>(cap - len));
      if (n <= 0) break;
      len += static_cast<size_t>(n);
      continue;
    }
    // The block is full: grow it only if more bytes come.
    uint8_t probe[4096];
    int64_t n = AStream->Read(probe, sizeof probe);
    if (n <= 0) break;
    if (static_cast<int64_t>(len) + n > limit) throw EXoInputTooLarge(limit);
    const size_t need = len + static_cast<size_t>(n);
    const size_t grown = static_cast<size_t>(std::min<int64_t>(
        static_cast<int64_t>(std::max(cap * 2, need)), limit));
    std::unique_ptr<uint8_t[]> bigger(new uint8_t[grown + 2]);
    std::memcpy(bigger.get(), block.get(), len);
    std::memcpy(bigger.get() + len, probe, static_cast<size_t>(n));
    block = std::move(bigger);
    cap = grown;
    len = need;
  }
  FOwned = std::move(block);
  InitBuffer(FOwned.get(), static_cast<int64_t>(len), false);
}

uint16_t TXoTextParser::SkipMark(uint16_t ACodePage) {
  const size_t n = static_cast<size_t>(FEnd - FStart);
  uint16_t cp = 0;
  size_t skip = 0;
  if (n >= 3 && std::memcmp(FStart, cXoUTF8, 3) == 0) {
    cp = 65001;
    skip = 3;
  } else if (n >= 2 && std::memcmp(FStart, cXoUTF16LE, 2) == 0) {
    cp = 1200;
    skip = 2;
  } else if (n >= 2 && std::memcmp(FStart, cXoUTF16BE, 2) == 0) {
    cp = 1201;
    skip = 2;
  }
  if (cp == 0) return ACodePage;
  // Step over the mark: the input starts behind it, as after a stream probe.
  const uint8_t* start = FStart + skip;
  const int64_t size = FEnd - start;
  if (cp == 1200 && (reinterpret_cast<uintptr_t>(start) & 1)) {
    // Realign for 16-bit reads (only caller memory at an odd address).
    InitBuffer(start, size, true);
  } else {
    FStart = FCur = FLinePos = FLineStart = start;
  }
  return cp;
}

TXoTextParser::TXoTextParser(const void* ABuffer, int64_t ASize, uint16_t ACodePage) {
  InitBuffer(static_cast<const uint8_t*>(ABuffer), ABuffer ? std::max<int64_t>(ASize, 0) : 0, false);
  ChooseKind(ACodePage);
}

TXoTextParser::~TXoTextParser() {
  if (FOwnsStream && FStream) FStream->Free();
}

void TXoTextParser::InitBuffer(const uint8_t* AData, int64_t ASize, bool ACopy) {
  if (ACopy || (reinterpret_cast<uintptr_t>(AData) & 1)) {
    // Owned copies are aligned, so UTF-16 sources can be read unit by unit.
    std::unique_ptr<uint8_t[]> copy(new uint8_t[static_cast<size_t>(ASize) + 2]);
    if (ASize) std::memcpy(copy.get(), AData, static_cast<size_t>(ASize));
    FOwned = std::move(copy);
    AData = FOwned.get();
  }
  FStart = AData ? AData : reinterpret_cast<const uint8_t*>("");
  FEnd = FStart + ASize;
  FCur = FStart;
  FLinePos = FLineStart = FStart;
  FLine = 1;
  FColPos = nullptr;
  FCol = 1;
  for (auto& m : FMarks) m = nullptr;
}

void TXoTextParser::ChooseKind(uint16_t ACodePage) {
  FCodePage = ACodePage;
  switch (ACodePage) {
    case 0:
      // Not yet known: read bytes as they are until a caller decides.
      FTable = nullptr;
      SetCharacterSetType(cstSingleByte);
      return;
    case 65001:
      SetCharacterSetType(cstUTF8);
      return;
    case 1200:
      SetCharacterSetType(cstUTF16);
      return;
    default:
      if (XoIsSingleByteCodePage(ACodePage)) {
        FTable = TXoEncoding::SingleByteTable(ACodePage);
        SetCharacterSetType(cstSingleByte);
        return;
      }
  }
  // Multi-byte code pages and other Unicode forms: convert once to UTF-16.
  std::u16string text = TXoEncoding::ConvertA(
      std::string_view(reinterpret_cast<const char*>(FStart), static_cast<size_t>(FEnd - FStart)), ACodePage);
  InitBuffer(reinterpret_cast<const uint8_t*>(text.data()), static_cast<int64_t>(text.size() * 2), true);
  SetCharacterSetType(cstUTF16);
}

void TXoTextParser::SetCharacterSetType(TXoCharacterSetType AType) {
  if (AType != cstUTF16 && AType != cstUTF8) AType = cstSingleByte;
  FCharSetType = AType;
  FShift = AType == cstUTF16 ? 1 : 0;
  if (AType == cstUTF16 && ((FEnd - FStart) & 1)) --FEnd;  // a trailing odd byte is no character
  if (FCur > FEnd) FCur = FEnd;
}

void TXoTextParser::SetContentCodePage(uint16_t ACodePage) {
  if (FCharSetType != cstSingleByte || ACodePage == FCodePage) {
    FCodePage = ACodePage;
    return;
  }
  if (ACodePage == 0) {
    FCodePage = 0;
    FTable = nullptr;
    return;
  }
  if (ACodePage == 65001) {
    FCodePage = ACodePage;
    SetCharacterSetType(cstUTF8);
    return;
  }
  if (XoIsSingleByteCodePage(ACodePage)) {
    FCodePage = ACodePage;
    FTable = TXoEncoding::SingleByteTable(ACodePage);
    return;
  }
  // The bytes turn out to be in a multi-byte code page: convert them and go on
  // from the start.
  ChooseKind(ACodePage);
}

void TXoTextParser::First() {
  FCur = FStart;
  for (auto& m : FMarks) m = nullptr;
}

void TXoTextParser::Last() { FCur = FEnd; }

// ---------------------------------------------------------------------------
// Lines and columns

int64_t TXoTextParser::GetLineNr() {
  const uint8_t* target = FCur;
  if (target < FLinePos) {
    FLinePos = FLineStart = FStart;
    FLine = 1;
    FColPos = nullptr;
  }
  const uint8_t* p = FLinePos;
  if (FCharSetType == cstUTF16) {
    for (; p < target; p += 2) {
      char16_t c = LoadUnit(p);
      if (c > u'\r') continue;
      if (c == u'\n' || (c == u'\r' && !(p + 2 < FEnd && LoadUnit(p + 2) == u'\n'))) {
        ++FLine;
        FLineStart = p + 2;
      }
    }
  } else {
    for (; p < target; ++p) {
      uint8_t c = *p;
      if (c > '\r') continue;
      if (c == '\n' || (c == '\r' && !(p + 1 < FEnd && p[1] == '\n'))) {
        ++FLine;
        FLineStart = p + 1;
      }
    }
  }
  FLinePos = target;
  return FLine;
}

int64_t TXoTextParser::GetColNr() {
  GetLineNr();
  // Count on from the last answer when it lies on this line before here;
  // otherwise from the start of the line.
  const uint8_t* p = FLineStart;
  int64_t col = 1;
  if (FColPos && FColPos >= FLineStart && FColPos <= FCur) {
    p = FColPos;
    col = FCol;
  }
  if (FCharSetType == cstUTF16) {
    for (; p < FCur; p += 2) {
      char16_t c = LoadUnit(p);
      if (c < 0xDC00 || c > 0xDFFF) ++col;
    }
  } else if (FCharSetType == cstUTF8) {
    for (; p < FCur; ++p)
      if ((*p & 0xC0) != 0x80) ++col;
  } else {
    col += FCur - p;
  }
  FColPos = FCur;
  FCol = col;
  return col;
}

// ---------------------------------------------------------------------------
// Characters

char16_t TXoTextParser::CharAt(const uint8_t* p) const {
  if (p >= FEnd) return 0;
  switch (FCharSetType) {
    case cstUTF16: return LoadUnit(p);
    case cstUTF8: {
      char16_t c;
      DecodeUTF8(p, FEnd, c);
      return c;
    }
    default: return FTable ? FTable[*p] : static_cast<char16_t>(*p);
  }
}

const uint8_t* TXoTextParser::NextPtr(const uint8_t* p) const {
  if (p >= FEnd) return FEnd;
  switch (FCharSetType) {
    case cstUTF16: return p + 2;
    case cstUTF8: {
      if (*p < 0x80) return p + 1;
      char16_t c;
      return p + DecodeUTF8(p, FEnd, c);
    }
    default: return p + 1;
  }
}

const uint8_t* TXoTextParser::PrevPtr(const uint8_t* p) const {
  if (p <= FStart) return FStart;
  if (FCharSetType == cstUTF16) return p - 2;
  if (FCharSetType == cstSingleByte || p[-1] < 0x80) return p - 1;
  // Step back over continuation bytes to the lead byte whose sequence ends here.
  for (int back = 2; back <= 4 && p - back >= FStart; ++back) {
    const uint8_t* lead = p - back;
    if ((*lead & 0xC0) != 0x80) return NextPtr(lead) == p ? lead : p - 1;
  }
  return p - 1;
}

char TXoTextParser::CurrCharA() const {
  if (FCur >= FEnd) return 0;
  if (FCharSetType == cstUTF16) {
    char16_t c = LoadUnit(FCur);
    return c < 256 ? static_cast<char>(c) : '?';
  }
  return static_cast<char>(*FCur);
}

char16_t TXoTextParser::CurrCharW() const { return CharAt(FCur); }

char TXoTextParser::ReadCharA() {
  CheckEOF();
  char c = CurrCharA();
  FCur = NextPtr(FCur);
  return c;
}

char16_t TXoTextParser::ReadCharW() {
  CheckEOF();
  char16_t c = CharAt(FCur);
  FCur = NextPtr(FCur);
  return c;
}

void TXoTextParser::NextChar() {
  CheckEOF();
  FCur = NextPtr(FCur);
}

void TXoTextParser::PrevCharW() { FCur = PrevPtr(FCur); }

void TXoTextParser::SkipChars(int64_t ACount) {
  for (; ACount > 0; --ACount) NextChar();
}

std::u16string TXoTextParser::PeekString(int64_t ACount) const {
  const uint8_t* p = FCur;
  for (; ACount > 0 && p < FEnd; --ACount) p = NextPtr(p);
  return Decode(FCur, p);
}

std::u16string TXoTextParser::PeekStringW(int64_t ACount) const { return PeekString(ACount); }

// ---------------------------------------------------------------------------
// Skips

void TXoTextParser::SrcASkipWhileA(TXoTextParserSkipOp AOp, char AChar) {
  const uint8_t* p = FCur;
  const uint8_t* e = FEnd;
  const auto c = static_cast<uint8_t>(AChar);
  switch (AOp) {
    case tpsWhileEqual:
    case tpsWhileInSet:
      while (p < e && *p == c) ++p;
      break;
    case tpsUntilEqual:
    case tpsUntilInSet: {
      const void* f = std::memchr(p, c, static_cast<size_t>(e - p));
      p = f ? static_cast<const uint8_t*>(f) : e;
      break;
    }
    case tpsWhileNotAbove:
      while (p < e && *p <= c) ++p;
      break;
  }
  FCur = p;
}

void TXoTextParser::SrcUSkipWhileA(TXoTextParserSkipOp AOp, char AChar) {
  // Bytes of multi-byte UTF-8 sequences are all above 0x7F, so an ASCII
  // argument can be compared byte by byte without decoding.
  if (static_cast<uint8_t>(AChar) < 0x80) {
    SrcASkipWhileA(AOp, AChar);
    return;
  }
  // A non-ASCII argument: compare decoded characters.
  const char16_t c = static_cast<uint8_t>(AChar);
  while (FCur < FEnd) {
    char16_t cur = CharAt(FCur);
    bool go = (AOp == tpsWhileEqual || AOp == tpsWhileInSet) ? cur == c
              : AOp == tpsWhileNotAbove                     ? cur <= c
                                                            : cur != c;
    if (!go) break;
    FCur = NextPtr(FCur);
  }
}

void TXoTextParser::SrcWSkipWhileW(TXoTextParserSkipOp AOp, char16_t AChar) {
  const uint8_t* p = FCur;
  const uint8_t* e = FEnd;
  switch (AOp) {
    case tpsWhileEqual:
    case tpsWhileInSet:
      while (p < e && LoadUnit(p) == AChar) p += 2;
      break;
    case tpsUntilEqual:
    case tpsUntilInSet: {
      // Eight units at a time: find a unit equal to AChar with SWAR.
      const uint64_t pattern = 0x0001000100010001ULL * AChar;
      while (e - p >= 8) {
        uint64_t w;
        std::memcpy(&w, p, 8);
        uint64_t x = w ^ pattern;
        if (((x - 0x0001000100010001ULL) & ~x & 0x8000800080008000ULL) != 0) break;
        p += 8;
      }
      while (p < e && LoadUnit(p) != AChar) p += 2;
      break;
    }
    case tpsWhileNotAbove:
      while (p < e && LoadUnit(p) <= AChar) p += 2;
      break;
  }
  FCur = p;
}

void TXoTextParser::SkipWhile(TXoTextParserSkipOp AOp, char16_t AChar) {
  if (FCharSetType == cstUTF16) {
    SrcWSkipWhileW(AOp, AChar);
  } else if (AChar < 0x80) {
    if (FCharSetType == cstUTF8)
      SrcUSkipWhileA(AOp, static_cast<char>(AChar));
    else
      SrcASkipWhileA(AOp, static_cast<char>(AChar));
  } else {
    // A non-ASCII argument on a byte source: compare decoded characters.
    while (FCur < FEnd) {
      char16_t cur = CharAt(FCur);
      bool go = (AOp == tpsWhileEqual || AOp == tpsWhileInSet) ? cur == AChar
                : AOp == tpsWhileNotAbove                     ? cur <= AChar
                                                              : cur != AChar;
      if (!go) break;
      FCur = NextPtr(FCur);
    }
  }
}

void TXoTextParser::SkipWhile(TXoTextParserSkipOp AOp, const TXoCharSet& ASet) {
  const bool whileIn = AOp != tpsUntilEqual && AOp != tpsUntilInSet;
  const uint8_t* p = FCur;
  const uint8_t* e = FEnd;
  switch (FCharSetType) {
    case cstUTF16:
      while (p < e && ASet.Contains(LoadUnit(p)) == whileIn) p += 2;
      break;
    case cstUTF8:
      // A set holds characters below 256 only, so a sequence with a lead byte
      // above 0xC3 (and its continuation bytes) is never a member; only the
      // two-byte forms of 0x80..0xFF need decoding.
      while (p < e) {
        uint8_t b = *p;
        if (b < 0x80) {
          if (ASet.ContainsByte(b) != whileIn) break;
          ++p;
        } else if ((b == 0xC2 || b == 0xC3) && e - p >= 2 && (p[1] & 0xC0) == 0x80) {
          if (ASet.Contains(((b & 0x1F) << 6) | (p[1] & 0x3F)) != whileIn) break;
          p += 2;
        } else {
          if (whileIn) break;
          p = NextPtr(p);
        }
      }
      break;
    default:
      if (FTable) {
        while (p < e && ASet.Contains(*p < 0x80 ? *p : FTable[*p]) == whileIn) ++p;
      } else {
        while (p < e && ASet.ContainsByte(*p) == whileIn) ++p;
      }
  }
  FCur = p;
}

// ---------------------------------------------------------------------------
// Marks and selections

void TXoTextParser::SetMark(TXoTextParserPosType AType) {
  if (AType >= tppMark1 && AType <= tppMark3) FMarks[AType - tppMark1] = FCur;
}

void TXoTextParser::ClearMark(TXoTextParserPosType AType) {
  if (AType >= tppMark1 && AType <= tppMark3) FMarks[AType - tppMark1] = nullptr;
}

bool TXoTextParser::IsMarkSet(TXoTextParserPosType AType) const {
  return AType >= tppMark1 && AType <= tppMark3 && FMarks[AType - tppMark1] != nullptr;
}

const uint8_t* TXoTextParser::PosPtr(TXoTextParserPosType AType) const {
  if (AType == tppNext) return NextPtr(FCur);
  if (AType >= tppMark1 && AType <= tppMark3 && FMarks[AType - tppMark1]) return FMarks[AType - tppMark1];
  return FCur;
}

int64_t TXoTextParser::GetPos(TXoTextParserPosType AType) const {
  if (AType >= tppMark1 && AType <= tppMark3 && !FMarks[AType - tppMark1]) return -1;
  return (PosPtr(AType) - FStart) >> FShift;
}

std::u16string TXoTextParser::Selected(TXoTextParserPosType AFrom, TXoTextParserPosType ATo, bool AClear) {
  const uint8_t* from = PosPtr(AFrom);
  const uint8_t* to = PosPtr(ATo);
  if (AClear) ClearMark(AFrom);
  if (from >= to) return {};
  return Decode(from, to);
}

std::string TXoTextParser::SelectedA(TXoTextParserPosType AFrom, TXoTextParserPosType ATo, bool AClear) {
  const uint8_t* from = PosPtr(AFrom);
  const uint8_t* to = PosPtr(ATo);
  if (AClear) ClearMark(AFrom);
  if (from >= to) return {};
  return std::string(reinterpret_cast<const char*>(from), static_cast<size_t>(to - from));
}

void TXoTextParser::AppendDecoded(std::u16string& ADest, const uint8_t* AFrom, const uint8_t* ATo) const {
  if (AFrom < FStart) AFrom = FStart;
  if (ATo > FEnd) ATo = FEnd;
  if (AFrom >= ATo) return;
  switch (FCharSetType) {
    case cstUTF8:
      XoAppendUTF8ToUTF16(ADest, std::string_view(reinterpret_cast<const char*>(AFrom), ATo - AFrom));
      return;
    case cstUTF16: {
      size_t base = ADest.size(), n = static_cast<size_t>(ATo - AFrom) / 2;
      ADest.resize(base + n);
      std::memcpy(ADest.data() + base, AFrom, n * 2);
      return;
    }
    default: {
      size_t base = ADest.size(), n = static_cast<size_t>(ATo - AFrom);
      ADest.resize(base + n);
      char16_t* out = ADest.data() + base;
      if (FTable)
        for (size_t i = 0; i < n; ++i) out[i] = FTable[AFrom[i]];
      else
        for (size_t i = 0; i < n; ++i) out[i] = AFrom[i];
    }
  }
}

std::u16string TXoTextParser::Decode(const uint8_t* AFrom, const uint8_t* ATo) const {
  std::u16string r;
  AppendDecoded(r, AFrom, ATo);
  return r;
}

}  // namespace xo
