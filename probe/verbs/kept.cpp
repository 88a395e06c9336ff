// Keeping what calls hand out.
#include "probe/verbs/kept.h"

#include <fmt/format.h>

#include <algorithm>

#include "console/error.h"
#include "console/text.h"
#include "probe/values/forms.h"
#include "probe/values/handles.h"

namespace pcsim::probe {

namespace {

// Operations that end all things of a type at once.
struct End {
    std::string_view word;
    std::string_view type;
};
constexpr End kEnds[] = {{"fdbCleanup", "HalFdbEntry"}};

std::string addressText(const void* address) {
    return fmt::format("{:#x}", reinterpret_cast<uintptr_t>(address));
}

}  // namespace

void Kept::keep(std::string name, const Type& type, void* address, std::string from) {
    std::erase_if(things_, [&](const Thing& thing) { return thing.name == name; });
    things_.push_back({std::move(name), &type, address, std::move(from)});
}

void Kept::keepRecord(std::string name, const Type& type, Block record, std::string from) {
    keep(std::move(name), type, record.get(), std::move(from));
    things_.back().own = std::move(record);
}

void* Kept::find(const Type& type, const std::string& word) const {
    const bool isAddress = word.starts_with("0x");
    const auto goesBy = [&](const Thing& thing) {
        return isAddress ? thing.ended.empty() && addressText(thing.address) == word
                         : thing.name == word;
    };
    const auto found = std::ranges::find_if(things_, goesBy);
    if (found == things_.end()) return nullptr;
    if (!found->ended.empty())
        fail("'{}' has ended with {}; expected one that 'show handles' tells as there", word,
             found->ended);
    if (found->type->name != type.name)
        fail("'{}' is {} of {}; expected {}", word, kindOf(*found->type), found->from,
             kindOf(type));
    return found->address;
}

void Kept::end(const void* address, const std::string& operation) {
    for (Thing& thing : things_)
        if (thing.address == address && thing.ended.empty()) thing.ended = operation;
}

void Kept::endWith(std::string_view word, const std::string& operation) {
    for (const End& one : kEnds)
        for (Thing& thing : things_)
            if (one.word == word && thing.type->name == one.type && thing.ended.empty())
                thing.ended = operation;
}

void Kept::forget(const std::string& name) {
    std::vector<std::string> names;
    for (const Thing& thing : things_) names.push_back(thing.name);
    if (std::erase_if(things_, [&](const Thing& thing) { return thing.name == name; }) != 0) return;
    if (names.empty()) fail("nothing is kept under '{}'; there is nothing at all", shown(name));
    fail("nothing is kept under '{}'; there are {}", shown(name), listed(names));
}

}  // namespace pcsim::probe
