// uXoJSON: form URL-encoded text (`a=1&b[c]=2&d[]=x`) as JSON events.
//
// The whole text is one object. Each parameter's name is cut into levels (the
// first segment, then one per bracketed segment); comparing the levels of a
// parameter with those of the parameter before decides which objects and
// arrays stay open, which close and which open anew.
#include "uXoJSON.h"

namespace xo {

namespace {

// One level of a parameter's name.
struct TFormLevel {
  XoJSONString Seg;
  bool IsArray = false;      // an array level (else a member level)
  bool ValueObject = false;  // member level: its value is an open object
  bool ValueArray = false;   // member level: its value is an array
  bool ElemObject = false;   // array level: its current element is an open object
};

bool IsDigits(std::u16string_view s) {
  if (s.empty()) return false;
  for (char16_t c : s)
    if (c < u'0' || c > u'9') return false;
  return true;
}

// Whether b is the number a plus 1 (both decimal digits).
bool IsNextNumber(std::u16string_view a, std::u16string_view b) {
  if (!IsDigits(a) || !IsDigits(b) || a.size() > 18 || b.size() > 18) return false;
  uint64_t x = 0, y = 0;
  for (char16_t c : a) x = x * 10 + (c - u'0');
  for (char16_t c : b) y = y * 10 + (c - u'0');
  return y == x + 1;
}

bool IsBracket(std::u16string_view s, char16_t ALast) {
  // "%5B" or "%5D", hexadecimal digits in either case.
  return s.size() == 3 && s[0] == u'%' && s[1] == u'5' && (s[2] == ALast || s[2] == ALast + 0x20);
}

const TXoCharSet kSegmentStops("=%[]");
const TXoCharSet kValueStops("&%+\n\r");

class TFormScan {
public:
  TFormScan(TXoTextParser& AParser, IXoJSONContentHandler* AHandler) : X(AParser), CH(AHandler) {}

  void Run() {
    CH->StartDocument();
    CH->StartObject();
    if (!X._GetEOF()) ParseParameters();
    CloseAll();
    CH->EndObject();
    CH->EndDocument();
  }

private:
  void ParseParameters() {
    for (;;) {
      Curr.clear();
      XoJSONString seg = ReadSegment();
      if (X._GetEOF() && !seg.empty() && seg[0] == u'_') return;
      if (!Prev.empty() && Prev[0].Seg != seg) CloseAll();
      TFormLevel first;
      if (Prev.empty()) {
        CH->StartMember(seg);
      } else {
        first = Prev[0];  // the member goes on
      }
      first.Seg = std::move(seg);
      first.IsArray = false;
      Curr.push_back(std::move(first));
      if (X.CurrCharW() != u'=') {
        do {
          ReadBracketSegment();
        } while (!X._GetEOF() && X.CurrCharW() != u'=');
      }
      XoJSONString value = ReadValue();
      if (!value.empty() && (value[0] == u'[' || value[0] == u'{'))
        CH->Value(jdtString, value);
      else
        CH->Value(jdtString, XoStrToJSON(value));
      if (!Curr.back().IsArray) {
        CH->EndMember();
        Curr.pop_back();
      }
      Prev = Curr;
      if (!X._GetEOF()) X.NextChar();  // the '&'
      if (X._GetEOF() || X.CurrCharW() == u'_') return;
    }
  }

  // One "[segment]" (or "%5Bsegment%5D") of a name, with its events.
  void ReadBracketSegment() {
    X.SetMark(tppMark1);
    if (X.CurrCharW() == u'[')
      X.NextChar();
    else
      SkipQuietly(3);
    XoJSONString open = X.Selected(tppMark1, tppCurrent, true);
    if (open != u"[" && !IsBracket(open, u'B'))
      throw Exception(XoFormat(_cXoJSONFormBracketExpected, {open}));
    XoJSONString seg = ReadSegment();
    if (IsBracket(X.PeekStringW(3), u'D'))
      SkipQuietly(3);
    else
      SkipQuietly(1);

    const size_t n = Curr.size();
    bool keptOpen = false;
    if (Prev.size() > n && Prev[n].Seg != seg) {
      while (Prev.size() > n) {
        TFormLevel& last = Prev.back();
        if (Prev.size() - 1 == n && last.IsArray && IsNextNumber(last.Seg, seg)) {
          // The next element of the same array: only its object closes.
          if (last.ElemObject) CH->EndObject();
          keptOpen = true;
        } else {
          CloseLevel(last);
        }
        Prev.pop_back();
      }
    }
    if (n >= Prev.size()) {
      TFormLevel level;
      level.Seg = seg;
      if (seg.empty() || (seg[0] >= u'0' && seg[0] <= u'9')) {
        // An index that does not continue the open array starts one.
        if (seg.empty() || !keptOpen) {
          CH->StartArray();
          Curr.back().ValueArray = true;
        }
        level.IsArray = true;
      } else {
        if (n > Prev.size()) {
          CH->StartObject();
          if (Curr.back().IsArray)
            Curr.back().ElemObject = true;
          else
            Curr.back().ValueObject = true;
        }
        CH->StartMember(seg);
      }
      Curr.push_back(std::move(level));
    } else {
      TFormLevel level = Prev[n];
      level.Seg = std::move(seg);
      Curr.push_back(std::move(level));
    }
  }

  void CloseLevel(const TFormLevel& ALevel) {
    if (ALevel.IsArray) {
      if (ALevel.ElemObject) CH->EndObject();
      CH->EndArray();
    } else {
      if (ALevel.ValueObject) CH->EndObject();
      CH->EndMember();
    }
  }

  void CloseAll() {
    while (!Prev.empty()) {
      CloseLevel(Prev.back());
      Prev.pop_back();
    }
  }

  void SkipQuietly(int ACount) {
    for (; ACount > 0 && !X._GetEOF(); --ACount) X.NextChar();
  }

  // A name segment: up to '=', '[', ']', "%5B", "%5D" or the end, other
  // percent sequences decoded.
  XoJSONString ReadSegment() {
    XoJSONString result;
    X.SetMark(tppMark1);
    for (;;) {
      X.SkipWhile(tpsUntilInSet, kSegmentStops);
      if (X._GetEOF() || X.CurrCharW() != u'%') break;
      XoJSONString ahead = X.PeekStringW(3);
      if (IsBracket(ahead, u'B') || IsBracket(ahead, u'D')) break;
      result += X.Selected(tppMark1, tppCurrent, true);
      result += DecodePercent();
      X.SetMark(tppMark1);
    }
    result += X.Selected(tppMark1, tppCurrent, true);
    return result;
  }

  // The value behind '=': plus signs become blanks, line ends vanish, percent
  // sequences are decoded and kept when they give no control character.
  XoJSONString ReadValue() {
    XoJSONString result;
    SkipQuietly(1);  // the '='
    while (!X._GetEOF() && X.CurrCharW() != u'&') {
      X.SetMark(tppMark1);
      X.SkipWhile(tpsUntilInSet, kValueStops);
      result += X.Selected(tppMark1, tppCurrent, true);
      if (X._GetEOF()) break;
      switch (X.CurrCharW()) {
        case u'%': {
          XoJSONString d = DecodePercent();
          if (d >= u" ") result += d;
          break;
        }
        case u'+':
          result += u' ';
          X.NextChar();
          break;
        case u'\n':
        case u'\r':
          X.NextChar();
          break;
        default:  // '&'
          break;
      }
    }
    return result;
  }

  // Two hexadecimal digits behind the current character, stepped over.
  uint8_t ReadHexByte() {
    XoJSONString digits = X.PeekStringW(2);
    SkipQuietly(static_cast<int>(digits.size()));
    if (digits.size() < 2) throw EConvertError(XoFormat(u"'%s' is not a valid integer value", {u"$" + digits}));
    return static_cast<uint8_t>(StrToInt(u"$" + digits));
  }

  // At '%': one UTF-8 sequence of percent-encoded bytes, decoded.
  XoJSONString DecodePercent() {
    X.NextChar();  // the '%'
    std::string bytes(1, static_cast<char>(ReadHexByte()));
    // A lead byte above 127 tells by its leading one bits how many follow.
    const uint8_t first = static_cast<uint8_t>(bytes[0]);
    for (uint8_t lead = static_cast<uint8_t>(first << 1); (first & 0x80) && (lead & 0x80);
         lead = static_cast<uint8_t>(lead << 1)) {
      if (X._GetEOF() || X.CurrCharW() != u'%') throw Exception(std::u16string(_cXoJSONInvalidUTF8));
      X.NextChar();
      bytes += static_cast<char>(ReadHexByte());
    }
    return TXoEncoding::ConvertA(bytes, 65001);
  }

  TXoTextParser& X;
  IXoJSONContentHandler* CH;
  std::vector<TFormLevel> Curr, Prev;
};

}  // namespace

void TXoFormURLEncodedJSONReader::CheckHandlers() {
  if (!FContentHandler) throw EXoJSONException(_cXoJSONNoContentHandler, cXoJSONErrNoContentHandler);
}

void TXoFormURLEncodedJSONReader::InternalParse() {
  CheckHandlers();
  TIntfPtr<IXoJSONContentHandler> handler = FContentHandler;
  try {
    TFormScan scan(*FParser, handler.get());
    scan.Run();
  } catch (...) {
    HandleParseFailure(std::current_exception(), false);
  }
}

}  // namespace xo
