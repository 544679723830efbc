// Drives the regular expression wrapper and the typed simple records' text
// readers with arbitrary patterns, replacements and texts. The input is
// UTF-8: the first byte chooses the options, then pattern, replacement and
// text follow, separated by 0x01 bytes. Checked: no crash, no hang, only
// xo's exceptions leave a call, and replacing every match by itself ("$&")
// gives the text back unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "uXoRegEx.h"
#include "uXoXSTypes.h"

using namespace xo;

namespace {

std::u16string_view Next(std::u16string_view& ARest) {
  size_t at = ARest.find(u'\x01');
  std::u16string_view r = ARest.substr(0, at);
  ARest = at == std::u16string_view::npos ? std::u16string_view() : ARest.substr(at + 1);
  return r;
}

template <class R>
void ReadInto(std::u16string_view AText) {
  R r;
  try {
    r.FromString(AText);
    (void)r.ToString();
    (void)(r + 1);
  } catch (const Exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize == 0) return 0;
  TRegExOptions options = AData[0] & 0x7F;
  std::u16string input = XoUTF8ToUTF16(std::string_view(reinterpret_cast<const char*>(AData) + 1, ASize - 1));
  std::u16string_view rest = input;
  std::u16string_view pattern = Next(rest);
  std::u16string_view replacement = Next(rest);
  std::u16string_view text = rest;
  try {
    TRegEx re(pattern, options);
    (void)re.IsMatch(text);
    (void)re.Replace(text, replacement);
    if (!(options & roNotEmpty) && re.Replace(text, u"$&") != text) std::abort();
  } catch (const ERegularExpressionError&) {
  }
  ReadInto<TXsByte>(text);
  ReadInto<TXsUnsignedLong>(text);
  ReadInto<TXsDouble>(text);
  ReadInto<TXsFloat>(text);
  try {
    TXsDuration d(text);
    (void)d.AsDuration();
  } catch (const Exception&) {
  }
  return 0;
}
