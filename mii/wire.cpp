// The map of the file. Made at the first question, by whichever thread asks first, and never given
// back: a PHY asks as long as its process lives.
#include "mii/wire.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace pcsim::mii {
namespace {

constexpr char kMagic[sizeof WireHeader::magic] = "pcsim wire 1";
constexpr size_t kLongestPath = 4096;

// What PCSIM_WIRE says; an empty path when that is nothing, or wrong.
struct Place {
    char path[kLongestPath] = "";
    uint32_t first = 0;
    uint32_t count = 0;
};

Place placeOf(const char* said) {
    Place place;
    if (said == nullptr || strchr(said, ':') == nullptr || *said == ':') return place;
    // The path may hold colons of its own: the numbers are behind the last two.
    const char* const last = strrchr(said, ':');
    const char* before = last;
    do {
        --before;
    } while (before > said && *before != ':');
    const auto length = static_cast<size_t>(before - said);
    if (before == said || length >= sizeof place.path) return place;
    char* end;
    place.first = static_cast<uint32_t>(strtoul(before + 1, &end, 10));
    if (end != last) return place;
    place.count = static_cast<uint32_t>(strtoul(last + 1, &end, 10));
    if (*end != '\0' || end == last + 1) return place;
    memcpy(place.path, said, length);
    return place;
}

// The header of the file that 'place' names, or null where there is no such file, or another one.
WireHeader* mapped(const Place& place) {
    if (place.path[0] == '\0') return nullptr;
    const int file = open(place.path, O_RDWR | O_CLOEXEC);
    if (file < 0) return nullptr;
    struct stat about {};
    void* map = MAP_FAILED;
    if (fstat(file, &about) == 0 && about.st_size >= off_t{sizeof(WireHeader)}) {
        map = mmap(nullptr, static_cast<size_t>(about.st_size), PROT_READ | PROT_WRITE, MAP_SHARED,
                   file, 0);
    }
    close(file);
    if (map == MAP_FAILED) return nullptr;
    auto* const header = static_cast<WireHeader*>(map);
    const uint64_t size = sizeof(WireHeader) + uint64_t{header->count} * sizeof(WireEnd);
    if (memcmp(header->magic, kMagic, sizeof kMagic) == 0 &&
        size <= static_cast<uint64_t>(about.st_size) &&
        uint64_t{place.first} + place.count <= header->count) {
        return header;
    }
    munmap(map, static_cast<size_t>(about.st_size));
    return nullptr;
}

// The process's own ends. Threads that ask first at the same time all map the file and find the
// same: one map more is left, which harms nobody.
struct Ends {
    std::atomic<bool> known = false;
    std::atomic<WireEnd*> all = nullptr;  // of the file; null without one
    std::atomic<uint32_t> first = 0;
    std::atomic<uint32_t> count = 0;
};
Ends ends;

void findEnds() {
    const Place place = placeOf(getenv("PCSIM_WIRE"));
    if (WireHeader* const header = mapped(place)) {
        ends.first = place.first;
        ends.count = place.count;
        ends.all = reinterpret_cast<WireEnd*>(header + 1);
    }
    ends.known = true;
}

// The other end of the cable; null where none is plugged, or the file says something impossible.
const WireEnd* partnerOf(const WireEnd& end) {
    const WireEnd* const all = ends.all;
    const auto* const header = reinterpret_cast<const WireHeader*>(all) - 1;
    const uint32_t partner = end.partner;
    return partner < header->count ? all + partner : nullptr;
}

}  // namespace

WireEnd* wireEnd(const char* interface) {
    if (!ends.known) findEnds();
    WireEnd* const all = ends.all;
    if (all == nullptr) return nullptr;
    WireEnd* const own = all + ends.first;
    for (uint32_t i = 0; i < ends.count; ++i) {
        if (strncmp(own[i].interface, interface, sizeof own[i].interface) == 0) return &own[i];
    }
    return nullptr;
}

void publish(WireEnd& end, Phy phy) {
    end.phy = uint32_t{phy.control} << 16 | phy.advertisement;
}

bool published(const WireEnd& end, Phy* phy) {
    const uint32_t word = end.phy;
    if (word == 0) return false;
    *phy = {.control = static_cast<uint16_t>(word >> 16),
            .advertisement = static_cast<uint16_t>(word)};
    return true;
}

Agreement agreementOf(const WireEnd& end) {
    const WireEnd* const partner = partnerOf(end);
    // A far end without an emulated PHY is a card of today: it offers everything.
    Phy own, other;
    published(end, &own);
    if (partner != nullptr) published(*partner, &other);
    const uint32_t carried =
        end.carried & (partner != nullptr ? partner->carried.load() : kAbilities);
    return agree(own, other, static_cast<uint16_t>(carried & kAbilities));
}

}  // namespace pcsim::mii
