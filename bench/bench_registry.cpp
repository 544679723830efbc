// Start-up cost of the type registry and the cost of member lookups by name.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "uXoRtti.h"
#include "uXoTypes.h"

namespace {

struct TBenchRec {
  int32_t A = 0;
  double B = 0;
  std::u16string C;
  std::vector<int32_t> D;
  bool E = false;
};

int gSerial = 0;

// Registers 1,000 record types of five members each, as an application's
// start-up would (each a distinct descriptor with its own name and members).
void BM_Register1000Types(benchmark::State& AState) {
  for (auto _ : AState) {
    for (int i = 0; i < 1000; ++i) {
      std::u16string name = u"uBench.TRec" + xo::IntToStr(gSerial++);
      xo::TXoTypeBuilder<TBenchRec>::RegisterDistinct(name, [](auto& r) {
        r.field(u"A", &TBenchRec::A);
        r.field(u"B", &TBenchRec::B);
        r.field(u"C", &TBenchRec::C);
        r.field(u"D", &TBenchRec::D);
        r.property(u"E", &TBenchRec::E);
      });
    }
  }
  AState.SetItemsProcessed(AState.iterations() * 1000);
}
BENCHMARK(BM_Register1000Types)->Unit(benchmark::kMillisecond)->Iterations(10);

// A type with many members: lookups by name in mixed case.
xo::TXoTypeInfo* WideType(int AMembers) {
  static std::vector<std::u16string> names;
  static xo::TXoTypeInfo* types[4] = {};
  int slot = AMembers == 10 ? 0 : AMembers == 100 ? 1 : 2;
  if (types[slot]) return types[slot];
  types[slot] = xo::TXoTypeBuilder<TBenchRec>::RegisterDistinct(
      u"uBench.TWide" + xo::IntToStr(AMembers), [&](auto& r) {
        for (int i = 0; i < AMembers; ++i) r.field(u"Member" + xo::IntToStr(i), &TBenchRec::A);
      });
  return types[slot];
}

void BM_FieldLookupByName(benchmark::State& AState) {
  int n = static_cast<int>(AState.range(0));
  xo::TXoTypeInfo* t = WideType(n);
  std::vector<std::u16string> keys;
  for (int i = 0; i < n; i += (n / 10 ? n / 10 : 1)) keys.push_back(u"MEMBER" + xo::IntToStr(i));
  size_t k = 0;
  t->GetField(keys[0]);  // build the index once
  for (auto _ : AState) {
    benchmark::DoNotOptimize(t->GetField(keys[k]));
    if (++k == keys.size()) k = 0;
  }
}
BENCHMARK(BM_FieldLookupByName)->Arg(10)->Arg(100)->Arg(1000);

void BM_TypeLookupByName(benchmark::State& AState) {
  xo::TXoTypes::GetTypeInfo(u"System.Integer", xo::tntQualified);
  for (auto _ : AState) benchmark::DoNotOptimize(xo::TXoTypes::GetTypeInfo(u"system.INTEGER", xo::tntQualified));
}
BENCHMARK(BM_TypeLookupByName);

void BM_FieldGetValue(benchmark::State& AState) {
  xo::TXoTypeInfo* t = WideType(10);
  xo::TRttiField* f = t->GetField(u"Member5");
  TBenchRec r;
  for (auto _ : AState) benchmark::DoNotOptimize(f->GetValue(&r));
}
BENCHMARK(BM_FieldGetValue);

}  // namespace

BENCHMARK_MAIN();
