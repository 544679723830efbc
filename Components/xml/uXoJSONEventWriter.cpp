// uXoJSON: the event dump behind `xo events` for JSON text.
#include "uXoJSON.h"

namespace xo {

const char* XoJSONDataTypeName(TXoJSONDataType AType) {
  switch (AType) {
    case jdtNull: return "null";
    case jdtString: return "string";
    case jdtNumber: return "number";
    case jdtBoolean: return "boolean";
    case jdtObject: return "object";
    case jdtArray: return "array";
  }
  return "unknown";
}

TXoJSONEventWriter::TXoJSONEventWriter(TStream* AOut) : FOut(AOut) { FBuf.reserve(1 << 16); }

TXoJSONEventWriter::~TXoJSONEventWriter() {
  try {
    Flush();
  } catch (...) {
  }
}

void TXoJSONEventWriter::Flush() {
  if (!FBuf.empty() && FOut) FOut->WriteBuffer(FBuf.data(), static_cast<int64_t>(FBuf.size()));
  FBuf.clear();
}

void TXoJSONEventWriter::Line(const char* AEvent) {
  FBuf += AEvent;
  FBuf += '\n';
  if (FBuf.size() >= (1 << 16)) Flush();
}

void TXoJSONEventWriter::Arg(std::u16string_view AText) {
  FBuf += '\t';
  size_t from = 0;
  for (size_t i = 0; i < AText.size(); ++i) {
    char16_t c = AText[i];
    const char* esc = c == u'\\' ? "\\\\" : c == u'\t' ? "\\t" : c == u'\r' ? "\\r" : c == u'\n' ? "\\n" : nullptr;
    if (!esc) continue;
    XoAppendUTF16ToUTF8(FBuf, AText.substr(from, i - from));
    FBuf += esc;
    from = i + 1;
  }
  XoAppendUTF16ToUTF8(FBuf, AText.substr(from));
}

void TXoJSONEventWriter::SetDocumentLocator(const TIntfPtr<IXoJSONLocator>&) {}
void TXoJSONEventWriter::StartDocument() { Line("StartDocument"); }
void TXoJSONEventWriter::StartObject() { Line("StartObject"); }

void TXoJSONEventWriter::StartMember(const XoJSONString& AName) {
  FBuf += "StartMember";
  Arg(AName);
  Line("");
}

void TXoJSONEventWriter::StartArray() { Line("StartArray"); }

void TXoJSONEventWriter::Value(TXoJSONDataType AValueType, const XoJSONString& AValue) {
  FBuf += "Value\t";
  FBuf += XoJSONDataTypeName(AValueType);
  Arg(AValue);
  Line("");
}

void TXoJSONEventWriter::EndArray() { Line("EndArray"); }
void TXoJSONEventWriter::EndMember() { Line("EndMember"); }
void TXoJSONEventWriter::EndObject() { Line("EndObject"); }

void TXoJSONEventWriter::EndDocument() {
  Line("EndDocument");
  Flush();
}

void TXoJSONEventWriter::ErrorLine(const char* AEvent, int64_t ALine, int64_t ACol, const XoJSONString& ErrMsg) {
  FBuf += AEvent;
  FBuf += '\t';
  FBuf += std::to_string(ALine);
  FBuf += '\t';
  FBuf += std::to_string(ACol);
  Arg(ErrMsg);
  Line("");
}

void TXoJSONEventWriter::Warning(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) {
  ErrorLine("Warning", ALocator ? ALocator->GetLineNr() : -1, ALocator ? ALocator->GetColNr() : -1, ErrMsg);
}

void TXoJSONEventWriter::Error(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) {
  ErrorLine("Error", ALocator ? ALocator->GetLineNr() : -1, ALocator ? ALocator->GetColNr() : -1, ErrMsg);
}

void TXoJSONEventWriter::FatalError(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) {
  FFatalErrorSeen = true;
  ErrorLine("FatalError", ALocator ? ALocator->GetLineNr() : -1, ALocator ? ALocator->GetColNr() : -1, ErrMsg);
  Flush();
}

void TXoJSONEventWriter::WriteFatalError(int64_t ALine, int64_t ACol, const XoJSONString& AMessage) {
  FFatalErrorSeen = true;
  ErrorLine("FatalError", ALine, ACol, AMessage);
  Flush();
}

}  // namespace xo
