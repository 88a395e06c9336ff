// Reading lists of groups.
#include "host/mcast/loader.h"

#include <arpa/inet.h>

#include <charconv>
#include <unordered_set>

#include "console/present.h"
#include "console/progress.h"
#include "console/values.h"
#include "host/core/text_file.h"
#include "host/mcast/mcast_manager.h"

namespace pcsim::host {

namespace {

constexpr uint32_t kFirstGroup = 0xE0000000, kLastGroup = 0xEFFFFFFF;
constexpr uint32_t kBroadcast = 0xFFFFFFFF;
constexpr uint32_t kFirstSource = 0x0A000001;  // 10.0.0.1

// Takes the next word off 'line'.
std::string_view nextWord(std::string_view& line) {
    constexpr const char* kBlanks = " \t\r";
    const size_t start = std::min(line.find_first_not_of(kBlanks), line.size());
    const size_t end = std::min(line.find_first_of(kBlanks, start), line.size());
    const std::string_view word = line.substr(start, end - start);
    line.remove_prefix(end);
    return word;
}

}  // namespace

uint32_t parseMcastGroup(const std::string& word) {
    const uint32_t group = ntohl(parseIpv4(word).v4());
    if (group < kFirstGroup || group > kLastGroup)
        fail("'{}' is not a multicast group; expected 224.0.0.0 to 239.255.255.255", word);
    return group;
}

uint32_t parseMcastSource(const std::string& word) {
    if (word == "*") return 0;
    const uint32_t source = ntohl(parseIpv4(word).v4());
    const bool multicast = source >= kFirstGroup && source <= kLastGroup;
    if (source == 0 || source == kBroadcast || multicast)
        fail("'{}' is not a source; expected the address of one sender, or * for any", word);
    return source;
}

McastLine parseMcastLine(std::string_view line) {
    line = line.substr(0, line.find('#'));
    const std::string_view group = nextWord(line);
    if (group.empty()) return {};
    const size_t colon = group.find(':');
    if (colon != std::string_view::npos)
        parseNumber("UDP port", std::string(group.substr(colon + 1)), 1, 0xFFFF);
    McastLine result{parseMcastGroup(std::string(group.substr(0, colon))), std::nullopt};
    const std::string_view source = nextWord(line);
    if (!source.empty()) result.source = parseMcastSource(std::string(source));
    const std::string_view more = nextWord(line);
    if (!more.empty())
        fail("'{}' is too much; expected GROUP[:UDPPORT] [SOURCE]", std::string(more));
    return result;
}

namespace {

// The lines of a file with a group, and what is wrong with the others.
class GroupFile {
public:
    using Print = std::function<void(const std::string&)>;

    struct Line {
        uint64_t number;
        McastLine content;
    };

    GroupFile(const McastLoad& load, const Print& print) : load_(load), print_(print) {}

    // 'mayAsk' is called with the number of caches that the lines so far ask for.
    void read(McastLoaded& loaded, const std::function<void(uint64_t caches)>& mayAsk) {
        TextFile file(load_.file);
        uint64_t caches = 0;
        std::string_view text;
        for (uint64_t number = 1; file.next(text); ++number) {
            McastLine line;
            try {
                line = parseMcastLine(text);
            } catch (const CommandError& error) {
                bad(loaded, number, error.what());
                continue;
            }
            if (line.group == 0) continue;
            mayAsk(caches += line.source ? 1 : load_.sources);
            lines.push_back({number, line});
        }
        loaded.fileProblem = file.problem();
    }

    void bad(McastLoaded& loaded, uint64_t number, const std::string& problem) {
        ++loaded.badLines;
        print_(fmt::format("{}:{}: {}\n", load_.file, number, presentable(problem)));
    }

    std::vector<Line> lines;

private:
    const McastLoad& load_;
    const Print& print_;
};

}  // namespace

McastLoaded loadMcast(McastManager& manager, const McastLoad& load,
                      const std::function<void(const std::string&)>& print) {
    McastLoaded loaded;
    const size_t each = load.each == 0 ? load.outgoing.size() : load.each;
    const McastCopy& copy = manager.copy();
    GroupFile file(load, print);
    file.read(loaded, [&](uint64_t caches) {
        if (copy.caches().size() + caches > kMostMcastCaches)
            fail("{} asks for too many caches; {} fit in all, {} are there", load.file,
                 kMostMcastCaches, copy.caches().size());
        if (copy.portCount() + caches * each > kMostMcastPorts)
            fail("{} asks for too many outgoing ports; {} fit in all, {} are there", load.file,
                 kMostMcastPorts, copy.portCount());
    });
    size_t turn = 0;
    uint32_t nextSource = kFirstSource;
    std::unordered_set<uint32_t> groups;
    std::vector<McastOutgoing> outgoing;
    const auto add = [&](uint32_t group, uint32_t source) {
        outgoing.clear();
        for (size_t i = 0; i < each; ++i)
            outgoing.push_back(load.outgoing[turn++ % load.outgoing.size()]);
        const bool isNew = manager.add({group, source, load.vr, load.incomingVlan}, outgoing);
        ++(isNew ? loaded.caches : loaded.known);
        groups.insert(group);
    };
    Progress progress("Loading " + load.file, file.lines.size(), "lines");
    uint64_t done = 0;
    for (const auto& [number, line] : file.lines) {
        try {
            if (line.source)
                add(line.group, *line.source);
            else
                for (uint32_t i = 0; i < load.sources; ++i) add(line.group, nextSource++);
        } catch (const CommandError& error) {
            file.bad(loaded, number, error.what());
        }
        progress.at(++done);
    }
    loaded.groups = groups.size();
    return loaded;
}

}  // namespace pcsim::host
