// The identity of each card type: hardware information and the part information inside it.
#include <cstdio>
#include <cstring>

#include "pcsim/host.h"
#include "platform/base/record.h"
#include "platform/base/trace.h"
#include "platform/card/cardTypes.h"
#include "platform/card/pcSimCardDB.h"

namespace pcsim {
namespace {

// What the identity of a card type says.
struct CardIdentity {
    CardType type;
    uint32_t word2528;
    bool hasVersions;  // I/O cards run no software of their own
};

constexpr CardIdentity kStackIdentities[] = {
    {kCardStackable, 10000, true},
};

constexpr CardIdentity kChassisIdentities[] = {
    {kCardC256, 25600, false},
    {kCardC2, 20000, false},
    {kCardManagement, 44400, true},
    {kCardC128, 22000, false},
};

template <size_t count>
const CardIdentity* identityOf(const CardIdentity (&identities)[count],
                               uint32_t cardType) noexcept {
    for (const CardIdentity& identity : identities)
        if (identity.type.number == cardType) return &identity;
    return nullptr;
}

// Writes 'text' and zeroes the rest of the field.
template <size_t size>
void setPaddedText(char (&field)[size], const char* text) noexcept {
    memset(field, 0, size);
    putText(field, text);
}

void fillVersions(HalCardHwInfo* info) noexcept {
    setPaddedText(info->bootStrapVersion, "1.1");
    setPaddedText(info->bootStrapBuild, "BS built on Sep 30 2003 by BootStrap");
    setPaddedText(info->bootRomVersion, "1.2");
    setPaddedText(info->bootRomBuild, "BR built on Sep 30 2003 by BootRom ");  // ends in a blank
    setPaddedText(info->softwareVersion, "1.2.3.4");
    setPaddedText(info->softwareBuild, "VORN Sep 30 2003 built by zephyr");
}

// What is known before the card type is looked at, and all that an unknown card gets.
void fillTypeAndTail(HalCardHwInfo* info, uint32_t cardType) noexcept {
    info->cardType = cardType;
    info->word2540 = -1000;
    info->word2544 = 5000;
    info->word2548 = 0;
    info->word2552 = 4000;
}

void fillIdentity(HalCardHwInfo* info, const CardIdentity& identity) noexcept {
    putText(info->name, identity.type.name);
    info->byte2520 = 0;
    info->word2528 = identity.word2528;
    if (identity.hasVersions) fillVersions(info);
}

constexpr PartConstants kPartConstants = {
    .serialNumber = "SN:123456", .partNumber = "PN:1N2039", .byte64 = 0, .byte65 = 1};

// Everything of a part but its description.
int32_t fillPart(HalPartInfo* part) noexcept {
    putPart(part, kPartConstants, epochSeconds());
    return 0;
}

int32_t fillCpuSubSystemPart(int32_t slot, HalPartInfo* part) noexcept {
    // A long negative slot number cuts the text.
    snprintf(part->description, sizeof part->description, "Slot # %d: CPU SubSystem", slot);
    return fillPart(part);
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

int32_t pcSimStackCardGetHwInfo(int32_t slot, HalCardHwInfo* info) noexcept {
    const uint32_t cardType = pcSimStackCardGetId();
    fillTypeAndTail(info, cardType);
    const CardIdentity* identity = identityOf(kStackIdentities, cardType);
    if (identity == nullptr) {
        TRACE_CARD_DB_ERROR("Unknown card type %d on %s.", cardType, getSlotName(slot));
        return -1;
    }
    fillIdentity(info, *identity);
    info->byte2521 = 1;
    info->half2522 = 1200;

    const int32_t result = pcSimStackCardGetPartInfo(slot, &info->cardPart);
    if (result != 0) return result;
    return pcSimStackCardGetCPUSubSystemPartInfo(slot, &info->cpuSubSystemPart);
}

int32_t pcSimChassisCardGetHwInfo(int32_t slot, HalCardHwInfo* info) noexcept {
    const uint32_t cardType = pcSimChassisCardGetId(slot);
    fillTypeAndTail(info, cardType);
    const CardIdentity* identity = identityOf(kChassisIdentities, cardType);
    if (identity == nullptr) {
        TRACE_CARD_DB_ERROR("Unknown card type %d on %s.", cardType, getSlotName(slot));
        return -1;
    }
    fillIdentity(info, *identity);
    info->byte2521 = 2;
    info->half2522 = 4800;
    info->half2524 = 1200;
    info->half2526 = 0;
    info->word2532 = 1000;
    info->word2536 = 0;

    const int32_t result = pcSimChassisCardGetPartInfo(slot, &info->cardPart);
    if (result != 0) return result;
    return pcSimChassisCardGetCPUSubSystemPartInfo(slot, &info->cpuSubSystemPart);
}

int32_t pcSimStackCardGetPartInfo(int32_t, HalPartInfo* part) noexcept {
    putText(part->description, "PC Stackable");
    return fillPart(part);
}

int32_t pcSimChassisCardGetPartInfo(int32_t slot, HalPartInfo* part) noexcept {
    snprintf(part->description, sizeof part->description, "Slot # %d: PC chassis", slot);
    return fillPart(part);
}

int32_t pcSimStackCardGetCPUSubSystemPartInfo(int32_t slot, HalPartInfo* part) noexcept {
    return fillCpuSubSystemPart(slot, part);
}

int32_t pcSimChassisCardGetCPUSubSystemPartInfo(int32_t slot, HalPartInfo* part) noexcept {
    return fillCpuSubSystemPart(slot, part);
}
}
