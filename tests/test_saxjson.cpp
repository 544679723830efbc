// Tests of JSON read as XML events (TXoSAXJSONReader) and of the SAX parser
// component (TXoSAXParser), which picks the reader by the first character.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "uXoSAX.h"
#include "xo_test_support.h"

using namespace xo;

namespace {

std::string U8(const std::u16string& s) { return XoUTF16ToUTF8(s); }

// Records the events compactly: "<name a=v ...>" for a start with each
// attribute as qname{uri}=value, "text" for characters, "</name>" for an end,
// "[" and "]" for the document. Fatal errors are counted.
class TRec : public TXoObject,
             public virtual IXoSAXContentHandler,
             public virtual IXoSAXLexicalHandler,
             public virtual IXoSAXErrorHandler {
public:
  TRec() { SetAutoDestroy(false); }
  std::vector<std::string> Ev;
  int Fatal = 0;
  int64_t FatalLine = -2, FatalCol = -2;
  std::u16string FatalMsg;

  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) override { Ev.push_back("locator"); }
  void Characters(const XoXMLString& AText) override { Ev.push_back("'" + U8(AText) + "'"); }
  void EndDocument() override { Ev.push_back("]"); }
  void EndElement(const XoXMLString& AURI, const XoXMLString& ALocal, const XoXMLString& AQName) override {
    EXPECT_TRUE(AURI.empty());
    EXPECT_EQ(ALocal, AQName);
    Ev.push_back("</" + U8(AQName) + ">");
  }
  void EndPrefixMapping(const XoXMLString&) override { Ev.push_back("endprefix"); }
  void IgnorableWhitespace(const XoXMLString&) override { Ev.push_back("ws"); }
  void ProcessingInstruction(const XoXMLString&, const XoXMLString&) override { Ev.push_back("pi"); }
  void SkippedEntity(const XoXMLString&) override {}
  void StartDocument() override { Ev.push_back("["); }
  void StartElement(const XoXMLString& AURI, const XoXMLString& ALocal, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& AAttrs) override {
    EXPECT_TRUE(AURI.empty());
    EXPECT_EQ(ALocal, AQName);
    std::string s = "<" + U8(AQName);
    for (PXoSAXXMAttribute a = AAttrs->FirstAttribute(); a; a = a->Next)
      s += " " + U8(a->QName) + "{" + U8(a->URI) + "}" + U8(a->LocalName) + "=" + U8(a->Value);
    Ev.push_back(s + ">");
  }
  void StartPrefixMapping(const XoXMLString&, const XoXMLString&) override { Ev.push_back("prefix"); }
  void Comment(const XoXMLString&) override {}
  void StartCDATA() override {}
  void StartDTD() override {}
  void StartEntity(const XoXMLString&) override {}
  void EndCDATA() override {}
  void EndDTD() override {}
  void EndEntity(const XoXMLString&) override {}
  void Warning(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void Error(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& AMsg) override {
    ++Fatal;
    FatalMsg = AMsg;
    FatalLine = ALocator->GetLineNr();
    FatalCol = ALocator->GetColNr();
  }
};

const std::string kXSI = "http://www.w3.org/2001/XMLSchema-instance";
const std::string kXSD = "http://www.w3.org/2001/XMLSchema";
const std::string kRootAttrs = " xmlns:xsi{}xsi=" + kXSI + " xmlns:xsd{}xsd=" + kXSD;
const std::string kNum = " xsd:type{" + kXSD + "}type=decimal";
const std::string kStr = " xsd:type{" + kXSD + "}type=string";
const std::string kBool = " xsd:type{" + kXSD + "}type=boolean";
const std::string kNil = " xsi:nil{" + kXSI + "}nil=true";

// The events of a JSON text; the events in one string joined by blanks.
std::string Events(const std::u16string& AText, TRec* ARec = nullptr) {
  TRec local;
  TRec& rec = ARec ? *ARec : local;
  TXoSAXJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(&rec));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(&rec));
  std::string fail;
  try {
    reader.Parse(AText);
  } catch (const EXoJSONParseError& e) {
    fail = " !" + U8(e.Message());
    EXPECT_EQ(e.Code(), 2);
  } catch (const EXoTextParserEOF&) {
    fail = " !EOF";
  }
  std::string r;
  for (const auto& e : rec.Ev) r += (r.empty() ? "" : " ") + e;
  if (!fail.empty()) {
    EXPECT_EQ(rec.Fatal, 1) << r;
  }
  return r + fail;
}

std::string NotWF(const std::string& AExpected, const std::string& AFound) {
  return " !The document is not wellformed!\r\n\"" + AExpected + "\" expected, but \"" + AFound + "\" found!";
}

}  // namespace

TEST(SAXJSONReader, MapsMembersValuesAndTypes) {
  EXPECT_EQ(Events(uR"({"a":1,"b":"x","c":true,"d":null})"),
            "[ <object" + kRootAttrs + "> <a" + kNum + "> '1' </a> <b" + kStr + "> 'x' </b> <c" + kBool +
                "> 'true' </c> <d" + kNil + "> 'null' </d> </object> ]");
  EXPECT_EQ(Events(uR"({"a":[1,2]})"),
            "[ <object" + kRootAttrs + "> <aArray> <a" + kNum + "> '1' </a> <a" + kNum + "> '2' </a> </aArray> </object> ]");
  EXPECT_EQ(Events(u"[1,2]"),
            "[ <array" + kRootAttrs + "> <array" + kNum + "> '1' </array> <array" + kNum + "> '2' </array> </array> ]");
  EXPECT_EQ(Events(uR"([{"a":1}])"),
            "[ <array" + kRootAttrs + "> <array> <a" + kNum + "> '1' </a> </array> </array> ]");
  EXPECT_EQ(Events(uR"({"a":{"b":1}})"),
            "[ <object" + kRootAttrs + "> <a> <b" + kNum + "> '1' </b> </a> </object> ]");
  // Nested arrays keep the name of the one around them.
  EXPECT_EQ(Events(u"[[1]]"),
            "[ <array" + kRootAttrs + "> <arrayArray> <array" + kNum + "> '1' </array> </arrayArray> </array> ]");
  EXPECT_EQ(Events(uR"({"m":[[true],[]],"o":{},"e":[]})"),
            "[ <object" + kRootAttrs + "> <mArray> <mArray> <m" + kBool + "> 'true' </m> </mArray> <mArray> </mArray> </mArray>" +
                " <o> </o> <eArray> </eArray> </object> ]");
  // Tokens as written: escapes and the form of numbers are not touched.
  EXPECT_EQ(Events(uR"({"a":"x\ny","n":-1.5e3,"u":"\u00e9"})"),
            "[ <object" + kRootAttrs + "> <a" + kStr + "> 'x\\ny' </a> <n" + kNum + "> '-1.5e3' </n> <u" + kStr +
                "> '\\u00e9' </u> </object> ]");
}

TEST(SAXJSONReader, FitsMemberNamesForXML) {
  auto name = [](const std::u16string& AJSON) {
    std::string ev = Events(AJSON);
    size_t a = ev.find("> <") + 3;
    return ev.substr(a, ev.find_first_of(" >", a) - a);
  };
  EXPECT_EQ(name(uR"({"a b":1})"), "a_b");
  EXPECT_EQ(name(uR"({"1a":1})"), "_1a");
  EXPECT_EQ(name(uR"({"":1})"), "_");
  EXPECT_EQ(name(uR"({"a:b":1})"), "a_b");
  EXPECT_EQ(name(uR"({"a\nb":1})"), "a_nb");
  EXPECT_EQ(name(uR"({"-x.y·z":1})"), "_-x.y·z");
  EXPECT_EQ(name(u"{\"a\U0001F600b\":1}"), "a__b");  // two halves of a pair
  EXPECT_EQ(name(uR"({"é":{"k":1}})"), "é");
  EXPECT_EQ(name(uR"({"a b":[1]})"), "a_bArray");
}

TEST(SAXJSONReader, TopLevelAndTolerances) {
  // No top-level simple values: StartDocument, then the report.
  for (const char16_t* t : {u"12", u"\"a\"", u"true", u"", u"   "}) EXPECT_EQ(Events(t), "[" + NotWF("", "")) << U8(t);
  // Text in front of the first brace is passed over.
  EXPECT_EQ(Events(uR"(abc {"a":1})"), "[ <object" + kRootAttrs + "> <a" + kNum + "> '1' </a> </object> ]");
  EXPECT_EQ(Events(u"{}{}"), "[ <object" + kRootAttrs + "> </object> ]");
  EXPECT_EQ(Events(u"[1][2]"),
            "[ <array" + kRootAttrs + "> <array" + kNum + "> '1' </array> <array" + kNum + "> '2' </array> </array> ]");
  EXPECT_EQ(Events(uR"({"a":1}[2])"),
            "[ <object" + kRootAttrs + "> <a" + kNum + "> '1' </a> <object" + kNum + "> '2' </object> </object> ]");
  EXPECT_EQ(Events(u"{}x"), "[ <object" + kRootAttrs + "> </object> ]");
  EXPECT_EQ(Events(u"{} \r\n"), "[ <object" + kRootAttrs + "> </object> ]");
  EXPECT_EQ(Events(u"{}xy"), "[ <object" + kRootAttrs + ">" + NotWF("", "y"));
  EXPECT_EQ(Events(u"[1,]"), "[ <array" + kRootAttrs + "> <array" + kNum + "> '1' </array> </array> ]");
  EXPECT_EQ(Events(uR"({"a":1 "b":2})"), "[ <object" + kRootAttrs + "> <a" + kNum + "> '1' </a> </object> ]");
  EXPECT_EQ(Events(u"{a:1}"), "[ <object" + kRootAttrs + "> </object> ]");
  EXPECT_EQ(Events(uR"({"a":1,})"), "[ <object" + kRootAttrs + "> <a" + kNum + "> '1' </a>" + NotWF("\"", ""));
  EXPECT_EQ(Events(uR"({"a":})"), "[ <object" + kRootAttrs + ">" + NotWF("\", t, f, n, 0..9, ., + or -", "}"));
  EXPECT_EQ(Events(uR"({"a":tru})"), "[ <object" + kRootAttrs + ">" + NotWF("e", "}"));
  EXPECT_EQ(Events(uR"(["a\qb"])"), "[ <array" + kRootAttrs + ">" + NotWF("\", \\, /, b, f, n, r, t or u", "q"));
  // Cut off inside an object, an array or a string: an unexpected end, and
  // the locator answers -1 as the JSON reader's does.
  TRec rec;
  EXPECT_EQ(Events(u"[1, {\"a\":[2", &rec), "[ <array" + kRootAttrs + "> <array" + kNum +
                                                  "> '1' </array> <array> <aArray> <a" + kNum + "> '2' </a> !EOF");
  EXPECT_EQ(rec.FatalMsg, u"Unexpected end of input!");
  EXPECT_EQ(rec.FatalLine, -1);
  // A string that never closes ends with the text; the object it stands in
  // is what is cut off.
  EXPECT_EQ(Events(uR"({"a":"x)"),
            "[ <object" + kRootAttrs + "> <a xsd:type{http://www.w3.org/2001/XMLSchema}type=string> 'x' </a> !EOF");
}

TEST(SAXJSONReader, HandlersLocatorAndEncodings) {
  TRec rec;  // outlives the reader, which holds it
  TXoSAXJSONReader reader;
  EXPECT_EQ(xo_test::MessageOf<EXoJSONException>([&] { reader.Parse(u"{}"); }),
            u"No contenthandler has been assigned!");
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(&rec));
  try {
    reader.Parse(u"{}");
    FAIL();
  } catch (const EXoJSONException& e) {
    EXPECT_EQ(e.Message(), u"No errorhandler has been assigned!");
    EXPECT_EQ(e.Code(), 4);
  }
  EXPECT_TRUE(rec.Ev.empty());
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(&rec));
  // The locator during a failure points at the character found.
  rec.Ev.clear();
  EXPECT_THROW(reader.Parse(u"{\"a\":\n  x}"), EXoJSONParseError);
  EXPECT_EQ(rec.FatalLine, 2);
  EXPECT_EQ(rec.FatalCol, 3);
  // UTF-8 bytes with a mark, UTF-16 found by its zero bytes, a buffer.
  rec.Ev.clear();
  reader.Parse(RawByteString("\xEF\xBB\xBF{\"\xC3\xA9\":\"\xC3\xA9\"}"), 0);
  EXPECT_EQ(rec.Ev[2], "<é" + kStr + ">");
  EXPECT_EQ(rec.Ev[3], "'é'");
  rec.Ev.clear();
  const char utf16[] = "[\0" "1\0" "]\0";
  reader.ParseBuffer(utf16, 6, 0);
  EXPECT_EQ(rec.Ev[3], "'1'");
  // A handler that raises ends the parse through FatalError.
  struct TThrow : TRec {
    void Characters(const XoXMLString&) override { throw EXoException(u"stop"); }
  } thrower;
  TXoSAXJSONReader r2;
  r2.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(&thrower));
  r2.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(&thrower));
  EXPECT_EQ(xo_test::MessageOf<EXoException>([&] { r2.Parse(u"[1]"); }), u"stop");
  EXPECT_EQ(thrower.Fatal, 1);
  EXPECT_EQ(thrower.FatalMsg, u"stop");
}

TEST(SAXJSONReader, DeepNestingUsesNoStack) {
  const int depth = 200000;
  std::u16string t(depth, u'[');
  t += u"1";
  t.append(depth, u']');
  struct TCount : TRec {
    int64_t Starts = 0, Ends = 0, Max = 0, Cur = 0;
    void StartElement(const XoXMLString&, const XoXMLString&, const XoXMLString&,
                      const TIntfPtr<IXoSAXAttributes>&) override {
      ++Starts;
      Max = std::max(Max, ++Cur);
    }
    void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString&) override {
      ++Ends;
      --Cur;
    }
  } rec;
  TXoSAXJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(&rec));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(&rec));
  reader.Parse(t);
  EXPECT_EQ(rec.Starts, depth + 1);
  EXPECT_EQ(rec.Ends, depth + 1);
  EXPECT_EQ(rec.Max, depth + 1);
}

// ---------------------------------------------------------------------------
// TXoSAXParser

TEST(SAXParser, ChoosesTheReaderAndFiresEvents) {
  TXoSAXParser parser;
  std::vector<std::string> ev;
  parser.OnStart = [&](TObject* s) {
    EXPECT_EQ(s, &parser);
    ev.push_back("start");
  };
  parser.OnFinished = [&](TObject*) { ev.push_back("finished"); };
  parser.OnStartDocument = [&](TObject*) { ev.push_back("doc"); };
  parser.OnEndDocument = [&](TObject*) { ev.push_back("/doc"); };
  parser.OnEndProlog = [&](TObject*) { ev.push_back("prolog"); };
  parser.OnStartElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q,
                              const TIntfPtr<IXoSAXAttributes>& a) {
    ev.push_back("<" + U8(q) + ":" + std::to_string(a->Count()));
  };
  parser.OnEndElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q) {
    ev.push_back("</" + U8(q));
  };
  parser.OnCharacters = [&](TObject*, const XoXMLString& t) { ev.push_back("'" + U8(t)); };
  parser.OnComment = [&](TObject*, const XoXMLString& t) { ev.push_back("#" + U8(t)); };
  parser.OnStartPrefixMapping = [&](TObject*, const XoXMLString& p, const XoXMLString&) {
    ev.push_back("ns:" + U8(p));
  };
  int fatal = 0;
  parser.OnFatalError = [&](const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) { ++fatal; };

  parser.Parse(u"  {\"a\":1}");
  EXPECT_EQ(ev, (std::vector<std::string>{"start", "start", "doc", "<object:2", "<a:1", "'1", "</a", "</object",
                                          "/doc", "finished", "finished"}));
  ev.clear();
  parser.Parse(u" \r\n<r xmlns:p=\"u\"><!--c-->t</r>");
  EXPECT_EQ(ev, (std::vector<std::string>{"start", "start", "doc", "ns:p", "<r:1", "#c", "'t", "</r", "/doc",
                                          "finished", "finished"}));
  // A failure: OnStart twice, OnFatalError once, no OnFinished.
  ev.clear();
  EXPECT_THROW(parser.Parse(u"<r/><s/>"), EXoXMLParseError);
  EXPECT_EQ(fatal, 1);
  EXPECT_EQ(ev, (std::vector<std::string>{"start", "start", "doc", "<r:0", "</r"}));
  ev.clear();
  EXPECT_THROW(parser.Parse(RawByteString("12"), 65001), EXoJSONParseError);
  EXPECT_EQ(fatal, 2);
  EXPECT_EQ(ev, (std::vector<std::string>{"start", "start", "doc"}));
  EXPECT_EQ(parser.Reader(), nullptr);
  // ParseStream alone fires one pair.
  ev.clear();
  TXoMemoryStream m("[true]", 6);
  parser.ParseStream(&m, 0);
  EXPECT_EQ(ev.front(), "start");
  EXPECT_EQ(ev[1], "doc");
  EXPECT_EQ(ev.back(), "finished");
  EXPECT_EQ(std::count(ev.begin(), ev.end(), "finished"), 1);
}

TEST(SAXParser, NoEventsAssignedAndFiles) {
  TXoSAXParser parser;
  parser.Parse(u"<a><b x='1'/>text</a>");
  parser.Parse(u"{\"a\":[1,{\"b\":null}]}");
  // A file with a UTF-8 mark hands on 65001 and the stream stands behind it;
  // one without a mark hands on 0.
  std::string dir = ::testing::TempDir();
  std::string withMark = dir + "/xo_saxparser_mark.json", noMark = dir + "/xo_saxparser_plain.xml";
  std::ofstream(withMark, std::ios::binary) << "\xEF\xBB\xBF  {\"\xC3\xA9\":1}";
  std::ofstream(noMark, std::ios::binary) << "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r>\xE9</r>";
  std::vector<std::string> ev;
  parser.OnStartElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q,
                              const TIntfPtr<IXoSAXAttributes>&) { ev.push_back(U8(q)); };
  parser.OnCharacters = [&](TObject*, const XoXMLString& t) { ev.push_back(U8(t)); };
  parser.ParseFile(XoUTF8ToUTF16(withMark));
  EXPECT_EQ(ev, (std::vector<std::string>{"object", "é", "1"}));
  ev.clear();
  parser.ParseFile(XoUTF8ToUTF16(noMark));
  EXPECT_EQ(ev, (std::vector<std::string>{"r", "é"}));
  // A file that cannot be opened is a fatal error like any other.
  int fatal = 0;
  parser.OnFatalError = [&](const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) { ++fatal; };
  EXPECT_THROW(parser.ParseFile(u"/nonexistent/xo.json"), Exception);
  EXPECT_EQ(fatal, 1);
  std::remove(withMark.c_str());
  std::remove(noMark.c_str());
}

TEST(SAXParser, StreamsThatCannotSeekLoseNothing) {
  // A pipe: the blanks and the first character are read ahead, and the
  // reader still sees every byte.
  for (const char* text : {"  \n{\"a\":\"b\"}", "\t<r>x</r>"}) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], text, std::strlen(text)), static_cast<ssize_t>(std::strlen(text)));
    close(fds[1]);
    std::string path = "/dev/fd/" + std::to_string(fds[0]);
    TFileStream stream(path, fmOpenRead);
    TXoSAXParser parser;
    std::vector<std::string> ev;
    parser.OnStartElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q,
                                const TIntfPtr<IXoSAXAttributes>&) { ev.push_back(U8(q)); };
    parser.OnCharacters = [&](TObject*, const XoXMLString& t) { ev.push_back(U8(t)); };
    parser.ParseStream(&stream, 0);
    close(fds[0]);
    if (text[3] == '{')
      EXPECT_EQ(ev, (std::vector<std::string>{"object", "a", "b"}));
    else
      EXPECT_EQ(ev, (std::vector<std::string>{"r", "x"}));
  }
}

namespace {

// A stream that cannot seek and hands out its bytes a few at a time.
class TTrickle : public TStream {
public:
  TTrickle(std::string AData, size_t AStep) : FData(std::move(AData)), FStep(AStep) {}
  int64_t Read(void* ABuffer, int64_t ACount) override {
    const size_t n = std::min({FStep, static_cast<size_t>(ACount), FData.size() - FPos});
    std::memcpy(ABuffer, FData.data() + FPos, n);
    FPos += n;
    return static_cast<int64_t>(n);
  }
  int64_t Write(const void*, int64_t) override { return 0; }
  int64_t Seek(int64_t, TSeekOrigin) override { return -1; }

private:
  std::string FData;
  size_t FStep;
  size_t FPos = 0;
};

std::string UTF16(const std::u16string& s) { return std::string(reinterpret_cast<const char*>(s.data()), s.size() * 2); }

}  // namespace

TEST(SAXParser, LooksAheadOnStreamsThatCannotStepBack) {
  TXoSAXParser parser;
  std::vector<std::string> ev;
  parser.OnStartElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q,
                              const TIntfPtr<IXoSAXAttributes>&) { ev.push_back(U8(q)); };
  parser.OnCharacters = [&](TObject*, const XoXMLString& t) { ev.push_back(U8(t)); };
  // Blanks across many reads, UTF-16 units split between reads.
  for (size_t step : {1, 3, 7, 4096}) {
    ev.clear();
    TTrickle s(UTF16(std::u16string(5000, u' ') + u"{\"k\":\"\u00e9\"}"), step);
    parser.ParseStream(&s, 1200);
    EXPECT_EQ(ev, (std::vector<std::string>{"object", "k", "é"})) << step;
    ev.clear();
    TTrickle x(std::string(3000, '\n') + "<r>t</r>", step);
    parser.ParseStream(&x, 0);
    EXPECT_EQ(ev, (std::vector<std::string>{"r", "t"})) << step;
  }
  // Endless blanks stop at the input size limit, reported like any failure.
  const int64_t old = XoGetMaxInputSize();
  XoSetMaxInputSize(4096);
  int fatal = 0;
  parser.OnFatalError = [&](const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) { ++fatal; };
  TTrickle big(std::string(100000, ' ') + "{}", 500);
  EXPECT_THROW(parser.ParseStream(&big, 0), EXoInputTooLarge);
  EXPECT_EQ(fatal, 1);
  XoSetMaxInputSize(old);
}

TEST(SAXParser, AByteOrderMarkInFrontIsLookedPast) {
  // The reader is chosen by the character behind the mark, and the mark's
  // encoding holds where the caller named none: in memory, on a stream that
  // cannot step back (read a few bytes at a time), and on a file.
  const std::string kUTF8 = "\xEF\xBB\xBF", kUTF16 = "\xFF\xFE";
  const std::vector<std::string> texts = {kUTF8 + " \n<r>\xC3\xA9</r>", kUTF8 + "{\"r\":\"\xC3\xA9\"}",
                                          kUTF16 + UTF16(u"\t<r>\u00e9</r>"), kUTF16 + UTF16(u" {\"r\":\"\u00e9\"}")};
  TXoSAXParser parser;
  std::vector<std::string> ev;
  parser.OnStartElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q,
                              const TIntfPtr<IXoSAXAttributes>&) { ev.push_back(U8(q)); };
  parser.OnCharacters = [&](TObject*, const XoXMLString& t) { ev.push_back(U8(t)); };
  const std::string path = ::testing::TempDir() + "/xo_saxparser_bom.txt";
  for (const std::string& text : texts) {
    const bool json = text.find('{') != std::string::npos;
    const std::vector<std::string> want =
        json ? std::vector<std::string>{"object", "r", "é"} : std::vector<std::string>{"r", "é"};
    ev.clear();
    parser.Parse(RawByteString(text), 0);
    EXPECT_EQ(ev, want) << text;
    for (size_t step : {1, 2, 4096}) {
      ev.clear();
      TTrickle s(text, step);
      parser.ParseStream(&s, 0);
      EXPECT_EQ(ev, want) << text << " " << step;
    }
    std::ofstream(path, std::ios::binary) << text;
    ev.clear();
    {
      TFileStream f(path, fmOpenRead);
      parser.ParseStream(&f, 0);
    }
    EXPECT_EQ(ev, want) << text;
  }
  std::remove(path.c_str());
  // UTF-16 text that starts with the mark character.
  ev.clear();
  parser.Parse(u"\uFEFF <r>x</r>");
  EXPECT_EQ(ev, (std::vector<std::string>{"r", "x"}));
  // A mark and blanks only: the JSON reader finds nothing.
  EXPECT_THROW(parser.Parse(RawByteString(kUTF8 + "  "), 0), EXoJSONParseError);
}
