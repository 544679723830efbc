// Throughput of XML escaping and entity decoding on 1 MiB texts (counted in
// UTF-16 code units; bytes/s are UTF-16 bytes): plain prose with nothing to
// escape, and markup-heavy text in which about one character in five needs a
// reference.

#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "uXoXMLUtils.h"

using namespace xo;

namespace {

constexpr size_t cSize = 1 << 20;

const std::u16string& PlainText() {
  static const std::u16string s = [] {
    const std::u16string words[] = {u"lorem ", u"ipsum ", u"dolor ", u"sit ", u"amet, ", u"caf\u00e9 ",
                                    u"na\u00efve ", u"\u03b1\u03b2\u03b3 ", u"text.\u2028"};
    std::u16string r;
    std::mt19937 rng(1);
    while (r.size() < cSize) r += words[rng() % 9];
    r.resize(cSize);
    return r;
  }();
  return s;
}

const std::u16string& MarkupText() {
  static const std::u16string s = [] {
    const std::u16string parts[] = {u"<a href=\"x?y=1&z=2\">", u"it's ", u"</a>", u"1 < 2 > 0 ", u"\"q\" ",
                                    u"\ttab\r\n", u"plain words here "};
    std::u16string r;
    std::mt19937 rng(2);
    while (r.size() < cSize) r += parts[rng() % 7];
    r.resize(cSize);
    return r;
  }();
  return s;
}

const std::u16string& EscapedMarkup() {
  static const std::u16string s = XoStrToXML(MarkupText(), true, true);
  return s;
}

const std::u16string& EntityText() {
  static const std::u16string s = [] {
    const std::u16string parts[] = {u"caf&eacute; ", u"&lt;b&gt; ", u"&#233;&#xE9; ", u"&amp; ",
                                    u"&thetasym; ", u"plain words ", u"&euro;100 "};
    std::u16string r;
    std::mt19937 rng(3);
    while (r.size() < cSize) r += parts[rng() % 7];
    return r;
  }();
  return s;
}

void Run(benchmark::State& state, const std::u16string& AInput, bool AEscape) {
  for (auto _ : state) {
    if (AEscape)
      benchmark::DoNotOptimize(XoStrToXML(AInput, true, true));
    else
      benchmark::DoNotOptimize(XoXMLToStr(AInput));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(AInput.size() * sizeof(char16_t)));
}

void BM_StrToXML_Plain(benchmark::State& state) { Run(state, PlainText(), true); }
void BM_StrToXML_Markup(benchmark::State& state) { Run(state, MarkupText(), true); }
void BM_XMLToStr_Plain(benchmark::State& state) { Run(state, PlainText(), false); }
void BM_XMLToStr_EscapedMarkup(benchmark::State& state) { Run(state, EscapedMarkup(), false); }
void BM_XMLToStr_Entities(benchmark::State& state) { Run(state, EntityText(), false); }

void BM_StrToXML_Stream_Markup(benchmark::State& state) {
  const std::u16string& s = MarkupText();
  for (auto _ : state) {
    TXoStringStream st(1200, 16);
    XoStrToXML(s.data(), int64_t(s.size()), &st, true, true);
    benchmark::DoNotOptimize(st.GetSize());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.size() * sizeof(char16_t)));
}

void BM_StrToXML_8Bit_Markup(benchmark::State& state) {
  static const std::string s = XoUTF16ToUTF8(MarkupText());
  for (auto _ : state) benchmark::DoNotOptimize(XoStrToXML(std::string_view(s), true, true));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.size()));
}

void BM_XMLToStr_8Bit_EscapedMarkup(benchmark::State& state) {
  static const std::string s = XoUTF16ToUTF8(EscapedMarkup());
  for (auto _ : state) benchmark::DoNotOptimize(XoXMLToStr(std::string_view(s)));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.size()));
}

// Baseline: one plain copy of the same text, the floor for "one scan, one copy".
void BM_Copy_Plain(benchmark::State& state) {
  const std::u16string& s = PlainText();
  for (auto _ : state) benchmark::DoNotOptimize(std::u16string(s));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.size() * sizeof(char16_t)));
}

}  // namespace

BENCHMARK(BM_Copy_Plain);
BENCHMARK(BM_StrToXML_Plain);
BENCHMARK(BM_StrToXML_Markup);
BENCHMARK(BM_StrToXML_Stream_Markup);
BENCHMARK(BM_StrToXML_8Bit_Markup);
BENCHMARK(BM_XMLToStr_Plain);
BENCHMARK(BM_XMLToStr_EscapedMarkup);
BENCHMARK(BM_XMLToStr_Entities);
BENCHMARK(BM_XMLToStr_8Bit_EscapedMarkup);

BENCHMARK_MAIN();
