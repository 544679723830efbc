// uXoJSON: the JSON scanner, the reader's entry points and locator, and the
// grammar of the JSON reader.
//
// The walk is a template on the source kind, so that every inner loop is
// compiled once per width (bytes of a single-byte code page, UTF-8 bytes,
// UTF-16 units) and never tests the width again. It keeps its own stack of
// open objects and arrays instead of recursing, so nesting depth costs heap
// memory, not machine stack. Tokens are marked, skipped over with block scans
// for their delimiters, and decoded once into a reused string when an event
// needs them. All structural characters are ASCII, and in UTF-8 every byte of
// a multi-byte character is above 0x7F, so byte-wise scanning of UTF-8 finds
// exactly the delimiters that a character-wise scan would.
#include <cstring>
#include <new>
#include <type_traits>

#include "uXoJSON.h"
#include "uXoJSON/uXoJSONScan.h"

namespace xo {

// ===========================================================================
// TXoJSONTextParser

namespace {

struct TPunct {
  const void* Apos;
  const void* Quote;
  const void* Space;
  const void* Colon;
  const void* BackSlash;
  const void* BracketO;
  const void* BracketC;
  const void* BraceO;
  const void* BraceC;
  const void* Equal;
};

const TPunct kPunctA = {&cXoAposA,      &cXoQuoteA,     &cXoSpaceA,     &cXoColonA,     &cXoBackSlashA,
                        &cXoBracketOAA, &cXoBracketCAA, &cXoBracketOCA, &cXoBracketCCA, &cXoEqualA};
const TPunct kPunctW = {&cXoAposW,      &cXoQuoteW,     &cXoSpaceW,     &cXoColonW,     &cXoBackSlashW,
                        &cXoBracketOAW, &cXoBracketCAW, &cXoBracketOCW, &cXoBracketCCW, &cXoEqualW};

inline char16_t LoadUnit(const uint8_t* p) {
  char16_t c;
  std::memcpy(&c, p, 2);
  return c;
}

}  // namespace

TXoJSONTextParser::TXoJSONTextParser(TStream* ASourceStream, bool AStreamOwner, uint16_t AStreamCodePage)
    : TXoTextParser(ASourceStream, AStreamOwner, AStreamCodePage) {
  // The base constructor chose a source kind but could not reach this
  // class's override: bind the punctuation now, then look at the bytes.
  SetCharacterSetType(GetCharacterSetType());
  DetectEncoding(AStreamCodePage);
}

void TXoJSONTextParser::DetectEncoding(uint16_t ACodePage) {
  const uint8_t* b = BufferStart();
  const int64_t n = BufferEnd() - b;
  auto refuse = [] { throw EXoException(std::u16string(_SEncodingNotSupported)); };
  if (ACodePage == 1200 || GetCharacterSetType() == cstUTF16) {
    // Given as UTF-16 (or converted to it): a byte-order mark is no content.
    if (n >= 2 && LoadUnit(b) == 0xFEFF) SetCursor(b + 2);
    return;
  }
  if (ACodePage == 65001) {
    if (n >= 3 && std::memcmp(b, cXoUTF8, 3) == 0) SetCursor(b + 3);
    return;
  }
  // Code page 0 or a single-byte one: JSON text is Unicode, so a byte-order
  // mark or the pattern of zero bytes decides.
  if (n >= 4 && ((b[0] == 0xFF && b[1] == 0xFE && b[2] == 0 && b[3] == 0) ||
                 (b[0] == 0 && b[1] == 0 && b[2] == 0xFE && b[3] == 0xFF)))
    refuse();  // UTF-32
  if (n >= 2 && b[0] == 0xFE && b[1] == 0xFF) refuse();  // UTF-16 big endian
  if (n >= 3 && std::memcmp(b, cXoUTF8, 3) == 0) {
    SetCharacterSetType(cstUTF8);
    SetContentCodePage(65001);
    SetCursor(b + 3);
    return;
  }
  if (n >= 2 && b[0] == 0xFF && b[1] == 0xFE) {
    SetCharacterSetType(cstUTF16);
    SetContentCodePage(1200);
    SetCursor(b + 2);
    return;
  }
  uint8_t q[4] = {1, 1, 1, 1};  // a byte that is not there counts as non-zero
  for (int i = 0; i < 4 && i < n; ++i) q[i] = static_cast<uint8_t>(ReadCharA());
  const bool z0 = q[0] == 0, z1 = q[1] == 0, z2 = q[2] == 0, z3 = q[3] == 0;
  if (n >= 4 && ((z0 && z1 && z2 && !z3) || (z0 && !z1 && z2 && !z3) || (!z0 && z1 && z2 && z3))) refuse();
  // xx 00 xx 00 is UTF-16LE; a shorter text "x" NUL is too.
  if ((n >= 4 && !z0 && z1 && !z2 && z3) || ((n == 2 || n == 3) && !z0 && z1)) {
    SetCharacterSetType(cstUTF16);
    SetContentCodePage(1200);
  } else {
    SetCharacterSetType(cstUTF8);
    SetContentCodePage(65001);
  }
  First();
}

void TXoJSONTextParser::SetCharacterSetType(TXoCharacterSetType AType) {
  TXoTextParser::SetCharacterSetType(AType);
  const TPunct& p = GetCharacterSetType() == cstUTF16 ? kPunctW : kPunctA;
  FApos = p.Apos;
  FQuote = p.Quote;
  FSpace = p.Space;
  FColon = p.Colon;
  FBackSlash = p.BackSlash;
  FBracketO = p.BracketO;
  FBracketC = p.BracketC;
  FBraceO = p.BraceO;
  FBraceC = p.BraceC;
  FEqual = p.Equal;
  SkipWhile.Obj = this;
  CheckCurrChar.Obj = this;
  switch (GetCharacterSetType()) {
    case cstUTF16:
      SkipWhile.Func = &TXoJSONTextParser::SrcWSkipWhile;
      CheckCurrChar.Func = &TXoJSONTextParser::SrcWCheckCurrChar;
      break;
    case cstUTF8:
      SkipWhile.Func = &TXoJSONTextParser::SrcUSkipWhile;
      CheckCurrChar.Func = &TXoJSONTextParser::SrcUCheckCurrChar;
      break;
    default:
      SkipWhile.Func = &TXoJSONTextParser::SrcASkipWhile;
      CheckCurrChar.Func = &TXoJSONTextParser::SrcACheckCurrChar;
      break;
  }
}

void TXoJSONTextParser::SrcASkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr) {
  SrcASkipWhileA(AOperator, *static_cast<const char*>(ACharPtr));
}

void TXoJSONTextParser::SrcUSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr) {
  SrcUSkipWhileA(AOperator, *static_cast<const char*>(ACharPtr));
}

void TXoJSONTextParser::SrcWSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr) {
  SrcWSkipWhileW(AOperator, *static_cast<const char16_t*>(ACharPtr));
}

void TXoJSONTextParser::RaiseNotWellFormed(const void* AExpected) {
  char16_t expected = GetCharacterSetType() == cstUTF16
                          ? *static_cast<const char16_t*>(AExpected)
                          : static_cast<char16_t>(static_cast<uint8_t>(*static_cast<const char*>(AExpected)));
  throw EXoJSONParseError(_cXoJSONNotWellFormed, {expected, PeekStringW(1)}, cXoJSONErrNotWellFormed);
}

bool TXoJSONTextParser::SrcACheckCurrChar(const void* ACharPtr, bool ARaise) {
  bool eq = Cursor() < BufferEnd() && *Cursor() == *static_cast<const uint8_t*>(ACharPtr);
  if (!eq && ARaise) RaiseNotWellFormed(ACharPtr);
  return eq;
}

bool TXoJSONTextParser::SrcUCheckCurrChar(const void* ACharPtr, bool ARaise) {
  return SrcACheckCurrChar(ACharPtr, ARaise);
}

bool TXoJSONTextParser::SrcWCheckCurrChar(const void* ACharPtr, bool ARaise) {
  bool eq = BufferEnd() - Cursor() >= 2 && LoadUnit(Cursor()) == *static_cast<const char16_t*>(ACharPtr);
  if (!eq && ARaise) RaiseNotWellFormed(ACharPtr);
  return eq;
}

// ===========================================================================
// The walk

namespace {

using jsonscan::FindAny;
using jsonscan::kNumberChars;

const XoJSONString kTrue = u"true";
const XoJSONString kFalse = u"false";
const XoJSONString kNull = u"null";

}  // namespace

// One parse over one scanner. K is the source kind (TXoCharacterSetType).
template <int K>
class TXoJSONScan {
public:
  using U = std::conditional_t<K == cstUTF16, char16_t, uint8_t>;
  using P = const U*;

  TXoJSONScan(TXoJSONTextParser& AParser, IXoJSONContentHandler* AHandler)
      : X(AParser),
        CH(AHandler),
        E(reinterpret_cast<P>(AParser.BufferEnd())),
        C(reinterpret_cast<P>(AParser.Cursor())) {
    if constexpr (K == cstSingleByte) {
      uint16_t cp = AParser.GetContentCodePage();
      if (cp != 0 && XoIsSingleByteCodePage(cp)) Table = TXoEncoding::SingleByteTable(cp);
    }
  }

  void Run() {
    C = SkipWhite(C);
    Sync();
    CH->StartDocument();
    while (C < E) {
      const U c = *C;
      if (c == U('[') || c == U('{')) {
        ParseContainer();
        C = SkipWhite(C);
        continue;
      }
      ParseSimpleValue();
      if (C < E) {
        // One character is stepped over unseen, then blanks; anything left
        // is refused.
        C = NextP(C);
        C = SkipWhite(C);
        if (C < E) RaiseNotWellFormed(u"");
      }
    }
    Sync();
    CH->EndDocument();
  }

private:
  enum : uint8_t { kArray = 0, kObject = 1 };

  // ---- primitives

  // The scanner's cursor follows ours wherever somebody may look at it:
  // before every event and every failure.
  void Sync() { X.SetCursor(reinterpret_cast<const uint8_t*>(C)); }

  [[noreturn]] void RaiseEOF() {
    Sync();
    throw EXoTextParserEOF();
  }
  [[noreturn]] void RaiseNotWellFormed(std::u16string_view AExpected) {
    Sync();
    throw EXoJSONParseError(_cXoJSONNotWellFormed, {AExpected, X.PeekStringW(1)}, cXoJSONErrNotWellFormed);
  }

  static P SkipWhite(P p, P e) {
    while (p < e && *p <= 0x20) ++p;
    return p;
  }
  P SkipWhite(P p) const { return SkipWhite(p, E); }

  // One character on (p < E).
  P NextP(P p) const { return jsonscan::NextP<K>(p, E); }

  void Decode(XoJSONString& s, P a, P b) const { jsonscan::Decode<K>(s, a, b, Table); }

  // ---- tokens

  // At the opening quote: scans to the closing quote and leaves the cursor
  // on it. AFrom/ATo receive the raw text between the quotes.
  void ReadString(P& AFrom, P& ATo) {
    if (C >= E || *C != U('"')) RaiseNotWellFormed(u"\"");
    ++C;
    const P m = C;
    switch (jsonscan::ScanString<K>(C, E)) {
      case jsonscan::ssEOF: break;  // a string that never closes ends with the text; what
                                    // follows decides whether that is an error
      case jsonscan::ssBadEscape: RaiseNotWellFormed(_cXoJSONExpectedEscape);
      case jsonscan::ssClosed: break;
    }
    AFrom = m;
    ATo = C;
  }

  void Literal(const char* AWord, TXoJSONDataType AType, const XoJSONString& AText) {
    for (const char* w = AWord; *w; ++w) {
      if (C >= E || *C != U(*w)) RaiseNotWellFormed(std::u16string(1, static_cast<char16_t>(*w)));
      ++C;
    }
    Sync();
    CH->Value(AType, AText);
  }

  void ParseSimpleValue() {
    const U c = C < E ? *C : U(0);
    switch (c) {
      case U('"'): {
        P a, b;
        ReadString(a, b);
        Decode(SValue, a, b);
        Sync();
        CH->Value(jdtString, SValue);
        return;
      }
      case U('t'): Literal("true", jdtBoolean, kTrue); return;
      case U('f'): Literal("false", jdtBoolean, kFalse); return;
      case U('n'): Literal("null", jdtNull, kNull); return;
      default: break;
    }
    if (c < 0x80 && kNumberChars.T[c]) {
      const P m = C;
      const P e = E;
      P p = C;
      while (p < e && *p < 0x80 && kNumberChars.T[*p]) ++p;
      C = p;
      Decode(SValue, m, p);
      Sync();
      CH->Value(jdtNumber, SValue);
      // Whatever follows the number up to a delimiter is not looked at.
      C = FindAny<U, ']', '}', ','>(C, E);
      return;
    }
    RaiseNotWellFormed(_cXoJSONExpectedValue);
  }

  // ---- objects and arrays

  // At '[': opens the array. Answers whether a value follows (false at ']').
  bool OpenArray() {
    Sync();
    CH->StartArray();
    Stack.push_back(kArray);
    ++C;
    C = SkipWhite(C);
    if (C >= E) RaiseEOF();
    return *C != U(']');
  }

  // At '{': opens the object and its first member. Answers whether a value
  // follows (false when the object closed at once).
  bool OpenObject() {
    Sync();
    CH->StartObject();
    Stack.push_back(kObject);
    C = FindAny<U, '}', '"'>(C, E);
    if (C >= E) RaiseEOF();
    if (*C == U('}')) {
      Close();
      return false;
    }
    StartMember();
    return true;
  }

  // At the opening quote of a member name: the name, the colon, and the
  // blanks in front of the value.
  void StartMember() {
    P a, b;
    ReadString(a, b);
    Decode(SName, a, b);
    Sync();
    CH->StartMember(SName);
    if (C < E) ++C;  // off the closing quote, if the name had one
    C = FindAny<U, ':'>(C, E);
    if (C >= E) RaiseEOF();
    ++C;
    C = SkipWhite(C);
    if (C >= E) RaiseEOF();
  }

  // At the closing bracket of the innermost container.
  void Close() {
    Sync();
    if (Stack.back() == kObject)
      CH->EndObject();
    else
      CH->EndArray();
    Stack.pop_back();
    ++C;
  }

  // At '[' or '{' of a container at the top level: reads it whole.
  void ParseContainer() {
    bool needValue = true;
    for (;;) {
      if (needValue) {
        const U c = *C;
        if (c == U('[')) {
          needValue = OpenArray();
        } else if (c == U('{')) {
          needValue = OpenObject();
          if (Stack.empty()) return;
        } else {
          ParseSimpleValue();
          needValue = false;
        }
        continue;
      }
      // A value of the innermost container is complete.
      if (Stack.back() == kObject) {
        Sync();
        CH->EndMember();
        C = FindAny<U, '}', ','>(C, E);
        if (C >= E) RaiseEOF();
        if (*C == U('}')) {
          Close();
          if (Stack.empty()) return;
          continue;
        }
        C = FindAny<U, '"'>(C, E);
        StartMember();  // refuses a missing name with '"' expected
        needValue = true;
      } else {
        C = FindAny<U, ']', ','>(C, E);
        if (C >= E) RaiseEOF();
        if (*C == U(']')) {
          Close();
          if (Stack.empty()) return;
          continue;
        }
        ++C;  // off the comma
        C = SkipWhite(C);
        if (C >= E) RaiseEOF();
        needValue = *C != U(']');
      }
    }
  }

  TXoJSONTextParser& X;
  IXoJSONContentHandler* CH;
  const P E;
  P C;
  const char16_t* Table = nullptr;
  std::vector<uint8_t> Stack;
  XoJSONString SName, SValue;
};

// ===========================================================================
// TXoJSONReader

TXoJSONReader::TXoJSONReader() {
  SetAutoDestroy(false);
  FPublicID = IntToStr(static_cast<int64_t>(reinterpret_cast<uintptr_t>(this)));
}

TXoJSONReader::~TXoJSONReader() = default;

int64_t TXoJSONReader::GetLineNr() {
  if (FUnexpectedEOF) return FLineNr;
  return FParser ? FParser->GetLineNr() : -1;
}

int64_t TXoJSONReader::GetColNr() {
  if (FUnexpectedEOF) return FColNr;
  return FParser ? FParser->GetColNr() : -1;
}

void TXoJSONReader::CheckHandlers() {
  if (!FContentHandler) throw EXoJSONException(_cXoJSONNoContentHandler, cXoJSONErrNoContentHandler);
  if (!FErrorHandler) throw EXoJSONException(_cXoJSONNoErrorHandler, cXoJSONErrNoErrorHandler);
}

void TXoJSONReader::HandleParseFailure(const std::exception_ptr& AError, bool ANoteEOF) {
  std::exception_ptr error = AError;
  bool eof = false;
  bool foreign = false;
  XoJSONString msg;
  try {
    std::rethrow_exception(AError);
  } catch (const EXoTextParserEOF& e) {
    eof = true;
    msg = e.Message();
  } catch (const Exception& e) {
    msg = e.Message();
  } catch (const std::bad_alloc&) {
    foreign = true;
    msg = u"Out of memory while reading the JSON text";
  } catch (const std::exception& e) {
    foreign = true;
    msg = XoUTF8ToUTF16(e.what());
  } catch (...) {
    foreign = true;
    msg = u"Unknown error while reading the JSON text";
  }
  if (foreign) error = std::make_exception_ptr(EXoException(msg));
  if (ANoteEOF) FUnexpectedEOF = eof;
  if (FErrorHandler) FErrorHandler->FatalError(TIntfPtr<IXoJSONLocator>(this), msg);
  std::rethrow_exception(error);
}

void TXoJSONReader::InternalParse() {
  CheckHandlers();
  // The handler stays alive for the whole parse, even if it replaces itself.
  TIntfPtr<IXoJSONContentHandler> handler = FContentHandler;
  try {
    switch (FParser->GetCharacterSetType()) {
      case cstUTF16: {
        TXoJSONScan<cstUTF16> scan(*FParser, handler.get());
        scan.Run();
        break;
      }
      case cstUTF8: {
        TXoJSONScan<cstUTF8> scan(*FParser, handler.get());
        scan.Run();
        break;
      }
      default: {
        TXoJSONScan<cstSingleByte> scan(*FParser, handler.get());
        scan.Run();
        break;
      }
    }
  } catch (...) {
    HandleParseFailure(std::current_exception(), true);
  }
}

void TXoJSONReader::DoParse(TStream* AStream, bool AOwnsStream, uint16_t ACodePage, const XoJSONString& APublicID) {
  FPublicID = APublicID;
  TXoJSONTextParser* previous = FParser;  // a parse started from a handler of another
  FParser = nullptr;
  auto cleanup = [&]() {
    TXoJSONTextParser* p = FParser;
    FParser = previous;
    if (p) p->Free();
    if (AOwnsStream && AStream) AStream->Free();
  };
  try {
    try {
      FParser = new TXoJSONTextParser(AStream, false, ACodePage);
    } catch (...) {
      HandleParseFailure(std::current_exception(), false);
    }
    InternalParse();
  } catch (...) {
    cleanup();
    throw;
  }
  cleanup();
}

void TXoJSONReader::ParseStream(TStream* AStream, uint16_t ACodePage, const XoJSONString& APublicID) {
  DoParse(AStream, false, ACodePage, APublicID);
}

void TXoJSONReader::ParseFile(const XoJSONString& AFileName, uint16_t AMode, const XoJSONString& APublicID) {
  TStream* stream = nullptr;
  try {
    stream = new TFileStream(AFileName, AMode);
  } catch (...) {
    FPublicID = APublicID;
    HandleParseFailure(std::current_exception(), false);
  }
  // The scanner holds the whole file and looks for a byte-order mark itself,
  // so nothing needs to seek: a pipe or a FIFO reads like a regular file.
  DoParse(stream, true, 0, APublicID);
}

void TXoJSONReader::ParseBuffer(const void* ABuffer, int64_t ABufSize, uint16_t ACodePage,
                                const XoJSONString& APublicID) {
  TStream* stream = new TXoMemoryStream(ABuffer, ABuffer ? std::max<int64_t>(ABufSize, 0) : 0);
  DoParse(stream, true, ACodePage, APublicID);
}

void TXoJSONReader::Parse(const XoJSONString& AJSON, const XoJSONString& APublicID) {
  // The string's own memory is scanned; nothing is copied.
  TStream* stream = new TXoMemoryStream(AJSON.data(), static_cast<int64_t>(AJSON.size() * 2));
  DoParse(stream, true, 1200, APublicID);
}

void TXoJSONReader::Parse(const RawByteString& AJSON, uint16_t ACodePage, const XoJSONString& APublicID) {
  TStream* stream = new TXoMemoryStream(AJSON.data(), static_cast<int64_t>(AJSON.size()));
  DoParse(stream, true, ACodePage, APublicID);
}

}  // namespace xo
