// 'repeat' and 'end': lines that run several times.
#include "console/block.h"

#include <algorithm>

#include "console/session.h"

namespace pcsim {

CommandError unendedBlock() {
    return CommandError("'repeat' has no 'end'; expected a line 'end' behind its lines",
                        ErrorCode::kUsage);
}

// Whether it is the verb's word, or the beginning of no other's.
bool Session::isVerb(std::string_view word, std::string_view verb) const {
    if (word.empty() || !verb.starts_with(word)) return false;
    return word == verb || std::ranges::none_of(console_.verbs.all(), [&](const Verb& other) {
               const std::string& first = other.pattern.elements[0].word;
               return first != verb && first.starts_with(word);
           });
}

bool Session::keep(const std::string& line) {
    complete_.reset();
    if (!block_) return false;
    const std::string_view word = firstWord(line);
    if (isVerb(word, "end") && --block_->open == 0) {
        complete_ = std::exchange(block_, std::nullopt);
        return false;
    }
    if (isVerb(word, "repeat")) ++block_->open;
    if (word.empty()) return true;
    if (block_->lines.size() == Block::kMostLines) {
        drop();
        CommandError error(fmt::format("there are more than {} lines between 'repeat' and 'end'",
                                       Block::kMostLines));
        tell(error);
        error.told = true;
        throw error;
    }
    block_->lines.push_back({line, running_.empty() ? 0 : running_.back().line});
    return true;
}

void Session::beginBlock(uint64_t turns, const std::string& variable) {
    // Lines that another one runs by itself, as a load does, are not the session's to collect.
    if (account_ == nullptr || !isVerb(firstWord(account_->line), "repeat"))
        failUsage("'repeat' begins a block on a line of its own; expected it in a script or typed");
    if (const auto problem = variableProblem(variable)) failUsage("{}", *problem);
    if (blocksRunning_ == Block::kDeepest)
        fail("'repeat' stands in others more than {} deep", Block::kDeepest);
    block_ = Block{turns, variable, running_.empty() ? 0 : running_.back().line};
}

void Session::runBlock() {
    if (!complete_) failUsage("there is no 'repeat' that this 'end' is of");
    const Block block = *std::exchange(complete_, std::nullopt);
    struct Running {
        Session& session;
        const std::string& variable;
        std::optional<std::string> before;
        Running(Session& one, const std::string& name)
            : session(one), variable(name), before(one.variables_.find(name)) {
            ++session.blocksRunning_;
        }
        ~Running() {
            --session.blocksRunning_;
            session.variables_.restore(variable, before);
        }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
    } const running(*this, block.variable);
    const unsigned end = running_.empty() ? 0 : running_.back().line;
    for (uint64_t turn = 1; turn <= block.turns && !ended_; ++turn) {
        variables_.set(block.variable, std::to_string(turn));
        console_.surroundings.checkInterrupt();
        giveWay();
        for (const Block::Line& line : block.lines) {
            if (ended_) break;
            giveWay();
            if (!running_.empty()) running_.back().line = line.number;
            runStep(line.text);
        }
        if (block_) throw unendedBlock();
    }
    if (!running_.empty()) running_.back().line = end;
}

void addRepeatVerbs(Verbs& verbs) {
    verbs.action("repeat <count:0-1000000> [as <variable>]",
                 "run the lines up to 'end' so often; $n, or $VARIABLE, is the turn",
                 [](Call& call) {
                     call.session->beginBlock(call.number("count"), call.textOr("variable", "n"));
                 });
    verbs.action("end", "the end of the lines that 'repeat' runs",
                 [](Call& call) { call.session->runBlock(); });
}

}  // namespace pcsim
