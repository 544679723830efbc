// uXoXMLDOM: XSLT. The library does no XSLT of its own: the node and the
// stylesheet go as XML text to libxslt, the XSLT 1.0 engine of the libxml2
// family, and the result comes back as text or as a new document.
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlsave.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "uXoXMLDOM.h"

namespace xo {

inline constexpr char16_t _cXoDOMXSLTFailed[] = u"The XSLT transformation failed: %s";

namespace {

// The engine's messages of the running transformation (per thread).
thread_local std::string tlsErrors;

void CollectError(void*, const char* AFormat, ...) {
  char buf[1024];
  va_list args;
  va_start(args, AFormat);
  int n = vsnprintf(buf, sizeof buf, AFormat, args);
  va_end(args);
  if (n > 0 && tlsErrors.size() < 4096) tlsErrors.append(buf, std::min<size_t>(n, sizeof buf - 1));
}

// Stylesheets may read what they name, but never write files or reach the
// network.
xsltSecurityPrefsPtr SecurityPrefs() {
  static xsltSecurityPrefsPtr prefs = [] {
    xmlInitParser();
    xsltSecurityPrefsPtr p = xsltNewSecurityPrefs();
    xsltSetSecurityPrefs(p, XSLT_SECPREF_WRITE_FILE, xsltSecurityForbid);
    xsltSetSecurityPrefs(p, XSLT_SECPREF_CREATE_DIRECTORY, xsltSecurityForbid);
    xsltSetSecurityPrefs(p, XSLT_SECPREF_WRITE_NETWORK, xsltSecurityForbid);
    xsltSetSecurityPrefs(p, XSLT_SECPREF_READ_NETWORK, xsltSecurityForbid);
    return p;
  }();
  return prefs;
}

[[noreturn]] void Fail(const char* AWhat) {
  std::string msg = tlsErrors.empty() ? std::string(AWhat) : tlsErrors;
  while (!msg.empty() && (msg.back() == '\n' || msg.back() == '\r')) msg.pop_back();
  tlsErrors.clear();
  throw EXoDomException(_cXoDOMXSLTFailed, {XoUTF8ToUTF16(msg)});
}

// Error handlers of libxml2 and libxslt pointed at CollectError while one
// transformation runs on this thread.
struct TErrorScope {
  TErrorScope() {
    tlsErrors.clear();
    xmlSetGenericErrorFunc(nullptr, CollectError);
    xsltSetGenericErrorFunc(nullptr, CollectError);
  }
  ~TErrorScope() {
    xmlSetGenericErrorFunc(nullptr, nullptr);
    xsltSetGenericErrorFunc(nullptr, nullptr);
  }
};

xmlDocPtr ParseText(std::u16string_view AXML, const char* AWhat) {
  std::string utf8 = XoUTF16ToUTF8(AXML);
  // The text is UTF-8 now, whatever its declaration names.
  xmlDocPtr doc = xmlReadMemory(utf8.data(), static_cast<int>(utf8.size()), nullptr, "UTF-8", XML_PARSE_NONET);
  if (!doc) Fail(AWhat);
  return doc;
}

XoXMLString Apply(xmlDocPtr ADoc, xsltStylesheetPtr AStyle) {
  xsltTransformContextPtr ctxt = xsltNewTransformContext(AStyle, ADoc);
  if (!ctxt) Fail("no transformation context");
  xsltSetCtxtSecurityPrefs(SecurityPrefs(), ctxt);
  xmlDocPtr result = xsltApplyStylesheetUser(AStyle, ADoc, nullptr, nullptr, nullptr, ctxt);
  bool failed = !result || ctxt->state == XSLT_STATE_ERROR || ctxt->state == XSLT_STATE_STOPPED;
  xsltFreeTransformContext(ctxt);
  if (failed) {
    if (result) xmlFreeDoc(result);
    Fail("the stylesheet could not be applied");
  }
  // The result as UTF-8 bytes (no encoder on the buffer), as the stylesheet's
  // xsl:output asks for its form.
  xmlOutputBufferPtr out = xmlAllocOutputBuffer(nullptr);
  XoXMLString text;
  if (out) {
    xsltSaveResultTo(out, result, AStyle);
    const xmlChar* content = xmlOutputBufferGetContent(out);
    size_t size = xmlOutputBufferGetSize(out);
    text = XoUTF8ToUTF16(std::string_view(reinterpret_cast<const char*>(content), size));
    xmlOutputBufferClose(out);
  }
  xmlFreeDoc(result);
  return text;
}

XoXMLString TransformWith(std::u16string_view AXML, xsltStylesheetPtr AStyle) {
  xmlDocPtr doc = nullptr;
  try {
    doc = ParseText(AXML, "the document is not well-formed XML");
    XoXMLString text = Apply(doc, AStyle);
    xmlFreeDoc(doc);
    xsltFreeStylesheet(AStyle);
    return text;
  } catch (...) {
    if (doc) xmlFreeDoc(doc);
    xsltFreeStylesheet(AStyle);
    throw;
  }
}

xsltStylesheetPtr StyleFromDoc(xmlDocPtr ASheet) {
  xsltStylesheetPtr style = xsltParseStylesheetDoc(ASheet);
  if (!style) {
    xmlFreeDoc(ASheet);
    Fail("the stylesheet is not valid XSLT");
  }
  return style;  // owns ASheet now
}

XoXMLString TransformFile(std::u16string_view AXML, std::u16string_view AFileName) {
  SecurityPrefs();
  TErrorScope scope;
  std::string name = XoUTF16ToUTF8(AFileName);
  xmlDocPtr sheet = xmlReadFile(name.c_str(), nullptr, XML_PARSE_NONET);
  if (!sheet) Fail("the stylesheet file could not be read");
  return TransformWith(AXML, StyleFromDoc(sheet));
}

TXoDOMDocument* NewDocument(const XoXMLString& AText) { return new TXoDOMDocument(std::u16string_view(AText)); }

}  // namespace

XoXMLString XoXSLTransform(std::u16string_view AXML, std::u16string_view AStyleSheetXML) {
  SecurityPrefs();
  TErrorScope scope;
  xmlDocPtr sheet = ParseText(AStyleSheetXML, "the stylesheet is not well-formed XML");
  return TransformWith(AXML, StyleFromDoc(sheet));
}

TXoDOMDocument* TXoDOMNode::Transform(std::u16string_view AStyleSheetFileName) {
  return NewDocument(TransformFile(GetXML(), AStyleSheetFileName));
}

void TXoDOMNode::Transform(std::u16string_view AStyleSheetFileName, XoXMLString& AResult) {
  AResult = TransformFile(GetXML(), AStyleSheetFileName);
}

TXoDOMDocument* TXoDOMNode::Transform(TXoDOMNode* AStyleSheet) {
  return NewDocument(XoXSLTransform(GetXML(), AStyleSheet->GetXML()));
}

void TXoDOMNode::Transform(TXoDOMNode* AStyleSheet, XoXMLString& AResult) {
  AResult = XoXSLTransform(GetXML(), AStyleSheet->GetXML());
}

}  // namespace xo
