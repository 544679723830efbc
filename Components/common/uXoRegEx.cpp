// uXoRegEx: the PCRE2 (16-bit) engine behind TRegEx, with a cache of compiled
// patterns.
#define PCRE2_CODE_UNIT_WIDTH 16
#include "uXoRegEx.h"

#include <pcre2.h>

#include <mutex>
#include <unordered_map>

namespace xo {

// A pattern is compiled for well-formed UTF-16, which is matched without the
// engine checking the subject again on every call (that check reads the
// whole rest of the subject each time, which makes a scan over many matches
// quadratic). Text with unpaired surrogates goes to a second form of the
// pattern that the engine compiles for invalid UTF on first need.
struct TRegEx::TCompiled {
  pcre2_code* Code = nullptr;
  uint32_t MatchFlags = 0;
  uint32_t Groups = 0;  // capturing groups, not counting the whole match
  std::u16string Pattern;
  uint32_t CompileFlags = 0;
  mutable std::once_flag LenientOnce;
  mutable pcre2_code* Lenient = nullptr;
  ~TCompiled() {
    pcre2_code_free(Code);
    pcre2_code_free(Lenient);
  }
  // The code for a subject and the match flags that go with it.
  const pcre2_code* For(std::u16string_view ASubject, uint32_t& AFlags) const;
};

namespace {

inline PCRE2_SPTR16 Ptr(std::u16string_view AText) {
  // PCRE2 wants a valid pointer also for an empty subject.
  static const char16_t cEmpty[1] = {0};
  return reinterpret_cast<PCRE2_SPTR16>(AText.empty() ? cEmpty : AText.data());
}

std::u16string EngineMessage(int ACode) {
  PCRE2_UCHAR16 buf[256];
  int n = pcre2_get_error_message(ACode, buf, sizeof buf / sizeof buf[0]);
  if (n < 0) return u"unknown error";
  return std::u16string(reinterpret_cast<const char16_t*>(buf), static_cast<size_t>(n));
}

std::shared_ptr<const TRegEx::TCompiled> Compile(std::u16string_view APattern, TRegExOptions AOptions) {
  uint32_t flags = PCRE2_UTF;
  if (AOptions & roIgnoreCase) flags |= PCRE2_CASELESS;
  if (AOptions & roMultiLine) flags |= PCRE2_MULTILINE;
  if (AOptions & roExplicitCapture) flags |= PCRE2_NO_AUTO_CAPTURE;
  if (AOptions & roSingleLine) flags |= PCRE2_DOTALL;
  if (AOptions & roIgnorePatternSpace) flags |= PCRE2_EXTENDED;
  int err = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* code = pcre2_compile(Ptr(APattern), APattern.size(), flags, &err, &offset, nullptr);
  if (!code)
    throw ERegularExpressionError(u"Error in regular expression at offset %d: %s",
                                  {static_cast<int64_t>(offset), EngineMessage(err)});
  auto r = std::make_shared<TRegEx::TCompiled>();
  r->Code = code;
  r->Pattern = APattern;
  r->CompileFlags = flags;
  r->MatchFlags = (AOptions & roNotEmpty) ? PCRE2_NOTEMPTY : 0;
  pcre2_pattern_info(code, PCRE2_INFO_CAPTURECOUNT, &r->Groups);
  return r;
}

// Whether the text is well-formed UTF-16: every high surrogate followed by a
// low one, no low one alone.
bool WellFormed(std::u16string_view AText) {
  const char16_t* p = AText.data();
  const char16_t* e = p + AText.size();
  while (p < e) {
    char16_t c = *p++;
    if (c < 0xD800 || c > 0xDFFF) continue;
    if (c > 0xDBFF || p == e || *p < 0xDC00 || *p > 0xDFFF) return false;
    ++p;
  }
  return true;
}

// Patterns are compiled once per pattern and options. The cache is bounded:
// when it is full it starts over, which only costs recompiling.
std::shared_ptr<const TRegEx::TCompiled> Cached(std::u16string_view APattern, TRegExOptions AOptions) {
  static std::mutex lock;
  static std::unordered_map<std::u16string, std::shared_ptr<const TRegEx::TCompiled>> cache;
  std::u16string key;
  key.reserve(APattern.size() + 2);
  key.push_back(static_cast<char16_t>(AOptions & 0xFFFF));
  key.push_back(static_cast<char16_t>(AOptions >> 16));
  key.append(APattern);
  {
    std::lock_guard<std::mutex> guard(lock);
    auto it = cache.find(key);
    if (it != cache.end()) return it->second;
  }
  auto code = Compile(APattern, AOptions);
  std::lock_guard<std::mutex> guard(lock);
  if (cache.size() >= 1024) cache.clear();
  cache.emplace(std::move(key), code);
  return code;
}

// Match data per thread, grown to the largest group count seen.
pcre2_match_data* MatchData(uint32_t AGroups) {
  struct THolder {
    pcre2_match_data* Data = nullptr;
    uint32_t Pairs = 0;
    ~THolder() { pcre2_match_data_free(Data); }
  };
  thread_local THolder holder;
  if (!holder.Data || holder.Pairs < AGroups + 1) {
    pcre2_match_data_free(holder.Data);
    holder.Pairs = AGroups + 1 < 16 ? 16 : AGroups + 1;
    holder.Data = pcre2_match_data_create(holder.Pairs, nullptr);
    if (!holder.Data) throw EOutOfMemory(u"Out of memory");
  }
  return holder.Data;
}

[[noreturn]] void RaiseMatchError(int ACode) {
  throw ERegularExpressionError(u"Error while matching a regular expression: %s", {EngineMessage(ACode)});
}

inline bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Appends group AGroup of the current match ("" when unset or absent).
void AppendGroup(std::u16string& AOut, std::u16string_view AInput, const PCRE2_SIZE* AOv, int AMatched,
                 uint32_t AGroup) {
  if (AGroup >= static_cast<uint32_t>(AMatched)) return;
  PCRE2_SIZE s = AOv[2 * AGroup], e = AOv[2 * AGroup + 1];
  if (s == PCRE2_UNSET || e < s) return;
  AOut.append(AInput.substr(s, e - s));
}

// Reads a group number of one or two digits at APos: two when that group
// exists, else one. Returns the number of characters taken.
size_t GroupNumber(std::u16string_view ARepl, size_t APos, uint32_t AGroups, uint32_t& ANumber) {
  ANumber = ARepl[APos] - u'0';
  if (APos + 1 < ARepl.size() && IsDigit(ARepl[APos + 1])) {
    uint32_t two = ANumber * 10 + (ARepl[APos + 1] - u'0');
    if (two <= AGroups) {
      ANumber = two;
      return 2;
    }
  }
  return 1;
}

// The number of a group given by name or digits; -1 when there is none.
int64_t GroupByName(const pcre2_code* ACode, std::u16string_view AName) {
  if (AName.empty()) return -1;
  bool digits = true;
  for (char16_t c : AName) digits = digits && IsDigit(c);
  if (digits) return AName.size() > 5 ? -1 : StrToInt(AName);
  std::u16string n(AName);
  int r = pcre2_substring_number_from_name(ACode, reinterpret_cast<PCRE2_SPTR16>(n.c_str()));
  return r < 0 ? -1 : r;
}

void Expand(std::u16string& AOut, std::u16string_view ARepl, std::u16string_view AInput, const PCRE2_SIZE* AOv,
            int AMatched, const TRegEx::TCompiled& AC) {
  size_t i = 0, n = ARepl.size();
  while (i < n) {
    char16_t c = ARepl[i];
    if ((c != u'$' && c != u'\\') || i + 1 >= n) {
      AOut.push_back(c);
      ++i;
      continue;
    }
    char16_t d = ARepl[i + 1];
    uint32_t g;
    if (IsDigit(d)) {
      i += 1 + GroupNumber(ARepl, i + 1, AC.Groups, g);
      AppendGroup(AOut, AInput, AOv, AMatched, g);
    } else if (d == u'&') {
      AppendGroup(AOut, AInput, AOv, AMatched, 0);
      i += 2;
    } else if (d == c) {  // "$$" or "\\"
      AOut.push_back(c);
      i += 2;
    } else if ((c == u'$' && d == u'{') || (c == u'\\' && d == u'g' && i + 2 < n && ARepl[i + 2] == u'<')) {
      size_t open = c == u'$' ? i + 2 : i + 3;
      size_t close = ARepl.find(c == u'$' ? u'}' : u'>', open);
      int64_t num = close == std::u16string_view::npos ? -1 : GroupByName(AC.Code, ARepl.substr(open, close - open));
      if (num < 0) {
        AOut.push_back(c);
        ++i;
        continue;
      }
      AppendGroup(AOut, AInput, AOv, AMatched, static_cast<uint32_t>(num));
      i = close + 1;
    } else {
      AOut.push_back(c);
      ++i;
    }
  }
}

}  // namespace

const pcre2_code* TRegEx::TCompiled::For(std::u16string_view ASubject, uint32_t& AFlags) const {
  if (WellFormed(ASubject)) {
    AFlags = MatchFlags | PCRE2_NO_UTF_CHECK;
    return Code;
  }
  std::call_once(LenientOnce, [this] {
    int err = 0;
    PCRE2_SIZE offset = 0;
    Lenient = pcre2_compile(Ptr(Pattern), Pattern.size(), CompileFlags | PCRE2_MATCH_INVALID_UTF, &err, &offset,
                            nullptr);
    if (!Lenient) throw ERegularExpressionError(u"Error in regular expression at offset %d: %s",
                                                {static_cast<int64_t>(offset), EngineMessage(err)});
  });
  AFlags = MatchFlags;
  return Lenient;
}

TRegEx::TRegEx(std::u16string_view APattern, TRegExOptions AOptions) : FCode(Cached(APattern, AOptions)) {}

bool TRegEx::IsMatch(std::u16string_view AInput) const {
  pcre2_match_data* md = MatchData(FCode->Groups);
  uint32_t flags;
  const pcre2_code* code = FCode->For(AInput, flags);
  int rc = pcre2_match(code, Ptr(AInput), AInput.size(), 0, flags, md, nullptr);
  if (rc == PCRE2_ERROR_NOMATCH) return false;
  if (rc < 0) RaiseMatchError(rc);
  return true;
}

std::u16string TRegEx::Replace(std::u16string_view AInput, std::u16string_view AReplacement) const {
  pcre2_match_data* md = MatchData(FCode->Groups);
  const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(md);
  PCRE2_SPTR16 subject = Ptr(AInput);
  uint32_t flags;
  const pcre2_code* code = FCode->For(AInput, flags);
  const size_t len = AInput.size();
  std::u16string out;
  size_t copied = 0, start = 0;
  uint32_t retry = 0;  // set after an empty match: look for a non-empty one at the same place
  while (start <= len) {
    int rc = pcre2_match(code, subject, len, start, flags | retry, md, nullptr);
    if (rc == PCRE2_ERROR_NOMATCH) {
      if (!retry) break;
      // Nothing but the empty match here: step over one character (a
      // surrogate pair is one).
      retry = 0;
      ++start;
      if (start < len && AInput[start - 1] >= 0xD800 && AInput[start - 1] <= 0xDBFF && AInput[start] >= 0xDC00 &&
          AInput[start] <= 0xDFFF)
        ++start;
      continue;
    }
    if (rc < 0) RaiseMatchError(rc);
    size_t ms = ov[0], me = ov[1];
    if (ms < copied || me < ms) break;  // \K tricks that move backwards: stop rather than loop
    out.append(AInput.substr(copied, ms - copied));
    Expand(out, AReplacement, AInput, ov, rc, *FCode);
    copied = me;
    start = me;
    retry = ms == me ? (PCRE2_NOTEMPTY_ATSTART | PCRE2_ANCHORED) : 0;
  }
  out.append(AInput.substr(copied));
  return out;
}

std::vector<std::u16string> TRegEx::Split(std::u16string_view AInput) const {
  std::vector<std::u16string> r;
  if (AInput.empty()) return r;
  pcre2_match_data* md = MatchData(FCode->Groups);
  const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(md);
  PCRE2_SPTR16 subject = Ptr(AInput);
  uint32_t flags;
  const pcre2_code* code = FCode->For(AInput, flags);
  const size_t len = AInput.size();
  size_t piece = 0, start = 0;
  while (start <= len) {
    // Empty matches never separate: only non-empty ones are looked for.
    int rc = pcre2_match(code, subject, len, start, flags | PCRE2_NOTEMPTY, md, nullptr);
    if (rc == PCRE2_ERROR_NOMATCH) break;
    if (rc < 0) RaiseMatchError(rc);
    size_t ms = ov[0], me = ov[1];
    if (ms < piece || me <= ms) break;  // \K tricks that move backwards: stop rather than loop
    r.emplace_back(AInput.substr(piece, ms - piece));
    piece = start = me;
  }
  r.emplace_back(AInput.substr(piece));
  return r;
}

std::vector<std::u16string> TRegEx::Split(std::u16string_view AInput, std::u16string_view APattern,
                                          TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Split(AInput);
}

bool TRegEx::IsMatch(std::u16string_view AInput, std::u16string_view APattern, TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).IsMatch(AInput);
}

std::u16string TRegEx::Replace(std::u16string_view AInput, std::u16string_view APattern,
                               std::u16string_view AReplacement, TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Replace(AInput, AReplacement);
}

}  // namespace xo
