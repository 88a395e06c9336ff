// Events as the steps of a script, and the tables that the script needs.
#include "probe/tools/exporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "probe/tools/c_text.h"

namespace pcsim::probe {
namespace {

// The fields of a variable that is a pointer.
constexpr std::string_view kHandle =
    "extern const struct field handle[];\n"
    "const struct field handle[] = {{0, 4, 'p', \"handle\"}, {0, 0, 0, 0}};\n\n";

bool inSymbol(const Recording& recording, uint32_t address) {
    return std::ranges::any_of(recording.symbols, [&](const RecordedSymbol& symbol) {
        return !symbol.function && address - symbol.address < std::max(symbol.size, 4u);
    });
}

const RecordedBlock* blockAt(std::span<const RecordedBlock> blocks, uint32_t address) {
    const auto found = std::ranges::find(blocks, address, &RecordedBlock::address);
    return found == blocks.end() ? nullptr : &*found;
}

bool isFree(const Semantics* semantics) {
    return semantics != nullptr && (semantics->varies || semantics->ignored);
}

// What a node's links hold is the tree's own business.
bool isLinks(const std::string& path) {
    return path.ends_with("node.links") || path.find(".links.") != std::string::npos ||
           path.starts_with("node.links");
}

bool isOfHal(const RecordedSite& site, const Type& pointer, const RecordedBlock* behind) {
    if (behind != nullptr) return !behind->platform;
    return site.side == Side::kPlatform || pointer.target->owner == Owner::kHost;
}

std::string hex(uint32_t value) {
    return fmt::format("0x{:x}", value);
}

std::span<const uint8_t> withoutZeros(std::span<const uint8_t> bytes) {
    while (!bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
    return bytes;
}

}  // namespace

Exporter::Exporter(const Recording& recording)
    : recording_(recording), tree_(recording), teller_(recording) {}

std::string Exporter::text(const std::string& name) {
    size_t state = 0;
    const auto& events = recording_.events;
    for (const Unit& unit : tree_.units()) {
        for (; state < unit.events.front(); ++state)
            if (events[state].kind == Event::Kind::kState) give(events[state], true);
        for (const uint32_t index : unit.events) event(index, index == unit.events.front());
    }
    return fmt::format(
        "/* {} calls of {}, made again: compile it as\n"
        " *\n"
        " *     gcc -m32 -Wall -Wextra -rdynamic -I INCLUDE host.c -o host -ldl\n"
        " *\n"
        " * with the folder of <pcsim/...>, and run it with the library's path. It ends with 0 "
        "when\n"
        " * all is as recorded, and with 1 and the differences when not. */\n{}\n{}\n{}\n{}\n{}"
        "\n/* Calls of the HAL (CALL), and what the library did during each. */\n"
        "static const struct step script[] = {{\n{}    END,\n}};\n\n"
        "int main(int argc, char** argv) {{\n"
        "    const struct recording what = {{script, segments, symbols}};\n"
        "    if (argc == 2) return playAll(&what, argv[1]);\n"
        "    fprintf(stderr, \"expected the library's path\\n\");\n"
        "    return 2;\n}}\n",
        recording_.calls(), cComment(name), exportedHost(), functionsText(), segmentsText(),
        variablesText() + symbolsText(), std::string(kHandle) + layouts_, script_);
}

void Exporter::event(size_t index, bool outermost) {
    const Event& event = recording_.events[index];
    const bool call = event.kind == Event::Kind::kCall;
    const bool returns = event.kind == Event::Kind::kReturn;
    if ((call || returns) && isOfTree(recording_.siteOf(event).name)) {
        treeDepth_ = call ? treeDepth_ + 1 : treeDepth_ - 1;
        return;
    }
    if (treeDepth_ != 0 && !outermost) return;
    treeDepth_ = 0;
    if (event.kind == Event::Kind::kPrint) script_ += "    PRINT(" + cLiteral(event.text) + "),\n";
    if (call) called(index);
    if (returns) returned(event);
}

char Exporter::kindOf(const Type& type, const Semantics* semantics, Meaning meaning) {
    if (isFree(semantics)) return '-';
    switch (type.kind) {
        case Kind::kVoid:
            return '-';
        case Kind::kPointer:
            if (type.target->kind == Kind::kFunction) return 'f';
            return type.target->owner == Owner::kPlatform ? 'h' : 'p';
        case Kind::kSigned:
            return meaning == Meaning::kHex ? 'x' : 'd';
        case Kind::kUnsigned:
            return meaning == Meaning::kHex ? 'x' : 'u';
        default:
            return meaning == Meaning::kText ? 's' : 'b';
    }
}

void Exporter::noteFunction(const Type& type, uint32_t value) {
    if (value == 0 || type.kind != Kind::kPointer || type.target->kind != Kind::kFunction) return;
    functions_.insert(value);
    functionTypes_[value] = type.target;
}

std::string Exporter::argumentsOf(const Event& event, std::string& kinds) {
    const Function* const function = recording_.siteOf(event).function;
    std::string text;
    if (function == nullptr || function->stub) return "0";
    const size_t count = std::min(function->parameters.size(), event.arguments.size());
    for (size_t index = 0; index < count; ++index) {
        const Parameter& parameter = function->parameters[index];
        const uint32_t value = event.arguments[index];
        char kind = kindOf(*parameter.type, &parameter.semantics, parameter.semantics.meaning);
        // A void pointer may be a number; what isn't looked at may be anything.
        const RecordedBlock* const behind = blockAt(event.blocks, value);
        if (!parameter.semantics.cases.empty() && behind == nullptr) kind = 'u';
        // What the library passes is its own unless it is known to be the HAL's.
        if (kind == 'p' && !isOfHal(recording_.siteOf(event), *parameter.type, behind)) kind = 'h';
        if (parameter.semantics.meaning == Meaning::kArguments) kind = '-';
        noteFunction(*parameter.type, value);
        kinds += kind;
        text +=
            (text.empty() ? "" : ", ") +
            (kind == 'p' || kind == 'f' || value > 0xFFFF ? hex(value) : fmt::format("{}", value));
    }
    return text.empty() ? "0" : text;
}

void Exporter::called(size_t index) {
    const Event& event = recording_.events[index];
    const RecordedSite& site = recording_.siteOf(event);
    const bool ofPlatform = site.side == Side::kPlatform;
    if (ofPlatform) give(event, false);
    std::string kinds;
    const std::string arguments = argumentsOf(event, kinds);
    const Operation* const operation = operationNamed(site.name);
    const std::string name =
        ofPlatform || operation != nullptr ? site.name : fmt::format("callback_{}", event.site);
    const bool nameless = ofPlatform && operation == nullptr;
    script_ += fmt::format(
        "{}    /* {} */\n    {}({}, \"{}\", {}\"{}\", {}),\n",
        ofPlatform && event.depth == 0 ? "\n" : "", cComment(site.name + teller_.arguments(index)),
        nameless     ? "CALLBACK"
        : ofPlatform ? "CALL"
                     : "ASKED",
        event.call, name, nameless ? hex(site.target) + ", " : "", kinds, arguments);
    if (!ofPlatform) check(event);
}

void Exporter::returned(const Event& event) {
    const RecordedSite& site = recording_.siteOf(event);
    const bool ofPlatform = site.side == Side::kPlatform;
    if (!ofPlatform) give(event, true);
    char kind = '-';
    if (site.function != nullptr)
        kind = kindOf(*site.function->result, &site.function->resultSemantics,
                      site.function->resultSemantics.meaning);
    const auto value = static_cast<uint32_t>(event.result);
    const RecordedBlock* const behind = blockAt(event.blocks, value);
    if (kind == 'p' && behind != nullptr && behind->platform) kind = 'h';
    const bool pointer = kind == 'p' || kind == 'h' || kind == 'f';
    script_ += fmt::format("    {}({}, '{}', {}),\n", ofPlatform ? "RETURN" : "ANSWER", event.call,
                           ofPlatform || pointer ? kind : 'u', hex(value));
    if (ofPlatform) check(event);
}

std::string Exporter::fieldsOf(const RecordedBlock& block, bool checked) {
    const RecordedPath& path = recording_.paths[block.path];
    const auto size = static_cast<uint32_t>(block.bytes.size());
    std::string rows;
    for (const Datum& leaf : dataIn(path, block)) {
        std::string name = leaf.path.empty() ? path.text : path.text + "." + leaf.path;
        char kind = 'b';
        if (leaf.type != nullptr)
            kind = kindOf(*leaf.type, leaf.semantics, leaf.meaning);
        else if (leaf.meaning == Meaning::kText || leaf.meaning == Meaning::kFormat)
            kind = 's';
        // What a HAL puts into memory is put there whole; pointers are what they are for.
        const bool pointer = leaf.isPointer() && !isLinks(name);
        if (!checked && !pointer) kind = 'b';
        if (!checked && pointer) kind = leaf.isFunction() ? 'f' : leaf.isHandle() ? 'h' : 'p';
        if (checked && isLinks(name)) kind = '-';
        if (pointer) noteFunction(*leaf.type, wordAt(block.bytes, leaf.offset));
        rows += fmt::format("    {{{}, {}, '{}', \"{}\"}},\n", leaf.offset, leaf.size, kind, name);
    }
    const std::pair<std::string, uint32_t> key{rows, size};
    std::string& name = layoutNames_[key];
    if (name.empty()) {
        name = fmt::format("fields_{}", layoutNames_.size());
        layouts_ += fmt::format(
            "static const struct field {}[] = {{\n{}    {{0, 0, 0, 0}},\n}};\n\n", name, rows);
    }
    return name;
}

bool Exporter::isKnown(const RecordedBlock& block) {
    for (size_t done = 0; done < block.bytes.size();) {
        const auto known = image_.at(block.address + static_cast<uint32_t>(done),
                                     static_cast<uint32_t>(block.bytes.size() - done));
        if (known.empty() || !std::equal(known.begin(), known.end(), &block.bytes[done]))
            return false;
        done += known.size();
    }
    return true;
}

void Exporter::noteBytes(const RecordedBlock& block) {
    for (size_t done = 0; done < block.bytes.size();) {
        const auto known = image_.at(block.address + static_cast<uint32_t>(done),
                                     static_cast<uint32_t>(block.bytes.size() - done));
        if (known.empty()) return;
        std::copy_n(&block.bytes[done], known.size(), known.begin());
        done += known.size();
    }
}

void Exporter::giveBlock(const RecordedBlock& block, std::span<const RecordedBlock> all) {
    const bool ofLibrary = block.platform || inSymbol(recording_, block.address);
    if (block.bytes.empty() || (!ofLibrary && isKnown(block))) {
        if (!block.bytes.empty()) taken(block, all);
        return;
    }
    if (!ofLibrary) noteBytes(block);
    script_ += fmt::format("    MEMORY('{}', {}, {}, {}, {}),\n", block.platform ? 'h' : 'p',
                           hex(block.address), block.bytes.size(), fieldsOf(block, false),
                           cLiteral(withoutZeros(block.bytes)));
    taken(block, all);
}

// What passes to the library is given as a copy from malloc, again with every call.
void Exporter::taken(const RecordedBlock& block, std::span<const RecordedBlock> all) {
    for (const Datum& leaf : dataIn(recording_.paths[block.path], block)) {
        if (!leaf.isPointer() || leaf.semantics == nullptr || !leaf.semantics->taken) continue;
        const uint32_t value = wordAt(block.bytes, leaf.offset);
        const RecordedBlock* const behind = blockAt(all, value);
        if (value != 0 && behind != nullptr)
            script_ += fmt::format("    TAKEN({}, {}, {}),\n", hex(block.address + leaf.offset),
                                   hex(value), behind->bytes.size());
    }
}

void Exporter::give(const Event& event, bool platformToo) {
    // What others point at is there before them.
    for (size_t index = event.blocks.size(); index-- > 0;) {
        const RecordedBlock& block = event.blocks[index];
        if (block.platform && !platformToo) continue;
        // A variable that points at what is told with it.
        const uint32_t value = wordAt(block.bytes, 0);
        const bool handle = event.kind == Event::Kind::kState && block.path == 0 &&
                            block.bytes.size() == 4 && blockAt(event.blocks, value) != nullptr;
        if (handle)
            script_ += fmt::format("    MEMORY('p', {}, 4, handle, {}),\n", hex(block.address),
                                   cLiteral(block.bytes));
        else
            giveBlock(block, event.blocks);
    }
}

void Exporter::check(const Event& event) {
    const bool returns = event.kind == Event::Kind::kReturn;
    for (const RecordedBlock& block : event.blocks) {
        const RecordedPath& path = recording_.paths[block.path];
        // The HAL's memory is what it is; things without fields are never looked into.
        const bool opaque = path.type != nullptr && path.type->owner == Owner::kPlatform &&
                            path.type->kind != Kind::kRecord;
        if ((!returns && !block.platform) || block.bytes.empty() || opaque) continue;
        if (isFree(semanticsOf(path))) continue;
        // Of the C library's requests, what they are about is compared.
        const bool ofSystem = recording_.siteOf(event).side == Side::kSystem;
        if (ofSystem && path.meaning != Meaning::kText) continue;
        script_ += fmt::format("    CHECK('{}', {}, {}, {}, {}),\n", block.platform ? 'h' : 'p',
                               hex(block.address), block.bytes.size(), fieldsOf(block, true),
                               cLiteral(withoutZeros(block.bytes)));
        if (!block.platform) noteBytes(block);
    }
}

}  // namespace pcsim::probe
