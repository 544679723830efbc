// Throughput of the JSON reader with a handler that only counts events, side
// by side with RapidJSON's SAX reader (plain, in situ, and validating UTF-8),
// nlohmann-json's sax_parse and simdjson's on-demand API iterating every
// value, on the same bytes. Four generated UTF-8 documents of about 8 MB
// (XO_JSON_BENCH_MB overrides the size):
//   numbers - coordinate pairs with many digits (canada.json-like)
//   strings - records with text, names and escapes (twitter-like)
//   deep    - objects nested 400 levels deep, again and again
//   records - a long array of small objects
// and the records document once more as UTF-16 for xo alone. After the runs
// a table gives MB/s per library and xo's ratios.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "json_docs.h"
#include "uXoJSON.h"

#ifdef XO_HAVE_RAPIDJSON
#include <rapidjson/reader.h>
#endif
#ifdef XO_HAVE_NLOHMANN_JSON
#include <nlohmann/json.hpp>
#endif
#ifdef XO_HAVE_SIMDJSON
#include <simdjson.h>
#endif

using namespace xo;
using namespace xo_bench;

namespace {

// ---- xo

class TCountingHandler : public TXoObject, public virtual IXoJSONContentHandler, public virtual IXoJSONErrorHandler {
public:
  size_t Events = 0;
  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>&) override {}
  void StartDocument() override { ++Events; }
  void StartObject() override { ++Events; }
  void StartMember(const XoJSONString&) override { ++Events; }
  void StartArray() override { ++Events; }
  void Value(TXoJSONDataType, const XoJSONString&) override { ++Events; }
  void EndArray() override { ++Events; }
  void EndMember() override { ++Events; }
  void EndObject() override { ++Events; }
  void EndDocument() override { ++Events; }
  void Warning(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
  void Error(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
  void FatalError(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
};

void BM_xo(benchmark::State& state, const std::string* ADoc) {
  TIntfPtr<TCountingHandler> handler(new TCountingHandler());
  TXoJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(handler.get()));
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(handler.get()));
  for (auto _ : state) reader.ParseBuffer(ADoc->data(), static_cast<int64_t>(ADoc->size()), 65001);
  benchmark::DoNotOptimize(handler->Events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

// The same document as UTF-16; bytes counted are those of the UTF-8 form, so
// that the rates compare work per document.
void BM_xo16(benchmark::State& state, const std::string* ADoc) {
  TIntfPtr<TCountingHandler> handler(new TCountingHandler());
  TXoJSONReader reader;
  reader.SetContentHandler(TIntfPtr<IXoJSONContentHandler>(handler.get()));
  reader.SetErrorHandler(TIntfPtr<IXoJSONErrorHandler>(handler.get()));
  const std::u16string& doc = RecordsDoc16();
  for (auto _ : state) reader.Parse(doc);
  benchmark::DoNotOptimize(handler->Events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}

// ---- RapidJSON

#ifdef XO_HAVE_RAPIDJSON
struct TRapidCounter : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TRapidCounter> {
  size_t Events = 0;
  bool Default() {
    ++Events;
    return true;
  }
};

template <unsigned Flags>
void BM_rapidjson(benchmark::State& state, const std::string* ADoc) {
  TRapidCounter handler;
  std::string copy;
  for (auto _ : state) {
    rapidjson::Reader reader;
    bool ok;
    if constexpr ((Flags & rapidjson::kParseInsituFlag) != 0) {
      // In situ parsing writes into its input: each run gets a fresh copy,
      // whose making is not timed.
      state.PauseTiming();
      copy = *ADoc;
      state.ResumeTiming();
      rapidjson::InsituStringStream ss(copy.data());
      ok = !reader.Parse<Flags>(ss, handler).IsError();
    } else {
      rapidjson::StringStream ss(ADoc->c_str());
      ok = !reader.Parse<Flags>(ss, handler).IsError();
    }
    if (!ok) state.SkipWithError("RapidJSON failed");
  }
  benchmark::DoNotOptimize(handler.Events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- nlohmann-json

#ifdef XO_HAVE_NLOHMANN_JSON
struct TNlohmannCounter {
  using json = nlohmann::json;
  size_t Events = 0;
  bool null() { return ++Events; }
  bool boolean(bool) { return ++Events; }
  bool number_integer(json::number_integer_t) { return ++Events; }
  bool number_unsigned(json::number_unsigned_t) { return ++Events; }
  bool number_float(json::number_float_t, const json::string_t&) { return ++Events; }
  bool string(json::string_t&) { return ++Events; }
  bool binary(json::binary_t&) { return ++Events; }
  bool start_object(std::size_t) { return ++Events; }
  bool key(json::string_t&) { return ++Events; }
  bool end_object() { return ++Events; }
  bool start_array(std::size_t) { return ++Events; }
  bool end_array() { return ++Events; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }
};

void BM_nlohmann(benchmark::State& state, const std::string* ADoc) {
  TNlohmannCounter handler;
  for (auto _ : state)
    if (!nlohmann::json::sax_parse(*ADoc, &handler)) state.SkipWithError("nlohmann-json failed");
  benchmark::DoNotOptimize(handler.Events);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// ---- simdjson

#ifdef XO_HAVE_SIMDJSON
size_t SimdWalk(simdjson::ondemand::value AValue) {
  size_t n = 1;
  switch (AValue.type()) {
    case simdjson::ondemand::json_type::array:
      for (auto element : AValue.get_array()) n += SimdWalk(element.value());
      break;
    case simdjson::ondemand::json_type::object:
      for (auto field : AValue.get_object()) {
        n += field.key().value().raw() != nullptr;
        n += SimdWalk(field.value());
      }
      break;
    case simdjson::ondemand::json_type::string:
      n += AValue.get_raw_json_string().value().raw() != nullptr;
      break;
    default:
      n += AValue.raw_json_token().size() > 0;
      break;
  }
  return n;
}

void BM_simdjson(benchmark::State& state, const std::string* ADoc) {
  simdjson::padded_string padded(*ADoc);
  simdjson::ondemand::parser parser;
  size_t count = 0;
  for (auto _ : state) {
    try {
      simdjson::ondemand::document doc = parser.iterate(padded);
      count += SimdWalk(doc.get_value());
    } catch (const simdjson::simdjson_error& e) {
      state.SkipWithError(e.what());
    }
  }
  benchmark::DoNotOptimize(count);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ADoc->size()));
}
#endif

// Collects bytes per second by benchmark name for the summary table.
class TCollectingReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& AReports) override {
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
  const Doc docs[] = {
      {"numbers", &NumbersDoc()}, {"strings", &StringsDoc()}, {"deep", &DeepDoc()}, {"records", &RecordsDoc()}};
  auto reg = [](const std::string& AName, auto AFunc, const std::string* ADoc) {
    benchmark::RegisterBenchmark(AName.c_str(), AFunc, ADoc)->Unit(benchmark::kMillisecond);
  };
  for (const Doc& d : docs) {
    const std::string n = d.Name;
    reg("xo/" + n, BM_xo, d.Text);
#ifdef XO_HAVE_RAPIDJSON
    reg("rapidjson/" + n, BM_rapidjson<rapidjson::kParseDefaultFlags>, d.Text);
    reg("rapidjson-insitu/" + n, BM_rapidjson<rapidjson::kParseInsituFlag>, d.Text);
    reg("rapidjson-valid/" + n, BM_rapidjson<rapidjson::kParseValidateEncodingFlag>, d.Text);
#endif
#ifdef XO_HAVE_NLOHMANN_JSON
    reg("nlohmann/" + n, BM_nlohmann, d.Text);
#endif
#ifdef XO_HAVE_SIMDJSON
    reg("simdjson/" + n, BM_simdjson, d.Text);
#endif
  }
  reg("xo-utf16/records", BM_xo16, &RecordsDoc());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TCollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  auto rate = [&](const std::string& AName) {
    auto it = reporter.Rates.find(AName);
    return it == reporter.Rates.end() ? 0.0 : it->second / 1e6;
  };
  auto ratio = [](double a, double b) { return b > 0 ? a / b : 0.0; };
  std::printf("\n%-8s %7s %8s %8s %8s %8s %8s %8s %9s %9s %9s\n", "document", "MB", "xo", "rapid", "r-insitu",
              "r-valid", "nlohmann", "simdjson", "xo/rapid", "xo/nlohm", "xo/simd");
  for (const Doc& d : docs) {
    const std::string n = d.Name;
    double x = rate("xo/" + n), r = rate("rapidjson/" + n), ri = rate("rapidjson-insitu/" + n),
           rv = rate("rapidjson-valid/" + n), nl = rate("nlohmann/" + n), s = rate("simdjson/" + n);
    std::printf("%-8s %7.2f %8.1f %8.1f %8.1f %8.1f %8.1f %8.1f %9.2f %9.2f %9.2f\n", d.Name, d.Text->size() / 1e6,
                x, r, ri, rv, nl, s, ratio(x, r), ratio(x, nl), ratio(x, s));
  }
  std::printf("records as UTF-16: %.1f MB/s (per UTF-8 byte), %.2f of UTF-8\n", rate("xo-utf16/records"),
              ratio(rate("xo-utf16/records"), rate("xo/records")));
  return 0;
}
