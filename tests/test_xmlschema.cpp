// Tests of the schema wrappers, mostly through the example order of
// examples/schema_order.h: creation on read, placement in declaration order,
// name lookups, the value event, typed accessors, sub-wrappers and arrays.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "schema_order.h"
#include "uXoDateTimeUtils.h"
#include "uXoXMLSchema.h"
#include "xo_test_support.h"

using namespace xo;
using xo_example::TAddress;
using xo_example::TOrder;
using xo_example::TOrderLine;
using xo_test::MessageOf;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

struct TDocFree {
  void operator()(TXoDOMDocument* d) const { d->Free(); }
};
using TDocPtr = std::unique_ptr<TXoDOMDocument, TDocFree>;

TDocPtr Load(const char16_t* AXML) {
  TDocPtr d(new TXoDOMDocument());
  d->LoadXML(AXML);
  return d;
}

// The child element names of an element, joined by blanks.
std::string ChildNames(TXoDOMElement* AElement) {
  std::string r;
  for (TXoDOMElement* e = AElement->FirstElementNode(); e; e = static_cast<TXoDOMElement*>(TXoDOMElement::NextTyped(e))) {
    if (!r.empty()) r += ' ';
    r += U8(e->GetQualifiedName());
  }
  return r;
}

// A wrapper with one node of each accessor family, some of them prefixed.
class TAllTypes : public TXoXMLSchemaElement {
public:
  explicit TAllTypes(TXoDOMElement* AElement) : TXoXMLSchemaElement(AElement) {
    AddSchemaInfo(1, ntElement, u"b");
    AddSchemaInfo(2, ntElement, u"s");
    AddSchemaInfo(3, ntElement, u"us");
    AddSchemaInfo(4, ntElement, u"i");
    AddSchemaInfo(5, ntElement, u"ui");
    AddSchemaInfo(6, ntElement, u"l");
    AddSchemaInfo(7, ntElement, u"ul");
    AddSchemaInfo(8, ntElement, u"f");
    AddSchemaInfo(9, ntElement, u"d");
    AddSchemaInfo(10, ntElement, u"date");
    AddSchemaInfo(11, ntElement, u"time");
    AddSchemaInfo(12, ntElement, u"dt");
    AddSchemaInfo(13, ntElement, u"str");
    AddSchemaInfo(14, ntElement, u"xml");
    AddSchemaInfo(15, ntElement, u"bin");
    AddSchemaInfo(16, ntElement, u"flag");
    AddSchemaInfo(17, ntElement, u"guid");
    AddSchemaInfo(18, ntAttribute, u"p:att");
    AddSchemaInfo(19, ntElement, u"p:x");
    AddSchemaInfo(20, ntAttribute, u"minatt", 1, 1);
    AddSchemaInfo(21, ntElement, u"minelem", 1, 1);
  }
};

}  // namespace

TEST(XMLSchema, RequiredNodesAreCreatedByAReadOptionalOnesAreNot) {
  TDocPtr doc = Load(u"<order/>");
  TOrder order(doc->RootNode());

  // Optional element and attribute: defaults, nothing created.
  EXPECT_EQ(order.Customer(), u"");
  EXPECT_FALSE(order.Paid());
  EXPECT_EQ(order.Currency(), u"");
  EXPECT_EQ(U8(order.GetXML()), "<order />");

  // Required element: created empty by the read, which gives 0 (the
  // conversion of the empty text).
  EXPECT_EQ(order.Number(), 0);
  EXPECT_EQ(ChildNames(doc->RootNode()), "number");
  EXPECT_EQ(doc->RootNode()->FindElement(u"number")->GetNodeValue(), u"");
  // Minimum occurrence 1, not required: created as well.
  EXPECT_EQ(order.Date(), 0.0);
  EXPECT_EQ(ChildNames(doc->RootNode()), "number date");
  // Required attribute: created.
  EXPECT_EQ(order.Id(), u"");
  EXPECT_TRUE(doc->RootNode()->HasAttribute(u"id"));

  // An attribute with a minimum occurrence of 1 that is not required is not
  // created; the element of that kind is.
  TDocPtr doc2 = Load(u"<t/>");
  TAllTypes all(doc2->RootNode());
  EXPECT_EQ(all.GetStringValue(20), u"");
  EXPECT_FALSE(doc2->RootNode()->HasAttribute(u"minatt"));
  EXPECT_EQ(all.GetIntValue(21), 0);
  EXPECT_TRUE(doc2->RootNode()->HasChildElement(u"minelem"));
}

TEST(XMLSchema, NewElementsFollowTheDeclarationOrder) {
  // Predecessors exist and a later sibling too: the new element goes behind
  // the nearest existing predecessor, in front of the later sibling.
  TDocPtr doc = Load(u"<order><number>1</number><note>n</note><paid>true</paid></order>");
  TOrder order(doc->RootNode());
  order.SetCustomer(u"Jane");
  EXPECT_EQ(ChildNames(doc->RootNode()), "number customer note paid");
  // date comes between number and customer.
  order.SetDate(EncodeDate(2024, 5, 1));
  EXPECT_EQ(ChildNames(doc->RootNode()), "number date customer note paid");
  EXPECT_EQ(doc->RootNode()->FindElement(u"date")->GetNodeValue(), u"2024-05-01");

  // The first declared element goes in front of every other child.
  TDocPtr doc2 = Load(u"<order><customer>x</customer><paid>false</paid></order>");
  TOrder order2(doc2->RootNode());
  order2.SetNumber(7);
  EXPECT_EQ(ChildNames(doc2->RootNode()), "number customer paid");
  // No earlier declared element exists: in front as well.
  TDocPtr doc3 = Load(u"<order><paid>false</paid></order>");
  TOrder order3(doc3->RootNode());
  order3.SetCustomer(u"y");
  EXPECT_EQ(ChildNames(doc3->RootNode()), "customer paid");
  // Nothing but text in the element: appended.
  TDocPtr doc4 = Load(u"<order>text</order>");
  TOrder order4(doc4->RootNode());
  order4.SetNote(u"z");
  EXPECT_EQ(U8(order4.GetXML()), "<order>text<note>z</note></order>");

  // An attribute info on the backward walk finds no element: the order
  // element's currency attribute does not stop the walk.
  TDocPtr doc5 = Load(u"<order currency=\"EUR\"><note>n</note></order>");
  TOrder order5(doc5->RootNode());
  order5.SetNumber(3);
  EXPECT_EQ(ChildNames(doc5->RootNode()), "number note");

  // Writing the empty text to an absent node creates nothing; to a present
  // node it empties it.
  order5.SetCustomer(u"");
  EXPECT_EQ(ChildNames(doc5->RootNode()), "number note");
  order5.SetNote(u"");
  EXPECT_EQ(order5.Note(), u"");
  EXPECT_EQ(ChildNames(doc5->RootNode()), "number note");
}

TEST(XMLSchema, NameLookupsWithAndWithoutPrefixes) {
  TDocPtr doc = Load(u"<t xmlns:p=\"urn:p\" p:att=\"v\"><p:x>1</p:x></t>");
  TAllTypes all(doc->RootNode());

  // An empty name gives the element itself.
  EXPECT_EQ(all.FindNode(u""), doc->RootNode());
  EXPECT_EQ(all.GetNode(u""), doc->RootNode());

  // FindNode: the whole name, or the part behind the prefix; case counts.
  TXoDOMNode* x = all.FindNode(u"x");
  ASSERT_NE(x, nullptr);
  EXPECT_EQ(x->GetQualifiedName(), u"p:x");
  EXPECT_EQ(all.FindNode(u"p:x"), x);
  EXPECT_EQ(all.FindNode(u"X"), nullptr);
  TXoDOMNode* att = all.FindNode(u"att");
  ASSERT_NE(att, nullptr);
  EXPECT_EQ(att->GetNodeValue(), u"v");

  // FindSchemaInfo: the whole name ignoring case, never the local part.
  EXPECT_EQ(all.FindSchemaInfo(u"x"), nullptr);
  ASSERT_NE(all.FindSchemaInfo(u"P:X"), nullptr);
  EXPECT_EQ(all.FindSchemaInfo(u"P:X")->FName, u"p:x");

  // An unknown name: nil from FindNode, the message from GetNode.
  EXPECT_EQ(all.FindNode(u"nothing"), nullptr);
  EXPECT_EQ(MessageOf<EListError>([&] { all.GetNode(u"nothing"); }),
            u"The specified nodename (nothing) is not part of the Schema!");

  // FindNode creates nothing for an optional node; GetNode creates it.
  EXPECT_EQ(all.FindNode(u"str"), nullptr);
  TXoDOMNode* str = all.GetNode(u"str");
  ASSERT_NE(str, nullptr);
  EXPECT_EQ(all.FindNode(u"str"), str);
}

TEST(XMLSchema, DescriptionFailures) {
  TDocPtr doc = Load(u"<order/>");
  TOrder order(doc->RootNode());
  EXPECT_EQ(MessageOf<EListError>([&] { order.GetIntValue(99); }), u"Invalid Schema Index");
  EXPECT_EQ(MessageOf<EListError>([&] { order.GetNodeByIndex(-1, true); }), u"Invalid Schema Index");
  EXPECT_EQ(MessageOf<EListError>([&] { order.AddSchemaInfo(TOrder::cNote, ntElement, u"other"); }),
            u"Duplicates not allowed");
  // The refused info left the description as it was.
  EXPECT_EQ(order.SchemaInfoList().size(), 9u);
  EXPECT_EQ(order.FindSchemaInfo(u"other"), nullptr);
  EXPECT_EQ(MessageOf<EArgumentNilException>([] { TOrder none(nullptr); }),
            u"A schema element needs a DOM element");
  // The info keeps what it was given.
  TXoXMLSchemaInfo* line = order.SchemaInfo(TOrder::cLine);
  EXPECT_EQ(line->FName, u"line");
  EXPECT_EQ(line->FNodeType, ntElement);
  EXPECT_EQ(line->FMinOccurs, 0);
  EXPECT_EQ(line->FMaxOccurs, -1);
  EXPECT_FALSE(line->FRequired);
}

TEST(XMLSchema, ValueEventFillsNodesAndDoesNotRecurse) {
  TDocPtr doc = Load(u"<order/>");
  TOrder order(doc->RootNode());
  int calls = 0;
  std::u16string seenInside;
  order.SetOnGetValue([&](TXoXMLSchemaElement* ASender, TXoXMLSchemaInfo* AInfo) {
    ++calls;
    EXPECT_EQ(ASender, &order);
    if (AInfo->FName == u"customer") {
      // Reading its own node from inside the handler reaches the node
      // without calling the handler again.
      seenInside = static_cast<TOrder*>(ASender)->Customer();
      if (seenInside.empty()) static_cast<TOrder*>(ASender)->SetCustomer(u"from event");
    }
  });
  EXPECT_EQ(order.Customer(), u"from event");
  EXPECT_EQ(seenInside, u"");
  // One call for the outer read; the inner read and write passed the guard.
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(order.Customer(), u"from event");
  EXPECT_EQ(seenInside, u"from event");
  EXPECT_EQ(calls, 2);

  // A handler that raises leaves the guard clean: the next read asks again.
  int raised = 0;
  order.OnGetValue = [&](TXoXMLSchemaElement*, TXoXMLSchemaInfo*) {
    if (raised++ == 0) throw EAbort(u"stop");
  };
  EXPECT_THROW(order.Note(), EAbort);
  EXPECT_EQ(order.Note(), u"");
  EXPECT_EQ(raised, 2);
}

TEST(XMLSchema, TypedAccessorsRoundTrip) {
  TDocPtr doc = Load(u"<t/>");
  TAllTypes v(doc->RootNode());

  // Absent optional nodes give the defaults.
  EXPECT_EQ(v.GetByteValue(1), 0);
  EXPECT_EQ(v.GetUnsignedLongValue(7), 0u);
  EXPECT_EQ(v.GetDoubleValue(9), 0.0L);
  EXPECT_EQ(v.GetStringValue(13), u"");
  EXPECT_EQ(v.GetBase64binaryValue(15), "");
  EXPECT_FALSE(v.GetBooleanValue(16));
  EXPECT_TRUE(v.GetGuidValue(17).IsEmpty());
  XoXMLString xml = u"stale";
  EXPECT_FALSE(v.GetXmlValue(14, xml));
  EXPECT_EQ(xml, u"");
  EXPECT_EQ(ChildNames(doc->RootNode()), "");

  v.SetUnsignedByteValue(1, 255);
  v.SetShortValue(2, -32768);
  v.SetUnsignedShortValue(3, 65535);
  v.SetIntegerValue(4, -5);
  v.SetNonNegativeIntegerValue(5, 2147483647u);
  v.SetInteger64Value(6, -9000000000LL);
  v.SetUnsignedLongValue(7, 18446744073709551615ULL);
  v.SetDecimalValue(8, 0.1);
  v.SetDoubleValue(9, 2.5L);
  v.SetDateValue(10, EncodeDate(2024, 2, 29));
  v.SetTimeValue(11, EncodeTime(13, 14, 15, 500));
  v.SetTimeInstantValue(12, EncodeDate(2024, 2, 29) + EncodeTime(1, 2, 3, 0));
  v.SetStringValue(13, u"a<b & c");
  v.SetXmlValue(14, u"<x/>");
  v.SetBase64binaryValue(15, "bytes \xc3\xa9");
  v.SetBooleanValue(16, true);
  TGUID g = StringToGUID(u"{0123abcd-4567-89ef-0123-456789abcdef}");
  v.SetGuidValue(17, g);

  EXPECT_EQ(v.GetByteValue(1), 255);
  EXPECT_EQ(v.GetShortValue(2), -32768);
  EXPECT_EQ(v.GetUnsignedShortValue(3), 65535);
  EXPECT_EQ(v.GetIntValue(4), -5);
  EXPECT_EQ(v.GetUnsignedIntValue(5), 2147483647u);
  EXPECT_EQ(v.GetLongValue(6), -9000000000LL);
  EXPECT_EQ(v.GetInt64Value(6), -9000000000LL);
  EXPECT_EQ(v.GetUnsignedLongValue(7), 18446744073709551615ULL);
  EXPECT_DOUBLE_EQ(v.GetFloatValue(8), 0.1);
  EXPECT_EQ(v.GetDoubleValue(9), 2.5L);
  EXPECT_EQ(v.GetDateValue(10), EncodeDate(2024, 2, 29));
  EXPECT_NEAR(v.GetTimeValue(11), EncodeTime(13, 14, 15, 500), 1e-9);
  EXPECT_NEAR(v.GetDatetimeValue(12), EncodeDate(2024, 2, 29) + EncodeTime(1, 2, 3, 0), 1e-9);
  EXPECT_EQ(v.GetStringValue(13), u"a<b & c");
  EXPECT_EQ(v.GetXmlValue(14), u"<x/>");
  EXPECT_EQ(v.GetJsonValue(14), u"<x/>");
  EXPECT_TRUE(v.GetXmlValue(14, xml));
  EXPECT_EQ(xml, u"<x/>");
  EXPECT_EQ(v.GetBase64binaryValue(15), "bytes \xc3\xa9");
  EXPECT_TRUE(v.GetBooleanValue(16));
  EXPECT_TRUE(v.GetGuidValue(17) == g);

  // The lexical forms in the tree, escaped where text needs it.
  EXPECT_EQ(U8(v.GetXML()),
            "<t><b>255</b><s>-32768</s><us>65535</us><i>-5</i><ui>2147483647</ui><l>-9000000000</l>"
            "<ul>-1</ul><f>0.1</f><d>2.5</d><date>2024-02-29</date><time>13:14:15.500</time>"
            "<dt>2024-02-29T01:02:03.000</dt><str>a&lt;b &amp; c</str><xml>&lt;x/&gt;</xml>"
            "<bin>bytes \xc3\xa9</bin><flag>true</flag><guid>{0123ABCD-4567-89EF-0123-456789ABCDEF}</guid></t>");

  // Attributes take values the same way.
  // Plain literals are UTF-8, u"" literals UTF-16.
  v.SetStringValue(18, "q\"uot\xc3\xa9");
  EXPECT_EQ(v.GetStringValue(18), u"q\"uot\u00e9");
  v.SetStringValue(13, u"\u00e9");
  EXPECT_EQ(v.GetStringValue(13), u"\u00e9");
  EXPECT_TRUE(doc->RootNode()->HasAttribute(u"p:att"));
}

TEST(XMLSchema, BadTextOfAPresentNodeRaises) {
  TDocPtr doc = Load(u"<t><i>12x</i><b>300</b><flag>yes</flag><guid>not a guid</guid><str>&amp;lt;</str></t>");
  TAllTypes v(doc->RootNode());
  EXPECT_THROW(v.GetIntValue(4), EConvertError);
  // The unsigned 32-bit reader goes through the signed parser: a value
  // above its range written by the setter does not read back.
  v.SetUnsignedIntValue(5, 4000000000u);
  EXPECT_EQ(v.GetXmlValue(5), u"4000000000");
  EXPECT_THROW(v.GetUnsignedIntValue(5), EConvertError);
  // The boolean reader knows no failure: anything but true or 1 is false.
  EXPECT_FALSE(v.GetBooleanValue(16));
  EXPECT_EQ(MessageOf<EConvertError>([&] { v.GetGuidValue(17); }), u"'not a guid' is not a valid GUID value");
  // A string read decodes the node value once more: stored "&amp;lt;" is
  // "&lt;" as node value and "<" as string.
  EXPECT_EQ(v.GetXmlValue(13), u"&lt;");
  EXPECT_EQ(v.GetStringValue(13), u"<");
}

TEST(XMLSchema, OrderExampleReadsAndWritesADocument) {
  TDocPtr doc = Load(
      u"<order id=\"A-17\" currency=\"EUR\"><number>1017</number><date>2024-05-01</date>"
      u"<customer>Jane Roe</customer>"
      u"<shipTo country=\"NL\"><street>Damrak 1</street><city>Amsterdam</city></shipTo>"
      u"<line sku=\"X1\"><description>Pencil</description><quantity>3</quantity><price>1.25</price></line>"
      u"<line sku=\"X2\"><quantity>2</quantity><price>10</price></line>"
      u"<paid>true</paid></order>");
  TOrder order(doc->RootNode());
  EXPECT_EQ(order.Id(), u"A-17");
  EXPECT_EQ(order.Currency(), u"EUR");
  EXPECT_EQ(order.Number(), 1017);
  EXPECT_EQ(order.Date(), EncodeDate(2024, 5, 1));
  EXPECT_TRUE(order.Paid());
  ASSERT_TRUE(order.HasShipTo());
  TAddress* ship = order.ShipTo();
  EXPECT_EQ(ship, order.ShipTo());  // made once
  EXPECT_EQ(ship->Country(), u"NL");
  EXPECT_EQ(ship->City(), u"Amsterdam");
  EXPECT_EQ(ship->Zip(), u"");

  xo_example::TOrderLines* lines = order.Lines();
  EXPECT_EQ(lines, order.Lines());
  ASSERT_EQ(lines->Count(), 2);
  EXPECT_EQ(lines->Item(0)->Sku(), u"X1");
  EXPECT_EQ(lines->Item(0), lines->Item(0));
  EXPECT_EQ((*lines)[1]->Sku(), u"X2");
  EXPECT_EQ(lines->Item(1)->Description(), u"");
  EXPECT_DOUBLE_EQ(order.Total(), 23.75);
  EXPECT_EQ(MessageOf<EListError>([&] { lines->Item(2); }), u"List index out of bounds (2)");

  // A new line goes behind the last one; its required parts appear as read.
  TOrderLine* added = lines->Add();
  added->SetSku(u"X3");
  added->SetPrice(0.5);
  added->SetQuantity(4);
  EXPECT_EQ(lines->Count(), 3);
  EXPECT_EQ(ChildNames(doc->RootNode()), "number date customer shipTo line line line paid");
  EXPECT_EQ(U8(added->GetXML()), "<line sku=\"X3\"><quantity>4</quantity><price>0.5</price></line>");
  EXPECT_DOUBLE_EQ(order.Total(), 25.75);

  lines->Delete(0);
  EXPECT_EQ(lines->Count(), 2);
  EXPECT_EQ(lines->Item(0)->Sku(), u"X2");
  EXPECT_DOUBLE_EQ(order.Total(), 22.0);
}

TEST(XMLSchema, OrderExampleBuildsADocumentInSchemaOrder) {
  TDocPtr doc(new TXoDOMDocument());
  TOrder order(doc->CreateRootNode(u"order"));
  // Written in an order of its own; the tree follows the description.
  order.SetNote(u"Leave at the door");
  order.SetPaid(false);
  TOrderLine* line = order.Lines()->Add();
  line->SetQuantity(1);
  line->SetSku(u"P");
  line->SetPrice(2);
  EXPECT_FALSE(order.HasShipTo());
  order.ShipTo()->SetStreet(u"Main St 5");
  order.ShipTo()->SetCountry(u"US");
  order.SetCustomer(u"Ann & Bob");
  order.SetNumber(42);
  order.SetId(u"B-1");
  EXPECT_EQ(U8(order.GetXML()),
            "<order id=\"B-1\"><number>42</number><customer>Ann &amp; Bob</customer>"
            "<shipTo country=\"US\"><street>Main St 5</street></shipTo>"
            "<line sku=\"P\"><quantity>1</quantity><price>2</price></line>"
            "<paid>false</paid><note>Leave at the door</note></order>");
}

TEST(XMLSchema, RemoveNodeClearAndAssign) {
  TDocPtr doc = Load(
      u"<order id=\"1\"><number>5</number><shipTo><city>Oslo</city></shipTo><line sku=\"a\"/><note>n</note></order>");
  TOrder order(doc->RootNode());
  TAddress* ship = order.ShipTo();
  EXPECT_EQ(ship->City(), u"Oslo");
  ASSERT_EQ(order.SubElements().size(), 1u);

  // Names select as paths, ignoring case and prefixes; the sub-wrapper of
  // the removed element goes with it.
  order.RemoveNode(u"SHIPTO");
  EXPECT_TRUE(order.SubElements().empty());
  EXPECT_FALSE(order.HasShipTo());
  EXPECT_EQ(ChildNames(doc->RootNode()), "number line note");
  order.RemoveNode(u"nothing");
  EXPECT_EQ(ChildNames(doc->RootNode()), "number line note");
  // A path to a node below a child is refused by the element.
  TDocPtr deep = Load(u"<order><shipTo><city>x</city></shipTo></order>");
  TOrder deepOrder(deep->RootNode());
  EXPECT_EQ(MessageOf<EAssertionFailed>([&] { deepOrder.RemoveNode(u"shipTo/city"); })
                .rfind(u"The specified ChildNode is not a child of this element!", 0),
            0u);
  EXPECT_EQ(ChildNames(deep->RootNode()->FindElement(u"shipTo")), "city");

  // AssignTo: the target is cleared and takes the child elements.
  TDocPtr doc2 = Load(u"<order id=\"old\"><customer>old</customer></order>");
  TOrder copy(doc2->RootNode());
  EXPECT_EQ(copy.Lines()->Count(), 0);
  copy.Assign(&order);
  EXPECT_EQ(U8(copy.GetXML()), "<order><number>5</number><line sku=\"a\" /><note>n</note></order>");
  EXPECT_EQ(copy.Lines()->Count(), 1);
  EXPECT_EQ(copy.Lines()->Item(0)->Sku(), u"a");

  // Clear empties the element, attributes included; the description stays.
  order.Clear();
  EXPECT_EQ(U8(order.GetXML()), "<order />");
  EXPECT_EQ(order.Lines()->Count(), 0);
  order.SetNote(u"again");
  EXPECT_EQ(U8(order.GetXML()), "<order><note>again</note></order>");

  // Another kind of target cannot be assigned to.
  class TOther : public TXoObjectEx {};
  TOther other;
  EXPECT_THROW(other.Assign(&order), EConvertError);
}

TEST(XMLSchema, WrapperKeepsItsElementAlive) {
  // The wrapper holds a counted reference: Free of the document refuses
  // while it lives, and changes nothing.
  TDocPtr doc = Load(u"<order><number>9</number></order>");
  auto order = std::make_unique<TOrder>(doc->RootNode());
  TAddress* ship = order->ShipTo();
  EXPECT_THROW(doc->Free(), Exception);
  EXPECT_EQ(order->Number(), 9);
  // A document deleted outright lets go of the element, which stays valid
  // for the wrapper and goes with it.
  delete doc.release();
  EXPECT_EQ(order->Number(), 9);
  ship->SetCity(u"Rome");
  EXPECT_EQ(U8(order->GetXML()), "<order><number>9</number><shipTo><city>Rome</city></shipTo></order>");
  order.reset();

  // Made by class reference.
  TDocPtr doc2 = Load(u"<line sku=\"k\"/>");
  TXoXMLSchemaElementClass cls = XoSchemaElementClass<TOrderLine>();
  std::unique_ptr<TXoXMLSchemaElement> w(cls(doc2->RootNode()));
  EXPECT_EQ(w->GetStringValue(TOrderLine::cSku), u"k");
  EXPECT_NE(dynamic_cast<TOrderLine*>(w.get()), nullptr);
}

TEST(XMLSchema, GuidText) {
  TGUID g = StringToGUID(u"{00000001-0002-0003-0405-060708090A0B}");
  EXPECT_EQ(g.D1, 1u);
  EXPECT_EQ(g.D2, 2);
  EXPECT_EQ(g.D3, 3);
  EXPECT_EQ(g.D4[0], 4);
  EXPECT_EQ(g.D4[7], 11);
  EXPECT_EQ(GUIDToString(g), u"{00000001-0002-0003-0405-060708090A0B}");
  for (const char16_t* bad : {u"", u"{00000001-0002-0003-0405-060708090A0B", u"00000001-0002-0003-0405-060708090A0B00",
                              u"{00000001_0002-0003-0405-060708090A0B}", u"{0000000G-0002-0003-0405-060708090A0B}"})
    EXPECT_THROW(StringToGUID(bad), EConvertError) << U8(bad);
}
