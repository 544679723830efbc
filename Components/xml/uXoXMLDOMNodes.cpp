// uXoXMLDOM, nodes: collations, names, the pairing of nodes and adapters,
// ownership, the chain of children and the tree operations of TXoDOMNode.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include "uXoXMLDOM.h"
#include "uXoXMLDOM/uXoXMLDOMTree.h"

namespace xo {

// ===========================================================================
// Collations

int32_t TXoXPathCollationASCIICI::Compare(std::u16string_view A, std::u16string_view B) const {
  return XoCompareText(A, B);
}
int64_t TXoXPathCollationASCIICI::Pos(std::u16string_view ASub, std::u16string_view AText) const {
  return xo::Pos(LowerCase(ASub), LowerCase(AText));
}
TXoXPathCollationClass TXoXPathCollationASCIICI::ClassRef() {
  static const TXoXPathCollationASCIICI instance;
  return &instance;
}

int32_t TXoXPathCollationCodepoint::Compare(std::u16string_view A, std::u16string_view B) const {
  return XoCompareStr(A, B);
}
int64_t TXoXPathCollationCodepoint::Pos(std::u16string_view ASub, std::u16string_view AText) const {
  return xo::Pos(ASub, AText);
}
TXoXPathCollationClass TXoXPathCollationCodepoint::ClassRef() {
  static const TXoXPathCollationCodepoint instance;
  return &instance;
}

TXoXPathCollationClass XoDOMCollationOf(TXoDOMSelectOptions AOptions, TXoXPathCollationClass ADefault) {
  if (AOptions.Contains(soCaseSensitive)) return TXoXPathCollationCodepoint::ClassRef();
  if (AOptions.Contains(soCaseInsensitive)) return TXoXPathCollationASCIICI::ClassRef();
  return ADefault;
}

// ===========================================================================
// Defaults and tables

const char16_t* const XoDOMNodeTypes[13] = {u"Unknown",
                                            u"Element",
                                            u"Attribute",
                                            u"Text",
                                            u"CDATA",
                                            u"EntityRef",
                                            u"Entity",
                                            u"ProcessingInstruction",
                                            u"Comment",
                                            u"Document",
                                            u"DocumentType",
                                            u"DocumentFragment",
                                            u"Notation"};

TXoDOMSelectMatchOption DefaultSelectMatchOption = soQualifiedName;
bool DefaultPreserveCase = false;
TXoDOMSelectCheckOption DefaultSelectCheckOption = coRaise;
TXoXPathCollationClass DefaultXPathCollation = TXoXPathCollationASCIICI::ClassRef();

// ===========================================================================
// Names

struct TXoDOMNameAlloc {
  static uint32_t HashOf(std::u16string_view AText) {
    uint32_t h = 2166136261u;
    for (char16_t c : AText) h = (h ^ c) * 16777619u;
    return h;
  }
  static int32_t Colon(const TXoDOMName* AName) { return AName->FColon; }
  static TXoDOMName* New(std::u16string_view AText, uint32_t AHash, bool AImmortal, int32_t AColon = -1) {
    // The header holds one unit of the text already.
    void* mem = ::operator new(sizeof(TXoDOMName) + AText.size() * sizeof(char16_t));
    TXoDOMName* n = new (mem) TXoDOMName();
    n->FHash = AHash;
    n->FLen = static_cast<uint32_t>(AText.size());
    if (!AText.empty()) std::memcpy(n->FText, AText.data(), AText.size() * sizeof(char16_t));
    n->FText[AText.size()] = 0;
    n->FColon = AColon;
    std::u16string_view prefix = n->Prefix();
    n->FIsNamespace = (prefix.empty() && n->FColon < 0 && XoSameText(AText, u"xmlns")) ||
                      (n->FColon >= 0 && XoSameText(prefix, u"xmlns"));
    n->FImmortal = AImmortal;
    return n;
  }
  static void Delete(TXoDOMName* AName) {
    AName->~TXoDOMName();
    ::operator delete(AName);
  }
};

namespace {
// A small direct-mapped cache of the names made last on this thread, so that
// a document that repeats a few names (the usual case) shares their records.
// The cache holds one reference to each record it keeps.
struct TNameCache {
  static constexpr size_t kSize = 1024;
  TXoDOMName* Slots[kSize] = {};
  ~TNameCache() {
    for (TXoDOMName* n : Slots)
      if (n) n->Release();
  }
};
thread_local TNameCache tNameCache;
}  // namespace

namespace {
TXoDOMName* MakeName(std::u16string_view AName, int32_t AColon) {
  uint32_t h = TXoDOMNameAlloc::HashOf(AName) + static_cast<uint32_t>(AColon + 1) * 0x9E3779B1u;
  TXoDOMName*& slot = tNameCache.Slots[(h ^ (h >> 16)) & (TNameCache::kSize - 1)];
  if (slot && slot->Hash() == h && slot->QName() == AName && TXoDOMNameAlloc::Colon(slot) == AColon) {
    slot->AddRef();
    return slot;
  }
  TXoDOMName* n = TXoDOMNameAlloc::New(AName, h, false, AColon);
  if (slot) slot->Release();
  slot = n;
  n->AddRef();  // the cache's reference
  return n;
}
}  // namespace

TXoDOMName* TXoDOMName::Make(std::u16string_view AName) {
  if (AName.empty()) return Empty();
  size_t colon = AName.find(u':');
  return MakeName(AName, colon == std::u16string_view::npos ? -1 : static_cast<int32_t>(colon));
}

TXoDOMName* TXoDOMName::Make(std::u16string_view APrefix, std::u16string_view ALocalName) {
  if (APrefix.empty()) {
    if (ALocalName.empty()) return Empty();
    return MakeName(ALocalName, -1);
  }
  std::u16string q;
  q.reserve(APrefix.size() + 1 + ALocalName.size());
  q.append(APrefix).append(1, u':').append(ALocalName);
  return MakeName(q, static_cast<int32_t>(APrefix.size()));
}

TXoDOMName* TXoDOMName::Empty() {
  static TXoDOMName* const empty = TXoDOMNameAlloc::New(u"", 0, true);
  return empty;
}

void TXoDOMName::Release() {
  if (FImmortal) return;
  if (FRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) TXoDOMNameAlloc::Delete(this);
}

namespace {
TXoDOMNameRef FixedName(std::u16string_view AText) {
  TXoDOMName* n = TXoDOMNameAlloc::New(AText, TXoDOMNameAlloc::HashOf(AText), true);
  return TXoDOMNameRef(n);
}
}  // namespace

const TXoDOMNameRef& XoDOMTextName() {
  static const TXoDOMNameRef n = FixedName(u"#text");
  return n;
}
const TXoDOMNameRef& XoDOMCommentName() {
  static const TXoDOMNameRef n = FixedName(u"#comment");
  return n;
}
const TXoDOMNameRef& XoDOMCDATAName() {
  static const TXoDOMNameRef n = FixedName(u"#cdata-section");
  return n;
}
const TXoDOMNameRef& XoDOMDocumentName() {
  static const TXoDOMNameRef n = FixedName(u"#document");
  return n;
}

// ===========================================================================
// Block pool

#if defined(__SANITIZE_ADDRESS__)
#define XO_DOM_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define XO_DOM_POOL 0
#endif
#endif
#ifndef XO_DOM_POOL
#define XO_DOM_POOL 1
#endif

#if XO_DOM_POOL
namespace {
constexpr size_t kPoolMax = 256;     // larger blocks come from the heap
constexpr size_t kChunk = 64 * 1024;  // chunks are aligned to their size
constexpr size_t kClasses = kPoolMax / 16;

struct TFreeBlock {
  TFreeBlock* Next;
};

// The head of a chunk: the pool that carved it, and the next chunk of that
// pool. Blocks start behind it.
struct TChunkHead {
  uint64_t Owner;
  TChunkHead* Next;
};
constexpr size_t kHead = 16;
static_assert(sizeof(TChunkHead) <= kHead);

// Chunks are kept for the life of the process (reachable from here).
std::mutex gChunkLock;
std::vector<void*>* gChunks = new std::vector<void*>();
std::atomic<uint64_t> gPoolIds{0};
// Set once any thread frees a block that another thread's pool carved; from
// then on no pool starts its chunks over (a block of its chunks may wait in
// another thread's free lists).
std::atomic<bool> gForeignFree{false};

// Per-thread pool. When every block it handed out has come back, it starts
// carving its chunks from the first one again: a program that loads, frees
// and loads again gets its next tree in the same compact memory, laid out in
// order, instead of blocks gathered from the free lists of a larger tree.
struct TPool {
  TFreeBlock* Free[kClasses] = {};
  char* Cur = nullptr;  // the unused rest of the current chunk
  char* End = nullptr;
  int64_t InUse = 0;
  uint64_t Id = 0;  // given with the first chunk
  TChunkHead* First = nullptr;
  TChunkHead* Last = nullptr;
  TChunkHead* Current = nullptr;
  char* Spare = nullptr;  // chunks allocated and not yet in use
  char* SpareEnd = nullptr;

  TChunkHead* NextChunk() {
    if (TChunkHead* next = Current ? Current->Next : First) return next;
    if (!Id) Id = gPoolIds.fetch_add(1, std::memory_order_relaxed) + 1;
    if (Spare == SpareEnd) {
      // Chunks come sixteen at a time, so that their alignment costs little.
      Spare = static_cast<char*>(::operator new(kChunk * 16, std::align_val_t(kChunk)));
      SpareEnd = Spare + kChunk * 16;
      std::lock_guard<std::mutex> g(gChunkLock);
      gChunks->push_back(Spare);
    }
    auto* head = reinterpret_cast<TChunkHead*>(Spare);
    Spare += kChunk;
    head->Owner = Id;
    head->Next = nullptr;
    if (Last)
      Last->Next = head;
    else
      First = head;
    Last = head;
    return head;
  }

  void* Take(size_t ACls) {
    InUse += static_cast<int64_t>((ACls + 1) * 16);
    if (TFreeBlock* b = Free[ACls]) {
      Free[ACls] = b->Next;
      return b;
    }
    size_t size = (ACls + 1) * 16;
    if (static_cast<size_t>(End - Cur) < size) {
      // What is left of the old chunk goes to the free lists of its size.
      while (static_cast<size_t>(End - Cur) >= 16) {
        size_t cls = std::min(static_cast<size_t>(End - Cur) / 16, kClasses) - 1;
        auto* b = reinterpret_cast<TFreeBlock*>(Cur);
        b->Next = Free[cls];
        Free[cls] = b;
        Cur += (cls + 1) * 16;
      }
      Current = NextChunk();
      Cur = reinterpret_cast<char*>(Current) + kHead;
      End = reinterpret_cast<char*>(Current) + kChunk;
    }
    void* r = Cur;
    Cur += size;
    return r;
  }
  void Give(void* ABlock, size_t ACls) {
    auto* head = reinterpret_cast<TChunkHead*>(reinterpret_cast<uintptr_t>(ABlock) & ~(uintptr_t{kChunk} - 1));
    if (head->Owner != Id || !Id) gForeignFree.store(true, std::memory_order_relaxed);
    InUse -= static_cast<int64_t>((ACls + 1) * 16);
    if (InUse == 0 && !gForeignFree.load(std::memory_order_relaxed)) {
      // Everything this pool handed out is back, and only here: start over.
      for (TFreeBlock*& f : Free) f = nullptr;
      Current = nullptr;
      Cur = End = nullptr;
      return;
    }
    auto* b = static_cast<TFreeBlock*>(ABlock);
    b->Next = Free[ACls];
    Free[ACls] = b;
  }
};
thread_local TPool tPool;
}  // namespace

void* XoDOMAlloc(size_t ASize) {
  if (ASize == 0) ASize = 1;
  if (ASize > kPoolMax) return ::operator new(ASize);
  return tPool.Take((ASize - 1) / 16);
}

int64_t XoDOMPoolBytesInUse() { return tPool.InUse; }

void XoDOMFree(void* ABlock, size_t ASize) noexcept {
  if (!ABlock) return;
  if (ASize == 0) ASize = 1;
  if (ASize > kPoolMax) {
    ::operator delete(ABlock);
    return;
  }
  tPool.Give(ABlock, (ASize - 1) / 16);
}
#else
int64_t XoDOMPoolBytesInUse() { return 0; }
void* XoDOMAlloc(size_t ASize) { return ::operator new(ASize ? ASize : 1); }
void XoDOMFree(void* ABlock, size_t) noexcept { ::operator delete(ABlock); }
#endif

void TXoDOMStr::Assign(std::u16string_view AText) {
  if (AText.size() == FLen && FData) {
    std::memcpy(FData, AText.data(), AText.size() * sizeof(char16_t));
    return;
  }
  char16_t* p = nullptr;
  if (!AText.empty()) {
    p = static_cast<char16_t*>(XoDOMAlloc(AText.size() * sizeof(char16_t)));
    std::memcpy(p, AText.data(), AText.size() * sizeof(char16_t));
  }
  if (FData) XoDOMFree(FData, FLen * sizeof(char16_t));
  FData = p;
  FLen = static_cast<uint32_t>(AText.size());
}

// ===========================================================================
// Adapters

namespace {
// Takes one reference off an adapter; an adapter whose count reaches 0 lets
// go of its partner (freeing it if nothing else holds it) and of its parent's
// adapter, which may in turn reach 0. A loop, so a deep chain of adapters
// needs no stack.
void ReleaseAdapter(TXoDOMObjectImpl* AImpl);
}  // namespace

namespace {
// Adapters alive in the process. While there are none, no node can be held
// by an interface, and a subtree that goes can be freed without the checks
// and the unlinking that orphans need.
std::atomic<int64_t> gLiveAdapters{0};
}  // namespace

TXoDOMObjectImpl::TXoDOMObjectImpl(TXoDOMObject* AObject) : FDOMObject(AObject) {
  gLiveAdapters.fetch_add(1, std::memory_order_relaxed);
  SetAutoDestroy(false);
  // The parent's adapter exists already: TXoDOMObject::EnsureDOMImpl makes
  // the chain from the top down.
  if (AObject && AObject->FParent && AObject->FParent->FDOMImpl) {
    FParentImpl = AObject->FParent->FDOMImpl;
    FParentImpl->TXoObject::_AddRef();
  }
}

TXoDOMObjectImpl::~TXoDOMObjectImpl() {
  gLiveAdapters.fetch_sub(1, std::memory_order_relaxed);
  if (FDOMObject) {
    if (FDOMObject->FDOMImpl == this) FDOMObject->FDOMImpl = nullptr;
    FDOMObject = nullptr;
  }
  TXoDOMObjectImpl* parent = FParentImpl;
  FParentImpl = nullptr;
  if (parent) ReleaseAdapter(parent);
}

int32_t TXoDOMObjectImpl::_AddRef() {
  FDirect = true;
  return TXoObject::_AddRef();
}

int32_t TXoDOMObjectImpl::_Release() {
  int32_t r = TXoObject::_Release();
  if (r == 0) ReleaseChainFrom(this);
  return r;
}

void TXoDOMObjectImpl::SetParentImpl(TXoDOMObjectImpl* AParent) {
  if (AParent == FParentImpl) return;
  if (AParent) AParent->TXoObject::_AddRef();
  TXoDOMObjectImpl* old = FParentImpl;
  FParentImpl = AParent;
  if (old) ReleaseAdapter(old);
}

// An adapter at count 0: detach from the partner, free the partner if it may
// go, free the adapter, and go on with the parent's adapter if this was its
// last reference.
void TXoDOMObjectImpl::ReleaseChainFrom(TXoDOMObjectImpl* AImpl) {
  while (AImpl) {
    TXoDOMObject* obj = AImpl->FDOMObject;
    TXoDOMObjectImpl* parent = AImpl->FParentImpl;
    AImpl->FParentImpl = nullptr;
    if (obj) {
      obj->SetDOMImpl(nullptr);
      AImpl->FDOMObject = nullptr;
      // An object dies with its adapter when it is an orphan held by
      // interfaces: the tree let go of it, or a program referenced it
      // directly. A top node that a program owns and that only got an
      // adapter because an interface was taken further down stays.
      bool owned = AImpl->FDirect || (obj->FFlags & TXoDOMObject::kOrphaned);
      if (owned && obj->CanAutoDestroy()) obj->Free();
    }
    delete AImpl;
    AImpl = nullptr;
    if (parent && parent->TXoObject::_Release() == 0) AImpl = parent;
  }
}

namespace {
void ReleaseAdapter(TXoDOMObjectImpl* AImpl) {
  if (AImpl && AImpl->TXoObject::_Release() == 0) TXoDOMObjectImpl::ReleaseChainFrom(AImpl);
}
}  // namespace

TXoDOMObjectImpl* TXoDOMObjectImpl::Hold(TXoDOMObject* AObject) {
  TXoDOMObjectImpl* impl = AObject->EnsureDOMImpl();
  impl->TXoObject::_AddRef();
  return impl;
}

void TXoDOMObjectImpl::Unhold(TXoDOMObjectImpl* AImpl) { ReleaseAdapter(AImpl); }

TXoDOMNode* TXoDOMObjectImpl::Node(IInterface* AIntf) {
  if (!AIntf) return nullptr;
  IXoObject* xo = dynamic_cast<IXoObject*>(AIntf);
  if (!xo) return nullptr;
  TXoObject* impl = xo->Implementor();
  if (auto* nodeImpl = dynamic_cast<TXoDOMNodeImpl*>(impl))
    return dynamic_cast<TXoDOMNode*>(nodeImpl->DOMObject());
  return dynamic_cast<TXoDOMNode*>(impl);
}

// ===========================================================================
// TXoDOMObject

TXoDOMObject::TXoDOMObject() { SetAutoDestroy(false); }

TXoDOMObject::~TXoDOMObject() {
  if (FDOMImpl) {
    TXoDOMObjectImpl* impl = FDOMImpl;
    FDOMImpl = nullptr;
    impl->FDOMObject = nullptr;
    delete impl;
  }
}

TXoDOMObjectImpl* TXoDOMObject::EnsureDOMImpl() {
  if (FDOMImpl) return FDOMImpl;
  // Make the missing adapters from the topmost ancestor down, so that every
  // adapter finds its parent's adapter ready (no recursion up the tree).
  std::vector<TXoDOMObject*> chain;
  for (TXoDOMObject* o = this; o && !o->FDOMImpl; o = o->FParent) chain.push_back(o);
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    TXoDOMObject* o = *it;
    o->SetDOMImpl(o->CreateDOMImpl(o));
  }
  return FDOMImpl;
}

int32_t TXoDOMObject::_AddRef() { return EnsureDOMImpl()->_AddRef(); }

int32_t TXoDOMObject::_Release() {
  if (!FDOMImpl) throw Exception(_cXoDOMNoInterfaces);
  return FDOMImpl->_Release();
}

bool TXoDOMObject::CanAutoDestroy() {
  if (FFlags & kBusy) return false;
  if (FParent && !FParent->Destroying()) return false;
  if (GetRefCount() != 0) return false;
  return !Destroying();
}

bool TXoDOMObject::GetCaseSensitive() { return GetCollation() != TXoXPathCollationASCIICI::ClassRef(); }

TXoXPathCollationClass TXoDOMObject::GetCollation() {
  if (FDOMDocument) return FDOMDocument->GetCollation();
  return DefaultXPathCollation;
}

TXoDOMSelectMatchOption TXoDOMObject::GetSelectMatchOption() {
  if (FDOMDocument) return FDOMDocument->GetSelectMatchOption();
  return DefaultSelectMatchOption;
}

void TXoDOMObject::SetDOMImpl(TXoDOMObjectImpl* AImpl) { FDOMImpl = AImpl; }

void TXoDOMObject::SetDOMDocument(TXoDOMDocument* ADocument) { FDOMDocument = ADocument; }

void TXoDOMObject::SetParentNode(TXoDOMObject* AParent) {
  FParent = AParent;
  if (AParent) FFlags &= ~kOrphaned;
  if (!Destroying()) {
    if (!AParent)
      SetDOMDocument(nullptr);
    else if (AParent->FDOMDocument != FDOMDocument)
      SetDOMDocument(AParent->FDOMDocument);
  }
  if (FDOMImpl) FDOMImpl->SetParentImpl(AParent ? AParent->EnsureDOMImpl() : nullptr);
}

void TXoDOMObject::BeforeDestruction() {
  if (FDOMImpl && FDOMImpl->GetRefCount() > 0) throw Exception(_cXoDOMRefCountNotZero, {ClassName()});
  FFlags |= kDestroying;
}

// ===========================================================================
// Chains

uint8_t TXoDOMTree::TypedKindOf(const TXoDOMNode* ANode) {
  switch (ANode->FNodeType) {
    case ntAttribute:
      return 1;
    case ntElement:
      return 2;
    case ntText:
    case ntCDATA:
    case ntComment:
      return 3;  // only the character-data classes carry these types
    default:
      return 0;
  }
}

void TXoDOMTree::LinkChain(TXoDOMNode* AParent, TXoDOMNode* ANode, TXoDOMNode* ABefore) {
  TXoDOMNode* first = AParent->FFirstChild;
  if (!first) {
    AParent->FFirstChild = ANode;
    ANode->FPrev = ANode;
    ANode->FNext = nullptr;
  } else if (!ABefore) {  // append
    TXoDOMNode* last = first->FPrev;
    last->FNext = ANode;
    ANode->FPrev = last;
    ANode->FNext = nullptr;
    first->FPrev = ANode;
  } else if (ABefore == first) {
    ANode->FPrev = first->FPrev;
    ANode->FNext = first;
    first->FPrev = ANode;
    AParent->FFirstChild = ANode;
  } else {
    TXoDOMNode* prev = ABefore->FPrev;
    prev->FNext = ANode;
    ANode->FPrev = prev;
    ANode->FNext = ABefore;
    ABefore->FPrev = ANode;
  }
  ANode->FFlags |= TXoDOMObject::kInChain;
  ++AParent->FChildCount;
  if (AParent->FExtra) AParent->InvalidateLists();
}

void TXoDOMTree::UnlinkChain(TXoDOMNode* AParent, TXoDOMNode* ANode) {
  TXoDOMNode* first = AParent->FFirstChild;
  if (ANode == first) {
    AParent->FFirstChild = ANode->FNext;
    if (ANode->FNext) ANode->FNext->FPrev = ANode->FPrev;
  } else {
    ANode->FPrev->FNext = ANode->FNext;
    if (ANode->FNext)
      ANode->FNext->FPrev = ANode->FPrev;
    else
      first->FPrev = ANode->FPrev;  // ANode was the last
  }
  ANode->FPrev = ANode->FNext = nullptr;
  ANode->FFlags &= ~TXoDOMObject::kInChain;
  --AParent->FChildCount;
  if (AParent->FExtra) AParent->InvalidateLists();
}

void TXoDOMTree::LinkTyped(TXoDOMElement* AParent, uint8_t AKind, TXoDOMNode* ANode, TXoDOMNode* ABefore) {
  TXoDOMNode*& head = AParent->FTypedFirst[AKind - 1];
  TXoDOMNode* first = head;
  if (!first) {
    head = ANode;
    ANode->FTPrev = ANode;
    ANode->FTNext = nullptr;
  } else if (!ABefore) {
    TXoDOMNode* last = first->FTPrev;
    last->FTNext = ANode;
    ANode->FTPrev = last;
    ANode->FTNext = nullptr;
    first->FTPrev = ANode;
  } else if (ABefore == first) {
    ANode->FTPrev = first->FTPrev;
    ANode->FTNext = first;
    first->FTPrev = ANode;
    head = ANode;
  } else {
    TXoDOMNode* prev = ABefore->FTPrev;
    prev->FTNext = ANode;
    ANode->FTPrev = prev;
    ANode->FTNext = ABefore;
    ABefore->FTPrev = ANode;
  }
  ANode->FTypedKind = AKind;
  ANode->FFlags |= TXoDOMObject::kInTyped;
  ++AParent->FTypedCount[AKind - 1];
  if (AParent->FExtra) AParent->InvalidateLists();
}

void TXoDOMTree::UnlinkTyped(TXoDOMElement* AParent, TXoDOMNode* ANode) {
  uint8_t kind = ANode->FTypedKind;
  TXoDOMNode*& head = AParent->FTypedFirst[kind - 1];
  TXoDOMNode* first = head;
  if (ANode == first) {
    head = ANode->FTNext;
    if (ANode->FTNext) ANode->FTNext->FTPrev = ANode->FTPrev;
  } else {
    ANode->FTPrev->FTNext = ANode->FTNext;
    if (ANode->FTNext)
      ANode->FTNext->FTPrev = ANode->FTPrev;
    else
      first->FTPrev = ANode->FTPrev;
  }
  ANode->FTPrev = ANode->FTNext = nullptr;
  ANode->FTypedKind = 0;
  ANode->FFlags &= ~TXoDOMObject::kInTyped;
  --AParent->FTypedCount[kind - 1];
  if (AParent->FExtra) AParent->InvalidateLists();
}

void TXoDOMTree::AddAt(TXoDOMNode* AOwner, uint8_t AKind, TXoDOMNode* ANode, TXoDOMNode* ARefNode,
                       TXoDOMPosition APosition) {
  auto inList = [&](TXoDOMNode* n) {
    if (n->FParent != AOwner) return false;
    if (AKind == 0) return (n->FFlags & TXoDOMObject::kInChain) != 0;
    return (n->FFlags & TXoDOMObject::kInTyped) && n->FTypedKind == AKind;
  };
  auto* el = static_cast<TXoDOMElement*>(AOwner);  // only used when AKind > 0
  if (ARefNode == ANode) ARefNode = nullptr;
  if ((APosition == rdpBefore || APosition == rdpAfter) && (!ARefNode || !inList(ARefNode)))
    APosition = APosition == rdpBefore ? rdpFirst : rdpLast;
  if (inList(ANode)) {
    if (AKind == 0)
      UnlinkChain(AOwner, ANode);
    else
      UnlinkTyped(el, ANode);
  }
  TXoDOMNode* before = nullptr;  // nil: append
  switch (APosition) {
    case rdpFirst:
      before = AKind == 0 ? AOwner->FFirstChild : el->FTypedFirst[AKind - 1];
      break;
    case rdpLast:
      break;
    case rdpBefore:
      before = ARefNode;
      break;
    case rdpAfter:
      before = AKind == 0 ? ARefNode->FNext : ARefNode->FTNext;
      break;
  }
  if (AKind == 0)
    LinkChain(AOwner, ANode, before);
  else
    LinkTyped(el, AKind, ANode, before);
}

void TXoDOMTree::DetachRaw(TXoDOMNode* ANode) {
  auto* parent = static_cast<TXoDOMNode*>(ANode->FParent);
  if (ANode->FFlags & TXoDOMObject::kInTyped) {
    auto* el = XoDOMAsElement(parent);
    if (!el) throw EXoDomHierarchyRequest(_cXoDOMInOtherList);
    UnlinkTyped(el, ANode);
  }
  if (ANode->FFlags & TXoDOMObject::kInChain) {
    if (!parent) throw EXoDomHierarchyRequest(_cXoDOMInOtherList);
    UnlinkChain(parent, ANode);
  }
}

namespace {
// The child of ANode that Clear takes next: the last one that is no
// attribute, or the last attribute when only attributes are left.
TXoDOMNode* NextToClear(TXoDOMNode* ANode) {
  TXoDOMNode* last = ANode->LastChild();
  for (TXoDOMNode* n = last; n; n = n == ANode->FirstChild() ? nullptr : n->PreviousSibling())
    if (n->GetNodeType() != ntAttribute) return n;
  return last;
}
}  // namespace

void TXoDOMTree::Dispose(TXoDOMNode* ANode) {
  ANode->FFlags |= TXoDOMObject::kDestroying;
  if (gLiveAdapters.load(std::memory_order_relaxed) == 0) {
    // Nothing below can be held: free the children after their own
    // children, without unlinking one by one. The walk goes from the last
    // child to the first: the pool hands freed blocks out again in the
    // reverse order, so the next tree built gets them in document order,
    // which is the order in which it was laid out in memory (a forward scan
    // of memory instead of a jump per node).
    TXoDOMNode* top = ANode->FFirstChild;
    ANode->FFirstChild = nullptr;
    ANode->FChildCount = 0;
    if (ANode->FNodeType == ntElement) {
      auto* el = static_cast<TXoDOMElement*>(ANode);
      el->FTypedFirst[0] = el->FTypedFirst[1] = el->FTypedFirst[2] = nullptr;
      el->FTypedCount[0] = el->FTypedCount[1] = el->FTypedCount[2] = 0;
    }
    if (!top) return;
    TXoDOMNode* cur = top->FPrev;  // the last child
    for (;;) {
      while (cur->FFirstChild) cur = cur->FFirstChild->FPrev;
      auto* parent = static_cast<TXoDOMNode*>(cur->FParent);
      const bool first = parent == ANode ? cur == top : cur == parent->FFirstChild;
      TXoDOMNode* prev = cur->FPrev;
      if (!first) __builtin_prefetch(prev);  // its fields are read next, after this node is gone
      cur->FFlags |= TXoDOMObject::kDestroying;
      cur->FParent = nullptr;
      delete cur;
      if (!first) {
        cur = prev;
        continue;
      }
      if (parent == ANode) break;
      parent->FFirstChild = nullptr;  // a leaf now: freed on the next turn
      cur = parent;
    }
    return;
  }
  // Depth-first, children before their parent; the parent pointer is the
  // only stack.
  TXoDOMNode* cur = ANode;
  for (;;) {
    if (TXoDOMNode* child = cur->FFirstChild ? NextToClear(cur) : nullptr) {
      if (!child->CanAutoDestroy()) {
        cur->RemoveChild(child);  // held by an interface: leaves as an orphan
        continue;
      }
      child->FFlags |= TXoDOMObject::kDestroying;
      cur = child;
      continue;
    }
    auto* parent = static_cast<TXoDOMNode*>(cur->FParent);
    if (cur == ANode) break;
    // Both are going: take the child out of the chains directly.
    if (cur->FFlags & TXoDOMObject::kInTyped) UnlinkTyped(static_cast<TXoDOMElement*>(parent), cur);
    if (cur->FFlags & TXoDOMObject::kInChain) UnlinkChain(parent, cur);
    cur->FParent = nullptr;
    delete cur;
    cur = parent;
  }
}

void TXoDOMTree::ClearChildren(TXoDOMNode* ANode) {
  bool wasBusy = ANode->FFlags & TXoDOMObject::kBusy;
  ANode->FFlags |= TXoDOMObject::kBusy;
  try {
    while (ANode->FFirstChild) {
      TXoDOMNode* child = NextToClear(ANode);
      if (!child->CanAutoDestroy()) {
        ANode->RemoveChild(child);
      } else {
        Dispose(child);
        if (child->FParent) ANode->RemoveChild(child);
        delete child;
      }
    }
  } catch (...) {
    if (!wasBusy) ANode->FFlags &= ~TXoDOMObject::kBusy;
    throw;
  }
  if (!wasBusy) ANode->FFlags &= ~TXoDOMObject::kBusy;
}

// ===========================================================================
// TXoDOMNode

TXoDOMNode::TXoDOMNode() = default;

TXoDOMNode::~TXoDOMNode() {
  if (!Destroying()) {
    // Deleted without Free(): do the same work, minus the check that may
    // raise.
    FFlags |= kDestroying;
    TXoDOMTree::ClearChildren(this);
    if (auto* parent = ParentNode()) parent->RemoveChild(this);
  }
  if (FExtra) {
    TXoDOMNodeListBase* lists[] = {FExtra->ChildNodes, FExtra->Attributes, FExtra->Elements, FExtra->CharNodes,
                                   FExtra->Namespaces};
    for (TXoDOMNodeListBase* l : lists)
      if (l) {
        l->FFlags |= kDestroying;
        delete l;
      }
    delete FExtra;
  }
}

void TXoDOMNode::BeforeDestruction() {
  TXoDOMObject::BeforeDestruction();  // raises while the adapter is referenced
  TXoDOMTree::ClearChildren(this);
  if (auto* parent = ParentNode()) parent->RemoveChild(this);
}

TXoDOMObjectImpl* TXoDOMNode::CreateDOMImpl(TXoDOMObject* AObject) { return new TXoDOMNodeImpl(AObject); }

bool TXoDOMNode::CanAutoDestroy() {
  if (FDOMImpl) return false;
  return TXoDOMObject::CanAutoDestroy();
}

void TXoDOMNode::SetDOMDocument(TXoDOMDocument* ADocument) {
  TXoDOMTree::ForSubtree(this, [ADocument](TXoDOMNode* n) { n->FDOMDocument = ADocument; });
}

void TXoDOMNode::SetParentNode(TXoDOMObject* AParent) {
  TXoDOMObject::SetParentNode(AParent);
  if (Destroying()) return;
  if (FDOMDocument) {
    if (FDOMDocument->FLoadState != lsLoading || FNodeType == ntElement) RefreshNamespaces();
  } else if (!AParent) {
    // Detached: forget declarations of the former tree, which may go away
    // while this node lives on.
    RefreshNamespaces();
  }
}

TXoDOMNodeExtra* TXoDOMNode::Extra() {
  if (!FExtra) {
    FExtra = new TXoDOMNodeExtra();
    FFlags |= kHasExtra;
  }
  return FExtra;
}

void TXoDOMNode::InvalidateLists() {
  if (!FExtra) return;
  TXoDOMNodeListBase* lists[] = {FExtra->ChildNodes, FExtra->Attributes, FExtra->Elements, FExtra->CharNodes};
  for (TXoDOMNodeListBase* l : lists)
    if (l) l->InvalidateCache();
}

TXoDOMNodeList* TXoDOMNode::ChildNodes() {
  TXoDOMNodeExtra* x = Extra();
  if (!x->ChildNodes) {
    x->ChildNodes = new TXoDOMNodeList();
    x->ChildNodes->InitView(this, TXoDOMNodeListBase::lkChildren);
  }
  return x->ChildNodes;
}

TXoDOMParseError& TXoDOMNode::OnParseWarning() { return Extra()->OnParseWarning; }
TXoDOMParseError& TXoDOMNode::OnParseError() { return Extra()->OnParseError; }
TXoDOMParseError& TXoDOMNode::OnParseFatalError() { return Extra()->OnParseFatalError; }

bool TXoDOMNode::GetPreserveSpace() {
  if (auto* p = ParentNode()) return p->GetPreserveSpace();
  return DefaultPreserveCase;
}

XoXMLString TXoDOMNode::GetNodeValue() { return {}; }
XoXMLString TXoDOMNode::GetText() { return {}; }
XoXMLString TXoDOMNode::GetInnerXML() { return {}; }
XoXMLString TXoDOMNode::GetFormattedInnerXML() { return {}; }

XoXMLString TXoDOMNode::GetNamespaceURI() {
  if (auto* p = ParentNode()) return p->GetNamespaceURI();
  return XoXMLString(NsURI());
}

void TXoDOMNode::SetNodeValue(std::u16string_view) { throw EXoDomNotSupported(_cXoDOMSetNodeValueNotSupported); }
void TXoDOMNode::SetInnerXML(std::u16string_view) { throw EXoDomNotSupported(_cXoDOMSetInnerXMLNotSupported); }

void TXoDOMNode::SetPrefix(std::u16string_view APrefix) {
  if (FName->Prefix() == APrefix && (FName->Prefix().size() > 0 || FName->QName() == FName->LocalName())) return;
  FName = TXoDOMNameRef(TXoDOMName::Make(APrefix, FName->LocalName()));
}

void TXoDOMNode::SetQualifiedName(std::u16string_view AName) {
  // The record splits at the first colon; SetPrefix then stores the prefix
  // through the class's own override.
  FName = TXoDOMNameRef(AName);
  SetPrefix(XoXMLString(FName->Prefix()));
}

void TXoDOMNode::RefreshNamespaces() {
  TXoDOMTree::ForSubtree(this, [](TXoDOMNode* n) { n->RefreshOwnNamespaces(); });
}

void TXoDOMNode::NormalizeTextNodes() {}

TXoDOMNode* TXoDOMNode::NewInstance() const {
  TXoTypeInfo* t = TXoTypes::GetTypeInfo(this);
  TObject* o = t ? t->CreateInstance() : nullptr;
  auto* n = dynamic_cast<TXoDOMNode*>(o);
  if (!n) {
    if (o) o->Free();
    throw ENotSupportedException(u"Failed to create an instance of %s!", {ClassName()});
  }
  return n;
}

TXoDOMNode* TXoDOMNode::CreateClone() {
  TXoDOMNode* n = NewInstance();
  try {
    n->SetQualifiedName(GetQualifiedName());
  } catch (...) {
    n->Free();
    throw;
  }
  return n;
}

TXoDOMNode* TXoDOMNode::CloneNode(bool ADeep) {
  TXoDOMNode* top = CreateClone();
  if (!ADeep || !FFirstChild) return top;
  try {
    // Walk the source in document order; `dst` is the copy of the source
    // node whose children are being copied.
    TXoDOMNode* src = FFirstChild;
    TXoDOMNode* dst = top;
    while (src) {
      TXoDOMNode* c = src->CreateClone();
      dst->AddChild(c, nullptr, rdpAfter);
      if (src->FFirstChild) {
        src = src->FFirstChild;
        dst = c;
        continue;
      }
      while (src != this && !src->FNext) {
        src = src->ParentNode();
        dst = dst->ParentNode();
      }
      if (src == this) break;
      src = src->FNext;
    }
  } catch (...) {
    top->Free();
    throw;
  }
  return top;
}

TXoDOMNode* TXoDOMNode::AddChild(TXoDOMNodeClass ANodeClass, TXoDOMNode* ARefNode, TXoDOMPosition APosition) {
  TObject* o = ANodeClass ? ANodeClass->CreateInstance() : nullptr;
  auto* n = dynamic_cast<TXoDOMNode*>(o);
  if (!n) {
    if (o) o->Free();
    throw EXoDomException(_cXoDOMNodeClassRequired);
  }
  try {
    return AddChild(n, ARefNode, APosition);
  } catch (...) {
    if (!n->FParent) n->Free();
    throw;
  }
}

TXoDOMNode* TXoDOMNode::AddChild(TXoDOMNode* ANode, TXoDOMNode* ARefNode, TXoDOMPosition APosition) {
  if (ANode->FFlags & kInChain) TXoDOMTree::DetachRaw(ANode);
  TXoDOMTree::AddAt(this, 0, ANode, ARefNode, APosition);
  ANode->SetParentNode(this);
  return ANode;
}

TXoDOMNode* TXoDOMNode::AppendChild(TXoDOMNode* ANode) { return AddChild(ANode, nullptr, rdpLast); }

void TXoDOMNode::RemoveChild(TXoDOMNode* ANode) {
  if (!ANode) return;
  bool wasBusy = FFlags & kBusy;
  FFlags |= kBusy;
  try {
    ANode->SetParentNode(nullptr);
    if (ANode->FFlags & kInChain) TXoDOMTree::UnlinkChain(this, ANode);
    if (ANode->CanAutoDestroy())
      ANode->Free();
    else if (ANode->FDOMImpl)
      ANode->FFlags |= kOrphaned;
  } catch (...) {
    if (!wasBusy) FFlags &= ~kBusy;
    throw;
  }
  if (!wasBusy) FFlags &= ~kBusy;
}

void TXoDOMNode::Clear() { TXoDOMTree::ClearChildren(this); }

bool TXoDOMNode::HasAttributes() { return false; }

TXoDOMNode* TXoDOMNode::NextSibling() const {
  if (!FParent || !(FFlags & kInChain)) return nullptr;
  return FNext;
}

TXoDOMNode* TXoDOMNode::PreviousSibling() const {
  auto* p = ParentNode();
  if (!p || !(FFlags & kInChain) || p->FFirstChild == this) return nullptr;
  return FPrev;
}

XoXMLString TXoDOMNode::NodePath(bool ALocalName, std::u16string_view AKeyAttribute) {
  // Steps from this node up to the top, then joined in reverse.
  std::vector<XoXMLString> steps;
  for (TXoDOMNode* n = this; n; n = n->ParentNode()) {
    if (n->FNodeType == ntDocument) {
      steps.emplace_back();
      break;
    }
    XoXMLString step;
    if (n->FNodeType == ntAttribute) step = u"@";
    step += ALocalName ? n->GetLocalName() : n->GetQualifiedName();
    if (n == this && !AKeyAttribute.empty() && n->FNodeType == ntElement) {
      TXoDOMSelectOptions opts{soCaseInsensitive};
      if (ALocalName) opts.Include(soLocalName);
      if (TXoDOMAttribute* a = static_cast<TXoDOMElement*>(n)->FindAttribute(AKeyAttribute, opts)) {
        step += u"[@";
        step += AKeyAttribute;
        step += u"=\"";
        step += a->GetNodeValue();
        step += u"\"]";
      }
    }
    steps.push_back(std::move(step));
  }
  if (steps.size() == 1 && steps[0].empty()) return {};  // a document
  XoXMLString r;
  for (auto it = steps.rbegin(); it != steps.rend(); ++it) {
    if (it != steps.rbegin()) r += u'/';
    r += *it;
  }
  return r;
}

// ===========================================================================
// Registration of the classes (the virtual constructor of AddChild and
// CreateClone goes through it).

XO_DESCRIBE(TXoDOMObjectImpl, u"uXoXMLDOM.TXoDOMObjectImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMNodeImpl, u"uXoXMLDOM.TXoDOMNodeImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMNodeListImpl, u"uXoXMLDOM.TXoDOMNodeListImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMElementListImpl, u"uXoXMLDOM.TXoDOMElementListImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMAttrListImpl, u"uXoXMLDOM.TXoDOMAttrListImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMCharacterDataImpl, u"uXoXMLDOM.TXoDOMCharacterDataImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMTextImpl, u"uXoXMLDOM.TXoDOMTextImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMCommentImpl, u"uXoXMLDOM.TXoDOMCommentImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMCDATAImpl, u"uXoXMLDOM.TXoDOMCDATAImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMAttributeImpl, u"uXoXMLDOM.TXoDOMAttributeImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMElementImpl, u"uXoXMLDOM.TXoDOMElementImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMProcessingInstructionImpl, u"uXoXMLDOM.TXoDOMProcessingInstructionImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMDocumentImpl, u"uXoXMLDOM.TXoDOMDocumentImpl", c) { (void)c; }
XO_DESCRIBE(TXoDOMObject, u"uXoXMLDOM.TXoDOMObject", c) { (void)c; }
XO_DESCRIBE(TXoDOMNode, u"uXoXMLDOM.TXoDOMNode", c) { (void)c; }
XO_DESCRIBE(TXoDOMNodeListBase, u"uXoXMLDOM.TXoDOMNodeListBase", c) { (void)c; }
XO_DESCRIBE(TXoDOMNodeList, u"uXoXMLDOM.TXoDOMNodeList", c) { (void)c; }
XO_DESCRIBE(TXoDOMElementList, u"uXoXMLDOM.TXoDOMElementList", c) { (void)c; }
XO_DESCRIBE(TXoDOMAttrList, u"uXoXMLDOM.TXoDOMAttrList", c) { (void)c; }
XO_DESCRIBE(TXoDOMCharacterData, u"uXoXMLDOM.TXoDOMCharacterData", c) { (void)c; }
XO_DESCRIBE(TXoDOMText, u"uXoXMLDOM.TXoDOMText", c) { (void)c; }
XO_DESCRIBE(TXoDOMComment, u"uXoXMLDOM.TXoDOMComment", c) { (void)c; }
XO_DESCRIBE(TXoDOMCDATA, u"uXoXMLDOM.TXoDOMCDATA", c) { (void)c; }
XO_DESCRIBE(TXoDOMAttribute, u"uXoXMLDOM.TXoDOMAttribute", c) { (void)c; }
XO_DESCRIBE(TXoDOMProcessingInstruction, u"uXoXMLDOM.TXoDOMProcessingInstruction", c) { (void)c; }
XO_DESCRIBE(TXoDOMElement, u"uXoXMLDOM.TXoDOMElement", c) { (void)c; }
XO_DESCRIBE(TXoDOMDocument, u"uXoXMLDOM.TXoDOMDocument", c) { (void)c; }

}  // namespace xo
