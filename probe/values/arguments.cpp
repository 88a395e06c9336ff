// Making the memory of a call.
#include "probe/values/arguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "console/error.h"
#include "console/text.h"
#include "console/values.h"
#include "probe/values/blocks.h"
#include "probe/values/handles.h"
#include "probe/values/maker.h"
#include "probe/values/write.h"

namespace pcsim::probe {

namespace {

constexpr uint32_t kMostMade = 4096;  // of a list: more are a mistake
constexpr uint32_t kRoom = 64;        // elements of an output that nothing bounds
constexpr const char* kNull = "null";

Word wordOf(const void* pointer) {
    return reinterpret_cast<Word>(pointer);
}

const Field* tailOf(const Type& type) {
    if (type.kind != Kind::kRecord || type.record->fields.empty()) return nullptr;
    const Field& last = type.record->fields.back();
    return last.type->kind == Kind::kArray && last.type->count == 0 ? &last : nullptr;
}

}  // namespace

Arguments::Maker::Maker(Arguments& into, std::string_view operation, const Function& function,
                        const std::vector<Written>& written, const Supplies& supplies)
    : into_(into), operation_(operation), function_(function), supplies_(supplies) {
    const std::vector<Input> inputs = inputsOf(function);
    for (const Written& one : written) {
        const std::string path = pathOf(operation, inputs, one.name, one.value == kNull);
        if (!given_.try_emplace(path, Given{one.name, one.value}).second)
            fail("'{}' is given twice; expected one value for it", shown(one.name));
    }
}

Arguments::Maker::Given* Arguments::Maker::given(const std::string& path) {
    const auto found = given_.find(path);
    if (found == given_.end()) return nullptr;
    found->second.used = true;
    return &found->second;
}

// A number that others are sized by, before it is written where it belongs.
int64_t Arguments::Maker::numberOr(const std::string& path, const Type& type, int64_t otherwise) {
    const auto found = given_.find(path);
    if (found == given_.end()) return otherwise;
    int64_t number = 0;
    writeInteger({found->second.name, found->second.value}, type, Meaning::kNone, supplies_,
                 reinterpret_cast<char*>(&number));
    return integerAt(&number, type);
}

// How many elements of a list are spoken of.
uint32_t Arguments::Maker::named(const std::string& path) const {
    uint64_t most = 0;
    const std::string start = path + "[";
    for (auto at = given_.lower_bound(start); at != given_.end(); ++at) {
        if (!at->first.starts_with(start)) break;
        uint64_t index = 0;
        const size_t end = at->first.find(']', start.size());
        readNumber(std::string_view(at->first).substr(start.size(), end - start.size()), UINT16_MAX,
                   index);
        most = std::max(most, index + 1);
    }
    if (most > kMostMade)
        fail("{} can have {} elements here; '{}' is one too far", path, kMostMade, most - 1);
    return static_cast<uint32_t>(most);
}

// How many elements a list has room for: those that its count says, and those that are named.
uint32_t Arguments::Maker::elementsOf(const std::string& list, const std::string& countPath,
                                      const Type* count, const Semantics& semantics) {
    uint32_t elements = std::max(named(list), semantics.elements);
    if (semantics.tail > 0) elements = std::max(elements, static_cast<uint32_t>(semantics.tail));
    if (count == nullptr) return elements;
    const int64_t said = numberOr(countPath, *count, 0) >> semantics.countShift;
    if (said > kMostMade && (semantics.atMost == 0 || said <= semantics.atMost))
        fail("{} {} is more than can be made here; expected at most {}", countPath, said,
             kMostMade);
    if (semantics.atMost != 0 && said > semantics.atMost) return elements;
    return std::max(elements, static_cast<uint32_t>(std::max<int64_t>(said, 0)));
}

void Arguments::Maker::putPointer(char* at, const void* pointer) {
    const Word word = wordOf(pointer);
    std::memcpy(at, &word, sizeof word);
}

char* Arguments::Maker::allocate(uint32_t bytes, bool taken) {
    bytes = std::max<uint32_t>(bytes, 1);
    if (taken) return allocateTaken(bytes);
    into_.memory_.push_back(std::make_unique<char[]>(bytes));
    return into_.memory_.back().get();
}

// The callee frees it.
char* Arguments::Maker::allocateTaken(uint32_t bytes) {
    void* const block = std::calloc(1, bytes);
    if (block == nullptr) throw std::bad_alloc();
    into_.taken_.push_back(block);
    return static_cast<char*>(block);
}

void Arguments::Maker::make() {
    const auto count = static_cast<uint16_t>(function_.parameters.size());
    into_.count_ = count;
    if (function_.stub) into_.count_ = named("arguments");
    into_.words_.assign(into_.count_ + 1, 0);
    for (uint32_t i = 0; function_.stub && i < into_.count_; ++i)
        value(fmt::format("arguments[{}]", i), kWordType, Meaning::kNone,
              reinterpret_cast<char*>(&into_.words_[i]));
    // What pointers are sized and typed by comes first.
    for (const bool pointers : {false, true})
        for (uint16_t place = 0; place < count; ++place)
            if ((function_.parameters[place].type->kind == Kind::kPointer) == pointers)
                parameter(place);
    checkUsed();
}

void Arguments::Maker::parameter(uint16_t place) {
    const Parameter& parameter = function_.parameters[place];
    const Semantics& semantics = parameter.semantics;
    const std::string path(parameter.name);
    Word& word = into_.words_[place];
    if (parameter.type->kind != Kind::kPointer) {
        value(path, *parameter.type, meaningOf(semantics, *parameter.type),
              reinterpret_cast<char*>(&word));
        return;
    }
    const bool isCounted = semantics.countIndex != kNoIndex;
    const Parameter* const count =
        isCounted ? &function_.parameters[semantics.countIndex] : nullptr;
    Made made{parameter.name, nullptr, nullptr, 0, semantics.out, false, nullptr};
    word =
        wordOf(pointer(path, *parameter.type, semantics, isCounted ? std::string(count->name) : "",
                       isCounted ? count->type : nullptr, 0, made));
    if (made.at != nullptr) into_.made_.push_back(made);
    if (isCounted && !given_.contains(std::string(count->name)))
        into_.words_[semantics.countIndex] = named(path) << semantics.countShift;
}

// What takes the place of memory made here: null, something kept, a record of the HAL's. Null where
// nothing does.
void* Arguments::Maker::instead(const std::string& path, const Type& type,
                                const Semantics& semantics) {
    const Type& target = *type.target;
    const auto found = given_.find(path);
    if (found == given_.end()) return nullptr;
    Given& one = found->second;
    const bool isHosts = target.kind == Kind::kRecord && target.owner == Owner::kHost;
    one.used = true;
    // What is kept stays the caller's.
    void* const kept = semantics.taken ? nullptr : supplies_.kept(target, one.value);
    if (kept != nullptr) return kept;
    if (isHosts) return const_cast<void*>(supplies_.record(*target.record, one.value));
    one.used = false;
    const bool isValue = target.kind != Kind::kRecord && target.kind != Kind::kPointer &&
                         target.kind != Kind::kFunction && !isNamed(target);
    if (isValue || !semantics.cases.empty()) return nullptr;
    fail("'{}' is nothing that {} can be; expected the name of {} that a call has kept with 'as'{}",
         shown(one.value), one.name,
         kindOf(target.kind == Kind::kPointer ? *target.target : target),
         isNullTaken(semantics, target) ? ", or null" : "");
}

void* Arguments::Maker::pointer(const std::string& path, const Type& type,
                                const Semantics& semantics, const std::string& countPath,
                                const Type* count, int depth, Made& made) {
    const Type& target = *type.target;
    const bool isCell = target.kind == Kind::kPointer;
    const auto found = given_.find(path);
    if (found != given_.end() && found->second.value == kNull && !(isCell && !semantics.orNull)) {
        if (!isNullTaken(semantics, target))
            fail("{} takes no null for '{}'; leave it out for zeros, or give it a value",
                 operation_, found->second.name);
        found->second.used = true;
        return nullptr;
    }
    if (target.kind == Kind::kFunction) {
        if (found != given_.end())
            fail(
                "'{}' is no callback; expected {}", shown(found->second.value),
                semantics.orNull ? "null, or nothing for pcsim's own" : "nothing, for pcsim's own");
        return supplies_.callback(*target.function);
    }
    if (semantics.ignored) return nullptr;
    if (isCell) return cell(path, target, made);
    if (void* const other = instead(path, type, semantics)) return other;
    if (!semantics.cases.empty()) {
        const Word selected = into_.words_[semantics.selectIndex];
        for (const Case& one : semantics.cases)
            if (one.value == selected) return behind(path, *one.type, {}, 1, depth, made);
        return nullptr;
    }
    if (isNamed(target) || depth >= kDeepestMade) return nullptr;
    const bool isMany = isList(semantics, target);
    uint32_t elements = isMany ? elementsOf(path, countPath, count, semantics) : 1;
    if (isMany && elements == 0 && depth > 0) return nullptr;
    return behind(path, target, semantics, elements, depth, made);
}

// A place for a pointer to something of the library's.
void* Arguments::Maker::cell(const std::string& path, const Type& inner, Made& made) {
    char* const at = allocate(sizeof(void*), false);
    made.type = &inner;
    made.at = at;
    made.bytes = sizeof(void*);
    made.isCell = true;
    Given* const one = made.isOutput ? nullptr : given(path);
    if (one == nullptr || one->value == kNull) return at;
    made.before = supplies_.kept(*inner.target, one->value);
    if (made.before == nullptr)
        fail(
            "'{}' is nothing that {} can be; expected the name of {} that a call has kept with "
            "'as', or null",
            shown(one->value), one->name, kindOf(*inner.target));
    putPointer(at, made.before);
    return at;
}

Arguments::Maker::Room Arguments::Maker::roomFor(const std::string& path, const Type& target,
                                                 const Semantics& semantics, uint32_t elements,
                                                 bool isMany) {
    Room room{std::max<uint32_t>(elements, 1), 0, tailOf(target), 0};
    const uint32_t size = target.kind == Kind::kRecord ? target.record->size : target.size;
    room.bytes = room.elements * std::max<uint32_t>(size, 1);
    // The end of a chain is a record without a length.
    if (semantics.chainedBy != nullptr) room.bytes += size;
    if (room.tail == nullptr || isMany) return room;
    const Semantics& tail = room.tail->semantics;
    const Field* const count =
        tail.countIndex != kNoIndex ? &target.record->fields[tail.countIndex] : nullptr;
    if (semantics.out) {
        room.tailElements = tail.atMost != 0 ? tail.atMost : kRoom;
    } else {
        room.tailElements =
            elementsOf(path + "." + std::string(room.tail->name),
                       count != nullptr ? path + "." + std::string(count->name) : "",
                       count != nullptr ? count->type : nullptr, tail);
        room.tailElements = std::max<uint32_t>(room.tailElements, 1);
    }
    room.bytes += room.tailElements * room.tail->type->target->size;
    return room;
}

void* Arguments::Maker::behind(const std::string& path, const Type& target,
                               const Semantics& semantics, uint32_t elements, int depth,
                               Made& made) {
    const Meaning meaning = meaningOf(semantics, target);
    if (meaning == Meaning::kText && !semantics.out) {
        const Given* const one = given(path);
        const std::string text = one != nullptr ? one->value : "";
        char* const at = allocate(static_cast<uint32_t>(text.size() + 1), false);
        std::copy(text.begin(), text.end(), at);
        return at;
    }
    const bool isMany = isList(semantics, target);
    if (meaning == Meaning::kMac || meaning == Meaning::kIpv6)
        elements = std::max(elements, semantics.elements);
    const Room room = roomFor(path, target, semantics, elements, isMany);
    char* const at = allocate(room.bytes, semantics.taken);
    made.type = &target;
    made.at = at;
    made.bytes = room.bytes;
    if (meaning == Meaning::kMac) {
        if (const Given* const one = given(path)) writeMac({one->name, one->value}, at);
    } else if (target.kind == Kind::kRecord) {
        this->elements(path, target, semantics, at, room, depth);
    } else if (!semantics.out) {
        for (uint32_t i = 0; i < room.elements; ++i)
            value(isMany ? fmt::format("{}[{}]", path, i) : path, target, meaning,
                  at + i * target.size);
    }
    return at;
}

void Arguments::Maker::value(const std::string& path, const Type& type, Meaning meaning, char* at) {
    if (const Given* const one = given(path))
        writeInteger({one->name, one->value}, type, meaning, supplies_, at);
}

void Arguments::Maker::checkUsed() const {
    for (const auto& [path, one] : given_)
        if (!one.used)
            fail("'{}' isn't there with the other values of this call; expected a call without it",
                 shown(one.name));
}

Arguments::Arguments(std::string_view operation, const Function& function,
                     const std::vector<Written>& written, const Supplies& supplies) {
    try {
        Maker(*this, operation, function, written, supplies).make();
    } catch (...) {
        for (void* const block : taken_) std::free(block);
        throw;
    }
}

Arguments::~Arguments() {
    for (void* const block : taken_) std::free(block);
}

}  // namespace pcsim::probe
