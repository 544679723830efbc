// uXoRtti: TValue, the members of a type, the builder's registry side and
// the library's own registrations.
#include "uXoRtti.h"

#include <charconv>
#include <cstdio>
#include <mutex>

#include "uXoDateTimeUtils.h"
#include "uXoXSTypes.h"

namespace xo {

// Reaches the private parts of descriptors and members for the builder.
struct TXoTypeInfoAccess {
  static TXoTypeInfo& T(TXoTypeInfo* t) { return *t; }

  static void InitSimple(TXoTypeInfo* t, TXoTypeKind AKind, TTypeKind APlatformKind, TXoSchemaDataType ASchema,
                         std::u16string_view AQualifiedName, std::u16string_view ASchemaName, bool ASigned) {
    t->FTypeKind = AKind;
    t->FKind = APlatformKind;
    t->FSchemaDataType = ASchema;
    t->FOrdSigned = ASigned;
    t->FExplicitSchema = true;
    TXoTypes::SetNames(t, AQualifiedName, u"", ASchemaName);
    if (AKind == xtkBoolean) {
      t->FEnumNames = {u"False", u"True"};
      t->FMinValue = 0;
      t->FMaxValue = 1;
    }
  }

  static void InitAuto(TXoTypeInfo* t, TXoTypeKind AKind, TTypeKind APlatformKind, TXoTypeInfo* AElement,
                       TXoTypeInfo* ABase, size_t AArrayLength);

  static void InitEnum(TXoTypeInfo* t, bool ASigned) {
    t->FTypeKind = xtkEnumeration;
    t->FKind = tkEnumeration;
    t->FOrdSigned = ASigned;
    t->FMinValue = 0;
    t->FMaxValue = -1;
  }

  static void InitCallable(TXoTypeInfo* t, TXoTypeKind AKind, TXoTypeInfo* AReturn,
                           const std::vector<TXoTypeInfo*>& AParams) {
    t->FTypeKind = AKind;
    t->FKind = AKind == xtkEvent ? tkMethod : tkProcedure;
    t->FReturnType = AReturn;
    size_t i = 0;
    for (TXoTypeInfo* p : AParams) {
      auto* prm = new TRttiParameter();
      // Formatted rather than "A" + text: GCC 12 warns falsely (-Wrestrict)
      // on string assignments inlined here.
      prm->FName = XoFormat(u"A%d", {++i});
      prm->FParamType = p;
      t->FParameters.push_back(prm);
    }
  }

  static void SetMemberType(TRttiMember* AMember, TXoTypeInfo* AType, const std::type_info* AStorage) {
    if (!AType) throw EArgumentNilException(u"as(): no type given for %s!", {AMember->FName});
    if (AType->GetCppType() != AStorage)
      throw EInvalidCast(u"The member %s cannot be described as %s: the storage differs!",
                         {AMember->FName, AType->GetQualifiedName()});
    if (auto* f = dynamic_cast<TRttiField*>(AMember))
      f->FFieldType = AType;
    else if (auto* p = dynamic_cast<TRttiProperty*>(AMember))
      p->FPropertyType = AType;
    else if (auto* ip = dynamic_cast<TRttiIndexedProperty*>(AMember))
      ip->FPropertyType = AType;
    else
      throw EInvalidOperation(u"as(): the member %s has no type of its own!", {AMember->FName});
    TXoTypes::Changed();
  }

  template <class M>
  static void Add(TXoTypeInfo* AType, std::vector<M*>& AList, M* AMember) {
    if (AType->FTypeKind != xtkClass && AType->FTypeKind != xtkRecord && AType->FTypeKind != xtkInterface) {
      delete AMember;
      throw EInvalidOperation(u"The type %s cannot have members!", {AType->GetQualifiedName()});
    }
    for (M*& m : AList) {
      if (!XoSameText(m->GetName(), AMember->GetName())) continue;
      if constexpr (std::is_same_v<M, TRttiMethod>) {
        if (m->IsConstructor() && !AMember->IsConstructor()) {
          m = AMember;  // an explicit "Create" replaces the automatic one
          TXoTypes::Changed();
          return;
        }
      }
      std::u16string name = AMember->GetName();
      delete AMember;
      throw EInvalidOperation(u"%s already has a member named %s!", {AType->GetQualifiedName(), name});
    }
    AList.push_back(AMember);
    TXoTypes::Changed();
  }
  static void AddField(TXoTypeInfo* t, TRttiField* m) { Add(t, t->FFields, m); }
  static void AddProperty(TXoTypeInfo* t, TRttiProperty* m) { Add(t, t->FProperties, m); }
  static void AddIndexedProperty(TXoTypeInfo* t, TRttiIndexedProperty* m) { Add(t, t->FIndexedProperties, m); }
  static void AddMethod(TXoTypeInfo* t, TRttiMethod* m) { Add(t, t->FMethods, m); }

  static TRttiParameter* NewParameter(std::u16string_view AName, TXoTypeInfo* AType) {
    auto* p = new TRttiParameter();
    p->FName = std::u16string(AName);
    p->FParamType = AType;
    return p;
  }

  static TXoTypeInfo* BeginRegister(TXoTypeInfo* t, std::u16string_view AQualifiedName) {
    TXoTypes::EnsureStarted();
    if (t->FDescribed) throw EInvalidOperation(u"The type %s is registered twice!", {AQualifiedName});
    TXoTypes::SetNames(t, AQualifiedName, u"", u"");
    return t;
  }
  static void EndRegister(TXoTypeInfo* t) {
    t->FDescribed = true;
    TXoTypes::Changed();
  }
  static TXoTypeInfo* NewDistinct(TXoTypeInfo* AFrom) {
    TXoTypeInfo* t = TXoTypes::NewTypeInfo(nullptr);
    t->CopyFrom(*AFrom);
    t->FCppKey = AFrom->FCppKey;
    t->FExplicitSchema = false;
    if (t->FTypeKind == xtkClass) {
      // A distinct class is the same C++ class: it keeps its ancestry and its
      // constructor, but describes its own members.
      t->FMethods.clear();
    }
    AddConstructor(t);
    return t;
  }
  static void SetEnumNames(TXoTypeInfo* t, std::initializer_list<std::u16string_view> ANames) {
    t->FEnumNames.clear();
    for (auto n : ANames) {
      for (auto& e : t->FEnumNames)
        if (XoSameText(e, n)) throw EInvalidOperation(u"The enumeration %s names %s twice!", {t->FQualifiedName, n});
      t->FEnumNames.emplace_back(n);
    }
    t->FMinValue = 0;
    t->FMaxValue = static_cast<int64_t>(t->FEnumNames.size()) - 1;
  }
  static void SetParamNames(TXoTypeInfo* t, std::initializer_list<std::u16string_view> ANames) {
    if (ANames.size() != t->FParameters.size())
      throw EArgumentException(u"params(): %d names given for %d parameters of %s",
                               {static_cast<int64_t>(ANames.size()), static_cast<int64_t>(t->FParameters.size()),
                                t->FQualifiedName});
    size_t i = 0;
    for (auto n : ANames) t->FParameters[i++]->FName = std::u16string(n);
  }
  static void SetSchemaName(TXoTypeInfo* t, std::u16string_view AName) {
    if (AName.empty()) throw EArgumentException(u"A schema name must not be empty!");
    t->FSchemaName = std::u16string(AName);
    t->FExplicitSchema = true;
    TXoTypes::SetNames(t, t->FQualifiedName, t->FName, AName);
  }
  static void SetShortName(TXoTypeInfo* t, std::u16string_view AName) {
    if (AName.empty()) throw EArgumentException(u"A short name must not be empty!");
    TXoTypes::SetNames(t, t->FQualifiedName, AName, t->FExplicitSchema ? std::u16string_view(t->FSchemaName) : u"");
  }
  static void SetBaseType(TXoTypeInfo* t, TXoTypeInfo* ABase) {
    if (ABase && ABase->InheritsFrom(t)) throw EInvalidOperation(u"%s cannot inherit from itself!", {t->GetName()});
    t->FBaseType = ABase;
    TXoTypes::Changed();
  }
  static void SetSchemaDataType(TXoTypeInfo* t, TXoSchemaDataType v) { t->FSchemaDataType = v; }

  static void InitWrapped(TXoTypeInfo* t, TXoTypeInfo* AWrapped, std::u16string_view AQualifiedName,
                          std::u16string_view ASchemaName) {
    t->FTypeKind = AWrapped->FTypeKind;
    t->FKind = tkRecord;
    t->FSchemaDataType = AWrapped->FSchemaDataType;
    t->FWrappedType = AWrapped;
    // The short name leaves out the unit names, also those of generic
    // arguments ("TXsBinaryString<TXsBinaryStringB64Encoding>").
    std::u16string shortName(AQualifiedName);
    for (size_t at; (at = shortName.find(u"uXoXSTypes.")) != std::u16string::npos;) shortName.erase(at, 11);
    TXoTypes::SetNames(t, AQualifiedName, shortName, ASchemaName.empty() ? std::u16string_view(shortName) : ASchemaName);
  }

  static void AddConstructor(TXoTypeInfo* t);
  static bool OrdSigned(const TXoTypeInfo* t) { return t->FOrdSigned; }
  static TXoTypeInfo* VirtualOf(const TXoTypeInfo* t) { return t->FVirtualOf; }
};

// The automatic "Create" of a creatable class: no parameter, or the owner of
// a component.
class TXoConstructor final : public TRttiMethod {
public:
  explicit TXoConstructor(TXoTypeInfo* AClass) {
    FName = u"Create";
    FVisibility = mvPublic;
    FParent = AClass;
    FConstructor = true;
    FReturnType = AClass;
    if (AClass->Ops().CreateParamCount == 1)
      FParameters.push_back(TXoTypeInfoAccess::NewParameter(
          u"AOwner", AClass->GetCppType() == &typeid(TComponent*) ? AClass : TXoTypes::Of<TComponent>()));
  }

protected:
  TValue DoInvoke(void*, const std::vector<TValue>& AArgs) const override {
    TComponent* owner = nullptr;
    if (!AArgs.empty()) owner = AArgs[0].AsType<TComponent*>();
    TObject* o = FParent->CreateInstance(owner);
    TValue r = TValue::Make(nullptr, FParent);
    FParent->Ops().FromObject(r.GetReferenceToRawData(), o);
    return r;
  }
};

void TXoTypeInfoAccess::AddConstructor(TXoTypeInfo* t) {
  if (t->FTypeKind != xtkClass || !t->FOps.CreateObject) return;
  for (auto*& m : t->FMethods)
    if (m->IsConstructor()) {
      m = new TXoConstructor(t);
      return;
    }
  t->FMethods.push_back(new TXoConstructor(t));
}

void TXoTypeInfoAccess::InitAuto(TXoTypeInfo* t, TXoTypeKind AKind, TTypeKind APlatformKind, TXoTypeInfo* AElement,
                                 TXoTypeInfo* ABase, size_t AArrayLength) {
  t->FTypeKind = AKind;
  t->FKind = APlatformKind;
  t->FElementType = AElement;
  t->FBaseType = ABase;
  t->FArrayLength = AArrayLength;
  switch (AKind) {
    case xtkArray:
    case xtkDynArray: t->FSchemaDataType = sdtArray; break;
    case xtkClass:
    case xtkRecord: t->FSchemaDataType = sdtObject; break;
    default: break;
  }
  AddConstructor(t);
}

namespace detail {
void InitSimple(TXoTypeInfo* AType, TXoTypeKind AKind, TTypeKind APlatformKind, TXoSchemaDataType ASchema,
                std::u16string_view AQualifiedName, std::u16string_view ASchemaName, bool ASigned) {
  TXoTypeInfoAccess::InitSimple(AType, AKind, APlatformKind, ASchema, AQualifiedName, ASchemaName, ASigned);
}
void InitAuto(TXoTypeInfo* AType, TXoTypeKind AKind, TTypeKind APlatformKind, TXoTypeInfo* AElement,
              TXoTypeInfo* ABase, size_t AArrayLength) {
  TXoTypeInfoAccess::InitAuto(AType, AKind, APlatformKind, AElement, ABase, AArrayLength);
}
void InitEnum(TXoTypeInfo* AType, bool ASigned) { TXoTypeInfoAccess::InitEnum(AType, ASigned); }
void InitWrapped(TXoTypeInfo* AType, TXoTypeInfo* AWrapped, std::u16string_view AQualifiedName,
                 std::u16string_view ASchemaName) {
  TXoTypeInfoAccess::InitWrapped(AType, AWrapped, AQualifiedName, ASchemaName);
}
void InitCallable(TXoTypeInfo* AType, TXoTypeKind AKind, TXoTypeInfo* AReturn,
                  const std::vector<TXoTypeInfo*>& AParams) {
  TXoTypeInfoAccess::InitCallable(AType, AKind, AReturn, AParams);
}
void AddField(TXoTypeInfo* AType, TRttiField* AField) { TXoTypeInfoAccess::AddField(AType, AField); }
void AddProperty(TXoTypeInfo* AType, TRttiProperty* AProperty) { TXoTypeInfoAccess::AddProperty(AType, AProperty); }
void AddIndexedProperty(TXoTypeInfo* AType, TRttiIndexedProperty* AProperty) {
  TXoTypeInfoAccess::AddIndexedProperty(AType, AProperty);
}
void AddMethod(TXoTypeInfo* AType, TRttiMethod* AMethod) { TXoTypeInfoAccess::AddMethod(AType, AMethod); }
TRttiParameter* NewParameter(std::u16string_view AName, TXoTypeInfo* AType) {
  return TXoTypeInfoAccess::NewParameter(AName, AType);
}
void SetMemberType(TRttiMember* AMember, TXoTypeInfo* AType, const std::type_info* AStorage) {
  TXoTypeInfoAccess::SetMemberType(AMember, AType, AStorage);
}
TXoTypeInfo* BeginRegister(TXoTypeInfo* AType, std::u16string_view AQualifiedName) {
  return TXoTypeInfoAccess::BeginRegister(AType, AQualifiedName);
}
void EndRegister(TXoTypeInfo* AType) { TXoTypeInfoAccess::EndRegister(AType); }
TXoTypeInfo* NewDistinct(TXoTypeInfo* AFrom) { return TXoTypeInfoAccess::NewDistinct(AFrom); }
void SetEnumNames(TXoTypeInfo* AType, std::initializer_list<std::u16string_view> ANames) {
  TXoTypeInfoAccess::SetEnumNames(AType, ANames);
}
void SetParamNames(TXoTypeInfo* AType, std::initializer_list<std::u16string_view> ANames) {
  TXoTypeInfoAccess::SetParamNames(AType, ANames);
}
void SetSchemaName(TXoTypeInfo* AType, std::u16string_view AName) { TXoTypeInfoAccess::SetSchemaName(AType, AName); }
void SetShortName(TXoTypeInfo* AType, std::u16string_view AName) { TXoTypeInfoAccess::SetShortName(AType, AName); }
void SetBaseType(TXoTypeInfo* AType, TXoTypeInfo* ABase) { TXoTypeInfoAccess::SetBaseType(AType, ABase); }
void SetSchemaDataType(TXoTypeInfo* AType, TXoSchemaDataType ASchemaDataType) {
  TXoTypeInfoAccess::SetSchemaDataType(AType, ASchemaDataType);
}

void ExtractAs(const TValue& AValue, TXoTypeInfo* AType, void* ADest) {
  TXoTypeInfo* vt = AValue.TypeInfo();
  // A typed simple record takes another value in place, through its own
  // conversion: its facets stay and check the value.
  if (AType->Ops().XsSet && vt != AType) {
    if (!vt || AValue.IsNull()) {
      AType->Ops().XsSet(ADest, TValue());
      return;
    }
    TValue plain;
    if (!AValue.TryToType(AType->GetWrappedType(), plain))
      throw EInvalidCast(u"A value of type %s cannot be given to a member of type %s!",
                         {vt->GetQualifiedName(), AType->GetQualifiedName()});
    AType->Ops().XsSet(ADest, plain);
    return;
  }
  if (vt && (vt == AType || (vt->GetCppType() == AType->GetCppType() && vt->GetTypeKind() != xtkClass &&
                             vt->GetTypeKind() != xtkInterface && vt->GetTypeKind() != xtkClassRef))) {
    AType->Ops().Assign(ADest, AValue.GetReferenceToRawData());
    return;
  }
  TValue c;
  if (!AValue.TryToType(AType, c))
    throw EInvalidCast(u"A value of type %s cannot be given to a member of type %s!",
                       {vt ? vt->GetQualifiedName() : std::u16string(u"(empty)"), AType->GetQualifiedName()});
  AType->Ops().Assign(ADest, c.GetReferenceToRawData());
}
}  // namespace detail

// ===========================================================================
// TValue

namespace {

void* AllocData(TXoTypeInfo* t) {
  size_t align = std::max(t->Ops().Align, alignof(std::max_align_t));
  return ::operator new(std::max<size_t>(t->Ops().Size, 1), std::align_val_t(align));
}
void FreeData(TXoTypeInfo* t, void* p) {
  size_t align = std::max(t->Ops().Align, alignof(std::max_align_t));
  ::operator delete(p, std::align_val_t(align));
}

int64_t ReadOrdinal(const TXoTypeInfo* t, const void* p) {
  bool s = TXoTypeInfoAccess::OrdSigned(t);
  switch (t->GetTypeSize()) {
    case 1: {
      uint8_t v;
      std::memcpy(&v, p, 1);
      if (t->GetTypeKind() == xtkBoolean) return v ? 1 : 0;
      return s ? static_cast<int8_t>(v) : v;
    }
    case 2: {
      uint16_t v;
      std::memcpy(&v, p, 2);
      return s ? static_cast<int16_t>(v) : v;
    }
    case 4: {
      uint32_t v;
      std::memcpy(&v, p, 4);
      return s ? static_cast<int32_t>(v) : static_cast<int64_t>(v);
    }
    default: {
      int64_t v;
      std::memcpy(&v, p, 8);
      return v;
    }
  }
}

void WriteOrdinal(const TXoTypeInfo* t, void* p, int64_t v) {
  if (t->GetTypeKind() == xtkBoolean) {
    bool b = v != 0;
    std::memcpy(p, &b, 1);
    return;
  }
  switch (t->GetTypeSize()) {
    case 1: {
      uint8_t x = static_cast<uint8_t>(v);
      std::memcpy(p, &x, 1);
      break;
    }
    case 2: {
      uint16_t x = static_cast<uint16_t>(v);
      std::memcpy(p, &x, 2);
      break;
    }
    case 4: {
      uint32_t x = static_cast<uint32_t>(v);
      std::memcpy(p, &x, 4);
      break;
    }
    default: std::memcpy(p, &v, 8); break;
  }
}

bool IsIntKind(TXoTypeKind k) { return k >= xtkByte && k <= xtkInt64; }
bool IsFloatKind(TXoTypeKind k) { return (k >= xtkSingle && k <= xtkExtended) || (k >= xtkDate && k <= xtkDateTime); }
bool IsCharKind(TXoTypeKind k) { return k >= xtkChar && k <= xtkWideChar; }
bool IsStrKind(TXoTypeKind k) { return k >= xtkString && k <= xtkWideString; }

long double ReadFloat(const TXoTypeInfo* t, const void* p) {
  switch (t->GetTypeKind()) {
    case xtkSingle: return *static_cast<const float*>(p);
    case xtkExtended: return *static_cast<const long double*>(p);
    default: return *static_cast<const double*>(p);
  }
}
void WriteFloat(const TXoTypeInfo* t, void* p, long double v) {
  switch (t->GetTypeKind()) {
    case xtkSingle: *static_cast<float*>(p) = static_cast<float>(v); break;
    case xtkExtended: *static_cast<long double*>(p) = v; break;
    default: *static_cast<double*>(p) = static_cast<double>(v); break;
  }
}

bool IsUTF8Type(const TXoTypeInfo* t) { return t == TXoTypes::Of<TUTF8StringTag>(); }

// Text of a string or character value.
std::u16string ReadText(const TXoTypeInfo* t, const void* p) {
  switch (t->GetTypeKind()) {
    case xtkChar:
    case xtkWideChar: return std::u16string(1, *static_cast<const char16_t*>(p));
    case xtkAnsiChar: return TXoEncoding::ConvertA(std::string_view(static_cast<const char*>(p), 1), 0);
    case xtkAnsiString: {
      const std::string& s = *static_cast<const std::string*>(p);
      return IsUTF8Type(t) ? XoUTF8ToUTF16(s) : TXoEncoding::ConvertA(s, 0);
    }
    default: return *static_cast<const std::u16string*>(p);
  }
}
bool WriteText(const TXoTypeInfo* t, void* p, const std::u16string& s) {
  switch (t->GetTypeKind()) {
    case xtkChar:
    case xtkWideChar:
      if (s.size() != 1) return false;
      *static_cast<char16_t*>(p) = s[0];
      return true;
    case xtkAnsiChar: {
      std::string a = TXoEncoding::ConvertW(s, 0);
      if (a.size() != 1) return false;
      *static_cast<char*>(p) = a[0];
      return true;
    }
    case xtkAnsiString:
      *static_cast<std::string*>(p) = IsUTF8Type(t) ? XoUTF16ToUTF8(s) : TXoEncoding::ConvertW(s, 0);
      return true;
    default: *static_cast<std::u16string*>(p) = s; return true;
  }
}

bool InRange(const TXoTypeInfo* t, int64_t v, bool AUnsignedSource) {
  switch (t->GetTypeKind()) {
    case xtkByte: return v >= 0 && v <= 0xFF;
    case xtkWord: return v >= 0 && v <= 0xFFFF;
    case xtkCardinal: return v >= 0 && v <= 0xFFFFFFFFll;
    case xtkUInt64: return AUnsignedSource || v >= 0;
    case xtkShortInt: return v >= -128 && v <= 127;
    case xtkSmallInt: return v >= -32768 && v <= 32767;
    case xtkInteger: return v >= INT32_MIN && v <= INT32_MAX;
    case xtkInt64: return !AUnsignedSource || v >= 0;
    case xtkChar:
    case xtkWideChar: return v >= 0 && v <= 0xFFFF;
    case xtkAnsiChar: return v >= 0 && v <= 0xFF;
    case xtkBoolean: return true;
    case xtkEnumeration: return v >= t->GetMinValue() && v <= t->GetMaxValue();
    default: return false;
  }
}

std::u16string FloatText(TXoTypeKind k, long double v) {
  if (k == xtkSingle) {
    char buf[64];
    auto res = std::to_chars(buf, buf + sizeof buf, static_cast<float>(v));
    std::string s(buf, res.ptr);
    if (s == "inf") return u"INF";
    if (s == "-inf") return u"-INF";
    if (s == "nan" || s == "-nan") return u"NAN";
    for (char& c : s)
      if (c == 'e') c = 'E';
    return XoUTF8ToUTF16(s);
  }
  if (k == xtkExtended) return FloatToStr(v);
  return FloatToStr(static_cast<double>(v));
}

std::u16string DateText(TXoTypeKind k, double v) {
  uint16_t y, m, d, h, n, s, ms;
  DecodeDateTime(v, y, m, d, h, n, s, ms);
  char buf[64];
  if (k == xtkDate)
    std::snprintf(buf, sizeof buf, "%04u-%02u-%02u", y, m, d);
  else if (k == xtkTime)
    std::snprintf(buf, sizeof buf, "%02u:%02u:%02u", h, n, s);
  else
    std::snprintf(buf, sizeof buf, "%04u-%02u-%02u %02u:%02u:%02u", y, m, d, h, n, s);
  return XoUTF8ToUTF16(buf);
}

// The value a typed simple record holds (empty when null).
TValue Unwrapped(const TXoTypeInfo* t, const void* p) {
  TValue r;
  t->Ops().XsGet(p, r);
  return r;
}

std::u16string PtrText(const void* p) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%p", p);
  return XoUTF8ToUTF16(buf);
}

}  // namespace

TValue::TValue(const TValue& AOther) {
  if (AOther.FType) Make(AOther.FData, AOther.FType, *this);
}

TValue& TValue::operator=(const TValue& AOther) {
  if (this != &AOther) {
    if (AOther.FType)
      Make(AOther.FData, AOther.FType, *this);
    else
      Clear();
  }
  return *this;
}

TValue& TValue::operator=(TValue&& AOther) noexcept {
  if (this != &AOther) {
    Clear();
    FType = AOther.FType;
    FData = AOther.FData;
    AOther.FType = nullptr;
    AOther.FData = nullptr;
  }
  return *this;
}

void TValue::Clear() noexcept {
  if (FData) {
    FType->Ops().Destroy(FData);
    FreeData(FType, FData);
  }
  FData = nullptr;
  FType = nullptr;
}

const TValue& TValue::Empty() {
  static const TValue e;
  return e;
}

void TValue::Make(const void* ABuffer, TXoTypeInfo* AType, TValue& AResult) {
  if (!AType) {
    AResult.Clear();
    return;
  }
  const TXoTypeOps& o = AType->Ops();
  if (!o.Copy || !o.Construct)
    throw ENotSupportedException(u"Values of type \"%s\" cannot be held in a TValue!", {AType->GetQualifiedName()});
  void* p = AllocData(AType);
  try {
    if (ABuffer)
      o.Copy(p, ABuffer);
    else
      o.Construct(p);
  } catch (...) {
    FreeData(AType, p);
    throw;
  }
  AResult.Clear();
  AResult.FType = AType;
  AResult.FData = p;
}

TValue TValue::FromObject(TObject* AObject) {
  TXoTypeInfo* t = AObject ? TXoTypes::ClassOf(AObject) : TXoTypes::Of<TObject>();
  TValue r = Make(nullptr, t);
  if (!t->Ops().FromObject(r.FData, AObject))
    throw EInvalidCast(u"The object is not an instance of %s!", {t->GetName()});
  return r;
}

TValue TValue::Make(int64_t AValue, TXoTypeInfo* AType) {
  if (AType && AType->GetWrappedType()) return Make(AValue, AType->GetWrappedType()).ToType(AType);
  if (AType && AType->GetTypeKind() == xtkSet) {
    uint64_t bits = static_cast<uint64_t>(AValue);
    return Make(&bits, AType);
  }
  return FromOrdinal(AType, AValue);
}

TValue TValue::FromOrdinal(TXoTypeInfo* AType, int64_t AOrdinal) {
  if (!AType || !AType->IsOrdinal())
    throw EInvalidCast(u"FromOrdinal: %s is not an ordinal type!",
                       {AType ? AType->GetQualifiedName() : std::u16string(u"nil")});
  TValue r = Make(nullptr, AType);
  WriteOrdinal(AType, r.FData, AOrdinal);
  return r;
}

TValue TValue::FromVariant(const Variant& AValue) {
  TVarType vt = AValue.VarType();
  if (vt & varArray) return From(AValue);
  switch (vt) {
    case varEmpty:
    case varNull: return TValue();
    case varSmallint: return From(static_cast<int16_t>(AValue.AsInteger()));
    case varInteger: return From(AValue.AsInteger());
    case varSingle: return From(static_cast<float>(AValue.AsDouble()));
    case varDouble: return From(AValue.AsDouble());
    case varExtended: return From(AValue.AsExtended());
    case varDate: return FromAs<TDateTimeTag>(AValue.AsDate());
    case varOleStr: return FromAs<TWideStringTag>(AValue.AsString());
    case varBoolean: return From(AValue.AsBoolean());
    case varUnknown: return From(AValue.AsInterface());
    case varDecimal:
    case varInt64: return From(AValue.AsInt64());
    case varShortInt: return From(static_cast<int8_t>(AValue.AsInteger()));
    case varByte: return From(static_cast<uint8_t>(AValue.AsInteger()));
    case varWord: return From(static_cast<uint16_t>(AValue.AsInteger()));
    case varLongWord: return From(static_cast<uint32_t>(AValue.AsInt64()));
    case varUInt64: return From(AValue.AsUInt64());
    case varString: return From(AValue.AsAnsiString());
    case varUString: return From(AValue.AsString());
    default: return From(AValue);
  }
}

bool TValue::IsEmpty() const {
  if (!FType) return true;
  const TXoTypeOps& o = FType->Ops();
  switch (FType->GetTypeKind()) {
    case xtkClass: return o.ToObject(FData) == nullptr;
    case xtkInterface: return o.ToInterface(FData) == nullptr;
    case xtkClassRef: return o.ToClass(FData) == nullptr;
    case xtkPointer:
    case xtkProcedure: return *static_cast<void* const*>(FData) == nullptr;
    default: return false;
  }
}

TObject* TValue::AsObject() const {
  if (!FType) return nullptr;
  if (FType->GetTypeKind() == xtkClass) return FType->Ops().ToObject(FData);
  if (FType->GetTypeKind() == xtkInterface) {
    IInterface* i = FType->Ops().ToInterface(FData);
    if (!i) return nullptr;
    if (auto* x = dynamic_cast<IXoObject*>(i))
      if (TXoObject* o = x->Implementor()) return o;
    if (auto* o = dynamic_cast<TObject*>(i)) return o;
  }
  throw EInvalidCast(u"Invalid class typecast");
}

TClass TValue::AsClass() const {
  if (!FType) return nullptr;
  if (FType->GetTypeKind() == xtkClassRef) return FType->Ops().ToClass(FData);
  throw EInvalidCast(u"Invalid class typecast");
}

TIntfPtr<IInterface> TValue::AsInterface() const {
  if (!FType) return nullptr;
  if (FType->GetTypeKind() == xtkInterface) return TIntfPtr<IInterface>(FType->Ops().ToInterface(FData));
  if (FType->GetTypeKind() == xtkClass) {
    TObject* o = FType->Ops().ToObject(FData);
    if (!o) return nullptr;
    if (auto* i = dynamic_cast<IInterface*>(o)) return TIntfPtr<IInterface>(i);
  }
  throw EInvalidCast(u"Invalid class typecast");
}

int64_t TValue::AsOrdinal() const {
  if (FType && FType->Ops().XsGet) return Unwrapped(FType, FData).AsOrdinal();
  if (FType && FType->IsOrdinal()) return ReadOrdinal(FType, FData);
  if (FType && FType->GetTypeKind() == xtkSet) return static_cast<int64_t>(*static_cast<const uint64_t*>(FData));
  throw EInvalidCast(u"Invalid class typecast");
}

int32_t TValue::AsInteger() const { return AsType<int32_t>(); }
int64_t TValue::AsInt64() const { return AsType<int64_t>(); }
uint64_t TValue::AsUInt64() const { return AsType<uint64_t>(); }
long double TValue::AsExtended() const { return AsType<long double>(); }
bool TValue::AsBoolean() const { return AsType<bool>(); }
std::u16string TValue::AsString() const { return AsType<std::u16string>(); }

Variant TValue::AsVariant() const {
  if (!FType) return Variant();
  if (FType->Ops().XsGet) {
    // A null record is a null variant.
    TValue v = Unwrapped(FType, FData);
    return v.IsEmpty() ? Variant::Null() : v.AsVariant();
  }
  const void* p = FData;
  switch (FType->GetTypeKind()) {
    case xtkByte: return Variant(*static_cast<const uint8_t*>(p));
    case xtkWord: return Variant(*static_cast<const uint16_t*>(p));
    case xtkCardinal: return Variant(*static_cast<const uint32_t*>(p));
    case xtkUInt64: return Variant(*static_cast<const uint64_t*>(p));
    case xtkShortInt: return Variant(*static_cast<const int8_t*>(p));
    case xtkSmallInt: return Variant(*static_cast<const int16_t*>(p));
    case xtkInteger: return Variant(*static_cast<const int32_t*>(p));
    case xtkInt64: return Variant(*static_cast<const int64_t*>(p));
    case xtkSingle: return Variant(*static_cast<const float*>(p));
    case xtkDouble: return Variant(*static_cast<const double*>(p));
    case xtkExtended: return Variant(*static_cast<const long double*>(p));
    case xtkDate:
    case xtkTime:
    case xtkDateTime: return Variant::FromDate(*static_cast<const double*>(p));
    case xtkChar:
    case xtkWideChar:
    case xtkString: return Variant(ReadText(FType, p));
    case xtkWideString: return Variant::FromOleStr(ReadText(FType, p));
    case xtkAnsiChar: return Variant(std::string(1, *static_cast<const char*>(p)));
    case xtkAnsiString: return Variant(*static_cast<const std::string*>(p));
    case xtkBoolean: return Variant(ReadOrdinal(FType, p) != 0);
    case xtkEnumeration: return Variant(static_cast<int32_t>(ReadOrdinal(FType, p)));
    case xtkSet: return Variant(ToString());
    case xtkVariant: return *static_cast<const Variant*>(p);
    case xtkInterface: return Variant(AsInterface());
    case xtkRecord:
      if (FType == TXoTypes::Of<TValue>()) return static_cast<const TValue*>(p)->AsVariant();
      break;
    default: break;
  }
  throw EInvalidCast(u"Invalid class typecast");
}

size_t TValue::GetArrayLength() const {
  if (!IsArray()) throw EInvalidCast(u"The value is not an array!");
  return FType->Ops().ArrayLength(FData);
}

static bool HoldsValues(const TXoTypeInfo* t) { return t->GetCppType() == &typeid(std::vector<TValue>); }

TValue TValue::GetArrayElement(size_t AIndex) const {
  size_t n = GetArrayLength();
  if (AIndex >= n)
    throw EArgumentOutOfRangeException(u"Array index %d out of range (length %d)",
                                       {static_cast<int64_t>(AIndex), static_cast<int64_t>(n)});
  void* e = FType->Ops().ArrayElement(FData, AIndex);
  if (HoldsValues(FType)) return *static_cast<const TValue*>(e);
  return Make(e, FType->GetElementType());
}

void TValue::SetArrayElement(size_t AIndex, const TValue& AValue) {
  size_t n = GetArrayLength();
  if (AIndex >= n)
    throw EArgumentOutOfRangeException(u"Array index %d out of range (length %d)",
                                       {static_cast<int64_t>(AIndex), static_cast<int64_t>(n)});
  void* e = FType->Ops().ArrayElement(FData, AIndex);
  if (HoldsValues(FType)) {
    *static_cast<TValue*>(e) = AValue;
    return;
  }
  detail::ExtractAs(AValue, FType->GetElementType(), e);
}

void TValue::SetArrayLength(size_t ALength) {
  if (!IsArray() || !FType->Ops().ArraySetLength)
    throw EInvalidOperation(u"Only a dynamic array can change its length!");
  FType->Ops().ArraySetLength(FData, ALength);
}

void TValue::ExtractRawData(void* ADest) const {
  if (FType) FType->Ops().Assign(ADest, FData);
}

std::u16string TValue::ToString() const {
  if (IsEmpty()) return u"(empty)";
  if (FType->Ops().XsGet) return Unwrapped(FType, FData).ToString();
  const void* p = FData;
  TXoTypeKind k = FType->GetTypeKind();
  switch (k) {
    case xtkByte:
    case xtkWord:
    case xtkCardinal:
    case xtkShortInt:
    case xtkSmallInt:
    case xtkInteger:
    case xtkInt64: return IntToStr(ReadOrdinal(FType, p));
    case xtkUInt64: return UIntToStr(*static_cast<const uint64_t*>(p));
    case xtkSingle:
    case xtkDouble:
    case xtkExtended: return FloatText(k, ReadFloat(FType, p));
    case xtkDate:
    case xtkTime:
    case xtkDateTime: return DateText(k, *static_cast<const double*>(p));
    case xtkChar:
    case xtkAnsiChar:
    case xtkWideChar:
    case xtkString:
    case xtkAnsiString:
    case xtkWideString: return ReadText(FType, p);
    case xtkBoolean:
    case xtkEnumeration: return FType->GetEnumName(ReadOrdinal(FType, p));
    case xtkSet: return SetToString(FType, *static_cast<const uint64_t*>(p), true);
    case xtkVariant: return VarToStr(*static_cast<const Variant*>(p));
    case xtkClass: {
      TObject* o = FType->Ops().ToObject(p);
      return u"(" + TXoTypes::ClassOf(o)->GetName() + u" @ " + PtrText(o) + u")";
    }
    case xtkClassRef: return u"(class '" + FType->Ops().ToClass(p)->GetName() + u"')";
    case xtkInterface: return u"(interface @ " + PtrText(FType->Ops().ToInterface(p)) + u")";
    case xtkRecord:
      if (FType == TXoTypes::Of<TValue>()) return static_cast<const TValue*>(p)->ToString();
      return u"(record)";
    case xtkArray: return u"(array)";
    case xtkDynArray: return u"(dynamic array)";
    case xtkPointer:
    case xtkProcedure: return u"(pointer @ " + PtrText(*static_cast<void* const*>(p)) + u")";
    case xtkEvent: return u"(method)";
    default: return u"(unknown)";
  }
}

TXoMainTypeKind TValue::MainTypeKind() const {
  if (!FType) return mtkOther;
  if (FType->GetTypeKind() == xtkVariant) return TXoTypes::VarMainTypeKind(*static_cast<const Variant*>(FData));
  if (FType == TXoTypes::Of<TValue>()) return static_cast<const TValue*>(FData)->MainTypeKind();
  return FType->GetMainTypeKind();
}

bool TValue::IsNull() const {
  if (IsEmpty()) return true;
  if (FType->GetTypeKind() == xtkVariant) return static_cast<const Variant*>(FData)->IsClear();
  if (FType == TXoTypes::Of<TValue>()) return static_cast<const TValue*>(FData)->IsNull();
  if (FType->Ops().IsNull) return FType->Ops().IsNull(FData);
  return false;
}

TValue TValue::ToType(TXoTypeInfo* AType) const {
  TValue r;
  if (!TryToType(AType, r))
    throw EInvalidCast(u"Cannot convert a value of type %s to %s!",
                       {FType ? FType->GetQualifiedName() : std::u16string(u"(empty)"),
                        AType ? AType->GetQualifiedName() : std::u16string(u"nil")});
  return r;
}

bool TValue::TryToType(TXoTypeInfo* AType, TValue& AResult) const {
  if (!AType) return false;
  if (!FType) {
    // An empty value becomes the target's default (0, "", nil).
    if (!AType->Ops().Construct || !AType->Ops().Copy) return false;
    Make(nullptr, AType, AResult);
    return true;
  }
  if (FType == AType) {
    AResult = *this;
    return true;
  }
  TXoTypeKind sk = FType->GetTypeKind(), tk = AType->GetTypeKind();
  // Wrappers: a TValue inside a TValue, a Variant.
  if (FType == TXoTypes::Of<TValue>()) return static_cast<const TValue*>(FData)->TryToType(AType, AResult);
  if (AType == TXoTypes::Of<TValue>()) {
    AResult = From(*this);
    return true;
  }
  if (tk == xtkVariant) {
    try {
      Variant v = AsVariant();
      Make(&v, AType, AResult);
      return true;
    } catch (const EInvalidCast&) {
      return false;
    }
  }
  if (sk == xtkVariant) {
    const Variant& v = *static_cast<const Variant*>(FData);
    if (v.IsClear()) return false;
    return FromVariant(v).TryToType(AType, AResult);
  }
  // Typed simple records: from the value they hold (a null record converts
  // as an empty value), and to one through its conversion.
  if (FType->Ops().XsGet) return Unwrapped(FType, FData).TryToType(AType, AResult);
  if (AType->Ops().XsSet) {
    TValue plain;
    if (!TryToType(AType->GetWrappedType(), plain)) return false;
    TValue t = Make(nullptr, AType);
    AType->Ops().XsSet(t.FData, plain);
    AResult = std::move(t);
    return true;
  }
  // Same storage and the same kind of value: a new identity for the copy
  // (Double to TDateTime, a distinct record, a virtual type).
  if (FType->GetCppType() == AType->GetCppType() && sk == tk && sk != xtkClass && sk != xtkInterface &&
      sk != xtkClassRef && sk != xtkEnumeration && sk != xtkSet) {
    Make(FData, AType, AResult);
    return true;
  }
  const bool srcOrd = FType->IsOrdinal();
  const bool srcFloat = IsFloatKind(sk);
  const bool srcStr = IsStrKind(sk) || IsCharKind(sk);

  if (IsIntKind(tk) || IsCharKind(tk) || tk == xtkBoolean || tk == xtkEnumeration) {
    int64_t v = 0;
    bool unsignedSrc = false;
    if (IsCharKind(tk) && srcStr) {
      TValue t = Make(nullptr, AType);
      if (!WriteText(AType, t.FData, ReadText(FType, FData))) return false;
      AResult = std::move(t);
      return true;
    }
    if (srcOrd) {
      if (tk == xtkEnumeration && sk == xtkBoolean) return false;
      v = ReadOrdinal(FType, FData);
      unsignedSrc = sk == xtkUInt64;
    } else if (srcFloat) {
      long double f = ReadFloat(FType, FData);
      if (!IsIntKind(tk) || f != static_cast<long double>(static_cast<int64_t>(f))) return false;
      v = static_cast<int64_t>(f);
    } else if (srcStr) {
      std::u16string s = Trim(ReadText(FType, FData));
      if (tk == xtkBoolean) {
        bool b;
        if (!TryStrToBool(s, b)) return false;
        v = b;
      } else if (tk == xtkEnumeration && !s.empty() && !(s[0] >= u'0' && s[0] <= u'9') && s[0] != u'-') {
        v = AType->GetEnumValue(s);
        if (v < 0) return false;
      } else if (tk == xtkUInt64) {
        uint64_t u;
        if (!TryStrToUInt64(s, u)) return false;
        v = static_cast<int64_t>(u);
        unsignedSrc = true;
      } else if (!TryStrToInt64(s, v)) {
        return false;
      }
    } else {
      return false;
    }
    if (!InRange(AType, v, unsignedSrc)) return false;
    AResult = FromOrdinal(AType, v);
    return true;
  }

  if (IsFloatKind(tk)) {
    long double f;
    if (IsIntKind(sk))
      f = sk == xtkUInt64 ? static_cast<long double>(*static_cast<const uint64_t*>(FData))
                          : static_cast<long double>(ReadOrdinal(FType, FData));
    else if (srcFloat)
      f = ReadFloat(FType, FData);
    else if (IsStrKind(sk)) {
      if (!TryStrToFloat(Trim(ReadText(FType, FData)), f)) return false;
    } else
      return false;
    TValue t = Make(nullptr, AType);
    WriteFloat(AType, t.FData, f);
    AResult = std::move(t);
    return true;
  }

  if (IsStrKind(tk)) {
    if (!(FType->GetIsSimpleType() || sk == xtkSet)) return false;
    std::u16string s = srcStr ? ReadText(FType, FData) : ToString();
    TValue t = Make(nullptr, AType);
    WriteText(AType, t.FData, s);
    AResult = std::move(t);
    return true;
  }

  if (tk == xtkSet) {
    uint64_t bits;
    if (sk == xtkSet) {
      bits = *static_cast<const uint64_t*>(FData);
    } else if (IsIntKind(sk)) {
      bits = static_cast<uint64_t>(ReadOrdinal(FType, FData));
    } else if (IsStrKind(sk)) {
      std::u16string s = Trim(ReadText(FType, FData));
      if (!s.empty() && s[0] >= u'0' && s[0] <= u'9') {
        if (!TryStrToUInt64(s, bits)) return false;
      } else {
        try {
          bits = StringToSet(AType, s);
        } catch (const EConvertError&) {
          return false;
        }
      }
    } else {
      return false;
    }
    AResult = Make(&bits, AType);
    return true;
  }

  if (tk == xtkClass) {
    TObject* o = nullptr;
    if (sk == xtkClass || sk == xtkInterface) {
      try {
        o = AsObject();
      } catch (const EInvalidCast&) {
        return false;
      }
    } else if (sk == xtkPointer && *static_cast<void* const*>(FData) == nullptr) {
      o = nullptr;
    } else {
      return false;
    }
    TValue t = Make(nullptr, AType);
    if (!AType->Ops().FromObject(t.FData, o)) return false;
    AResult = std::move(t);
    return true;
  }

  if (tk == xtkInterface) {
    IInterface* i = nullptr;
    if (sk == xtkInterface)
      i = FType->Ops().ToInterface(FData);
    else if (sk == xtkClass) {
      TObject* o = FType->Ops().ToObject(FData);
      i = o ? dynamic_cast<IInterface*>(o) : nullptr;
      if (o && !i) return false;
    } else
      return false;
    TValue t = Make(nullptr, AType);
    if (!AType->Ops().FromInterface(t.FData, i)) return false;
    AResult = std::move(t);
    return true;
  }

  if (tk == xtkClassRef && sk == xtkClassRef) {
    TValue t = Make(nullptr, AType);
    if (!AType->Ops().FromClass(t.FData, FType->Ops().ToClass(FData))) return false;
    AResult = std::move(t);
    return true;
  }

  // Arrays and records of the same storage (a distinct or virtual type).
  if (FType->GetCppType() == AType->GetCppType() && sk == tk) {
    Make(FData, AType, AResult);
    return true;
  }
  return false;
}

namespace {
template <class R>
R ConvertOr(const TValue& V, TXoTypeInfo* AType, R ADefault, bool ARaise) {
  if (V.IsEmpty() && V.TypeKind() != xtkClass) return ADefault;
  TValue r;
  if (V.TryToType(AType, r)) return *static_cast<const R*>(r.GetReferenceToRawData());
  if (ARaise)
    throw EConvertError(u"Cannot convert a value of type %s to %s!",
                        {V.TypeInfo() ? V.TypeInfo()->GetQualifiedName() : std::u16string(u"(empty)"),
                         AType->GetQualifiedName()});
  return ADefault;
}
}  // namespace

int32_t TValue::ToInt(int32_t ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<int32_t>(), ADefault, ARaise);
}
int64_t TValue::ToInt64(int64_t ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<int64_t>(), ADefault, ARaise);
}
uint64_t TValue::ToUInt64(uint64_t ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<uint64_t>(), ADefault, ARaise);
}
double TValue::ToDouble(double ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<double>(), ADefault, ARaise);
}
long double TValue::ToExtended(long double ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<long double>(), ADefault, ARaise);
}
bool TValue::ToBool(bool ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<bool>(), ADefault, ARaise);
}
std::u16string TValue::ToStr(std::u16string_view ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<std::u16string>(), std::u16string(ADefault), ARaise);
}
TDateTime TValue::ToDateTime(TDateTime ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<TDateTimeTag>(), ADefault, ARaise);
}
Variant TValue::ToVariant(const Variant& ADefault, bool ARaise) const {
  return ConvertOr(*this, TXoTypes::Of<Variant>(), ADefault, ARaise);
}

// ===========================================================================
// Enumerations and sets

int64_t GetEnumValue(const TXoTypeInfo* AType, std::u16string_view AName) {
  return AType ? AType->GetEnumValue(AName) : -1;
}

std::u16string GetEnumName(const TXoTypeInfo* AType, int64_t AOrdinal) {
  return AType ? AType->GetEnumName(AOrdinal) : IntToStr(AOrdinal);
}

uint64_t StringToSet(const TXoTypeInfo* ASetType, std::u16string_view AText) {
  std::u16string s = Trim(AText);
  std::u16string_view v = s;
  if (!v.empty() && v.front() == u'[') v.remove_prefix(1);
  if (!v.empty() && v.back() == u']') v.remove_suffix(1);
  uint64_t bits = 0;
  for (const std::u16string& item : XoTokenize(v, u",")) {
    std::u16string name = Trim(item);
    if (name.empty()) continue;
    int64_t o = ASetType ? ASetType->GetEnumValue(name) : -1;
    if (o < 0 || o > 63) throw EConvertError(u"Invalid enumeration name: %s", {name});
    bits |= uint64_t(1) << o;
  }
  return bits;
}

std::u16string SetToString(const TXoTypeInfo* ASetType, uint64_t ABits, bool ABrackets) {
  std::u16string r;
  if (ABrackets) r += u'[';
  bool first = true;
  for (int i = 0; i < 64; ++i) {
    if (!((ABits >> i) & 1u)) continue;
    if (!first) r += u',';
    first = false;
    r += ASetType ? ASetType->GetEnumName(i) : IntToStr(i);
  }
  if (ABrackets) r += u']';
  return r;
}

// ===========================================================================
// Members

TValue TRttiField::GetValue(void* AInstance) const {
  if (!AInstance) throw EArgumentNilException(u"No instance given to read %s!", {FName});
  return TValue::Make(GetAddress(AInstance), FFieldType);
}

void TRttiField::SetValue(void* AInstance, const TValue& AValue) const {
  if (!AInstance) throw EArgumentNilException(u"No instance given to write %s!", {FName});
  detail::ExtractAs(AValue, FFieldType, GetAddress(AInstance));
}

TValue TRttiProperty::GetValue(void* AInstance) const {
  if (!FReadable) throw EInvalidOperation(u"The property %s.%s cannot be read!", {FParent->GetName(), FName});
  if (!AInstance) throw EArgumentNilException(u"No instance given to read %s!", {FName});
  return DoGet(AInstance);
}

void TRttiProperty::SetValue(void* AInstance, const TValue& AValue) const {
  if (!FWritable) throw EInvalidOperation(u"The property %s.%s cannot be written!", {FParent->GetName(), FName});
  if (!AInstance) throw EArgumentNilException(u"No instance given to write %s!", {FName});
  DoSet(AInstance, AValue);
}

static void CheckArgCount(const std::u16string& AName, size_t AWanted, size_t AGiven) {
  if (AWanted != AGiven)
    throw EArgumentException(u"%s takes %d arguments, %d were given!",
                             {AName, static_cast<int64_t>(AWanted), static_cast<int64_t>(AGiven)});
}

TValue TRttiIndexedProperty::GetValue(void* AInstance, const std::vector<TValue>& AIndices) const {
  if (!FReadable) throw EInvalidOperation(u"The property %s.%s cannot be read!", {FParent->GetName(), FName});
  if (!AInstance) throw EArgumentNilException(u"No instance given to read %s!", {FName});
  CheckArgCount(FName, FIndexParameters.size(), AIndices.size());
  return DoGet(AInstance, AIndices);
}

void TRttiIndexedProperty::SetValue(void* AInstance, const std::vector<TValue>& AIndices,
                                    const TValue& AValue) const {
  if (!FWritable) throw EInvalidOperation(u"The property %s.%s cannot be written!", {FParent->GetName(), FName});
  if (!AInstance) throw EArgumentNilException(u"No instance given to write %s!", {FName});
  CheckArgCount(FName, FIndexParameters.size(), AIndices.size());
  DoSet(AInstance, AIndices, AValue);
}

TValue TRttiMethod::Invoke(void* AInstance, const std::vector<TValue>& AArgs) const {
  CheckArgCount(FName, FParameters.size(), AArgs.size());
  if (!FStatic && !FConstructor && !AInstance)
    throw EArgumentNilException(u"No instance given to call %s!", {FName});
  return DoInvoke(AInstance, AArgs);
}

// ===========================================================================
// The library's own registrations.

// The library's types are registered once, before the first registration
// or lookup of an application. Re-entrant: registering them goes through the
// same entry points.
static std::atomic<int> gStartState{0};  // 0 not started, 1 running, 2 done
static std::recursive_mutex gStartLock;

void TXoTypes::EnsureStarted() {
  if (gStartState.load(std::memory_order_acquire) == 2) return;
  std::lock_guard<std::recursive_mutex> guard(gStartLock);
  if (gStartState.load(std::memory_order_relaxed) != 0) return;
  gStartState.store(1, std::memory_order_relaxed);
  [] {
    // Simple types (named as they are made).
    Of<uint8_t>();
    Of<uint16_t>();
    Of<uint32_t>();
    Of<uint64_t>();
    Of<int8_t>();
    Of<int16_t>();
    Of<int32_t>();
    Of<int64_t>();
    Of<float>();
    Of<double>();
    Of<long double>();
    Of<char16_t>();
    Of<char>();
    Of<TWideCharTag>();
    Of<std::u16string>();
    Of<std::string>();
    Of<TWideStringTag>();
    Of<TUTF8StringTag>();
    Of<TRawByteStringTag>();
    Of<TXoXMLStringTag>();
    Of<TXoJSONStringTag>();
    Of<bool>();
    Of<TDateTag>();
    Of<TTimeTag>();
    Of<TDateTimeTag>();
    Of<Variant>();
    Of<TValue>();
    Of<TClass>();
    Of<void*>();
    struct TAlias {
      const char16_t* Name;
      TXoTypeInfo* Type;
    };
    const TAlias aliases[] = {
        {u"LongInt", Of<int32_t>()},   {u"Int32", Of<int32_t>()},     {u"Int8", Of<int8_t>()},
        {u"Int16", Of<int16_t>()},     {u"UInt8", Of<uint8_t>()},     {u"UInt16", Of<uint16_t>()},
        {u"UInt32", Of<uint32_t>()},   {u"LongWord", Of<uint32_t>()}, {u"NativeInt", Of<int64_t>()},
        {u"NativeUInt", Of<uint64_t>()}, {u"UnicodeString", Of<std::u16string>()}, {u"Real", Of<double>()},
    };
    for (const TAlias& a : aliases) {
      RegisterTypeAlias(a.Type, a.Name);
      RegisterTypeAlias(a.Type, std::u16string(u"System.") + a.Name);
    }
    // Classes and interfaces of the companion layer.
    TXoTypeBuilder<TObject>::Register(u"System.TObject");
    TXoTypeBuilder<TPersistent>::Register(u"System.Classes.TPersistent",
                                          [](auto& c) { c.template inherits<TObject>(); });
    TXoTypeBuilder<TComponent>::Register(u"System.Classes.TComponent", [](auto& c) {
      c.template inherits<TPersistent>();
      c.property(u"Name", &TComponent::GetName, &TComponent::SetName);
      c.property(u"Owner", &TComponent::GetOwner, mvPublic);
      c.property(u"ComponentCount", &TComponent::ComponentCount, mvPublic);
    });
    TXoTypeBuilder<TXoObject>::Register(u"uXoClasses.TXoObject", [](auto& c) { c.template inherits<TObject>(); });
    TXoTypeBuilder<TXoObjectEx>::Register(u"uXoClasses.TXoObjectEx",
                                          [](auto& c) { c.template inherits<TXoObject>(); });
    TXoTypeBuilder<TXoComponent>::Register(u"uXoClasses.TXoComponent",
                                           [](auto& c) { c.template inherits<TComponent>(); });
    TXoTypeBuilder<TStream>::Register(u"System.Classes.TStream", [](auto& c) {
      c.template inherits<TObject>();
      c.property(u"Position", &TStream::GetPosition, &TStream::SetPosition, mvPublic);
      c.property(u"Size", &TStream::GetSize, &TStream::SetSize, mvPublic);
    });
    TXoTypeBuilder<TCustomMemoryStream>::Register(u"System.Classes.TCustomMemoryStream",
                                                  [](auto& c) { c.template inherits<TStream>(); });
    TXoTypeBuilder<TMemoryStream>::Register(u"System.Classes.TMemoryStream",
                                            [](auto& c) { c.template inherits<TCustomMemoryStream>(); });
    TXoTypeBuilder<TFileStream>::Register(u"System.Classes.TFileStream",
                                          [](auto& c) { c.template inherits<TStream>(); });
    TXoTypeBuilder<TXoMemoryStream>::Register(u"uXoClasses.TXoMemoryStream",
                                              [](auto& c) { c.template inherits<TMemoryStream>(); });
    TXoTypeBuilder<TXoStringStream>::Register(u"uXoClasses.TXoStringStream",
                                              [](auto& c) { c.template inherits<TMemoryStream>(); });
    TXoTypeBuilder<TXoUTF8StreamAdapter>::Register(u"uXoClasses.TXoUTF8StreamAdapter",
                                                   [](auto& c) { c.template inherits<TStream>(); });
    TXoTypeBuilder<TXoTextParser>::Register(u"uXoClasses.TXoTextParser",
                                            [](auto& c) { c.template inherits<TObject>(); });
    TXoTypeBuilder<IInterface>::Register(u"System.IInterface");
    TXoTypeBuilder<IXoObject>::Register(u"uXoClasses.IXoObject", [](auto& c) { c.template inherits<IInterface>(); });
    // The typed simple records.
    detail::XoRegisterXsTypes();
  }();
  gStartState.store(2, std::memory_order_release);
}

}  // namespace xo
