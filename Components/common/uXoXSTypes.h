// uXoXSTypes: nullable simple values with XML Schema facets, for fields of
// application types that the serializers read and write.
//
//   xo::TXsInt age;                          // null
//   age.Restrictions.MinInclusive = 0;       // facets are public fields
//   age.Restrictions.MaxInclusive = 150;
//   age = 42;                                // checked against the facets
//   age = 200;                               // raises EArgumentOutOfRangeException
//   int32_t n = age;                         // 42 (0 when null)
//   age.Clear();  age.IsNull();              // true; the facets stay
//   age.FromString(u"7");  age.ToString();   // "7" ("NaN" when null)
//
// Every record holds its value and a presence marker (FHasValue: "1" when a
// value is present, empty when not), so a default-constructed record is null.
// Copying a record copies value, marker and facets.
//
// Assigning a plain value (record = value) checks the record's own facets;
// constructing a record from a value (TXsInt x = 5, or Create) does not.
// Operators on a record give a copy of the left operand, facets included,
// computed and then checked by those facets; a null left operand gives a null
// result without a check. The right operand is a plain number or a record of
// the same type (a null record counts as 0). Comparisons give a TXsBoolean,
// null when the left operand is null.
//
// Integer records: "/" is the integer division, "%" the remainder, ">>" a
// logical shift (the 8- and 16-bit kinds widen to 32 bits with their sign
// first). op_Division(a, b) is the division that gives a TValue holding an
// extended float and is not checked. Rational records: Trunc(x) gives a
// TXsLong without facets, Round(x) rounds half to even.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "uXoClasses.h"
#include "uXoDateTimeUtils.h"
#include "uXoRegEx.h"
#include "uXoRtti.h"
#include "uXoSysUtils.h"
#include "uXoTypes.h"
#include "uXoVariants.h"

namespace xo {

template <class T>
struct TXsAnySimpleType;
template <class T>
struct TXsInteger;
template <class T>
struct TXsRational;
struct TXsBoolean;

namespace detail {

template <class T>
inline constexpr bool IsXsIntegerType =
    std::is_same_v<T, int8_t> || std::is_same_v<T, int16_t> || std::is_same_v<T, int32_t> ||
    std::is_same_v<T, int64_t> || std::is_same_v<T, uint8_t> || std::is_same_v<T, uint16_t> ||
    std::is_same_v<T, uint32_t> || std::is_same_v<T, uint64_t>;
template <class T>
inline constexpr bool IsXsFloatType =
    std::is_same_v<T, float> || std::is_same_v<T, double> || std::is_same_v<T, long double>;

// The kind of a value type (1 to 11), as the registry names it.
template <class T>
constexpr TXoTypeKind XsKindOf() {
  if constexpr (std::is_same_v<T, uint8_t>) return xtkByte;
  else if constexpr (std::is_same_v<T, uint16_t>) return xtkWord;
  else if constexpr (std::is_same_v<T, uint32_t>) return xtkCardinal;
  else if constexpr (std::is_same_v<T, uint64_t>) return xtkUInt64;
  else if constexpr (std::is_same_v<T, int8_t>) return xtkShortInt;
  else if constexpr (std::is_same_v<T, int16_t>) return xtkSmallInt;
  else if constexpr (std::is_same_v<T, int32_t>) return xtkInteger;
  else if constexpr (std::is_same_v<T, int64_t>) return xtkInt64;
  else if constexpr (std::is_same_v<T, float>) return xtkSingle;
  else if constexpr (std::is_same_v<T, double>) return xtkDouble;
  else if constexpr (std::is_same_v<T, long double>) return xtkExtended;
  else return xtkUnknown;
}

// The presence marker of a present value.
inline const std::u16string& XsPresent() {
  static const std::u16string s(u"1");
  return s;
}

// Facet checks that need no template: messages, pattern match, digit counts.
[[noreturn]] void XsRaiseRange(const char16_t* AMessage);
[[noreturn]] void XsRaiseNegativeUnsigned();
void XsCheckPattern(std::u16string_view APattern, std::u16string_view AText);
void XsCheckDigits(const TXsAnySimpleType<uint8_t>& ATotalDigits, const TXsAnySimpleType<uint8_t>& AFractionDigits,
                   std::u16string_view AText, std::u16string_view AFractionText);
// The text of a value as the registry writes it (TValue.ToString).
std::u16string XsValueText(int64_t AValue);
std::u16string XsValueText(uint64_t AValue);
std::u16string XsValueText(float AValue);
std::u16string XsValueText(double AValue);
std::u16string XsValueText(long double AValue);
// Text readers of FromString (the platform's parsers).
int32_t XsStrToInt(std::u16string_view AText);
int64_t XsStrToInt64(std::u16string_view AText);
long double XsStrToFloat(std::u16string_view AText, TXoTypeKind AKind);
[[noreturn]] void XsRaiseDivByZero();
// The qualified name of the number record of a kind ("uXoXSTypes.TXsInt").
const char16_t* XsTypeName(TXoTypeKind AKind);
// Registers every typed simple record with the registry (run by its start).
void XoRegisterXsTypes();

// Message texts of the facet checks.
inline constexpr const char16_t* cXsMinExclusive =
    u"The specified value is smaller than, or equal to, the minimal value!";
inline constexpr const char16_t* cXsMaxExclusive =
    u"The specified value is greater than, or equal to, the maximal value!";
inline constexpr const char16_t* cXsMinInclusive = u"The specified value is smaller than the minimal value!";
// The inclusive maximum reads like the exclusive one.
inline constexpr const char16_t* cXsMaxInclusive =
    u"The specified value is greater than, or equal to, the maximal value!";

}  // namespace detail

// ===========================================================================
// A nullable value without facets: the type of the facet fields.
template <class T>
struct TXsAnySimpleType {
  static_assert(detail::IsXsIntegerType<T> || detail::IsXsFloatType<T>,
                "TXsAnySimpleType<T> supports the integer and float types of xo only");

  T FValue{};                // the value; 0 when cleared
  std::u16string FHasValue;  // "1" when present

  TXsAnySimpleType() = default;
  TXsAnySimpleType(T AValue) : FValue(AValue), FHasValue(detail::XsPresent()) {}
  static TXsAnySimpleType Create(T AValue) { return TXsAnySimpleType(AValue); }
  TXsAnySimpleType& operator=(T AValue) {
    FValue = AValue;
    FHasValue = detail::XsPresent();
    return *this;
  }
  void Clear() {
    FValue = T{};
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue.empty(); }
  operator T() const { return IsNull() ? T{} : FValue; }
};

// ===========================================================================
// Facets of an integer record. An absent limit is a null field, an absent
// pattern an empty string.
template <class T>
struct TXsIntegerRestrictions {
  TXsAnySimpleType<T> MinExclusive;
  TXsAnySimpleType<T> MaxExclusive;
  TXsAnySimpleType<T> MinInclusive;
  TXsAnySimpleType<T> MaxInclusive;
  std::u16string Pattern;

  void Clear() {
    MinExclusive.Clear();
    MaxExclusive.Clear();
    MinInclusive.Clear();
    MaxInclusive.Clear();
    Pattern.clear();
  }
  // Raises EArgumentOutOfRangeException at the first facet AValue breaks.
  // Kinds 1 to 4 compare as unsigned 64-bit numbers, all others as signed.
  void CheckLimits(TXoTypeKind AKind, T AValue) const {
    if (AKind >= xtkByte && AKind <= xtkUInt64)
      Check(static_cast<uint64_t>(AValue));
    else
      Check(static_cast<int64_t>(AValue));
    if (!Pattern.empty()) {
      if constexpr (std::is_unsigned_v<T>)
        detail::XsCheckPattern(Pattern, detail::XsValueText(static_cast<uint64_t>(AValue)));
      else
        detail::XsCheckPattern(Pattern, detail::XsValueText(static_cast<int64_t>(AValue)));
    }
  }

private:
  template <class W>
  void Check(W AValue) const {
    if (!MinExclusive.IsNull() && static_cast<W>(MinExclusive.FValue) >= AValue)
      detail::XsRaiseRange(detail::cXsMinExclusive);
    if (!MaxExclusive.IsNull() && static_cast<W>(MaxExclusive.FValue) <= AValue)
      detail::XsRaiseRange(detail::cXsMaxExclusive);
    if (!MinInclusive.IsNull() && static_cast<W>(MinInclusive.FValue) > AValue)
      detail::XsRaiseRange(detail::cXsMinInclusive);
    if (!MaxInclusive.IsNull() && static_cast<W>(MaxInclusive.FValue) < AValue)
      detail::XsRaiseRange(detail::cXsMaxInclusive);
  }
};

// Facets of a rational record: digit counts, then the integer facets.
template <class T>
struct TXsRationalRestrictions {
  TXsAnySimpleType<uint8_t> TotalDigits;
  TXsAnySimpleType<uint8_t> FractionDigits;
  TXsAnySimpleType<T> MinExclusive;
  TXsAnySimpleType<T> MaxExclusive;
  TXsAnySimpleType<T> MinInclusive;
  TXsAnySimpleType<T> MaxInclusive;
  std::u16string Pattern;

  void Clear() {
    TotalDigits.Clear();
    FractionDigits.Clear();
    MinExclusive.Clear();
    MaxExclusive.Clear();
    MinInclusive.Clear();
    MaxInclusive.Clear();
    Pattern.clear();
  }
  // Raises EArgumentOutOfRangeException at the first facet AValue breaks.
  // The digit counts read the value's text: all digits without the sign, and
  // the digits behind "0." of the fraction's text (a text with an exponent
  // counts as its fixed notation).
  void CheckLimits(T AValue) const {
    if (!TotalDigits.IsNull() || !FractionDigits.IsNull() || !Pattern.empty()) {
      std::u16string text = detail::XsValueText(AValue);
      if (!TotalDigits.IsNull() || !FractionDigits.IsNull()) {
        T mag = AValue < 0 ? -AValue : AValue;
        T frac = mag - std::trunc(mag);
        detail::XsCheckDigits(TotalDigits, FractionDigits, text, detail::XsValueText(frac));
      }
      CheckRange(AValue);
      if (!Pattern.empty()) detail::XsCheckPattern(Pattern, text);
      return;
    }
    CheckRange(AValue);
  }

private:
  void CheckRange(T AValue) const {
    using W = long double;
    if (!MinExclusive.IsNull() && static_cast<W>(MinExclusive.FValue) >= static_cast<W>(AValue))
      detail::XsRaiseRange(detail::cXsMinExclusive);
    if (!MaxExclusive.IsNull() && static_cast<W>(MaxExclusive.FValue) <= static_cast<W>(AValue))
      detail::XsRaiseRange(detail::cXsMaxExclusive);
    if (!MinInclusive.IsNull() && static_cast<W>(MinInclusive.FValue) > static_cast<W>(AValue))
      detail::XsRaiseRange(detail::cXsMinInclusive);
    if (!MaxInclusive.IsNull() && static_cast<W>(MaxInclusive.FValue) < static_cast<W>(AValue))
      detail::XsRaiseRange(detail::cXsMaxInclusive);
  }
};

// ===========================================================================
// A nullable Boolean: the result of the comparisons.
struct TXsBoolean {
  bool FValue = false;
  std::u16string FHasValue;

  using XoWrapped = bool;
  static const char16_t* XoTypeName() { return u"uXoXSTypes.TXsBoolean"; }

  TXsBoolean() = default;
  TXsBoolean(bool AValue) : FValue(AValue), FHasValue(detail::XsPresent()) {}
  TXsBoolean& operator=(bool AValue) {
    FValue = AValue;
    FHasValue = detail::XsPresent();
    return *this;
  }
  void Clear() {
    FValue = false;
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue.empty(); }
  // false when null.
  operator bool() const { return !IsNull() && FValue; }
  bool XoValue() const { return FValue; }
  // "true" or "false"; "" when null.
  std::u16string ToString() const;
  Variant ToVariant() const;
};

// ===========================================================================
// A nullable integer with facets. T is one of int8_t, int16_t, int32_t,
// int64_t, uint8_t, uint16_t, uint32_t, uint64_t (TXsByte ... TXsUnsignedLong).
template <class T>
struct TXsInteger {
  static_assert(detail::IsXsIntegerType<T>, "The TXsInteger<T> only supports integer types!");

  std::u16string FHasValue;
  T FValue{};
  TXsIntegerRestrictions<T> Restrictions;

  using ValueType = T;
  using XoWrapped = T;
  static constexpr TXoTypeKind Kind = detail::XsKindOf<T>();
  static const char16_t* XoTypeName();

  TXsInteger() = default;
  // A present value without facets; no check.
  TXsInteger(T AValue) : FHasValue(detail::XsPresent()), FValue(AValue) {}
  // Sets value and marker; no check.
  static TXsInteger Create(T AValue) { return TXsInteger(AValue); }
  // Marker "1", the record's facets checked, then the value: a broken facet
  // leaves the marker "1" and the old value.
  TXsInteger& operator=(T AValue) {
    FHasValue = detail::XsPresent();
    Restrictions.CheckLimits(Kind, AValue);
    FValue = AValue;
    return *this;
  }
  // Value 0 and marker emptied; the facets stay.
  void Clear() {
    FValue = 0;
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue != detail::XsPresent(); }
  operator T() const { return IsNull() ? T(0) : FValue; }
  T XoValue() const { return FValue; }

  // Decimal text; "NaN" when null. The unsigned 64-bit kind writes its bits
  // as a signed number, as XoUInt64ToXML does.
  std::u16string ToString() const {
    if (IsNull()) return u"NaN";
    if constexpr (std::is_same_v<T, uint64_t>)
      return detail::XsValueText(static_cast<int64_t>(FValue));
    else if constexpr (std::is_unsigned_v<T>)
      return detail::XsValueText(static_cast<uint64_t>(FValue));
    else
      return detail::XsValueText(static_cast<int64_t>(FValue));
  }
  // The text of ToString as a string variant; null when null.
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString()); }
  // Empty text clears the record. Otherwise the marker becomes "1" and the
  // text is read by the 32-bit parser (64-bit for the 64-bit kinds) and cut
  // to T without a range test; facets are not consulted. Bad text raises
  // EConvertError and keeps the old value.
  void FromString(std::u16string_view AValue) {
    if (AValue.empty()) {
      Clear();
      return;
    }
    FHasValue = detail::XsPresent();
    if constexpr (sizeof(T) == 8)
      FValue = static_cast<T>(detail::XsStrToInt64(AValue));
    else
      FValue = static_cast<T>(static_cast<uint32_t>(detail::XsStrToInt(AValue)));
  }

  // ---- the operations, as the platform names them
  static TXsInteger op_UnaryNegation(const TXsInteger& A) {
    TXsInteger r(A, 0);
    if (r.IsNull()) return r;
    if constexpr (std::is_unsigned_v<T>)
      detail::XsRaiseNegativeUnsigned();
    else
      r.FValue = Wrap(U(0) - U(A.FValue));
    return r.Checked();
  }
  static TXsInteger op_UnaryPlus(const TXsInteger& A) {
    TXsInteger r(A, 0);
    return r.IsNull() ? r : r.Checked();
  }
  static TXsInteger op_Increment(const TXsInteger& A) { return Binary(A, 1, [](U a, U) { return a + 1; }); }
  static TXsInteger op_Decrement(const TXsInteger& A) { return Binary(A, 1, [](U a, U) { return a - 1; }); }
  static TXsInteger op_Addition(const TXsInteger& A, T B) { return Binary(A, B, [](U a, U b) { return U(a + b); }); }
  static TXsInteger op_Subtraction(const TXsInteger& A, T B) {
    return Binary(A, B, [](U a, U b) { return U(a - b); });
  }
  static TXsInteger op_Multiply(const TXsInteger& A, T B) {
    return Binary(A, B, [](U a, U b) { return U(static_cast<uint64_t>(a) * static_cast<uint64_t>(b)); });
  }
  static TXsInteger op_IntDivide(const TXsInteger& A, T B) {
    TXsInteger r(A, 0);
    if (r.IsNull()) return r;
    if (B == 0) detail::XsRaiseDivByZero();
    // The lowest value divided by -1 wraps around to itself.
    if constexpr (std::is_signed_v<T>)
      r.FValue = B == T(-1) ? Wrap(U(0) - U(A.FValue)) : static_cast<T>(A.FValue / B);
    else
      r.FValue = static_cast<T>(A.FValue / B);
    return r.Checked();
  }
  static TXsInteger op_Modulus(const TXsInteger& A, T B) {
    TXsInteger r(A, 0);
    if (r.IsNull()) return r;
    if (B == 0) detail::XsRaiseDivByZero();
    if constexpr (std::is_signed_v<T>)
      r.FValue = B == T(-1) ? T(0) : static_cast<T>(A.FValue % B);
    else
      r.FValue = static_cast<T>(A.FValue % B);
    return r.Checked();
  }
  static TXsInteger op_LeftShift(const TXsInteger& A, T B) {
    return Binary(A, B, [](U a, U b) {
      if constexpr (sizeof(T) == 8)
        return U(a << (b & 63));
      else
        return U(static_cast<uint32_t>(a) << (static_cast<uint32_t>(b) & 31));
    });
  }
  static TXsInteger op_RightShift(const TXsInteger& A, T B) {
    TXsInteger r(A, 0);
    if (r.IsNull()) return r;
    if constexpr (sizeof(T) == 8) {
      r.FValue = static_cast<T>(static_cast<uint64_t>(A.FValue) >> (static_cast<uint64_t>(B) & 63));
    } else {
      // Widened to 32 bits (signed kinds with their sign), shifted, cut.
      uint32_t w = static_cast<uint32_t>(static_cast<std::conditional_t<std::is_signed_v<T>, int32_t, uint32_t>>(A.FValue));
      r.FValue = static_cast<T>(w >> (static_cast<uint32_t>(B) & 31));
    }
    return r.Checked();
  }
  static TXsInteger op_BitwiseAnd(const TXsInteger& A, T B) { return Binary(A, B, [](U a, U b) { return U(a & b); }); }
  static TXsInteger op_BitwiseOr(const TXsInteger& A, T B) { return Binary(A, B, [](U a, U b) { return U(a | b); }); }
  static TXsInteger op_BitwiseXOR(const TXsInteger& A, T B) { return Binary(A, B, [](U a, U b) { return U(a ^ b); }); }
  // Both widened to an extended float and divided, without a check; the
  // empty TValue for a null left operand.
  static TValue op_Division(const TXsInteger& A, T B) {
    if (A.IsNull()) return TValue();
    return TValue::From(static_cast<long double>(A.FValue) / static_cast<long double>(B));
  }
  static TXsBoolean Compare(const TXsInteger& A, T B, int AOp) {
    TXsBoolean r;
    if (A.IsNull()) return r;
    T a = A.FValue;
    switch (AOp) {
      case 0: r = a == B; break;
      case 1: r = a != B; break;
      case 2: r = a > B; break;
      case 3: r = a >= B; break;
      case 4: r = a < B; break;
      default: r = a <= B; break;
    }
    return r;
  }

  // ---- in-place forms: the operand takes the checked result, or stays as
  // it was when the check fails.
  TXsInteger& operator++() { return *this = op_Increment(*this); }
  TXsInteger& operator--() { return *this = op_Decrement(*this); }
  TXsInteger operator++(int) {
    TXsInteger old = *this;
    *this = op_Increment(*this);
    return old;
  }
  TXsInteger operator--(int) {
    TXsInteger old = *this;
    *this = op_Decrement(*this);
    return old;
  }

private:
  using U = std::make_unsigned_t<T>;
  // A copy of A (the tag tells it from the value constructor).
  TXsInteger(const TXsInteger& A, int) : TXsInteger(A) {}
  static T Wrap(U AValue) { return static_cast<T>(AValue); }
  TXsInteger& Checked() {
    Restrictions.CheckLimits(Kind, FValue);
    return *this;
  }
  template <class F>
  static TXsInteger Binary(const TXsInteger& A, T B, F AOp) {
    TXsInteger r(A, 0);
    if (r.IsNull()) return r;
    r.FValue = Wrap(AOp(U(A.FValue), U(B)));
    r.Checked();
    return r;
  }
};

// ===========================================================================
// A nullable float with facets. T is float, double or long double (TXsFloat,
// TXsDouble, TXsDecimal).
template <class T>
struct TXsRational {
  static_assert(detail::IsXsFloatType<T>, "The TXsRational<T> only supports float types!");

  T FValue{};
  std::u16string FHasValue;
  TXsRationalRestrictions<T> Restrictions;

  using ValueType = T;
  using XoWrapped = T;
  static constexpr TXoTypeKind Kind = detail::XsKindOf<T>();
  static const char16_t* XoTypeName();

  TXsRational() = default;
  TXsRational(T AValue) : FValue(AValue), FHasValue(detail::XsPresent()) {}
  // From an integer record: its marker, and its value converted (no check
  // for a new record, which has no facets).
  template <class I>
  TXsRational(const TXsInteger<I>& AValue) : FValue(0), FHasValue(AValue.FHasValue) {
    if (!IsNull()) FValue = static_cast<T>(AValue.FValue);
  }
  static TXsRational Create(T AValue) { return TXsRational(AValue); }
  TXsRational& operator=(T AValue) {
    FHasValue = detail::XsPresent();
    Restrictions.CheckLimits(AValue);
    FValue = AValue;
    return *this;
  }
  // The source's marker is copied; a present value is converted, stored and
  // then checked; a null source leaves the value as it was.
  template <class I>
  TXsRational& operator=(const TXsInteger<I>& AValue) {
    FHasValue = AValue.FHasValue;
    if (!IsNull()) {
      FValue = static_cast<T>(AValue.FValue);
      Restrictions.CheckLimits(FValue);
    }
    return *this;
  }
  void Clear() {
    FValue = 0;
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue != detail::XsPresent(); }
  operator T() const { return IsNull() ? T(0) : FValue; }
  T XoValue() const { return FValue; }

  // The float text with "." as decimal separator; "NaN" when null.
  std::u16string ToString() const { return IsNull() ? std::u16string(u"NaN") : detail::XsValueText(FValue); }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString()); }
  // Empty text clears the record; otherwise the marker becomes "1" and the
  // text is read with "." as decimal separator; facets are not consulted.
  void FromString(std::u16string_view AValue) {
    if (AValue.empty()) {
      Clear();
      return;
    }
    FHasValue = detail::XsPresent();
    FValue = static_cast<T>(detail::XsStrToFloat(AValue, Kind));
  }

  static TXsRational op_UnaryNegation(const TXsRational& A) { return Unary(A, [](T a) { return -a; }); }
  static TXsRational op_UnaryPlus(const TXsRational& A) { return Unary(A, [](T a) { return a; }); }
  static TXsRational op_Round(const TXsRational& A) { return Unary(A, [](T a) { return RoundHalfEven(a); }); }
  // A TXsLong without facets; null for a null operand.
  static TXsInteger<int64_t> op_Trunc(const TXsRational& A) {
    TXsInteger<int64_t> r;
    if (!A.IsNull()) r = static_cast<int64_t>(std::trunc(A.FValue));
    return r;
  }
  static TXsRational op_Addition(const TXsRational& A, T B) { return Unary(A, [B](T a) { return a + B; }); }
  static TXsRational op_Subtraction(const TXsRational& A, T B) { return Unary(A, [B](T a) { return a - B; }); }
  static TXsRational op_Multiply(const TXsRational& A, T B) { return Unary(A, [B](T a) { return a * B; }); }
  static TXsRational op_Division(const TXsRational& A, T B) { return Unary(A, [B](T a) { return a / B; }); }
  static TXsBoolean Compare(const TXsRational& A, T B, int AOp) {
    TXsBoolean r;
    if (A.IsNull()) return r;
    T a = A.FValue;
    switch (AOp) {
      case 0: r = a == B; break;
      case 1: r = a != B; break;
      case 2: r = a > B; break;
      case 3: r = a >= B; break;
      case 4: r = a < B; break;
      default: r = a <= B; break;
    }
    return r;
  }

private:
  static T RoundHalfEven(T a) {
    T f = std::floor(a);
    T d = a - f;
    if (d > T(0.5)) return f + 1;
    if (d < T(0.5)) return f;
    return std::fmod(f, T(2)) == 0 ? f : f + 1;
  }
  template <class F>
  static TXsRational Unary(const TXsRational& A, F AOp) {
    TXsRational r = A;
    if (r.IsNull()) return r;
    r.FValue = AOp(A.FValue);
    r.Restrictions.CheckLimits(r.FValue);
    return r;
  }
};

template <class T>
const char16_t* TXsInteger<T>::XoTypeName() {
  return detail::XsTypeName(Kind);
}
template <class T>
const char16_t* TXsRational<T>::XoTypeName() {
  return detail::XsTypeName(Kind);
}

template <class T>
TXsInteger<int64_t> Trunc(const TXsRational<T>& A) {
  return TXsRational<T>::op_Trunc(A);
}
template <class T>
TXsRational<T> Round(const TXsRational<T>& A) {
  return TXsRational<T>::op_Round(A);
}

// ===========================================================================
// Operators. They are templates on the record type, so that a plain number
// on the left never converts into a record: 5 + x is plain arithmetic on the
// value of x, x + 5 is a record operation.

namespace detail {
template <class R>
struct IsXsNumber : std::false_type {};
template <class T>
struct IsXsNumber<TXsInteger<T>> : std::true_type {};
template <class T>
struct IsXsNumber<TXsRational<T>> : std::true_type {};

// A right operand of record R: a number (integers only for integer records)
// or a record of the same type.
template <class R, class V>
concept XsOperand = IsXsNumber<R>::value &&
                    ((std::is_integral_v<V> && !std::is_same_v<V, bool>) ||
                     (std::is_floating_point_v<V> && IsXsFloatType<typename R::ValueType>) ||
                     std::is_same_v<std::remove_cvref_t<V>, R>);

// The right operand as a value (a null record counts as 0).
template <class R, class V>
typename R::ValueType XsRight(const V& AValue) {
  return static_cast<typename R::ValueType>(AValue);
}
}  // namespace detail

#define XO_XS_BINARY(OP, NAME)                                              \
  template <class R, class V>                                               \
    requires detail::XsOperand<R, V>                                        \
  R operator OP(const R& A, const V& B) {                                   \
    return R::NAME(A, detail::XsRight<R>(B));                               \
  }                                                                         \
  template <class R, class V>                                               \
    requires detail::XsOperand<R, V>                                        \
  R& operator OP##=(R& A, const V& B) {                                     \
    return A = R::NAME(A, detail::XsRight<R>(B));                           \
  }
XO_XS_BINARY(+, op_Addition)
XO_XS_BINARY(-, op_Subtraction)
XO_XS_BINARY(*, op_Multiply)
#undef XO_XS_BINARY

// Integer records only: "/" divides as integers; the rational records divide
// as floats.
template <class R, class V>
  requires detail::XsOperand<R, V>
R operator/(const R& A, const V& B) {
  if constexpr (detail::IsXsFloatType<typename R::ValueType>)
    return R::op_Division(A, detail::XsRight<R>(B));
  else
    return R::op_IntDivide(A, detail::XsRight<R>(B));
}
template <class R, class V>
  requires detail::XsOperand<R, V>
R& operator/=(R& A, const V& B) {
  return A = A / B;
}

#define XO_XS_INTEGER_BINARY(OP, NAME)                                           \
  template <class R, class V>                                                    \
    requires(detail::XsOperand<R, V> && std::is_integral_v<typename R::ValueType>) \
  R operator OP(const R& A, const V& B) {                                         \
    return R::NAME(A, detail::XsRight<R>(B));                                    \
  }                                                                              \
  template <class R, class V>                                                    \
    requires(detail::XsOperand<R, V> && std::is_integral_v<typename R::ValueType>) \
  R& operator OP##=(R& A, const V& B) {                                          \
    return A = R::NAME(A, detail::XsRight<R>(B));                                \
  }
XO_XS_INTEGER_BINARY(%, op_Modulus)
XO_XS_INTEGER_BINARY(<<, op_LeftShift)
XO_XS_INTEGER_BINARY(>>, op_RightShift)
XO_XS_INTEGER_BINARY(&, op_BitwiseAnd)
XO_XS_INTEGER_BINARY(|, op_BitwiseOr)
XO_XS_INTEGER_BINARY(^, op_BitwiseXOR)
#undef XO_XS_INTEGER_BINARY

template <class R>
  requires detail::IsXsNumber<R>::value
R operator-(const R& A) {
  return R::op_UnaryNegation(A);
}
template <class R>
  requires detail::IsXsNumber<R>::value
R operator+(const R& A) {
  return R::op_UnaryPlus(A);
}

// Comparisons give a TXsBoolean: null when the record is null.
#define XO_XS_COMPARE(OP, CODE, REVERSED)                                    \
  template <class R, class V>                                                \
    requires detail::XsOperand<R, V>                                         \
  TXsBoolean operator OP(const R& A, const V& B) {                           \
    return R::Compare(A, detail::XsRight<R>(B), CODE);                       \
  }                                                                          \
  template <class V, class R>                                                \
    requires(detail::XsOperand<R, V> && !detail::IsXsNumber<V>::value)       \
  TXsBoolean operator OP(const V& A, const R& B) {                           \
    return R::Compare(B, detail::XsRight<R>(A), REVERSED);                   \
  }
XO_XS_COMPARE(==, 0, 0)
XO_XS_COMPARE(!=, 1, 1)
XO_XS_COMPARE(>, 2, 4)
XO_XS_COMPARE(>=, 3, 5)
XO_XS_COMPARE(<, 4, 2)
XO_XS_COMPARE(<=, 5, 3)
#undef XO_XS_COMPARE

using TXsByte = TXsInteger<int8_t>;
using TXsShort = TXsInteger<int16_t>;
using TXsInt = TXsInteger<int32_t>;
using TXsLong = TXsInteger<int64_t>;
using TXsUnsignedByte = TXsInteger<uint8_t>;
using TXsUnsignedShort = TXsInteger<uint16_t>;
using TXsUnsignedInt = TXsInteger<uint32_t>;
using TXsUnsignedLong = TXsInteger<uint64_t>;
using TXsFloat = TXsRational<float>;
using TXsDouble = TXsRational<double>;
using TXsDecimal = TXsRational<long double>;

// ===========================================================================
// Binary data. T is an encoding class with two class operations: Encode
// writes bytes to a stream in its text form, Decode reads that form back.
struct TXsBinaryStringB64Encoding {
  static void Encode(TStream* AStream, const std::string& AValue);
  // Reads the stream from its position to the end. Raises EConvertError for
  // text that is not Base64.
  static std::string Decode(TStream* AStream);
};
struct TXsBinaryStringHexEncoding {
  static void Encode(TStream* AStream, const std::string& AValue);
  // Two hexadecimal digits per byte, either case. Raises EConvertError for
  // other text.
  static std::string Decode(TStream* AStream);
};

template <class T>
struct TXsBinaryString {
  static_assert(std::is_same_v<T, TXsBinaryStringB64Encoding> || std::is_same_v<T, TXsBinaryStringHexEncoding>,
                "TXsBinaryString<T> takes TXsBinaryStringB64Encoding or TXsBinaryStringHexEncoding");

  std::string FValue;  // the bytes
  std::u16string FHasValue;

  using XoWrapped = std::string;
  static const char16_t* XoTypeName() {
    return std::is_same_v<T, TXsBinaryStringB64Encoding>
               ? u"uXoXSTypes.TXsBinaryString<uXoXSTypes.TXsBinaryStringB64Encoding>"
               : u"uXoXSTypes.TXsBinaryString<uXoXSTypes.TXsBinaryStringHexEncoding>";
  }
  static const char16_t* XoSchemaName() {
    return std::is_same_v<T, TXsBinaryStringB64Encoding> ? u"base64Binary" : u"hexBinary";
  }

  TXsBinaryString() = default;
  TXsBinaryString(std::string AValue) : FValue(std::move(AValue)), FHasValue(detail::XsPresent()) {}
  TXsBinaryString(const char* AValue) : TXsBinaryString(std::string(AValue ? AValue : "")) {}
  static TXsBinaryString Create(std::string AValue) { return TXsBinaryString(std::move(AValue)); }
  TXsBinaryString& operator=(std::string AValue) {
    FValue = std::move(AValue);
    FHasValue = detail::XsPresent();
    return *this;
  }
  TXsBinaryString& operator=(const char* AValue) { return *this = std::string(AValue ? AValue : ""); }
  void Clear() {
    FValue.clear();
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue.empty(); }
  operator std::string() const { return IsNull() ? std::string() : FValue; }
  const std::string& XoValue() const { return FValue; }

  // The left value followed by the bytes; null stays null.
  friend TXsBinaryString operator+(const TXsBinaryString& A, std::string_view B) {
    TXsBinaryString r = A;
    if (!r.IsNull()) r.FValue.append(B);
    return r;
  }
  TXsBinaryString& operator+=(std::string_view B) { return *this = *this + B; }

  // The value in the encoding's text form.
  void SaveBinaryData(TStream* AStream) const { T::Encode(AStream, FValue); }
  // The stream's text decoded becomes the value; the marker is "1".
  void LoadBinaryData(TStream* AStream) {
    std::string v = T::Decode(AStream);
    FValue = std::move(v);
    FHasValue = detail::XsPresent();
  }
  // The bytes as an 8-bit string variant; null when null.
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(FValue); }
};

using TXsBase64Binary = TXsBinaryString<TXsBinaryStringB64Encoding>;
using TXsHexBinary = TXsBinaryString<TXsBinaryStringHexEncoding>;

// ===========================================================================
// The other nullable simple values.

// A nullable string.
struct TXsString {
  std::u16string FValue;
  std::u16string FHasValue;

  using XoWrapped = std::u16string;
  static const char16_t* XoTypeName() { return u"uXoXSTypes.TXsString"; }

  TXsString() = default;
  TXsString(std::u16string AValue) : FValue(std::move(AValue)), FHasValue(detail::XsPresent()) {}
  TXsString(std::u16string_view AValue) : TXsString(std::u16string(AValue)) {}
  TXsString(const char16_t* AValue) : TXsString(std::u16string(AValue ? AValue : u"")) {}
  TXsString& operator=(std::u16string AValue) {
    FValue = std::move(AValue);
    FHasValue = detail::XsPresent();
    return *this;
  }
  TXsString& operator=(std::u16string_view AValue) { return *this = std::u16string(AValue); }
  TXsString& operator=(const char16_t* AValue) { return *this = std::u16string(AValue ? AValue : u""); }
  void Clear() {
    FValue.clear();
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue.empty(); }
  operator std::u16string() const { return IsNull() ? std::u16string() : FValue; }
  const std::u16string& XoValue() const { return FValue; }
  std::u16string ToString() const { return IsNull() ? std::u16string() : FValue; }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(FValue); }
  friend bool operator==(const TXsString& A, std::u16string_view B) { return !A.IsNull() && A.FValue == B; }
};

// Dates and times: a TDateTime with a presence marker. ToString(true) is the
// XML Schema text with the local zone offset ("2024-05-06+02:00"),
// ToString(false) the same without a zone; "" when null.
template <class Tag>
struct TXsDateTimeBase {
  TDateTime FValue = 0;
  std::u16string FHasValue;

  using XoWrapped = Tag;

  TXsDateTimeBase() = default;
  TXsDateTimeBase(TDateTime AValue) : FValue(AValue), FHasValue(detail::XsPresent()) {}
  void Clear() {
    FValue = 0;
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue.empty(); }
  TDateTime XoValue() const { return FValue; }
  // The value; 0 when null.
  TDateTime AsDateTime() const { return IsNull() ? 0 : FValue; }
  explicit operator TDateTime() const { return AsDateTime(); }
  std::u16string ToString(bool AWithTimeZone = true) const;
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant::FromDate(FValue); }

protected:
  void Set(TDateTime AValue) {
    FValue = AValue;
    FHasValue = detail::XsPresent();
  }
};

struct TXsDate : TXsDateTimeBase<TDateTag> {
  using TXsDateTimeBase::TXsDateTimeBase;
  static const char16_t* XoTypeName() { return u"uXoXSTypes.TXsDate"; }
  TXsDate& operator=(TDateTime AValue) {
    Set(AValue);
    return *this;
  }
};
struct TXsTime : TXsDateTimeBase<TTimeTag> {
  using TXsDateTimeBase::TXsDateTimeBase;
  static const char16_t* XoTypeName() { return u"uXoXSTypes.TXsTime"; }
  TXsTime& operator=(TDateTime AValue) {
    Set(AValue);
    return *this;
  }
};
struct TXsDateTime : TXsDateTimeBase<TDateTimeTag> {
  using TXsDateTimeBase::TXsDateTimeBase;
  static const char16_t* XoTypeName() { return u"uXoXSTypes.TXsDateTime"; }
  TXsDateTime& operator=(TDateTime AValue) {
    Set(AValue);
    return *this;
  }
};

// A nullable xs:duration, held as its text. Assigning text checks it
// ("P1Y2M", "-PT1.5S"; the empty text clears); the duration itself comes
// from AsDuration or the conversion.
struct TXsDuration {
  std::u16string FValue;
  std::u16string FHasValue;

  using XoWrapped = std::u16string;
  static const char16_t* XoTypeName() { return u"uXoXSTypes.TXsDuration"; }

  TXsDuration() = default;
  TXsDuration(std::u16string_view AValue) { Assign(AValue); }
  TXsDuration(const char16_t* AValue) { Assign(AValue ? AValue : u""); }
  TXsDuration(const TXoDuration& AValue);
  TXsDuration& operator=(std::u16string_view AValue) {
    Assign(AValue);
    return *this;
  }
  TXsDuration& operator=(const char16_t* AValue) { return *this = std::u16string_view(AValue ? AValue : u""); }
  TXsDuration& operator=(const std::u16string& AValue) { return *this = std::u16string_view(AValue); }
  TXsDuration& operator=(const TXoDuration& AValue);
  void Clear() {
    FValue.clear();
    FHasValue.clear();
  }
  bool IsNull() const { return FHasValue.empty(); }
  const std::u16string& XoValue() const { return FValue; }
  operator std::u16string() const { return IsNull() ? std::u16string() : FValue; }
  // The duration; zero when null.
  TXoDuration AsDuration() const;
  operator TXoDuration() const { return AsDuration(); }
  std::u16string ToString() const { return IsNull() ? std::u16string() : FValue; }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(FValue); }

private:
  // Raises the duration reader's Exception for text that is no duration.
  void Assign(std::u16string_view AValue);
};

}  // namespace xo
