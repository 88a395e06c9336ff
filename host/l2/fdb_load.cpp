// Loading of MAC tables.
#include "host/l2/fdb_load.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/console/progress.h"
#include "host/l2/l2_manager.h"
#include "host/l2/mac_line.h"

namespace pcsim::host {

namespace {

std::string readFile(const std::string& path) {
    const auto closing = [](FILE* file) { std::fclose(file); };
    const std::unique_ptr<FILE, decltype(closing)> file(std::fopen(path.c_str(), "rbe"), closing);
    std::string text;
    std::array<char, 65536> piece;
    size_t size = 0;
    if (file != nullptr)
        while ((size = std::fread(piece.data(), 1, piece.size(), file.get())) != 0)
            text.append(piece.data(), size);
    if (file == nullptr || std::ferror(file.get()) != 0)
        fail("file {} can't be read: {}", path, std::strerror(errno));
    return text;
}

class Loader {
public:
    Loader(Machine& machine, bool makeVlans)
        : machine_(machine), l2_(machine.l2()), makeVlans_(makeVlans) {}

    void line(uint64_t number, std::string_view text) {
        MacLine entry;
        std::string problem;
        const LineKind kind = parseMacLine(text, entry, problem);
        if (kind == LineKind::kNothing) return;
        ++result.lines;
        try {
            if (kind == LineKind::kEntry) load(entry);
        } catch (const CommandError& error) {
            problem = error.what();
        }
        if (!problem.empty()) result.bad.push_back({number, std::move(problem)});
    }

    FdbLoadResult result;

private:
    void load(const MacLine& entry) {
        VlanIf& vlan = vlanOf(entry.vlanId);
        const uint32_t port = portOf(vlan, entry.port);
        const Fdb::Added added = l2_.fdb().add(entry.mac, vlan, port, entry.isStatic);
        switch (added.outcome) {
            case Fdb::Outcome::kNew:
                ++result.added;
                break;
            case Fdb::Outcome::kRefreshed:
                ++result.refreshed;
                break;
            case Fdb::Outcome::kMoved:
                ++result.moved;
                break;
            case Fdb::Outcome::kStaticKept:
                ++result.staticKept;
                break;
        }
        if (added.evicted) ++result.evicted;
    }

    VlanIf& vlanOf(uint16_t id) {
        VlanIf* vlan = machine_.records.vlan(id);
        if (vlan != nullptr) return *vlan;
        if (!makeVlans_) fail("VLAN {} does not exist; 'create-vlans' would make it", id);
        ++result.vlansMade;
        return l2_.createVlan(id);
    }

    uint32_t portOf(VlanIf& vlan, SlotPort port) {
        const uint32_t instance = portInstance(port.slot, port.port);
        const bool nameable = port.slot <= 0xFF;
        if (makeVlans_ && nameable && machine_.records.pif(instance) != nullptr &&
            !vlan.members.contains(instance)) {
            l2_.addMember(vlan, instance, true);
            ++result.membersMade;
        }
        return l2_.learningPort(vlan, port.slot, port.port);
    }

    Machine& machine_;
    L2Manager& l2_;
    bool makeVlans_;
};

}  // namespace

FdbLoadResult loadMacTable(Machine& machine, const std::string& path, bool makeVlans) {
    const std::string text = readFile(path);
    Loader loader(machine, makeVlans);
    Progress progress("Loading " + path, text.size());
    const std::string_view all = text;
    uint64_t number = 0;
    for (size_t start = 0; start < all.size();) {
        const size_t end = std::min(all.find('\n', start), all.size());
        loader.line(++number, all.substr(start, end - start));
        start = end + 1;
        progress.at(start);
    }
    return std::move(loader.result);
}

}  // namespace pcsim::host
