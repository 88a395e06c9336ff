// What a HAL has for whoever calls its platform's operations by hand: the tables that it holds, its
// own records, and functions to call back.
#ifndef PCSIM_PROBE_VERBS_CALLABLES_H
#define PCSIM_PROBE_VERBS_CALLABLES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

// A table of operations that the platform has filled.
struct OperationTable {
    std::string_view name;  // "slot"
    const Record* record;   // "HalCardSlotOps"
    std::string number;     // of the slot, where there is a table for each; else ""
    const void* const* words;
    uint32_t wordCount;
    uint32_t firstWord;  // where the record begins in its database's
};

class Callables {
public:
    virtual ~Callables() = default;

    virtual std::vector<OperationTable> tables() const = 0;
    // Which of several tables of a name is meant where nothing says so.
    virtual std::string usualNumber() const = 0;

    // As those of Supplies.
    virtual const void* record(const Record& record, const std::string& word) const = 0;
    virtual void* callback(const Function& type) const = 0;
    virtual bool number(Meaning meaning, const std::string& word, int64_t& value) const = 0;

    // An operation has been called by hand: the HAL looks after what it has changed.
    virtual void called(std::string_view table, std::string_view word, const Word* arguments) = 0;
};

// What a dump prints while 'dumped' is not null goes there. The function is one of HalDumpPrintFn.
int collectDump(uint32_t context, const char* format, ...) __attribute__((format(printf, 2, 3)));
extern std::string* dumped;

}  // namespace pcsim::probe

#endif
