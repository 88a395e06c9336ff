// The names that people write for what is called across the boundary.
//
// An operation goes by its own name (pcSimPCFamFdbInit), by that of the word of a table that holds
// it (fdbInit), and by table and word (family.fdbInit, HalFamilyOps.fdbInit); a callback without a
// name of its own by its type (HalTimerFn). In all of them but types * stands for any characters
// and ? for one.
#ifndef PCSIM_PROBE_INTERFACE_NAMES_H
#define PCSIM_PROBE_INTERFACE_NAMES_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

// Something that is called, as far as it is known: of a word that no table has been filled with, no
// name; of a function in no table, neither table nor word.
struct Callee {
    std::string_view name;
    std::string_view table;  // the record: "HalFamilyOps"
    std::string_view word;
    const Function* function;
    Side side;
};

bool matchesWild(std::string_view pattern, std::string_view text);
bool isWild(std::string_view pattern);

// "family" for HalFamilyOps; the record's own name when it has no short one. The databases of fans
// and of power supplies are one record: 'operation' tells them apart.
std::string_view shortTableName(std::string_view record, std::string_view operation);

// Where a table stands among those with short names, in the order in which a HAL meets them; behind
// all of them when it has none.
size_t tableOrder(std::string_view shortName);

bool goesBy(std::string_view pattern, const Callee& callee);

// Everything that may ever be called, as the interface describes it: operations, host functions,
// functions of the C library, and words of tables.
const std::vector<Callee>& allCallees();
// Those that go by 'pattern'.
std::vector<Callee> calleesNamed(std::string_view pattern);

// The written names that are nearest to one that nothing goes by, best first; none when all are far
// from it.
std::vector<std::string> namesLike(std::string_view name);

// What to say of a name that nothing goes by.
std::string unknownOperation(std::string_view name);

// The nearest of 'choices' to 'word'; empty when all are far from it.
std::string nearestOf(std::string_view word, const std::vector<std::string_view>& choices);

}  // namespace pcsim::probe

#endif
