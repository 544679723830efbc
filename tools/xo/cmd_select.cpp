// xo select PATH FILE: the nodes a path selects in an XML document, one line
// each.
#include <cstdio>

#include "json_tool.h"
#include "uXoXMLDOM.h"
#include "xo_tool.h"

namespace xotool {
namespace {

void PrintError(const std::string& AText) { std::fprintf(stderr, "xo select: %s\n", AText.c_str()); }

// A JSON path over a JSON document.
int RunJSONSelect(const std::vector<std::string>& AArgs) {
  bool json = false, value = false, ci = false, first = false;
  std::vector<std::string> rest;
  for (const std::string& a : AArgs) {
    if (a == "--json")
      json = true;
    else if (a == "--value")
      value = true;
    else if (a == "--ignore-case")
      ci = true;
    else if (a == "--first")
      first = true;
    else if (a.size() > 1 && a[0] == '-')
      return UsageError("select", "unknown option '" + a + "'");
    else
      rest.push_back(a);
  }
  if (rest.size() != 2) return UsageError("select", "expects a PATH and one FILE ('-' for standard input)");
  const std::string& path = rest[0];
  TJSONInput in;
  if (!in.Read(rest[1], json || (!path.empty() && path[0] == '$'))) return in.Status();
  if (!in.IsJSON()) {
    std::fprintf(stderr, "xo select: a JSON path (starting with $) needs a JSON document\n");
    return kExitUsage;
  }
  xo::TXoJSONDocument* doc = in.Load();
  if (!doc) return in.Status();
  xo::TIntfPtr<xo::IXoJSONDocument> keep(doc);
  TStdOut out;
  xo::TXoJSONArray* nodes = nullptr;
  try {
    xo::TXoJDOCSelectOptions options;
    if (ci) options.Include(xo::jsoCaseInsensitive);
    nodes = doc->CreateNodeList(xo::XoUTF8ToUTF16(path), options);
  } catch (const xo::EXoJSONException& e) {
    std::string msg = e.what();
    for (char& c : msg)
      if (c == '\r' || c == '\n') c = ' ';
    std::fprintf(stderr, "xo select: %s\n", msg.c_str());
    const int32_t code = e.Code();
    return code == 13 || code == 14 || code == 15 || code == 17 ? kExitUsage : kExitFailed;
  } catch (const xo::Exception& e) {
    std::fprintf(stderr, "xo select: %s\n", e.what());
    return kExitFailed;
  }
  std::u16string text;
  for (int32_t i = 0; i < nodes->Count() && !(first && i > 0); ++i) {
    xo::TXoJSONBase* n = nodes->Item(i);
    if (value && n->GetNodeKind() == xo::TXoJSONNodeKind::Simple)
      text += n->GetAsString();
    else
      n->SaveToString(text, false, 0, false);
    text += u'\n';
  }
  const int32_t count = nodes->Count();
  nodes->Free();
  const std::string bytes = xo::XoUTF16ToUTF8(text);
  out.WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
  return Finish(out, count > 0 ? kExitOK : kExitFailed);
}

// Whether the command is about JSON: --json, a path that starts with $, or a
// regular file whose first significant character is not "<".
bool IsJSONSelect(const std::vector<std::string>& AArgs) {
  std::vector<std::string> plain;
  for (const std::string& a : AArgs) {
    if (a == "--json") return true;
    if (a.size() > 1 && a[0] == '-') continue;
    plain.push_back(a);
  }
  if (plain.size() != 2) return false;
  if (!plain[0].empty() && plain[0][0] == '$') return true;
  return plain[1] != "-" && !LooksLikeXMLFile(plain[1]) && LooksLikeJSONFile(plain[1]);
}

int RunSelect(const std::vector<std::string>& AArgs) {
  if (IsJSONSelect(AArgs)) return RunJSONSelect(AArgs);
  bool value = false, first = false;
  xo::TXoDOMSelectOptions options;
  std::vector<std::string> plain;
  for (const std::string& a : AArgs) {
    if (a == "--value")
      value = true;
    else if (a == "--first")
      first = true;
    else if (a == "--case-sensitive")
      options.Include(xo::soCaseSensitive);
    else if (a == "--local-name")
      options.Include(xo::soLocalName);
    else if (a.size() > 1 && a[0] == '-' && a != "-")
      return UsageError("select", "unknown option '" + a + "'");
    else
      plain.push_back(a);
  }
  if (plain.size() != 2) return UsageError("select", "expects a PATH and one FILE ('-' for standard input)");
  const std::string& file = plain[1];
  std::u16string path = xo::XoUTF8ToUTF16(plain[0]);
  std::u16string name = DisplayName(file);

  std::unique_ptr<xo::TXoDOMDocument, void (*)(xo::TXoDOMDocument*)> doc(new xo::TXoDOMDocument(),
                                                                          [](xo::TXoDOMDocument* d) { d->Free(); });
  int64_t line = -1, col = -1;
  doc->OnParseFatalError() = [&](const xo::TIntfPtr<xo::IXoSAXLocator>& ALocator, const xo::XoXMLString&,
                                 bool&) {
    if (ALocator) {
      line = ALocator->GetLineNr();
      col = ALocator->GetColNr();
    }
  };
  try {
    std::unique_ptr<xo::TStream> in = OpenInput(file);
    doc->SetDocumentURI(name);
    doc->LoadFromStream(in.get());
  } catch (const xo::Exception& e) {
    std::string where = xo::XoUTF16ToUTF8(name);
    if (line >= 0) where += ":" + std::to_string(line) + ":" + std::to_string(col);
    PrintError(where + ": " + xo::XoUTF16ToUTF8(e.Message()));
    return kExitFailed;
  }

  std::vector<xo::TXoDOMNode*> nodes;
  try {
    if (first) {
      if (xo::TXoDOMNode* n = doc->SelectSingleNode(path, options)) nodes.push_back(n);
    } else {
      std::unique_ptr<xo::TXoDOMNodeList> list(doc->CreateNodeList(path, options));
      for (xo::TXoDOMNode* n : *list) nodes.push_back(n);
    }
  } catch (const xo::Exception& e) {
    PrintError(xo::XoUTF16ToUTF8(e.Message()));
    return kExitUsage;
  }

  TStdOut out;
  std::string buf;
  for (xo::TXoDOMNode* n : nodes) {
    buf = xo::XoUTF16ToUTF8(value ? n->GetNodeValue() : n->GetXML());
    buf += '\n';
    out.Write(buf.data(), static_cast<int64_t>(buf.size()));
  }
  return Finish(out, nodes.empty() ? kExitFailed : kExitOK);
}

const TRegisterCommand kSelect({
    "select", "select PATH FILE [--value] [--first] [--case-sensitive] [--local-name] [--json] [--ignore-case]",
    "print the nodes that PATH selects in the XML or JSON document FILE",
    "  Prints each selected node on its own line: its XML, or with --value its\n"
    "  decoded value (the text of an element, the value of an attribute).\n"
    "  PATH starts at the document: \"shop/item\", \"/shop/item\" and \"//item\"\n"
    "  all find the items below a root element shop. Steps are separated by \"/\"\n"
    "  (\"//\" searches all descendants), alternatives by \"|\"; a step is a name,\n"
    "  prefix:name, *, @name, text(), node(), . or .., followed by filters in\n"
    "  brackets: item[0] is the first item, item[@id=\"a\" and price>10] filters.\n"
    "  Names compare ignoring ASCII case unless --case-sensitive; a name without\n"
    "  a prefix matches only unprefixed nodes unless --local-name. --first prints\n"
    "  the first node only.\n"
    "\n"
    "  Exit status: 0 something was selected, 1 nothing was selected or FILE is\n"
    "  not a well-formed document, 2 the command line or the path is malformed,\n"
    "  3 the output could not be written.\n"
    "\n"
    "  Example: xo select '//item[@id=\"a\"]/price' --value shop.xml\n"
    "\n"
    "  JSON: a PATH that starts with $ (or a FILE whose first significant\n"
    "  character is not \"<\", or --json) is a JSON path over the JSON document\n"
    "  FILE: $ is the root, .name and ['name'] members, ..name members at any\n"
    "  depth, [n] and [-n] elements, [a:b:c] slices, [*] everything,\n"
    "  [?(@.price<10)] filters, and \"P | Q\" the nodes of both paths. Each node\n"
    "  prints as compact JSON text; --value prints strings, numbers and literals\n"
    "  as plain values (strings decoded); --ignore-case compares member names\n"
    "  without regard to case. The exit status is as above.\n"
    "\n"
    "  Example: xo select '$.store.book[?(@.price<10)].title' examples/sample.json\n",
    RunSelect});

}  // namespace
}  // namespace xotool
