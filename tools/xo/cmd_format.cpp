// xo format FILE: the document written again, formatted or compact.
#include <cstdio>

#include "json_tool.h"
#include "xo_tool.h"

namespace xotool {
namespace {

int RunFormat(const std::vector<std::string>& AArgs) {
  bool json = false, compact = false;
  std::vector<std::string> files;
  for (const std::string& a : AArgs) {
    if (a == "--json")
      json = true;
    else if (a == "--compact")
      compact = true;
    else if (a.size() > 1 && a[0] == '-')
      return UsageError("format", "unknown option '" + a + "'");
    else
      files.push_back(a);
  }
  if (files.size() != 1) return UsageError("format", "expects one FILE ('-' for standard input)");
  TJSONInput in;
  if (!in.Read(files[0], json)) return in.Status();
  if (!in.IsJSON()) {
    std::fprintf(stderr, "xo format: formatting XML is not available yet; use --json for JSON text\n");
    return kExitUsage;
  }
  TStdOut out;
  xo::TXoJSONDocument* doc = in.Load();
  if (!doc) return in.Status();
  xo::TIntfPtr<xo::IXoJSONDocument> keep(doc);
  const std::string text = xo::XoUTF16ToUTF8(compact ? doc->GetAsJSON() : doc->GetFormattedJSON());
  out.WriteBuffer(text.data(), static_cast<int64_t>(text.size()));
  if (!text.empty()) out.WriteBuffer("\n", 1);
  return Finish(out, kExitOK);
}

const TRegisterCommand kFormat({
    "format", "format FILE [--json] [--compact]", "write the JSON document FILE again, formatted or compact",
    "  FILE is read as JSON when its first significant character is not \"<\",\n"
    "  or with --json, and loaded into a document: numbers keep their text,\n"
    "  strings are written with the document's escapes (\"/\" as \"\\/\", characters\n"
    "  from U+0100 as \\uXXXX). The formatted form breaks lines after opening and\n"
    "  before closing brackets (CR LF) and indents by two blanks; --compact writes\n"
    "  one line. Output is UTF-8. A document that does not load gives the\n"
    "  reader's message with file, line and column on standard error, exit 1.\n"
    "  XML documents are not formatted yet.\n"
    "\n"
    "  Example: xo format examples/sample.json\n",
    RunFormat});

}  // namespace
}  // namespace xotool
