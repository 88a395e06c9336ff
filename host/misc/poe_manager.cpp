// PoE queries, replies and settings.
#include "host/misc/poe_manager.h"

#include <cstring>

#include "host/cards/card_manager.h"
#include "pcsim/host.h"

namespace pcsim::host {

PoeManager::PoeManager(Context& context) : context_(context) {
    context_.listeners.reply = [this](uint32_t handle, uint32_t messageId,
                                      const std::vector<uint8_t>& message) {
        arrived(handle, messageId, message);
    };
}

PoeManager::~PoeManager() {
    context_.listeners.reply = nullptr;
}

void PoeManager::arrived(uint32_t handle, uint32_t messageId, const std::vector<uint8_t>& message) {
    if (handle == poeHandle && messageId == HAL_REPLY_POE)
        reply_ = message;
    else
        context_.events.note("poe", "Message {:#x} for handle {} ignored", messageId, handle);
}

OpTable<HalCardSlotOps>& PoeManager::tableOf(uint32_t instance) {
    return context_.platform.slot(static_cast<int>(slotOf(instance)));
}

template <typename Record, typename Word, typename... Arguments>
Record PoeManager::ask(OpTable<HalCardSlotOps>& table, Word word, uint16_t type,
                       Arguments... arguments) {
    reply_.reset();
    const int32_t result = context_.platform.call(table, word, arguments...);
    if (result != 0) fail("PoE: the platform answered {}", result);
    if (!reply_) fail("PoE: the platform sent no reply of type {}", type);
    Record record;
    if (reply_->size() != sizeof record)
        fail("PoE: a reply has {} bytes; type {} has {}", reply_->size(), type, sizeof record);
    std::memcpy(&record, reply_->data(), sizeof record);
    HalPoeHead head;
    std::memcpy(&head, reply_->data(), sizeof head);
    if (head.type != type) fail("PoE: a reply is of type {}; expected {}", head.type, type);
    return record;
}

PoeSlot PoeManager::slot(int slot) {
    auto& table = context_.platform.slot(slot);
    return {ask<HalPoeVersion>(table, &HalCardSlotOps::cardPoeGetVersion, HAL_POE_VERSION, slot),
            ask<HalPoeSnmpSlotInfo>(table, &HalCardSlotOps::cardPoeSNMPGetSlotInfo,
                                    HAL_POE_SNMP_SLOT_INFO, slot)};
}

// The value that the details are asked with comes back in them.
constexpr uint32_t kDetailsValue = 1;

PoePort PoeManager::port(uint32_t instance) {
    auto& table = tableOf(instance);
    return {
        ask<HalPoePortInfo>(table, &HalCardSlotOps::cardPoePortInfo, HAL_POE_PORT_INFO, instance),
        ask<HalPoeSnmpPortInfo>(table, &HalCardSlotOps::cardPoeSNMPGetPortInfo,
                                HAL_POE_SNMP_PORT_INFO, instance),
        ask<HalPoePortDetails>(table, &HalCardSlotOps::cardPoeGetPortDetails, HAL_POE_PORT_DETAILS,
                               instance, kDetailsValue)};
}

void PoeManager::enableSlot(int slot, bool on) {
    const int32_t result = context_.platform.call(
        context_.platform.slot(slot),
        on ? &HalCardSlotOps::cardPoeSlotEnable : &HalCardSlotOps::cardPoeSlotDisable);
    if (result != 0) fail("PoE: the platform answered {}", result);
    context_.events.note("poe", "Slot {} {} accepted", slot, on ? "enable" : "disable");
}

void PoeManager::enablePort(uint32_t instance, bool on) {
    const int32_t result =
        context_.platform.call(tableOf(instance), on ? &HalCardSlotOps::cardPoePortEnable
                                                     : &HalCardSlotOps::cardPoePortDisable);
    if (result != 0) fail("PoE: the platform answered {}", result);
    context_.events.note("poe", "Port {}:{} {} accepted", slotOf(instance), portOf(instance),
                         on ? "enable" : "disable");
}

}  // namespace pcsim::host
