// SIGINT, SIGTERM and SIGCONT as something to poll for: what is seen is noted, and a descriptor
// becomes readable, so that a poll() that begins just after a signal ends as well.
#ifndef PCSIM_CONSOLE_SIGNALS_H
#define PCSIM_CONSOLE_SIGNALS_H

#include <csignal>

#include <array>

namespace pcsim {

// There is one in a process; the handlers of before are given back at its end, unless an interrupt
// that nobody has answered is what ends it.
class Signals {
public:
    // Throws a CommandError when there is no descriptor left.
    Signals();
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    bool interrupted() const;  // SIGINT or SIGTERM
    bool terminated() const;   // SIGTERM
    // The SIGINT has been answered. A SIGTERM stays.
    void forgetInterrupt();
    // As a SIGTERM does.
    void terminate();
    // Whether the process went on after a stop since this was asked.
    bool takeContinuation();

    // From now on SIGINT and SIGTERM do nothing: who has been asked to end still says why and
    // writes what it owes, and programs like timeout(1) ask twice.
    static void endUndisturbed();

    int descriptor() const { return wake_[0]; }
    // Makes the descriptor unreadable until the next signal.
    void drain();

private:
    static constexpr std::array kSignals{SIGINT, SIGTERM, SIGCONT};

    int wake_[2] = {-1, -1};
    struct sigaction before_[kSignals.size()] = {};
};

}  // namespace pcsim

#endif
