// The platform as the host sees it: the library, loaded at run time, and the chain of tables that
// it fills. Every call into the library goes through call(), so that one place counts, traces and
// answers in the library's stead when a script asks for a fault.
//
// What the library prints while a call runs is caught here and handed on as text.
#ifndef PCSIM_HOST_CORE_PLATFORM_H
#define PCSIM_HOST_CORE_PLATFORM_H

#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "console/error.h"
#include "host/core/optable.h"
#include "pcsim/card.h"
#include "pcsim/card_slot.h"
#include "pcsim/env.h"
#include "pcsim/family.h"
#include "pcsim/system.h"

namespace pcsim::host {

class Platform {
    TableInfo systemInfo_{"system", "HalSystemOps"},
        cardDbInfo_{"cardDb", "HalCardDb", offsetof(HalCardDb, ops) / sizeof(void*)},
        slotInfo_{"slot", "HalCardSlotDb", offsetof(HalCardSlotDb, ops) / sizeof(void*)},
        familyInfo_{"family", "HalFamilyOps"}, fanDbInfo_{"fanDb", "HalEnvDb"},
        fanSlotInfo_{"fanSlot", "HalFanSlotDb"}, powerSupplyDbInfo_{"psDb", "HalEnvDb"},
        powerSupplySlotInfo_{"psSlot", "HalPSSlotDb"};

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

    OpTable<HalSystemOps> system;
    OpTable<HalCardDbOps> cardDb;
    OpTable<HalFamilyOps> family;
    OpTable<HalEnvDb> fanDb;
    OpTable<HalFanSlotDb> fanSlot;
    OpTable<HalEnvDb> powerSupplyDb;
    OpTable<HalPSSlotDb> powerSupplySlot;
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

    // All table kinds, for coverage listings.
    const std::vector<TableInfo*>& tables() const { return tableList_; }
    // The words of a table kind (of the first filled slot for the slot table), null when unfilled.
    const void* const* wordsOf(const TableInfo& info);

    // Name of the exported operation at an address, "-" for null.
    static std::string operationName(const void* address);

    // Receives each piece of text that the library prints.
    std::function<void(const std::string&)> onPrint;
    // When set, receives a line per call: operation, arguments, result.
    std::function<void(const std::string&)> onCall;

    // Hands over what has been printed since the last call.
    void drainPrints();

    // The presence mask of cards, which module control sets and no operation answers whole.
    uint32_t cardPresentMask() const;

private:
    // An argument, or the result, of a call: what a trace line says of it.
    struct Value {
        enum class Kind { kSigned, kUnsigned, kText, kPointer, kNothing };

        Value() = default;
        template <typename Type>
        explicit Value(Type value);

        Kind kind = Kind::kNothing;
        int64_t number = 0;
        const void* pointer = nullptr;

        std::string text() const;
    };

    // One call on its way through: what is known of it before the operation runs.
    struct Passage {
        WordStats& stats;
        const void* operation;
        std::optional<int64_t> fault;  // the answer in the platform's stead
    };
    static Passage enter(TableInfo& info, size_t word, const void* operation);
    void trace(const Passage& passage, std::initializer_list<Value> arguments, const Value& result);

    void captureStandardOutput();
    static ssize_t write(void* cookie, const char* text, size_t size);

    std::vector<TableInfo*> tableList_;
    std::array<std::unique_ptr<OpTable<HalCardSlotOps>>, kSlots> slots_;
    std::array<HalCardSlotDb, kSlots> slotRecords_{};
    std::string path_;
    std::string printed_;
    FILE* originalStdout_ = nullptr;
    FILE* captured_ = nullptr;
    const uint32_t* cardPresentMask_ = nullptr;  // the library's
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

template <typename Type>
Platform::Value::Value(Type value) {
    if constexpr (std::is_pointer_v<Type>) {
        constexpr bool isText = std::is_same_v<Type, const char*> || std::is_same_v<Type, char*>;
        kind = isText ? Kind::kText : Kind::kPointer;
        pointer = reinterpret_cast<const void*>(value);
    } else {
        kind = std::is_signed_v<Type> ? Kind::kSigned : Kind::kUnsigned;
        number = static_cast<int64_t>(value);
    }
}

template <typename Ops, typename Function, typename... Arguments>
auto Platform::call(OpTable<Ops>& table, Function* Ops::*word, Arguments... arguments) {
    using Signature = detail::Signature<Function>;
    using Result = typename Signature::Result;
    Function* const operation = table.ops.*word;
    const auto index = static_cast<size_t>(reinterpret_cast<const char*>(&(table.ops.*word)) -
                                           reinterpret_cast<const char*>(&table.ops)) /
                       sizeof(void*);
    const Passage passage = enter(*table.info, index, reinterpret_cast<const void*>(operation));
    if constexpr (std::is_void_v<Result>) {
        if (!passage.fault) Signature::invoke(operation, arguments...);
        if (onCall) trace(passage, {Value(arguments)...}, Value());
        drainPrints();
    } else {
        Result result{};  // of a faulted operation that answers with a record: null
        if (!passage.fault)
            result = Signature::invoke(operation, arguments...);
        else if constexpr (std::is_integral_v<Result>)
            result = static_cast<Result>(*passage.fault);
        if constexpr (std::is_integral_v<Result>)
            passage.stats.failures += static_cast<int32_t>(result) < 0 ? 1 : 0;
        else
            passage.stats.failures += result == nullptr ? 1 : 0;
        if (onCall) {
            // Results are told as the codes that they are.
            if constexpr (std::is_integral_v<Result>)
                trace(passage, {Value(arguments)...}, Value(static_cast<int32_t>(result)));
            else
                trace(passage, {Value(arguments)...}, Value(result));
        }
        drainPrints();
        return result;
    }
}

}  // namespace pcsim::host

#endif
