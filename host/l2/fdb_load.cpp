// Loading of MAC tables.
#include "host/l2/fdb_load.h"

#include "host/l2/mac_line.h"

namespace pcsim::host {

namespace {

class MacLoader {
public:
    MacLoader(Context& context, L2Manager& l2, bool makeVlans, FdbLoad& load)
        : context_(context), l2_(l2), makeVlans_(makeVlans), result_(load) {}

    // Fails when the line is not right.
    void line(std::string_view text) {
        MacLine entry;
        std::string problem;
        const LineKind kind = parseMacLine(text, entry, problem);
        if (kind == LineKind::kNothing) return;
        if (entry.hasAddress) ++result_.lines;
        if (kind == LineKind::kBad) fail("{}", problem);
        load(entry);
    }

private:
    void load(const MacLine& entry) {
        checkTableMac(entry.mac, entry.isStatic);
        VlanIf& vlan = vlanOf(entry.vlanId);
        const uint32_t port = portOf(vlan, entry.port);
        const Fdb::Added added = l2_.fdb().add(entry.mac, vlan, port, entry.isStatic);
        switch (added.outcome) {
            case Fdb::Outcome::kNew:
                ++result_.added;
                break;
            case Fdb::Outcome::kRefreshed:
                ++result_.refreshed;
                break;
            case Fdb::Outcome::kMoved:
                ++result_.moved;
                break;
            case Fdb::Outcome::kStaticKept:
                ++result_.staticKept;
                break;
        }
        if (added.evicted) ++result_.evicted;
    }

    VlanIf& vlanOf(uint16_t id) {
        VlanIf* vlan = context_.records.vlan(id);
        if (vlan != nullptr) return *vlan;
        if (!makeVlans_) fail("VLAN {} does not exist; 'create-vlans' would make it", id);
        ++result_.vlansMade;
        return l2_.createVlan(id);
    }

    uint32_t portOf(VlanIf& vlan, SlotPort port) {
        const uint32_t instance = portInstance(port.slot, port.port);
        const bool nameable = port.slot <= 0xFF;
        if (makeVlans_ && nameable && context_.records.pif(instance) != nullptr &&
            !vlan.members.contains(instance)) {
            l2_.addMember(vlan, instance, true);
            ++result_.membersMade;
        }
        return l2_.learningPort(vlan, port.slot, port.port);
    }

    Context& context_;
    L2Manager& l2_;
    bool makeVlans_;
    FdbLoad& result_;
};

}  // namespace

FdbLoad loadMacTable(Context& context, L2Manager& l2, const std::string& path, bool makeVlans) {
    FdbLoad result(path);
    MacLoader loader(context, l2, makeVlans, result);
    result.file.run(context.loop, "lines",
                    [&](uint64_t, std::string_view line) { loader.line(line); });
    return result;
}

uint64_t saveMacTable(L2Manager& l2, OutputFile& file, const Surroundings& surroundings) {
    uint64_t count = 0;
    l2.forEachAddress([&](const MacEntry& entry, uint32_t port) {
        if (++count % 1024 == 0) surroundings.checkInterrupt();
        file.write(fmt::format("{} {} {} {}\n", macText(entry.mac.data()), entry.vlanId,
                               portName(port), entry.isStatic ? "static" : "dynamic"));
    });
    return count;
}

}  // namespace pcsim::host
