// Tests of the XML scanner and the SAX XML reader.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "uXoSAX.h"

using namespace xo;

namespace {

// Records the events as the lines of `xo events`, counts fatal errors and
// remembers where the locator stood when the error was reported.
class TRecorder : public TXoSAXEventWriter {
public:
  TRecorder() : TXoSAXEventWriter(&FStream) {}
  ~TRecorder() override { Flush(); }

  std::vector<std::string> Lines() {
    Flush();
    std::string all(reinterpret_cast<const char*>(FStream.Memory()), static_cast<size_t>(FStream.GetSize()));
    std::vector<std::string> r;
    std::istringstream in(all);
    for (std::string l; std::getline(in, l);) r.push_back(l);
    return r;
  }

  void StartElement(const XoXMLString& AURI, const XoXMLString& ALocal, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& AAttrs) override {
    TXoSAXEventWriter::StartElement(AURI, ALocal, AQName, AAttrs);
    if (OnStartElement) OnStartElement(AQName, AAttrs);
  }
  void Characters(const XoXMLString& AText) override {
    TXoSAXEventWriter::Characters(AText);
    if (OnCharacters) OnCharacters(AText);
  }
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override {
    ++FatalCount;
    FatalLine = ALocator->GetLineNr();
    FatalCol = ALocator->GetColNr();
    TXoSAXEventWriter::FatalError(ALocator, ErrMsg);
  }

  std::function<void(const XoXMLString&, const TIntfPtr<IXoSAXAttributes>&)> OnStartElement;
  std::function<void(const XoXMLString&)> OnCharacters;
  int FatalCount = 0;
  int32_t FatalLine = -2, FatalCol = -2;

private:
  TMemoryStream FStream;
};

struct TResult {
  std::vector<std::string> Events;  // without the FatalError line
  bool Failed = false;
  int32_t Code = -1;  // EXoException code; 1 for an unexpected end
  std::string ClassName;
  std::string Message;
  int FatalCount = 0;
  int32_t FatalLine = -2, FatalCol = -2;
};

// Runs one parse with a fresh reader and recorder.
TResult RunParse(const std::function<void(TXoSAXXMLReader&)>& AParse, bool ACheckSingleRoot = true,
            bool ALexical = true, const std::function<void(TRecorder&)>& ASetup = {}) {
  TResult r;
  TIntfPtr<TRecorder> rec(new TRecorder());
  if (ASetup) ASetup(*rec);
  TXoSAXXMLReader reader;
  reader.SetCheckSingleRootElm(ACheckSingleRoot);
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  if (ALexical) reader.SetLexicalHandler(TIntfPtr<IXoSAXLexicalHandler>(rec.get()));
  try {
    AParse(reader);
  } catch (const EXoException& e) {
    r.Failed = true;
    r.Code = e.Code();
    r.ClassName = XoUTF16ToUTF8(e.ClassName());
    r.Message = e.what();
  }
  for (auto& l : rec->Lines())
    if (l.rfind("FatalError\t", 0) != 0) r.Events.push_back(l);
  r.FatalCount = rec->FatalCount;
  r.FatalLine = rec->FatalLine;
  r.FatalCol = rec->FatalCol;
  return r;
}

TResult RunUTF8(const std::string& AText, bool ACheckSingleRoot = true, bool ALexical = true) {
  return RunParse([&](TXoSAXXMLReader& r) { r.Parse(AText, 65001); }, ACheckSingleRoot, ALexical);
}

TResult RunText(const std::u16string& AText, bool ACheckSingleRoot = true) {
  return RunParse([&](TXoSAXXMLReader& r) { r.Parse(AText); }, ACheckSingleRoot);
}

// Events between StartDocument and EndDocument.
std::vector<std::string> Inner(const TResult& r) {
  std::vector<std::string> v = r.Events;
  if (!v.empty() && v.front() == "StartDocument") v.erase(v.begin());
  if (!v.empty() && v.back() == "EndDocument") v.pop_back();
  return v;
}

using Lines = std::vector<std::string>;

std::string TempPath(const char* AName) { return std::string(::testing::TempDir()) + AName; }

void WriteFileBytes(const std::string& APath, const std::string& ABytes) {
  std::ofstream out(APath, std::ios::binary);
  out << ABytes;
}

const std::string kNotWellFormed = "The document is not wellformed!\r\n";

}  // namespace

// ===========================================================================
// Event sequences of the reader

TEST(SAXReader, NamespaceExampleGivesTheDocumentedSequence) {
  TResult r = RunUTF8(R"(<r xmlns="u" xmlns:p="v" p:a="1" b="2"><p:c/>x</r>)");
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(r.Events, (Lines{"StartDocument", "StartPrefixMapping\t\tu", "StartPrefixMapping\tp\tv",
                             "StartElement\tu\tr\tr\t@xmlns\t\tu\t@xmlns:p\t\tv\t@p:a\tv\t1\t@b\tu\t2",
                             "StartElement\tv\tc\tp:c", "EndElement\tv\tc\tp:c", "Characters\tx",
                             "EndElement\tu\tr\tr", "EndPrefixMapping\tp", "EndPrefixMapping\t", "EndDocument"}));
}

TEST(SAXReader, AttributesThroughTheInterface) {
  bool seen = false;
  TResult r = RunParse(
      [](TXoSAXXMLReader& rd) { rd.Parse(std::string(R"(<r xmlns="u" xmlns:p="v" p:a="1" b="2"/>)"), 65001); },
      true, true, [&](TRecorder& rec) {
        rec.OnStartElement = [&](const XoXMLString&, const TIntfPtr<IXoSAXAttributes>& a) {
          seen = true;
          ASSERT_EQ(a->Count(), 4);
          EXPECT_EQ(a->GetQName(2), u"p:a");
          EXPECT_EQ(a->GetLocalName(2), u"a");
          EXPECT_EQ(a->GetURI(2), u"v");
          EXPECT_EQ(a->GetURI(3), u"u");
          EXPECT_EQ(a->GetURI(0), u"");  // declarations carry no URI
          EXPECT_EQ(a->GetLocalName(1), u"p");
          EXPECT_EQ(a->GetValue(3), u"2");
          EXPECT_EQ(a->GetType(0), TXoSAXAttributeType::CDATA);
          // Names compare without regard to case.
          EXPECT_EQ(a->GetIndex(u"P:A"), 2);
          EXPECT_EQ(a->GetValue(u"B"), u"2");
          EXPECT_EQ(a->GetIndex(u"v", u"a"), 2);
          EXPECT_EQ(a->GetIndex(u"nope"), -1);
          EXPECT_EQ(a->GetType(u"v", u"A"), TXoSAXAttributeType::CDATA);
          // "*" matches every URI only in GetValue.
          EXPECT_EQ(a->GetValue(u"*", u"a"), u"1");
          EXPECT_EQ(a->GetIndex(u"*", u"a"), -1);
          EXPECT_THROW(a->GetType(u"*", u"a"), EXoXMLParseError);
          // The records form a list in document order.
          PXoSAXXMAttribute f = a->FirstAttribute();
          ASSERT_NE(f, nullptr);
          EXPECT_EQ(f->Prev, nullptr);
          EXPECT_EQ(f->Idx, 0);
          ASSERT_NE(f->Next, nullptr);
          EXPECT_EQ(f->Next->Prev, f);
          EXPECT_EQ(a->GetAttribute(3)->Next, nullptr);
          EXPECT_EQ(a->GetAttribute(4), nullptr);
        };
      });
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_TRUE(seen);
}

TEST(SAXReader, AttributeLookupErrorsCarryCode4AndTheirMessages) {
  TIntfPtr<TXoSAXXMAttributes> a(new TXoSAXXMAttributes());
  a->SetAutoDestroy(true);
  a->Add(u"x", u"p:x", u"urn:p", u"1");
  auto expectError = [](const std::function<void()>& f, const std::string& AMsg) {
    try {
      f();
      ADD_FAILURE() << "no exception for " << AMsg;
    } catch (const EXoXMLParseError& e) {
      EXPECT_EQ(e.Code(), 4);
      EXPECT_EQ(std::string(e.what()), AMsg);
    }
  };
  expectError([&] { a->GetValue(5); }, "List index (5) out of bounds!");
  expectError([&] { a->GetLocalName(-1); }, "List index (-1) out of bounds!");
  expectError([&] { a->GetValue(u"q"); }, "List index (q) out of bounds!");
  expectError([&] { a->GetType(u"urn:z", u"x"); }, "List index (urn:z-x) out of bounds!");
  expectError([&] { a->GetValue(u"urn:z", u"x"); }, "List index (urn:z-x) out of bounds!");
  EXPECT_EQ(a->GetValue(u"URN:P", u"X"), u"1");
  a->Clear();
  EXPECT_EQ(a->Count(), 0);
  EXPECT_EQ(a->FirstAttribute(), nullptr);
  PXoSAXXMAttribute r = a->Add(u"y", u"y", u"", u"2");
  EXPECT_EQ(r->Idx, 0);
  EXPECT_EQ(r->Value, u"2");
}

TEST(SAXReader, PrefixLookupIgnoresCaseAndDeclarationsApplyInOrder) {
  TResult r = RunUTF8(R"(<P:a xmlns:p="u"/>)");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r)[1], "StartElement\tu\ta\tP:a\t@xmlns:p\t\tu");
  // A declaration later in the same tag does not apply to an earlier attribute.
  r = RunUTF8(R"(<a b="1" c:d="2" xmlns:c="u"/>)");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r)[1], "StartElement\t\ta\ta\t@b\t\t1\t@c:d\t\t2\t@xmlns:c\t\tu");
  // The prefix xml has no predefined URI.
  r = RunUTF8(R"(<a xml:lang="en"/>)");
  EXPECT_EQ(Inner(r)[0], "StartElement\t\ta\ta\t@xml:lang\t\ten");
  // Scopes end with their element.
  r = RunUTF8(R"(<a><b xmlns="u"><c/></b><d/></a>)");
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "StartPrefixMapping\t\tu", "StartElement\tu\tb\tb\t@xmlns\t\tu",
                             "StartElement\tu\tc\tc", "EndElement\tu\tc\tc", "EndElement\tu\tb\tb",
                             "EndPrefixMapping\t", "StartElement\t\td\td", "EndElement\t\td\td",
                             "EndElement\t\ta\ta"}));
}

TEST(SAXReader, EndTagsAreNotMatched) {
  TResult r = RunUTF8("<a></b>");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "EndElement\t\tb\tb"}));
}

TEST(SAXReader, UnclosedElementsAtTheEnd) {
  TResult r = RunUTF8("<a><b></b>");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(r.Events.back(), "EndDocument");
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "StartElement\t\tb\tb", "EndElement\t\tb\tb"}));
  // Trailing text that runs to the end of the input is an unexpected end; the
  // locator names where the text began.
  r = RunUTF8("<a><b></b>\n");
  ASSERT_TRUE(r.Failed);
  EXPECT_EQ(r.ClassName, "EXoTextParserEOF");
  EXPECT_EQ(r.FatalCount, 1);
  EXPECT_EQ(r.FatalLine, 1);
  EXPECT_EQ(r.FatalCol, 11);
  EXPECT_NE(r.Events.back(), "EndDocument");
}

TEST(SAXReader, TrailingTextWithoutSingleRootCheck) {
  TResult r = RunUTF8("<a>x", false);
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "Characters\tx", "IgnorableWhitespace\t"}));
  r = RunUTF8("<a> \n", false);
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "IgnorableWhitespace\t \\n"}));
}

TEST(SAXReader, ElementNotClosedGivesRowAndColumnOfTheTag) {
  TResult r = RunUTF8("<a<b>");
  ASSERT_TRUE(r.Failed);
  EXPECT_EQ(r.Code, 8);
  EXPECT_EQ(r.Message, kNotWellFormed + "An element was not closed correctly (Row: 1, Col: 1).");
  r = RunUTF8("<r>\n  <a\xc3\xa9<b/></r>");
  EXPECT_EQ(r.Code, 8);
  EXPECT_EQ(r.Message, kNotWellFormed + "An element was not closed correctly (Row: 2, Col: 3).");
  // Not an unexpected end: the locator gives the scanner's position (at the
  // second '<', column 6 counting characters).
  EXPECT_EQ(r.FatalLine, 2);
  EXPECT_EQ(r.FatalCol, 6);
}

TEST(SAXReader, MultipleRootsAndTextAtRoot) {
  TResult r = RunUTF8("<a/><b/>");
  EXPECT_EQ(r.Code, 9);
  EXPECT_EQ(r.Message, kNotWellFormed + "A XML document may not contain multiple root elements.");
  EXPECT_EQ(r.FatalCount, 1);
  r = RunUTF8("<a/><b/>", false);
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "EndElement\t\ta\ta", "StartElement\t\tb\tb",
                             "EndElement\t\tb\tb"}));
  r = RunUTF8("<a/>x");
  EXPECT_EQ(r.Code, 12);
  EXPECT_EQ(r.Message, kNotWellFormed + "An invalid token was detected at the root level of the document.");
  r = RunUTF8("<a/> \n<!--c--> <?p d?>\n\n");
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "EndElement\t\ta\ta", "Comment\tc",
                             "ProcessingInstruction\tp\td"}));
}

TEST(SAXReader, ManyRootsWithoutCheckDoNotNest) {
  // Without the single-root check every further root is reported; a long run
  // of them must not deepen the call stack.
  std::string doc;
  for (int i = 0; i < 200000; ++i) doc += "<a/> x";
  TResult r = RunUTF8(doc, false);
  ASSERT_FALSE(r.Failed) << r.Message;
  // The last text runs to the end: Characters, then an empty IgnorableWhitespace.
  EXPECT_EQ(r.Events.size(), 2u + 200000u * 3u + 1u);
  EXPECT_EQ(r.Events[3], "Characters\tx");
}

TEST(SAXReader, WhitespaceAndText) {
  TResult r = RunUTF8("<a>\n</a>");
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "IgnorableWhitespace\t\\n", "EndElement\t\ta\ta"}));
  r = RunUTF8("<a>\n x \t</a>");
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "Characters\t\\n x \\t", "EndElement\t\ta\ta"}));
  r = RunUTF8("<a>&lt;</a>");
  EXPECT_EQ(Inner(r)[1], "Characters\t&lt;");
  // Line ends and backslashes pass unchanged (and are escaped only in the dump).
  r = RunUTF8("<a>x\r\ny\\</a>");
  EXPECT_EQ(Inner(r)[1], "Characters\tx\\r\\ny\\\\");
  // Anything in front of the first '<' is dropped.
  r = RunUTF8("garbage & more <a/>");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "EndElement\t\ta\ta"}));
}

TEST(SAXReader, AttributeSyntax) {
  TResult r = RunUTF8(R"(<a b="1"c="2"/>)");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r)[0], "StartElement\t\ta\ta\t@b\t\t1\t@c\t\t2");
  r = RunUTF8("<a b>");
  EXPECT_EQ(r.Code, 7);
  EXPECT_EQ(r.Message, kNotWellFormed + "Missing attribute value.");
  r = RunUTF8(R"(<a b=1 c="2"/>)");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r)[0], "StartElement\t\ta\ta\t@b\t\t2");
  // Values are raw: markup characters and line breaks pass unchanged.
  r = RunUTF8("<a b='<x>&amp;\n\"' c = \"it's\"/>");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r)[0], "StartElement\t\ta\ta\t@b\t\t<x>&amp;\\n\"\t@c\t\tit's");
  // After the name only blanks are skipped: a line break starts the
  // attribute scan.
  r = RunUTF8("<a\n>");
  EXPECT_EQ(r.Code, 7);
  r = RunUTF8("<a></a\n>");
  EXPECT_EQ(r.Code, 2);
  EXPECT_EQ(r.Message, kNotWellFormed + "\">\" expected, but \"\n\" found!");
  r = RunUTF8("<a b=\"1\"\n>x</a>");
  ASSERT_FALSE(r.Failed) << r.Message;
  // Duplicates are not detected.
  r = RunUTF8(R"(<a b="1" b="2"/>)");
  EXPECT_EQ(Inner(r)[0], "StartElement\t\ta\ta\t@b\t\t1\t@b\t\t2");
}

TEST(SAXReader, ProcessingInstructions) {
  TResult r = RunUTF8("<?a b?c?><r/>");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r)[0], "ProcessingInstruction\ta\tb");
  r = RunUTF8("<?xml version=\"1.0\"?><?t?><r/>");
  EXPECT_EQ(Inner(r)[0], "ProcessingInstruction\txml\tversion=\"1.0\"");
  EXPECT_EQ(Inner(r)[1], "ProcessingInstruction\tt\t");
  r = RunUTF8("<r><?t   d e ?></r>");
  EXPECT_EQ(Inner(r)[1], "ProcessingInstruction\tt\td e ");
}

TEST(SAXReader, CDATAAndComments) {
  TResult r = RunUTF8("<a><![CDATA[ ]]></a>");
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "StartCDATA", "Characters\t ", "EndCDATA", "EndElement\t\ta\ta"}));
  r = RunUTF8("<a><![CDATA[]]><![CDATA[<b>]]]]></a>");
  EXPECT_EQ(Inner(r)[2], "Characters\t");
  EXPECT_EQ(Inner(r)[5], "Characters\t<b>]]");
  r = RunUTF8("<a><!-- x -- y --><!----></a>");
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "Comment\t x -- y ", "Comment\t", "EndElement\t\ta\ta"}));
  // Without a lexical handler: no lexical events, CDATA text still arrives.
  r = RunUTF8("<!--c--><a><![CDATA[t]]><!--d--></a>", true, false);
  ASSERT_FALSE(r.Failed);
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "Characters\tt", "EndElement\t\ta\ta"}));
  // After a comment, a processing instruction or a CDATA section, text with
  // '?' or '!' is ordinary character data.
  r = RunUTF8("<a><!--c-->x?y<?p?>x!y<![CDATA[]]>z</a>");
  EXPECT_EQ(Inner(r), (Lines{"StartElement\t\ta\ta", "Comment\tc", "Characters\tx?y", "ProcessingInstruction\tp\t",
                             "Characters\tx!y", "StartCDATA", "Characters\t", "EndCDATA", "Characters\tz",
                             "EndElement\t\ta\ta"}));
}

TEST(SAXReader, DocumentTypeIsSkippedByCountingBrackets) {
  TResult r = RunUTF8("<!DOCTYPE a [<!ELEMENT a ANY><!-- <x> -->]><a/>");
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r), (Lines{"StartDTD", "EndDTD", "StartElement\t\ta\ta", "EndElement\t\ta\ta"}));
  // A '>' in a literal ends the declaration early; the rest in front of the
  // next '<' is dropped.
  r = RunUTF8("<!DOCTYPE a [<!ENTITY b \">\">]><a/>");
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r), (Lines{"StartDTD", "EndDTD", "StartElement\t\ta\ta", "EndElement\t\ta\ta"}));
  // Nothing is declared: references stay as written.
  r = RunUTF8("<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>");
  EXPECT_EQ(Inner(r)[3], "Characters\t&e;");
}

TEST(SAXReader, ErrorCodesAndMessages) {
  struct Case {
    std::string Text;
    int32_t Code;
    std::string Message;
  };
  const std::vector<Case> cases = {
      {"", 2, kNotWellFormed + "\"<\" expected, but \"\" found!"},
      {"no markup", 2, kNotWellFormed + "\"<\" expected, but \"\" found!"},
      {"<!-- only a comment -->", 2, kNotWellFormed + "\"<\" expected, but \"\" found!"},
      {"<:a/>", 3, "The current character \":\" is only a valid NameStartChar when NameSpaces are not supported!"},
      {"<1a/>", 3, "The current character \"1\" is not a valid NameStartChar!"},
      {"<a:1b/>", 3, "The current character \"1\" is not a valid NameStartChar!"},
      {"<a:\xe2\x80\xbf/>", 3, "The current character \"\xe2\x80\xbf\" is not a valid NameStartChar!"},
      {"<!DOCTYP a><a/>", 5, "\"DOCTYPE\" expected, but \"DOCTYP\" found"},
      {"<a><!DOCTYPE x></a>", 6, "![CDATA[ expected, but \"!DOCTYPE\" found"},
      {"<a><![cdata[x]]></a>", 6, "![CDATA[ expected, but \"![cdata[\" found"},
      {"<a b/>", 7, kNotWellFormed + "Missing attribute value."},
      {"<a b:c/>", 7, kNotWellFormed + "Missing attribute value."},
      {"<a b=/>", 7, kNotWellFormed + "Missing attribute value."},
      {"<a<b/>", 8, kNotWellFormed + "An element was not closed correctly (Row: 1, Col: 1)."},
      {"<a/><b/>", 9, kNotWellFormed + "A XML document may not contain multiple root elements."},
      {"<a/>t", 12, kNotWellFormed + "An invalid token was detected at the root level of the document."},
  };
  for (const Case& c : cases) {
    TResult r = RunUTF8(c.Text);
    ASSERT_TRUE(r.Failed) << c.Text;
    EXPECT_EQ(r.Code, c.Code) << c.Text;
    EXPECT_EQ(r.ClassName, "EXoXMLParseError") << c.Text;
    EXPECT_EQ(r.Message, c.Message) << c.Text;
    EXPECT_EQ(r.FatalCount, 1) << c.Text;
  }
  // Name start characters that pass.
  for (const char* ok : {"<_a/>", "<\xc3\xa9/>", "<p:_a xmlns:p='u'/>", "<\xe4\xb8\xad/>"}) {
    TResult r = RunUTF8(ok);
    EXPECT_FALSE(r.Failed) << ok << ": " << r.Message;
  }
}

TEST(SAXReader, MissingHandlersRaiseWithoutFatalError) {
  TIntfPtr<TRecorder> rec(new TRecorder());
  TXoSAXXMLReader reader;
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  try {
    reader.Parse(std::u16string(u"<a/>"));
    FAIL();
  } catch (const EXoXMLParseError& e) {
    EXPECT_EQ(e.Code(), 10);
    EXPECT_STREQ(e.what(), "No contenthandler has been assigned!");
  }
  reader.SetErrorHandler(nullptr);
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  try {
    reader.Parse(std::u16string(u"<a/>"));
    FAIL();
  } catch (const EXoXMLParseError& e) {
    EXPECT_EQ(e.Code(), 11);
    EXPECT_STREQ(e.what(), "No errorhandler has been assigned!");
  }
  EXPECT_EQ(rec->FatalCount, 0);
  EXPECT_TRUE(rec->Lines().empty());
}

TEST(SAXReader, UnexpectedEndPointsAtTheUnfinishedConstruct) {
  struct Case {
    std::string Text;
    int32_t Line, Col;
  };
  // Each ends inside a construct; the locator names where it began.
  const std::vector<Case> cases = {
      {"<a>\n  <!-- open", 2, 4},      // the comment, from its '!'
      {"<a>\n<![CDATA[x", 2, 2},       // the CDATA section
      {"<a>\n<![CDA", 2, 2},           // ends inside the marker
      {"<!DOCTYPE a [\n<!ELEMENT", 1, 2},
      {"<?p data", 1, 1},
      {"<a>\n <b:", 2, 2},             // the tag
      {"<a>\n <b", 2, 4},              // the attribute scan, begun at the end
      {"<a x='1' y='2", 1, 4},         // the attributes
      {"<a>\n<", 2, 1},
      {"<r>\n<a></a>\ntext", 2, 8},  // text running to the end, from the line break
  };
  for (const Case& c : cases) {
    TResult r = RunUTF8(c.Text);
    ASSERT_TRUE(r.Failed) << c.Text;
    EXPECT_EQ(r.ClassName, "EXoTextParserEOF") << c.Text << ": " << r.Message;
    EXPECT_EQ(r.FatalCount, 1) << c.Text;
    EXPECT_EQ(r.FatalLine, c.Line) << c.Text;
    EXPECT_EQ(r.FatalCol, c.Col) << c.Text;
  }
}

TEST(SAXReader, LocatorOutsideAParseAndAfterIt) {
  TXoSAXXMLReader reader;
  EXPECT_EQ(reader.GetLineNr(), -1);
  EXPECT_EQ(reader.GetColNr(), -1);
  EXPECT_EQ(reader.GetPosition(), -1);
  EXPECT_FALSE(reader.GetFeature(u"http://xml.org/sax/features/namespaces"));
  EXPECT_TRUE(reader.GetProperty(u"anything").IsNull());
  TIntfPtr<TRecorder> rec(new TRecorder());
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  EXPECT_THROW(reader.Parse(std::string("<a>\n<!-- open"), 65001, u"doc-1"), EXoTextParserEOF);
  // The saved position of the unfinished construct outlives the parse.
  EXPECT_EQ(reader.GetLineNr(), 2);
  EXPECT_EQ(reader.GetColNr(), 2);
  EXPECT_EQ(reader.GetPublicID(), u"doc-1");
  reader.Parse(std::string("<a/>"), 65001);
  EXPECT_EQ(reader.GetLineNr(), -1);
}

TEST(SAXReader, LocatorDuringEvents) {
  TIntfPtr<TRecorder> rec(new TRecorder());
  TXoSAXXMLReader reader;
  std::vector<std::pair<int32_t, int32_t>> at;
  rec->OnCharacters = [&](const XoXMLString&) { at.emplace_back(reader.GetLineNr(), reader.GetColNr()); };
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  reader.Parse(std::u16string(u"<a>\n<b>xy</b></a>"));
  ASSERT_EQ(at.size(), 1u);
  EXPECT_EQ(at[0], std::make_pair(2, 6));  // the scanner stands behind the text
}

namespace {
class EStop : public EXoException {
public:
  EStop() : EXoException(std::u16string(u"stop here")) {}
};
}  // namespace

TEST(SAXReader, HandlerExceptionTakesTheSameRoad) {
  TResult r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::u16string(u"<a><b/><c/></a>")); }, true, true,
                  [](TRecorder& rec) {
                    rec.OnStartElement = [](const XoXMLString& q, const TIntfPtr<IXoSAXAttributes>&) {
                      if (q == u"c") throw EStop();
                    };
                  });
  ASSERT_TRUE(r.Failed);
  EXPECT_EQ(r.Message, "stop here");
  EXPECT_EQ(r.FatalCount, 1);
  EXPECT_EQ(r.Events.back(), "StartElement\t\tc\tc");
}

TEST(SAXReader, ReaderCanParseAgain) {
  TIntfPtr<TRecorder> rec(new TRecorder());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  reader.Parse(std::u16string(u"<a x='1'><b/></a>"));
  reader.Parse(std::u16string(u"<a x='1'><b/></a>"));
  Lines l = rec->Lines();
  ASSERT_EQ(l.size(), 12u);
  EXPECT_TRUE(std::equal(l.begin(), l.begin() + 6, l.begin() + 6));
  // A failed parse leaves the declarations of open elements in the list.
  EXPECT_THROW(reader.Parse(std::u16string(u"<a xmlns:p='u'><b")), EXoTextParserEOF);
  EXPECT_EQ(reader.NamespaceList()->Count(), 1);
  EXPECT_EQ(reader.NamespaceList()->GetURI(u"P"), u"u");
}

TEST(SAXNamespaceList, AddLookupRemove) {
  TIntfPtr<TRecorder> rec(new TRecorder());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  TXoSAXNamespaceList list(&reader);
  list.AddURI(1, u"", u"d1");
  list.AddURI(1, u"p", u"p1");
  list.AddURI(2, u"P", u"p2");
  list.AddURI(3, u"q", u"q3");
  EXPECT_EQ(list.GetURI(u"p"), u"p2");  // newest first, any case
  EXPECT_EQ(list.GetURI(u""), u"d1");
  EXPECT_EQ(list.GetURI(u"z"), u"");
  ASSERT_NE(list.GetNamespace(u"q"), nullptr);
  EXPECT_EQ(list.GetNamespace(u"q")->Level, 3);
  EXPECT_EQ(list.GetNamespace(u"zz"), nullptr);
  list.RemoveLevel(2);
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(list.GetURI(u"p"), u"p1");
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(rec->Lines(), (Lines{"StartPrefixMapping\t\td1", "StartPrefixMapping\tp\tp1", "StartPrefixMapping\tP\tp2",
                                 "StartPrefixMapping\tq\tq3", "EndPrefixMapping\tq", "EndPrefixMapping\tP"}));
}

TEST(SAXNamespaceList, RemoveLevelFindsDeepDeclarationsBehindShallowOnes) {
  TIntfPtr<TRecorder> rec(new TRecorder());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  TXoSAXNamespaceList list(&reader);
  // Levels need not grow along the list (a failed parse leaves deep ones).
  list.AddURI(3, u"a", u"a3");
  list.AddURI(1, u"b", u"b1");
  list.RemoveLevel(4);
  EXPECT_EQ(list.Count(), 2);
  list.RemoveLevel(2);
  ASSERT_EQ(list.Count(), 1);
  EXPECT_EQ(list.GetURI(u"a"), u"");
  list.RemoveLevel(2);
  EXPECT_EQ(list.Count(), 1);
  list.AddURI(2, u"c", u"c2");
  list.RemoveLevel(2);
  EXPECT_EQ(list.Count(), 1);
  list.RemoveLevel(1);
  EXPECT_EQ(list.Count(), 0);
  list.AddURI(5, u"d", u"d5");
  list.Clear();
  list.AddURI(1, u"e", u"e1");
  list.RemoveLevel(1);
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(rec->Lines(), (Lines{"StartPrefixMapping\ta\ta3", "StartPrefixMapping\tb\tb1", "EndPrefixMapping\ta",
                                 "StartPrefixMapping\tc\tc2", "EndPrefixMapping\tc", "EndPrefixMapping\tb",
                                 "StartPrefixMapping\td\td5", "StartPrefixMapping\te\te1", "EndPrefixMapping\te"}));
}

TEST(SAXReader, LeftOverDeclarationsEndWithTheNextRoot) {
  TIntfPtr<TRecorder> rec(new TRecorder());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  EXPECT_THROW(reader.Parse(std::u16string(u"<a><b><c xmlns:p='deep'><d")), EXoTextParserEOF);
  ASSERT_EQ(reader.NamespaceList()->Count(), 1);
  // The next parse declares p again at level 1 and resolves to the newest;
  // the end of its root removes the level-3 record too.
  reader.Parse(std::u16string(u"<r xmlns:p='u'><p:x/></r>"));
  EXPECT_EQ(reader.NamespaceList()->Count(), 0);
  Lines l = rec->Lines();
  EXPECT_NE(std::find(l.begin(), l.end(), "StartElement\tu\tx\tp:x"), l.end());
  EXPECT_NE(std::find(l.begin(), l.end(), "EndPrefixMapping\tp"), l.end());
}

// ===========================================================================
// Encodings and entry points

namespace {

// The same document in several encodings.
const char kDocUTF8[] =
    "<?xml version=\"1.0\"?>\n<r a=\"\xc3\xa9t\xc3\xa9\">caf\xc3\xa9 \xe2\x82\xac<s>\xc3\xbc</s></r>";
const char kDocBody1252[] = "\n<r a=\"\xe9t\xe9\">caf\xe9 \x80<s>\xfc</s></r>";

Lines WithoutDeclaration(const TResult& r) {
  Lines v = r.Events;
  if (v.size() > 1 && v[1].rfind("ProcessingInstruction\txml\t", 0) == 0) v.erase(v.begin() + 1);
  return v;
}

}  // namespace

TEST(SAXEncodings, SameEventsForEveryEncoding) {
  std::string utf8 = kDocUTF8;
  TResult plain = RunParse([&](TXoSAXXMLReader& r) { r.ParseBuffer(utf8.data(), utf8.size(), 0); });
  ASSERT_FALSE(plain.Failed) << plain.Message;
  Lines expected = WithoutDeclaration(plain);
  EXPECT_EQ(expected[1], "StartElement\t\tr\tr\t@a\t\t\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(expected[2], "Characters\tcaf\xc3\xa9 \xe2\x82\xac");

  // UTF-8 with a mark, through ParseFile.
  std::string p1 = TempPath("xo_sax_bom.xml");
  WriteFileBytes(p1, "\xef\xbb\xbf" + utf8);
  TResult bom = RunParse([&](TXoSAXXMLReader& r) { r.ParseFile(XoUTF8ToUTF16(p1)); });
  ASSERT_FALSE(bom.Failed) << bom.Message;
  EXPECT_EQ(bom.Events, plain.Events);  // the mark is not text, the first event unchanged

  // UTF-16LE with a mark.
  std::u16string text = XoUTF8ToUTF16(utf8);
  std::string utf16(reinterpret_cast<const char*>(text.data()), text.size() * 2);
  std::string p2 = TempPath("xo_sax_utf16.xml");
  WriteFileBytes(p2, "\xff\xfe" + utf16);
  TResult u16 = RunParse([&](TXoSAXXMLReader& r) { r.ParseFile(XoUTF8ToUTF16(p2)); });
  ASSERT_FALSE(u16.Failed) << u16.Message;
  EXPECT_EQ(WithoutDeclaration(u16), expected);

  // windows-1252, declared with single quotes.
  std::string w = std::string("<?xml version=\"1.0\" encoding='windows-1252'?>") + kDocBody1252;
  std::string p3 = TempPath("xo_sax_1252.xml");
  WriteFileBytes(p3, w);
  TResult cp1252 = RunParse([&](TXoSAXXMLReader& r) { r.ParseFile(XoUTF8ToUTF16(p3)); });
  ASSERT_FALSE(cp1252.Failed) << cp1252.Message;
  EXPECT_EQ(WithoutDeclaration(cp1252), expected);
  TResult cp1252b = RunParse([&](TXoSAXXMLReader& r) { r.Parse(w, 0); });
  EXPECT_EQ(WithoutDeclaration(cp1252b), expected);

  // A string: code page 1200.
  TResult str = RunText(text);
  EXPECT_EQ(str.Events, plain.Events);

  // A stream, with the code page given.
  TXoMemoryStream ms(utf8.data(), static_cast<int64_t>(utf8.size()));
  TResult stream = RunParse([&](TXoSAXXMLReader& r) { r.ParseStream(&ms, 65001); });
  EXPECT_EQ(stream.Events, plain.Events);

  // Bytes in a named code page.
  TResult bytes = RunParse([&](TXoSAXXMLReader& r) { r.Parse(std::string(kDocBody1252), 1252); });
  EXPECT_EQ(bytes.Events, expected);

  std::remove(p1.c_str());
  std::remove(p2.c_str());
  std::remove(p3.c_str());
}

TEST(SAXEncodings, ExampleFilesAgree) {
  const std::string dir = XO_EXAMPLES_DIR;
  TResult a = RunParse([&](TXoSAXXMLReader& r) { r.ParseFile(XoUTF8ToUTF16(dir + "/sample.xml")); });
  TResult b = RunParse([&](TXoSAXXMLReader& r) { r.ParseFile(XoUTF8ToUTF16(dir + "/sample-utf16le.xml")); });
  TResult c = RunParse([&](TXoSAXXMLReader& r) { r.ParseFile(XoUTF8ToUTF16(dir + "/sample-windows1252.xml")); });
  ASSERT_FALSE(a.Failed) << a.Message;
  ASSERT_FALSE(b.Failed) << b.Message;
  ASSERT_FALSE(c.Failed) << c.Message;
  EXPECT_EQ(WithoutDeclaration(a), WithoutDeclaration(b));
  EXPECT_EQ(WithoutDeclaration(a), WithoutDeclaration(c));
  EXPECT_GT(a.Events.size(), 30u);
}

TEST(SAXEncodings, DeclarationRules) {
  // No encoding pseudo-attribute, no code page: UTF-8.
  TResult r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::string("<?xml version=\"1.0\"?><a>\xc3\xa9</a>"), 0); });
  EXPECT_EQ(Inner(r)[2], "Characters\t\xc3\xa9");
  // The six-character test is case-sensitive: no name is looked for.
  r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::string("<?XML encoding=\"x\"?><a>\xc3\xa9</a>"), 0); });
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r)[2], "Characters\t\xc3\xa9");
  // A line break after "<?xml": no declaration, so UTF-8 (0xE9 alone is not).
  r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::string("<?xml\nencoding='windows-1252'?><a>\xe9</a>"), 0); });
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r)[2], "Characters\t\xef\xbf\xbd");
  // An empty encoding name means UTF-8 as well.
  r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::string("<?xml version='1.0' encoding=''?><a>\xc3\xa9</a>"), 0); });
  EXPECT_EQ(Inner(r)[2], "Characters\t\xc3\xa9");
  // A caller's code page wins over the declaration.
  r = RunText(u"<?xml version=\"1.0\" encoding=\"windows-1252\"?><a>\u00e9\u20ac</a>");
  EXPECT_EQ(Inner(r)[2], "Characters\t\xc3\xa9\xe2\x82\xac");
  // An ISO name.
  r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::string("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xe9</a>"), 0); });
  EXPECT_EQ(Inner(r)[2], "Characters\t\xc3\xa9");
  // A single-byte document that claims UTF-16 is read as UTF-8.
  r = RunParse([](TXoSAXXMLReader& rd) { rd.Parse(std::string("<?xml version=\"1.0\" encoding=\"UTF-16\"?><a>x</a>"), 0); });
  ASSERT_FALSE(r.Failed) << r.Message;
  EXPECT_EQ(Inner(r)[2], "Characters\tx");
}

TEST(SAXScanner, SourceKindsAndBoundMembers) {
  std::string w = "  <?xml version='1.0' encoding='windows-1252'?><a/>";
  TXoMemoryStream s1(w.data(), static_cast<int64_t>(w.size()));
  TXoXMLParser p1(&s1, false, false, 0);
  EXPECT_EQ(p1.GetCharacterSetType(), cstSingleByte);
  EXPECT_EQ(p1.GetContentCodePage(), 1252);
  EXPECT_EQ(p1.GetPosition(), 0);  // back at the start
  EXPECT_EQ(*static_cast<const char*>(p1.FLt), '<');
  p1.SkipWhile(tpsUntilEqual, p1.FLt);
  EXPECT_EQ(p1.GetPosition(), 2);
  EXPECT_TRUE(p1.CheckCurrChar(p1.FLt, false));
  EXPECT_FALSE(p1.CheckCurrChar(p1.FGt, false));
  try {
    p1.CheckCurrChar(p1.FGt, true);
    FAIL();
  } catch (const EXoXMLParseError& e) {
    EXPECT_EQ(e.Code(), 2);
    EXPECT_STREQ(e.what(), "The document is not wellformed!\r\n\">\" expected, but \"<\" found!");
  }

  std::string u = "<a/>";
  TXoMemoryStream s2(u.data(), static_cast<int64_t>(u.size()));
  TXoXMLParser p2(&s2, false, false, 0);
  EXPECT_EQ(p2.GetCharacterSetType(), cstUTF8);
  EXPECT_EQ(p2.GetContentCodePage(), 65001);

  std::u16string t = u"<?xml version='1.0' encoding='windows-1252'?><a/>";
  TXoMemoryStream s3(t.data(), static_cast<int64_t>(t.size() * 2));
  TXoXMLParser p3(&s3, false, false, 1200);
  EXPECT_EQ(p3.GetCharacterSetType(), cstUTF16);
  EXPECT_EQ(*static_cast<const char16_t*>(p3.FQuote), u'"');
  EXPECT_EQ(*static_cast<const char16_t*>(p3.FBracketCA), u']');
  p3.SkipWhile(tpsUntilEqual, p3.FGt);
  EXPECT_TRUE(p3.CheckCurrChar(p3.FGt, true));

  // A mark found on request wins; the stream is read behind it.
  std::string m = "\xef\xbb\xbf<a/>";
  TXoMemoryStream s4(m.data(), static_cast<int64_t>(m.size()));
  TXoXMLParser p4(&s4, false, true, 1252);
  EXPECT_EQ(p4.GetCharacterSetType(), cstUTF8);
  EXPECT_EQ(p4.CurrCharW(), u'<');
}

TEST(SAXScanner, NameStartCharacters) {
  for (char16_t c : {u'A', u'Z', u'_', u'a', u'z', u'\u00C0', u'\u00D8', u'\u00F8', u'\u0370', u'\u037F',
                     u'\u200C', u'\u2070', u'\u2C00', u'\u3001', u'\uF900', u'\uFDF0', u'\uFFFD'})
    EXPECT_TRUE(TXoXMLParser::IsNameStartChar(c)) << int(c);
  for (char16_t c : {u':', u'-', u'.', u'0', u'9', u' ', u'\u00B7', u'\u00D7', u'\u00F7', u'\u037E',
                     u'\u2000', u'\u2190', u'\u3000', u'\uFDD0', u'\uFFFE', u'\0', char16_t(0xD800), char16_t(0xDC00)})
    EXPECT_FALSE(TXoXMLParser::IsNameStartChar(c)) << int(c);
  // A character beyond the Basic Multilingual Plane starts with a surrogate
  // and fails.
  TResult r = RunUTF8("<\xf0\x90\x80\x80/>");
  EXPECT_EQ(r.Code, 3);
}

// ===========================================================================
// Robustness

TEST(SAXReader, TruncatedInputNeverHangsOrCrashes) {
  const std::string doc =
      "<?xml version=\"1.0\"?><!DOCTYPE r [<!ELEMENT r ANY>]><!--c--><r xmlns:p=\"u\" p:a='1' b=\"2\">"
      "t&amp;<p:x/><![CDATA[d]]><?pi data?><e></e></r>";
  for (size_t n = 0; n <= doc.size(); ++n) {
    for (bool check : {true, false}) {
      TResult r = RunUTF8(doc.substr(0, n), check);
      if (r.Failed) {
        EXPECT_EQ(r.FatalCount, 1) << n;
      } else {
        EXPECT_EQ(r.Events.back(), "EndDocument") << n;
      }
    }
    // The same prefix as UTF-16.
    std::u16string t = XoUTF8ToUTF16(doc.substr(0, n));
    TResult r = RunText(t);
    EXPECT_EQ(r.FatalCount, r.Failed ? 1 : 0) << n;
  }
}

TEST(SAXEventWriter, LongNonASCIITextComesOutAsUTF8) {
  // Sixteen and more units in a row take the wide path of the conversion.
  std::string utf8;
  for (int i = 0; i < 40; ++i) utf8 += (i % 3 == 0) ? "\xe2\x80\xbf" : (i % 3 == 1) ? "\xc4\x80" : "x";
  TResult r = RunUTF8("<a>" + utf8 + "</a>");
  EXPECT_EQ(Inner(r)[1], "Characters\t" + utf8);
}

TEST(SAXEventWriter, EscapesAndFormats) {
  TMemoryStream ms;
  {
    TIntfPtr<TXoSAXEventWriter> w(new TXoSAXEventWriter(&ms));
    w->Characters(u"a\\b\tc\rd\ne\u00e9");
    w->ProcessingInstruction(u"t", u"");
    w->StartEntity(u"x");
    w->WriteFatalError(3, 4, u"bad\r\nthing");
  }
  std::string out(reinterpret_cast<const char*>(ms.Memory()), static_cast<size_t>(ms.GetSize()));
  EXPECT_EQ(out, "Characters\ta\\\\b\\tc\\rd\\ne\xc3\xa9\nProcessingInstruction\tt\t\nStartEntity\tx\n"
                 "FatalError\t3\t4\tbad\\r\\nthing\n");
}
