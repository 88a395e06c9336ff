// Compiling patterns, and following all ways through them at once.
#include "console/regex.h"

#include <utility>

#include "console/error.h"
#include "console/regex_syntax.h"

namespace pcsim {

namespace {

using InstructionKind = Regex::Instruction::Kind;

// Repetitions in repetitions multiply.
constexpr size_t kMostInstructions = 10000, kMostParts = 100000;

class Compiler {
public:
    std::vector<Regex::Instruction> compile(const RegexPart& part) {
        add(part);
        program_.push_back({.kind = InstructionKind::kFound});
        return std::move(program_);
    }

private:
    void add(const RegexPart& part) {
        if (++parts_ > kMostParts || program_.size() > kMostInstructions)
            failUsage("the pattern repeats too much");
        switch (part.kind) {
            case RegexPart::Kind::kByte:
                program_.push_back({.kind = InstructionKind::kByte, .set = part.set});
                return;
            case RegexPart::Kind::kBegin:
                program_.push_back({.kind = InstructionKind::kBegin});
                return;
            case RegexPart::Kind::kEnd:
                program_.push_back({.kind = InstructionKind::kEnd});
                return;
            case RegexPart::Kind::kBoundary:
                program_.push_back({.kind = InstructionKind::kBoundary});
                return;
            case RegexPart::Kind::kSequence:
                for (const RegexPart& one : part.parts) add(one);
                return;
            case RegexPart::Kind::kAlternatives:
                return addAlternatives(part);
            case RegexPart::Kind::kRepeated:
                return addRepeated(part);
        }
    }

    uint32_t here() const { return static_cast<uint32_t>(program_.size()); }

    // Its target is set later.
    uint32_t addOpen(InstructionKind kind) {
        program_.push_back({.kind = kind});
        return here() - 1;
    }

    void addAlternatives(const RegexPart& part) {
        std::vector<uint32_t> ends;
        for (size_t i = 0; i + 1 < part.parts.size(); ++i) {
            const uint32_t fork = addOpen(InstructionKind::kFork);
            add(part.parts[i]);
            ends.push_back(addOpen(InstructionKind::kJump));
            program_[fork].target = here();
        }
        add(part.parts.back());
        for (const uint32_t end : ends) program_[end].target = here();
    }

    void addRepeated(const RegexPart& part) {
        const RegexPart& one = part.parts.front();
        for (unsigned i = 0; i < part.low; ++i) add(one);
        if (part.high == RegexPart::kForEver) {
            const uint32_t fork = addOpen(InstructionKind::kFork);
            add(one);
            program_.push_back({.kind = InstructionKind::kJump, .target = fork});
            program_[fork].target = here();
            return;
        }
        std::vector<uint32_t> forks;
        for (unsigned i = part.low; i < part.high; ++i) {
            forks.push_back(addOpen(InstructionKind::kFork));
            add(one);
        }
        for (const uint32_t fork : forks) program_[fork].target = here();
    }

    std::vector<Regex::Instruction> program_;
    size_t parts_ = 0;
};

bool isWord(std::string_view text, size_t at) {
    if (at >= text.size()) return false;
    const auto c = static_cast<unsigned char>(text[at]);
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// The instructions that wait for the next byte, each once.
class Ways {
public:
    Ways(const std::vector<Regex::Instruction>& program, std::string_view text)
        : program_(program), text_(text), reached_(program.size(), kNever) {}

    // Follows all ways from an instruction to where a byte at 'at' is wanted; whether one leads to
    // the end.
    bool follow(uint32_t from, size_t at) {
        pending_.push_back(from);
        while (!pending_.empty()) {
            const uint32_t place = pending_.back();
            pending_.pop_back();
            if (std::exchange(reached_[place], at) == at) continue;
            if (program_[place].kind == InstructionKind::kFound) return true;
            step(place, at);
        }
        return false;
    }

    std::vector<uint32_t> take() { return std::exchange(waiting_, {}); }

private:
    void step(uint32_t place, size_t at) {
        const Regex::Instruction& instruction = program_[place];
        bool on = true;
        switch (instruction.kind) {
            case InstructionKind::kByte:
                waiting_.push_back(place);
                return;
            case InstructionKind::kFork:
                pending_.push_back(instruction.target);
                break;
            case InstructionKind::kJump:
                pending_.push_back(instruction.target);
                return;
            case InstructionKind::kBegin:
                on = at == 0;
                break;
            case InstructionKind::kEnd:
                on = at == text_.size();
                break;
            default:
                on = (at > 0 && isWord(text_, at - 1)) != isWord(text_, at);
        }
        if (on) pending_.push_back(place + 1);
    }

    static constexpr size_t kNever = ~size_t{0};

    const std::vector<Regex::Instruction>& program_;
    std::string_view text_;
    std::vector<size_t> reached_;  // by instruction: at which byte last
    std::vector<uint32_t> pending_, waiting_;
};

}  // namespace

Regex::Regex(const std::string& pattern) : program_(Compiler().compile(parseRegex(pattern))) {}

bool Regex::isIn(std::string_view text) const {
    Ways ways(program_, text);
    for (size_t at = 0; at < text.size(); ++at) {
        if (ways.follow(0, at)) return true;
        const auto byte = static_cast<unsigned char>(text[at]);
        for (const uint32_t place : ways.take())
            if (program_[place].set[byte] && ways.follow(place + 1, at + 1)) return true;
    }
    return ways.follow(0, text.size());
}

}  // namespace pcsim
