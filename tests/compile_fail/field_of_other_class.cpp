// expect: field\(\): the member belongs to another class
// Registering a member of an unrelated class is refused at compile time.
#include "uXoRtti.h"

struct TOther {
  int32_t X = 0;
};

class TMine : public xo::TXoObject {
  XO_CLASS(TMine, xo::TXoObject)
public:
  int32_t Y = 0;
};

XO_DESCRIBE(TMine, u"uTest.TMine", c) { c.field(u"X", &TOther::X); }
