// uXoRtti: reflection over registered types. TValue (a dynamically typed
// value), the members of a type (TRttiField, TRttiProperty,
// TRttiIndexedProperty, TRttiMethod), annotations (TCustomAttribute), sets
// (TSet<E>), class references (TClassRef<C>), and the builder through which
// an application describes its types once at start-up:
//
//   class TPerson : public xo::TXoObject {
//     XO_CLASS(TPerson, xo::TXoObject)
//   public:
//     int32_t Age = 0;
//     const std::u16string& GetName() const;
//     void SetName(const std::u16string& AValue);
//   private:
//     std::u16string FName;
//   };
//   XO_DESCRIBE(TPerson, u"uDemo.TPerson", c) {
//     c.property(u"Name", &TPerson::GetName, &TPerson::SetName);  // published
//     c.field(u"Age", &TPerson::Age);                              // public
//     c.field(u"FName", &TPerson::FName, xo::mvPrivate);
//   }
//
// The complete guide is docs/reflection.md.
#pragma once

#include <array>
#include <concepts>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "uXoTypes.h"

namespace xo {

// ---------------------------------------------------------------------------
// Annotations: a field, property, method, parameter or type may carry any
// number of them. The registry owns them.
class TCustomAttribute {
public:
  virtual ~TCustomAttribute() = default;
};

// The serializer's annotation; defined by the serializer module. The builder's
// hint() makes one when the serializer header is included.
class SerializerHint;

// ---------------------------------------------------------------------------
// Tags that give a C++ storage type a reflected identity of its own: TDate,
// TTime and TDateTime are all double, but the registry tells them apart. Use
// them with .as<Tag>() on a member, or as TypeInfo<Tag>().
struct TDateTag { using Storage = double; };
struct TTimeTag { using Storage = double; };
struct TDateTimeTag { using Storage = double; };
struct TWideStringTag { using Storage = std::u16string; };
struct TWideCharTag { using Storage = char16_t; };
struct TUTF8StringTag { using Storage = std::string; };
struct TRawByteStringTag { using Storage = std::string; };
struct TXoXMLStringTag { using Storage = std::u16string; };
struct TXoJSONStringTag { using Storage = std::u16string; };

// ---------------------------------------------------------------------------
// A set of enumeration values with ordinals 0 to 63 (the platform's "set of").
template <class E>
class TSet {
public:
  using ElementType = E;
  constexpr TSet() noexcept = default;
  constexpr TSet(std::initializer_list<E> AValues) {
    for (E v : AValues) Include(v);
  }
  static constexpr TSet FromBits(uint64_t ABits) noexcept {
    TSet s;
    s.FBits = ABits;
    return s;
  }
  constexpr uint64_t Bits() const noexcept { return FBits; }
  constexpr bool Contains(E AValue) const { return (FBits >> Ord(AValue)) & 1u; }
  constexpr TSet& Include(E AValue) {
    FBits |= uint64_t(1) << Ord(AValue);
    return *this;
  }
  constexpr TSet& Exclude(E AValue) {
    FBits &= ~(uint64_t(1) << Ord(AValue));
    return *this;
  }
  constexpr bool IsEmpty() const noexcept { return FBits == 0; }
  constexpr TSet operator+(TSet o) const noexcept { return FromBits(FBits | o.FBits); }
  constexpr TSet operator-(TSet o) const noexcept { return FromBits(FBits & ~o.FBits); }
  constexpr TSet operator*(TSet o) const noexcept { return FromBits(FBits & o.FBits); }
  constexpr bool operator==(const TSet&) const noexcept = default;

private:
  static constexpr unsigned Ord(E AValue) {
    auto o = static_cast<std::underlying_type_t<E>>(AValue);
    if (o < 0 || o > 63) throw ERangeError(u"Set element out of range");
    return static_cast<unsigned>(o);
  }
  uint64_t FBits = 0;
};

// A reference to class C or one of its descendants (the platform's
// "class of C"). Holds a descriptor.
template <class C>
class TClassRef {
public:
  using ClassType = C;
  TClassRef() noexcept = default;
  TClassRef(std::nullptr_t) noexcept {}
  // Raises EInvalidCast when AClass does not descend from C.
  TClassRef(TClass AClass) { Assign(AClass); }
  TClass Get() const noexcept { return FClass; }
  explicit operator bool() const noexcept { return FClass != nullptr; }
  TClass operator->() const noexcept { return FClass; }
  bool operator==(const TClassRef&) const noexcept = default;
  void Assign(TClass AClass);

private:
  TClass FClass = nullptr;
};

// ---------------------------------------------------------------------------
// A dynamically typed value: a deep copy of a value together with its
// descriptor. The data lives in a block of its own, so its address (the raw
// data) stays the same for the life of the value, also when the TValue is
// moved. Copying a TValue copies the data.
class TValue {
public:
  TValue() noexcept = default;
  TValue(const TValue& AOther);
  TValue(TValue&& AOther) noexcept : FType(AOther.FType), FData(AOther.FData) {
    AOther.FType = nullptr;
    AOther.FData = nullptr;
  }
  TValue& operator=(const TValue& AOther);
  TValue& operator=(TValue&& AOther) noexcept;
  ~TValue() { Clear(); }

  static const TValue& Empty();

  // --- making values
  // A copy of AValue under the descriptor of T.
  template <class T>
  static TValue From(const T& AValue);
  // A string value from a literal.
  static TValue From(const char16_t* AValue) { return From(std::u16string(AValue ? AValue : u"")); }
  // A value of the storage of Tag under the descriptor of Tag
  // (FromAs<TDateTimeTag>(45000.5)).
  template <class Tag>
  static TValue FromAs(const typename Tag::Storage& AValue) {
    TValue r;
    Make(&AValue, TXoTypes::Of<Tag>(), r);
    return r;
  }
  // An object under the descriptor of its own class (nearest registered).
  static TValue FromObject(TObject* AObject);
  // A copy of the value at ABuffer (which holds a value of AType's storage);
  // a nullptr buffer gives the type's default value.
  static void Make(const void* ABuffer, TXoTypeInfo* AType, TValue& AResult);
  static TValue Make(const void* ABuffer, TXoTypeInfo* AType) {
    TValue r;
    Make(ABuffer, AType, r);
    return r;
  }
  // An ordinal type (integer, character, Boolean, enumeration) or a set from
  // a number: the ordinal, or the bits of the set.
  static TValue Make(int64_t AValue, TXoTypeInfo* AType);
  static TValue FromOrdinal(TXoTypeInfo* AType, int64_t AOrdinal);
  // The variant's value under the matching simple descriptor (Integer for
  // varInteger, string for varUString, TDateTime for varDate, ...); empty
  // for an unassigned or null variant; a Variant value for arrays.
  static TValue FromVariant(const Variant& AValue);

  // --- kind
  // True without a type, and for a nil object, interface, class or pointer.
  bool IsEmpty() const;
  // The platform's kind; tkUnknown when there is no type.
  TTypeKind Kind() const { return FType ? FType->GetKind() : tkUnknown; }
  TXoTypeInfo* TypeInfo() const { return FType; }
  template <class T>
  bool IsType() const;
  bool IsObject() const { return FType && FType->GetTypeKind() == xtkClass; }
  bool IsClass() const { return FType && FType->GetTypeKind() == xtkClassRef; }
  bool IsOrdinal() const { return FType && FType->IsOrdinal(); }
  bool IsArray() const {
    return FType && (FType->GetTypeKind() == xtkArray || FType->GetTypeKind() == xtkDynArray);
  }

  // --- reading. Each raises EInvalidCast when the value has no such form.
  TObject* AsObject() const;
  TClass AsClass() const;
  TIntfPtr<IInterface> AsInterface() const;
  int64_t AsOrdinal() const;
  int32_t AsInteger() const;
  int64_t AsInt64() const;
  uint64_t AsUInt64() const;
  long double AsExtended() const;
  bool AsBoolean() const;
  std::u16string AsString() const;
  Variant AsVariant() const;
  // The value as T: the same storage is copied, anything else is converted
  // as ToType does; raises EInvalidCast when that fails.
  template <class T>
  T AsType() const;
  template <class T>
  bool TryAsType(T& AResult) const;

  // --- arrays (static, dynamic and virtual)
  size_t GetArrayLength() const;
  TValue GetArrayElement(size_t AIndex) const;
  // The element, converted to the element type.
  void SetArrayElement(size_t AIndex, const TValue& AValue);
  // Dynamic arrays only.
  void SetArrayLength(size_t ALength);

  // --- raw data
  // The address of the held value (nullptr when empty). Stable for the life
  // of this TValue.
  void* GetReferenceToRawData() { return FData; }
  const void* GetReferenceToRawData() const { return FData; }
  // Copies the held value to ADest, which holds a value of the same storage.
  void ExtractRawData(void* ADest) const;

  // The value as text: numbers in the platform's form, an enumeration's name,
  // a set as "[a,b]", "(empty)" without a value.
  std::u16string ToString() const;

  // --- operations of xo's value helper
  TXoTypeInfo* XoTypeInfo() const { return FType; }
  TXoTypeKind TypeKind() const { return FType ? FType->GetTypeKind() : xtkUnknown; }
  // The main kind; a Variant value answers its variant's main kind.
  TXoMainTypeKind MainTypeKind() const;
  // Empty, a null or unassigned Variant, or a record that says it is null.
  bool IsNull() const;
  // The value converted to AType; raises EInvalidCast when it cannot be.
  TValue ToType(TXoTypeInfo* AType) const;
  bool TryToType(TXoTypeInfo* AType, TValue& AResult) const;
  // Conversions with a default: a failure gives ADefault, or raises
  // EConvertError when ARaise is true.
  int32_t ToInt(int32_t ADefault = 0, bool ARaise = false) const;
  int64_t ToInt64(int64_t ADefault = 0, bool ARaise = false) const;
  uint64_t ToUInt64(uint64_t ADefault = 0, bool ARaise = false) const;
  double ToDouble(double ADefault = 0, bool ARaise = false) const;
  long double ToExtended(long double ADefault = 0, bool ARaise = false) const;
  bool ToBool(bool ADefault = false, bool ARaise = false) const;
  std::u16string ToStr(std::u16string_view ADefault = u"", bool ARaise = false) const;
  TDateTime ToDateTime(TDateTime ADefault = 0, bool ARaise = false) const;
  Variant ToVariant(const Variant& ADefault = Variant(), bool ARaise = false) const;

private:
  void Clear() noexcept;
  // Raw access after a kind check.
  template <class S>
  const S& Ref() const {
    return *static_cast<const S*>(FData);
  }
  TXoTypeInfo* FType = nullptr;
  void* FData = nullptr;
};

// ---------------------------------------------------------------------------
// Enumerations and sets by name (the platform's helpers).
// The ordinal of a name (any case) of an enumeration or Boolean type; -1 when
// absent.
int64_t GetEnumValue(const TXoTypeInfo* AType, std::u16string_view AName);
std::u16string GetEnumName(const TXoTypeInfo* AType, int64_t AOrdinal);
// The bits of a set from its text: names separated by commas, optionally in
// brackets, blanks around names ignored. Raises EConvertError "Invalid
// enumeration name: %s" for an unknown name.
uint64_t StringToSet(const TXoTypeInfo* ASetType, std::u16string_view AText);
// The text of a set: names joined by ",", in brackets when ABrackets.
std::u16string SetToString(const TXoTypeInfo* ASetType, uint64_t ABits, bool ABrackets = false);

// ---------------------------------------------------------------------------
// Members

// A member of a type: name, visibility, declaring type, annotations.
class TRttiMember : public TRttiObject {
public:
  const std::u16string& GetName() const { return FName; }
  TMemberVisibility GetVisibility() const { return FVisibility; }
  // The type that declares the member.
  TXoTypeInfo* GetParent() const { return FParent; }

protected:
  template <class T>
  friend class TXoTypeBuilder;
  template <class T>
  friend class TXoMemberBuilder;
  friend struct TXoTypeInfoAccess;
  friend class TXoTypeInfo;
  std::u16string FName;
  TMemberVisibility FVisibility = mvPublic;
  TXoTypeInfo* FParent = nullptr;
};

// Instances: a record member takes the address of the record; a class member
// takes the object (the TObject* overloads), or its TObject address as void*.
class TRttiField : public TRttiMember {
public:
  TXoTypeInfo* GetFieldType() const { return FFieldType; }
  bool IsReadable() const { return true; }
  bool IsWritable() const { return true; }
  // The address of the field in the instance.
  virtual void* GetAddress(void* AInstance) const = 0;
  void* GetAddress(TObject* AObject) const { return GetAddress(static_cast<void*>(AObject)); }
  TValue GetValue(void* AInstance) const;
  TValue GetValue(TObject* AObject) const { return GetValue(static_cast<void*>(AObject)); }
  // The value is converted to the field's type; EInvalidCast when it cannot.
  void SetValue(void* AInstance, const TValue& AValue) const;
  void SetValue(TObject* AObject, const TValue& AValue) const { SetValue(static_cast<void*>(AObject), AValue); }

protected:
  template <class T>
  friend class TXoTypeBuilder;
  template <class T>
  friend class TXoMemberBuilder;
  friend struct TXoTypeInfoAccess;
  TXoTypeInfo* FFieldType = nullptr;
};

class TRttiProperty : public TRttiMember {
public:
  TXoTypeInfo* GetPropertyType() const { return FPropertyType; }
  bool IsReadable() const { return FReadable; }
  bool IsWritable() const { return FWritable; }
  // Raises EInvalidOperation for a property that cannot be read or written.
  TValue GetValue(void* AInstance) const;
  TValue GetValue(TObject* AObject) const { return GetValue(static_cast<void*>(AObject)); }
  void SetValue(void* AInstance, const TValue& AValue) const;
  void SetValue(TObject* AObject, const TValue& AValue) const { SetValue(static_cast<void*>(AObject), AValue); }

protected:
  template <class T>
  friend class TXoTypeBuilder;
  template <class T>
  friend class TXoMemberBuilder;
  friend struct TXoTypeInfoAccess;
  virtual TValue DoGet(void* AInstance) const = 0;
  virtual void DoSet(void* AInstance, const TValue& AValue) const = 0;
  TXoTypeInfo* FPropertyType = nullptr;
  bool FReadable = true;
  bool FWritable = true;
};

class TRttiParameter : public TRttiObject {
public:
  const std::u16string& GetName() const { return FName; }
  TXoTypeInfo* GetParamType() const { return FParamType; }

private:
  template <class T>
  friend class TXoTypeBuilder;
  template <class T>
  friend class TXoMemberBuilder;
  friend struct TXoTypeInfoAccess;
  friend class TXoTypeInfo;
  friend struct TXoTypeInfoMaker;
  std::u16string FName;
  TXoTypeInfo* FParamType = nullptr;
};

// A property with index parameters ("Items[i]").
class TRttiIndexedProperty : public TRttiMember {
public:
  TXoTypeInfo* GetPropertyType() const { return FPropertyType; }
  const std::vector<TRttiParameter*>& GetIndexParameters() const { return FIndexParameters; }
  bool IsReadable() const { return FReadable; }
  bool IsWritable() const { return FWritable; }
  TValue GetValue(void* AInstance, const std::vector<TValue>& AIndices) const;
  TValue GetValue(TObject* AObject, const std::vector<TValue>& AIndices) const {
    return GetValue(static_cast<void*>(AObject), AIndices);
  }
  void SetValue(void* AInstance, const std::vector<TValue>& AIndices, const TValue& AValue) const;
  void SetValue(TObject* AObject, const std::vector<TValue>& AIndices, const TValue& AValue) const {
    SetValue(static_cast<void*>(AObject), AIndices, AValue);
  }

protected:
  template <class T>
  friend class TXoTypeBuilder;
  template <class T>
  friend class TXoMemberBuilder;
  friend struct TXoTypeInfoAccess;
  virtual TValue DoGet(void* AInstance, const std::vector<TValue>& AIndices) const = 0;
  virtual void DoSet(void* AInstance, const std::vector<TValue>& AIndices, const TValue& AValue) const = 0;
  TXoTypeInfo* FPropertyType = nullptr;
  std::vector<TRttiParameter*> FIndexParameters;
  bool FReadable = true;
  bool FWritable = true;
};

class TRttiMethod : public TRttiMember {
public:
  const std::vector<TRttiParameter*>& GetParameters() const { return FParameters; }
  // nullptr for a method without a result.
  TXoTypeInfo* GetReturnType() const { return FReturnType; }
  bool IsStatic() const { return FStatic; }
  bool IsConstructor() const { return FConstructor; }
  // Calls the method on the instance (ignored for static methods and
  // constructors) with the arguments converted to the parameter types. A
  // constructor answers the new object. Raises EArgumentException when the
  // number of arguments differs from the number of parameters.
  TValue Invoke(void* AInstance, const std::vector<TValue>& AArgs) const;
  TValue Invoke(TObject* AObject, const std::vector<TValue>& AArgs) const {
    return Invoke(static_cast<void*>(AObject), AArgs);
  }

protected:
  template <class T>
  friend class TXoTypeBuilder;
  template <class T>
  friend class TXoMemberBuilder;
  friend struct TXoTypeInfoAccess;
  friend struct TXoTypeInfoMaker;
  virtual TValue DoInvoke(void* AInstance, const std::vector<TValue>& AArgs) const = 0;
  std::vector<TRttiParameter*> FParameters;
  TXoTypeInfo* FReturnType = nullptr;
  bool FStatic = false;
  bool FConstructor = false;
};

// ===========================================================================
// Implementation details of the type descriptors. Applications use
// TXoTypes::Of<T>() / TypeInfo<T>() and the builder below.
namespace detail {

template <class T>
struct IsTSet : std::false_type {};
template <class E>
struct IsTSet<TSet<E>> : std::true_type {};
template <class T>
struct IsClassRef : std::false_type {};
template <class C>
struct IsClassRef<TClassRef<C>> : std::true_type {};
template <class T>
struct IsIntfPtr : std::false_type {};
template <class I>
struct IsIntfPtr<TIntfPtr<I>> : std::true_type {};
template <class T>
struct IsVector : std::false_type {};
template <class E, class A>
struct IsVector<std::vector<E, A>> : std::true_type {};
template <class T>
struct IsStdArray : std::false_type {};
template <class E, size_t N>
struct IsStdArray<std::array<E, N>> : std::true_type {};
template <class T>
struct IsFunction : std::false_type {};
template <class R, class... A>
struct IsFunction<std::function<R(A...)>> : std::true_type {};

template <class T, class = void>
struct IsTag : std::false_type {};
template <class T>
struct IsTag<T, std::void_t<typename T::Storage>> : std::bool_constant<std::is_empty_v<T>> {};

template <class T>
inline constexpr bool IsObjectClass = std::is_class_v<T> && std::is_base_of_v<TObject, T>;
template <class T>
inline constexpr bool IsInterface =
    std::is_class_v<T> && std::is_base_of_v<IInterface, T> && !std::is_base_of_v<TObject, T>;

// Plain integers of the same size and sign share one descriptor (long and
// long long are both Int64).
template <class T>
struct CanonInt {
  using type = T;
};
template <class T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
           !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t> && !std::is_same_v<T, wchar_t> &&
           !std::is_same_v<T, char8_t>)
struct CanonInt<T> {
  using type = std::conditional_t<
      std::is_signed_v<T>,
      std::conditional_t<sizeof(T) == 1, int8_t,
                         std::conditional_t<sizeof(T) == 2, int16_t,
                                            std::conditional_t<sizeof(T) == 4, int32_t, int64_t>>>,
      std::conditional_t<sizeof(T) == 1, uint8_t,
                         std::conditional_t<sizeof(T) == 2, uint16_t,
                                            std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>>>;
};

// The key under which a C++ type's descriptor is kept: class pointers and the
// class itself are one descriptor; an interface and TIntfPtr of it are one.
template <class T>
struct Key {
  using type = typename CanonInt<std::remove_cv_t<T>>::type;
};
template <class C>
  requires IsObjectClass<C>
struct Key<C*> {
  using type = std::remove_cv_t<C>;
};
template <class I>
  requires IsInterface<I>
struct Key<I> {
  using type = TIntfPtr<I>;
};

// The storage of a descriptor key: what a TValue of it holds.
template <class K>
struct Storage {
  using type = K;
};
template <class K>
  requires IsObjectClass<K>
struct Storage<K> {
  using type = K*;
};
template <class K>
  requires IsTag<K>::value
struct Storage<K> {
  using type = typename K::Storage;
};

// --- value operations for a storage type
template <class S>
void OpConstruct(void* p) {
  if constexpr (std::is_array_v<S>) {
    using E = std::remove_extent_t<S>;
    for (size_t i = 0; i < std::extent_v<S>; ++i) OpConstruct<E>(static_cast<E*>(p) + i);
  } else {
    ::new (p) S();
  }
}
template <class S>
void OpCopy(void* d, const void* s) {
  if constexpr (std::is_trivially_copyable_v<S>) {
    std::memcpy(d, s, sizeof(S));
  } else if constexpr (std::is_array_v<S>) {
    using E = std::remove_extent_t<S>;
    for (size_t i = 0; i < std::extent_v<S>; ++i) OpCopy<E>(static_cast<E*>(d) + i, static_cast<const E*>(s) + i);
  } else {
    ::new (d) S(*static_cast<const S*>(s));
  }
}
template <class S>
void OpAssign(void* d, const void* s) {
  if constexpr (std::is_trivially_copyable_v<S>) {
    std::memmove(d, s, sizeof(S));
  } else if constexpr (std::is_array_v<S>) {
    using E = std::remove_extent_t<S>;
    for (size_t i = 0; i < std::extent_v<S>; ++i)
      OpAssign<E>(static_cast<E*>(d) + i, static_cast<const E*>(s) + i);
  } else {
    *static_cast<S*>(d) = *static_cast<const S*>(s);
  }
}
template <class S>
void OpDestroy(void* p) {
  if constexpr (std::is_array_v<S>) {
    using E = std::remove_extent_t<S>;
    for (size_t i = 0; i < std::extent_v<S>; ++i) OpDestroy<E>(static_cast<E*>(p) + i);
  } else {
    static_cast<S*>(p)->~S();
  }
}

template <class T, class = void>
struct HasIsNull : std::false_type {};
template <class T>
struct HasIsNull<T, std::void_t<decltype(std::declval<const T&>().IsNull())>> : std::true_type {};

template <class S>
TXoTypeOps MakeOps() {
  TXoTypeOps o;
  o.CppType = &typeid(S);
  o.Size = sizeof(S);
  o.Align = alignof(S);
  if constexpr (std::is_default_constructible_v<S> || std::is_array_v<S>) o.Construct = &OpConstruct<S>;
  if constexpr (std::is_copy_constructible_v<S> || std::is_array_v<S>) {
    o.Copy = &OpCopy<S>;
    o.Assign = &OpAssign<S>;
  }
  o.Destroy = &OpDestroy<S>;
  return o;
}

// Filling a descriptor from a C++ type (see uXoRtti.cpp for the names).
void InitSimple(TXoTypeInfo* AType, TXoTypeKind AKind, TTypeKind APlatformKind, TXoSchemaDataType ASchema,
                std::u16string_view AQualifiedName, std::u16string_view ASchemaName, bool ASigned);
void InitAuto(TXoTypeInfo* AType, TXoTypeKind AKind, TTypeKind APlatformKind, TXoTypeInfo* AElement,
              TXoTypeInfo* ABase, size_t AArrayLength);
void InitEnum(TXoTypeInfo* AType, bool ASigned);
void InitCallable(TXoTypeInfo* AType, TXoTypeKind AKind, TXoTypeInfo* AReturn,
                  const std::vector<TXoTypeInfo*>& AParams);
TXoTypeInfo* SimpleTag(int AWhich);  // the built-in tag descriptors

template <class C>
TObject* ToObjectOp(const void* p) {
  return static_cast<TObject*>(*static_cast<C* const*>(p));
}
template <class C>
bool FromObjectOp(void* p, TObject* o) {
  if (!o) {
    *static_cast<C**>(p) = nullptr;
    return true;
  }
  C* c = dynamic_cast<C*>(o);
  if (!c) return false;
  *static_cast<C**>(p) = c;
  return true;
}
template <class C>
bool IsInstanceOp(const TObject* o) {
  return o && dynamic_cast<const C*>(o) != nullptr;
}
template <class C>
TObject* CreateOp(TComponent* AOwner) {
  if constexpr (std::is_base_of_v<TComponent, C> && std::is_constructible_v<C, TComponent*>) {
    return new C(AOwner);
  } else {
    (void)AOwner;
    return new C();
  }
}

template <class I>
IInterface* ToIntfOp(const void* p) {
  return static_cast<const TIntfPtr<I>*>(p)->get();
}
template <class I>
bool FromIntfOp(void* p, IInterface* i) {
  if (!i) {
    *static_cast<TIntfPtr<I>*>(p) = nullptr;
    return true;
  }
  I* r = dynamic_cast<I*>(i);
  if (!r) return false;
  *static_cast<TIntfPtr<I>*>(p) = r;
  return true;
}

template <class A>
size_t VecLength(const void* p) {
  return static_cast<const A*>(p)->size();
}
template <class A>
void VecSetLength(void* p, size_t n) {
  static_cast<A*>(p)->resize(n);
}
template <class A>
void* VecElement(void* p, size_t i) {
  return static_cast<void*>(&(*static_cast<A*>(p))[i]);
}
template <class A>
size_t FixedLength(const void*) {
  if constexpr (std::is_array_v<A>)
    return std::extent_v<A>;
  else
    return std::tuple_size_v<A>;
}
template <class A>
void* FixedElement(void* p, size_t i) {
  return static_cast<void*>(&(*static_cast<A*>(p))[i]);
}

template <class K>
TClass ToClassOp(const void* p) {
  if constexpr (std::is_same_v<K, TClass>)
    return *static_cast<const TClass*>(p);
  else
    return static_cast<const K*>(p)->Get();
}
template <class K>
bool FromClassOp(void* p, TClass c);

template <class K>
TXoTypeInfo* MakeTypeInfo();

template <class K>
struct Holder {
  static TXoTypeInfo* Get() {
    static TXoTypeInfo* const p = MakeTypeInfo<K>();
    return p;
  }
};

}  // namespace detail

template <class T>
TXoTypeInfo* TXoTypes::Of() {
  return detail::Holder<typename detail::Key<std::remove_cv_t<std::remove_reference_t<T>>>::type>::Get();
}

// The descriptor of T (the platform's TypeInfo(T)).
template <class T>
inline TXoTypeInfo* TypeInfo() {
  return TXoTypes::Of<T>();
}
// The class of an object: its own registered class, else the nearest
// registered ancestor.
inline TClass ClassType(const TObject* AObject) { return TXoTypes::ClassOf(AObject); }

template <class C>
void TClassRef<C>::Assign(TClass AClass) {
  if (AClass && !AClass->InheritsFrom(TXoTypes::Of<C>()))
    throw EInvalidCast(u"The class %s does not descend from %s!", {AClass->GetName(), TXoTypes::Of<C>()->GetName()});
  FClass = AClass;
}

namespace detail {

template <class K>
bool FromClassOp(void* p, TClass c) {
  if constexpr (std::is_same_v<K, TClass>) {
    *static_cast<TClass*>(p) = c;
    return true;
  } else {
    TXoTypeInfo* base = Holder<K>::Get()->GetElementType();
    if (c && base && !c->InheritsFrom(base)) return false;
    static_cast<K*>(p)->Assign(c);
    return true;
  }
}

template <class F>
struct FnTraits;
template <class R, class... A>
struct FnTraits<std::function<R(A...)>> {
  using Ret = R;
  static std::vector<TXoTypeInfo*> Params() { return {TXoTypes::Of<std::decay_t<A>>()...}; }
  static TXoTypeInfo* Return() {
    if constexpr (std::is_void_v<R>)
      return nullptr;
    else
      return TXoTypes::Of<std::decay_t<R>>();
  }
};
template <class R, class... A>
struct FnTraits<R (*)(A...)> : FnTraits<std::function<R(A...)>> {};

// Copies AValue into ADest, which holds a value of AType's storage, after
// converting it to AType; raises EInvalidCast when it cannot be converted.
void ExtractAs(const TValue& AValue, TXoTypeInfo* AType, void* ADest);

// Typed simple records (uXoXSTypes): a record type K names the type of the
// value it holds (K::XoWrapped) and its qualified name (K::XoTypeName()).
template <class K>
concept IsXsRecord = requires {
  typename K::XoWrapped;
  { K::XoTypeName() } -> std::convertible_to<const char16_t*>;
};
void InitWrapped(TXoTypeInfo* AType, TXoTypeInfo* AWrapped, std::u16string_view AQualifiedName,
                 std::u16string_view ASchemaName);
template <class K>
void XsGetOp(const void* p, TValue& AResult) {
  const K& r = *static_cast<const K*>(p);
  if (r.IsNull()) {
    AResult = TValue();
    return;
  }
  const auto& v = r.XoValue();
  TValue::Make(static_cast<const void*>(&v), Holder<typename K::XoWrapped>::Get(), AResult);
}
template <class K>
void XsSetOp(void* p, const TValue& AValue) {
  K& r = *static_cast<K*>(p);
  if (AValue.TypeInfo() == nullptr) {
    r.Clear();
    return;
  }
  typename Storage<typename K::XoWrapped>::type v{};
  ExtractAs(AValue, Holder<typename K::XoWrapped>::Get(), &v);
  r = v;
}

template <class K>
TXoTypeInfo* MakeTypeInfo() {
  using S = typename Storage<K>::type;
  const std::type_info* key = &typeid(K);
  if constexpr (IsIntfPtr<K>::value) key = &typeid(std::remove_pointer_t<decltype(std::declval<K>().get())>);
  TXoTypeInfo* t = TXoTypes::NewTypeInfo(key, false);
  TXoTypeOps& ops = const_cast<TXoTypeOps&>(t->Ops());
  if constexpr (!IsTag<K>::value) ops = MakeOps<S>();
  if constexpr (IsTag<K>::value) {
    static_assert(
        std::is_same_v<K, TDateTag> || std::is_same_v<K, TTimeTag> || std::is_same_v<K, TDateTimeTag> ||
            std::is_same_v<K, TWideStringTag> || std::is_same_v<K, TWideCharTag> ||
            std::is_same_v<K, TUTF8StringTag> || std::is_same_v<K, TRawByteStringTag> ||
            std::is_same_v<K, TXoXMLStringTag> || std::is_same_v<K, TXoJSONStringTag>,
        "unknown type tag");
    ops = MakeOps<S>();
    int which = std::is_same_v<K, TDateTag>            ? 0
                : std::is_same_v<K, TTimeTag>          ? 1
                : std::is_same_v<K, TDateTimeTag>      ? 2
                : std::is_same_v<K, TWideStringTag>    ? 3
                : std::is_same_v<K, TWideCharTag>      ? 4
                : std::is_same_v<K, TUTF8StringTag>    ? 5
                : std::is_same_v<K, TRawByteStringTag> ? 6
                : std::is_same_v<K, TXoXMLStringTag>   ? 7
                                                       : 8;
    static const int kinds[] = {xtkDate, xtkTime, xtkDateTime, xtkWideString, xtkWideChar,
                                xtkAnsiString, xtkAnsiString, xtkString, xtkString};
    static const TTypeKind pk[] = {tkFloat, tkFloat, tkFloat, tkWString, tkWChar, tkLString, tkLString, tkUString,
                                   tkUString};
    static const TXoSchemaDataType sdt[] = {sdtDate, sdtTime, sdtDateTime, sdtString, sdtChar,
                                            sdtString, sdtString, sdtString, sdtString};
    static const char16_t* const names[] = {u"System.TDate",         u"System.TTime",
                                            u"System.TDateTime",     u"System.WideString",
                                            u"System.WideChar",      u"System.UTF8String",
                                            u"System.RawByteString", u"uXoSysUtils.XoXMLString",
                                            u"uXoSysUtils.XoJSONString"};
    static const char16_t* const schema[] = {u"date",       u"time",          u"dateTime",  u"wideString", u"wideChar",
                                             u"utf8String", u"rawByteString", u"xmlString", u"jsonString"};
    InitSimple(t, static_cast<TXoTypeKind>(kinds[which]), pk[which], sdt[which], names[which], schema[which], false);
  } else if constexpr (std::is_same_v<K, bool>) {
    InitSimple(t, xtkBoolean, tkEnumeration, sdtBoolean, u"System.Boolean", u"boolean", false);
  } else if constexpr (std::is_same_v<K, char>) {
    InitSimple(t, xtkAnsiChar, tkChar, sdtChar, u"System.AnsiChar", u"ansiChar", false);
  } else if constexpr (std::is_same_v<K, char16_t>) {
    InitSimple(t, xtkChar, tkWChar, sdtChar, u"System.Char", u"char", false);
  } else if constexpr (std::is_same_v<K, uint8_t>) {
    InitSimple(t, xtkByte, tkInteger, sdtUnsignedByte, u"System.Byte", u"unsignedByte", false);
  } else if constexpr (std::is_same_v<K, uint16_t>) {
    InitSimple(t, xtkWord, tkInteger, sdtUnsignedShort, u"System.Word", u"unsignedShort", false);
  } else if constexpr (std::is_same_v<K, uint32_t>) {
    InitSimple(t, xtkCardinal, tkInteger, sdtUnsignedInt, u"System.Cardinal", u"unsignedInt", false);
  } else if constexpr (std::is_same_v<K, uint64_t>) {
    InitSimple(t, xtkUInt64, tkInt64, sdtUnsignedLong, u"System.UInt64", u"unsignedLong", false);
  } else if constexpr (std::is_same_v<K, int8_t>) {
    InitSimple(t, xtkShortInt, tkInteger, sdtByte, u"System.ShortInt", u"byte", true);
  } else if constexpr (std::is_same_v<K, int16_t>) {
    InitSimple(t, xtkSmallInt, tkInteger, sdtShort, u"System.SmallInt", u"short", true);
  } else if constexpr (std::is_same_v<K, int32_t>) {
    InitSimple(t, xtkInteger, tkInteger, sdtInt, u"System.Integer", u"int", true);
  } else if constexpr (std::is_same_v<K, int64_t>) {
    InitSimple(t, xtkInt64, tkInt64, sdtLong, u"System.Int64", u"long", true);
  } else if constexpr (std::is_same_v<K, float>) {
    InitSimple(t, xtkSingle, tkFloat, sdtFloat, u"System.Single", u"float", false);
  } else if constexpr (std::is_same_v<K, double>) {
    InitSimple(t, xtkDouble, tkFloat, sdtDouble, u"System.Double", u"double", false);
  } else if constexpr (std::is_same_v<K, long double>) {
    InitSimple(t, xtkExtended, tkFloat, sdtDecimal, u"System.Extended", u"decimal", false);
  } else if constexpr (std::is_same_v<K, std::u16string>) {
    InitSimple(t, xtkString, tkUString, sdtString, u"System.string", u"string", false);
  } else if constexpr (std::is_same_v<K, std::string>) {
    InitSimple(t, xtkAnsiString, tkLString, sdtString, u"System.AnsiString", u"ansiString", false);
  } else if constexpr (std::is_same_v<K, Variant>) {
    InitSimple(t, xtkVariant, tkVariant, sdtAnyType, u"System.Variant", u"anyType", false);
  } else if constexpr (std::is_same_v<K, TValue>) {
    InitSimple(t, xtkRecord, tkRecord, sdtNone, u"System.Rtti.TValue", u"TValue", false);
  } else if constexpr (std::is_same_v<K, TClass>) {
    ops.ToClass = &ToClassOp<K>;
    ops.FromClass = &FromClassOp<K>;
    InitAuto(t, xtkClassRef, tkClassRef, Holder<TObject>::Get(), nullptr, 0);
  } else if constexpr (std::is_enum_v<K>) {
    InitEnum(t, std::is_signed_v<std::underlying_type_t<K>>);
  } else if constexpr (IsTSet<K>::value) {
    InitAuto(t, xtkSet, tkSet, TXoTypes::Of<typename K::ElementType>(), nullptr, 0);
  } else if constexpr (IsClassRef<K>::value) {
    ops.ToClass = &ToClassOp<K>;
    ops.FromClass = &FromClassOp<K>;
    InitAuto(t, xtkClassRef, tkClassRef, Holder<typename K::ClassType>::Get(), nullptr, 0);
  } else if constexpr (IsObjectClass<K>) {
    ops.ToObject = &ToObjectOp<K>;
    ops.FromObject = &FromObjectOp<K>;
    ops.IsInstance = &IsInstanceOp<K>;
    if constexpr (!std::is_abstract_v<K>) {
      if constexpr (std::is_base_of_v<TComponent, K> && std::is_constructible_v<K, TComponent*>) {
        ops.CreateObject = &CreateOp<K>;
        ops.CreateParamCount = 1;
      } else if constexpr (std::is_default_constructible_v<K>) {
        ops.CreateObject = &CreateOp<K>;
        ops.CreateParamCount = 0;
      }
    }
    TXoTypeInfo* base = nullptr;
    if constexpr (requires { typename K::XoSelf; typename K::inherited; }) {
      if constexpr (std::is_same_v<typename K::XoSelf, K> && !std::is_same_v<typename K::inherited, void>) {
        static_assert(std::is_base_of_v<typename K::inherited, K> && !std::is_same_v<typename K::inherited, K>,
                      "XO_CLASS(C, B): B is not a base class of C");
        base = Holder<typename K::inherited>::Get();
      }
    }
    InitAuto(t, xtkClass, tkClass, nullptr, base, 0);
  } else if constexpr (IsIntfPtr<K>::value) {
    using I = std::remove_pointer_t<decltype(std::declval<K>().get())>;
    ops.ToInterface = &ToIntfOp<I>;
    ops.FromInterface = &FromIntfOp<I>;
    InitAuto(t, xtkInterface, tkInterface, nullptr, nullptr, 0);
  } else if constexpr (IsVector<K>::value) {
    using E = typename K::value_type;
    ops.ArrayLength = &VecLength<K>;
    ops.ArraySetLength = &VecSetLength<K>;
    ops.ArrayElement = &VecElement<K>;
    InitAuto(t, xtkDynArray, tkDynArray, TXoTypes::Of<E>(), nullptr, 0);
  } else if constexpr (IsStdArray<K>::value || std::is_array_v<K>) {
    using E = std::remove_cvref_t<decltype(std::declval<K&>()[0])>;
    ops.ArrayLength = &FixedLength<K>;
    ops.ArrayElement = &FixedElement<K>;
    size_t n = 0;
    if constexpr (std::is_array_v<K>)
      n = std::extent_v<K>;
    else
      n = std::tuple_size_v<K>;
    InitAuto(t, xtkArray, tkArray, TXoTypes::Of<E>(), nullptr, n);
  } else if constexpr (IsFunction<K>::value) {
    InitCallable(t, xtkEvent, FnTraits<K>::Return(), FnTraits<K>::Params());
  } else if constexpr (std::is_pointer_v<K> && std::is_function_v<std::remove_pointer_t<K>>) {
    InitCallable(t, xtkProcedure, FnTraits<K>::Return(), FnTraits<K>::Params());
  } else if constexpr (std::is_pointer_v<K>) {
    InitAuto(t, xtkPointer, tkPointer, nullptr, nullptr, 0);
  } else if constexpr (IsXsRecord<K>) {
    ops.IsNull = [](const void* p) { return static_cast<const K*>(p)->IsNull(); };
    ops.XsGet = &XsGetOp<K>;
    ops.XsSet = &XsSetOp<K>;
    std::u16string_view schema;
    if constexpr (requires { K::XoSchemaName(); }) schema = K::XoSchemaName();
    InitWrapped(t, Holder<typename K::XoWrapped>::Get(), K::XoTypeName(), schema);
  } else if constexpr (std::is_class_v<K> && std::is_copy_constructible_v<K> && std::is_default_constructible_v<K>) {
    if constexpr (HasIsNull<K>::value)
      ops.IsNull = [](const void* p) { return static_cast<const K*>(p)->IsNull(); };
    InitAuto(t, xtkRecord, tkRecord, nullptr, nullptr, 0);
  } else {
    InitAuto(t, xtkOpaque, tkUnknown, nullptr, nullptr, 0);
  }
  TXoTypes::Publish(t);
  return t;
}

}  // namespace detail

// ===========================================================================
// TValue templates

namespace detail {

template <class T>
T* Inst(void* AInstance) {
  if constexpr (IsObjectClass<T>)
    return static_cast<T*>(static_cast<TObject*>(AInstance));
  else
    return static_cast<T*>(AInstance);
}
}  // namespace detail

template <class T>
TValue TValue::From(const T& AValue) {
  static_assert(!detail::IsObjectClass<T>, "TValue::From takes a pointer to an object, not the object");
  TValue r;
  Make(static_cast<const void*>(&AValue), TXoTypes::Of<T>(), r);
  return r;
}

template <class T>
bool TValue::IsType() const {
  if (!FType) return false;
  TXoTypeInfo* t = TXoTypes::Of<T>();
  if (t == FType) return true;
  if constexpr (std::is_pointer_v<T> && detail::IsObjectClass<std::remove_pointer_t<T>>) {
    return FType->GetTypeKind() == xtkClass && FType->InheritsFrom(t);
  }
  return false;
}

template <class T>
bool TValue::TryAsType(T& AResult) const {
  using K = typename detail::Key<std::remove_cv_t<T>>::type;
  if constexpr (std::is_pointer_v<T> && detail::IsObjectClass<K>) {
    if (!FType) {
      AResult = nullptr;
      return true;
    }
    if (FType->GetTypeKind() != xtkClass) return false;
    TObject* o = FType->Ops().ToObject(FData);
    if (!o) {
      AResult = nullptr;
      return true;
    }
    T r = dynamic_cast<T>(o);
    if (!r) return false;
    AResult = r;
    return true;
  } else {
    TXoTypeInfo* t = TXoTypes::Of<T>();
    if (!FType) {
      if constexpr (std::is_default_constructible_v<T>) {
        AResult = T();
        return true;
      } else {
        return false;
      }
    }
    if (FType->GetCppType() == t->GetCppType() && FType->GetCppType() != nullptr) {
      ExtractRawData(&AResult);
      return true;
    }
    TValue c;
    if (!TryToType(t, c)) return false;
    c.ExtractRawData(&AResult);
    return true;
  }
}

template <class T>
T TValue::AsType() const {
  T r{};
  if (!TryAsType(r)) throw EInvalidCast(u"Invalid class typecast");
  return r;
}

// ===========================================================================
// The builder

namespace detail {

template <class F>
struct MemFn {
  static constexpr bool IsMember = false;
};
#define XO_DETAIL_MEMFN(QUAL)                                \
  template <class R, class C, class... A>                    \
  struct MemFn<R (C::*)(A...) QUAL> {                        \
    static constexpr bool IsMember = true;                   \
    using Ret = R;                                           \
    using Class = C;                                         \
    using Args = std::tuple<A...>;                           \
    static constexpr size_t Arity = sizeof...(A);            \
  };
XO_DETAIL_MEMFN()
XO_DETAIL_MEMFN(const)
XO_DETAIL_MEMFN(noexcept)
XO_DETAIL_MEMFN(const noexcept)
#undef XO_DETAIL_MEMFN

template <class P>
struct MemberClass;
template <class M, class C>
struct MemberClass<M C::*> {
  using type = C;
};

template <class F>
struct FreeFn {
  static constexpr bool IsFree = false;
};
template <class R, class... A>
struct FreeFn<R (*)(A...)> {
  static constexpr bool IsFree = true;
  using Ret = R;
  using Args = std::tuple<A...>;
  static constexpr size_t Arity = sizeof...(A);
};
template <class R, class... A>
struct FreeFn<R (*)(A...) noexcept> : FreeFn<R (*)(A...)> {};

// The value type of a property from its getter (on T) or its setter.
template <class T, class G>
struct GetterValue {
  using type = std::decay_t<std::invoke_result_t<G, T&>>;
};
template <class T>
struct GetterValue<T, std::nullptr_t> {
  using type = void;
};
template <class S>
struct SetterValue {
  using type = void;  // a callable: the getter decides
};
template <class M, class C>
  requires(!std::is_function_v<M>)
struct SetterValue<M C::*> {
  using type = M;
};
template <class S>
  requires(MemFn<S>::IsMember && MemFn<S>::Arity == 1)
struct SetterValue<S> {
  using type = std::decay_t<std::tuple_element_t<0, typename MemFn<S>::Args>>;
};

template <class T, class V, class G, class S>
class PropImpl final : public TRttiProperty {
public:
  PropImpl(G AGet, S ASet) : FGet(AGet), FSet(ASet) {}

protected:
  TValue DoGet(void* AInstance) const override {
    if constexpr (std::is_null_pointer_v<G>) {
      return TValue();
    } else {
      T* o = Inst<T>(AInstance);
      const V v = std::invoke(FGet, *o);
      TValue r;
      TValue::Make(&v, FPropertyType, r);
      return r;
    }
  }
  void DoSet(void* AInstance, const TValue& AValue) const override {
    if constexpr (std::is_null_pointer_v<S>) {
      (void)AInstance;
      (void)AValue;
    } else {
      T* o = Inst<T>(AInstance);
      V v{};
      ExtractAs(AValue, FPropertyType, &v);
      if constexpr (std::is_member_object_pointer_v<S>)
        o->*FSet = std::move(v);
      else
        std::invoke(FSet, *o, std::move(v));
    }
  }

private:
  G FGet;
  S FSet;
};

template <class T, class M, class C>
class FieldImpl final : public TRttiField {
public:
  explicit FieldImpl(M C::*APtr) : FPtr(APtr) {}
  void* GetAddress(void* AInstance) const override {
    return static_cast<void*>(std::addressof(Inst<T>(AInstance)->*FPtr));
  }

private:
  M C::*FPtr;
};

template <class Tuple, size_t... I>
std::vector<TXoTypeInfo*> ParamTypes(std::index_sequence<I...>) {
  return {TXoTypes::Of<std::decay_t<std::tuple_element_t<I, Tuple>>>()...};
}

template <class T, class F, bool Static>
class MethodImpl final : public TRttiMethod {
public:
  explicit MethodImpl(F AFn) : FFn(AFn) {}

protected:
  using Traits = std::conditional_t<Static, FreeFn<F>, MemFn<F>>;
  using Args = typename Traits::Args;
  using R = typename Traits::Ret;
  TValue DoInvoke(void* AInstance, const std::vector<TValue>& AArgs) const override {
    return Call(AInstance, AArgs, std::make_index_sequence<Traits::Arity>());
  }

private:
  template <size_t... I>
  TValue Call(void* AInstance, const std::vector<TValue>& AArgs, std::index_sequence<I...>) const {
    auto invoke = [&]() -> decltype(auto) {
      if constexpr (Static) {
        (void)AInstance;
        return FFn(AArgs[I].template AsType<std::decay_t<std::tuple_element_t<I, Args>>>()...);
      } else {
        return std::invoke(FFn, *Inst<T>(AInstance),
                           AArgs[I].template AsType<std::decay_t<std::tuple_element_t<I, Args>>>()...);
      }
    };
    if constexpr (std::is_void_v<R>) {
      invoke();
      return TValue();
    } else {
      std::decay_t<R> r = invoke();
      return TValue::From(r);
    }
  }
  F FFn;
};

template <class T, class G, class S>
class IndexedPropImpl final : public TRttiIndexedProperty {
public:
  IndexedPropImpl(G AGet, S ASet) : FGet(AGet), FSet(ASet) {}

protected:
  using Traits = MemFn<G>;
  using Args = typename Traits::Args;
  using V = std::decay_t<typename Traits::Ret>;
  TValue DoGet(void* AInstance, const std::vector<TValue>& AIndices) const override {
    return Get(AInstance, AIndices, std::make_index_sequence<Traits::Arity>());
  }
  void DoSet(void* AInstance, const std::vector<TValue>& AIndices, const TValue& AValue) const override {
    Set(AInstance, AIndices, AValue, std::make_index_sequence<Traits::Arity>());
  }

private:
  template <size_t... I>
  TValue Get(void* AInstance, const std::vector<TValue>& AIdx, std::index_sequence<I...>) const {
    const V v = std::invoke(FGet, *Inst<T>(AInstance),
                            AIdx[I].template AsType<std::decay_t<std::tuple_element_t<I, Args>>>()...);
    TValue r;
    TValue::Make(&v, FPropertyType, r);
    return r;
  }
  template <size_t... I>
  void Set(void* AInstance, const std::vector<TValue>& AIdx, const TValue& AValue, std::index_sequence<I...>) const {
    if constexpr (std::is_null_pointer_v<S>) {
      (void)AInstance;
      (void)AIdx;
      (void)AValue;
    } else {
      V v{};
      ExtractAs(AValue, FPropertyType, &v);
      std::invoke(FSet, *Inst<T>(AInstance),
                  AIdx[I].template AsType<std::decay_t<std::tuple_element_t<I, Args>>>()..., std::move(v));
    }
  }
  G FGet;
  S FSet;
};

// Registry-side helpers of the builder (uXoRtti.cpp).
void AddField(TXoTypeInfo* AType, TRttiField* AField);
void AddProperty(TXoTypeInfo* AType, TRttiProperty* AProperty);
void AddIndexedProperty(TXoTypeInfo* AType, TRttiIndexedProperty* AProperty);
void AddMethod(TXoTypeInfo* AType, TRttiMethod* AMethod);
TRttiParameter* NewParameter(std::u16string_view AName, TXoTypeInfo* AType);
void SetMemberType(TRttiMember* AMember, TXoTypeInfo* AType, const std::type_info* AStorage);
TXoTypeInfo* BeginRegister(TXoTypeInfo* AType, std::u16string_view AQualifiedName);
void EndRegister(TXoTypeInfo* AType);
TXoTypeInfo* NewDistinct(TXoTypeInfo* AFrom);
void SetEnumNames(TXoTypeInfo* AType, std::initializer_list<std::u16string_view> ANames);
void SetParamNames(TXoTypeInfo* AType, std::initializer_list<std::u16string_view> ANames);
void SetSchemaName(TXoTypeInfo* AType, std::u16string_view AName);
void SetShortName(TXoTypeInfo* AType, std::u16string_view AName);
void SetBaseType(TXoTypeInfo* AType, TXoTypeInfo* ABase);
void SetSchemaDataType(TXoTypeInfo* AType, TXoSchemaDataType ASchemaDataType);
void CheckKind(TXoTypeInfo* AType, std::initializer_list<TXoTypeKind> AKinds, const char16_t* AWhat);

}  // namespace detail

// Annotations, visibility and a reflected identity of a member, set by
// chaining after field(), property() and their like.
template <class M>
class TXoMemberBuilder {
public:
  TXoMemberBuilder(TRttiMember* AMember, TRttiObject* AAnnotated) : FMember(AMember), FAnnotated(AAnnotated) {}
  // Adds an annotation; the registry owns it.
  TXoMemberBuilder& attribute(TCustomAttribute* AAttribute) {
    FAnnotated->AddAttribute(AAttribute);
    return *this;
  }
  // Adds a SerializerHint (include the serializer header to use it).
  template <class H = SerializerHint, class O>
  TXoMemberBuilder& hint(O AOption, std::u16string_view AValue = u"") {
    return attribute(new H(AOption, std::u16string(AValue)));
  }
  TXoMemberBuilder& visibility(TMemberVisibility AVisibility) {
    FMember->FVisibility = AVisibility;
    return *this;
  }
  // Gives the member the reflected identity of a tag with the same storage:
  // .as<xo::TDateTimeTag>() on a double.
  template <class Tag>
  TXoMemberBuilder& as() {
    static_assert(detail::IsTag<Tag>::value, "as<>() takes one of xo's type tags (TDateTimeTag, ...)");
    static_assert(std::is_same_v<typename Tag::Storage, M>,
                  "as<Tag>(): the member's C++ type differs from the tag's storage type");
    detail::SetMemberType(FMember, TXoTypes::Of<Tag>(), &typeid(M));
    return *this;
  }
  // The same with any descriptor; checked when registering (EInvalidCast).
  TXoMemberBuilder& as(TXoTypeInfo* AType) {
    detail::SetMemberType(FMember, AType, &typeid(typename detail::Storage<typename detail::Key<M>::type>::type));
    return *this;
  }
  TRttiMember* Member() const { return FMember; }

private:
  TRttiMember* FMember;
  TRttiObject* FAnnotated;
};

// Describes the type T: names, annotations, members. Made by XO_DESCRIBE (or
// Register) and handed to the description.
template <class T>
class TXoTypeBuilder {
public:
  explicit TXoTypeBuilder(TXoTypeInfo* AType) : FType(AType) {}
  TXoTypeInfo* Type() const { return FType; }

  // Names the descriptor of T, runs ADescribe on it and answers it. A type
  // can be registered once; a second time raises EInvalidOperation.
  template <class F>
  static TXoTypeInfo* Register(std::u16string_view AQualifiedName, F&& ADescribe) {
    TXoTypeInfo* t = detail::BeginRegister(TXoTypes::Of<T>(), AQualifiedName);
    TXoTypeBuilder b(t);
    ADescribe(b);
    detail::EndRegister(t);
    return t;
  }
  static TXoTypeInfo* Register(std::u16string_view AQualifiedName) {
    return Register(AQualifiedName, [](TXoTypeBuilder&) {});
  }
  // A new descriptor of its own with T's storage ("type TAge = type Integer",
  // or a second description of one C++ record under another name).
  template <class F>
  static TXoTypeInfo* RegisterDistinct(std::u16string_view AQualifiedName, F&& ADescribe) {
    TXoTypeInfo* t = detail::BeginRegister(detail::NewDistinct(TXoTypes::Of<T>()), AQualifiedName);
    TXoTypeBuilder b(t);
    ADescribe(b);
    detail::EndRegister(t);
    return t;
  }

  // --- the type itself
  TXoTypeBuilder& schemaName(std::u16string_view AName) {
    detail::SetSchemaName(FType, AName);
    return *this;
  }
  TXoTypeBuilder& shortName(std::u16string_view AName) {
    detail::SetShortName(FType, AName);
    return *this;
  }
  TXoTypeBuilder& schemaDataType(TXoSchemaDataType AValue) {
    detail::SetSchemaDataType(FType, AValue);
    return *this;
  }
  TXoTypeBuilder& attribute(TCustomAttribute* AAttribute) {
    FType->AddAttribute(AAttribute);
    return *this;
  }
  template <class H = SerializerHint, class O>
  TXoTypeBuilder& hint(O AOption, std::u16string_view AValue = u"") {
    return attribute(new H(AOption, std::u16string(AValue)));
  }
  // The parent of a class that has no XO_CLASS (a class of another library),
  // or of an interface.
  template <class B>
  TXoTypeBuilder& inherits() {
    static_assert(std::is_base_of_v<B, T>, "inherits<B>(): B is not a base of the type");
    static_assert(!std::is_same_v<B, T>, "inherits<B>(): a type cannot inherit from itself");
    detail::SetBaseType(FType, TXoTypes::Of<B>());
    return *this;
  }
  // The names of an enumeration, by ordinal from 0.
  TXoTypeBuilder& values(std::initializer_list<std::u16string_view> ANames) {
    static_assert(std::is_enum_v<T>, "values() names the values of an enumeration");
    detail::SetEnumNames(FType, ANames);
    return *this;
  }
  // The parameter names of an event or procedure type.
  TXoTypeBuilder& params(std::initializer_list<std::u16string_view> ANames) {
    detail::SetParamNames(FType, ANames);
    return *this;
  }

  // --- members, in the order of registration
  // A field: c.field(u"Age", &TPerson::Age). Public unless told otherwise.
  template <class M, class C>
  TXoMemberBuilder<M> field(std::u16string_view AName, M C::*AField, TMemberVisibility AVisibility = mvPublic) {
    static_assert(std::is_class_v<T>, "fields belong to classes and records");
    static_assert(std::is_base_of_v<C, T>, "field(): the member belongs to another class");
    static_assert(!std::is_function_v<M>, "field() takes a data member; use property() or method() for functions");
    static_assert(!std::is_const_v<M>, "field(): a const member cannot be written");
    auto* f = new detail::FieldImpl<T, M, C>(AField);
    Init(f, AName, AVisibility);
    f->FFieldType = TXoTypes::Of<M>();
    detail::AddField(FType, f);
    return TXoMemberBuilder<M>(f, f);
  }

  // A property read through AGetter and written through ASetter. Either may
  // be a member function, a data member or (the getter also) a callable on
  // T&; nullptr for a write-only getter or read-only setter. Published
  // unless told otherwise.
  template <class G, class S>
    requires(!std::is_same_v<S, TMemberVisibility>)
  auto property(std::u16string_view AName, G AGetter, S ASetter, TMemberVisibility AVisibility = mvPublished) {
    static_assert(std::is_class_v<T>, "properties belong to classes and records");
    using GV = typename detail::GetterValue<T, G>::type;
    using SV = typename detail::SetterValue<S>::type;
    static_assert(!(std::is_void_v<GV> && std::is_void_v<SV>),
                  "property(): give a getter, or a setter that is a member function or data member");
    using V = std::conditional_t<std::is_void_v<GV>, SV, GV>;
    static_assert(std::is_void_v<SV> || std::is_same_v<SV, V>,
                  "property(): the setter takes another type than the getter gives");
    CheckOwner<G>();
    CheckOwner<S>();
    auto* p = new detail::PropImpl<T, V, G, S>(AGetter, ASetter);
    Init(p, AName, AVisibility);
    p->FPropertyType = TXoTypes::Of<V>();
    p->FReadable = !std::is_null_pointer_v<G>;
    p->FWritable = !std::is_null_pointer_v<S>;
    detail::AddProperty(FType, p);
    return TXoMemberBuilder<V>(p, p);
  }
  // A property over a data member alone is read and written there; over
  // a getter alone it is read-only.
  template <class G>
  auto property(std::u16string_view AName, G AGetter, TMemberVisibility AVisibility = mvPublished) {
    if constexpr (std::is_member_object_pointer_v<G>)
      return property(AName, AGetter, AGetter, AVisibility);
    else
      return property(AName, AGetter, nullptr, AVisibility);
  }

  // An indexed property: getter V (C::*)(I...) const, setter
  // void (C::*)(I..., V) or nullptr.
  template <class G, class S = std::nullptr_t>
  auto indexed_property(std::u16string_view AName, G AGetter, S ASetter = nullptr,
                        TMemberVisibility AVisibility = mvPublic) {
    static_assert(detail::MemFn<G>::IsMember, "indexed_property(): the getter is a member function");
    static_assert(detail::MemFn<G>::Arity >= 1, "indexed_property(): the getter takes the index parameters");
    CheckOwner<G>();
    CheckOwner<S>();
    using V = std::decay_t<typename detail::MemFn<G>::Ret>;
    if constexpr (!std::is_null_pointer_v<S>) {
      static_assert(detail::MemFn<S>::IsMember && detail::MemFn<S>::Arity == detail::MemFn<G>::Arity + 1,
                    "indexed_property(): the setter takes the indices and the value");
      static_assert(std::is_same_v<std::decay_t<std::tuple_element_t<detail::MemFn<G>::Arity,
                                                                     typename detail::MemFn<S>::Args>>,
                                   V>,
                    "indexed_property(): the setter takes another type than the getter gives");
    }
    auto* p = new detail::IndexedPropImpl<T, G, S>(AGetter, ASetter);
    Init(p, AName, AVisibility);
    p->FPropertyType = TXoTypes::Of<V>();
    p->FWritable = !std::is_null_pointer_v<S>;
    auto types = detail::ParamTypes<typename detail::MemFn<G>::Args>(
        std::make_index_sequence<detail::MemFn<G>::Arity>());
    for (size_t i = 0; i < types.size(); ++i)
      p->FIndexParameters.push_back(detail::NewParameter(u"AIndex" + Num(i, types.size()), types[i]));
    detail::AddIndexedProperty(FType, p);
    return TXoMemberBuilder<V>(p, p);
  }

  // A method (member function, or a plain function as a static method).
  // Parameters are named from AParamNames, else "A1", "A2", ...
  template <class F>
  auto method(std::u16string_view AName, F AFunction, std::initializer_list<std::u16string_view> AParamNames = {},
              TMemberVisibility AVisibility = mvPublic) {
    constexpr bool isStatic = detail::FreeFn<F>::IsFree;
    static_assert(isStatic || detail::MemFn<F>::IsMember, "method() takes a member function or a function pointer");
    CheckOwner<F>();
    using Traits = std::conditional_t<isStatic, detail::FreeFn<F>, detail::MemFn<F>>;
    auto* m = new detail::MethodImpl<T, F, isStatic>(AFunction);
    Init(m, AName, AVisibility);
    m->FStatic = isStatic;
    if constexpr (!std::is_void_v<typename Traits::Ret>)
      m->FReturnType = TXoTypes::Of<std::decay_t<typename Traits::Ret>>();
    auto types = detail::ParamTypes<typename Traits::Args>(std::make_index_sequence<Traits::Arity>());
    if (AParamNames.size() != 0 && AParamNames.size() != types.size())
      throw EArgumentException(u"method(): %d parameter names given for %d parameters",
                               {static_cast<int64_t>(AParamNames.size()), static_cast<int64_t>(types.size())});
    auto it = AParamNames.begin();
    for (size_t i = 0; i < types.size(); ++i) {
      std::u16string name = AParamNames.size() ? std::u16string(*it++) : u"A" + Num(i, 0);
      m->FParameters.push_back(detail::NewParameter(name, types[i]));
    }
    detail::AddMethod(FType, m);
    return TXoMemberBuilder<void>(m, m);
  }

private:
  void Init(TRttiMember* AMember, std::u16string_view AName, TMemberVisibility AVisibility) {
    AMember->FName = std::u16string(AName);
    AMember->FVisibility = AVisibility;
    AMember->FParent = FType;
  }
  static std::u16string Num(size_t AIndex, size_t ACount) {
    if (ACount == 1) return u"";
    return IntToStr(static_cast<int64_t>(AIndex + 1));
  }
  // A member pointer must belong to T or one of its bases.
  template <class P>
  static constexpr void CheckOwner() {
    if constexpr (detail::MemFn<P>::IsMember) {
      static_assert(std::is_base_of_v<typename detail::MemFn<P>::Class, T>,
                    "the member function belongs to another class");
    } else if constexpr (std::is_member_object_pointer_v<P>) {
      static_assert(std::is_base_of_v<typename detail::MemberClass<P>::type, T>,
                    "the data member belongs to another class");
    }
  }
  TXoTypeInfo* FType;
};

template <class M>
class TXoMemberBuilder;

// Registers T under a qualified name with a description (XO_DESCRIBE's
// function form, also for use at run time).
template <class T, class F>
TXoTypeInfo* XoRegisterType(std::u16string_view AQualifiedName, F&& ADescribe) {
  return TXoTypeBuilder<T>::Register(AQualifiedName, std::forward<F>(ADescribe));
}
template <class T>
TXoTypeInfo* XoRegisterType(std::u16string_view AQualifiedName) {
  return TXoTypeBuilder<T>::Register(AQualifiedName);
}

}  // namespace xo

// ===========================================================================
// Registration macros.

#define XO_DETAIL_CAT2(a, b) a##b
#define XO_DETAIL_CAT(a, b) XO_DETAIL_CAT2(a, b)

// Inside a class that derives from TObject: names its parent, gives
// ClassInfo() and ClassName(), and lets XO_DESCRIBE reach private members.
// Leaves the access at "private".
#define XO_CLASS(AClass, ABase)                                                   \
public:                                                                           \
  using inherited = ABase;                                                        \
  using XoSelf = AClass;                                                          \
  static ::xo::TXoTypeInfo* ClassInfo() { return ::xo::TXoTypes::Of<AClass>(); } \
  std::u16string ClassName() const override { return ClassInfo()->GetName(); }   \
  friend void XoDescribeType(::xo::TXoTypeBuilder<AClass>&, AClass*);             \
                                                                                  \
private:

// Inside a record (struct) whose private members XO_DESCRIBE registers.
// Leaves the access at "public".
#define XO_RECORD(ARecord)                                              \
public:                                                                 \
  friend void XoDescribeType(::xo::TXoTypeBuilder<ARecord>&, ARecord*); \
                                                                        \
public:

// In a .cpp file, in the namespace of the type: registers it under a
// qualified name; the block that follows describes it through ABuilder.
#define XO_DESCRIBE(AType, AQualifiedName, ABuilder)                                                           \
  void XoDescribeType(::xo::TXoTypeBuilder<AType>& ABuilder, AType*);                                          \
  [[maybe_unused]] static ::xo::TXoTypeInfo* const XO_DETAIL_CAT(xoTypeRegistration_, __COUNTER__) =           \
      ::xo::TXoTypeBuilder<AType>::Register(AQualifiedName, [](::xo::TXoTypeBuilder<AType>& ABuilder##Arg) { \
        XoDescribeType(ABuilder##Arg, static_cast<AType*>(nullptr));                                           \
      });                                                                                                      \
  void XoDescribeType(::xo::TXoTypeBuilder<AType>& ABuilder, AType*)

// An enumeration and the names of its values, by ordinal from 0.
#define XO_ENUM(AEnum, AQualifiedName, ...)                                                          \
  [[maybe_unused]] static ::xo::TXoTypeInfo* const XO_DETAIL_CAT(xoTypeRegistration_, __COUNTER__) = \
      ::xo::TXoTypeBuilder<AEnum>::Register(AQualifiedName,                                          \
                                            [](::xo::TXoTypeBuilder<AEnum>& b) { b.values({__VA_ARGS__}); });

// Any type under a name of its own, with nothing to describe (an array, a
// set, an interface, an event type).
#define XO_REGISTER(AType, AQualifiedName)                                                           \
  [[maybe_unused]] static ::xo::TXoTypeInfo* const XO_DETAIL_CAT(xoTypeRegistration_, __COUNTER__) = \
      ::xo::TXoTypeBuilder<AType>::Register(AQualifiedName);
