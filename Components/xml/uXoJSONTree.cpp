// uXoJSON: the document model. Nodes, their ownership, and the operations of
// each node kind.
#include <sys/stat.h>

#include <algorithm>

#include "uXoJSON.h"
#include "uXoXMLUtils.h"

namespace xo {

// ===========================================================================
// TXoJSONBase: tree

TXoJSONBase::TXoJSONBase(TXoJSONBase* AOwner, TXoJSONNodeKind AKind) : FOwner(AOwner), FKind(AKind) {
  if (AKind == TXoJSONNodeKind::Object) FJSONType = jdtObject;
  if (AKind == TXoJSONNodeKind::Array) {
    FJSONType = jdtArray;
    FDestroyChilds = AOwner != nullptr;
  }
  if (AOwner) {
    SetAutoDestroy(false);
    AOwner->InsertObject(this);
  }
}

TXoJSONBase::~TXoJSONBase() {
  FreeChildren();
  if (FOwner) {
    TXoJSONBase* owner = FOwner;
    FOwner = nullptr;
    owner->RemoveObject(this);
  }
}

void TXoJSONBase::InsertObject(TXoJSONBase* AChild) {
  FObjects.push_back(AChild);
  AChild->_AddRef();
}

void TXoJSONBase::RemoveObject(TXoJSONBase* AChild) {
  // Children usually leave from the end (DestroyObjects, the last added).
  for (size_t i = FObjects.size(); i-- > 0;) {
    if (FObjects[i] != AChild) continue;
    FObjects.erase(FObjects.begin() + static_cast<std::ptrdiff_t>(i));
    AChild->_Release();
    return;
  }
}

void TXoJSONBase::FreeChildren() {
  if (FObjects.empty()) return;
  // A work list instead of recursion: every node taken off is detached from
  // its children before it is deleted, so no destructor below goes deeper.
  std::vector<TXoJSONBase*> work;
  auto detach = [&work](TXoJSONBase* ANode) {
    std::vector<TXoJSONBase*> children;
    children.swap(ANode->FObjects);
    for (size_t i = children.size(); i-- > 0;) {
      TXoJSONBase* c = children[i];
      // Entries of a result list belong to another tree and hold no count.
      if (c->FOwner != ANode) continue;
      c->FOwner = nullptr;
      if (c->_Release() > 0) {
        // Held by an interface: the last reference frees it.
        c->SetAutoDestroy(true);
        continue;
      }
      work.push_back(c);
    }
  };
  detach(this);
  while (!work.empty()) {
    TXoJSONBase* n = work.back();
    work.pop_back();
    detach(n);
    delete n;
  }
}

void TXoJSONBase::DestroyObjects() {
  // A node frees the children it owns; a result list only forgets its
  // entries, which belong to another tree.
  while (!FObjects.empty()) {
    TXoJSONBase* c = FObjects.back();
    if (c->FOwner == this)
      c->FreeObject();
    else
      FObjects.pop_back();
  }
}

void TXoJSONBase::FreeObject() {
  _AddRef();  // keeps this node while it leaves its owner
  if (FOwner) {
    TXoJSONBase* owner = FOwner;
    FOwner = nullptr;
    owner->RemoveObject(this);
  }
  if (GetRefCount() > 1) {
    // Interfaces are held: the last of them frees the node.
    SetAutoDestroy(true);
    _Release();
    return;
  }
  SetAutoDestroy(false);
  _Release();
  delete this;
}

TXoJSONDocument* TXoJSONBase::GetDocument() {
  TXoJSONBase* n = this;
  while (n->FOwner) n = n->FOwner;
  auto* doc = dynamic_cast<TXoJSONDocument*>(n);
  if (!doc) throw EInvalidCast(u"Invalid class typecast");
  return doc;
}

void TXoJSONBase::NotSupported(const char16_t* AMethod) const {
  throw EXoJSONException(_cXoJSONNotSupported, {ClassName(), AMethod}, cXoJSONErrNotSupported);
}

TXoJSONBase* TXoJSONBase::ChildAt(int32_t AIndex) const {
  if (AIndex < 0 || static_cast<size_t>(AIndex) >= FObjects.size())
    throw EListError(u"List index out of bounds (%d)", {AIndex});
  return FObjects[static_cast<size_t>(AIndex)];
}

TXoJSONBase* TXoJSONBase::NewChild(TXoJSONDataType AValueType) {
  switch (AValueType) {
    case jdtObject: return new TXoJSONObject(this);
    case jdtArray: return new TXoJSONArray(this);
    default: return new TXoJSONSimpleType(this);
  }
}

// ===========================================================================
// TXoJSONBase: the standard refusals

XoJSONString TXoJSONBase::GetName() { NotSupported(u"GetName"); }
void TXoJSONBase::SetName(const XoJSONString&) { NotSupported(u"SetName"); }
TXoJSONBase* TXoJSONBase::GetValueObj() { NotSupported(u"GetValue"); }
void TXoJSONBase::SetValue(TXoJSONBase*) { NotSupported(u"SetValue"); }
bool TXoJSONBase::GetAsBoolean() { NotSupported(u"GetAsBoolean"); }
double TXoJSONBase::GetAsDouble() { NotSupported(u"GetAsDouble"); }
int32_t TXoJSONBase::GetAsInteger() { NotSupported(u"GetAsInteger"); }
int64_t TXoJSONBase::GetAsLargeInt() { NotSupported(u"GetAsLargeInt"); }
XoJSONString TXoJSONBase::GetAsString() { NotSupported(u"GetAsString"); }
Variant TXoJSONBase::GetAsVariant() { NotSupported(u"GetAsVariant"); }
TValue TXoJSONBase::GetAsValue() { NotSupported(u"GetAsValue"); }
TXoJSONObject* TXoJSONBase::GetAsObject() { NotSupported(u"GetAsObject"); }
TXoJSONArray* TXoJSONBase::GetAsArray() { NotSupported(u"GetAsArray"); }
void TXoJSONBase::SetAsBoolean(bool) { NotSupported(u"SetAsBoolean"); }
void TXoJSONBase::SetAsDouble(double) { NotSupported(u"SetAsDouble"); }
void TXoJSONBase::SetAsInteger(int32_t) { NotSupported(u"SetAsInteger"); }
void TXoJSONBase::SetAsString(const XoJSONString&) { NotSupported(u"SetAsString"); }
void TXoJSONBase::SetAsLargeInt(int64_t) { NotSupported(u"SetAsLargeInt"); }
void TXoJSONBase::SetAsVariant(const Variant&) { NotSupported(u"SetAsVariant"); }
void TXoJSONBase::SetAsValue(const TValue&) { NotSupported(u"SetAsValue"); }
int32_t TXoJSONBase::Count() { NotSupported(u"Count"); }
TXoJSONBase* TXoJSONBase::AddValue(TXoJSONDataType) { NotSupported(u"AddValue"); }
TXoJSONBase* TXoJSONBase::AddValue(TXoJSONDataType, const XoJSONString&) { NotSupported(u"AddValue"); }
TXoJSONBase* TXoJSONBase::AddValue(const Variant&) { NotSupported(u"AddValue"); }
void TXoJSONBase::RemoveValue(TXoJSONBase*) { NotSupported(u"RemoveValue"); }
void TXoJSONBase::DeleteValue(int32_t) { NotSupported(u"DeleteValue"); }
TXoJSONMember* TXoJSONBase::AddMember(const XoJSONString&) { NotSupported(u"AddMember"); }
TXoJSONMember* TXoJSONBase::AddMember(const XoJSONString&, TXoJSONDataType) { NotSupported(u"AddMember"); }
TXoJSONMember* TXoJSONBase::AddMember(const XoJSONString&, TXoJSONDataType, const XoJSONString&) {
  NotSupported(u"AddMember");
}
TXoJSONMember* TXoJSONBase::AddMember(const XoJSONString&, const Variant&) { NotSupported(u"AddMember"); }
void TXoJSONBase::DeleteMember(int32_t) { NotSupported(u"DeleteMember"); }
void TXoJSONBase::RemoveMember(TXoJSONMember*) { NotSupported(u"RemoveMember"); }
TXoJSONMember* TXoJSONBase::_FindMember(const XoJSONString&, bool) { NotSupported(u"FindMember"); }
TXoJSONMember* TXoJSONBase::_GetMember(const XoJSONString&, TXoJDOCSelectOptions) { NotSupported(u"Member"); }
TXoJSONBase* TXoJSONBase::_Item(int32_t) { NotSupported(u"Item"); }

bool TXoJSONBase::HasMember(const XoJSONString& AName, bool ACaseInsensitive) {
  return FindMember(AName, ACaseInsensitive) != nullptr;
}

// ===========================================================================
// TXoJSONBase: interface forms

TIntfPtr<IXoJSONObject> TXoJSONBase::GetAsObjectIntf() { return TIntfPtr<IXoJSONObject>(GetAsObject()); }
TIntfPtr<IXoJSONArray> TXoJSONBase::GetAsArrayIntf() { return TIntfPtr<IXoJSONArray>(GetAsArray()); }
TIntfPtr<IXoJSONBase> TXoJSONBase::GetValue() { return TIntfPtr<IXoJSONBase>(GetValueObj()); }
TIntfPtr<IXoJSONMember> TXoJSONBase::GetMemberEx(const XoJSONString& AName) {
  return TIntfPtr<IXoJSONMember>(GetMember(AName, jsoCreate));
}
TIntfPtr<IXoJSONBase> TXoJSONBase::GetItem(int32_t AIndex) { return TIntfPtr<IXoJSONBase>(Item(AIndex)); }
TIntfPtr<IXoJSONMember> TXoJSONBase::FindMemberIntf(const XoJSONString& AName, bool ACaseInsensitive) {
  return TIntfPtr<IXoJSONMember>(FindMember(AName, ACaseInsensitive));
}
TIntfPtr<IXoJSONMember> TXoJSONBase::GetMemberIntf(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions) {
  return TIntfPtr<IXoJSONMember>(GetMember(AName, ASelectOptions));
}

// ===========================================================================
// TXoJSONSimpleType

bool TXoJSONSimpleType::GetAsBoolean() { return XoVarToBool(FValue, false, false); }
double TXoJSONSimpleType::GetAsDouble() { return XoVarToDouble(FValue, 0, false); }
int32_t TXoJSONSimpleType::GetAsInteger() { return XoVarToInt(FValue, 0, false); }
int64_t TXoJSONSimpleType::GetAsLargeInt() { return XoVarToInt64(FValue, 0, false); }
Variant TXoJSONSimpleType::GetAsVariant() { return FValue; }

XoJSONString TXoJSONSimpleType::GetAsString() {
  if (TXoTypes::VarMainTypeKind(FValue) == mtkString) return FValue.AsString();
  switch (FJSONType) {
    case jdtNull: return {};
    case jdtString:
      if (TXoTypes::VarMainTypeKind(FValue) == mtkDateTime) return XoVarToStr(FValue, u"", false);
      return XoVarToStr(FValue, u"", false);
    case jdtNumber: return XoVarToJSON(FValue);
    case jdtBoolean: return XoVarToBool(FValue, false, false) ? u"true" : u"false";
    default: throw EXoJSONException(std::u16string(_cXoJSONUnexpectedType), cXoJSONErrUnexpectedType);
  }
}

void TXoJSONSimpleType::SetAsBoolean(bool AValue) { SetRaw(Variant(AValue), jdtBoolean); }
void TXoJSONSimpleType::SetAsDouble(double AValue) { SetRaw(Variant(AValue), jdtNumber); }
void TXoJSONSimpleType::SetAsInteger(int32_t AValue) { SetRaw(Variant(AValue), jdtNumber); }
void TXoJSONSimpleType::SetAsString(const XoJSONString& AValue) { SetRaw(Variant(AValue), jdtString); }
void TXoJSONSimpleType::SetAsLargeInt(int64_t AValue) { SetRaw(Variant(AValue), jdtNumber); }

void TXoJSONSimpleType::SetAsVariant(const Variant& AValue) {
  TXoJSONDataType type;
  switch (TXoTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat: type = jdtNumber; break;
    case mtkString:
    case mtkDateTime: type = jdtString; break;
    case mtkBoolean: type = jdtBoolean; break;
    default: type = jdtNull; break;
  }
  SetRaw(AValue, type);
}

void TXoJSONSimpleType::SetAsValue(const TValue& AValue) { SetAsVariant(AValue.ToVariant(Variant::Null(), true)); }

// ===========================================================================
// TXoJSONMember

void TXoJSONMember::RemoveObject(TXoJSONBase* AChild) {
  if (AChild == FValue) FValue = nullptr;
  TXoJSONBase::RemoveObject(AChild);
}

TXoJSONBase* TXoJSONMember::CreateValue(TXoJSONDataType AValueType) {
  if (FValue) {
    TXoJSONBase* old = FValue;
    FValue = nullptr;
    if (old->GetOwner() == this && !old->GetAutoDestroy()) old->FreeObject();
  }
  FValue = NewChild(AValueType);
  return FValue;
}

TIntfPtr<IXoJSONBase> TXoJSONMember::CreateValueIntf(TXoJSONDataType AValueType) {
  return TIntfPtr<IXoJSONBase>(CreateValue(AValueType));
}

TXoJSONBase* TXoJSONMember::AddValue(TXoJSONDataType AValueType) {
  if (FValue) NotSupported(u"AddValue");
  return CreateValue(AValueType);
}

TXoJSONSimpleType* TXoJSONMember::SimpleValue(const char16_t* AMethod) {
  auto* v = dynamic_cast<TXoJSONSimpleType*>(FValue);
  if (!v) NotSupported(AMethod);
  return v;
}

TXoJSONSimpleType* TXoJSONMember::SimpleValueFor(TXoJSONDataType AValueType, const char16_t* AMethod) {
  if (!FValue) CreateValue(AValueType);
  return SimpleValue(AMethod);
}

bool TXoJSONMember::GetAsBoolean() { return SimpleValue(u"GetAsBoolean")->GetAsBoolean(); }
double TXoJSONMember::GetAsDouble() { return SimpleValue(u"GetAsDouble")->GetAsDouble(); }
int32_t TXoJSONMember::GetAsInteger() { return SimpleValue(u"GetAsInteger")->GetAsInteger(); }
int64_t TXoJSONMember::GetAsLargeInt() { return SimpleValue(u"GetAsLargeInt")->GetAsLargeInt(); }
XoJSONString TXoJSONMember::GetAsString() { return SimpleValue(u"GetAsString")->GetAsString(); }
Variant TXoJSONMember::GetAsVariant() { return SimpleValue(u"GetAsVariant")->GetAsVariant(); }
void TXoJSONMember::SetAsBoolean(bool AValue) { SimpleValueFor(jdtBoolean, u"SetAsBoolean")->SetAsBoolean(AValue); }
void TXoJSONMember::SetAsDouble(double AValue) { SimpleValueFor(jdtNumber, u"SetAsDouble")->SetAsDouble(AValue); }
void TXoJSONMember::SetAsInteger(int32_t AValue) { SimpleValueFor(jdtNumber, u"SetAsInteger")->SetAsInteger(AValue); }
void TXoJSONMember::SetAsString(const XoJSONString& AValue) {
  SimpleValueFor(jdtString, u"SetAsString")->SetAsString(AValue);
}
void TXoJSONMember::SetAsLargeInt(int64_t AValue) {
  SimpleValueFor(jdtNumber, u"SetAsLargeInt")->SetAsLargeInt(AValue);
}
void TXoJSONMember::SetAsVariant(const Variant& AValue) {
  SimpleValueFor(XoVarTypeToJSONType(AValue), u"SetAsVariant")->SetAsVariant(AValue);
}

TXoJSONObject* TXoJSONMember::GetAsObject() {
  if (!FValue) CreateValue(jdtObject);
  auto* o = dynamic_cast<TXoJSONObject*>(FValue);
  if (!o) NotSupported(u"GetAsObject");
  return o;
}

TXoJSONArray* TXoJSONMember::GetAsArray() {
  if (!FValue) CreateValue(jdtArray);
  auto* a = dynamic_cast<TXoJSONArray*>(FValue);
  if (!a) NotSupported(u"GetAsArray");
  return a;
}

// ===========================================================================
// TXoJSONObject

TXoJSONObject::TXoJSONObject(TXoJSONBase* AOwner) : TXoJSONBase(AOwner, TXoJSONNodeKind::Object) {}

void TXoJSONObject::InsertObject(TXoJSONBase* AChild) {
  if (AChild->GetNodeKind() != TXoJSONNodeKind::Member) throw EInvalidCast(u"Invalid class typecast");
  TXoJSONBase::InsertObject(AChild);
}

TXoJSONMember* TXoJSONObject::AddMember(const XoJSONString& AName) {
  auto* m = new TXoJSONMember(this);
  m->SetName(AName);
  FLastMember = m;
  return m;
}

TXoJSONMember* TXoJSONObject::AddMember(const XoJSONString& AName, TXoJSONDataType AValueType) {
  TXoJSONMember* m = AddMember(AName);
  m->CreateValue(AValueType);
  return m;
}

TXoJSONMember* TXoJSONObject::AddMember(const XoJSONString& AName, TXoJSONDataType AValueType,
                                        const XoJSONString& AValue) {
  TXoJSONMember* m = AddMember(AName);
  auto* v = dynamic_cast<TXoJSONSimpleType*>(m->CreateValue(AValueType));
  if (!v) throw EInvalidCast(u"Invalid class typecast");
  v->SetRaw(Variant(AValue), AValueType);
  return m;
}

TXoJSONMember* TXoJSONObject::AddMember(const XoJSONString& AName, const Variant& AValue) {
  switch (TXoTypes::VarMainTypeKind(AValue)) {
    case mtkInteger: return AddMember(AName, jdtNumber, XoIntToXML(AValue.AsInteger()));
    case mtkFloat: return AddMember(AName, jdtNumber, XoDoubleToXML(AValue.AsDouble()));
    case mtkString: return AddMember(AName, jdtString, AValue.AsString());
    case mtkBoolean: return AddMember(AName, jdtBoolean, XoBoolToXML(AValue.AsBoolean()));
    case mtkDateTime: return AddMember(AName, jdtString, XoDateTimeToXML(AValue.AsDate(), tzfNone));
    case mtkArray: {
      TXoJSONMember* m = AddMember(AName, jdtArray);
      TXoJSONBase* a = m->GetValueObj();
      const size_t count = XoVarArrayCount(AValue);
      for (size_t i = 0; i < count; ++i) a->AddValue(AValue.GetElement({static_cast<int32_t>(i)}));
      return m;
    }
    default: return AddMember(AName, jdtNull, VarToStr(AValue));
  }
}

void TXoJSONObject::RemoveObject(TXoJSONBase* AChild) {
  // The member that loading attaches values to must not outlive itself.
  if (AChild == FLastMember) FLastMember = nullptr;
  TXoJSONBase::RemoveObject(AChild);
}

void TXoJSONObject::DeleteMember(int32_t AIndex) { ChildAt(AIndex)->FreeObject(); }
void TXoJSONObject::RemoveMember(TXoJSONMember* AMember) {
  if (AMember) AMember->FreeObject();
}

TXoJSONMember* TXoJSONObject::_FindMember(const XoJSONString& AName, bool ACaseInsensitive) {
  for (TXoJSONBase* c : FObjects) {
    auto* m = static_cast<TXoJSONMember*>(c);
    const XoJSONString& name = m->GetName();
    if (ACaseInsensitive ? XoSameText(name, AName) : name == AName) return m;
  }
  return nullptr;
}

TXoJSONMember* TXoJSONObject::_GetMember(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions) {
  if (TXoJSONMember* m = FindMember(AName, ASelectOptions.Contains(jsoCaseInsensitive))) return m;
  if (ASelectOptions.Contains(jsoCreate)) return AddMember(AName);
  if (ASelectOptions.Contains(jsoRaise)) throw EXoJSONException(_cXoJSONNoMember, {AName}, cXoJSONErrNoMember);
  return nullptr;
}

TIntfPtr<IXoJSONMember> TXoJSONObject::AddMemberIntf1(const XoJSONString& AName) {
  return TIntfPtr<IXoJSONMember>(AddMember(AName));
}
TIntfPtr<IXoJSONMember> TXoJSONObject::AddMemberIntf2(const XoJSONString& AName, TXoJSONDataType AValueType) {
  return TIntfPtr<IXoJSONMember>(AddMember(AName, AValueType));
}
TIntfPtr<IXoJSONMember> TXoJSONObject::AddMemberIntf3(const XoJSONString& AName, TXoJSONDataType AValueType,
                                                      const XoJSONString& AValue) {
  return TIntfPtr<IXoJSONMember>(AddMember(AName, AValueType, AValue));
}
TIntfPtr<IXoJSONMember> TXoJSONObject::AddMemberIntf4(const XoJSONString& AName, const Variant& AValue) {
  return TIntfPtr<IXoJSONMember>(AddMember(AName, AValue));
}
void TXoJSONObject::RemoveMemberIntf(const TIntfPtr<IXoJSONMember>& AMember) {
  if (AMember) RemoveMember(dynamic_cast<TXoJSONMember*>(AMember->Implementor()));
}

// ===========================================================================
// TXoJSONArray

TXoJSONArray::TXoJSONArray(TXoJSONBase* AOwner) : TXoJSONBase(AOwner, TXoJSONNodeKind::Array) {}

TXoJSONBase* TXoJSONArray::AddValue(TXoJSONDataType AValueType) {
  TXoJSONBase* n = NewChild(AValueType);
  SetJSONTypeOf(n, AValueType);
  return n;
}

TXoJSONBase* TXoJSONArray::AddValue(TXoJSONDataType AValueType, const XoJSONString& AValue) {
  auto* v = dynamic_cast<TXoJSONSimpleType*>(AddValue(AValueType));
  if (!v) throw EInvalidCast(u"Invalid class typecast");
  v->SetRaw(Variant(AValue), AValueType);
  return v;
}

TXoJSONBase* TXoJSONArray::AddValue(const Variant& AValue) {
  const TXoJSONDataType type = XoVarTypeToJSONType(AValue);
  auto* v = dynamic_cast<TXoJSONSimpleType*>(AddValue(type));
  if (!v) throw EInvalidCast(u"Invalid class typecast");
  v->SetRaw(AValue, type);
  return v;
}

void TXoJSONArray::RemoveValue(TXoJSONBase* AValue) {
  if (AValue) AValue->FreeObject();
}

void TXoJSONArray::DeleteValue(int32_t AIndex) { ChildAt(AIndex)->FreeObject(); }

void TXoJSONArray::Exchange(int32_t AIndex1, int32_t AIndex2) {
  ChildAt(AIndex1);
  ChildAt(AIndex2);
  std::swap(FObjects[static_cast<size_t>(AIndex1)], FObjects[static_cast<size_t>(AIndex2)]);
}

TIntfPtr<IXoJSONBase> TXoJSONArray::AddValueIntf1(TXoJSONDataType AValueType) {
  return TIntfPtr<IXoJSONBase>(AddValue(AValueType));
}
TIntfPtr<IXoJSONBase> TXoJSONArray::AddValueIntf2(TXoJSONDataType AValueType, const XoJSONString& AValue) {
  return TIntfPtr<IXoJSONBase>(AddValue(AValueType, AValue));
}
TIntfPtr<IXoJSONBase> TXoJSONArray::AddValueIntf3(const Variant& AValue) {
  return TIntfPtr<IXoJSONBase>(AddValue(AValue));
}
void TXoJSONArray::RemoveValueIntf(const TIntfPtr<IXoJSONBase>& AValue) {
  if (AValue) RemoveValue(dynamic_cast<TXoJSONBase*>(AValue->Implementor()));
}

// ===========================================================================
// TXoJSONDocument

TXoJSONDocument* TXoJSONDocument::CreateFromFile(const XoJSONString& AFileName, uint16_t AMode) {
  auto* d = new TXoJSONDocument();
  try {
    d->LoadFromFile(AFileName, AMode);
  } catch (...) {
    d->Free();
    throw;
  }
  return d;
}

TXoJSONDocument* TXoJSONDocument::CreateFromJSON(const XoJSONString& AJSON) {
  auto* d = new TXoJSONDocument();
  try {
    d->SetAsJSON(AJSON);
  } catch (...) {
    d->Free();
    throw;
  }
  return d;
}

TXoJSONDocument* TXoJSONDocument::CreateFromJSON(const RawByteString& AJSON, uint16_t ACodePage) {
  return CreateFromJSON(TXoEncoding::ConvertA(AJSON, ACodePage));
}

TXoJSONDocument* TXoJSONDocument::CreateFromStream(TStream* AStream, uint16_t ACodePage, bool AIsUrlFormEncoded) {
  auto* d = new TXoJSONDocument();
  try {
    d->LoadFromStream(AStream, ACodePage, AIsUrlFormEncoded);
  } catch (...) {
    d->Free();
    throw;
  }
  return d;
}

TXoJSONBase* TXoJSONDocument::CreateRootValue(TXoJSONDataType AValueType) {
  DestroyObjects();
  return NewChild(AValueType);
}

TXoJSONBase* TXoJSONDocument::GetRootValue() { return FObjects.size() == 1 ? FObjects[0] : nullptr; }

TXoJSONBase* TXoJSONDocument::CheckedRoot() {
  TXoJSONBase* r = GetRootValue();
  if (!r) throw EXoJSONParseError(std::u16string(_cXoJSONNoRootValue), cXoJSONErrNoRootValue);
  return r;
}

TXoJSONMember* TXoJSONDocument::FindMember(const XoJSONString& AName, bool ACaseInsensitive) {
  return CheckedRoot()->FindMember(AName, ACaseInsensitive);
}

TXoJSONMember* TXoJSONDocument::GetMember(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions) {
  return CheckedRoot()->GetMember(AName, ASelectOptions);
}

TXoJSONBase* TXoJSONDocument::Item(int32_t AIndex) { return CheckedRoot()->Item(AIndex); }

void TXoJSONDocument::LoadFromFile(const XoJSONString& AFileName, uint16_t AMode) {
  struct stat st;
  if (::stat(XoUTF16ToUTF8(AFileName).c_str(), &st) != 0)
    throw EReadError(XoFormat(_cXoJSONNoFile, {AFileName}));
  TFileStream stream(AFileName, AMode);
  LoadFromStream(&stream);
}

TIntfPtr<IXoJSONBase> TXoJSONDocument::GetRootValueIntf() { return TIntfPtr<IXoJSONBase>(GetRootValue()); }
TIntfPtr<IXoJSONBase> TXoJSONDocument::CreateRootValueIntf(TXoJSONDataType AValueType) {
  return TIntfPtr<IXoJSONBase>(CreateRootValue(AValueType));
}
TIntfPtr<IXoJSONMember> TXoJSONDocument::FindMemberIntf(const XoJSONString& AName, bool ACaseInsensitive) {
  return TIntfPtr<IXoJSONMember>(FindMember(AName, ACaseInsensitive));
}
TIntfPtr<IXoJSONMember> TXoJSONDocument::GetMemberIntf(const XoJSONString& AName,
                                                       TXoJDOCSelectOptions ASelectOptions) {
  return TIntfPtr<IXoJSONMember>(GetMember(AName, ASelectOptions));
}

}  // namespace xo
