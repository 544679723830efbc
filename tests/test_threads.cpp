// Many threads at once, each with objects of its own: parsing, value
// conversions, JSON and form text as events, XML and JSON documents, the
// selection with filters, the standard DOM interfaces with XSLT, schema
// wrappers, the type registry, typed simple values and regular expressions. All threads start together, so that the library's start-up
// registrations and every lazily filled cache race. Run under
// ThreadSanitizer (-DXO_SANITIZE=thread) this proves there is no data race;
// in every build it proves the answers stay right under contention.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <latch>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "uXoJSON.h"
#include "uXoXMLDOM.h"
#include "uXoRegEx.h"
#include "uXoSAX.h"
#include "uXoTypes.h"
#include "uXoXMLUtils.h"
#include "uXoXSTypes.h"
#include "schema_order.h"

using namespace xo;

namespace {

constexpr int kThreads = 8;

// How long each stress test runs: XO_STRESS_MS milliseconds, default 1500.
std::chrono::milliseconds StressTime() {
  const char* env = std::getenv("XO_STRESS_MS");
  return std::chrono::milliseconds(env && *env ? std::atoll(env) : 1500);
}

// Runs AWork(thread, round) on kThreads threads that start together, round
// after round until the stress time is over. Answers the number of failed
// checks that the work reported through its result.
int RunTogether(const std::function<bool(int, int)>& AWork) {
  std::latch start(kThreads);
  std::atomic<int> failures{0};
  std::atomic<long> rounds{0};
  const auto until = std::chrono::steady_clock::now() + StressTime();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      int round = 0;
      do {
        try {
          if (!AWork(t, round)) ++failures;
        } catch (...) {
          ++failures;
        }
        ++round;
        ++rounds;
      } while (std::chrono::steady_clock::now() < until);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_GT(rounds.load(), kThreads);
  return failures.load();
}

// Counts events and sums their text lengths: the same document must give the
// same totals in every thread.
class TCounting : public TXoObject,
                  public virtual IXoSAXContentHandler,
                  public virtual IXoSAXErrorHandler {
public:
  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) override {}
  void Characters(const XoXMLString& AText) override { Sum += AText.size() + AText[0]; }
  void EndDocument() override { ++Events; }
  void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString&) override { ++Events; }
  void EndPrefixMapping(const XoXMLString&) override { ++Events; }
  void IgnorableWhitespace(const XoXMLString&) override {}
  void ProcessingInstruction(const XoXMLString&, const XoXMLString&) override { ++Events; }
  void SkippedEntity(const XoXMLString&) override {}
  void StartDocument() override { ++Events; }
  void StartElement(const XoXMLString& AURI, const XoXMLString&, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& AAttrs) override {
    ++Events;
    Sum += AURI.size() + AQName.size() + static_cast<size_t>(AAttrs->Count());
  }
  void StartPrefixMapping(const XoXMLString&, const XoXMLString& AURI) override { Sum += AURI.size(); }
  void Warning(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void Error(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void FatalError(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override { ++Fatal; }
  size_t Events = 0, Sum = 0;
  int Fatal = 0;
};

XoXMLString SampleDocument() {
  XoXMLString d = u"<?xml version=\"1.0\"?><r xmlns=\"urn:a\" xmlns:p=\"urn:p\">";
  for (int i = 0; i < 50; ++i)
    d += u"<p:item id=\"" + XoIntToXML(i) + u"\" name=\"caf\u00e9 &amp; th\u00e9\">\u00e9t\u00e9 " +
         XoIntToXML(i * 7) + u"</p:item><!-- c --><?pi data?>";
  return d + u"</r>";
}

struct TCounts {
  size_t Events, Sum;
  bool operator==(const TCounts&) const = default;
};

// Parses AText converted to the code page ACodePage (a declaration names it
// for the byte forms).
TCounts Parse(const XoXMLString& AText, uint16_t ACodePage) {
  TIntfPtr<TCounting> h(new TCounting());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(h.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(h.get()));
  if (ACodePage == 1200) {
    reader.Parse(AText);
  } else {
    std::string bytes = TXoEncoding::ConvertW(AText, ACodePage);
    reader.ParseBuffer(bytes.data(), static_cast<int64_t>(bytes.size()), ACodePage);
  }
  return {h->Events, h->Sum + static_cast<size_t>(h->Fatal) * 1000000};
}

}  // namespace

TEST(Threads, ParsingInSeveralCodePages) {
  const XoXMLString doc = SampleDocument();
  const uint16_t pages[] = {65001, 1200, 1252, 28591, 932, 1201};
  // Each code page's answer is taken after the threads ran, in one thread,
  // so that the first use of each code page table happens under contention.
  // Characters that a code page lacks become its substitute, so each page is
  // compared with itself.
  std::vector<std::vector<std::pair<uint16_t, TCounts>>> seen(kThreads);
  int failures = RunTogether([&](int t, int round) {
    uint16_t cp = pages[(t + round) % std::size(pages)];
    seen[static_cast<size_t>(t)].push_back({cp, Parse(doc, cp)});
    return true;
  });
  EXPECT_EQ(failures, 0);
  std::map<uint16_t, TCounts> want;
  for (uint16_t cp : pages) want.emplace(cp, Parse(doc, cp));
  EXPECT_EQ(want.at(1200), want.at(65001));
  EXPECT_EQ(want.at(1201), want.at(65001));
  for (const auto& list : seen)
    for (const auto& [cp, counts] : list) EXPECT_EQ(counts, want.at(cp)) << "code page " << cp;
}

TEST(Threads, ValueConversions) {
  int failures = RunTogether([](int t, int round) {
    const int64_t n = static_cast<int64_t>(t) * 1000003 + round;
    bool ok = XoXMLToInt64(XoInt64ToXML(n)) == n;
    ok &= XoXMLToStr(XoStrToXML(u"a<b>&\"c'", true, true)) == u"a<b>&\"c'";
    ok &= XoXMLToStr(u"&eacute;&#x263A;&lt;") == u"\u00e9\u263a<";
    const double d = (round % 1000) + 0.25;  // written with 15 digits: exact values only
    ok &= XoXMLToDouble(XoDoubleToXML(d)) == d;
    TDateTime dt = 45000.25 + t;
    ok &= XoXMLToDateTime(XoDateTimeToXML(dt, tzfNone)) == dt;
    TXoDuration dur = XoXMLToDuration(u"P1Y2M3DT4H5M6.5S");
    ok &= XoDurationToXML(dur) == u"P1Y2M3DT4H5M6.5S";
    ok &= XoXMLToBool(XoBoolToXML(round % 2 == 0)) == (round % 2 == 0);
    return ok;
  });
  EXPECT_EQ(failures, 0);
}

TEST(Threads, TypeRegistryLookups) {
  int failures = RunTogether([](int t, int round) {
    bool ok = true;
    for (const char16_t* name : {u"System.Integer", u"System.string", u"System.Double", u"System.Boolean",
                                 u"System.TDateTime"}) {
      TXoTypeInfo* info = TXoTypes::GetTypeInfo(name, tntQualified);
      ok &= info != nullptr && XoSameText(info->GetQualifiedName(), name);
    }
    ok &= TXoTypes::Of<int32_t>()->GetTypeKind() == xtkInteger;
    ok &= TXoTypes::Of<std::u16string>()->GetTypeKind() == xtkString;
    ok &= TXoTypes::Of<std::vector<int32_t>>()->GetElementType() == TXoTypes::Of<int32_t>();
    (void)t;
    (void)round;
    return ok;
  });
  EXPECT_EQ(failures, 0);
}

TEST(Threads, TypedSimpleValuesAndPatterns) {
  int failures = RunTogether([](int t, int round) {
    bool ok = true;
    // The pattern cache is shared; patterns differ by thread and repeat by round.
    const std::u16string pattern = u"^[a-z]+" + XoIntToXML(t % 3) + u"$";
    ok &= TRegEx::IsMatch(u"abc" + XoIntToXML(t % 3), pattern);
    ok &= !TRegEx::IsMatch(u"ABC" + XoIntToXML(t % 3), pattern);
    ok &= TRegEx::Replace(u"a1b22c", u"[0-9]+", u"#") == u"a#b#c";
    TXsInteger<int32_t> v;
    ok &= v.IsNull();
    v = round;
    ok &= !v.IsNull() && static_cast<int32_t>(v) == round;
    return ok;
  });
  EXPECT_EQ(failures, 0);
}

namespace {

// Counts JSON events and sums the lengths of names and values.
class TJSONCounting : public TXoObject,
                      public virtual IXoJSONContentHandler,
                      public virtual IXoJSONErrorHandler {
public:
  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>&) override {}
  void StartDocument() override { ++Events; }
  void StartObject() override { ++Events; }
  void StartMember(const XoJSONString& AName) override { Sum += AName.size(); }
  void StartArray() override { ++Events; }
  void Value(TXoJSONDataType AType, const XoJSONString& AValue) override {
    Sum += AValue.size() + static_cast<size_t>(AType);
    if (AType == jdtString) Sum += XoJSONtoStr(AValue, AType).size();
  }
  void EndArray() override { ++Events; }
  void EndMember() override { ++Events; }
  void EndObject() override { ++Events; }
  void EndDocument() override { ++Events; }
  void Warning(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
  void Error(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
  void FatalError(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override { Sum += 1000000; }
  size_t Events = 0, Sum = 0;
};

TCounts ParseJSON(TXoJSONReader& AReader, const std::string& AText, uint16_t ACodePage) {
  TIntfPtr<TJSONCounting> h(new TJSONCounting());
  AReader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(h.get()));
  AReader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(h.get()));
  if (ACodePage == 1200) {
    AReader.Parse(TXoEncoding::ConvertA(AText, 65001));
  } else {
    std::string bytes = TXoEncoding::ConvertW(TXoEncoding::ConvertA(AText, 65001), ACodePage);
    AReader.ParseBuffer(bytes.data(), static_cast<int64_t>(bytes.size()), ACodePage);
  }
  return {h->Events, h->Sum};
}

}  // namespace

TEST(Threads, JSONAndFormTextAsEvents) {
  std::string json = "{\"items\":[";
  for (int i = 0; i < 40; ++i)
    json += std::string(i ? "," : "") + "{\"id\":" + std::to_string(i) + ",\"name\":\"caf\u00e9 \\u263a\",\"ok\":true,\"x\":null}";
  json += "]}";
  const std::string form = "a=1&b[]=x+y&b[]=%C3%A9&c[d]=2";
  const uint16_t pages[] = {65001, 1200, 1252};
  std::vector<std::vector<std::pair<int, TCounts>>> seen(kThreads);
  int failures = RunTogether([&](int t, int round) {
    const uint16_t cp = pages[(t + round) % std::size(pages)];
    if ((t + round) % 4 == 3) {
      TXoFormURLEncodedJSONReader reader;
      seen[static_cast<size_t>(t)].push_back({-1, ParseJSON(reader, form, 65001)});
    } else {
      TXoJSONReader reader;
      seen[static_cast<size_t>(t)].push_back({cp, ParseJSON(reader, json, cp)});
    }
    return true;
  });
  EXPECT_EQ(failures, 0);
  std::map<int, TCounts> want;
  for (uint16_t cp : pages) {
    TXoJSONReader reader;
    want.emplace(cp, ParseJSON(reader, json, cp));
  }
  TXoFormURLEncodedJSONReader formReader;
  want.emplace(-1, ParseJSON(formReader, form, 65001));
  EXPECT_EQ(want.at(1200), want.at(65001));
  for (const auto& list : seen)
    for (const auto& [cp, counts] : list) EXPECT_EQ(counts, want.at(cp)) << "source " << cp;
}

namespace {

// Loads, changes and saves an XML document (from XML or from JSON text).
XoXMLString XMLRoundTrip(const XoXMLString& AText, int AThread) {
  TXoDOMDocument doc;
  doc.LoadXML(AText);
  TXoDOMElement* added = doc.GetRootNode()->AddElement(u"added");
  added->SetAttribute(u"thread", XoIntToXML(AThread % 2));
  added->SetAsString(u"a < b & c");
  return doc.GetXML() + doc.GetFormattedXML();
}

XoJSONString JSONRoundTrip(const XoJSONString& AText) {
  TXoJSONDocument* doc = TXoJSONDocument::CreateFromJSON(AText);
  XoJSONString out = doc->GetAsJSON();
  doc->Free();
  return out;
}

}  // namespace

TEST(Threads, DocumentsLoadChangeAndSave) {
  const XoXMLString xml = SampleDocument();
  XoJSONString json = u"{\"items\":[";
  for (int i = 0; i < 40; ++i)
    json += XoJSONString(i ? u"," : u"") + u"{\"id\":" + XoIntToXML(i) + u",\"name\":\"caf\u00e9\",\"on\":true}";
  json += u"]}";
  std::vector<std::vector<std::pair<int, XoXMLString>>> seen(kThreads);
  int failures = RunTogether([&](int t, int round) {
    switch ((t + round) % 3) {
      case 0: seen[static_cast<size_t>(t)].push_back({t % 2, XMLRoundTrip(xml, t)}); break;
      case 1: seen[static_cast<size_t>(t)].push_back({2 + t % 2, XMLRoundTrip(json, t)}); break;
      default: seen[static_cast<size_t>(t)].push_back({4, JSONRoundTrip(json)}); break;
    }
    return true;
  });
  EXPECT_EQ(failures, 0);
  const XoXMLString want[] = {XMLRoundTrip(xml, 0), XMLRoundTrip(xml, 1), XMLRoundTrip(json, 0),
                              XMLRoundTrip(json, 1), JSONRoundTrip(json)};
  EXPECT_NE(want[0].find(u"a &lt; b &amp; c"), XoXMLString::npos);
  for (const auto& list : seen)
    for (const auto& [kind, text] : list) EXPECT_EQ(text, want[kind]) << "kind " << kind;
}

TEST(Threads, SelectionWithFiltersAndFunctions) {
  XoXMLString xml = u"<r>";
  for (int i = 0; i < 60; ++i)
    xml += u"<item id=\"" + XoIntToXML(i) + u"\"><price>" + XoIntToXML(i * 7 % 150) + u"</price><name>n" +
           XoIntToXML(i) + u"</name></item>";
  xml += u"</r>";
  const char16_t* const paths[] = {u"item[@id=\"7\"]", u"//item[price>100]", u"item[last()]",
                                   u"item[not(@id=\"3\") and price=21]/name", u"//name|//price", u"item[2]/@id",
                                   u"//item[matches(name, \"^n[0-9]*5$\")]", u"item[contains(name, \"1\")]",
                                   u"//item[upper-case(name)=\"N12\"]", u"item[string-length(name) > 2]",
                                   u"item[replace(name, \"n\", \"x\")=\"x9\"]"};
  auto select = [&](TXoDOMDocument& ADoc, const char16_t* APath) {
    std::unique_ptr<TXoDOMNodeList> list(ADoc.GetRootNode()->CreateNodeList(APath));
    XoXMLString r = XoIntToXML(list->Count());
    for (TXoDOMNode* n : *list) r += u" " + n->GetXML();
    return r;
  };
  std::vector<std::vector<std::pair<size_t, XoXMLString>>> seen(kThreads);
  int failures = RunTogether([&](int t, int round) {
    TXoDOMDocument doc;
    doc.LoadXML(xml);
    for (size_t i = 0; i < std::size(paths); ++i)
      if ((i + static_cast<size_t>(t + round)) % 2 == 0) seen[static_cast<size_t>(t)].push_back({i, select(doc, paths[i])});
    return true;
  });
  EXPECT_EQ(failures, 0);
  TXoDOMDocument doc;
  doc.LoadXML(xml);
  std::vector<XoXMLString> want;
  for (const char16_t* p : paths) want.push_back(select(doc, p));
  // The answers themselves, once: one item by id, n5 to n55 by pattern, the
  // names holding a "1", N12 by case, n9 by replacement.
  EXPECT_EQ(want[0].substr(0, 2), u"1 ");
  EXPECT_EQ(want[6].substr(0, 2), u"6 ");
  EXPECT_EQ(want[7].substr(0, 3), u"15 ");
  EXPECT_EQ(want[8].substr(0, 2), u"1 ");
  EXPECT_EQ(want[10].substr(0, 2), u"1 ");
  for (const auto& list : seen)
    for (const auto& [i, text] : list) EXPECT_EQ(text, want[i]) << "path " << XoUTF16ToUTF8(paths[i]);
}

TEST(Threads, JSONThroughTheXMLTree) {
  // JSON text as XML events into a tree of each thread's own, written back
  // as JSON and as XML; and the component counting the same events.
  std::u16string json = u"{\"items\":[";
  for (int i = 0; i < 30; ++i)
    json += std::u16string(i ? u"," : u"") + u"{\"id\":" + XoIntToXML(i) + u",\"name\":\"caf\u00e9\",\"ok\":true,\"x\":null}";
  json += u"]}";
  auto run = [&]() {
    TXoDOMDocument doc;
    doc.LoadXML(json);
    TXoSAXParser parser;
    size_t events = 0;
    parser.OnStartElement = [&](TObject*, const XoXMLString&, const XoXMLString&, const XoXMLString& q,
                                const TIntfPtr<IXoSAXAttributes>& a) { events += q.size() + static_cast<size_t>(a->Count()); };
    parser.Parse(json);
    return doc.GetAsFormattedJSON() + doc.GetXML() + XoInt64ToXML(static_cast<int64_t>(events));
  };
  const std::u16string want = run();
  int failures = RunTogether([&](int, int) { return run() == want; });
  EXPECT_EQ(failures, 0);
}

TEST(Threads, StandardInterfacesAndTransforms) {
  // A document built, queried and transformed only through the standard
  // interfaces; the vendor registry is looked up by every thread.
  auto run = [](int AThread) {
    TIntfPtr<IDOMDocument> doc = XoCreateDOM(u"Tavrix", u"", u"catalog");
    for (int i = 0; i < 20; ++i)
      XoAddElement(doc->get_documentElement(), u"book")->setAttribute(u"title", u"t" + XoIntToXML(i + AThread));
    TIntfPtr<IDOMNodeList> books = doc.As<IDOMNodeSelect>()->selectNodes(u"/catalog/book[@title!=\"t3\"]");
    TIntfPtr<IDOMDocument> sheet = XoCreateDOM(
        u"<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>"
        u"<xsl:output method='text'/><xsl:template match='/'>"
        u"<xsl:for-each select='//book'><xsl:value-of select='@title'/>;</xsl:for-each>"
        u"</xsl:template></xsl:stylesheet>");
    XoXMLString titles;
    doc.As<IDOMNodeEx>()->transformNode(sheet, titles);
    return XoIntToXML(books->get_length()) + u"|" + titles;
  };
  std::vector<std::u16string> want;
  for (int t = 0; t < kThreads; ++t) want.push_back(run(t));
  EXPECT_EQ(want[0].substr(0, 3), u"19|");
  int failures = RunTogether([&](int t, int) { return run(t) == want[t]; });
  EXPECT_EQ(failures, 0);
}

TEST(Threads, SchemaWrappers) {
  // Typed records over documents of each thread: reads that create required
  // nodes, writes in declaration order, repeated elements.
  auto run = [](int AThread) {
    TXoDOMDocument doc;
    doc.LoadXML(u"<order id='A-" + XoIntToXML(AThread) + u"'><note>n</note></order>");
    double total = 0;
    {
      xo_example::TOrder order(doc.RootNode());
      order.SetNumber(1000 + AThread);
      order.SetCustomer(u"Jane Roe");
      order.ShipTo()->SetCity(u"Amsterdam");
      for (int i = 0; i < 5; ++i) {
        xo_example::TOrderLine* line = order.Lines()->Add();
        line->SetSku(u"X" + XoIntToXML(i));
        line->SetQuantity(i + 1);
        line->SetPrice(1.25);
      }
      order.SetPaid(true);
      total = order.Total();
      (void)order.Date();  // required: created by the read
    }
    return doc.GetXML() + u"|" + XoDoubleToXML(total);
  };
  std::vector<std::u16string> want;
  for (int t = 0; t < kThreads; ++t) want.push_back(run(t));
  int failures = RunTogether([&](int t, int) { return run(t) == want[t]; });
  EXPECT_EQ(failures, 0);
}
