// uXoTypes: the type registry of xo. Every type that xo can reflect over has
// exactly one descriptor (TXoTypeInfo), created once and never freed, so
// descriptors are compared by address. A descriptor knows the type's names
// (short, qualified, schema), its kinds, its element or parent type, its
// members and annotations, and how to hold, copy and create values of it.
//
// C++ has no run-time reflection: an application describes its types once at
// start-up with the builder of uXoRtti.h (XO_CLASS, XO_DESCRIBE, XO_RECORD,
// XO_ENUM). See docs/reflection.md for a complete example.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "uXoClasses.h"
#include "uXoSysUtils.h"
#include "uXoVariants.h"

namespace xo {

// ---------------------------------------------------------------------------
// Kinds

// The platform's kind of a type (what a reflected value is made of).
enum TTypeKind : uint8_t {
  tkUnknown = 0,
  tkInteger = 1,
  tkChar = 2,
  tkEnumeration = 3,
  tkFloat = 4,
  tkString = 5,
  tkSet = 6,
  tkClass = 7,
  tkMethod = 8,
  tkWChar = 9,
  tkLString = 10,
  tkWString = 11,
  tkVariant = 12,
  tkArray = 13,
  tkRecord = 14,
  tkInterface = 15,
  tkInt64 = 16,
  tkDynArray = 17,
  tkUString = 18,
  tkClassRef = 19,
  tkPointer = 20,
  tkProcedure = 21,
};

// xo's classification of a type. 1 to 24 are the simple types.
enum TXoTypeKind : uint8_t {
  xtkUnknown = 0,
  xtkByte = 1,          // unsigned 8-bit
  xtkWord = 2,          // unsigned 16-bit
  xtkCardinal = 3,      // unsigned 32-bit
  xtkUInt64 = 4,        // unsigned 64-bit
  xtkShortInt = 5,      // signed 8-bit
  xtkSmallInt = 6,      // signed 16-bit
  xtkInteger = 7,       // signed 32-bit
  xtkInt64 = 8,         // signed 64-bit
  xtkSingle = 9,        // 32-bit float
  xtkDouble = 10,       // 64-bit float
  xtkExtended = 11,     // extended float (long double)
  xtkChar = 12,         // 16-bit character
  xtkAnsiChar = 13,     // 8-bit character
  xtkWideChar = 14,     // 16-bit character, second kind
  xtkString = 15,       // string (UTF-16)
  xtkAnsiString = 16,   // 8-bit string
  xtkWideString = 17,   // 16-bit string
  xtkBoolean = 18,
  xtkEnumeration = 19,
  xtkSet = 20,
  xtkDate = 21,
  xtkTime = 22,
  xtkDateTime = 23,
  xtkVariant = 24,
  xtkArray = 25,        // static array
  xtkDynArray = 26,     // dynamic array
  xtkRecord = 27,
  xtkClass = 28,
  xtkInterface = 29,
  xtkPointer = 30,      // untyped or typed pointer (no serialized form)
  xtkEvent = 31,        // bound method (std::function)
  xtkProcedure = 32,    // plain function pointer (no serialized form)
  xtkOpaque = 33,       // a type known only by its storage (no serialized form)
  xtkClassRef = 34,     // class reference
};

// Coarse classification, as answered for a Variant.
enum TXoMainTypeKind : uint8_t {
  mtkOther = 0,
  mtkInteger = 1,
  mtkFloat = 2,
  mtkString = 3,
  mtkBoolean = 4,
  mtkDateTime = 5,
  mtkArray = 6,
};

// Which name of a type a lookup compares.
enum TXoTypeNameType : uint8_t { tntShort = 0, tntQualified = 1, tntSchema = 2 };

// The serialization formats.
enum TXoDataSerializationFormatType : uint8_t { dsfJSON = 0, dsfXML = 1 };
using TXoSerializeFormat = TXoDataSerializationFormatType;
// The name of each format, by ordinal: "JSON", "XML".
extern const char16_t* const XoDataSerializationFormatType[2];

// The XML Schema data type a descriptor stands for (used by the JSON schema
// names and the serializers, mostly by number).
enum TXoSchemaDataType : uint8_t {
  sdtNone = 0,
  sdtObject = 1,
  sdtArray = 2,
  sdtByte = 3,
  sdtShort = 4,
  sdtInt = 5,
  sdtLong = 6,
  sdtUnsignedByte = 7,
  sdtUnsignedShort = 8,
  sdtUnsignedInt = 9,
  sdtUnsignedLong = 10,
  sdtFloat = 11,
  sdtDouble = 12,
  sdtDecimal = 13,
  sdtString = 14,
  sdtChar = 15,
  sdtBase64Binary = 16,
  sdtBoolean = 17,
  sdtDate = 18,
  sdtTime = 19,
  sdtDateTime = 20,
  sdtDuration = 21,
  sdtAnyType = 22,
};

// Visibility of a member: 0 private, 1 protected, 2 public, 3 published.
enum TMemberVisibility : uint8_t { mvPrivate = 0, mvProtected = 1, mvPublic = 2, mvPublished = 3 };

// Names of the kinds ("xtkInteger", "tkClass"), for messages.
std::u16string XoTypeKindName(TXoTypeKind AKind);
std::u16string XoPlatformKindName(TTypeKind AKind);

class TXoTypeInfo;
class TCustomAttribute;
class TRttiField;
class TRttiProperty;
class TRttiIndexedProperty;
class TRttiMethod;
class TRttiParameter;
class TValue;
struct TXoTypeInfoAccess;

// The platform's names for the same descriptor: the raw handle, the reflected
// type and a class reference are all the one descriptor object.
using TTypeInfo = TXoTypeInfo;
using PTypeInfo = TXoTypeInfo*;
using TRttiType = TXoTypeInfo;
using TClass = TXoTypeInfo*;

// ---------------------------------------------------------------------------
// How the registry holds, copies and converts values of a type. Generated for
// each C++ storage type by uXoRtti.h; several descriptors may share one
// storage type (TDate, TTime and TDateTime are all double).
struct TXoTypeOps {
  const std::type_info* CppType = nullptr;  // the storage type
  size_t Size = 0;
  size_t Align = 1;
  void (*Construct)(void* ADest) = nullptr;                     // default value
  void (*Copy)(void* ADest, const void* ASource) = nullptr;     // copy-construct
  void (*Assign)(void* ADest, const void* ASource) = nullptr;   // copy-assign
  void (*Destroy)(void* AData) = nullptr;
  // Class kinds: the storage is a pointer to the class.
  TObject* (*ToObject)(const void* AData) = nullptr;
  bool (*FromObject)(void* ADest, TObject* AObject) = nullptr;  // false: not an instance
  bool (*IsInstance)(const TObject* AObject) = nullptr;
  TObject* (*CreateObject)(TComponent* AOwner) = nullptr;       // nullptr: not creatable
  int8_t CreateParamCount = -1;                                 // -1 none, 0 Create(), 1 Create(AOwner)
  // Interface kinds: the storage is a TIntfPtr.
  IInterface* (*ToInterface)(const void* AData) = nullptr;
  bool (*FromInterface)(void* ADest, IInterface* AIntf) = nullptr;
  // Array kinds.
  size_t (*ArrayLength)(const void* AData) = nullptr;
  void (*ArraySetLength)(void* AData, size_t ALength) = nullptr;  // dynamic arrays only
  void* (*ArrayElement)(void* AData, size_t AIndex) = nullptr;
  // Class references: the storage holds a TClass.
  TClass (*ToClass)(const void* AData) = nullptr;
  bool (*FromClass)(void* ADest, TClass AClass) = nullptr;
  // Records that can be null (the typed simple records): whether the value
  // is null.
  bool (*IsNull)(const void* AData) = nullptr;
  // Typed simple records (TXsInt, TXsString, ...): the value they hold as a
  // TValue of their wrapped type (empty when null), and assignment of such a
  // value through the record's own conversion, which checks its facets (an
  // empty TValue clears the record).
  void (*XsGet)(const void* AData, TValue& AResult) = nullptr;
  void (*XsSet)(void* AData, const TValue& AValue) = nullptr;
};

// ---------------------------------------------------------------------------
// Base of everything reflection answers about: types, fields, properties,
// methods. Holds the annotations.
class TRttiObject {
public:
  virtual ~TRttiObject() = default;
  const std::vector<TCustomAttribute*>& GetAttributes() const { return FAttributes; }
  // The first annotation of class A, or nullptr.
  template <class A>
  A* GetAttribute() const {
    for (TCustomAttribute* a : FAttributes)
      if (A* r = dynamic_cast<A*>(a)) return r;
    return nullptr;
  }
  // Adds an annotation; the registry owns it from now on.
  void AddAttribute(TCustomAttribute* AAttribute);

protected:
  std::vector<TCustomAttribute*> FAttributes;
};

// ---------------------------------------------------------------------------
// The descriptor of one type.
class TXoTypeInfo : public TRttiObject {
public:
  // --- names
  // The short name ("Integer", "TPerson").
  const std::u16string& GetName() const;
  // The qualified name ("System.Integer", "uDemo.TPerson").
  const std::u16string& GetQualifiedName() const;
  // The schema name, with "prefix:" in front when APrefix is not empty
  // ("int", "xsd:int", "TPerson", "ArrayOfString").
  std::u16string SchemaName(std::u16string_view APrefix = u"") const;
  // The name of the given name type.
  const std::u16string& GetTypeName(TXoTypeNameType ANameType) const;

  // --- kinds
  TXoTypeKind GetTypeKind() const { return FTypeKind; }
  // The platform's kind.
  TTypeKind GetKind() const { return FKind; }
  // Kinds 1 to 24.
  bool GetIsSimpleType() const { return FTypeKind >= 1 && FTypeKind <= 24; }
  TXoMainTypeKind GetMainTypeKind() const;
  TXoSchemaDataType GetSchemaDataType() const { return FSchemaDataType; }
  bool IsOrdinal() const;  // integers, characters, booleans, enumerations
  bool IsVirtual() const { return FVirtual; }
  // A virtual type with this type's kind and storage under another name and
  // schema data type; made once per name and cached ("ArrayOfTPerson").
  TXoTypeInfo* VirtualType(std::u16string_view AName, TXoSchemaDataType ASchemaDataType);

  // --- structure
  // Element type of arrays, element enumeration of sets, class of class
  // references; nullptr otherwise.
  TXoTypeInfo* GetElementType() const { return FElementType; }
  // Parent class of a class, parent interface of an interface.
  TXoTypeInfo* GetBaseType() const { return FBaseType; }
  // The type of the value a typed simple record holds (Integer for TXsInt);
  // nullptr for every other type. Such a record answers the kind, main kind
  // and schema data type of that value, and its platform kind is tkRecord.
  TXoTypeInfo* GetWrappedType() const { return FWrappedType; }
  // Element count of a static array; 0 otherwise.
  size_t GetArrayLength() const { return FArrayLength; }
  // True for this type and every class or interface that derives from it.
  bool InheritsFrom(const TXoTypeInfo* AAncestor) const;
  size_t GetTypeSize() const { return FOps.Size; }
  const TXoTypeOps& Ops() const { return FOps; }
  const std::type_info* GetCppType() const { return FOps.CppType; }

  // --- enumerations (also Boolean) and sets (through their element type)
  int64_t GetMinValue() const { return FMinValue; }
  int64_t GetMaxValue() const { return FMaxValue; }
  // The name of an ordinal; the number as text when it has none.
  std::u16string GetEnumName(int64_t AOrdinal) const;
  // The ordinal of a name, any case; -1 when there is none.
  int64_t GetEnumValue(std::u16string_view AName) const;
  const std::vector<std::u16string>& GetEnumNames() const { return FEnumNames; }

  // --- members. "All" lists start with this type's own members in
  // registration order and go on with those of the parent, and so on.
  const std::vector<TRttiField*>& GetDeclaredFields() const { return FFields; }
  const std::vector<TRttiProperty*>& GetDeclaredProperties() const { return FProperties; }
  const std::vector<TRttiMethod*>& GetDeclaredMethods() const { return FMethods; }
  const std::vector<TRttiField*>& GetFields() const;
  const std::vector<TRttiProperty*>& GetProperties() const;
  const std::vector<TRttiIndexedProperty*>& GetIndexedProperties() const;
  const std::vector<TRttiMethod*>& GetMethods() const;
  // By name, in any case; the nearest declaration wins; nullptr when absent.
  TRttiField* GetField(std::u16string_view AName) const;
  TRttiProperty* GetProperty(std::u16string_view AName) const;
  TRttiIndexedProperty* GetIndexedProperty(std::u16string_view AName) const;
  TRttiMethod* GetMethod(std::u16string_view AName) const;
  // Parameters of an event or procedure type.
  const std::vector<TRttiParameter*>& GetParameters() const { return FParameters; }
  TXoTypeInfo* GetReturnType() const { return FReturnType; }

  // --- classes
  // Whether the class can be created without parameters ("Create" with no
  // parameter); a TComponent class takes its owner instead.
  bool HasParameterlessConstructor() const { return FOps.CreateParamCount == 0; }
  bool IsCreatable() const { return FOps.CreateObject != nullptr; }
  // A new instance: Create() for plain classes, Create(AOwner) for
  // components. Raises ENotSupportedException when the class has neither.
  TObject* CreateInstance(TComponent* AOwner = nullptr) const;
  // Whether AObject is an instance of this class (or of a descendant).
  bool IsInstance(const TObject* AObject) const;

  // The descriptor itself is the raw handle, the reflected type and (for
  // classes) the class reference.
  TXoTypeInfo* Handle() { return this; }

private:
  friend class TXoTypes;
  friend class TXoRegistryImpl;
  template <class T>
  friend class TXoTypeBuilder;
  friend struct TXoTypeInfoMaker;
  friend struct TXoTypeInfoAccess;

  TXoTypeInfo() = default;
  struct TCaches;
  const TCaches& Caches() const;
  void CopyFrom(const TXoTypeInfo& AOther);

  std::u16string FName, FQualifiedName, FSchemaName;
  bool FAutoName = true;          // names derived from the C++ type or the element
  bool FExplicitSchema = false;   // schema name given by the registration
  bool FVirtual = false;
  bool FDescribed = false;        // members registered
  TXoTypeKind FTypeKind = xtkUnknown;
  TTypeKind FKind = tkUnknown;
  TXoSchemaDataType FSchemaDataType = sdtNone;
  TXoTypeOps FOps;
  bool FOrdSigned = false;
  TXoTypeInfo* FElementType = nullptr;
  TXoTypeInfo* FBaseType = nullptr;
  TXoTypeInfo* FVirtualOf = nullptr;
  TXoTypeInfo* FWrappedType = nullptr;
  size_t FArrayLength = 0;
  int64_t FMinValue = 0, FMaxValue = 0;
  std::vector<std::u16string> FEnumNames;
  std::vector<TRttiField*> FFields;
  std::vector<TRttiProperty*> FProperties;
  std::vector<TRttiIndexedProperty*> FIndexedProperties;
  std::vector<TRttiMethod*> FMethods;
  std::vector<TRttiParameter*> FParameters;
  TXoTypeInfo* FReturnType = nullptr;
  size_t FIndex = 0;  // position in the registry
  const std::type_info* FCppKey = nullptr;  // the C++ type it was made for

  // Lazily built: all members (own first) and sorted name indexes.
  mutable std::atomic<TCaches*> FCaches{nullptr};
};

// ---------------------------------------------------------------------------
// A serializer and a deserializer class, registered per type and format.
struct TXoSerializerPair {
  TClass Serializer = nullptr;
  TClass Deserializer = nullptr;
  bool IsEmpty() const { return Serializer == nullptr && Deserializer == nullptr; }
};

// ---------------------------------------------------------------------------
// The registry.
class TXoTypes {
public:
  // The descriptor of a C++ type (defined in uXoRtti.h).
  template <class T>
  static TXoTypeInfo* Of();

  // The descriptor of a handle, reflected type or class: the same object.
  static TXoTypeInfo* GetTypeInfo(TXoTypeInfo* AType) { return AType; }
  // The descriptor of a C++ type by its type_info; nullptr when the type has
  // never been reflected.
  static TXoTypeInfo* GetTypeInfo(const std::type_info& AType);
  // The descriptor of an object's class: its own class when registered, else
  // the nearest registered ancestor; nullptr for nullptr.
  static TXoTypeInfo* GetTypeInfo(const TObject* AObject) { return ClassOf(AObject); }
  static TXoTypeInfo* ClassOf(const TObject* AObject);
  // By name, in any case. ANameType chooses the name compared; aliases are
  // found by every name type. Not found: with ACreate and a main kind other
  // than 0 a virtual type of that name is made and kept ("ArrayOfString" with
  // main kind 6 is a dynamic array of string); else nullptr.
  static TXoTypeInfo* GetTypeInfo(std::u16string_view AName, TXoTypeNameType ANameType = tntQualified,
                                  bool ACreate = false, TXoMainTypeKind AMainKind = mtkOther);
  static TXoTypeInfo* GetTypeInfo(std::u16string_view AName, int ANameType, bool ACreate = false,
                                  int AMainKind = 0) {
    return GetTypeInfo(AName, static_cast<TXoTypeNameType>(ANameType), ACreate,
                       static_cast<TXoMainTypeKind>(AMainKind));
  }

  // Serializer pairs. AType nullptr registers the format's default.
  static void RegisterTypeSerializers(TXoTypeInfo* AType, TXoDataSerializationFormatType AFormat,
                                      const TXoSerializerPair& APair);
  // The pair of the type, else of its nearest ancestor that has one, else the
  // default pair (an empty pair when there is none).
  static TXoSerializerPair FindSerializers(const TXoTypeInfo* AType, TXoDataSerializationFormatType AFormat);

  // Makes AName (any name type, any case) find AType.
  static void RegisterTypeAlias(TXoTypeInfo* AType, std::u16string_view AName);

  // Variants.
  // The descriptor of a variant's value: Integer for varInteger, string for
  // varUString, TDateTime for varDate, ...; Variant for empty, null and
  // element-less kinds; a virtual "ArrayOf..." type for arrays.
  static TXoTypeInfo* VarTypeInfo(const Variant& AValue);
  // 1 integer, 2 float, 3 string, 4 boolean, 5 date, 6 array, 0 anything else.
  static TXoMainTypeKind VarMainTypeKind(const Variant& AValue);
  static TXoMainTypeKind VarMainTypeKind(TVarType AVarType);
  // The variant type code for the type of that name; ADefault when the name
  // is unknown or the type has no variant form.
  static TVarType GetVarType(std::u16string_view AName, TXoTypeNameType ANameType, TVarType ADefault);
  static TVarType GetVarType(const TXoTypeInfo* AType, TVarType ADefault);
  static TXoMainTypeKind ToMainTypeKind(TXoTypeKind AKind);

  // All descriptors made so far, in creation order.
  static size_t Count();
  static TXoTypeInfo* Item(size_t AIndex);

  // Library-internal: registration support used by the builder.
  // A descriptor made with APublish false is invisible to lookups and name
  // indexes until Publish: a type made on first use is filled in first, so
  // that another thread never sees it half made.
  static TXoTypeInfo* NewTypeInfo(const std::type_info* ACppType, bool APublish = true);
  static void Publish(TXoTypeInfo* AType);
  static void SetNames(TXoTypeInfo* AType, std::u16string_view AQualifiedName, std::u16string_view AShortName,
                       std::u16string_view ASchemaName);
  static void Changed();  // names or members changed: indexes are rebuilt on next use
  static void EnsureStarted();
};

// The platform's class registry: classes that can be found by name.
void RegisterClass(TClass AClass);
void RegisterClasses(std::initializer_list<TClass> AClasses);
void UnRegisterClass(TClass AClass);
// The class registered under that short or qualified name (any case), or
// nullptr.
TClass GetClass(std::u16string_view AName);
// The same; raises EClassNotFound "Class %s not found" when absent.
TClass FindClass(std::u16string_view AName);

// ---------------------------------------------------------------------------
// Text services

// The four Unicode normalization forms.
enum TXoNormalizationForm : uint8_t { nfNFC, nfNFD, nfNFKC, nfNFKD };
// The form of that exact name ("NFC", "NFD", "NFKC", "NFKD"); false for any
// other text.
bool XoNormalizationForm(std::u16string_view AName, TXoNormalizationForm& AForm);
// AText in the normalization form (through ICU). Unpaired surrogates come
// through as they stand.
std::u16string XoNormalizeString(std::u16string_view AText, TXoNormalizationForm AForm = nfNFC);
// AText made plain for searching and comparing: compatibility forms are
// decomposed and combining marks dropped (an e with an accent becomes e, the
// ligature fi the two letters), then every run of white space (blank, tab,
// line feed, carriage return and the other Unicode spaces) becomes one blank,
// with none at the ends.
std::u16string XoSimplifyString(std::u16string_view AText);

}  // namespace xo

#include "uXoRtti.h"
