// uXoSysUtils: strings, exceptions, formatting and small text helpers shared by
// every xo module.
#pragma once

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace xo {

// ---------------------------------------------------------------------------
// String types. Text is UTF-16 throughout; 8-bit strings hold bytes.
using XoXMLString = std::u16string;
using XoJSONString = std::u16string;
using UnicodeString = std::u16string;
using WideString = std::u16string;
using AnsiString = std::string;
using RawByteString = std::string;
using UTF8String = std::string;
// UTF-8 text that a serializer gives and a deserializer takes as a whole.
using TXoSerializedData = std::string;
using TDateTime = double;
using TDate = double;
using TTime = double;

// The process-wide "system" code page, used where a caller passes code page 0
// to an encoding function. UTF-8 unless a program says otherwise.
extern uint16_t XoSystemCodePage;

// ---------------------------------------------------------------------------
// UTF-8 <-> UTF-16. Invalid input never fails: each maximal invalid UTF-8
// subpart becomes U+FFFD, and an unpaired surrogate is written as the
// three-byte form of U+FFFD.
std::u16string XoUTF8ToUTF16(std::string_view AText);
std::string XoUTF16ToUTF8(std::u16string_view AText);
// Appending forms, for callers that reuse one buffer.
void XoAppendUTF8ToUTF16(std::u16string& ADest, std::string_view AText);
// Writes the UTF-16 form of AText to AOut, which must have room for
// AText.size() units (never more are needed); returns the number written.
size_t XoUTF8ToUTF16Into(char16_t* AOut, std::string_view AText);
void XoAppendUTF16ToUTF8(std::string& ADest, std::u16string_view AText);
// Writes the UTF-8 form of AText to AOut, which must have room for three
// bytes a unit; returns the number written.
size_t XoUTF16ToUTF8Into(char* AOut, std::u16string_view AText);
// Latin-1 widening: each byte becomes the code unit of the same value.
std::u16string XoLatin1ToUTF16(std::string_view AText);
// Shorthand for ASCII/UTF-8 literals in code that builds messages.
inline std::u16string XoStr(std::string_view AUTF8) { return XoUTF8ToUTF16(AUTF8); }

// ---------------------------------------------------------------------------
// Formatting. One formatter for every message of the library: "%s" takes a
// string (or any argument, rendered as text), "%d" a whole number, "%u" an
// unsigned one, "%x" hexadecimal, "%g" / "%f" a floating point number, "%%"
// a percent sign. A width and "-" for left alignment may stand between "%"
// and the letter ("%5d", "%-10s"); a precision may follow for "%f"/"%g".
// A directive with no argument left is copied as written.
class TXoFormatArg {
public:
  enum class Kind { Str, Int, UInt, Float };
  TXoFormatArg(std::u16string_view v) : FKind(Kind::Str), FStr(v) {}
  TXoFormatArg(const std::u16string& v) : FKind(Kind::Str), FStr(v) {}
  TXoFormatArg(const char16_t* v) : FKind(Kind::Str), FStr(v ? v : u"") {}
  TXoFormatArg(std::string_view v) : FKind(Kind::Str), FStr(XoUTF8ToUTF16(v)) {}
  TXoFormatArg(const std::string& v) : FKind(Kind::Str), FStr(XoUTF8ToUTF16(v)) {}
  TXoFormatArg(const char* v) : FKind(Kind::Str), FStr(XoUTF8ToUTF16(v ? v : "")) {}
  TXoFormatArg(char16_t v) : FKind(Kind::Str), FStr(1, v) {}
  TXoFormatArg(bool v) : FKind(Kind::Str), FStr(v ? u"True" : u"False") {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T> &&
                                          !std::is_same_v<T, bool> && !std::is_same_v<T, char>,
                                      int> = 0>
  TXoFormatArg(T v) : FKind(Kind::Int), FInt(static_cast<int64_t>(v)) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T> &&
                                          !std::is_same_v<T, bool> && !std::is_same_v<T, char16_t>,
                                      int> = 0>
  TXoFormatArg(T v) : FKind(Kind::UInt), FUInt(static_cast<uint64_t>(v)) {}
  TXoFormatArg(double v) : FKind(Kind::Float), FFloat(v) {}
  TXoFormatArg(long double v) : FKind(Kind::Float), FFloat(static_cast<double>(v)) {}

  Kind GetKind() const { return FKind; }
  const std::u16string& Str() const { return FStr; }
  int64_t Int() const { return FInt; }
  uint64_t UInt() const { return FUInt; }
  double Float() const { return FFloat; }

private:
  Kind FKind;
  std::u16string FStr;
  int64_t FInt = 0;
  uint64_t FUInt = 0;
  double FFloat = 0;
};

std::u16string XoFormat(std::u16string_view AFormat, std::initializer_list<TXoFormatArg> AArgs);
std::u16string XoFormat(std::u16string_view AFormat, const std::vector<TXoFormatArg>& AArgs);

// ---------------------------------------------------------------------------
// Exceptions. The message is UTF-16; what() answers it in UTF-8.
class Exception : public std::exception {
public:
  explicit Exception(std::u16string AMessage);
  Exception(std::u16string_view AFormat, std::initializer_list<TXoFormatArg> AArgs);
  ~Exception() override = default;
  const char* what() const noexcept override { return FWhat.c_str(); }
  const std::u16string& Message() const { return FMessage; }
  void SetMessage(std::u16string AMessage);
  // The class name as the platform spells it ("EConvertError", ...).
  virtual const char16_t* ClassName() const { return u"Exception"; }

private:
  std::u16string FMessage;
  std::string FWhat;
};

#define XO_DECLARE_EXCEPTION(Name, Base)                                                  \
  class Name : public Base {                                                            \
  public:                                                                               \
    using Base::Base;                                                                   \
    const char16_t* ClassName() const override { return u## #Name; }                    \
  };

XO_DECLARE_EXCEPTION(EAbort, Exception)
XO_DECLARE_EXCEPTION(EConvertError, Exception)
XO_DECLARE_EXCEPTION(EListError, Exception)
XO_DECLARE_EXCEPTION(EStringListError, Exception)
XO_DECLARE_EXCEPTION(EArgumentException, Exception)
XO_DECLARE_EXCEPTION(EArgumentOutOfRangeException, EArgumentException)
XO_DECLARE_EXCEPTION(EArgumentNilException, EArgumentException)
XO_DECLARE_EXCEPTION(ENotSupportedException, Exception)
XO_DECLARE_EXCEPTION(ENotImplemented, Exception)
XO_DECLARE_EXCEPTION(EInvalidOperation, Exception)
XO_DECLARE_EXCEPTION(EInvalidPointer, Exception)
XO_DECLARE_EXCEPTION(EInvalidCast, Exception)
XO_DECLARE_EXCEPTION(EVariantError, Exception)
XO_DECLARE_EXCEPTION(EVariantTypeCastError, EVariantError)
XO_DECLARE_EXCEPTION(EVariantOverflowError, EVariantError)
XO_DECLARE_EXCEPTION(EVariantBadIndexError, EVariantError)
XO_DECLARE_EXCEPTION(EVariantArrayCreateError, EVariantError)
XO_DECLARE_EXCEPTION(EExternal, Exception)
XO_DECLARE_EXCEPTION(EIntError, EExternal)
XO_DECLARE_EXCEPTION(EDivByZero, EIntError)
XO_DECLARE_EXCEPTION(ERangeError, EIntError)
XO_DECLARE_EXCEPTION(EIntOverflow, EIntError)
XO_DECLARE_EXCEPTION(EMathError, EExternal)
XO_DECLARE_EXCEPTION(EZeroDivide, EMathError)
XO_DECLARE_EXCEPTION(EOverflow, EMathError)
XO_DECLARE_EXCEPTION(EInvalidOp, EMathError)
XO_DECLARE_EXCEPTION(EAssertionFailed, Exception)
XO_DECLARE_EXCEPTION(EAbstractError, Exception)
XO_DECLARE_EXCEPTION(EOutOfMemory, Exception)
XO_DECLARE_EXCEPTION(EStreamError, Exception)
XO_DECLARE_EXCEPTION(EFileStreamError, EStreamError)
XO_DECLARE_EXCEPTION(EFCreateError, EFileStreamError)
XO_DECLARE_EXCEPTION(EFOpenError, EFileStreamError)
XO_DECLARE_EXCEPTION(EReadError, EStreamError)
XO_DECLARE_EXCEPTION(EWriteError, EStreamError)
XO_DECLARE_EXCEPTION(EEncodingError, Exception)
XO_DECLARE_EXCEPTION(EClassNotFound, Exception)

// The library's own exception: a message and an integer code.
class EXoException : public Exception {
public:
  explicit EXoException(std::u16string AMessage) : Exception(std::move(AMessage)), FCode(0) {}
  // A template, so that a braced argument list such as {ACodePage} can only
  // mean format arguments and is never taken for the code.
  template <class TInt, std::enable_if_t<std::is_integral_v<TInt>, int> = 0>
  EXoException(std::u16string AMessage, TInt ACode)
      : Exception(std::move(AMessage)), FCode(static_cast<int32_t>(ACode)) {}
  EXoException(std::u16string_view AFormat, std::initializer_list<TXoFormatArg> AArgs, int32_t ACode = 0)
      : Exception(AFormat, AArgs), FCode(ACode) {}
  int32_t Code() const { return FCode; }
  const char16_t* ClassName() const override { return u"EXoException"; }

private:
  int32_t FCode;
};

// Raises EAssertionFailed when ACondition is false. The message is the given
// text, or "Assertion failure", followed by the source path in parentheses.
void XoAssert(bool ACondition, std::u16string_view AMessage, std::u16string_view ASource);

// ---------------------------------------------------------------------------
// Text helpers.

// A set of byte-valued characters (the platform's "set of AnsiChar").
class TXoCharSet {
public:
  constexpr TXoCharSet() = default;
  constexpr TXoCharSet(std::string_view AChars) {
    for (unsigned char c : AChars) Include(c);
  }
  constexpr TXoCharSet(std::initializer_list<unsigned char> AChars) {
    for (unsigned char c : AChars) Include(c);
  }
  // All characters from AFrom to ATo, both included.
  static constexpr TXoCharSet Range(unsigned char AFrom, unsigned char ATo) {
    TXoCharSet s;
    for (unsigned c = AFrom; c <= ATo; ++c) s.Include(static_cast<unsigned char>(c));
    return s;
  }
  constexpr void Include(unsigned char c) { FMap[c] = 1; }
  constexpr void Exclude(unsigned char c) { FMap[c] = 0; }
  constexpr bool Contains(uint32_t c) const { return c < 256 && FMap[c]; }
  // Membership of a byte value, without the range test.
  constexpr bool ContainsByte(uint8_t c) const { return FMap[c]; }
  constexpr TXoCharSet operator+(const TXoCharSet& o) const {
    TXoCharSet r;
    for (int i = 0; i < 256; ++i) r.FMap[i] = FMap[i] | o.FMap[i];
    return r;
  }

private:
  // One byte per member: a lookup table is what the scanner's loops want.
  uint8_t FMap[256] = {};
};

inline bool XoCharInSet(char16_t AChar, const TXoCharSet& ASet) { return ASet.Contains(AChar); }
inline bool XoCharInSet(char AChar, const TXoCharSet& ASet) {
  return ASet.Contains(static_cast<unsigned char>(AChar));
}

// Equality without regard to the case of ASCII letters (the platform's
// SameText). Other characters compare by code unit.
bool XoSameText(std::u16string_view A, std::u16string_view B);
bool XoSameText(std::string_view A, std::string_view B);
// Three-way comparison by code unit with ASCII letters folded to upper case.
int XoCompareText(std::u16string_view A, std::u16string_view B);
// Three-way comparison by code unit.
int XoCompareStr(std::u16string_view A, std::u16string_view B);

template <class T>
inline T XoIf(bool ACondition, T A, T B) {
  return ACondition ? A : B;
}
inline std::u16string XoIf(bool ACondition, std::u16string_view A, std::u16string_view B) {
  return std::u16string(ACondition ? A : B);
}

// The first ACount characters (all of them when shorter).
std::u16string XoLeft(std::u16string_view AText, int64_t ACount);
// The last ACount characters.
std::u16string XoRight(std::u16string_view AText, int64_t ACount);
// AText padded on the left with AChar to at least AWidth characters.
std::u16string XoPadLeft(std::u16string_view AText, int64_t AWidth, char16_t AChar = u' ');
// AChar in upper case (AUpper) or lower case. Letters of the whole Basic
// Multilingual Plane are mapped, not only ASCII.
char16_t XoCharCase(char16_t AChar, bool AUpper);
// Splits AText at every character in ADelimiters. Empty tokens are kept
// unless ASkipEmpty is set.
std::vector<std::u16string> XoTokenize(std::u16string_view AText, std::u16string_view ADelimiters,
                                       bool ASkipEmpty = false);

// AText without one pair of enclosing quotes: when it begins and ends with
// the same quote character (' or ") and holds at least two characters, those
// two go; any other text comes back unchanged.
std::u16string XoStripLiterals(std::u16string_view AText);

// The platform's ASCII case mapping and trimming (characters up to 0x20).
std::u16string UpperCase(std::u16string_view AText);
std::u16string LowerCase(std::u16string_view AText);
std::string UpperCase(std::string_view AText);
std::string LowerCase(std::string_view AText);
std::u16string Trim(std::u16string_view AText);
std::u16string TrimLeft(std::u16string_view AText);
std::u16string TrimRight(std::u16string_view AText);
// 1-based position of ASub in AText, 0 when absent.
int64_t Pos(std::u16string_view ASub, std::u16string_view AText, int64_t AOffset = 1);

std::u16string IntToStr(int64_t AValue);
std::u16string UIntToStr(uint64_t AValue);
std::u16string IntToHex(uint64_t AValue, int ADigits);

// ===========================================================================
// Number services: text to numbers and back with fixed, locale-independent
// rules (decimal separator "." always; the process locale is never read).
//
// Integers: leading blanks (characters up to 0x20) are skipped, trailing ones
// are not allowed; an optional sign; "$", "0x" or "0X" starts a hexadecimal
// number. A decimal number must fit the signed target; hexadecimal digits may
// fill its full width and are taken as two's complement ("$FFFFFFFF" is -1 for
// StrToInt). Failure raises EConvertError "'%s' is not a valid integer value".
int32_t StrToInt(std::u16string_view AText);
int64_t StrToInt64(std::u16string_view AText);
// Unsigned 64-bit: decimal up to 18446744073709551615, no minus sign.
uint64_t StrToUInt64(std::u16string_view AText);
int32_t StrToIntDef(std::u16string_view AText, int32_t ADefault);
int64_t StrToInt64Def(std::u16string_view AText, int64_t ADefault);
uint64_t StrToUInt64Def(std::u16string_view AText, uint64_t ADefault);
bool TryStrToInt(std::u16string_view AText, int32_t& AValue);
bool TryStrToInt64(std::u16string_view AText, int64_t& AValue);
bool TryStrToUInt64(std::u16string_view AText, uint64_t& AValue);
// 8-bit forms of the same parsers (ASCII text).
bool TryStrToInt(std::string_view AText, int32_t& AValue);
bool TryStrToInt64(std::string_view AText, int64_t& AValue);
bool TryStrToUInt64(std::string_view AText, uint64_t& AValue);

// The platform's Val: parses AText as a whole; ACode is 0 on success, else
// the 1-based position of the first character that spoiled it (length + 1
// when the text ended early). Leading blanks are skipped. AValue is 0 on
// failure.
void Val(std::u16string_view AText, int64_t& AValue, int& ACode);
void Val(std::u16string_view AText, int32_t& AValue, int& ACode);
void Val(std::u16string_view AText, double& AValue, int& ACode);

// Floats: blanks around the number are allowed; an optional sign, digits
// with an optional "." and fraction (at least one digit in all), an optional
// exponent ("e" or "E", optional sign, digits). "INF", "INFINITY" and "NAN"
// in any case and with an optional sign are the infinities and NaN. A value
// beyond the range of the target is an error; one below it becomes 0.
// Failure raises EConvertError "'%s' is not a valid floating point value".
double StrToFloat(std::u16string_view AText);
double StrToFloatDef(std::u16string_view AText, double ADefault);
bool TryStrToFloat(std::u16string_view AText, double& AValue);
bool TryStrToFloat(std::u16string_view AText, float& AValue);
bool TryStrToFloat(std::u16string_view AText, long double& AValue);
bool TryStrToFloat(std::string_view AText, double& AValue);
long double StrToExtended(std::u16string_view AText);
long double StrToExtendedDef(std::u16string_view AText, long double ADefault);
// The platform's TextToFloat: as TryStrToFloat with a chosen decimal
// separator; a thousand separator is never accepted.
bool TextToFloat(std::u16string_view AText, double& AValue, char16_t ADecimalSeparator = u'.');
bool TextToFloat(std::u16string_view AText, long double& AValue, char16_t ADecimalSeparator = u'.');

// The general float format with 15 significant digits: the value rounded to
// 15 significant digits, trailing zeros dropped, no exponent when the decimal
// exponent e (value = d.ddd * 10^e) lies in -5 < e < 15, otherwise the form
// "d.dddE<e>" with "-" only for a negative exponent and no leading zeros
// ("1E20", "1.5E-7"). Zero (also -0) is "0"; NaN "NAN"; the infinities "INF"
// and "-INF". The long double form uses the same 15 digits.
std::u16string FloatToStr(double AValue);
std::u16string FloatToStr(long double AValue);
// Appending form for callers that reuse one buffer.
void XoAppendFloatToStr(std::u16string& ADest, double AValue);
// Boolean text as the platform writes it: "True" / "False".
std::u16string BoolToStr(bool AValue);
// "true"/"false" in any case, or a number (non-zero is true).
bool TryStrToBool(std::u16string_view AText, bool& AValue);

// ---------------------------------------------------------------------------
// GUIDs as the platform keeps them: a 32-bit, two 16-bit and eight 8-bit
// parts. The text form is "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (38
// characters, hexadecimal digits in either case on reading, upper case on
// writing). StringToGUID of any other text raises EConvertError
// "'%s' is not a valid GUID value".
struct TGUID {
  uint32_t D1 = 0;
  uint16_t D2 = 0;
  uint16_t D3 = 0;
  uint8_t D4[8] = {0, 0, 0, 0, 0, 0, 0, 0};
  bool IsEmpty() const;
  friend bool operator==(const TGUID& A, const TGUID& B);
};
TGUID StringToGUID(std::u16string_view AText);
std::u16string GUIDToString(const TGUID& AGUID);

}  // namespace xo
