// expect: inherits<B>\(\): B is not a base of the type
// Naming a parent that is not a base class is refused at compile time.
#include "uXoRtti.h"

class TA : public xo::TXoObject {
  XO_CLASS(TA, xo::TXoObject)
};

class TB : public xo::TXoObject {
  XO_CLASS(TB, xo::TXoObject)
};

XO_DESCRIBE(TB, u"uTest.TB", c) { c.inherits<TA>(); }
