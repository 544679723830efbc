// The JSON document model: loading text into a tree and saving the tree as
// text, side by side with RapidJSON (Document::Parse, Writer), nlohmann-json
// (parse, dump), simdjson (DOM parse; it cannot save) and jsoncpp, on the
// documents of the reader benchmark; then three path queries. After the runs
// a table gives MB/s per library, xo's ratios, and the memory each tree
// keeps (bytes the heap holds after loading, less before).
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "json_docs.h"
#include "uXoJSON.h"

#ifdef XO_HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef XO_HAVE_NLOHMANN_JSON
#include <nlohmann/json.hpp>
#endif
#ifdef XO_HAVE_SIMDJSON
#include <simdjson.h>
#endif
#ifdef XO_HAVE_JSONCPP
#include <json/json.h>
#endif

using namespace xo;
using namespace xo_bench;

namespace {

struct TDocs {
  const char* Name;
  const std::string* Text;
};

std::vector<TDocs> Docs() {
  return {{"numbers", &NumbersDoc()}, {"strings", &StringsDoc()}, {"deep", &DeepDoc()}, {"records", &RecordsDoc()}};
}

size_t HeapInUse() { return mallinfo2().uordblks + mallinfo2().hblkhd; }

// The heap a tree keeps: measured after each load, reported as a counter.
void Remember(benchmark::State& AState, size_t ABefore) {
  const size_t after = HeapInUse();
  AState.counters["tree_MB"] = after > ABefore ? static_cast<double>(after - ABefore) / 1e6 : 0.0;
}

// ---- xo

TXoJSONDocument* XoLoad(const std::string& AText) {
  auto* doc = new TXoJSONDocument();
  TXoMemoryStream ms(AText.data(), static_cast<int64_t>(AText.size()));
  doc->LoadFromStream(&ms, 65001, false);
  return doc;
}

void BM_xo_load(benchmark::State& state, const std::string* ADoc) {
  for (auto _ : state) {
    const size_t before = HeapInUse();
    TXoJSONDocument* doc = XoLoad(*ADoc);
    Remember(state, before);
    doc->Free();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

void BM_xo_save(benchmark::State& state, const std::string* ADoc) {
  TXoJSONDocument* doc = XoLoad(*ADoc);
  TMemoryStream out;
  for (auto _ : state) {
    out.Clear();
    doc->SaveToStream(&out, false, static_cast<uint16_t>(65001), false);
  }
  doc->Free();
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

// ---- RapidJSON

#ifdef XO_HAVE_RAPIDJSON
void BM_rapidjson_load(benchmark::State& state, const std::string* ADoc) {
  for (auto _ : state) {
    const size_t before = HeapInUse();
    auto* d = new rapidjson::Document();
    d->Parse(ADoc->c_str());
    if (d->HasParseError()) state.SkipWithError("RapidJSON failed");
    Remember(state, before);
    delete d;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

void BM_rapidjson_save(benchmark::State& state, const std::string* ADoc) {
  rapidjson::Document d;
  d.Parse(ADoc->c_str());
  for (auto _ : state) {
    rapidjson::StringBuffer buf;
    rapidjson::Writer<rapidjson::StringBuffer> w(buf);
    d.Accept(w);
    benchmark::DoNotOptimize(buf.GetSize());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- nlohmann-json

#ifdef XO_HAVE_NLOHMANN_JSON
void BM_nlohmann_load(benchmark::State& state, const std::string* ADoc) {
  for (auto _ : state) {
    const size_t before = HeapInUse();
    auto* j = new nlohmann::json(nlohmann::json::parse(*ADoc));
    Remember(state, before);
    delete j;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

void BM_nlohmann_save(benchmark::State& state, const std::string* ADoc) {
  nlohmann::json j = nlohmann::json::parse(*ADoc);
  for (auto _ : state) benchmark::DoNotOptimize(j.dump().size());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- simdjson

#ifdef XO_HAVE_SIMDJSON
void BM_simdjson_load(benchmark::State& state, const std::string* ADoc) {
  simdjson::padded_string padded(*ADoc);
  for (auto _ : state) {
    const size_t before = HeapInUse();
    auto* parser = new simdjson::dom::parser();
    simdjson::dom::element e;
    if (parser->parse(padded).get(e)) state.SkipWithError("simdjson failed");
    Remember(state, before);
    delete parser;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- jsoncpp

#ifdef XO_HAVE_JSONCPP
void BM_jsoncpp_load(benchmark::State& state, const std::string* ADoc) {
  Json::CharReaderBuilder builder;
  builder["stackLimit"] = 100000;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  for (auto _ : state) {
    const size_t before = HeapInUse();
    auto* v = new Json::Value();
    std::string errors;
    if (!reader->parse(ADoc->data(), ADoc->data() + ADoc->size(), v, &errors))
      state.SkipWithError("jsoncpp failed");
    Remember(state, before);
    delete v;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

void BM_jsoncpp_save(benchmark::State& state, const std::string* ADoc) {
  Json::CharReaderBuilder builder;
  builder["stackLimit"] = 100000;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value v;
  std::string errors;
  reader->parse(ADoc->data(), ADoc->data() + ADoc->size(), &v, &errors);
  Json::StreamWriterBuilder wb;
  wb["indentation"] = "";
  for (auto _ : state) benchmark::DoNotOptimize(Json::writeString(wb, v).size());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- path queries over 100,000 records

const std::string& QueryDoc() {
  static const std::string doc = [] {
    std::string d = "{\"a\":{\"b\":{\"c\":{\"d\":{\"e\":{\"f\":{\"g\":{\"h\":1}}}}}}},\"items\":[";
    for (int i = 0; i < 100000; ++i) {
      if (i) d += ',';
      d += "{\"id\":" + std::to_string(i) + ",\"price\":" + std::to_string(i % 1000) + ".5,\"name\":\"n" +
           std::to_string(i) + "\"}";
    }
    d += "]}";
    return d;
  }();
  return doc;
}

void BM_path(benchmark::State& state, const char16_t* APath) {
  TXoJSONDocument* doc = XoLoad(QueryDoc());
  int32_t count = 0;
  for (auto _ : state) {
    TXoJSONArray* list = doc->CreateNodeList(APath);
    count = list->Count();
    list->Free();
  }
  state.counters["nodes"] = count;
  doc->Free();
}

class TCollectingReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    for (const Run& r : AReports) {
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end() || r.error_occurred) continue;
      Rates[r.run_name.str()] = it->second.value;
      auto m = r.counters.find("tree_MB");
      if (m != r.counters.end()) Memory[r.run_name.str()] = m->second.value;
    }
    ConsoleReporter::ReportRuns(AReports);
  }
  std::map<std::string, double> Rates;
  std::map<std::string, double> Memory;
};

}  // namespace

int main(int argc, char** argv) {
  auto reg = [](const std::string& AName, auto AFunc, const std::string* ADoc) {
    benchmark::RegisterBenchmark(AName.c_str(), AFunc, ADoc)->Unit(benchmark::kMillisecond);
  };
  for (const TDocs& d : Docs()) {
    const std::string n = d.Name;
    reg("load/xo/" + n, BM_xo_load, d.Text);
    reg("save/xo/" + n, BM_xo_save, d.Text);
#ifdef XO_HAVE_RAPIDJSON
    reg("load/rapidjson/" + n, BM_rapidjson_load, d.Text);
    reg("save/rapidjson/" + n, BM_rapidjson_save, d.Text);
#endif
#ifdef XO_HAVE_NLOHMANN_JSON
    reg("load/nlohmann/" + n, BM_nlohmann_load, d.Text);
    reg("save/nlohmann/" + n, BM_nlohmann_save, d.Text);
#endif
#ifdef XO_HAVE_SIMDJSON
    reg("load/simdjson/" + n, BM_simdjson_load, d.Text);
#endif
#ifdef XO_HAVE_JSONCPP
    reg("load/jsoncpp/" + n, BM_jsoncpp_load, d.Text);
    reg("save/jsoncpp/" + n, BM_jsoncpp_save, d.Text);
#endif
  }
  for (const char16_t* path : {u"$.a.b.c.d.e.f.g.h", u"$..name", u"$.items[?(@.price<10)].id"})
    benchmark::RegisterBenchmark(("path/" + XoUTF16ToUTF8(path)).c_str(), BM_path, path)
        ->Unit(benchmark::kMillisecond);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TCollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  auto rate = [&](const std::string& AName) {
    auto it = reporter.Rates.find(AName);
    return it == reporter.Rates.end() ? 0.0 : it->second / 1e6;
  };
  auto mem = [&](const std::string& AName) {
    auto it = reporter.Memory.find(AName);
    return it == reporter.Memory.end() ? 0.0 : it->second;
  };
  auto ratio = [](double a, double b) { return b > 0 ? a / b : 0.0; };
  for (const char* op : {"load", "save"}) {
    std::printf("\n%s MB/s   %8s %8s %8s %8s %8s %9s %9s\n", op, "xo", "rapid", "nlohmann", "simdjson", "jsoncpp",
                "xo/rapid", "xo/nlohm");
    for (const TDocs& d : Docs()) {
      const std::string n = d.Name, o = op;
      double x = rate(o + "/xo/" + n), r = rate(o + "/rapidjson/" + n), nl = rate(o + "/nlohmann/" + n),
             s = rate(o + "/simdjson/" + n), j = rate(o + "/jsoncpp/" + n);
      std::printf("%-13s %8.1f %8.1f %8.1f %8.1f %8.1f %9.2f %9.2f\n", d.Name, x, r, nl, s, j, ratio(x, r),
                  ratio(x, nl));
    }
  }
  std::printf("\ntree MB      %8s %8s %8s %8s %8s %9s\n", "xo", "rapid", "nlohmann", "simdjson", "jsoncpp", "xo/rapid");
  for (const TDocs& d : Docs()) {
    const std::string n = d.Name;
    double x = mem("load/xo/" + n), r = mem("load/rapidjson/" + n), nl = mem("load/nlohmann/" + n),
           s = mem("load/simdjson/" + n), j = mem("load/jsoncpp/" + n);
    std::printf("%-13s %8.1f %8.1f %8.1f %8.1f %8.1f %9.2f\n", d.Name, x, r, nl, s, j, ratio(x, r));
  }
  return 0;
}
