// Runs arbitrary paths, with their filters, over a small fixed document: the
// first byte picks the options and the context node, the rest is the path
// (one byte per character). Malformed paths and filters must end in the
// library's exceptions; nothing may crash, hang or leak, also with creation.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "uXoXMLDOM.h"

using namespace xo;

namespace {
const char16_t* kDoc =
    u"<?pi data?><shop xmlns:p=\"urn:p\" id=\"s\"><!-- c --><item id=\"1\" p:kind=\"a\"><price>12</price>"
    u"<name>Lamp &amp; shade</name></item><item id=\"2\" featured=\"yes\"><price>8.5</price><name>Clock</name>"
    u"<p:tag>x</p:tag></item><p:item id=\"3\"><![CDATA[raw]]></p:item>text<empty/></shop>";
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 1 || ASize > 4096) return 0;
  uint8_t ops = AData[0];
  std::u16string path(AData + 1, AData + ASize);
  TXoDOMSelectOptions options;
  if (ops & 1) options.Include(soCaseSensitive);
  if (ops & 2) options.Include(soLocalName);
  if (ops & 4) options.Include(soQualifiedName);
  if (ops & 8) options.Include(soRaise);
  if (ops & 16) options.Include(soCreate);
  std::unique_ptr<TXoDOMDocument, void (*)(TXoDOMDocument*)> doc(new TXoDOMDocument(XoXMLString(kDoc)),
                                                                  [](TXoDOMDocument* d) { d->Free(); });
  TXoDOMNode* context = doc.get();
  if (ops & 32) context = doc->RootNode();
  if ((ops & 64) && doc->RootNode()->FirstElementNode()) context = doc->RootNode()->FirstElementNode();
  try {
    if (ops & 128) {
      context->SelectSingleNode(path, options);
    } else {
      std::unique_ptr<TXoDOMNodeList> list(context->CreateNodeList(path, options));
      for (TXoDOMNode* n : *list) (void)n->GetNodeValue();
    }
  } catch (const Exception&) {
  }
  return 0;
}
