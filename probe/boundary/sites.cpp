// Making sites, each with its stub and its name, and asking observers whether they want them.
#include <memory>

#include "probe/boundary/boundary.h"
#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

// Words that are looked at of a call that says nothing about how many it has.
constexpr uint32_t kSomeWords = 8;

Counts* countsFor(Inside& in, const Site& site) {
    if (in.place)
        if (Counts* const placed = in.place(site)) return placed;
    return new Counts{};
}

// The name of a function that no symbol of the interface has: that of its own symbol, else of its
// type, with a number in the order in which they are met.
std::string nameOf(Inside& in, const void* function, const Function& type) {
    if (const std::optional<Image> object = objectAt(function))
        if (const char* const name = object->nameAt(function)) return name;
    const uint32_t number = ++in.nameless[std::string(type.name)];
    return std::string(type.name) + "#" + std::to_string(number);
}

}  // namespace

// Never destroyed: stubs are called as long as the process lives.
Inside& inside() {
    static Inside& only = *new Inside;
    return only;
}

void setDetour(Crossing& crossing, uint32_t reason, bool on) {
    if (on)
        crossing.record->detours.fetch_or(reason);
    else
        crossing.record->detours.fetch_and(~reason);
}

void askObservers(Crossing& crossing) {
    Inside& in = inside();
    uint32_t watchers = 0;
    for (uint32_t i = 0; i < kObservers; ++i)
        if (Observer* const observer = in.observers[i]; observer && observer->wants(crossing.site))
            watchers |= 1U << i;
    crossing.watchers = watchers;
    setDetour(crossing, kWatched, watchers != 0);
    setDetour(crossing, kTimed, in.timed);
    turnOutlets(crossing);
}

Crossing* newCrossing(std::string name, const Function& function, Side side, void* target) {
    Inside& in = inside();
    const auto index = static_cast<uint32_t>(in.crossings.size());
    if (index == kStubs) return nullptr;
    in.sites.reserve(kStubs);
    Crossing& made = in.crossings.emplace_back();
    made.site.name = std::move(name);
    made.site.function = &function;
    made.site.side = side;
    made.site.index = index;
    made.site.target = target;
    made.site.counts = countsFor(in, made.site);
    made.argumentWords = static_cast<uint32_t>(function.parameters.size());
    if (function.stub) made.argumentWords = kSomeWords;
    made.handsOver = handsOver(function);
    made.stub = stubCode(index);
    made.record = &stubRecord(index);
    made.record->target = target;
    made.record->counts = made.site.counts;
    made.record->crossing = &made;
    if (in.poll != nullptr) made.record->poll = in.poll;
    made.record->detours = made.handsOver ? kHandsOver : 0;
    made.record->body = bodyFor(function, side);
    in.byName.emplace(std::pair(made.site.name, side), &made);
    if (target != nullptr) in.byTarget.emplace(target, &made);
    in.sites.push_back(&made.site);
    if (in.onSite) in.onSite(made.site);
    askObservers(made);
    return &made;
}

Crossing* crossingOf(void* function, const Function& type, Side side) {
    Inside& in = inside();
    const auto found = in.byTarget.find(function);
    if (found != in.byTarget.end()) return found->second;
    const auto operation = in.operations.find(Boundary::behind(function));
    if (operation == in.operations.end())
        return newCrossing(nameOf(in, function, type), type, side, function);
    const Operation& known = *operation->second;
    return newCrossing(std::string(known.name), *known.function, known.side, function);
}

Crossing* crossingNamed(std::string_view name, Side side) {
    Inside& in = inside();
    const auto found = in.byName.find(std::pair(std::string(name), side));
    return found == in.byName.end() ? nullptr : found->second;
}

}  // namespace pcsim::probe
