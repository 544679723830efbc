// expect: no matching function for call to .*XoXMLToTime
// A string, a default and a format: only XoXMLToTimeDef takes these; the
// variant form must not accept the string.
#include <string>

#include "uXoXMLUtils.h"

int main() {
  std::u16string text = u"10:30:00";
  return xo::XoXMLToTime(text, 0.5, xo::tzfNone) > 0 ? 0 : 1;
}
