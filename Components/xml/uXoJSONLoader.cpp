// uXoJSON: loading text into the document model (TXoJSONHandler and the
// load operations of the nodes), and the parser component TXoJSONParser.
#include "uXoJSON.h"

namespace xo {

namespace {

[[noreturn]] void RaiseOeps() { throw EXoJSONException(std::u16string(u"oeps?"), 0); }

}  // namespace

// ===========================================================================
// TXoJSONHandler

TXoJSONBase* TXoJSONHandler::Open(TXoJSONDataType AType) {
  TXoJSONBase* cur = FCurrValue;
  if (!cur) RaiseOeps();
  switch (cur->GetNodeKind()) {
    case TXoJSONNodeKind::Document: return static_cast<TXoJSONDocument*>(cur)->CreateRootValue(AType);
    case TXoJSONNodeKind::Array: return static_cast<TXoJSONArray*>(cur)->AddValue(AType);
    case TXoJSONNodeKind::Object: {
      TXoJSONMember* last = static_cast<TXoJSONObject*>(cur)->FLastMember;
      if (!last) RaiseOeps();
      return last->CreateValue(AType);
    }
    case TXoJSONNodeKind::Member: return static_cast<TXoJSONMember*>(cur)->CreateValue(AType);
    default: RaiseOeps();
  }
}

void TXoJSONHandler::StartObject() {
  FPlaceholder = nullptr;
  FCurrValue = Open(jdtObject);
}

void TXoJSONHandler::StartArray() {
  FPlaceholder = nullptr;
  FCurrValue = Open(jdtArray);
}

void TXoJSONHandler::StartMember(const XoJSONString& AName) {
  if (!FCurrValue || FCurrValue->GetNodeKind() != TXoJSONNodeKind::Object) throw Exception(u"Invalid objecttype");
  // A member has a value from the start; what follows replaces it.
  FPlaceholder = static_cast<TXoJSONObject*>(FCurrValue)->AddMember(AName, jdtNull)->GetValueObj();
}

void TXoJSONHandler::Value(TXoJSONDataType AValueType, const XoJSONString& AValue) {
  TXoJSONBase* cur = FCurrValue;
  TXoJSONBase* node;
  if (cur && cur->GetNodeKind() == TXoJSONNodeKind::Array) {
    node = static_cast<TXoJSONArray*>(cur)->AddValue(AValueType);
  } else if (cur && cur->GetNodeKind() == TXoJSONNodeKind::Object) {
    TXoJSONMember* last = static_cast<TXoJSONObject*>(cur)->FLastMember;
    if (!last) RaiseOeps();
    TXoJSONBase* held = last->GetValueObj();
    if (held && held == FPlaceholder && held->GetRefCount() == 1)
      node = held;  // the same as a fresh simple value in its place
    else
      node = last->CreateValue(AValueType);
    FPlaceholder = nullptr;
  } else {
    RaiseOeps();
  }
  // Values are held as text, numbers and literals too; strings decoded.
  static_cast<TXoJSONSimpleType*>(node)->SetRaw(Variant(XoJSONtoStr(AValue, AValueType)), AValueType);
}

void TXoJSONHandler::Climb() {
  if (!FCurrValue) return;
  do {
    FCurrValue = FCurrValue->FOwner;
  } while (FCurrValue && FCurrValue->GetNodeKind() != TXoJSONNodeKind::Object &&
           FCurrValue->GetNodeKind() != TXoJSONNodeKind::Array &&
           FCurrValue->GetNodeKind() != TXoJSONNodeKind::Document);
}

// ===========================================================================
// Loading

void TXoJSONBase::LoadFromStream(TStream* AStream, uint16_t ACodePage, bool AIsUrlFormEncoded) {
  int64_t size = -1;
  try {
    size = AStream->GetSize();
  } catch (const Exception&) {
    size = -1;  // a stream that cannot tell: read it
  }
  if (size == 0) {
    DestroyObjects();
    return;
  }
  std::unique_ptr<TXoJSONReader> reader(AIsUrlFormEncoded ? new TXoFormURLEncodedJSONReader : new TXoJSONReader);
  auto* handler = new TXoJSONHandler(reader.get(), this);
  handler->SetAutoDestroy(false);
  auto cleanup = [&] {
    reader->SetContentHandler(nullptr);
    reader->SetErrorHandler(nullptr);
    handler->Free();
  };
  try {
    reader->SetContentHandler(TIntfPtr<IXoJSONContentHandler>(handler));
    reader->SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(handler));
    reader->ParseStream(AStream, ACodePage, u"");
  } catch (...) {
    cleanup();
    throw;
  }
  cleanup();
}

void TXoJSONBase::SetAsJSON(const XoJSONString& AValue) {
  if (AValue.empty()) {
    DestroyObjects();
    return;
  }
  // The text's own memory is read; nothing is copied.
  TXoMemoryStream stream(AValue.data(), static_cast<int64_t>(AValue.size() * 2));
  LoadFromStream(&stream, 1200, false);
}

XoJSONString XoFormatJSON(const XoJSONString& AJSON) {
  TIntfPtr<IXoJSONDocument> keep;
  auto* doc = new TXoJSONDocument();
  keep = doc;
  doc->SetAsJSON(AJSON);
  return doc->GetAsJSON();
}

XoJSONString XoFormatJSON(const RawByteString& AJSON) {
  TIntfPtr<IXoJSONDocument> keep;
  auto* doc = new TXoJSONDocument();
  keep = doc;
  doc->SetAsJSON(TXoEncoding::ConvertA(AJSON, 0));
  return doc->GetFormattedJSON();
}

// ===========================================================================
// TXoJSONParser

TXoJSONParser::TXoJSONParser(TComponent* AOwner) : TComponent(AOwner) {}

TXoJSONParser::~TXoJSONParser() {
  delete FReader;
  FReader = nullptr;
  FLocator = nullptr;
}

template <class F>
void TXoJSONParser::Run(bool AIsUrlFormEncoded, F&& AParse) {
  delete FReader;
  FReader = AIsUrlFormEncoded ? new TXoFormURLEncodedJSONReader : new TXoJSONReader;
  auto cleanup = [&] {
    TXoJSONReader* r = FReader;
    FReader = nullptr;
    delete r;
  };
  if (OnStart) OnStart(this);
  try {
    FReader->SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(this));
    FReader->SetContentHandler(TIntfPtr<IXoJSONContentHandler>(this));
    AParse(*FReader);
  } catch (...) {
    cleanup();
    throw;
  }
  cleanup();
  if (OnFinished) OnFinished(this);
}

void TXoJSONParser::ParseStream(TStream* AStream, uint16_t ACodePage, bool AIsUrlFormEncoded,
                                const XoJSONString& APublicID) {
  Run(AIsUrlFormEncoded, [&](TXoJSONReader& r) { r.ParseStream(AStream, ACodePage, APublicID); });
}

void TXoJSONParser::ParseBuffer(const void* ABuffer, int64_t ABufSize, uint16_t ACodePage, bool AIsUrlFormEncoded,
                                const XoJSONString& APublicID) {
  Run(AIsUrlFormEncoded, [&](TXoJSONReader& r) { r.ParseBuffer(ABuffer, ABufSize, ACodePage, APublicID); });
}

void TXoJSONParser::ParseFile(const XoJSONString& AFileName, uint16_t AMode, const XoJSONString& APublicID) {
  Run(false, [&](TXoJSONReader& r) { r.ParseFile(AFileName, AMode, APublicID); });
}

void TXoJSONParser::Parse(const XoJSONString& AJSON, const XoJSONString& APublicID) {
  Run(false, [&](TXoJSONReader& r) { r.Parse(AJSON, APublicID); });
}

void TXoJSONParser::Parse(const RawByteString& AJSON, uint16_t ACodePage, const XoJSONString& APublicID) {
  Run(false, [&](TXoJSONReader& r) { r.Parse(AJSON, ACodePage, APublicID); });
}

void TXoJSONParser::StartDocument() {
  if (OnStartDocument) OnStartDocument();
}
void TXoJSONParser::StartObject() {
  if (OnStartObject) OnStartObject();
}
void TXoJSONParser::StartMember(const XoJSONString& AName) {
  if (OnStartMember) OnStartMember(AName);
}
void TXoJSONParser::StartArray() {
  if (OnStartArray) OnStartArray();
}
void TXoJSONParser::Value(TXoJSONDataType AValueType, const XoJSONString& AValue) {
  if (OnValue) OnValue(AValueType, AValue);
}
void TXoJSONParser::EndArray() {
  if (OnEndArray) OnEndArray();
}
void TXoJSONParser::EndMember() {
  if (OnEndMember) OnEndMember();
}
void TXoJSONParser::EndObject() {
  if (OnEndObject) OnEndObject();
}
void TXoJSONParser::EndDocument() {
  if (OnEndDocument) OnEndDocument();
}
void TXoJSONParser::Warning(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) {
  if (OnWarning) OnWarning(ALocator, ErrMsg);
}
void TXoJSONParser::Error(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) {
  if (OnError) OnError(ALocator, ErrMsg);
}
void TXoJSONParser::FatalError(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) {
  if (OnFatalError) OnFatalError(ALocator, ErrMsg);
}

}  // namespace xo
