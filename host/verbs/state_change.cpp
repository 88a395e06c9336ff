// Loading and restoring.
#include "host/verbs/state_change.h"

#include "console/present.h"
#include "console/session.h"
#include "console/text.h"
#include "host/state/restore.h"
#include "host/verbs/load_answer.h"

namespace pcsim::host {

LineRunner::LineRunner(Call& call)
    : call_(call), states_(call.machine.states), routes_(call.machine.l3()) {
    if (states_.changing) fail("a state is being loaded or restored; wait until that is done");
    states_.changing = true;
}

void LineRunner::run(std::string_view line) {
    if (routes_.take(line)) return;
    const Words words = splitWords(line);
    if (words.empty()) return;
    Verbs::Found found = call_.session->console().verbs.find(words);
    pcsim::Call inner(std::move(found.values));
    inner.session = call_.session;
    inner.print = [](const std::string&) {};
    inner.later = call_.later;
    inner.answer = [](const Report&) {};
    if (found.verb->show)
        found.verb->show(inner);
    else
        found.verb->action(inner);
}

Report loadState(Call& call) {
    LineRunner runner(call);
    LineLoad file(call.text("file"));
    uint64_t lines = 0;
    file.run(call.context.loop, "lines", [&](uint64_t, std::string_view line) {
        if (call.context.loop.interrupted()) return;
        std::string_view rest = line;
        const std::string_view word = takeWord(rest);
        if (word.empty() || word.starts_with('#')) return;
        ++lines;
        runner.run(line);
    });
    if (call.context.loop.interrupted())
        file.stop(fmt::format("interrupted; the lines of file {} are run in part", file.path()));
    const uint64_t bad = file.badLineCount();
    call.context.events.note("state", "{} of {} run, {} bad", counted(lines, "line", "lines"),
                             file.path(), bad);
    Report report = loadAnswer(call,
                               Fields{"load",
                                      "Loaded " + file.path(),
                                      {{"lines", "Lines", lines}, {"bad", "Bad lines", bad}}},
                               file, lines - bad);
    if (bad == 0) return report;
    // A state that was reached in part is another one.
    if (call.answer) call.answer(report);
    fail("{} of the {} in {} could not be run; the others hold", bad,
         counted(lines, "line", "lines"), file.path());
}

namespace {

Table problemTable(const Restored& restored) {
    Table table{"problems",
                "Lines that could not be run",
                {{"line", "Line"}, {"problem", "Problem"}},
                {},
                "none",
                ""};
    for (const auto& [line, problem] : restored.problems)
        table.rows.push_back({line, presentable(problem)});
    if (restored.problemCount > table.rows.size())
        table.footer = fmt::format("the first {} of {}", table.rows.size(), restored.problemCount);
    table.flexible = {{0, Cut::kEnd}, {1, Cut::kEnd}};
    return table;
}

}  // namespace

Report restoreCheckpoint(Call& call) {
    LineRunner runner(call);
    const std::string& name = call.text("checkpoint");
    const auto checkpoint = call.machine.states.checkpoint(name);
    const RestoreParts parts{[&](Lines& lines) { call.machine.running(lines); },
                             [&](std::string_view line) { runner.run(line); },
                             // Faults would meet the calls of the way back. Those of the
                             // checkpoint are made again.
                             [&] {
                                 const bool had = !call.context.platform.rules.states().empty();
                                 call.context.platform.rules.clear();
                                 return had;
                             },
                             [&] { return call.context.loop.interrupted(); }};
    const Restored restored = restoreState(checkpoint->state, parts);
    call.context.events.note("state", "Checkpoint {} restored{}", name,
                             restored.reached() ? "" : " in part");
    Report report(Fields{"restore",
                         "Restored " + name,
                         {{"undone", "Lines undone", restored.undone},
                          {"made", "Lines made", restored.made},
                          {"reached", "Reached", restored.reached()}}});
    if (restored.problemCount != 0) report.add(problemTable(restored));
    if (restored.reached()) return report;
    if (call.answer) call.answer(report);
    fail("checkpoint {} is restored in part{}; 'diff {}' tells what differs", name,
         restored.interrupted ? ": interrupted" : "", name);
}

}  // namespace pcsim::host
