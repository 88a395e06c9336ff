// What stands around the script: the HAL's memory, its functions, and the library's by name.
#include <fmt/format.h>

#include <algorithm>

#include "probe/tools/exporter.h"

namespace pcsim::probe {
namespace {

// Of the C library's functions, those that bring something from outside.
constexpr std::string_view kSystem[] = {"close", "getenv", "ioctl",  "open",
                                        "pread", "rand",   "socket", "time"};

bool isAnswered(const Operation& operation) {
    if (operation.side == Side::kSystem)
        return std::ranges::find(kSystem, operation.name) != std::end(kSystem);
    return operation.side == Side::kHost && !isOfTree(operation.name) &&
           operation.name != "emsNotifyIncident";
}

struct Piece {
    uint32_t begin;
    uint32_t end;
};

// The memory of the HAL: what overlaps or touches is one piece.
std::vector<Piece> piecesOf(const Recording& recording) {
    std::vector<Piece> pieces;
    for (const Event& event : recording.events)
        for (const RecordedBlock& block : event.blocks)
            if (!block.platform && !block.bytes.empty())
                pieces.push_back(
                    {block.address, block.address + static_cast<uint32_t>(block.bytes.size())});
    std::ranges::sort(pieces, {}, &Piece::begin);
    std::vector<Piece> merged;
    for (const Piece& piece : pieces) {
        if (!merged.empty() && piece.begin <= merged.back().end)
            merged.back().end = std::max(merged.back().end, piece.end);
        else
            merged.push_back(piece);
    }
    return merged;
}

bool isInVariable(const Recording& recording, uint32_t address) {
    return std::ranges::any_of(recording.symbols, [&](const RecordedSymbol& symbol) {
        return !symbol.function && address - symbol.address < std::max(symbol.size, 4u);
    });
}

const Variable* variableNamed(std::string_view name) {
    const auto found = std::ranges::find(variables(), name, &Variable::name);
    return found == variables().end() ? nullptr : &*found;
}

}  // namespace

std::string Exporter::functionsText() const {
    std::string text;
    for (const Operation& operation : operations())
        if (isAnswered(operation))
            text +=
                fmt::format("HOST{}({})\n", operation.function->parameters.size(), operation.name);
    for (size_t index = 0; index < recording_.sites.size(); ++index) {
        const RecordedSite& site = recording_.sites[index];
        if (site.side == Side::kHost && operationNamed(site.name) == nullptr &&
            site.function != nullptr)
            text += fmt::format("/* {} */\nHOST{}(callback_{})\n", site.name,
                                site.function->parameters.size(), index);
    }
    return text;
}

std::string Exporter::segmentsText() {
    std::string memory, table;
    size_t number = 0;
    for (const Piece& piece : piecesOf(recording_)) {
        if (isInVariable(recording_, piece.begin)) continue;
        // Aligned as it was.
        const uint32_t before = piece.begin % 16;
        memory += fmt::format("static unsigned char memory_{}[{}] __attribute__((aligned(16)));\n",
                              number, piece.end - piece.begin + before);
        table += fmt::format("    {{0x{:x}, {}, memory_{} + {}}},\n", piece.begin,
                             piece.end - piece.begin, number, before);
        ++number;
    }
    return fmt::format("{}static const struct segment segments[] = {{\n{}    {{0, 0, 0}},\n}};\n",
                       memory, table);
}

std::string Exporter::variablesText() {
    std::string text;
    for (const RecordedSymbol& symbol : recording_.symbols) {
        const Variable* const variable = variableNamed(symbol.name);
        if (symbol.function || variable == nullptr || variable->side != Side::kHost) continue;
        if (variable->type->name == "HalEmsDescriptor")
            text += "struct HalEmsDescriptor {\n    unsigned char unused[64];\n};\n";
        text += fmt::format("{} {};\n", variable->type->name, variable->name);
    }
    return text;
}

std::string Exporter::symbolsText() {
    std::string rows;
    std::set<uint32_t> known;
    const auto add = [&](uint32_t address, uint32_t size, const std::string& name,
                         const std::string& here) {
        if (address == 0 || !known.insert(address).second) return;
        rows += fmt::format("    {{0x{:x}, {}, {}, {}}},\n", address, size, name, here);
    };
    for (size_t index = 0; index < recording_.sites.size(); ++index) {
        const RecordedSite& site = recording_.sites[index];
        const bool callback = site.side == Side::kHost && operationNamed(site.name) == nullptr &&
                              site.function != nullptr;
        if (callback)
            add(site.target, 1, "0", fmt::format("(void*)host_callback_{}", index));
        else if (site.side == Side::kPlatform && functions_.contains(site.target))
            add(site.target, 1, '"' + site.name + '"', "0");
    }
    for (const RecordedSymbol& symbol : recording_.symbols) {
        const Variable* const variable = variableNamed(symbol.name);
        const bool ours = variable != nullptr && variable->side == Side::kHost;
        if (!symbol.function)
            add(symbol.address, std::max(symbol.size, 4u), '"' + symbol.name + '"',
                ours ? "&" + symbol.name : "0");
        else if (functions_.contains(symbol.address))
            add(symbol.address, 1, '"' + symbol.name + '"', "0");
    }
    for (const auto& [address, type] : functionTypes_)
        if (type->function->name == "HalDumpPrintFn") add(address, 1, "0", "(void*)dumpPrint");
    return fmt::format("static const struct symbol symbols[] = {{\n{}    {{0, 0, 0, 0}},\n}};\n",
                       rows);
}

}  // namespace pcsim::probe
