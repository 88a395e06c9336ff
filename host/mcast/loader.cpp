// Reading lists of groups.
#include "host/mcast/loader.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/console/progress.h"
#include "host/console/values.h"
#include "host/mcast/mcast_manager.h"

namespace pcsim::host {

namespace {

constexpr uint32_t kFirstGroup = 0xE0000000, kLastGroup = 0xEFFFFFFF;
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
    if (source == 0) fail("'{}' is not a source; expected an address, or * for any", word);
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

McastLoaded loadMcast(McastManager& manager, const McastLoad& load,
                      const std::function<void(const std::string&)>& print) {
    std::ifstream file(load.file);
    if (!file) fail("{} can't be read: {}", load.file, std::strerror(errno));
    McastLoaded loaded;
    const size_t each = load.each == 0 ? load.outgoing.size() : load.each;
    size_t turn = 0;
    uint32_t nextSource = kFirstSource;
    std::vector<McastOutgoing> outgoing;
    const auto add = [&](uint32_t group, uint32_t source) {
        outgoing.clear();
        for (size_t i = 0; i < each; ++i)
            outgoing.push_back(load.outgoing[turn++ % load.outgoing.size()]);
        manager.add({group, source, load.vr, load.incomingVlan}, outgoing);
        ++loaded.caches;
    };
    std::error_code unknown;
    const auto size = std::filesystem::file_size(load.file, unknown);
    Progress progress("Loading " + load.file, unknown ? 0 : size);
    size_t number = 0, bytes = 0;
    for (std::string text; std::getline(file, text);) {
        ++number;
        progress.at(bytes += text.size() + 1);
        try {
            const McastLine line = parseMcastLine(text);
            if (line.group == 0) continue;
            if (line.source)
                add(line.group, *line.source);
            else
                for (uint32_t i = 0; i < load.sources; ++i) add(line.group, nextSource++);
            ++loaded.groups;
        } catch (const CommandError& error) {
            ++loaded.badLines;
            print(fmt::format("{}:{}: {}\n", load.file, number, error.what()));
        }
    }
    return loaded;
}

}  // namespace pcsim::host
