// Which variables those are, and how they are compared.
#include "probe/record/globals.h"

#include <dlfcn.h>

#include <algorithm>
#include <string>

#include "pcsim/ems.h"

namespace pcsim::probe {
namespace {

// Variables of the library that the HAL may write; those behind the components the library changes
// itself, too. Others the library alone writes.
struct Shared {
    std::string_view name;
    bool ofPlatform;
};
constexpr Shared kWrittenByHal[] = {
    {"_ems_HAL_Card_ComponentHandle", false},
    {"_ems_HAL_FDB_ComponentHandle", false},
    {"_ems_HAL_Port_ComponentHandle", false},
    {"_ems_HAL_Sys_ComponentHandle", false},
    {"_ems_HAL_VLAN_ComponentHandle", false},
    {"mcLogMess", false},
    {"_ems_trace_ComponentHandle", true},
    {"pcSimCardPresentMask", true},
    {"pcSimFanPresentMask", true},
    {"pcSimPowerSupplyPresentMask", true},
    {"pcSimDeviceState", true},
};

const Shared* sharedOf(const Variable& variable) {
    static constexpr Shared kOfHal{"", false};
    if (variable.side == Side::kHost) return &kOfHal;
    for (const Shared& each : kWrittenByHal)
        if (each.name == variable.name) return &each;
    return nullptr;
}

// A definition of the HAL's own is in force for the library as well.
void* addressOf(void* handle, const char* name) {
    void* const global = dlsym(RTLD_DEFAULT, name);
    return global != nullptr ? global : dlsym(handle, name);
}

const void* pointer(uint32_t address) {
    return reinterpret_cast<const void*>(address);
}

}  // namespace

void Globals::find(void* handle, Encoder& encoder) {
    for (const Variable& variable : variables()) {
        void* const found = addressOf(handle, std::string(variable.name).c_str());
        if (found == nullptr) continue;
        const auto address = reinterpret_cast<uint32_t>(found);
        encoder.symbol({std::string(variable.name), address, variable.type->size, false});
        const Shared* const shared = sharedOf(variable);
        if (shared == nullptr || variable.type->size == 0) continue;
        Global& global = globals_.emplace_back();
        global.ofPlatform = shared->ofPlatform;
        global.variable = &variable;
        global.address = address;
        global.parameter = {variable.name, variable.type, {}};
        global.function = {};
        global.function.name = variable.name;
    }
    // The functions' parameters are beside them, and the globals stay where they are from now on.
    // What is zero at first needs no telling.
    for (Global& global : globals_) {
        global.function.parameters = {&global.parameter, 1};
        watch(global, global.address, global.variable->type->size);
        for (Word& word : global.words) word.value = 0;
    }
}

// Variables begin at words; what is behind the end of one that is shorter doesn't count.
void Globals::watch(Global& global, uint32_t address, uint32_t bytes) {
    for (uint32_t offset = 0; offset < bytes;) {
        const uint32_t place = (address + offset) & ~3u;
        const uint32_t skipped = address + offset - place;
        const uint32_t counted = std::min(4 - skipped, bytes - offset);
        const uint32_t mask = counted == 4 ? ~0u : ((1u << counted * 8) - 1) << skipped * 8;
        const auto* const word = static_cast<const uint32_t*>(pointer(place));
        global.words.push_back({word, mask, *word & mask});
        offset += counted;
    }
}

// The variable, and of a component what traces look at.
void Globals::watch(Global& global) {
    global.words.clear();
    watch(global, global.address, global.variable->type->size);
    if (global.variable->type->kind != Kind::kPointer || global.words[0].value == 0) return;
    const auto& component = *static_cast<const HalEmsComponent*>(pointer(global.words[0].value));
    watch(global, reinterpret_cast<uint32_t>(&component.level), 12);
    if (component.level != nullptr)
        watch(global, reinterpret_cast<uint32_t>(&component.level->level), 2);
    if (component.enabledMask != nullptr)
        watch(global, reinterpret_cast<uint32_t>(component.enabledMask), 1);
}

bool Globals::hasChanged(const Global& global) {
    for (const Word& word : global.words)
        if (word.now() != word.value) return true;
    return false;
}

void Globals::record(Global& global, Encoder& encoder, PathNumbers& paths) {
    encoder.beginState(global.variable->name);
    encoder.block(
        0, global.address,
        {static_cast<const uint8_t*>(pointer(global.address)), global.variable->type->size},
        format::kBlockPlatform);
    if (global.variable->type->kind == Kind::kPointer) {
        const CallWords words{global.function, &global.words[0].value, 1};
        visitBlocks(words, Phase::kBefore, liveMemory(), [&](const Block& block) {
            if (block.content == nullptr) return;
            encoder.block(paths.of(global.function, block, encoder), block.address,
                          {static_cast<const uint8_t*>(block.content), block.bytes}, 0);
        });
    }
    encoder.finish();
}

void Globals::record(Encoder& encoder, PathNumbers& paths) {
    for (Global& global : globals_) {
        if (!hasChanged(global)) continue;
        watch(global);
        record(global, encoder, paths);
    }
}

void Globals::note() {
    for (Global& global : globals_)
        if (global.ofPlatform && hasChanged(global)) watch(global);
}

}  // namespace pcsim::probe
