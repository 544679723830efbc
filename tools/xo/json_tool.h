// JSON input of the xo tool's commands: reading a file whole, choosing the
// notation, loading a document and reporting failures with file, line and
// column.
#pragma once

#include <string>

#include "uXoJSON.h"
#include "xo_tool.h"

namespace xotool {

class TJSONInput {
public:
  // Reads FILE whole; false (with Status set and a message printed) when it
  // cannot be read. AForceJSON takes the text as JSON whatever it starts with.
  bool Read(const std::string& AFile, bool AForceJSON);
  bool IsJSON() const { return FJSON; }
  // Loads the text into a new document; nullptr (with the failure printed as
  // "FILE:LINE:COLUMN: message" on standard error) when it does not load.
  xo::TXoJSONDocument* Load();
  xo::TMemoryStream& Data() { return FData; }
  const std::string& File() const { return FFile; }
  int Status() const { return FStatus; }

private:
  void Report(int64_t ALine, int64_t ACol, const std::u16string& AMessage);
  std::string FFile;
  xo::TMemoryStream FData;
  bool FJSON = false;
  int FStatus = kExitOK;
};

}  // namespace xotool
