// Finding named values, comparing and setting them.
#include "probe/values/path.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "console/error.h"
#include "console/mac_address.h"
#include "console/text.h"
#include "console/values.h"
#include "probe/values/forms.h"

namespace pcsim::probe {

namespace {

// Names for what values stand for.
struct Alias {
    std::string_view name;
    Meaning meaning;
};
constexpr Alias kAliases[] = {
    {"port", Meaning::kPort},    {"port", Meaning::kPortKey},      {"slot", Meaning::kSlot},
    {"vlan", Meaning::kVlan},    {"vlan", Meaning::kVlanInstance}, {"vr", Meaning::kVirtualRouter},
    {"mac", Meaning::kMac},      {"address", Meaning::kIpv4},      {"address", Meaning::kAddress},
    {"address", Meaning::kIpv6},
};

bool isPort(const Leaf& leaf) {
    return leaf.meaning == Meaning::kPort || leaf.meaning == Meaning::kPortKey;
}

// Values that can be written and compared; of pointers whether they are null.
std::vector<Leaf> testable(const Function& function) {
    std::vector<Leaf> leaves = leavesOf(function);
    std::erase_if(leaves, [](const Leaf& leaf) { return leaf.isOutput; });
    return leaves;
}

bool isWritable(const Leaf& leaf, const Function& function, Side side) {
    if (leaf.meaning == Meaning::kFormat || leaf.meaning == Meaning::kArguments) return false;
    if (leaf.place == kResultPlace) return side == Side::kPlatform || leaf.isWord;
    if (leaf.isWord && leaf.type->kind == Kind::kPointer) return false;
    const Type& type = *function.parameters[leaf.place].type;
    if (!leaf.isWord && (type.isConst || !leaf.steps.empty())) return false;
    return !leaf.isWord || side != Side::kPlatform;
}

std::vector<Leaf> changeable(const Function& function, Side side) {
    std::vector<Leaf> leaves = leavesOf(function);
    std::erase_if(leaves, [&](const Leaf& leaf) { return !isWritable(leaf, function, side); });
    return leaves;
}

// A value and the pointer to it have one name: the value is meant.
void dropPointers(std::vector<Leaf>& leaves) {
    if (leaves.size() < 2) return;
    std::erase_if(
        leaves, [](const Leaf& leaf) { return leaf.isWord && leaf.type->kind == Kind::kPointer; });
}

std::vector<Leaf> meaning(const std::vector<Leaf>& leaves, std::string_view name) {
    std::vector<Leaf> found;
    for (const Alias& alias : kAliases) {
        if (alias.name != name || !found.empty()) continue;
        std::ranges::copy_if(leaves, std::back_inserter(found),
                             [&](const Leaf& leaf) { return leaf.meaning == alias.meaning; });
    }
    dropPointers(found);
    return found;
}

// Those of the leaves that a name means: by the whole path, by what it stands for, by its last
// part.
std::vector<Leaf> named(const std::vector<Leaf>& leaves, std::string_view name) {
    std::vector<Leaf> found;
    std::ranges::copy_if(leaves, std::back_inserter(found),
                         [&](const Leaf& leaf) { return leaf.path == name; });
    if (found.empty()) found = meaning(leaves, name);
    const std::string inner = "." + std::string(name);
    if (found.empty())
        std::ranges::copy_if(leaves, std::back_inserter(found),
                             [&](const Leaf& leaf) { return leaf.path.ends_with(inner); });
    dropPointers(found);
    return found;
}

std::vector<std::string> namesOf(const std::vector<Leaf>& leaves) {
    std::vector<std::string> names;
    for (const Leaf& leaf : leaves) {
        const std::string last = leaf.path.substr(leaf.path.rfind('.') + 1);
        const bool clear = named(leaves, last).size() == 1;
        const std::string& name = clear ? last : leaf.path;
        if (std::ranges::find(names, name) == names.end()) names.push_back(name);
    }
    return names;
}

[[noreturn]] void failUnknown(std::string_view operation, std::string_view name, const char* what,
                              const std::vector<Leaf>& leaves) {
    if (leaves.empty()) fail("{} has nothing that is {}", operation, what);
    fail("{} has no '{}' that is {}; expected one of {}", operation, shown(name), what,
         listed(namesOf(leaves)));
}

// The one leaf that is meant.
Leaf oneOf(std::string_view operation, std::string_view name, const std::vector<Leaf>& found) {
    if (found.size() == 1) return found.front();
    std::vector<std::string> paths;
    for (const Leaf& leaf : found) paths.push_back(leaf.path);
    fail("{} has more than one '{}'; expected one of {}", operation, shown(name), listed(paths));
}

[[noreturn]] void failForm(std::string_view name, const std::string& value,
                           const std::string& expected) {
    fail("{} '{}' has another form; expected {}", name, shown(value), expected);
}

bool isAddress(Meaning meaning) {
    return meaning == Meaning::kIpv4 || meaning == Meaning::kIpv6 || meaning == Meaning::kAddress;
}

// An address or a prefix, where the leaf can be either family only the one that was written fits.
Wanted readAddress(const Leaf& leaf, std::string_view name, const std::string& value, bool within) {
    Wanted wanted{.within = within};
    wanted.isPrefix = value.find('/') != value.npos;
    IpPrefix prefix;
    if (wanted.isPrefix)
        prefix = parsePrefix(value);
    else
        prefix.address = parseAddress(value);
    wanted.isIpv6 = prefix.address.v6;
    const bool wrongFamily = (leaf.meaning == Meaning::kIpv4 && wanted.isIpv6) ||
                             (leaf.meaning == Meaning::kIpv6 && !wanted.isIpv6);
    if (wrongFamily) failForm(name, value, expectedForm(leaf.meaning, *leaf.type));
    if (wanted.isPrefix) {
        wanted.mask = prefix.mask;
        wanted.length = prefix.length;
        prefix = prefix.masked();
    }
    wanted.bytes = prefix.address.bytes;
    return wanted;
}

Wanted read(const Leaf& leaf, std::string_view name, const std::string& value, bool within) {
    if (isAddress(leaf.meaning)) return readAddress(leaf, name, value, within);
    if (within) fail("{} is no address, and 'within' takes a prefix; leave 'within' out", name);
    Wanted wanted;
    if (leaf.meaning == Meaning::kText) {
        wanted.text = value;
    } else if (leaf.meaning == Meaning::kMac) {
        MacAddress mac{};
        if (!readMac(value, mac)) failForm(name, value, expectedForm(leaf.meaning, *leaf.type));
        std::ranges::copy(mac, wanted.bytes.begin());
    } else if (leaf.type->kind == Kind::kPointer) {
        if (value != "null") failForm(name, value, "null: it is a pointer");
    } else if (!readInteger(value, leaf.meaning, *leaf.type, wanted.number)) {
        failForm(name, value, expectedForm(leaf.meaning, *leaf.type));
    }
    return wanted;
}

uint32_t wordAt(const void* at) {
    uint32_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

bool sameBits(const uint8_t* a, const uint8_t* b, uint32_t bits) {
    const uint32_t whole = bits / 8;
    if (std::memcmp(a, b, whole) != 0) return false;
    const uint32_t rest = bits % 8;
    return rest == 0 || ((a[whole] ^ b[whole]) >> (8 - rest)) == 0;
}

// The field that says how much of an address counts; null where all of it does.
const Field* lengthBeside(const Leaf& leaf) {
    if (leaf.record == nullptr || leaf.field->name != "prefix") return nullptr;
    const Field* const mask = leaf.record->field("mask");
    return mask != nullptr ? mask : leaf.record->field("maskLen");
}

bool fitsIpv4(const Wanted& wanted, const Leaf& leaf, const char* at) {
    const uint32_t address = wordAt(at), sought = wordAt(wanted.bytes.data());
    uint32_t mask = 0xFFFFFFFF;
    const Field* const beside = lengthBeside(leaf);
    if (beside != nullptr) mask = wordAt(leaf.beside(at, *beside));
    if (wanted.within)
        return (address & wanted.mask) == sought && (mask & wanted.mask) == wanted.mask;
    if (wanted.isPrefix) return (address & wanted.mask) == sought && mask == wanted.mask;
    return address == sought;
}

bool fitsIpv6(const Wanted& wanted, const Leaf& leaf, const char* at) {
    const auto* const address = reinterpret_cast<const uint8_t*>(at);
    uint32_t length = 128;
    const Field* const beside = lengthBeside(leaf);
    if (beside != nullptr)
        length = static_cast<uint32_t>(integerAt(leaf.beside(at, *beside), *beside->type));
    if (!sameBits(address, wanted.bytes.data(), wanted.length)) return false;
    if (wanted.within) return length >= wanted.length;
    return !wanted.isPrefix || length == wanted.length;
}

bool isIpv4At(const Leaf& leaf, const char* at) {
    if (leaf.meaning != Meaning::kAddress) return leaf.meaning == Meaning::kIpv4;
    const Field& family = leaf.record->fields[leaf.field->semantics.countIndex];
    return isIpv4(at, integerAt(leaf.beside(at, family), *family.type));
}

std::string_view textAt(const Leaf& leaf, const char* at, const Block* block) {
    const uint32_t room = leaf.field != nullptr ? leaf.type->size : block->bytes;
    return {at, strnlen(at, room)};
}

}  // namespace

// --- Tests
// ----------------------------------------------------------------------------------------

ValueTest::ValueTest(std::string_view operation, const Function& function, std::string_view name,
                     const std::string& value, bool within) {
    const std::vector<Leaf> leaves = testable(function);
    leaves_ = named(leaves, name);
    if (leaves_.empty() && name == "slot") {
        std::ranges::copy_if(leaves, std::back_inserter(leaves_), isPort);
        slotOfPort_ = !leaves_.empty();
    }
    if (leaves_.empty()) {
        if (!named(leavesOf(function), name).empty())
            fail("{} has '{}' as an output, which isn't known before the call; expected one of {}",
                 operation, shown(name), listed(namesOf(leaves)));
        failUnknown(operation, name, "tested before the call", leaves);
    }
    if (slotOfPort_) {
        wanted_.number = static_cast<int64_t>(parseNumber("slot", value, 0, 0xFF));
        return;
    }
    // What stands for a port or a slot has to fit somewhere; other names mean one value.
    const bool anyFits = meaning(leaves, name).size() == leaves_.size();
    if (!anyFits) leaves_ = {oneOf(operation, name, leaves_)};
    wanted_ = read(leaves_.front(), name, value, within);
}

bool ValueTest::fits(const Leaf& leaf, const char* at, const Block* block) const {
    if (slotOfPort_) return (wordAt(at) >> 16 & 0xFF) == wanted_.number;
    if (isAddress(leaf.meaning)) {
        if (isIpv4At(leaf, at)) return !wanted_.isIpv6 && fitsIpv4(wanted_, leaf, at);
        return wanted_.isIpv6 && fitsIpv6(wanted_, leaf, at);
    }
    if (leaf.meaning == Meaning::kText) return block && textAt(leaf, at, block) == wanted_.text;
    if (leaf.meaning == Meaning::kMac) return std::memcmp(at, wanted_.bytes.data(), 6) == 0;
    int64_t given = integerAt(at, *leaf.type);
    int64_t sought = wanted_.number;
    if (leaf.type->size < 8) {  // -1 and 0xffffffff are one word
        const uint64_t bits = (uint64_t{1} << 8 * leaf.type->size) - 1;
        given = static_cast<int64_t>(given & bits);
        sought = static_cast<int64_t>(sought & bits);
    }
    return given == sought;
}

bool ValueTest::holds(const CallWords& call, const Memory& memory) const {
    return std::ranges::any_of(leaves_, [&](const Leaf& leaf) {
        return anyValue(leaf, call, Phase::kBefore, memory,
                        [&](const char* at, const Block* block) { return fits(leaf, at, block); });
    });
}

// --- Changes
// --------------------------------------------------------------------------------------

ValueChange::ValueChange(std::string_view operation, const Function& function, Side side,
                         std::string_view name, const std::string& value)
    : function_(function) {
    const std::vector<Leaf> leaves = changeable(function, side);
    const std::vector<Leaf> found = named(leaves, name);
    if (found.empty()) failUnknown(operation, name, "handed out", leaves);
    leaf_ = oneOf(operation, name, found);
    wanted_ = read(leaf_, name, value, false);
    if (wanted_.isPrefix) failForm(name, value, expectedForm(leaf_.meaning, *leaf_.type));
    if (leaf_.meaning == Meaning::kText && leaf_.field != nullptr &&
        wanted_.text.size() >= leaf_.type->size)
        failForm(name, value, fmt::format("a text of at most {} bytes", leaf_.type->size - 1));
    const bool comesBack = side == Side::kPlatform || leaf_.isOutput;
    phase_ = comesBack ? Phase::kAfter : Phase::kBefore;
}

void ValueChange::set(const char* at, const Block* block) const {
    auto* const to = const_cast<char*>(at);
    if (leaf_.meaning == Meaning::kText) {
        const uint32_t room = leaf_.field != nullptr ? leaf_.type->size : block->bytes;
        std::memset(to, 0, room);
        std::memcpy(to, wanted_.text.data(), std::min<size_t>(wanted_.text.size(), room - 1));
    } else if (leaf_.meaning == Meaning::kMac) {
        std::memcpy(to, wanted_.bytes.data(), 6);
    } else if (isAddress(leaf_.meaning)) {
        std::memcpy(to, wanted_.bytes.data(), std::min<size_t>(leaf_.type->size, 16));
    } else {
        std::memcpy(to, &wanted_.number, leaf_.type->size);
    }
}

void ValueChange::apply(Word* arguments, uint32_t argumentWords, uint64_t& result) const {
    if (leaf_.isWord && leaf_.place == kResultPlace) {
        set(reinterpret_cast<const char*>(&result), nullptr);
        return;
    }
    const CallWords call{function_, arguments, argumentWords, result};
    anyValue(leaf_, call, phase_, liveMemory(), [this](const char* at, const Block* block) {
        set(at, block);
        return false;
    });
}

// --- What calls mention
// ---------------------------------------------------------------------------

Mentions::Mentions(const Function& function) : leaves_(testable(function)) {
    std::erase_if(leaves_,
                  [](const Leaf& leaf) { return !isPort(leaf) && leaf.meaning != Meaning::kSlot; });
}

bool Mentions::port(const CallWords& call, const Memory& memory, uint32_t instance) const {
    return std::ranges::any_of(leaves_, [&](const Leaf& leaf) {
        return isPort(leaf) &&
               anyValue(leaf, call, Phase::kBefore, memory,
                        [&](const char* at, const Block*) { return wordAt(at) == instance; });
    });
}

bool Mentions::slot(const CallWords& call, const Memory& memory, uint32_t slot) const {
    return std::ranges::any_of(leaves_, [&](const Leaf& leaf) {
        return anyValue(leaf, call, Phase::kBefore, memory, [&](const char* at, const Block*) {
            if (isPort(leaf)) return (wordAt(at) >> 16 & 0xFF) == slot;
            return static_cast<uint32_t>(integerAt(at, *leaf.type)) == slot;
        });
    });
}

bool isCalled(Meaning meaning, std::string_view name) {
    return std::ranges::any_of(kAliases, [&](const Alias& alias) {
        return alias.name == name && alias.meaning == meaning;
    });
}

std::vector<std::string> testableNames(const Function& function) {
    return namesOf(testable(function));
}

std::vector<std::string> changeableNames(const Function& function, Side side) {
    return namesOf(changeable(function, side));
}

}  // namespace pcsim::probe
