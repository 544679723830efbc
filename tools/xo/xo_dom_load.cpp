// Loading a document for the tree commands, with positioned messages.
#include "xo_dom_load.h"

#include <cstdio>

#include "xo_tool.h"

namespace xotool {

namespace {
// A message on one line: its line breaks become blanks.
std::string OneLine(const std::u16string& AText) {
  std::u16string t;
  for (size_t i = 0; i < AText.size(); ++i) {
    char16_t c = AText[i];
    if (c == u'\r' || c == u'\n') {
      if (c == u'\r' && i + 1 < AText.size() && AText[i + 1] == u'\n') ++i;
      t += u' ';
    } else {
      t += c;
    }
  }
  return xo::XoUTF16ToUTF8(t);
}
}  // namespace

bool LoadDocument(const std::string& AFile, xo::TMemoryStream& AData, xo::TXoDOMDocument& ADoc) {
  std::string name = AFile == "-" ? "-" : xo::XoUTF16ToUTF8(DisplayName(AFile));
  int64_t line = 0, col = 0;
  std::u16string readerMessage;
  bool positioned = false;
  ADoc.OnParseFatalError() = [&](const xo::TIntfPtr<xo::IXoSAXLocator>& ALocator, const xo::XoXMLString& AMsg,
                                 bool&) {
    if (ALocator) {
      line = ALocator->GetLineNr();
      col = ALocator->GetColNr();
    }
    readerMessage = AMsg;
    positioned = true;
  };
  try {
    AData.SetPosition(0);
    ADoc.LoadFromStream(&AData);
    return true;
  } catch (const xo::Exception& e) {
    std::string msg = OneLine(positioned ? readerMessage : e.Message());
    std::fprintf(stderr, "%s:%lld:%lld: %s\n", name.c_str(), static_cast<long long>(line),
                 static_cast<long long>(col), msg.c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s:%lld:%lld: %s\n", name.c_str(), static_cast<long long>(line),
                 static_cast<long long>(col), e.what());
  }
  return false;
}

}  // namespace xotool
