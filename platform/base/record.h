// Filling the HAL's records: texts, versions, part information.
//
// A record is the HAL's: bytes behind the NUL of a text and bytes without a field stay as they
// were.
#ifndef PCSIM_BASE_RECORD_H
#define PCSIM_BASE_RECORD_H

#include <stddef.h>
#include <stdio.h>
#include <time.h>

#include "pcsim/part_info.h"

namespace pcsim {

// Writes 'text' and its NUL into 'field', cut to what fits.
template <size_t size>
void putText(char (&field)[size], const char* text) noexcept {
    snprintf(field, size, "%s", text);
}

// Writes a version as "major.minor".
template <size_t size>
void putVersion(char (&field)[size], uint32_t major, uint32_t minor) noexcept {
    snprintf(field, size, "%d.%d", static_cast<int32_t>(major), static_cast<int32_t>(minor));
}

// Seconds since the epoch, in the word that records have for it.
inline uint32_t epochSeconds() noexcept {
    return static_cast<uint32_t>(time(nullptr));
}

// What is constant in the part information of a kind of part.
struct PartConstants {
    const char* serialNumber;
    const char* partNumber;
    uint8_t byte64;
    uint8_t byte65;
};

// Fills 'part' but for its description and word 68.
inline void putPart(HalPartInfo* part, const PartConstants& constants,
                    uint32_t timeStamp) noexcept {
    putText(part->serialNumber, constants.serialNumber);
    putText(part->partNumber, constants.partNumber);
    part->byte64 = constants.byte64;
    part->byte65 = constants.byte65;
    part->timeStamp = timeStamp;
    part->word76 = 0;
}

}  // namespace pcsim

#endif
