// Requests in the layout of the HAL, the hooks that note their calls, and walks over the database.
#include "tests/platform/mcast/fixture.h"

#include <arpa/inet.h>

#include <algorithm>

namespace pcsim::test {

uint32_t ip(const char* dotted) {
    return inet_addr(dotted);
}

Request::Request(uint32_t vr, uint32_t group, uint32_t source, uint32_t incomingVlan)
    : words_{vr, incomingVlan, 0xDEAD0001, group, source, 0xDEAD0002, 0xDEAD0003, 0} {}

Request& Request::to(uint32_t vlan, uint16_t slot, uint16_t port, uint32_t portWord,
                     uint32_t vlanWord) {
    for (uint32_t word : {vlan, static_cast<uint32_t>(slot << 16 | port), portWord, vlanWord})
        words_.push_back(word);
    ++words_[7];
    if (words_[7] < 64) words_.shrink_to_fit();  // quadratic beyond that
    return *this;
}

Request& Request::count(int32_t claimed) {
    words_[7] = static_cast<uint32_t>(claimed);
    return *this;
}

std::vector<std::string>& hooks() {
    static std::vector<std::string> calls;
    return calls;
}

int hookCalls(const std::string& name) {
    return static_cast<int>(std::count(hooks().begin(), hooks().end(), name));
}

namespace {

std::string dotted(uint32_t address) {
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

std::string portText(uint32_t key) {
    return std::to_string(key >> 16) + ":" + std::to_string(key & 0xFFFF);
}

int size(ListLink* head) {
    int count = 0;
    for (ListLink* link = head->next; link != head; link = link->next) {
        EXPECT_EQ(link->next->previous, link);
        ++count;
    }
    return count;
}

std::string cacheText(CacheNode* cache) {
    std::string text = dotted(cache->group) + " " + dotted(cache->source) + " " +
                       std::to_string(cache->incomingVlan) + ":";
    for (CacheIf* vlan = firstOf<CacheIf>(&cache->vlans); vlan; vlan = nextOf(vlan)) {
        EXPECT_EQ(vlan->cache, cache);
        EXPECT_EQ(vlan->vlan->vlanInstance, vlan->vlanInstance);
        text += " " + std::to_string(vlan->vlanInstance) + "[";
        for (CachePort* port = firstOf<CachePort>(&vlan->ports); port; port = nextOf(port)) {
            EXPECT_EQ(port->cacheIf, vlan);
            EXPECT_EQ(port->vpif->vlan, vlan->vlan);
            EXPECT_EQ(port->vpif->port->portKey, port->portKey);
            text += (text.back() == '[' ? "" : " ") + portText(port->portKey);
        }
        text += "]";
    }
    return text;
}

}  // namespace

void Mcast::SetUp() {
    for (uint16_t vlan = 10; vlan < 20; ++vlan) host().addVlanIf(vlan, vlan);
    for (uint16_t slot = 1; slot <= 3; ++slot)
        for (uint16_t port = 1; port <= 4; ++port)
            host().addPif(static_cast<uint32_t>(slot << 16 | port), slot, port);
    ASSERT_EQ(pcSimHalIPv4McDbInit(), 1);
}

std::vector<std::string> Mcast::caches(uint32_t vr) {
    std::vector<std::string> lines;
    for (uint32_t bucket = 0; bucket < 512; ++bucket) {
        HalTreeRoot* root = &groupTable[vr * 512 + bucket];
        for (auto* group = firstOf<GroupNode>(root); group; group = nextOf(group)) {
            EXPECT_EQ(ntohl(group->group) & 0x1FF, bucket);
            if (group->caches == nullptr) lines.push_back(dotted(group->group) + " -");
            for (auto* cache = firstOf<CacheNode>(&group->caches); cache; cache = nextOf(cache)) {
                EXPECT_EQ(cache->groupNode, group);
                lines.push_back(cacheText(cache));
            }
        }
    }
    return lines;
}

std::vector<std::string> Mcast::vlans() {
    std::vector<std::string> lines;
    for (auto* vlan = firstOf<VlanNode>(&vlanTree); vlan; vlan = nextOf(vlan))
        lines.push_back(std::to_string(vlan->vlanInstance) + ": " +
                        std::to_string(size(&vlan->users)));
    return lines;
}

std::vector<std::string> Mcast::ports() {
    std::vector<std::string> lines;
    for (auto* port = firstOf<PortNode>(&portTree); port; port = nextOf(port)) {
        lines.push_back(portText(port->portKey) + ":");
        for (auto* vpif = firstOf<VpifNode>(&port->vpifs); vpif; vpif = nextOf(vpif)) {
            EXPECT_EQ(vpif->port, port);
            lines.back() += " " + std::to_string(vpif->vlanInstance) + "(" +
                            std::to_string(size(&vpif->cachePorts)) + ")";
        }
    }
    return lines;
}

CacheNode* Mcast::find(const Request& request) {
    CacheNode* cache = nullptr;
    return pcSimHalIpv4McHwCacheFind(request.key(), &cache) == 0 ? cache : nullptr;
}

int32_t Mcast::blocks() {
    return libc().blocksInUse - 1;
}

}  // namespace pcsim::test

// The test host's own hooks: the library calls these instead of its empty ones.
extern "C" {
void ptagInit() noexcept {
    pcsim::test::hooks().push_back("init");
}
void ptagRelease() noexcept {
    pcsim::test::hooks().push_back("release");
}
void asicAddPort() noexcept {
    pcsim::test::hooks().push_back("add");
}
void asicDelPort() noexcept {
    pcsim::test::hooks().push_back("del");
}
}
