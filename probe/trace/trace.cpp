// Writing the lines of a trace.
#include "probe/trace/trace.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "console/error.h"
#include "console/text.h"
#include "console/values.h"
#include "probe/boundary/boundary.h"
#include "probe/interface/names.h"
#include "probe/trace/trace_file.h"

namespace pcsim::probe {

struct Trace::Open {
    uint64_t number;
    uint32_t thread;
    uint32_t depth;
    uint32_t level;     // open lines around it
    uint64_t startMs;   // when it began
    std::string text;   // of the call as it began
    std::string start;  // the same in short: direction and name
    bool printed;       // its first line
};

namespace {

constexpr uint32_t kIndentation = 4;

const char* directionOf(const Site& site) {
    switch (site.side) {
        case Side::kPlatform:
            return "> ";
        case Side::kSystem:
            return "= ";
        case Side::kHost:
            break;
    }
    return "< ";
}

// The ordered tree, what compares its nodes, and the C library.
bool isDetail(const Site& site) {
    if (site.side == Side::kSystem) return true;
    if (isOfTree(site.name)) return true;
    return std::ranges::any_of(site.function->parameters, [](const Parameter& parameter) {
        const Type& type = *parameter.type;
        return type.kind == Kind::kPointer && type.target->name == "HalTreeNode";
    });
}

void checkFilter(const TraceFilter& filter) {
    for (const std::string& port : filter.ports) parseSlotPort(port);
    for (const std::string& name : filter.operations)
        if (calleesNamed(name).empty()) fail("{}", unknownOperation(name));
}

// The name of a function that is handed over; "" when it has none.
std::string functionName(Word address) {
    const Site* const site = Boundary::instance().siteOf(reinterpret_cast<const void*>(address));
    return site != nullptr ? site->name : "";
}

std::vector<Place> placesOf(const TraceFilter& filter) {
    std::vector<Place> places;
    for (const std::string& text : filter.ports) {
        const SlotPort port = parseSlotPort(text);
        places.push_back({port.slot, true, port.port});
    }
    for (const uint32_t slot : filter.slots) places.push_back({slot, false, 0});
    return places;
}

// Of the calls that go on, none is inside one that has gone.
template <typename Open>
bool isLeft(const Open& open, const Call& call) {
    return open.thread == call.thread && open.depth >= call.depth;
}

}  // namespace

Trace::Trace() {
    handles_.functionName = functionName;
}

Trace::~Trace() = default;

void Trace::start(TraceFilter filter, std::function<void(const std::string&)> print) {
    checkFilter(filter);
    std::vector<Place> places = placesOf(filter);
    {
        const std::lock_guard lock(mutex_);
        places_ = std::move(places);
        filter_ = std::move(filter);
        print_ = std::move(print);
        file_ = nullptr;
        open_.clear();
    }
    if (onChange) onChange();
}

void Trace::startFile(TraceFilter filter, const std::string& path) {
    // Nothing is written for a trace that doesn't begin.
    checkFilter(filter);
    const auto file = std::make_shared<TraceFile>(path);
    start(std::move(filter), [file](const std::string& line) { file->write(line); });
    const std::lock_guard lock(mutex_);
    file_ = file;
}

std::string Trace::stop() {
    std::shared_ptr<TraceFile> file;
    {
        const std::lock_guard lock(mutex_);
        print_ = nullptr;
        file = std::move(file_);
        open_.clear();
    }
    if (onChange) onChange();
    return file == nullptr ? "" : file->problem();
}

bool Trace::on() const {
    const std::lock_guard lock(mutex_);
    return print_ != nullptr;
}

bool Trace::wants(const Site& site) const {
    const std::lock_guard lock(mutex_);
    if (print_ == nullptr) return false;
    if (filter_.operations.empty()) return filter_.all || !isDetail(site);
    const Callee callee{site.name, site.table, site.word, site.function, site.side};
    return std::ranges::any_of(filter_.operations,
                               [&](const std::string& name) { return goesBy(name, callee); });
}

void Trace::print(const Open& open, const std::string& text) {
    std::string line;
    if (nowMs) {
        char time[32];
        std::snprintf(time, sizeof time, "[%5llu.%03llu] ",
                      static_cast<unsigned long long>(open.startMs / 1000),
                      static_cast<unsigned long long>(open.startMs % 1000));
        line = time;
    }
    // Of a single thread there is nothing to tell.
    if (open.thread > 1) line += "(" + std::to_string(open.thread) + ") ";
    line.append(size_t{kIndentation} * open.level, ' ');
    print_(line + text + "\n");
}

bool Trace::isAsked(const Call& call) const {
    std::vector<Place> places;
    {
        const std::lock_guard lock(mutex_);
        places = places_;
    }
    return places.empty() ||
           std::ranges::any_of(places, [&](const Place& place) { return isAbout(call, place); });
}

void Trace::before(Call& call) {
    if (!isAsked(call)) return;
    Open open{call.number, call.thread, call.depth, 0, nowMs ? nowMs() : 0, "", "", false};
    open.start = directionOf(call.site) + call.site.name;
    open.text = directionOf(call.site) + callText(call, handles_);
    const std::lock_guard lock(mutex_);
    if (print_ == nullptr) return;
    // Calls that were left by a jump never come back.
    std::erase_if(open_, [&](const Open& other) { return isLeft(other, call); });
    for (Open& around : open_) {
        if (around.thread != call.thread) continue;
        ++open.level;
        if (around.printed) continue;
        print(around, around.text + " ...");
        around.printed = true;
    }
    open_.push_back(std::move(open));
}

void Trace::after(Call& call) {
    {
        const std::lock_guard lock(mutex_);
        if (std::ranges::find(open_, call.number, &Open::number) == open_.end()) return;
    }
    const std::string answer = answerText(call, handles_) + (call.answered ? " [fault]" : "");
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(open_, call.number, &Open::number);
    if (print_ == nullptr || found == open_.end()) return;
    if (found->printed && nowMs) found->startMs = nowMs();
    print(*found, (found->printed ? found->start : found->text) + answer);
    open_.erase(found);
}

}  // namespace pcsim::probe
