// Reading lists of groups.
#include "host/mcast/loader.h"

#include <arpa/inet.h>

#include <unordered_set>

#include "console/error.h"
#include "console/progress.h"
#include "console/text.h"
#include "console/values.h"
#include "host/mcast/mcast_manager.h"

namespace pcsim::host {

namespace {

constexpr uint32_t kFirstGroup = 0xE0000000, kLastGroup = 0xEFFFFFFF;
constexpr uint32_t kBroadcast = 0xFFFFFFFF;
constexpr uint32_t kFirstSource = 0x0A000001;  // 10.0.0.1

uint16_t vlanIdOf(std::string_view word) {
    return static_cast<uint16_t>(parseNumber("VLAN", std::string(word), 1, kLastVlan));
}

// What stands behind a source: "iif VLAN [oif VLAN SLOT:PORT]... [vr N]".
McastLinePlace parsePlace(std::string_view line) {
    McastLinePlace place;
    for (;;) {
        const std::string_view word = takeWord(line);
        if (word.empty()) return place;
        const std::string_view value = takeWord(line);
        if (word == "iif" && place.incomingVlan == 0)
            place.incomingVlan = vlanIdOf(value);
        else if (word == "oif" && place.incomingVlan != 0)
            place.outgoing.push_back({vlanIdOf(value), parseSlotPort(std::string(takeWord(line)))});
        else if (word == "vr" && place.incomingVlan != 0)
            place.vr = parseU32("virtual router", std::string(value));
        else
            fail("'{}' is too much; expected GROUP[:UDPPORT] [SOURCE [iif VLAN ...]]", shown(word));
    }
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
    const std::string_view group = takeWord(line);
    if (group.empty()) return {};
    const size_t colon = group.find(':');
    if (colon != std::string_view::npos)
        parseNumber("UDP port", std::string(group.substr(colon + 1)), 1, 0xFFFF);
    McastLine result{parseMcastGroup(std::string(group.substr(0, colon))), std::nullopt};
    const std::string_view source = takeWord(line);
    if (!source.empty()) result.source = parseMcastSource(std::string(source));
    result.place = parsePlace(line);
    return result;
}

namespace {

struct GroupLine {
    uint64_t number;
    McastLine content;
};

// The lines of the file with a group. What they ask for has to fit, with what is there.
std::vector<GroupLine> readGroups(Context& context, const McastLoadOrder& order, size_t each,
                                  const McastCopy& copy, LineLoad& file) {
    std::vector<GroupLine> lines;
    uint64_t caches = 0, ports = 0;
    file.run(context.loop, "lines", [&](uint64_t number, std::string_view text) {
        const McastLine line = parseMcastLine(text);
        if (line.group == 0) return;
        const uint64_t added = line.source ? 1 : order.sources;
        const bool ownPlace = line.place.incomingVlan != 0;
        if (!ownPlace && order.incomingVlan == 0)
            fail("the line has no incoming VLAN; expected GROUP SOURCE iif VLAN, or 'iif' for all");
        caches += added;
        ports += ownPlace ? line.place.outgoing.size() : added * each;
        // What can't fit is counted, not kept: the file may have no end.
        if (caches <= kMostMcastCaches) lines.push_back({number, line});
    });
    if (copy.caches().size() + caches > kMostMcastCaches)
        fail("{} asks for too many caches; {} fit in all, {} are there", order.file,
             kMostMcastCaches, copy.caches().size());
    if (copy.portCount() + ports > kMostMcastPorts)
        fail("{} asks for too many outgoing ports; {} fit in all, {} are there", order.file,
             kMostMcastPorts, copy.portCount());
    return lines;
}

// Makes the caches of one line after the other; those without a source count theirs up.
class Adder {
public:
    Adder(Context& context, McastManager& manager, const McastLoadOrder& order, size_t each,
          McastLoad& load)
        : context_(context), manager_(manager), order_(order), each_(each), load_(load) {}

    void line(const McastLine& line) {
        if (line.place.incomingVlan != 0) return addWhole(line);
        if (line.source) return add(line.group, *line.source);
        for (uint32_t i = 0; i < order_.sources; ++i) {
            context_.loop.checkInterrupt();
            add(line.group, nextSource_++);
        }
    }

private:
    void add(uint32_t group, uint32_t source) {
        outgoing_.clear();
        for (size_t i = 0; i < each_; ++i)
            outgoing_.push_back(order_.outgoing[turn_++ % order_.outgoing.size()]);
        add({group, source, order_.vr, order_.incomingVlan});
    }

    // A cache of which the line says everything.
    void addWhole(const McastLine& line) {
        const McastLinePlace& place = line.place;
        context_.checkVirtualRouter(place.vr);
        outgoing_.clear();
        for (const auto& [vlanId, at] : place.outgoing) {
            if (at.slot > 0xFF || context_.records.pif(portInstance(at.slot, at.port)) == nullptr)
                fail("port {}:{} does not exist; 'show ports' lists them", at.slot, at.port);
            outgoing_.push_back({instanceOf(vlanId), portKey(at.slot, at.port)});
        }
        add({line.group, *line.source, place.vr, instanceOf(place.incomingVlan)});
    }

    uint32_t instanceOf(uint16_t vlanId) {
        return context_.records.neededVlan(vlanId).record.instance;
    }

    void add(const McastKey& key) {
        ++(manager_.add(key, outgoing_) ? load_.caches : load_.known);
        if (groups_.insert(key.group).second) ++load_.groups;
    }

    Context& context_;
    McastManager& manager_;
    const McastLoadOrder& order_;
    size_t each_;
    McastLoad& load_;
    size_t turn_ = 0;
    uint32_t nextSource_ = kFirstSource;
    std::unordered_set<uint32_t> groups_;
    std::vector<McastOutgoing> outgoing_;
};

}  // namespace

McastLoad loadMcast(Context& context, McastManager& manager, const McastLoadOrder& order) {
    McastLoad load(order.file);
    const size_t each = order.each == 0 ? order.outgoing.size() : order.each;
    const auto lines = readGroups(context, order, each, manager.copy(), load.file);
    Adder adder(context, manager, order, each, load);
    Progress progress("Adding " + order.file, lines.size(), "lines");
    uint64_t done = 0;
    for (const auto& [number, line] : lines) {
        if (context.loop.interrupted()) {
            load.file.stop("interrupted; the caches of file " + order.file + " are added in part");
            break;
        }
        try {
            adder.line(line);
        } catch (const CommandError& error) {
            load.file.noteBad(number, error.what());
        }
        progress.at(++done);
    }
    return load;
}

}  // namespace pcsim::host
