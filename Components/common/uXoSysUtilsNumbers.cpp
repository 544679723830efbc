// uXoSysUtilsNumbers: text to numbers and back with fixed rules. Nothing here
// reads the process locale: integers are parsed by hand, floats through
// std::from_chars / std::to_chars after an exact grammar check.
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "uXoSysUtils.h"

namespace xo {

namespace {

const char16_t* const cInvalidInteger = u"'%s' is not a valid integer value";
const char16_t* const cInvalidFloat = u"'%s' is not a valid floating point value";

template <class C>
inline bool IsBlank(C c) {
  return static_cast<uint32_t>(c) <= 0x20 && c != 0;
}

template <class C>
inline int HexDigit(C c) {
  uint32_t u = static_cast<uint32_t>(c);
  if (u - '0' < 10) return static_cast<int>(u - '0');
  u |= 0x20;
  if (u - 'a' < 6) return static_cast<int>(u - 'a' + 10);
  return -1;
}

// Parses a whole number of ABits (32 or 64) bits. On success ABitsOut holds
// the value's bits (two's complement for negative values) and AErrPos is 0;
// otherwise AErrPos is the 1-based position of the offending character.
template <class C>
bool ParseInteger(const C* p, size_t n, unsigned ABits, bool AUnsigned, uint64_t& AOut, size_t& AErrPos) {
  size_t i = 0;
  AOut = 0;
  while (i < n && IsBlank(p[i])) ++i;
  bool neg = false;
  if (i < n && (p[i] == C('-') || p[i] == C('+'))) {
    neg = p[i] == C('-');
    if (neg && AUnsigned) {
      AErrPos = i + 1;
      return false;
    }
    ++i;
  }
  bool hex = false;
  if (i < n && p[i] == C('$')) {
    hex = true;
    ++i;
  } else if (i + 1 < n && p[i] == C('0') && (p[i + 1] == C('x') || p[i + 1] == C('X'))) {
    hex = true;
    i += 2;
  }
  if (i >= n) {
    AErrPos = i + 1;
    return false;
  }
  const uint64_t fullMask = ABits == 64 ? ~uint64_t(0) : (uint64_t(1) << ABits) - 1;
  uint64_t limit;  // largest magnitude allowed
  if (hex)
    limit = fullMask;
  else if (AUnsigned)
    limit = fullMask;
  else
    limit = neg ? (uint64_t(1) << (ABits - 1)) : (uint64_t(1) << (ABits - 1)) - 1;
  uint64_t mag = 0;
  size_t start = i;
  if (hex) {
    for (; i < n; ++i) {
      int d = HexDigit(p[i]);
      if (d < 0) break;
      if (mag > (limit >> 4)) {
        AErrPos = i + 1;
        return false;
      }
      mag = (mag << 4) | static_cast<uint64_t>(d);
    }
  } else {
    for (; i < n; ++i) {
      uint32_t d = static_cast<uint32_t>(p[i]) - '0';
      if (d >= 10) break;
      if (mag > (limit - d) / 10) {
        AErrPos = i + 1;
        return false;
      }
      mag = mag * 10 + d;
    }
  }
  if (i == start || i < n) {
    AErrPos = i + 1;
    return false;
  }
  AOut = (neg ? (0 - mag) : mag) & fullMask;
  AErrPos = 0;
  return true;
}

template <class C>
bool TryInt32(const C* p, size_t n, int32_t& AValue) {
  uint64_t bits;
  size_t err;
  if (!ParseInteger(p, n, 32, false, bits, err)) return false;
  AValue = static_cast<int32_t>(static_cast<uint32_t>(bits));
  return true;
}

template <class C>
bool TryInt64(const C* p, size_t n, int64_t& AValue) {
  uint64_t bits;
  size_t err;
  if (!ParseInteger(p, n, 64, false, bits, err)) return false;
  AValue = static_cast<int64_t>(bits);
  return true;
}

template <class C>
bool TryUInt64(const C* p, size_t n, uint64_t& AValue) {
  size_t err;
  return ParseInteger(p, n, 64, true, AValue, err);
}

// ---------------------------------------------------------------------------
// Floats. The text is checked against the grammar and copied to a small
// ASCII buffer for std::from_chars.

enum class TFloatScan { Ok, Bad, PosInf, NegInf, NaN };

// Validates and copies the number (without blanks and "+") to ABuf. Answers
// the kind. ALen gets the length copied.
template <class C>
TFloatScan ScanFloat(const C* p, size_t n, char16_t ADecSep, char* ABuf, size_t ABufSize, size_t& ALen,
                     int& ADecExponent) {
  size_t i = 0;
  while (i < n && IsBlank(p[i])) ++i;
  while (n > i && IsBlank(p[n - 1])) --n;
  if (i >= n) return TFloatScan::Bad;
  bool neg = false;
  if (p[i] == C('-') || p[i] == C('+')) {
    neg = p[i] == C('-');
    ++i;
  }
  size_t rest = n - i;
  auto ieq = [&](const char* w) {
    size_t k = std::strlen(w);
    if (rest != k) return false;
    for (size_t j = 0; j < k; ++j) {
      uint32_t c = static_cast<uint32_t>(p[i + j]);
      if (c >= 'A' && c <= 'Z') c |= 0x20;
      if (c != static_cast<uint32_t>(w[j])) return false;
    }
    return true;
  };
  if (rest && (p[i] == C('i') || p[i] == C('I') || p[i] == C('n') || p[i] == C('N'))) {
    if (ieq("inf") || ieq("infinity")) return neg ? TFloatScan::NegInf : TFloatScan::PosInf;
    if (ieq("nan")) return TFloatScan::NaN;
    return TFloatScan::Bad;
  }
  size_t o = 0;
  if (rest + 2 > ABufSize) return TFloatScan::Bad;
  if (neg) ABuf[o++] = '-';
  size_t intDigits = 0, fracDigits = 0;
  int firstNonZero = 0;  // decimal exponent of the first significant digit, +1
  bool seenNonZero = false;
  int leadingFracZeros = 0;
  for (; i < n; ++i) {
    uint32_t d = static_cast<uint32_t>(p[i]) - '0';
    if (d >= 10) break;
    if (d || seenNonZero) {
      seenNonZero = true;
      ++firstNonZero;
    }
    ABuf[o++] = static_cast<char>(p[i]);
    ++intDigits;
  }
  if (i < n && static_cast<char16_t>(p[i]) == ADecSep) {
    ABuf[o++] = '.';
    ++i;
    for (; i < n; ++i) {
      uint32_t d = static_cast<uint32_t>(p[i]) - '0';
      if (d >= 10) break;
      if (!seenNonZero) {
        if (d)
          seenNonZero = true;
        else
          ++leadingFracZeros;
      }
      ABuf[o++] = static_cast<char>(p[i]);
      ++fracDigits;
    }
  }
  if (intDigits + fracDigits == 0) return TFloatScan::Bad;
  int exp = 0;
  if (i < n && (p[i] == C('e') || p[i] == C('E'))) {
    ABuf[o++] = 'e';
    ++i;
    bool eneg = false;
    if (i < n && (p[i] == C('-') || p[i] == C('+'))) {
      eneg = p[i] == C('-');
      if (eneg) ABuf[o++] = '-';
      ++i;
    }
    size_t s = i;
    for (; i < n; ++i) {
      uint32_t d = static_cast<uint32_t>(p[i]) - '0';
      if (d >= 10) break;
      if (exp < 100000) exp = exp * 10 + static_cast<int>(d);
      ABuf[o++] = static_cast<char>(p[i]);
    }
    if (i == s) return TFloatScan::Bad;
    if (eneg) exp = -exp;
  }
  if (i != n) return TFloatScan::Bad;
  ALen = o;
  ADecExponent = firstNonZero > 0 ? exp + firstNonZero - 1 : exp - leadingFracZeros - 1;
  return TFloatScan::Ok;
}

template <class F, class C>
bool TryFloat(const C* p, size_t n, F& AValue, char16_t ADecSep = u'.') {
  char stackBuf[128];
  std::string heapBuf;
  char* buf = stackBuf;
  size_t cap = sizeof stackBuf;
  if (n + 4 > cap) {
    heapBuf.resize(n + 4);
    buf = heapBuf.data();
    cap = heapBuf.size();
  }
  size_t len = 0;
  int decExp = 0;
  switch (ScanFloat(p, n, ADecSep, buf, cap, len, decExp)) {
    case TFloatScan::Bad:
      return false;
    case TFloatScan::PosInf:
      AValue = std::numeric_limits<F>::infinity();
      return true;
    case TFloatScan::NegInf:
      AValue = -std::numeric_limits<F>::infinity();
      return true;
    case TFloatScan::NaN:
      AValue = std::numeric_limits<F>::quiet_NaN();
      return true;
    case TFloatScan::Ok:
      break;
  }
  // from_chars wants at least one digit before an exponent and accepts a
  // leading ".": both are fine with the checked grammar.
  F v{};
  auto r = std::from_chars(buf, buf + len, v, std::chars_format::general);
  if (r.ec == std::errc::result_out_of_range) {
    if (decExp < 0) {  // below the smallest value: zero of the sign
      AValue = buf[0] == '-' ? -F(0) : F(0);
      return true;
    }
    return false;
  }
  if (r.ec != std::errc() || r.ptr != buf + len) return false;
  AValue = v;
  return true;
}

// Writes the general format of a value given as the 15-digit scientific text
// of std::to_chars ("-d.dddddddddddddde+XX").
void GeneralFromScientific(std::u16string& ADest, const char* s, const char* e) {
  bool neg = false;
  if (s < e && *s == '-') {
    neg = true;
    ++s;
  }
  char digits[40];
  int nd = 0;
  const char* q = s;
  for (; q < e && *q != 'e'; ++q)
    if (*q != '.' && nd < 40) digits[nd++] = *q;
  int exp = 0;
  if (q < e) {
    ++q;
    bool eneg = false;
    if (q < e && (*q == '-' || *q == '+')) {
      eneg = *q == '-';
      ++q;
    }
    for (; q < e; ++q) exp = exp * 10 + (*q - '0');
    if (eneg) exp = -exp;
  }
  while (nd > 1 && digits[nd - 1] == '0') --nd;
  if (nd == 1 && digits[0] == '0') {
    ADest += u'0';
    return;
  }
  if (neg) ADest += u'-';
  if (exp >= 15 || exp < -4) {
    ADest += static_cast<char16_t>(digits[0]);
    if (nd > 1) {
      ADest += u'.';
      for (int k = 1; k < nd; ++k) ADest += static_cast<char16_t>(digits[k]);
    }
    ADest += u'E';
    if (exp < 0) {
      ADest += u'-';
      exp = -exp;
    }
    char eb[8];
    auto r = std::to_chars(eb, eb + sizeof eb, exp);
    for (char* c = eb; c < r.ptr; ++c) ADest += static_cast<char16_t>(*c);
  } else if (exp >= 0) {
    for (int k = 0; k <= exp; ++k) ADest += static_cast<char16_t>(k < nd ? digits[k] : '0');
    if (nd > exp + 1) {
      ADest += u'.';
      for (int k = exp + 1; k < nd; ++k) ADest += static_cast<char16_t>(digits[k]);
    }
  } else {
    ADest += u"0.";
    for (int k = -1; k > exp; --k) ADest += u'0';
    for (int k = 0; k < nd; ++k) ADest += static_cast<char16_t>(digits[k]);
  }
}

template <class F>
void AppendFloat(std::u16string& ADest, F AValue) {
  if (std::isnan(AValue)) {
    ADest += u"NAN";
    return;
  }
  if (std::isinf(AValue)) {
    ADest += AValue < 0 ? u"-INF" : u"INF";
    return;
  }
  if (AValue == 0) {
    ADest += u'0';
    return;
  }
  char buf[64];
  if constexpr (std::is_same_v<F, double>) {
    // The shortest digits that read back to the value are, when there are at
    // most 15 of them, exactly the value rounded to 15 digits: a normal double
    // is closer to them than half a step of 15-digit decimals. That form is
    // much cheaper than a fixed-precision conversion. Subnormal values have
    // fewer bits, so this does not hold for them.
    if (std::fabs(AValue) >= std::numeric_limits<double>::min()) {
      auto r = std::to_chars(buf, buf + sizeof buf, AValue, std::chars_format::scientific);
      int digits = 0;
      for (const char* c = buf; c < r.ptr && *c != 'e'; ++c)
        if (*c >= '0' && *c <= '9') ++digits;
      if (digits <= 15) {
        GeneralFromScientific(ADest, buf, r.ptr);
        return;
      }
    }
  }
  auto r = std::to_chars(buf, buf + sizeof buf, AValue, std::chars_format::scientific, 14);
  GeneralFromScientific(ADest, buf, r.ptr);
}

}  // namespace

// ---------------------------------------------------------------------------
// Integers

bool TryStrToInt(std::u16string_view AText, int32_t& AValue) { return TryInt32(AText.data(), AText.size(), AValue); }
bool TryStrToInt64(std::u16string_view AText, int64_t& AValue) {
  return TryInt64(AText.data(), AText.size(), AValue);
}
bool TryStrToUInt64(std::u16string_view AText, uint64_t& AValue) {
  return TryUInt64(AText.data(), AText.size(), AValue);
}
bool TryStrToInt(std::string_view AText, int32_t& AValue) { return TryInt32(AText.data(), AText.size(), AValue); }
bool TryStrToInt64(std::string_view AText, int64_t& AValue) { return TryInt64(AText.data(), AText.size(), AValue); }
bool TryStrToUInt64(std::string_view AText, uint64_t& AValue) {
  return TryUInt64(AText.data(), AText.size(), AValue);
}

int32_t StrToInt(std::u16string_view AText) {
  int32_t v;
  if (!TryStrToInt(AText, v)) throw EConvertError(cInvalidInteger, {AText});
  return v;
}

int64_t StrToInt64(std::u16string_view AText) {
  int64_t v;
  if (!TryStrToInt64(AText, v)) throw EConvertError(cInvalidInteger, {AText});
  return v;
}

uint64_t StrToUInt64(std::u16string_view AText) {
  uint64_t v;
  if (!TryStrToUInt64(AText, v)) throw EConvertError(cInvalidInteger, {AText});
  return v;
}

int32_t StrToIntDef(std::u16string_view AText, int32_t ADefault) {
  int32_t v;
  return TryStrToInt(AText, v) ? v : ADefault;
}

int64_t StrToInt64Def(std::u16string_view AText, int64_t ADefault) {
  int64_t v;
  return TryStrToInt64(AText, v) ? v : ADefault;
}

uint64_t StrToUInt64Def(std::u16string_view AText, uint64_t ADefault) {
  uint64_t v;
  return TryStrToUInt64(AText, v) ? v : ADefault;
}

void Val(std::u16string_view AText, int64_t& AValue, int& ACode) {
  uint64_t bits;
  size_t err;
  if (ParseInteger(AText.data(), AText.size(), 64, false, bits, err)) {
    AValue = static_cast<int64_t>(bits);
    ACode = 0;
  } else {
    AValue = 0;
    ACode = static_cast<int>(err);
  }
}

void Val(std::u16string_view AText, int32_t& AValue, int& ACode) {
  uint64_t bits;
  size_t err;
  if (ParseInteger(AText.data(), AText.size(), 32, false, bits, err)) {
    AValue = static_cast<int32_t>(static_cast<uint32_t>(bits));
    ACode = 0;
  } else {
    AValue = 0;
    ACode = static_cast<int>(err);
  }
}

void Val(std::u16string_view AText, double& AValue, int& ACode) {
  if (TryFloat(AText.data(), AText.size(), AValue)) {
    ACode = 0;
    return;
  }
  AValue = 0;
  // Position of the first character that cannot continue a number.
  size_t i = 0, n = AText.size();
  while (i < n && IsBlank(AText[i])) ++i;
  if (i < n && (AText[i] == u'-' || AText[i] == u'+')) ++i;
  while (i < n && (static_cast<uint32_t>(AText[i]) - '0' < 10 || AText[i] == u'.' || AText[i] == u'e' ||
                   AText[i] == u'E' || AText[i] == u'-' || AText[i] == u'+'))
    ++i;
  ACode = static_cast<int>(i + 1);
}

// ---------------------------------------------------------------------------
// Floats

bool TryStrToFloat(std::u16string_view AText, double& AValue) {
  return TryFloat(AText.data(), AText.size(), AValue);
}
bool TryStrToFloat(std::u16string_view AText, float& AValue) {
  double d;
  if (!TryFloat(AText.data(), AText.size(), d)) return false;
  if (std::isfinite(d) && std::fabs(d) > static_cast<double>(std::numeric_limits<float>::max())) return false;
  AValue = static_cast<float>(d);
  return true;
}
bool TryStrToFloat(std::u16string_view AText, long double& AValue) {
  return TryFloat(AText.data(), AText.size(), AValue);
}
bool TryStrToFloat(std::string_view AText, double& AValue) { return TryFloat(AText.data(), AText.size(), AValue); }

double StrToFloat(std::u16string_view AText) {
  double v;
  if (!TryStrToFloat(AText, v)) throw EConvertError(cInvalidFloat, {AText});
  return v;
}

double StrToFloatDef(std::u16string_view AText, double ADefault) {
  double v;
  return TryStrToFloat(AText, v) ? v : ADefault;
}

long double StrToExtended(std::u16string_view AText) {
  long double v;
  if (!TryStrToFloat(AText, v)) throw EConvertError(cInvalidFloat, {AText});
  return v;
}

long double StrToExtendedDef(std::u16string_view AText, long double ADefault) {
  long double v;
  return TryStrToFloat(AText, v) ? v : ADefault;
}

bool TextToFloat(std::u16string_view AText, double& AValue, char16_t ADecimalSeparator) {
  return TryFloat(AText.data(), AText.size(), AValue, ADecimalSeparator);
}

bool TextToFloat(std::u16string_view AText, long double& AValue, char16_t ADecimalSeparator) {
  return TryFloat(AText.data(), AText.size(), AValue, ADecimalSeparator);
}

void XoAppendFloatToStr(std::u16string& ADest, double AValue) { AppendFloat(ADest, AValue); }

std::u16string FloatToStr(double AValue) {
  std::u16string s;
  AppendFloat(s, AValue);
  return s;
}

std::u16string FloatToStr(long double AValue) {
  std::u16string s;
  AppendFloat(s, AValue);
  return s;
}

std::u16string BoolToStr(bool AValue) { return AValue ? u"True" : u"False"; }

bool TryStrToBool(std::u16string_view AText, bool& AValue) {
  if (XoSameText(AText, u"true")) {
    AValue = true;
    return true;
  }
  if (XoSameText(AText, u"false")) {
    AValue = false;
    return true;
  }
  int64_t i;
  if (TryStrToInt64(AText, i)) {
    AValue = i != 0;
    return true;
  }
  double d;
  if (TryStrToFloat(AText, d)) {
    AValue = d != 0;
    return true;
  }
  return false;
}

}  // namespace xo
