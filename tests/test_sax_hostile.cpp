// The reader under hostile input: streams that cannot seek, inputs that never
// end, documents built to make namespace handling or position queries
// quadratic, and failures of the standard library inside a parse.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "uXoSAX.h"

using namespace xo;

namespace {

// Records events as `xo events` lines and counts fatal errors.
class TLines : public TXoSAXEventWriter {
public:
  TLines() : TXoSAXEventWriter(&FStream) {}
  ~TLines() override { Flush(); }
  std::string Text() {
    Flush();
    return std::string(reinterpret_cast<const char*>(FStream.Memory()), static_cast<size_t>(FStream.GetSize()));
  }
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override {
    ++Fatal;
    TXoSAXEventWriter::FatalError(ALocator, ErrMsg);
  }
  int Fatal = 0;

private:
  TMemoryStream FStream;
};

struct TOutcome {
  std::string Events;
  int Fatal = 0;
  bool Raised = false;
  bool XoException = false;
  std::string Message;
};

TOutcome RunParse(const std::function<void(TXoSAXXMLReader&)>& AParse,
             const std::function<void(TXoSAXXMLReader&, TLines&)>& ASetup = {}) {
  TOutcome r;
  TIntfPtr<TLines> rec(new TLines());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  reader.SetLexicalHandler(TIntfPtr<IXoSAXLexicalHandler>(rec.get()));
  if (ASetup) ASetup(reader, *rec);
  try {
    AParse(reader);
  } catch (const Exception& e) {
    r.Raised = r.XoException = true;
    r.Message = XoUTF16ToUTF8(e.Message());
  } catch (...) {
    r.Raised = true;
  }
  r.Events = rec->Text();
  r.Fatal = rec->Fatal;
  return r;
}

std::string TempPath(const char* AName) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir && *dir ? dir : "/tmp") + "/xo-hostile-" + std::to_string(::getpid()) + "-" + AName;
}

// Writes ABytes into a FIFO from another thread while the reader reads it.
TOutcome ParseThroughFifo(const std::string& ABytes) {
  const std::string path = TempPath("fifo");
  ::unlink(path.c_str());
  EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
  std::thread writer([&] {
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
      std::fwrite(ABytes.data(), 1, ABytes.size(), f);
      std::fclose(f);
    }
  });
  TOutcome r = RunParse([&](TXoSAXXMLReader& R) { R.ParseFile(path); });
  writer.join();
  ::unlink(path.c_str());
  return r;
}

TOutcome ParseThroughFile(const std::string& ABytes) {
  const std::string path = TempPath("file");
  FILE* f = std::fopen(path.c_str(), "wb");
  std::fwrite(ABytes.data(), 1, ABytes.size(), f);
  std::fclose(f);
  TOutcome r = RunParse([&](TXoSAXXMLReader& R) { R.ParseFile(path); });
  ::unlink(path.c_str());
  return r;
}

// CPU seconds this thread spends in AWork: unlike the wall clock, this does
// not grow when other processes keep the machine busy.
double CpuSeconds(const std::function<void()>& AWork) {
  auto now = [] {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
  };
  const double t0 = now();
  AWork();
  return now() - t0;
}

}  // namespace

TEST(SAXHostile, PipesAndFifosLoseNoBytes) {
  // With and without byte-order marks: the marks are recognised in what was
  // read, so the first bytes of a stream that cannot seek are never lost.
  const std::string plain = "<abc>x</abc>";
  const std::string utf8bom = "\xEF\xBB\xBF<root a=\"1\"><child/>\xC3\xA9</root>";
  std::string utf16bom = "\xFF\xFE";
  for (char c : std::string("<r>t</r>")) {
    utf16bom += c;
    utf16bom += '\0';
  }
  for (const std::string& doc : {plain, utf8bom, utf16bom}) {
    TOutcome fromFile = ParseThroughFile(doc);
    TOutcome fromFifo = ParseThroughFifo(doc);
    EXPECT_FALSE(fromFile.Raised) << fromFile.Message;
    EXPECT_FALSE(fromFifo.Raised) << fromFifo.Message;
    EXPECT_EQ(fromFifo.Events, fromFile.Events);
  }
  EXPECT_NE(ParseThroughFifo(plain).Events.find("Characters\tx"), std::string::npos);

  // The stream probe alone cannot put bytes back into a pipe: it refuses
  // instead of losing them.
  const std::string path = TempPath("probe");
  ::unlink(path.c_str());
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  std::thread writer([&] {
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
      std::fputs(plain.c_str(), f);
      std::fclose(f);
    }
  });
  {
    TFileStream fifo(path, fmOpenRead);
    EXPECT_THROW(XoGetCodePage(&fifo), EStreamError);
    char buf[32] = {};
    EXPECT_EQ(fifo.Read(buf, sizeof buf), static_cast<int64_t>(plain.size()));
  }
  writer.join();
  ::unlink(path.c_str());
}

TEST(SAXHostile, EndlessStreamHitsTheSizeLimit) {
  // A stream that never ends: the reader stops at the limit with its own
  // exception, reported through FatalError first.
  class TEndless : public TStream {
  public:
    int64_t Read(void* ABuffer, int64_t ACount) override {
      std::memset(ABuffer, 'a', static_cast<size_t>(ACount));
      return ACount;
    }
    int64_t Write(const void*, int64_t) override { return 0; }
    int64_t Seek(int64_t, TSeekOrigin) override { return -1; }
  };
  const int64_t saved = XoGetMaxInputSize();
  XoSetMaxInputSize(1 << 20);
  TEndless endless;
  TOutcome r = RunParse([&](TXoSAXXMLReader& R) { R.ParseStream(&endless, 65001); });
  EXPECT_TRUE(r.XoException);
  EXPECT_EQ(r.Fatal, 1);
  EXPECT_NE(r.Message.find("larger than 1048576 bytes"), std::string::npos) << r.Message;

  // A file larger than the limit is refused before it is read; one at the
  // limit is read.
  std::string doc = "<a>" + std::string(1000, 'x') + "</a>";
  XoSetMaxInputSize(static_cast<int64_t>(doc.size()) - 1);
  EXPECT_EQ(ParseThroughFile(doc).Fatal, 1);
  EXPECT_EQ(ParseThroughFifo(doc).Fatal, 1);
  XoSetMaxInputSize(static_cast<int64_t>(doc.size()));
  EXPECT_FALSE(ParseThroughFile(doc).Raised);
  EXPECT_FALSE(ParseThroughFifo(doc).Raised);
  XoSetMaxInputSize(saved);
  EXPECT_THROW(XoSetMaxInputSize(-1), EArgumentOutOfRangeException);

  // Memory the caller holds already is read whatever the limit.
  XoSetMaxInputSize(4);
  EXPECT_FALSE(RunParse([](TXoSAXXMLReader& R) { R.Parse(XoXMLString(u"<abcdef/>")); }).Raised);
  XoSetMaxInputSize(saved);
}

TEST(SAXHostile, EveryFailureLeavesAsALibraryExceptionAfterFatalError) {
  // A file that cannot be opened, an unknown encoding (whose name is cut in
  // the message), and a handler failing inside the standard library.
  TOutcome missing = RunParse([](TXoSAXXMLReader& R) { R.ParseFile(TempPath("no-such-file")); });
  EXPECT_TRUE(missing.XoException);
  EXPECT_EQ(missing.Fatal, 1);
  EXPECT_NE(missing.Message.find("Cannot open file"), std::string::npos);

  std::string longName(100000, 'x');
  std::string doc = "<?xml version=\"1.0\" encoding=\"" + longName + "\"?><a/>";
  TOutcome unknown = RunParse([&](TXoSAXXMLReader& R) { R.Parse(doc, 0); });
  EXPECT_TRUE(unknown.XoException);
  EXPECT_EQ(unknown.Fatal, 1);
  EXPECT_LT(unknown.Message.size(), 200u);
  EXPECT_NE(unknown.Message.find("Unknown code page"), std::string::npos);

  class TThrowing : public TLines {
  public:
    void StartElement(const XoXMLString&, const XoXMLString&, const XoXMLString& AQName,
                      const TIntfPtr<IXoSAXAttributes>&) override {
      if (AQName == u"alloc") throw std::bad_alloc();
      throw std::length_error("too long");
    }
  };
  for (const char* name : {"alloc", "length"}) {
    TIntfPtr<TThrowing> h(new TThrowing());
    TXoSAXXMLReader reader;
    reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
    reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
    std::string text = std::string("<") + name + "/>";
    try {
      reader.Parse(text, 65001);
      ADD_FAILURE() << "no exception";
    } catch (const EXoException& e) {
      EXPECT_EQ(XoUTF16ToUTF8(e.Message()), std::string(name) == "alloc" ? "Out of memory" : "too long");
    } catch (...) {
      ADD_FAILURE() << "a foreign exception left the parse";
    }
    EXPECT_EQ(h->Fatal, 1);
  }

  // The missing-handler errors still come first, before the file is touched.
  TXoSAXXMLReader bare;
  try {
    bare.ParseFile(TempPath("no-such-file"));
    ADD_FAILURE() << "no exception";
  } catch (const EXoXMLParseError& e) {
    EXPECT_EQ(e.Code(), cXoXMLErrNoContentHandler);
  }
}

TEST(SAXHostile, NamespaceHandlingIsLinear) {
  // Three shapes: a root declaring N prefixes and N children each using
  // another; N nested elements each declaring a prefix; one start tag with N
  // declarations between plain attributes.
  auto wide = [](size_t n) {
    std::string s = "<root";
    for (size_t i = 0; i < n; ++i) s += " xmlns:p" + std::to_string(i) + "=\"u" + std::to_string(i) + "\"";
    s += ">";
    for (size_t i = 0; i < n; ++i) s += "<p" + std::to_string(i) + ":c/>";
    return s + "</root>";
  };
  auto deep = [](size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += "<p" + std::to_string(i) + ":e xmlns:p" + std::to_string(i) + "=\"u\">";
    for (size_t i = n; i-- > 0;) s += "</p" + std::to_string(i) + ":e>";
    return s;
  };
  auto oneTag = [](size_t n) {
    std::string s = "<root";
    for (size_t i = 0; i < n; ++i) s += " xmlns:p" + std::to_string(i) + "=\"u\" a" + std::to_string(i) + "=\"v\"";
    return s + "/>";
  };
  class TCounter : public TLines {
  public:
    void StartElement(const XoXMLString& AURI, const XoXMLString&, const XoXMLString&,
                      const TIntfPtr<IXoSAXAttributes>&) override {
      if (!AURI.empty()) ++WithURI;
    }
    void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString&) override {}
    void StartPrefixMapping(const XoXMLString&, const XoXMLString&) override { ++Open; }
    void EndPrefixMapping(const XoXMLString&) override { --Open; }
    int WithURI = 0, Open = 0;
  };
  for (auto make : {std::function<std::string(size_t)>(wide), std::function<std::string(size_t)>(deep),
                    std::function<std::string(size_t)>(oneTag)}) {
    auto parse = [&](size_t n) {
      std::string doc = make(n);
      TIntfPtr<TCounter> h(new TCounter());
      TXoSAXXMLReader reader;
      reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
      reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
      reader.Parse(doc, 65001);
      EXPECT_EQ(h->Open, 0);  // every mapping ended
    };
    // 100,000 declarations: a lookup that walks the list costs tens of
    // seconds here, a linear one a small fraction of a second even with
    // sanitizers.
    EXPECT_LT(CpuSeconds([&] { parse(100000); }), 4.0);
  }

  // The answers stay right: the newest declaration of a prefix wins, and
  // ending an element brings the outer one back.
  TOutcome r = RunParse([](TXoSAXXMLReader& R) {
    R.Parse(std::string("<a xmlns:p='1'><b xmlns:p='2'><p:x/></b><p:y/></a>"), 65001);
  });
  EXPECT_NE(r.Events.find("StartElement\t2\tx\tp:x"), std::string::npos) << r.Events;
  EXPECT_NE(r.Events.find("StartElement\t1\ty\tp:y"), std::string::npos) << r.Events;
}

TEST(SAXHostile, LeftOverDeclarationsOfAFailedParseAreStillEnded) {
  // A reader reused after a failed parse keeps the declarations of the
  // elements left open; a new parse still ends every mapping it starts and
  // finds the newest declaration first.
  TIntfPtr<TLines> rec(new TLines());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(rec.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(rec.get()));
  EXPECT_ANY_THROW(reader.Parse(std::string("<a xmlns:p='1'><b xmlns:q='2'><c/><"), 65001));
  EXPECT_EQ(reader.NamespaceList()->Count(), 2);
  rec->Text();
  reader.Parse(std::string("<x xmlns:p='3'><y xmlns:q='4'><q:z/></y><p:w/></x>"), 65001);
  std::string text = rec->Text();
  EXPECT_NE(text.find("StartElement\t4\tz\tq:z"), std::string::npos) << text;
  EXPECT_NE(text.find("StartElement\t3\tw\tp:w"), std::string::npos) << text;
  // The end of the new root ends everything of its level and deeper, old
  // records included.
  EXPECT_EQ(reader.NamespaceList()->Count(), 0);
}

TEST(SAXHostile, PositionQueriesAtEveryEventAreLinear) {
  // Siblings on one line with a handler that asks the reader for the line
  // and column at every event.
  class TAsking : public TLines {
  public:
    void StartElement(const XoXMLString&, const XoXMLString&, const XoXMLString&,
                      const TIntfPtr<IXoSAXAttributes>&) override {
      LastCol = Loc->GetColNr();
      LastLine = Loc->GetLineNr();
    }
    TIntfPtr<IXoSAXLocator> Loc;
    int64_t LastCol = 0, LastLine = 0;
  };
  int64_t col = 0, line = 0;
  auto parse = [&](size_t n) {
    std::string doc = "<r>";
    for (size_t i = 0; i < n; ++i) doc += "<e/>";
    doc += "</r>";
    TIntfPtr<TAsking> h(new TAsking());
    TXoSAXXMLReader reader;
    reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
    reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
    h->Loc = TIntfPtr<IXoSAXLocator>(&reader);
    reader.Parse(doc, 65001);
    h->Loc = nullptr;
    col = h->LastCol;
    line = h->LastLine;
  };
  // Counting from the start of the line at each query takes seconds for
  // 100,000 siblings; counting on from the last answer, milliseconds.
  EXPECT_LT(CpuSeconds([&] { parse(100000); }), 1.5);
  parse(3);
  EXPECT_EQ(line, 1);
  EXPECT_GT(col, 4);  // the column of the last <e/> lies past the first
}

TEST(SAXHostile, MultiByteCodePagesConvertAcrossSliceBoundaries) {
  // Several hundred kilobytes in Shift_JIS and in UTF-16BE: the conversion
  // runs slice by slice and must not split or drop a character where a slice
  // ends.
  std::u16string text;
  for (int i = 0; i < 200000; ++i) text += (i % 3 == 0) ? u'\u3042' : (i % 3 == 1) ? u'a' : u'\u6f22';
  std::u16string doc = u"<r>" + text + u"</r>";
  for (uint16_t cp : {uint16_t(932), uint16_t(1201)}) {
    std::string bytes = TXoEncoding::ConvertW(doc, cp);
    EXPECT_EQ(TXoEncoding::ConvertA(bytes, cp), doc);
    std::u16string got;
    class TText : public TLines {
    public:
      explicit TText(std::u16string& AOut) : Out(AOut) {}
      void Characters(const XoXMLString& AText) override { Out += AText; }
      std::u16string& Out;
    };
    TIntfPtr<TText> h(new TText(got));
    TXoSAXXMLReader reader;
    reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
    reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
    reader.ParseBuffer(bytes.data(), static_cast<int64_t>(bytes.size()), cp);
    EXPECT_EQ(got, text) << "code page " << cp;
  }
}

#if !defined(__SANITIZE_ADDRESS__) && defined(NDEBUG)
TEST(SAXHostile, LineNumbersPastTwoToTheThirtyFirst) {
  // 2^31 + 5 line ends before the root: the locator counts lines in 64 bits.
  const size_t lines = (size_t(1) << 31) + 5;
  std::string doc;
  try {
    doc.assign(lines, '\n');
  } catch (const std::bad_alloc&) {
    GTEST_SKIP() << "not enough memory";
  }
  doc += "<a><";
  int64_t line = 0;
  class TLine : public TLines {
  public:
    void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString&) override {
      Line = ALocator->GetLineNr();
    }
    int64_t Line = 0;
  };
  TIntfPtr<TLine> h(new TLine());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
  EXPECT_ANY_THROW(reader.ParseBuffer(doc.data(), static_cast<int64_t>(doc.size()), 65001));
  line = h->Line;
  EXPECT_EQ(line, static_cast<int64_t>(lines) + 1);
}
#endif
