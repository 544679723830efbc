// uXoJSON: the text of a JSON tree. One loop with its own stack writes a tree
// of any depth; the layout is the model's: a blank behind every colon and
// comma, and in the formatted form a line break after every opening and
// before every closing bracket, with two blanks of indentation per level.
#include "uXoJSON.h"
#include "uXoXMLUtils.h"

namespace xo {

namespace {

// Appends the text of a string variant, escaped for JSON when asked.
void AppendString(XoJSONString& AText, const Variant& AValue, bool AEscape) {
  if (AValue.VarType() == varOleStr || AValue.VarType() == varUString) {
    if (AEscape)
      XoAppendStrToJSON(AText, AValue.StrRef());
    else
      AText += AValue.StrRef();
    return;
  }
  const XoJSONString s = AValue.AsString();
  if (AEscape)
    XoAppendStrToJSON(AText, s);
  else
    AText += s;
}

}  // namespace

void TXoJSONSimpleType::AppendValueText(XoJSONString& AText) const {
  const bool isString = TXoTypes::VarMainTypeKind(FValue) == mtkString;
  switch (FJSONType) {
    case jdtNull:
      AText += u"null";
      return;
    case jdtString:
      AText += u'"';
      if (isString)
        AppendString(AText, FValue, true);
      else if (TXoTypes::VarMainTypeKind(FValue) == mtkDateTime)
        AText += XoVarToStr(FValue, u"", false);
      else
        XoAppendStrToJSON(AText, XoVarToStr(FValue, u"", false));
      AText += u'"';
      return;
    case jdtNumber:
      if (isString)
        AppendString(AText, FValue, false);
      else
        AText += XoVarToJSON(FValue);
      return;
    case jdtBoolean:
      if (isString)
        AppendString(AText, FValue, false);
      else
        AText += XoVarToBool(FValue, false, false) ? u"true" : u"false";
      return;
    default:
      throw EXoJSONException(std::u16string(_cXoJSONUnexpectedType), cXoJSONErrUnexpectedType);
  }
}

namespace {

void Pad(XoJSONString& AText, int32_t ADepth) {
  if (ADepth > 0) AText.append(static_cast<size_t>(ADepth) * 2, u' ');
}

}  // namespace

void TXoJSONBase::SaveToString(XoJSONString& AText, bool AFormatted, int32_t ADepth, bool AAddLeadingSpace) {
  struct TFrame {
    TXoJSONBase* Node;
    size_t Next;
    int32_t Depth;
    bool Lead;
  };
  std::vector<TFrame> stack;
  // Writes the start of a node; a node with children to come gets a frame.
  auto open = [&](TXoJSONBase* ANode, int32_t ADepthOf, bool ALead) {
    const TXoJSONNodeKind kind = ANode->FKind;
    if (kind == TXoJSONNodeKind::Simple) {
      if (AFormatted && ALead) Pad(AText, ADepthOf);
      static_cast<TXoJSONSimpleType*>(ANode)->AppendValueText(AText);
      return;
    }
    if (kind == TXoJSONNodeKind::Member) {
      if (AFormatted && ALead) Pad(AText, ADepthOf);
      AText += u'"';
      XoAppendStrToJSON(AText, static_cast<TXoJSONMember*>(ANode)->Name());
      AText += u"\": ";
    } else if (kind == TXoJSONNodeKind::Object) {
      if (AFormatted) {
        if (ALead) Pad(AText, ADepthOf);
        AText += u"{ \r\n";
      } else {
        AText += u'{';
      }
    } else if (kind == TXoJSONNodeKind::Array) {
      if (AFormatted) {
        if (ALead) Pad(AText, ADepthOf);
        AText += u"[\r\n";
      } else {
        AText += u'[';
      }
    }
    stack.push_back({ANode, 0, ADepthOf, ALead});
  };
  open(this, ADepth, AAddLeadingSpace);
  while (!stack.empty()) {
    TFrame& f = stack.back();
    TXoJSONBase* n = f.Node;
    const auto& children = n->FObjects;
    if (n->FKind == TXoJSONNodeKind::Member) {
      auto* m = static_cast<TXoJSONMember*>(n);
      if (f.Next > 0) {
        stack.pop_back();
        continue;
      }
      f.Next = 1;
      // A member without a value (made by a create step) writes null.
      if (TXoJSONBase* v = m->GetValueObj())
        open(v, f.Depth, false);
      else
        AText += u"null";
      continue;
    }
    const bool object = n->FKind == TXoJSONNodeKind::Object;
    const bool array = n->FKind == TXoJSONNodeKind::Array;
    if (!object && !array) {
      // Any other node writes its children in turn, with its own arguments.
      if (f.Next < children.size()) {
        TXoJSONBase* c = children[f.Next++];
        const int32_t depth = f.Depth;
        const bool lead = f.Lead;
        open(c, depth, lead);
      } else {
        stack.pop_back();
      }
      continue;
    }
    if (f.Next < children.size()) {
      if (f.Next > 0) AText += u", ";
      const bool first = f.Next == 0;
      TXoJSONBase* c = children[f.Next++];
      const int32_t depth = f.Depth + 1;
      open(c, depth, first);
      continue;
    }
    if (AFormatted) {
      AText += u"\r\n";
      Pad(AText, f.Depth);
    }
    AText += object ? u'}' : u']';
    stack.pop_back();
  }
}

void TXoJSONBase::SaveToStream(TStream* AStream, bool AFormatted, int32_t ADepth, bool AAddLeadingSpace) {
  XoJSONString text;
  SaveToString(text, AFormatted, ADepth, AAddLeadingSpace);
  if (!text.empty()) AStream->WriteBuffer(text.data(), static_cast<int64_t>(text.size() * 2));
}

XoJSONString TXoJSONBase::GetAsJSON() {
  XoJSONString text;
  SaveToString(text, false, 0, false);
  return text;
}

XoJSONString TXoJSONDocument::GetAsJSON() {
  XoJSONString text;
  SaveToString(text, false, 0, false);
  return text;
}

XoJSONString TXoJSONDocument::GetFormattedJSON() {
  XoJSONString text;
  SaveToString(text, true, 0, false);
  return text;
}

void TXoJSONDocument::SaveToStream(TStream* AStream, bool AFormatted, uint16_t ACodePage, bool AWriteBOM) {
  XoJSONString text;
  SaveToString(text, AFormatted, 0, false);
  switch (ACodePage) {
    case 1200:
      if (AWriteBOM) AStream->WriteBuffer(cXoUTF16LE, 2);
      if (!text.empty()) AStream->WriteBuffer(text.data(), static_cast<int64_t>(text.size() * 2));
      return;
    case 65001: {
      if (AWriteBOM) AStream->WriteBuffer(cXoUTF8, 3);
      std::string bytes = XoUTF16ToUTF8(text);
      if (!bytes.empty()) AStream->WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
      return;
    }
    default: {
      std::string bytes = TXoEncoding::ConvertW(text, ACodePage);
      if (!bytes.empty()) AStream->WriteBuffer(bytes.data(), static_cast<int64_t>(bytes.size()));
      return;
    }
  }
}

void TXoJSONDocument::SaveToFile(const XoJSONString& AFileName, bool AFormatted) {
  TFileStream stream(AFileName, fmCreate);
  SaveToStream(&stream, AFormatted, static_cast<uint16_t>(65001), true);
}

}  // namespace xo
