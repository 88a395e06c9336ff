// Loading the library, catching what it prints, naming its operations.
#include "host/core/platform.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <stdio_ext.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "probe/boundary/boundary.h"

namespace pcsim::host {

namespace {
constexpr const char* kEntryPoint = "platformSystemInit";
}

Platform::Platform() {
    for (auto& slot : slots_) slot = std::make_unique<OpTable<HalCardSlotOps>>("slot");
    // Rules stand next to the platform: the trace shows what the host gets.
    probe::Boundary& boundary = probe::Boundary::instance();
    boundary.add(trace);
    boundary.add(rules);
    boundary.add(ledger);
    boundary.add(recorder);
    rules.onChange = trace.onChange = ledger.onChange = [&boundary] { boundary.refresh(); };
}

Platform::~Platform() {
    probe::Boundary::instance().remove(recorder);
    probe::Boundary::instance().remove(ledger);
    probe::Boundary::instance().remove(rules);
    probe::Boundary::instance().remove(trace);
    if (captured_ == nullptr) return;
    std::fflush(captured_);
    stdout = originalStdout_;
    std::fclose(captured_);
}

OpTable<HalCardSlotOps>& Platform::slot(int number) {
    if (number < 0 || number >= kSlots)
        fail("slot {} does not exist; slots are 0 to {}", number, kSlots - 1);
    return *slots_[static_cast<size_t>(number)];
}

const HalCardSlotDb& Platform::slotRecord(int number) {
    slot(number);
    return slotRecords_[static_cast<size_t>(number)];
}

void Platform::setUpCards() {
    call(system, &HalSystemOps::cardDBSetup, &cardDbRecord);
    cardDb.ops = cardDbRecord.ops;
    cardDb.valid = true;
}

void Platform::setUpSlot(int number) {
    auto& table = slot(number);
    HalCardSlotDb& record = slotRecords_[static_cast<size_t>(number)];
    call(system, &HalSystemOps::cardSlotDBSetup, number, &record);
    table.ops = record.ops;
    table.valid = true;
}

namespace {

#ifdef __i386__
constexpr int kClass = ELFCLASS32;
constexpr const char* kExpected = "a 32-bit i386 shared library";
constexpr const char* kOther = "64-bit";
#else
constexpr int kClass = ELFCLASS64;
constexpr const char* kExpected = "a 64-bit shared library";
constexpr const char* kOther = "32-bit";
#endif

// Tells a library of the other class or a file that is none from other reasons: dlopen's own text
// is longer than a line for people.
void checkClass(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        if (path.find('/') == std::string::npos) return;  // dlopen searches for it
        fail("library {} can't be opened: {}; build it or name it with --library", path,
             std::strerror(errno));
    }
    unsigned char ident[EI_NIDENT] = {};
    const size_t size = std::fread(ident, 1, sizeof ident, file);
    std::fclose(file);
    if (size < sizeof ident || std::memcmp(ident, ELFMAG, SELFMAG) != 0)
        fail("library {} is not an ELF file; expected {}", path, kExpected);
    if (ident[EI_CLASS] != kClass)
        fail("library {} is of the wrong class ({}); expected {}", path, kOther, kExpected);
}

// A variable that the library exports.
const uint32_t* variable(const std::string& path, void* library, const char* name) {
    const void* const found = dlsym(library, name);
    if (found == nullptr) fail("library {} has no {}; is it a platform library?", path, name);
    return static_cast<const uint32_t*>(found);
}

}  // namespace

void Platform::load(const std::string& path) {
    checkClass(path);
    // Lazy binding: a host function that is missing matters only when it is called.
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (handle == nullptr)
        fail("library {} can't be loaded: {}; name another one with --library", path, dlerror());
    using Entry = int32_t(HalSystemOps*);
    void* const found = dlsym(handle, kEntryPoint);
    probe::Boundary& boundary = probe::Boundary::instance();
    if (found == nullptr || !boundary.attach(handle))
        fail("library {} has no entry point {}; is it a platform library?", path, kEntryPoint);
    auto* entry = reinterpret_cast<Entry*>(boundary.looksUp(kEntryPoint, found));
    cardPresentMask_ = variable(path, handle, "pcSimCardPresentMask");
    fanPresentMask_ = variable(path, handle, "pcSimFanPresentMask");
    powerSupplyPresentMask_ = variable(path, handle, "pcSimPowerSupplyPresentMask");
    deviceStates_ = variable(path, handle, "pcSimDeviceState");
    // Where only a name was given: the file that was found.
    link_map* loaded = nullptr;
    path_ = dlinfo(handle, RTLD_DI_LINKMAP, &loaded) == 0 ? loaded->l_name : path;
    captureStandardOutput();
    const int32_t result = entry(&system.ops);
    drainPrints();
    if (result != 0) fail("platformSystemInit returned {}; expected 0", result);
    system.valid = true;
}

// The library prints diagnostics to the C library's standard output. They are caught in memory, so
// that they appear in order with everything else and never inside JSON.
void Platform::captureStandardOutput() {
    cookie_io_functions_t functions{};
    functions.write = &Platform::write;
    captured_ = fopencookie(this, "w", functions);
    if (captured_ == nullptr) fail("no memory to catch the library's output");
    std::setvbuf(captured_, nullptr, _IOFBF, 16384);
    std::fflush(stdout);
    originalStdout_ = stdout;
    stdout = captured_;
}

// An exception must not pass through the C library, which would stop the process: the stream keeps
// in mind that there was an error.
ssize_t Platform::write(void* cookie, const char* text, size_t size) {
    try {
        static_cast<Platform*>(cookie)->printed_.append(text, size);
        return static_cast<ssize_t>(size);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return 0;
    }
}

bool Platform::isWatched() const {
    return !rules.states().empty() || trace.on() || recorder.isRecording();
}

void Platform::drainPrints() {
    if (captured_ == nullptr) return;
    if (printed_.empty() && __fpending(captured_) == 0 && std::ferror(captured_) == 0) return;
    std::fflush(captured_);
    if (std::ferror(captured_) != 0) {
        std::clearerr(captured_);
        throw std::bad_alloc();
    }
    std::string text;
    text.swap(printed_);
    if (onPrint) onPrint(text);
}

uint32_t Platform::cardPresentMask() const {
    return *cardPresentMask_;
}

void Platform::failEmpty(const char* table, size_t word) {
    fail("the platform has no operation in word {} of the {} table", word, table);
}

std::string Platform::operationName(const void* function) {
    if (function == nullptr) return "-";
    const void* const address = probe::Boundary::behind(const_cast<void*>(function));
    Dl_info info{};
    // The nearest name below an address that has none of its own would be another operation's.
    if (dladdr(address, &info) == 0 || info.dli_saddr != address) return "?";
    return info.dli_sname;
}

}  // namespace pcsim::host
