// The library's blocks, by their addresses.
#include "probe/ledger/ledger.h"

#include <malloc.h>

#include <algorithm>
#include <map>
#include <tuple>

namespace pcsim::probe {

namespace {

// What a call has handed in, as far as it can be followed: the records behind its pointers.
const Record* recordBehind(const Type& type) {
    return type.kind == Kind::kPointer && type.target != nullptr ? type.target->record : nullptr;
}

Word wordAt(Word address) {
    return *reinterpret_cast<const Word*>(address);
}

}  // namespace

Ledger::Ledger()
    : malloc_(operationNamed("malloc")->function),
      calloc_(operationNamed("calloc")->function),
      free_(operationNamed("free")->function) {
    for (const Record& record : records())
        for (const Field& field : record.fields)
            if (field.semantics.taken) taken_.emplace_back(&record, field.offset);
}

void Ledger::start() {
    {
        const std::lock_guard lock(mutex_);
        blocks_.clear();
        operations_.clear();
        sums_ = {};
        on_ = true;
    }
    if (onChange) onChange();
}

void Ledger::stop() {
    on_ = false;
    if (onChange) onChange();
}

LedgerSums Ledger::sums() const {
    const std::lock_guard lock(mutex_);
    return sums_;
}

std::vector<BlockRow> Ledger::rows() const {
    std::map<std::pair<uint32_t, std::string>, uint64_t> counted;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [address, block] : blocks_)
            ++counted[{block.bytes, block.operation != nullptr ? block.operation->name : ""}];
    }
    std::vector<BlockRow> rows;
    for (const auto& [key, blocks] : counted) rows.push_back({key.second, key.first, blocks});
    return rows;
}

bool Ledger::wants(const Site& site) const {
    if (!on_) return false;
    const Function* const function = site.function;
    return site.side == Side::kPlatform ||
           (site.side == Side::kSystem &&
            (function == malloc_ || function == calloc_ || function == free_));
}

void Ledger::before(Call& call) {
    const std::lock_guard lock(mutex_);
    if (call.site.side == Side::kPlatform) {
        if (call.depth == 0) {
            if (operations_.size() < call.thread) operations_.resize(call.thread);
            operations_[call.thread - 1] = &call.site;
        }
        if (!call.answered) takeOver(call);
    } else if (call.site.function == free_ && !call.answered && call.arguments[0] != 0) {
        // Before the call: behind it the address may be somebody else's.
        ++(drop(call.arguments[0]) ? sums_.freed : sums_.freedOthers);
    }
}

void Ledger::after(Call& call) {
    if (call.site.function == free_) return;
    const std::lock_guard lock(mutex_);
    const auto result = static_cast<Word>(call.result);
    if (call.site.side == Side::kPlatform) {
        if (call.site.function->resultSemantics.given && drop(result)) ++sums_.handedOut;
    } else if (result == 0) {
        ++sums_.refused;
    } else if (!call.answered) {
        ++sums_.allocated;
        add(result,
            static_cast<uint32_t>(call.site.function == calloc_
                                      ? call.arguments[0] * call.arguments[1]
                                      : call.arguments[0]),
            call.thread);
    }
}

void Ledger::add(Word address, uint32_t bytes, uint32_t thread) {
    drop(address);  // given back by a call that nobody has seen
    blocks_[address] = {bytes, operationOf(thread)};
    sums_.bytes += bytes;
    sums_.blocks = blocks_.size();
    sums_.mostBlocks = std::max(sums_.mostBlocks, sums_.blocks);
    sums_.mostBytes = std::max(sums_.mostBytes, sums_.bytes);
}

bool Ledger::drop(Word address) {
    const auto found = blocks_.find(address);
    if (found == blocks_.end()) return false;
    sums_.bytes -= found->second.bytes;
    blocks_.erase(found);
    sums_.blocks = blocks_.size();
    return true;
}

// Of a block from elsewhere nobody but the allocator knows the size.
void Ledger::takeOver(const Call& call) {
    const auto& parameters = call.site.function->parameters;
    for (size_t i = 0; i < parameters.size() && i < call.argumentWords; ++i) {
        const Record* const record = recordBehind(*parameters[i].type);
        for (const auto& [taker, offset] : taken_) {
            if (record != taker || call.arguments[i] == 0) continue;
            const Word block = wordAt(call.arguments[i] + offset);
            if (block == 0 || blocks_.contains(block)) continue;
            ++sums_.takenOver;
            add(block, static_cast<uint32_t>(malloc_usable_size(reinterpret_cast<void*>(block))),
                call.thread);
        }
    }
}

const Site* Ledger::operationOf(uint32_t thread) const {
    return thread <= operations_.size() ? operations_[thread - 1] : nullptr;
}

}  // namespace pcsim::probe
