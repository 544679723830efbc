// expect: as<Tag>\(\): the member's C\+\+ type differs from the tag's storage type
// A date-time identity given to a member whose storage is not a double is
// refused at compile time.
#include "uXoRtti.h"

class TMine : public xo::TXoObject {
  XO_CLASS(TMine, xo::TXoObject)
public:
  int32_t When = 0;
};

XO_DESCRIBE(TMine, u"uTest.TMine", c) { c.field(u"When", &TMine::When).as<xo::TDateTimeTag>(); }
