// The boundary of this process: stands between the HAL and the platform library, in both
// directions.
//
// From the HAL to the platform: operations found by name, words of every table that an operation
// fills, and callbacks that the platform hands out (timers, tasks). From the platform to the HAL:
// the functions that the library refers to, callbacks that the HAL hands in, the print function of
// a dump's sink. From the platform to the C library: what the library takes from outside (time,
// files, link registers, memory), only while somebody wants it. The ordered tree and its compare
// functions, likewise only while wanted.
//
// There is one in a process, and it stays: stubs that a HAL has copied are called for ever. The
// same function has the same stub for ever. All of this may be called from any thread.
#ifndef PCSIM_PROBE_BOUNDARY_BOUNDARY_H
#define PCSIM_PROBE_BOUNDARY_BOUNDARY_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "probe/boundary/call.h"

namespace pcsim::probe {

class Boundary {
public:
    static Boundary& instance();

    // Takes the library that 'handle' (of dlopen) names under the probe: writes stubs into its own
    // table of addresses for what it calls, and makes the sites of all that it exports and refers
    // to. False when it is no platform library, or another one is attached. Callers find stubs
    // through looksUp and in the tables that operations fill.
    bool attach(void* handle);
    // Looks for a platform library among everything that is loaded, if anything new is, and
    // attaches it where none is attached. All others of the process then find stubs, too: who looks
    // an operation up by name, and who has been linked with the library. The library's references
    // to its own operations stay direct. True when one is attached. When the library has gone and
    // come again, it is taken anew.
    //
    // Must be called where the HAL can't have called the library yet: when the process starts, and
    // before each dlsym.
    bool attachLoaded();
    // The library that is attached, as the loader names its file; "" before.
    const std::string& libraryPath() const;
    void* libraryHandle() const;

    // The stub of a function of the library that a HAL has looked up by name; 'found' itself when
    // it is none of the operations.
    void* looksUp(std::string_view name, void* found);
    // The function behind a stub, through as many stubs as there are; 'function' itself when it is
    // no stub. Knows stubs of another probe in the same process, too. Null where the function
    // behind a stub hasn't been looked up yet. Any address will do.
    static void* behind(void* function);
    // The site of a stub of this boundary; null when it is none.
    Site* siteOf(const void* stub);

    // All sites so far, in the order of their numbers. Those of what the library exports and refers
    // to are there from the beginning, in the same order in each run. The list never moves; it
    // grows at its end.
    const std::vector<Site*>& sites() const;
    // Null when there is none. Of a name that both sides have, the platform's.
    Site* siteNamed(std::string_view name);

    // Adds or removes an observer; false when there are 16. What an observer wants is asked when it
    // is added, for each new site, and anew at refresh(). A call that is under way on another
    // thread may still come to an observer that has been removed.
    bool add(Observer& observer);
    void remove(Observer& observer);
    void refresh();
    // Called for each new site, before anybody is asked whether he wants it.
    void onSite(std::function<void(Site&)> tell);

    // Says where the counts of a site are kept, for those that there are at once, and for each new
    // one before onSite; null leaves them where they would be, in memory of this process. What has
    // been counted elsewhere isn't carried over.
    void placeCounts(std::function<Counts*(const Site&)> place);

    // Asked first for each function that the library refers to, when it is first called; null: the
    // process's own, as the dynamic linker finds it.
    void provide(std::function<void*(const Site&)> function);

    // Takes the time of every call, or stops it.
    void takeTimes(bool on);

    // When '*flag' isn't 0, the next call of any site runs 'serve' first, on its thread, one thread
    // at a time; null: none.
    void poll(const volatile uint32_t* flag, std::function<void()> serve);
};

}  // namespace pcsim::probe

#endif
