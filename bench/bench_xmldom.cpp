// The XML tree side by side with other libraries, on the same input in the
// same run:
//   build  - 1,000,000 records built by calls (an element with two attributes
//            and a text node each), walked and freed; xo against pugixml's
//            append_child / append_attribute.
//   load   - a document in memory parsed into a tree, on four shapes (data,
//            attributes, text, namespaces); xo, pugixml, libxml2
//            (xmlReadMemory), tinyxml2, RapidXML.
//   save   - the loaded tree written to memory, unformatted; xo, pugixml,
//            libxml2 (xmlDocDumpMemory), tinyxml2.
// Bytes held by each tree are counted through the allocation hooks of each
// library (and a global operator new for xo, tinyxml2 and RapidXML). After
// the runs a table gives MB/s, ratios to each peer and memory relative to
// pugixml.
#include <benchmark/benchmark.h>
#include <malloc.h>

// The global operator new below is a counting wrapper around malloc, so the
// matching delete calls free on purpose.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "uXoXMLDOM.h"

#ifdef XO_HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef XO_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/tree.h>
#endif
#ifdef XO_HAVE_TINYXML2
#include <tinyxml2.h>
#endif
#ifdef XO_HAVE_RAPIDXML
#include <rapidxml/rapidxml.hpp>
#endif

// ---------------------------------------------------------------------------
// Counting allocations: live bytes and the peak since the last reset.

namespace {
std::atomic<int64_t> gLive{0};
std::atomic<int64_t> gPeak{0};
// Counting costs a malloc_usable_size per call: it is on only in the one
// untimed pass of each benchmark that measures the tree.
bool gCounting = false;

// Bytes of 64 KB blocks (the pool's chunks) among the counted ones.
int64_t gChunkBytes = 0;

inline void Count(void* p) {
  if (!p || !gCounting) return;
  if (malloc_usable_size(p) >= 64 * 1024 && malloc_usable_size(p) < 64 * 1024 + 64)
    gChunkBytes += static_cast<int64_t>(malloc_usable_size(p));
  int64_t n = gLive.fetch_add(static_cast<int64_t>(malloc_usable_size(p))) + static_cast<int64_t>(malloc_usable_size(p));
  int64_t peak = gPeak.load();
  while (n > peak && !gPeak.compare_exchange_weak(peak, n)) {
  }
}
inline void Uncount(void* p) {
  if (p && gCounting) gLive.fetch_sub(static_cast<int64_t>(malloc_usable_size(p)));
}
void* CountedMalloc(size_t n) {
  void* p = std::malloc(n);
  Count(p);
  return p;
}
void CountedFree(void* p) {
  Uncount(p);
  std::free(p);
}
[[maybe_unused]] void* CountedRealloc(void* p, size_t n) {
  Uncount(p);
  void* q = std::realloc(p, n);
  Count(q ? q : p);
  return q;
}
[[maybe_unused]] char* CountedStrdup(const char* s) {
  size_t n = std::strlen(s) + 1;
  char* p = static_cast<char*>(CountedMalloc(n));
  std::memcpy(p, s, n);
  return p;
}
}  // namespace

void* operator new(size_t n) {
  void* p = CountedMalloc(n ? n : 1);
  if (!p) throw std::bad_alloc();
  return p;
}
void* operator new[](size_t n) {
  void* p = CountedMalloc(n ? n : 1);
  if (!p) throw std::bad_alloc();
  return p;
}
void operator delete(void* p) noexcept { CountedFree(p); }
void operator delete[](void* p) noexcept { CountedFree(p); }
void operator delete(void* p, size_t) noexcept { CountedFree(p); }
void operator delete[](void* p, size_t) noexcept { CountedFree(p); }

using namespace xo;

namespace {

// ---------------------------------------------------------------------------
// Documents

constexpr size_t kTargetSize = 8 * 1024 * 1024;

const char* const kWords[] = {"the",  "tree",    "holds",  "every", "node",  "of",      "a",       "document",
                              "and",  "writes",  "it",     "back",  "as",    "written", "façade",  "naïve",
                              "text", "élément", "values", "stay",  "escaped", "&amp;", "for",     "long"};

std::string Words(std::mt19937& rng, int AWords) {
  std::string s;
  for (int i = 0; i < AWords; ++i) {
    if (i) s += ' ';
    s += kWords[rng() % (sizeof kWords / sizeof *kWords)];
  }
  return s;
}

std::string DataDoc() {
  std::mt19937 rng(1);
  std::string d = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<orders>\n";
  for (int id = 1; d.size() < kTargetSize; ++id) {
    d += "  <order id=\"" + std::to_string(id) + "\" status=\"" + (rng() % 3 ? "shipped" : "open") + "\">\n";
    d += "    <customer><first>Anna</first><last>Nowak</last></customer>\n";
    d += "    <total>" + std::to_string(rng() % 100000) + "." + std::to_string(rng() % 100) + "</total>\n";
    d += "    <item sku=\"A" + std::to_string(rng() % 999) + "\" qty=\"" + std::to_string(1 + rng() % 9) +
         "\">" + Words(rng, 2) + "</item>\n  </order>\n";
  }
  return d + "</orders>\n";
}

std::string AttrDoc() {
  std::mt19937 rng(2);
  std::string d = "<?xml version=\"1.0\"?>\n<features>\n";
  for (int id = 1; d.size() < kTargetSize; ++id) {
    d += "<f id=\"" + std::to_string(id) + "\"";
    for (int a = 0; a < 8; ++a) d += " a" + std::to_string(a) + "=\"" + std::to_string(rng() % 10000) + "\"";
    d += " name=\"" + Words(rng, 2) + "\"/>\n";
  }
  return d + "</features>\n";
}

std::string TextDoc() {
  std::mt19937 rng(3);
  std::string d = "<?xml version=\"1.0\"?>\n<book>\n";
  for (int ch = 1; d.size() < kTargetSize; ++ch) {
    d += "<chapter n=\"" + std::to_string(ch) + "\"><title>" + Words(rng, 4) + "</title>\n";
    for (int p = 0; p < 8; ++p) d += "<p>" + Words(rng, 60) + " <em>" + Words(rng, 2) + "</em> " + Words(rng, 30) + "</p>\n";
    d += "</chapter>\n";
  }
  return d + "</book>\n";
}

std::string NsDoc() {
  std::mt19937 rng(4);
  std::string d =
      "<?xml version=\"1.0\"?>\n<s:Envelope xmlns:s=\"urn:soap\" xmlns:x=\"urn:x\" xmlns=\"urn:default\">\n";
  for (int id = 1; d.size() < kTargetSize; ++id) {
    d += "<x:rec x:id=\"" + std::to_string(id) + "\" xmlns:y=\"urn:y" + std::to_string(id % 7) + "\">";
    d += "<y:a y:k=\"" + std::to_string(rng() % 100) + "\">" + Words(rng, 2) + "</y:a><b>" + Words(rng, 1) +
         "</b><x:c/></x:rec>\n";
  }
  return d + "</s:Envelope>\n";
}

struct TShape {
  const char* Name;
  std::string Text;
};

std::vector<TShape>& Shapes() {
  static std::vector<TShape> shapes = {{"data", DataDoc()}, {"attrs", AttrDoc()}, {"text", TextDoc()}, {"ns", NsDoc()}};
  return shapes;
}

// Tree bytes per benchmark name (live bytes the tree holds after loading).
std::map<std::string, double>& TreeBytes() {
  static std::map<std::string, double> m;
  return m;
}

// ---------------------------------------------------------------------------
// Build by calls

// Bytes a built tree holds, measured in the first run of each benchmark (the
// pools of a library may be warm in later runs).
std::map<std::string, int64_t>& BuildBytes() {
  static std::map<std::string, int64_t> m;
  return m;
}

constexpr int kRecords = 1000000;

void BM_xo_build(benchmark::State& state) {
  int64_t bytes = 0;
  bool first = true;
  for (auto _ : state) {
    if (first) gCounting = true;
    int64_t before = gLive.load();
    int64_t pool = XoDOMPoolBytesInUse();
    int64_t chunks = gChunkBytes;
    auto* doc = new TXoDOMDocument();
    TXoDOMElement* root = doc->CreateRootNode(u"root");
    std::u16string num;
    for (int i = 0; i < kRecords; ++i) {
      TXoDOMElement* e = root->AddElement(u"item");
      num = IntToStr(i);
      e->AddAttribute(u"id")->SetNodeValue(num);
      e->AddAttribute(u"name")->SetNodeValue(u"abc");
      e->AddText(u"some text");
    }
    if (first && !BuildBytes().count(std::string("xo")))
      BuildBytes()[std::string("xo")] = gLive.load() - before - (gChunkBytes - chunks) + XoDOMPoolBytesInUse() - pool;
    first = gCounting = false;
    // Walk: every attribute value and text.
    size_t sum = 0;
    for (TXoDOMElement* e = root->FirstElementNode(); e; e = e->NextElement()) {
      for (TXoDOMAttribute* a = e->FirstAttributeNode(); a; a = a->NextAttribute()) sum += a->StoredValue().size();
      sum += static_cast<TXoDOMCharacterData*>(e->FirstCharNode())->StoredValue().size();
    }
    benchmark::DoNotOptimize(sum);
    doc->Free();
  }
  bytes = BuildBytes()[std::string("xo")];
  state.counters["bytes_per_record"] = static_cast<double>(bytes) / kRecords;
  state.counters["ns_per_node"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kRecords * 4,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

#ifdef XO_HAVE_PUGIXML
void BM_pugixml_build(benchmark::State& state) {
  int64_t bytes = 0;
  bool first = true;
  for (auto _ : state) {
    if (first) gCounting = true;
    int64_t before = gLive.load();
    auto* doc = new pugi::xml_document();
    pugi::xml_node root = doc->append_child("root");
    for (int i = 0; i < kRecords; ++i) {
      pugi::xml_node e = root.append_child("item");
      e.append_attribute("id") = i;
      e.append_attribute("name") = "abc";
      e.append_child(pugi::node_pcdata).set_value("some text");
    }
    if (first && !BuildBytes().count(std::string("pugixml"))) BuildBytes()[std::string("pugixml")] = gLive.load() - before;
    first = gCounting = false;
    size_t sum = 0;
    for (pugi::xml_node e = root.first_child(); e; e = e.next_sibling()) {
      for (pugi::xml_attribute a = e.first_attribute(); a; a = a.next_attribute()) sum += std::strlen(a.value());
      sum += std::strlen(e.first_child().value());
    }
    benchmark::DoNotOptimize(sum);
    delete doc;
  }
  bytes = BuildBytes()[std::string("pugixml")];
  state.counters["bytes_per_record"] = static_cast<double>(bytes) / kRecords;
  state.counters["ns_per_node"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kRecords * 4,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
#endif

// ---------------------------------------------------------------------------
// Load and save

void BM_xo_load(benchmark::State& state, const TShape* AShape) {
  {
    gCounting = true;
    int64_t before = gLive.load();
    int64_t pool = XoDOMPoolBytesInUse();
    int64_t chunks = gChunkBytes;
    auto* doc = new TXoDOMDocument();
    TXoMemoryStream in(AShape->Text.data(), static_cast<int64_t>(AShape->Text.size()));
    doc->LoadFromStream(&in);
    // Heap bytes without the pool's chunks, plus the pooled blocks in use.
    TreeBytes()[std::string("xo/load/") + AShape->Name] = static_cast<double>(
        gLive.load() - before - (gChunkBytes - chunks) + XoDOMPoolBytesInUse() - pool);
    gCounting = false;
    doc->Free();
  }
  for (auto _ : state) {
    auto* doc = new TXoDOMDocument();
    TXoMemoryStream in(AShape->Text.data(), static_cast<int64_t>(AShape->Text.size()));
    doc->LoadFromStream(&in);
    doc->Free();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}

void BM_xo_save(benchmark::State& state, const TShape* AShape) {
  TXoDOMDocument doc;
  TXoMemoryStream in(AShape->Text.data(), static_cast<int64_t>(AShape->Text.size()));
  doc.LoadFromStream(&in);
  for (auto _ : state) {
    TMemoryStream out;
    doc.SaveToStream(&out, 65001, false, false);
    benchmark::DoNotOptimize(out.GetSize());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}

#ifdef XO_HAVE_PUGIXML
void BM_pugixml_load(benchmark::State& state, const TShape* AShape) {
  {
    gCounting = true;
    int64_t before = gLive.load();
    auto* doc = new pugi::xml_document();
    doc->load_buffer(AShape->Text.data(), AShape->Text.size());
    TreeBytes()[std::string("pugixml/load/") + AShape->Name] = static_cast<double>(gLive.load() - before);
    gCounting = false;
    delete doc;
  }
  for (auto _ : state) {
    auto* doc = new pugi::xml_document();
    doc->load_buffer(AShape->Text.data(), AShape->Text.size());
    delete doc;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}

struct TPugiWriter : pugi::xml_writer {
  std::string Out;
  void write(const void* data, size_t size) override { Out.append(static_cast<const char*>(data), size); }
};

void BM_pugixml_save(benchmark::State& state, const TShape* AShape) {
  pugi::xml_document doc;
  doc.load_buffer(AShape->Text.data(), AShape->Text.size());
  for (auto _ : state) {
    TPugiWriter w;
    doc.save(w, "", pugi::format_raw);
    benchmark::DoNotOptimize(w.Out.size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}
#endif

#ifdef XO_HAVE_LIBXML2
void BM_libxml2_load(benchmark::State& state, const TShape* AShape) {
  {
    gCounting = true;
    int64_t before = gLive.load();
    xmlDocPtr doc = xmlReadMemory(AShape->Text.data(), static_cast<int>(AShape->Text.size()), nullptr, nullptr, 0);
    TreeBytes()[std::string("libxml2/load/") + AShape->Name] = static_cast<double>(gLive.load() - before);
    gCounting = false;
    xmlFreeDoc(doc);
  }
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(AShape->Text.data(), static_cast<int>(AShape->Text.size()), nullptr, nullptr, 0);
    xmlFreeDoc(doc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}

void BM_libxml2_save(benchmark::State& state, const TShape* AShape) {
  xmlDocPtr doc = xmlReadMemory(AShape->Text.data(), static_cast<int>(AShape->Text.size()), nullptr, nullptr, 0);
  for (auto _ : state) {
    xmlChar* mem = nullptr;
    int size = 0;
    xmlDocDumpMemory(doc, &mem, &size);
    benchmark::DoNotOptimize(size);
    xmlFree(mem);
  }
  xmlFreeDoc(doc);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}
#endif

#ifdef XO_HAVE_TINYXML2
void BM_tinyxml2_load(benchmark::State& state, const TShape* AShape) {
  {
    gCounting = true;
    int64_t before = gLive.load();
    auto* doc = new tinyxml2::XMLDocument();
    doc->Parse(AShape->Text.data(), AShape->Text.size());
    TreeBytes()[std::string("tinyxml2/load/") + AShape->Name] = static_cast<double>(gLive.load() - before);
    gCounting = false;
    delete doc;
  }
  for (auto _ : state) {
    auto* doc = new tinyxml2::XMLDocument();
    doc->Parse(AShape->Text.data(), AShape->Text.size());
    delete doc;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}

void BM_tinyxml2_save(benchmark::State& state, const TShape* AShape) {
  tinyxml2::XMLDocument doc;
  doc.Parse(AShape->Text.data(), AShape->Text.size());
  for (auto _ : state) {
    tinyxml2::XMLPrinter printer(nullptr, true);
    doc.Print(&printer);
    benchmark::DoNotOptimize(printer.CStrSize());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}
#endif

#ifdef XO_HAVE_RAPIDXML
void BM_rapidxml_load(benchmark::State& state, const TShape* AShape) {
  {
    gCounting = true;
    int64_t before = gLive.load();
    std::vector<char> copy(AShape->Text.begin(), AShape->Text.end());
    copy.push_back(0);
    auto* doc = new rapidxml::xml_document<>();
    doc->parse<0>(copy.data());
    TreeBytes()[std::string("rapidxml/load/") + AShape->Name] = static_cast<double>(gLive.load() - before);
    gCounting = false;
    delete doc;
  }
  for (auto _ : state) {
    // RapidXML parses in place: it needs its own zero-terminated copy.
    std::vector<char> copy(AShape->Text.begin(), AShape->Text.end());
    copy.push_back(0);
    auto* doc = new rapidxml::xml_document<>();
    doc->parse<0>(copy.data());
    delete doc;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * AShape->Text.size()));
}
#endif

// Collects bytes per second and counters by benchmark name.
class TCollectingReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& AReports) override {
    for (const Run& r : AReports) {
      if (r.error_occurred) continue;
      bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      if (r.run_type == Run::RT_Aggregate && !median) continue;
      if (!median && Medians.count(r.run_name.str())) continue;
      std::string key = r.run_name.function_name;
      for (const auto& [k, v] : r.counters) Values[key][k] = v.value;
      Values[key]["real_ns"] = r.GetAdjustedRealTime();
      Values[key]["cpu_ns"] = r.GetAdjustedCPUTime();
      if (median) Medians.insert(r.run_name.str());
    }
    ConsoleReporter::ReportRuns(AReports);
  }
  double Get(const std::string& AName, const char* AKey) {
    auto it = Values.find(AName);
    if (it == Values.end()) return 0;
    auto k = it->second.find(AKey);
    return k == it->second.end() ? 0 : k->second;
  }
  std::map<std::string, std::map<std::string, double>> Values;
  std::set<std::string> Medians;
};

}  // namespace

int main(int argc, char** argv) {
#ifdef XO_HAVE_PUGIXML
  pugi::set_memory_management_functions(CountedMalloc, CountedFree);
#endif
#ifdef XO_HAVE_LIBXML2
  xmlMemSetup(CountedFree, CountedMalloc, CountedRealloc, CountedStrdup);
  xmlInitParser();
#endif
  const char* libs[] = {"xo", "pugixml", "libxml2", "tinyxml2", "rapidxml"};
  benchmark::RegisterBenchmark("xo/build", BM_xo_build)->Unit(benchmark::kMillisecond)->Iterations(2);
#ifdef XO_HAVE_PUGIXML
  benchmark::RegisterBenchmark("pugixml/build", BM_pugixml_build)->Unit(benchmark::kMillisecond)->Iterations(2);
#endif
  for (TShape& s : Shapes()) {
    auto reg = [&](const char* ALib, const char* AOp, void (*AFunc)(benchmark::State&, const TShape*)) {
      benchmark::RegisterBenchmark((std::string(ALib) + "/" + AOp + "/" + s.Name).c_str(), AFunc, &s)
          ->Unit(benchmark::kMillisecond);
    };
    reg("xo", "load", BM_xo_load);
    reg("xo", "save", BM_xo_save);
#ifdef XO_HAVE_PUGIXML
    reg("pugixml", "load", BM_pugixml_load);
    reg("pugixml", "save", BM_pugixml_save);
#endif
#ifdef XO_HAVE_LIBXML2
    reg("libxml2", "load", BM_libxml2_load);
    reg("libxml2", "save", BM_libxml2_save);
#endif
#ifdef XO_HAVE_TINYXML2
    reg("tinyxml2", "load", BM_tinyxml2_load);
    reg("tinyxml2", "save", BM_tinyxml2_save);
#endif
#ifdef XO_HAVE_RAPIDXML
    reg("rapidxml", "load", BM_rapidxml_load);
#endif
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TCollectingReporter rep;
  benchmark::RunSpecifiedBenchmarks(&rep);
  benchmark::Shutdown();

  // CPU time: the machine may be shared, which distorts wall-clock time.
  double xb = rep.Get("xo/build", "cpu_ns"), pb = rep.Get("pugixml/build", "cpu_ns");
  double xm = rep.Get("xo/build", "bytes_per_record"), pm = rep.Get("pugixml/build", "bytes_per_record");
  if (xb > 0) {
    std::printf("\nbuild 1M records (4 nodes each): xo %.0f ms, %.0f B/record (%.1f B/node)", xb / 1e6, xm, xm / 4);
    if (pb > 0)
      std::printf("; pugixml %.0f ms, %.0f B/record; time x%.2f, memory x%.2f", pb / 1e6, pm, xb / pb, xm / pm);
    std::printf("\n");
  }
  for (const char* op : {"load", "save"}) {
    std::printf("\n%-6s %-6s %8s", op, "shape", "MB");
    for (const char* l : libs) std::printf(" %10s", l);
    std::printf("   xo/peer time ratios\n");
    for (TShape& s : Shapes()) {
      std::printf("%-6s %-6s %8.1f", op, s.Name, s.Text.size() / 1e6);
      double xoRate = rep.Get(std::string("xo/") + op + "/" + s.Name, "bytes_per_second");
      for (const char* l : libs) {
        double r = rep.Get(std::string(l) + "/" + op + "/" + s.Name, "bytes_per_second");
        if (r > 0)
          std::printf(" %10.1f", r / 1e6);
        else
          std::printf(" %10s", "-");
      }
      std::printf("  ");
      for (const char* l : libs) {
        double r = rep.Get(std::string(l) + "/" + op + "/" + s.Name, "bytes_per_second");
        if (r > 0 && std::strcmp(l, "xo") != 0) std::printf(" %s %.2f", l, r / xoRate);
      }
      std::printf("\n");
    }
  }
  std::printf("\ntree bytes after load (x input; relative to pugixml)\n");
  for (TShape& s : Shapes()) {
    double pugi = TreeBytes()[std::string("pugixml/load/") + s.Name];
    std::printf("%-6s", s.Name);
    for (const char* l : libs) {
      double b = TreeBytes()[std::string(l) + "/load/" + s.Name];
      if (b > 0) std::printf("  %s %.2fx (%.2f)", l, b / s.Text.size(), pugi > 0 ? b / pugi : 0.0);
    }
    std::printf("\n");
  }
  return 0;
}
