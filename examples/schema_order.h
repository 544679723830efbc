// An example of a typed record over a DOM element: an order with an address
// and repeated lines.
//
//   <order id="A-17" currency="EUR">
//     <number>1017</number>
//     <date>2024-05-01</date>
//     <customer>Jane Roe</customer>
//     <shipTo country="NL"><street>Damrak 1</street><city>Amsterdam</city><zip>1012</zip></shipTo>
//     <line sku="X1"><description>Pencil</description><quantity>3</quantity><price>1.25</price></line>
//     <line sku="X2">...</line>
//     <paid>true</paid>
//     <note>Leave at the door</note>
//   </order>
//
// Each class describes its nodes once, in its constructor (AddSchemaInfo),
// under indices of its own choosing, and presents them through methods that
// call the typed accessors with those indices. The order of the AddSchemaInfo
// calls is the order in which new elements are placed.
#pragma once

#include <string>
#include <string_view>

#include "uXoXMLSchema.h"

namespace xo_example {

// <shipTo country="..."><street/><city/><zip/></shipTo>
class TAddress : public xo::TXoXMLSchemaElement {
public:
  explicit TAddress(xo::TXoDOMElement* AElement);

  std::u16string Country() { return GetStringValue(cCountry); }
  void SetCountry(std::u16string_view AValue) { SetStringValue(cCountry, AValue); }
  std::u16string Street() { return GetStringValue(cStreet); }
  void SetStreet(std::u16string_view AValue) { SetStringValue(cStreet, AValue); }
  std::u16string City() { return GetStringValue(cCity); }
  void SetCity(std::u16string_view AValue) { SetStringValue(cCity, AValue); }
  std::u16string Zip() { return GetStringValue(cZip); }
  void SetZip(std::u16string_view AValue) { SetStringValue(cZip, AValue); }

  enum : int32_t { cCountry = 1, cStreet, cCity, cZip };
};

// <line sku="..."><description/><quantity/><price/></line>
class TOrderLine : public xo::TXoXMLSchemaElement {
public:
  explicit TOrderLine(xo::TXoDOMElement* AElement);

  std::u16string Sku() { return GetStringValue(cSku); }
  void SetSku(std::u16string_view AValue) { SetStringValue(cSku, AValue); }
  std::u16string Description() { return GetStringValue(cDescription); }
  void SetDescription(std::u16string_view AValue) { SetStringValue(cDescription, AValue); }
  int32_t Quantity() { return GetIntValue(cQuantity); }
  void SetQuantity(int32_t AValue) { SetIntValue(cQuantity, AValue); }
  double Price() { return GetDecimalValue(cPrice); }
  void SetPrice(double AValue) { SetDecimalValue(cPrice, AValue); }
  // Quantity times price.
  double Amount() { return Quantity() * Price(); }

  enum : int32_t { cSku = 1, cDescription, cQuantity, cPrice };
};

using TOrderLines = xo::TXoXMLSchemaArray<TOrderLine>;

// <order id="..." currency="..."> with number, date, customer, shipTo, the
// lines, paid and note.
class TOrder : public xo::TXoXMLSchemaElement {
public:
  explicit TOrder(xo::TXoDOMElement* AElement);

  // Required attribute: a read creates it.
  std::u16string Id() { return GetStringValue(cId); }
  void SetId(std::u16string_view AValue) { SetStringValue(cId, AValue); }
  std::u16string Currency() { return GetStringValue(cCurrency); }
  void SetCurrency(std::u16string_view AValue) { SetStringValue(cCurrency, AValue); }
  // Required element: a read creates it.
  int32_t Number() { return GetIntValue(cNumber); }
  void SetNumber(int32_t AValue) { SetIntValue(cNumber, AValue); }
  // Occurs at least once: a read creates it.
  xo::TDateTime Date() { return GetDateValue(cDate); }
  void SetDate(xo::TDateTime AValue) { SetDateValue(cDate, AValue); }
  std::u16string Customer() { return GetStringValue(cCustomer); }
  void SetCustomer(std::u16string_view AValue) { SetStringValue(cCustomer, AValue); }
  // The address wrapper, made on first use (with its element when absent);
  // HasShipTo tells whether the element exists without making it.
  TAddress* ShipTo() { return GetSubElement<TAddress>(cShipTo); }
  bool HasShipTo() { return FindNode(u"shipTo") != nullptr; }
  TOrderLines* Lines() { return GetArray<TOrderLines>(cLine); }
  bool Paid() { return GetBooleanValue(cPaid); }
  void SetPaid(bool AValue) { SetBooleanValue(cPaid, AValue); }
  std::u16string Note() { return GetStringValue(cNote); }
  void SetNote(std::u16string_view AValue) { SetStringValue(cNote, AValue); }

  // The sum of the lines' amounts.
  double Total();

  enum : int32_t { cId = 1, cCurrency, cNumber, cDate, cCustomer, cShipTo, cLine, cPaid, cNote };
};

}  // namespace xo_example
