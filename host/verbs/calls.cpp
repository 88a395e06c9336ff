// Calls of the platform's operations by hand: the host's tables, records and callbacks for them.
#include "host/l2/l2_manager.h"
#include "host/verbs/host_verbs.h"
#include "probe/values/forms.h"
#include "probe/verbs/callables.h"

namespace pcsim::host {

namespace {

// Words of an instance number that stands for a VLAN by its id: "vlan:10".
constexpr std::string_view kByVlanId = "vlan:";

const probe::Type& instanceType() {
    return *probe::recordNamed("HalPif")->field("instance")->type;
}

class HostCallables final : public probe::Callables {
public:
    explicit HostCallables(Machine& machine) : machine_(machine) {}

    std::vector<probe::OperationTable> tables() const override;
    std::string usualNumber() const override { return std::to_string(context().ownSlot); }
    const void* record(const probe::Record& record, const std::string& word) const override;
    void* callback(const probe::Function& type) const override;
    bool number(probe::Meaning meaning, const std::string& word, int64_t& value) const override;
    void called(std::string_view table, std::string_view word,
                const probe::Word* arguments) override;

private:
    Context& context() const { return machine_.context; }
    Pif& pif(const std::string& word) const;
    VlanIf& vlan(const std::string& word) const;
    const Vpif& member(const std::string& word) const;

    Machine& machine_;
};

template <typename Ops>
void addTable(std::vector<probe::OperationTable>& tables, const OpTable<Ops>& table,
              const char* record, uint32_t firstWord = 0, std::string number = "") {
    if (!table.valid) return;
    tables.push_back({table.name, probe::recordNamed(record), std::move(number), table.words(),
                      static_cast<uint32_t>(table.wordCount()), firstWord});
}

std::vector<probe::OperationTable> HostCallables::tables() const {
    Platform& platform = context().platform;
    std::vector<probe::OperationTable> tables;
    addTable(tables, platform.system, "HalSystemOps");
    addTable(tables, platform.cardDb, "HalCardDbOps", offsetof(HalCardDb, ops) / sizeof(void*));
    for (int slot = 0; slot < Platform::kSlots; ++slot)
        addTable(tables, platform.slot(slot), "HalCardSlotOps",
                 offsetof(HalCardSlotDb, ops) / sizeof(void*), std::to_string(slot));
    addTable(tables, platform.family, "HalFamilyOps");
    addTable(tables, platform.fanDb, "HalEnvDb");
    addTable(tables, platform.fanSlot, "HalFanSlotDb");
    addTable(tables, platform.powerSupplyDb, "HalEnvDb");
    addTable(tables, platform.powerSupplySlot, "HalPSSlotDb");
    return tables;
}

Pif& HostCallables::pif(const std::string& word) const {
    int64_t instance = 0;
    if (!probe::readInteger(word, probe::Meaning::kPort, instanceType(), instance))
        fail("'{}' is no port; expected one such as 1:3 or trunk:2", word);
    Pif* const found = context().records.pif(static_cast<uint32_t>(instance));
    if (found == nullptr)
        fail(
            "the host has no record of port {}; expected one that 'show ports' or 'show trunks' "
            "lists",
            word);
    return *found;
}

VlanIf& HostCallables::vlan(const std::string& word) const {
    const uint64_t id = parseNumber("VLAN", word, 1, 4094);
    VlanIf* const found = context().records.vlan(static_cast<uint16_t>(id));
    if (found == nullptr) fail("VLAN {} does not exist; 'vlan create {}' makes it", id, id);
    return *found;
}

const Vpif& HostCallables::member(const std::string& word) const {
    const size_t slash = word.find('/');
    if (slash == std::string::npos)
        fail("'{}' is no member of a VLAN; expected VLAN/PORT, such as 10/1:2", word);
    const VlanIf& vlanIf = vlan(word.substr(0, slash));
    const std::string port = word.substr(slash + 1);
    const auto found = vlanIf.members.find(pif(port).record.instance);
    if (found == vlanIf.members.end())
        fail("port {} is no member of VLAN {}; 'vlan {} add {}' makes it one", port,
             vlanIf.record.vlanId, vlanIf.record.vlanId, port);
    return *found->second;
}

const void* HostCallables::record(const probe::Record& record, const std::string& word) const {
    if (record.name == "HalPif") return &pif(word).record;
    if (record.name == "HalVlanIf") return &vlan(word).record;
    if (record.name == "HalVpif") return &member(word).record;
    fail("the host keeps no {} that goes by '{}'; expected its fields, one by one", record.name,
         word);
}

void* HostCallables::callback(const probe::Function& type) const {
    return type.name == "HalCompletionFn" ? reinterpret_cast<void*>(&Fdb::completed) : nullptr;
}

bool HostCallables::number(probe::Meaning meaning, const std::string& word, int64_t& value) const {
    if (meaning != probe::Meaning::kVlanInstance || !word.starts_with(kByVlanId)) return false;
    value = vlan(word.substr(kByVlanId.size())).record.instance;
    return true;
}

void HostCallables::called(std::string_view table, std::string_view word,
                           const probe::Word* arguments) {
    context().platform.drainPrints();
    if (table != "family") return;
    if (word == "fdbCleanup") machine_.l2().fdb().tableReplaced(nullptr);
    if (word == "fdbInit")
        machine_.l2().fdb().tableReplaced(*reinterpret_cast<HalFdbEntry**>(arguments[0]));
}

}  // namespace

std::shared_ptr<probe::Callables> callablesOf(Machine& machine) {
    return std::make_shared<HostCallables>(machine);
}

}  // namespace pcsim::host
