// uXoXMLDOM: the adapters' operations that do more than forward, the
// library's IDOMImplementation, the vendor registry and the module functions
// over the standard interfaces.
#include <filesystem>

#include "uXoXMLDOM.h"

namespace xo {

inline constexpr char16_t _cXoDOMNoNode[] = u"No node was given.";
inline constexpr char16_t _cXoDOMNoOwnerDocument[] = u"The element belongs to no document.";
inline constexpr char16_t _cXoDOMNoPersist[] = u"The output document cannot load XML text.";

TXoDOMNode* XoDOMNeedNode(IInterface* AIntf) {
  if (!AIntf) throw EXoDomNotFound(_cXoDOMNoNode);
  TXoDOMNode* node = TXoDOMObjectImpl::Node(AIntf);
  if (!node) throw EXoDomWrongDocument(_cXoDOMForeignNode);
  return node;
}

namespace {
// A list made for the caller: it lives by its interface, and its adapter
// holds its items.
template <class I>
TIntfPtr<I> OwnedList(TXoDOMNodeListBase* AList) {
  TIntfPtr<I> result;
  try {
    result = XoDOMIntf<I>(AList);
  } catch (...) {
    AList->Free();
    throw;
  }
  static_cast<TXoDOMNodeListImpl*>(AList->DOMImpl())->HoldItems();
  return result;
}

// A node made for the caller and not attached: it lives by its interface.
template <class I>
TIntfPtr<I> OwnedNode(TXoDOMNode* ANode) {
  try {
    return XoDOMIntf<I>(ANode);
  } catch (...) {
    delete ANode;
    throw;
  }
}

bool IsFile(std::u16string_view AName) {
  std::error_code ec;
  std::filesystem::path p(XoUTF16ToUTF8(AName));
  return std::filesystem::is_regular_file(p, ec);
}
}  // namespace

// Key functions: the vtables of the adapters live here.
TXoDOMNodeImpl::~TXoDOMNodeImpl() = default;
TXoDOMNodeListImpl::~TXoDOMNodeListImpl() {
  for (TXoDOMObjectImpl* impl : FHeld) TXoDOMObjectImpl::Unhold(impl);
}
TXoDOMElementListImpl::~TXoDOMElementListImpl() = default;
TXoDOMAttrListImpl::~TXoDOMAttrListImpl() = default;
TXoDOMCharacterDataImpl::~TXoDOMCharacterDataImpl() = default;
TXoDOMTextImpl::~TXoDOMTextImpl() = default;
TXoDOMCommentImpl::~TXoDOMCommentImpl() = default;
TXoDOMCDATAImpl::~TXoDOMCDATAImpl() = default;
TXoDOMAttributeImpl::~TXoDOMAttributeImpl() = default;
TXoDOMElementImpl::~TXoDOMElementImpl() = default;
TXoDOMProcessingInstructionImpl::~TXoDOMProcessingInstructionImpl() = default;
TXoDOMDocumentImpl::~TXoDOMDocumentImpl() = default;

TStreamAdapter::~TStreamAdapter() {
  if (FOwns) FStream->Free();
}

void TStreamAdapter::CopyTo(const TIntfPtr<IStream>& ADest, int64_t ACount, int64_t& ARead, int64_t& AWritten) {
  ARead = 0;
  AWritten = 0;
  uint8_t buf[16384];
  while (ACount > 0) {
    int64_t n = FStream->Read(buf, std::min<int64_t>(ACount, sizeof buf));
    if (n <= 0) break;
    ARead += n;
    ACount -= n;
    int64_t w = ADest->Write(buf, n);
    if (w > 0) AWritten += w;
    if (w != n) break;
  }
}

// ===========================================================================
// TXoDOMNodeImpl

TIntfPtr<IXoDOMNodeList> TXoDOMNodeImpl::GetChildNodes() {
  return XoDOMIntf<IXoDOMNodeList>(NativeNode()->ChildNodes());
}

TIntfPtr<IXoDOMNode> TXoDOMNodeImpl::CloneNode(bool ADeep) {
  return OwnedNode<IXoDOMNode>(NativeNode()->CloneNode(ADeep));
}

TIntfPtr<IXoDOMNodeList> TXoDOMNodeImpl::CreateNodeList(std::u16string_view APath, TXoDOMSelectOptions AOptions) {
  return OwnedList<IXoDOMNodeList>(NativeNode()->CreateNodeList(APath, AOptions));
}

TIntfPtr<IXoDOMDocument> TXoDOMNodeImpl::Transform(const TIntfPtr<IXoDOMNode>& AStyleSheet) {
  return OwnedNode<IXoDOMDocument>(NativeNode()->Transform(XoDOMNeedNode(AStyleSheet)));
}

void TXoDOMNodeImpl::Transform(const TIntfPtr<IXoDOMNode>& AStyleSheet, XoXMLString& AResult) {
  NativeNode()->Transform(XoDOMNeedNode(AStyleSheet), AResult);
}

TIntfPtr<IXoDOMDocument> TXoDOMNodeImpl::Document() {
  return XoDOMIntf<IXoDOMDocument>(NativeNode()->DOMDocument());
}

TIntfPtr<IDOMNodeList> TXoDOMNodeImpl::get_childNodes() {
  return XoDOMIntf<IDOMNodeList>(NativeNode()->ChildNodes());
}

TIntfPtr<IDOMNamedNodeMap> TXoDOMNodeImpl::get_attributes() {
  TXoDOMElement* e = XoDOMAsElement(NativeNode());
  if (!e) throw EXoDomNotFound(_cXoDOMNoAttributes);
  return XoDOMIntf<IDOMNamedNodeMap>(e->Attributes());
}

TIntfPtr<IDOMDocument> TXoDOMNodeImpl::get_ownerDocument() {
  return XoDOMIntf<IDOMDocument>(NativeNode()->DOMDocument());
}

TIntfPtr<IDOMNode> TXoDOMNodeImpl::insertBefore(const TIntfPtr<IDOMNode>& ANewChild,
                                                const TIntfPtr<IDOMNode>& ARefChild) {
  NativeNode()->InsertBefore(XoDOMNeedNode(ANewChild), XoDOMNodeOf(ARefChild));
  return ANewChild;
}

TIntfPtr<IDOMNode> TXoDOMNodeImpl::replaceChild(const TIntfPtr<IDOMNode>& ANewChild,
                                                const TIntfPtr<IDOMNode>& AOldChild) {
  TXoDOMNode* newChild = XoDOMNeedNode(ANewChild);
  TXoDOMNode* oldChild = XoDOMNeedNode(AOldChild);
  TXoDOMNode* self = NativeNode();
  if (oldChild->ParentNode() != self) throw EXoDomNotFound(_cXoDOMNotAChild);
  // The neighbour behind the old child marks the place (the new child itself
  // cannot mark it).
  TXoDOMNode* next = oldChild->NextSibling();
  if (next == newChild) next = newChild->NextSibling();
  self->RemoveChild(oldChild);  // held by AOldChild: not freed
  if (next)
    self->InsertBefore(newChild, next);
  else
    self->AppendChild(newChild);
  return AOldChild;
}

TIntfPtr<IDOMNode> TXoDOMNodeImpl::removeChild(const TIntfPtr<IDOMNode>& AOldChild) {
  NativeNode()->RemoveChild(XoDOMNeedNode(AOldChild));
  return AOldChild;
}

TIntfPtr<IDOMNode> TXoDOMNodeImpl::appendChild(const TIntfPtr<IDOMNode>& ANewChild) {
  return XoDOMIntf<IDOMNode>(NativeNode()->AppendChild(XoDOMNeedNode(ANewChild)));
}

TIntfPtr<IDOMNode> TXoDOMNodeImpl::cloneNode(bool ADeep) {
  return OwnedNode<IDOMNode>(NativeNode()->CloneNode(ADeep));
}

void TXoDOMNodeImpl::transformNode(const TIntfPtr<IDOMNode>& AStyleSheet, XoXMLString& AOutput) {
  if (TXoDOMNode* sheet = XoDOMNodeOf(AStyleSheet)) {
    NativeNode()->Transform(sheet, AOutput);
    return;
  }
  // A stylesheet of another implementation goes as its XML text.
  auto ex = AStyleSheet.As<IDOMNodeEx>();
  if (!ex) throw EXoDomWrongDocument(_cXoDOMForeignNode);
  AOutput = XoXSLTransform(NativeNode()->GetXML(), ex->get_xml());
}

void TXoDOMNodeImpl::transformNode(const TIntfPtr<IDOMNode>& AStyleSheet, const TIntfPtr<IDOMDocument>& AOutput) {
  XoXMLString text;
  transformNode(AStyleSheet, text);
  auto persist = AOutput.As<IDOMPersist>();
  if (!persist) throw EXoDomNotSupported(_cXoDOMNoPersist);
  persist->loadxml(text);
}

TIntfPtr<IDOMNode> TXoDOMNodeImpl::selectNode(std::u16string_view APath) {
  return XoDOMIntf<IDOMNode>(NativeNode()->SelectSingleNode(APath, TXoDOMSelectOptions{soRaise}));
}

TIntfPtr<IDOMNodeList> TXoDOMNodeImpl::selectNodes(std::u16string_view APath) {
  return OwnedList<IDOMNodeList>(NativeNode()->CreateNodeList(APath, TXoDOMSelectOptions{}));
}

int32_t TXoDOMNodeImpl::asyncLoadState() {
  if (auto* doc = dynamic_cast<TXoDOMDocument*>(NativeNode())) return doc->GetLoadState();
  return lsUninitialized;
}

bool TXoDOMNodeImpl::load(std::u16string_view ASource) {
  TXoDOMNode* node = NativeNode();
  if (auto* doc = dynamic_cast<TXoDOMDocument*>(node)) {
    if (!ASource.empty() && ASource[0] == u'<') {
      doc->LoadFromXML(ASource);
      return true;
    }
    if (IsFile(ASource)) {
      doc->LoadFromFile(ASource, fmShareDenyNone);
      return true;
    }
    return false;  // nothing to load
  }
  node->SetInnerXML(ASource);
  return true;
}

bool TXoDOMNodeImpl::loadFromStream(TStream* AStream) {
  // The native form with a code page, also on a document (only the
  // document adapter's own LoadFromStream refuses it).
  NativeNode()->LoadFromStream(AStream, 65001);
  return true;
}

bool TXoDOMNodeImpl::loadFromStream(const TIntfPtr<IStream>& AStream) {
  int64_t size = AStream->Seek(0, soEnd);
  AStream->Seek(0, soBeginning);
  auto* buffer = new TXoMemoryStream(16);
  TIntfPtr<IStream> target(new TStreamAdapter(buffer, true));
  int64_t read = 0, written = 0;
  AStream->CopyTo(target, size, read, written);
  if (read != size || written != size) throw Exception(_cXoDOMStreamContents);
  buffer->SetPosition(0);
  NativeNode()->LoadFromStream(buffer, 65001);
  return true;
}

void TXoDOMNodeImpl::save(std::u16string_view ADestination) {
  // The text goes into a copy of the argument, so nothing is written.
  XoXMLString destination(ADestination);
  destination = NativeNode()->GetXML();
  (void)destination;
}

void TXoDOMNodeImpl::saveToStream(TStream* AStream) {
  TXoDOMDocument* doc = NativeNode()->DOMDocument();
  if (!doc) doc = dynamic_cast<TXoDOMDocument*>(NativeNode());
  uint16_t codePage = doc ? XoCodePage(doc->GetEncoding()) : 65001;
  NativeNode()->SaveToStream(AStream, codePage, false);
}

void TXoDOMNodeImpl::saveToStream(const TIntfPtr<IStream>& AStream) {
  TXoMemoryStream buffer(1024);
  saveToStream(&buffer);
  AStream->Write(buffer.Memory(), buffer.GetSize());
}

// ===========================================================================
// Lists

void TXoDOMNodeListImpl::HoldItems() {
  if (FHolding) return;
  FHolding = true;
  TXoDOMNodeListBase* list = NativeList();
  int32_t n = list->Count();
  FHeld.reserve(static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) HoldNode(list->GetItem(i));
}

void TXoDOMNodeListImpl::HoldNode(TXoDOMObject* ANode) {
  if (FHolding && ANode) FHeld.push_back(TXoDOMObjectImpl::Hold(ANode));
}

TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::GetItem(int32_t AIndex) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->GetItem(AIndex));
}
void TXoDOMNodeListImpl::Clear() { NativeList()->Clear(); }
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Add(const TIntfPtr<IXoDOMNode>& ANode, TXoDOMAbsPosition APosition) {
  TXoDOMNode* node = XoDOMNeedNode(ANode);
  NativeList()->Add(node, APosition);
  HoldNode(node);
  return ANode;
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Add(const TIntfPtr<IXoDOMNode>& ANode, TXoDOMRelPosition APosition,
                                             const TIntfPtr<IXoDOMNode>& ARefNode) {
  TXoDOMNode* node = XoDOMNeedNode(ANode);
  NativeList()->Add(node, APosition, XoDOMNeedNode(ARefNode));
  HoldNode(node);
  return ANode;
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Add(const TIntfPtr<IXoDOMNode>& ANode, const TIntfPtr<IXoDOMNode>& ARefNode,
                                             TXoDOMPosition APosition) {
  TXoDOMNode* node = XoDOMNeedNode(ANode);
  NativeList()->Add(node, XoDOMNodeOf(ARefNode), APosition);
  HoldNode(node);
  return ANode;
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Delete(const TIntfPtr<IXoDOMNode>& ANode) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Delete(XoDOMNeedNode(ANode)));
}
int32_t TXoDOMNodeListImpl::Count() { return NativeList()->Count(); }
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::First() { return XoDOMIntf<IXoDOMNode>(NativeList()->First()); }
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Last() { return XoDOMIntf<IXoDOMNode>(NativeList()->Last()); }
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Next(const TIntfPtr<IXoDOMNode>& ANode) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Next(XoDOMNodeOf(ANode)));
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Previous(const TIntfPtr<IXoDOMNode>& ANode) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Previous(XoDOMNodeOf(ANode)));
}
bool TXoDOMNodeListImpl::ContainsNode(const TIntfPtr<IXoDOMNode>& ANode) {
  TXoDOMNode* n = XoDOMNodeOf(ANode);
  return n && NativeList()->ContainsNode(n);
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Find(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Find(AName, AOptions));
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Find(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Find(ANamespaceURI, ALocalName));
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Delete(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Delete(AName, AOptions));
}
TIntfPtr<IXoDOMNode> TXoDOMNodeListImpl::Delete(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
  return XoDOMIntf<IXoDOMNode>(NativeList()->Delete(ANamespaceURI, ALocalName));
}

TIntfPtr<IDOMNode> TXoDOMNodeListImpl::get_item(int32_t AIndex) {
  return XoDOMIntf<IDOMNode>(NativeList()->GetItem(AIndex));
}
TIntfPtr<IDOMNode> TXoDOMNodeListImpl::getNamedItem(std::u16string_view AName) {
  return XoDOMIntf<IDOMNode>(NativeList()->Find(AName, TXoDOMSelectOptions{soRaise, soQualifiedName}));
}
TIntfPtr<IDOMNode> TXoDOMNodeListImpl::setNamedItem(const TIntfPtr<IDOMNode>& ANode) {
  TXoDOMNode* node = XoDOMNeedNode(ANode);
  NativeList()->Add(node, rdpLast);
  HoldNode(node);
  return ANode;
}
TIntfPtr<IDOMNode> TXoDOMNodeListImpl::removeNamedItem(std::u16string_view AName) {
  return XoDOMIntf<IDOMNode>(NativeList()->Delete(AName, TXoDOMSelectOptions{soQualifiedName}));
}
TIntfPtr<IDOMNode> TXoDOMNodeListImpl::getNamedItemNS(std::u16string_view ANamespaceURI,
                                                      std::u16string_view ALocalName) {
  return XoDOMIntf<IDOMNode>(NativeList()->Find(ANamespaceURI, ALocalName));
}
TIntfPtr<IDOMNode> TXoDOMNodeListImpl::removeNamedItemNS(std::u16string_view ANamespaceURI,
                                                         std::u16string_view ALocalName) {
  return XoDOMIntf<IDOMNode>(NativeList()->Delete(ANamespaceURI, ALocalName));
}

TIntfPtr<IXoDOMElement> TXoDOMElementListImpl::GetElement(const Variant& AIndex) {
  return XoDOMIntf<IXoDOMElement>(static_cast<TXoDOMElementList*>(NativeList())->GetItem(AIndex));
}

TIntfPtr<IXoDOMAttribute> TXoDOMAttrListImpl::GetAttribute(int32_t AIndex) {
  return XoDOMIntf<IXoDOMAttribute>(static_cast<TXoDOMAttrList*>(NativeList())->GetItem(AIndex));
}
TIntfPtr<IXoDOMAttribute> TXoDOMAttrListImpl::FindNamespace(std::u16string_view AURI) {
  return XoDOMIntf<IXoDOMAttribute>(static_cast<TXoDOMAttrList*>(NativeList())->FindNamespace(AURI));
}

// ===========================================================================
// TXoDOMElementImpl

TValue TXoDOMElementImpl::GetAsValue() { return NativeElement()->GetAsValue(); }
void TXoDOMElementImpl::SetAsValue(const TValue& AValue) { NativeElement()->SetAsValue(AValue); }
TIntfPtr<IXoDOMCDATA> TXoDOMElementImpl::GetCDATA(int32_t AIndex) {
  return XoDOMIntf<IXoDOMCDATA>(NativeElement()->GetCDATA(AIndex));
}
TIntfPtr<IXoDOMAttrList> TXoDOMElementImpl::GetAttributes() {
  return XoDOMIntf<IXoDOMAttrList>(NativeElement()->Attributes());
}
TIntfPtr<IXoDOMElementList> TXoDOMElementImpl::GetElements() {
  return XoDOMIntf<IXoDOMElementList>(NativeElement()->Elements());
}
TIntfPtr<IXoDOMNodeList> TXoDOMElementImpl::GetCharNodes() {
  return XoDOMIntf<IXoDOMNodeList>(NativeElement()->CharNodes());
}
TIntfPtr<IXoDOMAttrList> TXoDOMElementImpl::GetNamespaces() {
  return XoDOMIntf<IXoDOMAttrList>(NativeElement()->Namespaces());
}
TIntfPtr<IXoDOMComment> TXoDOMElementImpl::AddComment(std::u16string_view AText) {
  return XoDOMIntf<IXoDOMComment>(NativeElement()->AddComment(AText));
}
TIntfPtr<IXoDOMText> TXoDOMElementImpl::AddText(std::u16string_view AText) {
  return XoDOMIntf<IXoDOMText>(NativeElement()->AddText(AText));
}
TIntfPtr<IXoDOMCDATA> TXoDOMElementImpl::AddCDATA(std::u16string_view AText) {
  return XoDOMIntf<IXoDOMCDATA>(NativeElement()->AddCDATA(AText));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::AddElement(std::u16string_view AQualifiedName) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->AddElement(AQualifiedName));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::AddElement(std::u16string_view ANamespaceURI,
                                                      std::u16string_view AQualifiedName) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->AddElement(ANamespaceURI, AQualifiedName));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::AddAttribute(std::u16string_view AQualifiedName) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->AddAttribute(AQualifiedName));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::AddAttribute(std::u16string_view ANamespaceURI,
                                                          std::u16string_view AQualifiedName) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->AddAttribute(ANamespaceURI, AQualifiedName));
}
TIntfPtr<IXoDOMComment> TXoDOMElementImpl::InsertComment(std::u16string_view AText, TXoDOMPosition APosition,
                                                         const TIntfPtr<IXoDOMNode>& ARefElement) {
  return XoDOMIntf<IXoDOMComment>(NativeElement()->InsertComment(AText, APosition, XoDOMNodeOf(ARefElement)));
}
TIntfPtr<IXoDOMText> TXoDOMElementImpl::InsertText(std::u16string_view AText, TXoDOMPosition APosition,
                                                   const TIntfPtr<IXoDOMNode>& ARefElement) {
  return XoDOMIntf<IXoDOMText>(NativeElement()->InsertText(AText, APosition, XoDOMNodeOf(ARefElement)));
}
TIntfPtr<IXoDOMCDATA> TXoDOMElementImpl::InsertCDATA(std::u16string_view AText, TXoDOMPosition APosition,
                                                     const TIntfPtr<IXoDOMNode>& ARefElement) {
  return XoDOMIntf<IXoDOMCDATA>(NativeElement()->InsertCDATA(AText, APosition, XoDOMNodeOf(ARefElement)));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::InsertElement(std::u16string_view AQualifiedName, TXoDOMPosition APosition,
                                                         const TIntfPtr<IXoDOMNode>& ARefElement) {
  return XoDOMIntf<IXoDOMElement>(
      NativeElement()->InsertElement(AQualifiedName, APosition, XoDOMNodeOf(ARefElement)));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::InsertElement(std::u16string_view ANamespaceURI,
                                                         std::u16string_view AQualifiedName, TXoDOMPosition APosition,
                                                         const TIntfPtr<IXoDOMNode>& ARefElement) {
  return XoDOMIntf<IXoDOMElement>(
      NativeElement()->InsertElement(ANamespaceURI, AQualifiedName, APosition, XoDOMNodeOf(ARefElement)));
}
void TXoDOMElementImpl::RemoveElement(const TIntfPtr<IXoDOMElement>& AElement) {
  NativeElement()->RemoveChild(XoDOMNeedNode(AElement));
}
void TXoDOMElementImpl::RemoveAttribute(const TIntfPtr<IXoDOMAttribute>& AAttribute) {
  NativeElement()->RemoveChild(XoDOMNeedNode(AAttribute));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::FindElement(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->FindElement(AName, AOptions));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::FindElement(std::u16string_view ANamespaceURI,
                                                       std::u16string_view ALocalName) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->FindElement(ANamespaceURI, ALocalName));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::ElementByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                                         TXoDOMNodeClass AClass) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->ElementByName(AName, AOptions, AClass));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::ElementByName(std::u16string_view ANamespaceURI,
                                                         std::u16string_view ALocalName,
                                                         TXoDOMSelectCheckOption ACheckOption) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->ElementByName(ANamespaceURI, ALocalName, ACheckOption));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::ElementByName(std::u16string_view ANamespaceURI,
                                                         std::u16string_view AQualifiedName, bool ACreate) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->ElementByName(ANamespaceURI, AQualifiedName, ACreate));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::FindAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->FindAttribute(AName, AOptions));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::FindAttribute(std::u16string_view ANamespaceURI,
                                                           std::u16string_view ALocalName) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->FindAttribute(ANamespaceURI, ALocalName));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::AttributeByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                                             TXoDOMNodeClass AClass) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->AttributeByName(AName, AOptions, AClass));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::AttributeByName(std::u16string_view ANamespaceURI,
                                                             std::u16string_view ALocalName) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->AttributeByName(ANamespaceURI, ALocalName));
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::AttributeByName(std::u16string_view ANamespaceURI,
                                                             std::u16string_view AQualifiedName, bool ACreate) {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->AttributeByName(ANamespaceURI, AQualifiedName, ACreate));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::FirstElement() {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->FirstElement());
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::LastElement() {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->LastElement());
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::FirstAttribute() {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->FirstAttribute());
}
TIntfPtr<IXoDOMAttribute> TXoDOMElementImpl::LastAttribute() {
  return XoDOMIntf<IXoDOMAttribute>(NativeElement()->LastAttribute());
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::ParentElement() {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->ParentElement());
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::NextElement() {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->NextElement());
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::PreviousElement() {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->PreviousElement());
}
TIntfPtr<IXoDOMElementList> TXoDOMElementImpl::CreateElementList(std::u16string_view ANamespaceURI,
                                                                 std::u16string_view ALocalName, bool ARecursive) {
  return OwnedList<IXoDOMElementList>(NativeElement()->CreateElementList(ANamespaceURI, ALocalName, ARecursive));
}
TIntfPtr<IXoDOMElementList> TXoDOMElementImpl::CreateElementList(std::u16string_view AQualifiedName,
                                                                 bool ARecursive) {
  return OwnedList<IXoDOMElementList>(NativeElement()->CreateElementList(AQualifiedName, ARecursive));
}
TIntfPtr<IXoDOMElementList> TXoDOMElementImpl::CreateElementList(std::u16string_view APath,
                                                                 TXoDOMSelectOptions AOptions) {
  return OwnedList<IXoDOMElementList>(NativeElement()->CreateElementList(APath, AOptions));
}
TIntfPtr<IXoDOMElement> TXoDOMElementImpl::SelectSingleElement(std::u16string_view APath,
                                                               TXoDOMSelectOptions AOptions) {
  return XoDOMIntf<IXoDOMElement>(NativeElement()->SelectSingleElement(APath, AOptions));
}

TIntfPtr<IDOMAttr> TXoDOMElementImpl::getAttributeNode(std::u16string_view AName) {
  return XoDOMIntf<IDOMAttr>(NativeElement()->AttributeByName(AName, TXoDOMSelectOptions{soQualifiedName}, nullptr));
}
TIntfPtr<IDOMAttr> TXoDOMElementImpl::setAttributeNode(const TIntfPtr<IDOMAttr>& AAttr) {
  NativeElement()->AddChild(XoDOMNeedNode(AAttr), nullptr, rdpAfter);
  return AAttr;
}
TIntfPtr<IDOMAttr> TXoDOMElementImpl::removeAttributeNode(const TIntfPtr<IDOMAttr>& AAttr) {
  NativeElement()->RemoveChild(XoDOMNeedNode(AAttr));
  return AAttr;
}
TIntfPtr<IDOMNodeList> TXoDOMElementImpl::getElementsByTagName(std::u16string_view AName) {
  return OwnedList<IDOMNodeList>(NativeElement()->CreateElementList(AName, true));
}
TIntfPtr<IDOMAttr> TXoDOMElementImpl::getAttributeNodeNS(std::u16string_view ANamespaceURI,
                                                         std::u16string_view AQualifiedName) {
  return XoDOMIntf<IDOMAttr>(NativeElement()->AttributeByName(ANamespaceURI, AQualifiedName, false));
}
TIntfPtr<IDOMNodeList> TXoDOMElementImpl::getElementsByTagNameNS(std::u16string_view ANamespaceURI,
                                                                 std::u16string_view ALocalName) {
  return OwnedList<IDOMNodeList>(NativeElement()->CreateElementList(ANamespaceURI, ALocalName, true));
}

// ===========================================================================
// TXoDOMDocumentImpl

void TXoDOMDocumentImpl::LoadFromStream(TStream*, uint16_t) { throw EXoDomNotSupported(_cXoDOMLoadFromStreamDoc); }
void TXoDOMDocumentImpl::SaveToStream(TStream*, uint16_t, bool) { throw EXoDomNotSupported(_cXoDOMSaveToStreamDoc); }

TIntfPtr<IXoDOMElement> TXoDOMDocumentImpl::GetRootNode() {
  return XoDOMIntf<IXoDOMElement>(NativeDocument()->GetRootNode());
}
TIntfPtr<IXoDOMElement> TXoDOMDocumentImpl::CreateRootNode(std::u16string_view AQualifiedName) {
  return XoDOMIntf<IXoDOMElement>(NativeDocument()->CreateRootNode(AQualifiedName));
}
TIntfPtr<IXoDOMElement> TXoDOMDocumentImpl::CreateRootNode(std::u16string_view ANamespaceURI,
                                                           std::u16string_view AQualifiedName) {
  return XoDOMIntf<IXoDOMElement>(NativeDocument()->CreateRootNode(ANamespaceURI, AQualifiedName));
}
TIntfPtr<IXoDOMComment> TXoDOMDocumentImpl::AddComment(std::u16string_view AText) {
  return XoDOMIntf<IXoDOMComment>(NativeDocument()->AddComment(AText));
}
TIntfPtr<IXoDOMElementList> TXoDOMDocumentImpl::CreateElementList(std::u16string_view APath,
                                                                  TXoDOMSelectOptions AOptions) {
  return OwnedList<IXoDOMElementList>(NativeDocument()->CreateElementList(APath, AOptions));
}
TIntfPtr<IXoDOMElement> TXoDOMDocumentImpl::SelectSingleElement(std::u16string_view APath,
                                                                TXoDOMSelectOptions AOptions) {
  return XoDOMIntf<IXoDOMElement>(NativeDocument()->SelectSingleElement(APath, AOptions));
}

TIntfPtr<IDOMImplementation> TXoDOMDocumentImpl::get_domImplementation() {
  return TIntfPtr<IDOMImplementation>(new TXoDOMImplementation());
}
TIntfPtr<IDOMElement> TXoDOMDocumentImpl::get_documentElement() {
  return XoDOMIntf<IDOMElement>(NativeDocument()->GetRootNode());
}
void TXoDOMDocumentImpl::set_documentElement(const TIntfPtr<IDOMElement>& AElement) {
  TXoDOMNode* element = XoDOMNeedNode(AElement);
  TXoDOMDocument* doc = NativeDocument();
  if (TXoDOMElement* root = doc->GetRootNode()) {
    if (root == element) return;
    doc->RemoveChild(root);
  }
  doc->AppendChild(element);
}
TIntfPtr<IDOMElement> TXoDOMDocumentImpl::createElement(std::u16string_view ATagName) {
  auto* e = new TXoDOMElement();
  e->SetQualifiedName(ATagName);
  return OwnedNode<IDOMElement>(e);
}
TIntfPtr<IDOMElement> TXoDOMDocumentImpl::createElementNS(std::u16string_view ANamespaceURI,
                                                          std::u16string_view AQualifiedName) {
  auto* e = new TXoDOMElement();
  try {
    e->SetQualifiedName(AQualifiedName);
    e->SetNamespaceURI(ANamespaceURI);
  } catch (...) {
    delete e;
    throw;
  }
  return OwnedNode<IDOMElement>(e);
}
TIntfPtr<IDOMAttr> TXoDOMDocumentImpl::createAttribute(std::u16string_view AName) {
  auto* a = new TXoDOMAttribute();
  a->SetQualifiedName(AName);
  return OwnedNode<IDOMAttr>(a);
}
TIntfPtr<IDOMAttr> TXoDOMDocumentImpl::createAttributeNS(std::u16string_view ANamespaceURI,
                                                         std::u16string_view AQualifiedName) {
  auto* a = new TXoDOMAttribute();
  try {
    a->SetQualifiedName(AQualifiedName);
    a->SetNamespaceURI(ANamespaceURI);
  } catch (...) {
    delete a;
    throw;
  }
  return OwnedNode<IDOMAttr>(a);
}
TIntfPtr<IDOMText> TXoDOMDocumentImpl::createTextNode(std::u16string_view AData) {
  auto* t = new TXoDOMText();
  t->SetNodeValue(AData);
  return OwnedNode<IDOMText>(t);
}
TIntfPtr<IDOMComment> TXoDOMDocumentImpl::createComment(std::u16string_view AData) {
  auto* c = new TXoDOMComment();
  c->SetNodeValue(AData);
  return OwnedNode<IDOMComment>(c);
}
TIntfPtr<IDOMCDATASection> TXoDOMDocumentImpl::createCDATASection(std::u16string_view AData) {
  auto* c = new TXoDOMCDATA();
  c->SetNodeValue(AData);
  return OwnedNode<IDOMCDATASection>(c);
}
TIntfPtr<IDOMProcessingInstruction> TXoDOMDocumentImpl::createProcessingInstruction(std::u16string_view ATarget,
                                                                                    std::u16string_view AData) {
  auto* p = new TXoDOMProcessingInstruction();
  p->SetQualifiedName(ATarget);
  p->SetData(AData);
  return OwnedNode<IDOMProcessingInstruction>(p);
}
TIntfPtr<IDOMDocumentFragment> TXoDOMDocumentImpl::createDocumentFragment() {
  throw EXoDomNotSupported(_cXoDOMNoFragments);
}
TIntfPtr<IDOMEntityReference> TXoDOMDocumentImpl::createEntityReference(std::u16string_view) {
  throw EXoDomNotSupported(_cXoDOMNoEntityRefs);
}
TIntfPtr<IDOMNodeList> TXoDOMDocumentImpl::getElementsByTagName(std::u16string_view ATagName) {
  if (TXoDOMElement* root = NativeDocument()->GetRootNode())
    return OwnedList<IDOMNodeList>(root->CreateElementList(ATagName, true));
  return OwnedList<IDOMNodeList>(new TXoDOMElementList());
}
TIntfPtr<IDOMNodeList> TXoDOMDocumentImpl::getElementsByTagNameNS(std::u16string_view ANamespaceURI,
                                                                  std::u16string_view ALocalName) {
  if (TXoDOMElement* root = NativeDocument()->GetRootNode())
    return OwnedList<IDOMNodeList>(root->CreateElementList(ANamespaceURI, ALocalName, true));
  return OwnedList<IDOMNodeList>(new TXoDOMElementList());
}
TIntfPtr<IDOMNode> TXoDOMDocumentImpl::importNode(const TIntfPtr<IDOMNode>& ANode, bool ADeep) {
  return OwnedNode<IDOMNode>(XoDOMNeedNode(ANode)->CloneNode(ADeep));
}
TIntfPtr<IDOMElement> TXoDOMDocumentImpl::getElementById(std::u16string_view AElementId) {
  XoXMLString path = XoFormat(u"//@id=\"%s\"", {XoXMLString(AElementId)});
  return XoDOMIntf<IDOMElement>(NativeDocument()->SelectSingleElement(path, TXoDOMSelectOptions{}));
}
TIntfPtr<IDOMNamedNodeMap> TXoDOMDocumentImpl::get_entities() {
  return OwnedList<IDOMNamedNodeMap>(new TXoDOMNodeList());
}

// ===========================================================================
// TXoDOMImplementation, vendors

bool TXoDOMImplementation::hasFeature(std::u16string_view AFeature, std::u16string_view AVersion) {
  return XoSameText(AFeature, u"xml") && (AVersion == u"1.0" || AVersion == u"2.0");
}

TIntfPtr<IDOMDocumentType> TXoDOMImplementation::createDocumentType(std::u16string_view, std::u16string_view,
                                                                    std::u16string_view) {
  throw EXoDomNotSupported(_cXoDOMNotImplemented);
}

TIntfPtr<IDOMDocument> TXoDOMImplementation::createDocument(std::u16string_view ANamespaceURI,
                                                            std::u16string_view AQualifiedName,
                                                            const TIntfPtr<IDOMDocumentType>& ADocType) {
  if (ADocType) throw EXoDomNotSupported(_cXoDOMNoDocType);
  auto* doc = new TXoDOMDocument();
  try {
    if (!Trim(AQualifiedName).empty()) {
      TXoDOMElement* root = doc->CreateRootNode(AQualifiedName);
      if (!Trim(ANamespaceURI).empty()) {
        XoXMLString prefix = root->GetPrefix();
        root->SetAttribute(prefix.empty() ? XoXMLString(u"xmlns") : u"xmlns:" + prefix, ANamespaceURI);
      }
    }
  } catch (...) {
    delete doc;
    throw;
  }
  return OwnedNode<IDOMDocument>(doc);
}

TIntfPtr<IDOMImplementation> TXoDOMVendor::DOMImplementation() {
  return TIntfPtr<IDOMImplementation>(new TXoDOMImplementation());
}

TDOMVendor* TDOMVendorList::Find(std::u16string_view AVendorName) const {
  for (TDOMVendor* v : FVendors)
    if (v->Description() == AVendorName) return v;
  return nullptr;
}

void TDOMVendorList::Remove(TDOMVendor* AVendor) {
  auto it = std::find(FVendors.begin(), FVendors.end(), AVendor);
  if (it != FVendors.end()) FVendors.erase(it);
}

namespace {
// The registry with the library's vendor: registered when the registry is
// first reached (before any caller sees it), unregistered and freed at the
// end of the process.
struct TVendorRegistry {
  TDOMVendorList FList;
  TXoDOMVendor* FOwn = nullptr;
  TVendorRegistry() {
    if (!FList.Find(cXoDOMVendorName)) {
      FOwn = new TXoDOMVendor();
      FList.Add(FOwn);
    }
  }
  ~TVendorRegistry() {
    if (FOwn) {
      FList.Remove(FOwn);
      delete FOwn;
    }
  }
};
}  // namespace

// Start-up: XML documents for code below this module (the vendor registers
// itself when the registry is first reached).
namespace {
TIntfPtr<IInterface> CreateXMLDoc(const std::u16string& AXML) {
  return TIntfPtr<IInterface>(OwnedNode<IXoDOMDocument>(new TXoDOMDocument(std::u16string_view(AXML))).get());
}

Variant GetXMLDocValue(const TIntfPtr<IInterface>& ADocument, const std::u16string& AName) {
  TIntfPtr<IXoDOMDocument> doc = ADocument.As<IXoDOMDocument>();
  if (!doc) return Variant();
  TIntfPtr<IXoDOMElement> e = doc->SelectSingleElement(AName, TXoDOMSelectOptions{soCaseInsensitive, soLocalName});
  return e ? e->GetAsVariant() : Variant();
}

[[maybe_unused]] const bool kXMLDocumentsHandedOver = [] {
  SetCreateXMLDoc(&CreateXMLDoc);
  SetGetXMLDocValue(&GetXMLDocValue);
  return true;
}();
}  // namespace

TDOMVendorList& DOMVendors() {
  static TVendorRegistry registry;
  return registry.FList;
}

void RegisterDOMVendor(TDOMVendor* AVendor) {
  if (AVendor) DOMVendors().Add(AVendor);
}

void UnRegisterDOMVendor(TDOMVendor* AVendor) { DOMVendors().Remove(AVendor); }

TIntfPtr<IDOMImplementation> GetDOM(std::u16string_view AVendorName) {
  TDOMVendorList& vendors = DOMVendors();
  TDOMVendor* vendor = nullptr;
  if (AVendorName.empty())
    vendor = vendors.Count() > 0 ? vendors.Vendors(0) : nullptr;
  else
    vendor = vendors.Find(AVendorName);
  if (!vendor) throw EXoDomNotFound(_cXoDOMUnknownVendor, {XoXMLString(AVendorName)});
  return vendor->DOMImplementation();
}

// ===========================================================================
// Module functions

TIntfPtr<IDOMDocument> XoCreateDOM(std::u16string_view AVendorName, std::u16string_view ANamespaceURI,
                                   std::u16string_view AQualifiedName) {
  TIntfPtr<IDOMDocument> doc = GetDOM(AVendorName)->createDocument(ANamespaceURI, AQualifiedName, nullptr);
  if (!doc->get_documentElement()) doc->set_documentElement(doc->createElementNS(ANamespaceURI, AQualifiedName));
  return doc;
}

TIntfPtr<IDOMDocument> XoCreateDOM(std::u16string_view AXML) {
  return OwnedNode<IDOMDocument>(new TXoDOMDocument(AXML));
}

namespace {
TIntfPtr<IDOMDocument> OwnerOf(const TIntfPtr<IDOMElement>& AElement) {
  TIntfPtr<IDOMDocument> doc = AElement->get_ownerDocument();
  if (!doc) throw EXoDomNotFound(_cXoDOMNoOwnerDocument);
  return doc;
}
}  // namespace

TIntfPtr<IDOMElement> XoAddElement(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AName) {
  TIntfPtr<IDOMElement> e = OwnerOf(AElement)->createElement(AName);
  AElement->appendChild(e);
  return e;
}

TIntfPtr<IDOMElement> XoAddElement(const TIntfPtr<IDOMElement>& AElement, std::u16string_view ANamespaceURI,
                                   std::u16string_view AName) {
  TIntfPtr<IDOMElement> e = OwnerOf(AElement)->createElementNS(ANamespaceURI, AName);
  AElement->appendChild(e);
  return e;
}

TIntfPtr<IDOMAttr> XoAddAttribute(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AName) {
  TIntfPtr<IDOMAttr> a = OwnerOf(AElement)->createAttribute(AName);
  AElement->setAttributeNode(a);
  return a;
}

TIntfPtr<IDOMAttr> XoAddAttribute(const TIntfPtr<IDOMElement>& AElement, std::u16string_view ANamespaceURI,
                                  std::u16string_view AName) {
  TIntfPtr<IDOMAttr> a = OwnerOf(AElement)->createAttributeNS(ANamespaceURI, AName);
  AElement->setAttributeNode(a);
  return a;
}

TIntfPtr<IDOMText> XoAddText(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AText) {
  TIntfPtr<IDOMText> t = OwnerOf(AElement)->createTextNode(AText);
  AElement->appendChild(t);
  return t;
}

TIntfPtr<IDOMCDATASection> XoAddCDATA(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AText) {
  TIntfPtr<IDOMCDATASection> c = OwnerOf(AElement)->createCDATASection(AText);
  AElement->appendChild(c);
  return c;
}

TIntfPtr<IDOMComment> XoAddComment(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AText) {
  TIntfPtr<IDOMComment> c = OwnerOf(AElement)->createComment(AText);
  AElement->appendChild(c);
  return c;
}

XoXMLString XoFormatXML(const TIntfPtr<IDOMDocument>& ADocument) {
  if (auto ex = ADocument.As<IDOMNodeEx>()) return XoFormatXML(std::u16string_view(ex->get_xml()));
  if (auto persist = ADocument.As<IDOMPersist>()) return XoFormatXML(std::u16string_view(persist->get_xml()));
  throw EXoDomNotSupported(_cXoDOMNoPersist);
}

}  // namespace xo
