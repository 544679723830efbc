// Tests of XML documents: loading (code pages, load states, failures),
// saving and formatting, inner XML, the declaration and encoding, round
// trips over samples and generated documents, deep documents.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>

#include "uXoXMLDOM.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

using TDocPtr = std::unique_ptr<TXoDOMDocument, void (*)(TXoDOMDocument*)>;
TDocPtr NewDoc() { return TDocPtr(new TXoDOMDocument(), [](TXoDOMDocument* d) { d->Free(); }); }

// Loads UTF-8 bytes through the sniffing load.
TDocPtr Load(const std::string& ABytes) {
  TDocPtr d = NewDoc();
  TXoMemoryStream in(ABytes.data(), static_cast<int64_t>(ABytes.size()));
  d->LoadFromStream(&in);
  return d;
}

// The document saved unformatted as UTF-8 bytes.
std::string Save(TXoDOMDocument* ADoc, bool AFormatted = false, uint16_t ACodePage = 65001) {
  TXoMemoryStream out;
  ADoc->SaveToStream(&out, ACodePage, AFormatted, false);
  return std::string(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.GetSize()));
}

std::string ReadFile(const std::string& APath) {
  std::ifstream f(APath, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

}  // namespace

TEST(DOMLoad, TextAndValuesComeOutAsTheyWentIn) {
  TDocPtr d = Load("<r a='x&lt;y' b=\"&#233;\">t &amp; &#8211;<e/><f></f><!--c--><?p d?><![CDATA[<&>]]></r>");
  EXPECT_EQ(Save(d.get()),
            "<r a=\"x&lt;y\" b=\"&#233;\">t &amp; &#8211;<e /><f /><!--c--><?p d?><![CDATA[<&>]]></r>");
  TXoDOMElement* r = d->RootNode();
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(U8(r->GetAttribute(u"a")), "x<y");
  EXPECT_EQ(U8(r->GetNodeValue()), "t & \xE2\x80\x93<&>");
  // An element with an empty text node keeps its end tag.
  TXoDOMElement* f = r->FindElement(u"f");
  f->AddText(u"");
  EXPECT_EQ(U8(f->GetXML()), "<f></f>");
  EXPECT_EQ(d->GetLoadState(), lsLoaded);
  EXPECT_EQ(U8(d->GetEncoding()), "UTF-8");
}

TEST(DOMLoad, CodePagesFromMarkDeclarationOrUTF8) {
  // Blanks in front, no mark, no declaration: UTF-8.
  TDocPtr a = Load("  \r\n <r>\xC3\xA9</r>");
  EXPECT_EQ(U8(a->RootNode()->GetNodeValue()), "\xC3\xA9");
  // An 8-bit code page named in the declaration (double or single quotes).
  TDocPtr b = Load("<?xml version=\"1.0\" encoding=\"windows-1252\"?><r>\xE9\x80</r>");
  EXPECT_EQ(U8(b->RootNode()->GetNodeValue()), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(U8(b->GetEncoding()), "UTF-8");  // a load does not change the encoding
  b->SetEncoding(u"windows-1252");
  std::string saved = Save(b.get(), false, b->GetCodePage());
  EXPECT_EQ(saved, "<?xml version=\"1.0\" encoding=\"windows-1252\"?><r>\xE9\x80</r>");
  TDocPtr sq = Load("<?xml version='1.0' encoding='ISO-8859-1'?><r>\xE9</r>");
  EXPECT_EQ(U8(sq->RootNode()->GetNodeValue()), "\xC3\xA9");
  // A UTF-16 mark beats a declaration that says UTF-8.
  std::u16string text = u"\xFEFF<?xml version=\"1.0\" encoding=\"UTF-8\"?><r>\u00E9</r>";
  std::string bytes(reinterpret_cast<const char*>(text.data()), text.size() * 2);
  TDocPtr c = Load(bytes);
  EXPECT_EQ(U8(c->RootNode()->GetNodeValue()), "\xC3\xA9");
  // The bundled samples load in their own encodings and say the same.
  std::string dir = XO_EXAMPLES_DIR;
  TDocPtr s1 = Load(ReadFile(dir + "/sample.xml"));
  TDocPtr s2 = Load(ReadFile(dir + "/sample-windows1252.xml"));
  TDocPtr s3 = Load(ReadFile(dir + "/sample-utf16le.xml"));
  ASSERT_NE(s1->RootNode(), nullptr);
  ASSERT_NE(s2->RootNode(), nullptr);
  ASSERT_NE(s3->RootNode(), nullptr);
  EXPECT_EQ(U8(s3->RootNode()->GetText()), U8(s1->RootNode()->GetText()));
}

TEST(DOMLoad, LoadFormsClearOrAdd) {
  TDocPtr d = NewDoc();
  d->LoadXML(u"<a><x/></a>");
  EXPECT_EQ(U8(d->GetXML()), "<a><x /></a>");
  d->LoadXML(u"");  // nothing happens
  EXPECT_EQ(U8(d->GetXML()), "<a><x /></a>");
  d->LoadXML(u"<b/>");  // replaces
  EXPECT_EQ(U8(d->GetXML()), "<b />");
  std::string more = "<c/>";
  TXoMemoryStream in(more.data(), static_cast<int64_t>(more.size()));
  d->LoadFromStream(&in);  // adds; the root stays the first element
  EXPECT_EQ(U8(d->GetXML()), "<b /><c />");
  EXPECT_EQ(U8(d->RootNode()->GetQualifiedName()), "b");
  d->LoadFromXML(std::string("<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><z>\xE9</z>"));
  EXPECT_EQ(U8(d->RootNode()->GetNodeValue()), "\xC3\xA9");
  TDocPtr t(TXoDOMDocument::CreateFromText(u"<q>1</q>"), [](TXoDOMDocument* x) { x->Free(); });
  EXPECT_EQ(t->RootNode()->GetAsInteger(), 1);
  TXoDOMDocument fromText(u"<w/>");
  EXPECT_EQ(U8(fromText.GetXML()), "<w />");
  // Text that does not start with "<" is JSON, delivered as XML events.
  d->LoadXML(u"{\"json\": 1}");
  EXPECT_NE(d->RootNode(), nullptr);
}

TEST(DOMLoad, FailuresRaiseWithPositionAndKeepWhatWasBuilt) {
  TDocPtr d = NewDoc();
  std::u16string msg = MessageOf<EXoDomSyntax>([&] { d->LoadXML(u"<r>\n  <a x=>\n</r>"); });
  EXPECT_EQ(U8(msg), "Line 2, column 8: The document is not wellformed!\r\nMissing attribute value.");
  EXPECT_EQ(d->GetLoadState(), lsLoaded);
  ASSERT_NE(d->RootNode(), nullptr);
  EXPECT_EQ(U8(d->RootNode()->GetQualifiedName()), "r");
  // A handler that marks the error handled gets the reader's own exception.
  TDocPtr h = NewDoc();
  int calls = 0;
  h->OnParseFatalError() = [&](const TIntfPtr<IXoSAXLocator>&, const XoXMLString&, bool& AHandled) {
    ++calls;
    AHandled = true;
  };
  EXPECT_THROW(h->LoadXML(u"<r><a x=></r>"), EXoXMLParseError);
  EXPECT_EQ(calls, 1);
  EXPECT_THROW(h->LoadXML(u"<r/><r/>"), EXoXMLParseError);
}

TEST(DOMLoad, WhitespaceNamespacesAndSchemaInstance) {
  TDocPtr d = Load("<r>\n  <a> x </a>\n  <p xml:space=\"preserve\">\n    <b/>\n  </p>\n</r>");
  EXPECT_EQ(Save(d.get()), "<r><a> x </a><p xml:space=\"preserve\">\n    <b />\n  </p></r>");
  TDocPtr n = Load("<r xmlns=\"urn:d\" xmlns:p=\"urn:p\"><p:a p:k=\"1\" k=\"2\"/></r>");
  TXoDOMElement* a = n->RootNode()->FirstElement();
  EXPECT_EQ(U8(n->RootNode()->GetNamespaceURI()), "urn:d");
  EXPECT_EQ(U8(a->GetNamespaceURI()), "urn:p");
  EXPECT_EQ(U8(a->FindAttribute(u"p:k")->GetNamespaceURI()), "urn:p");
  EXPECT_EQ(n->RootNode()->FindElement(u"urn:p", u"a"), a);
  EXPECT_EQ(a->Namespaces()->Count(), 2);
  TDocPtr x = Load("<r xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"/>");
  EXPECT_TRUE(x->GetUseSchemaInstance());
  TDocPtr y = Load("<r><c xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"/></r>");
  EXPECT_FALSE(y->GetUseSchemaInstance());
  // Several top-level elements and text are fine below an element.
  TXoDOMElement* target = y->RootNode()->AddElement(u"t");
  target->SetInnerXML(u"<a/>text<b/>");
  EXPECT_EQ(U8(target->GetXML()), "<t><a />text<b /></t>");
}

TEST(DOMSave, FormattingRules) {
  TDocPtr d = Load("<?xml version=\"1.0\"?><a>x<b/>y<c><d>t</d></c><!--n--></a>");
  EXPECT_EQ(U8(d->GetFormattedXML()),
            "<?xml version=\"1.0\"?>\r\n<a>x\r\n  <b />y\r\n  <c>\r\n    <d>t</d>\r\n  </c>\r\n  <!--n-->\r\n</a>");
  // Preserve-space elements get no layout, nor do their children.
  TDocPtr p = Load("<a><p xml:space=\"preserve\"><q><r/></q></p></a>");
  EXPECT_EQ(U8(p->GetFormattedXML()), "<a><p xml:space=\"preserve\"><q><r /></q></p>\r\n</a>");
  // Inner XML: only child elements; the formatted form starts at the margin.
  TDocPtr i = Load("<a>text<b><c/></b><d/></a>");
  EXPECT_EQ(U8(i->RootNode()->GetInnerXML()), "<b><c /></b><d />");
  EXPECT_EQ(U8(i->RootNode()->GetFormattedInnerXML()), "<b>\r\n  <c />\r\n</b>\r\n<d />");
  i->RootNode()->SetInnerXML(u"<x/><y/>");
  EXPECT_EQ(U8(i->GetXML()), "<a>text<x /><y /></a>");
  // Byte-order marks: a UTF-8 mark puts the first element on a new line.
  TXoMemoryStream out;
  i->SaveToStream(&out, 65001, true, true);
  std::string bytes(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.GetSize()));
  EXPECT_EQ(bytes.substr(0, 9), "\xEF\xBB\xBF\r\n<a>t");
  TXoMemoryStream out16;
  i->SaveToStream(&out16, 1200, true, true);
  std::u16string w(reinterpret_cast<const char16_t*>(out16.Memory()), static_cast<size_t>(out16.GetSize()) / 2);
  EXPECT_EQ(U8(w.substr(0, 4)), "\xEF\xBB\xBF<a>");
  EXPECT_EQ(U8(XoFormatXML(u"<a><b/></a>")), "<a>\r\n  <b />\r\n</a>");
  EXPECT_EQ(U8(XoFormatXML(std::string("<a><b/></a>"))), "<a>\r\n  <b />\r\n</a>");
}

TEST(DOMDocument, DeclarationEncodingAndRoot) {
  TDocPtr d = NewDoc();
  d->SetEncoding(u"iso-8859-1");
  EXPECT_EQ(U8(d->GetXML()), "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>");
  EXPECT_EQ(d->GetCodePage(), 28591);
  d->SetProcessingInstruction(u"xml", u"version=\"1.0\"");
  EXPECT_EQ(U8(d->GetEncoding()), "UTF-8");
  d->SetEncoding(u"windows-1252");
  EXPECT_EQ(U8(d->GetProcessingInstruction(u"xml")), "version=\"1.0\" encoding=\"windows-1252\"");
  d->SetEncoding(u"UTF-8");
  EXPECT_EQ(U8(d->GetProcessingInstruction(u"XML")), "version=\"1.0\" encoding=\"UTF-8\"");
  d->SetProcessingInstruction(u"xml-stylesheet", u"href=\"s.xsl\"");
  d->CreateRootNode(u"urn:r", u"p:root");
  EXPECT_EQ(U8(d->GetXML()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><?xml-stylesheet href=\"s.xsl\"?><p:root xmlns:p=\"urn:r\" />");
  EXPECT_EQ(U8(MessageOf<EXoDomNotSupported>([&] { d->SetEncoding(u"no-such-encoding"); })),
            "The specified encoding (no-such-encoding) is not supported!");
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { d->GetProcessingInstruction(u"none"); })),
            "There is no processinginstruction \"none\"!");
  d->SetCodePage(1252);
  EXPECT_EQ(d->GetCodePage(), 1252);
  d->ReCalcEncoding();
  EXPECT_EQ(U8(d->GetEncoding()), "utf-8");
  // Settings.
  EXPECT_FALSE(d->GetCaseSensitive());
  d->SetCaseSensitive(true);
  EXPECT_EQ(d->GetCollation(), TXoXPathCollationCodepoint::ClassRef());
  d->SetCaseSensitive(false);
  EXPECT_EQ(d->GetCollation(), TXoXPathCollationASCIICI::ClassRef());
  // Removing the root lets the next element take its place.
  d->RemoveChild(d->RootNode());
  EXPECT_EQ(d->RootNode(), nullptr);
  EXPECT_NE(d->CreateRootNode(u"again"), nullptr);
  EXPECT_EQ(d->AddComment(u"end")->GetNodeType(), ntComment);
}

TEST(DOMDocument, FilesAndSelection) {
  std::string path = testing::TempDir() + "xo_dom_file.xml";
  {
    TXoDOMDocument d;
    d.CreateRootNode(u"r")->AddElement(u"a")->AddElement(u"b")->SetAsInteger(7);
    d.SaveToFile(XoUTF8ToUTF16(path), true, true);
  }
  TXoDOMDocument back(XoUTF8ToUTF16(path), fmOpenRead);
  EXPECT_EQ(U8(back.GetDocumentURI()), path);
  TXoDOMElement* b = back.SelectSingleElement(u"/r/a/b", {});
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->GetAsInteger(), 7);
  EXPECT_EQ(back.SelectSingleElement(u"/r/zz", {}), nullptr);
  EXPECT_NE(back.SelectSingleElement(u"/r/new/deeper", {soCreate}), nullptr);
  EXPECT_THROW(back.SelectSingleElement(u"/r/none", {soRaise}), EXoDomNotFound);
  std::remove(path.c_str());
}

namespace {
// A random document of nested elements, attributes in both quote styles,
// references, comments, CDATA and processing instructions.
std::string RandomDoc(std::mt19937& rng) {
  static const char* const texts[] = {"plain", "a &amp; b", "&#233;t&#xE9;", "x &lt; y", "  ", "\xC3\xA9\xE2\x82\xAC",
                                      "q\"q", "it's"};
  std::string d = rng() % 2 ? "<?xml version=\"1.0\"?>" : "";
  int depth = 0;
  d += "<root>";
  for (int i = 0; i < 60; ++i) {
    switch (rng() % 7) {
      case 0:
        d += "<e" + std::to_string(rng() % 3);
        if (rng() % 2) d += " a='" + std::string(texts[rng() % 7]) + "'";
        if (rng() % 2) d += " p:b=\"1\" xmlns:p=\"urn:p\"";
        d += ">";
        ++depth;
        break;
      case 1:
        if (depth > 0) {
          d += "</e>";  // fixed below by naming all elements e
          --depth;
        }
        break;
      case 2:
        d += texts[rng() % 6];
        break;
      case 3:
        d += "<!--" + std::string(texts[rng() % 2]) + "-->";
        break;
      case 4:
        d += "<![CDATA[<" + std::string(texts[rng() % 4]) + ">]]>";
        break;
      case 5:
        d += "<?pi data?>";
        break;
      default:
        d += "<empty/>";
    }
  }
  while (depth-- > 0) d += "</e>";
  d += "</root>";
  // All opened elements are called "e" with a digit: make them plain "e".
  for (size_t at = 0; (at = d.find("<e", at)) != std::string::npos; ++at)
    if (at + 2 < d.size() && d[at + 2] >= '0' && d[at + 2] <= '9') d.erase(at + 2, 1);
  return d;
}
}  // namespace

TEST(DOMRoundTrip, SaveLoadSaveIsAFixedPoint) {
  std::string dir = XO_EXAMPLES_DIR;
  std::vector<std::string> docs = {ReadFile(dir + "/sample.xml"), ReadFile(dir + "/sample-windows1252.xml")};
  std::mt19937 rng(7);
  for (int i = 0; i < 200; ++i) docs.push_back(RandomDoc(rng));
  for (const std::string& text : docs) {
    // Saved in the encoding its declaration names, as a program does after
    // ReCalcEncoding.
    TDocPtr first = Load(text);
    first->ReCalcEncoding();
    std::string once = Save(first.get(), false, first->GetCodePage());
    TDocPtr second = Load(once);
    second->ReCalcEncoding();
    std::string twice = Save(second.get(), false, second->GetCodePage());
    ASSERT_EQ(once, twice) << text;
    // The formatted form loads too, with the same elements (layout goes into
    // mixed content, so texts may gain line breaks).
    std::string formatted = Save(second.get(), true, second->GetCodePage());
    TDocPtr third = NewDoc();
    try {
      third = Load(formatted);
    } catch (const std::exception& e) {
      FAIL() << e.what() << "\n" << formatted;
    }
    TXoDOMElementList all2, all3;
    second->RootNode()->_GetChildElements(&all2, u"*", u"*", true, {});
    third->RootNode()->_GetChildElements(&all3, u"*", u"*", true, {});
    EXPECT_EQ(all2.Count(), all3.Count());
  }
  // Values come out byte for byte.
  TDocPtr v = Load("<r a='1&apos;2' b=\"&quot;\">&#x20AC;&gt;</r>");
  EXPECT_EQ(Save(v.get()), "<r a=\"1&apos;2\" b=\"&quot;\">&#x20AC;&gt;</r>");
  // A double quote read from single quotes goes out as its entity.
  TDocPtr q = Load("<r a='say \"hi\"'/>");
  EXPECT_EQ(Save(q.get()), "<r a=\"say &quot;hi&quot;\" />");
  EXPECT_EQ(U8(q->RootNode()->GetAttribute(u"a")), "say \"hi\"");
}

TEST(DOMDepth, DeepDocumentsLoadSaveAndFormat) {
  // Formatted output indents each level by two more blanks, so its size
  // grows with the square of the depth: the deep document is formatted with
  // preserve-space on (no layout, but the same walk), a shallower one fully.
  const int kDepth = 100000;
  std::string text = "<n xml:space=\"preserve\">";
  for (int i = 1; i < kDepth; ++i) text += "<n>";
  text += "x";
  for (int i = 0; i < kDepth; ++i) text += "</n>";
  TDocPtr d = Load(text);
  std::string plain = Save(d.get());
  EXPECT_EQ(plain, text);
  EXPECT_EQ(Save(d.get(), true), text);
  TDocPtr again = Load(plain);
  EXPECT_EQ(U8(again->RootNode()->GetText()), "x");

  const int kShallow = 2000;
  std::string mid;
  for (int i = 0; i < kShallow; ++i) mid += "<m>";
  for (int i = 0; i < kShallow; ++i) mid += "</m>";
  TDocPtr m = Load(mid);
  std::string formatted = Save(m.get(), true);
  EXPECT_EQ(formatted.substr(0, 12), "<m>\r\n  <m>\r\n");
  TDocPtr back = Load(formatted);
  EXPECT_EQ(Save(back.get()), Save(m.get()));
  EXPECT_EQ(back->RootNode()->ElementCount(), 1);
}

namespace {
// A document that counts the loads it completes.
class TCountingDoc : public TXoDOMDocument {
public:
  int Loaded = 0;
  void DoXMLLoaded() override { ++Loaded; }
};
}  // namespace

TEST(DOMLoad, LoadedHookAndLoadStates) {
  TCountingDoc d;
  EXPECT_EQ(d.GetLoadState(), lsUninitialized);
  d.LoadXML(u"");  // nothing at all
  EXPECT_EQ(d.Loaded, 0);
  EXPECT_EQ(d.GetLoadState(), lsUninitialized);
  // The code-page form keeps the state as it is.
  std::string text = "<a/>";
  TXoMemoryStream in(text.data(), static_cast<int64_t>(text.size()));
  d.LoadFromStream(&in, 65001);
  EXPECT_EQ(d.Loaded, 1);
  EXPECT_EQ(d.GetLoadState(), lsUninitialized);
  d.LoadXML(u"<b/>");
  EXPECT_EQ(d.Loaded, 2);
  EXPECT_EQ(d.GetLoadState(), lsLoaded);
  // A failed load: no hook, the state still ends loaded, the root is kept.
  EXPECT_THROW(d.LoadXML(u"<c><d/><e x=></e></c>"), EXoDomSyntax);
  EXPECT_EQ(d.Loaded, 2);
  EXPECT_EQ(d.GetLoadState(), lsLoaded);
  ASSERT_NE(d.RootNode(), nullptr);
  EXPECT_EQ(U8(d.RootNode()->GetQualifiedName()), "c");
  EXPECT_EQ(U8(d.RootNode()->FirstElement()->GetQualifiedName()), "d");
  // The stream constructor loads in the code page it is given.
  std::u16string wide = u"<w>\u00E9</w>";
  TXoMemoryStream win(wide.data(), static_cast<int64_t>(wide.size() * 2));
  TXoDOMDocument fromStream(&win, 1200);
  EXPECT_EQ(U8(fromStream.RootNode()->GetNodeValue()), "\xC3\xA9");
  // Loading into an element: its children come behind what it holds.
  TXoDOMElement* r = fromStream.RootNode();
  std::string more = "<x/>tail<y/>";
  TXoMemoryStream min(more.data(), static_cast<int64_t>(more.size()));
  r->LoadFromStream(&min, 65001);
  EXPECT_EQ(U8(r->GetXML()), "<w>\xC3\xA9<x />tail<y /></w>");
}

TEST(DOMLoad, FilesByEveryForm) {
  std::string path = testing::TempDir() + "xo_dom_forms.xml";
  {
    TXoDOMDocument d;
    d.SetEncoding(u"windows-1252");
    d.CreateRootNode(u"r")->SetAsString(u"\u00E9");
    d.SaveToFile(XoUTF8ToUTF16(path), false, true);  // no mark for an 8-bit code page
  }
  EXPECT_EQ(ReadFile(path), "<?xml version=\"1.0\" encoding=\"windows-1252\"?><r>\xE9</r>");
  TXoDOMDocument a;
  a.LoadXML(XoUTF8ToUTF16(path), fmOpenRead);
  EXPECT_EQ(U8(a.GetDocumentURI()), "");  // this form does not note the file
  EXPECT_EQ(U8(a.RootNode()->GetNodeValue()), "\xC3\xA9");
  TXoDOMDocument b;
  b.LoadFromFile(XoUTF8ToUTF16(path));
  EXPECT_EQ(U8(b.GetDocumentURI()), path);
  // UTF-8 with its mark, formatted: the root starts on a new line.
  b.SetEncoding(u"UTF-8");
  b.SaveToFile(XoUTF8ToUTF16(path), true, true);
  EXPECT_EQ(ReadFile(path), "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<r>\xC3\xA9</r>");
  TXoDOMDocument c(XoUTF8ToUTF16(path), fmOpenRead);
  EXPECT_EQ(U8(c.RootNode()->GetNodeValue()), "\xC3\xA9");
  std::remove(path.c_str());
  EXPECT_THROW(TXoDOMDocument(XoUTF8ToUTF16(path), fmOpenRead), EFOpenError);
  TXoDOMDocument e;
  EXPECT_THROW(e.LoadFromFile(XoUTF8ToUTF16(path)), EFOpenError);
  EXPECT_EQ(e.RootNode(), nullptr);
}

TEST(DOMDocument, InstructionsAndSchemaInstanceSettings) {
  TDocPtr d = NewDoc();
  d->CreateRootNode(u"r");
  // Without a declaration a new instruction goes first; the declaration
  // itself always goes first.
  d->SetProcessingInstruction(u"xml-stylesheet", u"href=\"a.xsl\"");
  d->SetProcessingInstruction(u"xml", u"version=\"1.0\" encoding=\"ISO-8859-1\"");
  EXPECT_EQ(U8(d->GetXML()), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><?xml-stylesheet href=\"a.xsl\"?><r />");
  EXPECT_EQ(U8(d->GetEncoding()), "iso-8859-1");  // read from the declaration, in lower case
  EXPECT_EQ(d->GetCodePage(), 28591);
  d->SetProcessingInstruction(u"XML-Stylesheet", u"href=\"b.xsl\"");  // found again, case ignored
  EXPECT_EQ(U8(d->GetProcessingInstruction(u"xml-stylesheet")), "href=\"b.xsl\"");
  EXPECT_EQ(d->NodeCount(), 3);
  d->SetEncoding(u"");  // the empty name means UTF-8
  EXPECT_EQ(U8(d->GetEncoding()), "UTF-8");
  EXPECT_EQ(d->GetCodePage(), 65001);

  // Both schema namespaces declared already, under any prefixes: nothing added.
  TDocPtr s = Load("<r xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" "
                   "xmlns:t=\"http://www.w3.org/2001/XMLSchema\"/>");
  EXPECT_TRUE(s->GetUseSchemaInstance());
  s->SetUseSchemaInstance(true);
  EXPECT_EQ(s->RootNode()->AttributeCount(), 2);
  TXoDOMElement* n = s->RootNode()->AddElement(u"n");
  n->SetAsInteger(1);
  EXPECT_EQ(U8(n->GetXML()), "<n i:type=\"t:int\">1</n>");
  s->SetUseSchemaInstance(false);  // removes nothing
  EXPECT_EQ(s->RootNode()->AttributeCount(), 2);
  n->SetAsInteger(2);
  EXPECT_EQ(U8(n->GetXML()), "<n i:type=\"t:int\">2</n>");
  // Without a root the flag is only stored.
  TDocPtr e = NewDoc();
  e->SetUseSchemaInstance(true);
  EXPECT_EQ(e->NodeCount(), 0);
  EXPECT_TRUE(e->GetUseSchemaInstance());
  // A case-sensitive document finds names as written only.
  TDocPtr c = Load("<R><a/></R>");
  c->SetCaseSensitive(true);
  EXPECT_EQ(c->RootNode()->FindElement(u"A"), nullptr);
  EXPECT_EQ(c->SelectSingleElement(u"/r", {}), nullptr);
  c->SetCollation(TXoXPathCollationCodepoint::ClassRef());
  c->SetCaseSensitive(true);  // another case-sensitive collation stays
  EXPECT_EQ(c->GetCollation(), TXoXPathCollationCodepoint::ClassRef());
}

TEST(DOMSave, LayoutOfInstructionsCommentsAndEmptyElements) {
  // An element that holds only an instruction counts as empty; the
  // instruction is not written.
  TDocPtr p = Load("<a><?pi x?></a>");
  EXPECT_EQ(Save(p.get()), "<a />");
  EXPECT_EQ(p->RootNode()->NodeCount(), 1);
  // Instructions and comments inside elements are indented; at document
  // level a comment gets a line break and no indentation, and the first
  // instruction of a fresh stream none.
  TDocPtr f = Load("<?first?><!--top--><a><b><?pi d?><!--c--><c/></b></a><!--end-->");
  EXPECT_EQ(U8(f->GetFormattedXML()),
            "<?first?>\r\n<!--top-->\r\n<a>\r\n  <b>\r\n    <?pi d?>\r\n    <!--c-->\r\n    <c />\r\n  </b>\r\n</a>\r\n"
            "<!--end-->");
  // A short declaration written to a byte stream stays under the five-byte
  // threshold for the instruction behind it.
  TDocPtr s = Load("<?a?><?b?><r/>");
  EXPECT_EQ(Save(s.get(), true), "<?a?>\r\n<?b?>\r\n<r />");
  TDocPtr tiny = Load("<?a?><r/>");
  EXPECT_EQ(Save(tiny.get(), true), "<?a?>\r\n<r />");
  // Text alone keeps an element on one line; an empty text node gives an
  // end tag.
  TDocPtr t = Load("<a><b>text</b><c></c></a>");
  EXPECT_EQ(Save(t.get(), true), "<a>\r\n  <b>text</b>\r\n  <c />\r\n</a>");
  // The outer XML of any node, formatted or not.
  TXoDOMElement* b = t->RootNode()->FirstElement();
  EXPECT_EQ(U8(b->GetFormattedXML()), "<b>text</b>");
  EXPECT_EQ(U8(b->FirstCharNode()->GetFormattedXML()), "text");
  EXPECT_EQ(U8(t->GetFormattedInnerXML()), "");
}

TEST(DOMLoad, HostileInputKeepsTheTreeWhole) {
  // Stray end tags and several top-level nodes inside an element: the new
  // nodes stay below the element that loads them.
  TDocPtr d = Load("<r><t/><u/></r>");
  TXoDOMElement* t = d->RootNode()->FirstElement();
  try {
    t->SetInnerXML(u"<a/></x><b/>");
  } catch (const Exception&) {
  }
  EXPECT_EQ(d->RootNode()->ElementCount(), 2);
  EXPECT_EQ(t->ParentNode(), d->RootNode());
  // Unfinished and broken text: exceptions, never a crash, state loaded.
  const char* bad[] = {"<", "<a", "<a b='1", "<a><!--", "<a><![CDATA[x", "<?x", "<a></b>", "<a>&#xZZ;</a>",
                       "\xEF\xBB\xBF", "   ", "<a xmlns:p='urn:p'><p:b><q:c/></p:b></a>"};
  for (const char* text : bad) {
    TDocPtr x = NewDoc();
    try {
      TXoMemoryStream in(text, static_cast<int64_t>(std::strlen(text)));
      x->LoadFromStream(&in);
    } catch (const Exception&) {
    }
    EXPECT_EQ(x->GetLoadState(), lsLoaded) << text;
    Save(x.get());
    Save(x.get(), true);
  }
}
