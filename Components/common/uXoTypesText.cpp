// uXoTypes, text services: Unicode normalization and the simplified form of a
// text, both through ICU.
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <unicode/utypes.h>

#include "uXoTypes.h"

namespace xo {

namespace {

const icu::Normalizer2* Instance(TXoNormalizationForm AForm) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* n = nullptr;
  switch (AForm) {
    case nfNFC: n = icu::Normalizer2::getNFCInstance(status); break;
    case nfNFD: n = icu::Normalizer2::getNFDInstance(status); break;
    case nfNFKC: n = icu::Normalizer2::getNFKCInstance(status); break;
    case nfNFKD: n = icu::Normalizer2::getNFKDInstance(status); break;
  }
  if (U_FAILURE(status) || !n) throw Exception(u"Unicode normalization is not available: %s", {u_errorName(status)});
  return n;
}

std::u16string Normalize(const icu::Normalizer2* ANormalizer, std::u16string_view AText) {
  // A read-only alias: the text is not copied on the way in.
  const icu::UnicodeString src(false, AText.data(), static_cast<int32_t>(AText.size()));
  UErrorCode status = U_ZERO_ERROR;
  if (ANormalizer->isNormalized(src, status) && U_SUCCESS(status)) return std::u16string(AText);
  status = U_ZERO_ERROR;
  icu::UnicodeString dst = ANormalizer->normalize(src, status);
  if (U_FAILURE(status)) throw Exception(u"Unicode normalization failed: %s", {u_errorName(status)});
  return std::u16string(dst.getBuffer(), static_cast<size_t>(dst.length()));
}

}  // namespace

bool XoNormalizationForm(std::u16string_view AName, TXoNormalizationForm& AForm) {
  if (AName == u"NFC") AForm = nfNFC;
  else if (AName == u"NFD") AForm = nfNFD;
  else if (AName == u"NFKC") AForm = nfNFKC;
  else if (AName == u"NFKD") AForm = nfNFKD;
  else return false;
  return true;
}

std::u16string XoNormalizeString(std::u16string_view AText, TXoNormalizationForm AForm) {
  if (AText.empty()) return {};
  return Normalize(Instance(AForm), AText);
}

std::u16string XoSimplifyString(std::u16string_view AText) {
  std::u16string d = XoNormalizeString(AText, nfNFKD);
  std::u16string r;
  r.reserve(d.size());
  bool blank = false;  // a white-space run is pending
  size_t i = 0, n = d.size();
  while (i < n) {
    size_t start = i;
    UChar32 c;
    U16_NEXT(d.data(), i, n, c);
    if (u_isUWhiteSpace(c)) {
      blank = true;
      continue;
    }
    if (u_charType(c) == U_NON_SPACING_MARK) continue;
    if (blank && !r.empty()) r.push_back(u' ');
    blank = false;
    r.append(d, start, i - start);
  }
  return XoNormalizeString(r, nfNFC);
}

}  // namespace xo
