// uXoVariants: the variant value of xo. A Variant holds one value of a small
// set of kinds, tagged with the platform's numeric type codes (varInteger,
// varUString, ...), because the XML text forms and the type registry depend on
// those codes. Arrays of any dimension count have value semantics (copying a
// Variant copies the array; the copy is shared until one side writes).
//
// Conversions follow fixed, locale-independent rules (see docs/DESIGN-decisions.md,
// "Variant"); a conversion that is impossible raises EVariantTypeCastError, a
// value that does not fit the target raises EVariantOverflowError.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "uXoClasses.h"
#include "uXoSysUtils.h"

namespace xo {

// ---------------------------------------------------------------------------
// Type codes
using TVarType = uint16_t;

constexpr TVarType varEmpty = 0;       // unassigned
constexpr TVarType varNull = 1;        // null
constexpr TVarType varSmallint = 2;    // int16_t
constexpr TVarType varInteger = 3;     // int32_t
constexpr TVarType varSingle = 4;      // float
constexpr TVarType varDouble = 5;      // double
constexpr TVarType varExtended = 6;    // long double (takes the place of the platform's currency)
constexpr TVarType varDate = 7;        // TDateTime (double)
constexpr TVarType varOleStr = 8;      // UTF-16 string
constexpr TVarType varBoolean = 11;    // bool
constexpr TVarType varVariant = 12;    // element type of arrays holding any Variant
constexpr TVarType varUnknown = 13;    // TIntfPtr<IInterface>
constexpr TVarType varDecimal = 14;    // a whole number in 64 bits (scale 0), see DESIGN-decisions
constexpr TVarType varShortInt = 16;   // int8_t
constexpr TVarType varByte = 17;       // uint8_t
constexpr TVarType varWord = 18;       // uint16_t
constexpr TVarType varLongWord = 19;   // uint32_t
constexpr TVarType varInt64 = 20;      // int64_t
constexpr TVarType varUInt64 = 21;     // uint64_t
constexpr TVarType varString = 256;    // 8-bit string (std::string)
constexpr TVarType varUString = 258;   // UTF-16 string
constexpr TVarType varTypeMask = 0x0FFF;
constexpr TVarType varArray = 0x2000;

// Result of comparing two variants. vrNotEqual means "unordered": the two
// values differ but neither is less than the other (null against a value,
// NaN, arrays of different content, ...).
enum TVariantRelationship { vrEqual, vrLessThan, vrGreaterThan, vrNotEqual };

// Bounds of one array dimension, both included.
struct TVarArrayBound {
  int32_t LowBound = 0;
  int32_t HighBound = -1;
};

// The platform's name of a type code: "Integer", "UnicodeString", "Null",
// arrays as "Array " and the element type name ("Array Byte").
std::u16string VarTypeAsText(TVarType AVarType);

// Classification of type codes (the array flag is not looked at).
bool VarTypeIsOrdinal(TVarType AVarType);  // whole numbers: 2, 3, 14, 16..21
bool VarTypeIsFloat(TVarType AVarType);    // 4, 5, 6
bool VarTypeIsNumeric(TVarType AVarType);  // ordinal or float
bool VarTypeIsStr(TVarType AVarType);      // 8, 256, 258

class Variant;
struct TXoVarArray;

// ---------------------------------------------------------------------------
class Variant {
public:
  // Unassigned.
  Variant() noexcept : FType(varEmpty) { FData.I = 0; }
  Variant(const Variant& AOther);
  Variant(Variant&& AOther) noexcept;
  Variant& operator=(const Variant& AOther);
  Variant& operator=(Variant&& AOther) noexcept;
  ~Variant();

  // Integers keep their width as type code.
  Variant(int8_t AValue) noexcept : FType(varShortInt) { FData.I = AValue; }
  Variant(int16_t AValue) noexcept : FType(varSmallint) { FData.I = AValue; }
  Variant(int32_t AValue) noexcept : FType(varInteger) { FData.I = AValue; }
  Variant(int64_t AValue) noexcept : FType(varInt64) { FData.I = AValue; }
  Variant(uint8_t AValue) noexcept : FType(varByte) { FData.U = AValue; }
  Variant(uint16_t AValue) noexcept : FType(varWord) { FData.U = AValue; }
  Variant(uint32_t AValue) noexcept : FType(varLongWord) { FData.U = AValue; }
  Variant(uint64_t AValue) noexcept : FType(varUInt64) { FData.U = AValue; }
  // long and long long are distinct C++ types on some targets; both map to
  // the 64-bit codes.
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T> && sizeof(T) == 8 &&
                                          !std::is_same_v<T, int64_t>,
                                      int> = 0>
  Variant(T AValue) noexcept : FType(varInt64) {
    FData.I = static_cast<int64_t>(AValue);
  }
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T> && sizeof(T) == 8 &&
                                          !std::is_same_v<T, uint64_t>,
                                      int> = 0>
  Variant(T AValue) noexcept : FType(varUInt64) {
    FData.U = static_cast<uint64_t>(AValue);
  }
  Variant(float AValue) noexcept : FType(varSingle) { FData.F = AValue; }
  Variant(double AValue) noexcept : FType(varDouble) { FData.D = AValue; }
  Variant(long double AValue) noexcept : FType(varExtended) { FData.E = AValue; }
  Variant(bool AValue) noexcept : FType(varBoolean) { FData.B = AValue; }
  // Strings: UTF-16 (varUString), 8-bit (varString).
  Variant(const char16_t* AValue);
  Variant(std::u16string_view AValue);
  Variant(const std::u16string& AValue);
  Variant(std::u16string&& AValue) noexcept;
  Variant(const std::string& AValue);
  Variant(std::string&& AValue) noexcept;
  // Interface (varUnknown); a nil pointer still gives varUnknown.
  Variant(const TIntfPtr<IInterface>& AValue);
  // A plain C string is 8-bit text; without this overload it would become a bool.
  Variant(const char* AValue);
  // A single character is a text of one character (UTF-16 or 8-bit).
  Variant(char16_t AValue) : Variant(std::u16string(1, AValue)) {}
  Variant(char AValue) : Variant(std::string(1, AValue)) {}

  // Tagged factories.
  static Variant FromDate(TDateTime AValue) noexcept;
  static Variant FromOleStr(std::u16string AValue);
  static Variant FromDecimal(int64_t AValue) noexcept;
  static Variant Null() noexcept;
  static Variant Empty() noexcept { return Variant(); }

  // ---- kind
  TVarType VarType() const noexcept { return FType; }
  bool IsNull() const noexcept { return FType == varNull; }
  bool IsEmpty() const noexcept { return FType == varEmpty; }
  // Null or unassigned.
  bool IsClear() const noexcept { return FType == varEmpty || FType == varNull; }
  bool IsArray() const noexcept { return (FType & varArray) != 0; }
  bool IsString() const noexcept { return VarTypeIsStr(FType); }
  bool IsOrdinal() const noexcept { return VarTypeIsOrdinal(FType); }
  bool IsFloat() const noexcept { return VarTypeIsFloat(FType); }
  bool IsNumeric() const noexcept { return VarTypeIsNumeric(FType); }
  void Clear() noexcept;
  void SetNull() noexcept;

  // ---- conversions (raise EVariantTypeCastError / EVariantOverflowError)
  // Null raises in every conversion; unassigned gives 0, "", false.
  int32_t AsInteger() const;
  int64_t AsInt64() const;
  uint64_t AsUInt64() const;
  double AsDouble() const;
  long double AsExtended() const;
  bool AsBoolean() const;
  TDateTime AsDate() const;
  std::u16string AsString() const;
  // 8-bit: an 8-bit string as is, any other text in the system code page
  // (XoSystemCodePage; 8-bit strings are read in it too).
  std::string AsAnsiString() const;
  TIntfPtr<IInterface> AsInterface() const;
  // The value converted to the type code (an array code is not a target).
  Variant AsType(TVarType AVarType) const;

  // Direct access without conversion; valid only for the matching kinds
  // (strings: varOleStr/varUString for StrRef, varString for AnsiRef).
  const std::u16string& StrRef() const;
  const std::string& AnsiRef() const;

  // ---- arrays
  // An array with the given bounds per dimension and element type; elements
  // start as the zero of the type (unassigned for varVariant).
  static Variant CreateArray(const std::vector<TVarArrayBound>& ABounds, TVarType AElementType);
  int VarArrayDimCount() const noexcept;
  int32_t VarArrayLowBound(int ADim) const;   // ADim is 1-based
  int32_t VarArrayHighBound(int ADim) const;  // ADim is 1-based
  // Total number of elements (all dimensions).
  size_t VarArrayElementCount() const noexcept;
  TVarType VarArrayElementType() const noexcept;
  // Element by one index per dimension. Raises EVariantBadIndexError outside
  // the bounds or with the wrong index count, EVariantError on a non-array.
  Variant GetElement(std::initializer_list<int32_t> AIndices) const;
  Variant GetElement(const std::vector<int32_t>& AIndices) const;
  // Writes an element, converted to the array's element type.
  void PutElement(std::initializer_list<int32_t> AIndices, const Variant& AValue);
  void PutElement(const std::vector<int32_t>& AIndices, const Variant& AValue);
  // Grows or shrinks the last dimension to the new high bound.
  void VarArrayRedim(int32_t AHighBound);
  // Byte arrays (varArray | varByte): the bytes in index order.
  const uint8_t* ByteData() const;
  uint8_t* ByteData();  // unshares first

  // ---- operators
  Variant& operator+=(const Variant& AOther);

private:
  friend struct TXoVarArray;
  union TData {
    int64_t I;
    uint64_t U;
    float F;
    double D;
    long double E;
    bool B;
  };
  using THeap = std::variant<std::monostate, std::u16string, std::string, TIntfPtr<IInterface>,
                             std::shared_ptr<TXoVarArray>>;
  TVarType FType;
  TData FData;
  THeap FHeap;

  TXoVarArray& MutableArray();
  const TXoVarArray& ArrayRef() const;
};

// ---------------------------------------------------------------------------
// The parameter type of a Variant form that stands beside a text form of the
// same name (XoXMLToInt(text) and XoXMLToInt(variant, default)). It binds to
// a Variant and to nothing that merely converts to one, so a call with text
// reaches the text form or does not compile; it never becomes a Variant by
// accident. It refers to the caller's Variant for the length of the call.
class TXoVariantArg {
public:
  template <class V>
    requires std::is_same_v<std::remove_cvref_t<V>, Variant>
  TXoVariantArg(const V& AValue) noexcept : FValue(AValue) {}
  operator const Variant&() const noexcept { return FValue; }
  const Variant& Value() const noexcept { return FValue; }

private:
  const Variant& FValue;
};

// ---------------------------------------------------------------------------
// Free helpers in the platform's style.
inline TVarType VarType(const Variant& V) { return V.VarType(); }
inline bool VarIsNull(const Variant& V) { return V.IsNull(); }
inline bool VarIsEmpty(const Variant& V) { return V.IsEmpty(); }
// Unassigned or null.
inline bool VarIsClear(const Variant& V) { return V.IsClear(); }
inline bool VarIsArray(const Variant& V) { return V.IsArray(); }
inline bool VarIsStr(const Variant& V) { return V.IsString(); }
inline bool VarIsOrdinal(const Variant& V) { return V.IsOrdinal(); }
inline bool VarIsFloat(const Variant& V) { return V.IsFloat(); }
inline bool VarIsNumeric(const Variant& V) { return V.IsNumeric(); }
// The value as text; null and unassigned give "".
std::u16string VarToStr(const Variant& V);
// The same with a text for null.
std::u16string VarToStrDef(const Variant& V, std::u16string_view ADefault);
Variant Null();
Variant Unassigned();

// Arrays.
Variant VarArrayCreate(const std::vector<TVarArrayBound>& ABounds, TVarType AElementType);
// One dimension of varVariant, bounds 0 .. n-1.
Variant VarArrayOf(const std::vector<Variant>& AValues);
Variant VarArrayOf(std::initializer_list<Variant> AValues);
inline int VarArrayDimCount(const Variant& V) { return V.VarArrayDimCount(); }
inline int32_t VarArrayLowBound(const Variant& V, int ADim) { return V.VarArrayLowBound(ADim); }
inline int32_t VarArrayHighBound(const Variant& V, int ADim) { return V.VarArrayHighBound(ADim); }
inline Variant VarArrayGet(const Variant& V, std::initializer_list<int32_t> AIndices) {
  return V.GetElement(AIndices);
}
inline void VarArrayPut(Variant& V, const Variant& AValue, std::initializer_list<int32_t> AIndices) {
  V.PutElement(AIndices, AValue);
}
// Byte arrays (varArray | varByte, bounds 0 .. n-1) to and from bytes.
Variant VarArrayFromBytes(std::string_view ABytes);
Variant VarArrayFromBytes(const std::vector<uint8_t>& ABytes);
// The elements of a one-dimensional array as bytes; elements of other types
// are converted to integers and keep their low 8 bits.
std::string VarArrayToByteString(const Variant& V);
std::vector<uint8_t> VarArrayToBytes(const Variant& V);

// Number of elements of an array (all dimensions); 0 for a non-array.
size_t XoVarArrayCount(const Variant& V);
// True for a value without content: unassigned or null.
inline bool XoVarIsEmpty(const Variant& V) { return V.IsClear(); }

// The value converted to a type code (the platform's VarAsType).
Variant VarAsType(const Variant& V, TVarType AVarType);

// ---------------------------------------------------------------------------
// Comparison and arithmetic. Comparison never raises; see DESIGN-decisions.
TVariantRelationship VarCompareValue(const Variant& A, const Variant& B);
bool VarSameValue(const Variant& A, const Variant& B);  // VarCompareValue == vrEqual
// Addition: null with anything gives null; unassigned is the neutral value;
// when either side is a string the result is the concatenated text;
// otherwise numeric with promotion (see DESIGN-decisions).
Variant operator+(const Variant& A, const Variant& B);

bool operator==(const Variant& A, const Variant& B);  // vrEqual
inline bool operator!=(const Variant& A, const Variant& B) { return !(A == B); }
bool operator<(const Variant& A, const Variant& B);   // vrLessThan
bool operator>(const Variant& A, const Variant& B);   // vrGreaterThan
bool operator<=(const Variant& A, const Variant& B);  // vrLessThan or vrEqual
bool operator>=(const Variant& A, const Variant& B);  // vrGreaterThan or vrEqual

// ---------------------------------------------------------------------------
// XML documents for code below the XML tree module. That module hands these
// two functions over at start-up: one makes a document from XML text (as an
// interface), the other gives the value of the first element a name or path
// selects in such a document (local names, case ignored; unassigned when
// none). Until then XoCreateXMLDoc answers nil and XoGetXMLDocValue
// unassigned.
using TXoCreateXMLDocFunc = TIntfPtr<IInterface> (*)(const std::u16string& AXML);
using TXoGetXMLDocValueFunc = Variant (*)(const TIntfPtr<IInterface>& ADocument, const std::u16string& AName);
void SetCreateXMLDoc(TXoCreateXMLDocFunc AFunc);
void SetGetXMLDocValue(TXoGetXMLDocValueFunc AFunc);
TIntfPtr<IInterface> XoCreateXMLDoc(const std::u16string& AXML);
Variant XoGetXMLDocValue(const TIntfPtr<IInterface>& ADocument, const std::u16string& AName);

// ---------------------------------------------------------------------------
// Conversions with a default. With ARaise false every failure (null,
// unassigned for the number and boolean targets, text that does not parse,
// overflow, arrays) gives ADefault; with ARaise true the conversion error is
// raised (null and arrays raise EVariantTypeCastError). Unassigned gives
// ADefault in both modes.
std::u16string XoVarToStr(const Variant& V, std::u16string_view ADefault = u"", bool ARaise = false);
bool XoVarToBool(const Variant& V, bool ADefault = false, bool ARaise = false);
int32_t XoVarToInt(const Variant& V, int32_t ADefault = 0, bool ARaise = false);
int64_t XoVarToInt64(const Variant& V, int64_t ADefault = 0, bool ARaise = false);
double XoVarToDouble(const Variant& V, double ADefault = 0, bool ARaise = false);
long double XoVarToExtended(const Variant& V, long double ADefault = 0, bool ARaise = false);

// ---------------------------------------------------------------------------
// JSON documents for code below the JSON module. The JSON module hands these
// two functions over at start-up: one makes a document from JSON text (as an
// interface), the other gives the value of the first node a path selects in
// such a document (unassigned when none). Until then XoCreateJSONDoc answers
// nil and XoGetJSONDocValue unassigned.
using TXoCreateJSONDocFunc = TIntfPtr<IInterface> (*)(const std::u16string& AJSON);
using TXoGetJSONDocValueFunc = Variant (*)(const TIntfPtr<IInterface>& ADocument, const std::u16string& APath);
void SetCreateJSONDoc(TXoCreateJSONDocFunc AFunc);
void SetGetJSONDocValue(TXoGetJSONDocValueFunc AFunc);
TIntfPtr<IInterface> XoCreateJSONDoc(const std::u16string& AJSON);
Variant XoGetJSONDocValue(const TIntfPtr<IInterface>& ADocument, const std::u16string& APath);

}  // namespace xo
