// Host functions of cards, ports and interface records.
#include "host/cards/card_manager.h"
#include "host/machine/machine.h"
#include "host/ports/port_manager.h"
#include "pcsim/host.h"

using pcsim::host::CardManager;
using pcsim::host::Machine;

namespace {

// A few texts that stay valid while a trace is formatted: a site may ask for two names.
const char* keep(std::string text) {
    static std::string texts[4];
    static unsigned next;
    std::string& slot = texts[next++ % 4];
    slot = std::move(text);
    return slot.c_str();
}

}  // namespace

extern "C" {

int32_t halCardStatusUpdate(int32_t slot, int32_t state, uint32_t) {
    Machine::current().cards().reported(slot, state);
    return 0;
}

const char* halGetCardStateString(int32_t state) {
    switch (state) {
        case HAL_CARD_STATE_POWERED_OFF:
            return "powered off";
        case HAL_CARD_STATE_POWERED_ON:
            return "powered on";
        case HAL_CARD_STATE_POST_DONE:
            return "self test done";
        case HAL_CARD_STATE_DOWNLOADED:
            return "downloaded";
        case HAL_CARD_STATE_BOOTED:
            return "booted";
        case HAL_CARD_STATE_DIAG_DONE:
            return "diagnostics done";
        default:
            return keep(fmt::format("state {}", state));
    }
}

int32_t halIsCardOperational(uint32_t slot) {
    return Machine::current().cards().operational(static_cast<int>(slot)) ? 1 : 0;
}

const char* getSlotName(int32_t slot) {
    return keep(CardManager::slotName(slot));
}

// Every management module has one management port.
int32_t getMgmtPort(uint32_t) {
    return 1;
}

uint32_t halGetHwPortMapping(uint32_t slot, uint32_t port) {
    return Machine::current().cards().interfaceNumber(slot, port);
}

const char* halPortInstName(uint32_t instance) {
    using namespace pcsim::host;
    static constexpr const char* kPrefix[] = {"", "trunk ", "mgmt "};
    const uint32_t type = typeOf(instance);
    return keep(fmt::format("{}{}:{}", type < 3 ? kPrefix[type] : "port ", slotOf(instance),
                            portOf(instance)));
}

int32_t halNotifyLinkStateChange(uint32_t portInstance, uint32_t link, uint32_t duplex,
                                 uint32_t speed, uint32_t flowControl, uint32_t, uint32_t) {
    Machine::current().ports().managementLinkChanged(portInstance,
                                                     {link != 0, duplex, speed, flowControl});
    return 0;
}

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    auto* vlan = Machine::current().context.records.vlanByInstance(instance);
    *record = vlan != nullptr ? &vlan->record : nullptr;
}

void getPifByPortInstance(uint32_t portInstance, HalPif** record) {
    auto* pif = Machine::current().context.records.pif(portInstance);
    *record = pif != nullptr ? &pif->record : nullptr;
}

void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    *record = nullptr;
    if (slot > 0xFF || port > 0xFFFF) return;
    getPifByPortInstance(pcsim::host::portInstance(slot, port), record);
}

HalPif* getFirstPif(void) {
    const auto& pifs = Machine::current().context.records.pifs();
    return pifs.empty() ? nullptr : &pifs.begin()->second->record;
}

HalPif* getNextPif(uint32_t portInstance) {
    const auto& pifs = Machine::current().context.records.pifs();
    const auto next = pifs.upper_bound(portInstance);
    return next == pifs.end() ? nullptr : &next->second->record;
}
}
