// The event loop on poll().
#include "host/core/loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "console/error.h"

namespace pcsim::host {

namespace {

constexpr uint64_t kLongestSliceMs = 60000;
// How long a warp goes on without a look at descriptors and signals; and for how long after one
// that has found something it looks at each step, because more follows.
constexpr auto kBetweenLooks = std::chrono::milliseconds(5);
constexpr auto kLively = std::chrono::milliseconds(1);

}  // namespace

Loop::Loop(Scheduler& scheduler) : scheduler_(scheduler) {}

Loop::~Loop() {
    endSpawned();
}

bool Loop::interrupted() const {
    if (running_ == nullptr) return signals_.interrupted();
    return running_->interrupted || terminated();
}

bool Loop::terminated() const {
    return signals_.terminated() || (running_ != nullptr && ending_);
}

void Loop::forgetInterrupt() {
    if (running_ == nullptr)
        signals_.forgetInterrupt();
    else
        running_->interrupted = false;
}

void Loop::terminate() {
    signals_.terminate();
}

void Loop::sleep(uint64_t ms) {
    waitUntil([] { return false; }, ms);
}

void Loop::block(uint64_t ms) {
    const timespec asked{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000 * 1000000)};
    timespec left = asked;
    if (!scheduler_.stopped())
        while (!interrupted() && nanosleep(&left, &left) != 0 && errno == EINTR) continue;
    scheduler_.pass(ms);
}

bool Loop::waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) {
    Wait until;
    until.untilMs = scheduler_.nowMs() + timeoutMs;
    for (;;) {
        checkInterrupt();
        if (done()) return true;
        if (scheduler_.nowMs() >= *until.untilMs) return false;
        wait(until);
    }
}

bool Loop::waitReadable(int descriptor) {
    Wait until;
    until.descriptor = descriptor;
    while (!interrupted()) {
        wait(until);
        if (until.readable) return true;
    }
    return false;
}

void Loop::giveWay() {
    Wait until;
    wait(until);
}

Loop::WorkId Loop::spawn(std::function<void()> work) {
    if (ending_) fail("nothing more can be run: this instance is ending");
    works_.try_emplace(++lastWork_, stacks_, std::move(work));
    return lastWork_;
}

void Loop::interrupt(WorkId work) {
    const auto found = works_.find(work);
    if (found != works_.end()) found->second.interrupted = true;
}

void Loop::endSpawned() noexcept {
    ending_ = true;
    // Interrupted for good, none waits once more.
    while (!works_.empty()) {
        resume(works_.begin()->second);
        works_.erase(works_.begin());
    }
}

void Loop::watch(int descriptor, std::function<void()> readable) {
    watched_[descriptor] = std::move(readable);
}

void Loop::unwatch(int descriptor) {
    watched_.erase(descriptor);
}

Loop::Folder::Folder(const char* path) : descriptor(open(path, O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (descriptor < 0) fail("the folder {} can't be entered: {}", path, std::strerror(errno));
}

Loop::Folder::~Folder() {
    close(descriptor);
}

// The process has one working directory: it is changed with each switch to a work that wants
// another, and back.
void Loop::enterFolder(const std::string& path) {
    if (!ownFolder_) ownFolder_ = std::make_unique<Folder>(".");
    auto folder = std::make_unique<Folder>(path.c_str());
    if (fchdir(folder->descriptor) != 0)
        fail("the folder {} can't be entered: {}", path, std::strerror(errno));
    if (running_ != nullptr)
        running_->folder = std::move(folder);
    else
        ownFolder_ = std::move(folder);
}

void Loop::leaveFolder() {
    if (running_ == nullptr || running_->folder == nullptr) return;
    running_->folder = nullptr;
    goTo(ownFolder_.get());
}

// Whether a work has got what it waits for, or should look whether it has. In real time it looks
// once in a millisecond, however much happens.
bool Loop::goesOn(const Wait& wait, bool isInterrupted) const {
    if (isInterrupted || wait.readable) return true;
    if (wait.descriptor >= 0) return false;
    if (!wait.untilMs) return true;
    const uint64_t now = scheduler_.nowMs();
    if (now >= *wait.untilMs) return true;
    return wait.happened != happened_ && (scheduler_.stopped() || wait.lookedAtMs != now);
}

bool Loop::goesOn(const Work& work) const {
    return work.wait == nullptr || goesOn(*work.wait, work.interrupted || terminated());
}

// Lets the others run until the work that runs has a reason to go on.
void Loop::wait(Wait& wait) {
    if (running_ != nullptr && ending_) return;
    if (!std::exchange(wait.begun, true)) noteWork();  // it has done something since its last one
    wait.readable = false;
    wait.happened = happened_;
    wait.lookedAtMs = scheduler_.nowMs();
    if (running_ != nullptr) {
        running_->wait = &wait;
        running_->fiber.park();
        return;
    }
    if (turning_)
        throw std::logic_error("what a timer or a watched descriptor starts lets no time pass");
    const struct Waiting {
        Wait*& place;
        explicit Waiting(Wait*& of, Wait& what) : place(of) { place = &what; }
        ~Waiting() { place = nullptr; }
    } waiting(mainWait_, wait);
    do turn();
    while (!goesOn(wait, interrupted()));
}

template <typename Visit>
void Loop::eachWait(Visit visit) const {
    if (mainWait_ != nullptr) visit(*mainWait_);
    for (const auto& [id, work] : works_)
        if (work.wait != nullptr) visit(*work.wait);
}

bool Loop::timeIsAwaited() const {
    bool awaited = false;
    eachWait([&](const Wait& wait) { awaited = awaited || wait.untilMs.has_value(); });
    return awaited;
}

bool Loop::someBegin() const {
    return std::ranges::any_of(works_, [](const auto& one) { return !one.second.wait; });
}

void Loop::goTo(const Folder* folder) {
    // It was entered before, and open it stays, whatever becomes of its name.
    if (folder != nullptr) [[maybe_unused]]
        const int result = fchdir(folder->descriptor);
}

// One round of everything.
void Loop::turn() {
    const struct Turning {
        bool& flag;
        explicit Turning(bool& of) : flag(of) { flag = true; }
        ~Turning() { flag = false; }
    } turning(turning_);
    if (scheduler_.stopped() && timeIsAwaited()) {
        if (!someBegin()) warpToNext();
        const auto now = Clock::now();
        if (now - lookedAt_ >= kBetweenLooks || now - foundAt_ < kLively) look(0);
    } else {
        look(timeoutMs());
    }
    runActions();
    resumeWorks();
}

// In stopped time: to the next action, or the next time that a work waits for.
void Loop::warpToNext() {
    const uint64_t now = scheduler_.nowMs();
    uint64_t next = scheduler_.nextDueMs().value_or(~uint64_t{0});
    eachWait([&](const Wait& wait) {
        if (wait.untilMs) next = std::min(next, *wait.untilMs);
    });
    ++happened_;
    scheduler_.warp(next > now ? next - now : 0);
}

// How long nothing happens but by a descriptor or a signal.
int Loop::timeoutMs() const {
    uint64_t ms = kLongestSliceMs;
    const uint64_t now = scheduler_.nowMs();
    const auto due = scheduler_.stopped() ? std::nullopt : scheduler_.nextDueMs();
    if (due) ms = std::min(ms, *due > now ? *due - now : 0);
    for (const auto& [id, work] : works_)
        if (goesOn(work)) return 0;
    if (mainWait_ != nullptr && goesOn(*mainWait_, interrupted())) return 0;
    eachWait([&](const Wait& wait) {
        if (!wait.untilMs) return;
        const uint64_t left = *wait.untilMs > now ? *wait.untilMs - now : 0;
        ms = std::min(ms, wait.happened != happened_ ? std::min<uint64_t>(left, 1) : left);
    });
    return static_cast<int>(ms);
}

// Waits at most 'timeoutMs' of real time for a descriptor or a signal.
void Loop::look(int timeoutMs) {
    polled_.assign(1, {signals_.descriptor(), POLLIN, 0});
    for (const auto& [descriptor, readable] : watched_) polled_.push_back({descriptor, POLLIN, 0});
    eachWait([&](const Wait& wait) {
        if (wait.descriptor >= 0) polled_.push_back({wait.descriptor, POLLIN, 0});
    });
    const int ready = poll(polled_.data(), polled_.size(), timeoutMs);
    lookedAt_ = Clock::now();
    if (ready <= 0) return;
    foundAt_ = lookedAt_;
    if (polled_[0].revents != 0) signals_.drain();
    if (signals_.takeContinuation() && onContinue) onContinue();
    size_t at = 1 + watched_.size();
    eachWait([&](Wait& wait) {  // an end or an error is for whoever reads
        if (wait.descriptor >= 0) wait.readable = polled_[at++].revents != 0;
    });
    callWatchers();
}

// One may take away others, or itself.
void Loop::callWatchers() {
    const size_t end = 1 + watched_.size();
    for (size_t at = 1; at < end; ++at) {
        if (polled_[at].revents == 0) continue;
        const auto found = watched_.find(polled_[at].fd);
        if (found == watched_.end()) continue;
        noteWork();
        const auto readable = found->second;
        readable();
    }
}

void Loop::runActions() {
    const auto due = scheduler_.nextDueMs();
    if (scheduler_.stopped() || !due || *due > scheduler_.nowMs()) return;
    ++happened_;
    scheduler_.runDue();
}

void Loop::resumeWorks() {
    const WorkId last = lastWork_;  // what is spawned meanwhile begins in the next turn
    for (auto next = works_.begin(); next != works_.end() && next->first <= last;) {
        Work& work = next->second;
        if (goesOn(work)) resume(work);
        next = work.fiber.ended() ? works_.erase(next) : std::next(next);
    }
}

void Loop::resume(Work& work) {
    running_ = &work;
    goTo(work.folder.get());
    work.fiber.resume();
    running_ = nullptr;
    if (work.folder) goTo(ownFolder_.get());
    if (work.fiber.ended()) noteWork();
}

}  // namespace pcsim::host
