// uXoJSON: JSON and form URL-encoded text as events, and the conversions
// between JSON tokens and values.
//
// TXoJSONTextParser is the character scanner under the readers: it settles
// the encoding of the input once (byte-order mark, the caller's code page, or
// the pattern of zero bytes in the first four) and binds its width-dependent
// operations to the source kind. TXoJSONReader walks JSON text and calls an
// IXoJSONContentHandler; TXoFormURLEncodedJSONReader reads `a=1&b[c]=2` text
// into the same events.
//
// The readers are tolerant by construction: they look for structural
// characters and skip what lies between them, hand strings on as written
// (escapes included) and numbers as their text. Converting a token to a
// value is a separate step (XoJSONtoStr and the readers of uXoXMLUtils).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "uXoClasses.h"
#include "uXoJSONInterfaces.h"
#include "uXoRtti.h"
#include "uXoSysUtils.h"
#include "uXoTypes.h"
#include "uXoVariants.h"

namespace xo {

// ===========================================================================
// Scanner

class TXoJSONTextParser;

// A skip bound to one scanner and one source kind. ACharPtr points to one of
// the scanner's punctuation fields, so the caller never knows the width.
struct TXoJSONTextParserSkipFunc {
  TXoJSONTextParser* Obj = nullptr;
  void (TXoJSONTextParser::*Func)(TXoTextParserSkipOp, const void*) = nullptr;
  void operator()(TXoTextParserSkipOp AOperator, const void* ACharPtr) const { (Obj->*Func)(AOperator, ACharPtr); }
  explicit operator bool() const { return Obj && Func; }
};

// A comparison of the current character bound to one scanner and one source
// kind; raises the not-well-formed report when asked and the characters differ.
struct TXoJSONTextParserCheckFunc {
  TXoJSONTextParser* Obj = nullptr;
  bool (TXoJSONTextParser::*Func)(const void*, bool) = nullptr;
  bool operator()(const void* ACharPtr, bool ARaise) const { return (Obj->*Func)(ACharPtr, ARaise); }
  explicit operator bool() const { return Obj && Func; }
};

// The character scanner of the JSON readers. The constructor decides the
// source kind: UTF-16 (code page 1200) and multi-byte code pages stay as
// given; otherwise a byte-order mark decides, and without one the zero bytes
// among the first four bytes tell UTF-16LE from UTF-8 (UTF-16BE and UTF-32
// are refused with EXoException and _SEncodingNotSupported).
class TXoJSONTextParser : public TXoTextParser {
public:
  TXoJSONTextParser(TStream* ASourceStream, bool AStreamOwner, uint16_t AStreamCodePage);

  void SetCharacterSetType(TXoCharacterSetType AType) override;

  void SrcASkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr);
  void SrcWSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr);
  void SrcUSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr);
  bool SrcACheckCurrChar(const void* ACharPtr, bool ARaise);
  bool SrcWCheckCurrChar(const void* ACharPtr, bool ARaise);
  bool SrcUCheckCurrChar(const void* ACharPtr, bool ARaise);

  // Punctuation, each pointing to one character constant in the width of the
  // source (byte form for single-byte and UTF-8 sources, 16-bit for UTF-16).
  const void* FApos = nullptr;
  const void* FQuote = nullptr;
  const void* FSpace = nullptr;
  const void* FColon = nullptr;
  const void* FBackSlash = nullptr;
  const void* FBracketO = nullptr;
  const void* FBracketC = nullptr;
  const void* FBraceO = nullptr;
  const void* FBraceC = nullptr;
  const void* FEqual = nullptr;
  TXoJSONTextParserSkipFunc SkipWhile;
  TXoJSONTextParserCheckFunc CheckCurrChar;

private:
  void DetectEncoding(uint16_t ACodePage);
  [[noreturn]] void RaiseNotWellFormed(const void* AExpected);
};

// ===========================================================================
// Readers

// The JSON reader. Created with auto-destroy off: the creator frees it;
// interface references to it (as locator or reader) do not.
//
// A document is an object, an array or one simple value; objects and arrays
// may follow each other at the top level, all within one StartDocument ..
// EndDocument pair. Text that ends inside an object, an array or a string
// raises EXoTextParserEOF. Every failure after the handler checks is told to
// the error handler's FatalError before the exception leaves the parse call.
class TXoJSONReader : public TXoObject, public virtual IXoJSONLocator, public virtual IXoJSONReader {
public:
  TXoJSONReader();
  ~TXoJSONReader() override;

  // IXoJSONLocator: the scanner's position during a parse; -1 without a
  // scanner and after a parse that ended unexpectedly.
  int64_t GetLineNr() override;
  int64_t GetColNr() override;
  XoJSONString GetPublicID() override { return FPublicID; }

  // IXoJSONReader
  TIntfPtr<IXoJSONContentHandler> GetContentHandler() override { return FContentHandler; }
  TIntfPtr<IXoJSONErrorHandler> GetErrorHandler() override { return FErrorHandler; }
  void SetContentHandler(const TIntfPtr<IXoJSONContentHandler>& AHandler) override { FContentHandler = AHandler; }
  void SetErrorHandler(const TIntfPtr<IXoJSONErrorHandler>& AHandler) override { FErrorHandler = AHandler; }
  void ParseStream(TStream* AStream, uint16_t ACodePage = 0, const XoJSONString& APublicID = {}) override;
  // The file's byte-order mark decides the encoding, else its first bytes.
  void ParseFile(const XoJSONString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite,
                 const XoJSONString& APublicID = {}) override;
  void ParseBuffer(const void* ABuffer, int64_t ABufSize, uint16_t ACodePage = 0,
                   const XoJSONString& APublicID = {}) override;
  void Parse(const XoJSONString& AJSON, const XoJSONString& APublicID = {}) override;
  void Parse(const RawByteString& AJSON, uint16_t ACodePage, const XoJSONString& APublicID = {}) override;

  // The scanner of the running parse (nil outside a parse).
  TXoJSONTextParser* Parser() const { return FParser; }
  // Whether the last failed parse ended because the text ended too early.
  bool GetUnexpectedEOF() const { return FUnexpectedEOF; }

protected:
  virtual void InternalParse();
  // Step 1 of a parse: the handlers the reader needs must be there.
  virtual void CheckHandlers();
  // What every reader does with an exception that ends its parse: note an
  // unexpected end (plain reader), tell the error handler, raise again. An
  // exception that is not one of xo's becomes an EXoException first.
  [[noreturn]] void HandleParseFailure(const std::exception_ptr& AError, bool ANoteEOF);

  XoJSONString FPublicID;
  TIntfPtr<IXoJSONContentHandler> FContentHandler;
  TIntfPtr<IXoJSONErrorHandler> FErrorHandler;
  TXoJSONTextParser* FParser = nullptr;
  bool FUnexpectedEOF = false;
  int64_t FLineNr = -1;
  int64_t FColNr = -1;

private:
  void DoParse(TStream* AStream, bool AOwnsStream, uint16_t ACodePage, const XoJSONString& APublicID);
};

// Form URL-encoded text (`a=1&b[c]=2&d[]=x`) as JSON events: the whole text
// is one object; bracketed name segments open objects and arrays; every value
// is a string, percent and plus decoded and escaped with XoStrToJSON, except
// a value that begins with "[" or "{", which is delivered as written. A name
// "_" standing alone ends the text. No error handler is needed.
class TXoFormURLEncodedJSONReader : public TXoJSONReader {
protected:
  void InternalParse() override;
  void CheckHandlers() override;
};

// ===========================================================================
// Event dump

// A handler that writes every call it receives as one line of UTF-8 text:
// the event name, then each argument preceded by a tab. Value prints the
// data type's name ("null", "string", "number", "boolean") and the token. In
// arguments a backslash, tab, carriage return and line feed are written \\,
// \t, \r, \n. An error prints its line, column and message. This is what
// `xo events` shows for JSON.
class TXoJSONEventWriter : public TXoObject,
                           public virtual IXoJSONContentHandler,
                           public virtual IXoJSONErrorHandler {
public:
  // AOut is not owned. Output is buffered; Flush writes it out (also done by
  // FatalError, EndDocument and the destructor).
  explicit TXoJSONEventWriter(TStream* AOut);
  ~TXoJSONEventWriter() override;
  void Flush();
  bool GetFatalErrorSeen() const { return FFatalErrorSeen; }
  // Writes a FatalError line for a failure that reached no handler.
  void WriteFatalError(int64_t ALine, int64_t ACol, const XoJSONString& AMessage);

  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>& ALocator) override;
  void StartDocument() override;
  void StartObject() override;
  void StartMember(const XoJSONString& AName) override;
  void StartArray() override;
  void Value(TXoJSONDataType AValueType, const XoJSONString& AValue) override;
  void EndArray() override;
  void EndMember() override;
  void EndObject() override;
  void EndDocument() override;

  void Warning(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) override;
  void Error(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) override;
  void FatalError(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) override;

private:
  void Line(const char* AEvent);
  void Arg(std::u16string_view AText);
  void ErrorLine(const char* AEvent, int64_t ALine, int64_t ACol, const XoJSONString& ErrMsg);

  TStream* FOut;
  std::string FBuf;
  bool FFatalErrorSeen = false;
};

// The name of a data type as the event dump prints it.
const char* XoJSONDataTypeName(TXoJSONDataType AType);

// ===========================================================================
// Value conversions

// Escapes text for a JSON string (without the enclosing quotes): BS, TAB,
// LF, FF, CR become \b \t \n \f \r; '"', '/' and the backslash get a
// backslash; code units from 256 on become \uXXXX (upper-case digits, each
// half of a surrogate pair on its own); the code units 1 to 7 are dropped;
// everything else is copied.
XoJSONString XoStrToJSON(std::u16string_view AText);
// Decodes the escapes of a JSON token: \n \r \t \f \b, \" \/ \\, \uXXXX (one
// code unit), \%XX (one 8-bit character), any other escaped character as
// itself; with jdtNumber also %XX. Bad hexadecimal digits raise
// EConvertError.
XoJSONString XoJSONtoStr(std::u16string_view AText, TXoJSONDataType ADataType);

// The kind of JSON value a variant becomes.
TXoJSONDataType XoVarTypeToJSONType(const Variant& AValue);
// The JSON text of a variant: numbers and booleans as in XML, strings and
// dates in double quotes, arrays as "[a,b]", anything else "null".
XoJSONString XoVarToJSON(const Variant& AValue);

// Dates as JSON strings: "/Date(milliseconds)/" or the XML forms. An empty
// text gives 0.
TDateTime XoJSONToDate(std::u16string_view AText);
TDateTime XoJSONToTime(std::u16string_view AText);
TDateTime XoJSONToDateTime(std::u16string_view AText);
TDateTime XoJSONToDate(const Variant& AValue, TDateTime ADefault);
TDateTime XoJSONToTime(const Variant& AValue, TDateTime ADefault);
TDateTime XoJSONToDateTime(const Variant& AValue, TDateTime ADefault);
TDateTime XoJSONToDateDef(std::u16string_view AText, TDateTime ADefault);
TDateTime XoJSONToTimeDef(std::u16string_view AText, TDateTime ADefault);
TDateTime XoJSONToDateTimeDef(std::u16string_view AText, TDateTime ADefault);

// The JSON schema style name of a type ("integer", "string", "dateTime", ...),
// its format ("int32", "date-time", ...) in AFormat, and the matching schema
// data type through ASchemaType when it is not null.
XoJSONString XoJSONType(const TXoTypeInfo* ATypeInfo, XoJSONString& AFormat, TXoSchemaDataType* ASchemaType);

// The text of a simple JSON value as a reflected value of a type; AEscaped
// says that string kinds are still escaped. Raises Exception for kinds that
// have no such form.
TValue XoJSONToVal(std::u16string_view AText, const TXoTypeInfo* ATypeInfo, bool AEscaped);
TValue XoJSONToVal(std::u16string_view AText, std::u16string_view ATypeName, bool AEscaped);
// The JSON text of a reflected value: enumerations, sets, objects, records
// and arrays through the JSON serializer; everything else as its XML text.
XoJSONString XoValToJSON(const TValue& AValue);

// The JSON serializer registers itself here at start-up so that XoValToJSON
// can write enumerations, sets, objects, records and arrays; without it those
// raise ENotSupportedException.
using TXoJSONValueSerializeFunc = TXoSerializedData (*)(const TValue& AValue);
void XoSetJSONValueSerializer(TXoJSONValueSerializeFunc AFunc);

}  // namespace xo
