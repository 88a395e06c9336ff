// The platform as the host sees it: the library, loaded at run time, and the chain of tables that
// it fills. Every call into the library goes through call(), so that one place counts, traces and
// answers in the library's stead when a script asks for a fault.
//
// What the library prints while a call runs is caught here and handed on as text.
#ifndef PCSIM_HOST_CORE_PLATFORM_H
#define PCSIM_HOST_CORE_PLATFORM_H

#include <array>
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

namespace pcsim::host {

class Platform {
    // Where the operations start in their records.
    static constexpr size_t kCardDbFirstWord = 2;
    static constexpr size_t kSlotFirstWord = 11;

    TableInfo systemInfo_{"system", {}}, cardDbInfo_{"cardDb", {}, kCardDbFirstWord},
        slotInfo_{"slot", {}, kSlotFirstWord}, familyInfo_{"family", {}}, fanDbInfo_{"fanDb", {}},
        fanSlotInfo_{"fanSlot", {}}, powerSupplyDbInfo_{"psDb", {}},
        powerSupplySlotInfo_{"psSlot", {}};

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

    // Calls the operation in 'word' of 'table'.
    template <typename Ops, typename Result, typename... Parameters, typename... Arguments>
    Result call(OpTable<Ops>& table, Result (*Ops::*word)(Parameters...), Arguments... arguments);

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

private:
    void captureStandardOutput();
    static ssize_t write(void* cookie, const char* text, size_t size);

    // The answer of the word's fault rule, when it applies to this call.
    static std::optional<int64_t> faulted(WordStats& stats);

    std::vector<TableInfo*> tableList_;
    std::array<std::unique_ptr<OpTable<HalCardSlotOps>>, kSlots> slots_;
    std::array<HalCardSlotDb, kSlots> slotRecords_{};
    std::string path_;
    std::string printed_;
    FILE* originalStdout_ = nullptr;
    FILE* captured_ = nullptr;
};

namespace detail {

template <typename Argument>
std::string describe(Argument argument) {
    if constexpr (std::is_same_v<Argument, const char*> || std::is_same_v<Argument, char*>)
        return argument == nullptr ? "null" : fmt::format("\"{}\"", argument);
    else if constexpr (std::is_pointer_v<Argument>)
        return argument == nullptr ? "null"
                                   : fmt::format("@{:x}", reinterpret_cast<uintptr_t>(argument));
    else
        return argument > 0xFFFF ? fmt::format("0x{:x}", argument) : fmt::format("{}", argument);
}

}  // namespace detail

template <typename Ops, typename Result, typename... Parameters, typename... Arguments>
Result Platform::call(OpTable<Ops>& table, Result (*Ops::*word)(Parameters...),
                      Arguments... arguments) {
    auto* const operation = table.ops.*word;
    const auto index = static_cast<size_t>(reinterpret_cast<const char*>(&(table.ops.*word)) -
                                           reinterpret_cast<const char*>(&table.ops)) /
                       sizeof(void*);
    if (operation == nullptr)
        fail("the platform has no operation in word {} of the {} table", index, table.info->name);
    WordStats& stats = table.info->words[index];
    ++stats.calls;
    if constexpr (std::is_void_v<Result>) {
        operation(static_cast<Parameters>(arguments)...);
        if (onCall) {
            std::string text = operationName(reinterpret_cast<const void*>(operation)) + "(";
            ((text += (text.back() == '(' ? "" : ", ") + detail::describe(arguments)), ...);
            onCall(text + ")");
        }
        drainPrints();
    } else {
        Result result{};
        bool answered = false;
        if constexpr (std::is_integral_v<Result>) {
            if (stats.fault) {
                if (const auto answer = faulted(stats)) {
                    result = static_cast<Result>(*answer);
                    answered = true;
                }
            }
        } else if (stats.fault && faulted(stats)) {
            answered = true;  // a null record
        }
        if (!answered) result = operation(static_cast<Parameters>(arguments)...);
        if constexpr (std::is_integral_v<Result>) {
            if (static_cast<int32_t>(result) < 0) ++stats.failures;
        } else {
            if (result == nullptr) ++stats.failures;
        }
        if (onCall) {
            std::string text = operationName(reinterpret_cast<const void*>(operation)) + "(";
            ((text += (text.back() == '(' ? "" : ", ") + detail::describe(arguments)), ...);
            if constexpr (std::is_integral_v<Result>)
                text += fmt::format(") = {}", static_cast<int32_t>(result));
            else
                text += ") = " + detail::describe(result);
            onCall(answered ? text + " [fault]" : text);
        }
        drainPrints();
        return result;
    }
}

}  // namespace pcsim::host

#endif
