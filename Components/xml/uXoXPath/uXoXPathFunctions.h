// Internals of uXoXPath shared by its implementation files (not installed).
#pragma once

#include "../uXoXPath.h"

namespace xo {

// Registers the library's functions, in the order of the module's table:
// "text", "node-name", ... "adjust-time-to-timezone" (defined in
// uXoXPathFunctions.cpp; runs once, inside the module's start step, after the
// two collations and before any application registration).
void XoXPathRegisterLibraryFunctions();

// Appends one library function; for XoXPathRegisterLibraryFunctions only.
void XoXPathRegisterLibraryFunction(std::u16string_view AName, TXoXPathFunctionClass AClass);

}  // namespace xo
