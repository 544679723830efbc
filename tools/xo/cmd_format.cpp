// xo format FILE: the document (XML or JSON) written again, formatted or not.
#include <cstdio>

#include "json_tool.h"
#include "xo_dom_load.h"
#include "xo_tool.h"

namespace xotool {
namespace {

int FormatXML(const std::string& AFile, xo::TMemoryStream& AData, bool APlain, const std::string& AEncoding) {
  xo::TXoDOMDocument doc;
  if (!LoadDocument(AFile, AData, doc)) return kExitFailed;
  // The declaration, if any, names the encoding the output is written in:
  // the one asked for, else UTF-8.
  try {
    if (!AEncoding.empty())
      doc.SetEncoding(xo::XoUTF8ToUTF16(AEncoding));
    else if (doc.FindProcessingInstruction(u"xml"))
      doc.SetEncoding(u"UTF-8");
  } catch (const xo::Exception& e) {
    return UsageError("format", xo::XoUTF16ToUTF8(e.Message()));
  }
  uint16_t cp = AEncoding.empty() ? 65001 : doc.GetCodePage();
  xo::TMemoryStream buffer;
  doc.SaveToStream(&buffer, cp, !APlain, false);
  if (!APlain) xo::XoDOMWriteText(&buffer, u"\r\n", cp);
  TStdOut out;
  out.Write(buffer.Memory(), buffer.GetSize());
  return Finish(out, kExitOK);
}

int RunFormat(const std::vector<std::string>& AArgs) {
  bool json = false, compact = false, plain = false;
  std::string encoding;
  std::vector<std::string> files;
  for (size_t i = 0; i < AArgs.size(); ++i) {
    const std::string& a = AArgs[i];
    if (a == "--json") {
      json = true;
    } else if (a == "--compact") {
      compact = true;
    } else if (a == "--plain") {
      plain = true;
    } else if (a == "--encoding") {
      if (i + 1 >= AArgs.size()) return UsageError("format", "--encoding needs a NAME");
      encoding = AArgs[++i];
    } else if (a.rfind("--encoding=", 0) == 0) {
      encoding = a.substr(11);
    } else if (a.size() > 1 && a[0] == '-') {
      return UsageError("format", "unknown option '" + a + "'");
    } else {
      files.push_back(a);
    }
  }
  if (files.size() != 1) return UsageError("format", "expects one FILE ('-' for standard input)");
  if (!encoding.empty()) {
    try {
      xo::XoCodePage(xo::XoUTF8ToUTF16(encoding));
    } catch (const xo::Exception&) {
      return UsageError("format", "unknown encoding '" + encoding + "'");
    }
  }
  TJSONInput in;
  if (!in.Read(files[0], json)) return in.Status();
  if (!in.IsJSON()) return FormatXML(files[0], in.Data(), plain || compact, encoding);
  TStdOut out;
  xo::TXoJSONDocument* doc = in.Load();
  if (!doc) return in.Status();
  xo::TIntfPtr<xo::IXoJSONDocument> keep(doc);
  const std::string text = xo::XoUTF16ToUTF8(compact || plain ? doc->GetAsJSON() : doc->GetFormattedJSON());
  out.WriteBuffer(text.data(), static_cast<int64_t>(text.size()));
  if (!text.empty()) out.WriteBuffer("\n", 1);
  return Finish(out, kExitOK);
}

const TRegisterCommand kFormat({
    "format", "format FILE [--plain|--compact] [--encoding NAME] [--json]",
    "write the XML or JSON document FILE again, formatted or plain",
    "  FILE ('-' for standard input) is read as JSON when its first significant\n"
    "  character is not \"<\", or with --json; otherwise as XML.\n"
    "\n"
    "  XML is written formatted (a line per element, two blanks per level, CR LF\n"
    "  line breaks) or, with --plain, without added layout. Text and attribute\n"
    "  values come out exactly as they stand in the file (references included).\n"
    "  Output is UTF-8; --encoding NAME writes it in that encoding instead. An XML\n"
    "  declaration in the document is updated to name the output's encoding.\n"
    "\n"
    "  JSON: numbers keep their text, strings are written with the document's\n"
    "  escapes (\"/\" as \"\\/\", characters from U+0100 as \\uXXXX). The formatted\n"
    "  form breaks lines after opening and before closing brackets (CR LF) and\n"
    "  indents by two blanks; --compact (or --plain) writes one line. Output is\n"
    "  UTF-8.\n"
    "\n"
    "  A document that does not load gives the reader's message with file, line\n"
    "  and column on standard error, exit 1.\n"
    "\n"
    "  Example: xo format examples/sample.xml\n"
    "           xo format --plain --encoding windows-1252 examples/sample.xml\n"
    "           xo format examples/sample.json\n",
    RunFormat});

}  // namespace
}  // namespace xotool
