// uXoXMLDOM: the interfaces of the tree.
//
// Two families over the same adapters:
// - IXoDOM...: the library's own reference-counted mirror of the native
//   classes. Positions stay 1-based, exceptions pass straight through.
// - IDOM...: the standard DOM interfaces (after the W3C DOM Level 2 Core
//   names), with the vendor registry, so that code written against them can
//   run on this tree or on any other registered implementation. Character
//   offsets count from 0.
// Included by uXoXMLDOM.h; not meant to be included on its own.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace xo {

class IXoDOMNode;
class IXoDOMNodeList;
class IXoDOMNamedNodeList;
class IXoDOMElementList;
class IXoDOMAttrList;
class IXoDOMCharacterData;
class IXoDOMText;
class IXoDOMComment;
class IXoDOMCDATA;
class IXoDOMAttribute;
class IXoDOMElement;
class IXoDOMProcessingInstruction;
class IXoDOMDocument;

// ===========================================================================
// The library's own interfaces

class IXoDOMNode : public virtual IInterface {
public:
  static constexpr char IID[] = "{5BA39F9D-B914-4685-9D31-0C7D618FF832}";
  virtual bool GetPreserveSpace() = 0;
  virtual XoXMLString GetNodeValue() = 0;
  virtual XoXMLString GetText() = 0;
  virtual XoXMLString GetNamespaceURI() = 0;
  virtual XoXMLString GetLocalName() = 0;
  virtual XoXMLString GetPrefix() = 0;
  virtual XoXMLString GetQualifiedName() = 0;
  virtual XoXMLString GetFormattedInnerXML() = 0;
  virtual XoXMLString GetFormattedXML() = 0;
  virtual XoXMLString GetInnerXML() = 0;
  virtual XoXMLString GetXML() = 0;
  virtual TIntfPtr<IXoDOMNodeList> GetChildNodes() = 0;
  virtual TXoDOMNodeType GetNodeType() = 0;
  virtual void SetNodeValue(std::u16string_view AValue) = 0;
  virtual void SetPrefix(std::u16string_view APrefix) = 0;
  virtual void SetQualifiedName(std::u16string_view AName) = 0;
  virtual void SetInnerXML(std::u16string_view AValue) = 0;
  virtual void NormalizeTextNodes() = 0;
  virtual void LoadFromStream(TStream* AStream, uint16_t ACodePage) = 0;
  virtual void SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) = 0;
  virtual void Clear() = 0;
  virtual TIntfPtr<IXoDOMNode> CloneNode(bool ADeep) = 0;
  virtual int32_t NodeCount() = 0;
  virtual TIntfPtr<IXoDOMNode> AddChild(const TIntfPtr<IXoDOMNode>& ANode, const TIntfPtr<IXoDOMNode>& ARefNode,
                                        TXoDOMPosition APosition) = 0;
  virtual void RemoveChild(const TIntfPtr<IXoDOMNode>& ANode) = 0;
  virtual TIntfPtr<IXoDOMNode> InsertBefore(const TIntfPtr<IXoDOMNode>& ANode,
                                            const TIntfPtr<IXoDOMNode>& ARefNode) = 0;
  virtual TIntfPtr<IXoDOMNode> AppendChild(const TIntfPtr<IXoDOMNode>& ANode) = 0;
  virtual TIntfPtr<IXoDOMNode> SelectSingleNode(std::u16string_view APath, TXoDOMSelectOptions AOptions = {}) = 0;
  // A new list of the selected nodes, alive while referenced.
  virtual TIntfPtr<IXoDOMNodeList> CreateNodeList(std::u16string_view APath, TXoDOMSelectOptions AOptions = {}) = 0;
  virtual TIntfPtr<IXoDOMNode> NextSibling() = 0;
  virtual TIntfPtr<IXoDOMNode> PreviousSibling() = 0;
  virtual bool HasChilds() = 0;
  virtual bool HasAttributes() = 0;
  // XSLT: a new document from the result, or the result text.
  virtual TIntfPtr<IXoDOMDocument> Transform(const TIntfPtr<IXoDOMNode>& AStyleSheet) = 0;
  virtual void Transform(const TIntfPtr<IXoDOMNode>& AStyleSheet, XoXMLString& AResult) = 0;
  virtual TIntfPtr<IXoDOMDocument> Document() = 0;
  virtual TIntfPtr<IXoDOMNode> ParentNode() = 0;
  virtual XoXMLString NodePath(bool ALocalName = false, std::u16string_view AKeyAttribute = {}) = 0;
};

class IXoDOMNodeList : public virtual IInterface {
public:
  static constexpr char IID[] = "{D7121E5A-EB0A-49D1-8E27-7AE65BD913CA}";
  virtual TIntfPtr<IXoDOMNode> GetItem(int32_t AIndex) = 0;
  virtual void Clear() = 0;
  virtual TIntfPtr<IXoDOMNode> Add(const TIntfPtr<IXoDOMNode>& ANode, TXoDOMAbsPosition APosition = rdpLast) = 0;
  virtual TIntfPtr<IXoDOMNode> Add(const TIntfPtr<IXoDOMNode>& ANode, TXoDOMRelPosition APosition,
                                   const TIntfPtr<IXoDOMNode>& ARefNode) = 0;
  virtual TIntfPtr<IXoDOMNode> Add(const TIntfPtr<IXoDOMNode>& ANode, const TIntfPtr<IXoDOMNode>& ARefNode,
                                   TXoDOMPosition APosition) = 0;
  virtual TIntfPtr<IXoDOMNode> Delete(const TIntfPtr<IXoDOMNode>& ANode) = 0;
  virtual int32_t Count() = 0;
  virtual TIntfPtr<IXoDOMNode> First() = 0;
  virtual TIntfPtr<IXoDOMNode> Last() = 0;
  virtual TIntfPtr<IXoDOMNode> Next(const TIntfPtr<IXoDOMNode>& ANode) = 0;
  virtual TIntfPtr<IXoDOMNode> Previous(const TIntfPtr<IXoDOMNode>& ANode) = 0;
  virtual bool ContainsNode(const TIntfPtr<IXoDOMNode>& ANode) = 0;
};

class IXoDOMNamedNodeList : public virtual IXoDOMNodeList {
public:
  static constexpr char IID[] = "{097B7F7F-8C68-41A0-BBDF-39262A80488E}";
  using IXoDOMNodeList::Delete;
  virtual TIntfPtr<IXoDOMNode> Find(std::u16string_view AName, TXoDOMSelectOptions AOptions) = 0;
  virtual TIntfPtr<IXoDOMNode> Find(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IXoDOMNode> Delete(std::u16string_view AName, TXoDOMSelectOptions AOptions) = 0;
  virtual TIntfPtr<IXoDOMNode> Delete(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
};

class IXoDOMElementList : public virtual IXoDOMNamedNodeList {
public:
  static constexpr char IID[] = "{9D2F0EBC-7DF0-489E-ADCC-46ACB997589A}";
  // An integer position, ".", a name or a path (GetItem of the native list).
  virtual TIntfPtr<IXoDOMElement> GetElement(const Variant& AIndex) = 0;
};

class IXoDOMAttrList : public virtual IXoDOMNamedNodeList {
public:
  static constexpr char IID[] = "{7734B7C6-CDC5-49CD-ACE0-3CB47DECB269}";
  virtual TIntfPtr<IXoDOMAttribute> GetAttribute(int32_t AIndex) = 0;
  virtual TIntfPtr<IXoDOMAttribute> FindNamespace(std::u16string_view AURI) = 0;
};

class IXoDOMCharacterData : public virtual IXoDOMNode {
public:
  static constexpr char IID[] = "{6DB6C03E-1155-4BC2-A344-86F1285423BE}";
  // 1-based positions.
  virtual XoXMLString Substring(int32_t AStart, int32_t ALength) = 0;
  virtual void AppendStr(std::u16string_view AText) = 0;
  virtual void InsertStr(int32_t APosition, std::u16string_view AText) = 0;
  virtual void DeleteStr(int32_t AStart, int32_t ALength) = 0;
  virtual void ReplaceStr(int32_t AStart, int32_t ALength, std::u16string_view AText) = 0;
};

class IXoDOMText : public virtual IXoDOMCharacterData {
public:
  static constexpr char IID[] = "{7ECBBD06-4665-4435-9BC7-CF2E1FC1A5F4}";
  virtual TIntfPtr<IXoDOMText> SplitTxt(int32_t AOffset) = 0;
};

class IXoDOMComment : public virtual IXoDOMCharacterData {
public:
  static constexpr char IID[] = "{DA0D0710-A101-49D2-9D82-B30B63B9096F}";
};

class IXoDOMCDATA : public virtual IXoDOMText {
public:
  static constexpr char IID[] = "{E619A337-648C-4CAB-BC08-6E2FC36DA606}";
};

class IXoDOMAttribute : public virtual IXoDOMNode {
public:
  static constexpr char IID[] = "{EBFBBD41-12CF-4A7A-8435-F65508FE0FFF}";
  virtual bool IsNamespace() = 0;
  virtual XoXMLString NamespacePrefix() = 0;
  virtual TIntfPtr<IXoDOMAttribute> NextAttribute() = 0;
  virtual TIntfPtr<IXoDOMAttribute> PreviousAttribute() = 0;
};

class IXoDOMElement : public virtual IXoDOMNode {
public:
  static constexpr char IID[] = "{5124EEBC-8073-47C0-9C06-DB02B4A7E93C}";
  virtual bool GetAsBoolean() = 0;
  virtual TDateTime GetAsDateTime() = 0;
  virtual double GetAsDouble() = 0;
  virtual int64_t GetAsInt64() = 0;
  virtual int32_t GetAsInteger() = 0;
  virtual XoXMLString GetAsString() = 0;
  virtual std::string GetAsAnsiString() = 0;
  virtual Variant GetAsVariant() = 0;
  virtual TValue GetAsValue() = 0;
  virtual Variant GetChildElementValue(const Variant& AIndex) = 0;
  virtual XoXMLString GetAttrib(std::u16string_view AQualifiedName) = 0;
  virtual XoXMLString GetAttribNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsDateTime(TDateTime AValue) = 0;
  virtual void SetAsDouble(double AValue) = 0;
  virtual void SetAsInt64(int64_t AValue) = 0;
  virtual void SetAsInteger(int32_t AValue) = 0;
  virtual void SetAsString(std::u16string_view AValue) = 0;
  virtual void SetAsVariant(const Variant& AValue) = 0;
  virtual void SetAsAnsiString(const std::string& AValue) = 0;
  virtual void SetAsValue(const TValue& AValue) = 0;
  virtual void SetAttrib(std::u16string_view AQualifiedName, std::u16string_view AValue) = 0;
  virtual void SetAttribNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                           std::u16string_view AValue) = 0;
  virtual void SetPreseveSpace(bool AValue) = 0;
  virtual TIntfPtr<IXoDOMCDATA> GetCDATA(int32_t AIndex) = 0;
  virtual TIntfPtr<IXoDOMAttrList> GetAttributes() = 0;
  virtual TIntfPtr<IXoDOMElementList> GetElements() = 0;
  virtual TIntfPtr<IXoDOMNodeList> GetCharNodes() = 0;
  virtual TIntfPtr<IXoDOMAttrList> GetNamespaces() = 0;
  virtual int32_t ElementCount() = 0;
  virtual int32_t AttributeCount() = 0;
  virtual TIntfPtr<IXoDOMComment> AddComment(std::u16string_view AText) = 0;
  virtual TIntfPtr<IXoDOMText> AddText(std::u16string_view AText) = 0;
  virtual TIntfPtr<IXoDOMCDATA> AddCDATA(std::u16string_view AText) = 0;
  virtual TIntfPtr<IXoDOMElement> AddElement(std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IXoDOMElement> AddElement(std::u16string_view ANamespaceURI,
                                             std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IXoDOMAttribute> AddAttribute(std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IXoDOMAttribute> AddAttribute(std::u16string_view ANamespaceURI,
                                                 std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IXoDOMComment> InsertComment(std::u16string_view AText, TXoDOMPosition APosition,
                                                const TIntfPtr<IXoDOMNode>& ARefElement) = 0;
  virtual TIntfPtr<IXoDOMText> InsertText(std::u16string_view AText, TXoDOMPosition APosition,
                                          const TIntfPtr<IXoDOMNode>& ARefElement) = 0;
  virtual TIntfPtr<IXoDOMCDATA> InsertCDATA(std::u16string_view AText, TXoDOMPosition APosition,
                                            const TIntfPtr<IXoDOMNode>& ARefElement) = 0;
  virtual TIntfPtr<IXoDOMElement> InsertElement(std::u16string_view AQualifiedName, TXoDOMPosition APosition,
                                                const TIntfPtr<IXoDOMNode>& ARefElement) = 0;
  virtual TIntfPtr<IXoDOMElement> InsertElement(std::u16string_view ANamespaceURI,
                                                std::u16string_view AQualifiedName, TXoDOMPosition APosition,
                                                const TIntfPtr<IXoDOMNode>& ARefElement) = 0;
  virtual void RemoveElement(const TIntfPtr<IXoDOMElement>& AElement) = 0;
  virtual void RemoveElement(std::u16string_view AQualifiedName) = 0;
  virtual void RemoveElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual void RemoveAttribute(const TIntfPtr<IXoDOMAttribute>& AAttribute) = 0;
  virtual void RemoveAttribute(std::u16string_view AQualifiedName) = 0;
  virtual void RemoveAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IXoDOMElement> FindElement(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) = 0;
  virtual TIntfPtr<IXoDOMElement> FindElement(std::u16string_view ANamespaceURI,
                                              std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IXoDOMElement> ElementByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                                TXoDOMNodeClass AClass = nullptr) = 0;
  virtual TIntfPtr<IXoDOMElement> ElementByName(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                                TXoDOMSelectCheckOption ACheckOption) = 0;
  virtual TIntfPtr<IXoDOMElement> ElementByName(std::u16string_view ANamespaceURI,
                                                std::u16string_view AQualifiedName, bool ACreate) = 0;
  virtual TIntfPtr<IXoDOMAttribute> FindAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) = 0;
  virtual TIntfPtr<IXoDOMAttribute> FindAttribute(std::u16string_view ANamespaceURI,
                                                  std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IXoDOMAttribute> AttributeByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                                    TXoDOMNodeClass AClass = nullptr) = 0;
  virtual TIntfPtr<IXoDOMAttribute> AttributeByName(std::u16string_view ANamespaceURI,
                                                    std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IXoDOMAttribute> AttributeByName(std::u16string_view ANamespaceURI,
                                                    std::u16string_view AQualifiedName, bool ACreate) = 0;
  virtual bool HasChildElement(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) = 0;
  virtual bool HasChildElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual bool HasChildElements() = 0;
  virtual TIntfPtr<IXoDOMElement> FirstElement() = 0;
  virtual TIntfPtr<IXoDOMElement> LastElement() = 0;
  virtual bool HasAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) = 0;
  virtual bool HasAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IXoDOMAttribute> FirstAttribute() = 0;
  virtual TIntfPtr<IXoDOMAttribute> LastAttribute() = 0;
  virtual TIntfPtr<IXoDOMElement> ParentElement() = 0;
  virtual TIntfPtr<IXoDOMElement> NextElement() = 0;
  virtual TIntfPtr<IXoDOMElement> PreviousElement() = 0;
  virtual TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view ANamespaceURI,
                                                        std::u16string_view ALocalName, bool ARecursive) = 0;
  virtual TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view AQualifiedName, bool ARecursive) = 0;
  virtual TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view APath,
                                                        TXoDOMSelectOptions AOptions) = 0;
  // A text in the place of ARecursive would turn into true: refused.
  TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view, const char16_t*) = delete;
  virtual TIntfPtr<IXoDOMElement> SelectSingleElement(std::u16string_view APath,
                                                      TXoDOMSelectOptions AOptions = {}) = 0;
};

class IXoDOMProcessingInstruction : public virtual IXoDOMNode {
public:
  static constexpr char IID[] = "{85F62362-3762-47D2-A308-1F1368E68150}";
  virtual XoXMLString GetData() = 0;
  virtual void SetData(std::u16string_view AData) = 0;
};

class IXoDOMDocument : public virtual IXoDOMNode {
public:
  static constexpr char IID[] = "{D45D3D71-6B97-4FCD-96A6-DFBBAA9849B8}";
  virtual TIntfPtr<IXoDOMElement> GetRootNode() = 0;
  virtual XoXMLString GetProcessingInstruction(std::u16string_view AName) = 0;
  virtual bool GetCaseSensitive() = 0;
  virtual TXoXPathCollationClass GetCollation() = 0;
  virtual TXoDOMSelectMatchOption GetSelectMatchOption() = 0;
  virtual TXoDOMSelectCheckOption GetSelectCheckOption() = 0;
  virtual bool GetUseSchemaInstance() = 0;
  virtual XoXMLString GetEncoding() = 0;
  virtual uint16_t GetCodePage() = 0;
  virtual XoXMLString GetDocumentURI() = 0;
  virtual void SetEncoding(std::u16string_view AName) = 0;
  virtual void SetCodePage(uint16_t ACodePage) = 0;
  virtual void SetProcessingInstruction(std::u16string_view AName, std::u16string_view AData) = 0;
  virtual void SetCaseSensitive(bool AValue) = 0;
  virtual void SetCollation(TXoXPathCollationClass ACollation) = 0;
  virtual void SetSelectMatchOption(TXoDOMSelectMatchOption AValue) = 0;
  virtual void SetSelectCheckOption(TXoDOMSelectCheckOption AValue) = 0;
  virtual void SetUseSchemaInstance(bool AValue) = 0;
  virtual void SetDocumentURI(std::u16string_view AValue) = 0;
  virtual TIntfPtr<IXoDOMElement> CreateRootNode(std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IXoDOMElement> CreateRootNode(std::u16string_view ANamespaceURI,
                                                 std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IXoDOMComment> AddComment(std::u16string_view AText) = 0;
  virtual void LoadXML(std::u16string_view AText) = 0;
  virtual void LoadXML(TStream* AStream) = 0;
  virtual void LoadXML(std::u16string_view AFileName, uint16_t AMode) = 0;
  virtual void LoadFromXML(std::u16string_view AText) = 0;
  virtual void LoadFromXML(const std::string& AText) = 0;
  // With the code page found from the stream (byte-order mark, declaration).
  virtual void LoadFromStreamEx(TStream* AStream) = 0;
  virtual void SaveToStreamEx(TStream* AStream, bool AFormatted, bool AWriteBOM) = 0;
  virtual void LoadFromFile(std::u16string_view AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite) = 0;
  virtual void SaveToFile(std::u16string_view AFileName, bool AFormatted = false, bool AWriteBOM = false) = 0;
  virtual TIntfPtr<IXoDOMElementList> CreateElementList(std::u16string_view APath,
                                                        TXoDOMSelectOptions AOptions) = 0;
  virtual TIntfPtr<IXoDOMElement> SelectSingleElement(std::u16string_view APath,
                                                      TXoDOMSelectOptions AOptions = {}) = 0;
};

// ===========================================================================
// Standard DOM interfaces

class IDOMNode;
class IDOMNodeList;
class IDOMNamedNodeMap;
class IDOMDocument;
class IDOMDocumentType;
class IDOMElement;
class IDOMAttr;
class IDOMText;
class IDOMComment;
class IDOMCDATASection;
class IDOMProcessingInstruction;
class IDOMDocumentFragment;
class IDOMEntityReference;

// The standard's node type codes (equal to TXoDOMNodeType).
using DOMNodeType = uint16_t;

class IDOMImplementation : public virtual IInterface {
public:
  virtual bool hasFeature(std::u16string_view AFeature, std::u16string_view AVersion) = 0;
  virtual TIntfPtr<IDOMDocumentType> createDocumentType(std::u16string_view AQualifiedName,
                                                        std::u16string_view APublicId,
                                                        std::u16string_view ASystemId) = 0;
  virtual TIntfPtr<IDOMDocument> createDocument(std::u16string_view ANamespaceURI,
                                                std::u16string_view AQualifiedName,
                                                const TIntfPtr<IDOMDocumentType>& ADocType) = 0;
};

class IDOMNode : public virtual IInterface {
public:
  virtual XoXMLString get_nodeName() = 0;
  virtual XoXMLString get_nodeValue() = 0;
  virtual void set_nodeValue(std::u16string_view AValue) = 0;
  virtual DOMNodeType get_nodeType() = 0;
  virtual TIntfPtr<IDOMNode> get_parentNode() = 0;
  virtual TIntfPtr<IDOMNodeList> get_childNodes() = 0;
  virtual TIntfPtr<IDOMNode> get_firstChild() = 0;
  virtual TIntfPtr<IDOMNode> get_lastChild() = 0;
  virtual TIntfPtr<IDOMNode> get_previousSibling() = 0;
  virtual TIntfPtr<IDOMNode> get_nextSibling() = 0;
  virtual TIntfPtr<IDOMNamedNodeMap> get_attributes() = 0;
  virtual TIntfPtr<IDOMDocument> get_ownerDocument() = 0;
  virtual XoXMLString get_namespaceURI() = 0;
  virtual XoXMLString get_prefix() = 0;
  virtual XoXMLString get_localName() = 0;
  virtual TIntfPtr<IDOMNode> insertBefore(const TIntfPtr<IDOMNode>& ANewChild,
                                          const TIntfPtr<IDOMNode>& ARefChild) = 0;
  virtual TIntfPtr<IDOMNode> replaceChild(const TIntfPtr<IDOMNode>& ANewChild,
                                          const TIntfPtr<IDOMNode>& AOldChild) = 0;
  virtual TIntfPtr<IDOMNode> removeChild(const TIntfPtr<IDOMNode>& AOldChild) = 0;
  virtual TIntfPtr<IDOMNode> appendChild(const TIntfPtr<IDOMNode>& ANewChild) = 0;
  virtual bool hasChildNodes() = 0;
  virtual TIntfPtr<IDOMNode> cloneNode(bool ADeep) = 0;
  virtual void normalize() = 0;
  virtual bool supports(std::u16string_view AFeature, std::u16string_view AVersion) = 0;
};

class IDOMNodeEx : public virtual IDOMNode {
public:
  virtual XoXMLString get_text() = 0;
  virtual void set_text(std::u16string_view AText) = 0;
  virtual XoXMLString get_xml() = 0;
  virtual void transformNode(const TIntfPtr<IDOMNode>& AStyleSheet, XoXMLString& AOutput) = 0;
  virtual void transformNode(const TIntfPtr<IDOMNode>& AStyleSheet, const TIntfPtr<IDOMDocument>& AOutput) = 0;
};

class IDOMNodeSelect : public virtual IInterface {
public:
  // The first node the path selects; a miss raises.
  virtual TIntfPtr<IDOMNode> selectNode(std::u16string_view APath) = 0;
  // A new list of the selected nodes, alive while referenced.
  virtual TIntfPtr<IDOMNodeList> selectNodes(std::u16string_view APath) = 0;
};

// A byte stream of the component model, reduced to what loading and saving
// need. TStreamAdapter offers one over a TStream.
class IStream : public virtual IInterface {
public:
  // Reads at most ACount bytes; gives the number read.
  virtual int64_t Read(void* ABuffer, int64_t ACount) = 0;
  virtual int64_t Write(const void* ABuffer, int64_t ACount) = 0;
  // Moves the position; gives the new position.
  virtual int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) = 0;
  // Copies ACount bytes from the position into ADest; gives the bytes read
  // and written.
  virtual void CopyTo(const TIntfPtr<IStream>& ADest, int64_t ACount, int64_t& ARead, int64_t& AWritten) = 0;
};

class TStreamAdapter : public TXoObject, public virtual IStream {
public:
  // With AOwnsStream the stream is freed with the adapter.
  explicit TStreamAdapter(TStream* AStream, bool AOwnsStream = false) : FStream(AStream), FOwns(AOwnsStream) {}
  ~TStreamAdapter() override;
  int64_t Read(void* ABuffer, int64_t ACount) override { return FStream->Read(ABuffer, ACount); }
  int64_t Write(const void* ABuffer, int64_t ACount) override { return FStream->Write(ABuffer, ACount); }
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override { return FStream->Seek(AOffset, AOrigin); }
  void CopyTo(const TIntfPtr<IStream>& ADest, int64_t ACount, int64_t& ARead, int64_t& AWritten) override;
  TStream* Stream() const { return FStream; }

private:
  TStream* FStream;
  bool FOwns;
};

// Called when an asynchronous load ends (loading here is synchronous: the
// handler is stored and never called).
using TAsyncEventHandler = std::function<void(int32_t AError)>;

class IDOMPersist : public virtual IInterface {
public:
  virtual XoXMLString get_xml() = 0;
  virtual int32_t asyncLoadState() = 0;
  // On a document: text beginning with "<" is parsed, otherwise an existing
  // file of that name is loaded; on another node the text becomes its
  // inner XML. True after a load.
  virtual bool load(std::u16string_view ASource) = 0;
  virtual bool loadxml(std::u16string_view AText) = 0;
  virtual bool loadFromStream(TStream* AStream) = 0;
  virtual bool loadFromStream(const TIntfPtr<IStream>& AStream) = 0;
  virtual void save(std::u16string_view ADestination) = 0;
  virtual void saveToStream(TStream* AStream) = 0;
  virtual void saveToStream(const TIntfPtr<IStream>& AStream) = 0;
  virtual void set_OnAsyncLoad(TAsyncEventHandler AHandler) = 0;
};

class IDOMNodeList : public virtual IInterface {
public:
  virtual TIntfPtr<IDOMNode> get_item(int32_t AIndex) = 0;
  virtual int32_t get_length() = 0;
};

class IDOMNamedNodeMap : public virtual IInterface {
public:
  virtual TIntfPtr<IDOMNode> get_item(int32_t AIndex) = 0;
  virtual int32_t get_length() = 0;
  virtual TIntfPtr<IDOMNode> getNamedItem(std::u16string_view AName) = 0;
  virtual TIntfPtr<IDOMNode> setNamedItem(const TIntfPtr<IDOMNode>& ANode) = 0;
  virtual TIntfPtr<IDOMNode> removeNamedItem(std::u16string_view AName) = 0;
  virtual TIntfPtr<IDOMNode> getNamedItemNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IDOMNode> setNamedItemNS(const TIntfPtr<IDOMNode>& ANode) = 0;
  virtual TIntfPtr<IDOMNode> removeNamedItemNS(std::u16string_view ANamespaceURI,
                                               std::u16string_view ALocalName) = 0;
};

class IDOMCharacterData : public virtual IDOMNode {
public:
  virtual XoXMLString get_data() = 0;
  virtual void set_data(std::u16string_view AData) = 0;
  virtual int32_t get_length() = 0;
  // Offsets count from 0.
  virtual XoXMLString substringData(int32_t AOffset, int32_t ACount) = 0;
  virtual void appendData(std::u16string_view AData) = 0;
  virtual void insertData(int32_t AOffset, std::u16string_view AData) = 0;
  virtual void deleteData(int32_t AOffset, int32_t ACount) = 0;
  virtual void replaceData(int32_t AOffset, int32_t ACount, std::u16string_view AData) = 0;
};

class IDOMText : public virtual IDOMCharacterData {
public:
  virtual TIntfPtr<IDOMText> splitText(int32_t AOffset) = 0;
};
class IDOMComment : public virtual IDOMCharacterData {};
class IDOMCDATASection : public virtual IDOMText {};

class IDOMAttr : public virtual IDOMNode {
public:
  virtual XoXMLString get_name() = 0;
  virtual bool get_specified() = 0;
  virtual XoXMLString get_value() = 0;
  virtual void set_value(std::u16string_view AValue) = 0;
  virtual TIntfPtr<IDOMElement> get_ownerElement() = 0;
};

class IDOMElement : public virtual IDOMNode {
public:
  virtual XoXMLString get_tagName() = 0;
  virtual XoXMLString getAttribute(std::u16string_view AName) = 0;
  virtual void setAttribute(std::u16string_view AName, std::u16string_view AValue) = 0;
  virtual void removeAttribute(std::u16string_view AName) = 0;
  virtual TIntfPtr<IDOMAttr> getAttributeNode(std::u16string_view AName) = 0;
  virtual TIntfPtr<IDOMAttr> setAttributeNode(const TIntfPtr<IDOMAttr>& AAttr) = 0;
  virtual TIntfPtr<IDOMAttr> removeAttributeNode(const TIntfPtr<IDOMAttr>& AAttr) = 0;
  virtual TIntfPtr<IDOMNodeList> getElementsByTagName(std::u16string_view AName) = 0;
  virtual XoXMLString getAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual void setAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                              std::u16string_view AValue) = 0;
  virtual void removeAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IDOMAttr> getAttributeNodeNS(std::u16string_view ANamespaceURI,
                                                std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IDOMAttr> setAttributeNodeNS(const TIntfPtr<IDOMAttr>& AAttr) = 0;
  virtual TIntfPtr<IDOMNodeList> getElementsByTagNameNS(std::u16string_view ANamespaceURI,
                                                        std::u16string_view ALocalName) = 0;
  virtual bool hasAttribute(std::u16string_view AName) = 0;
  virtual bool hasAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) = 0;
};

class IDOMProcessingInstruction : public virtual IDOMNode {
public:
  virtual XoXMLString get_target() = 0;
  virtual XoXMLString get_data() = 0;
  virtual void set_data(std::u16string_view AData) = 0;
};

class IDOMDocumentFragment : public virtual IDOMNode {};
class IDOMEntityReference : public virtual IDOMNode {};

class IDOMDocumentType : public virtual IDOMNode {
public:
  virtual XoXMLString get_name() = 0;
  virtual TIntfPtr<IDOMNamedNodeMap> get_entities() = 0;
  virtual TIntfPtr<IDOMNamedNodeMap> get_notations() = 0;
  virtual XoXMLString get_publicId() = 0;
  virtual XoXMLString get_systemId() = 0;
  virtual XoXMLString get_internalSubset() = 0;
};

class IDOMDocument : public virtual IDOMNode {
public:
  virtual TIntfPtr<IDOMDocumentType> get_doctype() = 0;
  virtual TIntfPtr<IDOMImplementation> get_domImplementation() = 0;
  virtual TIntfPtr<IDOMElement> get_documentElement() = 0;
  virtual void set_documentElement(const TIntfPtr<IDOMElement>& AElement) = 0;
  virtual TIntfPtr<IDOMElement> createElement(std::u16string_view ATagName) = 0;
  virtual TIntfPtr<IDOMDocumentFragment> createDocumentFragment() = 0;
  virtual TIntfPtr<IDOMText> createTextNode(std::u16string_view AData) = 0;
  virtual TIntfPtr<IDOMComment> createComment(std::u16string_view AData) = 0;
  virtual TIntfPtr<IDOMCDATASection> createCDATASection(std::u16string_view AData) = 0;
  virtual TIntfPtr<IDOMProcessingInstruction> createProcessingInstruction(std::u16string_view ATarget,
                                                                          std::u16string_view AData) = 0;
  virtual TIntfPtr<IDOMAttr> createAttribute(std::u16string_view AName) = 0;
  virtual TIntfPtr<IDOMEntityReference> createEntityReference(std::u16string_view AName) = 0;
  virtual TIntfPtr<IDOMNodeList> getElementsByTagName(std::u16string_view ATagName) = 0;
  virtual TIntfPtr<IDOMNode> importNode(const TIntfPtr<IDOMNode>& ANode, bool ADeep) = 0;
  virtual TIntfPtr<IDOMElement> createElementNS(std::u16string_view ANamespaceURI,
                                                std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IDOMAttr> createAttributeNS(std::u16string_view ANamespaceURI,
                                               std::u16string_view AQualifiedName) = 0;
  virtual TIntfPtr<IDOMNodeList> getElementsByTagNameNS(std::u16string_view ANamespaceURI,
                                                        std::u16string_view ALocalName) = 0;
  virtual TIntfPtr<IDOMElement> getElementById(std::u16string_view AElementId) = 0;
};

// ===========================================================================
// Vendors: named sources of IDOMImplementation.

class TDOMVendor : public TObject {
public:
  virtual XoXMLString Description() = 0;
  virtual TIntfPtr<IDOMImplementation> DOMImplementation() = 0;
};

// The registered vendors, in registration order.
class TDOMVendorList {
public:
  int32_t Count() const { return static_cast<int32_t>(FVendors.size()); }
  TDOMVendor* Vendors(int32_t AIndex) const { return FVendors.at(AIndex); }
  // The vendor with this description (exact text), nil if none.
  TDOMVendor* Find(std::u16string_view AVendorName) const;
  void Add(TDOMVendor* AVendor) { FVendors.push_back(AVendor); }
  void Remove(TDOMVendor* AVendor);

private:
  std::vector<TDOMVendor*> FVendors;
};

// The process-wide registry; the library's own vendor "Tavrix" is in it
// before any caller sees it.
TDOMVendorList& DOMVendors();
void RegisterDOMVendor(TDOMVendor* AVendor);
void UnRegisterDOMVendor(TDOMVendor* AVendor);
// The implementation of the named vendor; an empty name means the first
// registered. An unknown name raises EXoDomNotFound.
TIntfPtr<IDOMImplementation> GetDOM(std::u16string_view AVendorName = {});

inline constexpr char16_t cXoDOMVendorName[] = u"Tavrix";
inline constexpr char16_t _cXoDOMNoAttributes[] = u"This node does not support attributes!";
inline constexpr char16_t _cXoDOMNoFragments[] = u"Document fragments are not supported by Tavrix XML DOM!";
inline constexpr char16_t _cXoDOMNoEntityRefs[] = u"Entity references are not supported by Tavrix XML DOM!";
inline constexpr char16_t _cXoDOMNoDocType[] = u"The doctype functionality is not implemented!";
inline constexpr char16_t _cXoDOMNotImplemented[] = u"Not implemented";
inline constexpr char16_t _cXoDOMStreamContents[] = u"Failed to get the contents of the stream.";
inline constexpr char16_t _cXoDOMLoadFromStreamDoc[] =
    u"The LoadFromStream is not supported by the DOM Document. Use the LoadFromStreamEx instead.";
inline constexpr char16_t _cXoDOMSaveToStreamDoc[] =
    u"The SaveToStream is not supported by the DOM Document. Use the SaveToStreamEx instead.";
inline constexpr char16_t _cXoDOMUnknownVendor[] = u"There is no DOM vendor named \"%s\".";

// ===========================================================================
// Module functions over any vendor's nodes (standard interfaces only).

// A document of the vendor with the root element; a vendor that makes no
// root gets one through createElementNS and set_documentElement.
TIntfPtr<IDOMDocument> XoCreateDOM(std::u16string_view AVendorName, std::u16string_view ANamespaceURI,
                                   std::u16string_view AQualifiedName);
// A document of this library loaded from the text.
TIntfPtr<IDOMDocument> XoCreateDOM(std::u16string_view AXML);
TIntfPtr<IDOMElement> XoAddElement(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AName);
TIntfPtr<IDOMElement> XoAddElement(const TIntfPtr<IDOMElement>& AElement, std::u16string_view ANamespaceURI,
                                   std::u16string_view AName);
TIntfPtr<IDOMAttr> XoAddAttribute(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AName);
TIntfPtr<IDOMAttr> XoAddAttribute(const TIntfPtr<IDOMElement>& AElement, std::u16string_view ANamespaceURI,
                                  std::u16string_view AName);
TIntfPtr<IDOMText> XoAddText(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AText);
TIntfPtr<IDOMCDATASection> XoAddCDATA(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AText);
TIntfPtr<IDOMComment> XoAddComment(const TIntfPtr<IDOMElement>& AElement, std::u16string_view AText);
// XSLT 1.0 (libxslt): the document in AXML transformed by the stylesheet in
// AStyleSheetXML; the result as text (its xsl:output method decides the
// form). Bad XML or a bad stylesheet raises EXoDomException with the
// engine's message.
XoXMLString XoXSLTransform(std::u16string_view AXML, std::u16string_view AStyleSheetXML);
// The document's XML written formatted (through IDOMNodeEx::get_xml when the
// vendor offers it).
XoXMLString XoFormatXML(const TIntfPtr<IDOMDocument>& ADocument);

}  // namespace xo
