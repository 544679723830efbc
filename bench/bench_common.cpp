// Throughput of the companion layer's hot paths: UTF-8 -> UTF-16 conversion
// and the scanner's skip loops, on 10 MB of ASCII and of mixed text.
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "uXoClasses.h"

using namespace xo;

namespace {

constexpr size_t kSize = 10 * 1024 * 1024;

const std::string& AsciiText() {
  static const std::string s = [] {
    std::string r;
    r.reserve(kSize);
    std::mt19937 rng(1);
    const char* words[] = {"alpha ", "beta ", "gamma ", "delta\n", "<item>", "value ", "</item>"};
    while (r.size() < kSize) r += words[rng() % 7];
    r.resize(kSize);
    return r;
  }();
  return s;
}

// About a third of the characters outside ASCII (Latin, Greek, CJK, emoji).
const std::string& MixedText() {
  static const std::string s = [] {
    std::string r;
    r.reserve(kSize + 8);
    std::mt19937 rng(2);
    const char* words[] = {"alpha ", "grüße ", "αβγ ", "日本語 ", "😀 ", "text\n", "<x>"};
    while (r.size() < kSize) r += words[rng() % 7];
    return r;
  }();
  return s;
}

void BM_UTF8ToUTF16(benchmark::State& state, const std::string& text) {
  std::u16string out;
  out.reserve(text.size());
  for (auto _ : state) {
    out.clear();
    XoAppendUTF8ToUTF16(out, text);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_UTF16ToUTF8(benchmark::State& state, const std::string& text) {
  std::u16string in = XoUTF8ToUTF16(text);
  std::string out;
  for (auto _ : state) {
    out.clear();
    XoAppendUTF16ToUTF8(out, in);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size() * 2));
}

// Skips from '<' to '<' over the whole input, as a reader looking for markup.
void BM_SkipUntil(benchmark::State& state, const std::string& text, uint16_t ACodePage) {
  std::string bytes = ACodePage == 1200 ? TXoEncoding::ConvertW(XoUTF8ToUTF16(text), 1200) : text;
  for (auto _ : state) {
    TXoTextParser p(bytes.data(), static_cast<int64_t>(bytes.size()), ACodePage);
    int64_t n = 0;
    while (!p.GetEOF()) {
      p.SkipWhile(tpsUntilEqual, u'<');
      if (p.GetEOF()) break;
      p.NextChar();
      ++n;
    }
    benchmark::DoNotOptimize(n);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

// Skips word by word with a character set, as a reader reading names.
void BM_SkipSet(benchmark::State& state, const std::string& text, uint16_t ACodePage) {
  std::string bytes = ACodePage == 1200 ? TXoEncoding::ConvertW(XoUTF8ToUTF16(text), 1200) : text;
  const TXoCharSet blanks(" \n<>");
  for (auto _ : state) {
    TXoTextParser p(bytes.data(), static_cast<int64_t>(bytes.size()), ACodePage);
    while (!p.GetEOF()) {
      p.SkipWhile(tpsUntilInSet, blanks);
      p.SkipWhile(tpsWhileInSet, blanks);
    }
    benchmark::DoNotOptimize(p.GetPosition());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

}  // namespace

BENCHMARK_CAPTURE(BM_UTF8ToUTF16, ascii, AsciiText())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_UTF8ToUTF16, mixed, MixedText())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_UTF16ToUTF8, ascii, AsciiText())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_UTF16ToUTF8, mixed, MixedText())->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipUntil, ascii_utf8, AsciiText(), 65001)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipUntil, mixed_utf8, MixedText(), 65001)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipUntil, mixed_utf16, MixedText(), 1200)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipSet, ascii_utf8, AsciiText(), 65001)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipSet, mixed_utf8, MixedText(), 65001)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipSet, ascii_1252, AsciiText(), 1252)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_SkipSet, mixed_utf16, MixedText(), 1200)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
