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

#include "uXoXMLDOM.h"

namespace xo {

inline constexpr char16_t _cXoDOMXSLTFailed[] = u"The XSLT transformation failed: %s";

namespace {

// The engine's messages of the running transformation (per thread), and
// whether this thread is inside one.
thread_local std::string tlsErrors;
thread_local bool tlsCollecting = false;

void Collect(const char* AFormat, va_list AArgs) {
  char buf[1024];
  int n = vsnprintf(buf, sizeof buf, AFormat, AArgs);
  if (n > 0 && tlsErrors.size() < 4096) tlsErrors.append(buf, std::min<size_t>(n, sizeof buf - 1));
}

void CollectError(void*, const char* AFormat, ...) {
  va_list args;
  va_start(args, AFormat);
  Collect(AFormat, args);
  va_end(args);
}

// libxslt reports errors of compiling a stylesheet through one process-wide
// handler. It is replaced once by a handler that collects on a thread inside
// a transformation and hands everything else on to the handler it replaced,
// so that other users of libxslt in the process see their messages as before.
xmlGenericErrorFunc gPrevXSLTError = nullptr;
void* gPrevXSLTErrorContext = nullptr;

void RouteXSLTError(void*, const char* AFormat, ...) {
  va_list args;
  va_start(args, AFormat);
  if (tlsCollecting) {
    Collect(AFormat, args);
  } else if (gPrevXSLTError) {
    char buf[1024];
    vsnprintf(buf, sizeof buf, AFormat, args);
    gPrevXSLTError(gPrevXSLTErrorContext, "%s", buf);
  }
  va_end(args);
}

// Stylesheets may read what they name, but never write files or reach the
// network. Set up once per process, with the error routing.
xsltSecurityPrefsPtr SecurityPrefs() {
  static xsltSecurityPrefsPtr prefs = [] {
    xmlInitParser();
    xsltInit();
    gPrevXSLTError = xsltGenericError;
    gPrevXSLTErrorContext = xsltGenericErrorContext;
    xsltSetGenericErrorFunc(nullptr, RouteXSLTError);
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

// For the time of one transformation on this thread: libxml2's handlers
// (which are per thread) point at the collector, and the routed libxslt
// handler collects. The handlers found are put back at the end.
struct TErrorScope {
  xmlGenericErrorFunc FPrevGeneric;
  void* FPrevGenericContext;
  xmlStructuredErrorFunc FPrevStructured;
  void* FPrevStructuredContext;
  TErrorScope()
      : FPrevGeneric(xmlGenericError),
        FPrevGenericContext(xmlGenericErrorContext),
        FPrevStructured(xmlStructuredError),
        FPrevStructuredContext(xmlStructuredErrorContext) {
    tlsErrors.clear();
    tlsCollecting = true;
    xmlSetGenericErrorFunc(nullptr, CollectError);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
  }
  ~TErrorScope() {
    tlsCollecting = false;
    xmlSetGenericErrorFunc(FPrevGenericContext, FPrevGeneric);
    xmlSetStructuredErrorFunc(FPrevStructuredContext, FPrevStructured);
  }
};

// AURL, when given, is the place the text came from: relative names in it
// (xsl:import, xsl:include, document()) are taken from there.
xmlDocPtr ParseText(std::u16string_view AXML, const char* AWhat, const char* AURL = nullptr) {
  std::string utf8 = XoUTF16ToUTF8(AXML);
  // The text is UTF-8 now, whatever its declaration names.
  xmlDocPtr doc = xmlReadMemory(utf8.data(), static_cast<int>(utf8.size()), AURL, "UTF-8", XML_PARSE_NONET);
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

// The stylesheet file is read as a text file in the system code page (a
// byte-order mark decides where there is one), then parsed as text.
XoXMLString TransformFile(std::u16string_view AXML, std::u16string_view AFileName) {
  XoXMLString sheetText = XoLoadStringFromFile(XoXMLString(AFileName), 0);
  SecurityPrefs();
  TErrorScope scope;
  std::string name = XoUTF16ToUTF8(AFileName);
  xmlDocPtr sheet = ParseText(sheetText, "the stylesheet is not well-formed XML", name.c_str());
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
