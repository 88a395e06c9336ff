// pcsim-probe post-mortem: the last calls of a process, what it was doing, and how it ended.
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "console/error.h"
#include "console/run_folder.h"
#include "console/text.h"
#include "probe/commands.h"
#include "probe/control/blocks.h"
#include "probe/control/flight.h"
#include "probe/values/text.h"

namespace pcsim::probe {

namespace {

const Option kPostMortemOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "json", .help = "Answer in JSON"},
    {.name = "calls",
     .value = "N",
     .help = "Show the last N calls only",
     .need = "a number from 1 to 1000000",
     .takes = Takes::Number,
     .low = 1,
     .high = kMostFlight},
};

const Program kPostMortemProgram{
    .name = "pcsim-probe post-mortem",
    .about = "pcsim-probe post-mortem: the last calls of a process that --flight has kept.",
    .usage = "[options] NAME|PID",
    .onWord = nullptr,
    .options = kPostMortemOptions,
};

std::string endingOf(const BlockCopy& block) {
    const BlockHeader& header = block.header();
    if (block.runs()) return "it runs";
    const int status = header.waitStatus;
    if (header.waited != 0 && WIFSIGNALED(status))
        return fmt::format("killed by signal {} ({})", WTERMSIG(status),
                           strsignal(WTERMSIG(status)));
    if (header.waited != 0) return fmt::format("ended with {}", WEXITSTATUS(status));
    if (header.ended != 0) return "it has ended";
    return "nobody has seen how: pcsim-probe that had started it is gone, too";
}

// A kept call as text, by the description of its function.
class CallTexts {
public:
    explicit CallTexts(const BlockCopy& block) : block_(block) {}

    std::string nameOf(uint32_t site) const {
        return printable(pcsim::textOf(block_.sites()[site].name));
    }

    std::string textOfCall(const FlightEntry& entry) {
        const SiteRow& row = block_.sites()[entry.site];
        std::string text(std::size_t{4} * std::min(entry.depth, kDeepest), ' ');
        text += row.side == static_cast<uint32_t>(Side::kPlatform) ? "> " : "< ";
        text += nameOf(entry.site);
        const Function* const function = functionNamed(pcsim::textOf(row.function));
        if (function == nullptr) return text;
        CallWords call{*function, entry.word, std::min(entry.words, FlightEntry::kWords)};
        const std::string arguments = argumentsText(call, KeptMemory(entry, false), handles_);
        if (!arguments.empty()) text += " " + arguments;
        if (entry.state != FlightEntry::kReturned) return text + " ...";
        call.result = entry.result;
        const std::string result = resultText(call, KeptMemory(entry, true), handles_);
        if (!result.empty()) text += " -> " + result;
        return entry.answered != 0 ? text + " (by a rule)" : text;
    }

private:
    static constexpr uint32_t kDeepest = 16;

    const BlockCopy& block_;
    Handles handles_;
};

// "pcSimStackChassisGetInfo, in it getSystemMac"
std::string underWay(const std::vector<const OpenCall*>& calls, const CallTexts& texts) {
    std::string text;
    for (const OpenCall* call : calls)
        text += (text.empty() ? "" : ", in it ") + texts.nameOf(call->site);
    return text;
}

Report reportOf(const BlockCopy& block, const Flight& flight, const CallTexts& texts) {
    Report report(Fields{"process",
                         "Process",
                         {{"name", "Name", block.name()},
                          {"pid", "Process", block.header().pid},
                          {"program", "Program", block.program()},
                          {"library", "Library", block.library()},
                          {"ending", "Its end", endingOf(block)}}});
    Table open{.key = "underWay",
               .title = "Under way",
               .columns = {{"thread", "Thread", Align::kRight}, {"calls", "Calls"}},
               .rows = {},
               .whenEmpty = "No call was under way.",
               .footer = ""};
    for (const auto& calls : flight.open)
        open.rows.push_back({calls.front()->thread, underWay(calls, texts)});
    report.add(std::move(open));
    return report;
}

// The last 'most' calls. All are told, so that names have the numbers that they have in the whole.
Table tableOf(const Flight& flight, CallTexts& texts, size_t most) {
    Table table{.key = "calls",
                .title = "Last calls",
                .columns = {{"number", "Number", Align::kRight},
                            {"thread", "Thread", Align::kRight},
                            {"call", "Call"}},
                .rows = {},
                .whenEmpty = "None was kept.",
                .footer = ""};
    for (const FlightEntry* entry : flight.calls)
        table.rows.push_back({entry->number.load(), entry->thread, texts.textOfCall(*entry)});
    if (table.rows.size() > most)
        table.rows.erase(table.rows.begin(), table.rows.end() - static_cast<ptrdiff_t>(most));
    return table;
}

// Lines of any length, as those of a trace: no table is drawn around them.
std::string linesOf(const Table& table) {
    std::string text = "\n" + table.title + "\n";
    if (table.rows.empty()) return text + "  " + table.whenEmpty + "\n";
    for (const auto& row : table.rows)
        text += fmt::format("  {:>8}  {:>2}  {}\n", row[0].text(), row[1].text(), row[2].text());
    return text;
}

}  // namespace

int postMortemCommand(const Words& words) {
    const GivenOptions given = readAnywhere(kPostMortemProgram, words);
    if (given.has("help")) return 0;
    if (given.command.size() != 1)
        throw OptionProblem(
            "expected 'pcsim-probe post-mortem NAME'; 'pcsim-probe list' names them");
    const BlockCopy block = blockOf(runFolder(), given.command[0]);
    if (block.header().flightSize == 0)
        fail("'{}' keeps no calls: it was started without --flight", block.name());
    const Flight flight = flightIn(block);
    CallTexts texts(block);
    Report report = reportOf(block, flight, texts);
    Table calls = tableOf(flight, texts, given.number("calls", kMostFlight));
    if (given.has("json"))
        print(report.add(std::move(calls)), true);
    else
        print(report.text() + linesOf(calls));
    return 0;
}

}  // namespace pcsim::probe
