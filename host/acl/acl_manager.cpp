// Access lists and their bindings.
#include "host/acl/acl_manager.h"

#include <cstdlib>
#include <cstring>

#include "console/text.h"

namespace pcsim::host {

namespace {

constexpr size_t kLongestName = HAL_ACL_NAME_SIZE - 1;

// The name by which the platform knows a list.
std::string platformName(const std::string& name) {
    return name == AclManager::kDynamic ? HAL_ACL_DYNAMIC_RULES : name;
}

}  // namespace

std::string AclPlace::text() const {
    return fmt::format("VLAN {} port {} slot {}", vlanId, portName(port), slot);
}

std::shared_ptr<AclList> AclManager::find(const std::string& name) {
    const auto found = lists_.find(name);
    if (found == lists_.end())
        fail("there is no access list {}; 'acl load {} FILE' makes it", name, name);
    return found->second;
}

const AclList& AclManager::list(const std::string& name) {
    return *find(name);
}

void AclManager::printing(const Print& print, const std::function<void()>& call) {
    context_.platform.drainPrints();
    const auto former = context_.platform.onPrint;
    context_.platform.onPrint = print;
    try {
        call();
    } catch (...) {
        context_.platform.onPrint = former;
        throw;
    }
    context_.platform.onPrint = former;
}

// Any answer but 0 means that the platform has not taken the rules over.
int32_t AclManager::sendRules(int32_t (*HalFamilyOps::*word)(const HalAclListRequest*),
                              const std::string& name, const AclProgram& program) {
    HalAclListRequest request{};
    name.copy(request.name, kLongestName);
    request.ruleCount = static_cast<uint16_t>(program.rules.size());
    request.counterCount = program.counterCount;
    request.rules = aclRecords(program.rules);
    if (request.rules == nullptr) fail("there is no memory for {} rules", program.rules.size());
    const int32_t result = context_.platform.call(context_.platform.family, word, &request);
    if (result != 0) std::free(request.rules);
    return result;
}

void AclManager::checkName(const std::string& name) const {
    if (name == kDynamic) fail("dynamic rules are never stored; choose another name");
    if (name.size() > kLongestName)
        fail("name '{}' is too long; expected {} characters at most", name, kLongestName);
}

void AclManager::load(const std::string& name, AclProgram program) {
    checkName(name);
    if (lists_.contains(name))
        fail("access list {} is loaded already; 'acl refresh' gives it new rules", name);
    const int32_t result = sendRules(&HalFamilyOps::ipv4AclAdd, name, program);
    if (result != 0) fail("the platform answered {} to access list {}", result, name);
    auto list = std::make_shared<AclList>();
    list->name = name;
    list->rules = std::move(program.rules);
    list->counterCount = program.counterCount;
    lists_[name] = std::move(list);
}

void AclManager::refresh(const std::string& name, AclProgram program, const Print& print) {
    const auto list = find(name);
    int32_t result = 0;
    printing(print, [&] { result = sendRules(&HalFamilyOps::ipv4AclRefresh, name, program); });
    if (result != 0) fail("the platform answered {} to the refresh of {}", result, name);
    list->rules = std::move(program.rules);
    list->counterCount = program.counterCount;
}

void AclManager::addRule(const std::string& name, const Words& words) {
    checkName(name);
    AclCompiler& draft = drafts_.try_emplace(name, "command").first->second;
    try {
        draft.take(draft.program.rules.size() + 1, words);
    } catch (const CommandError&) {
        if (draft.program.rules.empty()) drafts_.erase(name);
        throw;
    }
}

void AclManager::commit(const std::string& name, bool empty, const Print& print) {
    const auto draft = drafts_.extract(name);
    if (draft.empty() && !empty)
        fail("there are no rules for {}; 'acl rule {} NAME permit' gives one", name, name);
    AclProgram program;
    if (!empty) program = std::move(draft.mapped().program);
    if (lists_.contains(name))
        refresh(name, std::move(program), print);
    else
        load(name, std::move(program));
}

void AclManager::diff(const std::string& name, const AclProgram& program, const Print& print) {
    find(name);
    int32_t result = 0;
    printing(print, [&] { result = sendRules(&HalFamilyOps::ipv4AclRefreshDiff, name, program); });
    if (result != 0) fail("the platform answered {} to the difference pass", result);
}

void AclManager::remove(const std::string& name, bool force, uint32_t index) {
    HalAclDeleteRequest request{};
    platformName(name).copy(request.name, kLongestName);
    request.index = index;
    if (name == kDynamic) {
        request.flags = HAL_ACL_DELETE_DYNAMIC;
    } else {
        const auto list = lists_.find(name);
        if (list == lists_.end()) fail("there is no access list {}; 'show acl' lists them", name);
        const size_t bound = list->second->boundCount;
        if (bound != 0 && !force)
            fail("access list {} is bound {}; unbind it first, or delete it with 'force'", name,
                 counted(bound, "time", "times"));
    }
    const int32_t result =
        context_.platform.call(context_.platform.family, &HalFamilyOps::ipv4AclDel, &request);
    if (result != 0) fail("the platform answered {} to the delete of {}", result, name);
    if (name == kDynamic) return;
    lists_[name]->deleted = true;
    lists_.erase(name);
}

int32_t AclManager::sendBinding(int32_t (*HalFamilyOps::*word)(const HalAclBindRequest*),
                                const std::string& name, const AclPlace& place, uint32_t index) {
    HalAclBindRequest request{};
    platformName(name).copy(request.name, kLongestName);
    request.vlan = place.vlanId;
    request.port = place.port;
    request.slot = place.slot;
    request.index = index;
    return context_.platform.call(context_.platform.family, word, &request);
}

void AclManager::bind(const std::string& name, const AclPlace& place, uint32_t index) {
    const auto list = name == kDynamic ? nullptr : find(name);
    const auto bound = bindings_.find(place);
    if (list != nullptr && bound != bindings_.end() && bound->second == list)
        fail("{} is bound to {} already", name, place.text());
    const int32_t result = sendBinding(&HalFamilyOps::ipv4AclConfig, name, place, index);
    if (result != 0) fail("the platform answered {} to {} on {}", result, name, place.text());
    if (list == nullptr) return;
    // The platform takes a list that was there out of the slot.
    std::shared_ptr<AclList>& holder = bindings_[place];
    if (holder != nullptr) --holder->boundCount;
    holder = list;
    ++list->boundCount;
}

AclList& AclManager::boundAt(const std::string& name, const AclPlace& place) {
    const auto bound = bindings_.find(place);
    if (bound == bindings_.end()) fail("no access list is bound to {}", place.text());
    if (bound->second->name != name)
        fail("{} is bound to {}, not {}", bound->second->name, place.text(), name);
    return *bound->second;
}

void AclManager::unbind(const std::string& name, const AclPlace& place, uint32_t index) {
    AclList* const list = name == kDynamic ? nullptr : &boundAt(name, place);
    const int32_t result = sendBinding(&HalFamilyOps::ipv4AclUnconfig, name, place, index);
    if (result != 0) fail("the platform answered {} to {} off {}", result, name, place.text());
    if (list == nullptr) return;
    --list->boundCount;
    bindings_.erase(place);
}

std::vector<uint8_t> AclManager::counterRequest(const std::string& name, const AclPlace& place,
                                                size_t entries) {
    std::vector<uint8_t> block(sizeof(HalAclCounterRequest) + entries * sizeof(HalAclCounterEntry));
    auto* const request = reinterpret_cast<HalAclCounterRequest*>(block.data());
    platformName(name).copy(request->name, kLongestName);
    request->vlan = place.vlanId;
    request->port = place.port;
    request->slot = place.slot;
    request->entryCount = static_cast<uint16_t>(entries);
    return block;
}

// The platform answers counters of dynamic rules alone: a value that it has not touched tells so.
std::vector<AclManager::Counter> AclManager::counters(const std::string& name,
                                                      const AclPlace& place) {
    constexpr uint8_t kUntouched = 0xA5;
    const size_t count = name == kDynamic ? 1 : boundAt(name, place).counterCount;
    std::vector<uint8_t> block = counterRequest(name, place, count);
    auto* const request = reinterpret_cast<HalAclCounterRequest*>(block.data());
    for (size_t i = 0; i < count; ++i) {
        std::memset(request->entries[i].value, kUntouched, sizeof request->entries[i].value);
        request->entries[i].counter = static_cast<uint16_t>(i + 1);
    }
    context_.platform.call(context_.platform.family, &HalFamilyOps::ipv4AclGetCounter, request);
    std::vector<Counter> result(count);
    for (size_t i = 0; i < count; ++i) {
        for (size_t byte = 0; byte < sizeof result[i].value; ++byte) {
            result[i].value[byte] = request->entries[i].value[byte];
            result[i].answered = result[i].answered || result[i].value[byte] != kUntouched;
        }
    }
    return result;
}

void AclManager::clearCounters(const std::string& name, const AclPlace& place, uint16_t number) {
    const AclList& list = boundAt(name, place);
    if (list.counterCount == 0) fail("access list {} counts nothing", name);
    if (number > list.counterCount)
        fail("access list {} has no counter {}; they are 1 to {}", name, number, list.counterCount);
    std::vector<uint8_t> block = counterRequest(name, place, 1);
    auto* const request = reinterpret_cast<HalAclCounterRequest*>(block.data());
    request->entries[0].counter = number;
    const int32_t result = context_.platform.call(context_.platform.family,
                                                  &HalFamilyOps::ipv4AclClearCounter, request);
    if (result != 0) fail("the platform answered {} to the clearing of counters", result);
}

template <typename Predicate>
void AclManager::unbindAll(const std::string& what, Predicate goes) {
    size_t count = 0;
    for (auto binding = bindings_.begin(); binding != bindings_.end();) {
        const AclPlace place = binding->first;
        AclList& list = *binding->second;
        if (!goes(place) || sendBinding(&HalFamilyOps::ipv4AclUnconfig, list.name, place, 0) != 0) {
            ++binding;
            continue;
        }
        --list.boundCount;
        binding = bindings_.erase(binding);
        ++count;
    }
    if (count != 0)
        context_.events.note("acl", "{} gone: {} undone", what,
                             counted(count, "access list binding", "access list bindings"));
}

void AclManager::cardDown(int slot) {
    unbindAll(fmt::format("Slot {}", slot), [slot](const AclPlace& place) {
        return slotOf(place.port) == static_cast<uint32_t>(slot);
    });
}

void AclManager::vlanDown(uint16_t vlanId, uint32_t) {
    unbindAll(fmt::format("VLAN {}", vlanId),
              [vlanId](const AclPlace& place) { return place.vlanId == vlanId; });
}

void AclManager::memberDown(uint16_t vlanId, uint32_t, uint32_t portInstance) {
    unbindAll(
        fmt::format("VLAN {} on port {}:{}", vlanId, slotOf(portInstance), portOf(portInstance)),
        [=](const AclPlace& place) {
            return place.vlanId == vlanId && place.port == portInstance;
        });
}

}  // namespace pcsim::host
