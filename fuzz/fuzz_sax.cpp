// Drives the SAX XML reader over arbitrary bytes through every parse entry
// point and code page path. A handler looks at everything it is given
// (attributes by every lookup, the locator) and may raise from an event.
// Checked: no crash, no read outside the input (exact-size copies under
// AddressSanitizer), no hang, and the reader's promises: a failed parse calls
// FatalError exactly once, a successful one ends with EndDocument, and
// nothing but xo's exceptions leaves a parse.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "uXoSAX.h"

using namespace xo;

namespace {

class TFuzzHandler : public TXoObject,
                     public virtual IXoSAXContentHandler,
                     public virtual IXoSAXLexicalHandler,
                     public virtual IXoSAXErrorHandler {
public:
  TXoSAXReader* Reader = nullptr;
  int RaiseAt = -1;  // raise from this event (counted from 0), -1 never
  int Events = 0;
  int Fatal = 0;
  bool Ended = false;
  size_t Sum = 0;

  void Tick(const XoXMLString& AText = {}) {
    Sum += AText.size();
    if (Ended) std::abort();  // nothing after EndDocument
    if (Events++ == RaiseAt) throw EXoException(std::u16string(u"raised by the handler"));
    if ((Events & 15) == 0 && Reader) Sum += static_cast<size_t>(Reader->GetLineNr() + Reader->GetColNr() + Reader->GetPosition());
  }

  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) override {}
  void Characters(const XoXMLString& AText) override { Tick(AText); }
  void EndDocument() override {
    Tick();
    Ended = true;
  }
  void EndElement(const XoXMLString& AURI, const XoXMLString& ALocal, const XoXMLString& AQName) override {
    Tick(AURI + ALocal + AQName);
  }
  void EndPrefixMapping(const XoXMLString& APrefix) override { Tick(APrefix); }
  void IgnorableWhitespace(const XoXMLString& AText) override { Tick(AText); }
  void ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) override { Tick(ATarget + AData); }
  void SkippedEntity(const XoXMLString& AName) override { Tick(AName); }
  void StartDocument() override { Tick(); }
  void StartElement(const XoXMLString& AURI, const XoXMLString& ALocal, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& A) override {
    Tick(AURI + ALocal + AQName);
    int32_t n = A->Count();
    int32_t walked = 0;
    for (PXoSAXXMAttribute a = A->FirstAttribute(); a; a = a->Next) {
      if (a->Idx != walked++) std::abort();
      Sum += a->Value.size() + a->URI.size();
      if (A->GetIndex(a->QName) < 0) std::abort();
      if (A->GetIndex(a->URI, a->LocalName) < 0) std::abort();
      A->GetValue(a->QName);
      A->GetValue(u"*", a->LocalName);
      A->GetType(a->URI, a->LocalName);
    }
    if (walked != n) std::abort();
    for (int32_t i = -1; i <= n; ++i) {
      try {
        Sum += A->GetValue(i).size() + A->GetQName(i).size() + A->GetLocalName(i).size() + A->GetURI(i).size();
        A->GetType(i);
      } catch (const EXoXMLParseError& e) {
        if (e.Code() != 4 || (i >= 0 && i < n)) std::abort();
      }
    }
    try {
      A->GetValue(u"\u0001none");
      std::abort();
    } catch (const EXoXMLParseError&) {
    }
  }
  void StartPrefixMapping(const XoXMLString& APrefix, const XoXMLString& AURI) override { Tick(APrefix + AURI); }

  void Comment(const XoXMLString& AText) override { Tick(AText); }
  void StartCDATA() override { Tick(); }
  void StartDTD() override { Tick(); }
  void StartEntity(const XoXMLString& AName) override { Tick(AName); }
  void EndCDATA() override { Tick(); }
  void EndDTD() override { Tick(); }
  void EndEntity(const XoXMLString& AName) override { Tick(AName); }

  void Warning(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override { std::abort(); }
  void Error(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override { std::abort(); }
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& AMsg) override {
    ++Fatal;
    Sum += AMsg.size() + static_cast<size_t>(ALocator->GetLineNr() + ALocator->GetColNr());
  }
};

const std::string& TempFile() {
  static const std::string path = "/tmp/xo_fuzz_sax_" + std::to_string(getpid()) + ".xml";
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 2) return 0;
  // Byte 0: entry point and code page; byte 1: options.
  static const uint16_t kPages[] = {0, 65001, 1200, 1252, 28591, 1201, 932, 20127};
  const uint8_t sel = AData[0];
  const uint8_t opt = AData[1];
  const uint16_t cp = kPages[(sel >> 3) & 7];
  AData += 2;
  ASize -= 2;
  // Exact-size copies, so that any read past the end is caught.
  std::unique_ptr<uint8_t[]> bytes(new uint8_t[ASize ? ASize : 1]);
  if (ASize) std::memcpy(bytes.get(), AData, ASize);

  TIntfPtr<TFuzzHandler> h(new TFuzzHandler());
  TXoSAXXMLReader reader;
  h->Reader = &reader;
  h->RaiseAt = (opt & 0x80) ? (opt & 0x3F) : -1;
  reader.SetCheckSingleRootElm((opt & 1) == 0);
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
  if (opt & 2) reader.SetLexicalHandler(TIntfPtr<IXoSAXLexicalHandler>(h.get()));

  for (int round = 0; round < ((opt & 0x40) ? 2 : 1); ++round) {
    h->Events = 0;
    h->Fatal = 0;
    h->Ended = false;
    bool failed = false, reported = true;
    try {
      switch (sel & 7) {
        case 0:
          reader.ParseBuffer(bytes.get(), static_cast<int64_t>(ASize), cp);
          break;
        case 1: {
          TXoMemoryStream ms(bytes.get(), static_cast<int64_t>(ASize));
          reader.ParseStream(&ms, cp);
          break;
        }
        case 2:
          reader.Parse(std::string(reinterpret_cast<const char*>(bytes.get()), ASize), cp);
          break;
        case 3: {
          // A string of ASize / 2 units: the declaration is never looked at.
          std::u16string text(ASize / 2, u'\0');
          if (!text.empty()) std::memcpy(text.data(), bytes.get(), text.size() * 2);
          reader.Parse(text);
          break;
        }
        case 4: {
          // A stream that is not in memory: the scanner reads it into a buffer.
          std::istringstream in(std::string(reinterpret_cast<const char*>(bytes.get()), ASize));
          TXoStdInStream s(in);
          reader.ParseStream(&s, cp);
          break;
        }
        case 5: {
          // A file: byte-order mark detection, then the declaration.
          std::FILE* f = std::fopen(TempFile().c_str(), "wb");
          if (!f) return 0;
          if (ASize) std::fwrite(bytes.get(), 1, ASize, f);
          std::fclose(f);
          reader.ParseFile(XoUTF8ToUTF16(TempFile()));
          break;
        }
        case 6: {
          // The stream position is honoured: parse from the middle.
          TXoMemoryStream ms(bytes.get(), static_cast<int64_t>(ASize));
          ms.Seek(static_cast<int64_t>(ASize / 3), soBeginning);
          reader.ParseStream(&ms, cp);
          break;
        }
        default: {
          // The scanner alone, with mark detection, and its bound members.
          TXoMemoryStream ms(bytes.get(), static_cast<int64_t>(ASize));
          TXoXMLParser p(&ms, false, true, cp);
          int guard = 0;
          while (!p.GetEOF() && ++guard < 10000) {
            p.SkipWhile(tpsUntilEqual, p.FLt);
            if (p.CheckCurrChar(p.FLt, false)) {
              p.NextChar();
              try {
                p.CheckValidNameStartChar();
              } catch (const EXoXMLParseError&) {
              }
            }
            p.SkipWhile(tpsWhileNotAbove, p.FSpace);
            if (!p.GetEOF()) p.NextChar();
          }
          reported = false;
          break;
        }
      }
    } catch (const EXoException& e) {
      failed = true;
      // Errors before the scanner runs (no handler, an unknown encoding name)
      // are not reported; everything else is reported exactly once.
      if (e.Code() == 10 || e.Code() == 11) reported = false;
      if (h->Fatal > 1) std::abort();
      if (h->Fatal == 0 && h->Events > 0) std::abort();
    } catch (const Exception&) {
      // Stream errors of the file path (e.g. no space) are not the reader's.
      failed = true;
      if (h->Fatal > 1) std::abort();
    }
    if (!failed && reported && (!h->Ended || h->Fatal != 0)) std::abort();
  }
  return 0;
}
