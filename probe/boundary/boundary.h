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
// There is one in a process, and it stays: stubs that a HAL has copied are called for ever.
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
    // table of addresses for what it calls. False when it is no platform library.
    bool attach(void* handle);
    // The library that is attached, as the loader names its file; "" before.
    const std::string& libraryPath() const;
    void* libraryHandle() const;

    // The stub of a function of the library that a HAL has looked up by name; 'found' itself when
    // it is none of the operations.
    void* looksUp(std::string_view name, void* found);
    // The function behind a stub, through as many stubs as there are; 'function' itself when it is
    // no stub. Knows stubs of another probe in the same process, too.
    static void* behind(void* function);
    // The site of a stub of this boundary; null when it is none.
    Site* siteOf(void* stub);

    // All sites so far, in the order of their numbers.
    const std::vector<Site*>& sites() const;
    Site* siteNamed(std::string_view name);

    // Adds or removes an observer, which must outlive the boundary or be removed. What an observer
    // wants is asked anew at refresh().
    void add(Observer& observer);
    void remove(Observer& observer);
    void refresh();
    // Called for each new site, before anybody is asked whether he wants it.
    std::function<void(Site&)> onSite;

    // Takes the time of every call, or stops it.
    void takeTimes(bool on);

    // When '*flag' isn't 0, the next call of any site runs 'serve' first, on its thread; null:
    // none.
    void poll(const volatile uint32_t* flag, std::function<void()> serve);
};

}  // namespace pcsim::probe

#endif
