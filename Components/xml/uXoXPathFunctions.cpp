// uXoXPath: the table of the library's functions.
#include "uXoXPath/uXoXPathFunctions.h"

namespace xo {

void XoXPathRegisterLibraryFunctions() {
  // One XoXPathRegisterLibraryFunction(name, XoXPathFunctionClass<TXoXPathFn...>())
  // per function, in the order of the table: "text", "node-name", "nilled",
  // "string", ... "adjust-time-to-timezone". The classes live in topic files
  // of this module.
}

}  // namespace xo
