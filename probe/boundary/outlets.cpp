// The library's words that lead outside: what it calls of the HAL, of the ordered tree and of the
// C library.
#include "probe/boundary/boundary.h"
#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

// The tree and the C library are called so often that they are left alone until somebody wants to
// see them.
bool isWhileWatched(const Operation& operation) {
    return isOfTree(operation.name) || operation.side > Side::kHost;
}

// The address of a function that a program which isn't position-independent has in its own code:
// all objects take that for the function, so the library may well hold it for one of its own.
bool isPlaceholder(const void* function, const char* name) {
    const std::optional<Image> object = objectAt(function);
    return object && object->symbol(name) == nullptr;
}

void lead(const Image& library, Crossing& crossing, const Outlet& outlet) {
    library.write(outlet.slot, reinterpret_cast<Word>(crossing.stub));
}

void addOutlet(const Image& library, const Reference& reference, const Operation& operation) {
    const std::string name(operation.name);
    const Side side = operation.side == Side::kPlatform ? Side::kHost : operation.side;
    Crossing* crossing = crossingNamed(name, side);
    const Outlet outlet{reference.slot, *reference.slot};
    auto* const held = reinterpret_cast<void*>(outlet.original);
    if (crossing == nullptr) {
        crossing = newCrossing(name, *operation.function, side, nullptr);
        if (crossing == nullptr) return;
        crossing->whileWatched = isWhileWatched(operation);
        if (reference.version != nullptr) crossing->version = reference.version;
    }
    if (reference.isUnbound) {
        crossing->unbound = held;
        if (crossing->site.target == nullptr) setDetour(*crossing, kUnresolved, true);
    } else {
        crossing->record->target = crossing->site.target = held;
        inside().byTarget.emplace(held, crossing);
        setDetour(*crossing, kUnresolved, false);
    }
    crossing->outlets.push_back(outlet);
    if (!crossing->whileWatched || crossing->watchers != 0) lead(library, *crossing, outlet);
}

// A reference to a function that the library itself defines, and the HAL may define instead.
void keepOwn(const Image& library, const Reference& reference, const Operation& operation) {
    auto* const held = reinterpret_cast<void*>(*reference.slot);
    if (library.hasCode(held) || recordOf(held) != nullptr || !objectAt(held)) return;
    // Another probe's stub, or the HAL's own function in the place of the library's.
    if (library.hasCode(Boundary::behind(held)) || isPlaceholder(held, reference.name)) return;
    Reference bound = reference;
    bound.isUnbound = false;
    addOutlet(library, bound, operation);
}

}  // namespace

void bindOwn(const Image& library) {
    library.forEachReference([&](const Reference& reference) {
        if (!reference.defined || !reference.isUnbound) return;
        if (const void* const found = lookUpFrom(library, reference.name, reference.version))
            library.write(reference.slot, reinterpret_cast<Word>(found));
    });
}

void takeOutlets(const Image& library) {
    library.forEachReference([&](const Reference& reference) {
        const Operation* const operation = operationNamed(reference.name);
        if (operation == nullptr || *reference.slot == 0) return;
        if (reference.defined)
            keepOwn(library, reference, *operation);
        else
            addOutlet(library, reference, *operation);
    });
}

void resolve(Crossing& crossing) {
    // Looked up without the lock: the dynamic linker may hold its own while code waits for ours.
    Inside& in = inside();
    void* found = in.provide ? in.provide(crossing.site) : nullptr;
    if (found == nullptr)
        found = lookUpFrom(*in.library, crossing.site.name.c_str(),
                           crossing.version.empty() ? nullptr : crossing.version.c_str());
    const std::scoped_lock guard(in.lock);
    if (found == nullptr) {
        // The dynamic linker says so itself, in its own words, and ends the process.
        crossing.record->target = crossing.unbound;
        return;
    }
    crossing.record->target = crossing.site.target = found;
    in.byTarget.emplace(found, &crossing);
    setDetour(crossing, kUnresolved, false);
}

void turnOutlets(Crossing& crossing) {
    Inside& in = inside();
    if (!crossing.whileWatched || !in.library) return;
    for (const Outlet& outlet : crossing.outlets) {
        if (crossing.watchers != 0)
            lead(*in.library, crossing, outlet);
        else
            in.library->write(outlet.slot, outlet.original);
    }
}

}  // namespace pcsim::probe
