// Decoding the blocks of a call into values.
#include "probe/values/tree.h"

#include <algorithm>
#include <cstring>

#include "probe/values/forms.h"
#include "probe/values/message.h"

namespace pcsim::probe {

namespace {

constexpr int kCallItself = -1;
constexpr uint32_t kMostElements = 256;  // of a list
constexpr size_t kFunctionsNamed = 3;    // of a record with more it is told how many it has

// Which fields of a record that goes both ways are told.
enum class Fields : uint8_t { kAll, kInputs, kOutputs };

bool allZero(const void* content, uint32_t bytes) {
    const auto* const at = static_cast<const uint8_t*>(content);
    return std::all_of(at, at + bytes, [](uint8_t byte) { return byte == 0; });
}

Value word(std::string text, bool isZero = false) {
    return {.form = Value::Form::kWord, .text = std::move(text), .isZero = isZero};
}

Value text(std::string_view of) {
    return {.form = Value::Form::kText, .text = std::string(of), .isZero = of.empty()};
}

Value integer(const void* content, const Type& type, Meaning meaning) {
    const int64_t number = integerAt(content, type);
    return {.form = isPlainNumber(meaning) ? Value::Form::kNumber : Value::Form::kWord,
            .text = integerText(number, meaning, type.size),
            .number = number,
            .isZero = number == 0};
}

bool isFunctionPointer(const Type& type) {
    return type.kind == Kind::kPointer && type.target->kind == Kind::kFunction;
}

bool hasOutputs(const Record& record) {
    return std::ranges::any_of(record.fields, [](const Field& field) {
        const Type* type = field.type;
        if (type->kind == Kind::kArray) type = type->target;
        return field.semantics.out || (type->kind == Kind::kRecord && hasOutputs(*type->record));
    });
}

// What may rightly differ from run to run isn't told: the same run makes the same text.
bool isTold(const Field& field, Told told) {
    if (field.semantics.ignored) return false;
    if (field.semantics.varies && told != Told::kAll) return false;
    return field.semantics.carried || !field.name.starts_with("reserved");
}

class Decoder {
public:
    Decoder(const CallWords& call, Phase phase, const Memory& memory, Handles& handles,
            Told told = Told::kLasting)
        : call_(call), phase_(phase), memory_(memory), handles_(handles), told_(told) {
        visitBlocks(call, phase, memory, [this](const Block& block) { keep(block); });
    }

    std::vector<Member> arguments();
    std::vector<Member> results();

private:
    struct Found {
        Block block;
        const Block* visited;  // where the walk had it
        int parent;
    };
    struct Where {  // a pointer: in which block it lies, and where
        int parent;
        uint16_t place;
        uint32_t index;
    };

    void keep(const Block& block);
    int behind(const Where& where) const;
    Value pointer(Word address, const Type& type, const Semantics& semantics, const Where& where);
    Value content(int found);
    Value elements(int found);
    Value single(int found, const char* at, const Type& type, const Semantics& semantics,
                 Meaning meaning);
    Value record(int found, const char* at, const Type& type, Fields fields);
    Value field(int found, const char* at, const Record& record, uint16_t place, Fields fields);
    Value array(int found, const char* at, const Type& type, uint32_t count,
                const Semantics& semantics, Fields fields);
    Value address(const char* at, const Record& record, const Field& field) const;

    const CallWords& call_;
    const Phase phase_;
    const Memory& memory_;
    Handles& handles_;
    const Told told_;
    std::vector<Found> found_;
};

void Decoder::keep(const Block& block) {
    int parent = kCallItself;
    for (int i = static_cast<int>(found_.size()); block.parent != nullptr && i-- > 0;) {
        if (found_[i].visited != block.parent) continue;
        parent = i;
        break;
    }
    found_.push_back({block, &block, parent});
}

int Decoder::behind(const Where& where) const {
    for (size_t i = 0; i < found_.size(); ++i) {
        const Found& found = found_[i];
        if (found.parent == where.parent && found.block.place == where.place &&
            found.block.index == where.index)
            return static_cast<int>(i);
    }
    return kCallItself;
}

std::vector<Member> Decoder::arguments() {
    std::vector<Member> members;
    const auto& parameters = call_.function.parameters;
    for (uint16_t place = 0; place < parameters.size() && place < call_.argumentWords; ++place) {
        const Parameter& parameter = parameters[place];
        const Semantics& semantics = parameter.semantics;
        const Word* const word = &call_.arguments[place];
        if (semantics.ignored || semantics.out || semantics.meaning == Meaning::kArguments)
            continue;
        if (semantics.meaning == Meaning::kFormat) {
            const std::string message = messageText(formatWords(call_, memory_), memory_);
            members.push_back({"message", text(message)});
        } else if (parameter.type->kind == Kind::kPointer) {
            members.push_back(
                {std::string(parameter.name),
                 pointer(*word, *parameter.type, semantics, {kCallItself, place, 0})});
        } else {
            members.push_back(
                {std::string(parameter.name), integer(word, *parameter.type, semantics.meaning)});
        }
    }
    return members;
}

std::vector<Member> Decoder::results() {
    std::vector<Member> members;
    const Type& type = *call_.function.result;
    const auto result = static_cast<uint32_t>(call_.result);
    if (type.kind == Kind::kPointer) {
        members.push_back({"result", pointer(result, type, call_.function.resultSemantics,
                                             {kCallItself, kResultPlace, 0})});
    } else if (type.kind != Kind::kVoid) {
        // Codes are told with their sign whatever the type is.
        Value value = integer(&call_.result, type, call_.function.resultSemantics.meaning);
        if (call_.function.resultSemantics.varies && told_ != Told::kAll)
            value = {.form = Value::Form::kWord, .text = "varies"};
        const auto code = static_cast<int32_t>(call_.result);
        if (type.size == 4 && value.form == Value::Form::kNumber && code < 0 && code > -1000) {
            value.number = code;
            value.text = std::to_string(code);
        }
        members.push_back({"result", std::move(value)});
    }
    for (size_t i = 0; i < found_.size(); ++i) {
        const Block& block = found_[i].block;
        if (!block.written || block.parent != nullptr || block.place == kResultPlace) continue;
        if (block.semantics->varies && told_ != Told::kAll) continue;
        members.push_back({std::string(call_.function.parameters[block.place].name),
                           content(static_cast<int>(i))});
    }
    return members;
}

Value Decoder::pointer(Word address, const Type& type, const Semantics& semantics,
                       const Where& where) {
    if (address == 0) return {.text = "null", .isZero = true};
    const Type& target = *type.target;
    if (target.kind == Kind::kFunction) return word(handles_.function(address));
    const int found = behind(where);
    if (isNamed(target) && (found == kCallItself || target.kind != Kind::kVoid))
        return word(handles_.name(target, address, semantics.fresh));
    return found == kCallItself ? word("?") : content(found);
}

Value Decoder::content(int found) {
    const Block& block = found_[found].block;
    const auto* const at = static_cast<const char*>(block.content);
    if (at == nullptr) return word("?");
    if (block.meaning == Meaning::kText) return text({at, strnlen(at, block.bytes)});
    if (block.meaning == Meaning::kMac && block.bytes == 6)
        return word(macAddressText(at), allZero(at, 6));
    if (block.element->kind == Kind::kVoid ||
        (block.element->size == 1 && block.count > 1 && block.meaning == Meaning::kNone))
        return word(bytesText(at, block.bytes), allZero(at, block.bytes));
    const Semantics& semantics = *block.semantics;
    const bool isCounted = semantics.countIndex != kNoIndex || semantics.elements != 0;
    if (!isCounted && semantics.chainedBy == nullptr)
        return single(found, at, *block.element, semantics, block.meaning);
    return elements(found);
}

Value Decoder::elements(int found) {
    const Block& block = found_[found].block;
    const auto* at = static_cast<const char*>(block.content);
    Value list{.form = Value::Form::kList, .isZero = allZero(at, block.bytes)};
    list.more = block.count - std::min(block.count, kMostElements);
    for (uint32_t i = 0; i < block.count - list.more; ++i) {
        list.members.push_back({"", single(found, at, *block.element, {}, block.meaning)});
        at += block.semantics->chainedBy != nullptr
                  ? chainedBytes(at, *block.element, *block.semantics)
                  : block.element->size;
    }
    return list;
}

Value Decoder::single(int found, const char* at, const Type& type, const Semantics& semantics,
                      Meaning meaning) {
    const Block& block = found_[found].block;
    if (type.kind == Kind::kRecord) {
        Fields fields = Fields::kAll;
        if (block.written && block.read && hasOutputs(*type.record))
            fields = phase_ == Phase::kBefore ? Fields::kInputs : Fields::kOutputs;
        return record(found, at, type, fields);
    }
    if (type.kind == Kind::kPointer) {
        Word address;
        std::memcpy(&address, at, sizeof address);
        return pointer(address, type, semantics, {found, 0, 0});
    }
    return integer(at, type, meaning);
}

Value Decoder::record(int found, const char* at, const Type& type, Fields fields) {
    const Record& record = *type.record;
    const Block& block = found_[found].block;
    const auto start = static_cast<uint32_t>(at - static_cast<const char*>(block.content));
    Value value{.form = Value::Form::kRecord, .record = &record, .isZero = true};
    const auto functions = static_cast<size_t>(std::ranges::count_if(
        record.fields, [](const Field& field) { return isFunctionPointer(*field.type); }));
    int64_t functionsGiven = 0;
    const auto count = static_cast<uint16_t>(record.fields.size());
    for (uint16_t place = 0; place < count; ++place) {
        const Field& one = record.fields[place];
        if (!isTold(one, told_) || start + one.offset + one.type->size > block.bytes) continue;
        if (fields == Fields::kInputs && one.semantics.out) continue;
        if (functions > kFunctionsNamed && isFunctionPointer(*one.type)) {
            functionsGiven += allZero(at + one.offset, sizeof(Word)) ? 0 : 1;
            continue;
        }
        const Type& inner = one.type->kind == Kind::kArray ? *one.type->target : *one.type;
        const bool isInner = inner.kind == Kind::kRecord && hasOutputs(*inner.record);
        if (fields == Fields::kOutputs && !one.semantics.out && !isInner) continue;
        Value told = field(found, at, record, place, one.semantics.out ? Fields::kAll : fields);
        value.isZero &= told.isZero;
        value.members.push_back({std::string(one.name), std::move(told)});
    }
    if (functions > kFunctionsNamed) {
        value.isZero &= functionsGiven == 0;
        value.members.push_back({"functions", Value{.form = Value::Form::kNumber,
                                                    .text = std::to_string(functionsGiven),
                                                    .number = functionsGiven,
                                                    .isZero = functionsGiven == 0}});
    }
    return value;
}

// An address of the family that another field of its record says.
Value Decoder::address(const char* at, const Record& record, const Field& field) const {
    const Field& family = record.fields[field.semantics.countIndex];
    const char* const bytes = at + field.offset;
    uint32_t first;
    std::memcpy(&first, bytes, sizeof first);
    const bool isZero = allZero(bytes, field.type->size);
    if (isIpv4(bytes, integerAt(at + family.offset, *family.type)))
        return word(integerText(first, Meaning::kIpv4, 4), isZero);
    return word(ipv6Text(bytes), isZero);
}

Value Decoder::field(int found, const char* at, const Record& record, uint16_t place,
                     Fields fields) {
    const Field& field = record.fields[place];
    const Type& type = *field.type;
    const char* const bytes = at + field.offset;
    const Meaning meaning = meaningOf(field.semantics, type);
    if (meaning == Meaning::kAddress) return address(at, record, field);
    if (meaning == Meaning::kIpv6 && type.size == 16)
        return word(ipv6Text(bytes), allZero(bytes, 16));
    switch (type.kind) {
        case Kind::kRecord:
            return this->record(found, bytes, type, fields);
        case Kind::kPointer: {
            Word address;
            std::memcpy(&address, bytes, sizeof address);
            return pointer(address, type, field.semantics, {found, place, 0});
        }
        case Kind::kArray: {
            const bool isTail = type.count == 0;
            return array(found, bytes, type, isTail ? found_[found].block.tailCount : type.count,
                         field.semantics, fields);
        }
        default:
            return integer(bytes, type, meaning);
    }
}

Value Decoder::array(int found, const char* at, const Type& type, uint32_t count,
                     const Semantics& semantics, Fields fields) {
    const Type& element = *type.target;
    const uint32_t bytes = count * element.size;
    const bool isZero = allZero(at, bytes);
    const Meaning meaning = meaningOf(semantics, element);
    if (meaning == Meaning::kText) return text({at, strnlen(at, bytes)});
    if (meaning == Meaning::kMac && element.size == 1) return word(macAddressText(at), isZero);
    if (element.size == 1) return word(bytesText(at, bytes), isZero);
    Value list{.form = Value::Form::kList, .isZero = isZero};
    list.more = count - std::min(count, kMostElements);
    for (uint32_t i = 0; i < count - list.more; ++i, at += element.size) {
        Value one = element.kind == Kind::kRecord ? record(found, at, element, fields)
                    : element.kind == Kind::kArray
                        ? array(found, at, element, element.count, semantics, fields)
                        : integer(at, element, meaning);
        list.members.push_back({"", std::move(one)});
    }
    return list;
}

}  // namespace

const Value* Value::member(std::string_view name) const {
    const auto found = std::ranges::find(members, name, &Member::name);
    return found != members.end() ? &found->value : nullptr;
}

std::vector<Member> argumentsOf(const CallWords& call, const Memory& memory, Handles& handles) {
    return Decoder(call, Phase::kBefore, memory, handles).arguments();
}

std::vector<Member> resultsOf(const CallWords& call, const Memory& memory, Handles& handles,
                              Told told) {
    return Decoder(call, Phase::kAfter, memory, handles, told).results();
}

}  // namespace pcsim::probe
