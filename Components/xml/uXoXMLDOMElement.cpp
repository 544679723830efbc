// uXoXMLDOM, elements: typed children, lookups by name and namespace,
// namespaces in scope, preserve-space, text and typed values.
#include <algorithm>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"
#include "uXoXMLUtils.h"

namespace xo {

namespace {
// The typed chains that NodeByName searches (character data is the third).
constexpr uint8_t kAttrs = 1, kElems = 2;

// The list Find of the Parts on one typed chain of an element, without
// making a list object.
TXoDOMNode* FindTyped(TXoDOMElement* AElement, TXoDOMNode* AFirst, std::u16string_view AName,
                      TXoDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(_cXoDOMBothCaseOptions);
  if (AOptions.Contains(soCreate)) throw Exception(_cXoDOMNoSoCreate);
  bool local;
  if (AOptions.Contains(soLocalName))
    local = true;
  else if (AOptions.Contains(soQualifiedName))
    local = false;
  else
    local = AElement->GetSelectMatchOption() == soLocalName;
  TXoXPathCollationClass coll = XoDOMCollationOf(AOptions, nullptr);
  if (!coll) coll = AElement->GetCollation();
  if (AFirst) {
    // From the last to the first: among equal names the last one wins.
    for (TXoDOMNode* n = AFirst->PreviousTypedOrLast();;) {
      if (XoDOMSameName(coll, local ? n->LocalNameView() : n->QualifiedNameView(), AName)) return n;
      if (n == AFirst) break;
      n = n->PreviousTypedOrLast();
    }
  }
  if (AOptions.Contains(soRaise)) throw EXoDomNotFound(_cXoDOMNoNodeForName, {AName});
  return nullptr;
}

TXoDOMNode* FindTypedNS(TXoDOMElement* AElement, TXoDOMNode* AFirst, std::u16string_view ANamespaceURI,
                        std::u16string_view ALocalName) {
  if (!AFirst) return nullptr;
  TXoXPathCollationClass coll = AElement->GetCollation();
  for (TXoDOMNode* n = AFirst->PreviousTypedOrLast();;) {
    if (XoDOMSameName(coll, n->LocalNameView(), ALocalName) &&
        (ANamespaceURI.empty() || coll->SameText(n->GetNamespaceURI(), ANamespaceURI)))
      return n;
    if (n == AFirst) break;
    n = n->PreviousTypedOrLast();
  }
  return nullptr;
}

bool IsPlainText(TXoDOMNode* ANode) {
  return ANode && ANode->GetNodeType() == ntText && dynamic_cast<TXoDOMText*>(ANode) != nullptr;
}
}  // namespace

TXoDOMElement::TXoDOMElement() {
  FNodeType = ntElement;
  if (DefaultPreserveCase) FFlags |= kPreserveSpace;
}

TXoDOMElement::~TXoDOMElement() { SetScope(nullptr); }

TXoDOMObjectImpl* TXoDOMElement::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMElementImpl(AObject); }

// ---------------------------------------------------------------------------
// Scope of namespace declarations

const std::vector<TXoDOMNode*>* TXoDOMElement::ScopeItems() const { return FScope ? &FScope->Items : nullptr; }

void TXoDOMElement::SetScope(TXoDOMNSScope* AScope) {
  if (AScope == FScope) return;
  if (AScope) ++AScope->Refs;
  if (FScope && --FScope->Refs == 0) delete FScope;
  FScope = AScope;
}

std::vector<TXoDOMNode*>& TXoDOMElement::MutableScope() {
  if (!FScope) {
    FScope = new TXoDOMNSScope();
  } else if (FScope->Refs > 1) {
    auto* own = new TXoDOMNSScope();
    own->Items = FScope->Items;
    --FScope->Refs;
    FScope = own;
  }
  return FScope->Items;
}

TXoDOMAttribute* TXoDOMElement::ScopeFind(std::u16string_view AQualifiedName) {
  if (!FScope) return nullptr;
  TXoXPathCollationClass coll = GetCollation();
  const auto& items = FScope->Items;
  for (auto it = items.rbegin(); it != items.rend(); ++it)
    if (XoDOMSameName(coll, (*it)->QualifiedNameView(), AQualifiedName)) return static_cast<TXoDOMAttribute*>(*it);
  return nullptr;
}

TXoDOMAttribute* TXoDOMElement::ScopeFindNamespace(std::u16string_view AURI) {
  if (!FScope) return nullptr;
  TXoXPathCollationClass coll = GetCollation();
  for (TXoDOMNode* n : FScope->Items) {
    auto* a = static_cast<TXoDOMAttribute*>(n);
    if (a->IsNamespace() && coll->SameText(a->GetNodeValue(), AURI)) return a;
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// Lists

TXoDOMAttrList* TXoDOMElement::Attributes() {
  TXoDOMNodeExtra* x = Extra();
  if (!x->Attributes) {
    x->Attributes = new TXoDOMAttrList();
    x->Attributes->InitView(this, TXoDOMNodeListBase::lkAttributes);
  }
  return x->Attributes;
}

TXoDOMElementList* TXoDOMElement::Elements() {
  TXoDOMNodeExtra* x = Extra();
  if (!x->Elements) {
    x->Elements = new TXoDOMElementList();
    x->Elements->InitView(this, TXoDOMNodeListBase::lkElements);
  }
  return x->Elements;
}

TXoDOMNodeList* TXoDOMElement::CharNodes() {
  TXoDOMNodeExtra* x = Extra();
  if (!x->CharNodes) {
    x->CharNodes = new TXoDOMNodeList();
    x->CharNodes->InitView(this, TXoDOMNodeListBase::lkCharNodes);
  }
  return x->CharNodes;
}

TXoDOMAttrList* TXoDOMElement::Namespaces() {
  TXoDOMNodeExtra* x = Extra();
  if (!x->Namespaces) {
    x->Namespaces = new TXoDOMAttrList();
    x->Namespaces->InitView(this, TXoDOMNodeListBase::lkNamespaces);
  }
  return x->Namespaces;
}

// ---------------------------------------------------------------------------
// Adding and removing

TXoDOMNode* TXoDOMElement::AddChild(TXoDOMNode* ANode, TXoDOMNode* ARefNode, TXoDOMPosition APosition) {
  if (ANode->FFlags & (kInChain | kInTyped)) TXoDOMTree::DetachRaw(ANode);
  if (uint8_t kind = TXoDOMTree::TypedKindOf(ANode)) TXoDOMTree::AddAt(this, kind, ANode, ARefNode, APosition);
  return TXoDOMNode::AddChild(ANode, ARefNode, APosition);
}

void TXoDOMElement::RemoveChild(TXoDOMNode* ANode) {
  if (!ANode) return;
  XoAssert(ANode->FParent == this, _cXoDOMNotAChild, cXoDOMSource);
  bool declaration = ANode->FNodeType == ntAttribute && static_cast<TXoDOMAttribute*>(ANode)->IsNamespace();
  if (declaration && FNamespace == ANode) FNamespace = nullptr;
  if (ANode->FFlags & kInTyped) TXoDOMTree::UnlinkTyped(this, ANode);
  TXoDOMNode::RemoveChild(ANode);
  // A declaration that goes takes its scope with it: nodes below must not
  // keep pointing at it.
  if (declaration && !Destroying()) RefreshNamespaces();
}

TXoDOMText* TXoDOMElement::AddText(std::u16string_view AText) {
  auto* n = new TXoDOMText();
  AppendChild(n);
  n->SetNodeValue(AText);
  return n;
}

TXoDOMCDATA* TXoDOMElement::AddCDATA(std::u16string_view AText) {
  auto* n = new TXoDOMCDATA();
  AppendChild(n);
  n->SetNodeValue(AText);
  return n;
}

TXoDOMComment* TXoDOMElement::AddComment(std::u16string_view AText) {
  auto* n = new TXoDOMComment();
  AppendChild(n);
  n->SetNodeValue(AText);
  return n;
}

TXoDOMElement* TXoDOMElement::AddElement(std::u16string_view AQualifiedName) {
  auto* n = new TXoDOMElement();
  n->SetQualifiedName(AQualifiedName);
  AppendChild(n);
  return n;
}

TXoDOMElement* TXoDOMElement::AddElement(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) {
  auto* n = new TXoDOMElement();
  n->SetQualifiedName(AQualifiedName);
  n->SetNamespaceURI(ANamespaceURI);
  AppendChild(n);
  return n;
}

TXoDOMAttribute* TXoDOMElement::AddAttribute(std::u16string_view AQualifiedName) {
  auto* n = new TXoDOMAttribute();
  n->SetQualifiedName(AQualifiedName);
  AppendChild(n);
  return n;
}

TXoDOMAttribute* TXoDOMElement::AddAttribute(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) {
  auto* n = new TXoDOMAttribute();
  n->SetQualifiedName(AQualifiedName);
  n->SetNamespaceURI(ANamespaceURI);
  AppendChild(n);
  return n;
}

TXoDOMComment* TXoDOMElement::InsertComment(std::u16string_view AText, TXoDOMPosition APosition,
                                            TXoDOMNode* ARefElement) {
  auto* n = new TXoDOMComment();
  AddChild(n, ARefElement, APosition);
  n->SetNodeValue(AText);
  return n;
}

TXoDOMText* TXoDOMElement::InsertText(std::u16string_view AText, TXoDOMPosition APosition, TXoDOMNode* ARefElement) {
  auto* n = new TXoDOMText();
  AddChild(n, ARefElement, APosition);
  n->SetNodeValue(AText);
  return n;
}

TXoDOMCDATA* TXoDOMElement::InsertCDATA(std::u16string_view AText, TXoDOMPosition APosition,
                                        TXoDOMNode* ARefElement) {
  auto* n = new TXoDOMCDATA();
  AddChild(n, ARefElement, APosition);
  n->SetNodeValue(AText);
  return n;
}

TXoDOMElement* TXoDOMElement::InsertElement(std::u16string_view AQualifiedName, TXoDOMPosition APosition,
                                            TXoDOMNode* ARefElement) {
  auto* n = new TXoDOMElement();
  n->SetQualifiedName(AQualifiedName);
  AddChild(n, ARefElement, APosition);
  return n;
}

TXoDOMElement* TXoDOMElement::InsertElement(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                            TXoDOMPosition APosition, TXoDOMNode* ARefElement) {
  auto* n = new TXoDOMElement();
  n->SetQualifiedName(AQualifiedName);
  n->SetNamespaceURI(ANamespaceURI);
  AddChild(n, ARefElement, APosition);
  return n;
}

void TXoDOMElement::RemoveElement(std::u16string_view AQualifiedName) {
  if (TXoDOMElement* e = ElementByName(AQualifiedName, {soQualifiedName}, nullptr)) RemoveChild(e);
}

void TXoDOMElement::RemoveElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  RemoveChild(ElementByName(ANamespaceURI, ALocalName, coRaise));
}

void TXoDOMElement::RemoveAttribute(std::u16string_view AQualifiedName) {
  if (TXoDOMAttribute* a = AttributeByName(AQualifiedName, {soQualifiedName}, nullptr)) RemoveChild(a);
}

void TXoDOMElement::RemoveAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  RemoveChild(AttributeByName(ANamespaceURI, ALocalName));
}

// ---------------------------------------------------------------------------
// Finding

TXoDOMElement* TXoDOMElement::FindElement(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  return static_cast<TXoDOMElement*>(FindTyped(this, FTypedFirst[1], AName, AOptions));
}
TXoDOMElement* TXoDOMElement::FindElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  return static_cast<TXoDOMElement*>(FindTypedNS(this, FTypedFirst[1], ANamespaceURI, ALocalName));
}
TXoDOMAttribute* TXoDOMElement::FindAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  return static_cast<TXoDOMAttribute*>(FindTyped(this, FTypedFirst[0], AName, AOptions));
}
TXoDOMAttribute* TXoDOMElement::FindAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  return static_cast<TXoDOMAttribute*>(FindTypedNS(this, FTypedFirst[0], ANamespaceURI, ALocalName));
}

TXoDOMNode* TXoDOMElement::NodeByName(uint8_t AKind, std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                      TXoDOMNodeClass AClass) {
  TXoDOMSelectOptions findOpts = AOptions;
  findOpts.Exclude(soCreate);
  TXoDOMNode* n = FindTyped(this, FTypedFirst[AKind - 1], AName, findOpts);
  if (n || !AOptions.Contains(soCreate)) return n;
  if (!AClass) throw Exception(_cXoDOMNodeClassRequired);
  n = AddChild(AClass, nullptr, rdpAfter);
  n->SetQualifiedName(AName);
  return n;
}

TXoDOMNode* TXoDOMElement::NodeByName(uint8_t AKind, std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                      TXoDOMSelectCheckOption ACheckOption) {
  if (TXoDOMNode* n = FindTypedNS(this, FTypedFirst[AKind - 1], ANamespaceURI, ALocalName)) return n;
  switch (ACheckOption) {
    case coReturnNil:
      return nullptr;
    case coRaise:
      throw EXoDomNotFound(_cXoDOMNoChildNS, {ALocalName, ANamespaceURI});
    case coCreate:
      break;
  }
  if (TXoDOMAttribute* decl = ScopeFindNamespace(ANamespaceURI)) {
    XoXMLString prefix = decl->NamespacePrefix();
    if (prefix.empty()) return AddElement(ALocalName);
    return AddElement(prefix + u":" + XoXMLString(ALocalName));
  }
  return AddElement(ANamespaceURI, ALocalName);
}

TXoDOMNode* TXoDOMElement::NodeByName(uint8_t AKind, std::u16string_view ANamespaceURI,
                                      std::u16string_view AQualifiedName, bool ACreate, TXoDOMNodeClass AClass) {
  size_t colon = AQualifiedName.find(u':');
  XoXMLString prefix(colon == XoXMLString::npos ? std::u16string_view() : AQualifiedName.substr(0, colon));
  XoXMLString local(colon == XoXMLString::npos ? AQualifiedName : AQualifiedName.substr(colon + 1));
  if (TXoDOMNode* n = FindTypedNS(this, FTypedFirst[AKind - 1], ANamespaceURI, local)) return n;
  if (!ACreate || !AClass) throw EXoDomNotFound(_cXoDOMNoChildNS, {local, ANamespaceURI});
  TObject* o = AClass->CreateInstance();
  auto* node = dynamic_cast<TXoDOMNode*>(o);
  if (!node) {
    if (o) o->Free();
    throw Exception(_cXoDOMNodeClassRequired);
  }
  node->SetNameRef(TXoDOMNameRef(TXoDOMName::Make(prefix, local)));
  AddChild(node, nullptr, rdpAfter);
  bool isAttr = node->FNodeType == ntAttribute;
  TXoDOMElement* holder = isAttr ? this : XoDOMAsElement(node);
  if (holder && !holder->ScopeFindNamespace(ANamespaceURI)) {
    auto* decl = new TXoDOMAttribute();
    if (isAttr)
      AddChild(decl, node, rdpBefore);
    else
      holder->AddChild(decl, nullptr, rdpAfter);
    decl->SetQualifiedName(prefix.empty() ? XoXMLString(u"xmlns") : u"xmlns:" + prefix);
    decl->SetNodeValue(ANamespaceURI);
  }
  return node;
}

TXoDOMElement* TXoDOMElement::ElementByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                            TXoDOMNodeClass AClass) {
  return static_cast<TXoDOMElement*>(NodeByName(kElems, AName, AOptions, AClass ? AClass : TXoDOMElement::ClassInfo()));
}
TXoDOMAttribute* TXoDOMElement::AttributeByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                                TXoDOMNodeClass AClass) {
  return static_cast<TXoDOMAttribute*>(
      NodeByName(kAttrs, AName, AOptions, AClass ? AClass : TXoDOMAttribute::ClassInfo()));
}
TXoDOMElement* TXoDOMElement::ElementByName(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                            TXoDOMSelectCheckOption ACheckOption) {
  return static_cast<TXoDOMElement*>(NodeByName(kElems, ANamespaceURI, ALocalName, ACheckOption));
}
TXoDOMAttribute* TXoDOMElement::AttributeByName(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  return static_cast<TXoDOMAttribute*>(NodeByName(kAttrs, ANamespaceURI, ALocalName, coRaise));
}
TXoDOMElement* TXoDOMElement::ElementByName(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                            bool ACreate) {
  return static_cast<TXoDOMElement*>(
      NodeByName(kElems, ANamespaceURI, AQualifiedName, ACreate, TXoDOMElement::ClassInfo()));
}
TXoDOMAttribute* TXoDOMElement::AttributeByName(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                                bool ACreate) {
  return static_cast<TXoDOMAttribute*>(
      NodeByName(kAttrs, ANamespaceURI, AQualifiedName, ACreate, TXoDOMAttribute::ClassInfo()));
}

TXoDOMElement* TXoDOMElement::NextElement() const {
  if (!XoDOMAsElement(FParent) || !(FFlags & kInTyped)) return nullptr;
  return static_cast<TXoDOMElement*>(FTNext);
}

TXoDOMElement* TXoDOMElement::PreviousElement() const {
  auto* p = XoDOMAsElement(FParent);
  if (!p || !(FFlags & kInTyped) || p->FTypedFirst[1] == this) return nullptr;
  return static_cast<TXoDOMElement*>(FTPrev);
}

TXoDOMElement* TXoDOMElement::FirstElement() {
  if (!FTypedFirst[1]) throw EXoDomNotFound(_cXoDOMNoFirstNode);
  return static_cast<TXoDOMElement*>(FTypedFirst[1]);
}
TXoDOMElement* TXoDOMElement::LastElement() {
  if (!FTypedFirst[1]) throw EXoDomNotFound(_cXoDOMNoLastNode);
  return static_cast<TXoDOMElement*>(FTypedFirst[1]->FTPrev);
}
TXoDOMAttribute* TXoDOMElement::FirstAttribute() {
  if (!FTypedFirst[0]) throw EXoDomNotFound(_cXoDOMNoFirstNode);
  return static_cast<TXoDOMAttribute*>(FTypedFirst[0]);
}
TXoDOMAttribute* TXoDOMElement::LastAttribute() {
  if (!FTypedFirst[0]) throw EXoDomNotFound(_cXoDOMNoLastNode);
  return static_cast<TXoDOMAttribute*>(FTypedFirst[0]->FTPrev);
}

Variant TXoDOMElement::GetChildElementValue(const Variant& AIndex) {
  TXoDOMElement* e = Elements()->GetItem(AIndex);
  return e ? e->GetAsVariant() : Variant::Null();
}

TXoDOMAttribute* TXoDOMElement::FindNamespace(std::u16string_view AURI) {
  for (TXoDOMElement* e = this; e; e = XoDOMAsElement(e->FParent)) {
    TXoXPathCollationClass coll = e->GetCollation();
    for (TXoDOMNode* n = e->FTypedFirst[0]; n; n = n->FTNext) {
      auto* a = static_cast<TXoDOMAttribute*>(n);
      if (a->IsNamespace() && coll->SameText(a->GetNodeValue(), AURI)) return a;
    }
  }
  return nullptr;
}

int32_t TXoDOMElement::GetCDATACount() {
  int32_t c = 0;
  for (TXoDOMNode* n = FTypedFirst[2]; n; n = n->FTNext)
    if (n->FNodeType == ntCDATA) ++c;
  return c;
}

TXoDOMCDATA* TXoDOMElement::GetCDATA(int32_t AIndex) {
  int32_t c = 0;
  for (TXoDOMNode* n = FTypedFirst[2]; n; n = n->FTNext)
    if (n->FNodeType == ntCDATA) {
      if (c == AIndex) return static_cast<TXoDOMCDATA*>(n);
      ++c;
    }
  if (AIndex == c) return AddCDATA(u"");
  throw EListError(_cXoDOMNoCDATA, {AIndex});
}

namespace {
// Adds AStart (and with ARecursive every element below it, in document
// order) to AList when AMatch says so. A loop over the element chains.
template <class F>
void CollectElements(TXoDOMElement* AStart, TXoDOMElementList* AList, bool ARecursive, F&& AMatch) {
  if (AMatch(AStart)) AList->Add(AStart, rdpLast);
  if (!ARecursive) return;
  TXoDOMElement* cur = AStart->FirstElementNode();
  while (cur) {
    if (AMatch(cur)) AList->Add(cur, rdpLast);
    if (TXoDOMElement* child = cur->FirstElementNode()) {
      cur = child;
      continue;
    }
    while (cur != AStart && !cur->NextElement()) cur = cur->ParentElement();
    if (cur == AStart) break;
    cur = cur->NextElement();
  }
}
}  // namespace

TXoDOMElementList* TXoDOMElement::CreateElementList(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                                    bool ARecursive) {
  auto* list = new TXoDOMElementList();
  TXoXPathCollationClass coll = GetCollation();
  CollectElements(this, list, ARecursive, [&](TXoDOMElement* e) {
    return coll->SameText(e->GetNamespaceURI(), ANamespaceURI) && coll->SameText(e->LocalNameView(), ALocalName);
  });
  return list;
}

TXoDOMElementList* TXoDOMElement::CreateElementList(std::u16string_view AQualifiedName, bool ARecursive) {
  auto* list = new TXoDOMElementList();
  size_t colon = AQualifiedName.find(u':');
  XoXMLString prefix(colon == XoXMLString::npos ? std::u16string_view() : AQualifiedName.substr(0, colon));
  XoXMLString local(colon == XoXMLString::npos ? AQualifiedName : AQualifiedName.substr(colon + 1));
  TXoXPathCollationClass coll = GetCollation();
  CollectElements(this, list, ARecursive, [&](TXoDOMElement* e) {
    return coll->SameText(e->PrefixView(), prefix) && coll->SameText(e->LocalNameView(), local);
  });
  return list;
}

void TXoDOMElement::_GetChildElements(TXoDOMElementList* AList, std::u16string_view APrefix,
                                      std::u16string_view ALocalName, bool ARecursive, TXoDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(_cXoDOMBothCaseOptions);
  if (AOptions.Contains(soRaise) || AOptions.Contains(soCreate)) throw Exception(_cXoDOMNoRaiseOrCreate);
  TXoXPathCollationClass coll = XoDOMCollationOf(AOptions, nullptr);
  if (!coll) coll = GetCollation();
  bool localOnly = AOptions.Contains(soLocalName) ||
                   (!AOptions.Contains(soQualifiedName) && GetSelectMatchOption() == soLocalName);
  auto same = [&](std::u16string_view APattern, std::u16string_view AValue) {
    return APattern == u"*" || coll->SameText(AValue, APattern);
  };
  CollectElements(this, AList, ARecursive, [&](TXoDOMElement* e) {
    if (!same(ALocalName, e->LocalNameView())) return false;
    return localOnly || same(APrefix, e->PrefixView());
  });
}

// ---------------------------------------------------------------------------
// Attribute values

XoXMLString TXoDOMElement::GetAttribute(std::u16string_view AQualifiedName) {
  return AttributeByName(AQualifiedName, {soCreate, soQualifiedName}, nullptr)->GetNodeValue();
}
void TXoDOMElement::SetAttribute(std::u16string_view AQualifiedName, std::u16string_view AValue) {
  AttributeByName(AQualifiedName, {soCreate, soQualifiedName}, nullptr)->SetNodeValue(AValue);
}
XoXMLString TXoDOMElement::GetAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) {
  return AttributeByName(ANamespaceURI, AQualifiedName, false)->GetNodeValue();
}
void TXoDOMElement::SetAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                   std::u16string_view AValue) {
  AttributeByName(ANamespaceURI, AQualifiedName, true)->SetNodeValue(AValue);
}

// ---------------------------------------------------------------------------
// Text

XoXMLString TXoDOMElement::GetNodeValue() {
  XoXMLString r;
  for (TXoDOMNode* n = FTypedFirst[2]; n; n = n->FTNext)
    if (n->FNodeType != ntComment) r += n->GetNodeValue();
  return r;
}

XoXMLString TXoDOMElement::GetText() {
  // Own text first, then each child element's in order: a pre-order walk
  // over the element chains.
  XoXMLString r;
  TXoDOMElement* cur = this;
  while (cur) {
    for (TXoDOMNode* n = cur->FTypedFirst[2]; n; n = n->FTNext) r += n->GetNodeValue();
    if (TXoDOMElement* child = cur->FirstElementNode()) {
      cur = child;
      continue;
    }
    while (cur != this && !cur->NextElement()) cur = cur->ParentElement();
    if (cur == this) break;
    cur = cur->NextElement();
  }
  return r;
}

void TXoDOMElement::SetNodeValue(std::u16string_view AValue) {
  TXoDOMNode* n = FTypedFirst[2] ? FTypedFirst[2]->FTPrev : nullptr;
  while (n) {
    TXoDOMNode* prev = n == FTypedFirst[2] ? nullptr : n->FTPrev;
    if (n->FNodeType != ntCDATA) RemoveChild(n);
    n = prev;
  }
  auto* t = new TXoDOMText();
  AddChild(t, nullptr, rdpAfter);
  t->SetNodeValue(AValue);
}

void TXoDOMElement::SetNodeValueEx(std::u16string_view AValue) {
  TXoDOMNode* n = FTypedFirst[2] ? FTypedFirst[2]->FTPrev : nullptr;
  while (n) {
    TXoDOMNode* prev = n == FTypedFirst[2] ? nullptr : n->FTPrev;
    if (n->FNodeType != ntCDATA) RemoveChild(n);
    n = prev;
  }
  auto* t = new TXoDOMText();
  AddChild(t, nullptr, rdpAfter);
  t->SetStoredValue(AValue);
}

void TXoDOMElement::NormalizeTextNodes() {
  if (FTypedCount[2] <= 1) return;
  for (TXoDOMNode* n = FFirstChild; n; n = n->FNext) {
    while (IsPlainText(n) && IsPlainText(n->FNext)) {
      TXoDOMNode* second = n->FNext;
      n->SetNodeValue(n->GetNodeValue() + second->GetNodeValue());
      RemoveChild(second);
    }
  }
}

// ---------------------------------------------------------------------------
// Namespaces

XoXMLString TXoDOMElement::GetNamespaceURI() {
  if (FNamespace) return FNamespace->GetNodeValue();
  if (FParent) return {};
  return XoXMLString(NsURI());
}

void TXoDOMElement::SetNamespaceURI(std::u16string_view AURI) {
  if (!FParent) {
    SetNsURI(AURI);
    SetNamespaceSet(true);
    return;
  }
  std::u16string_view prefix = FName->Prefix();
  bool needed;
  if (TXoDOMAttribute* found = ScopeFindNamespace(AURI)) {
    bool foundDefault = found->FName->Prefix().empty();  // "xmlns" itself
    needed = (foundDefault && !prefix.empty()) || (!foundDefault && prefix.empty());
  } else {
    needed = NamespaceSet();
  }
  if (!needed) return;
  XoXMLString name = prefix.empty() ? XoXMLString(u"xmlns") : XoXMLString(u"xmlns:").append(prefix);
  FNamespace = AttributeByName(name, {soCreate, soQualifiedName}, nullptr);
  FNamespace->SetNodeValue(AURI);
  SetNsURI(u"");
  SetNamespaceSet(false);
}

void TXoDOMElement::LookupOwnNamespace() {
  std::u16string_view prefix = FName->Prefix();
  if (prefix.empty()) {
    FNamespace = ScopeFind(u"xmlns");
  } else {
    XoXMLString name = u"xmlns:";
    name.append(prefix);
    FNamespace = ScopeFind(name);
  }
}

void TXoDOMElement::SetPrefix(std::u16string_view APrefix) {
  TXoDOMNode::SetPrefix(APrefix);
  LookupOwnNamespace();
}

void TXoDOMElement::SetParentNode(TXoDOMObject* AParent) {
  bool hadParent = FParent != nullptr;
  if (!Destroying()) {
    if (FNamespace) {
      SetNsURI(FNamespace->GetNodeValue());
      SetNamespaceSet(true);
    } else if (hadParent && !AParent) {
      SetNsURI(GetNamespaceURI());
      SetNamespaceSet(true);
    }
  }
  TXoDOMNode::SetParentNode(AParent);
  if (!Destroying()) {
    bool flag;
    if (TXoDOMAttribute* xs = FindAttribute(u"xml:space", {soQualifiedName}))
      flag = XoSameText(xs->StoredValue(), u"preserve");
    else if (auto* pe = XoDOMAsElement(AParent))
      flag = pe->GetPreserveSpace();
    else
      flag = DefaultPreserveCase;
    if (flag)
      FFlags |= kPreserveSpace;
    else
      FFlags &= ~kPreserveSpace;
    if (FTypedFirst[1]) _SetPreseveSpace(flag);
  }
  if (!hadParent && AParent && !NsURI().empty()) SetNamespaceURI(XoXMLString(NsURI()));
}

void TXoDOMElement::RefreshOwnNamespaces() {
  SetScope(nullptr);
  if (!FParent) {
    if (FNamespace && FNamespace->FParent != this) FNamespace = nullptr;
    return;
  }
  TXoDOMAttribute* old = FNamespace;
  FNamespace = nullptr;
  bool changeNS = true;
  if (auto* pe = XoDOMAsElement(FParent)) {
    SetScope(pe->FScope);  // shared until this element declares something
    if (GetCollation()->SameText(FName->Prefix(), pe->FName->Prefix())) {
      FNamespace = pe->FNamespace;
      changeNS = false;
      if (FName->Prefix().empty() && NsURI().empty() && FNamespace) {
        FNamespace = nullptr;
        SetNamespaceURI(u"");
      }
    }
  }
  TXoXPathCollationClass coll = GetCollation();
  for (TXoDOMNode* n = FTypedFirst[0]; n; n = n->FTNext) {
    auto* a = static_cast<TXoDOMAttribute*>(n);
    if (!a->IsNamespace()) continue;
    if (a == old) {
      FNamespace = a;
      SetNamespaceSet(true);
      SetNsURI(a->GetNodeValue());
    }
    std::vector<TXoDOMNode*>& items = MutableScope();
    for (auto it = items.begin(); it != items.end(); ++it)
      if (XoDOMSameName(coll, (*it)->QualifiedNameView(), a->QualifiedNameView())) {
        if (*it == FNamespace) {
          FNamespace = nullptr;
          changeNS = true;
        }
        items.erase(it);
        break;
      }
    items.push_back(a);
  }
  if (changeNS) SetPrefix(GetPrefix());
}

// ---------------------------------------------------------------------------
// Preserve space

void TXoDOMElement::SetPreseveSpace(bool AValue) {
  if (AValue)
    FFlags |= kPreserveSpace;
  else
    FFlags &= ~kPreserveSpace;
  AttributeByName(u"xml:space", {soCreate, soQualifiedName}, nullptr)->SetNodeValue(AValue ? u"preserve" : u"default");
  _SetPreseveSpace(AValue);
}

void TXoDOMElement::_SetPreseveSpace(bool AValue) {
  // Hands the flag down to the elements below that have no xml:space of
  // their own; such an element keeps its flag, and so does its subtree.
  TXoDOMElement* cur = FirstElementNode();
  while (cur) {
    bool own = cur->FindAttribute(u"xml:space", {soQualifiedName}) != nullptr;
    if (!own) {
      if (AValue)
        cur->FFlags |= kPreserveSpace;
      else
        cur->FFlags &= ~kPreserveSpace;
      if (TXoDOMElement* child = cur->FirstElementNode()) {
        cur = child;
        continue;
      }
    }
    while (cur != this && !cur->NextElement()) cur = cur->ParentElement();
    if (cur == this || !cur) break;
    cur = cur->NextElement();
  }
}

// ---------------------------------------------------------------------------
// Typed values

bool TXoDOMElement::UseSchemaInstance() { return FDOMDocument && FDOMDocument->GetUseSchemaInstance(); }

bool TXoDOMElement::GetAsBoolean() { return XoXMLToBool(GetNodeValue()); }
TDateTime TXoDOMElement::GetAsDateTime() { return XoXMLToDateTimeDef(GetNodeValue(), 0, tzfNone); }
double TXoDOMElement::GetAsDouble() { return XoXMLToDoubleDef(GetNodeValue(), 0); }
int64_t TXoDOMElement::GetAsInt64() { return XoXMLToInt64Def(GetNodeValue(), 0); }
int32_t TXoDOMElement::GetAsInteger() { return XoXMLToIntDef(GetNodeValue(), 0); }
std::string TXoDOMElement::GetAsAnsiString() { return TXoEncoding::ConvertW(GetNodeValue(), 0); }

Variant TXoDOMElement::GetAsVariant() {
  if (FindAttribute(cXoXSINamespaceURI, u"nil")) return Variant::Null();
  TXoDOMAttribute* type = FindAttribute(cXoXSINamespaceURI, u"type");
  if (!type) return FTypedCount[2] > 0 ? Variant(GetNodeValue()) : Variant::Null();
  XoXMLString typeName = type->GetNodeValue();
  if (typeName.empty()) throw EXoDomException(_cXoDOMInvalidTypeInfo);
  XoXMLString text = GetNodeValue();
  TVarType code = TXoTypes::GetVarType(typeName, tntSchema, 13);
  // A prefixed schema name ("xsd:int") is looked up by its local part when
  // the registry does not know it as written.
  size_t colon = typeName.find(u':');
  if (code == 13 && colon != XoXMLString::npos)
    code = TXoTypes::GetVarType(std::u16string_view(typeName).substr(colon + 1), tntSchema, 13);
  if (code == 0 || code == 8 || code == 256 || code == 258) return Variant(text);
  if (typeName == u"time" || typeName.find(u":time") != XoXMLString::npos)
    return Variant::FromDate(XoXMLToTime(text, tzfNone));
  if (code == 73 || code == 36 || code == 8192) return Variant(text);
  if (LowerCase(typeName).find(u"base64binary") != XoXMLString::npos) return Variant(GetAsAnsiString());
  return XoXMLToVariant(text, code);
}

TValue TXoDOMElement::GetAsValue() {
  if (FindAttribute(cXoXSINamespaceURI, u"nil")) return TValue();
  TXoTypeInfo* info = nullptr;
  if (TXoDOMAttribute* type = FindAttribute(cXoXSINamespaceURI, u"type")) {
    XoXMLString typeName = type->GetNodeValue();
    if (typeName.empty()) throw EXoDomException(_cXoDOMInvalidTypeInfo);
    info = TXoTypes::GetTypeInfo(typeName, tntSchema, false, mtkOther);
    size_t colon = typeName.find(u':');
    if (!info && colon != XoXMLString::npos)
      info = TXoTypes::GetTypeInfo(std::u16string_view(typeName).substr(colon + 1), tntSchema, false, mtkOther);
  }
  if (FTypedCount[2] > 0) {
    XoXMLString text = GetNodeValue();
    if (info) return XoXMLToValue(text, info);
    return TValue::From(text);
  }
  if (info && (static_cast<int>(info->GetTypeKind()) == 19 || static_cast<int>(info->GetTypeKind()) == 20))
    if (TXoDOMAttribute* v = FindAttribute(u"value", {soCaseInsensitive, soLocalName}))
      return XoXMLToValue(v->GetNodeValue(), info);
  return TValue();
}

void TXoDOMElement::SetAsBoolean(bool AValue) {
  if (UseSchemaInstance()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(XoBoolToXML(AValue));
}
void TXoDOMElement::SetAsDateTime(TDateTime AValue) {
  if (UseSchemaInstance()) return SetAsVariant(Variant::FromDate(AValue));
  SetNodeValueEx(XoDateTimeToXML(AValue, tzfNone));
}
void TXoDOMElement::SetAsDouble(double AValue) {
  if (UseSchemaInstance()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(XoDoubleToXML(AValue));
}
void TXoDOMElement::SetAsInt64(int64_t AValue) {
  if (UseSchemaInstance()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(XoInt64ToXML(AValue));
}
void TXoDOMElement::SetAsInteger(int32_t AValue) {
  if (UseSchemaInstance()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(XoIntToXML(AValue));
}
void TXoDOMElement::SetAsString(std::u16string_view AValue) {
  if (UseSchemaInstance()) return SetAsVariant(Variant(AValue));
  SetNodeValueEx(XoStrToXML(AValue, true, true));
}
void TXoDOMElement::SetAsAnsiString(const std::string& AValue) { SetAsString(TXoEncoding::ConvertA(AValue, 0)); }

namespace {
// The xsi and xsd prefixes in scope of an element of a schema-instance
// document ("xsi:" with its colon, "xsd" without); empty when undeclared.
void SchemaPrefixes(TXoDOMElement* AElement, XoXMLString& AXsi, XoXMLString& AXsd) {
  AXsi.clear();
  AXsd.clear();
  if (TXoDOMAttribute* d = AElement->Namespaces()->FindNamespace(cXoXSINamespaceURI))
    AXsi = d->NamespacePrefix() + u":";
  if (TXoDOMAttribute* d = AElement->Namespaces()->FindNamespace(cXoXSDNamespaceURI)) AXsd = d->NamespacePrefix();
}
}  // namespace

void TXoDOMElement::SetAsVariant(const Variant& AValue) {
  XoXMLString xsi, xsd;
  if (UseSchemaInstance()) SchemaPrefixes(this, xsi, xsd);
  if (xsi.empty() || xsd.empty()) {
    SetNodeValueEx(XoVariantToXML(AValue));
    return;
  }
  if (AValue.IsClear()) {
    SetAttribute(xsi + u"nil", u"true");
    SetNodeValue(u"");
    return;
  }
  if (TXoDOMAttribute* nil = FindAttribute(cXoXSINamespaceURI, u"nil")) RemoveChild(nil);
  if (TXoTypes::VarMainTypeKind(AValue) == mtkString)
    SetNodeValue(XoVarToStr(AValue));
  else
    SetNodeValueEx(XoVariantToXML(AValue));
  SetAttribute(xsi + u"type", TXoTypes::VarTypeInfo(AValue)->SchemaName(xsd));
}

void TXoDOMElement::SetAsValue(const TValue& AValue) {
  XoXMLString xsi, xsd;
  if (UseSchemaInstance()) SchemaPrefixes(this, xsi, xsd);
  if (xsi.empty() || xsd.empty()) {
    SetNodeValueEx(XoValToXML(AValue));
    return;
  }
  if (AValue.IsEmpty()) {
    SetAttribute(xsi + u"nil", u"true");
    SetNodeValue(u"");
    return;
  }
  if (TXoDOMAttribute* nil = FindAttribute(cXoXSINamespaceURI, u"nil")) RemoveChild(nil);
  if (AValue.TypeInfo() && AValue.TypeInfo()->GetMainTypeKind() == mtkString)
    SetNodeValue(AValue.AsString());
  else
    SetNodeValueEx(XoValToXML(AValue));
  if (AValue.TypeInfo()) SetAttribute(xsi + u"type", AValue.TypeInfo()->SchemaName(xsd));
}

}  // namespace xo
