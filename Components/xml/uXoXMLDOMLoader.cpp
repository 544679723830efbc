// uXoXMLDOM, loader: the reader's events become nodes below a target node.
// Text and attribute values are stored as the reader hands them over (raw,
// still escaped); namespace data is filled in here for declaring elements and
// completed by RefreshNamespaces when each element is attached.
#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

namespace {
inline constexpr char16_t _cXoDOMSyntaxError[] = u"Line %d, column %d: %s";
}  // namespace

// The handler object the reader calls; it lives for one parse.
class TXoDOMParser::THandler : public TXoObject,
                               public virtual IXoSAXContentHandler,
                               public virtual IXoSAXLexicalHandler,
                               public virtual IXoSAXErrorHandler {
public:
  explicit THandler(TXoDOMParser* AOwner) : FOwner(AOwner), FTarget(AOwner->FDOMNode), FDOMNode(AOwner->FDOMNode) {
    SetAutoDestroy(false);
  }

  // Error handler
  void Warning(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override {
    bool handled = false;
    if (FOwner->FOnParseWarning) FOwner->FOnParseWarning(ALocator, ErrMsg, handled);
  }
  void Error(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override {
    bool handled = false;
    if (FOwner->FOnParseError) FOwner->FOnParseError(ALocator, ErrMsg, handled);
  }
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override {
    bool handled = false;
    if (FOwner->FOnParseFatalError) FOwner->FOnParseFatalError(ALocator, ErrMsg, handled);
    if (!handled) {
      int32_t line = ALocator ? ALocator->GetLineNr() : -1;
      int32_t col = ALocator ? ALocator->GetColNr() : -1;
      throw EXoDomSyntax(_cXoDOMSyntaxError, {line, col, ErrMsg});
    }
  }

  // Content handler
  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>& ALocator) override { FLocator = ALocator; }
  void StartDocument() override {}
  void EndDocument() override {}
  void StartPrefixMapping(const XoXMLString&, const XoXMLString&) override {}
  void EndPrefixMapping(const XoXMLString&) override {}
  void SkippedEntity(const XoXMLString&) override {}

  void StartElement(const XoXMLString& ANamespaceURI, const XoXMLString&, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& AAttributes) override {
    auto* el = new TXoDOMElement();
    try {
      el->SetQualifiedName(AQName);
      bool xsi = false;
      if (AAttributes) {
        for (PXoSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next) {
          TXoDOMAttribute* attr = el->AddAttribute(a->QName);
          attr->SetStoredValue(a->Value);
          if (attr->IsNamespace() && attr->GetNodeValue() == ANamespaceURI) {
            el->FNamespace = attr;
            el->SetNsURI(ANamespaceURI);
            el->SetNamespaceSet(true);
            // The scope itself is rebuilt by RefreshNamespaces on attaching.
          }
          if (!xsi && a->Value.size() == std::char_traits<char16_t>::length(cXoXSINamespaceURI) &&
              XoSameText(a->Value, cXoXSINamespaceURI))
            xsi = true;
        }
      }
      FDOMNode->AppendChild(el);
      if (xsi && FDOMNode->GetNodeType() == ntDocument)
        if (auto* doc = dynamic_cast<TXoDOMDocument*>(FDOMNode)) doc->FUseSchemaInstance = true;
    } catch (...) {
      if (!el->ParentNode()) el->Free();
      throw;
    }
    FDOMNode = el;
  }

  void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString&) override {
    // The reader does not match end tags with start tags; a stray one must
    // not lead the load out of the node it loads into.
    if (FDOMNode == FTarget) return;
    if (TXoDOMNode* p = FDOMNode->ParentNode()) FDOMNode = p;
  }

  void Characters(const XoXMLString& AText) override {
    if (FInCDATA) {
      auto* c = new TXoDOMCDATA();
      FDOMNode->AppendChild(c);
      c->SetNodeValue(AText);
      return;
    }
    auto* t = new TXoDOMText();
    FDOMNode->AddChild(t, nullptr, rdpAfter);
    t->SetStoredValue(AText);
  }

  void IgnorableWhitespace(const XoXMLString& AText) override {
    if (FDOMNode->GetPreserveSpace()) Characters(AText);
  }

  void ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) override {
    auto* pi = new TXoDOMProcessingInstruction();
    FDOMNode->AppendChild(pi);
    pi->SetQualifiedName(ATarget);
    pi->SetData(AData);
  }

  // Lexical handler
  void Comment(const XoXMLString& AText) override {
    auto* c = new TXoDOMComment();
    FDOMNode->AppendChild(c);
    c->SetNodeValue(AText);
  }
  void StartCDATA() override { FInCDATA = true; }
  void EndCDATA() override { FInCDATA = false; }
  void StartDTD() override {}
  void EndDTD() override {}
  void StartEntity(const XoXMLString&) override {}
  void EndEntity(const XoXMLString&) override {}

private:
  TXoDOMParser* FOwner;
  TXoDOMNode* FTarget;  // the node loaded into
  TXoDOMNode* FDOMNode;
  TIntfPtr<IXoSAXLocator> FLocator;
  bool FInCDATA = false;
};

TXoDOMParser::TXoDOMParser(TXoDOMNode* ANode) : TComponent(nullptr), FDOMNode(ANode) {}

TXoDOMParser::~TXoDOMParser() = default;

void TXoDOMParser::Parse(TStream* AStream, uint16_t ACodePage) {
  // The first significant character decides the reader: "<" XML, anything
  // else (the empty stream too) JSON, delivered as XML events. A
  // byte-order mark in front is looked past and left to the reader, with
  // its code page when none was given. A stream that cannot step back to
  // it is continued by one that can.
  std::unique_ptr<TStream> rest;
  const char16_t first = XoFirstSignificantChar(AStream, ACodePage, rest);
  if (rest) AStream = rest.get();
  std::unique_ptr<TXoSAXReader> owned;
  if (first == u'<') {
    auto* xml = new TXoSAXXMLReader();
    owned.reset(xml);
    xml->SetCheckSingleRootElm(dynamic_cast<TXoDOMDocument*>(FDOMNode) != nullptr);
  } else {
    owned.reset(new TXoSAXJSONReader());
  }
  TXoSAXReader& reader = *owned;
  THandler handler(this);
  TIntfPtr<THandler> keep(&handler);
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(&handler));
  reader.SetLexicalHandler(TIntfPtr<IXoSAXLexicalHandler>(&handler));
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(&handler));
  try {
    reader.ParseStream(AStream, ACodePage, XoXMLString());
  } catch (...) {
    reader.SetErrorHandler(nullptr);
    reader.SetLexicalHandler(nullptr);
    reader.SetContentHandler(nullptr);
    throw;
  }
  reader.SetErrorHandler(nullptr);
  reader.SetLexicalHandler(nullptr);
  reader.SetContentHandler(nullptr);
}

void TXoDOMNode::LoadFromStream(TStream* AStream, uint16_t ACodePage) {
  TXoDOMParser parser(this);
  if (FExtra) {
    // The node's own events see the loader's errors, with their Handled flag.
    parser.FOnParseWarning = FExtra->OnParseWarning;
    parser.FOnParseError = FExtra->OnParseError;
    parser.FOnParseFatalError = FExtra->OnParseFatalError;
  }
  parser.Parse(AStream, ACodePage);
}

}  // namespace xo
