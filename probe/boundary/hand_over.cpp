// Functions that cross the boundary with a call: callbacks among the arguments, the words of the
// tables that an operation fills, the print function of a sink. Each gets its stub, so that its
// calls are seen as well. What is null stays null.
#include <cstring>

#include "probe/boundary/boundary.h"
#include "probe/boundary/crossing.h"

namespace pcsim::probe {

namespace {

const Function* functionBehind(const Type& type) {
    const bool holds = type.kind == Kind::kPointer && type.target->kind == Kind::kFunction;
    return holds ? type.target->function : nullptr;
}

bool holdsFunctions(const Record& record) {
    for (const Field& field : record.fields) {
        if (functionBehind(*field.type) != nullptr) return true;
        if (field.type->kind == Kind::kRecord && holdsFunctions(*field.type->record)) return true;
    }
    return false;
}

// The record with functions that a parameter points to; null when it is none.
const Record* recordBehind(const Type& type) {
    if (type.kind != Kind::kPointer || type.target->kind != Kind::kRecord) return nullptr;
    return holdsFunctions(*type.target->record) ? type.target->record : nullptr;
}

// Whether a word that a table holds is a function of the library: anything may be in a word that
// the library doesn't fill.
bool isOfLibrary(void* function) {
    const Inside& in = inside();
    if (!in.library || function == nullptr) return false;
    if (in.library->hasCode(function)) return true;
    return in.library->hasCode(Boundary::behind(function));
}

Word stubInstead(Word word, const Function& type, Side side) {
    auto* const function = reinterpret_cast<void*>(word);
    if (function == nullptr || recordOf(function) != nullptr) return word;
    if (side == Side::kPlatform && !isOfLibrary(function)) return word;
    const Crossing* const crossing = crossingOf(function, type, side);
    return crossing == nullptr ? word : reinterpret_cast<Word>(crossing->stub);
}

// Notes where the word of a table was first handed out.
void nameWord(const void* stub, const Record& record, const Field& field) {
    const StubRecord* const known = recordOf(stub);
    if (known == nullptr || !known->crossing->site.table.empty()) return;
    known->crossing->site.table = record.name;
    known->crossing->site.word = field.name;
    // It goes by more names now, which somebody may be waiting for.
    askObservers(*known->crossing);
}

void fillStubs(char* memory, const Record& record, Side side) {
    for (const Field& field : record.fields) {
        char* const there = memory + field.offset;
        if (field.type->kind == Kind::kRecord) fillStubs(there, *field.type->record, side);
        const Function* const type = functionBehind(*field.type);
        if (type == nullptr) continue;
        Word word = 0;
        std::memcpy(&word, there, sizeof word);
        const Word instead = stubInstead(word, *type, side);
        nameWord(reinterpret_cast<const void*>(instead), record, field);
        if (instead != word) std::memcpy(there, &instead, sizeof instead);
    }
}

Side otherThan(Side side) {
    return side == Side::kPlatform ? Side::kHost : Side::kPlatform;
}

// Whether somebody looks at the calls of any function in the record.
bool isAnyWatched(const char* memory, const Record& record) {
    for (const Field& field : record.fields) {
        if (functionBehind(*field.type) == nullptr) continue;
        void* function = nullptr;
        std::memcpy(&function, memory + field.offset, sizeof function);
        const StubRecord* const known = recordOf(function);
        if (known != nullptr && (known->detours & (kWatched | kTimed)) != 0) return true;
    }
    return false;
}

// A record that the callee only reads may be constant, or another thread's as well: a copy goes in
// its place, while somebody wants to see the calls.
Word shadowed(Word word, const Record& record, Side side, Shadow& shadow) {
    if (word == 0 || record.size == 0 || record.size > sizeof shadow.words) return word;
    auto* const copy = reinterpret_cast<char*>(shadow.words);
    std::memcpy(copy, reinterpret_cast<const void*>(word), record.size);
    fillStubs(copy, record, side);
    return isAnyWatched(copy, record) ? reinterpret_cast<Word>(copy) : word;
}

}  // namespace

bool handsOver(const Function& function) {
    for (const Parameter& parameter : function.parameters)
        if (functionBehind(*parameter.type) != nullptr || recordBehind(*parameter.type) != nullptr)
            return true;
    return false;
}

void handIn(const Crossing& crossing, Word* arguments, Shadow& shadow) {
    const std::scoped_lock guard(inside().lock);
    const Side giver = otherThan(crossing.site.side);
    for (size_t i = 0; i < crossing.site.function->parameters.size(); ++i) {
        const Type& type = *crossing.site.function->parameters[i].type;
        if (const Function* const callback = functionBehind(type))
            arguments[i] = stubInstead(arguments[i], *callback, giver);
        else if (const Record* const record = recordBehind(type); record && type.isConst)
            arguments[i] = shadowed(arguments[i], *record, giver, shadow);
    }
}

void handOut(const Crossing& crossing, const Word* arguments) {
    const std::scoped_lock guard(inside().lock);
    for (size_t i = 0; i < crossing.site.function->parameters.size(); ++i) {
        const Type& type = *crossing.site.function->parameters[i].type;
        const Record* const record = recordBehind(type);
        if (record == nullptr || type.isConst || arguments[i] == 0) continue;
        fillStubs(reinterpret_cast<char*>(arguments[i]), *record, crossing.site.side);
    }
}

}  // namespace pcsim::probe
