// Selection by path and filter on a generated auction document (about 21 MB:
// regions with items, people with profiles, open auctions with bidders),
// side by side with pugixml's XPath on equivalent queries over the same text.
// Only the selection is timed; both trees are loaded once. Each xo call cuts
// its path and compiles its filters itself; pugixml's queries are compiled
// once, outside the loop. After the runs a table gives the time per query,
// the number of nodes found by each library, and xo's ratio (CPU time, which a
// busy machine distorts less than wall-clock time).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "uXoXMLDOM.h"

#ifdef XO_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

using namespace xo;

namespace {

constexpr size_t kTargetSize = 20 * 1024 * 1024;

const char* const kWords[] = {"gold", "silver", "vintage", "rare", "mint", "boxed", "signed", "antique",
                              "lamp", "clock", "chair", "stamp", "coin", "vase", "print", "watch"};
const char* const kRegions[] = {"africa", "asia", "australia", "europe", "namerica", "samerica"};

std::string Words(std::mt19937& rng, int n) {
  std::string s;
  for (int i = 0; i < n; ++i) {
    if (i) s += ' ';
    s += kWords[rng() % 16];
  }
  return s;
}

const std::string& AuctionDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(7);
    std::string d = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<site>\n<regions>\n";
    int item = 0;
    for (const char* region : kRegions) {
      d += "<" + std::string(region) + ">\n";
      for (int i = 0; i < 3200; ++i, ++item) {
        d += "<item id=\"item" + std::to_string(item) + "\"" + (rng() % 4 == 0 ? " featured=\"yes\"" : "") + ">";
        d += "<location>" + Words(rng, 1) + "</location><quantity>" + std::to_string(1 + rng() % 3) +
             "</quantity><name>" + Words(rng, 3) + "</name><payment>Creditcard, Cash</payment>";
        d += "<description><text>" + Words(rng, 20) + " <bold>" + Words(rng, 2) + "</bold> " + Words(rng, 10) +
             "</text></description>";
        d += "<mailbox>";
        for (int m = static_cast<int>(rng() % 3); m > 0; --m)
          d += "<mail><from>" + Words(rng, 2) + "</from><date>2024-0" + std::to_string(1 + rng() % 9) + "-1" +
               std::to_string(rng() % 10) + "</date><text>" + Words(rng, 12) + "</text></mail>";
        d += "</mailbox><price>" + std::to_string(rng() % 200) + "." + std::to_string(rng() % 100) + "</price></item>\n";
      }
      d += "</" + std::string(region) + ">\n";
    }
    d += "</regions>\n<people>\n";
    for (int p = 0; p < 12000; ++p) {
      d += "<person id=\"person" + std::to_string(p) + "\"><name>" + Words(rng, 2) + "</name><emailaddress>mailto:p" +
           std::to_string(p) + "@example.com</emailaddress>";
      d += "<profile income=\"" + std::to_string(20000 + rng() % 80000) + "\"><interest category=\"category" +
           std::to_string(rng() % 40) + "\"/><education>" + Words(rng, 1) + "</education><age>" +
           std::to_string(18 + rng() % 60) + "</age></profile></person>\n";
    }
    d += "</people>\n<open_auctions>\n";
    for (int a = 0; d.size() < kTargetSize; ++a) {
      d += "<open_auction id=\"open_auction" + std::to_string(a) + "\"><initial>" + std::to_string(rng() % 100) +
           "</initial>";
      for (int b = static_cast<int>(rng() % 6); b > 0; --b)
        d += "<bidder><date>2024-02-1" + std::to_string(rng() % 10) + "</date><personref person=\"person" +
             std::to_string(rng() % 12000) + "\"/><increase>" + std::to_string(1 + rng() % 30) + ".00</increase></bidder>";
      d += "<itemref item=\"item" + std::to_string(rng() % item) + "\"/><type>Regular</type></open_auction>\n";
    }
    d += "</open_auctions>\n</site>\n";
    return d;
  }();
  return doc;
}

struct TQuery {
  const char* Name;
  const char16_t* XoPath;
  const char* XPath;
};

// The same selections in both languages (xo counts positions from 0 and
// starts a relative path at the document).
const TQuery kQueries[] = {
    {"child", u"site/regions/africa/item/name", "/site/regions/africa/item/name"},
    {"deep", u"//bidder", "//bidder"},
    {"deepattr", u"//interest[@category=\"category7\"]", "//interest[@category='category7']"},
    {"index", u"site/people/person[100]/name", "/site/people/person[101]/name"},
    {"union", u"site/regions/africa/item|site/regions/asia/item", "/site/regions/africa/item|/site/regions/asia/item"},
    {"itemid", u"//item[@id=\"item4711\"]", "//item[@id='item4711']"},
    {"price", u"//item[price>100]", "//item[price>100]"},
    {"notfeat", u"//item[not(@featured) and quantity=1]", "//item[not(@featured) and quantity=1]"},
    {"lastperson", u"//person[last()]", "//person[last()]"},
    // Functions run once per candidate (the words are in lower case, so xo's
    // case-insensitive default collation finds what pugixml's exact one does).
    // xo's value of an element is its own text, without that of child
    // elements: description has none, and the text element's is the two runs
    // around its bold child, which pugixml's queries spell out.
    {"fncontains", u"//item[contains(name, \"gold\")]", "//item[contains(name, 'gold')]"},
    {"fnstrlen", u"//item[string-length(description) > 100]", "//item[string-length(description/text()) > 100]"},
    {"fnstrlen2", u"//item[string-length(description/text) > 100]",
     "//item[string-length(concat(description/text/text()[1], description/text/text()[2])) > 100]"},
};

TXoDOMDocument* XoDoc() {
  static TXoDOMDocument* doc = [] {
    auto* d = new TXoDOMDocument();
    d->LoadFromXML(AuctionDoc());
    return d;
  }();
  return doc;
}

std::map<std::string, size_t> GCounts;

void BM_xo(benchmark::State& state, const TQuery* AQuery) {
  TXoDOMDocument* doc = XoDoc();
  size_t n = 0;
  for (auto _ : state) {
    std::unique_ptr<TXoDOMNodeList> list(doc->CreateNodeList(AQuery->XoPath, {}));
    n = static_cast<size_t>(list->Count());
    benchmark::DoNotOptimize(n);
  }
  GCounts[std::string("xo/") + AQuery->Name] = n;
}

#ifdef XO_HAVE_PUGIXML
pugi::xml_document* PugiDoc() {
  static pugi::xml_document* doc = [] {
    auto* d = new pugi::xml_document();
    d->load_buffer(AuctionDoc().data(), AuctionDoc().size());
    return d;
  }();
  return doc;
}

void BM_pugixml(benchmark::State& state, const TQuery* AQuery) {
  pugi::xml_document* doc = PugiDoc();
  pugi::xpath_query q(AQuery->XPath);
  size_t n = 0;
  for (auto _ : state) {
    pugi::xpath_node_set set = q.evaluate_node_set(*doc);
    n = set.size();
    benchmark::DoNotOptimize(n);
  }
  GCounts[std::string("pugixml/") + AQuery->Name] = n;
}
#endif

class TCollectingReporter : public benchmark::ConsoleReporter {
public:
  std::map<std::string, double> Times;  // ms per iteration
  void ReportRuns(const std::vector<Run>& AReports) override {
    ConsoleReporter::ReportRuns(AReports);
    for (const Run& r : AReports)
      if (r.run_type == Run::RT_Iteration && r.iterations > 0)
        Times[r.benchmark_name()] = r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit) * 1e3;
  }
};

}  // namespace

int main(int argc, char** argv) {
  std::printf("document: %.1f MB\n", AuctionDoc().size() / 1e6);
  for (const TQuery& q : kQueries) {
    benchmark::RegisterBenchmark((std::string("xo/") + q.Name).c_str(), BM_xo, &q)->Unit(benchmark::kMillisecond);
#ifdef XO_HAVE_PUGIXML
    benchmark::RegisterBenchmark((std::string("pugixml/") + q.Name).c_str(), BM_pugixml, &q)
        ->Unit(benchmark::kMillisecond);
#endif
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TCollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\n%-11s %10s %10s %8s %8s %9s\n", "query", "xo ms", "pugixml ms", "xo n", "pugi n", "xo/pugi");
  for (const TQuery& q : kQueries) {
    std::string x = std::string("xo/") + q.Name, p = std::string("pugixml/") + q.Name;
    double tx = reporter.Times.count(x) ? reporter.Times[x] : 0, tp = reporter.Times.count(p) ? reporter.Times[p] : 0;
    std::printf("%-11s %10.3f %10.3f %8zu %8zu %9.2f\n", q.Name, tx, tp, GCounts[x], GCounts[p],
                tp > 0 ? tx / tp : 0.0);
  }
  return 0;
}
