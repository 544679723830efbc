// xo events FILE: the reader's events as text, one line each.
#include <cstdio>

#include "uXoSAX.h"
#include "xo_tool.h"

namespace xotool {
namespace {

int RunEvents(const std::vector<std::string>& AArgs) {
  if (AArgs.size() != 1) return UsageError("events", "expects one FILE ('-' for standard input)");
  const std::string& file = AArgs[0];
  TStdOut out;
  auto* writer = new xo::TXoSAXEventWriter(&out);
  xo::TIntfPtr<xo::TXoSAXEventWriter> keep(writer);
  xo::TXoSAXXMLReader reader;
  reader.SetContentHandler(xo::TIntfPtr<xo::IXoSAXContentHandler>(writer));
  reader.SetLexicalHandler(xo::TIntfPtr<xo::IXoSAXLexicalHandler>(writer));
  reader.SetErrorHandler(xo::TIntfPtr<xo::IXoSAXErrorHandler>(writer));
  int status = kExitOK;
  try {
    if (file == "-") {
      std::unique_ptr<xo::TStream> in = OpenInput(file);
      uint16_t cp = xo::XoGetCodePage(in.get());
      reader.ParseStream(in.get(), cp, u"-");
    } else {
      // The name goes to the system as the bytes it was given.
      reader.ParseFile(file, DisplayName(file));
    }
  } catch (const xo::Exception& e) {
    // Failures the reader reports have been printed by the handler; others
    // (a file that cannot be opened, an unknown encoding) are printed here.
    if (!writer->GetFatalErrorSeen()) writer->WriteFatalError(reader.GetLineNr(), reader.GetColNr(), e.Message());
    status = kExitFailed;
  } catch (const std::exception& e) {
    if (!writer->GetFatalErrorSeen())
      writer->WriteFatalError(reader.GetLineNr(), reader.GetColNr(), xo::XoUTF8ToUTF16(e.what()));
    status = kExitFailed;
  }
  writer->Flush();
  return Finish(out, status);
}

const TRegisterCommand kEvents({
    "events", "events FILE", "print one line per parse event of the XML document FILE",
    "  The encoding comes from a byte-order mark, else from the XML declaration,\n"
    "  else UTF-8. Each line is the event name followed by its arguments, each\n"
    "  preceded by a tab; output is UTF-8. In arguments a backslash, tab, carriage\n"
    "  return and line feed are written \\\\, \\t, \\r, \\n. StartElement prints the\n"
    "  namespace URI, local name and qualified name, then for each attribute\n"
    "  @qname, its namespace URI and its value as written. Text, attribute values\n"
    "  and references such as &amp; are shown exactly as they stand in the file.\n"
    "  Comments, CDATA sections and the DOCTYPE are shown too. On an error the\n"
    "  last line is FatalError, line, column and message, and the exit status is 1.\n"
    "\n"
    "  Example: xo events examples/sample.xml\n",
    RunEvents});

}  // namespace
}  // namespace xotool
