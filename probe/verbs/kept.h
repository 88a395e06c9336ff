// What calls have handed out, by the names under which later calls can hand it back.
//
// A pointer of the library's is kept under the name that reports tell it by ("hwHandle#1"), and
// under another one if the caller wants. Nothing else can be handed in as an address: a wild one
// would stop the process. What has ended stays, so that a later use says why.
#ifndef PCSIM_PROBE_VERBS_KEPT_H
#define PCSIM_PROBE_VERBS_KEPT_H

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

class Kept {
public:
    using Block = std::unique_ptr<void, decltype(&std::free)>;

    struct Thing {
        std::string name;
        const Type* type;  // of what is at the address
        void* address;
        std::string from;                // the operation that handed it out
        std::string ended{};             // the one that ended it
        Block own{nullptr, &std::free};  // a record that is kept here
    };

    // A name of the caller's takes the place of the same one.
    void keep(std::string name, const Type& type, void* address, std::string from);
    void keepRecord(std::string name, const Type& type, Block record, std::string from);

    // By its name or its address. Null when there is none; throws a CommandError when it has ended
    // or is no 'type'.
    void* find(const Type& type, const std::string& word) const;

    // What is at the address ends with a call of 'operation'; what every such operation ends.
    void end(const void* address, const std::string& operation);
    void endWith(std::string_view word, const std::string& operation);

    void forget(const std::string& name);
    const std::vector<Thing>& all() const { return things_; }

private:
    std::vector<Thing> things_;
};

}  // namespace pcsim::probe

#endif
