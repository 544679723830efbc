// expect: The TXsInteger<T> only supports integer types!
// A typed integer record of a float type is refused when it is instantiated.
#include "uXoXSTypes.h"

int main() {
  xo::TXsInteger<double> d;
  return d.IsNull() ? 0 : 1;
}
