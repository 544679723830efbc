// uXoJSONInterfaces: the contracts of xo's JSON subsystem.
//
// The event interfaces a JSON reader calls (content handler, error handler,
// locator), the reader interface itself, the kinds of JSON values, the
// options of member lookups and path selections, and the exceptions with
// their codes. The classes that implement them live in uXoJSON.
#pragma once

#include <cstdint>
#include <string>

#include "uXoClasses.h"
#include "uXoRtti.h"
#include "uXoSysUtils.h"
#include "uXoVariants.h"

namespace xo {

// ===========================================================================
// Kinds of values

// The kind of a JSON value, one byte. The numbering is part of every Value
// event; jdtObject and jdtArray occur only in the document model.
enum TXoJSONDataType : uint8_t {
  jdtNull = 0,
  jdtString = 1,
  jdtNumber = 2,
  jdtBoolean = 3,
  jdtObject = 4,
  jdtArray = 5,
};
using TXoJSONSimpleDataType = TXoJSONDataType;

// Options of member lookups and path selections.
enum TXoJDOCSelectOption : uint8_t {
  jsoRaise = 0,            // raise when nothing is found
  jsoCreate = 1,           // create what is missing
  jsoCaseInsensitive = 2,  // compare member names without regard to case
};

// A set of TXoJDOCSelectOption, one bit per option.
class TXoJDOCSelectOptions {
public:
  constexpr TXoJDOCSelectOptions() = default;
  constexpr TXoJDOCSelectOptions(TXoJDOCSelectOption AOption) : FBits(static_cast<uint8_t>(1u << AOption)) {}
  constexpr TXoJDOCSelectOptions(std::initializer_list<TXoJDOCSelectOption> AOptions) {
    for (TXoJDOCSelectOption o : AOptions) FBits = static_cast<uint8_t>(FBits | (1u << o));
  }
  constexpr bool Contains(TXoJDOCSelectOption AOption) const { return (FBits >> AOption) & 1u; }
  constexpr TXoJDOCSelectOptions& Include(TXoJDOCSelectOption AOption) {
    FBits = static_cast<uint8_t>(FBits | (1u << AOption));
    return *this;
  }
  constexpr TXoJDOCSelectOptions& Exclude(TXoJDOCSelectOption AOption) {
    FBits = static_cast<uint8_t>(FBits & ~(1u << AOption));
    return *this;
  }
  constexpr bool Empty() const { return FBits == 0; }
  constexpr bool operator==(const TXoJDOCSelectOptions&) const = default;

private:
  uint8_t FBits = 0;
};

// ===========================================================================
// Messages and codes

inline constexpr char16_t _cXoJSONNotWellFormed[] =
    u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
inline constexpr char16_t _cXoJSONNoContentHandler[] = u"No contenthandler has been assigned!";
inline constexpr char16_t _cXoJSONNoErrorHandler[] = u"No errorhandler has been assigned!";
// Form URL-encoded text.
inline constexpr char16_t _cXoJSONFormBracketExpected[] =
    u"The parser expected to read a \"[\" character, but \"%s\", was read instead!";
inline constexpr char16_t _cXoJSONInvalidUTF8[] = u"Invalid UTF8 Encoding detected";
// The expected texts of the not-well-formed report.
inline constexpr char16_t _cXoJSONExpectedValue[] = u"\", t, f, n, 0..9, ., + or -";
inline constexpr char16_t _cXoJSONExpectedEscape[] = u"\", \\, /, b, f, n, r, t or u";
// The document model.
inline constexpr char16_t _cXoJSONNoMember[] = u"There is no member with the name \"%s\"!";
inline constexpr char16_t _cXoJSONUnexpectedType[] = u"Unexptected JSON type!";
inline constexpr char16_t _cXoJSONNotSupported[] = u"Instances of %s do not support the %s method!";
inline constexpr char16_t _cXoJSONNoRootValue[] = u"There is no root value!";
inline constexpr char16_t _cXoJSONNoFile[] = u"There is no file \"%s\"";
// Paths and filters.
inline constexpr char16_t _cXoJSONNoNodes[] = u"The specified path returned no nodes!";
inline constexpr char16_t _cXoJSONInvalidPath[] = u"The specified path is not a valid JSON path.";
inline constexpr char16_t _cXoJSONPathCharExpected[] =
    u"The specified path is not a valid JSON path. Character '%s' was expected, however '%s' was found.";
inline constexpr char16_t _cXoJSONPathCharPosition[] =
    u"The specified path is not a valid JSON path. A character ('%s') was detected on an invalid position.";
inline constexpr char16_t _cXoJSONScriptExpression[] = u"The specified script expression is too complex or not valid!";
inline constexpr char16_t _cXoJSONInvalidExpressionParenthesis[] =
    u"An invalid expression was detected!\r\nCheck the parenthesis.";
inline constexpr char16_t _cXoJSONInvalidExpressionNot[] =
    u"An invalid expression was detected!\r\nA \"not\" operator must have a child value.";
inline constexpr char16_t _cXoJSONInvalidOperation[] = u"An invalid operation has been detected!";

// The integer codes of EXoJSONException and EXoJSONParseError.
inline constexpr int32_t cXoJSONErrNotWellFormed = 2;
inline constexpr int32_t cXoJSONErrNoContentHandler = 3;
inline constexpr int32_t cXoJSONErrNoErrorHandler = 4;
inline constexpr int32_t cXoJSONErrNoMember = 5;
inline constexpr int32_t cXoJSONErrUnexpectedType = 6;
inline constexpr int32_t cXoJSONErrNotSupported = 9;
inline constexpr int32_t cXoJSONErrNoRootValue = 10;
inline constexpr int32_t cXoJSONErrNoNodes = 11;
inline constexpr int32_t cXoJSONErrInvalidPath = 13;
inline constexpr int32_t cXoJSONErrPathCharExpected = 14;
inline constexpr int32_t cXoJSONErrPathCharPosition = 15;
inline constexpr int32_t cXoJSONErrScriptExpression = 17;

class EXoJSONException : public EXoException {
public:
  using EXoException::EXoException;
  const char16_t* ClassName() const override { return u"EXoJSONException"; }
};

// Every not-well-formed report of the JSON readers.
class EXoJSONParseError : public EXoJSONException {
public:
  using EXoJSONException::EXoJSONException;
  const char16_t* ClassName() const override { return u"EXoJSONParseError"; }
};

// ===========================================================================
// Event interfaces

// Interface identifiers, kept for reference; lookups are by dynamic_cast.
inline constexpr char16_t IID_IXoJSONLocator[] = u"{E4CA2ACF-A89A-40C0-92E6-9D039F25925B}";
inline constexpr char16_t IID_IXoJSONContentHandler[] = u"{153C84D4-9281-4489-B9C3-6BD021F422AB}";
inline constexpr char16_t IID_IXoJSONErrorHandler[] = u"{9E920221-37D4-469E-9405-55FD94CAD85C}";
inline constexpr char16_t IID_IXoJSONReader[] = u"{E13EA94C-8AAE-450D-BCA6-03FD63522ED8}";

// Where the reader stands: lines and columns from 1, -1 when there is
// nothing to tell (no parse running, or after an unexpected end of text).
class IXoJSONLocator : public virtual IInterface {
public:
  virtual int64_t GetLineNr() = 0;
  virtual int64_t GetColNr() = 0;
  virtual XoJSONString GetPublicID() = 0;
};

// The content of a JSON text. Strings passed to a call are valid during that
// call only. Names and string values arrive as written between the quotes,
// escapes included; numbers as their text.
class IXoJSONContentHandler : public virtual IInterface {
public:
  virtual void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>& ALocator) = 0;
  virtual void StartDocument() = 0;
  virtual void StartObject() = 0;
  virtual void StartMember(const XoJSONString& AName) = 0;
  virtual void StartArray() = 0;
  virtual void Value(TXoJSONDataType AValueType, const XoJSONString& AValue) = 0;
  virtual void EndArray() = 0;
  virtual void EndMember() = 0;
  virtual void EndObject() = 0;
  virtual void EndDocument() = 0;
};

// Failures. The readers call FatalError once, just before the exception
// leaves the parse call; they never call Warning or Error.
class IXoJSONErrorHandler : public virtual IInterface {
public:
  virtual void Warning(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) = 0;
  virtual void Error(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) = 0;
  virtual void FatalError(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg) = 0;
};

// A reader: handlers are set, then one parse call runs; a reader may parse
// again afterwards.
class IXoJSONReader : public virtual IInterface {
public:
  virtual TIntfPtr<IXoJSONContentHandler> GetContentHandler() = 0;
  virtual TIntfPtr<IXoJSONErrorHandler> GetErrorHandler() = 0;
  virtual void SetContentHandler(const TIntfPtr<IXoJSONContentHandler>& AHandler) = 0;
  virtual void SetErrorHandler(const TIntfPtr<IXoJSONErrorHandler>& AHandler) = 0;
  // The stream is read from its position to its end and stays the caller's.
  // ACodePage 0 lets the reader find the encoding.
  virtual void ParseStream(TStream* AStream, uint16_t ACodePage, const XoJSONString& APublicID) = 0;
  virtual void ParseFile(const XoJSONString& AFileName, uint16_t AMode, const XoJSONString& APublicID) = 0;
  virtual void ParseBuffer(const void* ABuffer, int64_t ABufSize, uint16_t ACodePage,
                           const XoJSONString& APublicID) = 0;
  // UTF-16 text (code page 1200).
  virtual void Parse(const XoJSONString& AJSON, const XoJSONString& APublicID) = 0;
  // Bytes in ACodePage.
  virtual void Parse(const RawByteString& AJSON, uint16_t ACodePage, const XoJSONString& APublicID) = 0;
};

// ===========================================================================
// Document model interfaces
//
// The interface forms of the JSON tree's operations. Results are interfaces
// to nodes that stay owned by the tree; a node removed from its tree while an
// interface to it is held lives on, without owner, until the last interface
// to it goes.

inline constexpr char16_t IID_IXoJSONBase[] = u"{3EF637B1-BB9E-45A6-8C8F-17A1E3C2F73E}";
inline constexpr char16_t IID_IXoJSONSimpleType[] = u"{DD48E68D-2C8D-4946-ACB8-B8781173009C}";
inline constexpr char16_t IID_IXoJSONMember[] = u"{F93249D2-95EC-46CC-A0AF-11253F2BCDD3}";
inline constexpr char16_t IID_IXoJSONObject[] = u"{0CD42232-D5C8-4922-95C5-389E812FC605}";
inline constexpr char16_t IID_IXoJSONArray[] = u"{635753D5-75E8-4BE1-A993-9268029F9E9F}";
inline constexpr char16_t IID_IXoJSONDocument[] = u"{A2B0E47C-6F38-40E3-8F5B-81561A589AFA}";

class IXoJSONMember;
class IXoJSONObject;
class IXoJSONArray;

// Every node kind answers every operation; what a kind does not support
// raises EXoJSONException (code 9) "Instances of %s do not support the %s
// method!".
class IXoJSONBase : public virtual IXoObject {
public:
  virtual bool GetAsBoolean() = 0;
  virtual double GetAsDouble() = 0;
  virtual int32_t GetAsInteger() = 0;
  virtual int64_t GetAsLargeInt() = 0;
  virtual XoJSONString GetAsString() = 0;
  virtual Variant GetAsVariant() = 0;
  virtual TValue GetAsValue() = 0;
  virtual TIntfPtr<IXoJSONObject> GetAsObjectIntf() = 0;
  virtual TIntfPtr<IXoJSONArray> GetAsArrayIntf() = 0;
  virtual XoJSONString GetName() = 0;
  virtual TIntfPtr<IXoJSONBase> GetValue() = 0;
  virtual TXoJSONDataType GetJSONType() = 0;
  virtual XoJSONString GetAsJSON() = 0;
  // The member of the name, created when missing.
  virtual TIntfPtr<IXoJSONMember> GetMemberEx(const XoJSONString& AName) = 0;
  virtual TIntfPtr<IXoJSONBase> GetItem(int32_t AIndex) = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsDouble(double AValue) = 0;
  virtual void SetAsInteger(int32_t AValue) = 0;
  virtual void SetAsString(const XoJSONString& AValue) = 0;
  virtual void SetAsLargeInt(int64_t AValue) = 0;
  virtual void SetAsJSON(const XoJSONString& AValue) = 0;
  virtual void SetAsVariant(const Variant& AValue) = 0;
  virtual void SetAsValue(const TValue& AValue) = 0;
  virtual void SetName(const XoJSONString& AValue) = 0;
  virtual int32_t Count() = 0;
  virtual TIntfPtr<IXoJSONMember> FindMemberIntf(const XoJSONString& AName, bool ACaseInsensitive = false) = 0;
  virtual bool HasMember(const XoJSONString& AName, bool ACaseInsensitive = false) = 0;
  virtual TIntfPtr<IXoJSONMember> GetMemberIntf(const XoJSONString& AName,
                                                TXoJDOCSelectOptions ASelectOptions = {}) = 0;
  // The nodes a JSON path selects from this node, as a new result array.
  virtual TIntfPtr<IXoJSONArray> SelectIntf(const XoJSONString& APath, TXoJDOCSelectOptions AOptions = {}) = 0;
};

class IXoJSONSimpleType : public virtual IXoJSONBase {};

class IXoJSONMember : public virtual IXoObject {
public:
  virtual TIntfPtr<IXoJSONBase> GetValue() = 0;
  virtual XoJSONString GetName() = 0;
  virtual int32_t GetAsInteger() = 0;
  virtual double GetAsDouble() = 0;
  virtual XoJSONString GetAsString() = 0;
  virtual bool GetAsBoolean() = 0;
  virtual int64_t GetAsLargeInt() = 0;
  virtual Variant GetAsVariant() = 0;
  virtual TIntfPtr<IXoJSONObject> GetAsObjectIntf() = 0;
  virtual TIntfPtr<IXoJSONArray> GetAsArrayIntf() = 0;
  virtual void SetName(const XoJSONString& AValue) = 0;
  virtual void SetAsInteger(int32_t AValue) = 0;
  virtual void SetAsDouble(double AValue) = 0;
  virtual void SetAsString(const XoJSONString& AValue) = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsLargeInt(int64_t AValue) = 0;
  virtual void SetAsVariant(const Variant& AValue) = 0;
  virtual TIntfPtr<IXoJSONBase> CreateValueIntf(TXoJSONDataType AValueType) = 0;
};

class IXoJSONObject : public virtual IXoJSONBase {
public:
  virtual TIntfPtr<IXoJSONMember> AddMemberIntf1(const XoJSONString& AName) = 0;
  virtual TIntfPtr<IXoJSONMember> AddMemberIntf2(const XoJSONString& AName, TXoJSONDataType AValueType) = 0;
  virtual TIntfPtr<IXoJSONMember> AddMemberIntf3(const XoJSONString& AName, TXoJSONDataType AValueType,
                                                 const XoJSONString& AValue) = 0;
  virtual TIntfPtr<IXoJSONMember> AddMemberIntf4(const XoJSONString& AName, const Variant& AValue) = 0;
  virtual void DeleteMember(int32_t AIndex) = 0;
  virtual void RemoveMemberIntf(const TIntfPtr<IXoJSONMember>& AMember) = 0;
};

class IXoJSONArray : public virtual IXoJSONBase {
public:
  virtual TIntfPtr<IXoJSONBase> AddValueIntf1(TXoJSONDataType AValueType) = 0;
  virtual TIntfPtr<IXoJSONBase> AddValueIntf2(TXoJSONDataType AValueType, const XoJSONString& AValue) = 0;
  virtual TIntfPtr<IXoJSONBase> AddValueIntf3(const Variant& AValue) = 0;
  virtual void DeleteValue(int32_t AIndex) = 0;
  virtual void RemoveValueIntf(const TIntfPtr<IXoJSONBase>& AValue) = 0;
  virtual void Exchange(int32_t AIndex1, int32_t AIndex2) = 0;
};

class IXoJSONDocument : public virtual IXoObject {
public:
  virtual TIntfPtr<IXoJSONBase> GetRootValueIntf() = 0;
  virtual XoJSONString GetAsJSON() = 0;
  virtual XoJSONString GetFormattedJSON() = 0;
  virtual void SetAsJSON(const XoJSONString& AValue) = 0;
  virtual TIntfPtr<IXoJSONBase> CreateRootValueIntf(TXoJSONDataType AValueType) = 0;
  virtual TIntfPtr<IXoJSONMember> FindMemberIntf(const XoJSONString& AName, bool ACaseInsensitive = false) = 0;
  virtual TIntfPtr<IXoJSONMember> GetMemberIntf(const XoJSONString& AName,
                                                TXoJDOCSelectOptions ASelectOptions = {}) = 0;
  virtual TIntfPtr<IXoJSONArray> SelectIntf(const XoJSONString& APath, TXoJDOCSelectOptions AOptions = {}) = 0;
  virtual void LoadFromStream(TStream* AStream, uint16_t ACodePage, bool AIsUrlFormEncoded) = 0;
  virtual void LoadFromFile(const XoJSONString& AFileName, uint16_t AMode) = 0;
  virtual void SaveToFile(const XoJSONString& AFileName, bool AFormatted) = 0;
  virtual void SaveToStream(TStream* AStream, bool AFormatted, uint16_t ACodePage, bool AWriteBOM) = 0;
};

}  // namespace xo
