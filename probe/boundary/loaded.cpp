// Finding the library among what is loaded, and giving its stubs to everybody who looks its
// operations up or has been linked with it.
#include "probe/boundary/boundary.h"
#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

Word wordOf(const void* address) {
    return reinterpret_cast<Word>(address);
}

// Points the library's own symbols at stubs: whoever looks an operation up from now on, by name or
// as the dynamic linker does for a reference, finds the stub.
void leadSymbols(const Image& library) {
    const Inside& in = inside();
    const Word base = wordOf(library.addressOf({}));
    library.forEachSymbol([&](const char*, ElfW(Sym) & symbol) {
        if (symbol.st_shndx == SHN_UNDEF) return;
        const auto known = in.byTarget.find(library.addressOf(symbol));
        if (known == in.byTarget.end() || known->second->site.side != Side::kPlatform) return;
        library.write(&symbol.st_value, wordOf(known->second->stub) - base);
    });
}

// Points the words of an object at stubs that the dynamic linker has already filled with the
// addresses of operations.
void leadReferences(const Image& object) {
    const Inside& in = inside();
    object.forEachReference([&](const Reference& reference) {
        if (reference.defined || reference.isUnbound) return;
        const auto known = in.byTarget.find(reinterpret_cast<const void*>(*reference.slot));
        if (known == in.byTarget.end() || known->second->site.side != Side::kPlatform) return;
        object.write(reference.slot, wordOf(known->second->stub));
    });
}

void leadOthers() {
    // Visits each, finds none.
    findLoaded([](const Image& object, const void*) {
        if (!(object == *inside().library)) leadReferences(object);
        return false;
    });
}

// Whether the library that is attached is still there, and not another copy in its place.
bool isStillThere() {
    const Inside& in = inside();
    if (!in.library) return false;
    const auto found =
        findLoaded([](const Image& image, const void* wanted) { return image.dynamic() == wanted; },
                   in.library->dynamic());
    if (!found) return false;
    const ElfW(Sym)* const symbol = found->image.symbol("platformSystemInit");
    return symbol != nullptr && recordOf(found->image.addressOf(*symbol)) != nullptr;
}

// The library has been unloaded: nothing of what is known by its addresses holds any more. Sites
// stay, with what they have counted.
void forgetLibrary() {
    Inside& in = inside();
    in.library.reset();
    in.operations.clear();
    in.byTarget.clear();
    for (Crossing& crossing : in.crossings) {
        if (crossing.outlets.empty()) continue;
        crossing.outlets.clear();
        crossing.site.target = nullptr;
    }
}

// Takes the library that is there now, when none is attached or it has come anew.
void takeLoaded() {
    Inside& in = inside();
    const auto found =
        findLoaded([](const Image& image, const void*) { return isPlatform(image); });
    if (found) bindOwn(found->image);
    const std::scoped_lock guard(in.lock);
    if (in.library) forgetLibrary();
    if (!found) return;
    take(found->image, found->path);
    leadSymbols(found->image);
    leadOthers();
}

}  // namespace

bool Boundary::attachLoaded() {
    Inside& in = inside();
    const uint64_t loads = loadCount();
    if (loads == in.seenLoads) return in.library.has_value();
    if (in.searching.exchange(true)) return false;
    if (!isStillThere()) takeLoaded();
    in.seenLoads = loads;
    in.searching = false;
    return in.library.has_value();
}

}  // namespace pcsim::probe
