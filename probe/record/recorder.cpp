// Calls on their way into the recording.
#include "probe/record/recorder.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "console/error.h"
#include "console/text.h"
#include "probe/boundary/boundary.h"

namespace pcsim::probe {

namespace {

class Guard {
public:
    explicit Guard(pthread_mutex_t& lock) : lock_(lock) { pthread_mutex_lock(&lock_); }
    ~Guard() { pthread_mutex_unlock(&lock_); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    pthread_mutex_t& lock_;
};

bool servesTree(const Site& site) {
    return isOfTree(site.name) || site.function == functionNamed("HalTreeCompareFn");
}

// Memory comes and goes as the process has it; no recording could say what is right.
bool isAllocation(const Site& site) {
    if (site.side != Side::kSystem) return false;
    for (const char* name : {"malloc", "calloc", "free", "madvise"})
        if (site.name == name) return true;
    return false;
}

// Calls that are nothing but what they print.
bool isPrint(const Site& site) {
    if (site.function->name == "HalDumpPrintFn") return true;
    if (site.side != Side::kSystem) return false;
    for (const char* name : {"printf", "fprintf", "puts", "putchar", "fputs"})
        if (site.name == name) return true;
    return false;
}

bool hasFormat(const Function& function) {
    return std::any_of(
        function.parameters.begin(), function.parameters.end(),
        [](const Parameter& each) { return each.semantics.meaning == Meaning::kFormat; });
}

// The arguments of a format, which lie in a row, as the C library takes them.
int formatted(char* text, size_t size, const char* format, const uint32_t* words) {
    static_assert(sizeof(va_list) == sizeof words);
    va_list list;
    __builtin_memcpy(&list, &words, sizeof list);
    return vsnprintf(text, size, format, list);
}

CallWords wordsOf(const Call& call) {
    return {*call.site.function, call.arguments, call.argumentWords, call.result};
}

// Everybody who is recording, for the handlers of fork: there is one of the process, and others in
// tests.
Recorder* recorders[8];

}  // namespace

struct ForkHandlers {
    static void prepare() {
        for (Recorder* const each : recorders)
            if (each != nullptr) pthread_mutex_lock(&each->lock_);
    }
    static void inParent() {
        for (Recorder* const each : recorders)
            if (each != nullptr) pthread_mutex_unlock(&each->lock_);
    }
    static void inChild() {
        for (Recorder* const each : recorders)
            if (each != nullptr) each->inChild();
    }
};

Recorder::Recorder() {
    static const int registered =
        pthread_atfork(&ForkHandlers::prepare, &ForkHandlers::inParent, &ForkHandlers::inChild);
    static_cast<void>(registered);
    *std::find(std::begin(recorders), std::end(recorders) - 1, nullptr) = this;
}

Recorder::~Recorder() {
    stop();
    std::replace(std::begin(recorders), std::end(recorders), this, static_cast<Recorder*>(nullptr));
}

void Recorder::inChild() {
    recording_ = false;
    if (session_) session_->file.abandon();
    pthread_mutex_unlock(&lock_);
}

static std::string endsEarly(const std::string& path) {
    return fmt::format("recording {} ends early: the disk is full", path);
}

bool Recorder::start(const std::string& path, bool withTree) {
    stop();
    auto session = std::make_unique<Session>();
    if (!session->file.open(path)) return false;
    const Guard guard(lock_);
    session_ = std::move(session);
    path_ = path;
    withTree_ = withTree;
    calls_ = 0;
    recording_ = true;
    return true;
}

bool Recorder::stop() {
    const Guard guard(lock_);
    if (!session_ || !recording_.exchange(false)) return true;
    const bool ended = session_->encoder.end(calls_);
    const bool closed = session_->file.close();
    session_.reset();
    return ended && closed;
}

void Recorder::begin(const std::string& path, bool withTree) {
    if (!start(path, withTree)) fail("recording {} can't be made: {}", path, std::strerror(errno));
    Boundary::instance().refresh();
}

std::string Recorder::problem() {
    const Guard guard(lock_);
    return recording_ && session_->file.isFull() ? endsEarly(path_) : "";
}

std::string Recorder::finish() {
    if (!isRecording()) fail("nothing is being recorded");
    const uint64_t count = calls_;
    const bool whole = stop();
    Boundary::instance().refresh();
    if (!whole) fail("{}", endsEarly(path_));
    return fmt::format("Recorded {} in {}", counted(count, "call", "calls"), path_);
}

bool Recorder::wants(const Site& site) const {
    return recording_ && !isAllocation(site) && (withTree_ || !servesTree(site));
}

// What is told once, as soon as there is a library to tell of.
void Recorder::attach() {
    Boundary& boundary = Boundary::instance();
    if (session_->attached || boundary.libraryHandle() == nullptr) return;
    session_->attached = true;
    Encoder& encoder = session_->encoder;
    std::string program;
    std::getline(std::ifstream("/proc/self/comm"), program);
    encoder.fact("program", program);
    encoder.fact("library", boundary.libraryPath());
    session_->globals.find(boundary.libraryHandle(), encoder);
    for (const Site* const site : boundary.sites()) {
        const auto address = reinterpret_cast<uint32_t>(site->target);
        if (site->side == Side::kPlatform && address != 0)
            encoder.symbol({site->name, address, 0, true});
    }
}

uint32_t Recorder::numberOf(const Site& site) {
    uint32_t& number = session_->siteNumbers.at(site.index);
    if (number != 0) return number - 1;
    number = ++session_->sites;
    RecordedSite recorded;
    recorded.side = site.side;
    recorded.target = reinterpret_cast<uint32_t>(site.target);
    recorded.name = site.name;
    recorded.table = site.table;
    recorded.word = site.word;
    recorded.functionName = site.function->name;
    session_->encoder.site(number - 1, recorded);
    return number - 1;
}

void Recorder::print(const Call& call) {
    static char text[16384];  // the lock is held
    size_t size = 0;
    const bool isText = call.site.name == "puts" || call.site.name == "fputs";
    if (call.site.name == "putchar") {
        text[size++] = static_cast<char>(call.arguments[0]);
    } else if (isText) {
        const char* const end = call.site.name == "puts" ? "\n" : "";
        const auto* const given = reinterpret_cast<const char*>(call.arguments[0]);
        size = static_cast<size_t>(std::max(snprintf(text, sizeof text, "%s%s", given, end), 0));
    } else {
        const FormatWords found = formatWords(wordsOf(call), liveMemory());
        if (found.format.empty()) return;
        const int length = formatted(text, sizeof text, found.format.data(), found.words);
        size = static_cast<size_t>(std::max(length, 0));
    }
    session_->encoder.print(call.thread, {text, std::min(size, sizeof text - 1)});
}

namespace {

// Whose memory it is. What hangs on the arguments is the caller's, what hangs on the result or has
// been handed out the callee's, unless things of the type are always one side's.
bool isOfPlatform(const Site& site, const Block& block, bool after) {
    if (block.owner() != Owner::kNobody) return block.owner() == Owner::kPlatform;
    const bool ofCaller = !after || (block.parent == nullptr && block.place != kResultPlace);
    return ofCaller == (site.side != Side::kPlatform);
}

constexpr size_t kLargestTable = 2048;

uint32_t functionBehind(uint32_t word) {
    return reinterpret_cast<uint32_t>(Boundary::behind(reinterpret_cast<void*>(word)));
}

// A table as the platform has filled it: stubs are this process's.
void withoutStubs(const Record& record, const void* content, uint32_t bytes, uint8_t* copy) {
    std::memcpy(copy, content, bytes);
    for (uint32_t offset = 0; offset + 4 <= bytes; offset += 4) {
        if (wordAt(record, offset) == nullptr) continue;
        uint32_t word = 0;
        std::memcpy(&word, copy + offset, sizeof word);
        word = functionBehind(word);
        std::memcpy(copy + offset, &word, sizeof word);
    }
}

}  // namespace

void Recorder::blocks(const Call& call, const CallWords& words, bool after) {
    const auto visit = [&](const Block& each) { block(call, each, after); };
    visitBlocks(words, after ? Phase::kAfter : Phase::kBefore, liveMemory(), visit);
}

void Recorder::block(const Call& call, const Block& block, bool after) {
    // The arguments of a format that the platform passes are told as the text that they make.
    const bool isText = block.place == kVariadicPlace && call.site.side != Side::kPlatform;
    const bool ofFormat = block.meaning == Meaning::kArguments || isText;
    if (ofFormat || block.address == 0) return;
    // An output as it was: what of it isn't written stays so.
    const void* content = block.content;
    if (content == nullptr && call.site.side == Side::kPlatform)
        content = reinterpret_cast<const void*>(block.address);
    if (content == nullptr) return;
    const int flags = (isOfPlatform(call.site, block, after) ? format::kBlockPlatform : 0) |
                      (block.written ? format::kBlockWritten : 0);
    Encoder& encoder = session_->encoder;
    const uint32_t path = session_->paths.of(*call.site.function, block, encoder);
    std::array<uint8_t, kLargestTable> unstubbed;
    if (session_->paths.holdsFunctions(path) && block.bytes <= unstubbed.size()) {
        withoutStubs(*block.element->record, content, block.bytes, unstubbed.data());
        content = unstubbed.data();
    }
    encoder.block(path, block.address, {static_cast<const uint8_t*>(content), block.bytes},
                  static_cast<uint8_t>(flags));
}

void Recorder::before(Call& call) {
    const Guard guard(lock_);
    if (!recording_) return;
    attach();
    const bool ofHal = call.site.side == Side::kPlatform && call.depth == 0;
    if (ofHal) session_->globals.record(session_->encoder, session_->paths);
    if (isPrint(call.site)) return print(call);
    const Function& function = *call.site.function;
    uint32_t arguments[16];
    const size_t count = std::min<size_t>(call.argumentWords, std::size(arguments));
    for (size_t index = 0; index < count; ++index) {
        arguments[index] = call.arguments[index];
        if (index >= function.parameters.size()) continue;
        const Type& type = *function.parameters[index].type;
        if (type.kind != Kind::kPointer || type.target->kind != Kind::kFunction) continue;
        arguments[index] = functionBehind(arguments[index]);
    }
    session_->encoder.beginCall(numberOf(call.site), call.number, call.thread, call.depth,
                                {arguments, count});
    blocks(call, wordsOf(call), false);
    if (session_->encoder.finish()) ++calls_;
    if (call.site.side != Side::kPlatform && hasFormat(function)) print(call);
}

void Recorder::after(Call& call) {
    const Guard guard(lock_);
    if (!recording_ || isPrint(call.site)) return;
    session_->encoder.beginReturn(call.number, call.thread, call.result);
    blocks(call, wordsOf(call), true);
    session_->encoder.finish();
    if (call.site.side == Side::kPlatform && call.depth == 0) session_->globals.note();
}

}  // namespace pcsim::probe
