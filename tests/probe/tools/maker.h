// Makes recordings by hand: calls by their operations' names, with memory behind the parameters.
#ifndef PCSIM_TESTS_PROBE_TOOLS_MAKER_H
#define PCSIM_TESTS_PROBE_TOOLS_MAKER_H

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "probe/record/recording.h"

namespace pcsim::probe::test {

using Bytes32 = std::vector<uint8_t>;

// Words as they lie in memory.
inline Bytes32 words(const std::vector<uint32_t>& values) {
    Bytes32 bytes(values.size() * 4);
    if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

inline Bytes32 text(std::string_view value) {
    Bytes32 bytes(value.begin(), value.end());
    bytes.push_back(0);
    return bytes;
}

struct Memory32 {
    std::string path;  // "request.rules", "result"
    uint32_t address;
    Bytes32 bytes;
    bool platform = false;
    bool written = false;
};

class Maker {
public:
    Recording recording;
    uint32_t thread = 1;

    // Begins a call, inside those of the thread that have begun; its number.
    uint64_t call(const std::string& name, const std::vector<uint32_t>& arguments = {},
                  const std::vector<Memory32>& memory = {}) {
        const uint32_t site = siteOf(name);
        Event event{.kind = Event::Kind::kCall, .thread = thread, .site = site};
        event.call = ++last_;
        event.depth = depth();
        event.arguments = recording.keep(std::span<const uint32_t>(arguments));
        event.blocks = blocksOf(recording.sites[site].functionName, memory);
        recording.events.push_back(event);
        open_.push_back({thread, event.call, site});
        return event.call;
    }

    // The last call of the thread returns.
    void returns(uint64_t result = 0, const std::vector<Memory32>& memory = {}) {
        for (size_t index = open_.size(); index-- > 0;) {
            if (open_[index].thread != thread) continue;
            const Open open = open_[index];
            open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(index));
            Event event{.kind = Event::Kind::kReturn, .thread = thread, .site = open.site};
            event.depth = depth();
            event.call = open.call;
            event.result = result;
            event.blocks = blocksOf(recording.sites[open.site].functionName, memory);
            recording.events.push_back(event);
            return;
        }
    }

    // A call that nothing happens in.
    uint64_t make(const std::string& name, const std::vector<uint32_t>& arguments = {},
                  uint64_t result = 0, const std::vector<Memory32>& before = {},
                  const std::vector<Memory32>& after = {}) {
        const uint64_t number = call(name, arguments, before);
        returns(result, after);
        return number;
    }

    void print(std::string_view text) {
        Event event{.kind = Event::Kind::kPrint, .thread = thread};
        for (const Open& open : open_)
            if (open.thread == thread) event.call = open.call;
        event.text = recording.keep(text);
        recording.events.push_back(event);
    }

    void state(const std::string& variable, uint32_t address, const Bytes32& bytes) {
        Event event{.kind = Event::Kind::kState};
        event.text = recording.keep(std::string_view(variable));
        event.blocks = blocksOf(variable, {{variable, address, bytes}});
        recording.events.push_back(event);
    }

    // The site of an operation, or of a callback of a type: "name:HalCompletionFn".
    uint32_t siteOf(const std::string& name) {
        const size_t colon = name.find(':');
        const std::string own = name.substr(0, colon);
        for (size_t index = 0; index < recording.sites.size(); ++index)
            if (recording.sites[index].name == own) return static_cast<uint32_t>(index);
        RecordedSite site;
        const Operation* const operation = operationNamed(own);
        site.name = own;
        site.side = operation != nullptr ? operation->side : Side::kHost;
        site.function =
            operation != nullptr ? operation->function : functionNamed(name.substr(colon + 1));
        site.functionName = site.function->name;
        site.target = 0xF7000000 + 16 * static_cast<uint32_t>(recording.sites.size());
        recording.sites.push_back(site);
        return static_cast<uint32_t>(recording.sites.size() - 1);
    }

private:
    struct Open {
        uint32_t thread;
        uint64_t call;
        uint32_t site;
    };

    uint32_t depth() const {
        uint32_t around = 0;
        for (const Open& open : open_) around += open.thread == thread ? 1 : 0;
        return around;
    }

    uint32_t pathOf(const std::string& owner, const std::string& path) {
        for (size_t index = 1; index < recording.paths.size(); ++index)
            if (recording.paths[index].owner == owner && recording.paths[index].text == path)
                return static_cast<uint32_t>(index);
        const PathTarget target = targetOf(owner, path);
        const Type* const type = target.type;
        recording.paths.push_back(
            {owner, path, type ? std::string(type->name) : "", type, target.meaning});
        return static_cast<uint32_t>(recording.paths.size() - 1);
    }

    std::span<const RecordedBlock> blocksOf(const std::string& owner,
                                            const std::vector<Memory32>& memory) {
        std::vector<RecordedBlock> blocks;
        for (const Memory32& each : memory) {
            const auto kept = recording.space(each.bytes.size());
            std::copy(each.bytes.begin(), each.bytes.end(), kept.begin());
            blocks.push_back(
                {each.address, pathOf(owner, each.path), each.platform, each.written, kept});
        }
        return recording.keep(std::span<const RecordedBlock>(blocks));
    }

    std::vector<Open> open_;
    uint64_t last_ = 0;
};

// The numbers of the calls that are in a recording.
inline std::vector<uint64_t> numbersIn(const Recording& recording) {
    std::vector<uint64_t> numbers;
    for (const Event& event : recording.events)
        if (event.kind == Event::Kind::kCall) numbers.push_back(event.call);
    return numbers;
}

}  // namespace pcsim::probe::test

#endif
