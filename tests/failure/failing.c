/* Preloaded into a program: lets the n-th call of one kind fail, once or from then on for ever.
 *
 * PCSIM_FAIL names the kind and the number, "malloc 17" or "open 3 ever"; the kinds are those of
 * 'kKinds'. Calls count from the program's main function on, in the process that was started and
 * not in its children: what the loader needs before is not the program's. PCSIM_FAIL_COUNTS names a
 * file that gets the number of calls of each kind when the program ends, and 'failed' when the call
 * was reached. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

enum Kind { kMalloc, kOpen, kRead, kWrite, kSocket, kIoctl, kKinds };

static const char* const kNames[kKinds] = {"malloc", "open", "read", "write", "socket", "ioctl"};

static unsigned long counts[kKinds];
static int wanted = -1;
static unsigned long wantedNumber;
static int forEver;
static int failed;
static pid_t counting; /* the process whose calls count; 0 before main */
static char countsPath[512];

/* Counts a call; whether it is to fail. */
static int fails(enum Kind kind, int error) {
    if (counting == 0 || getpid() != counting) return 0;
    const unsigned long number = __atomic_add_fetch(&counts[kind], 1, __ATOMIC_RELAXED);
    if ((int)kind != wanted || number < wantedNumber) return 0;
    if (!forEver && number > wantedNumber) return 0;
    failed = 1;
    errno = error;
    return 1;
}

/* The C library's own function. */
#define NEXT(name)                                                           \
    ({                                                                       \
        static __typeof__(&name) next;                                       \
        if (next == NULL) next = (__typeof__(&name))dlsym(RTLD_NEXT, #name); \
        next;                                                                \
    })

/* --- Allocation ------------------------------------------------------------------------------- */

/* The C library's own allocator under its other names: dlsym needs memory itself. */
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    return fails(kMalloc, ENOMEM) ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return fails(kMalloc, ENOMEM) ? NULL : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    return fails(kMalloc, ENOMEM) ? NULL : __libc_realloc(block, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    return fails(kMalloc, ENOMEM) ? NULL : __libc_memalign(alignment, size);
}

/* --- Files ------------------------------------------------------------------------------------ */

static mode_t modeOf(int flags, va_list arguments) {
    return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

#define DEFINE_OPEN(name)                             \
    int name(const char* path, int flags, ...) {      \
        va_list arguments;                            \
        va_start(arguments, flags);                   \
        const mode_t mode = modeOf(flags, arguments); \
        va_end(arguments);                            \
        if (fails(kOpen, EMFILE)) return -1;          \
        return NEXT(name)(path, flags, mode);         \
    }
DEFINE_OPEN(open)
DEFINE_OPEN(open64)

#define DEFINE_OPENAT(name)                                  \
    int name(int folder, const char* path, int flags, ...) { \
        va_list arguments;                                   \
        va_start(arguments, flags);                          \
        const mode_t mode = modeOf(flags, arguments);        \
        va_end(arguments);                                   \
        if (fails(kOpen, EMFILE)) return -1;                 \
        return NEXT(name)(folder, path, flags, mode);        \
    }
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)

#include <stdio.h>

FILE* fopen(const char* path, const char* mode) {
    return fails(kOpen, EMFILE) ? NULL : NEXT(fopen)(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return fails(kOpen, EMFILE) ? NULL : NEXT(fopen64)(path, mode);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
    return fails(kRead, EIO) ? -1 : NEXT(read)(descriptor, buffer, size);
}

ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
    return fails(kRead, EIO) ? -1 : NEXT(pread)(descriptor, buffer, size, offset);
}

ssize_t pread64(int descriptor, void* buffer, size_t size, off64_t offset) {
    return fails(kRead, EIO) ? -1 : NEXT(pread64)(descriptor, buffer, size, offset);
}

ssize_t recvmsg(int descriptor, struct msghdr* message, int flags) {
    return fails(kRead, EIO) ? -1 : NEXT(recvmsg)(descriptor, message, flags);
}

ssize_t recv(int descriptor, void* buffer, size_t size, int flags) {
    return fails(kRead, EIO) ? -1 : NEXT(recv)(descriptor, buffer, size, flags);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
    return fails(kWrite, EIO) ? -1 : NEXT(write)(descriptor, buffer, size);
}

ssize_t sendmsg(int descriptor, const struct msghdr* message, int flags) {
    return fails(kWrite, EIO) ? -1 : NEXT(sendmsg)(descriptor, message, flags);
}

ssize_t send(int descriptor, const void* buffer, size_t size, int flags) {
    return fails(kWrite, EIO) ? -1 : NEXT(send)(descriptor, buffer, size, flags);
}

/* --- Sockets and interfaces ------------------------------------------------------------------- */

int socket(int domain, int type, int protocol) {
    return fails(kSocket, EMFILE) ? -1 : NEXT(socket)(domain, type, protocol);
}

int ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return fails(kIoctl, EIO) ? -1 : NEXT(ioctl)(descriptor, request, argument);
}

/* pcsim answers requests itself, and asks the kernel by this way. */
long syscall(long number, ...) {
    va_list arguments;
    long words[6];
    va_start(arguments, number);
    for (int i = 0; i < 6; ++i) words[i] = va_arg(arguments, long);
    va_end(arguments);
    if (number == SYS_ioctl && fails(kIoctl, EIO)) return -1;
    return NEXT(syscall)(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

/* --- From main to the end --------------------------------------------------------------------- */

static void readWish(void) {
    const char* const wish = getenv("PCSIM_FAIL");
    if (wish == NULL) return;
    for (int kind = 0; kind < kKinds; ++kind) {
        const size_t length = strlen(kNames[kind]);
        if (strncmp(wish, kNames[kind], length) != 0 || wish[length] != ' ') continue;
        char* end;
        wanted = kind;
        wantedNumber = strtoul(wish + length, &end, 10);
        forEver = strcmp(end, " ever") == 0;
    }
}

/* By hand: the C library's own ways may be what is failing. */
static void append(char* text, size_t size, const char* word, unsigned long number) {
    char digits[16];
    size_t at = sizeof digits;
    digits[--at] = '\0';
    do digits[--at] = (char)('0' + number % 10);
    while ((number /= 10) != 0);
    strncat(text, word, size - strlen(text) - 1);
    strncat(text, " ", size - strlen(text) - 1);
    strncat(text, digits + at, size - strlen(text) - 1);
    strncat(text, "\n", size - strlen(text) - 1);
}

__attribute__((destructor)) static void tellCounts(void) {
    if (counting == 0 || getpid() != counting || countsPath[0] == '\0') return;
    char text[512] = "";
    for (int kind = 0; kind < kKinds; ++kind) append(text, sizeof text, kNames[kind], counts[kind]);
    append(text, sizeof text, "failed", (unsigned long)failed);
    const long file = syscall(SYS_open, countsPath, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0) return;
    syscall(SYS_write, (int)file, text, strlen(text));
    syscall(SYS_close, (int)file);
}

static int (*programMain)(int, char**, char**);

static int countedMain(int count, char** arguments, char** environment) {
    readWish();
    const char* const path = getenv("PCSIM_FAIL_COUNTS");
    if (path != NULL && strlen(path) < sizeof countsPath) strcpy(countsPath, path);
    /* What the program starts is as healthy as ever. */
    unsetenv("LD_PRELOAD");
    counting = getpid();
    return programMain(count, arguments, environment);
}

typedef int StartFn(int (*)(int, char**, char**), int, char**, void (*)(void), void (*)(void),
                    void (*)(void), void*);

int __libc_start_main(int (*main)(int, char**, char**), int count, char** arguments,
                      void (*init)(void), void (*fini)(void), void (*end)(void), void* stack);
int __libc_start_main(int (*main)(int, char**, char**), int count, char** arguments,
                      void (*init)(void), void (*fini)(void), void (*end)(void), void* stack) {
    programMain = main;
    StartFn* const next = (StartFn*)dlsym(RTLD_NEXT, "__libc_start_main");
    return next(countedMain, count, arguments, init, fini, end, stack);
}
