// uXoXMLDOM: xo's XML document model.
//
// Every node is a native object (TXoDOMNode and its classes), which a program
// uses as a plain class and which lives in a tree, plus an adapter
// (TXoDOMObjectImpl and its classes) that is made only when somebody asks the
// node for an interface. The adapter carries the reference count; a node in a
// tree survives its adapter, and a node that the tree let go of lives as long
// as its adapter is referenced.
//
// Storage. One node is one heap block. A node keeps all its children in one
// doubly linked chain in document order (attributes of an element included):
// the first child's "previous" link points at the last child, so appending,
// removing and finding the last child are O(1). An element keeps three typed
// chains beside it (attributes, child elements, text/CDATA/comment nodes)
// through a second pair of links in each node, so its typed lists can keep
// their own order. The list objects (ChildNodes(), Attributes(), ...) are
// views over these chains, made only when a program asks for one. Names are
// shared immutable records (TXoDOMName), so equal names in a document cost
// one block. Stored text keeps its escaped form and is decoded on reading.
//
// Nothing recurses once per level of nesting: clearing, freeing, cloning,
// namespace refresh, NodePath and the adapter chains are loops.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "uXoClasses.h"
#include "uXoRtti.h"
#include "uXoSAX.h"
#include "uXoSysUtils.h"
#include "uXoTypes.h"
#include "uXoVariants.h"

namespace xo {

// ===========================================================================
// Collations: how names and values compare. Each class is a singleton
// reached through a class reference (TXoXPathCollationClass); comparing two
// references tells whether two documents use the same collation.

class TXoXPathCollation {
public:
  virtual ~TXoXPathCollation() = default;
  // Three-way comparison: -1, 0 or 1.
  virtual int32_t Compare(std::u16string_view A, std::u16string_view B) const = 0;
  // 1-based position of ASub in AText, 0 when absent.
  virtual int64_t Pos(std::u16string_view ASub, std::u16string_view AText) const = 0;
  bool SameText(std::u16string_view A, std::u16string_view B) const { return Compare(A, B) == 0; }
  virtual const char16_t* ClassName() const = 0;
};
using TXoXPathCollationClass = const TXoXPathCollation*;

// Code units compared with ASCII letters folded; Pos on lower-cased text.
class TXoXPathCollationASCIICI final : public TXoXPathCollation {
public:
  int32_t Compare(std::u16string_view A, std::u16string_view B) const override;
  int64_t Pos(std::u16string_view ASub, std::u16string_view AText) const override;
  const char16_t* ClassName() const override { return u"TXoXPathCollationASCIICI"; }
  static TXoXPathCollationClass ClassRef();
};

// Code units compared as they are.
class TXoXPathCollationCodepoint final : public TXoXPathCollation {
public:
  int32_t Compare(std::u16string_view A, std::u16string_view B) const override;
  int64_t Pos(std::u16string_view ASub, std::u16string_view AText) const override;
  const char16_t* ClassName() const override { return u"TXoXPathCollationCodepoint"; }
  static TXoXPathCollationClass ClassRef();
};

// ===========================================================================
// Enumerations and process-wide defaults

enum TXoDOMNodeType : uint8_t {
  ntUnknown = 0,
  ntElement = 1,
  ntAttribute = 2,
  ntText = 3,
  ntCDATA = 4,
  ntEntityRef = 5,
  ntEntity = 6,
  ntProcessingInstruction = 7,
  ntComment = 8,
  ntDocument = 9,
  ntDocumentType = 10,
  ntDocumentFragment = 11,
  ntNotation = 12
};
extern const char16_t* const XoDOMNodeTypes[13];

enum TXoDOMLoadState : uint8_t { lsUninitialized, lsLoading, lsLoaded, lsInteractive, lsComplete };

enum TXoDOMPosition : uint8_t { rdpFirst, rdpLast, rdpBefore, rdpAfter };
using TXoDOMAbsPosition = TXoDOMPosition;  // rdpFirst..rdpLast
using TXoDOMRelPosition = TXoDOMPosition;  // rdpBefore..rdpAfter

enum TXoDOMSelectOption : uint8_t { soRaise, soCreate, soCaseSensitive, soCaseInsensitive, soLocalName, soQualifiedName };
using TXoDOMSelectOptions = TSet<TXoDOMSelectOption>;
// A braced option list ({soRaise, soLocalName}): the operations that take
// options also take this form, so that a call with a name and braced options
// never reads as the (namespace URI, local name) overload.
using TXoDOMSelectOptionList = std::initializer_list<TXoDOMSelectOption>;
using TXoDOMSelectCaseOption = TXoDOMSelectOption;   // soCaseSensitive..soCaseInsensitive
using TXoDOMSelectMatchOption = TXoDOMSelectOption;  // soLocalName..soQualifiedName

enum TXoDOMSelectCheckOption : uint8_t { coReturnNil, coCreate, coRaise };
using TXoDOMSelectCheckOptions = TSet<TXoDOMSelectCheckOption>;

enum TXoDOMNodeNameType : uint8_t { nntLocalName, nntQualifiedName };

// Loader error events: the locator, the message, and a flag the handler sets
// when it has dealt with the error.
using TXoDOMParseError =
    std::function<void(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg, bool& Handled)>;

// Plain variables a program may set before it creates documents.
extern TXoDOMSelectMatchOption DefaultSelectMatchOption;  // soQualifiedName
extern bool DefaultPreserveCase;                          // default preserve-space flag: false
extern TXoDOMSelectCheckOption DefaultSelectCheckOption;  // coRaise
extern TXoXPathCollationClass DefaultXPathCollation;      // TXoXPathCollationASCIICI

// The W3C namespace URIs the model knows by name.
inline constexpr char16_t cXoXMLNamespaceURI[] = u"http://www.w3.org/XML/1998/namespace";
inline constexpr char16_t cXoXSINamespaceURI[] = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char16_t cXoXSDNamespaceURI[] = u"http://www.w3.org/2001/XMLSchema";

// ===========================================================================
// Exceptions

XO_DECLARE_EXCEPTION(EXoDomException, Exception)
XO_DECLARE_EXCEPTION(EXoDomStringSize, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomHierarchyRequest, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomIndexSize, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomInUseAttribute, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomInvalidAcces, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomInvalidCharacter, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomInvalidModification, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomInvalidState, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomNamespace, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomNotFound, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomNotSupported, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomNoDataAllowed, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomNoModificationAllowed, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomSyntax, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomTypeMismatch, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomValidation, EXoDomException)
XO_DECLARE_EXCEPTION(EXoDomWrongDocument, EXoDomException)

inline constexpr char16_t _cXoDOMNoInterfaces[] =
    u"DOM Objects do not support interfaces. All interface requests should be handled by the DOMIMpl object.";
inline constexpr char16_t _cXoDOMRefCountNotZero[] = u"An instance of %s is destroyed while it's refcount is not 0!";
inline constexpr char16_t _cXoDOMSetInnerXMLNotSupported[] = u"The SetInnerXML is not supported by the TXoDomNode";
inline constexpr char16_t _cXoDOMSetNodeValueNotSupported[] = u"The SetNodeValue is not supported by the TXoDomNode";
inline constexpr char16_t _cXoDOMNoFirstNode[] = u"Failed to get the first node!\r\nThe list contains no nodes.";
inline constexpr char16_t _cXoDOMNoLastNode[] = u"Failed to get the last node!\r\nThe list contains no nodes.";
inline constexpr char16_t _cXoDOMRefNodeNotInList[] = u"The specified referencenode is not part of this list!";
inline constexpr char16_t _cXoDOMBothCaseOptions[] =
    u"It is not possible to specify both soCaseSensitive and soCaseInsensitive!";
inline constexpr char16_t _cXoDOMNoSoCreate[] = u"It is not possible to specify soCreate!";
inline constexpr char16_t _cXoDOMNoNodeForName[] = u"There is no node for the given name \"%s\".";
inline constexpr char16_t _cXoDOMInvalidIdx[] = u"Invalid idx value";
inline constexpr char16_t _cXoDOMNotAChild[] = u"The specified ChildNode is not a child of this element!";
inline constexpr char16_t _cXoDOMNodeClassRequired[] = u"A NodeClass is required when soCreate is specified!";
inline constexpr char16_t _cXoDOMNoChildNS[] = u"There is no child with the localname \"%s\" and namespace \"%s\"!";
inline constexpr char16_t _cXoDOMNoCDATA[] = u"There is no CDATA element with index %d!";
inline constexpr char16_t _cXoDOMInvalidTypeInfo[] = u"The type attribute does not contain valid typeinfo.";
inline constexpr char16_t _cXoDOMNoRaiseOrCreate[] = u"It is not possible to specify either soRaise or soCreate!";
inline constexpr char16_t _cXoDOMListIndex[] = u"List index out of bounds (%d)";
inline constexpr char16_t _cXoDOMInOtherList[] = u"The node is already part of another node's children!";

// ===========================================================================
// Names

// An immutable qualified name shared by every node that carries it. The
// record is counted (atomically, since a clone may carry it to another
// thread) and never changes once made.
class TXoDOMName {
public:
  // A record for AName (a recently made record for the same text is reused).
  static TXoDOMName* Make(std::u16string_view AName);
  // A record for the prefix and local name given apart ("p" and "x" make
  // "p:x"; an empty prefix keeps any colon inside the local name).
  static TXoDOMName* Make(std::u16string_view APrefix, std::u16string_view ALocalName);
  // The shared record of the empty name.
  static TXoDOMName* Empty();
  void AddRef() { FRefs.fetch_add(1, std::memory_order_relaxed); }
  void Release();

  std::u16string_view QName() const { return {FText, FLen}; }
  std::u16string_view Prefix() const { return FColon < 0 ? std::u16string_view() : std::u16string_view(FText, FColon); }
  std::u16string_view LocalName() const {
    return FColon < 0 ? QName() : std::u16string_view(FText + FColon + 1, FLen - FColon - 1);
  }
  uint32_t Hash() const { return FHash; }
  // The name declares a namespace: "xmlns" with no prefix, or the prefix
  // "xmlns" (ASCII case ignored).
  bool IsNamespace() const { return FIsNamespace; }

private:
  TXoDOMName() = default;
  std::atomic<int32_t> FRefs{1};
  uint32_t FHash = 0;
  uint32_t FLen = 0;
  int32_t FColon = -1;
  bool FIsNamespace = false;
  bool FImmortal = false;
  char16_t FText[1];  // FLen units follow the header
  friend struct TXoDOMNameAlloc;
};

// Counted holder of a TXoDOMName (never null).
class TXoDOMNameRef {
public:
  TXoDOMNameRef() : FName(TXoDOMName::Empty()) {}
  explicit TXoDOMNameRef(TXoDOMName* AName) : FName(AName) {}  // takes the reference
  explicit TXoDOMNameRef(std::u16string_view AText) : FName(TXoDOMName::Make(AText)) {}
  TXoDOMNameRef(const TXoDOMNameRef& o) : FName(o.FName) { FName->AddRef(); }
  TXoDOMNameRef& operator=(const TXoDOMNameRef& o) {
    o.FName->AddRef();
    FName->Release();
    FName = o.FName;
    return *this;
  }
  ~TXoDOMNameRef() { FName->Release(); }
  TXoDOMName* operator->() const { return FName; }
  TXoDOMName* Get() const { return FName; }
  std::u16string_view View() const { return FName->QName(); }

private:
  TXoDOMName* FName;
};

// Small blocks of the tree (nodes, stored strings) come from per-thread
// free lists of 16-byte size classes carved from 64 KB chunks; larger ones
// from the heap. A block may be freed on any thread. Chunks stay with the
// process for reuse. (Builds with AddressSanitizer use the heap directly.)
void* XoDOMAlloc(size_t ASize);
void XoDOMFree(void* ABlock, size_t ASize) noexcept;
// Bytes of pooled blocks handed out on this thread and not yet given back
// (size classes rounded up): with the heap's own count, what trees hold.
int64_t XoDOMPoolBytesInUse();

// A stored string: pointer and length, exactly sized, empty without a block.
// 16 bytes in a node instead of a std::u16string's 32.
class TXoDOMStr {
public:
  TXoDOMStr() = default;
  TXoDOMStr(const TXoDOMStr&) = delete;
  TXoDOMStr& operator=(const TXoDOMStr&) = delete;
  ~TXoDOMStr() {
    if (FData) XoDOMFree(FData, FLen * sizeof(char16_t));
  }
  void Assign(std::u16string_view AText);
  std::u16string_view View() const { return {FData, FLen}; }
  std::u16string Str() const { return std::u16string(FData, FLen); }
  bool Empty() const { return FLen == 0; }
  uint32_t Length() const { return FLen; }

private:
  char16_t* FData = nullptr;
  uint32_t FLen = 0;
};

// ===========================================================================
// Object core

class TXoDOMDocument;
class TXoDOMObject;
class TXoDOMNode;
class TXoDOMElement;
class TXoDOMAttribute;
class TXoDOMNodeListBase;
class TXoDOMNodeList;
class TXoDOMElementList;
class TXoDOMAttrList;
class TXoDOMObjectImpl;
class TXoDOMNodeImpl;
class TXoDOMNodeListImpl;
struct TXoDOMNodeExtra;
struct TXoDOMNSScope;

using TXoDOMNodeClass = TClassRef<TXoDOMNode>;

// The adapter of a native object: carries the reference count. The Impl
// classes of the interface layer derive from it.
class TXoDOMObjectImpl : public TXoObject {
  XO_CLASS(TXoDOMObjectImpl, TXoObject)
public:
  explicit TXoDOMObjectImpl(TXoDOMObject* AObject);
  ~TXoDOMObjectImpl() override;
  // A reference taken by a program (not by a child's adapter).
  int32_t _AddRef() override;
  int32_t _Release() override;
  TXoDOMObject* DOMObject() const { return FDOMObject; }
  // The node behind an interface that came from the library (nil for nil).
  static TXoDOMNode* Node(IInterface* AIntf);
  static TXoDOMNode* Node(const TIntfPtr<IXoObject>& AIntf) { return Node(AIntf.get()); }

  // Holds the adapter of AParent instead of the one held so far.
  void SetParentImpl(TXoDOMObjectImpl* AParent);
  // The work of a count that reached 0, up the chain of parent adapters.
  static void ReleaseChainFrom(TXoDOMObjectImpl* AImpl);
  // A counted hold on the adapter of AObject (made if missing) that keeps the
  // object as a child's adapter keeps its parent: an object that its tree
  // lets go of lives on until the hold ends. Unhold ends it.
  static TXoDOMObjectImpl* Hold(TXoDOMObject* AObject);
  static void Unhold(TXoDOMObjectImpl* AImpl);

protected:
  TXoDOMObject* FDOMObject = nullptr;
  // The parent's adapter, counted (the FParent reference of the Parts); a
  // plain pointer so that releasing a long chain is a loop.
  TXoDOMObjectImpl* FParentImpl = nullptr;
  // A program referenced this adapter itself at some time.
  bool FDirect = false;

private:
  friend class TXoDOMObject;
  friend struct TXoDOMTree;
};

// The adapter classes (TXoDOMNodeImpl and the rest) with their interfaces
// are in uXoXMLDOM/uXoXMLDOMAdapters.h, included at the end.
class TXoDOMElementListImpl;
class TXoDOMAttrListImpl;
class TXoDOMCharacterDataImpl;
class TXoDOMTextImpl;
class TXoDOMCommentImpl;
class TXoDOMCDATAImpl;
class TXoDOMAttributeImpl;
class TXoDOMElementImpl;
class TXoDOMProcessingInstructionImpl;
class TXoDOMDocumentImpl;

// Root of the native side: a node or a list. Constructed with auto-destroy
// off; its own count stays 0, counting happens on the adapter.
class TXoDOMObject : public TXoObject {
  XO_CLASS(TXoDOMObject, TXoObject)
public:
  TXoDOMObject();
  ~TXoDOMObject() override;

  // Makes the adapter if there is none and counts on it.
  int32_t _AddRef() override;
  // Forwards to the adapter; raises without one.
  int32_t _Release() override;
  // The interface I of the adapter (made on demand), or failing that of the
  // object itself; an empty pointer when neither has it. Counted.
  template <class I>
  TIntfPtr<I> QueryInterface() {
    TXoDOMObjectImpl* impl = EnsureDOMImpl();
    if (I* p = dynamic_cast<I*>(impl)) return TIntfPtr<I>(p);
    return TIntfPtr<I>(dynamic_cast<I*>(this));
  }
  // The adapter as IXoObject (made on demand).
  TIntfPtr<IXoObject> GetInterface() { return QueryInterface<IXoObject>(); }

  virtual TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) = 0;
  virtual bool CanAutoDestroy();
  virtual bool GetCaseSensitive();
  virtual TXoXPathCollationClass GetCollation();
  virtual TXoDOMSelectMatchOption GetSelectMatchOption();
  virtual void SetDOMImpl(TXoDOMObjectImpl* AImpl);
  virtual void SetDOMDocument(TXoDOMDocument* ADocument);
  virtual void SetParentNode(TXoDOMObject* AParent);

  TXoDOMDocument* DOMDocument() const { return FDOMDocument; }
  TXoDOMObject* Parent() const { return FParent; }
  // The node type (ntUnknown for lists).
  TXoDOMNodeType ObjectNodeType() const { return FNodeType; }
  TXoDOMObjectImpl* DOMImpl() const { return FDOMImpl; }
  bool Destroying() const { return FFlags & kDestroying; }

  void BeforeDestruction() override;

protected:
  friend class TXoDOMObjectImpl;
  friend class TXoDOMNodeListBase;
  friend struct TXoDOMTree;
  TXoDOMObjectImpl* EnsureDOMImpl();

  enum : uint16_t {
    kDestroying = 1,
    kNamespaceSet = 2,
    kPreserveSpace = 4,
    kInChain = 8,   // linked into a parent's chain of children
    kInTyped = 16,  // linked into a parent element's typed chain
    kBusy = 32,     // an operation of this object is running: not freed under it
    kHasExtra = 64,
    kOrphaned = 128,  // the tree let go of this node while an adapter held it
  };

  TXoDOMDocument* FDOMDocument = nullptr;
  TXoDOMObject* FParent = nullptr;
  TXoDOMObjectImpl* FDOMImpl = nullptr;
  uint16_t FFlags = 0;
  TXoDOMNodeType FNodeType = ntUnknown;
  uint8_t FTypedKind = 0;   // which typed chain of an element parent: 0 none, 1 attributes, 2 elements, 3 text
  uint32_t FChildCount = 0;  // nodes in the chain of children
};

// Base of every node.
class TXoDOMNode : public TXoDOMObject {
  XO_CLASS(TXoDOMNode, TXoDOMObject)
public:
  static void* operator new(size_t ASize) { return XoDOMAlloc(ASize); }
  static void operator delete(void* ABlock, size_t ASize) noexcept { XoDOMFree(ABlock, ASize); }
  TXoDOMNode();
  ~TXoDOMNode() override;

  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  bool CanAutoDestroy() override;
  void SetDOMDocument(TXoDOMDocument* ADocument) override;
  void SetParentNode(TXoDOMObject* AParent) override;
  void BeforeDestruction() override;

  virtual bool GetPreserveSpace();
  virtual XoXMLString GetNodeValue();
  virtual XoXMLString GetText();
  virtual XoXMLString GetNamespaceURI();
  virtual XoXMLString GetInnerXML();
  virtual XoXMLString GetFormattedInnerXML();
  virtual void SetNodeValue(std::u16string_view AValue);
  virtual void SetPrefix(std::u16string_view APrefix);
  virtual void SetQualifiedName(std::u16string_view AName);
  virtual void SetInnerXML(std::u16string_view AValue);
  // Brings the namespace data of this node and everything below it up to
  // date (a loop over the subtree calling RefreshOwnNamespaces).
  virtual void RefreshNamespaces();
  virtual void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel);
  // Writes the node as JSON text (members named after local names); this
  // class writes nothing, so text, comments and instructions are dropped.
  virtual void _SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel);
  virtual void NormalizeTextNodes();
  // A new node of the same class with the same name (and, for the character,
  // attribute and processing-instruction classes, the same stored text).
  virtual TXoDOMNode* CreateClone();
  virtual void LoadFromStream(TStream* AStream, uint16_t ACodePage);
  virtual void SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted);
  // _SaveToJSONStream from level 1 (an element adds the braces around it).
  virtual void SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted);
  virtual void Clear();
  virtual TXoDOMNode* CloneNode(bool ADeep);
  virtual TXoDOMNode* AddChild(TXoDOMNodeClass ANodeClass, TXoDOMNode* ARefNode, TXoDOMPosition APosition);
  virtual TXoDOMNode* AddChild(TXoDOMNode* ANode, TXoDOMNode* ARefNode, TXoDOMPosition APosition);
  virtual void RemoveChild(TXoDOMNode* ANode);
  virtual TXoDOMNode* AppendChild(TXoDOMNode* ANode);
  TXoDOMNode* InsertBefore(TXoDOMNode* ANode, TXoDOMNode* ARefNode) { return AddChild(ANode, ARefNode, rdpBefore); }

  // The outer XML of the node, unformatted and formatted.
  XoXMLString GetXML();
  XoXMLString GetFormattedXML();

  int32_t NodeCount() const { return static_cast<int32_t>(FChildCount); }
  bool HasChilds() const { return FChildCount > 0; }
  virtual bool HasAttributes();
  TXoDOMNode* ParentNode() const { return static_cast<TXoDOMNode*>(FParent); }
  TXoDOMNode* NextSibling() const;
  TXoDOMNode* PreviousSibling() const;
  // The first and last node of the chain of children (nil when none).
  TXoDOMNode* FirstChild() const { return FFirstChild; }
  TXoDOMNode* LastChild() const { return FFirstChild ? FFirstChild->FPrev : nullptr; }
  // In the parent element's typed chain: the node before this one, or the
  // last node of the chain when this is the first.
  TXoDOMNode* PreviousTypedOrLast() const { return FTPrev; }
  XoXMLString NodePath(bool ALocalName = false, std::u16string_view AKeyAttribute = {});
  XoXMLString NodePath(const char16_t*) = delete;  // the flag comes first

  // XSLT through libxslt: this node and the stylesheet go to it as XML text.
  // The forms with a result give the text; the others a new document, which
  // the caller owns. A stylesheet named by file is read as a text file in
  // the system code page.
  TXoDOMDocument* Transform(std::u16string_view AStyleSheetFileName);
  void Transform(std::u16string_view AStyleSheetFileName, XoXMLString& AResult);
  TXoDOMDocument* Transform(TXoDOMNode* AStyleSheet);
  void Transform(TXoDOMNode* AStyleSheet, XoXMLString& AResult);

  // Selection by path (the caller owns the list; it does not own the nodes).
  TXoDOMNodeList* CreateNodeList(std::u16string_view APath, TXoDOMSelectOptions AOptions = {});
  TXoDOMNodeList* CreateNodeList(std::u16string_view APath, TXoDOMSelectOptionList AOptions) {
    return CreateNodeList(APath, TXoDOMSelectOptions(AOptions));
  }
  // The first node the path selects, or nil.
  TXoDOMNode* SelectSingleNode(std::u16string_view APath, TXoDOMSelectOptions AOptions = {});
  TXoDOMNode* SelectSingleNode(std::u16string_view APath, TXoDOMSelectOptionList AOptions) {
    return SelectSingleNode(APath, TXoDOMSelectOptions(AOptions));
  }

  TXoDOMNodeType GetNodeType() const { return FNodeType; }
  TXoDOMLoadState GetLoadState() const { return lsUninitialized; }
  XoXMLString GetLocalName() const { return XoXMLString(FName->LocalName()); }
  XoXMLString GetPrefix() const { return XoXMLString(FName->Prefix()); }
  XoXMLString GetQualifiedName() const { return XoXMLString(FName->QName()); }
  // The same names as views, valid while the node keeps its name.
  std::u16string_view LocalNameView() const { return FName->LocalName(); }
  std::u16string_view PrefixView() const { return FName->Prefix(); }
  std::u16string_view QualifiedNameView() const { return FName->QName(); }
  const TXoDOMNameRef& NameRef() const { return FName; }

  // All children in document order (for an element, attributes included).
  TXoDOMNodeList* ChildNodes();

  TXoDOMParseError& OnParseWarning();
  TXoDOMParseError& OnParseError();
  TXoDOMParseError& OnParseFatalError();

  // A C++ range over the chain of children: for (TXoDOMNode* n : *node).
  class TChildIter {
  public:
    explicit TChildIter(TXoDOMNode* ANode) : FNode(ANode) {}
    TXoDOMNode* operator*() const { return FNode; }
    TChildIter& operator++() {
      FNode = FNode->FNext;
      return *this;
    }
    bool operator!=(const TChildIter& o) const { return FNode != o.FNode; }

  private:
    TXoDOMNode* FNode;
  };
  TChildIter begin() const { return TChildIter(FFirstChild); }
  TChildIter end() const { return TChildIter(nullptr); }

protected:
  friend class TXoDOMNodeListBase;
  friend class TXoDOMElement;
  friend class TXoDOMAttribute;
  friend class TXoDOMDocument;
  friend class TXoDOMParser;
  friend struct TXoDOMTree;

  // The namespace step of RefreshNamespaces for this node alone.
  virtual void RefreshOwnNamespaces() {}
  // The name of a node as stored (no virtual SetPrefix involved).
  void SetNameRef(const TXoDOMNameRef& AName) { FName = AName; }
  // An object of the same class, through the registry's constructor.
  TXoDOMNode* NewInstance() const;
  TXoDOMNodeExtra* Extra();
  void InvalidateLists();
  // FNamespaceURI of the Parts: the URI kept while the node has no parent.
  std::u16string_view NsURI() const { return FNsURI.View(); }
  void SetNsURI(std::u16string_view AURI) {
    if (AURI.empty())
      FNsURI = TXoDOMNameRef();
    else
      FNsURI = TXoDOMNameRef(AURI);
  }
  bool NamespaceSet() const { return FFlags & kNamespaceSet; }
  void SetNamespaceSet(bool AValue) {
    if (AValue)
      FFlags |= kNamespaceSet;
    else
      FFlags &= ~kNamespaceSet;
  }

  TXoDOMNode* FPrev = nullptr;   // previous sibling; the first child's points at the last
  TXoDOMNode* FNext = nullptr;   // next sibling, nil at the end
  TXoDOMNode* FTPrev = nullptr;  // the same in the parent element's typed chain
  TXoDOMNode* FTNext = nullptr;
  TXoDOMNode* FFirstChild = nullptr;
  TXoDOMNameRef FName;
  TXoDOMNameRef FNsURI;  // an interned string, used for its text only
  TXoDOMNodeExtra* FExtra = nullptr;
};

// ===========================================================================
// Lists

// An ordered, non-owning list of nodes. The lists a node hands out
// (ChildNodes(), Attributes(), Elements(), CharNodes(), Namespaces()) are
// views over that node's chains and always in step with them; a list made by
// a program (or CreateElementList) holds its own items. Lookups by name walk
// from the end.
class TXoDOMNodeListBase : public TXoDOMObject {
  XO_CLASS(TXoDOMNodeListBase, TXoDOMObject)
public:
  // A list of its own (no view), owned by the caller.
  TXoDOMNodeListBase();
  ~TXoDOMNodeListBase() override;

  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  bool CanAutoDestroy() override;

  int32_t Count() const;
  TXoDOMNode* GetItem(int32_t AIndex);
  TXoDOMNode* operator[](int32_t AIndex) { return GetItem(AIndex); }
  void Clear();
  bool ContainsNode(TXoDOMNode* ANode);
  int32_t IndexOf(TXoDOMNode* ANode);

  TXoDOMNode* Add(TXoDOMNode* ANode, TXoDOMAbsPosition APosition = rdpLast);
  TXoDOMNode* Add(TXoDOMNode* ANode, TXoDOMRelPosition APosition, TXoDOMNode* ARefNode);
  TXoDOMNode* Add(TXoDOMNode* ANode, TXoDOMNode* ARefNode, TXoDOMPosition APosition);
  TXoDOMNode* Delete(TXoDOMNode* ANode);
  TXoDOMNode* Delete(std::u16string_view AName, TXoDOMSelectOptions AOptions);
  TXoDOMNode* Delete(std::u16string_view AName, TXoDOMSelectOptionList AOptions) {
    return Delete(AName, TXoDOMSelectOptions(AOptions));
  }
  TXoDOMNode* Delete(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);

  TXoDOMNode* First();
  TXoDOMNode* Last();
  TXoDOMNode* Next(TXoDOMNode* ANode);
  TXoDOMNode* Previous(TXoDOMNode* ANode);
  TXoDOMNode* Find(std::u16string_view AName, TXoDOMSelectOptions AOptions);
  TXoDOMNode* Find(std::u16string_view AName, TXoDOMSelectOptionList AOptions) {
    return Find(AName, TXoDOMSelectOptions(AOptions));
  }
  TXoDOMNode* Find(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);

  bool GetCaseSensitive() override;
  TXoXPathCollationClass GetCollation() override;
  TXoDOMSelectMatchOption GetSelectMatchOption() override;
  TXoDOMNode* OwnerNode() const { return static_cast<TXoDOMNode*>(FParent); }

  // C++ range-for over the items.
  class TIter {
  public:
    TIter(TXoDOMNodeListBase* AList, int32_t AIndex) : FList(AList), FIndex(AIndex) {}
    TXoDOMNode* operator*() const { return FList->GetItem(FIndex); }
    TIter& operator++() {
      ++FIndex;
      return *this;
    }
    bool operator!=(const TIter& o) const { return FIndex != o.FIndex; }

  private:
    TXoDOMNodeListBase* FList;
    int32_t FIndex;
  };
  TIter begin() { return TIter(this, 0); }
  TIter end() { return TIter(this, Count()); }

  // Which storage a list reads.
  enum TKind : uint8_t { lkOwn, lkChildren, lkAttributes, lkElements, lkCharNodes, lkNamespaces };
  TKind Kind() const { return FKind; }

protected:
  friend class TXoDOMNode;
  friend class TXoDOMElement;
  friend struct TXoDOMTree;
  // A view of AKind over the chains of AOwner.
  void InitView(TXoDOMNode* AOwner, TKind AKind);
  TXoDOMNode* Head() const;
  TXoDOMNode* NextOf(TXoDOMNode* ANode) const;
  TXoDOMNode* PrevOf(TXoDOMNode* ANode) const;
  bool IsChainView() const { return FKind >= lkChildren && FKind <= lkCharNodes; }
  void InvalidateCache() {
    FCacheNode = nullptr;
    FCacheIndex = -1;
  }
  // Plain vector operations (own lists and the namespace view).
  std::vector<TXoDOMNode*>& Items();
  [[noreturn]] void RaiseIndex(int32_t AIndex) const;

  TKind FKind = lkOwn;
  int32_t FCacheIndex = -1;  // the last (index, node) looked up in a chain view
  TXoDOMNode* FCacheNode = nullptr;
  std::vector<TXoDOMNode*> FList;
};

class TXoDOMNodeList : public TXoDOMNodeListBase {
  XO_CLASS(TXoDOMNodeList, TXoDOMNodeListBase)
public:
  using TXoDOMNodeListBase::TXoDOMNodeListBase;
};

class TXoDOMElementList : public TXoDOMNodeListBase {
  XO_CLASS(TXoDOMElementList, TXoDOMNodeListBase)
public:
  TXoDOMElementList() = default;
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  TXoDOMElement* GetItem(int32_t AIndex);
  // An integer position, ".", a name, or a path; the check option comes from
  // the owner's document or DefaultSelectCheckOption.
  TXoDOMElement* GetItem(const Variant& AIndex);
  TXoDOMElement* GetItemEx(const Variant& AIndex, TXoDOMSelectCheckOption ACheckOption);
  TXoDOMElement* operator[](int32_t AIndex) { return GetItem(AIndex); }
  TXoDOMElement* operator[](const Variant& AIndex) { return GetItem(AIndex); }
  TXoDOMElement* operator[](const char16_t* AName) { return GetItem(Variant(std::u16string(AName))); }
};

class TXoDOMAttrList : public TXoDOMNodeListBase {
  XO_CLASS(TXoDOMAttrList, TXoDOMNodeListBase)
public:
  TXoDOMAttrList() = default;
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  TXoDOMAttribute* GetItem(int32_t AIndex);
  TXoDOMAttribute* operator[](int32_t AIndex) { return GetItem(AIndex); }
  // The first namespace declaration (from the front) whose value the
  // collation calls equal to AURI; nil if none.
  TXoDOMAttribute* FindNamespace(std::u16string_view AURI);
};

// The enumerators of the lists (MoveNext, GetCurrent), for code that walks a
// list the platform's way.
class TXoDOMNodeListBaseEnumerator : public TObject {
public:
  explicit TXoDOMNodeListBaseEnumerator(TXoDOMNodeListBase* AList) : FList(AList) {}
  bool MoveNext() { return ++FIndex < FList->Count(); }
  TXoDOMNode* GetCurrent() { return FList->GetItem(FIndex); }

protected:
  int32_t FIndex = -1;
  TXoDOMNodeListBase* FList;
};
class TXoDOMElementListEnumerator : public TXoDOMNodeListBaseEnumerator {
public:
  explicit TXoDOMElementListEnumerator(TXoDOMElementList* AList) : TXoDOMNodeListBaseEnumerator(AList) {}
  TXoDOMElement* GetCurrent() { return static_cast<TXoDOMElementList*>(FList)->GetItem(FIndex); }
};

// The enumerators of the Parts (a C++ range-for uses begin/end instead).
inline TXoDOMNodeListBaseEnumerator XoDOMGetEnumerator(TXoDOMNodeListBase* AList) {
  return TXoDOMNodeListBaseEnumerator(AList);
}
inline TXoDOMElementListEnumerator XoDOMGetEnumerator(TXoDOMElementList* AList) {
  return TXoDOMElementListEnumerator(AList);
}

// A plain list of DOM objects: the node set of path evaluation.
class TXoDOMObjectList : public TObject {
public:
  int32_t Count() const { return static_cast<int32_t>(FItems.size()); }
  TXoDOMObject* GetItem(int32_t AIndex) const;
  TXoDOMObject* operator[](int32_t AIndex) const { return GetItem(AIndex); }
  int32_t Add(TXoDOMObject* AObject) {
    FItems.push_back(AObject);
    return Count() - 1;
  }
  void Insert(int32_t AIndex, TXoDOMObject* AObject);
  void Delete(int32_t AIndex);
  int32_t Remove(TXoDOMObject* AObject);
  int32_t IndexOf(TXoDOMObject* AObject) const;
  void Clear() { FItems.clear(); }
  // Clears, then copies the items of ASource in order.
  void Assign(const TXoDOMObjectList* ASource);
  auto begin() const { return FItems.begin(); }
  auto end() const { return FItems.end(); }

private:
  std::vector<TXoDOMObject*> FItems;
};

// ===========================================================================
// Character data, attributes, processing instructions

class TXoDOMCharacterData : public TXoDOMNode {
  XO_CLASS(TXoDOMCharacterData, TXoDOMNode)
public:
  TXoDOMCharacterData();
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  XoXMLString GetNodeValue() override;
  void SetNodeValue(std::u16string_view AValue) override;
  TXoDOMNode* CreateClone() override;
  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;

  // 1-based positions on the decoded value.
  void AppendStr(std::u16string_view AText);
  void DeleteStr(int32_t AStart, int32_t ALength);
  void InsertStr(int32_t APosition, std::u16string_view AText);
  void ReplaceStr(int32_t AStart, int32_t ALength, std::u16string_view AText);
  XoXMLString Substring(int32_t AStart, int32_t ALength);

  // The stored form (escaped for text, literal for comments and CDATA).
  std::u16string_view StoredValue() const { return FNodeValue.View(); }
  void SetStoredValue(std::u16string_view AValue) { FNodeValue.Assign(AValue); }

protected:
  TXoDOMStr FNodeValue;
};

class TXoDOMText : public TXoDOMCharacterData {
  XO_CLASS(TXoDOMText, TXoDOMCharacterData)
public:
  TXoDOMText() = default;
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  // Keeps the first AOffset characters here; the rest goes to a new text
  // node directly behind this one, which is returned.
  TXoDOMText* SplitText(int32_t AOffset);
};

class TXoDOMComment : public TXoDOMCharacterData {
  XO_CLASS(TXoDOMComment, TXoDOMCharacterData)
public:
  TXoDOMComment();
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  XoXMLString GetNodeValue() override { return FNodeValue.Str(); }
  void SetNodeValue(std::u16string_view AValue) override { FNodeValue.Assign(AValue); }
  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
};

class TXoDOMCDATA : public TXoDOMText {
  XO_CLASS(TXoDOMCDATA, TXoDOMText)
public:
  TXoDOMCDATA();
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  XoXMLString GetNodeValue() override { return FNodeValue.Str(); }
  void SetNodeValue(std::u16string_view AValue) override { FNodeValue.Assign(AValue); }
  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
};

class TXoDOMAttribute : public TXoDOMNode {
  XO_CLASS(TXoDOMAttribute, TXoDOMNode)
public:
  TXoDOMAttribute();
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  XoXMLString GetNodeValue() override;
  void SetNodeValue(std::u16string_view AValue) override;
  TXoDOMNode* CreateClone() override;
  XoXMLString GetNamespaceURI() override;
  virtual void SetNamespaceURI(std::u16string_view AURI);
  void SetPrefix(std::u16string_view APrefix) override;
  void SetQualifiedName(std::u16string_view AName) override;
  void SetParentNode(TXoDOMObject* AParent) override;
  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
  // The member "element_attribute" with the value as a JSON string; nothing
  // for declarations and for attributes in the XML Schema namespaces.
  void _SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;

  bool IsNamespace() const { return FName->IsNamespace(); }
  // The prefix a declaration binds ("" for xmlns); asserts IsNamespace.
  XoXMLString NamespacePrefix() const;
  TXoDOMAttribute* NextAttribute();
  TXoDOMAttribute* PreviousAttribute();
  // The declaration that binds this attribute's prefix (nil if none).
  TXoDOMAttribute* Namespace() const { return FNamespace; }

  std::u16string_view StoredValue() const { return FNodeValue.View(); }
  void SetStoredValue(std::u16string_view AValue) { FNodeValue.Assign(AValue); }

protected:
  void RefreshOwnNamespaces() override;
  void LookupNamespace();

  TXoDOMStr FNodeValue;
  TXoDOMAttribute* FNamespace = nullptr;
  friend class TXoDOMElement;
};

class TXoDOMProcessingInstruction : public TXoDOMNode {
  XO_CLASS(TXoDOMProcessingInstruction, TXoDOMNode)
public:
  TXoDOMProcessingInstruction();
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  TXoDOMNode* CreateClone() override;
  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
  XoXMLString GetData() const { return FData.Str(); }
  std::u16string_view DataView() const { return FData.View(); }
  void SetData(std::u16string_view AData) { FData.Assign(AData); }

protected:
  TXoDOMStr FData;
};

// ===========================================================================
// Element

class TXoDOMElement : public TXoDOMNode {
  XO_CLASS(TXoDOMElement, TXoDOMNode)
public:
  TXoDOMElement();
  ~TXoDOMElement() override;
  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;

  // Children
  TXoDOMNode* AddChild(TXoDOMNode* ANode, TXoDOMNode* ARefNode, TXoDOMPosition APosition) override;
  using TXoDOMNode::AddChild;
  void RemoveChild(TXoDOMNode* ANode) override;
  TXoDOMText* AddText(std::u16string_view AText);
  TXoDOMCDATA* AddCDATA(std::u16string_view AText);
  TXoDOMComment* AddComment(std::u16string_view AText);
  TXoDOMElement* AddElement(std::u16string_view AQualifiedName);
  TXoDOMElement* AddElement(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName);
  TXoDOMAttribute* AddAttribute(std::u16string_view AQualifiedName);
  TXoDOMAttribute* AddAttribute(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName);
  TXoDOMComment* InsertComment(std::u16string_view AText, TXoDOMPosition APosition, TXoDOMNode* ARefElement);
  TXoDOMText* InsertText(std::u16string_view AText, TXoDOMPosition APosition, TXoDOMNode* ARefElement);
  TXoDOMCDATA* InsertCDATA(std::u16string_view AText, TXoDOMPosition APosition, TXoDOMNode* ARefElement);
  TXoDOMElement* InsertElement(std::u16string_view AQualifiedName, TXoDOMPosition APosition, TXoDOMNode* ARefElement);
  TXoDOMElement* InsertElement(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                               TXoDOMPosition APosition, TXoDOMNode* ARefElement);
  void RemoveElement(TXoDOMElement* AElement) { RemoveChild(AElement); }
  void RemoveElement(std::u16string_view AQualifiedName);
  void RemoveElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);
  void RemoveAttribute(TXoDOMAttribute* AAttribute) { RemoveChild(AAttribute); }
  void RemoveAttribute(std::u16string_view AQualifiedName);
  void RemoveAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);

  // Finding
  TXoDOMElement* FindElement(std::u16string_view AName, TXoDOMSelectOptions AOptions = {});
  TXoDOMElement* FindElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);
  TXoDOMAttribute* FindAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions = {});
  TXoDOMAttribute* FindAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);
  TXoDOMElement* FindElement(std::u16string_view AName, TXoDOMSelectOptionList AOptions) {
    return FindElement(AName, TXoDOMSelectOptions(AOptions));
  }
  TXoDOMAttribute* FindAttribute(std::u16string_view AName, TXoDOMSelectOptionList AOptions) {
    return FindAttribute(AName, TXoDOMSelectOptions(AOptions));
  }
  bool HasAttribute(std::u16string_view AName, TXoDOMSelectOptionList AOptions) {
    return FindAttribute(AName, TXoDOMSelectOptions(AOptions)) != nullptr;
  }
  bool HasChildElement(std::u16string_view AName, TXoDOMSelectOptionList AOptions) {
    return FindElement(AName, TXoDOMSelectOptions(AOptions)) != nullptr;
  }
  TXoDOMElement* ElementByName(std::u16string_view AName, TXoDOMSelectOptionList AOptions,
                               TXoDOMNodeClass AClass = nullptr) {
    return ElementByName(AName, TXoDOMSelectOptions(AOptions), AClass);
  }
  TXoDOMAttribute* AttributeByName(std::u16string_view AName, TXoDOMSelectOptionList AOptions,
                                   TXoDOMNodeClass AClass = nullptr) {
    return AttributeByName(AName, TXoDOMSelectOptions(AOptions), AClass);
  }
  bool HasAttribute(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) {
    return FindAttribute(AName, AOptions) != nullptr;
  }
  bool HasAttribute(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
    return FindAttribute(ANamespaceURI, ALocalName) != nullptr;
  }
  bool HasChildElement(std::u16string_view AName, TXoDOMSelectOptions AOptions = {}) {
    return FindElement(AName, AOptions) != nullptr;
  }
  bool HasChildElement(std::u16string_view ANamespaceURI, std::u16string_view ALocalName) {
    return FindElement(ANamespaceURI, ALocalName) != nullptr;
  }
  bool HasAttributes() override { return FTypedCount[0] > 0; }
  bool HasChildElements() const { return FTypedCount[1] > 0; }
  int32_t AttributeCount() const { return static_cast<int32_t>(FTypedCount[0]); }
  int32_t ElementCount() const { return static_cast<int32_t>(FTypedCount[1]); }
  int32_t CharNodeCount() const { return static_cast<int32_t>(FTypedCount[2]); }
  TXoDOMElement* ElementByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                               TXoDOMNodeClass AClass = nullptr);
  TXoDOMAttribute* AttributeByName(std::u16string_view AName, TXoDOMSelectOptions AOptions,
                                   TXoDOMNodeClass AClass = nullptr);
  TXoDOMElement* ElementByName(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                               TXoDOMSelectCheckOption ACheckOption);
  TXoDOMAttribute* AttributeByName(std::u16string_view ANamespaceURI, std::u16string_view ALocalName);
  TXoDOMElement* ElementByName(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName, bool ACreate);
  TXoDOMAttribute* AttributeByName(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                                   bool ACreate);
  TXoDOMElement* ParentElement() const {
    return FParent && FParent->ObjectNodeType() == ntElement ? static_cast<TXoDOMElement*>(FParent) : nullptr;
  }
  TXoDOMElement* NextElement() const;
  TXoDOMElement* PreviousElement() const;
  TXoDOMElement* FirstElement();
  TXoDOMElement* LastElement();
  TXoDOMAttribute* FirstAttribute();
  TXoDOMAttribute* LastAttribute();
  Variant GetChildElementValue(const Variant& AIndex);
  // Own declarations first, then up the ancestors; nil at the end.
  TXoDOMAttribute* FindNamespace(std::u16string_view AURI);
  int32_t GetCDATACount();
  TXoDOMCDATA* GetCDATA(int32_t AIndex);
  // Lists the caller owns: this element and (with ARecursive) its descendant
  // elements that match.
  TXoDOMElementList* CreateElementList(std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                                       bool ARecursive);
  TXoDOMElementList* CreateElementList(std::u16string_view AQualifiedName, bool ARecursive);
  // A text in the place of ARecursive would turn into true: refused.
  TXoDOMElementList* CreateElementList(std::u16string_view, const char16_t*) = delete;
  void _GetChildElements(TXoDOMElementList* AList, std::u16string_view APrefix, std::u16string_view ALocalName,
                         bool ARecursive, TXoDOMSelectOptions AOptions);
  // Selection by path: the elements the path selects (the caller owns the
  // list), and the first node it selects, which must be an element.
  TXoDOMElementList* CreateElementList(std::u16string_view APath, TXoDOMSelectOptions AOptions);
  TXoDOMElementList* CreateElementList(std::u16string_view APath, TXoDOMSelectOptionList AOptions) {
    return CreateElementList(APath, TXoDOMSelectOptions(AOptions));
  }
  TXoDOMElement* SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptions AOptions = {});
  TXoDOMElement* SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptionList AOptions) {
    return SelectSingleElement(APath, TXoDOMSelectOptions(AOptions));
  }

  // The typed lists (views, made on first use).
  TXoDOMAttrList* Attributes();
  TXoDOMElementList* Elements();
  TXoDOMNodeList* CharNodes();
  TXoDOMAttrList* Namespaces();
  // The declaration that binds this element's prefix (nil if none).
  TXoDOMAttribute* Namespace() const { return FNamespace; }
  // Typed chains as plain loops: first attribute / child element / text node.
  TXoDOMAttribute* FirstAttributeNode() const { return static_cast<TXoDOMAttribute*>(FTypedFirst[0]); }
  TXoDOMElement* FirstElementNode() const { return static_cast<TXoDOMElement*>(FTypedFirst[1]); }
  TXoDOMNode* FirstCharNode() const { return FTypedFirst[2]; }
  static TXoDOMNode* NextTyped(TXoDOMNode* ANode) { return ANode->FTNext; }

  // Attribute values
  XoXMLString GetAttribute(std::u16string_view AQualifiedName);
  void SetAttribute(std::u16string_view AQualifiedName, std::u16string_view AValue);
  XoXMLString GetAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName);
  void SetAttributeNS(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName, std::u16string_view AValue);

  // Text
  XoXMLString GetNodeValue() override;
  XoXMLString GetText() override;
  void SetNodeValue(std::u16string_view AValue) override;
  void SetNodeValueEx(std::u16string_view AValue);
  void NormalizeTextNodes() override;
  XoXMLString GetInnerXML() override;
  XoXMLString GetFormattedInnerXML() override;
  void SetInnerXML(std::u16string_view AValue) override;

  // Namespaces
  XoXMLString GetNamespaceURI() override;
  virtual void SetNamespaceURI(std::u16string_view AURI);
  void SetPrefix(std::u16string_view APrefix) override;
  void SetParentNode(TXoDOMObject* AParent) override;

  // Preserve space
  bool GetPreserveSpace() override { return FFlags & kPreserveSpace; }
  void SetPreseveSpace(bool AValue);

  // Typed values
  bool GetAsBoolean();
  TDateTime GetAsDateTime();
  double GetAsDouble();
  int64_t GetAsInt64();
  int32_t GetAsInteger();
  XoXMLString GetAsString() { return GetNodeValue(); }
  std::string GetAsAnsiString();
  Variant GetAsVariant();
  TValue GetAsValue();
  void SetAsBoolean(bool AValue);
  void SetAsDateTime(TDateTime AValue);
  void SetAsDouble(double AValue);
  void SetAsInt64(int64_t AValue);
  void SetAsInteger(int32_t AValue);
  void SetAsString(std::u16string_view AValue);
  void SetAsAnsiString(const std::string& AValue);
  void SetAsVariant(const Variant& AValue);
  void SetAsValue(const TValue& AValue);

  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
  // The member named after the element: a leaf value (typed through
  // GetAsValue) with its attributes as further members, or an object of its
  // attributes and child elements, where equal names gather in an array at
  // the place of their first occurrence. One loop, however deep the tree.
  void _SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
  // The member inside an object: "{", the member, "}".
  void SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) override;

protected:
  friend class TXoDOMNodeListBase;
  friend class TXoDOMNode;
  friend class TXoDOMAttribute;
  friend class TXoDOMParser;
  friend struct TXoDOMTree;
  void RefreshOwnNamespaces() override;
  void LookupOwnNamespace();
  void _SetPreseveSpace(bool AValue);
  bool UseSchemaInstance();
  // The three lookups with creation of the Parts, on the typed chain AKind
  // (1 attributes, 2 elements).
  TXoDOMNode* NodeByName(uint8_t AKind, std::u16string_view AName, TXoDOMSelectOptions AOptions,
                         TXoDOMNodeClass AClass);
  TXoDOMNode* NodeByName(uint8_t AKind, std::u16string_view ANamespaceURI, std::u16string_view ALocalName,
                         TXoDOMSelectCheckOption ACheckOption);
  TXoDOMNode* NodeByName(uint8_t AKind, std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName,
                         bool ACreate, TXoDOMNodeClass AClass);
  // The declarations in scope (FNamespaces of the Parts), shared with the
  // parent while this element declares nothing of its own.
  const std::vector<TXoDOMNode*>* ScopeItems() const;
  std::vector<TXoDOMNode*>& MutableScope();
  void SetScope(TXoDOMNSScope* AScope);
  TXoDOMAttribute* ScopeFind(std::u16string_view AQualifiedName);
  TXoDOMAttribute* ScopeFindNamespace(std::u16string_view AURI);

  TXoDOMNode* FTypedFirst[3] = {nullptr, nullptr, nullptr};  // attributes, elements, text nodes
  uint32_t FTypedCount[3] = {0, 0, 0};
  TXoDOMAttribute* FNamespace = nullptr;
  TXoDOMNSScope* FScope = nullptr;
};

// The object as an element, or nil when it is none (no run-time type test:
// only the element class carries the element type).
inline TXoDOMElement* XoDOMAsElement(TXoDOMObject* AObject) {
  return AObject && AObject->ObjectNodeType() == ntElement ? static_cast<TXoDOMElement*>(AObject) : nullptr;
}

inline TXoDOMElement* TXoDOMElementList::GetItem(int32_t AIndex) {
  return static_cast<TXoDOMElement*>(TXoDOMNodeListBase::GetItem(AIndex));
}
inline TXoDOMAttribute* TXoDOMAttrList::GetItem(int32_t AIndex) {
  return static_cast<TXoDOMAttribute*>(TXoDOMNodeListBase::GetItem(AIndex));
}

// ===========================================================================
// Document (the node part; loading and saving sit with the loader)

class TXoDOMDocument : public TXoDOMNode {
  XO_CLASS(TXoDOMDocument, TXoDOMNode)
public:
  TXoDOMDocument();
  // Loads the text (LoadFromXML).
  explicit TXoDOMDocument(std::u16string_view AXML);
  // Loads the stream in the code page (LoadFromStream(AStream, ACodePage)).
  TXoDOMDocument(TStream* AStream, uint16_t ACodePage);
  // Loads the file; the document URI is the file name.
  TXoDOMDocument(std::u16string_view AFileName, uint16_t AMode);
  static TXoDOMDocument* CreateFromText(std::u16string_view AXML);
  ~TXoDOMDocument() override;

  TXoDOMObjectImpl* CreateDOMImpl(TXoDOMObject* AObject) override;
  bool GetCaseSensitive() override;
  TXoXPathCollationClass GetCollation() override { return FCollation; }
  TXoDOMSelectMatchOption GetSelectMatchOption() override { return FSelectMatchOption; }
  TXoDOMNode* CreateClone() override;
  void Clear() override;
  TXoDOMNode* AppendChild(TXoDOMNode* ANode) override;
  void RemoveChild(TXoDOMNode* ANode) override;
  void _SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;
  // Each child as JSON, one after the other: a document with a root element
  // writes a bare member (GetAsFormattedJSON adds the braces).
  void _SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) override;

  virtual void DoXMLLoaded() {}
  virtual TXoDOMElement* CreateRootNode(std::u16string_view AQualifiedName);
  virtual TXoDOMElement* CreateRootNode(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName);
  // Finds the code page (byte-order mark, then declaration, then UTF-8).
  virtual void LoadFromStream(TStream* AStream);
  void LoadFromStream(TStream* AStream, uint16_t ACodePage) override;
  virtual void SaveToStream(TStream* AStream, bool AFormatted, bool AWriteBOM);
  virtual void SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, bool AWriteBOM);
  using TXoDOMNode::SaveToStream;
  // UTF-8 JSON (after the UTF-8 mark with AWriteBOM).
  void SaveToJSONStream(TStream* AStream, bool AFormatted, bool AWriteBOM);
  using TXoDOMNode::SaveToJSONStream;
  // The root element as a formatted JSON object; "{}" without a root.
  XoXMLString GetAsFormattedJSON();

  void LoadXML(std::u16string_view AText);
  void SetXml(std::u16string_view AText) { LoadXML(AText); }
  void LoadXML(TStream* AStream) { LoadFromStream(AStream); }
  void LoadXML(std::u16string_view AFileName, uint16_t AMode);
  void LoadFromXML(std::u16string_view AText);
  void LoadFromXML(const std::string& AText);
  void LoadFromFile(std::u16string_view AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite);
  void SaveToFile(std::u16string_view AFileName, bool AFormatted = false, bool AWriteBOM = false);

  TXoDOMElement* RootNode() const { return FRootNode; }
  TXoDOMElement* GetRootNode() const { return FRootNode; }
  TXoDOMComment* AddComment(std::u16string_view AText);

  void SetCaseSensitive(bool AValue);
  void SetCollation(TXoXPathCollationClass ACollation) { FCollation = ACollation; }
  void SetSelectMatchOption(TXoDOMSelectMatchOption AValue) { FSelectMatchOption = AValue; }
  TXoDOMSelectCheckOption GetSelectCheckOption() const { return FSelectCheckOption; }
  void SetSelectCheckOption(TXoDOMSelectCheckOption AValue) { FSelectCheckOption = AValue; }
  bool GetUseSchemaInstance() const { return FUseSchemaInstance; }
  void SetUseSchemaInstance(bool AValue);
  const XoXMLString& GetDocumentURI() const { return FDocumentURI; }
  void SetDocumentURI(std::u16string_view AValue) { FDocumentURI = AValue; }
  TXoDOMLoadState GetLoadState() const { return FLoadState; }

  XoXMLString GetEncoding() const;
  uint16_t GetCodePage() const { return FCodePage; }
  void SetCodePage(uint16_t ACodePage);
  void SetEncoding(std::u16string_view AName);
  void ReCalcEncoding();
  TXoDOMProcessingInstruction* FindProcessingInstruction(std::u16string_view AName);
  XoXMLString GetProcessingInstruction(std::u16string_view AName);
  void SetProcessingInstruction(std::u16string_view AName, std::u16string_view AData);

  // Selection from the root element.
  TXoDOMElementList* CreateElementList(std::u16string_view APath, TXoDOMSelectOptions AOptions);
  TXoDOMElementList* CreateElementList(std::u16string_view APath, TXoDOMSelectOptionList AOptions) {
    return CreateElementList(APath, TXoDOMSelectOptions(AOptions));
  }
  TXoDOMElement* SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptions AOptions = {});
  TXoDOMElement* SelectSingleElement(std::u16string_view APath, TXoDOMSelectOptionList AOptions) {
    return SelectSingleElement(APath, TXoDOMSelectOptions(AOptions));
  }

protected:
  friend class TXoDOMParser;
  friend class TXoDOMNode;
  friend class TXoDOMAttribute;
  friend class TXoDOMElement;
  TXoXPathCollationClass FCollation;
  TXoDOMSelectMatchOption FSelectMatchOption;
  TXoDOMSelectCheckOption FSelectCheckOption;
  TXoDOMElement* FRootNode = nullptr;
  bool FUseSchemaInstance = false;
  XoXMLString FEncoding;
  uint16_t FCodePage = 65001;
  TXoDOMLoadState FLoadState = lsUninitialized;
  XoXMLString FDocumentURI;
};

// ===========================================================================
// Loader: reader events into nodes below a target node.

class TXoDOMParser : public TComponent {
public:
  explicit TXoDOMParser(TXoDOMNode* ANode);
  ~TXoDOMParser() override;
  // Reads the stream from its position in the code page (1200: UTF-16LE).
  void Parse(TStream* AStream, uint16_t ACodePage);

  TXoDOMParseError FOnParseWarning, FOnParseError, FOnParseFatalError;

private:
  class THandler;
  TXoDOMNode* FDOMNode;
};

// ===========================================================================
// Text tools

// The text loaded into a temporary document and written formatted.
XoXMLString XoFormatXML(std::u16string_view AXML);
// Bytes in the system code page, then as above.
XoXMLString XoFormatXML(const std::string& AXML);

// Writes text to a stream in a code page (1200: the code units as they are).
void XoDOMWriteText(TStream* AStream, std::u16string_view AText, uint16_t ACodePage);

}  // namespace xo

// Filters of path steps: the compiled filter tree and its terms.
#include "uXoXMLDOM/uXoXMLDOMXPath.h"

// The interfaces of the tree (own and standard) and their adapters.
#include "uXoXMLDOM/uXoXMLDOMIntf.h"
#include "uXoXMLDOM/uXoXMLDOMAdapters.h"
