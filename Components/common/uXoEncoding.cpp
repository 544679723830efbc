// Code pages: names and numbers, byte-order marks, conversions.
//
// UTF-8 and UTF-16 are converted by xo's own code; every other code page goes
// through ICU. Single-byte code pages also get a 256-entry decoding table,
// built once, which the text scanner uses to read such sources in place.
#include <unicode/ucnv.h>

#include <array>
#include <iterator>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "uXoClasses.h"

namespace xo {

namespace {

struct TCodePageInfo {
  uint16_t Number;
  const char16_t* Name;  // the name XoCodePage(number) gives
  const char* ICUName;   // converter name for ICU (nullptr: handled by xo)
  bool SingleByte;
};

// Windows code page numbers with their preferred names.
const TCodePageInfo kCodePages[] = {
    {65001, u"utf-8", nullptr, false},
    {1200, u"utf-16", nullptr, false},
    {1201, u"unicodeFFFE", "UTF-16BE", false},
    {12000, u"utf-32", "UTF-32LE", false},
    {12001, u"utf-32BE", "UTF-32BE", false},
    {65000, u"utf-7", "UTF-7", false},
    {20127, u"us-ascii", "US-ASCII", true},
    {1250, u"windows-1250", "windows-1250", true},
    {1251, u"windows-1251", "windows-1251", true},
    {1252, u"windows-1252", "windows-1252", true},
    {1253, u"windows-1253", "windows-1253", true},
    {1254, u"windows-1254", "windows-1254", true},
    {1255, u"windows-1255", "windows-1255", true},
    {1256, u"windows-1256", "windows-1256", true},
    {1257, u"windows-1257", "windows-1257", true},
    {1258, u"windows-1258", "windows-1258", true},
    {874, u"windows-874", "windows-874", true},
    {28591, u"iso-8859-1", "ISO-8859-1", true},
    {28592, u"iso-8859-2", "ISO-8859-2", true},
    {28593, u"iso-8859-3", "ISO-8859-3", true},
    {28594, u"iso-8859-4", "ISO-8859-4", true},
    {28595, u"iso-8859-5", "ISO-8859-5", true},
    {28596, u"iso-8859-6", "ISO-8859-6", true},
    {28597, u"iso-8859-7", "ISO-8859-7", true},
    {28598, u"iso-8859-8", "ISO-8859-8", true},
    {28599, u"iso-8859-9", "ISO-8859-9", true},
    {28603, u"iso-8859-13", "ISO-8859-13", true},
    {28605, u"iso-8859-15", "ISO-8859-15", true},
    {38598, u"iso-8859-8-i", "ISO-8859-8", true},
    {20866, u"koi8-r", "KOI8-R", true},
    {21866, u"koi8-u", "KOI8-U", true},
    {437, u"IBM437", "ibm-437", true},
    {850, u"ibm850", "ibm-850", true},
    {852, u"ibm852", "ibm-852", true},
    {866, u"cp866", "ibm-866", true},
    {10000, u"macintosh", "macintosh", true},
    {932, u"shift_jis", "ibm-943_P15A-2003", false},
    {936, u"gb2312", "windows-936", false},
    {949, u"ks_c_5601-1987", "windows-949", false},
    {950, u"big5", "windows-950", false},
    {20932, u"EUC-JP", "EUC-JP", false},
    {51932, u"euc-jp", "EUC-JP", false},
    {51949, u"euc-kr", "EUC-KR", false},
    {54936, u"GB18030", "GB18030", false},
    {50220, u"iso-2022-jp", "ISO-2022-JP", false},
    {52936, u"hz-gb-2312", "HZ", false},
};

// Further names that find a code page (compared without regard to case).
const std::pair<const char16_t*, uint16_t> kAliases[] = {
    {u"utf8", 65001},         {u"utf-16le", 1200},       {u"utf16", 1200},
    {u"ucs-2", 1200},         {u"unicode", 1200},        {u"utf-16be", 1201},
    {u"utf-32le", 12000},     {u"utf32", 12000},         {u"ascii", 20127},
    {u"us", 20127},           {u"ansi_x3.4-1968", 20127}, {u"latin1", 28591},
    {u"latin-1", 28591},      {u"iso8859-1", 28591},     {u"iso_8859-1", 28591},
    {u"l1", 28591},           {u"latin2", 28592},        {u"iso_8859-2", 28592},
    {u"iso8859-2", 28592},    {u"latin9", 28605},        {u"iso_8859-15", 28605},
    {u"iso8859-15", 28605},   {u"cyrillic", 28595},      {u"greek", 28597},
    {u"hebrew", 28598},       {u"arabic", 28596},        {u"cp1250", 1250},
    {u"cp1251", 1251},        {u"cp1252", 1252},         {u"cp1253", 1253},
    {u"cp1254", 1254},        {u"cp1255", 1255},         {u"cp1256", 1256},
    {u"cp1257", 1257},        {u"cp1258", 1258},         {u"x-cp1250", 1250},
    {u"x-cp1251", 1251},      {u"cp437", 437},           {u"cp850", 850},
    {u"cp852", 852},          {u"ibm866", 866},          {u"sjis", 932},
    {u"shift-jis", 932},      {u"x-sjis", 932},          {u"ms_kanji", 932},
    {u"windows-31j", 932},    {u"cp932", 932},           {u"gbk", 936},
    {u"cp936", 936},          {u"euc-cn", 936},          {u"cp949", 949},
    {u"windows-949", 949},    {u"big5-hkscs", 950},      {u"cp950", 950},
    {u"gb18030", 54936},      {u"tis-620", 874},         {u"windows-874", 874},
    {u"mac", 10000},          {u"x-mac-roman", 10000},   {u"koi8", 20866},
    {u"csisolatin1", 28591},  {u"iso-ir-100", 28591},    {u"iso_8859-1:1987", 28591},
};

const TCodePageInfo* FindInfo(uint16_t ACodePage) {
  for (const auto& i : kCodePages)
    if (i.Number == ACodePage) return &i;
  return nullptr;
}

uint16_t Resolve(uint16_t ACodePage) { return ACodePage ? ACodePage : XoSystemCodePage; }

// One ICU converter per conversion call: converters are not thread-safe and
// cheap enough to open for a whole text.
// Bytes of the buffer through which ICU conversions pass, slice by slice.
constexpr size_t kConvertSlice = 64 * 1024;

struct TConverter {
  UConverter* Cnv = nullptr;
  explicit TConverter(const char* AName) {
    UErrorCode err = U_ZERO_ERROR;
    Cnv = ucnv_open(AName, &err);
    if (U_FAILURE(err)) {
      Cnv = nullptr;
      throw EXoException(u"Code page %s is not available", {std::string(AName)});
    }
  }
  ~TConverter() {
    if (Cnv) ucnv_close(Cnv);
  }
};

const char* ICUNameOf(uint16_t ACodePage) {
  const TCodePageInfo* info = FindInfo(ACodePage);
  if (!info) throw EXoException(u"Unknown code page %d", {ACodePage});
  return info->ICUName;
}

std::u16string UTF16BEToLE(std::string_view ABytes) {
  std::u16string r(ABytes.size() / 2, u'\0');
  for (size_t i = 0; i < r.size(); ++i)
    r[i] = static_cast<char16_t>((static_cast<unsigned char>(ABytes[2 * i]) << 8) |
                                 static_cast<unsigned char>(ABytes[2 * i + 1]));
  return r;
}

}  // namespace

uint16_t XoGetCodePage(TStream* AStream) {
  if (!AStream) return 0;
  int64_t pos = AStream->GetPosition();
  // The probe reads up to three bytes and puts the stream back: a stream that
  // cannot seek would lose them, so it is refused before anything is read.
  if (pos < 0) throw EStreamError(u"The byte-order mark cannot be probed on a stream that cannot seek");
  unsigned char b[3] = {0, 0, 0};
  int64_t n = AStream->Read(b, 3);
  if (n >= 3 && std::memcmp(b, cXoUTF8, 3) == 0) {
    AStream->Seek(pos + 3, soBeginning);
    return 65001;
  }
  if (n >= 2 && std::memcmp(b, cXoUTF16LE, 2) == 0) {
    AStream->Seek(pos + 2, soBeginning);
    return 1200;
  }
  if (n >= 2 && std::memcmp(b, cXoUTF16BE, 2) == 0) {
    AStream->Seek(pos + 2, soBeginning);
    return 1201;
  }
  AStream->Seek(pos, soBeginning);
  return 0;
}

uint16_t XoCodePage(std::u16string_view AName) {
  std::u16string name = Trim(AName);
  for (const auto& i : kCodePages)
    if (XoSameText(name, i.Name)) return i.Number;
  for (const auto& a : kAliases)
    if (XoSameText(name, a.first)) return a.second;
  // "windows-NNNN", "cpNNNN" and "ibmNNN" for any code page xo knows.
  for (std::u16string_view prefix : {u"windows-", u"cp", u"ibm", u"ibm-"}) {
    if (name.size() > prefix.size() && XoSameText(std::u16string_view(name).substr(0, prefix.size()), prefix)) {
      uint32_t v = 0;
      bool digits = true;
      for (size_t k = prefix.size(); k < name.size() && digits; ++k) {
        char16_t c = name[k];
        digits = c >= u'0' && c <= u'9' && v < 100000;
        v = v * 10 + (c - u'0');
      }
      if (digits && v <= 0xFFFF && FindInfo(static_cast<uint16_t>(v))) return static_cast<uint16_t>(v);
    }
  }
  // A name of any length may come from a document; the message shows enough
  // of it to recognise.
  constexpr size_t kShown = 64;
  if (name.size() > kShown) name = name.substr(0, kShown) + u"...";
  throw EXoException(u"Unknown code page \"%s\"", {name});
}

std::u16string XoCodePage(uint16_t ACodePage) {
  const TCodePageInfo* info = FindInfo(Resolve(ACodePage));
  if (!info) throw EXoException(u"Unknown code page %d", {ACodePage});
  return info->Name;
}

bool XoIsSingleByteCodePage(uint16_t ACodePage) {
  const TCodePageInfo* info = FindInfo(Resolve(ACodePage));
  return info && info->SingleByte;
}

std::string TXoEncoding::ConvertW(std::u16string_view AText, uint16_t ACodePage) {
  uint16_t cp = Resolve(ACodePage);
  if (cp == 65001) return XoUTF16ToUTF8(AText);
  if (cp == 1200) return std::string(reinterpret_cast<const char*>(AText.data()), AText.size() * 2);
  if (cp == 1201) {
    std::string r(AText.size() * 2, '\0');
    for (size_t i = 0; i < AText.size(); ++i) {
      r[2 * i] = static_cast<char>(AText[i] >> 8);
      r[2 * i + 1] = static_cast<char>(AText[i] & 0xFF);
    }
    return r;
  }
  TConverter c(ICUNameOf(cp));
  // Converted in slices through one output buffer, so that sizes never pass
  // through ICU's 32-bit counts, however long the text.
  std::string r;
  r.reserve(AText.size());
  char out[kConvertSlice];
  const UChar* src = reinterpret_cast<const UChar*>(AText.data());
  const UChar* const srcEnd = src + AText.size();
  for (;;) {
    UErrorCode err = U_ZERO_ERROR;
    char* target = out;
    ucnv_fromUnicode(c.Cnv, &target, out + sizeof out, &src, srcEnd, nullptr, true, &err);
    r.append(out, static_cast<size_t>(target - out));
    if (err == U_BUFFER_OVERFLOW_ERROR) continue;
    if (U_FAILURE(err)) throw EXoException(u"Text cannot be converted to code page %d", {cp});
    return r;
  }
}

std::u16string TXoEncoding::ConvertA(std::string_view ABytes, uint16_t ACodePage) {
  uint16_t cp = Resolve(ACodePage);
  if (cp == 65001) return XoUTF8ToUTF16(ABytes);
  if (cp == 1200) {
    std::u16string r(ABytes.size() / 2, u'\0');
    if (!r.empty()) std::memcpy(r.data(), ABytes.data(), r.size() * 2);
    return r;
  }
  if (cp == 1201) return UTF16BEToLE(ABytes);
  const TCodePageInfo* info = FindInfo(cp);
  if (info && info->SingleByte) {
    const char16_t* table = SingleByteTable(cp);
    std::u16string r(ABytes.size(), u'\0');
    for (size_t i = 0; i < ABytes.size(); ++i) r[i] = table[static_cast<unsigned char>(ABytes[i])];
    return r;
  }
  TConverter c(ICUNameOf(cp));
  std::u16string r;
  r.reserve(ABytes.size());
  UChar out[kConvertSlice / 2];
  const char* src = ABytes.data();
  const char* const srcEnd = src + ABytes.size();
  for (;;) {
    UErrorCode err = U_ZERO_ERROR;
    UChar* target = out;
    ucnv_toUnicode(c.Cnv, &target, out + std::size(out), &src, srcEnd, nullptr, true, &err);
    r.append(reinterpret_cast<const char16_t*>(out), static_cast<size_t>(target - out));
    if (err == U_BUFFER_OVERFLOW_ERROR) continue;
    if (U_FAILURE(err)) throw EXoException(u"Text cannot be converted from code page %d", {cp});
    return r;
  }
}

const char16_t* TXoEncoding::SingleByteTable(uint16_t ACodePage) {
  uint16_t cp = Resolve(ACodePage);
  const TCodePageInfo* info = FindInfo(cp);
  if (!info || !info->SingleByte)
    throw EXoException(u"Code page %d is not a single-byte code page", {cp});
  static std::mutex lock;
  static std::map<uint16_t, std::unique_ptr<std::array<char16_t, 256>>> tables;
  std::lock_guard<std::mutex> guard(lock);
  auto& slot = tables[cp];
  if (!slot) {
    auto t = std::make_unique<std::array<char16_t, 256>>();
    TConverter c(info->ICUName);
    for (int b = 0; b < 256; ++b) {
      char in = static_cast<char>(b);
      UChar out[4] = {0xFFFD, 0, 0, 0};
      UErrorCode err = U_ZERO_ERROR;
      int32_t n = ucnv_toUChars(c.Cnv, out, 4, &in, 1, &err);
      (*t)[static_cast<size_t>(b)] = (U_SUCCESS(err) && n >= 1) ? static_cast<char16_t>(out[0]) : u'\xFFFD';
      ucnv_reset(c.Cnv);
    }
    slot = std::move(t);
  }
  return slot->data();
}

}  // namespace xo
