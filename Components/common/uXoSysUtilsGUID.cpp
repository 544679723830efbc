// GUID values and their braced text form.
#include <cstring>

#include "uXoSysUtils.h"

namespace xo {

bool TGUID::IsEmpty() const { return *this == TGUID(); }

bool operator==(const TGUID& A, const TGUID& B) {
  return A.D1 == B.D1 && A.D2 == B.D2 && A.D3 == B.D3 && std::memcmp(A.D4, B.D4, sizeof(A.D4)) == 0;
}

namespace {

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// Reads ADigits hexadecimal digits at APos; false when one is no digit.
bool ReadHex(std::u16string_view AText, size_t APos, int ADigits, uint32_t& AValue) {
  AValue = 0;
  for (int i = 0; i < ADigits; ++i) {
    int d = HexDigit(AText[APos + i]);
    if (d < 0) return false;
    AValue = (AValue << 4) | static_cast<uint32_t>(d);
  }
  return true;
}

}  // namespace

TGUID StringToGUID(std::u16string_view AText) {
  // {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
  //  1        10   15   20   25
  TGUID g;
  uint32_t v = 0;
  bool ok = AText.size() == 38 && AText[0] == u'{' && AText[37] == u'}' && AText[9] == u'-' &&
            AText[14] == u'-' && AText[19] == u'-' && AText[24] == u'-';
  if (ok) ok = ReadHex(AText, 1, 8, v), g.D1 = v;
  if (ok) ok = ReadHex(AText, 10, 4, v), g.D2 = static_cast<uint16_t>(v);
  if (ok) ok = ReadHex(AText, 15, 4, v), g.D3 = static_cast<uint16_t>(v);
  for (int i = 0; ok && i < 8; ++i) {
    size_t pos = i < 2 ? 20 + 2 * i : 25 + 2 * (i - 2);
    ok = ReadHex(AText, pos, 2, v);
    g.D4[i] = static_cast<uint8_t>(v);
  }
  if (!ok) throw EConvertError(u"'%s' is not a valid GUID value", {AText});
  return g;
}

std::u16string GUIDToString(const TGUID& AGUID) {
  std::u16string r = u"{";
  r += IntToHex(AGUID.D1, 8);
  r += u'-';
  r += IntToHex(AGUID.D2, 4);
  r += u'-';
  r += IntToHex(AGUID.D3, 4);
  r += u'-';
  for (int i = 0; i < 8; ++i) {
    if (i == 2) r += u'-';
    r += IntToHex(AGUID.D4[i], 2);
  }
  r += u'}';
  return r;
}

}  // namespace xo
