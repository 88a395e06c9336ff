// What a session lives in: time that passes, and signals that end things. A program that has a
// console gives it one; the reference host's is its event loop.
#ifndef PCSIM_CONSOLE_SURROUNDINGS_H
#define PCSIM_CONSOLE_SURROUNDINGS_H

#include <cstdint>
#include <functional>

namespace pcsim {

class Surroundings {
public:
    virtual ~Surroundings() = default;

    // Lets time pass until 'done' holds or 'timeoutMs' are over; whether it held. Throws a
    // CommandError when interrupted.
    virtual bool waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) = 0;
    // Lets time pass until 'descriptor' can be read or has ended; false when interrupted first.
    virtual bool waitReadable(int descriptor) = 0;

    // Whether the user asked to end what runs (SIGINT) or all of it (SIGTERM).
    virtual bool interrupted() const = 0;
    virtual bool terminated() const = 0;
    // The SIGINT has been answered. A SIGTERM stays.
    virtual void forgetInterrupt() = 0;
    // Throws a CommandError when interrupted.
    void checkInterrupt() const;

    // Called when the process goes on after a stop (Ctrl-Z): the terminal is as the shell left it.
    std::function<void()> onContinue;
};

}  // namespace pcsim

#endif
