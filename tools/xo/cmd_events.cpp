// xo events FILE: the reader's events as text, one line each.
#include <cstdio>

#include "uXoJSON.h"
#include "uXoSAX.h"
#include "xo_tool.h"

namespace xotool {
namespace {

// The events of JSON or form URL-encoded text held in AData.
int RunJSONEvents(xo::TMemoryStream& AData, const std::u16string& AName, bool AForm) {
  TStdOut out;
  auto* writer = new xo::TXoJSONEventWriter(&out);
  xo::TIntfPtr<xo::TXoJSONEventWriter> keep(writer);
  std::unique_ptr<xo::TXoJSONReader> reader(AForm ? new xo::TXoFormURLEncodedJSONReader : new xo::TXoJSONReader);
  reader->SetContentHandler(xo::TIntfPtr<xo::IXoJSONContentHandler>(writer));
  reader->SetErrorHandler(xo::TIntfPtr<xo::IXoJSONErrorHandler>(writer));
  int status = kExitOK;
  try {
    reader->ParseStream(&AData, 0, AName);
  } catch (const xo::Exception& e) {
    if (!writer->GetFatalErrorSeen()) writer->WriteFatalError(reader->GetLineNr(), reader->GetColNr(), e.Message());
    status = kExitFailed;
  }
  writer->Flush();
  return Finish(out, status);
}

int RunEvents(const std::vector<std::string>& AArgs) {
  enum { kAuto, kJSON, kForm } notation = kAuto;
  std::vector<std::string> files;
  for (const std::string& a : AArgs) {
    if (a == "--json")
      notation = kJSON;
    else if (a == "--form")
      notation = kForm;
    else if (a.size() > 1 && a[0] == '-')
      return UsageError("events", "unknown option '" + a + "'");
    else
      files.push_back(a);
  }
  if (files.size() != 1) return UsageError("events", "expects one FILE ('-' for standard input)");
  const std::string& file = files[0];
  // JSON is read from memory: the input is read whole, then its first
  // significant character chooses the notation unless an option did.
  std::unique_ptr<xo::TMemoryStream> data;
  if (notation != kAuto || file == "-" || !LooksLikeXMLFile(file)) {
    data = std::make_unique<xo::TMemoryStream>();
    try {
      ReadInput(file, *data);
    } catch (const xo::Exception& e) {
      TStdOut out;
      xo::TXoSAXEventWriter writer(&out);
      writer.WriteFatalError(-1, -1, e.Message());
      writer.Flush();
      return Finish(out, kExitFailed);
    }
    if (notation == kAuto && LooksLikeJSON(data->Memory(), static_cast<size_t>(data->GetSize()))) notation = kJSON;
    if (notation != kAuto) return RunJSONEvents(*data, file == "-" ? u"-" : DisplayName(file), notation == kForm);
  }
  TStdOut out;
  auto* writer = new xo::TXoSAXEventWriter(&out);
  xo::TIntfPtr<xo::TXoSAXEventWriter> keep(writer);
  xo::TXoSAXXMLReader reader;
  reader.SetContentHandler(xo::TIntfPtr<xo::IXoSAXContentHandler>(writer));
  reader.SetLexicalHandler(xo::TIntfPtr<xo::IXoSAXLexicalHandler>(writer));
  reader.SetErrorHandler(xo::TIntfPtr<xo::IXoSAXErrorHandler>(writer));
  int status = kExitOK;
  try {
    if (data) {
      // Already in memory: a byte-order mark decides, else the declaration.
      uint16_t cp = xo::XoGetCodePage(data.get());
      reader.ParseStream(data.get(), cp, file == "-" ? u"-" : DisplayName(file));
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
    "events", "events FILE [--json|--form]", "print one line per parse event of the XML or JSON document FILE",
    "  FILE is read as JSON when its first significant character is not \"<\",\n"
    "  or with --json; --form reads form URL-encoded text (a=1&b[c]=2).\n"
    "  JSON events are StartDocument, StartObject, StartMember NAME, StartArray,\n"
    "  Value TYPE TEXT (TYPE null, string, number or boolean; strings and names\n"
    "  as written, escapes included), EndArray, EndMember, EndObject and\n"
    "  EndDocument.\n"
    "\n"
    "  XML: the encoding comes from a byte-order mark, else from the XML declaration,\n"
    "  else UTF-8. Each line is the event name followed by its arguments, each\n"
    "  preceded by a tab; output is UTF-8. In arguments a backslash, tab, carriage\n"
    "  return and line feed are written \\\\, \\t, \\r, \\n. StartElement prints the\n"
    "  namespace URI, local name and qualified name, then for each attribute\n"
    "  @qname, its namespace URI and its value as written. Text, attribute values\n"
    "  and references such as &amp; are shown exactly as they stand in the file.\n"
    "  Comments, CDATA sections and the DOCTYPE are shown too. On an error the\n"
    "  last line is FatalError, line, column and message, and the exit status is 1.\n"
    "\n"
    "  Example: xo events examples/sample.xml\n"
    "           xo events examples/sample.json\n",
    RunEvents});

}  // namespace
}  // namespace xotool
