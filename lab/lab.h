// The lab: a network of this process's own, whose interfaces stand in for a PC's network cards.
//
// A lab lives in a private network namespace and ends with its last process. Interface "eth0" is
// the management port, "eth1".."ethN" back the front panel. Each is one end of a veth pair; the
// other end, "cable0".."cableN", is the cable with its partner: it can be pulled, plugged and made
// to send a counted number of frames. Nothing else travels there: there are no addresses, no ARP
// and no IPv6, so that the kernel's counters move only by the frames that were asked for.
//
// Every operation works at once and synchronously; none may run on two threads at a time.
#ifndef PCSIM_LAB_LAB_H
#define PCSIM_LAB_LAB_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pcsim::lab {

// Nothing, or one line for the user: what went wrong and what would be right.
using Problem = std::optional<std::string>;

// Moves this process into a private network namespace: directly as root, otherwise in a user
// namespace of its own where that is allowed. Call before any thread exists.
Problem enterNamespace();

// The length of every frame that the lab sends, from destination address to payload: the shortest
// one there is. A switch counts the 4 bytes of the frame check sequence in addition.
inline constexpr uint32_t kFrameBytes = 60;

// The most front-panel ports of a lab: 11 slots of 256.
inline constexpr unsigned kMostPorts = 2816;

// One interface of the lab.
struct End {
    std::string name;
    bool up;       // administratively
    bool carrier;  // up, and the other end is up, too
};

class Lab {
public:
    Lab();
    ~Lab();
    Lab(const Lab&) = delete;
    Lab& operator=(const Lab&) = delete;

    // Makes "eth0".."ethN" for N 'frontPanelPorts' with a plugged cable each, everything up. The
    // process has entered a namespace before. One lab per namespace.
    Problem create(unsigned frontPanelPorts);

    // N; 0 before create().
    unsigned ports() const { return ports_; }

    // The cable of eth'n' (0 is the management port). Pulling and plugging twice is no problem.
    Problem pull(unsigned n);
    Problem plug(unsigned n);

    // Exactly 'count' frames arrive at eth'n', or leave it. Returns when the kernel has counted
    // them.
    Problem send(unsigned n, uint32_t count);
    Problem sendFrom(unsigned n, uint32_t count);

    // Whether the cable of eth'n' is plugged, be its port enabled or not.
    bool isPlugged(unsigned n) const;

    // What the far end of eth'n' sees.
    bool partnerHasCarrier(unsigned n) const;

    // eth0, cable0, eth1, cable1, ...
    std::vector<End> ends() const;

private:
    Problem checkNumber(unsigned n) const;
    Problem transmit(const std::string& from, const std::string& to, uint32_t count);

    unsigned ports_ = 0;
    bool created_ = false;
    int control_ = -1;  // for interface ioctls
    int packets_ = -1;  // sends raw frames
};

// A network interface "eth<number>" of this machine (or lab).
struct Nic {
    unsigned number;
    std::string name;
    bool up;
    bool carrier;
    std::string mac;  // "02:00:00:00:00:01"
    bool realMii;     // its driver answers the MII ioctls itself
};

// All of them by number.
std::vector<Nic> nics();

}  // namespace pcsim::lab

#endif
