// Verbs of the state as a whole: shown, saved, loaded, kept and compared.
#include "console/output_file.h"
#include "host/state/line_diff.h"
#include "host/verbs/host_verbs.h"
#include "host/verbs/load_answer.h"
#include "host/verbs/state_change.h"

namespace pcsim::host {

namespace {

constexpr uint64_t kLinesPerLook = 1024;  // at whether somebody interrupts

// Lines on their way out, one by one: there may be a million.
class LineWriter : public Lines {
public:
    LineWriter(const Surroundings& surroundings, std::function<void(std::string_view)> write)
        : surroundings_(surroundings), write_(std::move(write)) {}

    void add(std::string_view line, std::string_view) override { more(line); }
    void replace(std::string_view line, std::string_view) override { more(line); }
    void more(std::string_view line) override {
        if (++count_ % kLinesPerLook == 0) surroundings_.checkInterrupt();
        write_(line);
    }
    uint64_t count() const { return count_; }

private:
    const Surroundings& surroundings_;
    std::function<void(std::string_view)> write_;
    uint64_t count_ = 0;
};

// A table that is its rows alone, as they could be typed.
Table plainTable(const char* key) {
    return {key, "", {{"line", ""}}, {}, "nothing differs from a freshly booted switch", ""};
}

Report showRunning(Call& call) {
    Table table = plainTable("running");
    LineWriter writer(call.context.loop,
                      [&](std::string_view line) { table.rows.push_back({std::string(line)}); });
    call.machine.running(writer);
    return table;
}

Report saveState(Call& call) {
    const std::string& path = call.text("file");
    OutputFile file(path);
    LineWriter writer(call.context.loop, [&](std::string_view line) {
        file.write(line);
        file.write("\n");
    });
    call.machine.running(writer);
    file.keep();
    return savedAnswer(path, "lines", "Lines", writer.count());
}

void makeCheckpoint(Call& call) {
    SavedStates& states = call.machine.states;
    auto checkpoint = std::make_shared<Checkpoint>();
    call.machine.running(checkpoint->state);
    checkpoint->timeMs = call.context.scheduler.nowMs();
    checkpoint->number = ++states.lastNumber;
    states.checkpoints.insert_or_assign(call.text("checkpoint"), std::move(checkpoint));
}

Report showCheckpoints(Call& call) {
    Table table{"checkpoints",
                "Checkpoints",
                {{"name", "Name"},
                 {"timeMs", "Made at s", Align::kRight},
                 {"lines", "Lines", Align::kRight},
                 {"bytes", "Bytes", Align::kRight}},
                {},
                "none; 'checkpoint NAME' makes one",
                ""};
    for (const auto& [name, checkpoint] : call.machine.states.checkpoints)
        table.rows.push_back(
            {name,
             Cell(Cell(checkpoint->timeMs),
                  fmt::format("{}.{:03}", checkpoint->timeMs / 1000, checkpoint->timeMs % 1000)),
             checkpoint->state.lineCount(), checkpoint->state.text().size()});
    return table;
}

Report showCheckpoint(Call& call) {
    Table table = plainTable("checkpoint");
    const auto checkpoint = call.machine.states.checkpoint(call.text("checkpoint"));
    forEachLine(checkpoint->state.text(),
                [&](std::string_view line) { table.rows.push_back({std::string(line)}); });
    return table;
}

// The newest checkpoint unless one is named, against another one or what is now.
Report showDiff(Call& call) {
    const SavedStates& states = call.machine.states;
    const std::string& name = call.has("checkpoint") ? call.text("checkpoint") : states.newest();
    const StateText& before = states.checkpoint(name)->state;
    StateText now;
    if (!call.has("other")) call.machine.running(now);
    const StateText& after = call.has("other") ? states.checkpoint(call.text("other"))->state : now;
    Table table{"diff",
                "",
                {{"change", ""}, {"line", ""}},
                {},
                call.has("other") ? "the checkpoints are the same"
                                  : fmt::format("nothing differs from checkpoint {}", name),
                ""};
    for (const auto& [sign, line] : lineDiff(before.text(), after.text()))
        table.rows.push_back({std::string(1, sign), std::string(line)});
    return table;
}

void removeCheckpoint(Call& call) {
    SavedStates& states = call.machine.states;
    const std::string& name = call.text("checkpoint");
    states.checkpoint(name);
    states.checkpoints.erase(name);
}

}  // namespace

void addStateVerbs(HostVerbs& verbs) {
    verbs.show("show running", "the state of the switch as the verbs that make it", showRunning);
    verbs.show("save <file>", "write these lines to a file", saveState);
    verbs.show("load <file>", "run the lines of such a file", loadState);
    verbs.action("checkpoint <checkpoint>", "keep the state under a name", makeCheckpoint);
    verbs.show("restore <checkpoint>", "go back to a state that was kept", restoreCheckpoint);
    verbs.show("show checkpoints", "the states that are kept", showCheckpoints);
    verbs.show("show checkpoint <checkpoint>", "the lines of one", showCheckpoint);
    verbs.action("checkpoint-remove <checkpoint>", "keep it no longer", removeCheckpoint);
    verbs.show("diff", "what has changed since the newest checkpoint", showDiff);
    verbs.show("diff <checkpoint>", "what has changed since a checkpoint", showDiff);
    verbs.show("diff <checkpoint> <other>", "what has changed between two checkpoints", showDiff);
}

}  // namespace pcsim::host
