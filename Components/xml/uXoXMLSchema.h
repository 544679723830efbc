// uXoXMLSchema: typed records over a DOM element.
//
// A descendant of TXoXMLSchemaElement describes once, in its constructor,
// which child elements and attributes its element may have: each gets an
// index, a name and occurrence limits (AddSchemaInfo). It then reads and
// writes them by index through typed accessors (GetIntValue(1),
// SetStringValue(2, u"x"), ...), which it usually exposes as methods named
// after the schema. Two things make the wrapper more than a lookup:
//
//  - writing a node that does not exist yet puts the new element where the
//    schema order wants it: behind the nearest earlier declared element that
//    exists, or in front of everything;
//  - reading a required node (or an element with a minimum occurrence of 1)
//    that does not exist creates it, empty.
//
// The wrapper does not own the document. It holds a counted reference on its
// element, as an interface reference would: the element stays valid while the
// wrapper lives, also when its tree lets go of it, and an element without a
// parent that only the wrapper references is freed with the wrapper. The
// wrapper owns its descriptions, the sub-wrappers a descendant made for child
// elements (GetSubElement) and the arrays of repeated elements (GetArray).
//
// See examples/schema_order.h for a complete descendant.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "uXoClasses.h"
#include "uXoSysUtils.h"
#include "uXoXMLDOM.h"

namespace xo {

inline constexpr char16_t _cXoSchemaInvalidIndex[] = u"Invalid Schema Index";
inline constexpr char16_t _cXoSchemaNodeNotInSchema[] = u"The specified nodename (%s) is not part of the Schema!";
inline constexpr char16_t _cXoSchemaDuplicateIndex[] = u"Duplicates not allowed";

class TXoXMLSchemaElement;

// One node of a description: an attribute (FNodeType ntAttribute) or an
// element (any other node type).
class TXoXMLSchemaInfo : public TObject {
public:
  TXoXMLSchemaInfo(std::u16string_view AName, TXoDOMNodeType ANodeType) : FNodeType(ANodeType), FName(AName) {}

  TXoDOMNodeType FNodeType;
  // The node name; may carry a prefix and a colon.
  XoXMLString FName;
  // 1 makes a read of an absent element create it.
  int32_t FMinOccurs = 0;
  // Kept for descendants; no behaviour here.
  int32_t FMaxOccurs = 0;
  // A read of the absent node creates it (element or attribute).
  bool FRequired = false;
  // Kept for descendants; no behaviour here.
  int32_t FChoiceIdx = 0;
};

// Asked before a node of the description is looked at; the handler may fill
// the node in. A handler that reads the same node again is not called again
// for it while it runs.
using TXoXMLSchemaElementOnGetValue =
    std::function<void(TXoXMLSchemaElement* ASender, TXoXMLSchemaInfo* ASchemaInfo)>;

// "Class reference" of wrappers: makes a wrapper of some descendant over an
// element. XoSchemaElementClass<T>() gives the one of T.
using TXoXMLSchemaElementClass = TXoXMLSchemaElement* (*)(TXoDOMElement* ADOMElement);
template <class T>
TXoXMLSchemaElementClass XoSchemaElementClass() {
  return [](TXoDOMElement* AElement) -> TXoXMLSchemaElement* { return new T(AElement); };
}

class TXoXMLSchemaElement : public TXoObjectEx {
public:
  // ADOMElement must not be nil (EArgumentNilException).
  explicit TXoXMLSchemaElement(TXoDOMElement* ADOMElement);
  // The element behind an interface that came from the DOM.
  explicit TXoXMLSchemaElement(const TIntfPtr<IXoObject>& ADOMElement);
  ~TXoXMLSchemaElement() override;
  TXoXMLSchemaElement(const TXoXMLSchemaElement&) = delete;
  TXoXMLSchemaElement& operator=(const TXoXMLSchemaElement&) = delete;

  // The element presented.
  TXoDOMElement* AsElement() const { return FDOMElement; }
  // Frees the array objects and the sub-wrappers and clears the element
  // (children and attributes); the description stays.
  void Clear();
  // The first info whose name equals ANodeName ignoring case; nil if none.
  TXoXMLSchemaInfo* FindSchemaInfo(std::u16string_view ANodeName);
  // The node of the first info named ANodeName, or whose name behind its
  // first colon is ANodeName (case counts); the element itself for an empty
  // name. FindNode creates nothing that the description does not force and
  // gives nil for an unknown name; GetNode creates the node and raises
  // EListError for an unknown name.
  TXoDOMNode* FindNode(std::u16string_view ANodeName);
  TXoDOMNode* GetNode(std::u16string_view ANodeName);
  // Removes the first node the name selects (as a path, local names, case
  // ignored), with the sub-wrappers made for it; nothing when none. A node
  // that is no child of the element raises the element's assertion.
  void RemoveNode(std::u16string_view ANodeName);
  // The XML text of the element.
  XoXMLString GetXML();

  // The value event, asked before a node of the description is looked at:
  // assigned directly or through the accessors.
  TXoXMLSchemaElementOnGetValue OnGetValue;
  const TXoXMLSchemaElementOnGetValue& GetOnGetValue() const { return OnGetValue; }
  void SetOnGetValue(TXoXMLSchemaElementOnGetValue AHandler) { OnGetValue = std::move(AHandler); }

  // -------------------------------------------------------------------------
  // The building blocks of descendants.

  // Describes a node under AIndex. An index used twice raises EListError
  // "Duplicates not allowed".
  TXoXMLSchemaInfo* AddSchemaInfo(int32_t AIndex, TXoDOMNodeType ANodeType, std::u16string_view AName,
                                  int32_t AMinOccurs = 0, int32_t AMaxOccurs = 1, bool ARequired = false,
                                  int32_t AChoiceIdx = 0);
  // The descriptions in declaration order.
  const std::vector<TXoXMLSchemaInfo*>& SchemaInfoList() const { return FSchemaInfoList; }
  // The info under AIndex; EListError "Invalid Schema Index" when none.
  TXoXMLSchemaInfo* SchemaInfo(int32_t AIndex) const;

  // The node of AIndex. A required node (an element also with a minimum
  // occurrence of 1) is created when absent, and so is any node with
  // ACreate; new elements go where the declaration order puts them.
  TXoDOMNode* GetNodeByIndex(int32_t AIndex, bool ACreate);
  TXoDOMNode* GetNodeByIndex(int32_t, const char16_t*) = delete;
  // The decoded value of the node into AValue (emptied first); false when
  // there is no node.
  bool GetValue(int32_t AIndex, XoXMLString& AValue);
  // Sets the node's value; an absent node is created unless AValue is empty.
  void SetValue(int32_t AIndex, std::u16string_view AValue);

  // Typed accessors. An absent node reads as 0, false, the empty text or the
  // all-zero GUID; text of a present node that does not convert raises as
  // the text readers do.
  uint8_t GetByteValue(int32_t AIndex);
  void SetByteValue(int32_t AIndex, uint8_t AValue);
  uint8_t GetUnsignedByteValue(int32_t AIndex) { return GetByteValue(AIndex); }
  void SetUnsignedByteValue(int32_t AIndex, uint8_t AValue) { SetByteValue(AIndex, AValue); }
  int16_t GetShortValue(int32_t AIndex);
  void SetShortValue(int32_t AIndex, int16_t AValue);
  uint16_t GetUnsignedShortValue(int32_t AIndex);
  void SetUnsignedShortValue(int32_t AIndex, uint16_t AValue);
  int32_t GetIntValue(int32_t AIndex);
  void SetIntValue(int32_t AIndex, int32_t AValue);
  int32_t GetIntegerValue(int32_t AIndex) { return GetIntValue(AIndex); }
  void SetIntegerValue(int32_t AIndex, int32_t AValue) { SetIntValue(AIndex, AValue); }
  uint32_t GetUnsignedIntValue(int32_t AIndex);
  void SetUnsignedIntValue(int32_t AIndex, uint32_t AValue);
  uint32_t GetNonNegativeIntegerValue(int32_t AIndex) { return GetUnsignedIntValue(AIndex); }
  void SetNonNegativeIntegerValue(int32_t AIndex, uint32_t AValue) { SetUnsignedIntValue(AIndex, AValue); }
  int64_t GetLongValue(int32_t AIndex);
  void SetLongValue(int32_t AIndex, int64_t AValue);
  int64_t GetInt64Value(int32_t AIndex) { return GetLongValue(AIndex); }
  void SetInt64Value(int32_t AIndex, int64_t AValue) { SetLongValue(AIndex, AValue); }
  int64_t GetInteger64Value(int32_t AIndex) { return GetLongValue(AIndex); }
  void SetInteger64Value(int32_t AIndex, int64_t AValue) { SetLongValue(AIndex, AValue); }
  uint64_t GetUnsignedLongValue(int32_t AIndex);
  void SetUnsignedLongValue(int32_t AIndex, uint64_t AValue);
  double GetFloatValue(int32_t AIndex);
  void SetFloatValue(int32_t AIndex, double AValue);
  double GetDecimalValue(int32_t AIndex) { return GetFloatValue(AIndex); }
  void SetDecimalValue(int32_t AIndex, double AValue) { SetFloatValue(AIndex, AValue); }
  long double GetDoubleValue(int32_t AIndex);
  void SetDoubleValue(int32_t AIndex, long double AValue);
  // Dates and times in local time (no zone written, a zone in the text
  // honoured on reading).
  TDateTime GetDateValue(int32_t AIndex);
  void SetDateValue(int32_t AIndex, TDateTime AValue);
  TDateTime GetTimeValue(int32_t AIndex);
  void SetTimeValue(int32_t AIndex, TDateTime AValue);
  TDateTime GetDatetimeValue(int32_t AIndex);
  void SetDatetimeValue(int32_t AIndex, TDateTime AValue);
  TDateTime GetTimeInstantValue(int32_t AIndex) { return GetDatetimeValue(AIndex); }
  void SetTimeInstantValue(int32_t AIndex, TDateTime AValue) { SetDatetimeValue(AIndex, AValue); }
  // Text: the node value with entity references decoded once more; set as
  // handed in.
  XoXMLString GetStringValue(int32_t AIndex);
  void SetStringValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  // UTF-8 form.
  void SetStringValue(int32_t AIndex, std::string_view AValue) { SetValue(AIndex, XoUTF8ToUTF16(AValue)); }
  XoXMLString GetDurationValue(int32_t AIndex) { return GetStringValue(AIndex); }
  void SetDurationValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  XoXMLString GetLanguageValue(int32_t AIndex) { return GetStringValue(AIndex); }
  void SetLanguageValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  XoXMLString GetAnyValue(int32_t AIndex) { return GetStringValue(AIndex); }
  void SetAnyValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  XoXMLString GetAnyUriValue(int32_t AIndex) { return GetStringValue(AIndex); }
  void SetAnyUriValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  // The node value as GetValue gives it (the text by reference, false when
  // there is no node), and the text form of that.
  bool GetXmlValue(int32_t AIndex, XoXMLString& AValue) { return GetValue(AIndex, AValue); }
  XoXMLString GetXmlValue(int32_t AIndex);
  void SetXmlValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  XoXMLString GetJsonValue(int32_t AIndex);
  void SetJsonValue(int32_t AIndex, std::u16string_view AValue) { SetValue(AIndex, AValue); }
  // Bytes: read as the UTF-8 form of the decoded text; written as text read
  // from the bytes in the system code page (UTF-8 unless a program changed
  // it), so UTF-8 bytes come back unchanged.
  std::string GetBase64binaryValue(int32_t AIndex);
  void SetBase64binaryValue(int32_t AIndex, std::string_view AValue);
  bool GetBooleanValue(int32_t AIndex);
  void SetBooleanValue(int32_t AIndex, bool AValue);
  // Text in the place of the flag would turn into true: refused.
  void SetBooleanValue(int32_t, const char16_t*) = delete;
  void SetBooleanValue(int32_t, const char*) = delete;
  TGUID GetGuidValue(int32_t AIndex);
  void SetGuidValue(int32_t AIndex, const TGUID& AValue);

  // -------------------------------------------------------------------------
  // Sub-wrappers and arrays.

  // The wrapper of class T over the element of AIndex, made on first use and
  // owned by this wrapper; nil when the element is absent and neither
  // ACreate nor the description creates it.
  template <class T>
  T* GetSubElement(int32_t AIndex, bool ACreate = true) {
    TXoDOMElement* e = XoDOMAsElement(GetNodeByIndex(AIndex, ACreate));
    if (!e) return nullptr;
    for (TXoXMLSchemaElement* s : FSubElements)
      if (s->AsElement() == e)
        if (T* t = dynamic_cast<T*>(s)) return t;
    T* t = new T(e);
    FSubElements.push_back(t);
    return t;
  }
  // Takes ASubElement into the owned sub-wrappers.
  void AddSubElement(TXoXMLSchemaElement* ASubElement) { FSubElements.push_back(ASubElement); }
  const std::vector<TXoXMLSchemaElement*>& SubElements() const { return FSubElements; }

  // The array object under AIndex (made on first use by AFactory, then
  // kept and owned), for repeated nodes.
  TObject* GetArrayElement(int32_t AIndex, const std::function<TObject*()>& AFactory);
  template <class TArray>
  TArray* GetArray(int32_t AIndex) {
    return static_cast<TArray*>(GetArrayElement(AIndex, [this, AIndex]() -> TObject* { return new TArray(this, AIndex); }));
  }

protected:
  void AssignTo(TXoObjectEx* ADest) override;
  // The index of the first info (in declaration order) that the test takes.
  template <class F>
  bool FindIndex(F ATest, int32_t& AIndex) const {
    for (size_t i = 0; i < FSchemaInfoList.size(); ++i)
      if (ATest(FSchemaInfoList[i])) {
        AIndex = FSchemaIndexList[i];
        return true;
      }
    return false;
  }
  void FreeArrayElements();
  void FreeSubElements();

  // Infos whose OnGetValue is running (not owned).
  std::vector<TXoXMLSchemaInfo*> FCreating;
  TXoDOMElement* FDOMElement = nullptr;
  TIntfPtr<IXoObject> FDOMElementRef;  // keeps FDOMElement alive
  // The infos by index (owned); the dictionary enumerates in declaration
  // order, so the first declared info wins where two answer to one name.
  std::map<int32_t, TXoXMLSchemaInfo*> FSchemaInfo;
  std::vector<TXoXMLSchemaInfo*> FSchemaInfoList;
  std::vector<int32_t> FSchemaIndexList;  // the index of each entry of FSchemaInfoList
  std::vector<TXoXMLSchemaElement*> FSubElements;  // owned
  std::map<int32_t, TObject*> FArrayElements;      // owned
};

// The repeated elements of one index of a wrapper, each presented by a
// wrapper of class T: the elements are those children of the owner's element
// whose name is the info's (compared as the element's own lookups compare).
// Made through TXoXMLSchemaElement::GetArray<TXoXMLSchemaArray<T>>(index),
// owned by the wrapper.
template <class T>
class TXoXMLSchemaArray : public TObject {
public:
  TXoXMLSchemaArray(TXoXMLSchemaElement* AOwner, int32_t AIndex) : FOwner(AOwner), FIndex(AIndex) {
    FOwner->SchemaInfo(AIndex);  // refuses an unknown index at once
  }
  ~TXoXMLSchemaArray() override { ClearWrappers(); }

  int32_t Count() { return static_cast<int32_t>(Elements().size()); }
  // The wrapper of the item at AIndex (0-based); EListError outside.
  T* Item(int32_t AIndex) {
    std::vector<TXoDOMElement*> items = Elements();
    if (AIndex < 0 || AIndex >= static_cast<int32_t>(items.size()))
      throw EListError(u"List index out of bounds (%d)", {AIndex});
    return WrapperOf(items[AIndex]);
  }
  T* operator[](int32_t AIndex) { return Item(AIndex); }
  // A new item behind the last one, or, for the first, where the schema
  // order puts it.
  T* Add() {
    std::vector<TXoDOMElement*> items = Elements();
    TXoDOMElement* e;
    if (items.empty())
      e = XoDOMAsElement(FOwner->GetNodeByIndex(FIndex, true));
    else
      e = FOwner->AsElement()->InsertElement(FOwner->SchemaInfo(FIndex)->FName, rdpAfter, items.back());
    return WrapperOf(e);
  }
  // Removes the item at AIndex from the tree.
  void Delete(int32_t AIndex) {
    std::vector<TXoDOMElement*> items = Elements();
    if (AIndex < 0 || AIndex >= static_cast<int32_t>(items.size()))
      throw EListError(u"List index out of bounds (%d)", {AIndex});
    TXoDOMElement* e = items[AIndex];
    for (size_t i = FWrappers.size(); i-- > 0;)
      if (FWrappers[i]->AsElement() == e) {
        delete FWrappers[i];
        FWrappers.erase(FWrappers.begin() + i);
      }
    FOwner->AsElement()->RemoveChild(e);
  }

private:
  // The items in document order.
  std::vector<TXoDOMElement*> Elements() {
    TXoDOMElement* owner = FOwner->AsElement();
    const XoXMLString& name = FOwner->SchemaInfo(FIndex)->FName;
    TXoXPathCollationClass coll = owner->GetCollation();
    bool local = owner->GetSelectMatchOption() == soLocalName;
    std::vector<TXoDOMElement*> r;
    for (TXoDOMElement* e = owner->FirstElementNode(); e; e = static_cast<TXoDOMElement*>(TXoDOMElement::NextTyped(e))) {
      std::u16string_view n = local ? e->LocalNameView() : e->QualifiedNameView();
      if (n.size() == name.size() && coll->SameText(n, name)) r.push_back(e);
    }
    return r;
  }
  T* WrapperOf(TXoDOMElement* AElement) {
    // Wrappers of items that left the tree go first.
    for (size_t i = FWrappers.size(); i-- > 0;)
      if (FWrappers[i]->AsElement()->ParentNode() != FOwner->AsElement()) {
        delete FWrappers[i];
        FWrappers.erase(FWrappers.begin() + i);
      }
    for (T* w : FWrappers)
      if (w->AsElement() == AElement) return w;
    T* w = new T(AElement);
    FWrappers.push_back(w);
    return w;
  }
  void ClearWrappers() {
    for (T* w : FWrappers) delete w;
    FWrappers.clear();
  }

  TXoXMLSchemaElement* FOwner;
  int32_t FIndex;
  std::vector<T*> FWrappers;
};

}  // namespace xo
