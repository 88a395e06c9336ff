// Switching of stacks. Not the C library's swapcontext(): it asks the kernel for the signal mask
// with each switch, which is the same for all, and the address sanitizer complains of it.
#include "host/core/fiber.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

#include "console/error.h"

// Keeps what a function has to preserve on the stack that is left, notes where that is, and takes
// the same from the stack to go on with.
#if defined(__i386__)
asm(R"(
    .text
    .hidden pcsimSwitchStack
    .globl pcsimSwitchStack
    .type pcsimSwitchStack, @function
pcsimSwitchStack:
    movl 4(%esp), %eax
    movl 8(%esp), %ecx
    pushl %ebp
    pushl %ebx
    pushl %esi
    pushl %edi
    movl %esp, (%eax)
    movl %ecx, %esp
    popl %edi
    popl %esi
    popl %ebx
    popl %ebp
    ret
    .size pcsimSwitchStack, . - pcsimSwitchStack
)");
constexpr int kSavedRegisters = 4;
#elif defined(__x86_64__)
asm(R"(
    .text
    .hidden pcsimSwitchStack
    .globl pcsimSwitchStack
    .type pcsimSwitchStack, @function
pcsimSwitchStack:
    pushq %rbp
    pushq %rbx
    pushq %r12
    pushq %r13
    pushq %r14
    pushq %r15
    movq %rsp, (%rdi)
    movq %rsi, %rsp
    popq %r15
    popq %r14
    popq %r13
    popq %r12
    popq %rbx
    popq %rbp
    ret
    .size pcsimSwitchStack, . - pcsimSwitchStack
)");
constexpr int kSavedRegisters = 6;
#else
#error "a switch of stacks is written for i386 and amd64"
#endif
extern "C" void pcsimSwitchStack(void** left, void* next);

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
    void* own = nullptr;  // where each of the two goes on
    void* resumer = nullptr;
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

// A new stack takes no pointer with it, so its fiber waits here.
Fiber* beginning = nullptr;

// What a switch takes from a stack that has not begun: the registers, 'entry', and no way back.
// The stack is aligned as at a call.
void* firstFrame(char* stack, void (*entry)()) {
    auto* const top = reinterpret_cast<void**>(stack + Stacks::kSize);
    constexpr int kWords = kSavedRegisters + 2;
    std::fill(top - kWords, top, nullptr);
    top[-2] = reinterpret_cast<void*>(entry);
    return top - kWords;
}

}  // namespace

void Fiber::State::run() noexcept {
    arrive(nullptr, &resumerStack, &resumerSize);
    work();
    work = nullptr;
    ended = true;
    leaveFor(nullptr, resumerStack, resumerSize);
    pcsimSwitchStack(&own, resumer);
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
        beginning = this;
        state.own = firstFrame(state.stack, [] { beginning->state_->run(); });
    }
    state.before = State::Exceptions::now();
    leaveFor(&state.resumerFake, state.stack, Stacks::kSize);
    pcsimSwitchStack(&state.resumer, state.own);
    arrive(state.resumerFake, nullptr, nullptr);
    state.before = {};
}

void Fiber::park() {
    State& state = *state_;
    if (State::Exceptions::now() != state.before)
        throw std::logic_error("what handles an exception can't wait for something else");
    leaveFor(&state.ownFake, state.resumerStack, state.resumerSize);
    pcsimSwitchStack(&state.own, state.resumer);
    arrive(state.ownFake, &state.resumerStack, &state.resumerSize);
}

}  // namespace pcsim::host
