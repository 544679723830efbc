// Tests of the JSON scanner, the JSON reader and the form URL-encoded reader.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

#include "uXoJSON.h"
#include "xo_test_support.h"

using namespace xo;

namespace {

// Records the events as short tokens: SD SO SM(name) SA V<type>(text) EA EM
// EO ED, separated by blanks.
class TRec : public TXoObject, public virtual IXoJSONContentHandler, public virtual IXoJSONErrorHandler {
public:
  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>&) override {}
  void StartDocument() override { Add("SD"); }
  void StartObject() override { Add("SO"); }
  void StartMember(const XoJSONString& AName) override { Add("SM(" + XoUTF16ToUTF8(AName) + ")"); }
  void StartArray() override { Add("SA"); }
  void Value(TXoJSONDataType AType, const XoJSONString& AValue) override {
    ++Values;
    if (Quiet) return;
    Add("V" + std::to_string(AType) + "(" + XoUTF16ToUTF8(AValue) + ")");
    if (OnValue) OnValue(AValue);
  }
  void EndArray() override { Add("EA"); }
  void EndMember() override { Add("EM"); }
  void EndObject() override { Add("EO"); }
  void EndDocument() override { Add("ED"); }
  void Warning(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override { Add("WARNING"); }
  void Error(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override { Add("ERROR"); }
  void FatalError(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& AMsg) override {
    ++Fatal;
    FatalMsg = AMsg;
    FatalLine = ALocator->GetLineNr();
    FatalCol = ALocator->GetColNr();
  }

  void Add(const std::string& AToken) {
    ++Events;
    if (Quiet) return;
    if (!Out.empty()) Out += ' ';
    Out += AToken;
  }

  std::string Out;
  bool Quiet = false;
  int64_t Events = 0, Values = 0;
  int Fatal = 0;
  XoJSONString FatalMsg;
  int64_t FatalLine = -2, FatalCol = -2;
  std::function<void(const XoJSONString&)> OnValue;
};

struct TRun {
  std::string Events;
  bool Failed = false;
  std::string Class;  // class of the exception
  int32_t Code = -1;
  std::u16string Message;
  int Fatal = 0;
};

// Runs a reader over bytes in a code page and collects what happened.
TRun Read(const std::string& AText, uint16_t ACodePage = 65001, bool AForm = false) {
  TRun r;
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  std::unique_ptr<TXoJSONReader> reader(AForm ? new TXoFormURLEncodedJSONReader : new TXoJSONReader);
  reader->SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  reader->SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(rec));
  try {
    reader->Parse(AText, ACodePage);
  } catch (const EXoException& e) {
    r.Failed = true;
    r.Class = XoUTF16ToUTF8(e.ClassName());
    r.Code = e.Code();
    r.Message = e.Message();
  } catch (const Exception& e) {
    r.Failed = true;
    r.Class = XoUTF16ToUTF8(e.ClassName());
    r.Message = e.Message();
  }
  r.Events = rec->Out;
  r.Fatal = rec->Fatal;
  if (r.Failed) {
    EXPECT_EQ(rec->Fatal, 1) << AText;
    EXPECT_EQ(rec->FatalMsg, r.Message) << AText;
  } else {
    EXPECT_EQ(rec->Fatal, 0) << AText;
  }
  return r;
}

std::string Events(const std::string& AText) {
  TRun r = Read(AText);
  EXPECT_FALSE(r.Failed) << AText << ": " << XoUTF16ToUTF8(r.Message);
  return r.Events;
}

std::u16string NotWellFormed(std::u16string_view AExpected, std::u16string_view AFound) {
  return XoFormat(_cXoJSONNotWellFormed, {AExpected, AFound});
}

// Checks a refusal: code 2 with the expected and found texts.
void ExpectRefused(const std::string& AText, std::u16string_view AExpected, std::u16string_view AFound) {
  TRun r = Read(AText);
  EXPECT_TRUE(r.Failed) << AText;
  EXPECT_EQ(r.Class, "EXoJSONParseError") << AText;
  EXPECT_EQ(r.Code, 2) << AText;
  EXPECT_EQ(r.Message, NotWellFormed(AExpected, AFound)) << AText;
  EXPECT_EQ(r.Events.find("ED"), std::string::npos) << AText;
}

void ExpectTruncated(const std::string& AText) {
  TRun r = Read(AText);
  EXPECT_TRUE(r.Failed) << AText;
  EXPECT_EQ(r.Class, "EXoTextParserEOF") << AText;
  EXPECT_EQ(r.Events.find("ED"), std::string::npos) << AText;
}

}  // namespace

TEST(JSONReader, EventsOfEveryKind) {
  EXPECT_EQ(Events(R"({"a":[1,true,null,"x\"y",false],"b":{},"c":-1.5e3})"),
            "SD SO SM(a) SA V2(1) V3(true) V0(null) V1(x\\\"y) V3(false) EA EM SM(b) SO EO EM "
            "SM(c) V2(-1.5e3) EM EO ED");
  // Blanks and line ends between tokens, also in front of the document.
  EXPECT_EQ(Events("\r\n\t {\n \"a\" :\n [ 1 , 2 ] \n}\n"), "SD SO SM(a) SA V2(1) V2(2) EA EM EO ED");
  EXPECT_EQ(Events(""), "SD ED");
  EXPECT_EQ(Events("  "), "SD ED");
}

TEST(JSONReader, ToleratedForms) {
  EXPECT_EQ(Events("[1,2,]"), "SD SA V2(1) V2(2) EA ED");
  EXPECT_EQ(Events("{a:1}"), "SD SO EO ED");
  EXPECT_EQ(Events("{'a':1}"), "SD SO EO ED");
  EXPECT_EQ(Events(R"({"a" x : 1})"), "SD SO SM(a) V2(1) EM EO ED");
  EXPECT_EQ(Events(R"({"a":1 "b":2})"), "SD SO SM(a) V2(1) EM EO ED");
  EXPECT_EQ(Events("[1 2]"), "SD SA V2(1) EA ED");
  EXPECT_EQ(Events("[[],[[]],{}]"), "SD SA SA EA SA SA EA EA SO EO EA ED");
  // Scalar documents.
  EXPECT_EQ(Events("12"), "SD V2(12) ED");
  EXPECT_EQ(Events(R"("abc")"), "SD V1(abc) ED");
  // A string that never closes ends with the text: alone it is the whole
  // document; inside a container or as a name the container is cut off.
  EXPECT_EQ(Events(R"("abc)"), "SD V1(abc) ED");
  EXPECT_EQ(Events(R"("a\u12)"), "SD V1(a\\u12) ED");
  ExpectTruncated(R"({"ab)");
  EXPECT_EQ(Events("true"), "SD V3(true) ED");
  EXPECT_EQ(Events("null"), "SD V0(null) ED");
  // The character behind a literal is stepped over unseen.
  EXPECT_EQ(Events("true,"), "SD V3(true) ED");
  EXPECT_EQ(Events("truex"), "SD V3(true) ED");
  // After a number everything up to a delimiter is skipped; numbers are not
  // checked.
  EXPECT_EQ(Events("12abc"), "SD V2(12) ED");
  EXPECT_EQ(Events("12 abc"), "SD V2(12) ED");
  EXPECT_EQ(Events("1]"), "SD V2(1) ED");
  EXPECT_EQ(Events("[1-2,e,+.5E]"), "SD SA V2(1-2) V2(e) V2(+.5E) EA ED");
  // Several values at the top level, one document.
  EXPECT_EQ(Events("{}{}"), "SD SO EO SO EO ED");
  EXPECT_EQ(Events("[][1]"), "SD SA EA SA V2(1) EA ED");
  EXPECT_EQ(Events("{} "), "SD SO EO ED");
  EXPECT_EQ(Events("[]\r\n"), "SD SA EA ED");
  // Comment text between tokens passes as skipped text.
  EXPECT_EQ(Events(R"({"a":1 /* c */, "b":2})"), "SD SO SM(a) V2(1) EM SM(b) V2(2) EM EO ED");
}

TEST(JSONReader, RefusedForms) {
  ExpectRefused("[,1]", _cXoJSONExpectedValue, u",");
  ExpectRefused(R"({"a":1,})", u"\"", u"");
  ExpectRefused(R"({"a":1,)", u"\"", u"");
  ExpectRefused(R"({"a":})", _cXoJSONExpectedValue, u"}");
  ExpectRefused("[/* c */ 1]", _cXoJSONExpectedValue, u"/");
  ExpectRefused("true x", u"", u"x");
  ExpectRefused("truexx", u"", u"x");
  ExpectRefused("1,2", u"", u"2");
  ExpectRefused("{}}", _cXoJSONExpectedValue, u"}");
  ExpectRefused("[tru]", u"e", u"]");
  ExpectRefused("[nul", u"l", u"");
  ExpectRefused("xyz", _cXoJSONExpectedValue, u"x");
  ExpectRefused(R"(["a\qb"])", _cXoJSONExpectedEscape, u"q");
  // The found character is one whole character.
  ExpectRefused("[\xC3\xA9]", _cXoJSONExpectedValue, u"\u00E9");
  // Events before the failure stand.
  TRun r = Read(R"({"a":[1,x]})");
  EXPECT_EQ(r.Events, "SD SO SM(a) SA V2(1)");
}

TEST(JSONReader, TruncatedTextIsAnError) {
  for (const char* text : {"{", "[", "[1", "[1,", R"({"a")", R"({"a":)", R"({"a":1)", R"({"a":[1,2])",
                           "[[[[", R"(["abc)", R"(["a\)", R"(["\u12)"})
    ExpectTruncated(text);
  // The locator says nothing after an unexpected end.
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  TXoJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(rec));
  EXPECT_THROW(reader.Parse(std::u16string(u"[1,\n2")), EXoTextParserEOF);
  EXPECT_TRUE(reader.GetUnexpectedEOF());
  EXPECT_EQ(rec->FatalLine, -1);
  EXPECT_EQ(rec->FatalCol, -1);
  // Another failure reports its position.
  EXPECT_THROW(reader.Parse(std::u16string(u"[1,\n  x]")), EXoJSONParseError);
  EXPECT_FALSE(reader.GetUnexpectedEOF());
  EXPECT_EQ(rec->FatalLine, 2);
  EXPECT_EQ(rec->FatalCol, 3);
}

TEST(JSONReader, StringsStayAsWritten) {
  EXPECT_EQ(Events(R"(["\u123"])"), "SD SA V1(\\u123) EA ED");
  // The quote in the third place behind the "u" is run over.
  EXPECT_EQ(Events(R"(["\u12"x", 1])"), "SD SA V1(\\u12\"x) V2(1) EA ED");
  EXPECT_EQ(Events(R"(["\\", "\/\b\f\n\r\t\u00e9"])"), "SD SA V1(\\\\) V1(\\/\\b\\f\\n\\r\\t\\u00e9) EA ED");
  // Raw control characters and member names with escapes.
  EXPECT_EQ(Events("[\"a\tb\x01\"]"), "SD SA V1(a\tb\x01) EA ED");
  EXPECT_EQ(Events(R"({"a\nb":1})"), "SD SO SM(a\\nb) V2(1) EM EO ED");
  EXPECT_EQ(Events("[\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"]"), "SD SA V1(\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80) EA ED");
  // Invalid UTF-8 is decoded to U+FFFD, a NUL byte stays a character.
  EXPECT_EQ(Events(std::string("[\"a\xFF", 4) + std::string("\0b\"]", 4)),
            std::string("SD SA V1(a\xEF\xBF\xBD") + std::string("\0b) EA ED", 9));
  // Long strings take the block scan.
  std::string longText(100000, 'x');
  longText[50000] = '\\';
  longText[50001] = '"';
  EXPECT_EQ(Events("[\"" + longText + "\"]"), "SD SA V1(" + longText + ") EA ED");
}

TEST(JSONReader, EncodingDetection) {
  // UTF-16 by its zero bytes, also in a single-byte code page.
  EXPECT_EQ(Read(std::string("{\0}\0", 4), 1252).Events, "SD SO EO ED");
  EXPECT_EQ(Read(std::string("[\0\"\0\xE9\0\"\0]\0", 10), 0).Events, "SD SA V1(\xC3\xA9) EA ED");
  EXPECT_EQ(Read(std::string("1\0", 2), 0).Events, "SD V2(1) ED");
  // UTF-8 otherwise, whatever single-byte code page is given.
  EXPECT_EQ(Read("[\"\xC3\xA9\"]", 1252).Events, "SD SA V1(\xC3\xA9) EA ED");
  EXPECT_EQ(Read("[1]", 0).Events, "SD SA V2(1) EA ED");
  EXPECT_EQ(Read("7", 0).Events, "SD V2(7) ED");
  // Byte-order marks.
  EXPECT_EQ(Read("\xEF\xBB\xBF[1]", 0).Events, "SD SA V2(1) EA ED");
  EXPECT_EQ(Read("\xEF\xBB\xBF[1]", 65001).Events, "SD SA V2(1) EA ED");
  EXPECT_EQ(Read(std::string("\xFF\xFE[\0" "1\0]\0", 8), 0).Events, "SD SA V2(1) EA ED");
  // UTF-32 and UTF-16 big endian are refused before any event.
  for (const std::string& text : {std::string("\0\0\0[", 4), std::string("\0[\0]", 4), std::string("[\0\0\0", 4),
                                  std::string("\xFE\xFF\0[", 4)}) {
    TRun r = Read(text, 0);
    EXPECT_TRUE(r.Failed);
    EXPECT_EQ(r.Message, _SEncodingNotSupported);
    EXPECT_EQ(r.Events, "");
  }
  // Text handed over as UTF-16.
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  TXoJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(rec));
  reader.Parse(std::u16string(u"{\"\u20AC\":[\"\U0001F600\"]}"), u"id");
  EXPECT_EQ(rec->Out, "SD SO SM(\xE2\x82\xAC) SA V1(\xF0\x9F\x98\x80) EA EM EO ED");
  EXPECT_EQ(reader.GetPublicID(), u"id");
}

TEST(JSONReader, EntryPoints) {
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  TXoJSONReader reader;
  // Both handlers are required, before anything is read, and the failure is
  // no parse failure.
  EXPECT_EQ(xo_test::MessageOf<EXoJSONException>([&] { reader.Parse(std::u16string(u"[")); }),
            u"No contenthandler has been assigned!");
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  try {
    reader.Parse(std::u16string(u"["));
    ADD_FAILURE();
  } catch (const EXoJSONException& e) {
    EXPECT_EQ(e.Code(), 4);
    EXPECT_EQ(e.Message(), u"No errorhandler has been assigned!");
  }
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(rec));
  EXPECT_EQ(rec->Out, "");
  EXPECT_EQ(reader.GetLineNr(), -1);

  // A buffer, a stream that cannot seek, a file and a pipe give the same events.
  const std::string text = "\xEF\xBB\xBF{\"k\":[1,\"v\"]}";
  const std::string want = "SD SO SM(k) SA V2(1) V1(v) EA EM EO ED";
  reader.ParseBuffer(text.data(), static_cast<int64_t>(text.size()), 0, u"buf");
  EXPECT_EQ(rec->Out, want);
  rec->Out.clear();
  std::istringstream in(text);
  TXoStdInStream stream(in);
  reader.ParseStream(&stream, 0, u"stream");
  EXPECT_EQ(rec->Out, want);
  rec->Out.clear();

  char dir[] = "/tmp/xo_jsonXXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::string file = std::string(dir) + "/a.json";
  std::ofstream(file, std::ios::binary) << text;
  reader.ParseFile(XoUTF8ToUTF16(file));
  EXPECT_EQ(rec->Out, want);
  rec->Out.clear();
  const std::string fifo = std::string(dir) + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(fifo, std::ios::binary) << text; });
  reader.ParseFile(XoUTF8ToUTF16(fifo));
  writer.join();
  EXPECT_EQ(rec->Out, want);
  rec->Out.clear();

  // A missing file is reported to the error handler too.
  EXPECT_THROW(reader.ParseFile(XoUTF8ToUTF16(std::string(dir) + "/missing.json")), EFOpenError);
  EXPECT_EQ(rec->Fatal, 1);
  std::remove(file.c_str());
  std::remove(fifo.c_str());
  rmdir(dir);
  EXPECT_EQ(reader.Parser(), nullptr);
}

TEST(JSONReader, HandlerFailuresAndLocator) {
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  TXoJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(rec));
  std::vector<std::pair<int64_t, int64_t>> where;
  rec->OnValue = [&](const XoJSONString& AValue) {
    where.emplace_back(reader.GetLineNr(), reader.GetColNr());
    if (AValue == u"stop") throw EConvertError(u"handler says no");
  };
  reader.Parse(std::string("[1,\n  \"\xC3\xA9\", 2]"), 65001);
  ASSERT_EQ(where.size(), 3u);
  EXPECT_EQ(where[0], (std::pair<int64_t, int64_t>(1, 3)));  // behind the number
  EXPECT_EQ(where[1], (std::pair<int64_t, int64_t>(2, 5)));  // on the closing quote
  EXPECT_EQ(where[2], (std::pair<int64_t, int64_t>(2, 9)));
  // An exception of a handler is told to FatalError and raised unchanged.
  EXPECT_THROW(reader.Parse(std::u16string(u"[\"stop\", 1]")), EConvertError);
  EXPECT_EQ(rec->Fatal, 1);
  EXPECT_EQ(rec->FatalMsg, u"handler says no");
  // A foreign exception leaves as an xo exception.
  rec->OnValue = [](const XoJSONString&) { throw std::runtime_error("foreign"); };
  try {
    reader.Parse(std::u16string(u"[1]"));
    ADD_FAILURE();
  } catch (const EXoException& e) {
    EXPECT_EQ(e.Message(), u"foreign");
  }
  EXPECT_EQ(rec->Fatal, 2);
}

TEST(JSONReader, DeepNestingUsesNoMachineStack) {
  const int depth = 100000;
  std::string text = std::string(depth, '[') + "1" + std::string(depth, ']');
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  rec->Quiet = true;
  TXoJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(rec));
  reader.Parse(text, 65001);
  EXPECT_EQ(rec->Events, 2 * depth + 2);
  EXPECT_EQ(rec->Values, 1);
  std::string objects;
  for (int i = 0; i < depth; ++i) objects += "{\"a\":";
  objects += "1" + std::string(depth, '}');
  rec->Events = 0;
  reader.Parse(objects, 65001);
  EXPECT_EQ(rec->Events, 4 * depth + 2);
  // Cut off deep inside: refused, not crashed.
  EXPECT_THROW(reader.Parse(std::string(depth, '['), 65001), EXoTextParserEOF);
}

// ===========================================================================
// Form URL-encoded text

namespace {

std::string Form(const std::string& AText) {
  TRun r = Read(AText, 65001, true);
  EXPECT_FALSE(r.Failed) << AText << ": " << XoUTF16ToUTF8(r.Message);
  return r.Events;
}

// The form events between the outer object's events.
std::string FormInner(const std::string& AText) {
  std::string e = Form(AText);
  const std::string head = "SD SO", tail = "EO ED";
  EXPECT_EQ(e.substr(0, head.size()), head) << AText;
  EXPECT_EQ(e.substr(e.size() - tail.size()), tail) << AText;
  if (e.size() <= head.size() + tail.size() + 1) return "";
  return e.substr(head.size() + 1, e.size() - head.size() - tail.size() - 2);
}

}  // namespace

TEST(FormReader, NamesBecomeObjectsAndArrays) {
  EXPECT_EQ(FormInner("a=1&b=2"), "SM(a) V1(1) EM SM(b) V1(2) EM");
  EXPECT_EQ(FormInner("a[x]=1&a[y]=2"), "SM(a) SO SM(x) V1(1) EM SM(y) V1(2) EM EO EM");
  EXPECT_EQ(FormInner("a[]=1&a[]=2"), "SM(a) SA V1(1) V1(2) EA EM");
  EXPECT_EQ(FormInner("a[0][x]=1&a[0][y]=2&a[1][x]=3"),
            "SM(a) SA SO SM(x) V1(1) EM SM(y) V1(2) EM EO SO SM(x) V1(3) EM EO EA EM");
  EXPECT_EQ(FormInner("a[x][y]=1&b=2"), "SM(a) SO SM(x) SO SM(y) V1(1) EM EO EM EO EM SM(b) V1(2) EM");
  EXPECT_EQ(FormInner("a=1&a=2"), "SM(a) V1(1) EM SM(a) V1(2) EM");
  EXPECT_EQ(FormInner("a%5Bx%5D=1"), "SM(a) SO SM(x) V1(1) EM EO EM");
  EXPECT_EQ(FormInner("a[0]=x&a[1]=y"), "SM(a) SA V1(x) V1(y) EA EM");
  // An index that does not continue the array starts another one.
  EXPECT_EQ(FormInner("a[0]=x&a[2]=y"), "SM(a) SA V1(x) EA SA V1(y) EA EM");
}

TEST(FormReader, TextRules) {
  // "_" alone ends the text; in first place "_=1" is a member.
  EXPECT_EQ(FormInner("a=1&_=123&b=2"), "SM(a) V1(1) EM");
  EXPECT_EQ(FormInner("_=1"), "SM(_) V1(1) EM");
  EXPECT_EQ(FormInner("_"), "");
  EXPECT_EQ(FormInner(""), "");
  EXPECT_EQ(FormInner("a=1&"), "SM(a) V1(1) EM");
  // Percent and plus decoding; control characters vanish; the value is
  // escaped for JSON.
  EXPECT_EQ(FormInner("a=%C3%A9"), "SM(a) V1(\xC3\xA9) EM");
  EXPECT_EQ(FormInner("a=%E2%82%AC"), "SM(a) V1(\\u20AC) EM");
  EXPECT_EQ(FormInner("a=%0D%0Ab"), "SM(a) V1(b) EM");
  EXPECT_EQ(FormInner("a=1+2"), "SM(a) V1(1 2) EM");
  EXPECT_EQ(FormInner("a=b%26c"), "SM(a) V1(b&c) EM");
  EXPECT_EQ(FormInner("a=x/y%22"), "SM(a) V1(x\\/y\\\") EM");
  EXPECT_EQ(FormInner("a=x\r\ny"), "SM(a) V1(xy) EM");
  EXPECT_EQ(FormInner("na%20me=1"), "SM(na me) V1(1) EM");
  EXPECT_EQ(FormInner("a&b=2"), "SM(a&b) V1(2) EM");
  // JSON values are delivered unchanged.
  EXPECT_EQ(FormInner("a={\"x\":1}&b=[1,2]"), "SM(a) V1({\"x\":1}) EM SM(b) V1([1,2]) EM");
}

TEST(FormReader, Failures) {
  TRun r = Read("abc", 65001, true);
  EXPECT_TRUE(r.Failed);
  EXPECT_EQ(r.Message, XoFormat(_cXoJSONFormBracketExpected, {u""}));
  EXPECT_EQ(r.Fatal, 1);
  r = Read("a]x=1", 65001, true);
  EXPECT_EQ(r.Message, XoFormat(_cXoJSONFormBracketExpected, {u"]x="}));
  r = Read("a=%C3x", 65001, true);
  EXPECT_EQ(r.Message, _cXoJSONInvalidUTF8);
  r = Read("a=%G1", 65001, true);
  EXPECT_EQ(r.Class, "EConvertError");
  // The form reader needs no error handler.
  auto* rec = new TRec;
  TIntfPtr<TRec> keep(rec);
  TXoFormURLEncodedJSONReader reader;
  EXPECT_THROW(reader.Parse(std::string("a=1"), 65001), EXoJSONException);
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(rec));
  reader.Parse(std::string("a=1"), 65001);
  EXPECT_EQ(rec->Out, "SD SO SM(a) V1(1) EM EO ED");
  EXPECT_THROW(reader.Parse(std::string("a]"), 65001), Exception);
  // Form text in UTF-16.
  rec->Out.clear();
  reader.Parse(std::u16string(u"k[]=\u00E9&k[]=2"));
  EXPECT_EQ(rec->Out, "SD SO SM(k) SA V1(\xC3\xA9) V1(2) EA EM EO ED");
}
