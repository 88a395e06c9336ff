// What the kernel says of an interface, and is told to do with it.
#include "lab/interface.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace pcsim::lab {
namespace {

int kernelIoctl(int descriptor, unsigned long request, ifreq* argument) {
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}

ifreq requestFor(const std::string& name) {
    ifreq request{};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    return request;
}

}  // namespace

int openControl() {
    return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

Descriptor::~Descriptor() {
    if (number_ >= 0) close(number_);
}

bool isUp(int control, const std::string& name) {
    ifreq request = requestFor(name);
    return kernelIoctl(control, SIOCGIFFLAGS, &request) >= 0 && (request.ifr_flags & IFF_UP) != 0;
}

bool hasCarrier(int control, const std::string& name) {
    ethtool_value link{.cmd = ETHTOOL_GLINK, .data = 0};
    ifreq request = requestFor(name);
    request.ifr_data = reinterpret_cast<char*>(&link);
    if (kernelIoctl(control, SIOCETHTOOL, &request) >= 0) return link.data != 0;
    request = requestFor(name);
    constexpr int kWanted = IFF_UP | IFF_RUNNING;
    return kernelIoctl(control, SIOCGIFFLAGS, &request) >= 0 &&
           (request.ifr_flags & kWanted) == kWanted;
}

bool hasRealMii(int control, const std::string& name) {
    ifreq request = requestFor(name);
    return kernelIoctl(control, SIOCGMIIPHY, &request) >= 0;
}

int indexOf(int control, const std::string& name) {
    ifreq request = requestFor(name);
    return kernelIoctl(control, SIOCGIFINDEX, &request) < 0 ? 0 : request.ifr_ifindex;
}

Mac macOf(int control, const std::string& name) {
    Mac mac{};
    ifreq request = requestFor(name);
    if (kernelIoctl(control, SIOCGIFHWADDR, &request) >= 0)
        memcpy(mac.data(), request.ifr_hwaddr.sa_data, mac.size());
    return mac;
}

int setUp(int control, const std::string& name, bool up) {
    ifreq request = requestFor(name);
    if (kernelIoctl(control, SIOCGIFFLAGS, &request) < 0) return -1;
    const int flags = up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP;
    request.ifr_flags = static_cast<short>(flags);
    return kernelIoctl(control, SIOCSIFFLAGS, &request);
}

FrameCounts frameCounts(const std::string& name) {
    std::ifstream table("/proc/net/dev");
    for (std::string line; std::getline(table, line);) {
        const size_t colon = line.find(':');
        const size_t begin = line.find_first_not_of(' ');
        if (colon == std::string::npos || line.compare(begin, colon - begin, name) != 0) continue;
        std::istringstream columns(line.substr(colon + 1));
        uint64_t column[16] = {};
        for (uint64_t& value : column) columns >> value;
        return {.received = column[1], .sent = column[9]};
    }
    return {};
}

}  // namespace pcsim::lab
