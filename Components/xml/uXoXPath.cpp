// uXoXPath: function registry, collation registry, the base class of the
// registered functions.
#include "uXoXPath.h"

#include <mutex>

#include "uXoXMLDOM/uXoXMLDOMSelect.h"
#include "uXoXPath/uXoXPathFunctions.h"

namespace xo {

namespace {

struct TXPathFnReg {
  std::u16string FFunctionName;
  TXoXPathFunctionClass FFunctionClass;
  bool FLibrary;  // registered by the module's start step
};

struct TXPathCollationReg {
  std::u16string FCollationNS;
  TXoXPathCollationClass FCollation;
};

// Both lists keep registration order; they are filled at start and only read
// afterwards. Function-local statics, so that a registration from another
// module's static initialiser finds them constructed.
std::vector<TXPathFnReg>& Functions() {
  static std::vector<TXPathFnReg> list;
  return list;
}
std::vector<TXPathCollationReg>& Collations() {
  static std::vector<TXPathCollationReg> list;
  return list;
}

bool GRegisteringLibrary = false;

void ModuleStart() {
  Functions().clear();
  Collations().clear();
  std::u16string ns = cXoXPathFunctionsNamespaceURI;
  Collations().push_back({ns + u"/collation/html-ascii-case-insensitive", TXoXPathCollationASCIICI::ClassRef()});
  Collations().push_back({ns + u"/collation/codepoint", TXoXPathCollationCodepoint::ClassRef()});
  GRegisteringLibrary = true;
  try {
    XoXPathRegisterLibraryFunctions();
  } catch (...) {
    GRegisteringLibrary = false;
    throw;
  }
  GRegisteringLibrary = false;
}

void AppendFunction(std::u16string_view AName, TXoXPathFunctionClass AClass) {
  Functions().push_back({std::u16string(AName), AClass, GRegisteringLibrary});
}

}  // namespace

void XoXPathInitialize() {
  static std::once_flag once;
  std::call_once(once, ModuleStart);
}

void XoXPathRegisterLibraryFunction(std::u16string_view AName, TXoXPathFunctionClass AClass) {
  AppendFunction(AName, AClass);
}

void RegisterXPathFunction(std::u16string_view AName, TXoXPathFunctionClass AClass) {
  // The library's own functions come first, so an application's entry of
  // an existing name never takes their place.
  XoXPathInitialize();
  AppendFunction(AName, AClass);
}

TXoXPathFunctionTerm* CreateFunctionTerm(std::u16string_view AName, TXoXPathEquation* AEquation,
                                         TXoTextParser* AParser) {
  XoXPathInitialize();
  for (const TXPathFnReg& r : Functions()) {
    if (r.FFunctionName != AName) continue;
    if (!r.FLibrary) XoXPathNoteApplicationFunction();
    return r.FFunctionClass(AEquation, AParser);
  }
  throw EXoDomSyntax(_cXoXPathUnsupportedFunction, {AName});
}

int XoXPathFunctionKind(std::u16string_view AName) {
  XoXPathInitialize();
  for (const TXPathFnReg& r : Functions())
    if (r.FFunctionName == AName) return !r.FLibrary ? 3 : (AName == u"trace" || AName == u"error") ? 2 : 1;
  return 0;
}

TXoXPathCollationClass XoXPathCollationByURI(std::u16string_view AURI) {
  XoXPathInitialize();
  for (const TXPathCollationReg& r : Collations())
    if (r.FCollationNS == AURI) return r.FCollation;
  throw EXoDomSyntax(_cXoXPathUnsupportedCollation, {AURI});
}

// ---------------------------------------------------------------------------
// TXoXPathFunction

TXoXPathFunction::~TXoXPathFunction() = default;

namespace {
// The argument list of a call: reads like a sequence whose opener has been
// stepped over already.
class TXoXPathParamList : public TXoXPathListTerm {
public:
  TXoXPathParamList(TXoXPathEquation* AEquation, TXoTextParser* AParser) : TXoXPathListTerm(AEquation) {
    ReadList(AParser, u')');
  }
};
}  // namespace

void TXoXPathFunction::ParseParams(TXoTextParser* AParser) {
  FParams = std::make_unique<TXoXPathParamList>(FEquation, AParser);
}

TXoXPathBaseTerm* TXoXPathFunction::Param(int32_t AParam) const {
  if (!FParams || AParam < 0 || AParam >= FParams->Count()) return nullptr;
  return FParams->GetTerm(AParam);
}

Variant TXoXPathFunction::ParamValue(int32_t AParam, TXoDOMObjectList* AList, int32_t AIndex) const {
  TXoXPathBaseTerm* t = Param(AParam);
  return t ? t->Value(AList, AIndex) : Variant::Null();
}

std::u16string TXoXPathFunction::ParamText(int32_t AParam, TXoDOMObjectList* AList, int32_t AIndex) const {
  return XoVarToStr(ParamValue(AParam, AList, AIndex), u"", false);
}

TXoDOMNode* TXoXPathFunction::ContextNode(TXoDOMObjectList* AList, int32_t AIndex) {
  return static_cast<TXoDOMNode*>(AList->GetItem(AIndex));
}

TXoDOMNode* TXoXPathFunction::NodeParam(int32_t AParam, TXoDOMObjectList* AList, int32_t AIndex,
                                        std::u16string_view ASignature, std::u16string_view AParamName) const {
  auto* term = dynamic_cast<TXoXPathValueTerm*>(Param(AParam));
  if (!term) throw EXoXPathException(u"XPTY0004", XoFormat(_cXoXPathNodeParamNoNode, {AParamName, ASignature}));
  std::vector<TXoDOMNode*> nodes;
  term->CollectNodes(AList, AIndex, nodes);
  if (nodes.empty()) throw EXoXPathException(u"XPDY0002", XoFormat(_cXoXPathNodeParamNil, {AParamName, ASignature}));
  if (nodes.size() > 1)
    throw EXoXPathException(u"XPTY0004", XoFormat(_cXoXPathNodeParamSingle, {AParamName, ASignature}));
  return nodes.front();
}

}  // namespace xo
