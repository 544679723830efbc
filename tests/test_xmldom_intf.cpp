// Tests of the interface layer of the XML tree: the library's own IXoDOM...
// interfaces, the standard IDOM... interfaces with the vendor registry, the
// module functions over them, and XSLT.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "uXoXMLDOM.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

std::string U8(std::u16string_view s) { return XoUTF16ToUTF8(s); }

// A document owned by its interface.
TIntfPtr<IXoDOMDocument> OwnDoc(std::u16string_view AXML) {
  return XoDOMIntf<IXoDOMDocument>(new TXoDOMDocument(AXML));
}

const char16_t* const kSheet =
    u"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
    u"<xsl:output method=\"xml\" omit-xml-declaration=\"yes\"/>"
    u"<xsl:template match=\"/\"><list><xsl:for-each select=\"//item\">"
    u"<name><xsl:value-of select=\"@n\"/></name></xsl:for-each></list></xsl:template>"
    u"</xsl:stylesheet>";

}  // namespace

TEST(DOMIntfOwn, ForwardsToTheNativeTreeAndGivesInterfacesOfTheRightKind) {
  auto doc = OwnDoc(u"<r a=\"1\"><x>5</x><!--c--><y>t</y></r>");
  TIntfPtr<IXoDOMElement> root = doc->GetRootNode();
  ASSERT_TRUE(root);
  EXPECT_EQ(U8(root->GetQualifiedName()), "r");
  EXPECT_EQ(root->ElementCount(), 2);
  EXPECT_EQ(root->AttributeCount(), 1);
  EXPECT_EQ(root->NodeCount(), 4);  // the attribute counts among the children
  EXPECT_EQ(root->FindElement(u"x")->GetAsInteger(), 5);
  EXPECT_EQ(U8(root->GetAttrib(u"a")), "1");
  root->SetAttrib(u"b", u"<&>");
  EXPECT_EQ(U8(root->FindAttribute(u"b")->GetNodeValue()), "<&>");
  EXPECT_FALSE(root->FindElement(u"missing"));

  auto added = root->AddElement(u"z");
  added->SetAsInteger(7);
  added->AddAttribute(u"k")->SetNodeValue(u"v");
  EXPECT_EQ(U8(added->GetXML()), "<z k=\"v\">7</z>");
  EXPECT_EQ(added->ParentElement().get(), root.get());
  EXPECT_EQ(U8(added->NodePath()), "/r/z");
  EXPECT_EQ(added->Document().get(), doc.get());

  // Lists: typed views and lists made for the caller.
  auto elements = root->GetElements();
  EXPECT_EQ(elements->Count(), 3);
  EXPECT_EQ(U8(elements->GetElement(Variant(std::u16string(u"y")))->GetText()), "t");
  EXPECT_EQ(U8(elements->Last()->GetQualifiedName()), "z");
  EXPECT_TRUE(elements->ContainsNode(added));
  auto attrs = root->GetAttributes();
  EXPECT_EQ(U8(attrs->GetAttribute(1)->GetQualifiedName()), "b");
  EXPECT_EQ(U8(attrs->Find(u"a", TXoDOMSelectOptions{})->GetNodeValue()), "1");
  auto selected = root->CreateElementList(u"*", TXoDOMSelectOptions{});
  EXPECT_EQ(selected->Count(), 3);
  auto nodes = doc->CreateNodeList(u"/r/y");
  ASSERT_EQ(nodes->Count(), 1);
  EXPECT_EQ(U8(nodes->GetItem(0)->GetText()), "t");

  // Character data keeps 1-based positions on the own interface.
  EXPECT_THROW(root->FindElement(u"y")->FirstElement(), EXoDomNotFound);
  auto t = root->AddText(u"abc");
  t->InsertStr(2, u"X");
  EXPECT_EQ(U8(t->GetNodeValue()), "aXbc");
  EXPECT_EQ(U8(t->Substring(2, 2)), "Xb");
  auto rest = t->SplitTxt(2);
  EXPECT_EQ(U8(t->GetNodeValue()), "aX");
  EXPECT_EQ(U8(rest->GetNodeValue()), "bc");

  // The map from interfaces back to nodes: an element and an attribute in.
  root->RemoveAttribute(root->FindAttribute(u"b"));
  EXPECT_FALSE(root->HasAttribute(u"b"));
  root->RemoveElement(added);
  EXPECT_EQ(root->ElementCount(), 2);
  EXPECT_FALSE(added->ParentNode());  // held by the interface, out of the tree
}

TEST(DOMIntfOwn, DocumentAdapterRefusesNodeStreamFormsAndOffersTheExForms) {
  auto doc = OwnDoc(u"<r/>");
  TXoMemoryStream s;
  EXPECT_EQ(MessageOf<EXoDomNotSupported>([&] { doc->SaveToStream(&s, 65001, false); }),
            _cXoDOMSaveToStreamDoc);
  EXPECT_EQ(MessageOf<EXoDomNotSupported>([&] { doc->LoadFromStream(&s, 65001); }), _cXoDOMLoadFromStreamDoc);
  doc->SaveToStreamEx(&s, false, false);
  auto other = OwnDoc(u"");
  s.SetPosition(0);
  other->LoadFromStreamEx(&s);
  EXPECT_EQ(U8(other->GetRootNode()->GetQualifiedName()), "r");
  // A non-document node keeps the forms with a code page.
  TXoMemoryStream t;
  other->GetRootNode()->SaveToStream(&t, 65001, false);
  EXPECT_EQ(t.GetSize(), 5);  // "<r />"
}

TEST(DOMIntfLifetime, InterfacesOutliveTheTreeAndAdaptersAreRemade) {
  auto doc = OwnDoc(u"<r><a><b/></a><c/></r>");
  TIntfPtr<IXoDOMElement> b = doc->SelectSingleElement(u"/r/a/b");
  TIntfPtr<IXoDOMNode> c = doc->GetRootNode()->FindElement(u"c");
  // Dropping an interface lets the adapter go; the node stays in the tree and
  // gets a new adapter at the next request.
  TXoDOMNode* native = XoDOMNodeOf(c);
  c = nullptr;
  EXPECT_EQ(native->DOMImpl(), nullptr);
  EXPECT_EQ(doc->GetRootNode()->ElementCount(), 2);
  c = XoDOMIntf<IXoDOMNode>(native);
  EXPECT_EQ(U8(c->GetQualifiedName()), "c");
  // Clearing the tree: the held nodes leave it and live on their own.
  doc->Clear();
  EXPECT_FALSE(doc->GetRootNode());
  EXPECT_EQ(U8(b->GetQualifiedName()), "b");
  EXPECT_EQ(U8(c->ParentNode()->GetQualifiedName()), "r");  // r left with its children
  EXPECT_FALSE(c->ParentNode()->ParentNode());
  EXPECT_FALSE(b->Document());
  EXPECT_EQ(U8(b->NodePath()), "r/a/b");  // its ancestors left with it
  // The document goes first; the orphans still work and go with their
  // interfaces (the sanitizers check that nothing leaks or dangles).
  doc = nullptr;
  b->AddElement(u"d");
  EXPECT_EQ(U8(b->GetXML()), "<b><d /></b>");
}

TEST(DOMIntfLifetime, HeldChildKeepsItsAncestorsAlive) {
  TIntfPtr<IXoDOMElement> leaf;
  {
    auto doc = OwnDoc(u"<r><a><b>x</b></a></r>");
    leaf = doc->SelectSingleElement(u"/r/a/b");
  }
  // The document lives while an interface further down is held.
  EXPECT_EQ(U8(leaf->NodePath()), "/r/a/b");
  EXPECT_EQ(U8(leaf->Document()->GetRootNode()->GetQualifiedName()), "r");
}

TEST(DOMStd, NodeNavigationAndChildren) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r a=\"1\"><x/><y/><z/></r>");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  EXPECT_EQ(U8(root->get_nodeName()), "r");
  EXPECT_EQ(root->get_nodeType(), 1);
  EXPECT_EQ(doc->get_nodeType(), 9);
  // The attribute is among the children of the element.
  EXPECT_EQ(root->get_childNodes()->get_length(), 4);
  EXPECT_EQ(root->get_firstChild()->get_nodeType(), 2);
  EXPECT_EQ(U8(root->get_lastChild()->get_nodeName()), "z");
  TIntfPtr<IDOMNode> x = root->get_childNodes()->get_item(1);
  EXPECT_FALSE(x->get_firstChild());
  EXPECT_FALSE(x->get_lastChild());
  EXPECT_FALSE(x->hasChildNodes());
  EXPECT_EQ(U8(x->get_nextSibling()->get_nodeName()), "y");
  EXPECT_EQ(x->get_parentNode().get(), static_cast<IDOMNode*>(root.get()));
  EXPECT_EQ(x->get_ownerDocument().get(), doc.get());
  EXPECT_EQ(MessageOf<EXoDomNotFound>([&] { doc->get_attributes(); }), _cXoDOMNoAttributes);
  EXPECT_FALSE(root->supports(u"xml", u"1.0"));

  // replaceChild on the first element: the new one takes its place.
  TIntfPtr<IDOMElement> w = doc->createElement(u"w");
  TIntfPtr<IDOMNode> old = root->replaceChild(w, x);
  EXPECT_EQ(old.get(), x.get());
  EXPECT_FALSE(old->get_parentNode());
  EXPECT_EQ(U8(doc.As<IDOMNodeEx>()->get_xml()), "<r a=\"1\"><w /><y /><z /></r>");
  // replaceChild on the last child.
  TIntfPtr<IDOMNode> z = root->get_lastChild();
  root->replaceChild(old, z);
  EXPECT_EQ(U8(root.As<IDOMNodeEx>()->get_xml()), "<r a=\"1\"><w /><y /><x /></r>");
  root->insertBefore(z, w);
  root->removeChild(root->get_lastChild());
  EXPECT_EQ(U8(root.As<IDOMNodeEx>()->get_xml()), "<r a=\"1\"><z /><w /><y /></r>");
  TIntfPtr<IDOMNode> clone = root->cloneNode(true);
  EXPECT_FALSE(clone->get_parentNode());
  EXPECT_EQ(clone->get_childNodes()->get_length(), 4);
  EXPECT_EQ(root->cloneNode(false)->get_childNodes()->get_length(), 0);
}

TEST(DOMStd, AttributeMapWorksOnTheListAlone) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r xmlns:p=\"urn:p\" a=\"1\" p:b=\"2\"/>");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  TIntfPtr<IDOMNamedNodeMap> map = root->get_attributes();
  EXPECT_EQ(map->get_length(), 3);
  EXPECT_EQ(U8(map->getNamedItem(u"a")->get_nodeValue()), "1");
  EXPECT_EQ(MessageOf<EXoDomNotFound>([&] { map->getNamedItem(u"nope"); }),
            u"There is no node for the given name \"nope\".");
  EXPECT_FALSE(map->getNamedItemNS(u"urn:p", u"nope"));
  EXPECT_EQ(U8(map->getNamedItemNS(u"urn:p", u"b")->get_nodeValue()), "2");
  // Removing from the map leaves the attribute among the element's children
  // (its parent stays) but it is no longer written.
  TIntfPtr<IDOMNode> a = map->removeNamedItem(u"a");
  ASSERT_TRUE(a);
  EXPECT_EQ(map->get_length(), 2);
  EXPECT_EQ(root->get_childNodes()->get_length(), 3);
  EXPECT_EQ(a->get_parentNode().get(), static_cast<IDOMNode*>(root.get()));
  EXPECT_EQ(U8(root.As<IDOMNodeEx>()->get_xml()), "<r xmlns:p=\"urn:p\" p:b=\"2\" />");
}

TEST(DOMStd, CharacterDataCountsFromZero) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r>abc</r>");
  TIntfPtr<IDOMCharacterData> t = doc->get_documentElement()->get_firstChild().As<IDOMCharacterData>();
  ASSERT_TRUE(t);
  t->insertData(1, u"X");
  EXPECT_EQ(U8(t->get_data()), "aXbc");
  EXPECT_EQ(t->get_length(), 4);
  EXPECT_EQ(U8(t->substringData(0, 2)), "aX");
  t->deleteData(0, 1);
  EXPECT_EQ(U8(t->get_data()), "Xbc");
  t->replaceData(1, 1, u"YY");
  EXPECT_EQ(U8(t->get_data()), "XYYc");
  t->appendData(u"<");
  EXPECT_EQ(U8(t->get_data()), "XYYc<");
  EXPECT_EQ(U8(doc.As<IDOMNodeEx>()->get_xml()), "<r>XYYc&lt;</r>");
  TIntfPtr<IDOMText> rest = t.As<IDOMText>()->splitText(2);
  EXPECT_EQ(U8(t->get_data()), "XY");
  EXPECT_EQ(U8(rest->get_data()), "Yc<");
}

TEST(DOMStd, ElementAttributesAndLists) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r id=\"7\"><i/><s><i/></s></r>");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  EXPECT_EQ(U8(root->get_tagName()), "r");
  EXPECT_TRUE(root->hasAttribute(u"id"));
  EXPECT_FALSE(root->getAttributeNode(u"nope"));
  EXPECT_EQ(U8(root->getAttributeNode(u"id")->get_value()), "7");
  EXPECT_TRUE(root->getAttributeNode(u"id")->get_specified());
  EXPECT_EQ(root->getAttributeNode(u"id")->get_ownerElement().get(), root.get());
  // getAttribute of a missing name creates the attribute.
  EXPECT_EQ(U8(root->getAttribute(u"new")), "");
  EXPECT_TRUE(root->hasAttribute(u"new"));
  root->removeAttribute(u"new");
  EXPECT_FALSE(root->hasAttribute(u"new"));
  EXPECT_ANY_THROW(root->getAttributeNodeNS(u"urn:none", u"x"));
  TIntfPtr<IDOMAttr> a = doc->createAttribute(u"k");
  a->set_value(u"v");
  EXPECT_EQ(root->setAttributeNode(a).get(), a.get());
  EXPECT_EQ(U8(root->getAttribute(u"k")), "v");
  root->removeAttributeNode(a);
  EXPECT_FALSE(root->hasAttribute(u"k"));

  TIntfPtr<IDOMNodeList> list = root->getElementsByTagName(u"i");
  EXPECT_EQ(list->get_length(), 2);
  list = nullptr;  // the list goes, its nodes stay
  EXPECT_EQ(doc->getElementsByTagName(u"i")->get_length(), 2);
  EXPECT_EQ(doc->getElementsByTagName(u"s")->get_length(), 1);
}

TEST(DOMStd, DocumentCreatesDetachedNodes) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"Tavrix", u"", u"r");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  {
    // Never attached: freed with its interface.
    TIntfPtr<IDOMElement> loose = doc->createElement(u"loose");
    EXPECT_FALSE(loose->get_parentNode());
    EXPECT_FALSE(loose->get_ownerDocument());
  }
  root->appendChild(doc->createTextNode(u"a<b"));
  root->appendChild(doc->createComment(u"c"));
  root->appendChild(doc->createCDATASection(u"<d>"));
  root->appendChild(doc->createProcessingInstruction(u"pi", u"data"));
  EXPECT_EQ(U8(root.As<IDOMNodeEx>()->get_xml()), "<r>a&lt;b<!--c--><![CDATA[<d>]]><?pi data?></r>");
  EXPECT_EQ(U8(root->get_lastChild().As<IDOMProcessingInstruction>()->get_target()), "pi");
  EXPECT_EQ(MessageOf<EXoDomNotSupported>([&] { doc->createDocumentFragment(); }), _cXoDOMNoFragments);
  EXPECT_EQ(MessageOf<EXoDomNotSupported>([&] { doc->createEntityReference(u"e"); }), _cXoDOMNoEntityRefs);
  TIntfPtr<IDOMDocumentType> type = doc->get_doctype();
  EXPECT_EQ(U8(type->get_name()), "");
  EXPECT_EQ(type->get_entities()->get_length(), 0);
  TIntfPtr<IDOMNode> imported = doc->importNode(root, true);
  EXPECT_FALSE(imported->get_parentNode());
  EXPECT_EQ(imported->get_childNodes()->get_length(), 4);

  // A new document element replaces the old one.
  TIntfPtr<IDOMElement> other = doc->createElementNS(u"urn:o", u"o:top");
  doc->set_documentElement(other);
  EXPECT_EQ(U8(doc->get_documentElement()->get_nodeName()), "o:top");
  EXPECT_FALSE(root->get_parentNode());
}

TEST(DOMStd, ImplementationAndVendors) {
  ASSERT_NE(DOMVendors().Find(u"Tavrix"), nullptr);
  TIntfPtr<IDOMImplementation> impl = GetDOM(u"Tavrix");
  EXPECT_TRUE(impl->hasFeature(u"XML", u"2.0"));
  EXPECT_TRUE(impl->hasFeature(u"xml", u"1.0"));
  EXPECT_FALSE(impl->hasFeature(u"xml", u"3.0"));
  EXPECT_FALSE(impl->hasFeature(u"core", u"2.0"));
  EXPECT_EQ(MessageOf<EXoDomNotSupported>([&] { impl->createDocumentType(u"a", u"", u""); }),
            _cXoDOMNotImplemented);
  TIntfPtr<IDOMDocument> withType = impl->createDocument(u"", u"r", nullptr);
  EXPECT_EQ(MessageOf<EXoDomNotSupported>([&] { impl->createDocument(u"", u"r", withType->get_doctype()); }),
            _cXoDOMNoDocType);
  // A namespace without a name: an empty document.
  TIntfPtr<IDOMDocument> empty = impl->createDocument(u"urn:x", u"  ", nullptr);
  EXPECT_FALSE(empty->get_documentElement());
  TIntfPtr<IDOMDocument> ns = impl->createDocument(u"urn:x", u"p:r", nullptr);
  EXPECT_EQ(U8(ns.As<IDOMNodeEx>()->get_xml()), "<p:r xmlns:p=\"urn:x\" />");
  EXPECT_EQ(U8(ns->get_documentElement()->get_namespaceURI()), "urn:x");
  ns = impl->createDocument(u"urn:y", u"r", nullptr);
  EXPECT_EQ(U8(ns.As<IDOMNodeEx>()->get_xml()), "<r xmlns=\"urn:y\" />");

  // A vendor of the program's own.
  struct TOther : TDOMVendor {
    XoXMLString Description() override { return u"Other"; }
    TIntfPtr<IDOMImplementation> DOMImplementation() override { return GetDOM(u"Tavrix"); }
  } other;
  RegisterDOMVendor(&other);
  EXPECT_EQ(DOMVendors().Find(u"Other"), &other);
  EXPECT_TRUE(XoCreateDOM(u"Other", u"", u"q")->get_documentElement());
  UnRegisterDOMVendor(&other);
  EXPECT_EQ(DOMVendors().Find(u"Other"), nullptr);
  EXPECT_EQ(MessageOf<EXoDomNotFound>([&] { GetDOM(u"Other"); }), u"There is no DOM vendor named \"Other\".");
}

TEST(DOMStd, PersistLoadsAndSaves) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<old/>");
  auto persist = doc.As<IDOMPersist>();
  EXPECT_TRUE(persist->loadxml(u"<r><a /></r>"));
  EXPECT_EQ(U8(persist->get_xml()), "<r><a /></r>");
  // A name that is no file loads nothing and raises nothing.
  EXPECT_FALSE(persist->load(u"/no/such/file.xml"));
  EXPECT_EQ(U8(persist->get_xml()), "<r><a /></r>");
  std::string path = ::testing::TempDir() + "xo_intf_load.xml";
  { std::ofstream(path) << "<fromfile />"; }
  // A file adds to what the document holds (loading from a stream does not
  // clear).
  persist->loadxml(u"");
  doc = XoCreateDOM(u"");
  persist = doc.As<IDOMPersist>();
  EXPECT_TRUE(persist->load(XoUTF8ToUTF16(path)));
  EXPECT_EQ(U8(persist->get_xml()), "<fromfile />");
  std::remove(path.c_str());
  EXPECT_EQ(persist->asyncLoadState(), static_cast<TXoDOMDocument*>(XoDOMNodeOf(doc))->GetLoadState());

  // On an element the text becomes its inner XML.
  auto rootPersist = doc->get_documentElement().As<IDOMPersist>();
  EXPECT_TRUE(rootPersist->load(u"<b/>text"));
  EXPECT_EQ(U8(persist->get_xml()), "<fromfile><b />text</fromfile>");
  EXPECT_EQ(rootPersist->asyncLoadState(), lsUninitialized);

  // Streams, plain and of the component model.
  TXoMemoryStream out;
  rootPersist->saveToStream(&out);
  EXPECT_EQ(out.GetSize(), 30);
  auto* in = new TXoMemoryStream();
  in->Write("<s>1</s>", 8);
  TIntfPtr<IStream> stream(new TStreamAdapter(in, true));
  doc = XoCreateDOM(u"");
  persist = doc.As<IDOMPersist>();
  EXPECT_TRUE(persist->loadFromStream(stream));
  EXPECT_EQ(U8(persist->get_xml()), "<s>1</s>");
  auto* saved = new TXoMemoryStream();
  TIntfPtr<IStream> target(new TStreamAdapter(saved, true));
  persist->saveToStream(target);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(saved->Memory()), 8), "<s>1</s>");
  persist->save(u"/should/not/be/written.xml");
  bool handlerCalled = false;
  persist->set_OnAsyncLoad([&](int32_t) { handlerCalled = true; });
  persist->loadxml(u"<t/>");
  EXPECT_FALSE(handlerCalled);
}

TEST(DOMStd, SelectAndGetElementById) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r><i id=\"a\">1</i><i id=\"b\">2</i></r>");
  auto select = doc.As<IDOMNodeSelect>();
  TIntfPtr<IDOMNodeList> items = select->selectNodes(u"/r/i");
  EXPECT_EQ(items->get_length(), 2);
  EXPECT_EQ(U8(select->selectNode(u"/r/i[@id=\"b\"]").As<IDOMNodeEx>()->get_text()), "2");
  EXPECT_ANY_THROW(select->selectNode(u"/r/none"));
  EXPECT_EQ(select->selectNodes(u"/r/none")->get_length(), 0);
  // getElementById reads "//@id="x"" with the path language: whatever that
  // selects, the answer is an element or nil, never a crash.
  try {
    TIntfPtr<IDOMElement> e = doc->getElementById(u"b");
    if (e) {
      EXPECT_EQ(e->get_nodeType(), 1);
    }
  } catch (const EXoDomException&) {
  }
}

TEST(DOMStd, ModuleFunctionsBuildAndFormatThroughStandardInterfaces) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"Tavrix", u"urn:a", u"a:root");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  TIntfPtr<IDOMElement> child = XoAddElement(root, u"child");
  XoAddText(child, u"x & y");
  XoAddCDATA(child, u"<raw>");
  XoAddComment(root, u"note");
  XoAddAttribute(child, u"k")->set_value(u"v");
  TIntfPtr<IDOMElement> nsChild = XoAddElement(root, u"urn:a", u"a:inner");
  XoAddAttribute(nsChild, u"urn:a", u"a:at")->set_value(u"1");
  EXPECT_EQ(U8(doc.As<IDOMNodeEx>()->get_xml()),
            "<a:root xmlns:a=\"urn:a\"><child k=\"v\">x &amp; y<![CDATA[<raw>]]></child><!--note-->"
            "<a:inner a:at=\"1\" /></a:root>");
  EXPECT_EQ(U8(nsChild->get_namespaceURI()), "urn:a");
  EXPECT_EQ(U8(XoFormatXML(doc)), U8(XoFormatXML(doc.As<IDOMNodeEx>()->get_xml())));
  EXPECT_NE(XoFormatXML(doc).find(u'\n'), std::u16string::npos);
  TIntfPtr<IDOMElement> loose = doc->createElement(u"loose");
  EXPECT_EQ(MessageOf<EXoDomNotFound>([&] { XoAddElement(loose, u"x"); }), u"The element belongs to no document.");
}

TEST(DOMTransform, AllFormsGiveTheSameResult) {
  TXoDOMDocument* doc = new TXoDOMDocument(u"<r><item n=\"a\"/><item n=\"b\"/></r>");
  TXoDOMDocument* sheet = new TXoDOMDocument(kSheet);
  XoXMLString text;
  doc->Transform(sheet, text);
  EXPECT_EQ(U8(text), "<list><name>a</name><name>b</name></list>\n");
  TXoDOMDocument* result = doc->Transform(sheet);
  EXPECT_EQ(U8(result->GetRootNode()->GetXML()), "<list><name>a</name><name>b</name></list>");
  result->Free();

  std::string path = ::testing::TempDir() + "xo_intf_sheet.xsl";
  { std::ofstream(path) << U8(kSheet); }
  XoXMLString fromFile;
  doc->GetRootNode()->Transform(XoUTF8ToUTF16(path), fromFile);
  EXPECT_EQ(fromFile, text);
  result = doc->Transform(XoUTF8ToUTF16(path));
  EXPECT_EQ(result->GetRootNode()->ElementCount(), 2);
  result->Free();
  std::remove(path.c_str());
  EXPECT_ANY_THROW(doc->Transform(u"/no/such/sheet.xsl"));

  // A stylesheet that is no XSLT, and one that is no XML.
  TXoDOMDocument* bad = new TXoDOMDocument(u"<notxsl/>");
  EXPECT_THROW(doc->Transform(bad, text), EXoDomException);
  bad->Free();
  EXPECT_THROW(XoXSLTransform(u"<r/>", u"<broken"), EXoDomException);
  sheet->Free();
  doc->Free();
}

TEST(DOMTransform, ThroughInterfaces) {
  auto doc = OwnDoc(u"<r><item n=\"x\"/></r>");
  auto sheet = OwnDoc(kSheet);
  auto out = doc->Transform(sheet);
  EXPECT_EQ(U8(out->GetRootNode()->GetXML()), "<list><name>x</name></list>");
  XoXMLString text;
  doc->Transform(sheet, text);
  EXPECT_EQ(U8(text), "<list><name>x</name></list>\n");

  // The standard forms: into text, and into another document through its
  // IDOMPersist.
  TIntfPtr<IDOMDocument> std = XoCreateDOM(u"<r><item n=\"s\"/></r>");
  TIntfPtr<IDOMDocument> stdSheet = XoCreateDOM(kSheet);
  TIntfPtr<IDOMDocument> target = XoCreateDOM(u"<old/>");
  std.As<IDOMNodeEx>()->transformNode(stdSheet, target);
  EXPECT_EQ(U8(target.As<IDOMNodeEx>()->get_xml()), "<list><name>s</name></list>");
  XoXMLString stdText;
  std.As<IDOMNodeEx>()->transformNode(stdSheet, stdText);
  EXPECT_EQ(U8(stdText), "<list><name>s</name></list>\n");
}

TEST(DOMStd, ReadmeExample) {
  // Build, query and transform with the standard interfaces alone.
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"Tavrix", u"", u"catalog");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  for (const char16_t* title : {u"XML", u"JSON"}) {
    TIntfPtr<IDOMElement> book = XoAddElement(root, u"book");
    book->setAttribute(u"title", title);
  }
  TIntfPtr<IDOMNodeList> books = doc.As<IDOMNodeSelect>()->selectNodes(u"/catalog/book");
  EXPECT_EQ(books->get_length(), 2);
  TIntfPtr<IDOMDocument> sheet = XoCreateDOM(
      u"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
      u"<xsl:output method=\"text\"/>"
      u"<xsl:template match=\"/\"><xsl:for-each select=\"//book\">"
      u"<xsl:value-of select=\"@title\"/>;</xsl:for-each></xsl:template></xsl:stylesheet>");
  XoXMLString titles;
  doc.As<IDOMNodeEx>()->transformNode(sheet, titles);
  EXPECT_EQ(U8(titles), "XML;JSON;");
}

TEST(DOMStd, DocumentHooksOfTheCommonLayer) {
  // The module hands its document functions to the common layer at start.
  TIntfPtr<IInterface> doc = XoCreateXMLDoc(u"<r><Price>12</Price><q:n xmlns:q=\"urn:q\">x</q:n></r>");
  ASSERT_TRUE(doc.As<IXoDOMDocument>());
  EXPECT_EQ(XoVarToInt(XoGetXMLDocValue(doc, u"price")), 12);
  EXPECT_EQ(U8(XoVarToStr(XoGetXMLDocValue(doc, u"n"))), "x");
  EXPECT_EQ(XoGetXMLDocValue(doc, u"none").VarType(), 0);
  EXPECT_EQ(XoGetXMLDocValue(TIntfPtr<IInterface>(), u"r").VarType(), 0);
}

TEST(DOMIntfLifetime, ListsMadeForTheCallerKeepTheirNodes) {
  TIntfPtr<IDOMNodeList> selected, byTag;
  TIntfPtr<IXoDOMNodeList> own;
  {
    TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r><i id=\"a\">1</i><s><i id=\"b\">2</i></s></r>");
    selected = doc.As<IDOMNodeSelect>()->selectNodes(u"/r/i");
    byTag = doc->get_documentElement()->getElementsByTagName(u"i");
    own = doc.As<IXoDOMNode>()->CreateNodeList(u"//i");
    // A node that leaves the tree and whose interface goes stays in the list.
    TIntfPtr<IDOMNode> s = doc.As<IDOMNodeSelect>()->selectNode(u"/r/s");
    doc->get_documentElement()->removeChild(s);
    // A fresh node added to a list and dropped by the caller stays too.
    own->Add(doc->createElement(u"fresh").As<IXoDOMNode>());
  }
  // The document's last interface went: the lists still reach their nodes.
  ASSERT_EQ(selected->get_length(), 1);
  EXPECT_EQ(U8(selected->get_item(0).As<IDOMNodeEx>()->get_xml()), "<i id=\"a\">1</i>");
  ASSERT_EQ(byTag->get_length(), 2);
  EXPECT_EQ(U8(byTag->get_item(1).As<IDOMElement>()->getAttribute(u"id")), "b");
  EXPECT_FALSE(byTag->get_item(1)->get_parentNode()->get_parentNode());  // s is out of the tree
  ASSERT_EQ(own->Count(), 3);
  EXPECT_EQ(U8(own->Last()->GetQualifiedName()), "fresh");
  EXPECT_EQ(U8(own->GetItem(0)->Document()->GetRootNode()->GetQualifiedName()), "r");
  // The lists go one by one, and the nodes with the last of them (the
  // sanitizers check that nothing dangles or leaks).
  selected = nullptr;
  byTag = nullptr;
  EXPECT_EQ(U8(own->First()->GetText()), "1");
  own = nullptr;
}

TEST(DOMStd, ReplaceChildOnTheFirstChild) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r><x/><y/></r>");
  TIntfPtr<IDOMElement> root = doc->get_documentElement();
  TIntfPtr<IDOMNode> x = root->get_firstChild();
  TIntfPtr<IDOMNode> old = root->replaceChild(doc->createComment(u"c"), x);
  EXPECT_EQ(old.get(), x.get());
  EXPECT_EQ(root->get_firstChild()->get_nodeType(), 8);
  EXPECT_EQ(U8(root.As<IDOMNodeEx>()->get_xml()), "<r><!--c--><y /></r>");
  // The new child taken from elsewhere in the same element.
  root->replaceChild(root->get_lastChild(), root->get_firstChild());
  EXPECT_EQ(U8(root.As<IDOMNodeEx>()->get_xml()), "<r><y /></r>");
  EXPECT_EQ(MessageOf<EXoDomNotFound>([&] { root->replaceChild(x, x); }), _cXoDOMNotAChild);
}

namespace {
// A stream of the component model whose copy gives up half way.
class TShortStream : public TStreamAdapter {
public:
  using TStreamAdapter::TStreamAdapter;
  void CopyTo(const TIntfPtr<IStream>& ADest, int64_t ACount, int64_t& ARead, int64_t& AWritten) override {
    TStreamAdapter::CopyTo(ADest, ACount / 2, ARead, AWritten);
  }
};
}  // namespace

TEST(DOMStd, PersistStreamsAndLoadState) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"");
  auto persist = doc.As<IDOMPersist>();
  auto* bytes = new TXoMemoryStream();
  bytes->Write("<s>1</s>", 8);
  TIntfPtr<IStream> shortStream(new TShortStream(bytes, true));
  EXPECT_EQ(MessageOf<Exception>([&] { persist->loadFromStream(shortStream); }), _cXoDOMStreamContents);
  EXPECT_EQ(U8(persist->get_xml()), "");
  // A plain stream loads on a document too (with UTF-8), from where it stands.
  TXoMemoryStream plain;
  plain.Write("<q>\xC3\xA9</q>", 9);
  plain.SetPosition(0);
  EXPECT_TRUE(persist->loadFromStream(&plain));
  EXPECT_EQ(persist->get_xml(), u"<q>\u00e9</q>");
  // The load with a code page leaves the load state as it was; a load of
  // text goes through loading to loaded.
  EXPECT_EQ(persist->asyncLoadState(), lsUninitialized);
  persist->loadxml(u"<t/>");
  EXPECT_EQ(persist->asyncLoadState(), lsLoaded);
  // A document in Latin-1 is saved in it.
  TIntfPtr<IDOMDocument> latin = XoCreateDOM(u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><q>\u00e9</q>");
  latin.As<IXoDOMDocument>()->SetEncoding(u"ISO-8859-1");
  TXoMemoryStream out;
  latin.As<IDOMPersist>()->saveToStream(&out);
  std::string written(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.GetSize()));
  EXPECT_NE(written.find("<q>\xE9</q>"), std::string::npos) << written;
}

TEST(DOMStd, GetElementByIdReadsItsPathWithThePathLanguage) {
  TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"<r><i id=\"a\">1</i><i id=\"b\">2</i></r>");
  TXoDOMDocument* native = static_cast<TXoDOMDocument*>(XoDOMNodeOf(doc));
  for (const char16_t* id : {u"a", u"b", u"zz"}) {
    XoXMLString path = u"//@id=\"" + XoXMLString(id) + u"\"";
    TXoDOMElement* expected = native->SelectSingleElement(path, TXoDOMSelectOptions{});
    TIntfPtr<IDOMElement> e = doc->getElementById(id);
    EXPECT_EQ(XoDOMNodeOf(e), expected) << U8(id);
  }
}

namespace {
void WriteBytes(const std::string& APath, const std::string& ABytes) {
  std::ofstream f(APath, std::ios::binary);
  f << ABytes;
}

// A stylesheet that copies the text of r into o, with a text of its own.
std::string SheetWith(const std::string& AOwnText) {
  return "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
         "<xsl:output method=\"text\"/>"
         "<xsl:template match=\"/\">" + AOwnText + "<xsl:value-of select=\"r\"/></xsl:template>"
         "</xsl:stylesheet>";
}
}  // namespace

TEST(DOMTransform, StyleSheetFilesAreTextFiles) {
  TXoDOMDocument doc(std::u16string(u"<r>\u00e9</r>"));
  std::string dir = ::testing::TempDir();
  XoXMLString out;

  // Without a mark the bytes are read in the system code page.
  std::string latin = dir + "xo_intf_latin.xsl";
  WriteBytes(latin, SheetWith("\xE0:"));
  uint16_t saved = XoSystemCodePage;
  XoSystemCodePage = 1252;
  try {
    doc.Transform(XoUTF8ToUTF16(latin), out);
  } catch (...) {
    XoSystemCodePage = saved;
    throw;
  }
  XoSystemCodePage = saved;
  EXPECT_EQ(out, u"\u00e0:\u00e9");
  std::remove(latin.c_str());

  // A mark decides: UTF-16 little-endian, whatever the system code page.
  std::string marked = dir + "xo_intf_utf16.xsl";
  std::u16string text = XoUTF8ToUTF16(SheetWith("\xE2\x82\xAC:"));
  std::string bytes("\xFF\xFE", 2);
  bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * 2);
  WriteBytes(marked, bytes);
  doc.Transform(XoUTF8ToUTF16(marked), out);
  EXPECT_EQ(out, u"\u20ac:\u00e9");
  std::remove(marked.c_str());

  // Names in the stylesheet are taken from the file's place.
  std::string inner = dir + "xo_intf_inner.xsl";
  std::string outer = dir + "xo_intf_outer.xsl";
  WriteBytes(inner, "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
                    "<xsl:template name=\"t\">inner</xsl:template></xsl:stylesheet>");
  WriteBytes(outer, "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
                    "<xsl:include href=\"xo_intf_inner.xsl\"/><xsl:output method=\"text\"/>"
                    "<xsl:template match=\"/\"><xsl:call-template name=\"t\"/></xsl:template></xsl:stylesheet>");
  doc.Transform(XoUTF8ToUTF16(outer), out);
  EXPECT_EQ(out, u"inner");
  std::remove(inner.c_str());
  std::remove(outer.c_str());

  // A file that is not there raises the file error.
  EXPECT_EQ(MessageOf<EFOpenError>([&] { doc.Transform(u"/no/such/sheet.xsl", out); }),
            u"Cannot open file \"/no/such/sheet.xsl\". No such file or directory");
}

TEST(DOMTransform, EngineMessagesBelongToTheirTransformation) {
  // Each thread's failures carry its own messages, and nothing is printed.
  ::testing::internal::CaptureStderr();
  std::vector<std::u16string> messages(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t, &messages] {
      std::string marker = "stop" + std::to_string(t);
      std::u16string sheet = XoUTF8ToUTF16(
          "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
          "<xsl:template match=\"/\"><xsl:message terminate=\"yes\">" + marker +
          "</xsl:message></xsl:template></xsl:stylesheet>");
      for (int i = 0; i < 20; ++i) {
        try {
          XoXSLTransform(u"<r/>", sheet);
          messages[t] = u"no failure";
        } catch (const EXoDomException& e) {
          if (e.Message() != u"The XSLT transformation failed: " + XoUTF8ToUTF16(marker)) messages[t] = e.Message();
        }
        // A stylesheet that does not compile.
        try {
          XoXSLTransform(u"<r/>", u"<xsl:stylesheet version=\"1.0\" "
                                  u"xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"><xsl:bogus/>"
                                  u"</xsl:stylesheet>");
          messages[t] = u"no failure";
        } catch (const EXoDomException& e) {
          if (e.Message().find(u"bogus") == std::u16string::npos) messages[t] = e.Message();
        }
      }
    });
  for (auto& th : threads) th.join();
  std::string printed = ::testing::internal::GetCapturedStderr();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(U8(messages[t]), "") << t;
  EXPECT_EQ(printed, "");
}
