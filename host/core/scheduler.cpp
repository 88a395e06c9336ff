// The clock and its queue of timers and tasks.
#include "host/core/scheduler.h"

#include <algorithm>
#include <chrono>

namespace pcsim::host {

Scheduler::Scheduler() : offsetMs_(realMs()) {}

uint64_t Scheduler::realMs() {
    const auto sinceBoot = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceBoot).count());
}

uint64_t Scheduler::nowMs() const {
    if (runningAtMs_) return *runningAtMs_;
    return stopped_ ? stoppedAtMs_ : realMs() - offsetMs_;
}

Scheduler::Id Scheduler::add(uint64_t dueMs, uint64_t periodMs, std::string name, Action action) {
    const Id id = nextId_++;
    queue_.emplace(Key{dueMs, id}, Action_{id, std::move(name), periodMs, 0, std::move(action)});
    dueOf_[id] = dueMs;
    return id;
}

Scheduler::Id Scheduler::every(uint64_t periodMs, std::string name, Action action) {
    const uint64_t period = std::max<uint64_t>(periodMs, 1);
    return add(nowMs() + period, period, std::move(name), std::move(action));
}

Scheduler::Id Scheduler::after(uint64_t delayMs, std::string name, Action action) {
    return add(nowMs() + delayMs, 0, std::move(name), std::move(action));
}

void Scheduler::cancel(Id id) {
    const auto due = dueOf_.find(id);
    if (due == dueOf_.end()) return;
    queue_.erase(Key{due->second, id});
    dueOf_.erase(due);
}

void Scheduler::stop() {
    if (stopped_) return;
    stoppedAtMs_ = nowMs();
    stopped_ = true;
}

void Scheduler::stopAtZero() {
    stoppedAtMs_ = 0;
    stopped_ = true;
}

void Scheduler::resume() {
    if (!stopped_) return;
    offsetMs_ = realMs() - stoppedAtMs_;
    stopped_ = false;
}

std::optional<uint64_t> Scheduler::dueMs(Id id) const {
    const auto due = dueOf_.find(id);
    if (due == dueOf_.end()) return std::nullopt;
    return due->second;
}

std::optional<uint64_t> Scheduler::nextDueMs() const {
    if (queue_.empty()) return std::nullopt;
    return queue_.begin()->first.first;
}

// Runs the first action of the queue at its due time. A periodic one is queued again before it
// runs, so that it may cancel itself.
void Scheduler::runOne() {
    const auto first = queue_.begin();
    const uint64_t dueMs = first->first.first;
    Action_ entry = std::move(first->second);
    const Id id = entry.id;
    queue_.erase(first);
    dueOf_.erase(entry.id);
    Action action = entry.action;
    if (entry.periodMs != 0) {
        ++entry.runs;
        const Key next{dueMs + entry.periodMs, entry.id};
        dueOf_[entry.id] = next.first;
        queue_.emplace(next, std::move(entry));
    }
    struct Running {
        Scheduler& scheduler;
        const Id outerId = scheduler.runningId_;
        const std::optional<uint64_t> outerAtMs = scheduler.runningAtMs_;
        ~Running() {
            scheduler.runningId_ = outerId;
            scheduler.runningAtMs_ = outerAtMs;
        }
    } const running{*this};
    runningId_ = id;
    // In stopped time it may be later than that: a clock doesn't go back.
    runningAtMs_ = stopped_ ? std::max(dueMs, stoppedAtMs_) : dueMs;
    action();
}

void Scheduler::warp(uint64_t ms) {
    const uint64_t target = stoppedAtMs_ + ms;
    while (!queue_.empty() && queue_.begin()->first.first <= target) {
        stoppedAtMs_ = std::max(stoppedAtMs_, queue_.begin()->first.first);
        runOne();
    }
    stoppedAtMs_ = std::max(stoppedAtMs_, target);
}

void Scheduler::pass(uint64_t ms) {
    if (stopped_) stoppedAtMs_ += ms;
    if (runningAtMs_) *runningAtMs_ += ms;
}

void Scheduler::runDue() {
    if (stopped_) return;
    // What becomes due while this runs waits for the next call: the prompt stays responsive.
    const uint64_t now = nowMs();
    while (!queue_.empty() && queue_.begin()->first.first <= now) runOne();
}

std::vector<Scheduler::Entry> Scheduler::entries() const {
    std::vector<Entry> result;
    for (const auto& [key, entry] : queue_)
        result.push_back({entry.name, key.first, entry.periodMs, entry.runs});
    return result;
}

}  // namespace pcsim::host
