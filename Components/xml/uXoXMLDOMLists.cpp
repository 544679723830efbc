// uXoXMLDOM, lists: the views over a node's chains, lists of their own,
// lookups by name, element lists indexed by Variant, and TXoDOMObjectList.
#include <algorithm>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

TXoDOMNodeListBase::TXoDOMNodeListBase() = default;

TXoDOMNodeListBase::~TXoDOMNodeListBase() = default;

TXoDOMObjectImpl* TXoDOMNodeListBase::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMNodeListImpl(AObject); }
TXoDOMObjectImpl* TXoDOMElementList::CreateDOMImpl(TXoDOMObject* AObject) {
  return new TXoDOMElementListImpl(AObject);
}
TXoDOMObjectImpl* TXoDOMAttrList::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMAttrListImpl(AObject); }

bool TXoDOMNodeListBase::CanAutoDestroy() {
  if (FDOMImpl || FParent) return false;
  return TXoDOMObject::CanAutoDestroy();
}

void TXoDOMNodeListBase::InitView(TXoDOMNode* AOwner, TKind AKind) {
  FParent = AOwner;
  FKind = AKind;
}

bool TXoDOMNodeListBase::GetCaseSensitive() {
  return GetCollation() != TXoXPathCollationASCIICI::ClassRef();
}
TXoXPathCollationClass TXoDOMNodeListBase::GetCollation() {
  return FParent ? FParent->GetCollation() : TXoDOMObject::GetCollation();
}
TXoDOMSelectMatchOption TXoDOMNodeListBase::GetSelectMatchOption() {
  return FParent ? FParent->GetSelectMatchOption() : TXoDOMObject::GetSelectMatchOption();
}

std::vector<TXoDOMNode*>& TXoDOMNodeListBase::Items() {
  if (FKind == lkNamespaces) return static_cast<TXoDOMElement*>(OwnerNode())->MutableScope();
  return FList;
}

TXoDOMNode* TXoDOMNodeListBase::Head() const {
  TXoDOMNode* owner = OwnerNode();
  switch (FKind) {
    case lkChildren:
      return owner->FFirstChild;
    case lkAttributes:
    case lkElements:
    case lkCharNodes:
      return static_cast<TXoDOMElement*>(owner)->FTypedFirst[FKind - lkAttributes];
    default:
      return nullptr;
  }
}

TXoDOMNode* TXoDOMNodeListBase::NextOf(TXoDOMNode* ANode) const {
  return FKind == lkChildren ? ANode->FNext : ANode->FTNext;
}

TXoDOMNode* TXoDOMNodeListBase::PrevOf(TXoDOMNode* ANode) const {
  if (ANode == Head()) return nullptr;
  return FKind == lkChildren ? ANode->FPrev : ANode->FTPrev;
}

int32_t TXoDOMNodeListBase::Count() const {
  switch (FKind) {
    case lkOwn:
      return static_cast<int32_t>(FList.size());
    case lkChildren:
      return static_cast<int32_t>(OwnerNode()->FChildCount);
    case lkNamespaces: {
      const std::vector<TXoDOMNode*>* items = static_cast<TXoDOMElement*>(OwnerNode())->ScopeItems();
      return items ? static_cast<int32_t>(items->size()) : 0;
    }
    default:
      return static_cast<int32_t>(static_cast<TXoDOMElement*>(OwnerNode())->FTypedCount[FKind - lkAttributes]);
  }
}

void TXoDOMNodeListBase::RaiseIndex(int32_t AIndex) const { throw EListError(_cXoDOMListIndex, {AIndex}); }

TXoDOMNode* TXoDOMNodeListBase::GetItem(int32_t AIndex) {
  int32_t n = Count();
  if (AIndex < 0 || AIndex >= n) RaiseIndex(AIndex);
  if (FKind == lkOwn) return FList[static_cast<size_t>(AIndex)];
  if (FKind == lkNamespaces) return (*static_cast<TXoDOMElement*>(OwnerNode())->ScopeItems())[static_cast<size_t>(AIndex)];
  // A chain: start from the cached position, the head or the tail,
  // whichever is nearest, so that an indexed loop costs O(1) per step.
  TXoDOMNode* head = Head();
  int32_t idx = 0;
  TXoDOMNode* node = head;
  int32_t best = AIndex;
  if (FCacheNode && std::abs(AIndex - FCacheIndex) < best) {
    best = std::abs(AIndex - FCacheIndex);
    idx = FCacheIndex;
    node = FCacheNode;
  }
  if (n - 1 - AIndex < best) {
    idx = n - 1;
    node = FKind == lkChildren ? head->FPrev : head->FTPrev;
  }
  while (idx < AIndex) {
    node = NextOf(node);
    ++idx;
  }
  while (idx > AIndex) {
    node = FKind == lkChildren ? node->FPrev : node->FTPrev;
    --idx;
  }
  FCacheIndex = AIndex;
  FCacheNode = node;
  return node;
}

bool TXoDOMNodeListBase::ContainsNode(TXoDOMNode* ANode) {
  if (!ANode) return false;
  switch (FKind) {
    case lkOwn:
      return std::find(FList.begin(), FList.end(), ANode) != FList.end();
    case lkNamespaces: {
      const std::vector<TXoDOMNode*>* items = static_cast<TXoDOMElement*>(OwnerNode())->ScopeItems();
      return items && std::find(items->begin(), items->end(), ANode) != items->end();
    }
    case lkChildren:
      return ANode->FParent == FParent && (ANode->FFlags & kInChain);
    default:
      return ANode->FParent == FParent && (ANode->FFlags & kInTyped) &&
             ANode->FTypedKind == static_cast<uint8_t>(FKind - lkAttributes + 1);
  }
}

int32_t TXoDOMNodeListBase::IndexOf(TXoDOMNode* ANode) {
  if (FKind == lkOwn || FKind == lkNamespaces) {
    if (FKind == lkNamespaces && !static_cast<TXoDOMElement*>(OwnerNode())->ScopeItems()) return -1;
    const std::vector<TXoDOMNode*>& items =
        FKind == lkOwn ? FList : *static_cast<TXoDOMElement*>(OwnerNode())->ScopeItems();
    auto it = std::find(items.begin(), items.end(), ANode);
    return it == items.end() ? -1 : static_cast<int32_t>(it - items.begin());
  }
  if (!ContainsNode(ANode)) return -1;
  int32_t i = 0;
  for (TXoDOMNode* n = Head(); n && n != ANode; n = NextOf(n)) ++i;
  return i;
}

void TXoDOMNodeListBase::Clear() {
  if (FKind == lkOwn) {
    FList.clear();
    return;
  }
  if (FKind == lkNamespaces) {
    if (static_cast<TXoDOMElement*>(OwnerNode())->ScopeItems()) Items().clear();
    return;
  }
  // The nodes stay alive and keep their parent: a list frees nothing.
  while (TXoDOMNode* n = Head()) Delete(n);
}

TXoDOMNode* TXoDOMNodeListBase::Add(TXoDOMNode* ANode, TXoDOMAbsPosition APosition) {
  return Add(ANode, nullptr, APosition == rdpFirst ? rdpFirst : rdpLast);
}

TXoDOMNode* TXoDOMNodeListBase::Add(TXoDOMNode* ANode, TXoDOMRelPosition APosition, TXoDOMNode* ARefNode) {
  XoAssert(ARefNode != nullptr, u"", cXoDOMSource);
  return Add(ANode, ARefNode, APosition == rdpBefore ? rdpBefore : rdpAfter);
}

TXoDOMNode* TXoDOMNodeListBase::Add(TXoDOMNode* ANode, TXoDOMNode* ARefNode, TXoDOMPosition APosition) {
  if (!ANode) return nullptr;
  if (ARefNode == ANode) ARefNode = nullptr;
  // Normalise: a nil reference turns the relative forms into absolute ones;
  // a reference that is not in the list puts the node first (before) or
  // last (after).
  if (APosition == rdpBefore || APosition == rdpAfter) {
    if (!ARefNode || !ContainsNode(ARefNode)) APosition = APosition == rdpBefore ? rdpFirst : rdpLast;
  }
  if (FKind == lkOwn || FKind == lkNamespaces) {
    std::vector<TXoDOMNode*>& items = Items();
    auto old = std::find(items.begin(), items.end(), ANode);
    if (old != items.end()) items.erase(old);
    size_t at = items.size();
    if (APosition == rdpFirst)
      at = 0;
    else if (APosition == rdpBefore || APosition == rdpAfter) {
      at = static_cast<size_t>(std::find(items.begin(), items.end(), ARefNode) - items.begin());
      if (APosition == rdpAfter) ++at;
    }
    items.insert(items.begin() + static_cast<ptrdiff_t>(at), ANode);
    return ANode;
  }
  TXoDOMNode* owner = OwnerNode();
  bool linked = FKind == lkChildren ? (ANode->FFlags & kInChain) : (ANode->FFlags & kInTyped);
  if (linked && !ContainsNode(ANode)) {
    if (ANode->FParent != owner) throw EXoDomHierarchyRequest(_cXoDOMInOtherList);
    if (FKind != lkChildren) TXoDOMTree::UnlinkTyped(static_cast<TXoDOMElement*>(owner), ANode);
  }
  TXoDOMTree::AddAt(owner, FKind == lkChildren ? 0 : static_cast<uint8_t>(FKind - lkAttributes + 1), ANode, ARefNode,
                    APosition);
  // A node put into a chain view directly belongs to the owner from now on.
  if (!ANode->FParent) ANode->FParent = owner;
  return ANode;
}

TXoDOMNode* TXoDOMNodeListBase::Delete(TXoDOMNode* ANode) {
  if (!ContainsNode(ANode)) return nullptr;
  switch (FKind) {
    case lkOwn:
    case lkNamespaces: {
      std::vector<TXoDOMNode*>& items = Items();
      items.erase(std::find(items.begin(), items.end(), ANode));
      break;
    }
    case lkChildren:
      TXoDOMTree::UnlinkChain(OwnerNode(), ANode);
      break;
    default:
      TXoDOMTree::UnlinkTyped(static_cast<TXoDOMElement*>(OwnerNode()), ANode);
      break;
  }
  return ANode;
}

TXoDOMNode* TXoDOMNodeListBase::Delete(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  TXoDOMNode* n = Find(AName, AOptions);
  return n ? Delete(n) : nullptr;
}

TXoDOMNode* TXoDOMNodeListBase::Delete(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  TXoDOMNode* n = Find(ANamespaceURI, ALocalName);
  return n ? Delete(n) : nullptr;
}

TXoDOMNode* TXoDOMNodeListBase::First() {
  if (Count() == 0) throw EXoDomNotFound(_cXoDOMNoFirstNode);
  return GetItem(0);
}

TXoDOMNode* TXoDOMNodeListBase::Last() {
  int32_t n = Count();
  if (n == 0) throw EXoDomNotFound(_cXoDOMNoLastNode);
  return GetItem(n - 1);
}

TXoDOMNode* TXoDOMNodeListBase::Next(TXoDOMNode* ANode) {
  if (!ContainsNode(ANode)) return Count() > 0 ? GetItem(0) : nullptr;
  if (FKind == lkOwn || FKind == lkNamespaces) {
    int32_t i = IndexOf(ANode) + 1;
    return i < Count() ? GetItem(i) : nullptr;
  }
  return NextOf(ANode);
}

TXoDOMNode* TXoDOMNodeListBase::Previous(TXoDOMNode* ANode) {
  if (!ContainsNode(ANode)) throw EListError(_cXoDOMRefNodeNotInList);
  if (FKind == lkOwn || FKind == lkNamespaces) {
    int32_t i = IndexOf(ANode) - 1;
    return i >= 0 ? GetItem(i) : nullptr;
  }
  return PrevOf(ANode);
}

namespace {
// Walks a list from its last item to its first; AFunc answers true to stop.
template <class F>
TXoDOMNode* FindBackwards(TXoDOMNodeListBase* AList, F&& AMatch) {
  int32_t n = AList->Count();
  if (n == 0) return nullptr;
  if (AList->Kind() == TXoDOMNodeListBase::lkOwn || AList->Kind() == TXoDOMNodeListBase::lkNamespaces) {
    for (int32_t i = n - 1; i >= 0; --i) {
      TXoDOMNode* node = AList->GetItem(i);
      if (AMatch(node)) return node;
    }
    return nullptr;
  }
  // A chain: the last item is the first's "previous".
  TXoDOMNode* node = AList->Last();
  TXoDOMNode* prev = nullptr;
  for (; node; node = prev) {
    prev = AList->Previous(node);
    if (AMatch(node)) return node;
  }
  return nullptr;
}
}  // namespace

TXoDOMNode* TXoDOMNodeListBase::Find(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(_cXoDOMBothCaseOptions);
  if (AOptions.Contains(soCreate)) throw Exception(_cXoDOMNoSoCreate);
  bool local;
  if (AOptions.Contains(soLocalName))
    local = true;
  else if (AOptions.Contains(soQualifiedName))
    local = false;
  else
    local = GetSelectMatchOption() == soLocalName;
  TXoXPathCollationClass coll = XoDOMCollationOf(AOptions, nullptr);
  if (!coll) coll = GetCollation();
  TXoDOMNode* r = FindBackwards(this, [&](TXoDOMNode* n) {
    return XoDOMSameName(coll, local ? n->LocalNameView() : n->QualifiedNameView(), AName);
  });
  if (!r && AOptions.Contains(soRaise)) throw EXoDomNotFound(_cXoDOMNoNodeForName, {AName});
  return r;
}

TXoDOMNode* TXoDOMNodeListBase::Find(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  TXoXPathCollationClass coll = GetCollation();
  return FindBackwards(this, [&](TXoDOMNode* n) {
    if (!XoDOMSameName(coll, n->LocalNameView(), ALocalName)) return false;
    return ANamespaceURI.empty() || coll->SameText(n->GetNamespaceURI(), ANamespaceURI);
  });
}

// ---------------------------------------------------------------------------
// Element list

TXoDOMElement* TXoDOMElementList::GetItem(const Variant& AIndex) {
  TXoDOMSelectCheckOption check = DefaultSelectCheckOption;
  if (TXoDOMNode* owner = OwnerNode())
    if (TXoDOMDocument* doc = owner->DOMDocument()) check = doc->GetSelectCheckOption();
  return GetItemEx(AIndex, check);
}

TXoDOMElement* TXoDOMElementList::GetItemEx(const Variant& AIndex, TXoDOMSelectCheckOption ACheckOption) {
  switch (TXoTypes::VarMainTypeKind(AIndex)) {
    case mtkInteger:
      return GetItem(XoVarToInt(AIndex));
    case mtkString: {
      XoXMLString name = XoVarToStr(AIndex);
      TXoDOMNode* owner = OwnerNode();
      TXoDOMDocument* doc = owner ? owner->DOMDocument() : nullptr;
      bool cs = doc ? doc->GetCaseSensitive() : DefaultXPathCollation != TXoXPathCollationASCIICI::ClassRef();
      TXoDOMSelectOptions opts{cs ? soCaseSensitive : soCaseInsensitive};
      if (ACheckOption == coCreate) opts.Include(soCreate);
      if (ACheckOption == coRaise) opts.Include(soRaise);
      opts.Include(name.find(u':') != XoXMLString::npos ? soQualifiedName : soLocalName);
      auto* parent = XoDOMAsElement(owner);
      if (name == u".") return parent;
      TXoDOMElement* found;
      if (name.find(u'/') != XoXMLString::npos || ACheckOption == coCreate) {
        if (!parent) throw EXoDomNotSupported(u"Path selection needs an element");
        found = parent->SelectSingleElement(name, opts);
      } else {
        found = static_cast<TXoDOMElement*>(Find(name, opts));
      }
      // The raising searches raise already; this stands for any that
      // answers nil all the same.
      if (!found && ACheckOption == coRaise) throw EListError(u"There is no childelement with the name %s!", {name});
      return found;
    }
    default:
      throw EListError(_cXoDOMInvalidIdx);
  }
}

TXoDOMAttribute* TXoDOMAttrList::FindNamespace(std::u16string_view AURI) {
  TXoXPathCollationClass coll = GetCollation();
  int32_t n = Count();
  if (FKind == lkAttributes) {
    for (TXoDOMNode* a = Head(); a; a = TXoDOMElement::NextTyped(a)) {
      auto* attr = static_cast<TXoDOMAttribute*>(a);
      if (attr->IsNamespace() && coll->SameText(attr->GetNodeValue(), AURI)) return attr;
    }
    return nullptr;
  }
  for (int32_t i = 0; i < n; ++i) {
    auto* attr = dynamic_cast<TXoDOMAttribute*>(TXoDOMNodeListBase::GetItem(i));
    if (attr && attr->IsNamespace() && coll->SameText(attr->GetNodeValue(), AURI)) return attr;
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// Object list

TXoDOMObject* TXoDOMObjectList::GetItem(int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(_cXoDOMListIndex, {AIndex});
  return FItems[static_cast<size_t>(AIndex)];
}

void TXoDOMObjectList::Insert(int32_t AIndex, TXoDOMObject* AObject) {
  if (AIndex < 0 || AIndex > Count()) throw EListError(_cXoDOMListIndex, {AIndex});
  FItems.insert(FItems.begin() + AIndex, AObject);
}

void TXoDOMObjectList::Delete(int32_t AIndex) {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(_cXoDOMListIndex, {AIndex});
  FItems.erase(FItems.begin() + AIndex);
}

int32_t TXoDOMObjectList::Remove(TXoDOMObject* AObject) {
  int32_t i = IndexOf(AObject);
  if (i >= 0) Delete(i);
  return i;
}

int32_t TXoDOMObjectList::IndexOf(TXoDOMObject* AObject) const {
  auto it = std::find(FItems.begin(), FItems.end(), AObject);
  return it == FItems.end() ? -1 : static_cast<int32_t>(it - FItems.begin());
}

void TXoDOMObjectList::Assign(const TXoDOMObjectList* ASource) {
  if (ASource == this) return;
  FItems.clear();
  if (ASource) FItems = ASource->FItems;
}

}  // namespace xo
