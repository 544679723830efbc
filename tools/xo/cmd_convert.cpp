// xo convert --to json|xml FILE: an XML document written as JSON, or a JSON
// document loaded into the XML tree and written as XML.
#include <cstdio>

#include "uXoXMLDOM.h"
#include "xo_tool.h"

namespace xotool {
namespace {

// Where the text of AData ends, as line and column (both from 1): the place
// of a failure that the reader reports without one (the text ended inside
// an object, an array or a string). UTF-16 text (a mark, or a zero second
// byte) counts 16-bit units, other text UTF-8 characters.
void EndPosition(xo::TMemoryStream& AData, int64_t& ALine, int64_t& ACol) {
  const uint8_t* p = AData.Memory();
  const size_t n = static_cast<size_t>(AData.GetSize());
  ALine = 1;
  ACol = 1;
  const bool utf16 = n >= 2 && ((p[0] == 0xFF && p[1] == 0xFE) || (p[0] != 0 && p[1] == 0));
  size_t i = utf16 && p[0] == 0xFF ? 2 : 0;
  if (!utf16 && n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) i = 3;
  for (; i < n; i += utf16 ? 2 : 1) {
    const unsigned c = utf16 ? (i + 1 < n ? p[i] | (p[i + 1] << 8) : p[i]) : p[i];
    if (c == '\n') {
      ++ALine;
      ACol = 1;
    } else if (utf16 ? (c < 0xDC00 || c > 0xDFFF) : (c & 0xC0) != 0x80) {
      ++ACol;
    }
  }
}

// A message on one line: its line breaks become blanks.
std::string OneLine(const std::u16string& AText) {
  std::u16string t;
  for (size_t i = 0; i < AText.size(); ++i) {
    const char16_t c = AText[i];
    if (c == u'\r' || c == u'\n') {
      if (c == u'\r' && i + 1 < AText.size() && AText[i + 1] == u'\n') ++i;
      t += u' ';
    } else {
      t += c;
    }
  }
  return xo::XoUTF16ToUTF8(t);
}

int RunConvert(const std::vector<std::string>& AArgs) {
  std::string to;
  bool plain = false;
  std::vector<std::string> files;
  for (size_t i = 0; i < AArgs.size(); ++i) {
    const std::string& a = AArgs[i];
    if (a == "--to") {
      if (i + 1 == AArgs.size()) return UsageError("convert", "--to expects json or xml");
      to = AArgs[++i];
    } else if (a.rfind("--to=", 0) == 0) {
      to = a.substr(5);
    } else if (a == "--plain") {
      plain = true;
    } else if (a.size() > 1 && a[0] == '-') {
      return UsageError("convert", "unknown option '" + a + "'");
    } else {
      files.push_back(a);
    }
  }
  if (to.empty()) return UsageError("convert", "expects --to json or --to xml");
  if (to != "json" && to != "xml") return UsageError("convert", "unknown target '" + to + "' (json or xml)");
  if (files.size() != 1) return UsageError("convert", "expects one FILE ('-' for standard input)");
  const std::string& file = files[0];
  const std::string shown = xo::XoUTF16ToUTF8(file == "-" ? std::u16string(u"-") : DisplayName(file));

  // The input is read whole, then loaded: text whose first significant
  // character is "<" as XML, anything else as JSON.
  xo::TMemoryStream data;
  try {
    ReadInput(file, data);
  } catch (const xo::Exception& e) {
    std::fprintf(stderr, "%s: %s\n", shown.c_str(), xo::XoUTF16ToUTF8(e.Message()).c_str());
    return kExitFailed;
  }
  xo::TXoDOMDocument doc;
  int64_t line = -1, col = -1;
  xo::XoXMLString reason;
  bool reported = false;
  doc.OnParseFatalError() = [&](const xo::TIntfPtr<xo::IXoSAXLocator>& ALocator, const xo::XoXMLString& AMsg,
                                bool&) {
    reported = true;
    if (ALocator) {
      line = ALocator->GetLineNr();
      col = ALocator->GetColNr();
    }
    reason = AMsg;
  };
  try {
    // JSON text finds its own encoding (a mark, else the zero bytes of
    // UTF-16), XML text its mark or declaration.
    if (LooksLikeJSON(data.Memory(), static_cast<size_t>(data.GetSize())))
      doc.LoadFromStream(&data, 0);
    else
      doc.LoadFromStream(&data);
  } catch (const xo::Exception& e) {
    if (!reported) reason = e.Message();
    // A text that ends too early has no position of its own: its end is.
    if (line < 0 || col < 0) EndPosition(data, line, col);
    std::fprintf(stderr, "%s:%lld:%lld: %s\n", shown.c_str(), static_cast<long long>(line),
                 static_cast<long long>(col), OneLine(reason).c_str());
    return kExitFailed;
  }

  // The text is made in memory first: the XML layout looks at the stream
  // position, which standard output does not have.
  TStdOut out;
  xo::TMemoryStream text;
  try {
    if (to == "json") {
      // The root element as one JSON object.
      if (xo::TXoDOMElement* root = doc.RootNode())
        root->SaveToJSONStream(&text, 65001, !plain);
      else
        text.WriteBuffer("{}", 2);
    } else {
      doc.SaveToStream(&text, 65001, !plain, false);
    }
    text.WriteBuffer("\n", 1);
  } catch (const xo::Exception& e) {
    // A value the output cannot type (a bad xsi:type) ends the output.
    std::fprintf(stderr, "%s: %s\n", shown.c_str(), xo::XoUTF16ToUTF8(e.Message()).c_str());
    return kExitFailed;
  }
  out.WriteBuffer(text.Memory(), text.GetSize());
  return Finish(out, kExitOK);
}

const TRegisterCommand kConvert({
    "convert", "convert --to json|xml [--plain] FILE",
    "write the XML document FILE as JSON, or the JSON document FILE as XML",
    "  --to json: FILE is loaded as an XML document and its root element is\n"
    "  written as one JSON object: members are named after local names (\".\"\n"
    "  becomes \"_\"), attributes become members \"element_attribute\", elements of\n"
    "  equal names gather in an array, and leaf values are typed by their\n"
    "  xsi:type (strings without one, null for xsi:nil or no text).\n"
    "\n"
    "  --to xml: FILE is JSON, loaded into the XML tree: the outermost object\n"
    "  or array becomes the root element \"object\" or \"array\", each member an\n"
    "  element of its name (\"Array\" appended for arrays, whose items repeat\n"
    "  the name), each simple value the token as written with an xsd:type or\n"
    "  xsi:nil attribute. Strings keep their JSON escapes as text.\n"
    "\n"
    "  Output is UTF-8, formatted unless --plain. FILE '-' reads standard\n"
    "  input. A document that does not load is reported as FILE:LINE:COLUMN:\n"
    "  message on standard error, exit status 1.\n"
    "\n"
    "  Example: xo convert --to json examples/sample.xml\n"
    "           xo convert --to xml examples/sample.json\n",
    RunConvert});

}  // namespace
}  // namespace xotool
