// expect: no matching function for call to .*XoXMLToDateTime
// A text view, a default and a format of the XML kind: the variant form must
// not take the text.
#include "uXoXMLUtils.h"

int main() { return xo::XoXMLToDateTime(std::u16string_view(u"2024-01-01"), 0.0, xo::xdtfUTC) > 0 ? 0 : 1; }
