// uXoJSON, internal: the primitives of the JSON walks, shared by the JSON
// reader (uXoJSONReader.cpp) and the reader that delivers JSON as XML events
// (uXoSAXJSONReader.cpp), so that both see the same text the same way.
//
// All structural characters are ASCII, and in UTF-8 every byte of a
// multi-byte character is above 0x7F, so byte-wise scanning of UTF-8 finds
// exactly the delimiters that a character-wise scan would.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "uXoClasses.h"
#include "uXoSysUtils.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace xo {
namespace jsonscan {

// The first unit at or after p that is one of Cs; e when there is none.
template <class U, char... Cs>
inline const U* FindAny(const U* p, const U* e) {
  auto hit = [](U c) { return ((c == static_cast<U>(Cs)) || ...); };
  if (p < e && hit(*p)) return p;  // often the very next unit
#if defined(__SSE2__)
  if constexpr (sizeof(U) == 1) {
    while (e - p >= 16) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      __m128i m = _mm_setzero_si128();
      ((m = _mm_or_si128(m, _mm_cmpeq_epi8(x, _mm_set1_epi8(Cs)))), ...);
      int mask = _mm_movemask_epi8(m);
      if (mask) return p + __builtin_ctz(static_cast<unsigned>(mask));
      p += 16;
    }
  } else {
    while (e - p >= 8) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      __m128i m = _mm_setzero_si128();
      ((m = _mm_or_si128(m, _mm_cmpeq_epi16(x, _mm_set1_epi16(Cs)))), ...);
      int mask = _mm_movemask_epi8(m);
      if (mask) return p + (__builtin_ctz(static_cast<unsigned>(mask)) >> 1);
      p += 8;
    }
  }
#endif
  while (p < e && !hit(*p)) ++p;
  return p;
}

// The characters a number token consists of.
struct TNumberChars {
  bool T[256] = {};
  constexpr TNumberChars() {
    for (char c : std::string_view("0123456789+-.Ee")) T[static_cast<unsigned char>(c)] = true;
  }
};
inline constexpr TNumberChars kNumberChars;

// Length of the UTF-8 sequence at p, as the scanner steps over it: a valid
// sequence whole, an invalid byte alone.
inline size_t UTF8Length(const uint8_t* p, const uint8_t* e) {
  const unsigned c = p[0];
  const size_t avail = static_cast<size_t>(e - p);
  if (c < 0x80) return 1;
  if (c >= 0xC2 && c <= 0xDF) return avail >= 2 && (p[1] & 0xC0) == 0x80 ? 2 : 1;
  if (c >= 0xE0 && c <= 0xEF) {
    unsigned lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
    return avail >= 3 && p[1] >= lo && p[1] <= hi && (p[2] & 0xC0) == 0x80 ? 3 : 1;
  }
  if (c >= 0xF0 && c <= 0xF4) {
    unsigned lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
    return avail >= 4 && p[1] >= lo && p[1] <= hi && (p[2] & 0xC0) == 0x80 && (p[3] & 0xC0) == 0x80 ? 4 : 1;
  }
  return 1;
}

// One character on from p (p < e), in source units.
template <int K, class U>
inline const U* NextP(const U* p, const U* e) {
  if constexpr (K == cstUTF8) {
    return p + UTF8Length(p, e);
  } else {
    (void)e;
    return p + 1;
  }
}

// The units [a, b) as UTF-16 in s (reused, so that its capacity stays).
// ATable maps the bytes of a single-byte code page (nil: Latin-1).
template <int K, class U>
inline void Decode(std::u16string& s, const U* a, const U* b, const char16_t* ATable) {
  const size_t n = static_cast<size_t>(b - a);
  if constexpr (K == cstUTF16) {
    (void)ATable;
    s.assign(a, n);
  } else if constexpr (K == cstUTF8) {
    (void)ATable;
    s.resize(n);
    char16_t* o = s.data();
    if (n < 16) {
      // Short tokens, the most common ones: widen while ASCII.
      size_t i = 0;
      for (; i < n && a[i] < 0x80; ++i) o[i] = a[i];
      if (i == n) return;
      i += XoUTF8ToUTF16Into(o + i, std::string_view(reinterpret_cast<const char*>(a) + i, n - i));
      s.resize(i);
      return;
    }
    s.resize(XoUTF8ToUTF16Into(o, std::string_view(reinterpret_cast<const char*>(a), n)));
  } else {
    s.resize(n);
    char16_t* o = s.data();
    if (ATable)
      for (size_t i = 0; i < n; ++i) o[i] = ATable[a[i]];
    else
      for (size_t i = 0; i < n; ++i) o[i] = a[i];
  }
}

// What a string scan ended with.
enum TStringScan { ssClosed, ssEOF, ssBadEscape };

// From the character behind the opening quote of a string to its closing
// quote, where C is left: escapes are stepped over, not decoded. A "u"
// escape takes four steps without looking at what it steps over. Answers
// ssEOF when the text ends first, ssBadEscape (C on the escaped character)
// for a backslash followed by a character no escape starts with.
template <int K, class U>
inline TStringScan ScanString(const U*& C, const U* E) {
  for (;;) {
    C = FindAny<U, '"', '\\'>(C, E);
    if (C >= E) return ssEOF;
    if (*C == U('"')) return ssClosed;
    ++C;  // onto the escaped character
    if (C >= E) return ssEOF;
    switch (*C) {
      case U('"'): case U('/'): case U('\\'): case U('b'): case U('f'): case U('n'): case U('r'): case U('t'):
        ++C;
        break;
      case U('u'):
        for (int i = 0; i < 4; ++i) {
          if (C >= E) return ssEOF;
          C = NextP<K>(C, E);
        }
        break;
      default:
        return ssBadEscape;
    }
    if (C < E && *C != U('"') && *C != U('\\')) C = NextP<K>(C, E);
  }
}

}  // namespace jsonscan
}  // namespace xo
