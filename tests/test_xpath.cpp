// Tests of filters: the compiler and the tree it builds, evaluation and
// comparisons, the built-in terms, the function registry with an
// application's own function, collations and the XPath exception.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMSelect.h"
#include "uXoXPath.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

using TDocPtr = std::unique_ptr<TXoDOMDocument, void (*)(TXoDOMDocument*)>;
TDocPtr Load(const char16_t* AXML) {
  return TDocPtr(new TXoDOMDocument(XoXMLString(AXML)), [](TXoDOMDocument* d) { d->Free(); });
}

// The id attributes (or names) of what a path selects, joined by blanks.
std::string Ids(TXoDOMNode* ANode, const char16_t* APath, TXoDOMSelectOptions AOptions = {}) {
  std::unique_ptr<TXoDOMNodeList> list(ANode->CreateNodeList(APath, AOptions));
  std::string r;
  for (TXoDOMNode* n : *list) {
    auto* e = dynamic_cast<TXoDOMElement*>(n);
    std::string s = e && e->HasAttribute(u"id") ? U8(e->GetAttribute(u"id")) : U8(n->GetQualifiedName());
    r += (r.empty() ? "" : " ") + s;
  }
  return r;
}

const char16_t* kItems =
    u"<r><i id=\"1\" a=\"x\"><n>1.0</n><t>X</t></i>"
    u"<i id=\"2\" a=\"y\" b=\"\"><n>2</n><t>x</t><t>y</t></i>"
    u"<i id=\"3\"><n>10</n><t>z</t><p:t xmlns:p=\"urn:p\">p</p:t></i></r>";

// An application function: twice(n) is 2 * n; counts its instances.
int GTwiceMade = 0;
class TTwice : public TXoXPathFunction {
public:
  explicit TTwice(TXoXPathEquation* AEquation) : TXoXPathFunction(AEquation) { ++GTwiceMade; }
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override {
    if (ParamCount() != 1) throw EXoDomSyntax(std::u16string(u"twice takes 1 parameter!"));
    return Variant(2 * XoVarToInt64(ParamValue(0, AList, AIndex)));
  }
};
class TThrice : public TTwice {
public:
  using TTwice::TTwice;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override {
    return Variant(3 * XoVarToInt64(ParamValue(0, AList, AIndex)));
  }
};
// rec(x): records the text of x in call order, answers true.
std::string GRecorded;
class TRecord : public TXoXPathFunction {
public:
  using TXoXPathFunction::TXoXPathFunction;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override {
    GRecorded += (GRecorded.empty() ? "" : " ") + U8(ParamText(0, AList, AIndex));
    return Variant(true);
  }
};
// name-of(node): the node parameter helper with its messages.
class TNameOf : public TXoXPathFunction {
public:
  using TXoXPathFunction::TXoXPathFunction;
  Variant Value(TXoDOMObjectList* AList, int32_t AIndex) override {
    return Variant(NodeParam(0, AList, AIndex, u"fn:name-of(node)")->GetQualifiedName());
  }
};

struct TRegisterTestFunctions {
  TRegisterTestFunctions() {
    RegisterXPathFunction<TTwice>(u"twice");
    RegisterXPathFunction<TThrice>(u"twice");  // a second entry of a name has no effect
    RegisterXPathFunction<TNameOf>(u"name-of");
    RegisterXPathFunction<TRecord>(u"rec");
    RegisterXPathFunction<TThrice>(u"abs");  // the library's abs stays in force
  }
};
const TRegisterTestFunctions GRegistered;

}  // namespace

TEST(XPathFilter, IndexPositionFirstAndLast) {
  auto d = Load(kItems);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Ids(r, u"i[1]"), "2");
  EXPECT_EQ(Ids(r, u"i[position()=2]"), "2");
  EXPECT_EQ(Ids(r, u"i[first()]"), "1");
  EXPECT_EQ(Ids(r, u"i[last()]"), "3");
  EXPECT_EQ(Ids(r, u"i[@id=\"2\"]/n[last()]"), "n");
  EXPECT_EQ(Ids(r, u"i[node()]"), "1 2 3");
  EXPECT_EQ(Ids(r, u"i[1][0]"), "2");
  EXPECT_EQ(Ids(r, u"i[0][1]"), "");
  EXPECT_EQ(Ids(r, u"i[fn:position() = 3]"), "3");
  EXPECT_EQ(Ids(r, u"i[ 2 ]"), "3");
  EXPECT_EQ(Ids(r, u"i[3]"), "");
  EXPECT_EQ(Ids(r, u"i[last()][0]"), "3");
  EXPECT_EQ(Ids(r, u"i[first()][last()]"), "1");
  EXPECT_EQ(Ids(r, u"i[@a][ last() ]/t[1]"), "t");
  EXPECT_EQ(Ids(r, u"i/node()[2]"), "t p:t");
  EXPECT_EQ(U8(MessageOf<EConvertError>([&] { Ids(r, u"i[2147483648]"); })).empty(), false);
  EXPECT_EQ(U8(MessageOf<EConvertError>([&] { Ids(r, u"i[99999999999]"); })).empty(), false);
}

TEST(XPathFilter, AttributesPresenceComparisonAndApostrophes) {
  auto d = Load(kItems);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Ids(r, u"i[@a]"), "1 2");
  EXPECT_EQ(Ids(r, u"i[@b]"), "2");  // present though empty
  EXPECT_EQ(Ids(r, u"i[@a=\"x\"]"), "1");
  EXPECT_EQ(Ids(r, u"i[@a='x']"), "");  // a path named 'x', which finds nothing
  EXPECT_EQ(Ids(r, u"i[@a=\"X\"]"), "1");  // the default collation ignores case
  EXPECT_EQ(Ids(r, u"i[@a=\"X\"]", {soCaseSensitive}), "");
  EXPECT_EQ(Ids(r, u"i[@a != \"x\"]"), "2");
  EXPECT_EQ(Ids(r, u"i[@a <> \"x\"]"), "2");
  EXPECT_EQ(Ids(r, u"i[@a > \"x\"]"), "2");
  EXPECT_EQ(Ids(r, u"i[@a>=\"x\"]"), "1 2");
}

TEST(XPathFilter, NotAndOrFollowTheChainNotPrecedence) {
  auto d = Load(kItems);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Ids(r, u"i[not(@a)]"), "3");
  EXPECT_EQ(Ids(r, u"i[not @a]"), "3");
  EXPECT_EQ(Ids(r, u"i[not  (@a)]"), "3");
  EXPECT_EQ(Ids(r, u"i[nOT(@a)]"), "3");
  // not(@x="1") on a node without x is false: the empty operand wins.
  EXPECT_EQ(Ids(r, u"i[not(@a=\"x\")]"), "2");
  // "not" without a bracket reaches to the end of its level.
  EXPECT_EQ(Ids(r, u"i[not @a and @b]"), "1 3");
  EXPECT_EQ(Ids(r, u"i[(not @a) and @id]"), "3");
  EXPECT_EQ(Ids(r, u"i[@a and (@b or @id=\"1\")]"), "1 2");
  EXPECT_EQ(Ids(r, u"i[(@a) and (@b or @id=\"1\")]"), "1 2");
  // a or b and c is (a or (b and c)) and c.
  EXPECT_EQ(Ids(r, u"i[@id=\"3\" or @a and @b]"), "2");
  // An operand without a value ends the filter unless a short cut skips it.
  EXPECT_EQ(Ids(r, u"i[@a=\"x\" or @id=\"3\"]"), "1");
  EXPECT_EQ(Ids(r, u"i[@id=\"3\" or @a=\"x\"]"), "1 3");
  // Keywords need a lower-case first letter; names may begin with them.
  auto k = Load(u"<r><e><AND/></e><e><notes/></e><e><not/></e><e><order/></e></r>");
  EXPECT_EQ(Ids(k->RootNode(), u"e[AND]"), "e");
  EXPECT_EQ(Ids(k->RootNode(), u"e[notes]"), "e");
  EXPECT_EQ(Ids(k->RootNode(), u"e[not]"), "e");
  EXPECT_EQ(Ids(k->RootNode(), u"e[not notes]"), "e e e");
}

TEST(XPathFilter, NumbersVersusTextAndNodeSets) {
  auto d = Load(kItems);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Ids(r, u"i[n=\"1.0\"]"), "1");
  EXPECT_EQ(Ids(r, u"i[n=1]"), "1");      // 1.0 read as a number
  EXPECT_EQ(Ids(r, u"i[n=\"1\"]"), "");   // text against text
  EXPECT_EQ(Ids(r, u"i[n>2]"), "3");      // 10 > 2 as numbers
  EXPECT_EQ(Ids(r, u"i[n>\"2\"]"), "");   // "10" < "2" as text
  EXPECT_EQ(Ids(r, u"i[n<=2.5]"), "1 2");
  // Several nodes: any pair decides.
  EXPECT_EQ(Ids(r, u"i[t=\"y\"]"), "2");
  EXPECT_EQ(Ids(r, u"i[t!=\"x\"]"), "2 3");
  EXPECT_EQ(Ids(r, u"i[t=\"q\"]"), "");
  EXPECT_EQ(Ids(r, u"i[t=t]"), "1 2 3");
  EXPECT_EQ(Ids(r, u"i[t=\"p\"]"), "");             // p:t is not t by default
  EXPECT_EQ(Ids(r, u"i[t=\"p\"]", {soLocalName}), "3");
  EXPECT_EQ(Ids(r, u"i[\"a, b\"=(\"a\", \"b\")]"), "1 2 3");  // a sequence joins its values
  EXPECT_EQ(Ids(r, u"i[\"\"=[]]"), "1 2 3");
  EXPECT_EQ(Ids(r, u"i[t[1]]"), "2");
  EXPECT_EQ(Ids(r, u"i[\"\"]"), "");  // a constant that is no boolean
  EXPECT_EQ(Ids(r, u"i[n[.=\"2\"]]"), "2");
  // Stored text with references is compared decoded; mixed content joined.
  auto e = Load(u"<r><i id=\"1\" v=\"a&amp;b\">x&lt;y</i><i id=\"2\" v=\"3\">1<!--c-->2<b/>3</i></r>");
  EXPECT_EQ(Ids(e->RootNode(), u"i[@v=\"a&b\"]"), "1");
  EXPECT_EQ(Ids(e->RootNode(), u"i[.=\"x<y\"]"), "1");
  EXPECT_EQ(Ids(e->RootNode(), u"i[\"x<y\"=.]"), "1");
  EXPECT_EQ(Ids(e->RootNode(), u"i[.=123]"), "2");
  EXPECT_EQ(Ids(e->RootNode(), u"i[\"3\"=@v]"), "2");
  EXPECT_EQ(Ids(e->RootNode(), u"i[@v<2]"), "");
  // Two node texts compare as text, a node text and a number as numbers.
  auto f = Load(u"<r><i id=\"1\"><a>1.0</a><b>1</b></i><i id=\"2\"><a>.5</a><b>0.50</b></i></r>");
  EXPECT_EQ(Ids(f->RootNode(), u"i[a=b]"), "");
  EXPECT_EQ(Ids(f->RootNode(), u"i[a=1]"), "1");
  EXPECT_EQ(Ids(f->RootNode(), u"i[b=0.5]"), "2");
  EXPECT_EQ(Ids(f->RootNode(), u"i[a<b]"), "2");  // ".5" < "0.50" as text
}

TEST(XPathFilter, MalformedFiltersRaiseTheirMessages) {
  auto d = Load(kItems);
  TXoDOMElement* r = d->RootNode();
  auto invalid = [&](const char16_t* APath) { return U8(MessageOf<Exception>([&] { Ids(r, APath); })); };
  EXPECT_EQ(invalid(u"i[a b]"), "\"[a b]\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[1.5]"), "\"[1.5]\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[@a)]"), "\"[@a)]\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[@a and ]"), "\"[@a and ]\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[()]"), "\"[()]\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[1]x"), "\"x\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[]"), "The specified XPath statement is not valid!");
  EXPECT_EQ(invalid(u"i[@a=<\"x\"]"), "The filter \"[@a=<\"x\"]\" contains an invalid compare operator (=<)!");
  EXPECT_EQ(invalid(u"i[@a=x .]"), "Either a number or a string was expected!");
  EXPECT_EQ(invalid(u"i[n=.1e1]"), "\"[n=.1e1]\" is an invalid filter expression!");
  EXPECT_EQ(invalid(u"i[nosuch(1)]"), "The filter contains an unsupported function (nosuch)!");
  EXPECT_EQ(invalid(u"i[String(1)]"), "The filter contains an unsupported function (String)!");
  // Nothing is compiled for a step without candidates.
  EXPECT_EQ(Ids(r, u"zz[a b]"), "");
  // Brackets nested beyond reason are refused, not followed down the stack.
  std::u16string deep = u"i[" + std::u16string(5000, u'(') + u"@a" + std::u16string(5000, u')') + u"]";
  EXPECT_EQ(invalid(deep.c_str()), "\"" + U8(deep.substr(1)) + "\" is an invalid filter expression!");
  std::u16string seq = u"i[@a=" + std::u16string(5000, u'(') + u"]";
  EXPECT_EQ(invalid(seq.c_str()), "The specified XPath statement is not valid!");
}

TEST(XPathFilter, CompiledTreeShape) {
  auto a = XoXPathCompileFilter(u"[@a and @b or @c]", soQualifiedName, TXoXPathCollationASCIICI::ClassRef(), nullptr);
  ASSERT_NE(a->Sibling(), nullptr);
  EXPECT_EQ(a->Operation(), opAnd);
  EXPECT_EQ(a->Sibling()->Operation(), opOr);
  ASSERT_NE(a->Sibling()->Sibling(), nullptr);
  EXPECT_NE(dynamic_cast<TXoXPathHasNode*>(a->Term()), nullptr);

  auto b = XoXPathCompileFilter(u"[(@a or @b) and @c]", soQualifiedName, TXoXPathCollationASCIICI::ClassRef(), nullptr);
  EXPECT_NE(dynamic_cast<TXoXPathChildTerm*>(b->Term()), nullptr);
  ASSERT_EQ(b->Childs().size(), 1u);
  EXPECT_EQ(b->Childs()[0]->Operation(), opOr);
  EXPECT_EQ(b->Operation(), opAnd);

  auto c = XoXPathCompileFilter(u"[not @a and @b]", soLocalName, TXoXPathCollationCodepoint::ClassRef(), nullptr);
  EXPECT_NE(dynamic_cast<TXoXPathNot*>(c->Term()), nullptr);
  EXPECT_EQ(c->Sibling(), nullptr);
  ASSERT_EQ(c->Childs().size(), 1u);
  EXPECT_EQ(c->Childs()[0]->Operation(), opAnd);
  EXPECT_EQ(c->GetSelectOptions(), (TXoDOMSelectOptions{soCaseSensitive, soLocalName}));

  auto d = XoXPathCompileFilter(u"[ 12 ]", soQualifiedName, TXoXPathCollationASCIICI::ClassRef(), nullptr);
  auto* x = dynamic_cast<TXoXPathChildNodeX*>(d->Term());
  ASSERT_NE(x, nullptr);
  EXPECT_EQ(x->Index(), 12);

  auto e = XoXPathCompileFilter(u"[a[1]=(1, 2.5, \"s\")]", soQualifiedName, TXoXPathCollationASCIICI::ClassRef(),
                                nullptr);
  auto* cmp = dynamic_cast<TXoXPathValueComparison*>(e->Term());
  ASSERT_NE(cmp, nullptr);
  EXPECT_EQ(U8(dynamic_cast<TXoXPathValueTerm*>(cmp->Value1())->Path()), "a[1]");
  auto* seq = dynamic_cast<TXoXPathSequenceTerm*>(cmp->Value2());
  ASSERT_NE(seq, nullptr);
  ASSERT_EQ(seq->Count(), 3);
  EXPECT_EQ(dynamic_cast<TXoXPathConstantTerm*>(seq->GetTerm(0))->ConstValue().VarType(), varInt64);
  EXPECT_EQ(dynamic_cast<TXoXPathConstantTerm*>(seq->GetTerm(1))->ConstValue().VarType(), varExtended);
  EXPECT_EQ(U8(XoVarToStr(dynamic_cast<TXoXPathConstantTerm*>(seq->GetTerm(2))->ConstValue())), "s");
}

TEST(XPathFilter, LongChainsEvaluateInLinearTime) {
  auto d = Load(kItems);
  std::u16string f = u"i[@id";
  for (int i = 0; i < 60; ++i) f += u" and @id";
  f += u"]";
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Ids(d->RootNode(), f.c_str()), "1 2 3");
  std::u16string g = u"i[@zz=\"1\"";
  for (int i = 0; i < 60; ++i) g += u" or @zz=\"1\"";
  g += u"]";
  EXPECT_EQ(Ids(d->RootNode(), g.c_str()), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(XPathRegistry, ApplicationFunctionsAndNames) {
  auto d = Load(kItems);
  TXoDOMElement* r = d->RootNode();
  EXPECT_EQ(Ids(r, u"i[twice(@id)=4]"), "2");  // the first class of the name is in force
  EXPECT_EQ(Ids(r, u"i[fn:twice(@id) = 6]"), "3");
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([&] { Ids(r, u"i[twice()]"); })), "twice takes 1 parameter!");
  EXPECT_EQ(Ids(r, u"i[name-of(n)=\"n\"]"), "1 2 3");
  auto nodeMsg = [&](const char16_t* APath) {
    try {
      Ids(r, APath);
    } catch (const EXoXPathException& e) {
      return U8(e.ErrorCode()) + " " + U8(e.Message());
    }
    return std::string("<none>");
  };
  EXPECT_EQ(nodeMsg(u"i[name-of(zz)]"), "XPDY0002 The node parameter of function \"fn:name-of(node)\" may not be nil!");
  EXPECT_EQ(nodeMsg(u"i[name-of(t)]"),
            "XPTY0004 The node parameter of function \"fn:name-of(node)\" must be a single node!");
  EXPECT_EQ(nodeMsg(u"i[name-of(\"t\")]"),
            "XPTY0004 The node parameter of function \"fn:name-of(node)\" must be a node!");
  // A compiled filter with an application's function is made again for
  // every context node, as if nothing were kept.
  auto many = Load(u"<r><g><i/><i/></g><g><i/></g><g/><g><i/></g></r>");
  GTwiceMade = 0;
  EXPECT_EQ(Ids(many.get(), u"//i[twice(1)=2]"), "i i i i");
  EXPECT_EQ(GTwiceMade, 3);
  std::unique_ptr<TXoXPathFunctionTerm> abs(CreateFunctionTerm(u"abs", nullptr, nullptr));
  EXPECT_NE(dynamic_cast<TXoXPathFnAbs*>(abs.get()), nullptr);
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([] {
              CreateFunctionTerm(u"String", nullptr, nullptr);
            })),
            "The filter contains an unsupported function (String)!");
}

TEST(XPathRegistry, CollationsAndTheirURIs) {
  EXPECT_EQ(XoXPathCollationByURI(u"http://www.w3.org/2005/xpath-functions/collation/codepoint"),
            TXoXPathCollationCodepoint::ClassRef());
  EXPECT_EQ(XoXPathCollationByURI(u"http://www.w3.org/2005/xpath-functions/collation/html-ascii-case-insensitive"),
            TXoXPathCollationASCIICI::ClassRef());
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([] { XoXPathCollationByURI(u"urn:none"); })),
            "The collation \"urn:none\" is not supported!");
  TXoXPathCollationClass ci = TXoXPathCollationASCIICI::ClassRef();
  TXoXPathCollationClass cp = TXoXPathCollationCodepoint::ClassRef();
  EXPECT_EQ(ci->Pos(u"B", u"abc"), 2);
  EXPECT_EQ(ci->Pos(u"\u00C4", u"a\u00E4"), 0);
  EXPECT_EQ(cp->Pos(u"B", u"abc"), 0);
  EXPECT_EQ(ci->Compare(u"a", u"B"), -1);
  EXPECT_EQ(cp->Compare(u"a", u"B"), 1);
  EXPECT_TRUE(ci->SameText(u"ABC", u"abc"));
  EXPECT_FALSE(cp->SameText(u"ABC", u"abc"));

  EXoXPathException x(u"FOER0000", u"An exception was raised", u"obj");
  EXPECT_EQ(U8(x.ErrorCode()), "FOER0000");
  EXPECT_EQ(U8(x.ErrorObject()), "obj");
  EXPECT_EQ(U8(x.Message()), "An exception was raised");
  EXPECT_NE(dynamic_cast<const EXoDomException*>(&x), nullptr);
}

TEST(XPathFilter, FiltersInPathsInFiltersStayPolynomial) {
  std::u16string xml = u"<r>";
  for (int i = 0; i < 30; ++i) xml += u"<a><b><c/></b><b/></a>";
  xml += u"</r>";
  auto d = Load(xml.c_str());
  auto start = std::chrono::steady_clock::now();
  std::string thirty;
  for (int i = 0; i < 30; ++i) thirty += i ? " a" : "a";
  EXPECT_EQ(Ids(d.get(), u"//a[//b[//c[//b[//a[//c[//b]]]]]]"), thirty);
  EXPECT_EQ(Ids(d.get(), u"//a[.//b[..//c[../..//b[..//c]]]]"), thirty);
  // The same while the selection may create (it creates nothing here).
  EXPECT_EQ(Ids(d.get(), u"//a[//b[//c[//b[//a[//c[//b]]]]]]", {soCreate}), thirty);
  EXPECT_EQ(Ids(d.get(), u"r/a[0]/.//.[.[//.[//.[//.[//.[//.]]]]]]", {soCreate}), "a b c b");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(XPathFilter, FiltersOfADeepSearchRunInTheOrderOfTheirContextNodes) {
  // The search works r before x, so r's child a#3 comes before x's a#1,
  // though a#1 stands first in the document; a#2 (below a#1) comes last.
  auto d = Load(u"<r><x><a id=\"1\" c=\"u1\"><a id=\"2\" k=\"\" c=\"u2\"/></a></x><a id=\"3\" k=\"\" c=\"u3\"/></r>");
  GRecorded.clear();
  EXPECT_EQ(Ids(d.get(), u"//a[rec(@id)]"), "3 1 2");
  EXPECT_EQ(GRecorded, "3 1 2");
  // Filters that depend on the candidate alone give the same nodes in the
  // same order, alone and in chains.
  EXPECT_EQ(Ids(d.get(), u"//a[@k]"), "3 2");
  EXPECT_EQ(Ids(d.get(), u"//a[@k][@c!=\"u3\"]"), "2");
  EXPECT_EQ(Ids(d.get(), u"//a[not(@k) or @id=\"3\"]/../a"), "3 1");
  EXPECT_EQ(Ids(d.get(), u"//*[@c]/a | //*[@c]/@k/.."), "2 3");
  EXPECT_EQ(Ids(d.get(), u"//a[@k][0]"), "3 2");
  // Of several candidates whose filter raises, the first in that order
  // raises.
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([&] { Ids(d.get(), u"//a[compare(., \"x\", @c)]"); })),
            "The collation \"u3\" is not supported!");
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([&] { Ids(d.get(), u"//a[@id=\"1\" or compare(., \"x\", @c)]"); })),
            "The collation \"u3\" is not supported!");
  // A second filter is compiled only where the first kept a candidate.
  EXPECT_EQ(Ids(d.get(), u"//a[@zz][@k=<\"x\"]"), "");
  EXPECT_EQ(U8(MessageOf<EXoDomSyntax>([&] { Ids(d.get(), u"//a[@k][@k=<\"x\"]"); })),
            "The filter \"[@k=<\"x\"]\" contains an invalid compare operator (=<)!");
}

TEST(XPathFilter, OnlyFiltersOfTheCandidateAloneWithoutEffectsMayRunOutOfOrder) {
  auto pure = [](const char16_t* AFilter) {
    if (!XoXPathFilterTextIsPure(AFilter)) return false;
    auto eq = XoXPathCompileFilter(AFilter, soQualifiedName, TXoXPathCollationASCIICI::ClassRef(), nullptr);
    return XoXPathFilterIsPure(eq.get());
  };
  for (const char16_t* f : {u"[@a=\"x\"]", u"[price > 100]", u"[not(@featured) and quantity=1]", u"[not (@a)]",
                            u"[contains(name, \"gold\")]", u"[fn:string-length(a) > 3]", u"[node()]",
                            u"[(a or b) and c=(1, 2)]"})
    EXPECT_TRUE(pure(f)) << U8(f);
  // Positions, functions that log or raise, an application's function,
  // paths with filters of their own.
  for (const char16_t* f : {u"[1]", u"[last()]", u"[first()]", u"[position()=2]", u"[fn:trace(., \"x\")]",
                            u"[error()]", u"[rec(.)]", u"[twice (1)=2]", u"[a[1]=\"x\"]", u"[not(a[0])]"})
    EXPECT_FALSE(pure(f)) << U8(f);
  EXPECT_FALSE(XoXPathFilterTextIsPure(u"[nosuch(1)]"));
}
