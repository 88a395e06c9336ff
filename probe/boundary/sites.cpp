// Making sites, each with its stub and its name, and asking observers whether they want them.
#include <pthread.h>

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
    return &in.counts.emplace_back();
}

// The name of a function that no symbol of the interface has: that of its own symbol, else of its
// type, with a number in the order in which they are met.
std::string nameOf(Inside& in, const void* function, const Function& type, Side side) {
    std::string name(type.name);
    if (const std::optional<Image> object = objectAt(function))
        if (const char* const own = object->nameAt(function)) name = own;
    if (name != type.name && crossingNamed(name, side) == nullptr) return name;
    const uint32_t number = ++in.nameless[name];
    return name + "#" + std::to_string(number);
}

// Of an operation that comes by two ways, as another probe's stub and bare, there is one site.
void shareSite(Inside& in, Crossing& made) {
    const Crossing* const first = crossingNamed(made.site.name, made.site.side);
    if (first != nullptr) {
        made.site.index = first->site.index;
        made.site.counts = first->site.counts;
        return;
    }
    made.site.index = static_cast<uint32_t>(in.sites.size());
    made.site.counts = countsFor(in, made.site);
    in.byName.emplace(std::pair(made.site.name, made.site.side), &made);
    in.sites.push_back(&made.site);
}

// A process that forks takes the lock, so that its child finds nothing half done; there the lock is
// made anew, because the thread that holds it has another number.
void beforeFork() {
    inside().lock.lock();
}
void inParent() {
    inside().lock.unlock();
}
void inChild() {
    Inside& in = inside();
    std::construct_at(&in.lock);
    in.serving = false;
    in.searching = false;
}

Inside* made() {
    auto* const fresh = new Inside;
    pthread_atfork(beforeFork, inParent, inChild);
    return fresh;
}

}  // namespace

// Never destroyed: stubs are called as long as the process lives.
Inside& inside() {
    static Inside& only = *made();
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

namespace {

// Lets everybody know of a crossing that is set up but for them.
void link(Inside& in, Crossing& made, uint32_t index, void* target) {
    const Function& function = *made.site.function;
    shareSite(in, made);
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
    made.record->body = bodyFor(function, made.site.side);
    if (target != nullptr) in.byTarget.emplace(target, &made);
    if (in.onSite && in.sites.back() == &made.site) in.onSite(made.site);
    askObservers(made);
}

// Takes back what has been linked of the crossing made last.
void takeBack(Inside& in, Crossing& made, uint32_t index) {
    const auto leads = [&](const auto& entry) { return entry.second == &made; };
    std::erase_if(in.byName, leads);
    std::erase_if(in.byTarget, leads);
    if (!in.sites.empty() && in.sites.back() == &made.site) in.sites.pop_back();
    stubRecord(index).crossing = nullptr;
    in.crossings.pop_back();
}

}  // namespace

// All of it or nothing: a crossing without its stub would be met at the next change of observers.
Crossing* newCrossing(std::string name, const Function& function, Side side, void* target) {
    Inside& in = inside();
    const auto index = static_cast<uint32_t>(in.crossings.size());
    if (index == kStubs) return nullptr;
    in.sites.reserve(kStubs);
    Crossing& made = in.crossings.emplace_back();
    made.site.name = std::move(name);
    made.site.function = &function;
    made.site.side = side;
    made.site.target = target;
    try {
        link(in, made, index, target);
    } catch (...) {
        takeBack(in, made, index);
        throw;
    }
    return &made;
}

Crossing* crossingOf(void* function, const Function& type, Side side) {
    Inside& in = inside();
    const auto found = in.byTarget.find(function);
    if (found != in.byTarget.end()) return found->second;
    const auto operation = in.operations.find(Boundary::behind(function));
    if (operation == in.operations.end())
        return newCrossing(nameOf(in, function, type, side), type, side, function);
    const Operation& known = *operation->second;
    return newCrossing(std::string(known.name), *known.function, known.side, function);
}

Crossing* crossingNamed(std::string_view name, Side side) {
    Inside& in = inside();
    const auto found = in.byName.find(std::pair(std::string(name), side));
    return found == in.byName.end() ? nullptr : found->second;
}

}  // namespace pcsim::probe
