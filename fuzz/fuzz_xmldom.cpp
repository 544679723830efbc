// Loads arbitrary bytes into a document; whatever loads is saved plain,
// loaded again and saved again, and the two saved texts must be equal.
// Along the way the tree is formatted, cloned and walked by its lists.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "uXoXMLDOM.h"

using namespace xo;

namespace {
bool NameChar(char16_t c, bool AFirst) {
  if (TXoXMLParser::IsNameStartChar(c) || c == u':') return true;
  return !AFirst && ((c >= u'0' && c <= u'9') || c == u'-' || c == u'.' || c == 0xB7);
}

// A qualified name as namespaces allow it: at most one colon, with a name on
// each side.
bool IsXMLName(std::u16string_view AName) {
  if (AName.empty() || AName.front() == u':' || AName.back() == u':') return false;
  if (AName.find(u':') != AName.rfind(u':')) return false;
  for (size_t i = 0; i < AName.size(); ++i)
    if (!NameChar(AName[i], i == 0)) return false;
  return true;
}

// Whether the tree can be written so that it reads back the same: the
// reader is tolerant and takes names that are no XML names (and values with
// a "<", declarations whose data holds "?>", and from JSON text with "<");
// such documents must load and save without harm, but cannot make the round
// trip.
bool Writable(TXoDOMNode* ANode) {
  TXoDOMNode* cur = ANode;
  while (cur) {
    switch (cur->GetNodeType()) {
      case ntElement:
        if (!IsXMLName(cur->QualifiedNameView())) return false;
        break;
      case ntProcessingInstruction:
        if (!IsXMLName(cur->QualifiedNameView())) return false;
        if (static_cast<TXoDOMProcessingInstruction*>(cur)->DataView().find(u"?>") != std::u16string_view::npos)
          return false;
        break;
      case ntText:
        // JSON strings are stored as written, "<" included.
        if (static_cast<TXoDOMText*>(cur)->StoredValue().find(u'<') != std::u16string_view::npos) return false;
        break;
      case ntAttribute:
        if (!IsXMLName(cur->QualifiedNameView())) return false;
        if (static_cast<TXoDOMAttribute*>(cur)->StoredValue().find(u'<') != std::u16string_view::npos) return false;
        break;
      default:
        break;
    }
    if (cur->FirstChild()) {
      cur = cur->FirstChild();
      continue;
    }
    while (cur != ANode && !cur->NextSibling()) cur = cur->ParentNode();
    if (cur == ANode) break;
    cur = cur->NextSibling();
  }
  return true;
}

std::string SaveUTF16(TXoDOMDocument& ADoc) {
  TXoMemoryStream out;
  ADoc.SaveToStream(&out, 1200, false, false);
  return std::string(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.GetSize()));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  // An exact-size copy, so that any read past the end is caught.
  std::unique_ptr<uint8_t[]> copy(new uint8_t[ASize ? ASize : 1]);
  if (ASize) std::memcpy(copy.get(), AData, ASize);
  TXoDOMDocument first;
  try {
    TXoMemoryStream in(copy.get(), static_cast<int64_t>(ASize));
    first.LoadFromStream(&in);
  } catch (const Exception&) {
    return 0;  // not a document: only a clean failure was asked for
  }
  // The reader lets an end tag close more than it opened, so a document can
  // come out with several elements at the top; written, it no longer loads.
  // Text at the top that is more than blanks is taken too (in front of the
  // root it even makes the saved text start with something other than "<",
  // which the loader reads as JSON); written, it no longer loads either.
  int tops = 0;
  bool topText = false;
  for (TXoDOMNode* top = first.FirstChild(); top; top = top->NextSibling()) {
    if (top->GetNodeType() == ntElement) ++tops;
    if (top->GetNodeType() == ntText || top->GetNodeType() == ntCDATA)
      for (char16_t c : static_cast<TXoDOMCharacterData*>(top)->StoredValue())
        if (c > 0x20) topText = true;
  }
  if (!first.RootNode() || tops != 1 || topText || !Writable(&first)) {
    (void)SaveUTF16(first);
    return 0;
  }
  // Saved as UTF-16 the text needs no encoding; reloaded from UTF-16 with
  // its mark, the declaration cannot change how it reads.
  std::string once = SaveUTF16(first);
  std::string marked = "\xFF\xFE" + once;
  TXoDOMDocument second;
  {
    TXoMemoryStream in(marked.data(), static_cast<int64_t>(marked.size()));
    second.LoadFromStream(&in);  // must load: it is what the library wrote
  }
  std::string twice = SaveUTF16(second);
  if (once != twice) std::abort();
  if (TXoDOMElement* root = second.RootNode()) {
    TXoDOMNode* clone = root->CloneNode(true);
    if (clone->GetXML() != root->GetXML()) std::abort();
    clone->Free();
    (void)root->GetFormattedInnerXML();
    try {
      (void)root->GetText();  // decodes references: a malformed one raises
    } catch (const Exception&) {
    }
    TXoDOMElementList* all = root->CreateElementList(u"*", true);
    all->Free();
  }
  return 0;
}
