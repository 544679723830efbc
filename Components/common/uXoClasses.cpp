// Objects, components and streams of the companion layer.
#include "uXoClasses.h"

#include <cxxabi.h>
#include <bit>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <ostream>
#include <typeinfo>

namespace xo {

// ===========================================================================
// TObject

void TObject::Free() {
  BeforeDestruction();
  delete this;
}

std::u16string TObject::ClassName() const {
  const char* mangled = typeid(*this).name();
  int status = 0;
  char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
  std::string name = status == 0 && demangled ? demangled : mangled;
  std::free(demangled);
  // Drop namespaces and template arguments' namespaces of the outer name.
  size_t lt = name.find('<');
  size_t cut = name.rfind("::", lt == std::string::npos ? std::string::npos : lt);
  if (cut != std::string::npos) name = name.substr(cut + 2);
  return XoUTF8ToUTF16(name);
}

bool TObject::InheritsFrom(const std::type_info& AType) const {
  // Only usable for exact type checks without a registry; registered classes
  // answer through the type registry.
  return typeid(*this) == AType;
}

// ===========================================================================
// TXoObject

int32_t TXoObject::_AddRef() { return FRefCount.fetch_add(1, std::memory_order_relaxed) + 1; }

int32_t TXoObject::_Release() {
  int32_t r = FRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (r == 0 && FAutoDestroy) Free();
  return r;
}

namespace {

[[noreturn]] void RaiseCannotAssign(const TObject* ASource, const TObject* ADest) {
  throw EConvertError(u"Cannot assign a %s to a %s", {ASource ? ASource->ClassName() : u"nil",
                                                      ADest ? ADest->ClassName() : u"nil"});
}

}  // namespace

// Assign asks the source to assign itself to this object; a source that
// cannot (the default AssignTo) raises.
void TXoObjectEx::Assign(TXoObjectEx* ASource) {
  if (!ASource) RaiseCannotAssign(nullptr, this);
  ASource->AssignTo(this);
}

void TXoObjectEx::AssignTo(TXoObjectEx* ADest) { RaiseCannotAssign(this, ADest); }

void TPersistent::Assign(TPersistent* ASource) {
  if (!ASource) RaiseCannotAssign(nullptr, this);
  ASource->AssignTo(this);
}

void TPersistent::AssignTo(TPersistent* ADest) { RaiseCannotAssign(this, ADest); }

// ===========================================================================
// TComponent

TComponent::TComponent(TComponent* AOwner) {
  if (AOwner) AOwner->InsertComponent(this);
}

TComponent::~TComponent() {
  // Free owned components, newest first; each one removes itself.
  while (!FComponents.empty()) {
    TComponent* c = FComponents.back();
    c->FOwner = nullptr;
    FComponents.pop_back();
    c->Free();
  }
  if (FOwner) FOwner->RemoveComponent(this);
}

TComponent* TComponent::Components(int32_t AIndex) const {
  if (AIndex < 0 || static_cast<size_t>(AIndex) >= FComponents.size())
    throw EListError(u"List index out of bounds (%d)", {AIndex});
  return FComponents[static_cast<size_t>(AIndex)];
}

TComponent* TComponent::FindComponent(std::u16string_view AName) const {
  if (AName.empty()) return nullptr;
  for (TComponent* c : FComponents)
    if (XoSameText(c->FName, AName)) return c;
  return nullptr;
}

void TComponent::InsertComponent(TComponent* AComponent) {
  if (!AComponent) return;
  if (AComponent->FOwner) AComponent->FOwner->RemoveComponent(AComponent);
  FComponents.push_back(AComponent);
  AComponent->FOwner = this;
}

void TComponent::RemoveComponent(TComponent* AComponent) {
  auto it = std::find(FComponents.begin(), FComponents.end(), AComponent);
  if (it != FComponents.end()) {
    FComponents.erase(it);
    AComponent->FOwner = nullptr;
  }
}

int32_t TXoComponent::_AddRef() { return FRefCount.fetch_add(1, std::memory_order_relaxed) + 1; }

int32_t TXoComponent::_Release() {
  int32_t r = FRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (r == 0 && !GetOwner()) Free();
  return r;
}

// ===========================================================================
// TStream

int64_t TStream::GetSize() {
  int64_t pos = Seek(0, soCurrent);
  int64_t size = Seek(0, soEnd);
  Seek(pos, soBeginning);
  return size;
}

void TStream::SetSize(int64_t) { throw EStreamError(u"Stream size cannot be changed"); }

void TStream::ReadBuffer(void* ABuffer, int64_t ACount) {
  auto* p = static_cast<uint8_t*>(ABuffer);
  while (ACount > 0) {
    int64_t n = Read(p, ACount);
    if (n <= 0) throw EReadError(u"Stream read error");
    p += n;
    ACount -= n;
  }
}

void TStream::WriteBuffer(const void* ABuffer, int64_t ACount) {
  if (ACount > 0 && Write(ABuffer, ACount) != ACount) throw EWriteError(u"Stream write error");
}

int64_t TStream::CopyFrom(TStream* ASource, int64_t ACount) {
  if (ACount == 0) {
    ASource->SetPosition(0);
    ACount = ASource->GetSize();
  }
  int64_t total = ACount;
  uint8_t buf[65536];
  while (ACount > 0) {
    int64_t n = std::min<int64_t>(ACount, sizeof buf);
    ASource->ReadBuffer(buf, n);
    WriteBuffer(buf, n);
    ACount -= n;
  }
  return total;
}

// ===========================================================================
// Memory streams

int64_t TCustomMemoryStream::Read(void* ABuffer, int64_t ACount) {
  if (ACount <= 0 || FPosition >= FSize) return 0;
  int64_t n = std::min(ACount, FSize - FPosition);
  std::memcpy(ABuffer, FMemory + FPosition, static_cast<size_t>(n));
  FPosition += n;
  return n;
}

int64_t TCustomMemoryStream::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  int64_t base = AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPosition : FSize;
  int64_t p = base + AOffset;
  if (p < 0) p = 0;
  FPosition = p;
  return FPosition;
}

void TCustomMemoryStream::SaveToStream(TStream* AStream) { AStream->WriteBuffer(FMemory, FSize); }

void TCustomMemoryStream::SaveToFile(const std::u16string& AFileName) {
  TFileStream f(AFileName, fmCreate);
  SaveToStream(&f);
}

TMemoryStream::~TMemoryStream() { std::free(FMemory); }

void TMemoryStream::Reserve(int64_t ACapacity) {
  if (ACapacity <= FCapacity) return;
  int64_t cap = std::max<int64_t>(ACapacity, FCapacity + FCapacity / 2);
  cap = std::max<int64_t>(cap, 256);
  auto* p = static_cast<uint8_t*>(std::realloc(FMemory, static_cast<size_t>(cap)));
  if (!p) throw EOutOfMemory(u"Out of memory");
  FMemory = p;
  FCapacity = cap;
}

int64_t TMemoryStream::Write(const void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  int64_t end = FPosition + ACount;
  if (end > FSize) {
    Reserve(end);
    if (FPosition > FSize) std::memset(FMemory + FSize, 0, static_cast<size_t>(FPosition - FSize));
    FSize = end;
  }
  std::memcpy(FMemory + FPosition, ABuffer, static_cast<size_t>(ACount));
  FPosition = end;
  return ACount;
}

void TMemoryStream::SetSize(int64_t ASize) {
  if (ASize < 0) ASize = 0;
  Reserve(ASize);
  if (ASize > FSize) std::memset(FMemory + FSize, 0, static_cast<size_t>(ASize - FSize));
  FSize = ASize;
  if (FPosition > FSize) FPosition = FSize;
}

void TMemoryStream::Clear() {
  FSize = 0;
  FPosition = 0;
}

void TMemoryStream::LoadFromStream(TStream* AStream) {
  AStream->SetPosition(0);
  int64_t n = AStream->GetSize();
  SetSize(n);
  if (n) AStream->ReadBuffer(FMemory, n);
  FPosition = 0;
}

void TMemoryStream::LoadFromFile(const std::u16string& AFileName) {
  TFileStream f(AFileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(&f);
}

std::u16string XoLoadStringFromFile(const std::u16string& AFileName, uint16_t ACodePage) {
  TFileStream f(AFileName, fmOpenRead | fmShareDenyWrite);
  if (uint16_t marked = XoGetCodePage(&f)) ACodePage = marked;
  int64_t start = f.GetPosition();
  std::string bytes(static_cast<size_t>(std::max<int64_t>(f.GetSize() - start, 0)), '\0');
  size_t got = 0;
  while (got < bytes.size()) {
    int64_t n = f.Read(bytes.data() + got, static_cast<int64_t>(bytes.size() - got));
    if (n <= 0) break;
    got += static_cast<size_t>(n);
  }
  bytes.resize(got);
  return TXoEncoding::ConvertA(bytes, ACodePage);
}

TXoMemoryStream::TXoMemoryStream(const void* ABuffer, int64_t ASize) : FOwned(false) {
  SetPointer(static_cast<uint8_t*>(const_cast<void*>(ABuffer)), ABuffer ? std::max<int64_t>(ASize, 0) : 0);
}

TXoMemoryStream::TXoMemoryStream(int64_t ASize) : FOwned(true) {
  if (ASize > 0) Reserve(ASize);
}

TXoMemoryStream::~TXoMemoryStream() {
  // Caller memory is not ours to free.
  if (!FOwned) FMemory = nullptr;
}

int64_t TXoMemoryStream::Write(const void* ABuffer, int64_t ACount) {
  if (!FOwned) throw EWriteError(u"Stream write error");
  return TMemoryStream::Write(ABuffer, ACount);
}

void TXoMemoryStream::SetSize(int64_t ASize) {
  if (!FOwned) throw EStreamError(u"Stream size cannot be changed");
  TMemoryStream::SetSize(ASize);
}

void TXoMemoryStream::WriteWord(uint16_t AValue) {
  uint8_t b[2] = {static_cast<uint8_t>(AValue & 0xFF), static_cast<uint8_t>(AValue >> 8)};
  WriteBuffer(b, 2);
}

// ===========================================================================
// TXoStringStream

TXoStringStream::TXoStringStream(uint16_t ACodePage, int64_t ASize)
    : FCodePage(ACodePage ? ACodePage : XoSystemCodePage) {
  if (ASize > 0) Reserve(ASize);
}

TXoStringStream::TXoStringStream(std::u16string_view AText) : FCodePage(1200) {
  Add(AText);
  FPosition = 0;
}

TXoStringStream::TXoStringStream(std::string_view ABytes, uint16_t ACodePage)
    : FCodePage(ACodePage ? ACodePage : XoSystemCodePage) {
  Add(ABytes);
  FPosition = 0;
}

TXoStringStream::TXoStringStream(const void* ABuffer, int64_t ASize, uint16_t ACodePage)
    : FCodePage(ACodePage ? ACodePage : XoSystemCodePage) {
  if (ABuffer && ASize > 0) Write(ABuffer, ASize);
  FPosition = 0;
}

void TXoStringStream::Add(std::u16string_view AText) {
  if (FCodePage == 1200) {
    if constexpr (std::endian::native == std::endian::little) {
      Write(AText.data(), static_cast<int64_t>(AText.size() * 2));
    } else {
      for (char16_t c : AText) AddChar(c);
    }
    return;
  }
  if (FCodePage == 65001) {
    std::string u8 = XoUTF16ToUTF8(AText);
    Write(u8.data(), static_cast<int64_t>(u8.size()));
    return;
  }
  std::string b = TXoEncoding::ConvertW(AText, FCodePage);
  Write(b.data(), static_cast<int64_t>(b.size()));
}

void TXoStringStream::Add(std::string_view ABytes) { Write(ABytes.data(), static_cast<int64_t>(ABytes.size())); }

void TXoStringStream::AddChar(char16_t AChar) {
  if (FCodePage == 1200) {
    uint8_t b[2] = {static_cast<uint8_t>(AChar & 0xFF), static_cast<uint8_t>(AChar >> 8)};
    Write(b, 2);
    return;
  }
  Add(std::u16string_view(&AChar, 1));
}

void TXoStringStream::AddChar(char AChar) {
  if (FCodePage == 1200) {
    AddChar(static_cast<char16_t>(static_cast<unsigned char>(AChar)));
    return;
  }
  Write(&AChar, 1);
}

std::string TXoStringStream::StringData(uint16_t ACodePage) const {
  uint16_t cp = ACodePage ? ACodePage : XoSystemCodePage;
  if (cp == FCodePage) return GetDataString();
  return TXoEncoding::ConvertW(GetWString(), cp);
}

std::string TXoStringStream::GetDataString() const {
  return std::string(reinterpret_cast<const char*>(FMemory), static_cast<size_t>(FSize));
}

std::u16string TXoStringStream::GetWString() const {
  if (FCodePage == 1200) {
    std::u16string r(static_cast<size_t>(FSize / 2), u'\0');
    if (!r.empty()) std::memcpy(r.data(), FMemory, r.size() * 2);
    return r;
  }
  std::string_view bytes(reinterpret_cast<const char*>(FMemory), static_cast<size_t>(FSize));
  if (FCodePage == 65001) return XoUTF8ToUTF16(bytes);
  return TXoEncoding::ConvertA(bytes, FCodePage);
}

std::string TXoStringStream::GetAString() const {
  if (FCodePage == XoSystemCodePage) return GetDataString();
  return TXoEncoding::ConvertW(GetWString(), 0);
}

std::string TXoStringStream::GetAsUTF8() const {
  if (FCodePage == 65001) return GetDataString();
  return XoUTF16ToUTF8(GetWString());
}

// ===========================================================================
// TFileStream

TFileStream::TFileStream(const std::u16string& AFileName, uint16_t AMode) : FFileName(AFileName) {
  Open(XoUTF16ToUTF8(AFileName), AMode);
}

TFileStream::TFileStream(const std::string& AFileNameUTF8, uint16_t AMode)
    : FFileName(XoUTF8ToUTF16(AFileNameUTF8)) {
  Open(AFileNameUTF8, AMode);
}

void TFileStream::Open(const std::string& APath, uint16_t AMode) {
  if ((AMode & 0xFF00) == fmCreate) {
    FHandle = ::open(APath.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (FHandle < 0)
      throw EFCreateError(u"Cannot create file \"%s\". %s", {FFileName, std::string(std::strerror(errno))});
    return;
  }
  int flags = O_CLOEXEC;
  switch (AMode & 3) {
    case fmOpenWrite: flags |= O_WRONLY; break;
    case fmOpenReadWrite: flags |= O_RDWR; break;
    default: flags |= O_RDONLY;
  }
  FHandle = ::open(APath.c_str(), flags);
  if (FHandle >= 0) {
    struct stat st;
    if (::fstat(FHandle, &st) == 0 && S_ISDIR(st.st_mode)) {
      ::close(FHandle);
      FHandle = -1;
      errno = EISDIR;
    }
  }
  if (FHandle < 0)
    throw EFOpenError(u"Cannot open file \"%s\". %s", {FFileName, std::string(std::strerror(errno))});
}

TFileStream::~TFileStream() {
  if (FHandle >= 0) ::close(FHandle);
}

int64_t TFileStream::Read(void* ABuffer, int64_t ACount) {
  int64_t total = 0;
  auto* p = static_cast<uint8_t*>(ABuffer);
  while (ACount > 0) {
    ssize_t n = ::read(FHandle, p, static_cast<size_t>(std::min<int64_t>(ACount, 1 << 30)));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    total += n;
    p += n;
    ACount -= n;
  }
  return total;
}

int64_t TFileStream::Write(const void* ABuffer, int64_t ACount) {
  int64_t total = 0;
  auto* p = static_cast<const uint8_t*>(ABuffer);
  while (ACount > 0) {
    ssize_t n = ::write(FHandle, p, static_cast<size_t>(std::min<int64_t>(ACount, 1 << 30)));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    total += n;
    p += n;
    ACount -= n;
  }
  return total;
}

int64_t TFileStream::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  int whence = AOrigin == soBeginning ? SEEK_SET : AOrigin == soCurrent ? SEEK_CUR : SEEK_END;
  off_t r = ::lseek(FHandle, static_cast<off_t>(AOffset), whence);
  return r < 0 ? -1 : static_cast<int64_t>(r);
}

void TFileStream::SetSize(int64_t ASize) {
  if (::ftruncate(FHandle, static_cast<off_t>(ASize)) != 0)
    throw EStreamError(u"Stream size cannot be changed");
  if (GetPosition() > ASize) Seek(ASize, soBeginning);
}

// ===========================================================================
// TXoUTF8StreamAdapter

TXoUTF8StreamAdapter::TXoUTF8StreamAdapter(TStream* ATarget, bool AWriteBOM, bool AOwnsStream)
    : FTarget(ATarget), FOwns(AOwnsStream), FBOMPending(AWriteBOM) {}

TXoUTF8StreamAdapter::~TXoUTF8StreamAdapter() {
  try {
    Flush();
  } catch (...) {
    // A destructor must not throw; an explicit Flush reports failures.
  }
  if (FOwns && FTarget) FTarget->Free();
}

int64_t TXoUTF8StreamAdapter::Read(void*, int64_t) { throw EReadError(u"Stream read error"); }

int64_t TXoUTF8StreamAdapter::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  if (AOffset == 0 && AOrigin == soCurrent) return FTarget->GetPosition() + static_cast<int64_t>(FOut.size());
  throw EStreamError(u"Seek is not supported by this stream");
}

void TXoUTF8StreamAdapter::Add(std::u16string_view AText) {
  if (FBOMPending) {
    FOut.append(reinterpret_cast<const char*>(cXoUTF8), 3);
    FBOMPending = false;
  }
  if (AText.empty()) return;
  if (FPendingHigh) {
    char16_t pair[2] = {FPendingHigh, AText[0]};
    FPendingHigh = 0;
    if (AText[0] >= 0xDC00 && AText[0] <= 0xDFFF) {
      XoAppendUTF16ToUTF8(FOut, std::u16string_view(pair, 2));
      AText.remove_prefix(1);
    } else {
      XoAppendUTF16ToUTF8(FOut, std::u16string_view(pair, 1));
    }
  }
  if (!AText.empty() && AText.back() >= 0xD800 && AText.back() <= 0xDBFF) {
    FPendingHigh = AText.back();
    AText.remove_suffix(1);
  }
  XoAppendUTF16ToUTF8(FOut, AText);
  if (FOut.size() >= 65536) {
    FTarget->WriteBuffer(FOut.data(), static_cast<int64_t>(FOut.size()));
    FOut.clear();
  }
}

int64_t TXoUTF8StreamAdapter::Write(const void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  auto* p = static_cast<const uint8_t*>(ABuffer);
  int64_t n = ACount;
  std::u16string units;
  units.reserve(static_cast<size_t>(n / 2 + 1));
  if (FOddByte >= 0) {
    units.push_back(static_cast<char16_t>(FOddByte | (p[0] << 8)));
    FOddByte = -1;
    ++p;
    --n;
  }
  for (; n >= 2; n -= 2, p += 2) units.push_back(static_cast<char16_t>(p[0] | (p[1] << 8)));
  if (n == 1) FOddByte = p[0];
  Add(units);
  return ACount;
}

void TXoUTF8StreamAdapter::Flush() {
  if (FBOMPending) Add(u"");
  if (FPendingHigh) {
    char16_t c = FPendingHigh;
    FPendingHigh = 0;
    XoAppendUTF16ToUTF8(FOut, std::u16string_view(&c, 1));
  }
  if (!FOut.empty()) {
    FTarget->WriteBuffer(FOut.data(), static_cast<int64_t>(FOut.size()));
    FOut.clear();
  }
}

// ===========================================================================
// std::istream / std::ostream adapters

int64_t TXoStdInStream::Read(void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  FStream.read(static_cast<char*>(ABuffer), static_cast<std::streamsize>(ACount));
  return static_cast<int64_t>(FStream.gcount());
}

int64_t TXoStdInStream::Write(const void*, int64_t) { throw EWriteError(u"Stream write error"); }

int64_t TXoStdInStream::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  FStream.clear();
  if (!(AOffset == 0 && AOrigin == soCurrent))
    FStream.seekg(AOffset, AOrigin == soBeginning ? std::ios::beg : AOrigin == soCurrent ? std::ios::cur : std::ios::end);
  auto p = FStream.tellg();
  if (p < 0) throw EStreamError(u"Seek is not supported by this stream");
  return static_cast<int64_t>(p);
}

int64_t TXoStdOutStream::Read(void*, int64_t) { throw EReadError(u"Stream read error"); }

int64_t TXoStdOutStream::Write(const void* ABuffer, int64_t ACount) {
  if (ACount <= 0) return 0;
  FStream.write(static_cast<const char*>(ABuffer), static_cast<std::streamsize>(ACount));
  return FStream ? ACount : 0;
}

int64_t TXoStdOutStream::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  if (!(AOffset == 0 && AOrigin == soCurrent))
    FStream.seekp(AOffset, AOrigin == soBeginning ? std::ios::beg : AOrigin == soCurrent ? std::ios::cur : std::ios::end);
  auto p = FStream.tellp();
  if (p < 0) throw EStreamError(u"Seek is not supported by this stream");
  return static_cast<int64_t>(p);
}

TXoStreamBuf::int_type TXoStreamBuf::underflow() {
  if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
  int64_t n = FStream->Read(FIn, sizeof FIn);
  if (n <= 0) return traits_type::eof();
  setg(FIn, FIn, FIn + n);
  return traits_type::to_int_type(*gptr());
}

TXoStreamBuf::int_type TXoStreamBuf::overflow(int_type ACh) {
  if (!traits_type::eq_int_type(ACh, traits_type::eof())) {
    FOut.push_back(traits_type::to_char_type(ACh));
    if (FOut.size() >= 4096 && sync() != 0) return traits_type::eof();
  }
  return traits_type::not_eof(ACh);
}

std::streamsize TXoStreamBuf::xsputn(const char* s, std::streamsize n) {
  FOut.append(s, static_cast<size_t>(n));
  if (FOut.size() >= 4096 && sync() != 0) return 0;
  return n;
}

int TXoStreamBuf::sync() {
  if (FOut.empty()) return 0;
  int64_t n = FStream->Write(FOut.data(), static_cast<int64_t>(FOut.size()));
  bool ok = n == static_cast<int64_t>(FOut.size());
  FOut.clear();
  return ok ? 0 : -1;
}

TXoStreamBuf::pos_type TXoStreamBuf::seekoff(off_type AOff, std::ios_base::seekdir ADir, std::ios_base::openmode) {
  sync();
  int64_t r;
  if (ADir == std::ios_base::cur) {
    // The stream is ahead of the reader by what is still buffered.
    AOff -= static_cast<off_type>(egptr() - gptr());
    r = FStream->Seek(AOff, soCurrent);
  } else {
    r = FStream->Seek(AOff, ADir == std::ios_base::beg ? soBeginning : soEnd);
  }
  setg(FIn, FIn, FIn);
  return r < 0 ? pos_type(off_type(-1)) : pos_type(r);
}

TXoStreamBuf::pos_type TXoStreamBuf::seekpos(pos_type APos, std::ios_base::openmode AMode) {
  return seekoff(off_type(APos), std::ios_base::beg, AMode);
}

}  // namespace xo

namespace xo {

// ===========================================================================
// Containers

namespace {
inline constexpr char16_t _cXoListIndexError[] = u"List index out of bounds (%d)";
inline constexpr char16_t _cXoDuplicateString[] = u"String list does not allow duplicates";
}  // namespace

void TList::CheckIndex(int32_t AIndex, int32_t ACount) const {
  if (AIndex < 0 || AIndex >= ACount) throw EListError(_cXoListIndexError, {AIndex});
}
void* TList::Get(int32_t AIndex) const {
  CheckIndex(AIndex, Count());
  return FItems[static_cast<size_t>(AIndex)];
}
void TList::Put(int32_t AIndex, void* AItem) {
  CheckIndex(AIndex, Count());
  FItems[static_cast<size_t>(AIndex)] = AItem;
}
int32_t TList::Add(void* AItem) {
  FItems.push_back(AItem);
  return Count() - 1;
}
void TList::Insert(int32_t AIndex, void* AItem) {
  CheckIndex(AIndex, Count() + 1);
  FItems.insert(FItems.begin() + AIndex, AItem);
}
void TList::Delete(int32_t AIndex) {
  CheckIndex(AIndex, Count());
  FItems.erase(FItems.begin() + AIndex);
}
int32_t TList::Remove(void* AItem) {
  int32_t i = IndexOf(AItem);
  if (i >= 0) Delete(i);
  return i;
}
int32_t TList::IndexOf(void* AItem) const {
  for (size_t i = 0; i < FItems.size(); ++i)
    if (FItems[i] == AItem) return static_cast<int32_t>(i);
  return -1;
}
void TList::Exchange(int32_t AIndex1, int32_t AIndex2) {
  CheckIndex(AIndex1, Count());
  CheckIndex(AIndex2, Count());
  std::swap(FItems[static_cast<size_t>(AIndex1)], FItems[static_cast<size_t>(AIndex2)]);
}
void TList::Move(int32_t ACurIndex, int32_t ANewIndex) {
  if (ACurIndex == ANewIndex) return;
  CheckIndex(ANewIndex, Count());
  void* p = Get(ACurIndex);
  FItems.erase(FItems.begin() + ACurIndex);
  FItems.insert(FItems.begin() + ANewIndex, p);
}

void TObjectList::SetItem(int32_t AIndex, TObject* AObject) {
  TObject* old = GetItem(AIndex);
  FList.Put(AIndex, AObject);
  if (FOwnsObjects && old && old != AObject) old->Free();
}
void TObjectList::Delete(int32_t AIndex) {
  TObject* o = GetItem(AIndex);
  FList.Delete(AIndex);
  if (FOwnsObjects && o) o->Free();
}
int32_t TObjectList::Remove(TObject* AObject) {
  int32_t i = IndexOf(AObject);
  if (i >= 0) Delete(i);
  return i;
}
TObject* TObjectList::Extract(TObject* AObject) {
  int32_t i = IndexOf(AObject);
  if (i < 0) return nullptr;
  FList.Delete(i);
  return AObject;
}
void TObjectList::Clear() {
  while (Count() > 0) Delete(Count() - 1);
}

void TStringList::CheckIndex(int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EStringListError(_cXoListIndexError, {AIndex});
}
const std::u16string& TStringList::Get(int32_t AIndex) const {
  CheckIndex(AIndex);
  return FItems[static_cast<size_t>(AIndex)].S;
}
void TStringList::Put(int32_t AIndex, const std::u16string& AValue) {
  CheckIndex(AIndex);
  FItems[static_cast<size_t>(AIndex)].S = AValue;
}
TObject* TStringList::GetObject(int32_t AIndex) const {
  CheckIndex(AIndex);
  return FItems[static_cast<size_t>(AIndex)].O;
}
void TStringList::PutObject(int32_t AIndex, TObject* AObject) {
  CheckIndex(AIndex);
  FItems[static_cast<size_t>(AIndex)].O = AObject;
}
int TStringList::CompareStrings(std::u16string_view A, std::u16string_view B) const {
  return FCaseSensitive ? XoCompareStr(A, B) : XoCompareText(A, B);
}
bool TStringList::Find(std::u16string_view AValue, int32_t& AIndex) const {
  int32_t lo = 0, hi = Count() - 1;
  bool found = false;
  while (lo <= hi) {
    int32_t mid = (lo + hi) / 2;
    int c = CompareStrings(FItems[static_cast<size_t>(mid)].S, AValue);
    if (c < 0) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
      if (c == 0) {
        found = true;
        if (FDuplicates != dupAccept) lo = mid;
      }
    }
  }
  AIndex = lo;
  return found;
}
int32_t TStringList::AddObject(const std::u16string& AValue, TObject* AObject) {
  if (!FSorted) {
    FItems.push_back({AValue, AObject});
    return Count() - 1;
  }
  int32_t at = 0;
  if (Find(AValue, at)) {
    if (FDuplicates == dupIgnore) return at;
    if (FDuplicates == dupError) throw EStringListError(_cXoDuplicateString);
  }
  FItems.insert(FItems.begin() + at, TItem{AValue, AObject});
  return at;
}
void TStringList::Insert(int32_t AIndex, const std::u16string& AValue) {
  if (AIndex < 0 || AIndex > Count()) throw EStringListError(_cXoListIndexError, {AIndex});
  FItems.insert(FItems.begin() + AIndex, TItem{AValue, nullptr});
}
void TStringList::Delete(int32_t AIndex) {
  CheckIndex(AIndex);
  FItems.erase(FItems.begin() + AIndex);
}
int32_t TStringList::IndexOf(std::u16string_view AValue) const {
  if (FSorted) {
    int32_t at = 0;
    return Find(AValue, at) ? at : -1;
  }
  for (size_t i = 0; i < FItems.size(); ++i)
    if (CompareStrings(FItems[i].S, AValue) == 0) return static_cast<int32_t>(i);
  return -1;
}
int32_t TStringList::IndexOfName(std::u16string_view AName) const {
  for (size_t i = 0; i < FItems.size(); ++i) {
    size_t eq = FItems[i].S.find(u'=');
    if (eq != std::u16string::npos && CompareStrings(std::u16string_view(FItems[i].S).substr(0, eq), AName) == 0)
      return static_cast<int32_t>(i);
  }
  return -1;
}
int32_t TStringList::IndexOfObject(TObject* AObject) const {
  for (size_t i = 0; i < FItems.size(); ++i)
    if (FItems[i].O == AObject) return static_cast<int32_t>(i);
  return -1;
}
std::u16string TStringList::Names(int32_t AIndex) const {
  const std::u16string& s = Get(AIndex);
  size_t eq = s.find(u'=');
  return eq == std::u16string::npos ? std::u16string() : s.substr(0, eq);
}
std::u16string TStringList::ValueFromIndex(int32_t AIndex) const {
  const std::u16string& s = Get(AIndex);
  size_t eq = s.find(u'=');
  return eq == std::u16string::npos ? std::u16string() : s.substr(eq + 1);
}
std::u16string TStringList::GetValue(std::u16string_view AName) const {
  int32_t i = IndexOfName(AName);
  return i < 0 ? std::u16string() : ValueFromIndex(i);
}
void TStringList::SetValue(std::u16string_view AName, const std::u16string& AValue) {
  int32_t i = IndexOfName(AName);
  std::u16string line(AName);
  line += u'=';
  line += AValue;
  if (i >= 0) {
    if (AValue.empty())
      Delete(i);
    else
      FItems[static_cast<size_t>(i)].S = line;
  } else if (!AValue.empty()) {
    Add(line);
  }
}
std::u16string TStringList::GetText() const {
  std::u16string r;
  for (const TItem& it : FItems) {
    r += it.S;
    r += u"\r\n";
  }
  return r;
}
void TStringList::SetText(std::u16string_view AText) {
  Clear();
  size_t i = 0;
  while (i < AText.size()) {
    size_t j = i;
    while (j < AText.size() && AText[j] != u'\r' && AText[j] != u'\n') ++j;
    Add(std::u16string(AText.substr(i, j - i)));
    if (j < AText.size() && AText[j] == u'\r') ++j;
    if (j < AText.size() && AText[j] == u'\n') ++j;
    i = j;
  }
}
std::u16string TStringList::GetCommaText() const {
  std::u16string r;
  for (size_t i = 0; i < FItems.size(); ++i) {
    if (i) r += u',';
    const std::u16string& s = FItems[i].S;
    bool quote = s.empty() ? false : s.find_first_of(u" ,\"") != std::u16string::npos;
    if (!quote) {
      r += s;
      continue;
    }
    r += u'"';
    for (char16_t c : s) {
      if (c == u'"') r += u'"';
      r += c;
    }
    r += u'"';
  }
  return r;
}
void TStringList::Sort() {
  std::stable_sort(FItems.begin(), FItems.end(),
                   [this](const TItem& a, const TItem& b) { return CompareStrings(a.S, b.S) < 0; });
}
void TStringList::SetSorted(bool AValue) {
  if (AValue && !FSorted) Sort();
  FSorted = AValue;
}

}  // namespace xo
