// Internals of uXoXPath shared by the topic files of the function library
// (not installed): argument checks, the kind of a value, text without
// copies, and the pure text and number rules the functions are built of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "../uXoXPath.h"
#include "uXoRegEx.h"

namespace xo {

// The main kind of a value: 1 integer, 2 float, 3 string, 4 boolean,
// 5 date-time, 6 array, 0 anything else.
int XoXPathKind(const Variant& AValue);

// Raises EXoDomSyntax with AMessage (a wrong argument count).
[[noreturn]] void XoXPathCountError(const char16_t* AMessage);

// The value as text: a view of the string a Variant holds, or of ABuffer
// filled by XoVarToStr (null gives ""). Valid while both live.
std::u16string_view XoXPathTextView(const Variant& AValue, std::u16string& ABuffer);

// The node value of a node: GetNodeValue, null for a namespace declaration.
Variant XoXPathNodeValue(TXoDOMNode* ANode);

// Collation Pos without allocations for the case-insensitive collation.
int64_t XoXPathPos(TXoXPathCollationClass ACollation, std::u16string_view ASub, std::u16string_view AText);

// ---- pure rules
// Words between blanks (code 32 only) joined by one blank, none at the ends.
std::u16string XoXPathNormalizeSpace(std::u16string_view AText);
// Every occurrence of AFrom replaced by ATo (an empty AFrom changes nothing).
std::u16string XoXPathReplaceAll(std::u16string_view AText, std::u16string_view AFrom, std::u16string_view ATo);
// The platform's string copy: 1-based AStart (below 1 counts as 1, the
// length is not shortened for it), ACount units, cut at the end of the text.
std::u16string_view XoXPathCopy(std::u16string_view AText, int64_t AStart, int64_t ACount);
// The options that a flags text asks for: "s", "m", "i", "x", "q", each
// looked for with the collation's Pos.
TRegExOptions XoXPathRegExOptions(TXoXPathCollationClass ACollation, std::u16string_view AFlags);
// "(" then each token in double quotes joined by ", ", then ")".
std::u16string XoXPathTokenText(const std::vector<std::u16string>& ATokens);
// Sign ("-" below 0, else "+"), two digits of hours, ":", two of minutes of
// an offset in minutes.
std::u16string XoXPathZoneText(int32_t AMinutes);

}  // namespace xo
