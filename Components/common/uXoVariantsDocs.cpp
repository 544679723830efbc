// uXoVariants: the hooks through which code below the XML tree module makes
// and reads XML documents.
#include <atomic>

#include "uXoVariants.h"

namespace xo {

namespace {
std::atomic<TXoCreateXMLDocFunc> GCreateXMLDoc{nullptr};
std::atomic<TXoGetXMLDocValueFunc> GGetXMLDocValue{nullptr};
}  // namespace

void SetCreateXMLDoc(TXoCreateXMLDocFunc AFunc) { GCreateXMLDoc.store(AFunc); }
void SetGetXMLDocValue(TXoGetXMLDocValueFunc AFunc) { GGetXMLDocValue.store(AFunc); }

TIntfPtr<IInterface> XoCreateXMLDoc(const std::u16string& AXML) {
  TXoCreateXMLDocFunc f = GCreateXMLDoc.load();
  return f ? f(AXML) : TIntfPtr<IInterface>();
}

Variant XoGetXMLDocValue(const TIntfPtr<IInterface>& ADocument, const std::u16string& AName) {
  TXoGetXMLDocValueFunc f = GGetXMLDocValue.load();
  return f ? f(ADocument, AName) : Variant();
}

}  // namespace xo
