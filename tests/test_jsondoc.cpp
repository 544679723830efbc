// Tests of the JSON document model, its loader and the parser component.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "uXoJSON.h"
#include "xo_test_support.h"

using namespace xo;
using xo_test::MessageOf;

namespace {

// A document held by an interface, freed with it.
struct TDoc {
  TXoJSONDocument* D;
  TIntfPtr<IXoJSONDocument> Keep;
  explicit TDoc(const std::u16string& AJSON = u"") : D(new TXoJSONDocument()), Keep(D) {
    if (!AJSON.empty()) D->SetAsJSON(AJSON);
  }
  TXoJSONDocument* operator->() const { return D; }
};

std::u16string Refusal(const char16_t* AClass, const char16_t* AMethod) {
  return XoFormat(_cXoJSONNotSupported, {AClass, AMethod});
}

}  // namespace

TEST(JSONDocument, LoadKeepsTokensAndSavesThemBack) {
  TDoc doc(uR"({"a":1.50,"b":[true,null,"x\/y\u00e9"],"c":{"d":-0,"e":"q\"\\"}})");
  EXPECT_EQ(doc->GetAsJSON(), u"{\"a\": 1.50, \"b\": [true, null, \"x\\/y\u00E9\"], \"c\": {\"d\": -0, \"e\": \"q\\\"\\\\\"}}");
  TXoJSONBase* a = doc->FindMember(u"a")->GetValueObj();
  EXPECT_EQ(a->GetJSONType(), jdtNumber);
  EXPECT_EQ(a->GetAsVariant().VarType(), varUString);
  EXPECT_EQ(a->GetAsString(), u"1.50");
  EXPECT_DOUBLE_EQ(a->GetAsDouble(), 1.5);
  // Strings are decoded on loading and escaped again on saving.
  TXoJSONArray* b = doc->FindMember(u"b")->GetAsArray();
  EXPECT_EQ(b->Item(2)->GetAsString(), u"x/y\u00E9");
  EXPECT_TRUE(b->Item(0)->GetAsBoolean());
  // A loaded null holds its text; a made one holds nothing; both write null.
  EXPECT_EQ(b->Item(1)->GetJSONType(), jdtNull);
  EXPECT_EQ(b->Item(1)->GetAsString(), u"null");
  TDoc made;
  TXoJSONBase* v = made->CreateRootValue(jdtArray)->AddValue(jdtNull);
  EXPECT_EQ(v->GetAsString(), u"");
  EXPECT_EQ(made->GetAsJSON(), u"[null]");
  // Member names keep the reader's form; saving escapes them again.
  TDoc names(uR"({"a\nb":"x\ny"})");
  EXPECT_EQ(names->Item(0)->GetName(), u"a\\nb");
  EXPECT_EQ(names->FindMember(u"a\\nb")->GetAsString(), u"x\ny");
  EXPECT_EQ(names->GetAsJSON(), uR"({"a\\nb": "x\ny"})");
}

TEST(JSONDocument, LoaderWalksTheOwnerLinks) {
  TDoc doc(u"[1,[2,[3]],4]");
  TXoJSONBase* root = doc->GetRootValue();
  ASSERT_EQ(root->Count(), 3);
  EXPECT_EQ(root->Item(2)->GetAsString(), u"4");
  TDoc nested(uR"({"a":{"b":1},"c":2})");
  EXPECT_EQ(nested->GetRootValue()->Count(), 2);
  EXPECT_EQ(nested->FindMember(u"c")->GetAsInteger(), 2);
  // Each top-level value replaces the one before.
  TDoc two(u"{}[]");
  EXPECT_EQ(two->GetRootValue()->GetJSONType(), jdtArray);
  // A simple value at the top level cannot be loaded; the root stays.
  TDoc keep(u"[7]");
  EXPECT_EQ(MessageOf<EXoJSONException>([&] { keep->SetAsJSON(u"12"); }), u"oeps?");
  EXPECT_EQ(keep->GetAsJSON(), u"[7]");
  // A failed load leaves what was built.
  EXPECT_THROW(keep->SetAsJSON(u"[1,2,x]"), EXoJSONParseError);
  EXPECT_EQ(keep->GetAsJSON(), u"[1, 2]");
  EXPECT_THROW(keep->SetAsJSON(u"[1,2"), EXoTextParserEOF);
  // Empty text clears.
  keep->SetAsJSON(u"");
  EXPECT_EQ(keep->GetRootValue(), nullptr);
  EXPECT_EQ(keep->GetAsJSON(), u"");
  // Form text loads as an object of strings.
  TDoc form;
  TXoMemoryStream ms("a[]=1&a[]=x+y&b[c]=%C3%A9", 25);
  form->LoadFromStream(&ms, 65001, true);
  EXPECT_EQ(form->GetAsJSON(), u"{\"a\": [\"1\", \"x y\"], \"b\": {\"c\": \"\u00E9\"}}");
}

TEST(JSONDocument, OutputForms) {
  TDoc doc(uR"({"a":[1,2],"b":{"c":true}})");
  EXPECT_EQ(doc->GetAsJSON(), uR"({"a": [1, 2], "b": {"c": true}})");
  EXPECT_EQ(doc->GetFormattedJSON(), u"{ \r\n  \"a\": [\r\n    1, 2\r\n  ], \"b\": { \r\n    \"c\": true\r\n  }\r\n}");
  TDoc empty(u"[{},[]]");
  EXPECT_EQ(empty->GetAsJSON(), u"[{}, []]");
  EXPECT_EQ(empty->GetFormattedJSON(), u"[\r\n  { \r\n\r\n  }, [\r\n\r\n  ]\r\n]");
  // A value made as a string is "", a member made with that type is null;
  // a member without any value is null too.
  TDoc made;
  TXoJSONBase* o = made->CreateRootValue(jdtObject);
  o->AddMember(u"s", jdtString);
  o->AddMember(u"n");
  o->AddMember(u"arr", jdtArray)->GetValueObj()->AddValue(jdtString);
  o->AddMember(u"t", jdtNumber, u"1e3");
  EXPECT_EQ(made->GetAsJSON(), uR"({"s": null, "n": null, "arr": [""], "t": 1e3})");
  // Values set by type write in their own forms.
  TXoJSONMember* m = o->AddMember(u"x");
  m->SetAsDouble(0.1);
  EXPECT_EQ(m->GetValueObj()->GetAsString(), u"0.1");
  m->SetAsBoolean(false);
  m->SetAsString(u"a/b\u20AC");
  EXPECT_EQ(m->GetValueObj()->GetJSONType(), jdtString);
  o->AddMember(u"v", Variant(VarArrayOf({Variant(int32_t(1)), Variant(u"z"), Variant(true)})));
  o->AddMember(u"d", Variant::FromDate(25569.5));
  EXPECT_EQ(made->GetAsJSON(), uR"({"s": null, "n": null, "arr": [""], "t": 1e3, "x": "a\/b\u20AC", )"
                               uR"("v": [1, "z", true], "d": "1970-01-01T12:00:00.000"})");
}

TEST(JSONDocument, MembersAndLookups) {
  TDoc doc(uR"({"a":1,"a":2,"B":3})");
  TXoJSONBase* o = doc->GetRootValue();
  EXPECT_EQ(o->Count(), 3);
  EXPECT_EQ(o->FindMember(u"a")->GetAsInteger(), 1);
  EXPECT_EQ(doc->GetAsJSON(), uR"({"a": 1, "a": 2, "B": 3})");
  EXPECT_EQ(o->FindMember(u"b"), nullptr);
  EXPECT_EQ(o->FindMember(u"b", true)->GetAsInteger(), 3);
  EXPECT_TRUE(o->HasMember(u"b", true));
  EXPECT_EQ(o->GetMember(u"x"), nullptr);
  EXPECT_EQ(MessageOf<EXoJSONException>([&] { o->GetMember(u"x", jsoRaise); }),
            u"There is no member with the name \"x\"!");
  TXoJSONMember* x = o->GetMember(u"x", {jsoCreate, jsoRaise});
  ASSERT_NE(x, nullptr);
  EXPECT_EQ(x->GetValueObj(), nullptr);
  EXPECT_EQ(doc->GetAsJSON(), uR"({"a": 1, "a": 2, "B": 3, "x": null})");
  EXPECT_EQ(o->GetMemberEx1(u"y")->GetName(), u"y");
  // The document forwards to its root, and refuses through the base class.
  EXPECT_EQ(doc->FindMember(u"B")->GetAsInteger(), 3);
  EXPECT_EQ(doc->Item(0)->GetName(), u"a");
  TXoJSONBase* asBase = doc.D;
  EXPECT_EQ(MessageOf<EXoJSONException>([&] { asBase->FindMember(u"B"); }),
            Refusal(u"TXoJSONDocument", u"FindMember"));
  TDoc rootless;
  try {
    rootless->GetMember(u"a");
    ADD_FAILURE();
  } catch (const EXoJSONParseError& e) {
    EXPECT_EQ(e.Code(), 10);
    EXPECT_EQ(e.Message(), u"There is no root value!");
  }
  // Deleting shifts the members behind.
  o->DeleteMember(0);
  EXPECT_EQ(o->Item(0)->GetAsInteger(), 2);
  EXPECT_THROW(o->DeleteMember(99), EListError);
}

TEST(JSONDocument, RefusalsAndCoercions) {
  TDoc doc(uR"({"o":{},"s":"t","n":5})");
  TXoJSONBase* o = doc->GetRootValue();
  TXoJSONBase* s = o->FindMember(u"s")->GetValueObj();
  auto refused = [](auto AFunc) {
    try {
      AFunc();
    } catch (const EXoJSONException& e) {
      EXPECT_EQ(e.Code(), 9);
      return e.Message();
    }
    return std::u16string(u"<none>");
  };
  EXPECT_EQ(refused([&] { s->Count(); }), Refusal(u"TXoJSONSimpleType", u"Count"));
  EXPECT_EQ(refused([&] { s->GetMemberEx(u"x"); }), Refusal(u"TXoJSONSimpleType", u"Member"));
  EXPECT_EQ(refused([&] { s->GetValueObj(); }), Refusal(u"TXoJSONSimpleType", u"GetValue"));
  EXPECT_EQ(refused([&] { o->GetAsString(); }), Refusal(u"TXoJSONObject", u"GetAsString"));
  EXPECT_EQ(refused([&] { o->AddValue(jdtNull); }), Refusal(u"TXoJSONObject", u"AddValue"));
  EXPECT_EQ(refused([&] { o->GetAsValue(); }), Refusal(u"TXoJSONObject", u"GetAsValue"));
  EXPECT_EQ(refused([&] { o->Item(0)->Count(); }), Refusal(u"TXoJSONMember", u"Count"));
  EXPECT_EQ(o->GetName(), u"<object>");
  EXPECT_EQ(o->GetAsObject(), o);
  // Member accessors forward to a simple value and refuse anything else.
  TXoJSONMember* om = o->FindMember(u"o");
  EXPECT_EQ(refused([&] { om->SetAsBoolean(true); }), Refusal(u"TXoJSONMember", u"SetAsBoolean"));
  EXPECT_EQ(om->GetValueObj()->GetJSONType(), jdtObject);
  EXPECT_EQ(refused([&] { om->GetAsArray(); }), Refusal(u"TXoJSONMember", u"GetAsArray"));
  EXPECT_EQ(om->GetAsObject(), om->GetValueObj());
  // Setters create a value when there is none and keep the node otherwise.
  TXoJSONMember* fresh = o->AddMember(u"f");
  fresh->SetAsInteger(5);
  TXoJSONBase* node = fresh->GetValueObj();
  EXPECT_EQ(node->GetJSONType(), jdtNumber);
  fresh->SetAsString(u"five");
  EXPECT_EQ(fresh->GetValueObj(), node);
  EXPECT_EQ(node->GetJSONType(), jdtString);
  EXPECT_EQ(o->AddMember(u"g")->GetAsObject()->Count(), 0);
  // Readers of simple values convert leniently.
  TXoJSONMember* n = o->FindMember(u"n");
  EXPECT_EQ(n->GetAsLargeInt(), 5);
  EXPECT_EQ(s->GetAsInteger(), 0);
  EXPECT_FALSE(s->GetAsBoolean());
  s->SetAsVariant(Variant(int64_t(1) << 40));
  EXPECT_EQ(s->GetJSONType(), jdtNumber);
  EXPECT_EQ(s->GetAsString(), u"1099511627776");
  s->SetAsValue(TValue::From(true));
  EXPECT_EQ(s->GetAsString(), u"true");
  // Texts for objects and arrays, and arrays inside array variants, are
  // invalid casts.
  TXoJSONBase* arr = o->AddMember(u"arr", jdtArray)->GetValueObj();
  EXPECT_THROW(arr->AddValue(jdtObject, u"x"), EInvalidCast);
  EXPECT_THROW(arr->AddValue(VarArrayOf({Variant(1)})), EInvalidCast);
  EXPECT_THROW(o->AddMember(u"bad", Variant(VarArrayOf({VarArrayOf({Variant(1)})}))), EInvalidCast);
  EXPECT_THROW(o->AddMember(u"bad2", jdtArray, u"[]"), EInvalidCast);
}

TEST(JSONDocument, InterfacesKeepRemovedNodesAlive) {
  TIntfPtr<IXoJSONDocument> doc(TXoJSONDocument::CreateFromJSON(uR"({"a":{"deep":[1,2]},"b":2})"));
  TIntfPtr<IXoJSONObject> root = doc->GetRootValueIntf()->GetAsObjectIntf();
  TIntfPtr<IXoJSONMember> a = root->FindMemberIntf(u"a");
  TIntfPtr<IXoJSONBase> deep = a->GetValue()->GetMemberIntf(u"deep")->GetValue();
  root->DeleteMember(0);
  EXPECT_EQ(root->Count(), 1);
  // The member lives on without owner, with its whole subtree.
  EXPECT_EQ(a->GetName(), u"a");
  EXPECT_EQ(deep->Count(), 2);
  EXPECT_EQ(deep->GetItem(1)->GetAsInteger(), 2);
  // Clearing the document leaves held nodes usable too.
  TIntfPtr<IXoJSONMember> b = root->GetMemberIntf(u"b");
  doc->SetAsJSON(u"[]");
  EXPECT_EQ(b->GetAsInteger(), 2);
  doc = nullptr;  // the document goes first
  EXPECT_EQ(root->Count(), 1);
  EXPECT_EQ(b->GetAsString(), u"2");
  // Building through interfaces.
  TIntfPtr<IXoJSONDocument> built(new TXoJSONDocument());
  TIntfPtr<IXoJSONObject> o = built->CreateRootValueIntf(jdtObject)->GetAsObjectIntf();
  o->AddMemberIntf2(u"list", jdtArray)->GetAsArrayIntf()->AddValueIntf3(Variant(1.25));
  TIntfPtr<IXoJSONArray> list = o->GetMemberIntf(u"list")->GetAsArrayIntf();
  list->AddValueIntf2(jdtString, u"s");
  list->Exchange(0, 1);
  list->RemoveValueIntf(list->GetItem(1));
  o->AddMemberIntf3(u"k", jdtBoolean, u"true");
  o->AddMemberIntf4(u"v", Variant(u"w"));
  o->RemoveMemberIntf(o->GetMemberIntf(u"v"));
  EXPECT_EQ(built->GetAsJSON(), uR"({"list": ["s"], "k": true})");
  EXPECT_EQ(o->GetMemberEx(u"z")->GetName(), u"z");
  EXPECT_TRUE(o->HasMember(u"Z", true));
}

TEST(JSONDocument, DetachedNodesAndDeepTrees) {
  // An array built without owner frees its children with it... unless it is a
  // result list, which owns none: only arrays with an owner free theirs.
  auto* obj = new TXoJSONObject();
  obj->AddMember(u"a", jdtArray)->GetValueObj()->AddValue(jdtNumber, u"1");
  TXoJSONBase* keptValue = obj->FindMember(u"a")->GetValueObj();
  TIntfPtr<IXoJSONBase> held(keptValue);
  obj->Free();
  EXPECT_EQ(held->Count(), 1);  // survives its owner, which is gone
  held = nullptr;

  // 100,000 levels load, save and free without using the machine stack.
  const int depth = 100000;
  std::u16string text(depth, u'[');
  text += u"1";
  text.append(depth, u']');
  {
    TDoc doc(text);
    EXPECT_EQ(doc->GetAsJSON(), text);
    std::u16string objects;
    for (int i = 0; i < depth; ++i) objects += u"{\"a\": ";
    objects += u"null";
    objects.append(depth, u'}');
    doc->SetAsJSON(objects);
    EXPECT_EQ(doc->GetAsJSON(), objects);
    // Formatted text grows with the square of the depth: a smaller tree.
    doc->SetAsJSON(u"[[[[[[[[[[1]]]]]]]]]]");
    std::u16string want;
    for (size_t i = 0; i < 10; ++i) want += std::u16string(i * 2, u' ') + u"[\r\n";
    want += std::u16string(20, u' ') + u"1";
    for (size_t i = 10; i-- > 0;) want += u"\r\n" + std::u16string(i * 2, u' ') + u"]";
    EXPECT_EQ(doc->GetFormattedJSON(), want);
  }
}

TEST(JSONDocument, FilesStreamsAndCodePages) {
  TDoc doc(u"{\"k\":\"\u00E9\u20AC\"}");
  TMemoryStream s16;
  doc->SaveToStream(&s16, false, static_cast<uint16_t>(1200), true);
  std::string b16(reinterpret_cast<const char*>(s16.Memory()), static_cast<size_t>(s16.GetSize()));
  EXPECT_EQ(b16.substr(0, 4), std::string("\xFF\xFE{\0", 4));
  TMemoryStream s8;
  doc->SaveToStream(&s8, false, static_cast<uint16_t>(65001), true);
  std::string b8(reinterpret_cast<const char*>(s8.Memory()), static_cast<size_t>(s8.GetSize()));
  EXPECT_EQ(b8, "\xEF\xBB\xBF{\"k\": \"\xC3\xA9\\u20AC\"}");
  TMemoryStream s1252;
  doc->SaveToStream(&s1252, false, static_cast<uint16_t>(1252), true);
  std::string b1252(reinterpret_cast<const char*>(s1252.Memory()), static_cast<size_t>(s1252.GetSize()));
  EXPECT_EQ(b1252, "{\"k\": \"\xE9\\u20AC\"}");
  // Plain node output is UTF-16 code units.
  TMemoryStream plain;
  doc->GetRootValue()->SaveToStream(&plain, false, 0, false);
  EXPECT_EQ(plain.GetSize(), static_cast<int64_t>(doc->GetAsJSON().size() * 2));

  char dir[] = "/tmp/xo_jsondocXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::u16string file = XoUTF8ToUTF16(std::string(dir) + "/d.json");
  doc->SaveToFile(file, true);
  TIntfPtr<IXoJSONDocument> back(TXoJSONDocument::CreateFromFile(file));
  EXPECT_EQ(back->GetAsJSON(), doc->GetAsJSON());
  const std::u16string missing = XoUTF8ToUTF16(std::string(dir) + "/none.json");
  EXPECT_EQ(MessageOf<EReadError>([&] { doc->LoadFromFile(missing); }), XoFormat(_cXoJSONNoFile, {missing}));
  std::remove(XoUTF16ToUTF8(file).c_str());
  rmdir(dir);
  // Loading from bytes in a code page, and formatting shortcuts.
  TIntfPtr<IXoJSONDocument> bytes(TXoJSONDocument::CreateFromJSON(std::string("[\"\xE9\"]"), 1252));
  EXPECT_EQ(bytes->GetAsJSON(), u"[\"\u00E9\"]");
  EXPECT_EQ(XoFormatJSON(XoJSONString(u" { \"a\" :[ 1 ,2 ] } ")), u"{\"a\": [1, 2]}");
  EXPECT_EQ(XoFormatJSON(RawByteString("[1]")), u"[\r\n  1\r\n]");
  EXPECT_EQ(XoFormatJSON(XoJSONString()), u"");
}

TEST(JSONParser, EventsReachTheProperties) {
  TXoJSONParser parser;
  std::string log;
  parser.OnStartDocument = [&] { log += "SD "; };
  parser.OnStartObject = [&] { log += "SO "; };
  parser.OnStartMember = [&](const XoJSONString& n) { log += "SM(" + XoUTF16ToUTF8(n) + ") "; };
  parser.OnStartArray = [&] { log += "SA "; };
  parser.OnValue = [&](TXoJSONDataType t, const XoJSONString& v) {
    log += "V" + std::to_string(t) + "(" + XoUTF16ToUTF8(v) + ") ";
  };
  parser.OnEndArray = [&] { log += "EA "; };
  parser.OnEndMember = [&] { log += "EM "; };
  parser.OnEndObject = [&] { log += "EO "; };
  parser.OnEndDocument = [&] { log += "ED"; };
  int fatal = 0;
  parser.OnFatalError = [&](const TIntfPtr<IXoJSONLocator>& l, const XoJSONString&) {
    ++fatal;
    EXPECT_NE(parser.GetReader(), nullptr);
    EXPECT_EQ(l->GetLineNr(), 1);
  };
  parser.Parse(XoJSONString(uR"({"a":"x\ny","b":[1]})"));
  EXPECT_EQ(log, "SD SO SM(a) V1(x\\ny) EM SM(b) SA V2(1) EA EM EO ED");
  EXPECT_EQ(parser.GetReader(), nullptr);
  log.clear();
  parser.ParseBuffer("a=1&b[]=2", 9, 65001, true);
  EXPECT_EQ(log, "SD SO SM(a) V1(1) EM SM(b) SA V1(2) EA EM EO ED");
  EXPECT_THROW(parser.Parse(RawByteString("[1,x]"), 65001), EXoJSONParseError);
  EXPECT_EQ(fatal, 1);
  EXPECT_EQ(parser.GetReader(), nullptr);
  // Without any event assigned the text still runs and bad text still fails.
  TXoJSONParser bare;
  bare.Parse(XoJSONString(u"[1,{\"a\":2}]"));
  EXPECT_THROW(bare.Parse(XoJSONString(u"[1,}")), EXoJSONParseError);
}

TEST(JSONDocument, ReadmeTour) {
  TIntfPtr<IXoJSONDocument> doc(
      TXoJSONDocument::CreateFromJSON(u"{\"name\": \"xo\", \"tags\": [\"xml\"], \"rating\": 4.50}"));
  TIntfPtr<IXoJSONObject> root = doc->GetRootValueIntf()->GetAsObjectIntf();
  root->GetMemberIntf(u"tags")->GetAsArrayIntf()->AddValueIntf2(jdtString, u"json");
  root->GetMemberEx(u"year")->SetAsInteger(2024);
  EXPECT_EQ(root->GetMemberIntf(u"name")->GetAsString(), u"xo");
  EXPECT_EQ(doc->GetAsJSON(), u"{\"name\": \"xo\", \"tags\": [\"xml\", \"json\"], \"rating\": 4.50, \"year\": 2024}");
}
