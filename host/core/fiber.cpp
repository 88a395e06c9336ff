// Fibers on ucontext.
#include "host/core/fiber.h"

#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

#include "console/error.h"

namespace pcsim::host {

namespace {

// Of the stacks that are free.
constexpr size_t kMostKept = 16;

size_t guardBytes() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

// The address sanitizer keeps a record of what is on the stack, so it is told of each switch: of
// the stack that is left for, and after it of the one that one came from. 'fake' is what it keeps
// of a stack meanwhile; null leaves one for good.
void leaveFor([[maybe_unused]] void** fake, [[maybe_unused]] const void* stack,
              [[maybe_unused]] size_t size) {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_start_switch_fiber(fake, stack, size);
#endif
}

void arrive([[maybe_unused]] void* fake, [[maybe_unused]] const void** from,
            [[maybe_unused]] size_t* size) {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_finish_switch_fiber(fake, from, size);
#endif
}

}  // namespace

#ifdef __SANITIZE_ADDRESS__
const size_t Stacks::kSize = 1024 * 1024;  // frames with what lies between variables
#else
const size_t Stacks::kSize = 512 * 1024;
#endif
// A quarter of what a 32-bit program can address, so that the others find memory, too.
const size_t Stacks::kMost = 1024 * 1024 * 1024 / kSize;

Stacks::~Stacks() {
    for (char* const stack : free_) munmap(stack - guardBytes(), kSize + guardBytes());
}

char* Stacks::take() {
    if (!free_.empty()) {
        char* const stack = free_.back();
        free_.pop_back();
        return stack;
    }
    if (taken_ == kMost) fail("{} commands run already; expected one of them to end first", kMost);
    void* const memory = mmap(nullptr, kSize + guardBytes(), PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED)
        fail("there is no memory for one more command beside those that run: {}",
             std::strerror(errno));
    mprotect(memory, guardBytes(), PROT_NONE);
    ++taken_;
    return static_cast<char*>(memory) + guardBytes();
}

void Stacks::giveBack(char* stack) {
    if (free_.size() < kMostKept) {
        free_.push_back(stack);
        return;
    }
    munmap(stack - guardBytes(), kSize + guardBytes());
    --taken_;
}

struct Fiber::State {
    // What is being thrown and handled on this thread.
    struct Exceptions {
        int thrown = 0;
        std::exception_ptr handled;

        static Exceptions now() { return {std::uncaught_exceptions(), std::current_exception()}; }
        bool operator==(const Exceptions&) const = default;
    };

    State(Stacks& allStacks, std::function<void()> what)
        : stacks(allStacks), stack(stacks.take()), work(std::move(what)) {}
    ~State() { stacks.giveBack(stack); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    Stacks& stacks;
    char* stack;
    std::function<void()> work;
    ucontext_t own = {}, resumer = {};
    bool begun = false, ended = false;
    Exceptions before;  // those of whoever resumed
    // For the sanitizer.
    void* ownFake = nullptr;
    void* resumerFake = nullptr;
    const void* resumerStack = nullptr;
    size_t resumerSize = 0;

    void run() noexcept;
};

namespace {

// A new context takes no pointer with it, so its state waits here.
Fiber* beginning = nullptr;

}  // namespace

void Fiber::State::run() noexcept {
    arrive(nullptr, &resumerStack, &resumerSize);
    work();
    work = nullptr;
    ended = true;
    leaveFor(nullptr, resumerStack, resumerSize);
    setcontext(&resumer);
}

Fiber::Fiber(Stacks& stacks, std::function<void()> work)
    : state_(std::make_unique<State>(stacks, std::move(work))) {}

Fiber::~Fiber() = default;

bool Fiber::ended() const {
    return state_->ended;
}

void Fiber::resume() {
    State& state = *state_;
    if (!state.begun) {
        state.begun = true;
        getcontext(&state.own);
        state.own.uc_stack.ss_sp = state.stack;
        state.own.uc_stack.ss_size = Stacks::kSize;
        beginning = this;
        makecontext(
            &state.own, [] { beginning->state_->run(); }, 0);
    }
    state.before = State::Exceptions::now();
    leaveFor(&state.resumerFake, state.stack, Stacks::kSize);
    swapcontext(&state.resumer, &state.own);
    arrive(state.resumerFake, nullptr, nullptr);
    state.before = {};
}

void Fiber::park() {
    State& state = *state_;
    if (State::Exceptions::now() != state.before)
        throw std::logic_error("what handles an exception can't wait for something else");
    leaveFor(&state.ownFake, state.resumerStack, state.resumerSize);
    swapcontext(&state.own, &state.resumer);
    arrive(state.ownFake, &state.resumerStack, &state.resumerSize);
}

}  // namespace pcsim::host
