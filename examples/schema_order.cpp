// The descriptions of the example order, its address and its lines.
#include "schema_order.h"

namespace xo_example {

using namespace xo;

TAddress::TAddress(TXoDOMElement* AElement) : TXoXMLSchemaElement(AElement) {
  AddSchemaInfo(cCountry, ntAttribute, u"country");
  AddSchemaInfo(cStreet, ntElement, u"street");
  AddSchemaInfo(cCity, ntElement, u"city", 1, 1);
  AddSchemaInfo(cZip, ntElement, u"zip");
}

TOrderLine::TOrderLine(TXoDOMElement* AElement) : TXoXMLSchemaElement(AElement) {
  AddSchemaInfo(cSku, ntAttribute, u"sku", 0, 1, /*ARequired*/ true);
  AddSchemaInfo(cDescription, ntElement, u"description");
  AddSchemaInfo(cQuantity, ntElement, u"quantity", 1, 1);
  AddSchemaInfo(cPrice, ntElement, u"price", 1, 1);
}

TOrder::TOrder(TXoDOMElement* AElement) : TXoXMLSchemaElement(AElement) {
  AddSchemaInfo(cId, ntAttribute, u"id", 0, 1, /*ARequired*/ true);
  AddSchemaInfo(cCurrency, ntAttribute, u"currency");
  AddSchemaInfo(cNumber, ntElement, u"number", 0, 1, /*ARequired*/ true);
  AddSchemaInfo(cDate, ntElement, u"date", 1, 1);
  AddSchemaInfo(cCustomer, ntElement, u"customer");
  AddSchemaInfo(cShipTo, ntElement, u"shipTo");
  AddSchemaInfo(cLine, ntElement, u"line", 0, -1);  // unbounded
  AddSchemaInfo(cPaid, ntElement, u"paid");
  AddSchemaInfo(cNote, ntElement, u"note");
}

double TOrder::Total() {
  double sum = 0;
  TOrderLines* lines = Lines();
  for (int32_t i = 0, n = lines->Count(); i < n; ++i) sum += lines->Item(i)->Amount();
  return sum;
}

}  // namespace xo_example
