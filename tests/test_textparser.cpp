// The text scanner must read one text identically whatever its encoding.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "uXoClasses.h"

using namespace xo;

namespace {

const std::u16string kText = u"<a x=\"é€\">line1\r\nline 2\rline3\n\tünd 𝄞 end</a>";

struct Source {
  const char* Name;
  std::string Bytes;
  uint16_t CodePage;
};

std::vector<Source> Sources() {
  std::string utf8 = XoUTF16ToUTF8(kText);
  std::string utf16(reinterpret_cast<const char*>(kText.data()), kText.size() * 2);
  std::vector<Source> r = {
      {"utf8", utf8, 65001},
      {"utf16", utf16, 1200},
      {"utf8-bom", std::string("\xEF\xBB\xBF") + utf8, 0},
      {"utf16-bom", std::string("\xFF\xFE") + utf16, 0},
  };
  return r;
}

// Reads the whole input character by character and records what it sees.
// Columns count characters, so a pair of surrogates is one column.
struct Walk {
  std::u16string Chars;
  std::vector<std::pair<int, int>> LineCols;
};

Walk WalkAll(TXoTextParser& p) {
  Walk w;
  while (!p.GetEOF()) {
    char16_t c = p.CurrCharW();
    if (c < 0xDC00 || c > 0xDFFF) w.LineCols.emplace_back(p.GetLineNr(), p.GetColNr());
    w.Chars.push_back(p.ReadCharW());
  }
  return w;
}

}  // namespace

TEST(TextParser, SameCharactersLinesAndSelectionsInEveryEncoding) {
  std::vector<Walk> walks;
  std::vector<std::u16string> selections;
  for (const auto& s : Sources()) {
    SCOPED_TRACE(s.Name);
    TXoMemoryStream stream(s.Bytes.data(), static_cast<int64_t>(s.Bytes.size()));
    uint16_t cp = s.CodePage ? s.CodePage : XoGetCodePage(&stream);
    TXoTextParser p(&stream, false, cp);
    // Selection of the attribute value, found by skipping.
    p.SkipWhile(tpsUntilEqual, u'"');
    p.NextChar();
    p.SetMark(tppMark1);
    p.SkipWhile(tpsUntilEqual, u'"');
    selections.push_back(p.Selected(tppMark1, tppCurrent, true));
    EXPECT_FALSE(p.IsMarkSet(tppMark1));
    // Line and column of "line 2".
    p.SkipWhile(tpsUntilEqual, u'\n');
    p.NextChar();
    EXPECT_EQ(p.GetLineNr(), 2);
    EXPECT_EQ(p.GetColNr(), 1);
    EXPECT_EQ(p.PeekStringW(6), u"line 2");
    p.First();
    walks.push_back(WalkAll(p));
  }
  for (size_t i = 0; i < walks.size(); ++i) {
    EXPECT_EQ(selections[i], u"é€");
    EXPECT_EQ(walks[i].LineCols, walks[0].LineCols);
  }
  // UTF-8 and UTF-16 deliver the same units, except that UTF-8 reports the
  // character beyond the BMP once (its high surrogate) while UTF-16 reads both.
  std::u16string expected16 = kText;
  std::u16string expected8 = kText;
  expected8.erase(expected8.find(u"𝄞") + 1, 1);
  EXPECT_EQ(walks[0].Chars, expected8);
  EXPECT_EQ(walks[1].Chars, expected16);
  // CR LF, lone CR and LF each end one line.
  EXPECT_EQ(walks[0].LineCols.back().first, 4);
}

TEST(TextParser, SingleByteCodePageDecodesThroughItsTable) {
  // "é€" in windows-1252 is E9 80.
  std::string bytes = "<a x='\xE9\x80'>\r\nz</a>";
  TXoTextParser p(bytes.data(), static_cast<int64_t>(bytes.size()), 1252);
  EXPECT_EQ(p.GetCharacterSetType(), cstSingleByte);
  p.SkipWhile(tpsUntilEqual, u'\'');
  p.NextChar();
  p.SetMark(tppMark2);
  p.SkipWhile(tpsUntilEqual, u'\'');
  EXPECT_EQ(p.Selected(tppMark2), u"é€");
  p.SkipWhile(tpsUntilEqual, u'z');
  EXPECT_EQ(p.GetLineNr(), 2);
  EXPECT_EQ(p.GetColNr(), 1);
  // The same text decoded from UTF-8 through a later code page switch.
  std::string u8 = "<a x='é€'>";
  TXoTextParser q(u8.data(), static_cast<int64_t>(u8.size()), 0);
  EXPECT_EQ(q.GetCharacterSetType(), cstSingleByte);
  q.SetContentCodePage(65001);
  EXPECT_EQ(q.GetCharacterSetType(), cstUTF8);
  q.SkipWhile(tpsUntilEqual, u'\'');
  q.NextChar();
  q.SetMark(tppMark1);
  q.SkipWhile(tpsUntilEqual, u'\'');
  EXPECT_EQ(q.Selected(), u"é€");
}

TEST(TextParser, MultiByteCodePageIsReadAsUnicode) {
  std::u16string text = u"<r>日本語</r>";
  std::string sjis = TXoEncoding::ConvertW(text, 932);
  TXoTextParser p(sjis.data(), static_cast<int64_t>(sjis.size()), 932);
  p.SkipWhile(tpsUntilEqual, u'>');
  p.NextChar();
  p.SetMark(tppMark1);
  p.SkipWhile(tpsUntilEqual, u'<');
  EXPECT_EQ(p.Selected(), u"日本語");
}

TEST(TextParser, SkipOperatorsAndSets) {
  std::string s = "   \t\n aaab<x>yz;";
  TXoTextParser p(s.data(), static_cast<int64_t>(s.size()), 65001);
  p.SkipWhile(tpsWhileNotAbove, u' ');
  EXPECT_EQ(p.CurrCharW(), u'a');
  p.SkipWhile(tpsWhileEqual, u'a');
  EXPECT_EQ(p.CurrCharW(), u'b');
  p.SkipWhile(tpsUntilInSet, TXoCharSet("<>"));
  EXPECT_EQ(p.CurrCharW(), u'<');
  p.SkipWhile(tpsWhileInSet, TXoCharSet("<x"));
  EXPECT_EQ(p.CurrCharW(), u'>');
  EXPECT_EQ(p.GetPos(tppCurrent), 12);
  EXPECT_EQ(p.GetPos(tppNext), 13);
  EXPECT_EQ(p.GetPos(tppMark3), -1);
  p.SkipWhile(tpsUntilEqual, u'#');  // not there: stops at the end
  EXPECT_TRUE(p.GetEOF());
  EXPECT_EQ(p.CurrCharW(), 0);
  p.PrevCharW();
  EXPECT_EQ(p.CurrCharW(), u';');
  p.Last();
  EXPECT_TRUE(p._GetEOF());
}

TEST(TextParser, StepsPastTheEndRaise) {
  std::string s = "ab";
  TXoTextParser p(s.data(), 2, 65001);
  EXPECT_EQ(p.ReadCharA(), 'a');
  EXPECT_NO_THROW(p.CheckEOF());
  p.NextChar();
  EXPECT_THROW(p.CheckEOF(), EXoTextParserEOF);
  EXPECT_THROW(p.NextChar(), EXoTextParserEOF);
  EXPECT_THROW(p.ReadCharW(), EXoTextParserEOF);
  p.First();
  EXPECT_THROW(p.SkipChars(3), EXoTextParserEOF);
  // Empty input.
  TXoTextParser e(static_cast<const void*>(nullptr), 0, 65001);
  EXPECT_TRUE(e.GetEOF());
  EXPECT_EQ(e.PeekStringW(5), u"");
  EXPECT_EQ(e.GetLineNr(), 1);
  EXPECT_EQ(e.GetColNr(), 1);
}

TEST(TextParser, TruncatedAndInvalidUTF8StaysInsideTheInput) {
  // Every prefix of a text with multi-byte characters, and random bytes: the
  // scanner must never read outside the exact-size heap copy (the sanitizer
  // run checks that) and must always come to the end.
  std::string full = XoUTF16ToUTF8(u"aé€𝄞b") + "\xF4\x90\x80\x80\xC0\xAF\xED\xA0\x80";
  std::mt19937 rng(42);
  std::vector<std::string> inputs;
  for (size_t n = 0; n <= full.size(); ++n) inputs.push_back(full.substr(0, n));
  for (int i = 0; i < 200; ++i) {
    std::string r(rng() % 40, '\0');
    for (auto& c : r) c = static_cast<char>(rng());
    inputs.push_back(r);
  }
  for (const auto& in : inputs) {
    for (uint16_t cp : {65001, 1200, 1252, 0}) {
      auto buf = std::make_unique<char[]>(in.size() + 1);
      std::memcpy(buf.get(), in.data(), in.size());
      TXoTextParser p(buf.get(), static_cast<int64_t>(in.size()), cp);
      size_t steps = 0;
      while (!p.GetEOF()) {
        p.CurrCharW();
        p.NextChar();
        ASSERT_LE(++steps, in.size());
      }
      while (p.GetPos(tppCurrent) > 0 && steps-- > 0) p.PrevCharW();
      EXPECT_EQ(p.GetPos(tppCurrent), 0);
      p.SkipWhile(tpsUntilInSet, TXoCharSet("<"));
      p.GetColNr();
      p.Selected(tppMark1, tppCurrent, true);
    }
  }
}

TEST(TextParser, ReadsFromAnyStreamAndOwnsItWhenAsked) {
  auto* s = new TXoStringStream(u"hello");
  s->SetPosition(4);  // the input is the rest from the position (in bytes)
  TXoTextParser p(s, true, 1200);
  EXPECT_EQ(p.PeekStringW(10), u"llo");
  EXPECT_EQ(p.GetSize(), 3);
}
