// Shared pieces of the xo command-line tool: the command table, input and
// output that report their failures, and the exit codes scripts rely on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "uXoClasses.h"

namespace xotool {

// Exit codes, the same for every command.
enum : int {
  kExitOK = 0,        // done; for select: something was selected
  kExitFailed = 1,    // the input is not a well-formed document, cannot be read, or nothing was selected
  kExitUsage = 2,     // bad command line, unknown option, malformed path
  kExitOutput = 3,    // the output could not be written (disk full, closed pipe)
};

// One command of the tool. Commands register themselves with a static
// TRegisterCommand in their own source file, so adding one touches no table.
struct TCommand {
  const char* Name;
  const char* Synopsis;  // "events FILE"
  const char* Summary;   // one line for the command list
  const char* Help;      // the text of "xo help NAME", may be empty
  int (*Run)(const std::vector<std::string>& AArgs);  // arguments after the command name
};

struct TRegisterCommand {
  explicit TRegisterCommand(const TCommand& ACommand);
};

const std::vector<TCommand>& Commands();

// Prints "xo NAME: message" and the synopsis to standard error; answers kExitUsage.
int UsageError(const char* ACommand, const std::string& AMessage);

// A file name as the library's messages show it: the bytes as UTF-8 where
// they are valid, each invalid byte as U+FFFD. Standard input shows as "-".
std::u16string DisplayName(const std::string& AFile);

// Opens FILE for reading: anything but "-" is a file whose name is passed to
// the system byte for byte (names need not be UTF-8); "-" is standard input,
// read whole into memory (up to XoGetMaxInputSize bytes) so that it can be
// treated like a file.
std::unique_ptr<xo::TStream> OpenInput(const std::string& AFile);

// Reads the whole input of FILE ("-" for standard input) into memory (up to
// XoGetMaxInputSize bytes), so that a command can look at its start and then
// hand it to a reader; pipes and FIFOs lose nothing.
void ReadInput(const std::string& AFile, xo::TMemoryStream& AData);

// Whether text is JSON rather than XML, decided as the library's loaders
// decide: by the first significant character (behind a byte-order mark,
// blanks and the zero bytes of UTF-16), anything but "<" being JSON. An
// empty text counts as XML.
bool LooksLikeJSON(const uint8_t* AData, size_t ASize);

// Whether FILE is a regular file whose first significant character is "<"
// (looked for in its first bytes): such a file can go to the XML reader by
// name. JSON, pipes, FIFOs and files that cannot be read answer false.
bool LooksLikeXMLFile(const std::string& AFile);
// Whether FILE is a regular file whose first significant character (in its
// first bytes) is there and is not "<".
bool LooksLikeJSONFile(const std::string& AFile);

// Standard output as a TStream. Write failures are remembered, not thrown, so
// that a command finishes its work; Close flushes and answers whether every
// byte reached the system.
class TStdOut : public xo::TStream {
public:
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, xo::TSeekOrigin AOrigin) override;
  // Flushes; on failure prints "xo: cannot write output: REASON" and answers false.
  bool Close();
  bool Failed() const { return FErrno != 0; }

private:
  int FErrno = 0;
};

// The status a command ends with: AStatus, or kExitOutput when standard
// output could not be written.
int Finish(TStdOut& AOut, int AStatus);

}  // namespace xotool
