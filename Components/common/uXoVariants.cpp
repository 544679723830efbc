// uXoVariants: the Variant value class, its conversions, comparison,
// addition and arrays.
#include <atomic>
#include "uXoVariants.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <cmath>
#include <limits>

#include "uXoDateTimeUtils.h"

namespace xo {

// Array payload. Byte arrays keep raw bytes; every other element type keeps
// Variants whose type code is the element type (any code for varVariant).
// Elements are stored with the first dimension varying fastest, so growing
// the last dimension only appends.
struct TXoVarArray {
  TVarType ElemType = varVariant;
  std::vector<TVarArrayBound> Bounds;
  std::vector<Variant> Items;
  std::vector<uint8_t> Bytes;

  bool IsBytes() const { return ElemType == varByte; }
  size_t Count() const {
    size_t n = 1;
    for (const auto& b : Bounds) n *= static_cast<size_t>(static_cast<int64_t>(b.HighBound) - b.LowBound + 1);
    return Bounds.empty() ? 0 : n;
  }
  size_t Offset(const int32_t* AIdx, size_t ACount) const {
    if (ACount != Bounds.size()) throw EVariantBadIndexError(std::u16string(u"Variant array index out of bounds"));
    size_t off = 0, mul = 1;
    for (size_t d = 0; d < ACount; ++d) {
      const auto& b = Bounds[d];
      if (AIdx[d] < b.LowBound || AIdx[d] > b.HighBound)
        throw EVariantBadIndexError(std::u16string(u"Variant array index out of bounds"));
      off += static_cast<size_t>(static_cast<int64_t>(AIdx[d]) - b.LowBound) * mul;
      mul *= static_cast<size_t>(static_cast<int64_t>(b.HighBound) - b.LowBound + 1);
    }
    return off;
  }
};

namespace {

const char16_t* const cCastError = u"Could not convert variant of type (%s) into type (%s)";
const char16_t* const cOverflowError = u"Overflow while converting variant of type (%s) into type (%s)";

enum TConv { cvOk, cvCast, cvOverflow };

[[noreturn]] void RaiseConv(TConv AResult, TVarType AFrom, TVarType ATo) {
  if (AResult == cvOverflow) throw EVariantOverflowError(cOverflowError, {VarTypeAsText(AFrom), VarTypeAsText(ATo)});
  throw EVariantTypeCastError(cCastError, {VarTypeAsText(AFrom), VarTypeAsText(ATo)});
}

inline bool IsSignedOrd(TVarType t) {
  return t == varSmallint || t == varInteger || t == varShortInt || t == varInt64 || t == varDecimal;
}
inline bool IsUnsignedOrd(TVarType t) {
  return t == varByte || t == varWord || t == varLongWord || t == varUInt64;
}

// Round half to even, the platform's rounding of floats to integers.
inline long double RoundEven(long double v) { return std::nearbyint(v); }

TConv FloatToInt64(long double v, int64_t& AOut) {
  if (std::isnan(v)) return cvOverflow;
  long double r = RoundEven(v);
  if (r < -9223372036854775808.0L || r >= 9223372036854775808.0L) return cvOverflow;
  AOut = static_cast<int64_t>(r);
  return cvOk;
}

// Dates as text: "YYYY-MM-DD", "YYYY-MM-DD hh:nn:ss[.zzz]" or, for the date
// 1899-12-30 with a time, "hh:nn:ss[.zzz]".
std::u16string DateToText(TDateTime AValue) {
  int64_t ms = XoDateTimeToMSecs(AValue);
  int64_t days = ms / MSecsPerDay;
  int64_t tod = ms % MSecsPerDay;
  if (tod < 0) {
    tod += MSecsPerDay;
    --days;
  }
  std::u16string s;
  auto two = [&](int64_t v) {
    s += static_cast<char16_t>(u'0' + v / 10);
    s += static_cast<char16_t>(u'0' + v % 10);
  };
  bool dateIsZero = days == DateDelta - 1;  // 1899-12-30
  if (!dateIsZero || tod == 0) {
    int64_t y;
    uint32_t m, d;
    XoDecodeDateCivil(AValue, y, m, d);
    if (y < 0) s += u'-';
    s += XoPadLeft(UIntToStr(static_cast<uint64_t>(y < 0 ? -y : y)), 4, u'0');
    s += u'-';
    two(m);
    s += u'-';
    two(d);
  }
  if (tod != 0) {
    if (!s.empty()) s += u' ';
    int64_t msec = tod % 1000, sec = tod / 1000;
    two(sec / 3600);
    s += u':';
    two(sec / 60 % 60);
    s += u':';
    two(sec % 60);
    if (msec) {
      s += u'.';
      s += static_cast<char16_t>(u'0' + msec / 100);
      s += static_cast<char16_t>(u'0' + msec / 10 % 10);
      s += static_cast<char16_t>(u'0' + msec % 10);
    }
  }
  return s;
}

// Reads the date text forms written by DateToText (also with "T" between
// date and time, and a time without seconds). False when the text is none.
bool TextToDate(std::u16string_view s, TDateTime& AOut) {
  size_t i = 0, n = s.size();
  while (i < n && s[i] <= u' ') ++i;
  while (n > i && s[n - 1] <= u' ') --n;
  auto num = [&](size_t minDigits, size_t maxDigits, int64_t& v) {
    size_t st = i;
    v = 0;
    while (i < n && i - st < maxDigits && s[i] >= u'0' && s[i] <= u'9') v = v * 10 + (s[i++] - u'0');
    return i - st >= minDigits;
  };
  auto time = [&](double& t) {
    int64_t h, mi, se = 0, ms = 0;
    if (!num(1, 2, h) || i >= n || s[i] != u':') return false;
    ++i;
    if (!num(2, 2, mi)) return false;
    if (i < n && s[i] == u':') {
      ++i;
      if (!num(2, 2, se)) return false;
      if (i < n && s[i] == u'.') {
        ++i;
        size_t st = i;
        int64_t f;
        if (!num(1, 9, f)) return false;
        size_t digits = i - st;
        while (digits < 3) {
          f *= 10;
          ++digits;
        }
        while (digits > 3) {
          f /= 10;
          --digits;
        }
        ms = f;
      }
    }
    return TryEncodeTime(static_cast<uint16_t>(h), static_cast<uint16_t>(mi), static_cast<uint16_t>(se),
                         static_cast<uint16_t>(ms), t);
  };
  size_t save = i;
  // Time alone?
  {
    double t;
    if (time(t) && i == n) {
      AOut = t;
      return true;
    }
    i = save;
  }
  bool neg = false;
  if (i < n && s[i] == u'-') {
    neg = true;
    ++i;
  }
  int64_t y, m, d;
  if (!num(4, 9, y) || i >= n || s[i] != u'-') return false;
  ++i;
  if (!num(2, 2, m) || i >= n || s[i] != u'-') return false;
  ++i;
  if (!num(2, 2, d)) return false;
  double date;
  if (!XoTryEncodeDateCivil(neg ? -y : y, static_cast<uint32_t>(m), static_cast<uint32_t>(d), date)) return false;
  if (i == n) {
    AOut = date;
    return true;
  }
  if (s[i] != u' ' && s[i] != u'T') return false;
  ++i;
  double t;
  if (!time(t) || i != n) return false;
  AOut = XoComposeDateTime(date, t);
  return true;
}

// Single-precision values read as the shortest text that gives the same
// single back, not as the digits of its double widening.
double SingleAsDouble(float f) {
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, f);
  double d = f;
  std::from_chars(buf, r.ptr, d);
  return d;
}

}  // namespace

// ---------------------------------------------------------------------------
// Type codes

std::u16string VarTypeAsText(TVarType AVarType) {
  std::u16string prefix;
  if (AVarType & varArray) prefix = u"Array ";
  TVarType t = AVarType & varTypeMask;
  static const char16_t* const cNames[] = {u"Empty",   u"Null",     u"Smallint", u"Integer",  u"Single",
                                           u"Double",  u"Extended", u"Date",     u"OleStr",   u"Dispatch",
                                           u"Error",   u"Boolean",  u"Variant",  u"Unknown",  u"Decimal",
                                           u"$0F",     u"ShortInt", u"Byte",     u"Word",     u"LongWord",
                                           u"Int64",   u"UInt64"};
  if (t <= varUInt64) return prefix + cNames[t];
  if (t == varString) return prefix + u"String";
  if (t == varUString) return prefix + u"UnicodeString";
  return prefix + u"$" + IntToHex(t, 4);
}

bool VarTypeIsOrdinal(TVarType t) {
  t &= varTypeMask;
  return IsSignedOrd(t) || IsUnsignedOrd(t);
}
bool VarTypeIsFloat(TVarType t) {
  t &= varTypeMask;
  return t == varSingle || t == varDouble || t == varExtended;
}
bool VarTypeIsNumeric(TVarType t) { return VarTypeIsOrdinal(t) || VarTypeIsFloat(t); }
bool VarTypeIsStr(TVarType t) {
  t &= varTypeMask;
  return t == varOleStr || t == varString || t == varUString;
}

// ---------------------------------------------------------------------------
// Construction

Variant::Variant(const Variant& AOther) = default;

Variant::Variant(Variant&& AOther) noexcept
    : FType(AOther.FType), FData(AOther.FData), FHeap(std::move(AOther.FHeap)) {
  AOther.FType = varEmpty;
  AOther.FHeap = std::monostate();
}

Variant& Variant::operator=(const Variant& AOther) = default;

Variant& Variant::operator=(Variant&& AOther) noexcept {
  if (this != &AOther) {
    FType = AOther.FType;
    FData = AOther.FData;
    FHeap = std::move(AOther.FHeap);
    AOther.FType = varEmpty;
    AOther.FHeap = std::monostate();
  }
  return *this;
}

Variant::~Variant() = default;

Variant::Variant(const char16_t* AValue) : FType(varUString), FHeap(std::u16string(AValue ? AValue : u"")) {
  FData.I = 0;
}
Variant::Variant(std::u16string_view AValue) : FType(varUString), FHeap(std::u16string(AValue)) { FData.I = 0; }
Variant::Variant(const std::u16string& AValue) : FType(varUString), FHeap(AValue) { FData.I = 0; }
Variant::Variant(std::u16string&& AValue) noexcept : FType(varUString), FHeap(std::move(AValue)) { FData.I = 0; }
Variant::Variant(const std::string& AValue) : FType(varString), FHeap(AValue) { FData.I = 0; }
Variant::Variant(std::string&& AValue) noexcept : FType(varString), FHeap(std::move(AValue)) { FData.I = 0; }
Variant::Variant(const char* AValue) : FType(varString), FHeap(std::string(AValue ? AValue : "")) { FData.I = 0; }
Variant::Variant(const TIntfPtr<IInterface>& AValue) : FType(varUnknown), FHeap(AValue) { FData.I = 0; }

Variant Variant::FromDate(TDateTime AValue) noexcept {
  Variant v;
  v.FType = varDate;
  v.FData.D = AValue;
  return v;
}

Variant Variant::FromOleStr(std::u16string AValue) {
  Variant v(std::move(AValue));
  v.FType = varOleStr;
  return v;
}

Variant Variant::FromDecimal(int64_t AValue) noexcept {
  Variant v;
  v.FType = varDecimal;
  v.FData.I = AValue;
  return v;
}

Variant Variant::Null() noexcept {
  Variant v;
  v.FType = varNull;
  return v;
}

void Variant::Clear() noexcept {
  FType = varEmpty;
  FData.I = 0;
  FHeap = std::monostate();
}

void Variant::SetNull() noexcept {
  Clear();
  FType = varNull;
}

Variant Null() { return Variant::Null(); }
Variant Unassigned() { return Variant(); }

const std::u16string& Variant::StrRef() const {
  if (auto* p = std::get_if<std::u16string>(&FHeap)) return *p;
  throw EVariantTypeCastError(cCastError, {VarTypeAsText(FType), VarTypeAsText(varUString)});
}

const std::string& Variant::AnsiRef() const {
  if (auto* p = std::get_if<std::string>(&FHeap)) return *p;
  throw EVariantTypeCastError(cCastError, {VarTypeAsText(FType), VarTypeAsText(varString)});
}

// ---------------------------------------------------------------------------
// Conversion cores. Each answers cvOk, cvCast or cvOverflow and never raises.

namespace {

// Integer reading of a variant: signed value in AOut, or, for unsigned values
// above INT64_MAX, AUnsignedHigh set and the bits in AOut.
struct TIntValue {
  int64_t I = 0;
  uint64_t U = 0;
  bool Big = false;  // value is U (> INT64_MAX)
};

}  // namespace

static TConv ToIntValue(const Variant& V, TIntValue& AOut);
static TConv ToLongDouble(const Variant& V, long double& AOut);

static TConv TextToIntValue(std::u16string_view s, TIntValue& AOut) {
  if (TryStrToInt64(s, AOut.I)) return cvOk;
  uint64_t u;
  if (TryStrToUInt64(s, u)) {
    AOut.U = u;
    AOut.Big = true;
    return cvOk;
  }
  long double f;
  if (TryStrToFloat(s, f)) {
    if (f >= 9223372036854775808.0L && f < 18446744073709551615.5L) {
      AOut.U = static_cast<uint64_t>(RoundEven(f));
      AOut.Big = true;
      return cvOk;
    }
    return FloatToInt64(f, AOut.I);
  }
  if (XoSameText(s, u"true")) {
    AOut.I = 1;
    return cvOk;
  }
  if (XoSameText(s, u"false")) {
    AOut.I = 0;
    return cvOk;
  }
  return cvCast;
}

static TConv ToIntValue(const Variant& V, TIntValue& AOut) {
  TVarType t = V.VarType();
  AOut = TIntValue();
  switch (t) {
    case varEmpty:
      return cvOk;
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varInt64:
    case varDecimal:
      AOut.I = V.AsInt64();
      return cvOk;
    case varByte:
    case varWord:
    case varLongWord:
    case varUInt64: {
      uint64_t u = V.AsUInt64();
      if (u > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
        AOut.U = u;
        AOut.Big = true;
      } else {
        AOut.I = static_cast<int64_t>(u);
      }
      return cvOk;
    }
    case varBoolean:
      AOut.I = V.AsBoolean() ? 1 : 0;
      return cvOk;
    case varSingle:
    case varDouble:
    case varExtended:
    case varDate: {
      long double f;
      ToLongDouble(V, f);
      if (f >= 9223372036854775808.0L && f < 18446744073709551615.5L) {
        AOut.U = static_cast<uint64_t>(RoundEven(f));
        AOut.Big = true;
        return cvOk;
      }
      return FloatToInt64(f, AOut.I);
    }
    case varOleStr:
    case varUString:
      return TextToIntValue(V.StrRef(), AOut);
    case varString:
      return TextToIntValue(V.AsString(), AOut);
    default:
      return cvCast;
  }
}

static TConv ToLongDouble(const Variant& V, long double& AOut) {
  switch (V.VarType()) {
    case varEmpty:
      AOut = 0;
      return cvOk;
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varInt64:
    case varDecimal:
      AOut = static_cast<long double>(V.AsInt64());
      return cvOk;
    case varByte:
    case varWord:
    case varLongWord:
    case varUInt64:
      AOut = static_cast<long double>(V.AsUInt64());
      return cvOk;
    case varBoolean:
      AOut = V.AsBoolean() ? 1 : 0;
      return cvOk;
    case varSingle:
    case varDouble:
    case varExtended:
    case varDate:
      AOut = V.AsExtended();
      return cvOk;
    case varOleStr:
    case varUString:
    case varString: {
      std::u16string tmp;
      std::u16string_view s;
      if (V.VarType() == varString) {
        tmp = V.AsString();
        s = tmp;
      } else {
        s = V.StrRef();
      }
      if (TryStrToFloat(s, AOut)) return cvOk;
      if (XoSameText(s, u"true")) {
        AOut = 1;
        return cvOk;
      }
      if (XoSameText(s, u"false")) {
        AOut = 0;
        return cvOk;
      }
      return cvCast;
    }
    default:
      return cvCast;
  }
}

// ---------------------------------------------------------------------------
// Conversions

int64_t Variant::AsInt64() const {
  switch (FType) {
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varInt64:
    case varDecimal:
      return FData.I;
    case varByte:
    case varWord:
    case varLongWord:
      return static_cast<int64_t>(FData.U);
    default:
      break;
  }
  TIntValue v;
  TConv r = ToIntValue(*this, v);
  if (r == cvOk && v.Big) r = cvOverflow;
  if (r != cvOk) RaiseConv(r, FType, varInt64);
  return v.I;
}

uint64_t Variant::AsUInt64() const {
  if (IsUnsignedOrd(FType)) return FData.U;
  TIntValue v;
  TConv r = ToIntValue(*this, v);
  if (r == cvOk && !v.Big && v.I < 0) r = cvOverflow;
  if (r != cvOk) RaiseConv(r, FType, varUInt64);
  return v.Big ? v.U : static_cast<uint64_t>(v.I);
}

int32_t Variant::AsInteger() const {
  if (FType == varInteger || FType == varSmallint || FType == varShortInt) return static_cast<int32_t>(FData.I);
  TIntValue v;
  TConv r = ToIntValue(*this, v);
  if (r == cvOk && (v.Big || v.I < std::numeric_limits<int32_t>::min() || v.I > std::numeric_limits<int32_t>::max()))
    r = cvOverflow;
  if (r != cvOk) RaiseConv(r, FType, varInteger);
  return static_cast<int32_t>(v.I);
}

long double Variant::AsExtended() const {
  switch (FType) {
    case varSingle:
      return FData.F;
    case varDouble:
    case varDate:
      return FData.D;
    case varExtended:
      return FData.E;
    default:
      break;
  }
  long double f;
  TConv r = ToLongDouble(*this, f);
  if (r != cvOk) RaiseConv(r, FType, varExtended);
  return f;
}

double Variant::AsDouble() const {
  if (FType == varDouble || FType == varDate) return FData.D;
  if (FType == varSingle) return FData.F;
  long double f;
  TConv r = ToLongDouble(*this, f);
  if (r == cvOk && std::isfinite(f) && std::fabs(f) > std::numeric_limits<double>::max()) r = cvOverflow;
  if (r != cvOk) RaiseConv(r, FType, varDouble);
  return static_cast<double>(f);
}

bool Variant::AsBoolean() const {
  switch (FType) {
    case varEmpty:
      return false;
    case varBoolean:
      return FData.B;
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varInt64:
    case varDecimal:
      return FData.I != 0;
    case varByte:
    case varWord:
    case varLongWord:
    case varUInt64:
      return FData.U != 0;
    case varSingle:
      return FData.F != 0;
    case varDouble:
    case varDate:
      return FData.D != 0;
    case varExtended:
      return FData.E != 0;
    case varOleStr:
    case varUString:
    case varString: {
      bool b;
      if (TryStrToBool(FType == varString ? std::u16string_view(AsString()) : std::u16string_view(StrRef()), b))
        return b;
      break;
    }
    default:
      break;
  }
  RaiseConv(cvCast, FType, varBoolean);
}

TDateTime Variant::AsDate() const {
  if (FType == varDate || FType == varDouble) return FData.D;
  if (VarTypeIsStr(FType)) {
    std::u16string s = AsString();
    TDateTime d;
    if (TextToDate(s, d)) return d;
    if (TryStrToFloat(s, d)) return d;
    RaiseConv(cvCast, FType, varDate);
  }
  if (FType == varBoolean) RaiseConv(cvCast, FType, varDate);
  long double f;
  TConv r = ToLongDouble(*this, f);
  if (r == cvOk && std::isfinite(f) && std::fabs(f) > std::numeric_limits<double>::max()) r = cvOverflow;
  if (r != cvOk) RaiseConv(r, FType, varDate);
  return static_cast<double>(f);
}

std::u16string Variant::AsString() const {
  switch (FType) {
    case varEmpty:
      return std::u16string();
    case varOleStr:
    case varUString:
      return std::get<std::u16string>(FHeap);
    case varString: {
      const std::string& s = std::get<std::string>(FHeap);
      if (XoSystemCodePage == 65001 || XoSystemCodePage == 0) return XoUTF8ToUTF16(s);
      return TXoEncoding::ConvertA(s, 0);
    }
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varInt64:
    case varDecimal:
      return IntToStr(FData.I);
    case varByte:
    case varWord:
    case varLongWord:
    case varUInt64:
      return UIntToStr(FData.U);
    case varSingle:
      return FloatToStr(SingleAsDouble(FData.F));
    case varDouble:
      return FloatToStr(FData.D);
    case varExtended:
      return FloatToStr(FData.E);
    case varDate:
      return DateToText(FData.D);
    case varBoolean:
      return BoolToStr(FData.B);
    default:
      RaiseConv(cvCast, FType, varUString);
  }
}

std::string Variant::AsAnsiString() const {
  if (FType == varString) return std::get<std::string>(FHeap);
  if (FType == varNull || (FType & varArray) || FType == varUnknown) RaiseConv(cvCast, FType, varString);
  std::u16string s = AsString();
  if (XoSystemCodePage == 65001 || XoSystemCodePage == 0) return XoUTF16ToUTF8(s);
  return TXoEncoding::ConvertW(s, 0);
}

TIntfPtr<IInterface> Variant::AsInterface() const {
  if (FType == varUnknown) return std::get<TIntfPtr<IInterface>>(FHeap);
  if (FType == varEmpty) return nullptr;
  RaiseConv(cvCast, FType, varUnknown);
}

Variant Variant::AsType(TVarType AVarType) const {
  if (AVarType == FType) return *this;
  if (AVarType & varArray) RaiseConv(cvCast, FType, AVarType);
  if (FType == varNull) {
    if (AVarType == varNull || AVarType == varVariant) return *this;
    RaiseConv(cvCast, FType, AVarType);
  }
  if (FType & varArray) {
    if (AVarType == varVariant) return *this;
    RaiseConv(cvCast, FType, AVarType);
  }
  auto checkedInt = [&](int64_t lo, int64_t hi) -> int64_t {
    TIntValue v;
    TConv r = ToIntValue(*this, v);
    if (r == cvOk && (v.Big || v.I < lo || v.I > hi)) r = cvOverflow;
    if (r != cvOk) RaiseConv(r, FType, AVarType);
    return v.I;
  };
  auto checkedUInt = [&](uint64_t hi) -> uint64_t {
    TIntValue v;
    TConv r = ToIntValue(*this, v);
    uint64_t u = v.Big ? v.U : static_cast<uint64_t>(v.I);
    if (r == cvOk && ((!v.Big && v.I < 0) || u > hi)) r = cvOverflow;
    if (r != cvOk) RaiseConv(r, FType, AVarType);
    return u;
  };
  switch (AVarType) {
    case varEmpty:
      return Variant();
    case varNull:
      return Variant::Null();
    case varVariant:
      return *this;
    case varShortInt:
      return Variant(static_cast<int8_t>(checkedInt(INT8_MIN, INT8_MAX)));
    case varSmallint:
      return Variant(static_cast<int16_t>(checkedInt(INT16_MIN, INT16_MAX)));
    case varInteger:
      return Variant(static_cast<int32_t>(checkedInt(INT32_MIN, INT32_MAX)));
    case varInt64:
      return Variant(static_cast<int64_t>(checkedInt(INT64_MIN, INT64_MAX)));
    case varDecimal:
      return FromDecimal(checkedInt(INT64_MIN, INT64_MAX));
    case varByte:
      return Variant(static_cast<uint8_t>(checkedUInt(UINT8_MAX)));
    case varWord:
      return Variant(static_cast<uint16_t>(checkedUInt(UINT16_MAX)));
    case varLongWord:
      return Variant(static_cast<uint32_t>(checkedUInt(UINT32_MAX)));
    case varUInt64:
      return Variant(static_cast<uint64_t>(checkedUInt(UINT64_MAX)));
    case varSingle: {
      long double f;
      TConv r = ToLongDouble(*this, f);
      if (r == cvOk && std::isfinite(f) && std::fabs(f) > std::numeric_limits<float>::max()) r = cvOverflow;
      if (r != cvOk) RaiseConv(r, FType, AVarType);
      return Variant(static_cast<float>(f));
    }
    case varDouble:
      return Variant(AsDouble());
    case varExtended:
      return Variant(AsExtended());
    case varDate:
      return FromDate(AsDate());
    case varBoolean:
      return Variant(AsBoolean());
    case varOleStr:
      return FromOleStr(AsString());
    case varUString:
      return Variant(AsString());
    case varString:
      return Variant(AsAnsiString());
    case varUnknown:
      return Variant(AsInterface());
    default:
      RaiseConv(cvCast, FType, AVarType);
  }
}

Variant VarAsType(const Variant& V, TVarType AVarType) { return V.AsType(AVarType); }

std::u16string VarToStr(const Variant& V) {
  if (V.IsClear()) return std::u16string();
  return V.AsString();
}

std::u16string VarToStrDef(const Variant& V, std::u16string_view ADefault) {
  if (V.IsNull()) return std::u16string(ADefault);
  return VarToStr(V);
}

// ---------------------------------------------------------------------------
// Arrays

namespace {

Variant ZeroOf(TVarType AType) {
  switch (AType) {
    case varVariant:
    case varEmpty:
      return Variant();
    case varNull:
      return Variant::Null();
    case varUnknown:
      return Variant(TIntfPtr<IInterface>());
    case varOleStr:
      return Variant::FromOleStr(std::u16string());
    case varUString:
      return Variant(std::u16string());
    case varString:
      return Variant(std::string());
    default:
      return Variant(int32_t(0)).AsType(AType);
  }
}

bool ValidElementType(TVarType t) {
  return t == varVariant || t == varSmallint || t == varInteger || t == varSingle || t == varDouble ||
         t == varExtended || t == varDate || t == varOleStr || t == varBoolean || t == varUnknown ||
         t == varDecimal || (t >= varShortInt && t <= varUInt64) || t == varString || t == varUString;
}

}  // namespace

Variant Variant::CreateArray(const std::vector<TVarArrayBound>& ABounds, TVarType AElementType) {
  AElementType &= varTypeMask;
  if (ABounds.empty() || !ValidElementType(AElementType))
    throw EVariantArrayCreateError(std::u16string(u"Error creating variant or safe array"));
  auto arr = std::make_shared<TXoVarArray>();
  arr->ElemType = AElementType;
  arr->Bounds = ABounds;
  for (const auto& b : ABounds)
    if (b.HighBound < b.LowBound - 1)
      throw EVariantArrayCreateError(std::u16string(u"Error creating variant or safe array"));
  size_t n = arr->Count();
  if (arr->IsBytes()) {
    arr->Bytes.assign(n, 0);
  } else {
    arr->Items.assign(n, ZeroOf(AElementType));
  }
  Variant v;
  v.FType = static_cast<TVarType>(varArray | AElementType);
  v.FHeap = std::move(arr);
  return v;
}

Variant VarArrayCreate(const std::vector<TVarArrayBound>& ABounds, TVarType AElementType) {
  return Variant::CreateArray(ABounds, AElementType);
}

const TXoVarArray& Variant::ArrayRef() const {
  if (auto* p = std::get_if<std::shared_ptr<TXoVarArray>>(&FHeap)) return **p;
  throw EVariantError(std::u16string(u"Variant is not an array"));
}

TXoVarArray& Variant::MutableArray() {
  auto* p = std::get_if<std::shared_ptr<TXoVarArray>>(&FHeap);
  if (!p) throw EVariantError(std::u16string(u"Variant is not an array"));
  if (p->use_count() > 1) *p = std::make_shared<TXoVarArray>(**p);  // copy on write
  return **p;
}

int Variant::VarArrayDimCount() const noexcept {
  auto* p = std::get_if<std::shared_ptr<TXoVarArray>>(&FHeap);
  return p ? static_cast<int>((*p)->Bounds.size()) : 0;
}

int32_t Variant::VarArrayLowBound(int ADim) const {
  const auto& a = ArrayRef();
  if (ADim < 1 || ADim > static_cast<int>(a.Bounds.size()))
    throw EVariantBadIndexError(std::u16string(u"Variant array index out of bounds"));
  return a.Bounds[ADim - 1].LowBound;
}

int32_t Variant::VarArrayHighBound(int ADim) const {
  const auto& a = ArrayRef();
  if (ADim < 1 || ADim > static_cast<int>(a.Bounds.size()))
    throw EVariantBadIndexError(std::u16string(u"Variant array index out of bounds"));
  return a.Bounds[ADim - 1].HighBound;
}

size_t Variant::VarArrayElementCount() const noexcept {
  auto* p = std::get_if<std::shared_ptr<TXoVarArray>>(&FHeap);
  return p ? (*p)->Count() : 0;
}

TVarType Variant::VarArrayElementType() const noexcept {
  return IsArray() ? static_cast<TVarType>(FType & varTypeMask) : varEmpty;
}

Variant Variant::GetElement(const std::vector<int32_t>& AIndices) const {
  const auto& a = ArrayRef();
  size_t off = a.Offset(AIndices.data(), AIndices.size());
  if (a.IsBytes()) return Variant(a.Bytes[off]);
  return a.Items[off];
}

Variant Variant::GetElement(std::initializer_list<int32_t> AIndices) const {
  const auto& a = ArrayRef();
  size_t off = a.Offset(AIndices.begin(), AIndices.size());
  if (a.IsBytes()) return Variant(a.Bytes[off]);
  return a.Items[off];
}

namespace {
void PutInto(TXoVarArray& a, size_t off, const Variant& AValue) {
  if (a.IsBytes())
    a.Bytes[off] = static_cast<uint8_t>(AValue.AsType(varByte).AsUInt64());
  else if (a.ElemType == varVariant)
    a.Items[off] = AValue;
  else
    a.Items[off] = AValue.AsType(a.ElemType);
}
}  // namespace

void Variant::PutElement(const std::vector<int32_t>& AIndices, const Variant& AValue) {
  // Check bounds and convert before unsharing, so a failure leaves no trace.
  size_t off = ArrayRef().Offset(AIndices.data(), AIndices.size());
  PutInto(MutableArray(), off, AValue);
}

void Variant::PutElement(std::initializer_list<int32_t> AIndices, const Variant& AValue) {
  size_t off = ArrayRef().Offset(AIndices.begin(), AIndices.size());
  PutInto(MutableArray(), off, AValue);
}

void Variant::VarArrayRedim(int32_t AHighBound) {
  auto& a = MutableArray();
  auto& last = a.Bounds.back();
  if (AHighBound < last.LowBound - 1)
    throw EVariantBadIndexError(std::u16string(u"Variant array index out of bounds"));
  last.HighBound = AHighBound;
  size_t n = a.Count();
  if (a.IsBytes())
    a.Bytes.resize(n, 0);
  else
    a.Items.resize(n, ZeroOf(a.ElemType));
}

const uint8_t* Variant::ByteData() const {
  const auto& a = ArrayRef();
  if (!a.IsBytes()) throw EVariantError(std::u16string(u"Variant is not a byte array"));
  return a.Bytes.data();
}

uint8_t* Variant::ByteData() {
  if (!ArrayRef().IsBytes()) throw EVariantError(std::u16string(u"Variant is not a byte array"));
  return MutableArray().Bytes.data();
}

Variant VarArrayOf(const std::vector<Variant>& AValues) {
  Variant v = Variant::CreateArray({{0, static_cast<int32_t>(AValues.size()) - 1}}, varVariant);
  for (size_t i = 0; i < AValues.size(); ++i) v.PutElement({static_cast<int32_t>(i)}, AValues[i]);
  return v;
}

Variant VarArrayOf(std::initializer_list<Variant> AValues) { return VarArrayOf(std::vector<Variant>(AValues)); }

Variant VarArrayFromBytes(std::string_view ABytes) {
  Variant v = Variant::CreateArray({{0, static_cast<int32_t>(ABytes.size()) - 1}}, varByte);
  if (!ABytes.empty()) std::memcpy(v.ByteData(), ABytes.data(), ABytes.size());
  return v;
}

Variant VarArrayFromBytes(const std::vector<uint8_t>& ABytes) {
  return VarArrayFromBytes(std::string_view(reinterpret_cast<const char*>(ABytes.data()), ABytes.size()));
}

std::string VarArrayToByteString(const Variant& V) {
  if (V.VarType() == (varArray | varByte) && V.VarArrayDimCount() == 1)
    return std::string(reinterpret_cast<const char*>(V.ByteData()), V.VarArrayElementCount());
  if (!V.IsArray() || V.VarArrayDimCount() != 1) RaiseConv(cvCast, V.VarType(), varArray | varByte);
  std::string s;
  int32_t lo = V.VarArrayLowBound(1), hi = V.VarArrayHighBound(1);
  for (int32_t i = lo; i <= hi; ++i) s += static_cast<char>(static_cast<uint8_t>(V.GetElement({i}).AsInt64()));
  return s;
}

std::vector<uint8_t> VarArrayToBytes(const Variant& V) {
  std::string s = VarArrayToByteString(V);
  return std::vector<uint8_t>(s.begin(), s.end());
}

size_t XoVarArrayCount(const Variant& V) { return V.VarArrayElementCount(); }

// ---------------------------------------------------------------------------
// Comparison

namespace {

enum TCat { ctEmpty, ctNull, ctInt, ctFloat, ctDate, ctBool, ctStr, ctUnknown, ctArray };

TCat CategoryOf(TVarType t) {
  if (t & varArray) return ctArray;
  switch (t) {
    case varEmpty:
      return ctEmpty;
    case varNull:
      return ctNull;
    case varSingle:
    case varDouble:
    case varExtended:
      return ctFloat;
    case varDate:
      return ctDate;
    case varBoolean:
      return ctBool;
    case varOleStr:
    case varUString:
    case varString:
      return ctStr;
    case varUnknown:
      return ctUnknown;
    default:
      return VarTypeIsOrdinal(t) ? ctInt : ctUnknown;
  }
}

template <class T>
TVariantRelationship Rel(T a, T b) {
  if (a < b) return vrLessThan;
  if (b < a) return vrGreaterThan;
  if (a == b) return vrEqual;
  return vrNotEqual;  // NaN
}

TVariantRelationship RelText(std::u16string_view a, std::u16string_view b) {
  int c = XoCompareStr(a, b);
  return c < 0 ? vrLessThan : (c > 0 ? vrGreaterThan : vrEqual);
}

TVariantRelationship CompareInts(const TIntValue& a, const TIntValue& b) {
  if (a.Big || b.Big) {
    if (a.Big && b.Big) return Rel(a.U, b.U);
    return a.Big ? vrGreaterThan : vrLessThan;
  }
  return Rel(a.I, b.I);
}

// Numeric comparison of two values that both have a number reading.
TVariantRelationship CompareNumeric(const Variant& A, TCat ca, const Variant& B, TCat cb) {
  if (ca != ctFloat && ca != ctDate && cb != ctFloat && cb != ctDate) {
    TIntValue ia, ib;
    if (ToIntValue(A, ia) == cvOk && ToIntValue(B, ib) == cvOk) return CompareInts(ia, ib);
  }
  long double fa = 0, fb = 0;
  ToLongDouble(A, fa);
  ToLongDouble(B, fb);
  return Rel(fa, fb);
}

// Text against a number, date or boolean: the text read as the other side's
// kind when it can be, otherwise the two texts compared.
TVariantRelationship CompareTextWith(const Variant& AText, const Variant& AOther, TCat cOther, bool ATextLeft) {
  auto flip = [&](TVariantRelationship r) {
    if (ATextLeft) return r;
    return r == vrLessThan ? vrGreaterThan : (r == vrGreaterThan ? vrLessThan : r);
  };
  std::u16string s = AText.AsString();
  switch (cOther) {
    case ctInt:
    case ctFloat: {
      TIntValue iv;
      if (cOther == ctInt && TryStrToInt64(s, iv.I)) {
        TIntValue io;
        ToIntValue(AOther, io);
        return flip(CompareInts(iv, io));
      }
      long double f;
      if (TryStrToFloat(s, f)) return flip(Rel(f, AOther.AsExtended()));
      break;
    }
    case ctDate: {
      TDateTime d;
      if (TextToDate(s, d) || TryStrToFloat(s, d)) return flip(Rel(d, AOther.AsDate()));
      break;
    }
    case ctBool: {
      bool b;
      if (TryStrToBool(s, b)) return flip(Rel(int(b), int(AOther.AsBoolean())));
      break;
    }
    default:
      break;
  }
  return flip(RelText(s, AOther.AsString()));
}

}  // namespace

TVariantRelationship VarCompareValue(const Variant& A, const Variant& B) {
  TCat ca = CategoryOf(A.VarType()), cb = CategoryOf(B.VarType());
  if (ca == ctNull || cb == ctNull) return ca == cb ? vrEqual : vrNotEqual;
  if (ca == ctEmpty && cb == ctEmpty) return vrEqual;
  if (ca == ctArray || cb == ctArray) {
    if (ca != cb || A.VarArrayDimCount() != B.VarArrayDimCount()) return vrNotEqual;
    for (int d = 1; d <= A.VarArrayDimCount(); ++d)
      if (A.VarArrayLowBound(d) != B.VarArrayLowBound(d) || A.VarArrayHighBound(d) != B.VarArrayHighBound(d))
        return vrNotEqual;
    // Walk all elements in storage order through a running index vector.
    int dims = A.VarArrayDimCount();
    std::vector<int32_t> idx(static_cast<size_t>(dims));
    for (int d = 0; d < dims; ++d) idx[d] = A.VarArrayLowBound(d + 1);
    size_t n = A.VarArrayElementCount();
    for (size_t k = 0; k < n; ++k) {
      if (VarCompareValue(A.GetElement(idx), B.GetElement(idx)) != vrEqual) return vrNotEqual;
      for (int d = 0; d < dims; ++d) {
        if (idx[d] < A.VarArrayHighBound(d + 1)) {
          ++idx[d];
          break;
        }
        idx[d] = A.VarArrayLowBound(d + 1);
      }
    }
    return vrEqual;
  }
  if (ca == ctUnknown || cb == ctUnknown) {
    TIntfPtr<IInterface> ia = ca == ctUnknown ? A.AsInterface() : TIntfPtr<IInterface>();
    TIntfPtr<IInterface> ib = cb == ctUnknown ? B.AsInterface() : TIntfPtr<IInterface>();
    if ((ca == ctUnknown || ca == ctEmpty) && (cb == ctUnknown || cb == ctEmpty))
      return ia.get() == ib.get() ? vrEqual : vrNotEqual;
    return vrNotEqual;
  }
  // Unassigned stands for the zero of the other side's kind.
  if (ca == ctEmpty) {
    if (cb == ctStr) return RelText(u"", B.AsString());
    return CompareNumeric(Variant(int32_t(0)), ctInt, B, cb);
  }
  if (cb == ctEmpty) {
    if (ca == ctStr) return RelText(A.AsString(), u"");
    return CompareNumeric(A, ca, Variant(int32_t(0)), ctInt);
  }
  if (ca == ctStr && cb == ctStr) {
    if (A.VarType() == varString && B.VarType() == varString) {
      int c = A.AnsiRef().compare(B.AnsiRef());
      return c < 0 ? vrLessThan : (c > 0 ? vrGreaterThan : vrEqual);
    }
    if (A.VarType() != varString && B.VarType() != varString) return RelText(A.StrRef(), B.StrRef());
    return RelText(A.AsString(), B.AsString());
  }
  if (ca == ctStr) return CompareTextWith(A, B, cb, true);
  if (cb == ctStr) return CompareTextWith(B, A, ca, false);
  return CompareNumeric(A, ca, B, cb);
}

bool VarSameValue(const Variant& A, const Variant& B) { return VarCompareValue(A, B) == vrEqual; }
bool operator==(const Variant& A, const Variant& B) { return VarCompareValue(A, B) == vrEqual; }
bool operator<(const Variant& A, const Variant& B) { return VarCompareValue(A, B) == vrLessThan; }
bool operator>(const Variant& A, const Variant& B) { return VarCompareValue(A, B) == vrGreaterThan; }
bool operator<=(const Variant& A, const Variant& B) {
  auto r = VarCompareValue(A, B);
  return r == vrLessThan || r == vrEqual;
}
bool operator>=(const Variant& A, const Variant& B) {
  auto r = VarCompareValue(A, B);
  return r == vrGreaterThan || r == vrEqual;
}

// ---------------------------------------------------------------------------
// Addition

namespace {

int FloatRank(TVarType t) {
  switch (t) {
    case varSingle:
      return 1;
    case varDouble:
    case varDate:
      return 2;
    case varExtended:
      return 3;
    default:
      return 0;
  }
}

bool Is64BitOrd(TVarType t) { return t == varInt64 || t == varUInt64 || t == varDecimal; }

}  // namespace

Variant operator+(const Variant& A, const Variant& B) {
  TVarType ta = A.VarType(), tb = B.VarType();
  if (ta == varNull || tb == varNull) return Variant::Null();
  if (ta == varEmpty) return B;
  if (tb == varEmpty) return A;
  TCat ca = CategoryOf(ta), cb = CategoryOf(tb);
  if (ca == ctArray || ca == ctUnknown) RaiseConv(cvCast, ta, cb == ctStr ? varUString : varDouble);
  if (cb == ctArray || cb == ctUnknown) RaiseConv(cvCast, tb, ca == ctStr ? varUString : varDouble);
  if (ca == ctStr || cb == ctStr) {
    if (ta == varString && tb == varString) return Variant(A.AnsiRef() + B.AnsiRef());
    std::u16string s = A.AsString();
    s += B.AsString();
    if (ta == varOleStr && tb == varOleStr) return Variant::FromOleStr(std::move(s));
    return Variant(std::move(s));
  }
  int ra = FloatRank(ta), rb = FloatRank(tb);
  if (ra || rb) {
    long double sum = A.AsExtended() + B.AsExtended();
    if (ca == ctDate && cb == ctDate) return Variant(static_cast<double>(sum));
    if (ca == ctDate || cb == ctDate) return Variant::FromDate(static_cast<double>(sum));
    int rank = std::max(ra, rb);
    if (rank == 1 && (ra == 0 || rb == 0)) rank = 2;  // single with an integer: double
    if (rank == 3) return Variant(sum);
    if (rank == 2) return Variant(static_cast<double>(sum));
    return Variant(static_cast<float>(sum));
  }
  // Whole numbers (and booleans as 0 and 1), summed exactly.
  TIntValue ia, ib;
  ToIntValue(A, ia);
  ToIntValue(B, ib);
  __int128 x = ia.Big ? static_cast<__int128>(ia.U) : static_cast<__int128>(ia.I);
  __int128 y = ib.Big ? static_cast<__int128>(ib.U) : static_cast<__int128>(ib.I);
  __int128 s = x + y;
  bool wide = Is64BitOrd(ta) || Is64BitOrd(tb);
  if (!wide && s >= INT32_MIN && s <= INT32_MAX) return Variant(static_cast<int32_t>(s));
  if (s >= INT64_MIN && s <= INT64_MAX) {
    if (ta == varDecimal || tb == varDecimal) return Variant::FromDecimal(static_cast<int64_t>(s));
    return Variant(static_cast<int64_t>(s));
  }
  if (s >= 0 && s <= static_cast<__int128>(UINT64_MAX)) return Variant(static_cast<uint64_t>(s));
  return Variant(static_cast<double>(s));
}

Variant& Variant::operator+=(const Variant& AOther) {
  // Appending text to a text keeps the buffer.
  if ((FType == varUString || FType == varOleStr) && AOther.FType != varNull && !AOther.IsArray() &&
      AOther.FType != varUnknown) {
    auto& s = std::get<std::u16string>(FHeap);
    if (AOther.FType == varUString || AOther.FType == varOleStr)
      s += std::get<std::u16string>(AOther.FHeap);
    else
      s += AOther.AsString();
    if (FType == varOleStr && AOther.FType != varOleStr) FType = varUString;
    return *this;
  }
  *this = *this + AOther;
  return *this;
}

// ---------------------------------------------------------------------------
// Conversions with a default

std::u16string XoVarToStr(const Variant& V, std::u16string_view ADefault, bool ARaise) {
  TVarType t = V.VarType();
  if (t == varUString || t == varOleStr) return V.StrRef();
  if (t == varEmpty) return std::u16string(ADefault);
  if (t == varNull || V.IsArray() || t == varUnknown) {
    if (ARaise) RaiseConv(cvCast, t, varUString);
    return std::u16string(ADefault);
  }
  return V.AsString();
}

bool XoVarToBool(const Variant& V, bool ADefault, bool ARaise) {
  TVarType t = V.VarType();
  if (t == varBoolean) return V.AsBoolean();
  if (t == varEmpty) return ADefault;
  if (!ARaise) {
    if (t == varNull || V.IsArray() || t == varUnknown) return ADefault;
    if (VarTypeIsStr(t)) {
      bool b;
      return TryStrToBool(V.AsString(), b) ? b : ADefault;
    }
  } else if (t == varNull || V.IsArray()) {
    RaiseConv(cvCast, t, varBoolean);
  }
  return V.AsBoolean();
}

int32_t XoVarToInt(const Variant& V, int32_t ADefault, bool ARaise) {
  TVarType t = V.VarType();
  if (t == varEmpty) return ADefault;
  if (t == varInteger || t == varSmallint || t == varShortInt) return V.AsInteger();
  if (ARaise) return V.AsInteger();
  TIntValue v;
  if (ToIntValue(V, v) != cvOk || v.Big || v.I < INT32_MIN || v.I > INT32_MAX) return ADefault;
  return static_cast<int32_t>(v.I);
}

int64_t XoVarToInt64(const Variant& V, int64_t ADefault, bool ARaise) {
  TVarType t = V.VarType();
  if (t == varEmpty) return ADefault;
  if (ARaise) return V.AsInt64();
  TIntValue v;
  if (ToIntValue(V, v) != cvOk || v.Big) return ADefault;
  return v.I;
}

double XoVarToDouble(const Variant& V, double ADefault, bool ARaise) {
  TVarType t = V.VarType();
  if (t == varDouble || t == varDate) return V.AsDouble();
  if (t == varEmpty) return ADefault;
  if (ARaise) return V.AsDouble();
  long double f;
  if (ToLongDouble(V, f) != cvOk) return ADefault;
  if (std::isfinite(f) && std::fabs(f) > std::numeric_limits<double>::max()) return ADefault;
  return static_cast<double>(f);
}

long double XoVarToExtended(const Variant& V, long double ADefault, bool ARaise) {
  TVarType t = V.VarType();
  if (t == varEmpty) return ADefault;
  if (ARaise) return V.AsExtended();
  long double f;
  if (ToLongDouble(V, f) != cvOk) return ADefault;
  return f;
}

// ---------------------------------------------------------------------------
// JSON documents for code below the JSON module

namespace {
std::atomic<TXoCreateJSONDocFunc> GCreateJSONDoc{nullptr};
std::atomic<TXoGetJSONDocValueFunc> GGetJSONDocValue{nullptr};
}  // namespace

void SetCreateJSONDoc(TXoCreateJSONDocFunc AFunc) { GCreateJSONDoc.store(AFunc); }
void SetGetJSONDocValue(TXoGetJSONDocValueFunc AFunc) { GGetJSONDocValue.store(AFunc); }

TIntfPtr<IInterface> XoCreateJSONDoc(const std::u16string& AJSON) {
  TXoCreateJSONDocFunc f = GCreateJSONDoc.load();
  return f ? f(AJSON) : TIntfPtr<IInterface>();
}

Variant XoGetJSONDocValue(const TIntfPtr<IInterface>& ADocument, const std::u16string& APath) {
  TXoGetJSONDocValueFunc f = GGetJSONDocValue.load();
  return f ? f(ADocument, APath) : Variant();
}

}  // namespace xo
