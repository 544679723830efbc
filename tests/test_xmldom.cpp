// Tests of the XML node core: names, lists, ownership and adapters, elements,
// attributes and text, namespaces, typed values, deep trees.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "uXoXMLDOM.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }
std::string U8(std::u16string_view s) { return XoUTF16ToUTF8(s); }

// A document with a root element, freed at the end of the test.
struct TDoc {
  std::unique_ptr<TXoDOMDocument, void (*)(TXoDOMDocument*)> Doc{new TXoDOMDocument(),
                                                                  [](TXoDOMDocument* d) { d->Free(); }};
  TXoDOMElement* Root;
  explicit TDoc(const char16_t* ARoot = u"r") { Root = Doc->CreateRootNode(ARoot); }
};

// The qualified names of the items of a list, joined by blanks.
std::string Names(TXoDOMNodeListBase* AList) {
  std::string r;
  for (TXoDOMNode* n : *AList) {
    if (!r.empty()) r += ' ';
    r += U8(n->GetQualifiedName());
  }
  return r;
}

}  // namespace

TEST(DOMNames, QualifiedNameSplitsAtFirstColonAndPrefixesChange) {
  auto* e = new TXoDOMElement();
  e->SetQualifiedName(u"a:b:c");
  EXPECT_EQ(U8(e->GetPrefix()), "a");
  EXPECT_EQ(U8(e->GetLocalName()), "b:c");
  EXPECT_EQ(U8(e->GetQualifiedName()), "a:b:c");
  e->SetPrefix(u"");
  EXPECT_EQ(U8(e->GetQualifiedName()), "b:c");
  EXPECT_EQ(U8(e->GetLocalName()), "b:c");  // the local name keeps its colon
  e->SetPrefix(u"z");
  EXPECT_EQ(U8(e->GetQualifiedName()), "z:b:c");
  e->SetQualifiedName(u"plain");
  EXPECT_EQ(U8(e->GetPrefix()), "");
  EXPECT_EQ(e->GetNodeType(), ntElement);
  EXPECT_EQ(U8(std::u16string(XoDOMNodeTypes[ntProcessingInstruction])), "ProcessingInstruction");
  e->Free();

  TXoDOMText t;
  TXoDOMComment c;
  TXoDOMCDATA d;
  EXPECT_EQ(U8(t.GetLocalName()), "#text");
  EXPECT_EQ(U8(c.GetLocalName()), "#comment");
  EXPECT_EQ(U8(d.GetLocalName()), "#cdata-section");
  EXPECT_EQ(d.GetNodeType(), ntCDATA);
  TXoDOMDocument doc;
  EXPECT_EQ(U8(doc.GetLocalName()), "#document");
  EXPECT_EQ(doc.DOMDocument(), &doc);
  EXPECT_EQ(doc.GetLoadState(), lsUninitialized);
}

TEST(DOMCollations, AsciiCaseInsensitiveAndCodepoint) {
  TXoXPathCollationClass ci = TXoXPathCollationASCIICI::ClassRef();
  TXoXPathCollationClass cp = TXoXPathCollationCodepoint::ClassRef();
  EXPECT_TRUE(ci->SameText(u"Abc", u"aBC"));
  EXPECT_FALSE(cp->SameText(u"Abc", u"aBC"));
  EXPECT_EQ(ci->Pos(u"B", u"abc"), 2);
  EXPECT_EQ(ci->Pos(u"\u00C9", u"\u00E9"), 0);  // only ASCII letters fold
  EXPECT_EQ(cp->Pos(u"B", u"abc"), 0);
  EXPECT_EQ(ci->Compare(u"a", u"B"), -1);
  EXPECT_EQ(cp->Compare(u"a", u"B"), 1);
  EXPECT_EQ(DefaultXPathCollation, ci);
}

TEST(DOMLists, ElementListsLookUpFromTheEndAndByVariant) {
  TDoc d;
  TXoDOMElement* a1 = d.Root->AddElement(u"a");
  TXoDOMElement* a2 = d.Root->AddElement(u"a");
  TXoDOMElement* px = d.Root->AddElement(u"p:x");
  EXPECT_EQ(d.Root->Elements()->GetItem(Variant(u"a")), a2);
  EXPECT_EQ((*d.Root->Elements())[u"A"], a2);  // default collation ignores ASCII case
  EXPECT_EQ(d.Root->Elements()->GetItem(Variant(0)), a1);
  EXPECT_EQ(d.Root->Elements()->GetItem(Variant(u".")), d.Root);
  EXPECT_EQ(d.Root->Elements()->GetItem(Variant(u"p:x")), px);  // qualified names with a colon
  EXPECT_EQ(d.Root->Elements()->GetItem(Variant(u"x")), px);    // local names without one
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { d.Root->Elements()->GetItem(Variant(u"zz")); })),
            "There is no node for the given name \"zz\".");
  EXPECT_EQ(d.Root->Elements()->GetItemEx(Variant(u"zz"), coReturnNil), nullptr);
  EXPECT_EQ(U8(MessageOf<EListError>([&] { d.Root->Elements()->GetItem(Variant(1.5)); })), "Invalid idx value");
  // Creating and paths go through path selection.
  TXoDOMElement* made = d.Root->Elements()->GetItemEx(Variant(u"b/c"), coCreate);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(U8(made->NodePath()), "/r/b/c");
  EXPECT_EQ(d.Root->Elements()->GetItem(Variant(u"b/c")), made);

  d.Doc->SetCaseSensitive(true);
  EXPECT_EQ(d.Root->Elements()->GetItemEx(Variant(u"A"), coReturnNil), nullptr);
  EXPECT_EQ(U8(MessageOf<Exception>([&] { d.Root->Elements()->Find(u"a", {soRaise, soCreate}); })),
            "It is not possible to specify soCreate!");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { d.Root->Elements()->Find(u"a", {soCaseSensitive, soCaseInsensitive}); })),
            "It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  EXPECT_EQ(d.Root->Elements()->Find(u"A", {soCaseInsensitive}), a2);
  EXPECT_EQ(d.Root->Elements()->Find(u"", u"a"), a2);
}

TEST(DOMLists, PositionsNavigationAndEnumerators) {
  TXoDOMNodeList list;  // a list of its own: owns nothing
  TXoDOMElement a, b, c, n, stranger;
  a.SetQualifiedName(u"a");
  b.SetQualifiedName(u"b");
  c.SetQualifiedName(u"c");
  n.SetQualifiedName(u"n");
  TXoDOMNodeListBaseEnumerator empty(&list);
  EXPECT_FALSE(empty.MoveNext());
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { list.First(); })),
            "Failed to get the first node!\r\nThe list contains no nodes.");
  EXPECT_NE(MessageOf<EXoDomNotFound>([&] { list.Last(); }), u"<no exception>");
  list.Add(&a, rdpLast);
  list.Add(&b, rdpLast);
  list.Add(&c, rdpFirst);
  EXPECT_EQ(Names(&list), "c a b");
  list.Add(&n, nullptr, rdpBefore);
  EXPECT_EQ(Names(&list), "n c a b");
  list.Delete(&n);
  list.Add(&n, nullptr, rdpAfter);
  EXPECT_EQ(Names(&list), "c a b n");
  list.Delete(&n);
  list.Add(&n, &stranger, rdpAfter);
  EXPECT_EQ(Names(&list), "c a b n");
  list.Delete(&n);
  list.Add(&n, &stranger, rdpBefore);
  EXPECT_EQ(Names(&list), "n c a b");
  list.Delete(&n);
  list.Add(&n, rdpAfter, &a);
  EXPECT_EQ(Names(&list), "c a n b");
  EXPECT_EQ(list.Next(&stranger), &c);  // a stranger stands in front of the first
  EXPECT_EQ(list.Next(&b), nullptr);
  EXPECT_EQ(list.Previous(&c), nullptr);
  EXPECT_EQ(list.Previous(&a), &c);
  EXPECT_EQ(U8(MessageOf<EListError>([&] { list.Previous(&stranger); })),
            "The specified referencenode is not part of this list!");
  EXPECT_EQ(list.Delete(&stranger), nullptr);
  EXPECT_EQ(list.Delete(u"N", TXoDOMSelectOptions{}), &n);
  TXoDOMNodeListBaseEnumerator en(&list);
  std::string seen;
  while (en.MoveNext()) seen += U8(en.GetCurrent()->GetQualifiedName());
  EXPECT_EQ(seen, "cab");
  TXoDOMElementList elems;
  elems.Add(&a, rdpLast);
  TXoDOMElementListEnumerator ee = XoDOMGetEnumerator(&elems);
  ASSERT_TRUE(ee.MoveNext());
  EXPECT_EQ(ee.GetCurrent(), &a);
  EXPECT_FALSE(ee.MoveNext());
  EXPECT_THROW(list.GetItem(3), EListError);
  list.Clear();
  EXPECT_EQ(list.Count(), 0);

  TXoDOMObjectList objs, copy;
  objs.Add(&a);
  objs.Add(&b);
  copy.Add(&c);
  copy.Assign(&objs);
  ASSERT_EQ(copy.Count(), 2);
  EXPECT_EQ(copy[1], &b);
}

TEST(DOMLists, TypedListsKeepTheirOwnOrderBesideTheChildren) {
  TDoc d;
  TXoDOMElement* e1 = d.Root->AddElement(u"e1");
  TXoDOMText* t1 = d.Root->AddText(u"t1");
  TXoDOMElement* e2 = d.Root->AddElement(u"e2");
  TXoDOMAttribute* at = d.Root->AddAttribute(u"at");
  at->SetNodeValue(u"v");
  // A reference that is no element counts as a stranger in the element list:
  // "before" puts the new element first there, but in place among all children.
  TXoDOMElement* x = d.Root->InsertElement(u"x", rdpBefore, t1);
  EXPECT_EQ(Names(d.Root->ChildNodes()), "e1 x #text e2 at");
  EXPECT_EQ(Names(d.Root->Elements()), "x e1 e2");
  d.Root->InsertComment(u"c", rdpBefore, e2);
  EXPECT_EQ(Names(d.Root->CharNodes()), "#comment #text");
  EXPECT_EQ(Names(d.Root->Attributes()), "at");
  EXPECT_EQ(d.Root->NodeCount(), 6);
  EXPECT_EQ(d.Root->ElementCount(), 3);
  EXPECT_EQ(d.Root->AttributeCount(), 1);
  // Siblings follow all children, attributes included.
  EXPECT_EQ(e2->NextSibling(), at);
  EXPECT_EQ(at->PreviousSibling(), e2);
  EXPECT_EQ(e1->PreviousSibling(), nullptr);
  EXPECT_EQ(x->NextElement(), e1);
  EXPECT_EQ(x->PreviousElement(), nullptr);
  EXPECT_EQ(d.Root->FirstElement(), x);
  EXPECT_EQ(d.Root->LastElement(), e2);
  EXPECT_EQ(d.Root->FirstAttribute(), at);
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { e1->FirstAttribute(); })),
            "Failed to get the first node!\r\nThe list contains no nodes.");
  EXPECT_THROW(e1->LastElement(), EXoDomNotFound);
  // Indexed loops in both directions on a chain view.
  TXoDOMNodeList* all = d.Root->ChildNodes();
  std::string back;
  for (int i = all->Count() - 1; i >= 0; --i) back += U8(all->GetItem(i)->GetLocalName()) + ",";
  EXPECT_EQ(back, "at,e2,#comment,#text,x,e1,");
  int count = 0;
  for (TXoDOMNode* n : *d.Root) count += n != nullptr;
  EXPECT_EQ(count, 6);
  // Removing keeps everything in step.
  d.Root->RemoveElement(u"x");
  d.Root->RemoveAttribute(u"at");
  d.Root->RemoveAttribute(u"missing");  // a missing name does nothing
  EXPECT_EQ(Names(d.Root->ChildNodes()), "e1 #text #comment e2");
  EXPECT_EQ(Names(d.Root->Elements()), "e1 e2");
  EXPECT_FALSE(d.Root->HasAttributes());
}

TEST(DOMOwnership, AdaptersComeOnDemandAndCarryTheCount) {
  // No interface, no adapter: Free is plain.
  auto* plain = new TXoDOMElement();
  EXPECT_EQ(plain->DOMImpl(), nullptr);
  plain->AddElement(u"c");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { plain->_Release(); })),
            "DOM Objects do not support interfaces. All interface requests should be handled by the DOMIMpl "
            "object.");
  plain->Free();

  TDoc d;
  TXoDOMElement* child = d.Root->AddElement(u"c");
  {
    TIntfPtr<IXoObject> i = child->GetInterface();
    ASSERT_TRUE(i);
    EXPECT_NE(child->DOMImpl(), nullptr);
    EXPECT_EQ(TXoDOMObjectImpl::Node(i), child);
    EXPECT_EQ(child->DOMImpl()->GetRefCount(), 1);
    // The parent's adapter is held by the child's.
    EXPECT_NE(d.Root->DOMImpl(), nullptr);
    EXPECT_EQ(U8(MessageOf<Exception>([&] { child->Free(); })),
              "An instance of TXoDOMElement is destroyed while it's refcount is not 0!");
    EXPECT_EQ(child->ParentNode(), d.Root);  // the failed Free changed nothing
  }
  // Dropped: the node stays in the tree and has no adapter any more.
  EXPECT_EQ(child->DOMImpl(), nullptr);
  EXPECT_EQ(child->ParentNode(), d.Root);
  TIntfPtr<IXoObject> again = child->GetInterface();
  EXPECT_NE(child->DOMImpl(), nullptr);
  again = nullptr;
  EXPECT_EQ(child->DOMImpl(), nullptr);
}

TEST(DOMOwnership, OrphansLiveUntilTheirLastReference) {
  TDoc d;
  TXoDOMElement* keep = d.Root->AddElement(u"keep");
  keep->AddElement(u"inner")->AddText(u"x");
  d.Root->AddElement(u"gone");
  TIntfPtr<IXoObject> i = keep->GetInterface();
  d.Root->Clear();
  EXPECT_EQ(d.Root->NodeCount(), 0);
  EXPECT_EQ(keep->ParentNode(), nullptr);
  EXPECT_EQ(keep->DOMDocument(), nullptr);
  EXPECT_EQ(U8(keep->GetXML()), "<keep><inner>x</inner></keep>");
  i = nullptr;  // frees the orphan and its subtree (checked by the leak detector)

  // An orphan whose document goes first.
  auto* doc = new TXoDOMDocument();
  TXoDOMElement* r = doc->CreateRootNode(u"r");
  TXoDOMElement* o = r->AddElement(u"urn:x", u"p:o");
  TIntfPtr<IXoObject> oi = o->GetInterface();
  r->RemoveChild(o);
  EXPECT_EQ(o->ParentNode(), nullptr);
  doc->Free();
  EXPECT_EQ(o->ParentNode(), nullptr);
  oi = nullptr;
}

TEST(DOMOwnership, RemovingSomethingElsesChildIsRefused) {
  TDoc d;
  TXoDOMElement* a = d.Root->AddElement(u"a");
  TXoDOMElement* b = d.Root->AddElement(u"b");
  std::u16string msg = MessageOf<EAssertionFailed>([&] { a->RemoveChild(b); });
  EXPECT_EQ(U8(msg.substr(0, 55)), "The specified ChildNode is not a child of this element!");
  a->RemoveChild(nullptr);  // nil does nothing
  EXPECT_EQ(b->ParentNode(), d.Root);
  // Moving: the caller detaches first.
  d.Root->RemoveChild(b);  // no adapter, no parent: freed
  TXoDOMElement* m = d.Root->AddElement(u"m");
  auto* detached = new TXoDOMElement();
  detached->SetQualifiedName(u"d");
  m->AppendChild(detached);
  EXPECT_EQ(detached->ParentNode(), m);
  EXPECT_EQ(U8(d.Root->GetXML()), "<r><a /><m><d /></m></r>");
}

TEST(DOMClone, ShallowAndDeepCopiesKeepStoredText) {
  TDoc d;
  TXoDOMElement* e = d.Root->AddElement(u"p:e");
  e->SetAttribute(u"a", u"1 < 2");
  e->SetAttribute(u"b", u"it's");
  e->AddText(u"x&y");
  e->AddComment(u"c");
  e->AddElement(u"k")->AddCDATA(u"<raw>");
  TXoDOMNode* shallow = e->CloneNode(false);
  EXPECT_EQ(U8(shallow->GetXML()), "<p:e />");
  EXPECT_EQ(shallow->ParentNode(), nullptr);
  shallow->Free();
  TXoDOMNode* deep = e->CloneNode(true);
  EXPECT_EQ(U8(deep->GetXML()), U8(e->GetXML()));
  EXPECT_EQ(U8(deep->GetXML()), "<p:e a=\"1 &lt; 2\" b=\"it's\">x&amp;y<!--c--><k><![CDATA[<raw>]]></k></p:e>");
  auto* de = static_cast<TXoDOMElement*>(deep);
  EXPECT_EQ(Names(de->Attributes()), "a b");
  deep->Free();
  EXPECT_EQ(U8(MessageOf<EXoDomNotSupported>([&] { d.Doc->CloneNode(true); })),
            "It is not possible to clone a TXoDOMDocument using the CloneNode method!");
  auto* pi = new TXoDOMProcessingInstruction();
  pi->SetQualifiedName(u"t");
  pi->SetData(u"a=\"1\"");
  TXoDOMNode* pc = pi->CloneNode(false);
  EXPECT_EQ(U8(pc->GetXML()), "<?t a=\"1\"?>");
  pc->Free();
  pi->Free();
}

TEST(DOMNodePath, StepsUpToTheDocumentWithAKeyOnTheLastStep) {
  TDoc d;
  TXoDOMElement* x = d.Root->AddElement(u"p:x");
  x->SetAttribute(u"ID", u"7");
  TXoDOMElement* y = x->AddElement(u"y");
  EXPECT_EQ(U8(d.Root->NodePath()), "/r");
  EXPECT_EQ(U8(x->NodePath(true, u"id")), "/r/x[@id=\"7\"]");
  EXPECT_EQ(U8(x->NodePath(false, u"none")), "/r/p:x");
  EXPECT_EQ(U8(y->NodePath(true, u"id")), "/r/x/y");
  EXPECT_EQ(U8(x->FindAttribute(u"ID")->NodePath()), "/r/p:x/@ID");
  EXPECT_EQ(U8(d.Doc->NodePath()), "");
  TXoDOMElement lone;
  lone.SetQualifiedName(u"lone");
  EXPECT_EQ(U8(lone.NodePath()), "lone");
}

TEST(DOMText, StoredFormsAndDecodedValues) {
  TDoc d;
  TXoDOMElement* e = d.Root->AddElement(u"e");
  e->SetNodeValue(u"a<b");
  EXPECT_EQ(U8(e->GetXML()), "<e>a&lt;b</e>");
  EXPECT_EQ(U8(e->GetNodeValue()), "a<b");
  TXoDOMComment* c = d.Root->AddComment(u"a<b");
  EXPECT_EQ(U8(c->StoredValue()), "a<b");
  TXoDOMAttribute* at = e->AddAttribute(u"q");
  at->SetNodeValue(u"it's \"x\"");
  EXPECT_EQ(U8(at->StoredValue()), "it's &quot;x&quot;");
  EXPECT_EQ(U8(at->GetNodeValue()), "it's \"x\"");
  TXoDOMText* raw = new TXoDOMText();
  raw->SetStoredValue(u"&#233;");
  EXPECT_EQ(U8(raw->GetNodeValue()), "\xC3\xA9");
  EXPECT_EQ(U8(raw->GetXML()), "&#233;");
  raw->Free();
  EXPECT_EQ(U8(MessageOf<EXoDomNotSupported>([&] { d.Doc->SetNodeValue(u"x"); })),
            "The SetNodeValue is not supported by the TXoDomNode");
  EXPECT_EQ(U8(MessageOf<EXoDomNotSupported>([&] { d.Doc->SetInnerXML(u"x"); })),
            "The SetInnerXML is not supported by the TXoDomNode");
}

TEST(DOMText, ElementValueTextAndCDATA) {
  TDoc d;
  TXoDOMElement* e = d.Root->AddElement(u"e");
  e->AddText(u"one");
  e->AddComment(u"note");
  e->AddCDATA(u"<two>");
  EXPECT_EQ(U8(e->GetNodeValue()), "one<two>");  // comments left out
  EXPECT_EQ(U8(e->GetText()), "onenote<two>");  // comments taken in
  e->SetNodeValue(u"new");
  EXPECT_EQ(U8(e->GetXML()), "<e><![CDATA[<two>]]>new</e>");
  EXPECT_EQ(U8(e->GetNodeValue()), "<two>new");
  EXPECT_EQ(e->GetCDATACount(), 1);
  EXPECT_EQ(U8(e->GetCDATA(0)->GetNodeValue()), "<two>");
  TXoDOMCDATA* added = e->GetCDATA(1);
  EXPECT_EQ(e->GetCDATACount(), 2);
  EXPECT_EQ(U8(added->GetNodeValue()), "");
  EXPECT_EQ(U8(MessageOf<EListError>([&] { e->GetCDATA(3); })), "There is no CDATA element with index 3!");

  // <a>x<b>y</b>z</a>: own text first.
  TXoDOMElement* a = d.Root->AddElement(u"a");
  a->AddText(u"x");
  a->AddElement(u"b")->AddText(u"y");
  a->AddText(u"z");
  EXPECT_EQ(U8(a->GetText()), "xzy");
  // Reading a missing attribute creates it.
  EXPECT_FALSE(a->HasAttribute(u"k"));
  EXPECT_EQ(U8(a->GetAttribute(u"k")), "");
  EXPECT_TRUE(a->HasAttribute(u"k"));
}

TEST(DOMText, StringOperationsSplitAndNormalize) {
  TDoc d;
  TXoDOMText* t = d.Root->AddText(u"hello");
  t->AppendStr(u" world");
  t->InsertStr(1, u">");
  t->DeleteStr(2, 1);
  EXPECT_EQ(U8(t->GetNodeValue()), ">ello world");
  t->ReplaceStr(1, 5, u"J");
  EXPECT_EQ(U8(t->GetNodeValue()), "J world");
  EXPECT_EQ(U8(t->Substring(3, 3)), "wor");
  EXPECT_EQ(U8(t->Substring(30, 3)), "");
  TXoDOMText* rest = t->SplitText(2);
  EXPECT_EQ(U8(t->GetNodeValue()), "J ");
  EXPECT_EQ(U8(rest->GetNodeValue()), "world");
  EXPECT_EQ(t->NextSibling(), rest);
  TXoDOMText* empty = rest->SplitText(5);
  EXPECT_EQ(U8(empty->GetNodeValue()), "");
  EXPECT_EQ(rest->NextSibling(), empty);
  d.Root->AddComment(u"stop");
  d.Root->AddText(u"a&b");
  d.Root->AddText(u"c");
  d.Root->AddCDATA(u"d");
  d.Root->NormalizeTextNodes();
  EXPECT_EQ(U8(d.Root->GetXML()), "<r>J world<!--stop-->a&amp;bc<![CDATA[d]]></r>");
}

TEST(DOMNamespaces, DeclarationsAreMadeWhereNeeded) {
  TDoc d;
  // AddElement with a URI declares the prefix on the new element.
  TXoDOMElement* y = d.Root->AddElement(u"urn:x", u"p:y");
  EXPECT_EQ(U8(y->GetXML()), "<p:y xmlns:p=\"urn:x\" />");
  EXPECT_EQ(U8(y->GetNamespaceURI()), "urn:x");
  // AddAttribute puts the declaration directly in front of the attribute.
  TXoDOMElement* h = d.Root->AddElement(u"h");
  h->SetAttribute(u"first", u"1");
  TXoDOMAttribute* pa = h->AddAttribute(u"urn:x", u"p:b");
  EXPECT_EQ(Names(h->Attributes()), "first xmlns:p p:b");
  EXPECT_EQ(U8(pa->GetNamespaceURI()), "urn:x");
  // Below a declaration of the same URI and prefix, no new declaration.
  TXoDOMElement* z = y->AddElement(u"urn:x", u"p:z");
  EXPECT_EQ(z->AttributeCount(), 0);
  EXPECT_EQ(U8(z->GetNamespaceURI()), "urn:x");
  EXPECT_EQ(z->Namespace(), y->FindAttribute(u"xmlns:p"));
  // The xml prefix needs no declaration; an unprefixed attribute takes the
  // element's default namespace.
  TXoDOMAttribute* lang = h->AddAttribute(u"xml:lang");
  EXPECT_EQ(U8(lang->GetNamespaceURI()), "http://www.w3.org/XML/1998/namespace");
  TXoDOMElement* def = d.Root->AddElement(u"urn:d", u"def");
  EXPECT_EQ(U8(def->GetXML()), "<def xmlns=\"urn:d\" />");
  TXoDOMAttribute* plain = def->AddAttribute(u"plain");
  EXPECT_EQ(U8(plain->GetNamespaceURI()), "urn:d");
  EXPECT_TRUE(def->FindAttribute(u"xmlns")->IsNamespace());
  EXPECT_EQ(U8(def->FindAttribute(u"xmlns")->NamespacePrefix()), "");
  EXPECT_EQ(U8(h->FindAttribute(u"xmlns:p")->NamespacePrefix()), "p");
  std::u16string msg = MessageOf<EAssertionFailed>([&] { plain->NamespacePrefix(); });
  EXPECT_EQ(U8(msg.substr(0, 17)), "Assertion failure");
  // Lookups by namespace.
  EXPECT_EQ(d.Root->FindElement(u"urn:x", u"y"), y);
  EXPECT_EQ(d.Root->FindElement(u"urn:other", u"y"), nullptr);
  EXPECT_EQ(y->FindNamespace(u"urn:x"), y->FindAttribute(u"xmlns:p"));
  EXPECT_EQ(z->FindNamespace(u"urn:x"), y->FindAttribute(u"xmlns:p"));
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { d.Root->ElementByName(u"urn:q", u"nope", coRaise); })),
            "There is no child with the localname \"nope\" and namespace \"urn:q\"!");
  EXPECT_EQ(d.Root->ElementByName(u"urn:q", u"nope", coReturnNil), nullptr);
  TXoDOMElement* made = y->ElementByName(u"urn:x", u"made", coCreate);
  EXPECT_EQ(U8(made->GetQualifiedName()), "p:made");
  TXoDOMAttribute* ns = h->AttributeByName(u"urn:n", u"n:at", true);
  EXPECT_EQ(U8(ns->GetNamespaceURI()), "urn:n");
  EXPECT_EQ(U8(h->GetAttributeNS(u"urn:n", u"n:at")), "");
  h->SetAttributeNS(u"urn:n", u"n:at", u"v");
  EXPECT_EQ(U8(h->GetAttributeNS(u"urn:n", u"at")), "v");
  EXPECT_THROW(h->GetAttributeNS(u"urn:none", u"at"), EXoDomNotFound);
}

TEST(DOMNamespaces, DetachedElementsKeepTheirURIAndDeclareItAgain) {
  TDoc d;
  TXoDOMElement* holder = d.Root->AddElement(u"holder");
  TXoDOMElement* e = holder->AddElement(u"urn:k", u"k:e");
  TIntfPtr<IXoObject> keep = e->GetInterface();
  holder->RemoveChild(e);
  EXPECT_EQ(e->ParentNode(), nullptr);
  EXPECT_EQ(U8(e->GetNamespaceURI()), "urn:k");
  // Below a parent that declares the same URI and prefix: no declaration.
  TXoDOMElement* other = d.Root->AddElement(u"urn:k", u"k:other");
  e->RemoveAttribute(u"xmlns:k");
  EXPECT_EQ(U8(e->GetNamespaceURI()), "urn:k");
  other->AppendChild(e);
  EXPECT_EQ(e->AttributeCount(), 0);
  EXPECT_EQ(U8(e->GetNamespaceURI()), "urn:k");
  // Below a parent without it: declared again.
  other->RemoveChild(e);
  d.Root->AppendChild(e);
  EXPECT_EQ(U8(e->GetXML()), "<k:e xmlns:k=\"urn:k\" />");
  keep = nullptr;
  // Renaming an attribute into a declaration updates the scope below.
  TXoDOMElement* s = d.Root->AddElement(u"q:s");
  TXoDOMElement* t = s->AddElement(u"q:t");
  EXPECT_EQ(U8(t->GetNamespaceURI()), "");
  TXoDOMAttribute* a = s->AddAttribute(u"later");
  a->SetNodeValue(u"urn:q");
  a->SetQualifiedName(u"xmlns:q");
  EXPECT_EQ(U8(t->GetNamespaceURI()), "urn:q");
  EXPECT_EQ(s->Namespaces()->Count(), 1);
  // Removing the declaration takes it out of scope below.
  s->RemoveAttribute(u"xmlns:q");
  EXPECT_EQ(U8(t->GetNamespaceURI()), "");
  EXPECT_EQ(t->Namespaces()->Count(), 0);
}

TEST(DOMPreserveSpace, FlagsFollowXmlSpaceDownTheTree) {
  TDoc d;
  TXoDOMElement* p = d.Root->AddElement(u"p");
  p->SetPreseveSpace(true);
  EXPECT_EQ(U8(p->GetAttribute(u"xml:space")), "preserve");
  TXoDOMElement* c = p->AddElement(u"c");
  EXPECT_TRUE(c->GetPreserveSpace());
  TXoDOMElement* dflt = p->AddElement(u"d");
  dflt->SetPreseveSpace(false);
  TXoDOMElement* g = dflt->AddElement(u"g");
  EXPECT_FALSE(g->GetPreserveSpace());
  p->SetPreseveSpace(false);
  EXPECT_FALSE(c->GetPreserveSpace());
  p->SetPreseveSpace(true);
  EXPECT_TRUE(c->GetPreserveSpace());
  EXPECT_FALSE(g->GetPreserveSpace());  // below its own xml:space, untouched
  TXoDOMText* t = c->AddText(u" ");
  EXPECT_TRUE(t->GetPreserveSpace());
  EXPECT_FALSE(d.Root->GetPreserveSpace());
}

TEST(DOMTypedValues, ReadingAndWriting) {
  TDoc d;
  TXoDOMElement* e = d.Root->AddElement(u"e");
  e->SetAsInteger(42);
  EXPECT_EQ(e->GetAsInteger(), 42);
  EXPECT_EQ(e->GetAsInt64(), 42);
  e->SetAsString(u"not a number");
  EXPECT_EQ(e->GetAsInteger(), 0);  // unreadable text gives 0
  EXPECT_EQ(e->GetAsDouble(), 0);
  e->SetAsBoolean(true);
  EXPECT_TRUE(e->GetAsBoolean());
  EXPECT_EQ(U8(e->GetXML()), "<e>true</e>");
  e->SetAsDouble(1.5);
  EXPECT_EQ(e->GetAsDouble(), 1.5);
  e->SetAsString(u"<&>");
  EXPECT_EQ(U8(e->GetXML()), "<e>&lt;&amp;&gt;</e>");
  EXPECT_EQ(U8(e->GetAsString()), "<&>");
  EXPECT_EQ(U8(XoVarToStr(e->GetAsVariant())), "<&>");
  TXoDOMElement* empty = d.Root->AddElement(u"empty");
  EXPECT_TRUE(empty->GetAsVariant().IsNull());

  // With schema instance on and both declarations in scope.
  d.Doc->SetUseSchemaInstance(true);
  EXPECT_TRUE(d.Root->HasAttribute(u"xmlns:xsi"));
  EXPECT_TRUE(d.Root->HasAttribute(u"xmlns:xsd"));
  TXoDOMElement* n = d.Root->AddElement(u"n");
  n->SetAsInteger(5);
  EXPECT_EQ(U8(n->GetXML()), "<n xsi:type=\"xsd:int\">5</n>");
  Variant v = n->GetAsVariant();
  EXPECT_EQ(v.VarType(), varInteger);
  EXPECT_EQ(XoVarToInt(v), 5);
  n->SetAsVariant(Variant::Null());
  EXPECT_EQ(U8(n->GetXML()), "<n xsi:type=\"xsd:int\" xsi:nil=\"true\"></n>");
  EXPECT_TRUE(n->GetAsVariant().IsNull());
  n->SetAsVariant(Variant(u"s"));
  EXPECT_FALSE(n->HasAttribute(u"xsi:nil"));
  EXPECT_EQ(U8(n->GetAsString()), "s");
  n->SetAttribute(u"xsi:type", u"");
  EXPECT_EQ(U8(MessageOf<EXoDomException>([&] { n->GetAsVariant(); })),
            "The type attribute does not contain valid typeinfo.");
  // Without the declarations the text alone is written.
  TXoDOMDocument plain;
  plain.CreateRootNode(u"r");
  plain.SetUseSchemaInstance(true);
  plain.GetRootNode()->RemoveAttribute(u"xmlns:xsd");
  TXoDOMElement* m = plain.GetRootNode()->AddElement(u"m");
  m->SetAsInteger(5);
  EXPECT_EQ(U8(m->GetXML()), "<m>5</m>");
}

TEST(DOMElementLists, CreateElementListAndChildElementsWalk) {
  TDoc d;
  TXoDOMElement* a = d.Root->AddElement(u"a");
  a->AddElement(u"p:a")->AddElement(u"a");
  d.Root->AddElement(u"b")->AddElement(u"a");
  std::unique_ptr<TXoDOMElementList, void (*)(TXoDOMElementList*)> all(d.Root->CreateElementList(u"a", true),
                                                                      [](TXoDOMElementList* l) { l->Free(); });
  EXPECT_EQ(Names(all.get()), "a a a");
  std::unique_ptr<TXoDOMElementList, void (*)(TXoDOMElementList*)> self(a->CreateElementList(u"a", false),
                                                                       [](TXoDOMElementList* l) { l->Free(); });
  EXPECT_EQ(Names(self.get()), "a");
  TXoDOMElementList got;
  d.Root->_GetChildElements(&got, u"*", u"a", true, {soLocalName});
  EXPECT_EQ(Names(&got), "a p:a a a");
  got.Clear();
  d.Root->_GetChildElements(&got, u"p", u"*", true, {soQualifiedName});
  EXPECT_EQ(Names(&got), "p:a");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { d.Root->_GetChildElements(&got, u"", u"a", true, {soRaise}); })),
            "It is not possible to specify either soRaise or soCreate!");
  EXPECT_EQ(U8(MessageOf<Exception>([&] {
              d.Root->_GetChildElements(&got, u"", u"a", true, {soCaseSensitive, soCaseInsensitive});
            })),
            "It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  // A nil class means the element class.
  EXPECT_EQ(U8(MessageOf<Exception>([&] { d.Root->ElementByName(u"x", {soCreate}, TXoDOMNodeClass()); })),
            "<no exception>");
  EXPECT_NE(d.Root->FindElement(u"x"), nullptr);
  EXPECT_EQ(U8(MessageOf<EXoDomException>(
                [&] { d.Doc->CreateRootNode(u"again"); })),
            "This DOM document already contains a rootnode!");
  d.Doc->Clear();
  EXPECT_NE(d.Doc->CreateRootNode(u"again"), nullptr);
}

TEST(DOMDepth, DeepTreesNeedNoStack) {
  const int kDepth = 100000;
  auto* doc = new TXoDOMDocument();
  TXoDOMElement* cur = doc->CreateRootNode(u"urn:deep", u"d:n");
  TXoDOMElement* top = cur;
  for (int i = 0; i < kDepth; ++i) cur = cur->AddElement(u"d:n");
  EXPECT_EQ(U8(cur->GetNamespaceURI()), "urn:deep");
  XoXMLString path = cur->NodePath();
  EXPECT_EQ(path.size(), static_cast<size_t>(kDepth + 1) * 4);
  top->RefreshNamespaces();
  TXoDOMNode* clone = top->CloneNode(true);
  XoXMLString xml = clone->GetXML();
  EXPECT_EQ(xml.size(), top->GetXML().size());
  EXPECT_EQ(U8(static_cast<TXoDOMElement*>(clone)->GetText()), "");
  clone->Free();
  // An interface deep down: its adapter chain is made and released in loops.
  {
    TIntfPtr<IXoObject> i = cur->GetInterface();
    EXPECT_NE(top->DOMImpl(), nullptr);
  }
  EXPECT_EQ(top->DOMImpl(), nullptr);
  doc->Clear();
  doc->Free();
}

TEST(DOMDefaults, ProcessWideDefaultsAndDocumentSettingsSteerLookups) {
  // A document takes the defaults when it is made.
  DefaultSelectMatchOption = soLocalName;
  DefaultSelectCheckOption = coReturnNil;
  {
    TDoc d;
    TXoDOMElement* px = d.Root->AddElement(u"p:x");
    EXPECT_EQ(d.Root->FindElement(u"x"), px);  // local names by default now
    EXPECT_EQ(d.Root->Elements()->Find(u"x", TXoDOMSelectOptions{}), px);
    EXPECT_EQ(d.Root->Elements()->GetItem(Variant(u"none")), nullptr);  // coReturnNil from the document
    d.Doc->SetSelectMatchOption(soQualifiedName);
    EXPECT_EQ(d.Root->FindElement(u"x"), nullptr);
    EXPECT_EQ(d.Root->FindElement(u"x", {soLocalName}), px);
  }
  DefaultSelectMatchOption = soQualifiedName;
  DefaultSelectCheckOption = coRaise;
  {
    TDoc d;
    d.Root->AddElement(u"p:x");
    EXPECT_EQ(d.Root->FindElement(u"x"), nullptr);
    EXPECT_THROW(d.Root->Elements()->GetItem(Variant(u"none")), EXoDomNotFound);
  }
  // The preserve-space default: new elements and nodes with no element above.
  DefaultPreserveCase = true;
  auto* e = new TXoDOMElement();
  auto* t = new TXoDOMText();
  EXPECT_TRUE(e->GetPreserveSpace());
  EXPECT_TRUE(t->GetPreserveSpace());
  {
    TXoDOMDocument doc;
    TXoDOMElement* r = doc.CreateRootNode(u"r");
    EXPECT_TRUE(r->GetPreserveSpace());
    EXPECT_TRUE(r->AddElement(u"c")->GetPreserveSpace());
    // Formatting leaves a preserve-space tree as it is.
    EXPECT_EQ(U8(doc.GetFormattedXML()), "<r><c /></r>");
  }
  DefaultPreserveCase = false;
  e->Free();
  t->Free();
  // Lists without a document follow DefaultXPathCollation.
  TXoDOMElementList own;
  TXoDOMElement a;
  a.SetQualifiedName(u"a");
  own.Add(&a, rdpLast);
  EXPECT_EQ(own.Find(u"A", TXoDOMSelectOptions{}), &a);
  DefaultXPathCollation = TXoXPathCollationCodepoint::ClassRef();
  EXPECT_EQ(own.Find(u"A", TXoDOMSelectOptions{}), nullptr);
  EXPECT_TRUE(own.GetCaseSensitive());
  DefaultXPathCollation = TXoXPathCollationASCIICI::ClassRef();
}

TEST(DOMTree, AttachingCarriesTheDocumentAndClassesMakeNodes) {
  TDoc d;
  // A subtree built on its own joins the document as a whole and leaves it
  // again as a whole.
  auto* top = new TXoDOMElement();
  top->SetQualifiedName(u"top");
  TXoDOMElement* mid = top->AddElement(u"mid");
  TXoDOMText* leaf = mid->AddText(u"x");
  TXoDOMAttribute* at = mid->AddAttribute(u"k");
  EXPECT_EQ(leaf->DOMDocument(), nullptr);
  d.Root->AppendChild(top);
  EXPECT_EQ(leaf->DOMDocument(), d.Doc.get());
  EXPECT_EQ(at->DOMDocument(), d.Doc.get());
  EXPECT_EQ(U8(leaf->NodePath()), "/r/top/mid/#text");
  EXPECT_EQ(U8(at->NodePath(true)), "/r/top/mid/@k");
  TIntfPtr<IXoObject> hold = top->GetInterface();
  d.Root->RemoveChild(top);
  EXPECT_EQ(leaf->DOMDocument(), nullptr);
  EXPECT_EQ(top->ParentNode(), nullptr);
  hold = nullptr;  // the orphan goes with its last reference

  // AddChild by class: the virtual constructor, at the asked position.
  TXoDOMElement* first = d.Root->AddElement(u"first");
  TXoDOMNode* c = d.Root->AddChild(TXoDOMComment::ClassInfo(), first, rdpBefore);
  EXPECT_EQ(c->GetNodeType(), ntComment);
  EXPECT_EQ(d.Root->FirstChild(), c);
  TXoDOMNode* e = d.Root->AddChild(TXoDOMElement::ClassInfo(), nullptr, rdpFirst);
  EXPECT_EQ(d.Root->FirstChild(), e);
  EXPECT_EQ(d.Root->FirstElement(), e);
  EXPECT_EQ(U8(MessageOf<EXoDomException>([&] { d.Root->AddChild(TXoDOMNodeClass(), nullptr, rdpLast); })),
            "A NodeClass is required when soCreate is specified!");
  // An attribute writes itself with its leading blank; a text node its
  // stored text; a text node's namespace is its parent's.
  TXoDOMElement* ns = d.Root->AddElement(u"urn:n", u"n:e");
  TXoDOMAttribute* q = ns->AddAttribute(u"q");
  q->SetNodeValue(u"a\"b");
  EXPECT_EQ(U8(q->GetXML()), " q=\"a&quot;b\"");
  EXPECT_EQ(U8(ns->AddText(u"t")->GetNamespaceURI()), "urn:n");
  // The exception family.
  EXPECT_THROW(throw EXoDomInvalidAcces(u"x"), EXoDomException);
  EXPECT_THROW(throw EXoDomWrongDocument(u"x"), EXoDomException);
  EXPECT_THROW(throw EXoDomSyntax(u"x"), Exception);
  EXPECT_EQ(U8(std::u16string(XoDOMNodeTypes[ntNotation])), "Notation");
  EXPECT_EQ(U8(std::u16string(XoDOMNodeTypes[ntDocumentFragment])), "DocumentFragment");
}

TEST(DOMElementLookups, EveryFormByNameAndByNamespace) {
  TDoc d;
  TXoDOMElement* r = d.Root;
  r->SetAttribute(u"xmlns", u"urn:d");
  r->SetAttribute(u"xmlns:p", u"urn:p");
  TXoDOMElement* a = r->AddElement(u"p:a");
  TXoDOMElement* b = a->AddElement(u"p:a");
  r->AddElement(u"a");
  // By namespace and local name, the element itself taking part.
  std::unique_ptr<TXoDOMElementList, void (*)(TXoDOMElementList*)> ns(r->CreateElementList(u"urn:p", u"a", true),
                                                                     [](TXoDOMElementList* l) { l->Free(); });
  ASSERT_EQ(ns->Count(), 2);
  EXPECT_EQ(ns->GetItem(0), a);
  EXPECT_EQ(ns->GetItem(1), b);
  std::unique_ptr<TXoDOMElementList, void (*)(TXoDOMElementList*)> flat(a->CreateElementList(u"urn:p", u"a", false),
                                                                       [](TXoDOMElementList* l) { l->Free(); });
  ASSERT_EQ(flat->Count(), 1);
  EXPECT_EQ(flat->GetItem(0), a);
  EXPECT_TRUE(r->HasChildElement(u"urn:p", u"a"));
  EXPECT_FALSE(r->HasChildElement(u"urn:none", u"a"));

  // Creating by namespace: the prefix of a declaration in scope, none for the
  // default namespace, a new declaration otherwise.
  EXPECT_EQ(U8(r->ElementByName(u"urn:p", u"made", coCreate)->GetQualifiedName()), "p:made");
  TXoDOMElement* plain = r->ElementByName(u"urn:d", u"plain", coCreate);
  EXPECT_EQ(U8(plain->GetQualifiedName()), "plain");
  EXPECT_EQ(plain->AttributeCount(), 0);
  TXoDOMElement* fresh = r->ElementByName(u"urn:new", u"q:fresh", true);
  EXPECT_EQ(U8(fresh->GetXML()), "<q:fresh xmlns:q=\"urn:new\" />");
  EXPECT_EQ(r->ElementByName(u"urn:new", u"q:fresh", true), fresh);  // found, not made again
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { r->ElementByName(u"urn:x", u"x:none", false); })),
            "There is no child with the localname \"none\" and namespace \"urn:x\"!");
  EXPECT_THROW(r->RemoveElement(u"urn:x", u"none"), EXoDomNotFound);
  EXPECT_THROW(r->RemoveAttribute(u"urn:x", u"none"), EXoDomNotFound);
  r->RemoveElement(u"urn:new", u"fresh");
  EXPECT_EQ(r->FindElement(u"q:fresh"), nullptr);

  // By name with options and classes.
  EXPECT_EQ(r->ElementByName(u"zz", {soLocalName}), nullptr);
  TXoDOMElement* zz = r->ElementByName(u"zz", {soCreate});
  EXPECT_EQ(r->LastElement(), zz);
  EXPECT_EQ(r->ElementByName(u"ZZ", {soCreate}), zz);  // the default collation ignores case
  EXPECT_THROW(r->ElementByName(u"yy", {soRaise}), EXoDomNotFound);
  TXoDOMAttribute* made = r->AttributeByName(u"made", {soCreate}, TXoDOMAttribute::ClassInfo());
  EXPECT_EQ(r->LastAttribute(), made);
  EXPECT_EQ(U8(MessageOf<Exception>([&] { r->AttributeByName(u"x", {soCreate, soCaseSensitive, soCaseInsensitive}); })),
            "It is not possible to specify both soCaseSensitive and soCaseInsensitive!");

  // Attribute neighbours run over the attributes only.
  TXoDOMAttribute* first = r->FirstAttribute();
  EXPECT_EQ(U8(first->GetQualifiedName()), "xmlns");
  EXPECT_EQ(first->PreviousAttribute(), nullptr);
  EXPECT_EQ(U8(first->NextAttribute()->GetQualifiedName()), "xmlns:p");
  EXPECT_EQ(made->NextAttribute(), nullptr);
  TXoDOMAttribute lone;
  EXPECT_EQ(lone.NextAttribute(), nullptr);

  // The namespace lookup of an attribute list runs forwards.
  TXoDOMElement* two = r->AddElement(u"two");
  two->SetAttribute(u"xmlns:s", u"urn:same");
  two->SetAttribute(u"xmlns:t", u"urn:same");
  EXPECT_EQ(U8(two->Attributes()->FindNamespace(u"urn:same")->GetQualifiedName()), "xmlns:s");
  EXPECT_EQ(U8(two->Namespaces()->FindNamespace(u"URN:SAME")->GetQualifiedName()), "xmlns:s");
  EXPECT_EQ(two->Attributes()->FindNamespace(u"urn:other"), nullptr);
  EXPECT_TRUE(two->FindAttribute(u"xmlns:s")->IsNamespace());
  TXoDOMAttribute upper;
  upper.SetQualifiedName(u"XMLNS:u");
  EXPECT_TRUE(upper.IsNamespace());
  upper.SetQualifiedName(u"x:xmlns");
  EXPECT_FALSE(upper.IsNamespace());

  // Values of child elements by index or name.
  TXoDOMElement* v = r->AddElement(u"v");
  v->AddElement(u"n")->SetAsInteger(3);
  v->AddElement(u"s")->SetAsString(u"x");
  EXPECT_EQ(XoVarToStr(v->GetChildElementValue(Variant(0))), u"3");
  EXPECT_EQ(XoVarToStr(v->GetChildElementValue(Variant(u"s"))), u"x");
}

TEST(DOMElementChildren, InsertFormsKeepTheTypedListsInStep) {
  TDoc d;
  TXoDOMElement* r = d.Root;
  TXoDOMElement* e = r->AddElement(u"e");
  TXoDOMText* t = r->InsertText(u"t<", rdpBefore, e);
  TXoDOMCDATA* c = r->InsertCDATA(u"c<", rdpAfter, e);
  TXoDOMComment* m = r->InsertComment(u"m", rdpFirst, nullptr);
  TXoDOMElement* f = r->InsertElement(u"f", rdpLast, nullptr);
  TXoDOMElement* g = r->InsertElement(u"urn:g", u"g:g", rdpAfter, e);
  EXPECT_EQ(U8(r->GetXML()), "<r><!--m-->t&lt;<e /><g:g xmlns:g=\"urn:g\" /><![CDATA[c<]]><f /></r>");
  EXPECT_EQ(Names(r->Elements()), "e g:g f");
  EXPECT_EQ(Names(r->CharNodes()), "#comment #text #cdata-section");
  EXPECT_EQ(r->CharNodeCount(), 3);
  EXPECT_EQ(t->NextSibling(), e);
  EXPECT_EQ(c->PreviousSibling(), g);
  EXPECT_EQ(m->PreviousSibling(), nullptr);
  EXPECT_EQ(f->NextElement(), nullptr);
  // Removing by the list forms; a list never frees what it lets go.
  r->RemoveElement(g);
  r->RemoveChild(m);
  EXPECT_EQ(Names(r->ChildNodes()), "#text e #cdata-section f");
  EXPECT_EQ(U8(r->GetNodeValue()), "t<c<");
  // Processing instructions stand only among all children.
  auto* pi = new TXoDOMProcessingInstruction();
  pi->SetQualifiedName(u"pi");
  r->AppendChild(pi);
  EXPECT_EQ(r->NodeCount(), 5);
  EXPECT_EQ(r->ElementCount() + r->CharNodeCount() + r->AttributeCount(), 4);
  // The comment string operations work on the literal text.
  TXoDOMComment* note = r->AddComment(u"a<b");
  note->AppendStr(u"&");
  note->InsertStr(1, u"[");
  EXPECT_EQ(U8(note->GetXML()), "<!--[a<b&-->");
  EXPECT_EQ(U8(note->Substring(2, 3)), "a<b");
}

TEST(DOMTypedValues, SchemaInstanceTypesDatesAndValues) {
  TDoc d;
  TXoDOMElement* e = d.Root->AddElement(u"e");
  TDateTime when = 45000.5;  // 2023-03-15 12:00
  e->SetAsDateTime(when);
  EXPECT_EQ(U8(e->GetAsString()), "2023-03-15T12:00:00.000");
  EXPECT_DOUBLE_EQ(e->GetAsDateTime(), when);
  e->SetAsString(u"no date");
  EXPECT_EQ(e->GetAsDateTime(), 0);
  e->SetAsAnsiString("abc");
  EXPECT_EQ(e->GetAsAnsiString(), "abc");
  e->SetAsInt64(int64_t{1} << 40);
  EXPECT_EQ(e->GetAsInt64(), int64_t{1} << 40);

  // Types read from xsi:type, with any prefix bound to the schema-instance URI.
  TXoDOMElement* x = d.Root->AddElement(u"x");
  x->SetAttribute(u"xmlns:i", cXoXSINamespaceURI);
  x->SetAttribute(u"i:type", u"xsd:boolean");
  x->SetNodeValue(u"true");
  Variant vb = x->GetAsVariant();
  EXPECT_EQ(vb.VarType(), varBoolean);
  EXPECT_TRUE(vb.AsBoolean());
  x->SetAttribute(u"i:type", u"xsd:string");
  x->SetNodeValue(u"42");
  EXPECT_EQ(TXoTypes::VarMainTypeKind(x->GetAsVariant()), mtkString);
  x->SetAttribute(u"i:type", u"xs:time");
  x->SetNodeValue(u"12:00:00");
  Variant vt = x->GetAsVariant();
  EXPECT_EQ(vt.VarType(), varDate);
  EXPECT_DOUBLE_EQ(XoVarToDouble(vt), 0.5);
  x->SetAttribute(u"i:type", u"xsd:int");
  x->SetNodeValue(u"17");
  TValue tv = x->GetAsValue();
  ASSERT_FALSE(tv.IsEmpty());
  EXPECT_EQ(tv.AsInteger(), 17);
  x->SetAttribute(u"i:nil", u"false");  // any value of nil means null
  EXPECT_TRUE(x->GetAsVariant().IsNull());
  EXPECT_TRUE(x->GetAsValue().IsEmpty());
  x->RemoveAttribute(u"i:nil");
  x->SetAttribute(u"i:type", u"");
  EXPECT_EQ(U8(MessageOf<EXoDomException>([&] { x->GetAsValue(); })),
            "The type attribute does not contain valid typeinfo.");
  // No type: the text as a string, or empty without text.
  TXoDOMElement* plain = d.Root->AddElement(u"plain");
  EXPECT_TRUE(plain->GetAsValue().IsEmpty());
  plain->AddText(u"7");
  EXPECT_EQ(U8(plain->GetAsValue().AsString()), "7");

  // Writing values with the schema instance on.
  d.Doc->SetUseSchemaInstance(true);
  TXoDOMElement* w = d.Root->AddElement(u"w");
  w->SetAsBoolean(false);
  EXPECT_EQ(U8(w->GetXML()), "<w xsi:type=\"xsd:boolean\">false</w>");
  w->SetAsValue(TValue::From(std::u16string(u"a<b")));
  EXPECT_EQ(U8(w->GetXML()), "<w xsi:type=\"xsd:string\">a&lt;b</w>");
  w->SetAsValue(TValue());
  EXPECT_EQ(U8(w->GetXML()), "<w xsi:type=\"xsd:string\" xsi:nil=\"true\"></w>");
  w->SetAsValue(TValue::From(int32_t{9}));
  EXPECT_EQ(U8(w->GetXML()), "<w xsi:type=\"xsd:int\">9</w>");
  EXPECT_EQ(XoVarToInt(w->GetAsVariant()), 9);
}
