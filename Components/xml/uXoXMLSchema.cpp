// uXoXMLSchema: typed records over a DOM element.
#include "uXoXMLSchema.h"

#include <algorithm>

#include "uXoXMLUtils.h"

namespace xo {

TXoXMLSchemaElement::TXoXMLSchemaElement(TXoDOMElement* ADOMElement) : FDOMElement(ADOMElement) {
  if (!ADOMElement) throw EArgumentNilException(u"A schema element needs a DOM element");
  FDOMElementRef = ADOMElement->GetInterface();
}

TXoXMLSchemaElement::TXoXMLSchemaElement(const TIntfPtr<IXoObject>& ADOMElement)
    : TXoXMLSchemaElement(XoDOMAsElement(TXoDOMObjectImpl::Node(ADOMElement))) {}

TXoXMLSchemaElement::~TXoXMLSchemaElement() {
  FreeArrayElements();
  FreeSubElements();
  for (auto& [index, info] : FSchemaInfo) delete info;
  // FDOMElementRef lets go of the element last.
}

void TXoXMLSchemaElement::FreeArrayElements() {
  // Taken out first, so that an array object that reaches back into this
  // wrapper while it goes finds nothing half freed.
  std::map<int32_t, TObject*> arrays;
  arrays.swap(FArrayElements);
  for (auto& [index, obj] : arrays) delete obj;
}

void TXoXMLSchemaElement::FreeSubElements() {
  std::vector<TXoXMLSchemaElement*> subs;
  subs.swap(FSubElements);
  for (TXoXMLSchemaElement* s : subs) delete s;
}

// ---------------------------------------------------------------------------
// Description

TXoXMLSchemaInfo* TXoXMLSchemaElement::AddSchemaInfo(int32_t AIndex, TXoDOMNodeType ANodeType,
                                                     std::u16string_view AName, int32_t AMinOccurs,
                                                     int32_t AMaxOccurs, bool ARequired, int32_t AChoiceIdx) {
  if (FSchemaInfo.count(AIndex)) throw EListError(_cXoSchemaDuplicateIndex);
  auto* info = new TXoXMLSchemaInfo(AName, ANodeType);
  info->FMinOccurs = AMinOccurs;
  info->FMaxOccurs = AMaxOccurs;
  info->FRequired = ARequired;
  info->FChoiceIdx = AChoiceIdx;
  FSchemaInfo.emplace(AIndex, info);
  FSchemaInfoList.push_back(info);
  FSchemaIndexList.push_back(AIndex);
  return info;
}

TXoXMLSchemaInfo* TXoXMLSchemaElement::SchemaInfo(int32_t AIndex) const {
  auto it = FSchemaInfo.find(AIndex);
  if (it == FSchemaInfo.end()) throw EListError(_cXoSchemaInvalidIndex);
  return it->second;
}

TXoXMLSchemaInfo* TXoXMLSchemaElement::FindSchemaInfo(std::u16string_view ANodeName) {
  for (TXoXMLSchemaInfo* info : FSchemaInfoList)
    if (XoSameText(info->FName, ANodeName)) return info;
  return nullptr;
}

// ---------------------------------------------------------------------------
// Nodes

TXoDOMNode* TXoXMLSchemaElement::GetNodeByIndex(int32_t AIndex, bool ACreate) {
  TXoXMLSchemaInfo* info = SchemaInfo(AIndex);

  // The handler may fill the node in; while it runs, its own reads of this
  // node come straight here past this step.
  if (OnGetValue && std::find(FCreating.begin(), FCreating.end(), info) == FCreating.end()) {
    FCreating.push_back(info);
    try {
      OnGetValue(this, info);
    } catch (...) {
      FCreating.erase(std::find(FCreating.begin(), FCreating.end(), info));
      throw;
    }
    FCreating.erase(std::find(FCreating.begin(), FCreating.end(), info));
  }

  TXoDOMNode* node = nullptr;
  if (info->FNodeType == ntAttribute) {
    if (FDOMElement->HasAttribute(info->FName))
      node = FDOMElement->AttributeByName(info->FName, TXoDOMSelectOptions());
    else if (info->FRequired)
      ACreate = true;
  } else {
    node = FDOMElement->ElementByName(info->FName, TXoDOMSelectOptions());
    if (!node && (info->FRequired || info->FMinOccurs == 1)) ACreate = true;
  }
  if (node || !ACreate) return node;

  if (info->FNodeType == ntAttribute) return FDOMElement->AddAttribute(info->FName);
  if (!FDOMElement->HasChildElements()) return FDOMElement->AddElement(info->FName);

  // Keep the declaration order: behind the nearest earlier declared element
  // that exists, else in front of all. (An attribute info met on the way is
  // asked for as an element, and so finds nothing.)
  size_t pos = std::find(FSchemaInfoList.begin(), FSchemaInfoList.end(), info) - FSchemaInfoList.begin();
  while (pos-- > 0) {
    if (TXoDOMElement* before = FDOMElement->ElementByName(FSchemaInfoList[pos]->FName, TXoDOMSelectOptions()))
      return FDOMElement->InsertElement(info->FName, rdpAfter, before);
  }
  return FDOMElement->InsertElement(info->FName, rdpFirst, nullptr);
}

TXoDOMNode* TXoXMLSchemaElement::FindNode(std::u16string_view ANodeName) {
  if (ANodeName.empty()) return FDOMElement;
  int32_t index;
  auto matches = [ANodeName](TXoXMLSchemaInfo* info) {
    std::u16string_view name = info->FName;
    if (name == ANodeName) return true;
    size_t colon = name.find(u':');
    return colon != std::u16string_view::npos && name.substr(colon + 1) == ANodeName;
  };
  if (!FindIndex(matches, index)) return nullptr;
  return GetNodeByIndex(index, false);
}

TXoDOMNode* TXoXMLSchemaElement::GetNode(std::u16string_view ANodeName) {
  if (ANodeName.empty()) return FDOMElement;
  int32_t index;
  auto matches = [ANodeName](TXoXMLSchemaInfo* info) {
    std::u16string_view name = info->FName;
    if (name == ANodeName) return true;
    size_t colon = name.find(u':');
    return colon != std::u16string_view::npos && name.substr(colon + 1) == ANodeName;
  };
  if (!FindIndex(matches, index)) throw EListError(_cXoSchemaNodeNotInSchema, {ANodeName});
  return GetNodeByIndex(index, true);
}

void TXoXMLSchemaElement::RemoveNode(std::u16string_view ANodeName) {
  TXoDOMNode* node = FDOMElement->SelectSingleNode(ANodeName, {soCaseInsensitive, soLocalName});
  if (!node) return;
  for (size_t i = FSubElements.size(); i-- > 0;)
    if (FSubElements[i]->AsElement() == node) {
      TXoXMLSchemaElement* sub = FSubElements[i];
      FSubElements.erase(FSubElements.begin() + i);
      delete sub;
    }
  // A path that selects no child of this element (a/b, ".") meets the
  // element's own refusal here.
  FDOMElement->RemoveChild(node);
}

void TXoXMLSchemaElement::Clear() {
  FreeArrayElements();
  FreeSubElements();
  FDOMElement->Clear();
}

void TXoXMLSchemaElement::AssignTo(TXoObjectEx* ADest) {
  if (auto* target = dynamic_cast<TXoXMLSchemaElement*>(ADest)) {
    XoXMLString inner = FDOMElement->GetInnerXML();
    target->Clear();
    target->FDOMElement->SetInnerXML(inner);
    return;
  }
  TXoObjectEx::AssignTo(ADest);
}

XoXMLString TXoXMLSchemaElement::GetXML() { return FDOMElement->GetXML(); }

TObject* TXoXMLSchemaElement::GetArrayElement(int32_t AIndex, const std::function<TObject*()>& AFactory) {
  auto it = FArrayElements.find(AIndex);
  if (it != FArrayElements.end()) return it->second;
  TObject* obj = AFactory();
  FArrayElements.emplace(AIndex, obj);
  return obj;
}

// ---------------------------------------------------------------------------
// Values

bool TXoXMLSchemaElement::GetValue(int32_t AIndex, XoXMLString& AValue) {
  AValue.clear();
  TXoDOMNode* node = GetNodeByIndex(AIndex, false);
  if (!node) return false;
  AValue = node->GetNodeValue();
  return true;
}

void TXoXMLSchemaElement::SetValue(int32_t AIndex, std::u16string_view AValue) {
  TXoDOMNode* node = GetNodeByIndex(AIndex, false);
  if (!node) {
    if (AValue.empty()) return;
    node = GetNodeByIndex(AIndex, true);
  }
  node->SetNodeValue(AValue);
}

// The text of the node through AConvert, or ADefault without a node.
#define XO_SCHEMA_GET(TYPE, DEFAULT, CONVERT) \
  XoXMLString text;                           \
  if (!GetValue(AIndex, text)) return DEFAULT; \
  return CONVERT;

uint8_t TXoXMLSchemaElement::GetByteValue(int32_t AIndex) { XO_SCHEMA_GET(uint8_t, 0, XoXMLToByte(text)) }
void TXoXMLSchemaElement::SetByteValue(int32_t AIndex, uint8_t AValue) { SetValue(AIndex, XoByteToXML(AValue)); }

int16_t TXoXMLSchemaElement::GetShortValue(int32_t AIndex) { XO_SCHEMA_GET(int16_t, 0, XoXMLToSmallint(text)) }
void TXoXMLSchemaElement::SetShortValue(int32_t AIndex, int16_t AValue) { SetValue(AIndex, XoIntToXML(AValue)); }

uint16_t TXoXMLSchemaElement::GetUnsignedShortValue(int32_t AIndex) {
  XO_SCHEMA_GET(uint16_t, 0, XoXMLToWord(text))
}
void TXoXMLSchemaElement::SetUnsignedShortValue(int32_t AIndex, uint16_t AValue) {
  SetValue(AIndex, XoWordToXML(AValue));
}

int32_t TXoXMLSchemaElement::GetIntValue(int32_t AIndex) { XO_SCHEMA_GET(int32_t, 0, XoXMLToInt(text)) }
void TXoXMLSchemaElement::SetIntValue(int32_t AIndex, int32_t AValue) { SetValue(AIndex, XoIntToXML(AValue)); }

uint32_t TXoXMLSchemaElement::GetUnsignedIntValue(int32_t AIndex) {
  XO_SCHEMA_GET(uint32_t, 0, XoXMLToLongword(text))
}
void TXoXMLSchemaElement::SetUnsignedIntValue(int32_t AIndex, uint32_t AValue) {
  SetValue(AIndex, XoLongWordToXML(AValue));
}

int64_t TXoXMLSchemaElement::GetLongValue(int32_t AIndex) { XO_SCHEMA_GET(int64_t, 0, XoXMLToInt64(text)) }
void TXoXMLSchemaElement::SetLongValue(int32_t AIndex, int64_t AValue) { SetValue(AIndex, XoInt64ToXML(AValue)); }

uint64_t TXoXMLSchemaElement::GetUnsignedLongValue(int32_t AIndex) {
  XO_SCHEMA_GET(uint64_t, 0, XoXMLToUInt64(text))
}
void TXoXMLSchemaElement::SetUnsignedLongValue(int32_t AIndex, uint64_t AValue) {
  SetValue(AIndex, XoUInt64ToXML(AValue));
}

double TXoXMLSchemaElement::GetFloatValue(int32_t AIndex) { XO_SCHEMA_GET(double, 0, XoXMLToDouble(text)) }
void TXoXMLSchemaElement::SetFloatValue(int32_t AIndex, double AValue) { SetValue(AIndex, XoDoubleToXML(AValue)); }

long double TXoXMLSchemaElement::GetDoubleValue(int32_t AIndex) {
  XO_SCHEMA_GET(long double, 0, XoXMLToExtended(text))
}
void TXoXMLSchemaElement::SetDoubleValue(int32_t AIndex, long double AValue) {
  SetValue(AIndex, XoExtToXML(AValue));
}

TDateTime TXoXMLSchemaElement::GetDateValue(int32_t AIndex) { XO_SCHEMA_GET(TDateTime, 0, XoXMLToDate(text)) }
void TXoXMLSchemaElement::SetDateValue(int32_t AIndex, TDateTime AValue) {
  SetValue(AIndex, XoDateToXML(AValue, tzfNone));
}

TDateTime TXoXMLSchemaElement::GetTimeValue(int32_t AIndex) {
  XO_SCHEMA_GET(TDateTime, 0, XoXMLToTime(text, tzfNone))
}
void TXoXMLSchemaElement::SetTimeValue(int32_t AIndex, TDateTime AValue) {
  SetValue(AIndex, XoTimeToXML(AValue, tzfNone));
}

TDateTime TXoXMLSchemaElement::GetDatetimeValue(int32_t AIndex) {
  XO_SCHEMA_GET(TDateTime, 0, XoXMLToDateTime(text, tzfNone))
}
void TXoXMLSchemaElement::SetDatetimeValue(int32_t AIndex, TDateTime AValue) {
  SetValue(AIndex, XoDateTimeToXML(AValue, tzfNone));
}

XoXMLString TXoXMLSchemaElement::GetStringValue(int32_t AIndex) {
  XO_SCHEMA_GET(XoXMLString, XoXMLString(), XoXMLToStr(std::u16string_view(text)))
}

XoXMLString TXoXMLSchemaElement::GetXmlValue(int32_t AIndex) {
  XoXMLString text;
  GetValue(AIndex, text);
  return text;
}

XoXMLString TXoXMLSchemaElement::GetJsonValue(int32_t AIndex) { return GetXmlValue(AIndex); }

std::string TXoXMLSchemaElement::GetBase64binaryValue(int32_t AIndex) {
  XO_SCHEMA_GET(std::string, std::string(), XoUTF16ToUTF8(XoXMLToStr(std::u16string_view(text))))
}
void TXoXMLSchemaElement::SetBase64binaryValue(int32_t AIndex, std::string_view AValue) {
  SetValue(AIndex, TXoEncoding::ConvertA(AValue, 0));
}

bool TXoXMLSchemaElement::GetBooleanValue(int32_t AIndex) {
  XO_SCHEMA_GET(bool, false, XoXMLToBool(std::u16string_view(text)))
}
void TXoXMLSchemaElement::SetBooleanValue(int32_t AIndex, bool AValue) { SetValue(AIndex, XoBoolToXML(AValue)); }

TGUID TXoXMLSchemaElement::GetGuidValue(int32_t AIndex) { XO_SCHEMA_GET(TGUID, TGUID(), StringToGUID(text)) }
void TXoXMLSchemaElement::SetGuidValue(int32_t AIndex, const TGUID& AValue) {
  SetValue(AIndex, GUIDToString(AValue));
}

#undef XO_SCHEMA_GET

}  // namespace xo
