// Batched route messages to the kernel.
#include "bench/routes/kernel.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace pcsim::bench {

namespace {

constexpr size_t kBatch = 256;

struct RouteMessage {
    nlmsghdr header;
    rtmsg route;
    rtattr destinationHeader;
    uint32_t destination;
    rtattr interfaceHeader;
    uint32_t interfaceIndex;
};

bool raiseLoopback() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    const bool done = ioctl(descriptor, SIOCSIFFLAGS, &request) == 0;
    close(descriptor);
    return done;
}

RouteMessage messageFor(const Prefix& prefix, bool remove, bool last) {
    RouteMessage message{};
    message.header.nlmsg_len = sizeof message;
    message.header.nlmsg_type = remove ? RTM_DELROUTE : RTM_NEWROUTE;
    // Errors are always reported; the last of a batch is acknowledged too.
    message.header.nlmsg_flags = NLM_F_REQUEST;
    if (!remove) message.header.nlmsg_flags |= NLM_F_CREATE | NLM_F_EXCL;
    if (last) message.header.nlmsg_flags |= NLM_F_ACK;
    message.route.rtm_family = AF_INET;
    message.route.rtm_dst_len = prefix.length;
    message.route.rtm_table = RT_TABLE_MAIN;
    message.route.rtm_protocol = RTPROT_STATIC;
    message.route.rtm_scope = RT_SCOPE_LINK;
    message.route.rtm_type = RTN_UNICAST;
    message.destinationHeader = {RTA_LENGTH(4), RTA_DST};
    message.destination = prefix.address.words[0];
    message.interfaceHeader = {RTA_LENGTH(4), RTA_OIF};
    message.interfaceIndex = 1;  // lo
    return message;
}

// Reads the answers to one batch, the last of which is its acknowledgement. Those with an error.
size_t refused(int descriptor, size_t batch) {
    size_t errors = 0;
    alignas(nlmsghdr) char buffer[65536];
    for (;;) {
        const ssize_t size = recv(descriptor, buffer, sizeof buffer, 0);
        if (size <= 0) return batch;
        auto left = static_cast<unsigned>(size);
        for (auto* header = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(header, left);
             header = NLMSG_NEXT(header, left)) {
            if (header->nlmsg_type != NLMSG_ERROR) continue;
            if (static_cast<nlmsgerr*>(NLMSG_DATA(header))->error != 0) ++errors;
            if (header->nlmsg_seq != 0) return errors;
        }
    }
}

}  // namespace

KernelTable::KernelTable() {
    if (unshare(CLONE_NEWNET) != 0 || !raiseLoopback()) return;
    socket_ = socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE);
    const int size = 4 << 20;
    setsockopt(socket_, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size);
}

size_t KernelTable::send(const std::vector<Prefix>& prefixes, const std::vector<uint32_t>& order,
                         bool remove) {
    size_t errors = 0;
    std::vector<RouteMessage> batch;
    for (size_t i = 0; i < order.size(); ++i) {
        const bool last = batch.size() + 1 == kBatch || i + 1 == order.size();
        batch.push_back(messageFor(prefixes[order[i]], remove, last));
        if (!last) continue;
        batch.back().header.nlmsg_seq = 1;
        const size_t size = batch.size() * sizeof(RouteMessage);
        if (::send(socket_, batch.data(), size, 0) != static_cast<ssize_t>(size))
            errors += batch.size();
        else
            errors += refused(socket_, batch.size());
        batch.clear();
    }
    return errors;
}

}  // namespace pcsim::bench
