// uXoXMLDOM, output: every node writes itself as XML. Stored text is copied
// as it is (it is escaped already); only the layout is added.
#include <algorithm>
#include <cstring>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

namespace {
// A save writes through this buffer: each piece of text is encoded straight
// into it, and the target stream gets large writes instead of one call per
// name, quote and blank. Positions and sizes answer as if every byte had
// reached the target already, so the layout rules that look at the stream
// see the same numbers.
class TXoDOMOutBuffer final : public TStream {
public:
  static constexpr size_t kSize = 8 * 1024;
  explicit TXoDOMOutBuffer(TStream* ATarget) : FTarget(ATarget) {}
  int64_t Read(void* ABuffer, int64_t ACount) override {
    Flush();
    return FTarget->Read(ABuffer, ACount);
  }
  int64_t Write(const void* ABuffer, int64_t ACount) override {
    if (ACount <= 0) return 0;
    Append(static_cast<const char*>(ABuffer), static_cast<size_t>(ACount));
    return ACount;
  }
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override {
    if (AOffset == 0 && AOrigin == soCurrent) return GetPosition();
    Flush();
    return FTarget->Seek(AOffset, AOrigin);
  }
  int64_t GetPosition() override { return FTarget->GetPosition() + static_cast<int64_t>(FLen); }
  int64_t GetSize() override { return std::max(FTarget->GetSize(), GetPosition()); }
  void SetSize(int64_t ASize) override {
    Flush();
    FTarget->SetSize(ASize);
  }
  // Text in the code page, appended.
  void Put(std::u16string_view AText, uint16_t ACodePage) {
    if (ACodePage == 1200) {
      Append(reinterpret_cast<const char*>(AText.data()), AText.size() * sizeof(char16_t));
      return;
    }
    if (ACodePage != 65001 || AText.size() > kSize / 3) {
      std::string bytes = ACodePage == 65001 ? XoUTF16ToUTF8(AText) : TXoEncoding::ConvertW(AText, ACodePage);
      Append(bytes.data(), bytes.size());
      return;
    }
    if (FLen + AText.size() * 3 > kSize) Flush();
    FLen += XoUTF16ToUTF8Into(FBuf + FLen, AText);
  }
  void Flush() {
    if (!FLen) return;
    size_t n = FLen;
    FLen = 0;
    FTarget->WriteBuffer(FBuf, static_cast<int64_t>(n));
  }

private:
  void Append(const char* AData, size_t ACount) {
    if (FLen + ACount > kSize) {
      Flush();
      if (ACount > kSize) {
        FTarget->WriteBuffer(AData, static_cast<int64_t>(ACount));
        return;
      }
    }
    std::memcpy(FBuf + FLen, AData, ACount);
    FLen += ACount;
  }

  TStream* FTarget;
  size_t FLen = 0;
  char FBuf[kSize];
};

// The buffer of the save running on this thread (nil when none).
thread_local TXoDOMOutBuffer* tOut = nullptr;
}  // namespace

void XoDOMWriteText(TStream* AStream, std::u16string_view AText, uint16_t ACodePage) {
  if (AText.empty()) return;
  if (AStream == tOut) {
    tOut->Put(AText, ACodePage);
    return;
  }
  if (ACodePage == 1200) {
    AStream->WriteBuffer(AText.data(), static_cast<int64_t>(AText.size() * sizeof(char16_t)));
    return;
  }
  std::string bytes = ACodePage == 65001 ? XoUTF16ToUTF8(AText) : TXoEncoding::ConvertW(AText, ACodePage);
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
  if (AStream == tOut) {  // a save inside a save, on the same buffer
    _SaveToStream(AStream, ACodePage, AFormatted, level);
    return;
  }
  TXoDOMOutBuffer buffer(AStream);
  TXoDOMOutBuffer* outer = tOut;
  tOut = &buffer;
  try {
    _SaveToStream(&buffer, ACodePage, AFormatted, level);
  } catch (...) {
    tOut = outer;
    // What was written before the failure goes on to the stream, as it
    // would have without the buffer; the first failure is the one reported.
    try {
      buffer.Flush();
    } catch (...) {
    }
    throw;
  }
  tOut = outer;
  buffer.Flush();
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
