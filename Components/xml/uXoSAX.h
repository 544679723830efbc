// uXoSAX: XML text as a stream of handler calls.
//
// TXoXMLParser is the character scanner under the reader: it settles the
// encoding of the input once and binds the width-dependent operations to the
// source kind. TXoSAXXMLReader walks the text and calls the handler
// interfaces (IXoSAXContentHandler, IXoSAXLexicalHandler, IXoSAXErrorHandler),
// the one event contract that every consumer of parse events in xo works
// against.
//
// The reader is fast and forgiving: it finds tags by their delimiters and
// hands character data and attribute values on exactly as written (entity
// and character references included); it is not a validating parser.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "uXoClasses.h"
#include "uXoJSON.h"
#include "uXoSysUtils.h"
#include "uXoVariants.h"

namespace xo {

// ===========================================================================
// Messages and codes of the XML reader

inline constexpr char16_t _cXoXMLNotWellFormed[] =
    u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
inline constexpr char16_t _cXoXMLInvalidNameStartchar1[] =
    u"The current character \"%s\" is only a valid NameStartChar when NameSpaces are not supported!";
inline constexpr char16_t _cXoXMLInvalidNameStartchar2[] = u"The current character \"%s\" is not a valid NameStartChar!";
inline constexpr char16_t _cXoXMLListIndexOutOfBounds1[] = u"List index (%d) out of bounds!";
inline constexpr char16_t _cXoXMLListIndexOutOfBounds2[] = u"List index (%s) out of bounds!";
inline constexpr char16_t _cXoXMLListIndexOutOfBounds3[] = u"List index (%s-%s) out of bounds!";
inline constexpr char16_t _cXoXMLDOCTypeExpected[] = u"\"DOCTYPE\" expected, but \"%s\" found";
inline constexpr char16_t _cXoXMLCDATAExpected[] = u"![CDATA[ expected, but \"%s\" found";
inline constexpr char16_t _cXoXMLMissingAttribute[] = u"The document is not wellformed!\r\nMissing attribute value.";
inline constexpr char16_t _cXoXMLELMNotClosed[] =
    u"The document is not wellformed!\r\nAn element was not closed correctly (Row: %d, Col: %d).";
inline constexpr char16_t _cXoXMLMultipleRoot[] =
    u"The document is not wellformed!\r\nA XML document may not contain multiple root elements.";
inline constexpr char16_t _cXoXMLNoContentHandler[] = u"No contenthandler has been assigned!";
inline constexpr char16_t _cXoXMLNoErrorHandler[] = u"No errorhandler has been assigned!";
inline constexpr char16_t _cXoXMLInvalidTextAtRoot[] =
    u"The document is not wellformed!\r\nAn invalid token was detected at the root level of the document.";

// The integer codes carried by EXoXMLParseError.
inline constexpr int32_t cXoXMLErrNotWellFormed = 2;
inline constexpr int32_t cXoXMLErrInvalidNameStartChar = 3;
inline constexpr int32_t cXoXMLErrListIndexOutOfBounds = 4;
inline constexpr int32_t cXoXMLErrDOCTypeExpected = 5;
inline constexpr int32_t cXoXMLErrCDATAExpected = 6;
inline constexpr int32_t cXoXMLErrMissingAttribute = 7;
inline constexpr int32_t cXoXMLErrELMNotClosed = 8;
inline constexpr int32_t cXoXMLErrMultipleRoot = 9;
inline constexpr int32_t cXoXMLErrNoContentHandler = 10;
inline constexpr int32_t cXoXMLErrNoErrorHandler = 11;
inline constexpr int32_t cXoXMLErrInvalidTextAtRoot = 12;

class EXoXMLException : public EXoException {
public:
  using EXoException::EXoException;
  const char16_t* ClassName() const override { return u"EXoXMLException"; }
};

class EXoXMLParseError : public EXoXMLException {
public:
  using EXoXMLException::EXoXMLException;
  const char16_t* ClassName() const override { return u"EXoXMLParseError"; }
};

// ===========================================================================
// Scanner

class TXoXMLParser;

// A skip bound to one scanner and one source kind. ACharPtr points to one of
// the scanner's punctuation fields, so the caller never knows the width.
struct TXoXMLTextParserSkipFunc {
  TXoXMLParser* Obj = nullptr;
  void (TXoXMLParser::*Func)(TXoTextParserSkipOp, const void*) = nullptr;
  void operator()(TXoTextParserSkipOp AOperator, const void* ACharPtr) const { (Obj->*Func)(AOperator, ACharPtr); }
  explicit operator bool() const { return Obj && Func; }
};

// A test of the current raw unit bound to one scanner and one source kind.
struct TXoXMLTextParserCheckFunc {
  TXoXMLParser* Obj = nullptr;
  bool (TXoXMLParser::*Func)(const void*, bool) = nullptr;
  bool operator()(const void* ACharPtr, bool ARaise) const { return (Obj->*Func)(ACharPtr, ARaise); }
  explicit operator bool() const { return Obj && Func; }
};

// The character scanner of the XML reader: a TXoTextParser that decides the
// encoding of its input in the constructor (byte-order mark, caller's code
// page, or the encoding named in the XML declaration; UTF-8 otherwise) and
// binds SkipWhile and CheckCurrChar to the source kind.
class TXoXMLParser : public TXoTextParser {
public:
  // ADetectCodePage: look for a byte-order mark first. ACodePage: the code
  // page to use when there is no mark (0: look at the declaration).
  TXoXMLParser(TStream* AStream, bool AFlag, bool ADetectCodePage, uint16_t ACodePage);

  void SetCharacterSetType(TXoCharacterSetType AType) override;

  void SrcASkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr);
  void SrcUSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr);
  void SrcWSkipWhile(TXoTextParserSkipOp AOperator, const void* ACharPtr);
  bool SrcACheckCurrChar(const void* ACharPtr, bool ARaise);
  bool SrcUCheckCurrChar(const void* ACharPtr, bool ARaise);
  bool SrcWCheckCurrChar(const void* ACharPtr, bool ARaise);

  // Raises EXoXMLParseError (code 3) unless the current character may start
  // a name. Does not move. At the end of the input raises EXoTextParserEOF.
  void CheckValidNameStartChar();
  // The start-character test itself (XML 1.0 NameStartChar without ':' and
  // without characters beyond the Basic Multilingual Plane).
  static bool IsNameStartChar(char16_t AChar);

  // Punctuation, each pointing to one character constant in the width of the
  // source (byte form for single-byte and UTF-8 sources, 16-bit for UTF-16).
  const void* FAmp = nullptr;
  const void* FApos = nullptr;
  const void* FEqual = nullptr;
  const void* FGt = nullptr;
  const void* FLt = nullptr;
  const void* FQuest = nullptr;
  const void* FQuote = nullptr;
  const void* FSlash = nullptr;
  const void* FSpace = nullptr;
  const void* FExcl = nullptr;
  const void* FLine = nullptr;
  const void* FColon = nullptr;
  const void* FSemiColon = nullptr;
  const void* FBracketOA = nullptr;
  const void* FBracketCA = nullptr;
  TXoXMLTextParserSkipFunc SkipWhile;
  TXoXMLTextParserCheckFunc CheckCurrChar;

private:
  void DecideFromDeclaration();
  [[noreturn]] void RaiseNotWellFormed(const void* AExpected);
};

// ===========================================================================
// Handler interfaces

// Interface identifiers, kept for reference; lookups are by dynamic_cast.
inline constexpr char16_t IID_IXoSAXLocator[] = u"{6207C53E-4713-4557-AA43-E07C68F32EC8}";
inline constexpr char16_t IID_IXoSAXAttributes[] = u"{E9326675-B42C-4D52-83FD-15E7B8C33E04}";
inline constexpr char16_t IID_IXoSAXLexicalHandler[] = u"{2CD97DBE-BD9F-4C6C-A01D-CA4C5FDD7B3C}";
inline constexpr char16_t IID_IXoSAXContentHandler[] = u"{153C84D4-9281-4489-B9C3-6BD021F422AB}";
inline constexpr char16_t IID_IXoSAXErrorHandler[] = u"{9E920221-37D4-469E-9405-55FD94CAD85C}";
inline constexpr char16_t IID_IXoSAXXMLReader[] = u"{E13EA94C-8AAE-450D-BCA6-03FD63522ED8}";

// Where the reader stands. Lines and columns count from 1; -1 when there is
// nothing to tell.
class IXoSAXLocator : public virtual IInterface {
public:
  virtual int64_t GetPosition() = 0;
  virtual int64_t GetLineNr() = 0;
  virtual int64_t GetColNr() = 0;
  virtual XoXMLString GetPublicID() = 0;
};

enum class TXoSAXAttributeType : uint8_t { CDATA, ID, IDREF, IDREFS, NMTOKEN, NMTOKENS, ENTITY, ENTITIES, NOTATION };

struct TXoSAXXMAttribute;
using PXoSAXXMAttribute = TXoSAXXMAttribute*;

// One attribute of a start tag, as written.
struct TXoSAXXMAttribute {
  PXoSAXXMAttribute Prev = nullptr;  // nil at the first
  int32_t Idx = 0;                   // position in the list from 0
  XoXMLString LocalName;             // name without prefix
  XoXMLString QName;                 // name as written
  XoXMLString URI;                   // namespace URI
  TXoSAXAttributeType AttrType = TXoSAXAttributeType::CDATA;
  XoXMLString Value;                 // raw text between the quotes
  PXoSAXXMAttribute Next = nullptr;  // nil at the last
};

// The attributes of one start tag, valid during the StartElement call that
// hands them over. Names compare without regard to ASCII case. Lookups by
// index or name that find nothing raise EXoXMLParseError (code 4); GetIndex
// answers -1 instead.
class IXoSAXAttributes : public virtual IInterface {
public:
  virtual int32_t Count() = 0;
  virtual PXoSAXXMAttribute FirstAttribute() = 0;
  virtual PXoSAXXMAttribute GetAttribute(int32_t AIndex) = 0;
  virtual const XoXMLString& GetLocalName(int32_t AIndex) = 0;
  virtual const XoXMLString& GetQName(int32_t AIndex) = 0;
  virtual const XoXMLString& GetURI(int32_t AIndex) = 0;
  virtual int32_t GetIndex(const XoXMLString& AQName) = 0;
  virtual int32_t GetIndex(const XoXMLString& AURI, const XoXMLString& ALocalName) = 0;
  virtual TXoSAXAttributeType GetType(int32_t AIndex) = 0;
  virtual TXoSAXAttributeType GetType(const XoXMLString& AQName) = 0;
  virtual TXoSAXAttributeType GetType(const XoXMLString& AURI, const XoXMLString& ALocalName) = 0;
  virtual const XoXMLString& GetValue(int32_t AIndex) = 0;
  virtual const XoXMLString& GetValue(const XoXMLString& AQName) = 0;
  // AURI "*" matches every URI.
  virtual const XoXMLString& GetValue(const XoXMLString& AURI, const XoXMLString& ALocalName) = 0;
};

// Comments, CDATA sections and the document type declaration.
class IXoSAXLexicalHandler : public virtual IInterface {
public:
  virtual void Comment(const XoXMLString& AText) = 0;
  virtual void StartCDATA() = 0;
  virtual void StartDTD() = 0;
  virtual void StartEntity(const XoXMLString& AName) = 0;
  virtual void EndCDATA() = 0;
  virtual void EndDTD() = 0;
  virtual void EndEntity(const XoXMLString& AName) = 0;
};

// The content of the document. The strings and the attributes passed to a
// call are valid during that call only.
class IXoSAXContentHandler : public virtual IInterface {
public:
  virtual void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>& ALocator) = 0;
  virtual void Characters(const XoXMLString& AText) = 0;
  virtual void EndDocument() = 0;
  virtual void EndElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                          const XoXMLString& AQName) = 0;
  virtual void EndPrefixMapping(const XoXMLString& APrefix) = 0;
  virtual void IgnorableWhitespace(const XoXMLString& AText) = 0;
  virtual void ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) = 0;
  virtual void SkippedEntity(const XoXMLString& AName) = 0;
  virtual void StartDocument() = 0;
  virtual void StartElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                            const XoXMLString& AQName, const TIntfPtr<IXoSAXAttributes>& Attributes) = 0;
  virtual void StartPrefixMapping(const XoXMLString& APrefix, const XoXMLString& AURI) = 0;
};

// Failures. The XML reader calls FatalError once, just before the exception
// leaves the parse call; it never calls Warning or Error.
class IXoSAXErrorHandler : public virtual IInterface {
public:
  virtual void Warning(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) = 0;
  virtual void Error(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) = 0;
  virtual void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) = 0;
};

// A reader: handlers are set, then one parse call runs; a reader may parse
// again afterwards. Features and properties exist only as slots.
class IXoSAXXMLReader : public virtual IInterface {
public:
  virtual TIntfPtr<IXoSAXLexicalHandler> GetLexicalHandler() = 0;
  virtual TIntfPtr<IXoSAXContentHandler> GetContentHandler() = 0;
  virtual TIntfPtr<IXoSAXErrorHandler> GetErrorHandler() = 0;
  virtual bool GetFeature(const XoXMLString& AName) = 0;
  virtual Variant GetProperty(const XoXMLString& AName) = 0;
  virtual void SetLexicalHandler(const TIntfPtr<IXoSAXLexicalHandler>& AHandler) = 0;
  virtual void SetContentHandler(const TIntfPtr<IXoSAXContentHandler>& AHandler) = 0;
  virtual void SetErrorHandler(const TIntfPtr<IXoSAXErrorHandler>& AHandler) = 0;
  virtual void SetFeature(const XoXMLString& AName, bool AValue) = 0;
  virtual void SetProperty(const XoXMLString& AName, const Variant& AValue) = 0;
  // The stream is read from its position; ACodePage 0 lets the scanner find
  // the encoding from the declaration.
  virtual void ParseStream(TStream* AStream, uint16_t ACodePage, const XoXMLString& APublicID) = 0;
  // A byte-order mark decides the encoding, else the declaration.
  virtual void ParseFile(const XoXMLString& AFileName, uint16_t AMode, const XoXMLString& APublicID) = 0;
  virtual void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage, const XoXMLString& APublicID) = 0;
  // UTF-16 text (code page 1200); a declaration in it is not looked at.
  virtual void Parse(const XoXMLString& AText, const XoXMLString& APublicID) = 0;
  // Bytes in ACodePage.
  virtual void Parse(const RawByteString& AAnsiText, uint16_t ACodePage, const XoXMLString& APublicID) = 0;
};

// ===========================================================================
// Attribute list and namespace list

// The attributes of one start tag, in document order. Records are kept for
// reuse after Clear, so a reader that fills one list per tag allocates
// nothing once the list has grown to the largest tag.
class TXoSAXXMAttributes : public TXoObject, public virtual IXoSAXAttributes {
public:
  TXoSAXXMAttributes();
  ~TXoSAXXMAttributes() override;

  // Appends an attribute; its Idx is the old count.
  PXoSAXXMAttribute Add(const XoXMLString& ALocalName, const XoXMLString& AQName, const XoXMLString& AURI,
                        const XoXMLString& AValue, TXoSAXAttributeType AType = TXoSAXAttributeType::CDATA);
  // Appends an attribute whose fields the caller fills in place (the strings
  // may hold text of an earlier use).
  PXoSAXXMAttribute AddRecord(TXoSAXAttributeType AType = TXoSAXAttributeType::CDATA) {
    if (static_cast<size_t>(FCount) == FRecords.size()) FRecords.push_back(std::make_unique<TXoSAXXMAttribute>());
    PXoSAXXMAttribute r = FRecords[static_cast<size_t>(FCount)].get();
    r->Idx = FCount;
    r->AttrType = AType;
    r->Prev = FLast;
    r->Next = nullptr;
    if (FLast)
      FLast->Next = r;
    else
      FFirst = r;
    FLast = r;
    ++FCount;
    return r;
  }
  void Clear();

  int32_t Count() override { return FCount; }
  PXoSAXXMAttribute FirstAttribute() override { return FFirst; }
  PXoSAXXMAttribute GetAttribute(int32_t AIndex) override;
  const XoXMLString& GetLocalName(int32_t AIndex) override;
  const XoXMLString& GetQName(int32_t AIndex) override;
  const XoXMLString& GetURI(int32_t AIndex) override;
  int32_t GetIndex(const XoXMLString& AQName) override;
  int32_t GetIndex(const XoXMLString& AURI, const XoXMLString& ALocalName) override;
  TXoSAXAttributeType GetType(int32_t AIndex) override;
  TXoSAXAttributeType GetType(const XoXMLString& AQName) override;
  TXoSAXAttributeType GetType(const XoXMLString& AURI, const XoXMLString& ALocalName) override;
  const XoXMLString& GetValue(int32_t AIndex) override;
  const XoXMLString& GetValue(const XoXMLString& AQName) override;
  const XoXMLString& GetValue(const XoXMLString& AURI, const XoXMLString& ALocalName) override;

private:
  PXoSAXXMAttribute FindQName(const XoXMLString& AQName);
  PXoSAXXMAttribute FindURI(const XoXMLString& AURI, const XoXMLString& ALocalName, bool AWildcard);
  PXoSAXXMAttribute CheckedIndex(int32_t AIndex);

  PXoSAXXMAttribute FFirst = nullptr;
  PXoSAXXMAttribute FLast = nullptr;
  int32_t FCount = 0;
  PXoSAXXMAttribute FCurrent = nullptr;  // cursor of the last lookup
  std::vector<std::unique_ptr<TXoSAXXMAttribute>> FRecords;  // FCount in use, the rest spare
};

struct TXoSAXNamespace;
using PXoSAXNamespace = TXoSAXNamespace*;

// One namespace declaration in force.
struct TXoSAXNamespace {
  int32_t Level = 0;   // element depth of the declaring element, the root being 1
  XoXMLString Prefix;  // empty for a default namespace
  XoXMLString URI;
};

class TXoSAXXMLReader;

// The namespace declarations in force, in order of declaration. Adding and
// removing declarations tells the owner's content handler
// (StartPrefixMapping, EndPrefixMapping).
class TXoSAXNamespaceList : public TObject {
public:
  explicit TXoSAXNamespaceList(TXoSAXXMLReader* AOwner);
  ~TXoSAXNamespaceList() override;

  // Appends a declaration, then calls StartPrefixMapping.
  void AddURI(int32_t ALevel, const XoXMLString& APrefix, const XoXMLString& AURI);
  // The URI of the newest declaration of APrefix (any ASCII case); empty when
  // there is none. The reference is valid until the list changes.
  const XoXMLString& GetURI(std::u16string_view APrefix) const;
  PXoSAXNamespace GetNamespace(std::u16string_view APrefix) const;
  // Removes, newest first, every declaration of ALevel or deeper, calling
  // EndPrefixMapping for each.
  void RemoveLevel(int32_t ALevel) {
    if (FMaxLevel >= ALevel && !FList.empty()) RemoveLevelFrom(ALevel);
  }
  // Removes all declarations without events.
  void Clear();
  int32_t Count() const { return static_cast<int32_t>(FList.size()); }
  PXoSAXNamespace Items(int32_t AIndex) const { return FList.at(static_cast<size_t>(AIndex)).get(); }
  // Changes whenever a declaration is added or removed, so that a reader may
  // keep answers of GetURI while it stays the same.
  uint64_t Version() const { return FVersion; }

private:
  void RemoveLevelFrom(int32_t ALevel);
  void IndexAppended();
  void UnindexLast();
  void RebuildIndex();
  // The slot of the entry for APrefix (hash AHash) in FSlots, or -1.
  int64_t FindSlot(std::u16string_view APrefix, uint32_t AHash) const;
  void InsertSlot(uint32_t AHash, int32_t AIndex);
  void EraseSlot(size_t ASlot);

  TXoSAXXMLReader* FOwner;
  uint64_t FVersion = 1;
  // No declaration in the list has a deeper level (it may be too high for a
  // while, never too low), so that most end tags need not look at the list.
  int32_t FMaxLevel = INT32_MIN;
  // Levels never decrease along the list. A reader keeps it so by nesting;
  // only records left over by a failed parse, followed by a new parse, break
  // it, and then removal falls back to scanning the whole list.
  bool FSorted = true;
  std::vector<std::unique_ptr<TXoSAXNamespace>> FList;
  // The newest record of each prefix, in an open-addressing table of
  // (hash, record index) slots, and for each record the index of the previous
  // record with an equal prefix (-1 for none) and the hash of its prefix:
  // lookups cost one probe sequence however many declarations are in force.
  struct TSlot {
    uint32_t Hash;
    int32_t Index;  // -1: empty
  };
  std::vector<TSlot> FSlots;
  size_t FSlotsUsed = 0;
  std::vector<int32_t> FPrevSame;
  std::vector<uint32_t> FHashes;
  std::vector<std::unique_ptr<TXoSAXNamespace>> FSpare;  // records kept for reuse
};

// ===========================================================================
// Readers

// The exception AError as one of the library's: xo exceptions stay as they
// are; std::bad_alloc becomes EXoException "Out of memory", any other
// std::exception an EXoException with its what(), anything else "Unknown
// error". Readers pass on only what this answers.
std::exception_ptr XoLibraryException(const std::exception_ptr& AError);

// Base of the readers: handlers, the parse entry points and the locator.
// Created with auto-destroy off: the creator frees it; interface references
// to it (as locator or reader) do not.
class TXoSAXReader : public TXoObject, public virtual IXoSAXLocator, public virtual IXoSAXXMLReader {
public:
  TXoSAXReader();
  ~TXoSAXReader() override;

  // IXoSAXLocator
  int64_t GetPosition() override;
  int64_t GetLineNr() override;
  int64_t GetColNr() override;
  XoXMLString GetPublicID() override { return FPublicID; }

  // IXoSAXXMLReader
  TIntfPtr<IXoSAXLexicalHandler> GetLexicalHandler() override { return FLexicalHandler; }
  TIntfPtr<IXoSAXContentHandler> GetContentHandler() override { return FContentHandler; }
  TIntfPtr<IXoSAXErrorHandler> GetErrorHandler() override { return FErrorHandler; }
  bool GetFeature(const XoXMLString& AName) override;
  Variant GetProperty(const XoXMLString& AName) override;
  void SetLexicalHandler(const TIntfPtr<IXoSAXLexicalHandler>& AHandler) override { FLexicalHandler = AHandler; }
  void SetContentHandler(const TIntfPtr<IXoSAXContentHandler>& AHandler) override { FContentHandler = AHandler; }
  void SetErrorHandler(const TIntfPtr<IXoSAXErrorHandler>& AHandler) override { FErrorHandler = AHandler; }
  void SetFeature(const XoXMLString& AName, bool AValue) override;
  void SetProperty(const XoXMLString& AName, const Variant& AValue) override;

  void ParseStream(TStream* AStream, uint16_t ACodePage = 0, const XoXMLString& APublicID = {}) override;
  void ParseFile(const XoXMLString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite,
                 const XoXMLString& APublicID = {}) override;
  // The file name as bytes for the system, such as a program's argument
  // (names need not be UTF-8); otherwise as the form above.
  void ParseFile(const std::string& AFileName, const XoXMLString& APublicID = {});
  void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage = 0,
                   const XoXMLString& APublicID = {}) override;
  void Parse(const XoXMLString& AText, const XoXMLString& APublicID = {}) override;
  void Parse(const RawByteString& AAnsiText, uint16_t ACodePage, const XoXMLString& APublicID = {}) override;

  // The scanner of the running parse (nil outside a parse).
  TXoTextParser* Parser() const { return FParser; }

protected:
  virtual TXoTextParser* CreateParser(TStream* AStream, bool AFlag, bool ADetectCodePage, uint16_t ACodePage) = 0;
  virtual void InternalParse() = 0;
  // Step 1 of a parse: both handlers must be there (the XML reader's codes
  // 10 and 11; the JSON reader raises its own).
  virtual void CheckHandlers() const;

  // Runs one parse over AStream: creates the scanner, calls InternalParse,
  // frees the scanner (and the stream when AOwnsStream), also on failure.
  // A file parse: opens with AOpen (a failure to open is reported like any
  // failure of the parse), then parses with mark detection.
  void ParseOpened(const std::function<TStream*()>& AOpen, const XoXMLString& APublicID);
  void DoParse(TStream* AStream, bool AOwnsStream, bool ADetectCodePage, uint16_t ACodePage,
               const XoXMLString& APublicID);
  // What every reader does with an exception that ends its parse: note
  // whether it was an unexpected end of input (with ASavePosition the
  // locator then answers the start of the construct left open, otherwise
  // the saved -1), tell the error handler, raise again.
  [[noreturn]] void HandleParseFailure(const std::exception_ptr& AFailure, bool ASavePosition = true);

  XoXMLString FPublicID;
  int64_t FLineNr = -1;
  int64_t FColNr = -1;
  bool FUnexpectedEOF = false;
  TXoTextParser* FParser = nullptr;
  TXoSAXXMAttributes* FEmptyAttributes = nullptr;
  TIntfPtr<IXoSAXLexicalHandler> FLexicalHandler;
  TIntfPtr<IXoSAXContentHandler> FContentHandler;
  TIntfPtr<IXoSAXErrorHandler> FErrorHandler;
  // Start of the construct being parsed, in the scanner's buffer. Lines and
  // columns (FLineNr, FColNr) are worked out from it only when needed.
  const uint8_t* FConstructStart = nullptr;
};

// The XML reader. Namespaces are always on; entity and character references
// reach the handler as written; a DTD is skipped.
class TXoSAXXMLReader : public TXoSAXReader {
public:
  TXoSAXXMLReader();
  ~TXoSAXXMLReader() override;

  // Whether a second root element (code 9) or text after the root (code 12)
  // is an error. True after construction; the DOM loader switches it off.
  bool GetCheckSingleRootElm() const { return FCheckSingleRootElm; }
  void SetCheckSingleRootElm(bool AValue) { FCheckSingleRootElm = AValue; }
  TXoSAXNamespaceList* NamespaceList() const { return FNamespaceList; }

protected:
  TXoTextParser* CreateParser(TStream* AStream, bool AFlag, bool ADetectCodePage, uint16_t ACodePage) override;
  void InternalParse() override;

private:
  template <int> friend class TXoSAXXMLScan;
  friend class TXoSAXNamespaceList;

  bool FCheckSingleRootElm = true;
  TXoSAXNamespaceList* FNamespaceList = nullptr;
  TXoXMLParser* FXMLParser = nullptr;       // the same object as FParser, typed
  TXoSAXXMAttributes* FAttributes = nullptr;  // one list, refilled for every start tag
  TIntfPtr<IXoSAXAttributes> FAttributesIntf;
  TIntfPtr<IXoSAXAttributes> FEmptyAttributesIntf;
};

// ===========================================================================
// JSON as XML events

// The scanner of TXoSAXJSONReader: the JSON scanner, unchanged.
class TXoJSONTextParserEx : public TXoJSONTextParser {
public:
  using TXoJSONTextParser::TXoJSONTextParser;
};

// Reads JSON text and delivers it as the events of an XML document: the
// outermost object or array becomes the root element "object" or "array"
// (declaring the prefixes xsi and xsd), a member becomes an element named
// after it ("Array" appended when its value is an array), the items of an
// array repeat the array's name, and a simple value becomes character data
// (the token as written) with a type attribute: xsi:nil="true", or xsd:type
// "string", "decimal" or "boolean". Member names are made fit for XML: a
// character that cannot stand in a name becomes "_", and a name that cannot
// start one gets "_" in front.
//
// The walk is that of TXoJSONReader, with its tolerances and its failures
// (EXoJSONParseError code 2, EXoTextParserEOF for text that ends inside an
// object, an array or a string); unlike it, a document must hold an object
// or an array: whatever stands in front of the first "{" or "[" is passed
// over. Missing handlers raise EXoJSONException codes 3 and 4. Nesting costs
// heap memory, not machine stack. Only StartDocument, StartElement,
// Characters, EndElement, EndDocument and FatalError are called; the
// attribute lists are valid during StartElement only.
class TXoSAXJSONReader : public TXoSAXReader {
public:
  TXoSAXJSONReader();
  ~TXoSAXJSONReader() override;

protected:
  // A TXoJSONTextParserEx on the stream; ADetectCodePage has no effect, the
  // scanner finds the encoding itself.
  TXoTextParser* CreateParser(TStream* AStream, bool AFlag, bool ADetectCodePage, uint16_t ACodePage) override;
  void InternalParse() override;
  void CheckHandlers() const override;

private:
  template <int> friend class TXoSAXJSONScan;
  TXoJSONTextParserEx* FJSONParser = nullptr;  // the same object as FParser, typed
  // The root's two declarations and one list per type attribute (null,
  // string, number, boolean), made once and handed out for every element.
  TXoSAXXMAttributes* FRootAttributes = nullptr;
  TXoSAXXMAttributes* FTypeAttributes[4] = {nullptr, nullptr, nullptr, nullptr};
  TIntfPtr<IXoSAXAttributes> FRootAttributesIntf;
  TIntfPtr<IXoSAXAttributes> FTypeAttributesIntf[4];
  TIntfPtr<IXoSAXAttributes> FEmptyAttributesIntf;
};

// The first character above the blank from the stream's position on, 0 when
// the stream ends first; characters are 2 bytes for code page 1200, else 1.
// The stream is left standing on that character. A byte-order mark in front
// (UTF-8, or UTF-16LE) is looked past: the stream then goes back to the mark,
// so that the reader meets it, and a code page of 0 becomes the mark's
// (ACodePage is the code page to read the text in, on return). A stream that
// cannot step back (a pipe) is not asked to: ARest then receives a stream
// that delivers the bytes read beyond the blanks (behind the mark) and then
// the rest of AStream, to be read instead of it, so that nothing is lost. At
// most XoGetMaxInputSize() bytes of blanks are looked at; a longer run counts
// as no character.
char16_t XoFirstSignificantChar(TStream* AStream, uint16_t& ACodePage, std::unique_ptr<TStream>& ARest);

// ===========================================================================
// The SAX parser component

using TXoSAXOnError = std::function<void(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg)>;
using TXoSAXOnComment = std::function<void(TObject* Sender, const XoXMLString& AComment)>;
using TXoSAXOnStartDTD = std::function<void(TObject* Sender)>;
using TXoSAXOnEndDTD = std::function<void(TObject* Sender)>;
using TXoSAXOnStartCDATA = std::function<void(TObject* Sender)>;
using TXoSAXOnEndCDATA = std::function<void(TObject* Sender)>;
using TXoSAXOnStartDocument = std::function<void(TObject* Sender)>;
using TXoSAXOnEndDocument = std::function<void(TObject* Sender)>;
using TXoSAXOnEndProlog = std::function<void(TObject* Sender)>;
using TXoSAXOnProcessingInstruction =
    std::function<void(TObject* Sender, const XoXMLString& ATarget, const XoXMLString& AData)>;
using TXoSAXOnStartPrefixMapping =
    std::function<void(TObject* Sender, const XoXMLString& APrefix, const XoXMLString& AURI)>;
using TXoSAXOnEndPrefixMapping = std::function<void(TObject* Sender, const XoXMLString& APrefix)>;
using TXoSAXOnStartElement =
    std::function<void(TObject* Sender, const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                       const XoXMLString& AQName, const TIntfPtr<IXoSAXAttributes>& Attributes)>;
using TXoSAXOnCharacters = std::function<void(TObject* Sender, const XoXMLString& AText)>;
using TXoSAXOnIgnorableWhitespace = std::function<void(TObject* Sender, const XoXMLString& AWhiteSpace)>;
using TXoSAXOnEndElement = std::function<void(TObject* Sender, const XoXMLString& ANamespaceURI,
                                              const XoXMLString& ALocalName, const XoXMLString& AQName)>;
using TNotifyEvent = std::function<void(TObject* Sender)>;

// A component that takes the events of either notation: assign the event
// members (or override the handler operations in a subclass), then call a
// parse operation. The first significant character of the text chooses the
// reader: "<" the XML reader, anything else the JSON reader (JSON as XML
// events). The component is its own content, lexical and error handler;
// interface references to it do not own it.
//
// OnStart and OnFinished fire around every ParseStream; the other parse
// operations fire a pair of their own around it as well. A failed parse
// fires OnFatalError and raises; OnFinished then does not fire.
class TXoSAXParser : public TComponent,
                     public virtual IXoSAXContentHandler,
                     public virtual IXoSAXLexicalHandler,
                     public virtual IXoSAXErrorHandler {
public:
  explicit TXoSAXParser(TComponent* AOwner = nullptr);
  ~TXoSAXParser() override;

  // Not counted: the component lives as long as its owner or creator says.
  int32_t _AddRef() override { return -1; }
  int32_t _Release() override { return -1; }

  // Error handler
  virtual void Warning(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override;
  virtual void Error(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override;
  virtual void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override;
  // Content handler
  virtual void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>& ALocator) override;
  virtual void Characters(const XoXMLString& AText) override;
  virtual void EndDocument() override;
  virtual void EndElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                          const XoXMLString& AQName) override;
  virtual void EndPrefixMapping(const XoXMLString& APrefix) override;
  virtual void IgnorableWhitespace(const XoXMLString& AText) override;
  virtual void ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) override;
  virtual void SkippedEntity(const XoXMLString& AName) override;
  virtual void StartDocument() override;
  virtual void StartElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                            const XoXMLString& AQName, const TIntfPtr<IXoSAXAttributes>& Attributes) override;
  virtual void StartPrefixMapping(const XoXMLString& APrefix, const XoXMLString& AURI) override;
  // Lexical handler
  void Comment(const XoXMLString& AText) override;
  void StartCDATA() override;
  void StartDTD() override;
  void StartEntity(const XoXMLString& AName) override;
  void EndCDATA() override;
  void EndDTD() override;
  void EndEntity(const XoXMLString& AName) override;

  // The stream from its position; ACodePage as for the readers (0: the
  // reader finds out).
  void ParseStream(TStream* AStream, uint16_t ACodePage = 0, const XoXMLString& APublicID = {});
  // A byte-order mark gives the code page (and is stepped over), else 0.
  void ParseFile(const XoXMLString& AFileName, uint16_t AMode = fmOpenRead | fmShareDenyWrite,
                 const XoXMLString& APublicID = {});
  void ParseBuffer(const void* ABuffer, int64_t ASize, uint16_t ACodePage = 0, const XoXMLString& APublicID = {});
  // UTF-16 text, code page 1200.
  void Parse(const XoXMLString& AText, const XoXMLString& APublicID = {});
  // Bytes in ACodePage.
  void Parse(const RawByteString& AAnsiText, uint16_t ACodePage, const XoXMLString& APublicID = {});

  // The locator handed over by SetDocumentLocator (the readers hand theirs
  // over only with an error event).
  const TIntfPtr<IXoSAXLocator>& Locator() const { return FLocator; }
  // The reader of the running parse; nil otherwise.
  TXoSAXReader* Reader() const { return FReader; }

  TXoSAXOnStartDocument OnStartDocument;
  TXoSAXOnEndDocument OnEndDocument;
  TXoSAXOnEndDocument OnEndProlog;  // never called
  TXoSAXOnProcessingInstruction OnProcessingInstruction;
  TXoSAXOnStartPrefixMapping OnStartPrefixMapping;
  TXoSAXOnEndPrefixMapping OnEndPrefixMapping;
  TXoSAXOnStartElement OnStartElement;
  TXoSAXOnCharacters OnCharacters;
  TXoSAXOnIgnorableWhitespace OnIgnorableWhitespace;
  TXoSAXOnEndElement OnEndElement;
  TXoSAXOnComment OnComment;
  TXoSAXOnStartDTD OnStartDTD;
  TXoSAXOnEndDTD OnEndDTD;
  TXoSAXOnStartCDATA OnStartCDATA;
  TXoSAXOnEndCDATA OnEndCDATA;
  TXoSAXOnError OnWarning;
  TXoSAXOnError OnError;
  TXoSAXOnError OnFatalError;
  TNotifyEvent OnStart;
  TNotifyEvent OnFinished;

private:
  // ParseStream with a stream this component made (the pair of OnStart and
  // OnFinished around it is the caller's).
  void ParseOwned(TStream* AStream, uint16_t ACodePage, const XoXMLString& APublicID);

  TIntfPtr<IXoSAXLocator> FLocator;
  TXoSAXReader* FReader = nullptr;
};

// ===========================================================================
// Event dump

// A handler that writes every call it receives as one line of UTF-8 text:
// the event name, then each argument preceded by a tab. In arguments a
// backslash, tab, carriage return and line feed are written \\, \t, \r, \n.
// StartElement prints uri, local name and qualified name, then for each
// attribute "@qname", uri and value. An error prints its line, column and
// message. This is what `xo events` shows.
class TXoSAXEventWriter : public TXoObject,
                          public virtual IXoSAXContentHandler,
                          public virtual IXoSAXLexicalHandler,
                          public virtual IXoSAXErrorHandler {
public:
  // AOut is not owned. Output is buffered; Flush writes it out (also done by
  // FatalError and EndDocument and by the destructor).
  explicit TXoSAXEventWriter(TStream* AOut);
  ~TXoSAXEventWriter() override;
  void Flush();
  bool GetFatalErrorSeen() const { return FFatalErrorSeen; }
  // Writes a FatalError line for a failure that reached no handler.
  void WriteFatalError(int64_t ALine, int64_t ACol, const XoXMLString& AMessage);

  void SetDocumentLocator(const TIntfPtr<IXoSAXLocator>& ALocator) override;
  void Characters(const XoXMLString& AText) override;
  void EndDocument() override;
  void EndElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName,
                  const XoXMLString& AQName) override;
  void EndPrefixMapping(const XoXMLString& APrefix) override;
  void IgnorableWhitespace(const XoXMLString& AText) override;
  void ProcessingInstruction(const XoXMLString& ATarget, const XoXMLString& AData) override;
  void SkippedEntity(const XoXMLString& AName) override;
  void StartDocument() override;
  void StartElement(const XoXMLString& ANamespaceURI, const XoXMLString& ALocalName, const XoXMLString& AQName,
                    const TIntfPtr<IXoSAXAttributes>& Attributes) override;
  void StartPrefixMapping(const XoXMLString& APrefix, const XoXMLString& AURI) override;

  void Comment(const XoXMLString& AText) override;
  void StartCDATA() override;
  void StartDTD() override;
  void StartEntity(const XoXMLString& AName) override;
  void EndCDATA() override;
  void EndDTD() override;
  void EndEntity(const XoXMLString& AName) override;

  void Warning(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override;
  void Error(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override;
  void FatalError(const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg) override;

private:
  void Name(const char* AEvent);
  void Arg(std::u16string_view AText);      // a tab and the escaped text
  void ArgText(std::u16string_view AText);  // the escaped text alone
  void EndLine();
  void ErrorLine(const char* AEvent, const TIntfPtr<IXoSAXLocator>& ALocator, const XoXMLString& ErrMsg);

  TStream* FOut;
  std::string FBuf;
  bool FFatalErrorSeen = false;
};

}  // namespace xo
