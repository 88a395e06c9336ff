// Look-ups, in the order in which they are right for whose thing it is.
#include "probe/replay/pointers.h"

#include <iterator>

#include "probe/replay/thunks.h"

namespace pcsim::probe {
namespace {

Owner ownerOf(const Type& target) {
    return target.record != nullptr && target.owner == Owner::kNobody ? target.record->owner
                                                                      : target.owner;
}

}  // namespace

void Pointers::bindRange(uint32_t recorded, uint32_t size, uint32_t now, const Record* record) {
    ranges_[recorded] = {size, now, record};
}

void Pointers::bind(uint32_t recorded, uint32_t size, uint32_t now) {
    things_[recorded] = {size, now, nullptr};
}

std::optional<uint32_t> Pointers::in(const Ranges& ranges, uint32_t recorded,
                                     const Record* record) {
    const auto after = ranges.upper_bound(recorded);
    if (after == ranges.begin()) return std::nullopt;
    const auto& [begin, range] = *std::prev(after);
    const uint32_t offset = recorded - begin;
    if (offset != 0 && offset >= range.size) return std::nullopt;
    if (range.record != nullptr && range.record != record) return std::nullopt;
    return range.now + offset;
}

std::optional<uint32_t> Pointers::inHost(uint32_t recorded) const {
    const uint8_t* const place = memory_.at(recorded);
    if (place == nullptr) return std::nullopt;
    return reinterpret_cast<uint32_t>(place);
}

uint32_t Pointers::given(const Type& type, uint32_t recorded) {
    if (recorded == 0) return 0;
    const Type& target = *type.target;
    if (target.kind == Kind::kFunction) {
        const uint32_t known = function(recorded);
        return known != 0 ? known : functionOfHal(type, recorded);
    }
    if (const auto exact = in(ranges_, recorded, target.record)) return *exact;
    const auto host = inHost(recorded);
    const auto thing = in(things_, recorded, nullptr);
    const bool isPlatforms = ownerOf(target) == Owner::kPlatform;
    if (const auto& first = isPlatforms ? thing : host) return *first;
    if (const auto& second = isPlatforms ? host : thing) return *second;
    return recorded;  // a number that is called a pointer
}

std::optional<uint32_t> Pointers::expected(const Type& type, uint32_t recorded) const {
    if (recorded == 0) return 0;
    if (type.target->kind == Kind::kFunction) {
        if (const uint32_t known = function(recorded)) return known;
        const auto thunk = thunks_.find(recorded);
        return thunk == thunks_.end() ? std::nullopt : std::optional(thunk->second);
    }
    if (const auto exact = in(ranges_, recorded, type.target->record)) return exact;
    return ownerOf(*type.target) == Owner::kHost ? inHost(recorded) : std::nullopt;
}

uint32_t Pointers::blockAt(const RecordedBlock& block, const Record* record) const {
    if (const auto exact = in(ranges_, block.address, record)) return *exact;
    // The platform may hand on what it has from the HAL.
    if (const auto thing = in(things_, block.address, nullptr); block.platform && thing)
        return *thing;
    return reinterpret_cast<uint32_t>(memory_.at(block.address, block.bytes.size()));
}

uint32_t Pointers::newThunk(Callee callee) {
    if (callees_.size() == kThunks) return 0;
    callees_.push_back(std::move(callee));
    return reinterpret_cast<uint32_t>(thunkCode(static_cast<uint32_t>(callees_.size() - 1)));
}

uint32_t Pointers::functionOfHal(const Type& type, uint32_t recorded) {
    const auto [known, isNew] = thunks_.try_emplace(recorded, 0);
    if (isNew) known->second = newThunk({recorded, {}, type.target->function});
    return known->second;
}

uint32_t Pointers::function(uint32_t recorded) const {
    const auto found = functions_.find(recorded);
    return found == functions_.end() ? 0 : found->second;
}

}  // namespace pcsim::probe
