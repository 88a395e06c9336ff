// What the layer-3 tests share: requests with their slots, records, and a sink that keeps its text.
#ifndef PCSIM_TESTS_L3_SUPPORT_H
#define PCSIM_TESTS_L3_SUPPORT_H

#include <arpa/inet.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/l3/pcSimIPv4Fib.h"
#include "platform/l3/pcSimIPv6Fib.h"
#include "platform/l3/pcSimIpAdj.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

inline uint32_t ip(const char* text) {
    uint32_t address = 0;
    inet_pton(AF_INET, text, &address);
    return address;
}

inline HalIpAddress ip6(const char* text) {
    HalIpAddress address{};
    inet_pton(AF_INET6, text, &address);
    return address;
}

// A next hop as a test names it.
struct Hop {
    std::string gateway;
    uint32_t vlan;
    bool operator==(const Hop&) const = default;
};
using Hops = std::vector<Hop>;

inline std::ostream& operator<<(std::ostream& out, const Hop& hop) {
    return out << hop.gateway << " vlan " << hop.vlan;
}

// A request in one block of exactly its size, so that a read behind the last slot is seen. A flush
// reads the first slot, hence there is always one.
class Request4 {
public:
    Request4(uint32_t vrId, const char* prefix, const char* mask, const Hops& hops)
        : Request4(vrId, prefix, mask, hops, static_cast<int32_t>(hops.size())) {}
    Request4(uint32_t vrId, const char* prefix, const char* mask, const Hops& hops, int32_t count) {
        const size_t slots = hops.empty() ? 1 : hops.size();
        words_.resize(4 + 4 * slots, 0);
        words_[0] = vrId;
        words_[1] = ip(prefix);
        words_[2] = ip(mask);
        words_[3] = static_cast<uint32_t>(count);
        for (size_t i = 0; i < hops.size(); ++i) {
            words_[4 + 4 * i] = 0xDEAD0000;
            words_[5 + 4 * i] = ip(hops[i].gateway.c_str());
            words_[6 + 4 * i] = hops[i].vlan;
            words_[7 + 4 * i] = 0xDEAD0001;
        }
    }
    operator const pcSimIPv4FibReq*() const {
        return reinterpret_cast<const pcSimIPv4FibReq*>(words_.data());
    }

private:
    std::vector<uint32_t> words_;
};

class Request6 {
public:
    Request6(uint32_t vrId, const char* prefix, uint8_t maskLen, const Hops& hops)
        : Request6(vrId, prefix, maskLen, hops, static_cast<uint8_t>(hops.size())) {}
    Request6(uint32_t vrId, const char* prefix, uint8_t maskLen, const Hops& hops, uint8_t count) {
        const size_t slots = hops.empty() ? 1 : hops.size();
        bytes_.resize(24 + 28 * slots, 0);
        const HalIpAddress address = ip6(prefix);
        std::memcpy(&bytes_[0], &vrId, 4);
        std::memcpy(&bytes_[4], &address, 16);
        bytes_[20] = maskLen;
        bytes_[21] = count;
        bytes_[22] = 0xDE;
        bytes_[23] = 0xAD;
        for (size_t i = 0; i < hops.size(); ++i) {
            const HalIpAddress gateway = ip6(hops[i].gateway.c_str());
            std::memcpy(&bytes_[24 + 28 * i], &gateway, 16);
            std::memcpy(&bytes_[40 + 28 * i], &hops[i].vlan, 4);
            std::memset(&bytes_[44 + 28 * i], 0xDE, 8);
        }
    }
    operator const pcSimIPv6FibReq*() const {
        return reinterpret_cast<const pcSimIPv6FibReq*>(bytes_.data());
    }

private:
    std::vector<uint8_t> bytes_;
};

struct Mac {
    uint8_t bytes[6];
};

inline pcSimIpAdjRec record(uint32_t vrId, const char* address, uint32_t vlan, Mac mac = {},
                            uint32_t port = 0x00010005) {
    pcSimIpAdjRec result{};
    result.vrId = vrId;
    result.family = 2;
    result.ipAddr.words[0] = ip(address);
    result.vlan = vlan;
    std::memcpy(result.mac, mac.bytes, sizeof result.mac);
    result.port = port;
    return result;
}

inline pcSimIpAdjEntry* adjacency(uint32_t vrId, const char* address, uint32_t vlan) {
    return pcSimIpAdjLookup(vrId, ip(address), vlan, 0);
}

inline pcSimIPv4FibRoute* route4(uint32_t vrId, const char* prefix, const char* mask) {
    return pcSimIPv4FibFind(vrId, ip(prefix), ip(mask));
}

inline pcSimIPv6FibRoute* route6(uint32_t vrId, const char* prefix, uint32_t maskLen) {
    const HalIpAddress address = ip6(prefix);
    return pcSimIPv6FibFind(vrId, address.words[0], address.words[1], address.words[2],
                            address.words[3], maskLen);
}

template <typename NextHop>
Hops hopsFrom(const NextHop* hop, int family) {
    Hops hops;
    for (; hop != nullptr; hop = hop->next) {
        char text[INET6_ADDRSTRLEN];
        hops.push_back({inet_ntop(family, &hop->gateway, text, sizeof text), hop->vlan});
    }
    return hops;
}

inline Hops hopsOf(const pcSimIPv4FibRoute* route) {
    return hopsFrom(route->nextHops, AF_INET);
}

inline Hops hopsOf(const pcSimIPv6FibRoute* route) {
    return hopsFrom(route->nextHops, AF_INET6);
}

// A sink that keeps each piece it is given.
struct Sink {
    std::vector<std::string> pieces;
    std::vector<uint32_t> contexts;
    pcSimDumpSink record{0xC0FFEE, &print};

    Sink() { current() = this; }
    std::string text() const {
        std::string all;
        for (const std::string& piece : pieces) all += piece;
        return all;
    }

private:
    static Sink*& current() {
        static Sink* sink;
        return sink;
    }
    static int print(uint32_t context, const char* format, ...) {
        char text[512];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        current()->pieces.push_back(text);
        current()->contexts.push_back(context);
        return -1;  // ignored
    }
};

template <typename Dump>
std::string dumped(Dump dump) {
    Sink sink;
    dump(&sink.record);
    return sink.text();
}

// Routes of the tables, as their walk finds them.
template <typename Route>
std::vector<Route*> walk(HalTreeRoot& root) {
    std::vector<Route*> routes;
    for (HalTreeNode* node = p2BtreeFirst(&root); node != nullptr; node = p2BtreeNext(node))
        routes.push_back(reinterpret_cast<Route*>(node));
    return routes;
}

}  // namespace pcsim::test

#endif
