// Every word of every operation table, with numbers that no HAL would pass and records of exactly
// the size that their contracts name. What comes of it is for the sanitizers to say: there is no
// model.
//
// Left out are what others fuzz with models and what stops the process by contract: the removal of
// an adjacency whose host route the HAL has made unlike any of its own.
#include <cstring>
#include <string>
#include <vector>

#include "pcsim/card_slot.h"
#include "pcsim/env.h"
#include "pcsim/family.h"
#include "pcsim/system.h"
#include "probe/interface/model.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/input.h"
#include "tests/fuzz/support/library.h"
#include "tests/fuzz/tables/maker.h"

namespace {

using namespace pcsim::fuzz;
namespace probe = pcsim::probe;

constexpr int kMaxOperations = 24;
constexpr const char kFile[] =
    "one\ntwo\n  eth1: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n  eth2:1 2 3\n";

struct Tables {
    HalSystemOps system;
    HalCardDb cards;
    HalCardSlotDb cardSlot;
    HalFamilyOps family;
    HalFanDb fans;
    HalFanSlotDb fanSlot;
    HalPowerSupplyDb supplies;
    HalPSSlotDb supplySlot;
};
Tables tables;

// A word: where it stands, and what it takes.
struct Word {
    const void* place;
    const probe::Function* function;
    const char* name;
};

void addWords(std::vector<Word>& words, const probe::Record& record, const void* at) {
    for (const probe::Field& field : record.fields) {
        const auto* const place = static_cast<const uint8_t*>(at) + field.offset;
        if (field.type->kind == probe::Kind::kRecord) addWords(words, *field.type->record, place);
        if (field.type->kind == probe::Kind::kPointer &&
            field.type->target->kind == probe::Kind::kFunction)
            words.push_back({place, field.type->target->function, field.name.data()});
    }
}

const std::vector<Word>& words() {
    static const std::vector<Word> all = [] {
        std::vector<Word> found;
        addWords(found, *probe::recordNamed("HalSystemOps"), &tables.system);
        addWords(found, *probe::recordNamed("HalCardDb"), &tables.cards);
        addWords(found, *probe::recordNamed("HalCardSlotDb"), &tables.cardSlot);
        addWords(found, *probe::recordNamed("HalFamilyOps"), &tables.family);
        addWords(found, *probe::recordNamed("HalEnvDb"), &tables.fans);
        addWords(found, *probe::recordNamed("HalFanSlotDb"), &tables.fanSlot);
        addWords(found, *probe::recordNamed("HalEnvDb"), &tables.supplies);
        addWords(found, *probe::recordNamed("HalPSSlotDb"), &tables.supplySlot);
        FUZZ_CHECK(found.size() > 200);
        return found;
    }();
    return all;
}

bool isLeftOut(const Word& word) {
    for (const char* name : {"HalIpAdjRemoveFn", "HalFdbInitFn", "HalFdbCleanupFn", "HalFdbDumpFn"})
        if (word.function->name == name) return true;
    return false;
}

// As a HAL finds them, one after the other.
void setUp(Input& input) {
    tables = {};
    FUZZ_SAME(platformSystemInit(&tables.system), 0);
    tables.system.cardDBSetup(&tables.cards);
    tables.system.cardSlotDBSetup(static_cast<int32_t>(input.below(11)), &tables.cardSlot);
    tables.system.fanDBSetup(&tables.fans);
    tables.system.fanSlotDBSetup(input.below(8), &tables.fanSlot);
    tables.system.psDBSetup(&tables.supplies);
    tables.system.psSlotDBSetup(input.below(8), &tables.supplySlot);
    FUZZ_SAME(pcSimFamilyDBSetup(1, &tables.family), 0);
    HalFdbEntry* table = nullptr;
    FUZZ_SAME(pcSimPCFamFdbInit(&table), 0);
}

// Eight words, of which an operation takes what it has parameters for.
void call(const Word& word, Input& input) {
    void* target = nullptr;
    std::memcpy(&target, word.place, sizeof target);
    if (target == nullptr || isLeftOut(word)) return;
    Maker maker(input);
    std::vector<uint32_t> w = maker.arguments(*word.function);
    FUZZ_CHECK(w.size() <= 8);
    w.resize(8);
    using Any =
        uint32_t(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t);
    static_cast<void>(
        reinterpret_cast<Any*>(target)(w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]));
    // What it has had scheduled, and what that has.
    for (int round = 0; round < 4 && !host().tasks.empty(); ++round) {
        const std::vector<Task> tasks = host().tasks;
        host().tasks.clear();
        for (const Task& task : tasks)
            static_cast<void>(task.function(task.argument1, task.argument2));
    }
    host().tasks.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const std::string file = kFile;
    static HalVlanIf vlanIfs[3];
    static HalPif pifs[4];
    freshLibrary();
    forgetHandles();
    Input input(bytes, size);
    const uint8_t how = input.byte();
    host().platformType = (how & 1) != 0 ? HAL_PLATFORM_CHASSIS : 1;
    host().primary = how >> 1 & 1;
    host().formatted = (how & 4) != 0;
    if ((how & 8) != 0) traceUpTo(6, 0xFF);
    library().file = (how & 16) != 0 ? &file : nullptr;
    const uint8_t answers = input.byte();
    library().ioctl = [answers](unsigned long request, void* argument) {
        if ((answers & 1) != 0) std::memset(static_cast<uint8_t*>(argument) + 22, answers, 2);
        return (answers + request) % 8 == 0 ? -1 : 0;
    };
    for (uint32_t i = 0; i < 3; ++i) {
        vlanIfs[i].instance = 10 + i;
        host().vlanIfs.push_back(&vlanIfs[i]);
    }
    for (uint32_t i = 0; i < 4; ++i) {
        pifs[i].slot = 1;
        pifs[i].port = static_cast<uint16_t>(i);
        pifs[i].instance = 0x10000 | i;
        host().pifs.push_back(&pifs[i]);
    }
    setUp(input);
    for (int i = 0; i < kMaxOperations && !input.ended(); ++i) {
        const Word& word = words()[input.half() % words().size()];
        call(word, input);
    }
    for (const Timer& timer : std::vector<Timer>(host().timers)) timer.callback(timer.argument);
    return 0;
}
