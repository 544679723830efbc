// uXoXMLUtils, part 1: escaping of text for XML and decoding of entity and
// character references.
//
// Both directions make one pass over the text: runs of ordinary characters are
// copied as a block, and only the characters that need work are looked at one
// by one. Text without anything to do is scanned once and copied once.

#include "uXoXMLUtils.h"

#include <algorithm>
#include <array>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace xo {

namespace {

// ---------------------------------------------------------------------------
// Escaping

// Characters below 64 that are replaced: the control characters 0 to 31 and
// the markup characters. The apostrophe and the double quote are added on
// request. Characters from 64 on never need escaping, so one shift and one
// test decide for every character.
constexpr uint64_t cEscapeAlways = 0xFFFFFFFFull | (1ull << '<') | (1ull << '>') | (1ull << '&');

inline uint64_t EscapeMask(bool AEscapeApos, bool AEscapeQuote) {
  uint64_t m = cEscapeAlways;
  if (AEscapeApos) m |= 1ull << '\'';
  if (AEscapeQuote) m |= 1ull << '"';
  return m;
}

template <class C>
inline bool NeedsEscape(C c, uint64_t AMask) {
  auto u = static_cast<std::make_unsigned_t<C>>(c);
  return u < 64 && ((AMask >> u) & 1);
}

#if defined(__SSE2__)
// Bit mask of the lanes of a block that need escaping: the codes below 32
// (code 0 only when the mask selects it), "<", ">", "&", and the quotes on
// request.
template <int Bits>
inline unsigned BlockSpecial(__m128i x, uint64_t AMask) {
  const bool apos = (AMask >> '\'') & 1, quote = (AMask >> '"') & 1, zero = AMask & 1;
  __m128i r;
  if constexpr (Bits == 16) {
    auto eq = [&](char16_t c) { return _mm_cmpeq_epi16(x, _mm_set1_epi16(static_cast<short>(c))); };
    r = _mm_cmpeq_epi16(_mm_and_si128(x, _mm_set1_epi16(static_cast<short>(0xFFE0))), _mm_setzero_si128());
    if (!zero) r = _mm_andnot_si128(eq(0), r);
    r = _mm_or_si128(r, _mm_or_si128(eq(u'<'), _mm_or_si128(eq(u'>'), eq(u'&'))));
    if (apos) r = _mm_or_si128(r, eq(u'\''));
    if (quote) r = _mm_or_si128(r, eq(u'"'));
  } else {
    auto eq = [&](char c) { return _mm_cmpeq_epi8(x, _mm_set1_epi8(c)); };
    r = _mm_cmpeq_epi8(_mm_and_si128(x, _mm_set1_epi8(static_cast<char>(0xE0))), _mm_setzero_si128());
    if (!zero) r = _mm_andnot_si128(eq(0), r);
    r = _mm_or_si128(r, _mm_or_si128(eq('<'), _mm_or_si128(eq('>'), eq('&'))));
    if (apos) r = _mm_or_si128(r, eq('\''));
    if (quote) r = _mm_or_si128(r, eq('"'));
  }
  return static_cast<unsigned>(_mm_movemask_epi8(r));
}
#endif

// Index of the first character from AFrom on that needs work, or ALen.
template <class C>
inline size_t NextToEscape(const C* p, size_t AFrom, size_t ALen, uint64_t AMask) {
  size_t i = AFrom;
#if defined(__SSE2__)
  constexpr size_t cLanes = 16 / sizeof(C);
  while (i + cLanes <= ALen) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    unsigned m = BlockSpecial<sizeof(C) * 8>(x, AMask);
    if (m) return i + static_cast<size_t>(__builtin_ctz(m)) / sizeof(C);
    i += cLanes;
  }
#endif
  while (i < ALen && !NeedsEscape(p[i], AMask)) ++i;
  return i;
}

template <class C>
inline size_t FirstToEscape(const C* p, size_t ALen, uint64_t AMask) {
  return NextToEscape(p, 0, ALen, AMask);
}

// Index of the first AChar from AFrom on, or ALen.
inline size_t FindChar(const char16_t* p, size_t AFrom, size_t ALen, char16_t AChar) {
  size_t i = AFrom;
#if defined(__SSE2__)
  const __m128i c = _mm_set1_epi16(static_cast<short>(AChar));
  while (i + 8 <= ALen) {
    unsigned m = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)), c)));
    if (m) return i + static_cast<size_t>(__builtin_ctz(m)) / 2;
    i += 8;
  }
#endif
  while (i < ALen && p[i] != AChar) ++i;
  return i;
}

inline size_t FindChar(const char* p, size_t AFrom, size_t ALen, char AChar) {
  if (AFrom >= ALen) return ALen;
  const void* r = std::memchr(p + AFrom, AChar, ALen - AFrom);
  return r ? static_cast<size_t>(static_cast<const char*>(r) - p) : ALen;
}

// The replacement of each character below 64 that needs one; code 0 has an
// empty replacement (it is dropped where the mask selects it).
template <class C>
struct TReplacement {
  C S[8];
  uint8_t N;
};

// Entry 64 is the identity: the character itself, one unit (written by the
// caller).
template <class C>
constexpr std::array<TReplacement<C>, 65> MakeReplacements() {
  std::array<TReplacement<C>, 65> t{};
  t[64].N = 1;
  auto set = [&](unsigned c, const char* r) {
    uint8_t n = 0;
    while (r[n]) {
      t[c].S[n] = C(r[n]);
      ++n;
    }
    t[c].N = n;
  };
  for (unsigned c = 1; c < 32; ++c) {
    // Codes 1 to 31 as decimal character references.
    char r[8] = {'&', '#', 0, 0, 0, 0, 0, 0};
    if (c < 10) {
      r[2] = char('0' + c);
      r[3] = ';';
    } else {
      r[2] = char('0' + c / 10);
      r[3] = char('0' + c % 10);
      r[4] = ';';
    }
    set(c, r);
  }
  set('<', "&lt;");
  set('>', "&gt;");
  set('&', "&amp;");
  set('\'', "&apos;");
  set('"', "&quot;");
  return t;
}

template <class C>
inline constexpr std::array<TReplacement<C>, 65> cReplacements = MakeReplacements<C>();

// Writes one character, replaced or not, at d and answers the units written.
// Branch-free: the table entry is chosen by a conditional move, and the
// identity entry leaves the character itself in the first unit.
template <class C>
inline size_t PutChar(C* d, C c, bool ASpecial) {
  unsigned u = static_cast<std::make_unsigned_t<C>>(c);
  const TReplacement<C>& e = cReplacements<C>[ASpecial ? (u & 63) : 64];
  std::memcpy(d, e.S, sizeof(e.S));  // fixed size; only N units count
  d[0] = ASpecial ? e.S[0] : c;
  return e.N;
}

// Escapes p[0..ALen) into ADest (replacing its content); AFirst is the index
// of the first character needing work. Writes through a pointer into a buffer
// sized ahead. Blocks without work are copied whole; blocks with work go
// character by character without branches, which suits markup-heavy text.
template <class C>
void EscapeToBuffer(std::basic_string<C>& ADest, const C* p, size_t ALen, size_t AFirst, uint64_t AMask) {
  constexpr size_t cMaxRepl = 8;  // units a replacement may write (6 used)
  ADest.resize(ALen + ALen / 4 + 64);
  C* d = ADest.data();
  std::memcpy(d, p, AFirst * sizeof(C));
  size_t out = AFirst, i = AFirst;
  auto reserve = [&](size_t AUnits) {
    if (out + AUnits > ADest.size()) {
      ADest.resize(std::max(ADest.size() * 3 / 2, out + AUnits + (ALen - i)));
      d = ADest.data();
    }
  };
#if defined(__SSE2__)
  constexpr size_t cLanes = 16 / sizeof(C);
  while (i + cLanes <= ALen) {
    reserve(cLanes * cMaxRepl);
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    unsigned m = BlockSpecial<sizeof(C) * 8>(x, AMask);
    if (!m) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + out), x);
      out += cLanes;
    } else {
      for (size_t k = 0; k < cLanes; ++k) out += PutChar(d + out, p[i + k], (m >> (k * sizeof(C))) & 1);
    }
    i += cLanes;
  }
#endif
  reserve((ALen - i) * cMaxRepl + cMaxRepl);
  for (; i < ALen; ++i) out += PutChar(d + out, p[i], NeedsEscape(p[i], AMask));
  ADest.resize(out);
}

}  // namespace

void XoStrToXML(std::u16string_view AText, TXoStringStream* AStream, bool EscapeApos, bool EscapeQuote) {
  XoStrToXML(AText.data(), static_cast<int64_t>(AText.size()), AStream, EscapeApos, EscapeQuote);
}

void XoStrToXML(const char16_t* AText, int64_t ACount, TXoStringStream* AStream, bool EscapeApos,
                bool EscapeQuote) {
  if (!AText || ACount <= 0 || !AStream) return;
  size_t len = static_cast<size_t>(ACount);
  uint64_t mask = EscapeMask(EscapeApos, EscapeQuote) & ~uint64_t(1);  // code 0 is copied here
  size_t first = FirstToEscape(AText, len, mask);
  if (first == len) {
    AStream->Add(std::u16string_view(AText, len));
    return;
  }
  // The text up to the first replacement goes as it is; the rest is escaped in
  // blocks through one reused buffer.
  if (first) AStream->Add(std::u16string_view(AText, first));
  constexpr size_t cBlock = 16384;
  std::u16string buf;
  for (size_t from = first; from < len; from += cBlock) {
    size_t n = std::min(cBlock, len - from);
    const char16_t* block = AText + from;
    EscapeToBuffer(buf, block, n, FirstToEscape(block, n, mask), mask);
    AStream->Add(std::u16string_view(buf));
  }
}

std::string XoStrToXML(std::string_view AText, bool EscapeApos, bool EscapeQuote) {
  uint64_t mask = EscapeMask(EscapeApos, EscapeQuote) & ~uint64_t(1);
  size_t first = FirstToEscape(AText.data(), AText.size(), mask);
  if (first == AText.size()) return std::string(AText);
  std::string r;
  EscapeToBuffer(r, AText.data(), AText.size(), first, mask);
  return r;
}

XoXMLString XoStrToXML(std::u16string_view AText, bool EscapeApos, bool EscapeQuote) {
  uint64_t mask = EscapeMask(EscapeApos, EscapeQuote);
  size_t first = FirstToEscape(AText.data(), AText.size(), mask);
  if (first == AText.size()) return XoXMLString(AText);
  XoXMLString r;
  EscapeToBuffer(r, AText.data(), AText.size(), first, mask);
  return r;
}

// ---------------------------------------------------------------------------
// Entity decoding

namespace {

struct TEntity {
  const char* Name;
  char16_t Code;
};

// The character entities of HTML 4 (Latin-1, symbols and Greek, special
// characters) and "apos".
constexpr TEntity cEntities[] = {
    // Latin-1
    {"nbsp", 160}, {"iexcl", 161}, {"cent", 162}, {"pound", 163}, {"curren", 164}, {"yen", 165},
    {"brvbar", 166}, {"sect", 167}, {"uml", 168}, {"copy", 169}, {"ordf", 170}, {"laquo", 171},
    {"not", 172}, {"shy", 173}, {"reg", 174}, {"macr", 175}, {"deg", 176}, {"plusmn", 177},
    {"sup2", 178}, {"sup3", 179}, {"acute", 180}, {"micro", 181}, {"para", 182}, {"middot", 183},
    {"cedil", 184}, {"sup1", 185}, {"ordm", 186}, {"raquo", 187}, {"frac14", 188}, {"frac12", 189},
    {"frac34", 190}, {"iquest", 191}, {"Agrave", 192}, {"Aacute", 193}, {"Acirc", 194},
    {"Atilde", 195}, {"Auml", 196}, {"Aring", 197}, {"AElig", 198}, {"Ccedil", 199},
    {"Egrave", 200}, {"Eacute", 201}, {"Ecirc", 202}, {"Euml", 203}, {"Igrave", 204},
    {"Iacute", 205}, {"Icirc", 206}, {"Iuml", 207}, {"ETH", 208}, {"Ntilde", 209}, {"Ograve", 210},
    {"Oacute", 211}, {"Ocirc", 212}, {"Otilde", 213}, {"Ouml", 214}, {"times", 215},
    {"Oslash", 216}, {"Ugrave", 217}, {"Uacute", 218}, {"Ucirc", 219}, {"Uuml", 220},
    {"Yacute", 221}, {"THORN", 222}, {"szlig", 223}, {"agrave", 224}, {"aacute", 225},
    {"acirc", 226}, {"atilde", 227}, {"auml", 228}, {"aring", 229}, {"aelig", 230},
    {"ccedil", 231}, {"egrave", 232}, {"eacute", 233}, {"ecirc", 234}, {"euml", 235},
    {"igrave", 236}, {"iacute", 237}, {"icirc", 238}, {"iuml", 239}, {"eth", 240}, {"ntilde", 241},
    {"ograve", 242}, {"oacute", 243}, {"ocirc", 244}, {"otilde", 245}, {"ouml", 246},
    {"divide", 247}, {"oslash", 248}, {"ugrave", 249}, {"uacute", 250}, {"ucirc", 251},
    {"uuml", 252}, {"yacute", 253}, {"thorn", 254}, {"yuml", 255},
    // Symbols and Greek letters
    {"fnof", 402}, {"Alpha", 913}, {"Beta", 914}, {"Gamma", 915}, {"Delta", 916}, {"Epsilon", 917},
    {"Zeta", 918}, {"Eta", 919}, {"Theta", 920}, {"Iota", 921}, {"Kappa", 922}, {"Lambda", 923},
    {"Mu", 924}, {"Nu", 925}, {"Xi", 926}, {"Omicron", 927}, {"Pi", 928}, {"Rho", 929},
    {"Sigma", 931}, {"Tau", 932}, {"Upsilon", 933}, {"Phi", 934}, {"Chi", 935}, {"Psi", 936},
    {"Omega", 937}, {"alpha", 945}, {"beta", 946}, {"gamma", 947}, {"delta", 948},
    {"epsilon", 949}, {"zeta", 950}, {"eta", 951}, {"theta", 952}, {"iota", 953}, {"kappa", 954},
    {"lambda", 955}, {"mu", 956}, {"nu", 957}, {"xi", 958}, {"omicron", 959}, {"pi", 960},
    {"rho", 961}, {"sigmaf", 962}, {"sigma", 963}, {"tau", 964}, {"upsilon", 965}, {"phi", 966},
    {"chi", 967}, {"psi", 968}, {"omega", 969}, {"thetasym", 977}, {"upsih", 978}, {"piv", 982},
    {"bull", 8226}, {"hellip", 8230}, {"prime", 8242}, {"Prime", 8243}, {"oline", 8254},
    {"frasl", 8260}, {"weierp", 8472}, {"image", 8465}, {"real", 8476}, {"trade", 8482},
    {"alefsym", 8501}, {"larr", 8592}, {"uarr", 8593}, {"rarr", 8594}, {"darr", 8595},
    {"harr", 8596}, {"crarr", 8629}, {"lArr", 8656}, {"uArr", 8657}, {"rArr", 8658},
    {"dArr", 8659}, {"hArr", 8660}, {"forall", 8704}, {"part", 8706}, {"exist", 8707},
    {"empty", 8709}, {"nabla", 8711}, {"isin", 8712}, {"notin", 8713}, {"ni", 8715},
    {"prod", 8719}, {"sum", 8721}, {"minus", 8722}, {"lowast", 8727}, {"radic", 8730},
    {"prop", 8733}, {"infin", 8734}, {"ang", 8736}, {"and", 8743}, {"or", 8744}, {"cap", 8745},
    {"cup", 8746}, {"int", 8747}, {"there4", 8756}, {"sim", 8764}, {"cong", 8773},
    {"asymp", 8776}, {"ne", 8800}, {"equiv", 8801}, {"le", 8804}, {"ge", 8805}, {"sub", 8834},
    {"sup", 8835}, {"nsub", 8836}, {"sube", 8838}, {"supe", 8839}, {"oplus", 8853},
    {"otimes", 8855}, {"perp", 8869}, {"sdot", 8901}, {"lceil", 8968}, {"rceil", 8969},
    {"lfloor", 8970}, {"rfloor", 8971}, {"lang", 9001}, {"rang", 9002}, {"loz", 9674},
    {"spades", 9824}, {"clubs", 9827}, {"hearts", 9829}, {"diams", 9830},
    // Markup-significant and international characters
    {"quot", 34}, {"amp", 38}, {"lt", 60}, {"gt", 62}, {"OElig", 338}, {"oelig", 339},
    {"Scaron", 352}, {"scaron", 353}, {"Yuml", 376}, {"circ", 710}, {"tilde", 732},
    {"ensp", 8194}, {"emsp", 8195}, {"thinsp", 8201}, {"zwnj", 8204}, {"zwj", 8205},
    {"lrm", 8206}, {"rlm", 8207}, {"ndash", 8211}, {"mdash", 8212}, {"lsquo", 8216},
    {"rsquo", 8217}, {"sbquo", 8218}, {"ldquo", 8220}, {"rdquo", 8221}, {"bdquo", 8222},
    {"dagger", 8224}, {"Dagger", 8225}, {"permil", 8240}, {"lsaquo", 8249}, {"rsaquo", 8250},
    {"euro", 8364},
    // XML's own
    {"apos", 39},
};

constexpr size_t cEntityCount = sizeof(cEntities) / sizeof(cEntities[0]);
static_assert(cEntityCount == 253, "the entity table holds 252 HTML names and apos");

}  // namespace

int32_t XoEntityKey(std::u16string_view AName) {
  // Padded with zero characters to eight; the pairs (0,7), (1,6), (2,5), (3,4)
  // are summed byte-wise into the four bytes of the key, most significant
  // first.
  unsigned c[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  for (size_t i = 0; i < AName.size() && i < 8; ++i) c[i] = AName[i] & 0xFF;
  uint32_t key = (((c[0] + c[7]) & 0xFF) << 24) | (((c[1] + c[6]) & 0xFF) << 16) |
                 (((c[2] + c[5]) & 0xFF) << 8) | ((c[3] + c[4]) & 0xFF);
  return static_cast<int32_t>(key);
}

namespace {

constexpr int32_t KeyOf(const char* AName) {
  unsigned c[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  for (size_t i = 0; i < 8 && AName[i]; ++i) c[i] = static_cast<unsigned char>(AName[i]);
  uint32_t key = (((c[0] + c[7]) & 0xFF) << 24) | (((c[1] + c[6]) & 0xFF) << 16) |
                 (((c[2] + c[5]) & 0xFF) << 8) | ((c[3] + c[4]) & 0xFF);
  return static_cast<int32_t>(key);
}

struct TKeyEntry {
  int32_t Key;
  char16_t Code;
};

// The table sorted by signed key, built at compile time.
constexpr std::array<TKeyEntry, cEntityCount> MakeKeyTable() {
  std::array<TKeyEntry, cEntityCount> t{};
  for (size_t i = 0; i < cEntityCount; ++i) t[i] = {KeyOf(cEntities[i].Name), cEntities[i].Code};
  std::sort(t.begin(), t.end(), [](const TKeyEntry& a, const TKeyEntry& b) { return a.Key < b.Key; });
  return t;
}

constexpr std::array<TKeyEntry, cEntityCount> cKeyTable = MakeKeyTable();

constexpr bool KeysDistinct() {
  for (size_t i = 1; i < cKeyTable.size(); ++i)
    if (cKeyTable[i - 1].Key == cKeyTable[i].Key) return false;
  return true;
}
static_assert(KeysDistinct(), "every entity name has a key of its own");

// Binary decision over the signed key; -1 when the key has no entry.
inline int32_t LookupKey(int32_t AKey) {
  size_t lo = 0, hi = cKeyTable.size();
  while (lo < hi) {
    size_t mid = (lo + hi) / 2;
    int32_t k = cKeyTable[mid].Key;
    if (k == AKey) return cKeyTable[mid].Code;
    if (k < AKey)
      lo = mid + 1;
    else
      hi = mid;
  }
  return -1;
}

// The value of a numeric reference: ADigits is what stands between "#" and
// ";". A leading x or X makes it hexadecimal. Raises EConvertError when the
// digits do not parse.
char16_t NumericReference(std::u16string_view ADigits) {
  std::u16string s;
  if (!ADigits.empty() && (ADigits[0] == u'x' || ADigits[0] == u'X')) {
    s.reserve(ADigits.size());
    s += u'$';
    s.append(ADigits.substr(1));
  } else {
    s.assign(ADigits);
  }
  return static_cast<char16_t>(StrToInt(s) & 0xFFFF);
}

template <class C>
inline size_t FindStop(const C* p, size_t i, size_t ALen) {
  while (i < ALen && p[i] != C(';') && p[i] != C(' ')) ++i;
  return i;
}

}  // namespace

int32_t XoEntityCode(std::u16string_view AName) {
  if (AName.size() > 8) return -1;
  return LookupKey(XoEntityKey(AName));
}

XoXMLString XoXMLToStr(std::u16string_view AText) {
  const char16_t* p = AText.data();
  const size_t len = AText.size();
  size_t amp = FindChar(p, 0, len, u'&');
  if (amp == len) return XoXMLString(AText);

  // Decoding never makes the text longer, so the result is written through a
  // pointer into a buffer of the input's size.
  XoXMLString r(len, u'\0');
  char16_t* d = r.data();
  size_t out = 0;
  size_t run = 0;  // start of the run not yet written
  size_t i = amp;
  auto flush = [&](size_t ATo) {
    size_t n = ATo - run;
    if (n <= 16) {
      for (size_t k = 0; k < n; ++k) d[out + k] = p[run + k];
    } else {
      std::memcpy(d + out, p + run, n * sizeof(char16_t));
    }
    out += n;
  };
  while ((i = FindChar(p, i, len, u'&')) < len) {
    flush(i);
    run = i;
    size_t stop = FindStop(p, i + 1, len);
    if (stop >= len || p[stop] != u';') {
      // No terminating semicolon: the ampersand stays literal.
      i = stop;
      continue;
    }
    std::u16string_view name(p + i + 1, stop - i - 1);
    if (!name.empty() && name[0] == u'#') {
      d[out++] = NumericReference(name.substr(1));
      run = stop + 1;
    } else if (name.size() <= 8) {
      int32_t code = LookupKey(XoEntityKey(name));
      if (code >= 0) {
        d[out++] = static_cast<char16_t>(code);
        run = stop + 1;
      }
    }
    i = stop + 1;
  }
  flush(len);
  r.resize(out);
  return r;
}

std::string XoXMLToStr(std::string_view AText) {
  const char* p = AText.data();
  const size_t len = AText.size();
  size_t amp = FindChar(p, 0, len, '&');
  if (amp == len) return std::string(AText);

  std::string r;
  r.reserve(len);
  size_t run = 0;
  size_t i = amp;
  while ((i = FindChar(p, i, len, '&')) < len) {
    r.append(p + run, i - run);
    run = i;
    size_t stop = FindStop(p, i + 1, len);
    if (stop >= len || p[stop] != ';') {
      i = stop;
      continue;
    }
    char first = stop > i + 1 ? p[i + 1] : ';';
    char decoded = 0;
    switch (first) {
      case 'a':
      case 'A': {
        char next = stop > i + 2 ? p[i + 2] : ';';
        decoded = (next == 'm' || next == 'M') ? '&' : '\'';
        break;
      }
      case 'g': case 'G': decoded = '>'; break;
      case 'l': case 'L': decoded = '<'; break;
      case 'q': case 'Q': decoded = '"'; break;
      case '#': {
        // The digits are ASCII; widen them byte by byte for the parser.
        std::u16string digits(p + i + 2, p + stop);
        char16_t unit = NumericReference(digits);
        r += TXoEncoding::ConvertW(std::u16string_view(&unit, 1), 0);
        run = stop + 1;
        break;
      }
      default: break;
    }
    if (decoded) {
      r += decoded;
      run = stop + 1;
    }
    i = stop + 1;
  }
  r.append(p + run, len - run);
  return r;
}

}  // namespace xo
