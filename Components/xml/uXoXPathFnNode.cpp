// uXoXPath, functions of nodes and control: text, node-name, nilled, string,
// data, base-uri, document-uri, number, error, trace, true, false, boolean,
// not.
#include "uXoLogger.h"
#include "uXoTypes.h"
#include "uXoXPath/uXoXPathFnUtils.h"

namespace xo {

int XoXPathKind(const Variant& AValue) { return static_cast<int>(TXoTypes::VarMainTypeKind(AValue)); }

void XoXPathCountError(const char16_t* AMessage) { throw EXoDomSyntax(std::u16string(AMessage)); }

Variant XoXPathNodeValue(TXoDOMNode* ANode) {
  if (ANode->GetNodeType() == ntAttribute && static_cast<TXoDOMAttribute*>(ANode)->IsNamespace())
    return Variant::Null();
  return Variant(ANode->GetNodeValue());
}

namespace {

const char16_t cNodeNil[] = u"The node parameter of function \"%s\" may not be nil!";
const char16_t cNodeNoNode[] = u"The %s parameter of function \"%s\" must be a node!";

// The node a function of one optional node argument works on: the context
// node without an argument, else the node parameter. A path is required;
// AParamName names the argument in the message for any other term.
TXoDOMNode* NodeOf(const TXoXPathFunction& AFn, TXoDOMObjectList* AList, int32_t AIndex,
                   std::u16string_view ASignature, std::u16string_view AParamName) {
  TXoDOMNode* n;
  if (AFn.ParamCount() == 0) {
    n = TXoXPathFunction::ContextNode(AList, AIndex);
  } else {
    if (!dynamic_cast<TXoXPathValueTerm*>(AFn.Param(0)))
      throw EXoXPathException(u"XPTY0004", XoFormat(cNodeNoNode, {AParamName, ASignature}));
    n = AFn.NodeParam(0, AList, AIndex, ASignature);
  }
  if (!n) throw EXoXPathException(u"XPDY0002", XoFormat(cNodeNil, {ASignature}));
  return n;
}

// The value that string, data and number work on: the context node's value,
// the node value of a path argument, or any other term's value.
Variant StringArgValue(const TXoXPathFunction& AFn, TXoDOMObjectList* AList, int32_t AIndex,
                       std::u16string_view ASignature) {
  if (AFn.ParamCount() == 0) {
    TXoDOMNode* n = TXoXPathFunction::ContextNode(AList, AIndex);
    return n ? Variant(n->GetNodeValue()) : Variant::Null();
  }
  if (dynamic_cast<TXoXPathValueTerm*>(AFn.Param(0)))
    return XoXPathNodeValue(AFn.NodeParam(0, AList, AIndex, ASignature));
  return AFn.ParamValue(0, AList, AIndex);
}

// boolean(arg) by the class of the term; see TXoXPathFnBoolean.
bool BooleanOf(const TXoXPathFunction& AFn, TXoDOMObjectList* AList, int32_t AIndex) {
  if (AFn.ParamCount() != 1) XoXPathCountError(u"The \"fn:boolean(arg)\" function must have 1 parameter!");
  TXoXPathBaseTerm* t = AFn.Param(0);
  if (auto* l = dynamic_cast<TXoXPathListTerm*>(t))
    return l->Count() > 0 && dynamic_cast<TXoXPathValueTerm*>(l->GetTerm(0)) != nullptr;
  if (auto* c = dynamic_cast<TXoXPathConstantTerm*>(t)) {
    Variant v = c->Value(AList, AIndex);
    switch (XoXPathKind(v)) {
      case 1: return XoVarToInt64(v) != 0;
      case 2: return XoVarToExtended(v) != 0;
      case 3: return !XoVarToStr(v).empty();
      case 4: return XoVarToBool(v);
      default: break;
    }
  }
  throw EXoXPathException(u"FORG0006", u"An invalid parameter was passed to fn:boolean(arg)");
}

}  // namespace

// ---------------------------------------------------------------------------

Variant TXoXPathFnText::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  TXoDOMNode* n = ContextNode(AList, AIndex);
  if (n)
    for (TXoDOMNode* c : *n)
      if (c->GetNodeType() == ntText) return Variant(true);
  return Variant(false);
}

Variant TXoXPathFnNodeName::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1) XoXPathCountError(u"The \"fn:node-name(node)\" function may only have 1 parameter!");
  TXoDOMNode* n = NodeOf(*this, AList, AIndex, u"fn:node-name(node)", u"node");
  if (n->GetNodeType() == ntAttribute && static_cast<TXoDOMAttribute*>(n)->IsNamespace())
    return Variant(static_cast<TXoDOMAttribute*>(n)->NamespacePrefix());
  return Variant(FEquation->MatchOption() == soQualifiedName ? n->QualifiedNameView() : n->LocalNameView());
}

Variant TXoXPathFnNilled::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1) XoXPathCountError(u"The \"fn:nilled(node)\" function may only have 1 parameter!");
  auto* e = dynamic_cast<TXoDOMElement*>(NodeOf(*this, AList, AIndex, u"fn:nilled(node)", u"node"));
  if (!e) return Variant::Null();
  TXoDOMAttribute* a;
  if (FEquation->MatchOption() == soQualifiedName) {
    a = e->FindAttribute(XoXMLString(cXoXSINamespaceURI), XoXMLString(u"nil"));
  } else {
    TXoDOMSelectOptions o;
    o.Include(Collation() == TXoXPathCollationASCIICI::ClassRef() ? soCaseInsensitive : soCaseSensitive);
    a = e->FindAttribute(XoXMLString(u"nil"), o);
  }
  if (!a) return Variant(false);
  return Variant(Collation()->SameText(a->GetNodeValue(), u"true"));
}

void TXoXPathFnString::ParseParams(TXoTextParser* AParser) {
  while (!AParser->GetEOF() && AParser->CurrCharW() == u' ') AParser->NextChar();
  if (!AParser->GetEOF()) {
    char16_t c = AParser->CurrCharW();
    if (c == u'(')
      throw EXoXPathException(u"XPTY0004", u"The arg parameter of function \"fn:string(arg)\" may not be a sequence!");
    if (c == u'[')
      throw EXoXPathException(u"FOTY0014",
                              u"The arg parameter of function \"fn:string(arg)\" may not be a map or array!");
  }
  TXoXPathFunction::ParseParams(AParser);
}

Variant TXoXPathFnString::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1)
    XoXPathCountError(u"The \"fn:string(arg)\" function may contain 0 or 1 parameter, but not more!");
  return Variant(XoVarToStr(StringArgValue(*this, AList, AIndex, u"fn:string(arg)"), u"", false));
}

Variant TXoXPathFnData::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1)
    XoXPathCountError(u"The \"fn:data(arg)\" function may contain 0 or 1 parameter, but not more!");
  return Variant(XoVarToStr(StringArgValue(*this, AList, AIndex, u"fn:string(arg)"), u"", false));
}

Variant TXoXPathFnBaseUri::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1)
    XoXPathCountError(u"The \"fn:base-uri(arg)\" function may contain 0 or 1 parameter, but not more!");
  TXoDOMNode* n = NodeOf(*this, AList, AIndex, u"fn:base-uri(arg)", u"arg");
  XoXMLString uri = n->GetNamespaceURI();
  if (uri.empty() && n->DOMDocument()) uri = n->DOMDocument()->GetDocumentURI();
  return Variant(std::move(uri));
}

Variant TXoXPathFnDocumentUri::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1)
    XoXPathCountError(u"The \"fn:document-uri(arg)\" function may contain 0 or 1 parameter, but not more!");
  TXoDOMNode* n = NodeOf(*this, AList, AIndex, u"fn:document-uri(arg)", u"arg");
  return Variant(n->DOMDocument() ? n->DOMDocument()->GetDocumentURI() : XoXMLString());
}

Variant TXoXPathFnNumber::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() > 1)
    XoXPathCountError(u"The \"fn:number(arg)\" function may contain 0 or 1 parameter, but not more!");
  Variant v = StringArgValue(*this, AList, AIndex, u"fn:number(arg)");
  if (XoVarIsEmpty(v)) return v;
  try {
    return Variant(XoVarToExtended(v, 0, true));
  } catch (const Exception&) {
    return Variant::Null();
  }
}

// ---------------------------------------------------------------------------

Variant TXoXPathFnError::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  int32_t n = ParamCount();
  if (n > 3) XoXPathCountError(u"The \"fn:error()\" function has a maximum of 3 parameters!");
  if (n == 0) throw EXoXPathException(u"FOER0000", u"An exception was raised", u"");
  std::u16string code = ParamText(0, AList, AIndex);
  std::u16string message = n >= 2 ? ParamText(1, AList, AIndex) : std::u16string();
  std::u16string object = n >= 3 ? ParamText(2, AList, AIndex) : std::u16string();
  throw EXoXPathException(std::move(code), std::move(message), std::move(object));
}

Variant TXoXPathFnTrace::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  if (ParamCount() != 2) XoXPathCountError(u"The \"fn:trace(value, label)\" function must contain 2 parameters!");
  Variant v = ParamValue(0, AList, AIndex);
  std::u16string text = XoVarToStr(v, u"", false);
  std::u16string line = ParamText(1, AList, AIndex);
  if (!text.empty()) {
    line += u"; value=";
    line += text;
  }
  static IXoLogger* const log = Logger().GetLogger(u"XPath");
  log->Log(line);
  return v;
}

Variant TXoXPathFnTrue::Value(TXoDOMObjectList*, int32_t) { return Variant(true); }

Variant TXoXPathFnFalse::Value(TXoDOMObjectList*, int32_t) { return Variant(false); }

Variant TXoXPathFnBoolean::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  return Variant(BooleanOf(*this, AList, AIndex));
}

Variant TXoXPathFnNot::Value(TXoDOMObjectList* AList, int32_t AIndex) {
  return Variant(!BooleanOf(*this, AList, AIndex));
}

}  // namespace xo
