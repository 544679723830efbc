// uXoXMLDOM, output: every node writes itself as XML. Stored text is copied
// as it is (it is escaped already); only the layout is added.
#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

void XoDOMWriteText(TStream* AStream, std::u16string_view AText, uint16_t ACodePage) {
  if (AText.empty()) return;
  if (ACodePage == 1200) {
    AStream->WriteBuffer(AText.data(), static_cast<int64_t>(AText.size() * sizeof(char16_t)));
    return;
  }
  if (ACodePage == 65001) {
    // Mostly ASCII: narrow in a small buffer, the rest through the converter.
    char buf[512];
    size_t n = 0;
    size_t i = 0;
    for (; i < AText.size(); ++i) {
      char16_t c = AText[i];
      if (c >= 0x80) break;
      if (n == sizeof buf) {
        AStream->WriteBuffer(buf, static_cast<int64_t>(n));
        n = 0;
      }
      buf[n++] = static_cast<char>(c);
    }
    if (n) AStream->WriteBuffer(buf, static_cast<int64_t>(n));
    if (i < AText.size()) {
      std::string rest = XoUTF16ToUTF8(AText.substr(i));
      AStream->WriteBuffer(rest.data(), static_cast<int64_t>(rest.size()));
    }
    return;
  }
  std::string bytes = TXoEncoding::ConvertW(AText, ACodePage);
  AStream->WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
}

namespace {
constexpr char16_t kCRLF[] = u"\r\n";

void WriteIndent(TStream* AStream, uint16_t ACodePage, int32_t ALevel) {
  if (ALevel < 0) return;
  static const std::u16string blanks(256, u' ');
  size_t n = static_cast<size_t>(ALevel + 1) * 2;
  while (n > 0) {
    size_t k = std::min(n, blanks.size());
    XoDOMWriteText(AStream, std::u16string_view(blanks).substr(0, k), ACodePage);
    n -= k;
  }
}

bool ParentKeepsLayout(TXoDOMNode* ANode) {
  auto* p = XoDOMAsElement(ANode->ParentNode());
  return p && !p->GetPreserveSpace();
}
}  // namespace

void TXoDOMNode::SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) {
  int32_t level = -1;
  _SaveToStream(AStream, ACodePage, AFormatted, level);
}

void TXoDOMNode::_SaveToStream(TStream*, uint16_t, bool, int32_t&) {}

XoXMLString TXoDOMNode::GetXML() {
  TXoStringStream stream(1200, 16);
  SaveToStream(&stream, 1200, false);
  return stream.GetWString();
}

XoXMLString TXoDOMNode::GetFormattedXML() {
  TXoStringStream stream(1200, 16);
  SaveToStream(&stream, 1200, true);
  return stream.GetWString();
}

void TXoDOMAttribute::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool, int32_t&) {
  XoDOMWriteText(AStream, u" ", ACodePage);
  XoDOMWriteText(AStream, FName->QName(), ACodePage);
  XoDOMWriteText(AStream, u"=\"", ACodePage);
  std::u16string_view v = FNodeValue.View();
  // A value read from single quotes may hold a double quote: it goes out as
  // its entity, so that the output reads back. Everything else is copied.
  for (size_t q; (q = v.find(u'"')) != std::u16string_view::npos; v = v.substr(q + 1)) {
    XoDOMWriteText(AStream, v.substr(0, q), ACodePage);
    XoDOMWriteText(AStream, u"&quot;", ACodePage);
  }
  XoDOMWriteText(AStream, v, ACodePage);
  XoDOMWriteText(AStream, u"\"", ACodePage);
}

void TXoDOMCharacterData::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool, int32_t&) {
  XoDOMWriteText(AStream, FNodeValue.View(), ACodePage);
}

void TXoDOMCDATA::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool, int32_t&) {
  XoDOMWriteText(AStream, u"<![CDATA[", ACodePage);
  XoDOMWriteText(AStream, FNodeValue.View(), ACodePage);
  XoDOMWriteText(AStream, u"]]>", ACodePage);
}

void TXoDOMComment::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) {
  if (AFormatted) {
    if (!GetPreserveSpace()) XoDOMWriteText(AStream, kCRLF, ACodePage);
    if (ParentKeepsLayout(this)) WriteIndent(AStream, ACodePage, ALevel);
  }
  XoDOMWriteText(AStream, u"<!--", ACodePage);
  XoDOMWriteText(AStream, FNodeValue.View(), ACodePage);
  XoDOMWriteText(AStream, u"-->", ACodePage);
}

void TXoDOMProcessingInstruction::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted,
                                                int32_t& ALevel) {
  if (AFormatted && AStream->GetSize() >= 5) {
    XoDOMWriteText(AStream, kCRLF, ACodePage);
    if (ParentKeepsLayout(this)) WriteIndent(AStream, ACodePage, ALevel);
  }
  XoDOMWriteText(AStream, u"<?", ACodePage);
  XoDOMWriteText(AStream, FName->QName(), ACodePage);
  if (!FData.Empty()) {
    XoDOMWriteText(AStream, u" ", ACodePage);
    XoDOMWriteText(AStream, FData.View(), ACodePage);
  }
  XoDOMWriteText(AStream, u"?>", ACodePage);
}

namespace {
// The start of an element's layout: a line break unless the element opens
// the stream (after a UTF-16 mark counts as opening it), then the indent.
void StartLine(TStream* AStream, uint16_t ACodePage, int32_t ALevel) {
  int64_t p = AStream->GetPosition();
  if (p == 2) {
    uint8_t b[2] = {0, 0};
    AStream->Seek(0, soBeginning);
    AStream->Read(b, 2);
    if (!(b[0] == cXoUTF16LE[0] && b[1] == cXoUTF16LE[1])) XoDOMWriteText(AStream, kCRLF, ACodePage);
  } else if (p > 0) {
    XoDOMWriteText(AStream, kCRLF, ACodePage);
  }
  WriteIndent(AStream, ACodePage, ALevel);
}
}  // namespace

void TXoDOMElement::_SaveToStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) {
  // No recursion per level: child elements are written by this loop, which
  // keeps its place in the tree through the parent pointers. `cur` is the
  // element whose start tag is to be written next.
  TXoDOMElement* cur = this;
  for (;;) {
    // Start tag.
    bool layout = AFormatted && !cur->GetPreserveSpace();
    if (layout) StartLine(AStream, ACodePage, ALevel);
    XoDOMWriteText(AStream, u"<", ACodePage);
    XoDOMWriteText(AStream, cur->FName->QName(), ACodePage);
    for (TXoDOMNode* a = cur->FTypedFirst[0]; a; a = a->FTNext) a->_SaveToStream(AStream, ACodePage, AFormatted, ALevel);
    TXoDOMNode* next = nullptr;  // the first child to write
    if (cur->FTypedCount[1] == 0 && cur->FTypedCount[2] == 0) {
      XoDOMWriteText(AStream, u" />", ACodePage);
    } else {
      XoDOMWriteText(AStream, u">", ACodePage);
      ++ALevel;
      next = cur->FFirstChild;
    }
    // Children in order; an element child becomes `cur`; at the end of a
    // child list the end tag is written and the walk goes on behind the
    // element in its parent.
    for (;;) {
      while (next && next->FNodeType == ntAttribute) next = next->FNext;
      if (next) {
        if (next->FNodeType == ntElement) {
          if (auto* e = XoDOMAsElement(next)) {
            cur = e;
            break;
          }
        }
        next->_SaveToStream(AStream, ACodePage, AFormatted, ALevel);
        next = next->FNext;
        continue;
      }
      // `cur` has no more children: close it (if it was opened) and go up.
      if (cur->FTypedCount[1] != 0 || cur->FTypedCount[2] != 0) {
        --ALevel;
        if (AFormatted && cur->FTypedCount[1] != 0 && !cur->GetPreserveSpace()) {
          XoDOMWriteText(AStream, kCRLF, ACodePage);
          WriteIndent(AStream, ACodePage, ALevel);
        }
        XoDOMWriteText(AStream, u"</", ACodePage);
        XoDOMWriteText(AStream, cur->FName->QName(), ACodePage);
        XoDOMWriteText(AStream, u">", ACodePage);
      }
      if (cur == this) return;
      next = cur->FNext;
      cur = static_cast<TXoDOMElement*>(cur->FParent);
    }
  }
}

// ---------------------------------------------------------------------------
// Inner XML

XoXMLString TXoDOMElement::GetInnerXML() {
  TXoStringStream stream(1200, 16);
  for (TXoDOMNode* n = FTypedFirst[1]; n; n = n->FTNext) n->SaveToStream(&stream, 1200, false);
  return stream.GetWString();
}

XoXMLString TXoDOMElement::GetFormattedInnerXML() {
  TXoStringStream stream(1200, 16);
  for (TXoDOMNode* n = FTypedFirst[1]; n; n = n->FTNext) n->SaveToStream(&stream, 1200, true);
  return stream.GetWString();
}

void TXoDOMElement::SetInnerXML(std::u16string_view AValue) {
  while (FTypedFirst[1]) RemoveChild(FTypedFirst[1]->FTPrev);
  if (AValue.empty()) return;
  TXoStringStream stream(AValue);
  LoadFromStream(&stream, 1200);
}

// ---------------------------------------------------------------------------
// Text tools

XoXMLString XoFormatXML(std::u16string_view AXML) {
  TXoDOMDocument doc(AXML);
  return doc.GetFormattedXML();
}

XoXMLString XoFormatXML(const std::string& AXML) { return XoFormatXML(TXoEncoding::ConvertA(AXML, 0)); }

}  // namespace xo
