// Writes the counters of a process that a signal ends: what stops a process on purpose runs, too.
// Stands in the library of a build that counts, and nowhere else.
#include <signal.h>
#include <stddef.h>

void __gcov_dump(void);

static const int kDeadly[] = {SIGABRT, SIGILL, SIGTRAP, SIGSEGV, SIGBUS, SIGFPE};

// The signal is delivered once more when this returns, and then ends the process as it would have;
// so does any other on the way.
static void writeAndDie(int number) {
    for (size_t i = 0; i < sizeof kDeadly / sizeof *kDeadly; ++i) signal(kDeadly[i], SIG_DFL);
    __gcov_dump();
    raise(number);
}

__attribute__((constructor)) static void begin(void) {
    for (size_t i = 0; i < sizeof kDeadly / sizeof *kDeadly; ++i) {
        struct sigaction before;
        const struct sigaction action = {.sa_handler = writeAndDie, .sa_flags = SA_RESETHAND};
        if (sigaction(kDeadly[i], NULL, &before) == 0 && before.sa_handler == SIG_DFL)
            sigaction(kDeadly[i], &action, NULL);
    }
}
