// Loads arbitrary bytes into a JSON document, saves it, loads the saved text
// and saves again: the second text must equal the first (numbers keep their
// tokens, strings their values), whenever every member name is one that
// escaping leaves unchanged (names keep the reader's escaped form, so a name
// with a backslash grows with every round, as the model says). Also walks
// the tree through the typed readers and frees it. Checked: no crash, no
// leak, no read outside the input, and the fixed point.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "uXoJSON.h"

using namespace xo;

namespace {

// Whether every member name survives a save unchanged; touches every value.
bool StableNames(TXoJSONBase* ARoot, size_t& ASum) {
  std::vector<TXoJSONBase*> work{ARoot};
  bool stable = true;
  while (!work.empty()) {
    TXoJSONBase* n = work.back();
    work.pop_back();
    switch (n->GetNodeKind()) {
      case TXoJSONNodeKind::Member: {
        const XoJSONString name = n->GetName();
        if (XoStrToJSON(name) != name) stable = false;
        break;
      }
      case TXoJSONNodeKind::Simple:
        ASum += n->GetAsString().size() + static_cast<size_t>(n->GetAsInteger()) + (n->GetAsBoolean() ? 1 : 0);
        ASum += static_cast<size_t>(n->GetAsDouble() != 0);
        break;
      default:
        break;
    }
    for (TXoJSONBase* c : n->Objects()) work.push_back(c);
  }
  return stable;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* AData, size_t ASize) {
  if (ASize < 1) return 0;
  const uint8_t opt = AData[0];
  std::string bytes(reinterpret_cast<const char*>(AData + 1), ASize - 1);
  TIntfPtr<IXoJSONDocument> keep;
  auto* doc = new TXoJSONDocument();
  keep = doc;
  try {
    TXoMemoryStream ms(bytes.data(), static_cast<int64_t>(bytes.size()));
    doc->LoadFromStream(&ms, (opt & 1) ? 65001 : 0, (opt & 2) != 0);
  } catch (const Exception&) {
    // Whatever loaded up to the failure stays and must save.
  }
  size_t sum = 0;
  const bool stable = StableNames(doc, sum);
  const bool formatted = (opt & 4) != 0;
  const XoJSONString first = formatted ? doc->GetFormattedJSON() : doc->GetAsJSON();
  if (!doc->GetRootValue()) return 0;
  auto* again = new TXoJSONDocument();
  TIntfPtr<IXoJSONDocument> keepAgain(again);
  try {
    again->SetAsJSON(first);
  } catch (const Exception&) {
    if (stable) std::abort();  // a saved tree always loads
    return 0;
  }
  const XoJSONString second = formatted ? again->GetFormattedJSON() : again->GetAsJSON();
  if (stable && second != first) std::abort();
  if (sum == 12345678) std::abort();  // keeps the walk
  return 0;
}
