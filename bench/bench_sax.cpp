// Throughput of the SAX XML reader with handlers that do nothing, side by
// side with expat and libxml2's SAX2 interface on the same bytes (all three
// with namespace processing). Three generated UTF-8 documents of about 4 MB:
//   data   - many small records (short elements, a few attributes)
//   text   - prose paragraphs with some inline markup and references
//   attrns - attribute- and namespace-heavy features (prefixed names,
//            local declarations, long attribute lists)
// After the runs a table gives MB/s per library and xo's ratios.
#include <cstdlib>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "uXoSAX.h"

#ifdef XO_HAVE_EXPAT
#include <expat.h>
#endif
#ifdef XO_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#endif

using namespace xo;

namespace {

constexpr size_t kTargetSize = 4 * 1024 * 1024;

const char* const kFirst[] = {"Anna", "Bruno", "Chloé", "Dmitri", "Eva", "François", "Günther", "Hana", "Ivo", "Jun"};
const char* const kLast[] = {"Schmidt", "Dubois", "Nowak", "Rossi", "García", "Søndergaard", "Tanaka", "Kowalski"};
const char* const kWords[] = {"the",     "reader",  "scans",   "markup",     "quickly", "and",   "passes",
                              "text",    "on",      "exactly", "as",         "written", "while", "events",
                              "arrive",  "in",      "order",   "for",        "every",   "tag",   "façade",
                              "naïve",   "données", "élément", "attribute",  "value",   "of",    "a",
                              "long",    "section", "with",    "paragraphs", "within",  "chapters"};

std::string Pick(std::mt19937& rng, const char* const* AList, size_t ACount) { return AList[rng() % ACount]; }

std::string Sentence(std::mt19937& rng, int AWords) {
  std::string s;
  for (int i = 0; i < AWords; ++i) {
    if (i) s += ' ';
    s += kWords[rng() % (sizeof kWords / sizeof *kWords)];
  }
  return s;
}

const std::string& DataDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(11);
    std::string d = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<orders generated=\"2024-03-12\">\n";
    for (int id = 1; d.size() < kTargetSize; ++id) {
      d += "  <order id=\"" + std::to_string(id) + "\" status=\"" + (rng() % 3 ? "shipped" : "open") + "\">\n";
      d += "    <customer><first>" + Pick(rng, kFirst, 10) + "</first><last>" + Pick(rng, kLast, 8) +
           "</last></customer>\n";
      d += "    <date>2024-0" + std::to_string(1 + rng() % 9) + "-1" + std::to_string(rng() % 10) + "</date>\n";
      int items = 1 + static_cast<int>(rng() % 4);
      for (int i = 0; i < items; ++i)
        d += "    <item sku=\"A-" + std::to_string(rng() % 1000) + "\" qty=\"" + std::to_string(1 + rng() % 9) +
             "\"><price>" + std::to_string(rng() % 100) + "." + std::to_string(10 + rng() % 90) +
             "</price><tax>0.19</tax></item>\n";
      d += "    <total currency=\"EUR\">" + std::to_string(rng() % 1000) + ".00</total>\n  </order>\n";
    }
    d += "</orders>\n";
    return d;
  }();
  return doc;
}

const std::string& TextDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(12);
    std::string d = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- A generated book. -->\n<book lang=\"en\">\n";
    for (int ch = 1; d.size() < kTargetSize; ++ch) {
      d += "<chapter n=\"" + std::to_string(ch) + "\">\n<title>" + Sentence(rng, 5) + "</title>\n";
      for (int p = 0; p < 12; ++p) {
        d += "<para>";
        int parts = 3 + static_cast<int>(rng() % 5);
        for (int i = 0; i < parts; ++i) {
          d += Sentence(rng, 20 + static_cast<int>(rng() % 40));
          switch (rng() % 5) {
            case 0: d += " <em>" + Sentence(rng, 2) + "</em> "; break;
            case 1: d += " &amp; "; break;
            case 2: d += ".\n"; break;
            default: d += ". "; break;
          }
        }
        d += "</para>\n";
      }
      d += "</chapter>\n";
    }
    d += "</book>\n";
    return d;
  }();
  return doc;
}

const std::string& AttrNsDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(13);
    std::string d =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<gml:FeatureCollection xmlns=\"urn:example:features\" xmlns:gml=\"http://www.opengis.net/gml\" "
        "xmlns:xlink=\"http://www.w3.org/1999/xlink\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n";
    for (int id = 1; d.size() < kTargetSize; ++id) {
      std::string sid = std::to_string(id);
      bool local = rng() % 4 == 0;
      d += "  <gml:featureMember" + std::string(local ? " xmlns:app=\"urn:example:app:" + sid + "\"" : "") + ">\n";
      d += "    <" + std::string(local ? "app:" : "") + "Road gml:id=\"r" + sid + "\" xsi:type=\"RoadType\" lanes=\"" +
           std::to_string(1 + rng() % 6) + "\" surface=\"asphalt\" speed=\"" + std::to_string(30 + rng() % 90) +
           "\" xlink:href=\"#seg" + std::to_string(rng() % 5000) + "\" xlink:title=\"" + Pick(rng, kLast, 8) +
           " Street\" oneway=\"" + (rng() % 2 ? "true" : "false") + "\">\n";
      d += "      <gml:LineString srsName=\"EPSG:4326\" srsDimension=\"2\"><gml:posList count=\"3\">";
      for (int i = 0; i < 6; ++i) d += std::to_string(rng() % 180) + "." + std::to_string(rng() % 100000) + " ";
      d += "</gml:posList></gml:LineString>\n";
      d += "      <gml:name codeSpace=\"urn:names\" xml:lang=\"de\">" + Pick(rng, kLast, 8) + "straße</gml:name>\n";
      d += "    </" + std::string(local ? "app:" : "") + "Road>\n  </gml:featureMember>\n";
    }
    d += "</gml:FeatureCollection>\n";
    return d;
  }();
  return doc;
}

// Namespace shapes that a naive prefix lookup makes quadratic: a root
// declaring N prefixes with N children each using another one; N nested
// elements each declaring a prefix; one start tag with N declarations between
// plain attributes. Each comes with a twin of the same bytes whose attributes
// are named "xmlnt" instead of "xmlns", so the reader sees no declaration:
// the two should run at about the same speed. XO_BENCH_NS_N sets N (default
// 100,000).
size_t NamespaceCount() {
  const char* env = std::getenv("XO_BENCH_NS_N");
  return env && *env ? static_cast<size_t>(std::strtoull(env, nullptr, 10)) : 100000;
}

std::string NsWide(const char* AAttr) {
  const size_t n = NamespaceCount();
  std::string s = "<root";
  for (size_t i = 0; i < n; ++i) s += " " + std::string(AAttr) + ":p" + std::to_string(i) + "=\"u" + std::to_string(i) + "\"";
  s += ">";
  for (size_t i = 0; i < n; ++i) s += "<p" + std::to_string(i) + ":c/>";
  return s + "</root>";
}

std::string NsDeep(const char* AAttr) {
  const size_t n = NamespaceCount();
  std::string s;
  for (size_t i = 0; i < n; ++i)
    s += "<p" + std::to_string(i) + ":e " + AAttr + ":p" + std::to_string(i) + "=\"u" + std::to_string(i) + "\">";
  for (size_t i = n; i-- > 0;) s += "</p" + std::to_string(i) + ":e>";
  return s;
}

std::string NsTag(const char* AAttr) {
  const size_t n = NamespaceCount();
  std::string s = "<root";
  for (size_t i = 0; i < n; ++i)
    s += " " + std::string(AAttr) + ":p" + std::to_string(i) + "=\"u\" a" + std::to_string(i) + "=\"v\"";
  return s + "/>";
}

// ---- xo

class TNullHandler : public TXoObject, public virtual IXoSAXContentHandler, public virtual IXoSAXErrorHandler {
public:
  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>&) override {}
  void Characters(const XoXMLString&) override {}
  void EndDocument() override {}
  void EndElement(const XoXMLString&, const XoXMLString&, const XoXMLString&) override {}
  void EndPrefixMapping(const XoXMLString&) override {}
  void IgnorableWhitespace(const XoXMLString&) override {}
  void ProcessingInstruction(const XoXMLString&, const XoXMLString&) override {}
  void SkippedEntity(const XoXMLString&) override {}
  void StartDocument() override {}
  void StartElement(const XoXMLString&, const XoXMLString&, const XoXMLString&,
                    const TIntfPtr<IXoSAXAttributes>&) override {}
  void StartPrefixMapping(const XoXMLString&, const XoXMLString&) override {}
  void Warning(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void Error(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
  void FatalError(const TIntfPtr<IXoSAXLocator>&, const XoXMLString&) override {}
};

void BM_xo(benchmark::State& state, const std::string* ADoc) {
  TIntfPtr<TNullHandler> handler(new TNullHandler());
  TXoSAXXMLReader reader;
  reader.SetContentHandler(TIntfPtr<IXoSAXContentHandler>(handler.get()));
  reader.SetErrorHandler(TIntfPtr<IXoSAXErrorHandler>(handler.get()));
  for (auto _ : state) reader.ParseBuffer(ADoc->data(), static_cast<int64_t>(ADoc->size()), 0);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

// ---- expat

#ifdef XO_HAVE_EXPAT
void XMLCALL ExpatStart(void*, const XML_Char*, const XML_Char**) {}
void XMLCALL ExpatEnd(void*, const XML_Char*) {}
void XMLCALL ExpatText(void*, const XML_Char*, int) {}
void XMLCALL ExpatPI(void*, const XML_Char*, const XML_Char*) {}
void XMLCALL ExpatComment(void*, const XML_Char*) {}
void XMLCALL ExpatStartNs(void*, const XML_Char*, const XML_Char*) {}
void XMLCALL ExpatEndNs(void*, const XML_Char*) {}

void BM_expat(benchmark::State& state, const std::string* ADoc) {
  for (auto _ : state) {
    XML_Parser p = XML_ParserCreateNS(nullptr, '\t');
    XML_SetElementHandler(p, ExpatStart, ExpatEnd);
    XML_SetCharacterDataHandler(p, ExpatText);
    XML_SetProcessingInstructionHandler(p, ExpatPI);
    XML_SetCommentHandler(p, ExpatComment);
    XML_SetNamespaceDeclHandler(p, ExpatStartNs, ExpatEndNs);
    if (XML_Parse(p, ADoc->data(), static_cast<int>(ADoc->size()), 1) != XML_STATUS_OK)
      state.SkipWithError("expat failed");
    XML_ParserFree(p);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- libxml2

#ifdef XO_HAVE_LIBXML2
void LxStart(void*, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**, int, int,
             const xmlChar**) {}
void LxEnd(void*, const xmlChar*, const xmlChar*, const xmlChar*) {}
void LxText(void*, const xmlChar*, int) {}
void LxPI(void*, const xmlChar*, const xmlChar*) {}
void LxComment(void*, const xmlChar*) {}
void LxError(void*, xmlErrorPtr) {}

void BM_libxml2(benchmark::State& state, const std::string* ADoc) {
  xmlSAXHandler sax{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = LxStart;
  sax.endElementNs = LxEnd;
  sax.characters = LxText;
  sax.ignorableWhitespace = LxText;
  sax.cdataBlock = LxText;
  sax.processingInstruction = LxPI;
  sax.comment = LxComment;
  sax.serror = LxError;
  for (auto _ : state) {
    if (xmlSAXUserParseMemory(&sax, nullptr, ADoc->data(), static_cast<int>(ADoc->size())) != 0)
      state.SkipWithError("libxml2 failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// Collects bytes per second by benchmark name for the summary table.
class TCollectingReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    // With repetitions the median stands for the benchmark; a single run
    // stands for itself.
    for (const Run& r : AReports) {
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end() || r.error_occurred) continue;
      if (r.run_type == Run::RT_Aggregate) {
        if (r.aggregate_name == "median") Rates[r.run_name.str()] = it->second.value;
      } else if (!Medians.count(r.run_name.str())) {
        Rates[r.run_name.str()] = it->second.value;
      }
      if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") Medians.insert(r.run_name.str());
    }
    ConsoleReporter::ReportRuns(AReports);
  }
  std::map<std::string, double> Rates;
  std::set<std::string> Medians;
};

}  // namespace

int main(int argc, char** argv) {
  struct Doc {
    const char* Name;
    const std::string* Text;
  };
  static const std::string nsWide = NsWide("xmlns"), nsWide0 = NsWide("xmlnt"), nsDeep = NsDeep("xmlns"),
                           nsDeep0 = NsDeep("xmlnt"), nsTag = NsTag("xmlns"), nsTag0 = NsTag("xmlnt");
  const Doc docs[] = {{"data", &DataDoc()},   {"text", &TextDoc()},     {"attrns", &AttrNsDoc()},
                      {"nswide", &nsWide},    {"nswide0", &nsWide0},    {"nsdeep", &nsDeep},
                      {"nsdeep0", &nsDeep0},  {"nstag", &nsTag},        {"nstag0", &nsTag0}};
  for (const Doc& d : docs) {
    benchmark::RegisterBenchmark((std::string("xo/") + d.Name).c_str(), BM_xo, d.Text)->Unit(benchmark::kMillisecond);
#ifdef XO_HAVE_EXPAT
    benchmark::RegisterBenchmark((std::string("expat/") + d.Name).c_str(), BM_expat, d.Text)
        ->Unit(benchmark::kMillisecond);
#endif
#ifdef XO_HAVE_LIBXML2
    benchmark::RegisterBenchmark((std::string("libxml2/") + d.Name).c_str(), BM_libxml2, d.Text)
        ->Unit(benchmark::kMillisecond);
#endif
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TCollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  auto rate = [&](const std::string& AName) {
    auto it = reporter.Rates.find(AName);
    return it == reporter.Rates.end() ? 0.0 : it->second / 1e6;
  };
  std::printf("\n%-8s %10s %10s %10s %10s %10s %12s\n", "document", "size MB", "xo MB/s", "expat MB/s",
              "libxml2", "xo/expat", "xo/libxml2");
  for (const Doc& d : docs) {
    double x = rate(std::string("xo/") + d.Name), e = rate(std::string("expat/") + d.Name),
           l = rate(std::string("libxml2/") + d.Name);
    std::printf("%-8s %10.2f %10.1f %10.1f %10.1f %10.2f %12.2f\n", d.Name, d.Text->size() / 1e6, x, e, l,
                e > 0 ? x / e : 0.0, l > 0 ? x / l : 0.0);
  }
  return 0;
}
