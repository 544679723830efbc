// Drives JSON read as XML events over arbitrary bytes, through the reader's
// entry points and code page paths, the SAX parser component (which picks
// the reader by the first character) and the DOM loader, with a handler
// that checks the order of the events and may raise from one of them.
// Checked: no crash, no read outside the input, no hang, and the reader's
// promises: a failed parse calls FatalError exactly once and delivers no
// EndDocument, a successful one ends with EndDocument, elements nest, every
// start has a name fit for XML, and nothing but xo's exceptions leaves a
// parse. A tree loaded from the bytes is also written as XML and as JSON.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "uXoSAX.h"
#include "uXoXMLDOM.h"

using namespace xo;

namespace {

class TFuzzHandler : public TXoObject,
                     public virtual IXoSAXContentHandler,
                     public virtual IXoSAXLexicalHandler,
                     public virtual IXoSAXErrorHandler {
public:
  TFuzzHandler() { SetAutoDestroy(false); }
  TXoSAXReader* Reader = nullptr;
  int RaiseAt = -1;
  int Events = 0;
  int Fatal = 0;
  bool Started = false, Ended = false;
  std::vector<XoXMLString> Open;
  size_t Sum = 0;

  void Tick() {
    if (Ended || (!Started && Events > 0)) std::abort();
    if (Events++ == RaiseAt) throw EXoException(std::u16string(u"raised by the handler"));
    if ((Events & 15) == 0 && Reader) Sum += static_cast<size_t>(Reader->GetLineNr() + Reader->GetColNr());
  }

  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) override {}
  void StartDocument() override {
    if (Started) std::abort();
    Started = true;
    Tick();
  }
  void StartElement(const XoXMLString& AURI, const XoXMLString& ALocal, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& AAttrs) override {
    Tick();
    if (!AURI.empty() || ALocal != AQName || AQName.empty() || !TXoXMLParser::IsNameStartChar(AQName[0]))
      std::abort();
    for (char16_t c : AQName)
      if (c == u':' || c <= 0x20) std::abort();
    Sum += static_cast<size_t>(AAttrs->Count());
    Open.push_back(AQName);
  }
  void Characters(const XoXMLString& AText) override {
    Tick();
    if (Open.empty()) std::abort();
    Sum += AText.size();
  }
  void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString& AQName) override {
    Tick();
    if (Open.empty() || Open.back() != AQName) std::abort();
    Open.pop_back();
  }
  void EndDocument() override {
    Tick();
    if (!Open.empty()) std::abort();
    Ended = true;
  }
  void EndPrefixMapping(const XoXMLString&) override { std::abort(); }
  void IgnorableWhitespace(const XoXMLString&) override { std::abort(); }
  void ProcessingInstruction(const XoXMLString&, const XoXMLString&) override { std::abort(); }
  void SkippedEntity(const XoXMLString&) override { std::abort(); }
  void StartPrefixMapping(const XoXMLString&, const XoXMLString&) override { std::abort(); }
  void Comment(const XoXMLString&) override { std::abort(); }
  void StartCDATA() override { std::abort(); }
  void StartDTD() override { std::abort(); }
  void StartEntity(const XoXMLString&) override { std::abort(); }
  void EndCDATA() override { std::abort(); }
  void EndDTD() override { std::abort(); }
  void EndEntity(const XoXMLString&) override { std::abort(); }
  void Warning(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override { std::abort(); }
  void Error(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override { std::abort(); }
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& AMsg) override {
    ++Fatal;
    Sum += AMsg.size() + static_cast<size_t>(ALocator->GetLineNr() + ALocator->GetColNr());
  }
};

void LoadAndWrite(const uint8_t* AData, size_t ASize, uint16_t ACodePage) {
  TXoDOMDocument doc;
  TXoMemoryStream ms(AData, static_cast<int64_t>(ASize));
  try {
    doc.LoadFromStream(&ms, ACodePage);
  } catch (const Exception&) {
  }
  TXoStringStream out(65001);
  doc.SaveToStream(&out, 65001, true, false);
  try {
    doc.SaveToJSONStream(&out, true, false);
    if (doc.RootNode()) doc.GetAsFormattedJSON();
  } catch (const Exception&) {
    // A bad type attribute of XML input refuses its value.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 2) return 0;
  // Byte 0: entry point and code page; byte 1: options.
  static const uint16_t kPages[] = {0, 65001, 1200, 1252, 28591, 1201, 932, 12000};
  const uint8_t sel = AData[0];
  const uint8_t opt = AData[1];
  const uint16_t cp = kPages[(sel >> 3) & 7];
  AData += 2;
  ASize -= 2;
  std::unique_ptr<uint8_t[]> bytes(new uint8_t[ASize ? ASize : 1]);
  if (ASize) std::memcpy(bytes.get(), AData, ASize);

  if ((opt & 0x40) != 0) {
    LoadAndWrite(bytes.get(), ASize, cp);
    return 0;
  }
  if ((opt & 0x20) != 0) {
    // The component: either reader, no events assigned, from memory or
    // from a stream that cannot seek.
    TXoSAXParser parser;
    int fatal = 0;
    parser.OnFatalError = [&](const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) { ++fatal; };
    try {
      if ((opt & 0x10) != 0) {
        // A stream that cannot step back: what the choice of the reader
        // reads ahead must reach the reader all the same.
        std::istringstream in(std::string(reinterpret_cast<const char*>(bytes.get()), ASize));
        TXoStdInStream s(in);
        parser.ParseStream(&s, cp);
      } else {
        parser.ParseBuffer(bytes.get(), static_cast<int64_t>(ASize), cp);
      }
    } catch (const Exception&) {
      if (fatal != 1) std::abort();
    }
    return 0;
  }

  TFuzzHandler h;
  TXoSAXJSONReader reader;
  h.Reader = &reader;
  h.RaiseAt = (opt & 0x80) ? (opt & 0x1F) : -1;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(&h));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(&h));
  bool failed = false;
  try {
    switch (sel & 7) {
      case 0:
        reader.ParseBuffer(bytes.get(), static_cast<int64_t>(ASize), cp);
        break;
      case 1: {
        TXoMemoryStream ms(bytes.get(), static_cast<int64_t>(ASize));
        ms.Seek(static_cast<int64_t>((opt >> 1) & 3), soBeginning);
        reader.ParseStream(&ms, cp);
        break;
      }
      case 2:
        reader.Parse(std::string(reinterpret_cast<const char*>(bytes.get()), ASize), cp);
        break;
      case 3: {
        std::u16string text(ASize / 2, u'\0');
        if (!text.empty()) std::memcpy(text.data(), bytes.get(), text.size() * 2);
        reader.Parse(text);
        break;
      }
      default: {
        // A stream that is not in memory: the scanner reads it into a buffer.
        std::istringstream in(std::string(reinterpret_cast<const char*>(bytes.get()), ASize));
        TXoStdInStream s(in);
        reader.ParseStream(&s, cp);
        break;
      }
    }
  } catch (const Exception&) {
    failed = true;
    if (h.Fatal != 1 || h.Ended) std::abort();
  }
  if (!failed && (!h.Ended || h.Fatal != 0)) std::abort();
  return 0;
}
