// Tests of JSON path selection and filter expressions.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "uXoJSON.h"
#include "xo_test_support.h"

using namespace xo;

namespace {

struct TDoc {
  TXoJSONDocument* D;
  TIntfPtr<IXoJSONDocument> Keep;
  explicit TDoc(const std::u16string& AJSON) : D(new TXoJSONDocument()), Keep(D) { D->SetAsJSON(AJSON); }
  TXoJSONDocument* operator->() const { return D; }
};

// The selected nodes as their compact text, joined by " ; ".
std::string Sel(TXoJSONBase* AFrom, const std::u16string& APath, TXoJDOCSelectOptions AOptions = {}) {
  TXoJSONArray* list = AFrom->CreateNodeList(APath, AOptions);
  std::u16string out;
  for (int32_t i = 0; i < list->Count(); ++i) {
    if (i) out += u" ; ";
    list->Item(i)->SaveToString(out, false, 0, false);
  }
  list->Free();
  return XoUTF16ToUTF8(out);
}

// The code of the EXoJSONException that selecting raises, -1 for none.
int32_t CodeOf(TXoJSONBase* AFrom, const std::u16string& APath, TXoJDOCSelectOptions AOptions = {}) {
  try {
    AFrom->CreateNodeList(APath, AOptions)->Free();
  } catch (const EXoJSONException& e) {
    return e.Code();
  }
  return -1;
}

const char16_t kStore[] = uR"({"store": {"book": [
  {"title": "A", "price": 8.95, "tags": ["x"]},
  {"title": "B", "price": 12.99, "isbn": null},
  {"title": "C", "price": 8.99, "isbn": "0-1"},
  {"title": "D", "price": 22.99}],
  "bicycle": {"color": "red", "price": 19.95}}, "first": 1, "a.b": 2, "a b": 3, "123": 4})";

}  // namespace

TEST(JSONPath, RootsMembersAndRecursion) {
  TDoc doc(kStore);
  TXoJSONBase* root = doc->GetRootValue();
  EXPECT_EQ(Sel(doc.D, u"$.first"), "1");
  EXPECT_EQ(Sel(doc.D, u"$.store.bicycle.color"), "\"red\"");
  EXPECT_EQ(Sel(doc.D, u"$['a.b']"), "2");
  EXPECT_EQ(Sel(doc.D, u"$['a b']"), "3");
  EXPECT_EQ(Sel(doc.D, u"$.'a b'"), "3");
  EXPECT_EQ(Sel(doc.D, u"$['123']"), "4");
  EXPECT_EQ(Sel(doc.D, u"$.123"), "");  // an index, on an object
  EXPECT_EQ(Sel(doc.D, u"$.store.book[0].title | $.first"), "\"A\" ; 1");
  EXPECT_EQ(Sel(doc.D, u"$.first | $.first"), "1 ; 1");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[0,0].title"), "\"A\" ; \"A\"");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[0].tags.length"), "");  // a plain member name
  // $ and @.
  EXPECT_EQ(Sel(doc.D, u"$"), XoUTF16ToUTF8(root->GetAsJSON()));
  TXoJSONBase* bicycle = doc->FindMember(u"store")->GetValueObj()->FindMember(u"bicycle")->GetValueObj();
  EXPECT_EQ(Sel(bicycle, u"@.color"), "\"red\"");
  EXPECT_EQ(Sel(bicycle, u"$.first"), "1");  // from a deeper node: the root value
  TXoJSONMember* first = root->FindMember(u"first");
  EXPECT_EQ(Sel(first, u"@"), "1 ; \"first\": 1");  // the value, then the member
  // $. and $.* select every member value; $[] selects nothing.
  EXPECT_EQ(Sel(bicycle, u"@."), "\"red\" ; 19.95");
  EXPECT_EQ(Sel(bicycle, u"@.*"), "\"red\" ; 19.95");
  EXPECT_EQ(Sel(doc.D, u"$[]"), "");
  // The recursive step: a node's own matches first, then its children's.
  EXPECT_EQ(Sel(doc.D, u"$..price"), "8.95 ; 12.99 ; 8.99 ; 22.99 ; 19.95");
  EXPECT_EQ(Sel(doc.D, u"$..book[1].title"), "\"B\"");
  // Case-insensitive names.
  EXPECT_EQ(Sel(doc.D, u"$.FIRST"), "");
  EXPECT_EQ(Sel(doc.D, u"$.FIRST", jsoCaseInsensitive), "1");
  // Without a root value nothing is selected.
  TDoc empty(u"");
  EXPECT_EQ(Sel(empty.D, u"$.a"), "");
}

TEST(JSONPath, IndexesSlicesAndExpressions) {
  TDoc doc(u"[0,1,2,3,4]");
  EXPECT_EQ(Sel(doc.D, u"$[-1]"), "4");
  EXPECT_EQ(Sel(doc.D, u"$[-6]"), "");
  EXPECT_EQ(Sel(doc.D, u"$[5]"), "");
  EXPECT_EQ(Sel(doc.D, u"$.[0]"), "0");
  EXPECT_EQ(Sel(doc.D, u"$[*]"), "0 ; 1 ; 2 ; 3 ; 4");
  EXPECT_EQ(Sel(doc.D, u"$[1:5:2]"), "1 ; 3");
  EXPECT_EQ(Sel(doc.D, u"$[-2:]"), "3 ; 4");
  EXPECT_EQ(Sel(doc.D, u"$[2:1]"), "2");
  EXPECT_EQ(Sel(doc.D, u"$[1:-1]"), "1");
  EXPECT_EQ(Sel(doc.D, u"$[3:0:-1]"), "3 ; 2 ; 1 ; 0");
  EXPECT_EQ(Sel(doc.D, u"$[a:b]"), "0 ; 1 ; 2 ; 3 ; 4");
  EXPECT_EQ(Sel(doc.D, u"$[7:]"), "");
  EXPECT_EQ(Sel(doc.D, u"$[(@.length-1)]"), "4");
  EXPECT_EQ(Sel(doc.D, u"$[(2)]"), "2");
  EXPECT_EQ(CodeOf(doc.D, u"$[(@.length)]"), 17);
  EXPECT_EQ(CodeOf(doc.D, u"$[(x)]"), 17);
  EXPECT_THROW(doc->CreateNodeList(u"$[1-2]"), EConvertError);
  TDoc obj(u"{\"a\":1,\"b:c\":2}");
  EXPECT_EQ(Sel(obj.D, u"$[(@.length-1)]"), "");
  EXPECT_EQ(Sel(obj.D, u"$['b:c']"), "");  // a colon makes a slice
  EXPECT_EQ(Sel(obj.D, u"$['a','b:c']"), "1");
  EXPECT_EQ(Sel(obj.D, u"$[0]"), "");
}

TEST(JSONPath, Filters) {
  TDoc doc(kStore);
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.price<10)].title"), "\"A\" ; \"C\"");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.isbn)].title"), "\"B\" ; \"C\"");  // null exists
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.title=='B')].price"), "12.99");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.title==\"B\")].price"), "12.99");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.title==B)].price"), "12.99");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.title!=B && @.price >= 12.99)].title"), "\"D\"");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.title<>'A')].title"), "\"B\" ; \"C\" ; \"D\"");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(!(@.price<10))].title"), "\"B\" ; \"D\"");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.tags[0]=='x')].title"), "\"A\"");
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.title=='b')].title", jsoCaseInsensitive), "\"B\"");
  // A filter adds a node once within its step; over object members too.
  EXPECT_EQ(Sel(doc.D, u"$.store.book[?(@.price>20),?(@.price>20)].title"), "\"D\"");
  EXPECT_EQ(Sel(doc.D, u"$.store[?(@.color)].price"), "19.95");
  EXPECT_EQ(Sel(doc.D, u"$..book[?(@.price>20)].title"), "\"D\"");

  TDoc n(uR"([{"n":"12","b":1,"a":1,"c":3},{"n":12},{"n":"x&y","a":"x"}])");
  EXPECT_EQ(Sel(n.D, u"$[?(@.n>10)].n"), "\"12\" ; 12");  // the text decides
  EXPECT_EQ(Sel(n.D, u"$[?(@.n==abc)]"), "");
  // A number against a text: false, negated or not; two texts compare.
  EXPECT_EQ(Sel(n.D, u"$[?(!(@.n==abc))]"), "{\"n\": \"x&y\", \"a\": \"x\"}");
  EXPECT_EQ(Sel(n.D, u"$[?(@.missing==1)]"), "");
  EXPECT_EQ(Sel(n.D, u"$[?(@.missing!=1)]"), "");
  EXPECT_EQ(Sel(n.D, u"$[?(@.missing==1||@.b)]"), "");
  EXPECT_EQ(Sel(n.D, u"$[?(@.b||@.missing==1)].c"), "3");
  EXPECT_EQ(Sel(n.D, u"$[?(@.a==x)].a"), "\"x\"");
  EXPECT_EQ(CodeOf(n.D, u"$[?(@.a=='x&y')]"), 14);
  // Grouping and the left-to-right reading of a chain.
  TDoc g(uR"([{"a":1,"b":2,"c":0},{"a":0,"b":0,"c":3},{"a":1,"b":0,"c":3},{"a":0,"b":2,"c":0}])");
  EXPECT_EQ(Sel(g.D, u"$[?(@.a==1&&(@.b==2||@.c==3))].c"), "0 ; 3");
  EXPECT_EQ(Sel(g.D, u"$[?(@.a==1&&@.b==2||@.c==3)].c"), "0 ; 3 ; 3");
  EXPECT_EQ(Sel(g.D, u"$[?(@.a==1||@.b==2&&@.c==3)].c"), "3");  // (a||b)&&c
  EXPECT_EQ(Sel(g.D, u"$[?(@.a==0||@.b==2&&@.c==0)].c"), "0 ; 0");
  // Malformed filters.
  EXPECT_EQ(CodeOf(g.D, u"$[?(a)]"), 13);  // a term is a path
  EXPECT_EQ(CodeOf(g.D, u"$[?(@.a=1)]"), 14);
  EXPECT_EQ(CodeOf(g.D, u"$[?(@.a!1)]"), 14);
  EXPECT_EQ(CodeOf(g.D, u"$[?(@.a&@.b)]"), 14);
  EXPECT_EQ(CodeOf(g.D, u"$[?(@.a))]"), 17);
  EXPECT_EQ(CodeOf(g.D, u"$[?@.a]"), 14);
  EXPECT_THROW(g->CreateNodeList(u"$[?(@.a&&)]"), Exception);
  EXPECT_THROW(g->CreateNodeList(u"$[?(!)]"), Exception);
  EXPECT_EQ(xo_test::MessageOf<Exception>([&] { g->CreateNodeList(u"$[?(())]"); }),
            _cXoJSONInvalidExpressionParenthesis);
  // A long chain evaluates in linear time.
  std::u16string chain = u"$[?(@.a==1";
  for (int i = 0; i < 2000; ++i) chain += i % 2 ? u"&&@.a==1" : u"||@.b==2";
  chain += u")].c";
  EXPECT_EQ(Sel(g.D, chain), "0 ; 3");
}

TEST(JSONPath, FilterEntriesGatherEachNodeOnce) {
  // Every element passes; an index and a second filter in the same step
  // add nothing that is already there.
  std::u16string text = u"[";
  for (int i = 0; i < 50000; ++i) text += std::u16string(i ? u"," : u"") + u"{\"a\":1}";
  text += u"]";
  TDoc doc(text);
  TXoJSONArray* all = doc.D->CreateNodeList(u"$[?(@.a==1)]");
  EXPECT_EQ(all->Count(), 50000);
  all->Free();
  TXoJSONArray* twice = doc.D->CreateNodeList(u"$[0,?(@.a==1),?(@.a>0)]");
  EXPECT_EQ(twice->Count(), 50000);
  twice->Free();
}

TEST(JSONPath, FailuresAndCreation) {
  TDoc doc(uR"({"a":{"b":1},"arr":[{"x":1},{}]})");
  EXPECT_EQ(CodeOf(doc.D, u""), 13);
  EXPECT_EQ(CodeOf(doc.D, u"a.b"), 13);
  EXPECT_EQ(CodeOf(doc.D, u"$.a | "), 13);
  EXPECT_EQ(CodeOf(doc.D, u"$a"), 14);
  EXPECT_EQ(CodeOf(doc.D, u"$.a$"), -1);  // ends inside the name step
  EXPECT_EQ(CodeOf(doc.D, u"$.a.b@"), -1);
  EXPECT_EQ(CodeOf(doc.D, u"$.arr[0]@.x"), 15);
  EXPECT_EQ(CodeOf(doc.D, u"$.arr[0]x"), 14);
  try {
    doc->CreateNodeList(u"$.nothing", jsoRaise);
    ADD_FAILURE();
  } catch (const EXoJSONException& e) {
    EXPECT_EQ(e.Code(), 11);
    EXPECT_EQ(e.Message(), u"The specified path returned no nodes!");
  }
  EXPECT_THROW(doc->SelectSingleNode(u"$.nothing", true), EXoJSONException);
  EXPECT_EQ(doc->SelectSingleNode(u"$.nothing", false), nullptr);
  EXPECT_EQ(doc->SelectSingleNode(u"$.a.b")->GetAsInteger(), 1);
  // jsoCreate makes one missing member per step, with a null value.
  TDoc made(u"{}");
  EXPECT_EQ(Sel(made.D, u"$.a.b", jsoCreate), "");
  EXPECT_EQ(made->GetAsJSON(), u"{\"a\": null}");
  EXPECT_EQ(Sel(made.D, u"$.c", jsoCreate), "null");
  EXPECT_EQ(Sel(doc.D, u"$.a.b", jsoCreate), "1");  // nothing made when found
  // Across a tree: each object that lacks the member gets one; an array
  // refuses.
  TDoc deep(uR"({"o":{"p":{}}})");
  EXPECT_EQ(Sel(deep.D, u"$..z", jsoCreate), "null ; null ; null");
  EXPECT_EQ(deep->GetAsJSON(), u"{\"o\": {\"p\": {\"z\": null}, \"z\": null}, \"z\": null}");
  EXPECT_EQ(CodeOf(doc.D, u"$..q", jsoCreate), 9);
  // $ in a tree without a document.
  auto* loose = new TXoJSONObject();
  loose->AddMember(u"k", jdtNumber, u"1");
  EXPECT_EQ(Sel(loose, u"@.k"), "1");
  EXPECT_THROW(loose->CreateNodeList(u"$.k"), EInvalidCast);
  loose->Free();
}

TEST(JSONPath, ResultsHoldNodesWithoutOwningThem) {
  TDoc doc(uR"({"a":{"b":[1,2]},"c":{"d":{}}})");
  TIntfPtr<IXoJSONArray> result = doc->SelectIntf(u"$..b[*]");
  EXPECT_EQ(result->Count(), 2);
  EXPECT_EQ(result->GetItem(1)->GetAsInteger(), 2);
  result = nullptr;  // the nodes stay in their tree
  EXPECT_EQ(doc->GetAsJSON(), u"{\"a\": {\"b\": [1, 2]}, \"c\": {\"d\": {}}}");
  // Paths of objects.
  auto* d = static_cast<TXoJSONObject*>(doc->SelectSingleNode(u"$.c.d"));
  EXPECT_EQ(d->GetPath(), u"#/c/d");
  EXPECT_EQ(static_cast<TXoJSONObject*>(doc->GetRootValue())->GetPath(), u"#/");
  // A recursive search through a deep tree uses no machine stack.
  std::u16string text;
  for (int i = 0; i < 100000; ++i) text += u"{\"a\":";
  text += u"1";
  text.append(100000, u'}');
  TDoc deep(text);
  TXoJSONArray* all = deep->CreateNodeList(u"$..a");
  EXPECT_EQ(all->Count(), 100000);
  all->Free();
  // The common layer reaches JSON documents through the start-up hooks.
  TIntfPtr<IInterface> made = XoCreateJSONDoc(u"{\"x\":[5,6]}");
  ASSERT_TRUE(made);
  EXPECT_EQ(XoGetJSONDocValue(made, u"$.x[1]").AsString(), u"6");
  EXPECT_TRUE(XoGetJSONDocValue(made, u"$.y").IsEmpty());
}
