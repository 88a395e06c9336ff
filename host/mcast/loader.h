// Loading caches from a list of groups.
//
// A line is GROUP[:UDPPORT] [SOURCE], as in published lists of IPTV channels; '#' starts a comment.
// What a line does not say is made up: a group without a source gets as many sources as asked for,
// counting up from 10.0.0.1 through the whole list, and each cache takes its outgoing ports from
// the given ones in turn. A line of a table that was saved says all of it: GROUP SOURCE iif VLAN
// [oif VLAN SLOT:PORT]... [vr N].
#ifndef PCSIM_HOST_MCAST_LOADER_H
#define PCSIM_HOST_MCAST_LOADER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/output_file.h"
#include "console/values.h"
#include "host/core/line_load.h"
#include "host/mcast/mcast_copy.h"

namespace pcsim::host {

struct Context;
class McastManager;

// Where packets come from and leave by, as a line says it.
struct McastLinePlace {
    struct Outgoing {
        uint16_t vlanId;
        SlotPort port;
    };
    uint16_t incomingVlan = 0;  // id; 0: the line doesn't say
    uint32_t vr = 0;
    std::vector<Outgoing> outgoing;
};

struct McastLine {
    uint32_t group = 0;  // host byte order; 0: the line is empty
    std::optional<uint32_t> source;
    McastLinePlace place;
};

// Throws a CommandError that says what is wrong.
McastLine parseMcastLine(std::string_view line);

// The group or source that a word names, in host byte order; a source of 0 is '*'.
uint32_t parseMcastGroup(const std::string& word);
uint32_t parseMcastSource(const std::string& word);

struct McastLoadOrder {
    std::string file;
    uint32_t incomingVlan = 0;  // instance; 0: of lines that say it alone
    uint32_t vr = 0;
    uint32_t sources = 1;  // of each group without one
    std::vector<McastOutgoing> outgoing;
    size_t each = 0;  // outgoing ports per cache, 0: all
};

// A 32-bit process holds so many with a few outgoing ports each, and no more outgoing ports.
constexpr uint64_t kMostMcastCaches = 2'000'000;
constexpr uint64_t kMostMcastPorts = 4'000'000;

struct McastLoad {
    explicit McastLoad(std::string path) : file(std::move(path)) {}

    LineLoad file;
    size_t groups = 0;  // different ones
    size_t caches = 0;  // that are new
    size_t known = 0;   // that were there already
};

// A file that asks for more caches than the process holds is refused before the first is made.
McastLoad loadMcast(Context& context, McastManager& manager, const McastLoadOrder& order);

// Writes all caches as a file that loadMcast() reads. How many there are.
uint64_t saveMcast(McastManager& manager, OutputFile& file, const Surroundings& surroundings);

}  // namespace pcsim::host

#endif
