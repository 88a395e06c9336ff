// The emulated PHY: which requests it answers, its registers, and what they do to the interface.
#include "mii/mii.h"

#include <linux/ethtool.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "mii/negotiation.h"
#include "mii/wire.h"

namespace pcsim::mii {
namespace {

constexpr uint16_t kPhyAddress = 1;
constexpr uint16_t kNobodyThere = 0xFFFF;  // what an MII bus reads from an address without a PHY
constexpr uint16_t kRegisterMask = 0x1F;

constexpr uint16_t kStatus = BMSR_100FULL | BMSR_100HALF | BMSR_10FULL | BMSR_10HALF |
                             0x0040 /* preamble not needed */ | BMSR_ANEGCAPABLE | BMSR_ERCAP;
constexpr uint16_t kIdentifier1 = 0x5043;
constexpr uint16_t kIdentifier2 = 0x5310;
constexpr uint16_t kNoNextPage = 0x2001;

// The PHYs in use: interface index, control and advertisement in one word each, 0 where free. The
// index decides where the search starts. When all places within reach are taken, by interfaces
// that are long gone or by a thousand that are not, the first one changes hands and its former
// owner is back at its defaults.
constexpr uint32_t kPlaces = 1024;
constexpr uint32_t kReach = 16;
std::atomic<uint64_t> places[kPlaces];

constexpr uint64_t packed(uint32_t index, Phy phy) {
    return uint64_t{index} << 32 | uint32_t{phy.control} << 16 | phy.advertisement;
}

constexpr uint32_t ownerOf(uint64_t place) {
    return static_cast<uint32_t>(place >> 32);
}

constexpr Phy phyOf(uint64_t place) {
    return {.control = static_cast<uint16_t>(place >> 16),
            .advertisement = static_cast<uint16_t>(place)};
}

std::atomic<uint64_t>& placeAt(uint32_t index, uint32_t step) {
    return places[(index + step) % kPlaces];
}

// Whether 'index' has a PHY that remembers something; if so, what.
bool recall(uint32_t index, Phy* phy) {
    for (uint32_t step = 0; step < kReach; ++step) {
        const uint64_t place = placeAt(index, step).load();
        if (ownerOf(place) == index) {
            *phy = phyOf(place);
            return true;
        }
    }
    *phy = Phy{};
    return false;
}

// Changes the PHY of 'index' by change(Phy&) at a stroke and returns what it is then.
template <typename Change>
Phy remember(uint32_t index, Change change) {
    for (uint32_t step = 0; step < kReach; ++step) {
        std::atomic<uint64_t>& place = placeAt(index, step);
        uint64_t seen = place.load();
        while (seen == 0 || ownerOf(seen) == index) {
            Phy phy = seen == 0 ? Phy{} : phyOf(seen);
            change(phy);
            if (place.compare_exchange_weak(seen, packed(index, phy))) return phy;
        }
    }
    Phy phy;
    change(phy);
    placeAt(index, 0).store(packed(index, phy));
    return phy;
}

// An interface whose driver has no MII, as one call sees it.
class Interface {
public:
    Interface(KernelIoctl* kernel, int descriptor, const char* name)
        : kernel_(kernel), descriptor_(descriptor), name_(name) {}

    // 0, or -1 with errno for an interface that is not there.
    int find() {
        ifreq request = named();
        if (kernel_(descriptor_, SIOCGIFINDEX, &request) < 0) return -1;
        index_ = static_cast<uint32_t>(request.ifr_ifindex);
        if (kernel_(descriptor_, SIOCGIFFLAGS, &request) < 0) return -1;
        flags_ = request.ifr_flags;
        return 0;
    }

    uint32_t index() const { return index_; }
    const char* name() const { return name_; }
    bool isUp() const { return (flags_ & IFF_UP) != 0; }

    // Ethtool's answer is the carrier of this very moment, the running flag may lag behind it.
    bool hasCarrier() const {
        if (!isUp()) return false;
        ethtool_value link{.cmd = ETHTOOL_GLINK, .data = 0};
        ifreq request = named();
        request.ifr_data = reinterpret_cast<char*>(&link);
        if (kernel_(descriptor_, SIOCETHTOOL, &request) >= 0) return link.data != 0;
        return (flags_ & IFF_RUNNING) != 0;
    }

    // Takes the interface up or down, if it isn't. 0, or -1 with errno.
    int setUp(bool up) const {
        if (isUp() == up) return 0;
        ifreq request = named();
        request.ifr_flags = static_cast<short>(up ? flags_ | IFF_UP : flags_ & ~IFF_UP);
        return kernel_(descriptor_, SIOCSIFFLAGS, &request) < 0 ? -1 : 0;
    }

private:
    ifreq named() const {
        ifreq request{};
        memcpy(request.ifr_name, name_, IFNAMSIZ);
        return request;
    }

    KernelIoctl* kernel_;
    int descriptor_;
    const char* name_;
    uint32_t index_ = 0;
    short flags_ = 0;
};

// What the PHY learns from its partner over a cable that carries: without a wire one that offers
// everything.
Agreement agreementOf(const Interface& interface, const Phy& phy) {
    if (const WireEnd* const end = wireEnd(interface.name())) return agreementOf(*end);
    return agree(phy.negotiates() ? Phy{} : phy, Phy{});
}

uint16_t readRegister(const Interface& interface, const Phy& phy, uint16_t number) {
    const auto learnt = [&] {
        return interface.hasCarrier() ? agreementOf(interface, phy) : Agreement{};
    };
    switch (number) {
        case MII_BMCR:
            return phy.control;
        case MII_BMSR:
            if (!learnt().link) return kStatus;
            return kStatus | BMSR_LSTATUS | (phy.negotiates() ? BMSR_ANEGCOMPLETE : 0);
        case MII_PHYSID1:
            return kIdentifier1;
        case MII_PHYSID2:
            return kIdentifier2;
        case MII_ADVERTISE:
            return phy.advertisement;
        case MII_LPA:
            return learnt().partner;
        case MII_EXPANSION:
            return learnt().partnerNegotiates ? EXPANSION_NWAY : 0;
        case 7:
            return kNoNextPage;
        default:
            return 0;
    }
}

// Whether a PHY that has just been told 'phy' transmits anything.
bool transmits(const Phy& phy) {
    if ((phy.control & (BMCR_PDOWN | BMCR_ISOLATE)) != 0) return false;
    return !phy.negotiates() || (phy.advertisement & kAbilities) != 0;
}

int writeControl(const Interface& interface, uint16_t value) {
    Phy before;
    recall(interface.index(), &before);
    const Phy after = remember(interface.index(), [value](Phy& phy) {
        if ((value & BMCR_RESET) != 0) {
            phy = Phy{};
        } else {
            phy.control = value & static_cast<uint16_t>(~BMCR_ANRESTART);
        }
    });
    // A new advertisement waits until negotiation starts again.
    const bool begins = (value & (BMCR_RESET | BMCR_ANRESTART)) != 0;
    if (!begins && after.control == before.control) return 0;
    if (WireEnd* const end = wireEnd(interface.name())) publish(*end, after);
    return interface.setUp(transmits(after));
}

int writeRegister(const Interface& interface, uint16_t number, uint16_t value) {
    if (number == MII_BMCR) return writeControl(interface, value);
    if (number == MII_ADVERTISE) {
        remember(interface.index(), [value](Phy& phy) {
            phy.advertisement = value & static_cast<uint16_t>(~LPA_LPACK);
        });
    }
    return 0;
}

// A PHY on a wire is older than the process that asks for it first, and keeps what it was told by
// the one before. Whether there was one; if so, what it was told.
bool takeOver(const Interface& interface, Phy* phy) {
    WireEnd* const end = wireEnd(interface.name());
    if (end == nullptr) return false;
    if (!published(*end, phy)) {
        publish(*end, *phy);
        return false;
    }
    *phy = remember(interface.index(), [phy](Phy& remembered) { remembered = *phy; });
    return true;
}

// Answers for a driver that answered with 'refusal'. 0, or -1 with errno.
int emulate(Interface& interface, unsigned long request, mii_ioctl_data* data, int refusal) {
    if (interface.find() < 0) return -1;
    Phy phy;
    const bool known = recall(interface.index(), &phy) || takeOver(interface, &phy);
    // A driver with real MII says this, too, while its interface is down: not ours then, unless we
    // took it down.
    if (refusal == EINVAL && !interface.isUp() && !known) {
        errno = refusal;
        return -1;
    }
    if (request == SIOCGMIIPHY) data->phy_id = kPhyAddress;
    const bool there = data->phy_id == kPhyAddress;
    const uint16_t number = data->reg_num & kRegisterMask;
    if (request == SIOCSMIIREG) return there ? writeRegister(interface, number, data->val_in) : 0;
    data->val_out = there ? readRegister(interface, phy, number) : kNobodyThere;
    return 0;
}

bool isMiiRequest(unsigned long request) {
    return request == SIOCGMIIPHY || request == SIOCGMIIREG || request == SIOCSMIIREG;
}

bool isRefusal(int error) {
    return error == EOPNOTSUPP || error == ENOTTY || error == EINVAL;
}

// Whether the user wants to see what drivers themselves answer.
bool isOff() {
    const char* const wanted = getenv("PCSIM_MII");
    return wanted != nullptr && strcmp(wanted, "off") == 0;
}

// Whether 'descriptor' is a socket. Anything else refuses the requests without having read them, so
// there may be no request behind the argument.
bool isSocket(KernelIoctl* kernel, int descriptor) {
    ifreq request{};
    request.ifr_ifindex = 1;
    return kernel(descriptor, SIOCGIFNAME, &request) >= 0 || errno == ENODEV;
}

// Writes 'data' to the caller's memory as the kernel would: 0, or -1 with EFAULT when it can't be
// written, where a plain store would end the process. The signal mask, as long as the block, is
// what a kernel puts into foreign memory with the least effort: a third of an ioctl's time.
int copyOut(void* to, const mii_ioctl_data& data) {
    static_assert(sizeof data == 8, "as long as the kernel's signal mask");
    if (syscall(SYS_rt_sigprocmask, SIG_BLOCK, nullptr, to, sizeof data) < 0) return -1;
    memcpy(to, &data, sizeof data);
    return 0;
}

}  // namespace

int answer(KernelIoctl* kernel, int descriptor, unsigned long request, void* argument) {
    if (!isMiiRequest(request)) return kernel(descriptor, request, argument);
    const int before = errno;
    const int result = kernel(descriptor, request, argument);
    if (result >= 0 || !isRefusal(errno) || isOff()) return result;
    const int refusal = errno;
    if (!isSocket(kernel, descriptor)) {
        errno = refusal;
        return result;
    }
    // The kernel has read the request, at whatever address; its data area holds the MII block.
    auto* const name = static_cast<char*>(argument);
    char* const block = name + offsetof(ifreq, ifr_data);
    mii_ioctl_data data;
    memcpy(&data, block, sizeof data);
    Interface interface(kernel, descriptor, name);
    if (emulate(interface, request, &data, refusal) < 0) return -1;
    // Nothing comes back from writing a register, so that request may lie in constant memory.
    if (request != SIOCSMIIREG && copyOut(block, data) < 0) return -1;
    errno = before;
    return 0;
}

}  // namespace pcsim::mii
