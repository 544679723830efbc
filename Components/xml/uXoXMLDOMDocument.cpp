// uXoXMLDOM, documents: construction, loading with code-page sniffing,
// saving with byte-order marks, root element, settings, encoding and the
// XML declaration.
#include <memory>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

const TXoDOMNameRef& XoDOMDocumentName();

namespace {
inline constexpr char16_t _cXoDOMRootExists[] = u"This DOM document already contains a rootnode!";
inline constexpr char16_t _cXoDOMNoClone[] =
    u"It is not possible to clone a TXoDOMDocument using the CloneNode method!";
inline constexpr char16_t _cXoDOMEncodingNotSupported[] = u"The specified encoding (%s) is not supported!";
inline constexpr char16_t _cXoDOMNoPI[] = u"There is no processinginstruction \"%s\"!";

// The quoted text behind the word "encoding" in ALower (a lower-cased
// declaration), trimmed; empty if the word is not there or the quotes are
// missing. The name may stand in double or in single quotes.
XoXMLString EncodingName(std::u16string_view ALower, bool* AFound = nullptr) {
  size_t at = ALower.find(u"encoding");
  if (AFound) *AFound = at != XoXMLString::npos;
  if (at == XoXMLString::npos) return {};
  size_t q1 = ALower.find_first_of(u"\"'", at + 8);
  if (q1 == XoXMLString::npos) return {};
  size_t q2 = ALower.find(ALower[q1], q1 + 1);
  if (q2 == XoXMLString::npos) return {};
  return Trim(std::u16string_view(ALower).substr(q1 + 1, q2 - q1 - 1));
}

// Reads one character of the given size (2: UTF-16, little or big endian);
// false at the end of the stream.
bool ReadUnit(TStream* AStream, int ASize, bool ABigEndian, char16_t& AChar) {
  uint8_t b[2];
  if (AStream->Read(b, ASize) != ASize) return false;
  if (ASize == 1)
    AChar = b[0];
  else
    AChar = ABigEndian ? static_cast<char16_t>((b[0] << 8) | b[1]) : static_cast<char16_t>(b[0] | (b[1] << 8));
  return true;
}
}  // namespace

TXoDOMDocument::TXoDOMDocument()
    : FCollation(DefaultXPathCollation),
      FSelectMatchOption(DefaultSelectMatchOption),
      FSelectCheckOption(DefaultSelectCheckOption) {
  FNodeType = ntDocument;
  FName = XoDOMDocumentName();
  FDOMDocument = this;
}

TXoDOMDocument::TXoDOMDocument(std::u16string_view AXML) : TXoDOMDocument() { LoadFromXML(AXML); }

TXoDOMDocument::TXoDOMDocument(TStream* AStream, uint16_t ACodePage) : TXoDOMDocument() {
  LoadFromStream(AStream, ACodePage);
}

TXoDOMDocument::TXoDOMDocument(std::u16string_view AFileName, uint16_t AMode) : TXoDOMDocument() {
  LoadFromFile(AFileName, AMode);
  FDocumentURI = AFileName;
}

TXoDOMDocument* TXoDOMDocument::CreateFromText(std::u16string_view AXML) {
  TXoStringStream stream(AXML);
  return new TXoDOMDocument(&stream, stream.CodePage());
}

TXoDOMDocument::~TXoDOMDocument() {
  // The children go first, while this object is still a document (they may
  // look at its settings on their way out).
  if (!Destroying()) {
    FFlags |= kDestroying;
    TXoDOMTree::ClearChildren(this);
  }
  FRootNode = nullptr;
}

TXoDOMObjectImpl* TXoDOMDocument::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMDocumentImpl(AObject); }

bool TXoDOMDocument::GetCaseSensitive() { return FCollation != TXoXPathCollationASCIICI::ClassRef(); }

TXoDOMNode* TXoDOMDocument::CreateClone() { throw EXoDomNotSupported(_cXoDOMNoClone); }

void TXoDOMDocument::Clear() {
  TXoDOMNode::Clear();
  FRootNode = nullptr;
}

TXoDOMNode* TXoDOMDocument::AppendChild(TXoDOMNode* ANode) {
  TXoDOMNode::AppendChild(ANode);
  if (!FRootNode && ANode->GetNodeType() == ntElement)
    if (auto* e = XoDOMAsElement(ANode)) FRootNode = e;
  return ANode;
}

void TXoDOMDocument::RemoveChild(TXoDOMNode* ANode) {
  bool wasRoot = ANode && ANode == FRootNode;
  TXoDOMNode::RemoveChild(ANode);
  if (wasRoot) {
    // The next element at document level, if any, takes the place.
    FRootNode = nullptr;
    for (TXoDOMNode* n = FFirstChild; n; n = n->FNext)
      if (auto* e = XoDOMAsElement(n)) {
        FRootNode = e;
        break;
      }
  }
}

TXoDOMElement* TXoDOMDocument::CreateRootNode(std::u16string_view AQualifiedName) {
  if (FRootNode) throw EXoDomException(_cXoDOMRootExists);
  auto* e = new TXoDOMElement();
  e->SetQualifiedName(AQualifiedName);
  AppendChild(e);
  return e;
}

TXoDOMElement* TXoDOMDocument::CreateRootNode(std::u16string_view ANamespaceURI, std::u16string_view AQualifiedName) {
  TXoDOMElement* e = CreateRootNode(AQualifiedName);
  XoXMLString prefix = e->GetPrefix();
  e->SetAttribute(prefix.empty() ? XoXMLString(u"xmlns") : u"xmlns:" + prefix, ANamespaceURI);
  return e;
}

TXoDOMComment* TXoDOMDocument::AddComment(std::u16string_view AText) {
  auto* c = new TXoDOMComment();
  AppendChild(c);
  c->SetNodeValue(AText);
  return c;
}

// ---------------------------------------------------------------------------
// Loading

void TXoDOMDocument::LoadFromStream(TStream* AStream) {
  FLoadState = lsLoading;
  try {
    uint16_t cp = XoGetCodePage(AStream);
    int size = (cp == 1200 || cp == 1201) ? 2 : 1;
    bool be = cp == 1201;
    char16_t c = 0;
    bool any = false;
    while (ReadUnit(AStream, size, be, c)) {
      if (c > 0x20) {
        any = true;
        AStream->Seek(-size, soCurrent);
        break;
      }
    }
    int64_t start = AStream->GetPosition();
    if (cp == 0 && any && c == u'<') {
      cp = 65001;
      // Look at the declaration: the bytes up to the first '>'.
      XoXMLString head;
      uint8_t b;
      while (head.size() < 1025 && AStream->Read(&b, 1) == 1) {
        head.push_back(b);
        if (b == '>') break;
      }
      XoXMLString lower = LowerCase(head);
      bool found = false;
      XoXMLString name = EncodingName(lower, &found);
      if (found) cp = XoCodePage(name);
      AStream->Seek(start, soBeginning);
    }
    if (cp == 0) cp = 65001;
    TXoDOMNode::LoadFromStream(AStream, cp);
  } catch (...) {
    FLoadState = lsLoaded;
    throw;
  }
  FLoadState = lsLoaded;
  DoXMLLoaded();
}

void TXoDOMDocument::LoadFromStream(TStream* AStream, uint16_t ACodePage) {
  TXoDOMNode::LoadFromStream(AStream, ACodePage);
  DoXMLLoaded();
}

void TXoDOMDocument::LoadXML(std::u16string_view AText) { LoadFromXML(AText); }

void TXoDOMDocument::LoadFromXML(std::u16string_view AText) {
  if (AText.empty()) return;
  Clear();
  FLoadState = lsLoading;
  try {
    TXoStringStream stream(AText);
    TXoDOMNode::LoadFromStream(&stream, 1200);
  } catch (...) {
    FLoadState = lsLoaded;
    throw;
  }
  FLoadState = lsLoaded;
  DoXMLLoaded();
}

void TXoDOMDocument::LoadFromXML(const std::string& AText) {
  if (AText.empty()) return;
  Clear();
  FLoadState = lsLoading;
  try {
    TXoMemoryStream stream(AText.data(), static_cast<int64_t>(AText.size()));
    TXoDOMNode::LoadFromStream(&stream, 0);
  } catch (...) {
    FLoadState = lsLoaded;
    throw;
  }
  FLoadState = lsLoaded;
  DoXMLLoaded();
}

void TXoDOMDocument::LoadXML(std::u16string_view AFileName, uint16_t AMode) {
  TFileStream stream(XoXMLString(AFileName), AMode);
  LoadFromStream(&stream);
}

void TXoDOMDocument::LoadFromFile(std::u16string_view AFileName, uint16_t AMode) {
  TFileStream stream(XoXMLString(AFileName), AMode);
  FDocumentURI = AFileName;
  LoadFromStream(&stream);
}

// ---------------------------------------------------------------------------
// Saving

void TXoDOMDocument::SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, bool AWriteBOM) {
  if (AWriteBOM) {
    if (ACodePage == 1200)
      AStream->WriteBuffer(cXoUTF16LE, 2);
    else if (ACodePage == 65001)
      AStream->WriteBuffer(cXoUTF8, 3);
  }
  TXoDOMNode::SaveToStream(AStream, ACodePage, AFormatted);
}

void TXoDOMDocument::SaveToStream(TStream* AStream, bool AFormatted, bool AWriteBOM) {
  SaveToStream(AStream, XoCodePage(GetEncoding()), AFormatted, AWriteBOM);
}

void TXoDOMDocument::SaveToFile(std::u16string_view AFileName, bool AFormatted, bool AWriteBOM) {
  TFileStream stream(XoXMLString(AFileName), fmCreate);
  SaveToStream(&stream, AFormatted, AWriteBOM);
}

void TXoDOMDocument::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) {
  for (TXoDOMNode* n = FFirstChild; n; n = n->FNext) n->_SaveToStream(AStream, ACodePage, AFormatted, ALevel);
}

// ---------------------------------------------------------------------------
// Settings

void TXoDOMDocument::SetCaseSensitive(bool AValue) {
  if (!AValue)
    FCollation = TXoXPathCollationASCIICI::ClassRef();
  else if (FCollation == TXoXPathCollationASCIICI::ClassRef())
    FCollation = TXoXPathCollationCodepoint::ClassRef();
}

void TXoDOMDocument::SetUseSchemaInstance(bool AValue) {
  FUseSchemaInstance = AValue;
  if (!AValue || !FRootNode) return;
  if (!FRootNode->FindNamespace(cXoXSINamespaceURI)) FRootNode->SetAttribute(u"xmlns:xsi", cXoXSINamespaceURI);
  if (!FRootNode->FindNamespace(cXoXSDNamespaceURI)) FRootNode->SetAttribute(u"xmlns:xsd", cXoXSDNamespaceURI);
}

// ---------------------------------------------------------------------------
// Encoding and declaration

XoXMLString TXoDOMDocument::GetEncoding() const { return FEncoding.empty() ? XoXMLString(u"UTF-8") : FEncoding; }

void TXoDOMDocument::SetCodePage(uint16_t ACodePage) {
  FCodePage = ACodePage;
  FEncoding = XoCodePage(ACodePage);
}

TXoDOMProcessingInstruction* TXoDOMDocument::FindProcessingInstruction(std::u16string_view AName) {
  for (TXoDOMNode* n = FFirstChild; n; n = n->FNext)
    if (n->GetNodeType() == ntProcessingInstruction && XoSameText(n->QualifiedNameView(), AName))
      return static_cast<TXoDOMProcessingInstruction*>(n);
  return nullptr;
}

XoXMLString TXoDOMDocument::GetProcessingInstruction(std::u16string_view AName) {
  TXoDOMProcessingInstruction* pi = FindProcessingInstruction(AName);
  if (!pi) throw EXoDomNotFound(_cXoDOMNoPI, {AName});
  return pi->GetData();
}

void TXoDOMDocument::SetProcessingInstruction(std::u16string_view AName, std::u16string_view AData) {
  TXoDOMProcessingInstruction* pi = FindProcessingInstruction(AName);
  if (!pi) {
    pi = new TXoDOMProcessingInstruction();
    pi->SetQualifiedName(AName);
    TXoDOMProcessingInstruction* decl = XoSameText(AName, u"xml") ? nullptr : FindProcessingInstruction(u"xml");
    if (decl)
      AddChild(pi, decl, rdpAfter);
    else
      AddChild(pi, nullptr, rdpFirst);
  }
  pi->SetData(AData);
  if (XoSameText(AName, u"xml")) ReCalcEncoding();
}

void TXoDOMDocument::ReCalcEncoding() {
  FEncoding = u"UTF-8";
  TXoDOMProcessingInstruction* decl = FindProcessingInstruction(u"xml");
  if (!decl) return;
  XoXMLString lower = LowerCase(decl->GetData());
  bool found = false;
  XoXMLString name = EncodingName(lower, &found);
  if (!found) return;
  FCodePage = XoCodePage(name);
  FEncoding = LowerCase(name);
}

void TXoDOMDocument::SetEncoding(std::u16string_view AName) {
  if (AName.empty()) {
    FCodePage = 65001;
    FEncoding = u"UTF-8";
  } else {
    try {
      FCodePage = XoCodePage(AName);
    } catch (const Exception&) {
      throw EXoDomNotSupported(_cXoDOMEncodingNotSupported, {AName});
    }
    FEncoding = AName;
  }
  TXoDOMProcessingInstruction* decl = FindProcessingInstruction(u"xml");
  if (!decl) {
    decl = new TXoDOMProcessingInstruction();
    InsertBefore(decl, nullptr);
    decl->SetQualifiedName(u"xml");
    decl->SetData(XoFormat(u"version=\"1.0\" encoding=\"%s\"", {FEncoding}));
    return;
  }
  XoXMLString data = decl->GetData();
  XoXMLString lower = LowerCase(data);
  bool found = false;
  XoXMLString old = EncodingName(lower, &found);
  if (!found) {
    decl->SetData(Trim(data + u" " + XoFormat(u"encoding=\"%s\"", {FEncoding})));
    return;
  }
  // The first occurrence of the old name, in any case, becomes the new one.
  size_t at = old.empty() ? XoXMLString::npos : lower.find(LowerCase(old));
  if (at != XoXMLString::npos) decl->SetData(data.substr(0, at) + FEncoding + data.substr(at + old.size()));
}

}  // namespace xo
