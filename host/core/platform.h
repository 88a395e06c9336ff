// The platform as the host sees it: the library, loaded at run time, and the chain of tables that
// it fills. The probe stands in between, in both directions: the words of the tables are its stubs,
// so it counts all calls, traces them, and answers some of them when a rule says so.
//
// What the library prints while a call runs is caught here and handed on as text.
#ifndef PCSIM_HOST_CORE_PLATFORM_H
#define PCSIM_HOST_CORE_PLATFORM_H

#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>

#include "console/error.h"
#include "host/core/optable.h"
#include "pcsim/card.h"
#include "pcsim/card_slot.h"
#include "pcsim/env.h"
#include "pcsim/family.h"
#include "pcsim/system.h"
#include "probe/ledger/ledger.h"
#include "probe/record/recorder.h"
#include "probe/rules/rules.h"
#include "probe/trace/trace.h"

namespace pcsim::host {

class Platform {
public:
    static constexpr int kSlots = 11;  // slots 0 to 10

    Platform();
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    // Loads the library and fills the system-operations table. Throws a CommandError when the
    // library is missing, of the wrong class, or has no entry point.
    void load(const std::string& path);
    const std::string& path() const { return path_; }

    OpTable<HalSystemOps> system{"system"};
    OpTable<HalCardDbOps> cardDb{"cardDb"};
    OpTable<HalFamilyOps> family{"family"};
    OpTable<HalEnvDb> fanDb{"fanDb"};
    OpTable<HalFanSlotDb> fanSlot{"fanSlot"};
    OpTable<HalEnvDb> powerSupplyDb{"psDb"};
    OpTable<HalPSSlotDb> powerSupplySlot{"psSlot"};
    // One per slot, filled when the card manager sets the slot up.
    OpTable<HalCardSlotOps>& slot(int number);

    // The database records around the operations.
    HalCardDb cardDbRecord{};
    const HalCardSlotDb& slotRecord(int number);

    // Fills the card database and the record of one slot.
    void setUpCards();
    void setUpSlot(int number);

    // Calls the operation in 'word' of 'table'. Throws a CommandError when the word is null.
    template <typename Ops, typename Function, typename... Arguments>
    auto call(OpTable<Ops>& table, Function* Ops::*word, Arguments... arguments);

    // What looks at the calls, from before the library is loaded.
    probe::Rules rules;
    probe::Trace trace;
    probe::Ledger ledger;
    probe::Recorder recorder;

    // Whether anybody looks at calls, and would miss those that are not made.
    bool isWatched() const;

    // Name of the exported operation at an address, or behind its stub; "-" for null.
    static std::string operationName(const void* function);

    // Receives each piece of text that the library prints.
    std::function<void(const std::string&)> onPrint;

    // Hands over what has been printed since the last call.
    void drainPrints();

    // The presence mask of cards, which module control sets and no operation answers whole; those
    // of fans and power supplies, and the states that devices report next, the same.
    uint32_t cardPresentMask() const;
    uint32_t fanPresentMask() const { return *fanPresentMask_; }
    uint32_t powerSupplyPresentMask() const { return *powerSupplyPresentMask_; }
    uint32_t deviceState(uint32_t device) const { return deviceStates_[device]; }

private:
    [[noreturn]] static void failEmpty(const char* table, size_t word);

    void captureStandardOutput();
    static ssize_t write(void* cookie, const char* text, size_t size);

    std::array<std::unique_ptr<OpTable<HalCardSlotOps>>, kSlots> slots_;
    std::array<HalCardSlotDb, kSlots> slotRecords_{};
    std::string path_;
    std::string printed_;
    FILE* originalStdout_ = nullptr;
    FILE* captured_ = nullptr;
    // The library's.
    const uint32_t* cardPresentMask_ = nullptr;
    const uint32_t* fanPresentMask_ = nullptr;
    const uint32_t* powerSupplyPresentMask_ = nullptr;
    const uint32_t* deviceStates_ = nullptr;
};

namespace detail {

// How a word is called: with its own parameters' types, or, when it takes whatever comes, with
// those of the arguments.
template <typename Function>
struct Signature;
template <typename Returned, typename... Parameters>
struct Signature<Returned(Parameters...)> {
    using Result = Returned;
    template <typename... Arguments>
    static Result invoke(Returned (*operation)(Parameters...), Arguments... arguments) {
        return operation(static_cast<Parameters>(arguments)...);
    }
};
template <typename Returned>
struct Signature<Returned(...)> {
    using Result = Returned;
    template <typename... Arguments>
    static Result invoke(Returned (*operation)(...), Arguments... arguments) {
        return operation(arguments...);
    }
};

}  // namespace detail

template <typename Ops, typename Function, typename... Arguments>
auto Platform::call(OpTable<Ops>& table, Function* Ops::*word, Arguments... arguments) {
    using Signature = detail::Signature<Function>;
    using Result = typename Signature::Result;
    Function* const operation = table.ops.*word;
    if (operation == nullptr)
        failEmpty(table.name,
                  static_cast<size_t>(reinterpret_cast<const char*>(&(table.ops.*word)) -
                                      reinterpret_cast<const char*>(&table.ops)) /
                      sizeof(void*));
    if constexpr (std::is_void_v<Result>) {
        Signature::invoke(operation, arguments...);
        drainPrints();
    } else {
        const Result result = Signature::invoke(operation, arguments...);
        drainPrints();
        return result;
    }
}

}  // namespace pcsim::host

#endif
