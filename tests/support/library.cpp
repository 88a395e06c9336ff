// The library under test: the one of this build, or the file that PCSIM_TEST_LIBRARY names.
//
// Either way it is the library as it ships. What it calls of the C library it finds by way of its
// own table of addresses, as every shared library does; the hooks are written there, so calls of
// anything else in the process keep their way and their speed.
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "tests/support/libc.h"

namespace pcsim::test {
namespace {

constexpr const char* kLibrary = "libpcsimulation.so.0";
constexpr const char* kVariable = "PCSIM_TEST_LIBRARY";
constexpr const char* kPreload = "LD_PRELOAD";

[[noreturn]] void refuse(const char* path, const char* reason) {
    std::fprintf(stderr, "%s=%s: %s\n", kVariable, path, reason);
    std::exit(2);
}

// Null where nothing of the executable needs the library.
const link_map* loadedLibrary() {
    void* const handle = dlopen(kLibrary, RTLD_LAZY | RTLD_NOLOAD);
    link_map* map = nullptr;
    if (handle != nullptr) dlinfo(handle, RTLD_DI_LINKMAP, &map);
    return map;
}

bool isLoaded(const char* path) {
    const link_map* const library = loadedLibrary();
    struct stat named;
    struct stat loaded;
    return library != nullptr && stat(path, &named) == 0 && stat(library->l_name, &loaded) == 0 &&
           named.st_dev == loaded.st_dev && named.st_ino == loaded.st_ino;
}

// Whether this process was to load the file. Programs that the test starts load what they always
// do.
bool takePreload(const std::string& path) {
    const char* const given = std::getenv(kPreload);
    const std::string all = given != nullptr ? given : "";
    if (all == path) {
        unsetenv(kPreload);
    } else if (all.starts_with(path + ':')) {
        setenv(kPreload, all.c_str() + path.size() + 1, 1);
    } else {
        return false;
    }
    return true;
}

// Relocations as the machine's word size has them: where, which symbol, and the types that ask for
// an address.
#ifdef __LP64__
using Relocation = Elf64_Rela;
constexpr int32_t kTag = DT_RELA;
constexpr int32_t kSizeTag = DT_RELASZ;
constexpr uint32_t kAddressTypes[] = {R_X86_64_JUMP_SLOT, R_X86_64_GLOB_DAT, R_X86_64_64};
uint32_t symbolOf(const Relocation& relocation) {
    return ELF64_R_SYM(relocation.r_info);
}
uint32_t typeOf(const Relocation& relocation) {
    return ELF64_R_TYPE(relocation.r_info);
}
#else
using Relocation = Elf32_Rel;
constexpr int32_t kTag = DT_REL;
constexpr int32_t kSizeTag = DT_RELSZ;
constexpr uint32_t kAddressTypes[] = {R_386_JMP_SLOT, R_386_GLOB_DAT, R_386_32};
uint32_t symbolOf(const Relocation& relocation) {
    return ELF32_R_SYM(relocation.r_info);
}
uint32_t typeOf(const Relocation& relocation) {
    return ELF32_R_TYPE(relocation.r_info);
}
#endif

struct Relocations {
    const Relocation* first;
    size_t count;
};

// What the dynamic section says about names and the places that hold their addresses.
class Dynamic {
public:
    explicit Dynamic(const link_map& library) : library_(library) {}

    const char* nameOf(const Relocation& relocation) const {
        const auto* symbols = table<ElfW(Sym)>(DT_SYMTAB);
        return table<char>(DT_STRTAB) + symbols[symbolOf(relocation)].st_name;
    }

    Relocations relocations(int32_t tag, int32_t sizeTag) const {
        return {table<Relocation>(tag), value(sizeTag) / sizeof(Relocation)};
    }

private:
    uintptr_t value(int32_t tag) const {
        for (const ElfW(Dyn)* entry = library_.l_ld; entry->d_tag != DT_NULL; ++entry)
            if (entry->d_tag == tag) return entry->d_un.d_ptr;
        return 0;
    }

    // The loader turns the addresses in this section into those of the process where it can.
    template <typename Entry>
    const Entry* table(int32_t tag) const {
        const uintptr_t address = value(tag);
        return reinterpret_cast<const Entry*>(address < library_.l_addr ? address + library_.l_addr
                                                                        : address);
    }

    const link_map& library_;
};

bool holdsAddress(const Relocation& relocation) {
    return std::ranges::find(kAddressTypes, typeOf(relocation)) != std::end(kAddressTypes);
}

// The loader may have made the place read-only after it was done.
void writeAddress(uintptr_t place, void* function) {
    const uintptr_t page = place & ~(static_cast<uintptr_t>(getpagesize()) - 1);
    if (mprotect(reinterpret_cast<void*>(page), place + sizeof function - page,
                 PROT_READ | PROT_WRITE) != 0) {
        std::perror("the library's table of addresses");
        std::exit(2);
    }
    std::memcpy(reinterpret_cast<void*>(place), &function, sizeof function);
}

// Runs the executable once more with the file that is named, unless it is what the process has
// loaded: a library can't be exchanged later.
void loadNamedLibrary(char** arguments) {
    const char* const named = std::getenv(kVariable);
    if (named == nullptr || *named == '\0') return;
    char* const resolved = realpath(named, nullptr);
    if (resolved == nullptr) refuse(named, std::strerror(errno));
    const std::string path = resolved;
    std::free(resolved);
    if (path.find_first_of(": ") != std::string::npos)
        refuse(named, "the loader takes no path with a blank or a colon");

    const bool tried = takePreload(path);
    if (isLoaded(path.c_str())) return;
    if (tried) refuse(named, "the loader doesn't take it for libpcsimulation.so.0 of this machine");

    const char* const others = std::getenv(kPreload);
    setenv(kPreload, (others != nullptr ? path + ':' + others : path).c_str(), 1);
    execv("/proc/self/exe", arguments);
    refuse(named, std::strerror(errno));
}

// Leads the library's calls of the C library to the test's hooks.
void hookLibrary() {
    const link_map* const library = loadedLibrary();
    if (library == nullptr) return;
    const Dynamic dynamic(*library);
    for (const Relocations& places :
         {dynamic.relocations(DT_JMPREL, DT_PLTRELSZ), dynamic.relocations(kTag, kSizeTag)}) {
        for (size_t i = 0; i < places.count; ++i) {
            const Relocation& place = places.first[i];
            if (!holdsAddress(place)) continue;
            for (const LibcHook& hook : libcHooks())
                if (std::strcmp(hook.name, dynamic.nameOf(place)) == 0)
                    writeAddress(library->l_addr + place.r_offset, hook.function);
        }
    }
}

// What the library does at its end or when a signal ends the process, as one that counts its lines,
// no case has asked for: then allocations don't fail any more. Without a handler of the library's
// there is none.
constexpr int kDeadlySignals = SIGSEGV + 1;
void (*handlers[kDeadlySignals])(int);

void endUndisturbed(int number) {
    libc().failNone();
    handlers[number](number);
}

void leaveEndUndisturbed() {
    for (int number = 1; number < kDeadlySignals; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) != 0 ||
            action.sa_handler == SIG_DFL || action.sa_handler == SIG_IGN)
            continue;
        handlers[number] = action.sa_handler;
        action.sa_handler = endUndisturbed;
        sigaction(number, &action, nullptr);
    }
    std::atexit([] { libc().failNone(); });
}

// Before the executable's own constructors, each of which may call an operation.
__attribute__((constructor(101))) void prepare(int, char** arguments, char**) {
    loadNamedLibrary(arguments);
    hookLibrary();
    leaveEndUndisturbed();
}

}  // namespace
}  // namespace pcsim::test
