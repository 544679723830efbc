// uXoXPath, functions of numbers: abs, ceiling, floor, round, half-to-even.
// A path gives text, so these see numbers only from constants, number() and
// other functions; every other kind answers null.
#include <cmath>
#include <cstdint>
#include <limits>

#include "uXoTypes.h"
#include "uXoXPath/uXoXPathFnUtils.h"

namespace xo {

namespace {

// A whole number that a float rounded to: 32-bit where the function says so
// and the value fits, else 64-bit, else the rounded float itself (values
// beyond 64 bits, infinities and NaN), so that nothing is lost.
Variant WholeOf(long double AValue, bool A32) {
  if (std::isfinite(AValue)) {
    if (A32 && AValue >= std::numeric_limits<int32_t>::min() && AValue <= std::numeric_limits<int32_t>::max())
      return Variant(static_cast<int32_t>(AValue));
    if (AValue >= -9223372036854775808.0L && AValue < 9223372036854775808.0L)
      return Variant(static_cast<int64_t>(AValue));
  }
  return Variant(AValue);
}

Variant WholeOf(int64_t AValue, bool A32) {
  if (A32 && AValue >= std::numeric_limits<int32_t>::min() && AValue <= std::numeric_limits<int32_t>::max())
    return Variant(static_cast<int32_t>(AValue));
  return Variant(AValue);
}

// The nearest whole number, a tie going to the even neighbour (the
// processor's default rounding, whatever mode the program has set).
long double RoundHalfEven(long double AValue) {
  if (!std::isfinite(AValue)) return AValue;
  long double f = std::floor(AValue);
  long double d = AValue - f;
  if (d > 0.5L) return f + 1;
  if (d < 0.5L) return f;
  return std::fmod(f, 2.0L) == 0 ? f : f + 1;
}

enum class TRounding { Up, Down, Nearest };

// ceiling, floor, round: integers stay as they are, floats and date-times
// are rounded, a boolean is 0 or 1, everything else null.
Variant RoundValue(const Variant& V, TRounding AMode) {
  const bool b32 = AMode != TRounding::Nearest;
  switch (XoXPathKind(V)) {
    case 1:
      return WholeOf(XoVarToInt64(V), b32);
    case 2:
    case 5: {
      long double x = XoVarToExtended(V);
      if (AMode == TRounding::Up) x = std::ceil(x);
      else if (AMode == TRounding::Down) x = std::floor(x);
      else x = RoundHalfEven(x);
      return WholeOf(x, b32);
    }
    case 4:
      return Variant(static_cast<int32_t>(XoVarToBool(V) ? 1 : 0));
    default:
      return Variant::Null();
  }
}

}  // namespace

Variant TXoXPathFnAbs::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:abs(num)\" function must contain 1 parameter!");
  Variant v = ParamValue(0, AList, AIndex);
  switch (XoXPathKind(v)) {
    case 1: {
      int64_t i = XoVarToInt64(v);
      if (i == std::numeric_limits<int64_t>::min()) return Variant(9223372036854775808.0L);  // no 64-bit form
      return Variant(i < 0 ? -i : i);
    }
    case 2:
      return Variant(std::fabs(XoVarToExtended(v)));
    case 4:
      return Variant(static_cast<int32_t>(XoVarToBool(v) ? 1 : 0));
    case 5:
      return Variant(std::fabs(XoVarToDouble(v)));
    default:
      return Variant::Null();
  }
}

Variant TXoXPathFnCeiling::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:ceiling(num)\" function must contain 1 parameter!");
  return RoundValue(ParamValue(0, AList, AIndex), TRounding::Up);
}

Variant TXoXPathFnFloor::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:floor(num)\" function must contain 1 parameter!");
  return RoundValue(ParamValue(0, AList, AIndex), TRounding::Down);
}

Variant TXoXPathFnRound::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:round(num)\" function must contain 1 parameter!");
  return RoundValue(ParamValue(0, AList, AIndex), TRounding::Nearest);
}

Variant TXoXPathFnRoundHalfToEven::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 1) XoXPathCountError(u"The \"fn:half-to-even(num)\" function must contain 1 parameter!");
  return RoundValue(ParamValue(0, AList, AIndex), TRounding::Nearest);
}

}  // namespace xo
