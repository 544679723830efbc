// expect: use of deleted function
// The same misreading through the element's interface: a namespace URI and a
// local name without the recursion flag are refused at compile time.
#include "uXoXMLDOM.h"

void Use(const xo::TIntfPtr<xo::IXoDOMElement>& AElement) { AElement->CreateElementList(u"urn:x", u"local"); }
