// expect: no matching function for call to .*XoXMLToStr
// Text with a default text: the default belongs to the variant form, which
// text does not reach.
#include <string_view>

#include "uXoXMLUtils.h"

int main() {
  std::u16string_view text = u"a&amp;b";
  return xo::XoXMLToStr(text, u"none").empty() ? 0 : 1;
}
