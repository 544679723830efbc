// Drives the text scanner over arbitrary bytes in every source kind: every
// step, skip, selection and position query must stay inside the input.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "uXoClasses.h"

using namespace xo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 2) return 0;
  // The first byte picks the code page and the second seeds the operations.
  static const uint16_t kPages[] = {0, 65001, 1200, 1252, 28591, 932, 1201, 20127};
  uint16_t cp = kPages[AData[0] % 8];
  uint8_t ops = AData[1];
  AData += 2;
  ASize -= 2;
  // An exact-size copy, so that any read past the end is caught.
  std::unique_ptr<uint8_t[]> copy(new uint8_t[ASize ? ASize : 1]);
  if (ASize) std::memcpy(copy.get(), AData, ASize);
  try {
    TXoMemoryStream stream(copy.get(), static_cast<int64_t>(ASize));
    uint16_t bom = XoGetCodePage(&stream);
    TXoTextParser p(&stream, false, bom ? bom : cp);
    const TXoCharSet set("<>&;= \n");
    int guard = 0;
    while (!p.GetEOF() && ++guard < 100000) {
      switch ((ops++) % 9) {
        case 0: p.SkipWhile(tpsUntilEqual, u'<'); break;
        case 1: p.SkipWhile(tpsWhileNotAbove, u' '); break;
        case 2: p.SkipWhile(tpsUntilInSet, set); break;
        case 3: p.SetMark(tppMark1); break;
        case 4: p.Selected(tppMark1, tppCurrent, ops & 1); break;
        case 5: p.PeekStringW(ops % 7); break;
        case 6: p.PrevCharW(); break;
        case 7: p.GetLineNr(); p.GetColNr(); break;
        default: p.SkipWhile(tpsWhileInSet, set); break;
      }
      p.CurrCharW();
      p.CurrCharA();
      if (!p.GetEOF()) p.NextChar();
    }
    p.SetContentCodePage(65001);
    p.First();
    while (!p.GetEOF()) p.ReadCharW();
  } catch (const EXoTextParserEOF&) {
  } catch (const EXoException&) {
    // Unknown or unavailable code pages raise; that is fine.
  }
  return 0;
}
