// Internals of path selection shared by the implementation files of
// uXoXMLDOM and uXoXPath (not installed).
#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <string>
#include <vector>

#include "../uXoXMLDOM.h"

namespace xo {

// A path alternative cut into its steps once. What the walker would find out
// about a step from the text alone (its kind, names, filters, and a syntax
// error it would raise on reaching it) is settled here; the walk itself
// raises such an error at the moment the walker reaches the step.
struct TXoSelectStep {
  enum TKind : uint8_t { skName, skGroup, skText, skNode, skAttr, skStar, skSelf, skParent, skAll, skNone };
  TKind Kind = skName;
  bool Deep = false;      // this step searches all descendants
  bool NextDeep = false;  // "//" follows
  bool IsLast = false;    // nothing follows: candidates go to the result
  bool AfterDot = false;  // the step before was "."
  bool CreateAllowed = false;  // no filter, or the filter is exactly "[0]"
  // Error raised when the step is reached: 0 none, 1 EXoDomSyntax.
  uint8_t Error = 0;
  std::u16string ErrorMessage;
  std::u16string Prefix;  // "*" for any
  std::u16string Local;   // for attributes without the "@"
  std::u16string FilterText;
  std::vector<std::u16string> Filters;  // the bracketed parts
  // The first filter is a plain index ("[3]"): the number, else -1.
  int32_t LeadIndex = -1;
  std::unique_ptr<struct TXoSelectAlt> Group;
  // The nodes the group gave at a context node, kept for the rest of one
  // selection (see XoSelectEpoch).
  std::unordered_map<TXoDOMNode*, std::vector<TXoDOMNode*>> GroupMemo;
  uint64_t GroupMemoEpoch = 0;
  // Compiled filters, kept while nothing observable depends on compiling
  // again (see TXoSelectRun).
  std::vector<std::unique_ptr<TXoXPathEquation>> Compiled;
};

struct TXoSelectAlt {
  std::vector<TXoSelectStep> Steps;
  // The walk can reach no node twice (only downward steps, at most one of
  // them deep), so its result needs no check for doubles.
  bool Unique = false;
};

// One top-level path: alternatives split at "|".
struct TXoSelectProgram {
  struct TAlt {
    uint8_t Start = 0;  // 0 context node, 1 document, 2 document deep, 3 "/" (the context node itself)
    TXoSelectAlt Walk;
  };
  std::vector<TAlt> Alts;
  bool LocalNameMatch = false;
  // Compiles APath for the given name matching.
  static std::unique_ptr<TXoSelectProgram> Compile(std::u16string_view APath, bool ALocalNameMatch);
};

// The working state of one selection.
struct TXoSelectRun {
  TXoXPathCollationClass Collation = nullptr;
  bool FirstOnly = false;
  bool LocalNameMatch = false;
  bool Create = false;
  // With Create: the nodes this selection made. A deep search passes them
  // over, so that what it creates cannot feed it without end.
  std::unordered_set<TXoDOMNode*>* Created = nullptr;
};

// Runs a compiled path from AContext into ANodes (no node twice).
void XoSelectRun(TXoDOMNode* AContext, TXoSelectProgram& AProgram, const TXoSelectRun& ARun,
                 std::vector<TXoDOMNode*>& ANodes);
// Compiles and runs APath.
void XoSelect(TXoDOMNode* AContext, std::u16string_view APath, const TXoSelectRun& ARun,
              std::vector<TXoDOMNode*>& ANodes);

// How deep selections are nested right now on this thread (0 outside any,
// 1 in a selection a program started, 2 in one that a filter started, ...),
// and a number that changes with every selection a program starts and with
// every node that such a selection creates. What a walk learns about a
// tree may be kept while the number stays the same: the tree does not change
// meanwhile.
int XoSelectNesting();
uint64_t XoSelectEpoch();

// Compiles the filter text ("[...]") for the options of a selection.
std::unique_ptr<TXoXPathEquation> XoXPathCompileFilter(std::u16string_view AFilter,
                                                       TXoDOMSelectMatchOption AMatchOption,
                                                       TXoXPathCollationClass ACollation, bool* AShareable);
// Called by the function registry when a compile creates a function that an
// application registered: such a compiled filter is never kept for reuse.
void XoXPathNoteApplicationFunction();

// What the first registry entry of AName is: 0 none, 1 a library function
// that neither logs nor raises by design, 2 "trace" or "error", 3 a function
// of an application.
int XoXPathFunctionKind(std::u16string_view AName);
// Whether compiling the filter text can create no function but those, the
// built-in node() and the keywords: a text test, made before compiling.
bool XoXPathFilterTextIsPure(std::u16string_view AFilter);
// Whether a compiled filter's value for a candidate depends on nothing but
// the candidate (no index, first(), last() or position()) and its
// evaluation has no effect beyond its result (no function that logs or
// raises by design, no path that holds filters of its own).
bool XoXPathFilterIsPure(TXoXPathEquation* AEquation);

}  // namespace xo
