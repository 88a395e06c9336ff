// Loading of MAC tables.
#include "host/l2/fdb_load.h"

#include "console/progress.h"
#include "host/core/text_file.h"
#include "host/l2/l2_manager.h"
#include "host/l2/mac_line.h"

namespace pcsim::host {

namespace {

class Loader {
public:
    Loader(Machine& machine, bool makeVlans)
        : machine_(machine), l2_(machine.l2()), makeVlans_(makeVlans) {}

    void line(uint64_t number, std::string_view text) {
        MacLine entry;
        std::string problem;
        const LineKind kind = parseMacLine(text, entry, problem);
        if (kind == LineKind::kNothing) return;
        if (entry.hasAddress) ++result.lines;
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
    TextFile file(path);
    Loader loader(machine, makeVlans);
    Progress progress("Loading " + path, file.size(), "lines");
    std::string_view line;
    for (uint64_t number = 1; file.next(line); ++number) {
        loader.line(number, line);
        progress.at(file.position());
    }
    loader.result.fileProblem = file.problem();
    return std::move(loader.result);
}

}  // namespace pcsim::host
