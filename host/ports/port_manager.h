// The port manager: the front panel as an operator sees it.
//
// It makes the ports of a card that comes up, enables them, polls the link of each once a second
// through the platform and logs every change once, and reads counters when asked. A warp brings
// more polls than can find anything: while nothing happens but time, they ask once in 10 ms of the
// PC's. The management port is listed beside the front panel: its link is asked for when its card
// comes up, and from then on the platform's own poll reports what changes.
#ifndef PCSIM_HOST_PORTS_PORT_MANAGER_H
#define PCSIM_HOST_PORTS_PORT_MANAGER_H

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "host/core/context.h"
#include "pcsim/port.h"

namespace pcsim::host {

struct Link {
    bool up = false;
    uint32_t duplex = 0;
    uint32_t speed = 0;
    uint32_t flowControl = 0;
};

// What a port starts with.
inline constexpr HalPortAutoNeg kAutoNegOn{.on = 1};

struct Port {
    uint32_t instance = 0;
    uint32_t interfaceNumber = 0;  // N of ethN
    bool enabled = true;
    HalPortAutoNeg autoNeg = kAutoNegOn;  // as it was asked for
    Link link;
    uint32_t changes = 0;  // of the link
    uint64_t lastChangeMs = 0;
    PortStatsRecord counters{};  // since they were zeroed

    uint32_t slot() const { return slotOf(instance); }
    uint32_t number() const { return portOf(instance); }
    std::string name() const { return portName(instance); }
};

class CardManager;

class PortManager : public Manager {
public:
    static constexpr uint64_t kPollPeriodMs = 1000;

    PortManager(Context& context, CardManager& cards) : context_(context), cards_(cards) {}

    void boot() override;
    void cardUp(int slot) override;
    void cardDown(int slot) override;
    void running(Lines& lines) override;

    const std::map<uint32_t, Port>& ports() const { return ports_; }
    // The port, or a CommandError that says which ports there are.
    Port& port(uint32_t slot, uint32_t number);
    std::string existing() const;

    void enable(Port& port, bool on);
    void restart(Port& port);
    void configureAutoNeg(Port& port, const HalPortAutoNeg& config);

    // Asks the platform for the port's link now. False when there was no answer, or a change.
    bool pollPort(Port& port);
    void pollAll();

    // Brings the port's counters up to date; false when its link is down, since the platform counts
    // only while a link is up. A stackable reports totals, a chassis reads and clears, so there the
    // growth is added up.
    bool readCounters(Port& port);
    void zeroCounters(uint32_t slot, uint32_t number);
    void zeroSlotCounters(uint32_t slot);

    // The management link, as the platform reports it.
    void managementLinkChanged(uint32_t instance, const Link& link);
    // Nothing before its card is up.
    const std::optional<Link>& managementLink() const { return managementLink_; }

    static std::string describe(const Link& link);
    // Words of speed codes, by code; 0 is none.
    static constexpr const char* kSpeeds[] = {"-", "10", "100", "1000", "10000"};

private:
    OpTable<HalCardSlotOps>& slotTable(const Port& port) {
        return context_.platform.slot(static_cast<int>(port.slot()));
    }

    // A poll of all ports that has found nothing new. Commands can change a link, and so does what
    // others do to the PC's interfaces, which is seen by asking.
    struct Settled {
        uint64_t worked;  // what commands had done by then
        std::chrono::steady_clock::time_point at;
    };

    // Nothing when the platform can't say.
    std::optional<Link> askLink(uint32_t instance);
    bool isSettled() const;

    Context& context_;
    CardManager& cards_;
    std::map<uint32_t, Port> ports_;  // by instance
    std::optional<Link> managementLink_;
    std::optional<Settled> settled_;
};

}  // namespace pcsim::host

#endif
