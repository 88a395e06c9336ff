// The boundary as others see it: attaching, looking up, observers.
#include "probe/boundary/boundary.h"

#include <dlfcn.h>

#include <utility>

#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

// Gives each exported operation its stub. Another probe may have put its own in the symbol's place.
void takeOperations(const Image& library) {
    Inside& in = inside();
    for (const Operation& operation : operations()) {
        const ElfW(Sym)* const symbol = library.symbol(operation.name);
        if (operation.side != Side::kPlatform || symbol == nullptr) continue;
        void* const found = library.addressOf(*symbol);
        in.operations.emplace(Boundary::behind(found), &operation);
        if (Crossing* const known = crossingNamed(operation.name, Side::kPlatform)) {
            known->record->target = known->site.target = found;
            in.byTarget.emplace(found, known);
        } else if (!in.byTarget.contains(found)) {
            newCrossing(std::string(operation.name), *operation.function, Side::kPlatform, found);
        }
    }
}

}  // namespace

bool isPlatform(const Image& image) {
    return image.symbol("platformSystemInit") != nullptr &&
           image.symbol("pcSimStackSystemInit") != nullptr;
}

void take(const Image& library, std::string path) {
    inside().library = library;
    inside().path = std::move(path);
    takeOperations(library);
    takeOutlets(library);
}

Boundary& Boundary::instance() {
    static Boundary only;
    return only;
}

bool Boundary::attach(void* handle) {
    Inside& in = inside();
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0) return false;
    const Image library(map);
    if (!isPlatform(library)) return false;
    if (!in.library) bindOwn(library);
    const std::scoped_lock guard(in.lock);
    if (in.library) return *in.library == library;
    take(library, map->l_name);
    return true;
}

const std::string& Boundary::libraryPath() const {
    return inside().path;
}

void* Boundary::libraryHandle() const {
    const Inside& in = inside();
    if (!in.library) return nullptr;
    link_map* map = _r_debug.r_map;
    while (map != nullptr && map->l_ld != in.library->dynamic()) map = map->l_next;
    return map;
}

void* Boundary::looksUp(std::string_view name, void* found) {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    const Operation* const operation = operationNamed(name);
    if (operation == nullptr || operation->side != Side::kPlatform) return found;
    const auto known = in.byTarget.find(found);
    return known == in.byTarget.end() ? found : known->second->stub;
}

void* Boundary::behind(void* function) {
    while (function != nullptr) {
        if (recordOf(function) == nullptr && !objectAt(function)) break;
        void* const target = targetOf(function);
        if (target == nullptr) break;
        function = target;
    }
    return function;
}

Site* Boundary::siteOf(const void* stub) {
    const StubRecord* const record = recordOf(stub);
    return record == nullptr || record->crossing == nullptr ? nullptr : &record->crossing->site;
}

const std::vector<Site*>& Boundary::sites() const {
    return inside().sites;
}

Site* Boundary::siteNamed(std::string_view name) {
    const std::scoped_lock guard(inside().lock);
    const Inside& in = inside();
    const auto found = in.byName.lower_bound(std::pair(std::string(name), Side{}));
    return found == in.byName.end() || found->first.first != name ? nullptr : &found->second->site;
}

bool Boundary::add(Observer& observer) {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    for (std::atomic<Observer*>& place : in.observers) {
        if (place != nullptr) continue;
        place = &observer;
        refresh();
        return true;
    }
    return false;
}

void Boundary::remove(Observer& observer) {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    // The others close up, so that the one added last stays the last.
    uint32_t kept = 0;
    Observer* left[kObservers] = {};
    for (std::atomic<Observer*>& place : in.observers)
        if (place != nullptr && place != &observer) left[kept++] = place;
    for (uint32_t i = 0; i < kObservers; ++i) in.observers[i] = left[i];
    refresh();
}

void Boundary::refresh() {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    for (Crossing& crossing : in.crossings) askObservers(crossing);
}

void Boundary::onSite(std::function<void(Site&)> tell) {
    const std::scoped_lock guard(inside().lock);
    inside().onSite = std::move(tell);
}

void Boundary::placeCounts(std::function<Counts*(const Site&)> place) {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    in.place = std::move(place);
    if (!in.place) return;
    for (Crossing& crossing : in.crossings)
        if (Counts* const placed = in.place(crossing.site))
            crossing.record->counts = crossing.site.counts = placed;
}

void Boundary::provide(std::function<void*(const Site&)> function) {
    const std::scoped_lock guard(inside().lock);
    inside().provide = std::move(function);
}

void Boundary::takeTimes(bool on) {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    in.timed = on;
    for (Crossing& crossing : in.crossings) setDetour(crossing, kTimed, on);
}

void Boundary::poll(const volatile uint32_t* flag, std::function<void()> serve) {
    Inside& in = inside();
    const std::scoped_lock guard(in.lock);
    static const volatile uint32_t kNever = 0;
    in.serve = std::move(serve);
    in.poll = flag != nullptr ? flag : &kNever;
    for (Crossing& crossing : in.crossings) crossing.record->poll = in.poll;
}

}  // namespace pcsim::probe
