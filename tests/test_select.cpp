// Tests of selection by path: alternatives, steps, names under collations,
// attributes, groups, creation, the document's forms, errors, deep trees.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <memory>
#include <string>

#include "uXoXMLDOM.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

using TDocPtr = std::unique_ptr<TXoDOMDocument, void (*)(TXoDOMDocument*)>;
TDocPtr Load(const char16_t* AXML) {
  return TDocPtr(new TXoDOMDocument(XoXMLString(AXML)), [](TXoDOMDocument* d) { d->Free(); });
}

// A node as a short text: elements and attributes by name, text by value.
std::string Show(TXoDOMNode* n) {
  switch (n->GetNodeType()) {
    case ntText:
    case ntCDATA:
      return "'" + U8(n->GetNodeValue()) + "'";
    case ntAttribute:
      return "@" + U8(n->GetQualifiedName()) + "=" + U8(n->GetNodeValue());
    case ntDocument:
      return "#doc";
    default:
      return U8(n->GetQualifiedName()) + (n->GetNodeType() == ntElement &&
                                                  static_cast<TXoDOMElement*>(n)->HasAttribute(u"id")
                                              ? "#" + U8(static_cast<TXoDOMElement*>(n)->GetAttribute(u"id"))
                                              : "");
  }
}

// What a path selects from a node, joined by blanks.
std::string Sel(TXoDOMNode* ANode, const char16_t* APath, TXoDOMSelectOptions AOptions = {}) {
  std::unique_ptr<TXoDOMNodeList> list(ANode->CreateNodeList(APath, AOptions));
  std::string r;
  for (TXoDOMNode* n : *list) r += (r.empty() ? "" : " ") + Show(n);
  return r;
}

const char16_t* kShop =
    u"<shop><a id=\"1\"><b id=\"b1\"/><b id=\"b2\"/></a><a id=\"2\"><b id=\"b3\"/>t2<c/></a>"
    u"<c id=\"c1\"/></shop>";

}  // namespace

TEST(Select, AlternativesMergeInOrderWithoutDuplicatesAndFirstOnlyStopsEarly) {
  auto d = Load(kShop);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Sel(r, u"a/b|c"), "b#b1 b#b2 b#b3 c#c1");
  EXPECT_EQ(Sel(r, u"c | a/b | c"), "c#c1 b#b1 b#b2 b#b3");
  EXPECT_EQ(Show(r->SelectSingleNode(u"a/b|c")), "b#b1");
  EXPECT_EQ(Show(r->SelectSingleNode(u"x|c|a")), "c#c1");
  EXPECT_EQ(r->SelectSingleNode(u"x|y"), nullptr);
  // Large results are checked for doubles as well.
  std::u16string many = u"<r>";
  for (int i = 0; i < 40; ++i) many += u"<x/><y/>";
  auto m = Load((many + u"</r>").c_str());
  std::unique_ptr<TXoDOMNodeList> xs(m->RootNode()->CreateNodeList(u"x|x|*|y[0]", {}));
  EXPECT_EQ(xs->Count(), 80);
  EXPECT_EQ(U8(xs->GetItem(39)->GetQualifiedName()), "x");
  EXPECT_EQ(U8(xs->GetItem(40)->GetQualifiedName()), "y");
  // "|" splits also inside a filter: the halves are paths of their own.
  EXPECT_EQ(Sel(r, u"a[@id=\"1|2\"]"), "a#1");
}

TEST(Select, SlashDocumentAndDeepSearchOrder) {
  auto d = Load(kShop);
  TXoDOMElement* a2 = d->RootNode()->SelectSingleElement(u"a[1]");
  ASSERT_NE(a2, nullptr);
  EXPECT_EQ(Show(a2), "a#2");
  EXPECT_EQ(Sel(a2, u"/"), "a#2");              // the context node itself
  EXPECT_EQ(Sel(a2, u"/shop/c"), "c#c1");       // from the document
  // The step is tried at a node before its children.
  EXPECT_EQ(Sel(a2, u"//c"), "c#c1 c");
  EXPECT_EQ(Sel(a2, u"//b"), "b#b1 b#b2 b#b3");
  EXPECT_EQ(Sel(d.get(), u"shop/a/b[1]"), "b#b2");  // per context node
  EXPECT_EQ(Sel(d.get(), u"shop/a/b[0]"), "b#b1 b#b3");
  EXPECT_EQ(Sel(d.get(), u"shop//b[0]"), "b#b1 b#b3");
  EXPECT_EQ(Sel(d->RootNode(), u"a//"), "b#b1 b#b2 b#b3 't2' c");
  EXPECT_EQ(Sel(d->RootNode(), u"*[2]"), "c#c1");
  EXPECT_EQ(Sel(d.get(), u"*"), "shop");
  EXPECT_EQ(Sel(a2, u".."), "shop");
  EXPECT_EQ(Sel(a2, u"b/../c"), "c");
  EXPECT_EQ(Sel(a2, u"text()"), "'t2'");
  EXPECT_EQ(Sel(a2, u"node()"), "b#b3 't2' c");
  EXPECT_EQ(Sel(a2, u"Text()"), "");  // a capital first letter makes a plain name
  EXPECT_EQ(Sel(a2, u"tEXT()"), "'t2'");
  // The document and its root element differ by one level.
  EXPECT_EQ(Sel(d.get(), u"a"), "");
  EXPECT_EQ(Sel(d.get(), u"shop/a"), "a#1 a#2");
  std::unique_ptr<TXoDOMElementList> el(d->CreateElementList(u"a", {}));
  EXPECT_EQ(el->Count(), 2);
  EXPECT_EQ(Show(d->SelectSingleElement(u"a/b[1]")), "b#b2");
}

TEST(Select, GroupsDotsAndStepsThatEndTheSearch) {
  auto d = Load(kShop);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Sel(r, u"(a/b)[0]"), "b#b1");
  EXPECT_EQ(Sel(r, u"(a/b)[2]"), "b#b3");
  EXPECT_EQ(Sel(r, u"a/b[0]"), "b#b1 b#b3");
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([&] { Sel(r, u"(a/b)/c"); })), "The XPath expression is not valid!");
  EXPECT_EQ(Sel(r, u"./."), "");
  EXPECT_EQ(Sel(r, u"."), "shop");
  EXPECT_EQ(Sel(r, u"c/.//."), "c#c1");
  EXPECT_EQ(Sel(r, u"a[1]/.//."), "a#2 b#b3 't2' c");
}

TEST(Select, AttributesInAllSpellingsAndNamespaceDeclarations) {
  auto d = Load(u"<r xmlns:x=\"urn:x\"><e x:id=\"1\" id=\"2\" xmlns=\"urn:d\"/></r>");
  TXoDOMElement* e = d->RootNode()->SelectSingleElement(u"e");
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(Sel(e, u"x:@id"), "@x:id=1");
  EXPECT_EQ(Sel(e, u"@x:id"), "@x:id=1");
  EXPECT_EQ(Sel(e, u"@id"), "@id=2");
  EXPECT_EQ(Sel(e, u"@*"), "@x:id=1 @id=2");
  EXPECT_EQ(Sel(e, u"@ID"), "@id=2");
  // Matching local names takes every prefix and the declarations as well.
  EXPECT_EQ(Sel(e, u"@id", {soLocalName}), "@x:id=1 @id=2");
  EXPECT_EQ(Sel(e, u"@*", {soLocalName}), "@x:id=1 @id=2 @xmlns=urn:d");
  EXPECT_EQ(Sel(d.get(), u"@xmlns:x", {soLocalName}), "@xmlns:x=urn:x");
  EXPECT_EQ(Sel(d.get(), u"@xmlns:x"), "");
  EXPECT_EQ(Sel(d.get(), u"@x", {soLocalName}), "@xmlns:x=urn:x");  // a document asks its root element
  EXPECT_EQ(Sel(e, u"@id", {soCaseSensitive}), "@id=2");
  EXPECT_EQ(Sel(e, u"@ID", {soCaseSensitive}), "");
}

TEST(Select, NamesUnderTheCollationAndPrefixMatching) {
  auto d = Load(u"<r><p:b xmlns:p=\"urn:p\"/><B/><q:b xmlns:q=\"urn:q\"/></r>");
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Sel(r, u"b"), "B");
  EXPECT_EQ(Sel(r, u"b", {soLocalName}), "p:b B q:b");
  EXPECT_EQ(Sel(r, u"P:B"), "p:b");
  EXPECT_EQ(Sel(r, u"b", {soCaseSensitive}), "");
  EXPECT_EQ(Sel(r, u"b", {soCaseSensitive, soLocalName}), "p:b q:b");
  EXPECT_EQ(Sel(r, u"p:*"), "p:b");
  EXPECT_EQ(Sel(r, u"*"), "p:b B q:b");
  // The document's settings are the defaults of its nodes.
  d->SetCaseSensitive(true);
  EXPECT_EQ(Sel(r, u"b"), "");
  d->SetSelectMatchOption(soLocalName);
  EXPECT_EQ(Sel(r, u"b"), "p:b q:b");
  EXPECT_EQ(Sel(r, u"b", {soQualifiedName}), "");
}

TEST(Select, CreationMakesMissingElementsAndRefusesWhatItCannotMake) {
  auto d = Load(u"<r><a/></r>");
  TXoDOMElement* r = d->RootNode();
  TXoDOMNode* made = r->SelectSingleNode(u"x/y", {soCreate});
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(U8(r->GetXML()), "<r><a /><x><y /></x></r>");
  EXPECT_EQ(r->SelectSingleNode(u"x/y", {soCreate}), made);  // found, not made again
  EXPECT_EQ(Show(r->SelectSingleNode(u"b[0]", {soCreate})), "b");
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { r->SelectSingleNode(u"c[1]", {soCreate}); })),
            "The given path \"c[1]\" was too complex to use the soCreate option!");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { r->SelectSingleNode(u"a//z", {soCreate}); })),
            "The soCreate option cannot be used in combination with the \"//\" search option!");
  TXoDOMNode* at = r->SelectSingleNode(u"a/@k", {soCreate});
  ASSERT_NE(at, nullptr);
  EXPECT_EQ(at->GetNodeType(), ntAttribute);
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { r->SelectSingleNode(u"a/text()", {soCreate}); })),
            "The given path \"a/text()\" was too complex to use the soCreate option!");
  // Lookups by name in an element list go through the path with coCreate.
  TXoDOMElement* e = r->Elements()->GetItemEx(Variant(u"n/m"), coCreate);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(U8(e->GetQualifiedName()), "m");
  EXPECT_EQ(r->Elements()->GetItemEx(Variant(u"n/zz"), coReturnNil), nullptr);
  EXPECT_EQ(r->Elements()->GetItemEx(Variant(u"."), coReturnNil), r);
}

TEST(Select, OptionChecksAndEmptyResultsRaiseTheirMessages) {
  auto d = Load(u"<r><a>t</a></r>");
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(U8(MessageOf<Exception>([&] { r->CreateNodeList(u"a", {soCaseSensitive, soCaseInsensitive}); })),
            "It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { r->SelectSingleNode(u"a", {soRaise, soCreate}); })),
            "It is not possible to specify both soRaise and soCreate!");
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { r->CreateNodeList(u"z", {soRaise}); })),
            "There are no nodes for the given path \"z!.\"");
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { r->CreateElementList(u"z", {soRaise}); })),
            "There are no nodes for the given path \"z\"!");
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { r->SelectSingleNode(u"z", {soRaise}); })),
            "There is no node for the given path \"z\"!");
  EXPECT_EQ(U8(MessageOf<EInvalidCast>([&] { r->SelectSingleElement(u"a/text()"); })), "Invalid class typecast");
  std::unique_ptr<TXoDOMElementList> only(r->CreateElementList(u"a|a/text()", {}));
  EXPECT_EQ(only->Count(), 1);

  auto empty = TDocPtr(new TXoDOMDocument(), [](TXoDOMDocument* x) { x->Free(); });
  EXPECT_EQ(U8(MessageOf<Exception>([&] { empty->SelectSingleElement(u""); })), "The specified nodePath is empty!");
  EXPECT_EQ(U8(MessageOf<EXoDomNotFound>([&] { empty->SelectSingleElement(u"a", {soRaise}); })),
            "There is no node for the given path \"a\".");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { empty->CreateElementList(u"a", {soCreate}); })),
            "It is not possible to use XPath statements on documents without rootnode!");
  EXPECT_EQ(empty->SelectSingleElement(u"a"), nullptr);
  std::unique_ptr<TXoDOMElementList> none(empty->CreateElementList(u"a", {}));
  EXPECT_EQ(none->Count(), 0);
}

TEST(Select, MalformedPathsRaiseTheSyntaxMessages) {
  auto d = Load(u"<r><a><b/></a></r>");
  TXoDOMElement* r = d->RootNode();
  auto syntax = [&](const char16_t* APath) { return U8(MessageOf<EXoDomSyntax>([&] { Sel(r, APath); })); };
  EXPECT_EQ(syntax(u""), "The XPath expression is not valid!");
  EXPECT_EQ(syntax(u"a|"), "The XPath expression is not valid!");
  EXPECT_EQ(syntax(u"a/"), "The XPath expression does not return a DOM Node!");
  EXPECT_EQ(syntax(u"a///b"), "The specified nodePath started with an unexpected token (/)!");
  EXPECT_EQ(syntax(u"a/*x"), "The XPath expression contains an error at \"*x\"!\r\na \"/\" or \"[\" was expected after the \"*\".");
  EXPECT_EQ(syntax(u".x"), "The XPath expression contains an error at \".x\"!\r\na \"/\" or \"[\" was expected after the \"..\".");
  EXPECT_EQ(syntax(u"//.."), "The XPath expression contains an error at \"..\"!\r\nThe \"//\" cannot be used in combination with \"..\".");
  // The step ends at the first "]" behind a "[", even inside nested
  // brackets: a[b[0]/c] is the step a[b[0] (a filter that finds b[0]) and
  // the step "c]", which matches nothing.
  EXPECT_EQ(Sel(r, u"a[b[0]]"), "a");
  EXPECT_EQ(Sel(r, u"a[b[0]/c]"), "");
  // A step that is never reached raises nothing: no a/x, so no error at "*x".
  EXPECT_EQ(Sel(r, u"x/*x"), "");
}

TEST(Select, DeepTreesAreSearchedWithoutRecursion) {
  auto d = TDocPtr(new TXoDOMDocument(), [](TXoDOMDocument* x) { x->Free(); });
  TXoDOMElement* e = d->CreateRootNode(u"n");
  const int depth = 100000;
  for (int i = 1; i < depth; ++i) e = e->AddElement(u"n");
  e->AddElement(u"leaf");
  std::unique_ptr<TXoDOMNodeList> all(d->CreateNodeList(u"//n", {}));
  EXPECT_EQ(all->Count(), depth);
  EXPECT_EQ(Sel(d.get(), u"//leaf"), "leaf");
  std::unique_ptr<TXoDOMNodeList> pairs(d->CreateNodeList(u"//n/n[0]", {}));
  EXPECT_EQ(pairs->Count(), depth - 1);
}

TEST(Select, RepeatedDeepSearchesAndNestedGroupsStayPolynomial) {
  // 121 nodes; each "//." multiplies the paths to a node by the tree's size.
  std::u16string xml = u"<r>";
  for (int i = 0; i < 10; ++i) xml += u"<a><b/><b/><b/><b/><b/><b/><b/><b/><b/><b/></a>";
  xml += u"</r>";
  auto d = Load(xml.c_str());
  auto start = std::chrono::steady_clock::now();
  std::unique_ptr<TXoDOMNodeList> all(d->CreateNodeList(u".//.//.//.//.//.//.//.//.", {}));
  EXPECT_EQ(all->Count(), 112);  // the document, r, 10 a and 100 b
  std::unique_ptr<TXoDOMNodeList> groups(d->CreateNodeList(u"r//(.//(.//(.//(.//(.//(.//.))))))", {}));
  EXPECT_EQ(groups->Count(), 111);  // r and its 110 descendants
  std::unique_ptr<TXoDOMNodeList> bs(d->CreateNodeList(u"//a//b//.//.//.", {}));
  EXPECT_EQ(bs->Count(), 100);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Select, CreationUnderADeepSearchRaisesOrEnds) {
  // Every element the search reaches must find the step, leaves included.
  auto leaf = Load(u"<r><a><b/></a></r>");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { leaf->RootNode()->CreateNodeList(u"a//b", {soCreate}); })),
            "The soCreate option cannot be used in combination with the \"//\" search option!");
  EXPECT_EQ(Sel(leaf->RootNode(), u"a//b"), "b");
  // x/y is made below the elements found before the search reaches one
  // without child elements (b: what was made below it is not searched).
  auto d = Load(u"<r><a><b/></a><a/></r>");
  EXPECT_EQ(U8(MessageOf<Exception>([&] { d->RootNode()->CreateNodeList(u".//*/x/y", {soCreate}); })),
            "The soCreate option cannot be used in combination with the \"//\" search option!");
  EXPECT_EQ(U8(d->RootNode()->GetXML()),
            "<r><a><b><x><y /></x></b><x><y /></x></a><a><x><y /></x></a></r>");
  // "." finds itself everywhere, so the search creates below every node
  // that was there and ends.
  auto e = Load(u"<r><a><b/></a></r>");
  std::unique_ptr<TXoDOMNodeList> made(e->RootNode()->CreateNodeList(u". //./i/e", {soCreate}));
  EXPECT_EQ(made->Count(), 3);
  EXPECT_EQ(U8(e->RootNode()->GetXML()), "<r><a><b><i><e /></i></b><i><e /></i></a><i><e /></i></r>");
}

namespace {

// A plain recursive reading of the walk for downward steps (names, "*",
// "text()", "node()", the empty step of "a//") with "[n]", "[last()]" and
// "[@k]" filters: the step at a node, the rest for each candidate, then the same
// step at each child when the step is deep.
struct TRefStep {
  std::u16string Name;  // "", "*", "text()", "node()" or a qualified name
  bool Deep = false;
  std::vector<int> Filters;  // an index, -1 for last(), -2 for "@k" (the attribute k exists)
};

bool RefMatches(TXoDOMNode* AParent, TXoDOMNode* AChild, const TRefStep& AStep) {
  if (AChild->GetNodeType() == ntAttribute) return false;
  if (AStep.Name.empty() || AStep.Name == u"node()") return true;
  if (AStep.Name == u"text()") return AChild->GetNodeType() == ntText || AChild->GetNodeType() == ntCDATA;
  if (AStep.Name == u"*") {
    if (AChild->GetNodeType() != ntElement) return false;
    return AParent->GetNodeType() != ntDocument || static_cast<TXoDOMDocument*>(AParent)->RootNode() == AChild;
  }
  return AChild->GetNodeType() == ntElement && AChild->GetQualifiedName() == AStep.Name;
}

void RefWalk(TXoDOMNode* AContext, const std::vector<TRefStep>& ASteps, size_t AStep,
             std::vector<TXoDOMNode*>& AOut) {
  const TRefStep& s = ASteps[AStep];
  std::vector<TXoDOMNode*> cands;
  for (TXoDOMNode* c : *AContext)
    if (RefMatches(AContext, c, s)) cands.push_back(c);
  for (int f : s.Filters) {
    if (cands.empty()) break;
    if (f == -2) {
      std::erase_if(cands, [](TXoDOMNode* n) {
        return n->GetNodeType() != ntElement || !static_cast<TXoDOMElement*>(n)->HasAttribute(u"k");
      });
      continue;
    }
    size_t keep = f < 0 ? cands.size() - 1 : static_cast<size_t>(f);
    std::vector<TXoDOMNode*> kept;
    if (keep < cands.size()) kept.push_back(cands[keep]);
    cands.swap(kept);
  }
  for (TXoDOMNode* c : cands) {
    if (AStep + 1 < ASteps.size())
      RefWalk(c, ASteps, AStep + 1, AOut);
    else if (std::find(AOut.begin(), AOut.end(), c) == AOut.end())
      AOut.push_back(c);
  }
  if (s.Deep)
    for (TXoDOMNode* c : *AContext)
      if (c->GetNodeType() != ntAttribute) RefWalk(c, ASteps, AStep, AOut);
}

}  // namespace

TEST(Select, DeepSearchesAgreeWithThePlainWalkOnRandomTrees) {
  std::mt19937 rng(11);
  const char16_t* names[] = {u"a", u"b", u"c", u"p:a"};
  for (int round = 0; round < 40; ++round) {
    // A random tree: elements a, b, c and p:a with attributes, text,
    // comments, nested up to eight levels.
    std::u16string xml = u"<r xmlns:p=\"urn:p\">";
    std::vector<std::u16string> open;
    for (int i = 0; i < 120; ++i) {
      unsigned k = rng() % 10;
      if (k < 5 && open.size() < 8) {
        std::u16string n = names[rng() % 4];
        xml += u"<" + n + (rng() % 2 ? u" k=\"v\"" : u"") + u">";
        open.push_back(n);
      } else if (k < 8 && !open.empty()) {
        xml += u"</" + open.back() + u">";
        open.pop_back();
      } else {
        xml += k == 8 ? u"t" : u"<!--c-->";
      }
    }
    while (!open.empty()) {
      xml += u"</" + open.back() + u">";
      open.pop_back();
    }
    xml += u"</r>";
    auto d = Load(xml.c_str());
    for (int q = 0; q < 25; ++q) {
      // A path of one to three steps, at most two of them deep.
      std::vector<TRefStep> steps;
      std::u16string path;
      int n = 1 + static_cast<int>(rng() % 3), deep = 0;
      for (int i = 0; i < n; ++i) {
        TRefStep s;
        s.Deep = (i == 0 || deep < 2) && rng() % 2 == 0;
        deep += s.Deep;
        const char16_t* kinds[] = {u"a", u"b", u"c", u"p:a", u"*", u"text()", u"node()", u""};
        s.Name = kinds[rng() % (s.Deep && i + 1 == n ? 8 : 7)];
        while (rng() % 3 == 0) s.Filters.push_back(rng() % 3 == 0 ? -2 : rng() % 2 ? -1 : static_cast<int>(rng() % 3));
        path += (i == 0 ? (s.Deep ? u"//" : u"") : (s.Deep ? u"//" : u"/")) + s.Name;
        for (int f : s.Filters)
          path += f == -2 ? u"[@k]" : f < 0 ? u"[last()]" : u"[" + std::u16string(1, char16_t(u'0' + f)) + u"]";
        steps.push_back(std::move(s));
      }
      // From the root element ("//" there starts at the document instead).
      TXoDOMNode* ctx = steps[0].Deep ? static_cast<TXoDOMNode*>(d.get()) : d->RootNode();
      std::vector<TXoDOMNode*> want;
      RefWalk(ctx, steps, 0, want);
      std::unique_ptr<TXoDOMNodeList> got(d->RootNode()->CreateNodeList(path, {soCaseSensitive}));
      std::vector<TXoDOMNode*> have;
      for (TXoDOMNode* x : *got) have.push_back(x);
      ASSERT_EQ(have, want) << U8(path) << " on " << U8(xml);
    }
  }
}
