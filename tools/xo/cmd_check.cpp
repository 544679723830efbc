// xo check FILE: whether the document loads.
#include <cstdio>

#include "json_tool.h"
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
    std::fprintf(stderr, "xo check: checking XML is not available yet; use --json for JSON text\n");
    return kExitUsage;
  }
  xo::TXoJSONDocument* doc = in.Load();
  if (!doc) return in.Status();
  xo::TIntfPtr<xo::IXoJSONDocument> keep(doc);
  return kExitOK;
}

const TRegisterCommand kCheck({
    "check", "check FILE [--json]", "tell whether the JSON document FILE loads",
    "  FILE is read as JSON when its first significant character is not \"<\",\n"
    "  or with --json, and loaded into a document. Nothing is printed when it\n"
    "  loads (exit 0); otherwise standard error gets FILE:LINE:COLUMN: and the\n"
    "  reader's message, and the exit status is 1. The top level must be an\n"
    "  object or an array. XML documents are not checked yet.\n"
    "\n"
    "  Example: xo check examples/sample.json\n",
    RunCheck});

}  // namespace
}  // namespace xotool
