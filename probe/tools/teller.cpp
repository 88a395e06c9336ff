// Calls with the memory that was recorded with them.
#include "probe/tools/teller.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "console/text.h"
#include "probe/tools/compare.h"
#include "probe/values/text.h"

namespace pcsim::probe {
namespace {

// What a call had before it, and what it has left: the latter counts.
class RecordedMemory final : public Memory {
public:
    RecordedMemory(std::span<const RecordedBlock> before, std::span<const RecordedBlock> after)
        : before_(before), after_(after) {}

    const void* at(uint32_t address, uint32_t bytes, bool) const override {
        const auto found = find(address);
        return found.size() >= bytes ? found.data() : nullptr;
    }
    uint32_t textBytes(uint32_t address, uint32_t limit, bool) const override {
        const auto found = find(address);
        const size_t size = std::min<size_t>(found.size(), limit);
        const void* const end = size == 0 ? nullptr : std::memchr(found.data(), 0, size);
        return end == nullptr
                   ? static_cast<uint32_t>(size)
                   : static_cast<uint32_t>(static_cast<const uint8_t*>(end) - found.data() + 1);
    }

private:
    // The most that is known from the address on.
    std::span<const uint8_t> find(uint32_t address) const {
        for (const auto& blocks : {after_, before_}) {
            std::span<const uint8_t> most;
            for (const RecordedBlock& block : blocks) {
                const uint32_t offset = address - block.address;
                if (offset < block.bytes.size() && block.bytes.size() - offset > most.size())
                    most = block.bytes.subspan(offset);
            }
            if (!most.empty()) return most;
        }
        return {};
    }

    std::span<const RecordedBlock> before_;
    std::span<const RecordedBlock> after_;
};

CallWords wordsOf(const Recording& recording, const Event& call, uint64_t result) {
    return {*recording.siteOf(call).function, call.arguments.data(),
            static_cast<uint32_t>(call.arguments.size()), result};
}

}  // namespace

Teller::Teller(const Recording& recording) : recording_(recording) {
    std::unordered_map<uint64_t, size_t> open;
    for (size_t index = 0; index < recording.events.size(); ++index) {
        const Event& event = recording.events[index];
        if (event.kind == Event::Kind::kCall) open[event.call] = index;
        const auto call = open.find(event.call);
        const bool state = event.kind == Event::Kind::kState;
        calls_.push_back(state || call == open.end() ? Recording::kNone : call->second);
    }
    handles_.functionName = [this](uint32_t address) { return functionAt(address); };
}

std::string Teller::functionAt(uint32_t address) const {
    for (const RecordedSymbol& symbol : recording_.symbols)
        if (symbol.function && symbol.address == address) return symbol.name;
    for (const RecordedSite& site : recording_.sites)
        if (site.target == address) return site.name;
    return "";
}

std::string Teller::arguments(size_t index) {
    const Event& call = recording_.events[index];
    if (recording_.siteOf(call).function == nullptr) return "";
    const RecordedMemory memory(call.blocks, {});
    const std::string text = argumentsText(wordsOf(recording_, call, 0), memory, handles_);
    return text.empty() ? text : " " + text;
}

std::string Teller::answer(size_t index, size_t returned) {
    const Event& call = recording_.events[index];
    const Event& answer = recording_.events[returned];
    if (recording_.siteOf(call).function == nullptr) return "";
    const RecordedMemory memory(call.blocks, answer.blocks);
    const std::string text = resultText(wordsOf(recording_, call, answer.result), memory, handles_);
    return text.empty() ? text : " -> " + text;
}

std::string Teller::argumentsJson(size_t index) {
    const Event& call = recording_.events[index];
    if (recording_.siteOf(call).function == nullptr) return "{}";
    const RecordedMemory memory(call.blocks, {});
    return jsonOf(argumentsOf(wordsOf(recording_, call, 0), memory, handles_));
}

std::string Teller::answerJson(size_t index, size_t returned) {
    const Event& call = recording_.events[index];
    const Event& answer = recording_.events[returned];
    if (recording_.siteOf(call).function == nullptr) return "{}";
    const RecordedMemory memory(call.blocks, answer.blocks);
    return jsonOf(resultsOf(wordsOf(recording_, call, answer.result), memory, handles_));
}

namespace {

const char* directionOf(const RecordedSite& site) {
    return site.side == Side::kPlatform ? "> " : site.side == Side::kHost ? "< " : "= ";
}

// A JSON string: the one member of an object, without what stands around it.
std::string jsonText(std::string_view text) {
    const std::string object =
        jsonOf({{"t", {.form = Value::Form::kText, .text = std::string(text)}}});
    const size_t begin = object.find(':') + 1;
    return object.substr(begin, object.rfind('}') - begin);
}

std::string hexOf(std::span<const uint8_t> bytes) {
    std::string text;
    for (const uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
    return text;
}

// The lines of a recording as they come.
class Lines {
public:
    Lines(const Recording& recording, const ToldFn& told, bool memory,
          const std::function<void(const std::string&)>& print)
        : recording_(recording), told_(told), memory_(memory), print_(print), teller_(recording) {}

    void tell(size_t index) {
        const Event& event = recording_.events[index];
        switch (event.kind) {
            case Event::Kind::kCall:
                call(index);
                break;
            case Event::Kind::kReturn:
                returned(index);
                break;
            case Event::Kind::kPrint:
                inside(teller_.callOf(index), "print " + quotedText(event.text));
                break;
            case Event::Kind::kState:
                state(event);
                break;
        }
    }
    void finish() {
        while (!open_.empty()) {
            begin(open_.size() - 1);
            open_.pop_back();
        }
    }

private:
    struct Open {
        size_t call;
        uint32_t level;
        std::string text;
        bool printed;
    };

    bool isTold(size_t call) const {
        return call != Recording::kNone && told_(recording_.events[call]);
    }
    void line(uint32_t level, const std::string& text) {
        print_(std::string(size_t{4} * level, ' ') + text + "\n");
    }
    std::string head(const Event& event) const {
        const std::string thread =
            event.thread > 1 ? "(" + std::to_string(event.thread) + ") " : "";
        return thread + directionOf(recording_.siteOf(event)) + recording_.siteOf(event).name;
    }
    void begin(size_t open) {
        if (!open_[open].printed) line(open_[open].level, open_[open].text + " ...");
        open_[open].printed = true;
    }
    uint32_t levelIn(uint32_t thread) {
        uint32_t level = 0;
        for (size_t open = 0; open < open_.size(); ++open) {
            if (recording_.events[open_[open].call].thread != thread) continue;
            begin(open);
            ++level;
        }
        return level;
    }

    void call(size_t index) {
        const Event& event = recording_.events[index];
        std::erase_if(open_, [&](const Open& open) {
            const Event& other = recording_.events[open.call];
            return other.thread == event.thread && other.depth >= event.depth;
        });
        const std::string text = head(event) + teller_.arguments(index);
        if (!told_(event)) return;
        open_.push_back({index, levelIn(event.thread), text, false});
        blocks(event, open_.back().level);
    }

    void returned(size_t index) {
        const size_t call = teller_.callOf(index);
        if (call == Recording::kNone) return;
        const std::string answer = teller_.answer(call, index);
        const auto open = std::ranges::find(open_, call, &Open::call);
        if (open == open_.end()) return;
        const Event& event = recording_.events[call];
        line(open->level, (open->printed ? head(event) : open->text) + answer);
        const uint32_t level = open->level;
        open_.erase(open);
        blocks(recording_.events[index], level);
    }

    void inside(size_t call, const std::string& text) {
        if (isTold(call)) line(levelIn(recording_.events[call].thread), text);
    }

    void state(const Event& event) {
        if (!memory_) return;
        line(0, "state " + std::string(event.text));
        blocks(event, 0);
    }

    void blocks(const Event& event, uint32_t level) {
        if (!memory_) return;
        for (const RecordedBlock& block : event.blocks)
            line(level + 2, fmt::format("{} 0x{:x} {}", recording_.paths[block.path].text,
                                        block.address, hexOf(block.bytes)));
    }

    const Recording& recording_;
    const ToldFn& told_;
    bool memory_;
    const std::function<void(const std::string&)>& print_;
    Teller teller_;
    std::vector<Open> open_;
};

}  // namespace

void tellText(const Recording& recording, const ToldFn& told, bool memory,
              const std::function<void(const std::string&)>& print) {
    Lines lines(recording, told, memory, print);
    for (size_t index = 0; index < recording.events.size(); ++index) lines.tell(index);
    lines.finish();
}

void tellJson(const Recording& recording, const ToldFn& told,
              const std::function<void(const std::string&)>& print) {
    Teller teller(recording);
    for (size_t index = 0; index < recording.events.size(); ++index) {
        const Event& event = recording.events[index];
        const size_t call = teller.callOf(index);
        std::string text;
        if (event.kind == Event::Kind::kCall)
            text = fmt::format(R"("event": "call", "side": "{}", "name": "{}", "arguments": {})",
                               directionOf(recording.siteOf(event))[0] == '>'   ? "platform"
                               : directionOf(recording.siteOf(event))[0] == '<' ? "hal"
                                                                                : "system",
                               recording.siteOf(event).name, teller.argumentsJson(index));
        else if (event.kind == Event::Kind::kReturn && call != Recording::kNone)
            text = fmt::format(R"("event": "return", "name": "{}", "answer": {})",
                               recording.siteOf(event).name, teller.answerJson(call, index));
        else if (event.kind == Event::Kind::kPrint)
            text = R"("event": "print", "text": )" + jsonText(event.text);
        if (text.empty() || call == Recording::kNone || !told(recording.events[call])) continue;
        print(fmt::format("{{\"call\": {}, \"thread\": {}, \"depth\": {}, {}}}\n", event.call,
                          event.thread, recording.events[call].depth, text));
    }
}

std::string scriptOf(const Recording& recording) {
    Recording calls = recording.withoutEvents();
    for (const Event& event : recording.events) {
        const bool call = event.kind == Event::Kind::kCall || event.kind == Event::Kind::kReturn;
        if (call) calls.events.push_back(event);
    }
    std::string text;
    tellText(
        calls, [](const Event&) { return true; }, false,
        [&](const std::string& line) { text += line; });
    return text;
}

}  // namespace pcsim::probe
