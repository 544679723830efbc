// A program outside the source tree that finds xo with find_package.
#include <cstdio>

#include "uXoClasses.h"
#include "uXoXMLUtils.h"

#include "uXoXMLDOM.h"
#include "uXoXPath.h"
#include "uXoXSTypes.h"

int main() {
  std::string text = "<r>consumer</r>";
  xo::TXoTextParser p(text.data(), static_cast<int64_t>(text.size()), 65001);
  p.SkipWhile(xo::tpsUntilEqual, u'>');
  p.NextChar();
  p.SetMark(xo::tppMark1);
  p.SkipWhile(xo::tpsUntilEqual, u'<');
  if (p.Selected() != u"consumer") return 1;
  // A facet pattern runs the regular expression engine the library links.
  xo::TXsInt n;
  n.Restrictions.Pattern = u"^\\d{2}$";
  n = 42;
  try {
    n = 7;
    return 1;
  } catch (const xo::EArgumentOutOfRangeException&) {
  }
  // Readers by UTF-8 text, UTF-16 text and variant.
  if (xo::XoXMLToInt("42") != 42 || xo::XoXMLToIntDef(u"x", 7) != 7 || xo::XoXMLToInt(xo::Null(), 7) != 7) return 1;

  // Selection with a filter, through the installed headers.
  xo::TXoDOMDocument doc(std::u16string(u"<r><i id=\"1\"/><i id=\"2\"/></r>"));
  xo::TXoDOMNode* two = doc.SelectSingleNode(u"r/i[@id=\"2\"]");
  if (!two || two != doc.RootNode()->SelectSingleNode(u"i[1]")) return 1;
  // The standard interfaces and XSLT (libxslt comes with the package).
  xo::TIntfPtr<xo::IDOMDocument> sdoc = xo::XoCreateDOM(u"<r><i/></r>");
  xo::XoXMLString out;
  sdoc.As<xo::IDOMNodeEx>()->transformNode(
      xo::XoCreateDOM(u"<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>"
                      u"<xsl:output method='text'/><xsl:template match='/'>"
                      u"<xsl:value-of select='count(//i)'/></xsl:template></xsl:stylesheet>"),
      out);
  if (out != u"1") return 1;
  std::puts("consumer ok");
  return 0;
}
