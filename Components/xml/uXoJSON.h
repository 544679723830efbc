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
#include <functional>
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
// Document model

class TXoJSONMember;
class TXoJSONObject;
class TXoJSONArray;
class TXoJSONDocument;

// The class of a node, kept in the node so that the loader and the writer
// need no run-time type test.
enum class TXoJSONNodeKind : uint8_t { Base, Simple, Member, Object, Array, Document };

// A node of a JSON tree. One class holds every operation of every kind; a
// kind answers what it supports and raises EXoJSONException (code 9,
// "Instances of %s do not support the %s method!") for the rest.
//
// Ownership: a node with an owner sits in the owner's child list, holds one
// reference count from that list and has auto-destroy off, so releasing
// interfaces to it never frees it while it is in the tree. FreeObject takes
// a node out of its tree and frees it, unless interfaces to it are still
// held: then the last of them frees it. A root frees its whole tree. No tree
// walk recurses per level: trees of any depth load, save and free.
class TXoJSONBase : public TXoObject, public virtual IXoJSONBase {
public:
  explicit TXoJSONBase(TXoJSONBase* AOwner = nullptr) : TXoJSONBase(AOwner, TXoJSONNodeKind::Base) {}
  ~TXoJSONBase() override;

  // --- tree
  virtual void InsertObject(TXoJSONBase* AChild);
  virtual void RemoveObject(TXoJSONBase* AChild);
  // Frees the children (last first) when this node owns them, then empties
  // the list.
  void DestroyObjects();
  // Takes this node out of its owner and frees it, or leaves it to the last
  // interface held to it.
  void FreeObject();
  // The document at the top of this node's tree; EInvalidCast when the top
  // is no document.
  TXoJSONDocument* GetDocument();
  TXoJSONBase* GetOwner() const { return FOwner; }
  TXoJSONNodeKind GetNodeKind() const { return FKind; }
  const std::vector<TXoJSONBase*>& Objects() const { return FObjects; }
  bool GetDestroyChilds() const { return FDestroyChilds; }

  // --- text
  XoJSONString GetAsJSON() override;
  void SetAsJSON(const XoJSONString& AValue) override;
  // Loads text into this node (a document's root value is replaced); a
  // stream of size 0 clears the node.
  virtual void LoadFromStream(TStream* AStream, uint16_t ACodePage, bool AIsUrlFormEncoded);
  void LoadFromStream(TStream* AStream) { LoadFromStream(AStream, 0, false); }
  // Writes the node as UTF-16LE code units; ADepth counts levels from 0.
  virtual void SaveToStream(TStream* AStream, bool AFormatted, int32_t ADepth, bool AAddLeadingSpace);
  // Appends the node's text to AText (what SaveToStream writes).
  void SaveToString(XoJSONString& AText, bool AFormatted, int32_t ADepth, bool AAddLeadingSpace);

  // --- names and values
  XoJSONString GetName() override;
  void SetName(const XoJSONString& AValue) override;
  virtual TXoJSONBase* GetValueObj();
  virtual void SetValue(TXoJSONBase* AValue);
  TXoJSONDataType GetJSONType() override { return FJSONType; }
  bool GetAsBoolean() override;
  double GetAsDouble() override;
  int32_t GetAsInteger() override;
  int64_t GetAsLargeInt() override;
  XoJSONString GetAsString() override;
  Variant GetAsVariant() override;
  TValue GetAsValue() override;
  virtual TXoJSONObject* GetAsObject();
  virtual TXoJSONArray* GetAsArray();
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(double AValue) override;
  void SetAsInteger(int32_t AValue) override;
  void SetAsString(const XoJSONString& AValue) override;
  void SetAsLargeInt(int64_t AValue) override;
  void SetAsVariant(const Variant& AValue) override;
  void SetAsValue(const TValue& AValue) override;

  // --- children
  int32_t Count() override;
  virtual TXoJSONBase* AddValue(TXoJSONDataType AValueType);
  virtual TXoJSONBase* AddValue(TXoJSONDataType AValueType, const XoJSONString& AValue);
  virtual TXoJSONBase* AddValue(const Variant& AValue);
  virtual void RemoveValue(TXoJSONBase* AValue);
  virtual void DeleteValue(int32_t AIndex);
  virtual TXoJSONMember* AddMember(const XoJSONString& AName);
  virtual TXoJSONMember* AddMember(const XoJSONString& AName, TXoJSONDataType AValueType);
  virtual TXoJSONMember* AddMember(const XoJSONString& AName, TXoJSONDataType AValueType,
                                   const XoJSONString& AValue);
  virtual TXoJSONMember* AddMember(const XoJSONString& AName, const Variant& AValue);
  virtual void DeleteMember(int32_t AIndex);
  virtual void RemoveMember(TXoJSONMember* AMember);
  // The first member of the name (exact, or by SameText), nullptr when none.
  TXoJSONMember* FindMember(const XoJSONString& AName, bool ACaseInsensitive = false) {
    return _FindMember(AName, ACaseInsensitive);
  }
  // FindMember; a missing member is created (jsoCreate, first), raises
  // (jsoRaise, code 5) or gives nullptr.
  TXoJSONMember* GetMember(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions = {}) {
    return _GetMember(AName, ASelectOptions);
  }
  TXoJSONBase* Item(int32_t AIndex) { return _Item(AIndex); }
  bool HasMember(const XoJSONString& AName, bool ACaseInsensitive = false) override;
  TXoJSONMember* Member(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions = {}) {
    return GetMember(AName, ASelectOptions);
  }
  TXoJSONMember* GetMemberEx1(const XoJSONString& AName) { return GetMember(AName, jsoCreate); }

  // --- selection by JSON path
  // The nodes APath selects from this node, in a new array without owner
  // that the caller frees; it holds the nodes without owning them. An empty
  // result with jsoRaise raises code 11.
  TXoJSONArray* CreateNodeList(const XoJSONString& APath, TXoJDOCSelectOptions AOptions = {});
  TXoJSONArray* CreateNodeList(const XoJSONString& APath, bool ARaiseErrorIfNothingReturned);
  // One option alone (an enum would otherwise pass for the Boolean form).
  TXoJSONArray* CreateNodeList(const XoJSONString& APath, TXoJDOCSelectOption AOption) {
    return CreateNodeList(APath, TXoJDOCSelectOptions(AOption));
  }
  // The first node CreateNodeList selects, or nullptr.
  TXoJSONBase* SelectSingleNode(const XoJSONString& APath, TXoJDOCSelectOptions AOptions = {});
  TXoJSONBase* SelectSingleNode(const XoJSONString& APath, bool ARaiseErrorIfNothingReturned);
  TXoJSONBase* SelectSingleNode(const XoJSONString& APath, TXoJDOCSelectOption AOption) {
    return SelectSingleNode(APath, TXoJDOCSelectOptions(AOption));
  }
  TIntfPtr<IXoJSONArray> SelectIntf(const XoJSONString& APath, TXoJDOCSelectOptions AOptions = {}) override;

  // --- interface forms
  TIntfPtr<IXoJSONObject> GetAsObjectIntf() override;
  TIntfPtr<IXoJSONArray> GetAsArrayIntf() override;
  TIntfPtr<IXoJSONBase> GetValue() override;
  TIntfPtr<IXoJSONMember> GetMemberEx(const XoJSONString& AName) override;
  TIntfPtr<IXoJSONBase> GetItem(int32_t AIndex) override;
  TIntfPtr<IXoJSONMember> FindMemberIntf(const XoJSONString& AName, bool ACaseInsensitive = false) override;
  TIntfPtr<IXoJSONMember> GetMemberIntf(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions = {}) override;

protected:
  // The kind is known before the owner takes the node in.
  TXoJSONBase(TXoJSONBase* AOwner, TXoJSONNodeKind AKind);
  virtual TXoJSONMember* _FindMember(const XoJSONString& AName, bool ACaseInsensitive);
  virtual TXoJSONMember* _GetMember(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions);
  virtual TXoJSONBase* _Item(int32_t AIndex);
  // Raises the standard refusal for AMethod on this node's class.
  [[noreturn]] void NotSupported(const char16_t* AMethod) const;
  // The child at AIndex; EListError outside the list.
  TXoJSONBase* ChildAt(int32_t AIndex) const;
  // A new object, array or simple node owned by this node.
  TXoJSONBase* NewChild(TXoJSONDataType AValueType);
  TXoJSONArray* _CreateNodeList(const XoJSONString& APath, TXoJDOCSelectOptions AOptions);
  // Selects the rest of a path from this node into ANodes (APath is the
  // text from AFrom on). Runs with its own stack: depth costs no recursion.
  void _SelectNodes(TXoJSONArray* ANodes, const XoJSONString& APath, size_t AFrom, bool ADeep,
                    TXoJDOCSelectOptions AOptions);
  static void SetJSONTypeOf(TXoJSONBase* ANode, TXoJSONDataType AType) { ANode->FJSONType = AType; }

  TXoJSONBase* FOwner = nullptr;
  std::vector<TXoJSONBase*> FObjects;
  TXoJSONDataType FJSONType = jdtNull;
  bool FDestroyChilds = true;
  TXoJSONNodeKind FKind = TXoJSONNodeKind::Base;

private:
  friend class TXoJSONHandler;
  // Detaches and frees the children without recursing per level.
  void FreeChildren();
};

// A string, number, boolean or null. FValue holds the value (a string for
// everything read from text), FJSONType says how it is written.
class TXoJSONSimpleType : public TXoJSONBase, public virtual IXoJSONSimpleType {
public:
  explicit TXoJSONSimpleType(TXoJSONBase* AOwner = nullptr) : TXoJSONBase(AOwner, TXoJSONNodeKind::Simple) {}
  bool GetAsBoolean() override;
  double GetAsDouble() override;
  int32_t GetAsInteger() override;
  int64_t GetAsLargeInt() override;
  XoJSONString GetAsString() override;
  Variant GetAsVariant() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(double AValue) override;
  void SetAsInteger(int32_t AValue) override;
  void SetAsString(const XoJSONString& AValue) override;
  void SetAsLargeInt(int64_t AValue) override;
  void SetAsVariant(const Variant& AValue) override;
  // The value as a variant (TValue::ToVariant), then SetAsVariant.
  void SetAsValue(const TValue& AValue) override;
  const Variant& Value() const { return FValue; }
  // Stores a value and its kind as they are (what the loader does).
  void SetRaw(Variant AValue, TXoJSONDataType AType) {
    FValue = std::move(AValue);
    FJSONType = AType;
  }
  // The text this value is written as.
  void AppendValueText(XoJSONString& AText) const;

private:
  Variant FValue = Variant::Null();
};

// A name and a value. The value is also the single child of the member.
class TXoJSONMember : public TXoJSONBase, public virtual IXoJSONMember {
public:
  explicit TXoJSONMember(TXoJSONBase* AOwner = nullptr) : TXoJSONBase(AOwner, TXoJSONNodeKind::Member) {}
  void RemoveObject(TXoJSONBase* AChild) override;
  XoJSONString GetName() override { return FName; }
  const XoJSONString& Name() const { return FName; }
  void SetName(const XoJSONString& AValue) override { FName = AValue; }
  TXoJSONBase* GetValueObj() override { return FValue; }
  bool GetAsBoolean() override;
  double GetAsDouble() override;
  int32_t GetAsInteger() override;
  int64_t GetAsLargeInt() override;
  XoJSONString GetAsString() override;
  Variant GetAsVariant() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(double AValue) override;
  void SetAsInteger(int32_t AValue) override;
  void SetAsString(const XoJSONString& AValue) override;
  void SetAsLargeInt(int64_t AValue) override;
  void SetAsVariant(const Variant& AValue) override;
  TXoJSONObject* GetAsObject() override;
  TXoJSONArray* GetAsArray() override;
  TXoJSONBase* AddValue(TXoJSONDataType AValueType) override;
  using TXoJSONBase::AddValue;
  // Replaces the value by a new object (4), array (5) or simple value.
  TXoJSONBase* CreateValue(TXoJSONDataType AValueType);
  TIntfPtr<IXoJSONBase> CreateValueIntf(TXoJSONDataType AValueType) override;

  // The interface forms (the same operations as IXoJSONBase's).
  TIntfPtr<IXoJSONBase> GetValue() override { return TXoJSONBase::GetValue(); }
  TIntfPtr<IXoJSONObject> GetAsObjectIntf() override { return TXoJSONBase::GetAsObjectIntf(); }
  TIntfPtr<IXoJSONArray> GetAsArrayIntf() override { return TXoJSONBase::GetAsArrayIntf(); }

private:
  TXoJSONSimpleType* SimpleValue(const char16_t* AMethod);
  TXoJSONSimpleType* SimpleValueFor(TXoJSONDataType AValueType, const char16_t* AMethod);
  XoJSONString FName;
  TXoJSONBase* FValue = nullptr;
};

// Members in insertion order. Lookups are linear; equal names may occur.
class TXoJSONObject : public TXoJSONBase, public virtual IXoJSONObject {
public:
  explicit TXoJSONObject(TXoJSONBase* AOwner = nullptr);
  void InsertObject(TXoJSONBase* AChild) override;
  XoJSONString GetName() override { return u"<object>"; }
  TXoJSONObject* GetAsObject() override { return this; }
  int32_t Count() override { return static_cast<int32_t>(FObjects.size()); }
  TXoJSONMember* AddMember(const XoJSONString& AName) override;
  TXoJSONMember* AddMember(const XoJSONString& AName, TXoJSONDataType AValueType) override;
  TXoJSONMember* AddMember(const XoJSONString& AName, TXoJSONDataType AValueType,
                           const XoJSONString& AValue) override;
  TXoJSONMember* AddMember(const XoJSONString& AName, const Variant& AValue) override;
  void DeleteMember(int32_t AIndex) override;
  void RemoveMember(TXoJSONMember* AMember) override;
  // The member most recently added (kept when members go away).
  TXoJSONMember* LastMember() const { return FLastMember; }
  void RemoveObject(TXoJSONBase* AChild) override;
  // "#/" and the names of the members above, joined by "/" ("#/a/b").
  XoJSONString GetPath();

  TIntfPtr<IXoJSONMember> AddMemberIntf1(const XoJSONString& AName) override;
  TIntfPtr<IXoJSONMember> AddMemberIntf2(const XoJSONString& AName, TXoJSONDataType AValueType) override;
  TIntfPtr<IXoJSONMember> AddMemberIntf3(const XoJSONString& AName, TXoJSONDataType AValueType,
                                         const XoJSONString& AValue) override;
  TIntfPtr<IXoJSONMember> AddMemberIntf4(const XoJSONString& AName, const Variant& AValue) override;
  void RemoveMemberIntf(const TIntfPtr<IXoJSONMember>& AMember) override;

protected:
  TXoJSONMember* _FindMember(const XoJSONString& AName, bool ACaseInsensitive) override;
  TXoJSONMember* _GetMember(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions) override;
  TXoJSONBase* _Item(int32_t AIndex) override { return ChildAt(AIndex); }

private:
  friend class TXoJSONHandler;
  TXoJSONMember* FLastMember = nullptr;
};

// Elements in order. An array without owner is a result list whose items
// belong to another tree: it does not free them.
class TXoJSONArray : public TXoJSONBase, public virtual IXoJSONArray {
public:
  explicit TXoJSONArray(TXoJSONBase* AOwner = nullptr);
  TXoJSONArray* GetAsArray() override { return this; }
  int32_t Count() override { return static_cast<int32_t>(FObjects.size()); }
  TXoJSONBase* AddValue(TXoJSONDataType AValueType) override;
  TXoJSONBase* AddValue(TXoJSONDataType AValueType, const XoJSONString& AValue) override;
  TXoJSONBase* AddValue(const Variant& AValue) override;
  void RemoveValue(TXoJSONBase* AValue) override;
  void DeleteValue(int32_t AIndex) override;
  void Exchange(int32_t AIndex1, int32_t AIndex2) override;

  TIntfPtr<IXoJSONBase> AddValueIntf1(TXoJSONDataType AValueType) override;
  TIntfPtr<IXoJSONBase> AddValueIntf2(TXoJSONDataType AValueType, const XoJSONString& AValue) override;
  TIntfPtr<IXoJSONBase> AddValueIntf3(const Variant& AValue) override;
  void RemoveValueIntf(const TIntfPtr<IXoJSONBase>& AValue) override;

protected:
  TXoJSONBase* _Item(int32_t AIndex) override { return ChildAt(AIndex); }
};

// The root holder: one child, the root value. Reads and writes files and
// streams in any code page.
class TXoJSONDocument : public TXoJSONBase, public virtual IXoJSONDocument {
public:
  TXoJSONDocument() : TXoJSONBase(nullptr, TXoJSONNodeKind::Document) {}
  static TXoJSONDocument* CreateFromFile(const XoJSONString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite);
  static TXoJSONDocument* CreateFromJSON(const XoJSONString& AJSON);
  static TXoJSONDocument* CreateFromJSON(const RawByteString& AJSON, uint16_t ACodePage);
  static TXoJSONDocument* CreateFromStream(TStream* AStream, uint16_t ACodePage = 0, bool AIsUrlFormEncoded = false);

  // Replaces the root value by a new object (4), array (5) or simple value.
  TXoJSONBase* CreateRootValue(TXoJSONDataType AValueType);
  // The root value; nullptr unless there is exactly one child.
  TXoJSONBase* GetRootValue();
  // Forward to the root value; EXoJSONParseError (code 10) without one.
  // Through a TXoJSONBase reference a document refuses them.
  TXoJSONMember* FindMember(const XoJSONString& AName, bool ACaseInsensitive = false);
  TXoJSONMember* GetMember(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions = {});
  TXoJSONBase* Item(int32_t AIndex);

  XoJSONString GetAsJSON() override;
  XoJSONString GetFormattedJSON() override;
  void SetAsJSON(const XoJSONString& AValue) override { TXoJSONBase::SetAsJSON(AValue); }
  using TXoJSONBase::LoadFromStream;
  void LoadFromStream(TStream* AStream, uint16_t ACodePage, bool AIsUrlFormEncoded) override {
    TXoJSONBase::LoadFromStream(AStream, ACodePage, AIsUrlFormEncoded);
  }
  // EReadError "There is no file "%s"" when the file is not there.
  void LoadFromFile(const XoJSONString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite) override;
  // UTF-8 with a byte-order mark.
  void SaveToFile(const XoJSONString& AFileName, bool AFormatted = false) override;
  using TXoJSONBase::SaveToStream;
  // The whole document in a code page: 1200 (UTF-16LE) and 65001 (UTF-8)
  // with a byte-order mark when asked, any other without one.
  void SaveToStream(TStream* AStream, bool AFormatted, uint16_t ACodePage, bool AWriteBOM) override;

  TIntfPtr<IXoJSONBase> GetRootValueIntf() override;
  TIntfPtr<IXoJSONBase> CreateRootValueIntf(TXoJSONDataType AValueType) override;
  TIntfPtr<IXoJSONMember> FindMemberIntf(const XoJSONString& AName, bool ACaseInsensitive = false) override;
  TIntfPtr<IXoJSONMember> GetMemberIntf(const XoJSONString& AName, TXoJDOCSelectOptions ASelectOptions = {}) override;
  TIntfPtr<IXoJSONArray> SelectIntf(const XoJSONString& APath, TXoJDOCSelectOptions AOptions = {}) override {
    return TXoJSONBase::SelectIntf(APath, AOptions);
  }

private:
  TXoJSONBase* CheckedRoot();
};

// ===========================================================================
// Filters of JSON paths

// The working list of a selection step and the candidates of a filter; it
// owns nothing.
class TXoJSONNodeList {
public:
  int32_t Count() const { return static_cast<int32_t>(FItems.size()); }
  TXoJSONBase* Items(int32_t AIndex) const { return FItems.at(static_cast<size_t>(AIndex)); }
  TXoJSONBase* operator[](int32_t AIndex) const { return Items(AIndex); }
  void Add(TXoJSONBase* ANode) { FItems.push_back(ANode); }
  int32_t IndexOf(const TXoJSONBase* ANode) const;
  void Clear() { FItems.clear(); }
  void Assign(const TXoJSONNodeList& AList) { FItems = AList.FItems; }
  const std::vector<TXoJSONBase*>& List() const { return FItems; }

private:
  std::vector<TXoJSONBase*> FItems;
};

// Scoped: the XPath filters of the XML tree use the same names for their own
// operators.
enum class TXoBoolExpressionOperator : uint8_t { opNA = 0, opAnd = 1, opOr = 2 };
enum class TXoExpValueHasNodeWithValueOp : uint8_t {
  opUnequal = 0,
  opEqual = 1,
  opSmaller = 2,
  opSmallerEqual = 3,
  opGreater = 4,
  opGreaterEqual = 5,
};

class TXoBoolExpression;

// What one term of a filter tests, for the candidate at AIndex.
class TXoExpressionValue : public TObject {
public:
  virtual bool Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) = 0;
  TXoBoolExpression* FExpression = nullptr;
};

// The outcome of the group under the expression that holds this value.
class TXoExpressionValueChild : public TXoExpressionValue {
public:
  bool Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) override;
};

// The negated outcome of that group.
class TXoExpressionValueNot : public TXoExpressionValueChild {
public:
  bool Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) override;
};

// Whether a path finds a node from the candidate.
class TXoExpressionValueExists : public TXoExpressionValue {
public:
  TXoExpressionValueExists(XoJSONString APath, bool ACaseInsensitive)
      : FPath(std::move(APath)), FCaseInsensitive(ACaseInsensitive) {}
  bool Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) override;
  XoJSONString FPath;
  bool FCaseInsensitive;
};

// A comparison of two terms, each a path from the candidate or a literal.
class TXoExpValueHasNodeWithValue : public TXoExpressionValue {
public:
  TXoExpValueHasNodeWithValue(XoJSONString AValue1, XoJSONString AValue2, TXoExpValueHasNodeWithValueOp AOperator,
                              bool ACaseInsensitive)
      : FValue1(std::move(AValue1)), FValue2(std::move(AValue2)), FOperator(AOperator),
        FCaseInsensitive(ACaseInsensitive) {}
  bool Value(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull) override;
  XoJSONString FValue1, FValue2;
  TXoExpValueHasNodeWithValueOp FOperator;
  bool FCaseInsensitive;
};

// One node of a filter tree: a value, the group under it (FChild) and the
// next term of its chain (FSibling), joined by FOperation.
class TXoBoolExpression : public TObject {
public:
  TXoBoolExpression() = default;
  ~TXoBoolExpression() override;
  TXoBoolExpression* AddChild(TXoBoolExpressionOperator AOperator);
  TXoBoolExpression* AddFirstChild() { return AddChild(TXoBoolExpressionOperator::opNA); }
  TXoBoolExpression* AddSibling(TXoBoolExpressionOperator AOperator);
  // Frees the value held before.
  void SetValue(TXoExpressionValue* AValue);
  TXoExpressionValue* GetValue() const { return FValue; }
  // The outcome for the candidate at AIndex: false also when a comparison
  // that ran had no operand.
  bool Evaluate(TXoJSONNodeList& ANodeList, int32_t AIndex);
  // The outcome of this node's chain, from this node on, left to right.
  bool Test(TXoJSONNodeList& ANodeList, int32_t AIndex, bool& IsNull);

  TXoBoolExpressionOperator FOperation = TXoBoolExpressionOperator::opNA;
  TXoBoolExpression* FParent = nullptr;
  TXoBoolExpression* FSibling = nullptr;
  TXoBoolExpression* FChild = nullptr;
  TXoExpressionValue* FValue = nullptr;
  bool FNotOperand = false;  // the operand of a "!": the parse returns to the holder behind it
};

// The loader of the document model: adds nodes to a tree as the events come
// in, using the tree's owner links as its stack.
class TXoJSONHandler : public TXoObject, public virtual IXoJSONContentHandler, public virtual IXoJSONErrorHandler {
public:
  TXoJSONHandler(TXoJSONReader* AJSONReader, TXoJSONBase* AAddTo) : FReader(AJSONReader), FCurrValue(AAddTo) {}

  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>&) override {}
  void StartDocument() override {}
  void StartObject() override;
  void StartMember(const XoJSONString& AName) override;
  void StartArray() override;
  void Value(TXoJSONDataType AValueType, const XoJSONString& AValue) override;
  void EndArray() override { Climb(); }
  void EndMember() override {}
  void EndObject() override { Climb(); }
  void EndDocument() override {}
  void Warning(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
  void Error(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}
  void FatalError(const TIntfPtr<IXoJSONLocator>&, const XoJSONString&) override {}

  TXoJSONBase* CurrValue() const { return FCurrValue; }
  TXoJSONReader* GetReader() const { return FReader; }

private:
  TXoJSONBase* Open(TXoJSONDataType AType);
  void Climb();
  TXoJSONReader* FReader;
  TXoJSONBase* FCurrValue;
  // The null value StartMember gave the last member: a simple value that
  // follows takes it over instead of replacing it by a node of its own.
  TXoJSONBase* FPlaceholder = nullptr;
};

// The component that turns a reader's events into event properties of a
// program, and runs a reader.
class TXoJSONParser : public TComponent,
                      public virtual IXoJSONContentHandler,
                      public virtual IXoJSONErrorHandler {
public:
  using TXoJSONOnError = std::function<void(const TIntfPtr<IXoJSONLocator>& ALocator, const XoJSONString& ErrMsg)>;
  using TNotifyEvent = std::function<void(TObject* ASender)>;
  using TXoJSONOnEvent = std::function<void()>;
  using TXoJSONOnStartMember = std::function<void(const XoJSONString& AName)>;
  using TXoJSONOnValue = std::function<void(TXoJSONSimpleDataType AValueType, const XoJSONString& AValue)>;

  explicit TXoJSONParser(TComponent* AOwner = nullptr);
  ~TXoJSONParser() override;

  // The component is owned, not counted: references do not free it.
  int32_t _AddRef() override { return -1; }
  int32_t _Release() override { return -1; }

  void ParseStream(TStream* AStream, uint16_t ACodePage = 0, bool AIsUrlFormEncoded = false,
                   const XoJSONString& APublicID = {});
  void ParseBuffer(const void* ABuffer, int64_t ABufSize, uint16_t ACodePage = 0, bool AIsUrlFormEncoded = false,
                   const XoJSONString& APublicID = {});
  void ParseFile(const XoJSONString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite,
                 const XoJSONString& APublicID = {});
  void Parse(const XoJSONString& AJSON, const XoJSONString& APublicID = {});
  void Parse(const RawByteString& AJSON, uint16_t ACodePage, const XoJSONString& APublicID = {});

  // The locator of the last SetDocumentLocator; the reader of the running
  // parse (nullptr between parses).
  TIntfPtr<IXoJSONLocator> GetLocator() const { return FLocator; }
  TXoJSONReader* GetReader() const { return FReader; }

  void SetDocumentLocator(const TIntfPtr<IXoJSONLocator>& ALocator) override { FLocator = ALocator; }
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

  TXoJSONOnError OnWarning, OnError, OnFatalError;
  TNotifyEvent OnStart, OnFinished;
  TXoJSONOnEvent OnStartDocument, OnStartObject, OnStartArray, OnEndArray, OnEndMember, OnEndObject, OnEndDocument;
  TXoJSONOnStartMember OnStartMember;
  TXoJSONOnValue OnValue;

private:
  template <class F>
  void Run(bool AIsUrlFormEncoded, F&& AParse);
  TIntfPtr<IXoJSONLocator> FLocator;
  TXoJSONReader* FReader = nullptr;
};

// Parses the text and writes it again: compact (the UTF-16 form) or
// formatted (the 8-bit form, widened with the system code page).
XoJSONString XoFormatJSON(const XoJSONString& AJSON);
XoJSONString XoFormatJSON(const RawByteString& AJSON);

// ===========================================================================
// Value conversions

// Escapes text for a JSON string (without the enclosing quotes): BS, TAB,
// LF, FF, CR become \b \t \n \f \r; '"', '/' and the backslash get a
// backslash; code units from 256 on become \uXXXX (upper-case digits, each
// half of a surrogate pair on its own); the code units 1 to 7 are dropped;
// everything else is copied.
XoJSONString XoStrToJSON(std::u16string_view AText);
// Appending form, for writers that reuse one buffer.
void XoAppendStrToJSON(XoJSONString& ADest, std::u16string_view AText);
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
