// uXoXMLDOM, leaves: character data (text, comments, CDATA), attributes with
// their namespace rules, processing instructions.
#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"
#include "uXoXMLUtils.h"

namespace xo {

const TXoDOMNameRef& XoDOMTextName();
const TXoDOMNameRef& XoDOMCommentName();
const TXoDOMNameRef& XoDOMCDATAName();

// ===========================================================================
// Character data

TXoDOMCharacterData::TXoDOMCharacterData() {
  FNodeType = ntText;
  FName = XoDOMTextName();
}

TXoDOMObjectImpl* TXoDOMCharacterData::CreateDOMImpl(TXoDOMObject* AObject) {
  return new TXoDOMCharacterDataImpl(AObject);
}

XoXMLString TXoDOMCharacterData::GetNodeValue() { return XoXMLToStr(FNodeValue.View()); }

void TXoDOMCharacterData::SetNodeValue(std::u16string_view AValue) {
  FNodeValue.Assign(XoStrToXML(AValue, true, true));
}

TXoDOMNode* TXoDOMCharacterData::CreateClone() {
  TXoDOMNode* n = TXoDOMNode::CreateClone();
  if (auto* c = dynamic_cast<TXoDOMCharacterData*>(n)) c->FNodeValue.Assign(FNodeValue.View());
  return n;
}

void TXoDOMCharacterData::AppendStr(std::u16string_view AText) {
  XoXMLString v = GetNodeValue();
  v.append(AText);
  SetNodeValue(v);
}

void TXoDOMCharacterData::DeleteStr(int32_t AStart, int32_t ALength) {
  XoXMLString v = GetNodeValue();
  if (AStart < 1 || AStart > static_cast<int64_t>(v.size()) || ALength <= 0) return;
  v.erase(static_cast<size_t>(AStart - 1), static_cast<size_t>(ALength));
  SetNodeValue(v);
}

void TXoDOMCharacterData::InsertStr(int32_t APosition, std::u16string_view AText) {
  XoXMLString v = GetNodeValue();
  int64_t at = APosition < 1 ? 0 : APosition - 1;
  if (at > static_cast<int64_t>(v.size())) at = static_cast<int64_t>(v.size());
  v.insert(static_cast<size_t>(at), AText);
  SetNodeValue(v);
}

void TXoDOMCharacterData::ReplaceStr(int32_t AStart, int32_t ALength, std::u16string_view AText) {
  XoXMLString v = GetNodeValue();
  if (AStart >= 1 && AStart <= static_cast<int64_t>(v.size()) && ALength > 0)
    v.erase(static_cast<size_t>(AStart - 1), static_cast<size_t>(ALength));
  int64_t at = AStart < 1 ? 0 : AStart - 1;
  if (at > static_cast<int64_t>(v.size())) at = static_cast<int64_t>(v.size());
  v.insert(static_cast<size_t>(at), AText);
  SetNodeValue(v);
}

XoXMLString TXoDOMCharacterData::Substring(int32_t AStart, int32_t ALength) {
  XoXMLString v = GetNodeValue();
  int64_t start = AStart < 1 ? 0 : AStart - 1;
  if (start >= static_cast<int64_t>(v.size()) || ALength <= 0) return {};
  return v.substr(static_cast<size_t>(start), static_cast<size_t>(ALength));
}

TXoDOMObjectImpl* TXoDOMText::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMTextImpl(AObject); }

TXoDOMText* TXoDOMText::SplitText(int32_t AOffset) {
  TXoDOMNode* parent = ParentNode();
  if (!parent) throw EXoDomHierarchyRequest(u"A text node without a parent cannot be split!");
  XoXMLString v = GetNodeValue();
  size_t at = AOffset < 0 ? 0 : std::min(static_cast<size_t>(AOffset), v.size());
  auto* rest = static_cast<TXoDOMText*>(parent->AddChild(TXoDOMText::ClassInfo(), this, rdpAfter));
  SetNodeValue(v.substr(0, at));
  rest->SetNodeValue(v.substr(at));
  return rest;
}

TXoDOMComment::TXoDOMComment() {
  FNodeType = ntComment;
  FName = XoDOMCommentName();
}
TXoDOMObjectImpl* TXoDOMComment::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMCommentImpl(AObject); }

TXoDOMCDATA::TXoDOMCDATA() {
  FNodeType = ntCDATA;
  FName = XoDOMCDATAName();
}
TXoDOMObjectImpl* TXoDOMCDATA::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMCDATAImpl(AObject); }

// ===========================================================================
// Attribute

TXoDOMAttribute::TXoDOMAttribute() { FNodeType = ntAttribute; }

TXoDOMObjectImpl* TXoDOMAttribute::CreateDOMImpl(TXoDOMObject* AObject) {
  return new TXoDOMAttributeImpl(AObject);
}

XoXMLString TXoDOMAttribute::GetNodeValue() { return XoXMLToStr(FNodeValue.View()); }

void TXoDOMAttribute::SetNodeValue(std::u16string_view AValue) {
  FNodeValue.Assign(XoStrToXML(AValue, false, true));
}

TXoDOMNode* TXoDOMAttribute::CreateClone() {
  TXoDOMNode* n = TXoDOMNode::CreateClone();
  if (auto* a = dynamic_cast<TXoDOMAttribute*>(n)) a->FNodeValue.Assign(FNodeValue.View());
  return n;
}

XoXMLString TXoDOMAttribute::NamespacePrefix() const {
  XoAssert(IsNamespace(), u"", cXoDOMSource);
  std::u16string_view local = FName->LocalName();
  if (FName->Prefix().empty() && XoSameText(local, u"xmlns")) return {};
  return XoXMLString(local);
}

TXoDOMAttribute* TXoDOMAttribute::NextAttribute() {
  if (!XoDOMAsElement(FParent) || !(FFlags & kInTyped)) return nullptr;
  return static_cast<TXoDOMAttribute*>(FTNext);
}

TXoDOMAttribute* TXoDOMAttribute::PreviousAttribute() {
  auto* el = XoDOMAsElement(FParent);
  if (!el || !(FFlags & kInTyped)) return nullptr;
  if (el->FTypedFirst[0] == this) return nullptr;
  return static_cast<TXoDOMAttribute*>(FTPrev);
}

XoXMLString TXoDOMAttribute::GetNamespaceURI() {
  if (FNamespace) return FNamespace->GetNodeValue();
  if (FName->Prefix() == u"xml") return cXoXMLNamespaceURI;
  if (FParent) return {};
  return XoXMLString(NsURI());
}

void TXoDOMAttribute::LookupNamespace() {
  auto* el = XoDOMAsElement(FParent);
  if (!el) return;
  std::u16string_view prefix = FName->Prefix();
  if (prefix.empty()) {
    FNamespace = el->ScopeFind(u"xmlns");
  } else {
    XoXMLString name = u"xmlns:";
    name.append(prefix);
    FNamespace = el->ScopeFind(name);
  }
}

void TXoDOMAttribute::SetNamespaceURI(std::u16string_view AURI) {
  auto* el = XoDOMAsElement(FParent);
  if (!el) {
    SetNsURI(AURI);
    SetNamespaceSet(true);
    return;
  }
  if (NamespaceSet() && !el->ScopeFindNamespace(XoXMLString(NsURI()))) {
    auto* decl = new TXoDOMAttribute();
    std::u16string_view prefix = FName->Prefix();
    XoXMLString name = prefix.empty() ? XoXMLString(u"xmlns") : XoXMLString(u"xmlns:").append(prefix);
    decl->SetQualifiedName(name);
    decl->SetNodeValue(AURI);
    FNamespace = decl;
    el->AddChild(decl, this, rdpBefore);
  }
  SetNsURI(u"");
  SetNamespaceSet(false);
}

void TXoDOMAttribute::SetPrefix(std::u16string_view APrefix) {
  TXoDOMNode::SetPrefix(APrefix);
  LookupNamespace();
}

void TXoDOMAttribute::SetQualifiedName(std::u16string_view AName) {
  bool wasNamespace = IsNamespace();
  TXoDOMNode::SetQualifiedName(AName);
  if (Destroying() || (FDOMDocument && FDOMDocument->FLoadState == lsLoading)) return;
  if (wasNamespace || IsNamespace())
    if (auto* el = XoDOMAsElement(FParent)) el->RefreshNamespaces();
}

void TXoDOMAttribute::SetParentNode(TXoDOMObject* AParent) {
  bool hadParent = FParent != nullptr;
  if (hadParent && !AParent && !Destroying()) {
    SetNsURI(GetNamespaceURI());
    SetNamespaceSet(true);
  }
  TXoDOMNode::SetParentNode(AParent);
  if (!Destroying() && !hadParent && XoDOMAsElement(AParent) && !NsURI().empty())
    SetNamespaceURI(XoXMLString(NsURI()));
}

void TXoDOMAttribute::RefreshOwnNamespaces() {
  if (!FParent)
    FNamespace = nullptr;
  else if (XoDOMAsElement(FParent))
    LookupNamespace();
}

// ===========================================================================
// Processing instruction

TXoDOMProcessingInstruction::TXoDOMProcessingInstruction() { FNodeType = ntProcessingInstruction; }

TXoDOMObjectImpl* TXoDOMProcessingInstruction::CreateDOMImpl(TXoDOMObject* AObject) {
  return new TXoDOMProcessingInstructionImpl(AObject);
}

TXoDOMNode* TXoDOMProcessingInstruction::CreateClone() {
  TXoDOMNode* n = TXoDOMNode::CreateClone();
  if (auto* p = dynamic_cast<TXoDOMProcessingInstruction*>(n)) p->FData.Assign(FData.View());
  return n;
}

}  // namespace xo
