// Access lists, their bindings and counters against a naive model.
#include <algorithm>
#include <cstring>

#include "platform/acl/memberIndex.h"
#include "tests/fuzz/acl/model.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/exact.h"
#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/input.h"
#include "tests/fuzz/support/library.h"
#include "tests/fuzz/support/life.h"
#include "tests/support/tree.h"

namespace {

using namespace pcsim::fuzz;
using pcsim::kAclSlots;

constexpr int kMaxOperations = 64;

// The last two are the same one: 31 characters count, and 32 leave no room for the NUL.
const char kNames[][HAL_ACL_NAME_SIZE + 1] = {"b", "a", "", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx",
                                              "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxy"};
constexpr char kDynamic[][HAL_ACL_NAME_SIZE + 1] = {HAL_ACL_DYNAMIC_RULES, "\tdYNAMIC acl rULES\t"};

class Acl {
public:
    explicit Acl(Input& input) : input_(input) {}

    void run() {
        for (int i = 0; i < kMaxOperations && !input_.ended(); ++i) {
            step();
            library().failAllocation = 0;
            pcsim::test::tree().refuseInsert = 0;
            checkAcl(model_);
        }
    }

    void end() {
        while (!model_.places.empty())
            for (uint8_t slot = 0; slot < kAclSlots && !model_.places.empty(); ++slot)
                unbind(model_.places.begin()->first, slot);
        while (!model_.lists.empty()) remove(model_.lists.begin()->first);
        FUZZ_SAME(liveBlocks(), 0u);
    }

private:
    struct Rules {
        HalAclRule* rules;
        uint16_t count;
    };

    // A name as it is passed, all 32 bytes of it, and as it is stored.
    const char* name() { return kNames[input_.below(5)]; }
    static std::string stored(const char* name) { return std::string(name).substr(0, 31); }
    template <typename Request>
    static void putName(Request& request, const char* name) {
        std::memcpy(request->name, name, HAL_ACL_NAME_SIZE);
    }
    Place place() {
        const uint8_t which = input_.byte();
        return {which & 3, (which >> 2) & 7, static_cast<uint8_t>((which >> 5) & 1)};
    }

    Rules rules();
    Exact<HalAclListRequest> listRequest(const char* name);
    void add();
    void refresh();
    void remove(const std::string& name);
    bool bind(const char* name, const Place& place, uint8_t slot, bool mayFail);
    void bindMany();
    void unbind(const Place& place, uint8_t slot);
    void unattach();
    void touchCounters();
    void dynamic();
    void setBinding(const Place& place, uint8_t slot, const std::shared_ptr<List>& list);
    void releaseIfUnbound(const Place& place);
    void step();

    Input& input_;
    AclModel model_;
};

// An array of exactly the bytes that its rules have; some end before their count.
Acl::Rules Acl::rules() {
    static constexpr uint16_t kLengths[] = {48, 48, 49, 51, 64, 0};
    const uint8_t shape = input_.byte();
    const uint16_t count = shape & 3;
    if (count == 0 && (shape & 4) != 0) return {nullptr, static_cast<uint16_t>(shape >> 4)};
    std::vector<uint8_t> bytes;
    for (uint16_t i = 0; i < count; ++i) {
        const uint16_t length = kLengths[(shape >> 2) % 6];
        HalAclRule rule{};
        std::memset(rule.name, 'r', sizeof rule.name);
        if (i == 0) rule.name[5] = '\0';
        rule.ruleIndex = i;
        rule.action = shape;
        rule.length = static_cast<uint16_t>(length << HAL_ACL_RULE_LENGTH_SHIFT | (shape & 63));
        const auto* const from = reinterpret_cast<const uint8_t*>(&rule);
        bytes.insert(bytes.end(), from, from + sizeof rule);
        if (length == 0) break;
        bytes.resize(bytes.size() + length - sizeof rule);
    }
    auto* const array = static_cast<HalAclRule*>(std::malloc(bytes.size() + (count == 0)));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<uint8_t*>(array));
    handOver(array);
    return {array, count};
}

Exact<HalAclListRequest> Acl::listRequest(const char* name) {
    Exact<HalAclListRequest> request;
    putName(request, name);
    request->value = input_.byte();
    request->counterCount = input_.below(4);
    const auto list = model_.find(stored(name));
    // A HAL may name the array once more that it has given away.
    if (list != nullptr && input_.below(8) == 7) {
        request->rules = list->rules;
        request->ruleCount = list->ruleCount;
        return request;
    }
    const Rules made = rules();
    request->rules = made.rules;
    request->ruleCount = made.count;
    return request;
}

void Acl::add() {
    const char* const wanted = name();
    const Exact<HalAclListRequest> request = listRequest(wanted);
    const bool isNew = model_.find(stored(wanted)) == nullptr;
    const uint32_t how = input_.below(8);
    if (how == 1) library().failAllocation = 1;
    if (how == 2) pcsim::test::tree().refuseInsert = 1;
    FUZZ_SAME(pcSimIPv4AclAdd(request), 0);
    if (!isNew || how == 1 || how == 2) return;
    auto* const real = reinterpret_cast<pcsim::AclList*>([&] {
        HalTreeNode* node = p2BtreeFirst(&aclTree);
        while (node != nullptr &&
               stored(wanted) != reinterpret_cast<const pcsim::AclList*>(node)->name)
            node = p2BtreeNext(node);
        return node;
    }());
    FUZZ_CHECK(real != nullptr);
    model_.lists[stored(wanted)] =
        std::make_shared<List>(List{.name = stored(wanted),
                                    .value = request->value,
                                    .ruleCount = request->ruleCount,
                                    .counterCount = request->counterCount,
                                    .rules = request->rules,
                                    .real = real});
}

void Acl::refresh() {
    const char* const wanted = name();
    const Exact<HalAclListRequest> request = listRequest(wanted);
    if (input_.below(4) == 3) {
        FUZZ_SAME(pcSimIPv4AclRefreshDiff(request), 0);
        return;
    }
    const std::shared_ptr<List> list = model_.find(stored(wanted));
    uint32_t fails = input_.below(8);
    library().failAllocation = fails;
    FUZZ_SAME(pcSimIPv4AclRefresh(request), 0);
    if (list == nullptr) {
        if (request->rules != nullptr) release(request->rules);  // still the caller's
        return;
    }
    const bool resized = list->counterCount != request->counterCount;
    list->value = request->value;
    list->ruleCount = request->ruleCount;
    list->counterCount = request->counterCount;
    list->rules = request->rules;
    for (uint32_t slot = 0; slot < kAclSlots; ++slot) {
        for (auto& [place, slots] : model_.places) {
            Binding& binding = slots[slot];
            if (binding.list != list) continue;
            if (resized || !binding.hasBlock)
                binding.hasBlock = list->counterCount != 0 && (fails == 0 || --fails != 0);
            binding.counters.assign(list->counterCount, 0);
        }
    }
}

void Acl::remove(const std::string& name) {
    const Exact<HalAclDeleteRequest> request;
    std::memcpy(request->name, name.c_str(), name.size());
    request->index = 7;
    FUZZ_SAME(pcSimIPv4AclDel(request), 0);
    const auto known = model_.lists.find(name);
    if (known == model_.lists.end()) return;
    known->second->stored = false;
    model_.lists.erase(known);
}

void Acl::setBinding(const Place& place, uint8_t slot, const std::shared_ptr<List>& list) {
    const uint32_t bound = model_.boundTo(*list);
    Binding& binding = model_.places[place][slot];
    if (bound == 0) list->grewLong = false;
    if (binding.list != list && bound >= pcsim::kWalkedBindings) list->grewLong = true;
    binding.list = list;
    binding.hasBlock = list->counterCount != 0;
    binding.counters.assign(list->counterCount, 0);
}

void Acl::releaseIfUnbound(const Place& place) {
    for (const Binding& binding : model_.places[place])
        if (binding.list != nullptr) return;
    model_.places.erase(place);
}

// Whether the list is bound now.
bool Acl::bind(const char* wanted, const Place& place, uint8_t slot, bool mayFail) {
    const Exact<HalAclBindRequest> request;
    putName(request, wanted);
    std::tie(request->vlan, request->port, request->key) = place;
    request->slot = slot;
    const std::shared_ptr<List> list = model_.find(stored(wanted));
    const bool isNew = !model_.places.contains(place);
    const bool isRight = list != nullptr && slot < kAclSlots;
    bool fails = false;
    bool instanceFails = false;
    if (const uint32_t how = mayFail ? input_.below(8) : 0; how != 0 && isRight) {
        const uint32_t blocks = (isNew ? 1 : 0) + (list->counterCount != 0 ? 1 : 0);
        if (how == 3) pcsim::test::tree().refuseInsert = 1;
        if (how < 3) library().failAllocation = how;
        instanceFails = isNew && (how == 1 || how == 3);
        fails = instanceFails || (how < 3 && how <= blocks);
    }
    FUZZ_SAME(pcSimIPv4AclConfig(request), isRight && !fails ? 0 : -1);
    if (!isRight || instanceFails) return false;
    if (fails) {
        releaseIfUnbound(place);
        return false;
    }
    setBinding(place, slot, list);
    return true;
}

// So many that the list gets an index.
void Acl::bindMany() {
    const char* const wanted = name();
    const uint8_t how = input_.byte();
    const uint8_t slot = how & 1;
    const uint32_t first = input_.byte();
    const uint32_t count = 4 + (how >> 1) % 16;
    const uint32_t stride = 1 + (how >> 5) * 2;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t which = first + i * stride;
        const Place place{which & 3, (which >> 2) & 7, static_cast<uint8_t>((which >> 5) & 1)};
        if (!bind(wanted, place, slot, false)) return;
    }
}

void Acl::unbind(const Place& place, uint8_t slot) {
    const Exact<HalAclBindRequest> request;
    putName(request, kNames[0]);
    std::tie(request->vlan, request->port, request->key) = place;
    request->slot = slot;
    FUZZ_SAME(pcSimIPv4AclUnconfig(request), 0);
    if (!model_.places.contains(place) || slot >= kAclSlots) return;
    model_.places[place][slot] = {};
    releaseIfUnbound(place);
}

// The steps by themselves: an instance stays without a binding, and wrong pairs are left alone.
void Acl::unattach() {
    const Place where = place();
    const uint8_t slot = input_.below(3);
    const bool right = input_.flag();
    if (!model_.places.contains(where)) return;
    HalTreeNode* node = p2BtreeFirst(&aclInstanceTree);
    for (const auto& [each, slots] : model_.places) {
        if (each == where) break;
        node = p2BtreeNext(node);
    }
    auto* const instance = reinterpret_cast<pcsim::AclInstance*>(node);
    const std::shared_ptr<List> other = model_.find(stored(name()));
    if (slot == kAclSlots) {
        if (other != nullptr) FUZZ_SAME(aclAttachInstance(other->real, slot, instance), -1);
        return;
    }
    Binding& binding = model_.places[where][slot];
    if (right && binding.list != nullptr) {
        FUZZ_SAME(aclUnAttachInstance(binding.list->real, slot, instance), 0);
        binding = {};
    } else if (other != nullptr && other != binding.list) {
        FUZZ_SAME(aclUnAttachInstance(other->real, slot, instance), 0);
    } else if (other != nullptr) {
        FUZZ_SAME(aclAttachInstance(other->real, slot, instance), 0);
        setBinding(where, slot, other);
    }
}

void Acl::touchCounters() {
    const Place where = place();
    const uint8_t slot = input_.below(3);
    const uint32_t count = input_.below(3);
    const Exact<HalAclCounterRequest> request(sizeof(HalAclCounterRequest) +
                                              count * sizeof(HalAclCounterEntry));
    putName(request, name());
    std::tie(request->vlan, request->port, request->key) = where;
    request->slot = slot;
    request->entryCount = static_cast<uint16_t>(count);
    for (uint32_t i = 0; i < count; ++i)
        request->entries[i].counter = input_.below(8) == 7 ? static_cast<uint16_t>(input_.hostile())
                                                           : static_cast<uint16_t>(input_.below(5));
    FUZZ_SAME(pcSimIPv4AclClearCounter(request), 0);
    FUZZ_SAME(pcSimIPv4AclGetCounter(request.get()), 0);
    const auto known = model_.places.find(where);
    if (known == model_.places.end() || slot >= kAclSlots) return;
    Binding& binding = known->second[slot];
    for (uint32_t i = 0; i < count; ++i)
        for (size_t each = 0; each < binding.counters.size(); ++each)
            if (const uint16_t number = request->entries[i].counter;
                number == 0 || number == each + 1)
                binding.counters[each] = 0;
    if (!binding.hasBlock || !input_.flag()) return;
    // As if packets had been counted, for the next clearing.
    HalTreeNode* node = p2BtreeFirst(&aclInstanceTree);
    for (auto place = model_.places.begin(); place != known; ++place) node = p2BtreeNext(node);
    const uint8_t fill = input_.byte();
    std::memset(reinterpret_cast<pcsim::AclInstance*>(node)->counters[slot], fill,
                binding.counters.size() * pcsim::kAclCounterSize);
    binding.counters.assign(binding.counters.size(), fill);
}

// What is never stored.
void Acl::dynamic() {
    const Exact<HalAclBindRequest> bindRequest;
    const Exact<HalAclDeleteRequest> deleteRequest;
    const Exact<HalAclListRequest> addRequest;
    putName(bindRequest, kDynamic[0]);
    FUZZ_SAME(pcSimIPv4AclConfig(bindRequest), 0);
    FUZZ_SAME(pcSimIPv4AclUnconfig(bindRequest), 0);
    putName(deleteRequest, name());
    deleteRequest->flags = HAL_ACL_DELETE_DYNAMIC | 0x80;
    FUZZ_SAME(pcSimIPv4AclDel(deleteRequest), 0);
    putName(addRequest, kDynamic[0]);
    const Rules made = rules();
    addRequest->rules = made.rules;
    addRequest->ruleCount = made.count;
    FUZZ_SAME(pcSimIPv4AclAdd(addRequest), 0);
    const uint32_t count = input_.below(4);
    const Exact<HalAclCounterRequest> request(sizeof(HalAclCounterRequest) +
                                              count * sizeof(HalAclCounterEntry));
    putName(request, kDynamic[input_.below(2)]);
    request->entryCount = static_cast<uint16_t>(count);
    for (uint32_t i = 0; i < count; ++i) std::memset(request->entries[i].value, 0x5A, 16);
    FUZZ_SAME(pcSimIPv4AclGetCounter(request.get()), 0);
    for (uint32_t i = 0; i < count; ++i)
        for (const uint8_t byte : request->entries[i].value) FUZZ_SAME(byte, 0u);
}

void Acl::step() {
    const uint32_t operation = input_.below(16);
    if (operation < 3) return add();
    if (operation < 5) return refresh();
    if (operation == 5) return remove(stored(name()));
    if (operation < 9) {
        const char* const wanted = name();
        const Place where = place();
        bind(wanted, where, input_.below(9) % 3 % (kAclSlots + 1), true);
        return;
    }
    if (operation == 9) return bindMany();
    if (operation < 12) {
        const Place where = place();
        return unbind(where, input_.below(3));
    }
    if (operation == 12) return unattach();
    if (operation < 15) return touchCounters();
    dynamic();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    return live<Acl>(bytes, size);
}
