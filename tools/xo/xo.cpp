// xo: the command-line face of the library.
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include <iostream>
#include <memory>

#include "uXoClasses.h"
#include "uXoSAX.h"

namespace {

constexpr const char* kVersion = "0.1.0";

void PrintUsage(std::FILE* AOut) {
  std::fprintf(AOut,
               "xo %s - XML and JSON from the command line\n"
               "\n"
               "Usage: xo COMMAND [ARGS]\n"
               "\n"
               "Commands:\n"
               "  events FILE        read the XML document FILE ('-' for standard input)\n"
               "                     and print one line per parse event\n"
               "  help, --help       show this text\n"
               "  version, --version print the version\n"
               "\n"
               "xo events\n"
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
               kVersion);
}

// xo events FILE: the reader's events as text.
int RunEvents(const std::string& AFile) {
  xo::TXoStdOutStream out(std::cout);
  auto* writer = new xo::TXoSAXEventWriter(&out);
  xo::TIntfPtr<xo::TXoSAXEventWriter> keep(writer);
  xo::TXoSAXXMLReader reader;
  reader.SetContentHandler(xo::TIntfPtr<xo::IXoSAXContentHandler>(writer));
  reader.SetLexicalHandler(xo::TIntfPtr<xo::IXoSAXLexicalHandler>(writer));
  reader.SetErrorHandler(xo::TIntfPtr<xo::IXoSAXErrorHandler>(writer));
  int status = 0;
  try {
    if (AFile == "-") {
      // Standard input is read whole, then treated like a file: a byte-order
      // mark decides the encoding, else the declaration.
      xo::TMemoryStream data;
      xo::TXoStdInStream in(std::cin);
      char chunk[65536];
      for (;;) {
        int64_t n = in.Read(chunk, sizeof chunk);
        if (n <= 0) break;
        data.WriteBuffer(chunk, n);
      }
      data.SetPosition(0);
      uint16_t cp = xo::XoGetCodePage(&data);
      reader.ParseStream(&data, cp, u"-");
    } else {
      reader.ParseFile(xo::XoUTF8ToUTF16(AFile), xo::fmOpenRead | xo::fmShareDenyWrite, xo::XoUTF8ToUTF16(AFile));
    }
  } catch (const xo::Exception& e) {
    // Failures the reader reports have been printed by the handler; others
    // (a file that cannot be opened, an unknown encoding) are printed here.
    if (!writer->GetFatalErrorSeen()) writer->WriteFatalError(reader.GetLineNr(), reader.GetColNr(), e.Message());
    status = 1;
  } catch (const std::exception& e) {
    if (!writer->GetFatalErrorSeen())
      writer->WriteFatalError(reader.GetLineNr(), reader.GetColNr(), xo::XoUTF8ToUTF16(e.what()));
    status = 1;
  }
  writer->Flush();
  std::cout.flush();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    PrintUsage(stderr);
    return 2;
  }
  std::string cmd = argv[1];
  if (cmd == "help" || cmd == "--help" || cmd == "-h") {
    PrintUsage(stdout);
    return 0;
  }
  if (cmd == "events") {
    if (argc != 3) {
      std::fprintf(stderr, "Usage: xo events FILE   (FILE may be '-' for standard input)\n");
      return 2;
    }
    return RunEvents(argv[2]);
  }
  if (cmd == "version" || cmd == "--version") {
    std::printf("xo %s\n", kVersion);
    return 0;
  }
  std::fprintf(stderr, "xo: unknown command '%s'\n\n", cmd.c_str());
  PrintUsage(stderr);
  return 2;
}
