// JSON text loaded into the XML tree, against XML text of the same content
// loaded into the same tree: the XML text is what the tree of the JSON text
// saves (plain), so both loads build identical trees. Also the tree written
// as JSON and as XML. Four generated UTF-8 JSON documents of about 4 MB
// (XO_DOMJSON_BENCH_MB overrides the size):
//   records - a long array of small objects with strings, numbers, booleans
//   numbers - arrays of coordinate pairs
//   strings - records of longer text with escapes
//   deep    - objects nested 200 levels deep, again and again
// After the runs a table gives the time per document, MB/s of each text, and
// the ratio of the JSON load time to the XML load time, all in CPU time (at
// most 2 means the JSON load runs at no less than half the speed of the XML
// one).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "uXoXMLDOM.h"

using namespace xo;

namespace {

size_t TargetSize() {
  const char* mb = std::getenv("XO_DOMJSON_BENCH_MB");
  size_t n = mb ? static_cast<size_t>(std::atoi(mb)) : 4;
  return (n ? n : 4) * 1024 * 1024;
}

std::string RecordsDoc() {
  std::mt19937 rng(31);
  const char* names[] = {"Ada", "Grace", "Linus", "Barbara", "Ken", "Dennis", "Margaret", "Edsger"};
  std::string d = "[";
  for (int i = 0; d.size() < TargetSize(); ++i) {
    if (i) d += ',';
    d += "{\"id\":" + std::to_string(i) + ",\"name\":\"" + names[rng() % 8] + "\",\"active\":" +
         (rng() % 2 ? "true" : "false") + ",\"score\":" + std::to_string(rng() % 10000) + "." +
         std::to_string(rng() % 100) + ",\"tags\":[\"a\",\"b" + std::to_string(rng() % 50) +
         "\"],\"parent\":null,\"address\":{\"city\":\"Springfield\",\"zip\":\"" + std::to_string(10000 + rng() % 89999) +
         "\"}}";
  }
  return d + "]";
}

std::string NumbersDoc() {
  std::mt19937 rng(32);
  std::string d = "{\"type\":\"Polygon\",\"coordinates\":[";
  char buf[64];
  for (int i = 0; d.size() < TargetSize(); ++i) {
    if (i) d += ',';
    std::snprintf(buf, sizeof buf, "[%.12g,%.12g]", (static_cast<double>(rng()) / rng.max() - 0.5) * 360,
                  (static_cast<double>(rng()) / rng.max() - 0.5) * 180);
    d += buf;
  }
  return d + "]}";
}

std::string StringsDoc() {
  std::mt19937 rng(33);
  const char* words[] = {"the", "tree", "keeps", "text", "as", "written", "café", "naïve", "\\\"quoted\\\"",
                         "line\\nbreak", "日本語", "a\\/b"};
  std::string d = "{\"posts\":[";
  for (int i = 0; d.size() < TargetSize(); ++i) {
    if (i) d += ',';
    std::string text;
    for (int w = 0; w < 40; ++w) {
      if (w) text += ' ';
      text += words[rng() % 12];
    }
    d += "{\"user\":\"user" + std::to_string(rng() % 1000) + "\",\"text\":\"" + text + "\",\"lang\":\"en\"}";
  }
  return d + "]}";
}

std::string DeepDoc() {
  std::string d = "[";
  for (int i = 0; d.size() < TargetSize(); ++i) {
    if (i) d += ',';
    for (int k = 0; k < 200; ++k) d += "{\"n\":" + std::to_string(k) + ",\"c\":";
    d += "null";
    for (int k = 0; k < 200; ++k) d += '}';
  }
  return d + "]";
}

struct TDoc {
  std::string Name;
  std::string JSON;
  std::string XML;  // the tree of JSON, saved plain
};

std::vector<TDoc>& Docs() {
  static std::vector<TDoc> docs;
  return docs;
}

void Load(const std::string& AText) {
  TXoDOMDocument doc;
  TXoMemoryStream ms(AText.data(), static_cast<int64_t>(AText.size()));
  doc.LoadFromStream(&ms, 65001);
  benchmark::DoNotOptimize(doc.RootNode());
}

void BM_LoadJSON(benchmark::State& state, const TDoc* ADoc) {
  for (auto _ : state) Load(ADoc->JSON);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->JSON.size()));
}

void BM_LoadXML(benchmark::State& state, const TDoc* ADoc) {
  for (auto _ : state) Load(ADoc->XML);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->XML.size()));
}

void BM_SaveJSON(benchmark::State& state, const TDoc* ADoc) {
  TXoDOMDocument doc;
  TXoMemoryStream ms(ADoc->JSON.data(), static_cast<int64_t>(ADoc->JSON.size()));
  doc.LoadFromStream(&ms, 65001);
  int64_t bytes = 0;
  for (auto _ : state) {
    TXoMemoryStream out(static_cast<int64_t>(ADoc->JSON.size() * 2));
    doc.SaveToJSONStream(&out, false, false);
    bytes += out.GetSize();
  }
  state.SetBytesProcessed(bytes);
}

void BM_SaveXML(benchmark::State& state, const TDoc* ADoc) {
  TXoDOMDocument doc;
  TXoMemoryStream ms(ADoc->JSON.data(), static_cast<int64_t>(ADoc->JSON.size()));
  doc.LoadFromStream(&ms, 65001);
  int64_t bytes = 0;
  for (auto _ : state) {
    TXoMemoryStream out(static_cast<int64_t>(ADoc->XML.size() + 16));
    doc.SaveToStream(&out, 65001, false, false);
    bytes += out.GetSize();
  }
  state.SetBytesProcessed(bytes);
}

// Collects the CPU time per iteration (a busy machine stretches wall time)
// and bytes per second by name.
class TCollectingReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    for (const Run& r : AReports) {
      if (r.error_occurred || r.run_type != Run::RT_Iteration) continue;
      Times[r.run_name.str()] = r.GetAdjustedCPUTime();
      auto it = r.counters.find("bytes_per_second");
      if (it != r.counters.end()) Rates[r.run_name.str()] = it->second;
    }
    ConsoleReporter::ReportRuns(AReports);
  }
  std::map<std::string, double> Times, Rates;
};

}  // namespace

int main(int argc, char** argv) {
  const std::pair<const char*, std::string (*)()> shapes[] = {
      {"records", RecordsDoc}, {"numbers", NumbersDoc}, {"strings", StringsDoc}, {"deep", DeepDoc}};
  Docs().reserve(std::size(shapes));
  for (const auto& [name, make] : shapes) {
    TDoc d{name, make(), {}};
    TXoDOMDocument doc;
    TXoMemoryStream ms(d.JSON.data(), static_cast<int64_t>(d.JSON.size()));
    doc.LoadFromStream(&ms, 65001);
    TXoMemoryStream out;
    doc.SaveToStream(&out, 65001, false, false);
    d.XML.assign(reinterpret_cast<const char*>(out.Memory()), static_cast<size_t>(out.GetSize()));
    Docs().push_back(std::move(d));
  }
  for (const TDoc& d : Docs()) {
    benchmark::RegisterBenchmark(("load-json/" + d.Name).c_str(), BM_LoadJSON, &d)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("load-xml/" + d.Name).c_str(), BM_LoadXML, &d)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("save-json/" + d.Name).c_str(), BM_SaveJSON, &d)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("save-xml/" + d.Name).c_str(), BM_SaveXML, &d)->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TCollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  auto get = [](const std::map<std::string, double>& AMap, const std::string& AName) {
    auto it = AMap.find(AName);
    return it == AMap.end() ? 0.0 : it->second;
  };
  std::printf("\n%-8s %8s %8s %10s %10s %9s %9s %11s %11s\n", "document", "JSON MB", "XML MB", "json ms",
              "xml ms", "json MB/s", "xml MB/s", "json/xml t", "save j/x t");
  for (const TDoc& d : Docs()) {
    const double tj = get(reporter.Times, "load-json/" + d.Name), tx = get(reporter.Times, "load-xml/" + d.Name);
    const double sj = get(reporter.Times, "save-json/" + d.Name), sx = get(reporter.Times, "save-xml/" + d.Name);
    std::printf("%-8s %8.2f %8.2f %10.2f %10.2f %9.1f %9.1f %11.2f %11.2f\n", d.Name.c_str(), d.JSON.size() / 1e6,
                d.XML.size() / 1e6, tj, tx, get(reporter.Rates, "load-json/" + d.Name) / 1e6,
                get(reporter.Rates, "load-xml/" + d.Name) / 1e6, tx > 0 ? tj / tx : 0.0, sx > 0 ? sj / sx : 0.0);
  }
  return 0;
}
