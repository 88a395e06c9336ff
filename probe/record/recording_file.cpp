// Recordings from files and into them.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "console/error.h"
#include "probe/record/decoder.h"
#include "probe/record/encoder.h"
#include "probe/record/recording.h"

namespace pcsim::probe {
namespace {

constexpr size_t kHead = format::kMagic.size() + 1;

// The entry at the reader's place. No contents when it isn't whole.
struct Entry {
    uint8_t kind = format::kNothing;
    std::span<const uint8_t> contents;
    bool whole = false;
    bool sound = false;
};

Entry nextEntry(ByteReader& in) {
    Entry entry;
    const auto kind = in.bytes(1);
    if (kind.empty()) return entry;
    entry.kind = kind[0];
    if (entry.kind == format::kNothing) return entry;
    const uint32_t length = in.below(format::kLongest);
    const auto check = in.bytes(2);
    entry.contents = in.bytes(length);
    entry.whole = !in.bad();
    entry.sound =
        entry.whole && format::checkOf(entry.kind, entry.contents) == (check[0] | check[1] << 8);
    return entry;
}

std::string upTo(const Recording& recording) {
    const uint64_t calls = recording.calls();
    if (calls == 0) return "no call is good";
    uint64_t last = 0;
    for (const Event& event : recording.events)
        if (event.kind == Event::Kind::kCall) last = event.call;
    return fmt::format("good up to call {}", last);
}

void readEntries(std::span<const uint8_t> file, uint64_t room, Recording& recording) {
    using End = FileEnding::Kind;
    Decoder decoder(recording, room);
    ByteReader in(file);
    in.bytes(kHead);
    FileEnding& ending = recording.ending;
    ending = {End::kCutShort, kHead, ""};
    while (!decoder.ended()) {
        const Entry entry = nextEntry(in);
        if (!entry.whole) break;
        if (!entry.sound || !decoder.take(entry.kind, entry.contents)) {
            ending.kind = End::kDamaged;
            break;
        }
        ending.goodBytes = in.position();
    }
    if (decoder.ended()) {
        ending.kind = End::kClosed;
    } else if (ending.kind == End::kDamaged) {
        ending.text = fmt::format("damaged at byte {}; {}", ending.goodBytes, upTo(recording));
    } else {
        ending.text = fmt::format(
            "cut short: the program that was recorded ended before it could "
            "close the recording, or the file isn't whole; {}",
            upTo(recording));
    }
}

// A file, mapped as long as it is read.
class MappedFile {
public:
    explicit MappedFile(const std::string& path) {
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat64 state {};
        if (descriptor < 0 || fstat64(descriptor, &state) != 0)
            fail("recording {} can't be opened: {}", path, std::strerror(errno));
        size_ = static_cast<size_t>(state.st_size);
        const bool fits = state.st_size <= INT32_MAX;
        void* const memory = fits && size_ != 0
                                 ? mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, descriptor, 0)
                                 : nullptr;
        const int error = errno;
        close(descriptor);
        if (memory == MAP_FAILED && error != ENOMEM)  // a directory, for one
            fail("recording {} can't be read: {}", path, std::strerror(error));
        if (!fits || memory == MAP_FAILED)
            fail("recording {} is too large for this program's memory: {} bytes", path,
                 state.st_size);
        data_ = static_cast<const uint8_t*>(memory);
    }
    ~MappedFile() {
        if (data_ != nullptr) munmap(const_cast<uint8_t*>(data_), size_);
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const uint8_t> all() const { return {data_, size_}; }

private:
    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace

Recording parse(std::span<const uint8_t> file, const std::string& name, uint64_t room) {
    const size_t compared = std::min(file.size(), format::kMagic.size());
    if (compared == 0 || std::memcmp(file.data(), format::kMagic.data(), compared) != 0)
        fail("{} is no recording; expected a file that pcsim-probe or pcsim has recorded", name);
    Recording recording;
    if (file.size() < kHead) {
        recording.ending = {FileEnding::Kind::kCutShort, 0,
                            "cut short: not even its head is whole"};
        return recording;
    }
    if (file[kHead - 1] != format::kVersion)
        fail(
            "recording {} is of version {}; expected version {}: it needs the pcsim-probe that "
            "has recorded it",
            name, file[kHead - 1], format::kVersion);
    try {
        readEntries(file, room, recording);
    } catch (const std::bad_alloc&) {
        fail(
            "recording {} has more memory of the program in it than there is room for here; "
            "expected at most {} MiB",
            name, room >> 20);
    }
    return recording;
}

Recording load(const std::string& path) {
    const MappedFile file(path);
    return parse(file.all(), path);
}

namespace {

void writeBlocks(Encoder& encoder, const Event& event) {
    for (const RecordedBlock& block : event.blocks) {
        const int flags = (block.platform ? format::kBlockPlatform : 0) |
                          (block.written ? format::kBlockWritten : 0);
        encoder.block(block.path, block.address, block.bytes, static_cast<uint8_t>(flags));
    }
}

bool write(Encoder& encoder, const Event& event) {
    switch (event.kind) {
        case Event::Kind::kPrint:
            return encoder.print(event.thread, event.text);
        case Event::Kind::kCall:
            encoder.beginCall(event.site, event.call, event.thread, event.depth, event.arguments);
            break;
        case Event::Kind::kReturn:
            encoder.beginReturn(event.call, event.thread, event.result);
            break;
        case Event::Kind::kState:
            encoder.beginState(event.text);
            break;
    }
    writeBlocks(encoder, event);
    return encoder.finish();
}

bool write(Encoder& encoder, const Recording& recording) {
    bool good = true;
    for (const auto& [what, value] : recording.facts) good = good && encoder.fact(what, value);
    for (const RecordedSymbol& symbol : recording.symbols) good = good && encoder.symbol(symbol);
    for (size_t index = 0; index < recording.sites.size(); ++index)
        good = good && encoder.site(static_cast<uint32_t>(index), recording.sites[index]);
    for (size_t index = 1; index < recording.paths.size(); ++index) {
        const RecordedPath& path = recording.paths[index];
        good = good &&
               encoder.path(static_cast<uint32_t>(index), path.owner, path.text, path.typeName);
    }
    for (const Event& event : recording.events) good = good && write(encoder, event);
    // What was not whole stays so.
    if (recording.ending.kind == FileEnding::Kind::kClosed)
        good = good && encoder.end(recording.calls());
    return good;
}

}  // namespace

void save(const Recording& recording, const std::string& path) {
    RecordFile file;
    if (!file.openAside(path)) fail("recording {} can't be made: {}", path, std::strerror(errno));
    Encoder encoder(file);
    const bool written = write(encoder, recording);
    if (!file.close() || !written) fail("recording {} can't be written: the disk is full", path);
}

}  // namespace pcsim::probe
