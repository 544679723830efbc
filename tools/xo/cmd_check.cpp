// xo check FILE: whether the document (XML or JSON) loads.
#include <cstdio>

#include "json_tool.h"
#include "xo_dom_load.h"
#include "xo_tool.h"

namespace xotool {
namespace {

int RunCheck(const std::vector<std::string>& AArgs) {
  bool json = false;
  std::vector<std::string> files;
  for (const std::string& a : AArgs) {
    if (a == "--json")
      json = true;
    else if (a.size() > 1 && a[0] == '-')
      return UsageError("check", "unknown option '" + a + "'");
    else
      files.push_back(a);
  }
  if (files.size() != 1) return UsageError("check", "expects one FILE ('-' for standard input)");
  TJSONInput in;
  if (!in.Read(files[0], json)) return in.Status();
  if (!in.IsJSON()) {
    xo::TXoDOMDocument doc;
    return LoadDocument(files[0], in.Data(), doc) ? kExitOK : kExitFailed;
  }
  xo::TXoJSONDocument* doc = in.Load();
  if (!doc) return in.Status();
  xo::TIntfPtr<xo::IXoJSONDocument> keep(doc);
  return kExitOK;
}

const TRegisterCommand kCheck({
    "check", "check FILE [--json]", "tell whether the XML or JSON document FILE loads",
    "  FILE ('-' for standard input) is read as JSON when its first significant\n"
    "  character is not \"<\", or with --json; otherwise as XML, whose encoding\n"
    "  comes from a byte-order mark, else the XML declaration, else UTF-8.\n"
    "  Nothing is printed when it loads (exit 0); otherwise standard error gets\n"
    "  FILE:LINE:COLUMN: and the reader's message, and the exit status is 1. The\n"
    "  top level of JSON must be an object or an array.\n"
    "\n"
    "  Example: xo check examples/sample.xml\n"
    "           xo check examples/sample.json\n",
    RunCheck});

}  // namespace
}  // namespace xotool
