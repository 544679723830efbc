// uXoXMLDOM: the adapters. Each adapter offers the library's own IXoDOM...
// interface and the standard IDOM... interfaces of its node, and nearly
// every operation forwards to the native partner: interfaces in are mapped
// to their nodes (TXoDOMObjectImpl::Node), native results come back as the
// interface of the wanted kind (nil for nil). The operations that do more
// than forward live in uXoXMLDOMAdapters.cpp.
// Included at the end of uXoXMLDOM.h; not meant to be included on its own.
#pragma once

namespace xo {

// The interface I of a native object (its adapter made on demand); empty
// for nil.
template <class I>
inline TIntfPtr<I> XoDOMIntf(TXoDOMObject* AObject) {
  return AObject ? AObject->QueryInterface<I>() : TIntfPtr<I>();
}
// The native node behind an interface of this library (nil for nil).
template <class I>
inline TXoDOMNode* XoDOMNodeOf(const TIntfPtr<I>& AIntf) {
  return TXoDOMObjectImpl::Node(AIntf.get());
}
// The same, for an argument that must be a node of this library: nil and
// nodes of other implementations raise EXoDomWrongDocument.
TXoDOMNode* XoDOMNeedNode(IInterface* AIntf);
template <class I>
inline TXoDOMNode* XoDOMNeedNode(const TIntfPtr<I>& AIntf) {
  return XoDOMNeedNode(static_cast<IInterface*>(AIntf.get()));
}
inline constexpr char16_t _cXoDOMForeignNode[] = u"The node is not a node of this DOM implementation.";

class TXoDOMNodeImpl : public TXoDOMObjectImpl,
                       public virtual IXoDOMNode,
                       public virtual IDOMNodeEx,
                       public virtual IDOMNodeSelect,
                       public virtual IDOMPersist {
  XO_CLASS(TXoDOMNodeImpl, TXoDOMObjectImpl)
public:
  using TXoDOMObjectImpl::TXoDOMObjectImpl;
  ~TXoDOMNodeImpl() override;
  TXoDOMNode* NativeNode() const { return static_cast<TXoDOMNode*>(FDOMObject); }

  // IXoDOMNode
  bool GetPreserveSpace() override { return NativeNode()->GetPreserveSpace(); }
  XoXMLString GetNodeValue() override { return NativeNode()->GetNodeValue(); }
  XoXMLString GetText() override { return NativeNode()->GetText(); }
  XoXMLString GetNamespaceURI() override { return NativeNode()->GetNamespaceURI(); }
  XoXMLString GetLocalName() override { return NativeNode()->GetLocalName(); }
  XoXMLString GetPrefix() override { return NativeNode()->GetPrefix(); }
  XoXMLString GetQualifiedName() override { return NativeNode()->GetQualifiedName(); }
  XoXMLString GetFormattedInnerXML() override { return NativeNode()->GetFormattedInnerXML(); }
  XoXMLString GetFormattedXML() override { return NativeNode()->GetFormattedXML(); }
  XoXMLString GetInnerXML() override { return NativeNode()->GetInnerXML(); }
  XoXMLString GetXML() override { return NativeNode()->GetXML(); }
  TIntfPtr<IXoDOMNodeList> GetChildNodes() override;
  TXoDOMNodeType GetNodeType() override { return NativeNode()->GetNodeType(); }
  void SetNodeValue(std::u16string_view AValue) override { NativeNode()->SetNodeValue(AValue); }
  void SetPrefix(std::u16string_view APrefix) override { NativeNode()->SetPrefix(APrefix); }
  void SetQualifiedName(std::u16string_view AName) override { NativeNode()->SetQualifiedName(AName); }
  void SetInnerXML(std::u16string_view AValue) override { NativeNode()->SetInnerXML(AValue); }
  void NormalizeTextNodes() override { NativeNode()->NormalizeTextNodes(); }
  void LoadFromStream(TStream* AStream, uint16_t ACodePage) override {
    NativeNode()->LoadFromStream(AStream, ACodePage);
  }
  void SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) override {
    NativeNode()->SaveToStream(AStream, ACodePage, AFormatted);
  }
  void Clear() override { NativeNode()->Clear(); }
  TIntfPtr<IXoDOMNode> CloneNode(bool ADeep) override;
  int32_t NodeCount() override { return NativeNode()->NodeCount(); }
  TIntfPtr<IXoDOMNode> AddChild(const TIntfPtr<IXoDOMNode>& ANode, const TIntfPtr<IXoDOMNode>& ARefNode,
                                TXoDOMPosition APosition) override {
    return XoDOMIntf<IXoDOMNode>(NativeNode()->AddChild(XoDOMNeedNode(ANode), XoDOMNodeOf(ARefNode), APosition));
  }
  void RemoveChild(const TIntfPtr<IXoDOMNode>& ANode) override { NativeNode()->RemoveChild(XoDOMNeedNode(ANode)); }
  TIntfPtr<IXoDOMNode> InsertBefore(const TIntfPtr<IXoDOMNode>& ANode, const TIntfPtr<IXoDOMNode>& ARefNode) override {
    return XoDOMIntf<IXoDOMNode>(NativeNode()->InsertBefore(XoDOMNeedNode(ANode), XoDOMNodeOf(ARefNode)));
  }
  TIntfPtr<IXoDOMNode> AppendChild(const TIntfPtr<IXoDOMNode>& ANode) override {
    return XoDOMIntf<IXoDOMNode>(NativeNode()->AppendChild(XoDOMNeedNode(ANode)));
  }
  TIntfPtr<IXoDOMNode> SelectSingleNode(std::u16string_view APath, TXoDOMSelectOptions AOptions = {}) override {
    return XoDOMIntf<IXoDOMNode>(NativeNode()->SelectSingleNode(APath, AOptions));
  }
  TIntfPtr<IXoDOMNodeList> CreateNodeList(std::u16string_view APath, TXoDOMSelectOptions AOptions = {}) override;
  TIntfPtr<IXoDOMNode> NextSibling() override { return XoDOMIntf<IXoDOMNode>(NativeNode()->NextSibling()); }
  TIntfPtr<IXoDOMNode> PreviousSibling() override { return XoDOMIntf<IXoDOMNode>(NativeNode()->PreviousSibling()); }
  bool HasChilds() override { return NativeNode()->HasChilds(); }
  bool HasAttributes() override { return NativeNode()->HasAttributes(); }
  TIntfPtr<IXoDOMDocument> Transform(const TIntfPtr<IXoDOMNode>& AStyleSheet) override;
  void Transform(const TIntfPtr<IXoDOMNode>& AStyleSheet, XoXMLString& AResult) override;
  TIntfPtr<IXoDOMDocument> Document() override;
  TIntfPtr<IXoDOMNode> ParentNode() override { return XoDOMIntf<IXoDOMNode>(NativeNode()->ParentNode()); }
  XoXMLString NodePath(bool ALocalName = false, std::u16string_view AKeyAttribute = {}) override {
    return NativeNode()->NodePath(ALocalName, AKeyAttribute);
  }

  // IDOMNode, IDOMNodeEx
  XoXMLString get_nodeName() override { return NativeNode()->GetQualifiedName(); }
  XoXMLString get_nodeValue() override { return NativeNode()->GetNodeValue(); }
  void set_nodeValue(std::u16string_view AValue) override { NativeNode()->SetNodeValue(AValue); }
  DOMNodeType get_nodeType() override { return static_cast<DOMNodeType>(NativeNode()->GetNodeType()); }
  TIntfPtr<IDOMNode> get_parentNode() override { return XoDOMIntf<IDOMNode>(NativeNode()->ParentNode()); }
  TIntfPtr<IDOMNodeList> get_childNodes() override;
  TIntfPtr<IDOMNode> get_firstChild() override { return XoDOMIntf<IDOMNode>(NativeNode()->FirstChild()); }
  TIntfPtr<IDOMNode> get_lastChild() override { return XoDOMIntf<IDOMNode>(NativeNode()->LastChild()); }
  TIntfPtr<IDOMNode> get_previousSibling() override { return XoDOMIntf<IDOMNode>(NativeNode()->PreviousSibling()); }
  TIntfPtr<IDOMNode> get_nextSibling() override { return XoDOMIntf<IDOMNode>(NativeNode()->NextSibling()); }
  TIntfPtr<IDOMNamedNodeMap> get_attributes() override;
  TIntfPtr<IDOMDocument> get_ownerDocument() override;
  XoXMLString get_namespaceURI() override { return NativeNode()->GetNamespaceURI(); }
  XoXMLString get_prefix() override { return NativeNode()->GetPrefix(); }
  XoXMLString get_localName() override { return NativeNode()->GetLocalName(); }
  TIntfPtr<IDOMNode> insertBefore(const TIntfPtr<IDOMNode>& ANewChild, const TIntfPtr<IDOMNode>& ARefChild) override;
  TIntfPtr<IDOMNode> replaceChild(const TIntfPtr<IDOMNode>& ANewChild, const TIntfPtr<IDOMNode>& AOldChild) override;
  TIntfPtr<IDOMNode> removeChild(const TIntfPtr<IDOMNode>& AOldChild) override;
  TIntfPtr<IDOMNode> appendChild(const TIntfPtr<IDOMNode>& ANewChild) override;
  bool hasChildNodes() override { return NativeNode()->HasChilds(); }
  TIntfPtr<IDOMNode> cloneNode(bool ADeep) override;
  void normalize() override { NativeNode()->NormalizeTextNodes(); }
  bool supports(std::u16string_view, std::u16string_view) override { return false; }
  XoXMLString get_text() override { return NativeNode()->GetText(); }
  void set_text(std::u16string_view AText) override { NativeNode()->SetNodeValue(AText); }
  XoXMLString get_xml() override { return NativeNode()->GetXML(); }
  void transformNode(const TIntfPtr<IDOMNode>& AStyleSheet, XoXMLString& AOutput) override;
  void transformNode(const TIntfPtr<IDOMNode>& AStyleSheet, const TIntfPtr<IDOMDocument>& AOutput) override;

  // IDOMNodeSelect
  TIntfPtr<IDOMNode> selectNode(std::u16string_view APath) override;
  TIntfPtr<IDOMNodeList> selectNodes(std::u16string_view APath) override;

  // IDOMPersist
  int32_t asyncLoadState() override;
  bool load(std::u16string_view ASource) override;
  bool loadxml(std::u16string_view AText) override { return load(AText); }
  bool loadFromStream(TStream* AStream) override;
  bool loadFromStream(const TIntfPtr<IStream>& AStream) override;
  void save(std::u16string_view ADestination) override;
  void saveToStream(TStream* AStream) override;
  void saveToStream(const TIntfPtr<IStream>& AStream) override;
  void set_OnAsyncLoad(TAsyncEventHandler AHandler) override { FEventHandler = std::move(AHandler); }

protected:
  TAsyncEventHandler FEventHandler;
};

class TXoDOMNodeListImpl : public TXoDOMObjectImpl,
                           public virtual IXoDOMNamedNodeList,
                           public virtual IDOMNodeList,
                           public virtual IDOMNamedNodeMap {
  XO_CLASS(TXoDOMNodeListImpl, TXoDOMObjectImpl)
public:
  using TXoDOMObjectImpl::TXoDOMObjectImpl;
  ~TXoDOMNodeListImpl() override;
  TXoDOMNodeListBase* NativeList() const { return static_cast<TXoDOMNodeListBase*>(FDOMObject); }

  // IXoDOMNodeList, IXoDOMNamedNodeList
  TIntfPtr<IXoDOMNode> GetItem(int32_t AIndex) override;
  void Clear() override;
  TIntfPtr<IXoDOMNode> Add(const TIntfPtr<IXoDOMNode>& ANode, TXoDOMAbsPosition APosition = rdpLast) override;
  TIntfPtr<IXoDOMNode> Add(const TIntfPtr<IXoDOMNode>& ANode, TXoDOMRelPosition APosition,
                           const TIntfPtr<IXoDOMNode>& ARefNode) override;
  TIntfPtr<IXoDOMNode> Add(const TIntfPtr<IXoDOMNode>& ANode, const TIntfPtr<IXoDOMNode>& ARefNode,
                           TXoDOMPosition APosition) override;
  TIntfPtr<IXoDOMNode> Delete(const TIntfPtr<IXoDOMNode>& ANode) override;
  int32_t Count() override;
  TIntfPtr<IXoDOMNode> First() override;
  TIntfPtr<IXoDOMNode> Last() override;
  TIntfPtr<IXoDOMNode> Next(const TIntfPtr<IXoDOMNode>& ANode) override;
  TIntfPtr<IXoDOMNode> Previous(const TIntfPtr<IXoDOMNode>& ANode) override;
  bool ContainsNode(const TIntfPtr<IXoDOMNode>& ANode) override;
  TIntfPtr<IXoDOMNode> Find(std::u16string_view AName, TXoDOMSelectOptions AOptions) override;
  TIntfPtr<IXoDOMNode> Find(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override;
  TIntfPtr<IXoDOMNode> Delete(std::u16string_view AName, TXoDOMSelectOptions AOptions) override;
  TIntfPtr<IXoDOMNode> Delete(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override;

  // IDOMNodeList, IDOMNamedNodeMap: on the list alone, the nodes' parents
  // and places among their parents' children stay as they are.
  TIntfPtr<IDOMNode> get_item(int32_t AIndex) override;
  int32_t get_length() override { return Count(); }
  TIntfPtr<IDOMNode> getNamedItem(std::u16string_view AName) override;
  TIntfPtr<IDOMNode> setNamedItem(const TIntfPtr<IDOMNode>& ANode) override;
  TIntfPtr<IDOMNode> removeNamedItem(std::u16string_view AName) override;
  TIntfPtr<IDOMNode> getNamedItemNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override;
  TIntfPtr<IDOMNode> setNamedItemNS(const TIntfPtr<IDOMNode>& ANode) override { return setNamedItem(ANode); }
  TIntfPtr<IDOMNode> removeNamedItemNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override;

  // A list made for the caller (a selection, a list by tag name) belongs to
  // no node, so nothing else keeps its items: from here on the adapter holds
  // every item it has and every node added to it through an interface, until
  // the adapter goes. So the list stays usable after the document's last
  // interface went or after its nodes left the tree.
  void HoldItems();

protected:
  void HoldNode(TXoDOMObject* ANode);

private:
  bool FHolding = false;
  std::vector<TXoDOMObjectImpl*> FHeld;
};

class TXoDOMElementListImpl : public TXoDOMNodeListImpl, public virtual IXoDOMElementList {
  XO_CLASS(TXoDOMElementListImpl, TXoDOMNodeListImpl)
public:
  using TXoDOMNodeListImpl::TXoDOMNodeListImpl;
  ~TXoDOMElementListImpl() override;
  TIntfPtr<IXoDOMElement> GetElement(const Variant& AIndex) override;
};

class TXoDOMAttrListImpl : public TXoDOMNodeListImpl, public virtual IXoDOMAttrList {
  XO_CLASS(TXoDOMAttrListImpl, TXoDOMNodeListImpl)
public:
  using TXoDOMNodeListImpl::TXoDOMNodeListImpl;
  ~TXoDOMAttrListImpl() override;
  TIntfPtr<IXoDOMAttribute> GetAttribute(int32_t AIndex) override;
  TIntfPtr<IXoDOMAttribute> FindNamespace(std::u16string_view AURI) override;
};

class TXoDOMCharacterDataImpl : public TXoDOMNodeImpl,
                                public virtual IXoDOMCharacterData,
                                public virtual IDOMCharacterData {
  XO_CLASS(TXoDOMCharacterDataImpl, TXoDOMNodeImpl)
public:
  using TXoDOMNodeImpl::TXoDOMNodeImpl;
  ~TXoDOMCharacterDataImpl() override;
  TXoDOMCharacterData* NativeData() const { return static_cast<TXoDOMCharacterData*>(NativeNode()); }

  XoXMLString Substring(int32_t AStart, int32_t ALength) override { return NativeData()->Substring(AStart, ALength); }
  void AppendStr(std::u16string_view AText) override { NativeData()->AppendStr(AText); }
  void InsertStr(int32_t APosition, std::u16string_view AText) override { NativeData()->InsertStr(APosition, AText); }
  void DeleteStr(int32_t AStart, int32_t ALength) override { NativeData()->DeleteStr(AStart, ALength); }
  void ReplaceStr(int32_t AStart, int32_t ALength, std::u16string_view AText) override {
    NativeData()->ReplaceStr(AStart, ALength, AText);
  }

  // Offsets from 0 here, from 1 on the native side.
  XoXMLString get_data() override { return NativeData()->GetNodeValue(); }
  void set_data(std::u16string_view AData) override { NativeData()->SetNodeValue(AData); }
  int32_t get_length() override { return static_cast<int32_t>(NativeData()->GetNodeValue().size()); }
  XoXMLString substringData(int32_t AOffset, int32_t ACount) override {
    return NativeData()->Substring(AOffset + 1, ACount);
  }
  void appendData(std::u16string_view AData) override { NativeData()->AppendStr(AData); }
  void insertData(int32_t AOffset, std::u16string_view AData) override { NativeData()->InsertStr(AOffset + 1, AData); }
  void deleteData(int32_t AOffset, int32_t ACount) override { NativeData()->DeleteStr(AOffset + 1, ACount); }
  void replaceData(int32_t AOffset, int32_t ACount, std::u16string_view AData) override {
    NativeData()->ReplaceStr(AOffset + 1, ACount, AData);
  }
};

class TXoDOMTextImpl : public TXoDOMCharacterDataImpl, public virtual IXoDOMText, public virtual IDOMText {
  XO_CLASS(TXoDOMTextImpl, TXoDOMCharacterDataImpl)
public:
  using TXoDOMCharacterDataImpl::TXoDOMCharacterDataImpl;
  ~TXoDOMTextImpl() override;
  TIntfPtr<IXoDOMText> SplitTxt(int32_t AOffset) override {
    return XoDOMIntf<IXoDOMText>(static_cast<TXoDOMText*>(NativeNode())->SplitText(AOffset));
  }
  TIntfPtr<IDOMText> splitText(int32_t AOffset) override {
    return XoDOMIntf<IDOMText>(static_cast<TXoDOMText*>(NativeNode())->SplitText(AOffset));
  }
};

class TXoDOMCommentImpl : public TXoDOMCharacterDataImpl, public virtual IXoDOMComment, public virtual IDOMComment {
  XO_CLASS(TXoDOMCommentImpl, TXoDOMCharacterDataImpl)
public:
  using TXoDOMCharacterDataImpl::TXoDOMCharacterDataImpl;
  ~TXoDOMCommentImpl() override;
};

class TXoDOMCDATAImpl : public TXoDOMTextImpl, public virtual IXoDOMCDATA, public virtual IDOMCDATASection {
  XO_CLASS(TXoDOMCDATAImpl, TXoDOMTextImpl)
public:
  using TXoDOMTextImpl::TXoDOMTextImpl;
  ~TXoDOMCDATAImpl() override;
};

class TXoDOMAttributeImpl : public TXoDOMNodeImpl, public virtual IXoDOMAttribute, public virtual IDOMAttr {
  XO_CLASS(TXoDOMAttributeImpl, TXoDOMNodeImpl)
public:
  using TXoDOMNodeImpl::TXoDOMNodeImpl;
  ~TXoDOMAttributeImpl() override;
  TXoDOMAttribute* NativeAttr() const { return static_cast<TXoDOMAttribute*>(NativeNode()); }

  bool IsNamespace() override { return NativeAttr()->IsNamespace(); }
  XoXMLString NamespacePrefix() override { return NativeAttr()->NamespacePrefix(); }
  TIntfPtr<IXoDOMAttribute> NextAttribute() override { return XoDOMIntf<IXoDOMAttribute>(NativeAttr()->NextAttribute()); }
  TIntfPtr<IXoDOMAttribute> PreviousAttribute() override {
    return XoDOMIntf<IXoDOMAttribute>(NativeAttr()->PreviousAttribute());
  }

  XoXMLString get_name() override { return NativeAttr()->GetQualifiedName(); }
  bool get_specified() override { return true; }
  XoXMLString get_value() override { return NativeAttr()->GetNodeValue(); }
  void set_value(std::u16string_view AValue) override { NativeAttr()->SetNodeValue(AValue); }
  TIntfPtr<IDOMElement> get_ownerElement() override { return XoDOMIntf<IDOMElement>(NativeAttr()->ParentNode()); }
};

class TXoDOMElementImpl : public TXoDOMNodeImpl, public virtual IXoDOMElement, public virtual IDOMElement {
  XO_CLASS(TXoDOMElementImpl, TXoDOMNodeImpl)
public:
  using TXoDOMNodeImpl::TXoDOMNodeImpl;
  ~TXoDOMElementImpl() override;
  TXoDOMElement* NativeElement() const { return static_cast<TXoDOMElement*>(NativeNode()); }
  using TXoDOMNodeImpl::GetPreserveSpace;
  using TXoDOMNodeImpl::HasAttributes;

  // IXoDOMElement
  bool GetAsBoolean() override { return NativeElement()->GetAsBoolean(); }
  TDateTime GetAsDateTime() override { return NativeElement()->GetAsDateTime(); }
  double GetAsDouble() override { return NativeElement()->GetAsDouble(); }
  int64_t GetAsInt64() override { return NativeElement()->GetAsInt64(); }
  int32_t GetAsInteger() override { return NativeElement()->GetAsInteger(); }
  XoXMLString GetAsString() override { return NativeElement()->GetAsString(); }
  std::string GetAsAnsiString() override { return NativeElement()->GetAsAnsiString(); }
  Variant GetAsVariant() override { return NativeElement()->GetAsVariant(); }
  TValue GetAsValue() override;
  Variant GetChildElementValue(const Variant& AIndex) override { return NativeElement()->GetChildElementValue(AIndex); }
  XoXMLString GetAttrib(std::u16string_view AQualifiedName) override {
    return NativeElement()->GetAttribute(AQualifiedName);
  }
  XoXMLString GetAttribNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) override {
    return NativeElement()->GetAttributeNS(ANamespaceURI, AQualifiedName);
  }
  void SetAsBoolean(bool AValue) override { NativeElement()->SetAsBoolean(AValue); }
  void SetAsDateTime(TDateTime AValue) override { NativeElement()->SetAsDateTime(AValue); }
  void SetAsDouble(double AValue) override { NativeElement()->SetAsDouble(AValue); }
  void SetAsInt64(int64_t AValue) override { NativeElement()->SetAsInt64(AValue); }
  void SetAsInteger(int32_t AValue) override { NativeElement()->SetAsInteger(AValue); }
  void SetAsString(std::u16string_view AValue) override { NativeElement()->SetAsString(AValue); }
  void SetAsVariant(const Variant& AValue) override { NativeElement()->SetAsVariant(AValue); }
  void SetAsAnsiString(const std::string& AValue) override { NativeElement()->SetAsAnsiString(AValue); }
  void SetAsValue(const TValue& AValue) override;
  void SetAttrib(std::u16string_view AQualifiedName, std::u16string_view AValue) override {
    NativeElement()->SetAttribute(AQualifiedName, AValue);
  }
  void SetAttribNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                   std::u16string_view AValue) override {
    NativeElement()->SetAttributeNS(ANamespaceURI, AQualifiedName, AValue);
  }
  void SetPreseveSpace(bool AValue) override { NativeElement()->SetPreseveSpace(AValue); }
  TIntfPtr<IXoDOMCDATA> GetCDATA(int32_t AIndex) override;
  TIntfPtr<IXoDOMAttrList> GetAttributes() override;
  TIntfPtr<IXoDOMElementList> GetElements() override;
  TIntfPtr<IXoDOMNodeList> GetCharNodes() override;
  TIntfPtr<IXoDOMAttrList> GetNamespaces() override;
  int32_t ElementCount() override { return NativeElement()->ElementCount(); }
  int32_t AttributeCount() override { return NativeElement()->AttributeCount(); }
  TIntfPtr<IXoDOMComment> AddComment(std::u16string_view AText) override;
  TIntfPtr<IXoDOMText> AddText(std::u16string_view AText) override;
  TIntfPtr<IXoDOMCDATA> AddCDATA(std::u16string_view AText) override;
  TIntfPtr<IXoDOMElement> AddElement(std::u16string_view AQualifiedName) override;
  TIntfPtr<IXoDOMElement> AddElement(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) override;
  TIntfPtr<IXoDOMAttribute> AddAttribute(std::u16string_view AQualifiedName) override;
  TIntfPtr<IXoDOMAttribute> AddAttribute(std::u16string_view ANamespaceURI,
                                         std::u16string_view AQualifiedName) override;
  TIntfPtr<IXoDOMComment> InsertComment(std::u16string_view AText, TXoDOMPosition APosition,
                                        const TIntfPtr<IXoDOMNode>& ARefElement) override;
  TIntfPtr<IXoDOMText> InsertText(std::u16string_view AText, TXoDOMPosition APosition,
                                  const TIntfPtr<IXoDOMNode>& ARefElement) override;
  TIntfPtr<IXoDOMCDATA> InsertCDATA(std::u16string_view AText, TXoDOMPosition APosition,
                                    const TIntfPtr<IXoDOMNode>& ARefElement) override;
  TIntfPtr<IXoDOMElement> InsertElement(std::u16string_view AQualifiedName, TXoDOMPosition APosition,
                                        const TIntfPtr<IXoDOMNode>& ARefElement) override;
  TIntfPtr<IXoDOMElement> InsertElement(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                        TXoDOMPosition APosition, const TIntfPtr<IXoDOMNode>& ARefElement) override;
  void RemoveElement(const TIntfPtr<IXoDOMElement>& AElement) override;
  void RemoveElement(std::u16string_view AQualifiedName) override { NativeElement()->RemoveElement(AQualifiedName); }
  void RemoveElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    NativeElement()->RemoveElement(ANamespaceURI, ALocalName);
  }
  void RemoveAttribute(const TIntfPtr<IXoDOMAttribute>& AAttribute) override;
  void RemoveAttribute(std::u16string_view AQualifiedName) override {
    NativeElement()->RemoveAttribute(AQualifiedName);
  }
  void RemoveAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    NativeElement()->RemoveAttribute(ANamespaceURI, ALocalName);
  }
  TIntfPtr<IXoDOMElement> FindElement(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) override;
  TIntfPtr<IXoDOMElement> FindElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override;
  TIntfPtr<IXoDOMElement> ElementByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                        TXoDOMNodeClass AClass = nullptr) override;
  TIntfPtr<IXoDOMElement> ElementByName(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                        TXoDOMSelectCheckOption ACheckOption) override;
  TIntfPtr<IXoDOMElement> ElementByName(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                        bool ACreate) override;
  TIntfPtr<IXoDOMAttribute> FindAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) override;
  TIntfPtr<IXoDOMAttribute> FindAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override;
  TIntfPtr<IXoDOMAttribute> AttributeByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                            TXoDOMNodeClass AClass = nullptr) override;
  TIntfPtr<IXoDOMAttribute> AttributeByName(std::u16string_view ANamespaceURI,
                                            std::u16string_view ALocalName) override;
  TIntfPtr<IXoDOMAttribute> AttributeByName(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                            bool ACreate) override;
  bool HasChildElement(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) override {
    return NativeElement()->HasChildElement(AName, AOptions);
  }
  bool HasChildElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    return NativeElement()->HasChildElement(ANamespaceURI, ALocalName);
  }
  bool HasChildElements() override { return NativeElement()->HasChildElements(); }
  TIntfPtr<IXoDOMElement> FirstElement() override;
  TIntfPtr<IXoDOMElement> LastElement() override;
  bool HasAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) override {
    return NativeElement()->HasAttribute(AName, AOptions);
  }
  bool HasAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    return NativeElement()->HasAttribute(ANamespaceURI, ALocalName);
  }
  TIntfPtr<IXoDOMAttribute> FirstAttribute() override;
  TIntfPtr<IXoDOMAttribute> LastAttribute() override;
  TIntfPtr<IXoDOMElement> ParentElement() override;
  TIntfPtr<IXoDOMElement> NextElement() override;
  TIntfPtr<IXoDOMElement> PreviousElement() override;
  TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                                bool ARecursive) override;
  TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view AQualifiedName, bool ARecursive) override;
  TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view APath, TXoDOMSelectOptions AOptions) override;
  TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view, const char16_t*) = delete;
  TIntfPtr<IXoDOMElement> SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptions AOptions = {}) override;

  // IDOMElement
  XoXMLString get_tagName() override { return NativeElement()->GetQualifiedName(); }
  XoXMLString getAttribute(std::u16string_view AName) override { return NativeElement()->GetAttribute(AName); }
  void setAttribute(std::u16string_view AName, std::u16string_view AValue) override {
    NativeElement()->SetAttribute(AName, AValue);
  }
  void removeAttribute(std::u16string_view AName) override { NativeElement()->RemoveAttribute(AName); }
  TIntfPtr<IDOMAttr> getAttributeNode(std::u16string_view AName) override;
  TIntfPtr<IDOMAttr> setAttributeNode(const TIntfPtr<IDOMAttr>& AAttr) override;
  TIntfPtr<IDOMAttr> removeAttributeNode(const TIntfPtr<IDOMAttr>& AAttr) override;
  TIntfPtr<IDOMNodeList> getElementsByTagName(std::u16string_view AName) override;
  XoXMLString getAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    return NativeElement()->GetAttributeNS(ANamespaceURI, ALocalName);
  }
  void setAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                      std::u16string_view AValue) override {
    NativeElement()->SetAttributeNS(ANamespaceURI, AQualifiedName, AValue);
  }
  void removeAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    NativeElement()->RemoveAttribute(ANamespaceURI, ALocalName);
  }
  TIntfPtr<IDOMAttr> getAttributeNodeNS(std::u16string_view ANamespaceURI,
                                        std::u16string_view AQualifiedName) override;
  TIntfPtr<IDOMAttr> setAttributeNodeNS(const TIntfPtr<IDOMAttr>& AAttr) override { return setAttributeNode(AAttr); }
  TIntfPtr<IDOMNodeList> getElementsByTagNameNS(std::u16string_view ANamespaceURI,
                                                std::u16string_view ALocalName) override;
  bool hasAttribute(std::u16string_view AName) override {
    return NativeElement()->HasAttribute(AName, TXoDOMSelectOptions{soQualifiedName});
  }
  bool hasAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) override {
    return NativeElement()->HasAttribute(ANamespaceURI, ALocalName);
  }
};

class TXoDOMProcessingInstructionImpl : public TXoDOMNodeImpl,
                                        public virtual IXoDOMProcessingInstruction,
                                        public virtual IDOMProcessingInstruction {
  XO_CLASS(TXoDOMProcessingInstructionImpl, TXoDOMNodeImpl)
public:
  using TXoDOMNodeImpl::TXoDOMNodeImpl;
  ~TXoDOMProcessingInstructionImpl() override;
  TXoDOMProcessingInstruction* NativePI() const { return static_cast<TXoDOMProcessingInstruction*>(NativeNode()); }
  XoXMLString GetData() override { return NativePI()->GetData(); }
  void SetData(std::u16string_view AData) override { NativePI()->SetData(AData); }
  XoXMLString get_target() override { return NativePI()->GetQualifiedName(); }
  XoXMLString get_data() override { return NativePI()->GetData(); }
  void set_data(std::u16string_view AData) override { NativePI()->SetData(AData); }
};

class TXoDOMDocumentImpl : public TXoDOMNodeImpl,
                           public virtual IXoDOMDocument,
                           public virtual IDOMDocument,
                           public virtual IDOMDocumentType {
  XO_CLASS(TXoDOMDocumentImpl, TXoDOMNodeImpl)
public:
  using TXoDOMNodeImpl::TXoDOMNodeImpl;
  ~TXoDOMDocumentImpl() override;
  TXoDOMDocument* NativeDocument() const { return static_cast<TXoDOMDocument*>(NativeNode()); }

  // The node-level stream forms raise on a document: the Ex forms serve it.
  void LoadFromStream(TStream* AStream, uint16_t ACodePage) override;
  void SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) override;

  // IXoDOMDocument
  TIntfPtr<IXoDOMElement> GetRootNode() override;
  XoXMLString GetProcessingInstruction(std::u16string_view AName) override {
    return NativeDocument()->GetProcessingInstruction(AName);
  }
  bool GetCaseSensitive() override { return NativeDocument()->GetCaseSensitive(); }
  TXoXPathCollationClass GetCollation() override { return NativeDocument()->GetCollation(); }
  TXoDOMSelectMatchOption GetSelectMatchOption() override { return NativeDocument()->GetSelectMatchOption(); }
  TXoDOMSelectCheckOption GetSelectCheckOption() override { return NativeDocument()->GetSelectCheckOption(); }
  bool GetUseSchemaInstance() override { return NativeDocument()->GetUseSchemaInstance(); }
  XoXMLString GetEncoding() override { return NativeDocument()->GetEncoding(); }
  uint16_t GetCodePage() override { return NativeDocument()->GetCodePage(); }
  XoXMLString GetDocumentURI() override { return NativeDocument()->GetDocumentURI(); }
  void SetEncoding(std::u16string_view AName) override { NativeDocument()->SetEncoding(AName); }
  void SetCodePage(uint16_t ACodePage) override { NativeDocument()->SetCodePage(ACodePage); }
  void SetProcessingInstruction(std::u16string_view AName, std::u16string_view AData) override {
    NativeDocument()->SetProcessingInstruction(AName, AData);
  }
  void SetCaseSensitive(bool AValue) override { NativeDocument()->SetCaseSensitive(AValue); }
  void SetCollation(TXoXPathCollationClass ACollation) override { NativeDocument()->SetCollation(ACollation); }
  void SetSelectMatchOption(TXoDOMSelectMatchOption AValue) override {
    NativeDocument()->SetSelectMatchOption(AValue);
  }
  void SetSelectCheckOption(TXoDOMSelectCheckOption AValue) override {
    NativeDocument()->SetSelectCheckOption(AValue);
  }
  void SetUseSchemaInstance(bool AValue) override { NativeDocument()->SetUseSchemaInstance(AValue); }
  void SetDocumentURI(std::u16string_view AValue) override { NativeDocument()->SetDocumentURI(AValue); }
  TIntfPtr<IXoDOMElement> CreateRootNode(std::u16string_view AQualifiedName) override;
  TIntfPtr<IXoDOMElement> CreateRootNode(std::u16string_view ANamespaceURI,
                                         std::u16string_view AQualifiedName) override;
  TIntfPtr<IXoDOMComment> AddComment(std::u16string_view AText) override;
  void LoadXML(std::u16string_view AText) override { NativeDocument()->LoadXML(AText); }
  void LoadXML(TStream* AStream) override { NativeDocument()->LoadXML(AStream); }
  void LoadXML(std::u16string_view AFileName, uint16_t AMode) override { NativeDocument()->LoadXML(AFileName, AMode); }
  void LoadFromXML(std::u16string_view AText) override { NativeDocument()->LoadFromXML(AText); }
  void LoadFromXML(const std::string& AText) override { NativeDocument()->LoadFromXML(AText); }
  void LoadFromStreamEx(TStream* AStream) override { NativeDocument()->LoadFromStream(AStream); }
  void SaveToStreamEx(TStream* AStream, bool AFormatted, bool AWriteBOM) override {
    NativeDocument()->SaveToStream(AStream, AFormatted, AWriteBOM);
  }
  void LoadFromFile(std::u16string_view AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite) override {
    NativeDocument()->LoadFromFile(AFileName, AMode);
  }
  void SaveToFile(std::u16string_view AFileName, bool AFormatted = false, bool AWriteBOM = false) override {
    NativeDocument()->SaveToFile(AFileName, AFormatted, AWriteBOM);
  }
  TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view APath, TXoDOMSelectOptions AOptions) override;
  TIntfPtr<IXoDOMElement> SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptions AOptions = {}) override;

  // IDOMDocument
  TIntfPtr<IDOMDocumentType> get_doctype() override { return TIntfPtr<IDOMDocumentType>(this); }
  TIntfPtr<IDOMImplementation> get_domImplementation() override;
  TIntfPtr<IDOMElement> get_documentElement() override;
  void set_documentElement(const TIntfPtr<IDOMElement>& AElement) override;
  TIntfPtr<IDOMElement> createElement(std::u16string_view ATagName) override;
  TIntfPtr<IDOMDocumentFragment> createDocumentFragment() override;
  TIntfPtr<IDOMText> createTextNode(std::u16string_view AData) override;
  TIntfPtr<IDOMComment> createComment(std::u16string_view AData) override;
  TIntfPtr<IDOMCDATASection> createCDATASection(std::u16string_view AData) override;
  TIntfPtr<IDOMProcessingInstruction> createProcessingInstruction(std::u16string_view ATarget,
                                                                  std::u16string_view AData) override;
  TIntfPtr<IDOMAttr> createAttribute(std::u16string_view AName) override;
  TIntfPtr<IDOMEntityReference> createEntityReference(std::u16string_view AName) override;
  TIntfPtr<IDOMNodeList> getElementsByTagName(std::u16string_view ATagName) override;
  TIntfPtr<IDOMNode> importNode(const TIntfPtr<IDOMNode>& ANode, bool ADeep) override;
  TIntfPtr<IDOMElement> createElementNS(std::u16string_view ANamespaceURI,
                                        std::u16string_view AQualifiedName) override;
  TIntfPtr<IDOMAttr> createAttributeNS(std::u16string_view ANamespaceURI,
                                       std::u16string_view AQualifiedName) override;
  TIntfPtr<IDOMNodeList> getElementsByTagNameNS(std::u16string_view ANamespaceURI,
                                                std::u16string_view ALocalName) override;
  TIntfPtr<IDOMElement> getElementById(std::u16string_view AElementId) override;

  // IDOMDocumentType (the document stands in for its absent doctype)
  XoXMLString get_name() override { return {}; }
  TIntfPtr<IDOMNamedNodeMap> get_entities() override;
  TIntfPtr<IDOMNamedNodeMap> get_notations() override { return get_entities(); }
  XoXMLString get_publicId() override { return {}; }
  XoXMLString get_systemId() override { return {}; }
  XoXMLString get_internalSubset() override { return {}; }
};

// The library's IDOMImplementation.
class TXoDOMImplementation : public TXoObject, public virtual IDOMImplementation {
  XO_CLASS(TXoDOMImplementation, TXoObject)
public:
  // True for the feature "xml" (any case) in version "1.0" or "2.0".
  bool hasFeature(std::u16string_view AFeature, std::u16string_view AVersion) override;
  TIntfPtr<IDOMDocumentType> createDocumentType(std::u16string_view AQualifiedName, std::u16string_view APublicId,
                                                std::u16string_view ASystemId) override;
  TIntfPtr<IDOMDocument> createDocument(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                        const TIntfPtr<IDOMDocumentType>& ADocType) override;
};

// The library as a vendor: "Tavrix".
class TXoDOMVendor : public TDOMVendor {
public:
  XoXMLString Description() override { return cXoDOMVendorName; }
  TIntfPtr<IDOMImplementation> DOMImplementation() override;
};

}  // namespace xo
