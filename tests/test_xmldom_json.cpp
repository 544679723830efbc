// Tests of the XML tree and JSON: JSON text loaded into the tree, and the
// tree written as JSON.
#include <gtest/gtest.h>

#include <string>

#include "uXoXMLDOM.h"
#include "xo_test_support.h"

using namespace xo;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

}  // namespace

TEST(XMLDOMJSON, LoadsJSONText) {
  TXoDOMDocument doc;
  doc.LoadXML(u"  {\"a\":1,\"b\":[\"x\",null],\"c\":{\"d\":true}}");
  EXPECT_EQ(doc.GetLoadState(), lsLoaded);
  ASSERT_NE(doc.RootNode(), nullptr);
  EXPECT_EQ(U8(doc.GetXML()),
            "<object xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><a xsd:type=\"decimal\">1</a>"
            "<bArray><b xsd:type=\"string\">x</b><b xsi:nil=\"true\">null</b></bArray>"
            "<c><d xsd:type=\"boolean\">true</d></c></object>");
  // The declarations bind the prefixes, and the schema-instance switch is on.
  TXoDOMElement* a = doc.RootNode()->FindElement(u"a");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(U8(a->FindAttribute(u"xsd:type")->GetNamespaceURI()), "http://www.w3.org/2001/XMLSchema");
  EXPECT_TRUE(doc.GetUseSchemaInstance());
  // Loading JSON into an element adds the tree below it.
  TXoDOMElement* c = doc.RootNode()->FindElement(u"c");
  TXoDOMParser parser(c);
  TXoStringStream s(u"[1]");
  parser.Parse(&s, 1200);
  EXPECT_EQ(U8(c->GetXML()),
            "<c><d xsd:type=\"boolean\">true</d><array xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><array xsd:type=\"decimal\">1</array></array></c>");

  // 8-bit text behind a byte-order mark: the character behind the mark
  // decides, XML or JSON.
  TXoDOMDocument marked;
  marked.LoadFromXML(std::string("\xEF\xBB\xBF <r>\xC3\xA9</r>"));
  EXPECT_EQ(U8(marked.GetXML()), "<r>\xC3\xA9</r>");
  marked.LoadFromXML(std::string("\xEF\xBB\xBF[\"\xC3\xA9\"]"));
  EXPECT_EQ(U8(marked.RootNode()->GetXML()).find("<array xsd:type=\"string\">\xC3\xA9</array>") != std::string::npos,
            true);
  marked.LoadFromXML(std::string("\xFF\xFE<\0r\0/\0>\0", 10));
  EXPECT_EQ(U8(marked.GetXML()), "<r />");
}

TEST(XMLDOMJSON, JSONLoadFailures) {
  TXoDOMDocument doc;
  // An error in JSON text is a syntax error of the load, with line and column.
  EXPECT_EQ(U8(xo_test::MessageOf<EXoDomSyntax>([&] { doc.LoadXML(u"{\"a\":\n }"); })),
            "Line 2, column 2: The document is not wellformed!\r\n\"\", t, f, n, 0..9, ., + or -\" expected, but "
            "\"}\" found!");
  EXPECT_EQ(doc.GetLoadState(), lsLoaded);
  // The empty stream goes to the JSON reader, which finds no object.
  TXoDOMDocument empty;
  TXoMemoryStream none(nullptr, 0);
  EXPECT_EQ(U8(xo_test::MessageOf<EXoDomSyntax>([&] { empty.LoadFromStream(&none); })),
            "Line 1, column 1: The document is not wellformed!\r\n\"\" expected, but \"\" found!");
  EXPECT_EQ(empty.RootNode(), nullptr);
  // A handler that takes the error gets the reader's own exception.
  TXoDOMDocument handled;
  int calls = 0;
  handled.OnParseFatalError() = [&](const TIntfPtr<IXoSAXLocator>&, const XoXMLString&, bool& AHandled) {
    ++calls;
    AHandled = true;
  };
  EXPECT_THROW(handled.LoadXML(u"[1,{\"x\":"), EXoTextParserEOF);
  EXPECT_EQ(calls, 1);
  // The tree keeps what was built up to the failure.
  ASSERT_NE(handled.RootNode(), nullptr);
  EXPECT_EQ(handled.RootNode()->ElementCount(), 2);
}

namespace {

// The element's JSON (in its braces), unformatted.
std::string ElementJSON(const std::u16string& AXML) {
  TXoDOMDocument doc;
  doc.LoadXML(AXML);
  TXoStringStream s(65001);
  doc.RootNode()->SaveToJSONStream(&s, 65001, false);
  return s.GetDataString();
}

const std::u16string kXSINS = u" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";

}  // namespace

TEST(XMLDOMJSON, WritesElementsAsJSON) {
  EXPECT_EQ(ElementJSON(u"<r><a>1</a><a>2</a><b>3</b></r>"), R"({"r": {"a": ["1","2"],"b": "3"}})");
  // Equal names gather at the first one, wherever they stand.
  EXPECT_EQ(ElementJSON(u"<r><a/><b/><a/></r>"), R"({"r": {"a": [null,null],"b": null}})");
  EXPECT_EQ(ElementJSON(u"<r id=\"1\"><c>x</c></r>"), R"({"r": {"r_id": "1","c": "x"}})");
  // Many children: the same grouping.
  EXPECT_EQ(ElementJSON(u"<r><a>1</a><b/><c/><d/><a>2</a><e/><f/><g/><h/><a>3</a><i/><b>4</b></r>"),
            R"({"r": {"a": ["1","2","3"],"b": [null,"4"],"c": null,"d": null,"e": null,"f": null,"g": null,)"
            R"("h": null,"i": null}})");
  EXPECT_EQ(ElementJSON(u"<r id=\"1\"><r_id>y</r_id></r>"), R"({"r": {"_r_id": "1","r_id": "y"}})");
  EXPECT_EQ(ElementJSON(u"<r xmlns:p=\"u\" p:x=\"1\"><c/></r>"), R"({"r": {"r_x": "1","c": null}})");
  // The attributes of a leaf stand beside its value.
  EXPECT_EQ(ElementJSON(u"<r><a id=\"7\" k.l=\"&lt;\">v</a></r>"), R"({"r": {"a": "v", "a_id": "7", "a_k_l": "<"}})");
  EXPECT_EQ(ElementJSON(u"<a.b/>"), R"({"a_b": null})");
  EXPECT_EQ(ElementJSON(u"<r><a.b/><a.b/></r>"), R"({"r": {"a.b": [null,null]}})");
  // Items with children: their attributes and children one by one, equal
  // names repeated; items without children lose their attributes.
  EXPECT_EQ(ElementJSON(u"<r><i n=\"1\"><x>a</x><x>b</x></i><i n=\"2\">t</i></r>"),
            R"({"r": {"i": [{"i_n": "1","x": "a","x": "b"},"t"]}})");
  // Text beside child elements, comments and instructions are dropped; text
  // is decoded and escaped for JSON.
  EXPECT_EQ(ElementJSON(u"<r>t<!--c--><?p d?><a>&quot;q&quot;\\/&#233;&#x20AC;</a></r>"),
            R"({"r": {"a": "\"q\"\\\/é\u20AC"}})");
}

TEST(XMLDOMJSON, TypedLeafValues) {
  EXPECT_EQ(ElementJSON(u"<r" + kXSINS + u"><a xsi:nil=\"true\">x</a></r>"), R"({"r": {"a": null}})");
  EXPECT_EQ(ElementJSON(u"<r" + kXSINS + u"><i xsi:type=\"xsd:int\">5</i><b xsi:type=\"boolean\">1</b>"
                        u"<d xsi:type=\"double\">2.5</d><s xsi:type=\"string\">5</s>"
                        u"<t xsi:type=\"dateTime\">2024-01-02T03:04:05</t><n xsi:type=\"int\"></n></r>"),
            R"({"r": {"i": 5,"b": true,"d": 2.5,"s": "5","t": "2024-01-02T03:04:05","n": null}})");
  // The schema-instance attributes themselves are no members.
  EXPECT_EQ(ElementJSON(u"<r" + kXSINS + u" xsi:schemaLocation=\"x\"><a>1</a></r>"), R"({"r": {"a": "1"}})");
  // A bad type attribute raises from GetAsValue.
  EXPECT_THROW(ElementJSON(u"<r" + kXSINS + u"><a xsi:type=\"\">1</a></r>"), EXoDomException);
}

TEST(XMLDOMJSON, DocumentFormsAndLayout) {
  TXoDOMDocument doc;
  EXPECT_EQ(U8(doc.GetAsFormattedJSON()), "{}");
  doc.LoadXML(u"<?xml version=\"1.0\"?><!--c--><r><a>1</a><a>2</a><b x=\"y\"><c/></b></r>");
  EXPECT_EQ(U8(doc.GetAsFormattedJSON()),
            "{\r\n  \"r\": {\r\n    \"a\": [\r\n      \"1\",\r\n      \"2\"\r\n    ],\r\n"
            "    \"b\": {\r\n      \"b_x\": \"y\",\r\n      \"c\": null\r\n    }\r\n  }\r\n}");
  // The document writes a bare member, in UTF-8, after a mark when asked.
  TXoStringStream s(65001);
  doc.SaveToJSONStream(&s, false, true);
  EXPECT_EQ(s.GetDataString(), "\xEF\xBB\xBF\"r\": {\"a\": [\"1\",\"2\"],\"b\": {\"b_x\": \"y\",\"c\": null}}");
  // Formatted leaf attributes: ", ", a line break, the indent, the member.
  doc.LoadXML(u"<r><a id=\"1\">v</a></r>");
  EXPECT_EQ(U8(doc.GetAsFormattedJSON()), "{\r\n  \"r\": {\r\n    \"a\": \"v\", \r\n    \"a_id\": \"1\"\r\n  }\r\n}");
  // Other code pages.
  TXoStringStream w(1200);
  doc.RootNode()->SaveToJSONStream(&w, 1200, false);
  EXPECT_EQ(U8(w.GetWString()), R"({"r": {"a": "v", "a_id": "1"}})");
}

TEST(XMLDOMJSON, DeepTreesWriteWithoutRecursion) {
  const int depth = 100000;
  std::u16string xml;
  for (int i = 0; i < depth; ++i) xml += u"<e>";
  xml += u"x";
  for (int i = 0; i < depth; ++i) xml += u"</e>";
  TXoDOMDocument doc;
  doc.LoadXML(xml);
  TXoStringStream s(65001);
  doc.SaveToJSONStream(&s, false, false);
  std::string json = s.GetDataString();
  // "e": { for each level but the last, "e": "x", and the closing braces.
  EXPECT_EQ(json.size(), static_cast<size_t>(depth) * 7 + 1);
  EXPECT_EQ(json.substr(0, 14), R"("e": {"e": {"e)");
  EXPECT_EQ(json.find(R"("e": "x"})"), static_cast<size_t>(depth - 1) * 6);
  EXPECT_EQ(json.back(), '}');
}

TEST(XMLDOMJSON, RoundTripThroughTheTree) {
  // JSON -> tree -> JSON keeps every member and value text of objects whose
  // arrays hold objects or simple values...
  TXoDOMDocument doc;
  doc.LoadXML(uR"({"s":"x\"y","n":-1.5,"t":true,"z":null,"o":{"k":"v"},"l":[{"p":1},{"p":2}],"m":["a","b"]})");
  EXPECT_EQ(U8(doc.RootNode()->GetXML()).find("<s xsd:type=\"string\">x\\\"y</s>") != std::string::npos, true);
  TXoStringStream s(65001);
  doc.SaveToJSONStream(&s, false, false);
  EXPECT_EQ(s.GetDataString(),
            R"("object": {"s": "x\\\"y","n": "-1.5","t": "true","z": null,"o": {"k": "v"},)"
            R"("lArray": {"l": [{"p": "1"},{"p": "2"}]},"mArray": {"m": ["a","b"]}})");
  // ...but by the rules of the two mappings these shapes change: numbers
  // and booleans come back as strings (the reader types them with xsd:type,
  // which GetAsValue does not read); an array becomes an object "nameArray"
  // holding the array; an array of one item loses its brackets; empty
  // objects and arrays become null; escapes in strings are escaped again;
  // names are made fit for XML; arrays of arrays nest as objects.
  auto trip = [](const std::u16string& AJSON) {
    TXoDOMDocument d;
    d.LoadXML(AJSON);
    return U8(d.GetAsFormattedJSON());
  };
  auto flat = [](std::string s) {
    std::string r;
    for (char c : s)
      if (c != '\r' && c != '\n' && c != ' ') r += c;
    return r;
  };
  EXPECT_EQ(flat(trip(uR"({"a":[1]})")), R"({"object":{"aArray":{"a":"1"}}})");
  EXPECT_EQ(flat(trip(uR"({"a":{},"b":[]})")), R"({"object":{"a":null,"bArray":null}})");
  EXPECT_EQ(flat(trip(uR"({"a b":"\n"})")), R"({"object":{"a_b":"\\n"}})");
  EXPECT_EQ(flat(trip(uR"([[1,2],[3,4]])")), R"({"array":{"arrayArray":[{"array":"1","array":"2"},{"array":"3","array":"4"}]}})");
  EXPECT_EQ(flat(trip(uR"({"x":1}{"x":2})")), R"({"object":{"x":["1","2"]}})");
  // Repeated member names gather into one array at the first of them, and
  // so do an array and a member named like its element (the items of an
  // array are not grouped again: members repeat inside them).
  EXPECT_EQ(flat(trip(uR"({"a":1,"b":2,"a":3})")), R"({"object":{"a":["1","3"],"b":"2"}})");
  EXPECT_EQ(flat(trip(uR"({"x":[1,2],"xArray":3})")), R"({"object":{"xArray":[{"x":"1","x":"2"},"3"]}})");
  // A "." of a name becomes "_"; text that reads as an entity reference is
  // decoded on the way out.
  EXPECT_EQ(flat(trip(uR"({"a.b":"x&amp;y"})")), R"({"object":{"a_b":"x&y"}})");
  // An outermost array: its items repeat the root's name.
  EXPECT_EQ(flat(trip(uR"([true,null,"s"])")), R"({"array":{"array":["true",null,"s"]}})");
}
