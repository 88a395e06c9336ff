// The count of the PC's interfaces.
#include "platform/port/hostInterfaces.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "platform/base/trace.h"

uint32_t pcSimSystemNumPorts = 0;

namespace {

// Whether the PC has the interface "eth<number>".
bool interfaceExists(int socketFd, uint32_t number) noexcept {
    ifreq request{};
    snprintf(request.ifr_name, sizeof request.ifr_name, "eth%u", number);
    return ioctl(socketFd, SIOCGIFHWADDR, &request) >= 0;
}

}  // namespace

extern "C" {

// The count starts at eth1, since eth0 is the management port's, and ends at the first gap.
uint32_t pcSimGetSystemNumberPorts() noexcept {
    const int socketFd = socket(AF_INET, SOCK_DGRAM, 0);
    if (socketFd < 0) {
        TRACE_SYSTEM_ERROR("Unable to create a socket");
        return 0;
    }
    uint32_t count = 0;
    while (count < pcsim::kInterfaceLimit && interfaceExists(socketFd, count + 1)) ++count;
    close(socketFd);
    return count;
}
}
