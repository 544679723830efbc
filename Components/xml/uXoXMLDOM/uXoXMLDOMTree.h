// Internals shared by the implementation files of uXoXMLDOM (not installed as
// part of the public API; the public header is uXoXMLDOM.h).
#pragma once

#include "../uXoXMLDOM.h"

namespace xo {

inline constexpr char16_t cXoDOMSource[] = u"xml/uXoXMLDOM";

// What a node keeps only once somebody asks for it: the list views and the
// loader's error events.
struct TXoDOMNodeExtra {
  TXoDOMNodeList* ChildNodes = nullptr;
  TXoDOMAttrList* Attributes = nullptr;
  TXoDOMElementList* Elements = nullptr;
  TXoDOMNodeList* CharNodes = nullptr;
  TXoDOMAttrList* Namespaces = nullptr;
  TXoDOMParseError OnParseWarning, OnParseError, OnParseFatalError;
};

// The namespace declarations in scope at an element, shared (counted) by the
// elements below it that declare nothing of their own.
struct TXoDOMNSScope {
  int32_t Refs = 1;
  std::vector<TXoDOMNode*> Items;
};

// Chain surgery. All children of a node form one chain (FPrev of the first
// points at the last; FNext of the last is nil); an element's attributes,
// child elements and text nodes form three more chains through FTPrev/FTNext.
struct TXoDOMTree {
  // Typed chain of a node under an element: 1 attributes, 2 elements, 3 text,
  // CDATA and comments, 0 none (processing instructions, documents).
  static uint8_t TypedKindOf(const TXoDOMNode* ANode);

  static void LinkChain(TXoDOMNode* AParent, TXoDOMNode* ANode, TXoDOMNode* ABefore);
  static void UnlinkChain(TXoDOMNode* AParent, TXoDOMNode* ANode);
  static void LinkTyped(TXoDOMElement* AParent, uint8_t AKind, TXoDOMNode* ANode, TXoDOMNode* ABefore);
  static void UnlinkTyped(TXoDOMElement* AParent, TXoDOMNode* ANode);
  // Puts ANode into the chain of AOwner (AKind 0) or into AOwner's typed
  // chain AKind, by the position rules of the lists: a reference that is not
  // in that chain counts as absent (before: first, after: last).
  static void AddAt(TXoDOMNode* AOwner, uint8_t AKind, TXoDOMNode* ANode, TXoDOMNode* ARefNode,
                    TXoDOMPosition APosition);
  // Takes a node out of every chain of its current parent without any of the
  // node-level steps (used when a caller adds a node that is still linked).
  static void DetachRaw(TXoDOMNode* ANode);

  // Disposes a node and its subtree, children last to first (elements and
  // text before attributes, so that a declaration outlives the nodes that may
  // still read it); nodes with an adapter leave as orphans. No recursion.
  static void Dispose(TXoDOMNode* ANode);
  // The Clear of the Parts for ANode's children, as a loop.
  static void ClearChildren(TXoDOMNode* ANode);

  // Calls F for ANode and every node below it, in document order, with no
  // recursion. F may add children to the node it is given.
  template <class F>
  static void ForSubtree(TXoDOMNode* ANode, F&& AFunc) {
    TXoDOMNode* cur = ANode;
    while (cur) {
      AFunc(cur);
      if (cur->FFirstChild) {
        cur = cur->FFirstChild;
        continue;
      }
      while (cur != ANode && !cur->FNext) cur = static_cast<TXoDOMNode*>(cur->FParent);
      if (cur == ANode) break;
      cur = cur->FNext;
    }
  }

  static TXoDOMNodeExtra* ExtraOf(TXoDOMNode* ANode) { return ANode->FExtra; }
};

// Name comparison under a collation, with the shortcut of shared records.
inline bool XoDOMSameName(TXoXPathCollationClass ACollation, std::u16string_view A, std::u16string_view B) {
  if (A.size() != B.size()) return false;
  return ACollation->SameText(A, B);
}

// The collation a select-option set asks for, or ADefault.
TXoXPathCollationClass XoDOMCollationOf(TXoDOMSelectOptions AOptions, TXoXPathCollationClass ADefault);

}  // namespace xo
