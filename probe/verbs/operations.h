// The operations of a HAL's tables by the names that people write for them.
#ifndef PCSIM_PROBE_VERBS_OPERATIONS_H
#define PCSIM_PROBE_VERBS_OPERATIONS_H

#include <string>
#include <string_view>
#include <vector>

#include "probe/verbs/callables.h"

namespace pcsim::probe {

// One word of the tables; of those that there are several of, of all.
struct TableWord {
    std::string_view table;  // "slot"
    const Field* word;
    const Function* function;
    uint32_t number;                  // of the word
    std::string operation;            // what implements it; "" where that isn't known
    std::vector<OperationTable> in;   // the tables that have it
    std::vector<const void*> code{};  // what each of them holds; null: it isn't offered

    std::string name() const { return std::string(table) + "." + std::string(word->name); }
};

// All of them, in the order of the tables and words.
std::vector<TableWord> wordsOf(const Callables& callables);

// The one that goes by 'name'. Throws a CommandError that says what comes near.
TableWord wordNamed(const Callables& callables, const std::string& name);

// What the word of the table with that number holds. Throws a CommandError when there is no such
// table, or when the word is null.
const void* codeOf(const TableWord& word, const std::string& number);

}  // namespace pcsim::probe

#endif
