// Texts of calls, and what they are about.
#include "probe/trace/lines.h"

#include <algorithm>
#include <optional>

#include "probe/values/blocks.h"
#include "probe/values/text.h"

namespace pcsim::probe {

namespace {

CallWords wordsOf(const Call& call) {
    return {*call.site.function, call.arguments, call.argumentWords, call.result};
}

// Looks for a place among numbers, those of one record or call after the other.
class Search {
public:
    explicit Search(const Place& place) : place_(place) {}

    void begin() { slot_.reset(); }

    void number(std::string_view name, Meaning meaning, uint32_t value) {
        switch (meaning) {
            case Meaning::kPort:
                port(value >> 16 & 0xFF, value & 0xFFFF);
                break;
            case Meaning::kPortKey:
                port(value >> 16, value & 0xFFFF);
                break;
            case Meaning::kSlot:
                slot_ = value;
                found = found || (!place_.isPort && value == place_.slot);
                break;
            default:
                // Ports are also told by two numbers, the slot first.
                if (slot_ && name == "port") port(*slot_, value);
        }
    }

    bool found = false;

private:
    void port(uint32_t slot, uint32_t number) {
        found = found || (slot == place_.slot && (!place_.isPort || number == place_.port));
    }

    Place place_;
    std::optional<uint32_t> slot_;
};

bool isNumber(const Type& type) {
    return (type.kind == Kind::kSigned || type.kind == Kind::kUnsigned) && type.size <= 4;
}

void look(const Record& record, const char* content, uint32_t bytes, Search& search) {
    search.begin();
    for (const Field& field : record.fields) {
        const Type& type = *field.type;
        const bool isArray = type.kind == Kind::kArray;
        const Type& element = isArray ? *type.target : type;
        const uint32_t count = isArray ? type.count : 1;
        for (uint32_t i = 0; i < count && field.offset + (i + 1) * element.size <= bytes; ++i) {
            const char* const there = content + field.offset + i * element.size;
            if (element.kind == Kind::kRecord)
                look(*element.record, there, element.size, search);
            else if (isNumber(element))
                search.number(field.name, meaningOf(field.semantics, element),
                              static_cast<uint32_t>(integerAt(there, element)));
        }
    }
}

}  // namespace

std::string callText(const Call& call, Handles& handles) {
    const std::string arguments = argumentsText(wordsOf(call), liveMemory(), handles);
    return arguments.empty() ? call.site.name : call.site.name + " " + arguments;
}

std::string answerText(const Call& call, Handles& handles) {
    const std::string result = resultText(wordsOf(call), liveMemory(), handles);
    return result.empty() ? "" : " -> " + result;
}

bool isAbout(const Call& call, const Place& place) {
    Search search(place);
    const auto parameters = call.site.function->parameters;
    search.begin();
    for (size_t i = 0; i < parameters.size() && i < call.argumentWords; ++i)
        if (isNumber(*parameters[i].type))
            search.number(parameters[i].name,
                          meaningOf(parameters[i].semantics, *parameters[i].type),
                          call.arguments[i]);
    visitBlocks(wordsOf(call), Phase::kBefore, liveMemory(), [&](const Block& block) {
        if (!block.read || block.content == nullptr) return;
        const auto* const content = static_cast<const char*>(block.content);
        const Type& element = *block.element;
        for (uint32_t i = 0; i < block.count && element.size != 0; ++i) {
            const char* const there = content + i * element.size;
            if (element.kind == Kind::kRecord)
                look(*element.record, there, element.size, search);
            else if (isNumber(element))
                search.number("", block.meaning, static_cast<uint32_t>(integerAt(there, element)));
        }
    });
    return search.found;
}

}  // namespace pcsim::probe
