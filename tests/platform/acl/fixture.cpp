// Requests and rule arrays as the host would make them, and walks over the database.
#include "tests/platform/acl/fixture.h"

#include <cstdlib>
#include <cstring>

namespace pcsim::test {

namespace {

int32_t arraysMade;

std::string text(const AclInstance* one) {
    return std::to_string(one->vlan) + "/" + std::to_string(one->port) + "/" +
           std::to_string(one->key);
}

}  // namespace

HalAclRule* compile(const std::vector<Rule>& rules) {
    ++arraysMade;
    size_t size = 0;
    for (const Rule& rule : rules) size += std::max<size_t>(rule.length, sizeof(HalAclRule));
    auto* const bytes = static_cast<char*>(std::malloc(std::max<size_t>(size, 1)));
    std::memset(bytes, 0xEE, size);
    char* at = bytes;
    for (const Rule& rule : rules) {
        HalAclRule record{};
        rule.name.copy(record.name, sizeof record.name);
        record.ruleIndex = rule.index;
        record.nextIndex = rule.next;
        record.action = rule.action;
        record.reserved45 = 0xFF;
        record.length = static_cast<uint16_t>(rule.length << 6 | 0x3F);
        std::memcpy(at, &record, sizeof record);
        at += rule.length != 0 ? rule.length : sizeof record;
    }
    return reinterpret_cast<HalAclRule*>(bytes);
}

HalAclListRequest listRequest(const char* name, uint16_t counters, const std::vector<Rule>& rules,
                              uint32_t value) {
    HalAclListRequest request;
    std::memset(&request, 0xEE, sizeof request);
    std::strncpy(request.name, name, sizeof request.name);
    request.value = value;
    request.ruleCount = static_cast<uint16_t>(rules.size());
    request.counterCount = counters;
    request.rules = compile(rules);
    return request;
}

HalAclBindRequest bindRequest(const char* name, Where where, uint32_t index) {
    HalAclBindRequest request;
    std::memset(&request, 0xEE, sizeof request);
    std::strncpy(request.name, name, sizeof request.name);
    request.vlan = where.vlan;
    request.port = where.port;
    request.key = where.key;
    request.slot = where.slot;
    request.index = index;
    return request;
}

int32_t addList(const char* name, uint16_t counters, const std::vector<Rule>& rules) {
    const HalAclListRequest request = listRequest(name, counters, rules);
    return pcSimIPv4AclAdd(&request);
}

int32_t deleteList(const char* name) {
    HalAclDeleteRequest request{};
    std::strncpy(request.name, name, sizeof request.name);
    return pcSimIPv4AclDel(&request);
}

int32_t refresh(const char* name, uint16_t counters, const std::vector<Rule>& rules) {
    const HalAclListRequest request = listRequest(name, counters, rules);
    int32_t result = 0;
    printed([&] { result = pcSimIPv4AclRefresh(&request); });
    return result;
}

int32_t bind(const char* name, Where where) {
    const HalAclBindRequest request = bindRequest(name, where);
    return pcSimIPv4AclConfig(&request);
}

int32_t unbind(Where where) {
    const HalAclBindRequest request = bindRequest("whatever", where);
    return pcSimIPv4AclUnconfig(&request);
}

int32_t clearCounters(Where where, const std::vector<uint16_t>& numbers) {
    std::vector<uint32_t> words((56 + 52 * numbers.size()) / 4, 0xEEEEEEEE);
    auto* const request = reinterpret_cast<HalAclCounterRequest*>(words.data());
    std::strncpy(request->name, "whatever", sizeof request->name);
    request->vlan = where.vlan;
    request->port = where.port;
    request->key = where.key;
    request->slot = where.slot;
    request->entryCount = static_cast<uint16_t>(numbers.size());
    for (size_t i = 0; i < numbers.size(); ++i) request->entries[i].counter = numbers[i];
    return pcSimIPv4AclClearCounter(request);
}

namespace {

template <typename Node>
std::vector<Node*> nodes(HalTreeRoot* root) {
    std::vector<Node*> all;
    for (HalTreeNode* node = p2BtreeFirst(root); node != nullptr; node = p2BtreeNext(node))
        all.push_back(reinterpret_cast<Node*>(node));
    return all;
}

}  // namespace

AclList* storedList(const char* name) {
    for (AclList* list : nodes<AclList>(&aclTree))
        if (std::strcmp(list->name, name) == 0) return list;
    return nullptr;
}

AclInstance* instance(Where where) {
    for (AclInstance* one : nodes<AclInstance>(&aclInstanceTree))
        if (one->vlan == where.vlan && one->port == where.port && one->key == where.key) return one;
    return nullptr;
}

std::vector<std::string> listNames() {
    std::vector<std::string> names;
    for (const AclList* list : nodes<AclList>(&aclTree)) names.push_back(list->name);
    return names;
}

std::vector<std::string> instances() {
    std::vector<std::string> texts;
    for (const AclInstance* one : nodes<AclInstance>(&aclInstanceTree)) texts.push_back(text(one));
    return texts;
}

std::vector<std::string> members(AclList* list, uint32_t slot) {
    std::vector<std::string> texts;
    ListLink* const head = &list->members[slot];
    for (ListLink* link = head->next; link != head; link = link->next) {
        EXPECT_EQ(link->next->previous, link);
        const size_t offset = offsetof(AclInstance, links) + slot * sizeof(ListLink);
        const auto* one = reinterpret_cast<AclInstance*>(reinterpret_cast<char*>(link) - offset);
        EXPECT_EQ(one->lists[slot], list);
        texts.push_back(text(one));
    }
    return texts;
}

int32_t blocks() {
    return libc().blocksInUse + arraysMade;
}

}  // namespace pcsim::test
