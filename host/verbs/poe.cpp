// Verbs of power over Ethernet.
#include "host/verbs/host_verbs.h"

#include "host/cards/card_manager.h"
#include "host/misc/poe_manager.h"
#include "host/ports/port_manager.h"

namespace pcsim::host {

namespace {

Report showPoeSlot(Call& call) {
    const Card& card = call.machine.cards().presentCard(slotOf(call));
    const PoeSlot poe = call.machine.poe().slot(card.slot);
    Fields version{"version",
                   "PoE version of slot " + std::to_string(card.slot),
                   {{"slot", "Slot", poe.version.head.slot},
                    {"word8", "Word 8", poe.version.word8},
                    {"word20", "Word 20", poe.version.word20},
                    {"word32", "Word 32", poe.version.word32},
                    {"word36", "Word 36", poe.version.word36},
                    {"word40", "Word 40", poe.version.word40},
                    {"word44", "Word 44", poe.version.word44}}};
    Fields snmp{"snmp",
                "SNMP",
                {{"slot", "Slot", poe.snmp.head.slot},
                 {"word12", "Word 12", poe.snmp.word12},
                 {"word16", "Word 16", poe.snmp.word16}}};
    return Report(version).add(snmp);
}

// The port that a reply is about.
Cell portOf(const HalPoePortHead& head) {
    return Cell(fmt::format("{}:{}", head.slot, head.port));
}

Report showPoePort(Call& call) {
    const Port& port = portOf(call);
    const PoePort poe = call.machine.poe().port(port.instance);
    Fields info{"info",
                "PoE of port " + port.name(),
                {{"port", "Port", portOf(poe.info.head)}, {"word12", "Word 12", poe.info.word12}}};
    Fields details{"details",
                   "Details",
                   {{"port", "Port", portOf(poe.details.head)},
                    {"value", "Value asked with", poe.details.value},
                    {"byte16", "Byte 16", poe.details.byte16},
                    {"byte17", "Byte 17", poe.details.byte17},
                    {"byte45", "Byte 45", poe.details.byte45}}};
    Fields snmp{"snmp",
                "SNMP",
                {{"port", "Port", portOf(poe.snmp.head)}, {"word16", "Word 16", poe.snmp.word16}}};
    return Report(info).add(details).add(snmp);
}

}  // namespace

void addPoeVerbs(HostVerbs& verbs) {
    verbs.show("show poe slot <slot*:text>", "what a card answers about power over Ethernet",
               showPoeSlot);
    verbs.show("show poe port <port*>", "what a port answers about power over Ethernet",
               showPoePort);
    verbs.action("poe slot <slot*:text> <action:enable|disable>",
                 "accepted by the platform, without effect", [](Call& call) {
                     const Card& card = call.machine.cards().presentCard(slotOf(call));
                     call.machine.poe().enableSlot(card.slot, call.text("action") == "enable");
                 });
    verbs.action("poe port <port*> <action:enable|disable>",
                 "accepted by the platform, without effect", [](Call& call) {
                     call.machine.poe().enablePort(portOf(call).instance,
                                                   call.text("action") == "enable");
                 });
}

}  // namespace pcsim::host
