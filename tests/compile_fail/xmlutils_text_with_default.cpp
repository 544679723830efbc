// expect: no matching function for call to .*XoXMLToInt
// Text with a default is no call of the variant form: the default belongs to
// XoXMLToIntDef, and the text must not turn into a Variant on the way.
#include "uXoXMLUtils.h"

int main() { return xo::XoXMLToInt(u"abc", 7); }
