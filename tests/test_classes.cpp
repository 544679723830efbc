// Objects, components, exceptions, formatting, streams, code pages, helpers.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

#include <unicode/ustring.h>

#include "uXoClasses.h"

#include "xo_test_support.h"

using namespace xo;

namespace {

int gDestroyed = 0;

class TCounted : public TXoObject {
public:
  ~TCounted() override { ++gDestroyed; }
};

class IFoo : public virtual IInterface {
public:
  virtual int Foo() = 0;
};

class TFoo : public TXoObject, public IFoo {
public:
  int Foo() override { return 42; }
  ~TFoo() override { ++gDestroyed; }
};

class TOwned : public TComponent {
public:
  using TComponent::TComponent;
  ~TOwned() override { ++gDestroyed; }
};

}  // namespace

TEST(Objects, ReferenceCountingAndAutoDestroy) {
  gDestroyed = 0;
  {
    TIntfPtr<IXoObject> a(new TCounted);
    EXPECT_EQ(static_cast<TCounted*>(a->Implementor())->GetRefCount(), 1);
    TIntfPtr<IXoObject> b = a;
    EXPECT_EQ(a->Implementor()->GetRefCount(), 2);
    b.reset();
    EXPECT_EQ(gDestroyed, 0);
  }
  EXPECT_EQ(gDestroyed, 1);

  // Auto-destroy off: a count of 0 frees nothing; the owner frees.
  auto* o = new TCounted;
  o->SetAutoDestroy(false);
  EXPECT_FALSE(o->GetAutoDestroy());
  { TIntfPtr<IXoObject> r(o); }
  EXPECT_EQ(gDestroyed, 1);
  EXPECT_EQ(o->GetRefCount(), 0);
  o->Free();
  EXPECT_EQ(gDestroyed, 2);

  // Interface queries land on the same object and keep it alive.
  TIntfPtr<IXoObject> obj(new TFoo);
  TIntfPtr<IFoo> foo = obj.As<IFoo>();
  ASSERT_TRUE(foo);
  EXPECT_EQ(foo->Foo(), 42);
  obj.reset();
  EXPECT_EQ(gDestroyed, 2);
  EXPECT_FALSE(foo.As<IXoObject>()->Implementor() == nullptr);
  foo.reset();
  EXPECT_EQ(gDestroyed, 3);
  EXPECT_EQ(TIntfPtr<IXoObject>(new TCounted).As<IFoo>(), nullptr);
  EXPECT_EQ(gDestroyed, 4);
}

TEST(Objects, ComponentsFreeWhatTheyOwn) {
  gDestroyed = 0;
  auto* owner = new TComponent(nullptr);
  auto* a = new TOwned(owner);
  auto* b = new TOwned(owner);
  a->SetName(u"Alpha");
  EXPECT_EQ(owner->ComponentCount(), 2);
  EXPECT_EQ(owner->FindComponent(u"ALPHA"), a);
  EXPECT_EQ(owner->FindComponent(u""), nullptr);
  b->Free();  // a component freed first leaves its owner's list
  EXPECT_EQ(owner->ComponentCount(), 1);
  EXPECT_THROW(owner->Components(1), EListError);
  owner->Free();
  EXPECT_EQ(gDestroyed, 2);
  EXPECT_EQ(TOwned(nullptr).ClassName(), u"TOwned");
}

TEST(Objects, AssignWithoutSupportRaises) {
  TXoObjectEx a, b;
  try {
    a.Assign(&b);
    FAIL();
  } catch (const EConvertError& e) {
    EXPECT_EQ(e.Message(), u"Cannot assign a TXoObjectEx to a TXoObjectEx");
  }
}

TEST(Exceptions, CodesMessagesAndFormatting) {
  EXoException e1(u"plain", 7);
  EXPECT_EQ(e1.Code(), 7);
  EXPECT_EQ(e1.Message(), u"plain");
  EXoException e2(u"\"%s\" expected, but \"%s\" found! (%d)", {u">", std::string("ü"), -12}, 2);
  EXPECT_EQ(e2.Message(), u"\">\" expected, but \"ü\" found! (-12)");
  EXPECT_STREQ(e2.what(), "\">\" expected, but \"ü\" found! (-12)");
  EXPECT_EQ(XoFormat(u"%5d|%-4s|%x|%%|%.2f|%s", {42, u"ab", 255u, 3.14159}), u"   42|ab  |ff|%|3.14|%s");
  EXPECT_EQ(XoFormat(u"%d %s", {INT64_MIN, UINT64_MAX}), u"-9223372036854775808 18446744073709551615");
  EXPECT_EQ(XoFormat(u"100%", {}), u"100%");
  try {
    XoAssert(false, u"", u"xml/uXoSAX");
    FAIL();
  } catch (const EAssertionFailed& e) {
    EXPECT_EQ(e.Message(), u"Assertion failure (xml/uXoSAX)");
  }
  // The exception hierarchy follows the platform.
  EXPECT_THROW(throw EDivByZero(u"x"), EIntError);
  EXPECT_THROW(throw EFOpenError(u"x"), EStreamError);
}

TEST(Strings, UTF8AndUTF16Conversion) {
  std::u16string all;
  for (char32_t c : {U'a', U'\x7F', U'\x80', U'\x7FF', U'\x800', U'\xFFFF', U'\x10000', U'\x10FFFF'}) {
    if (c > 0xFFFF) {
      all.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      all.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      all.push_back(static_cast<char16_t>(c));
    }
  }
  EXPECT_EQ(XoUTF8ToUTF16(XoUTF16ToUTF8(all)), all);
  EXPECT_EQ(XoUTF16ToUTF8(u"\xD800x"), "\xEF\xBF\xBDx");  // lone surrogate
  // Invalid UTF-8: each maximal invalid subpart is one U+FFFD.
  EXPECT_EQ(XoUTF8ToUTF16("a\xC0\xAF" "b"), u"a\xFFFD\xFFFD" u"b");
  EXPECT_EQ(XoUTF8ToUTF16("\xE2\x82"), u"\xFFFD");
  EXPECT_EQ(XoUTF8ToUTF16("\xF0\x9F\x98"), u"\xFFFD");
  EXPECT_EQ(XoUTF8ToUTF16("\xED\xA0\x80"), u"\xFFFD\xFFFD\xFFFD");
  std::string longAscii(1000, 'x');
  EXPECT_EQ(XoUTF16ToUTF8(XoUTF8ToUTF16(longAscii)), longAscii);
}

TEST(Strings, RandomTextAgreesWithICU) {
  // Runs of ASCII long enough for the wide paths, broken by characters of
  // every UTF-8 length at every offset.
  std::mt19937 rng(7);
  const char16_t pool[] = {u'a', u'\x7F', u'\x80', u'\xFF', u'\x100', u'\x7FF', u'\x800', u'\x2000', u'\xFFFD'};
  for (int round = 0; round < 2000; ++round) {
    std::u16string s;
    size_t n = rng() % 70;
    for (size_t i = 0; i < n; ++i) {
      unsigned r = rng() % 24;
      if (r < 14) {
        s.push_back(static_cast<char16_t>(u'0' + r));
      } else if (r < 23) {
        s.push_back(pool[r - 14]);
      } else {
        s += u"\xD83D\xDE00";
      }
    }
    std::string mine = XoUTF16ToUTF8(s);
    char icu[1024];
    int32_t len = 0;
    UErrorCode err = U_ZERO_ERROR;
    u_strToUTF8(icu, sizeof icu, &len, reinterpret_cast<const UChar*>(s.data()), static_cast<int32_t>(s.size()),
                &err);
    ASSERT_TRUE(U_SUCCESS(err));
    ASSERT_EQ(mine, std::string(icu, static_cast<size_t>(len)));
    ASSERT_EQ(XoUTF8ToUTF16(mine), s);
  }
}

TEST(Strings, Helpers) {
  EXPECT_TRUE(XoSameText(u"Encoding", u"ENCODING"));
  EXPECT_FALSE(XoSameText(u"é", u"É"));  // only ASCII letters fold
  EXPECT_FALSE(XoSameText(u"ab", u"abc"));
  EXPECT_TRUE(XoCharInSet(u'<', TXoCharSet("<>")));
  EXPECT_FALSE(XoCharInSet(u'\x13C', TXoCharSet("<>")));  // 0x13C shares the low byte of '<'
  EXPECT_EQ(XoIf(true, 1, 2), 1);
  EXPECT_EQ(XoIf(false, u"a", u"b"), u"b");
  EXPECT_EQ(XoLeft(u"abc", 2), u"ab");
  EXPECT_EQ(XoLeft(u"abc", 10), u"abc");
  EXPECT_EQ(XoLeft(u"abc", -1), u"");
  EXPECT_EQ(XoPadLeft(u"7", 3, u'0'), u"007");
  EXPECT_EQ(XoPadLeft(u"1234", 3, u'0'), u"1234");
  EXPECT_EQ(XoCharCase(u'é', true), u'É');
  EXPECT_EQ(XoCharCase(u'Q', false), u'q');
  EXPECT_EQ(XoTokenize(u"a,,b;c", u",;"), (std::vector<std::u16string>{u"a", u"", u"b", u"c"}));
  EXPECT_EQ(XoTokenize(u"a,,b;c", u",;", true), (std::vector<std::u16string>{u"a", u"b", u"c"}));
  EXPECT_EQ(Trim(u" \t x y \r\n"), u"x y");
  EXPECT_EQ(Pos(u"lo", u"hello lo"), 4);
  EXPECT_EQ(Pos(u"lo", u"hello lo", 5), 7);
  EXPECT_EQ(IntToHex(255, 4), u"00FF");
}

TEST(Streams, MemoryStringAndFileStreams) {
  TMemoryStream m;
  m.WriteBuffer("abcdef", 6);
  m.SetPosition(2);
  char buf[8] = {};
  EXPECT_EQ(m.Read(buf, 8), 4);
  EXPECT_STREQ(buf, "cdef");
  m.SetSize(2);
  EXPECT_EQ(m.GetSize(), 2);
  EXPECT_EQ(m.GetPosition(), 2);

  const char data[] = "xyz";
  TXoMemoryStream ro(data, 3);
  EXPECT_THROW(ro.WriteBuffer("a", 1), EWriteError);
  EXPECT_THROW(ro.SetSize(1), EStreamError);
  EXPECT_EQ(ro.Memory(), reinterpret_cast<const uint8_t*>(data));  // read in place
  // An owned stream starts empty with room for its initial size, and grows.
  TXoMemoryStream own(4);
  EXPECT_EQ(own.GetSize(), 0);
  own.WriteWord(0x4241);
  own.WriteBuffer("12345", 5);
  EXPECT_EQ(own.GetSize(), 7);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(own.Memory()), 7), "AB12345");

  TXoStringStream s16(u"hé");
  EXPECT_EQ(s16.GetSize(), 4);
  s16.SetPosition(s16.GetSize());
  s16.AddChar(u'€');
  EXPECT_EQ(s16.GetWString(), u"hé€");
  EXPECT_EQ(s16.GetAsUTF8(), "hé€");

  EXPECT_EQ(s16.StringData(1252), "h\xE9\x80");
  EXPECT_EQ(s16.StringData(65001), "hé€");
  s16.AddChar('\xE9');  // an 8-bit character in a UTF-16 stream reads as Latin-1
  EXPECT_EQ(s16.GetWString(), u"hé€é");

  TXoStringStream s1252(1252);
  s1252.AddChar('\xE9');
  EXPECT_EQ(s1252.GetWString(), u"é");
  s1252.Clear();
  s1252.Add(u"é€");
  EXPECT_EQ(s1252.GetDataString(), "\xE9\x80");
  EXPECT_EQ(s1252.GetAsString(), u"é€");
  XoSystemCodePage = 1252;
  EXPECT_EQ(s1252.GetAString(), "\xE9\x80");
  XoSystemCodePage = 65001;
  EXPECT_EQ(s1252.GetAString(), "é€");

  std::string path = ::testing::TempDir() + "xo_stream_test.bin";
  {
    TFileStream f(path, fmCreate);
    f.WriteBuffer("hello", 5);
  }
  {
    TFileStream f(path, fmOpenRead);
    EXPECT_EQ(f.GetSize(), 5);
    TMemoryStream copy;
    copy.CopyFrom(&f, 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(copy.Memory()), 5), "hello");
  }
  std::remove(path.c_str());
  try {
    TFileStream f(std::string("/nonexistent/xo.txt"), fmOpenRead);
    FAIL();
  } catch (const EFOpenError& e) {
    EXPECT_EQ(e.Message().rfind(u"Cannot open file \"/nonexistent/xo.txt\". ", 0), 0u);
  }
}

TEST(Streams, UTF8AdapterAndStdAdapters) {
  TMemoryStream target;
  {
    TXoUTF8StreamAdapter a(&target);
    std::u16string text = u"a𝄞é";
    // Written one byte at a time: half units and split surrogate pairs.
    auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    for (size_t i = 0; i < text.size() * 2; ++i) a.Write(bytes + i, 1);
    a.Add(u"!");
  }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(target.Memory()), target.GetSize()), "a𝄞é!");

  // The mark comes first when asked for, also when nothing else is written.
  TMemoryStream marked;
  { TXoUTF8StreamAdapter a(&marked, true); }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(marked.Memory()), marked.GetSize()), "\xEF\xBB\xBF");
  // UTF-16 content copied through the adapter, as writers of UTF-8 files do.
  TXoStringStream utf16(u"Grüße");
  TMemoryStream out8;
  {
    TXoUTF8StreamAdapter a(&out8, true);
    a.CopyFrom(&utf16, 0);
  }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(out8.Memory()), out8.GetSize()), "\xEF\xBB\xBFGrüße");

  std::istringstream in("stream text");
  TXoStdInStream sin(in);
  TXoTextParser p(&sin, false, 65001);
  EXPECT_EQ(p.PeekStringW(100), u"stream text");

  std::ostringstream out;
  TXoStdOutStream sout(out);
  sout.WriteBuffer("abc", 3);
  EXPECT_EQ(out.str(), "abc");

  TMemoryStream ms;
  {
    TXoStreamBuf buf(&ms);
    std::ostream os(&buf);
    os << "n=" << 42;
  }
  ms.SetPosition(0);
  TXoStreamBuf rbuf(&ms);
  std::istream is(&rbuf);
  std::string word;
  is >> word;
  EXPECT_EQ(word, "n=42");
}

TEST(Encodings, MarksNamesAndConversions) {
  for (auto [bytes, cp, pos] : std::vector<std::tuple<std::string, uint16_t, int64_t>>{
           {"\xEF\xBB\xBFx", 65001, 3}, {"\xFF\xFEx", 1200, 2}, {"<x", 0, 0}, {"\xEF\xBB", 0, 0}, {"", 0, 0}}) {
    TXoMemoryStream s(bytes.data(), static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(XoGetCodePage(&s), cp);
    EXPECT_EQ(s.GetPosition(), pos);
  }
  for (auto [name, cp] : std::vector<std::pair<std::u16string, uint16_t>>{
           {u"UTF-8", 65001}, {u"utf-16", 1200}, {u"Windows-1252", 1252}, {u"windows-1250", 1250},
           {u"ISO-8859-1", 28591}, {u"iso-8859-15", 28605}, {u"latin1", 28591}, {u"Shift_JIS", 932}}) {
    EXPECT_EQ(XoCodePage(name), cp) << XoUTF16ToUTF8(name);
    EXPECT_EQ(XoCodePage(XoCodePage(cp)), cp);
  }
  for (uint16_t cp = 1250; cp <= 1258; ++cp) EXPECT_EQ(XoCodePage(XoCodePage(cp)), cp);
  for (uint16_t cp : {28591, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605})
    EXPECT_EQ(XoCodePage(XoCodePage(cp)), cp);
  EXPECT_THROW(XoCodePage(u"no-such-charset"), EXoException);
  try {
    XoCodePage(static_cast<uint16_t>(4711));
    FAIL();
  } catch (const EXoException& e) {
    EXPECT_EQ(e.Message(), u"Unknown code page 4711");  // the number is a format argument, not the code
    EXPECT_EQ(e.Code(), 0);
  }

  const std::u16string text = u"Grüße, €5";
  for (uint16_t cp : {65001, 1200, 1252}) {
    EXPECT_EQ(TXoEncoding::ConvertA(TXoEncoding::ConvertW(text, cp), cp), text) << cp;
  }
  const std::u16string japanese = u"日本語のテキスト、ｶﾀｶﾅ";
  for (uint16_t cp : {932, 65001, 1200, 51932})
    EXPECT_EQ(TXoEncoding::ConvertA(TXoEncoding::ConvertW(japanese, cp), cp), japanese) << cp;
  EXPECT_EQ(TXoEncoding::ConvertW(u"€", 1252), "\x80");
  EXPECT_EQ(TXoEncoding::ConvertA("\x82\xA0", 932), u"あ");
  EXPECT_EQ(TXoEncoding::ConvertA(TXoEncoding::ConvertW(u"日本", 0), 0), u"日本");  // system = UTF-8
  EXPECT_EQ(TXoEncoding::SingleByteTable(28591)[0xE9], u'é');
}

// ---------------------------------------------------------------------------
// Containers

namespace {
struct TFreeCounter : xo::TObject {
  explicit TFreeCounter(int* ACount) : FCount(ACount) {}
  ~TFreeCounter() override { ++*FCount; }
  int* FCount;
};
}  // namespace

TEST(Containers, ListsKeepOrderAndRefuseBadIndices) {
  xo::TList l;
  int a = 1, b = 2, c = 3;
  l.Add(&a);
  l.Add(&b);
  l.Insert(0, &c);
  EXPECT_EQ(l.IndexOf(&a), 1);
  l.Exchange(0, 2);
  EXPECT_EQ(l.First(), &b);
  l.Move(0, 2);
  EXPECT_EQ(l.Last(), &b);
  EXPECT_EQ(l.Remove(&a), 0);
  EXPECT_EQ(l.Count(), 2);
  EXPECT_EQ(xo_test::MessageOf<xo::EListError>([&] { l.Get(5); }), u"List index out of bounds (5)");

  int freed = 0;
  {
    xo::TObjectList owns;
    owns.Add(new TFreeCounter(&freed));
    owns.Add(new TFreeCounter(&freed));
    xo::TObject* kept = owns.Extract(owns.GetItem(0));
    owns.Delete(0);
    EXPECT_EQ(freed, 1);
    kept->Free();
    owns.Add(new TFreeCounter(&freed));
  }
  EXPECT_EQ(freed, 3);
  xo::TObjectList borrows(false);
  TFreeCounter t(&freed);
  borrows.Add(&t);
  borrows.Clear();
  EXPECT_EQ(freed, 3);
}

TEST(Containers, StringListsSortFindAndSplit) {
  xo::TStringList s;
  s.SetText(u"b=2\r\na=1\nc");
  EXPECT_EQ(s.Count(), 3);
  EXPECT_EQ(s.GetValue(u"A"), u"1");
  EXPECT_EQ(s.Names(0), u"b");
  s.SetValue(u"d", u"4");
  s.SetValue(u"b", u"");
  EXPECT_EQ(s.GetText(), u"a=1\r\nc\r\nd=4\r\n");
  s.SetSorted(true);
  s.Add(u"b");
  s.Add(u"B");  // ignored as a duplicate, ASCII case folded
  EXPECT_EQ(s.GetCommaText(), u"a=1,b,c,d=4");
  int32_t at = -1;
  EXPECT_TRUE(s.Find(u"c", at));
  EXPECT_EQ(at, 2);
  EXPECT_FALSE(s.Find(u"bb", at));
  EXPECT_EQ(at, 2);
  s.SetDuplicates(xo::dupError);
  EXPECT_THROW(s.Add(u"c"), xo::EStringListError);
  xo::TStringList q;
  q.Add(u"x y");
  q.Add(u"say \"hi\"");
  EXPECT_EQ(q.GetCommaText(), u"\"x y\",\"say \"\"hi\"\"\"");
}
