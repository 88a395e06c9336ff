// Recordings as a stranger's file: read, told, compared, trimmed, exported, and written again.
//
// The first byte chooses: a file as it is, or entries (kind, length, contents) that get the right
// head, length and check, behind a few of a sound recording; and which of the tools get it. What is
// sound is read the same from what it is written as.
#include <sys/mman.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "console/error.h"
#include "probe/record/file.h"
#include "probe/record/recording.h"
#include "probe/tools/diff.h"
#include "probe/tools/exporter.h"
#include "probe/tools/teller.h"
#include "probe/tools/trim.h"
#include "tests/fuzz/text/support.h"

namespace {

std::vector<uint8_t> written;  // by save()

void append(std::span<const uint8_t> bytes) {
    written.insert(written.end(), bytes.begin(), bytes.end());
}

void appendNumber(uint64_t value) {
    for (; value >= 0x80; value >>= 7) written.push_back(static_cast<uint8_t>(value | 0x80));
    written.push_back(static_cast<uint8_t>(value));
}

}  // namespace

// In place of the file on a disk: the program has these instead of the probe's own.
namespace pcsim::probe {

bool RecordFile::open(const std::string&) {
    written.assign(format::kMagic.begin(), format::kMagic.end());
    written.push_back(format::kVersion);
    return true;
}

bool RecordFile::openAside(const std::string& path) {
    return open(path);
}

bool RecordFile::append(format::EntryKind kind, std::span<const uint8_t> contents) {
    written.push_back(kind);
    appendNumber(contents.size());
    const uint16_t check = format::checkOf(kind, contents);
    written.push_back(static_cast<uint8_t>(check));
    written.push_back(static_cast<uint8_t>(check >> 8));
    ::append(contents);
    return true;
}

bool RecordFile::close() {
    return true;
}

void RecordFile::abandon() {}

}  // namespace pcsim::probe

namespace pcsim::fuzz {

namespace {

using namespace probe;

constexpr size_t kRoom = 4u << 20;  // for what a recording says that there is

// --- the file

struct KnownSite {
    Side side;
    const char* name;
    const char* function;
};
constexpr KnownSite kSites[] = {{Side::kPlatform, "pcSimIpAdjAdd", "HalIpAdjAddFn"},
                                {Side::kHost, "halPortInstName", "halPortInstName"},
                                {Side::kPlatform, "pcSimFanReadTemp", "HalFanReadTempFn"},
                                {Side::kHost, "p2BtreeInsert", "p2BtreeInsert"},
                                {Side::kPlatform, "pcSimCardPortEnable", "HalCardPortEnableFn"}};

struct KnownPath {
    const char* owner;
    const char* text;
    const char* type;
};
constexpr KnownPath kPaths[] = {{"HalIpAdjAddFn", "record", "pcSimIpAdjRec"},
                                {"HalFanReadTempFn", "temperature", "int32_t"},
                                {"mcLogMess", "mcLogMess", "uint32_t"}};

Recording soundBeginning() {
    Recording recording;
    recording.facts = {{"library", "libpcsimulation.so.0"}};
    recording.symbols = {{"pcSimIpAdjAdd", 0xF7000400, 0, true}};
    for (const KnownSite& known : kSites)
        recording.sites.push_back({known.side, 0xF7000400, known.name, "HalFamilyOps", "word",
                                   known.function, functionNamed(known.function)});
    for (const KnownPath& known : kPaths) {
        const PathTarget target = targetOf(known.owner, known.text, known.type);
        recording.paths.push_back(
            {known.owner, known.text, known.type, target.type, target.meaning});
    }
    recording.ending.kind = FileEnding::Kind::kCutShort;
    return recording;
}

std::vector<uint8_t> fileOf(Bytes bytes) {
    const unsigned choice = bytes.byte();
    if (choice % 8 == 0) {
        const std::string_view rest = bytes.rest();
        return {rest.begin(), rest.end()};
    }
    RecordFile file;
    file.open("");
    if (choice % 8 > 1) {
        static const std::vector<uint8_t> beginning = [] {
            save(soundBeginning(), "");
            return written;
        }();
        written = beginning;
    }
    while (!bytes.empty()) {
        const auto kind = static_cast<format::EntryKind>(bytes.byte() % 11);
        file.append(kind, bytes.take(bytes.byte() % 64));
    }
    if (choice % 8 == 7) written.resize(written.size() - choice / 8);
    return written;
}

// --- what is told of it

// Nothing of a file reaches a terminal as it is.
void demandLines(const std::string& text) {
    demand(text.empty() || text.back() == '\n', "what is told is lines", text);
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        if (end != start) demandLine(std::string_view(text).substr(start, end - start));
        start = end + 1;
    }
}

std::string toldOf(const Recording& recording) {
    std::string text;
    const auto all = [](const Event&) { return true; };
    tellText(recording, all, true, [&](const std::string& line) { text += line; });
    return text;
}

void demandJson(const Recording& recording) {
    tellJson(
        recording, [](const Event&) { return true; },
        [](const std::string& line) {
            demand(nlohmann::json::accept(line), "a document is JSON", line);
        });
}

// --- what is done with it

std::vector<uint8_t> writtenOf(const Recording& recording) {
    save(recording, "");
    return written;
}

void demandSame(const Recording& a, const Recording& b, const std::string& told) {
    demand(a.events.size() == b.events.size() && a.sites.size() == b.sites.size() &&
               a.paths.size() == b.paths.size() && a.symbols.size() == b.symbols.size() &&
               a.facts == b.facts,
           "what was written is as much as what is read");
    demand(a.ending.kind == b.ending.kind || a.ending.kind == FileEnding::Kind::kDamaged,
           "what was whole stays whole");
    demand(toldOf(b) == told, "what was written tells the same", told);
}

void demandRoundTrip(const Recording& recording, const std::string& told) {
    const std::vector<uint8_t> first = writtenOf(recording);
    const Recording again = parse(first, "again", kRoom);
    demandSame(recording, again, told);
    demand(writtenOf(again) == first, "what was written is written the same", told);
    const auto differences = differencesOf(recording, again, true);
    demand(differences.empty(), "a recording does not differ from itself", told);
}

void demandTools(const Recording& recording) {
    const CallTree tree(recording);
    const std::vector<bool> none(tree.units().size(), false);
    for (const Event& event : onlyUnits(recording, tree, none).events)
        demand(event.kind == Event::Kind::kState || event.kind == Event::Kind::kPrint,
               "what is left out is");
    const Recording kept = trimmed(recording, Selection("1-3"));
    demand(kept.events.size() <= recording.events.size(), "what is trimmed is less");
    static_cast<void>(Exporter(recording).text("fuzz.rec"));
}

void demandEnding(const FileEnding& ending, size_t size) {
    demand(ending.goodBytes <= size, "what is good is in the file");
    demand((ending.kind == FileEnding::Kind::kClosed) == ending.text.empty(),
           "what is not whole is told");
    if (!ending.text.empty()) demandLine(ending.text);
}

void run(std::span<const uint8_t> input) {
    const std::vector<uint8_t> file = fileOf(Bytes(input));
    try {
        const Recording recording = parse(file, "fuzz.rec", kRoom);
        demandEnding(recording.ending, file.size());
        const std::string told = toldOf(recording);
        demandLines(told);
        switch (input.empty() ? 0 : input[0] / 8 % 3) {
            case 0:
                demandRoundTrip(recording, told);
                break;
            case 1:
                demandTools(recording);
                break;
            default:
                demandJson(recording);
        }
    } catch (const CommandError& error) {
        demandLine(error.what());
    }
}

}  // namespace

}  // namespace pcsim::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pcsim::fuzz::run({data, size});
    return 0;
}
