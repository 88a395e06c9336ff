// A piece of work with a stack of its own that can stop in its middle and go on later, all on one
// thread. It begins and goes on where resume() is called, and gives the thread back where it calls
// park(), or at its end.
//
// What the C++ runtime knows of exceptions belongs to the thread, not to the stack: one that is
// being handled can't be parked with, and none leaves the work.
#ifndef PCSIM_HOST_CORE_FIBER_H
#define PCSIM_HOST_CORE_FIBER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace pcsim::host {

// Stacks with a page below that nobody may touch: whoever needs more ends with a fault instead of
// writing into a neighbour. Some of those that were given back are kept for the next.
class Stacks {
public:
    Stacks() = default;
    ~Stacks();
    Stacks(const Stacks&) = delete;
    Stacks& operator=(const Stacks&) = delete;

    // The lowest byte of kSize. Throws a CommandError when kMost are in use, or memory is short.
    char* take();
    void giveBack(char* stack);

    static const size_t kSize;
    static const size_t kMost;

private:
    std::vector<char*> free_;
    size_t taken_ = 0;  // and the free ones
};

class Fiber {
public:
    // Nothing runs yet. 'work' throws nothing. The stacks must outlive the fiber.
    Fiber(Stacks& stacks, std::function<void()> work);
    // It has ended, or has never begun.
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // Goes on until the work parks or ends. Not from within a fiber.
    void resume();
    // From within the work. Throws a std::logic_error while an exception is being handled.
    void park();

    bool ended() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace pcsim::host

#endif
