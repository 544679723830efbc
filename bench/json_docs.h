// Generated JSON documents shared by the JSON benchmarks: four shapes of
// about 8 MB each (XO_JSON_BENCH_MB overrides the size).
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "uXoSysUtils.h"

namespace xo_bench {

inline size_t TargetSize() {
  const char* mb = std::getenv("XO_JSON_BENCH_MB");
  size_t n = mb ? static_cast<size_t>(std::atoi(mb)) : 8;
  return (n ? n : 8) * 1024 * 1024;
}

inline std::string Number(std::mt19937& rng, int AScale) {
  double v = (static_cast<double>(rng()) / rng.max() - 0.5) * AScale;
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15g", v);
  return buf;
}

inline const std::string& NumbersDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(21);
    std::string d = "{\"type\":\"FeatureCollection\",\"features\":[{\"type\":\"Feature\",\"geometry\":"
                    "{\"type\":\"Polygon\",\"coordinates\":[";
    const size_t size = TargetSize();
    for (int ring = 0; d.size() < size; ++ring) {
      if (ring) d += ',';
      d += '[';
      for (int i = 0; i < 500; ++i) {
        if (i) d += ',';
        d += '[' + Number(rng, 360) + ',' + Number(rng, 180) + ']';
      }
      d += ']';
    }
    d += "]}}]}";
    return d;
  }();
  return doc;
}

inline const std::string& StringsDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(22);
    const char* words[] = {"the", "reader", "looks", "for", "quotes", "and", "hands", "text", "on",
                           "as", "written", "naïve", "café", "日本語", "😀", "\\\"quoted\\\"", "a\\/b", "line\\n"};
    auto sentence = [&](int n) {
      std::string s;
      for (int i = 0; i < n; ++i) {
        if (i) s += ' ';
        s += words[rng() % (sizeof words / sizeof *words)];
      }
      return s;
    };
    std::string d = "{\"statuses\":[";
    const size_t size = TargetSize();
    for (int id = 0; d.size() < size; ++id) {
      if (id) d += ',';
      d += "{\"id\":" + std::to_string(1000000 + id) + ",\"id_str\":\"" + std::to_string(1000000 + id) +
           "\",\"text\":\"" + sentence(12 + rng() % 10) + "\",\"user\":{\"name\":\"" + sentence(2) +
           "\",\"screen_name\":\"user" + std::to_string(rng() % 5000) + "\",\"description\":\"" + sentence(8) +
           "\",\"lang\":\"en\",\"verified\":" + (rng() % 2 ? "true" : "false") +
           "},\"entities\":{\"hashtags\":[\"" + sentence(1) + "\",\"" + sentence(1) +
           "\"],\"urls\":[]},\"in_reply_to\":null,\"retweeted\":false}";
    }
    d += "]}";
    return d;
  }();
  return doc;
}

inline const std::string& DeepDoc() {
  static const std::string doc = [] {
    std::string d = "[";
    const size_t size = TargetSize();
    for (int n = 0; d.size() < size; ++n) {
      if (n) d += ',';
      for (int i = 0; i < 400; ++i) d += "{\"level\":" + std::to_string(i) + ",\"next\":";
      d += "null";
      for (int i = 0; i < 400; ++i) d += '}';
    }
    d += ']';
    return d;
  }();
  return doc;
}

inline const std::string& RecordsDoc() {
  static const std::string doc = [] {
    std::mt19937 rng(24);
    std::string d = "[\n";
    const size_t size = TargetSize();
    for (int id = 0; d.size() < size; ++id) {
      if (id) d += ",\n";
      d += "  {\"id\": " + std::to_string(id) + ", \"name\": \"item" + std::to_string(rng() % 10000) +
           "\", \"price\": " + std::to_string(rng() % 1000) + "." + std::to_string(rng() % 100) +
           ", \"active\": " + (rng() % 2 ? "true" : "false") + ", \"tags\": [\"a\", \"b\"]}";
    }
    d += "\n]\n";
    return d;
  }();
  return doc;
}

inline const std::u16string& RecordsDoc16() {
  static const std::u16string doc = xo::XoUTF8ToUTF16(RecordsDoc());
  return doc;
}

}  // namespace xo_bench
