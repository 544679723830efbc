// uXoSAX: JSON text delivered as the events of an XML document.
//
// The walk is the JSON reader's (same scanner, same primitives, same
// tolerances), turned into element events: a template on the source kind
// with its own stack of open objects and arrays, so that nesting depth costs
// heap memory and not machine stack. The names of the open elements are kept
// one after another in one string, so that an open level costs no block of
// its own.
#include <new>
#include <type_traits>

#include "uXoJSON/uXoJSONScan.h"
#include "uXoSAX.h"

namespace xo {

namespace {

const XoXMLString kEmpty;
const XoXMLString kObject = u"object";
const XoXMLString kArray = u"array";
const XoXMLString kArraySuffix = u"Array";
const XoXMLString kTrue = u"true";
const XoXMLString kFalse = u"false";
const XoXMLString kNull = u"null";
const XoXMLString kXSI = u"http://www.w3.org/2001/XMLSchema-instance";
const XoXMLString kXSD = u"http://www.w3.org/2001/XMLSchema";

// ASCII characters that may stand in a name: the name start characters,
// "-", "." and the digits.
struct TNameChars {
  bool Name[128] = {};
  constexpr TNameChars() {
    for (int c = 'A'; c <= 'Z'; ++c) Name[c] = true;
    for (int c = 'a'; c <= 'z'; ++c) Name[c] = true;
    for (int c = '0'; c <= '9'; ++c) Name[c] = true;
    for (char c : std::string_view("_-.")) Name[static_cast<unsigned char>(c)] = true;
  }
};
constexpr TNameChars kNameChars;

inline bool IsNameChar(char16_t c) {
  if (c < 0x80) return kNameChars.Name[c];
  return c == 0xB7 || (c >= 0x300 && c <= 0x36F) || (c >= 0x203F && c <= 0x2040) ||
         TXoXMLParser::IsNameStartChar(c);
}

// A member name, raw as written, made fit to name an element.
void FitName(XoXMLString& AName) {
  for (char16_t& c : AName)
    if (!IsNameChar(c)) c = u'_';
  if (AName.empty())
    AName = u"_";
  else if (!TXoXMLParser::IsNameStartChar(AName[0]))
    AName.insert(AName.begin(), u'_');
}

}  // namespace

// One parse over one scanner. K is the source kind (TXoCharacterSetType).
template <int K>
class TXoSAXJSONScan {
public:
  using U = std::conditional_t<K == cstUTF16, char16_t, uint8_t>;
  using P = const U*;

  TXoSAXJSONScan(TXoSAXJSONReader& AReader, TXoJSONTextParser& AParser, IXoSAXContentHandler* AHandler)
      : R(AReader),
        X(AParser),
        CH(AHandler),
        E(reinterpret_cast<P>(AParser.BufferEnd())),
        C(reinterpret_cast<P>(AParser.Cursor())) {
    if constexpr (K == cstSingleByte) {
      uint16_t cp = AParser.GetContentCodePage();
      if (cp != 0 && XoIsSingleByteCodePage(cp)) Table = TXoEncoding::SingleByteTable(cp);
    }
  }

  void Run() {
    // Whatever stands in front of the first object or array is passed over.
    C = jsonscan::FindAny<U, '{', '['>(C, E);
    Sync();
    CH->StartDocument();
    if (C >= E) RaiseNotWellFormed(u"");
    const XoXMLString& root = *C == U('{') ? kObject : kArray;
    CH->StartElement(kEmpty, root, root, R.FRootAttributesIntf);
    while (C < E) {
      const U c = *C;
      if (c == U('{') || c == U('[')) {
        ParseContainer(root);
        continue;
      }
      // One character behind a value is stepped over unseen, then blanks;
      // only a further object or array may follow.
      C = NextP(C);
      C = SkipWhite(C);
      if (C < E && *C != U('{') && *C != U('[')) RaiseNotWellFormed(u"");
    }
    Sync();
    CH->EndElement(kEmpty, root, root);
    CH->EndDocument();
  }

private:
  // An open object or array. Its text in Names: for an object the name of
  // its element; for an array the name of its element, which is the name of
  // its items followed by "Array". HasEnd: an element was started for it
  // (not for the outermost values, which the root element stands for).
  struct TFrame {
    size_t Off;
    size_t Len;
    bool IsArray;
    bool HasEnd;
  };

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

  P SkipWhite(P p) const {
    while (p < E && *p <= 0x20) ++p;
    return p;
  }
  P NextP(P p) const { return jsonscan::NextP<K>(p, E); }

  // ---- elements

  void Start(const XoXMLString& AName, const TIntfPtr<IXoSAXAttributes>& AAttributes) {
    Sync();
    CH->StartElement(kEmpty, AName, AName, AAttributes);
  }
  void End(const XoXMLString& AName) {
    Sync();
    CH->EndElement(kEmpty, AName, AName);
  }

  // Opens an element AName for an object or array and pushes its level.
  void Push(const XoXMLString& AName, bool AIsArray, bool AHasEnd) {
    if (AHasEnd) Start(AName, R.FEmptyAttributesIntf);
    Stack.push_back(TFrame{Names.size(), AName.size(), AIsArray, AHasEnd});
    Names.append(AName);
  }

  // The name of the items of the innermost array, in SItem.
  void ItemName() {
    const TFrame& f = Stack.back();
    SItem.assign(Names, f.Off, f.Len - kArraySuffix.size());
  }

  // ---- tokens

  // At the opening quote: the raw text between the quotes into AText; the
  // cursor is left on the closing quote.
  void ReadString(XoXMLString& AText) {
    if (C >= E || *C != U('"')) RaiseNotWellFormed(u"\"");
    ++C;
    const P m = C;
    switch (jsonscan::ScanString<K>(C, E)) {
      case jsonscan::ssEOF: break;  // ends with the text; what follows decides
      case jsonscan::ssBadEscape: RaiseNotWellFormed(_cXoJSONExpectedEscape);
      case jsonscan::ssClosed: break;
    }
    jsonscan::Decode<K>(AText, m, C, Table);
  }

  // The literal AWord, letter by letter.
  void Literal(const char* AWord) {
    for (const char* w = AWord; *w; ++w) {
      if (C >= E || *C != U(*w)) RaiseNotWellFormed(std::u16string(1, static_cast<char16_t>(*w)));
      ++C;
    }
  }

  // A simple value as the element AName: its type attribute, the token as
  // character data.
  void ParseSimpleValue(const XoXMLString& AName) {
    const U c = C < E ? *C : U(0);
    TXoJSONDataType type;
    const XoXMLString* text = &SText;
    bool number = false;
    switch (c) {
      case U('"'):
        ReadString(SText);
        type = jdtString;
        break;
      case U('t'):
        Literal("true");
        type = jdtBoolean;
        text = &kTrue;
        break;
      case U('f'):
        Literal("false");
        type = jdtBoolean;
        text = &kFalse;
        break;
      case U('n'):
        Literal("null");
        type = jdtNull;
        text = &kNull;
        break;
      default: {
        if (!(c < 0x80 && jsonscan::kNumberChars.T[c])) RaiseNotWellFormed(_cXoJSONExpectedValue);
        const P m = C;
        P p = C;
        while (p < E && *p < 0x80 && jsonscan::kNumberChars.T[*p]) ++p;
        C = p;
        jsonscan::Decode<K>(SText, m, p, Table);
        type = jdtNumber;
        number = true;
        break;
      }
    }
    Start(AName, R.FTypeAttributesIntf[type]);
    CH->Characters(*text);
    CH->EndElement(kEmpty, AName, AName);
    // Whatever follows a number up to a delimiter is not looked at.
    if (number) C = jsonscan::FindAny<U, ']', '}', ','>(C, E);
  }

  // A value named AName: opens a nested object or array (which closes at
  // once when empty), or delivers a simple value.
  void ParseValue(const XoXMLString& AName) {
    const U c = *C;
    if (c == U('{')) {
      OpenObject(AName, true);
    } else if (c == U('[')) {
      SArray.assign(AName).append(kArraySuffix);
      OpenArray(SArray, true);
    } else {
      ParseSimpleValue(AName);
    }
  }

  // ---- objects and arrays

  // At '['. AName: the name of the array's element (items' name + "Array").
  // Answers whether an item follows (false at ']').
  bool OpenArray(const XoXMLString& AName, bool AHasEnd) {
    Push(AName, true, AHasEnd);
    ++C;
    C = SkipWhite(C);
    if (C >= E) RaiseEOF();
    return *C != U(']');
  }

  // At '{': opens the object and reads its first member name. Answers
  // whether a value follows (false when the object closed at once).
  bool OpenObject(const XoXMLString& AName, bool AHasEnd) {
    Push(AName, false, AHasEnd);
    C = jsonscan::FindAny<U, '}', '"'>(C, E);
    if (C >= E) RaiseEOF();
    if (*C == U('}')) {
      Close();
      return false;
    }
    StartMember();
    return true;
  }

  // At the opening quote of a member name: the name (fit for XML, in SName),
  // the colon, and the blanks in front of the value.
  void StartMember() {
    ReadString(SName);
    FitName(SName);
    if (C < E) ++C;  // off the closing quote, if the name had one
    C = jsonscan::FindAny<U, ':'>(C, E);
    if (C >= E) RaiseEOF();
    ++C;
    C = SkipWhite(C);
    if (C >= E) RaiseEOF();
  }

  // At the closing bracket of the innermost container.
  void Close() {
    const TFrame f = Stack.back();
    Stack.pop_back();
    if (f.HasEnd) {
      SEnd.assign(Names, f.Off, f.Len);
      Names.resize(f.Off);
      End(SEnd);
    } else {
      Names.resize(f.Off);
    }
    ++C;
  }

  // At '[' or '{' of an outermost value: reads it whole. The items of an
  // outermost array take the root's name.
  void ParseContainer(const XoXMLString& ARoot) {
    bool needValue;
    if (*C == U('{')) {
      needValue = OpenObject(kEmpty, false);
      if (Stack.empty()) return;
    } else {
      SArray.assign(ARoot).append(kArraySuffix);
      needValue = OpenArray(SArray, false);
    }
    for (;;) {
      if (needValue) {
        const size_t depth = Stack.size();
        if (Stack.back().IsArray) {
          ItemName();
          ParseValue(SItem);
        } else {
          ParseValue(SName);
        }
        // A nested object or array that stayed open: read its first value,
        // if any. Otherwise the value is complete.
        needValue = Stack.size() > depth && (!Stack.back().IsArray || *C != U(']'));
        continue;
      }
      // A value of the innermost container is complete.
      if (!Stack.back().IsArray) {
        C = jsonscan::FindAny<U, '}', ','>(C, E);
        if (C >= E) RaiseEOF();
        if (*C == U('}')) {
          Close();
          if (Stack.empty()) return;
          continue;
        }
        C = jsonscan::FindAny<U, '"'>(C, E);
        StartMember();  // refuses a missing name with '"' expected
        needValue = true;
      } else {
        C = jsonscan::FindAny<U, ']', ','>(C, E);
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

  TXoSAXJSONReader& R;
  TXoJSONTextParser& X;
  IXoSAXContentHandler* CH;
  const P E;
  P C;
  const char16_t* Table = nullptr;
  std::vector<TFrame> Stack;
  XoXMLString Names;
  XoXMLString SName, SText, SItem, SArray, SEnd;
};

// ===========================================================================
// TXoSAXJSONReader

TXoSAXJSONReader::TXoSAXJSONReader() {
  FRootAttributes = new TXoSAXXMAttributes();
  FRootAttributes->Add(u"xsi", u"xmlns:xsi", kEmpty, kXSI);
  FRootAttributes->Add(u"xsd", u"xmlns:xsd", kEmpty, kXSD);
  FRootAttributesIntf = FRootAttributes;
  static const char16_t* const kTypes[4] = {nullptr, u"string", u"decimal", u"boolean"};
  for (int i = 0; i < 4; ++i) {
    FTypeAttributes[i] = new TXoSAXXMAttributes();
    if (i == jdtNull)
      FTypeAttributes[i]->Add(u"nil", u"xsi:nil", kXSI, u"true");
    else
      FTypeAttributes[i]->Add(u"type", u"xsd:type", kXSD, kTypes[i]);
    FTypeAttributesIntf[i] = FTypeAttributes[i];
  }
  FEmptyAttributesIntf = FEmptyAttributes;
}

TXoSAXJSONReader::~TXoSAXJSONReader() {
  FRootAttributesIntf = nullptr;
  FreeAndNil(FRootAttributes);
  for (int i = 0; i < 4; ++i) {
    FTypeAttributesIntf[i] = nullptr;
    FreeAndNil(FTypeAttributes[i]);
  }
  FEmptyAttributesIntf = nullptr;
}

void TXoSAXJSONReader::CheckHandlers() const {
  if (!FContentHandler) throw EXoJSONException(_cXoJSONNoContentHandler, cXoJSONErrNoContentHandler);
  if (!FErrorHandler) throw EXoJSONException(_cXoJSONNoErrorHandler, cXoJSONErrNoErrorHandler);
}

TXoTextParser* TXoSAXJSONReader::CreateParser(TStream* AStream, bool AFlag, bool, uint16_t ACodePage) {
  FJSONParser = new TXoJSONTextParserEx(AStream, AFlag, ACodePage);
  return FJSONParser;
}

void TXoSAXJSONReader::InternalParse() {
  CheckHandlers();
  // The handler stays alive for the whole parse, even if it replaces itself.
  TIntfPtr<IXoSAXContentHandler> handler = FContentHandler;
  TXoJSONTextParserEx* parser = FJSONParser;
  try {
    switch (parser->GetCharacterSetType()) {
      case cstUTF16: {
        TXoSAXJSONScan<cstUTF16> scan(*this, *parser, handler.get());
        scan.Run();
        break;
      }
      case cstUTF8: {
        TXoSAXJSONScan<cstUTF8> scan(*this, *parser, handler.get());
        scan.Run();
        break;
      }
      default: {
        TXoSAXJSONScan<cstSingleByte> scan(*this, *parser, handler.get());
        scan.Run();
        break;
      }
    }
  } catch (...) {
    HandleParseFailure(std::current_exception(), false);
  }
}

// ===========================================================================
// Looking at the start of a stream

namespace {

// A read-only stream that delivers some bytes already read from another
// stream, then the rest of that stream.
class TXoPrefixedStream : public TStream {
public:
  TXoPrefixedStream(const uint8_t* AData, size_t ASize, TStream* ASource)
      : FPrefix(AData, AData + ASize), FSource(ASource) {}
  int64_t Read(void* ABuffer, int64_t ACount) override {
    if (ACount <= 0) return 0;
    const size_t left = FPrefix.size() - FPos;
    if (left > 0) {
      const size_t n = std::min(left, static_cast<size_t>(ACount));
      std::memcpy(ABuffer, FPrefix.data() + FPos, n);
      FPos += n;
      return static_cast<int64_t>(n);
    }
    return FSource->Read(ABuffer, ACount);
  }
  int64_t Write(const void*, int64_t) override { throw EWriteError(u"Stream write error"); }
  int64_t Seek(int64_t, TSeekOrigin) override { return -1; }
  int64_t GetSize() override { return -1; }
  int64_t GetPosition() override { return -1; }

private:
  std::vector<uint8_t> FPrefix;
  size_t FPos = 0;
  TStream* FSource;
};

}  // namespace

namespace {

// The length of a byte-order mark at AData (ASize bytes available) that the
// look for the first character steps over: the UTF-8 mark for 1-byte units,
// the UTF-16LE mark for either. AMarkCodePage receives its code page.
size_t MarkLength(const uint8_t* AData, size_t ASize, size_t AUnit, uint16_t& AMarkCodePage) {
  if (AUnit == 1 && ASize >= 3 && AData[0] == 0xEF && AData[1] == 0xBB && AData[2] == 0xBF) {
    AMarkCodePage = 65001;
    return 3;
  }
  if (ASize >= 2 && AData[0] == 0xFF && AData[1] == 0xFE) {
    AMarkCodePage = 1200;
    return 2;
  }
  return 0;
}

}  // namespace

char16_t XoFirstSignificantChar(TStream* AStream, uint16_t& ACodePage, std::unique_ptr<TStream>& ARest) {
  size_t unit = ACodePage == 1200 ? 2 : 1;
  auto unitAt = [&unit](const uint8_t* p) -> char16_t {
    return unit == 2 ? static_cast<char16_t>(p[0] | (p[1] << 8)) : p[0];
  };
  // A mark found: the text is in its encoding (unless the caller named
  // one), and the stream goes back to the mark, so that the reader meets it.
  uint16_t markCodePage = 0;
  auto takeMark = [&](size_t AMarkLength) {
    if (markCodePage == 1200) unit = 2;
    if (ACodePage == 0) ACodePage = markCodePage;
    return AMarkLength;
  };
  if (const uint8_t* mem = AStream->DirectMemory()) {
    // In memory: look without reading.
    const int64_t size = AStream->GetSize();
    const int64_t start = AStream->GetPosition();
    int64_t pos = start;
    if (pos >= 0 && pos < size)
      pos += static_cast<int64_t>(
          takeMark(MarkLength(mem + pos, static_cast<size_t>(size - pos), unit, markCodePage)));
    while (pos >= 0 && pos + static_cast<int64_t>(unit) <= size) {
      const char16_t c = unitAt(mem + pos);
      if (c > 0x20) {
        AStream->Seek(markCodePage ? start : pos, soBeginning);
        return c;
      }
      pos += static_cast<int64_t>(unit);
    }
    AStream->Seek(size, soBeginning);
    return 0;
  }
  const int64_t limit = XoGetMaxInputSize();
  int64_t total = 0;
  uint8_t buf[4096];
  size_t have = 0;  // bytes in buf; a split unit stays at the front
  // The first three bytes (or as many as there are) tell whether a mark
  // stands in front.
  while (have < 3) {
    const int64_t n = AStream->Read(buf + have, static_cast<int64_t>(3 - have));
    if (n <= 0) break;
    have += static_cast<size_t>(n);
    total += n;
  }
  const size_t markLength = takeMark(MarkLength(buf, have, unit, markCodePage));
  uint8_t mark[3];
  std::memcpy(mark, buf, markLength);
  size_t i = markLength;
  for (;;) {
    for (; i + unit <= have; i += unit) {
      const char16_t c = unitAt(buf + i);
      if (c <= 0x20) continue;
      // Step back to the character, or to the mark when there is one; a
      // stream that cannot gets those bytes put in front of its rest (the
      // blanks between mark and character left out).
      const int64_t back = markLength ? total : static_cast<int64_t>(have - i);
      bool stepped = false;
      try {
        stepped = AStream->Seek(-back, soCurrent) >= 0;
      } catch (const Exception&) {
        stepped = false;
      }
      if (!stepped) {
        std::vector<uint8_t> ahead(mark, mark + markLength);
        ahead.insert(ahead.end(), buf + i, buf + have);
        ARest = std::make_unique<TXoPrefixedStream>(ahead.data(), ahead.size(), AStream);
      }
      return c;
    }
    // Blanks only so far: keep an incomplete unit, drop the rest.
    const size_t rest = have - i;
    if (rest) std::memmove(buf, buf + i, rest);
    have = rest;
    i = 0;
    if (total > limit) {
      // Endless blanks: no character. The reader that follows reads on and
      // meets the size limit itself.
      if (have) ARest = std::make_unique<TXoPrefixedStream>(buf, have, AStream);
      return 0;
    }
    const int64_t n = AStream->Read(buf + have, static_cast<int64_t>(sizeof buf - have));
    if (n <= 0) break;
    have += static_cast<size_t>(n);
    total += n;
  }
  if (have) ARest = std::make_unique<TXoPrefixedStream>(buf, have, AStream);
  return 0;
}

}  // namespace xo
