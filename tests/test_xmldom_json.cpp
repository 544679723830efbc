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
