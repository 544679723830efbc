// JSON input of the xo tool's commands.
#include "json_tool.h"

#include <cstdio>

namespace xotool {

namespace {

// Records where the reader stood when it failed; otherwise the loader.
class TCheckingHandler : public xo::TXoJSONHandler {
public:
  using xo::TXoJSONHandler::TXoJSONHandler;
  void FatalError(const xo::TIntfPtr<xo::IXoJSONLocator>& ALocator, const xo::XoJSONString&) override {
    Line = ALocator->GetLineNr();
    Col = ALocator->GetColNr();
  }
  int64_t Line = -1, Col = -1;
};

}  // namespace

bool TJSONInput::Read(const std::string& AFile, bool AForceJSON) {
  FFile = AFile;
  try {
    ReadInput(AFile, FData);
  } catch (const xo::Exception& e) {
    std::fprintf(stderr, "%s: %s\n", AFile.c_str(), e.what());
    FStatus = kExitFailed;
    return false;
  }
  FJSON = AForceJSON || LooksLikeJSON(FData.Memory(), static_cast<size_t>(FData.GetSize()));
  return true;
}

void TJSONInput::Report(int64_t ALine, int64_t ACol, const std::u16string& AMessage) {
  if (ALine < 0) {
    // The text ended too early: the position is its end.
    ALine = 1;
    ACol = 1;
    const uint8_t* p = FData.Memory();
    for (int64_t i = 0, n = FData.GetSize(); i < n; ++i) {
      if (p[i] == '\n') {
        ++ALine;
        ACol = 1;
      } else if ((p[i] & 0xC0) != 0x80 && p[i] != 0) {
        ++ACol;
      }
    }
  }
  std::string msg = xo::XoUTF16ToUTF8(AMessage);
  for (char& c : msg)
    if (c == '\r' || c == '\n') c = ' ';
  std::fprintf(stderr, "%s:%lld:%lld: %s\n", FFile.c_str(), static_cast<long long>(ALine),
               static_cast<long long>(ACol), msg.c_str());
  FStatus = kExitFailed;
}

xo::TXoJSONDocument* TJSONInput::Load() {
  auto* doc = new xo::TXoJSONDocument();
  xo::TXoJSONReader reader;
  auto* handler = new TCheckingHandler(&reader, doc);
  xo::TIntfPtr<TCheckingHandler> keepHandler(handler);
  reader.SetContentHandler(xo::TIntfPtr<xo::IXoJSONContentHandler>(handler));
  reader.SetErrorHandler(xo::TIntfPtr<xo::IXoJSONErrorHandler>(handler));
  try {
    FData.SetPosition(0);
    reader.ParseStream(&FData, 0, FFile == "-" ? u"-" : DisplayName(FFile));
  } catch (const xo::Exception& e) {
    std::u16string msg = e.Message();
    if (msg == u"oeps?") msg = u"The top level of a document must be an object or an array (oeps?)";
    Report(handler->Line, handler->Col, msg);
    reader.SetContentHandler(nullptr);
    reader.SetErrorHandler(nullptr);
    doc->Free();
    return nullptr;
  }
  reader.SetContentHandler(nullptr);
  reader.SetErrorHandler(nullptr);
  return doc;
}

}  // namespace xotool
