// uXoRegEx: Perl-compatible regular expressions over UTF-16 text (PCRE2 with
// 16-bit code units), the platform's TRegEx.
//
//   TRegEx::IsMatch(u"abc123", u"\\d+");                        // true
//   TRegEx::Replace(u"a-b-c", u"-", u"+");                       // "a+b+c"
//   TRegEx::Replace(u"John Smith", u"(\\w+) (\\w+)", u"$2, $1"); // "Smith, John"
//
// A pattern is unanchored: it matches anywhere in the text unless it says
// otherwise with "^" or "$". Compiled patterns are cached per pattern and
// options, so calling the static forms in a loop compiles each pattern once.
// A pattern that the engine refuses raises ERegularExpressionError with the
// engine's message and the offset of the fault in the pattern.
//
// Options, as callers with a flags text map them: "s" roSingleLine (the dot
// matches line ends), "m" roMultiLine ("^" and "$" at every line), "i"
// roIgnoreCase, "x" roIgnorePatternSpace (blanks and "#" comments in the
// pattern are ignored), "q" roExplicitCapture (plain parentheses do not
// capture; named groups still do).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uXoSysUtils.h"

namespace xo {

XO_DECLARE_EXCEPTION(ERegularExpressionError, Exception)

enum TRegExOption : uint32_t {
  roNone = 0,
  roIgnoreCase = 1,
  roMultiLine = 2,
  roExplicitCapture = 4,
  roCompiled = 8,  // accepted; every pattern is compiled once anyway
  roSingleLine = 16,
  roIgnorePatternSpace = 32,
  roNotEmpty = 64,  // an empty match does not count
};
// A combination of TRegExOption values (roIgnoreCase | roMultiLine).
using TRegExOptions = uint32_t;

class TRegEx {
public:
  // Compiles APattern (or takes it from the cache); raises
  // ERegularExpressionError when the engine refuses it.
  explicit TRegEx(std::u16string_view APattern, TRegExOptions AOptions = roNone);

  // Whether the pattern matches anywhere in AInput.
  bool IsMatch(std::u16string_view AInput) const;
  // AInput with every match replaced by AReplacement, in which "$N" or "\N"
  // (N a group number, one or two digits), "${N}", "${name}" and "\g<name>"
  // stand for a group ("" when it took no part in the match), "$&", "$0",
  // "\0" and "\&" for the whole match, "$$" for "$" and "\\" for "\". Any
  // other "$" or "\" is copied as it stands. An empty match is replaced too,
  // and the scan then moves on by one character.
  std::u16string Replace(std::u16string_view AInput, std::u16string_view AReplacement) const;
  // The pieces of AInput between the matches, in order. A match at the
  // start or the end gives an empty first or last piece, two matches in a
  // row an empty piece between them; an empty match separates nothing. An
  // empty input gives no pieces.
  std::vector<std::u16string> Split(std::u16string_view AInput) const;

  static bool IsMatch(std::u16string_view AInput, std::u16string_view APattern, TRegExOptions AOptions = roNone);
  static std::u16string Replace(std::u16string_view AInput, std::u16string_view APattern,
                                std::u16string_view AReplacement, TRegExOptions AOptions = roNone);
  static std::vector<std::u16string> Split(std::u16string_view AInput, std::u16string_view APattern,
                                           TRegExOptions AOptions = roNone);

  struct TCompiled;

private:
  std::shared_ptr<const TCompiled> FCode;
};

}  // namespace xo
