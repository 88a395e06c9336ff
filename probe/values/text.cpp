// Writing trees of values as text.
#include "probe/values/text.h"

#include <algorithm>

#include "probe/values/forms.h"
#include "probe/values/shorthands.h"

namespace pcsim::probe {

namespace {

std::string textOf(const Value& value);

const Shorthand* shorthandOf(const Value& value) {
    return value.form == Value::Form::kRecord ? probe::shorthandOf(value.record->name) : nullptr;
}

void add(std::string& text, const std::string& part, const char* separator = " ") {
    if (part.empty()) return;
    if (!text.empty()) text += separator;
    text += part;
}

std::string joined(const ShortItem& item, const Value& first, const Value* second) {
    if (second == nullptr) return textOf(first);
    switch (item.joined) {
        case Joined::kMask:
            return prefixText(static_cast<uint32_t>(first.number),
                              static_cast<uint32_t>(second->number));
        case Joined::kLength:
            return first.text + "/" + second->text;
        case Joined::kSlotPort:
            return first.text + ":" + second->text;
        default:
            return textOf(first);
    }
}

std::string moreOf(const Value& list) {
    return list.more != 0 ? "... " + std::to_string(list.more) + " more" : "";
}

// Elements one after the other, each in its short form.
std::string inARow(const Value& list) {
    std::string text;
    for (const Member& element : list.members) add(text, textOf(element.value));
    add(text, moreOf(list));
    return text;
}

std::string shortText(const Value& record, const Shorthand& shorthand) {
    std::string text;
    for (const ShortItem& item : shorthand.items) {
        const Value* const first = record.member(item.field);
        const Value* const second = item.second != nullptr ? record.member(item.second) : nullptr;
        if (first == nullptr) continue;  // behind what is looked at
        if (!item.always && first->isZero && (second == nullptr || second->isZero)) continue;
        const bool row = first->form == Value::Form::kList;
        const std::string told = row ? inARow(*first) : joined(item, *first, second);
        if (told.empty()) continue;
        add(text, item.word);
        add(text, told);
    }
    return text;
}

std::string recordText(const Value& record) {
    std::string text;
    for (const Member& member : record.members) {
        if (member.value.isZero) continue;
        const std::string told = textOf(member.value);
        add(text, shorthandOf(member.value) != nullptr ? told : member.name + " " + told, ", ");
    }
    return "{" + text + "}";
}

std::string listText(const Value& list) {
    size_t told = list.members.size();
    while (told > 0 && list.members[told - 1].value.isZero) --told;
    const size_t zeros = list.members.size() - told;
    if (zeros < 3) told = list.members.size();  // as short as saying that they are there
    std::string text;
    for (size_t i = 0; i < told; ++i) {
        const Value& element = list.members[i].value;
        add(text, textOf(element), element.form == Value::Form::kRecord ? ", " : " ");
    }
    if (told != list.members.size()) add(text, std::to_string(zeros) + " zero");
    add(text, moreOf(list));
    return "[" + text + "]";
}

std::string textOf(const Value& value) {
    switch (value.form) {
        case Value::Form::kText:
            return probe::quoted(value.text);
        case Value::Form::kList:
            return listText(value);
        case Value::Form::kRecord:
            if (const Shorthand* shorthand = shorthandOf(value))
                return shortText(value, *shorthand);
            return recordText(value);
        case Value::Form::kNull:
            return "null";
        default:
            return value.text;
    }
}

}  // namespace

std::string textOf(const std::vector<Member>& members) {
    std::string text;
    for (const Member& member : members) {
        if (member.name.starts_with("zero") && member.value.isZero) continue;  // as ever
        if (member.name != "result" && shorthandOf(member.value) == nullptr) add(text, member.name);
        add(text, textOf(member.value));
    }
    return text;
}

std::string argumentsText(const CallWords& call, const Memory& memory, Handles& handles) {
    return textOf(argumentsOf(call, memory, handles));
}

std::string resultText(const CallWords& call, const Memory& memory, Handles& handles) {
    return textOf(resultsOf(call, memory, handles));
}

}  // namespace pcsim::probe
