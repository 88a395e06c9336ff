// What the boundary knows of a site beyond what it shows: its stub, what has to be done to its
// calls, where the library refers to it. And of the process: all sites, the library, observers.
#ifndef PCSIM_PROBE_BOUNDARY_CROSSING_H
#define PCSIM_PROBE_BOUNDARY_CROSSING_H

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "probe/boundary/call.h"
#include "probe/boundary/image.h"
#include "probe/boundary/stub.h"

namespace pcsim::probe {

// A word of the library that leads to a function outside.
struct Outlet {
    Word* slot;
    Word original;  // what was in it
};

struct Crossing {
    Site site;
    void* stub = nullptr;
    StubRecord* record = nullptr;
    std::atomic<uint32_t> watchers = 0;  // a bit for each observer
    uint32_t argumentWords = 0;
    bool handsOver = false;
    // Of a function that the library refers to:
    std::vector<Outlet> outlets;
    std::string version;        // of the symbol
    void* unbound = nullptr;    // the code that looks the function up, while nobody has
    bool whileWatched = false;  // the outlets lead to the stub only while somebody watches
};

constexpr uint32_t kObservers = 16;

struct Inside {
    // Held where sites are made and what is known of the library changes, never during a call, and
    // never when the dynamic linker is asked for a symbol: it runs other code under its own lock.
    std::recursive_mutex lock;
    std::deque<Crossing> crossings;
    std::vector<Site*> sites;
    std::deque<Counts> counts;  // of those that nobody places elsewhere
    std::unordered_map<const void*, Crossing*> byTarget;
    std::map<std::pair<std::string, Side>, Crossing*> byName;
    std::unordered_map<std::string, uint32_t> nameless;  // functions of a type that have no name
    std::atomic<Observer*> observers[kObservers] = {};
    std::function<void(Site&)> onSite;
    std::function<Counts*(const Site&)> place;
    std::function<void*(const Site&)> provide;
    bool timed = false;

    std::optional<Image> library;
    std::string path;
    std::map<const void*, const Operation*> operations;  // by address in the library

    const volatile uint32_t* poll = nullptr;
    std::function<void()> serve;
    std::atomic<bool> serving = false;

    std::atomic<uint64_t> seenLoads = 0;  // what had been loaded at the last search
    // One thread at a time searches, and none waits for it: it may be the one that loads a library,
    // which the search would wait for.
    std::atomic<bool> searching = false;
};

Inside& inside();

// --- Sites (sites.cpp) ---

// Makes the crossing of a site and asks everybody whether he wants it. Null when there are no more
// stubs. The lock is held.
Crossing* newCrossing(std::string name, const Function& function, Side side, void* target);
// The crossing of a function that is known by its address alone. Makes one where there is none.
Crossing* crossingOf(void* function, const Function& type, Side side);
// A HAL may bring a function of its own in the place of one of the library's: the name is both
// sides'.
Crossing* crossingNamed(std::string_view name, Side side);
// Lets the stub know what observers want.
void askObservers(Crossing& crossing);
void setDetour(Crossing& crossing, uint32_t reason, bool on);

// --- The library (boundary.cpp) ---

// A platform library defines certain names, whatever else it is.
bool isPlatform(const Image& image);
// Makes the library the one that is attached, and the sites of what it exports and refers to. The
// lock is held.
void take(const Image& library, std::string path);

// --- What crosses with a call (hand_over.cpp) ---

// Whether functions cross with calls of this type: as arguments, or in records.
bool handsOver(const Function& function);
// A record whose functions the callee is to find as stubs, without the caller's record changing.
struct Shadow {
    Word words[16];
};
// Gives the functions among the arguments their stubs; 'shadow' is for one record.
void handIn(const Crossing& crossing, Word* arguments, Shadow& shadow);
// Gives the functions in the records that the call has filled their stubs.
void handOut(const Crossing& crossing, const Word* arguments);

// --- What the library refers to (outlets.cpp) ---

// Binds the library's references to functions of its own, before the dynamic linker would find a
// stub for them. Without the lock.
void bindOwn(const Image& library);
// Finds the library's references to functions outside and leads them to stubs.
void takeOutlets(const Image& library);
// Looks the function up as the dynamic linker would for the library. Without the lock.
void resolve(Crossing& crossing);
// Leads the outlets of a crossing that is there only while watched to its stub, or back.
void turnOutlets(Crossing& crossing);

// --- Looking up as another object does (lookup.cpp) ---

// What the dynamic linker finds for a reference of 'object'; null when there is nothing.
void* lookUpFrom(const Image& object, const char* name, const char* version);

// --- Words of calls without a prototype (format_words.cpp) ---

// How many words the arguments of a printf format take.
uint32_t formatWords(const char* format);

}  // namespace pcsim::probe

#endif
