// uXoSAX: TXoSAXParser, the component that turns the handler calls of either
// reader into events of a program.
#include <memory>

#include "uXoSAX.h"

namespace xo {

TXoSAXParser::TXoSAXParser(TComponent* AOwner) : TComponent(AOwner) {}

TXoSAXParser::~TXoSAXParser() {
  if (FReader) {
    FReader->Free();
    FReader = nullptr;
  }
  FLocator = nullptr;
}

// ---------------------------------------------------------------------------
// Handler operations: each calls its event when one is assigned.

void TXoSAXParser::Warning(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) {
  if (OnWarning) OnWarning(ALocator, ErrMsg);
}
void TXoSAXParser::Error(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) {
  if (OnError) OnError(ALocator, ErrMsg);
}
void TXoSAXParser::FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) {
  if (OnFatalError) OnFatalError(ALocator, ErrMsg);
}
void TXoSAXParser::SetDocumentLocator(const TIntfPtr<IXoSAXLocator>& ALocator) { FLocator = ALocator; }
void TXoSAXParser::Characters(const XoXMLString& AText) {
  if (OnCharacters) OnCharacters(this, AText);
}
void TXoSAXParser::EndDocument() {
  if (OnEndDocument) OnEndDocument(this);
}
void TXoSAXParser::EndElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                              const XoXMLString& AQName) {
  if (OnEndElement) OnEndElement(this, ANamespaceURI, ALocalName, AQName);
}
void TXoSAXParser::EndPrefixMapping(const XoXMLString& APrefix) {
  if (OnEndPrefixMapping) OnEndPrefixMapping(this, APrefix);
}
void TXoSAXParser::IgnorableWhitespace(const XoXMLString& AText) {
  if (OnIgnorableWhitespace) OnIgnorableWhitespace(this, AText);
}
void TXoSAXParser::ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) {
  if (OnProcessingInstruction) OnProcessingInstruction(this, ATarget, AData);
}
void TXoSAXParser::SkippedEntity(const XoXMLString&) {}
void TXoSAXParser::StartDocument() {
  if (OnStartDocument) OnStartDocument(this);
}
void TXoSAXParser::StartElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                                const XoXMLString& AQName, const TIntfPtr<IXoSAXAttributes>& Attributes) {
  if (OnStartElement) OnStartElement(this, ANamespaceURI, ALocalName, AQName, Attributes);
}
void TXoSAXParser::StartPrefixMapping(const XoXMLString& APrefix, const XoXMLString& AURI) {
  if (OnStartPrefixMapping) OnStartPrefixMapping(this, APrefix, AURI);
}
void TXoSAXParser::Comment(const XoXMLString& AText) {
  if (OnComment) OnComment(this, AText);
}
void TXoSAXParser::StartCDATA() {
  if (OnStartCDATA) OnStartCDATA(this);
}
void TXoSAXParser::StartDTD() {
  if (OnStartDTD) OnStartDTD(this);
}
void TXoSAXParser::StartEntity(const XoXMLString&) {}
void TXoSAXParser::EndCDATA() {
  if (OnEndCDATA) OnEndCDATA(this);
}
void TXoSAXParser::EndDTD() {
  if (OnEndDTD) OnEndDTD(this);
}
void TXoSAXParser::EndEntity(const XoXMLString&) {}

// ---------------------------------------------------------------------------
// Parsing

void TXoSAXParser::ParseStream(TStream* AStream, uint16_t ACodePage, const XoXMLString& APublicID) {
  if (OnStart) OnStart(this);
  // The first significant character chooses the reader; the stream stands
  // on it afterwards, or on a byte-order mark in front of it, whose code
  // page replaces a code page of 0 (a stream that cannot step back is
  // continued by one that delivers what was read ahead).
  std::unique_ptr<TStream> rest;
  const char16_t first = XoFirstSignificantChar(AStream, ACodePage, rest);
  TStream* source = rest ? rest.get() : AStream;
  TXoSAXReader* previous = FReader;  // a parse started from one of our own events
  if (first == u'<')
    FReader = new TXoSAXXMLReader();
  else
    FReader = new TXoSAXJSONReader();
  TXoSAXReader* reader = FReader;
  auto release = [&]() {
    reader->SetErrorHandler(nullptr);
    reader->SetLexicalHandler(nullptr);
    reader->SetContentHandler(nullptr);
    FReader = previous;
    reader->Free();
  };
  try {
    reader->SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(this));
    reader->SetLexicalHandler(TIntfPtr<IXoSAXLexicalHandler>(this));
    reader->SetContentHandler(TIntfPtr<IXoSAXContentHandler>(this));
    reader->ParseStream(source, ACodePage, APublicID);
  } catch (...) {
    release();
    throw;
  }
  release();
  if (OnFinished) OnFinished(this);
}

void TXoSAXParser::ParseOwned(TStream* AStream, uint16_t ACodePage, const XoXMLString& APublicID) {
  std::unique_ptr<TStream> owned(AStream);
  ParseStream(AStream, ACodePage, APublicID);
}

void TXoSAXParser::ParseFile(const XoXMLString& AFileName, uint16_t AMode, const XoXMLString& APublicID) {
  if (OnStart) OnStart(this);
  std::unique_ptr<TStream> stream;
  uint16_t cp = 0;
  try {
    stream = std::make_unique<TFileStream>(AFileName, AMode);
    if (stream->Seek(0, soCurrent) < 0) {
      // A pipe or a FIFO cannot be probed and stepped back: read it whole
      // (up to the readers' size limit), then look at its mark.
      auto mem = std::make_unique<TMemoryStream>();
      const int64_t limit = XoGetMaxInputSize();
      uint8_t buf[65536];
      for (;;) {
        const int64_t n = stream->Read(buf, sizeof buf);
        if (n <= 0) break;
        if (mem->GetSize() + n > limit) throw EXoInputTooLarge(limit);
        mem->Write(buf, n);
      }
      mem->Seek(0, soBeginning);
      stream = std::move(mem);
    }
    cp = XoGetCodePage(stream.get());
  } catch (...) {
    // Opening and reading the file are part of the parse: the failure is
    // told like one, and leaves as one of the library's exceptions.
    const std::exception_ptr error = XoLibraryException(std::current_exception());
    XoXMLString msg;
    try {
      std::rethrow_exception(error);
    } catch (const Exception& e) {
      msg = e.Message();
    }
    FatalError(nullptr, msg);
    std::rethrow_exception(error);
  }
  ParseStream(stream.get(), cp, APublicID);
  stream.reset();
  if (OnFinished) OnFinished(this);
}

void TXoSAXParser::ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage,
                               const XoXMLString& APublicID) {
  if (OnStart) OnStart(this);
  ParseOwned(new TXoMemoryStream(ABuffer, ABuffer ? std::max<int64_t>(ASize, 0) : 0), ACodePage, APublicID);
  if (OnFinished) OnFinished(this);
}

void TXoSAXParser::Parse(const XoXMLString& AText, const XoXMLString& APublicID) {
  if (OnStart) OnStart(this);
  ParseOwned(new TXoMemoryStream(AText.data(), static_cast<int64_t>(AText.size() * 2)), 1200, APublicID);
  if (OnFinished) OnFinished(this);
}

void TXoSAXParser::Parse(const RawByteString& AAnsiText, uint16_t ACodePage, const XoXMLString& APublicID) {
  if (OnStart) OnStart(this);
  ParseOwned(new TXoMemoryStream(AAnsiText.data(), static_cast<int64_t>(AAnsiText.size())), ACodePage,
             APublicID);
  if (OnFinished) OnFinished(this);
}

}  // namespace xo
