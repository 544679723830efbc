// uXoClasses: the object model (reference-counted objects and interfaces,
// components), byte streams, code pages and the text scanner every reader of
// xo is built on.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iosfwd>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "uXoSysUtils.h"

namespace xo {

// ===========================================================================
// Objects and interfaces

// Root class. Free() runs BeforeDestruction() and then deletes, so checks that
// may raise on destruction live in BeforeDestruction(), never in a destructor.
class TObject {
public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject() = default;

  // Deletes the object; a null pointer is fine (call as TObject::FreeAndNil or
  // obj->Free() on a non-null object).
  void Free();
  virtual void BeforeDestruction() {}
  virtual void AfterConstruction() {}
  // The class name without namespace ("TXoObject"). Registered classes give
  // their registered short name.
  virtual std::u16string ClassName() const;
  bool InheritsFrom(const std::type_info& AType) const;
};

template <class T>
inline void FreeAndNil(T*& AObject) {
  T* o = AObject;
  AObject = nullptr;
  if (o) o->Free();
}

// Base of every reference-counted interface. Interfaces derive from it
// virtually, so one object implementing several interfaces has one count.
class IInterface {
public:
  virtual int32_t _AddRef() = 0;
  virtual int32_t _Release() = 0;
  // The interface I of the same object, or nullptr. The platform's lookup by
  // identifier becomes a dynamic_cast.
  template <class I>
  I* QueryInterface() {
    return dynamic_cast<I*>(this);
  }

protected:
  virtual ~IInterface() = default;
};

// Counted reference to an interface (or to any class with _AddRef/_Release):
// copying adds a reference, destruction releases one.
template <class I>
class TIntfPtr {
public:
  TIntfPtr() noexcept = default;
  TIntfPtr(std::nullptr_t) noexcept {}
  TIntfPtr(I* p) : FPtr(p) {
    if (FPtr) FPtr->_AddRef();
  }
  TIntfPtr(const TIntfPtr& o) : FPtr(o.FPtr) {
    if (FPtr) FPtr->_AddRef();
  }
  TIntfPtr(TIntfPtr&& o) noexcept : FPtr(o.FPtr) { o.FPtr = nullptr; }
  template <class J, std::enable_if_t<std::is_convertible_v<J*, I*>, int> = 0>
  TIntfPtr(const TIntfPtr<J>& o) : FPtr(o.get()) {
    if (FPtr) FPtr->_AddRef();
  }
  ~TIntfPtr() { reset(); }

  TIntfPtr& operator=(const TIntfPtr& o) {
    TIntfPtr(o).swap(*this);
    return *this;
  }
  TIntfPtr& operator=(TIntfPtr&& o) noexcept {
    TIntfPtr(std::move(o)).swap(*this);
    return *this;
  }
  TIntfPtr& operator=(I* p) {
    TIntfPtr(p).swap(*this);
    return *this;
  }
  TIntfPtr& operator=(std::nullptr_t) {
    reset();
    return *this;
  }

  void reset() {
    I* p = FPtr;
    FPtr = nullptr;
    if (p) p->_Release();
  }
  void swap(TIntfPtr& o) noexcept { std::swap(FPtr, o.FPtr); }
  I* get() const noexcept { return FPtr; }
  I* operator->() const noexcept { return FPtr; }
  I& operator*() const noexcept { return *FPtr; }
  explicit operator bool() const noexcept { return FPtr != nullptr; }
  bool operator==(const TIntfPtr& o) const noexcept { return FPtr == o.FPtr; }
  bool operator==(std::nullptr_t) const noexcept { return FPtr == nullptr; }

  // The interface J of the same object (counted), or an empty pointer.
  template <class J>
  TIntfPtr<J> As() const {
    return TIntfPtr<J>(FPtr ? dynamic_cast<J*>(FPtr) : nullptr);
  }

private:
  I* FPtr = nullptr;
};

template <class J, class I>
inline TIntfPtr<J> Supports(const TIntfPtr<I>& AIntf) {
  return AIntf.template As<J>();
}

class TXoObject;

// The interface every xo object answers; Implementor gives the object behind.
class IXoObject : public virtual IInterface {
public:
  virtual TXoObject* Implementor() = 0;
};

// Reference-counted root. A new object has a count of 0; the first counted
// reference takes it to 1 and the last release frees it, unless auto-destroy
// was switched off, in which case a count of 0 frees nothing and the owner
// calls Free().
class TXoObject : public TObject, public virtual IXoObject {
public:
  TXoObject() = default;
  int32_t _AddRef() override;
  int32_t _Release() override;
  TXoObject* Implementor() override { return this; }
  int32_t GetRefCount() const { return FRefCount.load(std::memory_order_relaxed); }
  void SetAutoDestroy(bool AValue) { FAutoDestroy = AValue; }
  bool GetAutoDestroy() const { return FAutoDestroy; }

private:
  std::atomic<int32_t> FRefCount{0};
  bool FAutoDestroy = true;
};

// TXoObject with assignment: Assign copies from another object by asking it to
// AssignTo this one; a pair that cannot assign raises EConvertError.
class TXoObjectEx : public TXoObject {
public:
  virtual void Assign(TXoObjectEx* ASource);

protected:
  virtual void AssignTo(TXoObjectEx* ADest);
};

// The platform's persistent base: Assign / AssignTo with the same contract.
class TPersistent : public TObject {
public:
  virtual void Assign(TPersistent* ASource);

protected:
  virtual void AssignTo(TPersistent* ADest);
};

// Owned component: an owner frees its components when it is destroyed, and a
// component leaves its owner's list when it is destroyed first.
class TComponent : public TPersistent {
public:
  explicit TComponent(TComponent* AOwner = nullptr);
  ~TComponent() override;

  TComponent* GetOwner() const { return FOwner; }
  const std::u16string& GetName() const { return FName; }
  void SetName(const std::u16string& AName) { FName = AName; }
  int32_t ComponentCount() const { return static_cast<int32_t>(FComponents.size()); }
  TComponent* Components(int32_t AIndex) const;
  TComponent* FindComponent(std::u16string_view AName) const;
  void InsertComponent(TComponent* AComponent);
  void RemoveComponent(TComponent* AComponent);

private:
  TComponent* FOwner = nullptr;
  std::u16string FName;
  std::vector<TComponent*> FComponents;
};

// A component that is also a reference-counted xo object. As on the
// platform, a component with an owner is not freed by its count: the owner
// frees it.
class TXoComponent : public TComponent, public virtual IXoObject {
public:
  explicit TXoComponent(TComponent* AOwner = nullptr) : TComponent(AOwner) {}
  int32_t _AddRef() override;
  int32_t _Release() override;
  TXoObject* Implementor() override { return nullptr; }
  int32_t GetRefCount() const { return FRefCount.load(std::memory_order_relaxed); }

private:
  std::atomic<int32_t> FRefCount{0};
};

// ===========================================================================
// Containers

// An ordered list of untyped pointers (indices from 0). An index outside the
// list raises EListError "List index out of bounds (%d)".
class TList : public TObject {
public:
  int32_t Count() const { return static_cast<int32_t>(FItems.size()); }
  void* Get(int32_t AIndex) const;
  void Put(int32_t AIndex, void* AItem);
  void* operator[](int32_t AIndex) const { return Get(AIndex); }
  int32_t Add(void* AItem);
  void Insert(int32_t AIndex, void* AItem);
  void Delete(int32_t AIndex);
  // Removes the first occurrence; returns its index or -1.
  int32_t Remove(void* AItem);
  int32_t IndexOf(void* AItem) const;
  void* First() const { return Get(0); }
  void* Last() const { return Get(Count() - 1); }
  void Exchange(int32_t AIndex1, int32_t AIndex2);
  void Move(int32_t ACurIndex, int32_t ANewIndex);
  virtual void Clear() { FItems.clear(); }
  auto begin() const { return FItems.begin(); }
  auto end() const { return FItems.end(); }

protected:
  void CheckIndex(int32_t AIndex, int32_t ACount) const;
  std::vector<void*> FItems;
};

// A list of objects that frees them on Delete, Remove, Clear and destruction
// while OwnsObjects is true (the default).
class TObjectList : public TObject {
public:
  explicit TObjectList(bool AOwnsObjects = true) : FOwnsObjects(AOwnsObjects) {}
  ~TObjectList() override { Clear(); }
  bool OwnsObjects() const { return FOwnsObjects; }
  void SetOwnsObjects(bool AValue) { FOwnsObjects = AValue; }
  int32_t Count() const { return FList.Count(); }
  TObject* GetItem(int32_t AIndex) const { return static_cast<TObject*>(FList.Get(AIndex)); }
  void SetItem(int32_t AIndex, TObject* AObject);
  TObject* operator[](int32_t AIndex) const { return GetItem(AIndex); }
  int32_t Add(TObject* AObject) { return FList.Add(AObject); }
  void Insert(int32_t AIndex, TObject* AObject) { FList.Insert(AIndex, AObject); }
  void Delete(int32_t AIndex);
  int32_t Remove(TObject* AObject);
  // Takes the object out without freeing it.
  TObject* Extract(TObject* AObject);
  int32_t IndexOf(TObject* AObject) const { return FList.IndexOf(AObject); }
  TObject* First() const { return GetItem(0); }
  TObject* Last() const { return GetItem(Count() - 1); }
  void Clear();

private:
  TList FList;
  bool FOwnsObjects;
};

// A list of strings, each with an optional object (never owned). Sorted
// lists keep their order on Add and find by binary search; Duplicates
// decides what a sorted Add does with a string already present.
enum TDuplicates : uint8_t { dupIgnore, dupAccept, dupError };

class TStringList : public TObject {
public:
  int32_t Count() const { return static_cast<int32_t>(FItems.size()); }
  const std::u16string& Get(int32_t AIndex) const;
  void Put(int32_t AIndex, const std::u16string& AValue);
  const std::u16string& operator[](int32_t AIndex) const { return Get(AIndex); }
  TObject* GetObject(int32_t AIndex) const;
  void PutObject(int32_t AIndex, TObject* AObject);
  int32_t Add(const std::u16string& AValue) { return AddObject(AValue, nullptr); }
  int32_t AddObject(const std::u16string& AValue, TObject* AObject);
  void Insert(int32_t AIndex, const std::u16string& AValue);
  void Delete(int32_t AIndex);
  void Clear() { FItems.clear(); }
  int32_t IndexOf(std::u16string_view AValue) const;
  int32_t IndexOfName(std::u16string_view AName) const;
  int32_t IndexOfObject(TObject* AObject) const;
  // "name=value" lines: the part before the first "=" and the part behind.
  std::u16string Names(int32_t AIndex) const;
  std::u16string ValueFromIndex(int32_t AIndex) const;
  std::u16string GetValue(std::u16string_view AName) const;
  void SetValue(std::u16string_view AName, const std::u16string& AValue);
  // The strings joined with CR LF behind each; setting splits at CR LF, LF
  // or CR.
  std::u16string GetText() const;
  void SetText(std::u16string_view AText);
  // The strings separated by commas, quoted where they hold a blank, comma
  // or quote.
  std::u16string GetCommaText() const;
  bool GetSorted() const { return FSorted; }
  void SetSorted(bool AValue);
  void Sort();
  bool GetCaseSensitive() const { return FCaseSensitive; }
  void SetCaseSensitive(bool AValue) { FCaseSensitive = AValue; }
  TDuplicates GetDuplicates() const { return FDuplicates; }
  void SetDuplicates(TDuplicates AValue) { FDuplicates = AValue; }
  // Binary search of a sorted list: true and the index when found, else
  // false and the index where the string belongs.
  bool Find(std::u16string_view AValue, int32_t& AIndex) const;
  auto begin() const { return FItems.begin(); }
  auto end() const { return FItems.end(); }

private:
  struct TItem {
    std::u16string S;
    TObject* O = nullptr;
  };
  int CompareStrings(std::u16string_view A, std::u16string_view B) const;
  void CheckIndex(int32_t AIndex) const;
  std::vector<TItem> FItems;
  bool FSorted = false;
  bool FCaseSensitive = false;
  TDuplicates FDuplicates = dupIgnore;
};

// ===========================================================================
// Streams

enum TSeekOrigin : int { soBeginning = 0, soCurrent = 1, soEnd = 2 };

// Abstract byte stream.
class TStream : public TObject {
public:
  // Reads at most ACount bytes; returns the number read (0 at the end).
  virtual int64_t Read(void* ABuffer, int64_t ACount) = 0;
  // Writes ACount bytes; returns the number written.
  virtual int64_t Write(const void* ABuffer, int64_t ACount) = 0;
  // Moves the position; returns the new position.
  virtual int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) = 0;
  virtual int64_t GetPosition() { return Seek(0, soCurrent); }
  virtual void SetPosition(int64_t APos) { Seek(APos, soBeginning); }
  virtual int64_t GetSize();
  virtual void SetSize(int64_t ASize);

  // Read or write exactly ACount bytes, raising EReadError / EWriteError.
  void ReadBuffer(void* ABuffer, int64_t ACount);
  void WriteBuffer(const void* ABuffer, int64_t ACount);
  // Copies ACount bytes (all the rest from position 0 when ACount is 0).
  int64_t CopyFrom(TStream* ASource, int64_t ACount);
  // Whether the stream holds its bytes contiguously in memory (see
  // TCustomMemoryStream); readers use it to scan without copying.
  virtual const uint8_t* DirectMemory() const { return nullptr; }
};

// A stream over one contiguous block of memory.
class TCustomMemoryStream : public TStream {
public:
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;
  int64_t GetSize() override { return FSize; }
  int64_t GetPosition() override { return FPosition; }
  const uint8_t* Memory() const { return FMemory; }
  uint8_t* Memory() { return FMemory; }
  const uint8_t* DirectMemory() const override { return FMemory; }
  void SaveToStream(TStream* AStream);
  void SaveToFile(const std::u16string& AFileName);

protected:
  void SetPointer(uint8_t* AMemory, int64_t ASize) {
    FMemory = AMemory;
    FSize = ASize;
  }
  uint8_t* FMemory = nullptr;
  int64_t FSize = 0;
  int64_t FPosition = 0;
};

// Growable memory stream that owns its block.
class TMemoryStream : public TCustomMemoryStream {
public:
  TMemoryStream() = default;
  ~TMemoryStream() override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  void SetSize(int64_t ASize) override;
  void Clear();
  void LoadFromStream(TStream* AStream);
  void LoadFromFile(const std::u16string& AFileName);

protected:
  void Reserve(int64_t ACapacity);
  int64_t FCapacity = 0;
};

// File modes of TFileStream (share flags are accepted and ignored).
constexpr uint16_t fmCreate = 0xFF00;
constexpr uint16_t fmOpenRead = 0x0000;
constexpr uint16_t fmOpenWrite = 0x0001;
constexpr uint16_t fmOpenReadWrite = 0x0002;
constexpr uint16_t fmShareCompat = 0x0000;
constexpr uint16_t fmShareExclusive = 0x0010;
constexpr uint16_t fmShareDenyWrite = 0x0020;
constexpr uint16_t fmShareDenyNone = 0x0040;

class TFileStream : public TStream {
public:
  // Raises EFOpenError "Cannot open file "%s". %s" or EFCreateError
  // "Cannot create file "%s". %s" with the system's reason.
  TFileStream(const std::u16string& AFileName, uint16_t AMode);
  TFileStream(const std::string& AFileNameUTF8, uint16_t AMode);
  ~TFileStream() override;
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;
  void SetSize(int64_t ASize) override;
  const std::u16string& FileName() const { return FFileName; }

private:
  void Open(const std::string& APath, uint16_t AMode);
  std::u16string FFileName;
  int FHandle = -1;
};

// Memory stream over caller memory (read-only, never freed), or a growing
// stream of its own whose block starts with room for ASize bytes.
class TXoMemoryStream : public TMemoryStream {
public:
  TXoMemoryStream(const void* ABuffer, int64_t ASize);
  explicit TXoMemoryStream(int64_t ASize = 0);
  ~TXoMemoryStream() override;
  // A stream over caller memory raises EWriteError; an owned one grows.
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  void SetSize(int64_t ASize) override;
  // Writes a 16-bit value, low byte first.
  void WriteWord(uint16_t AValue);

private:
  bool FOwned;
};

// A growing memory stream of text in one code page. Add appends text converted
// to that code page; the getters decode the bytes held.
class TXoStringStream : public TMemoryStream {
public:
  // Empty stream for text in ACodePage (0: the system code page), with room for
  // ASize bytes.
  explicit TXoStringStream(uint16_t ACodePage = 1200, int64_t ASize = 0);
  // Over a UTF-16 string: the bytes are UTF-16LE, code page 1200.
  explicit TXoStringStream(std::u16string_view AText);
  // Over bytes in the given code page (0: the system code page).
  TXoStringStream(std::string_view ABytes, uint16_t ACodePage);
  // Over a buffer of bytes in the given code page.
  TXoStringStream(const void* ABuffer, int64_t ASize, uint16_t ACodePage);

  uint16_t CodePage() const { return FCodePage; }
  void Add(std::u16string_view AText);
  void Add(std::string_view ABytes);  // raw bytes, already in the stream's code page
  void AddChar(char16_t AChar);
  // An 8-bit character: in a UTF-16 stream its value becomes the code unit
  // (values above 127 read as Latin-1); in any other stream the byte goes in
  // as it is.
  void AddChar(char AChar);

  // The content as UTF-16 (GetWString and GetAsString are the same).
  std::u16string GetWString() const;
  std::u16string GetAsString() const { return GetWString(); }
  // The content converted to the system code page.
  std::string GetAString() const;
  // The bytes as they are.
  std::string GetDataString() const;
  // The content as UTF-8.
  std::string GetAsUTF8() const;
  // The content as bytes of the given code page (0: the system code page).
  std::string StringData(uint16_t ACodePage) const;

private:
  uint16_t FCodePage;
};

// Write-side adapter: UTF-16 text written to it (Write takes UTF-16LE bytes)
// goes to the target stream as UTF-8, after a UTF-8 byte-order mark when
// AWriteBOM is set. Owns the target when AOwnsStream.
class TXoUTF8StreamAdapter : public TStream {
public:
  explicit TXoUTF8StreamAdapter(TStream* ATarget, bool AWriteBOM = false, bool AOwnsStream = false);
  ~TXoUTF8StreamAdapter() override;
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;
  // Appends text; a high surrogate at the end is held until its partner comes.
  void Add(std::u16string_view AText);
  // Writes out what is buffered (a lone trailing surrogate becomes U+FFFD).
  void Flush();
  TStream* Target() const { return FTarget; }

private:
  TStream* FTarget;
  bool FOwns;
  bool FBOMPending;
  std::string FOut;
  int FOddByte = -1;       // a byte of a half-written code unit
  char16_t FPendingHigh = 0;
};

// A TStream reading from a std::istream (read-only; seeks where the stream can).
class TXoStdInStream : public TStream {
public:
  explicit TXoStdInStream(std::istream& AStream) : FStream(AStream) {}
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;

private:
  std::istream& FStream;
};

// A TStream writing to a std::ostream (write-only).
class TXoStdOutStream : public TStream {
public:
  explicit TXoStdOutStream(std::ostream& AStream) : FStream(AStream) {}
  int64_t Read(void* ABuffer, int64_t ACount) override;
  int64_t Write(const void* ABuffer, int64_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;

private:
  std::ostream& FStream;
};

// A std::streambuf over a TStream, for std::istream / std::ostream use.
class TXoStreamBuf : public std::streambuf {
public:
  explicit TXoStreamBuf(TStream* AStream) : FStream(AStream) {}
  ~TXoStreamBuf() override { sync(); }

protected:
  int_type underflow() override;
  int_type overflow(int_type ACh) override;
  int sync() override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;
  pos_type seekoff(off_type AOff, std::ios_base::seekdir ADir, std::ios_base::openmode) override;
  pos_type seekpos(pos_type APos, std::ios_base::openmode AMode) override;

private:
  TStream* FStream;
  char FIn[4096];
  std::string FOut;
};

// ===========================================================================
// Encodings

// Raised by readers for a text in an encoding they cannot read.
inline constexpr char16_t _SEncodingNotSupported[] = u"The encoding of the text is not supported!";

// Byte-order marks.
inline constexpr unsigned char cXoUTF8[3] = {0xEF, 0xBB, 0xBF};
inline constexpr unsigned char cXoUTF16LE[2] = {0xFF, 0xFE};
inline constexpr unsigned char cXoUTF16BE[2] = {0xFE, 0xFF};

// The code page of a byte-order mark at the stream's position (65001 for
// UTF-8, 1200 for UTF-16LE, 1201 for UTF-16BE), leaving the stream behind the
// mark; 0 and the stream unmoved when there is none.
uint16_t XoGetCodePage(TStream* AStream);
// Code page number of a name (any case; IANA names, Windows names and common
// aliases). Raises EXoException "Unknown code page "%s"" for an unknown name.
uint16_t XoCodePage(std::u16string_view AName);
// Name of a code page number; raises EXoException "Unknown code page %d" for
// a number xo does not know.
std::u16string XoCodePage(uint16_t ACodePage);
// Whether every character of the code page is one byte.
bool XoIsSingleByteCodePage(uint16_t ACodePage);

class TXoEncoding {
public:
  // UTF-16 text to bytes of the code page (0: system code page). Characters
  // the code page lacks become its substitution character.
  static std::string ConvertW(std::u16string_view AText, uint16_t ACodePage);
  // Bytes of the code page to UTF-16 text.
  static std::u16string ConvertA(std::string_view ABytes, uint16_t ACodePage);
  // The 256 characters of a single-byte code page, by byte value. Raises
  // EXoException for multi-byte code pages.
  static const char16_t* SingleByteTable(uint16_t ACodePage);
};

// A whole text file as UTF-16 text: a byte-order mark decides the encoding
// (and is dropped), otherwise the bytes are read in ACodePage (0: the system
// code page). A file that cannot be opened raises EFOpenError.
std::u16string XoLoadStringFromFile(const std::u16string& AFileName, uint16_t ACodePage = 0);

// ===========================================================================
// Character constants: one character as byte (...A) and as UTF-16 unit (...W).

#define XO_CHAR_CONST(Name, Ch)                 \
  inline constexpr char Name##A = Ch;           \
  inline constexpr char16_t Name##W = u##Ch;

XO_CHAR_CONST(cXoAmp, '&')
XO_CHAR_CONST(cXoApos, '\'')
XO_CHAR_CONST(cXoEqual, '=')
XO_CHAR_CONST(cXoGt, '>')
XO_CHAR_CONST(cXoLt, '<')
XO_CHAR_CONST(cXoQuest, '?')
XO_CHAR_CONST(cXoQuote, '"')
XO_CHAR_CONST(cXoSlash, '/')
XO_CHAR_CONST(cXoBackSlash, '\\')
XO_CHAR_CONST(cXoSpace, ' ')
XO_CHAR_CONST(cXoExcl, '!')
XO_CHAR_CONST(cXoLine, '-')
XO_CHAR_CONST(cXoColon, ':')
XO_CHAR_CONST(cXoSemiColon, ';')
XO_CHAR_CONST(cXoComma, ',')
XO_CHAR_CONST(cXoDot, '.')
XO_CHAR_CONST(cXoHash, '#')
XO_CHAR_CONST(cXoBracketOA, '[')
XO_CHAR_CONST(cXoBracketCA, ']')
XO_CHAR_CONST(cXoBracketOR, '(')
XO_CHAR_CONST(cXoBracketCR, ')')
XO_CHAR_CONST(cXoBracketOC, '{')
XO_CHAR_CONST(cXoBracketCC, '}')
XO_CHAR_CONST(cXoTab, '\t')
XO_CHAR_CONST(cXoCR, '\r')
XO_CHAR_CONST(cXoLF, '\n')
XO_CHAR_CONST(cXoNull, '\0')
#undef XO_CHAR_CONST

inline constexpr char16_t cXoCRLF[] = u"\r\n";

// ===========================================================================
// Text scanner

// Raised by the scanner when a step goes past the end of the input.
class EXoTextParserEOF : public EXoException {
public:
  EXoTextParserEOF() : EXoException(u"Unexpected end of input!", 1) {}
  const char16_t* ClassName() const override { return u"EXoTextParserEOF"; }
};

// Raised by the scanner when a stream holds more than XoGetMaxInputSize bytes.
class EXoInputTooLarge : public EXoException {
public:
  explicit EXoInputTooLarge(int64_t ALimit)
      : EXoException(u"The input is larger than %d bytes, the most a reader accepts!", {ALimit}, 13) {}
  const char16_t* ClassName() const override { return u"EXoInputTooLarge"; }
};

// The most bytes a reader takes from a stream that is not already in memory
// (files, pipes, standard input, a program's own streams): 1 GiB unless a
// program sets another limit. Memory buffers and strings, which are held
// already, are read whatever their size. The limit protects a process from an
// input that never ends (/dev/zero, an endless socket).
int64_t XoGetMaxInputSize();
void XoSetMaxInputSize(int64_t ASize);

// How the scanner reads its source: 0 single-byte code page, 1 UTF-16LE
// code units, 2 UTF-8 bytes.
enum TXoCharacterSetType : uint8_t { cstSingleByte = 0, cstUTF16 = 1, cstUTF8 = 2 };

// Skip operators.
enum TXoTextParserSkipOp : uint8_t {
  tpsWhileEqual = 0,     // while the character equals the argument
  tpsUntilEqual = 3,     // until the character equals the argument
  tpsWhileNotAbove = 4,  // while the character is not above the argument
  tpsWhileInSet = 6,     // while the character is in the set
  tpsUntilInSet = 7,     // until the character is in the set
};

// Positions: 1 the current one, 2 behind the current character, 3 to 5 marks.
using TXoTextParserPosType = uint8_t;
inline constexpr TXoTextParserPosType tppCurrent = 1;
inline constexpr TXoTextParserPosType tppNext = 2;
inline constexpr TXoTextParserPosType tppMark1 = 3;
inline constexpr TXoTextParserPosType tppMark2 = 4;
inline constexpr TXoTextParserPosType tppMark3 = 5;

// Character scanner over a whole input held in memory.
//
// The input is the stream from its current position to its end. A memory
// stream is scanned in place; any other stream is read into a buffer once.
// Positions are offsets in source units (bytes, or 16-bit units for UTF-16)
// from the start of the input. Lines and columns count from 1; a line ends at
// LF, at CR not followed by LF, and at CR LF; columns count characters.
//
// End of input: CurrChar* answers 0 at the end; the "while" and "until"
// skips stop at the end without raising; NextChar, ReadChar*, SkipChars and
// CheckEOF raise EXoTextParserEOF when asked to go past the end. Nothing ever
// reads outside the input.
class TXoTextParser : public TObject {
public:
  // AFlag: the parser owns (and frees) the stream.
  TXoTextParser(TStream* AStream, bool AFlag, uint16_t ACodePage);
  // ADetectMark: a byte-order mark at the start of the input (UTF-8, UTF-16
  // little- or big-endian) decides the code page and is stepped over; without
  // one ACodePage holds. The mark is looked for in the bytes read, so streams
  // that cannot seek (pipes) lose nothing.
  TXoTextParser(TStream* AStream, bool AFlag, uint16_t ACodePage, bool ADetectMark);
  TXoTextParser(const void* ABuffer, int64_t ASize, uint16_t ACodePage);
  ~TXoTextParser() override;

  // Settles the source kind; the constructors call it once the input is known.
  // Overrides run after the base has switched the kind.
  virtual void SetCharacterSetType(TXoCharacterSetType AType);
  TXoCharacterSetType GetCharacterSetType() const { return FCharSetType; }
  // The code page of the content (used to decode single-byte sources).
  void SetContentCodePage(uint16_t ACodePage);
  uint16_t GetContentCodePage() const { return FCodePage; }

  void First();  // back to the start, marks cleared
  void Last();   // to the end
  bool _GetEOF() const { return FCur >= FEnd; }
  bool GetEOF() const { return FCur >= FEnd; }
  void CheckEOF() const {
    if (FCur >= FEnd) throw EXoTextParserEOF();
  }

  // Line and column of the current position. Both are brought forward from
  // the last answer, so asking at every construct costs one pass in total.
  int64_t GetLineNr();
  int64_t GetColNr();
  int64_t GetPosition() const { return (FCur - FStart) >> FShift; }
  const uint8_t* GetCurPos() const { return FCur; }
  int64_t GetSize() const { return (FEnd - FStart) >> FShift; }

  // The current character; 0 at the end.
  char CurrCharA() const;
  char16_t CurrCharW() const;
  // The current character, then advance.
  char ReadCharA();
  char16_t ReadCharW();
  void NextChar();
  // Steps back one character; at the start nothing happens.
  void PrevCharW();
  void SkipChars(int64_t ACount);
  // ACount characters from the current one (fewer at the end); not moving.
  std::u16string PeekString(int64_t ACount) const;
  std::u16string PeekStringW(int64_t ACount) const;

  // Skips by operator and character; SkipWhile dispatches by source kind.
  void SkipWhile(TXoTextParserSkipOp AOp, char16_t AChar);
  void SkipWhile(TXoTextParserSkipOp AOp, const TXoCharSet& ASet);
  void SrcASkipWhileA(TXoTextParserSkipOp AOp, char AChar);
  void SrcUSkipWhileA(TXoTextParserSkipOp AOp, char AChar);
  void SrcWSkipWhileW(TXoTextParserSkipOp AOp, char16_t AChar);

  void SetMark(TXoTextParserPosType AType);
  void ClearMark(TXoTextParserPosType AType);
  bool IsMarkSet(TXoTextParserPosType AType) const;
  // Offset of a position kind; -1 for a cleared mark.
  int64_t GetPos(TXoTextParserPosType AType) const;
  // The text between two positions (from must not lie behind to); an unset
  // mark counts as the current position. AClear clears AFrom when a mark.
  std::u16string Selected(TXoTextParserPosType AFrom = tppMark1, TXoTextParserPosType ATo = tppCurrent,
                          bool AClear = true);
  std::u16string SelectedW(TXoTextParserPosType AFrom = tppMark1, TXoTextParserPosType ATo = tppCurrent,
                           bool AClear = true) {
    return Selected(AFrom, ATo, AClear);
  }
  // The raw source bytes between two positions.
  std::string SelectedA(TXoTextParserPosType AFrom = tppMark1, TXoTextParserPosType ATo = tppCurrent,
                        bool AClear = true);

  // Raw access for readers that bind their inner loops to the source kind.
  const uint8_t* BufferStart() const { return FStart; }
  const uint8_t* BufferEnd() const { return FEnd; }
  const uint8_t* Cursor() const { return FCur; }
  void SetCursor(const uint8_t* APos) { FCur = APos; }
  // Decodes source bytes to UTF-16 according to the source kind.
  std::u16string Decode(const uint8_t* AFrom, const uint8_t* ATo) const;
  void AppendDecoded(std::u16string& ADest, const uint8_t* AFrom, const uint8_t* ATo) const;

private:
  void InitBuffer(const uint8_t* AData, int64_t ASize, bool ACopy);
  void ReadStream(TStream* AStream);
  uint16_t SkipMark(uint16_t ACodePage);
  void ChooseKind(uint16_t ACodePage);
  const uint8_t* PosPtr(TXoTextParserPosType AType) const;
  const uint8_t* NextPtr(const uint8_t* p) const;
  const uint8_t* PrevPtr(const uint8_t* p) const;
  char16_t CharAt(const uint8_t* p) const;

  TStream* FStream = nullptr;
  bool FOwnsStream = false;
  std::unique_ptr<uint8_t[]> FOwned;
  const uint8_t* FStart = nullptr;
  const uint8_t* FEnd = nullptr;
  const uint8_t* FCur = nullptr;
  const uint8_t* FMarks[3] = {nullptr, nullptr, nullptr};
  TXoCharacterSetType FCharSetType = cstUTF8;
  unsigned FShift = 0;  // 1 for UTF-16 sources: offsets count 16-bit units
  uint16_t FCodePage = 65001;
  const char16_t* FTable = nullptr;  // single-byte decoding table
  // Line counting is lazy: the count is brought forward from the last answer.
  const uint8_t* FLinePos = nullptr;
  const uint8_t* FLineStart = nullptr;
  int64_t FLine = 1;
  // The last column answered and where: a later position on the same line
  // counts on from there.
  const uint8_t* FColPos = nullptr;
  int64_t FCol = 1;
};

}  // namespace xo
