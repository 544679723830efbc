// Runs arbitrary JSON paths, with every option, over a small fixed document.
// Malformed paths must raise one of xo's exceptions; nothing may crash, hang
// or leak, and a creating selection must leave a tree that still saves and
// loads.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "uXoJSON.h"

using namespace xo;

namespace {
const char16_t kDocument[] = uR"({"store": {"book": [
  {"title": "A", "price": 8.95, "tags": ["x", "y"], "n": "12"},
  {"title": "B", "price": 12.99, "isbn": null, "n": 12},
  {"title": "C", "price": 8.99, "isbn": "0-1", "b": true}],
  "bicycle": {"color": "red", "price": 19.95}}, "a.b": [[1, 2], [3]], "e": {}, "x": "y&z"})";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 1 || ASize > 2048) return 0;
  const uint8_t opt = AData[0];
  std::string bytes(reinterpret_cast<const char*>(AData + 1), ASize - 1);
  const std::u16string path = XoUTF8ToUTF16(bytes);
  auto* doc = new TXoJSONDocument();
  TIntfPtr<IXoJSONDocument> keep(doc);
  doc->SetAsJSON(kDocument);
  TXoJDOCSelectOptions options;
  if (opt & 1) options.Include(jsoRaise);
  if (opt & 2) options.Include(jsoCreate);
  if (opt & 4) options.Include(jsoCaseInsensitive);
  TXoJSONBase* from = doc;
  if (opt & 8) from = doc->GetRootValue();
  if ((opt & 16) && doc->GetRootValue()->Count() > 0) from = doc->GetRootValue()->Item(0);
  try {
    TXoJSONArray* list = from->CreateNodeList(path, options);
    size_t sum = 0;
    for (int32_t i = 0; i < list->Count(); ++i) sum += list->Item(i)->GetJSONType();
    list->Free();
    if (sum == 0xFFFFFFFF) std::abort();
  } catch (const Exception&) {
    // Every failure is one of xo's exceptions.
  }
  // The tree stays whole, whatever a creating selection added.
  const std::u16string text = doc->GetAsJSON();
  auto* again = new TXoJSONDocument();
  TIntfPtr<IXoJSONDocument> keepAgain(again);
  again->SetAsJSON(text);
  if (again->GetRootValue() == nullptr) std::abort();
  return 0;
}
