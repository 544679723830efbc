// uXoSAX: the grammar of the XML reader.
//
// The reader walks the scanner's buffer with raw pointers. The walk is a
// template on the source kind, so that every inner loop is compiled once per
// width (bytes of a single-byte code page, UTF-8 bytes, UTF-16 units) and
// never tests the width again. Text is marked, skipped over with memchr-like
// scans for the delimiters, and decoded once into a reused string when an
// event needs it. All delimiters are ASCII, and in UTF-8 every byte of a
// multi-byte character is above 0x7F, so byte-wise scanning of UTF-8 finds
// exactly the delimiters that a character-wise scan would.
#include <cstring>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "uXoSAX.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace xo {

namespace {

// Delimiter classes of the reader, for units below 256.
enum : uint8_t {
  kClsNameEnd = 1,     // end of an element name's first part: ':' '<' '>' '/' and 0x00..0x20
  kClsLocalEnd = 2,    // end of the part after the colon: '>' '/' and 0x00..0x20
  kClsAttrName = 4,    // end of an attribute name's first part: '=' ':' '>' '<'
  kClsAttrLocal = 8,   // end of the part after the colon: '=' '>' '<'
  kClsQuote = 16,      // start of a value: '\'' '"' '>' '<'
  kClsPITarget = 32,   // end of a target: ' ' '?'
  kClsAttrGap = 64,    // between attributes: 0x00..0x20 '\'' '"'
};

struct TClassTable {
  uint8_t T[256] = {};
  constexpr void Add(char c, unsigned bits) { T[static_cast<unsigned char>(c)] |= static_cast<uint8_t>(bits); }
  constexpr TClassTable() {
    for (int c = 0; c <= 0x20; ++c) T[c] |= kClsNameEnd | kClsLocalEnd | kClsAttrGap;
    Add(':', kClsNameEnd | kClsAttrName);
    Add('<', kClsNameEnd | kClsAttrName | kClsAttrLocal | kClsQuote);
    Add('>', kClsNameEnd | kClsLocalEnd | kClsAttrName | kClsAttrLocal | kClsQuote);
    Add('/', kClsNameEnd | kClsLocalEnd);
    Add('=', kClsAttrName | kClsAttrLocal);
    Add('\'', kClsQuote | kClsAttrGap);
    Add('"', kClsQuote | kClsAttrGap);
    Add(' ', kClsPITarget);
    Add('?', kClsPITarget);
  }
};
constexpr TClassTable kCls;

inline const uint8_t* FindUnit(const uint8_t* p, const uint8_t* e, uint8_t c) {
  if (p >= e) return e;
  if (*p == c) return p;  // often the very next byte (a '>' after a name)
#if defined(__SSE2__)
  // Most texts between tags are short: one block before the library call.
  if (e - p >= 16) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int m = _mm_movemask_epi8(_mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(c))));
    if (m) return p + __builtin_ctz(static_cast<unsigned>(m));
    p += 16;
  }
#endif
  const void* f = std::memchr(p, c, static_cast<size_t>(e - p));
  return f ? static_cast<const uint8_t*>(f) : e;
}

inline const char16_t* FindUnit(const char16_t* p, const char16_t* e, char16_t c) {
#if defined(__SSE2__)
  const __m128i v = _mm_set1_epi16(static_cast<short>(c));
  while (e - p >= 8) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int m = _mm_movemask_epi8(_mm_cmpeq_epi16(x, v));
    if (m) return p + (__builtin_ctz(static_cast<unsigned>(m)) >> 1);
    p += 8;
  }
#endif
  while (p < e && *p != c) ++p;
  return p;
}

// Widens ASCII bytes to UTF-16 units while they last; returns how many were
// done (stops before the first byte above 0x7F).
__attribute__((always_inline)) inline size_t WidenASCII(char16_t* o, const uint8_t* a, size_t n) {
  size_t i = 0;
#if defined(__SSE2__)
  // Every length is tested and widened with at most two loads and stores per
  // width class: the two halves overlap where the length is not a power of
  // two, and overlapping units are simply written twice.
  const __m128i zero = _mm_setzero_si128();
  if (n >= 16) {
    for (; i + 16 <= n; i += 16) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
      if (_mm_movemask_epi8(x)) break;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o + i), _mm_unpacklo_epi8(x, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o + i + 8), _mm_unpackhi_epi8(x, zero));
    }
    if (i == n) return n;
    if (i + 16 > n) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + n - 16));
      if (!_mm_movemask_epi8(x)) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o + n - 16), _mm_unpacklo_epi8(x, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o + n - 8), _mm_unpackhi_epi8(x, zero));
        return n;
      }
    }
  } else if (n >= 8) {
    __m128i x0 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a));
    __m128i x1 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + n - 8));
    if (!_mm_movemask_epi8(_mm_or_si128(x0, x1))) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm_unpacklo_epi8(x0, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o + n - 8), _mm_unpacklo_epi8(x1, zero));
      return n;
    }
  } else if (n >= 4) {
    uint32_t w0, w1;
    std::memcpy(&w0, a, 4);
    std::memcpy(&w1, a + n - 4, 4);
    if (((w0 | w1) & 0x80808080u) == 0) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(o),
                       _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(w0)), zero));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(o + n - 4),
                       _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(w1)), zero));
      return n;
    }
  } else if (n > 0) {
    // One to three bytes: the first, the middle and the last cover them all.
    const uint8_t c0 = a[0], c1 = a[n >> 1], c2 = a[n - 1];
    if (((c0 | c1 | c2) & 0x80) == 0) {
      o[0] = c0;
      o[n >> 1] = c1;
      o[n - 1] = c2;
      return n;
    }
  }
#endif
  for (; i < n; ++i) {
    if (a[i] & 0x80) break;
    o[i] = a[i];
  }
  return i;
}

// UTF-8 bytes to UTF-16 into a reused string: ASCII is widened in place, the
// first non-ASCII byte hands the rest to the library's converter.
__attribute__((always_inline)) inline void DecodeUTF8Into(XoXMLString& s, const uint8_t* a, size_t n) {
  s.resize(n);
  size_t i = WidenASCII(s.data(), a, n);
  if (i < n) {
    // The rest is converted in place: the string already has a unit for
    // every byte, which is as many as UTF-16 can need.
    i += XoUTF8ToUTF16Into(s.data() + i, std::string_view(reinterpret_cast<const char*>(a) + i, n - i));
    s.resize(i);
  }
}

const XoXMLString kNoText;

}  // namespace

// One parse over one scanner. K is the source kind (TXoCharacterSetType).
template <int K>
class TXoSAXXMLScan {
public:
  using U = std::conditional_t<K == cstUTF16, char16_t, uint8_t>;
  using P = const U*;

  TXoSAXXMLScan(TXoSAXXMLReader& AReader, TXoXMLParser& AParser)
      : R(AReader),
        X(AParser),
        NS(*AReader.FNamespaceList),
        Attrs(*AReader.FAttributes),
        FCH(AReader.FContentHandler),
        FLH(AReader.FLexicalHandler),
        CH(FCH.get()),
        LH(FLH.get()),
        B(reinterpret_cast<P>(AParser.BufferStart())),
        E(reinterpret_cast<P>(AParser.BufferEnd())),
        C(reinterpret_cast<P>(AParser.Cursor())),
        Check(AReader.FCheckSingleRootElm) {
    if constexpr (K == cstSingleByte) {
      uint16_t cp = AParser.GetContentCodePage();
      if (cp != 0 && XoIsSingleByteCodePage(cp)) Table = TXoEncoding::SingleByteTable(cp);
    }
    (void)B;
  }

  void Run() {
    // Everything in front of the first '<' is dropped.
    C = FindUnit(C, E, U('<'));
    Sync();
    CH->StartDocument();
    // Prolog: comments, processing instructions, a document type declaration.
    while (C < E) {
      U n = Peek1();
      if (n >= 1 && n <= 0x20) {
        ++C;
      } else if (n == U('!')) {
        ++C;
        if (Peek1() == U('-'))
          ParseComment();
        else
          ParseDTD();
      } else if (n == U('?')) {
        ParseProcessingInstruction();
      } else {
        break;
      }
      C = FindUnit(C, E, U('<'));
    }
    C = SkipWhite(C);
    if (C >= E || *C != U('<')) RaiseNotWellFormed(u'<');
    // Content.
    while (C < E) {
      if (*C == U('<')) {
        U n = Peek1();
        if (n == U('!')) {
          ++C;
          if (Peek1() == U('-'))
            ParseComment();
          else
            ParseCDATA();
        } else if (n == U('?')) {
          ParseProcessingInstruction();
        } else {
          ParseElement();
        }
      } else {
        ParseCharacters();
      }
    }
    Sync();
    CH->EndDocument();
  }

private:
  // ---- primitives

  static uint8_t Cls(U c) {
    if constexpr (sizeof(U) == 1)
      return kCls.T[c];
    else
      return c < 256 ? kCls.T[c] : 0;
  }

  template <uint8_t M>
  P SkipUntil(P p) const {
    const P e = E;
#if defined(__SSE2__)
    if constexpr (sizeof(U) == 1) {
      // Sixteen bytes at a time: names are short, and one test per block
      // avoids a mispredicted branch at every name's end.
      while (e - p >= 16) {
        __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i hit = _mm_setzero_si128();
        if constexpr ((M & (kClsNameEnd | kClsLocalEnd)) != 0) {
          // Bytes up to 0x20 (unsigned).
          hit = _mm_cmpeq_epi8(_mm_max_epu8(x, _mm_set1_epi8(0x20)), _mm_set1_epi8(0x20));
        }
        auto eq = [&](char c) { hit = _mm_or_si128(hit, _mm_cmpeq_epi8(x, _mm_set1_epi8(c))); };
        if constexpr ((M & (kClsNameEnd | kClsAttrName)) != 0) eq(':');
        if constexpr ((M & (kClsNameEnd | kClsAttrName | kClsAttrLocal | kClsQuote)) != 0) eq('<');
        if constexpr ((M & (kClsNameEnd | kClsLocalEnd | kClsAttrName | kClsAttrLocal | kClsQuote)) != 0) eq('>');
        if constexpr ((M & (kClsNameEnd | kClsLocalEnd)) != 0) eq('/');
        if constexpr ((M & (kClsAttrName | kClsAttrLocal)) != 0) eq('=');
        if constexpr ((M & kClsQuote) != 0) {
          eq('\'');
          eq('"');
        }
        if constexpr ((M & kClsPITarget) != 0) {
          eq(' ');
          eq('?');
        }
        int m = _mm_movemask_epi8(hit);
        if (m) return p + __builtin_ctz(static_cast<unsigned>(m));
        p += 16;
      }
    }
#endif
    while (p < e && !(Cls(*p) & M)) ++p;
    return p;
  }

  // Skips units not above 0x20.
  P SkipWhite(P p) const {
    const P e = E;
    while (p < e && *p <= 0x20) ++p;
    return p;
  }
  P SkipBlanks(P p) const {
    const P e = E;
    while (p < e && *p == U(' ')) ++p;
    return p;
  }

  // The unit after the current one (0 when there is none).
  U Peek1() const { return C + 1 < E ? C[1] : U(0); }

  // The scanner's own cursor follows ours wherever somebody may look at it:
  // before every event and every failure.
  void Sync() { X.SetCursor(reinterpret_cast<const uint8_t*>(C)); }
  void MarkStart(P p) { R.FConstructStart = reinterpret_cast<const uint8_t*>(p); }

  [[noreturn]] void RaiseEOF() {
    Sync();
    throw EXoTextParserEOF();
  }
  [[noreturn]] void RaiseNotWellFormed(char16_t AExpected) {
    Sync();
    throw EXoXMLParseError(_cXoXMLNotWellFormed, {AExpected, X.PeekStringW(1)}, cXoXMLErrNotWellFormed);
  }
  [[noreturn]] void RaiseMissingAttribute() {
    Sync();
    throw EXoXMLParseError(_cXoXMLMissingAttribute, cXoXMLErrMissingAttribute);
  }
  [[noreturn]] void RaiseNotClosed(P ATagStart) {
    X.SetCursor(reinterpret_cast<const uint8_t*>(ATagStart));
    int64_t line = X.GetLineNr();
    int64_t col = X.GetColNr();
    Sync();
    throw EXoXMLParseError(_cXoXMLELMNotClosed, {line, col}, cXoXMLErrELMNotClosed);
  }

  // Steps over one unit; at the end of the input that is an unexpected end.
  void Step() {
    if (C >= E) RaiseEOF();
    ++C;
  }

  void CheckNameStart() {
    if (C >= E) RaiseEOF();
    U c = *C;
    if (c < 0x80) {
      unsigned l = static_cast<unsigned>(c) | 0x20u;
      if ((l >= 'a' && l <= 'z') || c == U('_')) return;
    }
    Sync();
    X.CheckValidNameStartChar();
  }

  void Decode(XoXMLString& s, P a, P b) const {
    size_t n = static_cast<size_t>(b - a);
    if constexpr (K == cstUTF16) {
      s.assign(a, n);
    } else if constexpr (K == cstUTF8) {
      DecodeUTF8Into(s, a, n);
    } else {
      s.resize(n);
      char16_t* o = s.data();
      if (Table)
        for (size_t i = 0; i < n; ++i) o[i] = Table[a[i]];
      else
        for (size_t i = 0; i < n; ++i) o[i] = a[i];
    }
  }

  // A decoded string that remembers its source. Names and indentation repeat
  // all the time (an end tag after its start tag, sibling elements, the same
  // attribute names, the same line breaks and blanks), so a string whose
  // source bytes equal the last ones is not decoded again.
  struct TCached {
    XoXMLString S;
    P Src = nullptr;
    size_t Len = 0;
    bool Valid = false;
  };

  static bool SameUnits(P x, P y, size_t n) {
    if (x == y) return true;
    const size_t bytes = n * sizeof(U);
    const auto* a = reinterpret_cast<const uint8_t*>(x);
    const auto* b = reinterpret_cast<const uint8_t*>(y);
    if (bytes >= 8 && bytes <= 16) {
      // Two overlapping words cover the whole range.
      uint64_t a0, a1, b0, b1;
      std::memcpy(&a0, a, 8);
      std::memcpy(&b0, b, 8);
      std::memcpy(&a1, a + bytes - 8, 8);
      std::memcpy(&b1, b + bytes - 8, 8);
      return ((a0 ^ b0) | (a1 ^ b1)) == 0;
    }
    if (bytes >= 4 && bytes < 8) {
      uint32_t a0, a1, b0, b1;
      std::memcpy(&a0, a, 4);
      std::memcpy(&b0, b, 4);
      std::memcpy(&a1, a + bytes - 4, 4);
      std::memcpy(&b1, b + bytes - 4, 4);
      return ((a0 ^ b0) | (a1 ^ b1)) == 0;
    }
    if (bytes < 4) {
      for (size_t i = 0; i < bytes; ++i)
        if (a[i] != b[i]) return false;
      return true;
    }
    return std::memcmp(a, b, bytes) == 0;
  }

  // A range of at most 16 bytes as two words and its length: two ranges with
  // equal keys hold equal bytes (the words are overlapping loads from both
  // ends, so for a given length they cover every byte).
  struct TKey {
    uint64_t W0 = 0;
    uint64_t W1 = 0;
    size_t Bytes = SIZE_MAX;  // no range
    bool operator==(const TKey&) const = default;
  };
  static constexpr size_t kKeyBytes = 16;

  static TKey KeyOf(const void* AData, size_t ABytes) {
    const auto* a = static_cast<const uint8_t*>(AData);
    TKey k;
    k.Bytes = ABytes;
    if (ABytes >= 8) {
      std::memcpy(&k.W0, a, 8);
      std::memcpy(&k.W1, a + ABytes - 8, 8);
    } else if (ABytes >= 4) {
      uint32_t w0, w1;
      std::memcpy(&w0, a, 4);
      std::memcpy(&w1, a + ABytes - 4, 4);
      k.W0 = w0;
      k.W1 = w1;
    } else if (ABytes > 0) {
      k.W0 = a[0] | (uint64_t(a[ABytes >> 1]) << 8) | (uint64_t(a[ABytes - 1]) << 16);
    }
    return k;
  }

  // The bucket of a key among N (a power of two, at most 64).
  template <size_t N>
  static size_t BucketOf(const TKey& k) {
    static_assert((N & (N - 1)) == 0 && N <= 64);
    // One multiplication: the hash sits on the path from a name to its event.
    uint64_t h = (k.W0 ^ ((k.W1 << 23) | (k.W1 >> 41)) ^ k.Bytes) * 0x9E3779B97F4A7C15ULL;
    return static_cast<size_t>(h >> 58) & (N - 1);
  }

  // A small cache of values by key: N buckets of two entries each; a miss
  // replaces the entry of its bucket that was used less recently.
  template <class V, size_t N>
  struct TKeyCache {
    struct TEntry {
      TKey Key;
      V Value{};
    };
    struct TBucket {
      TEntry E[2];
      uint8_t Older = 0;  // the entry to replace on a miss
    };
    TBucket Buckets[N];
    // The entry of AKey; AFound tells whether it held AKey already (else it
    // is a replaced entry that now carries AKey, its value to be refilled).
    TEntry& Get(const TKey& AKey, bool& AFound) {
      TBucket& b = Buckets[BucketOf<N>(AKey)];
      if (b.E[0].Key == AKey) {
        b.Older = 1;
        AFound = true;
        return b.E[0];
      }
      if (b.E[1].Key == AKey) {
        b.Older = 0;
        AFound = true;
        return b.E[1];
      }
      TEntry& e = b.E[b.Older];
      b.Older ^= 1;
      e.Key = AKey;
      AFound = false;
      return e;
    }
  };

  void DecodeCached(TCached& c, P a, P b) {
    size_t n = static_cast<size_t>(b - a);
    if (c.Valid && n == c.Len && SameUnits(c.Src, a, n)) return;
    Decode(c.S, a, b);
    c.Src = a;
    c.Len = n;
    c.Valid = true;
  }

  // A short name part from a keyed cache, a longer one from a one-entry cache.
  const XoXMLString& NameOf(TKeyCache<XoXMLString, 8>& ACache, TCached& ALong, P a, P b) {
    const size_t bytes = static_cast<size_t>(b - a) * sizeof(U);
    if (bytes > kKeyBytes) {
      DecodeCached(ALong, a, b);
      return ALong.S;
    }
    bool found;
    auto& e = ACache.Get(KeyOf(a, bytes), found);
    if (!found) Decode(e.Value, a, b);
    return e.Value;
  }

  // Qualified names of elements come from a few recently decoded ones: an
  // end tag, a sibling or a repeated record structure finds its name there.
  const XoXMLString& QNameOf(P a, P b) {
    const size_t n = static_cast<size_t>(b - a);
    if (n * sizeof(U) <= kKeyBytes) {
      // Short names: one slot per key, found without a search.
      bool found;
      auto& e = CShortQNames.Get(KeyOf(a, n * sizeof(U)), found);
      if (!found) Decode(e.Value, a, b);
      return e.Value;
    }
    for (TCached& c : CQNames)
      if (c.Valid && c.Len == n && SameUnits(c.Src, a, n)) return c.S;
    TCached& c = CQNames[NextQName];
    NextQName = (NextQName + 1) % kQNameSlots;
    Decode(c.S, a, b);
    c.Src = a;
    c.Len = n;
    c.Valid = true;
    return c.S;
  }

  // The namespace URI of a prefix. Answers for short prefixes are kept until
  // the namespace list changes: an equal prefix gets the same answer from the
  // same list, and the answer's string lives as long as the list is unchanged.
  const XoXMLString& URIOf(const XoXMLString& APrefix) {
    if (NS.Count() == 0) return kNoText;
    const size_t bytes = APrefix.size() * sizeof(char16_t);
    if (bytes > kKeyBytes) return NS.GetURI(APrefix);
    bool found;
    auto& e = CURIs.Get(KeyOf(APrefix.data(), bytes), found);
    const uint64_t version = NS.Version();
    if (!found || e.Value.Version != version) e.Value = {version, &NS.GetURI(APrefix)};
    return *e.Value.URI;
  }

  static P TrimLeft(P a, P b) {
    while (a < b && *a <= 0x20) ++a;
    return a;
  }
  static P TrimRight(P a, P b) {
    while (b > a && b[-1] <= 0x20) --b;
    return b;
  }
  static bool IsXmlns(const XoXMLString& s) {
    if (s.size() != 5) return false;
    static constexpr char16_t kXmlns[] = u"xmlns";
    for (size_t i = 0; i < 5; ++i) {
      char16_t c = s[i];
      if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 0x20);
      if (c != kXmlns[i]) return false;
    }
    return true;
  }

  // ---- constructs

  // Current unit: '<' or '!'. A comment runs to the first "-->".
  void ParseComment() {
    MarkStart(C);
    if (C < E && *C == U('<')) ++C;
    if (C >= E || *C != U('!')) RaiseNotWellFormed(u'!');
    for (int i = 0; i < 3; ++i) Step();  // "!--", the hyphens not looked at
    P m = C;
    while (C < E) {
      C = FindUnit(C, E, U('-'));
      if (C >= E) break;
      if (E - C >= 3 && C[1] == U('-') && C[2] == U('>')) break;
      ++C;
    }
    if (LH) {
      Decode(SText, m, C);
      Sync();
      LH->Comment(SText);
    }
    C = FindUnit(C, E, U('>'));
    Step();
  }

  // Current unit: '!'. A CDATA section's text goes to Characters as it is.
  void ParseCDATA() {
    MarkStart(C);
    if (C >= E || *C != U('!')) RaiseNotWellFormed(u'!');
    static constexpr char kOpen[] = "![CDATA[";
    // A text that differs from the marker is an error of its own; a text that
    // stops inside the marker is an unexpected end.
    const ptrdiff_t avail = E - C;
    bool same = true;
    for (ptrdiff_t i = 0; same && i < 8 && i < avail; ++i) same = C[i] == U(kOpen[i]);
    if (same && avail < 8) {
      C = E;
      RaiseEOF();
    }
    if (!same) {
      Sync();
      throw EXoXMLParseError(_cXoXMLCDATAExpected, {X.PeekStringW(8)}, cXoXMLErrCDATAExpected);
    }
    if (LH) {
      Sync();
      LH->StartCDATA();
    }
    C += 8;
    P m = C;
    while (C < E) {
      C = FindUnit(C, E, U(']'));
      if (C >= E) break;
      if (E - C >= 3 && C[1] == U(']') && C[2] == U('>')) break;
      ++C;
    }
    Decode(SText, m, C);
    Sync();
    CH->Characters(SText);
    if (LH) LH->EndCDATA();
    C = FindUnit(C, E, U('>'));
    Step();
  }

  // Current unit: '<' or '!'. The declaration is skipped by counting angle
  // brackets; nothing inside it has any effect.
  void ParseDTD() {
    MarkStart(C);
    if (C < E && *C == U('<')) ++C;
    if (C >= E || *C != U('!')) RaiseNotWellFormed(u'!');
    ++C;
    P m = C;
    C = FindUnit(C, E, U(' '));
    static constexpr char16_t kDocType[] = u"DOCTYPE";
    bool same = C - m == 7;
    for (int i = 0; same && i < 7; ++i) same = m[i] == U(kDocType[i]);
    if (!same) {
      Decode(SText, m, C);
      Sync();
      throw EXoXMLParseError(_cXoXMLDOCTypeExpected, {SText}, cXoXMLErrDOCTypeExpected);
    }
    if (LH) {
      Sync();
      LH->StartDTD();
    }
    int64_t depth = 1;
    while (depth > 0 && C < E) {
      ++C;
      if (C >= E) break;
      if (*C == U('<'))
        ++depth;
      else if (*C == U('>'))
        --depth;
    }
    if (LH) {
      Sync();
      LH->EndDTD();
    }
    C = FindUnit(C, E, U('>'));
    Step();
  }

  // Current unit: '<' of "<?".
  void ParseProcessingInstruction() {
    MarkStart(C);
    if (C >= E || *C != U('<')) RaiseNotWellFormed(u'<');
    Step();
    Step();
    P m = C;
    C = SkipUntil<kClsPITarget>(C);
    Decode(STarget, m, C);
    if (C < E && *C == U(' ')) {
      C = SkipBlanks(C);
      m = C;
      C = FindUnit(C, E, U('?'));
      Decode(SText, m, C);
    } else {
      SText.clear();
      while (C < E && (*C == U(' ') || *C == U('?'))) ++C;
    }
    Sync();
    CH->ProcessingInstruction(STarget, SText);
    C = FindUnit(C, E, U('>'));
    Step();
  }

  // A stretch of text up to the next '<': one event, passed on as written.
  __attribute__((always_inline)) void ParseCharacters() {
    MarkStart(C);
    P m = C;
    C = SkipWhite(C);
    const bool allWhite = C >= E || *C == U('<');
    if (!allWhite) C = FindUnit(C, E, U('<'));
    if (Check && C >= E) RaiseEOF();
    if (allWhite) {
      DecodeCached(CWhite, m, C);
      Sync();
      CH->IgnorableWhitespace(CWhite.S);
      return;
    }
    Decode(SText, m, C);
    Sync();
    CH->Characters(SText);
    if (C >= E) CH->IgnorableWhitespace(kNoText);
  }

  // One tag. Elements nest only in the count Level; end tags are not
  // compared with start tags.
  void ParseElement() {
    const P tagStart = C;
    MarkStart(C);
    if (C >= E || *C != U('<')) RaiseNotWellFormed(u'<');
    ++C;
    bool endTag = false;
    if (C < E && *C == U('/')) {
      endTag = true;
      ++C;
    }
    CheckNameStart();
    const P nameStart = C;
    C = SkipUntil<kClsNameEnd>(C);
    if (C < E && *C == U('<')) RaiseNotClosed(tagStart);
    const bool prefixed = C < E && *C == U(':');
    const XoXMLString* prefix = &kNoText;
    const XoXMLString* localName = nullptr;
    if (prefixed) {
      prefix = &NameOf(CShortPrefixes, CPrefix, nameStart, C);
      ++C;
      CheckNameStart();
      P localStart = C;
      C = SkipUntil<kClsLocalEnd>(C);
      localName = &NameOf(CShortLocals, CLocal, localStart, C);
    }
    const XoXMLString& qname = QNameOf(nameStart, C);
    const XoXMLString& local = prefixed ? *localName : qname;
    C = SkipBlanks(C);

    if (endTag) {
      const XoXMLString& uri = URIOf(*prefix);
      if (C >= E || *C != U('>')) RaiseNotWellFormed(u'>');
      Sync();
      CH->EndElement(uri, local, qname);
      if (NS.Count() != 0) NS.RemoveLevel(Level);
      --Level;
    } else {
      ++Level;
      const TIntfPtr<IXoSAXAttributes>* attrs = &R.FEmptyAttributesIntf;
      if (C >= E || (*C != U('/') && *C != U('>'))) {
        Attrs.Clear();
        ParseAttributes();
        attrs = &R.FAttributesIntf;
      }
      if (C < E && *C == U('/')) {
        const XoXMLString& uri = URIOf(*prefix);
        Sync();
        CH->StartElement(uri, local, qname, *attrs);
        CH->EndElement(uri, local, qname);
        if (NS.Count() != 0) NS.RemoveLevel(Level);
        --Level;
      } else if (C < E && *C == U('>')) {
        Sync();
        CH->StartElement(URIOf(*prefix), local, qname, *attrs);
      }
    }

    C = FindUnit(C, E, U('>'));
    if (Level == 0) {
      // The root element has ended.
      Step();
      if (InRootTail) return;  // the loop below, one call further out, goes on
      InRootTail = true;
      for (;;) {
        C = SkipWhite(C);
        if (C >= E) break;
        if (*C == U('<')) {
          U n = Peek1();
          if (n == U('!')) {
            ++C;
            if (Peek1() == U('-'))
              ParseComment();
            else
              ParseCDATA();
          } else if (n == U('?')) {
            ParseProcessingInstruction();
          } else if (Check) {
            Sync();
            throw EXoXMLParseError(_cXoXMLMultipleRoot, cXoXMLErrMultipleRoot);
          } else {
            ParseElement();
          }
        } else if (Check) {
          Sync();
          throw EXoXMLParseError(_cXoXMLInvalidTextAtRoot, cXoXMLErrInvalidTextAtRoot);
        } else {
          ParseCharacters();
        }
      }
      InRootTail = false;
    } else {
      Step();
    }
    if (C < E && *C != U('<')) ParseCharacters();
  }

  // The attributes of a start tag, into the reader's attribute list. Values
  // are taken as written between the quotes.
  void ParseAttributes() {
    MarkStart(C);
    for (;;) {
      const P nameStart = C;
      C = SkipUntil<kClsAttrName>(C);
      if (C >= E) RaiseEOF();
      if (*C == U('<') || *C == U('>')) RaiseMissingAttribute();
      PXoSAXXMAttribute a = Attrs.AddRecord(TXoSAXAttributeType::CDATA);
      // The record of this position may already hold the same name.
      const size_t idx = static_cast<size_t>(a->Idx);
      if (AttrSrc.size() <= idx) AttrSrc.resize(idx + 1);
      TAttrSource& src = AttrSrc[idx];
      auto same = [&](P x, P y) {
        size_t n = static_cast<size_t>(y - x);
        return n == src.NameLen && SameUnits(src.Name, x, n);
      };
      const XoXMLString* attrPrefix = &kNoText;
      if (*C == U(':')) {
        attrPrefix = &NameOf(CShortAttrPrefixes, CAttrPrefix, nameStart, C);  // not trimmed
        while (C < E && *C == U(':')) ++C;
        const P localStart = C;
        C = SkipUntil<kClsAttrLocal>(C);
        if (C >= E) RaiseEOF();
        if (*C == U('<') || *C == U('>')) RaiseMissingAttribute();
        P q = TrimLeft(nameStart, C);
        P qe = TrimRight(q, C);
        if (!same(q, qe)) {
          P l = TrimLeft(localStart, C);
          Decode(a->LocalName, l, TrimRight(l, C));
          Decode(a->QName, q, qe);
          src.Name = q;
          src.NameLen = static_cast<size_t>(qe - q);
        }
      } else {
        P l = TrimLeft(nameStart, C);
        P le = TrimRight(l, C);
        if (!same(l, le)) {
          Decode(a->LocalName, l, le);
          a->QName = a->LocalName;
          src.Name = l;
          src.NameLen = static_cast<size_t>(le - l);
        }
      }
      C = SkipUntil<kClsQuote>(C);
      if (C >= E) RaiseEOF();
      if (*C == U('<') || *C == U('>')) RaiseMissingAttribute();
      const U quote = *C;
      ++C;
      const P valueStart = C;
      C = FindUnit(C, E, quote);
      Decode(a->Value, valueStart, C);
      if (IsXmlns(a->QName)) {
        a->URI.clear();
        src.URI = nullptr;
        Sync();
        NS.AddURI(Level, kNoText, a->Value);
      } else if (IsXmlns(*attrPrefix)) {
        a->URI.clear();
        src.URI = nullptr;
        Sync();
        NS.AddURI(Level, a->LocalName, a->Value);
      } else {
        // The record keeps its URI while it would get the same string of an
        // unchanged namespace list again.
        const XoXMLString& uri = URIOf(*attrPrefix);
        const uint64_t version = NS.Version();
        if (src.URI != &uri || src.URIVersion != version) {
          if (uri.empty())
            a->URI.clear();
          else
            a->URI = uri;
          src.URI = &uri;
          src.URIVersion = version;
        }
      }
      {
        P p = C;
        const P e = E;
        while (p < e && (Cls(*p) & kClsAttrGap)) ++p;
        C = p;
      }
      if (C >= E || *C == U('>') || *C == U('/')) return;
    }
  }

  TXoSAXXMLReader& R;
  TXoXMLParser& X;
  TXoSAXNamespaceList& NS;
  TXoSAXXMAttributes& Attrs;
  // The handlers stay alive for the whole parse, even if a handler replaces
  // them on the reader meanwhile.
  TIntfPtr<IXoSAXContentHandler> FCH;
  TIntfPtr<IXoSAXLexicalHandler> FLH;
  IXoSAXContentHandler* CH;
  IXoSAXLexicalHandler* LH;
  const P B;
  const P E;
  P C;
  const char16_t* Table = nullptr;
  int32_t Level = 0;
  const bool Check;
  bool InRootTail = false;
  XoXMLString SText, STarget;
  static constexpr size_t kQNameSlots = 4;
  TCached CPrefix, CLocal, CAttrPrefix, CWhite;
  TCached CQNames[kQNameSlots];  // names longer than a key
  TKeyCache<XoXMLString, 64> CShortQNames;  // names of at most kKeyBytes
  // Parts of names; separate caches, because an element's prefix and local
  // name are still in use while the attributes' prefixes are looked up.
  TKeyCache<XoXMLString, 8> CShortPrefixes, CShortLocals, CShortAttrPrefixes;
  struct TURIOfPrefix {
    uint64_t Version = 0;  // of the namespace list when the answer was found
    const XoXMLString* URI = nullptr;
  };
  TKeyCache<TURIOfPrefix, 8> CURIs;
  size_t NextQName = 0;
  // What each record of the attribute list holds, so that equal text is not
  // decoded or copied into it again.
  struct TAttrSource {
    P Name = nullptr;  // source of LocalName and QName
    size_t NameLen = SIZE_MAX;
    const XoXMLString* URI = nullptr;   // where URI was copied from
    uint64_t URIVersion = 0;            // of the namespace list at that time
  };
  std::vector<TAttrSource> AttrSrc;
};

void TXoSAXXMLReader::InternalParse() {
  CheckHandlers();
  try {
    switch (FXMLParser->GetCharacterSetType()) {
      case cstUTF16: {
        TXoSAXXMLScan<cstUTF16> scan(*this, *FXMLParser);
        scan.Run();
        break;
      }
      case cstUTF8: {
        TXoSAXXMLScan<cstUTF8> scan(*this, *FXMLParser);
        scan.Run();
        break;
      }
      default: {
        TXoSAXXMLScan<cstSingleByte> scan(*this, *FXMLParser);
        scan.Run();
        break;
      }
    }
  } catch (...) {
    HandleParseFailure(std::current_exception());
  }
}

}  // namespace xo
