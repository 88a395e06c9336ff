// What sessions live in: time that passes, descriptors that become readable, and signals that end
// things. A program that has a console gives it one; the reference host's is its event loop.
//
// All of it is on one thread. Beside the main work, which called first, others may run that were
// spawned: one at a time, each until it waits for something.
#ifndef PCSIM_CONSOLE_SURROUNDINGS_H
#define PCSIM_CONSOLE_SURROUNDINGS_H

#include <cstdint>
#include <functional>
#include <string>

namespace pcsim {

class Surroundings {
public:
    virtual ~Surroundings() = default;

    // Lets time pass until 'done' holds or 'timeoutMs' are over; whether it held. Throws a
    // CommandError when the work that calls is interrupted.
    virtual bool waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) = 0;
    // Lets time pass until 'descriptor' can be read or has ended; false when interrupted first.
    virtual bool waitReadable(int descriptor) = 0;
    // Gives all others a turn.
    virtual void giveWay() = 0;

    // Runs 'work' beside the others, from when the caller next lets time pass. It throws nothing.
    // Throws a CommandError when there is no memory for one more. Work beside the main one that
    // handles an exception can't wait.
    using WorkId = uint64_t;
    virtual WorkId spawn(std::function<void()> work) = 0;
    // As Ctrl-C does to the main work. No harm when it has ended.
    virtual void interrupt(WorkId work) = 0;
    // Interrupts all that was spawned, for good, and returns when it has ended. Nothing more can be
    // spawned then.
    virtual void endSpawned() noexcept = 0;

    // Calls 'readable', whenever time passes, while 'descriptor' can be read or has ended. It lets
    // no time pass itself and throws nothing.
    virtual void watch(int descriptor, std::function<void()> readable) = 0;
    virtual void unwatch(int descriptor) = 0;

    // Where relative names of files start while the work that calls runs, until it leaves. Throws a
    // CommandError when there is no such folder.
    virtual void enterFolder(const std::string& path) = 0;
    virtual void leaveFolder() = 0;

    // Whether what runs is to end: the main work by SIGINT, work beside it by interrupt(), and all
    // of it by SIGTERM.
    virtual bool interrupted() const = 0;
    virtual bool terminated() const = 0;
    // The interruption of what runs has been answered. A SIGTERM stays.
    virtual void forgetInterrupt() = 0;
    // Ends all of it, as a SIGTERM does.
    virtual void terminate() = 0;
    // Throws a CommandError when interrupted.
    void checkInterrupt() const;

    // Called when the process goes on after a stop (Ctrl-Z): the terminal is as the shell left it.
    std::function<void()> onContinue;
};

}  // namespace pcsim

#endif
