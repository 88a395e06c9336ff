// A call on its way across the boundary between a HAL and the platform, and who may look at it.
//
// Every function that is called across the boundary has a Site: an operation of the library, a
// function of the HAL, a callback that one side has handed to the other, a function of the C
// library that the platform calls. Its stub counts each call; only when an observer wants the site
// does the call take the long way through the observers.
#ifndef PCSIM_PROBE_BOUNDARY_CALL_H
#define PCSIM_PROBE_BOUNDARY_CALL_H

#include <atomic>
#include <cstdint>
#include <string>

#include "probe/interface/model.h"

namespace pcsim::probe {

// What is counted of a site, always; it may lie in memory that other processes read.
struct Counts {
    std::atomic<uint64_t> calls;
    std::atomic<uint64_t> failures;  // results below 0, where they are codes
    std::atomic<uint64_t> nulls;     // results that are null records
    std::atomic<uint64_t> totalNs;   // while times are taken
    std::atomic<uint64_t> longestNs;
};

struct Site {
    std::string name;          // of the operation, host function, or callback
    const Function* function;  // its description
    Side side;                 // who is called
    std::string table;         // "HalFamilyOps" and so on, where a word was first handed out; or ""
    std::string word;          // the word's name in it
    uint32_t index;            // sites are numbered in the order in which they are met, from 0
    void* target;              // what the stub calls; null until a host function is first called
    Counts* counts;
};

// One call. Arguments are the words on the caller's stack, in the order of the description's
// parameters; an observer may change them before the call and the result after it.
struct Call {
    Site& site;
    Word* arguments;
    uint32_t argumentWords;  // as many as can be looked at: of a stub or a variadic function, some
    uint64_t result = 0;     // eax in the low half
    uint64_t number = 0;     // of all calls that took the long way, from 1
    uint32_t thread = 0;     // from 1, in the order in which threads first called
    uint32_t depth = 0;      // calls around this one on its thread, of both directions
    int error = 0;           // errno as the target finds it, then as the caller gets it
    bool answered = false;   // an observer has answered instead: the target isn't called
};

// Looks at calls. 'before' runs in the order in which observers were added, 'after' in reverse: the
// one added last stands next to the target. Called on the thread of the call, without a lock; calls
// that an observer makes itself are looked at by nobody. A call that is left by longjmp, or by the
// end of its thread, has no 'after'; one that was under way when the observer was added, neither.
class Observer {
public:
    virtual ~Observer() = default;
    virtual bool wants(const Site& site) const = 0;
    virtual void before(Call& call) = 0;
    virtual void after(Call& call) = 0;
};

}  // namespace pcsim::probe

#endif
