#include "uXoSysUtils.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace xo {

uint16_t XoSystemCodePage = 65001;

// ---------------------------------------------------------------------------
// UTF-8 -> UTF-16

namespace {

inline bool AllASCII8(const unsigned char* p) {
  uint64_t w;
  std::memcpy(&w, p, 8);
  return (w & 0x8080808080808080ULL) == 0;
}

}  // namespace

size_t XoUTF8ToUTF16Into(char16_t* AOut, std::string_view AText) {
  const auto* p = reinterpret_cast<const unsigned char*>(AText.data());
  const auto* end = p + AText.size();
  char16_t* out = AOut;
  while (p < end) {
    bool atNonASCII = false;  // p is at a non-ASCII byte found by the block test
#if defined(__SSE2__)
    // Fast path: sixteen ASCII bytes at a time, widened with zeros.
    // A block with a non-ASCII byte is widened as a whole too; only its
    // ASCII start counts, the rest is written again. This stays inside the
    // output: no more units than bytes are ever written up to p, and 16 bytes
    // remain after p.
    while (end - p >= 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      int m = _mm_movemask_epi8(v);
      __m128i zero = _mm_setzero_si128();
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(v, zero));
      if (m) {
        int k = __builtin_ctz(static_cast<unsigned>(m));
        out += k;
        p += k;
        atNonASCII = true;
        break;
      }
      out += 16;
      p += 16;
    }
#endif
    // Eight ASCII bytes at a time.
    while (end - p >= 8 && AllASCII8(p)) {
      for (int i = 0; i < 8; ++i) out[i] = p[i];
      out += 8;
      p += 8;
    }
    // Then the one character the block test stopped at, or (without the
    // block test, or in the last bytes) character by character over the next
    // block, before the wide checks are tried again.
    const unsigned char* stop = atNonASCII ? p + 1 : end - p > 16 ? p + 16 : end;
    while (p < stop) {
      unsigned c = *p;
      if (c < 0x80) {
        *out++ = static_cast<char16_t>(c);
        ++p;
        continue;
      }
      size_t avail = static_cast<size_t>(end - p);
      if (c >= 0xC2 && c <= 0xDF) {
        if (avail >= 2 && (p[1] & 0xC0) == 0x80) {
          *out++ = static_cast<char16_t>(((c & 0x1F) << 6) | (p[1] & 0x3F));
          p += 2;
          continue;
        }
        *out++ = 0xFFFD;
        ++p;
        continue;
      }
      if (c >= 0xE0 && c <= 0xEF) {
        unsigned lo = 0x80, hi = 0xBF;
        if (c == 0xE0) lo = 0xA0;
        if (c == 0xED) hi = 0x9F;
        if (avail >= 2 && p[1] >= lo && p[1] <= hi) {
          if (avail >= 3 && (p[2] & 0xC0) == 0x80) {
            *out++ = static_cast<char16_t>(((c & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F));
            p += 3;
            continue;
          }
          *out++ = 0xFFFD;
          p += 2;
          continue;
        }
        *out++ = 0xFFFD;
        ++p;
        continue;
      }
      if (c >= 0xF0 && c <= 0xF4) {
        unsigned lo = 0x80, hi = 0xBF;
        if (c == 0xF0) lo = 0x90;
        if (c == 0xF4) hi = 0x8F;
        if (avail >= 2 && p[1] >= lo && p[1] <= hi) {
          if (avail >= 3 && (p[2] & 0xC0) == 0x80) {
            if (avail >= 4 && (p[3] & 0xC0) == 0x80) {
              uint32_t cp = ((c & 0x07) << 18) | ((p[1] & 0x3F) << 12) | ((p[2] & 0x3F) << 6) | (p[3] & 0x3F);
              cp -= 0x10000;
              *out++ = static_cast<char16_t>(0xD800 + (cp >> 10));
              *out++ = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
              p += 4;
              continue;
            }
            *out++ = 0xFFFD;
            p += 3;
            continue;
          }
          *out++ = 0xFFFD;
          p += 2;
          continue;
        }
        *out++ = 0xFFFD;
        ++p;
        continue;
      }
      *out++ = 0xFFFD;
      ++p;
    }
  }
  return static_cast<size_t>(out - AOut);
}

void XoAppendUTF8ToUTF16(std::u16string& ADest, std::string_view AText) {
  size_t base = ADest.size();
  // UTF-16 never needs more units than UTF-8 has bytes.
  ADest.resize(base + AText.size());
  ADest.resize(base + XoUTF8ToUTF16Into(ADest.data() + base, AText));
}

std::u16string XoUTF8ToUTF16(std::string_view AText) {
  std::u16string r;
  XoAppendUTF8ToUTF16(r, AText);
  return r;
}

size_t XoUTF16ToUTF8Into(char* AOut, std::u16string_view AText) {
  const char16_t* p = AText.data();
  const char16_t* end = p + AText.size();
  char* out = AOut;
  while (p < end) {
#if defined(__SSE2__)
    // Fast path: sixteen ASCII units at a time, narrowed.
    while (end - p >= 16) {
      __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
      __m128i mask = _mm_set1_epi16(static_cast<short>(0xFF80));
      // Every unit must have no bit above 0x7F; movemask alone would see only
      // bit 7 of each byte and let units such as U+2000 pass as ASCII.
      __m128i high = _mm_and_si128(_mm_or_si128(a, b), mask);
      if (_mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) != 0xFFFF) break;
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(a, b));
      out += 16;
      p += 16;
    }
#endif
    // Four ASCII units at a time.
    while (end - p >= 4) {
      uint64_t w;
      std::memcpy(&w, p, 8);
      if (w & 0xFF80FF80FF80FF80ULL) break;
      out[0] = static_cast<char>(p[0]);
      out[1] = static_cast<char>(p[1]);
      out[2] = static_cast<char>(p[2]);
      out[3] = static_cast<char>(p[3]);
      out += 4;
      p += 4;
    }
    if (p >= end) break;
    uint32_t c = *p++;
    if (c < 0x80) {
      *out++ = static_cast<char>(c);
    } else if (c < 0x800) {
      *out++ = static_cast<char>(0xC0 | (c >> 6));
      *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      if (c <= 0xDBFF && p < end && *p >= 0xDC00 && *p <= 0xDFFF) {
        uint32_t cp = 0x10000 + ((c - 0xD800) << 10) + (*p++ - 0xDC00);
        *out++ = static_cast<char>(0xF0 | (cp >> 18));
        *out++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
      } else {
        *out++ = static_cast<char>(0xEF);
        *out++ = static_cast<char>(0xBF);
        *out++ = static_cast<char>(0xBD);
      }
    } else {
      *out++ = static_cast<char>(0xE0 | (c >> 12));
      *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return static_cast<size_t>(out - AOut);
}

void XoAppendUTF16ToUTF8(std::string& ADest, std::u16string_view AText) {
  size_t base = ADest.size();
  ADest.resize(base + AText.size() * 3);
  ADest.resize(base + XoUTF16ToUTF8Into(ADest.data() + base, AText));
}

std::string XoUTF16ToUTF8(std::u16string_view AText) {
  std::string r;
  XoAppendUTF16ToUTF8(r, AText);
  return r;
}

std::u16string XoLatin1ToUTF16(std::string_view AText) {
  std::u16string r(AText.size(), u'\0');
  for (size_t i = 0; i < AText.size(); ++i) r[i] = static_cast<unsigned char>(AText[i]);
  return r;
}

// ---------------------------------------------------------------------------
// Formatting

namespace {

void AppendPadded(std::u16string& AOut, std::u16string_view AText, int AWidth, bool ALeft) {
  size_t pad = AWidth > 0 && static_cast<size_t>(AWidth) > AText.size() ? AWidth - AText.size() : 0;
  if (!ALeft) AOut.append(pad, u' ');
  AOut.append(AText);
  if (ALeft) AOut.append(pad, u' ');
}

std::u16string AsciiToU16(const char* s) {
  std::u16string r;
  while (*s) r.push_back(static_cast<unsigned char>(*s++));
  return r;
}

std::u16string ArgAsText(const TXoFormatArg& a) {
  switch (a.GetKind()) {
    case TXoFormatArg::Kind::Str:
      return a.Str();
    case TXoFormatArg::Kind::Int:
      return IntToStr(a.Int());
    case TXoFormatArg::Kind::UInt:
      return UIntToStr(a.UInt());
    case TXoFormatArg::Kind::Float: {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%.15g", a.Float());
      return AsciiToU16(buf);
    }
  }
  return {};
}

template <class Args>
std::u16string FormatImpl(std::u16string_view AFormat, const Args& AArgs) {
  std::u16string out;
  out.reserve(AFormat.size() + 32);
  auto arg = AArgs.begin();
  size_t i = 0;
  while (i < AFormat.size()) {
    char16_t c = AFormat[i];
    if (c != u'%') {
      out.push_back(c);
      ++i;
      continue;
    }
    size_t start = i++;
    if (i < AFormat.size() && AFormat[i] == u'%') {
      out.push_back(u'%');
      ++i;
      continue;
    }
    bool left = false;
    if (i < AFormat.size() && AFormat[i] == u'-') {
      left = true;
      ++i;
    }
    int width = 0;
    while (i < AFormat.size() && AFormat[i] >= u'0' && AFormat[i] <= u'9' && width < 10000)
      width = width * 10 + (AFormat[i++] - u'0');
    int prec = -1;
    if (i < AFormat.size() && AFormat[i] == u'.') {
      ++i;
      prec = 0;
      while (i < AFormat.size() && AFormat[i] >= u'0' && AFormat[i] <= u'9' && prec < 100)
        prec = prec * 10 + (AFormat[i++] - u'0');
    }
    if (i >= AFormat.size()) {
      out.append(AFormat.substr(start));
      break;
    }
    char16_t conv = AFormat[i++];
    bool known = conv == u's' || conv == u'd' || conv == u'u' || conv == u'x' || conv == u'X' ||
                 conv == u'g' || conv == u'f' || conv == u'e';
    if (!known || arg == AArgs.end()) {
      out.append(AFormat.substr(start, i - start));
      continue;
    }
    const TXoFormatArg& a = *arg++;
    std::u16string text;
    switch (conv) {
      case u's':
        text = ArgAsText(a);
        break;
      case u'd':
      case u'u':
        if (a.GetKind() == TXoFormatArg::Kind::Float)
          text = IntToStr(static_cast<int64_t>(a.Float()));
        else
          text = ArgAsText(a);
        break;
      case u'x':
      case u'X': {
        uint64_t v = a.GetKind() == TXoFormatArg::Kind::Int ? static_cast<uint64_t>(a.Int()) : a.UInt();
        text = IntToHex(v, 1);
        if (conv == u'x') text = LowerCase(text);
        break;
      }
      default: {
        double v = a.GetKind() == TXoFormatArg::Kind::Float  ? a.Float()
                   : a.GetKind() == TXoFormatArg::Kind::Int  ? static_cast<double>(a.Int())
                   : a.GetKind() == TXoFormatArg::Kind::UInt ? static_cast<double>(a.UInt())
                                                             : 0.0;
        if (a.GetKind() == TXoFormatArg::Kind::Str) {
          text = a.Str();
          break;
        }
        char spec[16];
        std::snprintf(spec, sizeof spec, "%%.%d%c", prec < 0 ? (conv == u'g' ? 15 : 6) : prec,
                      static_cast<char>(conv));
        char buf[400];
        std::snprintf(buf, sizeof buf, spec, v);
        text = AsciiToU16(buf);
      }
    }
    AppendPadded(out, text, width, left);
  }
  return out;
}

}  // namespace

std::u16string XoFormat(std::u16string_view AFormat, std::initializer_list<TXoFormatArg> AArgs) {
  return FormatImpl(AFormat, AArgs);
}

std::u16string XoFormat(std::u16string_view AFormat, const std::vector<TXoFormatArg>& AArgs) {
  return FormatImpl(AFormat, AArgs);
}

// ---------------------------------------------------------------------------
// Exceptions

Exception::Exception(std::u16string AMessage) { SetMessage(std::move(AMessage)); }

Exception::Exception(std::u16string_view AFormat, std::initializer_list<TXoFormatArg> AArgs) {
  SetMessage(XoFormat(AFormat, AArgs));
}

void Exception::SetMessage(std::u16string AMessage) {
  FMessage = std::move(AMessage);
  FWhat = XoUTF16ToUTF8(FMessage);
}

void XoAssert(bool ACondition, std::u16string_view AMessage, std::u16string_view ASource) {
  if (ACondition) return;
  std::u16string msg(AMessage.empty() ? u"Assertion failure" : AMessage);
  msg += u" (";
  msg += ASource;
  msg += u")";
  throw EAssertionFailed(std::move(msg));
}

// ---------------------------------------------------------------------------
// Text helpers

namespace {
template <class C>
inline C AsciiUpper(C c) {
  return (c >= 'a' && c <= 'z') ? static_cast<C>(c - 32) : c;
}
template <class C>
inline C AsciiLower(C c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<C>(c + 32) : c;
}
}  // namespace

bool XoSameText(std::u16string_view A, std::u16string_view B) {
  if (A.size() != B.size()) return false;
  for (size_t i = 0; i < A.size(); ++i) {
    char16_t a = A[i], b = B[i];
    if (a != b && AsciiUpper(a) != AsciiUpper(b)) return false;
  }
  return true;
}

bool XoSameText(std::string_view A, std::string_view B) {
  if (A.size() != B.size()) return false;
  for (size_t i = 0; i < A.size(); ++i) {
    char a = A[i], b = B[i];
    if (a != b && AsciiUpper(a) != AsciiUpper(b)) return false;
  }
  return true;
}

int XoCompareText(std::u16string_view A, std::u16string_view B) {
  size_t n = std::min(A.size(), B.size());
  for (size_t i = 0; i < n; ++i) {
    char16_t a = AsciiUpper(A[i]), b = AsciiUpper(B[i]);
    if (a != b) return a < b ? -1 : 1;
  }
  return A.size() == B.size() ? 0 : (A.size() < B.size() ? -1 : 1);
}

int XoCompareStr(std::u16string_view A, std::u16string_view B) {
  int c = A.compare(B);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

std::u16string XoLeft(std::u16string_view AText, int64_t ACount) {
  if (ACount <= 0) return {};
  return std::u16string(AText.substr(0, static_cast<size_t>(ACount)));
}

std::u16string XoRight(std::u16string_view AText, int64_t ACount) {
  if (ACount <= 0) return {};
  if (static_cast<size_t>(ACount) >= AText.size()) return std::u16string(AText);
  return std::u16string(AText.substr(AText.size() - static_cast<size_t>(ACount)));
}

std::u16string XoPadLeft(std::u16string_view AText, int64_t AWidth, char16_t AChar) {
  std::u16string r;
  if (AWidth > 0 && static_cast<size_t>(AWidth) > AText.size())
    r.assign(static_cast<size_t>(AWidth) - AText.size(), AChar);
  r.append(AText);
  return r;
}

char16_t XoCharCase(char16_t AChar, bool AUpper) {
  if (AChar < 0x80) return AUpper ? AsciiUpper(AChar) : AsciiLower(AChar);
  if (AChar >= 0xD800 && AChar <= 0xDFFF) return AChar;
  UChar32 m = AUpper ? u_toupper(AChar) : u_tolower(AChar);
  return m <= 0xFFFF ? static_cast<char16_t>(m) : AChar;
}

std::vector<std::u16string> XoTokenize(std::u16string_view AText, std::u16string_view ADelimiters,
                                       bool ASkipEmpty) {
  std::vector<std::u16string> r;
  size_t start = 0;
  for (size_t i = 0; i <= AText.size(); ++i) {
    if (i == AText.size() || ADelimiters.find(AText[i]) != std::u16string_view::npos) {
      if (!(ASkipEmpty && i == start)) r.emplace_back(AText.substr(start, i - start));
      start = i + 1;
    }
  }
  return r;
}

namespace {
template <class S, class V, class F>
S MapChars(V AText, F AMap) {
  S r(AText);
  for (auto& c : r) c = AMap(c);
  return r;
}
}  // namespace

std::u16string UpperCase(std::u16string_view AText) {
  return MapChars<std::u16string>(AText, AsciiUpper<char16_t>);
}
std::u16string LowerCase(std::u16string_view AText) {
  return MapChars<std::u16string>(AText, AsciiLower<char16_t>);
}
std::string UpperCase(std::string_view AText) { return MapChars<std::string>(AText, AsciiUpper<char>); }
std::string LowerCase(std::string_view AText) { return MapChars<std::string>(AText, AsciiLower<char>); }

std::u16string TrimLeft(std::u16string_view AText) {
  size_t i = 0;
  while (i < AText.size() && AText[i] <= u' ') ++i;
  return std::u16string(AText.substr(i));
}

std::u16string TrimRight(std::u16string_view AText) {
  size_t n = AText.size();
  while (n > 0 && AText[n - 1] <= u' ') --n;
  return std::u16string(AText.substr(0, n));
}

std::u16string Trim(std::u16string_view AText) {
  size_t i = 0, n = AText.size();
  while (i < n && AText[i] <= u' ') ++i;
  while (n > i && AText[n - 1] <= u' ') --n;
  return std::u16string(AText.substr(i, n - i));
}

int64_t Pos(std::u16string_view ASub, std::u16string_view AText, int64_t AOffset) {
  if (AOffset < 1 || ASub.empty()) return 0;
  size_t p = AText.find(ASub, static_cast<size_t>(AOffset - 1));
  return p == std::u16string_view::npos ? 0 : static_cast<int64_t>(p) + 1;
}

std::u16string UIntToStr(uint64_t AValue) {
  char16_t buf[24];
  char16_t* e = buf + 24;
  char16_t* p = e;
  do {
    *--p = static_cast<char16_t>(u'0' + AValue % 10);
    AValue /= 10;
  } while (AValue);
  return std::u16string(p, e);
}

std::u16string IntToStr(int64_t AValue) {
  if (AValue >= 0) return UIntToStr(static_cast<uint64_t>(AValue));
  std::u16string r = u"-";
  r += UIntToStr(0 - static_cast<uint64_t>(AValue));
  return r;
}

std::u16string IntToHex(uint64_t AValue, int ADigits) {
  static const char16_t digits[] = u"0123456789ABCDEF";
  char16_t buf[16];
  int n = 0;
  do {
    buf[15 - n++] = digits[AValue & 15];
    AValue >>= 4;
  } while (AValue);
  std::u16string r(buf + 16 - n, buf + 16);
  if (ADigits > n) r.insert(0, static_cast<size_t>(ADigits - n), u'0');
  return r;
}

std::u16string XoStripLiterals(std::u16string_view AText) {
  if (AText.size() >= 2 && (AText[0] == u'\'' || AText[0] == u'"') && AText.back() == AText[0])
    return std::u16string(AText.substr(1, AText.size() - 2));
  return std::u16string(AText);
}

}  // namespace xo
