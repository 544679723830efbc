// uXoTypes: the registry of type descriptors, names, serializer pairs and
// the class registry.
#include "uXoTypes.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <typeindex>
#include <unordered_map>

namespace xo {

const char16_t* const XoDataSerializationFormatType[2] = {u"JSON", u"XML"};

namespace {

// Case-insensitive (ASCII) hashing and equality for name maps, with lookup
// by string_view.
struct TCIHash {
  using is_transparent = void;
  size_t operator()(std::u16string_view s) const noexcept {
    uint64_t h = 1469598103934665603ull;
    for (char16_t c : s) {
      if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
      h = (h ^ c) * 1099511628211ull;
    }
    return static_cast<size_t>(h);
  }
};
struct TCIEqual {
  using is_transparent = void;
  bool operator()(std::u16string_view a, std::u16string_view b) const noexcept { return XoSameText(a, b); }
};
using TNameMap = std::unordered_map<std::u16string, TXoTypeInfo*, TCIHash, TCIEqual>;

std::u16string Demangle(const std::type_info& AType) {
  int status = 0;
  char* d = abi::__cxa_demangle(AType.name(), nullptr, nullptr, &status);
  std::string name = status == 0 && d ? d : AType.name();
  std::free(d);
  std::string out;
  out.reserve(name.size());
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] == ':' && i + 1 < name.size() && name[i + 1] == ':') {
      out += '.';
      ++i;
    } else {
      out += name[i];
    }
  }
  return XoUTF8ToUTF16(out);
}

std::u16string Capitalize(std::u16string_view s) {
  std::u16string r(s);
  if (!r.empty()) r[0] = XoCharCase(r[0], true);
  return r;
}

// The short name of a qualified one: behind the last dot before any "<".
std::u16string ShortOf(std::u16string_view AQualified) {
  size_t lt = AQualified.find(u'<');
  size_t dot = AQualified.substr(0, lt).rfind(u'.');
  return std::u16string(dot == std::u16string_view::npos ? AQualified : AQualified.substr(dot + 1));
}

bool IsNameChar(char16_t c) {
  return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'_' ||
         c == u'-' || c == u'.' || c > 0x7F;
}

// A schema name from a short name: generic arguments become "Of" and "And"
// with their short names ("TList<System.string>" gives "TListOfString"); any
// other character that an XML name cannot hold is dropped.
std::u16string SchemaOf(std::u16string_view AShort) {
  std::u16string r;
  size_t i = 0;
  while (i < AShort.size()) {
    char16_t c = AShort[i];
    if (c == u'<' || c == u',') {
      r += c == u'<' ? u"Of" : u"And";
      ++i;
      size_t j = i;
      while (j < AShort.size() && AShort[j] != u',' && AShort[j] != u'>' && AShort[j] != u'<') ++j;
      std::u16string arg = ShortOf(std::u16string(AShort.substr(i, j - i)));
      std::u16string clean;
      for (char16_t a : arg)
        if (IsNameChar(a) && a != u'.') clean += a;
      r += Capitalize(clean);
      i = j;
      continue;
    }
    if (IsNameChar(c)) r += c;
    ++i;
  }
  if (r.empty() || (r[0] >= u'0' && r[0] <= u'9') || r[0] == u'-' || r[0] == u'.') r.insert(0, u"T");
  return r;
}

}  // namespace

// ---------------------------------------------------------------------------
// The registry's state. Allocated once and never destroyed, so descriptors
// outlive every static object of the program.
class TXoRegistryImpl {
public:
  std::vector<TXoTypeInfo*> Types;
  std::unordered_map<std::type_index, TXoTypeInfo*> ByCpp;
  std::unordered_map<std::type_index, TXoTypeInfo*> ClassOfCache;
  TNameMap Names[3];
  TNameMap Aliases;
  TNameMap Explicit;  // qualified names given by registrations
  TNameMap Virtuals;
  TNameMap Classes;   // RegisterClass
  std::map<std::pair<const TXoTypeInfo*, int>, TXoSerializerPair> Serializers;
  std::atomic<bool> NamesDirty{true};
  std::atomic<uint64_t> Generation{1};
  std::recursive_mutex Lock;
  std::vector<void*> Retired;

  void ComputeAutoNames(TXoTypeInfo* t);
  void SyncNames();
  TXoTypeInfo* Find(std::u16string_view AName, TXoTypeNameType ANameType);
  TXoTypeInfo* MakeVirtual(std::u16string_view AName, TXoMainTypeKind AMainKind);
};

static TXoRegistryImpl& Reg() {
  static TXoRegistryImpl* const r = new TXoRegistryImpl;
  return *r;
}

void TXoRegistryImpl::ComputeAutoNames(TXoTypeInfo* t) {
  // Called with the lock held, elements before the types built on them: the
  // element's fields are final and are read directly (its getters would
  // start another pass).
  TXoTypeInfo* e = t->FElementType;
  switch (t->FTypeKind) {
    case xtkDynArray:
      t->FName = u"TArray<" + e->FQualifiedName + u">";
      t->FQualifiedName = u"System." + t->FName;
      if (!t->FExplicitSchema) t->FSchemaName = u"ArrayOf" + Capitalize(e->FSchemaName);
      return;
    case xtkArray: {
      std::u16string range = u"array[0.." + IntToStr(static_cast<int64_t>(t->FArrayLength) - 1) + u"] of ";
      t->FName = range + e->FName;
      t->FQualifiedName = range + e->FQualifiedName;
      if (!t->FExplicitSchema)
        t->FSchemaName = u"ArrayOf" + Capitalize(e->FSchemaName) + u"_" + IntToStr(static_cast<int64_t>(t->FArrayLength));
      return;
    }
    case xtkSet:
      t->FName = u"set of " + e->FName;
      t->FQualifiedName = u"set of " + e->FQualifiedName;
      if (!t->FExplicitSchema) t->FSchemaName = u"SetOf" + Capitalize(e->FSchemaName);
      return;
    case xtkClassRef:
      if (t->FOps.CppType == &typeid(TClass)) {
        t->FName = u"TClass";
        t->FQualifiedName = u"System.TClass";
        if (!t->FExplicitSchema) t->FSchemaName = u"TClass";
      } else {
        t->FName = u"class of " + e->FName;
        t->FQualifiedName = u"class of " + e->FQualifiedName;
        if (!t->FExplicitSchema) t->FSchemaName = u"ClassOf" + Capitalize(e->FSchemaName);
      }
      return;
    case xtkPointer:
      if (t->FOps.CppType == &typeid(void*)) {
        t->FName = u"Pointer";
        t->FQualifiedName = u"System.Pointer";
        if (!t->FExplicitSchema) t->FSchemaName = u"Pointer";
        return;
      }
      break;
    default:
      break;
  }
  // Any other type: its C++ name.
  std::u16string q = Demangle(*(t->FCppKey ? t->FCppKey : t->FOps.CppType));
  t->FQualifiedName = q;
  t->FName = ShortOf(q);
  if (!t->FExplicitSchema) t->FSchemaName = SchemaOf(t->FName);
}

void TXoRegistryImpl::SyncNames() {
  if (!NamesDirty.load(std::memory_order_acquire)) return;
  std::lock_guard<std::recursive_mutex> g(Lock);
  if (!NamesDirty.load(std::memory_order_relaxed)) return;
  // Elements are always made before the types built on them, so one pass in
  // creation order sees every element's final name.
  // Names are worked out on a copy and stored only where they changed:
  // another thread may be reading the names of a type made earlier, which
  // stay as they were unless a registration renamed what they derive from.
  for (TXoTypeInfo* t : Types)
    if (t->FAutoName) {
      TXoTypeInfo names;
      names.FTypeKind = t->FTypeKind;
      names.FElementType = t->FElementType;
      names.FArrayLength = t->FArrayLength;
      names.FOps.CppType = t->FOps.CppType;
      names.FCppKey = t->FCppKey;
      names.FExplicitSchema = t->FExplicitSchema;
      names.FSchemaName = t->FSchemaName;
      ComputeAutoNames(&names);
      if (names.FName != t->FName) t->FName = names.FName;
      if (names.FQualifiedName != t->FQualifiedName) t->FQualifiedName = names.FQualifiedName;
      if (names.FSchemaName != t->FSchemaName) t->FSchemaName = names.FSchemaName;
    }
  for (TNameMap& m : Names) {
    m.clear();
    m.reserve(Types.size() * 2);
  }
  for (TXoTypeInfo* t : Types) {
    Names[tntShort].emplace(t->FName, t);
    Names[tntQualified].emplace(t->FQualifiedName, t);
    Names[tntSchema].emplace(t->FSchemaName, t);
  }
  NamesDirty.store(false, std::memory_order_release);
}

TXoTypeInfo* TXoRegistryImpl::Find(std::u16string_view AName, TXoTypeNameType ANameType) {
  SyncNames();
  std::lock_guard<std::recursive_mutex> g(Lock);
  int nt = ANameType <= tntSchema ? ANameType : tntQualified;
  auto it = Names[nt].find(AName);
  if (it != Names[nt].end()) return it->second;
  it = Aliases.find(AName);
  if (it != Aliases.end()) return it->second;
  return nullptr;
}

TXoTypeInfo* TXoRegistryImpl::MakeVirtual(std::u16string_view AName, TXoMainTypeKind AMainKind) {
  TXoTypeInfo* from = nullptr;
  TXoTypeInfo* element = nullptr;
  switch (AMainKind) {
    case mtkInteger: from = TXoTypes::Of<int64_t>(); break;
    case mtkFloat: from = TXoTypes::Of<double>(); break;
    case mtkString: from = TXoTypes::Of<std::u16string>(); break;
    case mtkBoolean: from = TXoTypes::Of<bool>(); break;
    case mtkDateTime: from = TXoTypes::Of<TDateTimeTag>(); break;
    case mtkArray: {
      from = TXoTypes::Of<std::vector<TValue>>();
      std::u16string_view rest = AName;
      if (rest.size() >= 7 && XoSameText(rest.substr(0, 7), u"ArrayOf")) rest = rest.substr(7);
      if (!rest.empty()) {
        element = Find(rest, tntSchema);
        if (!element) element = Find(rest, tntShort);
        if (!element) element = Find(rest, tntQualified);
      }
      if (!element) element = TXoTypes::Of<Variant>();
      break;
    }
    default: return nullptr;
  }
  TXoTypeInfo* t = TXoTypes::NewTypeInfo(nullptr);
  t->CopyFrom(*from);
  t->FVirtual = true;
  t->FVirtualOf = from;
  t->FAutoName = false;
  t->FName = t->FQualifiedName = t->FSchemaName = std::u16string(AName);
  t->FExplicitSchema = true;
  if (element) t->FElementType = element;
  if (AMainKind == mtkArray) t->FSchemaDataType = sdtArray;
  Virtuals.emplace(std::u16string(AName), t);
  NamesDirty = true;
  return t;
}

// ---------------------------------------------------------------------------
// TRttiObject

void TRttiObject::AddAttribute(TCustomAttribute* AAttribute) {
  if (!AAttribute) throw EArgumentNilException(u"An annotation must not be nil!");
  FAttributes.push_back(AAttribute);
}

// ---------------------------------------------------------------------------
// TXoTypeInfo

struct TXoTypeInfo::TCaches {
  uint64_t Generation = 0;
  std::vector<TRttiField*> Fields;
  std::vector<TRttiProperty*> Properties;
  std::vector<TRttiIndexedProperty*> IndexedProperties;
  std::vector<TRttiMethod*> Methods;
  template <class M>
  using TIndex = std::vector<std::pair<std::u16string_view, M*>>;
  TIndex<TRttiField> FieldIndex;
  TIndex<TRttiProperty> PropertyIndex;
  TIndex<TRttiIndexedProperty> IndexedPropertyIndex;
  TIndex<TRttiMethod> MethodIndex;
};

namespace {
template <class M>
void BuildIndex(const std::vector<M*>& AAll, std::vector<std::pair<std::u16string_view, M*>>& AIndex) {
  AIndex.clear();
  AIndex.reserve(AAll.size());
  for (M* m : AAll) AIndex.emplace_back(m->GetName(), m);
  // Stable: among equal names the nearest declaration (listed first) stays.
  std::stable_sort(AIndex.begin(), AIndex.end(),
                   [](const auto& a, const auto& b) { return XoCompareText(a.first, b.first) < 0; });
  auto last = std::unique(AIndex.begin(), AIndex.end(),
                          [](const auto& a, const auto& b) { return XoCompareText(a.first, b.first) == 0; });
  AIndex.erase(last, AIndex.end());
}
template <class M>
M* Lookup(const std::vector<std::pair<std::u16string_view, M*>>& AIndex, std::u16string_view AName) {
  auto it = std::lower_bound(AIndex.begin(), AIndex.end(), AName,
                             [](const auto& a, std::u16string_view n) { return XoCompareText(a.first, n) < 0; });
  if (it != AIndex.end() && XoCompareText(it->first, AName) == 0) return it->second;
  return nullptr;
}
}  // namespace

void TXoTypeInfo::CopyFrom(const TXoTypeInfo& o) {
  FName = o.FName;
  FQualifiedName = o.FQualifiedName;
  FSchemaName = o.FSchemaName;
  FTypeKind = o.FTypeKind;
  FKind = o.FKind;
  FSchemaDataType = o.FSchemaDataType;
  FOps = o.FOps;
  FOrdSigned = o.FOrdSigned;
  FElementType = o.FElementType;
  FWrappedType = o.FWrappedType;
  FBaseType = o.FBaseType;
  FArrayLength = o.FArrayLength;
  FMinValue = o.FMinValue;
  FMaxValue = o.FMaxValue;
  FEnumNames = o.FEnumNames;
  FParameters = o.FParameters;
  FReturnType = o.FReturnType;
  FCppKey = o.FCppKey;
}

const TXoTypeInfo::TCaches& TXoTypeInfo::Caches() const {
  TXoRegistryImpl& r = Reg();
  uint64_t gen = r.Generation.load(std::memory_order_acquire);
  TCaches* c = FCaches.load(std::memory_order_acquire);
  if (c && c->Generation == gen) return *c;
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  c = FCaches.load(std::memory_order_relaxed);
  if (c && c->Generation == gen) return *c;
  auto* n = new TCaches;
  n->Generation = gen;
  // Own members first, then the parent's, and so on up the chain.
  for (const TXoTypeInfo* t = this; t; t = t->FBaseType) {
    n->Fields.insert(n->Fields.end(), t->FFields.begin(), t->FFields.end());
    n->Properties.insert(n->Properties.end(), t->FProperties.begin(), t->FProperties.end());
    n->IndexedProperties.insert(n->IndexedProperties.end(), t->FIndexedProperties.begin(),
                                t->FIndexedProperties.end());
    n->Methods.insert(n->Methods.end(), t->FMethods.begin(), t->FMethods.end());
  }
  BuildIndex(n->Fields, n->FieldIndex);
  BuildIndex(n->Properties, n->PropertyIndex);
  BuildIndex(n->IndexedProperties, n->IndexedPropertyIndex);
  BuildIndex(n->Methods, n->MethodIndex);
  // A reader on another thread may still hold the old block: keep it.
  if (c) r.Retired.push_back(c);
  FCaches.store(n, std::memory_order_release);
  return *n;
}

const std::vector<TRttiField*>& TXoTypeInfo::GetFields() const { return Caches().Fields; }
const std::vector<TRttiProperty*>& TXoTypeInfo::GetProperties() const { return Caches().Properties; }
const std::vector<TRttiIndexedProperty*>& TXoTypeInfo::GetIndexedProperties() const {
  return Caches().IndexedProperties;
}
const std::vector<TRttiMethod*>& TXoTypeInfo::GetMethods() const { return Caches().Methods; }
TRttiField* TXoTypeInfo::GetField(std::u16string_view AName) const { return Lookup(Caches().FieldIndex, AName); }
TRttiProperty* TXoTypeInfo::GetProperty(std::u16string_view AName) const {
  return Lookup(Caches().PropertyIndex, AName);
}
TRttiIndexedProperty* TXoTypeInfo::GetIndexedProperty(std::u16string_view AName) const {
  return Lookup(Caches().IndexedPropertyIndex, AName);
}
TRttiMethod* TXoTypeInfo::GetMethod(std::u16string_view AName) const { return Lookup(Caches().MethodIndex, AName); }

const std::u16string& TXoTypeInfo::GetName() const {
  if (FAutoName) Reg().SyncNames();
  return FName;
}
const std::u16string& TXoTypeInfo::GetQualifiedName() const {
  if (FAutoName) Reg().SyncNames();
  return FQualifiedName;
}
std::u16string TXoTypeInfo::SchemaName(std::u16string_view APrefix) const {
  if (FAutoName) Reg().SyncNames();
  if (APrefix.empty()) return FSchemaName;
  std::u16string r(APrefix);
  r += u':';
  r += FSchemaName;
  return r;
}
const std::u16string& TXoTypeInfo::GetTypeName(TXoTypeNameType ANameType) const {
  if (FAutoName) Reg().SyncNames();
  switch (ANameType) {
    case tntShort: return FName;
    case tntSchema: return FSchemaName;
    default: return FQualifiedName;
  }
}

TXoMainTypeKind TXoTypeInfo::GetMainTypeKind() const { return TXoTypes::ToMainTypeKind(FTypeKind); }

bool TXoTypeInfo::IsOrdinal() const {
  if (FWrappedType) return false;  // a record, whatever value it holds
  return (FTypeKind >= xtkByte && FTypeKind <= xtkInt64) || (FTypeKind >= xtkChar && FTypeKind <= xtkWideChar) ||
         FTypeKind == xtkBoolean || FTypeKind == xtkEnumeration;
}

bool TXoTypeInfo::InheritsFrom(const TXoTypeInfo* AAncestor) const {
  if (!AAncestor) return false;
  for (const TXoTypeInfo* t = this; t; t = t->FBaseType ? t->FBaseType : t->FVirtualOf)
    if (t == AAncestor) return true;
  return false;
}

TXoTypeInfo* TXoTypeInfo::VirtualType(std::u16string_view AName, TXoSchemaDataType ASchemaDataType) {
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  auto it = r.Virtuals.find(AName);
  if (it != r.Virtuals.end() && it->second->FVirtualOf == this) return it->second;
  TXoTypeInfo* t = TXoTypes::NewTypeInfo(nullptr);
  t->CopyFrom(*this);
  t->FVirtual = true;
  t->FVirtualOf = this;
  t->FAutoName = false;
  t->FExplicitSchema = true;
  t->FName = t->FQualifiedName = t->FSchemaName = std::u16string(AName);
  t->FSchemaDataType = ASchemaDataType;
  // A virtual class is a kind of its class: it has its members and ancestry.
  if (FTypeKind == xtkClass || FTypeKind == xtkInterface) t->FBaseType = this;
  r.Virtuals.insert_or_assign(std::u16string(AName), t);
  r.NamesDirty = true;
  TXoTypes::Changed();
  return t;
}

std::u16string TXoTypeInfo::GetEnumName(int64_t AOrdinal) const {
  const TXoTypeInfo* t = FTypeKind == xtkSet ? FElementType : this;
  if (t && AOrdinal >= 0 && static_cast<uint64_t>(AOrdinal) < t->FEnumNames.size())
    return t->FEnumNames[static_cast<size_t>(AOrdinal)];
  return IntToStr(AOrdinal);
}

int64_t TXoTypeInfo::GetEnumValue(std::u16string_view AName) const {
  const TXoTypeInfo* t = FTypeKind == xtkSet ? FElementType : this;
  if (!t) return -1;
  for (size_t i = 0; i < t->FEnumNames.size(); ++i)
    if (XoSameText(t->FEnumNames[i], AName)) return static_cast<int64_t>(i);
  return -1;
}

TObject* TXoTypeInfo::CreateInstance(TComponent* AOwner) const {
  if (!FOps.CreateObject) throw ENotSupportedException(u"Failed to create an instance of %s!", {GetName()});
  return FOps.CreateObject(AOwner);
}

bool TXoTypeInfo::IsInstance(const TObject* AObject) const {
  return AObject && FOps.IsInstance && FOps.IsInstance(AObject);
}

// ---------------------------------------------------------------------------
// TXoTypes

TXoTypeInfo* TXoTypes::NewTypeInfo(const std::type_info* ACppType, bool APublish) {
  auto* t = new TXoTypeInfo();
  t->FCppKey = ACppType;
  if (APublish) Publish(t);
  return t;
}

void TXoTypes::Publish(TXoTypeInfo* AType) {
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  AType->FIndex = r.Types.size();
  r.Types.push_back(AType);
  if (AType->FCppKey) r.ByCpp.emplace(std::type_index(*AType->FCppKey), AType);
  r.NamesDirty = true;
}

void TXoTypes::SetNames(TXoTypeInfo* AType, std::u16string_view AQualifiedName, std::u16string_view AShortName,
                        std::u16string_view ASchemaName) {
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  if (AQualifiedName.empty()) throw EArgumentException(u"A type needs a name!");
  auto it = r.Explicit.find(AQualifiedName);
  if (it != r.Explicit.end() && it->second != AType)
    throw EInvalidOperation(u"A type named %s is already registered!", {AQualifiedName});
  if (!AType->FAutoName) r.Explicit.erase(AType->FQualifiedName);
  r.Explicit.insert_or_assign(std::u16string(AQualifiedName), AType);
  AType->FAutoName = false;
  AType->FQualifiedName = std::u16string(AQualifiedName);
  AType->FName = AShortName.empty() ? ShortOf(AQualifiedName) : std::u16string(AShortName);
  if (!ASchemaName.empty()) {
    AType->FSchemaName = std::u16string(ASchemaName);
    AType->FExplicitSchema = true;
  } else if (!AType->FExplicitSchema) {
    AType->FSchemaName = SchemaOf(AType->FName);
  }
  r.NamesDirty = true;
}

void TXoTypes::Changed() { Reg().Generation.fetch_add(1, std::memory_order_acq_rel); }

TXoTypeInfo* TXoTypes::GetTypeInfo(const std::type_info& AType) {
  EnsureStarted();
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  auto it = r.ByCpp.find(std::type_index(AType));
  return it == r.ByCpp.end() ? nullptr : it->second;
}

TXoTypeInfo* TXoTypes::ClassOf(const TObject* AObject) {
  if (!AObject) return nullptr;
  EnsureStarted();
  TXoRegistryImpl& r = Reg();
  std::type_index key(typeid(*AObject));
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  auto it = r.ByCpp.find(key);
  if (it != r.ByCpp.end() && it->second->FTypeKind == xtkClass) return it->second;
  it = r.ClassOfCache.find(key);
  if (it != r.ClassOfCache.end()) return it->second;
  // An unregistered class: the deepest registered class it is an instance of.
  TXoTypeInfo* best = nullptr;
  int bestDepth = -1;
  for (TXoTypeInfo* t : r.Types) {
    if (t->FTypeKind != xtkClass || t->FVirtual || !t->IsInstance(AObject)) continue;
    int depth = 0;
    for (TXoTypeInfo* b = t->FBaseType; b; b = b->FBaseType) ++depth;
    if (depth > bestDepth) {
      best = t;
      bestDepth = depth;
    }
  }
  if (!best) best = Of<TObject>();
  r.ClassOfCache.emplace(key, best);
  return best;
}

TXoTypeInfo* TXoTypes::GetTypeInfo(std::u16string_view AName, TXoTypeNameType ANameType, bool ACreate,
                                   TXoMainTypeKind AMainKind) {
  EnsureStarted();
  TXoRegistryImpl& r = Reg();
  if (TXoTypeInfo* t = r.Find(AName, ANameType)) return t;
  if (!ACreate || AMainKind == mtkOther || AName.empty()) return nullptr;
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  auto it = r.Virtuals.find(AName);
  if (it != r.Virtuals.end()) return it->second;
  return r.MakeVirtual(AName, AMainKind);
}

void TXoTypes::RegisterTypeSerializers(TXoTypeInfo* AType, TXoDataSerializationFormatType AFormat,
                                       const TXoSerializerPair& APair) {
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  r.Serializers[{AType, static_cast<int>(AFormat)}] = APair;
}

TXoSerializerPair TXoTypes::FindSerializers(const TXoTypeInfo* AType, TXoDataSerializationFormatType AFormat) {
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  for (const TXoTypeInfo* t = AType; t; t = t->FBaseType ? t->FBaseType : t->FVirtualOf) {
    auto it = r.Serializers.find({t, static_cast<int>(AFormat)});
    if (it != r.Serializers.end()) return it->second;
  }
  auto it = r.Serializers.find({nullptr, static_cast<int>(AFormat)});
  if (it != r.Serializers.end()) return it->second;
  return TXoSerializerPair();
}

void TXoTypes::RegisterTypeAlias(TXoTypeInfo* AType, std::u16string_view AName) {
  if (!AType) throw EArgumentNilException(u"RegisterTypeAlias: no type given for %s!", {AName});
  if (AName.empty()) throw EArgumentException(u"RegisterTypeAlias: an alias needs a name!");
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  r.Aliases.insert_or_assign(std::u16string(AName), AType);
}

TXoMainTypeKind TXoTypes::VarMainTypeKind(TVarType AVarType) {
  if (AVarType & varArray) return mtkArray;
  switch (AVarType & varTypeMask) {
    case varSmallint:
    case varInteger:
    case varDecimal:
    case varShortInt:
    case varByte:
    case varWord:
    case varLongWord:
    case varInt64:
    case varUInt64: return mtkInteger;
    case varSingle:
    case varDouble:
    case varExtended: return mtkFloat;
    case varOleStr:
    case varString:
    case varUString: return mtkString;
    case varBoolean: return mtkBoolean;
    case varDate: return mtkDateTime;
    default: return mtkOther;
  }
}

TXoMainTypeKind TXoTypes::VarMainTypeKind(const Variant& AValue) { return VarMainTypeKind(AValue.VarType()); }

static TXoTypeInfo* VarCodeTypeInfo(TVarType ACode) {
  switch (ACode) {
    case varSmallint: return TXoTypes::Of<int16_t>();
    case varInteger: return TXoTypes::Of<int32_t>();
    case varSingle: return TXoTypes::Of<float>();
    case varDouble: return TXoTypes::Of<double>();
    case varExtended: return TXoTypes::Of<long double>();
    case varDate: return TXoTypes::Of<TDateTimeTag>();
    case varOleStr: return TXoTypes::Of<TWideStringTag>();
    case varBoolean: return TXoTypes::Of<bool>();
    case varUnknown: return TXoTypes::Of<TIntfPtr<IInterface>>();
    case varDecimal: return TXoTypes::Of<int64_t>();
    case varShortInt: return TXoTypes::Of<int8_t>();
    case varByte: return TXoTypes::Of<uint8_t>();
    case varWord: return TXoTypes::Of<uint16_t>();
    case varLongWord: return TXoTypes::Of<uint32_t>();
    case varInt64: return TXoTypes::Of<int64_t>();
    case varUInt64: return TXoTypes::Of<uint64_t>();
    case varString: return TXoTypes::Of<std::string>();
    case varUString: return TXoTypes::Of<std::u16string>();
    default: return TXoTypes::Of<Variant>();
  }
}

TXoTypeInfo* TXoTypes::VarTypeInfo(const Variant& AValue) {
  TVarType vt = AValue.VarType();
  if (vt & varArray) {
    TXoTypeInfo* e = VarCodeTypeInfo(vt & varTypeMask);
    return GetTypeInfo(u"ArrayOf" + Capitalize(e->SchemaName()), tntSchema, true, mtkArray);
  }
  return VarCodeTypeInfo(vt);
}

TVarType TXoTypes::GetVarType(const TXoTypeInfo* AType, TVarType ADefault) {
  if (!AType) return ADefault;
  switch (AType->GetTypeKind()) {
    case xtkByte: return varByte;
    case xtkWord: return varWord;
    case xtkCardinal: return varLongWord;
    case xtkUInt64: return varUInt64;
    case xtkShortInt: return varShortInt;
    case xtkSmallInt: return varSmallint;
    case xtkInteger: return varInteger;
    case xtkInt64: return varInt64;
    case xtkSingle: return varSingle;
    case xtkDouble: return varDouble;
    case xtkExtended: return varExtended;
    case xtkChar:
    case xtkWideChar:
    case xtkString:
    case xtkEnumeration:
    case xtkSet: return varUString;
    case xtkAnsiChar:
    case xtkAnsiString: return varString;
    case xtkWideString: return varOleStr;
    case xtkBoolean: return varBoolean;
    case xtkDate:
    case xtkTime:
    case xtkDateTime: return varDate;
    case xtkVariant: return varVariant;
    case xtkInterface: return varUnknown;
    case xtkArray:
    case xtkDynArray: {
      TVarType e = GetVarType(AType->GetElementType(), varVariant);
      if (e & varArray) e = varVariant;
      return static_cast<TVarType>(varArray | e);
    }
    default: return ADefault;
  }
}

TVarType TXoTypes::GetVarType(std::u16string_view AName, TXoTypeNameType ANameType, TVarType ADefault) {
  return GetVarType(GetTypeInfo(AName, ANameType, false, mtkOther), ADefault);
}

TXoMainTypeKind TXoTypes::ToMainTypeKind(TXoTypeKind AKind) {
  if (AKind >= xtkByte && AKind <= xtkInt64) return mtkInteger;
  if (AKind >= xtkSingle && AKind <= xtkExtended) return mtkFloat;
  if (AKind >= xtkChar && AKind <= xtkWideString) return mtkString;
  if (AKind == xtkBoolean) return mtkBoolean;
  if (AKind >= xtkDate && AKind <= xtkDateTime) return mtkDateTime;
  if (AKind == xtkArray || AKind == xtkDynArray) return mtkArray;
  return mtkOther;
}

size_t TXoTypes::Count() {
  EnsureStarted();
  return Reg().Types.size();
}

TXoTypeInfo* TXoTypes::Item(size_t AIndex) {
  EnsureStarted();
  TXoRegistryImpl& r = Reg();
  if (AIndex >= r.Types.size())
    throw EArgumentOutOfRangeException(u"Type index %d out of range", {static_cast<int64_t>(AIndex)});
  return r.Types[AIndex];
}

// ---------------------------------------------------------------------------
// Class registry

void RegisterClass(TClass AClass) {
  if (!AClass || AClass->GetTypeKind() != xtkClass)
    throw EArgumentException(u"RegisterClass takes a class!");
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  r.Classes.insert_or_assign(AClass->GetName(), AClass);
  r.Classes.insert_or_assign(AClass->GetQualifiedName(), AClass);
}

void RegisterClasses(std::initializer_list<TClass> AClasses) {
  for (TClass c : AClasses) RegisterClass(c);
}

void UnRegisterClass(TClass AClass) {
  if (!AClass) return;
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  for (auto it = r.Classes.begin(); it != r.Classes.end();)
    it = it->second == AClass ? r.Classes.erase(it) : std::next(it);
}

TClass GetClass(std::u16string_view AName) {
  TXoTypes::EnsureStarted();
  TXoRegistryImpl& r = Reg();
  std::lock_guard<std::recursive_mutex> g(r.Lock);
  auto it = r.Classes.find(AName);
  return it == r.Classes.end() ? nullptr : it->second;
}

TClass FindClass(std::u16string_view AName) {
  TClass c = GetClass(AName);
  if (!c) throw EClassNotFound(u"Class %s not found", {AName});
  return c;
}

// ---------------------------------------------------------------------------
// Kind names

std::u16string XoTypeKindName(TXoTypeKind AKind) {
  static const char16_t* const names[] = {
      u"xtkUnknown",   u"xtkByte",     u"xtkWord",      u"xtkCardinal",   u"xtkUInt64",     u"xtkShortInt",
      u"xtkSmallInt",  u"xtkInteger",  u"xtkInt64",     u"xtkSingle",     u"xtkDouble",     u"xtkExtended",
      u"xtkChar",      u"xtkAnsiChar", u"xtkWideChar",  u"xtkString",     u"xtkAnsiString", u"xtkWideString",
      u"xtkBoolean",   u"xtkEnumeration", u"xtkSet",    u"xtkDate",       u"xtkTime",       u"xtkDateTime",
      u"xtkVariant",   u"xtkArray",    u"xtkDynArray",  u"xtkRecord",     u"xtkClass",      u"xtkInterface",
      u"xtkPointer",   u"xtkEvent",    u"xtkProcedure", u"xtkOpaque",     u"xtkClassRef"};
  if (AKind < std::size(names)) return names[AKind];
  return IntToStr(AKind);
}

std::u16string XoPlatformKindName(TTypeKind AKind) {
  static const char16_t* const names[] = {
      u"tkUnknown", u"tkInteger", u"tkChar",    u"tkEnumeration", u"tkFloat",   u"tkString",   u"tkSet",
      u"tkClass",   u"tkMethod",  u"tkWChar",   u"tkLString",     u"tkWString", u"tkVariant",  u"tkArray",
      u"tkRecord",  u"tkInterface", u"tkInt64", u"tkDynArray",    u"tkUString", u"tkClassRef", u"tkPointer",
      u"tkProcedure"};
  if (AKind < std::size(names)) return names[AKind];
  return IntToStr(AKind);
}

}  // namespace xo
