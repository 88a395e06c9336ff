// Power over Ethernet: each query sends one constant message to the host's PoE manager.
#include "platform/misc/pcSimPoe.h"

#include "pcsim/host.h"

// A host may lack a PoE manager.
#pragma weak poeHandle

namespace pcsim {
namespace {

template <class Message>
int32_t send(const Message& message) noexcept {
    const uint32_t handle = &poeHandle != nullptr ? poeHandle : 0;
    replyHandleSend(handle, HAL_REPLY_POE, &message, sizeof message, 1);
    return 0;
}

HalPoeHead head(uint16_t type, uint32_t slot) noexcept {
    return {.type = type, .reserved2 = 0, .slot = slot};
}

// The bits of a port instance above the slot are ignored.
HalPoePortHead portHead(uint16_t type, uint32_t portInstance) noexcept {
    const auto slot = static_cast<uint16_t>((portInstance >> 16) & 0xFF);
    const auto port = static_cast<uint16_t>(portInstance & 0xFFFF);
    return {.head = head(type, slot), .port = port, .slot = slot};
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

// Fields that a message does not name are 0.
int32_t pcSimCardPoeGetVersion(uint32_t slot) noexcept {
    return send(HalPoeVersion{.head = head(HAL_POE_VERSION, slot),
                              .word8 = 1,
                              .word20 = 4,
                              .word32 = 4,
                              .word36 = 300,
                              .word40 = 200,
                              .word44 = 380});
}

int32_t pcSimCardPoeSNMPGetSlotInfo(uint32_t slot) noexcept {
    return send(
        HalPoeSnmpSlotInfo{.head = head(HAL_POE_SNMP_SLOT_INFO, slot), .word12 = 1, .word16 = 300});
}

int32_t pcSimCardPoeSNMPGetPortInfo(uint32_t port) noexcept {
    return send(HalPoeSnmpPortInfo{.head = portHead(HAL_POE_SNMP_PORT_INFO, port), .word16 = 300});
}

int32_t pcSimCardPoePortInfo(uint32_t port) noexcept {
    return send(HalPoePortInfo{.head = portHead(HAL_POE_PORT_INFO, port), .word12 = 1});
}

int32_t pcSimCardPoeGetPortDetails(uint32_t port, uint32_t value) noexcept {
    return send(HalPoePortDetails{.head = portHead(HAL_POE_PORT_DETAILS, port),
                                  .value = value,
                                  .byte16 = 1,
                                  .byte17 = 1,
                                  .byte45 = 3});
}

PCSIM_POE_STUBS(PCSIM_DEFINE_STUB)
