// A call's values as a tree: numbers and texts under the names of parameters and fields. Text and
// JSON are both made of it.
#ifndef PCSIM_PROBE_VALUES_TREE_H
#define PCSIM_PROBE_VALUES_TREE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"
#include "probe/values/blocks.h"
#include "probe/values/handles.h"

namespace pcsim::probe {

struct Member;

struct Value {
    enum class Form : uint8_t {
        kNumber,  // 'number', written as 'text'
        kWord,    // 'text', as it stands: an address, a name
        kText,    // 'text', a text of the HAL's
        kList,    // 'members' without names
        kRecord,  // 'members', those of 'record'
        kNull,    // no pointer, or nothing known
    };
    Form form = Form::kNull;
    std::string text;
    int64_t number = 0;
    const Record* record = nullptr;
    std::vector<Member> members;
    uint32_t more = 0;    // elements of a list that are too many to be told
    bool isZero = false;  // nothing but zeros: folded where there is more to tell

    const Value* member(std::string_view name) const;
};

struct Member {
    std::string name;
    Value value;
};

// What goes in with the call, and what comes out of it: the result as "result", then the outputs.
// Without reserved bytes and what is ignored.
std::vector<Member> argumentsOf(const CallWords& call, const Memory& memory, Handles& handles);
enum class Told : uint8_t {
    kLasting,  // what is the same whenever the same is done
    kAll,      // what may rightly differ from run to run, too
};
std::vector<Member> resultsOf(const CallWords& call, const Memory& memory, Handles& handles,
                              Told told = Told::kLasting);

}  // namespace pcsim::probe

#endif
