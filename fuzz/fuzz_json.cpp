// Drives the JSON reader and the form URL-encoded reader over arbitrary
// bytes through every parse entry point and code page path, with a handler
// that checks the order of the events and may raise from one of them; the
// string tokens also go through the escaping functions.
// Checked: no crash, no read outside the input (exact-size copies under
// AddressSanitizer), no hang, and the readers' promises: a failed parse calls
// FatalError exactly once and delivers no EndDocument, a successful one ends
// with EndDocument, the JSON reader's events nest properly, and nothing but
// xo's exceptions leaves a parse.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "uXoJSON.h"

using namespace xo;

namespace {

class TFuzzHandler : public TXoObject, public virtual IXoJSONContentHandler, public virtual IXoJSONErrorHandler {
public:
  TXoJSONReader* Reader = nullptr;
  bool Form = false;
  int RaiseAt = -1;
  int Events = 0;
  int Fatal = 0;
  bool Started = false, Ended = false;
  std::vector<char> Open;  // 'o' object, 'a' array, 'm' member
  size_t Sum = 0;

  void Tick() {
    if (Ended || (!Started && Events > 0)) std::abort();
    if (Events++ == RaiseAt) throw EXoException(std::u16string(u"raised by the handler"));
    if ((Events & 15) == 0 && Reader) Sum += static_cast<size_t>(Reader->GetLineNr() + Reader->GetColNr());
  }
  void Push(char c) { Open.push_back(c); }
  void Pop(char c) {
    // The form reader's events nest for the forms it serves only.
    if (Form) return;
    if (Open.empty() || Open.back() != c) std::abort();
    Open.pop_back();
  }

  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>&) override {}
  void StartDocument() override {
    if (Started) std::abort();
    Started = true;
    Tick();
  }
  void StartObject() override {
    Tick();
    if (!Form && !Open.empty() && Open.back() == 'o') std::abort();
    Push('o');
  }
  void StartMember(const XoJSONString& AName) override {
    Tick();
    if (!Form && (Open.empty() || Open.back() != 'o')) std::abort();
    Sum += AName.size();
    Push('m');
  }
  void StartArray() override {
    Tick();
    Push('a');
  }
  void Value(TXoJSONDataType AType, const XoJSONString& AValue) override {
    Tick();
    if (AType > jdtBoolean) std::abort();
    if (!Form && !Open.empty() && Open.back() == 'o') std::abort();
    Sum += AValue.size();
    if (AType == jdtString) {
      try {
        XoJSONString plain = XoJSONtoStr(AValue, AType);
        Sum += XoStrToJSON(plain).size();
      } catch (const EConvertError&) {
      }
    }
  }
  void EndArray() override {
    Tick();
    Pop('a');
  }
  void EndMember() override {
    Tick();
    Pop('m');
  }
  void EndObject() override {
    Tick();
    Pop('o');
  }
  void EndDocument() override {
    Tick();
    if (!Form && !Open.empty()) std::abort();
    Ended = true;
  }
  void Warning(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override { std::abort(); }
  void Error(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override { std::abort(); }
  void FatalError(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& AMsg) override {
    ++Fatal;
    Sum += AMsg.size() + static_cast<size_t>(ALocator->GetLineNr() + ALocator->GetColNr());
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 2) return 0;
  // Byte 0: entry point and code page; byte 1: options.
  static const uint16_t kPages[] = {0, 65001, 1200, 1252, 28591, 1201, 932, 12000};
  const uint8_t sel = AData[0];
  const uint8_t opt = AData[1];
  const uint16_t cp = kPages[(sel >> 3) & 7];
  const bool form = (opt & 1) != 0;
  AData += 2;
  ASize -= 2;
  std::unique_ptr<uint8_t[]> bytes(new uint8_t[ASize ? ASize : 1]);
  if (ASize) std::memcpy(bytes.get(), AData, ASize);

  TIntfPtr<TFuzzHandler> h(new TFuzzHandler());
  std::unique_ptr<TXoJSONReader> reader(form ? new TXoFormURLEncodedJSONReader : new TXoJSONReader);
  h->Reader = reader.get();
  h->Form = form;
  h->RaiseAt = (opt & 0x80) ? (opt & 0x3F) : -1;
  reader->SetContentHandler(TIntfPtr<IXoJSONContentHandler>(h.get()));
  reader->SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(h.get()));
  bool failed = false;
  try {
    switch (sel & 7) {
      case 0:
        reader->ParseBuffer(bytes.get(), static_cast<int64_t>(ASize), cp);
        break;
      case 1: {
        TXoMemoryStream ms(bytes.get(), static_cast<int64_t>(ASize));
        ms.Seek(static_cast<int64_t>((opt >> 1) & 3), soBeginning);
        reader->ParseStream(&ms, cp);
        break;
      }
      case 2:
        reader->Parse(std::string(reinterpret_cast<const char*>(bytes.get()), ASize), cp);
        break;
      case 3: {
        std::u16string text(ASize / 2, u'\0');
        if (!text.empty()) std::memcpy(text.data(), bytes.get(), text.size() * 2);
        reader->Parse(text);
        break;
      }
      default: {
        // A stream that is not in memory: the scanner reads it into a buffer.
        std::istringstream in(std::string(reinterpret_cast<const char*>(bytes.get()), ASize));
        TXoStdInStream s(in);
        reader->ParseStream(&s, cp);
        break;
      }
    }
  } catch (const Exception&) {
    failed = true;
    if (h->Fatal != 1 || h->Ended) std::abort();
  }
  if (!failed && (!h->Ended || h->Fatal != 0)) std::abort();
  return 0;
}
