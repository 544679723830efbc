// Loading an XML document for the commands that work on trees (format,
// check): the library sniffs the encoding of the bytes read, and a failure
// is reported as "FILE:LINE:COLUMN: message" on standard error.
#pragma once

#include <string>

#include "uXoXMLDOM.h"

namespace xotool {

// Loads AData (the whole input of FILE, "-" for standard input) into ADoc.
// On failure prints the message line and answers false.
bool LoadDocument(const std::string& AFile, xo::TMemoryStream& AData, xo::TXoDOMDocument& ADoc);

}  // namespace xotool
