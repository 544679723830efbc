// uXoXMLDOM, JSON output: every node writes itself as JSON text, straight to
// the stream. Members are named after local names; an element with child
// elements is an object whose equal names gather into an array, a leaf
// element is a value typed through GetAsValue.
//
// The element writer is one loop with its own stack of open objects and
// arrays, so a tree of any depth is written without deep recursion.
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "uXoJSON.h"
#include "uXoXMLDOM.h"

namespace xo {

namespace {

// Writes the pieces of JSON text of one save: layout, names and values.
class TJSONOut {
public:
  TJSONOut(TStream* AStream, uint16_t ACodePage, bool AFormatted)
      : FStream(AStream), FCodePage(ACodePage), FFormatted(AFormatted) {}

  void Text(std::u16string_view AText) { XoDOMWriteText(FStream, AText, FCodePage); }
  void LineBreak() {
    if (FFormatted) Text(u"\r\n");
  }
  void Indent(int32_t ALevel) {
    if (!FFormatted || ALevel <= 0) return;
    static const std::u16string blanks(256, u' ');
    size_t n = static_cast<size_t>(ALevel) * 2;
    while (n > 0) {
      const size_t k = std::min(n, blanks.size());
      Text(std::u16string_view(blanks).substr(0, k));
      n -= k;
    }
  }
  void Separator() {
    Text(u",");
    LineBreak();
  }
  // A text between double quotes, escaped for JSON.
  void String(std::u16string_view AText) {
    FBuf.assign(1, u'"');
    FBuf += XoStrToJSON(AText);
    FBuf += u'"';
    Text(FBuf);
  }
  // "name": with every "." of the name replaced by "_" when AReplaceDots.
  void Name(std::u16string_view AName, bool AReplaceDots) {
    FBuf.assign(1, u'"');
    FBuf.append(AName);
    if (AReplaceDots)
      for (size_t i = 1; i < FBuf.size(); ++i)
        if (FBuf[i] == u'.') FBuf[i] = u'_';
    FBuf += u"\": ";
    Text(FBuf);
  }
  TStream* Stream() const { return FStream; }
  uint16_t CodePage() const { return FCodePage; }
  bool Formatted() const { return FFormatted; }

private:
  TStream* FStream;
  uint16_t FCodePage;
  bool FFormatted;
  std::u16string FBuf;
};

// The attributes that appear in JSON: no declarations, nothing in the XML
// Schema or XML Schema-instance namespaces.
bool IsJSONAttribute(TXoDOMAttribute* AAttr) {
  if (AAttr->IsNamespace()) return false;
  const XoXMLString uri = AAttr->GetNamespaceURI();
  return !XoSameText(uri, cXoXSINamespaceURI) && !XoSameText(uri, cXoXSDNamespaceURI);
}

void CollectAttributes(TXoDOMElement* AElement, std::vector<TXoDOMAttribute*>& AList) {
  AList.clear();
  for (TXoDOMAttribute* a = AElement->FirstAttributeNode(); a;
       a = static_cast<TXoDOMAttribute*>(TXoDOMElement::NextTyped(a)))
    if (IsJSONAttribute(a)) AList.push_back(a);
}

// The value of an element without child elements.
void WriteLeafValue(TJSONOut& AOut, TXoDOMElement* AElement) {
  const TValue v = AElement->GetAsValue();
  const TXoTypeKind kind = v.IsEmpty() ? xtkUnknown : v.TypeKind();
  if (kind == xtkEnumeration || kind == xtkSet) {
    AOut.Text(XoValToJSON(v));
    return;
  }
  switch (TXoTypes::ToMainTypeKind(kind)) {
    case mtkInteger: {
      const XoXMLString text = AElement->GetNodeValue();
      if (text.empty()) {
        AOut.Text(u"null");
      } else {
        const char16_t c = text[0];
        if (c == u'+' || c == u'-' || c == u'.' || (c >= u'0' && c <= u'9'))
          AOut.Text(text);
        else
          AOut.String(text);
      }
      return;
    }
    case mtkFloat:
      AOut.Text(AElement->GetNodeValue());
      return;
    case mtkString:
    case mtkDateTime:
      AOut.String(AElement->GetNodeValue());
      return;
    case mtkBoolean:
      AOut.Text(v.AsBoolean() ? u"true" : u"false");
      return;
    default:
      AOut.Text(u"null");
      return;
  }
}

// The element writer. A frame is an object or array being written; the
// steps of one element are WriteElement (its name and either its value or
// the opening of its object) and the frames it pushes.
class TJSONElementWriter {
public:
  TJSONElementWriter(TJSONOut& AOut, int32_t& ALevel) : Out(AOut), Level(ALevel) {}

  void Run(TXoDOMElement* AElement) {
    WriteElement(AElement);
    while (Depth > 0) Step();
  }

private:
  enum TKind : uint8_t { fkObject, fkArray, fkItem };
  struct TFrame {
    TKind Kind;
    bool Started = false;  // fkObject: a member has been written
    size_t Pos = 0;
    std::vector<TXoDOMNode*> Nodes;  // child elements; array items; item members
    std::vector<bool> Taken;         // fkObject: written already (as part of an array)
    // fkObject with many children: the positions of each local name.
    std::unordered_map<std::u16string_view, std::vector<size_t>> Groups;
  };
  // Objects with at most this many children find equal names by a scan.
  static constexpr size_t kScanLimit = 8;

  // A frame of kind AKind on top of the stack. Frames are kept for reuse,
  // so that their vectors keep their storage from one element to the next.
  TFrame& Push(TKind AKind) {
    if (Depth == Pool.size()) Pool.push_back(std::make_unique<TFrame>());
    TFrame& f = *Pool[Depth++];
    f.Kind = AKind;
    f.Started = false;
    f.Pos = 0;
    f.Nodes.clear();
    f.Taken.clear();
    f.Groups.clear();
    return f;
  }

  // Steps 1 to 4 of an element: the name, then the leaf value with the
  // attributes beside it, or the opening of the object with its attributes.
  void WriteElement(TXoDOMElement* E) {
    Out.Indent(Level);
    Out.Name(E->LocalNameView(), true);
    CollectAttributes(E, Attrs);
    if (!E->HasChildElements()) {
      WriteLeafValue(Out, E);
      for (TXoDOMAttribute* a : Attrs) {
        Out.Text(u", ");
        Out.LineBreak();
        Out.Indent(Level);
        a->SaveToJSONStream(Out.Stream(), Out.CodePage(), false);
      }
      return;
    }
    if (!Attrs.empty()) {
      Out.Text(u"{");
      ++Level;
      for (TXoDOMAttribute* a : Attrs) {
        Out.LineBreak();
        a->_SaveToJSONStream(Out.Stream(), Out.CodePage(), Out.Formatted(), Level);
        Out.Text(u",");
      }
    } else {
      ++Level;
      Out.Text(u"{");
    }
    Out.LineBreak();
    TFrame& f = Push(fkObject);
    for (TXoDOMElement* c = E->FirstElementNode(); c; c = static_cast<TXoDOMElement*>(TXoDOMElement::NextTyped(c)))
      f.Nodes.push_back(c);
    if (f.Nodes.size() > kScanLimit)
      for (size_t i = 0; i < f.Nodes.size(); ++i) f.Groups[f.Nodes[i]->LocalNameView()].push_back(i);
    f.Taken.assign(f.Nodes.size(), false);
  }

  void Close(const char16_t* ABracket) {
    --Level;
    Out.LineBreak();
    Out.Indent(Level);
    Out.Text(ABracket);
    --Depth;
  }

  void Step() {
    TFrame& f = *Pool[Depth - 1];
    switch (f.Kind) {
      case fkObject: {
        while (f.Pos < f.Nodes.size() && f.Taken[f.Pos]) ++f.Pos;
        if (f.Pos == f.Nodes.size()) return Close(u"}");
        const size_t i = f.Pos++;
        if (f.Started) Out.Separator();
        f.Started = true;
        auto* e = static_cast<TXoDOMElement*>(f.Nodes[i]);
        const std::vector<size_t>* group;
        if (f.Nodes.size() > kScanLimit) {
          group = &f.Groups[e->LocalNameView()];
        } else {
          Scan.clear();
          for (size_t k = i; k < f.Nodes.size(); ++k)
            if (!f.Taken[k] && f.Nodes[k]->LocalNameView() == e->LocalNameView()) Scan.push_back(k);
          group = &Scan;
        }
        if (group->size() == 1) {
          f.Taken[i] = true;
          return WriteElement(e);  // may push a frame
        }
        // Equal names: one array at the place of the first of them.
        TFrame& a = Push(fkArray);
        for (size_t k : *group) {
          f.Taken[k] = true;
          a.Nodes.push_back(f.Nodes[k]);
        }
        Out.Indent(Level);
        Out.Name(e->LocalNameView(), false);
        Out.Text(u"[");
        Out.LineBreak();
        ++Level;
        return;
      }
      case fkArray: {
        if (f.Pos == f.Nodes.size()) return Close(u"]");
        if (f.Pos > 0) Out.Separator();
        auto* e = static_cast<TXoDOMElement*>(f.Nodes[f.Pos++]);
        Out.Indent(Level);
        if (!e->HasChildElements()) return WriteLeafValue(Out, e);
        // An item with child elements: its attributes and children, each on
        // its own, with no grouping.
        Out.Text(u"{");
        Out.LineBreak();
        ++Level;
        TFrame& item = Push(fkItem);
        CollectAttributes(e, Attrs);
        item.Nodes.assign(Attrs.begin(), Attrs.end());
        for (TXoDOMElement* c = e->FirstElementNode(); c;
             c = static_cast<TXoDOMElement*>(TXoDOMElement::NextTyped(c)))
          item.Nodes.push_back(c);
        return;
      }
      case fkItem: {
        if (f.Pos == f.Nodes.size()) return Close(u"}");
        if (f.Pos > 0) Out.Separator();
        TXoDOMNode* n = f.Nodes[f.Pos++];
        if (auto* e = dynamic_cast<TXoDOMElement*>(n)) return WriteElement(e);
        n->_SaveToJSONStream(Out.Stream(), Out.CodePage(), Out.Formatted(), Level);
        return;
      }
    }
  }

  TJSONOut& Out;
  int32_t& Level;
  std::vector<std::unique_ptr<TFrame>> Pool;  // Pool[0, Depth) are open
  size_t Depth = 0;
  std::vector<size_t> Scan;
  std::vector<TXoDOMAttribute*> Attrs;
};

}  // namespace

// ---------------------------------------------------------------------------
// Nodes

void TXoDOMNode::_SaveToJSONStream(TStream*, uint16_t, bool, int32_t&) {}

void TXoDOMNode::SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) {
  int32_t level = 1;
  _SaveToJSONStream(AStream, ACodePage, AFormatted, level);
}

void TXoDOMAttribute::_SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) {
  if (!IsJSONAttribute(this)) return;
  std::u16string name;
  TXoDOMElement* parent = dynamic_cast<TXoDOMElement*>(ParentNode());
  if (parent) {
    name.assign(parent->LocalNameView());
    name += u'_';
  }
  name.append(LocalNameView());
  for (char16_t& c : name)
    if (c == u'.') c = u'_';
  // A child element of the same name keeps the name for itself.
  if (parent)
    while (parent->FindElement(name, {soLocalName})) name.insert(name.begin(), u'_');
  TJSONOut out(AStream, ACodePage, AFormatted);
  out.Indent(ALevel);
  out.Name(name, false);
  out.String(GetNodeValue());
}

void TXoDOMElement::_SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) {
  TJSONOut out(AStream, ACodePage, AFormatted);
  TJSONElementWriter(out, ALevel).Run(this);
}

void TXoDOMElement::SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted) {
  TJSONOut out(AStream, ACodePage, AFormatted);
  out.Text(u"{");
  out.LineBreak();
  TXoDOMNode::SaveToJSONStream(AStream, ACodePage, AFormatted);
  out.LineBreak();
  out.Text(u"}");
}

void TXoDOMDocument::_SaveToJSONStream(TStream* AStream, uint16_t ACodePage, bool AFormatted, int32_t& ALevel) {
  for (TXoDOMNode* child : *this) child->_SaveToJSONStream(AStream, ACodePage, AFormatted, ALevel);
}

void TXoDOMDocument::SaveToJSONStream(TStream* AStream, bool AFormatted, bool AWriteBOM) {
  if (AWriteBOM) AStream->WriteBuffer(cXoUTF8, 3);
  TXoDOMNode::SaveToJSONStream(AStream, 65001, AFormatted);
}

XoXMLString TXoDOMDocument::GetAsFormattedJSON() {
  if (!FRootNode) return u"{}";
  TXoStringStream stream(1200, 16);
  FRootNode->SaveToJSONStream(&stream, 1200, true);
  return stream.GetWString();
}

}  // namespace xo
