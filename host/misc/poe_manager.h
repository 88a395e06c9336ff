// The PoE manager: asks the platform about power over Ethernet and reads the replies, which arrive
// on the host's reply handle before a query returns.
#ifndef PCSIM_HOST_MISC_POE_MANAGER_H
#define PCSIM_HOST_MISC_POE_MANAGER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "host/core/context.h"
#include "pcsim/misc.h"

namespace pcsim::host {

struct PoeSlot {
    HalPoeVersion version;
    HalPoeSnmpSlotInfo snmp;
};

struct PoePort {
    HalPoePortInfo info;
    HalPoeSnmpPortInfo snmp;
    HalPoePortDetails details;
};

class PoeManager : public Manager {
public:
    explicit PoeManager(Context& context);
    ~PoeManager() override;

    // Queries. A CommandError when the platform refuses or a reply doesn't come as it should.
    PoeSlot slot(int slot);
    PoePort port(uint32_t instance);

    // Settings, which the platform accepts and ignores.
    void enableSlot(int slot, bool on);
    void enablePort(uint32_t instance, bool on);

private:
    OpTable<HalCardSlotOps>& tableOf(uint32_t instance);
    void arrived(uint32_t handle, uint32_t messageId, const std::vector<uint8_t>& message);
    // Forgets replies of before, asks, and takes the reply, which must be a 'Record' of 'type'.
    template <typename Record, typename Word, typename... Arguments>
    Record ask(OpTable<HalCardSlotOps>& table, Word word, uint16_t type, Arguments... arguments);

    Context& context_;
    std::optional<std::vector<uint8_t>> reply_;
};

}  // namespace pcsim::host

#endif
