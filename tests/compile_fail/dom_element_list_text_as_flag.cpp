// expect: use of deleted function
// A namespace URI and a local name without the recursion flag would read the
// local name as the flag: refused at compile time.
#include "uXoXMLDOM.h"

void Use(xo::TXoDOMElement* AElement) { AElement->CreateElementList(u"urn:x", u"local"); }
