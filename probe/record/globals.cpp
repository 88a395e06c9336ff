// Which variables those are, and how they are compared.
#include "probe/record/globals.h"

#include <dlfcn.h>

#include <cstring>

#include "pcsim/ems.h"

namespace pcsim::probe {
namespace {

// Beside the variables that are the HAL's own. What the library alone writes is not among them.
constexpr std::string_view kWrittenByHal[] = {
    "_ems_HAL_Card_ComponentHandle",
    "_ems_HAL_FDB_ComponentHandle",
    "_ems_HAL_Port_ComponentHandle",
    "_ems_HAL_Sys_ComponentHandle",
    "_ems_HAL_VLAN_ComponentHandle",
    "_ems_trace_ComponentHandle",
    "mcLogMess",
    "pcSimCardPresentMask",
    "pcSimFanPresentMask",
    "pcSimPowerSupplyPresentMask",
    "pcSimDeviceState",
};

bool isWrittenByHal(const Variable& variable) {
    if (variable.side == Side::kHost) return true;
    for (const std::string_view name : kWrittenByHal)
        if (name == variable.name) return true;
    return false;
}

// A definition of the HAL's own is in force for the library as well.
void* addressOf(void* handle, const char* name) {
    void* const global = dlsym(RTLD_DEFAULT, name);
    return global != nullptr ? global : dlsym(handle, name);
}

uint32_t hashOf(const void* bytes, uint32_t size) {
    uint32_t hash = 0x811C9DC5u;
    for (uint32_t index = 0; index < size; ++index)
        hash = (hash ^ static_cast<const uint8_t*>(bytes)[index]) * 0x01000193u;
    return hash;
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
        if (!isWrittenByHal(variable) || variable.type->size == 0) continue;
        Global& global = globals_.emplace_back();
        global.variable = &variable;
        global.address = address;
        global.parameter = {variable.name, variable.type, {}};
        global.function = {};
        global.function.name = variable.name;
    }
    // The functions' parameters are beside them, and the globals stay where they are from now on.
    for (Global& global : globals_) global.function.parameters = {&global.parameter, 1};
}

bool Globals::isComponent(const Global& global) {
    return global.variable->type->kind == Kind::kPointer;
}

Globals::Component Globals::componentOf(const Global& global) {
    Component known;
    std::memcpy(&known.record, pointer(global.address), sizeof known.record);
    if (known.record == 0) return known;
    const auto& component = *static_cast<const HalEmsComponent*>(pointer(known.record));
    known.level = reinterpret_cast<uint32_t>(component.level);
    known.counters = reinterpret_cast<uint32_t>(component.counters);
    known.mask = reinterpret_cast<uint32_t>(component.enabledMask);
    if (component.level != nullptr) known.levelValue = component.level->level;
    if (component.enabledMask != nullptr) known.maskValue = *component.enabledMask;
    return known;
}

uint32_t Globals::valueOf(const Global& global) {
    const uint32_t size = global.variable->type->size;
    uint32_t value = 0;
    if (size > sizeof value) return hashOf(pointer(global.address), size);
    std::memcpy(&value, pointer(global.address), size);
    return value;
}

void Globals::record(Global& global, Encoder& encoder, PathNumbers& paths) {
    encoder.beginState(global.variable->name);
    encoder.block(
        0, global.address,
        {static_cast<const uint8_t*>(pointer(global.address)), global.variable->type->size},
        format::kBlockPlatform);
    if (isComponent(global)) {
        const CallWords words{global.function, &global.component.record, 1};
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
        if (isComponent(global)) {
            const Component now = componentOf(global);
            if (now == global.component) continue;
            global.component = now;
        } else {
            const uint32_t now = valueOf(global);
            if (now == global.value) continue;
            global.value = now;
        }
        record(global, encoder, paths);
    }
}

void Globals::note() {
    for (Global& global : globals_) {
        if (isComponent(global))
            global.component = componentOf(global);
        else
            global.value = valueOf(global);
    }
}

}  // namespace pcsim::probe
